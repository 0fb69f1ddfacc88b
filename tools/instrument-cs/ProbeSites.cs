// ProbeSites.cs: where the probes go in one C# source, and its instrumented text.
//
// Every statement that starts code on a line gets a probe before it, so that
// a line's count is how often control entered it; a line counts once per
// function (of several sites on one line of one function, the first in the
// text is kept); a statement over several lines counts its further lines
// with its first. Functions count the line of their name on entry, a
// constructor's ": base(...)" with it; a loop header counts each test of its
// condition; an initialiser of a field or property each time it runs; from
// C# 14, a property's compiler-made accessor its own line on each call.
// Nothing is inserted that starts a new line: the copy keeps the original's
// line numbers.
using Microsoft.CodeAnalysis;
using Microsoft.CodeAnalysis.CSharp;
using Microsoft.CodeAnalysis.CSharp.Syntax;

namespace Mirt.Instrument;

public sealed class Instrumented
{
    public required string Text { get; init; }
    public required IReadOnlyList<int> Lines { get; init; }
    public required IReadOnlyList<FunctionLines> Functions { get; init; }
}

public static class ProbeSites
{
    // Places the probes of tree (named probeName in them). model, when
    // given, decides what the text cannot: whether an expression-bodied
    // lambda returns a value, and constant loop conditions.
    public static Instrumented Place(SyntaxTree tree, SemanticModel? model, string probeName)
    {
        var finder = new SiteFinder(tree, model, probeName);
        finder.Run();
        return finder.Result();
    }
}

// Text put into the source at Offset, replacing Length characters there.
// At one offset, insertions go before a replacement, then by Order.
readonly record struct Edit(int Offset, int Length, EditOrder Order, string Text);

enum EditOrder { Close, Open, Probe, Return }

sealed class Site
{
    public int Line;
    public int Anchor;
    public int Function;
    public readonly List<Edit> Edits = [];
}

sealed class SiteFinder(SyntaxTree tree, SemanticModel? model, string probeName)
{
    readonly string text_ = tree.GetText().ToString();
    readonly string literal_ = Literal(probeName);
    readonly List<Site> sites_ = [];
    readonly List<Edit> structure_ = [];  // edits that stand whether or not their probes are kept
    readonly List<FunctionLines> functions_ = [];
    int function_;
    int functionsSeen_;
    string functionName_ = "";
    int topLevel_;  // the function of the top-level statements, once there are any
    int topFirst_, topLast_;

    public void Run()
    {
        var root = (CompilationUnitSyntax)tree.GetRoot();
        foreach (MemberDeclarationSyntax m in root.Members) Member(m, "");
        if (topLevel_ != 0) functions_.Add(new FunctionLines(topFirst_, topLast_, "<top-level statements>"));
        LineDefaults(root);
    }

    public Instrumented Result()
    {
        var kept = new List<Site>();
        var taken = new HashSet<(int, int)>();
        foreach (Site s in sites_.OrderBy(s => s.Line).ThenBy(s => s.Anchor))
            if (taken.Add((s.Line, s.Function))) kept.Add(s);
        var edits = new List<Edit>(structure_);
        foreach (Site s in kept) edits.AddRange(s.Edits);
        var ordered = edits.Select((e, n) => (e, n))
            .OrderBy(x => x.e.Offset).ThenBy(x => x.e.Length > 0).ThenBy(x => x.e.Order).ThenBy(x => x.n);
        var output = new System.Text.StringBuilder(text_.Length + kept.Count * (literal_.Length + 48));
        int pos = 0;
        foreach (var (e, _) in ordered)
        {
            if (e.Offset > pos) output.Append(text_, pos, e.Offset - pos);
            output.Append(e.Text);
            pos = Math.Max(pos, e.Offset + e.Length);
        }
        output.Append(text_, pos, text_.Length - pos);
        return new Instrumented
        {
            Text = output.ToString(),
            Lines = kept.Select(s => s.Line).Distinct().Order().ToList(),
            Functions = functions_.OrderBy(f => f.First).ToList(),
        };
    }

    // ---- text ----

    static string Literal(string name)
    {
        var s = new System.Text.StringBuilder("\"");
        foreach (char c in name)
        {
            if (c == '\\' || c == '"') s.Append('\\').Append(c);
            else if (c < 0x20 || c > 0x7e) s.Append("\\u").Append(((int)c).ToString("x4"));
            else s.Append(c);
        }
        return s.Append('"').ToString();
    }

