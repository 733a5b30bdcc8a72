// 4:2:2 -> RGB/BGR: an independent model of every recipe by pixel position
// (body or tail), every (Y, Cb, Cr) through body and tail, odd widths,
// negative and zero steps, canaries, worked values, statuses, check order.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"
#include "common/image_buffer.h"
#include "common/sweep24.h"
#include "common/ycbcr_model.h"

namespace {

using celtest::ChromaLayout;
using celtest::ImageBuffer;
using celtest::Kind;
using celtest::RowWalk;
using celtest::Samp;
using namespace celtest::ycc;

struct Fn {
    const char* name;
    Kind src;
    int bytes;  // destination bytes per pixel; 0: planes R, G, B
    bool bgr;
    Rgb (*body)(int, int, int);
    Rgb (*tail)(int, int, int);
    int vecMultiple;  // pixels below the width rounded down to this take the body
    int minW;
};

void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

const Fn kFns[] = {
    {"YCbCr422ToRGB_C2C3R", Kind::YUY2, 3, false, narrow, setARounded, 8, 1},
    {"YCbCr422ToBGR_C2C3R", Kind::YUY2, 3, true, narrow, setARounded, 8, 2},
    {"CbYCr422ToRGB_C2C3R", Kind::UYVY, 3, false, narrow, setARounded, 8, 1},
    {"YCbCr422ToRGB_P3C3R", Kind::P3CbCr, 3, false, narrow, setBRounded, 8, 2},
    {"YCbCr422ToBGR_P3C3R", Kind::P3CbCr, 3, true, narrow, setBRounded, 8, 2},
    {"YCbCr422ToRGB_C2C4R", Kind::YUY2, 4, false, folded422, setBRounded, 8, 1},
    {"YCbCr422ToBGR_C2C4R", Kind::YUY2, 4, true, narrowTruncating, setBRounded, 16, 2},
    {"CbYCr422ToBGR_C2C4R", Kind::UYVY, 4, true, wide, setARounded, 8, 1},
    {"YCrCb422ToRGB_C2C3R", Kind::YVYU, 3, false, folded422, setBRounded, 8, 1},
    {"YCrCb422ToBGR_C2C3R", Kind::YVYU, 3, true, folded422, setBRounded, 8, 1},
    {"YCrCb422ToRGB_C2C4R", Kind::YVYU, 4, false, folded422, setBRounded, 8, 1},
    {"YCrCb422ToBGR_C2C4R", Kind::YVYU, 4, true, folded422, setBRounded, 8, 1},
    {"YCbCr422ToRGB_C2P3R", Kind::YUY2, 0, false, plain, setBRounded, 8, 1},
    {"YCrCb422ToRGB_C2P3R", Kind::YVYU, 0, false, plain, setBRounded, 8, 1},
    {"CbYCr422ToBGR_709HDTV_C2C3R", Kind::UYVY, 3, true, hdtv709, hdtv709Scalar, 8, 1},
    {"CbYCr422ToBGR_709HDTV_C2C4R", Kind::UYVY, 4, true, hdtv709, hdtv709Scalar, 8, 1},
};

constexpr uint8_t kAlpha = 0xC7, kFill = 0x5A;

// Destination: one interleaved buffer, or three planes sharing one step.
struct Dest {
    std::vector<ImageBuffer> b;
    int bytes;
    Dest(const Fn& fn, int w, int h) : bytes(fn.bytes) {
        for (int i = 0; i < (fn.bytes ? 1 : 3); ++i) b.emplace_back(std::max(w, 1) * (fn.bytes ? fn.bytes : 1), std::max(h, 1));
        for (auto& x : b) x.fill(kFill);
    }
    uint8_t& at(int x, int y, int c) { return bytes ? b[0].row(y)[bytes * x + c] : b[c].row(y)[x]; }
    std::vector<uint8_t> snapshot() const { return celtest::snapshotOf(b); }
};

CelStatus call(const Fn& fn, const uint8_t* const s[3], const int ss[3], uint8_t* const d[3], int ds, CelSize roi) {
    const std::string n = fn.name;
    if (n == "YCbCr422ToRGB_C2C3R") return celiYCbCr422ToRGB_8u_C2C3R(s[0], ss[0], d[0], ds, roi);
    if (n == "YCbCr422ToBGR_C2C3R") return celiYCbCr422ToBGR_8u_C2C3R(s[0], ss[0], d[0], ds, roi);
    if (n == "CbYCr422ToRGB_C2C3R") return celiCbYCr422ToRGB_8u_C2C3R(s[0], ss[0], d[0], ds, roi);
    if (n == "YCbCr422ToRGB_P3C3R") return celiYCbCr422ToRGB_8u_P3C3R(s, const_cast<int*>(ss), d[0], ds, roi);
    if (n == "YCbCr422ToBGR_P3C3R") return celiYCbCr422ToBGR_8u_P3C3R(s, const_cast<int*>(ss), d[0], ds, roi);
    if (n == "YCbCr422ToRGB_C2C4R") return celiYCbCr422ToRGB_8u_C2C4R(s[0], ss[0], d[0], ds, roi, kAlpha);
    if (n == "YCbCr422ToBGR_C2C4R") return celiYCbCr422ToBGR_8u_C2C4R(s[0], ss[0], d[0], ds, roi, kAlpha);
    if (n == "CbYCr422ToBGR_C2C4R") return celiCbYCr422ToBGR_8u_C2C4R(s[0], ss[0], d[0], ds, roi, kAlpha);
    if (n == "CbYCr422ToBGR_709HDTV_C2C3R") return celiCbYCr422ToBGR_709HDTV_8u_C2C3R(s[0], ss[0], d[0], ds, roi);
    if (n == "CbYCr422ToBGR_709HDTV_C2C4R")
        return celiCbYCr422ToBGR_709HDTV_8u_C2C4R(s[0], ss[0], d[0], ds, roi, kAlpha);
    if (n == "YCrCb422ToRGB_C2C3R") return celiYCrCb422ToRGB_8u_C2C3R(s[0], ss[0], d[0], ds, roi);
    if (n == "YCrCb422ToBGR_C2C3R") return celiYCrCb422ToBGR_8u_C2C3R(s[0], ss[0], d[0], ds, roi);
    if (n == "YCrCb422ToRGB_C2C4R") return celiYCrCb422ToRGB_8u_C2C4R(s[0], ss[0], d[0], ds, roi, kAlpha);
    if (n == "YCrCb422ToBGR_C2C4R") return celiYCrCb422ToBGR_8u_C2C4R(s[0], ss[0], d[0], ds, roi, kAlpha);
    uint8_t* planes[3] = {d[0], d[1], d[2]};
    if (n == "YCbCr422ToRGB_C2P3R") return celiYCbCr422ToRGB_8u_C2P3R(s[0], ss[0], planes, ds, roi);
    return celiYCrCb422ToRGB_8u_C2P3R(s[0], ss[0], planes, ds, roi);
}

CelStatus run(const Fn& fn, ChromaLayout& src, Dest& d, CelSize roi) {
    uint8_t* sp[3];
    int ss[3];
    src.planes(sp, ss);
    const uint8_t* s[3] = {sp[0], sp[1], sp[2]};
    uint8_t* dp[3] = {d.b[0].row(0), d.b.size() > 1 ? d.b[1].row(0) : nullptr, d.b.size() > 2 ? d.b[2].row(0) : nullptr};
    return call(fn, s, ss, dp, d.b[0].step(), roi);
}

// Every pixel of the region against the model; guards intact.
void expectModel(const Fn& fn, ChromaLayout& src, Dest& d, int w, int h) {
    const int bodyEnd = w - w % fn.vecMultiple;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const Rgb e = (x < bodyEnd ? fn.body : fn.tail)(src.at(0, x, y), src.at(1, x / 2, y), src.at(2, x / 2, y));
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(d.at(x, y, fn.bgr ? 2 - c : c), e[c]) << fn.name << " " << w << "x" << h << " pixel " << x
                                                                << "," << y << " channel " << c;
            if (fn.bytes == 4) ASSERT_EQ(d.at(x, y, 3), kAlpha) << fn.name << " alpha at " << x;
        }
    ASSERT_TRUE(celtest::allIntact(d.b)) << fn.name << " wrote outside the region";
}

