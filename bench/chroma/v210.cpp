// v210 decoding and 4:2:2 luma extraction at 1920x1080 on the photograph
// and on noisy gradients: the content goes to YCbCr by the library, its
// chroma pairs are averaged to 4:2:2, the samples widened to 10 bits with
// two bits of noise and packed into v210 rows of 128-byte blocks (48
// pixels), the usual file layout.  Beside FFmpeg's v210 decoder
// (libavcodec, single-threaded, at its default dispatch and limited to
// SSE4.2; it unpacks to 10-bit planes), and where swscale is found the same
// decoder followed by swscale's 10-bit 4:2:2 to 5-6-5 conversion (BT.709,
// one thread, same dispatch), the like-for-like pair; the 8-bit luma extraction beside
// libyuv's YUY2ToY (default dispatch and SSE4.2); and a memcpy of the bytes read plus
// written, halved (the same traffic).  Timed on the wall clock: the machine
// is shared, and CPU time misses the waits.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "celcc.h"
#include "common/bench_util.h"
#include "common/content.h"

#ifdef HAVE_LIBYUV
#include <libyuv/cpu_id.h>
#include <libyuv/planar_functions.h>
#endif
#ifdef HAVE_AVCODEC
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/cpu.h>
#include <libavutil/frame.h>
}
#endif
#if defined(HAVE_AVCODEC) && defined(HAVE_SWSCALE)
extern "C" {
#include <libswscale/swscale.h>
}
#endif

