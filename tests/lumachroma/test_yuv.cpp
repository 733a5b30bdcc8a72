// RGB <-> analogue-video YUV (4:4:4, 4:2:2, 4:2:0): a reference model of
// every recipe written from the formulas (independent of the library's
// recipe header), applied by pixel position; every destination byte,
// canaries included, compared with the model over widths that hit body
// only, tail only and both, odd heights, negative and zero steps; worked
// values; every colour as a uniform block through the 4:2:0 encoders' body
// and scalar blocks; the contiguous forms against the R forms with derived
// steps.  The kernels chosen by alignment are in the model (the two 4:2:2
// C3P3R kernels differ by a step); rows of 32 and 1920 pixels hit them.
// Statuses, check order and errors that write nothing: the robustness
// table's rows (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/image_buffer.h"
#include "common/sweep24.h"

namespace {

using celtest::ImageBuffer;
using Px = std::array<uint8_t, 3>;
using Rgb = std::array<int, 3>;

// ---- Model: arithmetic helpers --------------------------------------------------
int rnd(int c, int x) { return (c * x + 16384) >> 15; }
int hiu(int c, int x) { return static_cast<int>((static_cast<uint32_t>(c) * static_cast<uint32_t>(x)) >> 16); }
int his(int c, int x) { return (c * x) >> 16; }
uint8_t sat8(int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }
int sat16(int v) { return v < -32768 ? -32768 : v > 32767 ? 32767 : v; }
int S16(const Rgb& p) { return 19595 * p[0] + 38470 * p[1] + 7471 * p[2]; }

// ---- Model: encoders, one pixel ---------------------------------------------------
Px difference(const Rgb& p) {
    const int s = S16(p);
    return {static_cast<uint8_t>((s + 32768) >> 16),
            static_cast<uint8_t>(((((p[2] << 16) - s + 32768) >> 16) * 32244 >> 16) + 128),
            sat8(((((p[0] << 16) - s + 32768) >> 16) * 57475 >> 16) + 128)};
}
Px highWord(const Rgb& p) {
    const int r = p[0] * 128, g = p[1] * 128, b = p[2] * 128;
    return {sat8((hiu(19595, p[0] * 256) + hiu(38469, p[1] * 256) + hiu(7471, p[2] * 256)) >> 8),
            sat8(((his(-4816, r) + his(-9469, g) + his(14286, b)) >> 6) + 128),
            sat8(((his(20152, r) + his(-16875, g) + his(-3276, b)) >> 6) + 128)};
}
int lumaQ15(const Rgb& p) { return rnd(9798, p[0] * 128) + rnd(19235, p[1] * 128) + rnd(3736, p[2] * 128); }
Px roundedQ15(const Rgb& p) {
    const int l = lumaQ15(p);
    return {sat8(l >> 7), sat8((rnd(16121, p[2] * 128 - l) >> 7) + 128), sat8((rnd(28737, p[0] * 128 - l) >> 7) + 128)};
}

// ---- Model: 4:2:2 encoders, one pair (Y0, Y1, U, V) ---------------------------------
using Pair = std::array<uint8_t, 4>;
int lumaQ14(const Rgb& p) { return rnd(4899, p[0] * 128) + rnd(9617, p[1] * 128) + rnd(1868, p[2] * 128); }
int lumaMadd(const Rgb& p) { return ((9798 * p[0] + 19235 * p[1]) >> 14) + ((3736 * p[2]) >> 14); }
Pair pairMadd(const Rgb& a, const Rgb& b) {
    const int l0 = lumaMadd(a), l1 = lumaMadd(b), P = (l0 + l1) >> 1;
    return {sat8(l0 >> 1), sat8(l1 >> 1), sat8(his(16121, sat16(a[2] + b[2] - P)) + 128),
            sat8(his(28737, sat16(a[0] + b[0] - P)) + 128)};
}
Pair pairQ14(const Rgb& a, const Rgb& b) {
    const int l0 = lumaQ14(a), l1 = lumaQ14(b), sl = l0 + l1;
    return {sat8(l0 >> 6), sat8(l1 >> 6), sat8((rnd(8061, (a[2] + b[2]) * 64 - sl) >> 6) + 128),
            sat8((rnd(14369, (a[0] + b[0]) * 64 - sl) >> 6) + 128)};
}
int dup(int v) { return (v * 257) >> 6; }
int lumaDup(const Rgb& p) { return his(9798, dup(p[0])) + his(19235, dup(p[1])) + his(3736, dup(p[2])); }
Pair pairDup(const Rgb& a, const Rgb& b) {
    const int l0 = lumaDup(a), l1 = lumaDup(b), P = l0 + l1;
    const int mr = (dup(a[0]) + dup(b[0])) >> 1, mb = (dup(a[2]) + dup(b[2])) >> 1;
    return {sat8(l0 >> 1), sat8(l1 >> 1), sat8((his(16121, sat16(mb - P)) >> 1) + 128),
            sat8((his(28737, sat16(mr - P)) >> 1) + 128)};
}
template <bool Rounded>
Pair pairQ16(const Rgb& a, const Rgb& b) {
    const int s0 = S16(a), s1 = S16(b), t = s0 + s1, add = Rounded ? 32768 : 65535, ya = Rounded ? 32768 : 0;
    const int du = (((a[2] + b[2]) << 16) - t + add) >> 16, dv = (((a[0] + b[0]) << 16) - t + add) >> 16;
    return {static_cast<uint8_t>((s0 + ya) >> 16), static_cast<uint8_t>((s1 + ya) >> 16),
            static_cast<uint8_t>(((du * 32244) >> 17) + 128), sat8(((dv * 57475) >> 17) + 128)};
}
Px loneQ15(const Rgb& p) {
    const int a = 9798 * p[0] + 19235 * p[1] + 3736 * p[2];
    return {static_cast<uint8_t>(a >> 15), static_cast<uint8_t>(((((p[2] << 15) - a) >> 15) * 16121 >> 15) + 128),
            sat8(((((p[0] << 15) - a) >> 15) * 28737 >> 15) + 128)};
}

// ---- Model: 4:2:0 encoders, one block (Y of 4 pixels in row order, U, V) --------------
using Block = std::array<uint8_t, 6>;
Block blockQ14Vector(const std::array<Rgb, 4>& q) {
    Block o{};
    int sl = 0, sr = 0, sb = 0;
    for (int k = 0; k < 4; ++k) {
        const int l = lumaQ14(q[k]);
        o[k] = sat8(l >> 6);
        sl += l;
        sr += q[k][0];
        sb += q[k][2];
    }
    sl >>= 1;
    o[4] = sat8((rnd(8061, sb * 32 - sl) >> 6) + 128);
    o[5] = sat8((rnd(14369, sr * 32 - sl) >> 6) + 128);
    return o;
}
Block blockQ14Scalar(const std::array<Rgb, 4>& q) {
    Block o{};
    int s[3] = {0, 0, 0};
    for (int k = 0; k < 4; ++k) {
        o[k] = static_cast<uint8_t>((4899 * q[k][0] + 9617 * q[k][1] + 1868 * q[k][2]) >> 14);
        for (int c = 0; c < 3; ++c) s[c] += q[k][c];
    }
    const int ls = (4899 * s[0] + 9617 * s[1] + 1868 * s[2]) >> 14;
    o[4] = sat8(((8061 * (s[2] - ls)) >> 16) + 128);
    o[5] = sat8(((14369 * (s[0] - ls)) >> 16) + 128);
    return o;
}
Block blockQ16(const std::array<Rgb, 4>& q) {
    Block o{};
    int t = 0, sr = 0, sb = 0;
    for (int k = 0; k < 4; ++k) {
        o[k] = static_cast<uint8_t>(S16(q[k]) >> 16);
        t += S16(q[k]);
        sr += q[k][0];
        sb += q[k][2];
    }
    const int du = ((sb << 16) - t) >> 16, dv = ((sr << 16) - t) >> 16;
    o[4] = static_cast<uint8_t>(((du * 32244) >> 18) + 128);
    o[5] = sat8(((dv * 57475) >> 18) + 128);
    return o;
}

// ---- Model: decoders, one pixel -------------------------------------------------------
using Dec = Px (*)(int, int, int);
template <int vR, int uG, int vG, int uB, int rRB>
Px scalarInv(int Y, int U, int V) {
    const int yq = Y << 16, ud = U - 128, vd = V - 128;
    return {sat8((yq + vR * vd + rRB) >> 16), sat8((yq - uG * ud - vG * vd) >> 16), sat8((yq + uB * ud + rRB) >> 16)};
}
const Dec invRounded = scalarInv<74711, 25821, 38076, 133169, 32768>;
const Dec invPlain = scalarInv<74710, 25820, 38075, 133168, 0>;
const Dec invBlock = scalarInv<74711, 25821, 38076, 133169, 0>;
Px shiftFree(int Y, int U, int V) {
    const int u = (U - 128) * 8, v = (V - 128) * 8;
    return {sat8(sat16(Y + his(v, 9339))), sat8(sat16(sat16(Y + his(u, -3228)) + his(v, -4760))),
            sat8(sat16(Y + his(u, 16646)))};
}
template <int kR, int kU, int kV, int kB>
Px doubled(int Y, int U, int V) {
    const int u = (U - 128) * 16, v = (V - 128) * 16, y2 = 2 * Y;
    return {sat8(sat16(y2 + his(v, kR)) >> 1), sat8(sat16(sat16(y2 + his(u, kU)) + his(v, kV)) >> 1),
            sat8(sat16(y2 + his(u, kB)) >> 1)};
}
const Dec doubledA = doubled<9338, -3227, -4759, 16645>;
const Dec doubledB = doubled<9339, -3228, -4760, 16646>;
Px sixteen(int Y, int U, int V) {
    const int u = (U - 128) * 128, v = (V - 128) * 128, y = 16 * Y + 8;
    return {sat8(sat16(y + his(v, 9338)) >> 4), sat8(sat16(y - (his(u, 3227) + his(v, 4759))) >> 4),
            sat8(sat16(y + his(u, 16646)) >> 4)};
}
Px eightFold(int Y, int U, int V) {
    const int u = (U - 128) * 128, v = (V - 128) * 128;
    return {sat8((8 * Y + his(v, 4669) + 4) >> 3), sat8((8 * Y - his(v, 2380) - his(u, 1614) + 4) >> 3),
            sat8((8 * Y + his(u, 8323) + 4) >> 3)};
}

// ---- Images ---------------------------------------------------------------------------
// Layouts: interleaved C3 (RGB or YUV), C4 (RGBA / BGRA / four bytes), C2
// (Y0 U Y1 V), P3 (three planes, the last two subsampled as the form says),
// P4 (four full planes).
enum class Lay { C3, C4, C2, P3, P4 };
enum class Samp { S444, S422, S420 };

// How the function walks the rows: down, up (negative steps), or the first
// row again and again (zero step, sources only).
enum class Walk { Down, Up, Same };

struct Img {
    std::vector<ImageBuffer> b;
    Walk walk = Walk::Down;
    Img(Lay lay, Samp s, int w, int h) {
        const int cw = s == Samp::S444 ? w : (w + 1) / 2, ch = s == Samp::S420 ? (h + 1) / 2 : h;
        switch (lay) {
            case Lay::C3: b.emplace_back(3 * w, h); break;
            case Lay::C4: b.emplace_back(4 * w, h); break;
            case Lay::C2: b.emplace_back(2 * w, h); break;  // a lone last pixel owns Y and U
            case Lay::P4: b.emplace_back(w, h); [[fallthrough]];
            case Lay::P3:
                b.emplace_back(w, h);
                b.emplace_back(cw, ch);
                b.emplace_back(cw, ch);
                if (lay == Lay::P4) std::swap(b[0], b[3]);  // Y, U, V, A
                break;
        }
        for (auto& x : b) x.fill(0x5A);
    }
    uint8_t* row(int i, int y) {
        const int n = b[i].rows();
        return b[i].row(walk == Walk::Up ? n - 1 - y : walk == Walk::Same ? 0 : y);
    }
    uint8_t* base(int i) { return row(i, 0); }
    int step(int i) const { return walk == Walk::Up ? -b[i].step() : walk == Walk::Same ? 0 : b[i].step(); }
    void randomize(uint32_t seed) {
        for (auto& x : b) x.randomize(seed++);
    }
    std::vector<uint8_t> snapshot() const { return celtest::snapshotOf(b); }
};

// The three colour bytes (and a fourth) of pixel x of row y of an interleaved
// or full-rate planar image.
uint8_t& at(Img& m, Lay lay, int x, int y, int c) {
    switch (lay) {
        case Lay::C3: return m.row(0, y)[3 * x + c];
        case Lay::C4: return m.row(0, y)[4 * x + c];
        default: return m.row(c, y)[x];
    }
}
Rgb rgbAt(Img& m, Lay lay, int x, int y, bool bgr = false) {
    Rgb p{at(m, lay, x, y, 0), at(m, lay, x, y, 1), at(m, lay, x, y, 2)};
    if (bgr) std::swap(p[0], p[2]);
    return p;
}

// ---- Models of whole forms -------------------------------------------------------------
// A model writes the expected bytes of a call into the second image; `al`
// tells that every pointer and step of the call is a multiple of 16.
using Model = std::function<void(Img&, Img&, int, int, bool)>;

constexpr uint8_t kAlpha = 0xC7;

// Full-resolution encoders and decoders: the body recipe over the width rounded
// down to `unit` (0: no body), the tail recipe after.  alpha: 0 fourth byte
// untouched, 1 copied from the source, 2 alphaValue.
Model fullModel(Lay src, Lay dst, int unit, Px (*bodyE)(const Rgb&),
                                                  Px (*tailE)(const Rgb&), Dec bodyD, Dec tailD, int alpha) {
    return [=](Img& s, Img& e, int w, int h, bool al) {
        const int bodyEnd = unit ? w / unit * unit : 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const Rgb p = rgbAt(s, src, x, y);
                const bool body = x < bodyEnd;
                const Px o = bodyE ? (body ? bodyE(p) : tailE(p)) : (body ? bodyD : tailD)(p[0], p[1], p[2]);
                for (int c = 0; c < 3; ++c) at(e, dst, x, y, c) = o[c];
                if (alpha == 1) at(e, dst, x, y, 3) = at(s, src, x, y, 3);  // alpha copied
                if (alpha == 2) at(e, dst, x, y, 3) = kAlpha;
            }
    };
}

