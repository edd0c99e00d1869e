"""decode, Record and names against what velstat writes of the same records."""

import struct
import sys
import unittest

import sample
import velprofile


def framed(records, *options):
    """The texts that velstat decode writes, as bytes; they may hold newlines."""
    out = sample.velstat("decode", "--format", "text", "--framed", *options, "-", stdin=records)
    texts = []
    while out:
        (length,) = struct.unpack_from("<I", out)
        texts.append(out[4:4 + length])
        out = out[4 + length:]
    return texts


def plain(value):
    """A value of a payload as JSON has it, from one of Record.fields()."""
    return list(value) if isinstance(value, bytes) else value


class Decode(unittest.TestCase):
    def test_texts_are_those_of_velstat_for_every_layout(self):
        records = sample.every_layout()
        self.assertEqual([text.encode("latin-1") for text in velprofile.decode(records)], framed(records))

    def test_times_are_added_as_velstat_adds_them(self):
        records = sample.every_layout(each=1)
        cases = [
            ({"timesync": (5413 * 10**9, 1731005413 * 10**9)}, ["--timesync", f"{5413 * 10**9},{1731005413 * 10**9}"]),
            ({"boot": 1731 * 10**12}, ["--boot", f"{1731 * 10**12}"]),
            ({"boot": 5, "timesync": (1, 2)}, ["--boot", "5", "--timesync", "1,2"]),
        ]
        for keywords, options in cases:
            with self.subTest(keywords):
                texts = [text.encode("latin-1") for text in velprofile.decode(records, **keywords)]
                self.assertEqual(texts, framed(records, *options))
                self.assertNotEqual(texts, framed(records))

    def test_no_records_have_no_texts(self):
        self.assertEqual(velprofile.decode(b""), [])

    def test_any_bytes_like_object_is_taken(self):
        records = sample.every_layout(each=1)
        for kind in (bytearray, memoryview):
            self.assertEqual(velprofile.decode(kind(records)), velprofile.decode(records))

    def test_what_is_not_whole_records_is_one_error(self):
        for size, rest in ((47, 47), (49, 1), (1, 1), (48 * 300 + 13, 13)):
            with self.subTest(size):
                with self.assertRaises(velprofile.Error) as caught:
                    velprofile.decode(bytes(size))
                self.assertEqual(str(caught.exception), f"{size} bytes are not whole records of 48 bytes:"
                                                        f" the last one has {rest}")


class Record(unittest.TestCase):
    def test_head_and_payload_are_those_of_velstat(self):
        content = sample.every_layout()
        expected = sample.as_json(content)
        self.assertEqual(len(expected), len(content) // 48)
        for at, line in enumerate(expected):
            record = velprofile.Record(content[48 * at:48 * at + 48])
            head = {"category": record.category, "component": record.component, "event": record.event,
                    "type": record.type, "timestamp": str(record.timestamp), "sequence_num": record.sequence_num,
                    "type-id": record.type_id, "category-id": record.category_id, "component-id": record.component_id,
                    "event-id": record.event_id, "binary-data": list(record)}
            self.assertEqual(head, {key: value for key, value in line.items() if key in head})
            fields = record.fields()
            self.assertEqual([layout for layout, _ in fields], [group["layout"] for group in line["payload"]])
            for (_, given), group in zip(fields, line["payload"]):
                self.assertEqual(list(given), list(group["fields"]))
                for key, value in group["fields"].items():
                    if isinstance(value, dict):
                        value = value["name"]
                    shown = plain(given[key])
                    self.assertEqual(type(value)(shown) if isinstance(value, str) else shown, value, key)

    def test_text_and_repr(self):
        record = velprofile.Record(struct.pack("<BBBBIQ32x", 3, 5, 3, 7, 9, 1000))
        self.assertEqual(str(record), velprofile.decode(record)[0])
        self.assertEqual(repr(record), "<Record zorb latency ckp_HaldenStartHaptics event timestamp=1000 sequence_num=9>")

    def test_only_48_bytes_are_a_record(self):
        for size in (0, 47, 49, 96):
            with self.subTest(size), self.assertRaisesRegex(velprofile.Error, f"^a record is 48 bytes, not {size}$"):
                velprofile.Record(bytes(size))


class Names(unittest.TestCase):
    def test_each_id_has_its_name_or_its_number(self):
        names = velprofile.names
        cases = [
            (names.category(2), "sensors"),
            (names.category(4000000000), "4000000000"),
            (names.component(7, 6), "kipvoicetrigger"),
            (names.component(12, 3), "3"),
            (names.event(7, 3, 5), "ckp_HaldenStartHaptics"),
            (names.type(10), "zorb-context"),
            (names.action(7, 1, 224), "AmpPowerUpPhase1"),
            (names.action(2, 1, 224), "224"),
        ]
        for name, expected in cases:
            self.assertEqual(name, expected)

    def test_all_names_leave_out_ids_without_one(self):
        names = velprofile.names
        self.assertEqual(list(names.categories()), list(range(10)))
        self.assertEqual(names.components(6), {0: "uart0", 1: "uart1", 2: "uart2"})
        self.assertEqual(names.events(3, 0), {0: "latency", 1: "monitor", 17: "trigger-latency"})
        self.assertEqual(names.types()[3], "event")
        self.assertEqual(len(names.types()), 13)
        self.assertEqual(names.actions(7, 0)[232], "PreWarmToIVEnabled")
        self.assertEqual(names.actions(0, 0), {})

    def test_what_is_not_an_id_is_an_error(self):
        for number in (-1, 2**32):
            with self.subTest(number), self.assertRaisesRegex(velprofile.Error, f"^{number} is not an id"):
                velprofile.names.category(number)


unittest.main(argv=sys.argv[:1])
