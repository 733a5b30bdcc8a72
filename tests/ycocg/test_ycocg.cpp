// YCoCg both ways: an independent model of every form (64-bit arithmetic,
// explicit 16-bit wraps, the plain 16s body saturating and its tail keeping
// the low bits), random images over widths that hit body and tail, aligned
// and unaligned rows, both step signs, canaries around every row; the
// whole 8-bit input space through body and tail; lossless round trips of
// every lifting pair; the error bound of the plain pairs; worked values.
// Statuses, check order and errors that write nothing: the robustness
// table's rows (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/sweep24.h"

namespace {

// ---- Model -------------------------------------------------------------------------------
using I = int64_t;
I wrap16(I v) { return static_cast<int16_t>(static_cast<uint16_t>(v & 0xFFFF)); }
I wrap32(I v) { return static_cast<int32_t>(static_cast<uint32_t>(v & 0xFFFFFFFF)); }
I sat16(I v) { return v < -32768 ? -32768 : (v > 32767 ? 32767 : v); }
I clampByte(I v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }
I floorDiv(I v, I d) { return (v >= 0 ? v : v - (d - 1)) / d; }  // >> on a two's complement value

enum class Kind { Plain, Lifting, Plain16s, Lifting16s, Offset8u };

// Forward: plane values of one pixel; `tail` tells that the pixel falls in
// the scalar tail of its row.
std::array<I, 3> forwardModel(Kind k, I r, I g, I b, bool tail) {
    const I y = floorDiv(r + 2 * g + b + 2, 4), co = floorDiv(r - b + 1, 2), cg = floorDiv(2 * g - r - b + 2, 4);
    switch (k) {
        case Kind::Plain: return {y, co, cg};
        case Kind::Plain16s:
            return tail ? std::array<I, 3>{wrap16(y), wrap16(co), wrap16(cg)} : std::array<I, 3>{sat16(y), sat16(co), sat16(cg)};
        case Kind::Offset8u: return {y, std::min<I>(co + 128, 255), clampByte(cg + 128)};
        case Kind::Lifting: {
            const I c = r - b, t = b + floorDiv(c, 2), d = g - t;
            return {t + floorDiv(d, 2), c, d};
        }
        case Kind::Lifting16s: {
            const I c = wrap16(r - b), t = wrap16(b + floorDiv(c, 2)), d = wrap16(g - t);
            return {wrap16(t + floorDiv(d, 2)), c, d};
        }
    }
    return {};
}

// Inverse: R, G, B of one pixel in the pixel's type (bytes saturated, words
// the low 16 bits).  `wide` says the planes are 32-bit.
std::array<I, 3> inverseModel(Kind k, I y, I co, I cg, bool wide, bool bytes) {
    const auto w = [wide](I v) { return wide ? wrap32(v) : wrap16(v); };
    std::array<I, 3> rgb;
    if (k == Kind::Offset8u) {
        rgb = {y + co - cg, y + cg - 128, y - co - cg + 256};
    } else if (k == Kind::Plain) {
        rgb = {w(y + co - cg), w(y + cg), w(y - co - cg)};
    } else {
        const I t = w(y - floorDiv(cg, 2)), g = w(cg + t), b = w(t - floorDiv(co, 2));
        rgb = {w(b + co), g, b};
    }
    for (I& v : rgb) v = bytes ? clampByte(wrap16(v)) : wrap16(v);
    return rgb;
}

// ---- The forms ---------------------------------------------------------------------------------
using FwdCall = CelStatus (*)(const void*, int, void* const*, int, CelSize);
using InvCall = CelStatus (*)(const void* const*, int, void*, int, CelSize, int);

template <class S, class D, CelStatus (*F)(const S*, int, D**, int, CelSize)>
CelStatus fwdCall(const void* s, int ss, void* const* d, int ds, CelSize roi) {
    D* planes[3] = {};
    if (d) for (int k = 0; k < 3; ++k) planes[k] = static_cast<D*>(d[k]);
    return F(static_cast<const S*>(s), ss, d ? planes : nullptr, ds, roi);
}
template <class S, class D, CelStatus (*F)(const S* const*, int, D*, int, CelSize)>
CelStatus invCall3(const void* const* s, int ss, void* d, int ds, CelSize roi, int) {
    const S* planes[3] = {};
    if (s) for (int k = 0; k < 3; ++k) planes[k] = static_cast<const S*>(s[k]);
    return F(s ? planes : nullptr, ss, static_cast<D*>(d), ds, roi);
}
template <class S, class D, CelStatus (*F)(const S* const*, int, D*, int, CelSize, int)>
CelStatus invCall4(const void* const* s, int ss, void* d, int ds, CelSize roi, int alpha) {
    const S* planes[3] = {};
    if (s) for (int k = 0; k < 3; ++k) planes[k] = static_cast<const S*>(s[k]);
    return F(s ? planes : nullptr, ss, static_cast<D*>(d), ds, roi, alpha);
}

struct Form {
    const char* name;
    Kind kind;
    int pixBytes, planeBytes, channels;  // sample sizes of the pixel and plane sides
    bool rgb;                            // R first (else B first)
    int tailBlock;                       // pixels of the last vector block: x >= width - width % tailBlock is tail
    FwdCall fwd;
    InvCall inv;
};

#define FWD(n, S, D, ...) Form{#n, __VA_ARGS__, fwdCall<S, D, n>, nullptr}
#define INV3(n, S, D, ...) Form{#n, __VA_ARGS__, nullptr, invCall3<S, D, n>}
#define INV4(n, S, D, ...) Form{#n, __VA_ARGS__, nullptr, invCall4<S, D, n>}
const std::vector<Form>& forms() {
    static const std::vector<Form> f = {
        FWD(celiBGRToYCoCg_8u16s_C3P3R, uint8_t, int16_t, Kind::Plain, 1, 2, 3, false, 8),
        FWD(celiBGRToYCoCg_8u16s_C4P3R, uint8_t, int16_t, Kind::Plain, 1, 2, 4, false, 8),
        FWD(celiBGRToYCoCg_Rev_8u16s_C3P3R, uint8_t, int16_t, Kind::Lifting, 1, 2, 3, false, 8),
        FWD(celiBGRToYCoCg_Rev_8u16s_C4P3R, uint8_t, int16_t, Kind::Lifting, 1, 2, 4, false, 8),
        FWD(celiRGBToYCoCg_8u_C3P3R, uint8_t, uint8_t, Kind::Offset8u, 1, 1, 3, true, 16),
        FWD(celiSBGRToYCoCg_16s_C3P3R, int16_t, int16_t, Kind::Plain16s, 2, 2, 3, false, 4),
        FWD(celiSBGRToYCoCg_16s_C4P3R, int16_t, int16_t, Kind::Plain16s, 2, 2, 4, false, 4),
        FWD(celiSBGRToYCoCg_16s32s_C3P3R, int16_t, int32_t, Kind::Plain, 2, 4, 3, false, 4),
        FWD(celiSBGRToYCoCg_16s32s_C4P3R, int16_t, int32_t, Kind::Plain, 2, 4, 4, false, 4),
        FWD(celiSBGRToYCoCg_Rev_16s_C3P3R, int16_t, int16_t, Kind::Lifting16s, 2, 2, 3, false, 4),
        FWD(celiSBGRToYCoCg_Rev_16s_C4P3R, int16_t, int16_t, Kind::Lifting16s, 2, 2, 4, false, 4),
        FWD(celiSBGRToYCoCg_Rev_16s32s_C3P3R, int16_t, int32_t, Kind::Lifting, 2, 4, 3, false, 4),
        FWD(celiSBGRToYCoCg_Rev_16s32s_C4P3R, int16_t, int32_t, Kind::Lifting, 2, 4, 4, false, 4),
        INV3(celiYCoCgToBGR_16s8u_P3C3R, int16_t, uint8_t, Kind::Plain, 1, 2, 3, false, 8),
        INV4(celiYCoCgToBGR_16s8u_P3C4R, int16_t, uint8_t, Kind::Plain, 1, 2, 4, false, 8),
        INV3(celiYCoCgToBGR_Rev_16s8u_P3C3R, int16_t, uint8_t, Kind::Lifting, 1, 2, 3, false, 8),
        INV4(celiYCoCgToBGR_Rev_16s8u_P3C4R, int16_t, uint8_t, Kind::Lifting, 1, 2, 4, false, 8),
        INV3(celiYCoCgToRGB_8u_P3C3R, uint8_t, uint8_t, Kind::Offset8u, 1, 1, 3, true, 16),
        INV3(celiYCoCgToSBGR_16s_P3C3R, int16_t, int16_t, Kind::Plain, 2, 2, 3, false, 4),
        INV4(celiYCoCgToSBGR_16s_P3C4R, int16_t, int16_t, Kind::Plain, 2, 2, 4, false, 4),
        INV3(celiYCoCgToSBGR_32s16s_P3C3R, int32_t, int16_t, Kind::Plain, 2, 4, 3, false, 4),
        INV4(celiYCoCgToSBGR_32s16s_P3C4R, int32_t, int16_t, Kind::Plain, 2, 4, 4, false, 4),
        INV3(celiYCoCgToSBGR_Rev_16s_P3C3R, int16_t, int16_t, Kind::Lifting, 2, 2, 3, false, 4),
        INV4(celiYCoCgToSBGR_Rev_16s_P3C4R, int16_t, int16_t, Kind::Lifting, 2, 2, 4, false, 4),
        INV3(celiYCoCgToSBGR_Rev_32s16s_P3C3R, int32_t, int16_t, Kind::Lifting, 2, 4, 3, false, 4),
        INV4(celiYCoCgToSBGR_Rev_32s16s_P3C4R, int32_t, int16_t, Kind::Lifting, 2, 4, 4, false, 4),
    };
    return f;
}
#undef FWD
#undef INV3
#undef INV4

// ---- Images with canaries ------------------------------------------------------------------------
constexpr uint8_t kCanary = 0xA5;

// Rows of `rowBytes` starting `shift` bytes past a 16-byte boundary, with
// at least 16 guard bytes on both sides and a guard row above and below.
struct Plane {
    int rowBytes, rows, step, sampleBytes;
    std::vector<uint8_t> mem;
    size_t first;
    Plane(int rb, int h, int sample, int shift)
        : rowBytes(rb), rows(h), step(((rb + 32 + 15) & ~15) + shift), sampleBytes(sample),
          mem(size_t(step) * (h + 2) + 64, kCanary) {
        const uintptr_t base = reinterpret_cast<uintptr_t>(mem.data()) + step + 16;
        first = ((base + 15) & ~uintptr_t(15)) - reinterpret_cast<uintptr_t>(mem.data());
    }
    uint8_t* row(int y) { return mem.data() + first + size_t(y) * step; }
    I at(int y, int i) {  // sample i of row y, signed for 16 and 32-bit samples
        const uint8_t* p = row(y) + size_t(i) * sampleBytes;
        if (sampleBytes == 1) return *p;
        if (sampleBytes == 2) { int16_t v; std::memcpy(&v, p, 2); return v; }
        int32_t v;
        std::memcpy(&v, p, 4);
        return v;
    }
    void set(int y, int i, I v) {
        uint8_t* p = row(y) + size_t(i) * sampleBytes;
        const uint32_t u = static_cast<uint32_t>(v);
        std::memcpy(p, &u, sampleBytes);  // little-endian low bytes
    }
    bool guardsIntact() const {
        for (size_t i = 0; i < mem.size(); ++i) {
            const ptrdiff_t off = ptrdiff_t(i) - ptrdiff_t(first);
            const ptrdiff_t y = off >= 0 ? off / step : -1, x = off - y * step;
            if ((y < 0 || y >= rows || x >= rowBytes) && mem[i] != kCanary) return false;
        }
        return true;
    }
};

// Random samples: the whole range, with its ends and small values mixed in.
I randomSample(std::mt19937& rng, int bytes) {
    if (bytes == 1) return rng() & 0xFF;
    const I lo = bytes == 2 ? -32768 : INT32_MIN, hi = bytes == 2 ? 32767 : INT32_MAX;
    switch (rng() % 4) {
        case 0: return (rng() & 1) ? lo + I(rng() % 3) : hi - I(rng() % 3);
        case 1: return I(rng() % 512) - 256;
        default: return bytes == 2 ? I(int16_t(rng())) : I(int32_t(rng()));
    }
}

struct Images {
    Plane pix;
    std::vector<Plane> planes;
};

Images makeImages(const Form& f, int w, int h, int shift, std::mt19937& rng) {
    Images im{Plane(w * f.channels * f.pixBytes, h, f.pixBytes, shift * f.pixBytes), {}};
    for (int k = 0; k < 3; ++k) im.planes.emplace_back(w * f.planeBytes, h, f.planeBytes, shift * f.planeBytes);
    Plane& src = f.fwd ? im.pix : im.planes[0];
    for (int y = 0; y < h; ++y) {
        if (f.fwd)
            for (int i = 0; i < w * f.channels; ++i) src.set(y, i, randomSample(rng, f.pixBytes));
        else
            for (int k = 0; k < 3; ++k)
                for (int x = 0; x < w; ++x) im.planes[k].set(y, x, randomSample(rng, f.planeBytes));
    }
    return im;
}

CelStatus run(const Form& f, Images& im, CelSize roi, bool upward, int alpha) {
    const int last = upward ? im.pix.rows - 1 : 0, sign = upward ? -1 : 1;
    void* planes[3] = {im.planes[0].row(last), im.planes[1].row(last), im.planes[2].row(last)};
    if (f.fwd) return f.fwd(im.pix.row(last), sign * im.pix.step, planes, sign * im.planes[0].step, roi);
    return f.inv(planes, sign * im.planes[0].step, im.pix.row(last), sign * im.pix.step, roi, alpha);
}

// Compares every converted sample with the model; stops at the first
// difference with the place, the inputs and both values.
void expectModel(const Form& f, Images& im, int w, int h, int alpha) {
    const int ri = f.rgb ? 0 : 2, bi = f.rgb ? 2 : 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool tail = x >= w - w % f.tailBlock;
            const int px = x * f.channels;
            std::array<I, 4> got{}, want{};
            std::array<I, 3> in;
            if (f.fwd) {
                in = {im.pix.at(y, px + ri), im.pix.at(y, px + 1), im.pix.at(y, px + bi)};
                const auto e = forwardModel(f.kind, in[0], in[1], in[2], tail);
                for (int k = 0; k < 3; ++k) got[k] = im.planes[k].at(y, x), want[k] = e[k];
            } else {
                in = {im.planes[0].at(y, x), im.planes[1].at(y, x), im.planes[2].at(y, x)};
                const auto e = inverseModel(f.kind, in[0], in[1], in[2], f.planeBytes == 4, f.pixBytes == 1);
                got = {im.pix.at(y, px + ri), im.pix.at(y, px + 1), im.pix.at(y, px + bi), 0};
                want = {e[0], e[1], e[2], 0};
                if (f.channels == 4) got[3] = im.pix.at(y, px + 3), want[3] = f.pixBytes == 1 ? (alpha & 0xFF) : wrap16(alpha);
            }
            if (got != want) {
                ADD_FAILURE() << f.name << " width " << w << " x " << x << " y " << y << (tail ? " (tail)" : " (body)")
                              << " in " << in[0] << "," << in[1] << "," << in[2] << " got " << got[0] << "," << got[1] << ","
                              << got[2] << "," << got[3] << " want " << want[0] << "," << want[1] << "," << want[2] << ","
                              << want[3];
                return;
            }
        }
}

