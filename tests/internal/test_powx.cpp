// The power kernel: its tables against extended precision, the general
// path bit for bit against an independent model of its arithmetic (over a
// strided sweep of all float inputs, through the scalar loop, the
// alignment prologue and the body), its accuracy against extended
// precision, the special values and special powers, in-place use, the
// checks, and the caller's control state.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>
#include <xmmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "common/powx_model.h"
#include "vectormath/powx.h"
#include "vectormath/powx_recipes.h"

namespace {

using celtest::sameFloat;

float fromBits(uint32_t b) {
    float f;
    std::memcpy(&f, &b, 4);
    return f;
}
uint32_t bitsOf(float f) {
    uint32_t b;
    std::memcpy(&b, &f, 4);
    return b;
}

// Runs the kernel over v (in place or not, dst shifted by `shift` floats
// from 16-byte alignment) and compares every element with the model.
void checkAgainstModel(const std::vector<float>& v, float p, int shift, bool inPlace) {
    std::vector<float> buf(v.size() + 8), src(v);
    float* dst = buf.data();
    while ((reinterpret_cast<uintptr_t>(dst) & 15) != 0) ++dst;
    dst += shift;
    const int n = static_cast<int>(v.size());
    if (inPlace) {
        std::memcpy(dst, v.data(), v.size() * 4);
        ASSERT_EQ(y8_celsPowx_32f_A21(dst, dst, n, p), celStatusOk);
    } else {
        ASSERT_EQ(y8_celsPowx_32f_A21(src.data(), dst, n, p), celStatusOk);
    }
    const auto& model = celtest::powModel();
    for (int i = 0; i < n; ++i) {
        const float want = model(v[i], p);
        ASSERT_TRUE(sameFloat(dst[i], want)) << "x " << v[i] << " (0x" << std::hex << bitsOf(v[i]) << std::dec
                                             << ") ^ " << p << " at " << i << " of " << n << ": got " << dst[i]
                                             << " want " << want;
    }
}

std::vector<float> sweep(uint32_t stride, uint32_t start) {
    std::vector<float> v;
    for (uint64_t b = start; b <= 0xFFFFFFFFull; b += stride) v.push_back(fromBits(static_cast<uint32_t>(b)));
    return v;
}

TEST(Powx, TablesAreTheNearestDoubles) {
    const auto& d = cel::vm::_vspowx_data;
    for (int j = 0; j < 128; ++j) {
        EXPECT_EQ(d.log[j].t, static_cast<double>(std::log2(1.0L + j / 128.0L))) << j;
        EXPECT_EQ(d.log[j].r, std::ldexp(1.0, -23) / (1.0 + j / 128.0)) << j;
        EXPECT_EQ(d.exp[j], static_cast<double>(std::exp2(j / 128.0L))) << j;
    }
}

TEST(Powx, GammaExponentsMatchTheModelOverASweepOfAllFloats) {
    for (float p : {0.45f, 2.2222223f}) {
        const auto v = sweep(2053, 7);  // about 2.1 million bit patterns of every class
        checkAgainstModel(v, p, 0, false);
        checkAgainstModel(v, p, 1, true);  // prologue of three
    }
}

TEST(Powx, OtherInputsAndPowersMatchTheModel) {
    // [2^-10, 1] densely: where the gamma forms spend their time
    std::vector<float> unit;
    for (uint32_t b = bitsOf(0x1p-10f); b <= bitsOf(1.0f); b += 37) unit.push_back(fromBits(b));
    checkAgainstModel(unit, 0.45f, 2, false);
    checkAgainstModel(unit, 2.2222223f, 3, false);
    const auto v = sweep(65537, 3);
    for (float p : {0.3f, -1.7f, 3.5f, 1e-3f, 100.0f, -2.5f, 7.0001f, 11.0f, -5.0f, 1e30f, -1e-30f, 0.25f, 2.5f, 10.0f})
        checkAgainstModel(v, p, 0, false);
}

TEST(Powx, AccurateToOneUnitInTheLastPlace) {
    // against extended precision, over finite positive inputs with finite results
    for (float p : {0.45f, 2.2222223f, -1.7f, 3.5f}) {
        std::vector<float> v = sweep(9973, 1), out(v.size());
        ASSERT_EQ(y8_celsPowx_32f_A21(v.data(), out.data(), static_cast<int>(v.size()), p), celStatusOk);
        double worst = 0;
        for (size_t i = 0; i < v.size(); ++i) {
            if (!(v[i] > 0.0f) || std::isinf(v[i])) continue;
            const long double exact = std::pow(static_cast<long double>(v[i]), static_cast<long double>(p));
            if (exact > std::numeric_limits<float>::max() || exact < std::numeric_limits<float>::min()) continue;
            const float near = static_cast<float>(exact);
            const double ulp = std::nextafter(near, std::numeric_limits<float>::infinity()) - near;
            worst = std::max(worst, static_cast<double>(std::fabs(out[i] - exact) / ulp));
        }
        EXPECT_LE(worst, 0.5001) << "power " << p;  // correctly rounded but for near-ties
    }
}

// Special values, the same through the body and the scalar loop: the rules
// of the C pow function (a zero keeps its sign under an odd integer power
// only), overflow, underflow, denormal results and bases.
TEST(Powx, SpecialValues) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    const auto& model = celtest::powModel();
    const struct {
        float x, p, want;
    } cases[] = {
        {1.0f, 0.45f, 1.0f},     {0.0f, 0.45f, 0.0f},    {-0.5f, 0.45f, nan},      {0.0f, 2.2222223f, 0.0f},
        {-0.0f, 0.45f, 0.0f},    {-0.0f, 3.5f, 0.0f},    {-0.0f, 11.0f, -0.0f},    {0.0f, -0.45f, inf},
        {-0.0f, -11.0f, -inf},   {-1.0f, 11.0f, -1.0f},  {-1.0f, 12.0f, 1.0f},     {-1.0f, inf, 1.0f},
        {-1.0f, -inf, 1.0f},     {-2.0f, 11.0f, -2048.0f}, {nan, 0.45f, nan},      {0.5f, nan, nan},
        {1.0f, nan, 1.0f},       {inf, 0.45f, inf},      {inf, -0.45f, 0.0f},      {-inf, 11.0f, -inf},
        {0.5f, inf, 0.0f},       {2.0f, inf, inf},       {0.5f, -inf, inf},        {3e38f, 2.2222223f, inf},
        {1e-30f, 2.2222223f, 0.0f}, {0x1p-100f, 1.4f, 0x1p-140f},
        {0x1p-140f, 0.5000001f, model(0x1p-140f, 0.5000001f)}, {0x1p-140f, 0.45f, model(0x1p-140f, 0.45f)},
    };
    for (const auto& c : cases) {
        float in[20], out[20];
        std::fill(in, in + 20, c.x);
        ASSERT_EQ(y8_celsPowx_32f_A21(in, out, 20, c.p), celStatusOk);
        for (float o : out) EXPECT_TRUE(sameFloat(o, c.want)) << c.x << " ^ " << c.p << ": " << o << " instead of " << c.want;
    }
}

