// 4:2:0 and 4:1:1 -> RGB/BGR: an independent model of every recipe by
// pixel position, odd sizes, canaries.  Statuses, check order and the
// odd-size warning: the robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/sweep24.h"
#include "common/export_list.h"
#include "common/image_buffer.h"
#include "common/ycbcr_model.h"

namespace {

using celtest::ImageBuffer;
using namespace celtest::ycc;

const celtest::FirstCheck kFc1("celiYCrCb420ToBGR_8u_P2C4R", celStatusBadSize);
const celtest::FirstCheck kFc2("celiYCrCb420ToRGB_8u_P2C4R", celStatusBadSize);

enum class Src { P3, P3Swapped, P2CbFirst, P2CrFirst };
enum class Kind { Blocks420, Filter420, Rows411 };

struct Fn {
    const char* name;
    Src src;
    int bytes;  // destination bytes per pixel
    bool bgr;
    Kind kind;
    Rgb (*body)(int, int, int);
    Rgb (*tail)(int, int, int);
    int vecMultiple;  // chroma samples (4:2:0) or pixels (4:1:1) in the body: count rounded down to this
    bool sizesFirst, planesLate;
};

void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

const Fn kFns[] = {
    {"YCbCr420ToBGR_P3C4R", Src::P3, 4, true, Kind::Blocks420, foldedYCbCr, foldedYCbCr, 4, false, true},
    {"YCbCr420ToBGR_P3C3R", Src::P3, 3, true, Kind::Blocks420, narrow, setBRounded, 4, false, true},
    {"YCbCr420ToRGB_P3C3R", Src::P3, 3, false, Kind::Blocks420, narrow, setBRounded, 4, false, true},
    {"YCrCb420ToRGB_P3C4R", Src::P3Swapped, 4, false, Kind::Blocks420, wide, setBRounded, 4, false, true},
    {"YCbCr420ToBGR_P2C3R", Src::P2CbFirst, 3, true, Kind::Blocks420, foldedYCbCr, foldedYCbCr, 4, false, false},
    {"YCbCr420ToRGB_P2C3R", Src::P2CbFirst, 3, false, Kind::Blocks420, foldedYCbCr, foldedYCbCr, 4, false, false},
    {"YCbCr420ToBGR_P2C4R", Src::P2CbFirst, 4, true, Kind::Blocks420, foldedYCbCr, foldedYCbCr, 4, false, false},
    {"YCbCr420ToRGB_P2C4R", Src::P2CbFirst, 4, false, Kind::Blocks420, foldedYCbCr, foldedYCbCr, 4, false, false},
    {"YCrCb420ToBGR_P2C3R", Src::P2CrFirst, 3, true, Kind::Blocks420, foldedYCrCb, foldedYCrCb, 4, false, false},
    {"YCrCb420ToRGB_P2C3R", Src::P2CrFirst, 3, false, Kind::Blocks420, foldedYCrCb, foldedYCrCb, 4, false, false},
    {"YCrCb420ToBGR_P2C4R", Src::P2CrFirst, 4, true, Kind::Blocks420, foldedYCrCb, foldedYCrCb, 4, true, false},
    {"YCrCb420ToRGB_P2C4R", Src::P2CrFirst, 4, false, Kind::Blocks420, foldedYCrCb, foldedYCrCb, 4, true, false},
    {"YCrCb420ToBGR_Filter_P3C4R", Src::P3Swapped, 4, true, Kind::Filter420, narrowNoAddend, q12, 8, false, true},
    {"YCbCr411ToBGR_P3C3R", Src::P3, 3, true, Kind::Rows411, narrow, setC, 4, false, false},
    {"YCbCr411ToBGR_P3C4R", Src::P3, 4, true, Kind::Rows411, narrow, setC, 4, false, false},
    {"YCbCr420ToBGR_709CSC_P3C3R", Src::P3, 3, true, Kind::Blocks420, wide709, set709Rounded, 4, false, true},
    {"YCbCr420ToBGR_709HDTV_P3C4R", Src::P3, 4, true, Kind::Blocks420, hdtv709, hdtv709Scalar, 4, false, true},
};

constexpr uint8_t kAlpha = 0xD3, kFill = 0x5A;

// Source planes (Y, first chroma, second chroma) or (Y, pairs).
struct Source {
    std::vector<ImageBuffer> b;
    int cw, ch;
    Source(const Fn& fn, int w, int h, uint32_t seed) {
        cw = fn.kind == Kind::Rows411 ? (w + 3) / 4 : (w + 1) / 2;
        ch = fn.kind == Kind::Rows411 ? h : (h + 1) / 2;
        b.emplace_back(w, h);
        if (fn.src == Src::P2CbFirst || fn.src == Src::P2CrFirst) {
            b.emplace_back(2 * cw, ch);
        } else {
            b.emplace_back(cw, ch);
            b.emplace_back(cw, ch);
        }
        for (auto& x : b) x.randomize(seed++);
    }
    int Y(int x, int y) const { return b[0].row(y)[x]; }
    uint8_t& Yref(int x, int y) { return b[0].row(y)[x]; }
    // Chroma sample (i, j) as first and second byte of the layout's order.
    uint8_t& Cref(const Fn& fn, int i, int j, bool cr) {
        const bool first = (fn.src == Src::P3Swapped || fn.src == Src::P2CrFirst) == cr;
        if (fn.src == Src::P2CbFirst || fn.src == Src::P2CrFirst) return b[1].row(j)[2 * i + (first ? 0 : 1)];
        return b[first ? 1 : 2].row(j)[i];
    }
    // Cb and Cr of chroma sample (i, j), whatever the layout.
    int Cb(const Fn& fn, int i, int j) const {
        switch (fn.src) {
            case Src::P3: return b[1].row(j)[i];
            case Src::P3Swapped: return b[2].row(j)[i];
            case Src::P2CbFirst: return b[1].row(j)[2 * i];
            default: return b[1].row(j)[2 * i + 1];
        }
    }
    int Cr(const Fn& fn, int i, int j) const {
        switch (fn.src) {
            case Src::P3: return b[2].row(j)[i];
            case Src::P3Swapped: return b[1].row(j)[i];
            case Src::P2CbFirst: return b[1].row(j)[2 * i + 1];
            default: return b[1].row(j)[2 * i];
        }
    }
};

CelStatus call(const Fn& fn, Source& s, uint8_t* d, int ds, CelSize roi) {
    const std::string n = fn.name;
    const uint8_t* p[3] = {s.b[0].row(0), s.b[1].row(0), s.b.size() > 2 ? s.b[2].row(0) : nullptr};
    int st[3] = {s.b[0].step(), s.b[1].step(), s.b.size() > 2 ? s.b[2].step() : 0};
    if (n == "YCbCr420ToBGR_P3C4R") return celiYCbCr420ToBGR_8u_P3C4R(p, st, d, ds, roi, kAlpha);
    if (n == "YCbCr420ToBGR_P3C3R") return celiYCbCr420ToBGR_8u_P3C3R(p, st, d, ds, roi);
    if (n == "YCbCr420ToRGB_P3C3R") return celiYCbCr420ToRGB_8u_P3C3R(p, st, d, ds, roi);
    if (n == "YCrCb420ToRGB_P3C4R") return celiYCrCb420ToRGB_8u_P3C4R(p, st, d, ds, roi, kAlpha);
    if (n == "YCrCb420ToBGR_Filter_P3C4R") return celiYCrCb420ToBGR_Filter_8u_P3C4R(p, st, d, ds, roi, 0x100 | kAlpha);
    if (n == "YCbCr411ToBGR_P3C3R") return celiYCbCr411ToBGR_8u_P3C3R(p, st, d, ds, roi);
    if (n == "YCbCr411ToBGR_P3C4R") return celiYCbCr411ToBGR_8u_P3C4R(p, st, d, ds, roi, kAlpha);
    if (n == "YCbCr420ToBGR_709CSC_P3C3R") return celiYCbCr420ToBGR_709CSC_8u_P3C3R(p, st, d, ds, roi);
    if (n == "YCbCr420ToBGR_709HDTV_P3C4R") return celiYCbCr420ToBGR_709HDTV_8u_P3C4R(p, st, d, ds, roi, kAlpha);
    const uint8_t* y = p[0];
    const uint8_t* c = p[1];
    if (n == "YCbCr420ToBGR_P2C3R") return celiYCbCr420ToBGR_8u_P2C3R(y, st[0], c, st[1], d, ds, roi);
    if (n == "YCbCr420ToRGB_P2C3R") return celiYCbCr420ToRGB_8u_P2C3R(y, st[0], c, st[1], d, ds, roi);
    if (n == "YCbCr420ToBGR_P2C4R") return celiYCbCr420ToBGR_8u_P2C4R(y, st[0], c, st[1], d, ds, roi, kAlpha);
    if (n == "YCbCr420ToRGB_P2C4R") return celiYCbCr420ToRGB_8u_P2C4R(y, st[0], c, st[1], d, ds, roi, kAlpha);
    if (n == "YCrCb420ToBGR_P2C3R") return celiYCrCb420ToBGR_8u_P2C3R(y, st[0], c, st[1], d, ds, roi);
    if (n == "YCrCb420ToRGB_P2C3R") return celiYCrCb420ToRGB_8u_P2C3R(y, st[0], c, st[1], d, ds, roi);
    if (n == "YCrCb420ToBGR_P2C4R") return celiYCrCb420ToBGR_8u_P2C4R(y, st[0], c, st[1], d, ds, roi, kAlpha);
    return celiYCrCb420ToRGB_8u_P2C4R(y, st[0], c, st[1], d, ds, roi, kAlpha);
}

// Expected pixel (x, y); returns false where nothing is written.
bool expected(const Fn& fn, const Source& s, int w, int h, int x, int y, Rgb& out) {
    if (fn.kind == Kind::Rows411) {
        const bool body = x < w - w % 4;
        out = (body ? fn.body : fn.tail)(s.Y(x, y), s.Cb(fn, x / 4, y), s.Cr(fn, x / 4, y));
        return true;
    }
    const int n = w / 2;
    if (x >= 2 * n || y >= (h & ~1) || h < 2) return false;
    const int i = x / 2, j = y / 2;
    int cb = s.Cb(fn, i, j), cr = s.Cr(fn, i, j);
    int bodyEnd = n - n % fn.vecMultiple;
    if (fn.kind == Kind::Filter420) {
        bodyEnd = (n - 1) / 8 * 8;
        if ((x & 1) && i + 1 < n) {
            cb = (cb + s.Cb(fn, i + 1, j) + 1) >> 1;
            cr = (cr + s.Cr(fn, i + 1, j) + 1) >> 1;
        }
    }
    out = (i < bodyEnd ? fn.body : fn.tail)(s.Y(x, y), cb, cr);
    return true;
}

void runAndCompare(const Fn& fn, int w, int h, uint32_t seed) {
    Source s(fn, w, h, seed);
    ImageBuffer d(w * fn.bytes, h);
    d.fill(kFill);
    CelStatus want = celStatusOk;
    if (fn.kind != Kind::Rows411 && ((w | h) & 1)) want = celStatusOddSize;
    ASSERT_EQ(call(fn, s, d.row(0), d.step(), {w, h}), want) << fn.name << " " << w << "x" << h;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            Rgb e;
            const uint8_t* p = d.row(y) + fn.bytes * x;
            if (!expected(fn, s, w, h, x, y, e)) {
                for (int c = 0; c < fn.bytes; ++c) ASSERT_EQ(p[c], kFill) << fn.name << " wrote pixel " << x << "," << y;
                continue;
            }
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(p[fn.bgr ? 2 - c : c], e[c]) << fn.name << " " << w << "x" << h << " at (" << x << "," << y
                                                        << ") channel " << c;
            if (fn.bytes == 4) ASSERT_EQ(p[3], kAlpha) << fn.name << " alpha at " << x;
        }
    ASSERT_TRUE(d.intact()) << fn.name << " wrote outside the region";
}

