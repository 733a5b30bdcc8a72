// The front ends' table of conversions: format geometry and lookup, the
// route finder, every edge against a direct call of its export, and the
// placement of samples in each format checked on solid colours.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "celcc.h"
#include "celcc_formats.h"

namespace {

const CelFmtFormat& fmt(int id) { return *celccfmt_format(id); }

// A test image: planes with canary guards (32 bytes each side of a row and a
// guard row above and below), steps either positive or negative.
struct TestImage {
    CelFmtImage im{};
    std::vector<std::vector<uint8_t>> mem;
    std::vector<int64_t> rowBytes, rows, step;
    static constexpr int kPad = 32;
    static constexpr uint8_t kCanary = 0xA5;

    TestImage(int format, int w, int h, bool negative = false) {
        im.format = format;
        im.width = w;
        im.height = h;
        const CelFmtFormat& f = fmt(format);
        for (int i = 0; i < f.planeCount; ++i) {
            const CelFmtPlane& p = f.plane[i];
            const int64_t units = (w + p.unitWidth - 1) / p.unitWidth, r = (h + p.unitHeight - 1) / p.unitHeight;
            rowBytes.push_back(units * p.unitBytes);
            rows.push_back(r);
            step.push_back(rowBytes.back() + 2 * kPad);
            mem.emplace_back(size_t(step.back() * (r + 2)), kCanary);
            uint8_t* first = mem.back().data() + step.back() + kPad;
            if (negative) {
                im.plane[i] = first + (r - 1) * step.back();
                im.step[i] = -int32_t(step.back());
            } else {
                im.plane[i] = first;
                im.step[i] = int32_t(step.back());
            }
        }
    }
    uint8_t* row(int plane, int64_t y) { return im.plane[plane] + y * im.step[plane]; }
    void randomize(uint32_t seed) {
        std::mt19937 rng(seed);
        for (size_t i = 0; i < mem.size(); ++i)
            for (int64_t y = 0; y < rows[i]; ++y)
                for (int64_t x = 0; x < rowBytes[i]; ++x) row(int(i), y)[x] = uint8_t(rng() >> 24);
        // Float formats: keep samples in 0..1 so that conversions are defined.
        if (fmt(im.format).sample == celFmtSample32f) {
            for (size_t i = 0; i < mem.size(); ++i)
                for (int64_t y = 0; y < rows[i]; ++y)
                    for (int64_t x = 0; x + 4 <= rowBytes[i]; x += 4) {
                        const float v = float(rng() % 1001) / 1000.0f;
                        std::memcpy(row(int(i), y) + x, &v, 4);
                    }
        }
    }
    void fill(uint8_t v) {
        for (size_t i = 0; i < mem.size(); ++i)
            for (int64_t y = 0; y < rows[i]; ++y) std::memset(row(int(i), y), v, size_t(rowBytes[i]));
    }
    bool intact() const {
        for (size_t i = 0; i < mem.size(); ++i)
            for (int64_t k = 0; k < int64_t(mem[i].size()); ++k) {
                const int64_t r = k / step[i] - 1, c = k % step[i] - kPad;
                if (!(r >= 0 && r < rows[i] && c >= 0 && c < rowBytes[i]) && mem[i][size_t(k)] != kCanary) return false;
            }
        return true;
    }
    bool sameRegion(TestImage& o) {
        for (size_t i = 0; i < mem.size(); ++i)
            for (int64_t y = 0; y < rows[i]; ++y)
                if (std::memcmp(row(int(i), y), o.row(int(i), y), size_t(rowBytes[i])) != 0) return false;
        return true;
    }
};

// ---- Formats ---------------------------------------------------------------------

TEST(Formats, LookupByNameAndAliasInAnyCase) {
    EXPECT_EQ(celccfmt_format_find("I420"), celFmt_I420);
    EXPECT_EQ(celccfmt_format_find("i420"), celFmt_I420);
    EXPECT_EQ(celccfmt_format_find("yuv420p"), celFmt_I420);
    EXPECT_EQ(celccfmt_format_find("nv21"), celFmt_NV21);
    EXPECT_EQ(celccfmt_format_find("Yuyv"), celFmt_YUY2);
    EXPECT_EQ(celccfmt_format_find("rgb"), celFmt_RGB24);
    EXPECT_EQ(celccfmt_format_find("i42"), -1);
    EXPECT_EQ(celccfmt_format_find(""), -1);
    EXPECT_EQ(celccfmt_format_find(nullptr), -1);
    for (int i = 0; i < celccfmt_format_count(); ++i) EXPECT_EQ(celccfmt_format_find(fmt(i).name), i);
    EXPECT_EQ(celccfmt_format(-1), nullptr);
    EXPECT_EQ(celccfmt_format(celccfmt_format_count()), nullptr);
}

TEST(Formats, PlaneGeometryOfOddSizes) {
    int32_t pw, ph;
    int64_t rb;
    ASSERT_EQ(celccfmt_plane_size(celFmt_I420, 5, 3, 0, &pw, &ph, &rb), 0);
    EXPECT_EQ(pw, 5); EXPECT_EQ(ph, 3); EXPECT_EQ(rb, 5);
    ASSERT_EQ(celccfmt_plane_size(celFmt_I420, 5, 3, 2, &pw, &ph, &rb), 0);
    EXPECT_EQ(pw, 3); EXPECT_EQ(ph, 2); EXPECT_EQ(rb, 3);
    ASSERT_EQ(celccfmt_plane_size(celFmt_NV12, 5, 3, 1, &pw, &ph, &rb), 0);
    EXPECT_EQ(pw, 3); EXPECT_EQ(ph, 2); EXPECT_EQ(rb, 6);
    ASSERT_EQ(celccfmt_plane_size(celFmt_YUY2, 5, 1, 0, &pw, &ph, &rb), 0);
    EXPECT_EQ(pw, 3); EXPECT_EQ(ph, 1); EXPECT_EQ(rb, 12);
    ASSERT_EQ(celccfmt_plane_size(celFmt_I411, 9, 2, 1, &pw, &ph, &rb), 0);
    EXPECT_EQ(pw, 3); EXPECT_EQ(ph, 2); EXPECT_EQ(rb, 3);
    ASSERT_EQ(celccfmt_plane_size(celFmt_RGB48, 7, 2, 0, &pw, &ph, &rb), 0);
    EXPECT_EQ(rb, 42);
    // v210 rows are whole 128-byte blocks of 48 pixels.
    ASSERT_EQ(celccfmt_plane_size(celFmt_V210, 1920, 2, 0, &pw, &ph, &rb), 0);
    EXPECT_EQ(rb, 5120);
    ASSERT_EQ(celccfmt_plane_size(celFmt_V210, 49, 1, 0, &pw, &ph, &rb), 0);
    EXPECT_EQ(rb, 256);
    EXPECT_EQ(celccfmt_plane_size(celFmt_I420, 5, 3, 3, &pw, &ph, &rb), celFmtBadImage);
    EXPECT_EQ(celccfmt_plane_size(celFmt_RGB24, 0, 3, 0, &pw, &ph, &rb), celFmtBadImage);
    EXPECT_EQ(celccfmt_plane_size(-1, 5, 3, 0, &pw, &ph, &rb), celFmtBadFormat);
    EXPECT_EQ(celccfmt_image_bytes(celFmt_I420, 5, 3), 15 + 6 + 6);
    EXPECT_EQ(celccfmt_image_bytes(celFmt_NV11, 8, 2), 16 + 8);
    EXPECT_EQ(celccfmt_image_bytes(celFmt_RGB24, 0, 2), -1);

    std::vector<uint8_t> buf(size_t(celccfmt_image_bytes(celFmt_NV21, 6, 4)));
    CelFmtImage im;
    ASSERT_EQ(celccfmt_image_layout(celFmt_NV21, 6, 4, buf.data(), &im), 0);
    EXPECT_EQ(im.plane[0], buf.data());
    EXPECT_EQ(im.step[0], 6);
    EXPECT_EQ(im.plane[1], buf.data() + 24);
    EXPECT_EQ(im.step[1], 6);
}

TEST(Formats, StatusNames) {
    EXPECT_STREQ(celccfmt_status_name(celStatusBadSize), "celStatusBadSize");
    EXPECT_STREQ(celccfmt_status_name(celStatusOddSize), "celStatusOddSize");
    EXPECT_STREQ(celccfmt_status_name(celFmtNoRoute), "celFmtNoRoute");
}

TEST(Formats, ExportListWithDocLines) {
    ASSERT_GT(celccfmt_export_count(), 100);
    bool found = false;
    for (int i = 0; i < celccfmt_export_count(); ++i) {
        ASSERT_NE(celccfmt_export_doc(i), nullptr);
        EXPECT_GT(std::strlen(celccfmt_export_doc(i)), 5u) << celccfmt_export_name(i);
        if (std::string(celccfmt_export_name(i)) == "celiRGBToYCbCr_8u_C3R") found = true;
    }
    EXPECT_TRUE(found);
    EXPECT_EQ(celccfmt_export_name(-1), nullptr);
}

// ---- Routes ----------------------------------------------------------------------

TEST(Routes, DirectEdgeIsTakenWhenThereIsOne) {
    int32_t e[CELFMT_MAX_ROUTE];
    ASSERT_EQ(celccfmt_route(celFmt_RGB24, celFmt_I420, e), 1);
    EXPECT_STREQ(celccfmt_edge(e[0])->exportName, "celiRGBToYCbCr420_8u_C3P3R");
    ASSERT_EQ(celccfmt_route(celFmt_UYVY, celFmt_YUY2, e), 1);
    EXPECT_STREQ(celccfmt_edge(e[0])->exportName, "celiCbYCr422ToYCbCr422_8u_C2R");
    EXPECT_EQ(celccfmt_route(celFmt_NV12, celFmt_NV12, e), 0);
    EXPECT_EQ(celccfmt_route(celFmt_NV12, 999, e), celFmtBadFormat);
    EXPECT_EQ(celccfmt_route(celFmt_GRAYF32, celFmt_NV11, e), celFmtNoRoute);
}

TEST(Routes, NoGrayIntermediateBetweenColourFormats) {
    // BGR24 to RGBA has no export; through gray it would be cheaper than
    // through YCbCr, but would lose the colour.  RGB24 to RGBA goes
    // without loss through BGRA (spread, then the exchange back).
    int32_t e[CELFMT_MAX_ROUTE];
    for (int a = 0; a < celFmtCount; ++a)
        for (int b = 0; b < celFmtCount; ++b) {
            if (celccfmt_format(a)->model == celFmtModelGray || celccfmt_format(b)->model == celFmtModelGray) continue;
            if (celccfmt_route(a, b, e) == 2) EXPECT_NE(celccfmt_format(celccfmt_edge(e[0])->to)->model, celFmtModelGray)
                << celccfmt_format(a)->name << " -> " << celccfmt_format(b)->name;
        }
    ASSERT_EQ(celccfmt_route(celFmt_BGR24, celFmt_RGBA, e), 2);
    EXPECT_EQ(celccfmt_format(celccfmt_edge(e[0])->to)->model, celFmtModelYCbCr);
    ASSERT_EQ(celccfmt_route(celFmt_RGB24, celFmt_RGBA, e), 2);
    EXPECT_EQ(celccfmt_edge(e[0])->to, celFmt_BGRA);
    EXPECT_EQ(celccfmt_edge(e[0])->lossy + celccfmt_edge(e[1])->lossy, 0);
    ASSERT_EQ(celccfmt_route(celFmt_GRAY8, celFmt_I420, e), 2);
    EXPECT_EQ(celccfmt_edge(e[0])->to, celFmt_RGB24);
}

// Filtered chroma edges cost more than repeated rows: the default route
// repeats, a preference for "_Filter_" takes the four-tap export (directly,
// or as one step of a two-step route), and falls back where there is none.
TEST(Routes, FilteredChromaOnlyWhenPreferred) {
    int32_t e[CELFMT_MAX_ROUTE];
    ASSERT_EQ(celccfmt_route(celFmt_I420, celFmt_I422, e), 1);
    EXPECT_STREQ(celccfmt_edge(e[0])->exportName, "celiYCbCr420ToYCbCr422_8u_P3R");
    ASSERT_EQ(celccfmt_route_prefer(celFmt_I420, celFmt_I422, "", e), 1);
    EXPECT_STREQ(celccfmt_edge(e[0])->exportName, "celiYCbCr420ToYCbCr422_8u_P3R");
    ASSERT_EQ(celccfmt_route_prefer(celFmt_I420, celFmt_I422, "_Filter_", e), 1);
    EXPECT_STREQ(celccfmt_edge(e[0])->exportName, "celiYCbCr420ToYCbCr422_Filter_8u_P3R");
    ASSERT_EQ(celccfmt_route_prefer(celFmt_NV21, celFmt_I422, "_Filter_", e), 1);
    EXPECT_STREQ(celccfmt_edge(e[0])->exportName, "celiYCbCr420ToYCbCr422_Filter_8u_P2P3R");
    EXPECT_EQ(celccfmt_edge(e[0])->order, 2);
    ASSERT_EQ(celccfmt_route_prefer(celFmt_I420, celFmt_YUY2, "_Filter_", e), 2);
    EXPECT_STREQ(celccfmt_edge(e[0])->exportName, "celiYCbCr420ToYCbCr422_Filter_8u_P3R");
    ASSERT_EQ(celccfmt_route_prefer(celFmt_RGB24, celFmt_I420, "_Filter_", e), 1);
    EXPECT_STREQ(celccfmt_edge(e[0])->exportName, "celiRGBToYCbCr420_8u_C3P3R");
    char text[256];
    celccfmt_route_text_prefer(celFmt_NV12, celFmt_I422, "_Filter_", text, sizeof text);
    EXPECT_STREQ(text, "NV12 -> I422 (celiYCbCr420ToYCbCr422_Filter_8u_P2P3R)");
}

// Interlace-aware edges serve only interlaced pictures: no default route
// takes one; a preference for "_Interlace_" takes them directly, with the
// plane order of YV12, or as one step of a longer route.
TEST(Routes, InterlaceEdgesOnlyWhenAsked) {
    int32_t e[CELFMT_MAX_ROUTE];
    for (int a = 0; a < celFmtCount; ++a)
        for (int b = 0; b < celFmtCount; ++b) {
            const int n = celccfmt_route(a, b, e);
            for (int k = 0; k < n; ++k)
                EXPECT_EQ(std::strstr(celccfmt_edge(e[k])->exportName, "_Interlace_"), nullptr)
                    << celccfmt_format(a)->name << " -> " << celccfmt_format(b)->name;
        }
    const struct {
        int from, to;
        const char* exportName;
        int order;
    } direct[] = {{celFmt_I420, celFmt_I422, "celiYCbCr420To422_Interlace_8u_P3R", 0},
                  {celFmt_YV12, celFmt_I422, "celiYCbCr420To422_Interlace_8u_P3R", 1},
                  {celFmt_YV12, celFmt_UYVY, "celiYCbCr420ToCbYCr422_Interlace_8u_P3C2R", 1},
                  {celFmt_I422, celFmt_YV12, "celiYCbCr422To420_Interlace_8u_P3R", 2},
                  {celFmt_UYVY, celFmt_I420, "celiCbYCr422ToYCbCr420_Interlace_8u_C2P3R", 0}};
    for (const auto& d : direct) {
        ASSERT_EQ(celccfmt_route_prefer(d.from, d.to, "_Interlace_", e), 1);
        EXPECT_STREQ(celccfmt_edge(e[0])->exportName, d.exportName);
        EXPECT_EQ(celccfmt_edge(e[0])->order, d.order);
    }
    ASSERT_EQ(celccfmt_route_prefer(celFmt_NV12, celFmt_I422, "_Interlace_", e), 2);
    EXPECT_STREQ(celccfmt_edge(e[1])->exportName, "celiYCbCr420To422_Interlace_8u_P3R");
    ASSERT_EQ(celccfmt_route_prefer(celFmt_I422, celFmt_NV21, "_Interlace_", e), 2);
    EXPECT_STREQ(celccfmt_edge(e[0])->exportName, "celiYCbCr422To420_Interlace_8u_P3R");
    // a route that keeps the vertical sampling needs no interlace-aware edge
    ASSERT_EQ(celccfmt_route_prefer(celFmt_I420, celFmt_NV12, "_Interlace_", e), 1);
    EXPECT_STREQ(celccfmt_edge(e[0])->exportName, "celiYCbCr420_8u_P3P2R");
    // no step of an interlaced route changes the vertical sampling but field by field
    for (int a = 0; a < celFmtCount; ++a)
        for (int b = 0; b < celFmtCount; ++b) {
            const int n = celccfmt_route_prefer(a, b, "_Interlace_", e);
            bool safe = true;
            for (int k = 0; k < n; ++k) {
                const CelFmtEdge* ed = celccfmt_edge(e[k]);
                safe = safe && (std::strstr(ed->exportName, "_Interlace_") ||
                                celccfmt_format(ed->from)->alignHeight == celccfmt_format(ed->to)->alignHeight);
            }
            // where none is safe, the default route stands
            if (!safe) {
                int32_t d[CELFMT_MAX_ROUTE];
                ASSERT_EQ(celccfmt_route(a, b, d), n);
                for (int k = 0; k < n; ++k) EXPECT_EQ(d[k], e[k]);
            }
        }
}

TEST(Routes, LosslessIntermediateIsPreferred) {
    // I420 to YV12 has no export of its own; both two-plane layouts are
    // lossless intermediates, and no colour conversion may be taken.
    int32_t e[CELFMT_MAX_ROUTE];
    ASSERT_EQ(celccfmt_route(celFmt_I420, celFmt_YV12, e), 2);
    EXPECT_EQ(celccfmt_edge(e[0])->lossy + celccfmt_edge(e[1])->lossy, 0);
    char text[256];
    const int n = celccfmt_route_text(celFmt_I420, celFmt_YV12, text, sizeof text);
    EXPECT_EQ(n, int(std::strlen(text)));
    EXPECT_EQ(std::string(text).rfind("I420 -> NV", 0), 0u) << text;
    EXPECT_NE(std::string(text).find("-> YV12 (celi"), std::string::npos) << text;
    celccfmt_route_text(celFmt_GRAYF32, celFmt_NV11, text, sizeof text);
    EXPECT_STREQ(text, "GRAYF32 -> NV11: no route");
}

// Brute force over every pair: the route connects, a direct edge wins and is
// the cheapest one, and no other two-edge chain is better.
TEST(Routes, EveryPairGetsTheBestRoute) {
    const int nf = celccfmt_format_count(), ne = celccfmt_edge_count();
    for (int a = 0; a < nf; ++a)
        for (int b = 0; b < nf; ++b) {
            int32_t e[CELFMT_MAX_ROUTE];
            const int n = celccfmt_route(a, b, e);
            int direct = -1;
            for (int i = 0; i < ne; ++i)
                if (celccfmt_edge(i)->from == a && celccfmt_edge(i)->to == b &&
                    (direct < 0 || celccfmt_edge(i)->cost < celccfmt_edge(direct)->cost))
                    direct = i;
            if (a == b) {
                EXPECT_EQ(n, 0);
                continue;
            }
            if (direct >= 0) {
                ASSERT_EQ(n, 1) << fmt(a).name << " " << fmt(b).name;
                EXPECT_EQ(celccfmt_edge(e[0])->cost, celccfmt_edge(direct)->cost);
                continue;
            }
            bool any = false;
            int bestL = 1 << 20, bestF = 2, bestC = 1 << 20;
            // gray intermediates only on routes to or from gray; a model
            // foreign to both ends (not RGB, BGR, YCbCr, gray) only as a last resort
            const bool grayEnd = fmt(a).model == celFmtModelGray || fmt(b).model == celFmtModelGray;
            for (int i = 0; i < ne; ++i)
                for (int j = 0; j < ne; ++j) {
                    const CelFmtEdge *x = celccfmt_edge(i), *y = celccfmt_edge(j);
                    if (x->from != a || y->to != b || x->to != y->from) continue;
                    const int m = fmt(x->to).model;
                    if (!grayEnd && m == celFmtModelGray) continue;
                    any = true;
                    const bool transport = m == celFmtModelRGB || m == celFmtModelBGR || m == celFmtModelYCbCr ||
                                           m == celFmtModelGray;
                    const int f = (transport || m == fmt(a).model || m == fmt(b).model) ? 0 : 1;
                    const int l = x->lossy + y->lossy, c = x->cost + y->cost;
                    if (l < bestL || (l == bestL && f < bestF) || (l == bestL && f == bestF && c < bestC))
                        bestL = l, bestF = f, bestC = c;
                }
            if (!any) {
                EXPECT_EQ(n, celFmtNoRoute) << fmt(a).name << " " << fmt(b).name;
                continue;
            }
            ASSERT_EQ(n, 2) << fmt(a).name << " " << fmt(b).name;
            const CelFmtEdge *x = celccfmt_edge(e[0]), *y = celccfmt_edge(e[1]);
            EXPECT_EQ(x->from, a);
            EXPECT_EQ(x->to, y->from);
            EXPECT_EQ(y->to, b);
            EXPECT_EQ(x->lossy + y->lossy, bestL);
            EXPECT_EQ(x->cost + y->cost, bestC);
        }
}

TEST(Routes, RgbToBgrNeverThroughAnAnalysisModel) {
    int32_t e[CELFMT_MAX_ROUTE];
    for (auto ends : {std::pair<int, int>{celFmt_RGB24, celFmt_BGRA}, {celFmt_RGBA, celFmt_BGR24},
                      {celFmt_BGR24, celFmt_RGBA}}) {
        const int n = celccfmt_route(ends.first, ends.second, e);
        ASSERT_GE(n, 1);
        for (int k = 0; k + 1 < n; ++k) {
            const int m = celccfmt_format(celccfmt_edge(e[k])->to)->model;
            EXPECT_TRUE(m == celFmtModelRGB || m == celFmtModelBGR || m == celFmtModelYCbCr) << m;
        }
    }
    char text[256];
    celccfmt_route_text(celFmt_RGB24, celFmt_BGR24, text, sizeof text);
    EXPECT_STREQ(text, "RGB24 -> BGR24 (celiColorTwist32f_8u_C3R)");
}

// ---- Edges against direct calls --------------------------------------------------
//
// The test's own account of how an edge hands planes to its export: the
// planes in the format's memory order, the second and third exchanged on the
// side the edge names, the opaque alpha of the argument's type.

struct Planes {
    uint8_t* p[3];
    int s[3];
};
Planes planesOf(const CelFmtImage& im, bool exchange) {
    Planes x{{im.plane[0], im.plane[1], im.plane[2]}, {im.step[0], im.step[1], im.step[2]}};
    if (exchange) std::swap(x.p[1], x.p[2]), std::swap(x.s[1], x.s[2]);
    return x;
}
template <class A> A opaqueAlpha() { return A(255); }
template <> uint16_t opaqueAlpha<uint16_t>() { return 65535; }
template <> float opaqueAlpha<float>() { return 1.0f; }

// Each call shape, by the function pointer's type.
template <class S, class D>
CelStatus direct(CelStatus (*f)(const S*, int, D*, int, CelSize), Planes s, Planes d, CelSize z) {
    return f((const S*)s.p[0], s.s[0], (D*)d.p[0], d.s[0], z);
}
template <class S, class D, class A>
CelStatus direct(CelStatus (*f)(const S*, int, D*, int, CelSize, A), Planes s, Planes d, CelSize z) {
    return f((const S*)s.p[0], s.s[0], (D*)d.p[0], d.s[0], z, opaqueAlpha<A>());
}
template <class S, class D>
CelStatus direct(CelStatus (*f)(const S*, int, D**, int, CelSize), Planes s, Planes d, CelSize z) {
    D* dp[3] = {(D*)d.p[0], (D*)d.p[1], (D*)d.p[2]};
    return f((const S*)s.p[0], s.s[0], dp, d.s[0], z);
}
template <class S, class D>
CelStatus direct(CelStatus (*f)(const S* const*, int, D*, int, CelSize), Planes s, Planes d, CelSize z) {
    const S* sp[3] = {(const S*)s.p[0], (const S*)s.p[1], (const S*)s.p[2]};
    return f(sp, s.s[0], (D*)d.p[0], d.s[0], z);
}
CelStatus direct(CelStatus (*f)(const uint8_t* const*, int, uint8_t*, int, CelSize, uint8_t), Planes s, Planes d,
                 CelSize z) {
    return f(s.p, s.s[0], d.p[0], d.s[0], z, 255);
}
// alpha as an int: 255 for bytes, the largest signed value for signed 16-bit pixels
template <class S, class D>
CelStatus direct(CelStatus (*f)(const S* const*, int, D*, int, CelSize, int), Planes s, Planes d, CelSize z) {
    const S* sp[3] = {(const S*)s.p[0], (const S*)s.p[1], (const S*)s.p[2]};
    return f(sp, s.s[0], (D*)d.p[0], d.s[0], z, sizeof(D) == 1 ? 255 : 32767);
}
CelStatus direct(CelStatus (*f)(const uint8_t*, int, uint8_t**, int*, CelSize), Planes s, Planes d, CelSize z) {
    return f(s.p[0], s.s[0], d.p, d.s, z);
}
CelStatus direct(CelStatus (*f)(const uint8_t* const*, int*, uint8_t*, int, CelSize), Planes s, Planes d, CelSize z) {
    return f(s.p, s.s, d.p[0], d.s[0], z);
}
template <class A>
CelStatus direct(CelStatus (*f)(const uint8_t* const*, int*, uint8_t*, int, CelSize, A), Planes s, Planes d,
                 CelSize z) {
    return f(s.p, s.s, d.p[0], d.s[0], z, A(255));
}
CelStatus direct(CelStatus (*f)(const uint8_t*, int, uint8_t*, int, uint8_t*, int, CelSize), Planes s, Planes d,
                 CelSize z) {
    return f(s.p[0], s.s[0], d.p[0], d.s[0], d.p[1], d.s[1], z);
}
CelStatus direct(CelStatus (*f)(const uint8_t*, int, const uint8_t*, int, uint8_t*, int, CelSize), Planes s, Planes d,
                 CelSize z) {
    return f(s.p[0], s.s[0], s.p[1], s.s[1], d.p[0], d.s[0], z);
}
CelStatus direct(CelStatus (*f)(const uint8_t*, int, const uint8_t*, int, uint8_t*, int, CelSize, uint8_t), Planes s,
                 Planes d, CelSize z) {
    return f(s.p[0], s.s[0], s.p[1], s.s[1], d.p[0], d.s[0], z, 255);
}
CelStatus direct(CelStatus (*f)(const uint8_t*, int, const uint8_t*, int, uint8_t**, int*, CelSize), Planes s,
                 Planes d, CelSize z) {
    return f(s.p[0], s.s[0], s.p[1], s.s[1], d.p, d.s, z);
}
CelStatus direct(CelStatus (*f)(const uint8_t* const*, int*, uint8_t*, int, uint8_t*, int, CelSize), Planes s,
                 Planes d, CelSize z) {
    return f(s.p, s.s, d.p[0], d.s[0], d.p[1], d.s[1], z);
}

template <class S, class D>
CelStatus direct(CelStatus (*f)(const S*, int, D*, int, CelSize, int, CelDitherMode, int, uint8_t*), Planes s,
                 Planes d, CelSize z) {
    return f((const S*)s.p[0], s.s[0], (D*)d.p[0], d.s[0], z, 0, celDitherOff, sizeof(D) == 1 ? 256 : 65536, nullptr);
}

CelStatus direct(CelStatus (*f)(const uint8_t* const*, int*, uint8_t**, int*, CelSize), Planes s, Planes d, CelSize z) {
    return f(s.p, s.s, d.p, d.s, z);
}

// The exchange of the first and third channel, as a colour twist of the
// same depth (alpha: the rows copied first, then the in-place form).
const float kSwap13[3][4] = {{0, 0, 1, 0}, {0, 1, 0, 0}, {1, 0, 0, 0}};
template <class T>
CelStatus direct(CelStatus (*f)(const T*, int, T*, int, CelSize, const float (*)[4]), Planes s, Planes d, CelSize z) {
    return f((const T*)s.p[0], s.s[0], (T*)d.p[0], d.s[0], z, kSwap13);
}
template <class T>
CelStatus direct(CelStatus (*f)(T*, int, CelSize, const float (*)[4]), Planes s, Planes d, CelSize z) {
    if (d.s[0] >= 1)
        for (int y = 0; y < z.height; ++y)
            std::memcpy(d.p[0] + int64_t(y) * d.s[0], s.p[0] + int64_t(y) * s.s[0], size_t(z.width) * 4 * sizeof(T));
    return f((T*)d.p[0], d.s[0], z, kSwap13);
}

// Exports whose steps count elements (the v210 decoders): byte steps divided
// by the sizes of the two sides' types.
template <class S, class D>
CelStatus directElements(CelStatus (*f)(const S*, int, D*, int, CelSize), Planes s, Planes d, CelSize z) {
    return f((const S*)s.p[0], s.s[0] / int(sizeof(S)), (D*)d.p[0], d.s[0] / int(sizeof(D)), z);
}
template <class F>
CelStatus directElements(F, Planes, Planes, CelSize) {
    return celStatusBadArgument;  // no other shape counts its steps in elements
}
// Colour in bytes 1 to 3 (XRGB, XBGR) through the four-channel twist: the
// twist run on whole images of its own pixels (the padded side copied to
// or from a buffer of four-byte RGB pixels), the fourth byte made 255 here.
using Twist8u = CelStatus (*)(const uint8_t*, int, uint8_t*, int, CelSize, const float (*)[4]);
const float kSame[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
CelStatus directPadded(const char* adapter, Twist8u f, Planes s, Planes d, CelSize z) {
    const float(*m)[4] = std::strstr(adapter, "EXCHANGE") ? kSwap13 : kSame;
    const bool in = std::strncmp(adapter, "PADDED_IN", 9) == 0;
    if (s.s[0] < 1 || d.s[0] < 1) return f(s.p[0], s.s[0], d.p[0], d.s[0], z, m);
    std::vector<uint8_t> four(size_t(z.width) * z.height * 4);
    const int step = 4 * z.width;
    CelStatus st;
    if (in) {
        for (int y = 0; y < z.height; ++y)
            for (int x = 0; x < z.width; ++x)
                std::memcpy(&four[size_t(y) * step + 4 * x], s.p[0] + int64_t(y) * s.s[0] + 4 * x + 1, 3);
        st = f(four.data(), step, d.p[0], d.s[0], z, m);
        for (int y = 0; y < z.height; ++y)
            for (int x = 0; x < z.width; ++x) d.p[0][int64_t(y) * d.s[0] + 4 * x + 3] = 255;
    } else {
        st = f(s.p[0], s.s[0], four.data(), step, z, m);
        for (int y = 0; y < z.height; ++y)
            for (int x = 0; x < z.width; ++x) {
                uint8_t* px = d.p[0] + int64_t(y) * d.s[0] + 4 * x;
                px[0] = 255;
                std::memcpy(px + 1, &four[size_t(y) * step + 4 * x], 3);
            }
    }
    return st;
}
template <class F>
CelStatus directPadded(const char*, F, Planes, Planes, CelSize) {
    return celStatusBadArgument;  // the padded adapters take the 8-bit twist only
}
// Three-sample pixels spread to four (the fourth opaque), then the in-place exchange.
CelStatus directSpread(CelStatus (*f)(uint8_t*, int, CelSize, const float (*)[4]), Planes s, Planes d, CelSize z) {
    if (d.s[0] >= 1)
        for (int y = 0; y < z.height; ++y)
            for (int x = 0; x < z.width; ++x) {
                uint8_t* q = d.p[0] + int64_t(y) * d.s[0] + 4 * x;
                std::memcpy(q, s.p[0] + int64_t(y) * s.s[0] + 3 * x, 3);
                q[3] = 255;
            }
    return f(d.p[0], d.s[0], z, kSwap13);
}
template <class F>
CelStatus directSpread(F, Planes, Planes, CelSize) {
    return celStatusBadArgument;  // only the 8-bit in-place exchange spreads
}
template <class F>
CelStatus directAs(const char* adapter, F f, Planes s, Planes d, CelSize z) {
    if (std::strncmp(adapter, "PADDED_", 7) == 0) return directPadded(adapter, f, s, d, z);
    if (std::strcmp(adapter, "SPREAD_EXCHANGE") == 0) return directSpread(f, s, d, z);
    return std::strcmp(adapter, "ELEMENTS") == 0 ? directElements(f, s, d, z) : direct(f, s, d, z);
}

enum { KEEP, SWAP_SRC, SWAP_DST };
struct DirectEdge {
    const char* name;
    int order;
    CelStatus (*call)(const CelFmtImage&, const CelFmtImage&, int order);
};
const DirectEdge kDirect[] = {
#define CEL_EDGE(from, to, exp, adapter, order, cost, lossy)                                               \
    {#exp, order, [](const CelFmtImage& s, const CelFmtImage& d, int o) {                                 \
         return directAs(#adapter, &exp, planesOf(s, o == SWAP_SRC), planesOf(d, o == SWAP_DST),               \
                         CelSize{s.width, s.height});                                                      \
     }},
#include "edges.inc"
#undef CEL_EDGE
};

TEST(Edges, EveryEdgeEqualsADirectCallOfItsExport) {
    ASSERT_EQ(int(sizeof kDirect / sizeof kDirect[0]), celccfmt_edge_count());
    const int sizes[][2] = {{1, 1}, {2, 2}, {7, 3}, {16, 4}, {33, 5}, {64, 6}};
    for (int i = 0; i < celccfmt_edge_count(); ++i) {
        const CelFmtEdge& e = *celccfmt_edge(i);
        ASSERT_STREQ(e.exportName, kDirect[i].name);
        for (const auto& sz : sizes)
            for (bool negative : {false, true}) {
                SCOPED_TRACE(std::string(e.exportName) + " " + fmt(e.from).name + "->" + fmt(e.to).name + " " +
                             std::to_string(sz[0]) + "x" + std::to_string(sz[1]) + (negative ? " negative" : ""));
                TestImage src(e.from, sz[0], sz[1], negative), a(e.to, sz[0], sz[1], negative),
                    b(e.to, sz[0], sz[1], negative);
                src.randomize(uint32_t(i * 31 + sz[0]));
                a.fill(0x3C);
                b.fill(0x3C);
                const int st = celccfmt_run_edge(i, &src.im, &a.im);
                const int want = kDirect[i].call(src.im, b.im, kDirect[i].order);
                EXPECT_EQ(st, want);
                EXPECT_TRUE(a.sameRegion(b));
                EXPECT_TRUE(a.intact());
            }
    }
}

TEST(Edges, RunEdgeRefusesImagesThatDoNotFit) {
    TestImage rgb(celFmt_RGB24, 4, 4), yuv(celFmt_I420, 4, 4), small(celFmt_I420, 2, 2);
    int32_t e[CELFMT_MAX_ROUTE];
    ASSERT_EQ(celccfmt_route(celFmt_RGB24, celFmt_I420, e), 1);
    EXPECT_EQ(celccfmt_run_edge(e[0], &yuv.im, &rgb.im), celFmtBadEdge);
    EXPECT_EQ(celccfmt_run_edge(e[0], &rgb.im, &small.im), celFmtSizeMismatch);
    EXPECT_EQ(celccfmt_run_edge(-1, &rgb.im, &yuv.im), celFmtBadEdge);
    EXPECT_EQ(celccfmt_run_edge(e[0], nullptr, &yuv.im), celFmtBadImage);
    CelFmtImage broken = yuv.im;
    broken.plane[2] = nullptr;
    EXPECT_EQ(celccfmt_run_edge(e[0], &rgb.im, &broken), celFmtBadImage);
}

// The RGB/BGR exchange edges move samples without changing one: every
// value in every channel at every column (vector bodies, their alignment
// prologue and the scalar tail), the whole 8-bit and 16-bit ranges, alpha
// carried over; and the edge is the route between the two orders.
template <class T>
void expectExactExchange(int from, int to, int width) {
    const int ch = fmt(from).channels, chTo = fmt(to).channels, rows = sizeof(T) == 1 ? 256 : 65536;
    SCOPED_TRACE(std::string(fmt(from).name) + "->" + fmt(to).name + " width " + std::to_string(width));
    int32_t e[CELFMT_MAX_ROUTE];
    ASSERT_EQ(celccfmt_route(from, to, e), 1);
    EXPECT_EQ(celccfmt_edge(e[0])->lossy, 0);
    EXPECT_NE(std::strstr(celccfmt_edge(e[0])->exportName, "celiColorTwist32f_"), nullptr);
    TestImage src(from, width, rows), dst(to, width, rows);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < ch; ++c) {
                const T v = T(y + 4099 * x + 13 * c);  // each (x, c) runs through every value over the rows
                std::memcpy(src.row(0, y) + (size_t(x) * ch + c) * sizeof(T), &v, sizeof(T));
            }
    CelFmtReport rep;
    ASSERT_EQ(celccfmt_convert(&src.im, &dst.im, &rep), 0);
    ASSERT_EQ(rep.count, 1);
    const int order[4] = {2, 1, 0, 3};
    for (int y = 0; y < rows; ++y) {
        const T* s = reinterpret_cast<const T*>(src.row(0, y));
        const T* d = reinterpret_cast<const T*>(dst.row(0, y));
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < chTo; ++c)  // a fourth channel the source lacks comes out opaque
                ASSERT_EQ(d[x * chTo + c], c < ch ? s[x * ch + order[c]] : T(255))
                    << "x " << x << " y " << y << " channel " << c;
    }
    EXPECT_TRUE(dst.intact());
}

