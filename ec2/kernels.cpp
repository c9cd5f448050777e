// The fixed-size GF(2)[x] multipliers, squarers and reducers of the four
// supported fields, and the general word-by-word carry-less products.
//
// Every multiplier and squarer picks its path once per process: the
// carry-less multiply instruction when the CPU has it, the nibble-table
// products otherwise. Both compute the same product, so every caller (the
// curve contexts hold these functions in their slots) gets the faster one
// without choosing.
#include <cstdint>

#include "ec2/field_kernels.hpp"
#include "lncext/dstu4145.h"

namespace gf2 = lncext::gf2;

namespace {

#if defined(LNCEXT_HAVE_CLMUL)
// Set once while the library is loaded; only read afterwards.
const bool use_clmul = gf2::cpu_has_clmul();
#endif

template <std::size_t W>
inline void mul(uint32_t *c, const uint32_t *a, const uint32_t *b) {
#if defined(LNCEXT_HAVE_CLMUL)
    if (use_clmul) return gf2::Clmul::mul<W>(c, a, b);
#endif
    gf2::Nibble::mul<W>(c, a, b);
}

template <std::size_t W>
inline void sqr(uint32_t *c, const uint32_t *a) {
#if defined(LNCEXT_HAVE_CLMUL)
    if (use_clmul) return gf2::Clmul::sqr<W>(c, a);
#endif
    gf2::Nibble::sqr<W>(c, a);
}

}  // namespace

