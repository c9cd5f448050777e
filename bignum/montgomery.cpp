// Montgomery arithmetic: the word inverse, reduction, products and unity.
//
// A Montgomery operation takes minv = -m^-1 mod 2^32, Rbits (R = 2^Rbits)
// and the odd modulus m, in that order. The reduced value lives in full-size
// storage, so m has at most 128 words: 2 m[0] + 1 digits plus the count word
// must fit the 259 words of a standard big number.
#include <cstdint>
#include <cstring>
#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

#include "bignum/bignum_internal.hpp"
#include "bignum/kernels.hpp"
#include "bignum/mont_fixed.hpp"
#include "lncext/bignum.h"

namespace {

// d[0 .. n) = a[0 .. n) - b[0 .. n); returns the borrow out (0 or 1). d may
// be a but must not overlap otherwise. On x86 the borrow stays in the carry
// flag (sbb), two words at a time on x86_64.
inline uint32_t sub_words(uint32_t *d, const uint32_t *a, const uint32_t *b, uint32_t n) {
#if defined(__x86_64__)
    unsigned char c = 0;
    uint32_t i = 0;
    for (; i + 2 <= n; i += 2) {
        unsigned long long x, y, r;
        std::memcpy(&x, a + i, 8);
        std::memcpy(&y, b + i, 8);
        c = _subborrow_u64(c, x, y, &r);
        std::memcpy(d + i, &r, 8);
    }
    if (i < n) {
        unsigned int r;
        c = _subborrow_u32(c, a[i], b[i], &r);
        d[i] = r;
    }
    return c;
#elif defined(__i386__)
    unsigned char c = 0;
    for (uint32_t i = 0; i < n; ++i) {
        unsigned int r;
        c = _subborrow_u32(c, a[i], b[i], &r);
        d[i] = r;
    }
    return c;
#else
    uint32_t borrow = 0;
    for (uint32_t i = 0; i < n; ++i) {
        uint64_t s = uint64_t(a[i]) - b[i] - borrow;
        d[i] = uint32_t(s);
        borrow = uint32_t(s >> 32) & 1;
    }
    return borrow;
#endif
}

// Adds the word c at d[0] and carries upward, but never past d[limit - 1].
inline void propagate(uint32_t *d, uint32_t limit, uint32_t c) {
    for (uint32_t i = 0; i < limit && c != 0; ++i) {
        uint32_t s = d[i] + c;
        c = s < c;
        d[i] = s;
    }
}

// Rbits = 32 n, the case of every exponentiation: the kernel clears the low
// n words of the 2n + 1 digits d, and the quotient (below 2m) sits in
// d[n .. 2n]. The final subtraction is written into d[0 .. n) and kept or
// discarded by a mask, so its timing does not depend on the outcome.
inline void reduce_full(uint32_t minv, const uint32_t *m, uint32_t *t) {
    const uint32_t n = m[0];
    uint32_t *d = t + 1;
    const uint32_t *md = m + 1;
    lncext::kern::redc(d, md, n, n, minv);
    const uint32_t *hi = d + n;
    const uint32_t borrow = sub_words(d, hi, md, n);
    // The quotient is below m exactly when the borrow is not absorbed by its
    // top word hi[n] (which is 0 or 1).
    const uint32_t below = uint32_t((uint64_t(hi[n]) - borrow) >> 32) & 1;
    const uint32_t keep = 0u - below;
    for (uint32_t i = 0; i < n; ++i) d[i] = (d[i] & ~keep) | (hi[i] & keep);
    t[0] = n;
    lncext::bn::clip(t);
}

}  // namespace

extern "C" {

LNCEXT_API uint32_t lnminverse(uint32_t x) {
    // Newton's iteration y <- y (2 - x y) doubles the number of correct low
    // bits; y = x is right to 3 bits for odd x (x^2 = 1 mod 8): 3, 6, 12, 24,
    // 48.
    uint32_t y = x;
    for (int i = 0; i < 4; ++i) y *= 2u - x * y;
    return y;
}

LNCEXT_API uint32_t *lnmmontcom(uint32_t minv, uint32_t Rbits, const uint32_t *m, uint32_t *t) {
    if (lncext::mont::redc_fixed(minv, Rbits, m, t)) return t;
    const uint32_t n = m[0];
    const uint32_t top = 2 * n + 1;
    if (t[0] < top) std::memset(t + t[0] + 1, 0, (top - t[0]) * sizeof(uint32_t));
    t[0] = top;
    const uint32_t words = Rbits / 32;
    const uint32_t bits = Rbits % 32;
    if (bits == 0 && words == n && n != 0) {
        reduce_full(minv, m, t);
        return t;
    }
    // Any other R: t + u m < 2 m 2^Rbits stays within the 2n + 1 digits as
    // long as Rbits < 32 (n + 1), so no carry is ever dropped below.
    uint32_t *d = t + 1;
    if (words != 0) lncext::kern::redc(d, m + 1, n, words, minv);
    if (bits != 0) {
        const uint32_t u = (minv * d[words]) & ((1u << bits) - 1);
        const uint32_t carry = lncext::kern::addmul_1(d + words, m + 1, n, u);
        propagate(d + words + n, top - words - n, carry);
    }
    lncext::bn::clip(t);
    lnmshr(t, Rbits, t);
    if (lncext::bn::cmp(t, m) >= 0) lnmsub(t, m);
    return t;
}

LNCEXT_API uint32_t *lnmmulmont(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
                                const uint32_t *b, uint32_t *r) {
    if (lncext::mont::mul_fixed(minv, Rbits, m, a, b, r)) return r;
    if (a[0] == 0 || b[0] == 0) {
        r[0] = 0;
    } else {
        lncext::kern::mul(r + 1, a + 1, a[0], b + 1, b[0]);
        r[0] = a[0] + b[0];  // the reduction fixes the count, no need to clip
    }
    return lnmmontcom(minv, Rbits, m, r);
}

LNCEXT_API uint32_t *lnmsqrmont(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
                                uint32_t *r) {
    if (lncext::mont::sqr_fixed(minv, Rbits, m, a, r)) return r;
    if (a[0] == 0) {
        r[0] = 0;
    } else {
        lncext::kern::sqr(r + 1, a + 1, a[0]);
        r[0] = 2 * a[0];
    }
    return lnmmontcom(minv, Rbits, m, r);
}

LNCEXT_API uint32_t *lnmunitymont(uint32_t Rbits, uint32_t *m, uint32_t *r) {
    lnmexpb2(r, Rbits);
    lnmdiv(r, m, nullptr, r);
    return r;
}

}  // extern "C"