// 4:2:2 encoders: `body` pairs over the width rounded to 16, scalar pairs,
// then a lone pixel.
Model enc422Model(Lay src, Lay dst, Pair (*body)(const Rgb&, const Rgb&),
                  Pair (*alignedBody)(const Rgb&, const Rgb&) = nullptr) {
    return [=](Img& s, Img& e, int w, int h, bool al) {
        for (int y = 0; y < h; ++y) {
            const auto put = [&](int x, uint8_t yv, uint8_t u, uint8_t v, bool second) {
                if (dst == Lay::C2) {
                    uint8_t* q = e.row(0, y) + 2 * (x & ~1);
                    q[x & 1 ? 2 : 0] = yv;
                    if (!second) q[1] = u;
                    if (second) q[3] = v;
                } else {
                    e.row(0, y)[x] = yv;
                    e.row(1, y)[x / 2] = u;
                    e.row(2, y)[x / 2] = v;
                }
            };
            int x = 0;
            for (; x + 1 < w; x += 2) {
                const Rgb a = rgbAt(s, src, x, y), b = rgbAt(s, src, x + 1, y);
                const Pair o = x < w / 16 * 16 ? (al && alignedBody ? alignedBody : body)(a, b) : dst == Lay::C2 ? pairQ16<true>(a, b) : pairQ16<false>(a, b);
                put(x, o[0], o[2], o[3], false);
                put(x + 1, o[1], o[2], o[3], true);
            }
            if (x < w) {
                const Rgb p = rgbAt(s, src, x, y);
                if (dst == Lay::C2) {
                    const Px o = difference(p);
                    put(x, o[0], o[1], 0, false);  // Y and U only
                } else {
                    const Px o = loneQ15(p);
                    put(x, o[0], o[1], o[2], false);
                }
            }
        }
    };
}

