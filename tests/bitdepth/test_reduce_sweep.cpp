// The path without dither on whole input spaces: every 8- and 16-bit source
// value for every byte level count (a spread for 16-bit destinations), every
// float near each grid and half-grid point and the special values, through
// the sixteen-wide body, the groups of four and the tail.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "common/reduce_bits_model.h"

namespace {

using namespace rbmodel;

// 16 + 16 + 4 + 4 + 2 elements a row: two sixteen-wide steps, two groups
// of four and a tail of two (C3: 14 pixels).
constexpr int kRow = 42;

// Runs `samples` through the C1 and C3 forms as rows of kRow elements and
// fails at the first mismatch.
template <class F>
void sweep(const std::vector<typename F::Src>& samples, int levels) {
    using S = typename F::Src;
    using D = typename F::Dst;
    const size_t n = samples.size();
    std::vector<int> want(n);
    for (size_t i = 0; i < n; ++i) want[i] = F::plain(samples[i], float(levels - 1));
    for (Ch ch : {C1, C3}) {
        const int w = kRow / stride(ch), per = w * stride(ch), rows = int((n + per - 1) / per);
        std::vector<S> src(size_t(rows) * per);
        for (size_t i = 0; i < src.size(); ++i) src[i] = samples[i % n];
        std::vector<D> dst(src.size() + 1, D(0x5A));
        ASSERT_EQ(call<F>(ch, src.data(), per * int(sizeof(S)), dst.data(), per * int(sizeof(D)), {w, rows}, 0, 0,
                          levels, nullptr),
                  celStatusOk);
        for (size_t i = 0; i < src.size(); ++i)
            if (int(dst[i]) != want[i % n])
                FAIL() << kChNames[ch] << " levels " << levels << " element " << i << " got " << int(dst[i])
                       << " want " << want[i % n];
        ASSERT_EQ(dst.back(), D(0x5A)) << "wrote past the image";
    }
}

template <class S>
std::vector<S> everyValue() {
    std::vector<S> v;
    for (int64_t i = std::numeric_limits<S>::min(); i <= std::numeric_limits<S>::max(); ++i) v.push_back(S(i));
    return v;
}

std::vector<int> byteLevels() {
    std::vector<int> v;
    for (int l = 2; l <= 256; ++l) v.push_back(l);
    return v;
}
template <class F>
void sweepLevels(const std::vector<int>& levelList) {
    const auto values = everyValue<typename F::Src>();
    for (int levels : levelList) {
        sweep<F>(values, levels);
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(ReduceBitsSweep, EveryByteForEveryLevelCount) { sweepLevels<F8u>(byteLevels()); }
TEST(ReduceBitsSweep, Every16uValueToBytesForEveryLevelCount) { sweepLevels<F16u8u>(byteLevels()); }
TEST(ReduceBitsSweep, Every16sValueToBytesForEveryLevelCount) { sweepLevels<F16s8u>(byteLevels()); }
TEST(ReduceBitsSweep, Every16bitValueTo16bitForSpreadLevelCounts) {
    sweepLevels<F16u>({2, 3, 17, 256, 257, 1000, 1024, 4096, 40000, 65535, 65536});
    sweepLevels<F16s>({2, 3, 17, 256, 257, 1000, 1024, 4096, 40000, 65535, 65536});
}

// Floats within 40 steps of each grid point k / L and half-grid point
// (k + 0.5) / L for k in -1 .. L + 1 and of the points where L * x or the
// byte scaling leaves the 32-bit integers, and the special values.
std::vector<float> floatsNearGrid(int L) {
    using lim = std::numeric_limits<float>;
    std::vector<float> v = {0.0f, -0.0f, lim::infinity(), -lim::infinity(), lim::quiet_NaN(), -lim::quiet_NaN(),
                            lim::denorm_min(), -lim::denorm_min(), lim::max(), -lim::max(), 3e9f, -3e9f, 1e5f, -1e5f};
    std::vector<float> centres = {2147483648.0f / float(L), -2147483648.0f / float(L), 2147483648.0f / 255.0f};
    for (int k = -1; k <= L + 1; ++k) centres.push_back(float(k) / float(L)), centres.push_back((float(k) + 0.5f) / float(L));
    for (float c : centres) {
        float f = c;
        for (int i = 0; i < 40; ++i) f = std::nextafter(f, -lim::infinity());
        for (int i = 0; i < 81; ++i, f = std::nextafter(f, lim::infinity())) v.push_back(f);
    }
    return v;
}

TEST(ReduceBitsSweep, FloatsAroundEveryGridPointToBytesForEveryLevelCount) {
    for (int levels : byteLevels()) {
        sweep<F32f8u>(floatsNearGrid(levels - 1), levels);
        if (HasFatalFailure()) return;
    }
}

TEST(ReduceBitsSweep, FloatsAroundEveryGridPointTo16bitForSpreadLevelCounts) {
    for (int levels : {2, 3, 256, 1000, 4096}) {
        sweep<F32f16u>(floatsNearGrid(levels - 1), levels);
        sweep<F32f16s>(floatsNearGrid(levels - 1), levels);
    }
}

}  // namespace
