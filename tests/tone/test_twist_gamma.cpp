// Colour twist and gamma correction in their six layouts (C3, AC4 with an
// alpha left alone, three planes; each out of place and in place), each
// form against a model from the formulas on random images between guard
// elements, whole input spaces through body and tail, worked values.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "common/export_list.h"
#include "common/powx_model.h"
#include "common/sweep24.h"

namespace {

using celtest::sameFloat;

// ==== The six layouts: a call of any of them, one check of a form ============
enum class Form { C3R, C3IR, AC4R, AC4IR, P3R, IP3R };
inline const Form kForms[] = {Form::C3R, Form::C3IR, Form::AC4R, Form::AC4IR, Form::P3R, Form::IP3R};
inline const char* name(Form f) {
    static const char* n[] = {"C3R", "C3IR", "AC4R", "AC4IR", "P3R", "IP3R"};
    return n[static_cast<int>(f)];
}
inline bool planar(Form f) { return f == Form::P3R || f == Form::IP3R; }
inline bool inPlace(Form f) { return f == Form::C3IR || f == Form::AC4IR || f == Form::IP3R; }
inline int channels(Form f) { return (f == Form::AC4R || f == Form::AC4IR) ? 4 : (planar(f) ? 1 : 3); }

// The six exports of a depth, in the order of Form; X: the family's extra arguments.
template <class T, class... X>
struct FormFns {
    CelStatus (*c3)(const T*, int, T*, int, CelSize, X...);
    CelStatus (*c3i)(T*, int, CelSize, X...);
    CelStatus (*ac4)(const T*, int, T*, int, CelSize, X...);
    CelStatus (*ac4i)(T*, int, CelSize, X...);
    CelStatus (*p3)(const T* const*, int, T**, int, CelSize, X...);
    CelStatus (*ip3)(T**, int, CelSize, X...);
    // In-place forms work on d (dp); steps in bytes.
    CelStatus operator()(Form f, T* s, int ss, T* d, int ds, T** sp, T** dp, CelSize roi, X... x) const {
        switch (f) {
            case Form::C3R: return c3(s, ss, d, ds, roi, x...);
            case Form::C3IR: return c3i(d, ds, roi, x...);
            case Form::AC4R: return ac4(s, ss, d, ds, roi, x...);
            case Form::AC4IR: return ac4i(d, ds, roi, x...);
            case Form::P3R: return p3(sp, ss, dp, ds, roi, x...);
            default: return ip3(dp, ds, roi, x...);
        }
    }
};
#define TONE_FORM_FNS(prefix) \
    { prefix##_C3R, prefix##_C3IR, prefix##_AC4R, prefix##_AC4IR, prefix##_P3R, prefix##_IP3R }

// Guard elements: values no call here produces (signalling NaN patterns for floats).
template <class T>
T guard(size_t i) {
    if constexpr (std::is_same_v<T, float>) {
        const uint32_t b = 0x7FA5A500u + uint32_t(i & 0xFF);
        float f;
        std::memcpy(&f, &b, 4);
        return f;
    } else {
        return static_cast<T>(0xA5 + i * 7);
    }
}

// Equal samples; any two NaNs count as equal (which operand's payload an
// addition of two NaNs keeps is the compiler's choice of operand order).
template <class T>
bool same(T a, T b) {
    if constexpr (std::is_same_v<T, float>)
        if (std::isnan(a) && std::isnan(b)) return true;
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// An image of one form: `planes` planes of rows of `rowElems` samples between `pad` guards.
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

// Form f on a w x h image of samples from sample() (the in-place forms on
// the source itself): call(s, sStep, d, dStep, sp, dp) runs the export, and
// must leave the caller's control state (rounding, masks, flush modes; the
// exception flags aside) as it was.  Then every element of every plane:
// channel r of a pixel in the region equals model(r, its three source
// samples), alpha and guards keep their bits.
template <class T, class Sample, class Call, class Model>
void checkForm(const std::string& what, Form f, int w, int h, Sample sample, Call call, Model model) {
    const int ch = channels(f), planes = planar(f) ? 3 : 1;
    Image<T> src(w * ch, h, planes), dst(w * ch, h, planes);
    for (int k = 0; k < planes; ++k)
        for (size_t i = 0; i < src.mem[k].size(); ++i) src.mem[k][i] = sample(), dst.mem[k][i] = guard<T>(i);
    if (inPlace(f)) dst.mem = src.mem;
    const auto before = dst.mem;
    T* sp[3] = {src.plane(0), planes > 1 ? src.plane(1) : nullptr, planes > 1 ? src.plane(2) : nullptr};
    T* dp[3] = {dst.plane(0), planes > 1 ? dst.plane(1) : nullptr, planes > 1 ? dst.plane(2) : nullptr};
    const unsigned csr = _mm_getcsr();
    ASSERT_EQ(call(src.plane(0), src.stepBytes(), dst.plane(0), dst.stepBytes(), sp, dp), celStatusOk) << what;
    ASSERT_EQ(_mm_getcsr() & ~0x3Fu, csr & ~0x3Fu) << what << " " << name(f) << ": the caller's control state changed";
    const auto& in = inPlace(f) ? before : src.mem;
    for (int k = 0; k < planes; ++k)
        for (size_t i = 0; i < dst.mem[k].size(); ++i) {
            const long rel = long(i) - dst.pad, y = rel / dst.step, x = rel % dst.step;
            const T got = dst.mem[k][i];
            if (!(rel >= 0 && y < h && x < w * ch && !(ch == 4 && x % 4 == 3))) {
                ASSERT_EQ(0, std::memcmp(&got, &before[k][i], sizeof(T)))
                    << what << " " << name(f) << " w " << w << " touched guard or alpha " << i << " of plane " << k;
                continue;
            }
            const size_t p = i - size_t(x % ch);
            const T px[3] = {planes == 3 ? in[0][i] : in[0][p], planes == 3 ? in[1][i] : in[0][p + 1],
                             planes == 3 ? in[2][i] : in[0][p + 2]};
            const int r = planes == 3 ? k : int(x % ch);
            const T want = model(r, px);
            ASSERT_TRUE(same(got, want)) << what << " " << name(f) << " w " << w << " h " << h << " plane " << k
                                         << " x " << x << " y " << y << ": from " << double(px[r]) << " got "
                                         << double(got) << " want " << double(want);
        }
}

// ==== Colour twist ============================================================
// Colour twist in every depth and layout against a model written from the
// formulas (integer forms round to nearest even in any caller's mode, float
// forms compute in it), guards and alpha untouched; every 8u input through
// body and tail; the 32f C3R and C4R paths; a null matrix refused.
using Mat = float[3][4];

template <class T>
FormFns<T, const float (*)[4]> twistFns() {
    if constexpr (std::is_same_v<T, uint8_t>) return TONE_FORM_FNS(celiColorTwist32f_8u);
    else if constexpr (std::is_same_v<T, uint16_t>) return TONE_FORM_FNS(celiColorTwist32f_16u);
    else if constexpr (std::is_same_v<T, int16_t>) return TONE_FORM_FNS(celiColorTwist32f_16s);
    else return TONE_FORM_FNS(celiColorTwist_32f);
}

// ---- The model
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
    if (frac != 0.5) return frac > 0.5 ? f + 1 : f;
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
        return static_cast<T>(nearestEven(x > lower<T>() ? x : lower<T>()));
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

// Matrices: identity, a channel swap, random ones of growing size, exact
// halves (ties), random ones with a tiny factor (which takes the 8u forms
// off their path for bounded matrices).
void makeMatrix(int kind, std::mt19937& rng, Mat m) {
    std::uniform_real_distribution<float> small(-2.0f, 2.0f), offset(-300.0f, 300.0f), big(-1000.0f, 1000.0f);
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 4; ++k) {
            switch (kind) {
                case 0: m[r][k] = (r == k) ? 1.0f : 0.0f; break;
                case 1: m[r][k] = (k == 2 - r) ? 1.0f : 0.0f; break;
                case 2: m[r][k] = k == 3 ? offset(rng) : small(rng); break;
                case 3: m[r][k] = big(rng); break;
                case 4: m[r][k] = k == 3 ? 0.5f : float(int(rng() % 5) - 2) * 0.5f; break;
                default: m[r][k] = k == 3 ? offset(rng) : (r == k ? 1e-35f : small(rng)); break;
            }
        }
}

// Form f on a random w x h image with matrix m against the model; the
// integer model computes in round-to-nearest, the float one in the caller's mode.
template <class T>
void checkTwist(Form f, int w, int h, const Mat m, std::mt19937& rng) {
    checkForm<T>(
        "twist", f, w, h, [&] { return randomSample<T>(rng); },
        [&](T* s, int ss, T* d, int ds, T** sp, T** dp) { return twistFns<T>()(f, s, ss, d, ds, sp, dp, {w, h}, m); },
        [&](int r, const T* px) {
            const unsigned caller = _mm_getcsr();
            if constexpr (!kFloat<T>) _mm_setcsr(caller & ~0x6000u);
            const T v = modelOut<T>(m, r, float(px[0]), float(px[1]), float(px[2]));
            _mm_setcsr(caller);
            return v;
        });
}

template <class T>
class Twist : public ::testing::Test {};
using Depths = ::testing::Types<uint8_t, uint16_t, int16_t, float>;
TYPED_TEST_SUITE(Twist, Depths);

// Every form, width and matrix kind in each of the caller's four rounding
// modes (the integer forms round to nearest even in all of them, the float
// forms compute in the caller's; checkForm wants the mode given back).
TYPED_TEST(Twist, EveryFormMatchesTheModel) {
    const unsigned saved = _mm_getcsr();
    std::mt19937 rng(24);
    Mat m;
    for (int kind = 0; kind < 6; ++kind)
        for (Form f : kForms)
            for (int h : {1, 3})
                for (int w : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33, 100}) {
                    makeMatrix(kind, rng, m);
                    _mm_setcsr((saved & ~0x6000u) | unsigned((w + kind + h) % 4) << 13);
                    checkTwist<TypeParam>(f, w, h, m, rng);
                    _mm_setcsr(saved);
                    if (::testing::Test::HasFatalFailure()) return;
                }
    // A NaN factor: the integer forms give the upper limit, the float forms
    // NaN; infinite factors (NaN on zero samples) and a huge negative offset
    // go to the limits.
    const float inf = std::numeric_limits<float>::infinity();
    const Mat nan = {{1, 0, 0, 0}, {0, std::numeric_limits<float>::quiet_NaN(), 0, 0}, {0, 0, 1, 0}};
    const Mat edges = {{-inf, 0, 0, 0}, {0, inf, 0, 0}, {0, 0, 1, -1e30f}};
    for (Form f : kForms) checkTwist<TypeParam>(f, 21, 2, nan, rng), checkTwist<TypeParam>(f, 21, 2, edges, rng);
}

// The matrix is a pointer as well: null is refused ahead of the sizes, writes
// nothing and leaves the caller's rounding mode as it was.  The order of
// pointers, sizes and steps, and errors that write nothing, are the
// robustness table's rows (tests/robust), which never pass a null matrix.
TYPED_TEST(Twist, NullMatrixRefusedFirst) {
    using T = TypeParam;
    const unsigned saved = _mm_getcsr();
    for (Form f : kForms) {
        T s[64] = {}, d[64];
        for (size_t i = 0; i < 64; ++i) d[i] = guard<T>(i);
        T* sp[3] = {s, s + 16, s + 32};
        T* dp[3] = {d, d + 16, d + 32};
        for (CelSize roi : {CelSize{1, 1}, CelSize{0, 1}}) {
            const unsigned mode = (saved & ~0x6000u) | unsigned(int(f) % 4) << 13;
            _mm_setcsr(mode);
            const CelStatus st = twistFns<T>()(f, s, 16, d, 16, sp, dp, roi, nullptr);
            const unsigned after = _mm_getcsr();
            _mm_setcsr(saved);
            EXPECT_EQ(st, celStatusNullPointer) << name(f);
            EXPECT_EQ(after & ~0x3Fu, mode & ~0x3Fu) << name(f);
        }
        for (size_t i = 0; i < 64; ++i) ASSERT_TRUE(same(d[i], guard<T>(i))) << name(f) << " wrote " << i;
    }
    float s4[16] = {}, d4[16] = {};
    for (CelSize roi : {CelSize{1, 1}, CelSize{0, 0}})
        EXPECT_EQ(celiColorTwist_32f_C4R(s4, 16, d4, 16, roi, nullptr), celStatusNullPointer);
}

// All 2^24 colours through the C3, AC4 and planar 8u forms, as tall images
// of narrow rows: 16 (C3 only) and 4 pixels wide (vector bodies only) and 3
// wide (the scalar tail alone), with matrices of exact halves (ties both ways),
// offsets that saturate at both limits, and a colour matrix whose sums are
// rarely exact.  AC4 alpha keeps its old value.
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
        for (auto [f, w] : {std::pair{Form::C3R, 16}, {Form::C3R, 4}, {Form::C3R, 3}, {Form::AC4R, 4}, {Form::AC4R, 3},
                            {Form::P3R, 4}, {Form::P3R, 3}}) {
            const int ch = channels(f), planes = planar(f) ? 3 : 1, h = celtest::sweep24Rows(w);
            const size_t n = size_t(w) * h;
            std::vector<std::vector<uint8_t>> src(planes), dst(planes);
            for (int k = 0; k < planes; ++k) src[k].resize(n * ch), dst[k].assign(n * ch, 0x5A);
            const auto at = [&](std::vector<std::vector<uint8_t>>& img, size_t i, int k) -> uint8_t& {
                return planes == 3 ? img[k][i] : img[0][i * ch + k];
            };
            for (size_t i = 0; i < n; ++i) {
                int c[3];
                celtest::sweep24Input(int64_t(i) % count, c[0], c[1], c[2]);
                for (int k = 0; k < 3; ++k) at(src, i, k) = uint8_t(c[k]);
            }
            uint8_t* sp[3] = {src[0].data(), src[planes / 3].data(), src[2 * planes / 3].data()};
            uint8_t* dp[3] = {dst[0].data(), dst[planes / 3].data(), dst[2 * planes / 3].data()};
            ASSERT_EQ(twistFns<uint8_t>()(f, sp[0], w * ch, dp[0], w * ch, sp, dp, {w, h}, m), celStatusOk);
            for (size_t i = 0; i < n; ++i)
                for (int k = 0; k < ch; ++k) {
                    const uint8_t got = at(dst, i, k), e = k == 3 ? 0x5A : want[size_t(int64_t(i) % count) * 3 + k];
                    if (got != e)
                        FAIL() << name(f) << " w " << w << " colour " << int(at(src, i, 0)) << "," << int(at(src, i, 1))
                               << "," << int(at(src, i, 2)) << " channel " << k << ": got " << int(got) << " want "
                               << int(e);
                }
        }
    }
}

