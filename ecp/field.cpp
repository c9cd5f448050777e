// GF(p) arithmetic in two representations behind one table of operation
// slots: plain residues reduced by folding for p = 2^(32n) - c, and
// Montgomery forms for every other modulus.
//
// Every operation computes into its own scratch and writes the result last,
// so a result may be any input. The operations that divide do so by a copy of
// the modulus (long division shifts its divisor while it runs), so a filled
// context is never written and may be shared by threads.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bignum/window.hpp"
#include "common/platform.hpp"
#include "ecp/ecp_internal.hpp"

namespace {

using namespace lncext::ecp;
using lncext::bn::clip;
using lncext::bn::cmp;
using lncext::bn::copy;

// ---------------------------------------------------------------------------
// The special-form kernel for 256-bit moduli, the size of every GOST R
// 34.10-2001 curve. Two words make one limb where the compiler has a
// 128-bit product (words pair little-endian, as in the big-number kernels).

#if defined(LNCEXT_HAVE_INT128)
using Limb = uint64_t;
using Wide = unsigned __int128;
#else
using Limb = uint32_t;
using Wide = uint64_t;
#endif
constexpr unsigned kLimbBits = 8 * sizeof(Limb);
constexpr uint32_t kFastWords = 8;
constexpr std::size_t kWordsPerLimb = sizeof(Limb) / sizeof(uint32_t);
constexpr std::size_t kFastLimbs = kFastWords / kWordsPerLimb;
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "limbs pair words little-endian");

// The digits of a (at most kFastWords of them), zero-extended.
// Limbs are assembled from words and stored back word by word: a plain
// copy would be widened into 16-byte moves, and a 16-byte load of limbs just
// stored one by one stalls on store forwarding.
inline Limb limb_at(const uint32_t *w, std::size_t i) {
    if constexpr (kWordsPerLimb == 2)
        return Limb(w[2 * i]) | Limb(w[2 * i + 1]) << 32;
    else
        return w[i];
}

// Nearly every residue has all 8 words: that case loads straight into limbs.
inline void load_fast(Limb *d, const uint32_t *a) {
    if (a[0] == kFastWords) {
        for (std::size_t i = 0; i < kFastLimbs; ++i) d[i] = limb_at(a + 1, i);
        return;
    }
    uint32_t w[kFastWords] = {};
    const uint32_t n = a[0] < kFastWords ? a[0] : kFastWords;  // a reduced element never has more
    for (uint32_t i = 0; i < n; ++i) w[i] = a[i + 1];
    for (std::size_t i = 0; i < kFastLimbs; ++i) d[i] = limb_at(w, i);
}

// The count comes from the limbs in registers, not from reading back.
inline uint32_t *store_fast(uint32_t *r, const Limb *s) {
    for (std::size_t i = 0; i < kFastLimbs; ++i) {
        r[1 + i * kWordsPerLimb] = uint32_t(s[i]);
        if constexpr (kWordsPerLimb == 2) r[2 + 2 * i] = uint32_t(s[i] >> 32);
    }
    uint32_t n = kFastWords;
    for (std::size_t i = kFastLimbs; i-- > 0 && s[i] == 0;) n -= kWordsPerLimb;
    if constexpr (kWordsPerLimb == 2) {
        if (n != 0 && (s[n / 2 - 1] >> 32) == 0) --n;  // the top limb's high word is zero
    }
    r[0] = n;
    return r;
}

// t[0 .. 2N) = a * b. Per step a_i b_j + t + carry <= (2^B - 1)^2 +
// 2 (2^B - 1) = 2^(2B) - 1, so the carry is one limb.
template <std::size_t N>
inline void mul_full(Limb *t, const Limb *a, const Limb *b) {
    Limb carry = 0;
    for (std::size_t j = 0; j < N; ++j) {
        const Wide s = Wide(a[0]) * b[j] + carry;
        t[j] = Limb(s);
        carry = Limb(s >> kLimbBits);
    }
    t[N] = carry;
    for (std::size_t i = 1; i < N; ++i) {
        carry = 0;
        for (std::size_t j = 0; j < N; ++j) {
            const Wide s = Wide(a[i]) * b[j] + t[i + j] + carry;
            t[i + j] = Limb(s);
            carry = Limb(s >> kLimbBits);
        }
        t[i + N] = carry;
    }
}

