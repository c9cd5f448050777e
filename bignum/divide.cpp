// Long division of big numbers (Knuth's algorithm D). The quotient digits come
// from a reciprocal of the divisor's two top limbs, computed once per call:
// each digit then costs two products and a few corrections instead of a
// hardware division (Moller and Granlund, "Improved division by invariant
// integers", 2011). Where the target has a 128-bit integer the limbs are 64
// bits wide, which halves the rows of the division; elsewhere they are the
// 32-bit digits themselves.
#include "bignum/divide.hpp"

#include <cstring>

#include "bignum/bignum_internal.hpp"
#include "bignum/words.hpp"
#include "common/platform.hpp"
#include "common/wipe.hpp"
#include "lncext/bignum.h"

namespace lncext::div {
namespace {

namespace words = lncext::words;
using u32 = uint32_t;
using u64 = uint64_t;

// ---------------------------------------------------------------------------
// Normalising the divisor in place: the shift that sets the top bit of its
// top word. A one-word divisor is widened to two words (a zero word below
// it), so that every quotient estimate has two divisor words to work with.

struct Shift {
    u32 words;  // the divisor's count on entry
    u32 lz;     // leading zero bits of its top word
    u32 bits;   // the shift of the dividend: lz, or lz + 32 for one word
};

Shift normalise(u32 *m) {
    const u32 nm = m[0];
    const u32 lz = u32(__builtin_clz(m[nm]));
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
    return {nm, lz, nm == 1 ? lz + 32 : lz};
}

void restore(u32 *m, Shift sh) {
    const u32 nm = sh.words, lz = sh.lz;
    if (nm == 1) {
        m[1] = m[2] >> lz;
        m[0] = 1;
    } else if (lz != 0) {
        for (u32 i = 1; i < nm; i++) m[i] = m[i] >> lz | m[i + 1] << (32 - lz);
        m[nm] >>= lz;
    }
}

// ---------------------------------------------------------------------------
// Limb arithmetic with a reciprocal. W is the limb, Wide<W> a type of twice
// its width; B = 2^bits below.

template <class W>
struct Wide;
template <>
struct Wide<u32> {
    using type = u64;
};
#if defined(LNCEXT_HAVE_INT128)
template <>
struct Wide<u64> {
    using type = unsigned __int128;
};
#endif
template <class W>
using DW = typename Wide<W>::type;
template <class W>
constexpr unsigned kBits = 8 * sizeof(W);

template <class W>
inline DW<W> pair(W hi, W lo) {
    return DW<W>(hi) << kBits<W> | lo;
}

// v = floor((B^2 - 1) / d) - B for d with its top bit set. The numerator
// B^2 - 1 - B d is (B - 1 - d) B + B - 1, and B - 1 - d < d keeps the
// quotient below B: one hardware division per divisor, not per digit.
template <class W>
W reciprocal_word(W d) {
    return W(pair<W>(W(~d), W(~W(0))) / d);
}

// v = floor((B^3 - 1) / (d1 B + d0)) - B for d1 with its top bit set: the
// word reciprocal of d1, lowered once or twice for d0 (the steps of the
// paper's algorithm 6).
template <class W>
W reciprocal_3by2(W d1, W d0) {
    W v = reciprocal_word(d1);
    W p = W(d1 * v) + d0;
    if (p < d0) {  // (B + v) (d1 B + d0) went past B^3: v is too large
        v--;
        if (p >= d1) {
            v--;
            p -= d1;
        }
        p -= d1;
    }
    const DW<W> t = DW<W>(d0) * v;
    const W t1 = W(t >> kBits<W>), t0 = W(t);
    p += t1;
    if (p < t1) {
        v--;
        if (p > d1 || (p == d1 && t0 >= d0)) v--;
    }
    return v;
}

// (u1 B + u0) = q d + rem for u1 < d, d normalised, v its reciprocal. The
// estimate from v u1 is at most one too small or one too large, and the
// remainder computed modulo B tells which (the paper's algorithm 4). All
// sums here are modulo B or B^2 on purpose.
template <class W>
inline W div_2by1(W u1, W u0, W d, W v, W &rem) {
    const DW<W> e = DW<W>(v) * u1 + pair(u1, u0);
    W q = W(e >> kBits<W>) + 1;
    const W q0 = W(e);
    W r = u0 - q * d;
    if (r > q0) {
        q--;
        r += d;
    }
    if (r >= d) {  // rare
        q++;
        r -= d;
    }
    rem = r;
    return q;
}

// (u2 B^2 + u1 B + u0) = q (d1 B + d0) + (r1 B + r0) for (u2, u1) below
// (d1, d0), v the reciprocal of the pair (the paper's algorithm 5; the sums
// are modulo B or B^2 on purpose).
template <class W>
inline W div_3by2(W u2, W u1, W u0, W d1, W d0, W v, W &r1, W &r0) {
    const DW<W> d = pair(d1, d0);
    const DW<W> e = DW<W>(v) * u2 + pair(u2, u1);
    W q = W(e >> kBits<W>);
    const W q0 = W(e);
    const W hi = u1 - q * d1;
    DW<W> r = pair(hi, u0) - d - DW<W>(d0) * q;
    q++;
    if (W(r >> kBits<W>) >= q0) {
        q--;
        r += d;
    }
    if (r >= d) {  // rare
        q++;
        r -= d;
    }
    r1 = W(r >> kBits<W>);
    r0 = W(r);
    return q;
}

// R[0 .. nr) / D[0 .. nd) for a normalised D (top bit of D[nd - 1] set) and
// nr >= nd: the quotient goes to Q[0 .. nr - nd], the remainder to
// R[0 .. nd); R's upper limbs end as zero.
template <class W>
void divide_limbs(W *R, std::size_t nr, const W *D, std::size_t nd, W *Q) {
    // Top digit: 0 or 1, since D's top bit is set.
    W *top = R + (nr - nd);
    const bool one = words::cmp(top, D, nd) >= 0;
    if (one) words::sub(top, top, D, nd);
    Q[nr - nd] = one;

    if (nd == 1) {
        const W d = D[0], v = reciprocal_word(d);
        W rem = R[nr - 1];  // below d after the top digit
        for (std::size_t i = nr - 1; i-- > 0;) Q[i] = div_2by1(rem, R[i], d, v, rem);
        R[0] = rem;
        return;
    }

    const W d1 = D[nd - 1], d0 = D[nd - 2], v = reciprocal_3by2(d1, d0);
    // Step i takes the window w = R[i .. i + nd], below D B, to its
    // remainder by D and gives quotient digit i.
    for (std::size_t i = nr - nd; i-- > 0;) {
        W *w = R + i;
        const W u2 = w[nd], u1 = w[nd - 1];
        W qd;
        if (u2 == d1 && u1 == d0) {
            // The pair estimate needs (u2, u1) below (d1, d0). Here the
            // digit is exactly B - 1: w - (B - 1) D = D + (w's lower limbs
            // - D's lower limbs B) lies between D - B^(nd-1) > 0 and D. The
            // row's borrow cancels w's top limb.
            qd = ~W(0);
            words::submul_1(w, D, nd, qd);
        } else {
            W r1, r0;
            qd = div_3by2(u2, u1, w[nd - 2], d1, d0, v, r1, r0);
            // The three top limbs are now exact; take q times D's lower
            // limbs from the rest. The result is at least -D, so one
            // addition of D repairs an estimate one too large.
            const W cy = words::submul_1(w, D, nd - 2, qd);
            const W b1 = r0 < cy;
            r0 -= cy;
            const W b2 = r1 < b1;
            r1 -= b1;
            w[nd - 2] = r0;
            w[nd - 1] = r1;
            if (b2) {
                qd--;
                words::add(w, w, D, nd);  // the carry out cancels the wrap
            }
        }
        w[nd] = 0;
        Q[i] = qd;
    }
}

template <class W>
void reciprocal_limbs(const u32 *a, u32 *m, u32 *q, u32 *r) {
    constexpr std::size_t kW = sizeof(W) / sizeof(u32);
    constexpr std::size_t kMax = (LNMBIG_WORDS + 1) / kW + 1;
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "limbs are read as words");
    const u32 a_words = a[0], m_words = m[0];

