// The front ends' table of conversions: formats, edges, routes, and the
// runner that hands format planes to the library's exports.
#include "celcc_formats.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace {

// ---- Formats -------------------------------------------------------------------

constexpr int32_t sampleOf8U = celFmtSample8u, sampleOf16U = celFmtSample16u, sampleOf32F = celFmtSample32f,
                  sampleOf16S = celFmtSample16s, sampleOf32S = celFmtSample32s, sampleOf32U = celFmtSample32u;
constexpr int32_t bytesOf8U = 1, bytesOf16U = 2, bytesOf32F = 4, bytesOf16S = 2, bytesOf32S = 4, bytesOf32U = 4;
constexpr int32_t modelOfRGB = celFmtModelRGB, modelOfBGR = celFmtModelBGR, modelOfGRAY = celFmtModelGray,
                  modelOfYCBCR = celFmtModelYCbCr, modelOfXYZ = celFmtModelXYZ,
                  modelOfLUV = celFmtModelLUV, modelOfLAB = celFmtModelLab, modelOfHSV = celFmtModelHSV,
                  modelOfHLS = celFmtModelHLS, modelOfYCC = celFmtModelYCC,
                  modelOfYUV = celFmtModelYUV, modelOfYCOCG = celFmtModelYCoCg,
                  modelOfYCBCR709 = celFmtModelYCbCr709, modelOfYCBCR709FULL = celFmtModelYCbCr709Full;

const CelFmtFormat kFormats[] = {
#define CEL_FORMAT(id, aliases, sample, model, channels, aw, ah, planes, b0, w0, h0, b1, w1, h1, b2, w2, h2, doc) \
    {#id, aliases, doc, sampleOf##sample, bytesOf##sample, modelOf##model, channels, aw, ah, planes,             \
     {{b0, w0, h0}, {b1, w1, h1}, {b2, w2, h2}}},
#include "formats.inc"
#undef CEL_FORMAT
};
static_assert(sizeof(kFormats) / sizeof(kFormats[0]) == celFmtCount, "one record per format id");

bool validFormat(int id) { return id >= 0 && id < celFmtCount; }

