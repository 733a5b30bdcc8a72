// celcc list, celcc route and celcc bench.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <set>

#include "cli.h"

namespace celcli {

int runList(const std::string& pattern, bool formats, bool edges) {
    if (formats) {
        std::printf("%-8s %-18s %-4s %-6s %s\n", "format", "aliases", "type", "align", "layout");
        for (int i = 0; i < celccfmt_format_count(); ++i) {
            const CelFmtFormat& f = *celccfmt_format(i);
            if (!globMatch(pattern, f.name) && !globMatch(pattern, f.aliases)) continue;
            const char* type = f.sample == celFmtSample8u    ? "8u"
                               : f.sample == celFmtSample16u ? "16u"
                               : f.sample == celFmtSample16s ? "16s"
                               : f.sample == celFmtSample32s ? "32s"
                               : f.sample == celFmtSample32u ? "32u"
                                                             : "32f";
            char align[16];
            std::snprintf(align, sizeof align, "%dx%d", f.alignWidth, f.alignHeight);
            std::printf("%-8s %-18s %-4s %-6s %s\n", f.name, f.aliases, type, align, f.doc);
        }
        return 0;
    }
    if (edges) {
        for (int i = 0; i < celccfmt_edge_count(); ++i) {
            const CelFmtEdge& e = *celccfmt_edge(i);
            if (!globMatch(pattern, e.exportName) && !globMatch(pattern, formatName(e.from)) &&
                !globMatch(pattern, formatName(e.to)))
                continue;
            std::printf("%-7s -> %-7s %-36s %s%s\n", formatName(e.from).c_str(), formatName(e.to).c_str(),
                        e.exportName, e.lossy ? "" : "lossless", e.order ? (e.lossy ? "planes exchanged" : ", planes exchanged") : "");
        }
        return 0;
    }
    int shown = 0;
    for (int i = 0; i < celccfmt_export_count(); ++i) {
        if (!globMatch(pattern, celccfmt_export_name(i))) continue;
        std::printf("%s\n    %s\n", celccfmt_export_name(i), celccfmt_export_doc(i));
        ++shown;
    }
    if (!shown) fail(pattern, "no export matches");
    return 0;
}

int runRoute(const std::string& from, const std::string& to) {
    const int a = celccfmt_format_find(from.c_str()), b = celccfmt_format_find(to.c_str());
    if (a < 0) fail(from, "unknown pixel format (see `celcc list --formats`)");
    if (b < 0) fail(to, "unknown pixel format (see `celcc list --formats`)");
    char text[512];
    celccfmt_route_text(a, b, text, sizeof text);
    std::printf("%s\n", text);
    return celccfmt_route(a, b, nullptr) < 0 ? 1 : 0;
}

// ---- Bench --------------------------------------------------------------------------------

namespace {

using Clock = std::chrono::steady_clock;

// Best time of one call in seconds, over repetitions for about `seconds`.
template <class F> double timeIt(F&& f, double seconds) {
    f();  // warm the caches and the pages
    double best = 1e30, spent = 0;
    int reps = 0;
    while (reps < 3 || (spent < seconds && reps < 10000)) {
        const auto t0 = Clock::now();
        f();
        const double t = std::chrono::duration<double>(Clock::now() - t0).count();
        best = std::min(best, t);
        spent += t;
        ++reps;
    }
    return best;
}

void randomFill(Picture& p, uint32_t seed) {
    std::mt19937 rng(seed);
    if (p.info().sample == celFmtSample32f) {
        float* f = reinterpret_cast<float*>(p.data.data());
        for (size_t i = 0; i < p.bytes() / 4; ++i) f[i] = float(rng() % 1001) / 1000.0f;
    } else {
        for (auto& b : p.data) b = uint8_t(rng() >> 24);
    }
}

struct Row {
    std::string name, what;
    double mpix, copyMpix;
};

}  // namespace

int runBench(const std::string& pattern, const std::string& size, double seconds) {
    int w = 1920, h = 1080;
    if (!size.empty() && !parseSize(size, &w, &h)) fail("--size", "'" + size + "' is not WIDTHxHEIGHT");
    checkSize(w, h, "--size");
    if (seconds <= 0 || seconds > 60) fail("--seconds", "0 to 60");
    const double mpix = double(w) * h / 1e6;
    std::vector<Row> rows;
    std::set<std::string> timed;

    auto copyRate = [&](size_t bytes) {
        std::vector<uint8_t> a(bytes, 1), b(bytes, 0);
        return mpix / timeIt([&] {
            std::memcpy(b.data(), a.data(), bytes);
            asm volatile("" : : "r"(b.data()) : "memory");  // the copy is used: it may not be dropped
        }, seconds);
    };

    // Conversions: one edge per export.
    for (int i = 0; i < celccfmt_edge_count(); ++i) {
        const CelFmtEdge& e = *celccfmt_edge(i);
        if (timed.count(e.exportName) || !globMatch(pattern, e.exportName)) continue;
        const CelFmtFormat &a = *celccfmt_format(e.from), &b = *celccfmt_format(e.to);
        if (w % std::max(a.alignWidth, b.alignWidth) || h % std::max(a.alignHeight, b.alignHeight)) continue;
        timed.insert(e.exportName);
        Picture src, dst;
        src.alloc(e.from, w, h, "bench");
        dst.alloc(e.to, w, h, "bench");
        randomFill(src, uint32_t(i));
        const CelFmtImage s = src.image(), d = dst.image();
        int st = 0;
        const double t = timeIt([&] { st = celccfmt_run_edge(i, &s, &d); }, seconds);
        if (st < 0) fail(e.exportName, std::string("returned ") + celccfmt_status_name(st));
        rows.push_back({e.exportName, formatName(e.from) + " -> " + formatName(e.to), mpix / t, copyRate(src.bytes())});
    }

    // Demosaicing.
    if (globMatch(pattern, "celiCFAToRGB_8u_C1C3R")) {
        std::vector<uint8_t> m(size_t(w) * h), out(size_t(w) * h * 3);
        std::mt19937 rng(1);
        for (auto& v : m) v = uint8_t(rng() >> 24);
        const double t = timeIt([&] { celiCFAToRGB_8u_C1C3R(m.data(), CelRect{0, 0, w, h}, CelSize{w, h}, w, out.data(), 3 * w, celBayerRGGB); }, seconds);
        rows.push_back({"celiCFAToRGB_8u_C1C3R", "Bayer 8u -> RGB24", mpix / t, copyRate(m.size())});
        timed.insert("celiCFAToRGB_8u_C1C3R");
    }
    if (globMatch(pattern, "celiCFAToRGB_16u_C1C3R")) {
        std::vector<uint16_t> m(size_t(w) * h), out(size_t(w) * h * 3);
        std::mt19937 rng(2);
        for (auto& v : m) v = uint16_t(rng() >> 16);
        const double t = timeIt([&] { celiCFAToRGB_16u_C1C3R(m.data(), CelRect{0, 0, w, h}, CelSize{w, h}, 2 * w, out.data(), 6 * w, celBayerRGGB); }, seconds);
        rows.push_back({"celiCFAToRGB_16u_C1C3R", "Bayer 16u -> RGB48", mpix / t, copyRate(m.size() * 2)});
        timed.insert("celiCFAToRGB_16u_C1C3R");
    }

    if (globMatch(pattern, "celiDemosaicAHD_8u_C1C3R") && w >= 5 && h >= 5) {
        std::vector<uint8_t> m(size_t(w) * h), out(size_t(w) * h * 3), buf(size_t(30) * (w + 6 + 16));
        std::mt19937 rng(3);
        for (auto& v : m) v = uint8_t(rng() >> 24);
        const double t = timeIt([&] { celiDemosaicAHD_8u_C1C3R(m.data(), CelRect{0, 0, w, h}, CelSize{w, h}, w, out.data(), 3 * w, celBayerRGGB, buf.data(), w + 6 + 16); }, seconds);
        rows.push_back({"celiDemosaicAHD_8u_C1C3R", "Bayer 8u -> RGB24", mpix / t, copyRate(m.size())});
        timed.insert("celiDemosaicAHD_8u_C1C3R");
    }
    if (globMatch(pattern, "celiDemosaicAHD_16u_C1C3R") && w >= 5 && h >= 5) {
        const int bs = 2 * (w + 6) + 16;
        std::vector<uint16_t> m(size_t(w) * h), out(size_t(w) * h * 3), buf(size_t(30) * bs / 2);
        std::mt19937 rng(4);
        for (auto& v : m) v = uint16_t(rng() >> 16);
        const double t = timeIt([&] { celiDemosaicAHD_16u_C1C3R(m.data(), CelRect{0, 0, w, h}, CelSize{w, h}, 2 * w, out.data(), 6 * w, celBayerRGGB, buf.data(), bs); }, seconds);
        rows.push_back({"celiDemosaicAHD_16u_C1C3R", "Bayer 16u -> RGB48", mpix / t, copyRate(m.size() * 2)});
        timed.insert("celiDemosaicAHD_16u_C1C3R");
    }

    // Bit-depth reduction, 8u and 16u forms, without dither, ordered and by
    // error diffusion (its rows in a scratch sized by the library).
    struct RB {
        const char* name;
        int channels, bytes;
        CelStatus (*f8)(const uint8_t*, int, uint8_t*, int, CelSize, int, CelDitherMode, int, uint8_t*);
        CelStatus (*f16)(const uint16_t*, int, uint16_t*, int, CelSize, int, CelDitherMode, int, uint8_t*);
    };
    const RB reduce[] = {{"celiReduceBits_8u_C1R", 1, 1, celiReduceBits_8u_C1R, nullptr},
                         {"celiReduceBits_8u_C3R", 3, 1, celiReduceBits_8u_C3R, nullptr},
                         {"celiReduceBits_8u_AC4R", 4, 1, celiReduceBits_8u_AC4R, nullptr},
                         {"celiReduceBits_8u_C4R", 4, 1, celiReduceBits_8u_C4R, nullptr},
                         {"celiReduceBits_16u_C1R", 1, 2, nullptr, celiReduceBits_16u_C1R},
                         {"celiReduceBits_16u_C3R", 3, 2, nullptr, celiReduceBits_16u_C3R}};
    for (const RB& r : reduce) {
        if (!globMatch(pattern, r.name)) continue;
        timed.insert(r.name);
        const size_t bytes = size_t(w) * h * size_t(r.channels * r.bytes);
        std::vector<uint8_t> a(bytes), b(bytes);
        std::mt19937 rng(3);
        for (auto& v : a) v = uint8_t(rng() >> 24);
        const int step = w * r.channels * r.bytes;
        const std::pair<CelDitherMode, const char*> modes[] = {{celDitherOff, "no dither"},
                                                               {celDitherOrdered, "ordered dither"},
                                                               {celDitherFloydSteinberg, "Floyd-Steinberg"},
                                                               {celDitherJarvisJudiceNinke, "Jarvis-Judice-Ninke"},
                                                               {celDitherStucki, "Stucki"}};
        for (const auto& [mode, what] : modes) {
            const int levels = r.bytes == 1 ? 16 : 1024;
            int scratchSize = 0;
            celiReduceBitsGetBufferSize(1, CelSize{w, h}, 0, mode, &scratchSize);
            std::vector<uint8_t> scratch(static_cast<size_t>(scratchSize));
            uint8_t* sc = scratch.empty() ? nullptr : scratch.data();
            const double t = timeIt([&] {
                if (r.f8) r.f8(a.data(), step, b.data(), step, CelSize{w, h}, 0, mode, levels, sc);
                else r.f16(reinterpret_cast<const uint16_t*>(a.data()), step, reinterpret_cast<uint16_t*>(b.data()), step, CelSize{w, h}, 0, mode, levels, sc);
            }, seconds);
            rows.push_back({r.name, what, mpix / t, copyRate(bytes)});
        }
    }

    // Tone mapping, both passes (the reduction and the mapping).
    using ToneMapFn = CelStatus (*)(const float*, int, uint8_t*, int, CelSize);
    const std::pair<const char*, ToneMapFn> toneMaps[] = {{"celiToneMapLinear_32f8u_C1R", celiToneMapLinear_32f8u_C1R},
                                                          {"celiToneMapMean_32f8u_C1R", celiToneMapMean_32f8u_C1R}};
    for (const auto& [name, fn] : toneMaps) {
        if (!globMatch(pattern, name)) continue;
        timed.insert(name);
        std::vector<float> a(size_t(w) * h);
        std::vector<uint8_t> b(a.size());
        std::mt19937 rng(5);
        for (auto& v : a) v = float(rng() >> 8) * (4.0f / 16777216.0f);
        const double t = timeIt([&, fn = fn] { fn(a.data(), 4 * w, b.data(), w, CelSize{w, h}); }, seconds);
        rows.push_back({name, "32f -> 8u", mpix / t, copyRate(a.size() * 4)});
    }

    // One bit a pixel: threshold and integer Stucki.
    if (globMatch(pattern, "celiReduceBits_8u1u_C1R")) {
        timed.insert("celiReduceBits_8u1u_C1R");
        const int rowBytes = (w + 7) / 8;
        std::vector<uint8_t> a(size_t(w) * h), b(size_t(rowBytes) * h);
        std::mt19937 rng(6);
        for (auto& v : a) v = uint8_t(rng() >> 24);
        int scratchSize = 0;
        celiReduceBitsGetBufferSize(1, CelSize{w, h}, 0, celDitherStucki, &scratchSize);
        std::vector<uint8_t> scratch(static_cast<size_t>(scratchSize));
        for (const auto& [mode, what] : {std::make_pair(celDitherOff, "threshold"), std::make_pair(celDitherStucki, "Stucki")}) {
            const double t = timeIt([&, mode = mode] {
                celiReduceBits_8u1u_C1R(a.data(), w, b.data(), rowBytes, 0, CelSize{w, h}, 0, 0, mode, 127, scratch.data());
            }, seconds);
            rows.push_back({"celiReduceBits_8u1u_C1R", what, mpix / t, copyRate(a.size())});
        }
    }

    if (rows.empty()) fail(pattern.empty() ? "bench" : pattern, "no export to time matches");
    std::printf("%dx%d, best of repeated runs, random data; memcpy moves the export's source bytes.\n", w, h);
    std::printf("%-40s %-20s %10s %14s %7s\n", "export", "", "Mpix/s", "memcpy Mpix/s", "ratio");
    for (const Row& r : rows)
        std::printf("%-40s %-20s %10.1f %14.1f %7.2f\n", r.name.c_str(), r.what.c_str(), r.mpix, r.copyMpix,
                    r.mpix / r.copyMpix);
    std::vector<std::string> untimed;
    for (int i = 0; i < celccfmt_export_count(); ++i)
        if (globMatch(pattern, celccfmt_export_name(i)) && !timed.count(celccfmt_export_name(i)))
            untimed.push_back(celccfmt_export_name(i));
    if (!untimed.empty()) {
        std::printf("not timed here (no format pair or bench shape): %zu exports", untimed.size());
        for (size_t i = 0; i < untimed.size() && i < 8; ++i) std::printf("%s %s", i ? "," : ":", untimed[i].c_str());
        std::printf("%s\n", untimed.size() > 8 ? ", ..." : "");
    }
    return 0;
}

}  // namespace celcli
