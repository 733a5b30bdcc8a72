// A model of the 8-bit luma-chroma layouts for the chroma layout, sampling
// and luma-chroma tests: an image in one layout (packed C2, two-plane P2,
// three-plane P3 at 4:2:2, 4:2:0, 4:1:1 or 1620; or pixels, interleaved C3/C4
// or three or four full planes), its buffers with canaries around every row,
// and the byte that holds a logical sample (Y, Cb or Cr at a luma or chroma
// position; channel c of a pixel).  The image can be handed to a function through its last row
// with negative steps, or (sources only) through its first row with zero
// steps; `at` follows the same rows.  `Args` and the adapters of
// `shapes` hand such images to a function of any of the families' shapes.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/image_buffer.h"
#include "common/sweep24.h"

namespace celtest {

enum class Samp { S422, S420, S411, S1620, S444 };  // 1620: chroma reduced by 4 both ways
// Packed orders (YUY2 = Y0 Cb Y1 Cr, UYVY = Cb Y0 Cr Y1, YVYU = Y0 Cr Y1 Cb),
// planar with the Cb or the Cr plane first, two-plane with Cb or Cr first in a pair;
// pixels of three or four interleaved bytes, or of three or four full planes.
enum class Kind { YUY2, UYVY, YVYU, P3CbCr, P3CrCb, P2CbCr, P2CrCb, C3, C4, Px3, Px4 };
// How the function sees the rows: top-down, bottom-up (negative steps), one row (zero steps),
// top-down with the rows back to back (each step the row's bytes, no guard columns).
enum class RowWalk { Down, Up, Same, Tight };

inline bool packed(Kind k) { return k == Kind::YUY2 || k == Kind::UYVY || k == Kind::YVYU; }
inline bool twoPlane(Kind k) { return k == Kind::P2CbCr || k == Kind::P2CrCb; }
inline bool pixels(Kind k) { return k >= Kind::C3; }
inline int chromaW(Samp s, int w) {
    return s == Samp::S444 ? w : s == Samp::S411 || s == Samp::S1620 ? (w + 3) / 4 : (w + 1) / 2;
}
inline int chromaH(Samp s, int h) { return s == Samp::S420 ? (h + 1) / 2 : s == Samp::S1620 ? (h + 3) / 4 : h; }

class ChromaLayout {
public:
    ChromaLayout(Kind k, Samp s, int w_, int h_, RowWalk walk = RowWalk::Down)
        : kind(k), samp(s), w(w_), h(h_), walk_(walk) {
        const int pad = walk == RowWalk::Tight ? 0 : 32;
        if (packed(k)) {
            b.emplace_back(4 * ((w + 1) / 2), h, pad);  // whole pixel pairs
        } else if (pixels(k)) {
            for (int i = 0; i < (k == Kind::Px3 ? 3 : k == Kind::Px4 ? 4 : 1); ++i)
                b.emplace_back(k == Kind::C3 ? 3 * w : k == Kind::C4 ? 4 * w : w, h, pad);
        } else {
            b.emplace_back(w, h, pad);
            if (twoPlane(k)) {
                b.emplace_back(2 * chromaW(s, w), chromaH(s, h), pad);
            } else {
                b.emplace_back(chromaW(s, w), chromaH(s, h), pad);
                b.emplace_back(chromaW(s, w), chromaH(s, h), pad);
            }
        }
        for (auto& x : b) x.fill(0x5A);
    }

    // Component c (0 Y, 1 Cb, 2 Cr) at luma (x, y) or chroma (x, y) position.
    uint8_t& at(int c, int x, int y) {
        if (kind == Kind::C3 || kind == Kind::C4) return row(0, y)[(kind == Kind::C3 ? 3 : 4) * x + c];
        if (pixels(kind)) return row(c, y)[x];
        if (packed(kind)) {
            uint8_t* r = row(0, y) + 4 * (c == 0 ? x / 2 : x);
            const int yoff = kind == Kind::UYVY ? 1 : 0;
            if (c == 0) return r[yoff + 2 * (x & 1)];
            const bool cbFirst = kind != Kind::YVYU;
            const int first = kind == Kind::UYVY ? 0 : 1, second = first + 2;
            return r[(c == 1) == cbFirst ? first : second];
        }
        if (c == 0) return row(0, y)[x];
        if (twoPlane(kind)) return row(1, y)[2 * x + ((c == 1) == (kind == Kind::P2CbCr) ? 0 : 1)];
        const int plane = (kind == Kind::P3CbCr) == (c == 1) ? 1 : 2;
        return row(plane, y)[x];
    }

