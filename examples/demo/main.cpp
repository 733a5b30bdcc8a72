#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <tuple>

#include "celcc.h"
#include "demo.h"

namespace demo {
namespace {

struct Entry {
    int order;
    const char* name;
    DemoStage::Fn fn;
};

std::vector<Entry>& registry() {
    static std::vector<Entry> r;
    return r;
}

}  // namespace

DemoStage::DemoStage(int order, const char* name, Fn fn) { registry().push_back({order, name, fn}); }

Image makeTestImage(int width, int height) {
    Image img(width, height, 3);
    // 75% colour bars: white, yellow, cyan, green, magenta, red, blue, black.
    static const uint8_t bars[8][3] = {{191, 191, 191}, {191, 191, 0}, {0, 191, 191}, {0, 191, 0},
                                       {191, 0, 191},   {191, 0, 0},   {0, 0, 191},   {0, 0, 0}};
    for (int y = 0; y < height; ++y) {
        uint8_t* p = img.row(y);
        for (int x = 0; x < width; ++x, p += 3) {
            if (y < height / 2) {
                const int bar = x * 8 / width;
                std::copy(bars[bar], bars[bar] + 3, p);
            } else if (y < 3 * height / 4) {
                // Hue ramp, darkening downwards.
                const double h = 6.0 * x / width, v = 1.0 - 0.5 * (y - height / 2) / (height / 4.0);
                const double f = h - std::floor(h);
                const double seg[6][3] = {{1, f, 0}, {1 - f, 1, 0}, {0, 1, f}, {0, 1 - f, 1}, {f, 0, 1}, {1, 0, 1 - f}};
                for (int c = 0; c < 3; ++c) p[c] = static_cast<uint8_t>(std::lround(255 * v * seg[int(h) % 6][c]));
            } else {
                // Gray ramp with a fine checker in the right quarter.
                const uint8_t g = static_cast<uint8_t>(255 * x / std::max(1, width - 1));
                const bool checker = x > 3 * width / 4 && ((x / 2 + y / 2) & 1);
                p[0] = p[1] = p[2] = checker ? static_cast<uint8_t>(255 - g) : g;
            }
        }
    }
    return img;
}

bool writePnm(const std::string& path, const Image& img) {
    std::ofstream f(path, std::ios::binary);
    if (!f) return false;
    f << (img.channels == 1 ? "P5" : "P6") << "\n" << img.width << " " << img.height << "\n255\n";
    for (int y = 0; y < img.height; ++y) f.write(reinterpret_cast<const char*>(img.row(y)), img.step());
    return static_cast<bool>(f);
}

int maxAbsDiff(const Image& a, const Image& b) {
    int m = 0;
    for (size_t i = 0; i < a.pixels.size() && i < b.pixels.size(); ++i) m = std::max(m, std::abs(a.pixels[i] - b.pixels[i]));
    return m;
}

double psnr(const Image& a, const Image& b) {
    double se = 0;
    for (size_t i = 0; i < a.pixels.size(); ++i) se += double(a.pixels[i] - b.pixels[i]) * (a.pixels[i] - b.pixels[i]);
    if (se == 0) return INFINITY;
    return 10.0 * std::log10(255.0 * 255.0 * a.pixels.size() / se);
}

}  // namespace demo

int main(int argc, char** argv) {
    demo::Context ctx;
    ctx.outDir = argc > 1 ? argv[1] : "demo-out";
    mkdir(ctx.outDir.c_str(), 0755);
    ctx.rgb = demo::makeTestImage(640, 360);
    const CelLibVersion* v = celccGetLibVersion();
    std::printf("%s, %s: test image %dx%d, output in %s/\n", v->libraryLabel, v->versionLabel, ctx.rgb.width,
                ctx.rgb.height, ctx.outDir.c_str());
    if (!demo::writePnm(ctx.outDir + "/input.ppm", ctx.rgb)) {
        std::fprintf(stderr, "cannot write to %s\n", ctx.outDir.c_str());
        return 1;
    }
    auto stages = demo::registry();
    std::sort(stages.begin(), stages.end(), [](const auto& a, const auto& b) { return a.order < b.order; });
    int failures = 0;
    for (const auto& s : stages) {
        const int rc = s.fn(ctx);
        if (rc != 0) {
            std::printf("  %s: FAILED (%d)\n", s.name, rc);
            ++failures;
        }
    }
    return failures == 0 ? 0 : 1;
}
