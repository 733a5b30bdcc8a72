// AHD demosaicing: an independent model of the whole algorithm (both
// candidates, homogeneity map, 3x3 sums, the tie rule along each piece's
// rows) and of the cut into interior and strips, against the library on
// frames and regions of every grid, scratch bounds, both step signs, odd
// 16-bit steps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "demosaic/bayer_frames.h"

namespace {

using namespace bayertest;

// ---- The model, from the formulas ------------------------------------------------
template <class T>
struct Model {
    const Frame<T>& f;
    int grid;
    static constexpr int M = maxOf<T>();
    // Planes over frame rows and columns -4 .. size + 4.
    static constexpr int kOff = 4;
    int PW, PH;
    std::vector<int> gH, gV, rH, rV, bH, bV, dMap;

    int idx(int r, int c) const { return (r + kOff) * PW + (c + kOff); }
    int P(int r, int c) const {  // mirrored once about the first and last samples
        const int W1 = f.W - 1, H1 = f.H - 1;
        r = r < 0 ? -r : (r > H1 ? 2 * H1 - r : r);
        c = c < 0 ? -c : (c > W1 ? 2 * W1 - c : c);
        return f.at(r, c);
    }
    int colour(int r, int c) const { return colourAt(grid, r, c); }
    static int clampS(int v) { return v < 0 ? 0 : (v > M ? M : v); }
    static int limit(int e, int l, int t) { return std::min(std::max(e, std::min(l, t)), std::max(l, t)); }

    Model(const Frame<T>& frame, int g) : f(frame), grid(g) {
        PW = f.W + 2 * kOff + 1;
        PH = f.H + 2 * kOff + 1;
        const size_t n = static_cast<size_t>(PW) * PH;
        gH.assign(n, 0), gV.assign(n, 0), rH.assign(n, 0), rV.assign(n, 0), bH.assign(n, 0), bV.assign(n, 0);
        dMap.assign(n, 0);
        // stage 1: green along rows and along columns
        for (int r = -3; r <= f.H + 3; ++r)
            for (int c = -3; c <= f.W + 3; ++c) {
                const int s = P(r, c);
                if (colour(r, c) == 1) {
                    gH[idx(r, c)] = gV[idx(r, c)] = s;
                    continue;
                }
                const int l = P(r, c - 1), t = P(r, c + 1), u = P(r - 1, c), d = P(r + 1, c);
                gH[idx(r, c)] = limit(((s - P(r, c - 2) + s - P(r, c + 2)) >> 2) + ((l + t) >> 1), l, t);
                gV[idx(r, c)] = limit(((s - P(r - 2, c) + s - P(r + 2, c)) >> 2) + ((u + d) >> 1), u, d);
            }
        // stage 2: colour planes of each candidate against its own green
        for (int dir = 0; dir < 2; ++dir) {
            const std::vector<int>& g = dir ? gH : gV;
            std::vector<int>& R = dir ? rH : rV;
            std::vector<int>& B = dir ? bH : bV;
            const auto diff = [&](int r, int c) { return P(r, c) - g[idx(r, c)]; };
            for (int r = -2; r <= f.H + 2; ++r)
                for (int c = -2; c <= f.W + 2; ++c) {
                    const int site = colour(r, c), i = idx(r, c);
                    if (site == 1) {
                        const int lr = clampS(P(r, c) + ((diff(r, c - 1) + diff(r, c + 1)) >> 1));
                        const int ud = clampS(P(r, c) + ((diff(r - 1, c) + diff(r + 1, c)) >> 1));
                        (colour(r, c + 1) == 0 ? R : B)[i] = lr;
                        (colour(r + 1, c) == 0 ? R : B)[i] = ud;
                    } else {
                        const int opp = clampS(g[i] + ((diff(r - 1, c - 1) + diff(r - 1, c + 1) + diff(r + 1, c - 1) +
                                                        diff(r + 1, c + 1)) >> 2));
                        (site == 0 ? R : B)[i] = P(r, c);
                        (site == 0 ? B : R)[i] = opp;
                    }
                }
        }
        // stages 3 and 4: homogeneity difference
        for (int r = -1; r <= f.H + 1; ++r)
            for (int c = -1; c <= f.W + 1; ++c) dMap[idx(r, c)] = homogeneity(r, c);
    }

