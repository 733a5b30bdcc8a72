// The internal copy and fill primitives: the same bytes on every path
// (short, long, above each threshold, aligned and not, contiguous and
// strided), nothing touched between rows, the descriptor table lookup,
// and the bit copy of add/subtract with a zero constant.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <algorithm>
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

// Image copies in both size forms: every row's region copied, the gap after
// it and the bytes before the first row untouched; contiguous rows (no gap)
// and strided ones, below and above the streaming threshold (4096 x 300, 1.2 MB).
TEST(RowPrim, ImageCopyBothFormsNeverTouchTheGaps) {
    uint32_t seed = 1;
    for (auto [w, h] : {std::pair{1, 1}, {5, 3}, {15, 2}, {16, 4}, {17, 5}, {63, 2}, {64, 3}, {77, 5}, {200, 7}, {1000, 200},
                        {4096, 300}})
        for (int gap : {0, 9})
            for (int misalign : {0, 3})
                for (bool wide : {false, true}) {
                    if (w == 4096 && (gap || misalign)) continue;  // the streaming size once a form
                    const int step = w + gap;
                    auto src = randomBytes(size_t(step) * h + 16, seed++);
                    std::vector<uint8_t> dst(src.size(), 0xC3);
                    const uint8_t* s = src.data() + misalign;
                    uint8_t* d = dst.data() + misalign;
                    ASSERT_EQ(wide ? y8_celiCopy_8u_C1R_L(s, step, d, step, w, h) : y8_celiCopy_8u_C1R(s, step, d, step, {w, h}),
                              celStatusOk);
                    for (int y = 0; y < h; ++y) {
                        const size_t at = size_t(y) * step + misalign;
                        ASSERT_EQ(std::memcmp(&dst[at], &src[at], size_t(w)), 0) << w << "x" << h << " row " << y;
                        ASSERT_EQ(std::count(&dst[at + w], &dst[at + step], 0xC3), gap) << w << "x" << h << " row " << y;
                    }
                    ASSERT_EQ(std::count(dst.begin(), dst.begin() + misalign, 0xC3), misalign);
                }
    uint8_t b = 0;
    EXPECT_EQ(y8_celiCopy_8u_C1R_L(nullptr, 96, &b, 96, 77, 5), celStatusNullPointer);
    EXPECT_EQ(y8_celiCopy_8u_C1R_L(&b, 96, &b, 96, 0, 5), celStatusBadSize);
}

// Row copies (the vector copy; the layout families' row copy with and
// without streaming stores): exactly `len` bytes at every length and
// alignment, nothing around them.
TEST(RowPrim, RowCopiesExactLengthAtEveryAlignment) {
    using Copy = void (*)(const uint8_t*, uint8_t*, int);
    const std::vector<int> rowLens = {0, 1, 15, 16, 17, 63, 64, 65, 127, 128, 129, 200, 1000};
    const struct {
        const char* name;
        Copy copy;
        std::vector<int> lens, srcOffsets, dstOffsets;
    } forms[] = {
        {"vector copy", [](const uint8_t* s, uint8_t* d, int n) { ASSERT_EQ(y8_celsCopy_8u(s, d, n), celStatusOk); },
         {1, 3, 4, 15, 16, 31, 32, 63, 64, 65, 127, 128, 200, 4095, 4096, 5000, 70000}, {0, 1, 4, 8, 12}, {0, 5, 16}},
        {"row copy", [](const uint8_t* s, uint8_t* d, int n) { y8_ownccCopy_8u_C1_M7(s, d, n, 0); }, rowLens, {0, 3},
         {16, 17, 24, 32}},
        {"streaming row copy", [](const uint8_t* s, uint8_t* d, int n) { y8_ownccCopy_8u_C1_M7(s, d, n, 1), _mm_sfence(); },
         rowLens, {0, 3}, {16, 17, 24, 32}},
    };
    for (const auto& f : forms)
        for (int len : f.lens)
            for (int so : f.srcOffsets)
                for (int d_o : f.dstOffsets) {
                    auto src = randomBytes(size_t(len) + 64, len * 7 + so);
                    std::vector<uint8_t> dst(size_t(len) + 64, 0x3C);
                    f.copy(src.data() + so, dst.data() + d_o, len);
                    ASSERT_EQ(0, std::memcmp(src.data() + so, dst.data() + d_o, size_t(len))) << f.name << " " << len << " " << so << " " << d_o;
                    ASSERT_EQ(std::count(dst.begin(), dst.begin() + d_o, 0x3C), d_o) << f.name << " " << len;
                    ASSERT_EQ(std::count(dst.begin() + d_o + len, dst.end(), 0x3C), 64 - d_o) << f.name << " " << len;
                }
    // the vector copy above 1 MiB, both directions of the aliasing rule
    for (int shift : {0, 64, 512, 3000}) {
        const int len = (1 << 20) + 333;
        auto src = randomBytes(size_t(len) + 4096, 99);
        std::vector<uint8_t> dst(size_t(len) + 4096);
        ASSERT_EQ(y8_celsCopy_8u(src.data(), dst.data() + shift, len), celStatusOk);
        ASSERT_EQ(0, std::memcmp(src.data(), dst.data() + shift, size_t(len))) << shift;
    }
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
