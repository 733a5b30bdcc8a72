// One-bit output (celiReduceBits_8u1u_C1R): both modes against a model
// (threshold; integer Stucki on a plain error array) at every bit offset and
// width class, both step signs, the bits and bytes around the region; the
// whole (sample, threshold) space of mode 0; worked cases; the scratch.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "celcc.h"
#include "common/image_buffer.h"

namespace {

using celtest::ImageBuffer;

// Bits of the region, row by row, first pixel first.
std::vector<uint8_t> modelBits(const std::vector<uint8_t>& src, int w, int h, int mode, uint8_t threshold) {
    std::vector<uint8_t> bits(size_t(w) * h);
    std::vector<int64_t> err(size_t(w) * h, 0);
    auto e = [&](int y, int x) -> int64_t { return (y < 0 || x < 0 || x >= w) ? 0 : err[size_t(y) * w + x]; };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int s = src[size_t(y) * w + x];
            if (mode == 0) {
                bits[size_t(y) * w + x] = s > threshold;
                continue;
            }
            const int64_t sum = e(y - 2, x - 2) + e(y - 2, x + 2) + 8 * (e(y - 1, x) + e(y, x - 1)) +
                                4 * (e(y - 2, x) + e(y - 1, x - 1) + e(y - 1, x + 1) + e(y, x - 2)) +
                                2 * (e(y - 2, x - 1) + e(y - 2, x + 1) + e(y - 1, x - 2) + e(y - 1, x + 2));
            const int64_t a = (int64_t(s) << 13) + sum * 23;
            int64_t q = a >> 10;
            const bool set = a > int64_t(threshold) * 8192;
            if (set) q -= 2047;
            err[size_t(y) * w + x] = q;
            bits[size_t(y) * w + x] = set;
        }
    return bits;
}

// The destination row after placing `bits` at bit offset o (0..7) over `old`.
void modelPlace(uint8_t* row, const uint8_t* bits, int w, int o) {
    for (int i = 0; i < w; ++i) {
        const int pos = o + i;
        const uint8_t m = uint8_t(128 >> (pos & 7));
        row[pos >> 3] = bits[i] ? (row[pos >> 3] | m) : (row[pos >> 3] & ~m);
    }
    if (o != 0 && w < 8 - o) row[0] &= uint8_t(~((1u << (8 - o - w)) - 1u));  // head byte's rest cleared
}

struct Run {
    int w, h, offset, mode;
    uint8_t threshold;
    bool negSrc, negDst;
    int srcShift;
};

// Runs one call over src (w x h, tight rows; rows given bottom-up with
// negative steps) and compares every byte of the destination region and its guards.
void check(const Run& r, const std::vector<uint8_t>& src) {
    const int o = r.offset & 7, rowBytes = (o + r.w + 7) / 8;
    ImageBuffer in(r.w + r.srcShift, r.h), out(rowBytes, r.h);
    const auto image = [&](bool neg, int y) { return neg ? r.h - 1 - y : y; };  // image row of model row y
    for (int y = 0; y < r.h; ++y)
        std::copy_n(&src[size_t(y) * r.w], r.w, in.row(image(r.negSrc, y)) + r.srcShift);
    out.randomize(uint32_t(r.w * 131 + r.h * 7 + r.offset));
    std::vector<uint8_t> want(size_t(rowBytes) * r.h);
    const auto bits = modelBits(src, r.w, r.h, r.mode, r.threshold);
    for (int y = 0; y < r.h; ++y) {
        std::copy_n(out.row(image(r.negDst, y)), rowBytes, &want[size_t(y) * rowBytes]);
        modelPlace(&want[size_t(y) * rowBytes], &bits[size_t(y) * r.w], r.w, o);
    }
    int scratchSize = 0;
    ASSERT_EQ(celiReduceBitsGetBufferSize(1, {r.w, r.h}, 0, celDitherStucki, &scratchSize), celStatusOk);
    std::vector<uint8_t> scratch(size_t(scratchSize) + 1, 0x77);
    ASSERT_EQ(celiReduceBits_8u1u_C1R((r.negSrc ? in.lastRow() : in.data()) + r.srcShift,
                                      r.negSrc ? -in.step() : in.step(), r.negDst ? out.lastRow() : out.data(),
                                      r.negDst ? -out.step() : out.step(), r.offset, {r.w, r.h}, 12345, -1,
                                      CelDitherMode(r.mode), r.threshold, scratch.data() + 1),
              celStatusOk);
    ASSERT_TRUE(out.intact()) << "bytes around the rows written, w " << r.w << " offset " << r.offset;
    for (int y = 0; y < r.h; ++y)
        for (int k = 0; k < rowBytes; ++k)
            ASSERT_EQ(int(out.row(image(r.negDst, y))[k]), int(want[size_t(y) * rowBytes + k]))
                << "mode " << r.mode << " threshold " << int(r.threshold) << " w " << r.w << " h " << r.h
                << " offset " << r.offset << " row " << y << " byte " << k;
}

