// Declarations of the y8_ tier functions, one per export, expanded from the
// export list.  Every family's .cpp includes this header so that a tier
// function whose signature drifts from the list fails to compile.
#pragma once

#include "celcc.h"

#define CEL_EXPORT(ret, name, params, args, doc) \
    extern "C" __attribute__((visibility("hidden"))) ret y8_##name params;
#include "celcc/exports.inc"
#undef CEL_EXPORT
