// YCoCg both ways against a model of every form (64-bit arithmetic, explicit
// 16-bit wraps, the plain 16s body saturating and its tail keeping the low
// bits): random images over widths that hit body and tail, aligned and
// unaligned rows, both step signs, canaries; every 8-bit pixel through the
// 8-bit forwards and back (lossless for the lifting pairs, one code for the
// plain ones); worked values.  Statuses and check order: tests/robust.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "common/export_list.h"
#include "common/sweep24.h"

namespace {

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

using FwdCall = CelStatus (*)(const void*, int, void* const*, int, CelSize);
using InvCall = CelStatus (*)(const void* const*, int, void*, int, CelSize, int);

template <class S, class D, CelStatus (*F)(const S*, int, D**, int, CelSize)>
CelStatus fwdCall(const void* s, int ss, void* const* d, int ds, CelSize roi) {
    D* p[3] = {static_cast<D*>(d[0]), static_cast<D*>(d[1]), static_cast<D*>(d[2])};
    return F(static_cast<const S*>(s), ss, p, ds, roi);
}
template <class S, class D, class F>
CelStatus invCall(F f, const void* const* s, int ss, void* d, int ds, CelSize roi, int alpha) {
    const S* p[3] = {static_cast<const S*>(s[0]), static_cast<const S*>(s[1]), static_cast<const S*>(s[2])};
    if constexpr (std::is_invocable_v<F, const S**, int, D*, int, CelSize>)
        return f(p, ss, static_cast<D*>(d), ds, roi);
    else
        return f(p, ss, static_cast<D*>(d), ds, roi, alpha);
}

struct Form {
    const char* name;
    Kind kind;
    int channels;
    bool rgb;       // R first (else B first)
    int tailBlock;  // pixels of the last vector block: x >= width - width % tailBlock is tail
    int pixBytes, planeBytes;
    FwdCall fwd;
    InvCall inv;
};

#define FWD(n, S, D, ...) Form{#n, __VA_ARGS__, sizeof(S), sizeof(D), fwdCall<S, D, n>, nullptr}
#define INV(n, S, D, ...)                                                                                       \
    Form{#n, __VA_ARGS__, sizeof(D), sizeof(S), nullptr, [](const void* const* s, int ss, void* d, int ds, CelSize r, \
                                                            int a) { return invCall<S, D>(n, s, ss, d, ds, r, a); }}
