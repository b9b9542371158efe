"""Failures of the binding: vor.Error with the result code and its text."""
from __future__ import annotations

import enum

from vor._native import lib


class Code(enum.IntEnum):
    """The result codes of <vor/result.h> that vor_session(3) names; the
    module's other codes reach Error.code as plain numbers."""

    OK = 0x00000000
    BUFFER_TOO_SMALL = 0x80000044
    ACCESS_DENIED = 0x80000045
    INVALID_ARGUMENT = 0x80000046
    INVALID_SIGNATURE = 0x8000005A
    OUT_OF_MEMORY = 0x80000041
    INVALID_SYMBOL = 0x80000300
    FILE_NOT_FOUND = 0x80010102
    PATH_NOT_FOUND = 0x80010103
    SYMBOL_NOT_FOUND = 0x80010107
    MODULE_NOT_FOUND = 0x80010112


def result_message(code: int) -> str:
    """The text of a result code ("Invalid argument")."""
    text: bytes = lib.vor_result_message(code)
    return text.decode()


class Error(Exception):
    """A call that failed: `code` is its result code, `text` says why (the
    library's words for a failed open or reload, else the code's text)."""

    def __init__(self, code: int, text: str | None = None) -> None:
        self.code = code
        self.text = text or result_message(code)
        super().__init__(f"{self.text} (0x{code:08x})")


def succeed(code: int, text: str | None = None) -> None:
    """Raises Error for a failed result code."""
    if code & 0x80000000:
        raise Error(code, text)
