#!/usr/bin/env python3
"""gcov's line counts of a whole build as one LCOV tracefile.

    gcov_to_lcov.py BUILD_DIR -o gcov.info [--gcov gcov] [--jobs N]

Runs `gcov --json-format --stdout` on every object's notes file (*.gcno) under
BUILD_DIR, one gcov process per folder, and adds up each source line's counts
over all objects and functions (template instances, inline functions in
headers), as gcov's own text output and lcov do. Objects that never ran (no
*.gcda) give their lines with count 0. File names are made absolute against
the folder each object was compiled in. Exit status 1 when gcov fails.
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
    result = subprocess.run([gcov, "--json-format", "--stdout", "--object-directory", folder] + sorted(names),
                            cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if result.returncode != 0:
        raise RuntimeError("gcov failed in %s: %s" % (folder, result.stderr.strip()[-500:]))
    return [json.loads(line) for line in result.stdout.splitlines() if line.strip()]


def add_counts(document, counts):
    cwd = document.get("current_working_directory", "")
    for source in document.get("files", []):
        entries = source.get("lines", [])
        if not entries:
            continue
        lines = counts[os.path.normpath(os.path.join(cwd, source["file"]))]
        for entry in entries:
            lines[entry["line_number"]] += entry["count"]


def write_lcov(counts, out):
    out.write("TN:gcov\n")
    for path in sorted(counts):
        lines = counts[path]
        if not lines:
            continue
        out.write("SF:%s\n" % path)
        for n in sorted(lines):
            out.write("DA:%d,%d\n" % (n, lines[n]))
        out.write("LF:%d\nLH:%d\nend_of_record\n" % (len(lines), sum(1 for c in lines.values() if c > 0)))


def main(argv=None):
    parser = argparse.ArgumentParser(description="gcov's line counts of a build as an LCOV tracefile")
    parser.add_argument("build_dir")
    parser.add_argument("-o", "--output", required=True)
    parser.add_argument("--gcov", default="gcov")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    args = parser.parse_args(argv)

    counts = collections.defaultdict(lambda: collections.defaultdict(int))
    folders = notes_by_folder(os.path.abspath(args.build_dir))
    try:
        with concurrent.futures.ThreadPoolExecutor(max_workers=max(args.jobs, 1)) as pool:
            for documents in pool.map(lambda item: run_gcov(args.gcov, *item), sorted(folders.items())):
                for document in documents:
                    add_counts(document, counts)
    except (OSError, RuntimeError, ValueError) as e:
        sys.stderr.write("gcov_to_lcov: %s\n" % e)
        return 1
    with open(args.output, "w") as out:
        write_lcov(counts, out)
    return 0


if __name__ == "__main__":
    sys.exit(main())