const std::vector<Form>& forms() {
    static const std::vector<Form> f = {
        FWD(celiBGRToYCoCg_8u16s_C3P3R, uint8_t, int16_t, Kind::Plain, 3, false, 8),
        FWD(celiBGRToYCoCg_8u16s_C4P3R, uint8_t, int16_t, Kind::Plain, 4, false, 8),
        FWD(celiBGRToYCoCg_Rev_8u16s_C3P3R, uint8_t, int16_t, Kind::Lifting, 3, false, 8),
        FWD(celiBGRToYCoCg_Rev_8u16s_C4P3R, uint8_t, int16_t, Kind::Lifting, 4, false, 8),
        FWD(celiRGBToYCoCg_8u_C3P3R, uint8_t, uint8_t, Kind::Offset8u, 3, true, 16),
        FWD(celiSBGRToYCoCg_16s_C3P3R, int16_t, int16_t, Kind::Plain16s, 3, false, 4),
        FWD(celiSBGRToYCoCg_16s_C4P3R, int16_t, int16_t, Kind::Plain16s, 4, false, 4),
        FWD(celiSBGRToYCoCg_16s32s_C3P3R, int16_t, int32_t, Kind::Plain, 3, false, 4),
        FWD(celiSBGRToYCoCg_16s32s_C4P3R, int16_t, int32_t, Kind::Plain, 4, false, 4),
        FWD(celiSBGRToYCoCg_Rev_16s_C3P3R, int16_t, int16_t, Kind::Lifting16s, 3, false, 4),
        FWD(celiSBGRToYCoCg_Rev_16s_C4P3R, int16_t, int16_t, Kind::Lifting16s, 4, false, 4),
        FWD(celiSBGRToYCoCg_Rev_16s32s_C3P3R, int16_t, int32_t, Kind::Lifting, 3, false, 4),
        FWD(celiSBGRToYCoCg_Rev_16s32s_C4P3R, int16_t, int32_t, Kind::Lifting, 4, false, 4),
        INV(celiYCoCgToBGR_16s8u_P3C3R, int16_t, uint8_t, Kind::Plain, 3, false, 8),
        INV(celiYCoCgToBGR_16s8u_P3C4R, int16_t, uint8_t, Kind::Plain, 4, false, 8),
        INV(celiYCoCgToBGR_Rev_16s8u_P3C3R, int16_t, uint8_t, Kind::Lifting, 3, false, 8),
        INV(celiYCoCgToBGR_Rev_16s8u_P3C4R, int16_t, uint8_t, Kind::Lifting, 4, false, 8),
        INV(celiYCoCgToRGB_8u_P3C3R, uint8_t, uint8_t, Kind::Offset8u, 3, true, 16),
        INV(celiYCoCgToSBGR_16s_P3C3R, int16_t, int16_t, Kind::Plain, 3, false, 4),
        INV(celiYCoCgToSBGR_16s_P3C4R, int16_t, int16_t, Kind::Plain, 4, false, 4),
        INV(celiYCoCgToSBGR_32s16s_P3C3R, int32_t, int16_t, Kind::Plain, 3, false, 4),
        INV(celiYCoCgToSBGR_32s16s_P3C4R, int32_t, int16_t, Kind::Plain, 4, false, 4),
        INV(celiYCoCgToSBGR_Rev_16s_P3C3R, int16_t, int16_t, Kind::Lifting, 3, false, 4),
        INV(celiYCoCgToSBGR_Rev_16s_P3C4R, int16_t, int16_t, Kind::Lifting, 4, false, 4),
        INV(celiYCoCgToSBGR_Rev_32s16s_P3C3R, int32_t, int16_t, Kind::Lifting, 3, false, 4),
        INV(celiYCoCgToSBGR_Rev_32s16s_P3C4R, int32_t, int16_t, Kind::Lifting, 4, false, 4),
    };
    return f;
}
#undef FWD
#undef INV
void PrintTo(const Form& f, std::ostream* os) { *os << f.name; }

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
        int32_t v = 0;
        std::memcpy(&v, row(y) + size_t(i) * sampleBytes, sampleBytes);
        return sampleBytes == 1 ? I(uint8_t(v)) : sampleBytes == 2 ? I(int16_t(v)) : I(v);
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
                ADD_FAILURE() << f.name << " width " << w << " x " << x << " y " << y << (tail ? " (tail)" : " (body)") << " in "
                              << in[0] << "," << in[1] << "," << in[2] << " got " << ::testing::PrintToString(got) << " want "
                              << ::testing::PrintToString(want);
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
                    for (const Plane* p : {&im.pix, &im.planes[0], &im.planes[1], &im.planes[2]})
                        ASSERT_TRUE(p->guardsIntact()) << f.name << " wrote outside the region, w " << w;
                }
}

INSTANTIATE_TEST_SUITE_P(All, YCoCgForm, ::testing::ValuesIn(forms()),
                         [](const ::testing::TestParamInfo<Form>& i) { return std::string(i.param.name).substr(4); });

const Form& form(const std::string& name) { return celtest::rowNamed(forms(), name); }