class YCoCgForm : public ::testing::TestWithParam<Form> {};

TEST_P(YCoCgForm, MatchesModelOverWidthsAlignmentsAndSteps) {
    const Form& f = GetParam();
    std::mt19937 rng(11);
    for (int w : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 23, 24, 31, 32, 33, 40, 100})
        for (int h : {1, 3})
            for (int shift : {0, 1})
                for (bool upward : {false, true}) {
                    Images im = makeImages(f, w, h, shift, rng);
                    const int alpha = int(rng());
                    ASSERT_EQ(run(f, im, {w, h}, upward, alpha), celStatusOk) << f.name;
                    expectModel(f, im, w, h, alpha);
                    if (HasFailure()) return;
                    ASSERT_TRUE(im.pix.guardsIntact() && im.planes[0].guardsIntact() && im.planes[1].guardsIntact() &&
                                im.planes[2].guardsIntact())
                        << f.name << " wrote outside the region, w " << w;
                }
}

INSTANTIATE_TEST_SUITE_P(All, YCoCgForm, ::testing::ValuesIn(forms()),
                         [](const ::testing::TestParamInfo<Form>& i) { return std::string(i.param.name).substr(4); });

const Form& form(const std::string& name) {
    for (const Form& f : forms())
        if (name == f.name) return f;
    throw std::runtime_error(name);
}