// 4:2:2 decoders: `body` over the width rounded to 16, the rounded scalar recipe after.
Model dec422Model(Lay src, Lay dst, Dec body, bool zeroFourth) {
    return [=](Img& s, Img& e, int w, int h, bool al) {
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                int Y, U, V;
                if (src == Lay::C2) {
                    const uint8_t* q = s.row(0, y) + 2 * (x & ~1);
                    Y = q[x & 1 ? 2 : 0], U = q[1], V = q[3];
                    if (x == w - 1 && w % 2)  // a lone pixel: Y and U only; the last whole pair's chroma
                        U = x ? q[-3] : q[1], V = x ? q[-1] : 128;
                } else {
                    Y = s.row(0, y)[x], U = s.row(1, y)[x / 2], V = s.row(2, y)[x / 2];
                }
                const Px o = (x < w / 16 * 16 ? body : invRounded)(Y, U, V);
                for (int c = 0; c < 3; ++c) at(e, dst, x, y, c) = o[c];
                if (zeroFourth) at(e, dst, x, y, 3) = 0;
            }
    };
}

// 4:2:0 encoders: `unit8` blocks by the vector recipe (then one group of 4 if
// `four`), the scalar block recipe after; whole blocks only.
Model enc420Model(Lay src, bool bgr, int unit8, bool four,
                                                      Block (*body)(const std::array<Rgb, 4>&),
                                                      Block (*tail)(const std::array<Rgb, 4>&)) {
    return [=](Img& s, Img& e, int w, int h, bool al) {
        const int n = w / 2;
        int bodyEnd = unit8 ? n / unit8 * unit8 : 0;
        if (four && n - bodyEnd >= 4) bodyEnd += 4;
        for (int j = 0; j < h / 2; ++j)
            for (int i = 0; i < n; ++i) {
                const std::array<Rgb, 4> q = {rgbAt(s, src, 2 * i, 2 * j, bgr), rgbAt(s, src, 2 * i + 1, 2 * j, bgr),
                                              rgbAt(s, src, 2 * i, 2 * j + 1, bgr),
                                              rgbAt(s, src, 2 * i + 1, 2 * j + 1, bgr)};
                const Block o = (i < bodyEnd ? body : tail)(q);
                for (int k = 0; k < 4; ++k) e.row(0, 2 * j + k / 2)[2 * i + k % 2] = o[k];
                e.row(1, j)[i] = o[4];
                e.row(2, j)[i] = o[5];
            }
    };
}

