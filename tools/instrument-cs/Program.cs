// Program.cs: mirt-instrument-cs, the build step that puts source-line probes into C# sources.
using System.Text;
using Microsoft.CodeAnalysis;
using Microsoft.CodeAnalysis.CSharp;
using Mirt.Instrument;

return Tool.Entry(args);

public static class Tool
{
    const string Usage =
        "usage: mirt-instrument-cs [options] SOURCE...\n" +
        "  --out DIR            where the instrumented copies and their line maps go\n" +
        "  --base DIR           copies of sources under DIR keep their path below it (default: the working folder)\n" +
        "  --sources FILE       more sources, one path a line\n" +
        "  --skip-under DIR     sources under DIR are compiled as written (generated files)\n" +
        "  --result FILE        writes, for each source in order, the file to compile\n" +
        "  --references FILE    the compilation's references, one path a line (default: this runtime's)\n" +
        "  --define SYMBOLS     preprocessor symbols, separated by ';' or ','\n" +
        "  --langversion V      the C# language version\n" +
        "  --print              writes the instrumented text of the one SOURCE to standard output\n" +
        "  --lines              writes the probed lines of the one SOURCE to standard output\n";

    public static int Entry(string[] args)
    {
        var o = new Options();
        for (int n = 0; n < args.Length; ++n)
        {
            string a = args[n];
            string Next() => n + 1 < args.Length ? args[++n] : throw new UsageError($"{a} wants a value");
            try
            {
                switch (a)
                {
                    case "--help": Console.Write(Usage); return 0;
                    case "--out": o.Out = Next(); break;
                    case "--base": o.Base = Next(); break;
                    case "--sources": o.Sources.AddRange(ReadList(Next())); break;
                    case "--skip-under": o.SkipUnder.Add(Path.GetFullPath(Next())); break;
                    case "--result": o.Result = Next(); break;
                    case "--references": o.References = ReadList(Next()); break;
                    case "--define": o.Defines = Next().Split([';', ','], StringSplitOptions.RemoveEmptyEntries | StringSplitOptions.TrimEntries); break;
                    case "--langversion": o.LangVersion = Next(); break;
                    case "--print": o.Print = true; break;
                    case "--lines": o.LinesOnly = true; break;
                    default:
                        if (a.StartsWith("--")) throw new UsageError($"unknown option {a}");
                        o.Sources.Add(a);
                        break;
                }
            }
            catch (UsageError e)
            {
                Console.Error.Write($"mirt-instrument-cs: {e.Message}\n{Usage}");
                return 2;
            }
            catch (IOException e)
            {
                Console.Error.WriteLine($"mirt-instrument-cs: {e.Message}");
                return 2;
            }
        }
        if (o.Sources.Count == 0 || ((o.Print || o.LinesOnly) && o.Sources.Count != 1) || (!o.Print && !o.LinesOnly && o.Out == null))
        {
            Console.Error.Write(Usage);
            return 2;
        }
        return Run(o);
    }

    sealed class UsageError(string message) : Exception(message);

    sealed class Options
    {
        public string? Out, Result, LangVersion;
        public string Base = Directory.GetCurrentDirectory();
        public List<string> Sources = [], SkipUnder = [];
        public List<string>? References;
        public string[] Defines = [];
        public bool Print, LinesOnly;
    }

    static List<string> ReadList(string path) =>
        File.ReadAllLines(path).Select(l => l.Trim()).Where(l => l.Length > 0).ToList();

    sealed class Source
    {
        public required string Path;      // as given, made whole
        public byte[] Bytes = [];
        public SyntaxTree? Tree;
        public string? Skip;               // why it keeps no probes
        public string Compiled = "";       // what the compiler gets
        public bool Instrument;            // not generated, not under a skipped folder
        public string? Text;               // the instrumented copy
        public Instrumented? Result;
    }