// ---- The whole 8-bit space ------------------------------------------------------------------------
// Every R, G, B (or Y, Co, Cg byte) triple of common/sweep24.h, in rows of
// 4096 (vector body) and of 7 (scalar tail only), 65536 at a time, against
// the model.
void sweep8(const char* name, int w) {
    const Form& f = form(name);
    const int h = (65536 + w - 1) / w;
    std::mt19937 rng(1);
    Images im = makeImages(f, w, h, 0, rng);
    for (int64_t start = 0; start < celtest::sweep24Count(); start += int64_t(w) * h) {
        for (int i = 0; i < w * h; ++i) {
            int v[3];
            celtest::sweep24Input((start + i) % celtest::sweep24Count(), v[0], v[1], v[2]);
            for (int k = 0; k < 3; ++k) {
                if (f.fwd)
                    im.pix.set(i / w, (i % w) * f.channels + k, v[k]);
                else
                    im.planes[k].set(i / w, i % w, v[k]);
            }
        }
        ASSERT_EQ(run(f, im, {w, h}, false, 0), celStatusOk);
        expectModel(f, im, w, h, 0);
        if (::testing::Test::HasFailure()) return;
    }
}

TEST(YCoCgSweep, Every8BitTripleThroughBodyAndTail) {
    for (const char* n : {"celiBGRToYCoCg_8u16s_C3P3R", "celiBGRToYCoCg_Rev_8u16s_C4P3R", "celiRGBToYCoCg_8u_C3P3R",
                          "celiYCoCgToRGB_8u_P3C3R"})
        for (int w : {4096, 7}) {
            sweep8(n, w);
            if (HasFailure()) return;
        }
}