    string Probe(int line) => $"global::mirt.mirt_dotnet.mirt_fn_net({literal_}, {line}); ";
    string ConditionProbe(int line) => $"global::mirt.mirt_dotnet.mirt_fn_net_cond({literal_}, {line}) && (";
    string ListProbe(int line) => $"global::mirt.mirt_dotnet.mirt_fn_net({literal_}, {line}), ";

    int Line(int offset) => tree.GetText().Lines.GetLineFromPosition(offset).LineNumber + 1;

    Site NewSite(int line, int anchor)
    {
        var site = new Site { Line = line, Anchor = anchor, Function = function_ };
        sites_.Add(site);
        return site;
    }

    // ---- declarations ----

    void Member(MemberDeclarationSyntax member, string prefix)
    {
        switch (member)
        {
            case BaseNamespaceDeclarationSyntax ns:
                foreach (MemberDeclarationSyntax m in ns.Members) Member(m, prefix + ns.Name + ".");
                break;
            case TypeDeclarationSyntax type:
                // A primary constructor's base call runs at each construction, as an initialiser does.
                if (type.BaseList?.Types.FirstOrDefault() is PrimaryConstructorBaseTypeSyntax
                        { ArgumentList.Arguments: [{ RefKindKeyword.RawKind: 0 } first, ..] } primaryBase)
                    InitializerSites(primaryBase, first.Expression);
                foreach (MemberDeclarationSyntax m in type.Members) Member(m, prefix + type.Identifier.ValueText + ".");
                break;
            case GlobalStatementSyntax global:
                TopLevel(global.Statement);
                break;
            case BaseMethodDeclarationSyntax method:
                Function(method, method.Body, method.ExpressionBody, NameToken(method),
                         prefix + MethodName(method), returns: !IsVoid(method), wrapGet: false);
                break;
            case BasePropertyDeclarationSyntax property:
                Property(property, prefix);
                break;
            case BaseFieldDeclarationSyntax field:
                if (!field.Modifiers.Any(SyntaxKind.ConstKeyword))
                    foreach (VariableDeclaratorSyntax v in field.Declaration.Variables)
                        if (v.Initializer != null) InitializerSites(v, v.Initializer.Value);
                InContext(prefix + string.Join(",", field.Declaration.Variables.Select(v => v.Identifier.ValueText)),
                          () => Expressions(field));
                break;
        }
    }

    void Property(BasePropertyDeclarationSyntax property, string prefix)
    {
        string name = property switch
        {
            PropertyDeclarationSyntax p => p.Identifier.ValueText,
            IndexerDeclarationSyntax => "this[]",
            EventDeclarationSyntax e => e.Identifier.ValueText,
            _ => "?",
        };
        if (property is PropertyDeclarationSyntax { ExpressionBody: { } body } pd)
            ExpressionBody(body, pd.SemicolonToken, pd.Identifier, prefix + name, returns: true, wrapGet: true);
        else if (property is IndexerDeclarationSyntax { ExpressionBody: { } ibody } id)
            ExpressionBody(ibody, id.SemicolonToken, id.ThisKeyword, prefix + name, returns: true, wrapGet: true);
        bool autoBodies = property is PropertyDeclarationSyntax auto && AutoAccessorsTakeBodies(auto);
        foreach (AccessorDeclarationSyntax a in property.AccessorList?.Accessors ?? default)
        {
            if (autoBodies && a.Body == null && a.ExpressionBody == null)
                AutoAccessor((PropertyDeclarationSyntax)property, a, prefix + name + "." + a.Keyword.ValueText);
            else
                Function(a, a.Body, a.ExpressionBody, a.Keyword, prefix + name + "." + a.Keyword.ValueText,
                         returns: a.Keyword.IsKind(SyntaxKind.GetKeyword), wrapGet: false);
        }
        if (property is PropertyDeclarationSyntax { Initializer: { } init })
        {
            InitializerSites(init, init.Value);
            InContext(prefix + name, () => Expressions(init));
        }
    }

