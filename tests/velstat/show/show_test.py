"""velstat show: whole lines of what it prints, from files that the real writer and an outside one wrote."""

import json
import plistlib
import tempfile
import unittest
from pathlib import Path

from command import binary, record, run, run_on_terminal

BUTTON = {"last button press": {"click 1": {"button down ts": 5, "play asset ts": 7}, "click count": 1},
          "latency": {"max_latency_Total": 9}}


class Show(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.write("button.state", record(b"ZORB Statistics", BUTTON))
        self.write("button.plist", binary(BUTTON))

    def write(self, name, content):
        (self.folder / name).write_bytes(content)

    def show(self, *arguments, stdin=b""):
        return run("show", *arguments, cwd=self.folder, stdin=stdin)

    def size(self, name):
        return (self.folder / name).stat().st_size

    TREE = """\
  last button press
    click 1
      button down ts  5
      play asset ts   7
    click count  1
  latency
    max_latency_Total  9
"""

    def test_a_record_has_its_title_as_header(self):
        self.assertEqual(self.show("button.state"),
                         (0, f"ZORB Statistics  button.state, state record, {self.size('button.state')} bytes\n"
                          + self.TREE, ""))

    def test_several_files_and_standard_input_are_told_by_their_content(self):
        self.write("no.extension", record(b"", {"a": 1}, b"lib"))
        status, out, errors = self.show("button.plist", "-", "no.extension", stdin=binary([True, 0.5]))
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(out, f"button.plist  property list, {self.size('button.plist')} bytes\n" + self.TREE + f"""
standard input  property list, {len(binary([True, 0.5]))} bytes
  0  true
  1  0.5

(no title)  no.extension, state record, {self.size('no.extension')} bytes, decoder lib \n  a  1
""")

    def test_what_capture_writes_is_what_it_shows(self):
        self.assertEqual(run("capture", "--out", "snapshot", cwd=self.folder)[0], 0)
        _, captured, _ = run("capture", "--format", "json", cwd=self.folder)
        names = sorted(path.name for path in (self.folder / "snapshot").glob("*.state"))
        self.assertGreater(len(names), 1)
        status, out, errors = self.show("--format", "json", *[f"snapshot/{name}" for name in names])
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual([(shown["title"], shown["value"]) for shown in json.loads(out)],
                         [(kept["title"], kept["value"]) for kept in json.loads(captured)["records"]])

    def test_json_is_one_document(self):
        one = {"file": "button.state", "kind": "state record", "size": self.size("button.state"),
               "title": "ZORB Statistics", "decoder library": "", "decoder type": "", "value": BUTTON}
        other = {"file": "button.plist", "kind": "property list", "size": self.size("button.plist"), "value": BUTTON}
        status, out, errors = self.show("--format", "json", "button.state")
        self.assertEqual((status, json.loads(out), errors), (0, one, ""))
        status, out, errors = self.show("--format", "json", "button.state", "button.plist")
        self.assertEqual((status, json.loads(out), errors), (0, [one, other], ""))
        status, out, errors = self.show("--format", "json", "button.state", "none")
        self.assertEqual((status, json.loads(out), errors), (1, [one], "velstat: none: No such file or directory\n"))

    def test_what_a_tree_has_no_type_for_is_a_dictionary_of_one_key(self):
        self.write("odd", binary({"uid": plistlib.UID(7), "big": 2**64 - 1, "data": b"\x00\xff"}))
        self.assertEqual(json.loads(self.show("--format", "json", "odd")[1])["value"],
                         {"uid": {"$uid": 7}, "big": {"$integer": "18446744073709551615"}, "data": {"$data": "00ff"}})

    def test_paths_choose_values(self):
        header = f"ZORB Statistics  button.state, state record, {self.size('button.state')} bytes\n"
        self.assertEqual(self.show("--path", "last button press/click 1/*", "button.state"), (0, header + """\
  last button press/click 1/button down ts  5
  last button press/click 1/play asset ts   7
""", ""))
        self.assertEqual(self.show("--path", "latency", "button.state", "--path", "**/button*"), (0, header + """\
  last button press/click 1/button down ts  5
  latency
    max_latency_Total  9
""", ""))
        status, out, errors = self.show("--format", "json", "--path", "*/click [0-9]", "button.plist")
        self.assertEqual((status, json.loads(out)["matches"], errors), (
            0, [{"path": "last button press/click 1", "value": BUTTON["last button press"]["click 1"]}], ""))

    def test_a_path_need_match_in_one_file_only(self):
        self.write("other.plist", binary({"x": 1}))
        size = self.size("other.plist")
        self.assertEqual(self.show("--path", "x", "button.plist", "other.plist"),
                         (0, f"other.plist  property list, {size} bytes\n  x  1\n", ""))
        self.assertEqual(self.show("--path", "x", "--path", "y/**", "button.plist", "other.plist"),
                         (1, f"other.plist  property list, {size} bytes\n  x  1\n",
                          "velstat: --path 'y/**': nothing matches\n"))

    def test_lists_in_xml(self):
        self.write("button.xml", plistlib.dumps(BUTTON, fmt=plistlib.FMT_XML, sort_keys=False))
        self.assertEqual(self.show("button.xml"),
                         (0, f"button.xml  property list, {self.size('button.xml')} bytes\n" + self.TREE, ""))
        status, out, errors = self.show("--format", "json", "--path", "latency/*", "-", stdin=(self.folder / "button.xml").read_bytes())
        self.assertEqual((status, json.loads(out)["matches"], errors),
                         (0, [{"path": "latency/max_latency_Total", "value": 9}], ""))

    def test_wrong_usage(self):
        self.assertEqual(self.show("--path", "a/b[c", "button.plist"),
                         (2, "", "velstat: --path: 'a/b[c' has a \"[\" without its \"]\"\n"))
        self.assertEqual(self.show(), (2, "", "velstat: INPUT is required\n"))
        self.assertEqual(self.show("--format", "xml", "button.plist")[0], 2)

    def test_errors_name_file_offset_and_cause_and_the_rest_is_shown(self):
        good = binary({"x": 1})
        rows = [
            (b"", "raw records, which 'velstat decode' shows; this command shows captures, state records and property "
             "lists"),
            (b"hello", "refused: text without lines of profile records"),
            (b"{  'category':  'zorb'", "lines of text, which 'velstat decode' shows; this command shows captures, state "
             "records and property lists"),
            (b"\x89PNG\r\n\x1a\n", "refused: a PNG picture"),
            (b"<?xml version='1.0'?>", "malformed property list: not an XML property list"),
            (b"bplist00", "offset 8: ends before a binary property list has its trailer of 32 bytes"),
            (record(b"t", {})[:150], "ends at offset 150: a state record has a header of 200 bytes"),
            (record(b"t", {}) + b"\0", "offset 4: data size 42 where 43 bytes follow the header"),
            (record(b"t", {}).replace(b"\xd0", b"\x0f"), "offset 208: no value begins with byte 0x0f"),
        ]
        for i, (content, cause) in enumerate(rows):
            with self.subTest(cause):
                self.write(f"bad{i}", content)
                self.assertEqual(self.show(f"bad{i}", "-", stdin=good),
                                 (1, f"standard input  property list, {len(good)} bytes\n  x  1\n",
                                  f"velstat: bad{i}: {cause}\n"))
        (self.folder / "empty").mkdir()
        self.assertEqual(self.show("empty"), (1, "", "velstat: empty: an empty folder\n"))
        with (self.folder / "large").open("wb") as large:
            large.write(b"bplist00")
            large.truncate((64 << 20) + 1)
        self.assertEqual(self.show("large"),
                         (1, "", "velstat: large: longer than the 67108864 bytes that are allowed\n"))

    def test_a_terminal_gets_no_control_characters_but_our_colours(self):
        self.write("evil.state", record(b"t\x1b]0;x\x07", {"k\x1b[2J": "v\r\u202e"}))
        size = self.size("evil.state")
        plain = f"t\\x1B]0;x\\x07  evil.state, state record, {size} bytes\n  k\\x1B[2J  v\\x0D\\u{{202E}}\n"
        self.assertEqual(run_on_terminal("show", "evil.state", cwd=self.folder, NO_COLOR="1"), plain)
        coloured = run_on_terminal("show", "evil.state", cwd=self.folder)
        for code in "1", "2", "0":
            coloured = coloured.replace(f"\x1b[{code}m", "")
        self.assertEqual(coloured, plain)
        self.assertIn("\x1b[1mt\\x1B]0;x\\x07\x1b[0m", run_on_terminal("show", "evil.state", cwd=self.folder))
        self.assertEqual(self.show("evil.state"), (0, plain, ""))


class ShowCapture(unittest.TestCase):
    """A folder of `velstat capture --out`, and one that holds only records."""
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        model = {"name": "small", "services": [
            {"name": "Gyro", "transport": "VEL", "usages": [{"page": 65280, "usage": 9}],
             "registry": {"great-grandparent": {"name": "gyro"}},
             "driver": {"property-replies": {"0": [{"u32": 5000}]}, "command-replies": {"57": [{"clients": []}]}}},
            {"name": "Compass", "transport": "VEL", "usages": [{"page": 65280, "usage": 10}]}]}
        (cls.folder / "model.json").write_text(json.dumps(model))
        status, _, errors = run("capture", "--model", "model.json", "--out", "small", cwd=cls.folder)
        assert status == 0, errors
        (cls.folder / "plain").mkdir()
        for i, title in enumerate((b"B", b"A", b"A")):
            (cls.folder / f"plain/{i}-x.state").write_bytes(record(title, {"k/l": i}))

    def show(self, *arguments):
        return run("show", *arguments, cwd=self.folder)

    def test_the_device_comes_before_the_reports(self):
        status, out, errors = self.show("small")
        self.assertEqual((status, errors), (0, ""))
        device, report = out.split("\n\n")
        lines = device.splitlines()
        self.assertEqual(lines[:24], [
            "small  capture", "  device   small", "  model    model.json", "  plug-in  com.tavik.TavikVELHIDStatistics",
            "  version  1.0.0", "  api      3", "  services", "    Gyro", "      usages    0xff00/0x09", "      opened    true",
            "      handlers  105", "      answered  1", "      not answered", "        failed: service  104", "    Compass",
            "      usages    0xff00/0x0a", "      opened    false", "      handlers  1", "      answered  0",
            "      not answered", "        failed: context->_driver._interface  1", "  handlers", "    1", "      service   Gyro"])
        self.assertEqual(lines[-4:], ["    106", "      service      Compass", "      answered     false",
                                      "      result text  failed: context->_driver._interface"])
        path, = (self.folder / "small").glob("*.state")
        self.assertEqual(report, self.show(f"small/{path.name}")[1])

    def test_titles_are_the_first_elements_of_paths(self):
        sizes = [(self.folder / f"plain/{i}-x.state").stat().st_size for i in range(3)]
        self.assertEqual(self.show("--path", "A/*", "plain"), (0, f"""\
A  plain/1-x.state, state record, {sizes[1]} bytes
  A/k\\\\/l  1

A  plain/2-x.state, state record, {sizes[2]} bytes
  A/k\\\\/l  2
""", ""))
        self.assertEqual(self.show("--path", "k*", "plain"), (1, "", "velstat: --path 'k*': nothing matches\n"))
        status, out, errors = self.show("--path", "*/reportInterval", "--path", "services/*/answered", "small")
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual([line for line in out.splitlines() if line.startswith("  ")],
                         ["  services/Gyro/answered     1", "  services/Compass/answered  0", "  SensorInfo/reportInterval  5000"])

    def test_json(self):
        status, out, errors = self.show("--format", "json", "small")
        shown = json.loads(out)
        self.assertEqual((status, errors, shown["file"], shown["kind"]), (0, "", "small", "capture"))
        self.assertEqual(shown["services"]["Compass"], {
            "usages": "0xff00/0x0a", "opened": False, "handlers": 1, "answered": 0,
            "not answered": {"failed: context->_driver._interface": 1}})
        self.assertEqual([report["title"] for report in shown["reports"]], ["SensorInfo"])
        report, = shown["reports"]
        self.assertEqual(report, json.loads(self.show("--format", "json", report["file"])[1]))
        status, out, errors = self.show("--format", "json", "--path", "*/k*", "plain", "plain/0-x.state")
        self.assertEqual((status, errors, [match["path"] for match in json.loads(out)[0]["matches"]]),
                         (0, "", ["B/k\\/l", "A/k\\/l", "A/k\\/l"]))

    def test_a_path_may_match_the_device_only(self):
        self.assertEqual(self.show("--path", "services/Gyro/opened", "small"), (0, "small  capture\n  services/Gyro/opened  true\n", ""))
        status, out, errors = self.show("--format", "json", "--path", "services/Gyro/opened", "small")
        self.assertEqual((status, json.loads(out)["matches"], errors), (0, [{"path": "services/Gyro/opened", "value": True}], ""))

    def test_paths_are_those_of_query(self):
        """The title, a slash and the path in the table of states name the same value."""
        rows = run("query", "--format", "json", "small", "SELECT report, path, value FROM state", cwd=self.folder)[1]
        rows = [json.loads(row) for row in rows.splitlines()]
        self.assertGreater(len(rows), 5)
        shown = json.loads(self.show("--format", "json", "--path", "SensorInfo/**/*", "small")[1])["matches"]
        self.assertEqual([(match["path"], match["value"]) for match in shown],
                         [(f"{row['report']}/{row['path']}", row["value"]) for row in rows])


if __name__ == "__main__":
    unittest.main()
