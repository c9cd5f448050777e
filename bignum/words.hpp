// Word-array arithmetic: the one home of the carry and borrow loops of the
// big-number layer and of the layers built on it.
//
// Arrays are least significant word first with an explicit length n and no
// count word; n may be 0 everywhere. A result array r may be the very same
// array as an input (r == a, or r == b where there is a b) or disjoint from
// it, never partly overlapping. Each function returns what leaves the top
// word: a carry or borrow of 0 or 1, or a whole word for the products.
//
// The words are 32-bit digits; the additive functions also take 64-bit limbs
// for code that packs two digits into one (the modular inverse on 64-bit
// hosts). words::generic holds the portable bodies of the functions that have
// faster ones; the functions of words itself keep the carry in the flag
// register on x86 (adc/sbb chains, two digits per step on x86_64) and take
// the products two digits at a time where the target has a 128-bit integer.
// Both give identical results, and the tests compare them.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/platform.hpp"
#if defined(LNCEXT_HAVE_X86)
#include <x86intrin.h>
#endif

namespace lncext::words {

template <class W>
concept Word = std::same_as<W, uint32_t> || std::same_as<W, uint64_t>;

namespace generic {

// One digit of an addition: returns a + b + c for a carry c of 0 or 1 and
// leaves the carry out in c. a + b + c <= 2 (2^k - 1) + 1 < 2^(k+1), so the
// carry out is again one bit; of the two additions of the limb form at most
// one wraps (a + c wraps only to 0).
template <Word W>
inline W adc(W a, W b, W &c) {
    if constexpr (std::same_as<W, uint32_t>) {
        const uint64_t s = uint64_t(a) + b + c;
        c = uint32_t(s >> 32);
        return uint32_t(s);
    } else {
        W s = a + c;
        const W c1 = s < c;
        s += b;
        c = c1 | W(s < b);
        return s;
    }
}

// One digit of a subtraction: a - b - c, borrow out in c. The difference is
// at least -2^k, so the borrow is one bit; when a < b, a - b is not zero and
// taking c from it cannot borrow again.
template <Word W>
inline W sbb(W a, W b, W &c) {
    if constexpr (std::same_as<W, uint32_t>) {
        const uint64_t d = uint64_t(a) - b - c;
        c = uint32_t(d >> 63);
        return uint32_t(d);
    } else {
        const W d = a - b;
        const W b1 = a < b;
        const W e = d - c;
        c = b1 | W(d < c);
        return e;
    }
}

// r = a + (b & mask); returns the carry (0 or 1). With mask 0 or all ones
// this is a conditional addition whose time and memory accesses do not
// depend on the mask.
template <Word W>
inline W add_masked(W *r, const W *a, const W *b, W mask, std::size_t n) {
    W c = 0;
    for (std::size_t i = 0; i < n; i++) r[i] = adc(a[i], W(b[i] & mask), c);
    return c;
}

// r = a - (b & mask); returns the borrow (0 or 1); constant time as above.
template <Word W>
inline W sub_masked(W *r, const W *a, const W *b, W mask, std::size_t n) {
    W c = 0;
    for (std::size_t i = 0; i < n; i++) r[i] = sbb(a[i], W(b[i] & mask), c);
    return c;
}

template <Word W>
inline W add(W *r, const W *a, const W *b, std::size_t n) {
    return add_masked(r, a, b, ~W(0), n);
}

template <Word W>
inline W sub(W *r, const W *a, const W *b, std::size_t n) {
    return sub_masked(r, a, b, ~W(0), n);
}

// r = a * w; returns the high word. Per digit a w + c <= (2^32 - 1)^2 +
// 2^32 - 1 < 2^64, so the carry c always fits a word.
inline uint32_t mul_1(uint32_t *r, const uint32_t *a, std::size_t n, uint32_t w) {
    uint32_t c = 0;
    for (std::size_t i = 0; i < n; i++) {
        const uint64_t t = uint64_t(w) * a[i] + c;
        r[i] = uint32_t(t);
        c = uint32_t(t >> 32);
    }
    return c;
}

// r += a * w; returns the carry word. Per digit a w + r + c <= (2^32 - 1)^2
// + 2 (2^32 - 1) = 2^64 - 1; in all, r + a w < 2^(32 (n + 1)).
inline uint32_t addmul_1(uint32_t *r, const uint32_t *a, std::size_t n, uint32_t w) {
    uint32_t c = 0;
    for (std::size_t i = 0; i < n; i++) {
        const uint64_t t = uint64_t(w) * a[i] + r[i] + c;
        r[i] = uint32_t(t);
        c = uint32_t(t >> 32);
    }
    return c;
}

// r -= a * w; returns the borrow word, at most w (a w < w 2^(32n)). Per digit
// a w + c <= (2^32 - 1)^2 + 2^32 < 2^64, with c the borrow so far (<= 2^32).
inline uint32_t submul_1(uint32_t *r, const uint32_t *a, std::size_t n, uint32_t w) {
    uint64_t c = 0;
    for (std::size_t i = 0; i < n; i++) {
        const uint64_t p = uint64_t(w) * a[i] + c;
        const uint32_t lo = uint32_t(p);
        c = (p >> 32) + (r[i] < lo ? 1 : 0);
        r[i] -= lo;
    }
    return uint32_t(c);
}

}  // namespace generic

#if defined(LNCEXT_HAVE_X86_64) || defined(LNCEXT_HAVE_INT128)
// Two neighbouring digits as one 64-bit limb, low digit first (the limb at
// digit i is p[i] + p[i + 1] 2^32): the order of a little-endian host, so a
// plain load. Only where the fast bodies and kernels take digit pairs.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "digit pairs load little-endian");
inline uint64_t ld64(const uint32_t *p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}
inline void st64(uint32_t *p, uint64_t v) {
    std::memcpy(p, &v, 8);
}
#endif

namespace detail {

#if defined(LNCEXT_HAVE_X86)
// One step of the x86 carry chain (Sub false) or borrow chain (Sub true).
template <bool Sub>
inline unsigned char step32(unsigned char c, unsigned int x, unsigned int y, unsigned int *s) {
    if constexpr (Sub)
        return _subborrow_u32(c, x, y, s);
    else
        return _addcarry_u32(c, x, y, s);
}
#endif
#if defined(LNCEXT_HAVE_X86_64)
template <bool Sub>
inline unsigned char step64(unsigned char c, unsigned long long x, unsigned long long y,
                            unsigned long long *s) {
    if constexpr (Sub)
        return _subborrow_u64(c, x, y, s);
    else
        return _addcarry_u64(c, x, y, s);
}
#endif

// r = a + (b & mask) or, with Sub, r = a - (b & mask); returns the carry or
// borrow (0 or 1). On x86 one carry instruction a limb (two digits a limb
// on x86-64); elsewhere the generic bodies.
template <bool Sub, Word W>
inline W chain_masked(W *r, const W *a, const W *b, W mask, std::size_t n) {
#if defined(LNCEXT_HAVE_X86)
    if constexpr (std::same_as<W, uint32_t>) {
        unsigned char c = 0;
        std::size_t i = 0;
#if defined(LNCEXT_HAVE_X86_64)
        const uint64_t mask2 = uint64_t(mask) << 32 | mask;
        for (; i + 2 <= n; i += 2) {
            unsigned long long s;
            c = step64<Sub>(c, ld64(a + i), ld64(b + i) & mask2, &s);
            st64(r + i, s);
        }
#endif
        for (; i < n; i++) {
            unsigned int s;
            c = step32<Sub>(c, a[i], b[i] & mask, &s);
            r[i] = s;
        }
        return c;
    }
#if defined(LNCEXT_HAVE_X86_64)
    else {
        unsigned char c = 0;
        for (std::size_t i = 0; i < n; i++) {
            unsigned long long s;
            c = step64<Sub>(c, a[i], b[i] & mask, &s);
            r[i] = s;
        }
        return c;
    }
#endif
#endif
    if constexpr (Sub)
        return generic::sub_masked(r, a, b, mask, n);
    else
        return generic::add_masked(r, a, b, mask, n);
}

}  // namespace detail

// r = a + (b & mask); returns the carry (0 or 1). With a mask of 0 or all
// ones, a conditional addition whose time and memory accesses do not depend
// on the mask. Every step loads before it stores, so r may be a or b.
template <Word W>
inline W add_masked(W *r, const W *a, const W *b, W mask, std::size_t n) {
    return detail::chain_masked<false>(r, a, b, mask, n);
}

// r = a - (b & mask); returns the borrow (0 or 1); constant time as above.
template <Word W>
inline W sub_masked(W *r, const W *a, const W *b, W mask, std::size_t n) {
    return detail::chain_masked<true>(r, a, b, mask, n);
}

// r = a + b; returns the carry (0 or 1).
template <Word W>
inline W add(W *r, const W *a, const W *b, std::size_t n) {
    return add_masked(r, a, b, ~W(0), n);
}

// r = a - b; returns the borrow (0 or 1).
template <Word W>
inline W sub(W *r, const W *a, const W *b, std::size_t n) {
    return sub_masked(r, a, b, ~W(0), n);
}

// r = a + w for a single word w; returns (a + w) >> (k n) for k-bit words:
// the carry (0 or 1), or w itself when n is 0. The carry dies at the first
// word that does not wrap; from there on a is only copied (nothing at all
// when r is a), so the time depends on how far the carry runs.
template <Word W>
inline W add_1(W *r, const W *a, std::size_t n, W w) {
    std::size_t i = 0;
    for (; i < n && w != 0; i++) {
        const W s = a[i] + w;
        w = s < w;  // a + w < 2^(k+1): a one-bit carry
        r[i] = s;
    }
    if (r != a && i < n) std::memcpy(r + i, a + i, (n - i) * sizeof(W));
    return w;
}

// r = a - w; returns the borrow (0 or 1), or w itself when n is 0. Stops
// early as add_1 does.
template <Word W>
inline W sub_1(W *r, const W *a, std::size_t n, W w) {
    std::size_t i = 0;
    for (; i < n && w != 0; i++) {
        const W d = a[i] - w;
        w = a[i] < w;  // a - w >= -2^k: a one-bit borrow
        r[i] = d;
    }
    if (r != a && i < n) std::memcpy(r + i, a + i, (n - i) * sizeof(W));
    return w;
}

// 1, 0 or -1 as a > b, a == b, a < b. Scans down from the top word and stops
// at the first that differs.
template <Word W>
inline int cmp(const W *a, const W *b, std::size_t n) {
    while (n-- != 0) {
        if (a[n] != b[n]) return a[n] > b[n] ? 1 : -1;
    }
    return 0;
}

// The final step of a reduction: with A = top 2^(k n) + a below 2 m, sets
// r = A - m when A >= m and r = A otherwise (r < m fits n words). Returns 1
// when it subtracted. Always subtracts, then adds m back under a mask, so the
// time does not depend on the outcome; r may be a, but not m.
// A >= m exactly when the borrow out of a - m is absorbed by top, that is
// unless top < borrow (top is 0 or 1 under the bound).
template <Word W>
inline W reduce_once(W *r, const W *a, W top, const W *m, std::size_t n) {
    const W borrow = sub(r, a, m, n);
    const W below = W(top < borrow);
    add_masked(r, r, m, W(0) - below, n);
    return below ^ 1;
}

// r = a * w; returns the high word (bounds as in generic::mul_1).
inline uint32_t mul_1(uint32_t *r, const uint32_t *a, std::size_t n, uint32_t w) {
#if defined(LNCEXT_HAVE_INT128)
    // Two digits per step: x w + c <= (2^64 - 1)(2^32 - 1) + 2^32 - 1
    // < 2^96, so the carry to the next limb stays below 2^32 and the odd
    // last digit takes the word step's bound.
    uint64_t c = 0;
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2) {
        const unsigned __int128 t = (unsigned __int128)(w)*ld64(a + i) + c;
        st64(r + i, uint64_t(t));
        c = uint64_t(t >> 64);
    }
    if (i < n) {
        const uint64_t t = uint64_t(w) * a[i] + c;
        r[i] = uint32_t(t);
        c = t >> 32;
    }
    return uint32_t(c);
#else
    return generic::mul_1(r, a, n, w);
#endif
}

