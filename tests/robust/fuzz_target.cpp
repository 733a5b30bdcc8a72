// libFuzzer target for one signature shape (CELCC_FUZZ_SHAPE: Image, Frame,
// Query).  The input picks the export, the sizes, steps and extras, the
// placement against the guard page and the seed of the pixel data; the call
// runs with every plane touching a page without access, under AddressSanitizer
// and UndefinedBehaviorSanitizer, and any broken promise aborts.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "robust/robust.h"

namespace {

using namespace celrobust;

const std::vector<const Subject*>& targets() {
    static const std::vector<const Subject*> list = [] {
        std::vector<const Subject*> out;
        for (const Subject& s : subjects())
            if (s.row && s.problem.empty() && !(s.row->rule.flags & kHeldBack) && s.shape == Shape::CELCC_FUZZ_SHAPE)
                out.push_back(&s);
        return out;
    }();
    return list;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto& list = targets();
    if (list.empty() || size < 2) return 0;
    const size_t pick = (static_cast<size_t>(data[0]) << 8 | data[1]) % list.size();
    Draw d(0x51ED5EEDull ^ size, data + 2, size - 2);
    DrawLimits lim;
    lim.maxSide = 160;
    lim.maxArea = 6000;
    lim.invalidPercent = 15;
    Call c = drawCall(*list[pick], d, lim);
    c.rawFloats = d.chance(10);
    const Outcome o = runGuarded(c);
    if (!o.failures.empty()) {
        std::fprintf(stderr, "%s\n", describe(c).c_str());
        for (const auto& f : o.failures) std::fprintf(stderr, "  %s\n", f.c_str());
        std::abort();
    }
    return 0;
}
