// probe_sites.cpp: walks the main file's functions and lists where probes go.
#include "tools/instrument/probe_sites.h"
#include "tools/instrument/emitted_code.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/Attr.h>
#include <clang/AST/DeclFriend.h>
#include <clang/AST/DeclCXX.h>
#include <clang/AST/DeclTemplate.h>
#include <clang/AST/ExprCXX.h>
#include <clang/AST/ExprConcepts.h>
#include <clang/AST/RecursiveASTVisitor.h>
#include <clang/AST/StmtCXX.h>
#include <clang/AST/StmtOpenMP.h>
#include <clang/Basic/Builtins.h>
#include <clang/Basic/SourceManager.h>
#include <clang/Lex/Lexer.h>
#include <llvm/ADT/SmallString.h>
#include <llvm/Support/FileSystem.h>
#include <llvm/Support/Path.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>

using namespace clang;

namespace mirt_instrument {
namespace {

// The local variables whose address a translation unit takes: gcc keeps
// them in memory and loads them where they are read.
class AddressTaken : public RecursiveASTVisitor<AddressTaken> {
public:
    std::set<const VarDecl*> variables;
    bool shouldVisitTemplateInstantiations() const { return true; }
    bool VisitUnaryOperator(UnaryOperator* u) {
        if (u->getOpcode() == UO_AddrOf)
            if (auto* ref = dyn_cast<DeclRefExpr>(u->getSubExpr()->IgnoreParens()))
                if (auto* v = dyn_cast<VarDecl>(ref->getDecl()); v && v->hasLocalStorage()) variables.insert(v);
        return true;
    }
};

// The first instantiation with a body of each function template (or member
// of a class template), by its pattern.
class Instantiations : public RecursiveASTVisitor<Instantiations> {
public:
    std::map<const FunctionDecl*, const FunctionDecl*> first;
    bool shouldVisitTemplateInstantiations() const { return true; }
    bool VisitFunctionDecl(FunctionDecl* fd) {
        if (fd->isTemplateInstantiation() && fd->doesThisDeclarationHaveABody())
            if (const FunctionDecl* pattern = fd->getTemplateInstantiationPattern()) first.emplace(pattern, fd);
        return true;
    }
};

class SiteFinder {
public:
    SiteFinder(ASTContext& context, const SiteOptions& options, std::vector<FunctionLines>* functions)
        : ctx_(context), sm_(context.getSourceManager()), lo_(context.getLangOpts()), style_(options.style),
          options_(options), main_(sm_.getMainFileID()), text_(sm_.getBufferData(main_)), functions_(functions) {
        file_ids_.push_back(main_);
        index_of_[main_] = 0;
    }

    std::vector<Site> run() {
        for (const Decl* d : ctx_.getTranslationUnitDecl()->decls()) walk_decl(d);
        return std::move(sites_);
    }

    // The files that sites name, by index: 0 is the main file.
    const std::vector<FileID>& files() const { return file_ids_; }

private:
    // ---- the files that get probes ----

    // The index of a file whose code gets probes, or -1: the main file, and
    // the project's own headers and included sources (not system headers),
    // each at its first inclusion only (the probes in its text then count
    // every inclusion).
    int file_index(FileID fid) {
        auto found = index_of_.find(fid);
        if (found != index_of_.end()) return found->second;
        int index = -1;
        const FileEntry* entry = sm_.getFileEntryForID(fid);
        if (entry && options_.headers && sm_.translateFile(entry) == fid &&
            !in_system_header(ctx_, options_, sm_.getLocForStartOfFile(fid).getRawEncoding()) &&
            (!options_.probe_file || options_.probe_file(entry->tryGetRealPathName().str()))) {
            index = static_cast<int>(file_ids_.size());
            file_ids_.push_back(fid);
        }
        index_of_[fid] = index;
        return index;
    }

    // Makes the file of d the current one while it is walked; false when
    // that file gets no probes.
    struct CurrentFile {
        FileID fid;
        llvm::StringRef text;
        int index;
    };
    bool enter_file_of(const Decl* d, CurrentFile* saved) {
        FileID fid = sm_.getFileID(sm_.getExpansionLoc(d->getLocation()));
        int index = fid.isValid() ? file_index(fid) : -1;
        if (index < 0) return false;
        *saved = {main_, text_, file_};
        if (fid != main_) {
            main_ = fid;
            text_ = sm_.getBufferData(fid);
            file_ = index;
        }
        return true;
    }
    void leave_file(const CurrentFile& saved) {
        main_ = saved.fid;
        text_ = saved.text;
        file_ = saved.index;
    }

    // ---- positions in the current file ----

    // The offset of loc in the file being walked.
    std::optional<unsigned> main_offset(SourceLocation loc) const {
        if (loc.isInvalid() || !loc.isFileID()) return std::nullopt;
        std::pair<FileID, unsigned> decomposed = sm_.getDecomposedLoc(loc);
        if (decomposed.first != main_) return std::nullopt;
        return decomposed.second;
    }

    // Where text can go before the code that starts at loc: the location
    // itself, or the start of the macro use when the code is the first thing
    // that macro expands to.
    std::optional<unsigned> begin_offset(SourceLocation loc) const {
        if (loc.isMacroID()) {
            SourceLocation start;
            if (!Lexer::isAtStartOfMacroExpansion(loc, sm_, lo_, &start)) return std::nullopt;
            loc = start;
        }
        return main_offset(loc);
    }

    // The offset just past a statement, including the semicolon that ends it.
    std::optional<unsigned> end_offset(const Stmt* s) const {
        const Stmt* last = s;
        for (;;) {
            if (auto* i = dyn_cast<IfStmt>(last)) last = i->getElse() ? i->getElse() : i->getThen();
            else if (auto* w = dyn_cast<WhileStmt>(last)) last = w->getBody();
            else if (auto* f = dyn_cast<ForStmt>(last)) last = f->getBody();
            else if (auto* r = dyn_cast<CXXForRangeStmt>(last)) last = r->getBody();
            else if (auto* sw = dyn_cast<SwitchStmt>(last)) last = sw->getBody();
            else if (auto* c = dyn_cast<SwitchCase>(last)) last = c->getSubStmt();
            else if (auto* l = dyn_cast<LabelStmt>(last)) last = l->getSubStmt();
            else if (auto* a = dyn_cast<AttributedStmt>(last)) last = a->getSubStmt();
            else break;
            if (!last) return std::nullopt;
        }
        SourceLocation end = last->getEndLoc();
        if (end.isMacroID()) {
            SourceLocation macro_end;
            SourceLocation semicolon;
            if (!Lexer::isAtEndOfMacroExpansion(end, sm_, lo_, &macro_end) &&
                (!(semicolon = own_semicolon(end)).isValid() ||
                 !Lexer::isAtEndOfMacroExpansion(semicolon, sm_, lo_, &macro_end)))
                return std::nullopt;
            end = macro_end;
        }
        if (!main_offset(end)) return std::nullopt;
        SourceLocation after = Lexer::getLocForEndOfToken(end, 0, sm_, lo_);
        bool own_end = isa<CompoundStmt>(last) || isa<CXXTryStmt>(last) || isa<DeclStmt>(last) ||
                       isa<NullStmt>(last);
        if (!own_end) {
            SourceLocation semi = Lexer::findLocationAfterToken(end, tok::semi, sm_, lo_, false);
            if (semi.isValid()) after = semi;
        }
        return main_offset(after);
    }

    // "BUMP();" with "#define BUMP() n++;": the ';' that the macro's text
    // puts after a statement ending at end, where the macro spells it
    // (an invalid location when no ';' follows there).
    SourceLocation own_semicolon(SourceLocation end) const {
        if (!end.isMacroID() || sm_.isMacroArgExpansion(end)) return {};
        SourceLocation spelled = sm_.getSpellingLoc(end);
        llvm::Optional<Token> next = Lexer::findNextToken(spelled, sm_, lo_);
        if (!next || !next->is(tok::semi) || sm_.getFileID(next->getLocation()) != sm_.getFileID(spelled)) return {};
        return end.getLocWithOffset(static_cast<int>(sm_.getFileOffset(next->getLocation()) - sm_.getFileOffset(spelled)));
    }

    int line_at(unsigned offset) const { return static_cast<int>(sm_.getLineNumber(main_, offset)); }

    // Whether only blanks stand before offset on its line.
    bool first_on_line(unsigned offset) const {
        size_t pos = offset;
        while (pos > 0 && (text_[pos - 1] == ' ' || text_[pos - 1] == '\t')) --pos;
        return pos == 0 || text_[pos - 1] == '\n';
    }

    // A statement that a loop pragma (OpenMP, unroll, ivdep, clang loop)
    // governs must follow the pragma directly: nothing goes between them.
    bool governed_by_pragma(unsigned offset) const {
        if (!first_on_line(offset)) return false;
        size_t pos = offset;
        while (pos > 0 && (text_[pos - 1] == ' ' || text_[pos - 1] == '\t')) --pos;
        // The previous line that holds anything.
        while (pos > 0) {
            size_t end = pos - 1;  // the line feed that ends the previous line
            size_t start = text_.rfind('\n', end == 0 ? 0 : end - 1);
            start = (start == llvm::StringRef::npos || end == 0) ? 0 : start + 1;
            llvm::StringRef line = text_.slice(start, end).trim();
            if (line.empty()) {
                pos = start;
                continue;
            }
            if (!line.startswith("#")) return false;
            line = line.drop_front(1).ltrim();
            if (!line.startswith("pragma")) return false;
            for (const char* word : {"omp", "unroll", "ivdep", "loop", "acc", "simd", "vector"})
                if (line.contains(word)) return true;
            return false;
        }
        return false;
    }

    // ---- sites ----

    Site new_site(int line, unsigned anchor) const {
        Site site;
        site.file = file_;
        site.line = line;
        site.anchor = anchor;
        site.guarded = guarded_;
        site.function = function_;
        return site;
    }

    bool counting_lines() const { return style_ != ProbeStyle::function; }

    // Adds to site a probe before statement s, which becomes a block when it
    // is not one of a sequence of statements (the body of an if, a loop or a
    // label). False when no text can go there.
    bool probe_before(Site& site, const Stmt* s, bool in_sequence) const {
        std::optional<unsigned> begin = begin_offset(s->getBeginLoc());
        if (!begin) return false;
        if (!in_sequence) {
            std::optional<unsigned> end = end_offset(s);
            if (!end) return false;
            site.wraps.push_back({*begin, *end});
        }
        // In C a probe before a declaration is a declaration itself: C89
        // and -Wdeclaration-after-statement want no statement there.
        bool declaration = !lo_.CPlusPlus && in_sequence && isa<DeclStmt>(s);
        site.probes.push_back({declaration ? Probe::declaration : Probe::statement, *begin});
        return true;
    }

    // The line where statement s starts is counted before s (or the line
    // where its code starts, below).
    void statement_site(const Stmt* s, bool in_sequence) {
        if (!counting_lines()) return;
        std::optional<unsigned> begin = begin_offset(s->getBeginLoc());
        if (!begin || governed_by_pragma(*begin)) return;
        int line = line_at(*begin);
        if (std::optional<int> later = code_line(s, line)) line = *later;
        Site site = new_site(line, *begin);
        if (!probe_before(site, s, in_sequence)) return;
        if (s == follow_.target) {
            site.follows = follow_.base;
            follow_.counted = true;
        }
        sites_.push_back(std::move(site));
        if (counting_lines() && s->getBeginLoc().isMacroID()) statement_end_alias(s, *begin, line);
        if (auto* r = dyn_cast<ReturnStmt>(s)) return_end_alias(r, *begin, line);
        placed_value_aliases(s, *begin, line);
    }

    // gcc places the code inside a statement's value where that code
    // stands, and gcov counts those lines with the statement: "x = p->a\n
    // + q->b;" loads q->b on the second line, "p->n\n    += 1;" stores on
    // it. The outermost operation of a value stored runs with the store,
    // wherever it is written (not so a returned value's, nor a compound
    // assignment's operand). For a number or a pointer without calls
    // (assigned, initialised, returned or tested), and for the place an
    // assignment stores to, those lines count what the statement's line
    // counts.
    void placed_value_aliases(const Stmt* s, unsigned anchor, int line) {
        // In a template, what a statement's value is (a number, a call)
        // depends on the arguments: an instantiation tells.
        if (const Stmt* made = instantiated(s)) s = made;
        const Expr* value = nullptr;
        std::map<int, unsigned> places;
        // A local aggregate's braced elements ("struct S s = {\n    .a = p->x,
        // ...}", an array's, a compound literal's) are stored one by one,
        // each where its value's code stands; g++ ends the list where its
        // brace closes.
        const Expr* stored = nullptr;
        auto* ds = dyn_cast<DeclStmt>(s);
        if (auto* v = ds && ds->isSingleDecl() ? dyn_cast<VarDecl>(ds->getSingleDecl()) : nullptr;
            v && v->hasLocalStorage() && v->getInitStyle() == VarDecl::CInit && !v->getType()->isScalarType())
            stored = v->getInit();
        else if (auto* b = dyn_cast<BinaryOperator>(s); b && b->getOpcode() == BO_Assign)
            if (auto* literal = dyn_cast<CompoundLiteralExpr>(b->getRHS()->IgnoreImplicit()))
                stored = literal->getInitializer();
        if (auto* list = stored ? dyn_cast<InitListExpr>(stored->IgnoreImplicit()) : nullptr) {
            if (list->isTypeDependent() || list->isValueDependent()) return;
            placed_elements(list, places);
            if (lo_.CPlusPlus && ds && !places.empty())
                place_at(list->getRBraceLoc(), places);
            add_aliases(places, anchor, line);
            return;
        }
        if (ds) {
            auto* v = ds->isSingleDecl() ? dyn_cast<VarDecl>(ds->getSingleDecl()) : nullptr;
            // "auto x = [&] {\n    ...\n}();": the lambda is called where its
            // parentheses stand (a line of its own: the declaration's line
            // counts the lambda's entries too).
            auto* call = v && v->hasLocalStorage() && v->getInit()
                             ? dyn_cast<CXXOperatorCallExpr>(without_copies(v->getInit()))
                             : nullptr;
            if (calls_lambda(call)) {
                std::optional<unsigned> called = main_offset(sm_.getExpansionLoc(call->getOperatorLoc()));
                if (called) operand_site(v->getInit(), line, false, line_at(*called));
                return;
            }
            if (v && v->hasLocalStorage() && v->getInitStyle() == VarDecl::CInit && v->getType()->isScalarType())
                value = v->getInit();
            if (value) placed_code(value, true, places);
            // The store stands where the initialiser starts.
            const Expr* bare = value ? value->IgnoreParenImpCasts() : nullptr;
            auto* logical = dyn_cast_or_null<BinaryOperator>(bare);
            if (bare && !isa<ConditionalOperator>(bare) && !(logical && logical->isLogicalOp()) &&
                !isa<DeclRefExpr>(bare) && !constant_value(value))
                place_at(value->getBeginLoc(), places);
            // gcc's C stores what ?: chose where the declarator stands, calls
            // in the arms or not.
            auto* chosen = dyn_cast_or_null<ConditionalOperator>(bare);
            std::optional<unsigned> name = v ? main_offset(v->getLocation()) : std::nullopt;
            if (chosen && name && !lo_.CPlusPlus && !constant_arms(chosen) && !min_or_max(chosen))
                add_aliases({{line_at(*name), *name}}, anchor, line);
        } else if (auto* r = dyn_cast<ReturnStmt>(s)) {
            value = r->getRetValue();
            if (value) placed_code(value, false, places);
        } else if (auto* i = dyn_cast<IfStmt>(s); i && !i->getConditionVariable() && !i->getInit()) {
            // The test stands where it starts, its operands' code where that
            // is ("if (p->a\n    > p->b)"); tests joined by && and || have
            // rules of their own.
            value = i->getCond();
            auto* compare = dyn_cast<BinaryOperator>(value->IgnoreParenImpCasts());
            if (compare && compare->isLogicalOp()) return;
            // g++ ends a block after a call: a comparison of its result
            // stands where its operator does ("if (f(x)\n    < 4)").
            if (lo_.CPlusPlus && compare && compare->isComparisonOp() && calls_something(compare->getLHS()) &&
                !calls_something(compare->getRHS())) {
                place_at(compare->getOperatorLoc(), places);
                add_aliases(places, anchor, line);
                return;
            }
            placed_test(value, places);
        } else if (auto* b = dyn_cast<BinaryOperator>(s); b && b->isAssignmentOp()) {
            value = b;
            placed_code(b->getLHS(), !b->isCompoundAssignmentOp(), places);
            // "p->q->r\n    = f();": the place stored to is worked out where
            // it is written, whatever the value runs; and "p->n =\n    f();"
            // stores where its "=" stands, after the call, unless it stores
            // into a local variable that is no more than a register (the call
            // stores its value there itself).
            if (calls_something(b->getRHS()) && !calls_something(b->getLHS()) && b->getType()->isScalarType()) {
                auto* ref = dyn_cast<DeclRefExpr>(b->getLHS()->IgnoreParens());
                auto* v = ref ? dyn_cast<VarDecl>(ref->getDecl()) : nullptr;
                bool in_register = v && v->hasLocalStorage() && !v->getType()->isReferenceType() && !in_memory(ref);
                if (b->isCompoundAssignmentOp() || !in_register)
                    place_at(b->getOperatorLoc(), places);
                add_aliases(places, anchor, line);
                return;
            }
            // "*slot(k) =\n    ip - base;": a call finds the place, so the
            // value is worked out apart from the store, where it is written.
            if (calls_something(b->getLHS()) && !calls_something(b->getRHS()) && b->getType()->isScalarType() &&
                !b->isTypeDependent() && !b->isValueDependent()) {
                std::map<int, unsigned> worked_out;
                placed_code(b->getRHS(), false, worked_out);
                add_aliases(worked_out, anchor, line);
                return;
            }
            bool adds = b->getOpcode() == BO_AddAssign || b->getOpcode() == BO_SubAssign;
            placed_code(b->getRHS(), !b->isCompoundAssignmentOp() || (adds && adds_constant(b->getRHS())), places);
            place_at(b->getOperatorLoc(), places);
        }
        if (!value || value->isTypeDependent() || value->isValueDependent() || !value->getType()->isScalarType() ||
            calls_something(value))
            return;
        add_aliases(places, anchor, line);
    }
    static bool constructs_objects(const InitListExpr* list) {
        for (const Expr* element : list->inits()) {
            if (!element) continue;
            const Expr* bare = element->IgnoreImplicit();
            if (auto* inner = dyn_cast<InitListExpr>(bare); inner && constructs_objects(inner)) return true;
            if (auto* made = dyn_cast<CXXConstructExpr>(bare); made && !made->getConstructor()->isTrivial())
                return true;
        }
        return false;
    }
    void placed_elements(const InitListExpr* list, std::map<int, unsigned>& places) const {
        for (const Expr* element : list->inits()) {
            if (!element || isa<ImplicitValueInitExpr>(element)) continue;
            if (auto* inner = dyn_cast<InitListExpr>(element->IgnoreImplicit())) {
                placed_elements(inner, places);
                continue;
            }
            // Objects with constructors are made otherwise.
            if (!element->getType()->isScalarType() || element->isTypeDependent()) continue;
            placed_code(element, false, places);
            // g++ places a conversion of an element where it stands.
            auto* cast = dyn_cast<ImplicitCastExpr>(element->IgnoreParens());
            if (lo_.CPlusPlus && cast && cast->getCastKind() != CK_LValueToRValue && cast->getCastKind() != CK_NoOp &&
                !constant_value(element))
                place_at(element->getBeginLoc(), places);
        }
    }
    // Sites for the lines found but the statement's own: they count what the
    // site at anchor counts.
    void add_aliases(const std::map<int, unsigned>& places, unsigned anchor, int line) {
        for (auto [at_line, offset] : places) {
            if (at_line == line) continue;
            Site alias = new_site(at_line, offset);
            alias.same_as = anchor;
            sites_.push_back(std::move(alias));
        }
    }

    // "return f(a,\n    b);": g++ places the return itself (the value's
    // store and the jump to the function's end) at the last token of the
    // value (gcc, for C, at its first), and gcov counts that line each time
    // the statement runs, whatever stands there ("b);", "2};", "\"def\";").
    // The line map lets it count what the statement's line counts. A choice
    // ("c ?\n    1 :\n    0") is placed by its arms' rules instead, unless its
    // last arm only reads a variable (no code of its own there).
    void return_end_alias(const ReturnStmt* r, unsigned anchor, int line) {
        const Expr* value = r->getRetValue();
        auto* choice = value ? dyn_cast<AbstractConditionalOperator>(value->IgnoreParenImpCasts()) : nullptr;
        if (!lo_.CPlusPlus || !value || (choice && !loaded_alone(choice->getFalseExpr()))) return;
        alias_at_end(expr_end(value), anchor, line);
    }

    // The line where the code that ends at end (the byte after it) ends, past
    // line: it counts what the site at anchor counts, without a probe.
    void alias_at_end(std::optional<unsigned> end, unsigned anchor, int line) {
        if (!end || *end == 0 || line_at(*end - 1) <= line) return;
        Site alias = new_site(line_at(*end - 1), *end - 1);
        alias.same_as = anchor;
        sites_.push_back(std::move(alias));
    }

    // ---- straight code ----