// ---- Round trips ---------------------------------------------------------------------------------------
// Forward then inverse of n pixels (sample(i, k): channel k of pixel i in
// memory order), in rows of w, a chunk of rows at a time.  Gives the
// largest channel error (modulo 2^16: the 16-bit inverses keep the low
// bits) and which pixels came back exactly.
struct Trip {
    I maxError = 0;
    size_t exact = 0, pixels = 0;
    std::vector<bool> exactAt;
};

template <class Sample>
Trip roundTrip(const char* fwdName, const char* invName, size_t n, Sample sample, int w) {
    const Form& f = form(fwdName);
    const Form& g = form(invName);
    const int h = std::max(1, 65536 / w);
    std::mt19937 rng(2);
    Images a = makeImages(f, w, h, 0, rng);
    Images b = makeImages(g, w, h, 1, rng);
    Trip t;
    t.pixels = n;
    for (size_t start = 0; start < n; start += size_t(w) * h) {
        const int count = int(std::min<size_t>(n - start, size_t(w) * h)), rows = (count + w - 1) / w;
        for (int i = 0; i < rows * w; ++i)
            for (int k = 0; k < 3; ++k) a.pix.set(i / w, (i % w) * f.channels + k, sample((start + size_t(i % count)), k));
        EXPECT_EQ(run(f, a, {w, rows}, false, 0), celStatusOk);
        for (int k = 0; k < 3; ++k)
            for (int y = 0; y < rows; ++y) std::memcpy(b.planes[k].row(y), a.planes[k].row(y), size_t(w) * g.planeBytes);
        EXPECT_EQ(run(g, b, {w, rows}, false, 0), celStatusOk);
        for (int i = 0; i < count; ++i) {
            bool same = true;
            for (int k = 0; k < 3; ++k) {
                const I d = std::abs(wrap16(b.pix.at(i / w, (i % w) * g.channels + k) - a.pix.at(i / w, (i % w) * f.channels + k)));
                t.maxError = std::max(t.maxError, d);
                same = same && d == 0;
            }
            t.exact += same;
            t.exactAt.push_back(same);
        }
    }
    return t;
}

