// Colour twist at 1920x1080 on a photograph and on noisy gradients, with a
// colour-correction matrix: 8u and 32f C3 beside OpenCV's cv::transform
// (one thread) on the same matrix, 8u AC4 beside libyuv's ARGBColorMatrix
// (its 4x4 matrix of 1/64 steps, no offset) on four-channel data, and a
// memcpy of the same bytes.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/planar_functions.h>
#endif

namespace {

using celbench::Frame;

// A camera's colour-correction matrix with a small black-level offset
// (in 8-bit units; the float forms take it over 255).
constexpr float kCcm[3][4] = {
    {1.20f, -0.15f, -0.05f, 2.0f}, {-0.10f, 1.15f, -0.05f, -1.0f}, {-0.05f, -0.20f, 1.25f, 0.5f}};

void floatMatrix(float m[3][4]) {
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 4; ++k) m[r][k] = k == 3 ? kCcm[r][k] / 255.0f : kCcm[r][k];
}

std::vector<float> asFloat(const std::vector<uint8_t>& b) {
    std::vector<float> v(b.size());
    for (size_t i = 0; i < b.size(); ++i) v[i] = b[i] / 255.0f;
    return v;
}

std::vector<uint8_t> withAlpha(const std::vector<uint8_t>& rgb) {
    std::vector<uint8_t> v(rgb.size() / 3 * 4);
    for (size_t p = 0; p < rgb.size() / 3; ++p) {
        for (int c = 0; c < 3; ++c) v[4 * p + c] = rgb[3 * p + c];
        v[4 * p + 3] = 255;
    }
    return v;
}

void BM_Twist8uC3(benchmark::State& state, Frame f, std::string content) {
    const auto src = celbench::contentRGB(content, f);
    std::vector<uint8_t> dst(src.size());
    const int step = 3 * f.width;
    for (auto _ : state) {
        celiColorTwist32f_8u_C3R(src.data(), step, dst.data(), step, {f.width, f.height}, kCcm);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size());
}

void BM_Twist8uAC4(benchmark::State& state, Frame f, std::string content) {
    const auto src = withAlpha(celbench::contentRGB(content, f));
    std::vector<uint8_t> dst(src.size());
    const int step = 4 * f.width;
    for (auto _ : state) {
        celiColorTwist32f_8u_AC4R(src.data(), step, dst.data(), step, {f.width, f.height}, kCcm);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size());
}

void BM_Twist32fC3(benchmark::State& state, Frame f, std::string content) {
    const auto src = asFloat(celbench::contentRGB(content, f));
    std::vector<float> dst(src.size());
    float m[3][4];
    floatMatrix(m);
    const int step = 12 * f.width;
    for (auto _ : state) {
        celiColorTwist_32f_C3R(src.data(), step, dst.data(), step, {f.width, f.height}, m);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size() * sizeof(float));
}

#ifdef HAVE_OPENCV
void BM_OpenCvTransform(benchmark::State& state, Frame f, std::string content, bool isFloat) {
    cv::setNumThreads(1);
    const auto bytes = celbench::contentRGB(content, f);
    cv::Mat m(3, 4, CV_32F);
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 4; ++k) m.at<float>(r, k) = (isFloat && k == 3) ? kCcm[r][k] / 255.0f : kCcm[r][k];
    cv::Mat src8(f.height, f.width, CV_8UC3, const_cast<uint8_t*>(bytes.data())), src, dst;
    if (isFloat)
        src8.convertTo(src, CV_32F, 1.0 / 255.0);
    else
        src = src8;
    dst.create(src.size(), src.type());
    for (auto _ : state) {
        cv::transform(src, dst, m);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.total() * src.elemSize());
}
#endif

#ifdef HAVE_LIBYUV
void BM_LibyuvColorMatrix(benchmark::State& state, Frame f, std::string content) {
    const auto src = withAlpha(celbench::contentRGB(content, f));
    std::vector<uint8_t> dst(src.size());
    // the same factors in 1/64 steps, rows and columns in the order of
    // libyuv's channels (B, G, R, A in memory for its ARGB)
    int8_t m[16] = {};
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 3; ++k) m[4 * (2 - r) + (2 - k)] = static_cast<int8_t>(kCcm[r][k] * 64.0f);
    m[15] = 64;
    const int step = 4 * f.width;
    for (auto _ : state) {
        libyuv::ARGBColorMatrix(src.data(), step, dst.data(), step, m, f.width, f.height);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size());
}
#endif

void registerAll() {
    for (const std::string& c : celbench::contentNames()) {
        auto reg = [&](const std::string& name, auto fn) { celbench::registerOnContent(name, c, fn); };
        reg("celiColorTwist32f_8u_C3R", BM_Twist8uC3);
#ifdef HAVE_OPENCV
        reg("peer_OpenCV_transform_8u_C3", [](benchmark::State& st, Frame f, std::string k) { BM_OpenCvTransform(st, f, k, false); });
#endif
        reg("celiColorTwist_32f_C3R", BM_Twist32fC3);
#ifdef HAVE_OPENCV
        reg("peer_OpenCV_transform_32f_C3", [](benchmark::State& st, Frame f, std::string k) { BM_OpenCvTransform(st, f, k, true); });
#endif
        reg("celiColorTwist32f_8u_AC4R", BM_Twist8uAC4);
#ifdef HAVE_LIBYUV
        reg("peer_libyuv_ARGBColorMatrix_8u_C4", BM_LibyuvColorMatrix);
#endif
    }
    celbench::registerMemcpy("memcpy_C3_8u", 3, {celbench::kHD});
    celbench::registerMemcpy("memcpy_C4_8u", 4, {celbench::kHD});
    celbench::registerMemcpy("memcpy_C3_32f", 12, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
