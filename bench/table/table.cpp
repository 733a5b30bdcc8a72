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
#include "table/table.h"

#include <algorithm>
#include <cstdio>
#include <set>

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/cpu_id.h>
#include <libyuv/planar_functions.h>
#endif

namespace celtable {
namespace {

// ---- Library cases -----------------------------------------------------------------------
// Interleaved three-channel to three-channel (or one), source made by `prep`.
template <class T, class Fn>
Case interleaved(Fn fn, int dstChannels, std::function<std::vector<T>(const Bytes&, const Frame&)> prep) {
    return [=](const Frame& f, const std::string& content) -> Call {
        auto src = std::make_shared<std::vector<T>>(prep(contentOf(content, f), f));
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
        auto src = std::make_shared<Bytes>(mosaicOf(content, f, 8));
        auto dst = std::make_shared<Bytes>(size_t(px(f)) * 3);
        return [=] {
            celiCFAToRGB_8u_C1C3R(src->data(), {0, 0, f.width, f.height}, {f.width, f.height}, f.width, dst->data(),
                                  3 * f.width, celBayerBGGR);
        };
    };
}

enum class Enc { Rgb420, Bgra420, Bgra420Hdtv };
Case encode420Mine(Enc e) {
    return [=](const Frame& f, const std::string& content) -> Call {
        const Bytes rgb = contentOf(content, f);
        auto src = std::make_shared<Bytes>(e == Enc::Rgb420 ? rgb : bgraOf(rgb));
        auto out = std::make_shared<Planes>();
        for (int k = 0; k < 3; ++k) out->p[k].resize(k ? px(f) / 4 : px(f)), out->step[k] = k ? f.width / 2 : f.width;
        return [=] {
            uint8_t* d[3] = {out->p[0].data(), out->p[1].data(), out->p[2].data()};
            if (e == Enc::Bgra420)
                celiBGRToYCbCr420_8u_AC4P3R(src->data(), 4 * f.width, d, out->step, {f.width, f.height});
            else if (e == Enc::Bgra420Hdtv)
                celiBGRToYCbCr420_709HDTV_8u_AC4P3R(src->data(), 4 * f.width, d, out->step, {f.width, f.height});
            else
                celiRGBToYCbCr420_8u_C3P3R(src->data(), 3 * f.width, d, out->step, {f.width, f.height});
        };
    };
}

// The BT.709 rows decode the same planes (the BT.601 encoder's output): the
// work does not depend on which matrix made them.
enum class Dec { P444, P420, To420P2, To422C2, P444Bgr709, P444Bgra709, P420Bgra709Hdtv };
bool is444(Dec d) { return d == Dec::P444 || d == Dec::P444Bgr709 || d == Dec::P444Bgra709; }
bool is420(Dec d) { return d == Dec::P420 || d == Dec::To420P2 || d == Dec::P420Bgra709Hdtv; }
Case planarMine(Dec d) {
    return [=](const Frame& f, const std::string& content) -> Call {
        const int cw = is444(d) ? 1 : 2, ch = is420(d) ? 2 : 1;
        auto in = planesOf(contentOf(content, f), f, cw, ch);
        auto dst = std::make_shared<Bytes>(size_t(px(f)) * 4);
        return [=] {
            const CelSize roi{f.width, f.height};
            switch (d) {
                case Dec::P444:
                    celiYCbCrToRGB_8u_P3C3R(in->src, f.width, dst->data(), 3 * f.width, roi);
                    break;
                case Dec::P420:
                    celiYCbCr420ToRGB_8u_P3C3R(in->src, in->step, dst->data(), 3 * f.width, roi);
                    break;
                case Dec::To420P2:
                    celiYCbCr420_8u_P3P2R(in->src, in->step, dst->data(), f.width, dst->data() + px(f), f.width, roi);
                    break;
                case Dec::To422C2:
                    celiYCbCr422_8u_P3C2R(in->src, in->step, dst->data(), 2 * f.width, roi);
                    break;
                case Dec::P444Bgr709:
                    celiYCbCrToBGR_709CSC_8u_P3C3R(in->src, f.width, dst->data(), 3 * f.width, roi);
                    break;
                case Dec::P444Bgra709:
                    celiYCbCrToBGR_709CSC_8u_P3C4R(in->src, f.width, dst->data(), 4 * f.width, roi, 255);
                    break;
                case Dec::P420Bgra709Hdtv:
                    celiYCbCr420ToBGR_709HDTV_8u_P3C4R(in->src, in->step, dst->data(), 4 * f.width, roi, 255);
                    break;
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
            Bytes m = mosaicOf(content, f, 8);
            cv::Mat(f.height, f.width, CV_8UC1, m.data()).copyTo(*src);
        } else {
            Bytes rgb = contentOf(content, f);
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
        auto src = std::make_shared<Bytes>(contentOf(content, f));
        auto dst = std::make_shared<Bytes>(px(f));
        return [=] { libyuv::RAWToJ400(src->data(), 3 * f.width, dst->data(), f.width, f.width, f.height); };
    };
}
Case libyuvEncode(Enc e) {
    return [=](const Frame& f, const std::string& content) -> Call {
        const Bytes rgb = contentOf(content, f);
        auto src = std::make_shared<Bytes>(e == Enc::Rgb420 ? rgb : bgraOf(rgb));
        auto out = std::make_shared<Bytes>(size_t(px(f)) * 3 / 2);
        return [=] {
            uint8_t* y = out->data();
            uint8_t* u = y + px(f);
            uint8_t* v = u + px(f) / 4;
            if (e == Enc::Bgra420)
                libyuv::ARGBToI420(src->data(), 4 * f.width, y, f.width, u, f.width / 2, v, f.width / 2, f.width,
                                   f.height);
            else if (e == Enc::Bgra420Hdtv)
                libyuv::ARGBToJ420(src->data(), 4 * f.width, y, f.width, u, f.width / 2, v, f.width / 2, f.width,
                                   f.height);
            else
                libyuv::RAWToI420(src->data(), 3 * f.width, y, f.width, u, f.width / 2, v, f.width / 2, f.width,
                                  f.height);
        };
    };
}
Case libyuvPlanar(Dec d) {
    return [=](const Frame& f, const std::string& content) -> Call {
        const int cw = is444(d) ? 1 : 2, ch = is420(d) ? 2 : 1;
        auto in = planesOf(contentOf(content, f), f, cw, ch);
        auto dst = std::make_shared<Bytes>(size_t(px(f)) * 4);
        return [=] {
            const uint8_t *y = in->src[0], *u = in->src[1], *v = in->src[2];
            const int sy = in->step[0], su = in->step[1], sv = in->step[2];
            uint8_t* o = dst->data();
            switch (d) {
                case Dec::P444:
                    libyuv::I444ToRAW(y, sy, u, su, v, sv, o, 3 * f.width, f.width, f.height);
                    break;
                case Dec::P420:
                    libyuv::I420ToRAW(y, sy, u, su, v, sv, o, 3 * f.width, f.width, f.height);
                    break;
                case Dec::To420P2:
                    libyuv::I420ToNV12(y, sy, u, su, v, sv, o, f.width, o + px(f), f.width, f.width, f.height);
                    break;
                case Dec::To422C2:
                    libyuv::I422ToYUY2(y, sy, u, su, v, sv, o, 2 * f.width, f.width, f.height);
                    break;
                case Dec::P444Bgr709:
                    libyuv::I444ToRGB24Matrix(y, sy, u, su, v, sv, o, 3 * f.width, &libyuv::kYuvH709Constants, f.width,
                                              f.height);
                    break;
                case Dec::P444Bgra709:
                    libyuv::H444ToARGB(y, sy, u, su, v, sv, o, 4 * f.width, f.width, f.height);
                    break;
                case Dec::P420Bgra709Hdtv:
                    libyuv::H420ToARGB(y, sy, u, su, v, sv, o, 4 * f.width, f.width, f.height);
                    break;
            }
        };
    };
}
#endif

std::vector<Row> rows() {
    std::vector<Row> r;
    const auto add = [&r](std::string op, Case mine, double srcBytes, std::vector<Peer> peers) {
        r.push_back({std::move(op), std::move(mine), srcBytes, std::move(peers)});
    };
    // cvtColor(code) beside `op`, on the content converted first by `pre`
#define OCV_ROW(op, mine, srcBytes, what, code, pre, f32) \
    add(op, mine, srcBytes, IF_OPENCV(Peer{openCvName(what), openCv(code, pre, f32), false}))
    add("celiCFAToRGB_8u_C1C3R", bayerMine(), 1,
        IF_OPENCV(Peer{openCvName("BayerBG2RGB"), openCv(cv::COLOR_BayerBG2RGB, -1, false, true), false}));
    OCV_ROW("celiXYZToRGB_32f_C3R", interleaved<float>(celiXYZToRGB_32f_C3R, 3, xyzFloats), 12, "XYZ2RGB_32f",
            cv::COLOR_XYZ2RGB, cv::COLOR_RGB2XYZ, true);
    OCV_ROW("celiRGBToXYZ_32f_C3R", interleaved<float>(celiRGBToXYZ_32f_C3R, 3, floats), 12, "RGB2XYZ_32f",
            cv::COLOR_RGB2XYZ, -1, true);
    OCV_ROW("celiRGBToXYZ_8u_C3R", interleaved<uint8_t>(celiRGBToXYZ_8u_C3R, 3, asIs), 3, "RGB2XYZ_8u",
            cv::COLOR_RGB2XYZ, -1, false);
    OCV_ROW("celiXYZToRGB_8u_C3R", interleaved<uint8_t>(celiXYZToRGB_8u_C3R, 3, through<celiRGBToXYZ_8u_C3R>), 3,
            "XYZ2RGB_8u", cv::COLOR_XYZ2RGB, cv::COLOR_RGB2XYZ, false);
    OCV_ROW("celiRGBToHLS_8u_C3R", interleaved<uint8_t>(celiRGBToHLS_8u_C3R, 3, asIs), 3, "RGB2HLS_8u",
            cv::COLOR_RGB2HLS, -1, false);
    OCV_ROW("celiHLSToRGB_8u_C3R", interleaved<uint8_t>(celiHLSToRGB_8u_C3R, 3, through<celiRGBToHLS_8u_C3R>), 3,
            "HLS2RGB_8u", cv::COLOR_HLS2RGB, cv::COLOR_RGB2HLS, false);
    OCV_ROW("celiRGBToHSV_8u_C3R", interleaved<uint8_t>(celiRGBToHSV_8u_C3R, 3, asIs), 3, "RGB2HSV_8u",
            cv::COLOR_RGB2HSV, -1, false);
    OCV_ROW("celiHSVToRGB_8u_C3R", interleaved<uint8_t>(celiHSVToRGB_8u_C3R, 3, through<celiRGBToHSV_8u_C3R>), 3,
            "HSV2RGB_8u", cv::COLOR_HSV2RGB, cv::COLOR_RGB2HSV, false);
    OCV_ROW("celiRGBToLUV_8u_C3R", interleaved<uint8_t>(celiRGBToLUV_8u_C3R, 3, asIs), 3, "RGB2Luv_8u",
            cv::COLOR_RGB2Luv, -1, false);
    OCV_ROW("celiLUVToRGB_8u_C3R", interleaved<uint8_t>(celiLUVToRGB_8u_C3R, 3, through<celiRGBToLUV_8u_C3R>), 3,
            "Luv2RGB_8u", cv::COLOR_Luv2RGB, cv::COLOR_RGB2Luv, false);
    OCV_ROW("celiRGBToLab_8u_C3R", interleaved<uint8_t>(celiRGBToLab_8u_C3R, 3, asIs), 3, "RGB2Lab_8u",
            cv::COLOR_RGB2Lab, -1, false);
    OCV_ROW("celiLabToRGB_8u_C3R", interleaved<uint8_t>(celiLabToRGB_8u_C3R, 3, through<celiRGBToLab_8u_C3R>), 3,
            "Lab2RGB_8u", cv::COLOR_Lab2RGB, cv::COLOR_RGB2Lab, false);
    OCV_ROW("celiRGBToYCbCr_8u_C3R", interleaved<uint8_t>(celiRGBToYCbCr_8u_C3R, 3, asIs), 3, "RGB2YCrCb_8u",
            cv::COLOR_RGB2YCrCb, -1, false);
    OCV_ROW("celiYCbCrToRGB_8u_C3R", interleaved<uint8_t>(celiYCbCrToRGB_8u_C3R, 3, through<celiRGBToYCbCr_8u_C3R>), 3,
            "YCrCb2RGB_8u", cv::COLOR_YCrCb2RGB, cv::COLOR_RGB2YCrCb, false);
    OCV_ROW("celiRGBToGray_32f_C3C1R", interleaved<float>(celiRGBToGray_32f_C3C1R, 1, floats), 12, "RGB2GRAY_32f",
            cv::COLOR_RGB2GRAY, -1, true);
#undef OCV_ROW
    add("celiRGBToGray_8u_C3C1R", interleaved<uint8_t>(celiRGBToGray_8u_C3C1R, 1, asIs), 3,
        IF_LIBYUV(libyuvPeer("RAWToJ400", libyuvGray())));
    add("celiBGRToYCbCr420_8u_AC4P3R", encode420Mine(Enc::Bgra420), 4,
        IF_LIBYUV(libyuvPeer("ARGBToI420", libyuvEncode(Enc::Bgra420))));
    add("celiRGBToYCbCr420_8u_C3P3R", encode420Mine(Enc::Rgb420), 3,
        IF_LIBYUV(libyuvPeer("RAWToI420", libyuvEncode(Enc::Rgb420))));
    add("celiYCbCrToRGB_8u_P3C3R", planarMine(Dec::P444), 3,
        IF_LIBYUV(libyuvPeer("I444ToRAW", libyuvPlanar(Dec::P444))));
    add("celiYCbCr420ToRGB_8u_P3C3R", planarMine(Dec::P420), 1.5,
        IF_LIBYUV(libyuvPeer("I420ToRAW", libyuvPlanar(Dec::P420))));
    add("celiYCbCr420_8u_P3P2R", planarMine(Dec::To420P2), 1.5,
        IF_LIBYUV(libyuvPeer("I420ToNV12", libyuvPlanar(Dec::To420P2))));
    add("celiYCbCr422_8u_P3C2R", planarMine(Dec::To422C2), 2,
        IF_LIBYUV(libyuvPeer("I422ToYUY2", libyuvPlanar(Dec::To422C2))));
    // BT.709 beside libyuv's BT.709 decoders and its full-range BT.601
    // encoder of the same shape (libyuv has no BT.709 encoder)
    add("celiBGRToYCbCr420_709HDTV_8u_AC4P3R", encode420Mine(Enc::Bgra420Hdtv), 4,
        IF_LIBYUV(libyuvPeer("ARGBToJ420", libyuvEncode(Enc::Bgra420Hdtv))));
    add("celiYCbCrToBGR_709CSC_8u_P3C3R", planarMine(Dec::P444Bgr709), 3,
        IF_LIBYUV(libyuvPeer("I444ToRGB24Matrix709", libyuvPlanar(Dec::P444Bgr709))));
    add("celiYCbCrToBGR_709CSC_8u_P3C4R", planarMine(Dec::P444Bgra709), 3,
        IF_LIBYUV(libyuvPeer("H444ToARGB", libyuvPlanar(Dec::P444Bgra709))));
    add("celiYCbCr420ToBGR_709HDTV_8u_P3C4R", planarMine(Dec::P420Bgra709Hdtv), 1.5,
        IF_LIBYUV(libyuvPeer("H420ToARGB", libyuvPlanar(Dec::P420Bgra709Hdtv))));
    return r;
}

void run(benchmark::State& state, const Frame& f, const std::string& content, const Case& make,
         [[maybe_unused]] bool libyuv) {
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

// A memcpy of `bytes` bytes a pixel, named "memcpy/<bytes>B/any/1920x1080".
std::string memcpyName(double bytes) {
    char tag[32];
    std::snprintf(tag, sizeof tag, "%gB", bytes);
    return tag;
}
void registerMemcpy(double bytes) {
    static std::set<double> done;
    if (!done.insert(bytes).second) return;
    benchmark::RegisterBenchmark(
        ("memcpy/" + memcpyName(bytes) + "/any/1920x1080").c_str(), [bytes](benchmark::State& st) {
            const Frame f = celbench::kHD;
            const size_t n = size_t(px(f) * bytes);
            // the gradient's bytes, repeated to the size
            const Bytes& c = contentOf("gradient", f);
            Bytes src(n), dst(n);
            for (size_t i = 0; i < n; i += c.size()) std::memcpy(&src[i], c.data(), std::min(c.size(), n - i));
            for (auto _ : st) {
                std::memcpy(dst.data(), src.data(), n);
                benchmark::ClobberMemory();
            }
            st.counters["Mpix/s"] =
                benchmark::Counter(double(px(f)) * double(st.iterations()) / 1e6, benchmark::Counter::kIsRate);
        });
}

const int registered = [] {
    for (const Row& r : rows()) registerRow(r);
    return 0;
}();

}  // namespace

void registerRow(const Row& row) {
    registerMemcpy(row.srcBytes);
    for (const std::string& content : celbench::contentNames()) {
        const Case mine = row.mine;
        const double bytes = row.srcBytes;
        celbench::registerOnContent(row.op + "/mine", content,
                                    [mine, bytes](benchmark::State& st, Frame f, const std::string& c) {
                                        run(st, f, c, mine, false);
                                        st.counters["srcB"] = bytes;
                                    });
        for (const Peer& p : row.peers) {
            const Case peer = p.make;
            const bool yuv = p.libyuv;
            celbench::registerOnContent(
                row.op + "/" + p.name, content,
                [peer, yuv](benchmark::State& st, Frame f, const std::string& c) { run(st, f, c, peer, yuv); });
        }
    }
}

}  // namespace celtable
