// celcc on real files: photographs from the skimage package, video and
// PFMs made by FFmpeg, Y4M streams and raw frames cut from a photograph's
// compressed bytes, a CFA DNG written here.  One table of tool runs checks
// each option, message, exit status and route, and the samples each file
// format and command leaves beside direct export calls (or FFmpeg's own
// conversions where it reads or writes video).
#include <spng.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
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
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

std::string slurpText(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
}
Bytes slurp(const std::string& path) {
    const std::string t = slurpText(path);
    return Bytes(t.begin(), t.end());
}
bool exists(const std::string& path) { return std::filesystem::exists(path); }
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
// The photographs, as $A $C $K $G in the runs' shell; $T is the tool.
const std::string kA = photo("astronaut.png"), kC = photo("chelsea.png"), kK = photo("coffee.png"), kG = photo("camera.png");
std::string shellVars() { return "A='" + kA + "'; C='" + kC + "'; K='" + kK + "'; G='" + kG + "'; T='" CELCC_BIN "'; "; }

struct Outcome {
    int rc;
    std::string err, out;
};
Outcome celcc(const std::string& dir, const std::string& args) {
    const std::string cmd = "cd '" + dir + "' && " + shellVars() + "\"$T\" " + args + " >.stdout 2>.stderr";
    const int st = std::system(cmd.c_str());
    return {WIFEXITED(st) ? WEXITSTATUS(st) : 128, slurpText(dir + "/.stderr"), slurpText(dir + "/.stdout")};
}
// Every name in a directory but the tool's captured output.
std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> v;
    for (const auto& e : std::filesystem::directory_iterator(dir))
        if (e.path().filename() != ".stdout" && e.path().filename() != ".stderr") v.push_back(e.path().filename());
    std::sort(v.begin(), v.end());
    return v;
}

// ---- Reading what the tool writes: PNG through libspng, Y4M, the rest -------------------

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

struct Y4m {
    std::string header;
    int w = 0, h = 0;
    std::vector<Bytes> frames;
};

// The frames: each FRAME line's payload, up to the next FRAME or the end.
Y4m readY4m(const std::string& path) {
    Y4m y;
    const std::string t = slurpText(path);
    y.header = t.substr(0, t.find('\n'));
    std::istringstream hs(y.header);
    for (std::string tok; hs >> tok;)
        if (tok[0] == 'W' || tok[0] == 'H') (tok[0] == 'W' ? y.w : y.h) = std::stoi(tok.substr(1));
    for (size_t at = t.find("FRAME", y.header.size()); at != std::string::npos;) {
        const size_t start = t.find('\n', at) + 1, next = t.find("FRAME", start);
        y.frames.emplace_back(t.begin() + long(start), next == std::string::npos ? t.end() : t.begin() + long(next));
        at = next;
    }
    return y;
}

std::string at(const std::string& dir, const std::string& file) { return file[0] == '/' ? file : dir + "/" + file; }

// The samples of the files named (space-separated), one after the other: a
// PNG's pixels, a Y4M's frames, a PNM's or .npy's payload past its header,
// any other file whole.
Bytes samples(const std::string& dir, const std::string& names) {
    Bytes all;
    std::istringstream ns(names);
    for (std::string n; ns >> n;) {
        const std::string ext = n.substr(n.rfind('.') + 1);
        Bytes b;
        if (ext == "png") {
            b = readPng(at(dir, n)).px;
        } else if (ext == "y4m") {
            for (const Bytes& f : readY4m(at(dir, n)).frames) b.insert(b.end(), f.begin(), f.end());
        } else {
            b = slurp(at(dir, n));
            size_t skip = ext == "npy" && b.size() > 10 ? 10 + size_t(b[8] | b[9] << 8) : 0;
            for (int k = ext == "pbm" ? 2 : ext == "pgm" || ext == "ppm" ? 3 : 0; k--;)  // header lines
                skip = size_t(std::find(b.begin() + long(skip), b.end(), uint8_t('\n')) - b.begin()) + 1;
            b.erase(b.begin(), b.begin() + long(std::min(skip, b.size())));
        }
        all.insert(all.end(), b.begin(), b.end());
    }
    return all;
}

// Largest and mean absolute difference allowed between two byte runs.
struct Diff {
    int max = 0;
    double mean = 0;
};

// Three planes inside one buffer, each `rows[i]` rows of `steps[i]` bytes.
struct Planes {
    Bytes buf;
    uint8_t* p[3];
    int steps[3];
    Planes(int w0, int w12, int h0, int h12) : buf(size_t(w0) * h0 + 2 * size_t(w12) * h12), steps{w0, w12, w12} {
        p[0] = buf.data(), p[1] = p[0] + size_t(w0) * h0, p[2] = p[1] + size_t(w12) * h12;
    }
};

// ---- What a run's output must hold: direct export calls on its input ------------------------

using Want = std::function<Bytes(const std::string& dir)>;