// t[0 .. 2N) = a^2: the cross products once, doubled, then the squares of
// the limbs on the diagonal.
template <std::size_t N>
inline void sqr_full(Limb *t, const Limb *a) {
    for (std::size_t i = 0; i < 2 * N; ++i) t[i] = 0;
    for (std::size_t i = 0; i + 1 < N; ++i) {
        Limb carry = 0;
        for (std::size_t j = i + 1; j < N; ++j) {
            const Wide s = Wide(a[i]) * a[j] + t[i + j] + carry;
            t[i + j] = Limb(s);
            carry = Limb(s >> kLimbBits);
        }
        t[i + N] = carry;
    }
    // The cross products sum to below a^2 / 2: doubling loses no top bit.
    Limb top = 0;
    for (std::size_t i = 0; i < 2 * N; ++i) {
        const Limb v = t[i];
        t[i] = v << 1 | top;
        top = v >> (kLimbBits - 1);
    }
    // a_i^2 + t + carry < 2^(2B); the high half plus the next limb carries
    // one bit at most, and nothing leaves the top since a^2 < 2^(2BN).
    Limb carry = 0;
    for (std::size_t i = 0; i < N; ++i) {
        Wide s = Wide(a[i]) * a[i] + t[2 * i] + carry;
        t[2 * i] = Limb(s);
        s = Wide(t[2 * i + 1]) + Limb(s >> kLimbBits);
        t[2 * i + 1] = Limb(s);
        carry = Limb(s >> kLimbBits);
    }
}

// r = t mod p for p = 2^k - c, k = B N, t < 2^(2k), c < 2^32.
template <std::size_t N>
inline void fold(Limb *r, const Limb *t, uint32_t c) {
    // t = L + H 2^k = L + c H (mod p). Per limb c H_i + L_i + carry <
    // 2^32 2^B + 2^(B+1) fits the double limb, and the carry stays below
    // 2^33 (below 2^32 for B = 32). In all, L + c H < (c + 1) 2^k: the carry
    // out of the top, v, is at most c.
    Limb carry = 0;
    for (std::size_t i = 0; i < N; ++i) {
        const Wide s = Wide(c) * t[N + i] + t[i] + carry;
        r[i] = Limb(s);
        carry = Limb(s >> kLimbBits);
    }
    // Fold v 2^k = v c again: v c <= c^2 <= 2^64 - 2^33 + 1, so adding r_0
    // (below 2^32 for B = 32) still fits the double limb.
    Wide s = Wide(carry) * c + r[0];
    r[0] = Limb(s);
    Limb cy = Limb(s >> kLimbBits);
    for (std::size_t i = 1; i < N; ++i) {
        s = Wide(r[i]) + cy;
        r[i] = Limb(s);
        cy = Limb(s >> kLimbBits);
    }
    if (cy != 0) {
        // Wrapped past 2^k: the value is 2^k + r with r < c^2, and
        // 2^k = c (mod p); r + c < c^2 + c < p cannot carry out.
        cy = c;
        for (std::size_t i = 0; i < N && cy != 0; ++i) {
            s = Wide(r[i]) + cy;
            r[i] = Limb(s);
            cy = Limb(s >> kLimbBits);
        }
    }
    // Now r < 2^k, and r >= p exactly when r + c reaches 2^k; then r - p is
    // r + c with the top bit dropped. Chosen by a mask, not a branch.
    Limb u[N];
    cy = c;
    for (std::size_t i = 0; i < N; ++i) {
        s = Wide(r[i]) + cy;
        u[i] = Limb(s);
        cy = Limb(s >> kLimbBits);
    }
    const Limb take = Limb(0) - cy;
    for (std::size_t i = 0; i < N; ++i) r[i] = (u[i] & take) | (r[i] & ~take);
}

// Addition, subtraction and halving modulo a 256-bit p, for residues below
// p in either representation. The choice between two candidate results is
// made by a mask, not a branch.