// Integer powers from -4 to 9 are repeated products (a reciprocal for the
// negative ones), 0.5, -0.5 and 1.5 square roots, 1 a bit copy (NaN
// payloads included).
TEST(Powx, SpecialPowers) {
    std::vector<float> v = {0.0f, -0.0f, 1.0f, -1.0f, 0.3f, -2.5f, 3.7f, 1e-3f, 65504.0f, 1e20f,
                            std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN(),
                            0x1p-140f, 7.0f, -0.125f, 12345.678f, 0.999f, 2.0f, -3.0f};
    std::vector<float> out(v.size());
    const auto expectAll = [&](float p, auto ref) {
        ASSERT_EQ(y8_celsPowx_32f_A21(v.data(), out.data(), int(v.size()), p), celStatusOk);
        for (size_t i = 0; i < v.size(); ++i) EXPECT_TRUE(sameFloat(out[i], ref(v[i]))) << v[i] << " ^ " << p;
    };
    for (int k : {2, 3, 4, 5, 6, 7, 8, 9, -1, -2, -3, -4})
        expectAll(float(k), [k](float x) {
            float r = x;
            for (int m = 1; m < std::abs(k); ++m) r = r * x;
            return k > 0 ? r : 1.0f / r;
        });
    expectAll(0.5f, [](float x) { return std::sqrt(x); });
    expectAll(-0.5f, [](float x) { return float(1.0 / std::sqrt(double(x))); });
    expectAll(1.5f, [](float x) { return float(double(x) * std::sqrt(double(x))); });
    v.push_back(fromBits(0x7FC01234u));
    v.push_back(fromBits(0xFFA00001u));
    std::vector<float> copy(v.size());
    ASSERT_EQ(y8_celsPowx_32f_A21(v.data(), copy.data(), int(v.size()), 1.0f), celStatusOk);
    EXPECT_EQ(0, std::memcmp(v.data(), copy.data(), v.size() * 4));
}

