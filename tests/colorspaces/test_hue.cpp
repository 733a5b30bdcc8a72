// The hue-based spaces against models by pixel position, special colours
// (grays, primaries, ties, sector boundaries), every 8u triple through body
// and tail, worked values.  HLS in every depth and layout, RGB and BGR order
// (the body takes the uncorrected reciprocal or x 1/60, the tail the
// Newton-refined reciprocal or / 60, with the form's roundings; the dense
// float sweep); HSV in 8u and 16u (reciprocal approximations where the 8u
// forward form takes them, the sextant table in reverse).
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>

#include "celcc.h"
#include "colorspaces/interleaved_check.h"
#include "common/layout_image.h"

namespace {

float rcpApprox(float v) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(v))); }
int roundNearest(float v) { return int(std::nearbyint(v)); }  // default mode: ties to even

// ---- HLS ----------------------------------------------------------------------------------------------
namespace hls {
enum Divide { kTrue, kApprox, kRefined };
float divide(float n, float d, Divide how) {
    if (how == kTrue) return n / d;
    const float q = rcpApprox(d);
    if (how == kApprox) return n * q;
    volatile float twice = q + q, dq = d * q;
    volatile float dqq = dq * q;
    volatile float refined = twice - dqq;
    return n * refined;
}
int roundTrunc(float v) { return int(v); }

// Forward, floats in sample units -> H code, L, S (floats before rounding).
void fwdModel(int full, Divide how, float R, float G, float B, float o[3]) {
    // the greater (the lesser) of each pair, the later one when they tie or
    // are unordered: this fixes signed zeros and NaN
    const float M = R > G ? (R > B ? R : B) : (G > B ? G : B), m = R < G ? (R < B ? R : B) : (G < B ? G : B);
    volatile float s = M + m, D = M - m;
    const float L = s * 0.5f;
    o[1] = L;
    const bool gray = full == 1 ? D <= 1.1920929e-7f : D == 0.0f;
    if (gray) {
        o[0] = o[2] = 0.0f;
        return;
    }
    const float mid = full == 1 ? 0.5f : full == 255 ? 127.5f : 32767.5f;
    const float den = L <= mid ? float(s) : float(2 * full) - s;
    volatile float S = divide(D, den, how);
    if (full != 1) S = S * float(full);
    o[2] = S;
    volatile float deg;
    if (R == M) {
        volatile float t = 60.0f * (G - B);
        deg = divide(t, D, how);
    } else if (G == M) {
        volatile float t = 60.0f * (B - R);
        deg = 120.0f + divide(t, D, how);
    } else {
        volatile float t = 60.0f * (R - G);
        deg = 240.0f + divide(t, D, how);
    }
    if (deg < 0.0f) deg = deg + 360.0f;
    o[0] = full == 1 ? deg / 360.0f : full == 255 ? deg * 0.7083333f : deg * 182.04167f;
}

// Reverse, floats in sample units -> R, G, B in 0..1 (S of 0 left to the caller).
float channel(float m1, float m2, float h, bool mul60) {
    auto sixtieth = [&](float v) { return mul60 ? v * 0.016666668f : v / 60.0f; };
    if (h < 60.0f) {
        volatile float t = (m2 - m1) * h;
        return m1 + sixtieth(t);
    }
    if (h < 180.0f) return m2;
    if (h < 240.0f) {
        volatile float t = (m2 - m1) * (240.0f - h);
        return m1 + sixtieth(t);
    }
    return m1;
}
void revModel(int full, bool mul60, float H, float L, float S, float o[3]) {
    const float toDeg = full == 1 ? 360.0f : full == 255 ? 1.4117647f : 0.005493248f;
    const float unit = full == 1 ? 1.0f : full == 255 ? 0.003921569f : 1.5259022e-5f;
    volatile float deg = H * toDeg, l = L * unit, s = S * unit;
    volatile float m2;
    if (l <= 0.5f) {
        if (full == 1) {
            volatile float t = 1.0f + s;
            m2 = t * l;
        } else {
            volatile float t = l * s;
            m2 = l + t;
        }
    } else {
        volatile float a = l + s, b = s * l;
        m2 = a - b;
    }
    const float m1 = 2.0f * l - m2;
    float hr = deg + 120.0f, hb = deg - 120.0f;
    if (hr > 360.0f) hr -= 360.0f;
    if (hb < 0.0f) hb += 360.0f;
    o[0] = channel(m1, m2, hr, mul60);
    o[1] = channel(m1, m2, deg, mul60);
    o[2] = channel(m1, m2, hb, mul60);
}

int clampTo(int v, int full) { return v < 0 ? 0 : v > full ? full : v; }

// The RGB-order family, one pixel at place x of a row of width w.
template <class T>
void rgbFamily(bool fwd, int x, int w, const T* p, T* out) {
    if constexpr (std::is_same_v<T, float>) {
        const bool body = x < w - w % 4;
        if (fwd) {
            fwdModel(1, kTrue, p[0], p[1], p[2], out);
        } else if (p[2] == 0.0f) {
            out[0] = out[1] = out[2] = p[1];
        } else {
            revModel(1, body, p[0], p[1], p[2], out);
        }
    } else {
        constexpr int full = sizeof(T) == 1 ? 255 : 65535, off = std::is_same_v<T, int16_t> ? 32768 : 0;
        const bool body = x < w - w % 4;
        const float a = float(int(p[0]) + off), b = float(int(p[1]) + off), c = float(int(p[2]) + off);
        int v[3];
        if (fwd) {
            float o[3];
            fwdModel(full, body ? kApprox : kRefined, a, b, c, o);
            const bool nearest = body || sizeof(T) == 1;
            for (int k = 0; k < 3; ++k) v[k] = clampTo(nearest ? roundNearest(o[k]) : roundTrunc(o[k]), full);
        } else if (c == 0.0f) {
            const int lv = sizeof(T) == 1 ? roundTrunc(b * 0.003921569f * 255.0f) : int(b);
            v[0] = v[1] = v[2] = clampTo(lv, full);
        } else {
            float o[3];
            const bool mul60 = body || sizeof(T) == 2, nearest = body || sizeof(T) == 2;
            revModel(full, mul60, a, b, c, o);
            for (int k = 0; k < 3; ++k) {
                volatile float scaled = o[k] * float(full);
                v[k] = clampTo(nearest ? roundNearest(scaled) : roundTrunc(scaled), full);
            }
        }
        for (int k = 0; k < 3; ++k) out[k] = static_cast<T>(v[k] - off);
    }
}

// The BGR family: p is B, G, R (forward) or H, L, S; out is H, L, S or B, G, R.
void bgrFamily(bool fwd, int x, int w, const uint8_t* p, uint8_t* out) {
    const bool body = x < w - w % 8;
    int v[3];
    if (fwd) {
        float o[3];
        fwdModel(255, body ? kApprox : kRefined, p[2], p[1], p[0], o);
        for (int k = 0; k < 3; ++k) v[k] = clampTo(roundTrunc(o[k]), 255);
    } else if (p[2] == 0) {
        v[0] = v[1] = v[2] = clampTo(roundTrunc(float(p[1]) * 0.003921569f * 255.0f), 255);
    } else {
        float o[3];
        revModel(255, true, p[0], p[1], p[2], o);
        for (int k = 0; k < 3; ++k) {
            volatile float scaled = o[2 - k] * 255.0f;
            v[k] = clampTo(roundTrunc(scaled), 255);
        }
    }
    for (int k = 0; k < 3; ++k) out[k] = uint8_t(v[k]);
}

CSTEST_FORMS_BY_DEPTH(RGBToHLS, HLSToRGB)

template <class T>
class HlsRgb : public ::testing::Test {};
TYPED_TEST_SUITE(HlsRgb, cstest::AllDepths);

TYPED_TEST(HlsRgb, MatchesModelEveryForm) {
    using T = TypeParam;
    cstest::checkForms(forms<T>(), cstest::specialPixel<T>,
                       [](const auto& f, int x, int w, const T* p, T* e) { rgbFamily<T>(f.fwd, x, w, p, e); });
}

// ---- BGR family ---------------------------------------------------------------------------------------
enum Form { kC3P3, kP3C3, kP3, kAC4P4, kAP4C4, kAP4, kAC4 };
const char* const kFormName[] = {"C3P3R", "P3C3R", "P3R", "AC4P4R", "AP4C4R", "AP4R", "AC4R"};
bool srcPlanar(Form f) { return f == kP3C3 || f == kP3 || f == kAP4C4 || f == kAP4; }
bool dstPlanar(Form f) { return f == kC3P3 || f == kP3 || f == kAC4P4 || f == kAP4; }
int channels(Form f) { return f >= kAC4P4 ? 4 : 3; }

CelStatus callBgr(bool fwd, Form f, const uint8_t* s, const uint8_t* const* sp, int ss, uint8_t* d, uint8_t** dp, int ds,
                  CelSize roi) {
#define CEL_B(fam)                                                                       \
    switch (f) {                                                                         \
        case kC3P3: return celi##fam##_8u_C3P3R(s, ss, dp, ds, roi);                     \
        case kP3C3: return celi##fam##_8u_P3C3R(sp, ss, d, ds, roi);                     \
        case kP3: return celi##fam##_8u_P3R(sp, ss, dp, ds, roi);                        \
        case kAC4P4: return celi##fam##_8u_AC4P4R(s, ss, dp, ds, roi);                   \
        case kAP4C4: return celi##fam##_8u_AP4C4R(sp, ss, d, ds, roi);                   \
        case kAP4: return celi##fam##_8u_AP4R(sp, ss, dp, ds, roi);                      \
        default: break;                                                                  \
    }
    if (fwd) {
        CEL_B(BGRToHLS)
        return celiBGRToHLS_8u_AC4R(s, ss, d, ds, roi);
    }
    CEL_B(HLSToBGR)
    return celStatusBadArgument;
#undef CEL_B
}

// Source and destination in their layouts, canaries around every row; the
// destination's every byte, canaries included, against the model.
void checkBgr(bool fwd, Form f, int w, int h, uint32_t seed) {
    const int n = channels(f);
    celtest::LayoutImage src(srcPlanar(f) ? n : 1, n, w, h), dst(dstPlanar(f) ? n : 1, n, w, h);
    src.randomize(seed);
    dst.randomize(seed + 1);
    std::mt19937 rng(seed);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t px[3];
            cstest::specialPixel<uint8_t>(rng, px);
            for (int k = 0; k < 3; ++k) src.at(x, y, k) = px[k];
        }
    celtest::LayoutImage expect = dst;
    std::vector<uint8_t*> sp, dp;
    for (size_t k = 0; k < src.bufs.size(); ++k) sp.push_back(src.row(int(k), 0));
    for (size_t k = 0; k < dst.bufs.size(); ++k) dp.push_back(dst.row(int(k), 0));
    const auto csp = const_cast<const uint8_t* const*>(sp.data());
    ASSERT_EQ(callBgr(fwd, f, sp[0], csp, src.step(), dp[0], dp.data(), dst.step(), {w, h}), celStatusOk);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t p[3] = {src.at(x, y, 0), src.at(x, y, 1), src.at(x, y, 2)}, o[3];
            bgrFamily(fwd, x, w, p, o);
            for (int k = 0; k < 3; ++k) expect.at(x, y, k) = o[k];
            if (n == 4 && f != kAC4) expect.at(x, y, 3) = src.at(x, y, 3);  // alpha moves across
        }
    const auto got = dst.snapshot(), want = expect.snapshot();
    for (size_t i = 0; i < got.size(); ++i)
        ASSERT_EQ(got[i], want[i]) << (fwd ? "BGRToHLS_" : "HLSToBGR_") << kFormName[f] << " w " << w << " byte " << i;
}