    // Whether control that starts statement s always leaves it at its end,
    // once, with nothing on the way that may throw, end the process, jump
    // elsewhere or wait for ever: declarations of locals and expressions made
    // of operators, constants, names and calls that can only return (see
    // returns_plainly), and ifs and switches of such code (a switch's breaks
    // lead to its end). What follows s then runs as often as s does (a fault
    // that a signal handler leaves by longjmp aside, as with gcov's blocks).
    // Code whose meaning depends on a template's arguments may call anything.
    // in_switch: a break leads to the end of the switch being looked at;
    // in_loop: a continue leads back to the condition of the loop whose body
    // is being looked at (see loop_condition_counts).
    bool falls_through(const Stmt* s, bool in_switch = false, bool in_loop = false) {
        if (!s || isa<NullStmt>(s)) return true;
        if (auto* ds = dyn_cast<DeclStmt>(s)) {
            // A variably modified type computes its sizes where it is
            // declared; a destructor or a cleanup function runs where the
            // variable's block ends.
            for (const Decl* d : ds->decls()) {
                if (auto* t = dyn_cast<TypedefNameDecl>(d)) {
                    if (t->getUnderlyingType()->isVariablyModifiedType()) return false;
                    continue;
                }
                auto* v = dyn_cast<VarDecl>(d);
                if (!v || !v->hasLocalStorage() || v->getType()->isDependentType() ||
                    v->getType()->isVariablyModifiedType() || v->getType().isDestructedType() ||
                    v->hasAttr<CleanupAttr>() || (v->getInit() && !plain_code(v->getInit())))
                    return false;
            }
            return true;
        }
        if (auto* block = dyn_cast<CompoundStmt>(s)) {
            for (const Stmt* child : block->body())
                if (!falls_through(child, in_switch, in_loop)) return false;
            return true;
        }
        if (auto* i = dyn_cast<IfStmt>(s))
            return !i->isConstexpr() && !i->getInit() && !i->getConditionVariable() && plain_code(i->getCond()) &&
                   falls_through(i->getThen(), in_switch, in_loop) && falls_through(i->getElse(), in_switch, in_loop);
        if (auto* sw = dyn_cast<SwitchStmt>(s))
            return !sw->getInit() && !sw->getConditionVariable() && plain_code(sw->getCond()) &&
                   falls_through(sw->getBody(), true, in_loop);
        if (auto* c = dyn_cast<SwitchCase>(s)) return in_switch && falls_through(c->getSubStmt(), in_switch, in_loop);
        if (isa<BreakStmt>(s)) return in_switch;
        if (isa<ContinueStmt>(s)) return in_loop;
        if (auto* a = dyn_cast<AttributedStmt>(s)) return falls_through(a->getSubStmt(), in_switch, in_loop);
        // do { ... } while (0): the shape of many macros.
        if (auto* d = dyn_cast<DoStmt>(s)) {
            const Expr* cond = d->getCond()->IgnoreParenImpCasts();
            auto* number = dyn_cast<IntegerLiteral>(cond);
            auto* boolean = dyn_cast<CXXBoolLiteralExpr>(cond);
            return ((number && number->getValue() == 0) || (boolean && !boolean->getValue())) &&
                   falls_through(d->getBody());
        }
        return isa<Expr>(s) && plain_code(s);
    }

    bool plain_code(const Stmt* e) {
        if (!e) return true;
        if (auto* x = dyn_cast<Expr>(e); x && x->isInstantiationDependent()) return false;
        if (isa<CXXNewExpr>(e) || isa<CXXDeleteExpr>(e) || isa<CXXThrowExpr>(e) || isa<CXXDynamicCastExpr>(e) ||
            isa<CXXTypeidExpr>(e) || isa<StmtExpr>(e) || isa<LambdaExpr>(e) || isa<BlockExpr>(e) ||
            isa<CoroutineSuspendExpr>(e) || isa<ExprWithCleanups>(e) || isa<CXXBindTemporaryExpr>(e) ||
            isa<AtomicExpr>(e) || isa<PseudoObjectExpr>(e) || isa<CXXInheritedCtorInitExpr>(e))
            return false;
        if (auto* call = dyn_cast<CallExpr>(e)) {
            auto* method = dyn_cast_or_null<CXXMethodDecl>(call->getDirectCallee());
            if ((method && method->isVirtual()) || !returns_plainly(call->getDirectCallee())) return false;
        }
        if (auto* c = dyn_cast<CXXConstructExpr>(e); c && !c->getConstructor()->isTrivial() &&
                                                      !returns_plainly(c->getConstructor()))
            return false;
        if (auto* d = dyn_cast<CXXDefaultArgExpr>(e)) return plain_code(d->getExpr());
        if (auto* d = dyn_cast<CXXDefaultInitExpr>(e)) return plain_code(d->getExpr());
        // A thread's own variable made at its first use may run a constructor there.
        if (auto* ref = dyn_cast<DeclRefExpr>(e))
            if (auto* v = dyn_cast<VarDecl>(ref->getDecl()); v && v->getTLSKind() == VarDecl::TLS_Dynamic) return false;
        // sizeof and alignof run nothing, unless of a type whose size is computed.
        if (auto* u = dyn_cast<UnaryExprOrTypeTraitExpr>(e)) return !u->getTypeOfArgument()->isVariablyModifiedType();
        for (const Stmt* child : e->children())
            if (child && !plain_code(child)) return false;
        return true;
    }

    // Whether a call of f can only return: f is a built-in that only
    // computes, or is defined in this translation unit with a body of
    // straight code (above; no loop, which might not end) and returns. So
    // are accessors, the standard containers' operator[] and size(),
    // std::move and the like; a function that calls anything else (which may
    // throw, exit or longjmp), or itself, is not. Each function is looked at
    // once, and the answer depends on the function alone, so that every
    // object built from a header decides alike.
    bool returns_plainly(const FunctionDecl* f) {
        if (!f) return false;
        switch (f->getBuiltinID()) {
        case 0: break;
        case Builtin::BI__builtin_expect:
        case Builtin::BI__builtin_unreachable:
        case Builtin::BI__builtin_is_constant_evaluated:
        case Builtin::BI__builtin_addressof:
        case Builtin::BI__builtin_constant_p: return true;
        default: return false;
        }
        // Another definition may take the place of one that is weak, or that
        // other objects can see and that is not inline in C++ (a shared
        // library's function may be interposed; C's inline functions have an
        // external definition elsewhere): only this one's body is known.
        const FunctionDecl* definition = nullptr;
        const Stmt* body = f->getBody(definition);
        if (!body || !definition || definition->isVariadic() || definition->isWeak() ||
            (definition->isExternallyVisible() &&
             !(lo_.CPlusPlus && (definition->isInlined() || definition->isTemplateInstantiation()))))
            return false;
        // A chain of calls deeper than this is not followed; what was looked
        // at on the way is not kept, so that the answer for each function
        // stays the same whichever call reached it first.
        constexpr int deepest = 64;
        if (plain_depth_ >= deepest) {
            plain_cut_ = true;
            return false;
        }
        auto [known, added] = plain_functions_.emplace(definition, false);  // false while being looked at
        if (!added) return known->second;
        bool outer_cut = plain_cut_;
        plain_cut_ = false;
        ++plain_depth_;
        bool plain = straight_body(body);
        if (auto* ctor = dyn_cast<CXXConstructorDecl>(definition))
            for (const CXXCtorInitializer* init : ctor->inits())
                plain = plain && plain_code(init->getInit());
        --plain_depth_;
        bool cut = plain_cut_;
        if (cut) plain_functions_.erase(definition);
        else plain_functions_[definition] = plain;
        plain_cut_ = outer_cut || cut;
        return plain;
    }

    // A function's body of straight code, which may return anywhere.
    bool straight_body(const Stmt* s) {
        if (!s) return true;
        if (auto* r = dyn_cast<ReturnStmt>(s)) return plain_code(r->getRetValue());
        if (auto* block = dyn_cast<CompoundStmt>(s)) {
            for (const Stmt* child : block->body())
                if (!straight_body(child)) return false;
            return true;
        }
        if (auto* i = dyn_cast<IfStmt>(s))
            return !i->getInit() && !i->getConditionVariable() && plain_code(i->getCond()) &&
                   straight_body(i->getThen()) && straight_body(i->getElse());
        return falls_through(s);
    }

    // A loop whose condition is evaluated once at each arrival and once
    // after each round: nothing leaves its body but its end or a continue,
    // and its condition (and a for's initialisation and increment) can only
    // return. The condition's site then counts what the site before the
    // loop (arrivals: the for's own site, or the one that the loop follows)
    // and its body's first site count together, and select_sites may leave
    // it without a counter.
    void loop_condition_counts(unsigned evaluations, unsigned arrivals, const Expr* cond, const Stmt* body) {
        if (!evaluations || !arrivals || !plain_code(cond) || !falls_through(body, false, true)) return;
        unsigned rounds = entry_anchor(body);
        if (!rounds) return;
        if (Site* site = counting_site(evaluations)) {
            site->arrivals = arrivals;
            site->rounds = rounds;
        }
    }
    // The site of this file that counts at anchor (no branch, no alias),
    // made a moment ago: looked for from the end. Null when there is none.
    Site* counting_site(unsigned anchor) {
        auto found = std::find_if(sites_.rbegin(), sites_.rend(), [&](const Site& site) {
            return !site.branch && site.file == file_ && site.anchor == anchor && site.same_as == 0;
        });
        return found == sites_.rend() ? nullptr : &*found;
    }

    // Whether a preprocessor directive stands between two offsets. Objects
    // built from one source with other macros defined (-D) run other code
    // there; one count for both lines would hold in some builds only, and
    // the line map, which serves them all, must hold in every one.
    bool directive_between(unsigned from, unsigned to) const {
        for (size_t at = text_.find('\n', from); at != llvm::StringRef::npos && at < to; at = text_.find('\n', at + 1)) {
            size_t next = at + 1;
            while (next < text_.size() && (text_[next] == ' ' || text_[next] == '\t')) ++next;
            if (next < to && next < text_.size() && text_[next] == '#') return true;
        }
        return false;
    }

    // The statements of a block in turn. Where control can only pass from
    // one statement's site to the next one's (the first falls through, and
    // the second is no label, which jumps reach), the second site follows
    // the first, and select_sites may leave it without a counter. A label's
    // site counts every arrival, so the statement under it follows it.
    // entry: the anchor of the function's entry site when nothing runs
    // between it and the first statement; 0 otherwise.
    void walk_block(const CompoundStmt* block, unsigned entry) {
        Follow saved = follow_;
        unsigned base = entry;
        for (auto it = block->body_begin(); it != block->body_end(); ++it) {
            const Stmt* child = *it;
            const Stmt* target = child;
            if (std::next(it) != block->body_end()) merge_empty_case(child, *std::next(it));
            if (is_label(child)) {
                std::vector<LabelPlace> places = label_places(child);
                base = places.empty() || merged_cases_.count(child) ? 0 : places.back().anchor;
                while (target && is_label(target)) target = sub_of_label(target);
            }
            // A macro's statement is counted before the macro's use.
            std::optional<unsigned> at = target ? begin_offset(target->getBeginLoc()) : std::nullopt;
            if (at && base && directive_between(base, *at)) base = 0;
            follow_ = {target, at ? base : 0, false};
            walk(child, true);
            if (!target || !falls_through(target)) base = 0;
            else if (follow_.counted) base = *at;
        }
        follow_ = saved;
    }

    // ---- the end of a macro's statement ----

    // A statement that a macro's use starts and that is an if whose
    // condition declares an object with a destructor ("EXPECT_EQ(a,\n
    // f(b));" in googletest: "switch (0) case 0: default: if (const
    // AssertionResult r = ...) ; else ..."): the object is destroyed where the
    // statement ends, and gcov counts that line each time the statement runs.
    // The line map lets the end's line count what the statement's line counts.
    void statement_end_alias(const Stmt* s, unsigned anchor, int line) {
        const Stmt* inner = s;
        while (inner) {
            if (auto* sw = dyn_cast<SwitchStmt>(inner)) inner = sw->getBody();
            else if (auto* c = dyn_cast<CaseStmt>(inner)) inner = c->getSubStmt();
            else if (auto* d = dyn_cast<DefaultStmt>(inner)) inner = d->getSubStmt();
            else break;
        }
        auto* i = dyn_cast_or_null<IfStmt>(inner);
        const VarDecl* v = i ? i->getConditionVariable() : nullptr;
        const CXXRecordDecl* type = v ? v->getType()->getAsCXXRecordDecl() : nullptr;
        if (!type || !type->hasDefinition() || !type->hasNonTrivialDestructor()) return;
        alias_at_end(end_offset(s), anchor, line);
    }

    // A statement whose first line only names what its later lines compute
    // runs its code there, and gcov counts only those lines: "T name =\n
    // call();", "name =\n    call();" (the initialiser or right operand runs
    // code), and "T name(\n    args);" (the constructor's call is placed at
    // its closing parenthesis). The statement's probe then counts that line,
    // and the operand stays without a probe of its own (it would count twice).
    //
    // Templates differ, as gcc places their code: an object of a class copied
    // from its initialiser is made, call and all, on the declaration's line;
    // and in "return first()\n    << more" the first call runs on the line of
    // the first operator that begins a line.
    std::optional<int> code_line(const Stmt* s, int first) {
        const Expr* later = nullptr;
        std::optional<unsigned> at;
        if (auto* ds = dyn_cast<DeclStmt>(s)) {
            auto* v = ds->isSingleDecl() ? dyn_cast<VarDecl>(ds->getSingleDecl()) : nullptr;
            const Expr* init = v ? v->getInit() : nullptr;
            // "T all[] = {\n    {1, \"a\"},\n};" with objects that constructors
            // make: g++ makes them where the list closes.
            if (auto* list = init && lo_.CPlusPlus && v->hasLocalStorage() && !v->isConstexpr()
                                 ? dyn_cast<InitListExpr>(init->IgnoreImplicit())
                                 : nullptr;
                list && constructs_objects(list)) {
                std::optional<unsigned> close = main_offset(sm_.getExpansionLoc(list->getRBraceLoc()));
                return close && line_at(*close) > first ? std::optional<int>(line_at(*close)) : std::nullopt;
            }
            if (!init || v->getType()->isArrayType() || v->isConstexpr()) return {};
            // "static T x =\n    f();": the test whether it was made runs where
            // the initialiser ends ("static T x = f(a,\n    b);", "static T
            // x(\n    a);", "static T x = [] {\n ...\n}();" on their last
            // line), its making where its code stands: a call's that starts
            // an earlier line counts there once (operators placed at their
            // end, where an operand has code there; not a lambda's call).
            auto* construct = dyn_cast<CXXConstructExpr>(init->IgnoreImplicit());
            if (v->isStaticLocal() && (runs_code(init) || (construct && !construct->getConstructor()->isTrivial()))) {
                std::optional<unsigned> end;
                if (v->getInitStyle() == VarDecl::CInit)
                    end = expr_end(init);
                else if (v->getInitStyle() == VarDecl::CallInit && construct &&
                         construct->getParenOrBraceRange().isValid())
                    end = main_offset(construct->getParenOrBraceRange().getEnd());
                if (!end) return {};
                int test_line = line_at(*end - 1);
                std::optional<int> made = v->getInitStyle() == VarDecl::CInit ? making_line(init) : std::nullopt;
                if (made && *made < test_line) operand_site(init, 0);
                return test_line > first ? std::optional<int>(test_line) : std::nullopt;
            }
            if (v->hasGlobalStorage()) return {};
            if (v->getInitStyle() == VarDecl::CInit) {
                // "bool ok =\n    (a || b) &&\n    c;" without calls (or "?:" with
                // a comparison): the value is stored where the declaration
                // stands, and the test starts its own line.
                const Expr* bare = init->IgnoreParenImpCasts();
                auto* logical = dyn_cast<BinaryOperator>(bare);
                auto* choice = dyn_cast<ConditionalOperator>(bare);
                bool tested = choice && !isa<DeclRefExpr>(choice->getCond()->IgnoreParenImpCasts());
                if (!runs_code(init) && ((logical && logical->isLogicalOp()) || tested)) {
                    operand_site(init, first);
                    return {};
                }
                if (std::optional<unsigned> chosen = choice_at(init)) {
                    at = chosen;
                    if (line_at(*at) <= first) return {};
                    return line_at(*at);
                }
            }
            if (v->getInitStyle() == VarDecl::CInit && runs_code(init)) {
                if (in_template_ && !v->getType()->isScalarType() && !v->getType()->isReferenceType()) {
                    counted_by_statement_.insert(init);
                    return {};
                }
                later = init;
                at = code_start(init);
                if (std::optional<unsigned> end = value_at_end(init, first)) at = end;
            } else if (v->getInitStyle() == VarDecl::CallInit) {
                if (construct && construct->getParenOrBraceRange().isValid())
                    at = main_offset(construct->getParenOrBraceRange().getEnd());
            }
        } else if (auto* e = dyn_cast<Expr>(s)) {
            e = e->IgnoreImplicit();
            if (auto* b = dyn_cast<BinaryOperator>(e); b && b->isAssignmentOp()) later = b->getRHS();
            if (auto* op = dyn_cast<CXXOperatorCallExpr>(e); op && op->isAssignmentOp() && op->getNumArgs() == 2)
                later = op->getArg(1);
            if (later && !runs_code(later)) later = nullptr;
            // "x =\n    f() + 1;": unless the value is a call's (which stores
            // it itself), the store stands where the "=" does, and the code
            // that computes the value starts its own line.
            if (auto* b = dyn_cast<BinaryOperator>(e); later && b && b->getOpcode() == BO_Assign &&
                                                       !isa<CallExpr>(later->IgnoreParenImpCasts()) &&
                                                       !isa<CXXNewExpr>(later->IgnoreParenImpCasts())) {
                operand_site(later, first);
                return {};
            }
            if (later) at = code_start(later);
            // "p->n\n    = 0;": the store stands where the "=" does; the
            // first line has code only where the place stored to is worked
            // out (placed_value_aliases).
            if (auto* b = dyn_cast<BinaryOperator>(e);
                !later && b && b->getOpcode() == BO_Assign && b->getType()->isScalarType() && !calls_something(b)) {
                std::map<int, unsigned> places;
                placed_code(b->getLHS(), true, places);
                if (!places.count(first)) at = main_offset(sm_.getExpansionLoc(b->getOperatorLoc()));
            }
            if (!later && !at && in_template_) at = first_continued_operator(e);
            // "out << \"a\"\n    << x;" with operators that are not members:
            // the statement runs on its last line, unless its first line
            // has code of its own.
            if (!later && !at) at = value_at_end(e, first);
            if (!later && !at) at = after_object_alone(e, first);
            // "out << \"a \"\n    \"b\";": the first call of the chain, and with
            // it the statement's code, starts on the line of the last piece.
            if (!later && !at) {
                const CXXOperatorCallExpr* first_call = nullptr;
                for (const Expr* chain = without_copies(e); auto* op = dyn_cast<CXXOperatorCallExpr>(chain);
                     chain = without_copies(op->getArg(0))) {
                    if (!op->isInfixBinaryOp() || op->getNumArgs() != 2) break;
                    first_call = op;
                }
                if (first_call && !runs_code(first_call->getArg(0)))
                    if ((at = split_literal_end(first_call->getArg(1)))) later = first_call->getArg(1);
            }
        } else if (auto* r = dyn_cast<ReturnStmt>(s); r && r->getRetValue()) {
            if (in_template_) at = first_continued_operator(r->getRetValue());
            if (!at) at = new_initialiser_end(r->getRetValue());
            if (!at) at = choice_at(r->getRetValue());
            if (!at) at = value_at_end(r->getRetValue(), first);
            // "return (\n    a && b);": a line with only the keyword (and a
            // parenthesis) holds no code; the value's first line does. In
            // C++ not a conversion to a number either ("return
            // static_cast<long>(\n    x * 2);"): g++ converts with the return.
            const Expr* value = r->getRetValue()->IgnoreParenImpCasts();
            while (auto* cast = lo_.CPlusPlus ? dyn_cast<ExplicitCastExpr>(value) : nullptr) {
                if (!cast->getType()->isScalarType() || !cast->getSubExpr()->getType()->isScalarType()) break;
                value = cast->getSubExpr()->IgnoreParenImpCasts();
            }
            if (!at) at = code_start(value);
        }
        if (!at || line_at(*at) <= first) return {};
        if (later) counted_by_statement_.insert(later);
        return line_at(*at);
    }

    // "errors\n    << a << b;", "out\n    .put(c);": a first line that only
    // names the object of a member's call holds no code; the statement runs
    // where the first call's operator, "." or "->" stands.
    std::optional<unsigned> after_object_alone(const Expr* e, int first) {
        const Expr* object = nullptr;
        const Expr* counted = nullptr;
        std::optional<unsigned> at;
        for (const Expr* cur = without_copies(e);;) {
            if (auto* op = dyn_cast<CXXOperatorCallExpr>(cur);
                op && op->getNumArgs() == 2 && op->isInfixBinaryOp() &&
                (!op->getCalleeDecl() || isa<CXXMethodDecl>(op->getCalleeDecl()))) {
                object = op->getArg(0);
                counted = op->getArg(1);
                at = main_offset(op->getOperatorLoc());
            } else if (auto* call = dyn_cast<CXXMemberCallExpr>(cur)) {
                auto* member = dyn_cast<MemberExpr>(call->getCallee()->IgnoreParens());
                if (!member || member->isImplicitAccess()) return {};
                object = member->getBase();
                counted = call;
                at = main_offset(member->getOperatorLoc());
            } else {
                break;
            }
            cur = without_copies(object);
        }
        if (!object || !at || line_at(*at) <= first || runs_code(object)) return {};
        std::optional<unsigned> object_end = main_offset(object->getEndLoc());
        if (!object_end || line_at(*object_end) != first) return {};
        counted_by_statement_.insert(counted);
        return at;
    }

