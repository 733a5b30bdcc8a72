// Bayer mosaic -> interleaved RGB by adaptive homogeneity-directed
// interpolation, 8u and 16u: the frame around the algorithm and the strip
// kernels.
//
// Two candidate images are interpolated, one along rows (H) and one along
// columns (V); each pixel takes the candidate whose luma and chroma agree
// better with its neighbours over a 3x3 block (demosaic/ahd_recipes.h).
//
// The region is cut into one interior rectangle and up to four strips.  The
// interior starts on a red sample, has even width and height and keeps a
// margin of 5 from the frame's edges, so its kernel (demosaic/ahd_interior.cpp)
// has no phase and no coordinate tests.  The strips take any origin, size and
// phase and read the frame through a mirror about its first and last samples.
#include <cstdint>

#include "demosaic/ahd_rows.h"
#include "frame/image.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

using namespace cel::ahd;

// A strip: `pattern` is the pattern number at its origin (x, y); W1 and H1
// are the frame's last column and row.  Every row of the strip is written,
// from column wx0 (>= x) on; `dst` is the pixel at (wx0, y).  Columns before
// wx0 are computed all the same, as the tie rule runs from the strip's left
// end.
template <class T>
void y8_localAHD_strip(const T* src, int srcStep, int x, int y, int width, int height, T* dst, int dstStep,
                       T* buffer, int bufferStep, int pattern, int W1, int H1, int wx0) {
    const MirroredSource<T> source{src, srcStep, W1, H1};
    const RowStages<T, MirroredSource<T>> st{source, {buffer, bufferStep}, x, y, pattern};
    const int jw0 = wx0 - x + 3;
    for (int k = 0; k < height + 6; ++k) {
        const int r = y - 3 + k;
        st.green(r, 0, width + 6);
        if (k >= 2) st.colours(r - 1, 1, width + 5);
        if (k >= 4) st.homogeneity(r - 2, 2, width + 4);
        if (k >= 6)
            st.select(r - 3, 3, width + 3, true, cel::rowAt(dst, r - 3 - y, dstStep * static_cast<int>(sizeof(T))),
                      jw0, width + 3);
    }
}

// The strip kernels, one per pattern at the strip's origin.
template <class T, int Pattern>
void y8_localAHD_pattern(const T* src, int srcStep, int x, int y, int width, int height, T* dst, int dstStep,
                         T* buffer, int bufferStep, int W1, int H1, int wx0) {
    y8_localAHD_strip<T>(src, srcStep, x, y, width, height, dst, dstStep, buffer, bufferStep, Pattern, W1, H1, wx0);
}
template <class T>
constexpr auto y8_localAHD_RGGB = y8_localAHD_pattern<T, 0>;
template <class T>
constexpr auto y8_localAHD_GBRG = y8_localAHD_pattern<T, 1>;
template <class T>
constexpr auto y8_localAHD_BGGR = y8_localAHD_pattern<T, 2>;
template <class T>
constexpr auto y8_localAHD_GRBG = y8_localAHD_pattern<T, 3>;

// Jumps to the strip kernel of the pattern; a number outside 0..3 does nothing.
template <class T>
void y8_localAHD(const T* src, int srcStep, int x, int y, int width, int height, T* dst, int dstStep, T* buffer,
                 int bufferStep, int pattern, int W1, int H1, int wx0) {
    using Kernel = void (*)(const T*, int, int, int, int, int, T*, int, T*, int, int, int, int);
    static constexpr Kernel kKernels[4] = {y8_localAHD_RGGB<T>, y8_localAHD_GBRG<T>, y8_localAHD_BGGR<T>,
                                           y8_localAHD_GRBG<T>};
    if (pattern < 0 || pattern > 3) return;
    kKernels[pattern](src, srcStep, x, y, width, height, dst, dstStep, buffer, bufferStep, W1, H1, wx0);
}

void interior(const uint8_t* src, int srcStep, int x, int y, int w, int h, uint8_t* dst, int dstStep, uint8_t* buffer,
              int bufferStep) {
    y8_localIntAHD_8u(src, srcStep, x, y, w, h, dst, dstStep, buffer, bufferStep);
}
void interior(const uint16_t* src, int srcStep, int x, int y, int w, int h, uint16_t* dst, int dstStep,
              uint16_t* buffer, int bufferStep) {
    y8_localIntAHD_16u(src, srcStep, x, y, w, h, dst, dstStep, buffer, bufferStep);
}

inline int imin(int a, int b) { return a < b ? a : b; }
inline int imax(int a, int b) { return a < b ? b : a; }

