// The exponent scanners and the left-to-right sliding-window loop: the one
// home of the walk that modular exponentiation, the GF(p) power, the GF(p)
// and GF(2^m) scalar multiplications and RSA all share. A caller supplies its
// own square (or double) and multiply (or add) operations; the loop only
// decides how many squarings come before each multiplication and which odd
// table entry the multiplication takes.
#pragma once

#include <bit>
#include <cstdint>

namespace lncext::bn {

// Number of significant bits of the big number e (0 for zero).
inline uint32_t bit_length(const uint32_t *e) {
    const uint32_t n = e[0];
    if (n == 0) return 0;
    return 32 * (n - 1) + uint32_t(std::bit_width(e[n]));
}

// `count` bits of e (1 to 32) starting at bit `lo`; bits above the top word
// read as zero.
inline uint32_t bits_at(const uint32_t *e, uint32_t lo, uint32_t count) {
    const uint32_t wi = lo / 32;
    if (wi >= e[0]) return 0;
    uint64_t v = e[wi + 1];
    if (wi + 1 < e[0]) v |= uint64_t(e[wi + 2]) << 32;
    v >>= lo % 32;
    return uint32_t(v & ((uint64_t(1) << count) - 1));
}

// The next sliding window of e from bit pos downward (the exported
// lnmgetslide): returns the window value and stores the bits consumed in
// *len. A run of zero bits gives value 0 and the run's length; otherwise the
// value is odd, below 2^w, and ends at a set bit.
inline uint32_t slide(const uint32_t *e, uint32_t pos, uint32_t w, uint32_t *len) {
    const uint32_t n = e[0];
    if (n == 0) {
        *len = pos + 1;
        return 0;
    }
    // Highest set bit j at or below min(pos, the top bit of e's words).
    const uint32_t top = pos < 32 * n ? pos : 32 * n - 1;
    int64_t j = -1;
    uint32_t wi = top / 32;
    uint32_t word = e[wi + 1];
    if (top % 32 != 31) word &= (2u << (top % 32)) - 1;
    for (;;) {
        if (word != 0) {
            j = int64_t(wi) * 32 + 31 - std::countl_zero(word);
            break;
        }
        if (wi == 0) break;
        word = e[wi--];
    }
    if (j < int64_t(pos)) {
        *len = uint32_t(int64_t(pos) - j);
        return 0;
    }
    // Bit pos is set: take up to w bits downward and drop the trailing zeros,
    // so that the window ends in a set bit.
    if (w == 0) w = 1;
    if (w > 32) w = 32;
    const uint32_t take = w < pos + 1 ? w : pos + 1;
    uint32_t v = bits_at(e, pos + 1 - take, take);
    const uint32_t tz = uint32_t(std::countr_zero(v));
    *len = take - tz;
    return v >> tz;
}

// The loop itself: for each window of e from the top bit down, square()
// is called once per bit the window consumes, then multiply(k) with the
// table index k = v >> 1 for a non-zero window value v (table entry k holds
// the odd multiple 2k + 1). e = 0 calls neither. w is the window width
// (1 to 32; the library uses 5).
template <class Square, class Multiply>
inline void slide_loop(const uint32_t *e, uint32_t w, Square square, Multiply multiply) {
    uint32_t left = bit_length(e);
    while (left > 0) {
        uint32_t len;
        const uint32_t v = slide(e, left - 1, w, &len);
        left -= len;
        for (uint32_t i = 0; i < len; ++i) square();
        if (v != 0) multiply(v >> 1);
    }
}

}  // namespace lncext::bn