// Halves (0.5, 1.5, 2.5) round to even, 0, 2, 2, in every mode of the caller, which is kept.
TEST(TwistWorked, HalvesRoundToEvenInEveryMode) {
    const unsigned saved = _mm_getcsr();
    const Mat half = {{0.5f, 0, 0, 0}, {0, 0.5f, 0, 0}, {0, 0, 0.5f, 0}};
    const uint8_t s[3] = {1, 3, 5};
    for (unsigned mode : {0x0000u, 0x2000u, 0x4000u, 0x6000u}) {
        uint8_t d[3] = {9, 9, 9};
        _mm_setcsr((saved & ~0x6000u) | mode);
        const CelStatus st = celiColorTwist32f_8u_C3R(s, 3, d, 3, {1, 1}, half);
        const unsigned after = _mm_getcsr();
        _mm_setcsr(saved);
        ASSERT_EQ(st, celStatusOk);
        EXPECT_EQ(std::vector<int>(d, d + 3), (std::vector<int>{0, 2, 2})) << mode;
        EXPECT_EQ(after & 0x6000u, mode);
    }
}

// One call of a 32f form of n channels (3 or 4) on a w x h image, rows of
// w * n samples plus `gap`, source and destination `lead` and `dlead`
// samples past a 16-byte boundary; every sample of the destination against
// model(source pixel, channel), the gaps and what lies around keep `fill`.
template <class Call, class Model>
void checkFloatPath(int n, CelSize sz, int gap, int lead, int dlead, std::mt19937& rng, Call call, Model model) {
    const int stepF = sz.width * n + gap;
    std::vector<float> src(size_t(stepF) * sz.height + 8), dst(src.size(), -9.0f);
    for (float& v : src) v = randomSample<float>(rng);
    ASSERT_EQ(call(src.data() + lead, stepF * 4, dst.data() + dlead, stepF * 4, sz), celStatusOk);
    for (size_t i = 0; i < dst.size(); ++i) {
        const long rel = long(i) - dlead, y = rel / stepF, x = rel % stepF;
        const bool inside = rel >= 0 && y < sz.height && x < sz.width * n;
        const float want = inside ? model(&src[size_t(lead + y * stepF + x - x % n)], int(x % n)) : -9.0f;
        ASSERT_TRUE(same(dst[i], want)) << sz.width << "x" << sz.height << " gap " << gap << " lead " << lead << " at " << i;
    }
}

