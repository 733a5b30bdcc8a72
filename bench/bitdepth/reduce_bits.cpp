// Bit-depth reduction with ordered dither (C3, noise 0 and 10) at 1920x1080,
// beside a memcpy of the source bytes.  No common peer does this exact job.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"

namespace {

using celbench::Frame;

template <class S, class D, CelStatus (*Fn)(const S*, int, D*, int, CelSize, int, CelDitherMode, int, uint8_t*)>
void BM_Ordered(benchmark::State& state, Frame f, int noise, int levels) {
    auto bytes = celbench::randomBytes(size_t(f.width) * f.height * 3 * sizeof(S));
    std::vector<S> src(size_t(f.width) * f.height * 3);
    std::memcpy(src.data(), bytes.data(), bytes.size());
    if constexpr (std::is_same_v<S, float>)
        for (auto& v : src) v = float(reinterpret_cast<uint8_t&>(v)) / 255.0f;
    std::vector<D> dst(src.size());
    std::vector<uint8_t> scratch(8192);
    for (auto _ : state) {
        Fn(src.data(), f.width * 3 * int(sizeof(S)), dst.data(), f.width * 3 * int(sizeof(D)), {f.width, f.height}, noise,
           celDitherOrdered, levels, scratch.data());
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() * (sizeof(S) + sizeof(D)));
}

void registerAll() {
    for (int noise : {0, 10}) {
        const std::string n = noise ? "/noise10" : "/noise0";
        celbench::registerAtSizes("celiReduceBits_8u_C3R_ordered" + n,
                                  [noise](benchmark::State& st, Frame f) {
                                      BM_Ordered<uint8_t, uint8_t, celiReduceBits_8u_C3R>(st, f, noise, 16);
                                  },
                                  {celbench::kHD});
        celbench::registerAtSizes("celiReduceBits_16u8u_C3R_ordered" + n,
                                  [noise](benchmark::State& st, Frame f) {
                                      BM_Ordered<uint16_t, uint8_t, celiReduceBits_16u8u_C3R>(st, f, noise, 16);
                                  },
                                  {celbench::kHD});
        celbench::registerAtSizes("celiReduceBits_32f8u_C3R_ordered" + n,
                                  [noise](benchmark::State& st, Frame f) {
                                      BM_Ordered<float, uint8_t, celiReduceBits_32f8u_C3R>(st, f, noise, 16);
                                  },
                                  {celbench::kHD});
    }
    celbench::registerMemcpy("memcpy_C3_8u", 3, {celbench::kHD});
    celbench::registerMemcpy("memcpy_C3_16u", 6, {celbench::kHD});
    celbench::registerMemcpy("memcpy_C3_32f", 12, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
