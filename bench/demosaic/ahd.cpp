// Adaptive homogeneity-directed demosaicing, 8u and 16u, at 1920x1080 and
// 4000x3000, on realistic mosaics: a real photograph (tiled, mosaicked) and
// smooth gradients with edges and sensor-like noise.  Beside, in the same
// run: LibRaw's AHD interpolation step alone (single-threaded, on the same
// mosaic), OpenCV's edge-aware and VNG Bayer conversions, the library's
// bilinear demosaicing and a memcpy of the bytes read and written.
//
// On the photograph each demosaicer also reports its PSNR against the
// original (counter "PSNR_dB", all three channels).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#ifdef HAVE_LIBRAW
#include <dlfcn.h>
#include <libraw/libraw.h>
#endif

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

namespace {

using celbench::Frame;
constexpr Frame k12MP{4000, 3000};

enum class Content { Photo, Gradient };
const char* name(Content c) { return c == Content::Photo ? "photo" : "gradient"; }

// An RGB image, 16-bit samples (8-bit content is the high byte).
struct Rgb {
    int width = 0, height = 0;
    std::vector<uint16_t> px;
};

// The frame's content: the photograph of common/content.h (tiled with
// mirroring, 16-bit by v * 257), or gradients with two edges; both with a
// little sensor-like noise (shot noise growing with the signal, plus read
// noise).
Rgb makeContent(Content c, Frame f) {
    const std::vector<uint8_t> photo = c == Content::Photo ? celbench::photoRGB(f) : std::vector<uint8_t>{};
    Rgb out{f.width, f.height, std::vector<uint16_t>(size_t(3) * f.width * f.height)};
    std::mt19937 rng(7);
    std::normal_distribution<double> gauss(0.0, 1.0);
    for (int y = 0; y < f.height; ++y)
        for (int x = 0; x < f.width; ++x)
            for (int ch = 0; ch < 3; ++ch) {
                const size_t i = (size_t(y) * f.width + x) * 3 + ch;
                double v;
                if (!photo.empty()) {
                    v = photo[i] * 257.0;
                } else {
                    const double gx = double(x) / f.width, gy = double(y) / f.height;
                    v = 65535.0 * (0.15 + 0.35 * gx + 0.2 * gy * (1 + ch) / 3.0 +
                                   0.1 * std::sin(6.0 * gx + 4.0 * gy + ch) + (x > f.width / 3 ? 0.15 : 0.0) +
                                   ((x + 2 * y) % 700 < 350 ? 0.05 * ch : 0.0));
                }
                v += gauss(rng) * (60.0 + 0.8 * std::sqrt(std::max(v, 0.0)));
                out.px[i] = static_cast<uint16_t>(std::clamp(v, 0.0, 65535.0));
            }
    return out;
}

// The test scene at each size, mosaicked on RGGB; kept for the whole run.
struct Scene {
    Rgb rgb;
    std::vector<uint16_t> mosaic16;
    std::vector<uint8_t> mosaic8;
};
const Scene& scene(Content c, Frame f) {
    static std::map<std::tuple<int, int, int>, std::unique_ptr<Scene>> cache;
    auto& s = cache[{int(c), f.width, f.height}];
    if (!s) {
        s = std::make_unique<Scene>();
        s->rgb = makeContent(c, f);
        const size_t n = size_t(f.width) * f.height;
        s->mosaic16.resize(n);
        s->mosaic8.resize(n);
        for (int y = 0; y < f.height; ++y)
            for (int x = 0; x < f.width; ++x) {
                const int ch = (y & 1) ? ((x & 1) ? 2 : 1) : ((x & 1) ? 1 : 0);  // R G / G B
                const uint16_t v = s->rgb.px[(size_t(y) * f.width + x) * 3 + ch];
                s->mosaic16[size_t(y) * f.width + x] = v;
                s->mosaic8[size_t(y) * f.width + x] = static_cast<uint8_t>(v >> 8);
            }
    }
    return *s;
}

// PSNR of an RGB result against the scene, over the pixels 8 away from the
// frame's edge (every demosaicer treats its border its own way).
template <class T>
double psnr(const Scene& s, const T* rgb, int width, int height) {
    const int shift = sizeof(T) == 1 ? 8 : 0;
    const double peak = sizeof(T) == 1 ? 255.0 : 65535.0;
    double se = 0;
    size_t n = 0;
    for (int y = 8; y < height - 8; ++y)
        for (int x = 8 * 3; x < (width - 8) * 3; ++x) {
            const double d = double(rgb[size_t(y) * width * 3 + x]) - double(s.rgb.px[size_t(y) * width * 3 + x] >> shift);
            se += d * d;
            ++n;
        }
    return 10.0 * std::log10(peak * peak / (se / double(n)));
}

template <class T>
const T* mosaicOf(const Scene& s) {
    if constexpr (sizeof(T) == 1)
        return s.mosaic8.data();
    else
        return s.mosaic16.data();
}

void finish(benchmark::State& state, Frame f, size_t sampleBytes, Content c, double dB) {
    celbench::setCounters(state, f, size_t(f.width) * f.height * 4 * sampleBytes);
    if (c == Content::Photo) state.counters["PSNR_dB"] = dB;
}

template <class T>
void BM_AHD(benchmark::State& state, Frame f, Content c) {
    const Scene& s = scene(c, f);
    std::vector<T> dst(size_t(3) * f.width * f.height);
    const int bufStep = int(sizeof(T)) * (f.width + 6) + 16;
    std::vector<uint8_t> buf(size_t(30) * bufStep);
    const CelRect roi{0, 0, f.width, f.height};
    const int sz = int(sizeof(T));
    for (auto _ : state) {
        if constexpr (sizeof(T) == 1)
            celiDemosaicAHD_8u_C1C3R(mosaicOf<T>(s), roi, {f.width, f.height}, f.width, dst.data(), 3 * f.width,
                                     celBayerRGGB, buf.data(), bufStep);
        else
            celiDemosaicAHD_16u_C1C3R(mosaicOf<T>(s), roi, {f.width, f.height}, sz * f.width, dst.data(),
                                      3 * sz * f.width, celBayerRGGB, reinterpret_cast<T*>(buf.data()), bufStep);
        benchmark::ClobberMemory();
    }
    finish(state, f, sizeof(T), c, psnr(s, dst.data(), f.width, f.height));
}

template <class T>
void BM_Bilinear(benchmark::State& state, Frame f, Content c) {
    const Scene& s = scene(c, f);
    std::vector<T> dst(size_t(3) * f.width * f.height);
    const int sz = int(sizeof(T));
    for (auto _ : state) {
        if constexpr (sizeof(T) == 1)
            celiCFAToRGB_8u_C1C3R(mosaicOf<T>(s), {0, 0, f.width, f.height}, {f.width, f.height}, f.width, dst.data(),
                                  3 * f.width, celBayerRGGB);
        else
            celiCFAToRGB_16u_C1C3R(mosaicOf<T>(s), {0, 0, f.width, f.height}, {f.width, f.height}, sz * f.width,
                                   dst.data(), 3 * sz * f.width, celBayerRGGB);
        benchmark::ClobberMemory();
    }
    finish(state, f, sizeof(T), c, psnr(s, dst.data(), f.width, f.height));
}

#ifdef HAVE_OPENCV
// OpenCV names its Bayer codes by the second row's middle pair: an RGGB
// frame is its "BayerBG".
template <class T>
void BM_OpenCv(benchmark::State& state, Frame f, Content c, int code) {
    cv::setNumThreads(1);
    const Scene& s = scene(c, f);
    const int depth = sizeof(T) == 1 ? CV_8U : CV_16U;
    const cv::Mat src(f.height, f.width, CV_MAKETYPE(depth, 1), const_cast<T*>(mosaicOf<T>(s)));
    cv::Mat dst(f.height, f.width, CV_MAKETYPE(depth, 3));
    for (auto _ : state) {
        cv::cvtColor(src, dst, code);
        benchmark::ClobberMemory();
    }
    finish(state, f, sizeof(T), c, psnr(s, dst.ptr<T>(), f.width, f.height));
}
#endif

#ifdef HAVE_LIBRAW
// LibRaw's AHD step on its own: the mosaic is placed in LibRaw's four-channel
// image as its loader would leave it, then only the interpolation is timed.
// LibRaw works in 16 bits; the 8-bit content is its high byte.
class RawAhd : public LibRaw {
public:
    RawAhd(const uint16_t* mosaic, int width, int height, int shift) {
        imgdata.sizes.width = imgdata.sizes.iwidth = static_cast<ushort>(width);
        imgdata.sizes.height = imgdata.sizes.iheight = static_cast<ushort>(height);
        imgdata.idata.filters = 0x94949494;  // R G / G B
        imgdata.idata.colors = 3;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j) imgdata.color.rgb_cam[i][j] = i == j ? 1.0f : 0.0f;
        image_.assign(size_t(width) * height * 4, 0);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const int ch = (y & 1) ? ((x & 1) ? 2 : 1) : ((x & 1) ? 1 : 0);
                image_[(size_t(y) * width + x) * 4 + ch] = static_cast<ushort>(mosaic[size_t(y) * width + x] >> shift << shift);
            }
        imgdata.image = reinterpret_cast<ushort(*)[4]>(image_.data());
    }
    ~RawAhd() { imgdata.image = nullptr; }
    void run() { ahd_interpolate(); }
    const std::vector<ushort>& pixels() const { return image_; }

