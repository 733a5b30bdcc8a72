// RGB -> gray, 8u and 32f C3 at 1920x1080, beside OpenCV COLOR_RGB2GRAY and
// libyuv's RAWToJ400 (R, G, B bytes; full-range BT.601 weights), the latter
// with its default SIMD and limited to SSE4.2.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/cpu_id.h>
#endif

namespace {

using celbench::Frame;

void BM_Gray8u(benchmark::State& state, Frame f) {
    auto src = celbench::randomBytes(size_t(f.width) * f.height * 3);
    std::vector<uint8_t> dst(size_t(f.width) * f.height);
    for (auto _ : state) {
        celiRGBToGray_8u_C3C1R(src.data(), 3 * f.width, dst.data(), f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + dst.size());
}

void BM_Gray32f(benchmark::State& state, Frame f) {
    auto bytes = celbench::randomBytes(size_t(f.width) * f.height * 3);
    std::vector<float> src(bytes.size()), dst(size_t(f.width) * f.height);
    for (size_t i = 0; i < bytes.size(); ++i) src[i] = bytes[i] / 255.0f;
    for (auto _ : state) {
        celiRGBToGray_32f_C3C1R(src.data(), 12 * f.width, dst.data(), 4 * f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 4 * (src.size() + dst.size()));
}

#ifdef HAVE_LIBYUV
void BM_LibyuvJ400(benchmark::State& state, Frame f, bool sse42Only) {
    libyuv::MaskCpuFlags(sse42Only ? (libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 |
                                      libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42)
                                   : -1);
    auto src = celbench::randomBytes(size_t(f.width) * f.height * 3);
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
    const std::initializer_list<Frame> hd = {celbench::kHD};
    celbench::registerAtSizes("celiRGBToGray_8u_C3C1R", BM_Gray8u, hd);
    celbench::registerAtSizes("celiRGBToGray_32f_C3C1R", BM_Gray32f, hd);
    celbench::registerMemcpy("memcpy_C3_8u", 3, hd);
#ifdef HAVE_OPENCV
    celbench::registerOpenCv("RGB2GRAY_8u", cv::COLOR_RGB2GRAY, CV_8UC3, CV_8UC1, hd);
    celbench::registerOpenCv("RGB2GRAY_32f", cv::COLOR_RGB2GRAY, CV_32FC3, CV_32FC1, hd);
#endif
#ifdef HAVE_LIBYUV
    celbench::registerAtSizes("peer_libyuv_RAWToJ400_sse42", [](benchmark::State& st, Frame f) { BM_LibyuvJ400(st, f, true); }, hd);
    celbench::registerAtSizes("peer_libyuv_RAWToJ400_default", [](benchmark::State& st, Frame f) { BM_LibyuvJ400(st, f, false); }, hd);
#endif
}

const int registered = (registerAll(), 0);

}  // namespace
