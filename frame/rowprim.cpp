// Bulk copy and fill primitives.  See rowprim.h.
//
// Thresholds (fixed): image copy asks for the cache size above 131072 bytes
// in total (rows of at least 64 bytes) and streams above half of it; vector
// copy asks at 1 MiB and streams at half of it; image fill asks the
// companion library from 524289 bytes and streams at the full size.  Below
// the thresholds no query is made, because the query itself is slow.
#include "frame/rowprim.h"

#include <cpuid.h>
#include <smmintrin.h>

#include <array>
#include <cstring>
#include <initializer_list>

#include "frame/celcore/celcore.h"
#include "frame/image.h"
#include "frame/status.h"

namespace cel::rowprim {
namespace {

// TableCacheSize: descriptor byte, encoded size (e >> 4) << ((e & 15) + 18),
// in falling order of size, ended by a zero byte.
constexpr uint8_t enc(uint32_t kib) {
    // smallest shift with a mantissa below 16
    for (int s = 0; s < 16; ++s)
        for (uint32_t m = 1; m < 16; ++m)
            if ((uint64_t(m) << (s + 18)) == uint64_t(kib) * 1024) return static_cast<uint8_t>(m << 4 | s);
    return 0;
}
constexpr uint32_t MiB = 1024;
constexpr uint8_t TableCacheSize[] = {
    0xEC, enc(24 * MiB), 0xEB, enc(18 * MiB), 0x4D, enc(16 * MiB), 0xEA, enc(12 * MiB), 0x4C, enc(12 * MiB),
    0xE4, enc(8 * MiB),  0xDE, enc(8 * MiB),  0x4B, enc(8 * MiB),  0x47, enc(8 * MiB),  0x4E, enc(6 * MiB),
    0x4A, enc(6 * MiB),  0xE3, enc(4 * MiB),  0xDD, enc(4 * MiB),  0xD8, enc(4 * MiB),  0x49, enc(4 * MiB),
    0x29, enc(4 * MiB),  0x46, enc(4 * MiB),  0x48, enc(3 * MiB),  0xE2, enc(2 * MiB),  0xDC, enc(2 * MiB),
    0xD7, enc(2 * MiB),  0xD2, enc(2 * MiB),  0x25, enc(2 * MiB),  0x7D, enc(2 * MiB),  0x85, enc(2 * MiB),
    0x45, enc(2 * MiB),  0xD6, enc(1 * MiB),  0xD1, enc(1 * MiB),  0x23, enc(1 * MiB),  0x87, enc(1 * MiB),
    0x7C, enc(1 * MiB),  0x78, enc(1 * MiB),  0x84, enc(1 * MiB),  0x44, enc(1 * MiB),  0xD0, enc(512),
    0x22, enc(512),      0x7B, enc(512),      0x80, enc(512),      0x86, enc(512),      0x3E, enc(512),
    0x7F, enc(512),      0x83, enc(512),      0x43, enc(512),      0,
};
static_assert(sizeof(TableCacheSize) == 2 * 43 + 1);
static_assert(enc(24 * MiB) != 0 && enc(18 * MiB) != 0 && enc(512) != 0 && enc(3 * MiB) != 0);

}  // namespace

int cacheSizeFromDescriptors(const uint32_t words[4]) {
    if ((words[0] & 0xFF) != 1) return 0;
    uint8_t bytes[16];
    for (int i = 0; i < 4; ++i) {
        const uint32_t w = (words[i] & 0x80000000u) ? 0 : words[i];
        std::memcpy(bytes + 4 * i, &w, 4);
    }
    bytes[0] = 0;  // the count byte takes no part
    for (int t = 0; TableCacheSize[t] != 0; t += 2)
        for (int i = 1; i < 16; ++i)
            if (bytes[i] == TableCacheSize[t]) {
                const uint8_t e = TableCacheSize[t + 1];
                return (e >> 4) << ((e & 15) + 18);
            }
    return 0;
}

int lookupCacheSize() {
    unsigned a, b, c, d;
    if (!__get_cpuid(0, &a, &b, &c, &d)) return 0;
    char vendor[12];
    std::memcpy(vendor, &b, 4);
    std::memcpy(vendor + 4, &d, 4);
    std::memcpy(vendor + 8, &c, 4);
    if (std::memcmp(vendor, "GenuineIntel", 12) != 0 || a < 2) return 0;  // descriptors exist on one vendor only
    __cpuid(2, a, b, c, d);
    const uint32_t words[4] = {a, b, c, d};
    return cacheSizeFromDescriptors(words);
}

}  // namespace cel::rowprim