Want same(const std::string& names) {
    return [=](const std::string& d) { return samples(d, names); };
}
// FFmpeg's own reading of a file in the tool's directory, as raw `fmt` frames.
Want ffmpegRaw(const std::string& file, const std::string& fmt) {
    return [=](const std::string& d) {
        EXPECT_TRUE(sh("cd '" + d + "' && ffmpeg -v error -y -i " + file + " -f rawvideo -pix_fmt " + fmt + " ff.raw"));
        return slurp(d + "/ff.raw");
    };
}
// A PNG's pixels through one export (src, step, dst, step, size), `outCh` channels out.
template <class T>
Want onPng(CelStatus (*fn)(const T*, int, T*, int, CelSize), const std::string& file, int outCh = 3) {
    return [=](const std::string& d) {
        const Png p = readPng(at(d, file));
        const int s = int(sizeof(T));
        Bytes out(size_t(p.w) * p.h * outCh * s);
        EXPECT_EQ(fn(reinterpret_cast<const T*>(p.px.data()), p.w * p.channels * s, reinterpret_cast<T*>(out.data()),
                     p.w * outCh * s, CelSize{p.w, p.h}),
                  celStatusOk);
        return out;
    };
}
// The photograph's pixels through an in-place export, then (with `planes`)
// to 4:4:4 planes.
Want inPlace(std::function<CelStatus(Bytes&, const Png&)> fn, const std::string& file, bool planes = false) {
    return [=](const std::string&) {
        const Png p = readPng(file);
        Bytes px = p.px;
        EXPECT_EQ(fn(px, p), celStatusOk);
        EXPECT_FALSE(px == p.px);
        if (!planes) return px;
        Planes out(p.w, p.w, p.h, p.h);
        EXPECT_EQ(celiRGBToYCbCr_8u_C3P3R(px.data(), p.w * 3, out.p, p.w, CelSize{p.w, p.h}), celStatusOk);
        return out.buf;
    };
}

using P3R = CelStatus (*)(const uint8_t* const[3], int[3], uint8_t* [3], int[3], CelSize);
// Each frame of a 4:2:0 Y4M (up) or a 4:2:2 one (down) through a chroma-rate export.
Want rate(P3R fn, const std::string& file, bool up = true) {
    return [=](const std::string& d) {
        const Y4m y = readY4m(d + "/" + file);
        const int w = y.w, h = y.h, cw = w / 2;
        Bytes all;
        for (const Bytes& f : y.frames) {
            const uint8_t* src[3] = {f.data(), f.data() + w * h, f.data() + w * h + cw * (up ? h / 2 : h)};
            int ss[3] = {w, cw, cw};
            Planes out(w, cw, h, up ? h : h / 2);
            EXPECT_GE(fn(src, ss, out.p, out.steps, CelSize{w, h}), 0);
            all.insert(all.end(), out.buf.begin(), out.buf.end());
        }
        return all;
    };
}

// One demosaicing method on a w x h mosaic as R, G, B: VNG's B, G, R laid
// out as R, G, B with gains 1, 2, 3 for B, G, R (given as --gains 3,2,1).
template <class T>
Bytes demosaicked(const T* m, int w, int h, CelBayerGrid g, const std::string& method) {
    std::vector<T> rgb(size_t(w) * h * 3), bgra(size_t(w) * h * 4), buf(size_t(30) * (2 * w + 40));
    const int s = w * int(sizeof(T));
    const CelRect roi{0, 0, w, h};
    const CelRectL roiL{0, 0, w, h};
    const float gains[3] = {1.0f, 2.0f, 3.0f};
    CelStatus st;
    if constexpr (sizeof(T) == 1)
        st = method == "ahd"   ? celiDemosaicAHD_8u_C1C3R(m, roi, CelSize{w, h}, s, rgb.data(), 3 * s, g, buf.data(), w + 22)
             : method == "vng" ? celiCFAToBGRA_VNG_8u_C1C4R_L(m, CelSizeL{w, h}, s, gains, bgra.data(), roiL, 4 * s, g)
                               : celiCFAToRGB_8u_C1C3R(m, roi, CelSize{w, h}, s, rgb.data(), 3 * s, g);
    else
        st = method == "ahd" ? celiDemosaicAHD_16u_C1C3R(m, roi, CelSize{w, h}, s, rgb.data(), 3 * s, g, buf.data(), 2 * w + 28)
             : method == "vng" ? celiCFAToBGRA_VNG_16u_C1C4R_L(m, CelSizeL{w, h}, s, gains, bgra.data(), roiL, 4 * s, g)
                               : celiCFAToRGB_16u_C1C3R(m, roi, CelSize{w, h}, s, rgb.data(), 3 * s, g);
    EXPECT_EQ(st, celStatusOk) << method;
    if (method == "vng")
        for (size_t i = 0; i < size_t(w) * h; ++i)
            for (int c = 0; c < 3; ++c) rgb[i * 3 + c] = bgra[i * 4 + 2 - c];
    return bytesOf(rgb);
}

// ---- One table of tool runs ---------------------------------------------------------------
//
// Each run: shell set-up in its own directory, the tool's arguments (shell
// variables $A $C $K $G name the photographs, $T the tool), the exit
// status, fragments of what it says, the files it leaves and fragments the
// first holds, and the samples they must hold (exactly, or within `near`).
// A failing run says one line "celcc: ..." (CLI11's own parse errors aside)
// and leaves the directory as it found it, an existing out.png untouched.

struct ToolRun {
    std::string setup, args;
    int rc;
    std::vector<std::string> says;
    std::string made = "";
    std::vector<std::string> holds = {};
    Want want = nullptr;
    Diff near = {};
};
void PrintTo(const ToolRun& r, std::ostream* os) { *os << r.args; }

