"""Python binding of libvor-host: asks the libvor module whether a file or a
running process is critical to the operating system.

    import vor
    with vor.Session(storage="/var/lib/myav") as session:
        session.check_file("/usr/bin/ls")          # True
        session.check_file_as("/usr/bin/dash")     # EntryAnswer(critical=True, as_='/bin/dash')

Failures raise vor.Error, whose `code` is the result code and `text` says
why. The binding calls libvor-host.so.0 through ctypes; VOR_HOST_LIBRARY
names another copy of it (a build tree's).
"""
from vor._native import lib as _lib
from vor.errors import Code, Error, result_message
from vor.session import EntryAnswer, Explanation, ListState, ListStatus, PathArg, Session

__all__ = ["Code", "EntryAnswer", "Error", "Explanation", "ListState", "ListStatus", "PathArg",
           "Session", "host_version", "result_message"]


def host_version() -> str:
    """The version of the libvor-host in use, "MAJOR.MINOR.PATCH"."""
    version: bytes = _lib.vor_host_version()
    return version.decode()
