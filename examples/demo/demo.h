// The demonstration program: a real test image goes through the library's
// conversions, stage by stage, and every stage writes viewable images and
// one summary line.  A stage registers itself with a static DemoStage.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace demo {

// An 8-bit interleaved image (RGB when channels == 3).
struct Image {
    int width = 0, height = 0, channels = 3;
    std::vector<uint8_t> pixels;
    Image() = default;
    Image(int w, int h, int c) : width(w), height(h), channels(c), pixels(static_cast<size_t>(w) * h * c) {}
    int step() const { return width * channels; }
    uint8_t* row(int y) { return pixels.data() + static_cast<size_t>(y) * step(); }
    const uint8_t* row(int y) const { return pixels.data() + static_cast<size_t>(y) * step(); }
};

// Colour bars over the top half, gradients and a colour ramp below.
Image makeTestImage(int width, int height);

// Writes a binary PPM (3 channels) or PGM (1 channel); returns false on failure.
bool writePnm(const std::string& path, const Image& img);

// Largest absolute difference between two images of the same shape, and PSNR in dB.
int maxAbsDiff(const Image& a, const Image& b);
double psnr(const Image& a, const Image& b);

struct Context {
    std::string outDir;
    Image rgb;  // the test image
};

// A stage returns 0 on success and prints its own summary line.
struct DemoStage {
    using Fn = int (*)(Context&);
    DemoStage(int order, const char* name, Fn fn);
};

}  // namespace demo
