// The double-precision cube root of the 64f Lab forms: its tables against
// quadruple precision, and the routine (one lane and two lanes alike)
// within about one unit in the last place of the exact cube root over
// normal numbers of every exponent, both signs.
#pragma GCC target("sse4.2")  // the recipes header is built for the library's processor level
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>

#include "colorspaces/luvlab_recipes.h"

namespace {

__float128 cbrtQuad(__float128 v) {
    __float128 y = static_cast<__float128>(std::cbrt(static_cast<long double>(v)));
    for (int i = 0; i < 3; ++i) y = y - (y * y * y - v) / (3 * y * y);
    return y;
}

double ulpOf(double v) { return std::nextafter(std::fabs(v), INFINITY) - std::fabs(v); }

TEST(Cbrt53, TablesAreTheNearestDoubles) {
    for (int k = 0; k < 32; ++k) EXPECT_EQ(cel::_s_dwRcp[k], -1.0 / (1.0 + (2 * k + 1) / 64.0)) << k;
    EXPECT_EQ(cel::_s_dwCbrtHi[0], 1.0051814396472645);
    for (int e = 0; e < 3; ++e)
        for (int k = 0; k < 32; ++k) {
            const __float128 v = static_cast<__float128>(1 << e) * (65 + 2 * k) / 64;
            const __float128 c = cbrtQuad(v);
            const double hi = cel::_s_dwCbrtHi[32 * e + k], lo = cel::_s_dwCbrtLo[32 * e + k];
            EXPECT_EQ(hi, static_cast<double>(c)) << e << " " << k;
            // quadruple precision decides the low part to within its last unit
            EXPECT_LE(std::fabs(lo - static_cast<double>(c - hi)), ulpOf(lo)) << e << " " << k;
            EXPECT_LE(std::fabs(lo), ulpOf(hi) / 2) << e << " " << k;
        }
}

TEST(Cbrt53, WithinOneUnitOverAllExponents) {
    std::mt19937_64 rng(12);
    int exact = 0, n = 0;
    for (int i = 0; i < 200000; ++i) {
        uint64_t bits = rng() & ~(uint64_t(0x7FF) << 52);
        bits |= uint64_t(1 + rng() % 2046) << 52;  // normal numbers, either sign
        double x[2];
        std::memcpy(&x[0], &bits, 8);
        x[1] = -x[0] * (std::fabs(x[0]) < 1.0 ? 1.5 : 0.75);  // normal too
        const __m128d v = cel::cs::ll::y8__my_cbrt53_pd(_mm_loadu_pd(x));
        double two[2];
        _mm_storeu_pd(two, v);
        for (int j = 0; j < 2; ++j) {
            const double one = cel::cs::ll::cbrt53(x[j]);
            ASSERT_EQ(std::memcmp(&one, &two[j], 8), 0) << x[j];  // the twins agree bit for bit
            const double want = static_cast<double>(cbrtQuad(x[j]));
            ASSERT_LE(std::fabs(one - want), ulpOf(want)) << x[j];
            exact += one == want, ++n;
        }
    }
    EXPECT_GT(exact, n * 9 / 10);  // most results are the nearest double
}

}  // namespace
