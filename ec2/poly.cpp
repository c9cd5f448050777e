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

inline int degree(const uint32_t *p, uint32_t n) {
    return lncext::gf2::degree(p, n);
}

inline bool is_zero(const uint32_t *p, uint32_t n) {
    uint32_t acc = 0;
    for (uint32_t i = 0; i < n; i++) acc |= p[i];
    return acc == 0;
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
    // Copy, then zero the rest: the same as zeroing first, and right also
    // when big and p share storage.
    std::memmove(p + 1, big + 1, 4 * n);
    std::memset(p + 1 + n, 0, 4 * (p[0] - n));
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
#if defined(LNCEXT_HAVE_CLMUL)
    // The four supported fields have fixed-size kernels; on the instruction
    // path a chain of squarings and multiplications beats the bit-serial
    // Euclidean loop several times over (and takes the same time for every
    // a). The nibble path squares and multiplies too slowly for that.
    namespace gf2 = lncext::gf2;
    if (gf2::clmul_chosen()) {
        if (m == 163 && k1 == 7 && k2 == 6 && k3 == 3)
            return gf2::invert_clmul(gf2::Field<163, 7, 6, 3, 0>{}, out + 1, a + 1), out;
        if (m == 191 && k1 == 9 && k2 == 0)
            return gf2::invert_clmul(gf2::Field<191, 9, 0>{}, out + 1, a + 1), out;
        if (m == 257 && k1 == 12 && k2 == 0)
            return gf2::invert_clmul(gf2::Field<257, 12, 0>{}, out + 1, a + 1), out;
        if (m == 431 && k1 == 5 && k2 == 3 && k3 == 1)
            return gf2::invert_clmul(gf2::Field<431, 5, 3, 1, 0>{}, out + 1, a + 1), out;
    }
#endif
    lncext::gf2::invert_euclid(out + 1, a + 1, n, f);
    return out;
}

}  // extern "C"
