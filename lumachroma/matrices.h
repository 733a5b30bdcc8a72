// Luma-chroma matrices produced from a standard's luma weights Kr and Kb.
//
// Every coefficient is first rounded to three decimals (thousandths), as
// the matrices are published, and only then brought into the Q format of a
// recipe.  The fixed-point sets of the BT.709 encoders and decoders are all
// derived here, once; the BT.601 sets of the older families are checked
// against the same derivation below.
//
// Encoder, per row (R, G, B columns):
//   Y  = lumaScale * (Kr, Kg, Kb)                      Kg = 1 - Kr - Kb
//   Cb = chromaScale * (-Kr, -Kg, 1 - Kb) / (1 - Kb)
//   Cr = chromaScale * (1 - Kr, -Kg, -Kb) / (1 - Kr)
// The middle coefficient of each chroma row takes what makes the rounded
// row sum to zero, so that grey has no colour.
//
// Decoder: the inverse of the rounded encoder, rounded to thousandths again;
// its two cross terms (R from Cb, B from Cr) are below 0.0015 and dropped.
#pragma once

namespace cel::mat {

// Nearest thousandth, halves away from zero.
constexpr int milli(double x) {
    return x < 0 ? -static_cast<int>(-x * 1000 + 0.5) : static_cast<int>(x * 1000 + 0.5);
}

// Thousandths to the nearest step of a Q format with `bits` fraction bits.
constexpr int fix(int thousandths, int bits) {
    const long long v = static_cast<long long>(thousandths) * (1LL << bits);
    return static_cast<int>(v >= 0 ? (v + 500) / 1000 : -((-v + 500) / 1000));
}

// Rows Y, Cb, Cr; columns R, G, B; thousandths.
struct Encoder {
    int yR, yG, yB;
    int cbR, cbG, cbB;
    int crR, crG, crB;
};

constexpr Encoder encoder(double kr, double kb, double lumaScale, double chromaScale) {
    const double kg = 1 - kr - kb;
    const int cbR = milli(chromaScale * kr / (1 - kb)), crB = milli(chromaScale * kb / (1 - kr));
    const int c = milli(chromaScale);
    return {milli(kr * lumaScale), milli(kg * lumaScale), milli(kb * lumaScale),
            -cbR, -(c - cbR), c,
            c, -(c - crB), -crB};
}

// Y, Cb and Cr to R, G, B in thousandths: R = y Y + crR Cr,
// G = y Y - cbG Cb - crG Cr, B = y Y + cbB Cb (Y, Cb, Cr as the encoder's).
struct Decoder {
    int y, crR, cbG, crG, cbB;
};

constexpr Decoder inverse(const Encoder& e) {
    const double a = e.yR / 1000.0, b = e.yG / 1000.0, c = e.yB / 1000.0;
    const double d = e.cbR / 1000.0, f = e.cbG / 1000.0, g = e.cbB / 1000.0;
    const double h = e.crR / 1000.0, i = e.crG / 1000.0, j = e.crB / 1000.0;
    const double det = a * (f * j - g * i) - b * (d * j - g * h) + c * (d * i - f * h);
    // the entries of the inverse that the decoders use (row, column)
    const double rY = (f * j - g * i) / det, rCr = (b * g - c * f) / det;
    const double gCb = (a * j - c * h) / det, gCr = -(a * g - c * d) / det;
    const double bCb = -(a * i - b * h) / det;
    return {milli(rY), milli(rCr), -milli(gCb), -milli(gCr), milli(bCb)};
}

// ---- The standards' weights and the scales of the ranges ----------------------------
inline constexpr double kKr601 = 0.299, kKb601 = 0.114;
inline constexpr double kKr709 = 0.2126, kKb709 = 0.0722;

// Studio range: luma 16..235 (219 steps of 255), chroma 16..240 (224 steps).
inline constexpr double kStudioLuma = 219.0 / 255, kStudioChroma = 112.0 / 255;
// Full-scale luma with the studio chroma excursion measured in luma steps:
// the colour differences reach 224 / 219 of half the luma range.
inline constexpr double kHdtvLuma = 1.0, kHdtvChroma = 112.0 / 219;

inline constexpr Encoder kEnc601 = encoder(kKr601, kKb601, kStudioLuma, kStudioChroma);
inline constexpr Encoder kEnc709Csc = encoder(kKr709, kKb709, kStudioLuma, kStudioChroma);
inline constexpr Encoder kEnc709Hdtv = encoder(kKr709, kKb709, kHdtvLuma, kHdtvChroma);

inline constexpr Decoder kDec709Hdtv = inverse(kEnc709Hdtv);

// The studio-range BT.709 decoder is the three-decimal matrix as published
// for that range (1.164, 1.793, 0.213, 0.534, 2.115), not the inverse of
// kEnc709Csc: its Cr->G and Cb->B terms stand 0.001 and 0.003 above what
// Kr and Kb give (0.533, 2.112).  Its first three terms are derived.
inline constexpr Decoder kDec709Csc{milli(1 / kStudioLuma), milli((1 - kKr709) / kStudioChroma),
                                    milli(kKb709 * (1 - kKb709) / (1 - kKr709 - kKb709) / kStudioChroma), 534, 2115};
static_assert(milli(kKr709 * (1 - kKr709) / (1 - kKr709 - kKb709) / kStudioChroma) + 1 == kDec709Csc.crG);
static_assert(milli((1 - kKb709) / kStudioChroma) + 3 == kDec709Csc.cbB);

// The BT.601 coefficients of the older families come out of the same rule.
static_assert(kEnc601.yR == 257 && kEnc601.yG == 504 && kEnc601.yB == 98);
static_assert(kEnc601.cbR == -148 && kEnc601.cbG == -291 && kEnc601.cbB == 439);
static_assert(kEnc601.crR == 439 && kEnc601.crG == -368 && kEnc601.crB == -71);

}  // namespace cel::mat
