// RGB -> YCbCr at full resolution: the five exports at 1920x1080 and
// 3840x2160, a memcpy of the same bytes, and OpenCV's cvtColor as a peer.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"

#ifdef HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using celbench::Frame;

void BM_RGBToYCbCr_C3R(benchmark::State& state, Frame f) {
    auto src = celbench::randomBytes(size_t(f.width) * f.height * 3);
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        celiRGBToYCbCr_8u_C3R(src.data(), f.width * 3, dst.data(), f.width * 3, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + dst.size());
}

void BM_RGBToYCbCr_AC4R(benchmark::State& state, Frame f) {
    auto src = celbench::randomBytes(size_t(f.width) * f.height * 4);
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        celiRGBToYCbCr_8u_AC4R(src.data(), f.width * 4, dst.data(), f.width * 4, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + dst.size());
}

template <int Channels>
void BM_RGBToYCbCr_toP3R(benchmark::State& state, Frame f) {
    const size_t plane = size_t(f.width) * f.height;
    auto src = celbench::randomBytes(plane * Channels);
    std::vector<uint8_t> y(plane), cb(plane), cr(plane);
    uint8_t* dst[3] = {y.data(), cb.data(), cr.data()};
    for (auto _ : state) {
        if constexpr (Channels == 3)
            celiRGBToYCbCr_8u_C3P3R(src.data(), f.width * 3, dst, f.width, {f.width, f.height});
        else
            celiRGBToYCbCr_8u_AC4P3R(src.data(), f.width * 4, dst, f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + 3 * plane);
}

void BM_RGBToYCbCr_P3R(benchmark::State& state, Frame f) {
    const size_t plane = size_t(f.width) * f.height;
    // 16-byte aligned planes and steps: the 16-pixel path.
    std::vector<uint8_t> mem(6 * plane + 16 * 7);
    uint8_t* base = reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(mem.data()) + 15) & ~uintptr_t(15));
    auto rnd = celbench::randomBytes(3 * plane);
    std::copy(rnd.begin(), rnd.end(), base);
    const uint8_t* src[3] = {base, base + plane, base + 2 * plane};
    uint8_t* dst[3] = {base + 3 * plane, base + 4 * plane, base + 5 * plane};
    for (auto _ : state) {
        celiRGBToYCbCr_8u_P3R(src, f.width, dst, f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 6 * plane);
}

void BM_Memcpy_C3(benchmark::State& state, Frame f) { celbench::memcpyReference(state, f, size_t(f.width) * f.height * 3); }

#ifdef HAVE_OPENCV
void BM_OpenCV_RGB2YCrCb(benchmark::State& state, Frame f) {
    cv::setNumThreads(1);
    auto bytes = celbench::randomBytes(size_t(f.width) * f.height * 3);
    cv::Mat src(f.height, f.width, CV_8UC3, bytes.data()), dst(f.height, f.width, CV_8UC3);
    for (auto _ : state) {
        cv::cvtColor(src, dst, cv::COLOR_RGB2YCrCb);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * bytes.size());
}
#endif

void registerAll() {
    for (Frame f : {celbench::kHD, celbench::kUHD}) {
        const std::string sz = "/" + std::to_string(f.width) + "x" + std::to_string(f.height);
        benchmark::RegisterBenchmark(("celiRGBToYCbCr_8u_C3R" + sz).c_str(), BM_RGBToYCbCr_C3R, f);
        benchmark::RegisterBenchmark(("celiRGBToYCbCr_8u_AC4R" + sz).c_str(), BM_RGBToYCbCr_AC4R, f);
        benchmark::RegisterBenchmark(("celiRGBToYCbCr_8u_C3P3R" + sz).c_str(), BM_RGBToYCbCr_toP3R<3>, f);
        benchmark::RegisterBenchmark(("celiRGBToYCbCr_8u_AC4P3R" + sz).c_str(), BM_RGBToYCbCr_toP3R<4>, f);
        benchmark::RegisterBenchmark(("celiRGBToYCbCr_8u_P3R" + sz).c_str(), BM_RGBToYCbCr_P3R, f);
        benchmark::RegisterBenchmark(("memcpy_C3" + sz).c_str(), BM_Memcpy_C3, f);
#ifdef HAVE_OPENCV
        benchmark::RegisterBenchmark(("peer_OpenCV_RGB2YCrCb" + sz).c_str(), BM_OpenCV_RGB2YCrCb, f);
#endif
    }
}

const int registered = (registerAll(), 0);

}  // namespace
