// The speed table's luma/chroma rows on realistic content (the photograph
// and noisy gradients of bench/common/content.h), each beside libyuv limited
// to SSE4.2 on the same pixels: RGB -> I420, BGRA -> I420, planar 4:4:4 ->
// RGB.  Names carry the content: .../photo/1920x1080, .../gradient/1920x1080.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_from.h>
#include <libyuv/cpu_id.h>
#endif

namespace {

using celbench::Frame;

struct Planes {
    std::vector<uint8_t> y, u, v;
    Planes(const Frame& f, int cw, int ch) : y(size_t(f.width) * f.height), u(size_t(cw) * ch), v(u.size()) {}
};

// The content as B, G, R, A (libyuv's ARGB byte order).
std::vector<uint8_t> bgraOf(const std::vector<uint8_t>& rgb) {
    std::vector<uint8_t> out(rgb.size() / 3 * 4);
    for (size_t i = 0; i < rgb.size() / 3; ++i)
        out[4 * i] = rgb[3 * i + 2], out[4 * i + 1] = rgb[3 * i + 1], out[4 * i + 2] = rgb[3 * i], out[4 * i + 3] = 255;
    return out;
}

// The content as planar 4:4:4 YCbCr (through the library's encoder).
Planes i444Of(const std::vector<uint8_t>& rgb, const Frame& f) {
    Planes p(f, f.width, f.height);
    uint8_t* dst[3] = {p.y.data(), p.u.data(), p.v.data()};
    celiRGBToYCbCr_8u_C3P3R(rgb.data(), 3 * f.width, dst, f.width, {f.width, f.height});
    return p;
}

enum class Op { RgbToI420, BgraToI420, I444ToRgb };

void BM_Celcc(benchmark::State& state, Frame f, Op op, const std::string& content) {
    const auto rgb = celbench::contentRGB(content, f);
    if (op == Op::I444ToRgb) {
        const Planes in = i444Of(rgb, f);
        std::vector<uint8_t> out(rgb.size());
        const uint8_t* src[3] = {in.y.data(), in.u.data(), in.v.data()};
        for (auto _ : state) {
            celiYCbCrToRGB_8u_P3C3R(src, f.width, out.data(), 3 * f.width, {f.width, f.height});
            benchmark::ClobberMemory();
        }
        celbench::setCounters(state, f, size_t(f.width) * f.height * 6);
        return;
    }
    const bool bgra = op == Op::BgraToI420;
    const auto src = bgra ? bgraOf(rgb) : rgb;
    Planes d(f, f.width / 2, f.height / 2);
    uint8_t* dst[3] = {d.y.data(), d.u.data(), d.v.data()};
    int steps[3] = {f.width, f.width / 2, f.width / 2};
    const int bpp = bgra ? 4 : 3;
    for (auto _ : state) {
        if (bgra)
            celiBGRToYCbCr420_8u_AC4P3R(src.data(), bpp * f.width, dst, steps, {f.width, f.height});
        else
            celiRGBToYCbCr420_8u_C3P3R(src.data(), bpp * f.width, dst, steps, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, src.size() + d.y.size() * 3 / 2);
}

#ifdef HAVE_LIBYUV
void BM_Libyuv(benchmark::State& state, Frame f, Op op, const std::string& content) {
    libyuv::MaskCpuFlags(libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 | libyuv::kCpuHasSSE41 |
                         libyuv::kCpuHasSSE42);
    const auto rgb = celbench::contentRGB(content, f);
    if (op == Op::I444ToRgb) {
        const Planes in = i444Of(rgb, f);
        std::vector<uint8_t> out(rgb.size());
        for (auto _ : state) {
            libyuv::I444ToRAW(in.y.data(), f.width, in.u.data(), f.width, in.v.data(), f.width, out.data(), 3 * f.width,
                              f.width, f.height);
            benchmark::ClobberMemory();
        }
        celbench::setCounters(state, f, size_t(f.width) * f.height * 6);
    } else {
        const bool bgra = op == Op::BgraToI420;
        const auto src = bgra ? bgraOf(rgb) : rgb;
        Planes d(f, f.width / 2, f.height / 2);
        for (auto _ : state) {
            if (bgra)
                libyuv::ARGBToI420(src.data(), 4 * f.width, d.y.data(), f.width, d.u.data(), f.width / 2, d.v.data(),
                                   f.width / 2, f.width, f.height);
            else
                libyuv::RAWToI420(src.data(), 3 * f.width, d.y.data(), f.width, d.u.data(), f.width / 2, d.v.data(),
                                  f.width / 2, f.width, f.height);
            benchmark::ClobberMemory();
        }
        celbench::setCounters(state, f, src.size() + d.y.size() * 3 / 2);
    }
    libyuv::MaskCpuFlags(-1);
}
#endif

void registerAll() {
    struct Row {
        Op op;
        const char* mine;
        const char* peer;
    };
    const Row rows[] = {{Op::RgbToI420, "celiRGBToYCbCr420_8u_C3P3R", "peer_libyuv_RAWToI420_sse42"},
                        {Op::BgraToI420, "celiBGRToYCbCr420_8u_AC4P3R", "peer_libyuv_ARGBToI420_sse42"},
                        {Op::I444ToRgb, "celiYCbCrToRGB_8u_P3C3R", "peer_libyuv_I444ToRAW_sse42"}};
    for (const Row& r : rows)
        for (const std::string content : {"photo", "gradient"}) {
            const Op op = r.op;
            celbench::registerAtSizes(std::string(r.mine) + "/" + content,
                                      [op, content](benchmark::State& st, Frame f) { BM_Celcc(st, f, op, content); },
                                      {celbench::kHD});
#ifdef HAVE_LIBYUV
            celbench::registerAtSizes(std::string(r.peer) + "/" + content,
                                      [op, content](benchmark::State& st, Frame f) { BM_Libyuv(st, f, op, content); },
                                      {celbench::kHD});
#endif
        }
}

const int registered = (registerAll(), 0);

}  // namespace