TEST(Edges, ChannelOrderExchangeIsExact) {
    for (int w : {1, 3, 5, 16, 37, 67}) {
        expectExactExchange<uint8_t>(celFmt_RGB24, celFmt_BGR24, w);
        expectExactExchange<uint8_t>(celFmt_BGR24, celFmt_RGB24, w);
        expectExactExchange<uint8_t>(celFmt_RGBA, celFmt_BGRA, w);
        expectExactExchange<uint8_t>(celFmt_BGRA, celFmt_RGBA, w);
        expectExactExchange<uint8_t>(celFmt_RGB24, celFmt_BGRA, w);  // spread, alpha opaque
    }
    for (int w : {3, 37}) {
        expectExactExchange<uint16_t>(celFmt_RGB48, celFmt_BGR48, w);
        expectExactExchange<uint16_t>(celFmt_BGR48, celFmt_RGB48, w);
        expectExactExchange<uint16_t>(celFmt_RGBA64, celFmt_BGRA64, w);
        expectExactExchange<uint16_t>(celFmt_BGRA64, celFmt_RGBA64, w);
    }
}

// XRGB and XBGR: every 8-bit value in each colour byte through the twist's
// bodies and tails lands in its channel of RGBA or BGRA and back, the
// fourth byte (first of XRGB) 255; the images are allocated to their last
// byte, so that a read past the last row shows in the sanitizer build.
TEST(Edges, PaddedColourMovesExactly) {
    struct Case {
        int padded, four;
        int order[3];  // the four-byte format's channel c is the padded pixel's byte 1 + order[c]
    };
    const Case cases[] = {{celFmt_XRGB, celFmt_RGBA, {0, 1, 2}},
                          {celFmt_XRGB, celFmt_BGRA, {2, 1, 0}},
                          {celFmt_XBGR, celFmt_BGRA, {0, 1, 2}},
                          {celFmt_XBGR, celFmt_RGBA, {2, 1, 0}}};
    for (const Case& c : cases)
        for (int w : {1, 3, 4, 5, 16, 37}) {
            SCOPED_TRACE(std::string(fmt(c.padded).name) + " <-> " + fmt(c.four).name + " width " + std::to_string(w));
            const int h = 256, step = 4 * w;
            std::vector<uint8_t> padded(size_t(step) * h), four(size_t(step) * h), back(size_t(step) * h, 0);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    for (int b = 0; b < 4; ++b) padded[size_t(y) * step + 4 * x + b] = uint8_t(y + 4099 * x + 13 * b);
            CelFmtImage p{c.padded, w, h, {padded.data()}, {step}}, f{c.four, w, h, {four.data()}, {step}},
                q{c.padded, w, h, {back.data()}, {step}};
            CelFmtReport rep;
            ASSERT_EQ(celccfmt_convert(&p, &f, &rep), 0);
            ASSERT_EQ(rep.count, 1);
            ASSERT_EQ(celccfmt_convert(&f, &q, &rep), 0);
            ASSERT_EQ(rep.count, 1);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const size_t at = size_t(y) * step + 4 * x;
                    for (int ch = 0; ch < 3; ++ch)
                        ASSERT_EQ(four[at + ch], padded[at + 1 + c.order[ch]]) << "x " << x << " y " << y;
                    ASSERT_EQ(four[at + 3], 255);
                    ASSERT_EQ(back[at], 255);
                    for (int b = 1; b < 4; ++b) ASSERT_EQ(back[at + b], padded[at + b]) << "x " << x << " y " << y;
                }
        }
    // two steps from and to YCbCr through RGBA or BGRA
    int32_t e[CELFMT_MAX_ROUTE];
    EXPECT_EQ(celccfmt_route(celFmt_XRGB, celFmt_I420, e), 2);
    EXPECT_EQ(celccfmt_route(celFmt_I420, celFmt_XBGR, e), 2);
}