    // Where a value chosen by ?: is computed when its condition has no code
    // of its own and an arm has: where "?" stands (":" in C); when the condition is a
    // constant, where the chosen arm starts (gcc keeps that arm alone).
    std::optional<unsigned> choice_at(const Expr* value) {
        auto* c = dyn_cast<ConditionalOperator>(value->IgnoreParenImpCasts());
        if (!c) return {};
        const Expr* cond = c->getCond();
        bool chosen = false;
        if (!cond->isValueDependent() && !cond->isTypeDependent() && cond->EvaluateAsBooleanCondition(chosen, ctx_)) {
            const Expr* arm = chosen ? c->getTrueExpr() : c->getFalseExpr();
            counted_by_statement_.insert(c->getTrueExpr());
            counted_by_statement_.insert(c->getFalseExpr());
            return begin_offset(arm->getBeginLoc());
        }
        if (!register_test(cond) || constant_arms(c)) return {};
        if (!runs_code(c->getTrueExpr()) && !runs_code(c->getFalseExpr()) && !makes_object(c->getTrueExpr()) &&
            !makes_object(c->getFalseExpr()))
            return {};
        // gcc's C computes it at ':', but an arm that starts the line of the
        // test then has no count of its own: the statement's stays there.
        std::optional<unsigned> question = main_offset(c->getQuestionLoc());
        std::optional<unsigned> test = begin_offset(c->getBeginLoc());
        if (lo_.CPlusPlus || !question || !test || line_at(*question) == line_at(*test)) return question;
        return main_offset(c->getColonLoc());
    }
    // An arm that only reads a variable or a member of one ("c ? n.on_enter
    // :\n    node->on_exit"): gcc reads it into the result where the choice
    // is made, and its own line holds no code.
    static bool loaded_alone(const Expr* arm) {
        const Expr* e = arm->IgnoreParenImpCasts();
        while (auto* member = dyn_cast<MemberExpr>(e)) {
            if (!isa<FieldDecl>(member->getMemberDecl())) return false;
            e = member->getBase()->IgnoreParenImpCasts();
        }
        if (isa<CXXThisExpr>(e)) return e != arm->IgnoreParenImpCasts();
        auto* ref = dyn_cast<DeclRefExpr>(e);
        auto* v = ref ? dyn_cast<VarDecl>(ref->getDecl()) : nullptr;
        return v && !v->getType()->isReferenceType() && !arm->getType()->isRecordType();
    }
    // "a < b ? a : b" and the like, which gcc computes without a branch.
    static bool min_or_max(const ConditionalOperator* c) {
        auto* test = dyn_cast<BinaryOperator>(c->getCond()->IgnoreParenImpCasts());
        auto name = [](const Expr* e) -> const Decl* {
            auto* ref = dyn_cast<DeclRefExpr>(e->IgnoreParenImpCasts());
            return ref ? ref->getDecl() : nullptr;
        };
        if (!test || !test->isRelationalOp()) return false;
        const Decl* a = name(c->getTrueExpr());
        const Decl* b = name(c->getFalseExpr());
        const Decl* l = name(test->getLHS());
        const Decl* r = name(test->getRHS());
        return a && b && l && r && ((a == l && b == r) || (a == r && b == l));
    }
    bool constant_arms(const ConditionalOperator* c) const {
        return constant_value(c->getTrueExpr()) && constant_value(c->getFalseExpr());
    }
    bool constant_value(const Expr* e) const {
        return isa<StringLiteral>(e->IgnoreParenImpCasts()) ||
               (!e->isValueDependent() && !e->isTypeDependent() && e->isEvaluatable(ctx_));
    }

    // Where gcc places the code of a value that a statement computes when
    // that is where the value's expression ends: an object with a destructor
    // that a call returns, or a chain of operators placed at its end whose
    // first line has no code of its own. The operand that the chain's last
    // operator would count goes to the statement.
    std::optional<unsigned> value_at_end(const Expr* value, int first) {
        const Expr* e = without_copies(value);
        auto* op = dyn_cast<CXXOperatorCallExpr>(e);
        if (op && placed_at_end(op)) {
            if (chain_code_on_line(op, first)) return {};
        } else if (op && makes_by_operator(op)) {
            // "a +\n    b + c" making strings: the innermost operator ends
            // first and the statement runs there; the others count where
            // they end.
            while (auto* inner = dyn_cast<CXXOperatorCallExpr>(without_copies(op->getArg(0)))) {
                if (!makes_by_operator(inner)) break;
                op = inner;
            }
            if (located_code(op->getArg(0), first)) return {};
            e = op;
        } else if (auto* call = made_by_call(e) ? dyn_cast<CallExpr>(e) : nullptr) {
            std::optional<unsigned> start = begin_offset(call->getBeginLoc());
            int call_line = start ? line_at(*start) : first;
            for (const Expr* arg : call->arguments())
                if (located_code(arg, first) || located_code(arg, call_line)) return {};
            op = nullptr;
        } else if (const CXXConstructExpr* made = explicit_construction(e)) {
            // "T x = T(a,\n    b);": made at its closing parenthesis.
            for (const Expr* arg : made->arguments())
                if (located_code(arg, first)) return {};
        } else {
            return {};
        }
        std::optional<unsigned> end = main_offset(e->getEndLoc());
        if (end && line_at(*end) > first && op && op->getNumArgs() == 2) counted_by_statement_.insert(op->getArg(1));
        return end;
    }
    // The construction that e writes out ("T(a, b)"), if it is one.
    static const CXXConstructExpr* explicit_construction(const Expr* e) {
        if (auto* cast = dyn_cast<CXXFunctionalCastExpr>(e)) {
            const Expr* sub = cast->getSubExpr();
            while (auto* bound = dyn_cast<CXXBindTemporaryExpr>(sub)) sub = bound->getSubExpr();
            auto* made = dyn_cast<CXXConstructExpr>(sub);
            return made && cast->getRParenLoc().isValid() ? made : nullptr;
        }
        auto* made = dyn_cast<CXXTemporaryObjectExpr>(e);
        return made && made->getParenOrBraceRange().isValid() && !made->isListInitialization() ? made : nullptr;
    }

    // An operator that is not a member and returns an object with a
    // destructor ("std::string operator+(...)"): it runs where its right
    // operand ends.
    static bool makes_by_operator(const CXXOperatorCallExpr* op) {
        return op->getNumArgs() == 2 && made_by_call(op) && !isa_and_nonnull<CXXMethodDecl>(op->getCalleeDecl());
    }

    // An overloaded binary operator that is not a member and returns no
    // object with a destructor ("std::ostream& operator<<(std::ostream&,
    // const char*)"): gcc gives its call no line of its own; it runs on the
    // line where the expression around it ends.
    static bool placed_at_end(const CXXOperatorCallExpr* op) {
        if (!op->isInfixBinaryOp() || op->getNumArgs() != 2) return false;
        const Decl* callee = op->getCalleeDecl();
        return callee && !isa<CXXMethodDecl>(callee) && !made_by_call(op);
    }
    // The operators of top's chain that are placed at its end, from the
    // outermost inwards; and whether an operand that runs code starts on
    // the given line.
    static std::vector<const CXXOperatorCallExpr*> end_chain(const CXXOperatorCallExpr* top) {
        std::vector<const CXXOperatorCallExpr*> chain;
        for (const auto* op = top; op && placed_at_end(op);
             op = dyn_cast<CXXOperatorCallExpr>(without_copies(op->getArg(0))))
            chain.push_back(op);
        return chain;
    }
    bool chain_code_on_line(const CXXOperatorCallExpr* top, int line) const {
        std::vector<const CXXOperatorCallExpr*> chain = end_chain(top);
        const Expr* object = chain.back()->getArg(0);
        if (located_code(object, line) || (starts_on(object, line) && reached_through_pointer(object))) return true;
        for (const CXXOperatorCallExpr* op : chain) {
            const Expr* operand = op->getArg(1);
            if (located_code(operand, line)) return true;
            // A member passed by reference ("out << name_"): gcc finds it
            // from this where it stands.
            if (starts_on(operand, line) && operand->isGLValue() && own_member(operand)) return true;
        }
        return false;
    }
    // e past parentheses and implicit casts; null where one of them takes
    // it as its base class.
    static const Expr* without_base_conversion(const Expr* e) {
        for (e = e->IgnoreParens(); auto* cast = dyn_cast<ImplicitCastExpr>(e); e = cast->getSubExpr()->IgnoreParens())
            if (cast->getCastKind() == CK_DerivedToBase || cast->getCastKind() == CK_UncheckedDerivedToBase)
                return nullptr;
        return e;
    }
    bool starts_on(const Expr* e, int line) const {
        std::optional<unsigned> at = begin_offset(e->getBeginLoc());
        return at && line_at(*at) == line;
    }
    // The object of an operator chain found through a pointer that gcc
    // computes where the object stands ("out" in a member function,
    // "p->sub", "items[1]", "*holder.to"): its line has code. An object of
    // the function's own frame ("local.sub") has none, nor one behind a
    // variable that holds its address ("*p"), nor one taken as its base
    // class (a stream's "text << ...": gcc places that with the call).
    static bool reached_through_pointer(const Expr* e) {
        e = without_base_conversion(e);
        if (!e) return false;
        if (auto* member = dyn_cast<MemberExpr>(e)) return member->isArrow() || reached_through_pointer(member->getBase());
        if (isa<ArraySubscriptExpr>(e)) return true;
        auto* u = dyn_cast<UnaryOperator>(e);
        if (!u || u->getOpcode() != UO_Deref) return false;
        const Expr* pointer = u->getSubExpr()->IgnoreParenImpCasts();
        return isa<MemberExpr>(pointer) || isa<ArraySubscriptExpr>(pointer);
    }
    // A data member of the object the function runs on ("name_", "this->name_").
    static bool own_member(const Expr* e) {
        e = without_base_conversion(e);
        auto* member = dyn_cast_or_null<MemberExpr>(e);
        return member && isa<FieldDecl>(member->getMemberDecl()) &&
               isa<CXXThisExpr>(member->getBase()->IgnoreParenImpCasts());
    }
    // Whether an argument that starts on the given line has code that gcc
    // places there: the argument itself is placed with its call, but what
    // it is made of keeps its place, and so does the object of a member
    // call that is a call itself ("out << f(x) << \"a\"" where f(x) makes
    // an object, "a() + b()", "out.get()->put(c)").
    bool located_code(const Expr* e, int line) const {
        if (!starts_on(e, line)) return false;
        const Expr* bare = e->IgnoreImplicit();
        auto* op = dyn_cast<CXXOperatorCallExpr>(bare);
        if (op && placed_at_end(op)) return located_code(op->getArg(0), line) || located_code(op->getArg(1), line);
        // A choice ("(a ? b : c)", "a && b") branches where it stands.
        const Expr* choice = e->IgnoreParenImpCasts();
        if (isa<ConditionalOperator>(choice) || (isa<BinaryOperator>(choice) && cast<BinaryOperator>(choice)->isLogicalOp()))
            return true;
        const CallExpr* call = call_without_line(e);
        if (!call) return runs_code(e) || makes_object(e);
        const Expr* object = nullptr;
        if (auto* member = dyn_cast<CXXMemberCallExpr>(call)) object = member->getImplicitObjectArgument();
        else if (auto* member_op = dyn_cast<CXXOperatorCallExpr>(call); member_op && member_op->getNumArgs() > 0)
            object = member_op->getArg(0);
        if (object) {
            std::optional<unsigned> object_at = begin_offset(object->getBeginLoc());
            // Operators placed at their end run where the last of them ends
            // ("out << \"a\"\n    << \"b\" << n": on the later line).
            const Expr* bare_object = without_copies(object)->IgnoreParenCasts();
            auto* object_op = dyn_cast<CXXOperatorCallExpr>(bare_object);
            bool object_is_call = isa<CallExpr>(bare_object);
            if (object_op && placed_at_end(object_op)) {
                std::optional<unsigned> end = expr_end(object_op);
                if ((end && *end > 0 && line_at(*end - 1) == line) || chain_code_on_line(object_op, line)) return true;
            } else if (object_is_call ? object_at && line_at(*object_at) == line && runs_code(object)
                                      : located_code(object, line)) {
                return true;
            }
        }
        for (const Expr* arg : call->arguments())
            if (arg != object && located_code(arg, line)) return true;
        return false;
    }

    // An object with a destructor that a call returns ("std::string s =\n
    // f(a,\n    b);", or its operator's call): gcc makes it, call and
    // arguments, where the call ends. The call, if e is one.
    static const Expr* made_by_call(const Expr* e) {
        e = without_copies(e);
        auto* call = dyn_cast<CallExpr>(e);
        const CXXRecordDecl* type = e->getType()->getAsCXXRecordDecl();
        if (!call || !call->isPRValue() || !type || !type->hasDefinition() || !type->hasNonTrivialDestructor())
            return nullptr;
        return call;
    }

    // The line where a static local's making starts, where its code stands
    // there: a call's, or operators' with an operand that has code there.
    std::optional<int> making_line(const Expr* init) const {
        auto* call = dyn_cast<CallExpr>(without_copies(init));
        std::optional<unsigned> start = call ? begin_offset(call->getBeginLoc()) : std::nullopt;
        if (!start) return {};
        int line = line_at(*start);
        auto* op = dyn_cast<CXXOperatorCallExpr>(call);
        bool there = !op || (placed_at_end(op) ? chain_code_on_line(op, line)
                                               : !calls_lambda(op) && made_by_call(op) &&
                                                     std::any_of(op->arg_begin(), op->arg_end(), [&](const Expr* arg) {
                                                         return located_code(arg, line);
                                                     }));
        return there ? std::optional<int>(line) : std::nullopt;
    }
    // "[&] { ... }()": a lambda called where it is written.
    static bool calls_lambda(const CXXOperatorCallExpr* op) {
        return op && op->getOperator() == OO_Call && isa<LambdaExpr>(op->getArg(0)->IgnoreImplicit());
    }

    // Where gcc places the code of an operand: "new T(a,\n    b)" all of it at
    // the parenthesis that closes its initialiser, anything else where it starts.
    std::optional<unsigned> code_start(const Expr* e) const {
        if (std::optional<unsigned> end = new_initialiser_end(e)) return end;
        return begin_offset(e->getBeginLoc());
    }
    std::optional<unsigned> new_initialiser_end(const Expr* e) const {
        auto* made = dyn_cast<CXXNewExpr>(e->IgnoreParenImpCasts());
        if (!made || made->getInitializationStyle() != CXXNewExpr::CallInit) return {};
        return main_offset(made->getDirectInitRange().getEnd());
    }

    // Where the first overloaded binary operator of e's chain that begins a
    // line of its own stands ("a()\n    << b\n    << c": the first "<<").
    std::optional<unsigned> first_continued_operator(const Expr* e) const {
        std::optional<unsigned> found;
        e = without_copies(e);
        // A value returned from an operator that gives a reference is copied.
        if (auto* copy = dyn_cast<CXXConstructExpr>(e); copy && copy->getNumArgs() == 1)
            e = without_copies(copy->getArg(0));
        while (auto* op = dyn_cast<CXXOperatorCallExpr>(e)) {
            if (!op->isInfixBinaryOp() || op->getNumArgs() != 2) break;
            if (continued_operand(op)) found = main_offset(op->getOperatorLoc());
            e = without_copies(op->getArg(0));
        }
        return found;
    }

    // A label (case, default or goto target) counts the line it starts. Case
    // labels that follow one another with no statement between them lead to
    // one place: the probe goes after the last of them and counts the first
    // one's line, so that every jump to one of them and the fall-through from
    // above pass it once. A goto target has a line of its own, as gcov counts
    // it: cases just before it count there ("case 3:\n lab:"), and a case
    // after it counts on its own line what falls into it from the target and
    // what jumps to it ("lab:\n case 6:").
    void label_site(const Stmt* label, bool in_sequence) {
        if (!counting_lines() || chained_labels_.count(label)) return;
        if (!main_offset(label->getBeginLoc())) {
            macro_case_site(label);
            return;
        }
        for (const Stmt* next = sub_of_label(label); next && is_label(next); next = sub_of_label(next))
            chained_labels_.insert(next);
        if (merged_cases_.count(label)) return;
        std::vector<LabelPlace> places = label_places(label);
        for (size_t k = 0; k < places.size(); ++k) {
            Site site = new_site(places[k].line, places[k].anchor);
            if (!probe_before(site, places[k].before, k + 1 < places.size() || in_sequence)) continue;
            sites_.push_back(std::move(site));
            auto carried = carried_lines_.find(label);
            if (k == 0 && carried != carried_lines_.end() && carried->second.first != places[k].line) {
                Site alias = new_site(carried->second.first, carried->second.second);
                alias.same_as = places[k].anchor;
                sites_.push_back(std::move(alias));
            }
        }
    }

    // "case 4: [[fallthrough]];" (or an empty statement) and then another
    // case: gcc makes one block of the two labels, whose line is the first
    // one's. That line counts every arrival at the next case, which counts
    // them on its own line too; the lines of empty cases between the two
    // have no code.
    void merge_empty_case(const Stmt* label, const Stmt* next) {
        if (!counting_lines() || !isa<SwitchCase>(label) || !isa<SwitchCase>(next)) return;
        const Stmt* s = label;
        while (s && isa<SwitchCase>(s)) s = sub_of_label(s);
        std::optional<unsigned> at = main_offset(label->getBeginLoc());
        if (!s || !(isa<NullStmt>(s) || is_attribute_alone(s)) || !at) return;
        merged_cases_.insert(label);
        auto carried = carried_lines_.find(label);
        carried_lines_[next] = carried != carried_lines_.end() ? carried->second : std::make_pair(line_at(*at), *at);
    }
    // The places that a chain of labels counts: the line, the anchor of the
    // site, and the statement (or label) before which its probe goes.
    struct LabelPlace {
        int line;
        unsigned anchor;
        const Stmt* before;
    };
    std::vector<LabelPlace> label_places(const Stmt* label) const {
        std::vector<LabelPlace> places;
        std::optional<unsigned> begin = main_offset(label->getBeginLoc());
        if (!begin) return places;
        int line = line_at(*begin);
        unsigned anchor = *begin;
        bool target_seen = isa<LabelStmt>(label);
        const Stmt* next = sub_of_label(label);
        for (; next && is_label(next); next = sub_of_label(next)) {
            std::optional<unsigned> at = main_offset(next->getBeginLoc());
            if (!at) continue;
            bool target = isa<LabelStmt>(next);
            if (!target && !target_seen) continue;
            if (target && !target_seen) {
                line = line_at(*at);
                anchor = *at;
                target_seen = true;
                continue;
            }
            // A place of its own: what came before counts up to here.
            places.push_back({line, anchor, next});
            line = line_at(*at);
            anchor = *at;
            target_seen = target;
        }
        if (next) places.push_back({line, anchor, next});
        return places;
    }

    // A case that a macro's use writes, label and statements ("XX(POST, 1,
    // 'U', PUT)" with "#define XX(m, p, c, n) case ...: method = n; break;")
    // counts on the use's line, as gcov counts it: in a copy of the macro,
    // after the label's colon (a jump to it and a fall into it pass there).
    // Not where the statements stand outside the macro, which count there,
    // nor in a use that writes more than one case.
    void macro_case_site(const Stmt* label) {
        auto* c = dyn_cast<SwitchCase>(label);
        const Stmt* target = c ? c->getSubStmt() : nullptr;
        if (!target || main_offset(target->getBeginLoc())) return;
        SourceLocation colon = c->getColonLoc();
        if (!colon.isMacroID() || sm_.isMacroArgExpansion(colon)) return;
        std::optional<unsigned> use = main_offset(sm_.getExpansionRange(colon).getBegin());
        if (!use) return;
        if (!cases_in_uses_.insert(*use).second) {  // a second case: none of them counts
            sites_.erase(std::remove_if(sites_.begin(), sites_.end(),
                                        [&](const Site& site) {
                                            return site.file == file_ && site.probes.size() == 1 &&
                                                   site.probes[0].form == Probe::macro_copy &&
                                                   site.probes[0].offset == *use && !site.function_entry;
                                        }),
                         sites_.end());
            return;
        }
        std::pair<FileID, unsigned> spelled = sm_.getDecomposedLoc(sm_.getSpellingLoc(colon));
        if (sm_.getBufferData(spelled.first).substr(spelled.second, 1) == ":")
            macro_copy_site(colon, spelled.second + 1, 0, false, 1, "", false);
    }

    static bool is_label(const Stmt* s) { return isa<SwitchCase>(s) || isa<LabelStmt>(s); }
    // "[[fallthrough]];" and the like: an attribute on nothing, no code.
    static bool is_attribute_alone(const Stmt* s) {
        auto* a = dyn_cast<AttributedStmt>(s);
        return a && (!a->getSubStmt() || isa<NullStmt>(a->getSubStmt()));
    }
    // "(void)x;": a cast to void of something without effects, no code.
    bool is_void_cast_alone(const Stmt* s) const {
        auto* cast = dyn_cast<ExplicitCastExpr>(s);
        return cast && cast->getType()->isVoidType() && !cast->getSubExpr()->HasSideEffects(ctx_);
    }
    static const Stmt* sub_of_label(const Stmt* s) {
        if (auto* c = dyn_cast<SwitchCase>(s)) return c->getSubStmt();
        if (auto* l = dyn_cast<LabelStmt>(s)) return l->getSubStmt();
        return nullptr;
    }

    // A C++11 constexpr function's only statement ("return v;"): the body
    // holds nothing else that runs (static_assert, type names).
    static const ReturnStmt* only_return(const Stmt* body) {
        auto* block = dyn_cast_or_null<CompoundStmt>(body);
        const ReturnStmt* found = nullptr;
        if (!block) return nullptr;
        for (const Stmt* s : block->body()) {
            if (auto* r = dyn_cast<ReturnStmt>(s)) {
                if (found) return nullptr;
                found = r;
            } else if (!isa<NullStmt>(s) && !isa<DeclStmt>(s)) {
                return nullptr;
            }
        }
        const Expr* value = found ? found->getRetValue() : nullptr;
        return value && !isa<InitListExpr>(value->IgnoreImplicit()) ? found : nullptr;
    }
    // Its entry: "return count, v;", the count guarded against evaluation at
    // compile time; the line where the return runs, below the function's,
    // counts the same way.
    void returned_entry_site(const ReturnStmt* r, int line, unsigned anchor) {
        std::optional<unsigned> value = main_offset(r->getRetValue()->getBeginLoc());
        std::optional<unsigned> at = main_offset(r->getBeginLoc());
        if (!value || !at) return;
        Site site = new_site(line, anchor);
        site.function_entry = true;
        site.probes.push_back({Probe::prefix, *value});
        sites_.push_back(std::move(site));
        int runs = line_at(*at);
        if (std::optional<int> later = code_line(r, runs)) runs = *later;
        if (runs > line && counting_lines()) {
            Site own = new_site(runs, *at);
            own.probes.push_back({Probe::prefix, *value});
            sites_.push_back(std::move(own));
        }
    }

