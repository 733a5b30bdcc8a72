// RGB/BGR <-> HLS in every depth and layout: a model written from the
// formulas, by pixel position (the body takes the uncorrected reciprocal or
// x 1/60, the tail the Newton-refined reciprocal or / 60, with the form's
// roundings), the whole 8u input space, special colours, worked values,
// alpha handling, guards.  Statuses and check order: the robustness
// table's rows (tests/robust).
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <random>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "colorspaces/interleaved_check.h"
#include "common/layout_image.h"

namespace {

// ---- Model ----------------------------------------------------------------------------------
enum Divide { kTrue, kApprox, kRefined };
float rcpApprox(float v) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(v))); }
float divide(float n, float d, Divide how) {
    if (how == kTrue) return n / d;
    const float q = rcpApprox(d);
    if (how == kApprox) return n * q;
    volatile float twice = q + q, dq = d * q;
    volatile float dqq = dq * q;
    volatile float refined = twice - dqq;
    return n * refined;
}
int roundNearest(float v) { return int(std::nearbyint(v)); }
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

// ---- RGB-order family ------------------------------------------------------------------------------
template <class T>
cstest::Export<T, T> rgbExport(bool fwd, bool ac4) {
#define CEL_HLS(depth) return fwd ? (ac4 ? celiRGBToHLS_##depth##_AC4R : celiRGBToHLS_##depth##_C3R) \
                              : (ac4 ? celiHLSToRGB_##depth##_AC4R : celiHLSToRGB_##depth##_C3R);
    if constexpr (std::is_same_v<T, uint8_t>) { CEL_HLS(8u) }
    else if constexpr (std::is_same_v<T, uint16_t>) { CEL_HLS(16u) }
    else if constexpr (std::is_same_v<T, int16_t>) { CEL_HLS(16s) }
    else { CEL_HLS(32f) }
#undef CEL_HLS
}
std::string rgbName(bool fwd, bool ac4) { return std::string(fwd ? "RGBToHLS" : "HLSToRGB") + (ac4 ? "_AC4R" : "_C3R"); }

template <class T>
class HlsRgb : public ::testing::Test {};
using Depths = ::testing::Types<uint8_t, uint16_t, int16_t, float>;
TYPED_TEST_SUITE(HlsRgb, Depths);

TYPED_TEST(HlsRgb, MatchesModelEveryForm) {
    using T = TypeParam;
    uint32_t seed = 1;
    for (bool fwd : {true, false})
        for (bool ac4 : {false, true}) {
            cstest::checkEveryWidth<T, T>(rgbName(fwd, ac4), rgbExport<T>(fwd, ac4), ac4, seed, cstest::specialPixel<T>,
                                          [&](int x, int w, const T* p, T* e) { rgbFamily<T>(fwd, x, w, p, e); });
            seed += 100;
        }
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

// ---- The whole 8u space ------------------------------------------------------------------------------------
// Rows of 16 run wholly on the body, rows one short of a body's multiple
// (3 pixels in RGB order, 7 in BGR) wholly on the tail.
TEST(HlsSweep, RGBOrder8u) {
    for (bool fwd : {true, false})
        cstest::sweepEvery8u(rgbName(fwd, false), rgbExport<uint8_t>(fwd, false), 3, 16, 3,
                             [&](int x, int w, const uint8_t* p, uint8_t* o) { rgbFamily<uint8_t>(fwd, x, w, p, o); });
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
    cstest::sweepEvery8u("BGRToHLS_C3P3R", toPlanesAndBack<celiBGRToHLS_8u_C3P3R>, 3, 16, 7,
                         [](int x, int w, const uint8_t* p, uint8_t* o) { bgrFamily(true, x, w, p, o); });
    cstest::sweepEvery8u("HLSToBGR_C3P3R", toPlanesAndBack<celiHLSToBGR_8u_C3P3R>, 3, 16, 7,
                         [](int x, int w, const uint8_t* p, uint8_t* o) { bgrFamily(false, x, w, p, o); });
}

// ---- 32f: the dense float sweep (every 8-bit-valued colour, then special floats) -------------------
// Rows of 16 (body) and 3 (tail) of the same inputs: the model, and the same
// bits in both.
TEST(HlsSweep, RGBToHLS32fDense) {
    cstest::sweepFloat("RGBToHLS_32f_C3R", celiRGBToHLS_32f_C3R, cstest::denseFloatCount(), 16, 3, true, cstest::denseFloatInput,
                       [](int x, int w, const float* p, float* e) { rgbFamily<float>(true, x, w, p, e); });
}

// The reverse over the same inputs read as H, L, S: body (x 0.016666668) and
// tail (/ 60) each against the model.
TEST(HlsSweep, HLSToRGB32fDense) {
    cstest::sweepFloat("HLSToRGB_32f_C3R", celiHLSToRGB_32f_C3R, cstest::denseFloatCount(), 16, 3, false,
                       cstest::denseFloatInput, [](int x, int w, const float* p, float* e) { rgbFamily<float>(false, x, w, p, e); });
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

}  // namespace
