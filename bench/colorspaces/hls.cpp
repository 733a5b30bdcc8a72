// RGB <-> HLS, 8u, 16u and 32f C3 at 1920x1080 on a photograph and a noisy
// gradient, beside OpenCV's hue (full-range 8u, degrees in 32f) and a memcpy.
#include "colorspaces/hue_bench.h"

namespace {

using namespace celbench;

void registerAll() {
#ifdef HAVE_OPENCV
    const int fwd = cv::COLOR_RGB2HLS_FULL, rev = cv::COLOR_HLS2RGB_FULL, fwdF = cv::COLOR_RGB2HLS, revF = cv::COLOR_HLS2RGB;
#else
    const int fwd = -1, rev = -1, fwdF = -1, revF = -1;
#endif
    hue::registerPair<uint8_t>("celiRGBToHLS_8u_C3R", celiRGBToHLS_8u_C3R, nullptr, fwd);
    hue::registerPair<uint8_t>("celiHLSToRGB_8u_C3R", celiHLSToRGB_8u_C3R, celiRGBToHLS_8u_C3R, rev);
    hue::registerPair<uint16_t>("celiRGBToHLS_16u_C3R", celiRGBToHLS_16u_C3R, nullptr, -1);
    hue::registerPair<uint16_t>("celiHLSToRGB_16u_C3R", celiHLSToRGB_16u_C3R, celiRGBToHLS_16u_C3R, -1);
    // (OpenCV's float hue is in degrees; its reverse run reads our 0..1 hues as degrees)
    hue::registerPair<float>("celiRGBToHLS_32f_C3R", celiRGBToHLS_32f_C3R, nullptr, fwdF);
    hue::registerPair<float>("celiHLSToRGB_32f_C3R", celiHLSToRGB_32f_C3R, celiRGBToHLS_32f_C3R, revF);
    registerMemcpy("memcpy_HLS_C3_8u", 3, {kHD});
    registerMemcpy("memcpy_HLS_C3_32f", 12, {kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
