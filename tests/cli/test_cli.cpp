// celcc on real files: photographs from the skimage package, video frames
// made by FFmpeg, a CFA DNG written here.  The tool's bytes equal direct calls
// of the exports; its results are compared with FFmpeg's own conversions
// within stated tolerances; bad input fails with one line and leaves nothing.
#include <dirent.h>
#include <spng.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "celcc.h"

namespace {

using Bytes = std::vector<uint8_t>;

// ---- Files and the tool --------------------------------------------------------------

std::string workDir() {
    const ::testing::TestInfo* t = ::testing::UnitTest::GetInstance()->current_test_info();
    const std::string dir = std::string(CELCC_CLI_WORK) + "/" + t->test_suite_name() + "." + t->name();
    std::system(("rm -rf '" + dir + "' && mkdir -p '" + dir + "'").c_str());
    return dir;
}

struct Outcome {
    int rc;
    std::string err, out;
};

std::string slurpText(const std::string& path) {
    std::ifstream f(path);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

Outcome celcc(const std::string& dir, const std::string& args) {
    const std::string cmd = "cd '" + dir + "' && '" CELCC_BIN "' " + args + " >.stdout 2>.stderr";
    const int st = std::system(cmd.c_str());
    Outcome r{WIFEXITED(st) ? WEXITSTATUS(st) : 128, slurpText(dir + "/.stderr"), slurpText(dir + "/.stdout")};
    return r;
}

bool sh(const std::string& cmd) { return std::system(cmd.c_str()) == 0; }

Bytes slurp(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
}

bool exists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

// Every name in a directory but the tool's captured output.
std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> v;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d)) {
            const std::string n = e->d_name;
            if (n != "." && n != ".." && n != ".stdout" && n != ".stderr") v.push_back(n);
        }
        closedir(d);
    }
    std::sort(v.begin(), v.end());
    return v;
}

std::string photo(const char* name) {
    for (const char* dir : {"/usr/lib/python3/dist-packages/skimage/data", "/usr/share/python3-skimage/data"}) {
        const std::string p = std::string(dir) + "/" + name;
        if (exists(p)) return p;
    }
    return "";
}

bool haveFfmpeg() { return sh("ffmpeg -version >/dev/null 2>&1"); }

#define NEED_PHOTO(var, name)                                                  \
    const std::string var = photo(name);                                       \
    if (var.empty()) GTEST_SKIP() << name << " not installed (python3-skimage)";
#define NEED_FFMPEG() \
    if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg not installed";

// ---- PNG through libspng --------------------------------------------------------------

struct Png {
    int w = 0, h = 0, channels = 0, depth = 0;
    Bytes px;  // host order for 16-bit samples
};

Png readPng(const std::string& path) {
    Png p;
    Bytes b = slurp(path);
    spng_ctx* ctx = spng_ctx_new(0);
    spng_set_png_buffer(ctx, b.data(), b.size());
    spng_ihdr ih;
    EXPECT_EQ(spng_get_ihdr(ctx, &ih), 0) << path;
    p.w = int(ih.width);
    p.h = int(ih.height);
    p.depth = ih.bit_depth;
    p.channels = ih.color_type == SPNG_COLOR_TYPE_GRAYSCALE ? 1 : ih.color_type == SPNG_COLOR_TYPE_TRUECOLOR ? 3 : 4;
    size_t len = 0;
    spng_decoded_image_size(ctx, SPNG_FMT_PNG, &len);
    p.px.resize(len);
    EXPECT_EQ(spng_decode_image(ctx, p.px.data(), len, SPNG_FMT_PNG, 0), 0) << path;
    spng_ctx_free(ctx);
    return p;
}

