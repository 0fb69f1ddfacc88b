#!/usr/bin/env python3
"""Mutation check: puts the small bugs of scripts/mutants.txt into a copy of the
tree one at a time, rebuilds, runs the native suite against each and reports
which of them some test caught.

    scripts/mutate.py [--work DIR] [--only ID,ID] [-R REGEX] [-E REGEX] [--report FILE] [--skip-baseline]

The copy holds the repository's tracked files as they are in the worktree
(committed or not) under DIR/src, built in DIR/build, which later runs reuse:
only what a mutant touches is rebuilt. The suite leaves out the measure and
dotnet tests unless -E says otherwise. Exit status: 0 when every mutant was
caught, 1 when some survived, 2 when the unmutated tree fails to build or
its suite fails.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def parse_mutants(path):
    """Blocks separated by blank lines: "[id] description", then one or more
    "file:", "old:", "new:" triples. \\n, \\t and \\\\ are escapes."""
    def unescape(text):
        return re.sub(r"\\(.)", lambda m: {"n": "\n", "t": "\t", "\\": "\\"}.get(m.group(1), "\\" + m.group(1)), text)

    mutants, current = [], None
    with open(path, encoding="utf-8") as f:
        for number, raw in enumerate(f, 1):
            line = raw.rstrip("\n")
            if line.startswith("#"):
                continue
            if not line.strip():
                current = None
                continue
            m = re.match(r"\[([\w-]+)\]\s*(.*)", line)
            if m:
                current = {"id": m.group(1), "what": m.group(2), "sites": []}
                mutants.append(current)
                continue
            key, _, value = line.partition(":")
            value = value[1:] if value.startswith(" ") else value
            if current is None or key not in ("file", "old", "new"):
                sys.exit(f"{path}:{number}: expected [id], file:, old: or new:")
            if key == "file":
                current["sites"].append({"file": value})
            else:
                current["sites"][-1][key] = unescape(value)
    for m in mutants:
        if not m["sites"] or any("old" not in s or "new" not in s for s in m["sites"]):
            sys.exit(f"mutant {m['id']}: every file: needs old: and new:")
    return mutants


def copy_tree(src):
    """Copies the tracked files, rewriting only those that differ, so that an
    unchanged file keeps its time stamp and is not rebuilt; files that an
    earlier copy left and that are no longer tracked go (a build that globs a
    folder would take them in)."""
    files = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True).stdout.decode().split("\0")
    tracked = set(filter(None, files))
    for folder, _, names in os.walk(src):
        for n in names:
            if os.path.relpath(os.path.join(folder, n), src) not in tracked:
                os.remove(os.path.join(folder, n))
    for name in tracked:
        source, target = os.path.join(ROOT, name), os.path.join(src, name)
        if not os.path.isfile(source):
            continue
        with open(source, "rb") as f:
            data = f.read()
        if os.path.isfile(target):
            with open(target, "rb") as f:
                if f.read() == data:
                    continue
        os.makedirs(os.path.dirname(target), exist_ok=True)
        with open(target, "wb") as f:
            f.write(data)
        shutil.copymode(source, target)


def run(command, cwd, log):
    with open(log, "w") as out:
        return subprocess.run(command, cwd=cwd, stdout=out, stderr=subprocess.STDOUT).returncode


def build(args):
    return run(["cmake", "--build", args.build, "-j", str(args.jobs)], args.src, os.path.join(args.work, "build.log")) == 0


def suite(args, log, only=None):
    """Runs the suite, or only the tests named; gives the status and the failed tests."""
    command = ["ctest", "-j", str(args.jobs), "--timeout", str(args.timeout), "--stop-on-failure", "-E", args.exclude]
    if args.regex:
        command += ["-R", args.regex]
    if only:
        command = ["ctest", "--timeout", str(args.timeout), "-R", "^(" + "|".join(map(re.escape, only)) + ")$"]
    code = run(command, args.build, log)
    failed = []
    with open(log, errors="replace") as f:
        for line in f:
            m = re.match(r"\s*\d+ - (\S+) \(([^)]*)\)", line)
            if m and m.group(2) not in ("Skipped", "Not Run", "Disabled"):
                failed.append(m.group(1))
    return code, failed


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--work", default=os.path.join(tempfile.gettempdir(), "mirt-mutate"))
    parser.add_argument("--mutants", default=os.path.join(ROOT, "scripts", "mutants.txt"))
    parser.add_argument("--only", help="comma-separated mutant ids")
    parser.add_argument("-R", dest="regex", help="run only the tests matching this")
    parser.add_argument("-E", dest="exclude", default="measure|dotnet", help="leave out the tests matching this")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--timeout", type=int, default=180, help="seconds for a test without its own limit")
    parser.add_argument("--report", help="also write the results as a Markdown table here")
    parser.add_argument("--skip-baseline", action="store_true", help="do not run the suite on the unmutated tree first")
    args = parser.parse_args()

    mutants = parse_mutants(args.mutants)
    if args.only:
        wanted = set(args.only.split(","))
        mutants = [m for m in mutants if m["id"] in wanted]
    args.src, args.build = os.path.join(args.work, "src"), os.path.join(args.work, "build")
    os.makedirs(args.src, exist_ok=True)
    copy_tree(args.src)
    originals = {}
    for m in mutants:
        for s in m["sites"]:
            path = os.path.join(args.src, s["file"])
            with open(path, encoding="utf-8") as f:
                originals[s["file"]] = text = f.read()
            if text.count(s["old"]) != 1:
                sys.exit(f"mutant {m['id']}: the text to replace occurs {text.count(s['old'])} times in {s['file']}")

    if not os.path.exists(os.path.join(args.build, "CMakeCache.txt")):
        if run(["cmake", "-S", args.src, "-B", args.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo"],
               args.src, os.path.join(args.work, "configure.log")) != 0:
            sys.exit("configure failed: see " + os.path.join(args.work, "configure.log"))
    if not build(args):
        print("the unmutated tree does not build: see " + os.path.join(args.work, "build.log"))
        return 2
    code, failed = (0, []) if args.skip_baseline else suite(args, os.path.join(args.work, "baseline.log"))
    if code != 0 and failed and suite(args, os.path.join(args.work, "baseline.again.log"), failed)[0] == 0:
        code = 0  # flaky: the failed tests pass when run again
    if code != 0:
        print("the unmutated suite fails (" + ", ".join(failed) + "): see " + os.path.join(args.work, "baseline.log"))
        return 2

    results = []
    for m in mutants:
        for s in m["sites"]:
            path = os.path.join(args.src, s["file"])
            with open(path, encoding="utf-8") as f:
                text = f.read()
            with open(path, "w", encoding="utf-8") as f:
                f.write(text.replace(s["old"], s["new"], 1))
        start = time.time()
        if not build(args):
            verdict, detail = "no build", "see build.log"
            shutil.copy(os.path.join(args.work, "build.log"), os.path.join(args.work, m["id"] + ".build.log"))
        else:
            log = os.path.join(args.work, m["id"] + ".log")
            code, failed = suite(args, log)
            # A failure that does not come again was a flaky test, not a
            # catch: the suite then runs once more, twice at most.
            for attempt in range(2):
                if code == 0 or not failed or suite(args, log + ".again", failed)[0] != 0:
                    break
                code, failed = suite(args, log)
            verdict = "caught" if code != 0 else "missed"
            detail = ", ".join(failed[:3]) + (" ..." if len(failed) > 3 else "")
        for s in m["sites"]:
            with open(os.path.join(args.src, s["file"]), "w", encoding="utf-8") as f:
                f.write(originals[s["file"]])
        results.append((m, verdict, detail))
        print(f"{verdict:8} {m['id']:24} {time.time() - start:6.0f} s  {detail}", flush=True)

    build(args)  # leaves the copy built as it is
    caught = sum(1 for _, v, _ in results if v == "caught")
    print(f"score: {caught} of {len(results)} caught")
    if args.report:
        with open(args.report, "w") as f:
            f.write("| mutant | change | result | first failing tests |\n|---|---|---|---|\n")
            for m, verdict, detail in results:
                f.write(f"| {m['id']} | {m['what']} | {verdict} | {detail} |\n")
            f.write(f"\nScore: {caught} of {len(results)} caught.\n")
    return 0 if caught == len(results) else 1


if __name__ == "__main__":
    sys.exit(main())
