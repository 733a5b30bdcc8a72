// RGB <-> LUV and RGB <-> Lab (interleaved) in every depth against a model
// of each form (lab_model.h: the cube-root table rebuilt from its rule,
// series, branches, the processor's reciprocal approximation, rounding by
// the current mode), body and tail told apart by a pixel's place in the
// row: random images, every 8-bit input, the dense float sweep, worked values.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "celcc.h"
#include "colorspaces/interleaved_check.h"
#include "colorspaces/lab_model.h"

namespace {

using namespace lab_model;  // NOLINT: the shared Lab and cube-root model

enum class Depth { u8, u16, s16, f32 };
template <class T>
constexpr Depth depthOf() {
    return std::is_same_v<T, uint8_t> ? Depth::u8 : std::is_same_v<T, uint16_t> ? Depth::u16 : std::is_same_v<T, int16_t> ? Depth::s16 : Depth::f32;
}
template <class T>
float asFloat(T v) {
    return std::is_same_v<T, int16_t> ? float(int(v) + 32768) : float(v);
}

// Forward: one pixel, R G B order given; writes three outputs as float (32f)
// or as the stored integer.
template <class T>
void luvForwardModel(const T* p, bool bgr, bool body, bool ac4, T* q) {
    constexpr Depth dp = depthOf<T>();
    const bool is16 = dp == Depth::u16 || dp == Depth::s16;
    float c[3] = {asFloat(p[bgr ? 2 : 0]), asFloat(p[1]), asFloat(p[bgr ? 0 : 2])};
    if (dp == Depth::u8)
        for (float& v : c) v = v * 0.003921569f;
    const float X = mat(kM[0], c[0], c[1], c[2]), Y = mat(kM[1], c[0], c[1], c[2]), Z = mat(kM[2], c[0], c[1], c[2]);
    // L
    const float yn = is16 ? Y * 1.5259022e-5f : Y;
    const int terms = dp == Depth::u8 ? 4 : (is16 ? 6 : 8);
    float L;
    if (Y <= (is16 ? 580.378f : 0.008856f))
        L = yn * 903.3f;
    else
        L = cbrtModel(yn, terms, dp == Depth::u8 ? kSerLuv8u : kSer) * 116.0f - 16.0f;
    // u', v' by a Newton-corrected reciprocal of D = 3Z + 15Y + X
    const float D = (3.0f * Z + 15.0f * Y) + X;
    const float q0 = rcpA(D), q1 = (q0 + q0) - D * q0 * q0;
    float up = 4.0f * X * q1, vp = 9.0f * Y * q1;
    if (!body && (is16 ? D : Z) == 0.0f) up = vp = 0.0f;
    const float u = 13.0f * L * (up - 0.197839f), v = 13.0f * L * (vp - 0.468342f);
    if constexpr (dp == Depth::f32) {
        q[0] = L, q[1] = u, q[2] = v;
    } else if constexpr (dp == Depth::u8) {
        const float e[3] = {L * 2.55f, (u + 134.0f) * 0.720339f, (v + 140.0f) * 0.97328246f};
        for (int k = 0; k < 3; ++k) q[k] = (!body && ac4) ? T(rnd(e[k]) & 0xFF) : T(clampi(rnd(e[k]), 0, 255));
    } else {
        const float e[3] = {L * 655.35f, (u + 134.0f) * 185.12712f, (v + 140.0f) * 250.13359f + 0.5f};
        for (int k = 0; k < 3; ++k) {
            const int i = clampi((!body && ac4) ? trn(e[k]) : rnd(e[k]), 0, 65535);
            q[k] = T(dp == Depth::s16 ? i - 32768 : i);
        }
    }
}

template <class T>
void luvReverseModel(const T* p, bool bgr, bool body, T* q) {
    constexpr Depth dp = depthOf<T>();
    const bool is16 = dp == Depth::u16 || dp == Depth::s16, is8 = dp == Depth::u8;
    float L = asFloat(p[0]), u = asFloat(p[1]), v = asFloat(p[2]);
    bool black = false;
    if (is8) {
        if (body) {
            L = L * 0.39215687f, u = u * 1.3882353f - 134.0f, v = v * 1.027451f - 140.0f;
            if (L <= 9e-5f) L = L + 9e-5f;
        } else {
            black = p[0] == 0;
            L = L * 100.0f / 255.0f, u = u * 354.0f / 255.0f - 134.0f, v = v * 262.0f / 255.0f - 140.0f;
        }
    } else {
        if (is16) L = L * (100.0f / 65535.0f), u = u * (354.0f / 65535.0f) - 134.0f, v = (v - 0.5f) * (262.0f / 65535.0f) - 140.0f;
        black = L < 9e-5f;
    }
    const float wu = dp == Depth::f32 ? 0.197839f : 0.19783941f, wv = dp == Depth::f32 ? 0.468342f : 0.4683422f;
    const float guard = dp == Depth::f32 ? 1.1920929e-7f : 1.1920929e-5f;
    const float full = is8 ? 255.0f : (is16 ? 65535.0f : 1.0f);
    const bool approx = is8 && body;
    float Y;
    if (body) {
        const float f = (L + 16.0f) * 0.00862069f;
        Y = L >= 7.9996247f ? f * f * f : L * 0.001107052f;
    } else {
        const float f = (L + 16.0f) / 116.0f;
        Y = L >= 7.9996247f ? f * f * f : L / 903.3f;
    }
    Y = Y * full;
    const float a = 13.0f * L;
    float up, vp;
    if (approx) {
        const float ra = rcpA(a);
        up = u * ra + wu, vp = v * ra + wv;
    } else {
        up = u / a + wu, vp = v / a + wv;
    }
    if (std::fabs(vp) < guard) vp = vp + 9e-5f;
    const float e = approx ? Y * rcpA(vp) : Y / vp;
    const float X = 2.25f * up * e;
    const float Z = (3.0f * e - 5.0f * Y) - X / 3.0f;
    T o[3];
    for (int k = 0; k < 3; ++k) {
        const float s = mat(kI[k], X, Y, Z);
        if constexpr (dp == Depth::f32) {
            o[k] = black ? 0.0f : (s < 0.0f ? 0.0f : (s > 1.0f ? 1.0f : s));
        } else {
            int i;
            if (approx)
                i = rnd(s);
            else if (k < 2)
                i = trn(s + 0.5f);
            else
                i = int(std::trunc((double(kI[2][0] * X + kI[2][1] * Y) + 0.5) + double(kI[2][2] * Z)));
            if (black) i = 0;
            i = clampi(i, 0, is8 ? 255 : 65535);
            o[k] = T(dp == Depth::s16 ? i - 32768 : i);
        }
    }
    q[bgr ? 2 : 0] = o[0], q[1] = o[1], q[bgr ? 0 : 2] = o[2];
}

enum class Kind { luvFwd, luvRev, labFwd, labRev };
template <class S, class D>
struct Form {
    const char* name;
    cstest::Export<S, D> fn;
    Kind kind;
    bool bgr, ac4;
};

template <class S, class D>
void model(const Form<S, D>& f, const S* p, bool body, D* q) {
    if constexpr (std::is_same_v<S, D>) {
        if (f.kind == Kind::luvFwd) return luvForwardModel<S>(p, f.bgr, body, f.ac4, q);
        if (f.kind == Kind::luvRev) return luvReverseModel<S>(p, f.bgr, body, q);
    }
    if (f.kind == Kind::labFwd) return labForwardModel<S, D>(p, f.bgr, body, q);
    return labReverseModel<S, D>(p, f.bgr, q);
}

template <class T>
T randomSample(std::mt19937& rng, Kind kind, int channel) {
    if constexpr (std::is_same_v<T, float>) {
        if (kind == Kind::luvFwd || kind == Kind::labFwd) {
            const uint32_t r = rng();
            if (r % 16 == 0) return 0.0f;  // exact black channels reach the zero tests
            if (r % 16 == 1) return 1.0f;
            return std::uniform_real_distribution<float>(0.0f, 1.0f)(rng);
        }
        static const float lo[2][3] = {{0, -134, -140}, {0, -128, -128}}, hi[2][3] = {{100, 220, 122}, {100, 127, 127}};
        const int t = kind == Kind::luvRev ? 0 : 1;
        if (channel == 0 && rng() % 16 == 0) return float(rng() % 3) * 4e-5f;  // at and below the L floor
        return std::uniform_real_distribution<float>(lo[t][channel], hi[t][channel])(rng);
    } else {
        const uint32_t r = rng();
        if (r % 32 == 0) return T(0);
        return static_cast<T>(rng());
    }
}

// Random images over the widths and heights of checkEveryWidth, every
// element against the model (the body: pixels before the last w % 4).
template <class S, class D>
void checkForm(const Form<S, D>& f) {
    cstest::checkEveryWidth<S, D>(f.name, f.fn, f.ac4, 11, [&](std::mt19937& rng, int channel) { return randomSample<S>(rng, f.kind, channel); },
                                  [&](int x, int w, const S* p, D* e) { model(f, p, x < w - w % 4, e); });
}

}  // namespace