// Every 8-bit triple of common/sweep24.h: channel k of pixel i.
I byteOf(size_t i, int k) {
    int v[3];
    celtest::sweep24Input(int64_t(i), v[0], v[1], v[2]);
    return v[k];
}
const size_t kAllBytes = size_t(celtest::sweep24Count());

TEST(YCoCgRoundTrip, LiftingPairsOn8BitAreLosslessForEveryPixel) {
    for (int w : {4096, 7}) {
        const Trip c3 = roundTrip("celiBGRToYCoCg_Rev_8u16s_C3P3R", "celiYCoCgToBGR_Rev_16s8u_P3C3R", kAllBytes, byteOf, w);
        EXPECT_EQ(c3.exact, c3.pixels) << "width " << w;
        const Trip c4 = roundTrip("celiBGRToYCoCg_Rev_8u16s_C4P3R", "celiYCoCgToBGR_Rev_16s8u_P3C4R", kAllBytes, byteOf, w);
        EXPECT_EQ(c4.exact, c4.pixels) << "width " << w;
    }
}

// The plain transform drops rounding bits: one code at most comes back
// wrong, and a pixel comes back exactly where R - B is even and
// R + 2G + B a multiple of 4 (then nothing was dropped); elsewhere only the
// byte limits can hide the lost bit.
TEST(YCoCgRoundTrip, PlainPairsWithinOneCodeAndExactWhereNothingWasDropped) {
    const Trip t = roundTrip("celiBGRToYCoCg_8u16s_C3P3R", "celiYCoCgToBGR_16s8u_P3C3R", kAllBytes, byteOf, 1920);
    EXPECT_EQ(t.maxError, 1);
    for (size_t i = 0; i < t.pixels; ++i) {
        const I b = byteOf(i, 0), g = byteOf(i, 1), r = byteOf(i, 2);
        const bool kept = (r - b) % 2 == 0 && (r + 2 * g + b) % 4 == 0;
        const bool atLimit = r == 0 || r == 255 || g == 0 || g == 255 || b == 0 || b == 255;
        if (kept || !atLimit) ASSERT_EQ(t.exactAt[i], kept) << r << " " << g << " " << b;
    }
    // the offset 8-bit pair, RGB order: the limits cost nothing more
    EXPECT_EQ(roundTrip("celiRGBToYCoCg_8u_C3P3R", "celiYCoCgToRGB_8u_P3C3R", kAllBytes, byteOf, 1920).maxError, 1);
    // 32-bit planes carry every plain result of signed 16-bit pixels; the
    // inverse keeps the low 16 bits, so the error is one code modulo 2^16
    std::mt19937 rng(8);
    std::vector<I> w;
    for (int i = 0; i < 3 * 200000; ++i) w.push_back(randomSample(rng, 2));
    const auto fromW = [&w](size_t i, int k) { return w[3 * i + k]; };
    EXPECT_LE(roundTrip("celiSBGRToYCoCg_16s32s_C3P3R", "celiYCoCgToSBGR_32s16s_P3C3R", w.size() / 3, fromW, 1001).maxError, 1);
}

