// RGB <-> Lab on float planes, 32f and 64f, P3R and _L forms, against a
// model (lab_model.h in 32f; the double formulas and cube root here, d = m q
// - 1 in quadruple precision): own steps per plane, canaries, both step
// signs, planes without gaps, steps beyond and at the 32-bit limits over a
// sparse reservation, worked values, the statuses tests/robust does not draw.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "celcc.h"
#include "colorspaces/lab_model.h"

#include "../../tables/cbrt53.h"  // table data only: the test's cube root reads the library's constants

namespace {

const double kSeries53[8] = {-0.01583430710088232, 0.019001168521058782, -0.023472031702484377, 0.03017832647462277,
                             -0.0411522633744856,  0.06172839506172839,  -0.1111111111111111,   0.3333333333333333};

// x = 2^ex * f, f in [0.5, 1): m = 2 f, biased exponent E = ex - 1 + 1023.
double cbrt53Model(double x) {
    int ex;
    const double f = std::frexp(std::fabs(x), &ex);
    const int E = ex - 1 + 1023, e3 = E / 3, e = E % 3;
    const double m = 2.0 * f;
    const int k = int((m - 1.0) * 32.0);
    const double q = -cel::_s_dwRcp[k], hi = cel::_s_dwCbrtHi[32 * e + k], lo = cel::_s_dwCbrtLo[32 * e + k];
    const double d = double(static_cast<__float128>(m) * q - 1);
    double p = kSeries53[0];
    for (int i = 1; i < 8; ++i) p = p * d + kSeries53[i];
    p = p * d;
    const double s = std::copysign(std::ldexp(1.0, e3 - 341), x);
    return s * hi + s * (hi * p + lo);
}

double matD(const float (&m)[3], double a, double b, double c) { return (double(m[0]) * a + double(m[1]) * b) + double(m[2]) * c; }

void fwd64(const double* c, double* o) {
    const double w[3] = {1.0521265327391165, 1.0, double(0.9184812f)};
    const double brk = double(0.008856f);
    double v[3], f[3], r[3];
    for (int k = 0; k < 3; ++k) {
        v[k] = matD(lab_model::kM[k], c[0], c[1], c[2]) * w[k];
        r[k] = v[k] <= brk ? 0.0 : cbrt53Model(v[k]);  // below the break the root is not used
        f[k] = v[k] <= brk ? v[k] * double(7.787f) + 16.0 / 116.0 : r[k];
    }
    o[0] = v[1] <= brk ? v[1] * double(903.3f) : r[1] * 116.0 - 16.0;
    o[1] = (f[0] - f[1]) * 500.0;
    o[2] = (f[1] - f[2]) * 200.0;
}

void rev64(const double* c, double* o) {
    const double fy = (c[0] + 16.0) * (1.0 / 116.0), fx = fy + c[1] * 0.002, fz = fy - c[2] * 0.005;
    const double X = fx * fx * fx * double(0.950456f), Y = fy * fy * fy * 1.0, Z = fz * fz * fz * double(1.0887539f);
    for (int k = 0; k < 3; ++k) o[k] = matD(lab_model::kI[k], X, Y, Z);
}

template <class T>
void model(bool fwd, const T* c, T* o) {
    if constexpr (std::is_same_v<T, float>)
        fwd ? lab_model::labForwardModel<float, float>(c, false, true, o) : lab_model::labReverseModel<float, float>(c, false, o);
    else
        fwd ? fwd64(c, o) : rev64(c, o);
}

template <class T>
bool sameBits(T a, T b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

template <class T>
struct Form {
    const char* name;
    bool fwd;
    CelStatus (*plain)(const T* const*, int*, T**, int*, CelSize);
    CelStatus (*wide)(const T* const*, int64_t*, T**, int64_t*, int64_t, int64_t);
};
#define FORM(T, op, depth, fwd) Form<T>{#op "_" #depth, fwd, celi##op##_##depth##_P3R, celi##op##_##depth##_P3R_L}
const Form<float> kForms32[] = {FORM(float, RGBToLab, 32f, true), FORM(float, LabToRGB, 32f, false)};
const Form<double> kForms64[] = {FORM(double, RGBToLab, 64f, true), FORM(double, LabToRGB, 64f, false)};

template <class T>
T sample(std::mt19937& rng, bool fwd, int plane) {
    if (fwd) {
        const uint32_t r = rng() % 16;
        if (r == 0) return T(0);  // black channels: the linear branch
        if (r == 1) return T(1);
        if (r == 2) return T(std::uniform_real_distribution<double>(0.0, 0.01)(rng));  // around the break
        return T(std::uniform_real_distribution<double>(0.0, 1.0)(rng));
    }
    static const double lo[3] = {0, -128, -128}, hi[3] = {100, 127, 127};
    return T(std::uniform_real_distribution<double>(lo[plane], hi[plane])(rng));
}

template <class P>
P* rowOf(P* plane, int64_t step, int y) {
    return reinterpret_cast<P*>(reinterpret_cast<intptr_t>(plane) + step * y);
}

// Calls f (its _L form when viaL) on planes sp, dp with byte steps ss, ds;
// every element of the region against the model.
template <class T>
void callAndCompare(const Form<T>& f, const T* const sp[3], const int64_t ss[3], T* const dp[3], const int64_t ds[3], int w,
                    int h, bool viaL) {
    const T* s[3] = {sp[0], sp[1], sp[2]};
    T* d[3] = {dp[0], dp[1], dp[2]};
    int64_t sL[3] = {ss[0], ss[1], ss[2]}, dL[3] = {ds[0], ds[1], ds[2]};
    int s32[3] = {int(ss[0]), int(ss[1]), int(ss[2])}, d32[3] = {int(ds[0]), int(ds[1]), int(ds[2])};
    ASSERT_EQ(viaL ? f.wide(s, sL, d, dL, w, h) : f.plain(s, s32, d, d32, {w, h}), celStatusOk) << f.name;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            T in[3], want[3];
            for (int i = 0; i < 3; ++i) in[i] = rowOf(sp[i], ss[i], y)[x];
            model(f.fwd, in, want);
            for (int i = 0; i < 3; ++i) {
                const T got = rowOf(dp[i], ds[i], y)[x];
                ASSERT_TRUE(sameBits(got, want[i])) << f.name << (viaL ? "_L" : "") << " w " << w << " h " << h << " x " << x << " y "
                                                    << y << " plane " << i << ": in (" << in[0] << ", " << in[1] << ", " << in[2]
                                                    << ") got " << got << " want " << want[i];
            }
        }
}

// Three source and three destination planes, each with its own step (pads
// of 1, 2, 3 elements), a canary pad of 2 elements before every destination
// row and a canary row after the last, every element outside the region
// unchanged; rows walked upward when `negative`; `tight`: every step the
// row's own elements (planes without gaps, which may run as one row).
template <class T>
void checkForm(const Form<T>& f, int w, int h, bool negative, bool viaL, bool tight, uint32_t seed) {
    std::mt19937 rng(seed);
    const int pad = tight ? 0 : 2, first = negative ? h - 1 : 0, sign = negative ? -1 : 1;
    std::vector<T> src[3], dst[3], before[3];
    const T* sp[3];
    T* dp[3];
    int64_t ss[3], ds[3];
    int de[3];
    for (int i = 0; i < 3; ++i) {
        const int se = tight ? w : w + 1 + i;
        de[i] = tight ? w : pad + w + 3 - i;
        src[i].resize(size_t(se) * h);
        dst[i].resize(size_t(de[i]) * (h + 1));
        for (auto& v : src[i]) v = sample<T>(rng, f.fwd, i);
        for (auto& v : dst[i]) v = T(rng());
        before[i] = dst[i];
        sp[i] = src[i].data() + size_t(first) * se, dp[i] = dst[i].data() + size_t(first) * de[i] + pad;
        ss[i] = sign * se * int64_t(sizeof(T)), ds[i] = sign * de[i] * int64_t(sizeof(T));
    }
    callAndCompare(f, sp, ss, dp, ds, w, h, viaL);
    for (int i = 0; i < 3; ++i)
        for (size_t at = 0; at < dst[i].size(); ++at) {
            const int y = int(at / de[i]), x = int(at % de[i]) - pad;
            if (y >= h || x < 0 || x >= w)
                ASSERT_TRUE(sameBits(dst[i][at], before[i][at])) << f.name << " w " << w << " plane " << i << " element " << at;
        }
}

template <class T>
void checkAll(const Form<T>& f) {
    uint32_t seed = 21;
    for (bool viaL : {false, true}) {
        for (int h : {1, 3})
            for (int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 15, 16, 17, 33, 100}) checkForm(f, w, h, false, viaL, false, seed++);
        checkForm(f, 19, 4, true, viaL, false, seed++);
        checkForm(f, 2, 5, true, viaL, false, seed++);
        checkForm(f, 7, 5, false, viaL, true, seed++);
        checkForm(f, 9, 3, true, viaL, true, seed++);
    }
}

}  // namespace

