// The 4:2:2 encoders from BGRA run a body of their own (channel pairs, luma
// rounded in two steps), while their three-byte twins keep the unpacked
// body; the encoder table sweeps every colour through one member of each
// recipe only.  Here every colour goes through the BGRA body (rows of 64
// pixels) and tail (rows of 14: a group of eight and three scalar pairs)
// and must give the bytes of the three-byte form on the same pixels, which
// the table's sweep holds to the model.  Neighbouring pixels differ, so
// each pair's chroma sums two colours.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "celcc.h"
#include "common/sweep24.h"

namespace {

using Enc = CelStatus (*)(const uint8_t*, int, uint8_t*, int, CelSize);

void sweepAgainstThreeByteForm(Enc four, Enc three, const char* name) {
    for (int w : {64, 14}) {
        const int h = celtest::sweep24Rows(w);
        std::vector<uint8_t> bgra(size_t(4) * w * h), bgr(size_t(3) * w * h);
        for (int64_t i = 0; i < int64_t(w) * h; ++i) {
            int r, g, b;
            celtest::sweep24Input(i, r, g, b);
            uint8_t* q = &bgra[4 * i];
            q[0] = uint8_t(b), q[1] = uint8_t(g), q[2] = uint8_t(r), q[3] = uint8_t(i * 7);
            uint8_t* p = &bgr[3 * i];
            p[0] = uint8_t(b), p[1] = uint8_t(g), p[2] = uint8_t(r);
        }
        std::vector<uint8_t> got(size_t(2) * w * h, 0x5A), want(size_t(2) * w * h, 0xA5);
        ASSERT_EQ(four(bgra.data(), 4 * w, got.data(), 2 * w, {w, h}), celStatusOk);
        ASSERT_EQ(three(bgr.data(), 3 * w, want.data(), 2 * w, {w, h}), celStatusOk);
        for (size_t k = 0; k < got.size(); ++k)
            ASSERT_EQ(int(got[k]), int(want[k])) << name << " width " << w << " pixel " << k / 2 << " byte " << k % 2;
    }
}

TEST(EncodeBgra422Sweep, Bt709FullScaleEveryColourThroughBodyAndTailAsTheThreeByteForm) {
    sweepAgainstThreeByteForm(celiBGRToCbYCr422_709HDTV_8u_AC4C2R, celiBGRToCbYCr422_709HDTV_8u_C3C2R,
                              "BGRToCbYCr422_709HDTV");
}

}  // namespace