// 32f C3R: gap-free images as one row (34992 and 34995 samples: the
// non-temporal path from 34993 on), small and large images row by row,
// sources not 16-byte aligned.
TEST(TwistPaths, Float3x4Paths) {
    std::mt19937 rng(3);
    Mat m;
    makeMatrix(2, rng, m);
    for (CelSize sz : {CelSize{11664, 1}, CelSize{11665, 1}, CelSize{5, 7}, CelSize{1000, 12}, CelSize{3, 2}})
        for (int gap : {0, 4})
            for (int lead : {0, 1, 2, 3})
                checkFloatPath(
                    3, sz, gap, lead, lead, rng,
                    [&](const float* s, int ss, float* d, int ds, CelSize r) { return celiColorTwist_32f_C3R(s, ss, d, ds, r, m); },
                    [&](const float* p, int c) { return modelOut<float>(m, c, p[0], p[1], p[2]); });
}

// 4x4 on four channels: every path (aligned pairs, 8-byte moves, scalar),
// all four channels rewritten; sources 16-, 4-, 8- and 12-byte past a
// 16-byte boundary (the destination too where the source is 4 past); steps
// of width * 16 plus a gap go row by row, steps of width * 4 make the image
// one row of width * height pixels.
TEST(TwistPaths, FourByFour) {
    std::mt19937 rng(44);
    float m[4][4];
    for (auto& row : m)
        for (float& v : row) v = std::uniform_real_distribution<float>(-2, 2)(rng);
    const auto call = [&](const float* s, int ss, float* d, int ds, CelSize r) { return celiColorTwist_32f_C4R(s, ss, d, ds, r, m); };
    const auto model = [&](const float* s, int r) {
        return s[3] * m[r][3] + (s[2] * m[r][2] + (s[0] * m[r][0] + s[1] * m[r][1]));
    };
    for (int lead : {0, 1, 2, 3})
        for (int w : {1, 2, 3, 8, 17}) checkFloatPath(4, {w, 3}, 4, lead, lead == 1 ? 1 : 0, rng, call, model);
    const int w = 3, h = 4;
    std::vector<float> src(size_t(w) * h * 4), dst(src.size() + 4, -9.0f);
    for (float& v : src) v = randomSample<float>(rng);
    ASSERT_EQ(call(src.data(), w * 4, dst.data(), w * 4, {w, h}), celStatusOk);
    for (size_t i = 0; i < dst.size(); ++i)
        ASSERT_TRUE(same(dst[i], i < src.size() ? model(&src[i - i % 4], int(i % 4)) : -9.0f)) << "one row, at " << i;
}