private:
    std::vector<ushort> image_;
};

void singleThreadedOpenMp() {
    // LibRaw may be built with OpenMP: one thread, as for every other entry
    using SetThreads = void (*)(int);
    if (auto f = reinterpret_cast<SetThreads>(dlsym(RTLD_DEFAULT, "omp_set_num_threads"))) f(1);
}

template <class T>
void BM_LibRaw(benchmark::State& state, Frame f, Content c) {
    singleThreadedOpenMp();
    const Scene& s = scene(c, f);
    RawAhd raw(s.mosaic16.data(), f.width, f.height, sizeof(T) == 1 ? 8 : 0);
    for (auto _ : state) {
        raw.run();
        benchmark::ClobberMemory();
    }
    std::vector<T> rgb(size_t(3) * f.width * f.height);
    for (size_t i = 0; i < size_t(f.width) * f.height; ++i)
        for (int ch = 0; ch < 3; ++ch) rgb[i * 3 + ch] = static_cast<T>(raw.pixels()[i * 4 + ch] >> (sizeof(T) == 1 ? 8 : 0));
    finish(state, f, sizeof(T), c, psnr(s, rgb.data(), f.width, f.height));
}
#endif

template <class Fn>
void add(const std::string& tag, Fn fn) {
    for (Frame f : {celbench::kHD, k12MP})
        for (Content c : {Content::Photo, Content::Gradient}) {
            const std::string n = tag + "/" + std::to_string(f.width) + "x" + std::to_string(f.height) + "/" + name(c);
            benchmark::RegisterBenchmark(n.c_str(), [fn, f, c](benchmark::State& st) { fn(st, f, c); })
                ->Unit(benchmark::kMillisecond);
        }
}

