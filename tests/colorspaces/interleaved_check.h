// One check for the interleaved colour-space forms (C3 or AC4 on both
// sides): a random image through the export, every colour element compared
// with the test's model, every other element (the AC4 fourth elements and
// canaries on both sides of each destination row) compared with its old
// value.  Rows may be walked upward with negative steps.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"

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

// fill(rng, channel) gives a source sample; model(x, pixel, expected[3])
// gives the three results of the pixel at column x.
template <class S, class D, class Fill, class Model>
void checkInterleaved(const std::string& name, Export<S, D> fn, bool ac4, int w, int h, bool negative, uint32_t seed,
                      Fill fill, Model model) {
    const int n = ac4 ? 4 : 3, pad = 3;
    const int ss = w * n + pad, ds = w * n + 2 * pad;
    std::mt19937 rng(seed);
    std::vector<S> src(size_t(ss) * h);
    std::vector<D> dst(size_t(ds) * h);
    for (size_t i = 0; i < src.size(); ++i) src[i] = fill(rng, int(i % ss) % n % 3);
    for (auto& v : dst) {
        const uint32_t r = rng();
        std::memcpy(&v, &r, sizeof(D));
    }
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

}  // namespace cstest
