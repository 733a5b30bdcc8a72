// BT.709 forms at 1920x1080 on the photograph and on noisy gradients: the
// 4:2:0 encoders from BGR and BGRA, the 4:2:0 and 4:4:4 decoders to BGR and
// BGRA, beside libyuv (default SIMD and limited to SSE4.2) and a memcpy of
// the bytes each reads.  libyuv has BT.709 decoders (H420ToRGB24,
// H420ToARGB, H444ToARGB, I444ToRGB24Matrix with its BT.709 constants) but
// no BT.709 encoder: its BT.601 (RGB24ToI420, ARGBToI420) and full-range
// BT.601 (RGB24ToJ420, ARGBToJ420) encoders of the same shape stand beside
// ours.  The full-scale decoder has no peer of its range; H420ToARGB is the
// studio-range form of the same shape.
#include <benchmark/benchmark.h>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/cpu_id.h>
#endif

namespace {

using celbench::Frame;

// The content as B, G, R (bpp 3) or B, G, R, A (bpp 4).
std::vector<uint8_t> bgrContent(const std::string& content, const Frame& f, int bpp) {
    const auto rgb = celbench::contentRGB(content, f);
    std::vector<uint8_t> out(size_t(f.width) * f.height * bpp, 255);
    for (size_t i = 0; i < size_t(f.width) * f.height; ++i)
        for (int c = 0; c < 3; ++c) out[i * bpp + c] = rgb[i * 3 + 2 - c];
    return out;
}

struct Planes {
    std::vector<uint8_t> y, u, v;
    int cw;
    Planes(const Frame& f, bool sub) : y(size_t(f.width) * f.height), cw(sub ? f.width / 2 : f.width) {
        u.resize(size_t(cw) * (sub ? f.height / 2 : f.height));
        v.resize(u.size());
    }
    uint8_t* p[3] = {};
    int steps[3] = {};
    uint8_t** ptrs() {
        p[0] = y.data(), p[1] = u.data(), p[2] = v.data();
        return p;
    }
    int* stepArr(int w) {
        steps[0] = w, steps[1] = steps[2] = cw;
        return steps;
    }
    size_t bytes() const { return y.size() + 2 * u.size(); }
};

using Enc420 = CelStatus (*)(const uint8_t*, int, uint8_t* [3], int[3], CelSize);

void BM_Encode(benchmark::State& state, Frame f, const std::string& content, Enc420 fn, int bpp) {
    const auto src = bgrContent(content, f, bpp);
    Planes d(f, true);
    for (auto _ : state) {
        fn(src.data(), bpp * f.width, d.ptrs(), d.stepArr(f.width), {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + d.bytes());
}

void BM_EncodeP2(benchmark::State& state, Frame f, const std::string& content) {
    const auto src = bgrContent(content, f, 3);
    std::vector<uint8_t> y(size_t(f.width) * f.height), uv(y.size() / 2);
    for (auto _ : state) {
        celiBGRToYCbCr420_709CSC_8u_C3P2R(src.data(), 3 * f.width, y.data(), f.width, uv.data(), f.width,
                                          {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + y.size() * 3 / 2);
}

// The content through the BT.709 encoder of its sampling: the decoders' source.
Planes encoded(const std::string& content, const Frame& f, bool sub, bool hdtv) {
    Planes p(f, sub);
    const auto bgra = bgrContent(content, f, 4);
    if (sub) {
        if (hdtv)
            celiBGRToYCbCr420_709HDTV_8u_AC4P3R(bgra.data(), 4 * f.width, p.ptrs(),
                                                p.stepArr(f.width), {f.width, f.height});
        else
            celiBGRToYCbCr420_709CSC_8u_AC4P3R(bgra.data(), 4 * f.width, p.ptrs(),
                                               p.stepArr(f.width), {f.width, f.height});
    } else {
        // 4:4:4: each pixel's block chroma from a 4:2:0 pass, repeated
        Planes q = encoded(content, f, true, false);
        p.y = q.y;
        for (int j = 0; j < f.height; ++j)
            for (int i = 0; i < f.width; ++i) {
                p.u[size_t(j) * f.width + i] = q.u[size_t(j / 2) * (f.width / 2) + i / 2];
                p.v[size_t(j) * f.width + i] = q.v[size_t(j / 2) * (f.width / 2) + i / 2];
            }
    }
    return p;
}

// which: 0 4:2:0 to BGR, 1 full-scale 4:2:0 to BGRA, 2 4:4:4 to BGR, 3 4:4:4 to BGRA
void BM_Decode(benchmark::State& state, Frame f, const std::string& content, int which) {
    const bool sub = which < 2;
    Planes s = encoded(content, f, sub, which == 1);
    const int bpp = which == 1 || which == 3 ? 4 : 3;
    std::vector<uint8_t> dst(size_t(f.width) * f.height * bpp);
    const uint8_t* src[3] = {s.y.data(), s.u.data(), s.v.data()};
    int steps[3] = {f.width, s.cw, s.cw};
    const CelSize roi{f.width, f.height};
    for (auto _ : state) {
        switch (which) {
            case 0: celiYCbCr420ToBGR_709CSC_8u_P3C3R(src, steps, dst.data(), 3 * f.width, roi); break;
            case 1: celiYCbCr420ToBGR_709HDTV_8u_P3C4R(src, steps, dst.data(), 4 * f.width, roi, 255); break;
            case 2: celiYCbCrToBGR_709CSC_8u_P3C3R(src, f.width, dst.data(), 3 * f.width, roi); break;
            default: celiYCbCrToBGR_709CSC_8u_P3C4R(src, f.width, dst.data(), 4 * f.width, roi, 255); break;
        }
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, s.bytes() + dst.size());
}

#ifdef HAVE_LIBYUV
inline void limitLibyuv(bool sse42Only) {
    libyuv::MaskCpuFlags(sse42Only ? (libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 |
                                      libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42)
                                   : -1);
}

// libyuv's RGB24 is B, G, R in memory and ARGB is B, G, R, A: our BGR and BGRA.
// which: 0 RGB24ToI420, 1 RGB24ToJ420, 2 ARGBToI420, 3 ARGBToJ420
void BM_LibyuvEncode(benchmark::State& state, Frame f, const std::string& content, int which, bool sse42Only) {
    limitLibyuv(sse42Only);
    const int bpp = which < 2 ? 3 : 4;
    const auto src = bgrContent(content, f, bpp);
    Planes d(f, true);
    const int w = f.width, h = f.height, s = bpp * w;
    for (auto _ : state) {
        uint8_t *y = d.y.data(), *u = d.u.data(), *v = d.v.data();
        switch (which) {
            case 0: libyuv::RGB24ToI420(src.data(), s, y, w, u, w / 2, v, w / 2, w, h); break;
            case 1: libyuv::RGB24ToJ420(src.data(), s, y, w, u, w / 2, v, w / 2, w, h); break;
            case 2: libyuv::ARGBToI420(src.data(), s, y, w, u, w / 2, v, w / 2, w, h); break;
            default: libyuv::ARGBToJ420(src.data(), s, y, w, u, w / 2, v, w / 2, w, h); break;
        }
        benchmark::ClobberMemory();
    }
    limitLibyuv(false);
    celbench::setCounters(state, f, src.size() + d.bytes());
}

// which as in BM_Decode: H420ToRGB24, H420ToARGB, I444ToRGB24Matrix (BT.709), H444ToARGB
void BM_LibyuvDecode(benchmark::State& state, Frame f, const std::string& content, int which, bool sse42Only) {
    limitLibyuv(sse42Only);
    const bool sub = which < 2;
    Planes s = encoded(content, f, sub, false);
    const int bpp = which == 1 || which == 3 ? 4 : 3;
    std::vector<uint8_t> dst(size_t(f.width) * f.height * bpp);
    const int w = f.width, h = f.height, c = s.cw;
    const uint8_t *y = s.y.data(), *u = s.u.data(), *v = s.v.data();
    for (auto _ : state) {
        switch (which) {
            case 0: libyuv::H420ToRGB24(y, w, u, c, v, c, dst.data(), 3 * w, w, h); break;
            case 1: libyuv::H420ToARGB(y, w, u, c, v, c, dst.data(), 4 * w, w, h); break;
            case 2:
                libyuv::I444ToRGB24Matrix(y, w, u, c, v, c, dst.data(), 3 * w, &libyuv::kYuvH709Constants, w, h);
                break;
            default: libyuv::H444ToARGB(y, w, u, c, v, c, dst.data(), 4 * w, w, h); break;
        }
        benchmark::ClobberMemory();
    }
    limitLibyuv(false);
    celbench::setCounters(state, f, s.bytes() + dst.size());
}
#endif

void registerAll() {
    using celbench::registerOnContent;
    for (const std::string& c : celbench::contentNames()) {
        registerOnContent("celiBGRToYCbCr420_709CSC_8u_C3P3R", c, [](benchmark::State& st, Frame f, const std::string& k) {
            BM_Encode(st, f, k, celiBGRToYCbCr420_709CSC_8u_C3P3R, 3);
        });
        registerOnContent("celiBGRToYCbCr420_709CSC_8u_AC4P3R", c, [](benchmark::State& st, Frame f, const std::string& k) {
            BM_Encode(st, f, k, celiBGRToYCbCr420_709CSC_8u_AC4P3R, 4);
        });
        registerOnContent("celiBGRToYCbCr420_709HDTV_8u_AC4P3R", c, [](benchmark::State& st, Frame f, const std::string& k) {
            BM_Encode(st, f, k, celiBGRToYCbCr420_709HDTV_8u_AC4P3R, 4);
        });
        registerOnContent("celiBGRToYCbCr420_709CSC_8u_C3P2R", c, BM_EncodeP2);
        const char* dec[4] = {"celiYCbCr420ToBGR_709CSC_8u_P3C3R", "celiYCbCr420ToBGR_709HDTV_8u_P3C4R",
                              "celiYCbCrToBGR_709CSC_8u_P3C3R", "celiYCbCrToBGR_709CSC_8u_P3C4R"};
        for (int which = 0; which < 4; ++which)
            registerOnContent(dec[which], c, [which](benchmark::State& st, Frame f, const std::string& k) {
                BM_Decode(st, f, k, which);
            });
#ifdef HAVE_LIBYUV
        const char* enc[4] = {"RGB24ToI420", "RGB24ToJ420", "ARGBToI420", "ARGBToJ420"};
        const char* ldec[4] = {"H420ToRGB24", "H420ToARGB", "I444ToRGB24Matrix_709", "H444ToARGB"};
        for (int which = 0; which < 4; ++which)
            for (bool sse42 : {true, false}) {
                const std::string tail = sse42 ? "_sse42" : "_default";
                registerOnContent(std::string("peer_libyuv_") + enc[which] + tail, c,
                                  [which, sse42](benchmark::State& st, Frame f, const std::string& k) {
                                      BM_LibyuvEncode(st, f, k, which, sse42);
                                  });
                registerOnContent(std::string("peer_libyuv_") + ldec[which] + tail, c,
                                  [which, sse42](benchmark::State& st, Frame f, const std::string& k) {
                                      BM_LibyuvDecode(st, f, k, which, sse42);
                                  });
            }
#endif
    }
    // the bytes each form reads: BGR, BGRA, 4:2:0 and 4:4:4 planes
    celbench::registerMemcpy("memcpy_709_BGR24", 3, {celbench::kHD});
    celbench::registerMemcpy("memcpy_709_BGRA", 4, {celbench::kHD});
    celbench::registerAtSizes("memcpy_709_I420", [](benchmark::State& st, Frame f) {
        celbench::memcpyReference(st, f, size_t(f.width) * f.height * 3 / 2);
    }, {celbench::kHD});
    celbench::registerMemcpy("memcpy_709_I444", 3, {celbench::kHD});
}

const int registered = (registerAll(), 0);

}  // namespace
