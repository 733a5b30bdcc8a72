// Realistic benchmark content: a photograph tiled over the frame (when
// libspng and the sample image are installed) and smooth gradients with
// sensor-like noise.  Both give interleaved 8-bit RGB.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#ifdef HAVE_SPNG
#include <spng.h>
#endif

#include "common/bench_util.h"

namespace celbench {

inline constexpr const char* kPhotoPath = "/usr/lib/python3/dist-packages/skimage/data/astronaut.png";

// The photograph as RGB bytes tiled (mirrored at the seams) over the frame,
// or an empty vector when it cannot be read.
inline std::vector<uint8_t> photoRGB(const Frame& f) {
#ifdef HAVE_SPNG
    std::FILE* file = std::fopen(kPhotoPath, "rb");
    if (file == nullptr) return {};
    std::vector<uint8_t> img;
    uint32_t w = 0, h = 0;
    spng_ctx* ctx = spng_ctx_new(0);
    spng_set_png_file(ctx, file);
    spng_ihdr ihdr;
    size_t size = 0;
    if (spng_get_ihdr(ctx, &ihdr) == 0 && spng_decoded_image_size(ctx, SPNG_FMT_RGB8, &size) == 0) {
        img.resize(size);
        if (spng_decode_image(ctx, img.data(), size, SPNG_FMT_RGB8, 0) == 0)
            w = ihdr.width, h = ihdr.height;
        else
            img.clear();
    }
    spng_ctx_free(ctx);
    std::fclose(file);
    if (img.empty() || w == 0 || h == 0) return {};
    std::vector<uint8_t> out(size_t(f.width) * f.height * 3);
    for (int y = 0; y < f.height; ++y) {
        const uint32_t ty = (y / h) % 2 ? h - 1 - y % h : y % h;
        for (int x = 0; x < f.width; ++x) {
            const uint32_t tx = (x / w) % 2 ? w - 1 - x % w : x % w;
            for (int c = 0; c < 3; ++c) out[(size_t(y) * f.width + x) * 3 + c] = img[(size_t(ty) * w + tx) * 3 + c];
        }
    }
    return out;
#else
    (void)f;
    return {};
#endif
}

// Smooth diagonal gradients, one phase per channel, with Gaussian noise of
// about two levels.
inline std::vector<uint8_t> gradientRGB(const Frame& f, uint32_t seed = 3) {
    std::vector<uint8_t> out(size_t(f.width) * f.height * 3);
    std::mt19937 rng(seed);
    std::normal_distribution<float> noise(0.0f, 2.0f);
    for (int y = 0; y < f.height; ++y)
        for (int x = 0; x < f.width; ++x)
            for (int c = 0; c < 3; ++c) {
                const float t = float(x + (c + 1) * y) / float(f.width + 3 * f.height);
                const float v = 255.0f * (0.5f + 0.5f * std::sin(6.2831853f * (t + 0.3f * c))) + noise(rng);
                out[(size_t(y) * f.width + x) * 3 + c] = static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
            }
    return out;
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

}  // namespace celbench
