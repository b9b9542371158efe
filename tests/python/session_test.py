"""The Python binding against the build tree (ctest sets VOR_HOST_LIBRARY and
PYTHONPATH) or, with neither set, the installed packages (CI)."""
import os
import pathlib
import re
import subprocess

import pytest
import vor

SOURCE = pathlib.Path(__file__).resolve().parents[2]
RESULT_H = next(p for p in (SOURCE / "include/vor/result.h", pathlib.Path("/usr/include/vor/result.h")) if p.exists())
LIST = '<vor_process_list><vor_process_entry flags="1" path="/usr/bin/sleep"/></vor_process_list>'
BROKEN = '<vor_process_list><vor_process_entry flags="1"'


@pytest.fixture(name="session")
def fixture_session(tmp_path):
    with vor.Session(storage=tmp_path) as session:
        yield session


def test_codes_and_version_are_the_libraries():
    header = dict(re.findall(r"#define VOR_(?:E_)?(\w+) +0x([0-9a-f]+)u", RESULT_H.read_text()))
    assert {code.name: int(header[code.name], 16) for code in vor.Code} == {c.name: c.value for c in vor.Code}
    mapped = re.search(r"/libvor-host\.so\.([0-9.]+)$", pathlib.Path("/proc/self/maps").read_text(), re.M)
    assert mapped and mapped.group(1) == vor.host_version()


@pytest.mark.parametrize("path, critical", [
    ("/usr/bin/ls", True), (b"/usr/bin/ls", True), (pathlib.Path("/usr/bin/ls"), True),
    ("/etc/hostname", True), ("/tmp/not-critical", False)])
def test_answers(session, path, critical):
    assert session.check_file(path) is critical


@pytest.mark.parametrize("call, code", [
    (lambda s: s.check_file(""), vor.Code.INVALID_ARGUMENT),
    (lambda s: s.check_file("/usr/bin/ls\0/tmp"), vor.Code.INVALID_ARGUMENT),
    (lambda s: s.check_file(b"/usr/bin/\xff"), vor.Code.INVALID_SYMBOL),
    (lambda s: s.check_pid(0), vor.Code.INVALID_ARGUMENT),
    (lambda s: s.check_pid(2**32 + os.getpid()), vor.Code.INVALID_ARGUMENT),
    (lambda s: s.check_pidfd(-1), vor.Code.INVALID_ARGUMENT),
    (lambda s: (s.close(), s.check_file("/usr/bin/ls")), vor.Code.INVALID_ARGUMENT)])
def test_failures_raise(session, call, code):
    with pytest.raises(vor.Error) as raised:
        call(session)
    assert raised.value.code == code


@pytest.mark.parametrize("options, code, text", [
    ({"storage": "/nonexistent-st"}, vor.Code.PATH_NOT_FOUND,
     "cannot open storage directory '/nonexistent-st': No such file or directory"),
    ({"env": {"ProductType": "\udcff"}}, vor.Code.INVALID_ARGUMENT, "environment value 'ProductType' is not UTF-8"),
    ({"flags": {"a=b": "c"}}, vor.Code.INVALID_ARGUMENT, "flag name 'a=b' holds '='")])
def test_failed_open_says_why(options, code, text):
    with pytest.raises(vor.Error) as raised:
        vor.Session(**options)
    assert (raised.value.code, raised.value.text) == (code, text)


def test_pidfd_explain_and_reload(session, tmp_path):
    (tmp_path / "vor_proc.xms").write_text(LIST)
    session.reload()
    assert session.list_status[:3] == (vor.ListState.LOADED, 1, 0)
    sleep = subprocess.Popen(["/usr/bin/sleep", "30"])
    pidfd = os.pidfd_open(sleep.pid)
    try:
        assert session.check_pidfd(pidfd) and session.check_pid(sleep.pid)
        assert session.explain_pid(sleep.pid).lines
        sleep.kill()
        sleep.wait()
        with pytest.raises(vor.Error) as raised:
            session.check_pidfd(pidfd)
        assert raised.value.code == vor.Code.FILE_NOT_FOUND
    finally:
        os.close(pidfd)
    (tmp_path / "vor_proc.xms").write_text(BROKEN)
    with pytest.raises(vor.Error) as raised:
        session.reload()
    assert raised.value.text == (f"cannot load '{tmp_path}/vor_proc.xms': Invalid signature "
                                 "(line 1, column 46: Error parsing start element tag)")
    assert session.list_status == (vor.ListState.LOADED, 1, vor.Code.INVALID_SIGNATURE, 1, 46,
                                   "Error parsing start element tag")


def test_explain_and_deciding_spelling(session):
    assert session.explain_file("/usr/bin/ls") == (True, [
        "vor: Checking critical file for path </usr/bin/ls>...",
        "vor: Path </usr/bin/ls> was for in list", "vor: Path </usr/bin/ls> is critical"])
    if os.path.realpath("/bin") != "/usr/bin" or not os.path.exists("/usr/bin/dash"):
        pytest.skip("no usrmerged /bin -> /usr/bin with dash on this machine")
    assert session.check_file_as("/usr/bin/dash") == (True, "/bin/dash")
    with vor.Session(exact=True) as exact:
        assert exact.check_file_as("/usr/bin/dash") == (False, None)