const std::string kPgm4 = "printf 'P5\\n4 4\\n255\\n0123456789abcdef' > m.pgm";
const std::string kPgm8 = "{ printf 'P5\\n8 8\\n255\\n'; printf 'wxyz%.0s' 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16; } > m.pgm";
const std::string kNegPfm = "{ printf 'Pf\\n4 2\\n-1.0\\n'; printf '\\000\\000\\200\\277%.0s' 1 2 3 4 5 6 7 8; } > neg.pfm";
std::string video(const std::string& size, int frames, const std::string& fmt, const std::string& file) {
    return "ffmpeg -v error -f lavfi -i testsrc2=size=" + size + ":rate=5 -frames:v " + std::to_string(frames) + " -pix_fmt " + fmt +
           " " + file;
}
// A 4:2:0 Y4M of w x h with the stream's tags and each frame's parameters;
// the samples are runs of the photograph's compressed bytes from `from` on.
std::string y4m420(const std::string& file, int w, int h, const std::string& tags, const std::vector<std::string>& frames = {""},
                   int from = 9001) {
    const int n = w * h * 3 / 2;
    std::string s = "{ printf 'YUV4MPEG2 W" + std::to_string(w) + " H" + std::to_string(h) + " " + tags + " C420jpeg\\n'";
    for (size_t k = 0; k < frames.size(); ++k)
        s += "; printf 'FRAME" + (frames[k].empty() ? "" : " " + frames[k]) + "\\n'; tail -c +" + std::to_string(from + int(k) * n) +
             " $A | head -c " + std::to_string(n);
    return s + "; } > " + file;
}
// Two frames of 4:2:0 (t.y4m) and the tool's 4:2:2 of it (o.y4m).
const std::string kY4m = y4m420("t.y4m", 64, 32, "F25:1"), kT = y4m420("t.y4m", 96, 64, "F25:1", {"", ""});
const std::string kT422 = kT + " && \"$T\" convert t.y4m o.y4m --out-pix-fmt i422 -q";
// A 16-bit PNG of 64x48 with every bit of its samples in use.
const std::string kIn16 = "{ printf 'P6\\n64 48\\n65535\\n'; tail -c +5001 $A | head -c 18432; } > in.ppm && \"$T\" convert in.ppm in16.png -q";

// A raw 37x22 gbrg mosaic (8 or 16 bits) through one method and, with
// --out-depth 8, reduced without dither.
ToolRun rawDemosaic(int bits, const std::string& method) {
    return {"tail -c +5001 $A | head -c " + std::to_string(37 * 22 * bits / 8) + " > m.raw",
            "demosaic m.raw o.png --size 37x22 --pattern gbrg --depth " + std::to_string(bits) + " --method " + method, 0, {}, "o.png",
            {}, [=](const std::string& d) {
                const Bytes m = slurp(d + "/m.raw");
                const std::string name = method.substr(0, method.find(' '));
                if (bits == 8) return demosaicked(m.data(), 37, 22, celBayerGBRG, name);
                const Bytes rgb = demosaicked(reinterpret_cast<const uint16_t*>(m.data()), 37, 22, celBayerGBRG, name);
                if (!has(method, "--out-depth 8")) return rgb;
                Bytes ref8(rgb.size() / 2);
                EXPECT_EQ(celiReduceBits_16u8u_C3R(reinterpret_cast<const uint16_t*>(rgb.data()), 37 * 6, ref8.data(), 37 * 3,
                                                   CelSize{37, 22}, 0, celDitherOff, 256, nullptr),
                          celStatusOk);
                return ref8;
            }};
}
// mosaic: the photograph sampled at each site's filter colour; demosaic: the bilinear export's bytes.
ToolRun mosaicRun(const std::string& pattern) {
    return {"", "mosaic $A o.png --pattern " + pattern, 0, {}, "o.png", {}, [=](const std::string&) {
                const Png p = readPng(kA);
                Bytes m(size_t(p.w) * p.h);
                for (size_t i = 0; i < m.size(); ++i) {
                    const char c = pattern[(i / size_t(p.w) % 2) * 2 + i % size_t(p.w) % 2];
                    m[i] = p.px[i * 3 + (c == 'r' ? 0 : c == 'g' ? 1 : 2)];
                }
                return m;
            }};
}
ToolRun demosaicRun(const std::string& pattern, CelBayerGrid grid) {
    return {"\"$T\" mosaic $A m.png --pattern " + pattern, "demosaic m.png o.png --pattern " + pattern, 0, {}, "o.png", {},
            [=](const std::string& d) {
                const Png m = readPng(d + "/m.png");
                return demosaicked(m.px.data(), m.w, m.h, grid, "bilinear");
            }};
}
// dither by method name (with levels and noise on the colour photograph,
// or one bit a pixel as PBM on the gray one, 1 black there): the export's
// bytes, its scratch sized by celiReduceBitsGetBufferSize.
ToolRun ditherRun(const std::string& method, CelDitherMode mode, int noise, int levels, bool pbm = false) {
    return {"", (pbm ? "dither $G o.pbm --bits 1 --threshold 100 --levels " : "dither $K o.png --levels ") + std::to_string(levels) +
                    (method.empty() ? "" : " --method " + method) + " --noise " + std::to_string(noise),
            0, {}, pbm ? "o.pbm" : "o.png", {pbm ? "P4\n512 512\n" : ""}, [=](const std::string&) {
                const Png p = readPng(pbm ? kG : kK);
                const int rowBytes = (p.w + 7) / 8;
                int size = 0;
                EXPECT_EQ(celiReduceBitsGetBufferSize(p.channels, CelSize{p.w, p.h}, noise, mode, &size), celStatusOk);
                Bytes scratch(size_t(size) + 64), out(pbm ? size_t(rowBytes) * p.h : p.px.size());
                EXPECT_EQ(pbm ? celiReduceBits_8u1u_C1R(p.px.data(), p.w, out.data(), rowBytes, 0, CelSize{p.w, p.h}, 0, 0, mode, 100,
                                                        scratch.data())
                              : celiReduceBits_8u_C3R(p.px.data(), p.w * 3, out.data(), p.w * 3, CelSize{p.w, p.h}, noise, mode, levels,
                                                      scratch.data()),
                          celStatusOk);
                for (auto& b : out) b = pbm ? uint8_t(~b) : b;
                return out;
            }};
}