// 4:2:0 decoders: `body` for the first `unit`-multiple of chroma samples, `tail` after.
Model dec420Model(Lay dst, bool bgr, int unit, Dec body, Dec tail, bool zeroFourth) {
    return [=](Img& s, Img& e, int w, int h, bool al) {
        const int n = w / 2, bodyEnd = unit ? n / unit * unit : 0;
        for (int y = 0; y < h / 2 * 2; ++y)
            for (int x = 0; x < 2 * n; ++x) {
                Px o = (x / 2 < bodyEnd ? body : tail)(s.row(0, y)[x], s.row(1, y / 2)[x / 2], s.row(2, y / 2)[x / 2]);
                if (bgr) std::swap(o[0], o[2]);
                for (int c = 0; c < 3; ++c) at(e, dst, x, y, c) = o[c];
                if (zeroFourth) at(e, dst, x, y, 3) = 0;
            }
    };
}

// Argument builders: every plane's first row and step as the function sees them.
struct Ptrs {
    const uint8_t* s[4];
    uint8_t* d[4];
    int ss[4], ds[4];
    Ptrs(Img& a, Img& b) {
        for (size_t i = 0; i < 4; ++i) {
            s[i] = i < a.b.size() ? a.base(static_cast<int>(i)) : nullptr;
            ss[i] = i < a.b.size() ? a.step(static_cast<int>(i)) : 0;
            d[i] = i < b.b.size() ? b.base(static_cast<int>(i)) : nullptr;
            ds[i] = i < b.b.size() ? b.step(static_cast<int>(i)) : 0;
        }
    }
};
using Caller = CelStatus (*)(Ptrs&, CelSize);
#define CALL(expr) [](Ptrs& p, CelSize sz) -> CelStatus { return expr; }

// The 4:2:0 forms warn on an odd size.
struct Fn {
    const char* name;
    Lay src, dst;
    Samp samp;
    Caller call;
    Model model;
    int minSize = 1;  // least width and height
    bool oddWarns() const { return samp == Samp::S420; }
    bool encoder() const { return name[0] != 'Y'; }
    Samp srcSamp() const { return encoder() ? Samp::S444 : samp; }
    Samp dstSamp() const { return encoder() ? samp : Samp::S444; }
};
void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

