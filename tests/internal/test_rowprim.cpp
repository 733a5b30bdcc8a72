// The internal copy and fill primitives: the same bytes on every path
// (short, long, above each threshold, aligned and not, contiguous and
// strided), nothing touched between rows, the descriptor table lookup,
// and the bit copy of add/subtract with a zero constant.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "frame/celcore/celcore.h"
#include "frame/rowprim.h"

namespace {

std::vector<uint8_t> randomBytes(size_t n, uint32_t seed) {
    std::vector<uint8_t> v(n);
    std::mt19937 rng(seed);
    for (auto& b : v) b = static_cast<uint8_t>(rng());
    return v;
}

TEST(RowPrim, ImageCopyStridedAndContiguousNeverTouchesTheGaps) {
    uint32_t seed = 1;
    for (auto [w, h] : {std::pair{1, 1}, {5, 3}, {15, 2}, {16, 4}, {17, 5}, {63, 2}, {64, 3}, {200, 7}, {1000, 200}}) {
        for (int gap : {0, 9}) {
            for (int misalign : {0, 3}) {
                const int step = w + gap;
                auto src = randomBytes(size_t(step) * h + 16, seed++);
                std::vector<uint8_t> dst(size_t(step) * h + 16, 0xC3);
                ASSERT_EQ(y8_celiCopy_8u_C1R(src.data() + misalign, step, dst.data() + misalign, step, {w, h}), celStatusOk);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < step; ++x) {
                        const size_t at = size_t(y) * step + x + misalign;
                        ASSERT_EQ(dst[at], x < w ? src[at] : 0xC3) << w << "x" << h << " gap " << gap << " at " << x << "," << y;
                    }
                for (int k = 0; k < misalign; ++k) ASSERT_EQ(dst[k], 0xC3);
            }
        }
    }
}

TEST(RowPrim, ImageCopyAboveTheStreamingThresholdGivesTheSameBytes) {
    const int w = 4096, h = 300;  // 1.2 MB in total, rows of 4096 bytes
    auto src = randomBytes(size_t(w) * h, 7);
    std::vector<uint8_t> dst(src.size());
    ASSERT_EQ(y8_celiCopy_8u_C1R(src.data(), w, dst.data(), w, {w, h}), celStatusOk);
    EXPECT_EQ(src, dst);
}

TEST(RowPrim, VectorCopyAllLengthsAndAlignments) {
    for (int len : {1, 3, 4, 15, 16, 31, 32, 63, 64, 65, 127, 128, 200, 4095, 4096, 5000, 70000}) {
        for (int so : {0, 1, 4, 8, 12})
            for (int d_o : {0, 5, 16}) {
                auto src = randomBytes(size_t(len) + 64, len + so);
                std::vector<uint8_t> dst(size_t(len) + 64, 0x11);
                ASSERT_EQ(y8_celsCopy_8u(src.data() + so, dst.data() + d_o, len), celStatusOk);
                ASSERT_EQ(0, std::memcmp(src.data() + so, dst.data() + d_o, size_t(len))) << len << " " << so << " " << d_o;
                for (int k = 0; k < d_o; ++k) ASSERT_EQ(dst[k], 0x11);
                for (size_t k = size_t(d_o) + len; k < dst.size(); ++k) ASSERT_EQ(dst[k], 0x11);
            }
    }
    // above 1 MiB, both directions of the aliasing rule
    for (int shift : {0, 64, 512, 3000}) {
        const int len = (1 << 20) + 333;
        auto src = randomBytes(size_t(len) + 4096, 99);
        std::vector<uint8_t> dst(size_t(len) + 4096);
        ASSERT_EQ(y8_celsCopy_8u(src.data(), dst.data() + shift, len), celStatusOk);
        ASSERT_EQ(0, std::memcmp(src.data(), dst.data() + shift, size_t(len))) << shift;
    }
}

TEST(RowPrim, ImageCopy64BitFormCopiesRowByRow) {
    const int64_t w = 77, h = 5, step = 96;
    auto src = randomBytes(size_t(step * h), 3);
    std::vector<uint8_t> dst(src.size(), 0x22);
    ASSERT_EQ(y8_celiCopy_8u_C1R_L(src.data(), step, dst.data(), step, w, h), celStatusOk);
    for (int64_t y = 0; y < h; ++y)
        for (int64_t x = 0; x < step; ++x) ASSERT_EQ(dst[y * step + x], x < w ? src[y * step + x] : 0x22);
    EXPECT_EQ(y8_celiCopy_8u_C1R_L(nullptr, step, dst.data(), step, w, h), celStatusNullPointer);
    EXPECT_EQ(y8_celiCopy_8u_C1R_L(src.data(), step, dst.data(), step, 0, h), celStatusBadSize);
}