// Raw v210 of 100x20 (FFmpeg's: rows of 128-byte blocks of 48 pixels): its
// luma scaled from 10 bits by bit replication, or its 5-6-5 words.
const std::string kV210 = "ffmpeg -v error -f lavfi -i testsrc2=size=100x20:rate=5 -frames:v 1 -c:v v210 -f rawvideo t.v210";
Want v210(bool luma) {
    return [=](const std::string& d) {
        const int w = 100, h = 20, rowWords = 96;
        const Bytes raw = slurp(d + "/t.v210");
        EXPECT_EQ(raw.size(), size_t(4) * rowWords * h);
        std::vector<uint32_t> words(raw.size() / 4);
        std::memcpy(words.data(), raw.data(), raw.size());
        std::vector<uint16_t> out(size_t(w) * h);
        if (!luma)
            EXPECT_EQ(celiYUV422v210ToBGR_709HDTV_32u16u_C3(words.data(), rowWords, out.data(), w, CelSize{w, h}), celStatusOk);
        else
            EXPECT_EQ(celiYUV422v210ToGray_709HDTV_32u16u_C3C1(words.data(), rowWords, out.data(), w, CelSize{w, h}), celStatusOk);
        for (auto& v : out) v = luma ? uint16_t(v << 6 | v >> 4) : v;
        return bytesOf(out);
    };
}
// 4:2:0 (or, from422, the tool's 4:2:2) video to a raw `fmt` and back, exactly.
ToolRun rawBack(const std::string& fmt, bool from422) {
    const std::string base = from422 ? "o.y4m" : "t.y4m";
    return {(from422 ? kT422 : kT) + " && \"$T\" convert " + base + " p." + fmt + " -q",
            "convert p." + fmt + " --size 96x64 --pix-fmt " + fmt + " b.y4m" + (from422 ? "" : " --out-pix-fmt i420"), 0, {}, "b.y4m", {},
            same(base)};
}
// FFmpeg's 67x23 PFM of the photograph (gray or colour, little- or
// big-endian) through a tone-mapping export: the file's rows bottom to top.
ToolRun toneRun(const std::string& pixFmt, bool linear) {
    return {"ffmpeg -v error -i $K -vf scale=67:23 -pix_fmt " + pixFmt + " in.pfm", std::string("tonemap in.pfm o.png --") + (linear ? "linear" : "mean"),
            0, {}, "o.png", {}, [=](const std::string& d) {
                const Bytes b = slurp(d + "/in.pfm");
                const size_t n = has(pixFmt, "gbrp") ? 3 * 67 : 67, h = 23, start = b.size() - n * h * 4;
                std::vector<float> v(n * h);
                for (size_t i = 0; i < v.size(); ++i) {
                    uint8_t q[4];
                    std::memcpy(q, &b[start + ((h - 1 - i / n) * n + i % n) * 4], 4);
                    if (has(pixFmt, "be")) std::swap(q[0], q[3]), std::swap(q[1], q[2]);
                    std::memcpy(&v[i], q, 4);
                }
                Bytes ref(v.size());
                EXPECT_EQ((linear ? celiToneMapLinear_32f8u_C1R : celiToneMapMean_32f8u_C1R)(v.data(), int(n) * 4, ref.data(), int(n),
                                                                                            CelSize{int(n), int(h)}),
                          celStatusOk);
                return ref;
            }};
}
CelStatus gammaFwd(Bytes& px, const Png& p) { return celiGammaFwd_8u_C3IR(px.data(), p.w * 3, CelSize{p.w, p.h}); }

