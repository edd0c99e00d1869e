#!/usr/bin/env python3
"""Decodes profile records with libvelprofile: decode_records.py LIBRARY RECORDS [--fields]

Prints the text of each record, or with --fields its payload as JSON. An example of the C interface from another
language; it needs nothing but Python's standard library. The module velprofile (docs/python.md) does more in less.
"""
import ctypes
import json
import os
import sys

RECORD_SIZE = 48
NUMBER, CONSTANT, QUOTED_NUMBER, TEXT, SUBTYPE_NAME, BYTES, SLICED_BYTES, CHARACTER, FIXED_POINT = range(9)


class Times(ctypes.Structure):
    CALENDAR, BOOT = 1, 2
    _fields_ = [
        ("flags", ctypes.c_uint32),
        ("vel", ctypes.c_int64),
        ("calendar", ctypes.c_int64),
        ("boot", ctypes.c_uint64),
    ]


class Field(ctypes.Structure):
    _fields_ = [
        ("layout", ctypes.c_char_p),
        ("key", ctypes.c_char_p),
        ("group", ctypes.c_uint32),
        ("kind", ctypes.c_uint32),
        ("offset", ctypes.c_uint32),
        ("size", ctypes.c_uint32),
        ("width", ctypes.c_uint32),
        ("length", ctypes.c_uint32),
        ("number", ctypes.c_uint64),
        ("real", ctypes.c_double),
        ("bytes", ctypes.c_ubyte * 32),
    ]

    def value(self):
        content = bytes(self.bytes[: self.length])
        if self.kind in (TEXT, SUBTYPE_NAME):
            return content.decode("latin-1")
        if self.kind in (BYTES, SLICED_BYTES):
            return list(content)
        return self.real if self.kind == FIXED_POINT else self.number


class Decoder:
    def __init__(self, path):
        self._library = ctypes.CDLL(path)
        for name in ("vel_profile_render", "vel_profile_fields", "vel_profile_category_name"):
            getattr(self._library, name).restype = ctypes.c_size_t

    def text(self, record, times=None):
        """The text of a record, as bytes: it may contain NULs and bytes that are not UTF-8."""
        times = ctypes.byref(times) if times else None
        length = self._library.vel_profile_render(record, times, None, ctypes.c_size_t(0))
        out = ctypes.create_string_buffer(length + 1)
        self._library.vel_profile_render(record, times, out, ctypes.c_size_t(length + 1))
        return out.raw[:length]

    def fields(self, record):
        """The payload as (layout, {key: value}) pairs: a layout can be shown twice, and layouts share keys."""
        out = (Field * 32)()
        count = self._library.vel_profile_fields(record, out, ctypes.c_size_t(len(out)))
        groups = []
        for field in out[:count]:
            if field.group == len(groups):
                groups.append((field.layout.decode(), {}))
            groups[field.group][1][field.key.decode()] = field.value()
        return groups

    def category(self, category):
        out = ctypes.create_string_buffer(32)
        self._library.vel_profile_category_name(ctypes.c_uint32(category), out, ctypes.c_size_t(len(out)))
        return out.value.decode()


def main(library, path, *options):
    decoder = Decoder(library)
    with open(path, "rb") as file:
        while len(record := file.read(RECORD_SIZE)) == RECORD_SIZE:
            if "--fields" in options:
                print(json.dumps({"category": decoder.category(record[3]), "payload": decoder.fields(record)}))
            else:
                sys.stdout.buffer.write(decoder.text(record) + b"\n")


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    try:
        main(*sys.argv[1:])
        sys.stdout.flush()
    except BrokenPipeError:  # the reader has seen enough; the interpreter's last flush must not complain either
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
