#!/usr/bin/env python3
"""Compares mirt64's line coverage with gcov's, from two LCOV tracefiles.

    compare_lcov.py GCOV.info MIRT.info [--root DIR] [--only DIR]... [--details]
                    [--runs RUNS.info] [--again GCOV2.info]
                    [--min-lines PCT] [--min-never-run PCT] [--min-executed PCT] [--min-files PCT]

Files are matched by absolute path; relative names are taken from --root (the
folder the compile commands ran in; default: the current folder). Records of
one file in several test sections (mirt64 writes one per process) are added up.
Lines whose source text is only a closing brace ("}", "};", "})", ...) are
left aside: gcov counts some of them (a function's end, destructors at the end
of a scope) and mirt64 places no probe there; so are lines holding only a
macro's name in capitals ("END_TEST", a framework's "}") that mirt64 does not list. Files that only one of the two
knows are listed apart and take no part in the figures:

  executable   lines both list / lines either lists
  never run    lines both count 0 / lines either counts 0, among lines both list
  executed     lines gcov counts above 0 that mirt64 counts above 0 too
  exact        lines both count above 0 with the very same count

With --runs (gcov_to_lcov.py's --runs file: how often each line ran by gcov's
block counts) a fifth figure, "exact by blocks", takes a line as exact when
mirt64's count is gcov's line count or the line's runs by gcov's blocks: gcov's
line count is the number of times control entered the line, so a statement that
leaves its line and comes back (to run a destructor on the closing brace's line,
say) counts twice there, once by the blocks. With --again (gcov's tracefile of a
second run of the same tests), lines on which the two tools disagree and whose gcov
count differs between the two runs (threads, timing) take no part in that figure.

and the share of the sources gcov ran that mirt64 knows (a source mirt64
lacks was not instrumented; headers and sources that other sources #include
are left aside, since mirt-cc leaves them alone).

--details prints every line on which the two disagree, with its source text
and the likely reason. Exit status: 0, or 2 when an input cannot be read, or 3
when a --min-* figure (a percentage of the totals) is not reached.
"""
import argparse
import collections
import os
import re
import sys

HEADER_EXTENSIONS = {".h", ".hh", ".hpp", ".hxx", ".h++", ".inc", ".inl", ".ipp", ".tcc", ".tpp", ""}
SOURCE_EXTENSIONS = {".c", ".cc", ".cpp", ".cxx", ".c++", ".C"}


def read_lcov(path, root, sections=None):
    """{absolute file: {line: count}}, every record of a file added up; with
    `sections`, each test section's own {file: {line: count}} goes there too."""
    files = collections.defaultdict(lambda: collections.defaultdict(int))
    current = []
    test = ""
    with open(path, encoding="utf-8", errors="replace") as f:
        for raw in f:
            line = raw.strip()
            if line.startswith("TN:"):
                test = line[3:]
            elif line.startswith("SF:"):
                name = os.path.normpath(os.path.join(root, line[3:]))
                current = [files[name]]
                if sections is not None:
                    section = sections.setdefault(test, collections.defaultdict(lambda: collections.defaultdict(int)))
                    current.append(section[name])
            elif line.startswith("DA:") and current:
                fields = line[3:].split(",")
                try:
                    number, count = int(fields[0]), int(float(fields[1]))
                except (ValueError, IndexError):
                    continue
                if number >= 1:
                    for lines in current:
                        lines[number] += max(count, 0)
            elif line == "end_of_record":
                current = []
    return {path: lines for path, lines in files.items() if lines}


def read_branches(path, root):
    """{absolute file: {line: [taken, ...]}}: each line's BRDA outcomes in their
    order, added up over the records (test cases) that list as many."""
    files = collections.defaultdict(dict)
    records = []
    current = None
    with open(path, encoding="utf-8", errors="replace") as f:
        for raw in f:
            line = raw.strip()
            if line.startswith("SF:"):
                current = collections.defaultdict(list)
                records.append((os.path.normpath(os.path.join(root, line[3:])), current))
            elif line.startswith("BRDA:") and current is not None:
                fields = line[5:].split(",")
                if len(fields) == 4 and fields[0].isdigit():
                    current[int(fields[0])].append(0 if fields[3] == "-" else int(float(fields[3])))
            elif line == "end_of_record":
                current = None
    for name, lines in records:
        for number, outcomes in lines.items():
            known = files[name].get(number)
            if known is None:
                files[name][number] = outcomes
            elif len(known) == len(outcomes):
                files[name][number] = [a + b for a, b in zip(known, outcomes)]
    return files


