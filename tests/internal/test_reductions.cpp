// The reductions under the tone mapping functions: maximum, both sums and
// the mean against the model at every alignment and width class, the NaN
// rule of the maximum, statuses.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "bitdepth/reductions.h"
#include "common/tonemap_model.h"

namespace {

struct Img {
    std::vector<float> mem;
    float* p;
    int step;
    Img(int w, int h, int shift, uint32_t seed) : mem(size_t(w + 5) * h + 8) {
        const int lead = int(((16 - (reinterpret_cast<uintptr_t>(mem.data()) & 15)) & 15) / 4);
        p = mem.data() + lead + shift;
        step = (w + 3) * 4;
        std::mt19937 rng(seed);
        std::uniform_real_distribution<float> d(-1000.0f, 1000.0f);
        for (auto& v : mem) v = d(rng);
    }
};

TEST(Reductions, MaxSumsAndMeanMatchTheModel) {
    uint32_t seed = 3;
    for (int w : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33, 257})
        for (int h : {1, 2, 5})
            for (int shift : {0, 1, 2, 3}) {
                Img im(w, h, shift, seed++);
                float m = 0;
                double sum = 0, acc = 0, mean = 0;
                ASSERT_EQ(y8_celiMax_32f_C1R(im.p, im.step, {w, h}, &m), celStatusOk);
                EXPECT_EQ(m, tmmodel::maxOf(im.p, im.step, w, h)) << w << "x" << h;
                ASSERT_EQ(y8_celiSum_32f_C1R(im.p, im.step, {w, h}, &sum, 1), celStatusOk);
                EXPECT_EQ(sum, tmmodel::fastSum(im.p, im.step, w, h)) << w << "x" << h << " shift " << shift;
                ASSERT_EQ(y8_celiSum_32f_C1R(im.p, im.step, {w, h}, &acc, 2), celStatusOk);
                EXPECT_EQ(acc, tmmodel::accurateSum(im.p, im.step, w, h)) << w << "x" << h;
                ASSERT_EQ(y8_celiMean_32f_C1R(im.p, im.step, {w, h}, &mean, 1), celStatusOk);
                EXPECT_EQ(mean, sum / double(w * h));
                ASSERT_EQ(y8_celiSum_32f_C1R(im.p, -im.step, {w, 1}, &sum, 0), celStatusOk);
                EXPECT_EQ(sum, tmmodel::fastSum(im.p, im.step, w, 1));
            }
}

// The sample is the later operand of every fold and the lanes merge as
// (a0, a1), then high half into low, then lane 1 into lane 0: a NaN
// survives only as the last sample folded into lane 3 of the second
// accumulator.
TEST(Reductions, MaxKeepsANaNOnlyWhereItIsTheLaterOperandToTheEnd) {
    const float nan = std::nanf("");
    float m = 0;
    alignas(16) float a[8] = {nan, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_EQ(y8_celiMax_32f_C1R(a, 32, {8, 1}, &m), celStatusOk);
    EXPECT_EQ(m, 8.0f);
    alignas(16) float b[8] = {1, 2, 3, 4, 5, 6, 7, nan};
    ASSERT_EQ(y8_celiMax_32f_C1R(b, 32, {8, 1}, &m), celStatusOk);
    EXPECT_TRUE(std::isnan(m));
    alignas(16) float c[16] = {1, 1, 1, 1, 1, 1, 1, nan, 1, 1, 1, 1, 1, 1, 1, 9};
    ASSERT_EQ(y8_celiMax_32f_C1R(c, 64, {16, 1}, &m), celStatusOk);
    EXPECT_EQ(m, 9.0f);
}

TEST(Reductions, Statuses) {
    float v[4] = {1, 2, 3, 4}, m = 0;
    double d = 0;
    EXPECT_EQ(y8_celiMax_32f_C1R(nullptr, 16, {4, 1}, &m), celStatusNullPointer);
    EXPECT_EQ(y8_celiMax_32f_C1R(v, 16, {4, 1}, nullptr), celStatusNullPointer);
    EXPECT_EQ(y8_celiMax_32f_C1R(v, 16, {0, 1}, &m), celStatusBadSize);
    EXPECT_EQ(y8_celiSum_32f_C1R(nullptr, 16, {0, 0}, &d, 1), celStatusNullPointer);
    EXPECT_EQ(y8_celiSum_32f_C1R(v, 16, {4, 0}, &d, 2), celStatusBadSize);
    EXPECT_EQ(y8_celiMean_32f_C1R(v, 16, {4, 1}, nullptr, 1), celStatusNullPointer);
    EXPECT_EQ(y8_celiMean_32f_C1R(v, 16, {4, -1}, &d, 1), celStatusBadSize);
    ASSERT_EQ(y8_celiMean_32f_C1R(v, 16, {4, 1}, &d, 2), celStatusOk);
    EXPECT_EQ(d, 2.5);
}

}  // namespace
