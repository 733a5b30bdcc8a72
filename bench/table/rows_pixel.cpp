// Table rows of the pixel-wise families not in table.cpp: colour spaces at
// 16u and 32f, gray, analogue YUV, gamma, the colour twist and YCoCg.
// Peers: OpenCV's cvtColor at the same depth, cv::LUT with a gamma table,
// cv::transform with the same matrix; libyuv (limited to SSE4.2) for the
// BT.601 4:2:0 forms and its 4x4 colour matrix.  Reverse directions read
// the forward output of the content (each library its own).
//
// No peer (memcpy alone): the 16u and 32f gamma forms (cv::LUT takes bytes
// only, and a power function is not the same job), PhotoYCC, YCoCg, RGB to
// packed 4:2:2 analogue YUV.
#include <array>
#include <cmath>

#include "table/table.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
#include <libyuv/planar_functions.h>
#endif

namespace celtable {
namespace {

// The content as samples of T (8-bit as they are, 16-bit by v * 257, float
// by v / 255).
template <class T>
Bytes samples(const Bytes& rgb, const Frame& = {}) {
    if constexpr (sizeof(T) == 1) return rgb;
    if constexpr (sizeof(T) == 2) return widened16(rgb);
    return asFloats(rgb);
}

template <class T>
using Fn3 = CelStatus (*)(const T*, int, T*, int, CelSize);

// The content through a forward conversion: the source of the reverse one.
template <class T, Fn3<T> Fwd>
Bytes forwardOf(const Bytes& rgb, const Frame& f) {
    Bytes s = samples<T>(rgb), out(s.size());
    const int step = 3 * f.width * int(sizeof(T));
    Fwd(reinterpret_cast<const T*>(s.data()), step, reinterpret_cast<T*>(out.data()), step, roiOf(f));
    return out;
}

// An interleaved three-channel conversion to `dstCh` channels on a source
// made by `prep`.
template <class T, Fn3<T> Fn, int DstCh = 3, class Prep>
Case pixels(Prep prep) {
    return simple(prep, DstCh * sizeof(T), [](const uint8_t* s, uint8_t* d, const Frame& f) {
        Fn(reinterpret_cast<const T*>(s), 3 * f.width * int(sizeof(T)), reinterpret_cast<T*>(d),
           DstCh * f.width * int(sizeof(T)), roiOf(f));
    });
}
template <class T, Fn3<T> Fn, int DstCh = 3>
Case pixels() {
    return pixels<T, Fn, DstCh>(samples<T>);
}

// A camera's colour-correction matrix with a small black-level offset (in
// 8-bit units; the float forms take it over 255).
constexpr float kCcm[3][4] = {
    {1.20f, -0.15f, -0.05f, 2.0f}, {-0.10f, 1.15f, -0.05f, -1.0f}, {-0.05f, -0.20f, 1.25f, 0.5f}};
constexpr float kCcmF[3][4] = {{1.20f, -0.15f, -0.05f, 2.0f / 255.0f},
                               {-0.10f, 1.15f, -0.05f, -1.0f / 255.0f},
                               {-0.05f, -0.20f, 1.25f, 0.5f / 255.0f}};

#ifdef HAVE_OPENCV
// The gamma curve the library applies (power 0.45 with a linear foot) as a
// table of bytes, forward or inverse.
cv::Mat gammaLut(bool forward) {
    cv::Mat lut(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i) {
        const double x = i / 255.0;
        const double v = forward ? (x < 0.018 ? 4.5 * x : 1.099 * std::pow(x, 0.45) - 0.099)
                                 : (x < 0.081 ? x / 4.5 : std::pow((x + 0.099) / 1.099, 1.0 / 0.45));
        lut.at<uint8_t>(i) = cv::saturate_cast<uint8_t>(255.0 * v);
    }
    return lut;
}
Peer lutPeer(bool forward) {
    const cv::Mat lut = gammaLut(forward);
    return openCvPeer(
        "LUT_8u_C3", [](const std::string& c, const Frame& f) { return contentMat(c, f, CV_8U); },
        [lut](const cv::Mat& s, cv::Mat& d) { cv::LUT(s, lut, d); });
}
Peer transformPeer(int depth) {
    cv::Mat m(3, 4, CV_32F);
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 4; ++k) m.at<float>(r, k) = depth == CV_32F ? kCcmF[r][k] : kCcm[r][k];
    return openCvPeer(
        depth == CV_32F ? "transform_32f_C3" : "transform_8u_C3",
        [depth](const std::string& c, const Frame& f) { return contentMat(c, f, depth); },
        [m](const cv::Mat& s, cv::Mat& d) { cv::transform(s, d, m); });
}
#endif

#ifdef HAVE_LIBYUV
Case libyuvColorMatrix() {
    // the same factors in 1/64 steps, rows and columns in libyuv's channel
    // order (B, G, R, A in memory), no offset
    return simple(rgbToBgra, 4, [](const uint8_t* s, uint8_t* d, const Frame& f) {
        static const auto m = [] {
            std::array<int8_t, 16> a{};
            for (int r = 0; r < 3; ++r)
                for (int k = 0; k < 3; ++k) a[4 * (2 - r) + (2 - k)] = static_cast<int8_t>(kCcm[r][k] * 64.0f);
            a[15] = 64;
            return a;
        }();
        libyuv::ARGBColorMatrix(s, 4 * f.width, d, 4 * f.width, m.data(), f.width, f.height);
    });
}
#endif

// The content through the library's analogue 4:2:0 encoder, as planes.
std::shared_ptr<Planes> yuv420Of(const Bytes& rgb, const Frame& f) {
    auto p = std::make_shared<Planes>();
    auto o = outOf(f, 2, 2);
    celiRGBToYUV420_8u_C3P3R(rgb.data(), 3 * f.width, o->d, o->step, roiOf(f));
    for (int k = 0; k < 3; ++k) {
        p->p[k] = std::move(o->p[k]);
        p->src[k] = p->p[k].data();
        p->step[k] = o->step[k];
    }
    return p;
}

// YCoCg: three planes of one step, bytes or 16-bit words.
template <class Q, class Fwd>
std::shared_ptr<Out> ycocgOf(const Bytes& rgb, const Frame& f, Fwd fwd) {
    auto o = outOf(f, 1, 1, int(sizeof(Q)));
    Q* d[3] = {reinterpret_cast<Q*>(o->d[0]), reinterpret_cast<Q*>(o->d[1]), reinterpret_cast<Q*>(o->d[2])};
    fwd(rgb.data(), 3 * f.width, d, o->step[0], roiOf(f));
    return o;
}

// cvtColor peers, compiled only with OpenCV.
#define OCV(...) IF_OPENCV(cvtPeer(__VA_ARGS__))

const int registered = [] {
    // ---- Colour spaces at 16u and 32f (8u rows are in table.cpp)
    std::vector<Peer> none;
    registerRow({"celiRGBToXYZ_16u_C3R", pixels<uint16_t, celiRGBToXYZ_16u_C3R>(), 6,
                 OCV("RGB2XYZ_16u", cv::COLOR_RGB2XYZ, -1, CV_16U)});
    registerRow({"celiXYZToRGB_16u_C3R",
                 pixels<uint16_t, celiXYZToRGB_16u_C3R>(forwardOf<uint16_t, celiRGBToXYZ_16u_C3R>), 6,
                 OCV("XYZ2RGB_16u", cv::COLOR_XYZ2RGB, cv::COLOR_RGB2XYZ, CV_16U)});
    registerRow({"celiRGBToHLS_32f_C3R", pixels<float, celiRGBToHLS_32f_C3R>(), 12,
                 OCV("RGB2HLS_32f", cv::COLOR_RGB2HLS, -1, CV_32F)});
    registerRow({"celiHLSToRGB_32f_C3R", pixels<float, celiHLSToRGB_32f_C3R>(forwardOf<float, celiRGBToHLS_32f_C3R>),
                 12, OCV("HLS2RGB_32f", cv::COLOR_HLS2RGB, cv::COLOR_RGB2HLS, CV_32F)});
    registerRow({"celiRGBToLab_32f_C3R", pixels<float, celiRGBToLab_32f_C3R>(), 12,
                 OCV("RGB2Lab_32f", cv::COLOR_RGB2Lab, -1, CV_32F)});
    registerRow({"celiLabToRGB_32f_C3R", pixels<float, celiLabToRGB_32f_C3R>(forwardOf<float, celiRGBToLab_32f_C3R>),
                 12, OCV("Lab2RGB_32f", cv::COLOR_Lab2RGB, cv::COLOR_RGB2Lab, CV_32F)});
    registerRow({"celiRGBToLUV_32f_C3R", pixels<float, celiRGBToLUV_32f_C3R>(), 12,
                 OCV("RGB2Luv_32f", cv::COLOR_RGB2Luv, -1, CV_32F)});
    registerRow({"celiLUVToRGB_32f_C3R", pixels<float, celiLUVToRGB_32f_C3R>(forwardOf<float, celiRGBToLUV_32f_C3R>),
                 12, OCV("Luv2RGB_32f", cv::COLOR_Luv2RGB, cv::COLOR_RGB2Luv, CV_32F)});
    registerRow({"celiRGBToYCC_8u_C3R", pixels<uint8_t, celiRGBToYCC_8u_C3R>(), 3, none});
    registerRow({"celiYCCToRGB_8u_C3R", pixels<uint8_t, celiYCCToRGB_8u_C3R>(forwardOf<uint8_t, celiRGBToYCC_8u_C3R>),
                 3, none});

    // ---- Gray
    registerRow({"celiRGBToGray_16u_C3C1R", pixels<uint16_t, celiRGBToGray_16u_C3C1R, 1>(), 6,
                 OCV("RGB2GRAY_16u", cv::COLOR_RGB2GRAY, -1, CV_16U)});
    registerRow({"celiGrayToRGB_8u_C1C3R",
                 simple(rgbAsIs, 3,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            // the first third of the content's bytes as gray
                            celiGrayToRGB_8u_C1C3R(s, f.width, d, 3 * f.width, roiOf(f));
                        }),
                 1, OCV("GRAY2RGB_8u", cv::COLOR_GRAY2RGB, cv::COLOR_RGB2GRAY, CV_8U)});

