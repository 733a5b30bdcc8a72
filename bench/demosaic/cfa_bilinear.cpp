// Bilinear Bayer demosaicing, 8u and 16u, at 1920x1080 and 3840x2160, beside
// OpenCV's bilinear COLOR_BayerBG2RGB.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"

namespace {

using celbench::Frame;

template <class T>
void BM_CFAToRGB(benchmark::State& state, Frame f) {
    auto bytes = celbench::randomBytes(size_t(f.width) * f.height * sizeof(T));
    std::vector<T> dst(size_t(f.width) * f.height * 3);
    const T* src = reinterpret_cast<const T*>(bytes.data());
    const CelRect roi{0, 0, f.width, f.height};
    for (auto _ : state) {
        if constexpr (sizeof(T) == 1)
            celiCFAToRGB_8u_C1C3R(src, roi, {f.width, f.height}, f.width, dst.data(), 3 * f.width, celBayerBGGR);
        else
            celiCFAToRGB_16u_C1C3R(src, roi, {f.width, f.height}, 2 * f.width, dst.data(), 6 * f.width, celBayerBGGR);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, size_t(f.width) * f.height * 4 * sizeof(T));
}

void registerAll() {
    celbench::registerAtSizes("celiCFAToRGB_8u_C1C3R", BM_CFAToRGB<uint8_t>);
    celbench::registerAtSizes("celiCFAToRGB_16u_C1C3R", BM_CFAToRGB<uint16_t>);
    celbench::registerMemcpy("memcpy_C3", 3);
#ifdef HAVE_OPENCV
    celbench::registerOpenCv("BayerBG2RGB_8u", cv::COLOR_BayerBG2RGB, CV_8UC1, CV_8UC3);
    celbench::registerOpenCv("BayerBG2RGB_16u", cv::COLOR_BayerBG2RGB, CV_16UC1, CV_16UC3);
#endif
}

const int registered = (registerAll(), 0);

}  // namespace
