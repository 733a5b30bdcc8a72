// celcc on real files: photographs from the skimage package, video frames
// made by FFmpeg, a CFA DNG written here.  One table of tool runs checks
// each option, message, exit status and route; the bodies below check that
// each file format and command gives the bytes of direct export calls (and
// stays near FFmpeg's own conversions where it reads or writes video).
#include <dirent.h>
#include <spng.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
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

Bytes slurp(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
}
std::string slurpText(const std::string& path) {
    const Bytes b = slurp(path);
    return std::string(b.begin(), b.end());
}
bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }
template <class T>
Bytes bytesOf(const std::vector<T>& v) {
    return Bytes(reinterpret_cast<const uint8_t*>(v.data()), reinterpret_cast<const uint8_t*>(v.data() + v.size()));
}
bool sh(const std::string& cmd) { return std::system(cmd.c_str()) == 0; }
bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

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

// Shell variables every run sees: the photographs and the tool itself.
std::string shellVars() {
    return "A='" + photo("astronaut.png") + "'; C='" + photo("chelsea.png") + "'; K='" + photo("coffee.png") + "'; G='" +
           photo("camera.png") + "'; T='" CELCC_BIN "'; ";
}

struct Outcome {
    int rc;
    std::string err, out;
};
Outcome celcc(const std::string& dir, const std::string& args) {
    const std::string cmd = "cd '" + dir + "' && " + shellVars() + "\"$T\" " + args + " >.stdout 2>.stderr";
    const int st = std::system(cmd.c_str());
    return {WIFEXITED(st) ? WEXITSTATUS(st) : 128, slurpText(dir + "/.stderr"), slurpText(dir + "/.stdout")};
}
#define RUN_OK(dir, args)                                   \
    do {                                                    \
        const Outcome ok_ = celcc(dir, args);               \
        ASSERT_EQ(ok_.rc, 0) << (args) << ": " << ok_.err;  \
    } while (0)

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

// ---- PNG through libspng, Y4M ------------------------------------------------------------

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

struct Y4m {
    std::string header;
    int w = 0, h = 0;
    std::vector<Bytes> frames;
};