// ---- Convert -----------------------------------------------------------------------

TEST(Convert, TwoStepRouteEqualsTheTwoExportsInSequence) {
    // RGB24 -> NV21 goes through I420 (encoder, then a repack).
    TestImage src(celFmt_RGB24, 34, 6), out(celFmt_NV21, 34, 6), mid(celFmt_I420, 34, 6), ref(celFmt_NV21, 34, 6);
    src.randomize(7);
    CelFmtReport rep;
    ASSERT_EQ(celccfmt_convert(&src.im, &out.im, &rep), 0);
    ASSERT_EQ(rep.count, 2);
    EXPECT_STREQ(rep.call[0].exportName, "celiRGBToYCbCr420_8u_C3P3R");
    EXPECT_STREQ(rep.call[1].exportName, "celiYCbCr420_8u_P3P2R");
    EXPECT_EQ(rep.call[0].status, 0);
    uint8_t* m[3] = {mid.im.plane[0], mid.im.plane[1], mid.im.plane[2]};
    ASSERT_EQ(celiRGBToYCbCr420_8u_C3P3R(src.im.plane[0], src.im.step[0], m, mid.im.step, CelSize{34, 6}), 0);
    const uint8_t* sw[3] = {mid.im.plane[0], mid.im.plane[2], mid.im.plane[1]};
    int ss[3] = {mid.im.step[0], mid.im.step[2], mid.im.step[1]};
    ASSERT_EQ(celiYCbCr420_8u_P3P2R(sw, ss, ref.im.plane[0], ref.im.step[0], ref.im.plane[1], ref.im.step[1],
                                    CelSize{34, 6}), 0);
    EXPECT_TRUE(out.sameRegion(ref));
    EXPECT_TRUE(out.intact());
}

