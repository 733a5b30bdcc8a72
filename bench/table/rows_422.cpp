// Table rows of the 4:2:2 encoders and decoders, the chroma rate, repacking
// and interlace conversions and the 4:2:0 forms with interleaved chroma,
// beside libyuv (limited to SSE4.2) and, for the packed 4:2:2 decoders,
// OpenCV.  Sources are the content through the library's full-resolution
// encoder, subsampled by keeping samples (table.h); every peer reads the
// same bytes.  The peers' matrices differ from the library's (libyuv's
// BT.601 studio range, OpenCV's own); the work a pixel is the same.
//
// No peer: the interlaced conversions (field-wise chroma; libyuv and OpenCV
// have none) run beside the memcpy alone.
#include "table/table.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>
#endif

namespace celtable {
namespace {

const int registered = [] {
    using P = Planes;
    using O = Out;
    // ---- 4:2:2 encoders
    registerRow({"celiBGRToYCbCr422_8u_AC4C2R", oneToOne(rgbToBgra, 4, 2, celiBGRToYCbCr422_8u_AC4C2R), 4,
                 IF_LIBYUV(libyuvOneToOne("ARGBToYUY2", rgbToBgra, 4, 2, libyuv::ARGBToYUY2))});
    registerRow({"celiBGRToCbYCr422_8u_AC4C2R", oneToOne(rgbToBgra, 4, 2, celiBGRToCbYCr422_8u_AC4C2R), 4,
                 IF_LIBYUV(libyuvOneToOne("ARGBToUYVY", rgbToBgra, 4, 2, libyuv::ARGBToUYVY))});
    registerRow(
        {"celiBGRToYCbCr422_8u_AC4P3R",
         toPlanes(rgbToBgra, 2, 1,
                  [](const uint8_t* s, O& o, const Frame& f) {
                      celiBGRToYCbCr422_8u_AC4P3R(s, 4 * f.width, o.d, o.step, roiOf(f));
                  }),
         4, IF_LIBYUV(libyuvPeer("ARGBToI422", toPlanes(rgbToBgra, 2, 1, [](const uint8_t* s, O& o, const Frame& f) {
                                     libyuv::ARGBToI422(s, 4 * f.width, o.d[0], o.step[0], o.d[1], o.step[1], o.d[2],
                                                        o.step[2], f.width, f.height);
                                 })))});
    // No RGB-order source to packed 4:2:2 in libyuv: the memcpy alone.
    registerRow({"celiRGBToYCbCr422_8u_C3C2R", oneToOne(rgbAsIs, 3, 2, celiRGBToYCbCr422_8u_C3C2R), 3, {}});
    // BT.709 with full-scale luma: libyuv has no BT.709 packed 4:2:2, so its
    // BT.601 encoder of the same layout stands beside the four-byte form.
    registerRow({"celiBGRToCbYCr422_709HDTV_8u_AC4C2R", oneToOne(rgbToBgra, 4, 2, celiBGRToCbYCr422_709HDTV_8u_AC4C2R), 4,
                 IF_LIBYUV(libyuvOneToOne("ARGBToUYVY", rgbToBgra, 4, 2, libyuv::ARGBToUYVY))});
    registerRow({"celiBGRToCbYCr422_709HDTV_8u_C3C2R", oneToOne(rgbAsIs, 3, 2, celiBGRToCbYCr422_709HDTV_8u_C3C2R), 3, {}});

    // ---- 4:2:2 decoders
    registerRow({"celiYCbCr422ToRGB_8u_C2C3R", oneToOne(yuy2, 2, 3, celiYCbCr422ToRGB_8u_C2C3R), 2,
                 IF_OPENCV(openCv422("YUV2RGB_YUY2", cv::COLOR_YUV2RGB_YUY2, false))});
    registerRow({"celiYCbCr422ToBGR_8u_C2C4R", oneToOne(yuy2, 2, 4, celiYCbCr422ToBGR_8u_C2C4R), 2,
                 join(IF_LIBYUV(libyuvOneToOne("YUY2ToARGB", yuy2, 2, 4, libyuv::YUY2ToARGB)),
                      IF_OPENCV(openCv422("YUV2BGRA_YUY2", cv::COLOR_YUV2BGRA_YUY2, false)))});
    registerRow({"celiCbYCr422ToBGR_8u_C2C4R", oneToOne(uyvy, 2, 4, celiCbYCr422ToBGR_8u_C2C4R), 2,
                 join(IF_LIBYUV(libyuvOneToOne("UYVYToARGB", uyvy, 2, 4, libyuv::UYVYToARGB)),
                      IF_OPENCV(openCv422("YUV2BGRA_UYVY", cv::COLOR_YUV2BGRA_UYVY, true)))});
    registerRow({"celiCbYCr422ToBGR_709HDTV_8u_C2C4R", oneToOne(uyvy, 2, 4, celiCbYCr422ToBGR_709HDTV_8u_C2C4R), 2,
                 join(IF_LIBYUV(libyuvOneToOne("UYVYToARGB", uyvy, 2, 4, libyuv::UYVYToARGB)),
                      IF_OPENCV(openCv422("YUV2BGRA_UYVY", cv::COLOR_YUV2BGRA_UYVY, true)))});
    registerRow({"celiCbYCr422ToBGR_709HDTV_8u_C2C3R", oneToOne(uyvy, 2, 3, celiCbYCr422ToBGR_709HDTV_8u_C2C3R), 2,
                 IF_OPENCV(openCv422("YUV2BGR_UYVY", cv::COLOR_YUV2BGR_UYVY, true))});
    registerRow({"celiYCbCr422ToRGB_8u_P3C3R",
                 planar(2, 1, 3,
                        [](const P& p, uint8_t* d, const Frame& f) {
                            int step[3] = {p.step[0], p.step[1], p.step[2]};
                            celiYCbCr422ToRGB_8u_P3C3R(p.src, step, d, 3 * f.width, roiOf(f));
                        }),
                 2, IF_LIBYUV(libyuvPeer("I422ToRAW", planar(2, 1, 3, [](const P& p, uint8_t* d, const Frame& f) {
                                             libyuv::I422ToRAW(p.src[0], p.step[0], p.src[1], p.step[1], p.src[2],
                                                               p.step[2], d, 3 * f.width, f.width, f.height);
                                         })))});

    // ---- 4:2:0 with interleaved chroma
    registerRow({"celiYCbCr420ToRGB_8u_P2C3R",
                 planar(0, 0, 3,
                        [](const P& p, uint8_t* d, const Frame& f) {
                            celiYCbCr420ToRGB_8u_P2C3R(p.src[0], p.step[0], p.src[1], p.step[1], d, 3 * f.width,
                                                       roiOf(f));
                        }),
                 1.5, IF_LIBYUV(libyuvPeer("NV12ToRAW", planar(0, 0, 3, [](const P& p, uint8_t* d, const Frame& f) {
                                               libyuv::NV12ToRAW(p.src[0], p.step[0], p.src[1], p.step[1], d,
                                                                 3 * f.width, f.width, f.height);
                                           })))});
    registerRow({"celiYCbCr420ToBGR_8u_P3C4R",
                 planar(2, 2, 4,
                        [](const P& p, uint8_t* d, const Frame& f) {
                            int step[3] = {p.step[0], p.step[1], p.step[2]};
                            celiYCbCr420ToBGR_8u_P3C4R(p.src, step, d, 4 * f.width, roiOf(f), 255);
                        }),
                 1.5, IF_LIBYUV(libyuvPeer("I420ToARGB", planar(2, 2, 4, [](const P& p, uint8_t* d, const Frame& f) {
                                               libyuv::I420ToARGB(p.src[0], p.step[0], p.src[1], p.step[1], p.src[2],
                                                                  p.step[2], d, 4 * f.width, f.width, f.height);
                                           })))});
    registerRow(
        {"celiBGRToYCbCr420_8u_AC4P2R",
         simple(rgbToBgra, 1.5,
                [](const uint8_t* s, uint8_t* d, const Frame& f) {
                    celiBGRToYCbCr420_8u_AC4P2R(s, 4 * f.width, d, f.width, d + px(f), f.width, roiOf(f));
                }),
         4, IF_LIBYUV(libyuvPeer("ARGBToNV12", simple(rgbToBgra, 1.5, [](const uint8_t* s, uint8_t* d, const Frame& f) {
                                     libyuv::ARGBToNV12(s, 4 * f.width, d, f.width, d + px(f), f.width, f.width,
                                                        f.height);
                                 })))});

    // ---- Chroma rate (keep or drop rows and columns; libyuv's 4:2:2 to
    // 4:2:0 forms average two rows, a little more arithmetic)
    registerRow({"celiYCbCr422ToYCbCr420_8u_P3R",
                 planesToPlanes(2, 1, 2, 2,
                                [](const P& p, O& o, const Frame& f) {
                                    int step[3] = {p.step[0], p.step[1], p.step[2]};
                                    celiYCbCr422ToYCbCr420_8u_P3R(p.src, step, o.d, o.step, roiOf(f));
                                }),
                 2, IF_LIBYUV(libyuvPeer("I422ToI420", planesToPlanes(2, 1, 2, 2, [](const P& p, O& o, const Frame& f) {
                                             libyuv::I422ToI420(p.src[0], p.step[0], p.src[1], p.step[1], p.src[2],
                                                                p.step[2], o.d[0], o.step[0], o.d[1], o.step[1], o.d[2],
                                                                o.step[2], f.width, f.height);
                                         })))});
    registerRow({"celiYCbCr420ToYCbCr422_8u_P3R",
                 planesToPlanes(2, 2, 2, 1,
                                [](const P& p, O& o, const Frame& f) {
                                    int step[3] = {p.step[0], p.step[1], p.step[2]};
                                    celiYCbCr420ToYCbCr422_8u_P3R(p.src, step, o.d, o.step, roiOf(f));
                                }),
                 1.5,
                 IF_LIBYUV(libyuvPeer("I420ToI422", planesToPlanes(2, 2, 2, 1, [](const P& p, O& o, const Frame& f) {
                                          libyuv::I420ToI422(p.src[0], p.step[0], p.src[1], p.step[1], p.src[2],
                                                             p.step[2], o.d[0], o.step[0], o.d[1], o.step[1], o.d[2],
                                                             o.step[2], f.width, f.height);
                                      })))});
    registerRow({"celiYCbCr422ToYCbCr420_8u_C2P3R",
                 toPlanes(yuy2, 2, 2,
                          [](const uint8_t* s, O& o, const Frame& f) {
                              celiYCbCr422ToYCbCr420_8u_C2P3R(s, 2 * f.width, o.d, o.step, roiOf(f));
                          }),
                 2, IF_LIBYUV(libyuvPeer("YUY2ToI420", toPlanes(yuy2, 2, 2, [](const uint8_t* s, O& o, const Frame& f) {
                                             libyuv::YUY2ToI420(s, 2 * f.width, o.d[0], o.step[0], o.d[1], o.step[1],
                                                                o.d[2], o.step[2], f.width, f.height);
                                         })))});
    registerRow({"celiCbYCr422ToYCbCr420_8u_C2P3R",
                 toPlanes(uyvy, 2, 2,
                          [](const uint8_t* s, O& o, const Frame& f) {
                              celiCbYCr422ToYCbCr420_8u_C2P3R(s, 2 * f.width, o.d, o.step, roiOf(f));
                          }),
                 2, IF_LIBYUV(libyuvPeer("UYVYToI420", toPlanes(uyvy, 2, 2, [](const uint8_t* s, O& o, const Frame& f) {
                                             libyuv::UYVYToI420(s, 2 * f.width, o.d[0], o.step[0], o.d[1], o.step[1],
                                                                o.d[2], o.step[2], f.width, f.height);
                                         })))});
    registerRow({"celiYCbCr422ToYCbCr420_8u_C2P2R",
                 simple(yuy2, 1.5,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            celiYCbCr422ToYCbCr420_8u_C2P2R(s, 2 * f.width, d, f.width, d + px(f), f.width, roiOf(f));
                        }),
                 2,
                 IF_LIBYUV(libyuvPeer("YUY2ToNV12", simple(yuy2, 1.5, [](const uint8_t* s, uint8_t* d, const Frame& f) {
                                          libyuv::YUY2ToNV12(s, 2 * f.width, d, f.width, d + px(f), f.width, f.width,
                                                             f.height);
                                      })))});
    registerRow({"celiYCrCb420ToYCbCr422_8u_P3C2R",
                 planar(2, 2, 2,
                        [](const P& p, uint8_t* d, const Frame& f) {
                            int step[3] = {p.step[0], p.step[1], p.step[2]};
                            celiYCrCb420ToYCbCr422_8u_P3C2R(p.src, step, d, 2 * f.width, roiOf(f));
                        }),
                 1.5,
                 IF_LIBYUV(  // YV12 is I420 with the chroma planes swapped
                     libyuvPeer("I420ToYUY2", planar(2, 2, 2, [](const P& p, uint8_t* d, const Frame& f) {
                                    libyuv::I420ToYUY2(p.src[0], p.step[0], p.src[2], p.step[2], p.src[1], p.step[1], d,
                                                       2 * f.width, f.width, f.height);
                                })))});

