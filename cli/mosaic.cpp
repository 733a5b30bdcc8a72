// celcc demosaic, celcc mosaic and celcc dither: the library's demosaicing
// and bit-depth reduction on files.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "cli.h"

namespace celcli {

namespace {

void checkStatus(CelStatus st, const char* exportName, const std::string& file, bool verbose) {
    if (verbose) say(file + ": " + exportName + ": " + celccfmt_status_name(st));
    if (st < 0) fail(file, std::string(exportName) + " returned " + celccfmt_status_name(st));
    if (st > 0 && !verbose)
        say("celcc: " + file + ": warning: " + exportName + " returned " + celccfmt_status_name(st));
}

struct GridName {
    const char* name;
    CelBayerGrid grid;
};
const GridName kGrids[] = {
    {"bggr", celBayerBGGR}, {"rggb", celBayerRGGB}, {"gbrg", celBayerGBRG}, {"grbg", celBayerGRBG}};

CelBayerGrid gridOf(const std::string& name) {
    std::string n = name;
    std::transform(n.begin(), n.end(), n.begin(), ::tolower);
    for (const GridName& g : kGrids)
        if (n == g.name) return g.grid;
    fail("--pattern", "'" + name + "' is not one of rggb, bggr, gbrg, grbg");
}
const char* gridName(CelBayerGrid g) {
    for (const GridName& x : kGrids)
        if (x.grid == g) return x.name;
    return "?";
}

// ---- Demosaicing methods -------------------------------------------------------------
//
// One row per method; a family that adds a demosaicer adds its row here.

struct DemosaicMethod {
    const char* name;
    const char* doc;
    void (*run)(const Picture& mosaic, CelBayerGrid grid, Picture& rgb, const std::string& file, bool verbose);
    // Methods that apply gains (--gains): gains for B, G, R, in that order.
    void (*runWithGains)(const Picture& mosaic, CelBayerGrid grid, const float* gainsBgr, Picture& rgb,
                         const std::string& file, bool verbose) = nullptr;
};

void bilinear(const Picture& m, CelBayerGrid grid, Picture& rgb, const std::string& file, bool verbose) {
    const bool wide = m.format == celFmt_GRAY16;
    rgb.alloc(wide ? celFmt_RGB48 : celFmt_RGB24, m.width, m.height, file);
    const CelFmtImage s = m.image(), d = rgb.image();
    const CelRect roi{0, 0, m.width, m.height};
    const CelSize frame{m.width, m.height};
    if (wide)
        checkStatus(celiCFAToRGB_16u_C1C3R(reinterpret_cast<const uint16_t*>(s.plane[0]), roi, frame, s.step[0],
                                           reinterpret_cast<uint16_t*>(d.plane[0]), d.step[0], grid),
                    "celiCFAToRGB_16u_C1C3R", file, verbose);
    else
        checkStatus(celiCFAToRGB_8u_C1C3R(s.plane[0], roi, frame, s.step[0], d.plane[0], d.step[0], grid),
                    "celiCFAToRGB_8u_C1C3R", file, verbose);
}

// AHD: the scratch is the caller's, 30 rows of (width + 6) samples plus 16
// bytes (width at least 5).
void ahd(const Picture& m, CelBayerGrid grid, Picture& rgb, const std::string& file, bool verbose) {
    const bool wide = m.format == celFmt_GRAY16;
    rgb.alloc(wide ? celFmt_RGB48 : celFmt_RGB24, m.width, m.height, file);
    const CelFmtImage s = m.image(), d = rgb.image();
    const CelRect roi{0, 0, m.width, m.height};
    const CelSize frame{m.width, m.height};
    const int bufferStep = (wide ? 2 : 1) * (std::max(m.width, 5) + 6) + 16;
    std::vector<uint8_t> scratch(size_t(30) * size_t(bufferStep));
    if (wide)
        checkStatus(celiDemosaicAHD_16u_C1C3R(reinterpret_cast<const uint16_t*>(s.plane[0]), roi, frame, s.step[0],
                                              reinterpret_cast<uint16_t*>(d.plane[0]), d.step[0], grid,
                                              reinterpret_cast<uint16_t*>(scratch.data()), bufferStep),
                    "celiDemosaicAHD_16u_C1C3R", file, verbose);
    else
        checkStatus(celiDemosaicAHD_8u_C1C3R(s.plane[0], roi, frame, s.step[0], d.plane[0], d.step[0], grid,
                                             scratch.data(), bufferStep),
                    "celiDemosaicAHD_8u_C1C3R", file, verbose);
}

// VNG writes B, G, R, A and treats red and blue sites alike, so the same
// mosaic read with red and blue exchanged in its pattern comes out as
// R, G, B, A (the gains exchanged the same way).  The alpha it keeps is
// then left out row by row.
CelBayerGrid redBlueExchanged(CelBayerGrid g) {
    switch (g) {
    case celBayerBGGR: return celBayerRGGB;
    case celBayerRGGB: return celBayerBGGR;
    case celBayerGBRG: return celBayerGRBG;
    default: return celBayerGBRG;
    }
}
void vngWithGains(const Picture& m, CelBayerGrid grid, const float* gainsBgr, Picture& rgb, const std::string& file,
                  bool verbose) {
    const bool wide = m.format == celFmt_GRAY16;
    rgb.alloc(wide ? celFmt_RGB48 : celFmt_RGB24, m.width, m.height, file);
    const size_t sample = wide ? 2 : 1, pixels = size_t(m.width) * m.height;
    std::vector<uint8_t> rgba(pixels * 4 * sample);
    const CelFmtImage s = m.image(), d = rgb.image();
    const CelSizeL frame{m.width, m.height};
    const CelRectL roi{0, 0, m.width, m.height};
    const int64_t step = int64_t(m.width) * 4 * int64_t(sample);
    const CelBayerGrid swapped = redBlueExchanged(grid);
    float gainsRgb[3];
    if (gainsBgr) gainsRgb[0] = gainsBgr[2], gainsRgb[1] = gainsBgr[1], gainsRgb[2] = gainsBgr[0];
    const float* gains = gainsBgr ? gainsRgb : nullptr;
    if (wide)
        checkStatus(celiCFAToBGRA_VNG_16u_C1C4R_L(reinterpret_cast<const uint16_t*>(s.plane[0]), frame, s.step[0], gains,
                                                  reinterpret_cast<uint16_t*>(rgba.data()), roi, step, swapped),
                    "celiCFAToBGRA_VNG_16u_C1C4R_L", file, verbose);
    else
        checkStatus(celiCFAToBGRA_VNG_8u_C1C4R_L(s.plane[0], frame, s.step[0], gains, rgba.data(), roi, step, swapped),
                    "celiCFAToBGRA_VNG_8u_C1C4R_L", file, verbose);
    const size_t px = 3 * sample;
    for (int y = 0; y < m.height; ++y) {
        const uint8_t* from = rgba.data() + size_t(y) * size_t(step);
        uint8_t* to = d.plane[0] + size_t(y) * size_t(d.step[0]);
        for (int x = 0; x < m.width; ++x) std::memcpy(to + size_t(x) * px, from + size_t(x) * 4 * sample, px);
    }
}
void vng(const Picture& m, CelBayerGrid grid, Picture& rgb, const std::string& file, bool verbose) {
    vngWithGains(m, grid, nullptr, rgb, file, verbose);
}

// "R,G,B" as gains for B, G, R.
void parseGains(const std::string& text, float bgr[3]) {
    float rgb[3];
    const char* p = text.c_str();
    for (int i = 0; i < 3; ++i) {
        char* end = nullptr;
        errno = 0;
        rgb[i] = std::strtof(p, &end);
        const bool last = i == 2;
        if (end == p || errno != 0 || !(rgb[i] >= 0.0f) || rgb[i] > 65535.0f || *end != (last ? '\0' : ','))
            fail("--gains", "'" + text + "' is not three gains R,G,B (numbers from 0 to 65535)");
        p = end + 1;
    }
    bgr[0] = rgb[2], bgr[1] = rgb[1], bgr[2] = rgb[0];
}

const DemosaicMethod kDemosaic[] = {
    {"bilinear", "celiCFAToRGB_*: bilinear, edge-directed green inside, mirrored rim", bilinear},
    {"ahd", "celiDemosaicAHD_*: adaptive homogeneity-directed, two directional candidates chosen per pixel", ahd},
    {"vng", "celiCFAToBGRA_VNG_*: threshold-based variable number of gradients, rim replicated; --gains", vng,
     vngWithGains},
};

// ---- Dither methods: names onto the library's modes -----------------------------------

struct DitherMethod {
    const char* name;
    CelDitherMode mode;
};
const DitherMethod kDither[] = {{"none", celDitherOff},
                                {"ordered", celDitherOrdered},
                                {"fs", celDitherFloydSteinberg},
                                {"floyd-steinberg", celDitherFloydSteinberg},
                                {"jjn", celDitherJarvisJudiceNinke},
                                {"jarvis", celDitherJarvisJudiceNinke},
                                {"stucki", celDitherStucki}};

// Reads a raw mosaic dump: --size WxH, --depth 8 or 16 (host order).
Picture readRawMosaic(const std::string& file, const std::string& size, int depth) {
    int w = 0, h = 0;
    if (size.empty()) fail(file, "a raw mosaic needs --size WxH and --depth 8|16");
    if (!parseSize(size, &w, &h)) fail("--size", "'" + size + "' is not WIDTHxHEIGHT");
    if (depth != 8 && depth != 16) fail("--depth", "a raw mosaic is 8 or 16 bits deep");
    checkSize(w, h, file);
    FILE* f = std::fopen(file.c_str(), "rb");
    if (!f) fail(file, std::string("cannot open: ") + std::strerror(errno));
    struct stat st;
    fstat(fileno(f), &st);
    Picture p;
    p.alloc(depth == 8 ? celFmt_GRAY8 : celFmt_GRAY16, w, h, file);
    if (int64_t(st.st_size) != int64_t(p.bytes())) {
        std::fclose(f);
        fail(file, std::to_string(st.st_size) + " bytes do not match " + size + " at " + std::to_string(depth) +
                       " bits (" + std::to_string(p.bytes()) + " bytes)");
    }
    const size_t n = std::fread(p.data.data(), 1, p.bytes(), f);
    std::fclose(f);
    if (n != p.bytes()) fail(file, "cannot read");
    return p;
}

}  // namespace

void writeImage(const Picture& p, const std::string& path, bool force) {
    const Kind k = kindOfOutput(path);
    if (k != Kind::Png && k != Kind::Pnm) fail(path, "write the result as .png, .pgm, .ppm, .pnm or .pam");
    const std::vector<uint8_t> bytes = k == Kind::Png ? encodePng(p, path) : encodePnm(p, path);
    OutputFile out(path, force);
    out.write(bytes.data(), bytes.size());
    out.commit();
}

// An RGB or gray picture from PNG, JPEG or PNM.
Picture readImage(const std::string& file, bool anyMaxval) {
    switch (kindOfInput(file)) {
    case Kind::Png: return readPng(file);
    case Kind::Jpeg: return readJpeg(file);
    case Kind::Pnm: return readPnm(file, anyMaxval);
    default: fail(file, "expected a PNG, JPEG or PNM image");
    }
}

std::vector<std::string> demosaicMethodNames() {
    std::vector<std::string> v;
    for (const auto& m : kDemosaic) v.push_back(m.name);
    return v;
}
std::vector<std::string> ditherMethodNames() {
    std::vector<std::string> v;
    for (const auto& m : kDither) v.push_back(m.name);
    return v;
}

int runDemosaic(const DemosaicOptions& o) {
    const DemosaicMethod* method = nullptr;
    for (const auto& m : kDemosaic)
        if (o.method == m.name) method = &m;
    if (!method) {
        std::string names;
        for (const auto& m : kDemosaic) names += std::string(names.empty() ? "" : ", ") + m.name;
        fail("--method", "'" + o.method + "' is not a demosaicing method (" + names + ")");
    }
    float gains[3];
    if (!o.gains.empty()) {
        if (!method->runWithGains) fail("--gains", "--method " + o.method + " applies no gains (vng does)");
        parseGains(o.gains, gains);
    }
    if (o.outDepth != 0 && o.outDepth != 8 && o.outDepth != 16) fail("--out-depth", "8 or 16");
    const Kind ok = kindOfOutput(o.output);
    if (ok != Kind::Png && ok != Kind::Pnm) fail(o.output, "write the result as .png, .ppm, .pnm or .pam");
    refuseExisting(o.output, o.force);

    Picture mosaic;
    CelBayerGrid grid = celBayerRGGB;
    bool haveGrid = false;
    const Kind k = kindOfInput(o.input);
    if (k == Kind::Camera) {
        if (!o.size.empty() || o.depth) fail(o.input, "--size and --depth are for raw dumps; a camera file says its own");
        mosaic = readCameraRaw(o.input, &grid);
        haveGrid = true;
        if (o.verbose) say(o.input + ": camera raw, " + std::to_string(mosaic.width) + "x" +
                           std::to_string(mosaic.height) + ", pattern " + gridName(grid));
    } else if (k == Kind::Raw || k == Kind::Unknown) {
        mosaic = readRawMosaic(o.input, o.size, o.depth);
    } else {
        if (!o.size.empty() || o.depth) fail(o.input, "--size and --depth are for raw dumps; this file says its own");
        if (k != Kind::Png && k != Kind::Pnm) fail(o.input, "a mosaic is a one-channel PGM or PNG, a raw dump or a camera raw file");
        mosaic = readImage(o.input, true);
        if (mosaic.format != celFmt_GRAY8 && mosaic.format != celFmt_GRAY16)
            fail(o.input, "a mosaic has one channel; this image is " + formatName(mosaic.format));
    }
    if (!o.pattern.empty()) {
        const CelBayerGrid g = gridOf(o.pattern);
        if (haveGrid && g != grid && o.verbose)
            say(o.input + ": --pattern " + o.pattern + " overrides the file's " + gridName(grid));
        grid = g;
    } else if (!haveGrid) {
        fail(o.input, "give the mosaic's --pattern (rggb, bggr, gbrg or grbg)");
    }
    if (o.outDepth == 16 && mosaic.format == celFmt_GRAY8) fail("--out-depth", "an 8-bit mosaic gives 8-bit RGB");

    Picture rgb;
    if (method->runWithGains)
        method->runWithGains(mosaic, grid, o.gains.empty() ? nullptr : gains, rgb, o.input, o.verbose);
    else
        method->run(mosaic, grid, rgb, o.input, o.verbose);
    if (o.outDepth == 8 && rgb.info().sample == celFmtSample16u) {
        // 16 to 8 bits through the table (the library's reduction, no dither).
        Picture narrow;
        narrow.alloc(rgb.info().channels == 4 ? celFmt_RGBA : celFmt_RGB24, rgb.width, rgb.height, o.input);
        convertPicture(rgb, narrow, o.input, o.verbose);
        rgb = std::move(narrow);
    }
    writeImage(rgb, o.output, o.force);
    return 0;
}

int runMosaic(const MosaicOptions& o) {
    const CelBayerGrid grid = gridOf(o.pattern);
    refuseExisting(o.output, o.force);
    Picture in = readImage(o.input, false);
    const bool wide = in.info().sample == celFmtSample16u;
    if (in.format != celFmt_RGB24 && in.format != celFmt_RGB48) {
        Picture rgb;
        rgb.alloc(wide ? celFmt_RGB48 : celFmt_RGB24, in.width, in.height, o.input);
        convertPicture(in, rgb, o.input, false);
        in = std::move(rgb);
    }
    // Sampling, not arithmetic: each site keeps the one channel its filter passes.
    // Channel of the four sites of the 2x2 block, for each grid value.
    static const int sites[4][4] = {{2, 1, 1, 0}, {0, 1, 1, 2}, {1, 2, 0, 1}, {1, 0, 2, 1}};
    Picture m;
    m.alloc(wide ? celFmt_GRAY16 : celFmt_GRAY8, in.width, in.height, o.input);
    const size_t bytes = wide ? 2 : 1;
    for (int y = 0; y < in.height; ++y)
        for (int x = 0; x < in.width; ++x) {
            const int c = sites[grid][(y & 1) * 2 + (x & 1)];
            std::memcpy(m.data.data() + (size_t(y) * in.width + x) * bytes,
                        in.data.data() + ((size_t(y) * in.width + x) * 3 + c) * bytes, bytes);
        }
    writeImage(m, o.output, o.force);
    return 0;
}

int runDither(const DitherOptions& o) {
    const std::string methodName = !o.method.empty() ? o.method : o.bits == 1 ? "none" : "ordered";
    const DitherMethod* method = nullptr;
    for (const auto& m : kDither)
        if (methodName == m.name) method = &m;
    if (!method) {
        std::string names;
        for (const auto& m : kDither) names += std::string(names.empty() ? "" : ", ") + m.name;
        fail("--method", "'" + methodName + "' is not a dither method (" + names + ")");
    }
    if (o.bits == 1) return runDitherOneBit(o, method->mode);
    if (o.bits != 0) fail("--bits", "1 (a bitmap), or leave it out to keep the input's depth");
    refuseExisting(o.output, o.force);
    const Kind ok = kindOfOutput(o.output);
    if (ok != Kind::Png && ok != Kind::Pnm) fail(o.output, "write the result as .png, .pgm, .ppm, .pnm or .pam");
    const Picture in = readImage(o.input, false);
    Picture out = in;  // the alpha of four-channel images stays as it is
    const CelFmtImage s = in.image(), d = out.image();
    const CelSize size{in.width, in.height};
    int code;
    switch (in.format) {
    case celFmt_GRAY8: case celFmt_GRAY16: code = 1; break;
    case celFmt_RGB24: case celFmt_RGB48: code = 3; break;
    case celFmt_RGBA: case celFmt_RGBA64: code = 9; break;
    default: fail(o.input, "dither works on gray, RGB and RGBA images, not " + formatName(in.format));
    }
    int scratchSize = 0;
    checkStatus(celiReduceBitsGetBufferSize(code, size, o.noise, method->mode, &scratchSize),
                "celiReduceBitsGetBufferSize", o.input, o.verbose);
    std::vector<uint8_t> scratch(size_t(std::max(scratchSize, 1)));
    uint8_t* sc = scratchSize > 0 ? scratch.data() : nullptr;
    const bool wide = in.info().sample == celFmtSample16u;
    CelStatus st;
    const char* name;
#define DITHER(T, form)                                                                                         \
    (name = "celiReduceBits_" #form,                                                                            \
     st = celiReduceBits_##form(reinterpret_cast<const T*>(s.plane[0]), s.step[0], reinterpret_cast<T*>(d.plane[0]), \
                                d.step[0], size, o.noise, method->mode, o.levels, sc))
    if (!wide) {
        if (code == 1) DITHER(uint8_t, 8u_C1R);
        else if (code == 3) DITHER(uint8_t, 8u_C3R);
        else DITHER(uint8_t, 8u_AC4R);
    } else {
        if (code == 1) DITHER(uint16_t, 16u_C1R);
        else if (code == 3) DITHER(uint16_t, 16u_C3R);
        else DITHER(uint16_t, 16u_AC4R);
    }
#undef DITHER
    checkStatus(st, name, o.input, o.verbose);
    writeImage(out, o.output, o.force);
    return 0;
}

}  // namespace celcli
