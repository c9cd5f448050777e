// Modular inversion by the almost-inverse method (shifts, additions and
// subtractions only) and reduction modulo primes of the form 2^k - c.
#include <bit>
#include <cstdint>
#include <cstring>

#include "bignum/bignum_internal.hpp"
#include "bignum/words.hpp"
#include "common/wipe.hpp"
#include "lncext/bignum.h"

namespace {

namespace words = lncext::words;

// The inversion works on bare limb arrays of a fixed width, least significant
// first. A limb is two words on 64-bit hosts (the word pairs are packed
// little-endian) and one word elsewhere: the method is all shifts and
// additions, so wider limbs simply halve the passes.
#if UINTPTR_MAX > 0xFFFFFFFFu
using Limb = uint64_t;
#else
using Limb = uint32_t;
#endif
constexpr unsigned kLimbBits = 8 * sizeof(Limb);
constexpr size_t kWordsPerLimb = sizeof(Limb) / sizeof(uint32_t);
// A full-size number (258 digits) in limbs, rounded up.
constexpr size_t kMaxLimbs = (LNMBIG_WORDS + kWordsPerLimb - 1) / kWordsPerLimb;

// Shift counts are 1 to kLimbBits - 1.
inline void shr_n(Limb *a, size_t n, unsigned s) {
    for (size_t i = 0; i + 1 < n; ++i) a[i] = (a[i] >> s) | (a[i + 1] << (kLimbBits - s));
    a[n - 1] >>= s;
}

inline void shl_n(Limb *a, size_t n, unsigned s) {
    for (size_t i = n - 1; i > 0; --i) a[i] = (a[i] << s) | (a[i - 1] >> (kLimbBits - s));
    a[0] <<= s;
}

inline bool is_zero(const Limb *a, size_t n) {
    Limb acc = 0;
    for (size_t i = 0; i < n; ++i) acc |= a[i];
    return acc == 0;
}

// Trailing zero bits of a non-zero even a, capped so that one shift call
// does them; a longer run simply takes further rounds.
inline unsigned low_zeros(const Limb *a) {
    return a[0] == 0 ? kLimbBits - 1 : unsigned(std::countr_zero(a[0]));
}

// Digits src[0 .. words) into limbs dst[0 .. limbs), zero-extended.
inline void to_limbs(Limb *dst, size_t limbs, const uint32_t *src, size_t words) {
    std::memset(dst, 0, limbs * sizeof(Limb));
    for (size_t i = 0; i < words; ++i)
        dst[i / kWordsPerLimb] |= Limb(src[i]) << (32 * (i % kWordsPerLimb));
}

inline void from_limbs(uint32_t *dst, size_t words, const Limb *src) {
    for (size_t i = 0; i < words; ++i)
        dst[i] = uint32_t(src[i / kWordsPerLimb] >> (32 * (i % kWordsPerLimb)));
}

// The method on limb arrays of `width` limbs (N limbs when N is not zero, so
// that the passes unroll for the common small moduli): x1 = a^-1 mod m in
// limbs, from u = m and v = a. Returns in x1; u, v, x2 are scratch.
template <size_t N>
void almost_inverse(Limb *u, Limb *v, Limb *x1, Limb *x2, const Limb *mm, size_t width) {
    if (N != 0) width = N;
    const size_t bytes = width * sizeof(Limb);
    std::memset(x1, 0, bytes);
    std::memset(x2, 0, bytes);
    x2[0] = 1;

    // Each round does one step of the method and, where the next steps are
    // bound to be halvings of the same number, all of them at once: the
    // counter advances by the number of single steps taken. v reaches zero
    // only through v - u = 0, which ends the loop.
    uint32_t steps = 0;
    bool more = !is_zero(v, width);
    while (more) {
        if ((u[0] & 1) == 0) {
            const unsigned s = low_zeros(u);
            shr_n(u, width, s);
            shl_n(x2, width, s);
            steps += s;
        } else if ((v[0] & 1) == 0) {
            const unsigned s = low_zeros(v);
            shr_n(v, width, s);
            shl_n(x1, width, s);
            steps += s;
        } else if (words::cmp(u, v, width) > 0) {
            // (u - v) / 2, then further halvings of u while it stays even.
            words::sub(u, u, v, width);
            words::add(x1, x1, x2, width);
            const unsigned s = low_zeros(u);
            shr_n(u, width, s);
            shl_n(x2, width, s);
            steps += s;
        } else {
            words::sub(v, v, u, width);
            words::add(x2, x2, x1, width);
            if (is_zero(v, width)) {
                shl_n(x1, width, 1);
                steps += 1;
                more = false;
            } else {
                const unsigned s = low_zeros(v);
                shr_n(v, width, s);
                shl_n(x1, width, s);
                steps += s;
            }
        }
    }

    // x1 < 2m; x1 = m - (x1 mod m) = a^-1 2^steps mod m.
    words::reduce_once(x1, x1, Limb(0), mm, width);
    words::sub(x1, mm, x1, width);

    // Divide by 2^steps: an odd x1 is made even by adding m (x1 + m < 2m),
    // then every trailing zero bit is one halving. Zero stays zero.
    if (is_zero(x1, width)) steps = 0;
    while (steps != 0) {
        if (x1[0] & 1) words::add(x1, x1, mm, width);
        unsigned s = low_zeros(x1);
        if (s == 0) s = 1;  // only for an even m, which has no such inverse
        if (s > steps) s = steps;
        shr_n(x1, width, s);
        steps -= s;
    }
}

}  // namespace