TEST(RowPrim, FillRowByRowAndContiguousAgree) {
    for (auto [w, h] : {std::pair{1, 1}, {7, 3}, {16, 2}, {100, 9}, {1024, 600}}) {
        for (int gap : {0, 5}) {
            const int step = w + gap;
            std::vector<uint8_t> dst(size_t(step) * h + 3, 0x77);
            ASSERT_EQ(y8_celiSet_8u_C1R(0xE1, dst.data() + 1, step, {w, h}), celStatusOk);
            EXPECT_EQ(dst[0], 0x77);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < step; ++x) ASSERT_EQ(dst[1 + size_t(y) * step + x], x < w ? 0xE1 : 0x77);
        }
    }
    uint8_t one;
    EXPECT_EQ(y8_celiSet_8u_C1R(1, nullptr, 1, {1, 1}), celStatusNullPointer);
    EXPECT_EQ(y8_celiSet_8u_C1R(1, &one, 1, {0, 1}), celStatusBadSize);
}

TEST(RowPrim, FloatFillAndAddSubtract) {
    for (int len : {1, 3, 4, 5, 17, 1000, 300000}) {
        std::vector<float> v(size_t(len) + 2, -1.0f);
        ASSERT_EQ(y8_celsSet_32f(2.5f, v.data() + 1, len), celStatusOk);
        EXPECT_EQ(v[0], -1.0f);
        EXPECT_EQ(v[size_t(len) + 1], -1.0f);
        for (int i = 1; i <= len; ++i) ASSERT_EQ(v[i], 2.5f);
        std::vector<float> src(len), dst(len), dst2(len);
        for (int i = 0; i < len; ++i) src[i] = float(i) * 0.37f - 3.0f;
        ASSERT_EQ(y8_celsAddC_32f(src.data(), dst.data(), len, 1.25f), celStatusOk);
        ASSERT_EQ(y8_celsSubC_32f(src.data(), dst2.data(), len, 1.25f), celStatusOk);
        for (int i = 0; i < len; ++i) {
            ASSERT_EQ(dst[i], src[i] + 1.25f);
            ASSERT_EQ(dst2[i], src[i] - 1.25f);
        }
    }
    // a zero constant copies bit for bit: negative zero and NaN pass unchanged
    const float special[4] = {-0.0f, std::numeric_limits<float>::quiet_NaN(), 1.0f, -7.5f};
    float out[4];
    ASSERT_EQ(y8_celsAddC_32f(special, out, 4, 0.0f), celStatusOk);
    EXPECT_EQ(0, std::memcmp(special, out, sizeof out));
    ASSERT_EQ(y8_celsSubC_32f(special, out, 4, 0.0f), celStatusOk);
    EXPECT_EQ(0, std::memcmp(special, out, sizeof out));
}

TEST(RowPrim, DescriptorTableLookup) {
    using cel::rowprim::cacheSizeFromDescriptors;
    // count byte 1; descriptors 0x2C (not in the table), 0x49 (4 MiB) and 0x43 (512 KiB): the larger wins
    const uint32_t a[4] = {0x00004901u, 0x00000043u, 0x0000002Cu, 0};
    EXPECT_EQ(cacheSizeFromDescriptors(a), 4 << 20);
    // a word with its top bit set counts as zero
    const uint32_t b[4] = {0x00000001u, 0x800000ECu, 0x00000022u, 0};
    EXPECT_EQ(cacheSizeFromDescriptors(b), 512 << 10);
    // the count byte itself is not a descriptor; a count other than 1 means unknown
    const uint32_t c[4] = {0x00000001u, 0, 0, 0}, d[4] = {0x0000EC02u, 0, 0, 0}, e[4] = {0x00EB0001u, 0, 0, 0};
    EXPECT_EQ(cacheSizeFromDescriptors(c), 0);
    EXPECT_EQ(cacheSizeFromDescriptors(d), 0);
    EXPECT_EQ(cacheSizeFromDescriptors(e), 18 << 20);
    EXPECT_GE(cel::rowprim::lookupCacheSize(), 0);
}

TEST(RowPrim, CompanionReportsTheLargestCache) {
    int32_t size = -1;
    const int rc = celGetMaxCacheSizeB(&size);
    if (rc == 0) {
        EXPECT_GT(size, 0);
    } else {
        EXPECT_EQ(size, -1);
    }
    EXPECT_NE(celGetMaxCacheSizeB(nullptr), 0);
}

}  // namespace

namespace {

// The row copy of the layout families: every length and alignment, with and
// without streaming stores, copies exactly `len` bytes and nothing around them.
TEST(RowPrim, LayoutRowCopyBothPathsExactLength) {
    for (int len : {0, 1, 15, 16, 17, 63, 64, 65, 127, 128, 129, 200, 1000})
        for (int so : {0, 3})
            for (int d_o : {0, 1, 8, 16})
                for (int stream : {0, 1}) {
                    auto src = randomBytes(size_t(len) + 64, len * 7 + so);
                    std::vector<uint8_t> dst(size_t(len) + 64, 0x3C);
                    y8_ownccCopy_8u_C1_M7(src.data() + so, dst.data() + 16 + d_o, len, stream);
                    if (stream) _mm_sfence();
                    ASSERT_EQ(0, std::memcmp(src.data() + so, dst.data() + 16 + d_o, size_t(len)))
                        << len << " " << so << " " << d_o << " " << stream;
                    for (int k = 0; k < 16 + d_o; ++k) ASSERT_EQ(dst[k], 0x3C);
                    for (size_t k = 16 + d_o + size_t(len); k < dst.size(); ++k) ASSERT_EQ(dst[k], 0x3C);
                }
}

}  // namespace
