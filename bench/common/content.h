// Realistic benchmark content: a photograph (tiled by mirroring to the frame
// size) and smooth gradients with sensor-like noise, as 8-bit RGB.  The
// photograph is read with libpng when the build found it (HAVE_PNG); without
// it, or without the file, the gradient stands in.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "celcc.h"

#include "common/bench_util.h"

#ifdef HAVE_PNG
#include <png.h>
#endif

namespace celbench {

inline constexpr const char* kPhotoPath = "/usr/lib/python3/dist-packages/skimage/data/astronaut.png";

// Smooth diagonal and radial gradients per channel plus Gaussian noise of
// two codes, like a sensor's.
inline std::vector<uint8_t> gradientRGB(const Frame& f, uint32_t seed = 7) {
    std::vector<uint8_t> v(size_t(f.width) * f.height * 3);
    std::mt19937 rng(seed);
    std::normal_distribution<float> noise(0.0f, 2.0f);
    for (int y = 0; y < f.height; ++y)
        for (int x = 0; x < f.width; ++x) {
            const float u = float(x) / f.width, w = float(y) / f.height;
            const float r = std::hypot(u - 0.5f, w - 0.5f);
            const float base[3] = {255.0f * u, 255.0f * (0.5f * u + 0.5f * w), 255.0f * (1.0f - r * 1.4f)};
            for (int c = 0; c < 3; ++c) {
                const float s = base[c] + noise(rng);
                v[(size_t(y) * f.width + x) * 3 + c] = uint8_t(s < 0 ? 0 : s > 255 ? 255 : s + 0.5f);
            }
        }
    return v;
}

// The photograph as RGB, mirrored to fill the frame; empty if unreadable.
inline std::vector<uint8_t> photoRGB(const Frame& f) {
#ifdef HAVE_PNG
    png_image img{};
    img.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&img, kPhotoPath)) return {};
    img.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> pic(PNG_IMAGE_SIZE(img));
    if (!png_image_finish_read(&img, nullptr, pic.data(), 0, nullptr)) return {};
    const int pw = int(img.width), ph = int(img.height);
    std::vector<uint8_t> v(size_t(f.width) * f.height * 3);
    for (int y = 0; y < f.height; ++y) {
        const int ty = (y / ph) & 1 ? ph - 1 - y % ph : y % ph;
        for (int x = 0; x < f.width; ++x) {
            const int tx = (x / pw) & 1 ? pw - 1 - x % pw : x % pw;
            for (int c = 0; c < 3; ++c) v[(size_t(y) * f.width + x) * 3 + c] = pic[(size_t(ty) * pw + tx) * 3 + c];
        }
    }
    return v;
#else
    (void)f;
    return {};
#endif
}

// The named content: "photo" (falling back to gradients) or "gradient".
inline std::vector<uint8_t> contentRGB(const std::string& which, const Frame& f) {
    if (which == "photo") {
        auto p = photoRGB(f);
        if (!p.empty()) return p;
    }
    return gradientRGB(f);
}

inline bool havePhoto() {
    return !photoRGB(Frame{8, 8}).empty();
}

// The realistic contents a benchmark runs on: the photograph when it can be
// read, and the noisy gradients.
inline std::vector<std::string> contentNames() {
    return havePhoto() ? std::vector<std::string>{"photo", "gradient"} : std::vector<std::string>{"gradient"};
}
// Registers fn(state, frame, content) as "<name>/<content>/1920x1080".
template <class Fn>
void registerOnContent(const std::string& name, const std::string& content, Fn fn) {
    registerAtSizes(name + "/" + content, [fn, content](benchmark::State& st, Frame f) { fn(st, f, content); }, {kHD});
}

// The content as BGRA bytes (alpha 255).
inline std::vector<uint8_t> bgraOf(const std::vector<uint8_t>& rgb) {
    std::vector<uint8_t> out(rgb.size() / 3 * 4);
    for (size_t i = 0; i < rgb.size() / 3; ++i)
        out[4 * i] = rgb[3 * i + 2], out[4 * i + 1] = rgb[3 * i + 1], out[4 * i + 2] = rgb[3 * i], out[4 * i + 3] = 255;
    return out;
}

// Three-channel content with a fourth byte of 255 after every pixel.
inline std::vector<uint8_t> withAlphaOf(const std::vector<uint8_t>& c3) {
    std::vector<uint8_t> out(c3.size() / 3 * 4);
    for (size_t i = 0; i < c3.size() / 3; ++i)
        out[4 * i] = c3[3 * i], out[4 * i + 1] = c3[3 * i + 1], out[4 * i + 2] = c3[3 * i + 2], out[4 * i + 3] = 255;
    return out;
}

