// The export list seen from the tests: every name, and a zero-argument call
// of every export through its public prototype.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "celcc.h"

namespace celtest {

// The row of a test's table of exports (entries with a `name`) by name.
template <class Table>
const auto& rowNamed(const Table& table, const std::string& name) {
    for (const auto& r : table)
        if (name == r.name) return r;
    throw std::runtime_error("no row " + name);
}

inline const std::vector<std::string>& exportNames() {
    static const std::vector<std::string> names = {
#define CEL_EXPORT(ret, name, params, args, doc) #name,
#include "celcc/exports.inc"
#undef CEL_EXPORT
    };
    return names;
}

// Calls f with every argument value-initialised: null pointers, zero sizes,
// zero steps.  Returns the status, or 0 for functions that return no status.
template <class R, class... A>
int callWithZeros(R (*f)(A...)) {
    if constexpr (std::is_same_v<R, CelStatus>)
        return f(A{}...);
    else {
        (void)f(A{}...);
        return 0;
    }
}

struct ExportEntry {
    const char* name;
    const char* doc;
    const void* address;
    int (*callZeros)();
};

inline const std::vector<ExportEntry>& exportEntries() {
    static const std::vector<ExportEntry> entries = {
#define CEL_EXPORT(ret, name, params, args, doc) \
    {#name, doc, reinterpret_cast<const void*>(&name), [] { return callWithZeros(&name); }},
#include "celcc/exports.inc"
#undef CEL_EXPORT
    };
    return entries;
}

// The status an export gives when called with every argument zero, where
// that is not celStatusNullPointer (its first check is another one).  Test
// files of a family register their exceptions with a static FirstCheck.
inline std::map<std::string, int>& firstCheckExceptions() {
    static std::map<std::string, int> m = {{"celccGetLibVersion", 0}};
    return m;
}

struct FirstCheck {
    FirstCheck(const char* name, int status) { firstCheckExceptions()[name] = status; }
};

}  // namespace celtest
