"""Records one by one: as objects, and as text."""

import ctypes
import itertools
from collections.abc import Iterator
from typing import TypeVar, Union

from . import names
from ._layouts import Kind
from ._library import BOOT, CALENDAR, FIELD_CAPACITY, TEXT_CAPACITY, FieldValue, Times, load
from ._places import Error
from ._sources import BLOCK, RECORD_SIZE, Sources, blocks, raw_arguments, raw_file

FieldContent = Union[int, float, str, bytes]
_T = TypeVar("_T")
_BATCH = 256  # records; few enough that their texts stay in a core's cache


class Record(bytes):
    """The 48 bytes of a record, with properties for the fields of its head."""

    __slots__ = ()

    def __new__(cls, content: bytes) -> "Record":
        """A record of 48 bytes."""
        if len(content) != RECORD_SIZE:
            raise Error(f"a record is {RECORD_SIZE} bytes, not {len(content)}")
        return super().__new__(cls, content)

    @property
    def type_id(self) -> int:
        """The datatype."""
        return self[0]

    @property
    def event_id(self) -> int:
        """The event; its meaning depends on category and component."""
        return self[1]

    @property
    def component_id(self) -> int:
        """The component; its meaning depends on the category."""
        return self[2]

    @property
    def category_id(self) -> int:
        """The category."""
        return self[3]

    @property
    def type(self) -> str:
        """The name of the datatype."""
        return names.type(self[0])

    @property
    def event(self) -> str:
        """The name of the event."""
        return names.event(self[3], self[2], self[1])

    @property
    def component(self) -> str:
        """The name of the component."""
        return names.component(self[3], self[2])

    @property
    def category(self) -> str:
        """The name of the category."""
        return names.category(self[3])

    @property
    def sequence_num(self) -> int:
        """The sequence number, which the firmware counts."""
        return int.from_bytes(self[4:8], "little")

    @property
    def timestamp(self) -> int:
        """The co-processor's clock, in microseconds."""
        return int.from_bytes(self[8:16], "little")

    @property
    def text(self) -> str:
        """The exact text, as `decode` gives it."""
        return decode(self)[0]

    def fields(self) -> list[tuple[str, dict[str, FieldContent]]]:
        """The payload as (layout, {key: value}) pairs: a record can show one layout twice, and layouts share keys."""
        out = (FieldValue * FIELD_CAPACITY)()
        count = load().vel_profile_fields(bytes(self), out, FIELD_CAPACITY)
        groups: list[tuple[str, dict[str, FieldContent]]] = []
        for field in out[:count]:
            if field.group == len(groups):
                groups.append((field.layout.decode("ascii"), {}))
            groups[field.group][1][field.key.decode("ascii")] = _value(field)
        return groups

    def __str__(self) -> str:
        """The exact text."""
        return self.text

    def __repr__(self) -> str:
        """Names and numbers of the head."""
        return (f"<Record {self.category} {self.component} {self.event} {self.type}"
                f" timestamp={self.timestamp} sequence_num={self.sequence_num}>")


def _value(field: FieldValue) -> FieldContent:
    content = bytes(field.bytes[:field.length])
    kind = Kind(field.kind)
    if kind in (Kind.TEXT, Kind.SUBTYPE_NAME):
        return content.decode("latin-1")
    if kind in (Kind.BYTES, Kind.SLICED_BYTES):
        return content
    number: int = field.number
    real: float = field.real
    return real if kind == Kind.FIXED_POINT else number


def decode(
    records: bytes, *, timesync: tuple[int, int] | None = None, boot: int | None = None
) -> list[str]:
    """The exact text of each of the consecutive records.

    A text may contain any byte, as the code point of the same number (`text.encode("latin-1")` gives the bytes back).
    `timesync` is a reading of the co-processor's clock and the wall clock at one moment, in nanoseconds, and adds
    "calendar-time" in the process's time zone; `boot`, in microseconds since 1970, adds "boot-timestamp".
    """
    content = bytes(records)
    if len(content) % RECORD_SIZE != 0:
        raise Error(f"{len(content)} bytes are not whole records of {RECORD_SIZE} bytes:"
                    f" the last one has {len(content) % RECORD_SIZE}")
    times = Times()
    if timesync is not None:
        times.flags |= CALENDAR
        times.vel, times.calendar = timesync
    if boot is not None:
        times.flags |= BOOT
        times.boot = boot
    library = load()
    out = ctypes.create_string_buffer(_BATCH * TEXT_CAPACITY)
    ends = (ctypes.c_size_t * _BATCH)()
    length = ctypes.c_size_t()
    texts: list[str] = []
    for begin in range(0, len(content), _BATCH * RECORD_SIZE):
        batch = content[begin:begin + _BATCH * RECORD_SIZE]
        count = library.vel_profile_render_many(batch, len(batch) // RECORD_SIZE, times, out, len(out), length, ends)
        written = ctypes.string_at(out, length.value).decode("latin-1")
        at = 0
        for end in ends[:count]:
            texts.append(written[at:end - 1])  # without the newline
            at = end
    return texts


def records(sources: Sources) -> Iterator[Record]:
    """The records of one source or several, as they arrive.

    An error in a source raises Error: at once if nothing could be read, otherwise after all records that could be read.
    What velstat reports without failing becomes a warning.
    """
    return primed(_read(sources))


def primed(items: Iterator[_T]) -> Iterator[_T]:
    """The same items. The first one is made now, so that a failure is raised by the call and not later by the loop."""
    first = list(itertools.islice(items, 1))
    return itertools.chain(first, items)


def _read(sources: Sources) -> Iterator[Record]:
    rest = b""
    for block in _raw_blocks(sources):
        rest += block
        whole = len(rest) - len(rest) % RECORD_SIZE
        for begin in range(0, whole, RECORD_SIZE):
            yield Record(rest[begin:begin + RECORD_SIZE])
        rest = rest[whole:]
    if rest:
        raise Error(f"the records end in the middle of one: {len(rest)} of {RECORD_SIZE} bytes")


def _raw_blocks(sources: Sources) -> Iterator[bytes]:
    path = raw_file(sources)
    if path is None:
        yield from blocks(raw_arguments(sources))
        return
    try:
        with path.open("rb") as file:
            while block := file.read(BLOCK):
                yield block
    except OSError as error:
        raise Error(f"{path}: {error.strerror}") from None
