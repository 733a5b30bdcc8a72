// Interlace-aware 4:2:2 <-> 4:2:0 and the plane resamplers at 1920x1080, on
// the photograph and on noisy gradients (converted to 4:2:0 by the library's
// own encoder, then to the other samplings by the library), beside a memcpy
// of half the bytes read plus written (the same traffic) and, for interlaced
// 4:2:0 to 4:2:2 planes, swscale's YUV420P to YUV422P run on each field
// apart (every second row, as a field-wise scaler does; bilinear,
// single-threaded).
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"
#include "common/swscale.h"

namespace {

using celbench::Frame;

// Three planes of a picture with chroma of cw x ch samples.
struct Planes {
    std::vector<uint8_t> b[3];
    uint8_t* p[3];
    int s[3];
    Planes(int w, int h, int cw, int ch) {
        const int bytes[3] = {w, cw, cw}, rows[3] = {h, ch, ch};
        for (int i = 0; i < 3; ++i) b[i].assign(size_t(bytes[i]) * rows[i], 0), p[i] = b[i].data(), s[i] = bytes[i];
    }
    const uint8_t* const* in() const { return const_cast<const uint8_t* const*>(p); }
};

enum class Samp { S420, S422, S411, S1620, UYVY };

// The content in a given sampling (UYVY: one packed plane in p[0]).
Planes picture(const std::string& content, Frame f, Samp samp) {
    const int w = f.width, h = f.height;
    Planes p420(w, h, w / 2, h / 2);
    const auto rgb = celbench::contentRGB(content, f);
    celiRGBToYCbCr420_8u_C3P3R(rgb.data(), 3 * w, p420.p, p420.s, {w, h});
    switch (samp) {
        case Samp::S420: return p420;
        case Samp::S422: {
            Planes out(w, h, w / 2, h);
            celiYCbCr420To422_Interlace_8u_P3R(p420.in(), p420.s, out.p, out.s, {w, h});
            return out;
        }
        case Samp::UYVY: {
            Planes out(2 * w, h, 0, 0);
            celiYCbCr420ToCbYCr422_Interlace_8u_P3C2R(p420.in(), p420.s, out.p[0], out.s[0], {w, h});
            return out;
        }
        case Samp::S411: {
            Planes out(w, h, w / 4, h);
            celiYCbCr420To411_8u_P3R(p420.in(), p420.s, out.p, out.s, {w, h});
            return out;
        }
        case Samp::S1620: {
            Planes out(w, h, w / 4, h / 4);
            celiYCbCr420To1620_8u_P3R(p420.in(), p420.s, out.p, out.s, {w, h});
            return out;
        }
    }
    return p420;
}

using P3R = CelStatus (*)(const uint8_t* const[3], int[3], uint8_t* [3], int[3], CelSize);

// Bytes of a picture: 1.5 a pixel at 4:2:0 and 4:1:1, 2 at 4:2:2, 1.125 at 1620.
size_t bytesOf(Frame f, Samp s) {
    const size_t y = size_t(f.width) * f.height;
    switch (s) {
        case Samp::S420: return y * 3 / 2;
        case Samp::S422: case Samp::UYVY: return y * 2;
        case Samp::S411: return y * 3 / 2;
        case Samp::S1620: return y + y / 8;
    }
    return y;
}

void BM_Planar(benchmark::State& state, Frame f, const std::string& content, P3R fn, Samp from, Samp to) {
    const Planes src = picture(content, f, from);
    Planes dst = picture("gradient", Frame{f.width, f.height}, to);
    const uint8_t* sp[3] = {src.p[0], src.p[1], src.p[2]};
    int ss[3] = {src.s[0], src.s[1], src.s[2]};
    for (auto _ : state) {
        fn(sp, ss, dst.p, dst.s, {f.width, f.height});
        benchmark::DoNotOptimize(dst.p[0]);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, bytesOf(f, from) + bytesOf(f, to));
}

void BM_FromPacked(benchmark::State& state, Frame f, const std::string& content) {
    const Planes src = picture(content, f, Samp::UYVY);
    Planes dst(f.width, f.height, f.width / 2, f.height / 2);
    for (auto _ : state) {
        celiCbYCr422ToYCbCr420_Interlace_8u_C2P3R(src.p[0], src.s[0], dst.p, dst.s, {f.width, f.height});
        benchmark::DoNotOptimize(dst.p[0]);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, bytesOf(f, Samp::UYVY) + bytesOf(f, Samp::S420));
}

void BM_ToPacked(benchmark::State& state, Frame f, const std::string& content) {
    const Planes src = picture(content, f, Samp::S420);
    Planes dst(2 * f.width, f.height, 0, 0);
    const uint8_t* sp[3] = {src.p[0], src.p[1], src.p[2]};
    int ss[3] = {src.s[0], src.s[1], src.s[2]};
    for (auto _ : state) {
        celiYCbCr420ToCbYCr422_Interlace_8u_P3C2R(sp, ss, dst.p[0], dst.s[0], {f.width, f.height});
        benchmark::DoNotOptimize(dst.p[0]);
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, bytesOf(f, Samp::S420) + bytesOf(f, Samp::UYVY));
}

#ifdef HAVE_SWSCALE
// YUV420P to YUV422P one field at a time: a context for w x h/2, rows and
// chroma rows of one parity through doubled strides.
void BM_SwscaleFields(benchmark::State& state, Frame f, const std::string& content) {
    const int w = f.width, h = f.height;
    const Planes src = picture(content, f, Samp::S420);
    Planes dst(w, h, w / 2, h);
    SwsContext* ctx = celbench::swscaleContext(w, h / 2, AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, SWS_BILINEAR);
    if (!ctx) {
        state.SkipWithError("swscale: no context");
        return;
    }
    for (auto _ : state) {
        for (int field = 0; field < 2; ++field) {
            const uint8_t* in[4] = {src.p[0] + size_t(field) * src.s[0], src.p[1] + size_t(field) * src.s[1],
                                    src.p[2] + size_t(field) * src.s[2], nullptr};
            const int inStride[4] = {2 * src.s[0], 2 * src.s[1], 2 * src.s[2], 0};
            uint8_t* out[4] = {dst.p[0] + size_t(field) * dst.s[0], dst.p[1] + size_t(field) * dst.s[1],
                               dst.p[2] + size_t(field) * dst.s[2], nullptr};
            const int outStride[4] = {2 * dst.s[0], 2 * dst.s[1], 2 * dst.s[2], 0};
            sws_scale(ctx, in, inStride, 0, h / 2, out, outStride);
        }
        benchmark::DoNotOptimize(dst.p[0]);
        benchmark::ClobberMemory();
    }
    sws_freeContext(ctx);
    celbench::setCounters(state, f, bytesOf(f, Samp::S420) + bytesOf(f, Samp::S422));
}
#endif

// Registered as "<name>/<content>/1920x1080", timed on the wall clock (the
// machine is shared: CPU time misses the waits).
template <class Fn>
void reg(const std::string& name, const std::string& content, Fn fn) {
    const Frame f = celbench::kHD;
    benchmark::RegisterBenchmark((name + "/" + content + "/1920x1080").c_str(),
                                 [fn, f, content](benchmark::State& st) { fn(st, f, content); })
        ->UseRealTime();
}

const bool registered = [] {
    struct Named {
        const char* name;
        P3R fn;
        Samp from, to;
    };
    const Named planar[] = {
        {"celiYCbCr422To420_Interlace_8u_P3R", celiYCbCr422To420_Interlace_8u_P3R, Samp::S422, Samp::S420},
        {"celiYCbCr420To422_Interlace_8u_P3R", celiYCbCr420To422_Interlace_8u_P3R, Samp::S420, Samp::S422},
        {"celiYCbCr1620To420_8u_P3R", celiYCbCr1620To420_8u_P3R, Samp::S1620, Samp::S420},
        {"celiYCbCr411To420_8u_P3R", celiYCbCr411To420_8u_P3R, Samp::S411, Samp::S420},
        {"celiYCbCr420To1620_8u_P3R", celiYCbCr420To1620_8u_P3R, Samp::S420, Samp::S1620},
        {"celiYCbCr420To411_8u_P3R", celiYCbCr420To411_8u_P3R, Samp::S420, Samp::S411},
    };
    for (const std::string& content : celbench::contentNames()) {
        for (const Named& n : planar)
            reg(n.name, content, [n](benchmark::State& st, Frame f, const std::string& c) {
                BM_Planar(st, f, c, n.fn, n.from, n.to);
            });
        reg("celiCbYCr422ToYCbCr420_Interlace_8u_C2P3R", content, BM_FromPacked);
        reg("celiYCbCr420ToCbYCr422_Interlace_8u_P3C2R", content, BM_ToPacked);
#ifdef HAVE_SWSCALE
        reg("swscale_yuv420p_yuv422p_fields", content, BM_SwscaleFields);
#endif
    }
    // Half the bytes read and written a pixel, in sixteenths: 4:2:0 <-> 4:2:2 1.75,
    // 4:2:0 <-> 4:1:1 1.5, 4:2:0 <-> 1620 1.3125.
    for (auto [name, num] : {std::pair{"memcpy_420_422", 28}, {"memcpy_420_411", 24}, {"memcpy_420_1620", 21}})
        benchmark::RegisterBenchmark((std::string(name) + "/1920x1080").c_str(), [num = num](benchmark::State& st) {
            celbench::memcpyReference(st, celbench::kHD, size_t(celbench::kHD.width) * celbench::kHD.height * num / 16);
        })->UseRealTime();
    return true;
}();

}  // namespace
