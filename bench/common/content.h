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
