// Colour twist in every depth and layout against a model written here from
// the formulas: random images and matrices (identity, channel swaps,
// negative and large factors and offsets that saturate, NaN) over widths
// that hit the four-pixel body and the tail, odd heights, in place and not;
// guard samples and alpha untouched; the integer forms round to nearest
// even under any rounding mode of the caller, which is restored; the float
// forms keep the caller's mode; the 32f C3R and C4R paths; worked values;
// a null matrix refused.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "common/sweep24.h"

namespace {

using Mat = float[3][4];

enum class Form { C3R, C3IR, AC4R, AC4IR, P3R, IP3R };
const Form kForms[] = {Form::C3R, Form::C3IR, Form::AC4R, Form::AC4IR, Form::P3R, Form::IP3R};
const char* name(Form f) {
    static const char* n[] = {"C3R", "C3IR", "AC4R", "AC4IR", "P3R", "IP3R"};
    return n[static_cast<int>(f)];
}
bool planar(Form f) { return f == Form::P3R || f == Form::IP3R; }
bool inPlace(Form f) { return f == Form::C3IR || f == Form::AC4IR || f == Form::IP3R; }
int channels(Form f) { return (f == Form::AC4R || f == Form::AC4IR) ? 4 : (planar(f) ? 1 : 3); }

// ---- Calls by form ------------------------------------------------------------------------------
template <class T>
struct Api;
#define CEL_TWIST_API(T, prefix)                                                                               \
    template <>                                                                                              \
    struct Api<T> {                                                                                          \
        static CelStatus call(Form f, const T* s, int ss, T* d, int ds, T* const* sp, T* const* dp,          \
                              CelSize roi, const Mat m) {                                                    \
            const T* const* csp = const_cast<const T* const*>(sp);                                           \
            T** mdp = const_cast<T**>(dp);                                                                   \
            switch (f) {                                                                                     \
                case Form::C3R: return prefix##_C3R(s, ss, d, ds, roi, m);                                   \
                case Form::C3IR: return prefix##_C3IR(d, ds, roi, m);                                        \
                case Form::AC4R: return prefix##_AC4R(s, ss, d, ds, roi, m);                                 \
                case Form::AC4IR: return prefix##_AC4IR(d, ds, roi, m);                                      \
                case Form::P3R: return prefix##_P3R(csp, ss, mdp, ds, roi, m);                               \
                case Form::IP3R: return prefix##_IP3R(mdp, ds, roi, m);                                      \
            }                                                                                                \
            return celStatusOk;                                                                              \
        }                                                                                                    \
    };
CEL_TWIST_API(uint8_t, celiColorTwist32f_8u)
CEL_TWIST_API(uint16_t, celiColorTwist32f_16u)
CEL_TWIST_API(int16_t, celiColorTwist32f_16s)
CEL_TWIST_API(float, celiColorTwist_32f)
#undef CEL_TWIST_API

// ---- The model -----------------------------------------------------------------------------------
template <class T>
constexpr bool kFloat = std::is_same_v<T, float>;

// The limits of a depth, and rounding to nearest with ties to even in
// double (exact for every float), whatever the processor's mode.
template <class T>
double upper() {
    return std::is_same_v<T, uint8_t> ? 255.0 : std::is_same_v<T, uint16_t> ? 65535.0 : 32767.0;
}
template <class T>
double lower() {
    return std::is_same_v<T, int16_t> ? -32768.0 : 0.0;
}
double nearestEven(double v) {
    const double f = std::floor(v), frac = v - f;
    if (frac > 0.5) return f + 1;
    if (frac < 0.5) return f;
    return std::fmod(f, 2.0) == 0.0 ? f : f + 1;
}

// Output r of the sample triple, then (integer depths) limited: NaN and
// anything not below the upper limit give the upper limit.
template <class T>
T modelOut(const Mat m, int r, float s0, float s1, float s2) {
    const float p0 = s0 * m[r][0], p1 = s1 * m[r][1], p2 = s2 * m[r][2];
    const float v = (m[r][3] + p0) + (p2 + p1);
    if constexpr (kFloat<T>) {
        return v;
    } else {
        double x = v < float(upper<T>()) ? double(v) : upper<T>();
        x = x > lower<T>() ? x : lower<T>();
        return static_cast<T>(nearestEven(x));
    }
}

// Equal samples; any two NaNs count as equal (which operand's payload an
// addition of two NaNs keeps is the compiler's choice of operand order).
template <class T>
bool same(T a, T b) {
    if constexpr (kFloat<T>)
        if (std::isnan(a) && std::isnan(b)) return true;
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Guard samples: values no call here produces.
template <class T>
T guard(size_t i) {
    if constexpr (kFloat<T>) {
        return -1.0e30f - float(i & 0xFF) * 1.0e24f;
    } else {
        return static_cast<T>(0xA5 + i * 7);
    }
}

template <class T>
T randomSample(std::mt19937& rng) {
    if constexpr (kFloat<T>) {
        switch (rng() % 40) {
            case 0: return std::numeric_limits<float>::quiet_NaN();
            case 1: return std::numeric_limits<float>::infinity();
            case 2: return -0.0f;
            default: return std::uniform_real_distribution<float>(-2.0f, 300.0f)(rng);
        }
    } else {
        return static_cast<T>(rng());
    }
}

// Matrices: identity, a channel swap, random ones of growing size.
void makeMatrix(int kind, std::mt19937& rng, Mat m) {
    std::uniform_real_distribution<float> small(-2.0f, 2.0f), offset(-300.0f, 300.0f), big(-1000.0f, 1000.0f);
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 4; ++k) {
            switch (kind) {
                case 0: m[r][k] = (r == k) ? 1.0f : 0.0f; break;
                case 1: m[r][k] = (k == 2 - r) ? 1.0f : 0.0f; break;
                case 2: m[r][k] = k == 3 ? offset(rng) : small(rng); break;
                case 3: m[r][k] = big(rng); break;
                default: m[r][k] = k == 3 ? 0.5f : float(int(rng() % 5) - 2) * 0.5f; break;  // exact halves: ties
            }
        }
}

// An image of one form: rows of rowElems samples between `pad` guards.
template <class T>
struct Image {
    int rowElems, pad, height, planes, step;  // step in samples
    std::vector<std::vector<T>> mem;
    Image(int rowElems_, int height_, int planes_, int pad_ = 3)
        : rowElems(rowElems_), pad(pad_), height(height_), planes(planes_), step(rowElems_ + 2 * pad_) {
        mem.assign(planes, std::vector<T>(size_t(step) * height + 2 * pad));
    }
    T* plane(int k) { return mem[k].data() + pad; }
    int stepBytes() const { return step * int(sizeof(T)); }
};

// Runs form f on a random w x h image with matrix m and compares every
// sample of the destination's mappings with the model.
template <class T>
void checkForm(Form f, int w, int h, const Mat m, std::mt19937& rng) {
    const int ch = channels(f), planes = planar(f) ? 3 : 1;
    Image<T> src(w * ch, h, planes), dst(w * ch, h, planes);
    for (int k = 0; k < planes; ++k)
        for (size_t i = 0; i < src.mem[k].size(); ++i) src.mem[k][i] = randomSample<T>(rng), dst.mem[k][i] = guard<T>(i);
    if (inPlace(f)) dst.mem = src.mem;
    const auto before = dst.mem;
    T* sp[3] = {src.plane(0), planes > 1 ? src.plane(1) : nullptr, planes > 1 ? src.plane(2) : nullptr};
    T* dp[3] = {dst.plane(0), planes > 1 ? dst.plane(1) : nullptr, planes > 1 ? dst.plane(2) : nullptr};
    ASSERT_EQ(Api<T>::call(f, src.plane(0), src.stepBytes(), dst.plane(0), dst.stepBytes(), sp, dp, {w, h}, m), celStatusOk);
    const auto& in = inPlace(f) ? before : src.mem;
    // the integer forms compute in round-to-nearest whatever the caller set
    struct Mode {
        unsigned saved = _mm_getcsr();
        ~Mode() { _mm_setcsr(saved); }
    } mode;
    if constexpr (!kFloat<T>) _mm_setcsr(mode.saved & ~0x6000u);
    for (int k = 0; k < planes; ++k)
        for (size_t i = 0; i < dst.mem[k].size(); ++i) {
            const long rel = long(i) - dst.pad, y = rel / dst.step, x = rel % dst.step;
            const bool inside = rel >= 0 && y < h && x < w * ch && !(ch == 4 && x % 4 == 3);
            T want = before[k][i];
            if (inside) {
                if (planes == 3) {
                    want = modelOut<T>(m, k, float(in[0][i]), float(in[1][i]), float(in[2][i]));
                } else {
                    const size_t p = i - size_t(x % ch);
                    want = modelOut<T>(m, int(x % ch), float(in[0][p]), float(in[0][p + 1]), float(in[0][p + 2]));
                }
            }
            ASSERT_TRUE(same(dst.mem[k][i], want))
                << name(f) << " w " << w << " h " << h << " plane " << k << " x " << x << " y " << y << ": got "
                << double(dst.mem[k][i]) << " want " << double(want);
        }
}

template <class T>
class Twist : public ::testing::Test {};
using Depths = ::testing::Types<uint8_t, uint16_t, int16_t, float>;
TYPED_TEST_SUITE(Twist, Depths);

TYPED_TEST(Twist, EveryFormMatchesTheModel) {
    std::mt19937 rng(24);
    Mat m;
    for (int kind = 0; kind < 5; ++kind)
        for (Form f : kForms)
            for (int h : {1, 3})
                for (int w : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33, 100}) {
                    makeMatrix(kind, rng, m);
                    checkForm<TypeParam>(f, w, h, m, rng);
                    if (::testing::Test::HasFatalFailure()) return;
                }
}

