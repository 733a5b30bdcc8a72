// RGB/BGR -> 4:2:0 and 4:1:1: an independent model of the block recipes,
// compared byte for byte by block position; untouched odd edges; canaries.
// Statuses, check order and errors that write nothing: the robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/sweep24.h"
#include "common/image_buffer.h"

namespace {

using celtest::ImageBuffer;

// ---- Model ---------------------------------------------------------------------------
int rnd(int c, int x) { return (c * x + 16384) >> 15; }
int hiu(int c, int x) { return static_cast<int>((static_cast<uint32_t>(c) * static_cast<uint32_t>(x)) >> 16); }
int sat8(int v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

enum class Recipe { Lane1026, Lane1056, Late, UHigh, Csc709, Hdtv709 };

// The BT.709 full-scale encoders hold every byte within 1..254.
int hold(Recipe rc, int v) { return rc == Recipe::Hdtv709 ? (v < 1 ? 1 : v > 254 ? 254 : v) : v; }

int vecLuma(Recipe rc, int R, int G, int B) {
    const int r = R * 128, g = G * 128, b = B * 128;
    switch (rc) {
        case Recipe::Lane1026: return sat8((rnd(4211, r) + rnd(8258, g) + rnd(1606, b) + 1026) >> 6);
        case Recipe::Lane1056: return sat8((rnd(4211, r) + rnd(8258, g) + rnd(1606, b) + 1056) >> 6);
        case Recipe::Late: return sat8(((rnd(4211, r) + rnd(8258, g) + rnd(1606, b)) >> 6) + 16);
        case Recipe::Csc709: return sat8((hiu(5997, R * 256) + hiu(20120, G * 256) + hiu(2032, B * 256) + 2112) >> 7);
        case Recipe::Hdtv709:
            return hold(rc, sat8((hiu(6980, R * 256) + hiu(23429, G * 256) + hiu(2359, B * 256) + 64) >> 7));
        default: return sat8((hiu(8422, R * 256) + hiu(16515, G * 256) + hiu(3212, B * 256) + 2112) >> 7);
    }
}

std::array<int, 2> vecChroma(Recipe rc, int SR, int SG, int SB) {
    const int sr = SR * 32, sg = SG * 32, sb = SB * 32;
    switch (rc) {
        case Recipe::Late:
            return {sat8(((rnd(7193, sb) - rnd(4768, sg) - rnd(2425, sr)) >> 6) + 128),
                    sat8(((rnd(7193, sr) - rnd(6029, sg) - rnd(1163, sb)) >> 6) + 128)};
        case Recipe::UHigh:
            return {sat8((hiu(28770, sb) - (hiu(9699, sr) + hiu(19071, sg)) + 16400) >> 7),
                    sat8((hiu(28770, sr) - (hiu(24117, sg) + hiu(4653, sb)) + 16400) >> 7)};
        case Recipe::Csc709:
            return {sat8((hiu(28770, sb) - (hiu(6619, sr) + hiu(22151, sg)) + 16400) >> 7),
                    sat8((hiu(28770, sr) - (hiu(26149, sg) + hiu(2621, sb)) + 16400) >> 7)};
        case Recipe::Hdtv709:
            return {hold(rc, sat8((hiu(16744, sb) - hiu(3834, sr) - hiu(12911, sg) + 8224) >> 6)),
                    hold(rc, sat8((hiu(16744, sr) - hiu(15204, sg) - hiu(1540, sb) + 8224) >> 6))};
        default:
            return {sat8((rnd(7193, sb) - rnd(4768, sg) - rnd(2425, sr) + 8194) >> 6),
                    sat8((rnd(7193, sr) - rnd(6029, sg) - rnd(1163, sb) + 8194) >> 6)};
    }
}

int scalarLuma(Recipe rc, int R, int G, int B) {
    if (rc == Recipe::Csc709) return (11993 * R + 40239 * G + 4063 * B + 1081344) >> 16;
    if (rc == Recipe::Hdtv709) return hold(rc, (13959 * R + 46858 * G + 4719 * B + 32768) >> 16);
    return (16843 * R + 33030 * G + 6423 * B + 1081344) >> 16;
}
std::array<int, 2> scalarChroma(Recipe rc, int SR, int SG, int SB) {
    if (rc == Recipe::Csc709)
        return {(-6619 * SR - 22151 * SG + 28770 * SB + 33587200) >> 18,
                (28770 * SR - 26149 * SG - 2621 * SB + 33587200) >> 18};
    if (rc == Recipe::Hdtv709)
        return {hold(rc, (-7668 * SR - 25821 * SG + 33489 * SB + 33587200) >> 18),
                hold(rc, (33489 * SR - 30409 * SG - 3080 * SB + 33587200) >> 18)};
    return {(-9699 * SR - 19071 * SG + 28770 * SB + 33587200) >> 18, (28770 * SR - 24117 * SG - 4653 * SB + 33587200) >> 18};
}

// ---- The functions ----------------------------------------------------------------------
enum class OutLay { P3, P3Swapped, P2 };

struct Fn {
    const char* name;
    int bpp;       // source bytes per pixel
    bool bgr;      // source byte order
    OutLay out;
    bool is411;
    Recipe recipe;
    int vecMultiple;  // vector blocks: block index below the count rounded down to this
    int minW, minH;
    bool planesLate;  // plane pointers tested behind the sizes
};

void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

const Fn kFns[] = {
    {"RGBToYCbCr420_C3P3R", 3, false, OutLay::P3, false, Recipe::Lane1026, 4, 1, 1, true},
    {"BGRToYCbCr420_C3P3R", 3, true, OutLay::P3, false, Recipe::Lane1056, 4, 2, 2, false},
    {"BGRToYCbCr420_AC4P3R", 4, true, OutLay::P3, false, Recipe::UHigh, 4, 2, 2, false},
    {"BGRToYCrCb420_C3P3R", 3, true, OutLay::P3Swapped, false, Recipe::Lane1056, 4, 2, 2, false},
    {"BGRToYCrCb420_AC4P3R", 4, true, OutLay::P3Swapped, false, Recipe::UHigh, 4, 2, 2, false},
    {"RGBToYCrCb420_AC4P3R", 4, false, OutLay::P3Swapped, false, Recipe::UHigh, 4, 2, 2, false},
    {"BGRToYCbCr420_C3P2R", 3, true, OutLay::P2, false, Recipe::Lane1026, 4, 1, 1, false},
    {"BGRToYCbCr420_AC4P2R", 4, true, OutLay::P2, false, Recipe::Lane1026, 4, 1, 1, false},
    {"RGBToYCbCr420_C3P2R", 3, false, OutLay::P2, false, Recipe::Lane1026, 4, 1, 1, false},
    {"RGBToYCbCr420_C4P2R", 4, false, OutLay::P2, false, Recipe::Lane1026, 4, 1, 1, false},
    {"BGRToYCbCr411_C3P3R", 3, true, OutLay::P3, true, Recipe::Late, 4, 4, 1, false},
    {"BGRToYCbCr411_AC4P3R", 4, true, OutLay::P3, true, Recipe::UHigh, 2, 4, 1, false},
    {"BGRToYCbCr420_709CSC_C3P3R", 3, true, OutLay::P3, false, Recipe::Csc709, 4, 2, 2, false},
    {"BGRToYCbCr420_709CSC_AC4P3R", 4, true, OutLay::P3, false, Recipe::Csc709, 4, 2, 2, false},
    {"BGRToYCbCr420_709CSC_C3P2R", 3, true, OutLay::P2, false, Recipe::Csc709, 4, 2, 2, false},
    {"BGRToYCbCr420_709CSC_AC4P2R", 4, true, OutLay::P2, false, Recipe::Csc709, 4, 2, 2, false},
    {"BGRToYCrCb420_709CSC_C3P3R", 3, true, OutLay::P3Swapped, false, Recipe::Csc709, 4, 2, 2, false},
    {"BGRToYCrCb420_709CSC_AC4P3R", 4, true, OutLay::P3Swapped, false, Recipe::Csc709, 4, 2, 2, false},
    {"BGRToYCbCr420_709HDTV_AC4P3R", 4, true, OutLay::P3, false, Recipe::Hdtv709, 4, 2, 2, false},
};

CelStatus call(const Fn& fn, const uint8_t* src, int srcStep, uint8_t* p[3], int steps[3], CelSize roi) {
    const std::string n = fn.name;
    if (n == "RGBToYCbCr420_C3P3R") return celiRGBToYCbCr420_8u_C3P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCbCr420_C3P3R") return celiBGRToYCbCr420_8u_C3P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCbCr420_AC4P3R") return celiBGRToYCbCr420_8u_AC4P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCrCb420_C3P3R") return celiBGRToYCrCb420_8u_C3P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCrCb420_AC4P3R") return celiBGRToYCrCb420_8u_AC4P3R(src, srcStep, p, steps, roi);
    if (n == "RGBToYCrCb420_AC4P3R") return celiRGBToYCrCb420_8u_AC4P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCbCr420_C3P2R") return celiBGRToYCbCr420_8u_C3P2R(src, srcStep, p[0], steps[0], p[1], steps[1], roi);
    if (n == "BGRToYCbCr420_AC4P2R") return celiBGRToYCbCr420_8u_AC4P2R(src, srcStep, p[0], steps[0], p[1], steps[1], roi);
    if (n == "RGBToYCbCr420_C3P2R") return celiRGBToYCbCr420_8u_C3P2R(src, srcStep, p[0], steps[0], p[1], steps[1], roi);
    if (n == "RGBToYCbCr420_C4P2R") return celiRGBToYCbCr420_8u_C4P2R(src, srcStep, p[0], steps[0], p[1], steps[1], roi);
    if (n == "BGRToYCbCr411_C3P3R") return celiBGRToYCbCr411_8u_C3P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCbCr420_709CSC_C3P3R") return celiBGRToYCbCr420_709CSC_8u_C3P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCbCr420_709CSC_AC4P3R") return celiBGRToYCbCr420_709CSC_8u_AC4P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCrCb420_709CSC_C3P3R") return celiBGRToYCrCb420_709CSC_8u_C3P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCrCb420_709CSC_AC4P3R") return celiBGRToYCrCb420_709CSC_8u_AC4P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCbCr420_709HDTV_AC4P3R") return celiBGRToYCbCr420_709HDTV_8u_AC4P3R(src, srcStep, p, steps, roi);
    if (n == "BGRToYCbCr420_709CSC_C3P2R")
        return celiBGRToYCbCr420_709CSC_8u_C3P2R(src, srcStep, p[0], steps[0], p[1], steps[1], roi);
    if (n == "BGRToYCbCr420_709CSC_AC4P2R")
        return celiBGRToYCbCr420_709CSC_8u_AC4P2R(src, srcStep, p[0], steps[0], p[1], steps[1], roi);
    return celiBGRToYCbCr411_8u_AC4P3R(src, srcStep, p, steps, roi);
}