namespace {

using celbench::Frame;

// Words of a v210 row: 128 bytes for every 48 pixels or part of them.
int v210RowWords(int width) { return (width + 47) / 48 * 32; }

struct Pic422 {
    int w, h;
    std::vector<uint8_t> c2;          // YCbCr422 packed, 8 bits
    std::vector<uint32_t> v210;       // 10 bits, v210 rows
    std::vector<uint8_t> v210Padded;  // the same bytes with the decoder's input padding
    Pic422(const std::string& content, Frame f) : w(f.width), h(f.height) {
        const auto rgb = celbench::contentRGB(content, f);
        std::vector<uint8_t> y(size_t(w) * h), cb(y.size()), cr(y.size());
        uint8_t* planes[3] = {y.data(), cb.data(), cr.data()};
        celiRGBToYCbCr_8u_C3P3R(rgb.data(), 3 * w, planes, w, {w, h});
        std::mt19937 rng(5);
        const auto ten = [&](int v8) { return static_cast<uint32_t>(4 * v8 + (rng() & 3u)); };
        const int rowWords = v210RowWords(w);
        v210.assign(size_t(rowWords) * h, 0);
        c2.resize(size_t(2 * w) * h);
        for (int j = 0; j < h; ++j) {
            std::vector<uint32_t> Y(w + 6), Cb(w / 2 + 3), Cr(w / 2 + 3);
            for (int x = 0; x < w; ++x) Y[x] = ten(y[size_t(j) * w + x]);
            for (int k = 0; k < w / 2; ++k) {
                const size_t i = size_t(j) * w + 2 * k;
                const int b = (cb[i] + cb[i + 1] + 1) / 2, r = (cr[i] + cr[i + 1] + 1) / 2;
                Cb[k] = ten(b), Cr[k] = ten(r);
                uint8_t* p = &c2[size_t(j) * 2 * w + 4 * k];
                p[0] = y[i], p[1] = uint8_t(b), p[2] = y[i + 1], p[3] = uint8_t(r);
            }
            uint32_t* row = &v210[size_t(j) * rowWords];
            for (int g = 0; 6 * g < w; ++g) {
                const uint32_t* yy = &Y[6 * g];
                const uint32_t *b = &Cb[3 * g], *r = &Cr[3 * g];
                row[4 * g + 0] = b[0] | yy[0] << 10 | r[0] << 20;
                row[4 * g + 1] = yy[1] | b[1] << 10 | yy[2] << 20;
                row[4 * g + 2] = r[1] | yy[3] << 10 | b[2] << 20;
                row[4 * g + 3] = yy[4] | r[2] << 10 | yy[5] << 20;
            }
        }
        v210Padded.assign(4 * v210.size() + 64, 0);
        std::memcpy(v210Padded.data(), v210.data(), 4 * v210.size());
    }
};

enum class Form { Gray8, V210Gray, V210BGR, V210RGB };

void BM_Decode(benchmark::State& state, Frame f, Form form, const std::string& content) {
    Pic422 pic(content, f);
    const int w = f.width, h = f.height;
    std::vector<uint16_t> out(size_t(w) * h);
    std::vector<uint8_t> gray(size_t(w) * h);
    const int words = v210RowWords(w);
    for (auto _ : state) {
        switch (form) {
            case Form::Gray8: celiYCbCr422ToGray_8u_C2C1R(pic.c2.data(), 2 * w, gray.data(), w, {w, h}); break;
            case Form::V210Gray:
                celiYUV422v210ToGray_709HDTV_32u16u_C3C1(pic.v210.data(), words, out.data(), w, {w, h});
                break;
            case Form::V210BGR: celiYUV422v210ToBGR_709HDTV_32u16u_C3(pic.v210.data(), words, out.data(), w, {w, h}); break;
            case Form::V210RGB: celiYUV422v210ToRGB_709HDTV_32u16u_C3(pic.v210.data(), words, out.data(), w, {w, h}); break;
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::DoNotOptimize(gray.data());
        benchmark::ClobberMemory();
    }
    const size_t in = form == Form::Gray8 ? size_t(2 * w) * h : size_t(4 * words) * h;
    celbench::setCounters(state, f, in + (form == Form::Gray8 ? 1 : 2) * size_t(w) * h);
}

#ifdef HAVE_LIBYUV
// libyuv's YUY2ToY, the peer of the 8-bit luma extraction.
void BM_LibyuvYUY2ToY(benchmark::State& state, Frame f, bool sse42, const std::string& content) {
    Pic422 pic(content, f);
    const int w = f.width, h = f.height;
    std::vector<uint8_t> gray(size_t(w) * h);
    libyuv::MaskCpuFlags(sse42 ? libyuv::kCpuInitialized | libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2 |
                                     libyuv::kCpuHasSSSE3 | libyuv::kCpuHasSSE41 | libyuv::kCpuHasSSE42
                               : -1);
    for (auto _ : state) {
        libyuv::YUY2ToY(pic.c2.data(), 2 * w, gray.data(), w, w, h);
        benchmark::DoNotOptimize(gray.data());
        benchmark::ClobberMemory();
    }
    libyuv::MaskCpuFlags(-1);
    celbench::setCounters(state, f, size_t(w) * h * 3);
}
#endif

#ifdef HAVE_AVCODEC
#ifdef HAVE_SWSCALE
#define SWS_OK (sws != nullptr)
#else
#define SWS_OK false
#endif
// One packet of a whole frame decoded to yuv422p10 planes; the frame's
// buffers come from the decoder's pool after the first round.
// With `to565`, each decoded frame then goes through swscale to RGB565
// (BT.709 matrix, studio range in, bit-exact rounding off, no scaling).
void BM_FFmpegV210(benchmark::State& state, Frame f, bool sse42, const std::string& content, bool to565 = false) {
    Pic422 pic(content, f);
    if (sse42)
        av_force_cpu_flags(AV_CPU_FLAG_MMX | AV_CPU_FLAG_MMXEXT | AV_CPU_FLAG_SSE | AV_CPU_FLAG_SSE2 |
                           AV_CPU_FLAG_SSE3 | AV_CPU_FLAG_SSSE3 | AV_CPU_FLAG_SSE4 | AV_CPU_FLAG_SSE42 |
                           AV_CPU_FLAG_CMOV);
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_V210);
    AVCodecContext* ctx = codec ? avcodec_alloc_context3(codec) : nullptr;
    if (!ctx) {
        state.SkipWithError("libavcodec: no v210 decoder");
        av_force_cpu_flags(-1);
        return;
    }
    ctx->width = f.width, ctx->height = f.height, ctx->thread_count = 1;
    AVPacket* pkt = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
#ifdef HAVE_SWSCALE
    SwsContext* sws = nullptr;
    if (to565) {
        sws = sws_getContext(f.width, f.height, AV_PIX_FMT_YUV422P10LE, f.width, f.height, AV_PIX_FMT_RGB565LE,
                             SWS_POINT, nullptr, nullptr, nullptr);
        if (sws) {
            const int* table = sws_getCoefficients(SWS_CS_ITU709);
            sws_setColorspaceDetails(sws, table, 0, table, 1, 0, 1 << 16, 1 << 16);
        }
    }
    std::vector<uint16_t> rgb(size_t(f.width) * f.height);
    uint8_t* const dst[4] = {reinterpret_cast<uint8_t*>(rgb.data()), nullptr, nullptr, nullptr};
    const int dstStride[4] = {2 * f.width, 0, 0, 0};
#endif
    if (avcodec_open2(ctx, codec, nullptr) < 0 || (to565 && !SWS_OK)) {
        state.SkipWithError("libavcodec or swscale: v210 decoding does not open");
    } else {
        pkt->data = pic.v210Padded.data();
        pkt->size = static_cast<int>(4 * pic.v210.size());
        for (auto _ : state) {
            if (avcodec_send_packet(ctx, pkt) < 0 || avcodec_receive_frame(ctx, frame) < 0) {
                state.SkipWithError("libavcodec: v210 decoding failed");
                break;
            }
#ifdef HAVE_SWSCALE
            if (to565) sws_scale(sws, frame->data, frame->linesize, 0, f.height, dst, dstStride);
            benchmark::DoNotOptimize(rgb.data());
#endif
            benchmark::DoNotOptimize(frame->data[0]);
            benchmark::ClobberMemory();
            av_frame_unref(frame);
        }
    }
#ifdef HAVE_SWSCALE
    sws_freeContext(sws);
#endif
    av_frame_free(&frame);
    av_packet_free(&pkt);
    avcodec_free_context(&ctx);
    av_force_cpu_flags(-1);
    // v210 read, three 16-bit planes at 4:2:2 written (4 bytes a pixel).
    celbench::setCounters(state, f, pic.v210.size() * 4 + size_t(f.width) * f.height * 4);
}
#endif

const bool registered = [] {
    const Frame f = celbench::kHD;
    const std::string size = "/1920x1080";
    const std::pair<const char*, Form> forms[] = {{"celiYUV422v210ToGray_709HDTV_32u16u_C3C1", Form::V210Gray},
                                                  {"celiYUV422v210ToBGR_709HDTV_32u16u_C3", Form::V210BGR},
                                                  {"celiYUV422v210ToRGB_709HDTV_32u16u_C3", Form::V210RGB},
                                                  {"celiYCbCr422ToGray_8u_C2C1R", Form::Gray8}};
    for (const std::string& content : celbench::contentNames()) {
        const auto reg = [&](const std::string& name, auto fn) {
            benchmark::RegisterBenchmark((name + "/" + content + size).c_str(), fn)->UseRealTime();
        };
        for (const auto& [name, form] : forms)
            reg(name, [f, form = form, content](benchmark::State& st) { BM_Decode(st, f, form, content); });
        // the peers at their default dispatch and limited to SSE4.2
        for (bool sse42 : {false, true}) {
            const std::string tag = sse42 ? "_sse42" : "";
            (void)tag;
#ifdef HAVE_LIBYUV
            reg("libyuv_YUY2ToY" + tag,
                [f, sse42, content](benchmark::State& st) { BM_LibyuvYUY2ToY(st, f, sse42, content); });
#endif
#ifdef HAVE_AVCODEC
            reg("ffmpeg_v210_decoder" + tag,
                [f, sse42, content](benchmark::State& st) { BM_FFmpegV210(st, f, sse42, content); });
#endif
#if defined(HAVE_AVCODEC) && defined(HAVE_SWSCALE)
            reg("ffmpeg_v210_decoder+swscale_to_RGB565" + tag,
                [f, sse42, content](benchmark::State& st) { BM_FFmpegV210(st, f, sse42, content, true); });
#endif
        }
    }
    // v210 in (8/3 bytes a pixel) and 16-bit samples out, halved: 7/3 bytes a pixel.
    benchmark::RegisterBenchmark(("memcpy_v210" + size).c_str(), [f](benchmark::State& st) {
        celbench::memcpyReference(st, f, size_t(f.width) * f.height * 7 / 3);
    })->UseRealTime();
    // YCbCr422 in (2 bytes) and gray out (1), halved.
    benchmark::RegisterBenchmark(("memcpy_422gray" + size).c_str(), [f](benchmark::State& st) {
        celbench::memcpyReference(st, f, size_t(f.width) * f.height * 3 / 2);
    })->UseRealTime();
    return true;
}();

}  // namespace
