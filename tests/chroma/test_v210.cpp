// 4:2:2 luma extraction and v210 decoding: 10-bit samples packed into words
// (random bits 30-31) by the word table, a decoder model on the samples with
// the float formulas, over widths ending at every place of a group, heights,
// element steps and canaries; every input through the colour arithmetic;
// worked values.  Statuses and untouched buffers on errors: tests/robust.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/image_buffer.h"
#include "common/sweep24.h"

namespace {

using celtest::ImageBuffer;

// One row of samples: Y per pixel, Cb and Cr per pixel pair; whole groups of 6 pixels in 4 words.
struct Samples {
    std::vector<int> y, cb, cr;
};
int groupsOf(int width) { return (width + 5) / 6; }

// Packs a row into v210 words, bits 30-31 from `top`.
std::vector<uint32_t> pack(const Samples& s, int width, std::mt19937& top) {
    const int groups = groupsOf(width);
    std::vector<uint32_t> w(static_cast<size_t>(4 * groups));
    const auto f = [](int a, int b, int c) { return uint32_t(a) | uint32_t(b) << 10 | uint32_t(c) << 20; };
    for (int g = 0; g < groups; ++g) {
        const int *y = &s.y[6 * g], *cb = &s.cb[3 * g], *cr = &s.cr[3 * g];
        w[4 * g + 0] = f(cb[0], y[0], cr[0]);
        w[4 * g + 1] = f(y[1], cb[1], y[2]);
        w[4 * g + 2] = f(cr[1], y[3], cb[2]);
        w[4 * g + 3] = f(y[4], cr[2], y[5]);
        for (int k = 0; k < 4; ++k) w[4 * g + k] |= (top() & 3u) << 30;
    }
    return w;
}

Samples randomSamples(int width, std::mt19937& rng) {
    const int n = 6 * groupsOf(width);
    Samples s{std::vector<int>(n), std::vector<int>(n / 2), std::vector<int>(n / 2)};
    for (auto* v : {&s.y, &s.cb, &s.cr})
        for (int& x : *v) x = int(rng() & 1023u);
    return s;
}

enum class Form { Gray, BGR, RGB };
const char* formName(Form f) { return f == Form::Gray ? "Gray" : f == Form::BGR ? "BGR" : "RGB"; }
int clampTo(long v, int hi) { return v < 0 ? 0 : v > hi ? hi : int(v); }

// The 5-6-5 word of one pixel, single precision, rounded to nearest even.
uint16_t model565(int Y, int Cb, int Cr, Form f) {
    const float y = float(Y), b = float(Cb - 512), r = float(Cr - 512);
    const float R = 1.54f * r + y, B = 1.816f * b + y, g1 = -0.459f * r + y, G = g1 + -0.183f * b;
    const int ir = clampTo(std::lrint(R), 31), ig = clampTo(std::lrint(G), 63), ib = clampTo(std::lrint(B), 31);
    return uint16_t(f == Form::BGR ? ib | ig << 5 | ir << 11 : ir | ig << 5 | ib << 11);
}
uint16_t modelPixel(const Samples& s, int x, Form f) {
    return f == Form::Gray ? uint16_t(s.y[x]) : model565(s.y[x], s.cb[x / 2], s.cr[x / 2], f);
}

CelStatus callV210(Form f, const uint32_t* src, int srcStep, uint16_t* dst, int dstStep, CelSize roi) {
    switch (f) {
        case Form::Gray: return celiYUV422v210ToGray_709HDTV_32u16u_C3C1(src, srcStep, dst, dstStep, roi);
        case Form::BGR: return celiYUV422v210ToBGR_709HDTV_32u16u_C3(src, srcStep, dst, dstStep, roi);
        default: return celiYUV422v210ToRGB_709HDTV_32u16u_C3(src, srcStep, dst, dstStep, roi);
    }
}

class V210 : public ::testing::TestWithParam<Form> {};

// Packed rows against the model, canaries around the 16-bit destination rows;
// widths ending at every position of a group, around one and many groups;
// steps of the row's own words (rows that touch) and 16, 18, 22 spare words.
TEST_P(V210, MatchesTheModelAtEveryWidthHeightAndStep) {
    const Form f = GetParam();
    std::mt19937 rng(7);
    std::vector<int> widths = {47, 48, 49, 95, 96, 97, 1919, 1920};
    for (int w = 1; w <= 31; ++w) widths.push_back(w);
    for (int w : widths)
        for (int h : {1, 2, 5})
            for (int pad : {0, 32, 36, 44}) {
                ImageBuffer src(16 * groupsOf(w), h, pad), dst(2 * w, h, pad ? pad + 2 : 0);
                std::vector<Samples> rows;
                for (int j = 0; j < h; ++j) {
                    rows.push_back(randomSamples(w, rng));
                    const std::vector<uint32_t> words = pack(rows.back(), w, rng);
                    std::memcpy(src.row(j), words.data(), 4 * words.size());
                }
                ASSERT_EQ(callV210(f, reinterpret_cast<const uint32_t*>(src.data()), src.step() / 4,
                                   reinterpret_cast<uint16_t*>(dst.data()), dst.step() / 2, {w, h}), celStatusOk);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        uint16_t got;
                        std::memcpy(&got, dst.row(y) + 2 * x, 2);
                        const Samples& r = rows[y];
                        ASSERT_EQ(got, modelPixel(r, x, f)) << formName(f) << " " << w << "x" << h << " at (" << x << ", " << y
                                                            << "): Y " << r.y[x] << " Cb " << r.cb[x / 2] << " Cr " << r.cr[x / 2];
                    }
                ASSERT_TRUE(dst.intact()) << formName(f) << " " << w << "x" << h << ": a canary was written";
            }
}