class Decode420 : public ::testing::TestWithParam<Fn> {};

// Every (Y, Cb, Cr) through the body and through the tail: each chroma
// sample takes one (Cb, Cr) pair, the pixels that share it take successive
// Y values, so 2^16 pairs times 256 / (pixels per sample) samples cover all
// 2^24 inputs (every 61st pair under the sanitizers).  The filtering
// decoder mixes neighbouring samples and is left to the random images.
void runSweep(const Fn& fn, int w, const char* what) {
    const bool rows411 = fn.kind == Kind::Rows411;
    const int per = rows411 && w % 4 ? w % 4 : 4;   // pixels sharing a chroma sample (the last one's)
    const int perPair = (256 + per - 1) / per;      // chroma samples for one (Cb, Cr) pair
    const int cw = rows411 ? (w + 3) / 4 : w / 2;
    const int64_t pairs = 65536 / celtest::kSweep24Stride, samples = pairs * perPair;
    // A 4:1:1 tail sweep gives each row's groups the same values: one tail
    // group a row carries the sweep.
    const bool rowWise = rows411 && w % 4;
    const int ch = int(rowWise ? samples : (samples + cw - 1) / cw), h = rows411 ? ch : 2 * ch;
    Source s(fn, w, h, 1);
    for (int j = 0; j < ch; ++j)
        for (int i = 0; i < cw; ++i) {
            const int64_t k = rowWise ? j : int64_t(j) * cw + i;
            const uint32_t pair = uint32_t((k / perPair) * celtest::kSweep24Stride) & 0xFFFF;
            s.Cref(fn, i, j, false) = uint8_t(pair >> 8);
            s.Cref(fn, i, j, true) = uint8_t(pair);
            for (int p = 0; p < (rows411 ? std::min(4, w - 4 * i) : 4); ++p) {
                const uint8_t Y = uint8_t((k % perPair) * per + p % per);
                if (rows411) s.Yref(4 * i + p, j) = Y;
                else s.Yref(2 * i + (p & 1), 2 * j + (p >> 1)) = Y;
            }
        }
    ImageBuffer d(w * fn.bytes, h);
    d.fill(kFill);
    ASSERT_EQ(call(fn, s, d.row(0), d.step(), {w, h}), celStatusOk) << fn.name << " " << what;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            Rgb e;
            ASSERT_TRUE(expected(fn, s, w, h, x, y, e));
            const uint8_t* p = d.row(y) + fn.bytes * x;
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(p[fn.bgr ? 2 - c : c], e[c]) << fn.name << " " << what << " input " << s.Y(x, y) << ","
                                                        << s.Cb(fn, rows411 ? x / 4 : x / 2, rows411 ? y : y / 2) << ","
                                                        << s.Cr(fn, rows411 ? x / 4 : x / 2, rows411 ? y : y / 2);
        }
}

