// Reference model of the 8-bit YCbCr -> RGB decoder recipes, written from
// their formulas, shared by the decoder tests.  Independent of the library's
// recipe helpers on purpose.
#pragma once

#include <array>
#include <cstdint>

namespace celtest::ycc {

using Rgb = std::array<uint8_t, 3>;

inline int his(int c, int x) { return (c * x) >> 16; }
inline uint8_t sat8(int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

inline Rgb narrow(int Y, int Cb, int Cr) {
    const int y = (Y - 16) * 128, cb = (Cb - 128) * 128, cr = (Cr - 128) * 128;
    const int t = his(y, 4769);
    return {sat8((t + his(cr, 6537) + 4) >> 3), sat8((t - (his(cb, 1605) + his(cr, 3330)) + 4) >> 3),
            sat8((t + his(cb, 8263) + 4) >> 3)};
}

inline Rgb wide(int Y, int Cb, int Cr) {
    const int y = (Y - 16) * 128, cb = (Cb - 128) * 128, cr = (Cr - 128) * 128;
    const int t = his(y, 9535);
    return {sat8((t + his(cr, 13074) + 8) >> 4), sat8((t - his(cr, 6660) - his(cb, 3211) + 8) >> 4),
            sat8((t + his(cb, 16523) + 8) >> 4)};
}

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

// Narrow recipe without its rounding addend.
inline Rgb narrowNoAddend(int Y, int Cb, int Cr) {
    const int y = (Y - 16) * 128, cb = (Cb - 128) * 128, cr = (Cr - 128) * 128;
    const int t = his(y, 4769);
    return {sat8((t + his(cr, 6537)) >> 3), sat8((t - (his(cb, 1605) + his(cr, 3330))) >> 3),
            sat8((t + his(cb, 8263)) >> 3)};
}

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

// Narrow recipe without rounding, Y and Cb-to-B coefficients two lower.
inline Rgb narrowTruncating(int Y, int Cb, int Cr) {
    const int y = (Y - 16) * 128, cb = (Cb - 128) * 128, cr = (Cr - 128) * 128;
    const int t = his(y, 4767);
    return {sat8((t + his(cr, 6537)) >> 3), sat8((t - his(cb, 1605) - his(cr, 3330)) >> 3), sat8((t + his(cb, 8261)) >> 3)};
}

// Q12 scalar recipe, no rounding addend.
inline Rgb q12(int Y, int Cb, int Cr) {
    const int yd = 4769 * (Y - 16);
    return {sat8((yd + 6537 * (Cr - 128)) >> 12), sat8((yd - 1605 * (Cb - 128) - 3330 * (Cr - 128)) >> 12),
            sat8((yd + 8263 * (Cb - 128)) >> 12)};
}

// ---- BT.709 -------------------------------------------------------------------------------
// Studio range: the wide recipe with 9535, 14688, 4375, 1745, 17326, and its
// scalar set with rounding.
inline Rgb wide709(int Y, int Cb, int Cr) {
    const int y = (Y - 16) * 128, cb = (Cb - 128) * 128, cr = (Cr - 128) * 128;
    const int t = his(y, 9535);
    return {sat8((t + his(cr, 14688) + 8) >> 4), sat8((t - his(cr, 4375) - his(cb, 1745) + 8) >> 4),
            sat8((t + his(cb, 17326) + 8) >> 4)};
}
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

}  // namespace celtest::ycc
