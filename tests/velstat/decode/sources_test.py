"""velstat decode on captures, property lists, lines inside other logs, and what decode itself writes: the records are
those that the modelled driver has returned. And inputs that are something else, or are damaged."""

import gzip
import json
import os
import pathlib
import plistlib
import struct
import subprocess
import tempfile
import unittest

VELSTAT = os.environ["VELSTAT"]
MODEL = pathlib.Path(os.environ["MODEL"])
SIZE = 48


def velstat(*arguments, stdin=b"", **options):
    done = subprocess.run([VELSTAT, *map(str, arguments)], input=stdin, capture_output=True, timeout=120,
                          env={**os.environ, "TZ": "Asia/Kolkata"}, **options)
    return done.returncode, done.stdout, done.stderr.decode()


def split(data):
    return [data[at:at + SIZE] for at in range(0, len(data), SIZE)]


def generated(seed, count):
    """Records whose lines come through a CFString whole: those with text or raw characters may not."""
    records = split(velstat("generate", "records", "--seed", seed, "--count", count * 2)[1])
    return [record for record in records if record[0] not in (8, 9, 11, 12)][:count]


def in_order(records):
    """Each once, by time and sequence number."""
    return sorted(dict.fromkeys(records), key=lambda r: (struct.unpack_from("<Q", r, 8), struct.unpack_from("<I", r, 4)))