TEST_P(Decode420, EveryInputThroughBodyAndTail) {
    const Fn fn = GetParam();
    if (fn.kind == Kind::Filter420) GTEST_SKIP() << "mixes neighbouring chroma samples";
    runSweep(fn, 32, "body sweep");  // 16 chroma samples (4:2:0) or 8 groups (4:1:1) a row: all body
    // Below one vector: all tail (4:2:0); 4:1:1 needs 4 pixels, so one body
    // group and a 3-pixel tail group.
    if (fn.body != fn.tail) runSweep(fn, fn.kind == Kind::Rows411 ? 7 : 6, "tail sweep");
}

TEST_P(Decode420, MatchesModelAcrossSizes) {
    const Fn fn = GetParam();
    uint32_t seed = 1;
    for (int h : {1, 2, 3, 4, 5})
        for (int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 14, 15, 16, 17, 18, 19, 24, 31, 32, 33, 34, 40, 48, 50, 100}) {
            if (fn.kind == Kind::Rows411 && w < 4) continue;
            runAndCompare(fn, w, h, seed += 3);
            if (HasFatalFailure()) return;
        }
}

TEST(Decode420Worked, WhiteIs255OnTheFoldedPath) {
    const Fn fn = kFns[4];  // YCbCr420ToBGR_P2C3R
    for (int w : {16, 2}) {
        Source s(fn, w, 2, 1);
        for (int x = 0; x < w; ++x) s.b[0].row(0)[x] = s.b[0].row(1)[x] = 235;
        for (int i = 0; i < 2 * (w / 2); ++i) s.b[1].row(0)[i] = 128;
        ImageBuffer d(3 * w, 2);
        ASSERT_EQ(call(fn, s, d.row(0), d.step(), {w, 2}), celStatusOk);
        for (int y = 0; y < 2; ++y)
            for (int i = 0; i < 3 * w; ++i) EXPECT_EQ(d.row(y)[i], 255);
    }
}

