// managed_probe: managed hits through mirt_fn_net beside native hits of the same names.
using System;
using System.Runtime.InteropServices;
using mirt;

static class ManagedProbe
{
    [DllImport("mirt64", CallingConvention = CallingConvention.Cdecl)]
    static extern int c_mirt_fn2(string file, int line);

    static unsafe int Main(string[] args)
    {
        new mirt_dotnet();
        mirt_dotnet.mirt_fn_net("src/managed/Program.cs", 12);
        mirt_dotnet.mirt_fn_net("src/managed/Program.cs", 12);
        c_mirt_fn2("src/managed/Program.cs", 12);          // the same entry as the managed hits
        mirt_dotnet.mirt_fn_net("src/managed/Caf\u00e9.cs", 3);  // non-ASCII: a question mark
        mirt_dotnet.mirt_fn_net("", 5);                     // records nothing
        mirt_dotnet.mirt_fn_net(null, 5);                   // records nothing
        // Names of every length up to 40 characters: none may pick up bytes past its end.
        string longest = "src/managed/Lengths_abcdefghijklmnopq.cs";
        for (int n = 1; n <= longest.Length; ++n)
            mirt_dotnet.mirt_fn_net(longest.Substring(0, n), n);
        byte[] raw = { (byte)'r', (byte)'a', (byte)'w', (byte)'/', (byte)'x', 0 };
        fixed (byte* p = raw)
            mirt_native.mirt_fn2_indirect(p, 9);
        mirt_dotnet.mirt_write_coverage_data(args[0]);
        mirt_dotnet.mirt_allow_shutdown_writing(false);
        return 0;
    }
}