TEST(LabPlanarModel, Float32FormsMatchModel) {
    for (const auto& f : kForms32) checkAll(f);
}

TEST(LabPlanarModel, Float64FormsMatchModel) {
    for (const auto& f : kForms64) checkAll(f);
}

// White (the float matrix rows sum to 1 within 1e-7) and black forward;
// the reverse of (0, 0, 0) has no linear branch: (16/116)^3 = 0.0026241.
TEST(LabPlanarWorked, WhiteAndBlack64f) {
    struct Case { bool fwd; double in, want[3], tol[3]; };
    for (const Case& c : {Case{true, 1.0, {100.0, 0.0, 0.0}, {1e-4, 1e-3, 1e-3}}, Case{true, 0.0, {0.0, 0.0, 0.0}, {0, 0, 0}},
                          Case{false, 0.0, {0.0026241, 0.0026241, 0.0026241}, {2e-6, 2e-6, 2e-6}}})
        for (int w : {1, 2, 3}) {
            std::vector<double> in(w, c.in), out[3] = {std::vector<double>(w), std::vector<double>(w), std::vector<double>(w)};
            const double* s[3] = {in.data(), in.data(), in.data()};
            double* d[3] = {out[0].data(), out[1].data(), out[2].data()};
            int st[3] = {8 * w, 8 * w, 8 * w};
            ASSERT_EQ((c.fwd ? celiRGBToLab_64f_P3R : celiLabToRGB_64f_P3R)(s, st, d, st, {w, 1}), celStatusOk);
            for (int k = 0; k < 3; ++k)
                for (int i = 0; i < w; ++i) EXPECT_NEAR(out[k][i], c.want[k], c.tol[k]) << c.fwd << " " << c.in << " plane " << k;
        }
}