TEST(Powx, PowerZeroWritesOnesWithoutReadingTheSource) {
    const long page = sysconf(_SC_PAGESIZE);
    void* guard = mmap(nullptr, static_cast<size_t>(page), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(guard, MAP_FAILED);
    std::vector<float> out(100, 7.0f);
    for (float zero : {0.0f, -0.0f}) {
        ASSERT_EQ(y8_celsPowx_32f_A21(static_cast<const float*>(guard), out.data(), 99, zero), celStatusOk);
        for (int i = 0; i < 99; ++i) EXPECT_EQ(out[i], 1.0f);
        EXPECT_EQ(out[99], 7.0f);
    }
    munmap(guard, static_cast<size_t>(page));
}

TEST(Powx, InPlaceEqualsOutOfPlaceAtEveryLength) {
    std::vector<float> v;
    for (int i = 0; i < 400; ++i) v.push_back(0.0025f * i - 0.05f);
    for (int n : {1, 3, 15, 16, 17, 31, 33, 384, 385, 399}) {
        std::vector<float> a(v.begin(), v.begin() + n), b(a), out(n);
        ASSERT_EQ(y8_celsPowx_32f_A21(a.data(), out.data(), n, 0.45f), celStatusOk);
        ASSERT_EQ(y8_celsPowx_32f_A21(b.data(), b.data(), n, 0.45f), celStatusOk);
        for (int i = 0; i < n; ++i) ASSERT_TRUE(sameFloat(out[i], b[i])) << n << " " << i;
    }
}

TEST(Powx, ChecksLengthThenPointers) {
    float s[4] = {1, 2, 3, 4}, d[4] = {9, 9, 9, 9};
    EXPECT_EQ(y8_celsPowx_32f_A21(nullptr, nullptr, 0, 0.45f), celStatusBadSize);
    EXPECT_EQ(y8_celsPowx_32f_A21(s, d, -1, 0.45f), celStatusBadSize);
    EXPECT_EQ(y8_celsPowx_32f_A21(nullptr, d, 4, 0.45f), celStatusNullPointer);
    EXPECT_EQ(y8_celsPowx_32f_A21(s, nullptr, 4, 0.45f), celStatusNullPointer);
    for (float f : d) EXPECT_EQ(f, 9.0f);
}

TEST(Powx, RunsInItsOwnControlStateAndRestoresTheCallers) {
    std::vector<float> v = sweep(1000003, 5), ref(v.size()), out(v.size());
    const int n = static_cast<int>(v.size());
    ASSERT_EQ(y8_celsPowx_32f_A21(v.data(), ref.data(), n, 0.45f), celStatusOk);
    const unsigned saved = _mm_getcsr();
    // round toward zero, flush to zero, denormals are zero, a sticky flag set
    for (unsigned csr : {0x7F80u | 0x6000u, 0x1F80u | 0x8040u | 0x2000u | 0x0020u, 0x1F80u | 0x4000u}) {
        _mm_setcsr(csr);
        const CelStatus st = y8_celsPowx_32f_A21(v.data(), out.data(), n, 0.45f);
        const unsigned after = _mm_getcsr();
        _mm_setcsr(saved);
        EXPECT_EQ(st, celStatusOk);
        EXPECT_EQ(after, csr);
        for (int i = 0; i < n; ++i) ASSERT_TRUE(sameFloat(out[i], ref[i])) << "csr " << std::hex << csr << " at " << i;
    }
}

}  // namespace