// n pixels (sample(i, k): channel k of pixel i in memory order, or Y, Co,
// Cg for an inverse) in rows of w through f against its model, a chunk of
// rows at a time; with g, f's planes then through g, against its model
// unless the pair is lossless (coming back exactly is then its model).
// Gives the largest channel error of the round trip (modulo 2^16: the
// 16-bit inverses keep the low bits).
template <class Sample>
I through(const char* fName, const char* gName, size_t n, Sample sample, int w, bool lossless = false) {
    const Form& f = form(fName);
    const Form& g = form(gName ? gName : fName);
    const int h = std::max(1, 65536 / w);
    std::mt19937 rng(2);
    Images a = makeImages(f, w, h, 0, rng), b = makeImages(g, w, h, 1, rng);
    I worst = 0;
    for (size_t start = 0; start < n; start += size_t(w) * h) {
        const int count = int(std::min<size_t>(n - start, size_t(w) * h)), rows = (count + w - 1) / w;
        for (int i = 0; i < rows * w; ++i)
            for (int k = 0; k < 3; ++k) {
                const I v = sample(start + size_t(i % count), k);
                f.fwd ? a.pix.set(i / w, (i % w) * f.channels + k, v) : a.planes[k].set(i / w, i % w, v);
            }
        EXPECT_EQ(run(f, a, {w, rows}, false, 0), celStatusOk);
        expectModel(f, a, w, rows, 0);
        if (::testing::Test::HasFailure()) return -1;
        if (!gName) continue;
        for (int k = 0; k < 3; ++k)
            for (int y = 0; y < rows; ++y) std::memcpy(b.planes[k].row(y), a.planes[k].row(y), size_t(w) * g.planeBytes);
        EXPECT_EQ(run(g, b, {w, rows}, false, 0), celStatusOk);
        if (!lossless) expectModel(g, b, w, rows, 0);
        if (::testing::Test::HasFailure()) return -1;
        for (int i = 0; i < count; ++i)
            for (int k = 0; k < 3; ++k)
                worst = std::max(worst, std::abs(wrap16(b.pix.at(i / w, (i % w) * g.channels + k) - a.pix.at(i / w, (i % w) * f.channels + k))));
    }
    return worst;
}

// Every 8-bit triple of common/sweep24.h: channel k of pixel i.
I byteOf(size_t i, int k) {
    int v[3];
    celtest::sweep24Input(int64_t(i), v[0], v[1], v[2]);
    return v[k];
}

// Every Y, Co, Cg byte triple through the offset 8-bit inverse, in rows of
// 4096 (vector body) and of 7 (scalar tail only); the forwards meet every
// 8-bit pixel in the round trips below.
TEST(YCoCgSweep, Every8BitTripleThroughBodyAndTail) {
    for (int w : {4096, 7}) through("celiYCoCgToRGB_8u_P3C3R", nullptr, size_t(celtest::sweep24Count()), byteOf, w);
}

// The lifting pairs come back exactly; the plain pairs drop rounding bits,
// one code at most (the 32-bit planes carry every plain result of 16-bit
// pixels, the inverse keeps the low 16 bits).
TEST(YCoCgRoundTrip, EveryPairWithinItsBound) {
    const size_t all = size_t(celtest::sweep24Count());
    struct Case { const char *fwd, *inv; I bound; };
    for (int w : {4096, 7})
        for (Case c : {Case{"celiBGRToYCoCg_Rev_8u16s_C3P3R", "celiYCoCgToBGR_Rev_16s8u_P3C3R", 0},
                       Case{"celiBGRToYCoCg_Rev_8u16s_C4P3R", "celiYCoCgToBGR_Rev_16s8u_P3C4R", 0},
                       Case{"celiBGRToYCoCg_8u16s_C3P3R", "celiYCoCgToBGR_16s8u_P3C3R", 1},
                       Case{"celiRGBToYCoCg_8u_C3P3R", "celiYCoCgToRGB_8u_P3C3R", 1}})
            EXPECT_EQ(through(c.fwd, c.inv, all, byteOf, w, c.bound == 0), c.bound) << c.fwd << " width " << w;
    std::mt19937 rng(9);
    std::vector<I> s;
    const I ends[] = {-32768, -32767, -16385, -16384, -2, -1, 0, 1, 2, 16383, 16384, 32766, 32767};
    for (I r : ends)
        for (I g : ends)
            for (I b : ends) s.insert(s.end(), {b, g, r});
    for (uint32_t i = 0; i < 3 * (400000 / celtest::kSweep24Stride); ++i) s.push_back(randomSample(rng, 2));  // shorter under the sanitizers
    const auto word = [&s](size_t i, int k) { return s[3 * i + k]; };
    for (int w : {1023, 3})
        for (Case c : {Case{"celiSBGRToYCoCg_Rev_16s_C3P3R", "celiYCoCgToSBGR_Rev_16s_P3C3R", 0},
                       Case{"celiSBGRToYCoCg_Rev_16s_C4P3R", "celiYCoCgToSBGR_Rev_16s_P3C4R", 0},
                       Case{"celiSBGRToYCoCg_Rev_16s32s_C3P3R", "celiYCoCgToSBGR_Rev_32s16s_P3C3R", 0},
                       Case{"celiSBGRToYCoCg_Rev_16s32s_C4P3R", "celiYCoCgToSBGR_Rev_32s16s_P3C4R", 0},
                       Case{"celiSBGRToYCoCg_16s32s_C3P3R", "celiYCoCgToSBGR_32s16s_P3C3R", 1}})
            EXPECT_EQ(through(c.fwd, c.inv, s.size() / 3, word, w, c.bound == 0), c.bound) << c.fwd << " width " << w;
}

