// RGB -> YCbCr at full resolution: the five exports at 1920x1080 on the
// photograph and on noisy gradients (common/content.h), a memcpy of the
// same bytes, and OpenCV's cvtColor on the same pixels as a peer.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

void BM_RGBToYCbCr_C3R(benchmark::State& state, Frame f, const std::string& content) {
    const auto src = celbench::contentRGB(content, f);
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        celiRGBToYCbCr_8u_C3R(src.data(), f.width * 3, dst.data(), f.width * 3, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + dst.size());
}

void BM_RGBToYCbCr_AC4R(benchmark::State& state, Frame f, const std::string& content) {
    const auto src = celbench::withAlphaOf(celbench::contentRGB(content, f));
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        celiRGBToYCbCr_8u_AC4R(src.data(), f.width * 4, dst.data(), f.width * 4, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + dst.size());
}

template <int Channels>
void BM_RGBToYCbCr_toP3R(benchmark::State& state, Frame f, const std::string& content) {
    const size_t plane = size_t(f.width) * f.height;
    const auto rgb = celbench::contentRGB(content, f);
    const auto src = Channels == 3 ? rgb : celbench::withAlphaOf(rgb);
    std::vector<uint8_t> y(plane), cb(plane), cr(plane);
    uint8_t* dst[3] = {y.data(), cb.data(), cr.data()};
    for (auto _ : state) {
        if constexpr (Channels == 3)
            celiRGBToYCbCr_8u_C3P3R(src.data(), f.width * 3, dst, f.width, {f.width, f.height});
        else
            celiRGBToYCbCr_8u_AC4P3R(src.data(), f.width * 4, dst, f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + 3 * plane);
}

void BM_RGBToYCbCr_P3R(benchmark::State& state, Frame f, const std::string& content) {
    const size_t plane = size_t(f.width) * f.height;
    // 16-byte aligned planes and steps: the 16-pixel path.
    std::vector<uint8_t> mem(6 * plane + 16 * 7);
    uint8_t* base = reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(mem.data()) + 15) & ~uintptr_t(15));
    // the content's R, G and B planes
    const auto rgb = celbench::contentRGB(content, f);
    for (size_t i = 0; i < plane; ++i)
        for (int c = 0; c < 3; ++c) base[c * plane + i] = rgb[3 * i + c];
    const uint8_t* src[3] = {base, base + plane, base + 2 * plane};
    uint8_t* dst[3] = {base + 3 * plane, base + 4 * plane, base + 5 * plane};
    for (auto _ : state) {
        celiRGBToYCbCr_8u_P3R(src, f.width, dst, f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 6 * plane);
}

void registerAll() {
    celbench::registerOnContents("celiRGBToYCbCr_8u_C3R", BM_RGBToYCbCr_C3R);
    celbench::registerOnContents("celiRGBToYCbCr_8u_AC4R", BM_RGBToYCbCr_AC4R);
    celbench::registerOnContents("celiRGBToYCbCr_8u_C3P3R", BM_RGBToYCbCr_toP3R<3>);
    celbench::registerOnContents("celiRGBToYCbCr_8u_AC4P3R", BM_RGBToYCbCr_toP3R<4>);
    celbench::registerOnContents("celiRGBToYCbCr_8u_P3R", BM_RGBToYCbCr_P3R);
    celbench::registerMemcpy("memcpy_C3", 3, {celbench::kHD});
#ifdef HAVE_OPENCV
    celbench::registerOpenCvOnContents("RGB2YCrCb", cv::COLOR_RGB2YCrCb);
#endif
}

const int registered = (registerAll(), 0);

}  // namespace