TEST(HlsBgr, EveryLayoutMatchesModel) {
    uint32_t seed = 5;
    for (bool fwd : {true, false})
        for (int f = kC3P3; f <= kAC4; ++f) {
            if (!fwd && f == kAC4) continue;
            for (int h : {1, 3})
                for (int w : {1, 3, 7, 8, 9, 15, 16, 17, 33, 100}) checkBgr(fwd, Form(f), w, h, seed++);
        }
}

// Rows of 16 run wholly on the body, rows one short of a body's multiple
// (3 pixels in RGB order, 7 in BGR) wholly on the tail.
TEST(HlsSweep, RGBOrder8u) {
    for (const auto& f : forms<uint8_t>())
        if (!f.ac4)
            cstest::sweepEvery8u(f.name, f.fn, 3, 16, 3, [&](int x, int w, const uint8_t* p, uint8_t* o) { rgbFamily<uint8_t>(f.fwd, x, w, p, o); });
}
// The BGR forms through their planar destination, gathered back to pixels.
template <CelStatus (*Fn)(const uint8_t*, int, uint8_t* [3], int, CelSize)>
CelStatus toPlanesAndBack(const uint8_t* s, int ss, uint8_t* d, int, CelSize roi) {
    const size_t n = size_t(roi.width) * roi.height;
    std::vector<uint8_t> planes(n * 3);
    uint8_t* dp[3] = {planes.data(), planes.data() + n, planes.data() + 2 * n};
    const CelStatus st = Fn(s, ss, dp, roi.width, roi);
    for (size_t i = 0; i < n; ++i)
        for (int k = 0; k < 3; ++k) d[3 * i + k] = dp[k][i];
    return st;
}
TEST(HlsSweep, BGROrder8u) {
    for (bool fwd : {true, false})
        cstest::sweepEvery8u(fwd ? "BGRToHLS_C3P3R" : "HLSToBGR_C3P3R",
                             fwd ? toPlanesAndBack<celiBGRToHLS_8u_C3P3R> : toPlanesAndBack<celiHLSToBGR_8u_C3P3R>, 3, 16, 7,
                             [&](int x, int w, const uint8_t* p, uint8_t* o) { bgrFamily(fwd, x, w, p, o); });
}

