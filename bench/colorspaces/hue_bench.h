// Shared pieces of the hue-space benchmarks (HSV, HLS): the content, as
// a photograph and a noisy gradient, converted forward by the library for
// the reverse runs; the library's call and OpenCV's in the same shape.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace celbench::hue {

// 8-bit RGB content of the frame: "photo" (the gradient stands in when the
// photograph cannot be read) or "gradient".
inline std::vector<uint8_t> content(const std::string& kind, const Frame& f) {
    if (kind == "photo") {
        auto v = photoRGB(f);
        if (!v.empty()) return v;
    }
    return gradientRGB(f);
}

// The content widened to another depth: 8u as is, 16u times 257, 32f / 255.
template <class T>
std::vector<T> widen(const std::vector<uint8_t>& v) {
    std::vector<T> o(v.size());
    for (size_t i = 0; i < v.size(); ++i) {
        if constexpr (std::is_same_v<T, float>)
            o[i] = v[i] / 255.0f;
        else if constexpr (std::is_same_v<T, uint16_t>)
            o[i] = T(v[i] * 257);
        else if constexpr (std::is_same_v<T, int16_t>)
            o[i] = T(v[i] * 257 - 32768);
        else
            o[i] = v[i];
    }
    return o;
}

template <class T>
using C3Fn = CelStatus (*)(const T*, int, T*, int, CelSize);

// Source of a run: the content itself (forward) or the content taken
// through `toHue` first (reverse).
template <class T>
std::vector<T> source(const std::string& kind, const Frame& f, C3Fn<T> toHue) {
    std::vector<T> v = widen<T>(content(kind, f));
    if (!toHue) return v;
    std::vector<T> o(v.size());
    const int step = 3 * f.width * int(sizeof(T));
    toHue(v.data(), step, o.data(), step, {f.width, f.height});
    return o;
}

template <class T>
void runLibrary(benchmark::State& state, const Frame& f, C3Fn<T> fn, const std::vector<T>& src) {
    std::vector<T> dst(src.size());
    const int step = 3 * f.width * int(sizeof(T));
    for (auto _ : state) {
        fn(src.data(), step, dst.data(), step, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    setCounters(state, f, 2 * src.size() * sizeof(T));
}

// Registers the library's export and, when OpenCV is there, its cvtColor
// with `code` on the same pixels, under "<name>/<content>/<w>x<h>".
template <class T>
void registerPair(const std::string& name, C3Fn<T> fn, C3Fn<T> toHue, [[maybe_unused]] int cvCode) {
    for (const char* kind : {"photo", "gradient"}) {
        const std::string k = kind;
        registerAtSizes(name + "/" + k, [=](benchmark::State& st, Frame f) { runLibrary<T>(st, f, fn, source<T>(k, f, toHue)); },
                        {kHD});
#ifdef HAVE_OPENCV
        if (cvCode < 0) continue;
        registerAtSizes("peer_OpenCV_" + name + "/" + k, [=](benchmark::State& st, Frame f) {
            cv::setNumThreads(1);
            std::vector<T> s = source<T>(k, f, toHue);
            const int type = std::is_same_v<T, float> ? CV_32FC3 : CV_8UC3;
            cv::Mat src(f.height, f.width, type, s.data()), dst(f.height, f.width, type);
            for (auto _ : st) {
                cv::cvtColor(src, dst, cvCode);
                benchmark::ClobberMemory();
            }
            setCounters(st, f, 2 * s.size() * sizeof(T));
        }, {kHD});
#endif
    }
}

}  // namespace celbench::hue