INSTANTIATE_TEST_SUITE_P(Forms, V210, ::testing::Values(Form::Gray, Form::BGR, Form::RGB),
                         [](const auto& i) { return std::string(formName(i.param)); });

// Decodes rows of samples one at a time (the last row may end in a cut
// group) and compares every pixel with the model.
void expectRows(Form f, const std::vector<Samples>& rows, int width) {
    std::mt19937 top(13);
    std::vector<uint16_t> out(static_cast<size_t>(width));
    for (const Samples& s : rows) {
        const std::vector<uint32_t> w = pack(s, width, top);
        ASSERT_EQ(callV210(f, w.data(), static_cast<int>(w.size()), out.data(), width, {width, 1}), celStatusOk);
        for (int x = 0; x < width; ++x)
            ASSERT_EQ(out[static_cast<size_t>(x)], modelPixel(s, x, f))
                << formName(f) << " Y " << s.y[x] << " Cb " << s.cb[x / 2] << " Cr " << s.cr[x / 2];
    }
}

constexpr int kSweepStride = celtest::kSweep24Stride > 1 ? 31 : 1;  // shorter under the sanitizers

// A row of `width` pixels whose pair k gets its samples from set(k, s).
template <class Set>
Samples sweepRow(int width, Set set) {
    const int groups = groupsOf(width);
    Samples s{std::vector<int>(6 * groups), std::vector<int>(3 * groups), std::vector<int>(3 * groups)};
    for (int k = 0; k < 3 * groups; ++k) set(k, s);
    return s;
}

// Red depends on (Cr, Y) alone and blue on (Cb, Y): every chroma value with
// every luma, both forms; 32 chroma values a row, each over 1024 pixels of
// every luma; rows start 16 values apart, so what the cut group at a row's
// end leaves out the next row holds whole.
TEST(V210Colour, EveryChromaWithEveryLuma) {
    const int width = 32 * 1024 - 5;
    std::vector<Samples> rows;
    for (int first = 0; first < 1024; first += 16 * kSweepStride)
        rows.push_back(sweepRow(width, [&](int k, Samples& s) {
            const int c = std::min(first + 2 * k / 1024, 1023);
            s.cb[k] = c, s.cr[k] = 1023 - c;
            s.y[2 * k] = (2 * k) & 1023, s.y[2 * k + 1] = (2 * k + 1) & 1023;
        }));
    for (Form f : {Form::BGR, Form::RGB}) expectRows(f, rows, width);
}

// Green depends on all three; it is limited except where Y + (-0.459 r) +
// (-0.183 b) lies in -1 .. 65, and is monotonic in Y: every (Cb, Cr) pair
// with each of 68 lumas of that window, so with the other test every input
// (the forms differ in the packing alone, swept above).
TEST(V210Colour, EveryChromaPairThroughTheGreenWindow) {
    constexpr int kPairsPerChroma = 34;
    const int width = 2 * kPairsPerChroma * 1024;
    std::vector<Samples> rows;
    for (int cr = 0; cr < 1024; cr += kSweepStride)
        rows.push_back(sweepRow(width, [&](int k, Samples& s) {
            const int cb = std::min(k / kPairsPerChroma, 1023);
            const int y0 = int(std::floor(0.459 * (cr - 512) + 0.183 * (cb - 512))) - 2 + 2 * (k % kPairsPerChroma);
            s.cb[k] = cb, s.cr[k] = cr;
            s.y[2 * k] = std::clamp(y0, 0, 1023), s.y[2 * k + 1] = std::clamp(y0 + 1, 0, 1023);
        }));
    expectRows(Form::BGR, rows, width);
}