    struct Ycc {
        int32_t y, cb, cr;
    };
    Ycc ycc(int dir, int r, int c) const {
        const int i = idx(r, c);
        const int R = dir ? rH[i] : rV[i], G = dir ? gH[i] : gV[i], B = dir ? bH[i] : bV[i];
        return {(66 * R + 129 * G + 25 * B + 128) >> 8, (-38 * R - 74 * G + 112 * B + 128) >> 8,
                (112 * R - 94 * G - 18 * B + 128) >> 8};
    }
    int homogeneity(int r, int c) const {
        const int dr[4] = {0, 0, -1, 1}, dc[4] = {-1, 1, 0, 0};  // left, right, up, down
        int64_t L[2][4], C[2][4];
        for (int dir = 0; dir < 2; ++dir) {
            const Ycc o = ycc(dir, r, c);
            for (int n = 0; n < 4; ++n) {
                const Ycc v = ycc(dir, r + dr[n], c + dc[n]);
                L[dir][n] = std::abs(v.y - o.y);
                const int64_t sq = int64_t(v.cb - o.cb) * (v.cb - o.cb) + int64_t(v.cr - o.cr) * (v.cr - o.cr);
                C[dir][n] = static_cast<int32_t>(static_cast<uint32_t>(sq));  // 32-bit signed: wraps past 2^31
            }
        }
        const int64_t eL = std::min(std::max(L[1][0], L[1][1]), std::max(L[0][2], L[0][3]));
        const int64_t eC = std::min(std::max(C[1][0], C[1][1]), std::max(C[0][2], C[0][3]));
        int cnt[2] = {0, 0};
        for (int dir = 0; dir < 2; ++dir)
            for (int n = 0; n < 4; ++n) cnt[dir] += (L[dir][n] <= eL && C[dir][n] <= eC) ? 1 : 0;
        return cnt[1] - cnt[0];
    }
    int S(int r, int c) const {
        int s = 0;
        for (int i = -1; i <= 1; ++i)
            for (int j = -1; j <= 1; ++j) s += dMap[idx(r + i, c + j)];
        return s;
    }
    // The pixel of the chosen candidate.
    void pixel(bool h, int r, int c, int out[3]) const {
        const int i = idx(r, c);
        out[0] = h ? rH[i] : rV[i];
        out[1] = h ? gH[i] : gV[i];
        out[2] = h ? bH[i] : bV[i];
    }
};

// ---- The cut, from the frame's rules ------------------------------------------------
struct Piece {
    int x, y, w, h;
};
struct Cut {
    int x = 0, y = 0, w = 0, h = 0;  // clamped region
    bool empty = true;
    std::vector<Piece> pieces;  // in the order they run
};

// Pattern numbers 0 RGGB, 1 GBRG, 2 BGGR, 3 GRBG; from the grid.
int patternAt(int grid, int c, int r) {
    static const int fromGrid[4] = {2, 0, 1, 3};
    int p = fromGrid[grid];
    if (c & 1) p ^= 3;
    if (r & 1) p = p + 1 - 2 * (p & 1);
    return p;
}

Cut cutRegion(CelRect roi, int W, int H, int grid) {
    Cut k;
    k.x = std::max(roi.x, 0), k.y = std::max(roi.y, 0);
    k.w = std::min(roi.width, W - k.x), k.h = std::min(roi.height, H - k.y);
    if (k.w < 1 || k.h < 1) return k;
    k.empty = false;
    const int x = k.x, y = k.y, w = k.w, h = k.h;
    int xi = std::max(x, 5), yi = std::max(y, 5);
    int wi = std::max(0, std::min(W - 5, x + w) - xi), hi = std::max(0, std::min(H - 5, y + h) - yi);
    int q = patternAt(grid, xi, yi);
    if (q == 2 || q == 3) ++xi, --wi, q = (q ^ 3) & 3;
    wi &= ~1;
    if (q != 0) ++yi, --hi;
    hi &= ~1;
    if (wi >= 1 && hi >= 1) k.pieces.push_back({xi, yi, wi, hi});
    if (yi - y >= 1) k.pieces.push_back({x, y, w, yi - y});
    const int yb = yi + hi;
    if (y + h - yb >= 1) k.pieces.push_back({x, yb, w, y + h - yb});
    if (xi - x >= 1 && hi >= 1) k.pieces.push_back({x, yi, xi - x, hi});
    const int xr = xi + wi;
    if (x + w - xr >= 1 && hi >= 1) k.pieces.push_back({xr, yi, x + w - xr, hi});
    return k;
}

// Expected writes on a canvas whose pixel (0, 0) is the region's origin:
// the samples the pieces leave at every frame pixel at or after it.  The
// tie rule runs along each row of each piece from its left end.
template <class T>
void expected(const Model<T>& m, const Cut& k, Canvas<T>& e) {
    for (const Piece& p : k.pieces)
        for (int r = p.y; r < p.y + p.h; ++r) {
            bool h = true;
            for (int c = p.x; c < p.x + p.w; ++c) {
                const int s = m.S(r, c);
                h = s > 0 ? true : (s < 0 ? false : h);
                if (r < k.y || r >= m.f.H || c < k.x || c >= m.f.W) continue;  // outside the frame or before the region
                int px[3];
                m.pixel(h, r, c, px);
                std::copy(px, px + 3, e.at(r - k.y, c - k.x));
            }
        }
}

// The documented scratch row: max(width, 5) + 6 samples plus 16 bytes.
template <class T>
int minScratchStep(int clampedWidth) {
    return static_cast<int>(sizeof(T)) * (std::max(clampedWidth, 5) + 6) + 16;
}

constexpr int kScratchGuard = 64;

// One call on a region of frame f; the destination canvas covers the frame
// from the region's origin to its end with 3 pixels around, every sample of
// it compared with the model's writes; the 30 scratch rows of the
// documented minimum sit between guards that must keep their canary (the
// guard-page sweep of tests/robust gives the scratch no byte to spare).
// 16-bit destination and scratch steps are halved toward zero: an odd one
// acts as the even one below it.
template <class T>
void checkFrame(const Frame<T>& f, int grid, CelRect roi, uint32_t seed, bool flip = false) {
    const Cut k = cutRegion(roi, f.W, f.H, grid);
    ASSERT_FALSE(k.empty);
    const Model<T> m(f, grid);
    const int bufStep = minScratchStep<T>(k.w);
    std::vector<uint8_t> scratch(static_cast<size_t>(30) * bufStep + 2 * kScratchGuard, 0x5C);
    T* buf = reinterpret_cast<T*>(scratch.data() + kScratchGuard);
    Canvas<T> cv(3, f.W - k.x, f.H - k.y, 3, seed, flip);
    const std::string what = describe(f.W, f.H, grid, roi.x, roi.y, roi.width, roi.height);
    const int odd = oddStep<T>(flip, seed);
    checkCanvas(
        cv,
        [&](Canvas<T>& d) {
            return byDepth<T>(celiDemosaicAHD_8u_C1C3R, celiDemosaicAHD_16u_C1C3R)(
                f.origin(), roi, {f.W, f.H}, f.step(), d.base(), int(d.step()) + odd, CelBayerGrid(grid), buf,
                bufStep + odd);
        },
        [&](Canvas<T>& e) { expected(m, k, e); }, what);
    for (int i = 0; i < kScratchGuard; ++i) {
        ASSERT_EQ(scratch[i], 0x5C) << what << ": scratch written before its first row";
        ASSERT_EQ(scratch[scratch.size() - 1 - i], 0x5C) << what << ": scratch written past its 30 rows";
    }
}

template <class T>
void checkRegion(int W, int H, int grid, CelRect roi, Content content, uint32_t seed, bool flip = false) {
    checkFrame(Frame<T>(W, H, content, seed, flip), grid, roi, seed, flip);
}

template <class T>
class Ahd : public ::testing::Test {};
TYPED_TEST_SUITE(Ahd, SampleTypes);

// Full frames, from the smallest accepted (5x5, strips only) to frames with
// an interior wide enough for several vector steps and a tail; every other
// one walked with negative steps.
TYPED_TEST(Ahd, FullFramesOfEveryGridMatchTheModel) {
    uint32_t seed = 1;
    const std::pair<int, int> sizes[] = {{5, 5},   {6, 5},   {5, 7},   {6, 6},   {11, 11}, {12, 12}, {13, 12},
                                         {16, 17}, {23, 14}, {40, 15}, {57, 20}, {64, 13}, {101, 16}};
    for (int grid = 0; grid < 4; ++grid)
        for (auto [W, H] : sizes)
            for (Content c : {Content::Random, Content::Smooth}) {
                checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, c, seed, seed % 2 == 0);
                ++seed;
            }
}

