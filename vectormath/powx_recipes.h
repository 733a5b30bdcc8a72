// The general path of the power kernel: x^p = 2^(p * log2 x), worked in
// double precision and rounded to float once, as scalar and vector twins
// of one recipe (the vector twin does two lanes per __m128d; both give the
// same bits for every input).
//
// Logarithm, for a normal positive float x = 2^e * (1 + j/128 + d/2^23),
// j the top 7 bits of the mantissa and d its low 16 bits:
//
//   r       = d * R[j],   R[j] = 2^-23 / (1 + j/128)            0 <= r < 2^-7
//   log2 x  = (e + T[j]) + r * (a1 + r*(a2 + r*(a3 + r*(a4 + r*a5))))
//
// with T[j] = log2(1 + j/128) and a_k = (-1)^(k+1) / (k ln 2), the Taylor
// series of log2(1 + r) cut after r^5 (the next term is below 2^-44).
// x = 1 and every power of two give d = 0, j = 0, T[0] = 0: an exact e.
//
// Exponential, y = p * log2 x limited to [-256, 256] (beyond it the float
// result is 0 or infinity anyway):
//
//   k = nearest integer to 128 y (by the 1.5 * 2^52 shifter), z = y - k/128 (exact, |z| <= 2^-8)
//   2^y = (E[k & 127] * 2^(k >> 7)) * (1 + z*(b1 + z*(b2 + z*(b3 + z*b4))))
//
// with E[i] = 2^(i/128) and b_k = ln2^k / k!, the series of 2^z cut after
// z^4 (the next term is below 2^-49).  The scale 2^(k >> 7) is added to
// the exponent field of E[i]; the product is rounded to float once, so
// that results below the float normal range come out as correctly rounded
// denormals.  Together the error stays far below half a float ulp.
//
// The tables hold the nearest doubles to their values.
#pragma once

#include <smmintrin.h>

#include <cstdint>
#include <cstring>

