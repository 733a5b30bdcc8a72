// The front ends' table of conversions: format geometry and lookup, the
// route finder, every edge against a direct call of its export, and where
// the samples of each format sit, checked on solid colours and round trips.
#include <fnmatch.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "celcc.h"
#include "celcc_formats.h"
#include "common/image_buffer.h"

namespace {

const CelFmtFormat& fmt(int id) { return *celccfmt_format(id); }
int find(const char* name) { return celccfmt_format_find(name); }

// An image of a table format: one canary-framed buffer a plane, steps
// positive or negative; or (`exact`) planes allocated to their last byte,
// so that a read past the image shows in the sanitizer build.
struct TestImage {
    CelFmtImage im{};
    std::vector<celtest::ImageBuffer> bufs;
    std::vector<std::vector<uint8_t>> exactMem;
    std::vector<int64_t> rowBytes, rows;

    TestImage(int format, int w, int h, bool negative = false, bool exact = false) : im{format, w, h, {}, {}} {
        bufs.reserve(3), exactMem.reserve(3);
        for (int i = 0; i < fmt(format).planeCount; ++i) {
            const CelFmtPlane& p = fmt(format).plane[i];
            rowBytes.push_back((w + p.unitWidth - 1) / p.unitWidth * p.unitBytes);
            rows.push_back((h + p.unitHeight - 1) / p.unitHeight);
            if (exact) {
                exactMem.emplace_back(size_t(rowBytes[i] * rows[i]));
                im.plane[i] = exactMem.back().data(), im.step[i] = int32_t(rowBytes[i]);
                continue;
            }
            celtest::ImageBuffer& b = bufs.emplace_back(int(rowBytes[i]), int(rows[i]));
            im.plane[i] = negative ? b.lastRow() : b.data();
            im.step[i] = negative ? -b.step() : b.step();
        }
    }
    uint8_t* row(int plane, int64_t y) { return im.plane[plane] + y * im.step[plane]; }
    void randomize(uint32_t seed) {
        std::mt19937 rng(seed);
        const bool real = fmt(im.format).sample == celFmtSample32f;  // float samples in 0..1
        for (size_t i = 0; i < rows.size(); ++i)
            for (int64_t y = 0; y < rows[i]; ++y)
                for (int64_t x = 0; x < rowBytes[i]; x += real ? 4 : 1) {
                    const float v = float(rng() % 1001) / 1000.0f;
                    if (real) std::memcpy(row(int(i), y) + x, &v, 4);
                    else row(int(i), y)[x] = uint8_t(rng() >> 24);
                }
    }
    void fill(uint8_t v) {
        for (size_t i = 0; i < rows.size(); ++i)
            for (int64_t y = 0; y < rows[i]; ++y) std::memset(row(int(i), y), v, size_t(rowBytes[i]));
    }
    bool intact() const { return celtest::allIntact(bufs); }
    bool sameRegion(TestImage& o) {
        for (size_t i = 0; i < rows.size(); ++i)
            for (int64_t y = 0; y < rows[i]; ++y)
                if (std::memcmp(row(int(i), y), o.row(int(i), y), size_t(rowBytes[i])) != 0) return false;
        return true;
    }
};

// ---- Formats ---------------------------------------------------------------------

TEST(Formats, LookupGeometryStatusNamesAndExportList) {
    const std::pair<const char*, int> names[] = {
        {"I420", celFmt_I420}, {"i420", celFmt_I420}, {"yuv420p", celFmt_I420}, {"nv21", celFmt_NV21},
        {"Yuyv", celFmt_YUY2}, {"rgb", celFmt_RGB24}, {"ycocg-rev", celFmt_YCOCGR16S}, {"YCoCg", celFmt_YCOCG16S},
        {"i42", -1},           {"", -1}};
    for (const auto& [name, id] : names) EXPECT_EQ(find(name), id) << name;
    EXPECT_EQ(find(nullptr), -1);
    for (int i = 0; i < celccfmt_format_count(); ++i) EXPECT_EQ(find(fmt(i).name), i);
    EXPECT_EQ(celccfmt_format(-1), nullptr);
    EXPECT_EQ(celccfmt_format(celccfmt_format_count()), nullptr);

    // odd sizes round the subsampled planes up; v210 rows are whole 128-byte blocks of 48 pixels
    const struct {
        int format, w, h, plane, pw, ph;
        int64_t rb;
    } geometry[] = {{celFmt_I420, 5, 3, 0, 5, 3, 5},  {celFmt_I420, 5, 3, 2, 3, 2, 3},       {celFmt_NV12, 5, 3, 1, 3, 2, 6},
                    {celFmt_YUY2, 5, 1, 0, 3, 1, 12}, {celFmt_I411, 9, 2, 1, 3, 2, 3},       {celFmt_RGB48, 7, 2, 0, 7, 2, 42},
                    {celFmt_V210, 1920, 2, 0, 40, 2, 5120}, {celFmt_V210, 49, 1, 0, 2, 1, 256}};
    for (const auto& g : geometry) {
        int32_t pw, ph;
        int64_t rb;
        ASSERT_EQ(celccfmt_plane_size(g.format, g.w, g.h, g.plane, &pw, &ph, &rb), 0) << fmt(g.format).name;
        EXPECT_EQ(pw, g.pw) << fmt(g.format).name << " " << g.w;
        EXPECT_EQ(ph, g.ph) << fmt(g.format).name << " " << g.w;
        EXPECT_EQ(rb, g.rb) << fmt(g.format).name << " " << g.w;
    }
    int32_t pw, ph;
    int64_t rb;
    EXPECT_EQ(celccfmt_plane_size(celFmt_I420, 5, 3, 3, &pw, &ph, &rb), celFmtBadImage);
    EXPECT_EQ(celccfmt_plane_size(celFmt_RGB24, 0, 3, 0, &pw, &ph, &rb), celFmtBadImage);
    EXPECT_EQ(celccfmt_plane_size(-1, 5, 3, 0, &pw, &ph, &rb), celFmtBadFormat);
    EXPECT_EQ(celccfmt_image_bytes(celFmt_I420, 5, 3), 15 + 6 + 6);
    EXPECT_EQ(celccfmt_image_bytes(celFmt_NV11, 8, 2), 16 + 8);
    EXPECT_EQ(celccfmt_image_bytes(celFmt_RGB24, 0, 2), -1);
    std::vector<uint8_t> buf(size_t(celccfmt_image_bytes(celFmt_NV21, 6, 4)));
    CelFmtImage im;
    ASSERT_EQ(celccfmt_image_layout(celFmt_NV21, 6, 4, buf.data(), &im), 0);
    EXPECT_TRUE(im.plane[0] == buf.data() && im.step[0] == 6 && im.plane[1] == buf.data() + 24 && im.step[1] == 6);

    EXPECT_STREQ(celccfmt_status_name(celStatusBadSize), "celStatusBadSize");
    EXPECT_STREQ(celccfmt_status_name(celStatusOddSize), "celStatusOddSize");
    EXPECT_STREQ(celccfmt_status_name(celFmtNoRoute), "celFmtNoRoute");
    ASSERT_GT(celccfmt_export_count(), 100);
    bool found = false;
    for (int i = 0; i < celccfmt_export_count(); ++i) {
        ASSERT_NE(celccfmt_export_doc(i), nullptr);
        EXPECT_GT(std::strlen(celccfmt_export_doc(i)), 5u) << celccfmt_export_name(i);
        found |= std::string(celccfmt_export_name(i)) == "celiRGBToYCbCr420_8u_C3P3R";
    }
    EXPECT_TRUE(found);
    EXPECT_EQ(celccfmt_export_name(-1), nullptr);
}

// ---- Routes ----------------------------------------------------------------------

// Routes as text (a pattern: `*` stands for any text) and the plane order of
// their edges (-1: any).  Direct edges are taken where there is one; no gray
// intermediate between colour formats (BGR24 to RGBA would be cheaper
// through gray) and no analysis model between RGB and BGR; lossless
// intermediates first; filtered chroma (dearer than repeated rows) only when
// preferred, directly, as one step of two, or not at all where there is none;
// interlace-aware edges only when asked, with YV12's plane order, and not
// where the route keeps the vertical sampling.
TEST(Routes, ChosenRoutesAsText) {
    const struct {
        const char *from, *to, *prefer, *text;
        int order0, order1;
    } cases[] = {
        {"RGB24", "I420", "", "RGB24 -> I420 (celiRGBToYCbCr420_8u_C3P3R)", 0, -1},
        {"UYVY", "YUY2", "", "UYVY -> YUY2 (celiCbYCr422ToYCbCr422_8u_C2R)", 0, -1},
        {"NV12", "NV12", "", "NV12 -> NV12 (copy)", -1, -1},
        {"GRAYF32", "NV11", "", "GRAYF32 -> NV11: no route", -1, -1},
        {"BGR24", "RGBA", "", "BGR24 -> I420 (*) -> RGBA (*)", -1, -1},
        {"RGBA", "BGR24", "", "RGBA -> I444 (*) -> BGR24 (*)", -1, -1},
        {"RGB24", "RGBA", "", "RGB24 -> BGRA (*) -> RGBA (*)", -1, -1},
        {"RGB24", "BGR24", "", "RGB24 -> BGR24 (celiColorTwist32f_8u_C3R)", 0, -1},
        {"RGB24", "BGRA", "", "RGB24 -> BGRA (celiColorTwist32f_8u_AC4IR)", 0, -1},
        {"GRAY8", "I420", "", "GRAY8 -> RGB24 (*) -> I420 (*)", -1, -1},
        {"I420", "YV12", "", "I420 -> NV* -> YV12 (celi*)", -1, -1},
        {"RGB24", "NV21", "", "RGB24 -> I420 (celiRGBToYCbCr420_8u_C3P3R) -> NV21 (celiYCbCr420_8u_P3P2R)", 0, 1},
        {"XRGB", "I420", "", "XRGB -> RGBA (*) -> I420 (*)", -1, -1},
        {"I420", "XBGR", "", "I420 -> BGRA (*) -> XBGR (*)", -1, -1},
        {"GRAY16", "GRAY8", "", "GRAY16 -> GRAY8 (celiReduceBits_16u8u_C1R)", 0, -1},
        {"BGRA", "YCOCGR16S", "", "BGRA -> YCOCGR16S (celiBGRToYCoCg_Rev_8u16s_C4P3R)", 0, -1},
        {"YCOCGR16S", "BGR24", "", "YCOCGR16S -> BGR24 (celiYCoCgToBGR_Rev_16s8u_P3C3R)", 0, -1},
        {"BGRA", "YCOCG16S", "", "BGRA -> YCOCG16S (celiBGRToYCoCg_8u16s_C4P3R)", 0, -1},
        {"RGB24", "I420_709HDTV", "",
         "RGB24 -> BGRA (celiColorTwist32f_8u_AC4IR) -> I420_709HDTV (celiBGRToYCbCr420_709HDTV_8u_AC4P3R)", 0, 0},
        {"RGB24", "UYVY_709HDTV", "",
         "RGB24 -> BGR24 (celiColorTwist32f_8u_C3R) -> UYVY_709HDTV (celiBGRToCbYCr422_709HDTV_8u_C3C2R)", 0, 0},
        {"I420", "I422", "", "I420 -> I422 (celiYCbCr420ToYCbCr422_8u_P3R)", 0, -1},
        {"I420", "I422", "_Filter_", "I420 -> I422 (celiYCbCr420ToYCbCr422_Filter_8u_P3R)", 0, -1},
        {"NV21", "I422", "_Filter_", "NV21 -> I422 (celiYCbCr420ToYCbCr422_Filter_8u_P2P3R)", 2, -1},
        {"NV12", "I422", "_Filter_", "NV12 -> I422 (celiYCbCr420ToYCbCr422_Filter_8u_P2P3R)", 0, -1},
        {"I420", "YUY2", "_Filter_", "I420 -> I422 (celiYCbCr420ToYCbCr422_Filter_8u_P3R) -> YUY2 (*)", -1, -1},
        {"RGB24", "I420", "_Filter_", "RGB24 -> I420 (celiRGBToYCbCr420_8u_C3P3R)", 0, -1},
        {"I420", "I422", "_Interlace_", "I420 -> I422 (celiYCbCr420To422_Interlace_8u_P3R)", 0, -1},
        {"YV12", "I422", "_Interlace_", "YV12 -> I422 (celiYCbCr420To422_Interlace_8u_P3R)", 1, -1},
        {"YV12", "UYVY", "_Interlace_", "YV12 -> UYVY (celiYCbCr420ToCbYCr422_Interlace_8u_P3C2R)", 1, -1},
        {"I422", "YV12", "_Interlace_", "I422 -> YV12 (celiYCbCr422To420_Interlace_8u_P3R)", 2, -1},
        {"UYVY", "I420", "_Interlace_", "UYVY -> I420 (celiCbYCr422ToYCbCr420_Interlace_8u_C2P3R)", 0, -1},
        {"NV12", "I422", "_Interlace_", "NV12 -> * -> I422 (celiYCbCr420To422_Interlace_8u_P3R)", -1, -1},
        {"I422", "NV21", "_Interlace_", "I422 -> * (celiYCbCr422To420_Interlace_8u_P3R) -> NV21 (*)", -1, -1},
        {"I420", "NV12", "_Interlace_", "I420 -> NV12 (celiYCbCr420_8u_P3P2R)", 0, -1},
    };
    for (const auto& c : cases) {
        const int a = find(c.from), b = find(c.to);
        char text[256];
        const int len = celccfmt_route_text_prefer(a, b, c.prefer, text, sizeof text);
        EXPECT_EQ(len, int(std::strlen(text)));
        EXPECT_EQ(fnmatch(c.text, text, 0), 0) << text << " is not " << c.text;
        int32_t e[CELFMT_MAX_ROUTE];
        const int n = celccfmt_route_prefer(a, b, c.prefer, e);
        if (c.order0 >= 0) EXPECT_EQ(celccfmt_edge(e[0])->order, c.order0) << text;
        if (c.order1 >= 0 && n == 2) EXPECT_EQ(celccfmt_edge(e[1])->order, c.order1) << text;
    }
    int32_t e[CELFMT_MAX_ROUTE];
    EXPECT_EQ(celccfmt_route(celFmt_NV12, 999, e), celFmtBadFormat);
    EXPECT_EQ(celccfmt_route(celFmt_GRAYF32, celFmt_NV11, e), celFmtNoRoute);
}

// Interlace-aware edges serve only interlaced pictures: no default route
// takes one, and no step of an interlaced route changes the vertical
// sampling but field by field; where none is safe, the default route stands.
TEST(Routes, InterlaceEdgesOnlyWhenAskedAndSafe) {
    int32_t e[CELFMT_MAX_ROUTE], d[CELFMT_MAX_ROUTE];
    for (int a = 0; a < celFmtCount; ++a)
        for (int b = 0; b < celFmtCount; ++b) {
            SCOPED_TRACE(std::string(fmt(a).name) + " -> " + fmt(b).name);
            const int nd = celccfmt_route(a, b, d);
            for (int k = 0; k < nd; ++k) EXPECT_EQ(std::strstr(celccfmt_edge(d[k])->exportName, "_Interlace_"), nullptr);
            const int n = celccfmt_route_prefer(a, b, "_Interlace_", e);
            bool safe = true;
            for (int k = 0; k < n; ++k) {
                const CelFmtEdge* ed = celccfmt_edge(e[k]);
                safe = safe && (std::strstr(ed->exportName, "_Interlace_") ||
                                fmt(ed->from).alignHeight == fmt(ed->to).alignHeight);
            }
            if (safe) continue;
            ASSERT_EQ(nd, n);
            for (int k = 0; k < n; ++k) EXPECT_EQ(d[k], e[k]);
        }
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


// ---- Edges against direct calls --------------------------------------------------
//
// The test's own account of how an edge hands its images to its export, the
// arguments left to right: an image pointer takes the next plane of its side
// (const: the source, else the destination) in the format's memory order,
// the second and third exchanged on the side the edge's order names; an
// array of plane pointers takes all of its side; a step or an array of steps
// is that of the image before it (v210's decoders count theirs in elements);
// then the size, and after it the opaque alpha of the argument's type (as an
// int: 255 for bytes, 32767 for signed 16-bit pixels).  Reductions of bits
// round without dither to the destination's full range; a colour twist
// exchanges the first and third channel (the padded forms keep the order
// unless they say EXCHANGE).

struct Planes {
    uint8_t* p[3];
    int s[3];
};
Planes planesOf(const CelFmtImage& im, bool exchange) {
    Planes x{{im.plane[0], im.plane[1], im.plane[2]}, {im.step[0], im.step[1], im.step[2]}};
    if (exchange) std::swap(x.p[1], x.p[2]), std::swap(x.s[1], x.s[2]);
    return x;
}
const float kSwap13[3][4] = {{0, 0, 1, 0}, {0, 1, 0, 0}, {1, 0, 0, 0}};
const float kSame[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};

struct Caller {
    Planes s, d;
    CelSize z;
    const float (*twist)[4];
    bool elements, reduce;
    Planes* last = nullptr;
    int lastPlane = 0, lastBytes = 1, dstBytes = 1, next[2] = {0, 0}, ints = 0;
    bool sized = false;

    template <class P>
    P arg() {
        using T = std::remove_cv_t<std::remove_pointer_t<P>>;
        if constexpr (std::is_same_v<P, CelSize>) {
            sized = true;
            return z;
        } else if constexpr (std::is_same_v<P, CelDitherMode>) {
            return celDitherOff;
        } else if constexpr (std::is_same_v<P, const float (*)[4]>) {
            return twist;
        } else if constexpr (std::is_same_v<P, int*>) {
            return last->s;
        } else if constexpr (std::is_pointer_v<T>) {
            last = std::is_const_v<std::remove_pointer_t<T>> ? &s : &d;
            lastPlane = 0;
            return reinterpret_cast<P>(last->p);
        } else if constexpr (std::is_pointer_v<P>) {
            if (sized) return nullptr;  // no scratch
            const bool src = std::is_const_v<std::remove_pointer_t<P>>;
            last = src ? &s : &d;
            lastPlane = next[src]++;
            lastBytes = int(sizeof(T));
            if (!src) dstBytes = int(sizeof(T));
            return reinterpret_cast<P>(last->p[lastPlane]);
        } else if constexpr (std::is_same_v<P, int>) {
            if (!sized) return last->s[lastPlane] / (elements ? lastBytes : 1);
            if (reduce) return ints++ == 0 ? 0 : dstBytes == 1 ? 256 : 65536;
            return dstBytes == 1 ? 255 : 32767;
        } else {
            return std::numeric_limits<P>::max();
        }
    }
};
template <class... A>
CelStatus callWith(CelStatus (*f)(A...), Planes s, Planes d, CelSize z, const float (*m)[4], bool elements) {
    Caller c{s, d, z, m, elements, (std::is_same_v<A, CelDitherMode> || ...)};
    return std::apply(f, std::tuple<A...>{c.template arg<A>()...});
}

// The adapters that move bytes around a twist: the colour of XRGB and XBGR
// in bytes 1 to 3 (the twist run on whole images of its own four-byte
// pixels, copied from or to the padded side, the other byte made 255 here);
// the in-place twist on the destination after a copy of the source rows, or
// of three-byte pixels spread to four with an opaque fourth.  The twist
// refuses steps below 1 and then writes nothing.
enum { KEEP, SWAP_SRC, SWAP_DST };
template <class F>
CelStatus directAs(const std::string& adapter, F f, const CelFmtImage& si, const CelFmtImage& di, int order) {
    Planes s = planesOf(si, order == SWAP_SRC), d = planesOf(di, order == SWAP_DST);
    const CelSize z{si.width, si.height};
    const float(*m)[4] = adapter.find("EXCHANGE") != std::string::npos ? kSwap13 : kSame;
    const int in = fmt(si.format).plane[0].unitBytes, out = fmt(di.format).plane[0].unitBytes;
    const auto px = [](const Planes& p, int y, int x, int bytes) { return p.p[0] + int64_t(y) * p.s[0] + x * bytes; };
    if (adapter.rfind("PADDED_", 0) == 0 && s.s[0] >= 1 && d.s[0] >= 1) {
        const bool padIn = adapter.rfind("PADDED_IN", 0) == 0;
        std::vector<uint8_t> four(size_t(z.width) * z.height * 4);
        const Planes t{{four.data()}, {4 * z.width}};
        for (int y = 0; padIn && y < z.height; ++y)
            for (int x = 0; x < z.width; ++x) std::memcpy(px(t, y, x, 4), px(s, y, x, 4) + 1, 3);
        const CelStatus st = callWith(f, padIn ? t : s, padIn ? d : t, z, m, false);
        for (int y = 0; y < z.height; ++y)
            for (int x = 0; x < z.width; ++x) {
                uint8_t* q = px(d, y, x, 4);
                if (padIn) q[3] = 255;
                else q[0] = 255, std::memcpy(q + 1, px(t, y, x, 4), 3);
            }
        return st;
    }
    if ((adapter == "EXCHANGE_IN_PLACE" || adapter == "SPREAD_EXCHANGE") && d.s[0] >= 1)
        for (int y = 0; y < z.height; ++y)
            for (int x = 0; x < z.width; ++x) {
                std::memcpy(px(d, y, x, out), px(s, y, x, in), size_t(in));
                if (in < out) px(d, y, x, out)[3] = 255;
            }
    return callWith(f, s, d, z, m, adapter == "ELEMENTS");
}

struct DirectEdge {
    const char* name;
    int order;
    CelStatus (*call)(const CelFmtImage&, const CelFmtImage&, int order);
};
const DirectEdge kDirect[] = {
#define CEL_EDGE(from, to, exp, adapter, order, cost, lossy) \
    {#exp, order, [](const CelFmtImage& s, const CelFmtImage& d, int o) { return directAs(#adapter, &exp, s, d, o); }},
#include "edges.inc"
#undef CEL_EDGE
};

TEST(Edges, EveryEdgeEqualsADirectCallOfItsExport) {
    ASSERT_EQ(int(sizeof kDirect / sizeof kDirect[0]), celccfmt_edge_count());
    const int sizes[][2] = {{1, 1}, {2, 2}, {7, 3}, {16, 4}, {33, 5}, {64, 6}, {18, 8}};
    for (int i = 0; i < celccfmt_edge_count(); ++i) {
        const CelFmtEdge& e = *celccfmt_edge(i);
        ASSERT_STREQ(e.exportName, kDirect[i].name);
        int converted = 0;
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
                EXPECT_EQ(st, kDirect[i].call(src.im, b.im, kDirect[i].order));
                EXPECT_TRUE(a.sameRegion(b));
                EXPECT_TRUE(a.intact());
                converted += st == celStatusOk;
            }
        EXPECT_GT(converted, 0) << e.exportName << " converted no image";
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

// The lossless twist edges (the RGB/BGR exchange, the spread to four
// bytes, the colour of XRGB and XBGR) move samples without changing one:
// every value of every sample at every column (vector bodies, alignment
// prologue, scalar tail), the whole 8-bit and 16-bit ranges.  map[c]: the
// source sample that destination sample c takes, -1 for opaque.  Images of
// the padded formats are allocated to their last byte (the twist reads one
// byte along there).
template <class T>
void expectExactMove(int from, int to, const int (&map)[4], int width, bool exact) {
    const int nIn = fmt(from).plane[0].unitBytes / int(sizeof(T)), nOut = fmt(to).plane[0].unitBytes / int(sizeof(T));
    const int rows = sizeof(T) == 1 ? 256 : 65536;
    SCOPED_TRACE(std::string(fmt(from).name) + "->" + fmt(to).name + " width " + std::to_string(width));
    int32_t e[CELFMT_MAX_ROUTE];
    ASSERT_EQ(celccfmt_route(from, to, e), 1);
    EXPECT_EQ(celccfmt_edge(e[0])->lossy, 0);
    EXPECT_NE(std::strstr(celccfmt_edge(e[0])->exportName, "celiColorTwist32f_"), nullptr);
    TestImage src(from, width, rows, false, exact), dst(to, width, rows, false, exact);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < nIn; ++c) {
                const T v = T(y + 4099 * x + 13 * c);  // each (x, c) runs through every value over the rows
                std::memcpy(src.row(0, y) + (size_t(x) * nIn + c) * sizeof(T), &v, sizeof(T));
            }
    ASSERT_EQ(celccfmt_convert(&src.im, &dst.im, nullptr), 0);
    for (int y = 0; y < rows; ++y) {
        const T* s = reinterpret_cast<const T*>(src.row(0, y));
        const T* d = reinterpret_cast<const T*>(dst.row(0, y));
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < nOut; ++c)
                ASSERT_EQ(d[x * nOut + c], map[c] < 0 ? std::numeric_limits<T>::max() : s[x * nIn + map[c]])
                    << "x " << x << " y " << y << " sample " << c;
    }
    EXPECT_TRUE(dst.intact());
}

TEST(Edges, LosslessTwistsMoveEverySampleExactly) {
    const struct {
        int from, to, map[4];
        bool wide, padded;
    } cases[] = {
        {celFmt_RGB24, celFmt_BGR24, {2, 1, 0}, false, false},   {celFmt_BGR24, celFmt_RGB24, {2, 1, 0}, false, false},
        {celFmt_RGBA, celFmt_BGRA, {2, 1, 0, 3}, false, false},  {celFmt_BGRA, celFmt_RGBA, {2, 1, 0, 3}, false, false},
        {celFmt_RGB24, celFmt_BGRA, {2, 1, 0, -1}, false, false},
        {celFmt_XRGB, celFmt_RGBA, {1, 2, 3, -1}, false, true},  {celFmt_XRGB, celFmt_BGRA, {3, 2, 1, -1}, false, true},
        {celFmt_XBGR, celFmt_BGRA, {1, 2, 3, -1}, false, true},  {celFmt_XBGR, celFmt_RGBA, {3, 2, 1, -1}, false, true},
        {celFmt_RGBA, celFmt_XRGB, {-1, 0, 1, 2}, false, true},  {celFmt_BGRA, celFmt_XRGB, {-1, 2, 1, 0}, false, true},
        {celFmt_BGRA, celFmt_XBGR, {-1, 0, 1, 2}, false, true},  {celFmt_RGBA, celFmt_XBGR, {-1, 2, 1, 0}, false, true},
        {celFmt_RGB48, celFmt_BGR48, {2, 1, 0}, true, false},    {celFmt_BGR48, celFmt_RGB48, {2, 1, 0}, true, false},
        {celFmt_RGBA64, celFmt_BGRA64, {2, 1, 0, 3}, true, false}, {celFmt_BGRA64, celFmt_RGBA64, {2, 1, 0, 3}, true, false},
    };
    for (const auto& c : cases)
        for (int w : {1, 3, 4, 5, 16, 37, 67})
            if (!c.wide) expectExactMove<uint8_t>(c.from, c.to, c.map, w, c.padded);
            else if (w == 3 || w == 37) expectExactMove<uint16_t>(c.from, c.to, c.map, w, false);
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

// A warning is reported and the route goes on; an error (a 1x1 image is
// below the BGR 4:2:0 encoders' minimum) stops it, is returned and leaves the
// destination alone; no route, sizes that differ and no image are refused;
// equal formats copy the rows.
TEST(Convert, StatusesAndCopies) {
    TestImage rgb(celFmt_RGB24, 6, 5), nv21(celFmt_NV21, 6, 5);
    rgb.randomize(3);
    CelFmtReport rep;
    EXPECT_EQ(celccfmt_convert(&rgb.im, &nv21.im, &rep), celStatusOddSize);
    ASSERT_EQ(rep.count, 2);
    EXPECT_EQ(rep.call[0].status, celStatusOddSize);

    TestImage bgr1(celFmt_BGR24, 1, 1), nv1(celFmt_NV21, 1, 1);
    bgr1.randomize(3);
    nv1.fill(0x11);
    EXPECT_EQ(celccfmt_convert(&bgr1.im, &nv1.im, &rep), celStatusBadSize);
    ASSERT_EQ(rep.count, 1);
    EXPECT_EQ(rep.call[0].status, celStatusBadSize);
    EXPECT_EQ(nv1.row(0, 0)[0], 0x11);

    TestImage a(celFmt_GRAYF32, 4, 4), b(celFmt_NV11, 4, 4), c(celFmt_RGB24, 4, 2), d(celFmt_I420, 4, 4);
    EXPECT_EQ(celccfmt_convert(&a.im, &b.im, &rep), celFmtNoRoute);
    EXPECT_EQ(rep.count, 0);
    EXPECT_EQ(celccfmt_convert(&c.im, &d.im, nullptr), celFmtSizeMismatch);
    EXPECT_EQ(celccfmt_convert(nullptr, &d.im, nullptr), celFmtBadImage);

    TestImage x(celFmt_NV12, 9, 5), y(celFmt_NV12, 9, 5, true);
    x.randomize(5);
    y.fill(0);
    EXPECT_EQ(celccfmt_convert(&x.im, &y.im, &rep), 0);
    EXPECT_EQ(rep.count, 0);
    EXPECT_TRUE(x.sameRegion(y));
    EXPECT_TRUE(y.intact());
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

// Red from each RGB layout into every YCbCr format it reaches, and from
// there back to each RGB layout that format reaches.
TEST(Layouts, RedSitsInTheRightPlaceOfEveryYCbCrFormat) {
    const int rgbs[] = {celFmt_RGB24, celFmt_BGR24, celFmt_RGBA, celFmt_BGRA};
    for (int f = 0; f < celccfmt_format_count(); ++f) {
        Ycc red;
        if (!redOf(fmt(f).model, red)) continue;
        for (int from : rgbs) {
            if (celccfmt_route(from, f, nullptr) < 0) continue;
            SCOPED_TRACE(std::string(fmt(from).name) + " -> " + fmt(f).name);
            TestImage src(from, 8, 4), mid(f, 8, 4);
            const bool bgr = fmt(from).model == celFmtModelBGR;
            const int bpp = fmt(from).channels;
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 8; ++x) {
                    uint8_t* px = src.row(0, y) + x * bpp;
                    px[0] = bgr ? 0 : 255, px[1] = 0, px[2] = bgr ? 255 : 0;
                    if (bpp == 4) px[3] = 255;
                }
            ASSERT_GE(celccfmt_convert(&src.im, &mid.im, nullptr), 0);
            const Ycc v = readYcc(fmt(f).name, mid);
            EXPECT_NEAR(v.y, red.y, 2);
            EXPECT_NEAR(v.cb, red.cb, 2);
            EXPECT_NEAR(v.cr, red.cr, 2);
            for (int to : rgbs) {
                if (celccfmt_route(f, to, nullptr) < 0) continue;
                SCOPED_TRACE(std::string("then -> ") + fmt(to).name);
                TestImage out(to, 8, 4);
                ASSERT_GE(celccfmt_convert(&mid.im, &out.im, nullptr), 0);
                const uint8_t* q = out.row(0, 1) + 3 * fmt(to).channels;
                const bool bgrOut = fmt(to).model == celFmtModelBGR;
                // full scale holds Cr at 254 where red needs 258: R comes back 248
                const int tol = fmt(f).model == celFmtModelYCbCr709Full ? 7 : 3;
                EXPECT_NEAR(q[bgrOut ? 2 : 0], 255, tol);
                EXPECT_NEAR(q[1], 0, tol);
                EXPECT_NEAR(q[bgrOut ? 0 : 2], 0, tol);
                if (fmt(to).channels == 4) EXPECT_EQ(q[3], 255);
            }
        }
    }
}

TEST(Layouts, SixteenBitsBecomeEightByRounding) {
    // Every 16-bit word through GRAY16 -> GRAY8: the nearest 8-bit value.
    TestImage a(celFmt_GRAY16, 65536, 1), b(celFmt_GRAY8, 65536, 1);
    for (int i = 0; i < 65536; ++i) {
        const uint16_t w = uint16_t(i);
        std::memcpy(a.row(0, 0) + 2 * i, &w, 2);
    }
    ASSERT_EQ(celccfmt_convert(&a.im, &b.im, nullptr), 0);
    for (int i = 0; i < 65536; ++i) ASSERT_LE(std::fabs(b.row(0, 0)[i] - i / 257.0), 0.5) << i;
    // RGB48 goes the same way, channel by channel.
    TestImage c(celFmt_RGB48, 2, 1), d(celFmt_RGB24, 2, 1);
    const uint16_t words[6] = {0, 65535, 128, 129, 65406, 65407};
    std::memcpy(c.row(0, 0), words, sizeof words);
    ASSERT_EQ(celccfmt_convert(&c.im, &d.im, nullptr), 0);
    const uint8_t want[6] = {0, 255, 0, 1, 254, 255};
    EXPECT_EQ(std::memcmp(d.row(0, 0), want, 6), 0);
}

// Round trips that give every sample back: repacks between layouts of one
// chroma rate (both ways where both are routed); chroma rate steps that
// repeat or weave samples (one direct edge forward), undone by the step that
// drops or unweaves them (planar 4:2:0 to planar 4:1:1 goes through a
// two-plane format); the lifting YCoCg planes.
TEST(Layouts, RoundTripsAreExact) {
    std::vector<std::pair<int, int>> pairs;
    const int groups[][4] = {{celFmt_YUY2, celFmt_UYVY, celFmt_YVYU, celFmt_I422},
                             {celFmt_I420, celFmt_YV12, celFmt_NV12, celFmt_NV21},
                             {celFmt_I411, celFmt_NV11, -1, -1}};
    for (const auto& g : groups)
        for (int a : g)
            for (int b : g)
                if (a >= 0 && b >= 0 && a != b && celccfmt_route(a, b, nullptr) >= 0 && celccfmt_route(b, a, nullptr) >= 0)
                    pairs.push_back({a, b});
    const int rates[][2] = {{celFmt_I420, celFmt_I422}, {celFmt_NV12, celFmt_YUY2}, {celFmt_YV12, celFmt_UYVY},
                            {celFmt_I411, celFmt_I422}, {celFmt_I411, celFmt_YUY2}, {celFmt_I411, celFmt_I420},
                            {celFmt_NV11, celFmt_YV12}, {celFmt_I411, celFmt_NV12}};
    for (const auto& r : rates) {
        EXPECT_EQ(celccfmt_route(r[0], r[1], nullptr), 1) << fmt(r[0]).name << " -> " << fmt(r[1]).name;
        pairs.push_back({r[0], r[1]});
    }
    pairs.push_back({celFmt_BGR24, celFmt_YCOCGR16S});
    for (const auto& [a, b] : pairs) {
        SCOPED_TRACE(std::string(fmt(a).name) + " -> " + fmt(b).name + " -> back");
        TestImage x(a, 36, 6), y(b, 36, 6), z(a, 36, 6, true);
        x.randomize(5);
        ASSERT_EQ(celccfmt_convert(&x.im, &y.im, nullptr), 0);
        ASSERT_EQ(celccfmt_convert(&y.im, &z.im, nullptr), 0);
        EXPECT_TRUE(x.sameRegion(z));
        EXPECT_TRUE(z.intact());
    }
}

}  // namespace