TEST(OneBit, BothModesMatchTheModelAtEveryOffsetAndWidth) {
    uint32_t seed = 1;
    const int widths[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 16, 17, 23, 31, 32, 33, 40, 47, 48, 63, 64, 65, 100};
    for (int mode : {0, 3})
        for (int offset = 0; offset < 16; ++offset)
            for (int w : widths)
                for (int h : {1, 2, 3, 7}) {
                    const bool negSrc = (w + offset) % 3 == 0, negDst = (w + offset) % 4 == 1;
                    const int t0[] = {0, 1, 127, 254, 255}, t3[] = {0, 128, 200};
                    const uint8_t t = uint8_t(mode == 0 ? t0[seed % 5] : t3[seed % 3]);
                    std::mt19937 rng(seed);
                    std::vector<uint8_t> src(size_t(w) * h);  // grays near the middle, or anything
                    for (auto& b : src) b = mode == 3 && seed % 2 ? uint8_t(96 + rng() % 64) : uint8_t(rng());
                    check({w, h, offset, mode, t, negSrc, negDst, int(seed % 4)}, src);
                    if (HasFatalFailure()) return;
                    ++seed;
                }
}

// Every sample against every threshold, each sample once in the 32-sample
// body, once in the 16-sample body and once in the byte tail.
TEST(OneBit, ThresholdSweepOfTheWholeInputSpace) {
    const int w = 256 + 16 + 13;
    std::vector<uint8_t> src(size_t(w) * 2);
    for (int i = 0; i < w; ++i) src[i] = uint8_t(i), src[w + i] = uint8_t(i + 13);
    for (int t = 0; t < 256; ++t)
        for (int offset : {0, 5}) check({w, 2, offset, 0, uint8_t(t), false, false, 0}, src);
}

// ---- Worked cases ----------------------------------------------------------------------
uint8_t oneByte(int w, int offset, uint8_t old, const std::vector<uint8_t>& samples, uint8_t threshold = 127) {
    uint8_t d[2] = {old, old};
    EXPECT_EQ(celiReduceBits_8u1u_C1R(samples.data(), w, d, 2, offset, {w, 1}, 0, 0, celDitherOff, threshold, nullptr),
              celStatusOk);
    return d[0];
}

TEST(OneBitWorked, Placement) {
    // offset 3, width 2: bits 16 and 8; 128, 64, 32 kept; 4, 2, 1 cleared
    EXPECT_EQ(oneByte(2, 3, 0xFF, {255, 0}), 0xE0 | 0x10);
    EXPECT_EQ(oneByte(2, 3, 0x00, {0, 255}), 0x08);
    // offset 11 acts as 3, at the same byte
    EXPECT_EQ(oneByte(2, 11, 0xFF, {255, 0}), 0xF0);
    // offset 3, width 5: the head fills the first byte, nothing after it
    uint8_t d[2] = {0xAA, 0x5C};
    const std::vector<uint8_t> five = {0, 255, 0, 255, 255};
    ASSERT_EQ(celiReduceBits_8u1u_C1R(five.data(), 5, d, 2, 3, {5, 1}, 0, 0, celDitherOff, 127, nullptr), celStatusOk);
    EXPECT_EQ(d[0], 0xA0 | 0x0B);
    EXPECT_EQ(d[1], 0x5C);
    // offset 0, width 12: a whole byte, then a byte keeping its 4 low bits
    const std::vector<uint8_t> twelve = {255, 0, 255, 0, 255, 0, 255, 0, 255, 255, 0, 0};
    uint8_t e[2] = {0x33, 0x3C};
    ASSERT_EQ(celiReduceBits_8u1u_C1R(twelve.data(), 12, e, 2, 0, {12, 1}, 0, 0, celDitherOff, 0, nullptr), celStatusOk);
    EXPECT_EQ(e[0], 0xAA);
    EXPECT_EQ(e[1], 0xC0 | 0x0C);
}

TEST(OneBitWorked, StrictThresholdAndFirstStuckiPixel) {
    EXPECT_EQ(oneByte(1, 0, 0x00, {255}, 255), 0x00);
    EXPECT_EQ(oneByte(1, 0, 0x00, {255}, 254), 0x80);
    // flat 128 at threshold 128: a of the first pixel is 128 * 8192, not above
    std::vector<uint8_t> flat(8, 128), scratch(4 * (3 * 8 + 12) + 64);
    uint8_t d = 0xFF;
    ASSERT_EQ(celiReduceBits_8u1u_C1R(flat.data(), 8, &d, 1, 0, {8, 1}, 0, 0, celDitherStucki, 128, scratch.data()),
              celStatusOk);
    EXPECT_EQ(d & 0x80, 0);
}

// ---- The scratch ---------------------------------------------------------------------------
// Statuses and their order otherwise (pointers, size, bit offset, mode):
// the robustness table's row (tests/robust), which always passes the scratch.
TEST(OneBitStatus, ScratchOnlyForStucki) {
    const uint8_t src[16] = {200, 10, 200, 10};
    uint8_t dst[4] = {0x5A, 0x5A, 0x5A, 0x5A}, scratch[256];
    auto call = [&](int mode, uint8_t* sc) {
        return celiReduceBits_8u1u_C1R(src, 16, dst, 4, 0, {4, 1}, 0, 0, CelDitherMode(mode), 100, sc);
    };
    EXPECT_EQ(call(3, nullptr), celStatusNullPointer);
    for (uint8_t b : dst) EXPECT_EQ(b, 0x5A);
    EXPECT_EQ(call(0, nullptr), celStatusOk);  // mode 0 needs no scratch
    EXPECT_EQ(dst[0], 0xA0 | 0x0A);
    EXPECT_EQ(call(3, scratch), celStatusOk);
}

}  // namespace