TEST(Decode420Worked, FilterWidthTwoUsesTheOneSampleUnchanged) {
    const Fn fn = kFns[12];
    Source s(fn, 2, 2, 9);
    ImageBuffer d(8, 2);
    ASSERT_EQ(call(fn, s, d.row(0), d.step(), {2, 2}), celStatusOk);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 2; ++x) {
            const Rgb e = q12(s.Y(x, y), s.Cb(fn, 0, 0), s.Cr(fn, 0, 0));
            for (int c = 0; c < 3; ++c) EXPECT_EQ(d.row(y)[4 * x + 2 - c], e[c]);
            EXPECT_EQ(d.row(y)[4 * x + 3], kAlpha);  // the low byte of the last argument
        }
}

TEST(Decode420Worked, Width6On411TakesTheSecondPairAndSucceeds) {
    const Fn fn = kFns[13];
    Source s(fn, 6, 1, 3);
    ImageBuffer d(18, 1);
    ASSERT_EQ(call(fn, s, d.row(0), d.step(), {6, 1}), celStatusOk);
    for (int x = 4; x < 6; ++x) {
        const Rgb e = setC(s.Y(x, 0), s.Cb(fn, 1, 0), s.Cr(fn, 1, 0));
        for (int c = 0; c < 3; ++c) EXPECT_EQ(d.row(0)[3 * x + 2 - c], e[c]);
    }
}

