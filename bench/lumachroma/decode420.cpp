// 4:2:0 -> RGB at 1920x1080: a planar C3 form, a two-plane form and a C4
// form beside libyuv (default SIMD and limited to SSE4.2) and OpenCV's I420
// conversion, on the photograph and on noisy gradients (common/content.h)
// through the library's encoder, the same planes for every library.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
#include <libyuv/cpu_id.h>
#endif

namespace {

using celbench::Frame;

struct Yuv420 {
    std::vector<uint8_t> y, u, v, uv;
    Yuv420(const Frame& f, const std::string& content) {
        celbench::YCbCrPlanes p = celbench::ycbcrPlanesOf(celbench::contentRGB(content, f), f, 2, 2);
        y = std::move(p.y), u = std::move(p.cb), v = std::move(p.cr), uv = std::move(p.cbcr);
    }
};

void BM_P3C3(benchmark::State& state, Frame f, const std::string& content) {
    Yuv420 s(f, content);
    std::vector<uint8_t> dst(size_t(f.width) * f.height * 3);
    const uint8_t* src[3] = {s.y.data(), s.u.data(), s.v.data()};
    int steps[3] = {f.width, f.width / 2, f.width / 2};
    for (auto _ : state) {
        celiYCbCr420ToRGB_8u_P3C3R(src, steps, dst.data(), 3 * f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, s.y.size() * 3 / 2 + dst.size());
}

void BM_P2C3(benchmark::State& state, Frame f, const std::string& content) {
    Yuv420 s(f, content);
    std::vector<uint8_t> dst(size_t(f.width) * f.height * 3);
    for (auto _ : state) {
        celiYCbCr420ToRGB_8u_P2C3R(s.y.data(), f.width, s.uv.data(), f.width, dst.data(), 3 * f.width,
                                   {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, s.y.size() * 3 / 2 + dst.size());
}

void BM_P3C4(benchmark::State& state, Frame f, const std::string& content) {
    Yuv420 s(f, content);
    std::vector<uint8_t> dst(size_t(f.width) * f.height * 4);
    const uint8_t* src[3] = {s.y.data(), s.u.data(), s.v.data()};
    int steps[3] = {f.width, f.width / 2, f.width / 2};
    for (auto _ : state) {
        celiYCbCr420ToBGR_8u_P3C4R(src, steps, dst.data(), 4 * f.width, {f.width, f.height}, 255);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, s.y.size() * 3 / 2 + dst.size());
}

#ifdef HAVE_LIBYUV
inline void limitLibyuv(bool sse42Only) {
    libyuv::MaskCpuFlags(sse42Only ? (libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 |
                                      libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42)
                                   : -1);
}

// I420ToRAW writes R, G, B in memory (the library's RGB C3); NV12ToRGB24
// writes B, G, R; I420ToARGB writes B, G, R, A (the library's BGR C4).
void BM_Libyuv(benchmark::State& state, Frame f, const std::string& content, int which, bool sse42Only) {
    limitLibyuv(sse42Only);
    Yuv420 s(f, content);
    std::vector<uint8_t> dst(size_t(f.width) * f.height * 4);
    for (auto _ : state) {
        if (which == 0)
            libyuv::I420ToRAW(s.y.data(), f.width, s.u.data(), f.width / 2, s.v.data(), f.width / 2, dst.data(),
                              3 * f.width, f.width, f.height);
        else if (which == 1)
            libyuv::NV12ToRGB24(s.y.data(), f.width, s.uv.data(), f.width, dst.data(), 3 * f.width, f.width, f.height);
        else
            libyuv::I420ToARGB(s.y.data(), f.width, s.u.data(), f.width / 2, s.v.data(), f.width / 2, dst.data(),
                               4 * f.width, f.width, f.height);
        benchmark::ClobberMemory();
    }
    limitLibyuv(false);
    celbench::setCounters(state, f, s.y.size() * 3 / 2 + size_t(f.width) * f.height * (which == 2 ? 4 : 3));
}
#endif

void registerAll() {
    celbench::registerOnContents("celiYCbCr420ToRGB_8u_P3C3R", BM_P3C3);
    celbench::registerOnContents("celiYCbCr420ToRGB_8u_P2C3R", BM_P2C3);
    celbench::registerOnContents("celiYCbCr420ToBGR_8u_P3C4R", BM_P3C4);
#ifdef HAVE_LIBYUV
    const char* names[3] = {"I420ToRAW", "NV12ToRGB24", "I420ToARGB"};
    for (int which = 0; which < 3; ++which)
        for (bool sse42 : {true, false})
            celbench::registerOnContents(std::string("peer_libyuv_") + names[which] + (sse42 ? "_sse42" : "_default"),
                                      [which, sse42](benchmark::State& st, Frame f, const std::string& k) { BM_Libyuv(st, f, k, which, sse42); });
#endif
#ifdef HAVE_OPENCV
    celbench::registerOnContents("peer_OpenCV_YUV2RGB_I420", [](benchmark::State& st, Frame f, const std::string& k) {
        cv::setNumThreads(1);
        Yuv420 s(f, k);
        std::vector<uint8_t> i420(s.y);
        i420.insert(i420.end(), s.u.begin(), s.u.end());
        i420.insert(i420.end(), s.v.begin(), s.v.end());
        cv::Mat src(f.height * 3 / 2, f.width, CV_8UC1, i420.data()), dst(f.height, f.width, CV_8UC3);
        for (auto _ : st) {
            cv::cvtColor(src, dst, cv::COLOR_YUV2RGB_I420);
            benchmark::ClobberMemory();
        }
        celbench::setCounters(st, f, src.total() + dst.total() * 3);
    });
#endif
}

const int registered = (registerAll(), 0);

}  // namespace
