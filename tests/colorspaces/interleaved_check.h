// Shared checks for the interleaved colour-space forms (C3 or AC4 on both
// sides):
// - checkInterleaved: a random image through the export, every colour
//   element compared with the test's model, every other element (the AC4
//   fourth elements and canaries on both sides of each destination row)
//   compared with its old value.  Rows may be walked upward with negative
//   steps.  checkEveryWidth runs it over the widths and heights that hit
//   body only, tail only and both, and upward.
// - sweep: inputs through the vector body and, apart, through the scalar
//   tail; sweepEvery8u every 8-bit triple, denseFloatInput the float inputs.
// - expectWorked: tables of worked values, one pixel through body and tail.
// Statuses and check order: the robustness table's rows (tests/robust).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "common/sweep24.h"

namespace cstest {

template <class T>
bool same(T a, T b) {
    if constexpr (std::is_same_v<T, float>)
        return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, 4) == 0;
    else
        return a == b;
}

template <class S, class D>
using Export = CelStatus (*)(const S*, int, D*, int, CelSize);

using AllDepths = ::testing::Types<uint8_t, uint16_t, int16_t, float>;

// A random sample: any bits, or a float uniform in lo..hi.
template <class T>
T randomSample(std::mt19937& rng, float lo, float hi) {
    if constexpr (std::is_same_v<T, float>)
        return std::uniform_real_distribution<float>(lo, hi)(rng);
    else
        return static_cast<T>(rng());
}

template <class T>
void randomBits(std::mt19937& rng, std::vector<T>& v) {
    for (auto& e : v) {
        const uint32_t r = rng();
        std::memcpy(&e, &r, sizeof(T));
    }
}

// A sample 0..255 (or 0..65535 in 16 bits) in the type's coding: floats
// v / 255, signed 16 bits offset by 32768.
template <class T>
T sampleOf(int v) {
    if constexpr (std::is_same_v<T, float>)
        return float(v) / 255.0f;
    else if constexpr (std::is_same_v<T, int16_t>)
        return T(v - 32768);
    else
        return T(v);
}

// Random pixels, a good part special for the hue-based spaces: grays,
// primaries and secondaries, ties of two channels, full and zero channels,
// hue sector boundaries; floats an eighth out of range or near-gray.
template <class T>
void specialPixel(std::mt19937& rng, T* p) {
    const int full = std::is_same_v<T, float> ? 255 : sizeof(T) == 1 ? 255 : 65535;
    const int v = int(rng() % (full + 1)), u = int(rng() % (full + 1));
    int c[3] = {int(rng() % (full + 1)), int(rng() % (full + 1)), int(rng() % (full + 1))};
    switch (rng() % 16) {
        case 0: c[0] = c[1] = c[2] = v; break;
        case 1: c[rng() % 3] = full, c[rng() % 3] = 0; break;
        case 2: c[0] = c[1] = v, c[2] = u; break;
        case 3: c[1] = c[2] = v, c[0] = u; break;
        case 4: c[0] = c[2] = v, c[1] = u; break;
        case 5: c[2] = 0; break;
        case 6: c[2] = full; break;
        case 7: c[0] = rng() % 2 ? full : 0; break;
        case 8: c[0] = int(int64_t(full) * (rng() % 7) / 6); break;  // sector boundaries of the hue code
        case 9: c[0] = v, c[1] = c[2] = 0; break;                     // pure red
        case 10: c[1] = 0; break;
        default: break;
    }
    if constexpr (std::is_same_v<T, float>) {
        if (rng() % 8 == 0) {
            for (int k = 0; k < 3; ++k) p[k] = std::uniform_real_distribution<float>(-0.2f, 1.2f)(rng);
            if (rng() % 2) p[1] = p[0] + 1e-8f, p[2] = p[0];
            return;
        }
    }
    for (int k = 0; k < 3; ++k) p[k] = sampleOf<T>(c[k]);
}