// ==== Gamma ===================================================================
// Gamma correction in every depth and layout: the 8u/16u tables over the
// whole input space through body and tail against the curve, the float forms
// bit for bit against a model of each form's recipe (and of the power
// kernel); worked values; the statuses the robustness rows do not draw.
// N * f(i/N) (forward) or N * g(i/N) (inverse); the lines exact.
double curveValue(bool fwd, int n, int i) {
    const double x = double(i) / n;
    if (fwd) return x < 0.018 ? 4.5 * i : n * (1.099 * std::pow(x, 0.45) - 0.099);
    return x < 0.0812 ? i / 4.5 : n * std::pow((x + 0.099) / 1.099, 1.0 / 0.45);
}
// The table entry may be the nearest integer (ties to even) or, within
// 0.002 of a tie, its other neighbour.
bool entryAllowed(bool fwd, int n, int i, int got) {
    const double v = curveValue(fwd, n, i);
    if (got == static_cast<int>(std::nearbyint(v))) return true;
    return std::fabs(v - std::floor(v) - 0.5) < 0.002 && (got == int(std::floor(v)) || got == int(std::ceil(v)));
}

template <class T>
auto gammaFns(bool fwd) {
    if constexpr (std::is_same_v<T, uint8_t>)
        return fwd ? FormFns<T>TONE_FORM_FNS(celiGammaFwd_8u) : FormFns<T>TONE_FORM_FNS(celiGammaInv_8u);
    else if constexpr (std::is_same_v<T, uint16_t>)
        return fwd ? FormFns<T>TONE_FORM_FNS(celiGammaFwd_16u) : FormFns<T>TONE_FORM_FNS(celiGammaInv_16u);
    else
        return fwd ? FormFns<T, float, float>TONE_FORM_FNS(celiGammaFwd_32f)
                   : FormFns<T, float, float>TONE_FORM_FNS(celiGammaInv_32f);
}

