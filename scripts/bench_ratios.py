#!/usr/bin/env python3
"""Prints each measured operation's time over its baseline's, from the JSON
files that scripts/bench.sh writes (one per benchmark suite)."""
import json
import pathlib
import sys

# (label, suite, measured benchmark, baseline benchmark): names are matched
# up to the first "/", and the single-threaded run is taken.
RATIOS = [
    ("file list hit", "filelist_bench", "BM_VorListHit", "BM_BaselineHit"),
    ("file list miss", "filelist_bench", "BM_VorListMiss", "BM_BaselineMiss"),
    ("process check", "proclist_bench", "BM_IsCriticalProcessByPid", "BM_MinimalProcReads"),
    ("service file hit", "service_bench", "BM_ServiceFileHit", "BM_ServiceBaselineHit"),
    ("service file miss", "service_bench", "BM_ServiceFileMiss", "BM_ServiceBaselineMiss"),
    ("service process", "service_bench", "BM_ServiceProcess", "BM_ServiceBaselineProcReads"),
]

UNIT_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def load(directory):
    suites = {}
    for path in sorted(pathlib.Path(directory).glob("*.json")):
        runs = {}
        for run in json.loads(path.read_text()).get("benchmarks", []):
            if run.get("run_type", "iteration") != "iteration" or run.get("error_occurred"):
                continue
            if run.get("threads", 1) != 1:
                continue
            name = run["name"].split("/")[0]
            runs.setdefault(name, run)
        suites[path.stem] = runs
    return suites


def cpu_ns(run):
    return run["cpu_time"] * UNIT_NS[run.get("time_unit", "ns")]


def main():
    directory = sys.argv[1] if len(sys.argv) > 1 else "build/bench-results"
    suites = load(directory)
    print(f"{'operation':<20} {'measured':>12} {'baseline':>12} {'ratio':>7}")
    missing = 0
    for label, suite, measured, baseline in RATIOS:
        runs = suites.get(suite, {})
        if measured not in runs or baseline not in runs:
            print(f"{label:<20} {'(not run)':>12}")
            missing += 1
            continue
        m, b = cpu_ns(runs[measured]), cpu_ns(runs[baseline])
        print(f"{label:<20} {m:>10.0f}ns {b:>10.0f}ns {m / b:>7.2f}")
    verify = suites.get("service_bench", {}).get("BM_ServiceCreateAndVerify")
    if verify:
        print(f"CreateInstance+Verify (session reload) {cpu_ns(verify) / 1e3:.0f} us CPU")
    print("(CPU time per operation; ratio = measured / baseline)")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