// Values 0..2 make the 3x3 sums zero often: the tie rule and its carry
// across vector steps run everywhere.
TYPED_TEST(Ahd, FrequentTiesMatchTheModel) {
    for (int grid = 0; grid < 4; ++grid)
        for (auto [W, H] : {std::pair{70, 14}, {37, 12}}) {
            // a repeated tile whose frame holds ties with differing
            // candidates at the first column of the interior's rows and
            // further along
            uint32_t seed = 50;
            for (;; ++seed) {
                ASSERT_LT(seed, 400u) << "no tile with ties found";
                const Frame<TypeParam> f(W, H, Content::Tile, seed);
                const Model<TypeParam> m(f, grid);
                const Piece in = cutRegion({0, 0, W, H}, W, H, grid).pieces[0];
                int first = 0, inner = 0;
                for (int r = in.y; r < in.y + in.h; ++r)
                    for (int c = in.x; c < in.x + in.w; ++c) {
                        int h[3], v[3];
                        m.pixel(true, r, c, h);
                        m.pixel(false, r, c, v);
                        if (m.S(r, c) == 0 && !std::equal(h, h + 3, v)) (c == in.x ? first : inner)++;
                    }
                if (first > 0 && inner > 10) break;
            }
            checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, Content::Tile, seed);
            checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, Content::Tiny, seed, true);
            checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, Content::Diagonal, seed);
        }
}