// fill(rng, channel) gives a source sample, or fill(rng, pixel) writes the
// three samples of a source pixel at once (for colours whose channels must
// agree: grays, ties); model(x, pixel, expected[3]) gives the three results
// of the pixel at column x.
template <class S, class D, class Fill, class Model>
void checkInterleaved(const std::string& name, Export<S, D> fn, bool ac4, int w, int h, bool negative, uint32_t seed,
                      Fill fill, Model model) {
    const int n = ac4 ? 4 : 3, pad = 3;
    const int ss = w * n + pad, ds = w * n + 2 * pad;
    std::mt19937 rng(seed);
    std::vector<S> src(size_t(ss) * h);
    std::vector<D> dst(size_t(ds) * h);
    if constexpr (std::is_invocable_v<Fill&, std::mt19937&, S*>) {
        randomBits(rng, src);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) fill(rng, &src[size_t(y) * ss + size_t(n) * x]);
    } else {
        for (size_t i = 0; i < src.size(); ++i) src[i] = fill(rng, int(i % ss) % n % 3);
    }
    randomBits(rng, dst);
    const std::vector<D> before = dst;
    const int sb = ss * int(sizeof(S)), db = ds * int(sizeof(D));
    const CelStatus st = negative ? fn(src.data() + size_t(ss) * (h - 1), -sb, dst.data() + size_t(ds) * (h - 1) + pad, -db, {w, h})
                                  : fn(src.data(), sb, dst.data() + pad, db, {w, h});
    ASSERT_EQ(st, celStatusOk) << name;
    for (int y = 0; y < h; ++y) {
        const D* row = dst.data() + size_t(y) * ds;
        const D* old = before.data() + size_t(y) * ds;
        for (int i = 0; i < ds; ++i) {
            const int at = i - pad;
            if (at < 0 || at >= w * n || at % n == 3)
                ASSERT_EQ(0, std::memcmp(&row[i], &old[i], sizeof(D))) << name << ": element " << i << " of row " << y << " changed";
        }
        for (int x = 0; x < w; ++x) {
            const S* p = src.data() + size_t(y) * ss + size_t(n) * x;
            D e[3];
            model(x, p, e);
            for (int c = 0; c < 3; ++c)
                ASSERT_TRUE(same(row[pad + n * x + c], e[c]))
                    << name << " w " << w << " x " << x << " y " << y << " c " << c << ": src (" << +p[0] << ", " << +p[1] << ", "
                    << +p[2] << ") got " << +row[pad + n * x + c] << " want " << +e[c];
        }
    }
}

// checkInterleaved over widths {1..100} at heights 1 and 3, and upward
// (negative steps) at 19 x 4 and 1 x 5; model(x, w, pixel, expected[3]).
template <class S, class D, class Fill, class Model>
void checkEveryWidth(const std::string& name, Export<S, D> fn, bool ac4, uint32_t seed, Fill fill, Model model) {
    const auto at = [&](int w, int h, bool negative) {
        checkInterleaved<S, D>(name, fn, ac4, w, h, negative, seed++, fill,
                               [&](int x, const S* p, D* e) { model(x, w, p, e); });
    };
    for (int h : {1, 3})
        for (int w : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 33, 100}) at(w, h, false);
    at(19, 4, true);
    at(1, 5, true);
}

