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

bool lncext::gf2::clmul_chosen() {
#if defined(LNCEXT_HAVE_CLMUL)
    return use_clmul;
#else
    return false;
#endif
}

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

// The reducers: the fold template with each field's exponents. Only the
// m = 431 reducer zeroes the words it folded away.
LNCEXT_API void reduce163_7_6_3_1(uint32_t *c) {
    gf2::reduce<163, 11, false, 7, 6, 3, 0>(c);
}
LNCEXT_API void reduce191_9_1(uint32_t *c) {
    gf2::reduce<191, 12, false, 9, 0>(c);
}
LNCEXT_API void reduce257_12_1(uint32_t *c) {
    gf2::reduce<257, 18, false, 12, 0>(c);
}
LNCEXT_API void reduce431_5_3_1(uint32_t *c) {
    gf2::reduce<431, 28, true, 5, 3, 1, 0>(c);
}

// The word-serial products: each a[i] * b is two words; the low word goes to
// position i, the high word is carried into position i + 1. b is the table
// operand of every product, so its multiples are formed once per call.
LNCEXT_API uint32_t gf2x_mul_1_n(uint32_t *c, const uint32_t *a, int n, uint32_t b) {
    uint32_t carry = 0, p[2];
    for (int i = 0; i < n; i++) {
        gf2::Nibble::mul1(p, b, a[i]);
        c[i] = p[0] ^ carry;
        carry = p[1];
    }
    return carry;
}

LNCEXT_API uint32_t gf2x_addmul_1_n(uint32_t *d, const uint32_t *c, const uint32_t *a, int n,
                                    uint32_t b) {
    uint32_t carry = 0, p[2];
    for (int i = 0; i < n; i++) {
        gf2::Nibble::mul1(p, b, a[i]);
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
