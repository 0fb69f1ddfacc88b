// Program.cs: mirt_fn_net against a P/Invoke of c_mirt_fn2 with the name already converted, in one run.
//
// Method: each variant counts the same (name, line) HITS times in a
// Stopwatch loop after a warm-up; the best of ROUNDS rounds is kept per
// variant, alternating variants so that both see the same machine. Run:
//   dotnet run -c Release --project bench/managed -- [HITS] [ROUNDS]
// with libmirt64.so on LD_LIBRARY_PATH (build/native/bin).
using System.Diagnostics;
using System.Runtime.InteropServices;
using System.Text;

int hits = args.Length > 0 ? int.Parse(args[0]) : 2_000_000;
int rounds = args.Length > 1 ? int.Parse(args[1]) : 7;
const string name = "bench/managed/Program.cs";
byte[] bytes = Encoding.ASCII.GetBytes(name + "\0");
mirt.mirt_dotnet.mirt_allow_shutdown_writing(false);

double Managed()
{
    var clock = Stopwatch.StartNew();
    for (int n = 0; n < hits; ++n) mirt.mirt_dotnet.mirt_fn_net(name, 12);
    return clock.Elapsed.TotalNanoseconds / hits;
}

unsafe double Native()
{
    var clock = Stopwatch.StartNew();
    fixed (byte* p = bytes)
        for (int n = 0; n < hits; ++n) Probe.c_mirt_fn2(p, 12);
    return clock.Elapsed.TotalNanoseconds / hits;
}

Managed();
Native();
double bestManaged = double.MaxValue, bestNative = double.MaxValue;
for (int r = 0; r < rounds; ++r)
{
    bestManaged = Math.Min(bestManaged, Managed());
    bestNative = Math.Min(bestNative, Native());
}
Console.WriteLine($"mirt_fn_net            {bestManaged,8:F1} ns/hit");
Console.WriteLine($"P/Invoke c_mirt_fn2    {bestNative,8:F1} ns/hit");
Console.WriteLine($"ratio                  {bestManaged / bestNative,8:F2}");

static unsafe class Probe
{
    [DllImport("mirt64", CallingConvention = CallingConvention.Cdecl)]
    public static extern int c_mirt_fn2(byte* file, int line);
}