class Decode422 : public ::testing::TestWithParam<Fn> {};

TEST_P(Decode422, MatchesModelAcrossWidthsHeightsAndSteps) {
    const Fn fn = GetParam();
    uint32_t seed = 7;
    for (RowWalk walk : {RowWalk::Down, RowWalk::Up, RowWalk::Same})
        for (int h : {1, 2, 3})
            for (int w : {1, 2, 3, 5, 7, 8, 9, 14, 15, 16, 17, 23, 24, 25, 31, 32, 33, 40, 47, 64, 101}) {
                if (w < fn.minW) continue;
                ChromaLayout src(fn.src, Samp::S422, w, h, walk);
                src.randomize(seed += 3);
                Dest d(fn, w, h);
                ASSERT_EQ(run(fn, src, d, {w, h}), celStatusOk) << fn.name << " " << w << "x" << h;
                expectModel(fn, src, d, w, h);
                if (HasFatalFailure()) return;
            }
}

// Every (Y, Cb, Cr): each pair takes one (Cb, Cr), successive pairs step
// through the 256 luma values two at a time, so 2^16 chroma values times
// 128 pairs cover all 2^24 inputs; once in rows of 32 pixels (all body)
// and once in rows one vector minus two wide (all tail).  The members that
// share a body recipe or a tail rule differ only in layout, which the
// random images cover: the first member of each runs the sweep.
TEST_P(Decode422, EveryInputThroughBodyAndTail) {
    const Fn fn = GetParam();
    bool bodySwept = false, tailSwept = false;
    for (const Fn& other : kFns) {
        if (std::string(other.name) == fn.name) break;
        bodySwept |= other.body == fn.body;
        tailSwept |= other.tail == fn.tail;
    }
    if (bodySwept && tailSwept) GTEST_SKIP() << "recipes swept by an earlier member";
    for (int w : {32, fn.vecMultiple - 2}) {
        if ((w == 32 && bodySwept) || (w != 32 && tailSwept)) continue;
        const int pairsPerRow = w / 2;
        const int64_t pairs = celtest::sweep24Count() / 2;
        const int h = int((pairs + pairsPerRow - 1) / pairsPerRow);
        ChromaLayout src(fn.src, Samp::S422, w, h);
        for (int y = 0; y < h; ++y)
            for (int i = 0; i < pairsPerRow; ++i) {
                int a, b, c;
                celtest::sweep24Input(2 * (int64_t(y) * pairsPerRow + i), a, b, c);  // a, b chroma; c even luma
                src.at(1, i, y) = uint8_t(a), src.at(2, i, y) = uint8_t(b);
                src.at(0, 2 * i, y) = uint8_t(c), src.at(0, 2 * i + 1, y) = uint8_t(c | 1);
            }
        Dest d(fn, w, h);
        ASSERT_EQ(run(fn, src, d, {w, h}), celStatusOk);
        expectModel(fn, src, d, w, h);
        if (HasFatalFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(AllForms, Decode422, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

// ---- Worked values --------------------------------------------------------------------------
// One pair layout filled with one (Y, Cb, Cr); the first pixel of the row.
Rgb decodeFlat(const Fn& fn, int w, int Y, int Cb, int Cr) {
    ChromaLayout src(fn.src, Samp::S422, w, 1);
    for (int x = 0; x < w; ++x) src.at(0, x, 0) = uint8_t(Y);
    for (int i = 0; i < (w + 1) / 2; ++i) src.at(1, i, 0) = uint8_t(Cb), src.at(2, i, 0) = uint8_t(Cr);
    Dest d(fn, w, 1);
    EXPECT_EQ(run(fn, src, d, {w, 1}), celStatusOk);
    Rgb out;
    for (int c = 0; c < 3; ++c) out[c] = d.at(w - 1, 0, fn.bgr ? 2 - c : c);
    return out;
}

const Fn& byName(const char* n) {
    for (const Fn& f : kFns)
        if (std::string(f.name) == n) return f;
    throw std::runtime_error(n);
}

TEST(Decode422Worked, PlainBodyGives254ScalarGives255ForWhite) {
    const Fn& fn = byName("YCbCr422ToRGB_C2P3R");
    EXPECT_EQ(decodeFlat(fn, 8, 235, 128, 128), (Rgb{254, 254, 254}));
    EXPECT_EQ(decodeFlat(fn, 2, 235, 128, 128), (Rgb{255, 255, 255}));
}

TEST(Decode422Worked, CheckValuesOfTheRecipes) {
    // narrow body / set A tail on a 16-pixel row and a 2-pixel row
    EXPECT_EQ(decodeFlat(byName("YCbCr422ToRGB_C2C3R"), 16, 82, 90, 240), (Rgb{255, 1, 0}));
    EXPECT_EQ(decodeFlat(byName("YCbCr422ToRGB_C2C3R"), 2, 100, 120, 140), (Rgb{117, 91, 82}));
    EXPECT_EQ(decodeFlat(byName("CbYCr422ToBGR_C2C4R"), 8, 126, 128, 128), (Rgb{128, 128, 128}));
    // folded 4:2:2 truncates: white comes out 254 in R and B of the body, 255 in the tail
    EXPECT_EQ(decodeFlat(byName("YCrCb422ToRGB_C2C4R"), 16, 235, 128, 128), (Rgb{254, 255, 254}));
    EXPECT_EQ(decodeFlat(byName("YCrCb422ToRGB_C2C4R"), 2, 235, 128, 128), (Rgb{255, 255, 255}));
    EXPECT_EQ(decodeFlat(byName("YCbCr422ToBGR_C2C4R"), 16, 16, 128, 128), (Rgb{0, 0, 0}));
}

TEST(Decode422Worked, WidthThreeDecodesTheLonePixelWithItsOwnPair) {
    const Fn& fn = byName("YCrCb422ToRGB_C2C4R");
    ChromaLayout src(fn.src, Samp::S422, 3, 1);
    src.randomize(3);
    Dest d(fn, 3, 1);
    ASSERT_EQ(run(fn, src, d, {3, 1}), celStatusOk);
    const Rgb e = setBRounded(src.at(0, 2, 0), src.at(1, 1, 0), src.at(2, 1, 0));
    for (int c = 0; c < 3; ++c) EXPECT_EQ(d.at(2, 0, c), e[c]);
    for (int x = 0; x < 3; ++x) EXPECT_EQ(d.at(x, 0, 3), kAlpha);
}

TEST(Decode422Worked, WidthOneAcceptedOrRefusedByForm) {
    ChromaLayout src(Kind::YUY2, Samp::S422, 2, 1);
    uint8_t out[8] = {};
    EXPECT_EQ(celiYCbCr422ToRGB_8u_C2C3R(src.base(0), src.step(0), out, 8, {1, 1}), celStatusOk);
    EXPECT_EQ(celiYCbCr422ToBGR_8u_C2C3R(src.base(0), src.step(0), out, 8, {1, 1}), celStatusBadSize);
}

// The aligned twins give the bytes of the general path.
TEST(Decode422Worked, AlignedTwinMatchesUnalignedPath) {
    for (auto f : {celiCbYCr422ToBGR_8u_C2C4R, celiCbYCr422ToBGR_709HDTV_8u_C2C4R}) {
        const int w = 37, h = 3;
        alignas(16) static uint8_t src[h][96], a[h][160], b[h][160 + 1];
        for (int y = 0; y < h; ++y)
            for (int i = 0; i < 96; ++i) src[y][i] = uint8_t(i * 37 + y * 11);
        ASSERT_EQ(f(&src[0][0], 96, &a[0][0], 160, {w, h}, 9), celStatusOk);
        ASSERT_EQ(f(&src[0][0], 96, &b[0][0] + 1, 161, {w, h}, 9), celStatusOk);
        for (int y = 0; y < h; ++y)
            for (int i = 0; i < 4 * w; ++i) ASSERT_EQ(a[y][i], (&b[0][0] + 1)[y * 161 + i]);
    }
}

}  // namespace
