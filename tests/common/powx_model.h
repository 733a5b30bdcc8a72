// An independent model of the power kernel's arithmetic (the float
// power function of the gamma forms), written from its description:
//
//   general path, x a positive finite float (denormals scaled by 2^24):
//     x = 2^e (1 + j/128 + d/2^23), j the top 7 mantissa bits, d the low 16
//     r = d * (2^-23 / (1 + j/128))
//     L = (e + log2(1 + j/128)) + r (a1 + r (a2 + r (a3 + r (a4 + r a5)))),
//         a_k = (-1)^(k+1) (1/ln2 as a double) / k
//     y = p L limited to [-256, 256]; k = nearest integer to 128 y (ties to even)
//     z = y - k/128;  q = 1 + z (b1 + z (b2 + z (b3 + z b4))),
//         b_1 = ln2 as a double, b_k = b_(k-1) ln2 / k
//     result = float((2^((k mod 128)/128) * 2^floor(k/128)) * q), rounded once
//   tables: the nearest doubles, here from extended precision
//   everything else (zeros, infinities, NaN, negative bases, infinite or NaN
//   powers): the rules of the C pow function, a negative base with an
//   integer power by the general path on |x| with the sign of an odd power.
//
// Nothing here comes from the library's headers.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace celtest {

class PowModel {
public:
    PowModel() {
        for (int j = 0; j < 128; ++j) {
            logT_[j] = static_cast<double>(std::log2(1.0L + j / 128.0L));
            logR_[j] = std::ldexp(1.0, -23) / (1.0 + j / 128.0);
            exp_[j] = static_cast<double>(std::exp2(j / 128.0L));
        }
        const double invLn2 = static_cast<double>(1.0L / std::log(2.0L));
        const double ln2 = static_cast<double>(std::log(2.0L));
        for (int k = 1; k <= 5; ++k) a_[k] = ((k & 1) ? invLn2 : -invLn2) / k;
        b_[1] = ln2;
        for (int k = 2; k <= 4; ++k) b_[k] = b_[k - 1] * ln2 / k;
    }

    double logTable(int j) const { return logT_[j]; }
    double expTable(int i) const { return exp_[i]; }

    float operator()(float x, float p) const {
        if (std::isnan(p) || std::isinf(p) || std::isnan(x) || std::isinf(x) || x == 0.0f)
            return static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(p)));
        if (x < 0.0f) {
            if (std::trunc(p) != p) return std::numeric_limits<float>::quiet_NaN();
            const bool odd = std::fabs(p) < 16777216.0f && std::fmod(p, 2.0f) != 0.0f;
            const float r = general(-x, p);
            return odd ? -r : r;
        }
        return general(x, p);
    }

    // The general path for a positive finite x.
    float general(float x, float p) const {
        int e;
        const double m = 2.0 * std::frexp(static_cast<double>(x), &e);  // x = m 2^(e-1), 1 <= m < 2
        e -= 1;
        const double frac = (m - 1.0) * 8388608.0;  // 23-bit mantissa as an integer (exact)
        const int mant = static_cast<int>(frac);
        const int j = mant >> 16, d = mant & 0xFFFF;
        const double r = d * logR_[j];
        const double L = (e + logT_[j]) + r * (a_[1] + r * (a_[2] + r * (a_[3] + r * (a_[4] + r * a_[5]))));
        double y = static_cast<double>(p) * L;
        if (y < -256.0) y = -256.0;
        if (y > 256.0) y = 256.0;
        const double k = std::nearbyint(128.0 * y);
        const double z = y - k / 128.0;
        const double q = 1.0 + z * (b_[1] + z * (b_[2] + z * (b_[3] + z * b_[4])));
        const long ki = static_cast<long>(k);
        const long n = (ki >= 0) ? ki / 128 : -((-ki + 127) / 128);  // floor(k / 128)
        const double s = std::ldexp(exp_[ki - 128 * n], static_cast<int>(n));
        return static_cast<float>(s * q);
    }

private:
    double logT_[128], logR_[128], exp_[128];
    double a_[6], b_[5];
};

inline const PowModel& powModel() {
    static const PowModel m;
    return m;
}

// Bit-for-bit equality of floats, any NaN equal to any NaN.
inline bool sameFloat(float a, float b) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return std::memcmp(&a, &b, 4) == 0;
}

}  // namespace celtest
