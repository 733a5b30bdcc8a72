// 4:2:2 luma extraction and v210 decoding.  The v210 side: a packer of
// 10-bit Y, Cb, Cr samples into words (with random bits 30-31) written from
// the word table, and a decoder model that works on the samples themselves
// with the float formulas; compared sample for sample over widths that end
// at every position of a group, heights and element steps, with canaries
// around every destination row.  Worked values, the whole chroma plane
// through the colour arithmetic.  Statuses (element steps below 1 are size
// errors) and untouched buffers on errors: the robustness table's rows
// (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/image_buffer.h"

namespace {

using celtest::ImageBuffer;

// ---- Model ----------------------------------------------------------------------------------------
// One row of samples: Y per pixel, Cb and Cr per pixel pair.
struct Samples {
    std::vector<int> y, cb, cr;
};

// Words of a row of `width` pixels: whole groups of 6 pixels in 4 words.
int groupsOf(int width) { return (width + 5) / 6; }

// Packs a row into v210 words, bits 30-31 from `top`.
std::vector<uint32_t> pack(const Samples& s, int width, std::mt19937& top) {
    const int groups = groupsOf(width);
    std::vector<uint32_t> w(static_cast<size_t>(4 * groups));
    const auto f = [](int a, int b, int c) {
        return static_cast<uint32_t>(a) | static_cast<uint32_t>(b) << 10 | static_cast<uint32_t>(c) << 20;
    };
    for (int g = 0; g < groups; ++g) {
        const int* y = &s.y[6 * g];
        const int* cb = &s.cb[3 * g];
        const int* cr = &s.cr[3 * g];
        w[4 * g + 0] = f(cb[0], y[0], cr[0]);
        w[4 * g + 1] = f(y[1], cb[1], y[2]);
        w[4 * g + 2] = f(cr[1], y[3], cb[2]);
        w[4 * g + 3] = f(y[4], cr[2], y[5]);
        for (int k = 0; k < 4; ++k) w[4 * g + k] |= static_cast<uint32_t>(top() & 3u) << 30;
    }
    return w;
}

Samples randomSamples(int width, std::mt19937& rng) {
    const int n = 6 * groupsOf(width);
    Samples s{std::vector<int>(n), std::vector<int>(n / 2), std::vector<int>(n / 2)};
    for (auto* v : {&s.y, &s.cb, &s.cr})
        for (int& x : *v) x = static_cast<int>(rng() & 1023u);
    return s;
}

enum class Form { Gray, BGR, RGB };
const char* formName(Form f) { return f == Form::Gray ? "Gray" : f == Form::BGR ? "BGR" : "RGB"; }

int clampTo(long v, int hi) { return v < 0 ? 0 : v > hi ? hi : static_cast<int>(v); }

// The 5-6-5 word of one pixel, single precision, rounded to nearest even.
uint16_t model565(int Y, int Cb, int Cr, Form f) {
    const float y = static_cast<float>(Y), b = static_cast<float>(Cb - 512), r = static_cast<float>(Cr - 512);
    const float R = 1.54f * r + y;
    const float B = 1.816f * b + y;
    const float g1 = -0.459f * r + y;
    const float G = g1 + -0.183f * b;
    const int ir = clampTo(std::lrint(R), 31), ig = clampTo(std::lrint(G), 63), ib = clampTo(std::lrint(B), 31);
    return f == Form::BGR ? static_cast<uint16_t>(ib | ig << 5 | ir << 11)
                          : static_cast<uint16_t>(ir | ig << 5 | ib << 11);
}

uint16_t modelPixel(const Samples& s, int x, Form f) {
    if (f == Form::Gray) return static_cast<uint16_t>(s.y[x]);
    return model565(s.y[x], s.cb[x / 2], s.cr[x / 2], f);
}

CelStatus callV210(Form f, const uint32_t* src, int srcStep, uint16_t* dst, int dstStep, CelSize roi) {
    switch (f) {
        case Form::Gray: return celiYUV422v210ToGray_709HDTV_32u16u_C3C1(src, srcStep, dst, dstStep, roi);
        case Form::BGR: return celiYUV422v210ToBGR_709HDTV_32u16u_C3(src, srcStep, dst, dstStep, roi);
        default: return celiYUV422v210ToRGB_709HDTV_32u16u_C3(src, srcStep, dst, dstStep, roi);
    }
}

// A v210 image of packed rows and its 16-bit destination with canaries.
struct V210Image {
    std::vector<Samples> rows;
    ImageBuffer src, dst;
    V210Image(int width, int height, int srcPad, int dstPad, std::mt19937& rng)
        : src(4 * 4 * groupsOf(width), height, srcPad), dst(2 * width, height, dstPad) {
        for (int j = 0; j < height; ++j) {
            rows.push_back(randomSamples(width, rng));
            const std::vector<uint32_t> w = pack(rows.back(), width, rng);
            std::memcpy(src.row(j), w.data(), 4 * w.size());
        }
    }
    const uint32_t* srcWords() const { return reinterpret_cast<const uint32_t*>(src.data()); }
    uint16_t* dstSamples() { return reinterpret_cast<uint16_t*>(dst.data()); }
    CelStatus run(Form f, CelSize roi) { return callV210(f, srcWords(), src.step() / 4, dstSamples(), dst.step() / 2, roi); }
    uint16_t at(int x, int y) const {
        uint16_t v;
        std::memcpy(&v, dst.row(y) + 2 * x, 2);
        return v;
    }
};

// Every sample of the region against the model; the first difference is told.
void expectModel(const V210Image& im, Form f, int width, int height) {
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const uint16_t want = modelPixel(im.rows[y], x, f);
            if (im.at(x, y) != want) {
                const Samples& s = im.rows[y];
                ADD_FAILURE() << formName(f) << " " << width << "x" << height << " at (" << x << ", " << y << "): Y "
                              << s.y[x] << " Cb " << s.cb[x / 2] << " Cr " << s.cr[x / 2] << " expected " << want
                              << " got " << im.at(x, y);
                return;
            }
        }
    EXPECT_TRUE(im.dst.intact()) << formName(f) << " " << width << "x" << height << ": a canary was written";
}