    const Shift sh = normalise(m);
    // With 64-bit limbs an odd word count gets a zero word below divisor and
    // dividend alike; the quotient stays, the remainder gains that word.
    const std::size_t n = m[0], pad = n % kW, nd = (n + pad) / kW;
    const u32 shift = sh.bits + 32 * u32(pad);
    W D[kMax], R[kMax], Q[kMax];
    D[0] = 0;
    std::memcpy(reinterpret_cast<char *>(D) + pad * sizeof(u32), m + 1, n * sizeof(u32));
    restore(m, sh);

    // The dividend has at most 256 digits and shift < 64: the shifted
    // value fits the 258 digits of lnmshl, and t keeps a word for the pad.
    u32 t[LNMBIG_WORDS + 1];
    lnmshl(a, shift, t);
    const std::size_t tw = t[0], nr = (tw + kW - 1) / kW;  // tw >= n + pad
    t[tw + 1] = 0;
    std::memcpy(R, t + 1, nr * sizeof(W));

    divide_limbs(R, nr, D, nd, Q);

    std::memcpy(t + 1, R, nd * sizeof(W));
    t[0] = u32(nd * kW);
    lnmshr(lncext::bn::clip(t), shift, r);
    if (q != nullptr) {
        // The quotient is below 2^(32 (a_words - m_words + 1)): the words
        // above that are zero, and q has room for exactly those.
        std::size_t qw = (nr - nd + 1) * kW;
        if (qw > a_words - m_words + 1) qw = a_words - m_words + 1;
        std::memcpy(q + 1, Q, qw * sizeof(u32));
        q[0] = u32(qw);
        lncext::bn::clip(q);
    }
    // The operands may be secret (a private exponent reduced by p - 1, a
    // CRT half): no copy of them stays on the stack.
    lncext::secure_wipe(D, nd * sizeof(W));
    lncext::secure_wipe(R, nr * sizeof(W));
    lncext::secure_wipe(Q, (nr - nd + 1) * sizeof(W));
    lncext::secure_wipe(t, (tw + 2) * sizeof(u32));
}

// The row of the division, kept out of line: inlined into the loop of the
// schoolbook division, it measured slower.
__attribute__((noinline)) u32 submul(u32 *r, const u32 *b, std::size_t n, u32 x) {
    return words::submul_1(r, b, n, x);
}

}  // namespace

void reciprocal(const uint32_t *a, uint32_t *m, uint32_t *q, uint32_t *r) {
#if defined(LNCEXT_HAVE_INT128)
    reciprocal_limbs<u64>(a, m, q, r);
#else
    reciprocal_limbs<u32>(a, m, q, r);
#endif
}

void schoolbook(const uint32_t *a, uint32_t *m, uint32_t *q, uint32_t *r) {
    if (r != a) lncext::bn::copy(r, a);
    const Shift sh = normalise(m);
    lnmshl(r, sh.bits, r);

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
            qhat = div_word(top, mid, mtop, &rem);
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
    lnmshr(r, sh.bits, r);
    restore(m, sh);
    if (q != nullptr) lncext::bn::clip(q);
}

}  // namespace lncext::div