    // A probe as the first statement of a block, counting the given line.
    void block_entry_site(const CompoundStmt* block, int line, unsigned anchor, bool function_entry) {
        std::optional<unsigned> brace = main_offset(block->getLBracLoc());
        if (!brace) return;
        Site site = new_site(line, anchor);
        site.function_entry = function_entry;
        bool declaration = !lo_.CPlusPlus && !block->body_empty() && isa<DeclStmt>(block->body_front());
        site.probes.push_back({declaration ? Probe::declaration : Probe::statement, *brace + 1});
        sites_.push_back(std::move(site));
    }

    // "while (m\n    < 3)": a loop's test that ends on a later line than
    // from runs there (0 where it does not); the first line then counts the
    // loop's entries, or every evaluation where the first test has code
    // there (evaluated_on).
    int test_line(const Expr* cond, int from) const {
        std::optional<unsigned> jump = first_jump(cond);
        return from && jump && line_at(*jump) > from ? line_at(*jump) : 0;
    }
    bool evaluated_on(const Expr* cond, int line) const {
        const Expr* first = first_test(cond);
        return starts_on(first, line) && runs_code(first);
    }
    // A count of line that is what the condition's site at evaluations
    // counts, derived from arrivals and rounds as it may be.
    void evaluations_alias(unsigned evaluations, int line, unsigned anchor) {
        const Site* site = counting_site(evaluations);
        Site alias = new_site(line, anchor);
        alias.same_as = site && site->rounds ? site->arrivals : evaluations;
        alias.rounds = site ? site->rounds : 0;
        sites_.push_back(std::move(alias));
    }
    // The first test of a condition: the left operand of its first && or
    // ||, or the condition itself. gcc jumps after it where that operator
    // stands, or where the test ends.
    static const BinaryOperator* first_logical(const Expr* cond) {
        const BinaryOperator* innermost = nullptr;
        for (auto* b = dyn_cast<BinaryOperator>(cond->IgnoreParenImpCasts()); b && b->isLogicalOp();
             b = dyn_cast<BinaryOperator>(b->getLHS()->IgnoreParenImpCasts()))
            innermost = b;
        return innermost;
    }
    static const Expr* first_test(const Expr* cond) {
        const BinaryOperator* logical = first_logical(cond);
        return (logical ? logical->getLHS() : cond)->IgnoreParenImpCasts();
    }
    std::optional<unsigned> first_jump(const Expr* cond) const {
        if (const BinaryOperator* logical = first_logical(cond)) return main_offset(logical->getOperatorLoc());
        std::optional<unsigned> end = expr_end(first_test(cond));
        return end && *end > 0 ? std::optional<unsigned>(*end - 1) : std::nullopt;
    }
    // A probe inside a loop condition: it counts every evaluation, which is
    // each entry into the loop plus each further iteration.
    // Its anchor, 0 when it has none.
    // jump_line: where gcc places the condition's test and jump when that
    // is not where the condition starts (a while loop's, below).
    unsigned condition_site(const Stmt* loop, const Expr* cond, int jump_line = 0) {
        if (!counting_lines()) return 0;
        std::optional<unsigned> at = begin_offset(cond->getBeginLoc());
        std::optional<unsigned> loop_begin = main_offset(loop->getBeginLoc());
        if (!at) return 0;
        int line = std::max(line_at(*at), jump_line);
        unsigned anchor = (loop_begin && line_at(*loop_begin) == line) ? *loop_begin : *at;
        Site site = new_site(line, anchor);
        site.probes.push_back({Probe::prefix, *at});
        sites_.push_back(std::move(site));
        return anchor;
    }

    // The end of expression e in the current file (after its last token, or
    // after the macro use that it ends).
    std::optional<unsigned> expr_end(const Expr* e) const {
        SourceLocation end = e->getEndLoc();
        if (end.isMacroID()) {
            SourceLocation macro_end;
            if (!Lexer::isAtEndOfMacroExpansion(end, sm_, lo_, &macro_end)) return std::nullopt;
            end = macro_end;
        }
        if (!main_offset(end)) return std::nullopt;
        return main_offset(Lexer::getLocForEndOfToken(end, 0, sm_, lo_));
    }

    // A part of an expression that starts a line of its own and may run or
    // not (an operand of && or ||, an arm of ?:, an argument that calls) is
    // counted on that line each time it runs: the operand becomes
    // "(probe, operand)". from_line is where the whole expression starts.
    // constants: the operand is an argument of an operator's call, whose
    // parameter takes a constant as it takes "(probe, constant)".
    // line: the line counted, when it is not the one where op begins (a
    // member call counts where its "." or "->" begins a line).
    void operand_site(const Expr* op, int from_line, bool constants = false, int line = 0) {
        if (!counting_lines() || constant_context_ || !op || counted_by_statement_.count(op)) return;
        const Expr* bare = op->IgnoreParenImpCasts();
        // Forms that a comma would change: braced lists, throw in ?:, packs,
        // names of overloaded functions, arguments nobody wrote.
        if (isa<InitListExpr>(bare) || isa<CXXThrowExpr>(bare) || isa<PackExpansionExpr>(bare) ||
            isa<OverloadExpr>(bare) || isa<CXXDefaultArgExpr>(bare) || isa<DesignatedInitExpr>(bare))
            return;
        if (auto* ref = dyn_cast<DeclRefExpr>(bare))
            if (isa<FunctionDecl>(ref->getDecl())) return;
        if (!wrappable(op)) return;
        // A constant runs no code, and a comma would make it no constant
        // (the compiler's checks of conversions treat the two apart).
        if (!constants && !op->isValueDependent() && !op->isTypeDependent() && op->isEvaluatable(ctx_)) return;
        wrapped_site(op, Probe::operand, from_line, line);
    }

    // A site whose probe goes around op (operand, null_pointer), on op's
    // line or the line given, when that comes after from_line.
    void wrapped_site(const Expr* op, Probe::Form form, int from_line, int line) {
        std::optional<unsigned> begin = begin_offset(op->getBeginLoc());
        std::optional<unsigned> end = expr_end(op);
        if (!begin || !end || *end <= *begin) return;
        // The null pointer form keeps the operand in a comment.
        if (form == Probe::null_pointer && text_.slice(*begin, *end).contains('/')) return;
        if (line == 0) line = line_at(*begin);
        if (line <= from_line) return;
        Site site = new_site(line, *begin);
        Probe p{form, *begin};
        p.end = *end;
        site.probes.push_back(p);
        sites_.push_back(std::move(site));
    }

    // A pointer member stored from a null pointer constant ("next_(0)",
    // "parent_(NULL)") counts on the member's line as any other stored
    // constant: the constant becomes "(probe, nullptr)", which C++11 makes a
    // null pointer of any type; the constant stays, in a comment.
    void null_pointer_site(const Expr* op, int from_line, int line) {
        if (lo_.CPlusPlus11 && counting_lines() && !constant_context_)
            wrapped_site(op, Probe::null_pointer, from_line, line);
    }

    // Whether "(probe, e)" means what e means: not where e is a null pointer
    // constant that becomes a pointer (a literal 0 beside a pointer in ?:),
    // which a comma would turn into a plain integer; nullptr stays one.
    bool wrappable(const Expr* e) const {
        QualType type = e->getType();
        if (!type->isAnyPointerType() && !type->isMemberPointerType() && !type->isNullPtrType() &&
            !type->isBlockPointerType())
            return true;
        const Expr* bare = e->IgnoreParenImpCasts();
        if (isa<CXXNullPtrLiteralExpr>(bare)) return true;  // "(probe, nullptr)" is still one
        if (bare->isValueDependent() || bare->isTypeDependent()) return !isa<IntegerLiteral>(bare);
        return bare->isNullPointerConstant(ctx_, Expr::NPC_ValueDependentIsNotNull) == Expr::NPCK_NotNull;
    }

    // ---- branches ----

    bool counting_branches() const { return options_.branches && counting_lines() && !constant_context_; }

    // The expression that decides a condition, past parentheses, implicit
    // conversions and "!".
    static const Expr* decider(const Expr* e) {
        for (;;) {
            e = e->IgnoreParenImpCasts();
            auto* u = dyn_cast<UnaryOperator>(e);
            if (!u || u->getOpcode() != UO_LNot) return e;
            e = u->getSubExpr();
        }
    }
    static bool is_logical(const Expr* e) {
        auto* b = dyn_cast<BinaryOperator>(decider(e));
        return b && b->isLogicalOp();
    }

    Site branch_site(unsigned anchor, const std::string& kind, std::vector<std::string> outcomes) const {
        Site site = new_site(line_at(anchor), anchor);
        site.branch = true;
        site.kind = kind;
        site.outcomes = std::move(outcomes);
        return site;
    }

    // A condition's two outcomes: "((cond) ? (true counted, true) : (false
    // counted, false))". The operands of && and || count for themselves.
    // sources: where the line counts give the outcomes (see OutcomeSource).
    void decision_site(const Expr* cond, const std::string& kind, std::vector<OutcomeSource> sources = {}) {
        if (!counting_branches() || !cond) return;
        if (is_logical(cond)) {
            last_operand_sources(cond, sources);
            return;
        }
        std::optional<unsigned> begin = begin_offset(cond->getBeginLoc());
        std::optional<unsigned> end = expr_end(cond);
        if (!begin || !end || *end <= *begin) return;
        Site site = branch_site(*begin, kind, {"true", "false"});
        Probe p{Probe::decision, *begin};
        p.end = *end;
        site.probes.push_back(p);
        site.sources = std::move(sources);
        if (auto found = operand_sources_.find({file_, *begin});
            found != operand_sources_.end() && site.sources.empty()) {
            site.sources = found->second;
            operand_sources_.erase(found);
        }
        decision_at_.emplace(std::make_pair(file_, *begin), sites_.size());  // the first made there
        sites_.push_back(std::move(site));
    }

    // The last operand of a condition decides it one way: "a && b" is true
    // where b is, "a || b" false where b is. That outcome of the operand
    // comes from where the condition's does (its sources), whether the
    // operand's site is made before the condition's sources are known or
    // after.
    void last_operand_sources(const Expr* cond, const std::vector<OutcomeSource>& sources) {
        auto* b = dyn_cast<BinaryOperator>(cond->IgnoreParenImpCasts());
        if (!b || !b->isLogicalOp() || is_logical(b->getRHS())) return;
        size_t k = b->getOpcode() == BO_LAnd ? 0 : 1;
        std::optional<unsigned> at = begin_offset(b->getRHS()->getBeginLoc());
        if (k >= sources.size() || sources[k].plus == 0 || !at) return;
        std::vector<OutcomeSource> operand(2);
        operand[k] = sources[k];
        if (auto made = decision_at_.find({file_, *at}); made != decision_at_.end()) {
            Site& site = sites_[made->second];
            if (site.sources.empty()) site.sources = operand;
            return;
        }
        operand_sources_[{file_, *at}] = operand;
    }

    // ---- outcomes that the line counts give ----
    //
    // A branch that only its decision enters (the body of a loop, the then or
    // else of an if) counts its entries in the site of its first statement:
    // an outcome that leads there needs no counter where that site's line
    // counts nothing else (select_sites checks that). The other outcome of a
    // loop, or of an if without else, is then the decision's evaluations less
    // those entries, where a site counts the evaluations and the condition
    // cannot throw (an exception leaves by neither outcome).

    // The anchor of the site that counts the entries of branch, when only
    // the decision enters it: its first statement is one that a site counts
    // once per entry, with no label on it; 0 otherwise.
    unsigned entry_anchor(const Stmt* branch) const {
        if (auto* block = dyn_cast_or_null<CompoundStmt>(branch)) branch = block->body_empty() ? nullptr : block->body_front();
        if (!branch || !(isa<Expr>(branch) || isa<DeclStmt>(branch) || isa<ReturnStmt>(branch) ||
                         isa<IfStmt>(branch) || isa<SwitchStmt>(branch) || isa<BreakStmt>(branch) ||
                         isa<ContinueStmt>(branch) || isa<GotoStmt>(branch)))
            return 0;
        std::optional<unsigned> at = begin_offset(branch->getBeginLoc());
        return at ? *at : 0;
    }

    // Whether the evaluations of condition e may differ from the entries of
    // what holds it: e may throw (C++: a call of anything not declared
    // noexcept, new, throw, a dynamic_cast or typeid that checks), or calls
    // a function that returns twice (setjmp: the condition is evaluated again
    // after a longjmp).
    bool evaluations_may_differ(const Stmt* e) const {
        if (!e) return false;
        if (lo_.CPlusPlus &&
            (isa<CXXNewExpr>(e) || isa<CXXThrowExpr>(e) || isa<CXXDynamicCastExpr>(e) || isa<CXXTypeidExpr>(e)))
            return true;
        if (isa<LambdaExpr>(e) || isa<UnaryExprOrTypeTraitExpr>(e) || isa<CXXNoexceptExpr>(e)) return false;
        auto returns_twice = [this](const FunctionDecl* f) {
            if (!f) return false;
            unsigned builtin = f->getBuiltinID();
            if (f->hasAttr<ReturnsTwiceAttr>() || (builtin != 0 && ctx_.BuiltinInfo.isReturnsTwice(builtin)))
                return true;
            if (!f->getIdentifier()) return false;
            std::string name = f->getName().str();
            return name.find("setjmp") != std::string::npos || name == "vfork" || name == "getcontext" ||
                   name == "savectx";
        };
        auto nothrow = [this](const FunctionDecl* f) {
            if (!lo_.CPlusPlus) return true;
            if (!f) return false;
            if (f->getBuiltinID() != 0) return true;
            auto* proto = f->getType()->getAs<FunctionProtoType>();
            return proto && proto->isNothrow();
        };
        if (auto* call = dyn_cast<CallExpr>(e)) {
            const FunctionDecl* callee = call->getDirectCallee();
            if (returns_twice(callee) || !nothrow(callee)) return true;
        }
        if (auto* made = dyn_cast<CXXConstructExpr>(e); made && !nothrow(made->getConstructor())) return true;
        for (const Stmt* child : e->children())
            if (evaluations_may_differ(child)) return true;
        return false;
    }

    // The outcomes of a loop's condition: true enters the body, false is the
    // evaluations (counted at evaluations) less the entries.
    std::vector<OutcomeSource> loop_sources(const Expr* cond, const Stmt* body, unsigned evaluations) const {
        unsigned entries = entry_anchor(body);
        if (!entries) return {};
        if (!evaluations || evaluations_may_differ(cond)) return {{entries, 0}};
        return {{entries, 0}, {evaluations, entries}};
    }

    std::vector<OutcomeSource> if_sources(const IfStmt* i) const {
        unsigned then_entries = entry_anchor(i->getThen());
        if (i->getElse()) return {{then_entries, 0}, {entry_anchor(i->getElse()), 0}};
        std::optional<unsigned> statement = begin_offset(i->getBeginLoc());
        if (!then_entries || !statement || i->getInit() || evaluations_may_differ(i->getCond())) return {{then_entries, 0}};
        return {{then_entries, 0}, {*statement, then_entries}};
    }

    // The arms of ?: are counted through its condition, whose true and false
    // choose them: the arms themselves stay untouched (their constness, type
    // and value category make the type of the whole).
    void arm_sites(const ConditionalOperator* c) {
        if (!constant_condition(c->getCond())) decision_site(c->getCond(), "?:");
    }

    // Each case of a switch, counted when the switch jumps to it (not when
    // control falls into it from the case above), as gcov counts it. A
    // switch without default has one more outcome, no case taken, counted by
    // a default label added before its closing brace (see no_case_probe).
    // Not in constexpr functions, where goto is not allowed.
    void switch_sites(const SwitchStmt* sw) {
        if (!counting_branches() || guarded_) return;
        std::optional<unsigned> at = begin_offset(sw->getBeginLoc());
        if (!at) return;
        std::vector<const SwitchCase*> cases;
        for (const SwitchCase* c = sw->getSwitchCaseList(); c; c = c->getNextSwitchCase()) cases.push_back(c);
        std::sort(cases.begin(), cases.end(), [this](const SwitchCase* a, const SwitchCase* b) {
            return sm_.isBeforeInTranslationUnit(a->getBeginLoc(), b->getBeginLoc());
        });
        // A case that "[[fallthrough]];" leads into: the attribute must stay
        // right before the label, so the jump past the count goes before it.
        std::map<const Stmt*, const Stmt*> fallthrough_before;
        if (auto* body = dyn_cast_or_null<CompoundStmt>(sw->getBody())) {
            const Stmt* previous = nullptr;
            for (const Stmt* child : body->body()) {
                // "case '"': [[fallthrough]];" on one line: the attribute is
                // the statement of the label before.
                while (previous && is_label(previous)) previous = sub_of_label(previous);
                auto* a = dyn_cast_or_null<AttributedStmt>(previous);
                if (a && is_attribute_alone(a) &&
                    std::any_of(a->getAttrs().begin(), a->getAttrs().end(),
                                [](const Attr* attr) { return isa<FallThroughAttr>(attr); }))
                    fallthrough_before[child] = a;
                previous = child;
            }
        }
        Site site = branch_site(*at, "switch", {});
        for (const SwitchCase* c : cases) {
            std::optional<unsigned> begin = main_offset(c->getBeginLoc());
            std::optional<unsigned> colon = main_offset(c->getColonLoc());
            if (!begin || !colon) continue;  // a label that a macro writes
            std::string label = text_.slice(*begin, *colon).trim().str();  // "case 3", "default"
            Probe p{Probe::case_entry, *colon + 1};
            // Nothing falls into the first label: no skip there (a statement
            // before it would never run, which compilers point out).
            p.body_start = site.probes.empty() ? 0 : *begin;
            if (auto found = fallthrough_before.find(c); found != fallthrough_before.end() && p.body_start != 0)
                if (std::optional<unsigned> attribute = begin_offset(found->second->getBeginLoc()))
                    p.body_start = *attribute;
            p.outcome = static_cast<int>(site.outcomes.size());
            site.outcomes.push_back(label);
            site.sources.push_back({only_jumped_to(sw, c) ? *begin : 0, 0});
            site.probes.push_back(p);
        }
        bool has_default = std::any_of(cases.begin(), cases.end(), [](const SwitchCase* c) { return isa<DefaultStmt>(c); });
        if (!has_default && !site.outcomes.empty()) no_case_probe(sw, &site);
        if (!site.outcomes.empty()) sites_.push_back(std::move(site));
    }

    // The outcome "no case" of a switch without default, where a default
    // label can be added at the end of its body without changing what the
    // program does or what the compiler says: not where the jump to it would
    // cross a declaration of the body's own scope (an error in C++), and not
    // on an enumeration, where a default would silence -Wswitch.
    // Whether control reaches case label c only by the switch's jump: it
    // stands in the switch's block, first or after a statement that jumps
    // away, and no label follows it. Its line's count is then the jumps.
    static bool only_jumped_to(const SwitchStmt* sw, const SwitchCase* c) {
        auto* body = dyn_cast_or_null<CompoundStmt>(sw->getBody());
        if (!body || is_label(c->getSubStmt())) return false;
        auto at = std::find(body->body_begin(), body->body_end(), c);
        if (at == body->body_end()) return false;
        if (at == body->body_begin()) return true;
        const Stmt* before = *(at - 1);
        while (before && is_label(before)) before = sub_of_label(before);
        if (auto* e = dyn_cast_or_null<Expr>(before)) before = e->IgnoreImplicit();
        return isa_and_nonnull<BreakStmt>(before) || isa_and_nonnull<ReturnStmt>(before) ||
               isa_and_nonnull<ContinueStmt>(before) || isa_and_nonnull<GotoStmt>(before) ||
               isa_and_nonnull<CXXThrowExpr>(before);
    }

    void no_case_probe(const SwitchStmt* sw, Site* site) {
        auto* body = dyn_cast<CompoundStmt>(sw->getBody());
        if (!body || sw->getCond()->IgnoreParenImpCasts()->getType()->isEnumeralType()) return;
        for (const Stmt* s : body->body()) {
            while (s && (isa<SwitchCase>(s) || isa<LabelStmt>(s)))
                s = isa<SwitchCase>(s) ? cast<SwitchCase>(s)->getSubStmt() : cast<LabelStmt>(s)->getSubStmt();
            if (isa_and_nonnull<DeclStmt>(s)) return;
        }
        std::optional<unsigned> close = main_offset(body->getRBracLoc());
        if (!close) return;
        Probe p{Probe::no_case, *close};
        p.outcome = static_cast<int>(site->outcomes.size());
        site->outcomes.push_back("no case");
        site->probes.push_back(p);
    }

    // Whether e is written as the making of an object with a constructor of
    // its own ("Path(\"a\")"): the constructor's call runs there. Not an
    // implicit conversion or copy (a literal that becomes a string), which
    // gcc places with the call it is an argument of.
    static bool makes_object(const Expr* e) {
        e = e->IgnoreImplicit();
        auto* cast = dyn_cast<CXXFunctionalCastExpr>(e);
        auto* made = dyn_cast<CXXConstructExpr>(cast ? cast->getSubExpr()->IgnoreImplicit() : e);
        return made && (cast || isa<CXXTemporaryObjectExpr>(made)) && !made->getConstructor()->isTrivial();
    }

