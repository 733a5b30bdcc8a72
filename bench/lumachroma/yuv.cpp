// RGB <-> analogue YUV at 1920x1080: 4:4:4 and 4:2:0 both ways, on a
// photograph and on noisy gradients, beside OpenCV's COLOR_RGB2YUV,
// COLOR_YUV2RGB, COLOR_RGB2YUV_I420 and COLOR_YUV2RGB_I420 and a memcpy of
// the source bytes, all on the same content in the same run.  libyuv has no
// analogue-YUV matrix; its full-range BT.601 4:2:0 conversions (RAWToJ420,
// J420ToRAW), the same work with other weights, stand beside the 4:2:0
// forms, once with its default SIMD and once limited to SSE4.2.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/cpu_id.h>
#endif

namespace {

using celbench::Frame;

struct Planes420 {
    std::vector<uint8_t> y, u, v;
    explicit Planes420(const Frame& f)
        : y(size_t(f.width) * f.height), u(size_t(f.width / 2) * (f.height / 2)), v(u.size()) {}
    uint8_t* p[3] = {nullptr, nullptr, nullptr};
    int step[3] = {0, 0, 0};
    void bind(const Frame& f) {
        p[0] = y.data(), p[1] = u.data(), p[2] = v.data();
        step[0] = f.width, step[1] = step[2] = f.width / 2;
    }
};

void BM_RGBToYUV_C3R(benchmark::State& state, Frame f, std::string content) {
    auto src = celbench::contentRGB(content, f);
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        celiRGBToYUV_8u_C3R(src.data(), 3 * f.width, dst.data(), 3 * f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size());
}

void BM_YUVToRGB_C3R(benchmark::State& state, Frame f, std::string content) {
    auto rgb = celbench::contentRGB(content, f);
    std::vector<uint8_t> yuv(rgb.size()), dst(rgb.size());
    celiRGBToYUV_8u_C3R(rgb.data(), 3 * f.width, yuv.data(), 3 * f.width, {f.width, f.height});
    for (auto _ : state) {
        celiYUVToRGB_8u_C3R(yuv.data(), 3 * f.width, dst.data(), 3 * f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * rgb.size());
}

void BM_YUVToRGB_P3C3R(benchmark::State& state, Frame f, std::string content) {
    auto rgb = celbench::contentRGB(content, f);
    const size_t plane = size_t(f.width) * f.height;
    std::vector<uint8_t> y(plane), u(plane), v(plane), dst(rgb.size());
    uint8_t* p[3] = {y.data(), u.data(), v.data()};
    celiRGBToYUV_8u_C3P3R(rgb.data(), 3 * f.width, p, f.width, {f.width, f.height});
    const uint8_t* s[3] = {y.data(), u.data(), v.data()};
    for (auto _ : state) {
        celiYUVToRGB_8u_P3C3R(s, f.width, dst.data(), 3 * f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * rgb.size());
}

template <bool Planar>
void BM_RGBToYUV420(benchmark::State& state, Frame f, std::string content) {
    auto src = celbench::contentRGB(content, f);
    Planes420 d(f);
    d.bind(f);
    for (auto _ : state) {
        if constexpr (Planar)
            celiRGBToYUV420_8u_C3P3(src.data(), d.p, {f.width, f.height});
        else
            celiRGBToYUV420_8u_C3P3R(src.data(), 3 * f.width, d.p, d.step, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + d.y.size() * 3 / 2);
}

void BM_YUV420ToRGB(benchmark::State& state, Frame f, std::string content) {
    auto rgb = celbench::contentRGB(content, f);
    Planes420 d(f);
    d.bind(f);
    celiRGBToYUV420_8u_C3P3R(rgb.data(), 3 * f.width, d.p, d.step, {f.width, f.height});
    const uint8_t* s[3] = {d.p[0], d.p[1], d.p[2]};
    std::vector<uint8_t> dst(rgb.size());
    for (auto _ : state) {
        celiYUV420ToRGB_8u_P3C3R(s, d.step, dst.data(), 3 * f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, rgb.size() + d.y.size() * 3 / 2);
}

void BM_RGBToYUV422_C3P3R(benchmark::State& state, Frame f, std::string content) {
    auto src = celbench::contentRGB(content, f);
    const size_t plane = size_t(f.width) * f.height;
    std::vector<uint8_t> y(plane), u(plane / 2), v(plane / 2);
    uint8_t* p[3] = {y.data(), u.data(), v.data()};
    int steps[3] = {f.width, f.width / 2, f.width / 2};
    for (auto _ : state) {
        celiRGBToYUV422_8u_C3P3R(src.data(), 3 * f.width, p, steps, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + 2 * plane);
}

void BM_Memcpy(benchmark::State& state, Frame f, size_t bytes) { celbench::memcpyReference(state, f, bytes); }

#ifdef HAVE_OPENCV
// cvtColor on the same content, single-threaded.
void BM_OpenCv(benchmark::State& state, Frame f, std::string content, int code, bool fromYuv420) {
    cv::setNumThreads(1);
    auto rgbv = celbench::contentRGB(content, f);
    cv::Mat rgb(f.height, f.width, CV_8UC3, rgbv.data()), src, dst;
    if (code == cv::COLOR_YUV2RGB)
        cv::cvtColor(rgb, src, cv::COLOR_RGB2YUV);
    else if (fromYuv420)
        cv::cvtColor(rgb, src, cv::COLOR_RGB2YUV_I420);
    else
        src = rgb;
    for (auto _ : state) {
        cv::cvtColor(src, dst, code);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.total() * src.elemSize() + dst.total() * dst.elemSize());
}
#endif

#ifdef HAVE_LIBYUV
void maskLibyuv(bool sse42Only) {
    libyuv::MaskCpuFlags(sse42Only ? (libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 |
                                      libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42)
                                   : -1);
}

// RAW is R, G, B in memory.
void BM_LibyuvRAWToJ420(benchmark::State& state, Frame f, std::string content, bool sse42Only) {
    auto src = celbench::contentRGB(content, f);
    Planes420 d(f);
    maskLibyuv(sse42Only);
    for (auto _ : state) {
        libyuv::RAWToJ420(src.data(), 3 * f.width, d.y.data(), f.width, d.u.data(), f.width / 2, d.v.data(),
                          f.width / 2, f.width, f.height);
        benchmark::ClobberMemory();
    }
    libyuv::MaskCpuFlags(-1);
    celbench::setCounters(state, f, src.size() + d.y.size() * 3 / 2);
}

void BM_LibyuvJ420ToRAW(benchmark::State& state, Frame f, std::string content, bool sse42Only) {
    auto rgb = celbench::contentRGB(content, f);
    Planes420 d(f);
    libyuv::RAWToJ420(rgb.data(), 3 * f.width, d.y.data(), f.width, d.u.data(), f.width / 2, d.v.data(), f.width / 2,
                      f.width, f.height);
    std::vector<uint8_t> dst(rgb.size());
    maskLibyuv(sse42Only);
    for (auto _ : state) {
        libyuv::J420ToRAW(d.y.data(), f.width, d.u.data(), f.width / 2, d.v.data(), f.width / 2, dst.data(),
                          3 * f.width, f.width, f.height);
        benchmark::ClobberMemory();
    }
    libyuv::MaskCpuFlags(-1);
    celbench::setCounters(state, f, rgb.size() + d.y.size() * 3 / 2);
}
#endif

void registerAll() {
    const std::initializer_list<Frame> hd = {celbench::kHD};
    for (const std::string content : {"photo", "gradient"}) {
        const auto reg = [&](const std::string& name, auto fn) {
            celbench::registerAtSizes(name + "/" + content, [fn, content](benchmark::State& st, Frame f) { fn(st, f, content); },
                                      hd);
        };
        reg("celiRGBToYUV_8u_C3R", BM_RGBToYUV_C3R);
        reg("celiYUVToRGB_8u_C3R", BM_YUVToRGB_C3R);
        reg("celiYUVToRGB_8u_P3C3R", BM_YUVToRGB_P3C3R);
        reg("celiRGBToYUV420_8u_C3P3R", BM_RGBToYUV420<false>);
        reg("celiRGBToYUV420_8u_C3P3", BM_RGBToYUV420<true>);
        reg("celiYUV420ToRGB_8u_P3C3R", BM_YUV420ToRGB);
        reg("celiRGBToYUV422_8u_C3P3R", BM_RGBToYUV422_C3P3R);
#ifdef HAVE_OPENCV
        const auto cv = [&](const std::string& name, int code, bool from420) {
            reg("peer_OpenCV_" + name, [code, from420](benchmark::State& st, Frame f, std::string c) {
                BM_OpenCv(st, f, c, code, from420);
            });
        };
        cv("RGB2YUV", cv::COLOR_RGB2YUV, false);
        cv("YUV2RGB", cv::COLOR_YUV2RGB, false);
        cv("RGB2YUV_I420", cv::COLOR_RGB2YUV_I420, false);
        cv("YUV2RGB_I420", cv::COLOR_YUV2RGB_I420, true);
#endif
#ifdef HAVE_LIBYUV
        for (bool sse : {false, true}) {
            const std::string tag = sse ? "_sse42" : "_default";
            reg("peer_libyuv_RAWToJ420" + tag,
                [sse](benchmark::State& st, Frame f, std::string c) { BM_LibyuvRAWToJ420(st, f, c, sse); });
            reg("peer_libyuv_J420ToRAW" + tag,
                [sse](benchmark::State& st, Frame f, std::string c) { BM_LibyuvJ420ToRAW(st, f, c, sse); });
        }
#endif
    }
    celbench::registerAtSizes("memcpy_RGB24_src", [](benchmark::State& st, Frame f) {
        BM_Memcpy(st, f, size_t(f.width) * f.height * 3);
    }, hd);
    celbench::registerAtSizes("memcpy_I420_src", [](benchmark::State& st, Frame f) {
        BM_Memcpy(st, f, size_t(f.width) * f.height * 3 / 2);
    }, hd);
}

const int registered = (registerAll(), 0);

}  // namespace
