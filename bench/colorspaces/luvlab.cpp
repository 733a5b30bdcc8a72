// RGB <-> LUV and RGB <-> Lab, 8u and 32f C3 both ways at 1920x1080, beside
// OpenCV's cvtColor on the same pixels (single-threaded and its default
// threading) and a memcpy of the same bytes.  Content: smooth colour
// gradients with sensor-like noise; the reverse directions read the
// library's own forward output of that content.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

// Gradients across the frame with Gaussian noise of about 2 codes.
std::vector<uint8_t> gradient8u(const Frame& f) {
    std::vector<uint8_t> v(size_t(f.width) * f.height * 3);
    std::mt19937 rng(3);
    std::normal_distribution<float> noise(0.0f, 2.0f);
    for (int y = 0; y < f.height; ++y)
        for (int x = 0; x < f.width; ++x) {
            const float base[3] = {255.0f * x / f.width, 255.0f * y / f.height, 127.5f + 120.0f * std::sin(0.004f * (x + y))};
            for (int c = 0; c < 3; ++c)
                v[(size_t(y) * f.width + x) * 3 + c] = uint8_t(std::lround(std::fmin(255.0f, std::fmax(0.0f, base[c] + noise(rng)))));
        }
    return v;
}

template <class S, class D>
using Fn = CelStatus (*)(const S*, int, D*, int, CelSize);

// Source pixels of a form: the gradient (forward), or its forward conversion.
template <class T>
std::vector<T> content(const Frame& f, Fn<T, T> forward) {
    return celbench::samplesOf<T>(gradient8u(f), f, forward);
}

template <class T>
void BM_Form(benchmark::State& state, Frame f, Fn<T, T> fn, Fn<T, T> forward) {
    const auto src = content<T>(f, forward);
    std::vector<T> dst(src.size());
    const int step = 3 * f.width * int(sizeof(T));
    for (auto _ : state) {
        fn(src.data(), step, dst.data(), step, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size() * sizeof(T));
}

#ifdef HAVE_OPENCV
template <class T>
void BM_OpenCv(benchmark::State& state, Frame f, int code, Fn<T, T> forward, int threads) {
    auto src = content<T>(f, forward);
    const int type = std::is_same_v<T, float> ? CV_32FC3 : CV_8UC3;
    cv::Mat s(f.height, f.width, type, src.data()), d(f.height, f.width, type);
    const int before = cv::getNumThreads();
    if (threads) cv::setNumThreads(threads);
    for (auto _ : state) {
        cv::cvtColor(s, d, code);
        benchmark::ClobberMemory();
    }
    cv::setNumThreads(before);
    celbench::setCounters(state, f, 2 * src.size() * sizeof(T));
}
#endif

template <class T>
void add(const std::string& name, Fn<T, T> fn, Fn<T, T> forward, int cvCode) {
    const std::initializer_list<Frame> hd = {celbench::kHD};
    celbench::registerAtSizes(name, [=](benchmark::State& st, Frame f) { BM_Form<T>(st, f, fn, forward); }, hd);
#ifdef HAVE_OPENCV
    celbench::registerAtSizes("peer_OpenCV_1thread_" + name, [=](benchmark::State& st, Frame f) { BM_OpenCv<T>(st, f, cvCode, forward, 1); }, hd);
    celbench::registerAtSizes("peer_OpenCV_default_" + name, [=](benchmark::State& st, Frame f) { BM_OpenCv<T>(st, f, cvCode, forward, 0); }, hd);
#else
    (void)cvCode;
#endif
}

void registerAll() {
#ifdef HAVE_OPENCV
    const int rgb2luv = cv::COLOR_RGB2Luv, luv2rgb = cv::COLOR_Luv2RGB, rgb2lab = cv::COLOR_RGB2Lab, lab2rgb = cv::COLOR_Lab2RGB;
#else
    const int rgb2luv = 0, luv2rgb = 0, rgb2lab = 0, lab2rgb = 0;
#endif
    add<uint8_t>("celiRGBToLUV_8u_C3R", celiRGBToLUV_8u_C3R, nullptr, rgb2luv);
    add<uint8_t>("celiLUVToRGB_8u_C3R", celiLUVToRGB_8u_C3R, celiRGBToLUV_8u_C3R, luv2rgb);
    add<float>("celiRGBToLUV_32f_C3R", celiRGBToLUV_32f_C3R, nullptr, rgb2luv);
    add<float>("celiLUVToRGB_32f_C3R", celiLUVToRGB_32f_C3R, celiRGBToLUV_32f_C3R, luv2rgb);
    add<uint8_t>("celiRGBToLab_8u_C3R", celiRGBToLab_8u_C3R, nullptr, rgb2lab);
    add<uint8_t>("celiLabToRGB_8u_C3R", celiLabToRGB_8u_C3R, celiRGBToLab_8u_C3R, lab2rgb);
    add<float>("celiRGBToLab_32f_C3R", celiRGBToLab_32f_C3R, nullptr, rgb2lab);
    add<float>("celiLabToRGB_32f_C3R", celiLabToRGB_32f_C3R, celiRGBToLab_32f_C3R, lab2rgb);
    // memcpy_C3_8u and memcpy_C3_32f of the same bytes are registered beside the XYZ family
}

const int registered = (registerAll(), 0);

}  // namespace
