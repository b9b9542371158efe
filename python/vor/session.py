"""vor.Session: one libvor-host session, its checks, reload and list status."""
from __future__ import annotations

import ctypes
import enum
import operator
import os
import threading
from typing import Callable, Mapping, NamedTuple, Union

from vor._native import ProcessListInfo, SessionOptions, TraceFn, lib
from vor.errors import Code, Error, succeed

PathArg = Union[str, bytes, os.PathLike[str], os.PathLike[bytes]]

_ERROR_BUFFER_SIZE = 1024
_FIRST_SPELLING_SIZE = 4096
_LAST_SPELLING_SIZE = 1 << 20
_UINT32_MAX = 0xFFFFFFFF
_INT_MAX = 0x7FFFFFFF


class ListState(enum.IntEnum):
    NONE = 0  # no vor_proc.xms in storage: an empty list, a normal state
    LOADED = 1


class ListStatus(NamedTuple):
    """The process list in force, and how the last attempt to load one went
    (last_result 0; or why it failed, with line, column and the parser's
    words for malformed XML)."""

    in_force: ListState
    entries: int
    last_result: int
    line: int
    column: int
    description: str


class EntryAnswer(NamedTuple):
    critical: bool
    as_: str | None  # the spelling of the entry that decided, when not the path as given


class Explanation(NamedTuple):
    critical: bool
    lines: list[str]  # the module's own trace lines of the decision


def _text(value: PathArg, what: str) -> bytes:
    """A path or option as the C string the library reads."""
    data = os.fsencode(value)
    if b"\0" in data:
        raise Error(Code.INVALID_ARGUMENT, f"{what} {data!r} holds a NUL byte")
    return data


def _assignments(values: Mapping[str, str] | None, what: str) -> ctypes.Array[ctypes.c_char_p] | None:
    """{"NAME": "VALUE"} as the NULL-terminated array of "NAME=VALUE"."""
    if values is None:
        return None
    texts = []
    for name, value in values.items():
        if "=" in name:
            raise Error(Code.INVALID_ARGUMENT, f"{what} name {name!r} holds '='")
        texts.append(_text(f"{name}={value}", what))
    return (ctypes.c_char_p * (len(texts) + 1))(*texts, None)


def _number(value: int, highest: int, what: str) -> int:
    number = operator.index(value)
    if not 0 <= number <= highest:
        raise Error(Code.INVALID_ARGUMENT, f"{what} {number} is out of range")
    return number


