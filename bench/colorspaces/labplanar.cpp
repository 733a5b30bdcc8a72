// RGB <-> Lab on float planes (32f and 64f, both directions) at 1920x1080,
// beside OpenCV's interleaved 32f cvtColor (COLOR_RGB2Lab, COLOR_Lab2RGB,
// one thread) on the same pixels and a memcpy of the same bytes (three
// float planes in, three out).  Content: the photograph and noisy
// gradients as floats 0..1; the reverse directions read the library's own
// forward output of that content.  OpenCV at the SSE4.2 level:
//   OPENCV_CPU_DISABLE=AVX512_SKX,AVX2,FMA3,AVX,FP16 ./build/bench/bench_colorspaces --benchmark_filter='P3R|Planar'
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

// Three planes of the content, and (reverse) their forward conversion.
template <class T>
struct Planes {
    std::vector<T> p[3];
    T* ptr[3];
};

template <class T>
Planes<T> contentPlanes(const Frame& f, const std::string& content, bool lab) {
    const auto rgb8 = celbench::contentRGB(content, f);
    const size_t n = size_t(f.width) * f.height;
    Planes<T> out;
    for (int c = 0; c < 3; ++c) {
        out.p[c].resize(n);
        for (size_t i = 0; i < n; ++i) out.p[c][i] = T(rgb8[3 * i + c] / 255.0);
        out.ptr[c] = out.p[c].data();
    }
    if (lab) {
        Planes<T> res = out;
        for (int c = 0; c < 3; ++c) res.ptr[c] = res.p[c].data();
        const T* s[3] = {out.ptr[0], out.ptr[1], out.ptr[2]};
        int step[3] = {int(sizeof(T)) * f.width, int(sizeof(T)) * f.width, int(sizeof(T)) * f.width};
        if constexpr (std::is_same_v<T, float>)
            celiRGBToLab_32f_P3R(s, step, res.ptr, step, {f.width, f.height});
        else
            celiRGBToLab_64f_P3R(s, step, res.ptr, step, {f.width, f.height});
        return res;
    }
    return out;
}

template <class T>
using Fn = CelStatus (*)(const T* const*, int*, T**, int*, CelSize);

template <class T>
void BM_Planar(benchmark::State& state, Frame f, const std::string& content, Fn<T> fn, bool reverse) {
    auto src = contentPlanes<T>(f, content, reverse);
    auto dst = contentPlanes<T>(f, content, false);
    const T* s[3] = {src.ptr[0], src.ptr[1], src.ptr[2]};
    int step[3] = {int(sizeof(T)) * f.width, int(sizeof(T)) * f.width, int(sizeof(T)) * f.width};
    for (auto _ : state) {
        fn(s, step, dst.ptr, step, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 6 * size_t(f.width) * f.height * sizeof(T));
}

#ifdef HAVE_OPENCV
void BM_OpenCv(benchmark::State& state, Frame f, const std::string& content, int code, bool reverse) {
    const auto rgb = celbench::samplesOf<float>(celbench::contentRGB(content, f), f, reverse ? celiRGBToLab_32f_C3R : nullptr);
    cv::Mat s(f.height, f.width, CV_32FC3, const_cast<float*>(rgb.data())), d(f.height, f.width, CV_32FC3);
    const int before = cv::getNumThreads();
    cv::setNumThreads(1);
    for (auto _ : state) {
        cv::cvtColor(s, d, code);
        benchmark::ClobberMemory();
    }
    cv::setNumThreads(before);
    celbench::setCounters(state, f, 2 * rgb.size() * sizeof(float));
}
#endif

template <class T>
void add(const std::string& name, Fn<T> fn, bool reverse) {
    for (const auto& content : celbench::contentNames())
        celbench::registerOnContent(name, content, [=](benchmark::State& st, Frame f, const std::string& c) {
            BM_Planar<T>(st, f, c, fn, reverse);
        });
}

void registerAll() {
    add<float>("celiRGBToLab_32f_P3R", celiRGBToLab_32f_P3R, false);
    add<float>("celiLabToRGB_32f_P3R", celiLabToRGB_32f_P3R, true);
    add<double>("celiRGBToLab_64f_P3R", celiRGBToLab_64f_P3R, false);
    add<double>("celiLabToRGB_64f_P3R", celiLabToRGB_64f_P3R, true);
#ifdef HAVE_OPENCV
    for (const auto& content : celbench::contentNames()) {
        celbench::registerOnContent("peer_OpenCV_1thread_Planar_RGB2Lab_32FC3", content,
                                    [](benchmark::State& st, Frame f, const std::string& c) {
                                        BM_OpenCv(st, f, c, cv::COLOR_RGB2Lab, false);
                                    });
        celbench::registerOnContent("peer_OpenCV_1thread_Planar_Lab2RGB_32FC3", content,
                                    [](benchmark::State& st, Frame f, const std::string& c) {
                                        BM_OpenCv(st, f, c, cv::COLOR_Lab2RGB, true);
                                    });
    }
#endif
    celbench::registerMemcpy("memcpy_Planar_3x32f", 12, {celbench::kHD});
    celbench::registerMemcpy("memcpy_Planar_3x64f", 24, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
