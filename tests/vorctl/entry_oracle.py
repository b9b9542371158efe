"""No false "critical", and none missed: vorctl's answers by entry against an
oracle of this file's own. For each path on stdin (NUL-separated) it spells
the path's entry every way this machine allows (the directory part resolved
by os.path.realpath, the final name kept, then through each link to a
directory in "/"), asks the module about each spelling by its letter
(check-file --exact), and requires the answer by entry to be critical exactly
when one of them is. Prints each disagreement and a count; exits 1 on any,
or when the sample held nothing critical (nothing would have been shown).
Usage: entry_oracle.py VORCTL < paths"""
import json
import os
import subprocess
import sys


def top_links():
    links = []
    for name in sorted(os.listdir("/")):
        link = "/" + name
        target = os.path.realpath(link)
        if os.path.islink(link) and os.path.isdir(link) and target != "/":
            links.append((link, target))
    return links


def spellings(path, links):
    directory, name = os.path.split(path)
    try:
        physical = os.path.realpath(directory, strict=True)
    except OSError:
        return [path]  # the directory leads nowhere: only the path as given
    found = {path, os.path.join(physical, name)}
    for link, target in links:
        if physical == target or physical.startswith(target + "/"):
            found.add(link + physical[len(target):] + "/" + name)
    return sorted(found)


def critical(vorctl, options, paths):
    """The module's answers, in order: True, False, or None for a failure."""
    run = subprocess.run([vorctl, "--json", "check-file", *options, "-0", "-"],
                         input=b"".join(os.fsencode(p) + b"\0" for p in paths),
                         stdout=subprocess.PIPE, check=False)
    answers = [json.loads(line)["critical"] for line in run.stdout.splitlines()]
    if len(answers) != len(paths):
        sys.exit(f"vorctl answered {len(answers)} of {len(paths)} paths")
    return answers


def main():
    vorctl = sys.argv[1]
    paths = [os.fsdecode(p) for p in sys.stdin.buffer.read().split(b"\0") if p]
    links = top_links()
    spelt = {path: spellings(path, links) for path in paths}
    every = sorted({s for group in spelt.values() for s in group})
    letter = dict(zip(every, critical(vorctl, ["--exact"], every)))
    entry = critical(vorctl, [], paths)
    wrong = 0
    for path, answer in zip(paths, entry):
        expected = any(letter[s] for s in spelt[path])
        if answer is not expected:
            wrong += 1
            print(f"{path}: {answer} by entry, {expected} by its spellings {spelt[path]}")
    found = sum(answer is True for answer in entry)
    print(f"{len(paths)} paths, {len(every)} spellings, {found} critical, {wrong} disagree")
    sys.exit(1 if wrong or not found else 0)


main()
