// Internal pieces of the binary-curve code shared by the curve, scalar and
// DSTU 4145 files: element sizes, the trace and the quadratic solver. None of
// this leaves the library.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "common/platform.hpp"
#include "lncext/dstu4145.h"

namespace lncext::ec2 {

// Words of one element record (count word and coefficient words).
constexpr uint32_t kElemWords = LNM2_POLY_WORDS;

// Coefficient words of an element of the context's field.
inline uint32_t field_words(const lnme2_ctx *ctx) {
    return (ctx->m + 31) / 32;
}

// An element record of the context's field, zero.
inline uint32_t *elem_zero(const lnme2_ctx *ctx, uint32_t *p) {
    return lnm2pclear(p, ctx->m);
}

// Word loops of the group law. Elements of the supported fields have 6, 9
// or 14 coefficient words; with the count known at compile time the loops
// unroll into a few vector moves instead of a call per field addition.
template <class F>
inline void for_field_words(uint32_t n, F f) {
    switch (n) {
        case 6:
            f(std::integral_constant<uint32_t, 6>{});
            break;
        case 9:
            f(std::integral_constant<uint32_t, 9>{});
            break;
        case 14:
            f(std::integral_constant<uint32_t, 14>{});
            break;
        default:
            f(n);
            break;
    }
}

// Coefficient words 1..n: dst = src.
inline void elem_copy(uint32_t n, uint32_t *dst, const uint32_t *src) {
    for_field_words(n, [&](auto w) {
        for (uint32_t i = 1; i <= w; ++i) dst[i] = src[i];
    });
}

// Coefficient words 1..n of a freshly reduced product: dst = src. The
// reducers store 64-bit limbs on 64-bit hosts, and a wider load spanning two
// of those stores cannot take its data from the store buffer; the copy stalls
// until they reach the cache. Copying limb by limb (kept in general registers
// so the loop is not widened into vector moves) reads each store whole.
inline void product_copy(uint32_t n, uint32_t *dst, const uint32_t *src) {
#if defined(LNCEXT_HAVE_X86_64)
    for_field_words(n, [&](auto w) {
        for (uint32_t i = 1; i + 1 <= w; i += 2) {
            uint64_t v;
            std::memcpy(&v, src + i, sizeof v);
            __asm__("" : "+r"(v));
            std::memcpy(dst + i, &v, sizeof v);
        }
        if (w % 2 != 0) dst[w] = src[w];
    });
#else
    elem_copy(n, dst, src);
#endif
}

// Coefficient words 1..n: c = a + b (c may be a or b).
inline void elem_add(uint32_t n, uint32_t *c, const uint32_t *a, const uint32_t *b) {
    for_field_words(n, [&](auto w) {
        for (uint32_t i = 1; i <= w; ++i) c[i] = a[i] ^ b[i];
    });
}

// Coefficient words 1..n all zero.
inline bool elem_is_zero(uint32_t n, const uint32_t *a) {
    uint32_t acc = 0;
    for_field_words(n, [&](auto w) {
        for (uint32_t i = 1; i <= w; ++i) acc |= a[i];
    });
    return acc == 0;
}

// Tr(x) = x + x^2 + x^4 + ... + x^(2^(m-1)), 0 or 1.
uint32_t lnme2bftrace(const lnme2_ctx *ctx, const uint32_t *x);

// A solution z of z^2 + u z = w: 0 when there is none (z = 0), 1 when u = 0
// (z = sqrt(w)), 2 otherwise (the other solution is z + u).
int lnme2bfsolve(const lnme2_ctx *ctx, uint32_t *z, const uint32_t *u, const uint32_t *w);

// Longest scalar of the joint multiplication (and more than any order of a
// supported curve has).
constexpr uint32_t kMaxJointBits = 32 * 30;

// out = k1 P1 + k2 P2 from the odd-multiple tables t1 of P1 (width w1, at
// most 8) and t2 of P2 (width w2), with one chain of doublings; k1 and k2 of
// at most kMaxJointBits bits.
lnme2_point *joint_mul(const lnme2_ctx *ctx, lnme2_point *out, const uint32_t *k1,
                       const uint32_t *t1, uint32_t w1, const uint32_t *k2, const uint32_t *t2,
                       uint32_t w2);

}  // namespace lncext::ec2
