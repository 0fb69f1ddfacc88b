// mirt_control.cs: the control functions that a managed test calls (test name, write, clear).
using System;
using System.Runtime.InteropServices;

namespace mirt
{
    // The native control exports. Strings go as the platform's C strings:
    // UTF-8 on Linux, the ANSI code page on Windows, as the runtime's own
    // file functions take them.
    static class mirt_native_control
    {
        [DllImport("mirt64", CallingConvention = CallingConvention.Cdecl, CharSet = CharSet.Ansi)]
        public static extern void c_mirt_set_test_name(
            [MarshalAs(UnmanagedType.LPStr)] string name, int length,
            [MarshalAs(UnmanagedType.LPStr)] string label);

        [DllImport("mirt64", CallingConvention = CallingConvention.Cdecl, CharSet = CharSet.Ansi)]
        public static extern void c_mirt_write_coverage_data([MarshalAs(UnmanagedType.LPStr)] string path);

        [DllImport("mirt64", CallingConvention = CallingConvention.Cdecl)]
        public static extern void c_mirt_clear_coverage_data();

        [DllImport("mirt64", CallingConvention = CallingConvention.Cdecl)]
        public static extern void c_mirt_allow_shutdown_writing([MarshalAs(UnmanagedType.U1)] bool allowed);
    }

    public partial class mirt_dotnet
    {
        // Labels the record groups written from now on: "=== name" and
        // ">>> label" (the library keeps at most 255 bytes of each). A null
        // label is the empty one.
        public static void mirt_set_test_name(string name, string label)
        {
            // The library cuts the name at its terminator and at 255 bytes.
            mirt_native_control.c_mirt_set_test_name(name ?? "", int.MaxValue, label ?? "");
        }

        // Appends one record group with every count so far to the file at
        // path; counts are kept.
        public static void mirt_write_coverage_data(string path)
        {
            if (path == null)
                throw new ArgumentNullException("path");
            mirt_native_control.c_mirt_write_coverage_data(path);
        }

        // Resets every count (in the host, every client's as well).
        public static void mirt_clear_coverage_data()
        {
            mirt_native_control.c_mirt_clear_coverage_data();
        }

        // Whether the library writes its exit output file when the process
        // ends; a test that writes its own file switches it off.
        public static void mirt_allow_shutdown_writing(bool allowed)
        {
            mirt_native_control.c_mirt_allow_shutdown_writing(allowed);
        }
    }
}
