// GF(2^m) elements (lnm2_poly): making and copying, bits, degree,
// comparisons, conversions to and from bytes and big numbers, inversion.
//
// An element is its count word followed by that many coefficient words;
// counts are fixed per field and never trimmed, so every loop here runs over
// the count, not over the significant words.
#include <cstdint>
#include <cstring>
#include <utility>

#include "common/wipe.hpp"
#include "ec2/field_kernels.hpp"
#include "lncext/dstu4145.h"

namespace {

// Coefficient words an element record can hold.
constexpr uint32_t max_words = LNM2_POLY_WORDS - 1;

// Index of the highest set bit of a non-zero word.
inline int top_bit(uint32_t w) {
    return 31 - __builtin_clz(w);
}

// Degree of the n-word polynomial p (0 for zero, as for one).
inline int degree(const uint32_t *p, uint32_t n) {
    for (uint32_t i = n; i-- > 0;)
        if (p[i]) return int(32 * i) + top_bit(p[i]);
    return 0;
}

inline bool is_zero(const uint32_t *p, uint32_t n) {
    uint32_t acc = 0;
    for (uint32_t i = 0; i < n; i++) acc |= p[i];
    return acc == 0;
}

// a[0 .. n) += b[0 .. n) * x^j, dropping what lands at word n or above.
inline void add_shifted(uint32_t *a, const uint32_t *b, uint32_t n, uint32_t j) {
    const uint32_t q = j / 32, s = j % 32;
    if (s == 0) {
        for (uint32_t i = q; i < n; i++) a[i] ^= b[i - q];
    } else {
        a[q] ^= b[0] << s;
        for (uint32_t i = q + 1; i < n; i++) a[i] ^= (b[i - q] << s) | (b[i - q - 1] >> (32 - s));
    }
}

// Inversion by the binary extended Euclidean algorithm. Invariants:
// g1 a = u and g2 a = v (mod f), and deg u + deg v falls with every step in
// which u is not yet 1, so the loop ends after at most 2m steps. With a = 0
// (or any multiple of f) u becomes 0 instead of 1; that ends the loop too and
// the result is 0.
void invert_euclid(uint32_t *out, const uint32_t *a, uint32_t n, const uint32_t *f) {
    uint32_t u[max_words], v[max_words], g1[max_words] = {1}, g2[max_words] = {};
    std::memcpy(u, a, 4 * n);
    std::memcpy(v, f, 4 * n);
    int du = degree(u, n), dv = degree(v, n);
    uint32_t *pu = u, *pv = v, *pg1 = g1, *pg2 = g2;
    while (!(du == 0 && pu[0] == 1)) {
        if (du == 0 && pu[0] == 0) {
            std::memset(pg1, 0, 4 * n);
            break;
        }
        if (du < dv) {
            std::swap(pu, pv);
            std::swap(pg1, pg2);
            std::swap(du, dv);
        }
        const uint32_t j = uint32_t(du - dv);
        add_shifted(pu, pv, n, j);
        add_shifted(pg1, pg2, n, j);
        du = degree(pu, n);
    }
    std::memcpy(out, pg1, 4 * n);
    lncext::secure_wipe(u, sizeof u);
    lncext::secure_wipe(v, sizeof v);
    lncext::secure_wipe(g1, sizeof g1);
    lncext::secure_wipe(g2, sizeof g2);
}

}  // namespace