// Y, Cb and Cr planes of RGB content through the library's full-resolution
// encoder, the chroma at 1/cw x 1/ch by keeping every cw-th column of every
// ch-th row; `cbcr` holds the two chroma planes interleaved (Cb first).
struct YCbCrPlanes {
    std::vector<uint8_t> y, cb, cr, cbcr;
    int chromaWidth = 0;
};
inline YCbCrPlanes ycbcrPlanesOf(const std::vector<uint8_t>& rgb, const Frame& f, int cw, int ch) {
    const size_t n = size_t(f.width) * f.height;
    std::vector<uint8_t> full[3] = {std::vector<uint8_t>(n), std::vector<uint8_t>(n), std::vector<uint8_t>(n)};
    uint8_t* d[3] = {full[0].data(), full[1].data(), full[2].data()};
    celiRGBToYCbCr_8u_C3P3R(rgb.data(), 3 * f.width, d, f.width, {f.width, f.height});
    YCbCrPlanes p;
    p.y = std::move(full[0]);
    p.chromaWidth = f.width / cw;
    for (int y = 0; y < f.height / ch; ++y)
        for (int x = 0; x < p.chromaWidth; ++x) {
            const size_t at = size_t(y * ch) * f.width + size_t(x * cw);
            p.cb.push_back(full[1][at]);
            p.cr.push_back(full[2][at]);
            p.cbcr.push_back(full[1][at]);
            p.cbcr.push_back(full[2][at]);
        }
    return p;
}

// RGB content at 4:2:2 interleaved: Y0 Cb Y1 Cr, or Cb Y0 Cr Y1 (uyvy).
inline std::vector<uint8_t> packed422Of(const std::vector<uint8_t>& rgb, const Frame& f, bool uyvy) {
    const YCbCrPlanes p = ycbcrPlanesOf(rgb, f, 2, 1);
    std::vector<uint8_t> out(size_t(f.width) * f.height * 2);
    for (int y = 0; y < f.height; ++y)
        for (int x = 0; x < f.width / 2; ++x) {
            uint8_t* o = &out[(size_t(y) * f.width + 2 * x) * 2];
            const size_t l = size_t(y) * f.width + 2 * x, c = size_t(y) * p.chromaWidth + x;
            if (uyvy)
                o[0] = p.cb[c], o[1] = p.y[l], o[2] = p.cr[c], o[3] = p.y[l + 1];
            else
                o[0] = p.y[l], o[1] = p.cb[c], o[2] = p.y[l + 1], o[3] = p.cr[c];
        }
    return out;
}

// Registers fn(state, frame, content) as "<name>/<content>/1920x1080" on
// every realistic content.
template <class Fn>
void registerOnContents(const std::string& name, Fn fn) {
    for (const std::string& c : contentNames()) registerOnContent(name, c, fn);
}

#ifdef HAVE_OPENCV
// OpenCV's cvtColor(code) on one thread, on the content (scaled to 0..1
// when f32) converted first by `pre` (an OpenCV code, or -1 for none).
inline void openCvOnContent(benchmark::State& state, const Frame& f, const std::string& content, int code, int pre,
                            bool f32) {
    cv::setNumThreads(1);
    std::vector<uint8_t> rgb = contentRGB(content, f);
    cv::Mat src, dst;
    cv::Mat(f.height, f.width, CV_8UC3, rgb.data()).convertTo(src, f32 ? CV_32FC3 : CV_8UC3, f32 ? 1.0 / 255.0 : 1.0);
    if (pre >= 0) cv::cvtColor(src.clone(), src, pre);
    cv::cvtColor(src, dst, code);
    for (auto _ : state) {
        cv::cvtColor(src, dst, code);
        benchmark::ClobberMemory();
    }
    setCounters(state, f, src.total() * src.elemSize() + dst.total() * dst.elemSize());
}

// Registers openCvOnContent as "peer_OpenCV_<name>/<content>/1920x1080".
inline void registerOpenCvOnContents(const std::string& name, int code, int pre = -1, bool f32 = false) {
    registerOnContents("peer_OpenCV_" + name, [=](benchmark::State& st, Frame f, const std::string& k) {
        openCvOnContent(st, f, k, code, pre, f32);
    });
}
#endif

// 8-bit RGB content as samples of type T (floats scaled to 0..1), or, given
// a forward conversion (interleaved, three channels), its output of them:
// the source of the reverse direction.
template <class T>
std::vector<T> samplesOf(const std::vector<uint8_t>& rgb8, const Frame& f,
                         CelStatus (*forward)(const T*, int, T*, int, CelSize) = nullptr) {
    std::vector<T> rgb(rgb8.size()), out(rgb8.size());
    for (size_t i = 0; i < rgb8.size(); ++i) rgb[i] = std::is_same_v<T, float> ? T(rgb8[i] / 255.0f) : T(rgb8[i]);
    if (!forward) return rgb;
    const int step = 3 * f.width * int(sizeof(T));
    forward(rgb.data(), step, out.data(), step, {f.width, f.height});
    return out;
}

}  // namespace celbench