// ---- 8u and 16u
template <class T>
class GammaInt : public ::testing::Test {};
using IntDepths = ::testing::Types<uint8_t, uint16_t>;
TYPED_TEST_SUITE(GammaInt, IntDepths);

// Every input value through the body (one long row) and through the tail
// (rows of one pixel): the same entry both ways, and the entry the curve
// allows.  Then random images in every form: each sample its entry, alpha
// and guards untouched.
TYPED_TEST(GammaInt, WholeInputSpaceThroughBodyAndTailThenEveryForm) {
    using T = TypeParam;
    const int n = std::is_same_v<T, uint8_t> ? 255 : 65535, count = n + 1, width = (count + 2) / 3;
    std::mt19937 rng(11);
    for (bool fwd : {true, false}) {
        const auto fns = gammaFns<T>(fwd);
        std::vector<T> src(size_t(width) * 3), table(src.size()), tail(src.size());
        for (size_t i = 0; i < src.size(); ++i) src[i] = static_cast<T>(i % count);
        const int bs = 3 * width * int(sizeof(T)), ps = 3 * int(sizeof(T));  // one pixel a row: tail only
        ASSERT_EQ(fns.c3(src.data(), bs, table.data(), bs, {width, 1}), celStatusOk);
        ASSERT_EQ(fns.c3(src.data(), ps, tail.data(), ps, {1, width}), celStatusOk);
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(table[i], tail[i]) << (fwd ? "fwd " : "inv ") << i;
            ASSERT_TRUE(entryAllowed(fwd, n, i, table[i])) << (fwd ? "fwd " : "inv ") << i << " got " << int(table[i])
                                                           << " curve " << curveValue(fwd, n, i);
        }
        for (Form f : kForms)
            for (int h : {1, 3})
                for (int w : {1, 2, 3, 5, 6, 7, 8, 11, 16, 17, 33, 100})
                    checkForm<T>(
                        fwd ? "fwd" : "inv", f, w, h, [&] { return static_cast<T>(rng()); },
                        [&](T* s, int ss, T* d, int ds, T** sp, T** dp) { return fns(f, s, ss, d, ds, sp, dp, {w, h}); },
                        [&](int r, const T* px) { return table[px[r]]; });
    }
}

