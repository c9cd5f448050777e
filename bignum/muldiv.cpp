// Products, squares, long division and the single-word divisions.
#include <cstring>

#include "bignum/bignum_internal.hpp"
#include "bignum/kernels.hpp"
#include "bignum/words.hpp"
#include "common/platform.hpp"
#include "lncext/bignum.h"

namespace {

namespace words = lncext::words;
using u32 = uint32_t;
using u64 = uint64_t;

// (hi * 2^32 + lo) = q * d + rem for hi < d, so that q fits a word.
inline u32 div_2by1(u32 hi, u32 lo, u32 d, u32 *rem) {
#if defined(LNCEXT_HAVE_X86)
    // One hardware division; hi < d keeps the quotient in range.
    u32 q, r;
    __asm__("divl %4" : "=a"(q), "=d"(r) : "a"(lo), "d"(hi), "rm"(d) : "cc");
    *rem = r;
    return q;
#else
    u64 n = u64(hi) << 32 | lo;
    *rem = u32(n % d);
    return u32(n / d);
#endif
}

// The row of the division, kept out of line: inlined into the loop of
// lnmdiv, it measured slower.
__attribute__((noinline)) u32 submul(u32 *r, const u32 *b, std::size_t n, u32 x) {
    return words::submul_1(r, b, n, x);
}

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
    if (r != a) lncext::bn::copy(r, a);
    if (q != nullptr) q[0] = 0;
    if (lncext::bn::cmp(r, m) < 0) return;

    // Normalise: shift the divisor until its top bit is set. A one-word
    // divisor is widened to two words (a zero word below it) so that every
    // quotient estimate below has two divisor words to refine against. The
    // same shift of r leaves the quotient unchanged.
    const u32 nm = m[0];
    const u32 lz = u32(__builtin_clz(m[nm]));
    const u32 s = nm == 1 ? lz + 32 : lz;
    lnmshl(r, s, r);
    if (nm == 1) {
        m[2] = m[1] << lz;
        m[1] = 0;
        m[0] = 2;
    } else if (lz != 0) {
        // In place and top down; the top word gains no new word since lz
        // counts exactly the zero bits above its top one.
        for (u32 i = nm; i > 1; i--) m[i] = m[i] << lz | m[i - 1] >> (32 - lz);
        m[1] <<= lz;
    }

    const u32 n = m[0];
    const u32 t = r[0] - n;  // r >= m, so r has at least n words
    const u32 mtop = m[n], mnext = m[n - 1];
    if (q != nullptr) {
        q[0] = t + 1;
        std::memset(q + 1, 0, (std::size_t(t) + 1) * sizeof(u32));
    }

    // Top digit: 0 or 1, since m's top bit is set.
    if (words::cmp(r + 1 + t, m + 1, n) >= 0) {
        words::sub(r + 1 + t, r + 1 + t, m + 1, n);
        if (q != nullptr) q[t + 1] = 1;
    }

    // Each step j finds the digit of r[j .. j+n] / m, knowing that this
    // window is below m * 2^32 (so r[j+n] <= m's top word).
    for (u32 j = t; j >= 1; j--) {
        u32 top = r[j + n], mid = r[j + n - 1], low = r[j + n - 2];
        u32 qhat;
        u64 rhat;
        if (top == mtop) {
            qhat = 0xFFFFFFFFu;
            rhat = u64(mtop) + mid;  // (top, mid) - (2^32 - 1) * mtop
        } else {
            u32 rem;
            qhat = div_2by1(top, mid, mtop, &rem);
            rhat = rem;
        }
        // Refine with the next words: qhat ends at most one too large.
        while (rhat <= 0xFFFFFFFFu && u64(qhat) * mnext > (rhat << 32 | low)) {
            qhat--;
            rhat += mtop;
        }
        u32 borrow = submul(r + j, m + 1, n, qhat);
        if (borrow > r[j + n]) {
            // The estimate was one too large: add the divisor back once.
            qhat--;
            r[j + n] += words::add(r + j, r + j, m + 1, n);
        }
        r[j + n] -= borrow;  // the window is now below m: its top word is zero
        if (q != nullptr) q[j] = qhat;
    }

    // The remainder lies in words 1 .. n; undo the normalising shift.
    r[0] = n;
    lncext::bn::clip(r);
    lnmshr(r, s, r);
    if (nm == 1) {
        m[1] = m[2] >> lz;
        m[0] = 1;
    } else if (lz != 0) {
        for (u32 i = 1; i < nm; i++) m[i] = m[i] >> lz | m[i + 1] << (32 - lz);
        m[nm] >>= lz;
    }
    if (q != nullptr) lncext::bn::clip(q);
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
    for (u32 i = a[0]; i >= 1; i--) div_2by1(rem, a[i], d, &rem);  // rem < d throughout
    return rem;
}

}  // extern "C"