Y4m readY4m(const std::string& path) {
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
    const size_t luma = size_t(y.w) * y.h, cw = size_t(c == "C411" ? (y.w + 3) / 4 : (y.w + 1) / 2);
    const size_t n = c.rfind("C420", 0) == 0 ? luma + 2 * cw * ((y.h + 1) / 2)
                     : c == "C444"           ? 3 * luma
                     : c == "Cmono"          ? luma
                                             : luma + 2 * cw * y.h;
    size_t i = size_t(nl - b.begin()) + 1;
    while (i < b.size()) {
        i = size_t(std::find(b.begin() + long(i), b.end(), uint8_t('\n')) - b.begin()) + 1;
        if (i + n > b.size()) break;
        y.frames.emplace_back(b.begin() + long(i), b.begin() + long(i + n));
        i += n;
    }
    return y;
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

// Three planes inside one buffer, each `rows[i]` rows of `steps[i]` bytes.
struct Planes {
    Bytes buf;
    uint8_t* p[3];
    int steps[3];
    Planes(int w0, int w12, int h0, int h12) : buf(size_t(w0) * h0 + 2 * size_t(w12) * h12), steps{w0, w12, w12} {
        p[0] = buf.data(), p[1] = p[0] + size_t(w0) * h0, p[2] = p[1] + size_t(w12) * h12;
    }
    const uint8_t* const* c() const { return p; }
};

// ---- One table of tool runs ---------------------------------------------------------------
//
// Each run: shell set-up in its own directory, the tool's arguments (shell
// variables $A $C $K $G name the photographs, $T the tool), the exit
// status, fragments of what it says, and the file it leaves.  A failing run
// says one line "celcc: ..." (CLI11's own parse errors aside) and leaves
// the directory as it found it, an existing out.png untouched.

struct ToolRun {
    std::string setup, args;
    int rc;
    std::vector<std::string> says;
    std::string made = "", holding = "";  // an output file, and a fragment of its first line
};

const std::string kPgm4 = "printf 'P5\\n4 4\\n255\\n0123456789abcdef' > m.pgm";
const std::string kPgm8 = "{ printf 'P5\\n8 8\\n255\\n'; printf 'wxyz%.0s' 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16; } > m.pgm";
const std::string kNegPfm = "{ printf 'Pf\\n4 2\\n-1.0\\n'; printf '\\000\\000\\200\\277%.0s' 1 2 3 4 5 6 7 8; } > neg.pfm";
const std::string kY4m = "ffmpeg -v error -f lavfi -i testsrc2=size=64x32:rate=5 -frames:v 1 -pix_fmt yuv420p t.y4m";

const std::vector<ToolRun> kRuns = {
    // listing, routes and timing
    {"", "list RGBToYCbCr420_8u_C3P3R", 0, {"celiRGBToYCbCr420_8u_C3P3R\n    C3 RGB -> 4:2:0 planes Y, Cb, Cr."}},
    {"", "list --formats nv", 0, {"NV12"}},
    {"", "route rgb24 nv21", 0, {"RGB24 -> I420 (celiRGBToYCbCr420_8u_C3P3R) -> NV21 (celiYCbCr420_8u_P3P2R)\n"}},
    {"", "bench RGBToGray_8u_C3C1R --size 64x32 --seconds 0.01", 0, {"celiRGBToGray_8u_C3C1R", "memcpy Mpix/s"}},
    // --to a colour model, --in-pix-fmt relabelling a PNG, 16 bits in and out
    {"", "convert $C o.png --to hsv -v", 0, {"RGB24 -> HSV24 (celiRGBToHSV_8u_C3R)", "celiRGBToHSV_8u_C3R: celStatusOk"}, "o.png"},
    {"", "convert $C o.png --in-pix-fmt hsv24 -v", 0, {"HSV24 -> RGB24 (celiHSVToRGB_8u_C3R)"}},
    {"ffmpeg -v error -i $K -pix_fmt rgb48be in16.png", "convert in16.png o.png --to hsv -v", 0,
     {"celiRGBToHSV_16u_C3R: celStatusOk"}},
    {"ffmpeg -v error -i $K -pix_fmt rgb48be in16.png", "convert in16.png o.png --gamma inv -v", 0,
     {"celiGammaInv_16u_C3IR: celStatusOk"}},
    {"", "convert $A --out-dir . --to ycc -v", 0, {"celiRGBToYCC_8u_C3R: celStatusOk", "-> ./astronaut.ycc"}, "astronaut.ycc"},
    {"\"$T\" convert $A --out-dir . --to ycc -q", "convert astronaut.ycc o.png --size 512x512 --pix-fmt ycc -v", 0,
     {"YCC24 -> RGB24 (celiYCCToRGB_8u_C3R)"}},
    // --matrix bt709 and bt709-hdtv: the BT.709 exports, the matrix said in the Y4M and honoured on
    // the way back; RGB reaches the BGRA-only full-scale encoder through BGRA, and its decoder gives RGBA
    {"", "convert $K o.y4m --crop -v --matrix bt709", 0,
     {"RGB24 -> BGR24 (celiColorTwist32f_8u_C3R) -> I420_709 (celiBGRToYCbCr420_709CSC_8u_C3P3R)"}, "o.y4m",
     " C420jpeg XCOLORMATRIX=BT709\n"},
    {"\"$T\" convert $K i.y4m -q --matrix bt709", "convert i.y4m o.png -v", 0,
     {"I420_709 -> BGR24 (celiYCbCr420ToBGR_709CSC_8u_P3C3R) -> RGB24 (celiColorTwist32f_8u_C3R)"}},
    {"", "convert $K o.y4m --crop -v --matrix bt709-hdtv", 0,
     {"RGB24 -> BGRA (celiColorTwist32f_8u_AC4IR) -> I420_709HDTV (celiBGRToYCbCr420_709HDTV_8u_AC4P3R)"}, "o.y4m",
     " C420jpeg XCOLORMATRIX=BT709HDTV\n"},
    {"\"$T\" convert $K i.y4m -q --matrix bt709-hdtv", "convert i.y4m o.png -v", 0,
     {"I420_709HDTV -> BGRA (celiYCbCr420ToBGR_709HDTV_8u_P3C4R) -> RGBA (celiColorTwist32f_8u_AC4IR)"}, "o.png"},
    {"\"$T\" convert $K i.y4m -q --matrix bt709-hdtv && \"$T\" convert i.y4m rgba.png -q && rm i.y4m",
     "convert rgba.png o.y4m --matrix bt709-hdtv -v", 0,
     {"RGBA -> BGRA (celiColorTwist32f_8u_AC4IR) -> I420_709HDTV (celiBGRToYCbCr420_709HDTV_8u_AC4P3R)"}},
    {"", "convert $A o.uyvy -v --matrix bt709-hdtv", 0,
     {"RGB24 -> BGR24 (celiColorTwist32f_8u_C3R) -> UYVY_709HDTV (celiBGRToCbYCr422_709HDTV_8u_C3C2R)"}},
    {"\"$T\" convert $A i.uyvy -q --matrix bt709-hdtv", "convert i.uyvy --size 512x512 --pix-fmt uyvy o.png -v --matrix bt709-hdtv",
     0, {"UYVY_709HDTV -> BGR24 (celiCbYCr422ToBGR_709HDTV_8u_C2C3R) -> RGB24"}},
    // demosaicing methods, one-bit output of a colour picture
    {"\"$T\" mosaic $A m.png --pattern grbg", "demosaic m.png o.png --pattern grbg --method ahd -v", 0,
     {"celiDemosaicAHD_8u_C1C3R: celStatusOk"}},
    {"", "dither $A c.pbm --levels 2 --bits 1", 0, {}, "c.pbm", "P4"},

    // bad input: files
    {"", "convert nothere.png out.png", 1, {"nothere.png: cannot open: No such file"}},
    {"mkdir d.png", "convert d.png out.png", 1, {"d.png: cannot read: Is a directory"}},
    {"head -c 4000 $A > t.png", "convert t.png out.png", 1, {"t.png: corrupt or truncated PNG"}},
    {"echo hello > x.foo", "convert x.foo out.png", 1, {"x.foo: unknown input format"}},
    {"", "convert $A out.xyz123", 1, {"out.xyz123: unknown output type"}},
    {"printf 'YUV4MPEG2 W16 H16 F25:1 C420jpeg\\nFRAME\\n0123' > t.y4m", "convert t.y4m out.png", 1, {"t.y4m: frame 1 is truncated"}},
    {"printf 'YUV4MPEG2 W16 Habc C420jpeg\\nFRAME\\n' > h.y4m", "convert h.y4m out.png", 1, {"h.y4m: bad Y4M header field"}},
    {"printf 'YUV4MPEG2 W16 H16 C420p10\\n' > p10.y4m", "convert p10.y4m out.png", 1, {"C420p10 is not supported"}},
    {"head -c 1000 /dev/zero > r.nv12", "convert r.nv12 --size 64x48 --pix-fmt nv12 out.png", 1,
     {"r.nv12: 1000 bytes is not a whole number of 64x48 NV12 frames"}},
    {"head -c 1000 /dev/zero > r2.yuv", "convert r2.yuv out.png", 1, {"r2.yuv: a raw file needs --size"}},
    {"printf 'P5\\n0 5\\n255\\n' > z.pgm", "convert z.pgm out.png", 1, {"z.pgm: image size 0x5 is empty"}},
    {"printf 'P6\\n100000 100000\\n255\\n' > huge.ppm", "convert huge.ppm out.png", 1, {"huge.ppm: image size 100000x100000 is too large"}},
    {"printf 'P6\\n10 10\\n255\\nabc' > tr.ppm", "convert tr.ppm out.png", 1, {"tr.ppm: truncated"}},
    {"ffmpeg -v error -i $A full.jpg && head -c 20000 full.jpg > tj.jpg && rm full.jpg", "convert tj.jpg out.png", 1,
     {"tj.jpg: corrupt or truncated JPEG"}},
    {"\"$T\" convert $A planes.npy --to ycocg-rev -q", "convert planes.npy out.png", 1, {"--pix-fmt"}},
    {"", "convert $A $A out.png", 1, {"several inputs with --out-dir"}},
    {"", "convert $A --out-dir d1", 1, {"cannot create a file in d1"}},
    {"echo keep > out.png", "convert $A out.png", 1, {"out.png: exists (use --force to overwrite)"}},
    {"echo keep > out.png", "convert $A out.png --force -q", 0, {}, "out.png", "\x89PNG"},
    // bad input: options of convert
    {"", "convert $A out.png --size 10x10 --pix-fmt nv12", 1, {"only raw inputs take --size"}},
    {"", "convert $A out.y4m --pix-fmt nv12", 1, {"out.y4m: NV12 cannot be written in this file type"}},
    {"", "convert $A out.yuv --pix-fmt rgb48", 1, {"the library cannot convert RGB24 to RGB48"}},
    {"", "convert $A out.yuv --pix-fmt abc", 1, {"--pix-fmt: unknown pixel format 'abc'"}},
    {"", "convert $C out.y4m", 1, {"451x300 does not fit"}},
    {"", "convert $A out.png --in-pix-fmt lab48", 1, {"which --in-pix-fmt LAB48 cannot relabel"}},
    {"", "convert $A out.png --to lab --out-pix-fmt rgb24", 1, {"--to: give the output format once"}},
    {"", "convert $A out.png --to nosuchmodel", 1, {"--to: unknown pixel format 'nosuchmodel'"}},
    {"\"$T\" convert $A g.pgm --pix-fmt gray8 -q", "convert g.pgm out.pgm --gamma fwd", 1, {"--gamma needs RGB on one side"}},
    {"", "convert $A out.png --gamma sideways", 105, {"--gamma: sideways not in {fwd,inv}"}},
    {"", "convert $A out.png --matrix '1 0 0 0; 0 1 0 0'", 1, {"--matrix: needs three rows of four numbers"}},
    {"", "convert $A out.png --matrix '1 0 x 0; 0 1 0 0; 0 0 1 0'", 1, {"--matrix: 'x' is not a number"}},
    {"", "convert $A out.png --matrix no-such-file", 1, {"'no-such-file' is neither a matrix nor a readable file"}},
    {"", "convert $A out.nv12 --matrix bt709-hdtv", 1, {"no BT.709 full-scale form of NV12"}},
    {kY4m + " && head -c 2880 /dev/zero > u.yuv", "convert u.yuv out.y4m --size 64x30 --pix-fmt i420 --out-pix-fmt i422 --interlaced",
     1, {"needs a height of a multiple of 4 (30"}},
    {kY4m, "convert t.y4m out.y4m --out-pix-fmt i422 --interlaced --chroma-filter", 1,
     {"--interlaced: goes with no --chroma-filter"}},
    // bad input: dither, demosaic, tonemap
    {"", "dither $A out.png --levels 1", 1, {"celiReduceBits_8u_C3R returned celStatusBadLevels"}},
    {"", "dither $A out.png --levels 4 --method blue", 1, {"'blue' is not a dither method"}},
    {"", "dither $G out.pbm --levels 2 --bits 1 --method fs", 1, {"none and stucki"}},
    {"", "demosaic $A out.png --pattern rggb", 1, {"a mosaic has one channel"}},
    {kPgm4, "demosaic m.pgm out.png", 1, {"give the mosaic's --pattern"}},
    {kPgm4, "demosaic m.pgm out.png --pattern rggb --method nope", 1, {"'nope' is not a demosaicing method"}},
    {"printf 'P5\\n1 1\\n255\\nx' > one.pgm", "demosaic one.pgm out.png --pattern rggb", 1,
     {"celiCFAToRGB_8u_C1C3R returned celStatusBadSize"}},
    {kPgm4, "demosaic m.pgm out.png --pattern rggb --method vng", 1, {"celiCFAToBGRA_VNG_8u_C1C4R_L returned celStatusBadSize"}},
    {kPgm8, "demosaic m.pgm out.png --pattern rggb --gains 1,1,1", 1, {"--method bilinear applies no gains"}},
    {kPgm8, "demosaic m.pgm out.png --pattern rggb --method vng --gains 1,2", 1, {"'1,2' is not three gains R,G,B"}},
    {"head -c 2400 /dev/zero > m.raw", "demosaic m.raw out.png --size 41x30 --depth 16 --pattern gbrg", 1, {"do not match"}},
    {"printf 'II*\\0garbage' > bad.dng", "demosaic bad.dng out.png", 1, {"bad.dng: "}},
    {kNegPfm, "tonemap neg.pfm out.png --linear", 1, {"celStatusToneMapNegative"}},
    {kNegPfm, "tonemap neg.pfm out.png", 1, {"tonemap: give one of --linear and --mean"}},
    {kNegPfm, "tonemap neg.pfm out.png --linear --mean", 1, {"tonemap: give one of --linear and --mean"}},
    {"printf 'Pf\\n10 10\\n-1.0\\nabc' > short.pfm", "tonemap short.pfm out.png --mean", 1, {"truncated"}},
};

TEST(CliRuns, EachRunExitsSaysAndLeavesWhatItShould) {
    NEED_PHOTO(src, "astronaut.png");
    NEED_FFMPEG();
    const std::string root = workDir();
    for (size_t i = 0; i < kRuns.size(); ++i) {
        const ToolRun& c = kRuns[i];
        SCOPED_TRACE(c.args);
        const std::string dir = root + "/" + std::to_string(i);
        ASSERT_TRUE(sh("mkdir -p '" + dir + "'"));
        if (!c.setup.empty()) ASSERT_TRUE(sh("cd '" + dir + "' && " + shellVars() + c.setup));
        const std::vector<std::string> before = entries(dir);
        const Bytes keep = exists(dir + "/out.png") ? slurp(dir + "/out.png") : Bytes();
        const Outcome r = celcc(dir, c.args);
        EXPECT_EQ(r.rc, c.rc) << r.err;
        for (const std::string& s : c.says) EXPECT_TRUE(has(r.out + r.err, s)) << s << " not in:\n" << r.out << r.err;
        if (!c.made.empty()) EXPECT_TRUE(exists(dir + "/" + c.made) && has(slurpText(dir + "/" + c.made).substr(0, 200), c.holding)) << c.made;
        if (c.rc == 0) continue;
        if (c.rc == 1) {
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "one line: " << r.err;
            EXPECT_EQ(r.err.rfind("celcc: ", 0), 0u) << r.err;
        }
        EXPECT_EQ(entries(dir), before) << "a file was left behind";
        if (!keep.empty()) EXPECT_TRUE(slurp(dir + "/out.png") == keep);
    }
}

TEST(CliRuns, OneBadFileAmongManyFailsOnlyThatFile) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    ASSERT_TRUE(sh("cd '" + dir + "' && " + shellVars() + "mkdir out && cp $A a.png && cp $A c.png && head -c 3000 a.png > b.png"));
    const Outcome r = celcc(dir, "convert a.png b.png c.png --out-dir out --to ppm --jobs 2");
    EXPECT_EQ(r.rc, 1);
    EXPECT_TRUE(has(r.err, "celcc: b.png: corrupt or truncated PNG")) << r.err;
    EXPECT_EQ(entries(dir + "/out"), (std::vector<std::string>{"a.ppm", "c.ppm"}));
}