// Neutral chroma with luma 0 and 1023; limited, not scaled (63 fills the
// 6-bit field too); bits 30-31 ignored; the field order of the two forms:
// Cr 522: R = 15.4 + 10 -> 25, G = -4.59 + 10 = 5.41 -> 5, B = 10; Cb 517:
// B = 9.08 + 3 -> 12, G = 3 - 0.915 = 2.085 -> 2, R = 3; Y 100, Cr 0:
// negative red limited to 0, green above 63 limited.
TEST(V210Colour, WorkedValues) {
    struct Case { Form f; int Y, Cb, Cr; uint32_t top; int want; };
    const int gray31 = 31 | 31 << 5 | 31 << 11, gray20 = 20 | 20 << 5 | 20 << 11;
    for (const Case& c : {Case{Form::BGR, 0, 512, 512, 0, 0}, Case{Form::RGB, 0, 512, 512, 0, 0},
                          Case{Form::BGR, 1023, 512, 512, 0, 65535}, Case{Form::RGB, 1023, 512, 512, 0, 65535},
                          Case{Form::BGR, 63, 512, 512, 0, 65535}, Case{Form::RGB, 63, 512, 512, 0, 65535},
                          Case{Form::BGR, 31, 512, 512, 0, gray31}, Case{Form::RGB, 31, 512, 512, 0, gray31},
                          Case{Form::BGR, 1023, 512, 512, 0xC0000000u, 65535}, Case{Form::RGB, 1023, 512, 512, 0xC0000000u, 65535},
                          Case{Form::BGR, 20, 512, 512, 0xC0000000u, gray20}, Case{Form::RGB, 20, 512, 512, 0xC0000000u, gray20},
                          Case{Form::BGR, 10, 512, 522, 0, 10 | 5 << 5 | 25 << 11}, Case{Form::RGB, 10, 512, 522, 0, 25 | 5 << 5 | 10 << 11},
                          Case{Form::BGR, 3, 517, 512, 0, 12 | 2 << 5 | 3 << 11}, Case{Form::BGR, 100, 512, 0, 0, 31 | 63 << 5}}) {
        const uint32_t w[4] = {(uint32_t(c.Cb) | c.Y << 10 | uint32_t(c.Cr) << 20) | c.top, c.top, c.top, c.top};
        uint16_t d[2] = {0xAAAA, 0xAAAA};
        EXPECT_EQ(callV210(c.f, w, 4, d, 1, {1, 1}), celStatusOk);
        EXPECT_EQ(d[0], c.want) << formName(c.f) << " Y " << c.Y << " Cb " << c.Cb << " Cr " << c.Cr;
        EXPECT_EQ(d[1], 0xAAAA);
    }
    // Width 7: one whole group, then word 0 of the next group alone, with
    // its Cb0 and Cr0; the word after it is never needed.
    const uint32_t y7 = 40, cb7 = 530, cr7 = 500;
    uint32_t w[5] = {0, 0, 0, 0, cb7 | y7 << 10 | cr7 << 20};
    uint16_t gray[8], col[8];
    std::fill(gray, gray + 8, 0x5555);
    std::fill(col, col + 8, 0x5555);
    ASSERT_EQ(celiYUV422v210ToGray_709HDTV_32u16u_C3C1(w, 5, gray, 8, {7, 1}), celStatusOk);
    ASSERT_EQ(celiYUV422v210ToBGR_709HDTV_32u16u_C3(w, 5, col, 8, {7, 1}), celStatusOk);
    EXPECT_EQ(gray[6], 40);
    EXPECT_EQ(gray[7], 0x5555);
    EXPECT_EQ(col[6], model565(40, 530, 500, Form::BGR));
    EXPECT_EQ(col[7], 0x5555);
}

// ---- YCbCr422 to gray ---------------------------------------------------------------------------
// Widths through the 16- and 8-pixel bodies, the blocks of four, the pairs
// and the odd last pixel; positive, negative and zero steps.
TEST(YCbCr422ToGray, LumaBytesAtEveryWidthAndStepSign) {
    std::vector<int> widths = celtest::testWidths();
    for (int w : {6, 10, 11, 13, 14, 18, 19, 20, 21, 22, 25, 26, 27, 1919, 1920}) widths.push_back(w);
    uint32_t seed = 1;
    for (int w : widths)
        for (int h : celtest::testHeights())
            for (int sign : {1, -1, 0}) {
                ImageBuffer src(2 * w, h), dst(w, h);
                src.randomize(seed++);
                const uint8_t* s = sign < 0 ? src.lastRow() : src.data();
                uint8_t* d = sign < 0 ? dst.lastRow() : dst.data();
                ASSERT_EQ(celiYCbCr422ToGray_8u_C2C1R(s, sign * src.step(), d, sign * dst.step(), {w, h}), celStatusOk);
                const int rows = sign == 0 ? 1 : h;
                for (int y = 0; y < rows; ++y)
                    for (int x = 0; x < w; ++x)
                        ASSERT_EQ(dst.row(y)[x], src.row(y)[2 * x]) << w << "x" << h << " step sign " << sign << " at "
                                                                     << x << ", " << y;
                for (int y = rows; y < h; ++y)  // a zero step writes the first row only
                    for (int x = 0; x < w; ++x) ASSERT_EQ(dst.row(y)[x], celtest::kCanary);
                ASSERT_TRUE(dst.intact()) << w << "x" << h;
            }
}

}  // namespace