    static int Run(Options o)
    {
        var parse = new CSharpParseOptions(LanguageVersion(o.LangVersion), DocumentationMode.None,
                                           SourceCodeKind.Regular, o.Defines);
        var sources = o.Sources.Select(p => new Source { Path = Path.GetFullPath(p) }).ToList();
        foreach (Source s in sources)
        {
            s.Compiled = s.Path;
            try
            {
                s.Bytes = File.ReadAllBytes(s.Path);
                s.Tree = CSharpSyntaxTree.ParseText(Decode(s.Bytes), parse, s.Path);
            }
            catch (Exception e) when (e is IOException or UnauthorizedAccessException)
            {
                s.Skip = "cannot be read: " + e.Message;
            }
        }
        // The whole compilation, so that lambdas bind as the compiler binds them.
        var trees = sources.Where(s => s.Tree != null).Select(s => s.Tree!).ToList();
        var compilation = CSharpCompilation.Create("mirt", trees, References(o.References),
            new CSharpCompilationOptions(OutputKind.DynamicallyLinkedLibrary, allowUnsafe: true));

        foreach (Source s in sources)
        {
            if (s.Tree == null) continue;
            if (o.SkipUnder.Any(d => s.Path.StartsWith(d.TrimEnd('/', '\\') + Path.DirectorySeparatorChar))) continue;
            if (Generated(s.Tree)) continue;
            s.Instrument = true;
            try
            {
                if (s.Tree.GetDiagnostics().Any(d => d.Severity == DiagnosticSeverity.Error))
                {
                    s.Skip = "does not parse";
                }
                else if (s.Path.Contains('"'))
                {
                    s.Skip = "its name holds a quotation mark, which #line cannot name";
                }
                else
                {
                    s.Result = ProbeSites.Place(s.Tree, compilation.GetSemanticModel(s.Tree), s.Path);
                    // "#line 1" names the original: diagnostics, stack traces and
                    // [CallerFilePath] name it, with its own line numbers.
                    s.Text = $"#line 1 \"{s.Path}\"\n" + s.Result.Text;
                    var check = CSharpSyntaxTree.ParseText(s.Text, parse);
                    if (check.GetDiagnostics().Any(d => d.Severity == DiagnosticSeverity.Error))
                        s.Skip = "its instrumented copy does not parse: " +
                                 check.GetDiagnostics().First(d => d.Severity == DiagnosticSeverity.Error).GetMessage();
                }
            }
            catch (Exception e)
            {
                s.Skip = "instrumenting failed: " + e.Message;
            }
        }
        if (!o.Print) KeepWhatCompiles(compilation, sources, parse);
        if (o.Print || o.LinesOnly)
        {
            Source s = sources[0];
            s.Skip ??= s.Instrument ? null : "generated";
            if (s.Skip != null) { Console.Error.WriteLine($"mirt-instrument-cs: {s.Path}: {s.Skip}"); return 1; }
            Console.Write(o.Print ? s.Text : string.Join('\n', s.Result!.Lines) + "\n");
            return 0;
        }

        int status = 0;
        foreach (Source s in sources)
        {
            if (s.Tree == null) { Warn(s, o); continue; }
            if (!s.Instrument) continue;
            string copy = CopyPath(o, s.Path);
            var map = new LineMap
            {
                Unit = s.Path,
                Folder = o.Base,
                FileName = s.Path,
                Checksum = LineMap.Checksum64(s.Bytes),
                Lines = s.Skip == null ? s.Result!.Lines : [],
                Functions = s.Skip == null ? s.Result!.Functions : [],
                Unprobed = s.Skip,
            };
            try
            {
                Directory.CreateDirectory(Path.GetDirectoryName(copy)!);
                if (s.Skip == null)
                {
                    bool changed = WriteIfChanged(copy, s.Text!);
                    if (changed || !File.Exists(copy + ".mirtmap")) WriteWhole(copy + ".mirtmap", map.Text(LineMap.NowNanoseconds()));
                    s.Compiled = copy;
                }
                else
                {
                    if (File.Exists(copy)) File.Delete(copy);
                    WriteWhole(copy + ".mirtmap", map.Text(LineMap.NowNanoseconds()));
                    Warn(s, o);
                }
            }
            catch (Exception e) when (e is IOException or UnauthorizedAccessException)
            {
                s.Skip = "cannot write its copy: " + e.Message;
                s.Compiled = s.Path;
                Warn(s, o);
                status = 1;
            }
        }
        if (o.Result != null) WriteWhole(o.Result, string.Concat(sources.Select(s => s.Compiled + "\n")));
        return status;
    }

