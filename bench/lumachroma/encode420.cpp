// RGB/BGR -> 4:2:0 at 1920x1080 on the photograph and on noisy gradients
// (common/content.h): three of the library's forms beside libyuv (default
// SIMD and limited to SSE4.2) and OpenCV's I420 conversion on the same
// pixels.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/cpu_id.h>
#endif

namespace {

using celbench::Frame;

struct I420 {
    std::vector<uint8_t> y, u, v;
    explicit I420(const Frame& f)
        : y(size_t(f.width) * f.height), u(size_t(f.width / 2) * (f.height / 2)), v(u.size()) {}
};

template <CelStatus (*Fn)(const uint8_t*, int, uint8_t* [3], int[3], CelSize)>
void BM_P3(benchmark::State& state, Frame f, const std::string& content) {
    const auto src = celbench::contentRGB(content, f);
    I420 d(f);
    uint8_t* dst[3] = {d.y.data(), d.u.data(), d.v.data()};
    int steps[3] = {f.width, f.width / 2, f.width / 2};
    for (auto _ : state) {
        Fn(src.data(), 3 * f.width, dst, steps, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + d.y.size() * 3 / 2);
}

void BM_P2(benchmark::State& state, Frame f, const std::string& content) {
    const auto src = celbench::contentRGB(content, f);
    std::vector<uint8_t> y(size_t(f.width) * f.height), uv(y.size() / 2);
    for (auto _ : state) {
        celiRGBToYCbCr420_8u_C3P2R(src.data(), 3 * f.width, y.data(), f.width, uv.data(), f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + y.size() * 3 / 2);
}

#ifdef HAVE_LIBYUV
// RAW is R, G, B in memory (the library's RGB); RGB24 is B, G, R (its BGR).
template <bool Raw>
void BM_Libyuv(benchmark::State& state, Frame f, const std::string& content, bool sse42Only) {
    libyuv::MaskCpuFlags(sse42Only ? (libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 |
                                      libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42)
                                   : -1);
    const auto src = celbench::contentRGB(content, f);
    I420 d(f);
    for (auto _ : state) {
        if (Raw)
            libyuv::RAWToI420(src.data(), 3 * f.width, d.y.data(), f.width, d.u.data(), f.width / 2, d.v.data(),
                              f.width / 2, f.width, f.height);
        else
            libyuv::RGB24ToI420(src.data(), 3 * f.width, d.y.data(), f.width, d.u.data(), f.width / 2, d.v.data(),
                                f.width / 2, f.width, f.height);
        benchmark::ClobberMemory();
    }
    libyuv::MaskCpuFlags(-1);
    celbench::setCounters(state, f, src.size() + d.y.size() * 3 / 2);
}
#endif

void registerAll() {
    celbench::registerOnContents("celiRGBToYCbCr420_8u_C3P3R", BM_P3<celiRGBToYCbCr420_8u_C3P3R>);
    celbench::registerOnContents("celiBGRToYCbCr420_8u_C3P3R", BM_P3<celiBGRToYCbCr420_8u_C3P3R>);
    celbench::registerOnContents("celiRGBToYCbCr420_8u_C3P2R", BM_P2);
#ifdef HAVE_LIBYUV
    celbench::registerOnContents("peer_libyuv_RAWToI420_default",
                              [](benchmark::State& st, Frame f, const std::string& k) { BM_Libyuv<true>(st, f, k, false); });
    celbench::registerOnContents("peer_libyuv_RAWToI420_sse42",
                              [](benchmark::State& st, Frame f, const std::string& k) { BM_Libyuv<true>(st, f, k, true); });
    celbench::registerOnContents("peer_libyuv_RGB24ToI420_sse42",
                              [](benchmark::State& st, Frame f, const std::string& k) { BM_Libyuv<false>(st, f, k, true); });
#endif
#ifdef HAVE_OPENCV
    celbench::registerOpenCvOnContents("RGB2YUV_I420", cv::COLOR_RGB2YUV_I420);
#endif
}

const int registered = (registerAll(), 0);

}  // namespace
