#!/usr/bin/env python3
"""Tests of scripts/compare_lcov.py and scripts/gcov_to_lcov.py."""
import collections
import io
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from contextlib import redirect_stdout

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts"))
import compare_lcov  # noqa: E402
import gcov_to_lcov  # noqa: E402

SOURCE = """\
int twice(int x)
{
    int y = x +
            x;
    if (y > 100)
        return 0;
    return y;
}
"""


def lcov(records):
    """LCOV text: records are (test name, file, {line: count})."""
    out = []
    for test, path, lines in records:
        out.append("TN:%s\nSF:%s\n" % (test, path))
        out += ["DA:%d,%d\n" % item for item in sorted(lines.items())]
        out.append("end_of_record\n")
    return "".join(out)


class CompareTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.dir)
        self.source = os.path.join(self.dir, "twice.c")
        with open(self.source, "w") as f:
            f.write(SOURCE)

    def write(self, name, text):
        path = os.path.join(self.dir, name)
        with open(path, "w") as f:
            f.write(text)
        return path

    def run_compare(self, ref, mirt, *options):
        out = io.StringIO()
        with redirect_stdout(out):
            status = compare_lcov.main([ref, mirt, "--root", self.dir] + list(options))
        return status, out.getvalue()

    def total(self, text, column):
        """The 'num/den' cell of a figure in the total row."""
        row = [line for line in text.splitlines() if line.startswith("total")][0]
        cells = row.split()[1:]
        index = compare_lcov.Figures.NAMES.index(column)
        return tuple(int(v) for v in cells[2 * index + 1].split("/"))

    def test_figures_follow_the_lines_each_tool_lists(self):
        gcov = {1: 1, 3: 2, 4: 2, 5: 0, 6: 0, 7: 2, 8: 2}
        mirt_lines = {1: 1, 3: 0, 5: 3, 6: 0, 7: 2}
        ref = self.write("gcov.info", lcov([("gcov", self.source, gcov)]))
        # mirt64 writes one section per process, with a name relative to --root.
        first = {n: c - 1 for n, c in mirt_lines.items() if c > 1}
        second = {n: (c if n not in first else 1) for n, c in mirt_lines.items()}
        mirt = self.write("mirt.info", lcov([("p1", "twice.c", first), ("p2", "twice.c", second)]))
        status, text = self.run_compare(ref, mirt)
        self.assertEqual(status, 0)
        counted = {n for n in set(gcov) | set(mirt_lines) if SOURCE.split("\n")[n - 1].strip() != "}"}
        listed_by_both = counted & set(gcov) & set(mirt_lines)
        self.assertEqual(self.total(text, "executable"), (len(listed_by_both), len(counted)))
        zero_in = [{n for n in listed_by_both if lines[n] == 0} for lines in (gcov, mirt_lines)]
        self.assertEqual(self.total(text, "never run"), (len(zero_in[0] & zero_in[1]), len(zero_in[0] | zero_in[1])))
        run_by_gcov = {n for n in counted if gcov.get(n, 0) > 0}
        self.assertEqual(self.total(text, "executed"),
                         (len({n for n in run_by_gcov if mirt_lines.get(n, 0) > 0}), len(run_by_gcov)))
        run_by_both = {n for n in listed_by_both if gcov[n] > 0 and mirt_lines[n] > 0}
        self.assertEqual(self.total(text, "exact"),
                         (len({n for n in run_by_both if gcov[n] == mirt_lines[n]}), len(run_by_both)))

    def test_branches_match_pair_by_pair(self):
        # Line 5: gcov lists the outcome that goes on first, mirt64 true first, over two
        # test cases ([1, 0] + [0, 2]); line 6: as many outcomes in neither.
        ref = self.write("gcov.info", "TN:gcov\nSF:%s\nDA:5,3\nBRDA:5,0,0,2\nBRDA:5,0,1,1\n"
                         "DA:6,1\nBRDA:6,0,0,1\nBRDA:6,0,1,0\nBRDA:6,0,2,4\nend_of_record\n" % self.source)
        mirt = self.write("mirt.info", "".join(
            "TN:%s\nSF:twice.c\nDA:5,1\nBRDA:5,0,0,%d\nBRDA:5,0,1,%d\nBRDA:6,0,0,1\nend_of_record\n" % t
            for t in (("a", 1, 0), ("b", 0, 2))))
        _, text = self.run_compare(ref, mirt)
        self.assertIn("branches: lines with as many outcomes in both 50.0% 1/2; of their outcomes, "
                      "taken alike 100.0% 2/2, equal counts 100.0% 2/2", text)
        # gcov's JSON: the outcome that only an exception takes is left out.
        document = {"current_working_directory": self.dir, "data_file": "twice.c.gcno", "files": [
            {"file": "twice.c", "lines": [{"line_number": 5, "count": 3, "branches": [
                {"count": 2}, {"count": 7, "throw": True}, {"count": 1}]}]}]}
        counts, included, branches = (collections.defaultdict(lambda: collections.defaultdict(int)),
                                      collections.defaultdict(lambda: collections.defaultdict(int)),
                                      collections.defaultdict(dict))
        for _ in range(2):
            gcov_to_lcov.add_counts(document, counts, included, branches)
        self.assertEqual(branches[self.source], {5: [4, 2]})

    def test_files_thresholds_and_details(self):
        header = os.path.join(self.dir, "twice.h")
        other = self.write("other.c", "int other(void)\n{\n    return 1;\n}\n")
        ref = self.write("gcov.info", lcov([("gcov", self.source, {1: 1, 3: 1, 4: 1, 5: 1, 6: 0, 7: 1}),
                                            ("gcov", header, {3: 5}), ("gcov", other, {1: 1, 3: 1})]))
        mirt = self.write("mirt.info", lcov([("p", self.source, {1: 1, 3: 1, 5: 2, 7: 1})]))
        status, text = self.run_compare(ref, mirt, "--details")
        self.assertEqual(status, 0)
        # Files that one tool lacks stay out of the line figures, and count against the files figure.
        self.assertEqual(self.total(text, "executable"), (4, 6))
        self.assertIn("files only gcov knows: 2, 3 lines (3 run)", text)
        self.assertIn("twice.h  1 lines, 1 run  (header file)", text)
        self.assertIn("sources gcov ran that mirt64 knows: 50.0% 1/2", text)
        lines = {int(l.split()[0]): l for l in text.splitlines() if l.startswith("  ") and l.split()[0].isdigit()}
        self.assertIn("continuation of a multi-line statement", lines[4])
        self.assertIn("counts differ", lines[5])
        self.assertNotIn(3, lines)
        self.assertEqual(self.run_compare(ref, mirt, "--min-lines", "66")[0], 0)
        status, text = self.run_compare(ref, mirt, "--min-lines", "67")
        self.assertEqual(status, 3)
        self.assertIn("below threshold: executable", text)
        self.assertEqual(self.run_compare(ref, mirt, "--min-files", "60")[0], 3)
        self.assertEqual(self.run_compare(ref, mirt, "--min-executed", "80")[0], 0)
        self.assertEqual(self.run_compare(ref, os.path.join(self.dir, "missing.info"))[0], 2)