    // The copies compiled together in place of the originals: a copy that
    // brings an error its original does not have (the compiler's messages
    // compared, wherever they are) is compiled as written instead. Where the
    // references lack the wrapper, a stand-in declares the probes.
    static void KeepWhatCompiles(CSharpCompilation compilation, List<Source> sources, CSharpParseOptions parse)
    {
        var copies = sources.Where(s => s.Instrument && s.Skip == null && s.Text != null).ToList();
        if (copies.Count == 0) return;
        if (compilation.GetTypeByMetadataName("mirt.mirt_dotnet") == null)
            compilation = compilation.AddSyntaxTrees(CSharpSyntaxTree.ParseText(
                "namespace mirt { public static class mirt_dotnet { public static void mirt_fn_net(string n, int l) { } " +
                "public static bool mirt_fn_net_cond(string n, int l) => true; } }", parse));
        var trees = new Dictionary<Source, SyntaxTree>();
        CSharpCompilation instrumented = compilation;
        foreach (Source s in copies)
        {
            trees[s] = CSharpSyntaxTree.ParseText(s.Text!, parse, s.Path + ".mirt");
            instrumented = instrumented.ReplaceSyntaxTree(s.Tree!, trees[s]);
        }
        static List<string> Errors(SemanticModel model) => model.GetDiagnostics()
            .Where(d => d.Severity == DiagnosticSeverity.Error).Select(d => d.Id + ": " + d.GetMessage()).ToList();
        foreach (Source s in copies)
        {
            List<string> before = Errors(compilation.GetSemanticModel(s.Tree!));
            foreach (string error in Errors(instrumented.GetSemanticModel(trees[s])))
            {
                if (before.Remove(error)) continue;
                s.Skip = "its instrumented copy does not compile: " + error;
                break;
            }
        }
    }

    // One warning per source that is compiled as written, in the form that
    // MSBuild shows as a warning of the build.
    static void Warn(Source s, Options o) =>
        Console.WriteLine($"{s.Path}: warning MIRT001: compiled without coverage probes: {s.Skip}");

    static LanguageVersion LanguageVersion(string? name)
    {
        if (name != null && LanguageVersionFacts.TryParse(name, out LanguageVersion v)) return v;
        return Microsoft.CodeAnalysis.CSharp.LanguageVersion.Preview;
    }

    static IEnumerable<MetadataReference> References(List<string>? paths)
    {
        paths ??= ((string?)AppContext.GetData("TRUSTED_PLATFORM_ASSEMBLIES") ?? "")
            .Split(Path.PathSeparator, StringSplitOptions.RemoveEmptyEntries).ToList();
        foreach (string p in paths)
        {
            PortableExecutableReference? r = null;
            try { if (File.Exists(p)) r = MetadataReference.CreateFromFile(p); }
            catch (Exception e) when (e is IOException or BadImageFormatException) { }
            if (r != null) yield return r;
        }
    }

    static string Decode(byte[] bytes)
    {
        // As the compiler reads a source: UTF-8 unless a byte order mark says otherwise.
        using var reader = new StreamReader(new MemoryStream(bytes), new UTF8Encoding(false), detectEncodingFromByteOrderMarks: true);
        return reader.ReadToEnd();
    }

    static bool Generated(SyntaxTree tree)
    {
        string path = tree.FilePath;
        if (path.EndsWith(".g.cs", StringComparison.OrdinalIgnoreCase) || path.EndsWith(".designer.cs", StringComparison.OrdinalIgnoreCase))
            return true;
        SyntaxNode root = tree.GetRoot();
        return root.GetLeadingTrivia().Take(8).Any(t => t.ToString().Contains("<auto-generated", StringComparison.OrdinalIgnoreCase));
    }

    // The copy of a source under the base folder keeps its path below it;
    // any other goes under "_" with its whole path flattened.
    static string CopyPath(Options o, string source)
    {
        string rel = Path.GetRelativePath(Path.GetFullPath(o.Base), source);
        if (rel.StartsWith("..") || Path.IsPathRooted(rel))
            rel = Path.Combine("_", source.Replace(':', '_').Replace('/', '#').Replace('\\', '#'));
        return Path.Combine(Path.GetFullPath(o.Out!), rel);
    }

    static bool WriteIfChanged(string path, string text)
    {
        byte[] bytes = new UTF8Encoding(true).GetPreamble().Concat(Encoding.UTF8.GetBytes(text)).ToArray();
        if (File.Exists(path) && File.ReadAllBytes(path).AsSpan().SequenceEqual(bytes)) return false;
        WriteWhole(path, bytes);
        return true;
    }

    static void WriteWhole(string path, string text) => WriteWhole(path, Encoding.UTF8.GetBytes(text));

    // Through a temporary file and a rename: readers never see half a file.
    static void WriteWhole(string path, byte[] bytes)
    {
        string temporary = $"{path}.tmp{Environment.ProcessId}";
        File.WriteAllBytes(temporary, bytes);
        File.Move(temporary, path, overwrite: true);
    }
}