constexpr uint8_t kFill = 0x5A;

// Destination planes with canaries, sized for a w x h region.
struct Planes {
    std::vector<ImageBuffer> b;
    Planes(const Fn& fn, int w, int h) {
        const int cw = fn.is411 ? (w + 3) / 4 : (w + 1) / 2, ch = fn.is411 ? h : (h + 1) / 2;
        b.emplace_back(std::max(w, 1), std::max(h, 1));
        if (fn.out == OutLay::P2) {
            b.emplace_back(std::max(2 * cw, 1), std::max(ch, 1));
        } else {
            b.emplace_back(std::max(cw, 1), std::max(ch, 1));
            b.emplace_back(std::max(cw, 1), std::max(ch, 1));
        }
        for (auto& x : b) x.fill(kFill);
    }
    CelStatus run(const Fn& fn, const ImageBuffer& src, CelSize roi) {
        uint8_t* p[3] = {b[0].row(0), b[1].row(0), b.size() > 2 ? b[2].row(0) : nullptr};
        int steps[3] = {b[0].step(), b[1].step(), b.size() > 2 ? b[2].step() : 0};
        return call(fn, src.row(0), src.step(), p, steps, roi);
    }
    std::vector<uint8_t> snapshot() const {
        std::vector<uint8_t> all;
        for (const auto& x : b) all.insert(all.end(), x.raw().begin(), x.raw().end());
        return all;
    }
};

