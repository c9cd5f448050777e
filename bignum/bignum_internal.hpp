// Small helpers shared by the big-number sources. They work on the library's
// big numbers (word 0 the count, then the digits, least significant first)
// and are inlined so that internal callers do not go through the exported
// entry points.
#pragma once

#include <cstdint>
#include <cstring>

#include "bignum/words.hpp"

namespace lncext::bn {

// Lowers the count while the top counted word is zero.
inline uint32_t *clip(uint32_t *a) {
    uint32_t n = a[0];
    while (n != 0 && a[n] == 0) n--;
    a[0] = n;
    return a;
}

// 1, 0 or -1 as a > b, a == b, a < b; normalised inputs.
inline int cmp(const uint32_t *a, const uint32_t *b) {
    if (a[0] != b[0]) return a[0] > b[0] ? 1 : -1;
    return words::cmp(a + 1, b + 1, a[0]);
}

// dst = src, count and digits; overlapping arrays are allowed.
inline uint32_t *copy(uint32_t *dst, const uint32_t *src) {
    std::memmove(dst, src, (std::size_t(src[0]) + 1) * sizeof(uint32_t));
    return dst;
}

}  // namespace lncext::bn