// 32f both ways over the dense float sweep in rows of 16 (body) and 3
// (tail), each against the model; forward body and tail give the same bits,
// the reverse takes x 0.016666668 in the body and / 60 in the tail.
TEST(HlsSweep, Float32DenseBodyAndTail) {
    for (const auto& f : forms<float>())
        if (!f.ac4)
            cstest::sweep<float, float>(f.name, f.fn, 3, cstest::denseFloatCount(), 16, 3, f.fwd, cstest::denseFloatInput,
                                        [&](int x, int w, const float* p, float* e) { rgbFamily<float>(f.fwd, x, w, p, e); });
}

// ---- Worked values ---------------------------------------------------------------------------------------
// RGB order rounds to nearest (L 127.5 of pure red to even, 359.76 degrees
// to 255), the BGR forms truncate; a float gray within the epsilon has no
// hue or saturation; H = 1 (360 degrees) puts R in the M2 zone and G in the
// M1 zone; S of 0 gives R = G = B = L whatever H holds.
TEST(HlsWorked, DocumentedValues) {
    using W8 = cstest::Worked<uint8_t>;
    const auto any = cstest::kAny;
    cstest::expectWorked<uint8_t, uint8_t>({
        W8{"RGBToHLS_8u_C3R", celiRGBToHLS_8u_C3R, false, {4, 1}, {0, 0, 0}, {0, 0, 0}},
        W8{"RGBToHLS_8u_C3R", celiRGBToHLS_8u_C3R, false, {4, 1}, {255, 255, 255}, {0, 255, 0}},
        W8{"RGBToHLS_8u_C3R", celiRGBToHLS_8u_C3R, false, {4, 1}, {90, 90, 90}, {0, 90, 0}},
        W8{"RGBToHLS_8u_C3R", celiRGBToHLS_8u_C3R, false, {4, 1}, {255, 0, 0}, {0, 128, 255}},
        W8{"RGBToHLS_8u_C3R", celiRGBToHLS_8u_C3R, false, {4, 1}, {0, 255, 0}, {85, any, any}},
        W8{"RGBToHLS_8u_C3R", celiRGBToHLS_8u_C3R, false, {4, 1}, {0, 0, 255}, {170, any, any}},
        W8{"RGBToHLS_8u_C3R", celiRGBToHLS_8u_C3R, false, {4, 1}, {255, 0, 1}, {255, any, any}},
        W8{"BGRToHLS_8u_AC4R", celiBGRToHLS_8u_AC4R, true, {8, 1}, {0, 0, 255}, {0, 127, any}},
        W8{"BGRToHLS_8u_AC4R", celiBGRToHLS_8u_AC4R, true, {8, 1}, {1, 0, 255}, {254, any, any}},
    });
    cstest::expectWorked<float, float>({
        {"RGBToHLS_32f_C3R", celiRGBToHLS_32f_C3R, false, {1}, {0.5f, 0.5f + 1e-8f, 0.5f}, {0, any, 0}},
        {"HLSToRGB_32f_C3R", celiHLSToRGB_32f_C3R, false, {4, 1}, {1.0f, 0.25f, 0.5f}, {0.375, 0.125, any}, 1e-7},
        {"HLSToRGB_32f_C3R", celiHLSToRGB_32f_C3R, false, {4, 1}, {0.3f, 0.7f, 0.0f}, {0.7f, 0.7f, 0.7f}},
        {"HLSToRGB_32f_C3R", celiHLSToRGB_32f_C3R, false, {4, 1}, {0.9f, 0.2f, 0.0f}, {0.2f, 0.2f, 0.2f}},
    });
    cstest::expectWorked<uint16_t, uint16_t>(
        {{"HLSToRGB_16u_C3R", celiHLSToRGB_16u_C3R, false, {4, 1}, {12345, 4321, 0}, {4321, 4321, 4321}}});
}
}  // namespace hls

