// celccconvert beside videoconvert (one thread) in the same run: frames per
// second at 1920x1080 for the common pairs and the BT.709 ones (studio and
// full range), one buffer pushed through the
// element and pulled back per iteration (GstHarness), on the photograph
// turned into the input format by the library; and a memcpy of the bytes
// the conversion reads and writes.
#include <benchmark/benchmark.h>
#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <celcc_formats.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "common/bench_util.h"
#include "common/content.h"

namespace {

struct Pair {
    const char *gstFrom, *gstTo, *tableFrom, *tableTo;
    const char* colorimetry;  // of the YCbCr side
};
const Pair kPairs[] = {
    {"I420", "BGRx", "I420", "BGRA", "bt601"},
    {"NV12", "RGB", "NV12", "RGB24", "bt601"},
    {"YUY2", "I420", "YUY2", "I420", "bt601"},
    {"RGB", "I420", "RGB24", "I420", "bt601"},
    {"I420", "BGR", "I420_709", "BGR24", "bt709"},
    {"BGRx", "I420", "BGRA", "I420_709", "bt709"},
    {"BGR", "NV12", "BGR24", "NV12_709", "bt709"},
    {"I420", "BGRx", "I420_709HDTV", "BGRA", "1:3:5:1"},
    {"BGRx", "I420", "BGRA", "I420_709HDTV", "1:3:5:1"},
};

std::string capsOf(const char* gst, int w, int h, const char* colorimetry) {
    std::string c = std::string("video/x-raw,format=") + gst + ",width=" + std::to_string(w) +
                    ",height=" + std::to_string(h) + ",framerate=30/1,pixel-aspect-ratio=1/1";
    const GstVideoFormatInfo* info = gst_video_format_get_info(gst_video_format_from_string(gst));
    if (GST_VIDEO_FORMAT_INFO_IS_YUV(info)) c += std::string(",colorimetry=(string)") + colorimetry;
    return c;
}

// The photograph (or gradients) in the pair's input format, packed tightly
// as GStreamer's default layout has it at 1920x1080.
GstBuffer* inputFrame(const Pair& p, const celbench::Frame& f) {
    std::vector<uint8_t> rgb = celbench::contentRGB("photo", f), rgba;
    const int from = celccfmt_format_find(p.tableFrom);
    GstVideoInfo info;
    gst_video_info_set_format(&info, gst_video_format_from_string(p.gstFrom), f.width, f.height);
    GstBuffer* buf = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
    GstMapInfo map;
    gst_buffer_map(buf, &map, GST_MAP_WRITE);
    CelFmtImage src{celFmt_RGB24, f.width, f.height, {rgb.data()}, {f.width * 3}}, dst{};
    dst.format = from;
    dst.width = f.width;
    dst.height = f.height;
    for (guint i = 0; i < GST_VIDEO_INFO_N_PLANES(&info); ++i) {
        dst.plane[i] = map.data + GST_VIDEO_INFO_PLANE_OFFSET(&info, i);
        dst.step[i] = GST_VIDEO_INFO_PLANE_STRIDE(&info, i);
    }
    if (celccfmt_route(celFmt_RGB24, from, nullptr) < 0) {
        // The full-scale BT.709 encoder reads four channels only: the
        // photograph goes to RGBA first.
        rgba.resize(size_t(f.width) * f.height * 4);
        CelFmtImage four{celFmt_RGBA, f.width, f.height, {rgba.data()}, {f.width * 4}};
        if (celccfmt_convert(&src, &four, nullptr) < 0) std::abort();
        src = four;
    }
    if (celccfmt_convert(&src, &dst, nullptr) < 0) std::abort();
    gst_buffer_unmap(buf, &map);
    return buf;
}

void convertFrames(benchmark::State& state, const Pair& p, const char* element, const celbench::Frame& f) {
    GstHarness* h = gst_harness_new_parse(element);
    gst_harness_set_caps_str(h, capsOf(p.gstFrom, f.width, f.height, p.colorimetry).c_str(),
                             capsOf(p.gstTo, f.width, f.height, p.colorimetry).c_str());
    GstBuffer* in = inputFrame(p, f);
    GstBuffer* first = gst_harness_push_and_pull(h, gst_buffer_ref(in));
    if (!first) {
        state.SkipWithError("the element did not convert the pair");
        gst_buffer_unref(in);
        gst_harness_teardown(h);
        return;
    }
    const size_t bytes = gst_buffer_get_size(in) + gst_buffer_get_size(first);
    gst_buffer_unref(first);
    for (auto _ : state) {
        GstBuffer* out = gst_harness_push_and_pull(h, gst_buffer_ref(in));
        benchmark::DoNotOptimize(out);
        gst_buffer_unref(out);
    }
    state.counters["fps"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    celbench::setCounters(state, f, bytes);
    gst_buffer_unref(in);
    gst_harness_teardown(h);
}

void registerAll() {
    const celbench::Frame f = celbench::kHD;
    for (const Pair& p : kPairs) {
        const std::string matrix = std::strcmp(p.colorimetry, "bt601") == 0 ? ""
                                   : std::strcmp(p.colorimetry, "bt709") == 0 ? "_bt709"
                                                                                : "_bt709full";
        const std::string tag = std::string(p.gstFrom) + "_to_" + p.gstTo + matrix + "/1920x1080";
        benchmark::RegisterBenchmark(("celccconvert/" + tag).c_str(),
                                     [p, f](benchmark::State& st) { convertFrames(st, p, "celccconvert", f); })
            ->UseRealTime();
        benchmark::RegisterBenchmark(("videoconvert_1thread/" + tag).c_str(), [p, f](benchmark::State& st) {
            convertFrames(st, p, "videoconvert n-threads=1", f);
        })->UseRealTime();
        GstVideoInfo a, b;
        gst_video_info_set_format(&a, gst_video_format_from_string(p.gstFrom), f.width, f.height);
        gst_video_info_set_format(&b, gst_video_format_from_string(p.gstTo), f.width, f.height);
        const size_t bytes = GST_VIDEO_INFO_SIZE(&a) + GST_VIDEO_INFO_SIZE(&b);
        benchmark::RegisterBenchmark(("memcpy/" + tag).c_str(), [f, bytes](benchmark::State& st) {
            celbench::memcpyReference(st, f, bytes / 2);
            st.counters["fps"] = benchmark::Counter(double(st.iterations()), benchmark::Counter::kIsRate);
        })->UseRealTime();
    }
}

}  // namespace

int main(int argc, char** argv) {
    // The plugin of this build, unless the caller points elsewhere.
    setenv("GST_PLUGIN_PATH", CELCC_GST_PLUGIN_DIR, 0);
    setenv("GST_REGISTRY_FORK", "no", 0);
    gst_init(&argc, &argv);
    registerAll();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    gst_deinit();
    return 0;
}