TEST(Convert, WarningIsReportedAndTheRouteGoesOn) {
    TestImage src(celFmt_RGB24, 6, 5), out(celFmt_NV21, 6, 5);
    src.randomize(3);
    CelFmtReport rep;
    EXPECT_EQ(celccfmt_convert(&src.im, &out.im, &rep), celStatusOddSize);
    ASSERT_EQ(rep.count, 2);
    EXPECT_EQ(rep.call[0].status, celStatusOddSize);
}

TEST(Convert, ErrorStopsTheRouteAndIsReturned) {
    // A 1x1 image is below the minimum of the BGR 4:2:0 encoders.
    TestImage src(celFmt_BGR24, 1, 1), out(celFmt_NV21, 1, 1);
    src.randomize(3);
    out.fill(0x11);
    CelFmtReport rep;
    EXPECT_EQ(celccfmt_convert(&src.im, &out.im, &rep), celStatusBadSize);
    ASSERT_EQ(rep.count, 1);
    EXPECT_EQ(rep.call[0].status, celStatusBadSize);
    EXPECT_EQ(out.row(0, 0)[0], 0x11);
}

TEST(Convert, RefusesWhatItCannotDo) {
    TestImage a(celFmt_GRAYF32, 4, 4), b(celFmt_NV11, 4, 4), c(celFmt_RGB24, 4, 2);
    CelFmtReport rep;
    EXPECT_EQ(celccfmt_convert(&a.im, &b.im, &rep), celFmtNoRoute);
    EXPECT_EQ(rep.count, 0);
    TestImage d(celFmt_I420, 4, 4);
    EXPECT_EQ(celccfmt_convert(&c.im, &d.im, nullptr), celFmtSizeMismatch);
    EXPECT_EQ(celccfmt_convert(nullptr, &d.im, nullptr), celFmtBadImage);
}

