// celcc: convert, demosaic and dither image and video files with libcelccy8.
#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>

#include "cli.h"

using namespace celcli;

namespace {
std::string joined(const std::vector<std::string>& v) {
    std::string s;
    for (const auto& x : v) s += (s.empty() ? "" : "|") + x;
    return s;
}
}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a closed pipe fails a write; it does not end the tool mid-file
    CLI::App app{"celcc: image colour conversion with libcelccy8 (convert, demosaic, dither, list, bench)"};
    app.require_subcommand(1);
    app.set_version_flag("--version", [] {
        const CelLibVersion* v = celccGetLibVersion();
        return std::string("celcc with ") + v->libraryLabel + " " + v->versionLabel;
    });

    ConvertOptions co;
    CLI::App* convert = app.add_subcommand(
        "convert", "Convert IN to OUT (or many inputs into --out-dir). Formats: PNG, JPEG, PNM/PAM, Y4M, raw frames.");
    convert->add_option("files", co.inputs, "IN OUT, or IN... with --out-dir")->required();
    convert->add_option("--out-dir", co.outDir, "Directory for the outputs of several inputs");
    convert->add_option("--to", co.to,
                        "With --out-dir: the output extension (png, ppm, y4m, npy, yuv, nv12, ...; default png). Else the "
                        "colour model or pixel format of the output (hsv, hls, luv, lab, xyz, ycocg, ycocg-rev, ...), in "
                        "the input's depth where the model has it");
    convert->add_option("--pix-fmt", co.pixFmt,
                        "Pixel format of the raw side: the input when it is raw, else the output (i420, nv12, yuy2, "
                        "rgb24, xyz48, ...; `celcc list --formats`)");
    convert->add_option("--in-pix-fmt", co.inPixFmt,
                        "Pixel format of a raw input, or what a PNG/PNM input holds when not RGB (hsv24, lab48, ...)");
    convert->add_option("--out-pix-fmt", co.outPixFmt, "Pixel format of the output");
    convert->add_option("--size", co.size, "WxH of a raw input");
    convert->add_option("--gamma", co.gamma,
                        "fwd|inv: the BT.709 transfer curve on the RGB side (the output when it is RGB, else the "
                        "input): fwd encodes linear RGB, inv makes it linear; alpha untouched")
        ->check(CLI::IsMember({"fwd", "inv"}));
    convert->add_option("--matrix", co.matrix,
                        "bt601|bt709|bt709-hdtv: the YCbCr matrix of the YCbCr side (input and output; BT.709 "
                        "forms: I420, YV12, NV12, I444; bt709-hdtv: full-scale luma held in 1..254, I420). Or "
                        "FILE|\"a b c d; e f g h; i j k l\": the colour twist out_r = a_r0 R + a_r1 G + a_r2 B + a_r3 "
                        "on the RGB side (as --gamma; before the curve), offsets in sample units (255, 65535 or 1.0 "
                        "full scale); three rows of three without offsets are taken too; alpha untouched");
    convert->add_option("-j,--jobs", co.jobs, "Threads: files, or the frames of one video, at once")->capture_default_str();
    convert->add_flag("--chroma-filter", co.chromaFilter,
                      "4:2:0 to 4:2:2: interpolate the new chroma rows with the four-tap filter rather than repeat "
                      "them (heights of a multiple of 8)");
    convert->add_flag("--interlaced", co.interlaced,
                      "Every picture is interlaced (Y4M It and Ib streams are, and the frames of an Im stream that "
                      "say so): 4:2:0 <-> 4:2:2 chroma filtered field by field (heights of a multiple of 4)");
    convert->add_flag("--crop", co.crop, "Cut the last columns/rows that do not fit the chroma subsampling");
    convert->add_flag("-f,--force", co.force, "Overwrite existing outputs");
    convert->add_flag("-v,--verbose", co.verbose, "Name the route and the exports called, with their statuses");
    convert->add_flag("-q,--quiet", co.quiet, "No progress lines");

    DemosaicOptions dm;
    CLI::App* demosaic = app.add_subcommand(
        "demosaic", "Demosaic a Bayer mosaic (PGM/PNG gray, raw dump, or a camera raw file) into RGB");
    demosaic->add_option("IN", dm.input)->required();
    demosaic->add_option("OUT", dm.output, "PNG or PPM")->required();
    demosaic->add_option("--pattern", dm.pattern, "rggb|bggr|gbrg|grbg (camera raw files say their own)");
    demosaic->add_option("--method", dm.method, joined(demosaicMethodNames()))->capture_default_str();
    demosaic->add_option("--gains", dm.gains, "R,G,B: gains applied to the demosaiced colours (--method vng)");
    demosaic->add_option("--size", dm.size, "WxH of a raw dump");
    demosaic->add_option("--depth", dm.depth, "Bits of a raw dump's samples: 8 or 16 (16: host order)");
    demosaic->add_option("--out-depth", dm.outDepth, "8 or 16 bits of output (default: as the mosaic)");
    demosaic->add_flag("-f,--force", dm.force, "Overwrite an existing output");
    demosaic->add_flag("-v,--verbose", dm.verbose, "Name the exports called and their statuses");

    MosaicOptions mo;
    CLI::App* mosaic = app.add_subcommand(
        "mosaic", "Sample an RGB image into a Bayer mosaic (one channel a site, nothing computed), to try demosaic");
    mosaic->add_option("IN", mo.input)->required();
    mosaic->add_option("OUT", mo.output, "PNG or PGM")->required();
    mosaic->add_option("--pattern", mo.pattern, "rggb|bggr|gbrg|grbg")->capture_default_str();
    mosaic->add_flag("-f,--force", mo.force, "Overwrite an existing output");

    DitherOptions dt;
    CLI::App* dither = app.add_subcommand("dither", "Reduce an image to N levels a channel (celiReduceBits_*)");
    dither->add_option("IN", dt.input)->required();
    dither->add_option("OUT", dt.output, "PNG or PNM")->required();
    dither->add_option("--levels", dt.levels, "Levels a channel (2..256 for 8-bit, 2..65536 for 16-bit)")->required();
    dither->add_option("--method", dt.method, joined(ditherMethodNames()) + " (default: ordered; none with --bits 1)");
    dither->add_option("--bits", dt.bits, "1: a one-bit PBM of the image's gray (celiReduceBits_8u1u_C1R; --method none or stucki)");
    dither->add_option("--threshold", dt.threshold, "With --bits 1: a bit is set where the gray sample is above it")->capture_default_str();
    dither->add_option("--noise", dt.noise, "Noise in percent, 0..100")->capture_default_str();
    dither->add_flag("-f,--force", dt.force, "Overwrite an existing output");
    dither->add_flag("-v,--verbose", dt.verbose, "Name the exports called and their statuses");

    ToneMapOptions tm;
    CLI::App* tonemap = app.add_subcommand(
        "tonemap", "A float image (PFM, OpenEXR) to 8 bits: largest sample or twice the mean to 255 (celiToneMap*)");
    tonemap->add_option("IN", tm.input, "PFM (Pf gray, PF colour) or EXR")->required();
    tonemap->add_option("OUT", tm.output, "PNG or PNM")->required();
    tonemap->add_flag("--linear", tm.linear, "Scale by the largest sample (celiToneMapLinear_32f8u_C1R)");
    tonemap->add_flag("--mean", tm.mean, "Scale by twice the mean, saturate (celiToneMapMean_32f8u_C1R)");
    tonemap->add_flag("-f,--force", tm.force, "Overwrite an existing output");
    tonemap->add_flag("-v,--verbose", tm.verbose, "Name the exports called and their statuses");

    std::string listPattern;
    bool listFormats = false, listEdges = false;
    CLI::App* list = app.add_subcommand("list", "List the exports with their doc lines (or --formats, --edges)");
    list->add_option("PATTERN", listPattern, "Substring or glob, any case");
    list->add_flag("--formats", listFormats, "The pixel formats the tool knows");
    list->add_flag("--edges", listEdges, "The conversions: one export between two formats");

    std::string routeFrom, routeTo;
    CLI::App* route = app.add_subcommand("route", "Show how FROM becomes TO (the exports called)");
    route->add_option("FROM", routeFrom)->required();
    route->add_option("TO", routeTo)->required();

    std::string benchPattern, benchSize = "1920x1080";
    double benchSeconds = 0.3;
    CLI::App* bench = app.add_subcommand("bench", "Time the matching exports on random data, in Mpixel/s beside memcpy");
    bench->add_option("PATTERN", benchPattern, "Substring or glob, any case");
    bench->add_option("--size", benchSize, "WxH")->capture_default_str();
    bench->add_option("--seconds", benchSeconds, "Time spent on each export")->capture_default_str();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }
    try {
        if (*convert) return runConvert(co);
        if (*demosaic) return runDemosaic(dm);
        if (*mosaic) return runMosaic(mo);
        if (*dither) return runDither(dt);
        if (*tonemap) return runToneMap(tm);
        if (*list) return runList(listPattern, listFormats, listEdges);
        if (*route) return runRoute(routeFrom, routeTo);
        if (*bench) return runBench(benchPattern, benchSize, benchSeconds);
    } catch (const Failure& e) {
        std::fprintf(stderr, "celcc: %s\n", e.what());
        return 1;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "celcc: out of memory\n");
        return 1;
    }
    return 0;
}
