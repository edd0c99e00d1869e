"""velstat decode and velstat generate records, through the real command.

usage: decode_test.py NAIVE_DECODE [unittest arguments]; VELSTAT in the environment names the command."""

import csv
import io
import json
import os
import pathlib
import pty
import random
import select
import struct
import subprocess
import sys
import tempfile
import time
import tty
import unittest

from command import VELSTAT, run_on_terminal

HERE = pathlib.Path(__file__).parent
NAIVE = sys.argv.pop(1)
TIMES = ("2000000000", "1700000000000000000", "1699999999123456")


def run(*arguments, stdin=b"", **environment):
    """Exit status, standard output, standard error; the output as bytes. `stdin`: bytes or a descriptor."""
    given = {"input": stdin} if isinstance(stdin, bytes) else {"stdin": stdin}
    done = subprocess.run([VELSTAT, *arguments], **given, capture_output=True, timeout=120,
                          env={**os.environ, **environment})
    return done.returncode, done.stdout, done.stderr.decode()


def decode(*arguments, stdin=b"", **environment):
    """The standard output of a decoding that goes well."""
    status, output, errors = run("decode", *arguments, stdin=stdin, **environment)
    assert (status, errors) == (0, ""), (arguments, status, errors)
    return output


def generate(*arguments):
    status, output, errors = run("generate", "records", *arguments)
    assert (status, errors) == (0, ""), (arguments, status, errors)
    return output


def naive(data, *times, **environment):
    return subprocess.run([NAIVE, *times], input=data, capture_output=True, check=True, timeout=300,
                          env={**os.environ, **environment}).stdout


def record(sequence, category=0, component=0, event=0, kind=3, time=0, payload=b"\xee" * 32):
    return struct.pack("<BBBBIQ32s", kind, event, component, category, sequence, time, payload)


def assert_same(test, first, second, note=None):
    """Without a difference of megabytes."""
    if first != second:
        place = next((i for i, (a, b) in enumerate(zip(first, second)) if a != b), min(len(first), len(second)))
        test.fail(f"{note}: differ at {place}: {first[max(0, place - 60):place + 60]!r}, not "
                  f"{second[max(0, place - 60):place + 60]!r}")


def eventually(test, holds, note=None):
    end = time.monotonic() + 30
    while not holds():
        test.assertLess(time.monotonic(), end, note)
        os.sched_yield()


def threads(process):
    return len(os.listdir(f"/proc/{process.pid}/task"))


class WithFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def file(self, name, data):
        path = self.folder / name
        path.write_bytes(data)
        return str(path)


class Text(unittest.TestCase):
    def test_equals_the_naive_rendering(self):
        for data in (generate("--seed", "3", "--count", "20000"), generate("--seed", "3", "--count", "20000", "--random")):
            assert_same(self, decode(stdin=data), naive(data))

    def test_equals_the_naive_rendering_with_times(self):
        data = generate("--seed", "4", "--count", "3000") + generate("--seed", "4", "--count", "10000", "--random")
        for zone in ("XYZ-3:30", "Europe/Berlin", "UTC"):
            assert_same(self, decode("--timesync", ",".join(TIMES[:2]), "--boot", TIMES[2], stdin=data, TZ=zone),
                        naive(data, *TIMES, TZ=zone), zone)

    def test_does_not_depend_on_jobs_or_blocks(self):
        data = generate("--seed", "5", "--count", "5000", "--random")
        expected = decode("--jobs", "1", stdin=data)
        for jobs in ("2", "3", "16"):
            assert_same(self, decode("--jobs", jobs, stdin=data), expected, jobs)
        source = random.Random(1)
        with tempfile.TemporaryFile() as file:
            process = subprocess.Popen([VELSTAT, "decode"], stdin=subprocess.PIPE, stdout=file)
            with process.stdin as pipe:
                position = 0
                while position < len(data):
                    size = source.randrange(1, 5000)
                    os.write(pipe.fileno(), data[position:position + size])
                    position += size
            self.assertEqual(process.wait(), 0)
            file.seek(0)
            assert_same(self, file.read(), expected)

    def test_framed(self):
        data = generate("--seed", "6", "--count", "1000", "--random")
        framed = io.BytesIO(decode("--framed", stdin=data))
        texts = []
        while length := framed.read(4):
            texts.append(framed.read(struct.unpack("<I", length)[0]))
        self.assertEqual(len(texts), 1000)
        assert_same(self, b"".join(text + b"\n" for text in texts), naive(data))

    def test_escaped(self):
        # "connected", "decimation" and "gyroPowerMode" are raw characters: here NUL, ESC and a byte that is not UTF-8.
        data = record(1, 2, 1, 9, 8, payload=struct.pack("<IIII", 1, 2, 3, 4) + b"\0\x1b\xff" + b"a\\b\n" + bytes(9))
        exact = naive(data)
        self.assertIn(b":         \0,", exact)
        expected = (exact.removesuffix(b"\n").replace(b"\\", b"\\\\").replace(b"\n", b"\\n").replace(b"\0", b"\\x00")
                    .replace(b"\x1b", b"\\x1B").replace(b"\xff", b"\\xFF") + b"\n")
        self.assertEqual(decode(stdin=data), exact)
        self.assertEqual(decode("--escape", stdin=data), expected)

    def test_uses_all_cores(self):
        with subprocess.Popen([VELSTAT, "decode"], stdin=subprocess.PIPE) as process:
            eventually(self, lambda: threads(process) == min(64, os.cpu_count()))
            process.stdin.close()


