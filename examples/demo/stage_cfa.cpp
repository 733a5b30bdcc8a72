// Stage: mosaic the test image with each Bayer grid, demosaic it back.
#include <cmath>
#include <cstdio>

#include "celcc.h"
#include "demo.h"

namespace {

int cfaRoundTrip(demo::Context& ctx) {
    const demo::Image& rgb = ctx.rgb;
    const char* names[4] = {"bggr", "rggb", "gbrg", "grbg"};
    // Channel sampled at (row & 1, column & 1) for each grid.
    const int colour[4][2][2] = {{{2, 1}, {1, 0}}, {{0, 1}, {1, 2}}, {{1, 2}, {0, 1}}, {{1, 0}, {2, 1}}};
    std::printf("  Bayer mosaic -> RGB (celiCFAToRGB_8u_C1C3R), PSNR against the original:");
    for (int grid = 0; grid < 4; ++grid) {
        demo::Image raw(rgb.width, rgb.height, 1), back(rgb.width, rgb.height, 3);
        for (int y = 0; y < rgb.height; ++y)
            for (int x = 0; x < rgb.width; ++x) raw.row(y)[x] = rgb.row(y)[3 * x + colour[grid][y & 1][x & 1]];
        const CelStatus st = celiCFAToRGB_8u_C1C3R(raw.row(0), {0, 0, rgb.width, rgb.height}, {rgb.width, rgb.height},
                                                   raw.step(), back.row(0), back.step(), static_cast<CelBayerGrid>(grid));
        if (st != celStatusOk) return st;
        if (!demo::writePnm(ctx.outDir + "/cfa_" + names[grid] + ".ppm", back)) return -1;
        std::printf(" %s %.2f dB%s", names[grid], demo::psnr(rgb, back), grid < 3 ? "," : "");
    }
    std::printf(" -> cfa_*.ppm\n");
    return 0;
}

const demo::DemoStage stage(40, "bayer-demosaic", cfaRoundTrip);

}  // namespace
