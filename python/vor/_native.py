"""libvor-host.so.0 through ctypes: the structs and functions of vor/session.h.

The library is the one named by the environment variable VOR_HOST_LIBRARY (a
path, for tests against a build tree), else the installed one, found by the
dynamic loader under its SONAME.
"""
from __future__ import annotations

import ctypes
import os
from ctypes import POINTER, c_bool, c_char, c_char_p, c_int, c_size_t, c_uint32, c_void_p

LIBRARY_VARIABLE = "VOR_HOST_LIBRARY"
SONAME = "libvor-host.so.0"
# The error buffer and the options' size check came with libvor-host 0.8.
NEEDED_MAJOR, NEEDED_MINOR = 0, 8

TraceFn = ctypes.CFUNCTYPE(None, c_void_p, c_uint32, c_char_p)


class SessionOptions(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t),
        ("module_path", c_char_p),
        ("storage_dir", c_char_p),
        ("root", c_char_p),
        ("flags", POINTER(c_char_p)),
        ("environment", POINTER(c_char_p)),
        ("trace_level", c_uint32),
        ("trace", TraceFn),
        ("trace_context", c_void_p),
        ("exact", c_bool),
        ("error_buffer", POINTER(c_char)),
        ("error_buffer_size", c_size_t),
    ]


class ProcessListInfo(ctypes.Structure):
    _fields_ = [
        ("size", c_size_t),
        ("in_force", c_uint32),
        ("entries", c_uint32),
        ("last_result", c_uint32),
        ("last_line", c_uint32),
        ("last_column", c_uint32),
        ("last_description", c_char * 128),
    ]


_PROTOTYPES = {
    "vor_session_open": (c_uint32, [POINTER(SessionOptions), POINTER(c_void_p)]),
    "vor_session_close": (None, [c_void_p]),
    "vor_session_check_file": (c_uint32, [c_void_p, c_char_p, POINTER(c_bool)]),
    "vor_session_check_file_as": (c_uint32, [c_void_p, c_char_p, POINTER(c_bool), POINTER(c_char), c_size_t]),
    "vor_session_check_pid": (c_uint32, [c_void_p, c_uint32, POINTER(c_bool)]),
    "vor_session_check_pidfd": (c_uint32, [c_void_p, c_int, POINTER(c_bool)]),
    "vor_session_explain_file": (c_uint32, [c_void_p, c_char_p, POINTER(c_bool), TraceFn, c_void_p]),
    "vor_session_explain_pid": (c_uint32, [c_void_p, c_uint32, POINTER(c_bool), TraceFn, c_void_p]),
    "vor_session_reload": (c_uint32, [c_void_p]),
    "vor_session_process_list": (c_uint32, [c_void_p, POINTER(ProcessListInfo)]),
    "vor_session_module_version": (c_char_p, [c_void_p]),
    "vor_host_version": (c_char_p, []),
    "vor_result_message": (c_char_p, [c_uint32]),
}


def _load() -> ctypes.CDLL:
    name = os.environ.get(LIBRARY_VARIABLE) or SONAME
    library = ctypes.CDLL(name)
    try:
        for function, (restype, argtypes) in _PROTOTYPES.items():
            getattr(library, function).restype = restype
            getattr(library, function).argtypes = argtypes
    except AttributeError as missing:
        raise ImportError(f"{name} is older than libvor-host {NEEDED_MAJOR}.{NEEDED_MINOR}: {missing}") from None
    version = library.vor_host_version().decode()
    major, minor = (int(part) for part in version.split(".")[:2])
    if major != NEEDED_MAJOR or minor < NEEDED_MINOR:
        raise ImportError(f"{name} is libvor-host {version}; the binding needs "
                          f"{NEEDED_MAJOR}.{NEEDED_MINOR} or a later {NEEDED_MAJOR}.x")
    return library


lib = _load()
