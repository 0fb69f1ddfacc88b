#!/usr/bin/env python3
"""Measures mirt64's C# line coverage against coverlet's on a real project:
runs its tests once with coverlet ("XPlat Code Coverage", Cobertura) and once
with the library instrumented by mirt-instrument-cs, and compares per file.

    measure_cs_against_coverlet.py TEST_CSPROJ LIBRARY_CSPROJ [options]

    --root DIR           the project tree to copy (default: the git work tree of TEST_CSPROJ)
    --work DIR           folder for the copies and results
                         (default: build/measure/cs-NAME here, NAME the library's)
    --mirt DIR           folder of libmirt64.so and mirt-report
                         (default: $MIRT_NATIVE_BIN, else this repository's build/native/bin)
    --configuration C    build configuration (default Release)
    --coverlet VERSION   coverlet.collector version (default 6.0.4)
    --runs N             run the tests N times each, in turn, for the times (default 1)
    --details            also print every disagreeing line (always written to WORK/details.txt)
    --fail-under PCT     exit status 2 when "could run" (the kinds of line that differ
                         by definition left out) or "ran" agrees on less than PCT%

The tree is copied twice into WORK, bin, obj and .git left out, with an empty
Directory.Build.props and .targets in WORK so that no file above it takes part:
  coverlet/  the test project gets a PackageReference to coverlet.collector; its
             tests run once without coverage (the plain run) and once with it
  mirt/      the library imports managed/build/Mirt.Coverage.targets with this
             tree's instrumenter and wrapper; the test process (the test host runs
             as "dotnet") is the host: MIRTHOST=dotnet, CodeCoverageAutomation set
             (no auto-dump timer clearing the counts), MIRT_EXIT_FILE=WORK/mirt.out
Only the sources under the library's folder are compared. The figures:
  could run   lines both list / lines either lists (mirt: the line map; coverlet:
              its Cobertura lines, every line that a sequence point spans)
  ran         lines on which both agree whether they ran / lines both list
Left aside and counted apart, since they differ by definition: lines that only
one lists and that hold only braces ("}", "});", "{"; coverlet lists a method's
closing brace and some opening ones) or a function's name (mirt counts it on
entry: the first line of each function in its line maps), and the files that
only one lists (mirt leaves generated sources alone). The disagreeing lines
are counted by kind (auto-property accessors, switch labels, ...), and the
summary gives the wall time of each test run and of each build.

Results in WORK: coverlet.xml, mirt.out, mirt.xml, summary.txt, details.txt
(every disagreeing line, with its kind and text), and a log of each build and
run. Failing tests are reported, not fatal. Exit status 0, 1 when a build or
a tool fails, 2 when an agreement is below --fail-under.
"""
import argparse
import collections
import os
import re
import shutil
import subprocess
import sys
import time
import xml.etree.ElementTree as ET

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SHIELD = "<Project />\n"
BRACES = re.compile(r"^[{}][{}();,\s]*$")
# Lines that one tool lists by its own definition: the kinds of disagreement
# that the summary counts apart (tool, and the pattern of the line's text).
KINDS = [
    ("auto-property accessors", "coverlet", re.compile(r"\{\s*(get|set|init)\s*;")),
    ("comments inside a statement", "coverlet", re.compile(r"^//")),
    ("switch labels, finally, break, continue", "mirt",
     re.compile(r"^(case\b.*:|default:|finally$|break;|continue;|switch\s*\()")),
]
# The kinds that differ by each tool's definition (docs/managed.md): --fail-under
# leaves them out of "could run".
BY_DEFINITION = {"comments inside a statement", "switch labels, finally, break, continue"}
START = time.monotonic()


def phase(name):
    print(f"== {name} (at {int(time.monotonic() - START)} s)", flush=True)


def run(log, args, cwd=None, env=None, tests=False):
    """Runs args with their output in log; the wall time in seconds. A failure
    ends the measurement, except that failing tests are only reported."""
    start = time.monotonic()
    with open(log, "w") as out:
        status = subprocess.call(args, cwd=cwd, env=env, stdout=out, stderr=subprocess.STDOUT)
    seconds = time.monotonic() - start
    if tests:
        with open(log) as f:
            results = [line.strip() for line in f if re.match(r"\s*(Passed|Failed)!", line)]
        print(f"tests: exit status {status}; {results[-1] if results else 'no result line'}")
    elif status != 0:
        with open(log) as f:
            sys.stdout.write("".join(f.readlines()[-30:]))
        sys.exit(f"measure_cs_against_coverlet: failed ({status}): {' '.join(args)} (log: {log})")
    return seconds


