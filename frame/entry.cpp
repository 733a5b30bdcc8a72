// The entry table: one writable slot per export, filled at load time with
// the address of the tier function y8_<name>, and the exported stubs that
// jump through the slots.
//
// Each stub is a single `jmp *slot(%rip)`: no frame, no argument traffic,
// so the tier function sees the caller's arguments and returns straight to
// the caller.  The slots live together in one section so that they form one
// contiguous table; only the stub of an export reads its slot.  A slot
// initialised with a function address in position-independent code becomes
// a relocation that the loader fills when the library is loaded.
#include "frame/tier.h"

#define CEL_EXPORT(ret, name, params, args, doc)                                              \
    extern "C" {                                                                             \
    __attribute__((visibility("hidden"), used, section(".data.rel.celcc_slots"))) ret(*name##_arraddr) \
        params = &y8_##name;                                                                 \
    }
#include "celcc/exports.inc"
#undef CEL_EXPORT

#define CEL_EXPORT(ret, name, params, args, doc)               \
    __asm__(".text\n"                                     \
            ".globl " #name "\n"                          \
            ".type " #name ", @function\n"                \
            ".p2align 4\n" #name ":\n"                    \
            "\tjmp *" #name "_arraddr(%rip)\n"            \
            ".size " #name ", .-" #name "\n");
#include "celcc/exports.inc"
#undef CEL_EXPORT

// Load-time hooks.  Nothing needs setting up: every table is constant data.
namespace {
__attribute__((constructor)) void celccInit() {}
__attribute__((destructor)) void celccFini() {}
}  // namespace
