// msvc_exports.cpp (Windows): entry points behind the Microsoft-decorated names that need their own code.
// This file holds only Windows code.
//
// Code built by the Microsoft compiler expects a constructor to return this
// in the result register, which a GNU-built constructor does not promise.
// Every other decorated name is an alias of the GNU-built function (the
// calling convention of x64 Windows is one for both compilers), listed in
// mirt64.def.
#include <new>

#include "mirt64.h"

extern "C" mirt_obj* mirt_msvc_obj_construct(mirt_obj* self, char* name, int line) {
    new (self) mirt_obj(name, line);
    return self;
}

extern "C" void mirt_msvc_obj_destroy(mirt_obj* self) { self->~mirt_obj(); }

extern "C" mirt_obj* mirt_msvc_obj_assign(mirt_obj* self, const mirt_obj* other) {
    *self = *other;
    return self;
}