    // What the function is handed for buffer i: its first row and step.
    uint8_t* base(int i) { return walk_ == RowWalk::Up ? b[i].lastRow() : b[i].row(0); }
    int step(int i) const { return walk_ == RowWalk::Up ? -b[i].step() : walk_ == RowWalk::Same ? 0 : b[i].step(); }
    // Pointer and step arrays of the four planes (null past the last buffer).
    void planes(uint8_t* p[4], int s[4]) {
        for (int i = 0; i < 4; ++i) {
            p[i] = i < static_cast<int>(b.size()) ? base(i) : nullptr;
            s[i] = i < static_cast<int>(b.size()) ? step(i) : 0;
        }
    }

    void randomize(uint32_t seed) {
        for (auto& x : b) x.randomize(seed++);
    }
    bool intact() const { return allIntact(b); }
    // Every byte of every buffer, canaries included.
    std::vector<uint8_t> snapshot() const { return snapshotOf(b); }

    Kind kind;
    Samp samp;
    int w, h;
    std::vector<ImageBuffer> b;

private:
    // Row y of buffer i as the function walks it.
    uint8_t* row(int i, int y) {
        const int rows = b[i].rows();
        return b[i].row(walk_ == RowWalk::Up ? rows - 1 - y : walk_ == RowWalk::Same ? 0 : y);
    }
    RowWalk walk_;
};

// The pointers and steps handed to a function, whatever its shape.
struct Args {
    uint8_t* sp[4];
    int ss[4];
    uint8_t* dp[4];
    int ds[4];
};

// The image layouts' pointers and steps, in the order the function takes them.
inline Args argsOf(ChromaLayout& s, ChromaLayout& d) {
    Args a;
    s.planes(a.sp, a.ss);
    d.planes(a.dp, a.ds);
    return a;
}

// Adapters from Args to each argument shape of the 4:2:x families.
namespace shapes {
using FnP3P3 = CelStatus (*)(const uint8_t* const[3], int[3], uint8_t* [3], int[3], CelSize);
using FnP2P3 = CelStatus (*)(const uint8_t*, int, const uint8_t*, int, uint8_t* [3], int[3], CelSize);
using FnP3P2 = CelStatus (*)(const uint8_t* const[3], int[3], uint8_t*, int, uint8_t*, int, CelSize);
using FnP2C2 = CelStatus (*)(const uint8_t*, int, const uint8_t*, int, uint8_t*, int, CelSize);
using FnP3C2 = CelStatus (*)(const uint8_t* const[3], int[3], uint8_t*, int, CelSize);
using FnC2P3 = CelStatus (*)(const uint8_t*, int, uint8_t* [3], int[3], CelSize);
using FnC2P2 = CelStatus (*)(const uint8_t*, int, uint8_t*, int, uint8_t*, int, CelSize);
using FnC2C2 = CelStatus (*)(const uint8_t*, int, uint8_t*, int, CelSize);

template <FnP3P3 F>
CelStatus viaP3P3(Args& a, CelSize r) {
    const uint8_t* sp[3] = {a.sp[0], a.sp[1], a.sp[2]};
    return F(sp, a.ss, a.dp, a.ds, r);
}
template <FnP2P3 F>
CelStatus viaP2P3(Args& a, CelSize r) {
    return F(a.sp[0], a.ss[0], a.sp[1], a.ss[1], a.dp, a.ds, r);
}
template <FnP3P2 F>
CelStatus viaP3P2(Args& a, CelSize r) {
    const uint8_t* sp[3] = {a.sp[0], a.sp[1], a.sp[2]};
    return F(sp, a.ss, a.dp[0], a.ds[0], a.dp[1], a.ds[1], r);
}
template <FnP2C2 F>
CelStatus viaP2C2(Args& a, CelSize r) {
    return F(a.sp[0], a.ss[0], a.sp[1], a.ss[1], a.dp[0], a.ds[0], r);
}
template <FnP3C2 F>
CelStatus viaP3C2(Args& a, CelSize r) {
    const uint8_t* sp[3] = {a.sp[0], a.sp[1], a.sp[2]};
    return F(sp, a.ss, a.dp[0], a.ds[0], r);
}
template <FnC2P3 F>
CelStatus viaC2P3(Args& a, CelSize r) {
    return F(a.sp[0], a.ss[0], a.dp, a.ds, r);
}
template <FnC2P2 F>
CelStatus viaC2P2(Args& a, CelSize r) {
    return F(a.sp[0], a.ss[0], a.dp[0], a.ds[0], a.dp[1], a.ds[1], r);
}
template <FnC2C2 F>
CelStatus viaC2C2(Args& a, CelSize r) {
    return F(a.sp[0], a.ss[0], a.dp[0], a.ds[0], r);
}
}  // namespace shapes

// One export of a layout family: its source and destination layouts, the
// family's rule, the adapter that calls it, and the least size it takes
// (minH 0: the height is not tested).
template <class Rule>
struct LayoutFn {
    const char* name;
    Kind srcKind;
    Samp srcSamp;
    Kind dstKind;
    Samp dstSamp;
    Rule rule;
    CelStatus (*call)(Args&, CelSize);
    int minW = 1, minH = 1;
};
template <class Rule>
void PrintTo(const LayoutFn<Rule>& f, std::ostream* os) {
    *os << f.name;
}

// The expected destination of a layout change that moves samples without
// arithmetic: the luma of the done region (the size rounded down to whole
// 4:1:1 groups or pixel pairs, and to row pairs where either side is 4:2:0)
// copied, and each chroma sample (c, x, y) of the done region taken from
// from(c, x, y).
template <class From>
void moveSamples(ChromaLayout& s, ChromaLayout& e, From from) {
    const auto touches = [&](Samp m) { return s.samp == m || e.samp == m; };
    const int dw = touches(Samp::S411) ? s.w & ~3 : s.w & ~1, dh = touches(Samp::S420) ? s.h & ~1 : s.h;
    for (int y = 0; y < dh; ++y)
        for (int x = 0; x < dw; ++x) e.at(0, x, y) = s.at(0, x, y);
    const int cols = e.samp == Samp::S411 ? dw / 4 : dw / 2, rows = e.samp == Samp::S420 ? dh / 2 : dh;
    for (int c = 1; c <= 2; ++c)
        for (int y = 0; y < rows; ++y)
            for (int x = 0; x < cols; ++x) e.at(c, x, y) = from(c, x, y);
}

// Runs f on s into d: the call returns `want`, the source keeps every byte
// and the destination, canaries included, equals a copy of itself into which
// model(source, expected) has written the region (on success).  A failure
// names the first byte that differs.
template <class Fn, class Model>
void expectModelOn(const Fn& f, ChromaLayout& s, ChromaLayout& d, CelStatus want, Model model, const std::string& what) {
    ChromaLayout e = d;
    const std::vector<ImageBuffer> src = s.b;
    if (want >= 0) model(s, e);
    Args a = argsOf(s, d);
    const std::string at = std::string(f.name) + " " + what + " " + std::to_string(s.w) + "x" + std::to_string(s.h);
    ASSERT_EQ(f.call(a, {s.w, s.h}), want) << at;
    for (size_t i = 0; i < s.b.size(); ++i) ASSERT_TRUE(s.b[i].raw() == src[i].raw()) << at << ": the source changed";
    for (size_t i = 0; i < d.b.size(); ++i) {
        const auto &got = d.b[i].raw(), &exp = e.b[i].raw();
        const size_t k = size_t(std::mismatch(got.begin(), got.end(), exp.begin()).first - got.begin());
        ASSERT_EQ(k, got.size()) << at << ": buffer " << i << " row " << int(k / d.b[i].step()) - 1 << " byte "
                                 << int(k % d.b[i].step()) - 32 << " is " << int(got[k]) << ", not " << int(exp[k]);
    }
}

// expectModelOn at w x h on a random source, its rows and the destination's
// walked as given.
template <class Fn, class Model>
void expectLayoutModel(const Fn& f, int w, int h, RowWalk srcWalk, RowWalk dstWalk, uint32_t seed, CelStatus want,
                       Model model) {
    ChromaLayout s(f.srcKind, f.srcSamp, w, h, srcWalk), d(f.dstKind, f.dstSamp, w, h, dstWalk);
    s.randomize(seed);
    expectModelOn(f, s, d, want, model, "walks " + std::to_string(int(srcWalk)) + std::to_string(int(dstWalk)));
}

// Every input of three 8-bit channels (common/sweep24.h) as a uniform bw x bh
// block of pixels of the given kind, `perRow` blocks a row, in chunks of 2^20
// inputs: check(source) on each chunk.
template <class Check>
void sweepBlocks(Kind kind, int perRow, int bw, int bh, Check check) {
    constexpr int64_t kChunk = int64_t(1) << 20;
    const int w = perRow * bw, h = int(std::min(kChunk, sweep24Count()) / perRow + 1) * bh;
    ChromaLayout s(kind, Samp::S444, w, h);
    for (int64_t first = 0; first < sweep24Count(); first += kChunk) {
        int v[3];
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                sweep24Input(first + int64_t(y / bh) * perRow + x / bw, v[0], v[1], v[2]);
                for (int c = 0; c < 3; ++c) s.at(c, x, y) = uint8_t(v[c]);
            }
        check(s);
        if (::testing::Test::HasFatalFailure()) return;
    }
}

// expect(w, h, srcWalk, dstWalk, seed) at each size with negative steps on
// both sides and with a zero source step.
template <class Expect>
void everyWalk(std::initializer_list<CelSize> sizes, uint32_t seed, Expect expect) {
    for (CelSize z : sizes) {
        expect(z.width, z.height, RowWalk::Up, RowWalk::Up, seed++);
        expect(z.width, z.height, RowWalk::Same, RowWalk::Down, seed++);
    }
}

}  // namespace celtest
