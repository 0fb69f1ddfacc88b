// instrumenter.cpp: runs Clang's front end on a source and renders its probes.
#include "tools/instrument/instrumenter.h"

#include <clang/AST/ASTConsumer.h>
#include <clang/AST/ASTContext.h>
#include <clang/Basic/Diagnostic.h>
#include <clang/Basic/SourceManager.h>
#include <clang/Frontend/CompilerInstance.h>
#include <clang/Frontend/FrontendAction.h>
#include <clang/Tooling/Tooling.h>
#include <llvm/ADT/SmallString.h>
#include <llvm/Support/MemoryBuffer.h>
#include <llvm/Support/VirtualFileSystem.h>

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <fstream>
#include <set>
#include <memory>
#include <sstream>

#include "tools/instrument/compiler_query.h"
#include "tools/instrument/line_map.h"
#include "tools/instrument/probe_sites.h"

namespace mirt_instrument {
namespace {

// Keeps the first error; warnings are not shown (the real compiler shows its
// own). Also notes the GCC built-ins that Clang does not know, and whether
// every error was about one of them.
class ErrorCollector : public clang::DiagnosticConsumer {
public:
    void HandleDiagnostic(clang::DiagnosticsEngine::Level level, const clang::Diagnostic& info) override {
        clang::DiagnosticConsumer::HandleDiagnostic(level, info);
        if (level < clang::DiagnosticsEngine::Error) return;
        llvm::SmallString<256> message;
        info.FormatDiagnostic(message);
        llvm::StringRef text = message.str();
        const llvm::StringRef undeclared = "use of undeclared identifier '__builtin_";
        if (text.startswith(undeclared) && text.endswith("'"))
            unknown_builtins.insert(text.drop_front(undeclared.size() - 10).drop_back(1).str());
        else
            other_errors = true;
        if (!first_error.empty()) return;
        std::string where;
        if (info.hasSourceManager() && info.getLocation().isValid()) {
            clang::PresumedLoc p = info.getSourceManager().getPresumedLoc(info.getLocation());
            if (p.isValid()) where = std::string(p.getFilename()) + ":" + std::to_string(p.getLine()) + ": ";
        }
        first_error = where + std::string(message.str());
    }
    void reset() {
        clear();
        first_error.clear();
        unknown_builtins.clear();
        other_errors = false;
    }
    std::string first_error;
    std::set<std::string> unknown_builtins;
    bool other_errors = false;
};

// The declarations that a parse may read first: no file of the project.
const char* const virtual_header = "/mirt-cc-builtins.h";

struct FoundFile {
    std::string spelled;  // the name the compiler found it by
    std::string text;
};

struct Findings {
    bool done = false;
    std::vector<Site> sites;
    std::vector<FunctionLines> functions;
    std::vector<FoundFile> files;  // [0] the main file; the sites' files first, then every other user file
    bool cplusplus = false;
};

class SiteConsumer : public clang::ASTConsumer {
public:
    SiteConsumer(const SiteOptions& options, Findings* out) : options_(options), out_(out) {}
    void HandleTranslationUnit(clang::ASTContext& context) override {
        if (context.getDiagnostics().hasErrorOccurred()) return;
        clang::SourceManager& sm = context.getSourceManager();
        out_->cplusplus = context.getLangOpts().CPlusPlus;
        std::vector<clang::FileID> ids;
        out_->sites = find_probe_sites(context, options_, &out_->functions, &ids);
        std::set<clang::FileID> listed(ids.begin(), ids.end());
        if (options_.headers) {
            // Every other file of the project that was read, in a fixed order.
            std::vector<std::pair<std::string, clang::FileID>> rest;
            for (auto it = sm.fileinfo_begin(); it != sm.fileinfo_end(); ++it) {
                clang::FileID fid = sm.translateFile(it->first);
                if (fid.isInvalid() || listed.count(fid) ||
                    in_system_header(context, options_, sm.getLocForStartOfFile(fid).getRawEncoding()) ||
                    it->first->getName() == virtual_header)
                    continue;
                rest.push_back({it->first->getName().str(), fid});
            }
            std::sort(rest.begin(), rest.end());
            for (const auto& r : rest) ids.push_back(r.second);
        }
        for (clang::FileID fid : ids) {
            const clang::FileEntry* entry = sm.getFileEntryForID(fid);
            out_->files.push_back({entry ? entry->getName().str() : "", std::string(sm.getBufferData(fid))});
        }
        out_->done = true;
    }

private:
    const SiteOptions& options_;
    Findings* out_;
};

class SiteAction : public clang::ASTFrontendAction {
public:
    SiteAction(const SiteOptions& options, Findings* out) : options_(options), out_(out) {}
    std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance&, llvm::StringRef) override {
        return std::make_unique<SiteConsumer>(options_, out_);
    }

private:
    const SiteOptions& options_;
    Findings* out_;
};

// Runs Clang's front end; declarations, when given, are read before the source.
bool parse(std::vector<std::string> argv, const SiteOptions& options, const std::string& declarations,
           Findings* findings, ErrorCollector* errors) {
    if (!declarations.empty()) argv.insert(argv.end() - 1, {"-include", virtual_header});
    try {
        llvm::IntrusiveRefCntPtr<llvm::vfs::OverlayFileSystem> overlay(
            new llvm::vfs::OverlayFileSystem(llvm::vfs::getRealFileSystem()));
        if (!declarations.empty()) {
            llvm::IntrusiveRefCntPtr<llvm::vfs::InMemoryFileSystem> memory(new llvm::vfs::InMemoryFileSystem);
            memory->addFile(virtual_header, 0, llvm::MemoryBuffer::getMemBufferCopy(declarations));
            overlay->pushOverlay(memory);
        }
        llvm::IntrusiveRefCntPtr<clang::FileManager> files(
            new clang::FileManager(clang::FileSystemOptions(), overlay));
        clang::tooling::ToolInvocation invocation(argv, std::make_unique<SiteAction>(options, findings), files.get());
        invocation.setDiagnosticConsumer(errors);
        return invocation.run();
    } catch (...) {
        return false;
    }
}

// Clang's parse of a source with a large library's headers takes one to
// three hundred megabytes in small pieces, and the first touch of each 4 KB
// page is a page fault: a fourth of the parse's time on a virtual machine.
// The heap grows here in one large step (untouched, it costs nothing), which
// the kernel is asked to back with 2 MB pages where it can; big blocks come
// from the heap too.
// Nothing changes where the kernel gives none (the advice is only advice).
void prefer_large_pages() {
    static bool done = false;
    if (done) return;
    done = true;
    const size_t step = size_t(1) << 30;
    const uintptr_t large = uintptr_t(2) << 20;
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_TOP_PAD, static_cast<int>(step));
    uintptr_t before = reinterpret_cast<uintptr_t>(sbrk(0));
    void* volatile grown = malloc(1 << 20);  // volatile: kept, not paired away with its free
    free(grown);
    uintptr_t after = reinterpret_cast<uintptr_t>(sbrk(0));
    mallopt(M_TOP_PAD, 128 << 10);  // later growth (past the large step, or where it failed) as usual
    uintptr_t from = (before + large - 1) & ~(large - 1);
    if (after > from) madvise(reinterpret_cast<void*>(from), after - from, MADV_HUGEPAGE);
}

