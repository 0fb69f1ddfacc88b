// mirt_dotnet.cs: the source-line probe for managed (.NET) code.
using System;
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

    public class mirt_dotnet
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
            byte[] ascii = Encoding.Convert(Encoding.Unicode, Encoding.ASCII, Encoding.Unicode.GetBytes(name));
            // The probe reads up to a zero byte: one follows the converted name.
            byte[] terminated = new byte[ascii.Length + 1];
            Buffer.BlockCopy(ascii, 0, terminated, 0, ascii.Length);
            fixed (byte* first = terminated)
            {
                mirt_native.mirt_fn2_indirect(first, line);
            }
        }
    }
}