    // ---- Repacking
    registerRow({"celiYCbCr422_8u_C2P3R",
                 toPlanes(yuy2, 2, 1,
                          [](const uint8_t* s, O& o, const Frame& f) {
                              celiYCbCr422_8u_C2P3R(s, 2 * f.width, o.d, o.step, roiOf(f));
                          }),
                 2, IF_LIBYUV(libyuvPeer("YUY2ToI422", toPlanes(yuy2, 2, 1, [](const uint8_t* s, O& o, const Frame& f) {
                                             libyuv::YUY2ToI422(s, 2 * f.width, o.d[0], o.step[0], o.d[1], o.step[1],
                                                                o.d[2], o.step[2], f.width, f.height);
                                         })))});
    registerRow({"celiYCbCr420_8u_P2P3R",
                 [](const Frame& f, const std::string& content) -> Call {
                     auto in = nv12Of(contentOf(content, f), f);
                     auto out = outOf(f, 2, 2);
                     return [=] {
                         celiYCbCr420_8u_P2P3R(in->src[0], in->step[0], in->src[1], in->step[1], out->d, out->step,
                                               roiOf(f));
                     };
                 },
                 1.5, IF_LIBYUV(libyuvPeer("NV12ToI420", [](const Frame& f, const std::string& content) -> Call {
                     auto in = nv12Of(contentOf(content, f), f);
                     auto o = outOf(f, 2, 2);
                     return [=] {
                         libyuv::NV12ToI420(in->src[0], in->step[0], in->src[1], in->step[1], o->d[0], o->step[0],
                                            o->d[1], o->step[1], o->d[2], o->step[2], f.width, f.height);
                     };
                 }))});