namespace {

inline __m128i loadu(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void storeu(uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// The size ladder for short runs: 32, 16, 8, 4, then single bytes.
inline void ladder(const uint8_t* s, uint8_t* d, int n) {
    if (n >= 32) storeu(d, loadu(s)), storeu(d + 16, loadu(s + 16)), s += 32, d += 32, n -= 32;
    if (n >= 16) storeu(d, loadu(s)), s += 16, d += 16, n -= 16;
    if (n >= 8) std::memcpy(d, s, 8), s += 8, d += 8, n -= 8;
    if (n >= 4) std::memcpy(d, s, 4), s += 4, d += 4, n -= 4;
    while (n-- > 0) *d++ = *s++;
}

// Image copy, one row, normal path.
void y8_owniCopy8uRow(const uint8_t* s, uint8_t* d, int n) {
    if (n < 16) return ladder(s, d, n);
    // bring the destination to 16-byte alignment by 1, 2, 4, 8 bytes
    for (int step : {1, 2, 4, 8})
        if (reinterpret_cast<uintptr_t>(d) & step) {
            std::memcpy(d, s, step);
            s += step, d += step, n -= step;
        }
    const bool srcAligned = (reinterpret_cast<uintptr_t>(s) & 15) == 0;
    // 128-byte blocks
    for (; n >= 128; n -= 128, s += 128, d += 128)
        for (int k = 0; k < 128; k += 16) {
            const __m128i v = srcAligned ? _mm_load_si128(reinterpret_cast<const __m128i*>(s + k)) : loadu(s + k);
            _mm_store_si128(reinterpret_cast<__m128i*>(d + k), v);
        }
    // 16-byte pieces, then the ladder
    for (; n >= 16; n -= 16, s += 16, d += 16) _mm_store_si128(reinterpret_cast<__m128i*>(d), loadu(s));
    ladder(s, d, n);
}

// Image copy, one row, non-temporal path.
void y8_owniCopy8uRowNT(const uint8_t* s, uint8_t* d, int n) {
    while (n > 0 && (reinterpret_cast<uintptr_t>(d) & 63)) *d++ = *s++, --n;
    for (; n >= 64; n -= 64, s += 64, d += 64)
        for (int k = 0; k < 64; k += 16) _mm_stream_si128(reinterpret_cast<__m128i*>(d + k), loadu(s + k));
    while (n-- > 0) *d++ = *s++;
}

// Fill of one row: an unaligned store to reach alignment, 64-byte blocks of
// aligned (or streaming) stores, up to three 16-byte stores, single bytes.
void y8_owniSet_8u_C1_M7(__m128i v, uint8_t* d, int n, bool stream) {
    if (n >= 16) {
        storeu(d, v);
        const int adv = 16 - static_cast<int>(reinterpret_cast<uintptr_t>(d) & 15);
        d += adv, n -= adv;
        bool streamed = false;
        for (; n >= 64; n -= 64, d += 64)
            for (int k = 0; k < 64; k += 16) {
                if (stream)
                    _mm_stream_si128(reinterpret_cast<__m128i*>(d + k), v), streamed = true;
                else
                    _mm_store_si128(reinterpret_cast<__m128i*>(d + k), v);
            }
        if (streamed) _mm_sfence();
        for (; n >= 16; n -= 16, d += 16) _mm_store_si128(reinterpret_cast<__m128i*>(d), v);
    }
    while (n-- > 0) *d++ = static_cast<uint8_t>(_mm_cvtsi128_si32(v));
}

// The core of the vector copies, on bytes.
void y8_ownsCopy_8u(const uint8_t* s, uint8_t* d, int n) {
    if (n < 64) return ladder(s, d, n);
    // one unaligned store brings the destination to 16-byte alignment
    storeu(d, loadu(s));
    const int adv = 16 - static_cast<int>(reinterpret_cast<uintptr_t>(d) & 15);
    s += adv, d += adv, n -= adv;
    if (n < 64) return ladder(s, d, n);
    if (n >= 0x100000) {
        const int cache = cel::rowprim::lookupCacheSize();
        if (cache > 0 && n >= cache / 2) {
            // streaming: touch each 64-byte line of a block, then copy it
            while (n >= 16) {
                const int block = n >= 0x40000 ? 0x40000 : (n & ~15);
                volatile uint8_t sink = 0;
                for (int k = 0; k < block; k += 64) sink = sink ^ s[k];
                (void)sink;
                for (int k = 0; k < block; k += 16) _mm_stream_si128(reinterpret_cast<__m128i*>(d + k), loadu(s + k));
                s += block, d += block, n -= block;
            }
            _mm_sfence();
            return ladder(s, d, n);
        }
    }
    if ((reinterpret_cast<uintptr_t>(s) & 15) == 0) {
        // aligned source: choose the direction so that loads avoid the 4 KiB
        // offsets of the stores just made
        const int dd = static_cast<int>(reinterpret_cast<uintptr_t>(s) & 0xFFF) -
                       static_cast<int>(reinterpret_cast<uintptr_t>(d) & 0xFFF);
        const bool backward = dd == 0 || dd > 160 || (dd >= -3936 && dd <= -1);
        const int body = n & ~63;
        if (backward) {
            // the ladder at the end first, then 64-byte steps from the end
            ladder(s + body, d + body, n - body);
            for (int k = body - 64; k >= 0; k -= 64)
                for (int q = 48; q >= 0; q -= 16)
                    _mm_store_si128(reinterpret_cast<__m128i*>(d + k + q),
                                    _mm_load_si128(reinterpret_cast<const __m128i*>(s + k + q)));
        } else {
            for (int k = 0; k < body; k += 64)
                for (int q = 0; q < 64; q += 16)
                    _mm_store_si128(reinterpret_cast<__m128i*>(d + k + q),
                                    _mm_load_si128(reinterpret_cast<const __m128i*>(s + k + q)));
            ladder(s + body, d + body, n - body);
        }
        return;
    }
    // unaligned source: plain unaligned loads
    for (; n >= 64; n -= 64, s += 64, d += 64)
        for (int q = 0; q < 64; q += 16) _mm_store_si128(reinterpret_cast<__m128i*>(d + q), loadu(s + q));
    ladder(s, d, n);
}

}  // namespace

extern "C" void y8_ownccCopy_8u_C1_M7(const uint8_t* s, uint8_t* d, int len, int stream) {
    int i = 0;
    if (stream && len >= 64) {
        // head up to the destination's 16-byte alignment, then streaming blocks
        for (; i < len && (reinterpret_cast<uintptr_t>(d + i) & 15); ++i) d[i] = s[i];
        for (; i + 64 <= len; i += 64)
            for (int k = 0; k < 64; k += 16) _mm_stream_si128(reinterpret_cast<__m128i*>(d + i + k), loadu(s + i + k));
    }
    // 64-byte blocks
    for (; i + 64 <= len; i += 64) {
        const __m128i a = loadu(s + i), b = loadu(s + i + 16), c = loadu(s + i + 32), e = loadu(s + i + 48);
        storeu(d + i, a), storeu(d + i + 16, b), storeu(d + i + 32, c), storeu(d + i + 48, e);
    }
    // 16-byte pieces, then bytes
    for (; i + 16 <= len; i += 16) storeu(d + i, loadu(s + i));
    for (; i < len; ++i) d[i] = s[i];
}

extern "C" CelStatus y8_celiCopy_8u_C1R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    int width = roiSize.width, height = roiSize.height;
    if (width == srcStep && width == dstStep) {  // contiguous: one long row
        width *= height;
        height = 1;
    }
    const long long total = static_cast<long long>(width) * height;
    bool stream = false;
    if (width >= 64 && total > 0x20000) {
        const int cache = cel::rowprim::lookupCacheSize();
        stream = cache > 0 && total > cache / 2;
    }
    for (int j = 0; j < height; ++j) {
        const uint8_t* s = cel::rowAt(src, j, srcStep);
        uint8_t* d = cel::rowAt(dst, j, dstStep);
        if (stream)
            y8_owniCopy8uRowNT(s, d, width);
        else
            y8_owniCopy8uRow(s, d, width);
    }
    if (stream) _mm_sfence();
    return celStatusOk;
}

extern "C" CelStatus y8_celsCopy_8u(const uint8_t* src, uint8_t* dst, int len) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (len < 1) return celStatusBadSize;
    y8_ownsCopy_8u(src, dst, len);
    return celStatusOk;
}

