// Bilinear Bayer demosaicing, 8u and 16u, at 1920x1080 on BGGR mosaics of
// the photograph and of noisy gradients (common/mosaic.h), beside OpenCV's
// bilinear conversion of the same mosaic and a memcpy of the bytes written.
// Uniform random bytes run beside the 8u form: there the two directions of
// a green site seldom tie, so the tie repair is rarely taken, unlike on
// real sensor data.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/mosaic.h"

namespace {

using celbench::Frame;

// The mosaic of a content ("random": uniform random samples).
template <class T>
std::vector<T> mosaic(const std::string& content, const Frame& f) {
    if (content == "random") {
        const auto b = celbench::randomBytes(size_t(f.width) * f.height * sizeof(T));
        std::vector<T> v(size_t(f.width) * f.height);
        std::memcpy(v.data(), b.data(), b.size());
        return v;
    }
    const auto m = celbench::makeMosaic(f, content == "photo" ? celbench::MosaicContent::Photo
                                                              : celbench::MosaicContent::Gradient, 8 * sizeof(T));
    return std::vector<T>(m.begin(), m.end());
}

template <class T>
void BM_CFAToRGB(benchmark::State& state, Frame f, const std::string& content) {
    const std::vector<T> src = mosaic<T>(content, f);
    std::vector<T> dst(size_t(f.width) * f.height * 3);
    const CelRect roi{0, 0, f.width, f.height};
    for (auto _ : state) {
        if constexpr (sizeof(T) == 1)
            celiCFAToRGB_8u_C1C3R(src.data(), roi, {f.width, f.height}, f.width, dst.data(), 3 * f.width, celBayerBGGR);
        else
            celiCFAToRGB_16u_C1C3R(src.data(), roi, {f.width, f.height}, 2 * f.width, dst.data(), 6 * f.width,
                                   celBayerBGGR);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, size_t(f.width) * f.height * 4 * sizeof(T));
}

#ifdef HAVE_OPENCV
// OpenCV names a pattern by its second row's middle pair: BGGR is "BayerRG".
template <class T>
void BM_OpenCv(benchmark::State& state, Frame f, const std::string& content) {
    cv::setNumThreads(1);
    std::vector<T> data = mosaic<T>(content, f);
    const cv::Mat src(f.height, f.width, sizeof(T) == 1 ? CV_8UC1 : CV_16UC1, data.data());
    cv::Mat dst;
    for (auto _ : state) {
        cv::cvtColor(src, dst, cv::COLOR_BayerRG2RGB);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, size_t(f.width) * f.height * 4 * sizeof(T));
}
#endif

void registerAll() {
    std::vector<std::string> contents = celbench::contentNames();
    contents.push_back("random");
    for (const std::string& c : contents) {
        const auto reg = [&c](const std::string& name, auto fn) { celbench::registerOnContent(name, c, fn); };
        reg("celiCFAToRGB_8u_C1C3R", BM_CFAToRGB<uint8_t>);
#ifdef HAVE_OPENCV
        reg("peer_OpenCV_BayerRG2RGB_8u", BM_OpenCv<uint8_t>);
#endif
        if (c == "random") continue;
        reg("celiCFAToRGB_16u_C1C3R", BM_CFAToRGB<uint16_t>);
#ifdef HAVE_OPENCV
        reg("peer_OpenCV_BayerRG2RGB_16u", BM_OpenCv<uint16_t>);
#endif
    }
    celbench::registerMemcpy("memcpy_C3_8u", 3, {celbench::kHD});
    celbench::registerMemcpy("memcpy_C3_16u", 6, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
