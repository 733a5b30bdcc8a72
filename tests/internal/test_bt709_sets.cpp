// The BT.709 coefficient sets of the encoders and decoders: every tabled
// Q13, Q15 and Q16 value against the values the recipes name, and against
// an exact derivation from Kr = 0.2126 and Kb = 0.0722 written here in
// doubles (three-decimal rounding plus the Q step at most).
#include <gtest/gtest.h>

#include <cmath>

#include "lumachroma/decode_recipes.h"
#include "lumachroma/encode_recipes.h"

namespace {

constexpr double kKr = 0.2126, kKb = 0.0722, kKg = 1 - kKr - kKb;

// |tabled - exact * 2^bits| within the three-decimal rounding plus half a Q
// step: half a thousandth, or a whole one for the middle terms of the chroma
// rows, which take the sum of two rounded neighbours.
void near(int tabled, double exact, int bits, const char* what, double rounding = 0.0005) {
    const double scale = std::ldexp(1.0, bits);
    EXPECT_LE(std::fabs(tabled - exact * scale), rounding * scale + 0.5) << what << " = " << tabled << ", exact " << exact;
}

struct Exact {
    double yR, yG, yB, cbR, cbG, cMax, crG, crB;
};
Exact encoderOf(double lumaScale, double chromaScale) {
    return {kKr * lumaScale, kKg * lumaScale, kKb * lumaScale, chromaScale * kKr / (1 - kKb),
            chromaScale * kKg / (1 - kKb), chromaScale, chromaScale * kKg / (1 - kKr), chromaScale * kKb / (1 - kKr)};
}

void expectEncoder(const cel::enc::BlockSet& s, const Exact& e, int chromaBits) {
    near(s.yR, e.yR, 15, "vector Y R"), near(s.yG, e.yG, 15, "vector Y G"), near(s.yB, e.yB, 15, "vector Y B");
    near(s.cMax, e.cMax, chromaBits, "vector Cb B / Cr R"), near(s.cbR, e.cbR, chromaBits, "vector Cb R");
    near(s.cbG, e.cbG, chromaBits, "vector Cb G", 0.001), near(s.crG, e.crG, chromaBits, "vector Cr G", 0.001);
    near(s.crB, e.crB, chromaBits, "vector Cr B");
    near(s.qyR, e.yR, 16, "Q16 Y R"), near(s.qyG, e.yG, 16, "Q16 Y G"), near(s.qyB, e.yB, 16, "Q16 Y B");
    near(-s.qcbR, e.cbR, 16, "Q16 Cb R"), near(-s.qcbG, e.cbG, 16, "Q16 Cb G", 0.001), near(s.qcbB, e.cMax, 16, "Q16 Cb B");
    near(s.qcrR, e.cMax, 16, "Q16 Cr R"), near(-s.qcrG, e.crG, 16, "Q16 Cr G", 0.001), near(-s.qcrB, e.crB, 16, "Q16 Cr B");
    // grey has no colour: the chroma rows sum to zero
    EXPECT_EQ(s.qcbR + s.qcbG + s.qcbB, 0);
    EXPECT_EQ(s.qcrR + s.qcrG + s.qcrB, 0);
}

// The set's terms against the values the recipes name.
void expectTabled(const cel::enc::BlockSet& s, const int (&vec)[11], const int (&q16)[10]) {
    const int gotVec[] = {s.yR, s.yG, s.yB, s.yAdd, s.cMax, s.cbR, s.cbG, s.crG, s.crB, s.cAdd, s.cShift};
    const int gotQ16[] = {s.qyR, s.qyG, s.qyB, s.qyAdd, s.qcbR, s.qcbG, s.qcbB, s.qcrR, s.qcrG, s.qcrB};
    for (int i = 0; i < 11; ++i) EXPECT_EQ(gotVec[i], vec[i]) << "vector term " << i;
    for (int i = 0; i < 10; ++i) EXPECT_EQ(gotQ16[i], q16[i]) << "Q16 term " << i;
}

TEST(Bt709Sets, StudioEncoderAsTabledAndFromKrKb) {
    expectTabled(cel::enc::kBlock709Csc, {5997, 20120, 2032, 2112, 28770, 6619, 22151, 26149, 2621, 16400, 7},
                 {11993, 40239, 4063, 1081344, -6619, -22151, 28770, 28770, -26149, -2621});
    EXPECT_FALSE(cel::enc::kBlock709Csc.clamp);
    expectEncoder(cel::enc::kBlock709Csc, encoderOf(219.0 / 255, 112.0 / 255), 16);
}

TEST(Bt709Sets, FullScaleEncoderAsTabledAndFromKrKb) {
    expectTabled(cel::enc::kBlock709Hdtv, {6980, 23429, 2359, 64, 16744, 3834, 12911, 15204, 1540, 8224, 6},
                 {13959, 46858, 4719, 32768, -7668, -25821, 33489, 33489, -30409, -3080});
    EXPECT_TRUE(cel::enc::kBlock709Hdtv.clamp);
    expectEncoder(cel::enc::kBlock709Hdtv, encoderOf(1.0, 112.0 / 219), 15);
}

// The 4:2:2 full-scale pairs: luma rounded with no offset, chroma of the
// BGRA Cb-first form (128.5 in Q17, Cr two below).
TEST(Bt709Sets, FullScalePairAddends) {
    const cel::enc::PairQ17& p = cel::enc::kPairCbFirstFull;
    EXPECT_EQ(p.yAdd0, 32768);
    EXPECT_EQ(p.yAdd1, 32768);
    EXPECT_EQ(p.cbAdd, 0x1010000);
    EXPECT_EQ(p.crAdd, 0x100FFFE);
    EXPECT_EQ(std::ldexp(p.cbAdd, -17), 128.5);
}

// Decoder terms: Y, Cr->R, Cb->G, Cr->G, Cb->B.
void expectDecoder(const cel::dec::WideSet& w, const cel::dec::ScalarSet& q, const int (&wantW)[5],
                   const int (&wantQ)[5], const double (&exact)[5], const double (&slack)[5]) {
    const int gotW[] = {w.y, w.crR, w.cbG, w.crG, w.cbB}, gotQ[] = {q.y, q.crR, -q.cbG, -q.crG, q.cbB};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(gotW[i], wantW[i]) << "Q13 term " << i;
        EXPECT_EQ(gotQ[i], wantQ[i]) << "Q16 term " << i;
        near(gotW[i], exact[i] + slack[i], 13, "Q13 decoder term");
        near(gotQ[i], exact[i] + slack[i], 16, "Q16 decoder term");
    }
}

