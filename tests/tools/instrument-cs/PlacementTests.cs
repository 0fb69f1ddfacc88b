// PlacementTests.cs: small programs instrumented, compiled with a probe that records, run, and their line counts compared.
//
// A line that ends in "//=N" must be probed and counted N times by the run;
// every other line must carry no probe.
using System.Reflection;
using System.Text.RegularExpressions;
using Microsoft.CodeAnalysis;
using Microsoft.CodeAnalysis.CSharp;
using Mirt.Instrument;
using Xunit;

namespace Instrument.Tests;

public class PlacementTests
{
    // Records what the probes report, in place of the native runtime.
    const string Recorder = """
        namespace mirt {
            public static class mirt_dotnet {
                public static System.Collections.Generic.Dictionary<int, int> Hits = new();
                public static void mirt_fn_net(string name, int line) { Hits.TryGetValue(line, out int n); Hits[line] = n + 1; }
                public static bool mirt_fn_net_cond(string name, int line) { mirt_fn_net(name, line); return true; }
            }
        }
        """;

    public static TheoryData<string, string> Programs => new()
    {
        { "statements, branches and jumps", """
            static int Run() {                      //=1
                int b;
                const int c = 3;
                b = Pick(1) + Pick(5); b += Pick(9);  //=1
                b += Kind(1) + Kind(2) + Kind(3) + Kind(7);  //=1
                int n = 0;                          //=1
            again:                                  //=3
                n++;                                //=3
                if (n < 3) goto again;              //=3
                return b + c + n;                   //=1
            }
            static int Pick(int x) {                //=3
                if (x < 2)                          //=3
                    return 0;                       //=1
                else if (x < 6)                     //=2
                    return 1;                       //=1
                else
                    return 2;                       //=1
            }
            static int Kind(object o) {             //=4
                switch (o)                          //=4
                {
                    case 1:                         //=2
                    case 2:
                        return 10;                  //=2
                    case int i when i > 5:          //=1
                        return i;                   //=1
                    default:                        //=1
                        break;                      //=1
                }
                return 0;                           //=1
            }
            """ },
        { "loops test their condition", """
            static int Run() {                      //=1
                int n = 0;                          //=1
                while (n < 3)                       //=4
                    n++;                            //=3
                for (int i = 0;                     //=1
                     i < 2;                         //=3
                     i++)                           //=2
                    n++;                            //=2
                do n--; while (n > 2);              //=3
                foreach (var x in new[] { 1, 2, 3 })//=4
                {
                    if (x == 2) continue;           //=3
                    n += x;                         //=2
                }
                for (;;) { if (++n > 9) break; }    //=1
                while (true)                        //=1
                {
                    n++;                            //=1
                    break;                          //=1
                }
                return n;                           //=1
            }
            """ },
        { "try, using, lock and patterns", """
            static int Run() {                      //=1
                int n = 0;                          //=1
                try
                {
                    n = int.Parse("x");             //=1
                    n = 5;                          //=0
                }
                catch (FormatException)             //=1
                {
                    n = 1;                          //=1
                }
                finally                             //=1
                {
                    n++;                            //=1
                }
                using (var s = new System.IO.MemoryStream())  //=1
                    n += (int)s.Length;             //=1
                lock (s_gate)                       //=1
                {
                    n += 1;                         //=1
                }
                object o = "text";                  //=1
                if (o is string { Length: > 2 } t)  //=1
                    n += t.Length;                  //=1
                return n switch                     //=1
                {
                    7 =>                            //=1
                        50,                         //=1
                    < 0 => throw new ArgumentException(),
                    _ => 0,                         //=0
                };
            }
            static readonly object s_gate = new object();  //=1
            """ },
        { "expression bodies, lambdas, iterators and local functions", """
            static int Run() {                      //=1
                Func<int, int> twice = x => x * 2;  //=3
                Action nothing = () => Sink(0);     //=2
                System.Linq.Expressions.Expression<Func<int, bool>> tree = x => x > 1;  //=1
                nothing();                          //=1
                var task = Later();                 //=1
                task.Wait();                        //=1
                int sum = 0;                        //=1
                foreach (int x in Numbers())        //=3
                    sum += Add(x);                  //=2
                return twice(1) + twice(2) + Value + Twice(1) + sum;  //=1
                int Add(int y) => y + 1;            //=2
            }
            static int Value => 4;                  //=1
            static int Twice(int x)                 //=1
                => x * 2;                           //=1
            static void Sink(int x) => _ = x;       //=1
            static async Task Later() => await Task.Yield();  //=1
            static IEnumerable<int> Numbers() {     //=1
                yield return 1;                     //=1
                yield return 2;                     //=1
            }
            """ },
        { "statements over several lines, initialisers and properties", """
            static int Run() {                      //=1
                int n = new Box(1).Size + new Box(2).Size;  //=1
                for (int i = 0; i < 2; i++)         //=3
                    if (i > 0) n += Add(i,          //=2
                                        n);         //=1
                Action never = () =>                //=1
                {
                    n++;                            //=0
                };
                return n                            //=1
                    + s_made + Shapes();            //=1
            }
            static int s_made = Add(0, 0);          //=1
            static int Add(int a, int b) => a + b;  //=7
            class Box : Base {
                public int Size = Add(2, 0);        //=2
                bool _unset = false;
                byte _small = 5;
                List<int> _seen = [];               //=2
                public Box(int n)                   //=2
                    : base(n,                       //=2
                           Add(n, 0)) { }           //=2
            }
            class Base { public Base(int a, int b) { } }  //=3
            class Sub(int n) : Base(n + 1, n) { }   //=1
            static int Shapes() {                   //=1
                var p = new Props(3) { Name = "n" };//=1
                Props.Made += new Sub(1) is null ? 0 : 1;  //=1
                return p.Id + p.Size + p.Name.Length + Props.Made + new Pair(2).Twice();  //=1
            }
            class Props {
                public int Id { get; }              //=1
                public int Size { get; private set; } = Add(1, 1);  //=4
                public required string Name
                    { get;                          //=1
                      init; }                       //=1
                public static int Made { get; set; }  //=3
                public Props(int id) { Id = id; Size += 1; }  //=1
            #nullable enable
                public string Label { get; set; }
            #nullable restore
            }
            struct Pair {
                public int A { get; }               //=1
                public int B { get; set; }          //=2
                public Pair(int a) { A = a; B = a; }  //=1
                public readonly int Twice() => A + B;  //=1
            }
            interface IHas { int Id { get; } }
            abstract class Ab { public abstract int V { get; set; } }
            class Named { public int field; public int V { get; set; } }
            """ },
    };

