// The six layouts of the colour twist and gamma exports (interleaved C3,
// AC4 with an alpha left alone, three planes P3; each out of place and in
// place), a call of any of them, and one check of a form against a model
// on a random image whose rows sit between guard elements.
#pragma once

#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "celcc.h"

namespace tonetest {

enum class Form { C3R, C3IR, AC4R, AC4IR, P3R, IP3R };
inline const Form kForms[] = {Form::C3R, Form::C3IR, Form::AC4R, Form::AC4IR, Form::P3R, Form::IP3R};
inline const char* name(Form f) {
    static const char* n[] = {"C3R", "C3IR", "AC4R", "AC4IR", "P3R", "IP3R"};
    return n[static_cast<int>(f)];
}
inline bool planar(Form f) { return f == Form::P3R || f == Form::IP3R; }
inline bool inPlace(Form f) { return f == Form::C3IR || f == Form::AC4IR || f == Form::IP3R; }
inline int channels(Form f) { return (f == Form::AC4R || f == Form::AC4IR) ? 4 : (planar(f) ? 1 : 3); }

// The six exports of a depth, in the order of Form; X: the family's extra arguments.
template <class T, class... X>
struct FormFns {
    CelStatus (*c3)(const T*, int, T*, int, CelSize, X...);
    CelStatus (*c3i)(T*, int, CelSize, X...);
    CelStatus (*ac4)(const T*, int, T*, int, CelSize, X...);
    CelStatus (*ac4i)(T*, int, CelSize, X...);
    CelStatus (*p3)(const T* const*, int, T**, int, CelSize, X...);
    CelStatus (*ip3)(T**, int, CelSize, X...);
    // In-place forms work on d (dp); steps in bytes.
    CelStatus operator()(Form f, T* s, int ss, T* d, int ds, T** sp, T** dp, CelSize roi, X... x) const {
        switch (f) {
            case Form::C3R: return c3(s, ss, d, ds, roi, x...);
            case Form::C3IR: return c3i(d, ds, roi, x...);
            case Form::AC4R: return ac4(s, ss, d, ds, roi, x...);
            case Form::AC4IR: return ac4i(d, ds, roi, x...);
            case Form::P3R: return p3(sp, ss, dp, ds, roi, x...);
            default: return ip3(dp, ds, roi, x...);
        }
    }
};
#define TONE_FORM_FNS(prefix) \
    { prefix##_C3R, prefix##_C3IR, prefix##_AC4R, prefix##_AC4IR, prefix##_P3R, prefix##_IP3R }

// Guard elements: values no call here produces (signalling NaN patterns for floats).
template <class T>
T guard(size_t i) {
    if constexpr (std::is_same_v<T, float>) {
        const uint32_t b = 0x7FA5A500u + uint32_t(i & 0xFF);
        float f;
        std::memcpy(&f, &b, 4);
        return f;
    } else {
        return static_cast<T>(0xA5 + i * 7);
    }
}

// Equal samples; any two NaNs count as equal (which operand's payload an
// addition of two NaNs keeps is the compiler's choice of operand order).
template <class T>
bool same(T a, T b) {
    if constexpr (std::is_same_v<T, float>)
        if (std::isnan(a) && std::isnan(b)) return true;
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// An image of one form: `planes` planes of rows of `rowElems` samples between `pad` guards.
template <class T>
struct Image {
    int rowElems, pad, height, planes, step;  // step in samples
    std::vector<std::vector<T>> mem;
    Image(int rowElems_, int height_, int planes_, int pad_ = 3)
        : rowElems(rowElems_), pad(pad_), height(height_), planes(planes_), step(rowElems_ + 2 * pad_) {
        mem.assign(planes, std::vector<T>(size_t(step) * height + 2 * pad));
    }
    T* plane(int k) { return mem[k].data() + pad; }
    int stepBytes() const { return step * int(sizeof(T)); }
};

// Form f on a w x h image of samples from sample() (the in-place forms on
// the source itself): call(s, sStep, d, dStep, sp, dp) runs the export, and
// must leave the caller's control state (rounding, masks, flush modes; the
// exception flags aside) as it was.  Then every element of every plane:
// channel r of a pixel in the region equals model(r, its three source
// samples), alpha and guards keep their bits.
template <class T, class Sample, class Call, class Model>
void checkForm(const std::string& what, Form f, int w, int h, Sample sample, Call call, Model model) {
    const int ch = channels(f), planes = planar(f) ? 3 : 1;
    Image<T> src(w * ch, h, planes), dst(w * ch, h, planes);
    for (int k = 0; k < planes; ++k)
        for (size_t i = 0; i < src.mem[k].size(); ++i) src.mem[k][i] = sample(), dst.mem[k][i] = guard<T>(i);
    if (inPlace(f)) dst.mem = src.mem;
    const auto before = dst.mem;
    T* sp[3] = {src.plane(0), planes > 1 ? src.plane(1) : nullptr, planes > 1 ? src.plane(2) : nullptr};
    T* dp[3] = {dst.plane(0), planes > 1 ? dst.plane(1) : nullptr, planes > 1 ? dst.plane(2) : nullptr};
    const unsigned csr = _mm_getcsr();
    ASSERT_EQ(call(src.plane(0), src.stepBytes(), dst.plane(0), dst.stepBytes(), sp, dp), celStatusOk) << what;
    ASSERT_EQ(_mm_getcsr() & ~0x3Fu, csr & ~0x3Fu) << what << " " << name(f) << ": the caller's control state changed";
    const auto& in = inPlace(f) ? before : src.mem;
    for (int k = 0; k < planes; ++k)
        for (size_t i = 0; i < dst.mem[k].size(); ++i) {
            const long rel = long(i) - dst.pad, y = rel / dst.step, x = rel % dst.step;
            const T got = dst.mem[k][i];
            if (!(rel >= 0 && y < h && x < w * ch && !(ch == 4 && x % 4 == 3))) {
                ASSERT_EQ(0, std::memcmp(&got, &before[k][i], sizeof(T)))
                    << what << " " << name(f) << " w " << w << " touched guard or alpha " << i << " of plane " << k;
                continue;
            }
            const size_t p = i - size_t(x % ch);
            const T px[3] = {planes == 3 ? in[0][i] : in[0][p], planes == 3 ? in[1][i] : in[0][p + 1],
                             planes == 3 ? in[2][i] : in[0][p + 2]};
            const int r = planes == 3 ? k : int(x % ch);
            const T want = model(r, px);
            ASSERT_TRUE(same(got, want)) << what << " " << name(f) << " w " << w << " h " << h << " plane " << k
                                         << " x " << x << " y " << y << ": from " << double(px[r]) << " got "
                                         << double(got) << " want " << double(want);
        }
}

}  // namespace tonetest
