// Error diffusion at 1920x1080: 8u C3 and 16u8u C3 in each mode, 8 levels a
// channel (3 bits), on a photograph and on noisy gradients, beside a memcpy
// of the same bytes and, when the build found it (HAVE_SWSCALE), swscale's
// error-diffusion dither ("sws_dither" "ed") of RGB24 and RGB48 to RGB8
// (3:3:2) in the same run.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_SWSCALE
extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}
#endif

namespace {

using celbench::Frame;

// The two contents, as 8-bit RGB; 16-bit samples take the byte as their high
// byte and a pseudo-random low byte.
std::vector<uint8_t> content(const std::string& name, const Frame& f) {
    if (name == "photo") {
        auto v = celbench::photoRGB(f);
        if (!v.empty()) return v;
    }
    return celbench::gradientRGB(f);
}
std::vector<uint16_t> widen(const std::vector<uint8_t>& v) {
    std::vector<uint16_t> w(v.size());
    uint32_t r = 12345;
    for (size_t i = 0; i < v.size(); ++i) {
        r = r * 1664525u + 1013904223u;
        w[i] = uint16_t(v[i] << 8 | r >> 24);
    }
    return w;
}

template <class S>
using ReduceFn = CelStatus (*)(const S*, int, uint8_t*, int, CelSize, int, CelDitherMode, int, uint8_t*);

template <class S>
void BM_Diffuse(benchmark::State& state, Frame f, const std::vector<S>& src, ReduceFn<S> fn, int mode, int noise) {
    std::vector<uint8_t> dst(size_t(f.width) * f.height * 3);
    int size = 0;
    celiReduceBitsGetBufferSize(3, {f.width, f.height}, noise, CelDitherMode(mode), &size);
    std::vector<uint8_t> scratch(size);
    for (auto _ : state) {
        fn(src.data(), f.width * 3 * int(sizeof(S)), dst.data(), f.width * 3, {f.width, f.height}, noise,
           CelDitherMode(mode), 8, scratch.data());
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() * (sizeof(S) + 1));
}

#ifdef HAVE_SWSCALE
// swscale, one thread, RGB24 or RGB48 to RGB8 with error diffusion.
template <class S>
void BM_Swscale(benchmark::State& state, Frame f, const std::vector<S>& src) {
    SwsContext* ctx = sws_alloc_context();
    av_opt_set_int(ctx, "srcw", f.width, 0);
    av_opt_set_int(ctx, "srch", f.height, 0);
    av_opt_set_int(ctx, "dstw", f.width, 0);
    av_opt_set_int(ctx, "dsth", f.height, 0);
    av_opt_set_int(ctx, "src_format", sizeof(S) == 1 ? AV_PIX_FMT_RGB24 : AV_PIX_FMT_RGB48LE, 0);
    av_opt_set_int(ctx, "dst_format", AV_PIX_FMT_RGB8, 0);
    av_opt_set_int(ctx, "sws_flags", SWS_POINT, 0);
    av_opt_set(ctx, "sws_dither", "ed", 0);
    av_opt_set_int(ctx, "threads", 1, 0);
    if (sws_init_context(ctx, nullptr, nullptr) < 0) {
        state.SkipWithError("swscale refused the conversion");
        sws_freeContext(ctx);
        return;
    }
    std::vector<uint8_t> dst(size_t(f.width) * f.height);
    const uint8_t* in[4] = {reinterpret_cast<const uint8_t*>(src.data()), nullptr, nullptr, nullptr};
    const int inStride[4] = {f.width * 3 * int(sizeof(S)), 0, 0, 0};
    uint8_t* out[4] = {dst.data(), nullptr, nullptr, nullptr};
    const int outStride[4] = {f.width, 0, 0, 0};
    for (auto _ : state) {
        sws_scale(ctx, in, inStride, 0, f.height, out, outStride);
        benchmark::ClobberMemory();
    }
    sws_freeContext(ctx);
    celbench::setCounters(state, f, src.size() * sizeof(S) + dst.size());
}
#endif

void registerAll() {
    const Frame f = celbench::kHD;
    const char* modeNames[] = {"", "fs", "jjn", "stucki"};
    for (const std::string name : {"photo", "gradient"}) {
        const auto rgb8 = std::make_shared<std::vector<uint8_t>>(content(name, f));
        const auto rgb16 = std::make_shared<std::vector<uint16_t>>(widen(*rgb8));
        for (int mode : {1, 2, 3})
            for (int noise : {0, 10}) {
                if (noise && mode != 1) continue;
                const std::string tag = std::string("_") + modeNames[mode] + (noise ? "_noise10/" : "/") + name;
                celbench::registerAtSizes("celiReduceBits_8u_C3R" + tag, [=](benchmark::State& st, Frame fr) {
                    BM_Diffuse<uint8_t>(st, fr, *rgb8, celiReduceBits_8u_C3R, mode, noise);
                }, {f});
                celbench::registerAtSizes("celiReduceBits_16u8u_C3R" + tag, [=](benchmark::State& st, Frame fr) {
                    BM_Diffuse<uint16_t>(st, fr, *rgb16, celiReduceBits_16u8u_C3R, mode, noise);
                }, {f});
            }
#ifdef HAVE_SWSCALE
        celbench::registerAtSizes("peer_swscale_ed_RGB24_RGB8/" + name, [=](benchmark::State& st, Frame fr) {
            BM_Swscale<uint8_t>(st, fr, *rgb8);
        }, {f});
        celbench::registerAtSizes("peer_swscale_ed_RGB48_RGB8/" + name, [=](benchmark::State& st, Frame fr) {
            BM_Swscale<uint16_t>(st, fr, *rgb16);
        }, {f});
#endif
    }
}

const int registered = (registerAll(), 0);

}  // namespace
