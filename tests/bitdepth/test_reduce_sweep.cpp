// The path without dither on whole input spaces: every source value of the
// 8- and 16-bit forms for every level count of the byte destinations (and a
// spread of counts for 16-bit destinations), and for float sources every
// float within 40 steps of each grid and half-grid point plus the special
// values, each laid out as rows whose elements pass through the sixteen-wide
// body, the four-wide groups and the one-element tail.  Compared with the
// model's float rule element by element.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "common/reduce_bits_model.h"

namespace {

using namespace rbmodel;

// Runs `samples` through the C1 and C3 forms as rows of `rowLen` elements
// (C3: rowLen / 3 pixels) and returns the first mismatch as text, or "".
template <class F>
std::string sweep(const std::vector<typename F::Src>& samples, int levels, int rowLen) {
    using S = typename F::Src;
    using D = typename F::Dst;
    const float L = float(levels - 1);
    std::vector<int> want(samples.size());
    for (size_t i = 0; i < samples.size(); ++i) want[i] = F::plain(samples[i], L);
    for (Ch ch : {C1, C3}) {
        const int E = stride(ch), w = rowLen / E, per = w * E;
        const int rows = int((samples.size() + per - 1) / per);
        std::vector<S> src(size_t(rows) * per);
        for (size_t i = 0; i < src.size(); ++i) src[i] = samples[i % samples.size()];
        std::vector<D> dst(src.size() + 1, D(0x5A));
        if (call<F>(ch, src.data(), per * int(sizeof(S)), dst.data(), per * int(sizeof(D)), {w, rows}, 0, 0, levels,
                    nullptr) != celStatusOk)
            return "status";
        for (size_t i = 0; i < src.size(); ++i)
            if (int(dst[i]) != want[i % samples.size()])
                return std::string(kChNames[ch]) + " levels " + std::to_string(levels) + " element " +
                       std::to_string(i) + " got " + std::to_string(int(dst[i])) + " want " +
                       std::to_string(want[i % samples.size()]);
        if (dst.back() != D(0x5A)) return "wrote past the image";
    }
    return "";
}

template <class S>
std::vector<S> everyValue() {
    std::vector<S> v;
    for (int64_t i = std::numeric_limits<S>::min(); i <= std::numeric_limits<S>::max(); ++i) v.push_back(S(i));
    return v;
}

// 16 + 16 + 4 + 4 + 3 elements a row: two sixteen-wide steps, two groups of
// four and a tail of three (C3: 14 pixels).
constexpr int kRow = 43 - 1;

template <class F>
void sweepIntegerLevels(int firstLevels, int lastLevels, int stepLevels) {
    const auto values = everyValue<typename F::Src>();
    for (int levels = firstLevels; levels <= lastLevels; levels += stepLevels) {
        const std::string e = sweep<F>(values, levels, kRow);
        ASSERT_EQ(e, "") << e;
    }
}

TEST(ReduceBitsSweep, EveryByteForEveryLevelCount) { sweepIntegerLevels<F8u>(2, 256, 1); }
TEST(ReduceBitsSweep, Every16uValueToBytesForEveryLevelCount) { sweepIntegerLevels<F16u8u>(2, 256, 1); }
TEST(ReduceBitsSweep, Every16sValueToBytesForEveryLevelCount) { sweepIntegerLevels<F16s8u>(2, 256, 1); }
TEST(ReduceBitsSweep, Every16bitValueTo16bitForSpreadLevelCounts) {
    const auto u = everyValue<uint16_t>();
    const auto s = everyValue<int16_t>();
    for (int levels : {2, 3, 17, 256, 257, 1000, 1024, 4096, 40000, 65535, 65536}) {
        const std::string a = sweep<F16u>(u, levels, kRow), b = sweep<F16s>(s, levels, kRow);
        ASSERT_EQ(a, "") << a;
        ASSERT_EQ(b, "") << b;
    }
}

// Floats within 40 steps of each grid point k / L and half-grid point
// (k + 0.5) / L for k in -1 .. L + 1 and of the points where L * x or the
// byte scaling leaves the 32-bit integers, and the special values.
std::vector<float> floatsNearGrid(int L) {
    std::vector<float> v = {0.0f,
                            -0.0f,
                            std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::quiet_NaN(),
                            -std::numeric_limits<float>::quiet_NaN(),
                            std::numeric_limits<float>::denorm_min(),
                            -std::numeric_limits<float>::denorm_min(),
                            std::numeric_limits<float>::max(),
                            -std::numeric_limits<float>::max(),
                            3e9f,
                            -3e9f,
                            1e5f,
                            -1e5f};
    std::vector<float> centres;
    for (int k = -1; k <= L + 1; ++k) centres.push_back(float(k) / float(L)), centres.push_back((float(k) + 0.5f) / float(L));
    // where L * x and where the grid value times 255 leave the 32-bit integers
    for (float c : {2147483648.0f / float(L), -2147483648.0f / float(L), 2147483648.0f / 255.0f}) centres.push_back(c);
    const float inf = std::numeric_limits<float>::infinity();
    for (float c : centres) {
        float f = c;
        for (int i = 0; i < 40; ++i) f = std::nextafter(f, -inf);
        for (int i = 0; i < 81; ++i, f = std::nextafter(f, inf)) v.push_back(f);
    }
    return v;
}

TEST(ReduceBitsSweep, FloatsAroundEveryGridPointToBytesForEveryLevelCount) {
    for (int levels = 2; levels <= 256; ++levels) {
        const std::string e = sweep<F32f8u>(floatsNearGrid(levels - 1), levels, kRow);
        ASSERT_EQ(e, "") << e;
    }
}

TEST(ReduceBitsSweep, FloatsAroundEveryGridPointTo16bitForSpreadLevelCounts) {
    for (int levels : {2, 3, 256, 1000, 4096}) {
        const auto v = floatsNearGrid(levels - 1);
        const std::string a = sweep<F32f16u>(v, levels, kRow), b = sweep<F32f16s>(v, levels, kRow);
        ASSERT_EQ(a, "") << a;
        ASSERT_EQ(b, "") << b;
    }
}

}  // namespace
