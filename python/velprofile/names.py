"""Names of ids, and all names: `names.event(7, 3, 5)` is "ckp_HaldenStartHaptics".

An id without a name is shown as its decimal number, as in the text of records.
"""

import ctypes
import functools

from ._library import NAME_CAPACITY, load
from ._places import Error

_IDS = 256  # how many values an id in a record's head can have; each is one byte


@functools.lru_cache(maxsize=4096)
def _name(function: str, *ids: int) -> str:
    for number in ids:
        if not 0 <= number < 2**32:
            raise Error(f"{number} is not an id: ids are 0 to {2**32 - 1}")
    out = ctypes.create_string_buffer(NAME_CAPACITY)
    length: int = getattr(load(), function)(*ids, out, NAME_CAPACITY)
    return out.raw[:length].decode("ascii")


def category(category: int) -> str:
    """The name of a category."""
    return _name("vel_profile_category_name", category)


def component(category: int, component: int) -> str:
    """The name of a component of a category."""
    return _name("vel_profile_component_name", category, component)


def event(category: int, component: int, event: int) -> str:
    """The name of an event of a component."""
    return _name("vel_profile_event_name", category, component, event)


def type(type: int) -> str:
    """The name of a datatype."""
    return _name("vel_profile_datatype_name", type)


def action(category: int, component: int, action: int) -> str:
    """The name of an action, the "trace" of a ZORB event."""
    return _name("vel_profile_subtype_name", category, component, action)


def _named(function: str, *ids: int) -> dict[int, str]:
    every = {number: _name(function, *ids, number) for number in range(_IDS)}
    return {number: name for number, name in every.items() if name != str(number)}


def categories() -> dict[int, str]:
    """All categories that have a name."""
    return _named("vel_profile_category_name")


def components(category: int) -> dict[int, str]:
    """All components of a category that have a name."""
    return _named("vel_profile_component_name", category)


def events(category: int, component: int) -> dict[int, str]:
    """All events of a component that have a name."""
    return _named("vel_profile_event_name", category, component)


def types() -> dict[int, str]:
    """All datatypes."""
    return _named("vel_profile_datatype_name")


def actions(category: int, component: int) -> dict[int, str]:
    """All actions of a component that have a name."""
    return _named("vel_profile_subtype_name", category, component)