// A NaN factor: the integer forms give the upper limit, the float forms NaN;
// infinite factors and a huge negative offset go to the limits.
TYPED_TEST(Twist, NaNTakesTheUpperLimit) {
    std::mt19937 rng(5);
    Mat m = {{1, 0, 0, 0}, {0, std::numeric_limits<float>::quiet_NaN(), 0, 0}, {0, 0, 1, 0}};
    const float inf = std::numeric_limits<float>::infinity();
    Mat edges = {{-inf, 0, 0, 0}, {0, inf, 0, 0}, {0, 0, 1, -1e30f}};  // zero samples make NaN of the infinities
    for (Form f : kForms) checkForm<TypeParam>(f, 21, 2, m, rng), checkForm<TypeParam>(f, 21, 2, edges, rng);
}

// The caller's rounding mode: the integer forms round to nearest even in
// every mode and give it back; the float forms compute in it and keep it.
TYPED_TEST(Twist, CallersRoundingModeKeptAndRestored) {
    using T = TypeParam;
    const unsigned saved = _mm_getcsr();
    std::mt19937 rng(7);
    Mat m;
    for (unsigned mode : {0x0000u, 0x2000u, 0x4000u, 0x6000u}) {
        for (Form f : kForms)
            for (int w : {3, 6}) {
                makeMatrix(w == 3 ? 4 : 2, rng, m);
                _mm_setcsr((saved & ~0x6000u) | mode);
                const unsigned caller = _mm_getcsr();
                checkForm<T>(f, w, 2, m, rng);  // the float model computes in the caller's mode too
                const unsigned after = _mm_getcsr();
                _mm_setcsr(saved);
                ASSERT_EQ(after & ~0x3Fu, caller & ~0x3Fu) << name(f) << " mode " << mode;
                if (::testing::Test::HasFatalFailure()) return;
            }
        // an error return changes nothing either
        _mm_setcsr((saved & ~0x6000u) | mode);
        const unsigned caller = _mm_getcsr();
        T s[3] = {};
        const CelStatus st = Api<T>::call(Form::C3R, s, 3, nullptr, 3, nullptr, nullptr, {1, 1}, m);
        const unsigned after = _mm_getcsr();
        _mm_setcsr(saved);
        ASSERT_EQ(st, celStatusNullPointer);
        ASSERT_EQ(after & ~0x3Fu, caller & ~0x3Fu);
    }
}

