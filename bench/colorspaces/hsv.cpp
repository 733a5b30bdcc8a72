// RGB <-> HSV, 8u and 16u C3 at 1920x1080 on a photograph and a noisy
// gradient, beside OpenCV's full-range hue (8u) and a memcpy.
#include "colorspaces/hue_bench.h"

namespace {

using namespace celbench;

void registerAll() {
#ifdef HAVE_OPENCV
    const int fwd = cv::COLOR_RGB2HSV_FULL, rev = cv::COLOR_HSV2RGB_FULL;
#else
    const int fwd = -1, rev = -1;
#endif
    hue::registerPair<uint8_t>("celiRGBToHSV_8u_C3R", celiRGBToHSV_8u_C3R, nullptr, fwd);
    hue::registerPair<uint8_t>("celiHSVToRGB_8u_C3R", celiHSVToRGB_8u_C3R, celiRGBToHSV_8u_C3R, rev);
    hue::registerPair<uint16_t>("celiRGBToHSV_16u_C3R", celiRGBToHSV_16u_C3R, nullptr, -1);
    hue::registerPair<uint16_t>("celiHSVToRGB_16u_C3R", celiHSVToRGB_16u_C3R, celiRGBToHSV_16u_C3R, -1);
    registerMemcpy("memcpy_HSV_C3_8u", 3, {kHD});
    registerMemcpy("memcpy_HSV_C3_16u", 6, {kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