    // An argument that is a call of its own ("f(a,\n    g(b))", past
    // parentheses and casts that change nothing): gcc places it with the
    // call it is an argument of, so its line counts nothing. Not where it
    // is converted first (gcc places the conversion instead), nor where a
    // temporary object with a destructor is made in it ("g(b).c_str()", a
    // string returned): its making and its end run on its own line. Inside
    // templates gcc keeps the places of arguments. (Some calls' objects keep
    // their places: placed_call_object.)
    const CallExpr* call_without_line(const Expr* arg) const {
        if (in_template_) return nullptr;  // gcc keeps their places there
        const Expr* e = arg;
        for (;;) {
            e = e->IgnoreParens();
            if (auto* m = dyn_cast<MaterializeTemporaryExpr>(e)) {
                e = m->getSubExpr();
            } else if (auto* bound = dyn_cast<CXXBindTemporaryExpr>(e)) {
                e = bound->getSubExpr();
            } else if (auto* made = dyn_cast<CXXConstructExpr>(e);
                       made && !isa<CXXTemporaryObjectExpr>(made) && made->getNumArgs() >= 1) {
                e = made->getArg(0);  // a conversion, or a copy
            } else if (auto* cast = dyn_cast<ExplicitCastExpr>(e);
                       cast && ctx_.hasSameUnqualifiedType(cast->getType(), cast->getSubExpr()->getType())) {
                e = cast->getSubExpr();
            } else {
                break;
            }
        }
        auto* call = dyn_cast<CallExpr>(e);
        if (!call) return nullptr;
        // An operator that is not a member has its own rules.
        if (auto* op = dyn_cast<CXXOperatorCallExpr>(call); op && !isa_and_nonnull<CXXMethodDecl>(op->getCalleeDecl()))
            return nullptr;
        return makes_temporary(arg) ? nullptr : call;
    }
    // Whether e makes a temporary object with a destructor itself, or is a
    // member call on one (not counting what its arguments make).
    static bool makes_temporary(const Expr* e) {
        while (e) {
            // An object made by an implicit conversion ("f(a,\n    s())"
            // where f wants a string and s gives a pointer) is placed with
            // the call.
            if (auto* bound = dyn_cast<CXXBindTemporaryExpr>(e)) {
                auto* made = dyn_cast<CXXConstructExpr>(bound->getSubExpr());
                if (!made || isa<CXXTemporaryObjectExpr>(made)) return true;
                if (!made->isElidable() || made->getNumArgs() != 1) return false;
                e = made->getArg(0);
            } else if (auto* m = dyn_cast<MaterializeTemporaryExpr>(e)) e = m->getSubExpr();
            else if (auto* c = dyn_cast<ImplicitCastExpr>(e)) e = c->getSubExpr();
            else if (auto* p = dyn_cast<ParenExpr>(e)) e = p->getSubExpr();
            else if (auto* f = dyn_cast<FullExpr>(e)) e = f->getSubExpr();
            else if (auto* k = dyn_cast<CXXConstructExpr>(e); k && k->isElidable() && k->getNumArgs() == 1)
                e = k->getArg(0);
            else if (auto* member = dyn_cast<CXXMemberCallExpr>(e)) e = member->getImplicitObjectArgument();
            else return false;
        }
        return false;
    }
    // Whether an operand runs code on a line of its own, where it starts.
    bool own_line_code(const Expr* e) const { return runs_code(e) && call_without_line(e) == nullptr; }

    // Whether the && or || of b begins the line of its right operand
    // ("    && i == 3"): gcc places its jump there.
    bool leads_line(const BinaryOperator* b) const {
        std::optional<unsigned> op = main_offset(sm_.getExpansionLoc(b->getOperatorLoc()));
        std::optional<unsigned> right = begin_offset(b->getRHS()->getBeginLoc());
        return op && right && line_at(*op) == line_at(*right);
    }

    // A test of local variables and constants alone ("n", "!done", "i ==
    // 3"), not of floating-point values: gcc tests them where the && or ||
    // that they follow stands, with nothing on their own line unless the
    // operator begins that line.
    static bool register_test(const Expr* e) {
        e = e->IgnoreParenImpCasts();
        if (auto* u = dyn_cast<UnaryOperator>(e); u && u->getOpcode() == UO_LNot) return register_test(u->getSubExpr());
        if (auto* b = dyn_cast<BinaryOperator>(e); b && b->isComparisonOp())
            return register_value(b->getLHS()) && register_value(b->getRHS());
        return register_value(e);
    }
    static bool register_value(const Expr* e) {
        QualType type = e->getType();
        if (!type->isIntegralOrEnumerationType() && !type->isPointerType()) return false;
        e = e->IgnoreParenImpCasts();
        if (isa<IntegerLiteral>(e) || isa<CharacterLiteral>(e) || isa<CXXBoolLiteralExpr>(e) ||
            isa<CXXNullPtrLiteralExpr>(e))
            return true;
        auto* ref = dyn_cast<DeclRefExpr>(e);
        if (!ref) return false;
        if (isa<EnumConstantDecl>(ref->getDecl())) return true;
        auto* v = dyn_cast<VarDecl>(ref->getDecl());
        return v && v->hasLocalStorage() && !v->getType()->isReferenceType();
    }

    // Whether e calls a function or a constructor (an increment or a store
    // alone does not).
    static bool is_call(const Stmt* e) {
        return isa<CallExpr>(e) || isa<CXXNewExpr>(e) || isa<CXXDeleteExpr>(e) || isa<CXXConstructExpr>(e);
    }
    static bool calls_something(const Stmt* e) {
        if (!e || isa<LambdaExpr>(e)) return false;
        if (is_call(e)) return true;
        for (const Stmt* child : e->children())
            if (calls_something(child)) return true;
        return false;
    }

    // Whether evaluating e calls something or changes something (an argument
    // that is only a name or a constant does neither).
    static bool runs_code(const Stmt* e) {
        if (!e) return false;
        if (isa<LambdaExpr>(e) || isa<UnaryExprOrTypeTraitExpr>(e) || isa<CXXNoexceptExpr>(e)) return false;
        if (isa<CallExpr>(e) || isa<CXXNewExpr>(e) || isa<CXXDeleteExpr>(e) || isa<CompoundAssignOperator>(e) ||
            isa<CXXTemporaryObjectExpr>(e) || isa<StmtExpr>(e))
            return true;
        if (auto* b = dyn_cast<BinaryOperator>(e))
            if (b->isAssignmentOp()) return true;
        if (auto* u = dyn_cast<UnaryOperator>(e))
            if (u->isIncrementDecrementOp()) return true;
        for (const Stmt* child : e->children())
            if (runs_code(child)) return true;
        return false;
    }

    // The operands that may start lines of their own, with where their
    // expression starts.
    void operand_sites(const Expr* e) {
        std::optional<unsigned> at = begin_offset(e->getBeginLoc());
        // An expression that starts inside a macro's text ("CHECK(x)\n    <<
        // more", the stream of a macro's else branch) may go on after the
        // macro's use: its operands there count from the use's line (those
        // inside the macro or its arguments have no place of their own).
        if (!at && e->getBeginLoc().isMacroID()) at = main_offset(sm_.getExpansionLoc(e->getBeginLoc()));
        if (!at) return;
        int from = line_at(*at);
        if (auto* b = dyn_cast<BinaryOperator>(e)) {
            // Either side of && and || may not run; the right operand of any
            // other operator (assignments aside: their statement counts them)
            // counts where it starts a later line with code that runs there.
            if (b->isLogicalOp()) {
                if (!register_test(b->getRHS()) || leads_line(b)) operand_site(b->getRHS(), from);
            } else if (!b->isAssignmentOp() && !b->isCommaOp() && runs_code(b->getRHS()))
                operand_site(b->getRHS(), from);
        } else if (auto* c = dyn_cast<ConditionalOperator>(e)) {
            // An arm that is a ?: of its own whose condition calls nothing
            // ("a ? x\n    : b ? y\n    : z") has no line of its own: gcc
            // places it with the condition. A constant number as an arm: its
            // line counts every evaluation of the ?: (gcc stores the chosen
            // value there). Two constant arms count so only after a test that
            // calls; after one that does not, gcc computes the value from the
            // test alone. An arm that makes an object over several lines
            // ("std::string(a,\n    b)") is made where it ends.
            bool both_constant = constant_arms(c);
            std::vector<size_t> arm_sites;  // the sites of arms that run code, by their index
            for (const Expr* arm : {c->getTrueExpr(), c->getFalseExpr()}) {
                if (auto* inner = dyn_cast<ConditionalOperator>(arm->IgnoreParenImpCasts());
                    inner && !runs_code(inner->getCond()))
                    continue;
                std::optional<unsigned> arm_at = begin_offset(arm->getBeginLoc());
                if (both_constant || (constant_value(arm) && arm->getType()->isArithmeticType())) {
                    if (arm_at && (!both_constant || runs_code(c->getCond())))
                        operand_site(c, from, true, line_at(*arm_at));
                    continue;
                }
                if (loaded_alone(arm)) continue;
                std::optional<unsigned> end =
                    explicit_construction(without_copies(arm)) ? main_offset(arm->getEndLoc()) : std::nullopt;
                size_t made = sites_.size();
                operand_site(arm, from, false, end ? line_at(*end) : 0);
                if (sites_.size() == made + 1) arm_sites.push_back(made);
            }
            // Both arms on one line ("a ?\n    f() : g()"): that line counts
            // whichever runs, one count with a probe in each.
            if (arm_sites.size() == 2 && arm_sites[1] + 1 == sites_.size() &&
                sites_[arm_sites[0]].line == sites_[arm_sites[1]].line) {
                Site& first = sites_[arm_sites[0]];
                first.probes.insert(first.probes.end(), sites_.back().probes.begin(), sites_.back().probes.end());
                sites_.pop_back();
            }
            // gcc's C takes the value that either arm gives where ':' stands:
            // that line counts every evaluation (its count comes first there,
            // before an arm's). Not where gcc makes a minimum or maximum of it.
            std::optional<unsigned> colon = main_offset(c->getColonLoc());
            if (!lo_.CPlusPlus && colon && !both_constant && !c->getType()->isVoidType() && !min_or_max(c))
                operand_site(c, from, true, line_at(*colon));
        } else if (auto* call = dyn_cast<CallExpr>(e)) {
            // Built-ins may want constants, and a comma is not one (library
            // functions that the compiler knows, printf and the like, are
            // ordinary calls).
            unsigned builtin = call->getBuiltinCallee();
            if (builtin != 0 && !ctx_.BuiltinInfo.isPredefinedLibFunction(builtin)) return;
            // An overloaded operator's call is made once its right operand
            // is read: where that is a string literal in pieces over several
            // lines, on the line of the last piece. Not after a macro's use
            // ("CHECK(x) << \"a \"\n    \"b\""): the stream often runs only
            // when the check fails, and gcov counts that last line whenever
            // the statement ends, for the cleanup of the macro's objects.
            const Expr* continued = chained_calls_.count(call) ? nullptr : continued_operand(call);
            bool after_macro = call->getBeginLoc().isMacroID();
            auto* op_call = dyn_cast<CXXOperatorCallExpr>(call);
            if (op_call && (placed_at_end(op_call) || makes_by_operator(op_call))) {
                // An operator that is not a member runs where its right
                // operand ends ("a +\n    b" making a string); of a chain
                // placed at its end, only the outermost counts, on the
                // chain's last line.
                continued = nullptr;
                if (!end_chain_inner_.count(op_call) && !chained_calls_.count(op_call)) {
                    if (placed_at_end(op_call))
                        for (const CXXOperatorCallExpr* inner : end_chain(op_call)) end_chain_inner_.insert(inner);
                    continued = op_call->getArg(1);
                    if (std::optional<unsigned> end = main_offset(op_call->getEndLoc()))
                        operand_site(continued, from, true, line_at(*end));
                }
            } else if (continued) {
                std::optional<unsigned> end = after_macro ? std::nullopt : split_literal_end(continued);
                operand_site(continued, from, true, end ? line_at(*end) : 0);
            } else if (auto* op = dyn_cast<CXXOperatorCallExpr>(call);
                       op && !after_macro && op->isInfixBinaryOp() && op->getNumArgs() == 2) {
                if (std::optional<unsigned> end = split_literal_end(op->getArg(1)))
                    operand_site(op->getArg(1), from, true, line_at(*end));
            }
            if (auto* member = dyn_cast<CXXMemberCallExpr>(call)) continued_member_call(member, from);
            // "x =\n    f(a,\n    b);" where f returns an object with a
            // destructor: the assignment runs on its own line, the call
            // where it ends.
            if (auto* op = dyn_cast<CXXOperatorCallExpr>(call); op && op->isAssignmentOp() && op->getNumArgs() == 2)
                if (const Expr* made = made_by_call(op->getArg(1))) {
                    if (std::optional<unsigned> end = main_offset(made->getEndLoc()))
                        operand_site(op->getArg(1), from, false, line_at(*end));
                    continued = op->getArg(1);
                }
            // The object of a member operator is its first argument (taken
            // as one where the operator is not known yet).
            const Decl* callee = call->getCalleeDecl();
            bool member_operator = isa<CXXOperatorCallExpr>(call) && (!callee || isa<CXXMethodDecl>(callee));
            const Expr* object = member_operator && call->getNumArgs() > 0 ? call->getArg(0) : nullptr;
            for (const Expr* arg : call->arguments()) {
                // A member call as an argument is placed with its call, also
                // where its "." or its operator begins a line; so is an
                // operator's call, also one that makes a string.
                if (auto* member = dyn_cast<CallExpr>(arg->IgnoreParens());
                    member && arg != object && !in_template_ &&
                    (isa<CXXMemberCallExpr>(member) || isa<CXXOperatorCallExpr>(member)))
                    chained_calls_.insert(member);
                if (auto* made = dyn_cast<CXXOperatorCallExpr>(bound_value(arg));
                    made && !isa<CXXOperatorCallExpr>(call) && !in_template_ && makes_by_operator(made))
                    chained_calls_.insert(made);
                if (arg != continued) argument_site(arg, from);
            }
        } else if (auto* cast = dyn_cast<ExplicitCastExpr>(e);
                   cast && !ctx_.hasSameUnqualifiedType(cast->getType(), cast->getSubExpr()->getType())) {
            // "static_cast<long>(\n    f())": the call keeps its own line.
            if (auto* inner = dyn_cast<CallExpr>(cast->getSubExpr()->IgnoreParenImpCasts())) operand_site(inner, from);
        } else if (auto* made = dyn_cast<CXXTemporaryObjectExpr>(e)) {
            // "T(a,\n    b)": its arguments as a call's.
            if (made->getParenOrBraceRange().isValid() && !made->isListInitialization())
                for (const Expr* arg : made->arguments()) argument_site(arg, from);
        } else if (auto* cast = dyn_cast<CXXFunctionalCastExpr>(e)) {
            if (const CXXConstructExpr* construction = explicit_construction(cast))
                for (const Expr* arg : construction->arguments()) argument_site(arg, from);
        }
    }

    // The value that a reference or a parameter binds: past a temporary's
    // making and conversions that change nothing.
    static const Expr* bound_value(const Expr* e) {
        for (;;) {
            e = e->IgnoreParens();
            if (auto* m = dyn_cast<MaterializeTemporaryExpr>(e)) e = m->getSubExpr();
            else if (auto* b = dyn_cast<CXXBindTemporaryExpr>(e)) e = b->getSubExpr();
            else if (auto* c = dyn_cast<ImplicitCastExpr>(e); c && c->getCastKind() == CK_NoOp) e = c->getSubExpr();
            else if (auto* k = dyn_cast<CXXConstructExpr>(e); k && k->isElidable() && k->getNumArgs() == 1)
                e = k->getArg(0);
            else return e;
        }
    }

    // An argument on a later line than its call counts there where gcc gives
    // it code of its own: not a call, which is placed with its call, but a
    // call inside a cast ("f(a,\n    static_cast<long>(g()))", placed at
    // g), an object made, a number's or a pointer's code where gcc keeps its
    // place (placed_code_line) or any other code.
    void argument_site(const Expr* arg, int from) {
        if (call_without_line(arg) && !placed_call_object(arg)) return;
        if (auto* inner = dyn_cast<CallExpr>(arg->IgnoreParenCasts()); inner && inner != arg->IgnoreParens() &&
                                                                         isa<ExplicitCastExpr>(arg->IgnoreParens())) {
            operand_site(inner, from);
            return;
        }
        if (!calls_something(arg) && !arg->isTypeDependent() && !arg->isValueDependent() &&
            arg->getType()->isScalarType()) {
            if (std::optional<int> line = placed_code_line(arg)) operand_site(arg, from, false, *line);
            return;
        }
        if (own_line_code(arg) || makes_object(arg) || placed_call_object(arg) || has_subscript(arg))
            operand_site(arg, from);
    }
    static bool has_subscript(const Stmt* e) {
        if (!e || isa<LambdaExpr>(e) || isa<CallExpr>(e) || isa<UnaryExprOrTypeTraitExpr>(e)) return false;
        if (isa<ArraySubscriptExpr>(e)) return true;
        for (const Stmt* child : e->children())
            if (has_subscript(child)) return true;
        return false;
    }

    // Where gcc gives a number or a pointer passed as an argument code of its
    // own, the first such line. gcc places the argument's outermost operation
    // with its call, but every operation inside it keeps its own place:
    // "p->a - 1" loads p->a where it stands, as "p->a" passed as a long does
    // (the widening is then the outermost operation), while "p->a", "v + 1"
    // and "v = 3" alone run with the call. A variable's load and a conversion
    // that the compiler adds have no place of their own (they run with what
    // uses them); a conversion of a test's truth is folded into the test; a
    // member of an element or of a variable ("a[1].b", "s.b") is one access;
    // a pointer's subscript adds to the pointer where it stands; && and ||
    // jump where they stand. In C, an argument narrower than an int is
    // widened once more for the call, so nothing of it is outermost, and a
    // choice of 1 and 0 is a comparison.
    std::optional<int> placed_code_line(const Expr* arg) const {
        QualType type = arg->getType();
        bool widened = !lo_.CPlusPlus && type->isIntegerType() &&
                       ctx_.getTypeSize(type) < ctx_.getTypeSize(ctx_.IntTy);
        std::map<int, unsigned> places;
        placed_code(arg, !widened, places);
        return places.empty() ? std::nullopt : std::optional<int>(places.begin()->first);
    }
    // The lines where gcc places code of e that runs whenever e does (not
    // the right operand of && or ||, nor an arm of ?:); outermost: e's own
    // operation is placed elsewhere (with a call, or with a store).
    void placed_code(const Expr* e, bool outermost, std::map<int, unsigned>& lines) const {
        e = e->IgnoreParens();
        if (constant_value(e) || isa<DeclRefExpr>(e) || invariant_address(e)) return;
        auto here = [&](SourceLocation loc) { place_at(loc, lines); };
        if (auto* cast = dyn_cast<ImplicitCastExpr>(e)) {
            const Expr* from = cast->getSubExpr();
            switch (cast->getCastKind()) {
            case CK_NoOp:
                // Adding const to what a pointer points to is a conversion.
                if (e->getType()->isPointerType() && !ctx_.hasSameType(e->getType(), from->getType())) break;
                return placed_code(from, outermost, lines);
            case CK_ArrayToPointerDecay:
                // An array reached through a pointer: its address is worked
                // out where it is written, even with the call.
                if ((isa<MemberExpr>(from->IgnoreParens()) || isa<ArraySubscriptExpr>(from->IgnoreParens())) &&
                    runtime_address(from))
                    here(e->getBeginLoc());
                return placed_code(from, outermost, lines);
            case CK_LValueToRValue:
            case CK_FunctionToPointerDecay:
                return placed_code(from, outermost, lines);
            default:
                break;
            }
            if (is_test(from->IgnoreParenImpCasts())) return placed_code(from, outermost, lines);
            // A conversion of a choice between constants converts each.
            if (auto* choice = dyn_cast<ConditionalOperator>(from->IgnoreParenImpCasts()); choice && constant_arms(choice))
                return placed_code(from, outermost, lines);
            // "(const void *)((char *)p + 4)" is folded into "(const void *)p
            // + 4" (for C++, only with a constant added).
            if (auto* sum = dyn_cast<BinaryOperator>(from->IgnoreParens());
                sum && sum->isAdditiveOp() && e->getType()->isPointerType() && sum->getType()->isPointerType() &&
                (!lo_.CPlusPlus || constant_value(sum->getRHS()))) {
                const Expr* base = sum->getLHS()->IgnoreParens();
                for (auto* more = dyn_cast<BinaryOperator>(base); more && more->isAdditiveOp() &&
                                                                  constant_value(more->getRHS());
                     more = dyn_cast<BinaryOperator>(base))
                    base = more->getLHS()->IgnoreParens();
                if (auto* inner = dyn_cast<CastExpr>(base);
                    inner && inner->getSubExpr()->getType()->isPointerType() &&
                    !ctx_.hasSameType(inner->getType(), inner->getSubExpr()->getType()))
                    return placed_code(from, outermost, lines);
            }
            return placed_code(from, false, lines);
        }
        // A pointer's conversion to another pointer is folded into the
        // conversion around it; a cast to the type the value has is none.
        if (auto* cast = dyn_cast<ExplicitCastExpr>(e);
            cast && !outermost &&
            ((e->getType()->isPointerType() && cast->getSubExpr()->getType()->isPointerType()) ||
             ctx_.hasSameUnqualifiedType(e->getType(), cast->getSubExpr()->getType())))
            return placed_code(cast->getSubExpr(), false, lines);
        if (auto* address = dyn_cast<UnaryOperator>(e); address && address->getOpcode() == UO_AddrOf) {
            if (!outermost && runtime_address(address->getSubExpr())) here(e->getBeginLoc());
            return placed_code(address->getSubExpr(), true, lines);
        }
        if (auto* b = dyn_cast<BinaryOperator>(e)) {
            // C joins tests of local variables alone with no jump.
            bool jumps = b->isLogicalOp() &&
                         (lo_.CPlusPlus || !register_test(b->getLHS()) || !register_test(b->getRHS()) ||
                          in_memory(b->getLHS()->IgnoreParenImpCasts()) || in_memory(b->getRHS()->IgnoreParenImpCasts()));
            // "v + 1 + 2" is folded into "v + 3", "x + (v - 1)" into "(x + v)
            // - 1": an addition of a constant within another is none of its own.
            auto* inner = dyn_cast<BinaryOperator>(b->getLHS()->IgnoreParens());
            if (b->isAdditiveOp() && constant_value(b->getRHS()) && inner && adds_constant(inner))
                return placed_code(inner, outermost, lines);
            if (!outermost || jumps) here(b->getOperatorLoc());
            if (b->isLogicalOp()) return placed_test(b->getLHS(), lines);
            for (const Expr* operand : {b->getLHS(), b->getRHS()})
                placed_code(operand, b->isAdditiveOp() && adds_constant(operand), lines);
            return;
        }
        if (isa<CallExpr>(e)) {
            if (!outermost) here(e->getBeginLoc());
            return;
        }
        if (auto* c = dyn_cast<ConditionalOperator>(e)) {
            // A test known while compiling leaves only the arm it chooses.
            if (bool known = false; !c->getCond()->isValueDependent() &&
                                    c->getCond()->EvaluateAsBooleanCondition(known, ctx_))
                return placed_code(known ? c->getTrueExpr() : c->getFalseExpr(), outermost, lines);
            // An outermost choice tests where its call or store is; a test's
            // operands keep their places, as does a value tested.
            if (!outermost) here(c->getQuestionLoc());
            // C makes a choice between 1 and 0 a comparison.
            if (!lo_.CPlusPlus && outermost && c->getType()->isIntegerType() && truth_arms(c))
                return placed_code(c->getCond(), false, lines);
            return placed_test(c->getCond(), lines);
        }
        if (!outermost && (isa<UnaryOperator>(e) || isa<MemberExpr>(e) || isa<ArraySubscriptExpr>(e) ||
                           isa<ExplicitCastExpr>(e)))
            here(e->getBeginLoc());
        if (auto* u = dyn_cast<UnaryOperator>(e)) return placed_code(u->getSubExpr(), false, lines);
        if (auto* cast = dyn_cast<ExplicitCastExpr>(e)) return placed_code(cast->getSubExpr(), false, lines);
        if (auto* member = dyn_cast<MemberExpr>(e)) {
            // C reads a pointer that a global variable holds where "->"
            // follows it.
            if (auto* ref = dyn_cast<DeclRefExpr>(member->getBase()->IgnoreParenImpCasts());
                ref && member->isArrow() && !lo_.CPlusPlus)
                if (auto* var = dyn_cast<VarDecl>(ref->getDecl()); var && !var->hasLocalStorage())
                    here(e->getBeginLoc());
            return placed_code(member->getBase(), outermost && !member->isArrow(), lines);
        }
        if (auto* element = dyn_cast<ArraySubscriptExpr>(e)) {
            auto* decay = dyn_cast<ImplicitCastExpr>(element->getBase()->IgnoreParens());
            if (!decay || decay->getCastKind() != CK_ArrayToPointerDecay) {
                // "p[0]" is "*p"; "p[i]" adds to p where it stands.
                llvm::Optional<llvm::APSInt> index = element->getIdx()->getIntegerConstantExpr(ctx_);
                if (!index || *index != 0) here(e->getBeginLoc());
                placed_code(element->getBase(), false, lines);
            } else {
                placed_code(decay->getSubExpr(), outermost, lines);
            }
            return placed_code(element->getIdx(), false, lines);
        }
    }
    // The statement of the walked template's first instantiation that stands
    // where s stands in the template (a statement of a block), if any.
    const Stmt* instantiated(const Stmt* s) {
        if (!in_template_ || !walking_) return nullptr;
        if (!instantiations_) {
            Instantiations finder;
            finder.TraverseDecl(ctx_.getTranslationUnitDecl());
            instantiations_ = std::move(finder.first);
        }
        auto found = instantiations_->find(walking_);
        if (found == instantiations_->end()) return nullptr;
        auto& index = statements_of_[found->second];
        if (index.empty()) index_statements(found->second->getBody(), index);
        auto at = index.find({s->getBeginLoc().getRawEncoding(), s->getEndLoc().getRawEncoding()});
        return at == index.end() || at->second->getStmtClass() != s->getStmtClass() ? nullptr : at->second;
    }
    using StatementIndex = std::map<std::pair<unsigned, unsigned>, const Stmt*>;
    static void index_statements(const Stmt* s, StatementIndex& index) {
        if (!s) return;
        if (auto* block = dyn_cast<CompoundStmt>(s))
            for (const Stmt* child : block->body())
                if (child) index.emplace(std::make_pair(child->getBeginLoc().getRawEncoding(),
                                                        child->getEndLoc().getRawEncoding()), child);
        for (const Stmt* child : s->children()) index_statements(child, index);
    }