// ---- Every 8u input ------------------------------------------------------------------------------
// All 2^24 colours through the C3, AC4 and planar 8u forms, as tall images
// of narrow rows: 16 (C3 only) and 4 pixels wide (vector bodies only) and 3
// wide (the scalar tail alone), with matrices of exact halves (ties both ways),
// offsets that saturate at both limits, and a colour matrix whose sums are
// rarely exact.  AC4 alpha keeps its guard value.
TEST(TwistSweep, Every8uInputThroughBodyAndTail) {
    const Mat mats[] = {{{0.5f, 0.25f, 0.25f, 0.5f}, {0.5f, -0.5f, 0.5f, 127.5f}, {-0.25f, 0.75f, 0.5f, 0.0f}},
                        {{1.5f, -0.75f, 0.5f, -20.25f}, {-1.0f, 2.0f, 0.5f, 10.5f}, {0.125f, 0.5f, 1.25f, -100.0f}},
                        {{1.6809f, -0.5729f, -0.1080f, 0.0f}, {-0.1848f, 1.4321f, -0.2473f, 0.31f},
                         {0.0257f, -0.5062f, 1.4805f, -0.5f}}};
    const int64_t count = celtest::sweep24Count();
    std::vector<uint8_t> want(size_t(count) * 3);
    for (const auto& m : mats) {
        for (int64_t i = 0; i < count; ++i) {
            int c[3];
            celtest::sweep24Input(i, c[0], c[1], c[2]);
            for (int k = 0; k < 3; ++k) want[size_t(i) * 3 + k] = modelOut<uint8_t>(m, k, float(c[0]), float(c[1]), float(c[2]));
        }
        for (Form f : {Form::C3R, Form::AC4R, Form::P3R})
            for (int w : {16, 4, 3}) {
                if (w == 16 && f != Form::C3R) continue;
                const int ch = channels(f), planes = planar(f) ? 3 : 1, h = celtest::sweep24Rows(w);
                const size_t n = size_t(w) * h;
                std::vector<std::vector<uint8_t>> src(planes, std::vector<uint8_t>(n * ch)), dst = src;
                for (size_t i = 0; i < n; ++i) {
                    int c[3];
                    celtest::sweep24Input(int64_t(i) % count, c[0], c[1], c[2]);
                    for (int k = 0; k < 3; ++k) (planes == 3 ? src[k][i] : src[0][i * ch + k]) = uint8_t(c[k]);
                }
                for (auto& p : dst) std::fill(p.begin(), p.end(), uint8_t(0x5A));
                uint8_t* sp[3] = {src[0].data(), planes > 1 ? src[1].data() : nullptr, planes > 1 ? src[2].data() : nullptr};
                uint8_t* dp[3] = {dst[0].data(), planes > 1 ? dst[1].data() : nullptr, planes > 1 ? dst[2].data() : nullptr};
                ASSERT_EQ(Api<uint8_t>::call(f, sp[0], w * ch, dp[0], w * ch, sp, dp, {w, h}, m), celStatusOk);
                for (size_t i = 0; i < n; ++i) {
                    const uint8_t* e = &want[size_t(int64_t(i) % count) * 3];
                    for (int k = 0; k < ch; ++k) {
                        const uint8_t got = planes == 3 ? dst[k][i] : dst[0][i * ch + k], w8 = k == 3 ? 0x5A : e[k];
                        if (got != w8)
                            FAIL() << name(f) << " w " << w << " colour " << int(src[0][i * ch]) << " channel " << k
                                   << ": got " << int(got) << " want " << int(w8);
                    }
                }
            }
    }
}