// Elements of 4 bytes, fed to the byte copy in pieces of 0x7FFFFFE0 bytes
// once the count reaches 536870912 elements.
template <class T>
CelStatus copy32(const T* src, T* dst, int len) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (len < 1) return celStatusBadSize;
    const uint8_t* s = reinterpret_cast<const uint8_t*>(src);
    uint8_t* d = reinterpret_cast<uint8_t*>(dst);
    long long bytes = 4LL * len;
    if (len >= 536870912) {
        while (bytes > 0) {
            const int piece = bytes > 0x7FFFFFE0 ? 0x7FFFFFE0 : static_cast<int>(bytes);
            y8_ownsCopy_8u(s, d, piece);
            s += piece, d += piece, bytes -= piece;
        }
    } else {
        y8_ownsCopy_8u(s, d, static_cast<int>(bytes));
    }
    return celStatusOk;
}

extern "C" CelStatus y8_celsCopy_32s(const int32_t* src, int32_t* dst, int len) { return copy32(src, dst, len); }
extern "C" CelStatus y8_celsCopy_32f(const float* src, float* dst, int len) { return copy32(src, dst, len); }

extern "C" CelStatus y8_celiCopy_8u_C1R_L(const uint8_t* src, int64_t srcStep, uint8_t* dst, int64_t dstStep,
                                         int64_t width, int64_t height) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (width < 1 || height < 1) return celStatusBadSize;
    CelStatus last = celStatusOk, worst = celStatusOk;
    for (int64_t j = 0; j < height; ++j) {
        const uint8_t* s = src + j * srcStep;
        uint8_t* d = dst + j * dstStep;
        for (int64_t done = 0; done < width;) {
            const int64_t piece = width - done > 0x40000000 ? 0x40000000 : width - done;
            last = y8_celsCopy_8u(s + done, d + done, static_cast<int>(piece));
            if (last < 0) worst = last;
            done += piece;
        }
    }
    return worst < 0 ? worst : last;
}

