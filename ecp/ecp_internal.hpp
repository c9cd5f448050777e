// Helpers shared by the GF(p) field, curve, scalar and GOST sources: element
// storage and the few whole-record operations the curve code repeats.
#pragma once

#include <cstdint>
#include <cstring>

#include "bignum/bignum_internal.hpp"
#include "common/wipe.hpp"
#include "lncext/bignum.h"
#include "lncext/gostr341001.h"

namespace lncext::ecp {

// One field element or coordinate: count word plus 16 digits.
constexpr uint32_t kWords = LNMPFF_WORDS;
constexpr uint32_t kMaxDigits = LNMPFF_MAX_DIGITS;
using Elem = uint32_t[kWords];

inline bool is_zero(const uint32_t *a) {
    return a[0] == 0;
}

inline void copy_point(lnmec_point *dst, const lnmec_point *src) {
    if (dst != src) std::memcpy(dst, src, sizeof *dst);
}

// The point at infinity as the library writes it: X = Y = 1, Z = 0.
inline void set_infinity(const lnmec_ctx *ctx, lnmec_point *R) {
    const lnmpff_ctx *f = &ctx->field;
    f->setone(f, R->X);
    f->setone(f, R->Y);
    f->setzero(f, R->Z);
}

inline void wipe_point(lnmec_point *P) {
    secure_wipe(P, sizeof *P);
}

}  // namespace lncext::ecp