// Compares every byte of every plane with the model (unwritten ones keep the fill).
void expectModel(const Fn& fn, const ImageBuffer& src, Planes& d, int w, int h) {
    const auto px = [&](int x, int y) {
        const uint8_t* p = src.row(y) + fn.bpp * x;
        return std::array<int, 3>{p[fn.bgr ? 2 : 0], p[1], p[fn.bgr ? 0 : 2]};
    };
    const int bw = fn.is411 ? 4 : 2, bh = fn.is411 ? 1 : 2;
    const int nbx = w / bw, nby = h / bh;
    const int vecBlocks = nbx - nbx % fn.vecMultiple;
    std::vector<int> Y(size_t(w) * h, kFill), Cb(size_t(nbx) * (fn.is411 ? h : (h + 1) / 2) + 1, kFill), Cr = Cb;
    const int crow = nbx;
    for (int by = 0; by < nby; ++by)
        for (int bx = 0; bx < nbx; ++bx) {
            const bool vec = bx < vecBlocks;
            int SR = 0, SG = 0, SB = 0;
            for (int k = 0; k < 4; ++k) {
                const int x = bx * bw + (fn.is411 ? k : (k & 1)), y = by * bh + (fn.is411 ? 0 : (k >> 1));
                const auto c = px(x, y);
                SR += c[0], SG += c[1], SB += c[2];
                Y[size_t(y) * w + x] = vec ? vecLuma(fn.recipe, c[0], c[1], c[2]) : scalarLuma(fn.recipe, c[0], c[1], c[2]);
            }
            const auto ch = vec ? vecChroma(fn.recipe, SR, SG, SB) : scalarChroma(fn.recipe, SR, SG, SB);
            Cb[size_t(by) * crow + bx] = ch[0];
            Cr[size_t(by) * crow + bx] = ch[1];
        }
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            ASSERT_EQ(d.b[0].row(y)[x], Y[size_t(y) * w + x]) << fn.name << " luma at " << x << "," << y << " w " << w
                                                               << " h " << h;
    const int chRows = fn.is411 ? h : (h + 1) / 2, chCols = fn.is411 ? (w + 3) / 4 : (w + 1) / 2;
    for (int y = 0; y < chRows; ++y)
        for (int i = 0; i < chCols; ++i) {
            const bool written = i < nbx && y < nby;
            const int cb = written ? Cb[size_t(y) * crow + i] : kFill, cr = written ? Cr[size_t(y) * crow + i] : kFill;
            uint8_t gotCb, gotCr;
            if (fn.out == OutLay::P2) {
                gotCb = d.b[1].row(y)[2 * i];
                gotCr = d.b[1].row(y)[2 * i + 1];
            } else {
                gotCb = d.b[fn.out == OutLay::P3 ? 1 : 2].row(y)[i];
                gotCr = d.b[fn.out == OutLay::P3 ? 2 : 1].row(y)[i];
            }
            ASSERT_EQ(gotCb, cb) << fn.name << " Cb block " << i << "," << y << " w " << w << " h " << h;
            ASSERT_EQ(gotCr, cr) << fn.name << " Cr block " << i << "," << y << " w " << w << " h " << h;
        }
    for (const auto& x : d.b) ASSERT_TRUE(x.intact()) << fn.name << " wrote outside a plane";
}