// One pixel repeated over each width (all body, or all tail): the source
// pixel in memory order (or Y, Co, Cg), the result as Y, Co, Cg (or in
// memory order, alpha last).
struct Worked {
    const char* form;
    std::vector<int> widths;
    std::array<I, 3> in;
    std::vector<I> want;
    int alpha = 0;
};
const Worked kWorked[] = {
    {"celiRGBToYCoCg_8u_C3P3R", {16, 1}, {0, 0, 0}, {0, 128, 128}},
    {"celiRGBToYCoCg_8u_C3P3R", {16, 1}, {255, 255, 255}, {255, 128, 128}},
    {"celiRGBToYCoCg_8u_C3P3R", {16, 1}, {255, 0, 0}, {64, 255, 64}},  // Co 256 limited
    {"celiYCoCgToRGB_8u_P3C3R", {16, 1}, {128, 128, 128}, {128, 128, 128}},
    {"celiYCoCgToRGB_8u_P3C3R", {16, 1}, {0, 0, 0}, {0, 0, 255}},  // a chroma corner, not black
    {"celiBGRToYCoCg_Rev_8u16s_C3P3R", {8, 1}, {13, 13, 13}, {13, 0, 0}},  // greys keep their value
    {"celiBGRToYCoCg_Rev_8u16s_C3P3R", {8, 1}, {247, 247, 247}, {247, 0, 0}},
    {"celiSBGRToYCoCg_Rev_16s_C3P3R", {4, 1}, {-32768, 0, 32767}, {16383, -1, -32767}},  // R - B wraps
    // Y 32767 with Co 1 and Cg 0: R wraps to -32768 and saturates to 0
    {"celiYCoCgToBGR_16s8u_P3C4R", {8, 1}, {32767, 1, 0}, {255, 255, 0, 44}, 300},
    // Co and Cg of 32768: the plain 16s body saturates, its tail wraps
    {"celiSBGRToYCoCg_16s_C3P3R", {4}, {-32768, 32767, 32767}, {16383, 32767, 16384}},
    {"celiSBGRToYCoCg_16s_C3P3R", {3}, {-32768, 32767, 32767}, {16383, -32768, 16384}},
    {"celiSBGRToYCoCg_16s_C3P3R", {4}, {-32768, 32767, -32768}, {0, 0, 32767}},
    {"celiSBGRToYCoCg_16s_C3P3R", {3}, {-32768, 32767, -32768}, {0, 0, -32768}},
};

TEST(YCoCgWorked, DocumentedValues) {
    for (const Worked& c : kWorked)
        for (int w : c.widths) {
            const Form& f = form(c.form);
            std::mt19937 rng(0);
            Images im = makeImages(f, w, 1, 0, rng);
            for (int x = 0; x < w; ++x)
                for (int k = 0; k < 3; ++k) f.fwd ? im.pix.set(0, x * f.channels + k, c.in[k]) : im.planes[k].set(0, x, c.in[k]);
            ASSERT_EQ(run(f, im, {w, 1}, false, c.alpha), celStatusOk);
            std::vector<I> got;
            for (size_t k = 0; k < c.want.size(); ++k) got.push_back(f.fwd ? im.planes[k].at(0, 0) : im.pix.at(0, int(k)));
            EXPECT_EQ(got, c.want) << c.form << " width " << w;
        }
}

}  // namespace