bool sameName(const char* a, const char* b, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

// ---- Adapters: one per signature shape --------------------------------------------
//
// A side of a step: the plane pointers and steps in the order the export
// wants them (the edge's plane order is already applied).
struct Side {
    uint8_t* p[3];
    int s[3];
};

template <class A> constexpr A opaque();
template <> constexpr uint8_t opaque<uint8_t>() { return 255; }
template <> constexpr uint16_t opaque<uint16_t>() { return 65535; }
template <> constexpr int opaque<int>() { return 255; }
template <> constexpr float opaque<float>() { return 1.0f; }
// An alpha argument of type A for pixels of type D: signed 16-bit pixels
// take the largest positive value, the others the opaque value of A.
template <class D, class A> constexpr A opaqueFor() { return std::is_same_v<D, int16_t> ? A(32767) : opaque<A>(); }

template <class T> const T* in(const Side& x, int i) { return reinterpret_cast<const T*>(x.p[i]); }
template <class T> T* out(const Side& x, int i) { return reinterpret_cast<T*>(x.p[i]); }

// (src, srcStep, dst, dstStep, size[, alpha])
template <class S, class D>
CelStatus PACKED_PACKED(CelStatus (*f)(const S*, int, D*, int, CelSize), const Side& s, const Side& d, CelSize z) {
    return f(in<S>(s, 0), s.s[0], out<D>(d, 0), d.s[0], z);
}
template <class S, class D, class A>
CelStatus PACKED_PACKED(CelStatus (*f)(const S*, int, D*, int, CelSize, A), const Side& s, const Side& d, CelSize z) {
    return f(in<S>(s, 0), s.s[0], out<D>(d, 0), d.s[0], z, opaque<A>());
}
// (src, srcStep, dst[3], dstStep, size): one step for every plane
template <class S, class D>
CelStatus PACKED_PLANES1(CelStatus (*f)(const S*, int, D**, int, CelSize), const Side& s, const Side& d, CelSize z) {
    D* dp[3] = {out<D>(d, 0), out<D>(d, 1), out<D>(d, 2)};
    return f(in<S>(s, 0), s.s[0], dp, d.s[0], z);
}
// (src[3], srcStep, dst, dstStep, size[, alpha])
template <class S, class D>
CelStatus PLANES1_PACKED(CelStatus (*f)(const S* const*, int, D*, int, CelSize), const Side& s, const Side& d,
                         CelSize z) {
    const S* sp[3] = {in<S>(s, 0), in<S>(s, 1), in<S>(s, 2)};
    return f(sp, s.s[0], out<D>(d, 0), d.s[0], z);
}
template <class S, class D, class A>
CelStatus PLANES1_PACKED(CelStatus (*f)(const S* const*, int, D*, int, CelSize, A), const Side& s, const Side& d,
                         CelSize z) {
    const S* sp[3] = {in<S>(s, 0), in<S>(s, 1), in<S>(s, 2)};
    return f(sp, s.s[0], out<D>(d, 0), d.s[0], z, opaqueFor<D, A>());
}
// (src, srcStep, dst[3], dstStep[3], size)
CelStatus PACKED_PLANES(CelStatus (*f)(const uint8_t*, int, uint8_t**, int*, CelSize), const Side& s, const Side& d,
                        CelSize z) {
    uint8_t* dp[3] = {d.p[0], d.p[1], d.p[2]};
    int ds[3] = {d.s[0], d.s[1], d.s[2]};
    return f(s.p[0], s.s[0], dp, ds, z);
}
// (src[3], srcStep[3], dst, dstStep, size[, alpha])
CelStatus PLANES_PACKED(CelStatus (*f)(const uint8_t* const*, int*, uint8_t*, int, CelSize), const Side& s,
                        const Side& d, CelSize z) {
    const uint8_t* sp[3] = {s.p[0], s.p[1], s.p[2]};
    int ss[3] = {s.s[0], s.s[1], s.s[2]};
    return f(sp, ss, d.p[0], d.s[0], z);
}
template <class A>
CelStatus PLANES_PACKED(CelStatus (*f)(const uint8_t* const*, int*, uint8_t*, int, CelSize, A), const Side& s,
                        const Side& d, CelSize z) {
    const uint8_t* sp[3] = {s.p[0], s.p[1], s.p[2]};
    int ss[3] = {s.s[0], s.s[1], s.s[2]};
    return f(sp, ss, d.p[0], d.s[0], z, opaque<A>());
}
// (src, srcStep, dstY, dstYStep, dstC, dstCStep, size)
CelStatus PACKED_TWOPLANE(CelStatus (*f)(const uint8_t*, int, uint8_t*, int, uint8_t*, int, CelSize), const Side& s,
                          const Side& d, CelSize z) {
    return f(s.p[0], s.s[0], d.p[0], d.s[0], d.p[1], d.s[1], z);
}
// (srcY, srcYStep, srcC, srcCStep, dst, dstStep, size[, alpha])
CelStatus TWOPLANE_PACKED(CelStatus (*f)(const uint8_t*, int, const uint8_t*, int, uint8_t*, int, CelSize),
                          const Side& s, const Side& d, CelSize z) {
    return f(s.p[0], s.s[0], s.p[1], s.s[1], d.p[0], d.s[0], z);
}
template <class A>
CelStatus TWOPLANE_PACKED(CelStatus (*f)(const uint8_t*, int, const uint8_t*, int, uint8_t*, int, CelSize, A),
                          const Side& s, const Side& d, CelSize z) {
    return f(s.p[0], s.s[0], s.p[1], s.s[1], d.p[0], d.s[0], z, opaque<A>());
}
// (srcY, srcYStep, srcC, srcCStep, dst[3], dstStep[3], size)
CelStatus TWOPLANE_PLANES(CelStatus (*f)(const uint8_t*, int, const uint8_t*, int, uint8_t**, int*, CelSize),
                          const Side& s, const Side& d, CelSize z) {
    uint8_t* dp[3] = {d.p[0], d.p[1], d.p[2]};
    int ds[3] = {d.s[0], d.s[1], d.s[2]};
    return f(s.p[0], s.s[0], s.p[1], s.s[1], dp, ds, z);
}
// (src[3], srcStep[3], dstY, dstYStep, dstC, dstCStep, size)
CelStatus PLANES_TWOPLANE(CelStatus (*f)(const uint8_t* const*, int*, uint8_t*, int, uint8_t*, int, CelSize),
                          const Side& s, const Side& d, CelSize z) {
    const uint8_t* sp[3] = {s.p[0], s.p[1], s.p[2]};
    int ss[3] = {s.s[0], s.s[1], s.s[2]};
    return f(sp, ss, d.p[0], d.s[0], d.p[1], d.s[1], z);
}

// (src, srcStep, dst, dstStep, size, noise, mode, levels, scratch): no noise
// and no dither need no scratch; every value of the destination type is a level.
template <class S, class D>
CelStatus REDUCE_BITS(CelStatus (*f)(const S*, int, D*, int, CelSize, int, CelDitherMode, int, uint8_t*),
                      const Side& s, const Side& d, CelSize z) {
    const int levels = sizeof(D) == 1 ? 256 : 65536;
    return f(in<S>(s, 0), s.s[0], out<D>(d, 0), d.s[0], z, 0, celDitherOff, levels, nullptr);
}

// (src[3], srcStep[3], dst[3], dstStep[3], size)
CelStatus PLANES_PLANES(CelStatus (*f)(const uint8_t* const*, int*, uint8_t**, int*, CelSize), const Side& s,
                        const Side& d, CelSize z) {
    const uint8_t* sp[3] = {s.p[0], s.p[1], s.p[2]};
    int ss[3] = {s.s[0], s.s[1], s.s[2]};
    uint8_t* dp[3] = {d.p[0], d.p[1], d.p[2]};
    int ds[3] = {d.s[0], d.s[1], d.s[2]};
    return f(sp, ss, dp, ds, z);
}

// The exchange of the first and third channel (RGB and BGR orders) as a
// colour twist: every result is one sample times 1 plus zeros, which the
// float products and sums hold exactly for 8- and 16-bit samples.
constexpr float kExchange[3][4] = {{0, 0, 1, 0}, {0, 1, 0, 0}, {1, 0, 0, 0}};

// (src, srcStep, dst, dstStep, size, twist) with the exchange matrix
template <class T>
CelStatus EXCHANGE(CelStatus (*f)(const T*, int, T*, int, CelSize, const float (*)[4]), const Side& s, const Side& d,
                   CelSize z) {
    return f(in<T>(s, 0), s.s[0], out<T>(d, 0), d.s[0], z, kExchange);
}
// (srcDst, srcDstStep, size, twist) with the exchange matrix: the source rows
// are copied to the destination (alpha with them), then exchanged in place;
// a destination step the export refuses is handed to it before any copy.
template <class T>
CelStatus EXCHANGE_IN_PLACE(CelStatus (*f)(T*, int, CelSize, const float (*)[4]), const Side& s, const Side& d,
                            CelSize z) {
    if (d.s[0] >= 1) {
        const size_t row = size_t(z.width) * 4 * sizeof(T);
        for (int y = 0; y < z.height; ++y)
            std::memmove(d.p[0] + int64_t(y) * d.s[0], s.p[0] + int64_t(y) * s.s[0], row);
    }
    return f(out<T>(d, 0), d.s[0], z, kExchange);
}

// Pixels of four bytes whose colour is in bytes 1 to 3 (XRGB, XBGR): the
// four-channel colour twist's pixels moved by one byte.  It reads and writes
// the first three bytes of each of its pixels and reads the fourth, leaves
// the fourth of the destination as it was.  Either side's steps below 1
// are handed to the export before anything is written (it refuses them).
constexpr float kIdentity[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};

// The rows of a four-byte destination set to 255 ahead of a twist that
// leaves one byte of each pixel as it is (the opaque alpha or the padding).
void opaqueRows(const Side& d, CelSize z) {
    for (int y = 0; y < z.height; ++y) std::memset(d.p[0] + int64_t(y) * d.s[0], 255, size_t(z.width) * 4);
}

// From bytes 1 to 3 of the source into an RGBA or BGRA destination, alpha
// 255.  The twist's pixels start one byte into the source's, so the fourth
// byte it reads of a row's last pixel is the first byte after the row: the
// next row's (or padding), but past the image in the last row, whose last
// pixel goes through a copy of its three bytes.
CelStatus paddedIn(CelStatus (*f)(const uint8_t*, int, uint8_t*, int, CelSize, const float (*)[4]), const Side& s,
                   const Side& d, CelSize z, const float (*m)[4]) {
    if (s.s[0] < 1 || d.s[0] < 1) return f(s.p[0] + 1, s.s[0], d.p[0], d.s[0], z, m);
    opaqueRows(d, z);
    const int last = z.height - 1;
    CelStatus st = celStatusOk;
    if (last > 0) st = f(s.p[0] + 1, s.s[0], d.p[0], d.s[0], CelSize{z.width, last}, m);
    const uint8_t* sl = s.p[0] + int64_t(last) * s.s[0];
    uint8_t* dl = d.p[0] + int64_t(last) * d.s[0];
    if (st >= celStatusOk && z.width > 1) st = f(sl + 1, s.s[0], dl, d.s[0], CelSize{z.width - 1, 1}, m);
    const uint8_t px[4] = {sl[4 * (z.width - 1) + 1], sl[4 * (z.width - 1) + 2], sl[4 * (z.width - 1) + 3], 0};
    if (st >= celStatusOk) st = f(px, 4, dl + 4 * (z.width - 1), 4, CelSize{1, 1}, m);
    return st;
}
// From an RGBA or BGRA source into bytes 1 to 3 of the destination, byte 0
// 255: the twist's destination pixels start one byte into the row, and the
// fourth byte it leaves of its last pixel is the first after the row.
CelStatus paddedOut(CelStatus (*f)(const uint8_t*, int, uint8_t*, int, CelSize, const float (*)[4]), const Side& s,
                    const Side& d, CelSize z, const float (*m)[4]) {
    if (s.s[0] >= 1 && d.s[0] >= 1) opaqueRows(d, z);
    return f(s.p[0], s.s[0], d.p[0] + 1, d.s[0], z, m);
}
using Twist8u = CelStatus (*)(const uint8_t*, int, uint8_t*, int, CelSize, const float (*)[4]);
CelStatus PADDED_IN(Twist8u f, const Side& s, const Side& d, CelSize z) { return paddedIn(f, s, d, z, kIdentity); }
CelStatus PADDED_IN_EXCHANGE(Twist8u f, const Side& s, const Side& d, CelSize z) {
    return paddedIn(f, s, d, z, kExchange);
}
CelStatus PADDED_OUT(Twist8u f, const Side& s, const Side& d, CelSize z) { return paddedOut(f, s, d, z, kIdentity); }
CelStatus PADDED_OUT_EXCHANGE(Twist8u f, const Side& s, const Side& d, CelSize z) {
    return paddedOut(f, s, d, z, kExchange);
}

// (srcDst, srcDstStep, size, twist) with the exchange matrix, from pixels of
// three samples: each source pixel spread to four samples with an opaque
// fourth (the rows' bytes only moved), then exchanged in place; a
// destination step the export refuses is handed to it before any copy.
template <class T>
CelStatus SPREAD_EXCHANGE(CelStatus (*f)(T*, int, CelSize, const float (*)[4]), const Side& s, const Side& d,
                          CelSize z) {
    if (d.s[0] >= 1 && z.width > 0)
        for (int y = 0; y < z.height; ++y) {
            const T* a = reinterpret_cast<const T*>(s.p[0] + int64_t(y) * s.s[0]);
            T* b = reinterpret_cast<T*>(d.p[0] + int64_t(y) * d.s[0]);
            for (int x = 0; x < z.width; ++x)
                b[4 * x] = a[3 * x], b[4 * x + 1] = a[3 * x + 1], b[4 * x + 2] = a[3 * x + 2], b[4 * x + 3] = opaque<T>();
        }
    return f(out<T>(d, 0), d.s[0], z, kExchange);
}

// (src, srcStep, dst, dstStep, size) with steps counted in elements of each
// side's type: the table's byte steps divided, refused unless they divide.
template <class S, class D>
CelStatus ELEMENTS(CelStatus (*f)(const S*, int, D*, int, CelSize), const Side& s, const Side& d, CelSize z) {
    if (s.s[0] % int(sizeof(S)) != 0 || d.s[0] % int(sizeof(D)) != 0) return static_cast<CelStatus>(celFmtBadImage);
    return f(in<S>(s, 0), s.s[0] / int(sizeof(S)), out<D>(d, 0), d.s[0] / int(sizeof(D)), z);
}

// ---- Edges ---------------------------------------------------------------------

enum { KEEP = 0, SWAP_SRC = 1, SWAP_DST = 2 };

const CelFmtEdge kEdges[] = {
#define CEL_EDGE(from, to, exp, adapter, order, cost, lossy) {celFmt_##from, celFmt_##to, #exp, #adapter, order, cost, lossy},
#include "edges.inc"
#undef CEL_EDGE
};
constexpr int kEdgeCount = sizeof(kEdges) / sizeof(kEdges[0]);

using EdgeFn = CelStatus (*)(const Side&, const Side&, CelSize);
const EdgeFn kEdgeFns[] = {
#define CEL_EDGE(from, to, exp, adapter, order, cost, lossy) \
    [](const Side& s, const Side& d, CelSize z) -> CelStatus { return adapter(&exp, s, d, z); },
#include "edges.inc"
#undef CEL_EDGE
};

// ---- Exports with their doc lines ---------------------------------------------

struct ExportDoc {
    const char* name;
    const char* doc;
};
const ExportDoc kExports[] = {
#define CEL_EXPORT(ret, name, params, args, doc) {#name, doc},
#include <celcc/exports.inc>
#undef CEL_EXPORT
};
constexpr int kExportCount = sizeof(kExports) / sizeof(kExports[0]);

// ---- Images ----------------------------------------------------------------------

int checkImage(const CelFmtImage* im) {
    if (!im) return celFmtBadImage;
    if (!validFormat(im->format)) return celFmtBadFormat;
    if (im->width < 1 || im->height < 1) return celFmtBadImage;
    for (int i = 0; i < kFormats[im->format].planeCount; ++i)
        if (!im->plane[i]) return celFmtBadImage;
    return 0;
}

Side sideOf(const CelFmtImage& im, bool swap) {
    Side x = {{im.plane[0], im.plane[1], im.plane[2]}, {im.step[0], im.step[1], im.step[2]}};
    if (swap) {
        x.p[1] = im.plane[2];
        x.p[2] = im.plane[1];
        x.s[1] = im.step[2];
        x.s[2] = im.step[1];
    }
    return x;
}

int runEdge(int index, const CelFmtImage& src, const CelFmtImage& dst) {
    const CelFmtEdge& e = kEdges[index];
    const Side s = sideOf(src, e.order == SWAP_SRC);
    const Side d = sideOf(dst, e.order == SWAP_DST);
    return kEdgeFns[index](s, d, CelSize{src.width, src.height});
}

// A tightly packed image on the heap, rows padded to 64 bytes, zero-filled
// so that rows an export leaves alone (odd sizes) hold defined bytes.
struct Owned {
    CelFmtImage im{};
    void* mem = nullptr;
    ~Owned() { std::free(mem); }
    bool make(int format, int w, int h) {
        const CelFmtFormat& f = kFormats[format];
        int64_t offs[3] = {0, 0, 0}, total = 0;
        int32_t steps[3] = {0, 0, 0};
        for (int i = 0; i < f.planeCount; ++i) {
            int32_t pw, ph;
            int64_t rb;
            celccfmt_plane_size(format, w, h, i, &pw, &ph, &rb);
            const int64_t step = (rb + 63) & ~int64_t(63);
            if (step > INT32_MAX) return false;
            offs[i] = total;
            steps[i] = static_cast<int32_t>(step);
            total += step * ph;
        }
        if (total <= 0 || total > (int64_t(1) << 40)) return false;
        if (posix_memalign(&mem, 64, static_cast<size_t>(total)) != 0) {
            mem = nullptr;
            return false;
        }
        std::memset(mem, 0, static_cast<size_t>(total));
        im.format = format;
        im.width = w;
        im.height = h;
        for (int i = 0; i < f.planeCount; ++i) {
            im.plane[i] = static_cast<uint8_t*>(mem) + offs[i];
            im.step[i] = steps[i];
        }
        return true;
    }
};

int copyImage(const CelFmtImage& src, const CelFmtImage& dst) {
    const CelFmtFormat& f = kFormats[src.format];
    for (int i = 0; i < f.planeCount; ++i) {
        int32_t pw, ph;
        int64_t rb;
        celccfmt_plane_size(src.format, src.width, src.height, i, &pw, &ph, &rb);
        for (int32_t y = 0; y < ph; ++y)
            std::memmove(dst.plane[i] + int64_t(y) * dst.step[i], src.plane[i] + int64_t(y) * src.step[i],
                         static_cast<size_t>(rb));
    }
    return 0;
}

}  // namespace

