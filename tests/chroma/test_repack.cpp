// Repacking: every export against a model of the layouts (a logical Y, Cb,
// Cr image read from the source layout and written to the destination
// layout), odd and minimum sizes, canaries, statuses and check order.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"

namespace {

using celtest::Kind;
using celtest::Samp;
using Layout = celtest::ChromaLayout;

struct Fn {
    const char* name;
    Samp samp;
    Kind src, dst;
    int minW, minH;  // minH 0: the height is not tested
    bool oddWarn;
};

void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

const Fn kFns[] = {
    {"YCbCr422_C2P3R", Samp::S422, Kind::YUY2, Kind::P3CbCr, 2, 1, false},
    {"YCrCb422ToYCbCr422_C2P3R", Samp::S422, Kind::YVYU, Kind::P3CbCr, 2, 1, false},
    {"CbYCr422ToYCbCr422_C2P3R", Samp::S422, Kind::UYVY, Kind::P3CbCr, 2, 1, false},
    {"YCbCr422_P3C2R", Samp::S422, Kind::P3CbCr, Kind::YUY2, 2, 1, false},
    {"YCbCr422ToCbYCr422_P3C2R", Samp::S422, Kind::P3CbCr, Kind::UYVY, 2, 1, true},
    {"YCbCr422ToYCrCb422_P3C2R", Samp::S422, Kind::P3CbCr, Kind::YVYU, 2, 0, false},
    {"CbYCr422ToYCbCr422_C2R", Samp::S422, Kind::UYVY, Kind::YUY2, 2, 1, false},
    {"YCbCr422ToCbYCr422_C2R", Samp::S422, Kind::YUY2, Kind::UYVY, 2, 1, false},
    {"YCbCr422ToYCrCb422_C2R", Samp::S422, Kind::YUY2, Kind::YVYU, 2, 0, false},
    {"YCbCr420_P2P3R", Samp::S420, Kind::P2CbCr, Kind::P3CbCr, 2, 2, false},
    {"YCbCr420_P3P2R", Samp::S420, Kind::P3CbCr, Kind::P2CbCr, 2, 2, false},
    // the first byte of a pair goes to dst[1]: modelled as Cb planes
    {"YCbCr420ToYCrCb420_P2P3R", Samp::S420, Kind::P2CbCr, Kind::P3CbCr, 2, 2, false},
    {"YCrCb420ToYCbCr420_P3P2R", Samp::S420, Kind::P3CrCb, Kind::P2CbCr, 2, 2, false},
    {"YCbCr411_P2P3R", Samp::S411, Kind::P2CbCr, Kind::P3CbCr, 4, 0, false},
    {"YCbCr411_P3P2R", Samp::S411, Kind::P3CbCr, Kind::P2CbCr, 4, 0, false},
};

CelStatus call(const Fn& fn, Layout& s, Layout& d, CelSize roi) {
    const std::string n = fn.name;
    uint8_t* dp[3] = {d.b[0].row(0), d.b.size() > 1 ? d.b[1].row(0) : nullptr, d.b.size() > 2 ? d.b[2].row(0) : nullptr};
    int ds[3] = {d.b[0].step(), d.b.size() > 1 ? d.b[1].step() : 0, d.b.size() > 2 ? d.b[2].step() : 0};
    const uint8_t* sp[3] = {s.b[0].row(0), s.b.size() > 1 ? s.b[1].row(0) : nullptr,
                            s.b.size() > 2 ? s.b[2].row(0) : nullptr};
    int ss[3] = {s.b[0].step(), s.b.size() > 1 ? s.b[1].step() : 0, s.b.size() > 2 ? s.b[2].step() : 0};
    if (n == "YCbCr422_C2P3R") return celiYCbCr422_8u_C2P3R(sp[0], ss[0], dp, ds, roi);
    if (n == "YCrCb422ToYCbCr422_C2P3R") return celiYCrCb422ToYCbCr422_8u_C2P3R(sp[0], ss[0], dp, ds, roi);
    if (n == "CbYCr422ToYCbCr422_C2P3R") return celiCbYCr422ToYCbCr422_8u_C2P3R(sp[0], ss[0], dp, ds, roi);
    if (n == "YCbCr422_P3C2R") return celiYCbCr422_8u_P3C2R(sp, ss, dp[0], ds[0], roi);
    if (n == "YCbCr422ToCbYCr422_P3C2R") return celiYCbCr422ToCbYCr422_8u_P3C2R(sp, ss, dp[0], ds[0], roi);
    if (n == "YCbCr422ToYCrCb422_P3C2R") return celiYCbCr422ToYCrCb422_8u_P3C2R(sp, ss, dp[0], ds[0], roi);
    if (n == "CbYCr422ToYCbCr422_C2R") return celiCbYCr422ToYCbCr422_8u_C2R(sp[0], ss[0], dp[0], ds[0], roi);
    if (n == "YCbCr422ToCbYCr422_C2R") return celiYCbCr422ToCbYCr422_8u_C2R(sp[0], ss[0], dp[0], ds[0], roi);
    if (n == "YCbCr422ToYCrCb422_C2R") return celiYCbCr422ToYCrCb422_8u_C2R(sp[0], ss[0], dp[0], ds[0], roi);
    if (n == "YCbCr420_P2P3R") return celiYCbCr420_8u_P2P3R(sp[0], ss[0], sp[1], ss[1], dp, ds, roi);
    if (n == "YCbCr420_P3P2R") return celiYCbCr420_8u_P3P2R(sp, ss, dp[0], ds[0], dp[1], ds[1], roi);
    if (n == "YCbCr420ToYCrCb420_P2P3R") return celiYCbCr420ToYCrCb420_8u_P2P3R(sp[0], ss[0], sp[1], ss[1], dp, ds, roi);
    if (n == "YCrCb420ToYCbCr420_P3P2R") return celiYCrCb420ToYCbCr420_8u_P3P2R(sp, ss, dp[0], ds[0], dp[1], ds[1], roi);
    if (n == "YCbCr411_P2P3R") return celiYCbCr411_8u_P2P3R(sp[0], ss[0], sp[1], ss[1], dp, ds, roi);
    return celiYCbCr411_8u_P3P2R(sp, ss, dp[0], ds[0], dp[1], ds[1], roi);
}

class Repack : public ::testing::TestWithParam<Fn> {};

TEST_P(Repack, EveryByteComesFromItsSourceByte) {
    const Fn fn = GetParam();
    uint32_t seed = 1;
    for (int h : {1, 2, 3, 4, 5})
        for (int w : {2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 16, 17, 18, 31, 32, 33, 34, 40, 64, 66}) {
            if (w < fn.minW || h < fn.minH) continue;
            Layout s(fn.src, fn.samp, w, h), d(fn.dst, fn.samp, w, h);
            for (auto& b : s.b) b.randomize(seed++);
            const CelStatus want = (fn.oddWarn && (w & 1)) ? celStatusOddSize : celStatusOk;
            ASSERT_EQ(call(fn, s, d, {w, h}), want) << fn.name << " " << w << "x" << h;
            // the done region: width rounded down to even (4 for 4:1:1), height to even for 4:2:0
            const int dw = fn.samp == Samp::S411 ? w & ~3 : w & ~1;
            const int dh = fn.samp == Samp::S420 ? h & ~1 : h;
            Layout e(fn.dst, fn.samp, w, h);  // expected: fill everywhere, then the done samples
            for (int y = 0; y < dh; ++y)
                for (int x = 0; x < dw; ++x) e.at(0, x, y) = s.at(0, x, y);
            const int cx = fn.samp == Samp::S411 ? dw / 4 : dw / 2, cy = fn.samp == Samp::S420 ? dh / 2 : dh;
            for (int y = 0; y < cy; ++y)
                for (int x = 0; x < cx; ++x) {
                    // chroma sample x: pixel pair x of a packed row
                    e.at(1, x, y) = s.at(1, x, y);
                    e.at(2, x, y) = s.at(2, x, y);
                }
            ASSERT_EQ(d.snapshot(), e.snapshot()) << fn.name << " " << w << "x" << h;
            ASSERT_TRUE(d.intact());
        }
}

TEST_P(Repack, BelowTheMinimumFailsAndWritesNothing) {
    const Fn fn = GetParam();
    Layout s(fn.src, fn.samp, 8, 4), d(fn.dst, fn.samp, 8, 4);
    const auto before = d.snapshot();
    EXPECT_EQ(call(fn, s, d, {fn.minW - 1, 4}), celStatusBadSize) << fn.name;
    if (fn.minH > 0)
        EXPECT_EQ(call(fn, s, d, {8, fn.minH - 1}), celStatusBadSize) << fn.name;
    else
        EXPECT_EQ(call(fn, s, d, {8, -3}), celStatusOk) << fn.name;  // the height is not tested
    EXPECT_EQ(d.snapshot(), before) << fn.name;
}

TEST(RepackChecks, PointerAndOrderDetails) {
    uint8_t a[64] = {}, b[64] = {}, c[64] = {};
    uint8_t* dst[3] = {a, b, c};
    int steps[3] = {8, 4, 4};
    EXPECT_EQ(celiYCbCr422_8u_C2P3R(a, 16, dst, nullptr, {8, 1}), celStatusNullPointer);  // the step array too
    EXPECT_EQ(celiYCrCb422ToYCbCr422_8u_C2P3R(nullptr, 16, dst, steps, {0, 0}), celStatusNullPointer);
    dst[1] = nullptr;
    EXPECT_EQ(celiYCbCr420_8u_P2P3R(a, 8, b, 8, dst, steps, {0, 0}), celStatusNullPointer);
    // this one tests the size against 1 before the destination planes, then against 2
    EXPECT_EQ(celiYCbCr420ToYCrCb420_8u_P2P3R(a, 8, b, 8, dst, steps, {0, 4}), celStatusBadSize);
    EXPECT_EQ(celiYCbCr420ToYCrCb420_8u_P2P3R(a, 8, b, 8, dst, steps, {1, 1}), celStatusNullPointer);
    dst[1] = b;
    EXPECT_EQ(celiYCbCr420ToYCrCb420_8u_P2P3R(a, 8, b, 8, dst, steps, {1, 1}), celStatusBadSize);
    EXPECT_EQ(celiYCbCr420ToYCrCb420_8u_P2P3R(nullptr, 8, b, 8, dst, steps, {0, 0}), celStatusNullPointer);
}

TEST(RepackWorked, ChromaValuesPassUntouchedAndRoundTripsExchangeChannels) {
    // P2 -> P3 (YCbCr420ToYCrCb420, no exchange) then P3 -> P2 (YCrCb420ToYCbCr420, exchange):
    // the pair comes back with its two bytes swapped.
    const int w = 8, h = 2;
    uint8_t y[16], pairs[8] = {0, 255, 1, 254, 2, 253, 3, 252}, p0[16], p1[4], p2[4], y2[16], back[8];
    for (int i = 0; i < 16; ++i) y[i] = uint8_t(i * 16);
    uint8_t* dst[3] = {p0, p1, p2};
    int st[3] = {8, 4, 4};
    ASSERT_EQ(celiYCbCr420ToYCrCb420_8u_P2P3R(y, 8, pairs, 8, dst, st, {w, h}), celStatusOk);
    EXPECT_EQ(p1[0], 0);
    EXPECT_EQ(p2[0], 255);
    const uint8_t* src[3] = {p0, p1, p2};
    ASSERT_EQ(celiYCrCb420ToYCbCr420_8u_P3P2R(src, st, y2, 8, back, 8, {w, h}), celStatusOk);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(back[2 * i], pairs[2 * i + 1]);
        EXPECT_EQ(back[2 * i + 1], pairs[2 * i]);
    }
    EXPECT_EQ(0, std::memcmp(y, y2, 16));
}

INSTANTIATE_TEST_SUITE_P(AllForms, Repack, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

}  // namespace
