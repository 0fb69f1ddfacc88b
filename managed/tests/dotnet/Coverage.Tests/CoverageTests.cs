// CoverageTests.cs: the instrumented sample run against the native runtime, read back from the coverage file and through mirt-report.
using System.Diagnostics;
using mirt;
using Sample;

namespace Coverage.Tests;

public sealed class CoverageTests : IDisposable
{
    readonly string folder_ = Directory.CreateTempSubdirectory("mirt-dotnet-").FullName;

    public void Dispose() => Directory.Delete(folder_, recursive: true);

    string Run(string test, Action body)
    {
        string path = Path.Combine(folder_, test + ".out");
        mirt_dotnet.mirt_set_test_name(test, "dotnet");
        mirt_dotnet.mirt_clear_coverage_data();
        body();
        mirt_dotnet.mirt_write_coverage_data(path);
        return path;
    }

    [Fact]
    public void LinesCountEachEntryOfControl()
    {
        string output = Run("entries", () =>
        {
            Shapes.Area("square", 2);
            Shapes.CountBig([1, 5, 7], 4);
            Shapes.Halvings(8);
            Shapes.Describe(0);
            Shapes.Total([1, 2, 3]);
        });
        var counts = Native.Counts(output, Native.SampleSource);
        long Count(string marker) => counts.GetValueOrDefault(Native.Line(marker));

        Assert.Equal(1, Count("area.switch"));
        Assert.Equal(1, Count("area.square"));
        Assert.Equal(0, Count("area.circle"));
        // A loop header counts each test: the entry and three iterations.
        Assert.Equal(4, Count("count.foreach"));
        Assert.Equal(3, Count("count.if"));
        Assert.Equal(2, Count("count.inc"));
        Assert.Equal(4, Count("halve.while"));  // 8 > 1, 4 > 1, 2 > 1, 1 > 1
        Assert.Equal(1, Count("describe"));
        // The method's entry and the three calls of its lambda share the line.
        Assert.Equal(4, Count("total"));
        Assert.Equal(0, Count("never.name"));
        Assert.Equal(0, Count("never.first"));
    }

    [Fact]
    public void AnExceptionLeavesTheLinesItPassed()
    {
        string output = Run("throws", () => Assert.Throws<ArgumentException>(() => Shapes.Area("hexagon", 1)));
        var counts = Native.Counts(output, Native.SampleSource);
        Assert.Equal(1, counts.GetValueOrDefault(Native.Line("area.throw")));
        Assert.Equal(0, counts.GetValueOrDefault(Native.Line("area.square")));
    }

    [Fact]
    public void StackTracesAndCallerInfoNameTheOriginalSource()
    {
        var e = Assert.Throws<InvalidOperationException>(Shapes.Fail);
        Assert.Contains($"{Native.SampleSource}:line {Native.Line("fail")}", e.StackTrace);
        Assert.Equal($"{Native.SampleSource}:{Native.Line("here")}", Shapes.Here());
    }

    [Fact]
    public void ClearingForgetsAndTheTestNameHeadsEachGroup()
    {
        string output = Run("cleared", () =>
        {
            Shapes.Halvings(4);
            mirt_dotnet.mirt_clear_coverage_data();
            Shapes.Area("circle", 1);
        });
        string text = File.ReadAllText(output);
        Assert.StartsWith("=== cleared\n>>> dotnet\n", text);
        var counts = Native.Counts(output, Native.SampleSource);
        Assert.Equal(0, counts.GetValueOrDefault(Native.Line("halve.while")));
        Assert.Equal(1, counts.GetValueOrDefault(Native.Line("area.circle")));
    }

    [Fact]
    public void MirtReportShowsTheLinesThatNeverRan()
    {
        string output = Run("report", () => Shapes.Area("square", 1));
        var report = Process.Start(new ProcessStartInfo(Path.Combine(Native.Bin, "mirt-report"),
                                                        ["--map", Native.SampleMaps, "summary", output])
        {
            RedirectStandardOutput = true,
            RedirectStandardError = true,
        })!;
        string shown = report.StandardOutput.ReadToEnd() + report.StandardError.ReadToEnd();
        report.WaitForExit();
        Assert.Equal(0, report.ExitCode);
        // "never run: 16-17, 56, 58-59" after the file's line.
        string never = shown.Split('\n').First(l => l.Contains("never run:"));
        var lines = never[(never.IndexOf("never run:") + 10)..].Split(',', StringSplitOptions.TrimEntries)
            .SelectMany(r => r.Split('-') is [var a, var b] ? Enumerable.Range(int.Parse(a), int.Parse(b) - int.Parse(a) + 1)
                                                             : [int.Parse(r)])
            .ToHashSet();
        Assert.Superset(new HashSet<int> { Native.Line("never.name"), Native.Line("never.first"), Native.Line("never.last"),
                                           Native.Line("area.circle"), Native.Line("halve.while") }, lines);
        Assert.DoesNotContain(Native.Line("area.square"), lines);
        // Only Area ran: its entry line is the one function line that counts.
        var functions = System.Text.RegularExpressions.Regex.Match(never, @"(\d+) of (\d+) functions called");
        Assert.Equal("1", functions.Groups[1].Value);
        Assert.True(int.Parse(functions.Groups[2].Value) >= 8, never);
    }
}
