// The speed table in one run: each operation of the library on the
// realistic contents (the photograph and noisy gradients of
// common/content.h, Bayer mosaics of them from common/mosaic.h) beside its
// fastest peer at the SSE4.2 level on the same pixels.  libyuv is limited
// to SSE4.2 by its CPU flags; OpenCV by OPENCV_CPU_DISABLE, which it reads
// when it loads (tools/bench_table.sh sets it), and a peer row is named
// "_sse42" only when OpenCV then reports no AVX, "_native" otherwise.
//
// Names: "<op>/mine/<content>/1920x1080" and "<op>/peer_<name>/<content>/...";
// tools/bench_table.sh turns a run into the table of bench/README.md.
#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"
#include "common/mosaic.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
#include <libyuv/cpu_id.h>
#include <libyuv/planar_functions.h>
#endif

namespace {

using celbench::Frame;
using Bytes = std::vector<uint8_t>;

// A case prepares its buffers for a frame and a content and returns the
// call to time; the call owns what it touches.
using Call = std::function<void()>;
using Case = std::function<Call(const Frame&, const std::string&)>;

void run(benchmark::State& state, const Frame& f, const std::string& content, const Case& make, bool libyuv) {
#ifdef HAVE_LIBYUV
    if (libyuv)
        libyuv::MaskCpuFlags(libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 | libyuv::kCpuHasSSE41 |
                             libyuv::kCpuHasSSE42);
#endif
    const Call call = make(f, content);
    for (auto _ : state) {
        call();
        benchmark::ClobberMemory();
    }
#ifdef HAVE_LIBYUV
    if (libyuv) libyuv::MaskCpuFlags(-1);
#endif
    state.counters["Mpix/s"] =
        benchmark::Counter(double(f.width) * f.height * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
}

// ---- Sources made from the content ----------------------------------------------------
int px(const Frame& f) { return f.width * f.height; }

Bytes bgraOf(const Bytes& rgb) {
    Bytes out(rgb.size() / 3 * 4);
    for (size_t i = 0; i < rgb.size() / 3; ++i)
        out[4 * i] = rgb[3 * i + 2], out[4 * i + 1] = rgb[3 * i + 1], out[4 * i + 2] = rgb[3 * i], out[4 * i + 3] = 255;
    return out;
}

// Planes Y, Cb, Cr of the content at 4:4:4 (c = 1) or 4:2:0 (c = 2) through
// the library's encoders; at 4:2:2 the 4:4:4 chroma with every other column.
struct Planes {
    Bytes p[3];
    int w[3];
    const uint8_t* src[3];
    int step[3];
};
std::shared_ptr<Planes> planesOf(const Bytes& rgb, const Frame& f, int cw, int ch) {
    auto p = std::make_shared<Planes>();
    Bytes full[3];
    for (auto& v : full) v.resize(px(f));
    uint8_t* d[3] = {full[0].data(), full[1].data(), full[2].data()};
    celiRGBToYCbCr_8u_C3P3R(rgb.data(), 3 * f.width, d, f.width, {f.width, f.height});
    for (int k = 0; k < 3; ++k) {
        const int sx = k ? cw : 1, sy = k ? ch : 1;
        p->w[k] = f.width / sx;
        p->p[k].resize(size_t(p->w[k]) * (f.height / sy));
        for (int y = 0; y < f.height / sy; ++y)
            for (int x = 0; x < p->w[k]; ++x) p->p[k][size_t(y) * p->w[k] + x] = full[k][size_t(y * sy) * f.width + x * sx];
        p->src[k] = p->p[k].data();
        p->step[k] = p->w[k];
    }
    return p;
}

// ---- Library cases -----------------------------------------------------------------------
// Interleaved three-channel to three-channel (or one), source made by `prep`.
template <class T, class Fn>
Case interleaved(Fn fn, int dstChannels, std::function<std::vector<T>(const Bytes&, const Frame&)> prep) {
    return [=](const Frame& f, const std::string& content) -> Call {
        auto src = std::make_shared<std::vector<T>>(prep(celbench::contentRGB(content, f), f));
        auto dst = std::make_shared<std::vector<T>>(size_t(px(f)) * dstChannels);
        return [=] {
            fn(src->data(), 3 * f.width * int(sizeof(T)), dst->data(), dstChannels * f.width * int(sizeof(T)),
               CelSize{f.width, f.height});
        };
    };
}
Bytes asIs(const Bytes& rgb, const Frame&) { return rgb; }
template <CelStatus (*Fwd)(const uint8_t*, int, uint8_t*, int, CelSize)>
Bytes through(const Bytes& rgb, const Frame& f) {
    Bytes out(rgb.size());
    Fwd(rgb.data(), 3 * f.width, out.data(), 3 * f.width, {f.width, f.height});
    return out;
}
std::vector<float> floats(const Bytes& rgb, const Frame& f) { return celbench::samplesOf<float>(rgb, f); }
std::vector<float> xyzFloats(const Bytes& rgb, const Frame& f) {
    return celbench::samplesOf<float>(rgb, f, celiRGBToXYZ_32f_C3R);
}

Case bayerMine() {
    return [](const Frame& f, const std::string& content) -> Call {
        const auto m = celbench::makeMosaic(f, content == "photo" ? celbench::MosaicContent::Photo
                                                                  : celbench::MosaicContent::Gradient, 8);
        auto src = std::make_shared<Bytes>(m.begin(), m.end());
        auto dst = std::make_shared<Bytes>(size_t(px(f)) * 3);
        return [=] {
            celiCFAToRGB_8u_C1C3R(src->data(), {0, 0, f.width, f.height}, {f.width, f.height}, f.width, dst->data(),
                                  3 * f.width, celBayerBGGR);
        };
    };
}

enum class Enc { Rgb420, Bgra420 };
Case encode420Mine(Enc e) {
    return [=](const Frame& f, const std::string& content) -> Call {
        const Bytes rgb = celbench::contentRGB(content, f);
        auto src = std::make_shared<Bytes>(e == Enc::Bgra420 ? bgraOf(rgb) : rgb);
        auto out = std::make_shared<Planes>();
        for (int k = 0; k < 3; ++k) out->p[k].resize(k ? px(f) / 4 : px(f)), out->step[k] = k ? f.width / 2 : f.width;
        return [=] {
            uint8_t* d[3] = {out->p[0].data(), out->p[1].data(), out->p[2].data()};
            if (e == Enc::Bgra420)
                celiBGRToYCbCr420_8u_AC4P3R(src->data(), 4 * f.width, d, out->step, {f.width, f.height});
            else
                celiRGBToYCbCr420_8u_C3P3R(src->data(), 3 * f.width, d, out->step, {f.width, f.height});
        };
    };
}

enum class Dec { P444, P420, To420P2, To422C2 };
Case planarMine(Dec d) {
    return [=](const Frame& f, const std::string& content) -> Call {
        const int cw = d == Dec::P444 ? 1 : 2, ch = d == Dec::P420 || d == Dec::To420P2 ? 2 : 1;
        auto in = planesOf(celbench::contentRGB(content, f), f, cw, ch);
        auto dst = std::make_shared<Bytes>(size_t(px(f)) * 3);
        return [=] {
            const CelSize roi{f.width, f.height};
            switch (d) {
                case Dec::P444: celiYCbCrToRGB_8u_P3C3R(in->src, f.width, dst->data(), 3 * f.width, roi); break;
                case Dec::P420: celiYCbCr420ToRGB_8u_P3C3R(in->src, in->step, dst->data(), 3 * f.width, roi); break;
                case Dec::To420P2:
                    celiYCbCr420_8u_P3P2R(in->src, in->step, dst->data(), f.width, dst->data() + px(f), f.width, roi);
                    break;
                case Dec::To422C2: celiYCbCr422_8u_P3C2R(in->src, in->step, dst->data(), 2 * f.width, roi); break;
            }
        };
    };
}

// ---- Peer cases --------------------------------------------------------------------------
#ifdef HAVE_OPENCV
// cvtColor(code) on the content converted first by `pre` (an OpenCV code,
// or -1 for the content itself); float types scale the content to 0..1.
Case openCv(int code, int pre, bool f32, bool mosaic = false) {
    return [=](const Frame& f, const std::string& content) -> Call {
        cv::setNumThreads(1);
        auto src = std::make_shared<cv::Mat>(), dst = std::make_shared<cv::Mat>();
        if (mosaic) {
            const auto m = celbench::makeMosaic(f, content == "photo" ? celbench::MosaicContent::Photo
                                                                      : celbench::MosaicContent::Gradient, 8);
            cv::Mat(f.height, f.width, CV_16UC1, const_cast<uint16_t*>(m.data())).convertTo(*src, CV_8UC1);
        } else {
            Bytes rgb = celbench::contentRGB(content, f);
            cv::Mat m8(f.height, f.width, CV_8UC3, rgb.data());
            if (f32)
                m8.convertTo(*src, CV_32FC3, 1.0 / 255.0);
            else
                m8.copyTo(*src);
            if (pre >= 0) cv::cvtColor(src->clone(), *src, pre);
        }
        cv::cvtColor(*src, *dst, code);
        return [=] { cv::cvtColor(*src, *dst, code); };
    };
}
#endif

#ifdef HAVE_LIBYUV
Case libyuvGray() {
    return [](const Frame& f, const std::string& content) -> Call {
        auto src = std::make_shared<Bytes>(celbench::contentRGB(content, f));
        auto dst = std::make_shared<Bytes>(px(f));
        return [=] { libyuv::RAWToJ400(src->data(), 3 * f.width, dst->data(), f.width, f.width, f.height); };
    };
}
Case libyuvEncode(Enc e) {
    return [=](const Frame& f, const std::string& content) -> Call {
        const Bytes rgb = celbench::contentRGB(content, f);
        auto src = std::make_shared<Bytes>(e == Enc::Bgra420 ? bgraOf(rgb) : rgb);
        auto out = std::make_shared<Bytes>(size_t(px(f)) * 3 / 2);
        return [=] {
            uint8_t* y = out->data();
            uint8_t* u = y + px(f);
            uint8_t* v = u + px(f) / 4;
            if (e == Enc::Bgra420)
                libyuv::ARGBToI420(src->data(), 4 * f.width, y, f.width, u, f.width / 2, v, f.width / 2, f.width, f.height);
            else
                libyuv::RAWToI420(src->data(), 3 * f.width, y, f.width, u, f.width / 2, v, f.width / 2, f.width, f.height);
        };
    };
}
Case libyuvPlanar(Dec d) {
    return [=](const Frame& f, const std::string& content) -> Call {
        const int cw = d == Dec::P444 ? 1 : 2, ch = d == Dec::P420 || d == Dec::To420P2 ? 2 : 1;
        auto in = planesOf(celbench::contentRGB(content, f), f, cw, ch);
        auto dst = std::make_shared<Bytes>(size_t(px(f)) * 3);
        return [=] {
            const uint8_t *y = in->src[0], *u = in->src[1], *v = in->src[2];
            const int sy = in->step[0], su = in->step[1], sv = in->step[2];
            uint8_t* o = dst->data();
            switch (d) {
                case Dec::P444: libyuv::I444ToRAW(y, sy, u, su, v, sv, o, 3 * f.width, f.width, f.height); break;
                case Dec::P420: libyuv::I420ToRAW(y, sy, u, su, v, sv, o, 3 * f.width, f.width, f.height); break;
                case Dec::To420P2:
                    libyuv::I420ToNV12(y, sy, u, su, v, sv, o, f.width, o + px(f), f.width, f.width, f.height);
                    break;
                case Dec::To422C2: libyuv::I422ToYUY2(y, sy, u, su, v, sv, o, 2 * f.width, f.width, f.height); break;
            }
        };
    };
}
#endif

struct Row {
    std::string op;
    Case mine;
    std::string peer;  // empty: no peer built in
    Case peerCase;
    bool peerIsLibyuv;
};

[[maybe_unused]] std::string openCvName(const std::string& what) {
#ifdef HAVE_OPENCV
    return "peer_OpenCV_" + what + (cv::checkHardwareSupport(CV_CPU_AVX) ? "_native" : "_sse42");
#else
    return what;
#endif
}

std::vector<Row> rows() {
    std::vector<Row> r;
    const auto add = [&r](std::string op, Case mine, std::string peer, Case peerCase, bool yuv) {
        r.push_back({std::move(op), std::move(mine), std::move(peer), std::move(peerCase), yuv});
    };
#ifdef HAVE_OPENCV
    const auto ocv = [&add](std::string op, Case mine, const std::string& what, int code, int pre, bool f32) {
        add(std::move(op), std::move(mine), openCvName(what), openCv(code, pre, f32), false);
    };
    add("celiCFAToRGB_8u_C1C3R", bayerMine(), openCvName("BayerBG2RGB"), openCv(cv::COLOR_BayerBG2RGB, -1, false, true),
        false);
    ocv("celiXYZToRGB_32f_C3R", interleaved<float>(celiXYZToRGB_32f_C3R, 3, xyzFloats), "XYZ2RGB_32f",
        cv::COLOR_XYZ2RGB, cv::COLOR_RGB2XYZ, true);
    ocv("celiRGBToXYZ_32f_C3R", interleaved<float>(celiRGBToXYZ_32f_C3R, 3, floats), "RGB2XYZ_32f", cv::COLOR_RGB2XYZ,
        -1, true);
    ocv("celiRGBToXYZ_8u_C3R", interleaved<uint8_t>(celiRGBToXYZ_8u_C3R, 3, asIs), "RGB2XYZ_8u", cv::COLOR_RGB2XYZ, -1,
        false);
    ocv("celiXYZToRGB_8u_C3R", interleaved<uint8_t>(celiXYZToRGB_8u_C3R, 3, through<celiRGBToXYZ_8u_C3R>),
        "XYZ2RGB_8u", cv::COLOR_XYZ2RGB, cv::COLOR_RGB2XYZ, false);
    ocv("celiRGBToHLS_8u_C3R", interleaved<uint8_t>(celiRGBToHLS_8u_C3R, 3, asIs), "RGB2HLS_8u", cv::COLOR_RGB2HLS, -1,
        false);
    ocv("celiHLSToRGB_8u_C3R", interleaved<uint8_t>(celiHLSToRGB_8u_C3R, 3, through<celiRGBToHLS_8u_C3R>),
        "HLS2RGB_8u", cv::COLOR_HLS2RGB, cv::COLOR_RGB2HLS, false);
    ocv("celiRGBToHSV_8u_C3R", interleaved<uint8_t>(celiRGBToHSV_8u_C3R, 3, asIs), "RGB2HSV_8u", cv::COLOR_RGB2HSV, -1,
        false);
    ocv("celiHSVToRGB_8u_C3R", interleaved<uint8_t>(celiHSVToRGB_8u_C3R, 3, through<celiRGBToHSV_8u_C3R>),
        "HSV2RGB_8u", cv::COLOR_HSV2RGB, cv::COLOR_RGB2HSV, false);
    ocv("celiRGBToLUV_8u_C3R", interleaved<uint8_t>(celiRGBToLUV_8u_C3R, 3, asIs), "RGB2Luv_8u", cv::COLOR_RGB2Luv, -1,
        false);
    ocv("celiLUVToRGB_8u_C3R", interleaved<uint8_t>(celiLUVToRGB_8u_C3R, 3, through<celiRGBToLUV_8u_C3R>),
        "Luv2RGB_8u", cv::COLOR_Luv2RGB, cv::COLOR_RGB2Luv, false);
    ocv("celiRGBToLab_8u_C3R", interleaved<uint8_t>(celiRGBToLab_8u_C3R, 3, asIs), "RGB2Lab_8u", cv::COLOR_RGB2Lab, -1,
        false);
    ocv("celiLabToRGB_8u_C3R", interleaved<uint8_t>(celiLabToRGB_8u_C3R, 3, through<celiRGBToLab_8u_C3R>),
        "Lab2RGB_8u", cv::COLOR_Lab2RGB, cv::COLOR_RGB2Lab, false);
    ocv("celiRGBToYCbCr_8u_C3R", interleaved<uint8_t>(celiRGBToYCbCr_8u_C3R, 3, asIs), "RGB2YCrCb_8u",
        cv::COLOR_RGB2YCrCb, -1, false);
    ocv("celiYCbCrToRGB_8u_C3R", interleaved<uint8_t>(celiYCbCrToRGB_8u_C3R, 3, through<celiRGBToYCbCr_8u_C3R>),
        "YCrCb2RGB_8u", cv::COLOR_YCrCb2RGB, cv::COLOR_RGB2YCrCb, false);
    ocv("celiRGBToGray_32f_C3C1R", interleaved<float>(celiRGBToGray_32f_C3C1R, 1, floats), "RGB2GRAY_32f",
        cv::COLOR_RGB2GRAY, -1, true);
#endif
#ifdef HAVE_LIBYUV
    add("celiRGBToGray_8u_C3C1R", interleaved<uint8_t>(celiRGBToGray_8u_C3C1R, 1, asIs), "peer_libyuv_RAWToJ400_sse42",
        libyuvGray(), true);
    add("celiBGRToYCbCr420_8u_AC4P3R", encode420Mine(Enc::Bgra420), "peer_libyuv_ARGBToI420_sse42",
        libyuvEncode(Enc::Bgra420), true);
    add("celiRGBToYCbCr420_8u_C3P3R", encode420Mine(Enc::Rgb420), "peer_libyuv_RAWToI420_sse42",
        libyuvEncode(Enc::Rgb420), true);
    add("celiYCbCrToRGB_8u_P3C3R", planarMine(Dec::P444), "peer_libyuv_I444ToRAW_sse42", libyuvPlanar(Dec::P444), true);
    add("celiYCbCr420ToRGB_8u_P3C3R", planarMine(Dec::P420), "peer_libyuv_I420ToRAW_sse42", libyuvPlanar(Dec::P420),
        true);
    add("celiYCbCr420_8u_P3P2R", planarMine(Dec::To420P2), "peer_libyuv_I420ToNV12_sse42", libyuvPlanar(Dec::To420P2),
        true);
    add("celiYCbCr422_8u_P3C2R", planarMine(Dec::To422C2), "peer_libyuv_I422ToYUY2_sse42", libyuvPlanar(Dec::To422C2),
        true);
#endif
    return r;
}

void registerAll() {
    for (const Row& row : rows())
        for (const std::string& content : celbench::contentNames()) {
            const Case mine = row.mine, peer = row.peerCase;
            const bool yuv = row.peerIsLibyuv;
            celbench::registerOnContent(row.op + "/mine", content, [mine](benchmark::State& st, Frame f,
                                                                          const std::string& c) {
                run(st, f, c, mine, false);
            });
            celbench::registerOnContent(row.op + "/" + row.peer, content, [peer, yuv](benchmark::State& st, Frame f,
                                                                                      const std::string& c) {
                run(st, f, c, peer, yuv);
            });
        }
}

const int registered = (registerAll(), 0);

}  // namespace