class Terminal(WithFolder):
    def test_bytes_are_escaped_unless_raw(self):
        path = self.file("one.bin", record(1, 2, 1, 9, 8, payload=struct.pack("<IIII", 1, 2, 3, 4) + b"\0\x1b\x01" + bytes(13)))
        escaped = run_on_terminal("decode", "--format", "text", path)
        self.assertIn("'connected':         \\x00,", escaped)
        self.assertIn("'decimation':         \\x1B,", escaped)
        self.assertEqual(escaped.encode(), decode("--escape", path))
        self.assertEqual(run_on_terminal("decode", "--raw", path).encode(), decode(path))
        self.assertEqual(run_on_terminal("decode", "--format", "json", path).encode(), decode("--format", "json", path))

    def test_brief_lines_are_the_default(self):
        path = self.file("records.bin", generate("--count", "300"))
        for columns, width in ((None, 80), (40, 40), (80, 80), (1000, 1000)):
            shown = run_on_terminal("decode", path, columns=columns)
            self.assertEqual(run_on_terminal("decode", "--format", "brief", path, columns=columns), shown)
            lines = shown.splitlines()
            self.assertEqual(len(lines), 300)
            self.assertLessEqual(max(map(len, lines)), width)
            self.assertEqual(any("…" in line for line in lines), width != 1000)
            whole = decode("--format", "brief", path).decode().splitlines()
            for line, full in zip(lines, whole):  # the gap before the fields depends on the width
                self.assertTrue("".join(full.split()).startswith("".join(line.removesuffix("…").split())), line)
        text = decode("--escape", path).decode()
        self.assertEqual(run_on_terminal("decode", "--escape", path), text)
        self.assertEqual(run_on_terminal("decode", "--format", "text", path), text)
        self.assertEqual(decode(path), naive(generate("--count", "300")))

    def test_binary_records_stay_off_it(self):
        self.assertEqual(run_on_terminal("generate", "records"), "")

    def test_framed_texts_stay_off_it_unless_raw(self):
        path = self.file("one.bin", record(1, payload=bytes(32)))  # its length in bytes that are ASCII
        self.assertEqual(run_on_terminal("decode", "--raw", "--framed", path).encode(), decode("--framed", path))
        self.assertEqual(run_on_terminal("decode", "--framed", path), "")
        leader, follower = pty.openpty()
        done = subprocess.run([VELSTAT, "decode", "--framed", path], stdout=follower, stderr=subprocess.PIPE)
        os.close(follower)
        os.close(leader)
        self.assertEqual((done.returncode, done.stderr), (1, b"velstat: standard output: will not write framed texts to "
                                                             b"a terminal without --raw\n"))


class Progress(WithFolder):
    LINE = r"(\r\x1b\[K0\.0 million records, 0\.0 million a second)+\r\x1b\[K"

    def decode_until_progress(self, *arguments):
        """A decoding that has just said how far it is, the other end of its terminal, and what has come from there."""
        leader, follower = pty.openpty()
        process = subprocess.Popen([VELSTAT, "decode", *arguments], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                   stderr=follower)
        self.addCleanup(process.stdin.close)
        os.close(follower)
        seen = b""
        end = time.monotonic() + 60
        while b"million" not in seen:
            self.assertLess(time.monotonic(), end)
            os.write(process.stdin.fileno(), record(1))
            if select.select([leader], [], [], 0.05)[0]:
                seen += os.read(leader, 65536)
        return process, leader, seen

    def whole(self, *arguments):
        process, leader, seen = self.decode_until_progress(*arguments)
        process.stdin.close()
        try:
            while block := os.read(leader, 65536):
                seen += block
        except OSError:  # how a terminal without writers ends
            pass
        os.close(leader)
        self.assertEqual(process.wait(timeout=60), 0)
        return seen.decode().replace("\r\n", "\n")

    def test_is_gone_at_the_end(self):
        self.assertRegex(self.whole(), rf"\A{self.LINE}\Z")

    def test_leaves_a_line_to_the_statistics(self):
        for arguments in (("--stats",), ("--stats=json",)):
            self.assertRegex(self.whole(*arguments), rf"\A{self.LINE}(records: |{{\"read\": )\d+[^\r]*\n\Z")

    def test_terminal_that_goes_away_is_no_failure(self):
        process, leader, _ = self.decode_until_progress()
        os.close(leader)
        process.stdin.close()
        self.assertEqual(process.wait(timeout=60), 0)

    def test_tells_the_share_of_a_file(self):
        path = self.file("long", b"")
        os.truncate(path, 1 << 40)  # a hole
        leader, follower = pty.openpty()
        process = subprocess.Popen([VELSTAT, "decode", path], stdout=subprocess.DEVNULL, stderr=follower)
        os.close(follower)
        seen = b""
        while b"%" not in seen:
            seen += os.read(leader, 65536)
        process.kill()
        process.wait()
        os.close(leader)
        self.assertRegex(seen.decode(), r"\A\r\x1b\[K\d+\.\d million records, \d+\.\d million a second, 0 %")


