// Stage: RGB -> YCbCr planes, written as three gray images.
#include <cstdio>

#include "celcc.h"
#include "demo.h"

namespace {

int rgbToYCbCr(demo::Context& ctx) {
    const demo::Image& rgb = ctx.rgb;
    demo::Image planes[3] = {{rgb.width, rgb.height, 1}, {rgb.width, rgb.height, 1}, {rgb.width, rgb.height, 1}};
    uint8_t* dst[3] = {planes[0].row(0), planes[1].row(0), planes[2].row(0)};
    const CelStatus st = celiRGBToYCbCr_8u_C3P3R(rgb.row(0), rgb.step(), dst, planes[0].step(), {rgb.width, rgb.height});
    if (st != celStatusOk) return st;
    const char* names[3] = {"y", "cb", "cr"};
    int lo[3] = {255, 255, 255}, hi[3] = {0, 0, 0};
    for (int c = 0; c < 3; ++c) {
        for (uint8_t v : planes[c].pixels) {
            lo[c] = v < lo[c] ? v : lo[c];
            hi[c] = v > hi[c] ? v : hi[c];
        }
        if (!demo::writePnm(ctx.outDir + "/ycbcr_" + names[c] + ".pgm", planes[c])) return -1;
    }
    std::printf("  RGB -> YCbCr 4:4:4 (celiRGBToYCbCr_8u_C3P3R): Y %d..%d, Cb %d..%d, Cr %d..%d -> ycbcr_{y,cb,cr}.pgm\n",
                lo[0], hi[0], lo[1], hi[1], lo[2], hi[2]);
    return 0;
}

const demo::DemoStage stage(10, "rgb-to-ycbcr", rgbToYCbCr);

}  // namespace