    // ---- Analogue YUV
    registerRow({"celiRGBToYUV_8u_C3R", pixels<uint8_t, celiRGBToYUV_8u_C3R>(), 3,
                 OCV("RGB2YUV_8u", cv::COLOR_RGB2YUV, -1, CV_8U)});
    registerRow({"celiYUVToRGB_8u_C3R", pixels<uint8_t, celiYUVToRGB_8u_C3R>(forwardOf<uint8_t, celiRGBToYUV_8u_C3R>),
                 3, OCV("YUV2RGB_8u", cv::COLOR_YUV2RGB, cv::COLOR_RGB2YUV, CV_8U)});
    {
        std::vector<Peer> enc = OCV("RGB2YUV_I420", cv::COLOR_RGB2YUV_I420, -1, CV_8U),
                          dec = OCV("YUV2RGB_I420", cv::COLOR_YUV2RGB_I420, cv::COLOR_RGB2YUV_I420, CV_8U);
#ifdef HAVE_LIBYUV
        // libyuv's BT.601 full-range and studio-range 4:2:0 forms
        enc.push_back(libyuvPeer("RAWToJ420", toPlanes(rgbAsIs, 2, 2, [](const uint8_t* s, Out& o, const Frame& f) {
                                     libyuv::RAWToJ420(s, 3 * f.width, o.d[0], o.step[0], o.d[1], o.step[1], o.d[2],
                                                       o.step[2], f.width, f.height);
                                 })));
        dec.push_back(libyuvPeer("I420ToRAW", planar(2, 2, 3, [](const Planes& p, uint8_t* d, const Frame& f) {
                                     libyuv::I420ToRAW(p.src[0], p.step[0], p.src[1], p.step[1], p.src[2], p.step[2], d,
                                                       3 * f.width, f.width, f.height);
                                 })));
#endif
        registerRow({"celiRGBToYUV420_8u_C3P3R",
                     toPlanes(rgbAsIs, 2, 2,
                              [](const uint8_t* s, Out& o, const Frame& f) {
                                  celiRGBToYUV420_8u_C3P3R(s, 3 * f.width, o.d, o.step, roiOf(f));
                              }),
                     3, enc});
        registerRow({"celiYUV420ToRGB_8u_P3C3R",
                     [](const Frame& f, const std::string& content) -> Call {
                         auto in = yuv420Of(contentOf(content, f), f);
                         auto dst = std::make_shared<Bytes>(size_t(px(f)) * 3);
                         return
                             [=] { celiYUV420ToRGB_8u_P3C3R(in->src, in->step, dst->data(), 3 * f.width, roiOf(f)); };
                     },
                     1.5, dec});
    }
    registerRow({"celiYUV422ToRGB_8u_C2C3R", oneToOne(yuy2, 2, 3, celiYUV422ToRGB_8u_C2C3R), 2,
                 IF_OPENCV(openCv422("YUV2RGB_YUY2", cv::COLOR_YUV2RGB_YUY2, false))});
    registerRow({"celiRGBToYUV422_8u_C3C2R", oneToOne(rgbAsIs, 3, 2, celiRGBToYUV422_8u_C3C2R), 3, none});