    // Whether the compiler-made accessors of p ("get;", "set;", "init;") can
    // be written out on its backing field, "field", and mean the same: from
    // C# 14, where p has a body (not in an interface, not abstract, extern or
    // partial), no member named "field" is in scope (the keyword would
    // hide it, with a warning), and its nullability cannot change the
    // warning of a constructor that leaves it unset (a non-nullable
    // reference without initialiser that is not required).
    bool AutoAccessorsTakeBodies(PropertyDeclarationSyntax p)
    {
        if (model == null || ((CSharpParseOptions)tree.Options).LanguageVersion < LanguageVersion.CSharp14) return false;
        if (p.ExplicitInterfaceSpecifier != null ||
            p.Modifiers.Any(m => m.Kind() is SyntaxKind.AbstractKeyword or SyntaxKind.ExternKeyword or SyntaxKind.PartialKeyword))
            return false;
        try
        {
            if (model.GetDeclaredSymbol(p) is not IPropertySymbol symbol || symbol.Type.TypeKind == TypeKind.Error ||
                symbol.ContainingType.TypeKind == TypeKind.Interface)
                return false;
            if (!model.LookupSymbols(p.SpanStart, name: "field").IsEmpty) return false;
            return symbol.Type.IsValueType || symbol.NullableAnnotation != NullableAnnotation.NotAnnotated ||
                   p.Initializer != null || symbol.IsRequired || !model.GetNullableContext(p.SpanStart).WarningsEnabled();
        }
        catch (Exception)
        {
            return false;
        }
    }

    // "get;" becomes "get { probe; return field; }", "set;" and "init;"
    // "{ probe; field = value; }", counting the accessor's line on each call.
    // A struct's compiler-made getter does not change the struct; written
    // out, it says so with "readonly", else a readonly member calling it
    // would copy the struct (with a warning).
    void AutoAccessor(PropertyDeclarationSyntax property, AccessorDeclarationSyntax a, string shown)
    {
        BeginFunction(shown, out var saved);
        int line = Line(a.Keyword.SpanStart);
        bool get = a.Keyword.IsKind(SyntaxKind.GetKeyword);
        NewSite(line, a.Keyword.SpanStart).Edits.Add(new Edit(a.SemicolonToken.SpanStart, a.SemicolonToken.Span.Length,
            EditOrder.Open, "{ " + Probe(line) + (get ? "return field; }" : "field = value; }")));
        functions_.Add(new FunctionLines(line, line, shown));
        EndFunction(saved);
        bool mutableStruct = model!.GetDeclaredSymbol(property)?.ContainingType is { TypeKind: TypeKind.Struct, IsReadOnly: false };
        if (!get || !mutableStruct || a.Modifiers.Any(SyntaxKind.ReadOnlyKeyword) ||
            property.Modifiers.Any(m => m.Kind() is SyntaxKind.StaticKeyword or SyntaxKind.ReadOnlyKeyword))
            return;
        // "readonly" goes on the property when the getter is its only accessor.
        bool only = property.AccessorList!.Accessors.Count == 1;
        structure_.Add(new Edit(only ? property.Type.SpanStart : a.Keyword.SpanStart, 0, EditOrder.Open, "readonly "));
    }

    static SyntaxToken NameToken(BaseMethodDeclarationSyntax method) => method switch
    {
        MethodDeclarationSyntax m => m.Identifier,
        ConstructorDeclarationSyntax c => c.Identifier,
        DestructorDeclarationSyntax d => d.Identifier,
        OperatorDeclarationSyntax o => o.OperatorKeyword,
        ConversionOperatorDeclarationSyntax c => c.OperatorKeyword,
        _ => method.GetFirstToken(),
    };

    static string MethodName(BaseMethodDeclarationSyntax method)
    {
        string name = method switch
        {
            MethodDeclarationSyntax m => m.Identifier.ValueText,
            ConstructorDeclarationSyntax c => c.Identifier.ValueText,
            DestructorDeclarationSyntax d => "~" + d.Identifier.ValueText,
            OperatorDeclarationSyntax o => "operator " + o.OperatorToken.ValueText,
            ConversionOperatorDeclarationSyntax c => "operator " + c.Type,
            _ => "?",
        };
        return name + Parameters(method.ParameterList);
    }

    // Overloads stay apart by their parameter types, as written.
    static string Parameters(ParameterListSyntax? list) =>
        "(" + string.Join(", ", list?.Parameters.Select(p => p.Type?.ToString() ?? "") ?? []) + ")";

    // Whether "=> expr" of this method is a statement rather than a value.
    static bool IsVoid(BaseMethodDeclarationSyntax method) => method switch
    {
        MethodDeclarationSyntax m => IsVoid(m.ReturnType, m.Modifiers),
        ConstructorDeclarationSyntax or DestructorDeclarationSyntax => true,
        _ => false,
    };

    static bool IsVoid(TypeSyntax returnType, SyntaxTokenList modifiers)
    {
        if (returnType is PredefinedTypeSyntax p && p.Keyword.IsKind(SyntaxKind.VoidKeyword)) return true;
        if (!modifiers.Any(SyntaxKind.AsyncKeyword)) return false;
        // An async method that returns a plain Task or ValueTask returns no value.
        string last = returnType switch
        {
            IdentifierNameSyntax id => id.Identifier.ValueText,
            QualifiedNameSyntax { Right: IdentifierNameSyntax right } => right.Identifier.ValueText,
            AliasQualifiedNameSyntax { Name: IdentifierNameSyntax right } => right.Identifier.ValueText,
            _ => "",
        };
        return last is "Task" or "ValueTask";
    }