const Fn kFns[] = {
    {"RGBToYUV_C3R", Lay::C3, Lay::C3, Samp::S444, CALL(celiRGBToYUV_8u_C3R(p.s[0], p.ss[0], p.d[0], p.ds[0], sz)),
     fullModel(Lay::C3, Lay::C3, 16, highWord, difference, nullptr, nullptr, 0)},
    {"RGBToYUV_C3P3R", Lay::C3, Lay::P3, Samp::S444, CALL(celiRGBToYUV_8u_C3P3R(p.s[0], p.ss[0], p.d, p.ds[0], sz)),
     fullModel(Lay::C3, Lay::P3, 8, highWord, difference, nullptr, nullptr, 0)},
    {"RGBToYUV_P3R", Lay::P3, Lay::P3, Samp::S444, CALL(celiRGBToYUV_8u_P3R(p.s, p.ss[0], p.d, p.ds[0], sz)),
     fullModel(Lay::P3, Lay::P3, 1, highWord, highWord, nullptr, nullptr, 0)},
    {"RGBToYUV_AC4R", Lay::C4, Lay::C4, Samp::S444, CALL(celiRGBToYUV_8u_AC4R(p.s[0], p.ss[0], p.d[0], p.ds[0], sz)),
     fullModel(Lay::C4, Lay::C4, 0, difference, difference, nullptr, nullptr, 0)},
    {"RGBToYUV_AC4P4R", Lay::C4, Lay::P4, Samp::S444, CALL(celiRGBToYUV_8u_AC4P4R(p.s[0], p.ss[0], p.d, p.ds[0], sz)),
     fullModel(Lay::C4, Lay::P4, 8, roundedQ15, difference, nullptr, nullptr, 1)},
    {"YUVToRGB_C3R", Lay::C3, Lay::C3, Samp::S444, CALL(celiYUVToRGB_8u_C3R(p.s[0], p.ss[0], p.d[0], p.ds[0], sz)),
     fullModel(Lay::C3, Lay::C3, 8, nullptr, nullptr, shiftFree, invRounded, 0)},
    {"YUVToRGB_C3C4R", Lay::C3, Lay::C4, Samp::S444,
     CALL(celiYUVToRGB_8u_C3C4R(p.s[0], p.ss[0], p.d[0], p.ds[0], sz, kAlpha)),
     fullModel(Lay::C3, Lay::C4, 8, nullptr, nullptr, eightFold, invRounded, 2)},
    {"YUVToRGB_P3C3R", Lay::P3, Lay::C3, Samp::S444, CALL(celiYUVToRGB_8u_P3C3R(p.s, p.ss[0], p.d[0], p.ds[0], sz)),
     fullModel(Lay::P3, Lay::C3, 16, nullptr, nullptr, doubledA, invPlain, 0)},
    {"YUVToRGB_P3R", Lay::P3, Lay::P3, Samp::S444, CALL(celiYUVToRGB_8u_P3R(p.s, p.ss[0], p.d, p.ds[0], sz)),
     fullModel(Lay::P3, Lay::P3, 0, nullptr, nullptr, invPlain, invPlain, 0)},
    {"YUVToRGB_AC4R", Lay::C4, Lay::C4, Samp::S444, CALL(celiYUVToRGB_8u_AC4R(p.s[0], p.ss[0], p.d[0], p.ds[0], sz)),
     fullModel(Lay::C4, Lay::C4, 0, nullptr, nullptr, invRounded, invRounded, 0)},
    {"RGBToYUV422_C3C2R", Lay::C3, Lay::C2, Samp::S422,
     CALL(celiRGBToYUV422_8u_C3C2R(p.s[0], p.ss[0], p.d[0], p.ds[0], sz)), enc422Model(Lay::C3, Lay::C2, pairMadd)},
    {"RGBToYUV422_C3P3R", Lay::C3, Lay::P3, Samp::S422, CALL(celiRGBToYUV422_8u_C3P3R(p.s[0], p.ss[0], p.d, p.ds, sz)),
     enc422Model(Lay::C3, Lay::P3, pairMadd, pairQ14)},
    {"RGBToYUV422_P3R", Lay::P3, Lay::P3, Samp::S422, CALL(celiRGBToYUV422_8u_P3R(p.s, p.ss[0], p.d, p.ds, sz)),
     enc422Model(Lay::P3, Lay::P3, pairDup)},
    {"YUV422ToRGB_C2C3R", Lay::C2, Lay::C3, Samp::S422,
     CALL(celiYUV422ToRGB_8u_C2C3R(p.s[0], p.ss[0], p.d[0], p.ds[0], sz)),
     dec422Model(Lay::C2, Lay::C3, doubledA, false)},
    {"YUV422ToRGB_P3C3R", Lay::P3, Lay::C3, Samp::S422, CALL(celiYUV422ToRGB_8u_P3C3R(p.s, p.ss, p.d[0], p.ds[0], sz)),
     dec422Model(Lay::P3, Lay::C3, doubledA, false)},
    {"YUV422ToRGB_P3R", Lay::P3, Lay::P3, Samp::S422, CALL(celiYUV422ToRGB_8u_P3R(p.s, p.ss, p.d, p.ds[0], sz)),
     dec422Model(Lay::P3, Lay::P3, doubledA, false)},
    {"YUV422ToRGB_P3AC4R", Lay::P3, Lay::C4, Samp::S422,
     CALL(celiYUV422ToRGB_8u_P3AC4R(p.s, p.ss, p.d[0], p.ds[0], sz)), dec422Model(Lay::P3, Lay::C4, sixteen, true)},
    {"RGBToYUV420_C3P3R", Lay::C3, Lay::P3, Samp::S420, CALL(celiRGBToYUV420_8u_C3P3R(p.s[0], p.ss[0], p.d, p.ds, sz)),
     enc420Model(Lay::C3, false, 8, true, blockQ14Vector, blockQ14Scalar)},
    {"RGBToYUV420_P3R", Lay::P3, Lay::P3, Samp::S420, CALL(celiRGBToYUV420_8u_P3R(p.s, p.ss[0], p.d, p.ds, sz)),
     enc420Model(Lay::P3, false, 0, false, blockQ16, blockQ16)},
    {"BGRToYUV420_AC4P3R", Lay::C4, Lay::P3, Samp::S420,
     CALL(celiBGRToYUV420_8u_AC4P3R(p.s[0], p.ss[0], p.d, p.ds, sz)),
     enc420Model(Lay::C4, true, 8, false, blockQ14Vector, blockQ14Scalar)},
    {"YUV420ToRGB_P3C3R", Lay::P3, Lay::C3, Samp::S420, CALL(celiYUV420ToRGB_8u_P3C3R(p.s, p.ss, p.d[0], p.ds[0], sz)),
     dec420Model(Lay::C3, false, 1, doubledA, doubledA, false)},
    {"YUV420ToBGR_P3C3R", Lay::P3, Lay::C3, Samp::S420, CALL(celiYUV420ToBGR_8u_P3C3R(p.s, p.ss, p.d[0], p.ds[0], sz)),
     dec420Model(Lay::C3, true, 1, doubledB, doubledB, false), 2},
    {"YUV420ToRGB_P3R", Lay::P3, Lay::P3, Samp::S420, CALL(celiYUV420ToRGB_8u_P3R(p.s, p.ss, p.d, p.ds[0], sz)),
     dec420Model(Lay::P3, false, 0, invBlock, invBlock, false)},
    {"YUV420ToRGB_P3AC4R", Lay::P3, Lay::C4, Samp::S420,
     CALL(celiYUV420ToRGB_8u_P3AC4R(p.s, p.ss, p.d[0], p.ds[0], sz)),
     dec420Model(Lay::C4, false, 8, sixteen, invBlock, true)},
};

