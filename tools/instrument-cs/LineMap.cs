// LineMap.cs: the line map of one instrumented C# source, in the format that mirt-report reads.
using System.Text;

namespace Mirt.Instrument;

public sealed record FunctionLines(int First, int Last, string Name);

public sealed class LineMap
{
    public required string Unit { get; init; }
    public required string Folder { get; init; }
    public required string FileName { get; init; }
    public ulong Checksum { get; init; }
    public IReadOnlyList<int> Lines { get; init; } = [];
    public IReadOnlyList<FunctionLines> Functions { get; init; } = [];
    public string? Unprobed { get; init; }  // why the file has no probes

    // The 64-bit FNV-1a of the file's bytes: maps with different checksums
    // describe different versions of one file.
    public static ulong Checksum64(ReadOnlySpan<byte> bytes)
    {
        ulong h = 14695981039346656037ul;
        foreach (byte b in bytes)
        {
            h ^= b;
            h *= 1099511628211ul;
        }
        return h;
    }

    public string Text(long builtNanoseconds)
    {
        var s = new StringBuilder("mirt-line-map 1\n");
        s.Append("unit ").Append(OneLine(Unit)).Append('\n');
        s.Append("folder ").Append(OneLine(Folder)).Append('\n');
        s.Append("built ").Append(builtNanoseconds).Append('\n');
        s.Append("style line\n");
        // A name holding a line break cannot be mapped.
        if (FileName.IndexOfAny(['\r', '\n']) < 0)
        {
            s.Append("file ").Append(Checksum.ToString("x16")).Append(' ').Append(FileName).Append('\n');
            if (Unprobed != null) s.Append("unprobed ").Append(OneLine(Unprobed)).Append('\n');
            if (Lines.Count > 0) s.Append("lines ").Append(string.Join(' ', Lines)).Append('\n');
            foreach (FunctionLines f in Functions)
                s.Append("function ").Append(f.First).Append(' ').Append(f.Last).Append(' ').Append(OneLine(f.Name)).Append('\n');
        }
        return s.Append("end\n").ToString();
    }

    static string OneLine(string text) => text.Replace('\r', ' ').Replace('\n', ' ');

    public static long NowNanoseconds() => (DateTime.UtcNow - DateTime.UnixEpoch).Ticks * 100;
}
