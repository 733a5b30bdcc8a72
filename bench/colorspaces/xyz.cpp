// RGB <-> XYZ, 8u and 32f C3 both ways at 1920x1080 on the photograph and on
// noisy gradients (common/content.h), beside OpenCV on the same pixels and a
// memcpy.  The reverse runs read the forward output of the content, each
// library its own.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

template <class T>
using C3Fn = CelStatus (*)(const T*, int, T*, int, CelSize);

template <class T, C3Fn<T> Fn, C3Fn<T> Fwd = nullptr>
void BM_Xyz(benchmark::State& state, Frame f, const std::string& content) {
    const std::vector<T> src = celbench::samplesOf<T>(celbench::contentRGB(content, f), f, Fwd);
    std::vector<T> dst(src.size());
    for (auto _ : state) {
        Fn(src.data(), 3 * f.width * int(sizeof(T)), dst.data(), 3 * f.width * int(sizeof(T)), {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size() * sizeof(T));
}

void registerAll() {
    for (const std::string& c : celbench::contentNames()) {
        const auto reg = [&c](const std::string& name, auto fn) { celbench::registerOnContent(name, c, fn); };
        reg("celiRGBToXYZ_8u_C3R", BM_Xyz<uint8_t, celiRGBToXYZ_8u_C3R>);
        reg("celiXYZToRGB_8u_C3R", BM_Xyz<uint8_t, celiXYZToRGB_8u_C3R, celiRGBToXYZ_8u_C3R>);
        reg("celiRGBToXYZ_32f_C3R", BM_Xyz<float, celiRGBToXYZ_32f_C3R>);
        reg("celiXYZToRGB_32f_C3R", BM_Xyz<float, celiXYZToRGB_32f_C3R, celiRGBToXYZ_32f_C3R>);
    }
#ifdef HAVE_OPENCV
    for (const bool f32 : {false, true}) {
        const std::string d = f32 ? "_32f" : "_8u";
        celbench::registerOpenCvOnContents("RGB2XYZ" + d, cv::COLOR_RGB2XYZ, -1, f32);
        celbench::registerOpenCvOnContents("XYZ2RGB" + d, cv::COLOR_XYZ2RGB, cv::COLOR_RGB2XYZ, f32);
    }
#endif
    celbench::registerMemcpy("memcpy_C3_8u", 3, {celbench::kHD});
    celbench::registerMemcpy("memcpy_C3_32f", 12, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