// ---- HSV ----------------------------------------------------------------------------------------------
namespace hsv {
int maxOf(int a, int b, int c) { return std::max(a, std::max(b, c)); }
int minOf(int a, int b, int c) { return std::min(a, std::min(b, c)); }

void fwd8(const uint8_t* p, int o[3]) {
    const int R = p[0], G = p[1], B = p[2], M = maxOf(R, G, B), D = M - minOf(R, G, B);
    o[2] = M;
    if (M == 0 || D == 0) {
        o[0] = o[1] = 0;
        return;
    }
    const float r1 = rcpApprox(float(D));
    volatile float sm = rcpApprox(float(M)) * float(D);
    o[1] = roundNearest(sm * 255.0f);
    const float a = float(M - R) * r1, b = float(M - G) * r1, c = float(M - B) * r1;
    volatile float h = 0;
    if (M == R) h = c - b;
    if (M == G) {
        volatile float t = a - c;
        h = t + 2.0f;
    }
    if (M == B) {
        volatile float t = b - a;
        h = t + 4.0f;
    }
    float hh = h * 42.5f;
    if (hh < 0) hh += 255.0f;
    o[0] = roundNearest(hh);
}

void fwd16(const uint16_t* p, int o[3]) {
    const int R = p[0], G = p[1], B = p[2], M = maxOf(R, G, B), D = M - minOf(R, G, B);
    o[2] = M;
    float h = 0;
    o[1] = 0;
    if (M != 0 && D != 0) {
        const float q = 1.0f / float(D);
        volatile float ratio = float(D) / float(M);
        volatile float sc = ratio * 65535.0f;
        o[1] = int(sc + 0.5f);
        const float a = float(M - R) * q, b = float(M - G) * q, c = float(M - B) * q;
        volatile float t;
        if (M == B) {
            t = 4.0f - a;
            h = t + b;
        } else if (M == G) {
            t = a + 2.0f;
            h = t - c;
        } else {
            h = c - b;
        }
        volatile float test = h + 1.1920929e-7f;
        if (test < 0) h += 6.0f;
    }
    volatile float scaled = h * 65535.0f;
    volatile float sixth = scaled / 6.0f;
    o[0] = int(sixth + 0.5f);
}

template <int Full>
void rev(int H, int S, int V, int o[3]) {
    if (S == 0) {
        o[0] = o[1] = o[2] = V;
        return;
    }
    volatile float h = 0.0f;
    if (H != Full) {
        volatile float t = Full == 255 ? float(H) * 1.4117647f : float(H) * 0.016666668f;
        h = Full == 255 ? t * 0.016666668f : t * 0.005493248f;
    }
    const int i = int(h);
    const float f = h - float(i);
    volatile float unit = float(S) * (Full == 255 ? 0.003921569f : 1.5259022e-5f);
    const float w = float(V) * unit;
    volatile float fw = f * w;
    volatile float vw = float(V) - w;
    const int lo = roundNearest(vw), down = roundNearest(float(V) - fw), up = roundNearest(vw + fw);
    const int table[6][3] = {{V, up, lo}, {down, V, lo}, {lo, V, up}, {lo, down, V}, {up, lo, V}, {V, lo, down}};
    ASSERT_LT(i, 6);
    for (int k = 0; k < 3; ++k) o[k] = std::min(std::max(table[i][k], 0), Full);
}

template <class T>
void model(bool fwd, const T* p, int o[3]) {
    if constexpr (std::is_same_v<T, uint8_t>) {
        if (fwd)
            fwd8(p, o);
        else
            rev<255>(p[0], p[1], p[2], o);
    } else {
        if (fwd)
            fwd16(p, o);
        else
            rev<65535>(p[0], p[1], p[2], o);
    }
}

template <class T>
std::vector<cstest::Form<T>> forms() {
    if constexpr (std::is_same_v<T, uint8_t>) return CSTEST_FORMS(RGBToHSV, HSVToRGB, 8u);
    else return CSTEST_FORMS(RGBToHSV, HSVToRGB, 16u);
}

// The model's results as samples (no dependence on the pixel's place).
template <class T>
void expected(bool fwd, const T* p, T* e) {
    int o[3];
    model<T>(fwd, p, o);
    for (int k = 0; k < 3; ++k) e[k] = static_cast<T>(o[k]);
}

template <class T>
class Hsv : public ::testing::Test {};
using Depths = ::testing::Types<uint8_t, uint16_t>;
TYPED_TEST_SUITE(Hsv, Depths);

TYPED_TEST(Hsv, MatchesModelEveryForm) {
    using T = TypeParam;
    cstest::checkForms(forms<T>(), cstest::specialPixel<T>, [](const auto& f, int, int, const T* p, T* e) { expected<T>(f.fwd, p, e); });
}

// Every 8u triple, in rows of 16 (wholly on the vector body) and of 3
// (wholly on the scalar tail).
TEST(HsvSweep, EveryTriple8u) {
    for (const auto& f : forms<uint8_t>())
        if (!f.ac4)
            cstest::sweepEvery8u(f.name, f.fn, 3, 16, 3, [&](int, int, const uint8_t* p, uint8_t* e) { expected<uint8_t>(f.fwd, p, e); });
}

// Primaries and grays; blue wins a tie of the maximum (R = B: h = 5, 212.5
// to even); the uncorrected reciprocal of 255 leaves full saturation at 254
// or 255 in 8u; the reverse takes a hue code at either end of the circle as
// 0 (red is V) and S of 0 as gray.
TEST(HsvWorked, DocumentedValues) {
    using W8 = cstest::Worked<uint8_t>;
    using W16 = cstest::Worked<uint16_t>;
    const auto any = cstest::kAny;
    cstest::expectWorked<uint8_t, uint8_t>({
        W8{"RGBToHSV_8u_C3R", celiRGBToHSV_8u_C3R, false, {4, 1}, {0, 0, 0}, {0, 0, 0}},
        W8{"RGBToHSV_8u_C3R", celiRGBToHSV_8u_C3R, false, {4, 1}, {77, 77, 77}, {0, 0, 77}},
        W8{"RGBToHSV_8u_C3R", celiRGBToHSV_8u_C3R, false, {4, 1}, {255, 0, 0}, {0, 254.5, 255}, 0.5},
        W8{"RGBToHSV_8u_C3R", celiRGBToHSV_8u_C3R, false, {4, 1}, {0, 255, 0}, {85, any, any}},
        W8{"RGBToHSV_8u_C3R", celiRGBToHSV_8u_C3R, false, {4, 1}, {0, 0, 255}, {170, any, any}},
        W8{"RGBToHSV_8u_C3R", celiRGBToHSV_8u_C3R, false, {4, 1}, {255, 0, 255}, {212, any, any}},
        W8{"HSVToRGB_8u_C3R", celiHSVToRGB_8u_C3R, false, {4, 1}, {0, 200, 180}, {180, 39, 39}},
        W8{"HSVToRGB_8u_C3R", celiHSVToRGB_8u_C3R, false, {4, 1}, {255, 200, 180}, {180, 39, 39}},
        W8{"HSVToRGB_8u_C3R", celiHSVToRGB_8u_C3R, false, {4, 1}, {0, 0, 99}, {99, 99, 99}},
        W8{"HSVToRGB_8u_C3R", celiHSVToRGB_8u_C3R, false, {4, 1}, {111, 0, 99}, {99, 99, 99}},
    });
    cstest::expectWorked<uint16_t, uint16_t>({
        W16{"RGBToHSV_16u_C3R", celiRGBToHSV_16u_C3R, false, {4, 1}, {65535, 0, 0}, {0, 65535, 65535}},
        W16{"RGBToHSV_16u_C3R", celiRGBToHSV_16u_C3R, false, {4, 1}, {0, 65535, 0}, {21845, any, any}},  // 2 sextants
        W16{"RGBToHSV_16u_C3R", celiRGBToHSV_16u_C3R, false, {4, 1}, {0, 0, 65535}, {43690, any, any}},  // 4 sextants
        W16{"RGBToHSV_16u_C3R", celiRGBToHSV_16u_C3R, false, {4, 1}, {65535, 0, 65535}, {54613, any, any}},
        W16{"RGBToHSV_16u_C3R", celiRGBToHSV_16u_C3R, false, {4, 1}, {300, 300, 300}, {0, 0, 300}},
    });
    const uint16_t s16[6] = {65535, 40000, 50000, 0, 40000, 50000};
    uint16_t o16[6];
    ASSERT_EQ(celiHSVToRGB_16u_C3R(s16, 12, o16, 12, {2, 1}), celStatusOk);
    EXPECT_EQ((std::vector<int>(o16, o16 + 3)), (std::vector<int>(o16 + 3, o16 + 6)));
}
}  // namespace hsv

}  // namespace