void registerAll() {
    add("celiDemosaicAHD_8u_C1C3R", BM_AHD<uint8_t>);
    add("celiDemosaicAHD_16u_C1C3R", BM_AHD<uint16_t>);
#ifdef HAVE_LIBRAW
    add("peer_LibRaw_ahd_interpolate_8u", BM_LibRaw<uint8_t>);
    add("peer_LibRaw_ahd_interpolate_16u", BM_LibRaw<uint16_t>);
#endif
#ifdef HAVE_OPENCV
    add("peer_OpenCV_BayerBG2RGB_EA_8u",
        [](benchmark::State& st, Frame f, Content c) { BM_OpenCv<uint8_t>(st, f, c, cv::COLOR_BayerBG2RGB_EA); });
    add("peer_OpenCV_BayerBG2RGB_EA_16u",
        [](benchmark::State& st, Frame f, Content c) { BM_OpenCv<uint16_t>(st, f, c, cv::COLOR_BayerBG2RGB_EA); });
    add("peer_OpenCV_BayerBG2RGB_VNG_8u",
        [](benchmark::State& st, Frame f, Content c) { BM_OpenCv<uint8_t>(st, f, c, cv::COLOR_BayerBG2RGB_VNG); });
#endif
    add("celiCFAToRGB_8u_C1C3R_bilinear", BM_Bilinear<uint8_t>);
    add("celiCFAToRGB_16u_C1C3R_bilinear", BM_Bilinear<uint16_t>);
    celbench::registerMemcpy("memcpy_C1toC3_8u", 4, {celbench::kHD, k12MP});
    celbench::registerMemcpy("memcpy_C1toC3_16u", 8, {celbench::kHD, k12MP});
}

const int registered = (registerAll(), 0);

}  // namespace
