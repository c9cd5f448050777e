// Products, squares, long division and the single-word divisions.
#include <cstring>

#include "bignum/bignum_internal.hpp"
#include "bignum/divide.hpp"
#include "bignum/kernels.hpp"
#include "common/platform.hpp"
#include "lncext/bignum.h"

namespace {

using u32 = uint32_t;

}  // namespace

extern "C" {

LNCEXT_API uint32_t *lnmmul(const uint32_t *a, const uint32_t *b, uint32_t *r) {
    u32 na = a[0], nb = b[0];
    if (na == 0 || nb == 0) {
        r[0] = 0;
        return r;
    }
    // The longer operand goes to the inner loop.
    if (na <= nb)
        lncext::kern::mul(r + 1, a + 1, na, b + 1, nb);
    else
        lncext::kern::mul(r + 1, b + 1, nb, a + 1, na);
    u32 n = na + nb;
    if (r[n] == 0) n--;  // normalised inputs: the product has n or n - 1 words
    r[0] = n;
    return r;
}

LNCEXT_API uint32_t *lnmsqr(const uint32_t *a, uint32_t *r) {
    u32 n = a[0];
    r[0] = 2 * n;
    if (n == 0) return r;
    lncext::kern::sqr(r + 1, a + 1, n);
    if (r[2 * n] == 0) r[0] = 2 * n - 1;  // exactly when a's top word is below 2^16
    return r;
}

LNCEXT_API void lnmdiv(const uint32_t *a, uint32_t *m, uint32_t *q, uint32_t *r) {
    if (m[0] == 0) return;
    if (q != nullptr) q[0] = 0;
    if (lncext::bn::cmp(a, m) < 0) {
        if (r != a) lncext::bn::copy(r, a);
        return;
    }
    // Dividends beyond 256 digits keep the schoolbook body, whose normalising
    // shift is cut at 258 digits as lnmshl cuts it.
    if (a[0] <= 256)
        lncext::div::reciprocal(a, m, q, r);
    else
        lncext::div::schoolbook(a, m, q, r);
}

LNCEXT_API uint32_t lnmdivs(uint32_t hi, uint32_t lo, uint32_t d, uint32_t *qout) {
    // Schoolbook division in base 2^16 by the two half-words of d: each
    // quotient digit is estimated from d's upper half and then corrected at
    // most twice. With the estimate q and its product p = q * dl fixed, the
    // partial remainder for q - k is u + k*d - p.
    const u32 dh = d >> 16, dl = d & 0xFFFFu;

    u32 q1 = hi / dh;
    u32 u = (hi % dh) << 16 | lo >> 16;
    u32 p = q1 * dl;
    if (u < p) {
        q1--;
        u += d;
        if (u >= d && u < p) {  // no wrap-around, still short
            q1--;
            u += d;
        }
    }
    u -= p;

    u32 q0 = u / dh;
    u32 v = (u % dh) << 16 | (lo & 0xFFFFu);
    p = q0 * dl;
    if (v < p) {
        q0--;
        v += d;
        if (v >= d && v < p) {
            q0--;
            v += d;
        }
    }
    v -= p;

    if (qout != nullptr) *qout = q1 << 16 | q0;
    return v;
}

LNCEXT_API uint32_t lnmmodd(const uint32_t *a, uint32_t d) {
    u32 rem = 0;
    for (u32 i = a[0]; i >= 1; i--)
        lncext::div::div_word(rem, a[i], d, &rem);  // rem < d throughout
    return rem;
}

}  // extern "C"