void writePng(const std::string& path, const Png& p) {
    spng_ctx* ctx = spng_ctx_new(SPNG_CTX_ENCODER);
    spng_set_option(ctx, SPNG_ENCODE_TO_BUFFER, 1);
    spng_ihdr ih{};
    ih.width = uint32_t(p.w);
    ih.height = uint32_t(p.h);
    ih.bit_depth = uint8_t(p.depth);
    ih.color_type = p.channels == 1 ? SPNG_COLOR_TYPE_GRAYSCALE : p.channels == 3 ? SPNG_COLOR_TYPE_TRUECOLOR : SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
    spng_set_ihdr(ctx, &ih);
    ASSERT_EQ(spng_encode_image(ctx, p.px.data(), p.px.size(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE), 0);
    size_t len;
    int err;
    void* buf = spng_get_png_buffer(ctx, &len, &err);
    std::ofstream(path, std::ios::binary).write(static_cast<char*>(buf), std::streamsize(len));
    std::free(buf);
    spng_ctx_free(ctx);
}

// A 16-bit picture from an 8-bit one: each sample times 257 plus a ramp of
// `ramp` steps that fills the low bits.
Png widened16(const Png& p8, int ramp) {
    Png p16{p8.w, p8.h, p8.channels, 16, Bytes(p8.px.size() * 2)};
    uint16_t* w16 = reinterpret_cast<uint16_t*>(p16.px.data());
    for (size_t i = 0; i < p8.px.size(); ++i) w16[i] = uint16_t(p8.px[i] * 257 + int(i % size_t(ramp)));
    return p16;
}

// ---- Y4M ---------------------------------------------------------------------------------

struct Y4m {
    std::string header;
    int w = 0, h = 0;
    std::vector<Bytes> frames;
};

Y4m readY4m(const std::string& path, size_t frameBytes(int, int, const std::string&)) {
    Y4m y;
    Bytes b = slurp(path);
    const auto nl = std::find(b.begin(), b.end(), uint8_t('\n'));
    y.header.assign(b.begin(), nl);
    std::istringstream hs(y.header);
    std::string tok, c = "C420jpeg";
    while (hs >> tok) {
        if (tok[0] == 'W') y.w = std::stoi(tok.substr(1));
        if (tok[0] == 'H') y.h = std::stoi(tok.substr(1));
        if (tok[0] == 'C') c = tok;
    }
    const size_t n = frameBytes(y.w, y.h, c);
    size_t i = size_t(nl - b.begin()) + 1;
    while (i < b.size()) {
        const size_t e = size_t(std::find(b.begin() + long(i), b.end(), uint8_t('\n')) - b.begin());
        i = e + 1;
        if (i + n > b.size()) break;
        y.frames.emplace_back(b.begin() + long(i), b.begin() + long(i + n));
        i += n;
    }
    return y;
}

size_t y4mFrameBytes(int w, int h, const std::string& c) {
    const size_t luma = size_t(w) * h;
    if (c.rfind("C420", 0) == 0) return luma + 2 * size_t((w + 1) / 2) * ((h + 1) / 2);
    if (c == "C422") return luma + 2 * size_t((w + 1) / 2) * h;
    if (c == "C444") return 3 * luma;
    if (c == "C411") return luma + 2 * size_t((w + 3) / 4) * h;
    return luma;
}

// Largest and mean absolute difference of two byte runs.
struct Diff {
    int max = 0;
    double mean = 0;
};
Diff diff(const uint8_t* a, const uint8_t* b, size_t n) {
    Diff d;
    double sum = 0;
    for (size_t i = 0; i < n; ++i) {
        const int x = std::abs(int(a[i]) - int(b[i]));
        d.max = std::max(d.max, x);
        sum += x;
    }
    d.mean = n ? sum / double(n) : 0;
    return d;
}

// ---- Photographs to 4:2:0 Y4M and back -------------------------------------------------

// Encoding tolerance against FFmpeg's RGB to yuv420p (BT.601, studio range):
// luma within 1; chroma within 8 and 1.0 on average (FFmpeg filters the
// chroma where the library averages 2x2 blocks).
TEST(CliPhoto, ToY4mEqualsTheExportAndIsCloseToFfmpeg) {
    NEED_FFMPEG();
    for (const char* name : {"astronaut.png", "chelsea.png", "coffee.png"}) {
        SCOPED_TRACE(name);
        const std::string src = photo(name);
        if (src.empty()) GTEST_SKIP() << name << " not installed (python3-skimage)";
        const std::string dir = workDir();
        const Outcome r = celcc(dir, "convert '" + src + "' out.y4m --crop -q");
        ASSERT_EQ(r.rc, 0) << r.err;
        const Y4m y = readY4m(dir + "/out.y4m", y4mFrameBytes);
        ASSERT_EQ(y.frames.size(), 1u);

        // The export called directly on the decoded photo (cropped to even).
        const Png p = readPng(src);
        ASSERT_EQ(p.channels, 3);
        const int w = p.w & ~1, h = p.h & ~1;
        ASSERT_EQ(y.w, w);
        ASSERT_EQ(y.h, h);
        Bytes ref(size_t(w) * h * 3 / 2);
        uint8_t* planes[3] = {ref.data(), ref.data() + size_t(w) * h, ref.data() + size_t(w) * h * 5 / 4};
        int steps[3] = {w, w / 2, w / 2};
        ASSERT_EQ(celiRGBToYCbCr420_8u_C3P3R(p.px.data(), p.w * 3, planes, steps, CelSize{w, h}), celStatusOk);
        EXPECT_TRUE(y.frames[0] == ref) << "celcc's Y4M differs from celiRGBToYCbCr420_8u_C3P3R";

        // FFmpeg's conversion of the same (cropped) picture.
        ASSERT_TRUE(sh("ffmpeg -v error -i '" + src + "' -vf crop=" + std::to_string(w) + ":" + std::to_string(h) +
                       ":0:0 -pix_fmt yuv420p '" + dir + "/ff.y4m'"));
        const Y4m f = readY4m(dir + "/ff.y4m", y4mFrameBytes);
        ASSERT_EQ(f.frames.size(), 1u);
        const size_t luma = size_t(w) * h;
        const Diff dy = diff(ref.data(), f.frames[0].data(), luma);
        const Diff dc = diff(ref.data() + luma, f.frames[0].data() + luma, luma / 2);
        EXPECT_LE(dy.max, 1);
        EXPECT_LE(dc.max, 8);
        EXPECT_LE(dc.mean, 1.0);

        // And back to a PNG: the decoder's bytes.
        const Outcome back = celcc(dir, "convert out.y4m back.png -q");
        ASSERT_EQ(back.rc, 0) << back.err;
        const Png b = readPng(dir + "/back.png");
        ASSERT_EQ(b.w, w);
        Bytes rgb(size_t(w) * h * 3);
        const uint8_t* cplanes[3] = {planes[0], planes[1], planes[2]};
        ASSERT_EQ(celiYCbCr420ToRGB_8u_P3C3R(cplanes, steps, rgb.data(), 3 * w, CelSize{w, h}), celStatusOk);
        EXPECT_TRUE(b.px == rgb) << "celcc's PNG differs from celiYCbCr420ToRGB_8u_P3C3R";
        // The round trip stays near the photo.
        double sum = 0;
        for (int yy = 0; yy < h; ++yy)
            for (int x = 0; x < 3 * w; ++x) sum += std::abs(int(rgb[size_t(yy) * 3 * w + x]) - int(p.px[size_t(yy) * 3 * p.w + x]));
        EXPECT_LT(sum / (double(w) * h * 3), 4.0);
    }
}

// 4:2:2 from a photo: raw YUY2 and planar 4:2:2 Y4M equal the encoders'
// bytes, and both come back to the decoders' bytes.
TEST(CliPhoto, To422RawAndY4mEqualTheExports) {
    const std::string src = photo("astronaut.png");
    if (src.empty()) GTEST_SKIP() << "astronaut.png not installed (python3-skimage)";
    const std::string dir = workDir();
    const Png p = readPng(src);
    ASSERT_EQ(p.channels, 3);
    const int w = p.w & ~1, h = p.h;
    ASSERT_EQ(celcc(dir, "convert '" + src + "' out.yuy2 --crop -q").rc, 0);
    ASSERT_EQ(celcc(dir, "convert '" + src + "' out.y4m --out-pix-fmt i422 --crop -q").rc, 0);
    Bytes yuy2(size_t(w) * h * 2), i422(size_t(w) * h * 2);
    ASSERT_EQ(celiRGBToYCbCr422_8u_C3C2R(p.px.data(), 3 * p.w, yuy2.data(), 2 * w, CelSize{w, h}), celStatusOk);
    uint8_t* planes[3] = {i422.data(), i422.data() + size_t(w) * h, i422.data() + size_t(w) * h * 3 / 2};
    int steps[3] = {w, w / 2, w / 2};
    ASSERT_EQ(celiRGBToYCbCr422_8u_C3P3R(p.px.data(), 3 * p.w, planes, steps, CelSize{w, h}), celStatusOk);
    EXPECT_TRUE(slurp(dir + "/out.yuy2") == yuy2) << "celcc's YUY2 differs from celiRGBToYCbCr422_8u_C3C2R";
    const Y4m y = readY4m(dir + "/out.y4m", y4mFrameBytes);
    ASSERT_EQ(y.frames.size(), 1u);
    EXPECT_NE(y.header.find("C422"), std::string::npos) << y.header;
    EXPECT_TRUE(y.frames[0] == i422) << "celcc's 4:2:2 Y4M differs from celiRGBToYCbCr422_8u_C3P3R";

    const std::string size = " --size " + std::to_string(w) + "x" + std::to_string(h);
    ASSERT_EQ(celcc(dir, "convert out.yuy2" + size + " --pix-fmt yuy2 back.png -q").rc, 0);
    Bytes rgb(size_t(w) * h * 3);
    ASSERT_EQ(celiYCbCr422ToRGB_8u_C2C3R(yuy2.data(), 2 * w, rgb.data(), 3 * w, CelSize{w, h}), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/back.png").px == rgb) << "celcc's PNG differs from celiYCbCr422ToRGB_8u_C2C3R";
}

TEST(CliPhoto, OddSizeIsRefusedWithoutCrop) {
    NEED_PHOTO(src, "chelsea.png");
    const std::string dir = workDir();
    const Outcome r = celcc(dir, "convert '" + src + "' out.y4m");
    EXPECT_NE(r.rc, 0);
    EXPECT_NE(r.err.find("451x300 does not fit"), std::string::npos) << r.err;
    EXPECT_TRUE(entries(dir).empty());
}

// ---- FFmpeg's video frames ------------------------------------------------------------

// Decoding tolerance against FFmpeg's yuv to rgb24: 4 per sample, 1.5 on
// average for 4:2:0 (chroma placement and rounding differ), 1 for 4:4:4.
TEST(CliVideo, Y4mFramesToPngEqualTheExportsAndAreCloseToFfmpeg) {
    NEED_FFMPEG();
    const std::string dir = workDir();
    struct Case {
        const char* pixfmt;
        int maxDiff;
        double meanDiff;
    };
    for (const Case c : {Case{"yuv420p", 4, 1.5}, Case{"yuv422p", 4, 1.5}, Case{"yuv444p", 1, 0.2}}) {
        SCOPED_TRACE(c.pixfmt);
        const std::string name = std::string("t_") + c.pixfmt;
        ASSERT_TRUE(sh("ffmpeg -v error -f lavfi -i testsrc2=size=96x64:rate=5 -frames:v 4 -pix_fmt " +
                       std::string(c.pixfmt) + " '" + dir + "/" + name + ".y4m'"));
        ASSERT_TRUE(sh("ffmpeg -v error -i '" + dir + "/" + name + ".y4m' -f rawvideo -pix_fmt rgb24 '" + dir + "/" +
                       name + ".ff.rgb'"));
        const Outcome r = celcc(dir, "convert " + name + ".y4m " + name + ".png -q");
        ASSERT_EQ(r.rc, 0) << r.err;
        const Y4m y = readY4m(dir + "/" + name + ".y4m", y4mFrameBytes);
        ASSERT_EQ(y.frames.size(), 4u);
        const Bytes ff = slurp(dir + "/" + name + ".ff.rgb");
        const size_t frame = 96 * 64 * 3;
        ASSERT_EQ(ff.size(), 4 * frame);
        for (int i = 0; i < 4; ++i) {
            char file[64];
            std::snprintf(file, sizeof file, "/%s-%04d.png", name.c_str(), i + 1);
            const Png p = readPng(dir + file);
            ASSERT_EQ(p.px.size(), frame);
            Bytes ref(frame);
            const uint8_t* f0 = y.frames[size_t(i)].data();
            if (std::string(c.pixfmt) == "yuv420p") {
                const uint8_t* pl[3] = {f0, f0 + 96 * 64, f0 + 96 * 64 + 48 * 32};
                int st[3] = {96, 48, 48};
                ASSERT_EQ(celiYCbCr420ToRGB_8u_P3C3R(pl, st, ref.data(), 96 * 3, CelSize{96, 64}), celStatusOk);
            } else if (std::string(c.pixfmt) == "yuv422p") {
                const uint8_t* pl[3] = {f0, f0 + 96 * 64, f0 + 96 * 64 + 48 * 64};
                int st[3] = {96, 48, 48};
                ASSERT_EQ(celiYCbCr422ToRGB_8u_P3C3R(pl, st, ref.data(), 96 * 3, CelSize{96, 64}), celStatusOk);
            } else {
                const uint8_t* pl[3] = {f0, f0 + 96 * 64, f0 + 2 * 96 * 64};
                ASSERT_EQ(celiYCbCrToRGB_8u_P3C3R(pl, 96, ref.data(), 96 * 3, CelSize{96, 64}), celStatusOk);
            }
            EXPECT_TRUE(p.px == ref) << "frame " << i + 1;
            const Diff d = diff(p.px.data(), ff.data() + size_t(i) * frame, frame);
            EXPECT_LE(d.max, c.maxDiff) << "frame " << i + 1;
            EXPECT_LE(d.mean, c.meanDiff) << "frame " << i + 1;
        }
    }
}

// Repacking moves bytes: the tool's packed 4:2:2 equals FFmpeg's exactly.
TEST(CliVideo, Planar422ToPackedEqualsFfmpeg) {
    NEED_FFMPEG();
    const std::string dir = workDir();
    ASSERT_TRUE(sh("ffmpeg -v error -f lavfi -i testsrc2=size=96x64:rate=5 -frames:v 3 -pix_fmt yuv422p '" + dir +
                   "/t.y4m'"));
    for (const char* fmt : {"yuyv422", "uyvy422", "yvyu422"}) {
        SCOPED_TRACE(fmt);
        ASSERT_TRUE(sh("ffmpeg -v error -i '" + dir + "/t.y4m' -f rawvideo -pix_fmt " + fmt + " '" + dir + "/ff." +
                       fmt + "'"));
        const Outcome r = celcc(dir, std::string("convert t.y4m out.") + fmt + " -q");
        ASSERT_EQ(r.rc, 0) << r.err;
        EXPECT_TRUE(slurp(dir + "/out." + fmt) == slurp(dir + "/ff." + fmt));
        // And back to planar Y4M, byte for byte.
        const Outcome b = celcc(dir, std::string("convert out.") + fmt + " --size 96x64 --pix-fmt " + fmt + " back_" + fmt + ".y4m -q");
        ASSERT_EQ(b.rc, 0) << b.err;
        EXPECT_TRUE(readY4m(dir + "/back_" + fmt + ".y4m", y4mFrameBytes).frames ==
                    readY4m(dir + "/t.y4m", y4mFrameBytes).frames);
    }
}

TEST(CliVideo, RawNv12AndMonoY4m) {
    NEED_FFMPEG();
    const std::string dir = workDir();
    ASSERT_TRUE(sh("ffmpeg -v error -f lavfi -i testsrc2=size=64x48:rate=5 -frames:v 2 -f rawvideo -pix_fmt nv12 '" +
                   dir + "/t.nv12'"));
    const Outcome r = celcc(dir, "convert t.nv12 --size 64x48 --pix-fmt nv12 out.png -q");
    ASSERT_EQ(r.rc, 0) << r.err;
    const Bytes raw = slurp(dir + "/t.nv12");
    ASSERT_EQ(raw.size(), 2u * 64 * 48 * 3 / 2);
    for (int i = 0; i < 2; ++i) {
        const uint8_t* f = raw.data() + size_t(i) * 64 * 48 * 3 / 2;
        Bytes ref(64 * 48 * 3);
        ASSERT_EQ(celiYCbCr420ToRGB_8u_P2C3R(f, 64, f + 64 * 48, 64, ref.data(), 64 * 3, CelSize{64, 48}), celStatusOk);
        EXPECT_TRUE(readPng(dir + "/out-000" + std::to_string(i + 1) + ".png").px == ref);
    }
    // Mono: the luma bytes themselves.
    ASSERT_TRUE(sh("ffmpeg -v error -f lavfi -i testsrc2=size=64x48:rate=5 -frames:v 1 -pix_fmt gray '" + dir + "/g.y4m'"));
    ASSERT_EQ(celcc(dir, "convert g.y4m g.png -q").rc, 0);
    const Png g = readPng(dir + "/g.png");
    EXPECT_EQ(g.channels, 1);
    EXPECT_TRUE(g.px == readY4m(dir + "/g.y4m", y4mFrameBytes).frames.at(0));
}

// Raw v210 (written by FFmpeg's encoder: rows of 128-byte blocks of 48
// pixels) to a 16-bit PNG of its luma, scaled from 10 bits by bit
// replication with sBIT 10; and to raw 5-6-5 words.  Both equal the exports.
TEST(CliVideo, RawV210ToLumaPngAnd565) {
    NEED_FFMPEG();
    const std::string dir = workDir();
    const int w = 100, h = 20, rowWords = (w + 47) / 48 * 32;
    ASSERT_TRUE(sh("ffmpeg -v error -f lavfi -i testsrc2=size=100x20:rate=5 -frames:v 1 -c:v v210 -f rawvideo '" + dir +
                   "/t.v210'"));
    const Bytes raw = slurp(dir + "/t.v210");
    ASSERT_EQ(raw.size(), size_t(4) * rowWords * h);
    std::vector<uint32_t> words(raw.size() / 4);
    std::memcpy(words.data(), raw.data(), raw.size());
    Outcome r = celcc(dir, "convert t.v210 --size 100x20 --pix-fmt v210 y.png -q");
    ASSERT_EQ(r.rc, 0) << r.err;
    std::vector<uint16_t> luma(size_t(w) * h);
    ASSERT_EQ(celiYUV422v210ToGray_709HDTV_32u16u_C3C1(words.data(), rowWords, luma.data(), w, CelSize{w, h}),
              celStatusOk);
    const Png y = readPng(dir + "/y.png");
    ASSERT_EQ(y.depth, 16);
    ASSERT_EQ(y.channels, 1);
    ASSERT_EQ(y.px.size(), luma.size() * 2);
    for (size_t i = 0; i < luma.size(); ++i) {
        uint16_t v;
        std::memcpy(&v, y.px.data() + 2 * i, 2);
        ASSERT_EQ(v >> 6, luma[i]) << i;
        ASSERT_EQ(v, uint16_t(luma[i] << 6 | luma[i] >> 4)) << i;
    }
    r = celcc(dir, "convert t.v210 --size 100x20 --pix-fmt v210 c.bgr565 -q");
    ASSERT_EQ(r.rc, 0) << r.err;
    std::vector<uint16_t> col(size_t(w) * h);
    ASSERT_EQ(celiYUV422v210ToBGR_709HDTV_32u16u_C3(words.data(), rowWords, col.data(), w, CelSize{w, h}), celStatusOk);
    const Bytes c = slurp(dir + "/c.bgr565");
    ASSERT_EQ(c.size(), col.size() * 2);
    EXPECT_EQ(std::memcmp(c.data(), col.data(), c.size()), 0);
}

// Chroma rate changes: Y4M 4:2:0 to 4:2:2 equals the export (each chroma
// row serves two rows) and comes back exactly; with --chroma-filter it
// takes the four-tap export instead; raw NV12, YUY2, UYVY and 4:1:1 frames
// go through the rate edges and come back exactly too.
TEST(CliVideo, ChromaRateY4mAndRawRoundTrips) {
    NEED_FFMPEG();
    const std::string dir = workDir();
    const int w = 96, h = 64;
    ASSERT_TRUE(sh("ffmpeg -v error -f lavfi -i testsrc2=size=96x64:rate=5 -frames:v 2 -pix_fmt yuv420p '" + dir +
                   "/t.y4m'"));
    const Y4m in = readY4m(dir + "/t.y4m", y4mFrameBytes);
    ASSERT_EQ(in.frames.size(), 2u);
    Outcome r = celcc(dir, "convert t.y4m o422.y4m --out-pix-fmt i422 -q");
    ASSERT_EQ(r.rc, 0) << r.err;
    r = celcc(dir, "convert t.y4m f422.y4m --out-pix-fmt i422 --chroma-filter -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE((r.out + r.err).find("celiYCbCr420ToYCbCr422_Filter_8u_P3R"), std::string::npos) << r.out << r.err;
    const Y4m o = readY4m(dir + "/o422.y4m", y4mFrameBytes), of = readY4m(dir + "/f422.y4m", y4mFrameBytes);
    EXPECT_NE(o.header.find("C422"), std::string::npos) << o.header;
    ASSERT_EQ(o.frames.size(), 2u);
    ASSERT_EQ(of.frames.size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        const uint8_t* f = in.frames[i].data();
        const uint8_t* src[3] = {f, f + w * h, f + w * h + w * h / 4};
        int ss[3] = {w, w / 2, w / 2}, ds[3] = {w, w / 2, w / 2};
        Bytes ref(size_t(w) * h * 2), filtered(ref.size());
        uint8_t* dst[3] = {ref.data(), ref.data() + w * h, ref.data() + w * h + w * h / 2};
        ASSERT_EQ(celiYCbCr420ToYCbCr422_8u_P3R(src, ss, dst, ds, CelSize{w, h}), celStatusOk);
        EXPECT_TRUE(o.frames[i] == ref) << "frame " << i;
        uint8_t* fdst[3] = {filtered.data(), filtered.data() + w * h, filtered.data() + w * h + w * h / 2};
        ASSERT_EQ(celiYCbCr420ToYCbCr422_Filter_8u_P3R(src, ss, fdst, ds, CelSize{w, h}), celStatusOk);
        EXPECT_TRUE(of.frames[i] == filtered) << "frame " << i;
        EXPECT_FALSE(filtered == ref) << "frame " << i;
    }
    r = celcc(dir, "convert o422.y4m back.y4m --out-pix-fmt i420 -q");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_TRUE(readY4m(dir + "/back.y4m", y4mFrameBytes).frames == in.frames);
    // raw frames: 4:2:0 -> each format -> 4:2:0 again
    for (const char* fmt : {"nv12", "yuy2", "uyvy", "i411", "nv11", "i422"}) {
        SCOPED_TRACE(fmt);
        r = celcc(dir, std::string("convert t.y4m out.") + fmt + " -q");
        ASSERT_EQ(r.rc, 0) << r.err;
        r = celcc(dir, std::string("convert out.") + fmt + " --size 96x64 --pix-fmt " + fmt + " back_" + fmt +
                           ".y4m --out-pix-fmt i420 -q");
        ASSERT_EQ(r.rc, 0) << r.err;
        EXPECT_TRUE(readY4m(dir + "/back_" + fmt + ".y4m", y4mFrameBytes).frames == in.frames);
    }
    // 4:1:1 in Y4M, written from 4:2:0 without losing a sample
    r = celcc(dir, "convert t.y4m o411.y4m --out-pix-fmt i411 -q");
    ASSERT_EQ(r.rc, 0) << r.err;
    r = celcc(dir, "convert o411.y4m back411.y4m --out-pix-fmt i420 -q");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_TRUE(readY4m(dir + "/back411.y4m", y4mFrameBytes).frames == in.frames);
}

// Interlaced pictures: Y4M It and Ib streams, the frames of an Im stream
// whose I parameter says so, and any input with --interlaced convert
// 4:2:0 <-> 4:2:2 through the field-wise exports; Ip streams repeat rows.
namespace interlaced {
constexpr int W = 64, H = 32;
const size_t kLuma = size_t(W) * H, k420 = kLuma * 3 / 2, k422 = kLuma * 2;

void writeY4m(const std::string& path, const std::string& tags, const std::vector<std::string>& frames,
              const Bytes& frame) {
    std::string s = "YUV4MPEG2 W" + std::to_string(W) + " H" + std::to_string(H) + " " + tags + " C420jpeg\n";
    for (const std::string& f : frames) s += (f.empty() ? "FRAME" : "FRAME " + f) + "\n" + std::string(frame.begin(), frame.end());
    std::ofstream(path, std::ios::binary) << s;
}

using P3R = CelStatus (*)(const uint8_t* const[3], int[3], uint8_t* [3], int[3], CelSize);
// 4:2:0 to 4:2:2 planes (up) or back (down) by one export, on one frame.
Bytes convert(P3R fn, const Bytes& in, bool up) {
    const int ch = up ? H / 2 : H, dh = up ? H : H / 2;
    Bytes out(up ? k422 : k420);
    const uint8_t* src[3] = {in.data(), in.data() + kLuma, in.data() + kLuma + size_t(W / 2) * ch};
    uint8_t* dst[3] = {out.data(), out.data() + kLuma, out.data() + kLuma + size_t(W / 2) * dh};
    int ss[3] = {W, W / 2, W / 2}, ds[3] = {W, W / 2, W / 2};
    EXPECT_GE(fn(src, ss, dst, ds, CelSize{W, H}), 0);
    return out;
}
}  // namespace interlaced

TEST(CliVideo, InterlacedPicturesConvertFieldByField) {
    using namespace interlaced;
    const std::string dir = workDir();
    Bytes frame(k420);
    std::mt19937 rng(3);
    for (auto& b : frame) b = uint8_t(rng() >> 24);
    const Bytes fields = convert(celiYCbCr420To422_Interlace_8u_P3R, frame, true);
    const Bytes repeated = convert(celiYCbCr420ToYCbCr422_8u_P3R, frame, true);
    ASSERT_FALSE(fields == repeated);
    for (const char* tags : {"F25:1 It A1:1", "F25:1 Ib A1:1", "F25:1 Ip A1:1"}) {
        SCOPED_TRACE(tags);
        writeY4m(dir + "/t.y4m", tags, {""}, frame);
        Outcome r = celcc(dir, "convert t.y4m o.y4m --out-pix-fmt i422 -f -v");
        ASSERT_EQ(r.rc, 0) << r.err;
        const Y4m o = readY4m(dir + "/o.y4m", y4mFrameBytes);
        ASSERT_EQ(o.frames.size(), 1u);
        const bool isInterlaced = std::string(tags).find("Ip") == std::string::npos;
        EXPECT_TRUE(o.frames[0] == (isInterlaced ? fields : repeated));
        EXPECT_NE(o.header.find(tags), std::string::npos) << o.header;
    }
    // and back, field by field, from the It stream's 4:2:2
    writeY4m(dir + "/t.y4m", "F25:1 It A1:1", {""}, frame);
    ASSERT_EQ(celcc(dir, "convert t.y4m o.y4m --out-pix-fmt i422 -f -q").rc, 0);
    Outcome r = celcc(dir, "convert o.y4m back.y4m --out-pix-fmt i420 -q");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_TRUE(readY4m(dir + "/back.y4m", y4mFrameBytes).frames[0] ==
                convert(celiYCbCr422To420_Interlace_8u_P3R, fields, false));
    // Im: each frame by its own I parameter, which is written back
    writeY4m(dir + "/m.y4m", "F25:1 Im A1:1", {"Itii", "I1pp", ""}, frame);
    r = celcc(dir, "convert m.y4m mo.y4m --out-pix-fmt i422 -q");
    ASSERT_EQ(r.rc, 0) << r.err;
    const Y4m m = readY4m(dir + "/mo.y4m", y4mFrameBytes);
    ASSERT_EQ(m.frames.size(), 3u);
    EXPECT_TRUE(m.frames[0] == fields);
    EXPECT_TRUE(m.frames[1] == repeated);
    EXPECT_TRUE(m.frames[2] == repeated);
    const std::string text = slurpText(dir + "/mo.y4m");
    EXPECT_NE(text.find("FRAME Itii\n"), std::string::npos);
    EXPECT_NE(text.find("FRAME I1pp\n"), std::string::npos);
    // a raw input with --interlaced; the Y4M it makes says It
    std::ofstream(dir + "/t.yuv", std::ios::binary) << std::string(frame.begin(), frame.end());
    r = celcc(dir, "convert t.yuv raw.y4m --size 64x32 --pix-fmt i420 --out-pix-fmt i422 --interlaced -q");
    ASSERT_EQ(r.rc, 0) << r.err;
    const Y4m raw = readY4m(dir + "/raw.y4m", y4mFrameBytes);
    EXPECT_TRUE(raw.frames[0] == fields);
    EXPECT_NE(raw.header.find(" It "), std::string::npos) << raw.header;
    // heights that are not a multiple of 4, and the four-tap filter, are refused
    std::ofstream(dir + "/u.yuv", std::ios::binary) << std::string(frame.begin(), frame.begin() + long(64 * 30 * 3 / 2));
    r = celcc(dir, "convert u.yuv u.y4m --size 64x30 --pix-fmt i420 --out-pix-fmt i422 --interlaced -q");
    EXPECT_EQ(r.rc, 1);
    EXPECT_NE(r.err.find("multiple of 4"), std::string::npos) << r.err;
    r = celcc(dir, "convert t.y4m f.y4m --out-pix-fmt i422 --interlaced --chroma-filter -q");
    EXPECT_EQ(r.rc, 1);
}

TEST(CliVideo, JobsTwoGivesTheBytesOfJobsOne) {
    NEED_FFMPEG();
    const std::string dir = workDir();
    ASSERT_TRUE(sh("ffmpeg -v error -f lavfi -i testsrc2=size=128x96:rate=10 -frames:v 9 -pix_fmt yuv444p '" + dir +
                   "/t.y4m'"));
    ASSERT_EQ(celcc(dir, "convert t.y4m one.y4m --out-pix-fmt i420 --jobs 1 -q").rc, 0);
    ASSERT_EQ(celcc(dir, "convert t.y4m two.y4m --out-pix-fmt i420 --jobs 2 -q").rc, 0);
    const Bytes one = slurp(dir + "/one.y4m");
    EXPECT_GT(one.size(), 9u * 128 * 96);
    EXPECT_TRUE(one == slurp(dir + "/two.y4m"));
    // Many files into a directory.
    std::string inputs;
    for (int i = 0; i < 5; ++i) {
        const std::string n = "f" + std::to_string(i) + ".y4m";
        ASSERT_TRUE(sh("ffmpeg -v error -f lavfi -i testsrc2=size=64x48:rate=5 -frames:v 1 -ss " + std::to_string(i) +
                       " -pix_fmt yuv420p '" + dir + "/" + n + "'"));
        inputs += n + " ";
    }
    ASSERT_EQ(celcc(dir, "convert " + inputs + "--out-dir d1 --jobs 1 -q").rc, 1) << "d1 does not exist yet";
    ASSERT_TRUE(sh("mkdir -p '" + dir + "/d1' '" + dir + "/d2'"));
    const Outcome a = celcc(dir, "convert " + inputs + "--out-dir d1 --jobs 1");
    const Outcome b = celcc(dir, "convert " + inputs + "--out-dir d2 --jobs 2");
    ASSERT_EQ(a.rc, 0) << a.err;
    ASSERT_EQ(b.rc, 0) << b.err;
    EXPECT_NE(a.err.find("[5/5]"), std::string::npos) << a.err;
    ASSERT_EQ(entries(dir + "/d1").size(), 5u);
    for (int i = 0; i < 5; ++i) {
        const std::string n = "/f" + std::to_string(i) + ".png";
        EXPECT_TRUE(slurp(dir + "/d1" + n) == slurp(dir + "/d2" + n)) << n;
    }
}

// ---- Other formats -----------------------------------------------------------------------

TEST(CliFormats, Xyz48From16BitPngEqualsTheExport) {
    NEED_PHOTO(src, "coffee.png");
    const std::string dir = workDir();
    const Png p16 = widened16(readPng(src), 7);
    const uint16_t* w16 = reinterpret_cast<const uint16_t*>(p16.px.data());
    writePng(dir + "/in16.png", p16);
    const Outcome r = celcc(dir, "convert in16.png xyz.png --pix-fmt xyz48 -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.err.find("celiRGBToXYZ_16u_C3R: celStatusOk"), std::string::npos) << r.err;
    const Png x = readPng(dir + "/xyz.png");
    EXPECT_EQ(x.depth, 16);
    Bytes ref(p16.px.size());
    ASSERT_EQ(celiRGBToXYZ_16u_C3R(w16, p16.w * 6, reinterpret_cast<uint16_t*>(ref.data()), p16.w * 6,
                                   CelSize{p16.w, p16.h}), celStatusOk);
    EXPECT_TRUE(x.px == ref);
}

// --to names a colour model; the output takes the input's depth.  A PNG that
// holds HLS samples comes back to RGB through --in-pix-fmt.
TEST(CliFormats, ToColourModelAndBackThroughARelabelledPng) {
    NEED_PHOTO(src, "chelsea.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    const CelSize size{p.w, p.h};
    const int step = p.w * 3;
    struct Case {
        const char* to;
        const char* exportName;
        CelStatus (*fwd)(const uint8_t*, int, uint8_t*, int, CelSize);
        CelStatus (*inv)(const uint8_t*, int, uint8_t*, int, CelSize);
    };
    const Case cases[] = {{"hsv", "celiRGBToHSV_8u_C3R", celiRGBToHSV_8u_C3R, celiHSVToRGB_8u_C3R},
                          {"hls", "celiRGBToHLS_8u_C3R", celiRGBToHLS_8u_C3R, celiHLSToRGB_8u_C3R},
                          {"luv", "celiRGBToLUV_8u_C3R", celiRGBToLUV_8u_C3R, celiLUVToRGB_8u_C3R},
                          {"lab", "celiRGBToLab_8u_C3R", celiRGBToLab_8u_C3R, celiLabToRGB_8u_C3R},
                          {"ycc", "celiRGBToYCC_8u_C3R", celiRGBToYCC_8u_C3R, celiYCCToRGB_8u_C3R}};
    for (const Case& c : cases) {
        const std::string model = c.to;
        const Outcome r = celcc(dir, "convert '" + src + "' " + model + ".png --to " + model + " -v");
        ASSERT_EQ(r.rc, 0) << r.err;
        EXPECT_NE(r.err.find(std::string(c.exportName) + ": celStatusOk"), std::string::npos) << r.err;
        Bytes ref(p.px.size()), back(p.px.size());
        ASSERT_EQ(c.fwd(p.px.data(), step, ref.data(), step, size), celStatusOk);
        EXPECT_TRUE(readPng(dir + "/" + model + ".png").px == ref) << model;
        const Outcome b = celcc(dir, "convert " + model + ".png back.png -f --in-pix-fmt " + model + "24 -q");
        ASSERT_EQ(b.rc, 0) << b.err;
        ASSERT_EQ(c.inv(ref.data(), step, back.data(), step, size), celStatusOk);
        EXPECT_TRUE(readPng(dir + "/back.png").px == back) << model;
    }
    // 16 bits in, 16 bits out.
    const Png p16 = widened16(p, 3);
    writePng(dir + "/in16.png", p16);
    const Outcome r = celcc(dir, "convert in16.png hsv16.png --to hsv -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.err.find("celiRGBToHSV_16u_C3R: celStatusOk"), std::string::npos) << r.err;
    EXPECT_EQ(readPng(dir + "/hsv16.png").depth, 16);
    // A relabelling needs the same layout; a second output format is refused.
    EXPECT_EQ(celcc(dir, "convert hsv.png x.png --in-pix-fmt lab48 -q").rc, 1);
    EXPECT_EQ(celcc(dir, "convert hsv.png x.png --to lab --out-pix-fmt rgb24 -q").rc, 1);
    EXPECT_EQ(celcc(dir, "convert hsv.png x.png --to nosuchmodel -q").rc, 1);
}

// --to ycc: the output extension names the raw format; back to PNG with
// --size and --pix-fmt.  Both directions equal the exports' bytes.
TEST(CliFormats, YccByExtensionAndBackEqualTheExports) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    const Outcome r = celcc(dir, "convert '" + src + "' --out-dir . --to ycc -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.err.find("celiRGBToYCC_8u_C3R: celStatusOk"), std::string::npos) << r.err;
    const Bytes ycc = slurp(dir + "/astronaut.ycc");
    Bytes ref(p.px.size()), rgb(p.px.size());
    ASSERT_EQ(celiRGBToYCC_8u_C3R(p.px.data(), p.w * 3, ref.data(), p.w * 3, CelSize{p.w, p.h}), celStatusOk);
    EXPECT_TRUE(ycc == ref);
    const std::string size = std::to_string(p.w) + "x" + std::to_string(p.h);
    const Outcome b = celcc(dir, "convert astronaut.ycc back.png --size " + size + " --pix-fmt ycc -v");
    ASSERT_EQ(b.rc, 0) << b.err;
    EXPECT_NE(b.err.find("celiYCCToRGB_8u_C3R: celStatusOk"), std::string::npos) << b.err;
    ASSERT_EQ(celiYCCToRGB_8u_C3R(ref.data(), p.w * 3, rgb.data(), p.w * 3, CelSize{p.w, p.h}), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/back.png").px == rgb);
}

// A photograph to the lifting YCoCg planes as a .npy array (the table puts
// the PNG's RGB samples in BGR order by the exchange twist for the BGR
// forms) and back: the planes equal the export's, the way back gives the
// photograph exactly.
TEST(CliFormats, YCoCgRevNpyEqualsTheExportAndComesBack) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    const Png in = readPng(src);
    ASSERT_EQ(in.channels, 3);
    Outcome r = celcc(dir, "convert '" + src + "' planes.npy --to ycocg-rev -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.err.find("RGB24 -> BGR24 (celiColorTwist32f_8u_C3R) -> YCOCGR16S (celiBGRToYCoCg_Rev_8u16s_C3P3R)"),
              std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find("celiBGRToYCoCg_Rev_8u16s_C3P3R: celStatusOk"), std::string::npos) << r.err;
    const Bytes npy = slurp(dir + "/planes.npy");
    ASSERT_GT(npy.size(), 128u);
    const std::string head(npy.begin() + 10, npy.begin() + 10 + (npy[8] | npy[9] << 8));
    EXPECT_NE(head.find("'descr': '<i2'"), std::string::npos) << head;
    EXPECT_NE(head.find("'shape': (3, " + std::to_string(in.h) + ", " + std::to_string(in.w) + ")"), std::string::npos)
        << head;
    Bytes bgr(in.px.size());
    for (size_t i = 0; i < bgr.size(); i += 3) bgr[i] = in.px[i + 2], bgr[i + 1] = in.px[i + 1], bgr[i + 2] = in.px[i];
    const size_t plane = size_t(in.w) * in.h;
    std::vector<int16_t> ref(3 * plane);
    int16_t* dst[3] = {ref.data(), ref.data() + plane, ref.data() + 2 * plane};
    ASSERT_EQ(celiBGRToYCoCg_Rev_8u16s_C3P3R(bgr.data(), 3 * in.w, dst, 2 * in.w, CelSize{in.w, in.h}), celStatusOk);
    ASSERT_EQ(npy.size() - 10 - head.size(), ref.size() * 2);
    EXPECT_EQ(0, std::memcmp(npy.data() + 10 + head.size(), ref.data(), ref.size() * 2));
    r = celcc(dir, "convert planes.npy back.png --pix-fmt ycocg-rev -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.err.find("YCOCGR16S -> BGR24 (celiYCoCgToBGR_Rev_16s8u_P3C3R) -> RGB24 (celiColorTwist32f_8u_C3R)"),
              std::string::npos)
        << r.err;
    EXPECT_TRUE(readPng(dir + "/back.png").px == in.px);
    // without the format, three planes of int16 are refused with a message
    r = celcc(dir, "convert planes.npy again.png");
    EXPECT_NE(r.rc, 0);
    EXPECT_NE(r.err.find("--pix-fmt"), std::string::npos) << r.err;
    EXPECT_FALSE(exists(dir + "/again.png"));
}

TEST(CliFormats, PnmAndJpegInputs) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    ASSERT_EQ(celcc(dir, "convert '" + src + "' a.ppm -q").rc, 0);
    ASSERT_EQ(celcc(dir, "convert a.ppm b.png -q").rc, 0);
    EXPECT_TRUE(readPng(dir + "/b.png").px == readPng(src).px);
    ASSERT_EQ(celcc(dir, "convert '" + src + "' gray.pgm --pix-fmt gray8 -v").rc, 0);
    const Bytes pgm = slurp(dir + "/gray.pgm");
    const Png p = readPng(src);
    Bytes ref(size_t(p.w) * p.h);
    ASSERT_EQ(celiRGBToGray_8u_C3C1R(p.px.data(), p.w * 3, ref.data(), p.w, CelSize{p.w, p.h}), celStatusOk);
    ASSERT_GE(pgm.size(), ref.size());
    EXPECT_TRUE(Bytes(pgm.end() - long(ref.size()), pgm.end()) == ref);
    if (!haveFfmpeg()) return;
    ASSERT_TRUE(sh("ffmpeg -v error -i '" + src + "' -q:v 2 '" + dir + "/a.jpg'"));
    const Outcome j = celcc(dir, "convert a.jpg j.png -q");
    ASSERT_EQ(j.rc, 0) << j.err;
    const Png jp = readPng(dir + "/j.png");
    ASSERT_EQ(jp.px.size(), p.px.size());
    EXPECT_LT(diff(jp.px.data(), p.px.data(), p.px.size()).mean, 4.0);
}

// ---- Gamma ------------------------------------------------------------------------------------

TEST(CliGamma, ForwardAndInverseEqualTheExports) {
    NEED_PHOTO(src, "coffee.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    // RGB to RGB: the curve on the output, in place
    const Outcome r = celcc(dir, "convert '" + src + "' fwd.png --gamma fwd -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.err.find("celiGammaFwd_8u_C3IR: celStatusOk"), std::string::npos) << r.err;
    Bytes ref = p.px;
    ASSERT_EQ(celiGammaFwd_8u_C3IR(ref.data(), p.w * 3, CelSize{p.w, p.h}), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/fwd.png").px == ref);
    EXPECT_FALSE(ref == p.px);
    // 16-bit inverse
    const Png p16 = widened16(p, 5);
    writePng(dir + "/in16.png", p16);
    const Outcome r16 = celcc(dir, "convert in16.png inv16.png --gamma inv -v");
    ASSERT_EQ(r16.rc, 0) << r16.err;
    EXPECT_NE(r16.err.find("celiGammaInv_16u_C3IR: celStatusOk"), std::string::npos) << r16.err;
    Bytes ref16 = p16.px;
    ASSERT_EQ(celiGammaInv_16u_C3IR(reinterpret_cast<uint16_t*>(ref16.data()), p.w * 6, CelSize{p.w, p.h}), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/inv16.png").px == ref16);
    // RGB to YCbCr: the curve on the input, ahead of the conversion
    const Outcome y = celcc(dir, "convert '" + src + "' g.yuv --pix-fmt i444 --gamma fwd -v");
    ASSERT_EQ(y.rc, 0) << y.err;
    EXPECT_LT(y.err.find("celiGammaFwd_8u_C3IR"), y.err.find("celiRGBToYCbCr_8u_C3P3R")) << y.err;
    Bytes planes(size_t(p.w) * p.h * 3);
    uint8_t* dst[3] = {planes.data(), planes.data() + size_t(p.w) * p.h, planes.data() + 2 * size_t(p.w) * p.h};
    ASSERT_EQ(celiRGBToYCbCr_8u_C3P3R(ref.data(), p.w * 3, dst, p.w, CelSize{p.w, p.h}), celStatusOk);
    EXPECT_TRUE(slurp(dir + "/g.yuv") == planes);
    // no RGB side, or an unknown direction
    ASSERT_EQ(celcc(dir, "convert '" + src + "' gray.pgm --pix-fmt gray8 -q").rc, 0);
    const Outcome bad = celcc(dir, "convert gray.pgm gray2.pgm --gamma fwd");
    EXPECT_EQ(bad.rc, 1);
    EXPECT_NE(bad.err.find("--gamma needs RGB on one side"), std::string::npos) << bad.err;
    EXPECT_FALSE(exists(dir + "/gray2.pgm"));
    EXPECT_NE(celcc(dir, "convert '" + src + "' x.png --gamma sideways").rc, 0);
    EXPECT_FALSE(exists(dir + "/x.png"));
}

// ---- Colour twist -------------------------------------------------------------------------------

TEST(CliMatrix, TwistEqualsTheExport) {
    NEED_PHOTO(src, "coffee.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    // RGB to RGB: the matrix on the output, in place
    const Outcome r = celcc(dir, "convert '" + src + "' m.png --matrix '1.2 -0.1 -0.1 10; 0 1 0 0; 0.3 0.3 0.4 -20' -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.err.find("celiColorTwist32f_8u_C3IR: celStatusOk"), std::string::npos) << r.err;
    const float m[3][4] = {{1.2f, -0.1f, -0.1f, 10}, {0, 1, 0, 0}, {0.3f, 0.3f, 0.4f, -20}};
    Bytes ref = p.px;
    ASSERT_EQ(celiColorTwist32f_8u_C3IR(ref.data(), p.w * 3, CelSize{p.w, p.h}, m), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/m.png").px == ref);
    EXPECT_FALSE(ref == p.px);
    // from a file, three rows of three, 16 bits
    {
        std::ofstream f(dir + "/swap.txt");
        f << "0 0 1\n0 1 0\n1 0 0\n";
    }
    const Png p16 = widened16(p, 3);
    writePng(dir + "/in16.png", p16);
    const Outcome r16 = celcc(dir, "convert in16.png swap16.png --matrix swap.txt -v");
    ASSERT_EQ(r16.rc, 0) << r16.err;
    EXPECT_NE(r16.err.find("celiColorTwist32f_16u_C3IR: celStatusOk"), std::string::npos) << r16.err;
    const Png out16 = readPng(dir + "/swap16.png");
    ASSERT_EQ(out16.px.size(), p16.px.size());
    for (size_t i = 0; i < p16.px.size(); i += 6)  // R and B exchanged, G kept
        ASSERT_TRUE(std::equal(out16.px.begin() + long(i), out16.px.begin() + long(i) + 2, p16.px.begin() + long(i) + 4) &&
                    std::equal(out16.px.begin() + long(i) + 2, out16.px.begin() + long(i) + 4, p16.px.begin() + long(i) + 2))
            << i;
    // a matrix that is not three rows of four, or a word that is no number
    const Outcome bad = celcc(dir, "convert '" + src + "' bad.png --matrix '1 0 0 0; 0 1 0 0'");
    EXPECT_EQ(bad.rc, 1);
    EXPECT_NE(bad.err.find("--matrix"), std::string::npos) << bad.err;
    EXPECT_NE(celcc(dir, "convert '" + src + "' bad.png --matrix '1 0 x 0; 0 1 0 0; 0 0 1 0'").rc, 0);
    EXPECT_NE(celcc(dir, "convert '" + src + "' bad.png --matrix no-such-file").rc, 0);
    EXPECT_FALSE(exists(dir + "/bad.png"));
}

// --matrix bt709 / bt709-hdtv: the BT.709 exports on the way to Y4M, the
// matrix said in the header, and honoured on the way back.
TEST(CliMatrix, Bt709Y4mEqualsTheExportsAndCarriesTheMatrix) {
    NEED_PHOTO(src, "coffee.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    ASSERT_EQ(p.channels, 3);
    const int w = p.w & ~1, h = p.h & ~1;
    Bytes bgra(size_t(4) * p.w * p.h);  // the photo as B, G, R, A
    for (size_t i = 0; i < size_t(p.w) * p.h; ++i)
        bgra[4 * i] = p.px[3 * i + 2], bgra[4 * i + 1] = p.px[3 * i + 1], bgra[4 * i + 2] = p.px[3 * i], bgra[4 * i + 3] = 255;
    Bytes ref(size_t(w) * h * 3 / 2);
    uint8_t* planes[3] = {ref.data(), ref.data() + size_t(w) * h, ref.data() + size_t(w) * h * 5 / 4};
    const uint8_t* cplanes[3] = {planes[0], planes[1], planes[2]};
    int steps[3] = {w, w / 2, w / 2};
    // the full-scale encoder reads BGRA only: its input is the photo as RGBA
    Png rgba{p.w, p.h, 4, 8, {}};
    for (size_t i = 0; i < size_t(p.w) * p.h; ++i)
        rgba.px.insert(rgba.px.end(), {p.px[3 * i], p.px[3 * i + 1], p.px[3 * i + 2], 255});
    writePng(dir + "/rgba.png", rgba);
    for (const bool hdtv : {false, true}) {
        SCOPED_TRACE(hdtv ? "bt709-hdtv" : "bt709");
        const Outcome r = celcc(dir, std::string("convert '") + (hdtv ? dir + "/rgba.png" : src) +
                                         "' o.y4m --crop -f -v --matrix " + (hdtv ? "bt709-hdtv" : "bt709"));
        ASSERT_EQ(r.rc, 0) << r.err;
        const char* enc = hdtv ? "celiBGRToYCbCr420_709HDTV_8u_AC4P3R" : "celiBGRToYCbCr420_709CSC_8u_";
        EXPECT_NE(r.err.find(enc), std::string::npos) << r.err;
        const Y4m y = readY4m(dir + "/o.y4m", y4mFrameBytes);
        EXPECT_NE(y.header.find(hdtv ? " XCOLORMATRIX=BT709HDTV" : " XCOLORMATRIX=BT709"), std::string::npos) << y.header;
        ASSERT_EQ(y.frames.size(), 1u);
        ASSERT_EQ(hdtv ? celiBGRToYCbCr420_709HDTV_8u_AC4P3R(bgra.data(), 4 * p.w, planes, steps, CelSize{w, h})
                       : celiBGRToYCbCr420_709CSC_8u_AC4P3R(bgra.data(), 4 * p.w, planes, steps, CelSize{w, h}),
                  celStatusOk);
        EXPECT_TRUE(y.frames[0] == ref) << "celcc's Y4M differs from the BT.709 export";
        // back to RGB through the BT.709 decoder the header names
        const Outcome back = celcc(dir, "convert o.y4m back.png -f -v");
        ASSERT_EQ(back.rc, 0) << back.err;
        EXPECT_NE(back.err.find(hdtv ? "celiYCbCr420ToBGR_709HDTV_8u_P3C4R" : "celiYCbCr420ToBGR_709CSC_8u_P3C3R"),
                  std::string::npos)
            << back.err;
        Bytes dec(size_t(4) * w * h);
        ASSERT_EQ(hdtv ? celiYCbCr420ToBGR_709HDTV_8u_P3C4R(cplanes, steps, dec.data(), 4 * w, CelSize{w, h}, 255)
                       : celiYCbCr420ToBGR_709CSC_8u_P3C3R(cplanes, steps, dec.data(), 3 * w, CelSize{w, h}),
                  celStatusOk);
        const Png b = readPng(dir + "/back.png");
        const int bpp = hdtv ? 4 : 3;  // the full-scale decoder writes BGRA: an RGBA PNG
        ASSERT_EQ(b.px.size(), size_t(bpp) * w * h);
        for (size_t i = 0; i < size_t(w) * h; ++i)
            for (int c = 0; c < 3; ++c) ASSERT_EQ(b.px[bpp * i + c], dec[bpp * i + 2 - c]) << "pixel " << i;
    }
    if (haveFfmpeg()) {
        // FFmpeg's BT.709 studio-range 4:2:0 of the same picture: luma within 1
        ASSERT_EQ(celcc(dir, "convert '" + src + "' o.y4m --crop -f -q --matrix bt709").rc, 0);
        ASSERT_TRUE(sh("ffmpeg -v error -i '" + src + "' -vf crop=" + std::to_string(w) + ":" + std::to_string(h) +
                       ":0:0,scale=out_color_matrix=bt709:out_range=tv -pix_fmt yuv420p -y '" + dir + "/ff.y4m'"));
        const Y4m a = readY4m(dir + "/o.y4m", y4mFrameBytes), f = readY4m(dir + "/ff.y4m", y4mFrameBytes);
        ASSERT_EQ(f.frames.size(), 1u);
        const size_t luma = size_t(w) * h;
        EXPECT_LE(diff(a.frames[0].data(), f.frames[0].data(), luma).max, 1);
        EXPECT_LE(diff(a.frames[0].data() + luma, f.frames[0].data() + luma, luma / 2).mean, 1.0);
    }
    // the RGB photo reaches the full-scale 4:2:0 encoder through BGRA: the same frame
    const Outcome viaBgra = celcc(dir, "convert '" + src + "' rgb.y4m --crop -f -v --matrix bt709-hdtv");
    ASSERT_EQ(viaBgra.rc, 0) << viaBgra.err;
    EXPECT_TRUE(readY4m(dir + "/rgb.y4m", y4mFrameBytes).frames[0] == ref);
    // full-scale packed 4:2:2: raw UYVY equals the C3 encoder on the photo as BGR, and comes back
    // through the C3 decoder
    const Outcome toUyvy = celcc(dir, "convert '" + src + "' o.uyvy --crop -f -v --matrix bt709-hdtv");
    ASSERT_EQ(toUyvy.rc, 0) << toUyvy.err;
    EXPECT_NE(toUyvy.err.find("celiBGRToCbYCr422_709HDTV_8u_C3C2R"), std::string::npos) << toUyvy.err;
    Bytes bgr(size_t(3) * p.w * p.h), uyvy(size_t(2) * w * h), back(size_t(3) * w * h);
    for (size_t i = 0; i < size_t(p.w) * p.h; ++i)
        bgr[3 * i] = p.px[3 * i + 2], bgr[3 * i + 1] = p.px[3 * i + 1], bgr[3 * i + 2] = p.px[3 * i];
    ASSERT_EQ(celiBGRToCbYCr422_709HDTV_8u_C3C2R(bgr.data(), 3 * p.w, uyvy.data(), 2 * w, CelSize{w, h}), celStatusOk);
    EXPECT_TRUE(slurp(dir + "/o.uyvy") == uyvy) << "celcc's UYVY differs from the full-scale 4:2:2 export";
    const std::string size = " --size " + std::to_string(w) + "x" + std::to_string(h);
    const Outcome fromUyvy = celcc(dir, "convert o.uyvy" + size + " --pix-fmt uyvy b422.png -f -v --matrix bt709-hdtv");
    ASSERT_EQ(fromUyvy.rc, 0) << fromUyvy.err;
    EXPECT_NE(fromUyvy.err.find("celiCbYCr422ToBGR_709HDTV_8u_C2C3R"), std::string::npos) << fromUyvy.err;
    ASSERT_EQ(celiCbYCr422ToBGR_709HDTV_8u_C2C3R(uyvy.data(), 2 * w, back.data(), 3 * w, CelSize{w, h}), celStatusOk);
    const Png b422 = readPng(dir + "/b422.png");
    ASSERT_EQ(b422.px.size(), back.size());
    for (size_t i = 0; i < size_t(w) * h; ++i)
        for (int c = 0; c < 3; ++c) ASSERT_EQ(b422.px[3 * i + c], back[3 * i + 2 - c]) << "pixel " << i;
    // no full-scale form of NV12
    EXPECT_NE(celcc(dir, "convert '" + src + "' o.nv12 --crop -f --matrix bt709-hdtv").rc, 0);
}

// ---- Demosaicing --------------------------------------------------------------------------

TEST(CliDemosaic, MosaicOfAPhotoEqualsTheExport) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    for (const char* pattern : {"rggb", "bggr", "gbrg", "grbg"}) {
        SCOPED_TRACE(pattern);
        const std::string m = std::string("m_") + pattern + ".png", o = std::string("d_") + pattern + ".png";
        ASSERT_EQ(celcc(dir, "mosaic '" + src + "' " + m + " --pattern " + pattern).rc, 0);
        const Outcome r = celcc(dir, "demosaic " + m + " " + o + " --pattern " + pattern + " -v");
        ASSERT_EQ(r.rc, 0) << r.err;
        EXPECT_NE(r.err.find("celiCFAToRGB_8u_C1C3R: celStatusOk"), std::string::npos);
        // The test's own mosaic: the filter colour of each site.
        const std::string pat(pattern);
        Bytes mosaic(size_t(p.w) * p.h);
        for (int y = 0; y < p.h; ++y)
            for (int x = 0; x < p.w; ++x) {
                const char c = pat[size_t((y % 2) * 2 + x % 2)];
                const int ch = c == 'r' ? 0 : c == 'g' ? 1 : 2;
                mosaic[size_t(y) * p.w + x] = p.px[(size_t(y) * p.w + x) * 3 + size_t(ch)];
            }
        EXPECT_TRUE(readPng(dir + "/" + m).px == mosaic);
        const CelBayerGrid grid = pat == "rggb" ? celBayerRGGB : pat == "bggr" ? celBayerBGGR : pat == "gbrg" ? celBayerGBRG : celBayerGRBG;
        Bytes ref(size_t(p.w) * p.h * 3);
        ASSERT_EQ(celiCFAToRGB_8u_C1C3R(mosaic.data(), CelRect{0, 0, p.w, p.h}, CelSize{p.w, p.h}, p.w, ref.data(),
                                        p.w * 3, grid), celStatusOk);
        const Png d = readPng(dir + "/" + o);
        EXPECT_TRUE(d.px == ref);
        EXPECT_LT(diff(d.px.data(), p.px.data(), ref.size()).mean, 6.0);
    }
}

// --method ahd: the export's bytes, 8-bit from a mosaicked photograph and
// 16-bit from a raw dump; on the photograph closer to the original than the
// bilinear method.
TEST(CliDemosaic, AhdMethodEqualsTheExport) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    ASSERT_EQ(celcc(dir, "mosaic '" + src + "' m.png --pattern grbg").rc, 0);
    const Outcome r = celcc(dir, "demosaic m.png a.png --pattern grbg --method ahd -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.err.find("celiDemosaicAHD_8u_C1C3R: celStatusOk"), std::string::npos) << r.err;
    const Png m = readPng(dir + "/m.png");
    Bytes ref(size_t(p.w) * p.h * 3);
    std::vector<uint8_t> buf(size_t(30) * (p.w + 6 + 16));
    ASSERT_EQ(celiDemosaicAHD_8u_C1C3R(m.px.data(), CelRect{0, 0, p.w, p.h}, CelSize{p.w, p.h}, p.w, ref.data(), p.w * 3,
                                       celBayerGRBG, buf.data(), p.w + 6 + 16),
              celStatusOk);
    const Png a = readPng(dir + "/a.png");
    EXPECT_TRUE(a.px == ref);
    ASSERT_EQ(celcc(dir, "demosaic m.png b.png --pattern grbg").rc, 0);
    const Png b = readPng(dir + "/b.png");
    EXPECT_LT(diff(a.px.data(), p.px.data(), ref.size()).mean, diff(b.px.data(), p.px.data(), ref.size()).mean);

    const int w = 40, h = 30;
    std::vector<uint16_t> m16(size_t(w) * h);
    std::mt19937 rng(6);
    for (auto& v : m16) v = uint16_t(rng() >> 16);
    std::ofstream(dir + "/m16.raw", std::ios::binary)
        .write(reinterpret_cast<const char*>(m16.data()), std::streamsize(m16.size() * 2));
    ASSERT_EQ(celcc(dir, "demosaic m16.raw d16.png --size 40x30 --depth 16 --pattern bggr --method ahd").rc, 0);
    std::vector<uint16_t> ref16(m16.size() * 3), buf16(size_t(30) * (w + 6 + 8));
    ASSERT_EQ(celiDemosaicAHD_16u_C1C3R(m16.data(), CelRect{0, 0, w, h}, CelSize{w, h}, w * 2, ref16.data(), w * 6,
                                        celBayerBGGR, buf16.data(), 2 * (w + 6) + 16),
              celStatusOk);
    const Png d = readPng(dir + "/d16.png");
    ASSERT_EQ(d.px.size(), ref16.size() * 2);
    EXPECT_EQ(std::memcmp(d.px.data(), ref16.data(), d.px.size()), 0);
}

TEST(CliDemosaic, RawDump16) {
    const std::string dir = workDir();
    const int w = 40, h = 30;
    std::vector<uint16_t> m(size_t(w) * h);
    std::mt19937 rng(5);
    for (auto& v : m) v = uint16_t(rng() >> 16);
    std::ofstream(dir + "/m.raw", std::ios::binary).write(reinterpret_cast<const char*>(m.data()), std::streamsize(m.size() * 2));
    const Outcome r = celcc(dir, "demosaic m.raw d.png --size 40x30 --depth 16 --pattern gbrg");
    ASSERT_EQ(r.rc, 0) << r.err;
    std::vector<uint16_t> ref(m.size() * 3);
    ASSERT_EQ(celiCFAToRGB_16u_C1C3R(m.data(), CelRect{0, 0, w, h}, CelSize{w, h}, w * 2, ref.data(), w * 6, celBayerGBRG), celStatusOk);
    const Png d = readPng(dir + "/d.png");
    EXPECT_EQ(d.depth, 16);
    ASSERT_EQ(d.px.size(), ref.size() * 2);
    EXPECT_EQ(std::memcmp(d.px.data(), ref.data(), d.px.size()), 0);
    // Eight bits out: the library's reduction, no dither.
    ASSERT_EQ(celcc(dir, "demosaic m.raw d8.png --size 40x30 --depth 16 --pattern gbrg --out-depth 8").rc, 0);
    Bytes ref8(ref.size());
    ASSERT_EQ(celiReduceBits_16u8u_C3R(ref.data(), w * 6, ref8.data(), w * 3, CelSize{w, h}, 0, celDitherOff, 256, nullptr), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/d8.png").px == ref8);
    // A length that does not match.
    const Outcome bad = celcc(dir, "demosaic m.raw e.png --size 41x30 --depth 16 --pattern gbrg");
    EXPECT_NE(bad.rc, 0);
    EXPECT_NE(bad.err.find("do not match"), std::string::npos) << bad.err;
    EXPECT_FALSE(exists(dir + "/e.png"));
}

// VNG: the export's B, G, R laid out as R, G, B; gains given as R,G,B reach
// the export as B, G, R.
template <class T>
std::vector<T> vngReference(const std::vector<T>& mosaic, int w, int h, CelBayerGrid grid, const float* gainsBgr) {
    std::vector<T> bgra(size_t(w) * h * 4), rgb(size_t(w) * h * 3);
    const int64_t s = w * int64_t(sizeof(T)), d = 4 * s;
    CelStatus st;
    if constexpr (sizeof(T) == 1)
        st = celiCFAToBGRA_VNG_8u_C1C4R_L(mosaic.data(), CelSizeL{w, h}, s, gainsBgr, bgra.data(), CelRectL{0, 0, w, h}, d, grid);
    else
        st = celiCFAToBGRA_VNG_16u_C1C4R_L(mosaic.data(), CelSizeL{w, h}, s, gainsBgr, bgra.data(), CelRectL{0, 0, w, h}, d, grid);
    EXPECT_EQ(st, celStatusOk);
    for (size_t i = 0; i < size_t(w) * h; ++i)
        for (int c = 0; c < 3; ++c) rgb[i * 3 + c] = bgra[i * 4 + 2 - c];
    return rgb;
}

TEST(CliDemosaic, VngOfAPhotoEqualsTheExport) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    ASSERT_EQ(celcc(dir, "mosaic '" + src + "' m.png --pattern grbg").rc, 0);
    const Png m = readPng(dir + "/m.png");
    const Outcome r = celcc(dir, "demosaic m.png v.png --pattern grbg --method vng -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.err.find("celiCFAToBGRA_VNG_8u_C1C4R_L: celStatusOk"), std::string::npos) << r.err;
    const Bytes ref = vngReference<uint8_t>(m.px, m.w, m.h, celBayerGRBG, nullptr);
    const Png v = readPng(dir + "/v.png");
    EXPECT_TRUE(v.px == ref);
    EXPECT_LT(diff(v.px.data(), p.px.data(), ref.size()).mean, 6.0);
    // Gains R,G,B = 1.5,1,0.5: the export gets B, G, R = 0.5, 1, 1.5.
    ASSERT_EQ(celcc(dir, "demosaic m.png g.png --pattern grbg --method vng --gains 1.5,1,0.5").rc, 0);
    const float gains[3] = {0.5f, 1.0f, 1.5f};
    EXPECT_TRUE(readPng(dir + "/g.png").px == vngReference<uint8_t>(m.px, m.w, m.h, celBayerGRBG, gains));
}

TEST(CliDemosaic, VngRawDump16) {
    const std::string dir = workDir();
    const int w = 37, h = 21;
    std::vector<uint16_t> m(size_t(w) * h);
    std::mt19937 rng(8);
    for (auto& v : m) v = uint16_t(rng() >> 16);
    std::ofstream(dir + "/m.raw", std::ios::binary).write(reinterpret_cast<const char*>(m.data()), std::streamsize(m.size() * 2));
    const Outcome r = celcc(dir, "demosaic m.raw d.png --size 37x21 --depth 16 --pattern bggr --method vng --gains 1,2,1");
    ASSERT_EQ(r.rc, 0) << r.err;
    const float gains[3] = {1.0f, 2.0f, 1.0f};
    const std::vector<uint16_t> ref = vngReference<uint16_t>(m, w, h, celBayerBGGR, gains);
    const Png d = readPng(dir + "/d.png");
    EXPECT_EQ(d.depth, 16);
    ASSERT_EQ(d.px.size(), ref.size() * 2);
    EXPECT_EQ(std::memcmp(d.px.data(), ref.data(), d.px.size()), 0);
}

// A minimal CFA DNG: one strip of 16-bit samples, RGGB, black 256, white 4095.
void writeDng(const std::string& path, int w, int h, const std::vector<uint16_t>& samples) {
    struct Entry {
        uint16_t tag, type;
        uint32_t count;
        Bytes value;
    };
    auto le16 = [](Bytes& b, uint32_t v) { b.push_back(uint8_t(v)), b.push_back(uint8_t(v >> 8)); };
    auto le32 = [&](Bytes& b, uint32_t v) { le16(b, v & 0xFFFF), le16(b, v >> 16); };
    auto shorts = [&](std::initializer_list<uint32_t> v) { Bytes b; for (uint32_t x : v) le16(b, x); return b; };
    auto longs = [&](std::initializer_list<uint32_t> v) { Bytes b; for (uint32_t x : v) le32(b, x); return b; };
    auto text = [](const char* s) { return Bytes(s, s + std::strlen(s) + 1); };
    Bytes matrix;
    for (int i = 0; i < 9; ++i) le32(matrix, i % 4 == 0 ? 1 : 0), le32(matrix, 1);
    const uint32_t dataBytes = uint32_t(samples.size() * 2);
    std::vector<Entry> e = {
        {254, 4, 1, longs({0})}, {256, 4, 1, longs({uint32_t(w)})}, {257, 4, 1, longs({uint32_t(h)})},
        {258, 3, 1, shorts({16})}, {259, 3, 1, shorts({1})}, {262, 3, 1, shorts({32803})},
        {271, 2, 6, text("Celcc")}, {272, 2, 5, text("Test")}, {273, 4, 1, longs({0})},
        {277, 3, 1, shorts({1})}, {278, 4, 1, longs({uint32_t(h)})}, {279, 4, 1, longs({dataBytes})},
        {284, 3, 1, shorts({1})}, {33421, 3, 2, shorts({2, 2})}, {33422, 1, 4, Bytes{0, 1, 1, 2}},
        {50706, 1, 4, Bytes{1, 4, 0, 0}}, {50708, 2, 11, text("Celcc Test")}, {50714, 4, 1, longs({256})},
        {50717, 4, 1, longs({4095})}, {50721, 10, 9, matrix}, {50778, 3, 1, shorts({21})}};
    const uint32_t ifdBytes = 2 + 12 * uint32_t(e.size()) + 4;
    Bytes blob;
    const uint32_t blobAt = 8 + ifdBytes;
    for (auto& x : e)
        if (x.value.size() > 4) blob.insert(blob.end(), x.value.begin(), x.value.end()), blob.resize((blob.size() + 1) & ~size_t(1));
    const uint32_t dataAt = blobAt + uint32_t(blob.size());
    Bytes out = {'I', 'I', 42, 0};
    le32(out, 8);
    le16(out, uint32_t(e.size()));
    uint32_t at = blobAt;
    for (auto& x : e) {
        le16(out, x.tag), le16(out, x.type), le32(out, x.count);
        if (x.tag == 273) x.value = longs({dataAt});
        if (x.value.size() > 4) {
            le32(out, at);
            at += uint32_t((x.value.size() + 1) & ~size_t(1));
        } else {
            Bytes v = x.value;
            v.resize(4, 0);
            out.insert(out.end(), v.begin(), v.end());
        }
    }
    le32(out, 0);
    out.insert(out.end(), blob.begin(), blob.end());
    for (uint16_t s : samples) le16(out, s);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(out.data()), std::streamsize(out.size()));
}

TEST(CliDemosaic, CfaDngThroughLibRaw) {
    const std::string dir = workDir();
    const int w = 64, h = 48;
    std::vector<uint16_t> raw(size_t(w) * h);
    std::mt19937 rng(9);
    for (size_t i = 0; i < raw.size(); ++i) raw[i] = uint16_t(200 + rng() % 3950);  // a few below black, a few above white
    writeDng(dir + "/t.dng", w, h, raw);
    const Outcome r = celcc(dir, "demosaic t.dng t.png -v");
    if (r.rc != 0 && r.err.find("need LibRaw") != std::string::npos) GTEST_SKIP() << "celcc built without LibRaw";
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.err.find("pattern rggb"), std::string::npos) << r.err;
    // Black and white levels applied by the tool, then the library's demosaicing.
    std::vector<uint16_t> lev(raw.size()), ref(raw.size() * 3);
    for (size_t i = 0; i < raw.size(); ++i) {
        const int64_t v = ((int64_t(raw[i]) - 256) * 65535 + (4095 - 256) / 2) / (4095 - 256);
        lev[i] = uint16_t(std::clamp<int64_t>(v, 0, 65535));
    }
    ASSERT_EQ(celiCFAToRGB_16u_C1C3R(lev.data(), CelRect{0, 0, w, h}, CelSize{w, h}, w * 2, ref.data(), w * 6, celBayerRGGB), celStatusOk);
    const Png p = readPng(dir + "/t.png");
    ASSERT_EQ(p.px.size(), ref.size() * 2);
    EXPECT_EQ(std::memcmp(p.px.data(), ref.data(), p.px.size()), 0);
}

// ---- Dither -------------------------------------------------------------------------------

TEST(CliDither, OrderedAndNoneEqualTheExport) {
    NEED_PHOTO(src, "coffee.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    for (const auto& m : {std::make_pair("ordered", celDitherOrdered), std::make_pair("none", celDitherOff)}) {
        const std::string out = std::string("d_") + m.first + ".png";
        const Outcome r = celcc(dir, "dither '" + src + "' " + out + " --levels 4 --method " + m.first);
        ASSERT_EQ(r.rc, 0) << r.err;
        Bytes ref(p.px.size());
        ASSERT_EQ(celiReduceBits_8u_C3R(p.px.data(), p.w * 3, ref.data(), p.w * 3, CelSize{p.w, p.h}, 0, m.second, 4, nullptr), celStatusOk);
        EXPECT_TRUE(readPng(dir + "/" + out).px == ref) << m.first;
    }
    // With noise the scratch comes from celiReduceBitsGetBufferSize.
    const Outcome r = celcc(dir, "dither '" + src + "' noisy.png --levels 8 --noise 30");
    ASSERT_EQ(r.rc, 0) << r.err;
    int size = 0;
    ASSERT_EQ(celiReduceBitsGetBufferSize(3, CelSize{p.w, p.h}, 30, celDitherOrdered, &size), celStatusOk);
    Bytes scratch(static_cast<size_t>(size)), ref(p.px.size());
    ASSERT_EQ(celiReduceBits_8u_C3R(p.px.data(), p.w * 3, ref.data(), p.w * 3, CelSize{p.w, p.h}, 30, celDitherOrdered, 8, scratch.data()), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/noisy.png").px == ref);
}

// Error diffusion through the tool: its scratch from celiReduceBitsGetBufferSize,
// the picture equal to the export's, with and without noise.
TEST(CliDither, ErrorDiffusionEqualsTheExport) {
    NEED_PHOTO(src, "coffee.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    const std::pair<const char*, CelDitherMode> methods[] = {
        {"fs", celDitherFloydSteinberg}, {"jjn", celDitherJarvisJudiceNinke}, {"stucki", celDitherStucki}};
    for (const auto& m : methods)
        for (int noise : {0, 20}) {
            const std::string out = std::string("e_") + m.first + std::to_string(noise) + ".png";
            const Outcome r = celcc(dir, "dither '" + src + "' " + out + " --levels 4 --method " + m.first +
                                             " --noise " + std::to_string(noise));
            ASSERT_EQ(r.rc, 0) << r.err;
            int size = 0;
            ASSERT_EQ(celiReduceBitsGetBufferSize(3, CelSize{p.w, p.h}, noise, m.second, &size), celStatusOk);
            Bytes scratch(static_cast<size_t>(size)), ref(p.px.size());
            ASSERT_EQ(celiReduceBits_8u_C3R(p.px.data(), p.w * 3, ref.data(), p.w * 3, CelSize{p.w, p.h}, noise,
                                            m.second, 4, scratch.data()),
                      celStatusOk);
            EXPECT_TRUE(readPng(dir + "/" + out).px == ref) << m.first << " noise " << noise;
        }
}

// ---- One-bit dither and tone mapping --------------------------------------------------------

// PBM through the tool: the bits of celiReduceBits_8u1u_C1R on the gray
// photograph, inverted for the file (1 is black there), zero past the width.
TEST(CliDither, OneBitPbmEqualsTheExport) {
    NEED_PHOTO(src, "camera.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    ASSERT_EQ(p.channels, 1);
    const int rowBytes = (p.w + 7) / 8;
    for (const auto& m : {std::make_pair("", celDitherOff), std::make_pair(" --method stucki", celDitherStucki)}) {
        const Outcome r = celcc(dir, "dither '" + src + "' b.pbm -f --levels 2 --bits 1 --threshold 100" + m.first);
        ASSERT_EQ(r.rc, 0) << r.err;
        int size = 0;
        ASSERT_EQ(celiReduceBitsGetBufferSize(1, CelSize{p.w, p.h}, 0, celDitherStucki, &size), celStatusOk);
        Bytes scratch(size_t(size) + 64), bits(size_t(rowBytes) * p.h);
        ASSERT_EQ(celiReduceBits_8u1u_C1R(p.px.data(), p.w, bits.data(), rowBytes, 0, CelSize{p.w, p.h}, 0, 0, m.second,
                                          100, scratch.data()),
                  celStatusOk);
        const std::string header = "P4\n" + std::to_string(p.w) + " " + std::to_string(p.h) + "\n";
        const Bytes file = slurp(dir + "/b.pbm");
        ASSERT_EQ(file.size(), header.size() + bits.size()) << m.first;
        EXPECT_EQ(std::string(file.begin(), file.begin() + long(header.size())), header);
        size_t differ = 0;
        for (size_t i = 0; i < bits.size(); ++i) differ += file[header.size() + i] != uint8_t(~bits[i]);
        EXPECT_EQ(differ, 0u) << m.first;
    }
    // colour goes to gray through the table first; other methods are refused
    NEED_PHOTO(rgb, "astronaut.png");
    EXPECT_EQ(celcc(dir, "dither '" + rgb + "' c.pbm --levels 2 --bits 1").rc, 0);
    const Outcome bad = celcc(dir, "dither '" + src + "' d.pbm --levels 2 --bits 1 --method fs");
    EXPECT_EQ(bad.rc, 1);
    EXPECT_NE(bad.err.find("none and stucki"), std::string::npos) << bad.err;
    EXPECT_FALSE(exists(dir + "/d.pbm"));
}

// A PFM written here: rows bottom to top, little- or big-endian by the sign
// of the scale.
void writePfm(const std::string& path, int w, int h, int ch, const std::vector<float>& topDown, bool little) {
    std::ofstream f(path, std::ios::binary);
    f << (ch == 3 ? "PF" : "Pf") << "\n" << w << " " << h << "\n" << (little ? "-1.0" : "1.0") << "\n";
    for (int y = h - 1; y >= 0; --y)
        for (int x = 0; x < w * ch; ++x) {
            float v = topDown[size_t(y) * w * ch + x];
            uint8_t b[4];
            std::memcpy(b, &v, 4);
            if (!little) std::swap(b[0], b[3]), std::swap(b[1], b[2]);
            f.write(reinterpret_cast<const char*>(b), 4);
        }
}

TEST(CliToneMap, PfmToPngEqualsTheExports) {
    const std::string dir = workDir();
    const int w = 67, h = 23;
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> d(-0.1f, 40.0f);
    for (int ch : {1, 3}) {
        std::vector<float> v(size_t(w) * h * ch);
        for (auto& x : v) x = d(rng);
        writePfm(dir + "/in.pfm", w, h, ch, v, ch == 1);
        for (bool linear : {true, false}) {
            const Outcome r = celcc(dir, std::string("tonemap in.pfm out.png -f ") + (linear ? "--linear" : "--mean"));
            ASSERT_EQ(r.rc, 0) << r.err;
            Bytes ref(v.size());
            const CelSize size{w * ch, h};
            ASSERT_EQ(linear ? celiToneMapLinear_32f8u_C1R(v.data(), w * ch * 4, ref.data(), w * ch, size)
                             : celiToneMapMean_32f8u_C1R(v.data(), w * ch * 4, ref.data(), w * ch, size),
                      celStatusOk);
            const Png p = readPng(dir + "/out.png");
            EXPECT_EQ(p.channels, ch);
            EXPECT_TRUE(p.px == ref) << "channels " << ch << (linear ? " linear" : " mean");
        }
    }
    // all negative: the warning, reported, and no file
    writePfm(dir + "/neg.pfm", 4, 2, 1, std::vector<float>(8, -1.0f), true);
    const Outcome r = celcc(dir, "tonemap neg.pfm neg.png --linear");
    EXPECT_EQ(r.rc, 1);
    EXPECT_NE(r.err.find("celStatusToneMapNegative"), std::string::npos) << r.err;
    EXPECT_FALSE(exists(dir + "/neg.png"));
    EXPECT_EQ(celcc(dir, "tonemap in.pfm x.png").rc, 1);                  // neither --linear nor --mean
    EXPECT_EQ(celcc(dir, "tonemap in.pfm x.png --linear --mean").rc, 1);  // both
    std::ofstream(dir + "/short.pfm") << "Pf\n10 10\n-1.0\nabc";
    const Outcome t = celcc(dir, "tonemap short.pfm x.png --mean");
    EXPECT_EQ(t.rc, 1);
    EXPECT_NE(t.err.find("truncated"), std::string::npos) << t.err;
}

// ---- Bad input ----------------------------------------------------------------------------

struct BadCase {
    const char* what;
    std::string setup;  // shell commands in the work directory
    std::string args;
    std::string message;
};

TEST(CliBadInput, EveryCaseNamesTheProblemAndLeavesNothing) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string q = "'" + src + "'";
    const std::vector<BadCase> cases = {
        {"missing file", "", "convert nothere.png out.png", "nothere.png: cannot open: No such file"},
        {"unreadable file", "mkdir d.png", "convert d.png out.png", "d.png: cannot read: Is a directory"},
        {"truncated PNG", "head -c 4000 " + q + " > t.png", "convert t.png out.png", "t.png: corrupt or truncated PNG"},
        {"corrupt PNG", "cp " + q + " c.png && printf 'XXXXXXXXXXXXXXXX' | dd of=c.png bs=1 seek=100000 conv=notrunc 2>/dev/null",
         "convert c.png out.png", "c.png: corrupt or truncated PNG"},
        {"unknown format", "echo hello > x.foo", "convert x.foo out.png", "x.foo: unknown input format"},
        {"unknown output", "", "convert " + q + " out.xyz123", "out.xyz123: unknown output type"},
        {"truncated Y4M", "printf 'YUV4MPEG2 W16 H16 F25:1 C420jpeg\\nFRAME\\n0123' > t.y4m", "convert t.y4m out.png",
         "t.y4m: frame 1 is truncated"},
        {"bad Y4M header", "printf 'YUV4MPEG2 W16 Habc C420jpeg\\nFRAME\\n' > h.y4m", "convert h.y4m out.png", "h.y4m: bad Y4M header field"},
        {"10-bit Y4M", "printf 'YUV4MPEG2 W16 H16 C420p10\\n' > p10.y4m", "convert p10.y4m out.png", "C420p10 is not supported"},
        {"raw size mismatch", "head -c 1000 /dev/zero > r.nv12", "convert r.nv12 --size 64x48 --pix-fmt nv12 out.png",
         "r.nv12: 1000 bytes is not a whole number of 64x48 NV12 frames"},
        {"raw without size", "head -c 1000 /dev/zero > r2.yuv", "convert r2.yuv out.png", "r2.yuv: a raw file needs --size"},
        {"zero size", "printf 'P5\\n0 5\\n255\\n' > z.pgm", "convert z.pgm out.png", "z.pgm: image size 0x5 is empty"},
        {"huge size", "printf 'P6\\n100000 100000\\n255\\n' > huge.ppm", "convert huge.ppm out.png", "huge.ppm: image size 100000x100000 is too large"},
        {"truncated PNM", "printf 'P6\\n10 10\\n255\\nabc' > tr.ppm", "convert tr.ppm out.png", "tr.ppm: truncated"},
        {"truncated JPEG", "ffmpeg -v error -i " + q + " full.jpg && head -c 20000 full.jpg > tj.jpg && rm full.jpg",
         "convert tj.jpg out.png", "tj.jpg: corrupt or truncated JPEG"},
        {"--size on a PNG", "", "convert " + q + " out.png --size 10x10 --pix-fmt nv12", "only raw inputs take --size"},
        {"--pix-fmt Y4M cannot hold", "", "convert " + q + " out.y4m --pix-fmt nv12", "out.y4m: NV12 cannot be written in this file type"},
        {"no route", "", "convert " + q + " out.yuv --pix-fmt rgb48", "the library cannot convert RGB24 to RGB48"},
        {"unknown pixel format", "", "convert " + q + " out.yuv --pix-fmt abc", "--pix-fmt: unknown pixel format 'abc'"},
        {"several inputs without --out-dir", "", "convert " + q + " " + q + " out.png", "several inputs with --out-dir"},
        {"bad levels", "", "dither " + q + " out.png --levels 1", "celiReduceBits_8u_C3R returned celStatusBadLevels"},
        {"bad noise", "", "dither " + q + " out.png --levels 4 --noise 101", "returned celStatusBadNoise"},
        {"dither method", "", "dither " + q + " out.png --levels 4 --method blue", "'blue' is not a dither method"},
        {"mosaic of RGB", "", "demosaic " + q + " out.png --pattern rggb", "a mosaic has one channel"},
        {"demosaic without pattern", "printf 'P5\\n4 4\\n255\\n0123456789abcdef' > m.pgm", "demosaic m.pgm out.png", "give the mosaic's --pattern"},
        {"demosaic method", "printf 'P5\\n4 4\\n255\\n0123456789abcdef' > m2.pgm", "demosaic m2.pgm out.png --pattern rggb --method nope",
         "'nope' is not a demosaicing method"},
        {"too small for the library", "printf 'P5\\n1 1\\n255\\nx' > one.pgm", "demosaic one.pgm out.png --pattern rggb",
         "celiCFAToRGB_8u_C1C3R returned celStatusBadSize"},
        {"vng below 5x5", "printf 'P5\\n4 4\\n255\\n0123456789abcdef' > m4.pgm", "demosaic m4.pgm out.png --pattern rggb --method vng",
         "celiCFAToBGRA_VNG_8u_C1C4R_L returned celStatusBadSize"},
        {"gains without vng", "printf 'P5\\n8 8\\n255\\n0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef' > m8.pgm",
         "demosaic m8.pgm out.png --pattern rggb --gains 1,1,1", "--method bilinear applies no gains"},
        {"bad gains", "printf 'P5\\n8 8\\n255\\n0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef' > m9.pgm",
         "demosaic m9.pgm out.png --pattern rggb --method vng --gains 1,2", "'1,2' is not three gains R,G,B"},
        {"not a camera raw", "printf 'II*\\0garbage' > bad.dng", "demosaic bad.dng out.png", "bad.dng: "},
        {"existing output", "echo keep > out.png", "convert " + q + " out.png", "out.png: exists (use --force to overwrite)"},
    };
    for (const BadCase& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string dir = workDir() + "/" + std::to_string(&c - cases.data());
        ASSERT_TRUE(sh("mkdir -p '" + dir + "'"));
        if (!c.setup.empty()) ASSERT_TRUE(sh("cd '" + dir + "' && " + c.setup));
        const std::vector<std::string> before = entries(dir);
        const Bytes keep = exists(dir + "/out.png") ? slurp(dir + "/out.png") : Bytes();
        const Outcome r = celcc(dir, c.args);
        EXPECT_NE(r.rc, 0);
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "one line: " << r.err;
        EXPECT_EQ(r.err.rfind("celcc: ", 0), 0u) << r.err;
        EXPECT_EQ(entries(dir), before) << "a file was left behind";
        if (!keep.empty()) EXPECT_TRUE(slurp(dir + "/out.png") == keep);
        sh("chmod -R u+rw '" + dir + "'");
    }
}

TEST(CliBadInput, ForceOverwrites) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    ASSERT_TRUE(sh("echo keep > '" + dir + "/out.png'"));
    ASSERT_EQ(celcc(dir, "convert '" + src + "' out.png --force -q").rc, 0);
    EXPECT_TRUE(readPng(dir + "/out.png").px == readPng(src).px);
    EXPECT_EQ(entries(dir).size(), 1u);
}

TEST(CliBadInput, OneBadFileAmongManyFailsOnlyThatFile) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    ASSERT_TRUE(sh("cd '" + dir + "' && mkdir out && cp '" + src + "' a.png && cp '" + src + "' c.png && head -c 3000 a.png > b.png"));
    const Outcome r = celcc(dir, "convert a.png b.png c.png --out-dir out --to ppm --jobs 2");
    EXPECT_EQ(r.rc, 1);
    EXPECT_NE(r.err.find("celcc: b.png: corrupt or truncated PNG"), std::string::npos) << r.err;
    EXPECT_EQ(entries(dir + "/out"), (std::vector<std::string>{"a.ppm", "c.ppm"}));
}

// ---- list and bench -----------------------------------------------------------------------

TEST(CliTools, ListPrintsTheDocLines) {
    const std::string dir = workDir();
    const Outcome r = celcc(dir, "list RGBToYCbCr420_8u_C3P3R");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.out.find("celiRGBToYCbCr420_8u_C3P3R\n    C3 RGB -> 4:2:0 planes Y, Cb, Cr."), std::string::npos) << r.out;
    const Outcome f = celcc(dir, "list --formats nv");
    EXPECT_NE(f.out.find("NV12"), std::string::npos);
    const Outcome route = celcc(dir, "route rgb24 nv21");
    EXPECT_EQ(route.out, "RGB24 -> I420 (celiRGBToYCbCr420_8u_C3P3R) -> NV21 (celiYCbCr420_8u_P3P2R)\n");
}

TEST(CliTools, BenchTimesAgainstMemcpy) {
    const std::string dir = workDir();
    const Outcome r = celcc(dir, "bench RGBToGray_8u_C3C1R --size 64x32 --seconds 0.01");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_NE(r.out.find("celiRGBToGray_8u_C3C1R"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("memcpy Mpix/s"), std::string::npos) << r.out;
}

}  // namespace
