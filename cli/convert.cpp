// celcc convert: files in, files out, every pixel through the table.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <numeric>

#include "cli.h"

namespace celcli {

namespace {

int findFormat(const std::string& name, const char* option) {
    const int f = celccfmt_format_find(name.c_str());
    if (f < 0) fail(option, "unknown pixel format '" + name + "' (see `celcc list --formats`)");
    return f;
}

// Whether the table converts a to b (equal formats copy).
bool routes(int a, int b) { return a == b || celccfmt_route(a, b, nullptr) > 0; }

// The format an output of this kind gets when no --pix-fmt names one.
int defaultTarget(Kind kind, int in, const std::string& path) {
    const CelFmtFormat& f = *celccfmt_format(in);
    switch (kind) {
    case Kind::Png:
    case Kind::Pnm:
        // Pictures are for looking at: another colour model becomes RGB
        // unless --to or --out-pix-fmt keeps it.
        if (pngCanHold(in) && (f.model == celFmtModelRGB || f.model == celFmtModelGray)) return in;
        // v210's picture is its 10-bit luma (its colour decoders give 5-6-5
        // words limited on the 10-bit scale; --out-pix-fmt bgr565 to a raw file).
        if (in == celFmt_V210) return celFmt_GRAY10;
        if (f.model == celFmtModelGray) return celFmt_GRAY8;
        if (f.sample == celFmtSample16u) return f.channels == 4 ? celFmt_RGBA64 : celFmt_RGB48;
        // a source that reaches RGB only through four channels (BT.709 full-scale 4:2:0) becomes RGBA
        if (f.channels != 4 && !routes(in, celFmt_RGB24) && routes(in, celFmt_BGRA))
            return celFmt_RGBA;
        return f.channels == 4 ? celFmt_RGBA : celFmt_RGB24;
    case Kind::Y4m:
        // Keep the chroma sampling of a YCbCr source; RGB becomes 4:2:0.
        if (y4mCanHold(in)) return in;
        if (f.model == celFmtModelGray && f.sample == celFmtSample8u) return celFmt_GRAY8;
        // a BT.709 source stays BT.709
        if (f.model == celFmtModelYCbCr709) return f.alignWidth == 1 ? celFmt_I444_709 : celFmt_I420_709;
        if (f.model == celFmtModelYCbCr709Full) return celFmt_I420_709HDTV;
        if (f.model == celFmtModelYCbCr) {
            if (f.alignWidth == 2 && f.alignHeight == 1) return celFmt_I422;
            if (f.alignWidth == 4 && f.alignHeight == 1) return celFmt_I411;
            if (f.alignWidth == 1 && f.alignHeight == 1) return celFmt_I444;
        }
        return celFmt_I420;
    case Kind::Npy: return npyCanHold(in) ? in : -1;
    case Kind::Raw: {
        const size_t dot = path.rfind('.');
        const std::string ext = dot == std::string::npos ? "" : path.substr(dot + 1);
        const int named = celccfmt_format_find(ext.c_str());
        if (named >= 0) return named;
        return f.model == celFmtModelYCbCr || f.model == celFmtModelYUV || f.model == celFmtModelYCbCr709 ||
                       f.model == celFmtModelYCbCr709Full
                   ? in
                   : celFmt_I420;
    }
    default: return -1;
    }
}

void checkTarget(Kind kind, int target, const std::string& path) {
    const bool ok = kind == Kind::Raw || (kind == Kind::Y4m   ? y4mCanHold(target)
                                          : kind == Kind::Npy ? npyCanHold(target)
                                                              : pngCanHold(target));
    if (!ok) {
        const char* what = kind == Kind::Y4m   ? "Y4M holds I420, I422, I444, I411 and GRAY8, and the BT.709 forms of I420 and I444"
                           : kind == Kind::Npy ? ".npy holds formats of one plane or of full-size planes"
                                               : "PNG and PNM hold 8- and 16-bit gray, RGB, RGBA and the packed XYZ, LUV, Lab, HSV, HLS formats";
        fail(path, formatName(target) + " cannot be written in this file type (" + what + ")");
    }
}

int lcm(int a, int b) { return a / std::gcd(a, b) * b; }

// The picture cut down to a size both formats accept, or a refusal.
const Picture& fitted(const Picture& in, int target, bool crop, Picture& scratch, const std::string& file) {
    const CelFmtFormat &a = in.info(), &b = *celccfmt_format(target);
    const int aw = lcm(a.alignWidth, b.alignWidth), ah = lcm(a.alignHeight, b.alignHeight);
    if (in.width % aw == 0 && in.height % ah == 0) return in;
    if (!crop)
        fail(file, std::to_string(in.width) + "x" + std::to_string(in.height) + " does not fit " +
                       formatName(in.format) + " -> " + formatName(target) + " (width a multiple of " +
                       std::to_string(aw) + ", height of " + std::to_string(ah) + "); --crop cuts the last columns and rows");
    const int w = in.width - in.width % aw, h = in.height - in.height % ah;
    if (w < 1 || h < 1) fail(file, "too small to crop to a multiple of " + std::to_string(aw) + "x" + std::to_string(ah));
    scratch.alloc(in.format, w, h, file);
    const CelFmtImage s = in.image(), d = scratch.image();
    for (int i = 0; i < a.planeCount; ++i) {
        int32_t pw, ph;
        int64_t rb;
        celccfmt_plane_size(in.format, w, h, i, &pw, &ph, &rb);
        for (int32_t y = 0; y < ph; ++y)
            std::copy_n(s.plane[i] + int64_t(y) * s.step[i], rb, d.plane[i] + int64_t(y) * d.step[i]);
    }
    return scratch;
}

// ---- --gamma: the transfer curve in place on an RGB picture ---------------------------

// RGB or BGR with a sample a channel (5-6-5 words are not: no gamma or
// matrix form takes them).
bool rgbFamily(int fmt) {
    const CelFmtFormat& f = *celccfmt_format(fmt);
    return (f.model == celFmtModelRGB || f.model == celFmtModelBGR) &&
           f.plane[0].unitBytes == f.channels * f.sampleBytes * f.plane[0].unitWidth;
}

struct GammaCall {
    int sample, channels;
    bool forward;
    const char* name;
    CelStatus (*run)(uint8_t* p, int step, CelSize size);
};

// The in-place forms: three channels, or four with alpha untouched; floats
// over the range 0..1.
#define CEL_GAMMA_CALL(sample, ch, fwd, Dir, depth, T, form, ...)                                             \
    GammaCall {                                                                                               \
        sample, ch, fwd, "celiGamma" #Dir "_" #depth "_" #form, [](uint8_t* p, int step, CelSize size) {      \
            return celiGamma##Dir##_##depth##_##form(reinterpret_cast<T*>(p), step, size __VA_ARGS__);       \
        }                                                                                                     \
    }
const GammaCall kGammaCalls[] = {
    CEL_GAMMA_CALL(celFmtSample8u, 3, true, Fwd, 8u, uint8_t, C3IR),
    CEL_GAMMA_CALL(celFmtSample8u, 4, true, Fwd, 8u, uint8_t, AC4IR),
    CEL_GAMMA_CALL(celFmtSample8u, 3, false, Inv, 8u, uint8_t, C3IR),
    CEL_GAMMA_CALL(celFmtSample8u, 4, false, Inv, 8u, uint8_t, AC4IR),
    CEL_GAMMA_CALL(celFmtSample16u, 3, true, Fwd, 16u, uint16_t, C3IR),
    CEL_GAMMA_CALL(celFmtSample16u, 4, true, Fwd, 16u, uint16_t, AC4IR),
    CEL_GAMMA_CALL(celFmtSample16u, 3, false, Inv, 16u, uint16_t, C3IR),
    CEL_GAMMA_CALL(celFmtSample16u, 4, false, Inv, 16u, uint16_t, AC4IR),
    CEL_GAMMA_CALL(celFmtSample32f, 3, true, Fwd, 32f, float, C3IR, , 0.0f, 1.0f),
    CEL_GAMMA_CALL(celFmtSample32f, 4, true, Fwd, 32f, float, AC4IR, , 0.0f, 1.0f),
    CEL_GAMMA_CALL(celFmtSample32f, 3, false, Inv, 32f, float, C3IR, , 0.0f, 1.0f),
    CEL_GAMMA_CALL(celFmtSample32f, 4, false, Inv, 32f, float, AC4IR, , 0.0f, 1.0f),
};
#undef CEL_GAMMA_CALL

void applyGamma(Picture& p, bool forward, const std::string& file, bool verbose) {
    const CelFmtFormat& f = p.info();
    for (const GammaCall& g : kGammaCalls) {
        if (g.sample != f.sample || g.channels != f.channels || g.forward != forward) continue;
        const CelFmtImage im = p.image();
        const CelStatus st = g.run(im.plane[0], im.step[0], CelSize{p.width, p.height});
        if (verbose) say(file + ": " + g.name + ": " + celccfmt_status_name(st));
        if (st < 0) fail(file, std::string(g.name) + " returned " + celccfmt_status_name(st));
        return;
    }
    fail(file, "--gamma has no form for " + formatName(p.format));
}

// ---- --matrix bt601|bt709|bt709-hdtv: the YCbCr matrix, not a colour twist ---------------

// The YCbCr formats that exist with more than one matrix, by column:
// BT.601 studio range, BT.709 studio range, BT.709 with full-scale luma.
const int kMatrixForms[][3] = {
    {celFmt_I420, celFmt_I420_709, celFmt_I420_709HDTV},
    {celFmt_YV12, celFmt_YV12_709, -1},
    {celFmt_NV12, celFmt_NV12_709, -1},
    {celFmt_I444, celFmt_I444_709, -1},
    {celFmt_UYVY, -1, celFmt_UYVY_709HDTV},
};

// Column of a named matrix, or -1 when the option is no matrix name.
int namedMatrix(const std::string& option) {
    std::string m = option;
    std::transform(m.begin(), m.end(), m.begin(), ::tolower);
    return m == "bt601" ? 0 : m == "bt709" ? 1 : m == "bt709-hdtv" ? 2 : -1;
}

// A YCbCr format relabelled with the matrix of `column` (same layout); other
// models unchanged.
int withMatrix(int format, int column, const std::string& file) {
    const int m = celccfmt_format(format)->model;
    if (column < 0 || (m != celFmtModelYCbCr && m != celFmtModelYCbCr709 && m != celFmtModelYCbCr709Full)) return format;
    for (const auto& row : kMatrixForms)
        for (int f : row)
            if (f == format) {
                if (row[column] < 0) break;
                return row[column];
            }
    static const char* names[] = {"BT.601", "BT.709", "BT.709 full-scale"};
    fail(file, "the library has no " + std::string(names[column]) + " form of " + formatName(format) +
                   " (BT.709: I420, YV12, NV12, I444; full scale: I420 and UYVY)");
}

// ---- --matrix: the colour twist in place on an RGB picture ------------------------------

// Twelve numbers (three rows of factors for R, G, B and an offset), or
// nine (no offsets), from the option's text or the file it names; rows
// apart by ';' or new lines, numbers by blanks or commas.
struct Matrix {
    float m[3][4] = {};
};
Matrix parseMatrix(const std::string& option) {
    std::string text = option;
    std::ifstream f(option);
    if (f)
        text.assign(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
    else if (option.find_first_of(" ;,") == std::string::npos)
        fail("--matrix", "'" + option + "' is neither a matrix nor a readable file");
    std::vector<std::vector<float>> rows(1);
    std::string word;
    auto take = [&] {
        if (word.empty()) return;
        char* end = nullptr;
        const float v = std::strtof(word.c_str(), &end);
        if (end == word.c_str() || *end != '\0' || !std::isfinite(v)) fail("--matrix", "'" + word + "' is not a number");
        rows.back().push_back(v);
        word.clear();
    };
    for (char c : text) {
        if (c == ';' || c == '\n') {
            take();
            if (!rows.back().empty()) rows.emplace_back();
        } else if (c == ' ' || c == '\t' || c == ',' || c == '\r') {
            take();
        } else {
            word += c;
        }
    }
    take();
    if (rows.back().empty()) rows.pop_back();
    const size_t cols = rows.empty() ? 0 : rows[0].size();
    if (rows.size() != 3 || (cols != 3 && cols != 4) || rows[1].size() != cols || rows[2].size() != cols)
        fail("--matrix", "needs three rows of four numbers (or of three): \"a b c d; e f g h; i j k l\"");
    Matrix out;
    for (int r = 0; r < 3; ++r)
        for (size_t k = 0; k < cols; ++k) out.m[r][k] = rows[size_t(r)][k];
    return out;
}

struct TwistCall {
    int sample, channels;
    const char* name;
    CelStatus (*run)(uint8_t* p, int step, CelSize size, const float m[3][4]);
};
#define CEL_TWIST_CALL(sample, ch, Op, depth, T, form)                                                         \
    TwistCall {                                                                                                \
        sample, ch, "celi" #Op "_" #depth "_" #form, [](uint8_t* p, int step, CelSize size, const float m[3][4]) { \
            return celi##Op##_##depth##_##form(reinterpret_cast<T*>(p), step, size, m);                        \
        }                                                                                                      \
    }
const TwistCall kTwistCalls[] = {
    CEL_TWIST_CALL(celFmtSample8u, 3, ColorTwist32f, 8u, uint8_t, C3IR),
    CEL_TWIST_CALL(celFmtSample8u, 4, ColorTwist32f, 8u, uint8_t, AC4IR),
    CEL_TWIST_CALL(celFmtSample16u, 3, ColorTwist32f, 16u, uint16_t, C3IR),
    CEL_TWIST_CALL(celFmtSample16u, 4, ColorTwist32f, 16u, uint16_t, AC4IR),
    CEL_TWIST_CALL(celFmtSample32f, 3, ColorTwist, 32f, float, C3IR),
    CEL_TWIST_CALL(celFmtSample32f, 4, ColorTwist, 32f, float, AC4IR),
};
#undef CEL_TWIST_CALL

// The matrix speaks of R, G, B; a picture stored B, G, R takes it with rows
// and columns reversed.
void applyMatrix(Picture& p, const Matrix& mat, const std::string& file, bool verbose) {
    const CelFmtFormat& f = p.info();
    Matrix m = mat;
    if (f.model == celFmtModelBGR)
        for (int r = 0; r < 3; ++r)
            for (int k = 0; k < 4; ++k) m.m[r][k] = mat.m[2 - r][k == 3 ? 3 : 2 - k];
    for (const TwistCall& t : kTwistCalls) {
        if (t.sample != f.sample || t.channels != f.channels || f.planeCount != 1) continue;
        const CelFmtImage im = p.image();
        const CelStatus st = t.run(im.plane[0], im.step[0], CelSize{p.width, p.height}, m.m);
        if (verbose) say(file + ": " + t.name + ": " + celccfmt_status_name(st));
        if (st < 0) fail(file, std::string(t.name) + " returned " + celccfmt_status_name(st));
        return;
    }
    fail(file, "--matrix has no form for " + formatName(p.format));
}

// Where --gamma and --matrix apply: the output when it is RGB, else the input.
enum class GammaSide { None, Input, Output };
GammaSide rgbSide(const std::string& option, int in, int target, const std::string& file) {
    if (rgbFamily(target)) return GammaSide::Output;
    if (rgbFamily(in)) return GammaSide::Input;
    fail(file, option + " needs RGB on one side (" + formatName(in) + " -> " + formatName(target) + ")");
}
GammaSide gammaSide(const ConvertOptions& o, int in, int target, const std::string& file) {
    return o.gamma.empty() ? GammaSide::None : rgbSide("--gamma", in, target, file);
}
GammaSide matrixSide(const ConvertOptions& o, int in, int target, const std::string& file) {
    return o.matrix.empty() || namedMatrix(o.matrix) >= 0 ? GammaSide::None : rgbSide("--matrix", in, target, file);
}

struct Job {
    std::string in, out;
    Kind kind;
};

// The output format a --to name asks for: the named format, or the format of
// the same colour model whose samples have the input's depth (hsv from a
// 16-bit PNG is HSV48).
int wantedFormat(const std::string& name, int in) {
    const int named = findFormat(name, "--to");
    const CelFmtFormat& n = *celccfmt_format(named);
    const CelFmtFormat& f = *celccfmt_format(in);
    // signed planes (YCoCg) are no picture depth: the named format stands
    if (n.sample == f.sample || n.sample == celFmtSample16s || n.sample == celFmtSample32s) return named;
    for (int id = 0; id < celccfmt_format_count(); ++id) {
        const CelFmtFormat& c = *celccfmt_format(id);
        if (c.model == n.model && c.sample == f.sample && c.channels == n.channels && c.planeCount == n.planeCount) return id;
    }
    return named;
}

// A decoded picture that holds another model's samples in the same layout.
void retag(Picture& p, int format, const std::string& file) {
    const CelFmtFormat& have = p.info();
    const CelFmtFormat& want = *celccfmt_format(format);
    if (want.sample != have.sample || want.channels != have.channels || want.planeCount != 1)
        fail(file, "holds " + formatName(p.format) + ", which --in-pix-fmt " + formatName(format) +
                       " cannot relabel (same depth and channel count needed)");
    p.format = format;
}

// The preference of an interlaced picture: routes through the field-wise
// 4:2:0 <-> 4:2:2 exports, which need whole groups of four rows.
std::string interlacePrefer(const Picture& p, int target, const std::string& file) {
    const std::string prefer = "_Interlace_";
    int32_t e[CELFMT_MAX_ROUTE];
    const int n = celccfmt_route_prefer(p.format, target, prefer.c_str(), e);
    for (int k = 0; k < n; ++k)
        if (std::strstr(celccfmt_edge(e[k])->exportName, prefer.c_str()) && p.height % 4 != 0)
            fail(file, "an interlaced picture changes its chroma rate field by field, which needs a height of a "
                       "multiple of 4 (" + std::to_string(p.height) + "; --crop does not cut it)");
    return prefer;
}

// One input file into one output name; frames spread over `jobs` threads.
void convertFile(const ConvertOptions& o, const Job& job, const RawSpec& raw, int outFmt, int jobs, bool showFrames) {
    std::unique_ptr<Source> src = openSource(job.in, raw);
    const int64_t count = src->frameCount();
    std::unique_ptr<Progress> frames;
    if (showFrames && count > 1) frames = std::make_unique<Progress>(count, "frames", o.quiet);
    std::unique_ptr<Sink> sink;
    int target = -1;
    GammaSide gamma = GammaSide::None, twist = GammaSide::None;
    const bool forward = o.gamma == "fwd";
    const int ycc = namedMatrix(o.matrix);
    const Matrix matrix = o.matrix.empty() || ycc >= 0 ? Matrix{} : parseMatrix(o.matrix);
    int64_t index = 0;
    const int batch = std::max(1, jobs) * 2;
    for (bool more = true; more;) {
        std::vector<Picture> in;
        for (int i = 0; i < batch; ++i) {
            Picture p;
            if (!src->next(p)) {
                more = false;
                break;
            }
            if (raw.retag >= 0) retag(p, raw.retag, job.in);
            p.format = withMatrix(p.format, ycc, job.in);  // a named matrix overrides what the file says
            in.push_back(std::move(p));
        }
        if (in.empty()) break;
        if (target < 0) {
            target = outFmt >= 0                          ? outFmt
                     : !o.to.empty() && o.outDir.empty() ? wantedFormat(o.to, in[0].format)
                                                         : defaultTarget(job.kind, in[0].format, job.out);
            if (target < 0) fail(job.out, "cannot tell the output format");
            target = withMatrix(target, ycc, job.out);
            checkTarget(job.kind, target, job.out);
            gamma = gammaSide(o, in[0].format, target, job.in);
            twist = matrixSide(o, in[0].format, target, job.in);
            sink = std::make_unique<Sink>(job.out, job.kind, o.force, count);
        }
        std::vector<Picture> out(in.size());
        parallelFor(int64_t(in.size()), jobs, [&](int64_t i) {
            const std::string where = count > 1 ? job.in + " (frame " + std::to_string(index + i + 1) + ")" : job.in;
            Picture scratch;
            const Picture& fit = fitted(in[size_t(i)], target, o.crop, scratch, where);
            out[size_t(i)].alloc(target, fit.width, fit.height, where);
            const bool interlaced = o.interlaced || in[size_t(i)].interlaced;
            out[size_t(i)].y4mTags = in[size_t(i)].y4mTags.empty() && interlaced ? "F25:1 It A1:1"
                                                                                  : in[size_t(i)].y4mTags;
            out[size_t(i)].y4mFrame = in[size_t(i)].y4mFrame;
            const bool verbose = o.verbose && index + i == 0;
            // the four-tap exports cover heights of a multiple of 8; others replicate the rows;
            // an interlaced picture changes its chroma rate field by field
            const std::string prefer = interlaced ? interlacePrefer(fit, target, where)
                                       : o.chromaFilter && fit.height % 8 == 0 ? "_Filter_"
                                                                                : "";
            // on one side: the matrix, then the curve
            if (gamma == GammaSide::Input || twist == GammaSide::Input) {
                Picture encoded = fit;
                if (twist == GammaSide::Input) applyMatrix(encoded, matrix, where, verbose);
                if (gamma == GammaSide::Input) applyGamma(encoded, forward, where, verbose);
                convertPicture(encoded, out[size_t(i)], where, verbose, prefer);
            } else {
                convertPicture(fit, out[size_t(i)], where, verbose, prefer);
            }
            if (twist == GammaSide::Output) applyMatrix(out[size_t(i)], matrix, where, verbose);
            if (gamma == GammaSide::Output) applyGamma(out[size_t(i)], forward, where, verbose);
        });
        for (size_t i = 0; i < out.size(); ++i) {
            sink->put(out[i]);
            if (frames) frames->done(job.in + " frame " + std::to_string(index + int64_t(i) + 1));
        }
        index += int64_t(in.size());
    }
    if (!sink) fail(job.in, "no frame to convert");
    sink->commit();
}

bool rawByName(const std::string& path) {
    const size_t dot = path.rfind('.'), slash = path.rfind('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return false;
    std::string e = path.substr(dot + 1);
    std::transform(e.begin(), e.end(), e.begin(), ::tolower);
    return e == "yuv" || e == "raw" || e == "bin" || celccfmt_format_find(e.c_str()) >= 0;
}

bool npyByName(const std::string& path) {
    return path.size() > 4 && path.compare(path.size() - 4, 4, ".npy") == 0;
}

std::string stemOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = base.rfind('.');
    return dot == std::string::npos || dot == 0 ? base : base.substr(0, dot);
}

}  // namespace

