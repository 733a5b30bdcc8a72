// Stage: RGB -> 4:2:0 -> RGB, planar, with the largest difference and PSNR.
#include <cstdio>
#include <cstdlib>

#include "celcc.h"
#include "demo.h"

namespace {

int roundTrip420(demo::Context& ctx) {
    const demo::Image& rgb = ctx.rgb;
    const int w = rgb.width, h = rgb.height;
    demo::Image y(w, h, 1), cb(w / 2, h / 2, 1), cr(w / 2, h / 2, 1), back(w, h, 3);
    uint8_t* planes[3] = {y.row(0), cb.row(0), cr.row(0)};
    int steps[3] = {y.step(), cb.step(), cr.step()};
    CelStatus st = celiRGBToYCbCr420_8u_C3P3R(rgb.row(0), rgb.step(), planes, steps, {w, h});
    if (st != celStatusOk) return st;
    const uint8_t* in[3] = {y.row(0), cb.row(0), cr.row(0)};
    st = celiYCbCr420ToRGB_8u_P3C3R(in, steps, back.row(0), back.step(), {w, h});
    if (st != celStatusOk) return st;
    if (!demo::writePnm(ctx.outDir + "/roundtrip_420.ppm", back)) return -1;
    std::printf("  RGB -> YCbCr 4:2:0 -> RGB (C3P3R / P3C3R): largest difference %d, PSNR %.2f dB -> roundtrip_420.ppm\n",
                demo::maxAbsDiff(rgb, back), demo::psnr(rgb, back));
    return 0;
}

const demo::DemoStage stage(30, "ycbcr-420-round-trip", roundTrip420);

}  // namespace
