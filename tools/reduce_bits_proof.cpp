// Checks the integer forms of the byte reduction of float samples without
// dither against the float rule on every one of the 2^32 float bit patterns:
// the sixteen-wide vector body and the scalar twin of IntScale32f, for the
// level counts given on the command line (default: 256, the count whose index
// is the byte, then every listed count).  A run takes about a minute a count.
//   celcc_reduce_bits_proof [levels...]
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bitdepth/reduce_forms.h"

namespace {

using F = cel::rb::Form<float, uint8_t>;

template <bool Ident>
uint64_t mismatches(int levels) {
    const int L = levels - 1;
    const cel::rb::Plain<F> rule{float(L)};
    const cel::rb::IntScale32f<F, Ident> k(L);
    alignas(16) float x[16];
    uint8_t d[16];
    uint64_t bad = 0;
    for (uint64_t b = 0; b < (uint64_t(1) << 32); b += 16) {
        for (int i = 0; i < 16; ++i) {
            const uint32_t v = uint32_t(b) + uint32_t(i);
            std::memcpy(&x[i], &v, 4);
        }
        k.v16(x, d);
        for (int i = 0; i < 16; ++i) {
            const int want = rule.px(x[i]);
            if (d[i] == want && k.px(x[i]) == want) continue;
            if (bad++ < 4) std::printf("  %a: body %d, tail %d, float rule %d\n", double(x[i]), d[i], k.px(x[i]), want);
        }
    }
    return bad;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<int> counts;
    for (int i = 1; i < argc; ++i) counts.push_back(std::atoi(argv[i]));
    if (counts.empty()) {
        counts.push_back(256);
        for (int L = 1; L < 255; ++L)
            if (cel::rb::listed(cel::rb::kIntScale, L)) counts.push_back(L + 1);
    }
    int failed = 0;
    for (int levels : counts) {
        if (levels < 2 || levels > 256 || (levels < 256 && !cel::rb::listed(cel::rb::kIntScale, levels - 1))) {
            std::printf("%d levels: no integer form\n", levels);
            continue;
        }
        const uint64_t bad = levels == 256 ? mismatches<true>(levels) : mismatches<false>(levels);
        std::printf("%d levels: %llu mismatches\n", levels, static_cast<unsigned long long>(bad));
        std::fflush(stdout);
        failed += bad != 0;
    }
    return failed != 0;
}