// ---- Worked values -----------------------------------------------------------------------------------
TEST(TwistWorked, RoundingAndLimits) {
    const unsigned saved = _mm_getcsr();
    const Mat half = {{0.5f, 0, 0, 0}, {0, 0.5f, 0, 0}, {0, 0, 0.5f, 0}};
    const uint8_t s[3] = {1, 3, 5};  // 0.5, 1.5, 2.5
    for (unsigned mode : {0x0000u, 0x2000u, 0x4000u, 0x6000u}) {
        uint8_t d[3] = {9, 9, 9};
        _mm_setcsr((saved & ~0x6000u) | mode);
        const CelStatus st = celiColorTwist32f_8u_C3R(s, 3, d, 3, {1, 1}, half);
        const unsigned after = _mm_getcsr();
        _mm_setcsr(saved);
        ASSERT_EQ(st, celStatusOk);
        EXPECT_EQ(d[0], 0) << mode;
        EXPECT_EQ(d[1], 2) << mode;
        EXPECT_EQ(d[2], 2) << mode;
        EXPECT_EQ(after & 0x6000u, mode);
    }
    const Mat up = {{1, 0, 0, 300}, {0, 1, 0, 300}, {0, 0, 1, 300}}, down = {{1, 0, 0, -300}, {0, 1, 0, -300}, {0, 0, 1, -300}};
    uint8_t px[6] = {0, 128, 255, 7, 8, 9}, d[6];
    ASSERT_EQ(celiColorTwist32f_8u_C3R(px, 6, d, 6, {2, 1}, up), celStatusOk);
    for (uint8_t v : d) EXPECT_EQ(v, 255);
    ASSERT_EQ(celiColorTwist32f_8u_C3R(px, 6, d, 6, {2, 1}, down), celStatusOk);
    for (uint8_t v : d) EXPECT_EQ(v, 0);
    const Mat id = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
    int16_t s16[6] = {-32768, 32767, 0, -1, 1, -32768}, d16[6];
    ASSERT_EQ(celiColorTwist32f_16s_C3R(s16, 12, d16, 12, {2, 1}, id), celStatusOk);
    EXPECT_EQ(std::memcmp(s16, d16, sizeof s16), 0);
    uint16_t u16[6] = {0, 65535, 1, 65534, 32768, 7}, e16[6];
    ASSERT_EQ(celiColorTwist32f_16u_C3R(u16, 12, e16, 12, {2, 1}, id), celStatusOk);
    EXPECT_EQ(std::memcmp(u16, e16, sizeof u16), 0);
}