// ---- Photographs and video frames --------------------------------------------------------

// An odd-sized photo cropped to 4:2:0 Y4M (which FFmpeg reads as the same
// planes) and back: the encoder's and the decoder's bytes.
TEST(CliVideo, PhotoToY4mAndBackEqualTheExports) {
    NEED_FFMPEG();
    NEED_PHOTO(src, "chelsea.png");
    const std::string dir = workDir();
    RUN_OK(dir, "convert $C out.y4m --crop -q");
    const Png p = readPng(src);
    const int w = p.w & ~1, h = p.h & ~1;
    const Y4m y = readY4m(dir + "/out.y4m");
    ASSERT_EQ(p.channels, 3);
    ASSERT_EQ(y.frames.size(), 1u);
    ASSERT_EQ(y.w, w);
    ASSERT_EQ(y.h, h);
    Planes ref(w, w / 2, h, h / 2);
    ASSERT_EQ(celiRGBToYCbCr420_8u_C3P3R(p.px.data(), p.w * 3, ref.p, ref.steps, CelSize{w, h}), celStatusOk);
    EXPECT_TRUE(y.frames[0] == ref.buf);
    ASSERT_TRUE(sh("cd '" + dir + "' && ffmpeg -v error -i out.y4m -f rawvideo -pix_fmt yuv420p ff.yuv"));
    EXPECT_TRUE(slurp(dir + "/ff.yuv") == ref.buf);
    RUN_OK(dir, "convert out.y4m back.png -q");
    Bytes rgb(size_t(w) * h * 3);
    ASSERT_EQ(celiYCbCr420ToRGB_8u_P3C3R(ref.c(), ref.steps, rgb.data(), 3 * w, CelSize{w, h}), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/back.png").px == rgb);
}

// FFmpeg's Y4M streams of several frames, one PNG a frame: within 4 a
// sample of FFmpeg's rgb24 (1.5 on average) for 4:2:0 and 4:2:2, within 1
// for 4:4:4; a mono stream gives its luma bytes.
TEST(CliVideo, Y4mFramesToPngAreCloseToFfmpeg) {
    NEED_FFMPEG();
    const std::string dir = workDir();
    const std::string gen = "ffmpeg -v error -f lavfi -i testsrc2=size=96x64:rate=5 ";
    for (const auto& c : {std::make_tuple("yuv420p", 4, 1.5), std::make_tuple("yuv422p", 4, 1.5), std::make_tuple("yuv444p", 1, 0.2)}) {
        const std::string n = std::get<0>(c);
        SCOPED_TRACE(n);
        ASSERT_TRUE(sh("cd '" + dir + "' && " + gen + "-frames:v 3 -pix_fmt " + n + " " + n + ".y4m && ffmpeg -v error -i " + n +
                       ".y4m -f rawvideo -pix_fmt rgb24 " + n + ".rgb"));
        RUN_OK(dir, "convert " + n + ".y4m " + n + ".png -q");
        const Bytes ff = slurp(dir + "/" + n + ".rgb");
        const size_t frame = 96 * 64 * 3;
        ASSERT_EQ(ff.size(), 3 * frame);
        for (int i = 0; i < 3; ++i) {
            const Png p = readPng(dir + "/" + n + "-000" + std::to_string(i + 1) + ".png");
            ASSERT_EQ(p.px.size(), frame);
            const Diff d = diff(p.px.data(), ff.data() + size_t(i) * frame, frame);
            EXPECT_LE(d.max, std::get<1>(c)) << "frame " << i + 1;
            EXPECT_LE(d.mean, std::get<2>(c)) << "frame " << i + 1;
        }
    }
    ASSERT_TRUE(sh("cd '" + dir + "' && " + gen + "-frames:v 1 -pix_fmt gray g.y4m"));
    RUN_OK(dir, "convert g.y4m g.png -q");
    const Png g = readPng(dir + "/g.png");
    EXPECT_EQ(g.channels, 1);
    EXPECT_TRUE(g.px == readY4m(dir + "/g.y4m").frames.at(0));
}

// Raw v210 (FFmpeg's encoder: rows of 128-byte blocks of 48 pixels) to a
// 16-bit PNG of its luma, scaled from 10 bits by bit replication; and to
// raw 5-6-5 words.  Both equal the exports.
TEST(CliVideo, RawV210ToLumaPngAnd565) {
    NEED_FFMPEG();
    const std::string dir = workDir();
    const int w = 100, h = 20, rowWords = (w + 47) / 48 * 32;
    ASSERT_TRUE(sh("ffmpeg -v error -f lavfi -i testsrc2=size=100x20:rate=5 -frames:v 1 -c:v v210 -f rawvideo '" + dir + "/t.v210'"));
    const Bytes raw = slurp(dir + "/t.v210");
    ASSERT_EQ(raw.size(), size_t(4) * rowWords * h);
    std::vector<uint32_t> words(raw.size() / 4);
    std::memcpy(words.data(), raw.data(), raw.size());
    RUN_OK(dir, "convert t.v210 --size 100x20 --pix-fmt v210 y.png -q");
    RUN_OK(dir, "convert t.v210 --size 100x20 --pix-fmt v210 c.bgr565 -q");
    std::vector<uint16_t> luma(size_t(w) * h), col(size_t(w) * h);
    ASSERT_EQ(celiYUV422v210ToGray_709HDTV_32u16u_C3C1(words.data(), rowWords, luma.data(), w, CelSize{w, h}), celStatusOk);
    ASSERT_EQ(celiYUV422v210ToBGR_709HDTV_32u16u_C3(words.data(), rowWords, col.data(), w, CelSize{w, h}), celStatusOk);
    for (auto& v : luma) v = uint16_t(v << 6 | v >> 4);
    const Png y = readPng(dir + "/y.png");
    EXPECT_EQ(y.depth, 16);
    EXPECT_EQ(y.channels, 1);
    EXPECT_TRUE(y.px == bytesOf(luma));
    EXPECT_TRUE(slurp(dir + "/c.bgr565") == bytesOf(col));
}

// Chroma rate changes: Y4M 4:2:0 to 4:2:2 equals the export and comes
// back exactly; --chroma-filter takes the four-tap export instead; the
// packed 4:2:2 files equal FFmpeg's; 4:1:1 Y4M and raw NV12, YUY2, UYVY,
// 4:1:1, NV11 and 4:2:2 frames go through the rate edges and come back
// exactly too.
TEST(CliVideo, ChromaRateY4mAndRawRoundTrips) {
    NEED_FFMPEG();
    const std::string dir = workDir();
    const int w = 96, h = 64;
    ASSERT_TRUE(sh("ffmpeg -v error -f lavfi -i testsrc2=size=96x64:rate=5 -frames:v 2 -pix_fmt yuv420p '" + dir + "/t.y4m'"));
    const Y4m in = readY4m(dir + "/t.y4m");
    ASSERT_EQ(in.frames.size(), 2u);
    RUN_OK(dir, "convert t.y4m o422.y4m --out-pix-fmt i422 -q");
    RUN_OK(dir, "convert t.y4m f422.y4m --out-pix-fmt i422 --chroma-filter -q");
    const Y4m o = readY4m(dir + "/o422.y4m"), of = readY4m(dir + "/f422.y4m");
    EXPECT_TRUE(has(o.header, "C422")) << o.header;
    ASSERT_EQ(o.frames.size(), 2u);
    ASSERT_EQ(of.frames.size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        const uint8_t* f = in.frames[i].data();
        const uint8_t* src[3] = {f, f + w * h, f + w * h + w * h / 4};
        int ss[3] = {w, w / 2, w / 2};
        Planes ref(w, w / 2, h, h), filtered(w, w / 2, h, h);
        ASSERT_EQ(celiYCbCr420ToYCbCr422_8u_P3R(src, ss, ref.p, ref.steps, CelSize{w, h}), celStatusOk);
        ASSERT_EQ(celiYCbCr420ToYCbCr422_Filter_8u_P3R(src, ss, filtered.p, filtered.steps, CelSize{w, h}), celStatusOk);
        EXPECT_TRUE(o.frames[i] == ref.buf) << "frame " << i;
        EXPECT_TRUE(of.frames[i] == filtered.buf) << "frame " << i;
        EXPECT_FALSE(filtered.buf == ref.buf) << "frame " << i;
    }
    // repacking 4:2:2 moves bytes: the tool's packed frames are FFmpeg's, and come back
    for (const std::string fmt : {"yuyv422", "uyvy422", "yvyu422"}) {
        SCOPED_TRACE(fmt);
        ASSERT_TRUE(sh("cd '" + dir + "' && ffmpeg -v error -i o422.y4m -f rawvideo -pix_fmt " + fmt + " ff." + fmt));
        RUN_OK(dir, "convert o422.y4m out." + fmt + " -q");
        EXPECT_TRUE(slurp(dir + "/out." + fmt) == slurp(dir + "/ff." + fmt));
        RUN_OK(dir, "convert out." + fmt + " --size 96x64 --pix-fmt " + fmt + " b_" + fmt + ".y4m -q");
        EXPECT_TRUE(readY4m(dir + "/b_" + fmt + ".y4m").frames == o.frames);
    }
    RUN_OK(dir, "convert o422.y4m back.y4m --out-pix-fmt i420 -q");
    EXPECT_TRUE(readY4m(dir + "/back.y4m").frames == in.frames);
    RUN_OK(dir, "convert t.y4m o411.y4m --out-pix-fmt i411 -q");
    RUN_OK(dir, "convert o411.y4m back411.y4m --out-pix-fmt i420 -q");
    EXPECT_TRUE(readY4m(dir + "/back411.y4m").frames == in.frames);
    for (const std::string fmt : {"nv12", "yuy2", "uyvy", "i411", "nv11", "i422"}) {
        SCOPED_TRACE(fmt);
        RUN_OK(dir, "convert t.y4m out." + fmt + " -q");
        RUN_OK(dir, "convert out." + fmt + " --size 96x64 --pix-fmt " + fmt + " b_" + fmt + ".y4m --out-pix-fmt i420 -q");
        EXPECT_TRUE(readY4m(dir + "/b_" + fmt + ".y4m").frames == in.frames);
    }
}

// Interlaced pictures: Y4M It and Ib streams, the frames of an Im stream
// whose I parameter says so, and a raw input with --interlaced convert
// 4:2:0 <-> 4:2:2 through the field-wise exports; Ip streams repeat rows.
// The stream's tags and each frame's parameters are written back.
namespace interlaced {
constexpr int W = 64, H = 32;
const size_t kLuma = size_t(W) * H;
void writeY4m(const std::string& path, const std::string& tags, const std::vector<std::string>& frames, const Bytes& frame) {
    std::string s = "YUV4MPEG2 W64 H32 " + tags + " C420jpeg\n";
    for (const std::string& f : frames) s += (f.empty() ? "FRAME" : "FRAME " + f) + "\n" + std::string(frame.begin(), frame.end());
    std::ofstream(path, std::ios::binary) << s;
}
using P3R = CelStatus (*)(const uint8_t* const[3], int[3], uint8_t* [3], int[3], CelSize);
// 4:2:0 to 4:2:2 planes (up) or back (down) by one export, on one frame.
Bytes convert(P3R fn, const Bytes& in, bool up) {
    const int ch = up ? H / 2 : H;
    Planes out(W, W / 2, H, up ? H : H / 2);
    const uint8_t* src[3] = {in.data(), in.data() + kLuma, in.data() + kLuma + size_t(W / 2) * ch};
    int ss[3] = {W, W / 2, W / 2};
    EXPECT_GE(fn(src, ss, out.p, out.steps, CelSize{W, H}), 0);
    return out.buf;
}
}  // namespace interlaced

TEST(CliVideo, InterlacedPicturesConvertFieldByField) {
    using namespace interlaced;
    const std::string dir = workDir();
    Bytes frame(kLuma * 3 / 2);
    std::mt19937 rng(3);
    for (auto& b : frame) b = uint8_t(rng() >> 24);
    const Bytes fields = convert(celiYCbCr420To422_Interlace_8u_P3R, frame, true);
    const Bytes repeated = convert(celiYCbCr420ToYCbCr422_8u_P3R, frame, true);
    ASSERT_FALSE(fields == repeated);
    for (const std::string tags : {"F25:1 It A1:1", "F25:1 Ib A1:1", "F25:1 Ip A1:1"}) {
        SCOPED_TRACE(tags);
        writeY4m(dir + "/t.y4m", tags, {""}, frame);
        RUN_OK(dir, "convert t.y4m o.y4m --out-pix-fmt i422 -f -q");
        const Y4m o = readY4m(dir + "/o.y4m");
        ASSERT_EQ(o.frames.size(), 1u);
        EXPECT_TRUE(o.frames[0] == (has(tags, "Ip") ? repeated : fields));
        EXPECT_TRUE(has(o.header, tags)) << o.header;
    }
    // back, field by field, from the last It stream's 4:2:2
    writeY4m(dir + "/t.y4m", "F25:1 It A1:1", {""}, frame);
    RUN_OK(dir, "convert t.y4m o.y4m --out-pix-fmt i422 -f -q");
    RUN_OK(dir, "convert o.y4m back.y4m --out-pix-fmt i420 -q");
    EXPECT_TRUE(readY4m(dir + "/back.y4m").frames.at(0) == convert(celiYCbCr422To420_Interlace_8u_P3R, fields, false));
    writeY4m(dir + "/m.y4m", "F25:1 Im A1:1", {"Itii", "I1pp", ""}, frame);
    RUN_OK(dir, "convert m.y4m mo.y4m --out-pix-fmt i422 -q");
    const Y4m m = readY4m(dir + "/mo.y4m");
    EXPECT_TRUE(m.frames == (std::vector<Bytes>{fields, repeated, repeated}));
    const std::string text = slurpText(dir + "/mo.y4m");
    EXPECT_TRUE(has(text, "FRAME Itii\n") && has(text, "FRAME I1pp\n"));
    std::ofstream(dir + "/t.yuv", std::ios::binary) << std::string(frame.begin(), frame.end());
    RUN_OK(dir, "convert t.yuv raw.y4m --size 64x32 --pix-fmt i420 --out-pix-fmt i422 --interlaced -q");
    const Y4m raw = readY4m(dir + "/raw.y4m");
    EXPECT_TRUE(raw.frames.at(0) == fields);
    EXPECT_TRUE(has(raw.header, " It ")) << raw.header;
}

// The frames of one video and many files over --jobs threads: the bytes
// of one thread; progress counts the files.
TEST(CliVideo, JobsTwoGivesTheBytesOfJobsOne) {
    NEED_FFMPEG();
    const std::string dir = workDir();
    ASSERT_TRUE(sh("cd '" + dir + "' && ffmpeg -v error -f lavfi -i testsrc2=size=128x96:rate=10 -frames:v 9 -pix_fmt yuv444p t.y4m"
                   " && for i in 0 1 2; do ffmpeg -v error -f lavfi -i testsrc2=size=64x48:rate=5 -frames:v 1 -ss $i"
                   " -pix_fmt yuv420p f$i.y4m; done && mkdir d1 d2"));
    RUN_OK(dir, "convert t.y4m one.y4m --out-pix-fmt i420 --jobs 1 -q");
    RUN_OK(dir, "convert t.y4m two.y4m --out-pix-fmt i420 --jobs 2 -q");
    const Bytes one = slurp(dir + "/one.y4m");
    EXPECT_GT(one.size(), 9u * 128 * 96);
    EXPECT_TRUE(one == slurp(dir + "/two.y4m"));
    const Outcome a = celcc(dir, "convert f0.y4m f1.y4m f2.y4m --out-dir d1 --jobs 1");
    ASSERT_EQ(a.rc, 0) << a.err;
    EXPECT_TRUE(has(a.err, "[3/3]")) << a.err;
    RUN_OK(dir, "convert f0.y4m f1.y4m f2.y4m --out-dir d2 --jobs 2");
    ASSERT_EQ(entries(dir + "/d1").size(), 3u);
    for (const std::string n : {"/f0.png", "/f1.png", "/f2.png"}) EXPECT_TRUE(slurp(dir + "/d1" + n) == slurp(dir + "/d2" + n)) << n;
}

// ---- Other formats and colour options ------------------------------------------------------

// --to names a colour model, the output in the input's depth; a PNG of HLS
// samples comes back to RGB through --in-pix-fmt.  16-bit PNG in and out.
TEST(CliFormats, ColourModelsAndSixteenBitPngEqualTheExports) {
    NEED_PHOTO(src, "chelsea.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    const CelSize size{p.w, p.h};
    RUN_OK(dir, "convert $C hls.png --to hls -q");
    Bytes ref(p.px.size()), back(p.px.size());
    ASSERT_EQ(celiRGBToHLS_8u_C3R(p.px.data(), p.w * 3, ref.data(), p.w * 3, size), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/hls.png").px == ref);
    RUN_OK(dir, "convert hls.png back.png --in-pix-fmt hls24 -q");
    ASSERT_EQ(celiHLSToRGB_8u_C3R(ref.data(), p.w * 3, back.data(), p.w * 3, size), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/back.png").px == back);

    const Png p16 = widened16(p, 7);
    writePng(dir + "/in16.png", p16);
    RUN_OK(dir, "convert in16.png xyz.png --pix-fmt xyz48 -q");
    const Png x = readPng(dir + "/xyz.png");
    EXPECT_EQ(x.depth, 16);
    Bytes ref16(p16.px.size());
    ASSERT_EQ(celiRGBToXYZ_16u_C3R(reinterpret_cast<const uint16_t*>(p16.px.data()), p.w * 6,
                                   reinterpret_cast<uint16_t*>(ref16.data()), p.w * 6, size), celStatusOk);
    EXPECT_TRUE(x.px == ref16);
}

// A photograph to the lifting YCoCg planes as a .npy array (the table puts
// the PNG's RGB samples in BGR order by the exchange twist) and back: the
// planes equal the export's, the way back gives the photograph exactly.
TEST(CliFormats, YCoCgRevNpyEqualsTheExportAndComesBack) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    const Png in = readPng(src);
    Outcome r = celcc(dir, "convert $A planes.npy --to ycocg-rev -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_TRUE(has(r.err, "RGB24 -> BGR24 (celiColorTwist32f_8u_C3R) -> YCOCGR16S (celiBGRToYCoCg_Rev_8u16s_C3P3R)")) << r.err;
    const Bytes npy = slurp(dir + "/planes.npy");
    ASSERT_GT(npy.size(), 128u);
    const std::string head(npy.begin() + 10, npy.begin() + 10 + (npy[8] | npy[9] << 8));
    EXPECT_TRUE(has(head, "'descr': '<i2'")) << head;
    EXPECT_TRUE(has(head, "'shape': (3, " + std::to_string(in.h) + ", " + std::to_string(in.w) + ")")) << head;
    Bytes bgr(in.px.size());
    for (size_t i = 0; i < bgr.size(); i += 3) bgr[i] = in.px[i + 2], bgr[i + 1] = in.px[i + 1], bgr[i + 2] = in.px[i];
    const size_t plane = size_t(in.w) * in.h;
    std::vector<int16_t> ref(3 * plane);
    int16_t* dst[3] = {ref.data(), ref.data() + plane, ref.data() + 2 * plane};
    ASSERT_EQ(celiBGRToYCoCg_Rev_8u16s_C3P3R(bgr.data(), 3 * in.w, dst, 2 * in.w, CelSize{in.w, in.h}), celStatusOk);
    EXPECT_TRUE(Bytes(npy.begin() + long(10 + head.size()), npy.end()) == bytesOf(ref));
    r = celcc(dir, "convert planes.npy back.png --pix-fmt ycocg-rev -v");
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_TRUE(has(r.err, "YCOCGR16S -> BGR24 (celiYCoCgToBGR_Rev_16s8u_P3C3R) -> RGB24 (celiColorTwist32f_8u_C3R)")) << r.err;
    EXPECT_TRUE(readPng(dir + "/back.png").px == in.px);
}

TEST(CliFormats, PnmAndJpegInputs) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    RUN_OK(dir, "convert $A a.ppm -q");
    RUN_OK(dir, "convert a.ppm b.png -q");
    EXPECT_TRUE(readPng(dir + "/b.png").px == p.px);
    RUN_OK(dir, "convert $A gray.pgm --pix-fmt gray8 -q");
    const Bytes pgm = slurp(dir + "/gray.pgm");
    Bytes ref(size_t(p.w) * p.h);
    ASSERT_EQ(celiRGBToGray_8u_C3C1R(p.px.data(), p.w * 3, ref.data(), p.w, CelSize{p.w, p.h}), celStatusOk);
    ASSERT_GE(pgm.size(), ref.size());
    EXPECT_TRUE(Bytes(pgm.end() - long(ref.size()), pgm.end()) == ref);
    if (!haveFfmpeg()) return;
    ASSERT_TRUE(sh("ffmpeg -v error -i '" + src + "' -q:v 2 '" + dir + "/a.jpg'"));
    RUN_OK(dir, "convert a.jpg j.png -q");
    const Png jp = readPng(dir + "/j.png");
    ASSERT_EQ(jp.px.size(), p.px.size());
    EXPECT_LT(diff(jp.px.data(), p.px.data(), p.px.size()).mean, 4.0);
}

// --gamma: on the output when it is RGB, else on the input ahead of the
// conversion, in place.
TEST(CliColour, GammaOnTheRgbSideEqualsTheExports) {
    NEED_PHOTO(src, "coffee.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    RUN_OK(dir, "convert $K fwd.png --gamma fwd -q");
    RUN_OK(dir, "convert $K g.yuv --pix-fmt i444 --gamma fwd -q");
    Bytes ref = p.px;
    ASSERT_EQ(celiGammaFwd_8u_C3IR(ref.data(), p.w * 3, CelSize{p.w, p.h}), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/fwd.png").px == ref);
    EXPECT_FALSE(ref == p.px);
    Planes planes(p.w, p.w, p.h, p.h);
    ASSERT_EQ(celiRGBToYCbCr_8u_C3P3R(ref.data(), p.w * 3, planes.p, p.w, CelSize{p.w, p.h}), celStatusOk);
    EXPECT_TRUE(slurp(dir + "/g.yuv") == planes.buf);
}

// --matrix: a twist given inline on 8 bits, and three rows of three from a
// file on 16 bits (the channels moved round).
TEST(CliColour, TwistEqualsTheExport) {
    NEED_PHOTO(src, "coffee.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    RUN_OK(dir, "convert $K m.png --matrix '1.2 -0.1 -0.1 10; 0 1 0 0; 0.3 0.3 0.4 -20' -q");
    const float m[3][4] = {{1.2f, -0.1f, -0.1f, 10}, {0, 1, 0, 0}, {0.3f, 0.3f, 0.4f, -20}};
    Bytes ref = p.px;
    ASSERT_EQ(celiColorTwist32f_8u_C3IR(ref.data(), p.w * 3, CelSize{p.w, p.h}, m), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/m.png").px == ref);
    EXPECT_FALSE(ref == p.px);
    std::ofstream(dir + "/cycle.txt") << "0 0 1\n1 0 0\n0 1 0\n";  // R' = B, G' = R, B' = G
    const Png p16 = widened16(p, 3);
    writePng(dir + "/in16.png", p16);
    RUN_OK(dir, "convert in16.png c16.png --matrix cycle.txt -q");
    Bytes want = p16.px;
    const uint16_t* a = reinterpret_cast<const uint16_t*>(p16.px.data());
    uint16_t* c = reinterpret_cast<uint16_t*>(want.data());
    for (size_t i = 0; i < want.size() / 2; i += 3) c[i] = a[i + 2], c[i + 1] = a[i], c[i + 2] = a[i + 1];
    EXPECT_TRUE(readPng(dir + "/c16.png").px == want);
}

// ---- Demosaicing, dither, tone mapping -------------------------------------------------------

// mosaic samples the filter colour of each site; demosaic gives the
// bilinear export's bytes, for each of the four patterns.
TEST(CliDemosaic, MosaicOfAPhotoEqualsTheExport) {
    NEED_PHOTO(src, "astronaut.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    const std::pair<std::string, CelBayerGrid> grids[] = {
        {"rggb", celBayerRGGB}, {"bggr", celBayerBGGR}, {"gbrg", celBayerGBRG}, {"grbg", celBayerGRBG}};
    for (const auto& g : grids) {
        SCOPED_TRACE(g.first);
        RUN_OK(dir, "mosaic $A m_" + g.first + ".png --pattern " + g.first);
        RUN_OK(dir, "demosaic m_" + g.first + ".png d_" + g.first + ".png --pattern " + g.first);
        Bytes mosaic(size_t(p.w) * p.h);
        for (int y = 0; y < p.h; ++y)
            for (int x = 0; x < p.w; ++x) {
                const char c = g.first[size_t((y % 2) * 2 + x % 2)];
                mosaic[size_t(y) * p.w + x] = p.px[(size_t(y) * p.w + x) * 3 + (c == 'r' ? 0 : c == 'g' ? 1 : 2)];
            }
        EXPECT_TRUE(readPng(dir + "/m_" + g.first + ".png").px == mosaic);
        Bytes ref(size_t(p.w) * p.h * 3);
        ASSERT_EQ(celiCFAToRGB_8u_C1C3R(mosaic.data(), CelRect{0, 0, p.w, p.h}, CelSize{p.w, p.h}, p.w, ref.data(), p.w * 3, g.second),
                  celStatusOk);
        const Png d = readPng(dir + "/d_" + g.first + ".png");
        EXPECT_TRUE(d.px == ref);
        EXPECT_LT(diff(d.px.data(), p.px.data(), ref.size()).mean, 6.0);
    }
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

// A raw dump (--size, --depth 8 or 16) through each method, gains R,G,B
// reaching VNG as B, G, R; --out-depth 8 reduces a 16-bit result without
// dither.
template <class T>
void rawDumpEachMethod(const std::string& dir) {
    const int w = 37, h = 22, bytes = int(sizeof(T));
    std::vector<T> m(size_t(w) * h);
    std::mt19937 rng(5);
    for (auto& v : m) v = T(rng() >> 16);
    std::ofstream(dir + "/m.raw", std::ios::binary).write(reinterpret_cast<const char*>(m.data()), std::streamsize(m.size() * bytes));
    const CelRect roi{0, 0, w, h};
    std::vector<T> bil(m.size() * 3), ahd(m.size() * 3), buf(size_t(30) * (w + 6 + 16));
    const float gains[3] = {1.0f, 2.0f, 3.0f};
    if constexpr (sizeof(T) == 1) {
        ASSERT_EQ(celiCFAToRGB_8u_C1C3R(m.data(), roi, CelSize{w, h}, w, bil.data(), w * 3, celBayerGBRG), celStatusOk);
        ASSERT_EQ(celiDemosaicAHD_8u_C1C3R(m.data(), roi, CelSize{w, h}, w, ahd.data(), w * 3, celBayerGBRG, buf.data(), w + 6 + 16),
                  celStatusOk);
    } else {
        ASSERT_EQ(celiCFAToRGB_16u_C1C3R(m.data(), roi, CelSize{w, h}, w * 2, bil.data(), w * 6, celBayerGBRG), celStatusOk);
        ASSERT_EQ(celiDemosaicAHD_16u_C1C3R(m.data(), roi, CelSize{w, h}, w * 2, ahd.data(), w * 6, celBayerGBRG, buf.data(),
                                            2 * (w + 6) + 16),
                  celStatusOk);
    }
    const std::pair<std::string, std::vector<T>> cases[] = {
        {"bilinear", bil}, {"ahd", ahd}, {"vng --gains 3,2,1", vngReference<T>(m, w, h, celBayerGBRG, gains)}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first);
        RUN_OK(dir, "demosaic m.raw d.png -f --size 37x22 --pattern gbrg --depth " + std::to_string(8 * bytes) + " --method " + c.first);
        const Png d = readPng(dir + "/d.png");
        EXPECT_EQ(d.depth, 8 * bytes);
        EXPECT_TRUE(d.px == bytesOf(c.second));
    }
    if constexpr (sizeof(T) == 2) {
        RUN_OK(dir, "demosaic m.raw d8.png --size 37x22 --depth 16 --pattern gbrg --out-depth 8");
        Bytes ref8(bil.size());
        ASSERT_EQ(celiReduceBits_16u8u_C3R(bil.data(), w * 6, ref8.data(), w * 3, CelSize{w, h}, 0, celDitherOff, 256, nullptr),
                  celStatusOk);
        EXPECT_TRUE(readPng(dir + "/d8.png").px == ref8);
    }
}

TEST(CliDemosaic, RawDumpEachMethodEqualsTheExport) {
    const std::string dir = workDir();
    rawDumpEachMethod<uint8_t>(dir);
    rawDumpEachMethod<uint16_t>(dir);
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
    std::vector<Entry> e = {
        {254, 4, 1, longs({0})}, {256, 4, 1, longs({uint32_t(w)})}, {257, 4, 1, longs({uint32_t(h)})},
        {258, 3, 1, shorts({16})}, {259, 3, 1, shorts({1})}, {262, 3, 1, shorts({32803})},
        {271, 2, 6, text("Celcc")}, {272, 2, 5, text("Test")}, {273, 4, 1, longs({0})},
        {277, 3, 1, shorts({1})}, {278, 4, 1, longs({uint32_t(h)})}, {279, 4, 1, longs({uint32_t(samples.size() * 2)})},
        {284, 3, 1, shorts({1})}, {33421, 3, 2, shorts({2, 2})}, {33422, 1, 4, Bytes{0, 1, 1, 2}},
        {50706, 1, 4, Bytes{1, 4, 0, 0}}, {50708, 2, 11, text("Celcc Test")}, {50714, 4, 1, longs({256})},
        {50717, 4, 1, longs({4095})}, {50721, 10, 9, matrix}, {50778, 3, 1, shorts({21})}};
    const uint32_t blobAt = 8 + 2 + 12 * uint32_t(e.size()) + 4;
    Bytes blob;
    for (auto& x : e)
        if (x.value.size() > 4) blob.insert(blob.end(), x.value.begin(), x.value.end()), blob.resize((blob.size() + 1) & ~size_t(1));
    Bytes out = {'I', 'I', 42, 0};
    le32(out, 8);
    le16(out, uint32_t(e.size()));
    uint32_t at = blobAt;
    for (auto& x : e) {
        le16(out, x.tag), le16(out, x.type), le32(out, x.count);
        if (x.tag == 273) x.value = longs({blobAt + uint32_t(blob.size())});
        if (x.value.size() > 4) {
            le32(out, at);
            at += uint32_t((x.value.size() + 1) & ~size_t(1));
        } else {
            x.value.resize(4, 0);
            out.insert(out.end(), x.value.begin(), x.value.end());
        }
    }
    le32(out, 0);
    out.insert(out.end(), blob.begin(), blob.end());
    for (uint16_t s : samples) le16(out, s);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(out.data()), std::streamsize(out.size()));
}

// The tool applies the file's black and white levels, then the library's
// demosaicing in the pattern the file says.
TEST(CliDemosaic, CfaDngThroughLibRaw) {
    const std::string dir = workDir();
    const int w = 64, h = 48;
    std::vector<uint16_t> raw(size_t(w) * h);
    std::mt19937 rng(9);
    for (size_t i = 0; i < raw.size(); ++i) raw[i] = uint16_t(200 + rng() % 3950);  // a few below black, a few above white
    writeDng(dir + "/t.dng", w, h, raw);
    const Outcome r = celcc(dir, "demosaic t.dng t.png -v");
    if (r.rc != 0 && has(r.err, "need LibRaw")) GTEST_SKIP() << "celcc built without LibRaw";
    ASSERT_EQ(r.rc, 0) << r.err;
    EXPECT_TRUE(has(r.err, "pattern rggb")) << r.err;
    std::vector<uint16_t> lev(raw.size()), ref(raw.size() * 3);
    for (size_t i = 0; i < raw.size(); ++i)
        lev[i] = uint16_t(std::clamp<int64_t>(((int64_t(raw[i]) - 256) * 65535 + (4095 - 256) / 2) / (4095 - 256), 0, 65535));
    ASSERT_EQ(celiCFAToRGB_16u_C1C3R(lev.data(), CelRect{0, 0, w, h}, CelSize{w, h}, w * 2, ref.data(), w * 6, celBayerRGGB), celStatusOk);
    EXPECT_TRUE(readPng(dir + "/t.png").px == bytesOf(ref));
}

// Each dither method by name, with and without noise: the export's bytes,
// its scratch sized by celiReduceBitsGetBufferSize.
TEST(CliDither, EachMethodEqualsTheExport) {
    NEED_PHOTO(src, "coffee.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    const CelSize size{p.w, p.h};
    struct Case {
        std::string method;
        CelDitherMode mode;
        int noise, levels;
    };
    for (const Case& c : {Case{"none", celDitherOff, 0, 4}, Case{"ordered", celDitherOrdered, 0, 4},
                          Case{"ordered", celDitherOrdered, 30, 8}, Case{"fs", celDitherFloydSteinberg, 0, 4},
                          Case{"jjn", celDitherJarvisJudiceNinke, 20, 4}, Case{"stucki", celDitherStucki, 20, 4}}) {
        SCOPED_TRACE(c.method + " noise " + std::to_string(c.noise));
        RUN_OK(dir, "dither $K d.png -f --levels " + std::to_string(c.levels) + " --method " + c.method + " --noise " +
                        std::to_string(c.noise));
        int bytes = 0;
        ASSERT_EQ(celiReduceBitsGetBufferSize(3, size, c.noise, c.mode, &bytes), celStatusOk);
        Bytes scratch(size_t(bytes) + 1), ref(p.px.size());
        ASSERT_EQ(celiReduceBits_8u_C3R(p.px.data(), p.w * 3, ref.data(), p.w * 3, size, c.noise, c.mode, c.levels, scratch.data()),
                  celStatusOk);
        EXPECT_TRUE(readPng(dir + "/d.png").px == ref);
    }
}

// PBM: the bits of celiReduceBits_8u1u_C1R on the gray photograph,
// inverted for the file (1 is black there).
TEST(CliDither, OneBitPbmEqualsTheExport) {
    NEED_PHOTO(src, "camera.png");
    const std::string dir = workDir();
    const Png p = readPng(src);
    ASSERT_EQ(p.channels, 1);
    const int rowBytes = (p.w + 7) / 8;
    for (const auto& m : {std::make_pair("", celDitherOff), std::make_pair(" --method stucki", celDitherStucki)}) {
        RUN_OK(dir, std::string("dither $G b.pbm -f --levels 2 --bits 1 --threshold 100") + m.first);
        int size = 0;
        ASSERT_EQ(celiReduceBitsGetBufferSize(1, CelSize{p.w, p.h}, 0, celDitherStucki, &size), celStatusOk);
        Bytes scratch(size_t(size) + 64), bits(size_t(rowBytes) * p.h);
        ASSERT_EQ(celiReduceBits_8u1u_C1R(p.px.data(), p.w, bits.data(), rowBytes, 0, CelSize{p.w, p.h}, 0, 0, m.second, 100,
                                          scratch.data()),
                  celStatusOk);
        const std::string header = "P4\n" + std::to_string(p.w) + " " + std::to_string(p.h) + "\n";
        const Bytes file = slurp(dir + "/b.pbm");
        ASSERT_EQ(file.size(), header.size() + bits.size()) << m.first;
        EXPECT_EQ(std::string(file.begin(), file.begin() + long(header.size())), header);
        for (auto& b : bits) b = uint8_t(~b);
        EXPECT_TRUE(Bytes(file.begin() + long(header.size()), file.end()) == bits) << m.first;
    }
}

// A PFM written here (rows bottom to top, little- or big-endian by the sign
// of the scale) to PNG through each tone-mapping export, gray and colour.
TEST(CliToneMap, PfmToPngEqualsTheExports) {
    const std::string dir = workDir();
    const int w = 67, h = 23;
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> d(-0.1f, 40.0f);
    for (int ch : {1, 3}) {
        std::vector<float> v(size_t(w) * h * ch);
        for (auto& x : v) x = d(rng);
        const bool little = ch == 1;
        std::ofstream f(dir + "/in.pfm", std::ios::binary);
        f << (ch == 3 ? "PF" : "Pf") << "\n" << w << " " << h << "\n" << (little ? "-1.0" : "1.0") << "\n";
        for (int y = h - 1; y >= 0; --y)
            for (int x = 0; x < w * ch; ++x) {
                uint8_t b[4];
                std::memcpy(b, &v[size_t(y) * w * ch + x], 4);
                if (!little) std::swap(b[0], b[3]), std::swap(b[1], b[2]);
                f.write(reinterpret_cast<const char*>(b), 4);
            }
        f.close();
        for (bool linear : {true, false}) {
            RUN_OK(dir, std::string("tonemap in.pfm out.png -f ") + (linear ? "--linear" : "--mean"));
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
}

}  // namespace
