// VNG demosaicing to BGRA, 8u and 16u, at 1920x1080 on a photographic
// mosaic and on smooth gradients with sensor noise, beside OpenCV's
// COLOR_BayerBG2BGR_VNG (8u only, single-threaded), LibRaw's VNG
// interpolation (16-bit samples in its four-channel image) and a memcpy of
// the destination's bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/mosaic.h"

#ifdef HAVE_LIBRAW
#include <libraw/libraw.h>
#endif

namespace {

using celbench::Frame;
using celbench::MosaicContent;

// Mosaics are made once per content, depth and size.
template <class T>
const std::vector<T>& mosaic(const Frame& f, MosaicContent content) {
    static std::map<std::tuple<int, int, int>, std::vector<T>> cache;
    auto& v = cache[{f.width, f.height, int(content)}];
    if (v.empty()) {
        const auto m = celbench::makeMosaic(f, content, 8 * int(sizeof(T)));
        v.assign(m.begin(), m.end());
    }
    return v;
}

template <class T>
void BM_VNG(benchmark::State& state, Frame f, MosaicContent content, bool gains) {
    const std::vector<T>& src = mosaic<T>(f, content);
    std::vector<T> dst(size_t(f.width) * f.height * 4, T(0));
    const float scale[3] = {1.8f, 1.0f, 1.4f};
    const CelSizeL size{f.width, f.height};
    const CelRectL roi{0, 0, f.width, f.height};
    const int64_t s = f.width * int64_t(sizeof(T)), d = 4 * s;
    for (auto _ : state) {
        if constexpr (sizeof(T) == 1)
            celiCFAToBGRA_VNG_8u_C1C4R_L(src.data(), size, s, gains ? scale : nullptr, dst.data(), roi, d, celBayerBGGR);
        else
            celiCFAToBGRA_VNG_16u_C1C4R_L(src.data(), size, s, gains ? scale : nullptr, dst.data(), roi, d, celBayerBGGR);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, size_t(f.width) * f.height * 5 * sizeof(T));
}

#ifdef HAVE_OPENCV
void BM_OpenCvVng(benchmark::State& state, Frame f, MosaicContent content) {
    cv::setNumThreads(1);
    const std::vector<uint8_t>& data = mosaic<uint8_t>(f, content);
    const cv::Mat src(f.height, f.width, CV_8UC1, const_cast<uint8_t*>(data.data()));
    cv::Mat dst(f.height, f.width, CV_8UC3);
    for (auto _ : state) {
        cv::cvtColor(src, dst, cv::COLOR_BayerBG2BGR_VNG);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, size_t(f.width) * f.height * 4);
}
#endif

#ifdef HAVE_LIBRAW
// LibRaw's VNG pass on its own: the mosaic goes in through open_bayer, and
// each iteration restores the four-channel image (untimed) before the pass.
struct LibRawVng : LibRaw {
    void run() { vng_interpolate(); }
};

void BM_LibRawVng(benchmark::State& state, Frame f, MosaicContent content) {
    const std::vector<uint16_t>& data = mosaic<uint16_t>(f, content);
    std::vector<uint16_t> raw(data);  // open_bayer wants a writable buffer it may keep
    auto lr = std::make_unique<LibRawVng>();
    if (lr->open_bayer(reinterpret_cast<unsigned char*>(raw.data()), unsigned(raw.size() * 2), ushort(f.width),
                       ushort(f.height), 0, 0, 0, 0, 0, LIBRAW_OPENBAYER_BGGR, 0, 0, 0) != LIBRAW_SUCCESS ||
        lr->unpack() != LIBRAW_SUCCESS || lr->raw2image() != LIBRAW_SUCCESS) {
        state.SkipWithError("LibRaw could not take the mosaic");
        return;
    }
    const size_t pixels = size_t(lr->imgdata.sizes.iwidth) * lr->imgdata.sizes.iheight;
    std::vector<uint16_t> saved(pixels * 4);
    std::memcpy(saved.data(), lr->imgdata.image, saved.size() * 2);
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(lr->imgdata.image, saved.data(), saved.size() * 2);
        state.ResumeTiming();
        lr->run();
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, size_t(f.width) * f.height * 16);
}
#endif

void registerAll() {
    const std::initializer_list<Frame> hd = {celbench::kHD};
    const std::pair<const char*, MosaicContent> contents[] = {{"photo", MosaicContent::Photo},
                                                              {"gradient", MosaicContent::Gradient}};
    for (auto [tag, content] : contents) {
        const std::string t = std::string("_") + tag;
        celbench::registerAtSizes("celiCFAToBGRA_VNG_8u_C1C4R_L" + t,
                                  [content](benchmark::State& st, Frame f) { BM_VNG<uint8_t>(st, f, content, false); }, hd);
        celbench::registerAtSizes("celiCFAToBGRA_VNG_16u_C1C4R_L" + t,
                                  [content](benchmark::State& st, Frame f) { BM_VNG<uint16_t>(st, f, content, false); }, hd);
#ifdef HAVE_OPENCV
        celbench::registerAtSizes("peer_OpenCV_BayerBG2BGR_VNG_8u" + t,
                                  [content](benchmark::State& st, Frame f) { BM_OpenCvVng(st, f, content); }, hd);
#endif
#ifdef HAVE_LIBRAW
        celbench::registerAtSizes("peer_LibRaw_vng_interpolate_16u" + t,
                                  [content](benchmark::State& st, Frame f) { BM_LibRawVng(st, f, content); }, hd);
#endif
    }
    celbench::registerAtSizes("celiCFAToBGRA_VNG_8u_C1C4R_L_photo_gains",
                              [](benchmark::State& st, Frame f) { BM_VNG<uint8_t>(st, f, MosaicContent::Photo, true); }, hd);
    celbench::registerAtSizes("celiCFAToBGRA_VNG_16u_C1C4R_L_photo_gains",
                              [](benchmark::State& st, Frame f) { BM_VNG<uint16_t>(st, f, MosaicContent::Photo, true); }, hd);
    celbench::registerMemcpy("memcpy_C4_8u", 4, hd);
    celbench::registerMemcpy("memcpy_C4_16u", 8, hd);
}

const int registered = (registerAll(), 0);

}  // namespace