// r = a + b mod p: a + b < 2p, so one subtraction of p at most.
template <std::size_t N>
inline void add_mod(Limb *r, const Limb *a, const Limb *b, const Limb *p) {
    Limb s[N], d[N];
    Limb carry = 0, borrow = 0;
    for (std::size_t i = 0; i < N; ++i) {
        const Wide t = Wide(a[i]) + b[i] + carry;  // below 2^(B+1): one carry bit
        s[i] = Limb(t);
        carry = Limb(t >> kLimbBits);
    }
    for (std::size_t i = 0; i < N; ++i) {
        const Wide t = Wide(s[i]) - p[i] - borrow;  // wraps: bit B is the borrow
        d[i] = Limb(t);
        borrow = Limb(t >> kLimbBits) & 1;
    }
    // a + b - p is negative only when the subtraction borrowed past a sum
    // that did not carry out.
    const Limb keep_sum = Limb(0) - (borrow & (carry ^ 1));
    for (std::size_t i = 0; i < N; ++i) r[i] = (s[i] & keep_sum) | (d[i] & ~keep_sum);
}

// r = a - b mod p: a - b, plus p when it borrowed.
template <std::size_t N>
inline void sub_mod(Limb *r, const Limb *a, const Limb *b, const Limb *p) {
    Limb d[N];
    Limb borrow = 0;
    for (std::size_t i = 0; i < N; ++i) {
        const Wide t = Wide(a[i]) - b[i] - borrow;
        d[i] = Limb(t);
        borrow = Limb(t >> kLimbBits) & 1;
    }
    const Limb add = Limb(0) - borrow;
    Limb carry = 0;
    for (std::size_t i = 0; i < N; ++i) {
        const Wide t = Wide(d[i]) + (p[i] & add) + carry;
        r[i] = Limb(t);
        carry = Limb(t >> kLimbBits);
    }
}

// r = a / 2 mod p: an odd a (p odd) gets p added first; the sum's carry
// becomes the top bit after the shift.
template <std::size_t N>
inline void half_mod(Limb *r, const Limb *a, const Limb *p) {
    const Limb add = Limb(0) - (a[0] & 1);
    Limb s[N];
    Limb carry = 0;
    for (std::size_t i = 0; i < N; ++i) {
        const Wide t = Wide(a[i]) + (p[i] & add) + carry;
        s[i] = Limb(t);
        carry = Limb(t >> kLimbBits);
    }
    for (std::size_t i = 0; i + 1 < N; ++i) r[i] = s[i] >> 1 | s[i + 1] << (kLimbBits - 1);
    r[N - 1] = s[N - 1] >> 1 | carry << (kLimbBits - 1);
}

inline bool fast_sf(const lnmpff_ctx *ctx) {
    return ctx->modulus[0] == kFastWords;
}
// The common operations take the same path for a 256-bit p of either form.
inline bool fast_common(const lnmpff_ctx *ctx) {
    return ctx->modulus[0] == kFastWords;
}

// Scratch for a product of two elements: 2 * 16 digits and the count, plus
// the two words the Montgomery reduction may touch above them.
constexpr uint32_t kProductWords = 2 * kMaxDigits + 3;
// Room for lnmdiv of an `in` argument times the one (up to 32 + 16 digits)
// with its three spare words.
constexpr uint32_t kInWords = LNMPFF_IN_MAX_DIGITS + kMaxDigits + 4;

// r = a mod p by long division by a private copy of p.
inline uint32_t *reduce(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r) {
    uint32_t m[kWords + 2];
    copy(m, ctx->modulus);
    lnmdiv(a, m, nullptr, r);
    return r;
}

}  // namespace