// Relative to the working folder when path lies under it, else absolute.
std::string probe_name(const std::string& absolute) {
    std::string here = current_folder();
    if (here.size() > 1 && absolute.size() > here.size() + 1 && absolute.compare(0, here.size(), here) == 0 &&
        absolute[here.size()] == '/')
        return absolute.substr(here.size() + 1);
    return absolute;
}

bool read_whole_file(const std::string& path, std::string* text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    *text = s.str();
    return true;
}

}  // namespace

std::vector<std::string> clang_arguments_for(const CompileCommand& command, Language language) {
    CompilerSetup setup;
    if (!command.compiler.empty()) setup = query_compiler(command.compiler, driver_flags(command), language);
    return clang_arguments(setup, parse_flags(command), MIRT_CLANG_RESOURCE_DIR);
}

std::string absolute_path(const std::string& path) {
    std::string whole = (!path.empty() && path[0] == '/') ? path : current_folder() + "/" + path;
    std::vector<std::string> parts;
    size_t start = 1;
    while (start <= whole.size()) {
        size_t slash = whole.find('/', start);
        if (slash == std::string::npos) slash = whole.size();
        std::string part = whole.substr(start, slash - start);
        if (part == "..") {
            if (!parts.empty()) parts.pop_back();
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        start = slash + 1;
    }
    std::string out;
    for (const std::string& part : parts) out += "/" + part;
    return out.empty() ? "/" : out;
}

InstrumentResult instrument_source(const std::string& source, Language language,
                                   const std::vector<std::string>& clang_args, const SiteOptions& options) {
    InstrumentResult result;
    prefer_large_pages();
    if (!read_whole_file(source, &result.text)) {
        result.problem = "cannot read " + source;
        return result;
    }
    result.original = result.text;
    std::vector<std::string> argv = {"clang", "-fsyntax-only", "-w", "-fno-color-diagnostics",
                                     "-fno-caret-diagnostics"};
    // GCC takes a call of an undeclared function (a GCC-only built-in among
    // them) in C with a warning; Clang makes it an error.
    if (language == Language::c) argv.push_back("-Wno-error=implicit-function-declaration");
    argv.insert(argv.end(), clang_args.begin(), clang_args.end());
    argv.push_back("-x");
    argv.push_back(language == Language::c ? "c" : "c++");
    argv.push_back(source);

    Findings findings;
    ErrorCollector errors;
    bool ran = parse(argv, options, "", &findings, &errors);
    // C++ built-ins of GCC's that Clang does not know: declared for the parse
    // alone (the real compiler knows them), and parsed once more.
    if ((!ran || errors.getNumErrors() > 0) && !errors.unknown_builtins.empty() && !errors.other_errors) {
        std::string declarations = "extern \"C\" {\n";
        for (const std::string& name : errors.unknown_builtins) declarations += "int " + name + "(...);\n";
        declarations += "}\n";
        findings = Findings();
        errors.reset();
        ran = parse(argv, options, declarations, &findings, &errors);
    }
    if (!ran || !findings.done || errors.getNumErrors() > 0) {
        result.problem = errors.first_error.empty() ? "Clang could not parse it" : errors.first_error;
        return result;
    }
    auto first_alias = std::stable_partition(findings.sites.begin(), findings.sites.end(),
                                             [](const Site& site) { return site.same_as == 0; });
    std::vector<Site> aliases(std::make_move_iterator(first_alias), std::make_move_iterator(findings.sites.end()));
    findings.sites.erase(first_alias, findings.sites.end());
    std::vector<Site> selected = select_sites(std::move(findings.sites), &aliases);
    std::vector<SourceText> texts;
    for (size_t j = 0; j < findings.files.size(); ++j) {
        if (j == 0) {
            texts.push_back({source, findings.files[0].text, findings.cplusplus});
            continue;
        }
        ProjectFile other;
        other.path = absolute_path(findings.files[j].spelled);
        other.name = probe_name(other.path);
        other.original = findings.files[j].text;
        other.aliases = line_aliases(aliases, selected, static_cast<int>(j));
        other.lines = counted_lines(selected, static_cast<int>(j), other.aliases);
        other.branches = branch_outcomes(selected, static_cast<int>(j));
        // The #line keeps __FILE__ as the original build has it.
        texts.push_back({other.name, findings.files[j].text, findings.cplusplus, findings.files[j].spelled});
        result.others.push_back(std::move(other));
    }
    std::vector<std::string> copies = render_unit(texts, options.style, selected);
    for (size_t j = 1; j < copies.size(); ++j) {
        ProjectFile& other = result.others[j - 1];
        // A file with no probes is its original under a #line; one that does
        // have probes names them by its probe name.
        other.text = other.lines.empty() && other.branches.empty() && copies[j] == texts[j].text
                         ? "#line 1 " + quoted(texts[j].shown) + "\n" + texts[j].text
                         : copies[j];
    }
    result.text = copies[0];
    result.aliases = line_aliases(aliases, selected, 0);
    result.lines = counted_lines(selected, 0, result.aliases);
    result.branches = branch_outcomes(selected, 0);
    for (FunctionLines& f : findings.functions) {
        if (f.file == 0) result.functions.push_back(f);
        else result.others[static_cast<size_t>(f.file) - 1].functions.push_back(f);
    }
    result.parsed = true;
    return result;
}

}  // namespace mirt_instrument