class Golden(unittest.TestCase):
    def check(self, name, *arguments, records=("--seed", "20", "--count", "60")):
        """VELSTAT_WRITE_GOLDEN=1 writes the files anew."""
        status, output, errors = run("decode", *arguments, stdin=generate(*records), TZ="XYZ-3:30")
        self.assertEqual(status, 0)
        self.maxDiff = None
        if os.environ.get("VELSTAT_WRITE_GOLDEN"):
            (HERE / "golden" / name).write_bytes(output + errors.encode())
        expected = (HERE / "golden" / name).read_bytes()
        self.assertEqual((output + errors.encode()).decode(errors="backslashreplace"),
                         expected.decode(errors="backslashreplace"))

    def test_text(self):
        self.check("flows.txt", "--timesync", ",".join(TIMES[:2]), "--boot", TIMES[2])

    def test_random_text(self):
        self.check("random.txt", records=("--seed", "20", "--count", "60", "--random"))

    def test_brief(self):
        self.check("flows.brief", "--format", "brief", "--timesync", ",".join(TIMES[:2]))

    def test_random_brief(self):
        self.check("random.brief", "--format", "brief", records=("--seed", "20", "--count", "60", "--random"))

    def test_json(self):
        self.check("flows.jsonl", "--format", "json")

    def test_csv(self):
        self.check("flows.csv", "--format", "csv", "--boot", TIMES[2])

    def test_statistics(self):
        self.check("statistics.txt", "--format", "none", "--stats")

    def test_statistics_as_json(self):
        self.check("statistics.json", "--format", "none", "--stats=json")


class Structured(unittest.TestCase):
    def test_json_and_csv_agree_with_each_other(self):
        data = generate("--seed", "8", "--count", "2000", "--random")
        objects = [json.loads(line) for line in decode("--format", "json", stdin=data).splitlines()]
        rows = list(csv.DictReader(io.StringIO(decode("--format", "csv", stdin=data).decode())))
        self.assertEqual((len(objects), len(rows)), (2000, 2000))
        for index, (value, row) in enumerate(zip(objects, rows)):
            raw = data[index * 48:index * 48 + 48]
            self.assertEqual(bytes(value["binary-data"]), raw)
            self.assertEqual(bytes.fromhex(row["binary-data"]), raw)
            self.assertEqual(json.loads(row["payload"]), value["payload"])
            for key in ("category", "component", "event", "type", "timestamp", "sequence_num", "type-id", "category-id",
                        "component-id", "event-id"):
                self.assertEqual(row[key], str(value[key]))
            self.assertEqual((row["calendar-time"], row["boot-timestamp"]), ("", ""))

    def test_formats_take_all_jobs(self):
        data = generate("--seed", "8", "--count", "4000")
        for form in ("json", "csv"):
            self.assertEqual(decode("--format", form, "--jobs", "4", stdin=data),
                             decode("--format", form, "--jobs", "1", stdin=data))