    void InContext(string name, Action walk)
    {
        string saved = functionName_;
        functionName_ = name;
        walk();
        functionName_ = saved;
    }

    // ---- functions ----

    int BeginFunction(string name, out (int, string) saved)
    {
        saved = (function_, functionName_);
        function_ = ++functionsSeen_;
        functionName_ = name;
        return function_;
    }

    void EndFunction((int, string) saved) => (function_, functionName_) = saved;

    void Function(SyntaxNode decl, BlockSyntax? body, ArrowExpressionClauseSyntax? expression, SyntaxToken name,
                  string shown, bool returns, bool wrapGet)
    {
        if (body != null)
        {
            BeginFunction(shown, out var saved);
            BlockEntry(body, name.SpanStart, shown);
            // ": base(...)" counts its lines on entry to the body, which it runs before.
            if (decl is ConstructorDeclarationSyntax { Initializer: { } init })
                foreach (int line in LaterLines(init).Prepend(Line(init.SpanStart)))
                    NewSite(line, init.SpanStart).Edits.Add(new Edit(body.OpenBraceToken.Span.End, 0, EditOrder.Probe, Probe(line)));
            Expressions(decl, skip: body);  // default values, constructor initialisers
            Statements(body);
            EndFunction(saved);
        }
        else if (expression != null)
        {
            SyntaxToken semicolon = decl switch
            {
                BaseMethodDeclarationSyntax m => m.SemicolonToken,
                AccessorDeclarationSyntax a => a.SemicolonToken,
                LocalFunctionStatementSyntax l => l.SemicolonToken,
                _ => default,
            };
            ExpressionBody(expression, semicolon, name, shown, returns, wrapGet);
        }
    }

    // The probe as the first statement of a function's block, counting the
    // line of its name.
    void BlockEntry(BlockSyntax body, int namePosition, string shown)
    {
        int open = body.OpenBraceToken.SpanStart;
        int anchor = namePosition <= open ? namePosition : open;
        int line = Line(anchor);
        NewSite(line, anchor).Edits.Add(new Edit(body.OpenBraceToken.Span.End, 0, EditOrder.Probe, Probe(line)));
        functions_.Add(new FunctionLines(line, Line(body.CloseBraceToken.SpanStart), shown));
    }

    // "=> expr;" becomes "{ probe; return expr; }" ("{ probe; expr; }" when
    // the member returns nothing), a property's "=> expr;" a getter.
    void ExpressionBody(ArrowExpressionClauseSyntax arrow, SyntaxToken semicolon, SyntaxToken name, string shown,
                        bool returns, bool wrapGet)
    {
        if (semicolon.IsMissing || semicolon.Span.Length == 0) return;
        BeginFunction(shown, out var saved);
        ExpressionSyntax e = arrow.Expression;
        int line = Line(name.SpanStart);
        structure_.Add(new Edit(arrow.ArrowToken.SpanStart, arrow.ArrowToken.Span.Length, EditOrder.Open,
                                wrapGet ? "{ get {" : "{"));
        structure_.Add(new Edit(semicolon.SpanStart, semicolon.Span.Length, EditOrder.Close, wrapGet ? "; } }" : "; }"));
        BodyProbes(e, name.SpanStart, line, returns);
        functions_.Add(new FunctionLines(line, Line(semicolon.SpanStart), shown));
        Walk(e);
        EndFunction(saved);
    }

    // The entry probe, one for the expression's own line when it starts
    // another and one for each further line it begins, and "return" where
    // the expression is a value.
    void BodyProbes(ExpressionSyntax e, int anchor, int line, bool returns)
    {
        NewSite(line, anchor).Edits.Add(new Edit(e.SpanStart, 0, EditOrder.Probe, Probe(line)));
        int own = Line(e.SpanStart);
        if (own != line) NewSite(own, e.SpanStart).Edits.Add(new Edit(e.SpanStart, 0, EditOrder.Probe, Probe(own)));
        if (e is not AnonymousFunctionExpressionSyntax)
            foreach (int later in LaterLines(e))
                NewSite(later, e.SpanStart).Edits.Add(new Edit(e.SpanStart, 0, EditOrder.Probe, Probe(later)));
        if (returns && e is not ThrowExpressionSyntax)
            structure_.Add(new Edit(e.SpanStart, 0, EditOrder.Return, "return "));
    }