TEST(Decode420Worked, PairOrderAndConstantSetFollowTheName) {
    // The same two-plane buffer through the YCbCr and the YCrCb form.
    Source s(kFns[5], 16, 2, 21);
    ImageBuffer a(48, 2), b(48, 2);
    ASSERT_EQ(call(kFns[5], s, a.row(0), a.step(), {16, 2}), celStatusOk);
    ASSERT_EQ(call(kFns[9], s, b.row(0), b.step(), {16, 2}), celStatusOk);
    for (int x = 0; x < 16; ++x) {
        const int p0 = s.b[1].row(0)[2 * (x / 2)], p1 = s.b[1].row(0)[2 * (x / 2) + 1];
        const Rgb ea = foldedYCbCr(s.Y(x, 0), p0, p1), eb = foldedYCrCb(s.Y(x, 0), p1, p0);
        for (int c = 0; c < 3; ++c) {
            EXPECT_EQ(a.row(0)[3 * x + c], ea[c]);
            EXPECT_EQ(b.row(0)[3 * x + c], eb[c]);
        }
    }
}

// A full video frame with an odd height through 4:2:0 and back: both
// directions warn, the last row stays unwritten, the rest comes back close.
TEST(Decode420RoundTrip, VideoFrame1920x1081) {
    const int w = 1920, h = 1081;
    std::vector<uint8_t> rgb(size_t(3) * w * h), back(rgb.size(), kFill), y(size_t(w) * h), cb(size_t(w / 2) * (h / 2)),
        cr(cb.size());
    // smooth content: gradients, so chroma subsampling loses little
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            uint8_t* p = &rgb[(size_t(j) * w + i) * 3];
            p[0] = uint8_t(i * 255 / (w - 1)), p[1] = uint8_t(j * 255 / (h - 1)), p[2] = uint8_t(255 - p[0] / 2);
        }
    uint8_t* planes[3] = {y.data(), cb.data(), cr.data()};
    int steps[3] = {w, w / 2, w / 2};
    ASSERT_EQ(celiRGBToYCbCr420_8u_C3P3R(rgb.data(), 3 * w, planes, steps, {w, h}), celStatusOddSize);
    const uint8_t* in[3] = {y.data(), cb.data(), cr.data()};
    ASSERT_EQ(celiYCbCr420ToRGB_8u_P3C3R(in, steps, back.data(), 3 * w, {w, h}), celStatusOddSize);
    int worst = 0;
    for (size_t i = 0; i < size_t(3) * w * (h - 1); ++i) worst = std::max(worst, std::abs(rgb[i] - back[i]));
    for (size_t i = size_t(3) * w * (h - 1); i < back.size(); ++i) ASSERT_EQ(back[i], kFill);
    RecordProperty("max_error", worst);
    EXPECT_LE(worst, 4);  // measured: 4
}

INSTANTIATE_TEST_SUITE_P(AllForms, Decode420, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

}  // namespace
