// Native.cs: where the tests find the native runtime and mirt-report, and the coverage file's reader.
using System.Reflection;
using System.Runtime.CompilerServices;
using System.Runtime.InteropServices;
using System.Text.RegularExpressions;

[assembly: Xunit.CollectionBehavior(DisableTestParallelization = true)]

namespace Coverage.Tests;

static class Native
{
    static string Setting(string name) =>
        typeof(Native).Assembly.GetCustomAttributes<AssemblyMetadataAttribute>().First(a => a.Key == name).Value!;

    // MIRT_NATIVE_BIN names the folder of libmirt64.so and mirt-report
    // (default: this tree's build/native/bin).
    public static string Bin => Path.GetFullPath(Environment.GetEnvironmentVariable("MIRT_NATIVE_BIN") ?? Setting("MirtNativeBin"));
    public static string SampleMaps => Path.GetFullPath(Setting("MirtSampleMaps"));
    public static string SampleSource => Path.GetFullPath(Setting("MirtSampleSource"));

    public static string AppSources => Path.GetFullPath(Setting("MirtAppSources"));

    [DllImport("libc", EntryPoint = "setenv")]
    static extern int SetNative(string name, string value, int overwrite);

    // Set here and in the C library's environment, which the runtime reads
    // when it loads and which the programs started here inherit.
    static void SetEnvironment(string name, string value)
    {
        Environment.SetEnvironmentVariable(name, value);
        SetNative(name, value, 1);
    }

    // The wrapper's DllImport("mirt64") finds the library in Bin; the test
    // process writes its own coverage files and no exit file. It is the host
    // of the native programs that the tests start, with a runtime folder of
    // its own (MIRTHOST names this executable before the runtime loads).
    [ModuleInitializer]
    internal static void Load()
    {
        SetEnvironment("MIRTHOST", Path.GetFileName(Environment.ProcessPath!));
        SetEnvironment("TMPDIR", Directory.CreateTempSubdirectory("mirt-host-").FullName);
        NativeLibrary.SetDllImportResolver(typeof(mirt.mirt_dotnet).Assembly, (name, _, _) =>
            name == "mirt64" ? NativeLibrary.Load(Path.Combine(Bin, "libmirt64.so")) : IntPtr.Zero);
        mirt.mirt_dotnet.mirt_allow_shutdown_writing(false);
    }

    // The line of the sample that carries the marker "// @name".
    public static int Line(string marker)
    {
        string[] lines = File.ReadAllLines(SampleSource);
        int found = Array.FindIndex(lines, l => Regex.IsMatch(l, @"// @" + Regex.Escape(marker) + @"(\s|$)"));
        Assert.True(found >= 0, "no marker " + marker);
        return found + 1;
    }

    // The line counts of one source file in the last record group of a
    // coverage file ("--- dir", "### file", "line,count").
    public static Dictionary<int, long> Counts(string coverageFile, string source)
    {
        string[] lines = File.ReadAllLines(coverageFile);
        var counts = new Dictionary<int, long>();
        string? dir = null, file = null;
        foreach (string l in lines.Skip(Array.FindLastIndex(lines, l => l.StartsWith("=== ")) + 1))
        {
            if (l.StartsWith("--- ")) dir = l[4..];
            else if (l.StartsWith("### ")) file = l[4..];
            else if (dir == Path.GetDirectoryName(source) && file == Path.GetFileName(source) &&
                     l.Split(',') is [var n, var c])
                counts[int.Parse(n)] = long.Parse(c);
        }
        return counts;
    }
}
