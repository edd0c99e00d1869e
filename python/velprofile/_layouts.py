"""The payload layouts, read from the decoder's tables."""

import enum
import functools
from typing import NamedTuple

from ._library import LayoutRow, load
from ._places import Error


class Kind(enum.IntEnum):
    """What a field's value is."""

    NUMBER = 0
    """unsigned, little-endian"""
    CONSTANT = 1
    """the same in every record; not in the record's bytes"""
    QUOTED_NUMBER = 2
    """a number that the text shows between apostrophes"""
    TEXT = 3
    """bytes up to the first NUL"""
    SUBTYPE_NAME = 4
    """a number with a name"""
    BYTES = 5
    """bytes of the record"""
    SLICED_BYTES = 6
    """as many bytes as the u16 at offset `parameter` says, at most `size`"""
    CHARACTER = 7
    """one byte"""
    FIXED_POINT = 8
    """signed 32 bits with 16 fraction bits"""


class Field(NamedTuple):
    """One row of a layout."""

    key: str
    kind: Kind
    offset: int
    """of the value in the record; 0 for a constant"""
    size: int
    """in bytes; 0 for a constant"""
    parameter: int
    """for a constant, its value; for sliced bytes, the offset of their length"""


class Layout(NamedTuple):
    """A payload layout: its name and its rows in the order of the text."""

    name: str
    fields: tuple[Field, ...]


@functools.cache
def layouts() -> dict[str, Layout]:
    """All layouts by name."""
    library = load()
    rows = (LayoutRow * library.vel_profile_rows(None, 0))()
    library.vel_profile_rows(rows, len(rows))
    fields: dict[str, list[Field]] = {}
    for row in rows:
        field = Field(row.key.decode("ascii"), Kind(row.kind), row.offset, row.size, row.parameter)
        fields.setdefault(row.layout.decode("ascii"), []).append(field)
    return {name: Layout(name, tuple(rows_of)) for name, rows_of in fields.items()}


def layout(name: str) -> Layout:
    """The layout of this name."""
    try:
        return layouts()[name]
    except KeyError:
        raise Error(f"there is no layout {name!r}; there are {', '.join(layouts())}") from None
