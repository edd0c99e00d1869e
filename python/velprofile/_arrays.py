"""Records as structured arrays of numpy, without copying."""

import functools
import mmap
import os
import tempfile
from typing import TYPE_CHECKING, Any

from ._layouts import Field, Kind, layout
from ._library import load
from ._places import Error
from ._sources import RECORD_SIZE, Sources, finish, raw_arguments, raw_file, start

if TYPE_CHECKING:
    import numpy
    import numpy.typing

    Array = numpy.typing.NDArray[numpy.void]
    Mask = numpy.typing.NDArray[numpy.bool_]

_HEAD = [
    ("type", "u1", 0),
    ("event", "u1", 1),
    ("component", "u1", 2),
    ("category", "u1", 3),
    ("sequence_num", "<u4", 4),
    ("timestamp", "<u8", 8),
]


def _format(field: Field) -> Any:
    if field.kind == Kind.TEXT:
        return f"S{field.size}"
    if field.kind in (Kind.BYTES, Kind.SLICED_BYTES):
        return ("u1", (field.size,))
    return f"<{'i' if field.kind == Kind.FIXED_POINT else 'u'}{field.size}"


@functools.cache
def dtype(name: str | None = None) -> "numpy.dtype[numpy.void]":
    """The numpy type of a record: the fields of its head and of a layout, by the decoder's keys.

    Without a layout, the whole payload is the field "payload". Fixed-point numbers are integers, to be divided by
    65536. Constants are left out, because they are not stored in the record.
    """
    import numpy

    rows: list[tuple[str, Any, int]] = [*_HEAD]
    if name is None:
        rows.append(("payload", ("u1", (RECORD_SIZE - 16,)), 16))
    else:
        rows += [(field.key, _format(field), field.offset) for field in layout(name).fields if field.size != 0]
    keys, formats, offsets = zip(*rows)
    return numpy.dtype({"names": keys, "formats": formats, "offsets": offsets, "itemsize": RECORD_SIZE})


def to_numpy(sources: Sources) -> "Array":
    """All records of one source or several, as a read-only array of `dtype()`.

    A file of raw records is mapped: bytes are read when they are used, and the file must not become shorter meanwhile.
    Other sources are read by velstat into one buffer, which the array refers to. An error in a source raises Error.
    """
    import numpy

    path = raw_file(sources)
    try:
        if path is not None:
            return numpy.memmap(path, dtype=dtype(), mode="r")
        buffer = os.memfd_create("velprofile")
    except OSError as error:
        raise Error(f"{path or 'a buffer'}: {error.strerror}") from None
    try:
        with tempfile.TemporaryFile() as messages:
            finish(start(raw_arguments(sources), buffer, messages), messages)
        size = os.fstat(buffer).st_size
        if size == 0:  # an empty file cannot be mapped
            return numpy.empty(0, dtype())
        return numpy.frombuffer(mmap.mmap(buffer, size, access=mmap.ACCESS_READ), dtype())
    finally:
        os.close(buffer)


def _bytes_of(records: "Array") -> "Array":
    import numpy

    if records.dtype.itemsize != RECORD_SIZE or records.ndim != 1:
        raise Error(f"an array of records has one dimension and {RECORD_SIZE} bytes an element,"
                    f" not {records.ndim} and {records.dtype.itemsize}")
    return numpy.ascontiguousarray(records)


def shows(records: "Array", name: str) -> "Mask":
    """For each record, whether it shows the layout."""
    import numpy

    content = _bytes_of(records)
    shown = numpy.empty(len(content), numpy.uint8)
    load().vel_profile_shows(content.ctypes.data, len(content), layout(name).name.encode("ascii"), shown.ctypes.data)
    mask: "Mask" = shown != 0
    return mask


def select(records: "Array", name: str) -> "Array":
    """The records that show the layout, as an array of `dtype(name)`. Only these are copied.

    `records.view(dtype(name))` copies nothing, but has all records, including those that have other fields at these
    offsets.
    """
    chosen: "Array" = _bytes_of(records)[shows(records, name)].view(dtype(name))
    return chosen
