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

    // Only what ran after the last clear counts: a loop header each test of
    // its condition, the lines that an exception passed; the test name heads
    // the record group.
    [Fact]
    public void LinesCountEachEntryAfterTheLastClear()
    {
        string output = Run("entries", () =>
        {
            Shapes.Halvings(4);
            mirt_dotnet.mirt_clear_coverage_data();
            Shapes.Area("square", 2);
            Shapes.Halvings(8);
            Assert.Throws<ArgumentException>(() => Shapes.Area("hexagon", 1));
        });
        Assert.StartsWith("=== entries\n>>> dotnet\n", File.ReadAllText(output));
        var counts = Native.Counts(output, Native.SampleSource);
        string[] markers = ["area.switch", "area.square", "area.circle", "area.throw",
                            "halve.while", "never.first"];
        Assert.Equal(new long[] { 2, 1, 0, 1, 4, 0 },
                     markers.Select(m => counts.GetValueOrDefault(Native.Line(m))).ToArray());
    }

    // Names reach the runtime as ASCII, a question mark for any other
    // character, each ending where its text ends; an empty or missing name
    // records nothing.
    [Fact]
    public void NamesArriveAsAsciiAndEmptyNamesRecordNothing()
    {
        string output = Run("names", () =>
        {
            mirt_dotnet.mirt_fn_net("s/Caf\u00e9.cs", 3);
            mirt_dotnet.mirt_fn_net("s/ab.cs", 2);
            mirt_dotnet.mirt_fn_net("s/ab.cs"[..3], 1);
            mirt_dotnet.mirt_fn_net("", 5);
            mirt_dotnet.mirt_fn_net(null!, 5);
        });
        Assert.Equal("=== names\n>>> dotnet\n--- s\n### Caf?.cs\n3,1\n### a\n1,1\n### ab.cs\n2,1\n",
                     File.ReadAllText(output));
    }

    [Fact]
    public void StackTracesAndCallerInfoNameTheOriginalSource()
    {
        var e = Assert.Throws<InvalidOperationException>(Shapes.Fail);
        Assert.Contains($"{Native.SampleSource}:line {Native.Line("fail")}", e.StackTrace);
        Assert.Equal($"{Native.SampleSource}:{Native.Line("here")}", Shapes.Here());
    }

    static string Start(string program, params string[] args)
    {
        using var process = Process.Start(new ProcessStartInfo(program, args)
                                          { RedirectStandardOutput = true, RedirectStandardError = true })!;
        string shown = process.StandardOutput.ReadToEnd() + process.StandardError.ReadToEnd();
        process.WaitForExit();
        return shown;
    }

    // This process is the host of a C++ and C program built through mirt-cc and run
    // during the test: one file holds their lines beside the C# lines, and
    // mirt-report shows each language's never-run lines from its build's maps.
    [Fact]
    public void MirtReportShowsTheLinesThatNeverRan()
    {
        string app = Path.Combine(folder_, "app"), sources = Native.AppSources;
        Start(Path.Combine(Native.Bin, "mirt-cc"), "g++", "-I" + sources, Path.Combine(sources, "main.cpp"),
              Path.Combine(sources, "util.c"), "-o", app);
        string output = Run("report", () => { Shapes.Area("square", 1); Start(app, "12"); });
        string shown = Start(Path.Combine(Native.Bin, "mirt-report"), "--map", Native.SampleMaps, "--map", folder_,
                             "summary", output);
        Assert.Matches(@"main\.cpp: 10 of 10 lines hit", shown);
        Assert.Matches(@"util\.c: 8 of 10 lines hit \(80\.0%\).*never run: 17-18", shown);
        // "never run: 16-17, 56, ..." after the file's line.
        string never = shown.Split('\n').First(l => l.Contains("Shapes.cs") && l.Contains("never run:"));
        var lines = never[(never.IndexOf("never run:") + 10)..].Split(',', StringSplitOptions.TrimEntries)
            .SelectMany(r => r.Split('-') is [var a, var b] ? Enumerable.Range(int.Parse(a), int.Parse(b) - int.Parse(a) + 1)
                                                             : [int.Parse(r)])
            .ToHashSet();
        Assert.Superset(new HashSet<int> { Native.Line("never.name"), Native.Line("never.first"), Native.Line("never.last"),
                                           Native.Line("area.circle"), Native.Line("halve.while") }, lines);
        Assert.DoesNotContain(Native.Line("area.square"), lines);
        // Only Area ran: its entry line is the one function line that counts.
        Assert.Contains("1 of 6 functions called", never);
    }
}
