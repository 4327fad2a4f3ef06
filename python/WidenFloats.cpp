// Floats widened to doubles a run at a time, eight at once where the processor can.
#if defined(__x86_64__) && defined(__GNUC__)
// The compiler's own AVX-512 headers start results from an undefined register, which its
// uninitialised-use check reports once they are inlined under a target attribute.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wpsabi"
#include <immintrin.h>
#define ZM_WIDEN_VECTOR 1
#endif

#include <cstdint>

#include "python/ColumnSheet.h"

namespace zmpy {

#ifdef ZM_WIDEN_VECTOR
namespace {

#define ZM_WIDEN_TARGET gnu::target("avx512f,avx512dq,avx512vl")

// 10^k per lane for k <= 15, from two registers rather than a memory gather.
[[ZM_WIDEN_TARGET, gnu::always_inline]] inline __m512d Ten(__m256i k) {
    const __m512d low = _mm512_setr_pd(1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7);
    const __m512d high = _mm512_setr_pd(1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15);
    return _mm512_permutex2var_pd(low, _mm512_cvtepi32_epi64(k), high);
}

// Eight floats at once, for those of 2^-16 <= |f| < 2^24 that are whole numbers or whose
// significand is not a power of two; the others are left to Widened (returns their mask).
//
// A float of binary exponent b (biased) lies in an interval of width u = 2^(b-150).
// Decimals with k places lie 10^-k apart, so at the first k with 10^-k < u (the top
// level, at most 12 here) the nearest one always lies inside. The shortest decimal is the
// nearest one of the coarsest level that still has one inside, found by stepping down
// level by level while any lane's nearest decimal stays inside. Every step is exact:
// f * 10^k needs at most 24 + 28 bits for k <= 12, its distance to the nearest whole
// number is exact, and so is the half width times 10^k. No decimal of these levels lies
// on an end of the interval (an end has 151 - b decimal places, more than the top level
// has), so whether the ends belong to it never matters. A float half way between two
// decimals of its level takes the even one, as the shortest text does. The double nearest
// to digits / 10^k is one division.
constexpr int kNearest = _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC;

// The nearest decimal of level `at` - 1 to |f| = `v`, where it lies within `half` of it:
// `level` and `digits` move to it in the lanes of `lanes`, whose mask it returns. Level 0
// never holds one for a float that is not whole, so lanes at level 1 stay.
[[ZM_WIDEN_TARGET, gnu::always_inline]] inline __mmask8 Coarser(__m512d v, __m512d half, __m256i at,
                                                                __mmask8 lanes, __m256i& level,
                                                                __m512d& digits) {
    lanes &= _mm256_cmpgt_epi32_mask(at, _mm256_set1_epi32(1));
    const __m256i next = _mm256_sub_epi32(at, _mm256_set1_epi32(1));
    const __m512d power = Ten(next);
    const __m512d y = _mm512_mul_pd(v, power);
    const __m512d m = _mm512_roundscale_pd(y, kNearest);
    const __m512d distance = _mm512_abs_pd(_mm512_sub_pd(y, m));
    lanes &= _mm512_cmp_pd_mask(distance, _mm512_mul_pd(half, power), _CMP_LT_OQ);
    level = _mm256_mask_mov_epi32(level, lanes, next);
    digits = _mm512_mask_mov_pd(digits, lanes, m);
    return lanes;
}

[[ZM_WIDEN_TARGET]] __mmask8 WidenEight(const float* in, double* out) {
    const __m256i bits = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
    const __m256i biased = _mm256_and_si256(_mm256_srli_epi32(bits, 23), _mm256_set1_epi32(0xFF));
    const __m256i fraction = _mm256_and_si256(bits, _mm256_set1_epi32(0x7FFFFF));
    const __m512d value = _mm512_cvtps_pd(_mm256_castsi256_ps(bits));
    const __m512d v = _mm512_abs_pd(value);
    // Whole numbers below 2^24 are their own shortest text (zero included).
    const __mmask8 whole =
        _mm512_cmp_pd_mask(_mm512_roundscale_pd(v, _MM_FROUND_TO_ZERO), v, _CMP_EQ_OQ) &
        _mm512_cmp_pd_mask(v, _mm512_set1_pd(16777216.0), _CMP_LT_OQ);
    __mmask8 fast = _mm256_cmpge_epi32_mask(biased, _mm256_set1_epi32(111)) &
                    _mm256_cmple_epi32_mask(biased, _mm256_set1_epi32(149)) &
                    _mm256_cmpneq_epi32_mask(fraction, _mm256_setzero_si256()) & ~whole;
    // top = floor((150 - b) * log10(2)) + 1; 78913 / 2^18 is log10(2) closely enough for
    // every b here.
    const __m256i places = _mm256_sub_epi32(_mm256_set1_epi32(150), biased);
    __m256i level = _mm256_add_epi32(
        _mm256_srli_epi32(_mm256_mullo_epi32(places, _mm256_set1_epi32(78913)), 18),
        _mm256_set1_epi32(1));
    level = _mm256_maskz_mov_epi32(fast, level);  // lanes left out compute harmlessly
    const __m512d half = _mm512_castsi512_pd(_mm512_slli_epi64(
        _mm512_cvtepi32_epi64(_mm256_add_epi32(biased, _mm256_set1_epi32(1023 - 151))), 52));
    __m512d digits = _mm512_roundscale_pd(_mm512_mul_pd(v, Ten(level)), kNearest);
    // Three levels down at once (a level that holds one has every finer level hold one),
    // then one at a time for the lanes that went down all three.
    const __m256i top = level;
    const __m256i one = _mm256_set1_epi32(1);
    Coarser(v, half, top, fast, level, digits);
    Coarser(v, half, _mm256_sub_epi32(top, one), fast, level, digits);
    __mmask8 active =
        Coarser(v, half, _mm256_sub_epi32(_mm256_sub_epi32(top, one), one), fast, level, digits);
    while (active != 0)
        active = Coarser(v, half, level, active, level, digits);
    __m512d wide = _mm512_div_pd(digits, Ten(level));
    // The sign back: the float's own, copied onto the magnitude.
    const __m512d sign = _mm512_and_pd(value, _mm512_set1_pd(-0.0));
    wide = _mm512_or_pd(wide, sign);
    wide = _mm512_mask_mov_pd(wide, whole, value);
    _mm512_storeu_pd(out, wide);
    return static_cast<__mmask8>(~(fast | whole));
}

bool HasVectorWidening() {
    static const bool has = __builtin_cpu_supports("avx512f") &&
                            __builtin_cpu_supports("avx512dq") &&
                            __builtin_cpu_supports("avx512vl");
    return has;
}

}  // namespace
#endif

void WidenFloats(const float* in, size_t count, double* out) {
    size_t i = 0;
#ifdef ZM_WIDEN_VECTOR
    if (HasVectorWidening()) {
        for (; i + 8 <= count; i += 8) {
            unsigned rest = WidenEight(in + i, out + i);
            for (; rest != 0; rest &= rest - 1) {
                const size_t lane = static_cast<size_t>(__builtin_ctz(rest));
                out[i + lane] = Widened(in[i + lane]);
            }
        }
    }
#endif
    for (; i < count; ++i)
        out[i] = Widened(in[i]);
}

}  // namespace zmpy
