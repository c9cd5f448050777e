// Long division of big numbers: the body of lnmdiv and its parts.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/platform.hpp"

namespace lncext::div {

// (hi * 2^32 + lo) = q * d + rem for hi < d, so that q fits a word.
inline uint32_t div_word(uint32_t hi, uint32_t lo, uint32_t d, uint32_t *rem) {
#if defined(LNCEXT_HAVE_X86)
    // One hardware division; hi < d keeps the quotient in range.
    uint32_t q, r;
    __asm__("divl %4" : "=a"(q), "=d"(r) : "a"(lo), "d"(hi), "rm"(d) : "cc");
    *rem = r;
    return q;
#else
    const uint64_t v = uint64_t(hi) << 32 | lo;
    *rem = uint32_t(v % d);
    return uint32_t(v / d);
#endif
}

// The division of lnmdiv for m != 0, a >= m and a dividend of at most 256
// digits: r = a mod m, q = a div m when q is given, with lnmdiv's aliasing
// and room. m is normalised in place and restored, as lnmdiv documents.
// Quotient digits come from a precomputed reciprocal of the divisor's top
// limbs, with 64-bit limbs where the target has a 128-bit integer.
void reciprocal(const uint32_t *a, uint32_t *m, uint32_t *q, uint32_t *r);

// The same with one hardware 64/32 division per 32-bit quotient digit (the
// earlier body of lnmdiv; it also takes any dividend of up to 258 digits, with
// the normalising shift truncated as lnmshl does).
void schoolbook(const uint32_t *a, uint32_t *m, uint32_t *q, uint32_t *r);

}  // namespace lncext::div