class Session:
    """A session of libvor-host: loads the module, answers checks.

    Use it as a context manager, or call close(). Checks may run from several
    threads at once and while another thread reloads; close() must not run
    while another thread uses the session. Failures raise vor.Error.
    """

    def __init__(self, storage: PathArg | None = None, root: PathArg | None = None,
                 flags: Mapping[str, str] | None = None, env: Mapping[str, str] | None = None,
                 exact: bool = False) -> None:
        self._handle: ctypes.c_void_p | None = None
        # The library writes into this buffer until close: it lives with the session.
        self._error = ctypes.create_string_buffer(_ERROR_BUFFER_SIZE)
        self._reloading = threading.Lock()  # one reload at a time reads the buffer
        flag_array = _assignments(flags, "flag")
        env_array = _assignments(env, "environment value")
        options = SessionOptions(
            size=ctypes.sizeof(SessionOptions),
            storage_dir=None if storage is None else _text(storage, "storage"),
            root=None if root is None else _text(root, "root"),
            flags=flag_array, environment=env_array, exact=bool(exact),
            error_buffer=ctypes.cast(self._error, ctypes.POINTER(ctypes.c_char)),
            error_buffer_size=len(self._error))
        handle = ctypes.c_void_p()
        code = lib.vor_session_open(ctypes.byref(options), ctypes.byref(handle))
        succeed(code, self._error_text())
        self._handle = handle

    def _error_text(self) -> str:
        return self._error.value.decode(errors="replace")

    def _live(self) -> ctypes.c_void_p:
        if self._handle is None:
            raise Error(Code.INVALID_ARGUMENT, "the session is closed")
        return self._handle

    def close(self) -> None:
        """Closes the session; closing again does nothing."""
        handle, self._handle = self._handle, None
        if handle is not None:
            lib.vor_session_close(handle)

    def __enter__(self) -> Session:
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def check_file(self, path: PathArg) -> bool:
        """Whether the file `path` names is critical, answered by entry."""
        critical = ctypes.c_bool()
        succeed(lib.vor_session_check_file(self._live(), _text(path, "path"), ctypes.byref(critical)))
        return critical.value

    def check_file_as(self, path: PathArg) -> EntryAnswer:
        """As check_file, with the spelling of the entry that decided."""
        text = _text(path, "path")
        critical = ctypes.c_bool()
        size = _FIRST_SPELLING_SIZE
        while True:
            spelling = ctypes.create_string_buffer(size)
            code = lib.vor_session_check_file_as(self._live(), text, ctypes.byref(critical), spelling, size)
            if code != Code.BUFFER_TOO_SMALL or size >= _LAST_SPELLING_SIZE:
                break
            size *= 4
        succeed(code)
        return EntryAnswer(critical.value, os.fsdecode(spelling.value) if spelling.value else None)

    def check_pid(self, pid: int) -> bool:
        """Whether the running process `pid` is critical; Error with
        Code.FILE_NOT_FOUND when it exited before the answer was in."""
        critical = ctypes.c_bool()
        succeed(lib.vor_session_check_pid(self._live(), _number(pid, _UINT32_MAX, "pid"),
                                          ctypes.byref(critical)))
        return critical.value

    def check_pidfd(self, pidfd: int) -> bool:
        """Whether the process the pidfd (os.pidfd_open) refers to is critical;
        Error with Code.FILE_NOT_FOUND once it has exited."""
        critical = ctypes.c_bool()
        succeed(lib.vor_session_check_pidfd(self._live(), _number(pidfd, _INT_MAX, "pidfd"),
                                            ctypes.byref(critical)))
        return critical.value

    def _explain(self, ask: Callable[[object, ctypes.c_bool], int]) -> Explanation:
        lines: list[str] = []
        collect = TraceFn(lambda _context, _level, line: lines.append(line.decode(errors="replace")))
        critical = ctypes.c_bool()
        succeed(ask(collect, critical))
        return Explanation(critical.value, lines)

    def explain_file(self, path: PathArg) -> Explanation:
        """As check_file, with the module's own lines of the decision."""
        text = _text(path, "path")
        return self._explain(lambda collect, critical: int(lib.vor_session_explain_file(
            self._live(), text, ctypes.byref(critical), collect, None)))

    def explain_pid(self, pid: int) -> Explanation:
        """As check_pid, with the module's own lines of the decision."""
        number = _number(pid, _UINT32_MAX, "pid")
        return self._explain(lambda collect, critical: int(lib.vor_session_explain_pid(
            self._live(), number, ctypes.byref(critical), collect, None)))

    def reload(self) -> None:
        """Reads the storage again; a list that cannot be loaded leaves the one
        in force and raises Error with where and why."""
        handle = self._live()
        with self._reloading:
            code = lib.vor_session_reload(handle)
            text = self._error_text()
        succeed(code, text)

    @property
    def list_status(self) -> ListStatus:
        info = ProcessListInfo(size=ctypes.sizeof(ProcessListInfo))
        succeed(lib.vor_session_process_list(self._live(), ctypes.byref(info)))
        return ListStatus(ListState(info.in_force), info.entries, info.last_result, info.last_line,
                          info.last_column, info.last_description.decode(errors="replace"))

    @property
    def module_version(self) -> str:
        """The loaded module's version, "major.minor.build.revision"."""
        version: bytes = lib.vor_session_module_version(self._live())
        return version.decode()