CelStatus expectedStatus(const Fn& fn, int w, int h) {
    if (fn.is411) return (w & 3) ? celStatusOddSize : celStatusOk;
    return ((w | h) & 1) ? celStatusOddSize : celStatusOk;
}

class Encode420 : public ::testing::TestWithParam<Fn> {};

TEST_P(Encode420, MatchesModelAcrossSizes) {
    const Fn fn = GetParam();
    uint32_t seed = 1;
    for (int h : {1, 2, 3, 4, 7})
        for (int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 16, 17, 18, 23, 24, 31, 32, 33, 40, 47, 48, 64, 71, 100}) {
            if (w < fn.minW || h < fn.minH) continue;
            ImageBuffer src(w * fn.bpp, h);
            src.randomize(seed++);
            Planes d(fn, w, h);
            ASSERT_EQ(d.run(fn, src, {w, h}), expectedStatus(fn, w, h)) << fn.name << " " << w << "x" << h;
            expectModel(fn, src, d, w, h);
            if (HasFatalFailure()) return;
        }
}

// Every RGB colour as a uniform block, through the vector blocks (rows a
// multiple of them wide) and through the scalar blocks (rows one vector
// short), in chunks of 2^20 colours.  Luma and chroma of each recipe see
// every colour (chroma as the sum of four equal pixels); the members that
// share a recipe differ only in layout, which random images cover, so one
// member per recipe runs the sweep.
TEST_P(Encode420, EveryColourAsAUniformBlockThroughBodyAndTail) {
    const Fn fn = GetParam();
    for (const Fn& other : kFns) {
        if (std::string(other.name) == fn.name) break;
        if (other.recipe == fn.recipe && other.is411 == fn.is411) GTEST_SKIP() << "recipe swept by " << other.name;
    }
    const int bw = fn.is411 ? 4 : 2, bh = fn.is411 ? 1 : 2;
    constexpr int64_t kChunk = int64_t(1) << 20;
    for (int blocksPerRow : {2 * fn.vecMultiple, fn.vecMultiple - 1}) {
        const int w = blocksPerRow * bw, h = int(kChunk / blocksPerRow + 1) * bh;
        for (int64_t first = 0; first < celtest::sweep24Count(); first += kChunk) {
            ImageBuffer src(w * fn.bpp, h);
            for (int by = 0; by < h / bh; ++by)
                for (int bx = 0; bx < blocksPerRow; ++bx) {
                    int r, g, b;
                    celtest::sweep24Input(first + int64_t(by) * blocksPerRow + bx, r, g, b);
                    for (int k = 0; k < 4; ++k) {
                        const int x = bx * bw + (fn.is411 ? k : (k & 1)), y = by * bh + (fn.is411 ? 0 : (k >> 1));
                        uint8_t* p = src.row(y) + fn.bpp * x;
                        p[0] = uint8_t(fn.bgr ? b : r), p[1] = uint8_t(g), p[2] = uint8_t(fn.bgr ? r : b);
                        if (fn.bpp == 4) p[3] = 0xA5;
                    }
                }
            Planes d(fn, w, h);
            ASSERT_EQ(d.run(fn, src, {w, h}), celStatusOk) << fn.name;
            expectModel(fn, src, d, w, h);
            if (HasFatalFailure()) return;
        }
    }
}