def in_pairs(outcomes):
    """Outcomes two by two, each pair sorted: gcov lists a short-circuit
    operand's outcome that goes on to the next operand first, mirt64 lists
    true before false, so only the pairs, not their order, can be matched.
    An odd number (a switch) stays in its order."""
    if len(outcomes) % 2:
        return list(outcomes)
    return [c for k in range(0, len(outcomes), 2) for c in sorted(outcomes[k:k + 2])]


def compare_branches(ref, mirt, files, out):
    """Lines with branches in both tracefiles: those with as many outcomes in
    each, and of their outcomes those with equal counts and those that both
    took or both never took (see in_pairs)."""
    lines = same = outcomes = equal = agree = 0
    for path in files:
        for n, theirs in ref.get(path, {}).items():
            ours = mirt.get(path, {}).get(n)
            if ours is None:
                continue
            lines += 1
            if len(ours) != len(theirs):
                continue
            same += 1
            ours, theirs = in_pairs(ours), in_pairs(theirs)
            outcomes += len(ours)
            equal += sum(1 for a, b in zip(ours, theirs) if a == b)
            agree += sum(1 for a, b in zip(ours, theirs) if (a > 0) == (b > 0))
    if lines == 0:
        return
    pct = lambda a, b: "%.1f%% %d/%d" % (100.0 * a / b, a, b) if b else "n/a"
    out.write("\nbranches: lines with as many outcomes in both %s; of their outcomes, taken alike %s, "
              "equal counts %s\n" % (pct(same, lines), pct(agree, outcomes), pct(equal, outcomes)))


def without_section(sections, name):
    """The files of every section but one, added up."""
    files = collections.defaultdict(lambda: collections.defaultdict(int))
    for test, section in sections.items():
        if test != name:
            for path, lines in section.items():
                for n, c in lines.items():
                    files[path][n] += c
    return {path: lines for path, lines in files.items() if lines}


_source_cache = {}


def source_lines(path):
    """The file's lines (index 0 is line 1), or None when it cannot be read."""
    if path not in _source_cache:
        try:
            with open(path, encoding="utf-8", errors="replace") as f:
                _source_cache[path] = f.read().split("\n")
        except OSError:
            _source_cache[path] = None
    return _source_cache[path]


def text_of(lines, number):
    return lines[number - 1] if lines and 0 < number <= len(lines) else ""


CLOSING_BRACE = re.compile(r"^\s*\}[\s;,)\]}]*(//.*|/\*.*\*/\s*)?$")


def is_closing_brace(text):
    return bool(CLOSING_BRACE.match(text))


# A line holding only a macro's name, as a test framework ends a test's
# function ("END_TEST" for "}"): where mirt64 lists nothing there, it is taken
# as a closing brace.
BLOCK_END_MACRO = re.compile(r"^\s*[A-Z][A-Z0-9_]*\s*(//.*|/\*.*\*/\s*)?$")


def is_block_end_macro(text):
    return bool(BLOCK_END_MACRO.match(text))


def without_comment(text):
    text = re.sub(r"/\*.*?\*/", " ", text)
    return re.sub(r"//.*$", "", text).strip()


def inside_parentheses(lines, number):
    """Whether the line is inside parentheses opened on a line above (the
    parts of a for header on lines of their own, a call's arguments)."""
    depth = 0
    for n in range(number - 1, max(number - 12, 0), -1):
        code = re.sub(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)*\'', "", without_comment(text_of(lines, n)))
        depth += code.count("(") - code.count(")")
        if depth > 0:
            return True
        if code.endswith("{") or code.endswith("}"):
            return False
    return False


def in_initialiser_list(lines, number):
    """Whether the line is part of a constructor's member initialisers."""
    for n in range(number, max(number - 8, 0), -1):
        code = without_comment(text_of(lines, n))
        if code.startswith(":") or re.search(r"\)\s*:\s*\w", code) or (n < number and code.endswith(":")):
            return True
        if n < number and (code.endswith(";") or code.endswith("{") or code.endswith("}")):
            return False
    return False


