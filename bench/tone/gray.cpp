// RGB -> gray, 8u and 32f C3 at 1920x1080 on the photograph and on noisy
// gradients (common/content.h), beside OpenCV COLOR_RGB2GRAY and libyuv's
// RAWToJ400 (R, G, B bytes; full-range BT.601 weights) on the same pixels,
// the latter with its default SIMD and limited to SSE4.2.
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

void BM_Gray8u(benchmark::State& state, Frame f, const std::string& content) {
    const auto src = celbench::contentRGB(content, f);
    std::vector<uint8_t> dst(size_t(f.width) * f.height);
    for (auto _ : state) {
        celiRGBToGray_8u_C3C1R(src.data(), 3 * f.width, dst.data(), f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + dst.size());
}

void BM_Gray32f(benchmark::State& state, Frame f, const std::string& content) {
    const std::vector<float> src = celbench::samplesOf<float>(celbench::contentRGB(content, f), f);
    std::vector<float> dst(size_t(f.width) * f.height);
    for (auto _ : state) {
        celiRGBToGray_32f_C3C1R(src.data(), 12 * f.width, dst.data(), 4 * f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 4 * (src.size() + dst.size()));
}

#ifdef HAVE_LIBYUV
void BM_LibyuvJ400(benchmark::State& state, Frame f, const std::string& content, bool sse42Only) {
    libyuv::MaskCpuFlags(sse42Only ? (libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 |
                                      libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42)
                                   : -1);
    const auto src = celbench::contentRGB(content, f);
    std::vector<uint8_t> dst(size_t(f.width) * f.height);
    for (auto _ : state) {
        libyuv::RAWToJ400(src.data(), 3 * f.width, dst.data(), f.width, f.width, f.height);
        benchmark::ClobberMemory();
    }
    libyuv::MaskCpuFlags(-1);
    celbench::setCounters(state, f, src.size() + dst.size());
}
#endif

void registerAll() {
    for (const std::string& c : celbench::contentNames()) {
        const auto reg = [&c](const std::string& name, auto fn) { celbench::registerOnContent(name, c, fn); };
        reg("celiRGBToGray_8u_C3C1R", BM_Gray8u);
        reg("celiRGBToGray_32f_C3C1R", BM_Gray32f);
#ifdef HAVE_LIBYUV
        reg("peer_libyuv_RAWToJ400_sse42", [](benchmark::State& st, Frame f, const std::string& k) { BM_LibyuvJ400(st, f, k, true); });
        reg("peer_libyuv_RAWToJ400_default", [](benchmark::State& st, Frame f, const std::string& k) { BM_LibyuvJ400(st, f, k, false); });
#endif
    }
#ifdef HAVE_OPENCV
    celbench::registerOpenCvOnContents("RGB2GRAY_8u", cv::COLOR_RGB2GRAY);
    celbench::registerOpenCvOnContents("RGB2GRAY_32f", cv::COLOR_RGB2GRAY, -1, true);
#endif
    celbench::registerMemcpy("memcpy_C3_8u", 3, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