    void Lambda(AnonymousFunctionExpressionSyntax f)
    {
        int line = Line(f.SpanStart);
        string shown = (functionName_.Length > 0 ? functionName_ + "::" : "") + "{lambda@" + line + "}";
        if (f.Block != null)
        {
            BeginFunction(shown, out var saved);
            BlockEntry(f.Block, f.SpanStart, shown);
            Statements(f.Block);
            EndFunction(saved);
            return;
        }
        if (f.ExpressionBody is not { } e) return;
        bool? returns = LambdaReturns(f);
        if (returns == null)
        {
            // Left as written: its lines count with the statement around it.
            Walk(e);
            return;
        }
        BeginFunction(shown, out var savedFn);
        structure_.Add(new Edit(e.SpanStart, 0, EditOrder.Open, "{ "));
        structure_.Add(new Edit(e.Span.End, 0, EditOrder.Close, "; }"));
        BodyProbes(e, f.SpanStart, line, returns.Value);
        functions_.Add(new FunctionLines(line, Line(e.Span.End), shown));
        Walk(e);
        EndFunction(savedFn);
    }

    // Whether an expression-bodied lambda gives a value; null when that is
    // not known, or when it becomes an expression tree (which a block cannot
    // be): such a lambda is left alone.
    bool? LambdaReturns(AnonymousFunctionExpressionSyntax f)
    {
        if (model == null) return null;
        try
        {
            if (model.GetTypeInfo(f).ConvertedType is not INamedTypeSymbol { TypeKind: TypeKind.Delegate }) return null;
            if (model.GetSymbolInfo(f).Symbol is not IMethodSymbol method) return null;
            if (f.ExpressionBody is ThrowExpressionSyntax) return false;
            if (method.ReturnsVoid) return false;
            if (method.ReturnType.TypeKind == TypeKind.Error) return null;
            if (method.IsAsync && method.ReturnType is INamedTypeSymbol { IsGenericType: false, Name: "Task" or "ValueTask" })
                return false;
            return true;
        }
        catch (Exception)
        {
            return null;
        }
    }

    void TopLevel(StatementSyntax s)
    {
        if (topLevel_ == 0)
        {
            topLevel_ = ++functionsSeen_;
            topFirst_ = Line(s.SpanStart);
        }
        topLast_ = Line(s.Span.End);
        var saved = (function_, functionName_);
        (function_, functionName_) = (topLevel_, "<top-level statements>");
        Statement(s, inSequence: true);
        (function_, functionName_) = saved;
    }

    // ---- statements ----

    void Statements(BlockSyntax block)
    {
        foreach (StatementSyntax s in block.Statements) Statement(s, inSequence: true);
    }

    // A probe before s; s becomes a block when it is not one of a sequence
    // of statements (the body of an if, a loop, an else). With spansLines,
    // the further lines that s's own text begins count with it.
    void StatementSite(StatementSyntax s, bool inSequence, bool spansLines = false)
    {
        int at = s.SpanStart;
        Site site = NewSite(Line(at), at);
        List<int> later = spansLines ? LaterLines(s) : [];
        if (!inSequence)
        {
            // The block stays when another site takes the first line, since the later lines' probes go before s too.
            List<Edit> wrap = later.Count > 0 ? structure_ : site.Edits;
            wrap.Add(new Edit(at, 0, EditOrder.Open, "{ "));
            wrap.Add(new Edit(s.Span.End, 0, EditOrder.Close, " }"));
        }
        site.Edits.Add(new Edit(at, 0, EditOrder.Probe, Probe(site.Line)));
        foreach (int line in later) NewSite(line, at).Edits.Add(new Edit(at, 0, EditOrder.Probe, Probe(line)));
    }

    // A statement or expression over several lines counts, each time it is
    // entered, every further line that its own text begins: not the text of
    // a statement, lambda, switch section or switch expression arm inside
    // it, nor a brace. coverlet counts every line that a statement's
    // sequence point spans, gcov the lines where its code runs.
    List<int> LaterLines(SyntaxNode node)
    {
        int first = Line(node.SpanStart);
        var lines = new SortedSet<int>();
        foreach (SyntaxToken t in node.DescendantTokens(n => n == node || !Nested(n)))
        {
            int line = Line(t.SpanStart);
            if (line == first || t.Kind() is SyntaxKind.OpenBraceToken or SyntaxKind.CloseBraceToken) continue;
            int lineStart = tree.GetText().Lines[line - 1].Start;
            if (string.IsNullOrWhiteSpace(text_[lineStart..t.SpanStart])) lines.Add(line);
        }
        return [.. lines];
    }