extern "C" {

// ---------------------------------------------------------------------------
// Common to both representations: both hold residues modulo p additively.

LNCEXT_API uint32_t *lnmpffsetzero(const lnmpff_ctx *, uint32_t *r) {
    r[0] = 0;
    return r;
}

LNCEXT_API uint32_t *lnmpffadd(const lnmpff_ctx *ctx, const uint32_t *a, const uint32_t *b,
                               uint32_t *r) {
    if (fast_common(ctx)) {
        Limb x[kFastLimbs], y[kFastLimbs], m[kFastLimbs];
        load_fast(x, a);
        load_fast(y, b);
        load_fast(m, ctx->modulus);
        add_mod<kFastLimbs>(x, x, y, m);
        return store_fast(r, x);
    }
    uint32_t s[kWords + 2];
    copy(s, a);
    lnmadd(s, b);
    if (cmp(s, ctx->modulus) >= 0) lnmsub(s, ctx->modulus);
    return copy(r, s);
}

LNCEXT_API uint32_t *lnmpffsub(const lnmpff_ctx *ctx, const uint32_t *a, const uint32_t *b,
                               uint32_t *r) {
    if (fast_common(ctx)) {
        Limb x[kFastLimbs], y[kFastLimbs], m[kFastLimbs];
        load_fast(x, a);
        load_fast(y, b);
        load_fast(m, ctx->modulus);
        sub_mod<kFastLimbs>(x, x, y, m);
        return store_fast(r, x);
    }
    uint32_t t[kWords + 2];
    copy(t, a);
    if (cmp(t, b) < 0) lnmadd(t, ctx->modulus);
    lnmsub(t, b);
    return copy(r, t);
}

LNCEXT_API uint32_t *lnmpffdiv2(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r) {
    if (fast_common(ctx)) {
        Limb x[kFastLimbs], m[kFastLimbs];
        load_fast(x, a);
        load_fast(m, ctx->modulus);
        half_mod<kFastLimbs>(x, x, m);
        return store_fast(r, x);
    }
    uint32_t t[kWords + 2];
    copy(t, a);
    if (t[0] != 0 && (t[1] & 1) != 0) lnmadd(t, ctx->modulus);
    lnmshr(t, 1, t);
    return copy(r, t);
}

// ---------------------------------------------------------------------------
// Special form: plain residues modulo p = 2^width - c, c = k0.

LNCEXT_API uint32_t *lnmpffpsfin(const lnmpff_ctx *ctx, uint32_t *r, const uint32_t *a) {
    if (cmp(a, ctx->modulus) < 0) return copy(r, a);
    uint32_t t[kInWords];
    reduce(ctx, a, t);
    return copy(r, t);
}

LNCEXT_API uint32_t *lnmpffpsfout(const lnmpff_ctx *, uint32_t *r, const uint32_t *a) {
    return copy(r, a);
}

LNCEXT_API uint32_t *lnmpffpsfsetone(const lnmpff_ctx *, uint32_t *r) {
    r[0] = 1;
    r[1] = 1;
    return r;
}

LNCEXT_API uint32_t *lnmpffpsfmul(const lnmpff_ctx *ctx, const uint32_t *a, const uint32_t *b,
                                  uint32_t *r) {
    if (fast_sf(ctx)) {
        Limb x[kFastLimbs], y[kFastLimbs], t[2 * kFastLimbs];
        load_fast(x, a);
        load_fast(y, b);
        mul_full<kFastLimbs>(t, x, y);
        fold<kFastLimbs>(x, t, ctx->k0);
        return store_fast(r, x);
    }
    uint32_t t[kProductWords];
    lnmmul(a, b, t);
    lnmmodsf(t, ctx->modulus, ctx->width, ctx->k0);
    return copy(r, t);
}

LNCEXT_API uint32_t *lnmpffpsfsqr(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r) {
    if (fast_sf(ctx)) {
        Limb x[kFastLimbs], t[2 * kFastLimbs];
        load_fast(x, a);
        sqr_full<kFastLimbs>(t, x);
        fold<kFastLimbs>(x, t, ctx->k0);
        return store_fast(r, x);
    }
    uint32_t t[kProductWords];
    lnmsqr(a, t);
    lnmmodsf(t, ctx->modulus, ctx->width, ctx->k0);
    return copy(r, t);
}

// The binary almost-inverse gives a^-1 2^k and its step count k; halving k
// times modulo p leaves a^-1. The big-number layer's inversion is exactly
// that method, so the slot is a call to it.
LNCEXT_API uint32_t *lnmpffpsfinv(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r) {
    uint32_t t[kWords];
    lnmmodinv(a, ctx->modulus, t);
    if (cmp(t, ctx->modulus) == 0) t[0] = 0;  // only for a = 0, which has no inverse
    return copy(r, t);
}

// ---------------------------------------------------------------------------
// Montgomery form: a held as a R mod p, R = 2^width.

LNCEXT_API uint32_t *lnmpffmontin(const lnmpff_ctx *ctx, uint32_t *r, const uint32_t *a) {
    uint32_t t[kInWords];
    lnmmul(a, ctx->one, t);
    reduce(ctx, t, t);
    return copy(r, t);
}

LNCEXT_API uint32_t *lnmpffmontout(const lnmpff_ctx *ctx, uint32_t *r, const uint32_t *a) {
    uint32_t t[kProductWords];
    copy(t, a);
    lnmmontcom(ctx->k0, ctx->width, ctx->modulus, t);
    return copy(r, t);
}

LNCEXT_API uint32_t *lnmpffmontsetone(const lnmpff_ctx *ctx, uint32_t *r) {
    return copy(r, ctx->one);
}

LNCEXT_API uint32_t *lnmpffmontmul(const lnmpff_ctx *ctx, const uint32_t *a, const uint32_t *b,
                                   uint32_t *r) {
    uint32_t t[kProductWords];
    lnmmulmont(ctx->k0, ctx->width, ctx->modulus, a, b, t);
    return copy(r, t);
}

LNCEXT_API uint32_t *lnmpffmontsqr(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r) {
    uint32_t t[kProductWords];
    lnmsqrmont(ctx->k0, ctx->width, ctx->modulus, a, t);
    return copy(r, t);
}

// A = a R. The plain inverse of a (by the almost-inverse of the big-number
// layer) taken back into the form gives a^-1 R, the same value as the
// almost-inverse of A followed by 2 width - k doublings.
LNCEXT_API uint32_t *lnmpffmontinv(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r) {
    uint32_t t[kProductWords];
    lnmpffmontout(ctx, t, a);
    lnmmodinv(t, ctx->modulus, t);
    lnmpffmontin(ctx, r, t);
    lncext::secure_wipe(t, sizeof t);
    return r;
}

// ---------------------------------------------------------------------------

LNCEXT_API lnmpff_ctx *lnmpff_init(lnmpff_ctx *ctx, const uint32_t *p) {
    if (ctx == nullptr || p == nullptr || p[0] == 0 || p[0] > kMaxDigits) return nullptr;
    std::memset(ctx, 0, sizeof *ctx);
    copy(ctx->modulus, p);
    const uint32_t n = p[0];
    ctx->width = 32 * n;
    ctx->setzero = lnmpffsetzero;
    ctx->add = lnmpffadd;
    ctx->sub = lnmpffsub;
    ctx->div2 = lnmpffdiv2;

    bool special = n > 1;
    for (uint32_t i = 2; i <= n; ++i) special &= p[i] == 0xFFFFFFFFu;
    if (special) {
        ctx->k0 = 0u - p[1];
        ctx->in = lnmpffpsfin;
        ctx->out = lnmpffpsfout;
        ctx->setone = lnmpffpsfsetone;
        ctx->mul = lnmpffpsfmul;
        ctx->sqr = lnmpffpsfsqr;
        ctx->inv = lnmpffpsfinv;
    } else {
        ctx->k0 = lnminverse(0u - p[1]);
        uint32_t one[kWords + 4];
        lnmunitymont(ctx->width, ctx->modulus, one);
        copy(ctx->one, one);
        ctx->in = lnmpffmontin;
        ctx->out = lnmpffmontout;
        ctx->setone = lnmpffmontsetone;
        ctx->mul = lnmpffmontmul;
        ctx->sqr = lnmpffmontsqr;
        ctx->inv = lnmpffmontinv;
    }
    return ctx;
}

// Sliding window of 5 bits over the odd powers x, x^3, ..., x^31, built with
// x^2 and kept in the representation.
LNCEXT_API uint32_t *lnmpffpow(const lnmpff_ctx *ctx, const uint32_t *x, const uint32_t *e,
                               uint32_t *r) {
    uint32_t table[LNMEC_WINDOW_ENTRIES][kWords];
    uint32_t acc[kWords];
    ctx->sqr(ctx, x, table[0]);
    ctx->mul(ctx, x, table[0], table[1]);
    for (uint32_t i = 2; i < LNMEC_WINDOW_ENTRIES; ++i)
        ctx->mul(ctx, table[0], table[i - 1], table[i]);
    copy(table[0], x);
    ctx->setone(ctx, acc);
    lncext::bn::slide_loop(
        e, LNMEC_WINDOW, [&] { ctx->sqr(ctx, acc, acc); },
        [&](uint32_t k) { ctx->mul(ctx, acc, table[k], acc); });
    copy(r, acc);
    lncext::secure_wipe(table, sizeof table);
    lncext::secure_wipe(acc, sizeof acc);
    return r;
}

}  // extern "C"