// Table entries: 4.5 and 13.5 go to the even neighbour; the 16-bit joints
// of line and curve: inverse still on the line at 5321 and three down on the
// curve at 5322, forward twenty up from 1179 to 1180.
TEST(GammaWorked, TableEntries) {
    struct Entry {
        bool sixteen, fwd;
        int in, out;
    };
    const Entry entries[] = {{false, true, 1, 4},      {false, true, 255, 255},   {false, true, 3, 14},
                             {false, true, 2, 9},      {false, true, 0, 0},       {false, false, 1, 0},
                             {false, false, 255, 255}, {false, false, 3, 1},      {false, false, 2, 0},
                             {true, false, 5321, 1182}, {true, false, 5322, 1179}, {true, false, 0, 0},
                             {true, false, 65535, 65535}, {true, true, 1179, 5306}, {true, true, 1180, 5326},
                             {true, true, 65535, 65535}};
    for (const Entry& e : entries) {
        const uint16_t s16[3] = {uint16_t(e.in), 0, 0};
        const uint8_t s8[3] = {uint8_t(e.in), 0, 0};
        uint16_t d16[3] = {};
        uint8_t d8[3] = {};
        ASSERT_EQ(e.sixteen ? gammaFns<uint16_t>(e.fwd).c3(s16, 6, d16, 6, {1, 1}) : gammaFns<uint8_t>(e.fwd).c3(s8, 3, d8, 3, {1, 1}),
                  celStatusOk);
        EXPECT_EQ(e.sixteen ? int(d16[0]) : int(d8[0]), e.out) << (e.fwd ? "fwd " : "inv ") << e.in;
    }
}