TEST_P(Encode420, FourthSourceByteChangesNothing) {
    const Fn fn = GetParam();
    if (fn.bpp != 4) return;
    const int w = 37, h = 4;
    ImageBuffer a(w * 4, h), b(w * 4, h);
    a.randomize(5);
    b = a;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) b.row(y)[4 * x + 3] = static_cast<uint8_t>(~a.row(y)[4 * x + 3]);
    Planes da(fn, w, h), db(fn, w, h);
    da.run(fn, a, {w, h});
    db.run(fn, b, {w, h});
    EXPECT_EQ(da.snapshot(), db.snapshot());
}

TEST(Encode420Worked, RedBlocksScalarAtWidthFourVectorAtSixteen) {
    const Fn fn = kFns[1];  // BGR C3P3R
    for (int w : {4, 16}) {
        ImageBuffer src(3 * w, 4);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < w; ++x) src.row(y)[3 * x] = 0, src.row(y)[3 * x + 1] = 0, src.row(y)[3 * x + 2] = 255;
        Planes d(fn, w, 4);
        ASSERT_EQ(d.run(fn, src, {w, 4}), celStatusOk);
        for (int y = 0; y < 2; ++y)
            for (int i = 0; i < w / 2; ++i) {
                EXPECT_EQ(d.b[1].row(y)[i], 90) << w;
                EXPECT_EQ(d.b[2].row(y)[i], w == 4 ? 240 : 239) << w;
            }
    }
}

