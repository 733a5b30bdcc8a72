// Realistic Bayer mosaics for the demosaicing benchmarks: a photograph
// (when libspng and the sample picture are there) or smooth gradients,
// resampled to the frame size, sampled through a BGGR pattern and given
// sensor-like noise (shot noise growing with the signal plus read noise).
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <vector>

#ifdef HAVE_SPNG
#include <spng.h>
#endif

#include "common/bench_util.h"

namespace celbench {

inline constexpr const char* kPhotoPath = "/usr/lib/python3/dist-packages/skimage/data/astronaut.png";

struct RgbImage {
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;  // 3 bytes a pixel
};

// The sample photograph as 8-bit RGB, or an empty image when it cannot be read.
inline RgbImage loadPhoto(const char* path = kPhotoPath) {
    RgbImage img;
#ifdef HAVE_SPNG
    std::FILE* fp = std::fopen(path, "rb");
    if (!fp) return img;
    spng_ctx* ctx = spng_ctx_new(0);
    spng_set_png_file(ctx, fp);
    spng_ihdr ihdr{};
    size_t size = 0;
    if (spng_get_ihdr(ctx, &ihdr) == 0 && spng_decoded_image_size(ctx, SPNG_FMT_RGB8, &size) == 0) {
        img.rgb.resize(size);
        if (spng_decode_image(ctx, img.rgb.data(), size, SPNG_FMT_RGB8, 0) == 0) {
            img.width = static_cast<int>(ihdr.width);
            img.height = static_cast<int>(ihdr.height);
        } else {
            img.rgb.clear();
        }
    }
    spng_ctx_free(ctx);
    std::fclose(fp);
#else
    (void)path;
#endif
    return img;
}

enum class MosaicContent { Photo, Gradient };

// A BGGR mosaic of f.width x f.height samples in 0 .. 2^bits - 1.  The photo
// is cropped to the frame's aspect and resampled bilinearly; without it, or
// for Gradient, smooth colour ramps stand in.
inline std::vector<uint16_t> makeMosaic(const Frame& f, MosaicContent content, int bits, uint32_t seed = 7) {
    const RgbImage photo = content == MosaicContent::Photo ? loadPhoto() : RgbImage{};
    const double maxOut = double((1 << bits) - 1);
    // crop of the photo with the frame's aspect
    double cropW = photo.width, cropH = photo.width * double(f.height) / f.width;
    if (cropH > photo.height) cropH = photo.height, cropW = photo.height * double(f.width) / f.height;
    const double ox = (photo.width - cropW) / 2, oy = (photo.height - cropH) / 2;
    const auto photoAt = [&](double px, double py, int ch) {
        const int x0 = std::min(int(px), photo.width - 2), y0 = std::min(int(py), photo.height - 2);
        const double fx = px - x0, fy = py - y0;
        const auto p = [&](int x, int y) { return double(photo.rgb[(size_t(y) * photo.width + x) * 3 + ch]); };
        return (p(x0, y0) * (1 - fx) + p(x0 + 1, y0) * fx) * (1 - fy) + (p(x0, y0 + 1) * (1 - fx) + p(x0 + 1, y0 + 1) * fx) * fy;
    };
    std::mt19937 rng(seed);
    std::normal_distribution<double> gauss(0.0, 1.0);
    std::vector<uint16_t> out(size_t(f.width) * f.height);
    for (int r = 0; r < f.height; ++r)
        for (int c = 0; c < f.width; ++c) {
            // BGGR: channel index of RGB at (r, c)
            const int ch = (r & 1) == 0 ? ((c & 1) == 0 ? 2 : 1) : ((c & 1) == 0 ? 1 : 0);
            double v;  // 0 .. 1
            if (!photo.rgb.empty()) {
                v = photoAt(ox + c * (cropW - 1) / (f.width - 1), oy + r * (cropH - 1) / (f.height - 1), ch) / 255.0;
            } else {
                const double u = double(c) / f.width, w = double(r) / f.height;
                v = ch == 0 ? 0.15 + 0.7 * u : ch == 1 ? 0.2 + 0.6 * (1 - w) * (0.5 + 0.5 * u) : 0.1 + 0.8 * w * (1 - u);
            }
            // shot noise ~ sqrt(signal), read noise ~ 0.3% of full scale
            const double noisy = v + gauss(rng) * (0.01 * std::sqrt(v) + 0.003);
            const double s = std::round(std::min(1.0, std::max(0.0, noisy)) * maxOut);
            out[size_t(r) * f.width + c] = static_cast<uint16_t>(s);
        }
    return out;
}

}  // namespace celbench
