// Gamma, 8u and 32f C3 at 1920x1080 on a photograph and on noisy gradients:
// the 8u forms beside OpenCV's cv::LUT and a memcpy of the same bytes, the
// 32f forms beside a plain scalar powf loop compiled at -O2.
#include <benchmark/benchmark.h>

#include <cmath>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

template <class T>
std::vector<T> samples(const std::string& content, const Frame& f) {
    const auto bytes = celbench::contentRGB(content, f);
    std::vector<T> v(bytes.size());
    for (size_t i = 0; i < v.size(); ++i)
        v[i] = std::is_same_v<T, float> ? T(bytes[i] / 255.0f) : (std::is_same_v<T, uint16_t> ? T(bytes[i] * 257) : T(bytes[i]));
    return v;
}

template <class T, CelStatus (*Fn)(const T*, int, T*, int, CelSize)>
void BM_GammaInt(benchmark::State& state, Frame f, std::string content) {
    const auto src = samples<T>(content, f);
    std::vector<T> dst(src.size());
    const int step = 3 * f.width * int(sizeof(T));
    for (auto _ : state) {
        Fn(src.data(), step, dst.data(), step, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size() * sizeof(T));
}

template <CelStatus (*Fn)(const float*, int, float*, int, CelSize, float, float)>
void BM_Gamma32f(benchmark::State& state, Frame f, std::string content) {
    const auto src = samples<float>(content, f);
    std::vector<float> dst(src.size());
    const int step = 12 * f.width;
    for (auto _ : state) {
        Fn(src.data(), step, dst.data(), step, {f.width, f.height}, 0.0f, 1.0f);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size() * sizeof(float));
}

// The plain way: the forward curve with powf, one sample at a time.
__attribute__((optimize("O2"), noinline)) void scalarPowfForward(const float* s, float* d, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        const float x = s[i];
        d[i] = x < 0.018f ? 4.5f * x : 1.099f * std::pow(x, 0.45f) - 0.099f;
    }
}

void BM_ScalarPowf(benchmark::State& state, Frame f, std::string content) {
    const auto src = samples<float>(content, f);
    std::vector<float> dst(src.size());
    for (auto _ : state) {
        scalarPowfForward(src.data(), dst.data(), src.size());
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size() * sizeof(float));
}

#ifdef HAVE_OPENCV
void BM_OpenCvLut(benchmark::State& state, Frame f, std::string content) {
    cv::setNumThreads(1);
    const auto bytes = celbench::contentRGB(content, f);
    cv::Mat src(f.height, f.width, CV_8UC3, const_cast<uint8_t*>(bytes.data())), dst(f.height, f.width, CV_8UC3);
    cv::Mat lut(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i) {
        const double x = i / 255.0;
        const double v = x < 0.018 ? 4.5 * x : 1.099 * std::pow(x, 0.45) - 0.099;
        lut.at<uint8_t>(i) = cv::saturate_cast<uint8_t>(255.0 * v);
    }
    for (auto _ : state) {
        cv::LUT(src, lut, dst);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * bytes.size());
}
#endif

void registerAll() {
    for (const std::string& c : celbench::contentNames()) {
        auto reg = [&](const std::string& name, auto fn) { celbench::registerOnContent(name, c, fn); };
        reg("celiGammaFwd_8u_C3R", BM_GammaInt<uint8_t, celiGammaFwd_8u_C3R>);
        reg("celiGammaInv_8u_C3R", BM_GammaInt<uint8_t, celiGammaInv_8u_C3R>);
        reg("celiGammaFwd_16u_C3R", BM_GammaInt<uint16_t, celiGammaFwd_16u_C3R>);
        reg("celiGammaFwd_32f_C3R", BM_Gamma32f<celiGammaFwd_32f_C3R>);
        reg("celiGammaInv_32f_C3R", BM_Gamma32f<celiGammaInv_32f_C3R>);
        reg("scalar_powf_O2_forward_32f", BM_ScalarPowf);
#ifdef HAVE_OPENCV
        reg("peer_OpenCV_LUT_8u_C3", BM_OpenCvLut);
#endif
    }
    celbench::registerMemcpy("memcpy_C3_8u", 3, {celbench::kHD});
    celbench::registerMemcpy("memcpy_C3_16u", 6, {celbench::kHD});
    celbench::registerMemcpy("memcpy_C3_32f", 12, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