// The lifting YCoCg planes give every pixel back; the plain ones keep
// their own format apart (another node, other values).
TEST(Convert, YCoCgLiftingPlanesComeBackExactly) {
    TestImage src(celFmt_BGRA, 37, 5), planes(celFmt_YCOCGR16S, 37, 5), plain(celFmt_YCOCG16S, 37, 5),
        back(celFmt_BGR24, 37, 5, true);
    src.randomize(9);
    CelFmtReport rep;
    ASSERT_EQ(celccfmt_convert(&src.im, &planes.im, &rep), 0);
    ASSERT_EQ(rep.count, 1);
    EXPECT_STREQ(rep.call[0].exportName, "celiBGRToYCoCg_Rev_8u16s_C4P3R");
    ASSERT_EQ(celccfmt_convert(&planes.im, &back.im, &rep), 0);
    EXPECT_STREQ(rep.call[0].exportName, "celiYCoCgToBGR_Rev_16s8u_P3C3R");
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 37; ++x)
            for (int c = 0; c < 3; ++c) ASSERT_EQ(back.row(0, y)[3 * x + c], src.row(0, y)[4 * x + c]) << x << "," << y;
    EXPECT_TRUE(back.intact());
    ASSERT_EQ(celccfmt_convert(&src.im, &plain.im, &rep), 0);
    EXPECT_STREQ(rep.call[0].exportName, "celiBGRToYCoCg_8u16s_C4P3R");
    EXPECT_EQ(celccfmt_format_find("ycocg-rev"), int(celFmt_YCOCGR16S));
    EXPECT_EQ(celccfmt_format_find("YCoCg"), int(celFmt_YCOCG16S));
}