    // Whether e names a variable that gcc keeps in memory: a global one, or
    // a local one whose address is taken.
    bool in_memory(const Expr* e) const {
        auto* ref = dyn_cast<DeclRefExpr>(e);
        auto* v = ref ? dyn_cast<VarDecl>(ref->getDecl()) : nullptr;
        if (!v || !v->getType()->isScalarType()) return false;
        if (!v->hasLocalStorage()) return !v->getType().isConstQualified();
        if (!address_taken_) {
            AddressTaken finder;
            finder.TraverseDecl(ctx_.getTranslationUnitDecl());
            address_taken_ = std::move(finder.variables);
        }
        return address_taken_->count(v) != 0;
    }
    bool truth_arms(const ConditionalOperator* c) const {
        llvm::Optional<llvm::APSInt> a = c->getTrueExpr()->getIntegerConstantExpr(ctx_);
        llvm::Optional<llvm::APSInt> b = c->getFalseExpr()->getIntegerConstantExpr(ctx_);
        return a && b && ((*a == 1 && *b == 0) || (*a == 0 && *b == 1));
    }
    bool adds_constant(const Expr* e) const {
        auto* b = dyn_cast<BinaryOperator>(e->IgnoreParens());
        return b && b->isAdditiveOp() && constant_value(b->getRHS());
    }
    // The line where loc is written (a macro's use for its text), with the
    // place, for the lines a statement's code stands on.
    void place_at(SourceLocation loc, std::map<int, unsigned>& places) const {
        if (std::optional<unsigned> at = main_offset(sm_.getExpansionLoc(loc))) places.emplace(line_at(*at), *at);
    }
    // A comparison, a negation or && and ||: a test whose truth gcc folds into
    // what uses it.
    static bool is_test(const Expr* bare) {
        auto* compare = dyn_cast<BinaryOperator>(bare);
        auto* negation = dyn_cast<UnaryOperator>(bare);
        return (compare && (compare->isComparisonOp() || compare->isLogicalOp())) ||
               (negation && negation->getOpcode() == UO_LNot);
    }
    // A test's operands keep their places; the test itself is made where
    // the jump is, and so is a value tested.
    void placed_test(const Expr* test, std::map<int, unsigned>& lines) const {
        const Expr* bare = test->IgnoreParenImpCasts();
        // A variable in memory tested is loaded where it stands.
        if (in_memory(bare))
            place_at(bare->getBeginLoc(), lines);
        auto* compare = dyn_cast<BinaryOperator>(bare);
        bool tests = is_test(bare);
        // ... and so where a comparison reads it.
        if (compare && compare->isComparisonOp() &&
            (in_memory(compare->getLHS()->IgnoreParenImpCasts()) || in_memory(compare->getRHS()->IgnoreParenImpCasts())))
            place_at(compare->getOperatorLoc(), lines);
        placed_code(test, tests, lines);
    }
    // Whether e is an address known before the program runs ("&local",
    // "(char *)&x + 4"), which gcc computes nowhere.
    bool invariant_address(const Expr* e) const {
        e = e->IgnoreParens();
        if (!e->getType()->isPointerType()) return false;
        if (auto* cast = dyn_cast<CastExpr>(e)) {
            if (cast->getCastKind() == CK_ArrayToPointerDecay) return !runtime_address(cast->getSubExpr());
            return cast->getSubExpr()->getType()->isPointerType() && invariant_address(cast->getSubExpr());
        }
        if (auto* address = dyn_cast<UnaryOperator>(e); address && address->getOpcode() == UO_AddrOf)
            return !runtime_address(address->getSubExpr());
        if (auto* b = dyn_cast<BinaryOperator>(e); b && b->isAdditiveOp())
            return (invariant_address(b->getLHS()) && constant_value(b->getRHS())) ||
                   (invariant_address(b->getRHS()) && constant_value(b->getLHS()));
        return false;
    }
    // Whether the address of an lvalue is worked out as the program runs
    // (through a pointer, or at an index that is not constant).
    bool runtime_address(const Expr* e) const {
        e = e->IgnoreParens();
        if (auto* member = dyn_cast<MemberExpr>(e)) return member->isArrow() || runtime_address(member->getBase());
        if (auto* element = dyn_cast<ArraySubscriptExpr>(e)) {
            auto* decay = dyn_cast<ImplicitCastExpr>(element->getBase()->IgnoreParens());
            if (!decay || decay->getCastKind() != CK_ArrayToPointerDecay) return true;
            return !constant_value(element->getIdx()) || runtime_address(decay->getSubExpr());
        }
        return !isa<DeclRefExpr>(e) && !isa<StringLiteral>(e) && !isa<CompoundLiteralExpr>(e);
    }

    // A member call whose object gcc works out where the object is written:
    // one that looks its function up in the object's table ("p->ToText()";
    // not one that names its class, a final function, nor one on an object
    // that is no reference), and one whose object is what a call returned,
    // taken as its base class ("doc.FirstChildElement()->FirstChild()": the
    // inner call is placed there, with the conversion of its result).
    static bool placed_call_object(const Stmt* e) {
        if (!e || isa<LambdaExpr>(e) || isa<UnaryExprOrTypeTraitExpr>(e)) return false;
        if (auto* call = dyn_cast<CXXMemberCallExpr>(e)) {
            auto* member = dyn_cast<MemberExpr>(call->getCallee()->IgnoreParens());
            const CXXMethodDecl* method = call->getMethodDecl();
            if (member && method && method->isVirtual() && !member->hasQualifier() && !method->hasAttr<FinalAttr>() &&
                !method->getParent()->hasAttr<FinalAttr>()) {
                auto* object = dyn_cast<DeclRefExpr>(member->getBase()->IgnoreParenImpCasts());
                if (member->isArrow() || !object || object->getDecl()->getType()->isReferenceType()) return true;
            }
            auto* base = member ? dyn_cast<ImplicitCastExpr>(member->getBase()->IgnoreParens()) : nullptr;
            if (base && (base->getCastKind() == CK_UncheckedDerivedToBase || base->getCastKind() == CK_DerivedToBase) &&
                isa<CallExpr>(base->getSubExpr()->IgnoreParens()))
                return true;
        }
        for (const Stmt* child : e->children())
            if (placed_call_object(child)) return true;
        return false;
    }

    // A member call whose "." or "->" begins a line of its own
    // ("GetSuite(name)\n    ->AddTest(info)"), or stands on a later line
    // than its object's call begins: the call runs on that line, and
    // gcov counts it there. The whole call is wrapped, so the count comes
    // before its object is evaluated. Of a chain of such calls only the last
    // counts, as gcov counts the chain on its last line.
    void continued_member_call(const CXXMemberCallExpr* call, int from) {
        auto* member = dyn_cast<MemberExpr>(call->getCallee()->IgnoreParens());
        if (!member || member->isImplicitAccess() || chained_calls_.count(call)) return;
        std::optional<unsigned> at = main_offset(member->getOperatorLoc());
        // Or after a call that ends that line ("Get(a,\n    b).ok()").
        const Expr* base = member->getBase()->IgnoreImplicit();
        std::optional<unsigned> base_at = isa<CallExpr>(base) ? begin_offset(base->getBeginLoc()) : std::nullopt;
        if (!at || !(first_on_line(*at) || (base_at && line_at(*base_at) < line_at(*at)))) return;
        operand_site(call, from, false, line_at(*at));
        for (const Expr* object = member->getBase()->IgnoreImplicit();;) {
            auto* inner = dyn_cast<CXXMemberCallExpr>(object);
            if (!inner) break;
            chained_calls_.insert(inner);
            auto* inner_member = dyn_cast<MemberExpr>(inner->getCallee()->IgnoreParens());
            if (!inner_member || inner_member->isImplicitAccess()) break;
            object = inner_member->getBase()->IgnoreImplicit();
        }
    }

    // The right operand of an overloaded binary operator that begins a line
    // of its own with the operator ("\n    << value"): the operator's call
    // runs there, and gcov counts that line, whatever the operand is.
    const Expr* continued_operand(const CallExpr* call) const {
        auto* op = dyn_cast<CXXOperatorCallExpr>(call);
        if (!op || op->getNumArgs() != 2 || !op->isInfixBinaryOp()) return nullptr;
        std::optional<unsigned> at = main_offset(op->getOperatorLoc());
        std::optional<unsigned> operand = begin_offset(op->getArg(1)->getBeginLoc());
        if (!at || !operand || line_at(*at) != line_at(*operand) || !first_on_line(*at)) return nullptr;
        return op->getArg(1);
    }

    // Where the last piece of a string literal written in pieces over several
    // lines ("\"a \"\n    \"b\"") starts, if e is one.
    std::optional<unsigned> split_literal_end(const Expr* e) const {
        auto* literal = dyn_cast<StringLiteral>(e->IgnoreParenImpCasts());
        if (!literal || literal->getNumConcatenated() < 2) return {};
        std::optional<unsigned> first = main_offset(literal->getStrTokenLoc(0));
        std::optional<unsigned> last = main_offset(literal->getStrTokenLoc(literal->getNumConcatenated() - 1));
        if (!first || !last || line_at(*last) <= line_at(*first)) return {};
        return last;
    }

    bool constant_condition(const Expr* cond) const {
        if (!cond || cond->isValueDependent() || cond->isTypeDependent()) return false;
        bool value = false;
        return cond->EvaluateAsBooleanCondition(value, ctx_);
    }

    // ---- loops whose condition cannot take a probe ----

    struct LoopFrame {
        std::vector<std::pair<const Stmt*, bool>> continues;  // with "in a sequence"
        std::vector<std::pair<const Stmt*, bool>> breaks;     // those that leave this loop
        int switches = 0;                                     // open switches inside it
    };

    // Entry before the loop, and a probe where each iteration ends: at the end
    // of the body and before every continue. Together they count what a
    // condition would: entries plus iterations that go round again (without
    // entries: only the rounds).
    void latch_site(const Stmt* loop, const Stmt* body, bool in_sequence, const LoopFrame& frame,
                    bool entries = true) {
        if (!counting_lines()) return;
        std::optional<unsigned> begin = main_offset(loop->getBeginLoc());
        if (!begin || governed_by_pragma(*begin)) return;
        Site site = new_site(line_at(*begin), *begin);
        if (entries && !probe_before(site, loop, in_sequence)) return;
        if (latch_probes(site, body, frame)) sites_.push_back(std::move(site));
    }
    // The probes where each round of a loop ends and the next begins: the end
    // of its body and every continue.
    bool latch_probes(Site& site, const Stmt* body, const LoopFrame& frame) const {
        if (auto* block = dyn_cast<CompoundStmt>(body)) {
            std::optional<unsigned> open = main_offset(block->getLBracLoc());
            std::optional<unsigned> close = main_offset(block->getRBracLoc());
            if (!open || !close) return false;
            Probe p{Probe::statement, *close};
            p.at_body_end = true;
            p.body_start = *open;
            site.probes.push_back(p);
        } else {
            std::optional<unsigned> body_begin = begin_offset(body->getBeginLoc());
            std::optional<unsigned> body_end = end_offset(body);
            if (!body_begin || !body_end) return false;
            site.wraps.push_back({*body_begin, *body_end});
            Probe p{Probe::statement, *body_end};
            p.at_body_end = true;
            p.body_start = *body_begin;
            site.probes.push_back(p);
        }
        // A continue inside a macro cannot take a probe: that path goes uncounted.
        for (const auto& c : frame.continues) probe_before(site, c.first, c.second);
        return true;
    }

    // A range-for's condition is written nowhere, so its outcomes are counted
    // where they lead: going round at the start of the body, ending right
    // after the loop, which every break of the loop jumps past (to a label
    // after the count). Not where a break cannot take that jump: inside a
    // macro, or in a constexpr function, where goto is not allowed.
    void range_for_branches(const CXXForRangeStmt* r, bool in_sequence, const LoopFrame& frame) {
        if (!counting_branches() || (guarded_ && !frame.breaks.empty())) return;
        std::optional<unsigned> begin = main_offset(r->getBeginLoc());
        std::optional<unsigned> end = end_offset(r);
        if (!begin || !end || governed_by_pragma(*begin)) return;
        Site site = branch_site(*begin, "for", {"true", "false"});
        if (auto* block = dyn_cast<CompoundStmt>(r->getBody())) {
            std::optional<unsigned> open = main_offset(block->getLBracLoc());
            if (!open) return;
            site.probes.push_back({Probe::statement, *open + 1});
        } else if (!probe_before(site, r->getBody(), false)) {
            return;
        }
        for (const auto& [jump, jump_in_sequence] : frame.breaks) {
            if (!probe_before(site, jump, jump_in_sequence)) return;
            site.probes.back().form = Probe::break_jump;
            site.probes.back().outcome = 1;
        }
        if (!in_sequence) site.wraps.push_back({*begin, *end});
        Probe exit{Probe::loop_exit, *end};
        exit.body_start = *begin;
        exit.outcome = 1;
        site.probes.push_back(exit);
        // Going round is the body's entries, where its first statement's line says so.
        site.sources = {{entry_anchor(r->getBody()), 0}};
        sites_.push_back(std::move(site));
    }

    // ---- statements ----

    // The expression that an initialiser copies, past implicit nodes and the
    // copies that C++14 may elide.
    static const Expr* without_copies(const Expr* e) {
        for (;;) {
            e = e->IgnoreImplicit();
            auto* construct = dyn_cast<CXXConstructExpr>(e);
            if (!construct || !construct->isElidable() || construct->getNumArgs() != 1) return e;
            e = construct->getArg(0);
        }
    }

    static bool has_code(const DeclStmt* ds, ASTContext& ctx) {
        for (const Decl* d : ds->decls()) {
            auto* v = dyn_cast<VarDecl>(d);
            if (!v) continue;
            if (v->getType()->isVariablyModifiedType()) return true;
            const Expr* init = v->getInit();
            // "T x;" in a template: taken as an object that its constructor makes.
            if (!init && v->getType()->isDependentType() && v->hasLocalStorage()) return true;
            if (!init) continue;
            // A lambda that captures nothing is an empty object: no code.
            if (auto* lambda = dyn_cast<LambdaExpr>(without_copies(init)))
                if (lambda->capture_size() == 0) continue;
            // "struct tm when;": a trivial constructor that zeroes nothing runs no code.
            if (auto* made = dyn_cast<CXXConstructExpr>(init))
                if (made->getNumArgs() == 0 && made->getConstructor()->isTrivial() &&
                    !made->requiresZeroInitialization())
                    continue;
            // A static local with a constant initialiser runs no code here.
            if (v->hasGlobalStorage() && !init->isValueDependent() &&
                init->isConstantInitializer(ctx, v->getType()->isReferenceType()))
                continue;
            return true;
        }
        return false;
    }

    void walk_header(const Stmt* s) {
        if (!s) return;
        if (auto* ds = dyn_cast<DeclStmt>(s)) {
            for (const Decl* d : ds->decls()) walk_local_decl(d);
        } else {
            walk_expr(s);
        }
    }

    // A constant's initialiser must stay a constant expression, and a static
    // one that is constant must not become dynamic.
    bool stays_constant(const VarDecl* v) const {
        const Expr* init = v->getInit();
        return v->isConstexpr() || (init && v->hasGlobalStorage() && !init->isValueDependent() &&
                                    init->isConstantInitializer(ctx_, v->getType()->isReferenceType()));
    }

    void walk_local_decl(const Decl* d) {
        if (auto* v = dyn_cast<VarDecl>(d)) {
            bool saved_constant = constant_context_;
            const Expr* init = v->getInit();
            constant_context_ = constant_context_ || stays_constant(v);
            // "T a = 1, name =\n    call();": the initialiser's line counts where
            // it runs code (an array's initialiser cannot take a comma; a
            // declaration of one name is counted there by its statement).
            std::optional<unsigned> at = begin_offset(v->getBeginLoc());
            if (init && at && v->getInitStyle() == VarDecl::CInit && !v->getType()->isArrayType() && runs_code(init))
                operand_site(init, line_at(*at));
            walk_expr(init);
            constant_context_ = saved_constant;
        } else if (isa<RecordDecl>(d) || isa<FunctionDecl>(d) || isa<ClassTemplateDecl>(d) ||
                   isa<FunctionTemplateDecl>(d)) {
            walk_decl(d);
        }
    }

    // A handler counts its entries on the line of its "catch" (of the macro
    // that writes it, "CATCH(...) {"), inside its block.
    void walk_try(const CXXTryStmt* t) {
        walk(t->getTryBlock(), false);
        for (unsigned n = 0; n < t->getNumHandlers(); ++n) {
            const CXXCatchStmt* handler = t->getHandler(n);
            auto* block = dyn_cast_or_null<CompoundStmt>(handler->getHandlerBlock());
            std::optional<unsigned> at = main_offset(sm_.getExpansionLoc(handler->getCatchLoc()));
            if (block && at && counting_lines()) block_entry_site(block, line_at(*at), *at, false);
            walk(handler->getHandlerBlock(), false);
        }
    }

