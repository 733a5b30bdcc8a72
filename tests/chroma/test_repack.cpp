// Repacking: every export against a model of the layouts (a logical Y, Cb,
// Cr image read from the source layout and written to the destination
// layout), odd and minimum sizes, canaries.  Statuses and check order: the
// robustness table's rows (tests/robust), but for a null step array.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"

namespace {

using namespace celtest;
using namespace celtest::shapes;

// The rule of a repacking: whether an odd width warns.
using Fn = LayoutFn<bool>;

constexpr Samp S422 = Samp::S422, S420 = Samp::S420, S411 = Samp::S411;
constexpr Kind YUY2 = Kind::YUY2, UYVY = Kind::UYVY, YVYU = Kind::YVYU, P3 = Kind::P3CbCr, P3Cr = Kind::P3CrCb,
               P2 = Kind::P2CbCr;

const Fn kFns[] = {
    {"YCbCr422_C2P3R", YUY2, S422, P3, S422, false, viaC2P3<celiYCbCr422_8u_C2P3R>, 2, 1},
    {"YCrCb422ToYCbCr422_C2P3R", YVYU, S422, P3, S422, false, viaC2P3<celiYCrCb422ToYCbCr422_8u_C2P3R>, 2, 1},
    {"CbYCr422ToYCbCr422_C2P3R", UYVY, S422, P3, S422, false, viaC2P3<celiCbYCr422ToYCbCr422_8u_C2P3R>, 2, 1},
    {"YCbCr422_P3C2R", P3, S422, YUY2, S422, false, viaP3C2<celiYCbCr422_8u_P3C2R>, 2, 1},
    {"YCbCr422ToCbYCr422_P3C2R", P3, S422, UYVY, S422, true, viaP3C2<celiYCbCr422ToCbYCr422_8u_P3C2R>, 2, 1},
    {"YCbCr422ToYCrCb422_P3C2R", P3, S422, YVYU, S422, false, viaP3C2<celiYCbCr422ToYCrCb422_8u_P3C2R>, 2, 0},
    {"CbYCr422ToYCbCr422_C2R", UYVY, S422, YUY2, S422, false, viaC2C2<celiCbYCr422ToYCbCr422_8u_C2R>, 2, 1},
    {"YCbCr422ToCbYCr422_C2R", YUY2, S422, UYVY, S422, false, viaC2C2<celiYCbCr422ToCbYCr422_8u_C2R>, 2, 1},
    {"YCbCr422ToYCrCb422_C2R", YUY2, S422, YVYU, S422, false, viaC2C2<celiYCbCr422ToYCrCb422_8u_C2R>, 2, 0},
    {"YCbCr420_P2P3R", P2, S420, P3, S420, false, viaP2P3<celiYCbCr420_8u_P2P3R>, 2, 2},
    {"YCbCr420_P3P2R", P3, S420, P2, S420, false, viaP3P2<celiYCbCr420_8u_P3P2R>, 2, 2},
    // the first byte of a pair goes to dst[1]: modelled as Cb planes
    {"YCbCr420ToYCrCb420_P2P3R", P2, S420, P3, S420, false, viaP2P3<celiYCbCr420ToYCrCb420_8u_P2P3R>, 2, 2},
    {"YCrCb420ToYCbCr420_P3P2R", P3Cr, S420, P2, S420, false, viaP3P2<celiYCrCb420ToYCbCr420_8u_P3P2R>, 2, 2},
    {"YCbCr411_P2P3R", P2, S411, P3, S411, false, viaP2P3<celiYCbCr411_8u_P2P3R>, 4, 0},
    {"YCbCr411_P3P2R", P3, S411, P2, S411, false, viaP3P2<celiYCbCr411_8u_P3P2R>, 4, 0},
};

class Repack : public ::testing::TestWithParam<Fn> {};

// The done region (width rounded down to even, 4 for 4:1:1, height to even
// for 4:2:0) of every sample copied from its source byte, the rest untouched.
TEST_P(Repack, EveryByteComesFromItsSourceByte) {
    const Fn fn = GetParam();
    uint32_t seed = 1;
    for (int h : {1, 2, 3, 4, 5})
        for (int w : {2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 16, 17, 18, 31, 32, 33, 34, 40, 50, 64, 66}) {
            if (w < fn.minW || h < fn.minH) continue;
            const CelStatus want = (fn.rule && (w & 1)) ? celStatusOddSize : celStatusOk;
            // rows apart, and back to back (a luma plane copied as one row)
            for (RowWalk walk : {RowWalk::Down, RowWalk::Tight})
                expectLayoutModel(fn, w, h, walk, walk, seed++, want, [](ChromaLayout& s, ChromaLayout& e) {
                    moveSamples(s, e, [&](int c, int x, int y) { return s.at(c, x, y); });
                });
        }
}

// Statuses and their order (pointers, the NV12 to YV12 member's two size
// tests around its destination planes, sizes): the robustness table's rows
// (tests/robust).  They never pass a null step array: that is here.
TEST(RepackChecks, NullStepArray) {
    uint8_t a[64] = {}, b[64] = {}, c[64] = {};
    uint8_t* dst[3] = {a, b, c};
    EXPECT_EQ(celiYCbCr422_8u_C2P3R(a, 16, dst, nullptr, {8, 1}), celStatusNullPointer);
}

INSTANTIATE_TEST_SUITE_P(AllForms, Repack, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

}  // namespace
