// Montgomery arithmetic: the word inverse, reduction, products and unity.
//
// A Montgomery operation takes minv = -m^-1 mod 2^32, Rbits (R = 2^Rbits)
// and the odd modulus m, in that order. The reduced value lives in full-size
// storage, so m has at most 128 words: 2 m[0] + 1 digits plus the count word
// must fit the 259 words of a standard big number.
#include <cstdint>
#include <cstring>

#include "bignum/bignum_internal.hpp"
#include "bignum/kernels.hpp"
#include "bignum/mont_fixed.hpp"
#include "bignum/words.hpp"
#include "lncext/bignum.h"

namespace {

// Rbits = 32 n, the case of every exponentiation: the kernel clears the low
// n words of the 2n + 1 digits d, and the quotient (below 2m) sits in
// d[n .. 2n]. The final subtraction writes d[0 .. n) in a time that does
// not depend on its outcome.
inline void reduce_full(uint32_t minv, const uint32_t *m, uint32_t *t) {
    const uint32_t n = m[0];
    uint32_t *d = t + 1;
    const uint32_t *md = m + 1;
    lncext::kern::redc(d, md, n, n, minv);
    lncext::words::reduce_once(d, d + n, d[2 * n], md, n);
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
        const uint32_t carry = lncext::words::addmul_1(d + words, m + 1, n, u);
        lncext::words::add_1(d + words + n, d + words + n, top - words - n, carry);
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
