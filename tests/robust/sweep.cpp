// Guard-page sweep: every export, every plane against a page without access
// (its last byte before one, then its first byte after one), sizes from 0
// and 1 through the minimum to a few hundred, steps of every sign the export
// takes, valid and invalid extras, and each pointer passed null in turn.
//
// CELCC_ROBUST_CALLS sets the number of random calls per export and pass
// (default 60); CELCC_ROBUST_SEED the first seed.
#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "robust/robust.h"

namespace {

using namespace celrobust;

std::atomic<long> gCalls{0};

TEST(RobustTable, EveryExportHasARow) {
    std::string missing;
    for (const Subject& s : subjects())
        if (!s.row) missing += std::string(" ") + s.name;
    EXPECT_TRUE(missing.empty()) << "exports without a row in tests/robust/shapes_<family>.inc:" << missing;
}

TEST(RobustTable, EveryRowFitsItsSignature) {
    for (const Subject& s : subjects()) EXPECT_TRUE(s.problem.empty()) << s.name << ": " << s.problem;
}

// The derivation itself, on signatures whose meaning is known.
TEST(RobustTable, ParametersAreClassifiedFromTypeAndName) {
    const Subject* p2 = nullptr;
    const Subject* cfa = nullptr;
    const Subject* rb = nullptr;
    for (const Subject& s : subjects()) {
        if (std::string(s.name) == "celiYCbCr420_8u_P2P3R") p2 = &s;
        if (std::string(s.name) == "celiCFAToRGB_16u_C1C3R") cfa = &s;
        if (std::string(s.name) == "celiReduceBits_32f16s_AC4R") rb = &s;
    }
    ASSERT_TRUE(p2 && cfa && rb);
    ASSERT_EQ(p2->args.size(), 7u);
    EXPECT_EQ(p2->args[0].kind, Kind::SrcPlane);
    EXPECT_EQ(p2->args[1].kind, Kind::Step);
    EXPECT_EQ(p2->args[1].stepFor, 0);
    EXPECT_EQ(p2->args[4].kind, Kind::DstPlanes);
    EXPECT_EQ(p2->args[4].count, 3);
    EXPECT_EQ(p2->args[5].kind, Kind::Steps);
    EXPECT_EQ(p2->args[5].stepFor, 4);
    EXPECT_EQ(p2->args[6].kind, Kind::Size);
    EXPECT_EQ(p2->planeCount, 5);
    EXPECT_EQ(p2->shape, Shape::Image);
    EXPECT_EQ(cfa->shape, Shape::Frame);
    EXPECT_EQ(cfa->args[0].type.valueBytes, 2);
    EXPECT_EQ(cfa->args[1].kind, Kind::Rect);
    EXPECT_EQ(cfa->args[2].kind, Kind::FrameSize);
    EXPECT_EQ(cfa->args[6].kind, Kind::Extra);
    EXPECT_TRUE(cfa->args[6].type.isEnum);
    EXPECT_EQ(rb->args[0].type.valueBytes, 4);
    EXPECT_TRUE(rb->args[0].type.isFloat);
    EXPECT_EQ(rb->args[2].type.valueBytes, 2);
    EXPECT_EQ(rb->args[8].kind, Kind::Scratch);
}

// Sizes and rectangles are recognised by their layout, in 32 and 64 bits.
struct SizeL {
    int64_t width, height;
};
struct RectL {
    int64_t x, y, width, height;
};
static_assert(typeInfo<CelSize>().isSize && typeInfo<CelSize>().fieldBytes == 4);
static_assert(typeInfo<CelRect>().isRect && typeInfo<CelRect>().fieldBytes == 4);
static_assert(typeInfo<SizeL>().isSize && typeInfo<SizeL>().fieldBytes == 8);
static_assert(typeInfo<RectL>().isRect && typeInfo<RectL>().fieldBytes == 8);
static_assert(!typeInfo<int64_t>().isSize && !typeInfo<CelBayerGrid>().isRect && typeInfo<CelBayerGrid>().isEnum);

TEST(RobustTable, SizesAndRectanglesTravelInEitherWidth) {
    Slot s;
    s.fields[0] = -3;
    s.fields[1] = 1LL << 33;
    s.fields[2] = 7;
    s.fields[3] = 9;
    const CelRect r = fromSlot<CelRect>(s);
    EXPECT_EQ(r.x, -3);
    EXPECT_EQ(r.width, 7);
    EXPECT_EQ(r.height, 9);
    const SizeL l = fromSlot<SizeL>(s);
    EXPECT_EQ(l.width, -3);
    EXPECT_EQ(l.height, 1LL << 33);
    const RectL rl = fromSlot<RectL>(s);
    EXPECT_EQ(rl.height, 9);
}

// Geometry of the presets, by hand.
TEST(RobustTable, GeometryPresets) {
    EXPECT_EQ(geoUnits(sub(2, 2), 5), 2);
    EXPECT_EQ(geoUnits(sub(4, 1, 1, true), 5), 2);
    EXPECT_EQ(geoRows(sub(2, 2), 5), 2);
    EXPECT_EQ(geoUnits(blocks(2, 2, 3), 7) * blocks(2, 2, 3).unit, 18);
    EXPECT_EQ(geoRows(blocks(2, 2), 7), 6);
    EXPECT_EQ(geoUnits(px(4), -3), 0);
    EXPECT_EQ(geoRows(px(1), 0), 0);
}

class GuardSweep : public ::testing::TestWithParam<int> {};

void check(const Call& c, long& calls) {
    const Outcome o = runGuarded(c);
    ++calls;
    for (const std::string& f : o.failures) ADD_FAILURE() << describe(c) << ": " << f;
}

TEST_P(GuardSweep, PlanesTouchGuardPages) {
    const Subject& s = subjects()[GetParam()];
    if (!s.row) GTEST_SKIP() << "no row";
    if (s.row->rule.flags & kHeldBack) GTEST_SKIP() << "row held back: see its shapes file";
    ASSERT_TRUE(s.problem.empty()) << s.problem;
    long calls = 0;
    if (s.shape == Shape::Version) {
        Call c;
        c.subject = &s;
        check(c, calls);
        gCalls += calls;
        return;
    }
    const int perPass = envInt("CELCC_ROBUST_CALLS", 60);
    const uint64_t seed0 = static_cast<uint64_t>(envInt("CELCC_ROBUST_SEED", 1)) * 1000003u + GetParam();
    const Rule& r = s.row->rule;
    for (int pass = 0; pass < 2; ++pass) {
        // Every small size through the minimum and a little beyond, with
        // valid extras and natural steps, then random draws.
        Draw d(seed0 * 2 + pass);
        DrawLimits lim;
        const int topW = std::max(r.minW, 1) + 3, topH = std::max(r.minH, 1) + 3;
        for (int w = -1; w <= topW; ++w)
            for (int h = -1; h <= topH; ++h) {
                Call c = sizedCall(s, w, h, d);
                c.atStart = pass == 1;
                check(c, calls);
            }
        for (int i = 0; i < perPass; ++i) {
            Call c = drawCall(s, d, lim);
            c.atStart = pass == 1;
            c.rawFloats = i % 10 == 9;
            check(c, calls);
        }
        // One large image, steps on 64-byte multiples: the streaming and
        // aligned paths that only large or aligned calls take.
        if (s.shape != Shape::Version && s.shape != Shape::Query) {
            Call c = sizedCall(s, 1000 + 9 * pass + d.range(0, 40), 560 + pass, d);
            for (int64_t& st : c.steps) st = (std::abs(st) + 63) / 64 * 64;
            // The row's own adjustment has the last word (steps derived from
            // the width in the forms without step arguments).
            if (s.row->hooks.adjust) s.row->hooks.adjust(c);
            c.atStart = pass == 1;
            check(c, calls);
        }
        // Each pointer null in turn, with a valid size, with a size of 0
        // and, where the row tests the steps, with every step 0.
        const bool stepsTested = (r.flags & (kStepsPositive | kStepsBeforeSizes | kStepsInElements)) != 0;
        const auto nullCall = [&](int variant) {
            Call c = typicalCall(s, 9, 5, d.next());
            if (variant == 1) c.width = c.height = c.frameW = c.frameH = 0;
            if (variant == 2) c.steps.assign(c.steps.size(), 0);
            c.atStart = pass == 1;
            return c;
        };
        for (int k = 0; k < s.planeCount; ++k)
            for (int variant = 0; variant < (stepsTested ? 3 : 2); ++variant) {
                Call c = nullCall(variant);
                c.nullPlane = k;
                check(c, calls);
            }
        for (size_t a = 0; a < s.args.size(); ++a) {
            const Kind k = s.args[a].kind;
            if (k != Kind::SrcPlanes && k != Kind::DstPlanes && k != Kind::InOutPlanes && k != Kind::OutValue) continue;
            for (int variant = 0; variant < (stepsTested ? 3 : 2); ++variant) {
                Call c = nullCall(variant);
                c.nullParam = static_cast<int>(a);
                check(c, calls);
            }
        }
    }
    gCalls += calls;
    RecordProperty("calls", static_cast<int>(calls));
    std::printf("[ robust   ] %s: %ld calls\n", s.name, calls);
}

std::string paramName(const ::testing::TestParamInfo<int>& info) { return subjects()[info.param].name; }

INSTANTIATE_TEST_SUITE_P(Exports, GuardSweep, ::testing::Range(0, static_cast<int>(subjects().size())), paramName);

}  // namespace