// The forms of a transform at one depth: forward and reverse, C3 and AC4.
// CSTEST_FORMS(RGBToXYZ, XYZToRGB, 8u) lists the four exports.
template <class S, class D = S>
struct Form {
    const char* name;
    Export<S, D> fn;
    bool fwd, ac4;
};
#define CSTEST_FORMS(F, R, d)                                                                                      \
    {{#F "_" #d "_C3R", celi##F##_##d##_C3R, true, false}, {#F "_" #d "_AC4R", celi##F##_##d##_AC4R, true, true},   \
     {#R "_" #d "_C3R", celi##R##_##d##_C3R, false, false}, {#R "_" #d "_AC4R", celi##R##_##d##_AC4R, false, true}}

// forms<T>(): the four forms at the depth of T (8u, 16u, 16s or 32f).
#define CSTEST_FORMS_BY_DEPTH(F, R)                                                       \
    template <class T>                                                                    \
    std::vector<cstest::Form<T>> forms() {                                                \
        if constexpr (std::is_same_v<T, uint8_t>) return CSTEST_FORMS(F, R, 8u);          \
        else if constexpr (std::is_same_v<T, uint16_t>) return CSTEST_FORMS(F, R, 16u);   \
        else if constexpr (std::is_same_v<T, int16_t>) return CSTEST_FORMS(F, R, 16s);    \
        else return CSTEST_FORMS(F, R, 32f);                                              \
    }

// checkEveryWidth over each form, seeds apart; model(form, x, w, pixel, expected[3]).
template <class S, class D, class Fill, class Model>
void checkForms(const std::vector<Form<S, D>>& forms, Fill fill, Model model) {
    uint32_t seed = 1;
    for (const auto& f : forms) {
        checkEveryWidth<S, D>(f.name, f.fn, f.ac4, seed, fill, [&](int x, int w, const S* p, D* e) { model(f, x, w, p, e); });
        seed += 100;
    }
}

// A sweep: `count` inputs (input(i, pixel) writes input i's three samples)
// through a form of n channels (3 or 4) from S to D, in slices of rows, each
// slice once in rows `bodyWidth` wide (all vector body) and once in rows
// `tailWidth` wide (all scalar tail), every colour element against
// model(x, w, pixel, expected[3]); fourth elements keep their value.  Where
// the form gives body and tail the same bits (sameBits), the two passes'
// outputs must also agree bit for bit, NaN payloads included.
template <class S, class D, class Call, class Input, class Model>
void sweep(const std::string& name, Call call, int n, int64_t count, int bodyWidth, int tailWidth, bool sameBits, Input input,
           Model model) {
    const int64_t slice = int64_t(bodyWidth) * tailWidth * 4096;  // pixels per slice, whole rows in both passes
    std::vector<S> src(size_t(slice) * n, S(0x77));
    std::vector<D> body(src.size(), D(0x5A)), tail(src.size(), D(0x5A));
    for (int64_t first = 0; first < count; first += slice) {
        for (int64_t i = 0; i < slice; ++i) input((first + i) % count, &src[size_t(i) * n]);
        for (int w : {bodyWidth, tailWidth}) {
            std::vector<D>& dst = w == bodyWidth ? body : tail;
            const int h = int(slice / w);
            ASSERT_EQ(call(src.data(), n * w * int(sizeof(S)), dst.data(), n * w * int(sizeof(D)), CelSize{w, h}), celStatusOk) << name;
            for (int64_t i = 0; i < slice; ++i) {
                const S* p = &src[size_t(i) * n];
                const D* q = &dst[size_t(i) * n];
                D e[3];
                model(int(i % w), w, p, e);
                for (int k = 0; k < 3; ++k)
                    ASSERT_TRUE(same(q[k], e[k])) << name << (w == bodyWidth ? " body" : " tail") << " input " << first + i << " ("
                                                  << +p[0] << ", " << +p[1] << ", " << +p[2] << ") channel " << k << " got " << +q[k]
                                                  << " want " << +e[k];
                if (n == 4) ASSERT_TRUE(same(q[3], D(0x5A))) << name;
            }
        }
        if (sameBits) ASSERT_EQ(0, std::memcmp(body.data(), tail.data(), body.size() * sizeof(D))) << name << " body and tail differ";
    }
}

// Every 8-bit triple (common/sweep24.h; every `stride`th) through a form of
// n channels from 8u to D; call(src, srcStep, dst, dstStep, roi) runs it.
template <class D = uint8_t, class Call, class Model>
void sweepEvery8u(const std::string& name, Call call, int n, int bodyWidth, int tailWidth, Model model, int stride = 1) {
    const auto input = [stride](int64_t i, uint8_t* p) {
        int a, b, c;
        celtest::sweep24Input(i * stride, a, b, c);
        p[0] = uint8_t(a), p[1] = uint8_t(b), p[2] = uint8_t(c);
    };
    sweep<uint8_t, D>(name, call, n, celtest::sweep24Count() / stride, bodyWidth, tailWidth, false, input, model);
}

// Inputs of a dense float sweep: the 2^24 colours v / 255, then floats over -0.5..1.5, ties of two and
// three channels, spreads at, just under and just over the gray epsilon,
// signed zeros, infinities, NaN, huge, tiny and random bit patterns.
inline uint64_t mix(uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}
constexpr int64_t kFloatSpecials = (int64_t(1) << 20) / celtest::kSweep24Stride;
inline int64_t denseFloatCount() { return celtest::sweep24Count() + kFloatSpecials; }
inline void denseFloatInput(int64_t i, float* p) {
    if (i < celtest::sweep24Count()) {
        int a, b, c;
        celtest::sweep24Input(i, a, b, c);
        p[0] = float(a) / 255.0f, p[1] = float(b) / 255.0f, p[2] = float(c) / 255.0f;
        return;
    }
    uint64_t z = mix(uint64_t(i));
    const auto next = [&] { return uint32_t(z = mix(z)); };
    const auto unit = [&] { return float(next() % 2000001) * 1e-6f - 0.5f; };  // -0.5..1.5
    static const float kOdd[] = {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, INFINITY, -INFINITY, NAN, -NAN, 3.4e38f, -3.4e38f,
                                 1e-40f, -1e-40f, 1.1920929e-7f, 2.0f, 1e-30f};
    const float eps = 1.1920929e-7f;
    const float spread[] = {eps, std::nextafter(eps, 0.0f), std::nextafter(eps, 1.0f), eps / 2, 2 * eps, 0.0f, 1e-8f, 3e-7f};
    const int k0 = int(next() % 3), k1 = (k0 + 1 + int(next() % 2)) % 3, k2 = 3 - k0 - k1;
    for (int k = 0; k < 3; ++k) p[k] = unit();
    switch (next() % 7) {
        case 0: break;
        case 1: p[k1] = p[k0]; break;                                          // two tie
        case 2: p[k1] = p[k2] = p[k0]; break;                                  // gray
        case 3: {                                                              // spread near the epsilon
            const float base = next() % 2 ? 0.0f : unit() * 1e-3f;
            p[k0] = base, p[k1] = base + spread[next() % 8], p[k2] = next() % 2 ? base : p[k1];
            break;
        }
        case 4:
            for (int k = 0; k < 3; ++k) p[k] = kOdd[next() % 16];
            break;
        case 5: p[k0] = kOdd[next() % 16]; break;
        default:
            for (int k = 0; k < 3; ++k) {
                const uint32_t r = next();
                std::memcpy(&p[k], &r, 4);
            }
    }
}

// Worked values: one pixel (in[0..2], a fourth element 0 in AC4) repeated
// over each width (all body, or all tail), the first pixel's results against
// `want` within `tol`: kAny takes anything, NaN wants a NaN.
constexpr double kAny = -1e300;
template <class S, class D = S>
struct Worked {
    const char* name;
    Export<S, D> fn;
    bool ac4;
    std::vector<int> widths;
    std::array<S, 3> in;
    std::array<double, 3> want;
    double tol = 0;
};
template <class S, class D>
void expectWorked(std::initializer_list<Worked<S, D>> cases) {
    for (const auto& c : cases)
        for (int w : c.widths) {
            const int n = c.ac4 ? 4 : 3;
            std::vector<S> src(size_t(n) * w, S(0));
            std::vector<D> dst(src.size());
            for (int x = 0; x < w; ++x) std::copy(c.in.begin(), c.in.end(), &src[size_t(n) * x]);
            ASSERT_EQ(c.fn(src.data(), n * w * int(sizeof(S)), dst.data(), n * w * int(sizeof(D)), {w, 1}), celStatusOk) << c.name;
            for (int k = 0; k < 3; ++k) {
                const double got = double(dst[k]), want = c.want[k];
                if (want == kAny) continue;
                if (std::isnan(want))
                    EXPECT_TRUE(std::isnan(got)) << c.name << " width " << w << " channel " << k;
                else
                    EXPECT_NEAR(got, want, c.tol) << c.name << " width " << w << " channel " << k << " of (" << +c.in[0] << ", "
                                                  << +c.in[1] << ", " << +c.in[2] << ")";
            }
        }
}

}  // namespace cstest