def previous_code(lines, number):
    """The nearest line above that holds code, without its comment."""
    n = number - 1
    while n >= 1:
        code = without_comment(text_of(lines, n))
        if code and not code.startswith("*") and not code.startswith("/*"):
            return code
        n -= 1
    return ""


KEYWORDS = ("return", "if", "else", "while", "for", "switch", "case", "do", "goto", "delete",
            "throw", "break", "continue", "default", "using", "typedef", "new", "co_return")
DECLARATION = re.compile(
    r"^(?:(?:static|const|constexpr|volatile|register|unsigned|signed|auto|struct|enum|union|"
    r"thread_local|inline|extern|mutable|typename)\s+)*"
    r"[A-Za-z_][\w:]*(?:\s*<[^;=]*>)?(?:\s*::\s*\w+)*[\s*&]+(?:const\s+)?[*&\s]*[A-Za-z_]\w*"
    r"\s*(?:\[[^\]]*\]\s*)*(?:=|\{|\((?!\s*\)))")
MACRO_USE = re.compile(r"^(?:\w+\s*=\s*)?[A-Z][A-Z0-9_]{2,}\s*\(")
LABEL = re.compile(r"^(?:case\b.*|default\s*|[A-Za-z_]\w*\s*):(?!:)")
CONTINUES_AFTER = re.compile(r"(?:[,(=+\-*/%&|^<>?!\[]|&&|\|\||<<|>>|\breturn)$")
CONTINUES_BEFORE = re.compile(r"^(?:[)\].,?:+\-*/%&|^<>=!]|->|&&|\|\|)")
FUNCTION_HEAD = re.compile(r"^[^;=]*\b[A-Za-z_~][\w:~<>]*\s*\([^;]*\)?\s*(?:const|noexcept|override|final|\s)*\{?$")


DEFINE = re.compile(r"^\s*#\s*define\s+([A-Za-z_]\w*)", re.M)
QUOTED_INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.M)
_macro_cache = {}


def macro_names(path, depth=4):
    """Names #defined in the file and in what it includes with quotes, found
    beside the includer or in an include/ folder above it."""
    key = (path, depth)
    if key in _macro_cache:
        return _macro_cache[key]
    _macro_cache[key] = set()
    lines = source_lines(path)
    if lines is None:
        return set()
    text = "\n".join(lines)
    names = set(DEFINE.findall(text))
    if depth > 0:
        for name in QUOTED_INCLUDE.findall(text):
            folders = [os.path.dirname(path)]
            folder = os.path.dirname(path)
            for _ in range(4):
                folder = os.path.dirname(folder)
                folders += [os.path.join(folder, "include"), folder]
            for folder in folders:
                candidate = os.path.normpath(os.path.join(folder, name))
                if os.path.isfile(candidate):
                    names |= macro_names(candidate, depth - 1)
                    break
    _macro_cache[key] = names
    return names


def classify(lines, number, path=None, included_by=None):
    """A short reason for a line on which the two tools disagree; included_by
    names a source that #includes this one, whose copy gcov counts too."""
    if lines is None:
        return "source not readable"
    if included_by:
        return "source #included by " + os.path.basename(included_by)
    text = text_of(lines, number)
    code = without_comment(text)
    prev = previous_code(lines, number)
    if is_closing_brace(text):
        return "closing brace"
    if not code:
        return "blank or comment"
    if code.startswith("#") or text_of(lines, number - 1).rstrip().endswith("\\"):
        return "macro definition or preprocessor line"
    if code == "{":
        return "opening brace"
    if code.startswith("}") or re.match(r"^else\b", code):
        return "else"
    if LABEL.match(code):
        return "label"
    if (re.match(r"^:?\s*[A-Za-z_][\w:]*\s*[({].*[)}]\s*(,|\{\s*\}?)?$", code)
            and in_initialiser_list(lines, number)):
        return "member initialiser"
    if re.match(r"^\(void\)\s*[\w.>-]+\s*;$", code):
        return "cast to void (no code)"
    if (prev and (CONTINUES_AFTER.search(prev) or CONTINUES_BEFORE.match(code)) and not LABEL.match(prev)
            or inside_parentheses(lines, number)):
        return "continuation of a multi-line statement"
    word = re.match(r"^[A-Za-z_]\w*", code)
    first = word.group(0) if word else ""
    if MACRO_USE.match(code) or (path and first and first in macro_names(path)):
        return "macro"
    if first in ("for", "while", "do"):
        return "loop header"
    if first in ("if", "switch"):
        if re.search(r"::value\b|\bsizeof\b|\bconstexpr\b", code) and not re.search(r"&&|\|\|", code):
            return "condition constant at compile time"
        return "condition"
    if not re.search(r"[;{}:]$", code) and not code.startswith("#"):
        return "first line of a multi-line statement"
    if first == "return":
        return "return"
    if "[" in code and re.search(r"\[[^\]]*\]\s*(\([^)]*\))?\s*(mutable\s*)?(->\s*[\w:<>]+\s*)?\{", code):
        return "lambda"
    if first not in KEYWORDS and DECLARATION.match(code):
        return "declaration with initialiser"
    if first not in KEYWORDS and re.match(r"^[A-Za-z_][\w:<>, ]*[\s*&]+[A-Za-z_]\w*(\[[^\]]*\])*;$", code):
        return "declaration without initialiser"
    if first not in KEYWORDS and FUNCTION_HEAD.match(code) and (
            code.endswith("{") or without_comment(text_of(lines, number + 1)).startswith("{")):
        return "function head"
    return "statement"