TEST(YCoCgRoundTrip, SixteenBitLiftingPairsAreLossless) {
    std::mt19937 rng(9);
    std::vector<I> s;
    const I ends[] = {-32768, -32767, -16385, -16384, -2, -1, 0, 1, 2, 16383, 16384, 32766, 32767};
    for (I r : ends)
        for (I g : ends)
            for (I b : ends) s.insert(s.end(), {b, g, r});
    for (int i = 0; i < 3 * 400000; ++i) s.push_back(randomSample(rng, 2));
    for (int w : {1023, 3}) {
        for (auto [fw, inv] : {std::pair{"celiSBGRToYCoCg_Rev_16s_C3P3R", "celiYCoCgToSBGR_Rev_16s_P3C3R"},
                               std::pair{"celiSBGRToYCoCg_Rev_16s_C4P3R", "celiYCoCgToSBGR_Rev_16s_P3C4R"},
                               std::pair{"celiSBGRToYCoCg_Rev_16s32s_C3P3R", "celiYCoCgToSBGR_Rev_32s16s_P3C3R"},
                               std::pair{"celiSBGRToYCoCg_Rev_16s32s_C4P3R", "celiYCoCgToSBGR_Rev_32s16s_P3C4R"}}) {
            const Trip t = roundTrip(fw, inv, s.size() / 3, [&s](size_t i, int k) { return s[3 * i + k]; }, w);
            EXPECT_EQ(t.exact, t.pixels) << fw << " width " << w;
        }
    }
}

