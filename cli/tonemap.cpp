// celcc tonemap and the one-bit form of celcc dither: float images (PFM,
// and OpenEXR where the build found it) to 8-bit through
// celiToneMapLinear_32f8u_C1R / celiToneMapMean_32f8u_C1R, and gray images
// to one-bit PBM through celiReduceBits_8u1u_C1R.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cli.h"

#ifdef CELCC_HAVE_OPENEXR
#include <ImfArray.h>
#include <ImfRgbaFile.h>
#endif

namespace celcli {
namespace {

// A float image: `channels` (1 or 3) interleaved samples a pixel, rows top
// to bottom.
struct FloatImage {
    int width = 0, height = 0, channels = 1;
    std::vector<float> data;
};

std::string lowerExtOf(const std::string& file) {
    const size_t dot = file.find_last_of('.');
    std::string e = dot == std::string::npos ? "" : file.substr(dot + 1);
    for (char& c : e) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return e;
}

// PFM: "PF" (RGB) or "Pf" (gray), width and height, a scale whose sign
// gives the byte order (negative: little-endian), then rows bottom to top.
FloatImage readPfm(const std::string& file) {
    FILE* f = std::fopen(file.c_str(), "rb");
    if (!f) fail(file, std::string("cannot open: ") + std::strerror(errno));
    char magic[3] = {0};
    int w = 0, h = 0;
    double scale = 0;
    const bool header = std::fscanf(f, "%2s %d %d %lf", magic, &w, &h, &scale) == 4 && std::fgetc(f) != EOF;
    if (!header || (std::strcmp(magic, "PF") != 0 && std::strcmp(magic, "Pf") != 0) || scale == 0.0) {
        std::fclose(f);
        fail(file, "not a PFM image (PF or Pf, width, height, scale)");
    }
    if (w < 1 || h < 1 || w > kMaxSide || h > kMaxSide || int64_t(w) * h > kMaxPixels) {
        std::fclose(f);
        checkSize(w, h, file);
    }
    FloatImage im;
    im.width = w;
    im.height = h;
    im.channels = magic[1] == 'F' ? 3 : 1;
    const size_t row = size_t(w) * im.channels;
    im.data.resize(row * h);
    // bottom row first in the file: read each into its place from the end
    for (int y = h - 1; y >= 0; --y)
        if (std::fread(im.data.data() + row * y, sizeof(float), row, f) != row) {
            std::fclose(f);
            fail(file, "truncated: " + std::to_string(w) + "x" + std::to_string(h) + " float samples expected");
        }
    std::fclose(f);
    const uint16_t probe = 1;
    const bool hostLittle = *reinterpret_cast<const uint8_t*>(&probe) == 1;
    if ((scale < 0) != hostLittle)
        for (float& v : im.data) {
            uint8_t* b = reinterpret_cast<uint8_t*>(&v);
            std::swap(b[0], b[3]);
            std::swap(b[1], b[2]);
        }
    return im;
}

#ifdef CELCC_HAVE_OPENEXR
FloatImage readExr(const std::string& file) {
    FloatImage im;
    try {
        Imf::RgbaInputFile in(file.c_str());
        const Imath::Box2i dw = in.dataWindow();
        const int64_t w = int64_t(dw.max.x) - dw.min.x + 1, h = int64_t(dw.max.y) - dw.min.y + 1;
        checkSize(w, h, file);
        Imf::Array2D<Imf::Rgba> px(h, w);
        in.setFrameBuffer(&px[0][0] - dw.min.x - dw.min.y * w, 1, size_t(w));
        in.readPixels(dw.min.y, dw.max.y);
        im.width = int(w);
        im.height = int(h);
        im.channels = 3;
        im.data.resize(size_t(w) * h * 3);
        for (int64_t y = 0; y < h; ++y)
            for (int64_t x = 0; x < w; ++x) {
                const Imf::Rgba& p = px[y][x];
                float* d = &im.data[(size_t(y) * w + x) * 3];
                d[0] = p.r;
                d[1] = p.g;
                d[2] = p.b;
            }
    } catch (const Failure&) {
        throw;
    } catch (const std::exception& e) {
        fail(file, std::string("OpenEXR: ") + e.what());
    }
    return im;
}
#endif

FloatImage readFloatImage(const std::string& file) {
    const std::string e = lowerExtOf(file);
    if (e == "exr") {
#ifdef CELCC_HAVE_OPENEXR
        return readExr(file);
#else
        fail(file, "this celcc was built without OpenEXR: convert the image to PFM");
#endif
    }
    return readPfm(file);
}

void report(CelStatus st, const char* exportName, const std::string& file, bool verbose) {
    if (verbose) say(file + ": " + exportName + ": " + celccfmt_status_name(st));
    if (st < 0) fail(file, std::string(exportName) + " returned " + celccfmt_status_name(st));
}

}  // namespace

int runToneMap(const ToneMapOptions& o) {
    if (o.linear == o.mean) fail("tonemap", "give one of --linear and --mean");
    const Kind ok = kindOfOutput(o.output);
    if (ok != Kind::Png && ok != Kind::Pnm) fail(o.output, "write the result as .png, .pgm, .ppm, .pnm or .pam");
    refuseExisting(o.output, o.force);
    const FloatImage in = readFloatImage(o.input);
    Picture out;
    out.alloc(in.channels == 3 ? celFmt_RGB24 : celFmt_GRAY8, in.width, in.height, o.input);
    // The channels of a colour image share one scale: its rows are mapped
    // as one-channel rows three times as wide.
    const CelSize size{in.width * in.channels, in.height};
    const int srcStep = size.width * 4, dstStep = size.width;
    const char* name = o.linear ? "celiToneMapLinear_32f8u_C1R" : "celiToneMapMean_32f8u_C1R";
    const CelStatus st = o.linear ? celiToneMapLinear_32f8u_C1R(in.data.data(), srcStep, out.data.data(), dstStep, size)
                                  : celiToneMapMean_32f8u_C1R(in.data.data(), srcStep, out.data.data(), dstStep, size);
    report(st, name, o.input, o.verbose);
    if (st == celStatusToneMapNegative)
        fail(o.input, std::string(name) + " returned celStatusToneMapNegative: the " +
                          (o.linear ? "largest sample" : "mean") + " is below zero, nothing to map");
    writeImage(out, o.output, o.force);
    return 0;
}

// One bit a pixel: the image as 8-bit gray (through the table), then
// celiReduceBits_8u1u_C1R with a set bit for a sample above --threshold,
// written as PBM (where 1 is black: the bits are inverted for the file).
int runDitherOneBit(const DitherOptions& o, CelDitherMode mode) {
    if (lowerExtOf(o.output) != "pbm") fail(o.output, "one-bit output is written as .pbm");
    if (o.levels != 0 && o.levels != 2) fail("--levels", "one bit a pixel holds 2 levels");
    if (mode != celDitherOff && mode != celDitherStucki) fail("--method", "one-bit output knows none and stucki");
    if (o.noise != 0) fail("--noise", "one-bit output takes no noise");
    if (o.threshold < 0 || o.threshold > 255) fail("--threshold", "0..255");
    refuseExisting(o.output, o.force);
    const Picture in = readImage(o.input, false);
    Picture gray;
    if (in.format == celFmt_GRAY8) {
        gray = in;
    } else {
        gray.alloc(celFmt_GRAY8, in.width, in.height, o.input);
        convertPicture(in, gray, o.input, o.verbose);
    }
    const int rowBytes = (in.width + 7) / 8;
    std::vector<uint8_t> bits(size_t(rowBytes) * in.height);
    int scratchSize = 0;
    std::vector<uint8_t> scratch;
    if (mode == celDitherStucki) {
        report(celiReduceBitsGetBufferSize(1, {in.width, in.height}, 0, mode, &scratchSize),
               "celiReduceBitsGetBufferSize", o.input, o.verbose);
        scratch.resize(size_t(scratchSize));
    }
    report(celiReduceBits_8u1u_C1R(gray.data.data(), in.width, bits.data(), rowBytes, 0, {in.width, in.height}, 0, 0,
                                   mode, static_cast<uint8_t>(o.threshold), scratch.empty() ? nullptr : scratch.data()),
           "celiReduceBits_8u1u_C1R", o.input, o.verbose);
    const uint8_t pad = static_cast<uint8_t>(in.width % 8 ? 0xFFu >> (in.width % 8) : 0);
    for (int y = 0; y < in.height; ++y) {
        uint8_t* r = bits.data() + size_t(y) * rowBytes;
        for (int k = 0; k < rowBytes; ++k) r[k] = static_cast<uint8_t>(~r[k]);
        r[rowBytes - 1] &= static_cast<uint8_t>(~pad);  // the bits past the width are 0
    }
    const std::string header = "P4\n" + std::to_string(in.width) + " " + std::to_string(in.height) + "\n";
    OutputFile out(o.output, o.force);
    out.write(header.data(), header.size());
    out.write(bits.data(), bits.size());
    out.commit();
    return 0;
}

}  // namespace celcli
