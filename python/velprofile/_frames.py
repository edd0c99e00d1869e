"""Records as a pandas DataFrame: what the text of a record shows, as columns."""

from collections.abc import Callable
from typing import TYPE_CHECKING, Any

from . import names
from ._arrays import select, to_numpy
from ._layouts import Field, Kind, layout
from ._sources import Sources

if TYPE_CHECKING:
    import numpy
    import pandas

    from ._arrays import Array


def to_dataframe(source: "Sources | Array", layout_name: str | None = None) -> "pandas.DataFrame":
    """The records of sources, or of an array from `to_numpy`, with a column for each field of the head.

    With a layout, only the records that show it, with a column for each of its fields too. Values are those that
    `velstat decode --format json` shows: names for ids, texts up to the first NUL, coordinates as float, and dumps as
    bytes.
    """
    import numpy
    import pandas

    records: "Array" = source if isinstance(source, numpy.ndarray) else to_numpy(source)
    if layout_name is not None:
        records = select(records, layout_name)
    columns: dict[str, Any] = {
        "timestamp": records["timestamp"],
        "sequence_num": records["sequence_num"],
        "category": _names(names.category, records, "category"),
        "component": _names(names.component, records, "category", "component"),
        "event": _names(names.event, records, "category", "component", "event"),
        "type": _names(names.type, records, "type"),
    }
    if layout_name is not None:
        for field in layout(layout_name).fields:
            columns[field.key] = _values(records, field)
    return pandas.DataFrame(columns)


def _names(function: Callable[..., str], records: "Array", *ids: str) -> "pandas.Categorical":
    """The names of the ids in these fields; each combination is looked up once."""
    import numpy
    import pandas

    # One number for each combination of ids: all are bytes, except that the last may have up to 32 bits.
    combined = numpy.zeros(len(records), numpy.uint64)
    for key in ids:
        width = 8 * records.dtype[key].itemsize
        combined = (combined << numpy.uint64(width)) | records[key].astype(numpy.uint64)
    distinct, codes = numpy.unique(combined, return_inverse=True)
    found = []
    for value in distinct.tolist():
        parts = []
        for key in reversed(ids):
            width = 8 * records.dtype[key].itemsize
            parts.append(value & ((1 << width) - 1))
            value >>= width
        found.append(function(*reversed(parts)))
    # Two ids may have one name, and categories must be distinct.
    unique, index = numpy.unique(numpy.array(found, dtype=object).astype(str), return_inverse=True)
    return pandas.Categorical.from_codes(index[codes], unique)


def _values(records: "Array", field: Field) -> Any:
    import numpy

    if field.kind == Kind.CONSTANT:
        return numpy.full(len(records), field.parameter, numpy.uint8)
    column: Any = records[field.key]
    if field.kind == Kind.FIXED_POINT:
        return column / 65536
    if field.kind == Kind.SUBTYPE_NAME:
        return _names(names.action, records, "category", "component", field.key)
    if field.kind == Kind.TEXT:
        return [text.partition(b"\0")[0].decode("latin-1") for text in column.tolist()]
    if field.kind == Kind.BYTES:
        return [dump.tobytes() for dump in column]
    if field.kind == Kind.SLICED_BYTES:
        lengths = numpy.ascontiguousarray(records).view(numpy.uint8).reshape(len(records), -1)
        at = field.parameter
        sizes = lengths[:, at].astype(int) + 256 * lengths[:, at + 1].astype(int)
        return [dump[:size].tobytes() for dump, size in zip(column, sizes.tolist())]
    return column