    static bool Nested(SyntaxNode n) =>
        n is StatementSyntax or ElseClauseSyntax or CatchClauseSyntax or FinallyClauseSyntax or SwitchSectionSyntax
          or AnonymousFunctionExpressionSyntax or SwitchExpressionArmSyntax;

    void Statement(StatementSyntax? s, bool inSequence)
    {
        switch (s)
        {
            case null:
            case EmptyStatementSyntax:
                return;
            case BlockSyntax block:
                Statements(block);
                return;
            case LocalFunctionStatementSyntax local:
                Function(local, local.Body, local.ExpressionBody, local.Identifier,
                         (functionName_.Length > 0 ? functionName_ + "::" : "") + local.Identifier.ValueText +
                             Parameters(local.ParameterList),
                         returns: !IsVoid(local.ReturnType, local.Modifiers), wrapGet: false);
                return;
            case LocalDeclarationStatementSyntax decl:
                if (!decl.IsConst && decl.Declaration.Variables.Any(v => v.Initializer != null)) StatementSite(s, inSequence, spansLines: true);
                Expressions(decl);
                return;
            case IfStatementSyntax i:
                StatementSite(s, inSequence, spansLines: true);
                Walk(i.Condition);
                Statement(i.Statement, false);
                Statement(i.Else?.Statement, false);
                return;
            case SwitchStatementSyntax sw:
                StatementSite(s, inSequence, spansLines: true);
                Walk(sw.Expression);
                foreach (SwitchSectionSyntax section in sw.Sections) Section(section);
                return;
            case WhileStatementSyntax w:
                Loop(s, w.Condition, inSequence);
                Walk(w.Condition);
                Statement(w.Statement, false);
                return;
            case DoStatementSyntax d:
                if (Constant(d.Condition) == null) ConditionSite(s, d.Condition);
                Statement(d.Statement, false);
                Walk(d.Condition);
                return;
            case ForStatementSyntax f:
                For(f, inSequence);
                return;
            case CommonForEachStatementSyntax fe:
                ForEach(fe, inSequence);
                return;
            case TryStatementSyntax t:
                Statements(t.Block);
                foreach (CatchClauseSyntax c in t.Catches) ClauseEntry(c.Block, c.CatchKeyword);
                if (t.Finally != null) ClauseEntry(t.Finally.Block, t.Finally.FinallyKeyword);
                return;
            case LabeledStatementSyntax label:
                Label(label);
                return;
            case CheckedStatementSyntax c:
                Statements(c.Block);
                return;
            case UnsafeStatementSyntax u:
                Statements(u.Block);
                return;
            case UsingStatementSyntax or LockStatementSyntax or FixedStatementSyntax:
                StatementSite(s, inSequence, spansLines: true);
                Expressions(s, skipStatements: true);
                Statement(s switch
                {
                    UsingStatementSyntax us => us.Statement,
                    LockStatementSyntax ls => ls.Statement,
                    FixedStatementSyntax fs => fs.Statement,
                    _ => null,
                }, false);
                return;
            default:
                // Expressions, return, throw, yield, break, continue, goto.
                StatementSite(s, inSequence, spansLines: true);
                Expressions(s);
                return;
        }
    }

    // A switch section counts the line of its first label, before its first
    // statement: every jump to one of its labels passes it once.
    void Section(SwitchSectionSyntax section)
    {
        if (section.Statements.Count > 0)
        {
            int at = section.Labels[0].SpanStart;
            Site site = NewSite(Line(at), at);
            site.Edits.Add(new Edit(section.Statements[0].SpanStart, 0, EditOrder.Probe, Probe(site.Line)));
        }
        foreach (SwitchLabelSyntax label in section.Labels) Expressions(label);
        foreach (StatementSyntax s in section.Statements) Statement(s, inSequence: true);
    }

    // A label counts its own line, before the statement that it (and any
    // labels that follow it directly) lead to.
    void Label(LabeledStatementSyntax label)
    {
        StatementSyntax target = label.Statement;
        while (target is LabeledStatementSyntax inner) target = inner.Statement;
        int at = label.SpanStart;
        Site site = NewSite(Line(at), at);
        site.Edits.Add(new Edit(target.SpanStart, 0, EditOrder.Probe, Probe(site.Line)));
        Statement(target, inSequence: true);
    }