// r += a * w; returns the carry word (bounds as in generic::addmul_1).
inline uint32_t addmul_1(uint32_t *r, const uint32_t *a, std::size_t n, uint32_t w) {
#if defined(LNCEXT_HAVE_INT128)
    // Two digits per step: x w + r + c <= (2^64 - 1)(2^32 - 1) + 2^64 - 1
    // + 2^32 - 1 = 2^96 - 1 while c < 2^32, so the carry to the next limb
    // stays below 2^32 and the odd last digit takes the word step's bound.
    uint64_t c = 0;
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2) {
        const unsigned __int128 t = (unsigned __int128)(w)*ld64(a + i) + ld64(r + i) + c;
        st64(r + i, uint64_t(t));
        c = uint64_t(t >> 64);
    }
    if (i < n) {
        const uint64_t t = uint64_t(w) * a[i] + r[i] + c;
        r[i] = uint32_t(t);
        c = t >> 32;
    }
    return uint32_t(c);
#else
    return generic::addmul_1(r, a, n, w);
#endif
}

// r -= a * w; returns the borrow word, at most w (bounds as in
// generic::submul_1).
inline uint32_t submul_1(uint32_t *r, const uint32_t *a, std::size_t n, uint32_t w) {
#if defined(LNCEXT_HAVE_INT128)
    // x w + c <= (2^32 - 1)(2^64 - 1) + 2^32 < 2^96: the high part is below
    // 2^32 and adding the borrow bit cannot wrap it: c <= 2^32 throughout.
    uint64_t c = 0;
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2) {
        const unsigned __int128 p = (unsigned __int128)(w)*ld64(a + i) + c;
        const uint64_t lo = uint64_t(p), ri = ld64(r + i);
        c = uint64_t(p >> 64) + (ri < lo ? 1 : 0);
        st64(r + i, ri - lo);
    }
    if (i < n) {
        // c <= 2^32, so x w + c < 2^64 for the odd last digit.
        const uint64_t p = uint64_t(w) * a[i] + c;
        const uint32_t lo = uint32_t(p);
        c = (p >> 32) + (r[i] < lo ? 1 : 0);
        r[i] -= lo;
    }
    return uint32_t(c);