class WithCapture(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.folder = pathlib.Path(cls.temporary.name)
        firmware = generated(1, 48 * 24 + 8)
        # Batches of one log overlap by eight records; those of the three logs lie in each other.
        cls.batches = {"209": [firmware[i * 24:i * 24 + 32] for i in range(48)],
                       "9": [generated(2, 8 * 32)[i * 32:i * 32 + 32] for i in range(8)],
                       "8": [generated(3, 48 * 32)[i * 32:i * 32 + 32] for i in range(48)]}
        cls.capture_folder = cls.make_capture("a", cls.batches)
        cls.returned = [r for kind in ("209", "9", "8") for batch in cls.batches[kind] for r in batch]
        cls.expected = b"".join(in_order(cls.returned))

    @classmethod
    def make_capture(cls, name, batches):
        model = json.loads(MODEL.read_text())
        for service in model["named-services"]:
            for replies in (service.get("property-replies", {}), service.get("command-replies", {})):
                for key, content in batches.items():
                    if key in replies:
                        replies[key] = [{"hex": b"".join(batch).hex()} for batch in content]
        file = cls.folder / f"{name}.json"
        file.write_text(json.dumps(model))
        out = cls.folder / name
        status, _, error = velstat("capture", "--model", file, "--out", out)
        assert status == 0, error
        return out

    def raw(self, *inputs, stdin=b""):
        status, output, error = velstat("decode", "--format", "raw", *inputs, stdin=stdin)
        self.assertEqual((status, error), (0, ""))
        return output


class Captures(WithCapture):
    def test_capture_gives_what_the_driver_returned(self):
        self.assertEqual(self.raw(self.capture_folder), self.expected)
        self.assertEqual(self.raw("--jobs", "1", self.capture_folder), self.expected)

    def test_all_gives_every_occurrence_in_the_order_of_the_capture(self):
        kinds = {"fw": "209", "kext": "9", "err": "8"}
        expected = b""
        for file in sorted(self.capture_folder.glob("*KIP Profile*.state"), key=lambda f: int(f.name.split("-")[0])):
            _, index, _, kind = file.stem.split("-", 1)[1].replace("KIP Profile", "KIP").split(" ")
            expected += b"".join(self.batches[kinds[kind.removeprefix(";type=")]][int(index)])
        self.assertEqual(self.raw("--all", self.capture_folder), expected)
        self.assertGreater(len(expected), len(self.expected))

    def test_captures_that_overlap_are_one(self):
        self.assertEqual(self.raw(self.capture_folder, self.capture_folder), self.expected)
        self.assertEqual(self.raw("--all", self.capture_folder, self.capture_folder),
                         self.raw("--all", self.capture_folder) * 2)

    def test_lines_show_the_times_that_the_capture_has(self):
        lists = [plistlib.loads(f.read_bytes()) for f in self.capture_folder.glob("*KIP*.plist")]
        lines = {line for lines in lists for line in lines}
        self.assertEqual(set(velstat("decode", self.capture_folder)[1].decode().splitlines()), lines)
        self.assertIn("'calendar-time':'", next(iter(lines)))
        given = velstat("decode", "--boot", "5", self.capture_folder)[1].decode()
        self.assertNotIn("calendar-time", given)

    def test_restart_begins_a_run_that_follows(self):
        # The second ones' numbers and times begin anew.
        before = [r[:8] + struct.pack("<Q", struct.unpack_from("<Q", r, 8)[0] + 10**9) + r[16:]
                  for r in generated(7, 40)]
        after = generated(8, 40)
        log = before + after
        folder = self.make_capture("restart", {"209": [log[i * 32:i * 32 + 32] for i in range(3)] + [log[64:]] * 45,
                                               "8": [[]], "9": [[]]})
        self.assertEqual(self.raw(folder), b"".join(log))
        counts = json.loads(velstat("decode", "--stats=json", "--format", "none", folder)[1])
        self.assertEqual((counts["read"], counts["sequence"]["restarts"]), (len(log), 1))

    def test_statistics_follow_each_log_by_itself(self):
        def gaps(records):
            numbers = [struct.unpack_from("<I", r, 4)[0] for r in dict.fromkeys(records)]
            return sum(b - a > 1 for a, b in zip(numbers, numbers[1:]))

        counts = json.loads(velstat("decode", "--stats=json", "--format", "none", self.capture_folder)[1])
        logs = [[r for batch in self.batches[kind] for r in batch] for kind in ("209", "9", "8")]
        self.assertEqual(counts["sequence"]["gaps"], sum(map(gaps, logs)))
        self.assertEqual((counts["sequence"]["restarts"], counts["sequence"]["duplicates"]), (0, 0))


class Lists(WithCapture):
    def test_property_lists(self):
        self.assertEqual(self.raw(*sorted(self.capture_folder.glob("*.plist"))), self.expected)

    def test_state_records(self):
        self.assertEqual(self.raw(*sorted(self.capture_folder.glob("*.state"))), self.expected)

    def test_xml_property_lists(self):
        files = []
        for file in sorted(self.capture_folder.glob("*.plist")):
            files.append(self.folder / (file.stem + ".xml"))
            files[-1].write_bytes(plistlib.dumps(plistlib.loads(file.read_bytes()), fmt=plistlib.FMT_XML))
        self.assertEqual(self.raw(*files), self.expected)

    def test_list_on_the_standard_input(self):
        file = next(self.capture_folder.glob("*KIP Profile 0 *type=err.plist"))
        self.assertEqual(self.raw("-", stdin=file.read_bytes()), b"".join(in_order(self.batches["8"][0])))


class Lines(WithCapture):
    def lines(self):
        """As in a log: the batches in order."""
        result = []
        for kind in ("fw", "kext", "err"):
            for index in range(48 if kind != "kext" else 8):
                file = next(self.capture_folder.glob(f"*KIP Profile {index} *type={kind}.plist"))
                result += plistlib.loads(file.read_bytes())
        return result

    def test_lines_inside_a_log(self):
        log = "".join(f"Nov 21 08:15:{i % 60:02} host velprofile[{i}]: {line} (end)\nother [text] {{ of others }}\n"
                      for i, line in enumerate(self.lines())).encode()
        once = b"".join(dict.fromkeys(self.returned))
        file = self.folder / "syslog"
        file.write_bytes(log)
        for jobs in ("1", "2", "5"):
            self.assertEqual(self.raw("--jobs", jobs, file), once)
        self.assertEqual(self.raw(stdin=log), once)
        self.assertEqual(self.raw("--all", file), b"".join(self.returned))

    def test_json_and_csv_come_back(self):
        for kind in ("json", "csv"):
            written = velstat("decode", "--format", kind, self.capture_folder)[1]
            self.assertEqual(self.raw(stdin=written), self.expected)
            file = self.folder / kind
            file.write_bytes(written)
            self.assertEqual(self.raw(file, "--jobs", "3"), self.expected)
            # With the times that they have.
            self.assertEqual(velstat("decode", "--format", kind, file)[1], written)

    def test_any_records_come_back_from_every_format(self):
        records = velstat("generate", "records", "--random", "--seed", "9", "--count", "3000")[1]
        for options in ((), ("--framed",), ("--format", "json"), ("--format", "csv"),
                        ("--timesync", "5,1700000000000000000", "--boot", "1690000000000000")):
            written = velstat("decode", *options, stdin=records)[1]
            self.assertEqual(self.raw("-", stdin=written), records, options)

    def test_text_gives_a_repeated_record_once_and_the_others_as_often_as_they_come(self):
        records = generated(4, 10)
        data = b"".join(records + records)
        text, table = velstat("decode", stdin=data)[1], velstat("decode", "--format", "csv", stdin=data)[1]
        self.assertEqual(self.raw("-", stdin=text), b"".join(records))
        self.assertEqual(self.raw("--all", "-", stdin=text), data)
        self.assertEqual(self.raw("-", stdin=table), data)
        self.assertEqual(self.raw("-", stdin=data), data)

    def test_lines_of_a_slow_source_appear_as_they_come(self):
        lines = velstat("decode", stdin=b"".join(generated(4, 3)))[1].splitlines(keepends=True)
        process = subprocess.Popen([VELSTAT, "decode", "--format", "raw"], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE)
        for line, record in zip(lines, generated(4, 3)):
            process.stdin.write(line)
            process.stdin.flush()
            self.assertEqual(process.stdout.read(SIZE), record)
        process.stdin.close()
        self.assertEqual(process.stdout.read(), b"")
        process.stdout.close()
        self.assertEqual(process.wait(timeout=60), 0)


class Refusals(WithCapture):
    def refused(self, expected, *arguments, output=b"", status=1):
        """One line on stderr, without its "velstat: ", and nothing written."""
        result = velstat("decode", *arguments)
        self.assertEqual(result, (status, output, f"velstat: {expected}\n"))

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return path

    def test_something_else(self):
        for content, what in [
                (b"\x89PNG\r\n\x1a\n" + bytes(40), "refused: a PNG picture"),
                (b"\xff\xd8\xff\xe0" + bytes(44), "refused: a JPEG picture"),
                (b"\x7fELF\x02\x01\x01" + bytes(89), "refused: a program (ELF)"),
                (gzip.compress(b"text"), "refused: compressed with gzip"),
                (b"SQLite format 3\0" + bytes(80), "refused: an SQLite database"),
                (b"Nov 21 08:15:02 host kernel: nothing of ours\n" * 3, "refused: text without lines of profile records"),
                ('{"device": "Gerät"}'.encode(), "refused: text without lines of profile records"),
                (b"some text\n" * 100000, "text without lines of profile records")]:
            path = self.file("other", content)
            self.refused(f"{path}: {what}", path)

    def test_folders(self):
        empty, other = self.folder / "empty", self.folder / "other folder"
        empty.mkdir()
        other.mkdir()
        (other / "notes.txt").write_text("notes")
        self.refused(f"{empty}: an empty folder", empty)
        self.refused(f"{other}: not a capture: the folder holds neither .state files nor manifest.json and log.jsonl",
                     other)

    def test_lists_that_are_not_of_a_capture(self):
        text = "a property list that holds neither lines of profile records nor a report of the plug-in"
        for value in ({"CFBundleName": "x"}, ["a", "b"], [], 7):
            for form in (plistlib.FMT_BINARY, plistlib.FMT_XML):
                path = self.file("list", plistlib.dumps(value, fmt=form))
                self.refused(f"{path}: {text}", path)
        path = self.file("list", b"<?xml version='1.0'?><html><body/></html>")
        self.refused(f"{path}: malformed property list: not an XML property list", path)
        path = self.file("list", b"<plist>" + b"<array>" * 1000)
        self.refused(f"{path}: property list nested too deep", path)

    def test_capture_with_a_truncated_record_gives_the_others(self):
        folder = self.make_capture("cut", {"209": [generated(1, 32)], "8": [[]], "9": [[]]})
        name = next(folder.glob("001-*.state"))
        whole = self.raw(folder)
        content = name.read_bytes()
        name.write_bytes(content[:-9])
        self.refused(f"{name}: offset 4: data size {len(content) - 200} where {len(content) - 209} bytes follow the header",
                     "--format", "raw", folder, output=whole)

    def test_line_that_is_contradicted(self):
        records = generated(4, 3)
        text = velstat("decode", stdin=b"".join(records))[1]
        begin = text.index(b"\n") + 1
        at = text.index(b"'binary-data':[", begin) + 15
        changed = bytes([records[1][0] ^ 1]) + records[1][1:]  # another type
        digits = len(str(records[1][0]))
        line = text[:at] + str(changed[0]).encode() + text[at + digits:]
        status, output, error = velstat("decode", "--format", "raw", stdin=line)
        self.assertEqual((status, output), (1, records[0] + changed + records[2]))
        self.assertRegex(error, r"^velstat: standard input: line 2: its words contradict its bytes at character \d+; "
                                r"the bytes are taken\n$")
        name = text[:begin] + text[begin:].replace(b"'event'", b"'evant'", 1)
        status, output, error = velstat("decode", "--format", "raw", stdin=name)
        self.assertEqual((status, output), (1, b"".join(records)))
        self.assertEqual(error.count("\n"), 1)
        self.assertIn("line 2: its words contradict", error)
        no_byte = text[:at] + b"x" + text[at + 1:]
        self.assertEqual(velstat("decode", "--format", "raw", stdin=no_byte),
                         (1, records[0] + records[2],
                          "velstat: standard input: line 2: its binary-data is not 48 bytes: no record\n"))

    def test_contradicted_lines_of_json_and_csv(self):
        records = generated(4, 3)
        for kind, line in (("json", 2), ("csv", 3)):
            lines = velstat("decode", "--format", kind, stdin=b"".join(records))[1].splitlines(keepends=True)
            place = line - 1
            name = lines[place].replace(b"timestamp", b"timestomp", 1) if kind == "json" else b"x" + lines[place][1:]
            for changed, output, what in [
                    (name, b"".join(records), "its words contradict its bytes at character "),
                    (lines[place].replace(b",", b";"), records[0] + records[2],
                     "its binary-data is not 48 bytes: no record")]:
                text = b"".join(lines[:place] + [changed] + lines[place + 1:])
                status, written, error = velstat("decode", "--format", "raw", stdin=text)
                self.assertEqual((status, written), (1, output), kind)
                self.assertEqual(error.count("\n"), 1, error)
                self.assertIn(f"standard input: line {line}: {what}", error)

    def test_lines_that_were_cut_are_counted(self):
        records = generated(4, 3)
        lines = velstat("decode", stdin=b"".join(records))[1].splitlines()
        text = lines[0] + b"\n" + lines[1][:200] + b"\n" + lines[2] + b"\n" + lines[1][:-60]
        self.assertEqual(velstat("decode", "--format", "raw", stdin=text),
                         (0, records[0] + records[2],
                          "velstat: standard input: 2 lines were cut before their bytes: no records\n"))

    def test_sensor_infos_of_a_capture_are_cut_at_their_first_nul(self):
        info = bytes([8, 9, 0, 2]) + struct.pack("<IQ", 7, 2_000_100) + bytes(32)
        folder = self.make_capture("info", {"209": [generated(1, 3) + [info]], "8": [[]], "9": [[]]})
        status, output, error = velstat("decode", "--format", "raw", folder)
        self.assertEqual((status, output), (0, b"".join(generated(1, 3))))
        self.assertRegex(error.splitlines()[0], r"type=fw\.state: 1 line was cut before its bytes: no record$")

    def test_file_that_shrinks_while_it_is_read(self):
        lines = velstat("decode", stdin=b"".join(generated(5, 2000)))[1]
        for name, content in (("shrinks.txt", lines * 8), ("shrinks.bin", b"".join(generated(5, 2000)) * 50)):
            path = self.file(name, content)
            # The output is not read, so that decoding waits for it half-way.
            process = subprocess.Popen([VELSTAT, "decode", "--all", path], stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE)
            process.stdout.read(1)
            os.truncate(path, 48)
            process.stdout.read()
            process.stdout.close()
            error = process.stderr.read().decode()
            process.stderr.close()
            self.assertEqual(process.wait(timeout=60), 1)
            self.assertRegex(error, rf"^velstat: {path}: became shorter while it was read: \d+ of {len(content)} bytes\n$")

    def test_other_inputs_are_read_all_the_same(self):
        picture = self.file("picture", b"\x89PNG\r\n\x1a\n" + bytes(40))
        records = self.file("records", b"".join(generated(4, 5)))
        self.assertEqual(velstat("decode", "--format", "raw", picture, records),
                         (1, b"".join(generated(4, 5)), f"velstat: {picture}: refused: a PNG picture\n"))


if __name__ == "__main__":
    unittest.main()
