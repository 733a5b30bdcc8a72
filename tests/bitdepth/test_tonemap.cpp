// Tone mapping: both functions against the model on random images (every
// width class of the row kernel, alignments, both step signs, source and
// destination overlapping), worked values and edge images.  Statuses and
// check order: the robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/model_canvas.h"
#include "common/tonemap_model.h"

namespace {

using celtest::Canvas;
using celtest::checkCanvas;
using Fn = CelStatus (*)(const float*, int, uint8_t*, int, CelSize);

struct Form {
    const char* name;
    Fn fn;
    bool mean;
};
const Form kForms[] = {{"Linear", celiToneMapLinear_32f8u_C1R, false}, {"Mean", celiToneMapMean_32f8u_C1R, true}};

// Expected bytes of the whole region and the status, from the model (after
// the warning nothing is written).  The base is twice the mean (Mean) or the
// largest sample (Linear); a base not above the smallest normal float gives zeros.
std::vector<uint8_t> expected(const Form& f, const float* src, int step, int w, int h, CelStatus* st) {
    std::vector<uint8_t> out(size_t(w) * h, 0);
    const double mean = f.mean ? tmmodel::fastSum(src, step, w, h) / double(w * h) : 0.0;
    const float m = f.mean ? 0.0f : tmmodel::maxOf(src, step, w, h);
    *st = (f.mean ? mean + mean < 0.0 : m < 0.0f) ? celStatusToneMapNegative : celStatusOk;
    if (!(f.mean ? mean + mean > 1.1754943508222875e-38 : m > std::numeric_limits<float>::min())) return out;
    const float scale = f.mean ? tmmodel::meanScale(mean) : tmmodel::linearScale(m);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const float s = tmmodel::row(src, y, step)[x];
            out[size_t(y) * w + x] = f.mean ? tmmodel::meanByte(s, scale) : tmmodel::linearByte(s, scale);
        }
    return out;
}

// Source of w x h floats at a float offset `shift` from a 16-byte boundary,
// rows `padFloats` apart beyond the width.
struct FloatImage {
    std::vector<float> mem;
    float* first;
    int step;
    FloatImage(int w, int h, int shift, int padFloats, uint32_t seed, float lo, float hi) {
        const int stride = w + padFloats;
        mem.assign(size_t(stride) * h + 8, std::nanf(""));
        auto base = reinterpret_cast<uintptr_t>(mem.data());
        const int lead = int(((16 - (base & 15)) & 15) / 4) + shift;
        first = mem.data() + lead;
        step = stride * 4;
        std::mt19937 rng(seed);
        std::uniform_real_distribution<float> d(lo, hi);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) first[size_t(y) * stride + x] = d(rng);
    }
};

class ToneMapModel : public ::testing::TestWithParam<Form> {};

TEST_P(ToneMapModel, RandomImagesMatchByteForByte) {
    const Form f = GetParam();
    uint32_t seed = 1;
    for (int w : {1, 2, 3, 5, 6, 7, 8, 15, 16, 17, 23, 31, 32, 33, 47, 100, 1920})
        for (int h : {1, 2, 3, 7})
            for (int shift : {0, 1, 3})
                for (int dstShift : {0, 5})
                    for (bool negative : {false, true}) {
                        if (w == 1920 && (h > 2 || shift == 3)) continue;
                        FloatImage src(w, h, shift, shift + 1, seed++, -0.3f, 4.0f);
                        const int sStep = negative ? -src.step : src.step;
                        const float* s0 = negative ? tmmodel::row(src.first, h - 1, src.step) : src.first;
                        CelStatus want;
                        const auto exp = expected(f, s0, sStep, w, h, &want);
                        Canvas<uint8_t> dst(1, w, h, 2 + dstShift, seed, negative);
                        checkCanvas(
                            dst, [&](Canvas<uint8_t>& d) { return f.fn(s0, sStep, d.base(), int(d.step()), {w, h}); },
                            [&](Canvas<uint8_t>& e) {
                                for (int y = 0; y < h && want == celStatusOk; ++y)
                                    for (int x = 0; x < w; ++x) *e.at(y, x) = exp[size_t(y) * w + x];
                            },
                            std::string(f.name) + " w " + std::to_string(w) + " h " + std::to_string(h) + " shift " +
                                std::to_string(shift),
                            want);
                    }
}

// Bytes written over the floats they come from (dst == src): the row is
// done two samples a pass, each pair read before it is stored.
TEST_P(ToneMapModel, OverlappingRowsMatchTheModel) {
    const Form f = GetParam();
    for (int w : {1, 2, 9, 16, 40}) {
        FloatImage src(w, 3, 0, 2, 77u + w, 0.0f, 2.0f);
        CelStatus want;
        const auto exp = expected(f, src.first, src.step, w, 3, &want);
        auto* d = reinterpret_cast<uint8_t*>(src.first);
        ASSERT_EQ(f.fn(src.first, src.step, d, src.step, {w, 3}), want);
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < w; ++x) ASSERT_EQ(d[y * src.step + x], exp[size_t(y) * w + x]) << f.name << " w " << w;
    }
}