const std::vector<ToolRun> kRuns = {
    // listing, routes and timing
    {"", "list RGBToYCbCr420_8u_C3P3R", 0, {"celiRGBToYCbCr420_8u_C3P3R\n    C3 RGB -> 4:2:0 planes Y, Cb, Cr."}},
    {"", "list --formats nv", 0, {"NV12"}},
    {"", "route rgb24 nv21", 0, {"RGB24 -> I420 (celiRGBToYCbCr420_8u_C3P3R) -> NV21 (celiYCbCr420_8u_P3P2R)\n"}},
    {"", "bench RGBToGray_8u_C3C1R --size 64x32 --seconds 0.01", 0, {"celiRGBToGray_8u_C3C1R", "memcpy Mpix/s"}},
    // --to a colour model, --in-pix-fmt relabelling a PNG, 16 bits in and out (every bit of the samples in use)
    {"", "convert $C o.png --to hsv -v", 0, {"RGB24 -> HSV24 (celiRGBToHSV_8u_C3R)", "celiRGBToHSV_8u_C3R: celStatusOk"}, "o.png", {},
     onPng(celiRGBToHSV_8u_C3R, kC)},
    {"", "convert $C o.png --in-pix-fmt hsv24 -v", 0, {"HSV24 -> RGB24 (celiHSVToRGB_8u_C3R)"}, "o.png", {}, onPng(celiHSVToRGB_8u_C3R, kC)},
    {kIn16, "convert in16.png o.png --to hsv -v", 0, {"celiRGBToHSV_16u_C3R: celStatusOk"}, "o.png", {},
     onPng(celiRGBToHSV_16u_C3R, "in16.png")},
    {kIn16, "convert in16.png o.png --gamma inv -v", 0,
     {"celiGammaInv_16u_C3IR: celStatusOk"}},
    {"", "convert $A --out-dir . --to ycc -v", 0, {"celiRGBToYCC_8u_C3R: celStatusOk", "-> ./astronaut.ycc"}, "astronaut.ycc"},
    {"\"$T\" convert $A --out-dir . --to ycc -q", "convert astronaut.ycc o.png --size 512x512 --pix-fmt ycc -v", 0,
     {"YCC24 -> RGB24 (celiYCCToRGB_8u_C3R)"}},
    // --matrix bt709 and bt709-hdtv: the BT.709 exports, the matrix said in the Y4M and honoured on
    // the way back; RGB reaches the BGRA-only full-scale encoder through BGRA, and its decoder gives RGBA
    {"", "convert $K o.y4m --crop -v --matrix bt709", 0,
     {"RGB24 -> BGR24 (celiColorTwist32f_8u_C3R) -> I420_709 (celiBGRToYCbCr420_709CSC_8u_C3P3R)"}, "o.y4m",
     {" C420jpeg XCOLORMATRIX=BT709\n"}},
    {"\"$T\" convert $K i.y4m -q --matrix bt709", "convert i.y4m o.png -v", 0,
     {"I420_709 -> BGR24 (celiYCbCr420ToBGR_709CSC_8u_P3C3R) -> RGB24 (celiColorTwist32f_8u_C3R)"}},
    {"", "convert $K o.y4m --crop -v --matrix bt709-hdtv", 0,
     {"RGB24 -> BGRA (celiColorTwist32f_8u_AC4IR) -> I420_709HDTV (celiBGRToYCbCr420_709HDTV_8u_AC4P3R)"}, "o.y4m",
     {" C420jpeg XCOLORMATRIX=BT709HDTV\n"}},
    {"\"$T\" convert $K i.y4m -q --matrix bt709-hdtv", "convert i.y4m o.png -v", 0,
     {"I420_709HDTV -> BGRA (celiYCbCr420ToBGR_709HDTV_8u_P3C4R) -> RGBA (celiColorTwist32f_8u_AC4IR)"}, "o.png"},
    {"", "convert $A o.uyvy -v --matrix bt709-hdtv", 0,
     {"RGB24 -> BGR24 (celiColorTwist32f_8u_C3R) -> UYVY_709HDTV (celiBGRToCbYCr422_709HDTV_8u_C3C2R)"}},
    {"\"$T\" convert $A i.uyvy -q --matrix bt709-hdtv", "convert i.uyvy --size 512x512 --pix-fmt uyvy o.png -v --matrix bt709-hdtv",
     0, {"UYVY_709HDTV -> BGR24 (celiCbYCr422ToBGR_709HDTV_8u_C2C3R) -> RGB24"}},
    // one-bit output of a colour picture
    {"", "dither $A c.pbm --levels 2 --bits 1", 0, {}, "c.pbm", {"P4"}},

    // Y4M 4:2:0 of an odd-sized photograph cropped (FFmpeg reads the same planes), and back
    {"", "convert $C o.y4m --crop", 0, {}, "o.y4m", {"W450 H300 "}, [](const std::string&) {
         const Png p = readPng(kC);
         const int w = p.w & ~1, h = p.h & ~1;
         Planes ref(w, w / 2, h, h / 2);
         EXPECT_EQ(celiRGBToYCbCr420_8u_C3P3R(p.px.data(), p.w * 3, ref.p, ref.steps, CelSize{w, h}), celStatusOk);
         return ref.buf;
     }},
    {"", "convert $C o.y4m --crop", 0, {}, "o.y4m", {}, ffmpegRaw("o.y4m", "yuv420p")},
    {"\"$T\" convert $C i.y4m --crop -q", "convert i.y4m o.png", 0, {}, "o.png", {}, [](const std::string& d) {
         const Y4m y = readY4m(d + "/i.y4m");
         const int w = y.w, h = y.h;
         const uint8_t* src[3] = {y.frames.at(0).data(), y.frames[0].data() + w * h, y.frames[0].data() + w * h * 5 / 4};
         int ss[3] = {w, w / 2, w / 2};
         Bytes rgb(size_t(w) * h * 3);
         EXPECT_EQ(celiYCbCr420ToRGB_8u_P3C3R(src, ss, rgb.data(), 3 * w, CelSize{w, h}), celStatusOk);
         return rgb;
     }},
    // FFmpeg's streams of several frames, one PNG a frame, near FFmpeg's own rgb24; a mono stream gives its luma
    {video("96x64", 3, "yuv420p", "v.y4m"), "convert v.y4m v.png", 0, {}, "v-0001.png v-0002.png v-0003.png", {},
     ffmpegRaw("v.y4m", "rgb24"), {4, 1.5}},
    {video("96x64", 3, "yuv422p", "v.y4m"), "convert v.y4m v.png", 0, {}, "v-0001.png v-0002.png v-0003.png", {},
     ffmpegRaw("v.y4m", "rgb24"), {4, 1.5}},
    {video("96x64", 3, "yuv444p", "v.y4m"), "convert v.y4m v.png", 0, {}, "v-0001.png v-0002.png v-0003.png", {},
     ffmpegRaw("v.y4m", "rgb24"), {1, 0.2}},
    {video("96x64", 1, "gray", "v.y4m"), "convert v.y4m v.png", 0, {}, "v.png", {}, same("v.y4m")},
    // raw v210 to a 16-bit PNG of its luma and to 5-6-5 words
    {kV210, "convert t.v210 --size 100x20 --pix-fmt v210 y.png", 0, {}, "y.png", {}, v210(true)},
    {kV210, "convert t.v210 --size 100x20 --pix-fmt v210 c.bgr565", 0, {}, "c.bgr565", {}, v210(false)},
    // chroma rates: 4:2:0 to 4:2:2 (--chroma-filter the four-tap export) and back exactly; the packed
    // 4:2:2 files are FFmpeg's and come back; the raw formats come back through the rate edges
    {kT, "convert t.y4m o.y4m --out-pix-fmt i422", 0, {}, "o.y4m", {" C422"}, rate(celiYCbCr420ToYCbCr422_8u_P3R, "t.y4m")},
    {kT, "convert t.y4m o.y4m --out-pix-fmt i422 --chroma-filter", 0, {}, "o.y4m", {},
     rate(celiYCbCr420ToYCbCr422_Filter_8u_P3R, "t.y4m")},
    {kT422, "convert o.y4m b.y4m --out-pix-fmt i420", 0, {}, "b.y4m", {}, same("t.y4m")},
    {kT + " && \"$T\" convert t.y4m o.y4m --out-pix-fmt i411 -q", "convert o.y4m b.y4m --out-pix-fmt i420", 0, {}, "b.y4m", {},
     same("t.y4m")},
    {kT422, "convert o.y4m p.yuyv422", 0, {}, "p.yuyv422", {}, ffmpegRaw("o.y4m", "yuyv422")},
    {kT422, "convert o.y4m p.uyvy422", 0, {}, "p.uyvy422", {}, ffmpegRaw("o.y4m", "uyvy422")},
    {kT422, "convert o.y4m p.yvyu422", 0, {}, "p.yvyu422", {}, ffmpegRaw("o.y4m", "yvyu422")},
    rawBack("yuyv422", true), rawBack("uyvy422", true), rawBack("yvyu422", true),
    rawBack("nv12", false), rawBack("yuy2", false), rawBack("uyvy", false), rawBack("i411", false), rawBack("nv11", false),
    rawBack("i422", false),
    // interlaced pictures: It, Ib and the It frames of an Im stream, and a raw input with --interlaced, field
    // by field both ways; Ip repeats rows; the stream's tags and each frame's parameters are written back
    {y4m420("t.y4m", 64, 32, "F25:1 It A1:1"), "convert t.y4m o.y4m --out-pix-fmt i422", 0, {}, "o.y4m", {"F25:1 It A1:1"},
     rate(celiYCbCr420To422_Interlace_8u_P3R, "t.y4m")},
    {y4m420("t.y4m", 64, 32, "F25:1 Ib A1:1"), "convert t.y4m o.y4m --out-pix-fmt i422", 0, {}, "o.y4m", {"F25:1 Ib A1:1"},
     rate(celiYCbCr420To422_Interlace_8u_P3R, "t.y4m")},
    {y4m420("t.y4m", 64, 32, "F25:1 Ip A1:1"), "convert t.y4m o.y4m --out-pix-fmt i422", 0, {}, "o.y4m", {"F25:1 Ip A1:1"},
     rate(celiYCbCr420ToYCbCr422_8u_P3R, "t.y4m")},
    {y4m420("t.y4m", 64, 32, "F25:1 It") + " && \"$T\" convert t.y4m o.y4m --out-pix-fmt i422 -q", "convert o.y4m b.y4m --out-pix-fmt i420", 0,
     {}, "b.y4m", {}, rate(celiYCbCr422To420_Interlace_8u_P3R, "o.y4m", false)},
    {y4m420("t.y4m", 64, 32, "F25:1 Im A1:1", {"Itii", "I1pp", ""}), "convert t.y4m o.y4m --out-pix-fmt i422", 0, {}, "o.y4m",
     {"FRAME Itii\n", "FRAME I1pp\n"}, [](const std::string& d) {
         const Bytes f = rate(celiYCbCr420To422_Interlace_8u_P3R, "t.y4m")(d), p = rate(celiYCbCr420ToYCbCr422_8u_P3R, "t.y4m")(d);
         Bytes w(f.begin(), f.begin() + long(f.size() / 3));
         w.insert(w.end(), p.begin() + long(p.size() / 3), p.end());
         return w;
     }},
    {y4m420("r.y4m", 64, 32, "F25:1") + " && tail -c 3072 r.y4m > t.yuv",
     "convert t.yuv o.y4m --size 64x32 --pix-fmt i420 --out-pix-fmt i422 --interlaced", 0, {}, "o.y4m", {" It "},
     rate(celiYCbCr420To422_Interlace_8u_P3R, "r.y4m")},
    // the frames of one video and many files over --jobs threads: the bytes of one thread; progress counts the files
    {y4m420("t.y4m", 128, 96, "F25:1", std::vector<std::string>(9)) + " && \"$T\" convert t.y4m one.y4m --out-pix-fmt i422 --jobs 1 -q",
     "convert t.y4m two.y4m --out-pix-fmt i422 --jobs 2", 0, {}, "two.y4m", {}, [](const std::string& d) {
         const Bytes one = samples(d, "one.y4m");
         EXPECT_EQ(one.size(), 9u * 128 * 96 * 2);
         return one;
     }},
    {"mkdir d1 d2 && " + y4m420("f0.y4m", 64, 48, "F25:1") + " && " + y4m420("f1.y4m", 64, 48, "F25:1", {""}, 1) + " && " +
         y4m420("f2.y4m", 64, 48, "F25:1", {""}, 20001) + " && \"$T\" convert f0.y4m f1.y4m f2.y4m --out-dir d1 --jobs 1 -q",
     "convert f0.y4m f1.y4m f2.y4m --out-dir d2 --jobs 2", 0, {"[3/3]"}, "d2/f0.png d2/f1.png d2/f2.png", {},
     same("d1/f0.png d1/f1.png d1/f2.png")},
    {"mkdir out && cp $A a.png && cp $A c.png && head -c 3000 a.png > b.png", "convert a.png b.png c.png --out-dir out --to ppm --jobs 2",
     1, {"celcc: b.png: corrupt or truncated PNG"}, "out/a.ppm out/c.ppm", {}, [](const std::string& d) {
         EXPECT_EQ(entries(d + "/out"), (std::vector<std::string>{"a.ppm", "c.ppm"}));
         return samples(d, kA + " " + kA);
     }},
    // the lifting YCoCg planes as a .npy array (the PNG's RGB reaches the BGR export by the exchange twist), and back
    {"", "convert $A p.npy --to ycocg-rev -v", 0,
     {"RGB24 -> BGR24 (celiColorTwist32f_8u_C3R) -> YCOCGR16S (celiBGRToYCoCg_Rev_8u16s_C3P3R)"}, "p.npy",
     {"'descr': '<i2', 'fortran_order': False, 'shape': (3, 512, 512)"}, [](const std::string&) {
         const Png p = readPng(kA);
         Bytes bgr(p.px.size());
         for (size_t i = 0; i < bgr.size(); i += 3) bgr[i] = p.px[i + 2], bgr[i + 1] = p.px[i + 1], bgr[i + 2] = p.px[i];
         const size_t plane = size_t(p.w) * p.h;
         std::vector<int16_t> ref(3 * plane);
         int16_t* dst[3] = {ref.data(), ref.data() + plane, ref.data() + 2 * plane};
         EXPECT_EQ(celiBGRToYCoCg_Rev_8u16s_C3P3R(bgr.data(), 3 * p.w, dst, 2 * p.w, CelSize{p.w, p.h}), celStatusOk);
         return bytesOf(ref);
     }},
    {"\"$T\" convert $A p.npy --to ycocg-rev -q", "convert p.npy o.png --pix-fmt ycocg-rev -v", 0,
     {"YCOCGR16S -> BGR24 (celiYCoCgToBGR_Rev_16s8u_P3C3R) -> RGB24 (celiColorTwist32f_8u_C3R)"}, "o.png", {}, same(kA)},
    // PNM out and in, JPEG in
    {"", "convert $A a.ppm", 0, {}, "a.ppm", {"P6\n512 512\n255\n"}, same(kA)},
    {"\"$T\" convert $A a.ppm -q", "convert a.ppm o.png", 0, {}, "o.png", {}, same(kA)},
    {"", "convert $A g.pgm --pix-fmt gray8", 0, {}, "g.pgm", {"P5\n512 512\n255\n"}, onPng(celiRGBToGray_8u_C3C1R, kA, 1)},
    {"ffmpeg -v error -i $A -q:v 2 a.jpg", "convert a.jpg o.png", 0, {}, "o.png", {}, same(kA), {255, 4.0}},
    // --gamma on the output when it is RGB, else on the input ahead of the conversion, in place
    {"", "convert $K o.png --gamma fwd", 0, {}, "o.png", {}, inPlace(gammaFwd, kK)},
    {"", "convert $K o.yuv --pix-fmt i444 --gamma fwd", 0, {}, "o.yuv", {}, inPlace(gammaFwd, kK, true)},
    // --matrix: a twist given inline, and three rows of three from a file on 16 bits (R' = B, G' = R, B' = G)
    {"", "convert $K o.png --matrix '1.2 -0.1 -0.1 10; 0 1 0 0; 0.3 0.3 0.4 -20'", 0, {}, "o.png", {}, inPlace(
         [](Bytes& px, const Png& p) {
             const float m[3][4] = {{1.2f, -0.1f, -0.1f, 10}, {0, 1, 0, 0}, {0.3f, 0.3f, 0.4f, -20}};
             return celiColorTwist32f_8u_C3IR(px.data(), p.w * 3, CelSize{p.w, p.h}, m);
         }, kK)},
    {kIn16 + " && printf '0 0 1\\n1 0 0\\n0 1 0\\n' > cycle.txt", "convert in16.png o.png --matrix cycle.txt", 0, {}, "o.png", {},
     [](const std::string& d) {
         const Bytes px = readPng(d + "/in16.png").px;
         Bytes want = px;
         const uint16_t* a = reinterpret_cast<const uint16_t*>(px.data());
         uint16_t* c = reinterpret_cast<uint16_t*>(want.data());
         for (size_t i = 0; i < want.size() / 2; i += 3) c[i] = a[i + 2], c[i + 1] = a[i], c[i + 2] = a[i + 1];
         return want;
     }},
    // mosaic samples each site's filter colour; demosaic gives each method's export bytes, for each pattern, depth and raw dumps
    mosaicRun("rggb"), mosaicRun("bggr"), mosaicRun("gbrg"), mosaicRun("grbg"),
    demosaicRun("rggb", celBayerRGGB), demosaicRun("bggr", celBayerBGGR), demosaicRun("gbrg", celBayerGBRG),
    demosaicRun("grbg", celBayerGRBG),
    rawDemosaic(8, "bilinear"), rawDemosaic(8, "ahd"), rawDemosaic(8, "vng --gains 3,2,1"),
    rawDemosaic(16, "bilinear"), rawDemosaic(16, "ahd"), rawDemosaic(16, "vng --gains 3,2,1"), rawDemosaic(16, "bilinear --out-depth 8"),
    // dither methods by name, with and without noise; one-bit PBM
    ditherRun("none", celDitherOff, 0, 4), ditherRun("ordered", celDitherOrdered, 0, 4), ditherRun("ordered", celDitherOrdered, 30, 8),
    ditherRun("fs", celDitherFloydSteinberg, 0, 4), ditherRun("jjn", celDitherJarvisJudiceNinke, 20, 4),
    ditherRun("stucki", celDitherStucki, 20, 4), ditherRun("", celDitherOff, 0, 2, true), ditherRun("stucki", celDitherStucki, 0, 2, true),
    // tone mapping of PFMs, gray little-endian and colour big-endian
    toneRun("grayf32le", true), toneRun("grayf32le", false), toneRun("gbrpf32be", true), toneRun("gbrpf32be", false),

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
    {"echo keep > out.png", "convert $A out.png --force -q", 0, {}, "out.png", {}, same(kA)},
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
    {"head -c 2880 /dev/zero > u.yuv", "convert u.yuv out.y4m --size 64x30 --pix-fmt i420 --out-pix-fmt i422 --interlaced",
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
    {kPgm8, "demosaic m.pgm out.png --pattern rggb --gains 1,1,1", 1, {"--method bilinear applies no gains"}},
    {kPgm8, "demosaic m.pgm out.png --pattern rggb --method vng --gains 1,2", 1, {"'1,2' is not three gains R,G,B"}},
    {"head -c 2400 /dev/zero > m.raw", "demosaic m.raw out.png --size 41x30 --depth 16 --pattern gbrg", 1, {"do not match"}},
    {"printf 'II*\\0garbage' > bad.dng", "demosaic bad.dng out.png", 1, {"bad.dng: "}},
    {kNegPfm, "tonemap neg.pfm out.png --linear", 1, {"celStatusToneMapNegative"}},
    {kNegPfm, "tonemap neg.pfm out.png", 1, {"tonemap: give one of --linear and --mean"}},
    {kNegPfm, "tonemap neg.pfm out.png --linear --mean", 1, {"tonemap: give one of --linear and --mean"}},
    {"printf 'Pf\\n10 10\\n-1.0\\nabc' > short.pfm", "tonemap short.pfm out.png --mean", 1, {"truncated"}},
};

class CliRun : public ::testing::TestWithParam<ToolRun> {};

TEST_P(CliRun, ExitsSaysAndLeavesWhatItShould) {
    const ToolRun& c = GetParam();
    if (kA.empty() || kC.empty() || kK.empty() || kG.empty()) GTEST_SKIP() << "the photographs of python3-skimage are not installed";
    if (!sh("command -v ffmpeg >/dev/null")) GTEST_SKIP() << "ffmpeg not installed";
    const std::string dir = workDir();
    if (!c.setup.empty()) ASSERT_TRUE(sh("cd '" + dir + "' && " + shellVars() + c.setup)) << c.setup;
    const std::vector<std::string> before = entries(dir);
    const Bytes keep = exists(dir + "/out.png") ? slurp(dir + "/out.png") : Bytes();
    const Outcome r = celcc(dir, c.args);
    EXPECT_EQ(r.rc, c.rc) << r.err;
    for (const std::string& s : c.says) EXPECT_TRUE(has(r.out + r.err, s)) << s << " not in:\n" << r.out << r.err;
    const std::string first = c.made.substr(0, c.made.find(' '));
    if (!c.made.empty()) ASSERT_TRUE(exists(dir + "/" + first)) << first;
    for (const std::string& s : c.holds) EXPECT_TRUE(has(slurpText(dir + "/" + first), s)) << s << " not in " << first;
    if (c.want) {
        const Bytes got = samples(dir, c.made), want = c.want(dir);
        ASSERT_EQ(got.size(), want.size()) << c.made;
        int most = 0;
        double sum = 0;
        for (size_t i = 0; i < got.size(); ++i) most = std::max(most, std::abs(got[i] - want[i])), sum += std::abs(got[i] - want[i]);
        EXPECT_LE(most, c.near.max) << c.made;
        EXPECT_LE(sum / double(std::max<size_t>(got.size(), 1)), c.near.mean) << c.made;
    }
    if (c.rc == 0) return;
    if (c.rc == 1 && c.made.empty()) {  // one failing file among several leaves the others
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << "one line: " << r.err;
        EXPECT_EQ(r.err.rfind("celcc: ", 0), 0u) << r.err;
    }
    EXPECT_EQ(entries(dir), before) << "a file was left behind";
    if (!keep.empty()) EXPECT_TRUE(slurp(dir + "/out.png") == keep);
}
INSTANTIATE_TEST_SUITE_P(Table, CliRun, ::testing::ValuesIn(kRuns));

// ---- A file written here: a CFA DNG ---------------------------------------------------------

// A minimal CFA DNG: one strip of 16-bit samples, RGGB, black 256, white
// 4095, every value inside its tag (shorts and bytes little-endian).
void writeDng(const std::string& path, int w, int h, const std::vector<uint16_t>& samples) {
    const uint32_t W = uint32_t(w), H = uint32_t(h), tags[][4] = {
        {254, 4, 1, 0}, {256, 4, 1, W}, {257, 4, 1, H}, {258, 3, 1, 16}, {259, 3, 1, 1}, {262, 3, 1, 32803}, {273, 4, 1, 0},
        {277, 3, 1, 1}, {278, 4, 1, H}, {279, 4, 1, 2 * W * H}, {284, 3, 1, 1}, {33421, 3, 2, 0x20002}, {33422, 1, 4, 0x2010100},
        {50706, 1, 4, 0x401}, {50714, 4, 1, 256}, {50717, 4, 1, 4095}};
    const uint32_t n = sizeof tags / sizeof tags[0];
    Bytes out = {'I', 'I', 42, 0};
    auto le = [&](uint32_t v, int bytes) { for (int i = 0; i < bytes; ++i) out.push_back(uint8_t(v >> 8 * i)); };
    le(8, 4), le(n, 2);
    for (const auto& t : tags) le(t[0], 2), le(t[1], 2), le(t[2], 4), le(t[0] == 273 ? 8 + 2 + 12 * n + 4 : t[3], 4);
    le(0, 4);
    for (uint16_t s : samples) le(s, 2);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(out.data()), std::streamsize(out.size()));
}

// The tool applies the file's black and white levels, then the library's
// demosaicing in the pattern the file says.
TEST(CliFiles, CfaDngThroughLibRaw) {
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
    std::vector<uint16_t> lev(raw.size());
    for (size_t i = 0; i < raw.size(); ++i)
        lev[i] = uint16_t(std::clamp<int64_t>(((int64_t(raw[i]) - 256) * 65535 + (4095 - 256) / 2) / (4095 - 256), 0, 65535));
    EXPECT_TRUE(readPng(dir + "/t.png").px == demosaicked(lev.data(), w, h, celBayerRGGB, "bilinear"));
}

}  // namespace