TEST(Encode420Worked, OddSizesLeaveTheLastColumnAndRowAlone) {
    const Fn fn = kFns[0];  // RGB C3P3R, 5 x 3
    ImageBuffer src(15, 3);
    src.randomize(8);
    Planes d(fn, 5, 3);
    ASSERT_EQ(d.run(fn, src, {5, 3}), celStatusOddSize);
    for (int y = 0; y < 3; ++y) EXPECT_EQ(d.b[0].row(y)[4], kFill);
    for (int x = 0; x < 5; ++x) EXPECT_EQ(d.b[0].row(2)[x], kFill);
    // the region's whole blocks are written: compare with a 4 x 2 call
    Planes whole(fn, 4, 2);
    ASSERT_EQ(whole.run(fn, src, {4, 2}), celStatusOk);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(d.b[0].row(y)[x], whole.b[0].row(y)[x]);
}

TEST(Encode420Worked, HeightOneWarnsOrFailsByForm) {
    ImageBuffer src(3 * 8, 1);
    src.randomize(2);
    Planes p3(kFns[0], 8, 1), bgr(kFns[1], 8, 1), p2(kFns[6], 8, 1);
    const auto before3 = p3.snapshot(), before2 = p2.snapshot(), beforeB = bgr.snapshot();
    EXPECT_EQ(p3.run(kFns[0], src, {8, 1}), celStatusOddSize);
    EXPECT_EQ(p2.run(kFns[6], src, {8, 1}), celStatusOddSize);
    EXPECT_EQ(bgr.run(kFns[1], src, {8, 1}), celStatusBadSize);
    EXPECT_EQ(p3.snapshot(), before3);
    EXPECT_EQ(p2.snapshot(), before2);
    EXPECT_EQ(bgr.snapshot(), beforeB);
}

TEST(Encode420Worked, LumaAddendDiffersBetweenRgbAndBgrForms) {
    // Some colour must give luma one apart between the 1026 and 1056 addends.
    int differ = 0;
    for (int v = 0; v < 256 && !differ; ++v)
        if (vecLuma(Recipe::Lane1026, v, v, v) != vecLuma(Recipe::Lane1056, v, v, v)) differ = v + 1;
    ASSERT_TRUE(differ);
    const int v = differ - 1;
    ImageBuffer src(3 * 16, 2);
    src.fill(static_cast<uint8_t>(v));
    Planes a(kFns[0], 16, 2), b(kFns[1], 16, 2);
    a.run(kFns[0], src, {16, 2});
    b.run(kFns[1], src, {16, 2});
    EXPECT_EQ(a.b[0].row(0)[0], vecLuma(Recipe::Lane1026, v, v, v));
    EXPECT_EQ(b.b[0].row(0)[0], vecLuma(Recipe::Lane1056, v, v, v));
}

TEST(Encode420Worked, Width6On411WarnsAndLeavesTheLastTwoPixels) {
    const Fn fn = kFns[10];
    ImageBuffer src(18, 3);
    src.randomize(4);
    Planes d(fn, 6, 3);
    ASSERT_EQ(d.run(fn, src, {6, 3}), celStatusOddSize);
    for (int y = 0; y < 3; ++y) {
        EXPECT_EQ(d.b[0].row(y)[4], kFill);
        EXPECT_EQ(d.b[0].row(y)[5], kFill);
    }
    ImageBuffer src8(24, 3);
    Planes d8(fn, 8, 3);
    EXPECT_EQ(d8.run(fn, src8, {8, 3}), celStatusOk);
}

INSTANTIATE_TEST_SUITE_P(AllForms, Encode420, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

}  // namespace