TEST(Convert, SameFormatCopiesTheRows) {
    TestImage a(celFmt_NV12, 9, 5), b(celFmt_NV12, 9, 5, true);
    a.randomize(5);
    b.fill(0);
    CelFmtReport rep;
    EXPECT_EQ(celccfmt_convert(&a.im, &b.im, &rep), 0);
    EXPECT_EQ(rep.count, 0);
    EXPECT_TRUE(a.sameRegion(b));
    EXPECT_TRUE(b.intact());
}

// ---- Where the samples sit ----------------------------------------------------------
//
// Solid colours through the table, read back by the test's own knowledge of
// each layout: red is Y 82, Cb 90, Cr 240 in studio-range BT.601.

struct Ycc {
    int y, cb, cr;
};
Ycc readYcc(const std::string& name, TestImage& t) {
    auto p = [&](int plane, int x) { return int(t.row(plane, 0)[x]); };
    if (name == "I420" || name == "I422" || name == "I444" || name == "I411" || name == "I420_709" ||
        name == "I444_709" || name == "I420_709HDTV")
        return {p(0, 0), p(1, 0), p(2, 0)};
    if (name == "YV12" || name == "YV12_709") return {p(0, 0), p(2, 0), p(1, 0)};
    if (name == "NV12" || name == "NV11" || name == "NV12_709") return {p(0, 0), p(1, 0), p(1, 1)};
    if (name == "NV21") return {p(0, 0), p(1, 1), p(1, 0)};
    if (name == "YUY2") return {p(0, 0), p(0, 1), p(0, 3)};
    if (name == "UYVY" || name == "UYVY_709HDTV") return {p(0, 1), p(0, 0), p(0, 2)};
    if (name == "YVYU") return {p(0, 0), p(0, 3), p(0, 1)};
    if (name == "YUV24") return {p(0, 0), p(0, 1), p(0, 2)};
    ADD_FAILURE() << "the test does not know " << name;
    return {0, 0, 0};
}

