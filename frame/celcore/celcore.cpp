// libcelcore: the largest data cache of the running processor, from the
// processor's deterministic cache parameters (leaf 4 on one vendor, leaf
// 0x8000001D on the other), with the operating system's view as a fallback.
#include "frame/celcore/celcore.h"

#include <cpuid.h>
#include <unistd.h>

#include <cstring>
#include <initializer_list>

namespace {

// Walks a deterministic-cache-parameters leaf; returns the largest data or
// unified cache in bytes, or 0.
long long largestFromLeaf(unsigned leaf) {
    long long best = 0;
    for (unsigned sub = 0; sub < 16; ++sub) {
        unsigned a, b, c, d;
        __cpuid_count(leaf, sub, a, b, c, d);
        const unsigned type = a & 31;
        if (type == 0) break;
        if (type != 1 && type != 3) continue;  // data or unified
        const long long ways = ((b >> 22) & 0x3FF) + 1, parts = ((b >> 12) & 0x3FF) + 1, line = (b & 0xFFF) + 1,
                        sets = static_cast<long long>(c) + 1;
        const long long size = ways * parts * line * sets;
        if (size > best) best = size;
    }
    return best;
}

}  // namespace

extern "C" int celGetMaxCacheSizeB(int32_t* size) {
    if (size == nullptr) return -1;
    unsigned maxLeaf = 0, b = 0, c = 0, d = 0;
    long long best = 0;
    if (__get_cpuid(0, &maxLeaf, &b, &c, &d)) {
        char vendor[13] = {};
        std::memcpy(vendor, &b, 4);
        std::memcpy(vendor + 4, &d, 4);
        std::memcpy(vendor + 8, &c, 4);
        if (std::strcmp(vendor, "GenuineIntel") == 0 && maxLeaf >= 4) {
            best = largestFromLeaf(4);
        } else {
            unsigned ext = __get_cpuid_max(0x80000000u, nullptr);
            if (ext >= 0x8000001Du) best = largestFromLeaf(0x8000001Du);
        }
    }
    if (best <= 0) {
        for (int name : {_SC_LEVEL3_CACHE_SIZE, _SC_LEVEL2_CACHE_SIZE, _SC_LEVEL1_DCACHE_SIZE}) {
            const long v = sysconf(name);
            if (v > best) best = v;
        }
    }
    if (best <= 0 || best > 0x7FFFFFFF) return -1;
    *size = static_cast<int32_t>(best);
    return 0;
}
