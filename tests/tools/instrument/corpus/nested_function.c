/* gcc accepts nested functions; Clang does not parse them. */
int outer(int n) {
    int inner(int x) { return x + n; }
    return inner(1);
}
int main(void) { return outer(1) == 2 ? 0 : 1; }
