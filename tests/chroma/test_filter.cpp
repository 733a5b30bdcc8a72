// Deinterlacing 4:2:0 to 4:2:2 and 4:2:0 planes: every export against a
// model written here (the vector rule below the last multiple of 8 or 32,
// the scalar rule after), whole pictures and slices assembled into one, as
// whole buffers with canaries, both step signs, the slice flags; worked
// values.  The four-tap upsampler: test_layouts.cpp.  Statuses, check order
// and errors that write nothing: tests/robust.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"

namespace {

using celtest::ChromaLayout;
using celtest::RowWalk;

int up(int a, int b) { return (a + b + 1) >> 1; }  // byte average rounding up

// Two-plane 4:2:0 (luma, Cb Cr pairs) to packed 4:2:2 (YUY2) or to planes
// with the first byte of a pair in plane 1 (modelled as Cb).
enum class DeintForm { C2, P3 };
ChromaLayout deintSource(int w, int h, RowWalk walk, uint32_t seed) {
    ChromaLayout s(celtest::Kind::P2CbCr, celtest::Samp::S420, w, h, walk);
    s.randomize(seed);
    return s;
}
ChromaLayout deintDest(DeintForm f, int w, int h, RowWalk walk) {
    return f == DeintForm::C2 ? ChromaLayout(celtest::Kind::YUY2, celtest::Samp::S422, w, h, walk)
                              : ChromaLayout(celtest::Kind::P3CbCr, celtest::Samp::S420, w, h, walk);
}

// The scalar offset, the whole-picture packed inner tail, the aligned planar set.
struct DeintRules {
    int round = 0;
    bool allTail = false, allVector = false;
};

// Expected picture rows [from, to) of a picture of P rows, width w; chroma
// byte k of a pair row is sample k / 2 of Cb (k even) or Cr.
void deintModel(ChromaLayout& s, ChromaLayout& d, DeintForm f, int w, int P, int from, int to, DeintRules r) {
    const int last = P / 2 - 1;
    const auto Y = [&](int y, int x) { return int(s.at(0, x, y)); };
    const auto C = [&](int j, int k) { return int(s.at(1 + k % 2, k / 2, j)); };
    for (int y = from; y < to; ++y) {
        const bool edge = y < 2 || y >= P - 2;
        const int V = r.allVector ? w : P == 2 ? 0 : edge ? (w & ~7) : (w & ~31);
        const auto luma = [&](int x) {
            const bool vec = x < V;
            if (y == 0 || y == P - 1) {
                const int b = Y(y, x), n = Y(y == 0 ? 1 : P - 2, x);
                return vec ? up(b, up(n, b)) : (3 * b + n + r.round) >> 2;
            }
            const int a = Y(y - 1, x), b = Y(y, x), c = Y(y + 1, x);
            if (vec) return up(up(a, b), up(b, c));
            if (r.allTail && !edge && x % 2 == 0) return std::min(255, ((((a + c) >> 1) + b) >> 1) + 1);
            return (a + 2 * b + c + r.round) >> 2;
        };
        const int j = y / 2;
        const auto chroma = [&](int k) {
            if (P == 2) return C(0, k);
            const int p = C(j, k), q = j < last ? C(j + 1, k) : C(last - 1, k);
            return k < V ? up(p, q) : (p + q) >> 1;
        };
        for (int x = 0; x < w; ++x) {
            d.at(0, x, y) = uint8_t(luma(x));
            if (f == DeintForm::C2)
                d.at(1 + x % 2, x / 2, y) = uint8_t(chroma(x));
            else if (y % 2 == 0)
                d.at(1 + x % 2, x / 2, j) = uint8_t(chroma(x));
        }
    }
}

// Call on the slice whose first row is picture row y0.
CelStatus callDeint(DeintForm f, ChromaLayout& s, ChromaLayout& d, int y0, CelSize roi, int flags) {
    const auto at = [&](ChromaLayout& l, int i, int y) { return l.base(i) + ptrdiff_t(y) * l.step(i); };
    if (f == DeintForm::C2)
        return celiYCbCr420ToYCbCr422_Filter_8u_P2C2R(at(s, 0, y0), s.step(0), at(s, 1, y0 / 2), s.step(1), at(d, 0, y0),
                                                      d.step(0), roi, flags);
    uint8_t* dp[3] = {at(d, 0, y0), at(d, 1, y0 / 2), at(d, 2, y0 / 2)};
    int ds[3] = {d.step(0), d.step(1), d.step(2)};
    return celiYCbCr420ToYCrCb420_Filter_8u_P2P3R(at(s, 0, y0), s.step(0), at(s, 1, y0 / 2), s.step(1), dp, ds, roi, flags);
}

class Deinterlace : public ::testing::TestWithParam<std::tuple<DeintForm, RowWalk>> {};

const std::vector<int> kDeintWidths = {1, 2, 3, 4, 6, 8, 9, 10, 16, 18, 24, 30, 31, 32, 33, 34, 40, 48, 62, 64, 66, 100};

TEST_P(Deinterlace, WholePictureMatchesModel) {
    const auto [form, walk] = GetParam();
    uint32_t seed = 11;
    for (int w : kDeintWidths)
        for (int h : {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 17}) {
            ChromaLayout s = deintSource(w, h, walk, seed += 2), d = deintDest(form, w, h, walk), e = d;
            const auto before = s.snapshot();
            for (int flags : {0, 2, 5, 17, 20, 8, 32, 21, 0x7FFFFFFF, -1}) {  // the first seven write nothing
                const CelStatus st = callDeint(form, s, d, 0, {w, h}, flags);
                if (w < 2 || h < 2) {
                    EXPECT_EQ(st, celStatusBadSize);
                } else if ((flags & 21) != 21) {
                    EXPECT_EQ(st, celStatusOk);
                } else {
                    EXPECT_EQ(st, celStatusOk);
                    const DeintRules r{form == DeintForm::C2 || (h & ~1) == 2 ? 4 : 0, form == DeintForm::C2};
                    deintModel(s, e, form, w & ~1, h & ~1, 0, h & ~1, r);
                }
                ASSERT_EQ(d.snapshot(), e.snapshot()) << "w " << w << " h " << h << " flags " << flags;
            }
            EXPECT_EQ(s.snapshot(), before);
        }
}

// Top, middle and bottom slices assembled: after each call the rows written
// so far match the model of the slice kernels and nothing else has changed.
TEST_P(Deinterlace, SlicesAssembleThePicture) {
    const auto [form, walk] = GetParam();
    uint32_t seed = 23;
    for (int w : kDeintWidths)
        for (int P : {8, 10, 12, 14, 20, 26}) {
            const int t = std::max(4, (P / 3) & ~1), m = std::max(2, (P / 3) & ~1), b = P - t - m;
            for (int bottomExtra : {0, 1}) {
                ChromaLayout s = deintSource(w, P + bottomExtra, walk, seed += 2), d = deintDest(form, w, P + bottomExtra, walk);
                ChromaLayout e = d;
                struct Call { int y0, h, flags, from, to; };
                for (const Call c : {Call{0, t, 1, 0, t - 2}, Call{t, m, 4, t - 2, t + m - 2},
                                     Call{t + m, b + bottomExtra, 16, t + m - 2, P}}) {
                    const CelStatus st = callDeint(form, s, d, c.y0, {w, c.h}, c.flags);
                    if (w < 2) {
                        EXPECT_EQ(st, celStatusBadSize);
                    } else {
                        EXPECT_EQ(st, celStatusOk);
                        deintModel(s, e, form, w & ~1, P, c.from, c.to, DeintRules{});
                    }
                    ASSERT_EQ(d.snapshot(), e.snapshot()) << "w " << w << " P " << P << " flags " << c.flags;
                }
            }
        }
}

INSTANTIATE_TEST_SUITE_P(Forms, Deinterlace,
                         ::testing::Combine(::testing::Values(DeintForm::C2, DeintForm::P3), ::testing::Values(RowWalk::Down, RowWalk::Up)));

// A top slice of height 2 has no row of its own; width 2 is scalar throughout.
TEST(DeinterlaceFlags, ShortTopSliceAndNarrowPicture) {
    for (DeintForm f : {DeintForm::C2, DeintForm::P3}) {
        ChromaLayout s = deintSource(2, 8, RowWalk::Down, 5), d = deintDest(f, 2, 8, RowWalk::Down), e = d;
        const auto before = d.snapshot();
        EXPECT_EQ(callDeint(f, s, d, 0, {2, 2}, 1), celStatusOk);
        EXPECT_EQ(d.snapshot(), before);
        // rows 0..5 of a width-2 top slice of 8: (3 r0 + r1) >> 2, floor averages
        s.at(0, 0, 0) = 0, s.at(0, 0, 1) = 3, s.at(1, 0, 0) = 0, s.at(1, 0, 1) = 1;
        EXPECT_EQ(callDeint(f, s, d, 0, {2, 8}, 1), celStatusOk);
        EXPECT_EQ(d.at(0, 0, 0), 0);  // (0 + 3) >> 2; the vector rule gives 1
        EXPECT_EQ(d.at(1, 0, 0), 0);  // chroma (0 + 1) >> 1; the vector rule gives 1
        deintModel(s, e, f, 2, 8, 0, 6, DeintRules{});
        EXPECT_EQ(d.snapshot(), e.snapshot());
    }
}

// The aligned planar set (width of 64, height of 16, aligned planes and
// steps) follows the vector rule, as the plain set does at such widths.
TEST(DeinterlaceWorked, AlignedSetMatchesModel) {
    for (RowWalk walk : {RowWalk::Down, RowWalk::Up}) {
        ChromaLayout s = deintSource(128, 48, walk, 31), d = deintDest(DeintForm::P3, 128, 48, walk), e = d;
        ASSERT_EQ(reinterpret_cast<uintptr_t>(d.base(0)) % 16, 0u);
        ASSERT_EQ(d.step(0) % 32, 0);
        for (int flags : {1, 4, 16}) {
            const int y0 = flags == 1 ? 0 : flags == 4 ? 16 : 32, h = 16;
            ASSERT_EQ(callDeint(DeintForm::P3, s, d, y0, {128, h}, flags), celStatusOk);
            deintModel(s, e, DeintForm::P3, 128, 48, flags == 1 ? 0 : y0 - 2, flags == 16 ? 48 : y0 + h - 2, {0, false, true});
            ASSERT_EQ(d.snapshot(), e.snapshot()) << flags;
        }
    }
}

}  // namespace