    void walk(const Stmt* s, bool in_sequence) {
        if (!s) return;
        if (isa<OMPExecutableDirective>(s)) return;  // the pragma owns what follows it
        SourceLocation begin = s->getBeginLoc();
        if (begin.isMacroID() && is_label(s)) {
            // A label that a macro writes ("case v:" in "#define LABEL(v) case
            // v:"): the statement after it is a statement of its own.
            label_site(s, in_sequence);
            walk(sub_of_label(s), in_sequence);
            return;
        }
        if (auto* t = dyn_cast<CXXTryStmt>(s); t && begin.isMacroID()) {
            walk_try(t);  // "TRY {": the try itself runs no code
            return;
        }
        if (begin.isMacroID()) {
            // A statement that a macro starts (whatever it expands to: a block,
            // several statements, do-while(0)) is counted before the macro;
            // what the macro itself expands to is left alone, but blocks and
            // lambdas written outside it (a loop body after a FOREACH macro)
            // are walked. A declaration that runs nothing stays uncounted, its
            // type a macro or not ("json_int_t i;" with "#define json_int_t long long").
            auto* decl = dyn_cast<DeclStmt>(s);
            if (begin_offset(begin) && !isa<NullStmt>(s) && !is_attribute_alone(s) &&
                !(decl && !has_code(decl, ctx_)))
                statement_site(s, in_sequence);
            if (decl)
                for (const Decl* d : decl->decls())
                    if (auto* local = dyn_cast<CXXRecordDecl>(d)) macro_class_sites(local);
            // A body written after the use ("EACH(list, item)\n    total += item->n;")
            // is a statement of its own, even an expression. The breaks and
            // continues in a loop's body are that loop's, those in a switch's
            // body leave the switch, whoever wrote the loop or the switch.
            auto* i = dyn_cast<IfStmt>(s);
            auto* d = dyn_cast<DoStmt>(s);
            const Stmt* body = d ? d->getBody() : loop_body(s);
            bool user_body = false;
            LoopFrame frame;
            for (const Stmt* child : s->children()) {
                if (!child) continue;
                bool written_after = main_offset(child->getBeginLoc()).has_value();
                if (child == body) {
                    frame = walk_loop_body(child, written_after);
                    user_body = written_after;
                } else if (i && (child == i->getThen() || child == i->getElse()) && written_after) {
                    walk(child, false);
                } else if (isa<Expr>(child)) {
                    walk_expr(child);
                } else {
                    bool switch_body = isa<SwitchStmt>(s) && !loops_.empty();
                    if (switch_body) ++loops_.back().switches;
                    walk(child, false);
                    if (switch_body) --loops_.back().switches;
                }
            }
            if (!d) macro_loop_site(s, user_body, frame);
            return;
        }
        if (!main_offset(begin)) return;

        if (auto* block = dyn_cast<CompoundStmt>(s)) {
            walk_block(block, 0);
        } else if (isa<NullStmt>(s)) {
        } else if (auto* ds = dyn_cast<DeclStmt>(s)) {
            if (has_code(ds, ctx_)) statement_site(s, in_sequence);
            for (const Decl* d : ds->decls()) walk_local_decl(d);
        } else if (auto* i = dyn_cast<IfStmt>(s)) {
            // if constexpr chooses at compile time: only its branches run.
            if (!i->isConstexpr()) statement_site(s, in_sequence);
            if (!i->isConstexpr() && !i->getConditionVariableDeclStmt() && !constant_condition(i->getCond()))
                decision_site(i->getCond(), "if", if_sources(i));
            walk_header(i->getInit());
            bool saved_constant = constant_context_;
            constant_context_ = constant_context_ || i->isConstexpr();
            walk_header(i->getConditionVariableDeclStmt());
            if (!i->getConditionVariableDeclStmt()) walk_expr(i->getCond());
            constant_context_ = saved_constant;
            walk(i->getThen(), false);
            walk(i->getElse(), false);
        } else if (auto* sw = dyn_cast<SwitchStmt>(s)) {
            statement_site(s, in_sequence);
            switch_sites(sw);
            walk_header(sw->getInit());
            walk_header(sw->getConditionVariableDeclStmt());
            if (!sw->getConditionVariableDeclStmt()) walk_expr(sw->getCond());
            if (!loops_.empty()) ++loops_.back().switches;  // its breaks leave the switch
            walk(sw->getBody(), false);
            if (!loops_.empty()) --loops_.back().switches;
        } else if (auto* w = dyn_cast<WhileStmt>(s)) {
            walk_header(w->getConditionVariableDeclStmt());
            if (!w->getConditionVariableDeclStmt()) walk_expr(w->getCond());
            LoopFrame frame = walk_loop_body(w->getBody());
            if (w->getConditionVariable()) {
                latch_site(s, w->getBody(), in_sequence, frame);
            } else if (!constant_condition(w->getCond())) {
                unsigned arrivals = follow_.target == s ? follow_.base : 0;
                std::optional<unsigned> at = main_offset(begin);
                int line = at ? line_at(*at) : 0;
                int jump_line = test_line(w->getCond(), line);
                unsigned evaluations = condition_site(s, w->getCond(), jump_line);
                bool evaluated_there = jump_line && evaluations && evaluated_on(w->getCond(), line);
                if (jump_line && evaluations && !evaluated_there) {
                    size_t before = sites_.size();
                    statement_site(s, in_sequence);
                    if (sites_.size() > before) arrivals = sites_.back().anchor;
                }
                loop_condition_counts(evaluations, arrivals, w->getCond(), w->getBody());
                if (evaluated_there) evaluations_alias(evaluations, line, *at);
                decision_site(w->getCond(), "while", loop_sources(w->getCond(), w->getBody(), evaluations));
            } else if (rounds_on_loop_line(w->getBody())) {
                latch_site(s, w->getBody(), in_sequence, frame, false);
            }
        } else if (auto* d = dyn_cast<DoStmt>(s)) {
            walk_loop_body(d->getBody());
            walk_expr(d->getCond());
            if (!constant_condition(d->getCond())) {
                std::optional<unsigned> at = begin_offset(d->getCond()->getBeginLoc());
                int line = at ? line_at(*at) : 0;
                int jump_line = test_line(d->getCond(), line);
                unsigned evaluations = condition_site(s, d->getCond(), jump_line);
                if (jump_line && evaluations && evaluated_on(d->getCond(), line))
                    evaluations_alias(evaluations, line, *at);
                decision_site(d->getCond(), "do");
            }
        } else if (auto* f = dyn_cast<ForStmt>(s)) {
            walk_for(f, in_sequence);
        } else if (auto* r = dyn_cast<CXXForRangeStmt>(s)) {
            walk_header(r->getInit());
            walk_expr(r->getRangeInit());
            LoopFrame frame = walk_loop_body(r->getBody());
            latch_site(s, r->getBody(), in_sequence, frame);
            range_for_branches(r, in_sequence, frame);
        } else if (is_label(s)) {
            label_site(s, in_sequence);
            walk(sub_of_label(s), in_sequence);
        } else if (auto* a = dyn_cast<AttributedStmt>(s)) {
            // [[likely]] x(); is counted before its attribute; a loop that a
            // pragma governs (the statement then starts at the #) is not.
            const Stmt* sub = a->getSubStmt();
            std::optional<unsigned> at = main_offset(begin);
            if (sub && !isa<NullStmt>(sub) && at && text_[*at] != '#') {
                statement_site(s, in_sequence);
                walk(sub, false);
            } else {
                walk(sub, in_sequence);
            }
        } else if (auto* t = dyn_cast<CXXTryStmt>(s)) {
            walk_try(t);
        } else if (isa<ContinueStmt>(s)) {
            statement_site(s, in_sequence);
            if (!loops_.empty()) loops_.back().continues.push_back({s, in_sequence});
        } else if (is_void_cast_alone(s)) {
        } else if (isa<BreakStmt>(s)) {
            statement_site(s, in_sequence);
            if (!loops_.empty() && loops_.back().switches == 0) loops_.back().breaks.push_back({s, in_sequence});
        } else if (isa<Expr>(s) || isa<ReturnStmt>(s) || isa<GotoStmt>(s) ||
                   isa<IndirectGotoStmt>(s) || isa<AsmStmt>(s) || isa<CoreturnStmt>(s)) {
            statement_site(s, in_sequence);
            if (isa<Expr>(s)) walk_expr(s);
            else walk_expr_children(s);
        } else {
            for (const Stmt* child : s->children()) {
                if (!child) continue;
                if (isa<Expr>(child)) walk_expr(child);
                else walk(child, false);
            }
        }
    }

    void walk_for(const ForStmt* f, bool in_sequence) {
        walk_header(f->getInit());
        walk_header(f->getConditionVariableDeclStmt());
        if (!f->getConditionVariableDeclStmt()) walk_expr(f->getCond());
        walk_expr(f->getInc());
        LoopFrame frame = walk_loop_body(f->getBody());

        const Expr* cond = f->getCond();
        std::optional<unsigned> begin = main_offset(f->getBeginLoc());
        if (!begin) return;
        int for_line = line_at(*begin);
        if (f->getConditionVariable()) {
            latch_site(f, f->getBody(), in_sequence, frame);
            return;
        }
        if (cond && !constant_condition(cond)) {
            std::optional<unsigned> at = begin_offset(cond->getBeginLoc());
            int jump_line = at && line_at(*at) == for_line ? test_line(cond, for_line) : 0;
            unsigned evaluations = condition_site(f, cond, jump_line);
            bool evaluated_there = jump_line && evaluations && evaluated_on(cond, for_line);
            decision_site(cond, "for", loop_sources(cond, f->getBody(), evaluations));
            // The initialisation on a line of its own (or with a test that
            // ends on a later line) counts entries there, the increment on a
            // line of its own each increment (in C++ not a lone "++i" or
            // "p--" of a variable: g++ places it with the condition; "i +=
            // 2", "p = p->next", "++i, ++j" stay).
            unsigned arrivals = follow_.target == f ? follow_.base : 0;
            if ((f->getInit() && at && line_at(*at) != for_line) || (jump_line && evaluations && !evaluated_there)) {
                size_t before = sites_.size();
                statement_site(f, in_sequence);
                if (sites_.size() > before) arrivals = sites_.back().anchor;
            }
            if ((!f->getInit() || falls_through(f->getInit())) && (!f->getInc() || plain_code(f->getInc())))
                loop_condition_counts(evaluations, arrivals, cond, f->getBody());
            if (evaluated_there) evaluations_alias(evaluations, for_line, *begin);
            const Expr* inc = f->getInc();
            if (inc && lo_.CPlusPlus && lone_step(inc)) inc = nullptr;
            std::optional<unsigned> inc_at = inc ? begin_offset(inc->getBeginLoc()) : std::nullopt;
            if (inc_at && at && line_at(*inc_at) != line_at(*at) && counting_lines()) {
                Site site = new_site(line_at(*inc_at), *inc_at);
                site.probes.push_back({Probe::prefix, *inc_at});
                sites_.push_back(std::move(site));
            }
            return;
        }
        // No condition that runs: the increment counts further iterations,
        // the initialisation the entries.
        if (const Expr* inc = f->getInc()) {
            std::optional<unsigned> at = begin_offset(inc->getBeginLoc());
            if (!at || !counting_lines()) return;
            int line = line_at(*at);
            Site site = new_site(line, line == for_line ? *begin : *at);
            site.probes.push_back({Probe::prefix, *at});
            if (f->getInit() && line == for_line) {
                if (governed_by_pragma(*begin) || !probe_before(site, f, in_sequence)) return;
            } else if (f->getInit()) {
                statement_site(f, in_sequence);
            }
            sites_.push_back(std::move(site));
            return;
        }
        if (f->getInit()) statement_site(f, in_sequence);
        else if (!cond && rounds_on_loop_line(f->getBody())) latch_site(f, f->getBody(), in_sequence, frame, false);
    }

    // gcc for C gives the jump back of an endless loop ("while (1)",
    // "for (;;)") the loop's line when its body declares variables of its own
    // (a scope of its own): gcov counts there the rounds that go on (the
    // body's end reached, continues). g++ gives it the body's first line.
    bool rounds_on_loop_line(const Stmt* body) const {
        auto* block = dyn_cast<CompoundStmt>(body);
        return !lo_.CPlusPlus && block &&
               std::any_of(block->body_begin(), block->body_end(), [](const Stmt* st) { return isa<DeclStmt>(st); });
    }

    static bool lone_step(const Expr* e) {
        auto* u = dyn_cast<UnaryOperator>(e->IgnoreParens());
        return u && u->isIncrementDecrementOp() && isa<DeclRefExpr>(u->getSubExpr()->IgnoreParenImpCasts());
    }

    LoopFrame walk_loop_body(const Stmt* body, bool as_statement = true) {
        loops_.emplace_back();
        if (as_statement || !isa<Expr>(body)) walk(body, false);
        else walk_expr(body);
        LoopFrame frame = std::move(loops_.back());
        loops_.pop_back();
        return frame;
    }

    // ---- expressions: only lambdas and statement expressions hold statements ----

    void walk_expr(const Stmt* e) {
        if (!e) return;
        if (auto* lambda = dyn_cast<LambdaExpr>(e)) {
            for (const Expr* init : lambda->capture_inits()) walk_expr(init);
            walk_function(lambda->getCallOperator(), lambda->getBody(), lambda->getBeginLoc());
            return;
        }
        if (auto* se = dyn_cast<StmtExpr>(e)) {
            walk(se->getSubStmt(), false);
            return;
        }
        // Unevaluated operands never run.
        if (isa<UnaryExprOrTypeTraitExpr>(e) || isa<CXXNoexceptExpr>(e) || isa<RequiresExpr>(e) ||
            isa<ConceptSpecializationExpr>(e) || isa<BlockExpr>(e))
            return;
        if (auto* t = dyn_cast<CXXTypeidExpr>(e)) {
            if (!t->isPotentiallyEvaluated()) return;
        }
        if (auto* g = dyn_cast<GenericSelectionExpr>(e)) {
            if (!g->isResultDependent()) walk_expr(g->getResultExpr());
            return;
        }
        if (auto* x = dyn_cast<Expr>(e)) operand_sites(x);
        if (auto* b = dyn_cast<BinaryOperator>(e)) {
            if (b->isLogicalOp()) {
                decision_site(b->getLHS(), b->getOpcodeStr().str());
                decision_site(b->getRHS(), b->getOpcodeStr().str());
            }
        } else if (auto* c = dyn_cast<ConditionalOperator>(e)) {
            arm_sites(c);
        }
        walk_expr_children(e);
    }

    void walk_expr_children(const Stmt* e) {
        for (const Stmt* child : e->children()) walk_expr(child);
    }

    // ---- functions and declarations ----

    void walk_function(const FunctionDecl* fd, const Stmt* body, SourceLocation name) {
        if (!fd || !body || !seen_bodies_.insert(body).second) return;
        bool coroutine = isa<CoroutineBodyStmt>(body);
        if (auto* co = dyn_cast<CoroutineBodyStmt>(body)) body = co->getBody();
        // A defaulted or deleted function has no body written anywhere
        // (the parser makes an empty one for a defaulted function in use).
        if (fd->isExplicitlyDefaulted() && emitted_here(fd)) defaulted_in_macro_site(fd, function_name(fd, 0));
        defaulted_body_site(fd);
        if (fd->isConsteval() || fd->hasAttr<NakedAttr>() || fd->isDefaulted() || fd->isDeleted()) return;
        if (!emitted_here(fd)) return;
        bool constexpr_function = fd->isConstexpr();
        // A scope object cannot live in a constexpr function; before C++14
        // such a function is a single return statement. C++17 makes lambdas
        // constexpr whenever it can: those that do not say so get their scope
        // (should one be evaluated at compile time after all, mirt-cc's
        // compile of the copy fails and it builds the original instead).
        if (constexpr_function && style_ == ProbeStyle::function && is_lambda_without_constexpr(fd))
            constexpr_function = false;
        if (constexpr_function && style_ == ProbeStyle::function) return;
        // Before C++14 a constexpr function is a single return statement: its
        // entry counts inside the returned expression.
        const ReturnStmt* sole_return = nullptr;
        if (constexpr_function && !lo_.CPlusPlus14 && !(sole_return = only_return(body))) return;

        bool saved_guarded = guarded_;
        int saved_function = function_;
        std::vector<LoopFrame> saved_loops;
        saved_loops.swap(loops_);
        guarded_ = constexpr_function;
        function_ = ++functions_seen_;
        bool saved_template = in_template_;
        in_template_ = fd->isTemplated();
        const FunctionDecl* saved_walking = walking_;
        walking_ = fd;

        const CompoundStmt* block = dyn_cast<CompoundStmt>(body);
        if (auto* t = dyn_cast<CXXTryStmt>(body)) block = t->getTryBlock();
        SourceLocation name_at = sm_.getExpansionLoc(name);
        std::optional<unsigned> name_offset = main_offset(name_at);
        std::optional<unsigned> brace;
        if (block) brace = main_offset(block->getLBracLoc());
        int name_line = 0;
        if (name_offset) name_line = line_at(*name_offset);
        std::string shown = function_name(fd, name_line);
        std::optional<unsigned> entry;
        size_t first_site = sites_.size();
        if (block && brace) {
            unsigned anchor = (name_offset && *name_offset <= *brace) ? *name_offset : *brace;
            entry = anchor;
            if (sole_return) returned_entry_site(sole_return, line_at(anchor), anchor);
            else block_entry_site(block, line_at(anchor), anchor, true);
            // A constructor defined outside its class also counts the line
            // that closes its parameters, where gcc starts its code.
            if (isa<CXXConstructorDecl>(fd) && fd->isOutOfLine() && counting_lines())
                if (FunctionTypeLoc type = fd->getFunctionTypeLoc()) {
                    std::optional<unsigned> close = main_offset(type.getRParenLoc());
                    if (close && line_at(*close) > line_at(anchor) && *close < *brace)
                        block_entry_site(block, line_at(*close), *close, false);
                }
            std::optional<unsigned> close = main_offset(block->getRBracLoc());
            // A constructor defined in its class (not in a template) without
            // member initialisers starts its code at the opening brace of its
            // body: on a line of its own, gcov counts it as often as the
            // constructor runs.
            if (auto* ctor = dyn_cast<CXXConstructorDecl>(fd); ctor && !fd->isOutOfLine() && !in_template_ &&
                std::none_of(ctor->init_begin(), ctor->init_end(),
                             [](const CXXCtorInitializer* i) { return i->isWritten(); }) &&
                line_at(*brace) > line_at(anchor) && !(close && line_at(*close) == line_at(*brace)) &&
                counting_lines()) {
                Site alias = new_site(line_at(*brace), *brace);
                alias.same_as = anchor;
                sites_.push_back(std::move(alias));
            }
            // "void f(int a,\n    int b) {}": gcov counts the end of an empty
            // body on its line, as often as the function is entered.
            if (close && brace && block->body_empty() && line_at(*brace) == line_at(*close) &&
                line_at(*close) > line_at(anchor) && counting_lines()) {
                Site alias = new_site(line_at(*close), *brace);
                alias.same_as = anchor;
                sites_.push_back(std::move(alias));
            }
            if (functions_)
                functions_->push_back({shown, line_at(anchor), close ? line_at(*close) : line_at(anchor), file_});
        } else if (block && !constexpr_function) {
            macro_brace_site(block->getLBracLoc(), "{", 1, shown, true);
        }
        std::string saved_name = std::move(enclosing_name_);
        enclosing_name_ = shown;
        for (const ParmVarDecl* p : fd->parameters())
            if (p->hasDefaultArg() && !p->hasUninstantiatedDefaultArg() && !p->hasUnparsedDefaultArg())
                walk_expr(p->getDefaultArg());
        if (auto* ctor = dyn_cast<CXXConstructorDecl>(fd)) {
            int from = name_line;
            for (const CXXCtorInitializer* init : ctor->inits()) {
                if (!init->isWritten()) continue;
                initializer_site(init, from, entry);
                std::optional<unsigned> at = main_offset(sm_.getExpansionLoc(init->getSourceLocation()));
                if (at) from = std::max(from, line_at(*at));
                walk_expr(init->getInit());
            }
        }
        // The first statement follows the entry, unless something runs
        // between them: member initialisers, a coroutine's start.
        if (sole_return) {
            walk_expr(sole_return->getRetValue());
            // Only counts that are expressions may stand there.
            if (std::any_of(sites_.begin() + first_site, sites_.end(), [](const Site& site) {
                    return std::any_of(site.probes.begin(), site.probes.end(), [](const Probe& p) {
                        return p.form != Probe::prefix && p.form != Probe::operand && p.form != Probe::decision;
                    });
                }))
                sites_.resize(first_site);
        } else if (block == body && entry && !coroutine && !isa<CXXConstructorDecl>(fd) &&
                   main_offset(body->getBeginLoc())) {
            walk_block(block, *entry);
        } else {
            walk(body, false);
        }

        guarded_ = saved_guarded;
        function_ = saved_function;
        in_template_ = saved_template;
        walking_ = saved_walking;
        enclosing_name_ = std::move(saved_name);
        loops_.swap(saved_loops);
    }

    // Whether the compiler makes code of a function in this translation
    // unit: a template only when code made here reaches an instance of it
    // (or it is instantiated explicitly), and in a header also an inline
    // function only when code made here reaches it. One that no object makes
    // never runs in the program, and gcov does not list it either; the maps
    // of the objects that do make it list its lines. (An unused inline
    // function of the source itself keeps its never-run lines, as llvm-cov
    // shows them.)
    bool emitted_here(const FunctionDecl* fd) {
        if (fd->hasAttr<UsedAttr>()) return true;
        if (auto* method = dyn_cast<CXXMethodDecl>(fd))
            if (method->getParent()->isLambda()) return true;  // walked with the function it is in
        if (!fd->isTemplated() && (file_ == 0 || !fd->isInlined())) return true;
        if (!emitted_code_) emitted_code_.emplace(ctx_);
        return fd->isTemplated() ? emitted_code_->instance_emitted(fd) : emitted_code_->emitted(fd);
    }

    // The name the reports show: qualified, and in C++ with the parameter
    // types (overloads stay apart); a lambda is named after the function it
    // is written in and its line, as "f(int)::{lambda@12}".
    std::string function_name(const FunctionDecl* fd, int line) const {
        auto* method = dyn_cast<CXXMethodDecl>(fd);
        if (method && method->getParent()->isLambda())
            return (enclosing_name_.empty() ? std::string() : enclosing_name_ + "::") + "{lambda@" +
                   std::to_string(line) + "}";
        std::string name = fd->getQualifiedNameAsString();
        if (!lo_.CPlusPlus) return name;
        PrintingPolicy policy(lo_);
        policy.SuppressTagKeyword = true;
        name += "(";
        for (unsigned i = 0; i < fd->getNumParams(); ++i)
            name += (i ? ", " : "") + fd->getParamDecl(i)->getType().getAsString(policy);
        name += ")";
        if (method && method->isConst()) name += " const";
        return name;
    }