extern "C" CelStatus y8_celiSet_8u_C1R(uint8_t value, uint8_t* dst, int dstStep, CelSize roiSize) {
    if (dst == nullptr) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    int width = roiSize.width, height = roiSize.height;
    const int total = static_cast<int>(static_cast<uint32_t>(width) * static_cast<uint32_t>(height));
    if (width == dstStep) {
        width = total;
        height = 1;
    }
    bool stream = false;
    if (static_cast<uint32_t>(total) >= 0x80001u) {
        int32_t size = 0;
        stream = celGetMaxCacheSizeB(&size) == 0 && total >= size;
    }
    const __m128i v = _mm_set1_epi8(static_cast<char>(value));
    for (int j = 0; j < height; ++j) y8_owniSet_8u_C1_M7(v, cel::rowAt(dst, j, dstStep), width, stream);
    return celStatusOk;
}

extern "C" CelStatus y8_celsSet_32f(float value, float* dst, int len) {
    if (dst == nullptr) return celStatusNullPointer;
    if (len < 1) return celStatusBadSize;
    const __m128 v = _mm_set1_ps(value);
    int i = 0;
    if (len > 0x40000) {
        const int cache = cel::rowprim::lookupCacheSize();
        if (cache > 0 && 4LL * len > cache / 2) {
            while (i < len && (reinterpret_cast<uintptr_t>(dst + i) & 15)) dst[i++] = value;
            for (; i + 4 <= len; i += 4) _mm_stream_ps(dst + i, v);
            _mm_sfence();
        }
    }
    for (; i + 4 <= len; i += 4) _mm_storeu_ps(dst + i, v);
    for (; i < len; ++i) dst[i] = value;
    return celStatusOk;
}

// Element-wise add or subtract of a constant; 0.0 turns into a bit copy.
template <bool Sub>
CelStatus addSubC(const float* src, float* dst, int len, float value) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (len < 1) return celStatusBadSize;
    if (value == 0.0f) return Sub ? y8_celsCopy_32f(src, dst, len) : y8_celsCopy_32s(reinterpret_cast<const int32_t*>(src), reinterpret_cast<int32_t*>(dst), len);
    const __m128 c = _mm_set1_ps(value);
    int i = 0;
    // head: up to the destination's alignment
    while (i < len && (reinterpret_cast<uintptr_t>(dst + i) & 15)) dst[i] = Sub ? src[i] - value : src[i] + value, ++i;
    // body: four elements
    for (; i + 4 <= len; i += 4) {
        const __m128 s = _mm_loadu_ps(src + i);
        _mm_store_ps(dst + i, Sub ? _mm_sub_ps(s, c) : _mm_add_ps(s, c));
    }
    // tail
    for (; i < len; ++i) dst[i] = Sub ? src[i] - value : src[i] + value;
    return celStatusOk;
}

extern "C" CelStatus y8_celsAddC_32f(const float* src, float* dst, int len, float value) {
    return addSubC<false>(src, dst, len, value);
}
extern "C" CelStatus y8_celsSubC_32f(const float* src, float* dst, int len, float value) {
    return addSubC<true>(src, dst, len, value);
}
