#!/usr/bin/env python3
"""argument_forms_test.py MIRT_INSTRUMENT: each form below, passed on a line of its
own (or initialising a variable there), is listed by mirt-instrument --lines exactly
where gcov lists it after a gcc --coverage build and run, in C and in C++."""
import os
import re
import subprocess
import sys
import tempfile

HEAD = r'''
struct P { char carr[4]; const char *name; int a; int *b; int fin; void *par; char c; unsigned u;
           long l; int arr[4]; double d; struct P *next; };
static long ki(int z, int x) { return x + z; } static long kl(int z, long x) { return x + z; }
static long kc(int z, unsigned char x) { return x + z; } static long kd(int z, double x) { return (long)x + z; }
static long kp(int z, const void *x) { return z + (x != 0); } static long kq(int z, char *x) { return z + !x; }
static long kv(int z, ...) { return z; } static int f1(int x) { return x; }
struct P garr[2]; int ga = 1; struct P *gp = garr;
int main(void) {
  struct P p = {"ab", "n", 1, 0, 0, 0, 'a', 2u, 3L, {0}, 1.5, 0};
  struct P *pp = &p;
  p.next = pp;
  int v = 2, w = 3, *ip = &v, arr[4] = {0};
  long r = 0;
'''

# "function argument" (the call on the line before), or "=" for an
# initialiser on a line of its own. Names: v is a local whose address is
# taken, w one that stays in a register, ga a global.
FORMS = '''
ki pp->a|ki pp->a - 1|ki v + w|ki v * w + 1|ki -pp->a|ki *ip|ki *ip + 1|ki p.a|ki p.a + 1
ki arr[1]|ki pp->arr[v]|ki pp->b != 0|ki !pp->fin|ki !w|ki w ? 1 : 0|ki v ? 1 : 0|ki v ? w : 3
ki pp->par ? 1 : 0|ki w && v|ki w == 1 && w|ki f1(v)|ki f1(v) + 1|ki (int)pp->l|ki (int)v
ki pp->next->a|ki v = 3|ki ip[v]|ki ip[0]|ki gp->a|ki ga|ki ga ? 1 : 2|ki ga == 2 ? w : 1
ki v + 1 + 2|ki pp->a + 1 + 2|ki garr[v].a|kl pp->a|kl v|kl v + 1|kl w < 3|kl f1(v)
kc (unsigned char)v|kc !pp->fin|kc pp->c|kd pp->a|kd pp->d * 2|kp pp->par|kp &pp->a|kp ip + 1
kp &arr[v]|kp (char *)pp + 4 + 4|kp (char *)pp|kp garr[1].par|kp w ? "a" : "b"|kv w == 1 ? "a" : "b"
kv v ? "a" : "b"|kq pp->carr|kq p.carr|kq arrs[v].carr|ki (int)w + 1|ki sizeof(int) == 2 ? pp->a + 1 : w
= v|= pp->a + 1|= v ? pp->a : 3
'''.replace("\n", "|").strip("|").split("|")


def program(forms):
    lines = HEAD.strip("\n").split("\n")
    lines.insert(lines.index("int main(void) {") + 1, "  struct P arrs[2] = {{\"a\"}};")
    at = {}
    for form in forms:
        callee, expr = form.split(" ", 1)
        if callee == "=":
            lines += ["  { long t", "      = (long)(%s);" % expr, "    r += t; }"]
            at[len(lines) - 1] = form
        else:
            lines += ["  r += %s(0," % callee, "      %s);" % expr]
            at[len(lines)] = form
    return "\n".join(lines + ["  return r == 12345;", "}"]) + "\n", at


def listed_by_gcov(folder, source, compiler):
    subprocess.run([compiler, "-O0", "--coverage", "-w", source, "-o", "prog"], cwd=folder, check=True)
    subprocess.run(["./prog"], cwd=folder, check=False)
    out = subprocess.run(["gcov", "-t", "-o", ".", "prog-" + os.path.splitext(source)[0] + ".gcda"], cwd=folder,
                         capture_output=True, text=True, check=True).stdout
    found = (re.match(r"\s*([^:]+):\s*(\d+):", row) for row in out.split("\n"))
    return {int(m.group(2)) for m in found if m and m.group(1).strip() != "-"}


def main():
    text, at = program(FORMS)
    wrong = []
    for source, compiler in (("forms.c", "gcc"), ("forms.cpp", "g++")):
        with tempfile.TemporaryDirectory() as folder:
            open(os.path.join(folder, source), "w").write(text)
            gcov = listed_by_gcov(folder, source, compiler)
            out = subprocess.run([sys.argv[1], "--lines", source, "--", compiler, "-w", "-c", source], cwd=folder,
                                 capture_output=True, text=True, check=True).stdout
            mirt = {int(row.rsplit(":", 1)[1]) for row in out.split()}
            wrong += ["%s %s: gcov %s, mirt64 %s" % (compiler, form, n in gcov, n in mirt)
                      for n, form in at.items() if (n in gcov) != (n in mirt)]
    print("\n".join(wrong) or "%d forms agree in C and C++" % len(FORMS))
    return 1 if wrong else 0


sys.exit(main())
