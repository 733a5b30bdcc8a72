// The internal uniform random source: its sequence against a model written
// from the generator's definition, continuation, bounds, statuses.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "bitdepth/rand_uniform.h"

namespace {

using cel::rnd::State16s;
using cel::rnd::State32f;

// Model: lagged subtract-with-borrow plus a congruential word, as defined.
struct Model {
    uint32_t a = 1131199209, b, c, d;
    int32_t carry = -1;
    double mid, scale;
    Model(uint32_t seed, double lo, double hi) : b(seed) {
        c = seed * 69069u + 1013904243u;
        d = c * 69069u + 1013904243u;
        mid = (lo + hi) * 0.5;
        scale = (hi - lo) * std::ldexp(1.0, -32);
    }
    double next() {
        const int64_t t64 = static_cast<int64_t>(carry) + c - d;  // then taken modulo 2^32
        const int32_t t = static_cast<int32_t>(static_cast<uint32_t>(t64));
        uint32_t u;
        if (t < 0) {
            carry = -1;
            u = static_cast<uint32_t>(t) - 18u;
        } else {
            carry = 0;
            u = static_cast<uint32_t>(t);
        }
        d = c;
        c = b;
        b = u;
        a = a * 69069u + 1013904243u;
        return double(static_cast<int32_t>(u + a)) * scale + mid;
    }
};

TEST(RandUniform, SizesAndInitialState) {
    int s16 = 0, s32 = 0;
    EXPECT_EQ(y8_celsRandUniformGetSize_16s(&s16), celStatusOk);
    EXPECT_EQ(y8_celsRandUniformGetSize_32f(&s32), celStatusOk);
    EXPECT_EQ(s16, 56);
    EXPECT_EQ(s32, 56);
    EXPECT_EQ(y8_celsRandUniformGetSize_16s(nullptr), celStatusNullPointer);
    State16s st{};
    ASSERT_EQ(y8_celsRandUniformInit_16s(&st, 0, 1024, 0), celStatusOk);
    EXPECT_EQ(st.tag, 36);
    EXPECT_EQ(st.b, 0u);
    EXPECT_EQ(st.c, 1013904243u);
    EXPECT_EQ(st.d, 1013904243u * 69069u + 1013904243u);
    EXPECT_EQ(st.a, 1131199209u);
    EXPECT_EQ(st.carry, -1);
    EXPECT_EQ(st.mid, 512.0);
    State32f sf{};
    ASSERT_EQ(y8_celsRandUniformInit_32f(&sf, -0.5f, 0.5f, 7), celStatusOk);
    EXPECT_EQ(sf.tag, 37);
    EXPECT_EQ(y8_celsRandUniformInit_16s(nullptr, 0, 1, 0), celStatusNullPointer);
}

TEST(RandUniform, SequencesMatchTheModel) {
    for (uint32_t seed : {0u, 1u, 12345u, 0xFFFFFFFFu}) {
        State32f sf{};
        y8_celsRandUniformInit_32f(&sf, -0.37f, 0.37f, seed);
        std::vector<float> f(1001);
        ASSERT_EQ(y8_celsRandUniform_32f(f.data(), 1001, &sf), celStatusOk);
        // the float form takes mid and scale from single-precision sum and difference
        Model mf(seed, 0, 0);
        mf.mid = double(-0.37f + 0.37f) * 0.5;
        mf.scale = double(0.37f - -0.37f) * std::ldexp(1.0, -32);
        for (int i = 0; i < 1001; ++i) ASSERT_EQ(f[i], static_cast<float>(mf.next())) << "seed " << seed << " i " << i;

        State16s st{};
        y8_celsRandUniformInit_16s(&st, -300, 1024, seed);
        std::vector<int16_t> v(777);
        ASSERT_EQ(y8_celsRandUniform_16s(v.data(), 777, &st), celStatusOk);
        Model mi(seed, -300, 1024);
        for (int i = 0; i < 777; ++i)
            ASSERT_EQ(v[i], static_cast<int16_t>(std::nearbyint(mi.next()))) << "seed " << seed << " i " << i;
    }
}

TEST(RandUniform, PositionTableSpansBothBounds) {
    State16s st{};
    y8_celsRandUniformInit_16s(&st, 0, 1024, 0);
    std::vector<int16_t> v(200000);
    ASSERT_EQ(y8_celsRandUniform_16s(v.data(), int(v.size()), &st), celStatusOk);
    int lo = 1 << 20, hi = -1;
    for (int16_t x : v) lo = std::min<int>(lo, x), hi = std::max<int>(hi, x);
    EXPECT_EQ(lo, 0);
    EXPECT_EQ(hi, 1024);
}

TEST(RandUniform, SplittingARequestGivesTheSameValues) {
    State32f a{}, b{};
    y8_celsRandUniformInit_32f(&a, 0.f, 1.f, 99);
    y8_celsRandUniformInit_32f(&b, 0.f, 1.f, 99);
    float whole[3], part[3];
    ASSERT_EQ(y8_celsRandUniform_32f(whole, 3, &a), celStatusOk);
    ASSERT_EQ(y8_celsRandUniform_32f(part, 2, &b), celStatusOk);
    ASSERT_EQ(y8_celsRandUniform_32f(part + 2, 1, &b), celStatusOk);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(whole[i], part[i]);
}

TEST(RandUniform, EqualBoundsGiveTheBound) {
    State16s st{};
    y8_celsRandUniformInit_16s(&st, 77, 77, 5);
    int16_t v[64];
    ASSERT_EQ(y8_celsRandUniform_16s(v, 64, &st), celStatusOk);
    for (int16_t x : v) EXPECT_EQ(x, 77);
}

TEST(RandUniform, StatusesAndWrongTag) {
    State16s st{};
    y8_celsRandUniformInit_16s(&st, 0, 10, 1);
    const State16s before = st;
    float f[4] = {1, 2, 3, 4};
    int16_t v[4] = {9, 9, 9, 9};
    EXPECT_EQ(y8_celsRandUniform_16s(nullptr, 4, &st), celStatusNullPointer);
    EXPECT_EQ(y8_celsRandUniform_16s(v, 4, nullptr), celStatusNullPointer);
    EXPECT_EQ(y8_celsRandUniform_16s(v, 0, &st), celStatusBadSize);
    // a record of the 16-bit form given to the float form
    EXPECT_EQ(y8_celsRandUniform_32f(f, 4, reinterpret_cast<State32f*>(&st)), celStatusBadContext);
    EXPECT_EQ(0, std::memcmp(&before, &st, sizeof st));
    EXPECT_EQ(f[0], 1.0f);
    EXPECT_EQ(v[0], 9);
}

}  // namespace