    // ---- Interlaced chroma rate: no peer has it
    registerRow({"celiYCbCr422To420_Interlace_8u_P3R",
                 planesToPlanes(2, 1, 2, 2,
                                [](const P& p, O& o, const Frame& f) {
                                    int step[3] = {p.step[0], p.step[1], p.step[2]};
                                    celiYCbCr422To420_Interlace_8u_P3R(p.src, step, o.d, o.step, roiOf(f));
                                }),
                 2,
                 {}});
    registerRow({"celiYCbCr420To422_Interlace_8u_P3R",
                 planesToPlanes(2, 2, 2, 1,
                                [](const P& p, O& o, const Frame& f) {
                                    int step[3] = {p.step[0], p.step[1], p.step[2]};
                                    celiYCbCr420To422_Interlace_8u_P3R(p.src, step, o.d, o.step, roiOf(f));
                                }),
                 1.5,
                 {}});
    registerRow({"celiCbYCr422ToYCbCr420_Interlace_8u_C2P3R",
                 toPlanes(uyvy, 2, 2,
                          [](const uint8_t* s, O& o, const Frame& f) {
                              celiCbYCr422ToYCbCr420_Interlace_8u_C2P3R(s, 2 * f.width, o.d, o.step, roiOf(f));
                          }),
                 2,
                 {}});
    return 0;
}();

}  // namespace
}  // namespace celtable