class Yuv : public ::testing::TestWithParam<Fn> {};

bool allAligned(Img& s, Img& d) {
    Ptrs p(s, d);
    bool al = true;
    for (int i = 0; i < 4; ++i)
        al = al && (reinterpret_cast<uintptr_t>(p.s[i]) % 16 == 0) && (reinterpret_cast<uintptr_t>(p.d[i]) % 16 == 0) &&
             p.ss[i] % 16 == 0 && p.ds[i] % 16 == 0;
    return al;
}

CelStatus callOn(const Fn& fn, Img& s, Img& d, CelSize sz) {
    Ptrs p(s, d);
    return fn.call(p, sz);
}

void expectSameBytes(const Fn& fn, const Img& d, const Img& e, int w, int h);

void runAndCompare(const Fn& fn, int w, int h, Walk sw, Walk dw, uint32_t seed, bool pattern = false) {
    Img s(fn.src, fn.srcSamp(), w, h), d(fn.dst, fn.dstSamp(), w, h);
    s.walk = sw;
    d.walk = dw;
    s.randomize(seed);
    if (pattern)  // every byte value in every channel, body and tail
        for (auto& b : s.b)
            for (int y = 0; y < b.rows(); ++y)
                for (int x = 0; x < b.rowBytes(); ++x) b.row(y)[x] = static_cast<uint8_t>(x * 37 + y * 101);
    Img e = d;
    fn.model(s, e, w, h, allAligned(s, d));
    const CelStatus want = fn.oddWarns() && ((w | h) & 1) ? celStatusOddSize : celStatusOk;
    ASSERT_EQ(callOn(fn, s, d, {w, h}), want) << fn.name << " " << w << "x" << h;
    expectSameBytes(fn, d, e, w, h);
}

void expectSameBytes(const Fn& fn, const Img& d, const Img& e, int w, int h) {
    for (size_t i = 0; i < d.b.size(); ++i) {
        const auto &got = d.b[i].raw(), &exp = e.b[i].raw();
        for (size_t k = 0; k < got.size(); ++k)
            ASSERT_EQ(got[k], exp[k]) << fn.name << " " << w << "x" << h << " plane " << i << " byte " << k
                                      << " (buffer row " << static_cast<int>(k / d.b[i].step()) - 1 << ", column "
                                      << static_cast<int>(k % d.b[i].step()) - 32 << ")";
    }
}

TEST_P(Yuv, MatchesModelAcrossWidthsHeightsAndSteps) {
    const Fn fn = GetParam();
    uint32_t seed = 1;
    for (int h : celtest::testHeights())
        for (int w : celtest::testWidths())
            if (w >= fn.minSize && h >= fn.minSize) runAndCompare(fn, w, h, Walk::Down, Walk::Down, seed++);
    runAndCompare(fn, 1920, 3, Walk::Down, Walk::Down, seed++);
    runAndCompare(fn, 256 * 3 + 15, 2, Walk::Down, Walk::Down, seed++, true);
    for (int w : {5, 16, 33})
        for (int h : {4, 5}) {
            runAndCompare(fn, w, h, Walk::Up, Walk::Down, seed++);
            runAndCompare(fn, w, h, Walk::Up, Walk::Up, seed++);
            runAndCompare(fn, w, h, Walk::Same, Walk::Down, seed++);
        }
}