#else
    return generic::submul_1(r, a, n, w);
#endif
}

#if defined(LNCEXT_HAVE_INT128)
// r = a * w over 64-bit limbs; returns the high limb. Per limb a w + c <=
// (2^64 - 1)^2 + 2^64 - 1 < 2^128, so the carry c always fits a limb.
inline uint64_t mul_1(uint64_t *r, const uint64_t *a, std::size_t n, uint64_t w) {
    uint64_t c = 0;
    for (std::size_t i = 0; i < n; i++) {
        const unsigned __int128 t = (unsigned __int128)(w)*a[i] + c;
        r[i] = uint64_t(t);
        c = uint64_t(t >> 64);
    }
    return c;
}

// r += a * w over 64-bit limbs; returns the carry limb. Per limb a w + r + c
// <= (2^64 - 1)^2 + 2 (2^64 - 1) = 2^128 - 1.
inline uint64_t addmul_1(uint64_t *r, const uint64_t *a, std::size_t n, uint64_t w) {
    uint64_t c = 0;
    for (std::size_t i = 0; i < n; i++) {
        const unsigned __int128 t = (unsigned __int128)(w)*a[i] + r[i] + c;
        r[i] = uint64_t(t);
        c = uint64_t(t >> 64);
    }
    return c;
}

// r -= a * w over 64-bit limbs; returns the borrow limb, at most w. Per limb
// a w + c <= (2^64 - 1)^2 + 2^64 - 1 = 2^128 - 2^64: the high half reaches
// 2^64 - 1 only when the low half is 0, which cannot borrow, so adding the
// borrow bit never wraps c.
inline uint64_t submul_1(uint64_t *r, const uint64_t *a, std::size_t n, uint64_t w) {
    uint64_t c = 0;
    for (std::size_t i = 0; i < n; i++) {
        const unsigned __int128 p = (unsigned __int128)(w)*a[i] + c;
        const uint64_t lo = uint64_t(p);
        c = uint64_t(p >> 64) + (r[i] < lo ? 1 : 0);
        r[i] -= lo;
    }
    return c;
}
#endif

}  // namespace lncext::words