// ---- The C interface ---------------------------------------------------------------

extern "C" {

int celccfmt_format_count(void) { return celFmtCount; }

const CelFmtFormat* celccfmt_format(int id) { return validFormat(id) ? &kFormats[id] : nullptr; }

int celccfmt_format_find(const char* name) {
    if (!name || !*name) return -1;
    const size_t n = std::strlen(name);
    for (int i = 0; i < celFmtCount; ++i) {
        if (std::strlen(kFormats[i].name) == n && sameName(kFormats[i].name, name, n)) return i;
        for (const char* a = kFormats[i].aliases; *a;) {
            const char* comma = std::strchr(a, ',');
            const size_t len = comma ? size_t(comma - a) : std::strlen(a);
            if (len == n && sameName(a, name, n)) return i;
            a += len + (comma ? 1 : 0);
        }
    }
    return -1;
}

int celccfmt_plane_size(int format, int width, int height, int plane, int32_t* planeWidth, int32_t* planeHeight,
                        int64_t* rowBytes) {
    if (!validFormat(format)) return celFmtBadFormat;
    const CelFmtFormat& f = kFormats[format];
    if (plane < 0 || plane >= f.planeCount || width < 1 || height < 1) return celFmtBadImage;
    const CelFmtPlane& p = f.plane[plane];
    const int32_t pw = static_cast<int32_t>((int64_t(width) + p.unitWidth - 1) / p.unitWidth);
    const int32_t ph = static_cast<int32_t>((int64_t(height) + p.unitHeight - 1) / p.unitHeight);
    if (planeWidth) *planeWidth = pw;
    if (planeHeight) *planeHeight = ph;
    if (rowBytes) *rowBytes = int64_t(pw) * p.unitBytes;
    return 0;
}

int64_t celccfmt_image_bytes(int format, int width, int height) {
    if (!validFormat(format) || width < 1 || height < 1) return -1;
    int64_t total = 0;
    for (int i = 0; i < kFormats[format].planeCount; ++i) {
        int32_t pw, ph;
        int64_t rb;
        celccfmt_plane_size(format, width, height, i, &pw, &ph, &rb);
        total += rb * ph;
    }
    return total;
}

int celccfmt_image_layout(int format, int width, int height, uint8_t* base, CelFmtImage* image) {
    if (!validFormat(format)) return celFmtBadFormat;
    if (!base || !image || width < 1 || height < 1) return celFmtBadImage;
    CelFmtImage im{};
    im.format = format;
    im.width = width;
    im.height = height;
    int64_t off = 0;
    for (int i = 0; i < kFormats[format].planeCount; ++i) {
        int32_t pw, ph;
        int64_t rb;
        celccfmt_plane_size(format, width, height, i, &pw, &ph, &rb);
        if (rb > INT32_MAX) return celFmtBadImage;
        im.plane[i] = base + off;
        im.step[i] = static_cast<int32_t>(rb);
        off += rb * ph;
    }
    *image = im;
    return 0;
}

int celccfmt_edge_count(void) { return kEdgeCount; }

const CelFmtEdge* celccfmt_edge(int index) { return index >= 0 && index < kEdgeCount ? &kEdges[index] : nullptr; }

namespace {
bool prefers(int edge, const char* prefer) {
    return prefer && *prefer && std::strstr(kEdges[edge].exportName, prefer) != nullptr;
}

constexpr const char* kInterlace = "_Interlace_";

bool interlaceEdge(int edge) { return std::strstr(kEdges[edge].exportName, kInterlace) != nullptr; }

// Which edges a route may take.  Interlace-aware edges serve interlaced
// pictures only; an interlaced picture (`prefer` naming them) takes no edge
// that changes the vertical chroma sampling but those, which keep the two
// fields apart.
bool usable(int edge, bool interlaced) {
    if (!interlaced) return !interlaceEdge(edge);
    return interlaceEdge(edge) || kFormats[kEdges[edge].from].alignHeight == kFormats[kEdges[edge].to].alignHeight;
}

// The best route, direct first, then through one intermediate (fewest lossy
// steps, then the lowest cost; the first pair in table order among equals).
// With `needPrefer` only routes with an edge whose export name contains
// `prefer` count.
int bestRoute(int from, int to, const char* prefer, bool needPrefer, int32_t edges[CELFMT_MAX_ROUTE]) {
    const bool interlaced = prefer && std::strstr(prefer, kInterlace);
    // A direct edge: the cheapest one.
    int best = -1;
    for (int i = 0; i < kEdgeCount; ++i)
        if (kEdges[i].from == from && kEdges[i].to == to && usable(i, interlaced) &&
            (!needPrefer || prefers(i, prefer)) &&
            (best < 0 || kEdges[i].cost < kEdges[best].cost))
            best = i;
    if (best >= 0) {
        if (edges) edges[0] = best;
        return 1;
    }
    // Through one intermediate: fewest lossy steps, then an intermediate of a
    // transport model (RGB, BGR, YCbCr) or of either end's model before one
    // of another model (RGB to BGR through LUV or HSV is no route a user
    // means), then the lowest cost; the first pair in table order among
    // equals.  A gray intermediate would drop the colour of two colour
    // images: it serves only routes to or from gray.
    const int32_t mFrom = kFormats[from].model, mTo = kFormats[to].model;
    const bool grayEnd = mFrom == celFmtModelGray || mTo == celFmtModelGray;
    int b1 = -1, b2 = -1, bestLossy = 0, bestForeign = 0, bestCost = 0;
    for (int i = 0; i < kEdgeCount; ++i) {
        if (kEdges[i].from != from || kEdges[i].to == to || !usable(i, interlaced)) continue;
        const int32_t m = kFormats[kEdges[i].to].model;
        if (!grayEnd && m == celFmtModelGray) continue;
        const int foreign = (m == mFrom || m == mTo || m == celFmtModelRGB || m == celFmtModelBGR ||
                             m == celFmtModelYCbCr || m == celFmtModelGray)
                                ? 0
                                : 1;
        for (int j = 0; j < kEdgeCount; ++j) {
            if (kEdges[j].from != kEdges[i].to || kEdges[j].to != to || !usable(j, interlaced)) continue;
            if (needPrefer && !prefers(i, prefer) && !prefers(j, prefer)) continue;
            const int lossy = kEdges[i].lossy + kEdges[j].lossy, cost = kEdges[i].cost + kEdges[j].cost;
            if (b1 < 0 || lossy < bestLossy || (lossy == bestLossy && foreign < bestForeign) ||
                (lossy == bestLossy && foreign == bestForeign && cost < bestCost)) {
                b1 = i;
                b2 = j;
                bestLossy = lossy;
                bestForeign = foreign;
                bestCost = cost;
            }
        }
    }
    if (b1 < 0) return celFmtNoRoute;
    if (edges) {
        edges[0] = b1;
        edges[1] = b2;
    }
    return 2;
}
}  // namespace

int celccfmt_route_prefer(int from, int to, const char* prefer, int32_t edges[CELFMT_MAX_ROUTE]) {
    if (!validFormat(from) || !validFormat(to)) return celFmtBadFormat;
    if (from == to) return 0;
    if (prefer && *prefer) {
        // an interlaced picture's route need not take an interlace-aware
        // edge (I420 to NV12 keeps the fields apart anyway)
        const int n = bestRoute(from, to, prefer, std::strstr(prefer, kInterlace) == nullptr, edges);
        if (n > 0) return n;
    }
    return bestRoute(from, to, nullptr, false, edges);
}

int celccfmt_route(int from, int to, int32_t edges[CELFMT_MAX_ROUTE]) {
    return celccfmt_route_prefer(from, to, nullptr, edges);
}

int celccfmt_route_text(int from, int to, char* buf, size_t size) {
    return celccfmt_route_text_prefer(from, to, nullptr, buf, size);
}

int celccfmt_route_text_prefer(int from, int to, const char* prefer, char* buf, size_t size) {
    int32_t e[CELFMT_MAX_ROUTE];
    const int n = celccfmt_route_prefer(from, to, prefer, e);
    char tmp[512];
    int len = 0;
    if (n == celFmtBadFormat) {
        len = std::snprintf(tmp, sizeof tmp, "unknown format");
    } else if (n == celFmtNoRoute) {
        len = std::snprintf(tmp, sizeof tmp, "%s -> %s: no route", kFormats[from].name, kFormats[to].name);
    } else if (n == 0) {
        len = std::snprintf(tmp, sizeof tmp, "%s -> %s (copy)", kFormats[from].name, kFormats[to].name);
    } else {
        len = std::snprintf(tmp, sizeof tmp, "%s", kFormats[from].name);
        for (int i = 0; i < n; ++i)
            len += std::snprintf(tmp + len, sizeof tmp - size_t(len), " -> %s (%s)", kFormats[kEdges[e[i]].to].name,
                                 kEdges[e[i]].exportName);
    }
    if (buf && size) std::snprintf(buf, size, "%s", tmp);
    return len;
}

int celccfmt_run_edge(int index, const CelFmtImage* src, const CelFmtImage* dst) {
    if (index < 0 || index >= kEdgeCount) return celFmtBadEdge;
    if (int st = checkImage(src)) return st;
    if (int st = checkImage(dst)) return st;
    if (src->format != kEdges[index].from || dst->format != kEdges[index].to) return celFmtBadEdge;
    if (src->width != dst->width || src->height != dst->height) return celFmtSizeMismatch;
    return runEdge(index, *src, *dst);
}

int celccfmt_convert(const CelFmtImage* src, const CelFmtImage* dst, CelFmtReport* report) {
    return celccfmt_convert_prefer(src, dst, nullptr, report);
}

int celccfmt_convert_prefer(const CelFmtImage* src, const CelFmtImage* dst, const char* prefer, CelFmtReport* report) {
    if (report) report->count = 0;
    if (int st = checkImage(src)) return st;
    if (int st = checkImage(dst)) return st;
    if (src->width != dst->width || src->height != dst->height) return celFmtSizeMismatch;
    int32_t e[CELFMT_MAX_ROUTE];
    const int n = celccfmt_route_prefer(src->format, dst->format, prefer, e);
    if (n < 0) return n;
    if (n == 0) return copyImage(*src, *dst);
    Owned mid;
    if (n == 2 && !mid.make(kEdges[e[0]].to, src->width, src->height)) return celFmtNoMemory;
    int result = 0;
    for (int i = 0; i < n; ++i) {
        const CelFmtImage& a = i == 0 ? *src : mid.im;
        const CelFmtImage& b = i == n - 1 ? *dst : mid.im;
        const int st = runEdge(e[i], a, b);
        if (report) {
            report->call[report->count].exportName = kEdges[e[i]].exportName;
            report->call[report->count].status = st;
            ++report->count;
        }
        if (st < 0) return st;
        if (st > 0 && result == 0) result = st;
    }
    return result;
}

const char* celccfmt_status_name(int status) {
    switch (status) {
#define NAME(x) \
    case x: return #x;
        NAME(celStatusOk)
        NAME(celStatusToneMapNegative)
        NAME(celStatusOddSize)
        NAME(celStatusBadArgument)
        NAME(celStatusBadSize)
        NAME(celStatusNullPointer)
        NAME(celStatusBadContext)
        NAME(celStatusBadStep)
        NAME(celStatusBadChannelCode)
        NAME(celStatusBadRange)
        NAME(celStatusBadLevels)
        NAME(celStatusBadNoise)
        NAME(celStatusBadDither)
        NAME(celStatusSizeTooLarge)
        NAME(celFmtNoRoute)
        NAME(celFmtBadFormat)
        NAME(celFmtBadImage)
        NAME(celFmtSizeMismatch)
        NAME(celFmtNoMemory)
        NAME(celFmtBadEdge)
#undef NAME
    default: return "unknown status";
    }
}

int celccfmt_export_count(void) { return kExportCount; }
const char* celccfmt_export_name(int index) { return index >= 0 && index < kExportCount ? kExports[index].name : nullptr; }
const char* celccfmt_export_doc(int index) { return index >= 0 && index < kExportCount ? kExports[index].doc : nullptr; }

}  // extern "C"
