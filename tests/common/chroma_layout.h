// A model of the 8-bit luma-chroma layouts for the chroma layout and sampling
// tests: an image in one layout (packed C2, two-plane P2, three-plane P3 at
// 4:2:2, 4:2:0, 4:1:1 or 1620), its buffers with canaries around every row, and
// the byte that holds a logical sample (Y, Cb or Cr at a luma or chroma
// position).  The image can be handed to a function through its last row
// with negative steps, or (sources only) through its first row with zero
// steps; `at` follows the same rows.  `Args` and the adapters of
// `shapes` hand such images to a function of any of the families' shapes.
#pragma once

#include <cstdint>
#include <vector>

#include "celcc.h"
#include "common/image_buffer.h"

namespace celtest {

enum class Samp { S422, S420, S411, S1620 };  // 1620: chroma reduced by 4 both ways
// Packed orders (YUY2 = Y0 Cb Y1 Cr, UYVY = Cb Y0 Cr Y1, YVYU = Y0 Cr Y1 Cb),
// planar with the Cb or the Cr plane first, two-plane with Cb or Cr first in a pair.
enum class Kind { YUY2, UYVY, YVYU, P3CbCr, P3CrCb, P2CbCr, P2CrCb };
// How the function sees the rows: top-down, bottom-up (negative steps), one row (zero steps).
enum class RowWalk { Down, Up, Same };

inline bool packed(Kind k) { return k == Kind::YUY2 || k == Kind::UYVY || k == Kind::YVYU; }
inline bool twoPlane(Kind k) { return k == Kind::P2CbCr || k == Kind::P2CrCb; }
inline int chromaW(Samp s, int w) { return s == Samp::S411 || s == Samp::S1620 ? (w + 3) / 4 : (w + 1) / 2; }
inline int chromaH(Samp s, int h) { return s == Samp::S420 ? (h + 1) / 2 : s == Samp::S1620 ? (h + 3) / 4 : h; }

class ChromaLayout {
public:
    ChromaLayout(Kind k, Samp s, int w_, int h_, RowWalk walk = RowWalk::Down)
        : kind(k), samp(s), w(w_), h(h_), walk_(walk) {
        if (packed(k)) {
            b.emplace_back(4 * ((w + 1) / 2), h);  // whole pixel pairs
        } else {
            b.emplace_back(w, h);
            if (twoPlane(k)) {
                b.emplace_back(2 * chromaW(s, w), chromaH(s, h));
            } else {
                b.emplace_back(chromaW(s, w), chromaH(s, h));
                b.emplace_back(chromaW(s, w), chromaH(s, h));
            }
        }
        for (auto& x : b) x.fill(0x5A);
    }

    // Component c (0 Y, 1 Cb, 2 Cr) at luma (x, y) or chroma (x, y) position.
    uint8_t& at(int c, int x, int y) {
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
    // Pointer and step arrays of the three planes (null past the last buffer).
    void planes(uint8_t* p[3], int s[3]) {
        for (int i = 0; i < 3; ++i) {
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
    uint8_t* sp[3];
    int ss[3];
    uint8_t* dp[3];
    int ds[3];
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
}  // namespace shapes

}  // namespace celtest