def copy_tree(root, to):
    shutil.rmtree(to, ignore_errors=True)
    shutil.copytree(root, to, symlinks=True, ignore=shutil.ignore_patterns(".git", "bin", "obj"))


def add_to_project(csproj, xml):
    """Puts xml before the project's closing tag."""
    with open(csproj, encoding="utf-8-sig") as f:
        text = f.read()
    end = text.rindex("</Project>")
    with open(csproj, "w", encoding="utf-8") as f:
        f.write(text[:end] + xml + text[end:])


def read_cobertura(path, base):
    """{file relative to base: {line: hits}}; a line listed twice (a method's
    lines repeat under its class) keeps its highest count."""
    tree = ET.parse(path)
    sources = [s.text or "" for s in tree.iter("source")] or [""]
    files = collections.defaultdict(dict)
    for cls in tree.iter("class"):
        name = cls.get("filename", "")
        full = name if os.path.isabs(name) else os.path.join(sources[0], name)
        lines = files[os.path.relpath(os.path.normpath(full), base)]
        for line in cls.iter("line"):
            number, hits = int(line.get("number")), int(float(line.get("hits", "0")))
            lines[number] = max(hits, lines.get(number, 0))
    return files


def function_lines(maps, base):
    """{file relative to base: the first lines of its functions}, from the line maps under maps."""
    firsts = collections.defaultdict(set)
    for folder, _, names in os.walk(maps):
        for map_name in (n for n in names if n.endswith(".mirtmap")):
            source = None
            with open(os.path.join(folder, map_name), encoding="utf-8") as f:
                for line in f:
                    if line.startswith("file "):
                        source = os.path.relpath(line.rstrip("\n").split(" ", 2)[2], base)
                    elif line.startswith("function ") and source:
                        firsts[source].add(int(line.split()[1]))
    return firsts


def compare(coverlet, mirt, entries, only, sources):
    """The table (one row per file and the total), every disagreeing line, the
    count of each kind of line left aside and of each kind of disagreement."""
    rows, details = [], []
    total, aside, kinds = collections.Counter(), collections.Counter(), collections.Counter()
    for name in sorted(set(coverlet) | set(mirt)):
        if not name.startswith(only + os.sep):
            continue
        with open(os.path.join(sources, name), encoding="utf-8-sig", errors="replace") as f:
            text = f.read().split("\n")
        source = lambda line: text[line - 1].strip() if line <= len(text) else ""
        c, m = dict(coverlet.get(name, {})), dict(mirt.get(name, {}))
        if not c or not m:
            aside[f"lines of files only {'coverlet' if c else 'mirt'} lists"] += len(c or m)
            continue
        for line in set(c) ^ set(m):
            kind = ("brace lines" if BRACES.match(source(line)) else
                    "function entry lines" if line in m and line in entries.get(name, ()) else None)
            if kind:
                aside[f"{kind} ({'coverlet' if line in c else 'mirt'})"] += 1
                c.pop(line, None), m.pop(line, None)
        both = set(c) & set(m)
        n = collections.Counter(coverlet=len(c), mirt=len(m), both=len(both), either=len(set(c) | set(m)),
                                ran_c=sum(1 for h in c.values() if h), ran_m=sum(1 for h in m.values() if h),
                                alike=sum(1 for line in both if (c[line] > 0) == (m[line] > 0)))
        total.update(n)
        rows.append((name[len(only) + 1:], n))
        for line in sorted(set(c) | set(m)):
            if line in both and (c[line] > 0) == (m[line] > 0):
                continue
            why = ("coverlet only" if line not in m else "mirt only" if line not in c
                   else "ran: coverlet only" if c[line] else "ran: mirt only")
            kind = next((k for k, tool, pattern in KINDS if why == tool + " only" and pattern.search(source(line))), "")
            kinds[kind or why] += 1
            details.append(f"{name}:{line}: {why}{' (' + kind + ')' if kind else ''} "
                           f"(coverlet {c.get(line, '-')}, mirt {m.get(line, '-')}): {source(line)}")
    rows.append(("total", total))
    return rows, details, aside, kinds


def percent(part, whole):
    return f"{100.0 * part / whole:.1f}%" if whole else "-"


