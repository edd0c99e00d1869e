"""records and query on any source, and what they say about wrong ones."""

import os
import subprocess
import sys
import unittest
import warnings

import sample
import velprofile


def children():
    """The processes that this one has started and not waited for."""
    with open(f"/proc/self/task/{os.getpid()}/children") as file:
        return file.read().split()


class Records(sample.InFolder):
    def test_records_are_those_of_velstat_for_every_kind_of_source(self):
        content = sample.every_layout(each=3)
        raw = self.file("raw", content)
        sources = [raw, self.file("unnamed", b"\xff" * 96)]
        for form in ("json", "csv", "text"):
            sources.append(self.file(form, sample.velstat("decode", "--format", form, raw)))
        capture = self.folder / "capture"
        sample.velstat("capture", "--out", capture)
        sources += [capture, next(capture.glob("*KIP Profile 0*.state"))]
        for source in sources:
            with self.subTest(source.name):
                given = list(velprofile.records(source))
                self.assertEqual(b"".join(given), sample.velstat("decode", "--format", "raw", source))
                self.assertGreater(len(given), 1)
                self.assertIsInstance(given[0], velprofile.Record)

    def test_several_sources_are_read_in_order(self):
        first, second = self.file("first", bytes(48)), self.file("second", b"\xff" * 48)
        self.assertEqual(list(velprofile.records([str(first), second])), [bytes(48), b"\xff" * 48])
        self.assertEqual(list(velprofile.records([second, first])), [b"\xff" * 48, bytes(48)])

    def test_names_that_look_like_options_are_files(self):
        os.chdir(self.folder)
        self.file("--stats", b"\xff" * 48)
        self.assertEqual(list(velprofile.records("--stats")), [b"\xff" * 48])

    def test_pieces_of_any_size_are_put_together(self):
        content = b"\xff" * 48 + sample.every_layout(each=1)
        path = self.file("records", content)
        for size in (1, 47, 49, 100):
            with self.subTest(size):
                self.addCleanup(setattr, velprofile._sources, "BLOCK", velprofile._sources.BLOCK)
                velprofile._sources.BLOCK = size
                self.assertEqual(b"".join(velprofile.records(path)), content)
                rows = velprofile.query(path, "SELECT hex(record) AS record FROM records")
                self.assertEqual("".join(row.record for row in rows), content.hex().upper())

    def test_standard_input_is_read_even_if_a_file_has_its_name(self):
        self.file("-", bytes(48))
        script = "import velprofile; print(list(velprofile.records('-')) == [b'\\xff' * 48])"
        shown = subprocess.run([sys.executable, "-c", script], cwd=self.folder, input=b"\xff" * 48, check=True,
                               capture_output=True).stdout
        self.assertEqual(shown, b"True\n")

    def test_only_certain_raw_files_are_read_directly(self):
        named = sample.every_layout(each=1)
        cases = [
            ("named ids", named, True),
            ("a category without a name", named + b"\0\0\0\x0a" + bytes(44), False),
            ("a type without a name", named + b"\x0d\0\0\0" + bytes(44), False),
            ("the beginning of a state record", b"\1\0\0\0" + bytes(44), False),
            ("a cut record", named + bytes(13), False),
            ("tabs", b"\t" * 96, False),
            ("nothing", b"", False),
        ]
        start = velprofile._sources.start
        self.addCleanup(setattr, velprofile._sources, "start", start)
        for name, content, direct in cases:
            with self.subTest(name):
                path = self.file("records", content)
                started = []
                velprofile._sources.start = lambda *given: started.append(given) or start(*given)
                try:
                    list(velprofile.records(path))
                except velprofile.Error:
                    pass  # velstat says so
                self.assertEqual(started == [], direct)

    def test_stopping_early_ends_velstat(self):
        path = self.file("records", b"\xff" * 48 * 100_000)
        given = velprofile.records(path)
        next(given)
        self.assertEqual(len(children()), 1)
        del given
        self.assertEqual(children(), [])

    def test_what_could_be_read_comes_before_the_error(self):
        path = self.file("cut", b"\xff" * 96 + bytes(13))
        seen = []
        with self.assertRaises(velprofile.Error) as caught:
            for record in velprofile.records(path):
                seen.append(record)
        self.assertEqual(len(seen), 2)
        self.assertEqual(str(caught.exception), f"{path}: offset 96: the last record is cut short, 13 of 48 bytes")

    def test_what_velstat_notes_without_failing_is_a_warning(self):
        line = sample.velstat("decode", "--format", "text", "-", stdin=bytes(48))
        path = self.file("log", line + line[:300] + b"\n")
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            self.assertEqual(list(velprofile.records(path)), [bytes(48)])
        self.assertEqual([str(warning.message) for warning in caught],
                         [f"{path}: 1 line was cut before its bytes: no record"])