extern "C" {

LNCEXT_API uint32_t *lnmmodinv(const uint32_t *a, const uint32_t *m, uint32_t *r) {
    const size_t mn = m[0];
    if (mn == 0) {  // no inverse modulo zero; also keeps the loops below finite
        r[0] = 0;
        return r;
    }
    // All four numbers fit `width` limbs: u and v never exceed max(a, m),
    // and u x2 + v x1 = m holds after every step, which keeps x1 and x2
    // below 2m.
    const size_t words = (a[0] > mn ? a[0] : mn) + 1;
    const size_t width = (words + kWordsPerLimb - 1) / kWordsPerLimb;
    Limb u[kMaxLimbs], v[kMaxLimbs], x1[kMaxLimbs], x2[kMaxLimbs], mm[kMaxLimbs];
    to_limbs(mm, width, m + 1, mn);
    std::memcpy(u, mm, width * sizeof(Limb));
    to_limbs(v, width, a + 1, a[0]);
    // Curve-sized moduli get unrolled passes: up to 9 limbs, that is moduli
    // of up to 544 bits with 64-bit limbs and 256 bits with 32-bit ones.
    using Core = void (*)(Limb *, Limb *, Limb *, Limb *, const Limb *, size_t);
    constexpr Core kCores[] = {almost_inverse<0>, almost_inverse<1>, almost_inverse<2>,
                               almost_inverse<3>, almost_inverse<4>, almost_inverse<5>,
                               almost_inverse<6>, almost_inverse<7>, almost_inverse<8>,
                               almost_inverse<9>};
    kCores[width < 10 ? width : 0](u, v, x1, x2, mm, width);

    // The result is at most m, so it fits m's words; r may be a (read above).
    r[0] = uint32_t(mn);
    from_limbs(r + 1, mn, x1);
    lncext::bn::clip(r);

    const size_t bytes = width * sizeof(Limb);
    lncext::secure_wipe(u, bytes);
    lncext::secure_wipe(v, bytes);
    lncext::secure_wipe(x1, bytes);
    lncext::secure_wipe(x2, bytes);
    return r;
}

LNCEXT_API uint32_t *lnmmodsf(uint32_t *t, const uint32_t *p, uint32_t k, uint32_t c) {
    const uint32_t w = k / 32;
    const uint32_t entry_count = t[0];
    if (w == 0) return t;
    if (w == 1) {
        // A one-word modulus: the folds below assume 2^64 <= 2^k, so divide.
        const uint32_t rem = lnmmodd(t, p[1]);
        t[0] = rem != 0;
        if (rem != 0) t[1] = rem;
    } else {
        uint32_t *low = t + 1;
        bool wrapped = false;
        if (entry_count > w) {
            // t = L + H 2^k = L + c H (mod p): fold H in with the single word c.
            const uint32_t *high = t + 1 + w;
            const uint32_t hn = entry_count - w;
            const uint32_t fold = hn < w ? hn : w;
            uint32_t carry = words::addmul_1(low, high, fold, c);
            // The carry runs up through the words above the fold; when the
            // fold covers all w words it stays a whole word (at most c).
            carry = words::add_1(low + fold, low + fold, w - fold, carry);
            // The carry out of 2^k (at most c) is folded again: + carry * c,
            // a two-word value since w >= 2.
            const uint64_t vc = uint64_t(carry) * c;
            const uint32_t vcw[2] = {uint32_t(vc), uint32_t(vc >> 32)};
            const uint32_t cy = words::add(low, low, vcw, 2);
            wrapped = words::add_1(low + 2, low + 2, w - 2, cy) != 0;
            t[0] = w;
            if (wrapped) {
                // The value is 2^k + L' with L' < c^2; 2^k = c (mod p) and
                // L' + c <= c^2 + c is below p, so adding c finishes.
                words::add_1(low, low, w, c);
            }
            lncext::bn::clip(t);
        }
        if (!wrapped && t[0] == w) {
            // t < 2^k; t >= p = 2^k - c exactly when every word above the
            // lowest is all ones and the lowest is at least p[1]. Then t - p
            // is below c: a single word.
            bool upper_ones = true;
            for (uint32_t i = 1; i < w; ++i) upper_ones &= low[i] == 0xFFFFFFFFu;
            if (upper_ones && low[0] >= p[1]) {
                low[0] -= p[1];
                t[0] = low[0] != 0;
            }
        }
    }
    if (entry_count > t[0]) std::memset(t + t[0] + 1, 0, (entry_count - t[0]) * sizeof(uint32_t));
    return t;
}

}  // extern "C"
