// YCbCr -> RGB/BGR at full resolution: the seven exports at 1920x1080 on
// the photograph and on noisy gradients (common/content.h) through the
// library's encoder, and OpenCV's cvtColor on its own encoding of the same
// pixels as a peer.
#include <benchmark/benchmark.h>

#include <string>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;

// Planar source with 16-byte aligned planes and steps (the P3R 16-pixel loop).
struct Planes {
    std::vector<uint8_t> mem;
    const uint8_t* src[3];
    Planes(const Frame& f, const std::string& content) : mem(3 * size_t(f.width) * f.height + 16) {
        uint8_t* base = reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(mem.data()) + 15) & ~uintptr_t(15));
        const size_t plane = size_t(f.width) * f.height;
        const celbench::YCbCrPlanes p = celbench::ycbcrPlanesOf(celbench::contentRGB(content, f), f, 1, 1);
        std::copy(p.y.begin(), p.y.end(), base);
        std::copy(p.cb.begin(), p.cb.end(), base + plane);
        std::copy(p.cr.begin(), p.cr.end(), base + 2 * plane);
        for (int i = 0; i < 3; ++i) src[i] = base + i * plane;
    }
};

// The content through the library's interleaved encoder.
std::vector<uint8_t> ycbcrOf(const std::string& content, const Frame& f) {
    const auto rgb = celbench::contentRGB(content, f);
    std::vector<uint8_t> out(rgb.size());
    celiRGBToYCbCr_8u_C3R(rgb.data(), 3 * f.width, out.data(), 3 * f.width, {f.width, f.height});
    return out;
}

void BM_C3R(benchmark::State& state, Frame f, const std::string& content) {
    const auto src = ycbcrOf(content, f);
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        celiYCbCrToRGB_8u_C3R(src.data(), f.width * 3, dst.data(), f.width * 3, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size());
}

void BM_AC4R(benchmark::State& state, Frame f, const std::string& content) {
    const auto src = celbench::withAlphaOf(ycbcrOf(content, f));
    std::vector<uint8_t> dst(src.size());
    for (auto _ : state) {
        celiYCbCrToRGB_8u_AC4R(src.data(), f.width * 4, dst.data(), f.width * 4, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * src.size());
}

template <CelStatus (*Fn)(const uint8_t* const[3], int, uint8_t*, int, CelSize)>
void BM_P3C3(benchmark::State& state, Frame f, const std::string& content) {
    Planes p(f, content);
    std::vector<uint8_t> dst(size_t(f.width) * f.height * 3);
    for (auto _ : state) {
        Fn(p.src, f.width, dst.data(), f.width * 3, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 2 * dst.size());
}

template <CelStatus (*Fn)(const uint8_t* const[3], int, uint8_t*, int, CelSize, uint8_t)>
void BM_P3C4(benchmark::State& state, Frame f, const std::string& content) {
    Planes p(f, content);
    std::vector<uint8_t> dst(size_t(f.width) * f.height * 4);
    for (auto _ : state) {
        Fn(p.src, f.width, dst.data(), f.width * 4, {f.width, f.height}, 255);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, dst.size() / 4 * 7);
}

void BM_P3R(benchmark::State& state, Frame f, const std::string& content) {
    Planes in(f, content), out(f, content);
    uint8_t* dst[3] = {const_cast<uint8_t*>(out.src[0]), const_cast<uint8_t*>(out.src[1]),
                       const_cast<uint8_t*>(out.src[2])};
    for (auto _ : state) {
        celiYCbCrToRGB_8u_P3R(in.src, f.width, dst, f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 6 * size_t(f.width) * f.height);
}

void registerAll() {
    celbench::registerOnContents("celiYCbCrToRGB_8u_C3R", BM_C3R);
    celbench::registerOnContents("celiYCbCrToRGB_8u_AC4R", BM_AC4R);
    celbench::registerOnContents("celiYCbCrToRGB_8u_P3C3R", BM_P3C3<celiYCbCrToRGB_8u_P3C3R>);
    celbench::registerOnContents("celiYCbCrToBGR_8u_P3C3R", BM_P3C3<celiYCbCrToBGR_8u_P3C3R>);
    celbench::registerOnContents("celiYCbCrToRGB_8u_P3C4R", BM_P3C4<celiYCbCrToRGB_8u_P3C4R>);
    celbench::registerOnContents("celiYCbCrToBGR_8u_P3C4R", BM_P3C4<celiYCbCrToBGR_8u_P3C4R>);
    celbench::registerOnContents("celiYCbCrToRGB_8u_P3R", BM_P3R);
#ifdef HAVE_OPENCV
    celbench::registerOpenCvOnContents("YCrCb2RGB", cv::COLOR_YCrCb2RGB, cv::COLOR_RGB2YCrCb);
#endif
}

const int registered = (registerAll(), 0);

}  // namespace
