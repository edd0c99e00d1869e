"""The C interface of libvelprofile, declared for ctypes: profile/velprofile.h in Python."""

import ctypes
import functools

from . import _places

CALENDAR, BOOT = 1, 2
TEXT_CAPACITY = 1412
FIELD_CAPACITY = 32
NAME_CAPACITY = 64


class Times(ctypes.Structure):
    """vel_profile_times"""

    _fields_ = [
        ("flags", ctypes.c_uint32),
        ("vel", ctypes.c_int64),
        ("calendar", ctypes.c_int64),
        ("boot", ctypes.c_uint64),
    ]


class FieldValue(ctypes.Structure):
    """vel_profile_field"""

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


class LayoutRow(ctypes.Structure):
    """vel_profile_row"""

    _fields_ = [
        ("layout", ctypes.c_char_p),
        ("key", ctypes.c_char_p),
        ("kind", ctypes.c_uint32),
        ("offset", ctypes.c_uint32),
        ("size", ctypes.c_uint32),
        ("width", ctypes.c_uint32),
        ("parameter", ctypes.c_uint32),
    ]


_SIZE, _ID, _BYTES = ctypes.c_size_t, ctypes.c_uint32, ctypes.c_void_p
_OUT = [ctypes.c_char_p, _SIZE]
_ARGUMENTS = {
    "vel_profile_render_many": [
        _BYTES, _SIZE, ctypes.POINTER(Times), _BYTES, _SIZE, ctypes.POINTER(_SIZE), ctypes.POINTER(_SIZE),
    ],
    "vel_profile_fields": [_BYTES, ctypes.POINTER(FieldValue), _SIZE],
    "vel_profile_rows": [ctypes.POINTER(LayoutRow), _SIZE],
    "vel_profile_shows": [_BYTES, _SIZE, ctypes.c_char_p, _BYTES],
    "vel_profile_category_name": [_ID, *_OUT],
    "vel_profile_component_name": [_ID, _ID, *_OUT],
    "vel_profile_event_name": [_ID, _ID, _ID, *_OUT],
    "vel_profile_datatype_name": [_ID, *_OUT],
    "vel_profile_subtype_name": [_ID, _ID, _ID, *_OUT],
}


@functools.cache
def load() -> ctypes.CDLL:
    """The library, loaded by the first call that needs it."""
    path = _places.library()
    try:
        library = ctypes.CDLL(path)
        for name, arguments in _ARGUMENTS.items():
            function = getattr(library, name)
            function.argtypes = arguments
            function.restype = _SIZE
    except OSError as error:
        raise _places.Error(f"libvelprofile cannot be loaded: {error}; set VELPROFILE_LIBRARY to its path") from None
    except AttributeError as error:
        raise _places.Error(f"libvelprofile is older than this module: {error}") from None
    return library