class ClassifyTest(unittest.TestCase):
    def reason(self, text, line):
        return compare_lcov.classify(text.split("\n"), line)

    def test_reasons(self):
        code = ("void f(int a) {\n"
                "    static const char* names[] = {\"a\",\n"
                "                                  \"b\"};\n"
                "    EXPECT_EQ(1, a);\n"
                "    int n = g(a);\n"
                "    struct sigaction old;\n"
                "    for (int i = 0; i < n; i++) {\n"
                "    }\n"
                "}\n")
        self.assertEqual(self.reason(code, 3), "continuation of a multi-line statement")
        self.assertEqual(self.reason(code, 4), "macro")
        self.assertEqual(self.reason(code, 5), "declaration with initialiser")
        self.assertEqual(self.reason(code, 6), "declaration without initialiser")
        self.assertEqual(self.reason(code, 7), "loop header")
        self.assertEqual(self.reason(code, 8), "closing brace")
        split = "    std::string s =\n        f(1);\n    if (std::is_same<T, int>::value) {\n"
        self.assertEqual(self.reason(split, 1), "first line of a multi-line statement")
        self.assertEqual(self.reason(split, 2), "continuation of a multi-line statement")
        self.assertEqual(self.reason(split, 3), "condition constant at compile time")
        ctor = "S::S(int n)\n    : a_(n),\n      b_(n + 1) {}\n"
        self.assertEqual(self.reason(ctor, 3), "member initialiser")
        for brace in ("}", "  };", "})", "} // namespace x", "  }));"):
            self.assertTrue(compare_lcov.is_closing_brace(brace), brace)
        for not_brace in ("} else {", "} while (x);", "x = {};"):
            self.assertFalse(compare_lcov.is_closing_brace(not_brace), not_brace)


@unittest.skipUnless(shutil.which("gcc") and shutil.which("gcov"), "needs gcc and gcov")
class GcovToLcovTest(unittest.TestCase):
    def test_counts_match_gcovs_own_listing(self):
        with tempfile.TemporaryDirectory() as d:
            with open(os.path.join(d, "part.c"), "w") as f:
                f.write("static int part(int x)\n{\n    return x - 1;\n}\n")
            with open(os.path.join(d, "t.c"), "w") as f:
                f.write("#include \"part.c\"\n"
                        "int g(int x) { return x + 1; }\n"
                        "int main(int argc, char** argv) {\n"
                        "    int s = 0;\n"
                        "    for (int i = 0; i < 5; i++)\n"
                        "        s += g(i);\n"
                        "    if (argc > 3)\n"
                        "        return part(1); /* LCOV_EXCL_LINE */\n"
                        "    return s == 15 ? 0 : 2;\n"
                        "}\n")
            os.mkdir(os.path.join(d, "obj"))
            subprocess.run(["gcc", "--coverage", "-O0", "-c", os.path.join(d, "t.c"), "-o", "obj/t.o"],
                           cwd=d, check=True)
            subprocess.run(["gcc", "--coverage", "obj/t.o", "-o", "t"], cwd=d, check=True)
            for _ in range(2):
                subprocess.run([os.path.join(d, "t")], cwd=d, check=True)
            self.assertEqual(gcov_to_lcov.main([os.path.join(d, "obj"), "-o", os.path.join(d, "t.info")]), 0)
            sections = {}
            compare_lcov.read_lcov(os.path.join(d, "t.info"), d, sections)
            converted = sections["gcov"][os.path.join(d, "t.c")]
            # gcov's own text listing: "count:line:source", "-" for no code, "#####" for never run.
            subprocess.run(["gcov", "-o", "obj", "t.c"], cwd=d, check=True, stdout=subprocess.DEVNULL)
            listed = {}
            with open(os.path.join(d, "t.c.gcov")) as f:
                for row in f:
                    count, number = (p.strip() for p in row.split(":", 2)[:2])
                    if count != "-" and int(number) > 0:
                        listed[int(number)] = 0 if count.startswith("#") else int(count.rstrip("*"))
            self.assertEqual(listed[8], 0)
            del listed[8]  # marked LCOV_EXCL_LINE
            self.assertEqual(dict(converted), listed)
            self.assertEqual(set(sections["included"]), {os.path.join(d, "part.c")})


if __name__ == "__main__":
    unittest.main()
