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

With --runs FILE, a second tracefile holds how often each line ran as gcov's
basic blocks show it: per function, the largest count of a block that starts
on the line (or, where none does, of one that covers it) (`gcov-dump -l` names each block's lines, `gcov --debug` gives the
block counts), added up over functions and objects. gcov's own line count is
the number of times control entered the line from elsewhere: a statement that
leaves its line and comes back (a return that runs a destructor written on the
closing brace's line, then returns; the second operand of `&&` on the next
line, whose result the first line then uses) counts twice there, and a line in
the middle of a block spanning several lines gets the sum of those blocks.
"""
import argparse
import collections
import concurrent.futures
import json
import os
import re
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


DUMP_BLOCK = re.compile(r"block (\d+):(.*)$")
DUMP_PART = re.compile(r"`([^']*)'|(\d+)")


def block_lines(gcov, notes):
    """{function: {block: [(file, line), ...]}} of one notes file, by the gcov-dump
    that goes with gcov (gcov-12: gcov-dump-12)."""
    dump = os.path.join(os.path.dirname(gcov), os.path.basename(gcov).replace("gcov", "gcov-dump", 1))
    result = subprocess.run([dump, "-l", notes], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if result.returncode != 0:
        raise RuntimeError("gcov-dump failed on %s: %s" % (notes, result.stderr.strip()[-500:]))
    functions, blocks, cwd = {}, None, ""
    for line in result.stdout.splitlines():
        if ":cwd: " in line:
            cwd = line.split(":cwd: ", 1)[1].strip()
        elif "FUNCTION ident=" in line:
            name = line.split("`", 1)[1].split("'", 1)[0]
            blocks = functions.setdefault(name, {})
        elif blocks is not None and "LINES" not in line:
            m = DUMP_BLOCK.search(line)
            if not m:
                continue
            where, file = blocks.setdefault(int(m.group(1)), []), None
            for quoted, number in DUMP_PART.findall(m.group(2)):
                if quoted:
                    file = os.path.normpath(os.path.join(cwd, quoted))
                elif file:
                    where.append((file, int(number)))
    return functions


def block_counts(gcov, folder, name):
    """{function: {block: count}} of one object, by gcov --debug."""
    result = subprocess.run([gcov, "--debug", "--no-output", "--object-directory", folder, name],
                            cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if result.returncode != 0:
        raise RuntimeError("gcov failed in %s: %s" % (folder, result.stderr.strip()[-500:]))
    functions, blocks = {}, None
    for line in result.stderr.splitlines():  # the dumps go to the error stream
        line = line.strip()
        if line.startswith("function_info: "):
            blocks = functions.setdefault(line[len("function_info: "):], {})
        elif line.startswith("block_info id=") and blocks is not None:
            ident, count = line[len("block_info id="):].split(", count=")
            blocks[int(ident)] = int(count)
    return functions


def run_counts(gcov, folder, names):
    """{file: {line: runs}} of a folder's objects: per function, the largest count
    of a block that starts on the line, or else of one that covers it, added up."""
    runs = collections.defaultdict(lambda: collections.defaultdict(int))
    for name in names:
        counts = block_counts(gcov, folder, name)
        for function, blocks in block_lines(gcov, os.path.join(folder, name)).items():
            starting, covering = {}, {}
            for block, where in blocks.items():
                count = counts.get(function, {}).get(block, 0)
                for k, place in enumerate(where):
                    for found in ((starting, covering) if k == 0 else (covering,)):
                        found[place] = max(found.get(place, 0), count)
            for (file, line), count in covering.items():
                runs[file][line] += starting.get((file, line), count)
    return runs


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
    parser.add_argument("--runs", metavar="FILE", help="also write how often each line ran, by gcov's block counts")
    args = parser.parse_args(argv)

    counts = collections.defaultdict(lambda: collections.defaultdict(int))
    included = collections.defaultdict(lambda: collections.defaultdict(int))
    branches = collections.defaultdict(dict)
    runs = collections.defaultdict(lambda: collections.defaultdict(int))
    folders = notes_by_folder(os.path.abspath(args.build_dir))
    try:
        with concurrent.futures.ThreadPoolExecutor(max_workers=max(args.jobs, 1)) as pool:
            for documents in pool.map(lambda item: run_gcov(args.gcov, *item), sorted(folders.items())):
                for document in documents:
                    add_counts(document, counts, included, branches)
            if args.runs:
                for found in pool.map(lambda item: run_counts(args.gcov, *item), sorted(folders.items())):
                    for path, lines in found.items():
                        for n, c in lines.items():
                            runs[path][n] += c
    except (OSError, RuntimeError, ValueError) as e:
        sys.stderr.write("gcov_to_lcov: %s\n" % e)
        return 1
    for section in (counts, included):
        leave_out_excluded(section)
    if args.runs:
        # Only the lines that gcov's tracefile lists take part.
        with open(args.runs, "w") as out:
            write_lcov([("runs", {path: {n: c for n, c in lines.items() if n in counts.get(path, {}) or n in included.get(path, {})}
                                  for path, lines in runs.items()})], out)
    with open(args.output, "w") as out:
        write_lcov([("gcov", counts), ("included", included)], out, branches)
    return 0


if __name__ == "__main__":
    sys.exit(main())
