// Tone mapping of a one-channel float image to bytes at 1920x1080 (both
// passes: the reduction, then the mapping), on a photograph's luminance
// made linear and on smooth gradients with sensor-like noise, beside a
// memcpy of the source floats and, with OpenCV, its maximum or mean
// followed by a scaled saturating conversion (the same two passes).
#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

// Linear-light luminance of the content, 0 .. about 4 (an HDR-like range).
std::vector<float> floatContent(const std::string& which, const Frame& f) {
    const auto rgb = celbench::contentRGB(which, f);
    std::vector<float> out(size_t(f.width) * f.height);
    for (size_t i = 0; i < out.size(); ++i) {
        const float y = (0.2126f * rgb[3 * i] + 0.7152f * rgb[3 * i + 1] + 0.0722f * rgb[3 * i + 2]) / 255.0f;
        out[i] = 4.0f * std::pow(y, 2.2f);
    }
    return out;
}

template <CelStatus (*Fn)(const float*, int, uint8_t*, int, CelSize)>
void BM_ToneMap(benchmark::State& state, Frame f, const std::string& which) {
    const auto src = floatContent(which, f);
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        Fn(src.data(), f.width * 4, dst.data(), f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() * 5);
}

#ifdef HAVE_OPENCV
void BM_OpenCv(benchmark::State& state, Frame f, const std::string& which, bool mean) {
    cv::setNumThreads(1);
    auto data = floatContent(which, f);
    cv::Mat src(f.height, f.width, CV_32F, data.data()), dst(f.height, f.width, CV_8U);
    for (auto _ : state) {
        double scale;
        if (mean) {
            scale = 255.0 / (2.0 * cv::mean(src)[0]);
        } else {
            double lo, hi;
            cv::minMaxLoc(src, &lo, &hi);
            scale = 255.0 / hi;
        }
        src.convertTo(dst, CV_8U, scale);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, data.size() * 5);
}
#endif

void registerAll() {
    for (const char* which : {"photo", "gradient"}) {
        const std::string w = which;
        celbench::registerAtSizes("celiToneMapLinear_32f8u_C1R/" + w,
                                  [w](benchmark::State& st, Frame f) { BM_ToneMap<celiToneMapLinear_32f8u_C1R>(st, f, w); },
                                  {celbench::kHD});
        celbench::registerAtSizes("celiToneMapMean_32f8u_C1R/" + w,
                                  [w](benchmark::State& st, Frame f) { BM_ToneMap<celiToneMapMean_32f8u_C1R>(st, f, w); },
                                  {celbench::kHD});
#ifdef HAVE_OPENCV
        celbench::registerAtSizes("peer_OpenCV_minMaxLoc_convertTo/" + w,
                                  [w](benchmark::State& st, Frame f) { BM_OpenCv(st, f, w, false); }, {celbench::kHD});
        celbench::registerAtSizes("peer_OpenCV_mean_convertTo/" + w,
                                  [w](benchmark::State& st, Frame f) { BM_OpenCv(st, f, w, true); }, {celbench::kHD});
#endif
    }
    celbench::registerMemcpy("memcpy_C1_32f", 4, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