// A reservation of address space with no access; only the pages that the
// rows (and a canary before and after each destination row) touch are made
// accessible, so a row address formed with a 32-bit offset would fault or
// land elsewhere.
class Sparse {
public:
    explicit Sparse(size_t bytes) : size_(bytes) {
        base_ = static_cast<uint8_t*>(mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        if (base_ == MAP_FAILED) base_ = nullptr;
    }
    ~Sparse() {
        if (base_) munmap(base_, size_);
    }
    uint8_t* middle() const { return base_ + size_ / 2; }
    bool ok() const { return base_ != nullptr; }
    // Makes [p, p + n) accessible.
    static void open(void* p, size_t n) {
        const uintptr_t pg = uintptr_t(sysconf(_SC_PAGESIZE));
        const uintptr_t a = uintptr_t(p) & ~(pg - 1), b = (uintptr_t(p) + n + pg - 1) & ~(pg - 1);
        ASSERT_EQ(mprotect(reinterpret_cast<void*>(a), b - a, PROT_READ | PROT_WRITE), 0);
    }

private:
    uint8_t* base_ = nullptr;
    size_t size_;
};

// Planes 256 MiB apart around the middle of the reservation, a canary
// element either side of every destination row.
template <class T>
void checkFarRows(const Form<T>& f, const int64_t (&ss)[3], const int64_t (&ds)[3], int w, int h, bool viaL) {
    Sparse space(size_t(1) << 36);
    if (!space.ok()) GTEST_SKIP() << "no 64 GiB of address space to reserve";
    std::mt19937 rng(9);
    const T* sp[3];
    T* dp[3];
    for (int i = 0; i < 3; ++i) {
        T* s = reinterpret_cast<T*>(space.middle() + (int64_t(i) << 28));
        sp[i] = s, dp[i] = reinterpret_cast<T*>(space.middle() + (int64_t(i + 3) << 28));
        for (int y = 0; y < h; ++y) {
            T *sr = rowOf(s, ss[i], y), *dr = rowOf(dp[i], ds[i], y);
            Sparse::open(sr, w * sizeof(T));
            Sparse::open(dr - 1, (w + 2) * sizeof(T));
            for (int x = 0; x < w; ++x) sr[x] = sample<T>(rng, f.fwd, i);
            for (int x = -1; x <= w; ++x) dr[x] = T(-7);
        }
    }
    callAndCompare(f, sp, ss, dp, ds, w, h, viaL);
    for (int i = 0; i < 3; ++i)
        for (int y = 0; y < h; ++y) {
            ASSERT_EQ(rowOf(dp[i], ds[i], y)[-1], T(-7)) << f.name << " plane " << i << " row " << y;
            ASSERT_EQ(rowOf(dp[i], ds[i], y)[w], T(-7)) << f.name << " plane " << i << " row " << y;
        }
}

TEST(LabPlanarRows, StepsBeyond32BitsInTheLForms) {
    const int64_t g = int64_t(1) << 32;
    const int64_t sStep[3] = {g + 64, -(g + 128), 3 * (g / 2)}, dStep[3] = {-(g + 256), g / 2 + 32, g + 4096};
    for (const auto& f : kForms32) checkFarRows(f, sStep, dStep, 6, 3, true);
    for (const auto& f : kForms64) checkFarRows(f, sStep, dStep, 5, 3, true);
}

TEST(LabPlanarRows, ThirtyTwoBitStepsAtTheirLimitsWidenWithSign) {
    // INT32_MIN and the largest aligned positive step: rows 2^31 bytes and more apart
    const int64_t sStep[3] = {INT32_MIN, INT32_MAX - 7, -(int64_t(1) << 30)}, dStep[3] = {INT32_MAX - 7, INT32_MIN, INT32_MIN + 8};
    for (const auto& f : kForms32) checkFarRows(f, sStep, dStep, 5, 3, false);
    for (const auto& f : kForms64) checkFarRows(f, sStep, dStep, 3, 3, false);
}

// Statuses the robustness rows do not draw (the rest: tests/robust).
TEST(LabPlanarChecks, NullStepArraysAndSixtyFourBitSizesNothingWritten) {
    float a[8] = {}, b[8] = {}, c[8] = {}, d0[8], d1[8], d2[8];
    for (float* p : {d0, d1, d2}) std::fill(p, p + 8, 5.0f);
    const float* s[3] = {a, b, c};
    float* d[3] = {d0, d1, d2};
    int st[3] = {32, 32, 32};
    int64_t stL[3] = {32, 32, 32};
    const int64_t g = int64_t(1) << 32;
    for (const auto& f : kForms32) {
        EXPECT_EQ(f.plain(s, nullptr, d, st, {1, 1}), celStatusNullPointer);
        EXPECT_EQ(f.plain(s, st, d, nullptr, {1, 1}), celStatusNullPointer);
        EXPECT_EQ(f.plain(s, nullptr, d, st, {0, 0}), celStatusNullPointer);
        EXPECT_EQ(f.wide(s, nullptr, d, stL, 1, 1), celStatusNullPointer);
        EXPECT_EQ(f.wide(s, stL, d, nullptr, 1, 1), celStatusNullPointer);
        // 64-bit sizes whose low 32 bits alone would be a valid size
        for (auto [w, h] : {std::pair<int64_t, int64_t>{-g + 2, 1}, {1, -g + 3}, {INT64_MIN, 1}, {1, INT64_MIN + 1}})
            EXPECT_EQ(f.wide(s, stL, d, stL, w, h), celStatusBadSize) << w << " " << h;
    }
    double e[4] = {}, o[4] = {9, 9, 9, 9};
    const double* sd[3] = {e, e, e};
    double* dd[3] = {o, o, o};
    for (const auto& f : kForms64) {
        EXPECT_EQ(f.plain(sd, nullptr, dd, st, {1, 1}), celStatusNullPointer);
        EXPECT_EQ(f.wide(sd, stL, dd, stL, -g + 4, 1), celStatusBadSize);
    }
    for (float* p : {d0, d1, d2})
        for (int i = 0; i < 8; ++i) EXPECT_EQ(p[i], 5.0f);
    for (double v : o) EXPECT_EQ(v, 9.0);
}