class V210 : public ::testing::TestWithParam<Form> {};

// Widths ending at every position of a group, around one and many groups.
TEST_P(V210, MatchesTheModelAtEveryWidthHeightAndStep) {
    const Form f = GetParam();
    std::mt19937 rng(7);
    std::vector<int> widths;
    for (int w = 1; w <= 31; ++w) widths.push_back(w);
    for (int w : {47, 48, 49, 95, 96, 97, 1919, 1920}) widths.push_back(w);
    for (int w : widths)
        for (int h : {1, 2, 5})
            for (int pad : {0, 32, 36, 44}) {  // steps of the row's own words (rows that touch), 16, 18, 22 spare words
                V210Image im(w, h, pad, pad ? pad + 2 : 0, rng);
                ASSERT_EQ(im.run(f, {w, h}), celStatusOk);
                expectModel(im, f, w, h);
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

#if defined(__SANITIZE_ADDRESS__)
constexpr int kSweepStride = 31;
#else
constexpr int kSweepStride = 1;
#endif

// Red depends on (Cr, Y) alone and blue on (Cb, Y): every chroma value
// with every luma, both forms.
TEST(V210Colour, EveryChromaWithEveryLuma) {
    // 32 chroma values a row, each over 1024 pixels of every luma; rows
    // start 16 values apart, so what the cut group at a row's end leaves
    // out the next row holds whole
    const int width = 32 * 1024 - 5;
    std::vector<Samples> rows;
    for (int first = 0; first < 1024; first += 16 * kSweepStride) {
        const int groups = groupsOf(width);
        Samples s{std::vector<int>(6 * groups), std::vector<int>(3 * groups), std::vector<int>(3 * groups)};
        for (int k = 0; k < 3 * groups; ++k) {
            const int c = std::min(first + 2 * k / 1024, 1023);
            s.cb[k] = c, s.cr[k] = 1023 - c;
            s.y[2 * k] = (2 * k) & 1023, s.y[2 * k + 1] = (2 * k + 1) & 1023;
        }
        rows.push_back(std::move(s));
    }
    for (Form f : {Form::BGR, Form::RGB}) expectRows(f, rows, width);
}

// Green depends on all three; it is limited except where Y + (-0.459 r) +
// (-0.183 b) lies in -1 .. 65, and is monotonic in Y: every (Cb, Cr) pair
// with each luma of that window, so with the other test every input.
TEST(V210Colour, EveryChromaPairThroughTheGreenWindow) {
    constexpr int kPairsPerChroma = 34;  // 68 luma values
    const int width = 2 * kPairsPerChroma * 1024;
    std::vector<Samples> rows;
    for (int cr = 0; cr < 1024; cr += kSweepStride) {
        const int groups = groupsOf(width);
        Samples s{std::vector<int>(6 * groups), std::vector<int>(3 * groups), std::vector<int>(3 * groups)};
        for (int k = 0; k < 3 * groups; ++k) {
            const int cb = std::min(k / kPairsPerChroma, 1023);
            const double shift = -0.459 * (cr - 512) - 0.183 * (cb - 512);
            const int y0 = static_cast<int>(std::floor(-shift)) - 2 + 2 * (k % kPairsPerChroma);
            s.cb[k] = cb, s.cr[k] = cr;
            s.y[2 * k] = std::clamp(y0, 0, 1023), s.y[2 * k + 1] = std::clamp(y0 + 1, 0, 1023);
        }
        rows.push_back(std::move(s));
    }
    expectRows(Form::BGR, rows, width);  // the forms differ in the packing alone, swept above
}

// Worked values: neutral chroma with luma 0 and 1023, the limits on the
// 10-bit scale, the field order of the two forms, width 7, bits 30-31.
TEST(V210Colour, WorkedValues) {
    const auto one = [](Form f, int Y, int Cb, int Cr, uint32_t top = 0) {
        const uint32_t w[4] = {(static_cast<uint32_t>(Cb) | Y << 10 | static_cast<uint32_t>(Cr) << 20) | top, top,
                               top, top};
        uint16_t d[2] = {0xAAAA, 0xAAAA};
        EXPECT_EQ(callV210(f, w, 4, d, 1, {1, 1}), celStatusOk);
        EXPECT_EQ(d[1], 0xAAAA);
        return d[0];
    };
    for (Form f : {Form::BGR, Form::RGB}) {
        EXPECT_EQ(one(f, 0, 512, 512), 0);
        EXPECT_EQ(one(f, 1023, 512, 512), 65535);
        EXPECT_EQ(one(f, 63, 512, 512), 65535);  // limited, not scaled: 63 fills the 6-bit field too
        EXPECT_EQ(one(f, 31, 512, 512), 31 | 31 << 5 | 31 << 11);
        EXPECT_EQ(one(f, 1023, 512, 512, 0xC0000000u), 65535);
        EXPECT_EQ(one(f, 20, 512, 512, 0xC0000000u), 20 | 20 << 5 | 20 << 11);
    }
    // Cr 522: R = 15.4 + 10 -> 25, G = -4.59 + 10 = 5.41 -> 5, B = 10.
    EXPECT_EQ(one(Form::BGR, 10, 512, 522), 10 | 5 << 5 | 25 << 11);
    EXPECT_EQ(one(Form::RGB, 10, 512, 522), 25 | 5 << 5 | 10 << 11);
    // Cb 517: B = 9.08 + 3 -> 12, G = 3 - 0.915 = 2.085 -> 2; Cr 512: R = 3.
    EXPECT_EQ(one(Form::BGR, 3, 517, 512), 12 | 2 << 5 | 3 << 11);
    // Negative red limited to 0, green above 63 limited: Y 100, Cr 0.
    EXPECT_EQ(one(Form::BGR, 100, 512, 0), 31 | 63 << 5 | 0 << 11);

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