namespace cel::vm {

// ---- Constants ------------------------------------------------------------------------
inline constexpr double kInvLn2 = 0x1.71547652b82fep0;  // nearest double to 1 / ln 2
inline constexpr double kLn2 = 0x1.62e42fefa39efp-1;    // nearest double to ln 2
// log2(1 + r) coefficients: a_k = (-1)^(k+1) * kInvLn2 / k
inline constexpr double kA1 = kInvLn2, kA2 = -kInvLn2 / 2, kA3 = kInvLn2 / 3, kA4 = -kInvLn2 / 4, kA5 = kInvLn2 / 5;
// 2^z coefficients: b_1 = kLn2, b_k = b_(k-1) * kLn2 / k
inline constexpr double kB1 = kLn2, kB2 = kB1 * kLn2 / 2, kB3 = kB2 * kLn2 / 3, kB4 = kB3 * kLn2 / 4;
inline constexpr double kShifter = 0x1.8p52;  // adding it rounds |v| < 2^51 to an integer in the low bits
inline constexpr double kYLimit = 256.0;

struct LogEntry {
    double r;  // 2^-23 / (1 + j/128)
    double t;  // log2(1 + j/128)
};

struct PowData {
    LogEntry log[128];
    double exp[128];  // 2^(i/128)
};

namespace detail {
inline constexpr double kLog2Tab[128] = {
    0x0.0p+0, 0x1.6fe50b6ef0851p-7, 0x1.6e79685c2d22ap-6, 0x1.11cd1d5133413p-5,
    0x1.6bad3758efd87p-5, 0x1.c4dfab90aab5fp-5, 0x1.0eb389fa29f9bp-4, 0x1.3aa2fdd27f1c3p-4,
    0x1.663f6fac91316p-4, 0x1.918a16e46335bp-4, 0x1.bc84240adabbap-4, 0x1.e72ec117fa5b2p-4,
    0x1.08c588cda79e4p-3, 0x1.1dcd197552b7bp-3, 0x1.32ae9e278ae1ap-3, 0x1.476a9f983f74dp-3,
    0x1.5c01a39fbd688p-3, 0x1.70742d4ef027fp-3, 0x1.84c2bd02f03b3p-3, 0x1.98edd077e70dfp-3,
    0x1.acf5e2db4ec94p-3, 0x1.c0db6cdd94deep-3, 0x1.d49ee4c325970p-3, 0x1.e840be74e6a4dp-3,
    0x1.fbc16b902680ap-3, 0x1.0790adbb03009p-2, 0x1.11307dad30b76p-2, 0x1.1ac05b291f070p-2,
    0x1.24407ab0e073ap-2, 0x1.2db10fc4d9aafp-2, 0x1.37124cea4cdedp-2, 0x1.406463b1b0449p-2,
    0x1.49a784bcd1b8bp-2, 0x1.52dbdfc4c96b3p-2, 0x1.5c01a39fbd688p-2, 0x1.6518fe4677ba7p-2,
    0x1.6e221cd9d0cdep-2, 0x1.771d2ba7efb3cp-2, 0x1.800a563161c54p-2, 0x1.88e9c72e0b226p-2,
    0x1.91bba891f1709p-2, 0x1.9a802391e232fp-2, 0x1.a33760a7f6051p-2, 0x1.abe18797f1f49p-2,
    0x1.b47ebf73882a1p-2, 0x1.bd0f2e9e79031p-2, 0x1.c592fad295b56p-2, 0x1.ce0a4923a587dp-2,
    0x1.d6753e032ea0fp-2, 0x1.ded3fd442364cp-2, 0x1.e726aa1e754d2p-2, 0x1.ef6d67328e220p-2,
    0x1.f7a8568cb06cfp-2, 0x1.ffd799a83ff9bp-2, 0x1.03fda8b97997fp-1, 0x1.0809cf27f703dp-1,
    0x1.0c10500d63aa6p-1, 0x1.10113b153c8eap-1, 0x1.140c9faa1e544p-1, 0x1.18028cf72976ap-1,
    0x1.1bf311e95d00ep-1, 0x1.1fde3d30e8126p-1, 0x1.23c41d42727c8p-1, 0x1.27a4c0585cbf8p-1,
    0x1.2b803473f7ad1p-1, 0x1.2f56875eb3f26p-1, 0x1.3327c6ab49ca7p-1, 0x1.36f3ffb6d9162p-1,
    0x1.3abb3faa02167p-1, 0x1.3e7d9379f7016p-1, 0x1.423b07e986aa9p-1, 0x1.45f3a98a20739p-1,
    0x1.49a784bcd1b8bp-1, 0x1.4d56a5b33cec4p-1, 0x1.510118708a8f9p-1, 0x1.54a6e8ca5438ep-1,
    0x1.5848226989d34p-1, 0x1.5be4d0cb51435p-1, 0x1.5f7cff41e09afp-1, 0x1.6310b8f553048p-1,
    0x1.66a008e4788ccp-1, 0x1.6a2af9e5a0f0ap-1, 0x1.6db196a76194ap-1, 0x1.7133e9b156c7cp-1,
    0x1.74b1fd64e0754p-1, 0x1.782bdbfdda657p-1, 0x1.7ba18f93502e4p-1, 0x1.7f1322182cf16p-1,
    0x1.82809d5be7073p-1, 0x1.85ea0b0b27b26p-1, 0x1.894f74b06ef8bp-1, 0x1.8cb0e3b4b3bbep-1,
    0x1.900e6160002cdp-1, 0x1.9367f6da0ab2fp-1, 0x1.96bdad2acb5f6p-1, 0x1.9a0f8d3b0e050p-1,
    0x1.9d5d9fd5010b3p-1, 0x1.a0a7eda4c112dp-1, 0x1.a3ee7f38e181fp-1, 0x1.a7315d02f20c8p-1,
    0x1.aa708f58014d3p-1, 0x1.adac1e711c833p-1, 0x1.b0e4126bcc86cp-1, 0x1.b418734a9008cp-1,
    0x1.b74948f5532dap-1, 0x1.ba769b39e4964p-1, 0x1.bda071cc67e6ep-1, 0x1.c0c6d447c5dd3p-1,
    0x1.c3e9ca2e1a055p-1, 0x1.c7095ae91e1c7p-1, 0x1.ca258dca93316p-1, 0x1.cd3e6a0ca8907p-1,
    0x1.d053f6d260896p-1, 0x1.d3663b27f31d5p-1, 0x1.d6753e032ea0fp-1, 0x1.d9810643d6615p-1,
    0x1.dc899ab3ff56cp-1, 0x1.df8f02086af2cp-1, 0x1.e29142e0e0140p-1, 0x1.e59063c8822cep-1,
    0x1.e88c6b3626a73p-1, 0x1.eb855f8ca88fbp-1, 0x1.ee7b471b3a950p-1, 0x1.f16e281db7630p-1,
    0x1.f45e08bcf0655p-1, 0x1.f74aef0efafaep-1, 0x1.fa34e1177c233p-1, 0x1.fd1be4c7f2af9p-1,
};
inline constexpr double kExp2Tab[128] = {
    0x1.0000000000000p+0, 0x1.0163da9fb3335p+0, 0x1.02c9a3e778061p+0, 0x1.04315e86e7f85p+0,
    0x1.059b0d3158574p+0, 0x1.0706b29ddf6dep+0, 0x1.0874518759bc8p+0, 0x1.09e3ecac6f383p+0,
    0x1.0b5586cf9890fp+0, 0x1.0cc922b7247f7p+0, 0x1.0e3ec32d3d1a2p+0, 0x1.0fb66affed31bp+0,
    0x1.11301d0125b51p+0, 0x1.12abdc06c31ccp+0, 0x1.1429aaea92de0p+0, 0x1.15a98c8a58e51p+0,
    0x1.172b83c7d517bp+0, 0x1.18af9388c8deap+0, 0x1.1a35beb6fcb75p+0, 0x1.1bbe084045cd4p+0,
    0x1.1d4873168b9aap+0, 0x1.1ed5022fcd91dp+0, 0x1.2063b88628cd6p+0, 0x1.21f49917ddc96p+0,
    0x1.2387a6e756238p+0, 0x1.251ce4fb2a63fp+0, 0x1.26b4565e27cddp+0, 0x1.284dfe1f56381p+0,
    0x1.29e9df51fdee1p+0, 0x1.2b87fd0dad990p+0, 0x1.2d285a6e4030bp+0, 0x1.2ecafa93e2f56p+0,
    0x1.306fe0a31b715p+0, 0x1.32170fc4cd831p+0, 0x1.33c08b26416ffp+0, 0x1.356c55f929ff1p+0,
    0x1.371a7373aa9cbp+0, 0x1.38cae6d05d866p+0, 0x1.3a7db34e59ff7p+0, 0x1.3c32dc313a8e5p+0,
    0x1.3dea64c123422p+0, 0x1.3fa4504ac801cp+0, 0x1.4160a21f72e2ap+0, 0x1.431f5d950a897p+0,
    0x1.44e086061892dp+0, 0x1.46a41ed1d0057p+0, 0x1.486a2b5c13cd0p+0, 0x1.4a32af0d7d3dep+0,
    0x1.4bfdad5362a27p+0, 0x1.4dcb299fddd0dp+0, 0x1.4f9b2769d2ca7p+0, 0x1.516daa2cf6642p+0,
    0x1.5342b569d4f82p+0, 0x1.551a4ca5d920fp+0, 0x1.56f4736b527dap+0, 0x1.58d12d497c7fdp+0,
    0x1.5ab07dd485429p+0, 0x1.5c9268a5946b7p+0, 0x1.5e76f15ad2148p+0, 0x1.605e1b976dc09p+0,
    0x1.6247eb03a5585p+0, 0x1.6434634ccc320p+0, 0x1.6623882552225p+0, 0x1.68155d44ca973p+0,
    0x1.6a09e667f3bcdp+0, 0x1.6c012750bdabfp+0, 0x1.6dfb23c651a2fp+0, 0x1.6ff7df9519484p+0,
    0x1.71f75e8ec5f74p+0, 0x1.73f9a48a58174p+0, 0x1.75feb564267c9p+0, 0x1.780694fde5d3fp+0,
    0x1.7a11473eb0187p+0, 0x1.7c1ed0130c132p+0, 0x1.7e2f336cf4e62p+0, 0x1.80427543e1a12p+0,
    0x1.82589994cce13p+0, 0x1.8471a4623c7adp+0, 0x1.868d99b4492edp+0, 0x1.88ac7d98a6699p+0,
    0x1.8ace5422aa0dbp+0, 0x1.8cf3216b5448cp+0, 0x1.8f1ae99157736p+0, 0x1.9145b0b91ffc6p+0,
    0x1.93737b0cdc5e5p+0, 0x1.95a44cbc8520fp+0, 0x1.97d829fde4e50p+0, 0x1.9a0f170ca07bap+0,
    0x1.9c49182a3f090p+0, 0x1.9e86319e32323p+0, 0x1.a0c667b5de565p+0, 0x1.a309bec4a2d33p+0,
    0x1.a5503b23e255dp+0, 0x1.a799e1330b358p+0, 0x1.a9e6b5579fdbfp+0, 0x1.ac36bbfd3f37ap+0,
    0x1.ae89f995ad3adp+0, 0x1.b0e07298db666p+0, 0x1.b33a2b84f15fbp+0, 0x1.b59728de5593ap+0,
    0x1.b7f76f2fb5e47p+0, 0x1.ba5b030a1064ap+0, 0x1.bcc1e904bc1d2p+0, 0x1.bf2c25bd71e09p+0,
    0x1.c199bdd85529cp+0, 0x1.c40ab5fffd07ap+0, 0x1.c67f12e57d14bp+0, 0x1.c8f6d9406e7b5p+0,
    0x1.cb720dcef9069p+0, 0x1.cdf0b555dc3fap+0, 0x1.d072d4a07897cp+0, 0x1.d2f87080d89f2p+0,
    0x1.d5818dcfba487p+0, 0x1.d80e316c98398p+0, 0x1.da9e603db3285p+0, 0x1.dd321f301b460p+0,
    0x1.dfc97337b9b5fp+0, 0x1.e264614f5a129p+0, 0x1.e502ee78b3ff6p+0, 0x1.e7a51fbc74c83p+0,
    0x1.ea4afa2a490dap+0, 0x1.ecf482d8e67f1p+0, 0x1.efa1bee615a27p+0, 0x1.f252b376bba97p+0,
    0x1.f50765b6e4540p+0, 0x1.f7bfdad9cbe14p+0, 0x1.fa7c1819e90d8p+0, 0x1.fd3c22b8f71f1p+0,
};

constexpr PowData makePowData() {
    PowData d{};
    for (int j = 0; j < 128; ++j) {
        d.log[j].r = 0x1p-23 / (1.0 + j / 128.0);
        d.log[j].t = kLog2Tab[j];
        d.exp[j] = kExp2Tab[j];
    }
    return d;
}
}  // namespace detail

// The tables of the general path: one 16-byte entry per logarithm interval,
// so that one load brings both numbers of a lane.
alignas(64) inline constexpr PowData _vspowx_data = detail::makePowData();

static_assert(_vspowx_data.log[0].t == 0.0 && _vspowx_data.log[64].r == 0x1p-23 / 1.5 && _vspowx_data.exp[0] == 1.0);

// ---- Scalar twin ----------------------------------------------------------------------
inline uint64_t bitsOf(double v) {
    uint64_t b;
    std::memcpy(&b, &v, 8);
    return b;
}
inline double fromBits(uint64_t b) {
    double v;
    std::memcpy(&v, &b, 8);
    return v;
}

// True if the float with these bits is normal and positive: the only
// inputs of the general path.
inline bool isNormalPositive(uint32_t b) { return b - 0x00800000u < 0x7F000000u; }

// log2 of the normal positive float with bits b, times 2^-shift (shift is
// taken off the exponent: it undoes a scaling of a denormal input).
inline double log2Normal(uint32_t b, int shift = 0) {
    const int e = static_cast<int>(b >> 23) - 127 - shift;
    const LogEntry& L = _vspowx_data.log[(b >> 16) & 127];
    const double r = static_cast<double>(static_cast<int>(b & 0xFFFF)) * L.r;
    const double poly = r * (kA1 + r * (kA2 + r * (kA3 + r * (kA4 + r * kA5))));
    return (static_cast<double>(e) + L.t) + poly;
}

// 2^y rounded to float.
inline float exp2ToFloat(double y) {
    y = y > -kYLimit ? y : -kYLimit;  // the maximum, then the minimum, as the vector twin
    y = y < kYLimit ? y : kYLimit;
    const double t = y * 128.0 + kShifter;
    const int32_t k = static_cast<int32_t>(static_cast<uint32_t>(bitsOf(t)));
    const double z = y - (t - kShifter) * 0x1p-7;
    const double q = 1.0 + z * (kB1 + z * (kB2 + z * (kB3 + z * kB4)));
    const double s = fromBits(bitsOf(_vspowx_data.exp[k & 127]) + (static_cast<uint64_t>(static_cast<int64_t>(k >> 7)) << 52));
    return static_cast<float>(s * q);
}

// x^p for a normal positive float x with bits b.
inline float powNormal(uint32_t b, double p, int shift = 0) { return exp2ToFloat(p * log2Normal(b, shift)); }

// ---- Vector twin ----------------------------------------------------------------------
// Four normal positive floats (bits in b) to the power p (broadcast double).
inline __m128 powNormal4(__m128i b, __m128d p) {
    // logarithm: exponent, table index and low mantissa bits of the four lanes
    const __m128i e = _mm_sub_epi32(_mm_srli_epi32(b, 23), _mm_set1_epi32(127));
    const __m128i j = _mm_and_si128(_mm_srli_epi32(b, 16), _mm_set1_epi32(127));
    const __m128i d = _mm_and_si128(b, _mm_set1_epi32(0xFFFF));
    const __m128d L0 = _mm_load_pd(&_vspowx_data.log[_mm_cvtsi128_si32(j)].r);
    const __m128d L1 = _mm_load_pd(&_vspowx_data.log[_mm_extract_epi32(j, 1)].r);
    const __m128d L2 = _mm_load_pd(&_vspowx_data.log[_mm_extract_epi32(j, 2)].r);
    const __m128d L3 = _mm_load_pd(&_vspowx_data.log[_mm_extract_epi32(j, 3)].r);
    const __m128d eLo = _mm_cvtepi32_pd(e), eHi = _mm_cvtepi32_pd(_mm_unpackhi_epi64(e, e));
    const __m128d rLo = _mm_mul_pd(_mm_cvtepi32_pd(d), _mm_unpacklo_pd(L0, L1));
    const __m128d rHi = _mm_mul_pd(_mm_cvtepi32_pd(_mm_unpackhi_epi64(d, d)), _mm_unpacklo_pd(L2, L3));
    const __m128d tLo = _mm_unpackhi_pd(L0, L1), tHi = _mm_unpackhi_pd(L2, L3);
    auto log2v = [](__m128d r, __m128d ed, __m128d t) {
        __m128d q = _mm_add_pd(_mm_set1_pd(kA4), _mm_mul_pd(r, _mm_set1_pd(kA5)));
        q = _mm_add_pd(_mm_set1_pd(kA3), _mm_mul_pd(r, q));
        q = _mm_add_pd(_mm_set1_pd(kA2), _mm_mul_pd(r, q));
        q = _mm_add_pd(_mm_set1_pd(kA1), _mm_mul_pd(r, q));
        return _mm_add_pd(_mm_add_pd(ed, t), _mm_mul_pd(r, q));
    };
    // y = p log2 x, limited
    const __m128d lim = _mm_set1_pd(kYLimit), nlim = _mm_set1_pd(-kYLimit);
    const __m128d yLo = _mm_min_pd(_mm_max_pd(_mm_mul_pd(p, log2v(rLo, eLo, tLo)), nlim), lim);
    const __m128d yHi = _mm_min_pd(_mm_max_pd(_mm_mul_pd(p, log2v(rHi, eHi, tHi)), nlim), lim);
    // exponential: k in the low words of the shifted values
    const __m128d sh = _mm_set1_pd(kShifter), s128 = _mm_set1_pd(128.0);
    const __m128d tL = _mm_add_pd(_mm_mul_pd(yLo, s128), sh), tH = _mm_add_pd(_mm_mul_pd(yHi, s128), sh);
    const __m128i k = _mm_castps_si128(
        _mm_shuffle_ps(_mm_castpd_ps(tL), _mm_castpd_ps(tH), _MM_SHUFFLE(2, 0, 2, 0)));
    const __m128i i = _mm_and_si128(k, _mm_set1_epi32(127));
    const __m128i n = _mm_srai_epi32(k, 7);
    const double* E = _vspowx_data.exp;
    __m128d sLo = _mm_loadh_pd(_mm_load_sd(E + _mm_cvtsi128_si32(i)), E + _mm_extract_epi32(i, 1));
    __m128d sHi = _mm_loadh_pd(_mm_load_sd(E + _mm_extract_epi32(i, 2)), E + _mm_extract_epi32(i, 3));
    sLo = _mm_castsi128_pd(_mm_add_epi64(_mm_castpd_si128(sLo), _mm_slli_epi64(_mm_cvtepi32_epi64(n), 52)));
    sHi = _mm_castsi128_pd(
        _mm_add_epi64(_mm_castpd_si128(sHi), _mm_slli_epi64(_mm_cvtepi32_epi64(_mm_unpackhi_epi64(n, n)), 52)));
    const __m128d step = _mm_set1_pd(0x1p-7);
    auto exp2v = [&](__m128d y, __m128d t, __m128d s) {
        const __m128d z = _mm_sub_pd(y, _mm_mul_pd(_mm_sub_pd(t, sh), step));
        __m128d q = _mm_add_pd(_mm_set1_pd(kB3), _mm_mul_pd(z, _mm_set1_pd(kB4)));
        q = _mm_add_pd(_mm_set1_pd(kB2), _mm_mul_pd(z, q));
        q = _mm_add_pd(_mm_set1_pd(kB1), _mm_mul_pd(z, q));
        q = _mm_add_pd(_mm_set1_pd(1.0), _mm_mul_pd(z, q));
        return _mm_cvtpd_ps(_mm_mul_pd(s, q));
    };
    return _mm_movelh_ps(exp2v(yLo, tL, sLo), exp2v(yHi, tH, sHi));
}

// Lanes of b that are not normal positive floats (all ones where not).
inline __m128i notNormalPositive4(__m128i b) {
    const __m128i ok = _mm_and_si128(_mm_cmpgt_epi32(b, _mm_set1_epi32(0x007FFFFF)),
                                     _mm_cmplt_epi32(b, _mm_set1_epi32(0x7F800000)));
    return _mm_xor_si128(ok, _mm_set1_epi32(-1));
}

}  // namespace cel::vm