class Brief(unittest.TestCase):
    RUN = b"".join(record(number, 6, 1, 1, time=1000 * number, payload=bytes(32)) for number in range(10, 20))

    def lines(self, data, *arguments):
        """Without the names, which are the same."""
        return [line.strip().removesuffix("  uart uart1 sw-handshake") for line in
                decode("--format", "brief", *arguments, stdin=data).decode().splitlines()]

    def test_gaps_are_marked(self):
        cut = self.RUN[:2 * 48] + self.RUN[3 * 48:4 * 48] + self.RUN[9 * 48:]
        self.assertEqual(self.lines(cut), ["0.010000", "0.011000", "-- 1 record is missing", "0.013000",
                                           "-- 5 records are missing", "0.019000"])

    def test_filters_do_not_hide_or_make_gaps(self):
        cut = self.RUN[:2 * 48] + self.RUN[3 * 48:4 * 48] + self.RUN[9 * 48:]
        self.assertEqual(self.lines(cut, "--sequence", "19.."), ["-- 6 records are missing", "0.019000"])
        self.assertEqual(self.lines(cut, "--skip", "2", "--limit", "1"), ["-- 1 record is missing", "0.013000"])
        self.assertEqual(self.lines(self.RUN, "--sequence", "18.."), ["0.018000", "0.019000"])

    def test_restarts_are_marked(self):
        again = record(3, 6, 1, 1, time=5, payload=bytes(32)) + record(4, 6, 1, 1, time=9, payload=bytes(32))
        late = record(5000, 6, 1, 1, time=20_000_000, payload=bytes(32))
        self.assertEqual(self.lines(self.RUN[:48] + late + again),
                         ["0.010000", "-- 4989 records are missing", "20.000000",
                          "-- restart, sequence numbers begin anew with 3", "0.000005", "0.000009"])
        self.assertEqual(self.lines(late + again, "--delta"),
                         ["20.000000", "-- restart, sequence numbers begin anew with 3", "0.000005", "+0.000004"])
        self.assertEqual(self.lines(late + record(5001, 6, 1, 1, time=10, payload=bytes(32))),
                         ["20.000000", "-- the clock went back", "0.000010"])

    def test_differences(self):
        self.assertEqual(self.lines(self.RUN[:4 * 48], "--delta"), ["0.010000", "+0.001000", "+0.001000", "+0.001000"])
        self.assertEqual(self.lines(self.RUN, "--delta", "--sequence", "13..14"), ["0.013000", "+0.001000"])
        many = b"".join(record(number, 6, 1, 1, time=1000 * number, payload=bytes(32)) for number in range(2000))
        first, *others = self.lines(many, "--delta")
        self.assertEqual((first, set(others), len(others)), ("0.000000", {"+0.001000"}, 1999))  # in any blocks
        self.assertEqual(decode("--delta", stdin=self.RUN), decode("--delta", "--format", "brief", stdin=self.RUN))

    def test_does_not_depend_on_jobs_or_blocks(self):
        data = generate("--seed", "5", "--count", "3000") + generate("--seed", "5", "--count", "3000", "--random")
        for arguments in ([], ["--delta"], ["--timesync", "0,1700000000000000000"], ["--category", "zorb"]):
            expected = decode("--format", "brief", "--jobs", "1", *arguments, stdin=data)
            assert_same(self, decode("--format", "brief", "--jobs", "5", *arguments, stdin=data), expected, arguments)


class Fields(unittest.TestCase):
    def test_in_every_format(self):
        data = record(7, 7, 2, 0, time=5, payload=struct.pack("<IIIIII", 200, 9, 5, 0, 0, 0) + bytes(8))
        for form, expected in (("csv", "trace,arg1,event.arg1,raw-data,timestamp\nSetState,5,200,,5\n"),
                               ("json", '{"trace":{"id":200,"name":"SetState"},"arg1":5,"event.arg1":200,"timestamp":"5"}\n'),
                               ("brief", "    0.000005  zorb amp trace/SetState                   "
                                         "trace=SetState arg1=5 event.arg1=200 timestamp=5\n")):
            self.assertEqual(decode("--format", form, "--fields", "trace,arg1,event.arg1,raw-data,timestamp", stdin=data).decode(),
                             expected)

    def test_one_layout_has_columns_in_csv(self):
        data = generate("--count", "3000")
        layout = ("--layout", "zorb-input-packet")
        table = decode("--format", "csv", *layout, stdin=data)
        rows = list(csv.DictReader(io.StringIO(table.decode())))
        objects = [json.loads(line) for line in decode("--format", "json", *layout, stdin=data).splitlines()]
        self.assertGreater(len(rows), 10)
        self.assertEqual(len(rows), len(objects))
        for row, value in zip(rows, objects):
            self.assertEqual(bytes.fromhex(row["binary-data"]), bytes(value["binary-data"]))
            for key, number in value["payload"][0]["fields"].items():
                self.assertEqual(row[key], str(number))
        # Two layouts have no columns in common.
        both = decode("--format", "csv", *layout, "--layout", "event", stdin=data)
        self.assertTrue(both.startswith(b"category,component,event,type,timestamp,sequence_num,payload,"))

    def test_columns_of_a_layout_are_read_back(self):
        data = generate("--count", "3000", "--random")
        for layout in ("event", "sensorinfo", "short-data", "zorb-event", "corvane", "annotation", "zorb-context-4"):
            records = decode("--format", "raw", "--layout", layout, stdin=data)
            table = decode("--format", "csv", "--layout", layout, "--boot", TIMES[2], stdin=records)
            assert_same(self, decode("--format", "raw", stdin=table), records, layout)
            # A word that contradicts the bytes is found, where it is.
            lines = table.decode().splitlines()
            if not records:
                continue
            words = lines[1].split(",")
            place = len(",".join(words[:6])) + 2
            changed = "\n".join([lines[0], ",".join(words[:6] + ["\x41" + words[6]] + words[7:])]) + "\n"
            status, output, errors = run("decode", "--format", "raw", stdin=changed.encode())
            self.assertEqual((status, output), (1, records[:48]))
            self.assertRegex(errors, rf"line 2: its words contradict its bytes at character {place}; the bytes are taken")