    // A catch or finally block counts the line of its keyword on entry.
    void ClauseEntry(BlockSyntax block, SyntaxToken keyword)
    {
        int line = Line(keyword.SpanStart);
        NewSite(line, keyword.SpanStart).Edits.Add(new Edit(block.OpenBraceToken.Span.End, 0, EditOrder.Probe, Probe(line)));
        Statements(block);
    }

    // ---- loops ----

    // A constant condition stays constant (the compiler's reachability rests
    // on it): a loop on "true" counts its entries only; one on "false" never
    // runs its body and is counted as a statement.
    void Loop(StatementSyntax loop, ExpressionSyntax condition, bool inSequence)
    {
        if (Constant(condition) != null) StatementSite(loop, inSequence);
        else ConditionSite(loop, condition);
    }

    // "cond" becomes "probe && (cond)": it counts every evaluation, which is
    // each entry into the loop plus each further iteration.
    void ConditionSite(StatementSyntax loop, ExpressionSyntax condition)
    {
        int at = condition.SpanStart;
        int line = Line(at);
        Site site = NewSite(line, Line(loop.SpanStart) == line ? loop.SpanStart : at);
        site.Edits.Add(new Edit(at, 0, EditOrder.Probe, ConditionProbe(line)));
        site.Edits.Add(new Edit(condition.Span.End, 0, EditOrder.Close, ")"));
    }

    void For(ForStatementSyntax f, bool inSequence)
    {
        int forLine = Line(f.SpanStart);
        bool hasInit = f.Declaration != null || f.Initializers.Count > 0;
        ExpressionSyntax? cond = f.Condition;
        if (cond != null && Constant(cond) == null)
        {
            ConditionSite(f, cond);
            // An initialisation on a line of its own counts entries there, an
            // increment on a line of its own each increment.
            if (hasInit && Line(cond.SpanStart) != forLine) StatementSite(f, inSequence);
            if (f.Incrementors.Count > 0 && Line(f.Incrementors[0].SpanStart) != Line(cond.SpanStart))
                IncrementSite(f.Incrementors[0], null);
        }
        else
        {
            // No condition that runs: entries before the loop, and further
            // iterations in the increment.
            StatementSite(f, inSequence);
            if (f.Incrementors.Count > 0)
            {
                Site entry = sites_[^1];
                IncrementSite(f.Incrementors[0], Line(f.Incrementors[0].SpanStart) == forLine ? entry : null);
            }
        }
        Expressions(f, skipStatements: true);
        Statement(f.Statement, false);
    }

    void IncrementSite(ExpressionSyntax first, Site? into)
    {
        int at = first.SpanStart;
        Site site = into ?? NewSite(Line(at), at);
        site.Edits.Add(new Edit(at, 0, EditOrder.Probe, ListProbe(site.Line)));
    }

    // A foreach counts its line on entry and at the start of every iteration.
    void ForEach(CommonForEachStatementSyntax fe, bool inSequence)
    {
        StatementSite(fe, inSequence);
        Site site = sites_[^1];
        if (fe.Statement is BlockSyntax body)
        {
            site.Edits.Add(new Edit(body.OpenBraceToken.Span.End, 0, EditOrder.Probe, Probe(site.Line)));
        }
        else
        {
            site.Edits.Add(new Edit(fe.Statement.SpanStart, 0, EditOrder.Open, "{ "));
            site.Edits.Add(new Edit(fe.Statement.SpanStart, 0, EditOrder.Probe, Probe(site.Line)));
            site.Edits.Add(new Edit(fe.Statement.Span.End, 0, EditOrder.Close, " }"));
        }
        Walk(fe.Expression);
        Statement(fe.Statement, false);
    }

    // The value of a constant condition, or null.
    object? Constant(ExpressionSyntax condition)
    {
        ExpressionSyntax bare = condition;
        while (bare is ParenthesizedExpressionSyntax p) bare = p.Expression;
        if (bare.IsKind(SyntaxKind.TrueLiteralExpression)) return true;
        if (bare.IsKind(SyntaxKind.FalseLiteralExpression)) return false;
        if (model == null) return null;
        try
        {
            Optional<object?> value = model.GetConstantValue(condition);
            return value.HasValue ? value.Value ?? false : null;
        }
        catch (Exception)
        {
            return null;
        }
    }

    // ---- expressions: only lambdas and anonymous methods hold statements ----

    void Walk(SyntaxNode node)
    {
        if (node is AnonymousFunctionExpressionSyntax f) Lambda(f);
        else Expressions(node);
    }

