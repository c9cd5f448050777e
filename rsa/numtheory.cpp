// Number theory of the RSA path: the sliding-window exponentiation modulo a
// prime, Euclid's greatest common divisor, the modular inverse over signed
// big numbers, and the bit strings of the prime sieve.
#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

#include "bignum/window.hpp"
#include "lncext/bignum.h"
#include "lncext/rsa.h"
#include "rsa/rsa_internal.hpp"

namespace {

using lncext::rsa::kNumWords;
using lncext::rsa::kWideWords;
using lncext::rsa::wipe;

// Odd powers x^1, x^3, ..., x^31 of a 5-bit window.
constexpr uint32_t kWindow = 5;
constexpr uint32_t kSlots = 1u << (kWindow - 1);

// GCD works on numbers of up to 64 words; lnmdiv asks for three words above
// the dividend.
constexpr uint32_t kGcdWords = 64 + 4;
// inv_mod_extgcd: up to 128 words, the same margin.
constexpr uint32_t kInvWords = 128 + 4;

int32_t sign_of(const uint32_t *a) {
    return int32_t(a[LNMSI_SIGN]);
}

void set_sign(uint32_t *a, int32_t s) {
    a[LNMSI_SIGN] = uint32_t(s);
}

}  // namespace

extern "C" {

LNCEXT_API uint32_t *rsapowmod(const uint32_t *x, const uint32_t *e, uint32_t *m, uint32_t *r) {
    const uint32_t minv = lnminverse(0u - m[1]);
    const uint32_t Rbits = 32 * m[0];
    uint32_t table[kSlots][kNumWords];
    uint32_t xm[kWideWords], a[kWideWords], b[kWideWords];

    // x into Montgomery form: x R^2 / R.
    lnmunitymont(2 * Rbits, m, a);
    lnmmulmont(minv, Rbits, m, x, a, xm);
    // Slot k holds xm^(2k + 1): slot 0 is xm^2 while the others are built.
    lnmsqrmont(minv, Rbits, m, xm, a);
    lncext::bn::copy(table[0], a);
    lnmmulmont(minv, Rbits, m, table[0], xm, a);
    lncext::bn::copy(table[1], a);
    for (uint32_t k = 2; k < kSlots; ++k) {
        lnmmulmont(minv, Rbits, m, table[0], table[k - 1], a);
        lncext::bn::copy(table[k], a);
    }
    lncext::bn::copy(table[0], xm);

    // The accumulator starts at 1 in Montgomery form (R mod m) and moves
    // between two buffers, one product per step.
    uint32_t *acc = a, *tmp = b;
    lnmunitymont(Rbits, m, acc);
    lncext::bn::slide_loop(
        e, kWindow,
        [&] {
            lnmsqrmont(minv, Rbits, m, acc, tmp);
            std::swap(acc, tmp);
        },
        [&](uint32_t k) {
            lnmmulmont(minv, Rbits, m, acc, table[k], tmp);
            std::swap(acc, tmp);
        });
    lnmmontcom(minv, Rbits, m, acc);
    lncext::bn::copy(r, acc);

    // Powers of a possibly secret base under a possibly secret exponent.
    lncext::secure_wipe(table, sizeof table);
    wipe(xm);
    wipe(a);
    wipe(b);
    return r;
}

LNCEXT_API uint32_t *GCD(const uint32_t *a, const uint32_t *b, uint32_t *g) {
    uint32_t x[kGcdWords], y[kGcdWords], t[kGcdWords];
    // x the larger, y the smaller (a when they are equal).
    if (lncext::bn::cmp(a, b) > 0) {
        lncext::bn::copy(x, a);
        lncext::bn::copy(y, b);
    } else {
        lncext::bn::copy(x, b);
        lncext::bn::copy(y, a);
    }
    while (x[0] != 0) {
        lnmdiv(y, x, nullptr, t);
        lncext::bn::copy(y, x);
        lncext::bn::copy(x, t);
    }
    lncext::bn::copy(g, y);
    wipe(x);
    wipe(y);
    wipe(t);
    return g;
}

LNCEXT_API uint32_t *inv_mod_extgcd(uint32_t *a, const uint32_t *m) {
    uint32_t r0[kInvWords], r1[kInvWords], rem[kInvWords], q[kInvWords];
    uint32_t s0[LNMSI_WORDS], s1[LNMSI_WORDS], sn[LNMSI_WORDS];
    lncext::bn::copy(r0, m);
    lncext::bn::copy(r1, a);
    lnmsicr(s0, LNMBIG_ZERO);
    lnmsicr(s1, LNMBIG_ONE);
    // Invariant: r_i = s_i a (mod m). The loop also ends at a zero
    // remainder, which only a non-invertible a reaches; a then becomes 0.
    while (!(r1[0] == 1 && r1[1] == 1) && r1[0] != 0) {
        lnmdiv(r0, r1, q, rem);
        lnmsisubmul(sn, s0, q, s1);
        lncext::bn::copy(r0, r1);
        lncext::bn::copy(r1, rem);
        lnmsicopy(s0, s1);
        lnmsicopy(s1, sn);
    }
    if (r1[0] == 0) {
        a[0] = 0;
    } else {
        // |s1| < m for 0 < a < m; reduce anyway so that a stays below m.
        lncext::bn::copy(rem, m);
        lnmdiv(s1, rem, nullptr, r0);
        if (sign_of(s1) < 0 && r0[0] != 0) {
            lncext::bn::copy(a, m);
            lnmsub(a, r0);
        } else {
            lncext::bn::copy(a, r0);
        }
    }
    wipe(r0);
    wipe(r1);
    wipe(rem);
    wipe(q);
    wipe(s0);
    wipe(s1);
    wipe(sn);
    return a;
}

// ---- Signed big numbers ----

LNCEXT_API uint32_t *lnmsicr(uint32_t *r, const uint32_t *a) {
    lncext::bn::copy(r, a);
    set_sign(r, 1);
    return r;
}

LNCEXT_API uint32_t *lnmsicopy(uint32_t *r, const uint32_t *a) {
    lncext::bn::copy(r, a);
    set_sign(r, sign_of(a));
    return r;
}

LNCEXT_API uint32_t *lnmsisub(uint32_t *a, const uint32_t *b) {
    const int32_t sa = sign_of(a);
    if (sa != sign_of(b)) {
        // a - b = sign(a) (|a| + |b|). The sign word sits above the 128
        // digits, where a carry out of the largest magnitudes would land.
        lnmadd(a, b);
        set_sign(a, sa);
    } else if (lncext::bn::cmp(a, b) < 0) {
        uint32_t t[LNMSI_WORDS];
        lncext::bn::copy(t, b);
        lnmsub(t, a);
        lncext::bn::copy(a, t);
        set_sign(a, -sa);
        wipe(t);
    } else {
        lnmsub(a, b);
    }
    return a;
}

LNCEXT_API uint32_t *lnmsisubmul(uint32_t *r, const uint32_t *a, const uint32_t *q,
                                 const uint32_t *b) {
    // q |b| may take one word more than a signed number holds before the
    // subtraction brings it back.
    uint32_t prod[2 * LNMSI_WORDS];
    lnmmul(q, b, prod);
    lncext::bn::clip(prod);
    set_sign(prod, sign_of(b));
    lnmsicopy(r, a);
    lnmsisub(r, prod);
    wipe(prod);
    return r;
}

// ---- Bit strings ----

LNCEXT_API void lnmbscr(uint32_t *bs, uint32_t nbits, uint32_t fill) {
    const uint32_t words = nbits / 32 + (nbits % 32 != 0 ? 1 : 0);
    bs[0] = words;
    for (uint32_t i = 1; i <= words; ++i) bs[i] = fill;
}

LNCEXT_API uint32_t lnmbslen(const uint32_t *bs) {
    return 32 * bs[0];
}

LNCEXT_API int lnmbssetbit(uint32_t *bs, uint32_t i, int v) {
    const uint32_t w = i / 32 + 1;
    if (w > bs[0]) return -1;
    const uint32_t bit = 1u << (i % 32);
    if (v != 0)
        bs[w] |= bit;
    else
        bs[w] &= ~bit;
    return v;
}

LNCEXT_API uint32_t lnmbsnextval(const uint32_t *bs, uint32_t i, int v) {
    const uint32_t len = 32 * bs[0];
    const uint32_t flip = v != 0 ? 0u : 0xFFFFFFFFu;
    // Whole words at a time: the bits equal to v become ones.
    for (uint32_t pos = i + 1; pos < len;) {
        const uint32_t w = pos / 32;
        const uint32_t bits = (bs[w + 1] ^ flip) >> (pos % 32);
        if (bits != 0) return pos + uint32_t(std::countr_zero(bits));
        pos = 32 * (w + 1);
    }
    return 0xFFFFFFFFu;
}

}  // extern "C"