// 32f C3R: gap-free images as one row, the non-temporal path from 34993
// samples on, sources not 16-byte aligned: all equal to the model.
TEST(TwistPaths, Float3x4Paths) {
    std::mt19937 rng(3);
    Mat m;
    makeMatrix(2, rng, m);
    // 34992 and 34995 samples in one row; small and large images row by row
    const CelSize sizes[] = {{11664, 1}, {11665, 1}, {5, 7}, {1000, 12}, {3, 2}};
    for (CelSize sz : sizes)
        for (int gap : {0, 4})
            for (int lead : {0, 1, 2, 3}) {
                const int stepF = sz.width * 3 + gap;
                std::vector<float> src(size_t(stepF) * sz.height + 4), dst(src.size(), -7.0f);
                for (float& v : src) v = randomSample<float>(rng);
                ASSERT_EQ(celiColorTwist_32f_C3R(src.data() + lead, stepF * 4, dst.data() + lead, stepF * 4, sz, m),
                          celStatusOk);
                for (size_t i = 0; i < dst.size(); ++i) {
                    const long rel = long(i) - lead, x = rel % stepF;
                    float want = -7.0f;
                    if (rel >= 0 && rel / stepF < sz.height && x < sz.width * 3) {
                        const size_t p = i - size_t(x % 3);
                        want = modelOut<float>(m, int(x % 3), src[p], src[p + 1], src[p + 2]);
                    }
                    ASSERT_TRUE(same(dst[i], want)) << sz.width << "x" << sz.height << " gap " << gap << " lead " << lead
                                                    << " at " << i;
                }
            }
}

