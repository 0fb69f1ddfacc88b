// mirt_dotnet.cs: the source-line probe for managed (.NET) code.
using System;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;
using System.Text;

namespace mirt
{
    // The native entry points that managed code calls.
    public static class mirt_native
    {
        // Passes straight on to the native source-line probe (c_mirt_fn2);
        // name must point at zero-terminated bytes. The library is found by
        // its platform name: mirt64.dll on Windows, libmirt64.so on Linux.
        [DllImport("mirt64", EntryPoint = "c_mirt_fn2", CallingConvention = CallingConvention.Cdecl)]
        public static extern unsafe void mirt_fn2_indirect(byte* name, int line);
    }

    public partial class mirt_dotnet
    {
        public mirt_dotnet()
        {
        }

        // Counts a hit of (name, line) in the same entries as the native
        // mirt_fn2. Characters outside ASCII arrive as "?". An empty (or
        // null) name records nothing.
        public static unsafe void mirt_fn_net(String name, int line)
        {
            if (name == null || name.Length == 0)
                return;
            fixed (byte* first = terminated_ascii(name))
            {
                mirt_native.mirt_fn2_indirect(first, line);
            }
        }

        // mirt_fn_net as an expression that is always true, for a probe
        // inside a loop condition: "while (mirt_fn_net_cond(f, 3) && (c))".
        public static bool mirt_fn_net_cond(String name, int line)
        {
            mirt_fn_net(name, line);
            return true;
        }

        // Instrumented code passes the same few string literals again and
        // again: each string's conversion is made once and kept, the last one
        // of each thread at hand without a lookup.
        [ThreadStatic] static string last_name;
        [ThreadStatic] static byte[] last_bytes;
        static readonly ConditionalWeakTable<string, byte[]> converted = new ConditionalWeakTable<string, byte[]>();

        static byte[] terminated_ascii(string name)
        {
            if (ReferenceEquals(name, last_name))
                return last_bytes;
            byte[] bytes = converted.GetValue(name, convert);
            last_name = name;
            last_bytes = bytes;
            return bytes;
        }

        // The probe reads up to a zero byte: one follows the converted name.
        static byte[] convert(string name)
        {
            byte[] ascii = Encoding.Convert(Encoding.Unicode, Encoding.ASCII, Encoding.Unicode.GetBytes(name));
            byte[] terminated = new byte[ascii.Length + 1];
            Buffer.BlockCopy(ascii, 0, terminated, 0, ascii.Length);
            return terminated;
        }
    }
}