int runConvert(const ConvertOptions& o) {
    if (o.jobs < 1 || o.jobs > 256) fail("--jobs", "must be 1 to 256");
    if (o.interlaced && o.chromaFilter)
        fail("--interlaced", "goes with no --chroma-filter: the four-tap filter mixes the two fields");
    RawSpec raw;
    if (!o.size.empty() && !parseSize(o.size, &raw.width, &raw.height))
        fail("--size", "'" + o.size + "' is not WIDTHxHEIGHT");
    if (!o.size.empty()) checkSize(raw.width, raw.height, "--size");

    // The jobs: inputs and their output names.
    std::vector<Job> jobs;
    if (o.outDir.empty()) {
        if (o.inputs.size() != 2) fail("convert", "give IN OUT, or several inputs with --out-dir DIR");
        jobs.push_back({o.inputs[0], o.inputs[1], kindOfOutput(o.inputs[1])});
    } else {
        if (o.inputs.empty()) fail("convert", "no input files");
        std::string ext = o.to.empty() ? "png" : o.to;
        if (!ext.empty() && ext[0] == '.') ext.erase(0, 1);
        for (const std::string& in : o.inputs) {
            const std::string out = o.outDir + "/" + stemOf(in) + "." + ext;
            for (const Job& j : jobs)
                if (j.out == out) fail(in, "has the same output name as " + j.in + " (" + out + ")");
            jobs.push_back({in, out, kindOfOutput(out)});
        }
    }
    for (const Job& j : jobs)
        if (j.kind == Kind::Unknown)
            fail(j.out, "unknown output type (png, pgm/ppm/pnm/pam, y4m, yuv, or a pixel format name as extension)");

    // --pix-fmt names the raw side: the input when it is raw (or a .npy
    // array, whose dtype and shape do not tell every format), else the output.
    const bool npyIn = std::all_of(jobs.begin(), jobs.end(), [](const Job& j) { return npyByName(j.in); });
    const bool rawIn = npyIn || std::all_of(jobs.begin(), jobs.end(), [](const Job& j) { return rawByName(j.in); });
    int inFmt = o.inPixFmt.empty() ? -1 : findFormat(o.inPixFmt, "--in-pix-fmt");
    int outFmt = o.outPixFmt.empty() ? -1 : findFormat(o.outPixFmt, "--out-pix-fmt");
    if (!o.pixFmt.empty()) {
        const int f = findFormat(o.pixFmt, "--pix-fmt");
        if (rawIn && inFmt < 0) inFmt = f;
        else if (outFmt < 0) outFmt = f;
        else fail("--pix-fmt", "both sides already have a format (--in-pix-fmt, --out-pix-fmt)");
    }
    if (!rawIn && inFmt >= 0 && raw.width <= 0) {
        raw.retag = inFmt;  // a picture file that holds another model's samples
        inFmt = -1;
    }
    if (!o.to.empty() && o.outDir.empty() && outFmt >= 0) fail("--to", "give the output format once (--to or --out-pix-fmt)");
    raw.format = inFmt;
    if (raw.width > 0 && (!rawIn || npyIn)) fail("--size", "only raw inputs take --size and --pix-fmt");
    if (raw.format >= 0 && raw.width <= 0 && !npyIn) fail("--pix-fmt", "a raw input also needs --size WxH");
    if (raw.width > 0 && raw.format < 0) fail("--size", "a raw input also needs --pix-fmt");

    std::atomic<int> failures{0};
    if (jobs.size() == 1) {
        try {
            convertFile(o, jobs[0], raw, outFmt, o.jobs, true);
            if (!o.quiet) say("celcc: " + jobs[0].in + " -> " + jobs[0].out);
        } catch (const Failure& e) {
            say(std::string("celcc: ") + e.what());
            return 1;
        }
        return 0;
    }
    Progress progress(int64_t(jobs.size()), "files", o.quiet);
    parallelFor(int64_t(jobs.size()), o.jobs, [&](int64_t i) {
        try {
            convertFile(o, jobs[size_t(i)], raw, outFmt, 1, false);
            progress.done(jobs[size_t(i)].in + " -> " + jobs[size_t(i)].out);
        } catch (const Failure& e) {
            say(std::string("celcc: ") + e.what());
            ++failures;
            progress.done(jobs[size_t(i)].in + ": failed");
        }
    });
    return failures ? 1 : 0;
}

}  // namespace celcli
