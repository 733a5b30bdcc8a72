// A destination canvas and the check of an export against a model on it:
// w x h pixels of n samples with `margin` pixels all round, random before
// the call.  checkCanvas runs the library on the canvas and the model's
// expected writes on a copy of it as it was, then compares every sample of
// the region and of its margin bit for bit.  `flip` hands the region to the
// library bottom-up: base() is its first row and step() negative.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"

namespace celtest {

template <class T>
struct Canvas {
    int n;
    int64_t width, height, margin;
    bool flip;
    std::vector<T> mem;
    Canvas(int n_, int64_t w, int64_t h, int64_t m, uint32_t seed, bool flipped = false)
        : n(n_), width(w), height(h), margin(m), flip(flipped), mem(size_t(n_ * (w + 2 * m) * (h + 2 * m))) {
        std::mt19937 rng(seed);
        for (auto& v : mem) v = static_cast<T>(rng() % 65536);
    }
    int64_t stepElems() const { return n * (width + 2 * margin); }
    // Pixel (row, col) of the region as the library sees it.
    T* at(int64_t row, int64_t col) {
        return mem.data() + ((flip ? height - 1 - row : row) + margin) * stepElems() + n * (col + margin);
    }
    T* base() { return at(0, 0); }
    int64_t step() const { return (flip ? -stepElems() : stepElems()) * int64_t(sizeof(T)); }
};

// call(got) runs the library and gives its status (`status` expected);
// model(want) writes what it should have written.
template <class T, class Call, class Model>
void checkCanvas(Canvas<T>& got, Call call, Model model, const std::string& what, CelStatus status = celStatusOk) {
    Canvas<T> want = got;
    ASSERT_EQ(call(got), status) << what;
    model(want);
    for (int64_t row = -got.margin; row < got.height + got.margin; ++row)
        for (int64_t col = -got.margin; col < got.width + got.margin; ++col)
            for (int k = 0; k < got.n; ++k)
                if (std::memcmp(&got.at(row, col)[k], &want.at(row, col)[k], sizeof(T)) != 0)
                    FAIL() << what << (got.flip ? " (negative steps)" : "") << ": dst (" << row << "," << col
                           << ") sample " << k << ": got " << +got.at(row, col)[k] << ", want " << +want.at(row, col)[k]
                           << (row < 0 || col < 0 || row >= got.height || col >= got.width ? " (outside the region)"
                                                                                            : "");
}

}  // namespace celtest