// Regions: inside the margin, touching each border, with odd origins on
// every grid, interior only, strips only, clamped, negative origins (moved
// to 0 without moving dst or narrowing the region), and short regions near
// the top whose top strip runs past their height; frames of 5 to 12 whose
// interior is empty or a single 2x2 block.
TYPED_TEST(Ahd, RegionsMatchTheModel) {
    const CelRect rois[] = {
        {5, 5, 30, 14},  {6, 6, 30, 14},  {7, 5, 29, 13},  {6, 7, 33, 11},  {0, 0, 20, 9},   {3, 2, 40, 22},
        {10, 0, 20, 26}, {0, 9, 47, 8},   {30, 12, 17, 14}, {40, 20, 7, 6}, {42, 3, 5, 20},  {8, 21, 30, 5},
        {0, 0, 47, 3},   {1, 1, 2, 2},    {0, 2, 3, 20},    {20, 10, 1, 1}, {25, 11, 60, 60}, {-3, -2, 15, 12},
        {44, 0, 9, 30},  {9, 9, 4, 4},    {6, 6, 16, 8},    {5, 6, 17, 9},  {0, 4, 47, 1},    {12, 22, 1, 4},
        {4, 1, 20, 2},   // top strip through frame row yi - 1, past the region's height
    };
    uint32_t seed = 200;
    for (int grid = 0; grid < 4; ++grid)
        for (const CelRect& roi : rois)
            for (Content c : {Content::Random, Content::Smooth}) {
                checkRegion<TypeParam>(47, 26, grid, roi, c, seed, seed % 5 == 0);
                ++seed;
            }
    for (int grid = 0; grid < 4; ++grid)
        for (int W : {5, 7, 12})
            for (int H : {5, 8, 12})
                for (const CelRect roi : {CelRect{0, 0, W, H}, CelRect{1, 2, W, H}, CelRect{W - 1, H - 2, 3, 3},
                                          CelRect{2, 0, 1, 1}})
                    checkRegion<TypeParam>(W, H, grid, roi, Content::Random, seed++);
}