// Every colour (2^24) as a uniform 2 x 2 block of the 4:2:0 encoders from
// pixels, through the vector body (rows of sixteen blocks) and through the
// scalar blocks (rows of three), in chunks of 2^20 colours: luma and
// chroma see every colour (chroma as the sum of four equal pixels).
TEST_P(Yuv, Encoder420EveryColourAsAUniformBlockThroughBodyAndTail) {
    const Fn fn = GetParam();
    if (fn.samp != Samp::S420 || !fn.encoder() || fn.src == Lay::P3) GTEST_SKIP() << "no 4:2:0 encoder from pixels";
    const bool bgr = fn.name[0] == 'B';
    constexpr int64_t kChunk = int64_t(1) << 20;
    for (int blocksPerRow : {16, 3}) {
        const int w = 2 * blocksPerRow, h = 2 * int(kChunk / blocksPerRow + 1);
        for (int64_t first = 0; first < celtest::sweep24Count(); first += kChunk) {
            Img s(fn.src, Samp::S444, w, h), d(fn.dst, fn.samp, w, h);
            for (int by = 0; by < h / 2; ++by)
                for (int bx = 0; bx < blocksPerRow; ++bx) {
                    int r, g, b;
                    celtest::sweep24Input(first + int64_t(by) * blocksPerRow + bx, r, g, b);
                    for (int k = 0; k < 4; ++k) {
                        const int x = 2 * bx + (k & 1), y = 2 * by + (k >> 1);
                        at(s, fn.src, x, y, 0) = uint8_t(bgr ? b : r);
                        at(s, fn.src, x, y, 1) = uint8_t(g);
                        at(s, fn.src, x, y, 2) = uint8_t(bgr ? r : b);
                    }
                }
            Img e = d;
            fn.model(s, e, w, h, allAligned(s, d));
            ASSERT_EQ(callOn(fn, s, d, {w, h}), celStatusOk) << fn.name;
            expectSameBytes(fn, d, e, w, h);
            if (HasFatalFailure()) return;
        }
    }
}

// Every input of the full-rate forms (2^24 colours, or Y, U, V triples)
// through the vector body (rows of 64) and through the scalar tail (rows
// of 7), in chunks of 2^20: a rounding constant off only at an exact half
// fails here.
TEST_P(Yuv, FullRateEveryInputThroughBodyAndTail) {
    const Fn fn = GetParam();
    if (fn.samp != Samp::S444) GTEST_SKIP() << "subsampled: the block sweeps and models hold these";
    constexpr int64_t kChunk = int64_t(1) << 20;
    for (int w : {64, 7}) {
        const int h = int(std::min(kChunk, celtest::sweep24Count()) / w + 1);
        for (int64_t first = 0; first < celtest::sweep24Count(); first += kChunk) {
            Img s(fn.src, Samp::S444, w, h), d(fn.dst, Samp::S444, w, h);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    int a, b, c;
                    celtest::sweep24Input(first + int64_t(y) * w + x, a, b, c);
                    at(s, fn.src, x, y, 0) = uint8_t(a);
                    at(s, fn.src, x, y, 1) = uint8_t(b);
                    at(s, fn.src, x, y, 2) = uint8_t(c);
                }
            Img e = d;
            fn.model(s, e, w, h, allAligned(s, d));
            ASSERT_EQ(callOn(fn, s, d, {w, h}), celStatusOk) << fn.name;
            expectSameBytes(fn, d, e, w, h);
            if (HasFatalFailure()) return;
        }
    }
}

// ---- Worked values ------------------------------------------------------------------
// Pure red leaves the byte range and is clamped in the scalar recipe (AC4R is
// scalar at every width; its fourth byte stays); mid gray with neutral chroma
// decodes to 128.
TEST(YuvWorked, PureRedAndMidGray) {
    EXPECT_EQ(difference({255, 0, 0}), (Px{76, 90, 255}));
    EXPECT_EQ(invPlain(128, 128, 128), (Px{128, 128, 128}));
    uint8_t red[4 * 17], out[4 * 17], mid[3][5], rgb[3][5];
    for (int x = 0; x < 17; ++x) red[4 * x] = 255, red[4 * x + 1] = red[4 * x + 2] = 0, red[4 * x + 3] = uint8_t(x);
    std::fill(out, out + sizeof out, uint8_t(0xAA));
    std::fill(&mid[0][0], &mid[0][0] + 15, uint8_t(128));
    ASSERT_EQ(celiRGBToYUV_8u_AC4R(red, sizeof red, out, sizeof out, {17, 1}), celStatusOk);
    const uint8_t* src[3] = {mid[0], mid[1], mid[2]};
    uint8_t* dst[3] = {rgb[0], rgb[1], rgb[2]};
    ASSERT_EQ(celiYUVToRGB_8u_P3R(src, 5, dst, 5, {5, 1}), celStatusOk);
    for (int x = 0; x < 17; ++x) {
        EXPECT_EQ((Px{out[4 * x], out[4 * x + 1], out[4 * x + 2]}), (Px{76, 90, 255})) << x;
        EXPECT_EQ(out[4 * x + 3], 0xAA) << x;
        if (x < 5) EXPECT_EQ((Px{rgb[0][x], rgb[1][x], rgb[2][x]}), (Px{128, 128, 128})) << x;
    }
}

// ---- Forms without R: derived steps ----------------------------------------------------
// Plane kinds: 'C' 3w x h, 'Y' w x h, '2' (w/2 + (w&1)) x h, '0' (w/2) x ceil(h/2).
struct Contig {
    const char* name;
    const char* srcKinds;
    const char* dstKinds;
    bool longRow;  // the 4:2:2 encoders: even width and w*h >= 256 run as one row
    CelStatus (*whole)(const uint8_t* const* s, uint8_t* const* d, CelSize);
    CelStatus (*rForm)(const uint8_t* const* s, const int* ss, uint8_t* const* d, const int* ds, CelSize);
};
void PrintTo(const Contig& c, std::ostream* os) { *os << c.name; }

int kindBytes(char k, int w) { return k == 'C' ? 3 * w : k == 'Y' ? w : k == '2' ? w / 2 + (w & 1) : w / 2; }
int kindRows(char k, int h) { return k == '0' ? (h + 1) / 2 : h; }