def file_kind(path, includers):
    """Why one tool may not know a file at all."""
    ext = os.path.splitext(path)[1]
    if ext in HEADER_EXTENSIONS:
        return "header file"
    if ext in SOURCE_EXTENSIONS:
        found = includers.of(path) if includers else []
        if found:
            return "source #included by " + os.path.basename(found[0])
        return "source file"
    return "other file"


INCLUDE = re.compile(r'^\s*#\s*include\s*["<]([^">]+)[">]', re.M)


class Includers:
    """Which files of the given folders #include a source file by its name
    (a unity build, or tests that include the source they test)."""

    def __init__(self, folders, recursive):
        self.by_name = collections.defaultdict(list)
        seen = 0
        for top in sorted(set(folders)):
            for here, subdirs, names in os.walk(top):
                subdirs[:] = sorted(d for d in subdirs if not d.startswith(".")) if recursive else []
                for name in sorted(names):
                    ext = os.path.splitext(name)[1]
                    if ext not in SOURCE_EXTENSIONS and ext not in HEADER_EXTENSIONS - {""}:
                        continue
                    seen += 1
                    if seen > 50000:
                        return
                    path = os.path.join(here, name)
                    text = source_lines(path)
                    for included in INCLUDE.findall("\n".join(text or [])):
                        if os.path.splitext(included)[1] in SOURCE_EXTENSIONS:
                            self.by_name[os.path.basename(included)].append(path)

    def of(self, path):
        return [p for p in self.by_name.get(os.path.basename(path), []) if p != path]


class Figures:
    """Numerators and denominators of the four figures."""
    NAMES = ("executable", "never run", "executed", "exact", "exact by blocks")

    def __init__(self):
        self.num = dict.fromkeys(self.NAMES, 0)
        self.den = dict.fromkeys(self.NAMES, 0)
        self.braces = 0

    def add(self, other):
        for name in self.NAMES:
            self.num[name] += other.num[name]
            self.den[name] += other.den[name]
        self.braces += other.braces

    def percent(self, name):
        return 100.0 * self.num[name] / self.den[name] if self.den[name] else None

    def cell(self, name):
        p = self.percent(name)
        text = "n/a" if p is None else "%.1f%%" % p
        return "%s %d/%d" % (text, self.num[name], self.den[name])


