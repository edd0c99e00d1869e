"""to_numpy and to_dataframe against velstat decode --format json, for each layout."""

import subprocess
import sys
import unittest

import numpy
import sample
import velprofile


def from_json(value):
    """A value of a payload as to_dataframe has it."""
    if isinstance(value, dict):
        return value["name"]
    return bytes(value) if isinstance(value, list) else value


def raw_number(field, value):
    """What the array holds of a number in JSON."""
    if isinstance(value, dict):
        return value["id"]
    return round(value * 65536) if field.kind == velprofile.Kind.FIXED_POINT else int(value)


class Arrays(sample.InFolder):
    def setUp(self):
        super().setUp()
        self.content = sample.every_layout()
        self.path = self.file("records", self.content)
        self.json = sample.as_json(self.content)

    def groups(self, layout):
        """The first payload with this layout of each record that shows it."""
        for line in self.json:
            found = [group["fields"] for group in line["payload"] if group["layout"] == layout]
            if found:
                yield line, found[0]

    def test_head_is_that_of_velstat(self):
        array = velprofile.to_numpy(self.path)
        self.assertEqual(len(array), len(self.json))
        for key in ("type", "event", "component", "category"):
            self.assertEqual(array[key].tolist(), [line[f"{key}-id"] for line in self.json])
        self.assertEqual(array["sequence_num"].tolist(), [line["sequence_num"] for line in self.json])
        self.assertEqual(array["timestamp"].tolist(), [int(line["timestamp"]) for line in self.json])
        self.assertEqual(array["payload"].tolist(), [line["binary-data"][16:] for line in self.json])

    def test_fields_of_each_layout_are_those_of_velstat(self):
        array = velprofile.to_numpy(self.path)
        self.assertEqual(list(velprofile.layouts()), list(sample.HEADS))
        for name, layout in velprofile.layouts().items():
            expected = list(self.groups(name))
            self.assertGreaterEqual(len(expected), 40, name)
            selected = velprofile.select(array, name)
            self.assertEqual(selected["sequence_num"].tolist(), [line["sequence_num"] for line, _ in expected], name)
            for field in layout.fields:
                with self.subTest(layout=name, key=field.key):
                    values = [fields[field.key] for _, fields in expected]
                    if field.kind == velprofile.Kind.CONSTANT:
                        self.assertNotIn(field.key, selected.dtype.names)
                        self.assertEqual(set(values), {field.parameter})
                        continue
                    column = selected[field.key].tolist()
                    if field.kind == velprofile.Kind.TEXT:
                        column = [text.partition(b"\0")[0].decode("latin-1") for text in column]
                    elif field.kind == velprofile.Kind.SLICED_BYTES:
                        column = [dump[:len(value)] for dump, value in zip(column, values)]
                    elif field.kind != velprofile.Kind.BYTES:
                        values = [raw_number(field, value) for value in values]
                    self.assertEqual(column, values)

    def test_frames_hold_what_velstat_shows(self):
        array = velprofile.to_numpy(self.path)
        for name, layout in velprofile.layouts().items():
            expected = list(self.groups(name))
            frame = velprofile.to_dataframe(array, name)
            self.assertEqual(list(frame.columns), ["timestamp", "sequence_num", "category", "component", "event", "type"]
                             + [field.key for field in layout.fields])
            for key in ("category", "component", "event", "type", "sequence_num"):
                self.assertEqual(frame[key].tolist(), [line[key] for line, _ in expected])
            for field in layout.fields:
                with self.subTest(layout=name, key=field.key):
                    values = [from_json(fields[field.key]) for _, fields in expected]
                    if field.size == 8 and field.kind == velprofile.Kind.NUMBER:
                        values = [int(value) for value in values]
                    self.assertEqual(frame[field.key].tolist(), values)

    def test_frame_without_layout_has_all_records(self):
        frame = velprofile.to_dataframe(self.path)
        for key in ("category", "component", "event", "type", "sequence_num"):
            self.assertEqual(frame[key].tolist(), [line[key] for line in self.json])

    def test_raw_files_are_mapped_and_read_only(self):
        array = velprofile.to_numpy(self.path)
        self.assertIsInstance(array, numpy.memmap)
        with self.assertRaises(ValueError):
            array["type"][0] = 1
        with self.path.open("r+b") as file:
            file.write(b"\x05")
        self.assertEqual(array["type"][0], 5, "the array shows the file")

    def test_views_of_all_layouts_share_the_memory(self):
        array = velprofile.to_numpy(self.path)
        for name in velprofile.layouts():
            self.assertTrue(numpy.shares_memory(array.view(velprofile.dtype(name)), array), name)

    def test_other_sources_are_read_into_one_read_only_buffer(self):
        for form in ("json", "csv", "text"):
            with self.subTest(form):
                path = self.file(form, sample.velstat("decode", "--all", "--format", form, self.path))
                array = velprofile.to_numpy(path)
                self.assertNotIsInstance(array, numpy.memmap)
                self.assertFalse(array.flags.writeable)
                self.assertEqual(array.tobytes(), sample.velstat("decode", "--format", "raw", path))
        both = velprofile.to_numpy([self.path, self.path])
        self.assertEqual(both.tobytes(), self.content * 2)

    def test_empty_file_has_no_records(self):
        array = velprofile.to_numpy(self.file("empty", b""))
        self.assertEqual(len(array), 0)
        self.assertEqual(array.dtype, velprofile.dtype())
        self.assertEqual(len(velprofile.select(array, "event")), 0)
        self.assertEqual(len(velprofile.to_dataframe(array, "zorb-event")), 0)

    def test_slices_with_steps_are_selected_too(self):
        array = velprofile.to_numpy(self.path)
        self.assertEqual(velprofile.shows(array[::3], "event").tolist(), velprofile.shows(array, "event")[::3].tolist())

    def test_what_is_not_an_array_of_records_is_an_error(self):
        for array in (numpy.zeros(4), numpy.zeros((2, 2), velprofile.dtype())):
            with self.assertRaisesRegex(velprofile.Error, "^an array of records has one dimension and 48 bytes"):
                velprofile.select(array, "event")
        with self.assertRaisesRegex(velprofile.Error, "^there is no layout 'evnt'; there are long-data, "):
            velprofile.select(velprofile.to_numpy(self.path), "evnt")

    def test_import_needs_neither_numpy_nor_pandas(self):
        script = "import sys, velprofile; velprofile.decode(bytes(48)); print(*sys.modules)"
        modules = subprocess.run([sys.executable, "-c", script], check=True, capture_output=True, text=True).stdout.split()
        self.assertIn("velprofile._arrays", modules)
        for name in ("numpy", "pandas"):
            self.assertNotIn(name, modules)


unittest.main(argv=sys.argv[:1])