    [Theory]
    [MemberData(nameof(Programs))]
    public void ProbedLinesCountEachEntry(string title, string body)
    {
        string source = "using System;\nusing System.Collections.Generic;\nusing System.Threading.Tasks;\n" +
                        "public static class Case {\n" + body + "\n}\n";
        var expected = Expected(source);
        var parse = new CSharpParseOptions(LanguageVersion.Preview);
        SyntaxTree tree = CSharpSyntaxTree.ParseText(source, parse, "case.cs");
        Instrumented result = ProbeSites.Place(tree, Compile(tree).GetSemanticModel(tree), "case.cs");

        Assert.Equal(Regex.Matches(source, "\n").Count, Regex.Matches(result.Text, "\n").Count);
        Assert.Equal(expected.Keys.Order(), result.Lines);

        var compilation = Compile(CSharpSyntaxTree.ParseText(result.Text, parse), CSharpSyntaxTree.ParseText(Recorder, parse));
        using var image = new MemoryStream();
        var emitted = compilation.Emit(image);
        Assert.True(emitted.Success, title + ":\n" + string.Join("\n", emitted.Diagnostics) + "\n" + result.Text);
        // A build that treats warnings as errors would fail on a warning the original does not have.
        Assert.Empty(Warnings(emitted.Diagnostics).Except(Warnings(Compile(tree).GetDiagnostics())));
        Assembly assembly = Assembly.Load(image.ToArray());
        assembly.GetType("Case")!.GetMethod("Run", BindingFlags.Static | BindingFlags.NonPublic)!.Invoke(null, null);
        var hits = (Dictionary<int, int>)assembly.GetType("mirt.mirt_dotnet")!.GetField("Hits")!.GetValue(null)!;
        foreach (var (line, count) in expected)
            Assert.True(count == hits.GetValueOrDefault(line),
                        $"{title}: line {line} counted {hits.GetValueOrDefault(line)}, not {count}\n{result.Text}");
    }

