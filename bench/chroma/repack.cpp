// Repacking at 1920x1080: packed 4:2:2 to planes and back, two-plane 4:2:0
// to planes and back, beside libyuv (YUY2ToI422, I422ToYUY2, NV12ToI420,
// I420ToNV12) and a memcpy of the same bytes, on the photograph and on noisy
// gradients (common/content.h) through the library's encoder.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_from.h>
#include <libyuv/planar_functions.h>
#endif

namespace {

using celbench::Frame;

// The content at 4:2:2 (chromaRows = height: packed Y0 Cb Y1 Cr and
// planes) or 4:2:0 (chromaRows = height / 2: `packed` holds the CbCr pairs).
struct Planes422 {
    std::vector<uint8_t> packed, y, u, v;
    Planes422(const Frame& f, int chromaRows, const std::string& content) {
        const auto rgb = celbench::contentRGB(content, f);
        const bool is422 = chromaRows == f.height;
        celbench::YCbCrPlanes p = celbench::ycbcrPlanesOf(rgb, f, 2, is422 ? 1 : 2);
        packed = is422 ? celbench::packed422Of(rgb, f, false) : std::move(p.cbcr);
        y = std::move(p.y), u = std::move(p.cb), v = std::move(p.cr);
    }
};

void BM_C2P3(benchmark::State& state, Frame f, const std::string& content) {
    Planes422 p(f, f.height, content);
    uint8_t* dst[3] = {p.y.data(), p.u.data(), p.v.data()};
    int steps[3] = {f.width, f.width / 2, f.width / 2};
    for (auto _ : state) {
        celiYCbCr422_8u_C2P3R(p.packed.data(), 2 * f.width, dst, steps, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 4 * size_t(f.width) * f.height);
}

void BM_P3C2(benchmark::State& state, Frame f, const std::string& content) {
    Planes422 p(f, f.height, content);
    const uint8_t* src[3] = {p.y.data(), p.u.data(), p.v.data()};
    int steps[3] = {f.width, f.width / 2, f.width / 2};
    for (auto _ : state) {
        celiYCbCr422_8u_P3C2R(src, steps, p.packed.data(), 2 * f.width, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 4 * size_t(f.width) * f.height);
}

void BM_P2P3(benchmark::State& state, Frame f, const std::string& content) {
    Planes422 p(f, f.height / 2, content);
    std::vector<uint8_t> y2(p.y.size());
    uint8_t* dst[3] = {y2.data(), p.u.data(), p.v.data()};
    int steps[3] = {f.width, f.width / 2, f.width / 2};
    for (auto _ : state) {
        celiYCbCr420_8u_P2P3R(p.y.data(), f.width, p.packed.data(), f.width, dst, steps, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, 3 * size_t(f.width) * f.height);
}

#ifdef HAVE_LIBYUV
void BM_Libyuv(benchmark::State& state, Frame f, const std::string& content, int which) {
    Planes422 p(f, which == 2 ? f.height / 2 : f.height, content);
    std::vector<uint8_t> y2(p.y.size());
    for (auto _ : state) {
        if (which == 0)
            libyuv::YUY2ToI422(p.packed.data(), 2 * f.width, p.y.data(), f.width, p.u.data(), f.width / 2, p.v.data(),
                               f.width / 2, f.width, f.height);
        else if (which == 1)
            libyuv::I422ToYUY2(p.y.data(), f.width, p.u.data(), f.width / 2, p.v.data(), f.width / 2, p.packed.data(),
                               2 * f.width, f.width, f.height);
        else
            libyuv::NV12ToI420(p.y.data(), f.width, p.packed.data(), f.width, y2.data(), f.width, p.u.data(),
                               f.width / 2, p.v.data(), f.width / 2, f.width, f.height);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, (which == 2 ? 3 : 4) * size_t(f.width) * f.height);
}
#endif

void registerAll() {
    const std::initializer_list<Frame> hd = {celbench::kHD};
    celbench::registerOnContents("celiYCbCr422_8u_C2P3R", BM_C2P3);
    celbench::registerOnContents("celiYCbCr422_8u_P3C2R", BM_P3C2);
    celbench::registerOnContents("celiYCbCr420_8u_P2P3R", BM_P2P3);
    celbench::registerMemcpy("memcpy_2B", 2, hd);
#ifdef HAVE_LIBYUV
    const char* names[3] = {"YUY2ToI422", "I422ToYUY2", "NV12ToI420"};
    for (int which = 0; which < 3; ++which)
        celbench::registerOnContents(std::string("peer_libyuv_") + names[which],
                                     [which](benchmark::State& st, Frame f, const std::string& k) { BM_Libyuv(st, f, k, which); });
#endif
}

const int registered = (registerAll(), 0);

}  // namespace
