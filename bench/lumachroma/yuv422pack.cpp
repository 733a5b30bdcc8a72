// 4:2:2 YCbCr <-> RGB at 1920x1080 on the photograph and on noisy
// gradients: packed YUY2 (Y0 Cb Y1 Cr) and UYVY (Cb Y0 Cr Y1) to BGRA and
// RGB, BGRA to YUY2 and UYVY, planar 4:2:2 to BGR; beside libyuv (YUY2ToARGB,
// UYVYToARGB, ARGBToYUY2, ARGBToUYVY, I422ToARGB and I422ToRGB24, with its
// default SIMD and limited to SSE4.2), OpenCV's COLOR_YUV2RGB_YUY2 and
// _UYVY (single-threaded) and a memcpy of the source bytes, all in one run.
// The BT.709 full-scale forms (BGR and BGRA to UYVY, UYVY to BGR and BGRA)
// have no peer of their matrix: libyuv's BT.601 ARGBToUYVY and UYVYToARGB
// of the same layouts stand beside them.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/cpu_id.h>
#endif

namespace {

using celbench::Frame;

// The content in the layouts the conversions read.
struct Content {
    std::vector<uint8_t> rgb, bgr, bgra, yuy2, uyvy, uyvyFull, y, cb, cr;
    Content(const std::string& which, const Frame& f)
        : rgb(celbench::contentRGB(which, f)), bgr(rgb.size()), bgra(rgb.size() / 3 * 4), yuy2(rgb.size() / 3 * 2),
          uyvy(yuy2.size()), uyvyFull(yuy2.size()), y(rgb.size() / 3), cb(y.size() / 2), cr(cb.size()) {
        for (size_t i = 0; i < rgb.size() / 3; ++i) {
            bgra[4 * i] = rgb[3 * i + 2], bgra[4 * i + 1] = rgb[3 * i + 1], bgra[4 * i + 2] = rgb[3 * i], bgra[4 * i + 3] = 255;
            for (int k = 0; k < 3; ++k) bgr[3 * i + k] = bgra[4 * i + k];
        }
        const CelSize roi{f.width, f.height};
        celiBGRToCbYCr422_709HDTV_8u_AC4C2R(bgra.data(), 4 * f.width, uyvyFull.data(), 2 * f.width, roi);
        celiRGBToYCbCr422_8u_C3C2R(rgb.data(), 3 * f.width, yuy2.data(), 2 * f.width, roi);
        celiRGBToCbYCr422_8u_C3C2R(rgb.data(), 3 * f.width, uyvy.data(), 2 * f.width, roi);
        uint8_t* p[3] = {y.data(), cb.data(), cr.data()};
        int steps[3] = {f.width, f.width / 2, f.width / 2};
        celiRGBToYCbCr422_8u_C3P3R(rgb.data(), 3 * f.width, p, steps, roi);
    }
};

enum class Op {
    Yuy2ToBgra, Yuy2ToRgba, UyvyToBgra, Yuy2ToRgb, UyvyToRgb, YvyuToBgra, BgraToYuy2, BgraToUyvy, I422ToBgr,
    // BT.709 full scale
    BgrToUyvyFull, BgraToUyvyFull, UyvyFullToBgr, UyvyFullToBgra,
};

// Bytes a frame reads of its source, and writes.
size_t srcBytes(Op op, const Frame& f) {
    const size_t px = size_t(f.width) * f.height;
    return op == Op::BgraToYuy2 || op == Op::BgraToUyvy || op == Op::BgraToUyvyFull ? 4 * px
           : op == Op::BgrToUyvyFull                                                ? 3 * px
                                                                                    : 2 * px;
}
size_t dstBytes(Op op, const Frame& f) {
    const size_t px = size_t(f.width) * f.height;
    switch (op) {
        case Op::Yuy2ToRgb: case Op::UyvyToRgb: case Op::I422ToBgr: case Op::UyvyFullToBgr: return 3 * px;
        case Op::BgraToYuy2: case Op::BgraToUyvy: case Op::BgrToUyvyFull: case Op::BgraToUyvyFull: return 2 * px;
        default: return 4 * px;
    }
}

void BM_Celcc(benchmark::State& state, Frame f, Op op, const std::string& which) {
    const Content c(which, f);
    std::vector<uint8_t> dst(dstBytes(op, f));
    const CelSize roi{f.width, f.height};
    const int w = f.width;
    const uint8_t* planes[3] = {c.y.data(), c.cb.data(), c.cr.data()};
    int steps[3] = {w, w / 2, w / 2};
    for (auto _ : state) {
        switch (op) {
            case Op::Yuy2ToBgra: celiYCbCr422ToBGR_8u_C2C4R(c.yuy2.data(), 2 * w, dst.data(), 4 * w, roi, 255); break;
            case Op::Yuy2ToRgba: celiYCbCr422ToRGB_8u_C2C4R(c.yuy2.data(), 2 * w, dst.data(), 4 * w, roi, 255); break;
            case Op::UyvyToBgra: celiCbYCr422ToBGR_8u_C2C4R(c.uyvy.data(), 2 * w, dst.data(), 4 * w, roi, 255); break;
            case Op::Yuy2ToRgb: celiYCbCr422ToRGB_8u_C2C3R(c.yuy2.data(), 2 * w, dst.data(), 3 * w, roi); break;
            case Op::UyvyToRgb: celiCbYCr422ToRGB_8u_C2C3R(c.uyvy.data(), 2 * w, dst.data(), 3 * w, roi); break;
            case Op::YvyuToBgra: celiYCrCb422ToBGR_8u_C2C4R(c.yuy2.data(), 2 * w, dst.data(), 4 * w, roi, 255); break;
            case Op::BgraToYuy2: celiBGRToYCbCr422_8u_AC4C2R(c.bgra.data(), 4 * w, dst.data(), 2 * w, roi); break;
            case Op::BgraToUyvy: celiBGRToCbYCr422_8u_AC4C2R(c.bgra.data(), 4 * w, dst.data(), 2 * w, roi); break;
            case Op::I422ToBgr: celiYCbCr422ToBGR_8u_P3C3R(planes, steps, dst.data(), 3 * w, roi); break;
            case Op::BgrToUyvyFull:
                celiBGRToCbYCr422_709HDTV_8u_C3C2R(c.bgr.data(), 3 * w, dst.data(), 2 * w, roi);
                break;
            case Op::BgraToUyvyFull:
                celiBGRToCbYCr422_709HDTV_8u_AC4C2R(c.bgra.data(), 4 * w, dst.data(), 2 * w, roi);
                break;
            case Op::UyvyFullToBgr:
                celiCbYCr422ToBGR_709HDTV_8u_C2C3R(c.uyvyFull.data(), 2 * w, dst.data(), 3 * w, roi);
                break;
            case Op::UyvyFullToBgra:
                celiCbYCr422ToBGR_709HDTV_8u_C2C4R(c.uyvyFull.data(), 2 * w, dst.data(), 4 * w, roi, 255);
                break;
        }
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, srcBytes(op, f) + dst.size());
}

#ifdef HAVE_LIBYUV
void maskLibyuv(bool sse42Only) {
    libyuv::MaskCpuFlags(sse42Only ? (libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 |
                                      libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42)
                                   : -1);
}

enum class Peer { YUY2ToARGB, UYVYToARGB, ARGBToYUY2, ARGBToUYVY, I422ToARGB, I422ToRGB24 };

void BM_Libyuv(benchmark::State& state, Frame f, Peer p, bool sse42Only, const std::string& which) {
    const Content c(which, f);
    const int w = f.width, h = f.height;
    std::vector<uint8_t> dst(size_t(w) * h * 4);
    maskLibyuv(sse42Only);
    size_t bytes = 0;
    for (auto _ : state) {
        switch (p) {
            case Peer::YUY2ToARGB: libyuv::YUY2ToARGB(c.yuy2.data(), 2 * w, dst.data(), 4 * w, w, h); bytes = 6; break;
            case Peer::UYVYToARGB: libyuv::UYVYToARGB(c.uyvy.data(), 2 * w, dst.data(), 4 * w, w, h); bytes = 6; break;
            case Peer::ARGBToYUY2: libyuv::ARGBToYUY2(c.bgra.data(), 4 * w, dst.data(), 2 * w, w, h); bytes = 6; break;
            case Peer::ARGBToUYVY: libyuv::ARGBToUYVY(c.bgra.data(), 4 * w, dst.data(), 2 * w, w, h); bytes = 6; break;
            case Peer::I422ToARGB:
                libyuv::I422ToARGB(c.y.data(), w, c.cb.data(), w / 2, c.cr.data(), w / 2, dst.data(), 4 * w, w, h);
                bytes = 6;
                break;
            case Peer::I422ToRGB24:
                libyuv::I422ToRGB24(c.y.data(), w, c.cb.data(), w / 2, c.cr.data(), w / 2, dst.data(), 3 * w, w, h);
                bytes = 5;
                break;
        }
        benchmark::ClobberMemory();
    }
    libyuv::MaskCpuFlags(-1);
    celbench::setCounters(state, f, bytes * size_t(w) * h);
}
#endif

#ifdef HAVE_OPENCV
void BM_OpenCv(benchmark::State& state, Frame f, int code, bool uyvy, const std::string& which) {
    cv::setNumThreads(1);
    const Content c(which, f);
    cv::Mat src(f.height, f.width, CV_8UC2, const_cast<uint8_t*>(uyvy ? c.uyvy.data() : c.yuy2.data())), dst;
    for (auto _ : state) {
        cv::cvtColor(src, dst, code);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, size_t(f.width) * f.height * 5);
}
#endif

void registerAll() {
    for (const std::string& content : celbench::contentNames()) {
        const auto reg = [&](const std::string& name, Op op) {
            celbench::registerOnContent(name, content, [op](benchmark::State& st, Frame f, const std::string& c) {
                BM_Celcc(st, f, op, c);
            });
        };
        reg("celiYCbCr422ToBGR_8u_C2C4R", Op::Yuy2ToBgra);
        reg("celiYCbCr422ToRGB_8u_C2C4R", Op::Yuy2ToRgba);
        reg("celiYCrCb422ToBGR_8u_C2C4R", Op::YvyuToBgra);
        reg("celiCbYCr422ToBGR_8u_C2C4R", Op::UyvyToBgra);
        reg("celiYCbCr422ToRGB_8u_C2C3R", Op::Yuy2ToRgb);
        reg("celiCbYCr422ToRGB_8u_C2C3R", Op::UyvyToRgb);
        reg("celiBGRToYCbCr422_8u_AC4C2R", Op::BgraToYuy2);
        reg("celiBGRToCbYCr422_8u_AC4C2R", Op::BgraToUyvy);
        reg("celiYCbCr422ToBGR_8u_P3C3R", Op::I422ToBgr);
        reg("celiBGRToCbYCr422_709HDTV_8u_C3C2R", Op::BgrToUyvyFull);
        reg("celiBGRToCbYCr422_709HDTV_8u_AC4C2R", Op::BgraToUyvyFull);
        reg("celiCbYCr422ToBGR_709HDTV_8u_C2C3R", Op::UyvyFullToBgr);
        reg("celiCbYCr422ToBGR_709HDTV_8u_C2C4R", Op::UyvyFullToBgra);
#ifdef HAVE_LIBYUV
        const char* names[] = {"YUY2ToARGB", "UYVYToARGB", "ARGBToYUY2", "ARGBToUYVY", "I422ToARGB", "I422ToRGB24"};
        for (int p = 0; p < 6; ++p)
            for (bool sse : {true, false})
                celbench::registerOnContent(std::string("peer_libyuv_") + names[p] + (sse ? "_sse42" : "_default"), content,
                                            [p, sse](benchmark::State& st, Frame f, const std::string& c) {
                                                BM_Libyuv(st, f, Peer(p), sse, c);
                                            });
#endif
#ifdef HAVE_OPENCV
        celbench::registerOnContent("peer_OpenCV_YUV2RGB_YUY2", content, [](benchmark::State& st, Frame f, const std::string& c) {
            BM_OpenCv(st, f, cv::COLOR_YUV2RGB_YUY2, false, c);
        });
        celbench::registerOnContent("peer_OpenCV_YUV2RGB_UYVY", content, [](benchmark::State& st, Frame f, const std::string& c) {
            BM_OpenCv(st, f, cv::COLOR_YUV2RGB_UYVY, true, c);
        });
#endif
    }
    celbench::registerMemcpy("memcpy_YUY2_src", 2, {celbench::kHD});
    celbench::registerMemcpy("memcpy_BGRA_src", 4, {celbench::kHD});
    celbench::registerMemcpy("memcpy_BGR_src", 3, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
