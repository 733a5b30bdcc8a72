// Shared pieces of the benchmarks: frame sizes, random buffers, counters.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#ifdef HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace celbench {

struct Frame {
    int width, height;
};
inline constexpr Frame kHD{1920, 1080};
inline constexpr Frame kUHD{3840, 2160};

inline std::vector<uint8_t> randomBytes(size_t n, uint32_t seed = 1) {
    std::vector<uint8_t> v(n);
    std::mt19937 rng(seed);
    for (auto& b : v) b = static_cast<uint8_t>(rng() >> 24);
    return v;
}

// Reports Mpixel/s (as "Mpix/s", a rate counter in pixels scaled to mega)
// and bytes/s of the traffic (read plus written).
inline void setCounters(benchmark::State& state, const Frame& f, size_t bytesPerFrame) {
    const double pixels = double(f.width) * f.height;
    state.counters["Mpix/s"] =
        benchmark::Counter(pixels * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
    state.SetBytesProcessed(static_cast<int64_t>(bytesPerFrame) * state.iterations());
}

// The memory limit: a memcpy of the bytes a conversion reads.
inline void memcpyReference(benchmark::State& state, const Frame& f, size_t bytes) {
    std::vector<uint8_t> src = randomBytes(bytes), dst(bytes);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), bytes);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    setCounters(state, f, 2 * bytes);
}

// Registers `fn` as "<name>/<width>x<height>" for each frame size.
template <class Fn>
void registerAtSizes(const std::string& name, Fn fn, std::initializer_list<Frame> frames = {kHD, kUHD}) {
    for (const Frame& f : frames) {
        const std::string tag = name + "/" + std::to_string(f.width) + "x" + std::to_string(f.height);
        benchmark::RegisterBenchmark(tag.c_str(), [fn, f](benchmark::State& st) { fn(st, f); });
    }
}

// A memcpy of `bytesPerPixel` bytes a pixel, registered at each size.
inline void registerMemcpy(const std::string& name, int bytesPerPixel,
                           std::initializer_list<Frame> frames = {kHD, kUHD}) {
    registerAtSizes(name, [bytesPerPixel](benchmark::State& st, Frame f) {
        memcpyReference(st, f, size_t(f.width) * f.height * bytesPerPixel);
    }, frames);
}

#ifdef HAVE_OPENCV
// OpenCV's cvtColor, single-threaded, on random pixels of the given types.
inline void openCvCvtColor(benchmark::State& state, const Frame& f, int code, int srcType, int dstType) {
    cv::setNumThreads(1);
    cv::Mat src(f.height, f.width, srcType), dst(f.height, f.width, dstType);
    if (CV_MAT_DEPTH(srcType) == CV_32F)
        cv::randu(src, 0.0f, 1.0f);
    else
        cv::randu(src, 0, 256);
    for (auto _ : state) {
        cv::cvtColor(src, dst, code);
        benchmark::ClobberMemory();
    }
    setCounters(state, f, src.total() * src.elemSize() + dst.total() * dst.elemSize());
}

inline void registerOpenCv(const std::string& name, int code, int srcType, int dstType,
                           std::initializer_list<Frame> frames = {kHD, kUHD}) {
    registerAtSizes("peer_OpenCV_" + name, [=](benchmark::State& st, Frame f) {
        openCvCvtColor(st, f, code, srcType, dstType);
    }, frames);
}
#endif

}  // namespace celbench
