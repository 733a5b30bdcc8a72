// Reference models of the 8-bit luma-chroma recipes that map one (Y, Cb, Cr)
// or (R, G, B) triple to another, written from their formulas, shared by the
// luma-chroma tests.  Independent of the library's recipe helpers on purpose.
#pragma once

#include <array>
#include <cstdint>

namespace celtest::ycc {

using Rgb = std::array<uint8_t, 3>;

inline int his(int c, int x) { return (c * x) >> 16; }
inline int hiu(int c, int x) { return int((uint32_t(c) * uint32_t(x)) >> 16); }
inline int rnd(int c, int x) { return (c * x + 16384) >> 15; }  // Q15 product, rounded
inline uint8_t sat8(int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }
inline int sat16(int v) { return v < -32768 ? -32768 : v > 32767 ? 32767 : v; }

// The staged recipe: terms as high words of the samples << 7, G taking both
// chroma terms off, then the addend and the shift.  Narrow (Q12, shift 3; no
// addend, or Y and Cb-to-B coefficients two lower, in the truncating forms)
// and wide (Q13, shift 4; BT.601 and BT.709 studio range).
template <int KY, int KCrR, int KCrG, int KCbG, int KCbB, int Add, int Shift>
inline Rgb staged(int Y, int Cb, int Cr) {
    const int y = (Y - 16) * 128, cb = (Cb - 128) * 128, cr = (Cr - 128) * 128, t = his(y, KY);
    return {sat8((t + his(cr, KCrR) + Add) >> Shift), sat8((t - his(cr, KCrG) - his(cb, KCbG) + Add) >> Shift),
            sat8((t + his(cb, KCbB) + Add) >> Shift)};
}
inline Rgb narrow(int Y, int Cb, int Cr) { return staged<4769, 6537, 3330, 1605, 8263, 4, 3>(Y, Cb, Cr); }
inline Rgb narrowNoAddend(int Y, int Cb, int Cr) { return staged<4769, 6537, 3330, 1605, 8263, 0, 3>(Y, Cb, Cr); }
inline Rgb narrowTruncating(int Y, int Cb, int Cr) { return staged<4767, 6537, 3330, 1605, 8261, 0, 3>(Y, Cb, Cr); }
inline Rgb wide(int Y, int Cb, int Cr) { return staged<9535, 13074, 6660, 3211, 16523, 8, 4>(Y, Cb, Cr); }
inline Rgb wide709(int Y, int Cb, int Cr) { return staged<9535, 14688, 4375, 1745, 17326, 8, 4>(Y, Cb, Cr); }

inline Rgb plain(int Y, int Cb, int Cr) {
    const int y = (Y - 16) * 128, cb = (Cb - 128) * 128, cr = (Cr - 128) * 128;
    const int t = his(y, 9536);
    return {sat8((t + his(cr, 13074)) >> 4), sat8((t + his(cr, -6660) + his(cb, -3203)) >> 4),
            sat8((t + his(cb, 16523)) >> 4)};
}

template <int KY, int KCrR, int KCbG, int KCrG, int KCbB, int Round>
inline Rgb scalarSet(int Y, int Cb, int Cr) {
    const int yd = Y - 16, cbd = Cb - 128, crd = Cr - 128;
    return {sat8((KY * yd + KCrR * crd + Round) >> 16), sat8((KY * yd + KCbG * cbd + KCrG * crd + Round) >> 16),
            sat8((KY * yd + KCbB * cbd + Round) >> 16)};
}
inline Rgb setARounded(int Y, int Cb, int Cr) { return scalarSet<76282, 104593, -25689, -53279, 132184, 32768>(Y, Cb, Cr); }
inline Rgb setBRounded(int Y, int Cb, int Cr) { return scalarSet<76284, 104595, -25690, -53281, 132186, 32768>(Y, Cb, Cr); }
inline Rgb setBPlain(int Y, int Cb, int Cr) { return scalarSet<76284, 104595, -25690, -53281, 132186, 0>(Y, Cb, Cr); }
inline Rgb setC(int Y, int Cb, int Cr) { return scalarSet<76294, 104595, -25625, -53281, 132186, 32768>(Y, Cb, Cr); }

// Folded recipe: offsets folded into the chroma terms.
template <int KY, int KB, int CB, int KG, int CG, int CR = 1779>
inline Rgb folded(int Y, int Cb, int Cr) {
    const int yv = his(Y * 128, KY);
    const int bt = his(Cb * 128, KB) - CB;
    const int rt = his(Cr * 128, 6537) - CR;
    const int gt = his(Cb * 128, KG) + his(Cr * 128, 3330) - CG;
    return {sat8((yv + rt) >> 3), sat8((yv - gt) >> 3), sat8((yv + bt) >> 3)};
}
inline Rgb foldedYCbCr(int Y, int Cb, int Cr) { return folded<4769, 8263, 2211, 1605, 1089>(Y, Cb, Cr); }
inline Rgb foldedYCrCb(int Y, int Cb, int Cr) { return folded<4768, 8262, 2210, 1606, 1084>(Y, Cb, Cr); }
// Packed 4:2:2: exact offsets, no rounding part.
inline Rgb folded422(int Y, int Cb, int Cr) { return folded<4768, 8262, 2214, 1606, 1085, 1783>(Y, Cb, Cr); }

// Q12 scalar recipe, no rounding addend.
inline Rgb q12(int Y, int Cb, int Cr) {
    const int yd = 4769 * (Y - 16);
    return {sat8((yd + 6537 * (Cr - 128)) >> 12), sat8((yd - 1605 * (Cb - 128) - 3330 * (Cr - 128)) >> 12),
            sat8((yd + 8263 * (Cb - 128)) >> 12)};
}

// ---- BT.709 -------------------------------------------------------------------------------
inline Rgb set709Rounded(int Y, int Cb, int Cr) {
    return scalarSet<76284, 117506, -13959, -34996, 138609, 32768>(Y, Cb, Cr);
}

// Full-scale luma: Y * 16 with no offset taken off, Q13 chroma terms.
inline Rgb hdtv709(int Y, int Cb, int Cr) {
    const int cb = (Cb - 128) * 128, cr = (Cr - 128) * 128;
    return {sat8((Y * 16 + his(cr, 12616) + 8) >> 4), sat8((Y * 16 - his(cb, 1499) - his(cr, 3760) + 8) >> 4),
            sat8((Y * 16 + his(cb, 14877) + 8) >> 4)};
}
inline Rgb hdtv709Scalar(int Y, int Cb, int Cr) {
    const int yq = Y << 16, cbd = Cb - 128, crd = Cr - 128;
    return {sat8((yq + 100925 * crd + 32768) >> 16), sat8((yq - 11993 * cbd - 30081 * crd + 32768) >> 16),
            sat8((yq + 119013 * cbd + 32768) >> 16)};
}

// ---- BT.601 encoders, full rate ------------------------------------------------------------
inline Rgb roundedLane(int R, int G, int B) {
    const int r = R * 128, g = G * 128, b = B * 128;
    return {sat8((rnd(4211, r) + rnd(8258, g) + rnd(1606, b) + 1056) >> 6),
            sat8((rnd(7193, b) - rnd(4768, g) - rnd(2425, r) + 8194) >> 6),
            sat8((rnd(7193, r) - rnd(6029, g) - rnd(1163, b) + 8194) >> 6)};
}
inline Rgb highWord(int R, int G, int B) {
    const int r = R * 128, g = G * 128, b = B * 128;
    return {sat8(((hiu(16843, R * 256) + hiu(33030, G * 256) + hiu(6423, B * 256) + 128) >> 8) + 16),
            sat8(((his(-9699, r) + his(-19071, g) + his(28770, b) + 64) >> 7) + 128),
            sat8(((his(28770, r) + his(-24117, g) + his(-4653, b) + 64) >> 7) + 128)};
}
inline Rgb scalarQ16(int R, int G, int B) {
    return {uint8_t((16843 * R + 33030 * G + 6423 * B + 1081344) >> 16),
            uint8_t((-9699 * R - 19071 * G + 28770 * B + 8421376) >> 16),
            uint8_t((28770 * R - 24117 * G - 4653 * B + 8421376) >> 16)};
}

// ---- Analogue-video YUV, full rate --------------------------------------------------------
inline int S16(int R, int G, int B) { return 19595 * R + 38470 * G + 7471 * B; }
inline Rgb yuvDifference(int R, int G, int B) {
    const int s = S16(R, G, B);
    return {uint8_t((s + 32768) >> 16), uint8_t(((((B << 16) - s + 32768) >> 16) * 32244 >> 16) + 128),
            sat8(((((R << 16) - s + 32768) >> 16) * 57475 >> 16) + 128)};
}
inline Rgb yuvHighWord(int R, int G, int B) {
    const int r = R * 128, g = G * 128, b = B * 128;
    return {sat8((hiu(19595, R * 256) + hiu(38469, G * 256) + hiu(7471, B * 256)) >> 8),
            sat8(((his(-4816, r) + his(-9469, g) + his(14286, b)) >> 6) + 128),
            sat8(((his(20152, r) + his(-16875, g) + his(-3276, b)) >> 6) + 128)};
}
inline Rgb yuvRoundedQ15(int R, int G, int B) {
    const int l = rnd(9798, R * 128) + rnd(19235, G * 128) + rnd(3736, B * 128);
    return {sat8(l >> 7), sat8((rnd(16121, B * 128 - l) >> 7) + 128), sat8((rnd(28737, R * 128 - l) >> 7) + 128)};
}
template <int vR, int uG, int vG, int uB, int rRB>
inline Rgb yuvScalarInv(int Y, int U, int V) {
    const int yq = Y << 16, ud = U - 128, vd = V - 128;
    return {sat8((yq + vR * vd + rRB) >> 16), sat8((yq - uG * ud - vG * vd) >> 16), sat8((yq + uB * ud + rRB) >> 16)};
}
inline Rgb invRounded(int Y, int U, int V) { return yuvScalarInv<74711, 25821, 38076, 133169, 32768>(Y, U, V); }
inline Rgb invPlain(int Y, int U, int V) { return yuvScalarInv<74710, 25820, 38075, 133168, 0>(Y, U, V); }
inline Rgb invBlock(int Y, int U, int V) { return yuvScalarInv<74711, 25821, 38076, 133169, 0>(Y, U, V); }
inline Rgb shiftFree(int Y, int U, int V) {
    const int u = (U - 128) * 8, v = (V - 128) * 8;
    return {sat8(sat16(Y + his(v, 9339))), sat8(sat16(sat16(Y + his(u, -3228)) + his(v, -4760))),
            sat8(sat16(Y + his(u, 16646)))};
}
template <int kR, int kU, int kV, int kB>
inline Rgb doubled(int Y, int U, int V) {
    const int u = (U - 128) * 16, v = (V - 128) * 16, y2 = 2 * Y;
    return {sat8(sat16(y2 + his(v, kR)) >> 1), sat8(sat16(sat16(y2 + his(u, kU)) + his(v, kV)) >> 1),
            sat8(sat16(y2 + his(u, kB)) >> 1)};
}
inline Rgb doubledA(int Y, int U, int V) { return doubled<9338, -3227, -4759, 16645>(Y, U, V); }
inline Rgb doubledB(int Y, int U, int V) { return doubled<9339, -3228, -4760, 16646>(Y, U, V); }
inline Rgb sixteen(int Y, int U, int V) {
    const int u = (U - 128) * 128, v = (V - 128) * 128, y = 16 * Y + 8;
    return {sat8(sat16(y + his(v, 9338)) >> 4), sat8(sat16(y - (his(u, 3227) + his(v, 4759))) >> 4),
            sat8(sat16(y + his(u, 16646)) >> 4)};
}
inline Rgb eightFold(int Y, int U, int V) {
    const int u = (U - 128) * 128, v = (V - 128) * 128;
    return {sat8((8 * Y + his(v, 4669) + 4) >> 3), sat8((8 * Y - his(v, 2380) - his(u, 1614) + 4) >> 3),
            sat8((8 * Y + his(u, 8323) + 4) >> 3)};
}

}  // namespace celtest::ycc
