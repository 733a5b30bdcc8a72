// Chroma rate conversion at 1920x1080: every export of the family, beside
// libyuv where it does the same job (at its default dispatch and limited to
// SSE4.2) and a memcpy of the same bytes (half the traffic: read plus
// written).  Sources are the photograph and the noisy gradients of
// common/content.h through the library's encoder, the same bytes for the
// library and libyuv; these kernels only move bytes, so their speed hardly
// depends on the content.
//
// libyuv's averaging forms (I422ToI420, YUY2ToI420, UYVYToI420, YUY2ToNV12,
// UYVYToNV12 average the two chroma rows; I420ToI422 may filter) do a little
// more arithmetic than the keep-or-drop rules here; the pairs are the
// closest jobs it has.
#include <benchmark/benchmark.h>

#include <string>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert.h>
#include <libyuv/convert_from.h>
#include <libyuv/cpu_id.h>
#include <libyuv/planar_functions.h>
#endif

namespace {

using celbench::Frame;

// One side of a conversion: layout and sampling, its buffers and steps.
enum class Lay { C2, P2, P3 };
enum class Samp { S420, S422, S411 };

struct Side {
    std::vector<uint8_t> buf[3];
    uint8_t* p[3] = {};
    int step[3] = {};
    size_t bytes = 0;
    // A destination (content empty: zeros) or the content in this layout.
    Side(Lay lay, Samp s, const Frame& f, const std::string& content) {
        const int w = f.width, h = f.height;
        const int cw = s == Samp::S411 ? w / 4 : w / 2, chh = s == Samp::S420 ? h / 2 : h;
        int widths[3] = {0, 0, 0}, rows[3] = {h, chh, chh};
        if (lay == Lay::C2) widths[0] = 2 * w;
        if (lay == Lay::P2) widths[0] = w, widths[1] = 2 * cw;
        if (lay == Lay::P3) widths[0] = w, widths[1] = widths[2] = cw;
        for (int i = 0; i < 3; ++i) {
            if (widths[i] == 0) continue;
            buf[i].assign(size_t(widths[i]) * rows[i], 0);
            p[i] = buf[i].data();
            step[i] = widths[i];
            bytes += buf[i].size();
        }
        if (content.empty()) return;
        const auto rgb = celbench::contentRGB(content, f);
        if (lay == Lay::C2) {
            buf[0] = celbench::packed422Of(rgb, f, false);
        } else {
            celbench::YCbCrPlanes q = celbench::ycbcrPlanesOf(rgb, f, s == Samp::S411 ? 4 : 2, s == Samp::S420 ? 2 : 1);
            buf[0] = std::move(q.y);
            if (lay == Lay::P2)
                buf[1] = std::move(q.cbcr);
            else
                buf[1] = std::move(q.cb), buf[2] = std::move(q.cr);
        }
        for (int i = 0; i < 3; ++i) p[i] = buf[i].empty() ? nullptr : buf[i].data();
    }
};

using FnP3P3 = CelStatus (*)(const uint8_t* const[3], int[3], uint8_t*[3], int[3], CelSize);
using FnP2P3 = CelStatus (*)(const uint8_t*, int, const uint8_t*, int, uint8_t*[3], int[3], CelSize);
using FnP3P2 = CelStatus (*)(const uint8_t* const[3], int[3], uint8_t*, int, uint8_t*, int, CelSize);
using FnP2C2 = CelStatus (*)(const uint8_t*, int, const uint8_t*, int, uint8_t*, int, CelSize);
using FnP3C2 = CelStatus (*)(const uint8_t* const[3], int[3], uint8_t*, int, CelSize);
using FnC2P3 = CelStatus (*)(const uint8_t*, int, uint8_t*[3], int[3], CelSize);
using FnC2P2 = CelStatus (*)(const uint8_t*, int, uint8_t*, int, uint8_t*, int, CelSize);

template <FnP3P3 F>
void viaP3P3(Side& s, Side& d, CelSize r) {
    const uint8_t* sp[3] = {s.p[0], s.p[1], s.p[2]};
    F(sp, s.step, d.p, d.step, r);
}
template <FnP2P3 F>
void viaP2P3(Side& s, Side& d, CelSize r) {
    F(s.p[0], s.step[0], s.p[1], s.step[1], d.p, d.step, r);
}
template <FnP3P2 F>
void viaP3P2(Side& s, Side& d, CelSize r) {
    const uint8_t* sp[3] = {s.p[0], s.p[1], s.p[2]};
    F(sp, s.step, d.p[0], d.step[0], d.p[1], d.step[1], r);
}
template <FnP2C2 F>
void viaP2C2(Side& s, Side& d, CelSize r) {
    F(s.p[0], s.step[0], s.p[1], s.step[1], d.p[0], d.step[0], r);
}
template <FnP3C2 F>
void viaP3C2(Side& s, Side& d, CelSize r) {
    const uint8_t* sp[3] = {s.p[0], s.p[1], s.p[2]};
    F(sp, s.step, d.p[0], d.step[0], r);
}
template <FnC2P3 F>
void viaC2P3(Side& s, Side& d, CelSize r) {
    F(s.p[0], s.step[0], d.p, d.step, r);
}
template <FnC2P2 F>
void viaC2P2(Side& s, Side& d, CelSize r) {
    F(s.p[0], s.step[0], d.p[0], d.step[0], d.p[1], d.step[1], r);
}

struct Conv {
    const char* name;
    Lay srcLay;
    Samp srcSamp;
    Lay dstLay;
    Samp dstSamp;
    void (*run)(Side&, Side&, CelSize);
};

constexpr Lay C2 = Lay::C2, P2 = Lay::P2, P3 = Lay::P3;
constexpr Samp S420 = Samp::S420, S422 = Samp::S422, S411 = Samp::S411;

const Conv kConvs[] = {
    {"celiYCbCr420ToYCbCr422_8u_P3R", P3, S420, P3, S422, viaP3P3<celiYCbCr420ToYCbCr422_8u_P3R>},
    {"celiYCrCb420ToYCbCr422_8u_P3R", P3, S420, P3, S422, viaP3P3<celiYCrCb420ToYCbCr422_8u_P3R>},
    {"celiYCbCr420ToYCbCr422_8u_P2P3R", P2, S420, P3, S422, viaP2P3<celiYCbCr420ToYCbCr422_8u_P2P3R>},
    {"celiYCbCr420ToYCbCr422_8u_P2C2R", P2, S420, C2, S422, viaP2C2<celiYCbCr420ToYCbCr422_8u_P2C2R>},
    {"celiYCbCr420ToCbYCr422_8u_P2C2R", P2, S420, C2, S422, viaP2C2<celiYCbCr420ToCbYCr422_8u_P2C2R>},
    {"celiYCrCb420ToYCbCr422_8u_P3C2R", P3, S420, C2, S422, viaP3C2<celiYCrCb420ToYCbCr422_8u_P3C2R>},
    {"celiYCrCb420ToCbYCr422_8u_P3C2R", P3, S420, C2, S422, viaP3C2<celiYCrCb420ToCbYCr422_8u_P3C2R>},
    {"celiYCbCr422ToYCbCr420_8u_P3R", P3, S422, P3, S420, viaP3P3<celiYCbCr422ToYCbCr420_8u_P3R>},
    {"celiYCbCr422ToYCbCr420_8u_P3P2R", P3, S422, P2, S420, viaP3P2<celiYCbCr422ToYCbCr420_8u_P3P2R>},
    {"celiYCbCr422ToYCbCr420_8u_C2P3R", C2, S422, P3, S420, viaC2P3<celiYCbCr422ToYCbCr420_8u_C2P3R>},
    {"celiYCrCb422ToYCbCr420_8u_C2P3R", C2, S422, P3, S420, viaC2P3<celiYCrCb422ToYCbCr420_8u_C2P3R>},
    {"celiYCbCr422ToYCbCr420_8u_C2P2R", C2, S422, P2, S420, viaC2P2<celiYCbCr422ToYCbCr420_8u_C2P2R>},
    {"celiYCbCr422ToYCrCb420_8u_C2P2R", C2, S422, P2, S420, viaC2P2<celiYCbCr422ToYCrCb420_8u_C2P2R>},
    {"celiYCbCr422ToYCrCb420_8u_C2P3R", C2, S422, P3, S420, viaC2P3<celiYCbCr422ToYCrCb420_8u_C2P3R>},
    {"celiCbYCr422ToYCbCr420_8u_C2P2R", C2, S422, P2, S420, viaC2P2<celiCbYCr422ToYCbCr420_8u_C2P2R>},
    {"celiCbYCr422ToYCbCr420_8u_C2P3R", C2, S422, P3, S420, viaC2P3<celiCbYCr422ToYCbCr420_8u_C2P3R>},
    {"celiCbYCr422ToYCrCb420_8u_C2P3R", C2, S422, P3, S420, viaC2P3<celiCbYCr422ToYCrCb420_8u_C2P3R>},
    {"celiYCbCr422ToYCbCr411_8u_P3R", P3, S422, P3, S411, viaP3P3<celiYCbCr422ToYCbCr411_8u_P3R>},
    {"celiYCbCr422ToYCbCr411_8u_P3P2R", P3, S422, P2, S411, viaP3P2<celiYCbCr422ToYCbCr411_8u_P3P2R>},
    {"celiYCbCr422ToYCbCr411_8u_C2P3R", C2, S422, P3, S411, viaC2P3<celiYCbCr422ToYCbCr411_8u_C2P3R>},
    {"celiYCrCb422ToYCbCr411_8u_C2P3R", C2, S422, P3, S411, viaC2P3<celiYCrCb422ToYCbCr411_8u_C2P3R>},
    {"celiYCbCr422ToYCbCr411_8u_C2P2R", C2, S422, P2, S411, viaC2P2<celiYCbCr422ToYCbCr411_8u_C2P2R>},
    {"celiCbYCr422ToYCbCr411_8u_C2P3R", C2, S422, P3, S411, viaC2P3<celiCbYCr422ToYCbCr411_8u_C2P3R>},
    {"celiYCbCr411ToYCbCr422_8u_P3R", P3, S411, P3, S422, viaP3P3<celiYCbCr411ToYCbCr422_8u_P3R>},
    {"celiYCbCr411ToYCrCb422_8u_P3R", P3, S411, P3, S422, viaP3P3<celiYCbCr411ToYCrCb422_8u_P3R>},
    {"celiYCbCr411ToYCbCr422_8u_P2P3R", P2, S411, P3, S422, viaP2P3<celiYCbCr411ToYCbCr422_8u_P2P3R>},
    {"celiYCbCr411ToYCbCr422_8u_P2C2R", P2, S411, C2, S422, viaP2C2<celiYCbCr411ToYCbCr422_8u_P2C2R>},
    {"celiYCbCr411ToYCbCr422_8u_P3C2R", P3, S411, C2, S422, viaP3C2<celiYCbCr411ToYCbCr422_8u_P3C2R>},
    {"celiYCbCr411ToYCrCb422_8u_P3C2R", P3, S411, C2, S422, viaP3C2<celiYCbCr411ToYCrCb422_8u_P3C2R>},
    {"celiYCbCr411ToYCbCr420_8u_P3R", P3, S411, P3, S420, viaP3P3<celiYCbCr411ToYCbCr420_8u_P3R>},
    {"celiYCbCr411ToYCbCr420_8u_P3P2R", P3, S411, P2, S420, viaP3P2<celiYCbCr411ToYCbCr420_8u_P3P2R>},
    {"celiYCbCr411ToYCbCr420_8u_P2P3R", P2, S411, P3, S420, viaP2P3<celiYCbCr411ToYCbCr420_8u_P2P3R>},
    {"celiYCbCr411ToYCrCb420_8u_P2P3R", P2, S411, P3, S420, viaP2P3<celiYCbCr411ToYCrCb420_8u_P2P3R>},
    {"celiYCbCr420ToYCbCr411_8u_P2P3R", P2, S420, P3, S411, viaP2P3<celiYCbCr420ToYCbCr411_8u_P2P3R>},
    {"celiYCbCr420ToYCbCr411_8u_P3P2R", P3, S420, P2, S411, viaP3P2<celiYCbCr420ToYCbCr411_8u_P3P2R>},
    {"celiYCrCb420ToYCbCr411_8u_P3P2R", P3, S420, P2, S411, viaP3P2<celiYCrCb420ToYCbCr411_8u_P3P2R>},
};

void BM_Conv(benchmark::State& state, Frame f, const std::string& content, const Conv& c) {
    Side s(c.srcLay, c.srcSamp, f, content), d(c.dstLay, c.dstSamp, f, "");
    for (auto _ : state) {
        c.run(s, d, {f.width, f.height});
        benchmark::ClobberMemory();
    }
    celbench::setCounters(state, f, s.bytes + d.bytes);
}

#ifdef HAVE_LIBYUV
// libyuv limited to the instructions of this library's tier, or at its default.
constexpr int kSse42 = 0x1 /* initialised */ | libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 | libyuv::kCpuHasSSSE3 |
                       libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42;

struct Peer {
    const char* name;
    Lay srcLay;
    Samp srcSamp;
    Lay dstLay;
    Samp dstSamp;
    void (*run)(Side&, Side&, int w, int h);
};

const Peer kPeers[] = {
    {"I420ToI422", P3, S420, P3, S422,
     [](Side& s, Side& d, int w, int h) {
         libyuv::I420ToI422(s.p[0], s.step[0], s.p[1], s.step[1], s.p[2], s.step[2], d.p[0], d.step[0], d.p[1],
                            d.step[1], d.p[2], d.step[2], w, h);
     }},
    {"I422ToI420", P3, S422, P3, S420,
     [](Side& s, Side& d, int w, int h) {
         libyuv::I422ToI420(s.p[0], s.step[0], s.p[1], s.step[1], s.p[2], s.step[2], d.p[0], d.step[0], d.p[1],
                            d.step[1], d.p[2], d.step[2], w, h);
     }},
    {"YUY2ToI420", C2, S422, P3, S420,
     [](Side& s, Side& d, int w, int h) {
         libyuv::YUY2ToI420(s.p[0], s.step[0], d.p[0], d.step[0], d.p[1], d.step[1], d.p[2], d.step[2], w, h);
     }},
    {"UYVYToI420", C2, S422, P3, S420,
     [](Side& s, Side& d, int w, int h) {
         libyuv::UYVYToI420(s.p[0], s.step[0], d.p[0], d.step[0], d.p[1], d.step[1], d.p[2], d.step[2], w, h);
     }},
    {"YUY2ToNV12", C2, S422, P2, S420,
     [](Side& s, Side& d, int w, int h) {
         libyuv::YUY2ToNV12(s.p[0], s.step[0], d.p[0], d.step[0], d.p[1], d.step[1], w, h);
     }},
    {"UYVYToNV12", C2, S422, P2, S420,
     [](Side& s, Side& d, int w, int h) {
         libyuv::UYVYToNV12(s.p[0], s.step[0], d.p[0], d.step[0], d.p[1], d.step[1], w, h);
     }},
    {"I420ToYUY2", P3, S420, C2, S422,
     [](Side& s, Side& d, int w, int h) {
         libyuv::I420ToYUY2(s.p[0], s.step[0], s.p[1], s.step[1], s.p[2], s.step[2], d.p[0], d.step[0], w, h);
     }},
    {"I420ToUYVY", P3, S420, C2, S422,
     [](Side& s, Side& d, int w, int h) {
         libyuv::I420ToUYVY(s.p[0], s.step[0], s.p[1], s.step[1], s.p[2], s.step[2], d.p[0], d.step[0], w, h);
     }},
};

void BM_Peer(benchmark::State& state, Frame f, const std::string& content, const Peer& p, bool sse42) {
    Side s(p.srcLay, p.srcSamp, f, content), d(p.dstLay, p.dstSamp, f, "");
    libyuv::MaskCpuFlags(sse42 ? kSse42 : -1);
    for (auto _ : state) {
        p.run(s, d, f.width, f.height);
        benchmark::ClobberMemory();
    }
    libyuv::MaskCpuFlags(-1);
    celbench::setCounters(state, f, s.bytes + d.bytes);
}
#endif

// Registered on wall-clock time: the rates (Mpix/s, bytes/s) then follow
// the time column, also where the CPU-time clock of a shared machine lags.
// "<name>/<content>/1920x1080", or "<name>/1920x1080" without a content.
template <class Fn>
void registerHD(const std::string& name, Fn fn, const std::string& content = "") {
    const Frame f = celbench::kHD;
    const std::string tag = name + (content.empty() ? "" : "/" + content) + "/1920x1080";
    benchmark::RegisterBenchmark(tag.c_str(), [fn, f](benchmark::State& st) { fn(st, f); })->UseRealTime();
}

void registerAll() {
    const std::vector<std::string> contents = celbench::contentNames();
    for (const Conv& c : kConvs)
        for (const std::string& k : contents)
            registerHD(c.name, [&c, k](benchmark::State& st, Frame f) { BM_Conv(st, f, k, c); }, k);
    // memcpy of half the traffic: 4:2:0 <-> 4:2:2 and 4:2:2 <-> 4:1:1 move 3.5 bytes a pixel, 4:1:1 <-> 4:2:0 move 3
    for (int quarters : {7, 6})
        registerHD(std::string("memcpy_") + (quarters == 7 ? "1.75" : "1.5") + "B",
                   [quarters](benchmark::State& st, Frame f) {
                       celbench::memcpyReference(st, f, size_t(f.width) * f.height * quarters / 4);
                   });
#ifdef HAVE_LIBYUV
    for (const Peer& p : kPeers)
        for (bool sse42 : {false, true})
            for (const std::string& k : contents)
                registerHD(std::string("peer_libyuv_") + p.name + (sse42 ? "_SSE42" : "_default"),
                           [&p, sse42, k](benchmark::State& st, Frame f) { BM_Peer(st, f, k, p, sse42); }, k);
#endif
}

const int registered = (registerAll(), 0);

}  // namespace
