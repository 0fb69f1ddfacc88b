// instrumenter.cpp: runs Clang's front end on a source and renders its probes.
#include "instrumenter.h"

#include <clang/AST/ASTConsumer.h>
#include <clang/AST/ASTContext.h>
#include <clang/Basic/Diagnostic.h>
#include <clang/Basic/SourceManager.h>
#include <clang/Frontend/CompilerInstance.h>
#include <clang/Frontend/FrontendAction.h>
#include <clang/Tooling/Tooling.h>
#include <llvm/ADT/SmallString.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "compiler_query.h"
#include "probe_sites.h"

namespace mirt_instrument {
namespace {

// Keeps the first error; warnings are not shown (the real compiler shows its own).
class ErrorCollector : public clang::DiagnosticConsumer {
public:
    void HandleDiagnostic(clang::DiagnosticsEngine::Level level, const clang::Diagnostic& info) override {
        clang::DiagnosticConsumer::HandleDiagnostic(level, info);
        if (level < clang::DiagnosticsEngine::Error || !first_error.empty()) return;
        llvm::SmallString<256> message;
        info.FormatDiagnostic(message);
        std::string where;
        if (info.hasSourceManager() && info.getLocation().isValid()) {
            clang::PresumedLoc p = info.getSourceManager().getPresumedLoc(info.getLocation());
            if (p.isValid()) where = std::string(p.getFilename()) + ":" + std::to_string(p.getLine()) + ": ";
        }
        first_error = where + std::string(message.str());
    }
    std::string first_error;
};

struct Findings {
    bool done = false;
    std::vector<Site> sites;
    std::vector<FunctionLines> functions;
    std::string text;
    bool cplusplus = false;
};

class SiteConsumer : public clang::ASTConsumer {
public:
    SiteConsumer(ProbeStyle style, Findings* out) : style_(style), out_(out) {}
    void HandleTranslationUnit(clang::ASTContext& context) override {
        if (context.getDiagnostics().hasErrorOccurred()) return;
        clang::SourceManager& sm = context.getSourceManager();
        out_->text = std::string(sm.getBufferData(sm.getMainFileID()));
        out_->cplusplus = context.getLangOpts().CPlusPlus;
        out_->sites = find_probe_sites(context, style_, &out_->functions);
        out_->done = true;
    }

private:
    ProbeStyle style_;
    Findings* out_;
};

class SiteAction : public clang::ASTFrontendAction {
public:
    SiteAction(ProbeStyle style, Findings* out) : style_(style), out_(out) {}
    std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance&, llvm::StringRef) override {
        return std::make_unique<SiteConsumer>(style_, out_);
    }

private:
    ProbeStyle style_;
    Findings* out_;
};

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

InstrumentResult instrument_source(const std::string& source, Language language,
                                   const std::vector<std::string>& clang_args, ProbeStyle style) {
    InstrumentResult result;
    if (!read_whole_file(source, &result.text)) {
        result.problem = "cannot read " + source;
        return result;
    }
    result.original = result.text;
    std::vector<std::string> argv = {"clang", "-fsyntax-only", "-w", "-fno-color-diagnostics",
                                     "-fno-caret-diagnostics"};
    argv.insert(argv.end(), clang_args.begin(), clang_args.end());
    argv.push_back("-x");
    argv.push_back(language == Language::c ? "c" : "c++");
    argv.push_back(source);

    Findings findings;
    ErrorCollector errors;
    bool ran = false;
    try {
        llvm::IntrusiveRefCntPtr<clang::FileManager> files(new clang::FileManager(clang::FileSystemOptions()));
        clang::tooling::ToolInvocation invocation(argv, std::make_unique<SiteAction>(style, &findings), files.get());
        invocation.setDiagnosticConsumer(&errors);
        ran = invocation.run();
    } catch (...) {
        ran = false;
    }
    if (!ran || !findings.done || errors.getNumErrors() > 0) {
        result.problem = errors.first_error.empty() ? "Clang could not parse it" : errors.first_error;
        return result;
    }
    std::vector<Site> selected = select_sites(std::move(findings.sites));
    SourceText text{source, findings.text, findings.cplusplus};
    result.text = render_instrumented(text, style, selected);
    result.lines = counted_lines(selected);
    result.functions = std::move(findings.functions);
    result.parsed = true;
    return result;
}

}  // namespace mirt_instrument