// 4x4 on four channels: every path (aligned pairs, 8-byte moves, scalar),
// all four channels rewritten; steps of width * 16 go row by row, steps of
// width * 4 make the image one row of width * height pixels.
TEST(TwistPaths, FourByFour) {
    std::mt19937 rng(44);
    float m[4][4];
    for (auto& row : m)
        for (float& v : row) v = std::uniform_real_distribution<float>(-2, 2)(rng);
    auto model = [&](const float* s, int r) { return s[3] * m[r][3] + (s[2] * m[r][2] + (s[0] * m[r][0] + s[1] * m[r][1])); };
    for (int lead : {0, 1, 2, 3})
        for (int w : {1, 2, 3, 8, 17}) {
            const int h = 3, stepF = w * 4 + 4;  // four guard samples a row
            // source 16-, 4-, 8- and 12-byte past a 16-byte boundary; the
            // destination too where the source is 4 past
            const int dlead = lead == 1 ? 1 : 0;
            std::vector<float> src(size_t(stepF) * h + 8), dst(src.size(), -9.0f);
            for (float& v : src) v = randomSample<float>(rng);
            ASSERT_EQ(celiColorTwist_32f_C4R(src.data() + lead, stepF * 4, dst.data() + dlead, stepF * 4, {w, h}, m),
                      celStatusOk);
            for (size_t i = 0; i < dst.size(); ++i) {
                const long rel = long(i) - dlead, y = rel / stepF, x = rel % stepF;
                float want = -9.0f;
                if (rel >= 0 && y < h && x < w * 4) want = model(&src[size_t(lead + y * stepF + x - x % 4)], int(x % 4));
                ASSERT_TRUE(same(dst[i], want)) << "lead " << lead << " w " << w << " at " << i;
            }
        }
    // steps equal to width * 4: one row of width * height pixels
    const int w = 3, h = 4;
    std::vector<float> src(size_t(w) * h * 4), dst(src.size() + 4, -9.0f);
    for (float& v : src) v = randomSample<float>(rng);
    ASSERT_EQ(celiColorTwist_32f_C4R(src.data(), w * 4, dst.data(), w * 4, {w, h}, m), celStatusOk);
    for (size_t i = 0; i < dst.size(); ++i) {
        const float want = i < src.size() ? model(&src[i - i % 4], int(i % 4)) : -9.0f;
        ASSERT_TRUE(same(dst[i], want)) << "one row, at " << i;
    }
}

// ---- Statuses ---------------------------------------------------------------------------------------
// The matrix is a pointer as well: null is refused ahead of the sizes and
// writes nothing.  The order of pointers, sizes and steps, and errors that
// write nothing, are the robustness table's rows (tests/robust), which never
// pass a null matrix.
TYPED_TEST(Twist, NullMatrixRefusedFirst) {
    using T = TypeParam;
    for (Form f : kForms) {
        T s[64] = {}, d[64];
        for (size_t i = 0; i < 64; ++i) d[i] = guard<T>(i);
        T* sp[3] = {s, s + 16, s + 32};
        T* dp[3] = {d, d + 16, d + 32};
        for (CelSize roi : {CelSize{1, 1}, CelSize{0, 1}})
            EXPECT_EQ(Api<T>::call(f, s, 16, d, 16, sp, dp, roi, nullptr), celStatusNullPointer) << name(f);
        for (size_t i = 0; i < 64; ++i) ASSERT_TRUE(same(d[i], guard<T>(i))) << name(f) << " wrote " << i;
    }
    float s4[16] = {}, d4[16] = {};
    for (CelSize roi : {CelSize{1, 1}, CelSize{0, 0}})
        EXPECT_EQ(celiColorTwist_32f_C4R(s4, 16, d4, 16, roi, nullptr), celStatusNullPointer);
}

}  // namespace