extern "C" {

LNCEXT_API uint32_t *lnm2pclear(uint32_t *p, uint32_t nbits) {
    uint32_t n = nbits / 32 + (nbits % 32 != 0);
    if (n > max_words) n = max_words;
    p[0] = n;
    std::memset(p + 1, 0, 4 * n);
    return p;
}

LNCEXT_API uint32_t *lnm2pcopy(uint32_t *dst, const uint32_t *src) {
    std::memmove(dst + 1, src + 1, 4 * src[0]);
    return dst;
}

LNCEXT_API uint32_t *lnm2add(uint32_t *c, const uint32_t *a, const uint32_t *b) {
    for (uint32_t i = 1; i <= a[0]; i++) c[i] = a[i] ^ b[i];
    return c;
}

LNCEXT_API void lnm2pinc(uint32_t *p) {
    p[1] ^= 1;
}

LNCEXT_API int lnm2pgbit(const uint32_t *p, uint32_t i) {
    return (p[1 + i / 32] >> (i % 32)) & 1;
}

LNCEXT_API void lnm2psbit(uint32_t *p, uint32_t i, int v) {
    const uint32_t bit = uint32_t(1) << (i % 32);
    if (v)
        p[1 + i / 32] |= bit;
    else
        p[1 + i / 32] &= ~bit;
}

LNCEXT_API int lnm2p_deg(const uint32_t *p) {
    return degree(p + 1, p[0]);
}

LNCEXT_API int lnm2p_is_zero(const uint32_t *p) {
    return is_zero(p + 1, p[0]);
}

LNCEXT_API int lnm2p_is_one(const uint32_t *p) {
    return p[1] == 1 && (p[0] < 2 || is_zero(p + 2, p[0] - 1));
}

LNCEXT_API int lnm2p_is_equal(const uint32_t *a, const uint32_t *b) {
    uint32_t diff = 0;
    for (uint32_t i = 1; i <= b[0]; i++) diff |= a[i] ^ b[i];
    return diff == 0;
}

LNCEXT_API uint32_t *lnm2pfromb(uint32_t *p, const uint8_t *bytes, int len) {
    const uint32_t n = p[0];
    std::memset(p + 1, 0, 4 * n);
    const uint32_t take = len < 1 ? 0 : uint32_t(len) < 4 * n ? uint32_t(len) : 4 * n;
    for (uint32_t i = 0; i < take; i++) p[1 + i / 4] |= uint32_t(bytes[i]) << (8 * (i % 4));
    return p;
}

LNCEXT_API uint32_t *lnm2pfrombits(uint32_t *p, const uint8_t *bytes, int nbits) {
    if (nbits < 1) return lnm2pfromb(p, bytes, 0);
    const uint32_t whole = uint32_t(nbits) / 8, rest = uint32_t(nbits) % 8;
    lnm2pfromb(p, bytes, int(whole));
    if (rest != 0 && whole < 4 * p[0])
        p[1 + whole / 4] |= uint32_t(bytes[whole] & ((1u << rest) - 1)) << (8 * (whole % 4));
    return p;
}

LNCEXT_API uint8_t *lnm2ptob(uint8_t *out, const uint32_t *p, int len) {
    if (len < 1) return out;
    const uint32_t have = 4 * p[0];
    for (uint32_t i = 0; i < uint32_t(len); i++)
        out[i] = i < have ? uint8_t(p[1 + i / 4] >> (8 * (i % 4))) : 0;
    return out;
}

LNCEXT_API uint32_t *lnm2ptobig(uint32_t *big, const uint32_t *p) {
    uint32_t n = p[0];
    while (n > 0 && p[n] == 0) n--;
    std::memmove(big + 1, p + 1, 4 * n);
    big[0] = n;
    return big;
}

LNCEXT_API uint32_t *lnm2pfrombig(uint32_t *p, const uint32_t *big) {
    const uint32_t n = big[0] < p[0] ? big[0] : p[0];
    uint32_t tmp[max_words];
    std::memcpy(tmp, big + 1, 4 * n);  // big may share storage with p
    std::memset(p + 1, 0, 4 * p[0]);
    std::memcpy(p + 1, tmp, 4 * n);
    return p;
}

LNCEXT_API uint32_t *lnm2invm(uint32_t *out, const uint32_t *a, uint32_t m, uint32_t k1,
                              uint32_t k2, uint32_t k3) {
    const uint32_t n = (m + 31) / 32;
    // x^m must fit in n words, the exponents must be distinct and falling.
    const bool valid = m > 1 && m < 32 * max_words && m % 32 != 0 && k1 < m && k1 > 0 &&
                       (k2 == 0 ? k3 == 0 : (k2 < k1 && k3 < k2 && k3 > 0));
    if (!valid) {
        const uint32_t cnt = out[0] < max_words ? out[0] : max_words;
        std::memset(out + 1, 0, 4 * cnt);
        return out;
    }
    uint32_t f[max_words] = {};
    for (uint32_t e : {m, k1, k2, k3, 0u}) f[e / 32] |= uint32_t(1) << (e % 32);
    invert_euclid(out + 1, a + 1, n, f);
    return out;
}

}  // extern "C"