extern "C" {

LNCEXT_API void pmult160x160(uint32_t *c, const uint32_t *a, const uint32_t *b) {
    mul<5>(c, a, b);
}
LNCEXT_API void pmult192x192(uint32_t *c, const uint32_t *a, const uint32_t *b) {
    mul<6>(c, a, b);
}
LNCEXT_API void pmult224x224(uint32_t *c, const uint32_t *a, const uint32_t *b) {
    mul<7>(c, a, b);
}
LNCEXT_API void pmult256x256(uint32_t *c, const uint32_t *a, const uint32_t *b) {
    mul<8>(c, a, b);
}
LNCEXT_API void pmult288x288(uint32_t *c, const uint32_t *a, const uint32_t *b) {
    mul<9>(c, a, b);
}
LNCEXT_API void pmult448x448(uint32_t *c, const uint32_t *a, const uint32_t *b) {
    mul<14>(c, a, b);
}

// (a0 + a8 x^256)(b0 + b8 x^256) with a8, b8 in {0, 1}: the 256-bit product,
// plus b0 or a0 at word 8 for each set top bit, plus x^512 when both are.
// Words 16 and 17 are written only in that last case, hence the contract
// that they are zero on entry.
LNCEXT_API void pmult257x257(uint32_t *c, const uint32_t *a, const uint32_t *b) {
    mul<8>(c, a, b);
    if (a[8]) {
        for (int i = 0; i < 8; i++) c[8 + i] ^= b[i];
    }
    if (b[8]) {
        for (int i = 0; i < 8; i++) c[8 + i] ^= a[i];
    }
    if (a[8] && b[8]) c[16] = 1;
}

LNCEXT_API void psqr192x192(uint32_t *c, const uint32_t *a) {
    sqr<6>(c, a);
}
LNCEXT_API void psqr288x288(uint32_t *c, const uint32_t *a) {
    sqr<9>(c, a);
}
LNCEXT_API void psqr448x448(uint32_t *c, const uint32_t *a) {
    sqr<14>(c, a);
}

// Reduction folds each word above the field by x^m = (the lower terms of f):
// a bit at position 32i + t with 32i + t >= m moves to 32i + t - m + k for
// every lower exponent k of f. Word i therefore lands, shifted, in the two
// words at i - (m div 32) - 1 and i - (m div 32); folding from the top down
// means a word folded into a still-higher-than-m position is folded again
// when its turn comes. The top field word's bits from m mod 32 up go last.

// f = x^163 + x^7 + x^6 + x^3 + 1; 163 = 5*32 + 3, so x^(32i) for i >= 6
// equals x^(32(i-6) + 29) (x^7 + x^6 + x^3 + 1).
LNCEXT_API void reduce163_7_6_3_1(uint32_t *c) {
    for (int i = 10; i >= 6; i--) {
        const uint32_t t = c[i];
        c[i - 6] ^= t << 29;
        c[i - 5] ^= t ^ (t >> 3) ^ (t << 3) ^ (t << 4);
        c[i - 4] ^= (t >> 28) ^ (t >> 29);
    }
    const uint32_t t = c[5] >> 3;
    c[0] ^= t ^ (t << 3) ^ (t << 6) ^ (t << 7);
    c[1] ^= (t >> 25) ^ (t >> 26);
    c[5] &= 0x7;
}

// f = x^191 + x^9 + 1; 191 = 5*32 + 31.
LNCEXT_API void reduce191_9_1(uint32_t *c) {
    for (int i = 11; i >= 6; i--) {
        const uint32_t t = c[i];
        c[i - 6] ^= (t << 1) ^ (t << 10);
        c[i - 5] ^= (t >> 31) ^ (t >> 22);
    }
    const uint32_t t = c[5] >> 31;
    c[0] ^= t ^ (t << 9);
    c[5] &= 0x7FFFFFFF;
}

// f = x^257 + x^12 + 1; 257 = 8*32 + 1.
LNCEXT_API void reduce257_12_1(uint32_t *c) {
    for (int i = 17; i >= 9; i--) {
        const uint32_t t = c[i];
        c[i - 9] ^= t << 31;
        c[i - 8] ^= (t >> 1) ^ (t << 11);
        c[i - 7] ^= t >> 21;
    }
    const uint32_t t = c[8] & ~1u;
    c[0] ^= (t >> 1) ^ (t << 11);
    c[1] ^= t >> 21;
    c[8] &= 1;
}

// f = x^431 + x^5 + x^3 + x + 1; 431 = 13*32 + 15.
LNCEXT_API void reduce431_5_3_1(uint32_t *c) {
    for (int i = 27; i >= 14; i--) {
        const uint32_t t = c[i];
        c[i] = 0;
        c[i - 14] ^= (t << 17) ^ (t << 18) ^ (t << 20) ^ (t << 22);
        c[i - 13] ^= (t >> 15) ^ (t >> 14) ^ (t >> 12) ^ (t >> 10);
    }
    const uint32_t t = c[13] >> 15;
    c[0] ^= t ^ (t << 1) ^ (t << 3) ^ (t << 5);
    c[13] &= 0x7FFF;
}

// The word-serial products: each a[i] * b is two words; the low word goes to
// position i, the high word is carried into position i + 1.
LNCEXT_API uint32_t gf2x_mul_1_n(uint32_t *c, const uint32_t *a, int n, uint32_t b) {
    uint32_t carry = 0, p[2];
    for (int i = 0; i < n; i++) {
        gf2::Nibble::mul1(p, a[i], b);
        c[i] = p[0] ^ carry;
        carry = p[1];
    }
    return carry;
}

LNCEXT_API uint32_t gf2x_addmul_1_n(uint32_t *d, const uint32_t *c, const uint32_t *a, int n,
                                    uint32_t b) {
    uint32_t carry = 0, p[2];
    for (int i = 0; i < n; i++) {
        gf2::Nibble::mul1(p, a[i], b);
        d[i] = c[i] ^ p[0] ^ carry;
        carry = p[1];
    }
    return carry;
}

LNCEXT_API uint32_t gf2x_mul(uint32_t *c, const uint32_t *a, int sa, const uint32_t *b, int sb) {
    if (sa < 1 || sb < 1) return 0;
    c[sb] = gf2x_mul_1_n(c, b, sb, a[0]);
    for (int i = 1; i < sa; i++) c[i + sb] = gf2x_addmul_1_n(c + i, c + i, b, sb, a[i]);
    return c[sa + sb - 1];
}

}  // extern "C"
