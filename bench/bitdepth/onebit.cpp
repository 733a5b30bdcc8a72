// One bit a pixel at 1920x1080 (threshold and integer Stucki) on the
// photograph's gray and on noisy gradients, beside a memcpy of the source
// bytes.  No common peer writes this bitmap.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

void BM_OneBit(benchmark::State& state, Frame f, const std::string& which, CelDitherMode mode) {
    const auto rgb = celbench::contentRGB(which, f);
    std::vector<uint8_t> gray(size_t(f.width) * f.height);
    for (size_t i = 0; i < gray.size(); ++i)
        gray[i] = uint8_t((77 * rgb[3 * i] + 150 * rgb[3 * i + 1] + 29 * rgb[3 * i + 2]) >> 8);
    const int rowBytes = (f.width + 7) / 8;
    std::vector<uint8_t> bits(size_t(rowBytes) * f.height);
    int size = 0;
    celiReduceBitsGetBufferSize(1, {f.width, f.height}, 0, celDitherStucki, &size);
    std::vector<uint8_t> scratch(static_cast<size_t>(size));
    for (auto _ : state) {
        celiReduceBits_8u1u_C1R(gray.data(), f.width, bits.data(), rowBytes, 0, {f.width, f.height}, 0, 0, mode, 127,
                                scratch.data());
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, gray.size() + bits.size());
}

void registerAll() {
    for (const char* which : {"photo", "gradient"}) {
        const std::string w = which;
        celbench::registerAtSizes("celiReduceBits_8u1u_C1R_threshold/" + w,
                                  [w](benchmark::State& st, Frame f) { BM_OneBit(st, f, w, celDitherOff); },
                                  {celbench::kHD});
        celbench::registerAtSizes("celiReduceBits_8u1u_C1R_stucki/" + w,
                                  [w](benchmark::State& st, Frame f) { BM_OneBit(st, f, w, celDitherStucki); },
                                  {celbench::kHD});
    }
    celbench::registerMemcpy("memcpy_C1_8u", 1, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
