// RGB <-> photo YCC, 8u and 32f C3 both ways at 1920x1080.  No other library
// does this conversion, so the yardsticks are this library's own XYZ
// conversion of the same depth on the same pixels (the same shape of work:
// three outputs a pixel from three inputs) and a memcpy of the same bytes
// (memcpy_C3_8u, memcpy_C3_32f, registered beside XYZ).  Content: the
// photograph and smooth gradients with sensor-like noise (bench/common);
// the reverse directions read the forward output of that content.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

template <class T>
using Fn = CelStatus (*)(const T*, int, T*, int, CelSize);

template <class T>
void BM_Form(benchmark::State& state, Frame f, const std::string& which, Fn<T> fn, Fn<T> forward) {
    const auto src = celbench::samplesOf<T>(celbench::contentRGB(which, f), f, forward);
    std::vector<T> dst(src.size());
    const int step = 3 * f.width * int(sizeof(T));
    for (auto _ : state) {
        fn(src.data(), step, dst.data(), step, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size() * sizeof(T));
}

template <class T>
void add(const char* name, Fn<T> fn, Fn<T> forward) {
    for (const char* which : {"photo", "gradient"})
        celbench::registerAtSizes(std::string(name) + "/" + which,
                                  [=](benchmark::State& st, Frame f) { BM_Form<T>(st, f, which, fn, forward); },
                                  {celbench::kHD});
}

void registerAll() {
    add<uint8_t>("celiRGBToYCC_8u_C3R", celiRGBToYCC_8u_C3R, nullptr);
    add<uint8_t>("celiYCCToRGB_8u_C3R", celiYCCToRGB_8u_C3R, celiRGBToYCC_8u_C3R);
    add<float>("celiRGBToYCC_32f_C3R", celiRGBToYCC_32f_C3R, nullptr);
    add<float>("celiYCCToRGB_32f_C3R", celiYCCToRGB_32f_C3R, celiRGBToYCC_32f_C3R);
    // the yardstick: XYZ of the same depth on the same content
    add<uint8_t>("yardstick_celiRGBToXYZ_8u_C3R", celiRGBToXYZ_8u_C3R, nullptr);
    add<uint8_t>("yardstick_celiXYZToRGB_8u_C3R", celiXYZToRGB_8u_C3R, celiRGBToXYZ_8u_C3R);
    add<float>("yardstick_celiRGBToXYZ_32f_C3R", celiRGBToXYZ_32f_C3R, nullptr);
    add<float>("yardstick_celiXYZToRGB_32f_C3R", celiXYZToRGB_32f_C3R, celiRGBToXYZ_32f_C3R);
}

const int registered = (registerAll(), 0);

}  // namespace
