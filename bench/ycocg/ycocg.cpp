// YCoCg at 1920x1080: the plain and lifting forms from 8-bit BGR to 16-bit
// planes and back, the offset 8-bit pair and the signed 16-bit lifting
// pair, on a photograph and on smooth gradients with sensor-like noise,
// beside a memcpy of the pixel bytes and of the plane bytes in the same
// run.  No common peer library has YCoCg; the memcpy is the yardstick.
// The inverse forms read the library's own forward output of the content.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

template <class P, class Q>
using Fwd = CelStatus (*)(const P*, int, Q**, int, CelSize);
template <class Q, class P>
using Inv = CelStatus (*)(const Q* const*, int, P*, int, CelSize);

// Content as pixels of type P: bytes as they are, or for 16-bit pixels
// scaled to the signed range (v * 257 - 32768).
template <class P>
std::vector<P> pixels(const std::string& which, const Frame& f) {
    const auto rgb = celbench::contentRGB(which, f);
    std::vector<P> v(rgb.size());
    for (size_t i = 0; i < rgb.size(); ++i) v[i] = sizeof(P) == 1 ? P(rgb[i]) : P(int(rgb[i]) * 257 - 32768);
    return v;
}

template <class P, class Q>
struct Planes {
    std::vector<Q> y, co, cg;
    explicit Planes(size_t n) : y(n), co(n), cg(n) {}
    Q* ptr[3];
    Q** get() {
        ptr[0] = y.data(), ptr[1] = co.data(), ptr[2] = cg.data();
        return ptr;
    }
};

template <class P, class Q>
void BM_Forward(benchmark::State& state, Frame f, std::string which, Fwd<P, Q> fn) {
    const auto src = pixels<P>(which, f);
    Planes<P, Q> pl(size_t(f.width) * f.height);
    for (auto _ : state) {
        fn(src.data(), 3 * f.width * int(sizeof(P)), pl.get(), f.width * int(sizeof(Q)), {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, size_t(f.width) * f.height * (3 * sizeof(P) + 3 * sizeof(Q)));
}

template <class P, class Q>
void BM_Inverse(benchmark::State& state, Frame f, std::string which, Fwd<P, Q> forward, Inv<Q, P> fn) {
    const auto src = pixels<P>(which, f);
    Planes<P, Q> pl(size_t(f.width) * f.height);
    forward(src.data(), 3 * f.width * int(sizeof(P)), pl.get(), f.width * int(sizeof(Q)), {f.width, f.height});
    std::vector<P> dst(src.size());
    const Q* planes[3] = {pl.y.data(), pl.co.data(), pl.cg.data()};
    for (auto _ : state) {
        fn(planes, f.width * int(sizeof(Q)), dst.data(), 3 * f.width * int(sizeof(P)), {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, size_t(f.width) * f.height * (3 * sizeof(P) + 3 * sizeof(Q)));
}

// Registered at 1920x1080, rates on wall-clock time (the machine is shared).
template <class Fn>
void at1080(const std::string& name, Fn fn) {
    const Frame f = celbench::kHD;
    const std::string tag = name + "/" + std::to_string(f.width) + "x" + std::to_string(f.height);
    benchmark::RegisterBenchmark(tag.c_str(), [fn, f](benchmark::State& st) { fn(st, f); })->UseRealTime();
}

template <class P, class Q>
void pair(const char* fwdName, Fwd<P, Q> fwd, const char* invName, Inv<Q, P> inv) {
    for (const char* which : {"photo", "gradient"}) {
        const std::string tag = std::string("/") + which;
        at1080(fwdName + tag, [fwd, which](benchmark::State& st, Frame f) { BM_Forward<P, Q>(st, f, which, fwd); });
        at1080(invName + tag, [fwd, inv, which](benchmark::State& st, Frame f) { BM_Inverse<P, Q>(st, f, which, fwd, inv); });
    }
}

void registerAll() {
    pair<uint8_t, int16_t>("celiBGRToYCoCg_8u16s_C3P3R", celiBGRToYCoCg_8u16s_C3P3R, "celiYCoCgToBGR_16s8u_P3C3R",
                           celiYCoCgToBGR_16s8u_P3C3R);
    pair<uint8_t, int16_t>("celiBGRToYCoCg_Rev_8u16s_C3P3R", celiBGRToYCoCg_Rev_8u16s_C3P3R,
                           "celiYCoCgToBGR_Rev_16s8u_P3C3R", celiYCoCgToBGR_Rev_16s8u_P3C3R);
    pair<uint8_t, uint8_t>("celiRGBToYCoCg_8u_C3P3R", celiRGBToYCoCg_8u_C3P3R, "celiYCoCgToRGB_8u_P3C3R",
                           celiYCoCgToRGB_8u_P3C3R);
    pair<int16_t, int16_t>("celiSBGRToYCoCg_Rev_16s_C3P3R", celiSBGRToYCoCg_Rev_16s_C3P3R,
                           "celiYCoCgToSBGR_Rev_16s_P3C3R", celiYCoCgToSBGR_Rev_16s_P3C3R);
    // the same bytes as the pixel side and as the plane side of the 8u16s forms
    for (int bytes : {3, 6})
        at1080("memcpy_" + std::to_string(bytes) + "B_per_pixel", [bytes](benchmark::State& st, Frame f) {
            celbench::memcpyReference(st, f, size_t(f.width) * f.height * bytes);
        });
}

const int registered = (registerAll(), 0);

}  // namespace
