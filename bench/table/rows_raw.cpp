// Table rows of the demosaicers (bilinear at 16u, VNG, AHD), tone mapping
// and bit-depth reduction.  Mosaics are the content through a BGGR pattern
// with sensor-like noise (common/mosaic.h); OpenCV, which names a pattern by
// its second row's middle pair, calls that pattern "BayerRG".
//
// Peers: OpenCV's VNG (8u only) beside VNG, its edge-aware conversion
// beside AHD (another algorithm for the same job: LibRaw's AHD runs only on
// raw files and is timed alone in bench/demosaic/ahd.cpp), its
// reduce-then-convertTo pair beside tone mapping, its scaled convertTo
// beside the undithered depth reductions.  No peer: the 16u VNG, dithered
// reductions (bench/bitdepth has swscale's error diffusion) and the 1-bit
// form.
#include "table/table.h"

namespace celtable {
namespace {

// A case on the mosaic of the content at `bits` a sample.
template <class Fn>
Case mosaic(int bits, double dstBytes, Fn call) {
    return [=](const Frame& f, const std::string& content) -> Call {
        auto src = std::make_shared<Bytes>(mosaicOf(content, f, bits));
        auto dst = std::make_shared<Bytes>(size_t(px(f) * dstBytes));
        return [=] { call(src->data(), dst->data(), f); };
    };
}

template <class T>
Case ahd() {
    return [](const Frame& f, const std::string& content) -> Call {
        const int sz = int(sizeof(T)), bufStep = sz * (f.width + 6) + 16;
        auto src = std::make_shared<Bytes>(mosaicOf(content, f, 8 * sz));
        auto dst = std::make_shared<Bytes>(size_t(px(f)) * 3 * sz);
        auto buf = std::make_shared<Bytes>(size_t(30) * bufStep);
        return [=] {
            const CelRect roi{0, 0, f.width, f.height};
            if constexpr (sizeof(T) == 1)
                celiDemosaicAHD_8u_C1C3R(src->data(), roi, roiOf(f), f.width, dst->data(), 3 * f.width, celBayerBGGR,
                                         buf->data(), bufStep);
            else
                celiDemosaicAHD_16u_C1C3R(reinterpret_cast<const uint16_t*>(src->data()), roi, roiOf(f), 2 * f.width,
                                          reinterpret_cast<uint16_t*>(dst->data()), 6 * f.width, celBayerBGGR,
                                          reinterpret_cast<uint16_t*>(buf->data()), bufStep);
        };
    };
}

// The content's samples as a one-channel float image of the frame (its
// first third), scaled to 0..4 like a linear high-dynamic-range frame.
Bytes hdrOf(const Bytes& rgb, const Frame& f) {
    Bytes out(size_t(px(f)) * 4);
    for (int i = 0; i < px(f); ++i) {
        const float v = rgb[size_t(i)] / 255.0f;
        const float lin = 4.0f * v * v;
        std::memcpy(&out[size_t(i) * 4], &lin, 4);
    }
    return out;
}

// Depth reduction without dither, 256 levels, three channels.
template <class S, CelStatus (*Fn)(const S*, int, uint8_t*, int, CelSize, int, CelDitherMode, int, uint8_t*)>
Case reduceTo8(CelDitherMode mode, int levels) {
    return [=](const Frame& f, const std::string& content) -> Call {
        const Bytes rgb = contentOf(content, f);
        auto src = std::make_shared<Bytes>(sizeof(S) == 1 ? rgb : sizeof(S) == 2 ? widened16(rgb) : asFloats(rgb));
        auto dst = std::make_shared<Bytes>(size_t(px(f)) * 3);
        int size = 0;
        celiReduceBitsGetBufferSize(3, roiOf(f), 0, mode, &size);
        auto scratch = std::make_shared<Bytes>(size_t(size) + 1);
        return [=] {
            Fn(reinterpret_cast<const S*>(src->data()), 3 * f.width * int(sizeof(S)), dst->data(), 3 * f.width,
               roiOf(f), 0, mode, levels, scratch->data());
        };
    };
}

#ifdef HAVE_OPENCV
Peer bayerPeer(const std::string& what, int code, int depth) {
    return openCvPeer(
        what,
        [depth](const std::string& content, const Frame& f) {
            Bytes m = mosaicOf(content, f, depth == CV_8U ? 8 : 16);
            return cv::Mat(f.height, f.width, CV_MAKETYPE(depth, 1), m.data()).clone();
        },
        [code](const cv::Mat& s, cv::Mat& d) { cv::cvtColor(s, d, code); });
}
Peer convertPeer(const std::string& what, int depth, double scale) {
    return openCvPeer(
        what, [depth](const std::string& c, const Frame& f) { return contentMat(c, f, depth); },
        [scale](const cv::Mat& s, cv::Mat& d) { s.convertTo(d, CV_8U, scale); });
}
// Tone mapping the two-pass way: the largest sample or the mean, then a
// scaled conversion to bytes.
Peer toneMapPeer(bool mean) {
    return openCvPeer(
        mean ? "mean_convertTo" : "minMaxLoc_convertTo",
        [](const std::string& content, const Frame& f) {
            Bytes b = hdrOf(contentOf(content, f), f);
            return cv::Mat(f.height, f.width, CV_32F, b.data()).clone();
        },
        [mean](const cv::Mat& s, cv::Mat& d) {
            double scale;
            if (mean) {
                scale = 255.0 / (2.0 * cv::mean(s)[0]);
            } else {
                double lo, hi;
                cv::minMaxLoc(s, &lo, &hi);
                scale = 255.0 / hi;
            }
            s.convertTo(d, CV_8U, scale);
        });
}
#endif

const int registered = [] {
    // ---- Demosaicing
    registerRow({"celiCFAToRGB_16u_C1C3R",
                 mosaic(16, 6,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            celiCFAToRGB_16u_C1C3R(reinterpret_cast<const uint16_t*>(s), {0, 0, f.width, f.height},
                                                   roiOf(f), 2 * f.width, reinterpret_cast<uint16_t*>(d), 6 * f.width,
                                                   celBayerBGGR);
                        }),
                 2, IF_OPENCV(bayerPeer("BayerRG2RGB_16u", cv::COLOR_BayerRG2RGB, CV_16U))});
    registerRow({"celiCFAToBGRA_VNG_8u_C1C4R_L",
                 mosaic(8, 4,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            celiCFAToBGRA_VNG_8u_C1C4R_L(s, {f.width, f.height}, f.width, nullptr, d,
                                                         {0, 0, f.width, f.height}, 4 * int64_t(f.width), celBayerBGGR);
                        }),
                 1, IF_OPENCV(bayerPeer("BayerRG2BGR_VNG_8u", cv::COLOR_BayerRG2BGR_VNG, CV_8U))});
    registerRow({"celiCFAToBGRA_VNG_16u_C1C4R_L",
                 mosaic(16, 8,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            celiCFAToBGRA_VNG_16u_C1C4R_L(reinterpret_cast<const uint16_t*>(s), {f.width, f.height},
                                                          2 * int64_t(f.width), nullptr, reinterpret_cast<uint16_t*>(d),
                                                          {0, 0, f.width, f.height}, 8 * int64_t(f.width),
                                                          celBayerBGGR);
                        }),
                 2,
                 {}});
    registerRow({"celiDemosaicAHD_8u_C1C3R", ahd<uint8_t>(), 1,
                 IF_OPENCV(bayerPeer("BayerRG2BGR_EA_8u", cv::COLOR_BayerRG2BGR_EA, CV_8U))});
    registerRow({"celiDemosaicAHD_16u_C1C3R", ahd<uint16_t>(), 2,
                 IF_OPENCV(bayerPeer("BayerRG2BGR_EA_16u", cv::COLOR_BayerRG2BGR_EA, CV_16U))});

    // ---- Tone mapping
    const auto hdr = [](const Bytes& rgb, const Frame& f) { return hdrOf(rgb, f); };
    registerRow({"celiToneMapLinear_32f8u_C1R",
                 simple(hdr, 1,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            celiToneMapLinear_32f8u_C1R(reinterpret_cast<const float*>(s), 4 * f.width, d, f.width,
                                                        roiOf(f));
                        }),
                 4, IF_OPENCV(toneMapPeer(false))});
    registerRow({"celiToneMapMean_32f8u_C1R",
                 simple(hdr, 1,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            celiToneMapMean_32f8u_C1R(reinterpret_cast<const float*>(s), 4 * f.width, d, f.width,
                                                      roiOf(f));
                        }),
                 4, IF_OPENCV(toneMapPeer(true))});

    // ---- Bit depth
    registerRow({"celiReduceBits_16u8u_C3R", reduceTo8<uint16_t, celiReduceBits_16u8u_C3R>(celDitherOff, 256), 6,
                 IF_OPENCV(convertPeer("convertTo_16u8u_C3", CV_16U, 1.0 / 257.0))});
    registerRow({"celiReduceBits_32f8u_C3R", reduceTo8<float, celiReduceBits_32f8u_C3R>(celDitherOff, 256), 12,
                 IF_OPENCV(convertPeer("convertTo_32f8u_C3", CV_32F, 255.0))});
    registerRow(
        {"celiReduceBits_8u_C3R:ordered", reduceTo8<uint8_t, celiReduceBits_8u_C3R>(celDitherOrdered, 16), 3, {}});
    registerRow({"celiReduceBits_8u_C3R:FloydSteinberg",
                 reduceTo8<uint8_t, celiReduceBits_8u_C3R>(celDitherFloydSteinberg, 8),
                 3,
                 {}});
    registerRow({"celiReduceBits_8u1u_C1R",
                 simple(rgbAsIs, 0.125,
                        [](const uint8_t* s, uint8_t* d, const Frame& f) {
                            // threshold; the first third of the content's bytes as one channel
                            celiReduceBits_8u1u_C1R(s, f.width, d, f.width / 8, 0, roiOf(f), 0, 0, celDitherOff, 127,
                                                    nullptr);
                        }),
                 1,
                 {}});
    return 0;
}();

}  // namespace
}  // namespace celtable