class WrongInput(sample.InFolder):
    def test_each_function_raises_one_error_with_velstats_words(self):
        folder = self.folder / "folder"
        folder.mkdir()
        (folder / "notes.txt").write_text("not a report")
        sources = [
            (self.folder / "missing", "No such file or directory"),
            (folder, "not a capture: the folder holds neither .state files nor manifest.json and log.jsonl"),
            (self.file("47", bytes(47)), "offset 0: the last record is cut short, 47 of 48 bytes"),
            (self.file("picture", b"\x89PNG\r\n\x1a\n" + bytes(88)), "refused: a PNG picture"),
        ]
        functions = [
            velprofile.records,
            velprofile.to_numpy,
            velprofile.to_dataframe,
            lambda source: list(velprofile.query(source, "SELECT count(*) FROM records")),
        ]
        for source, what in sources:
            for function in functions:
                with self.subTest(source=source.name, function=function):
                    with self.assertRaises(velprofile.Error) as caught:
                        function(source)
                    self.assertEqual(str(caught.exception), f"{source}: {what}")

    def test_a_path_with_a_nul_is_an_error(self):
        with self.assertRaisesRegex(velprofile.Error, r"^embedded null byte in 'a\\x00b'$"):
            velprofile.records("a\0b")

    def test_no_source_is_an_error(self):
        with self.assertRaisesRegex(velprofile.Error, "^no source: give one path or several$"):
            velprofile.records([])


class Query(sample.InFolder):
    def setUp(self):
        super().setUp()
        self.path = self.file("records", sample.every_layout(each=2))

    def rows(self, sql):
        return list(velprofile.query(self.path, sql))

    def test_rows_have_typed_values_by_name(self):
        rows = self.rows("SELECT 1 AS a, 1.5 AS b, NULL AS c, x'00ff' AS d, 'ä\n' AS e, -9223372036854775808 AS f")
        self.assertEqual(rows, [{"a": 1, "b": 1.5, "c": None, "d": "00ff", "e": "ä\n", "f": -2**63}])
        self.assertIsInstance(rows[0].b, float)
        self.assertEqual(rows[0].e, "ä\n")
        with self.assertRaisesRegex(AttributeError, "^the row has no column 'g'; it has a, b, c, d, e, f$"):
            rows[0].g

    def test_rows_answer_the_question(self):
        counted = self.rows("SELECT category, count(*) AS n FROM records GROUP BY 1")
        self.assertEqual(sum(row.n for row in counted), 2 * len(sample.HEADS))
        self.assertEqual(self.rows("SELECT 1 FROM records WHERE 0"), [])

    def test_sql_may_begin_with_a_comment(self):
        self.assertEqual(self.rows("-- a comment\nSELECT 1 AS n"), [{"n": 1}])

    def test_several_sources_are_told_apart(self):
        rows = velprofile.query([self.path, self.file("other", bytes(48))], "SELECT DISTINCT source FROM records")
        self.assertEqual([os.path.basename(row.source) for row in rows], ["records", "other"])

    def test_wrong_sql_is_one_error_in_the_call(self):
        cases = [
            ("SELECT speed FROM records", "no such column: speed"),
            ("SELEC 1", "syntax error"),
            ("", "the SQL holds no statement"),
            ("DELETE FROM records", "table records may not be modified"),
        ]
        for sql, what in cases:
            with self.subTest(sql):
                with self.assertRaises(velprofile.Error) as caught:
                    velprofile.query(self.path, sql)
                self.assertIn(what, str(caught.exception))
                self.assertNotIn("\n", str(caught.exception))


unittest.main(argv=sys.argv[:1])