    [Fact]
    public void FunctionsAreMappedFromTheirNameToTheirEnd()
    {
        string source = "class A {\n  int F(int x)\n  {\n    return x;\n  }\n  int G() => 1;\n  void H() { System.Action a = () => {\n  };\n  }\n}\n";
        SyntaxTree tree = CSharpSyntaxTree.ParseText(source);
        Instrumented result = ProbeSites.Place(tree, Compile(tree).GetSemanticModel(tree), "a.cs");
        Assert.Equal([new FunctionLines(2, 5, "A.F(int)"), new FunctionLines(6, 6, "A.G()"),
                      new FunctionLines(7, 9, "A.H()"), new FunctionLines(7, 8, "A.H()::{lambda@7}")], result.Functions);
    }

    // "#line default" goes back to the original's name; the probes name it as a C# literal.
    [Fact]
    public void LineDefaultGoesBackToTheOriginalNameAndNamesAreLiterals()
    {
        string source = "class A {\n#line 100 \"other.cs\"\n  int F() => 1;\n#line default\n" +
                        "  int G() => 2;\n}\n";
        Instrumented result = ProbeSites.Place(CSharpSyntaxTree.ParseText(source), null,
                                               "/src/a.cs");
        Assert.Contains("#line 5 \"/src/a.cs\"\n  int G()", result.Text);
        result = ProbeSites.Place(CSharpSyntaxTree.ParseText("class A { void F() { } }"), null,
                                  "C:\\src\\\"q\".cs");
        Assert.Contains("mirt_fn_net(\"C:\\\\src\\\\\\\"q\\\".cs\", 1)", result.Text);
    }

    // A copy that the compiler would reject is not given to it: the original
    // is, with one warning. (Here the source's own mirt.mirt_dotnet, which has
    // no probes, hides the wrapper.)
    [Fact]
    public void ACopyThatDoesNotCompileGivesWayToTheOriginal()
    {
        string folder = Directory.CreateTempSubdirectory("mirt-cs").FullName;
        string source = Path.Combine(folder, "clash.cs"), result = Path.Combine(folder, "compile.txt");
        File.WriteAllText(source, "namespace mirt { static class mirt_dotnet { } }\nstatic class C {\n  static int F() { return 1; }\n}\n");
        var output = new StringWriter();
        TextWriter saved = Console.Out;
        Console.SetOut(output);
        try { Assert.Equal(0, Tool.Entry(["--out", Path.Combine(folder, "out"), "--result", result, source])); }
        finally { Console.SetOut(saved); }
        Assert.Equal(source + "\n", File.ReadAllText(result));
        Assert.Contains($"{source}: warning MIRT001: compiled without coverage probes: its instrumented copy does not compile: CS0117", output.ToString());
        Directory.Delete(folder, true);
    }

    static IEnumerable<string> Warnings(IEnumerable<Diagnostic> diagnostics) =>
        diagnostics.Where(d => d.Severity == DiagnosticSeverity.Warning).Select(d => d.Id).Distinct();

    static Dictionary<int, int> Expected(string source) =>
        source.Split('\n').Select((text, n) => (Line: n + 1, Mark: Regex.Match(text, @"//=(\d+)\s*$")))
            .Where(l => l.Mark.Success).ToDictionary(l => l.Line, l => int.Parse(l.Mark.Groups[1].Value));

    static CSharpCompilation Compile(params SyntaxTree[] trees) =>
        CSharpCompilation.Create("case" + Guid.NewGuid().ToString("N"), trees,
            ((string)AppContext.GetData("TRUSTED_PLATFORM_ASSEMBLIES")!).Split(Path.PathSeparator)
                .Select(p => MetadataReference.CreateFromFile(p)),
            new CSharpCompilationOptions(OutputKind.DynamicallyLinkedLibrary));
}