// The model of one form, from its table: x = s - vMin; the power kernel's
// base u, the linear test, the two branches, the last step.
float model32f(bool fwd, Form f, float s, float vMin, float vMax) {
    const auto& pw = celtest::powModel();
    const float range = vMax - vMin, r = 1.0f / range;
    const double D = 1.0 / double(range);
    const bool ac4 = channels(f) == 4;
    // the subtract and add passes copy when the constant is 0
    const float x = (!ac4 && vMin == 0.0f) ? s : s - vMin;
    auto addPass = [&](float v) { return vMin == 0.0f ? v : v + vMin; };
    if (fwd) {
        if (f == Form::AC4R || f == Form::AC4IR) {
            const bool isD = f == Form::AC4IR;
            const float u = isD ? float(double(x) * D) : x * r;
            const bool lin = isD ? double(x) * D < double(0.018f) : r * x < 0.018f;
            const float p = pw(u, 0.45f);
            return (lin ? 4.5f * x : (1.099f * p - 0.099f) * range + vMin) + vMin;
        }
        const float p = pw(x, 0.45f);
        const float v = x * range < 0.018f ? 4.5f * x : (1.099f * p - 0.099f) * range;
        return f == Form::C3IR ? v - vMin : addPass(v);
    }
    if (f == Form::C3R || f == Form::C3IR) {
        const float u = (x * r + 0.099f) * 0.9099181f;
        const float p = pw(u, 2.2222223f);
        const float v = x * r < 0.0812f ? x * 0.22222222f : (f == Form::C3IR ? p * range : p);
        return addPass(v);
    }
    const float u = float((double(x) * D + double(0.099f)) * double(0.9099181f));
    const float p = pw(u, 2.2222223f);
    const bool lin = double(x) * D < double(0.0812f);
    if (ac4) return (lin ? x * 0.22222222f : p * range) + vMin;
    return addPass(lin ? x * 0.22222222f : p);
}

float sample32f(std::mt19937& rng, float vMin, float vMax) {
    const float range = vMax - vMin;
    const unsigned pick = rng() % 64;
    switch (pick) {
        case 0: return std::numeric_limits<float>::quiet_NaN();
        case 1: return std::numeric_limits<float>::infinity();
        case 2: return -std::numeric_limits<float>::infinity();
        case 3: return -0.0f;
        case 4: return 0.0f;
        case 5: return vMin;
        case 6: return vMax;
        case 7: return vMin + 0.017f * range;
        default: return std::uniform_real_distribution<float>(vMin - 0.1f * range, vMax + 0.1f * range)(rng);
    }
}

struct RangeCase {
    float vMin, vMax;
};
const RangeCase kRanges[] = {{0.0f, 1.0f}, {0.0f, 2.0f}, {1.0f, 2.0f}, {-0.5f, 3.0f}, {0.0f, 255.0f}, {-1.0f, -0.25f}, {-0.0f, 1.0f}};

class GammaFloat : public ::testing::TestWithParam<std::tuple<bool, Form>> {};

TEST_P(GammaFloat, MatchesTheModelBitForBit) {
    const auto [fwd, f] = GetParam();
    std::mt19937 rng(static_cast<unsigned>(fwd) * 10 + static_cast<unsigned>(f));
    const auto fns = gammaFns<float>(fwd);
    for (const RangeCase& rc : kRanges)
        for (int h : {1, 3})
            for (int w : {1, 2, 3, 4, 5, 7, 8, 13, 16, 17, 127, 128, 129, 130, 257})
                checkForm<float>(
                    std::string(fwd ? "fwd" : "inv") + " range " + std::to_string(rc.vMin) + ".." + std::to_string(rc.vMax),
                    f, w, h, [&] { return sample32f(rng, rc.vMin, rc.vMax); },
                    [&](float* s, int ss, float* d, int ds, float** sp, float** dp) {
                        return fns(f, s, ss, d, ds, sp, dp, {w, h}, rc.vMin, rc.vMax);
                    },
                    [&](int r, const float* px) { return model32f(fwd, f, px[r], rc.vMin, rc.vMax); });
}

