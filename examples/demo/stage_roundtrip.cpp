// Stage: RGB -> YCbCr -> RGB round trip at full resolution.
#include <cstdio>

#include "celcc.h"
#include "demo.h"

namespace {

int roundTrip(demo::Context& ctx) {
    const demo::Image& rgb = ctx.rgb;
    demo::Image ycc(rgb.width, rgb.height, 3), back(rgb.width, rgb.height, 3);
    const CelSize size{rgb.width, rgb.height};
    CelStatus st = celiRGBToYCbCr_8u_C3R(rgb.row(0), rgb.step(), ycc.row(0), ycc.step(), size);
    if (st != celStatusOk) return st;
    st = celiYCbCrToRGB_8u_C3R(ycc.row(0), ycc.step(), back.row(0), back.step(), size);
    if (st != celStatusOk) return st;
    if (!demo::writePnm(ctx.outDir + "/roundtrip_444.ppm", back)) return -1;
    int worst[3] = {0, 0, 0};
    for (size_t i = 0; i < rgb.pixels.size(); ++i) {
        const int d = std::abs(rgb.pixels[i] - back.pixels[i]);
        worst[i % 3] = d > worst[i % 3] ? d : worst[i % 3];
    }
    std::printf("  RGB -> YCbCr -> RGB 4:4:4 (C3R both ways): largest difference R %d, G %d, B %d -> roundtrip_444.ppm\n",
                worst[0], worst[1], worst[2]);
    return 0;
}

const demo::DemoStage stage(20, "ycbcr-round-trip", roundTrip);

}  // namespace