// Red by matrix: BT.601 studio range, BT.709 studio range, BT.709 full scale.
bool redOf(int model, Ycc& red) {
    if (model == celFmtModelYCbCr) red = {82, 90, 240};
    else if (model == celFmtModelYCbCr709) red = {63, 102, 240};
    else if (model == celFmtModelYCbCr709Full) red = {54, 98, 254};
    else return false;
    return true;
}

TEST(Layouts, RedLandsInTheRightPlaceOfEveryYCbCrFormat) {
    for (int f = 0; f < celccfmt_format_count(); ++f) {
        Ycc red;
        if (!redOf(fmt(f).model, red)) continue;
        for (int from : {int(celFmt_RGB24), int(celFmt_BGR24), int(celFmt_RGBA), int(celFmt_BGRA)}) {
            if (celccfmt_route(from, f, nullptr) < 0) continue;
            SCOPED_TRACE(std::string(fmt(from).name) + " -> " + fmt(f).name);
            TestImage src(from, 8, 4), out(f, 8, 4);
            const bool bgr = fmt(from).model == celFmtModelBGR;
            const int bpp = fmt(from).channels;
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 8; ++x) {
                    uint8_t* px = src.row(0, y) + x * bpp;
                    px[0] = bgr ? 0 : 255;
                    px[1] = 0;
                    px[2] = bgr ? 255 : 0;
                    if (bpp == 4) px[3] = 255;
                }
            ASSERT_GE(celccfmt_convert(&src.im, &out.im, nullptr), 0);
            const Ycc v = readYcc(fmt(f).name, out);
            EXPECT_NEAR(v.y, red.y, 2);
            EXPECT_NEAR(v.cb, red.cb, 2);
            EXPECT_NEAR(v.cr, red.cr, 2);
        }
    }
}

TEST(Layouts, EveryYCbCrFormatDecodesRedAsRed) {
    // Encode red into each format that can be reached, decode to every RGB
    // format that can be reached from it, and look at the channels.
    for (int f = 0; f < celccfmt_format_count(); ++f) {
        Ycc red;
        if (!redOf(fmt(f).model, red) || celccfmt_route(celFmt_RGB24, f, nullptr) < 0) continue;
        TestImage src(celFmt_RGB24, 8, 4), mid(f, 8, 4);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 8; ++x) src.row(0, y)[3 * x] = 255, src.row(0, y)[3 * x + 1] = 0, src.row(0, y)[3 * x + 2] = 0;
        ASSERT_GE(celccfmt_convert(&src.im, &mid.im, nullptr), 0);
        for (int to : {int(celFmt_RGB24), int(celFmt_BGR24), int(celFmt_RGBA), int(celFmt_BGRA)}) {
            if (celccfmt_route(f, to, nullptr) < 0) continue;
            SCOPED_TRACE(std::string(fmt(f).name) + " -> " + fmt(to).name);
            TestImage out(to, 8, 4);
            ASSERT_GE(celccfmt_convert(&mid.im, &out.im, nullptr), 0);
            const uint8_t* px = out.row(0, 1) + 3 * fmt(to).channels;
            const bool bgr = fmt(to).model == celFmtModelBGR;
            // full scale holds Cr at 254 where red needs 258: R comes back 248
            const int tol = fmt(f).model == celFmtModelYCbCr709Full ? 7 : 3;
            EXPECT_NEAR(px[bgr ? 2 : 0], 255, tol);
            EXPECT_NEAR(px[1], 0, tol);
            EXPECT_NEAR(px[bgr ? 0 : 2], 0, tol);
            if (fmt(to).channels == 4) EXPECT_EQ(px[3], 255);
        }
    }
}

