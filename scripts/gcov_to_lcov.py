#!/usr/bin/env python3
"""gcov's line counts of a whole build as one LCOV tracefile.

    gcov_to_lcov.py BUILD_DIR -o gcov.info [--gcov gcov] [--jobs N]

Runs `gcov --json-format --stdout` on every object's notes file (*.gcno) under
BUILD_DIR, one gcov process per folder, and adds up each source line's counts
over all objects and functions (template instances, inline functions in
headers), as gcov's own text output and lcov do. Objects that never ran (no
*.gcda) give their lines with count 0. File names are made absolute against
the folder each object was compiled in. The counts of sources that an object
#includes rather than compiles (a unity build's parts, a source that a test
includes to reach its static functions) form a test section of their own,
"included". Lines marked LCOV_EXCL_LINE, or between LCOV_EXCL_START and
LCOV_EXCL_STOP, are left out, as lcov does. Branch outcomes become BRDA lines,
without the outcomes of calls that may throw (gcov's "throw" branch and the
"fallthrough" before it, the call's return), each
line's outcomes in gcov's order, added up over objects that list as many for the
line. Exit status 1 when gcov fails.
"""
import argparse
import collections
import concurrent.futures
import json
import os
import subprocess
import sys


def notes_by_folder(build_dir):
    folders = collections.defaultdict(list)
    for here, _, names in os.walk(build_dir):
        for name in names:
            if name.endswith(".gcno"):
                folders[here].append(name)
    return folders


def run_gcov(gcov, folder, names):
    result = subprocess.run([gcov, "--json-format", "--stdout", "--branch-probabilities", "--object-directory", folder] + sorted(names),
                            cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if result.returncode != 0:
        raise RuntimeError("gcov failed in %s: %s" % (folder, result.stderr.strip()[-500:]))
    return [json.loads(line) for line in result.stdout.splitlines() if line.strip()]


SOURCE_EXTENSIONS = {".c", ".cc", ".cpp", ".cxx", ".c++", ".C"}


def add_branches(lines, number, entry):
    outcomes, last = [], None
    for b in entry.get("branches", []):
        if b.get("throw"):
            if last is not None and last.get("fallthrough") and outcomes:
                outcomes.pop()  # the call's return, no decision
        else:
            outcomes.append(b["count"])
        last = b
    if not outcomes:
        return
    known = lines.get(number)
    if known is None:
        lines[number] = outcomes
    elif len(known) == len(outcomes):
        lines[number] = [a + b for a, b in zip(known, outcomes)]


def add_counts(document, counts, included, branches=None):
    """Adds one object's counts: to `included` those of sources other than the
    object's own (a unity build's parts, a source that a test #includes)."""
    cwd = document.get("current_working_directory", "")
    stem = os.path.basename(document.get("data_file", ""))[:-len(".gcno")]
    for source in document.get("files", []):
        entries = source.get("lines", [])
        if not entries:
            continue
        path = os.path.normpath(os.path.join(cwd, source["file"]))
        name = os.path.basename(path)
        base = os.path.splitext(name)[0]
        # The object of x.c is x.c.o (CMake), x.o, or NAME-x.o (gcc -o NAME x.c y.c, automake).
        own = stem in (name, base) or stem.endswith("-" + base)
        foreign = os.path.splitext(name)[1] in SOURCE_EXTENSIONS and not own
        lines = (included if foreign else counts)[path]
        for entry in entries:
            lines[entry["line_number"]] += entry["count"]
            if branches is not None:
                add_branches(branches[path], entry["line_number"], entry)


def excluded_lines(path):
    """Lines marked LCOV_EXCL_LINE or between LCOV_EXCL_START and LCOV_EXCL_STOP,
    which lcov and mirt-report leave out too."""
    excluded, inside = set(), False
    try:
        with open(path, encoding="utf-8", errors="replace") as f:
            for n, text in enumerate(f, 1):
                if "LCOV_EXCL_START" in text:
                    inside = True
                if inside or "LCOV_EXCL_LINE" in text:
                    excluded.add(n)
                if "LCOV_EXCL_STOP" in text:
                    inside = False
    except OSError:
        pass
    return excluded


def leave_out_excluded(counts):
    for path, lines in counts.items():
        for n in excluded_lines(path) & set(lines):
            del lines[n]


def write_lcov(sections, out, branches=None):
    for test, counts in sections:
        if counts:
            out.write("TN:%s\n" % test)
        for path in sorted(counts):
            lines = counts[path]
            if not lines:
                continue
            out.write("SF:%s\n" % path)
            for n in sorted(lines):
                out.write("DA:%d,%d\n" % (n, lines[n]))
            # Every object's outcomes, the #included copies' too, go with the
            # file's own record (mirt64 adds up the copies alike).
            if test == "gcov" and branches is not None:
                for n, outcomes in sorted(branches.get(path, {}).items()):
                    if n in lines:
                        for k, taken in enumerate(outcomes):
                            out.write("BRDA:%d,0,%d,%d\n" % (n, k, taken))
            out.write("LF:%d\nLH:%d\nend_of_record\n" % (len(lines), sum(1 for c in lines.values() if c > 0)))


def main(argv=None):
    parser = argparse.ArgumentParser(description="gcov's line counts of a build as an LCOV tracefile")
    parser.add_argument("build_dir")
    parser.add_argument("-o", "--output", required=True)
    parser.add_argument("--gcov", default="gcov")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    args = parser.parse_args(argv)

    counts = collections.defaultdict(lambda: collections.defaultdict(int))
    included = collections.defaultdict(lambda: collections.defaultdict(int))
    branches = collections.defaultdict(dict)
    folders = notes_by_folder(os.path.abspath(args.build_dir))
    try:
        with concurrent.futures.ThreadPoolExecutor(max_workers=max(args.jobs, 1)) as pool:
            for documents in pool.map(lambda item: run_gcov(args.gcov, *item), sorted(folders.items())):
                for document in documents:
                    add_counts(document, counts, included, branches)
    except (OSError, RuntimeError, ValueError) as e:
        sys.stderr.write("gcov_to_lcov: %s\n" % e)
        return 1
    for section in (counts, included):
        leave_out_excluded(section)
    with open(args.output, "w") as out:
        write_lcov([("gcov", counts), ("included", included)], out, branches)
    return 0


if __name__ == "__main__":
    sys.exit(main())