    // A member or base initialiser is counted on the line that names the
    // member, where gcc stores it, even when its arguments start below
    // ("name_(\n    value)"); its first argument becomes "(probe, argument)". One
    // without arguments ("table_()") has no place for a probe: its line
    // counts what the constructor's entry counts (entry: that site's anchor).
    void initializer_site(const CXXCtorInitializer* member, int from_line, std::optional<unsigned> entry) {
        const Expr* init = member->getInit();
        if (!init) return;
        std::optional<unsigned> named = main_offset(sm_.getExpansionLoc(member->getSourceLocation()));
        int line = named && !member->getSourceLocation().isMacroID() ? line_at(*named) : 0;
        const Expr* e = init->IgnoreImplicit();
        const Expr* first = nullptr;
        auto* made = dyn_cast<CXXConstructExpr>(e);
        if (made) {
            if (made->getNumArgs() > 0) first = made->getArg(0);
        } else if (auto* list = dyn_cast<ParenListExpr>(e)) {
            if (list->getNumExprs() > 0) first = list->getExpr(0);
        } else if (auto* braces = dyn_cast<InitListExpr>(e)) {
            if (braces->getNumInits() > 0) first = braces->getInit(0);
        } else if (!isa<ImplicitValueInitExpr>(e)) {
            first = init;  // "count_()" of a number stores a zero: written nowhere, like a construction
        }
        // A constant counts too ("done_(false)": the member is stored on
        // that line), except in braces, where a comma would make it narrow.
        bool braces = isa<InitListExpr>(e) || (made && made->isListInitialization());
        if (first && !braces && !made && !wrappable(first)) {
            null_pointer_site(first, from_line, line);
        } else if (first && !isa<CXXDefaultArgExpr>(first->IgnoreImplicit())) {
            operand_site(first, from_line, !braces, line);
        } else if (!first && entry && line > from_line && counting_lines() && !constant_context_) {
            Site alias = new_site(line, *named);
            alias.same_as = *entry;
            sites_.push_back(std::move(alias));
        }
    }

    // A loop of a macro's own text runs on the line of the macro's use: gcov
    // adds the rounds of a loop that lies on one line to the line's count
    // ("#define SKIP_SPACES(s) while (isspace(*s)) { s++; }"): those that go
    // round again, not the last one that a break or a return ends. A count at
    // the end of the loop's body and before its continues gives them (not for
    // a do-while). Where the body's continues are the macro's own text, which
    // takes no count, the start of the body counts instead (a break's round
    // then counts too). A body written after the use ("FOREACH(list, item) {",
    // as C libraries walk their lists) counts the rounds on the use's line
    // from inside it.
    // The body of a for, while or range-for loop; null for other statements.
    static const Stmt* loop_body(const Stmt* s) {
        if (auto* f = dyn_cast<ForStmt>(s)) return f->getBody();
        if (auto* w = dyn_cast<WhileStmt>(s)) return w->getBody();
        if (auto* r = dyn_cast<CXXForRangeStmt>(s)) return r->getBody();
        return nullptr;
    }
    // Whether a continue in s goes round the loop whose body s is.
    static bool has_own_continue(const Stmt* s) {
        if (!s || loop_body(s) || isa<DoStmt>(s)) return false;
        if (isa<ContinueStmt>(s)) return true;
        for (const Stmt* child : s->children())
            if (has_own_continue(child)) return true;
        return false;
    }
    void macro_loop_site(const Stmt* s, bool user_body, const LoopFrame& frame) {
        const Stmt* body = loop_body(s);
        auto* block = dyn_cast_or_null<CompoundStmt>(body);
        if (!body || !counting_lines()) return;
        if (block && block->getLBracLoc().isMacroID()) {
            if (has_own_continue(block)) macro_brace_site(block->getLBracLoc(), "{", 1, "", false);
            else macro_brace_site(block->getRBracLoc(), "}", 0, "", false);
            return;
        }
        // The use's own count (its entries) takes the rounds' probes too.
        std::optional<unsigned> use = begin_offset(s->getBeginLoc());
        if (!use || !user_body) return;
        Site* entries = counting_site(*use);
        if (!entries || !latch_probes(*entries, body, frame)) return;
        entries->follows = 0;  // no longer what the code before it counts
    }

    // A count after the opening brace of block, where the brace is a macro's
    // own text, not an argument's or another macro's: a function's entries
    // (function) or a loop's rounds. A function that a macro's use defines,
    // body and all ("GETTER(name, value)" with "#define GETTER(n, v) int n() {
    // return v; }"), counts its entries on the line of the use, as gcov does.
    // Nothing can be written inside the use, so the instrumented text defines
    // the macro again around it, with the count after the brace.
    // (A count before the closing brace, after = 0, counts the rounds that
    // reach the end of a loop's body.)
    void macro_brace_site(SourceLocation brace, llvm::StringRef spelling, unsigned after, const std::string& shown,
                          bool function) {
        std::pair<FileID, unsigned> spelled = sm_.getDecomposedLoc(sm_.getSpellingLoc(brace));
        if (brace.isMacroID() && sm_.getBufferData(spelled.first).substr(spelled.second, 1) == spelling)
            macro_copy_site(brace, spelled.second + after, 0, false, 1, shown, function);
    }

    // A class that a statement's macro defines, with a function that the
    // statement then calls ("do { class Helper { static void Execute() {
    // statement; } }; ...; Helper::Execute(); } while (0)", as test frameworks
    // check what a statement reports): gcc puts the function's code on the
    // use's line too, and gcov counts its entries there when its body is more
    // than one block (it has a call or a branch; gcov passes over a function's
    // last block).
    void macro_class_sites(const CXXRecordDecl* local) {
        for (const CXXMethodDecl* m : local->methods()) {
            auto* block = dyn_cast_or_null<CompoundStmt>(m->doesThisDeclarationHaveABody() ? m->getBody() : nullptr);
            if (block && block->getLBracLoc().isMacroID() && splits_into_blocks(block)) {
                bool saved_guarded = guarded_;
                guarded_ = m->isConstexpr();
                macro_brace_site(block->getLBracLoc(), "{", 1, function_name(m, 0), true);
                guarded_ = saved_guarded;
            }
        }
    }

    // Whether gcc makes more than one basic block of s: a call ends one, and
    // so does every branch.
    static bool splits_into_blocks(const Stmt* s) {
        if (!s) return false;
        if (is_call(s) || isa<IfStmt>(s) || isa<ForStmt>(s) || isa<WhileStmt>(s) || isa<DoStmt>(s) || isa<CXXForRangeStmt>(s) ||
            isa<SwitchStmt>(s) || isa<ReturnStmt>(s) || isa<GotoStmt>(s) || isa<CXXTryStmt>(s) ||
            isa<CXXThrowExpr>(s) || isa<AbstractConditionalOperator>(s))
            return true;
        if (auto* b = dyn_cast<BinaryOperator>(s))
            if (b->isLogicalOp()) return true;
        for (const Stmt* child : s->children())
            if (splits_into_blocks(child)) return true;
        return false;
    }

    // A constructor or destructor that a macro's definition defaults ("X() =
    // default;" in a test framework's class of each test): gcov counts its
    // entries on the line of the use too, and the copy of the macro gives it
    // a body that counts. A virtual destructor counts twice a call, as gcc
    // makes two functions of it there (the one that deletes calls the other).
    // Only in classes with virtual functions, which no constant expression
    // makes.
    void defaulted_in_macro_site(const FunctionDecl* fd, const std::string& shown) {
        auto* method = dyn_cast<CXXMethodDecl>(fd);
        if (!method || !method->getParent()->isPolymorphic() ||
            !(isa<CXXConstructorDecl>(method) || isa<CXXDestructorDecl>(method)))
            return;
        SourceLocation keyword = fd->getEndLoc();
        if (!keyword.isMacroID()) return;
        std::pair<FileID, unsigned> spelled = sm_.getDecomposedLoc(sm_.getSpellingLoc(keyword));
        llvm::StringRef text = sm_.getBufferData(spelled.first);
        // The declaration ends at the keyword's first or last character.
        size_t word = spelled.second;
        if (text.substr(word, 7) != "default" && word >= 6 && text.substr(word - 6, 7) == "default") word -= 6;
        if (text.substr(word, 7) != "default") return;
        size_t equals = text.substr(0, word).find_last_not_of(" \t\\\r\n");
        if (equals == llvm::StringRef::npos || text[equals] != '=') return;
        int repeat = isa<CXXDestructorDecl>(method) && method->isVirtual() ? 2 : 1;
        macro_copy_site(keyword, equals, word + 7 - equals, true, repeat, shown);
    }

    // A default constructor or a destructor defaulted outside its class
    // ("Features::Features() = default;"): gcc makes its code on the line of
    // its name, and gcov counts its entries there. Defaulted there, it is
    // the class's own function already (not trivial, its exceptions as
    // declared), so a body that counts means what the default means: "=
    // default;" becomes "{ count; } /* = default; */". Not a copy or a move,
    // whose default body copies; not a constexpr function or a template's.
    // A virtual destructor counts once a destruction, also where gcov counts
    // the function that deletes too. A virtual destructor defaulted inside
    // its class gets a body the same way ("virtual ~Handler() = default;"):
    // being virtual it is not trivial already, and a destructor plays no part
    // in how an object is made (a constructor defaulted there stays: with a
    // body of its own, T() would no longer zero the members).
    void defaulted_body_site(const FunctionDecl* fd) {
        auto* method = dyn_cast<CXXMethodDecl>(fd);
        bool virtual_destructor = isa<CXXDestructorDecl>(fd) && method->isVirtual();
        if (!fd->isExplicitlyDefaulted() || !(fd->isOutOfLine() || virtual_destructor) || !emitted_here(fd)) return;
        auto* ctor = dyn_cast<CXXConstructorDecl>(fd);
        if (!(ctor && ctor->isDefaultConstructor()) && !isa<CXXDestructorDecl>(fd)) return;
        // Its end may lie in a macro ("~X() NOEXCEPT = default;"): the
        // tokens after the parameters are read from the file below.
        if (fd->isConstexpr() || fd->isTemplated() || fd->getLocation().isMacroID()) return;
        std::optional<unsigned> name = main_offset(fd->getLocation());
        FunctionTypeLoc type = fd->getFunctionTypeLoc();
        std::optional<unsigned> close = type ? main_offset(type.getRParenLoc()) : std::nullopt;
        if (!name || !close) return;
        // "= default;" after the parameters (and "noexcept", "override", a
        // macro's name), comments aside (raw tokens: keywords are identifiers).
        auto next = [&](const llvm::Optional<Token>& t) {
            return t ? Lexer::findNextToken(t->getLocation(), sm_, lo_) : llvm::Optional<Token>();
        };
        llvm::Optional<Token> tok = Lexer::findNextToken(type.getRParenLoc(), sm_, lo_);
        for (int n = 0; tok && tok->is(tok::raw_identifier) && n < 8; ++n) tok = next(tok);
        llvm::Optional<Token> word = next(tok);
        llvm::Optional<Token> semi = next(word);
        if (!tok || !tok->is(tok::equal) || !word || !word->is(tok::raw_identifier) ||
            word->getRawIdentifier() != "default" || !semi || !semi->is(tok::semi))
            return;
        std::optional<unsigned> equals_at = main_offset(tok->getLocation());
        std::optional<unsigned> semicolon_at = main_offset(semi->getLocation());
        if (!equals_at || !semicolon_at) return;
        unsigned equals = *equals_at, semicolon = *semicolon_at;
        if (text_.slice(equals, semicolon).contains('/')) return;  // a comment inside would end the new one
        int line = line_at(*name);
        int saved_function = function_;
        function_ = ++functions_seen_;
        Site site = new_site(line, equals);
        site.function_entry = true;
        Probe p{Probe::default_body, equals};
        p.end = semicolon + 1;
        site.probes.push_back(p);
        sites_.push_back(std::move(site));
        function_ = saved_function;
        if (functions_) functions_->push_back({function_name(fd, line), line, line_at(semicolon), file_});
    }

    // A count written into a copy of the macro whose definition spells the
    // code at loc: at byte at of that definition's file, in place of cut
    // bytes, in braces or not, repeat times; around the use in the file that
    // the code's expansion comes from. A function's entries (function) also
    // name the function in the map.
    void macro_copy_site(SourceLocation loc, size_t at, size_t cut, bool braces, int repeat, const std::string& shown,
                         bool function = true) {
        if (!loc.isMacroID() || sm_.isMacroArgExpansion(loc)) return;
        CharSourceRange use = sm_.getExpansionRange(loc);
        std::optional<unsigned> begin = main_offset(use.getBegin());
        std::optional<unsigned> end = main_offset(Lexer::getLocForEndOfToken(use.getEnd(), 0, sm_, lo_));
        if (!begin || !end || *end <= *begin || !macro_copies_.insert({*begin, at}).second) return;
        // The definition's text: its logical line, from the macro's name.
        FileID defined_in = sm_.getFileID(sm_.getSpellingLoc(loc));
        llvm::StringRef text = sm_.getBufferData(defined_in);
        std::string name = Lexer::getImmediateMacroName(loc, sm_, lo_).str();
        if (name.empty() || at + cut > text.size()) return;
        // Whether the line break at newline continues the line ("\\\n", "\\\r\n").
        auto continued = [&](size_t newline) {
            size_t before = newline;
            if (before > 0 && text[before - 1] == '\r') --before;
            return before > 0 && text[before - 1] == '\\';
        };
        size_t start = text.rfind('\n', at);
        start = start == llvm::StringRef::npos ? 0 : start + 1;
        while (start >= 1 && continued(start - 1)) {
            size_t before = start >= 2 ? text.rfind('\n', start - 2) : llvm::StringRef::npos;
            start = before == llvm::StringRef::npos ? 0 : before + 1;
        }
        size_t stop = at + cut;
        while (stop < text.size() && !(text[stop] == '\n' && !continued(stop))) ++stop;
        llvm::StringRef head = text.slice(start, at).ltrim();
        if (!head.consume_front("#")) return;
        head = head.ltrim();
        if (!head.consume_front("define")) return;
        head = head.ltrim();
        if (!head.startswith(name)) return;
        size_t definition_start = at - head.size();
        Site site = new_site(line_at(*begin), *begin);
        site.function_entry = function;
        site.function = ++functions_seen_;  // a count of its own, though on the line of others
        Probe p{Probe::macro_copy, *begin};
        p.end = *end;
        p.macro = std::make_shared<MacroCopy>(MacroCopy{name, text.slice(definition_start, stop).str(),
                                                        at - definition_start, cut, braces, repeat, line_at(*end)});
        site.probes.push_back(p);
        sites_.push_back(std::move(site));
        if (functions_ && function) functions_->push_back({shown, line_at(*begin), line_at(*end), file_});
    }

    bool is_lambda_without_constexpr(const FunctionDecl* fd) const {
        auto* method = dyn_cast<CXXMethodDecl>(fd);
        if (!method || !method->getParent()->isLambda()) return false;
        std::optional<unsigned> begin = main_offset(method->getParent()->getBeginLoc());
        const CompoundStmt* body = dyn_cast_or_null<CompoundStmt>(fd->getBody());
        std::optional<unsigned> brace = body ? main_offset(body->getLBracLoc()) : std::nullopt;
        if (!begin || !brace || *brace < *begin) return false;
        return !text_.slice(*begin, *brace).contains("constexpr");
    }

    void walk_decl(const Decl* d) {
        if (!d || d->isImplicit()) return;
        CurrentFile saved;
        if (!enter_file_of(d, &saved)) return;
        walk_decl_here(d);
        leave_file(saved);
    }

    void walk_decl_here(const Decl* d) {
        if (auto* ns = dyn_cast<NamespaceDecl>(d)) {
            for (const Decl* child : ns->decls()) walk_decl(child);
        } else if (auto* ls = dyn_cast<LinkageSpecDecl>(d)) {
            for (const Decl* child : ls->decls()) walk_decl(child);
        } else if (auto* ex = dyn_cast<ExportDecl>(d)) {
            for (const Decl* child : ex->decls()) walk_decl(child);
        } else if (auto* ft = dyn_cast<FunctionTemplateDecl>(d)) {
            walk_decl(ft->getTemplatedDecl());
        } else if (auto* ct = dyn_cast<ClassTemplateDecl>(d)) {
            walk_decl(ct->getTemplatedDecl());
        } else if (auto* vt = dyn_cast<VarTemplateDecl>(d)) {
            walk_decl(vt->getTemplatedDecl());
        } else if (auto* rd = dyn_cast<RecordDecl>(d)) {
            // Instantiations share the text of their template: only the
            // template and explicit specialisations are walked.
            if (auto* cts = dyn_cast<ClassTemplateSpecializationDecl>(d))
                if (!isa<ClassTemplatePartialSpecializationDecl>(d) &&
                    cts->getSpecializationKind() != TSK_ExplicitSpecialization)
                    return;
            if (!rd->isThisDeclarationADefinition()) return;
            for (const Decl* child : rd->decls()) walk_decl(child);
        } else if (auto* fr = dyn_cast<FriendDecl>(d)) {
            walk_decl(fr->getFriendDecl());
        } else if (auto* fd = dyn_cast<FunctionDecl>(d)) {
            TemplateSpecializationKind kind = fd->getTemplateSpecializationKind();
            if (kind == TSK_ImplicitInstantiation || kind == TSK_ExplicitInstantiationDeclaration ||
                kind == TSK_ExplicitInstantiationDefinition)
                return;
            if (fd->doesThisDeclarationHaveABody()) walk_function(fd, fd->getBody(), fd->getLocation());
            else defaulted_body_site(fd);
        } else if (auto* field = dyn_cast<FieldDecl>(d)) {
            // A constexpr constructor, or a constant aggregate, runs the
            // initialiser at compile time too: its counts are guarded.
            bool saved_guarded = guarded_;
            guarded_ = guarded_ || lo_.CPlusPlus;
            walk_expr(field->getInClassInitializer());
            guarded_ = saved_guarded;
        } else if (auto* v = dyn_cast<VarDecl>(d)) {
            // "static constexpr bool value = A::value && B::value;" in a class.
            bool saved_constant = constant_context_;
            constant_context_ = constant_context_ || stays_constant(v);
            walk_expr(v->getInit());
            constant_context_ = saved_constant;
        }
    }

    ASTContext& ctx_;
    SourceManager& sm_;
    const LangOptions& lo_;
    ProbeStyle style_;
    const SiteOptions& options_;
    FileID main_;             // the file being walked
    llvm::StringRef text_;    // its text
    int file_ = 0;            // its index
    std::vector<FileID> file_ids_;
    std::map<FileID, int> index_of_;
    bool constant_context_ = false;  // walking what must stay a constant expression
    std::vector<Site> sites_;
    std::set<const Stmt*> seen_bodies_;
    std::set<std::pair<unsigned, size_t>> macro_copies_;  // macro uses and the places of counts in their copies
    std::set<unsigned> cases_in_uses_;                   // macro uses that write a case
    std::set<const Expr*> chained_calls_;  // calls placed with another: in a counted chain, or arguments
    std::set<const CXXOperatorCallExpr*> end_chain_inner_;  // operators whose chain counts its end already
    std::set<const Expr*> counted_by_statement_;  // operands whose line their statement counts
    std::set<const Stmt*> chained_labels_;
    // Cases whose block gcc joins to the next case's (see merge_empty_case),
    // and the line and anchor that the next case's count is shown on too.
    std::set<const Stmt*> merged_cases_;
    std::map<const Stmt*, std::pair<int, unsigned>> carried_lines_;
    // The statement of a block whose site may follow the site at base, and
    // whether that statement got a site (see walk_block).
    struct Follow {
        const Stmt* target = nullptr;
        unsigned base = 0;
        bool counted = false;
    };
    Follow follow_;
    std::map<const FunctionDecl*, bool> plain_functions_;  // see returns_plainly
    int plain_depth_ = 0;
    bool plain_cut_ = false;
    std::map<std::pair<int, unsigned>, std::vector<OutcomeSource>> operand_sources_;  // see last_operand_sources
    std::map<std::pair<int, unsigned>, size_t> decision_at_;  // (file, anchor) -> index of its decision site
    std::vector<LoopFrame> loops_;
    std::vector<FunctionLines>* functions_;
    std::string enclosing_name_;  // of the function being walked
    bool guarded_ = false;
    int function_ = 0;        // the function being walked
    mutable std::optional<std::set<const VarDecl*>> address_taken_;  // made when first asked
    bool in_template_ = false;  // the function is a template, or inside one
    const FunctionDecl* walking_ = nullptr;  // the declaration of that function
    std::optional<std::map<const FunctionDecl*, const FunctionDecl*>> instantiations_;  // made when first asked
    std::map<const FunctionDecl*, StatementIndex> statements_of_;
    std::optional<EmittedCode> emitted_code_;  // found when first needed
    int functions_seen_ = 0;
};

}  // namespace

bool in_system_header(ASTContext& context, const SiteOptions& options, unsigned raw_location) {
    SourceManager& sm = context.getSourceManager();
    SourceLocation loc = SourceLocation::getFromRawEncoding(raw_location);
    if (!sm.isInSystemHeader(loc)) return false;
    const FileEntry* entry = sm.getFileEntryForID(sm.getFileID(loc));
    if (!entry || options.command_system_folders.empty()) return true;
    llvm::SmallString<256> path(entry->getName());
    llvm::sys::fs::make_absolute(path);
    llvm::sys::path::remove_dots(path, true);
    for (const std::string& folder : options.command_system_folders)
        if (path.size() > folder.size() && path.str().startswith(folder) && path[folder.size()] == '/') return false;
    return true;
}

std::vector<Site> find_probe_sites(ASTContext& context, const SiteOptions& options,
                                   std::vector<FunctionLines>* functions, std::vector<FileID>* files) {
    SiteFinder finder(context, options, functions);
    std::vector<Site> sites = finder.run();
    if (files) *files = finder.files();
    return sites;
}

}  // namespace mirt_instrument