def compare_file(path, ref, mirt, disagreements, runs=None, again=None):
    """The figures of one file both tools know; disagreeing lines go to the list.
    `runs` and `again`: the file's lines in the --runs and --again tracefiles."""
    lines = source_lines(path)
    figures = Figures()
    for n in sorted(set(ref) | set(mirt)):
        if lines is not None and (is_closing_brace(text_of(lines, n)) or
                                  (n not in mirt and is_block_end_macro(text_of(lines, n)))):
            figures.braces += 1
            continue
        in_ref, in_mirt = n in ref, n in mirt
        r, m = ref.get(n), mirt.get(n)
        figures.den["executable"] += 1
        if in_ref and r > 0:
            figures.den["executed"] += 1
            if in_mirt and m > 0:
                figures.num["executed"] += 1
        if not (in_ref and in_mirt):
            kind = ("gcov only, run" if r > 0 else "gcov only, not run") if in_ref else "mirt64 only"
            disagreements.append((path, n, kind, r, m))
            continue
        figures.num["executable"] += 1
        if r == 0 or m == 0:
            figures.den["never run"] += 1
            if r == 0 and m == 0:
                figures.num["never run"] += 1
            else:
                disagreements.append((path, n, "run by one only", r, m))
        else:
            figures.den["exact"] += 1
            kind = None
            if r == m:
                figures.num["exact"] += 1
            elif again is not None and again.get(n) != r:
                kind = "varies between runs"
            elif runs is not None and runs.get(n) == m:
                kind = "gcov counts re-entries"
            else:
                kind = "counts differ"
            if runs is not None and kind != "varies between runs":
                figures.den["exact by blocks"] += 1
                figures.num["exact by blocks"] += kind in (None, "gcov counts re-entries")
            if kind:
                disagreements.append((path, n, kind, r, m))
    return figures


def short_names(paths):
    if not paths:
        return {}
    folders = [os.path.dirname(p) for p in paths]
    common = os.path.commonpath(folders) if len(set(folders)) > 1 else folders[0]
    return {p: os.path.relpath(p, common) for p in paths}


def print_table(rows, total, out):
    names = short_names([r[0] for r in rows])
    width = max([len("total")] + [len(v) for v in names.values()])
    shown = [n for n in Figures.NAMES if n != "exact by blocks" or total.den[n]]
    head = ["file".ljust(width)] + ["%-22s" % n for n in shown] + ["braces"]
    out.write("  ".join(head).rstrip() + "\n")
    for path, figures in rows + [("total", total)]:
        name = "total" if path == "total" else names[path]
        cells = [name.ljust(width)] + ["%-22s" % figures.cell(n) for n in shown]
        out.write("  ".join(cells) + "  %d\n" % figures.braces)


def under(path, prefixes):
    return not prefixes or any(path == p or path.startswith(p.rstrip("/") + "/") for p in prefixes)


