// emitted_code.cpp: which functions a translation unit makes code of.
#include "tools/instrument/emitted_code.h"

#include <clang/AST/Attr.h>
#include <clang/AST/DeclCXX.h>
#include <clang/AST/ExprCXX.h>
#include <clang/AST/RecursiveASTVisitor.h>

using namespace clang;

namespace mirt_instrument {
namespace {

// What a piece of code refers to. Anything it names counts, evaluated or not:
// taking too much keeps probes that gcov would not list, taking too little
// would lose counts of code that runs.
class References : public RecursiveASTVisitor<References> {
public:
    explicit References(EmittedCode* code) : code_(code) {}
    bool shouldVisitImplicitCode() const { return true; }

    bool VisitDeclRefExpr(DeclRefExpr* e) { return refer(e->getDecl()); }
    bool VisitMemberExpr(MemberExpr* e) { return refer(e->getMemberDecl()); }
    bool VisitCXXConstructExpr(CXXConstructExpr* e) {
        code_->reach(e->getConstructor());
        code_->reach_destructor_of(e->getType());
        return true;
    }
    bool VisitCXXInheritedCtorInitExpr(CXXInheritedCtorInitExpr* e) {
        code_->reach(e->getConstructor());
        return true;
    }
    bool VisitCXXNewExpr(CXXNewExpr* e) {
        code_->reach(e->getOperatorNew());
        code_->reach(e->getOperatorDelete());
        return true;
    }
    bool VisitCXXDeleteExpr(CXXDeleteExpr* e) {
        code_->reach(e->getOperatorDelete());
        if (!e->getDestroyedType().isNull()) code_->reach_destructor_of(e->getDestroyedType());
        return true;
    }
    bool VisitCXXBindTemporaryExpr(CXXBindTemporaryExpr* e) {
        code_->reach(e->getTemporary()->getDestructor());
        return true;
    }
    bool VisitCXXThrowExpr(CXXThrowExpr* e) {
        if (e->getSubExpr()) code_->reach_destructor_of(e->getSubExpr()->getType());
        return true;
    }
    // Default arguments and member initialisers are code of the caller.
    bool VisitCXXDefaultArgExpr(CXXDefaultArgExpr* e) { return TraverseStmt(e->getExpr()); }
    bool VisitCXXDefaultInitExpr(CXXDefaultInitExpr* e) { return TraverseStmt(e->getExpr()); }
    // Locals (catch parameters among them) are destroyed where they end.
    bool VisitVarDecl(VarDecl* vd) {
        code_->reach_destructor_of(vd->getType());
        if (auto* cleanup = vd->getAttr<CleanupAttr>()) code_->reach(cleanup->getFunctionDecl());
        if (vd->hasGlobalStorage() && !vd->isStaticLocal()) code_->reach_variable(vd);
        return true;
    }

private:
    bool refer(const ValueDecl* d) {
        if (auto* fd = dyn_cast_or_null<FunctionDecl>(d)) code_->reach(fd);
        else if (auto* vd = dyn_cast_or_null<VarDecl>(d); vd && vd->hasGlobalStorage()) code_->reach_variable(vd);
        return true;
    }
    EmittedCode* code_;
};

// The functions and variables that get code whether or not anything uses
// them: the roots of the walk.
class Roots : public RecursiveASTVisitor<Roots> {
public:
    Roots(ASTContext& ctx, EmittedCode* code) : ctx_(ctx), code_(code) {}
    bool shouldVisitTemplateInstantiations() const { return true; }
    bool shouldVisitImplicitCode() const { return true; }
    bool VisitFunctionDecl(FunctionDecl* fd) {
        if (!fd->doesThisDeclarationHaveABody() || fd->isTemplated() || fd->isInvalidDecl()) return true;
        if (fd->hasAttr<ConstructorAttr>() || fd->hasAttr<DestructorAttr>() || ctx_.DeclMustBeEmitted(fd))
            code_->reach(fd);
        return true;
    }
    bool VisitVarDecl(VarDecl* vd) {
        if (!vd->hasGlobalStorage() || vd->isStaticLocal() || vd->isTemplated() || vd->isInvalidDecl() ||
            vd->getDeclContext()->isDependentContext())
            return true;
        if (ctx_.DeclMustBeEmitted(vd)) code_->reach_variable(vd);
        return true;
    }

private:
    ASTContext& ctx_;
    EmittedCode* code_;
};

}  // namespace

EmittedCode::EmittedCode(ASTContext& context) : ctx_(context) {
    Roots(ctx_, this).TraverseDecl(ctx_.getTranslationUnitDecl());
    while (!pending_.empty()) {
        const FunctionDecl* next = pending_.back();
        pending_.pop_back();
        walk(next);
    }
}

void EmittedCode::reach(const FunctionDecl* fd) {
    if (!fd || !reached_.insert(fd->getCanonicalDecl()).second) return;
    for (const FunctionDecl* p = fd->getTemplateInstantiationPattern();
         p && patterns_.insert(p->getCanonicalDecl()).second; p = p->getTemplateInstantiationPattern()) {
    }
    const FunctionDecl* definition = nullptr;
    if (fd->isDefined(definition) && definition) pending_.push_back(definition);
    // The class's table of virtual functions is made with its constructors
    // and destructor, or with its key function.
    if (auto* method = dyn_cast<CXXMethodDecl>(fd)) {
        const CXXRecordDecl* rd = method->getParent();
        if (isa<CXXConstructorDecl>(method) || isa<CXXDestructorDecl>(method) ||
            (rd->isDynamicClass() && ctx_.getCurrentKeyFunction(rd) &&
             ctx_.getCurrentKeyFunction(rd)->getCanonicalDecl() == method->getCanonicalDecl()))
            reach_class(rd);
    }
}

void EmittedCode::reach_variable(const VarDecl* vd) {
    if (!vd || !variables_.insert(vd->getCanonicalDecl()).second) return;
    const VarDecl* definition = vd->getDefinition();
    if (!definition) definition = vd;
    if (const Expr* init = definition->getInit()) References(this).TraverseStmt(const_cast<Expr*>(init));
    reach_destructor_of(vd->getType());
}

void EmittedCode::reach_class(const CXXRecordDecl* rd) {
    if (!rd || !rd->hasDefinition()) return;
    rd = rd->getDefinition();
    if (!classes_.insert(rd).second) return;
    for (const CXXMethodDecl* method : rd->methods())
        if (method->isVirtual()) reach(method);
    reach(rd->getDestructor());
}

void EmittedCode::reach_destructor_of(QualType type) {
    type = type.getNonReferenceType();
    if (const Type* element = type->getBaseElementTypeUnsafe())
        if (const CXXRecordDecl* rd = element->getAsCXXRecordDecl(); rd && rd->hasDefinition())
            reach(rd->getDefinition()->getDestructor());
}

// What a function's code refers to: its body, a constructor's initialisers,
// and the destructors that a destructor calls for members and bases.
void EmittedCode::walk(const FunctionDecl* definition) {
    References refs(this);
    if (auto* ctor = dyn_cast<CXXConstructorDecl>(definition))
        for (const CXXCtorInitializer* init : ctor->inits())
            if (init->getInit()) refs.TraverseStmt(init->getInit());
    if (auto* dtor = dyn_cast<CXXDestructorDecl>(definition)) {
        const CXXRecordDecl* rd = dtor->getParent();
        for (const FieldDecl* field : rd->fields()) reach_destructor_of(field->getType());
        for (const CXXBaseSpecifier& base : rd->bases()) reach_destructor_of(base.getType());
        for (const CXXBaseSpecifier& base : rd->vbases()) reach_destructor_of(base.getType());
        reach(dtor->getOperatorDelete());
    }
    for (const ParmVarDecl* p : definition->parameters()) reach_destructor_of(p->getType());
    if (Stmt* body = definition->getBody()) refs.TraverseStmt(body);
}

bool EmittedCode::emitted(const FunctionDecl* fd) const { return fd && reached_.count(fd->getCanonicalDecl()) != 0; }

bool EmittedCode::instance_emitted(const FunctionDecl* pattern) const {
    return pattern && patterns_.count(pattern->getCanonicalDecl()) != 0;
}

}  // namespace mirt_instrument