    void Expressions(SyntaxNode node, SyntaxNode? skip = null, bool skipStatements = false)
    {
        foreach (SyntaxNode child in node.ChildNodes())
        {
            if (child == skip) continue;
            switch (child)
            {
                case AnonymousFunctionExpressionSyntax f:
                    Lambda(f);
                    break;
                case SwitchExpressionArmSyntax arm:
                    Arm(arm);
                    Expressions(arm);
                    break;
                case StatementSyntax when skipStatements:
                case BlockSyntax:
                case ArrowExpressionClauseSyntax when node is BaseMethodDeclarationSyntax or LocalFunctionStatementSyntax:
                    break;
                default:
                    Expressions(child);
                    break;
            }
        }
    }

    // An arm of a switch expression on a line of its own counts that line,
    // and each further line that its own text begins, each time it is
    // chosen: its expression becomes "(probe && ... true ? (expression) :
    // default!)", which has the expression's type. Arms whose expression
    // has no type of its own (null, default, a lambda, a throw) or a type
    // that a conditional cannot carry (a ref struct) stay as written.
    void Arm(SwitchExpressionArmSyntax arm)
    {
        int start = arm.SpanStart;
        int lineStart = tree.GetText().Lines.GetLineFromPosition(start).Start;
        if (Typed(arm.Expression) && string.IsNullOrWhiteSpace(text_[lineStart..start])) CountedValue(arm, arm.Expression);
    }

    // A field's or property's initialiser counts its lines each time it runs
    // (at every construction, once for a static one), as an arm's do; a
    // collection expression ("= []"), which has no type of its own, takes
    // its target's. An initialiser to the type's default value (0, false,
    // null) runs no code in an optimised build and has no probe.
    void InitializerSites(SyntaxNode counted, ExpressionSyntax value)
    {
        bool typed = Typed(value) || value is CollectionExpressionSyntax &&
                     model!.GetTypeInfo(value).ConvertedType is { IsRefLikeType: false, TypeKind: not TypeKind.Error };
        if (!typed || model!.GetConstantValue(value) is { HasValue: true, Value: var c } &&
                      (c == null || c.GetType().IsValueType && c.Equals(Activator.CreateInstance(c.GetType()))))
            return;
        CountedValue(counted, value);
    }

    // Counts the lines of counted where value is computed: "(probe && ...
    // true ? (value) : default!)", one probe per line, so that a probe
    // dropped for a line already counted leaves the rest as it was.
    void CountedValue(SyntaxNode counted, ExpressionSyntax value)
    {
        structure_.Add(new Edit(value.SpanStart, 0, EditOrder.Open, "("));
        foreach (int line in LaterLines(counted).Prepend(Line(counted.SpanStart)))
            NewSite(line, counted.SpanStart).Edits.Add(new Edit(value.SpanStart, 0, EditOrder.Probe,
                $"global::mirt.mirt_dotnet.mirt_fn_net_cond({literal_}, {line}) && "));
        structure_.Add(new Edit(value.SpanStart, 0, EditOrder.Return, "true ? ("));
        structure_.Add(new Edit(value.Span.End, 0, EditOrder.Close, ") : default!)"));
    }

    // Whether "(c ? (e) : default!)" has e's type and converts where e
    // converts: a constant or an interpolated string may convert where a
    // value of its type cannot ("byte b = 5", a FormattableString).
    bool Typed(ExpressionSyntax e)
    {
        if (model == null || e is ThrowExpressionSyntax or AnonymousFunctionExpressionSyntax) return false;
        TypeInfo info = model.GetTypeInfo(e);
        if (info.Type is not { } type || type.IsRefLikeType || type.TypeKind == TypeKind.Error) return false;
        return info.ConvertedType is not { } target || SymbolEqualityComparer.Default.Equals(type, target) ||
               model.Compilation.ClassifyCommonConversion(type, target).IsImplicit;
    }

    // ---- #line default ----

    // The copy starts with "#line 1" naming the original, so that
    // diagnostics and stack traces name it; an original's own "#line
    // default" would go back to the copy's name and numbering, so it names
    // the original explicitly instead.
    void LineDefaults(CompilationUnitSyntax root)
    {
        foreach (SyntaxTrivia trivia in root.DescendantTrivia(descendIntoTrivia: true))
        {
            if (trivia.GetStructure() is not LineDirectiveTriviaSyntax d || !d.Line.IsKind(SyntaxKind.DefaultKeyword)) continue;
            int start = d.HashToken.SpanStart;
            structure_.Add(new Edit(start, d.Line.Span.End - start, EditOrder.Open,
                                    $"#line {Line(start) + 1} \"{probeName}\""));
        }
    }
}