def table(rows):
    out = [f"{'file':40} {'could run: coverlet':>19} {'mirt':>5} {'both':>5} {'agree':>6}"
           f" {'ran: coverlet':>13} {'mirt':>5} {'agree':>6}"]
    for name, n in rows:
        out.append(f"{name:40} {n['coverlet']:19} {n['mirt']:5} {n['both']:5} {percent(n['both'], n['either']):>6}"
                   f" {n['ran_c']:13} {n['ran_m']:5} {percent(n['alike'], n['both']):>6}")
    return out


def main():
    p = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter,
                                usage=argparse.SUPPRESS, add_help=True)
    p.add_argument("test")
    p.add_argument("library")
    p.add_argument("--root")
    p.add_argument("--work")
    p.add_argument("--mirt", default=os.environ.get("MIRT_NATIVE_BIN", os.path.join(REPO, "build/native/bin")))
    p.add_argument("--configuration", default="Release")
    p.add_argument("--coverlet", default="6.0.4")
    p.add_argument("--runs", type=int, default=1)
    p.add_argument("--details", action="store_true")
    p.add_argument("--fail-under", type=float)
    a = p.parse_args()

    test, library = os.path.abspath(a.test), os.path.abspath(a.library)
    root = a.root or subprocess.run(["git", "-C", os.path.dirname(test), "rev-parse", "--show-toplevel"],
                                    capture_output=True, text=True).stdout.strip()
    root = os.path.abspath(root or os.path.commonpath([os.path.dirname(test), os.path.dirname(library)]))
    name = os.path.splitext(os.path.basename(library))[0]
    work = os.path.abspath(a.work or os.path.join(REPO, "build/measure", "cs-" + name))
    mirt_bin = os.path.abspath(a.mirt)
    report = os.path.join(mirt_bin, "mirt-report")
    for need in (os.path.join(mirt_bin, "libmirt64.so"), report):
        if not os.path.exists(need):
            sys.exit(f"measure_cs_against_coverlet: {need} is missing (build the native tree)")
    os.makedirs(os.path.join(work, "tmp"), exist_ok=True)
    for shield in ("Directory.Build.props", "Directory.Build.targets"):
        with open(os.path.join(work, shield), "w") as f:
            f.write(SHIELD)
    env = dict(os.environ, TMPDIR=os.path.join(work, "tmp"), DOTNET_CLI_TELEMETRY_OPTOUT="1")
    config = ["-c", a.configuration]
    in_copy = lambda copy, path: os.path.join(work, copy, os.path.relpath(path, root))

    phase("the instrumenter")
    instrumenter_project = os.path.join(REPO, "tools/instrument-cs/mirt-instrument-cs.csproj")
    run(os.path.join(work, "build-instrumenter.log"), ["dotnet", "build", instrumenter_project] + config, env=env)
    instrumenter = os.path.join(REPO, "build/dotnet/bin/mirt-instrument-cs", a.configuration,
                                "net10.0/mirt-instrument-cs.dll")

    phase("coverlet build")
    copy_tree(root, os.path.join(work, "coverlet"))
    add_to_project(in_copy("coverlet", test), f'  <ItemGroup>\n    <PackageReference Include="coverlet.collector" '
                                              f'Version="{a.coverlet}" />\n  </ItemGroup>\n')
    coverlet_build = run(os.path.join(work, "build-coverlet.log"), ["dotnet", "build", in_copy("coverlet", test)] + config,
                         env=env)

    phase("mirt build")
    copy_tree(root, os.path.join(work, "mirt"))
    add_to_project(in_copy("mirt", library), f"""  <PropertyGroup>
    <MirtInstrumenter>{instrumenter}</MirtInstrumenter>
    <MirtWrapperProject>{REPO}/managed/Mirt.Coverage.csproj</MirtWrapperProject>
  </PropertyGroup>
  <Import Project="{REPO}/managed/build/Mirt.Coverage.targets" />
""")
    mirt_build = run(os.path.join(work, "build-mirt.log"), ["dotnet", "build", in_copy("mirt", test)] + config, env=env)

    # Each round runs the tests plain, with coverlet and with mirt; the first
    # round's coverage is compared, and each run's best time is shown.
    def test_run(label, copy, env, *extra):
        return run(os.path.join(work, f"test-{label}.log"),
                   ["dotnet", "test", "--no-build", *config, in_copy(copy, test), *extra], env=env, tests=True)

    results, exit_file = os.path.join(work, "coverlet-results"), os.path.join(work, "mirt.out")
    mirt_env = dict(env, MIRTHOST="dotnet", CodeCoverageAutomation="1", MIRT_TEST_NAME=name,
                    LD_LIBRARY_PATH=mirt_bin + os.pathsep + env.get("LD_LIBRARY_PATH", ""))
    times = collections.defaultdict(list)
    for n in range(a.runs):
        phase(f"tests, round {n + 1} of {a.runs}")
        out = exit_file if n == 0 else os.path.join(work, "tmp", "later-rounds.out")
        shutil.rmtree(results, ignore_errors=True)
        if os.path.exists(out):
            os.remove(out)
        times["plain"].append(test_run("plain", "coverlet", env))
        times["coverlet"].append(test_run("coverlet", "coverlet", env, "--collect:XPlat Code Coverage",
                                          "--results-directory", results))
        times["mirt"].append(test_run("mirt", "mirt", dict(mirt_env, MIRT_EXIT_FILE=out)))
        if n == 0:
            found = [os.path.join(d, f) for d, _, fs in os.walk(results) for f in fs if f == "coverage.cobertura.xml"]
            if len(found) != 1:
                sys.exit(f"measure_cs_against_coverlet: {len(found)} Cobertura files in {results}")
            shutil.copy(found[0], os.path.join(work, "coverlet.xml"))
            if not os.path.exists(exit_file):
                sys.exit(f"measure_cs_against_coverlet: no {exit_file}: did the tests load libmirt64.so?")
    plain_s, coverlet_s, mirt_s = (min(times[k]) for k in ("plain", "coverlet", "mirt"))
    maps = os.path.join(os.path.dirname(in_copy("mirt", library)), "obj")
    run(os.path.join(work, "report.log"), [report, "--map", maps, "cobertura", exit_file,
                                           "-o", os.path.join(work, "mirt.xml")], cwd=work)

    phase("comparing")
    only = os.path.relpath(os.path.dirname(library), root)
    rows, details, aside, kinds = compare(read_cobertura(os.path.join(work, "coverlet.xml"), os.path.join(work, "coverlet")),
                                   read_cobertura(os.path.join(work, "mirt.xml"), os.path.join(work, "mirt")),
                                   function_lines(maps, os.path.join(work, "mirt")), only, os.path.join(work, "mirt"))
    total, defined = rows[-1][1], sum(kinds[k] for k in BY_DEFINITION)
    summary = table(rows) + ["", "left aside: " + (", ".join(f"{n} {k}" for k, n in sorted(aside.items())) or "none"),
                             "disagreeing lines: " + (", ".join(f"{n} {k}" for k, n in kinds.most_common()) or "none"),
                             f"could run, the kinds by definition left out: {percent(total['both'], total['either'] - defined)}",
                             f"test run (wall, s, best of {a.runs}): plain {plain_s:.1f}, coverlet {coverlet_s:.1f}, "
                                 f"mirt {mirt_s:.1f}; mirt/coverlet {mirt_s / coverlet_s:.2f}, "
                                 f"mirt/plain {mirt_s / plain_s:.2f}, coverlet/plain {coverlet_s / plain_s:.2f}",
                             f"build (wall, s, restore included): coverlet's copy {coverlet_build:.1f}, "
                             f"mirt's copy {mirt_build:.1f} (the instrumenter runs in it)"]
    with open(os.path.join(work, "summary.txt"), "w") as f:
        f.write("\n".join(summary) + "\n")
    with open(os.path.join(work, "details.txt"), "w") as f:
        f.write("\n".join(details) + "\n")
    print("\n".join(summary + (details if a.details else [])))
    print(f"every disagreeing line: {os.path.join(work, 'details.txt')}")
    phase("done")
    # No line compared at all is a failure too: the floor is then not met.
    low = [f"{what} {percent(part, whole)}" for what, part, whole in
           (("could run (the kinds by definition left out)", total["both"], total["either"] - defined),
            ("ran", total["alike"], total["both"]))
           if a.fail_under is not None and (not whole or 100.0 * part / whole < a.fail_under)]
    if low:
        print(f"measure_cs_against_coverlet: below {a.fail_under:g}%: {', '.join(low)}")
        sys.exit(2)


if __name__ == "__main__":
    main()