TEST(Bt709Sets, StudioDecoderAsTabledAndFromKrKb) {
    const double cs = 112.0 / 255;
    const double exact[] = {255.0 / 219, (1 - kKr) / cs, kKb * (1 - kKb) / kKg / cs, kKr * (1 - kKr) / kKg / cs,
                            (1 - kKb) / cs};
    // the published Cr->G and Cb->B stand 0.001 and 0.003 above the formulas
    const double slack[] = {0, 0, 0, 0.001, 0.003};
    expectDecoder(cel::dec::kWide709Csc, cel::dec::kSet709Csc, {9535, 14688, 1745, 4375, 17326},
                  {76284, 117506, 13959, 34996, 138609}, exact, slack);
    EXPECT_EQ(cel::dec::kSet709Csc.yOff, 16);
}

TEST(Bt709Sets, FullScaleDecoderIsTheInverseOfItsEncoder) {
    // the inverse of the exact full-scale matrix: R = Y + 2 (1 - Kr) / (2 cs) Cr, ...
    const double cs = 112.0 / 219;
    const double exact[] = {1, (1 - kKr) / cs, kKb * (1 - kKb) / kKg / cs, kKr * (1 - kKr) / kKg / cs, (1 - kKb) / cs};
    const double slack[] = {0, 0, 0, 0.001, 0.002};  // the rounded encoder's inverse, rounded again
    expectDecoder(cel::dec::kWide709Hdtv, cel::dec::kSet709Hdtv, {8192, 12616, 1499, 3760, 14877},
                  {65536, 100925, 11993, 30081, 119013}, exact, slack);
    EXPECT_EQ(cel::dec::kSet709Hdtv.yOff, 0);
}

}  // namespace
