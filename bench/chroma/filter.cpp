// Filtered 4:2:0 chroma at 1920x1080 on the photograph and on noisy
// gradients, converted to 4:2:0 by the library's own encoder: the four-tap
// 4:2:0 to 4:2:2 forms and the deinterlacers (whole picture, and the
// packed one in three slices), beside libyuv's I420ToI422 (it replicates
// the chroma rows, at its default dispatch and limited to SSE4.2), swscale's
// YUV420P to YUV422P with a bilinear filter (single-threaded), and a memcpy
// of the bytes read plus written, halved (the same traffic).  Timed on the
// wall clock: the machine is shared, and CPU time misses the waits.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/convert_from.h>
#include <libyuv/cpu_id.h>
#endif
#include "common/swscale.h"

namespace {

using celbench::Frame;

// A 4:2:0 picture in planes (Y, Cb, Cr) and as two planes (Y, Cb Cr pairs).
struct Pic420 {
    int w, h;
    std::vector<uint8_t> y, cb, cr, cbcr;
    Pic420(const std::string& content, Frame f) : w(f.width), h(f.height) {
        const auto rgb = celbench::contentRGB(content, f);
        y.resize(size_t(w) * h), cb.resize(size_t(w / 2) * (h / 2)), cr.resize(cb.size()), cbcr.resize(2 * cb.size());
        uint8_t* planes[3] = {y.data(), cb.data(), cr.data()};
        int steps[3] = {w, w / 2, w / 2};
        celiRGBToYCbCr420_8u_C3P3R(rgb.data(), 3 * w, planes, steps, {w, h});
        for (size_t i = 0; i < cb.size(); ++i) cbcr[2 * i] = cb[i], cbcr[2 * i + 1] = cr[i];
    }
};

// Destination planes of a 4:2:2 (or 4:2:0) picture, or one packed plane.
struct Out {
    std::vector<uint8_t> b[3];
    uint8_t* p[3];
    int s[3];
    Out(int w, int h, int chromaRows, bool packed) {
        const int bytes[3] = {packed ? 2 * w : w, packed ? 0 : w / 2, packed ? 0 : w / 2};
        const int rows[3] = {h, chromaRows, chromaRows};
        for (int i = 0; i < 3; ++i) {
            b[i].assign(size_t(bytes[i]) * rows[i] + 64, 0);
            p[i] = b[i].data(), s[i] = bytes[i];
        }
    }
};

enum class Form { TapP3, TapP3Swapped, TapP2, DeintC2, DeintC2Slices, DeintP3 };

void BM_Filter(benchmark::State& state, Frame f, Form form, const std::string& content) {
    Pic420 pic(content, f);
    const int w = f.width, h = f.height;
    const bool packed = form == Form::DeintC2 || form == Form::DeintC2Slices;
    Out o(w, h, form == Form::DeintP3 ? h / 2 : h, packed);
    const uint8_t* src[3] = {pic.y.data(), pic.cb.data(), pic.cr.data()};
    const uint8_t* srcSwapped[3] = {pic.y.data(), pic.cr.data(), pic.cb.data()};
    int ss[3] = {w, w / 2, w / 2};
    // slices of the picture: 360 rows each
    const int slice = 360;
    for (auto _ : state) {
        switch (form) {
            case Form::TapP3: celiYCbCr420ToYCbCr422_Filter_8u_P3R(src, ss, o.p, o.s, {w, h}); break;
            case Form::TapP3Swapped: celiYCrCb420ToYCbCr422_Filter_8u_P3R(srcSwapped, ss, o.p, o.s, {w, h}); break;
            case Form::TapP2:
                celiYCbCr420ToYCbCr422_Filter_8u_P2P3R(pic.y.data(), w, pic.cbcr.data(), w, o.p, o.s, {w, h});
                break;
            case Form::DeintC2:
                celiYCbCr420ToYCbCr422_Filter_8u_P2C2R(pic.y.data(), w, pic.cbcr.data(), w, o.p[0], o.s[0], {w, h}, 21);
                break;
            case Form::DeintC2Slices:
                for (int y0 = 0; y0 < h; y0 += slice)
                    celiYCbCr420ToYCbCr422_Filter_8u_P2C2R(pic.y.data() + size_t(y0) * w, w,
                                                           pic.cbcr.data() + size_t(y0 / 2) * w, w,
                                                           o.p[0] + size_t(y0) * o.s[0], o.s[0], {w, slice},
                                                           y0 == 0 ? 1 : y0 + slice >= h ? 16 : 4);
                break;
            case Form::DeintP3:
                celiYCbCr420ToYCrCb420_Filter_8u_P2P3R(pic.y.data(), w, pic.cbcr.data(), w, o.p, o.s, {w, h}, 21);
                break;
        }
        benchmark::DoNotOptimize(o.p[0]);
        benchmark::ClobberMemory();
    }
    const size_t in = size_t(w) * h * 3 / 2;
    const size_t out = form == Form::DeintP3 ? in : size_t(w) * h * 2;
    celbench::setCounters(state, f, in + out);
}

#ifdef HAVE_LIBYUV
void BM_LibyuvI420ToI422(benchmark::State& state, Frame f, bool sse42, const std::string& content) {
    Pic420 pic(content, f);
    const int w = f.width, h = f.height;
    Out o(w, h, h, false);
    libyuv::MaskCpuFlags(sse42 ? libyuv::kCpuInitialized | libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 |
                                     libyuv::kCpuHasSSSE3 | libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42
                               : -1);
    for (auto _ : state) {
        libyuv::I420ToI422(pic.y.data(), w, pic.cb.data(), w / 2, pic.cr.data(), w / 2, o.p[0], o.s[0], o.p[1], o.s[1],
                           o.p[2], o.s[2], w, h);
        benchmark::DoNotOptimize(o.p[0]);
        benchmark::ClobberMemory();
    }
    libyuv::MaskCpuFlags(-1);
    celbench::setCounters(state, f, size_t(w) * h * 7 / 2);
}
#endif

#ifdef HAVE_SWSCALE
void BM_SwscaleBilinear(benchmark::State& state, Frame f, const std::string& content) {
    Pic420 pic(content, f);
    const int w = f.width, h = f.height;
    Out o(w, h, h, false);
    SwsContext* ctx = celbench::swscaleContext(w, h, AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, SWS_BILINEAR);
    if (!ctx) {
        state.SkipWithError("swscale: no context");
        return;
    }
    const uint8_t* in[4] = {pic.y.data(), pic.cb.data(), pic.cr.data(), nullptr};
    const int inStride[4] = {w, w / 2, w / 2, 0};
    uint8_t* out[4] = {o.p[0], o.p[1], o.p[2], nullptr};
    const int outStride[4] = {o.s[0], o.s[1], o.s[2], 0};
    for (auto _ : state) {
        sws_scale(ctx, in, inStride, 0, h, out, outStride);
        benchmark::DoNotOptimize(out[0]);
        benchmark::ClobberMemory();
    }
    sws_freeContext(ctx);
    celbench::setCounters(state, f, size_t(w) * h * 7 / 2);
}
#endif

const bool registered = [] {
    const Frame f = celbench::kHD;
    const std::string size = "/1920x1080";
    struct Named {
        const char* name;
        Form form;
    };
    const Named forms[] = {{"celiYCbCr420ToYCbCr422_Filter_8u_P3R", Form::TapP3},
                           {"celiYCrCb420ToYCbCr422_Filter_8u_P3R", Form::TapP3Swapped},
                           {"celiYCbCr420ToYCbCr422_Filter_8u_P2P3R", Form::TapP2},
                           {"celiYCbCr420ToYCbCr422_Filter_8u_P2C2R/whole", Form::DeintC2},
                           {"celiYCbCr420ToYCbCr422_Filter_8u_P2C2R/3slices", Form::DeintC2Slices},
                           {"celiYCbCr420ToYCrCb420_Filter_8u_P2P3R/whole", Form::DeintP3}};
    for (const std::string content : {"photo", "gradient"}) {
        for (const Named& n : forms)
            benchmark::RegisterBenchmark((std::string(n.name) + "/" + content + size).c_str(),
                                         [f, n, content](benchmark::State& st) { BM_Filter(st, f, n.form, content); })
                ->UseRealTime();
#ifdef HAVE_LIBYUV
        for (bool sse42 : {false, true})
            benchmark::RegisterBenchmark(
                (std::string("libyuv_I420ToI422") + (sse42 ? "_sse42" : "") + "/" + content + size).c_str(),
                [f, sse42, content](benchmark::State& st) { BM_LibyuvI420ToI422(st, f, sse42, content); })
                ->UseRealTime();
#endif
#ifdef HAVE_SWSCALE
        benchmark::RegisterBenchmark((std::string("swscale_yuv420p_yuv422p_bilinear/") + content + size).c_str(),
                                     [f, content](benchmark::State& st) { BM_SwscaleBilinear(st, f, content); })
            ->UseRealTime();
#endif
    }
    // 4:2:0 to 4:2:2 planes: 1.5 bytes read and 2 written a pixel, 1.75 copied.
    benchmark::RegisterBenchmark(("memcpy_filter420to422" + size).c_str(), [f](benchmark::State& st) {
        celbench::memcpyReference(st, f, size_t(f.width) * f.height * 7 / 4);
    })->UseRealTime();
    return true;
}();

}  // namespace