// RGB24 reaches the full-scale formats: I420_709HDTV through BGRA (its
// encoder reads BGRA only), UYVY_709HDTV through BGR24; both equal the
// exports on the photo's pixels in those orders.
TEST(Convert, RgbReachesTheFullScaleFormats) {
    const int w = 38, h = 6;
    TestImage src(celFmt_RGB24, w, h), i420(celFmt_I420_709HDTV, w, h), uyvy(celFmt_UYVY_709HDTV, w, h);
    src.randomize(17);
    std::vector<uint8_t> bgra(size_t(4) * w * h), bgr(size_t(3) * w * h), ref(size_t(2) * w * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint8_t* p = src.row(0, y) + 3 * x;
            uint8_t* q = &bgra[(size_t(y) * w + x) * 4];
            q[0] = p[2], q[1] = p[1], q[2] = p[0], q[3] = 255;
            std::memcpy(&bgr[(size_t(y) * w + x) * 3], q, 3);
        }
    CelFmtReport rep;
    ASSERT_EQ(celccfmt_convert(&src.im, &i420.im, &rep), 0);
    ASSERT_EQ(rep.count, 2);
    EXPECT_STREQ(rep.call[0].exportName, "celiColorTwist32f_8u_AC4IR");
    EXPECT_STREQ(rep.call[1].exportName, "celiBGRToYCbCr420_709HDTV_8u_AC4P3R");
    std::vector<uint8_t> planes(size_t(w) * h * 3 / 2);
    uint8_t* pl[3] = {planes.data(), planes.data() + w * h, planes.data() + w * h + w * h / 4};
    int st[3] = {w, w / 2, w / 2};
    ASSERT_EQ(celiBGRToYCbCr420_709HDTV_8u_AC4P3R(bgra.data(), 4 * w, pl, st, CelSize{w, h}), 0);
    for (int y = 0; y < h; ++y) {
        EXPECT_EQ(std::memcmp(i420.row(0, y), pl[0] + y * w, w), 0) << "luma row " << y;
        if (y % 2 == 0)
            for (int k = 1; k < 3; ++k) EXPECT_EQ(std::memcmp(i420.row(k, y / 2), pl[k] + y / 2 * (w / 2), w / 2), 0);
    }
    ASSERT_EQ(celccfmt_convert(&src.im, &uyvy.im, &rep), 0);
    ASSERT_EQ(rep.count, 2);
    EXPECT_STREQ(rep.call[1].exportName, "celiBGRToCbYCr422_709HDTV_8u_C3C2R");
    ASSERT_EQ(celiBGRToCbYCr422_709HDTV_8u_C3C2R(bgr.data(), 3 * w, ref.data(), 2 * w, CelSize{w, h}), 0);
    for (int y = 0; y < h; ++y) EXPECT_EQ(std::memcmp(uyvy.row(0, y), &ref[size_t(y) * 2 * w], 2 * size_t(w)), 0) << y;
    EXPECT_TRUE(i420.intact());
    EXPECT_TRUE(uyvy.intact());
}

TEST(Layouts, SixteenBitsBecomeEightByRounding) {
    // Every 16-bit word through GRAY16 -> GRAY8: the nearest 8-bit value.
    TestImage a(celFmt_GRAY16, 65536, 1), b(celFmt_GRAY8, 65536, 1);
    for (int i = 0; i < 65536; ++i) {
        const uint16_t w = uint16_t(i);
        std::memcpy(a.row(0, 0) + 2 * i, &w, 2);
    }
    CelFmtReport rep;
    ASSERT_EQ(celccfmt_convert(&a.im, &b.im, &rep), 0);
    EXPECT_STREQ(rep.call[0].exportName, "celiReduceBits_16u8u_C1R");
    for (int i = 0; i < 65536; ++i) ASSERT_LE(std::fabs(b.row(0, 0)[i] - i / 257.0), 0.5) << i;
    // RGB48 goes the same way, channel by channel.
    TestImage c(celFmt_RGB48, 2, 1), d(celFmt_RGB24, 2, 1);
    const uint16_t words[6] = {0, 65535, 128, 129, 65406, 65407};
    std::memcpy(c.row(0, 0), words, sizeof words);
    ASSERT_EQ(celccfmt_convert(&c.im, &d.im, nullptr), 0);
    const uint8_t want[6] = {0, 255, 0, 1, 254, 255};
    EXPECT_EQ(std::memcmp(d.row(0, 0), want, 6), 0);
}

TEST(Layouts, RepackRoundTripsAreExact) {
    const int groups[][4] = {{celFmt_YUY2, celFmt_UYVY, celFmt_YVYU, celFmt_I422},
                             {celFmt_I420, celFmt_YV12, celFmt_NV12, celFmt_NV21},
                             {celFmt_I411, celFmt_NV11, -1, -1}};
    for (const auto& g : groups)
        for (int a : g)
            for (int b : g) {
                if (a < 0 || b < 0 || a == b) continue;
                if (celccfmt_route(a, b, nullptr) < 0 || celccfmt_route(b, a, nullptr) < 0) continue;
                SCOPED_TRACE(std::string(fmt(a).name) + " <-> " + fmt(b).name);
                TestImage x(a, 16, 4), y(b, 16, 4), z(a, 16, 4);
                x.randomize(11);
                ASSERT_EQ(celccfmt_convert(&x.im, &y.im, nullptr), 0);
                ASSERT_EQ(celccfmt_convert(&y.im, &z.im, nullptr), 0);
                EXPECT_TRUE(x.sameRegion(z));
            }
}

// Chroma rate steps that repeat or weave samples are undone exactly by the
// step that drops or unweaves them: 4:2:0 -> 4:2:2 -> 4:2:0, 4:1:1 -> 4:2:2
// -> 4:1:1, 4:1:1 -> 4:2:0 -> 4:1:1 (one direct edge forward; planar 4:2:0
// to planar 4:1:1 goes through a two-plane format).
TEST(Layouts, RateRoundTripsAreExact) {
    const int pairs[][2] = {{celFmt_I420, celFmt_I422}, {celFmt_NV12, celFmt_YUY2}, {celFmt_YV12, celFmt_UYVY},
                            {celFmt_I411, celFmt_I422}, {celFmt_I411, celFmt_YUY2}, {celFmt_I411, celFmt_I420},
                            {celFmt_NV11, celFmt_YV12}, {celFmt_I411, celFmt_NV12}};
    for (const auto& pr : pairs) {
        SCOPED_TRACE(std::string(fmt(pr[0]).name) + " -> " + fmt(pr[1]).name + " -> back");
        int32_t e[CELFMT_MAX_ROUTE];
        ASSERT_EQ(celccfmt_route(pr[0], pr[1], e), 1);
        ASSERT_GE(celccfmt_route(pr[1], pr[0], e), 1);
        TestImage x(pr[0], 36, 6), y(pr[1], 36, 6), z(pr[0], 36, 6);
        x.randomize(5);
        ASSERT_EQ(celccfmt_convert(&x.im, &y.im, nullptr), 0);
        ASSERT_EQ(celccfmt_convert(&y.im, &z.im, nullptr), 0);
        EXPECT_TRUE(x.sameRegion(z));
    }
}

}  // namespace