#define WHOLE(expr) [](const uint8_t* const* s, uint8_t* const* d, CelSize sz) -> CelStatus { return expr; }
#define RFORM(expr) \
    [](const uint8_t* const* s, const int* ss, uint8_t* const* d, const int* ds, CelSize sz) -> CelStatus { return expr; }
#define P3S const_cast<const uint8_t* const*>(s)
#define P3D const_cast<uint8_t**>(d)

const Contig kContig[] = {
    {"RGBToYUV422_C3P3", "C", "Y22", true, WHOLE(celiRGBToYUV422_8u_C3P3(s[0], P3D, sz)),
     RFORM(celiRGBToYUV422_8u_C3P3R(s[0], ss[0], P3D, const_cast<int*>(ds), sz))},
    {"RGBToYUV422_P3", "YYY", "Y22", true, WHOLE(celiRGBToYUV422_8u_P3(P3S, P3D, sz)),
     RFORM(celiRGBToYUV422_8u_P3R(P3S, ss[0], P3D, const_cast<int*>(ds), sz))},
    {"RGBToYUV420_C3P3", "C", "Y00", false, WHOLE(celiRGBToYUV420_8u_C3P3(s[0], P3D, sz)),
     RFORM(celiRGBToYUV420_8u_C3P3R(s[0], ss[0], P3D, const_cast<int*>(ds), sz))},
    {"RGBToYUV420_P3", "YYY", "Y00", false, WHOLE(celiRGBToYUV420_8u_P3(P3S, P3D, sz)),
     RFORM(celiRGBToYUV420_8u_P3R(P3S, ss[0], P3D, const_cast<int*>(ds), sz))},
    {"YUV420ToRGB_P3C3", "Y00", "C", false, WHOLE(celiYUV420ToRGB_8u_P3C3(P3S, d[0], sz)),
     RFORM(celiYUV420ToRGB_8u_P3C3R(P3S, const_cast<int*>(ss), d[0], ds[0], sz))},
    {"YUV420ToRGB_P3", "Y00", "YYY", false, WHOLE(celiYUV420ToRGB_8u_P3(P3S, P3D, sz)),
     RFORM(celiYUV420ToRGB_8u_P3R(P3S, const_cast<int*>(ss), P3D, ds[0], sz))},
    {"YUV422ToRGB_P3C3", "Y22", "C", false, WHOLE(celiYUV422ToRGB_8u_P3C3(P3S, d[0], sz)),
     RFORM(celiYUV422ToRGB_8u_P3C3R(P3S, const_cast<int*>(ss), d[0], ds[0], sz))},
    {"YUV422ToRGB_P3", "Y22", "YYY", false, WHOLE(celiYUV422ToRGB_8u_P3(P3S, P3D, sz)),
     RFORM(celiYUV422ToRGB_8u_P3R(P3S, const_cast<int*>(ss), P3D, ds[0], sz))},
};

class YuvContiguous : public ::testing::TestWithParam<Contig> {};

// Tight planes (step = row bytes, canary rows above and below).
std::vector<ImageBuffer> tight(const char* kinds, int w, int h) {
    std::vector<ImageBuffer> v;
    for (const char* k = kinds; *k; ++k) v.emplace_back(std::max(1, kindBytes(*k, w)), kindRows(*k, h), 0);
    for (auto& b : v) b.fill(0x5A);
    return v;
}

TEST_P(YuvContiguous, MatchesTheRFormWithDerivedSteps) {
    const Contig c = GetParam();
    for (CelSize sz : {CelSize{1, 1}, CelSize{2, 2}, CelSize{7, 3}, CelSize{15, 17}, CelSize{16, 16}, CelSize{32, 8},
                       CelSize{34, 9}, CelSize{33, 20}, CelSize{40, 1}, CelSize{300, 1}}) {
        const int w = sz.width, h = sz.height;
        auto src = tight(c.srcKinds, w, h), dst = tight(c.dstKinds, w, h), ref = dst;
        for (size_t i = 0; i < src.size(); ++i) src[i].randomize(w * 31 + h + static_cast<int>(i));
        const uint8_t* s[3];
        uint8_t *d[3], *r[3];
        int ss[3], ds[3];
        for (size_t i = 0; i < src.size(); ++i) s[i] = src[i].row(0), ss[i] = kindBytes(c.srcKinds[i], w);
        for (size_t i = 0; i < dst.size(); ++i)
            d[i] = dst[i].row(0), r[i] = ref[i].row(0), ds[i] = kindBytes(c.dstKinds[i], w);
        const CelStatus got = c.whole(s, d, sz);
        // One long row: the R form on a single row of w * h pixels with the general kernel.
        const bool longRow = c.longRow && w % 2 == 0 && w * h >= 256;
        const int one[3] = {1, 1, 1};
        const CelStatus want = longRow ? c.rForm(s, one, r, one, {w * h, 1}) : c.rForm(s, ss, r, ds, sz);
        EXPECT_EQ(got, want) << c.name << " " << w << "x" << h;
        for (size_t i = 0; i < dst.size(); ++i)
            ASSERT_EQ(dst[i].raw(), ref[i].raw()) << c.name << " " << w << "x" << h << " plane " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(AllForms, YuvContiguous, ::testing::ValuesIn(kContig),
                         [](const ::testing::TestParamInfo<Contig>& i) { return std::string(i.param.name); });

INSTANTIATE_TEST_SUITE_P(AllForms, Yuv, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

}  // namespace