class Filters(unittest.TestCase):
    DATA = b"".join(record(i, *ids, time=1000 + i) for i, ids in
                    enumerate([(7, 3, 2), (7, 0, 2), (2, 3, 2), (2, 0, 1), (1, 0, 3), (7, 3, 3), (12, 3, 2)]))

    def shown(self, *arguments):
        return [json.loads(line)["sequence_num"] for line in
                decode("--format", "json", *arguments, stdin=self.DATA).splitlines()]

    def test_filters(self):
        for arguments, expected in [
            ("", [0, 1, 2, 3, 4, 5, 6]),
            ("--category zorb", [0, 1, 5]),
            ("--category zorb --category 2", [0, 1, 2, 3, 5]),
            ("--category ZORB", [0, 1, 5]),
            ("--category 12", [6]),
            ("--component latency", [0, 5]),
            ("--component 3", [0, 2, 5, 6]),
            ("--component 3 --category sensors", [2]),
            ("--event ckp_ZORBButtonDown", [0]),
            ("--event 2", [0, 1, 2, 6]),
            ("--layout zorb-event", [0, 1, 5]),
            ("--layout function", []),
            ("--type event", [0, 1, 2, 3, 4, 5, 6]),
            ("--type trigger", []),
            ("--sequence 2..4", [2, 3, 4]),
            ("--sequence 5..", [5, 6]),
            ("--sequence ..1", [0, 1]),
            ("--sequence 3", [3]),
            ("--time 1004..1005", [4, 5]),
            ("--time +4us..+5us", [4, 5]),
            ("--time 0.001004..", [4, 5, 6]),
            ("--since 1002 --until +3us", [2, 3]),
            ("--since +9us", []),
            ("--category sensors --since +3us", [3]),  # after the first record, not the first of those that are shown
            ("--timesync 0,1700000000000000000 --since 2023-11-14T22:13:20.001005Z", [5, 6]),
            ("--skip 2", [2, 3, 4, 5, 6]),
            ("--limit 2", [0, 1]),
            ("--limit 0", []),
            ("--skip 1 --limit 1 --category zorb", [1]),
        ]:
            self.assertEqual(self.shown(*arguments.split()), expected, arguments)

    def test_calendar_times_need_a_relation(self):
        self.assertEqual(run("decode", "--since", "08:15", stdin=self.DATA),
                         (1, b"", "velstat: calendar times need the relation between the clocks, which the inputs do not tell or "
                                  "do not agree on: give --timesync, or time stamps\n"))

    def test_end_of_the_log(self):
        with tempfile.NamedTemporaryFile() as file:
            file.write(self.DATA + b"cut")
            file.flush()
            cut = f"velstat: {file.name}: offset 336: the last record is cut short, 3 of 48 bytes\n"
            for arguments, expected in [(("--time", "last 2us"), [4, 5, 6]), (("--time", "last 3us..last 2us"), [3, 4]),
                                        (("--until", "last 5us"), [0, 1]), (("--since", "last 1h"), [0, 1, 2, 3, 4, 5, 6])]:
                status, output, errors = run("decode", "--format", "json", *arguments, file.name)
                self.assertEqual((status, errors), (1, cut))  # told once, though it is read twice
                self.assertEqual([json.loads(line)["sequence_num"] for line in output.splitlines()], expected, arguments)
        self.assertEqual(run("decode", "--since", "last 1s", stdin=self.DATA),
                         (1, b"", "velstat: standard input: can be read only once, but 'last' has to find the end first: save "
                                  "it to a file\n"))

    def test_limit_over_many_blocks(self):
        data = generate("--count", "5000")
        lines = decode("--skip", "700", "--limit", "3000", "--format", "json", stdin=data).splitlines()
        self.assertEqual([json.loads(line)["sequence_num"] for line in lines], list(range(700, 3700)))

    def test_wrong_usage(self):
        for arguments, message in [
            ("--category sensor", "velstat: decode: there is no category 'sensor'; did you mean 'sensors'?"),
            ("--type 256", "velstat: decode: type 256 is out of range: ids go from 0 to 255"),
            ("--sequence 4..2", "velstat: --sequence: the range 4..2 is empty"),
            ("--time x", "velstat: --time: 'x' is not a time: expected a time stamp such as 420000000 or 420.5 (s), an offset such "
                         "as +1.5s, 'last 10s', or a calendar time such as 08:15:02, 'Nov 21 08:15:02.5' or 2026-11-21T08:15"),
            ("--time 5..4", "velstat: --time: the range 5..4 is empty"),
            ("--since +1.5", "velstat: --since: '1.5' is not a duration: expected a number and us, ms, s, min or h, such as 1.5s"),
            ("--timesync 5", "velstat: --timesync: expected VEL,CALENDAR: the two clocks' readings at one moment"),
            ("--timesync 5,x", "velstat: --timesync: 'x' is not a number from -9223372036854775808 to 9223372036854775807"),
            ("--framed --format json", "velstat: --framed: only texts are framed; lines of other formats frame themselves"),
            ("--framed --format brief", "velstat: --framed: only texts are framed; lines of other formats frame themselves"),
            ("--delta --format json", "velstat: --delta: only brief lines show differences of times"),
            ("--fields arg1", "velstat: --fields: only for --format brief, json and csv; the others have all fields"),
            ("--fields arg1 --format raw", "velstat: --fields: only for --format brief, json and csv; the others have all fields"),
            ("--fields agr1 --format csv", "velstat: --fields: there is no field 'agr1'; did you mean 'arg1'?"),
            ("--layout events", "velstat: decode: there is no layout 'events'; did you mean 'event'?"),
            ("--framed --escape", "velstat: --framed excludes --escape"),
            ("--raw --escape", "velstat: --raw excludes --escape"),
            ("--boot -1", "velstat: --boot: '-1' is not a number from 0 to 18446744073709551615"),
            ("--jobs 0", "velstat: --jobs: '0' is not a number from 1 to 256"),
            ("--jobs 257", "velstat: --jobs: '257' is not a number from 1 to 256"),
            ("--format yaml", "velstat: --format: yaml not in {brief,text,json,csv,raw,none}"),
            ("--stats=xml", "velstat: --stats: xml not in {text,json}"),
            ("--skip 1.5", "velstat: --skip: '1.5' is not a number from 0 to 18446744073709551615"),
            ("--limit 18446744073709551616",
             "velstat: --limit: '18446744073709551616' is not a number from 0 to 18446744073709551615"),
        ]:
            self.assertEqual(run("decode", *arguments.split(), stdin=self.DATA), (2, b"", message + "\n"), arguments)

    def test_numbers_are_decimal_whatever_they_begin_with(self):
        data = generate("--count", "20")
        self.assertEqual(decode("--limit", "010", "--jobs", "02", stdin=data), naive(data[:480]))
        self.assertEqual(generate("--seed", "010"), generate("--seed", "10"))