def main(argv=None):
    parser = argparse.ArgumentParser(description="Compares mirt64's LCOV tracefile with gcov's.")
    parser.add_argument("reference", help="gcov's LCOV tracefile")
    parser.add_argument("mirt", help="mirt64's LCOV tracefile (mirt-report lcov)")
    parser.add_argument("--root", default=os.getcwd(), help="folder that relative file names are in")
    parser.add_argument("--only", action="append", default=[], metavar="DIR",
                        help="compare only files under DIR (repeatable)")
    parser.add_argument("--details", action="store_true", help="list every disagreeing line")
    parser.add_argument("--leave-out-included", action="store_true",
                        help="leave out gcov's counts of sources that other sources #include")
    parser.add_argument("--runs", metavar="FILE", help="how often each line ran by gcov's blocks (gcov_to_lcov.py --runs)")
    parser.add_argument("--again", metavar="FILE", help="gcov's tracefile of a second run of the same tests")
    parser.add_argument("--min-lines", type=float, metavar="PCT", help="least executable-line agreement")
    parser.add_argument("--min-never-run", type=float, metavar="PCT", help="least never-run agreement")
    parser.add_argument("--min-executed", type=float, metavar="PCT",
                        help="least share of gcov's executed lines that mirt64 counts")
    parser.add_argument("--min-files", type=float, metavar="PCT",
                        help="least share of the sources gcov ran that mirt64 knows")
    args = parser.parse_args(argv)

    root = os.path.abspath(args.root)
    only = [os.path.normpath(os.path.join(root, p)) for p in args.only]
    try:
        sections = {}
        ref = read_lcov(args.reference, root, sections)
        mirt = read_lcov(args.mirt, root)
        runs = read_lcov(args.runs, root) if args.runs else None
        again = read_lcov(args.again, root) if args.again else None
    except OSError as e:
        sys.stderr.write("compare_lcov: %s\n" % e)
        return 2

    out = sys.stdout
    # gcov_to_lcov.py's counts of the copies of sources that other sources #include.
    copies = sections.get("included", {})
    if args.leave_out_included:
        ref = without_section(sections, "included")
        copies = {}
    ref = {p: v for p, v in ref.items() if under(p, only)}
    mirt = {p: v for p, v in mirt.items() if under(p, only)}
    both = sorted(set(ref) & set(mirt))
    never_run_in_mirt = sum(1 for lines in mirt.values() for c in lines.values() if c == 0)
    if never_run_in_mirt == 0:
        out.write("note: mirt64's tracefile lists no never-run line (made without a line map?)\n")

    rows, total, disagreements = [], Figures(), []
    for path in both:
        figures = compare_file(path, ref[path], mirt[path], disagreements,
                               None if runs is None else runs.get(path, {}), None if again is None else again.get(path, {}))
        rows.append((path, figures))
        total.add(figures)
    print_table(rows, total, out)
    compare_branches(read_branches(args.reference, root), read_branches(args.mirt, root), both, out)

    # Files that gcov_to_lcov.py saw compiled as an object's own source.
    own = without_section(sections, "included") if copies else {}
    folders = only or {os.path.dirname(p) for p in set(ref) | set(mirt)}
    includers = Includers(folders, recursive=bool(only))
    for tool, mine, other in (("gcov", ref, mirt), ("mirt64", mirt, ref)):
        alone = sorted(set(mine) - set(other))
        if not alone:
            continue
        lines = sum(len(mine[p]) for p in alone)
        out.write("\nfiles only %s knows: %d, %d lines (%d run)\n" % (
            tool, len(alone), lines, sum(1 for p in alone for c in mine[p].values() if c > 0)))
        if args.details or len(alone) <= 20:
            for path in alone:
                run = sum(1 for c in mine[path].values() if c > 0)
                kind = file_kind(path, includers if tool == "mirt64" or path not in own else None)
                out.write("  %s  %d lines, %d run  (%s)\n" % (path, len(mine[path]), run, kind))

    # Sources that ran (headers and sources that others #include aside, which
    # mirt-cc leaves alone): a source mirt64 does not know was not instrumented.
    ran = [p for p in (own or ref) if os.path.splitext(p)[1] in SOURCE_EXTENSIONS
           and any(c > 0 for c in (own or ref)[p].values()) and (own or not includers.of(p))]
    known = sum(1 for p in ran if p in mirt)
    files = 100.0 * known / len(ran) if ran else None
    out.write("\nsources gcov ran that mirt64 knows: %s %d/%d\n" % (
        "n/a" if files is None else "%.1f%%" % files, known, len(ran)))

    status = 0
    for name, limit in (("executable", args.min_lines), ("never run", args.min_never_run),
                        ("executed", args.min_executed), ("files", args.min_files)):
        p = files if name == "files" else total.percent(name)
        if limit is not None and p is not None and p < limit:
            out.write("below threshold: %s %.1f%% < %.1f%%\n" % (name, p, limit))
            status = 3
        elif limit is not None and p is None:
            out.write("no lines for the %s figure: its threshold is not checked\n" % name)

    print_disagreements(disagreements, copies, includers, args.details, out)
    return status


def print_disagreements(disagreements, copies, includers, details, out):
    """Every disagreeing line (with details), then their count by kind and reason."""
    if details and disagreements:
        out.write("\ndisagreeing lines (gcov count / mirt64 count, '-' for not listed):\n")
    causes = collections.Counter()
    current = None
    for path, n, kind, r, m in disagreements:
        # gcov counts the copies of a source that other sources #include.
        found = None
        if copies.get(path, {}).get(n, 0) > 0 and kind in ("gcov only, run", "run by one only", "counts differ",
                                                           "gcov counts re-entries"):
            found = (includers.of(path) or ["another source"])[0]
        reason = classify(source_lines(path), n, path, found)
        causes[(kind, reason)] += 1
        if not details:
            continue
        if path != current:
            out.write("%s\n" % path)
            current = path
        out.write("  %5d  %-22s %6s %6s  %-40s| %s\n" % (
            n, kind, "-" if r is None else r, "-" if m is None else m, reason,
            text_of(source_lines(path), n).strip()[:100]))
    if causes:
        out.write("\ndisagreeing lines by kind and likely reason:\n")
    for (kind, reason), count in causes.most_common():
        out.write("  %6d  %-22s %s\n" % (count, kind, reason))


if __name__ == "__main__":
    sys.exit(main())
