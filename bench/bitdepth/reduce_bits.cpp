// Bit-depth reduction with ordered dither (C3, noise 0 and 10) at 1920x1080
// on the photograph and on noisy gradients (common/content.h; 16-bit
// samples v * 257, floats v / 255), beside a memcpy of the source bytes.
// No common peer does this exact job.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

template <class S, class D, CelStatus (*Fn)(const S*, int, D*, int, CelSize, int, CelDitherMode, int, uint8_t*)>
void BM_Ordered(benchmark::State& state, Frame f, const std::string& content, int noise, int levels) {
    const auto rgb = celbench::contentRGB(content, f);
    std::vector<S> src(rgb.size());
    for (size_t i = 0; i < rgb.size(); ++i)
        src[i] = std::is_same_v<S, float> ? S(rgb[i] / 255.0f) : sizeof(S) == 2 ? S(rgb[i] * 257) : S(rgb[i]);
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
        celbench::registerOnContents("celiReduceBits_8u_C3R_ordered" + n, [noise](benchmark::State& st, Frame f, const std::string& k) {
            BM_Ordered<uint8_t, uint8_t, celiReduceBits_8u_C3R>(st, f, k, noise, 16);
        });
        celbench::registerOnContents("celiReduceBits_16u8u_C3R_ordered" + n, [noise](benchmark::State& st, Frame f, const std::string& k) {
            BM_Ordered<uint16_t, uint8_t, celiReduceBits_16u8u_C3R>(st, f, k, noise, 16);
        });
        celbench::registerOnContents("celiReduceBits_32f8u_C3R_ordered" + n, [noise](benchmark::State& st, Frame f, const std::string& k) {
            BM_Ordered<float, uint8_t, celiReduceBits_32f8u_C3R>(st, f, k, noise, 16);
        });
    }
    celbench::registerMemcpy("memcpy_C3_8u", 3, {celbench::kHD});
    celbench::registerMemcpy("memcpy_C3_16u", 6, {celbench::kHD});
    celbench::registerMemcpy("memcpy_C3_32f", 12, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
