// Prints every export of the library with its return type, tier function
// and parameter list, straight from the export list.
#include <cstdio>

#include "celcc.h"

int main() {
    int n = 0;
#define CEL_STR2(x) #x
#define CEL_STR(x) CEL_STR2(x)
#define CEL_EXPORT(ret, name, params, args, doc) \
    std::printf("%-40s y8_%-40s %s %s\n    %s\n", #name, #name, #ret, CEL_STR(params), doc); ++n;
#include "celcc/exports.inc"
#undef CEL_EXPORT
    std::printf("%d exports\n", n);
    return 0;
}