// Worked values of the green limit and of the colour clamp: red site
// (10, 10) on RGGB whose own colour two away is dark, so the
// second-derivative term is large; G_H stays within [left, right]:
// e = ((255 - 0 + 255 - 0) >> 2) + ((90 + 110) >> 1) = 127 + 100 = 227 -> 110.
TEST(AhdWorked, GreenStaysBetweenItsNeighboursAndColoursClamp) {
    const int W = 20, H = 20;
    Frame<uint8_t> f(W, H, Content::Flat, 1);
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) f.set(r, c, 100);
    f.set(10, 8, 0), f.set(10, 12, 0), f.set(8, 10, 0), f.set(12, 10, 0);
    f.set(10, 9, 90), f.set(10, 11, 110), f.set(10, 10, 255);
    const Model<uint8_t> m(f, celBayerRGGB);
    EXPECT_EQ(m.gH[m.idx(10, 10)], 110);
    std::vector<uint8_t> dst(3 * W * H), buf(30 * minScratchStep<uint8_t>(W));
    ASSERT_EQ(celiDemosaicAHD_8u_C1C3R(f.origin(), {0, 0, W, H}, {W, H}, f.step(), dst.data(), 3 * W, celBayerRGGB,
                                       buf.data(), minScratchStep<uint8_t>(W)),
              celStatusOk);
    EXPECT_EQ(dst[(10 * W + 10) * 3 + 0], 255);  // the red site keeps its own sample
    EXPECT_LE(dst[(10 * W + 10) * 3 + 1], 110);
    EXPECT_GE(dst[(10 * W + 10) * 3 + 1], 90);
}

// Saturated 16-bit colours side by side (samples at 0 or full scale): the
// chroma distance passes 2^31 and wraps; the model keeps the 32-bit signed
// comparison.  The seed moves until a candidate holds a wrapping pair.
TEST(AhdWorked, SixteenBitChromaDistanceWraps) {
    const int W = 24, H = 14;
    Frame<uint16_t> f(W, H, Content::Random, 5);
    bool wrapped = false;
    for (uint32_t seed = 1; seed < 40 && !wrapped; ++seed) {
        std::mt19937 rng(seed);
        for (int r = 0; r < H; ++r)
            for (int c = 0; c < W; ++c) f.set(r, c, (rng() & 1) ? 65535 : 0);
        const Model<uint16_t> probe(f, celBayerBGGR);
        for (int dir = 0; dir < 2; ++dir)
            for (int r = 0; r < H; ++r)
                for (int c = 1; c < W; ++c) {
                    const auto a = probe.ycc(dir, r, c), b = probe.ycc(dir, r, c - 1);
                    wrapped |= int64_t(a.cb - b.cb) * (a.cb - b.cb) + int64_t(a.cr - b.cr) * (a.cr - b.cr) > INT32_MAX;
                }
    }
    ASSERT_TRUE(wrapped) << "the frame should hold a wrapping chroma distance";
    checkFrame(f, celBayerBGGR, {0, 0, W, H}, 5);
}

// ---- The scratch is not tested ------------------------------------------------------
// Statuses and their order otherwise: the robustness table's rows
// (tests/robust), which never pass a null scratch.  A null buffer gives the
// status of the checks behind it, and a region that clamps to nothing
// succeeds and touches nothing, not even the scratch.
TEST(AhdChecks, NullScratchIsNotTestedAndEmptyRegionsWriteNothing) {
    std::vector<uint8_t> src(100, 1), dst(300, 7);
    const auto before = dst;
    const auto call = [&](CelRect roi, CelSize size, int grid) {
        return celiDemosaicAHD_8u_C1C3R(src.data(), roi, size, 10, dst.data(), 30, static_cast<CelBayerGrid>(grid),
                                        nullptr, 0);
    };
    EXPECT_EQ(call({0, 0, 8, 8}, {4, 8}, 9), celStatusBadSize);
    EXPECT_EQ(call({0, 0, 8, 8}, {5, 5}, 4), celStatusBadArgument);
    for (const CelRect roi : {CelRect{10, 0, 4, 4}, CelRect{0, 10, 4, 4}, CelRect{0, 0, 0, 5}, CelRect{2, 2, 5, -1},
                              CelRect{-4, 0, 3, 0}})
        EXPECT_EQ(call(roi, {10, 10}, celBayerRGGB), celStatusOk);
    EXPECT_EQ(dst, before);
}

}  // namespace
