// Gamma correction in every depth and layout: the 8u/16u tables over the
// whole input space through body and tail against the curve, the float forms
// bit for bit against a model of each form's recipe (and of the power
// kernel); worked values; the statuses the robustness rows do not draw.
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
#include "tone/tone_forms.h"

namespace {

using celtest::sameFloat;
using namespace tonetest;

// ---- The curve, evaluated here in double -----------------------------------------------------
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

// ---- 8u and 16u ---------------------------------------------------------------------------------------
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

// ---- 32f ----------------------------------------------------------------------------------------------
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

TEST(GammaWorked, FloatValues) {
    float s[3] = {0.017f, 0.5f, 1.0f}, d[3];
    ASSERT_EQ(celiGammaFwd_32f_C3R(s, 12, d, 12, {1, 1}, 0.0f, 1.0f), celStatusOk);
    EXPECT_EQ(d[0], 4.5f * 0.017f);  // the line: 0.0765
    EXPECT_NEAR(d[1], 0.7055f, 0.0001f);
    EXPECT_EQ(d[2], 1.0f);
    // range 0..2, sample 1: (1.099 - 0.099) * 2, not the normalised curve
    float one[3] = {1, 1, 1};
    ASSERT_EQ(celiGammaFwd_32f_C3R(one, 12, d, 12, {1, 1}, 0.0f, 2.0f), celStatusOk);
    EXPECT_EQ(d[0], 2.0f);
    // AC4R, range 1..2, sample 2: (1 * 1 + 1) + 1
    float px[4] = {2, 2, 2, 42}, q[4] = {0, 0, 0, -7};
    ASSERT_EQ(celiGammaFwd_32f_AC4R(px, 16, q, 16, {1, 1}, 1.0f, 2.0f), celStatusOk);
    EXPECT_NEAR(q[0], 3.0f, 1e-6f);
    EXPECT_EQ(q[3], -7.0f);
    // inverse C3R, range 0..2, sample 2 gives 1; C3IR gives 2
    float two[3] = {2, 2, 2};
    ASSERT_EQ(celiGammaInv_32f_C3R(two, 12, d, 12, {1, 1}, 0.0f, 2.0f), celStatusOk);
    EXPECT_NEAR(d[0], 1.0f, 1e-6f);
    ASSERT_EQ(celiGammaInv_32f_C3IR(two, 12, {1, 1}, 0.0f, 2.0f), celStatusOk);
    EXPECT_NEAR(two[0], 2.0f, 2e-6f);
    // C3IR forward subtracts vMin at the end
    float t[3] = {1.5f, 1.5f, 1.5f};
    ASSERT_EQ(celiGammaFwd_32f_C3IR(t, 12, {1, 1}, 0.5f, 1.5f), celStatusOk);
    EXPECT_NEAR(t[0], 1.0f - 0.5f, 1e-6f);
    // a negative zero survives the copy that a zero vMin makes of the add pass
    float nz[3] = {-0.0f, -0.0f, -0.0f};
    ASSERT_EQ(celiGammaFwd_32f_C3R(nz, 12, d, 12, {1, 1}, 0.0f, 1.0f), celStatusOk);
    EXPECT_TRUE(std::signbit(d[0]));
}

// ---- Statuses -------------------------------------------------------------------------------------------
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