// ---- Worked values ---------------------------------------------------------------------------------------
TEST(YCoCgWorked, OffsetEightBitCorners) {
    const uint8_t px[9] = {0, 0, 0, 255, 255, 255, 255, 0, 0};  // black, white, red (RGB)
    uint8_t y[3], co[3], cg[3], back[9];
    uint8_t* planes[3] = {y, co, cg};
    ASSERT_EQ(celiRGBToYCoCg_8u_C3P3R(px, 9, planes, 3, {3, 1}), celStatusOk);
    EXPECT_EQ((std::vector<int>{y[0], co[0], cg[0]}), (std::vector<int>{0, 128, 128}));
    EXPECT_EQ((std::vector<int>{y[1], co[1], cg[1]}), (std::vector<int>{255, 128, 128}));
    EXPECT_EQ((std::vector<int>{y[2], co[2], cg[2]}), (std::vector<int>{64, 255, 64}));  // Co 256 limited
    const uint8_t gy[2] = {128, 0}, gco[2] = {128, 0}, gcg[2] = {128, 0};
    const uint8_t* in[3] = {gy, gco, gcg};
    ASSERT_EQ(celiYCoCgToRGB_8u_P3C3R(in, 2, back, 6, {2, 1}), celStatusOk);
    EXPECT_EQ((std::vector<int>{back[0], back[1], back[2]}), (std::vector<int>{128, 128, 128}));
    EXPECT_EQ((std::vector<int>{back[3], back[4], back[5]}), (std::vector<int>{0, 0, 255}));  // a chroma corner
}

TEST(YCoCgWorked, LiftingGreyAndWraps) {
    uint8_t grey[3 * 20];
    for (int x = 0; x < 20; ++x) grey[3 * x] = grey[3 * x + 1] = grey[3 * x + 2] = uint8_t(13 * x);
    int16_t y[20], co[20], cg[20];
    int16_t* planes[3] = {y, co, cg};
    ASSERT_EQ(celiBGRToYCoCg_Rev_8u16s_C3P3R(grey, 60, planes, 40, {20, 1}), celStatusOk);
    for (int x = 0; x < 20; ++x) EXPECT_EQ((std::vector<int>{y[x], co[x], cg[x]}), (std::vector<int>{13 * x, 0, 0}));
    const int16_t bgr[3] = {-32768, 0, 32767};
    ASSERT_EQ(celiSBGRToYCoCg_Rev_16s_C3P3R(bgr, 6, planes, 2, {1, 1}), celStatusOk);
    EXPECT_EQ(co[0], -1);
    // Y 32767 with Co 1 and Cg 0: R wraps to -32768 and saturates to 0
    const int16_t py = 32767, pco = 1, pcg = 0;
    const int16_t* in[3] = {&py, &pco, &pcg};
    uint8_t out[4];
    ASSERT_EQ(celiYCoCgToBGR_16s8u_P3C4R(in, 2, out, 4, {1, 1}, 300), celStatusOk);
    EXPECT_EQ((std::vector<int>{out[0], out[1], out[2], out[3]}), (std::vector<int>{255, 255, 0, 44}));
}

// The one point where the plain 16s body and tail differ: Co of 32768 (R
// 32767, B -32768) and Cg of 32768 (G 32767, R = B = -32768).
TEST(YCoCgWorked, PlainSixteenBitBodySaturatesTailWraps) {
    int16_t px[3 * 5];
    for (int x = 0; x < 5; ++x) {
        px[3 * x] = -32768;
        px[3 * x + 1] = x == 4 ? 0 : 32767;
        px[3 * x + 2] = x % 2 ? -32768 : 32767;
    }
    int16_t y[5], co[5], cg[5];
    int16_t* planes[3] = {y, co, cg};
    ASSERT_EQ(celiSBGRToYCoCg_16s_C3P3R(px, 30, planes, 10, {5, 1}), celStatusOk);
    EXPECT_EQ(co[0], 32767);   // body
    EXPECT_EQ(cg[1], 32767);   // body
    ASSERT_EQ(celiSBGRToYCoCg_16s_C3P3R(px, 30, planes, 10, {3, 1}), celStatusOk);
    EXPECT_EQ(co[0], -32768);  // tail
    EXPECT_EQ(cg[1], -32768);  // tail
}

}  // namespace
