"""vorctl metrics read by the Prometheus client's own parser: the families
the man page lists, values that agree with the other commands, the list's
states, label values with quotes and backslashes, and the atomic --output.

    metrics_test.py VORCTL   (python3 -m pytest, or run directly)
"""
import json
import os
import subprocess
import sys
import tempfile

import pytest
from prometheus_client.parser import text_string_to_metric_families

VORCTL = os.environ.get("VORCTL") or (sys.argv[1] if len(sys.argv) > 1 else "vorctl")
FAMILIES = {
    "vor_module_info", "vor_os_release_info", "vor_library_directory_info",
    "vor_critical_files_listed", "vor_critical_files_present", "vor_critical_files_missing",
    "vor_process_list_state", "vor_process_list_entries", "vor_process_list_last_load_result",
    "vor_process_list_matches_every_process", "vor_critical_processes",
    "vor_processes_other_mount_namespace", "vor_metrics_run_seconds",
}


def vorctl(*args):
    return subprocess.run([VORCTL, *args], capture_output=True, text=True)


def metrics(*args):
    run = vorctl(*args, "metrics")
    families = {f.name: f for f in text_string_to_metric_families(run.stdout)}
    return run, families


def value(families, family, **labels):
    for sample in families[family].samples:
        if all(sample.labels.get(k) == v for k, v in labels.items()):
            return sample.value
    raise KeyError((family, labels))


def write_list(folder, text):
    with open(os.path.join(folder, "vor_proc.xms"), "w") as out:
        out.write(text)
    return folder


def test_every_family_with_help_and_values_the_other_commands_agree_with():
    run, families = metrics()
    assert run.returncode == 0, run.stderr
    assert set(families) == FAMILIES
    assert all(f.type == "gauge" and f.documentation for f in families.values())
    listed = len(vorctl("list-files").stdout.splitlines())
    missing = len(vorctl("list-files", "--missing").stdout.splitlines())
    assert value(families, "vor_critical_files_listed") == listed
    assert value(families, "vor_critical_files_missing") == missing
    assert value(families, "vor_critical_files_present") == listed - missing
    status = json.loads(vorctl("--json", "status").stdout)
    assert value(families, "vor_os_release_info", name=status["os"]["name"]) == 1
    assert value(families, "vor_module_info", version=status["module"]["version"]) == 1
    assert [s.labels["directory"] for s in families["vor_library_directory_info"].samples] == \
        status["library_directories"]
    assert value(families, "vor_critical_processes") >= 1  # vorctl itself
    assert value(families, "vor_process_list_state", state="none") == 1
    assert value(families, "vor_process_list_last_load_result") == 0


@pytest.mark.parametrize("document, state, entries, result, every, exit_status", [
    ('<vor_process_list><vor_process_entry flags="1" path="/usr/sbin/sshd"/></vor_process_list>',
     "loaded", 1, 0, 0, 0),
    ('<vor_process_list><vor_process_entry flags="4"/></vor_process_list>', "loaded", 1, 0, 1, 0),
    ('<vor_process_list><vor_process_entry flags=', "failed", 0, 0x8000005a, 0, 3),
])
def test_the_list_states(document, state, entries, result, every, exit_status):
    with tempfile.TemporaryDirectory() as folder:
        run, families = metrics("--storage", write_list(folder, document))
    assert run.returncode == exit_status, run.stderr
    for each in ("none", "loaded", "failed"):
        assert value(families, "vor_process_list_state", state=each) == (each == state)
    assert value(families, "vor_process_list_entries") == entries
    assert value(families, "vor_process_list_last_load_result") == result
    assert value(families, "vor_process_list_matches_every_process") == every
    assert ("makes critical, every process" in run.stderr) == bool(every)


def test_label_values_keep_quotes_and_backslashes():
    with tempfile.TemporaryDirectory() as root:
        os.makedirs(os.path.join(root, "etc"))
        with open(os.path.join(root, "etc", "os-release"), "w") as out:
            out.write('NAME="Odd \\"quoted\\" \\\\ name"\nVERSION_ID="1"\n')
        detected = json.loads(vorctl("--sysroot", root, "--json", "os-release").stdout)["name"]
        run, families = metrics("--sysroot", root)
    assert '"' in detected and "\\" in detected  # the module keeps them as written
    assert value(families, "vor_os_release_info", name=detected, version="1") == 1


def test_output_replaces_the_file_atomically_or_fails_cleanly():
    with tempfile.TemporaryDirectory() as folder:
        target = os.path.join(folder, "vor.prom")
        with open(target, "w") as out:
            out.write("stale\n")
        run = vorctl("metrics", "--output", target)
        assert run.returncode == 0 and run.stdout == "", run.stderr
        assert os.listdir(folder) == ["vor.prom"]
        with open(target) as text:
            assert {f.name for f in text_string_to_metric_families(text.read())} == FAMILIES
        missing = os.path.join(folder, "no", "vor.prom")
        run = vorctl("metrics", "--output", missing)
        assert run.returncode == 3
        assert run.stderr.startswith(f"vorctl: cannot write metrics to '{missing}': ")
        assert os.listdir(folder) == ["vor.prom"]


if __name__ == "__main__":
    sys.exit(pytest.main([__file__, "-q", "-p", "no:cacheprovider"]))