class Inputs(WithFolder):
    ONE, TWO = record(1), record(2)

    def test_files_in_order(self):
        first, second = self.file("a", self.ONE), self.file("b", self.TWO)
        self.assertEqual(decode(first, "-", second, stdin=record(3)), naive(self.ONE + record(3) + self.TWO))

    def test_standard_input_is_the_default(self):
        self.assertEqual(decode(stdin=self.ONE), naive(self.ONE))

    def test_empty_file(self):
        path = self.file("empty", b"")
        self.assertEqual(run("decode", path), (0, b"", ""))
        self.assertEqual(run("decode", "--recover", path), (0, b"", ""))

    def test_inputs_that_cannot_be_read(self):
        missing, folder = str(self.folder / "nothing.bin"), str(self.folder)
        self.assertEqual(run("decode", missing), (1, b"", f"velstat: {missing}: No such file or directory\n"))
        self.assertEqual(run("decode", folder), (1, b"", f"velstat: {folder}: an empty folder\n"))
        # The others are still decoded.
        path = self.file("a", self.ONE)
        self.assertEqual(run("decode", missing, path, folder, "-", stdin=self.TWO),
                         (1, naive(self.ONE + self.TWO), f"velstat: {missing}: No such file or directory\n"
                                                         f"velstat: {folder}: not a capture: the folder holds neither "
                                                         ".state files nor manifest.json and log.jsonl\n"))

    def test_names_are_escaped_in_messages(self):
        self.assertEqual(run("decode", "no\x1b[31m\n")[2], "velstat: no\\x1B[31m\\n: No such file or directory\n")

    def test_tail_short_of_a_record(self):
        for size, offset in ((47, 0), (49, 48), (95, 48)):
            path = self.file("tail", (self.ONE + self.TWO)[:size])
            left = size - offset
            self.assertEqual(run("decode", path),
                             (1, naive(self.ONE) if offset else b"",
                              f"velstat: {path}: offset {offset}: the last record is cut short, {left} of 48 bytes\n"))
        status, output, errors = run("decode", stdin=self.ONE + b"x")
        self.assertEqual((status, output), (1, naive(self.ONE)))
        self.assertEqual(errors, "velstat: standard input: offset 48: the last record is cut short, 1 of 48 bytes\n")

    def test_tail_does_not_shift_the_next_file(self):
        first, second = self.file("a", self.ONE + b"tail"), self.file("b", self.TWO)
        status, output, _ = run("decode", first, second)
        self.assertEqual((status, output), (1, naive(self.ONE + self.TWO)))

    def test_recovery(self):
        data = generate("--seed", "9", "--count", "3000")
        cut = data[:48000] + data[48013:96000] + b"noise" + data[96000:]
        path = self.file("damaged", cut)
        status, output, errors = run("decode", "--recover", path)
        self.assertEqual(status, 1)
        self.assertEqual(errors, f"velstat: {path}: offset 48000: damage, 35 bytes skipped\n"
                                 f"velstat: {path}: offset 95987: damage, 5 bytes skipped\n")
        assert_same(self, output, naive(data[:48000] + data[48048:]))

    def test_input_that_fails_is_reported_once(self):
        for arguments in ((), ("--recover",)):
            leader, follower = pty.openpty()
            tty.setraw(follower)
            os.write(follower, self.ONE + self.TWO)
            os.close(follower)  # what was written can be read, then reading fails
            status, output, errors = run("decode", *arguments, stdin=leader)
            os.close(leader)
            self.assertEqual((status, output), (1, naive(self.ONE + self.TWO)))
            self.assertEqual(errors, "velstat: standard input: Input/output error\n")

    def test_record_that_a_failure_cuts_is_not_called_short(self):
        leader, follower = pty.openpty()
        tty.setraw(follower)
        os.write(follower, self.ONE + b"x")
        os.close(follower)
        self.assertEqual(run("decode", stdin=leader),
                         (1, naive(self.ONE), "velstat: standard input: Input/output error\n"))
        os.close(leader)

    def test_input_that_is_only_for_writing(self):
        reading, writing = os.pipe()
        self.assertEqual(run("decode", stdin=writing), (1, b"", "velstat: standard input: Bad file descriptor\n"))
        os.close(reading)
        os.close(writing)

    def test_named_pipe(self):
        fifo = str(self.folder / "fifo")
        os.mkfifo(fifo)
        with subprocess.Popen([VELSTAT, "decode", fifo], stdout=subprocess.PIPE) as process:
            with open(fifo, "wb") as pipe:
                pipe.write(self.ONE)
                pipe.flush()
                self.assertEqual(process.stdout.readline(), naive(self.ONE))
                pipe.write(self.TWO)
            self.assertEqual(process.communicate()[0], naive(self.TWO))
        self.assertEqual(process.returncode, 0)

    def test_records_appear_as_they_come(self):
        process = subprocess.Popen([VELSTAT, "decode"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        for data in (self.ONE, self.TWO):
            os.write(process.stdin.fileno(), data)
            self.assertEqual(process.stdout.readline(), naive(data))
        process.stdin.close()
        self.assertEqual(process.stdout.read(), b"")
        process.stdout.close()
        self.assertEqual(process.wait(), 0)


class Outputs(unittest.TestCase):
    def test_reader_that_goes_away(self):
        data = generate("--count", "20000")
        for arguments in ((), ("--jobs", "4"), ("--format", "json")):
            process = subprocess.Popen([VELSTAT, "decode", *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE)
            process.stdout.close()
            _, errors = process.communicate(data)
            self.assertEqual((process.returncode, errors), (0, b""))

    def test_full_disk(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([VELSTAT, "decode"], input=generate("--count", "5000"), stdout=full,
                                  stderr=subprocess.PIPE)
        self.assertEqual((done.returncode, done.stderr),
                         (1, b"velstat: standard output: No space left on device\n"))

    # Threads wait for a source that will never write again.
    def test_failed_write_ends_the_wait_for_input(self):
        for jobs in ("1", "2", "4"):
            with open("/dev/full", "wb") as full:
                process = subprocess.Popen([VELSTAT, "decode", "--jobs", jobs], stdin=subprocess.PIPE, stdout=full,
                                           stderr=subprocess.PIPE)
            eventually(self, lambda: threads(process) == int(jobs))
            os.write(process.stdin.fileno(), record(1))
            self.assertEqual(process.wait(timeout=30), 1, jobs)
            with process:
                self.assertEqual(process.stderr.read(), b"velstat: standard output: No space left on device\n")

    def test_reader_that_goes_away_ends_the_wait_for_input(self):
        with tempfile.TemporaryDirectory() as folder:
            fifo = folder + "/fifo"  # without a writer
            os.mkfifo(fifo)
            for arguments in (["--jobs", "1"], ["--jobs", "4"], ["--format", "json"], ["--recover", "-", fifo]):
                process = subprocess.Popen([VELSTAT, "decode", *arguments], stdin=subprocess.PIPE,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                os.write(process.stdin.fileno(), record(1))
                if fifo in arguments:
                    process.stdin.close()
                self.assertTrue(process.stdout.readline())
                process.stdout.close()
                self.assertEqual(process.wait(timeout=30), 0, arguments)
                self.assertEqual(process.stderr.read(), b"")
                process.stderr.close()
                process.stdin.close()

    def test_unread_output_does_not_end_a_check(self):
        process = subprocess.Popen([VELSTAT, "decode", "--format", "none"], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        process.stdout.close()
        os.write(process.stdin.fileno(), record(1))
        self.assertEqual(process.communicate(b"x")[1],
                         b"velstat: standard input: offset 48: the last record is cut short, 1 of 48 bytes\n")
        self.assertEqual(process.returncode, 1)

    def test_statistics_keep_off_the_records(self):
        data = generate("--count", "2000")
        status, output, errors = run("decode", "--stats", stdin=data)
        self.assertEqual(status, 0)
        assert_same(self, output, naive(data))
        self.assertEqual(errors.encode(), decode("--stats", "--format", "none", stdin=data))
        self.assertTrue(errors.startswith("records: 2000 read, 2000 selected, 2000 shown\nsequence numbers: 0 gaps"))

    def test_statistics_with_filters(self):
        data = generate("--count", "2000")
        zorb = sum(data[i + 3] == 7 for i in range(0, len(data), 48))
        statistics = json.loads(decode("--stats=json", "--format", "none", "--category", "zorb", stdin=data))
        self.assertEqual((statistics["read"], statistics["selected"]), (2000, zorb))
        self.assertEqual(statistics["sequence"]["gaps"], 0)  # of everything that was read
        self.assertEqual([entry["category"] for entry in statistics["categories"]], ["zorb"])

    def test_format_none_only_checks(self):
        self.assertEqual(decode("--format", "none", stdin=generate("--count", "10")), b"")
        self.assertEqual(run("decode", "--format", "none", stdin=b"123")[0], 1)


class Generator(unittest.TestCase):
    def test_seed_and_count(self):
        self.assertEqual(generate("--seed", "1", "--count", "10"), generate("--seed", "1", "--count", "5000")[:480])
        self.assertNotEqual(generate("--seed", "1", "--count", "10"), generate("--seed", "2", "--count", "10"))
        self.assertEqual(generate("--count", "0"), b"")
        self.assertEqual(len(generate("--random", "--count", "4097")), 4097 * 48)

    def test_wrong_usage(self):
        for arguments, message in (
                ("", "velstat: A subcommand is required"),
                ("record", "velstat: 'record' is unknown here; did you mean 'records'?"),
                ("records --count -1", "velstat: --count: '-1' is not a number from 0 to 18446744073709551615"),
                ("records --seed x", "velstat: --seed: 'x' is not a number from 0 to 18446744073709551615")):
            self.assertEqual(run("generate", *arguments.split()), (2, b"", message + "\n"), arguments)

    def test_help_has_an_example(self):
        for arguments in (("decode",), ("generate", "records")):
            status, output, errors = run(*arguments, "--help")
            self.assertEqual((status, errors), (0, ""))
            self.assertIn(b"Example", output)


class Memory(unittest.TestCase):
    @unittest.skipIf("sanitized" in os.environ.get("VELSTAT_BUILD", ""), "sanitizers take memory of their own")
    def test_does_not_grow_with_the_input(self):
        # The peak of a process includes the memory of its parent when it started, so a small process starts it.
        measure = ("import resource, subprocess, sys; status = subprocess.run(sys.argv[1:], stdin=0, stderr="
                   "subprocess.DEVNULL).returncode; sys.stderr.write(str(resource.getrusage(resource.RUSAGE_CHILDREN)."
                   "ru_maxrss)); sys.exit(status)")
        with tempfile.TemporaryFile() as file:
            subprocess.run([VELSTAT, "generate", "records", "--count", "1000000"], stdout=file, check=True)
            for arguments in ((), ("--recover",), ("--format", "json"), ("--stats",), ("--jobs", "8")):
                file.seek(0)
                done = subprocess.run([sys.executable, "-c", measure, VELSTAT, "decode", *arguments], stdin=file,
                                      stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=True, timeout=120)
                self.assertLess(int(done.stderr) // 1024, 32, arguments)  # MB; the input has 48


if __name__ == "__main__":
    unittest.main()
