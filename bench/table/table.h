// Shared pieces of the speed table (bench_table): the row type and its
// registration, the sources made from the realistic contents, and the
// OpenCV case that most rows use.  The rows themselves live in table.cpp
// and rows_*.cpp, one file per group of families.
#pragma once

#include <benchmark/benchmark.h>

#include <cstring>
#include <functional>
#include <map>
#include <utility>
#include <memory>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"
#include "common/mosaic.h"

namespace celtable {

using celbench::Frame;
using Bytes = std::vector<uint8_t>;

// A case prepares its buffers for a frame and a content and returns the
// call to time; the call owns what it touches.
using Call = std::function<void()>;
using Case = std::function<Call(const Frame&, const std::string&)>;

struct Peer {
    std::string name;  // "peer_<library>_<function>[_sse42|_native]"
    Case make;
    bool libyuv;  // limit libyuv to SSE4.2 around the run
};

// One operation of the library beside its peers (none: the memcpy alone).
// `srcBytes` is what the operation reads a pixel: the memcpy of the row
// copies as many bytes.
struct Row {
    std::string op;
    Case mine;
    double srcBytes;
    std::vector<Peer> peers;
};

// Registers the row's benchmarks on every content (defined in table.cpp).
void registerRow(const Row& row);

inline int px(const Frame& f) { return f.width * f.height; }

// ---- Sources made from the content -----------------------------------------------------
using celbench::bgraOf;
using celbench::packed422Of;

// Up to three planes with their steps in bytes.
struct Planes {
    Bytes p[3];
    const uint8_t* src[3] = {};
    int step[3] = {};
};

// Planes Y, Cb, Cr of the content at 4:4:4 (cw = ch = 1), 4:2:2 (cw = 2) or
// 4:2:0 (cw = ch = 2) (common/content.h).
inline std::shared_ptr<Planes> planesOf(const Bytes& rgb, const Frame& f, int cw, int ch) {
    auto p = std::make_shared<Planes>();
    celbench::YCbCrPlanes q = celbench::ycbcrPlanesOf(rgb, f, cw, ch);
    p->p[0] = std::move(q.y), p->p[1] = std::move(q.cb), p->p[2] = std::move(q.cr);
    for (int k = 0; k < 3; ++k) p->src[k] = p->p[k].data(), p->step[k] = k ? q.chromaWidth : f.width;
    return p;
}

// The content at 4:2:0 with interleaved chroma (Y plane, then CbCr pairs).
inline std::shared_ptr<Planes> nv12Of(const Bytes& rgb, const Frame& f) {
    auto p = std::make_shared<Planes>();
    celbench::YCbCrPlanes q = celbench::ycbcrPlanesOf(rgb, f, 2, 2);
    p->p[0] = std::move(q.y), p->p[1] = std::move(q.cbcr);
    p->src[0] = p->p[0].data(), p->src[1] = p->p[1].data();
    p->step[0] = p->step[1] = f.width;
    return p;
}

// Destination planes for a frame: luma at full size, chroma at 1/cw x 1/ch
// (cw = 0: luma alone), `sampleBytes` bytes a sample.
struct Out {
    Bytes p[3];
    uint8_t* d[3] = {};
    int step[3] = {};
};
inline std::shared_ptr<Out> outOf(const Frame& f, int cw, int ch, int sampleBytes = 1) {
    auto o = std::make_shared<Out>();
    for (int k = 0; k < (cw ? 3 : 1); ++k) {
        const int w = (k ? f.width / cw : f.width) * sampleBytes, h = k ? f.height / ch : f.height;
        o->p[k].resize(size_t(w) * h);
        o->d[k] = o->p[k].data();
        o->step[k] = w;
    }
    return o;
}

// 8-bit samples as 16-bit (v * 257) or float (v / 255) samples, in bytes.
inline Bytes widened16(const Bytes& b) {
    Bytes out(b.size() * 2);
    for (size_t i = 0; i < b.size(); ++i) {
        const uint16_t v = uint16_t(b[i] * 257);
        std::memcpy(&out[2 * i], &v, 2);
    }
    return out;
}
inline Bytes asFloats(const Bytes& b) {
    Bytes out(b.size() * 4);
    for (size_t i = 0; i < b.size(); ++i) {
        const float v = b[i] / 255.0f;
        std::memcpy(&out[4 * i], &v, 4);
    }
    return out;
}

// The content of a frame, made once in a run: every case's setup reads it.
inline const Bytes& contentOf(const std::string& which, const Frame& f) {
    static std::map<std::pair<std::string, std::pair<int, int>>, Bytes> cache;
    Bytes& v = cache[{which, {f.width, f.height}}];
    if (v.empty()) v = celbench::contentRGB(which, f);
    return v;
}

// The Bayer mosaic (BGGR) of the content at 8 or 16 bits a sample, made once
// in a run.
inline const Bytes& mosaicOf(const std::string& content, const Frame& f, int bits) {
    static std::map<std::pair<std::string, int>, Bytes> cache;
    Bytes& v = cache[{content + "/" + std::to_string(f.width) + "x" + std::to_string(f.height), bits}];
    if (!v.empty()) return v;
    const auto m = celbench::makeMosaic(
        f, content == "photo" ? celbench::MosaicContent::Photo : celbench::MosaicContent::Gradient, bits);
    if (bits == 8) {
        v.assign(m.begin(), m.end());
    } else {
        v.resize(m.size() * 2);
        std::memcpy(v.data(), m.data(), v.size());
    }
    return v;
}

// A case on one source buffer made of the content and one destination of
// `dstBytes` bytes a pixel: `call(src, dst, frame)`.
template <class Prep, class Fn>
Case simple(Prep prep, double dstBytes, Fn call) {
    return [=](const Frame& f, const std::string& content) -> Call {
        auto src = std::make_shared<Bytes>(prep(contentOf(content, f), f));
        auto dst = std::make_shared<Bytes>(size_t(px(f) * dstBytes));
        return [=] { call(src->data(), dst->data(), f); };
    };
}

// Common preparations for simple(): the content as it is, as BGRA, as 16-bit
// or float samples, at 4:2:2 interleaved.
inline Bytes rgbAsIs(const Bytes& rgb, const Frame&) { return rgb; }
inline Bytes rgbToBgra(const Bytes& rgb, const Frame&) { return bgraOf(rgb); }
inline Bytes rgb16(const Bytes& rgb, const Frame&) { return widened16(rgb); }
inline Bytes rgbFloat(const Bytes& rgb, const Frame&) { return asFloats(rgb); }
inline Bytes yuy2(const Bytes& rgb, const Frame& f) { return packed422Of(rgb, f, false); }
inline Bytes uyvy(const Bytes& rgb, const Frame& f) { return packed422Of(rgb, f, true); }

inline constexpr CelSize roiOf(const Frame& f) { return {f.width, f.height}; }

// A case reading planes made of the content at 1/cw x 1/ch chroma (cw = 0:
// 4:2:0 with interleaved chroma) into a destination of `dstBytes` a pixel.
template <class Fn>
Case planar(int cw, int ch, double dstBytes, Fn call) {
    return [=](const Frame& f, const std::string& content) -> Call {
        const Bytes rgb = contentOf(content, f);
        auto in = cw ? planesOf(rgb, f, cw, ch) : nv12Of(rgb, f);
        auto dst = std::make_shared<Bytes>(size_t(px(f) * dstBytes));
        return [=] { call(*in, dst->data(), f); };
    };
}

// A case writing planes at 1/cw x 1/ch chroma from a source made by `prep`.
template <class Prep, class Fn>
Case toPlanes(Prep prep, int cw, int ch, Fn call) {
    return [=](const Frame& f, const std::string& content) -> Call {
        auto src = std::make_shared<Bytes>(prep(contentOf(content, f), f));
        auto out = outOf(f, cw, ch);
        return [=] { call(src->data(), *out, f); };
    };
}

// A case from planes to planes.
template <class Fn>
Case planesToPlanes(int scw, int sch, int dcw, int dch, Fn call) {
    return [=](const Frame& f, const std::string& content) -> Call {
        auto in = planesOf(contentOf(content, f), f, scw, sch);
        auto out = outOf(f, dcw, dch);
        return [=] { call(*in, *out, f); };
    };
}

// ---- OpenCV -------------------------------------------------------------------------------
#ifdef HAVE_OPENCV
// "peer_OpenCV_<what>_sse42" when OpenCV runs without AVX (as
// tools/bench_table.sh asks it to), "_native" otherwise.
inline std::string openCvName(const std::string& what) {
    return "peer_OpenCV_" + what + (cv::checkHardwareSupport(CV_CPU_AVX) ? "_native" : "_sse42");
}

// The content as a Mat of the given depth (CV_8U, CV_16U by v * 257, CV_32F
// by v / 255), three channels.
inline cv::Mat contentMat(const std::string& content, const Frame& f, int depth) {
    Bytes rgb = contentOf(content, f);
    cv::Mat m8(f.height, f.width, CV_8UC3, rgb.data()), out;
    m8.convertTo(out, CV_MAKETYPE(depth, 3), depth == CV_32F ? 1.0 / 255.0 : depth == CV_16U ? 257.0 : 1.0);
    return out;
}

// A case that times `fn(src, dst)` on a source made by `prep` from the
// content; OpenCV on one thread.
template <class Prep, class Fn>
Peer openCvPeer(const std::string& what, Prep prep, Fn fn) {
    return {openCvName(what),
            [=](const Frame& f, const std::string& content) -> Call {
                cv::setNumThreads(1);
                auto src = std::make_shared<cv::Mat>(prep(content, f)), dst = std::make_shared<cv::Mat>();
                fn(*src, *dst);
                return [=] { fn(*src, *dst); };
            },
            false};
}

// cvtColor(code) on the content at `depth`, converted first by `pre` (an
// OpenCV code, or -1 for the content itself).
inline Peer cvtPeer(const std::string& what, int code, int pre, int depth) {
    return openCvPeer(
        what,
        [=](const std::string& content, const Frame& f) {
            cv::Mat m = contentMat(content, f, depth);
            if (pre >= 0) cv::cvtColor(m.clone(), m, pre);
            return m;
        },
        [code](const cv::Mat& s, cv::Mat& d) { cv::cvtColor(s, d, code); });
}
// cvtColor(code) on the content packed at 4:2:2 (uyvy or yuy2 order).
inline Peer openCv422(const std::string& what, int code, bool isUyvy) {
    return openCvPeer(
        what,
        [=](const std::string& content, const Frame& f) {
            Bytes b = packed422Of(contentOf(content, f), f, isUyvy);
            return cv::Mat(f.height, f.width, CV_8UC2, b.data()).clone();
        },
        [code](const cv::Mat& s, cv::Mat& d) { cv::cvtColor(s, d, code); });
}
#endif

#ifdef HAVE_LIBYUV
// A libyuv case, limited to SSE4.2 while it runs (run() in table.cpp).
inline Peer libyuvPeer(const std::string& fn, Case make) {
    return {"peer_libyuv_" + fn + "_sse42", std::move(make), true};
}
#endif

// ---- Peer lists whose entries are compiled only with their library ------------------------
#ifdef HAVE_OPENCV
#define IF_OPENCV(...) \
    std::vector<Peer> { __VA_ARGS__ }
#else
#define IF_OPENCV(...) \
    std::vector<Peer> {}
#endif
#ifdef HAVE_LIBYUV
#define IF_LIBYUV(...) \
    std::vector<Peer> { __VA_ARGS__ }
#else
#define IF_LIBYUV(...) \
    std::vector<Peer> {}
#endif
inline std::vector<Peer> join(std::vector<Peer> a, const std::vector<Peer>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// One source buffer to one destination, `sb` and `db` bytes a pixel: the
// library's plain and alpha-taking forms, and libyuv's shape.
template <class Prep>
Case oneToOne(Prep prep, int sb, int db, CelStatus (*fn)(const uint8_t*, int, uint8_t*, int, CelSize)) {
    return simple(prep, db, [=](const uint8_t* s, uint8_t* d, const Frame& f) {
        fn(s, sb * f.width, d, db * f.width, roiOf(f));
    });
}
template <class Prep>
Case oneToOne(Prep prep, int sb, int db, CelStatus (*fn)(const uint8_t*, int, uint8_t*, int, CelSize, uint8_t)) {
    return simple(prep, db, [=](const uint8_t* s, uint8_t* d, const Frame& f) {
        fn(s, sb * f.width, d, db * f.width, roiOf(f), 255);
    });
}
#ifdef HAVE_LIBYUV
template <class Prep>
Peer libyuvOneToOne(const std::string& name, Prep prep, int sb, int db,
                    int (*fn)(const uint8_t*, int, uint8_t*, int, int, int)) {
    return libyuvPeer(name, simple(prep, db, [=](const uint8_t* s, uint8_t* d, const Frame& f) {
                          fn(s, sb * f.width, d, db * f.width, f.width, f.height);
                      }));
}
#endif

}  // namespace celtable
