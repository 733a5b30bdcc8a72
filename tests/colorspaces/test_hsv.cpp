// RGB <-> HSV, 8u and 16u, C3 and AC4: a model written from the formulas
// (reciprocal approximations where the 8u forward form takes them, the sextant
// table in reverse), the whole 8u input space through body and tail, special
// colours, worked values, alpha kept, canaries (statuses: the robustness
// table's rows).
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <random>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "colorspaces/interleaved_check.h"

namespace {

// ---- Model ----------------------------------------------------------------------------
float approxRecip(float v) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(v))); }
int toNearest(float v) { return int(std::nearbyint(v)); }  // default mode: ties to even
int maxOf(int a, int b, int c) { return std::max(a, std::max(b, c)); }
int minOf(int a, int b, int c) { return std::min(a, std::min(b, c)); }

void fwd8(const uint8_t* p, int o[3]) {
    const int R = p[0], G = p[1], B = p[2], M = maxOf(R, G, B), D = M - minOf(R, G, B);
    o[2] = M;
    if (M == 0 || D == 0) {
        o[0] = o[1] = 0;
        return;
    }
    const float r1 = approxRecip(float(D));
    volatile float sm = approxRecip(float(M)) * float(D);
    o[1] = toNearest(sm * 255.0f);
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
    o[0] = toNearest(hh);
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
    const int lo = toNearest(vw), down = toNearest(float(V) - fw), up = toNearest(vw + fw);
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

// ---- Forms ------------------------------------------------------------------------------------
template <class T>
cstest::Export<T, T> hsvExport(bool fwd, bool ac4) {
#define CEL_HSV(depth) return fwd ? (ac4 ? celiRGBToHSV_##depth##_AC4R : celiRGBToHSV_##depth##_C3R) \
                              : (ac4 ? celiHSVToRGB_##depth##_AC4R : celiHSVToRGB_##depth##_C3R);
    if constexpr (std::is_same_v<T, uint8_t>) { CEL_HSV(8u) }
    else { CEL_HSV(16u) }
#undef CEL_HSV
}
std::string hsvName(bool fwd, bool ac4) { return std::string(fwd ? "RGBToHSV" : "HSVToRGB") + (ac4 ? "_AC4R" : "_C3R"); }

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
    uint32_t seed = 1;
    for (bool fwd : {true, false})
        for (bool ac4 : {false, true}) {
            cstest::checkEveryWidth<T, T>(hsvName(fwd, ac4), hsvExport<T>(fwd, ac4), ac4, seed, cstest::specialPixel<T>,
                                          [&](int, int, const T* p, T* e) { expected<T>(fwd, p, e); });
            seed += 100;
        }
}

// Every 8u triple, in rows of 16 (wholly on the vector body) and of 3
// (wholly on the scalar tail).
TEST(HsvSweep, EveryTriple8u) {
    for (bool fwd : {true, false})
        cstest::sweepEvery8u(hsvName(fwd, false), hsvExport<uint8_t>(fwd, false), 3, 16, 3,
                             [&](int, int, const uint8_t* p, uint8_t* e) { expected<uint8_t>(fwd, p, e); });
}

// ---- Worked values ---------------------------------------------------------------------------
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

}  // namespace