#define FORM(S, D, fn, kind, bgr, ac4) Form<S, D>{#fn, fn, Kind::kind, bgr, ac4}
// LUV's RGB forms at one depth (C3 and AC4, both ways), its BGR forms, Lab's four C3 forms.
#define LUV_RGB(T, d)                                                                                                  \
    FORM(T, T, celiRGBToLUV_##d##_C3R, luvFwd, false, false), FORM(T, T, celiRGBToLUV_##d##_AC4R, luvFwd, false, true), \
        FORM(T, T, celiLUVToRGB_##d##_C3R, luvRev, false, false), FORM(T, T, celiLUVToRGB_##d##_AC4R, luvRev, false, true)
#define LUV_BGR(T, d) FORM(T, T, celiBGRToLUV_##d##_C3R, luvFwd, true, false), FORM(T, T, celiLUVToBGR_##d##_C3R, luvRev, true, false)
#define LAB(T, d)                                                                                                     \
    FORM(T, T, celiRGBToLab_##d##_C3R, labFwd, false, false), FORM(T, T, celiBGRToLab_##d##_C3R, labFwd, true, false), \
        FORM(T, T, celiLabToRGB_##d##_C3R, labRev, false, false), FORM(T, T, celiLabToBGR_##d##_C3R, labRev, true, false)

TEST(LuvModel, EveryFormMatchesModel) {
    for (const auto& f : {LUV_RGB(uint8_t, 8u), LUV_BGR(uint8_t, 8u)}) checkForm(f);
    for (const auto& f : {LUV_RGB(uint16_t, 16u)}) checkForm(f);
    for (const auto& f : {LUV_RGB(int16_t, 16s)}) checkForm(f);
    for (const auto& f : {LUV_RGB(float, 32f), LUV_BGR(float, 32f)}) checkForm(f);
}

TEST(LabModel, AllFormsMatchModel) {
    for (const auto& f : {LAB(uint8_t, 8u)}) checkForm(f);
    checkForm(FORM(uint8_t, uint16_t, celiBGRToLab_8u16u_C3R, labFwd, true, false));
    checkForm(FORM(uint16_t, uint8_t, celiLabToBGR_16u8u_C3R, labRev, true, false));
    for (const auto& f : {LAB(float, 32f)}) checkForm(f);
}

// Every 8-bit input through the body (rows of 4) and the tail (rows of 1):
// LUV and Lab both ways, the 8u16u Lab form on every seventh colour.
template <class D>
void sweep(const Form<uint8_t, D>& f, int stride = 1) {
    cstest::sweepEvery8u<D>(f.name, f.fn, 3, 4, 1, [&](int x, int w, const uint8_t* p, D* e) { model(f, p, x < w - w % 4, e); },
                            stride);
}
TEST(LuvLabSweep, Every8BitInputThroughBodyAndTail) {
    sweep(FORM(uint8_t, uint8_t, celiRGBToLUV_8u_C3R, luvFwd, false, false));
    sweep(FORM(uint8_t, uint8_t, celiLUVToRGB_8u_C3R, luvRev, false, false));
    sweep(FORM(uint8_t, uint8_t, celiRGBToLab_8u_C3R, labFwd, false, false));
    sweep(FORM(uint8_t, uint8_t, celiLabToRGB_8u_C3R, labRev, false, false));
    sweep(FORM(uint8_t, uint16_t, celiBGRToLab_8u16u_C3R, labFwd, true, false), 7);
}

// 32f forward over the dense float sweep (every 8-bit-valued colour, then
// out-of-range, signed-zero, infinite, NaN and random samples) in rows of 100
// (the body's groups over a full block and a part) and 3 (tail), each
// against the model bit for bit (a NaN result only as a NaN: which
// operand's NaN survives is the compiler's choice).
TEST(LabSweep, RGBToLab32fDenseBodyAndTail) {
    for (bool bgr : {false, true})
        cstest::sweep<float, float>(bgr ? "BGRToLab_32f_C3R" : "RGBToLab_32f_C3R", bgr ? celiBGRToLab_32f_C3R : celiRGBToLab_32f_C3R, 3,
                           cstest::denseFloatCount() / (bgr ? 7 : 1), 100, 3, false,
                           [&](int64_t i, float* p) { cstest::denseFloatInput(bgr ? i * 7 : i, p); },
                           [&](int, int, const float* p, float* e) { labForwardModel<float, float>(p, bgr, true, e); });
}

// Black by the LUV tail: Z is 0, so u' = v' = 0 and L = 0, U = round(134 *
// 0.720339), V = round(140 * 0.97328246); white: L near full scale, u and v
// near 0; the reverse has an L byte of 0 black in the tail whatever U and V
// hold; Lab has no linear branch in the reverse: (0, 128, 128) gives
// 0.0026241 * 255 = 0.67, rounded to 1.
TEST(LuvLabWorked, EightBitBlackAndWhite) {
    using W = cstest::Worked<uint8_t>;
    cstest::expectWorked<uint8_t, uint8_t>({
        W{"RGBToLUV_8u_C3R", celiRGBToLUV_8u_C3R, false, {1}, {0, 0, 0}, {0, 97, 136}},
        W{"RGBToLUV_8u_AC4R", celiRGBToLUV_8u_AC4R, true, {3}, {0, 0, 0}, {0, 97, 136}},
        W{"RGBToLUV_8u_C3R", celiRGBToLUV_8u_C3R, false, {1, 4}, {255, 255, 255}, {255, 97, 136}, 1},
        W{"LUVToRGB_8u_C3R", celiLUVToRGB_8u_C3R, false, {1}, {0, 0, 255}, {0, 0, 0}},
        W{"LUVToRGB_8u_C3R", celiLUVToRGB_8u_C3R, false, {1}, {0, 97, 158}, {0, 0, 0}},
        W{"LUVToRGB_8u_C3R", celiLUVToRGB_8u_C3R, false, {1}, {0, 200, 55}, {0, 0, 0}},
        W{"LUVToRGB_8u_C3R", celiLUVToRGB_8u_C3R, false, {1}, {0, 255, 0}, {0, 0, 0}},
        W{"RGBToLab_8u_C3R", celiRGBToLab_8u_C3R, false, {1, 4}, {0, 0, 0}, {0, 128, 128}},
        W{"RGBToLab_8u_C3R", celiRGBToLab_8u_C3R, false, {1, 4}, {255, 255, 255}, {255, 128, 128}, 1},
        W{"LabToRGB_8u_C3R", celiLabToRGB_8u_C3R, false, {1, 4}, {0, 128, 128}, {1, 1, 1}},
    });
    cstest::expectWorked<uint8_t, uint16_t>({{"BGRToLab_8u16u_C3R", celiBGRToLab_8u16u_C3R, false, {1, 4}, {255, 255, 255},
                                              {65535, 32640, 32640}, 40}});
    // the float reverse of Lab (0, 0, 0): (16 / 116)^3 on each channel
    cstest::expectWorked<float, float>({{"LabToRGB_32f_C3R", celiLabToRGB_32f_C3R, false, {1, 4}, {0, 0, 0},
                                         {0.0026241, 0.0026241, 0.0026241}, 2e-5}});
}

// v' = v / (13 L) + 0.468342 is 0 for v = -0.468342 * 13 L: the guard keeps
// the division finite.
TEST(LuvLabWorked, FloatReverseGuardKeepsDivisionFinite) {
    const float L = 50.0f, v = -0.468342f * 13.0f * L;
    for (int w : {1, 4}) {
        std::vector<float> src, dst(3 * w);
        for (int i = 0; i < w; ++i) src.insert(src.end(), {L, 10.0f, v});
        ASSERT_EQ(celiLUVToRGB_32f_C3R(src.data(), 12 * w, dst.data(), 12 * w, {w, 1}), celStatusOk);
        for (float o : dst) EXPECT_FALSE(std::isnan(o));
    }
}