// Region clamping, the cut into interior and strips, and the dispatch.
// Destination and scratch steps in samples from here on.
template <class T>
CelStatus y8_ownAHD(const T* src, CelRect srcRoi, CelSize srcSize, int srcStep, T* dst, int dstStep, int grid,
                    T* buffer, int bufferStep) {
    if (grid < 0 || grid > 3) return celStatusBadArgument;
    const int p = kPatternOfGrid[grid];
    const int W = srcSize.width, H = srcSize.height;
    // A negative origin moves to 0 without moving dst or narrowing the region.
    const int x = imax(srcRoi.x, 0), y = imax(srcRoi.y, 0);
    const int w = imin(srcRoi.width, W - x), h = imin(srcRoi.height, H - y);
    if (w < 1 || h < 1) return celStatusOk;

    // The interior keeps a margin of 5, then starts on a red sample with an
    // even width and height.  Its width or height can end at -2 here; the
    // strips' arithmetic goes on with it.
    int xi = imax(x, 5), yi = imax(y, 5);
    int wi = imax(0, imin(W - 5, x + w) - xi), hi = imax(0, imin(H - 5, y + h) - yi);
    int q = patternAt(p, xi, yi);
    if (q == 2 || q == 3) {  // the row starts on blue, or on the green of a blue row
        ++xi;
        --wi;
        q = (q ^ 3) & 3;
    }
    wi &= ~1;
    if (q != 0) {
        ++yi;
        --hi;
    }
    hi &= ~1;

    const auto dstAt = [&](int c, int r) { return cel::rowAt(dst, r - y, dstStep * static_cast<int>(sizeof(T))) + 3 * (c - x); };
    if (wi >= 1 && hi >= 1) interior(src, srcStep, xi, yi, wi, hi, dstAt(xi, yi), dstStep, buffer, bufferStep);

    // Strips.  The top strip is yi - y rows high and the left one xi - x
    // columns wide whatever h and w are, so they may write past the region's
    // height or width, within the frame.  A width or height of -2 starts the
    // bottom or right strip two before the interior, over pixels already
    // written, with the same values.  Rows and columns outside the frame, and
    // rows before the region, are left out: no pixel depends on them.  The
    // columns of a right strip before the region are computed but not
    // stored, as the tie rule runs from the strip's left end.
    const int W1 = W - 1, H1 = H - 1;
    const auto strip = [&](int sx, int sy, int sw, int sh) {
        const int wx0 = imax(sx, x);
        y8_localAHD<T>(src, srcStep, sx, sy, sw, sh, dstAt(wx0, sy), dstStep, buffer, bufferStep, patternAt(p, sx, sy),
                       W1, H1, wx0);
    };
    if (yi - y >= 1) strip(x, y, w, imin(yi, H) - y);
    const int yb = imax(yi + hi, y);
    if (y + h - yb >= 1) strip(x, yb, w, y + h - yb);
    if (xi - x >= 1 && hi >= 1) strip(x, yi, imin(xi, W) - x, hi);
    const int xr = xi + wi;
    if (x + w - xr >= 1 && hi >= 1) strip(xr, yi, x + w - xr, hi);
    return celStatusOk;
}

template <class T>
CelStatus demosaicAhd(const T* src, CelRect srcRoi, CelSize srcSize, int srcStep, T* dst, int dstStep,
                      CelBayerGrid grid, T* buffer, int bufferStep) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (srcSize.width < 5 || srcSize.height < 5) return celStatusBadSize;
    const int g = static_cast<int>(grid);
    if (g < 0 || g > 3) return celStatusBadArgument;
    // 16-bit: the destination and scratch steps become element counts
    // (divided, rounded toward zero); the source step stays in bytes.
    const int n = static_cast<int>(sizeof(T));
    return y8_ownAHD<T>(src, srcRoi, srcSize, srcStep, dst, dstStep / n, g, buffer, bufferStep / n);
}

}  // namespace

// Checks: src and dst (buffer is not tested), frame width or height below 5,
// grid; then the region is clamped to the frame.
extern "C" CelStatus y8_celiDemosaicAHD_8u_C1C3R(const uint8_t* src, CelRect srcRoi, CelSize srcSize, int srcStep,
                                                uint8_t* dst, int dstStep, CelBayerGrid grid, uint8_t* buffer,
                                                int bufferStep) {
    return demosaicAhd<uint8_t>(src, srcRoi, srcSize, srcStep, dst, dstStep, grid, buffer, bufferStep);
}

extern "C" CelStatus y8_celiDemosaicAHD_16u_C1C3R(const uint16_t* src, CelRect srcRoi, CelSize srcSize, int srcStep,
                                                 uint16_t* dst, int dstStep, CelBayerGrid grid, uint16_t* buffer,
                                                 int bufferStep) {
    return demosaicAhd<uint16_t>(src, srcRoi, srcSize, srcStep, dst, dstStep, grid, buffer, bufferStep);
}
