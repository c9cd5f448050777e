// Internal pieces of the binary-curve code shared by the curve, scalar and
// DSTU 4145 files: element sizes, the trace and the quadratic solver. None of
// this leaves the library.
#pragma once

#include <cstdint>

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

// Tr(x) = x + x^2 + x^4 + ... + x^(2^(m-1)), 0 or 1.
uint32_t lnme2bftrace(const lnme2_ctx *ctx, const uint32_t *x);

// A solution z of z^2 + u z = w: 0 when there is none (z = 0), 1 when u = 0
// (z = sqrt(w)), 2 otherwise (the other solution is z + u).
int lnme2bfsolve(const lnme2_ctx *ctx, uint32_t *z, const uint32_t *u, const uint32_t *w);

}  // namespace lncext::ec2
