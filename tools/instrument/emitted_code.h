// emitted_code.h: which functions a translation unit makes code of.
//
// A compiler makes code of the functions it must (defined here, not inline,
// with external linkage; explicit instantiations; those marked used) and,
// from their code onwards, of every inline function, template instance and
// function of internal linkage that this code reaches: by a call, a
// construction or destruction, an address taken, or the virtual-function
// table of a class whose objects it makes. What no such code reaches gets no
// code, here or anywhere, and never runs; gcc and clang alike leave it out.
#ifndef MIRT_INSTRUMENT_EMITTED_CODE_H
#define MIRT_INSTRUMENT_EMITTED_CODE_H

#include <clang/AST/ASTContext.h>
#include <clang/AST/Decl.h>

#include <set>
#include <vector>

namespace mirt_instrument {

class EmittedCode {
public:
    explicit EmittedCode(clang::ASTContext& context);
    // Whether the function (a definition or any declaration of it) gets code.
    bool emitted(const clang::FunctionDecl* fd) const;
    // Whether some instance of a templated function (a function template, a
    // member of a class template at any depth) gets code.
    bool instance_emitted(const clang::FunctionDecl* pattern) const;

    // Steps of the walk, for the visitor that finds what code refers to.
    void reach(const clang::FunctionDecl* fd);
    void reach_variable(const clang::VarDecl* vd);
    void reach_class(const clang::CXXRecordDecl* rd);
    void reach_destructor_of(clang::QualType type);

private:
    void walk(const clang::FunctionDecl* definition);

    clang::ASTContext& ctx_;
    std::set<const clang::FunctionDecl*> reached_;  // canonical declarations
    std::set<const clang::VarDecl*> variables_;
    std::set<const clang::CXXRecordDecl*> classes_;
    std::set<const clang::FunctionDecl*> patterns_;  // canonical declarations
    std::vector<const clang::FunctionDecl*> pending_;
};

}  // namespace mirt_instrument

#endif