    // ---- Gamma
    registerRow({"celiGammaFwd_8u_C3R", pixels<uint8_t, celiGammaFwd_8u_C3R>(), 3, IF_OPENCV(lutPeer(true))});
    registerRow({"celiGammaInv_8u_C3R", pixels<uint8_t, celiGammaInv_8u_C3R>(), 3, IF_OPENCV(lutPeer(false))});
    registerRow({"celiGammaFwd_16u_C3R", pixels<uint16_t, celiGammaFwd_16u_C3R>(), 6, none});
    registerRow({"celiGammaFwd_32f_C3R",
                 simple(rgbFloat, 12,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            celiGammaFwd_32f_C3R(reinterpret_cast<const float*>(s), 12 * f.width,
                                                 reinterpret_cast<float*>(d), 12 * f.width, roiOf(f), 0.0f, 1.0f);
                        }),
                 12, none});

    // ---- Colour twist
    registerRow({"celiColorTwist32f_8u_C3R",
                 simple(rgbAsIs, 3,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            celiColorTwist32f_8u_C3R(s, 3 * f.width, d, 3 * f.width, roiOf(f), kCcm);
                        }),
                 3, IF_OPENCV(transformPeer(CV_8U))});
    registerRow({"celiColorTwist_32f_C3R",
                 simple(rgbFloat, 12,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            celiColorTwist_32f_C3R(reinterpret_cast<const float*>(s), 12 * f.width,
                                                   reinterpret_cast<float*>(d), 12 * f.width, roiOf(f), kCcmF);
                        }),
                 12, IF_OPENCV(transformPeer(CV_32F))});
    registerRow({"celiColorTwist32f_8u_AC4R",
                 simple(rgbToBgra, 4,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            celiColorTwist32f_8u_AC4R(s, 4 * f.width, d, 4 * f.width, roiOf(f), kCcm);
                        }),
                 4, IF_LIBYUV(libyuvPeer("ARGBColorMatrix", libyuvColorMatrix()))});

    // ---- YCoCg: no peer has it
    registerRow({"celiRGBToYCoCg_8u_C3P3R",
                 toPlanes(rgbAsIs, 1, 1,
                          [](const uint8_t* s, Out& o, const Frame& f) {
                              celiRGBToYCoCg_8u_C3P3R(s, 3 * f.width, o.d, o.step[0], roiOf(f));
                          }),
                 3, none});
    registerRow({"celiYCoCgToRGB_8u_P3C3R",
                 [](const Frame& f, const std::string& content) -> Call {
                     auto in = ycocgOf<uint8_t>(contentOf(content, f), f, celiRGBToYCoCg_8u_C3P3R);
                     auto dst = std::make_shared<Bytes>(size_t(px(f)) * 3);
                     return [=] {
                         const uint8_t* s[3] = {in->d[0], in->d[1], in->d[2]};
                         celiYCoCgToRGB_8u_P3C3R(s, in->step[0], dst->data(), 3 * f.width, roiOf(f));
                     };
                 },
                 3, none});
    registerRow({"celiBGRToYCoCg_8u16s_C3P3R",
                 [](const Frame& f, const std::string& content) -> Call {
                     auto src = std::make_shared<Bytes>(contentOf(content, f));
                     auto o = outOf(f, 1, 1, 2);
                     return [=] {
                         int16_t* d[3] = {reinterpret_cast<int16_t*>(o->d[0]), reinterpret_cast<int16_t*>(o->d[1]),
                                          reinterpret_cast<int16_t*>(o->d[2])};
                         celiBGRToYCoCg_8u16s_C3P3R(src->data(), 3 * f.width, d, o->step[0], roiOf(f));
                     };
                 },
                 3, none});
    registerRow({"celiYCoCgToBGR_16s8u_P3C3R",
                 [](const Frame& f, const std::string& content) -> Call {
                     auto in = ycocgOf<int16_t>(contentOf(content, f), f, celiBGRToYCoCg_8u16s_C3P3R);
                     auto dst = std::make_shared<Bytes>(size_t(px(f)) * 3);
                     return [=] {
                         const int16_t* s[3] = {reinterpret_cast<const int16_t*>(in->d[0]),
                                                reinterpret_cast<const int16_t*>(in->d[1]),
                                                reinterpret_cast<const int16_t*>(in->d[2])};
                         celiYCoCgToBGR_16s8u_P3C3R(s, in->step[0], dst->data(), 3 * f.width, roiOf(f));
                     };
                 },
                 6, none});
    return 0;
}();

}  // namespace
}  // namespace celtable
