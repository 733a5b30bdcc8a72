// RGB <-> XYZ, 8u and 32f C3 both ways at 1920x1080, beside OpenCV.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"

namespace {

using celbench::Frame;

template <class T, CelStatus (*Fn)(const T*, int, T*, int, CelSize)>
void BM_Xyz(benchmark::State& state, Frame f) {
    const size_t n = size_t(f.width) * f.height * 3;
    auto bytes = celbench::randomBytes(n);
    std::vector<T> src(n), dst(n);
    for (size_t i = 0; i < n; ++i) src[i] = std::is_same_v<T, float> ? T(bytes[i] / 255.0f) : T(bytes[i]);
    for (auto _ : state) {
        Fn(src.data(), 3 * f.width * int(sizeof(T)), dst.data(), 3 * f.width * int(sizeof(T)), {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * n * sizeof(T));
}

void registerAll() {
    const std::initializer_list<Frame> hd = {celbench::kHD};
    celbench::registerAtSizes("celiRGBToXYZ_8u_C3R", BM_Xyz<uint8_t, celiRGBToXYZ_8u_C3R>, hd);
    celbench::registerAtSizes("celiXYZToRGB_8u_C3R", BM_Xyz<uint8_t, celiXYZToRGB_8u_C3R>, hd);
    celbench::registerAtSizes("celiRGBToXYZ_32f_C3R", BM_Xyz<float, celiRGBToXYZ_32f_C3R>, hd);
    celbench::registerAtSizes("celiXYZToRGB_32f_C3R", BM_Xyz<float, celiXYZToRGB_32f_C3R>, hd);
    celbench::registerMemcpy("memcpy_C3_8u", 3, hd);
    celbench::registerMemcpy("memcpy_C3_32f", 12, hd);
#ifdef HAVE_OPENCV
    celbench::registerOpenCv("RGB2XYZ_8u", cv::COLOR_RGB2XYZ, CV_8UC3, CV_8UC3, hd);
    celbench::registerOpenCv("XYZ2RGB_8u", cv::COLOR_XYZ2RGB, CV_8UC3, CV_8UC3, hd);
    celbench::registerOpenCv("RGB2XYZ_32f", cv::COLOR_RGB2XYZ, CV_32FC3, CV_32FC3, hd);
    celbench::registerOpenCv("XYZ2RGB_32f", cv::COLOR_XYZ2RGB, CV_32FC3, CV_32FC3, hd);
#endif
}

const int registered = (registerAll(), 0);

}  // namespace