// Runs one image and returns the status; `out` keeps 0xC3 where not written.
CelStatus runFlat(const Form& f, const std::vector<float>& src, int w, std::vector<uint8_t>& out) {
    const int h = int(src.size()) / w;
    out.assign(src.size(), 0xC3);
    return f.fn(src.data(), w * 4, out.data(), w, {w, h});
}

INSTANTIATE_TEST_SUITE_P(Forms, ToneMapModel, ::testing::ValuesIn(kForms),
                         [](const auto& i) { return std::string(i.param.name); });

// Each image through one form (2: both): its status and every byte (0xC3:
// left as it was).
TEST(ToneMapWorked, Images) {
    struct Case {
        int form;
        std::vector<float> src;
        int w;
        CelStatus st;
        std::vector<uint8_t> want;
    };
    const float inf = std::numeric_limits<float>::infinity();
    const std::vector<float> ones(3 * 37, 1.0f), mixed = {-1.0f, 1.0f, 0.5f, -0.25f, 0.0f, 0.0f, 0.0f, 0.25f},
                                                 negMean = {-3.0f, 1.0f, -3.0f, 1.0f};
    const std::vector<uint8_t> zeros(40, 0), untouched(40, 0xC3);
    const Case cases[] = {
        {0, ones, 37, celStatusOk, std::vector<uint8_t>(ones.size(), 255)},
        {1, ones, 37, celStatusOk, std::vector<uint8_t>(ones.size(), 127)},
        // largest 1.0, mean 0.0625: Linear scale 255 (negatives wrap), Mean scale 2040 (clamped)
        {0, mixed, 8, celStatusOk, {1, 255, 127, 193, 0, 0, 0, 63}},
        {1, mixed, 8, celStatusOk, {0, 255, 255, 0, 0, 0, 0, 255}},
        // a negative mean warns even with a positive maximum; -765 wraps to 3
        {1, negMean, 4, celStatusToneMapNegative, {0xC3, 0xC3, 0xC3, 0xC3}},
        {0, negMean, 4, celStatusOk, {3, 255, 3, 255}},
        // zeros, a base not above the smallest normal (subnormal, the smallest
        // normal), NaN, an infinite maximum: zeros; negative images warn
        {2, std::vector<float>(40, 0.0f), 10, celStatusOk, zeros},
        {2, std::vector<float>(40, -0.0f), 10, celStatusOk, zeros},
        {2, std::vector<float>(40, 1e-39f), 10, celStatusOk, zeros},
        {2, std::vector<float>(40, std::numeric_limits<float>::min()), 10, celStatusOk, zeros},
        {2, std::vector<float>(40, std::nanf("")), 10, celStatusOk, zeros},
        {2, {inf, 1.0f, 2.0f, 0.5f, 3.0f, 1.0f, 7.0f, 9.0f}, 2, celStatusOk, std::vector<uint8_t>(8, 0)},
        {2, std::vector<float>(40, -2.0f), 10, celStatusToneMapNegative, untouched},
        {2, std::vector<float>(40, -inf), 10, celStatusToneMapNegative, untouched},
    };
    std::vector<uint8_t> out;
    for (const Case& c : cases)
        for (int form : {0, 1}) {
            if (c.form != 2 && c.form != form) continue;
            EXPECT_EQ(runFlat(kForms[form], c.src, c.w, out), c.st) << kForms[form].name << " case " << &c - cases;
            EXPECT_EQ(out, c.want) << kForms[form].name << " case " << &c - cases;
        }
}

// A single positive sample is its own maximum: 255, or 254 where
// v * (255 / v) falls just short of 255 in single precision (no rounding
// offset, by design).  Below 255 / FLT_MAX the scale itself is infinite
// and the product converts to 0x80000000: byte 0.
TEST(ToneMapWorked, OnePixelLinearGivesTheTopOrJustBelowIt) {
    const std::vector<std::pair<float, int>> cases = {{1.5e-38f, 0}, {1e-36f, 255}, {1e-20f, 255}, {0.3f, 254},
                                                      {0.5f, 255},   {1.0f, 255},   {7.0f, 254},   {3e38f, 255}};
    for (auto [v, want] : cases) {
        uint8_t d = 0;
        ASSERT_EQ(celiToneMapLinear_32f8u_C1R(&v, 4, &d, 1, {1, 1}), celStatusOk);
        EXPECT_EQ(int(d), want) << v;
        EXPECT_EQ(d, tmmodel::linearByte(v, 255.0f / v)) << v;
    }
}

}  // namespace