INSTANTIATE_TEST_SUITE_P(AllForms, GammaFloat,
                         ::testing::Combine(::testing::Bool(), ::testing::ValuesIn(kForms)),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param) ? "Fwd_" : "Inv_") + name(std::get<1>(info.param));
                         });

// Worked float values, one pixel through one form (alpha kept); tol 0: exact.
TEST(GammaWorked, FloatValues) {
    const struct {
        bool fwd;
        Form f;
        float in, vMin, vMax, want, tol;
    } cases[] = {
        {true, Form::C3R, 0.017f, 0.0f, 1.0f, 4.5f * 0.017f, 0},  // the line: 0.0765
        {true, Form::C3R, 0.5f, 0.0f, 1.0f, 0.7055f, 0.0001f},
        {true, Form::C3R, 1.0f, 0.0f, 1.0f, 1.0f, 0},
        {true, Form::C3R, 1.0f, 0.0f, 2.0f, 2.0f, 0},       // (1.099 - 0.099) * 2, not the normalised curve
        {true, Form::AC4R, 2.0f, 1.0f, 2.0f, 3.0f, 1e-6f},  // (1 * 1 + 1) + 1
        {false, Form::C3R, 2.0f, 0.0f, 2.0f, 1.0f, 1e-6f},
        {false, Form::C3IR, 2.0f, 0.0f, 2.0f, 2.0f, 2e-6f},
        {true, Form::C3IR, 1.5f, 0.5f, 1.5f, 1.0f - 0.5f, 1e-6f},  // subtracts vMin at the end
        {true, Form::C3R, -0.0f, 0.0f, 1.0f, -0.0f, 0},  // survives the copy a zero vMin makes of the add pass
    };
    for (const auto& c : cases) {
        float s[4] = {c.in, c.in, c.in, 42.0f}, d[4] = {c.in, c.in, c.in, -7.0f};  // in-place forms work on d
        float *sp = s, *dp = d;
        ASSERT_EQ(gammaFns<float>(c.fwd)(c.f, s, 16, d, 16, &sp, &dp, {1, 1}, c.vMin, c.vMax), celStatusOk);
        const float got = d[0];
        EXPECT_NEAR(got, c.want, c.tol) << &c - cases;
        EXPECT_EQ(std::signbit(got), std::signbit(c.want)) << &c - cases;
        EXPECT_EQ(d[3], -7.0f) << &c - cases;
    }
}

// With every argument zero the 32f forms answer the range check first.
#define CEL_FIRST(dir, form) const celtest::FirstCheck first_##dir##form("celiGamma" #dir "_32f_" #form, celStatusBadRange);
CEL_FIRST(Fwd, C3R) CEL_FIRST(Fwd, C3IR) CEL_FIRST(Fwd, AC4R) CEL_FIRST(Fwd, AC4IR) CEL_FIRST(Fwd, P3R) CEL_FIRST(Fwd, IP3R)
CEL_FIRST(Inv, C3R) CEL_FIRST(Inv, C3IR) CEL_FIRST(Inv, AC4R) CEL_FIRST(Inv, AC4IR) CEL_FIRST(Inv, P3R) CEL_FIRST(Inv, IP3R)
#undef CEL_FIRST

// The rest of the statuses and their order (pointers, sizes, steps below 1
// behind them, an empty or reversed range ahead of everything, nothing
// written): the robustness table's rows (tests/robust).  They draw no NaN
// range: a NaN difference passes the range check in every float form.
TEST(GammaChecks, NaNRangePassesTheRangeCheck) {
    float* none[3] = {nullptr, nullptr, nullptr};
    for (bool fwd : {true, false})
        for (Form f : kForms)
            EXPECT_EQ(gammaFns<float>(fwd)(f, nullptr, 4, nullptr, 4, none, none, {4, 2}, std::nanf(""), 1.0f),
                      celStatusNullPointer)
                << (fwd ? "fwd " : "inv ") << name(f);
}

}  // namespace
