// A loop that a pragma governs keeps the pragma directly before it.
int main() {  //+
    int a[4] = {1, 2, 3, 4};  //+
    int s = 0;  //+
#pragma GCC unroll 2
    for (int x : a)
        s += x;  //+
#pragma GCC ivdep
    for (int i = 0; i < 4; ++i)  //+
        s += a[i];  //+
    return s == 20 ? 0 : 1;  //+
}
