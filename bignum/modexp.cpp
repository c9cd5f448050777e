// Modular exponentiation by a left-to-right sliding window over a table of
// odd powers, and the two exponent scanners that the curve code reuses.
//
// Every loop keeps the accumulator in the caller's r and the full product in
// a scratch number; only the count and at most m[0] digits are copied back
// after each product, never a whole 259-word number.
#include <bit>
#include <cstdint>
#include <cstring>

#include "bignum/bignum_internal.hpp"
#include "common/wipe.hpp"
#include "lncext/bignum.h"

namespace {

constexpr uint32_t kWindow = 5;       // width of every window of the library
constexpr uint32_t kTableSlots = 16;  // odd powers x^1 .. x^31

inline uint32_t *slot(uint32_t *table, uint32_t k) {
    return table + size_t(k) * LNMBIG_WORDS;
}

using lncext::bn::copy;

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

// The sliding-window scan; see lnmgetslide.
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

// The shared exponentiation loop: squares len times per window and
// multiplies by the table entry v >> 1 for a non-zero window value v.
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

}  // namespace

extern "C" {

LNCEXT_API uint32_t lnmgetslide(const uint32_t *e, uint32_t pos, uint32_t w, uint32_t *len) {
    uint32_t consumed;
    const uint32_t v = slide(e, pos, w, &consumed);
    if (len != nullptr) *len = consumed;
    return v;
}

LNCEXT_API uint32_t lnmgetwin(const uint32_t *e, uint32_t i, uint32_t w) {
    if (w == 0) return 0;
    if (w > 32) w = 32;
    const uint64_t lo = uint64_t(i) * w;
    if (lo / 32 >= e[0]) return 0;
    return bits_at(e, uint32_t(lo), w);
}

LNCEXT_API uint32_t *lnmmontic(uint32_t *table, uint32_t w, uint32_t minv, uint32_t Rbits,
                               const uint32_t *m, const uint32_t *x) {
    const size_t stride = size_t(m[0]) + 1;
    const uint32_t entries = w < 2 ? 2u : 1u << (w - 1);
    uint32_t x2[LNMBIG_WORDS];
    uint32_t prod[LNMBIG_WORDS];
    lnmsqrmont(minv, Rbits, m, x, x2);
    copy(table, x);
    const uint32_t *prev = x;
    for (uint32_t k = 1; k < entries; ++k) {
        uint32_t *entry = table + k * stride;
        lnmmulmont(minv, Rbits, m, prev, x2, prod);
        copy(entry, prod);
        prev = entry;
    }
    // x^2 and the last product are powers of a possibly secret base.
    lncext::secure_wipe(x2, sizeof x2);
    lncext::secure_wipe(prod, sizeof prod);
    return table;
}

LNCEXT_API uint32_t *lnmicpowmont(const uint32_t *table, uint32_t w, uint32_t padbits,
                                  const uint32_t *start, uint32_t minv, uint32_t Rbits,
                                  const uint32_t *m, const uint32_t *e, uint32_t *r) {
    const size_t stride = size_t(m[0]) + 1;
    uint32_t prod[LNMBIG_WORDS];
    uint32_t multiplications = 0;
    copy(r, start);
    slide_loop(
        e, w,
        [&] {
            lnmsqrmont(minv, Rbits, m, r, prod);
            copy(r, prod);
        },
        [&](uint32_t k) {
            lnmmulmont(minv, Rbits, m, r, table + k * stride, prod);
            copy(r, prod);
            ++multiplications;
        });
    if (padbits != 0) {
        // Bring the number of table multiplications up to one per window of
        // padbits bits, so that it does not reveal how many windows of the
        // exponent were zero. The extra products go to a copy of r.
        const uint32_t width = w == 0 ? 1 : w;
        const uint32_t wanted = padbits / width + (padbits % width != 0);
        if (multiplications < wanted) {
            uint32_t dummy[LNMBIG_WORDS];
            copy(dummy, r);
            for (; multiplications < wanted; ++multiplications) {
                lnmmulmont(minv, Rbits, m, dummy, table, prod);
                copy(dummy, prod);
            }
            lncext::secure_wipe(dummy, sizeof dummy);
        }
    }
    lncext::secure_wipe(prod, sizeof prod);
    return r;
}

LNCEXT_API uint32_t *lnmpowmontstart(uint32_t *table, uint32_t minv, uint32_t Rbits,
                                     const uint32_t *m, const uint32_t *x) {
    uint32_t *sq = slot(table, 0);
    lnmsqrmont(minv, Rbits, m, x, sq);
    lnmmulmont(minv, Rbits, m, sq, x, slot(table, 1));
    for (uint32_t k = 2; k < kTableSlots; ++k)
        lnmmulmont(minv, Rbits, m, sq, slot(table, k - 1), slot(table, k));
    copy(sq, x);
    return table;
}

LNCEXT_API void lnmpowmontstop(uint32_t *table, const uint32_t *start, uint32_t minv,
                               uint32_t Rbits, const uint32_t *m, const uint32_t *e, uint32_t *r) {
    uint32_t *prod = slot(table, 16);
    copy(r, start);
    slide_loop(
        e, kWindow,
        [&] {
            lnmsqrmont(minv, Rbits, m, r, prod);
            copy(r, prod);
        },
        [&](uint32_t k) {
            lnmmulmont(minv, Rbits, m, r, slot(table, k), prod);
            copy(r, prod);
        });
}

LNCEXT_API int lnmpowmont(uint32_t *table, const uint32_t *start, uint32_t minv, uint32_t Rbits,
                          const uint32_t *m, const uint32_t *x, const uint32_t *e, uint32_t *r) {
    lnmpowmontstart(table, minv, Rbits, m, x);
    lnmpowmontstop(table, start, minv, Rbits, m, e, r);
    return 0;
}

LNCEXT_API uint32_t *lnmpowmodstart(uint32_t *table, const uint32_t *x, uint32_t *m) {
    if (m[0] == 0) return table;  // no residues modulo zero
    uint32_t *s0 = slot(table, 0);
    uint32_t *s16 = slot(table, 16);
    uint32_t *s17 = slot(table, 17);
    if (m[1] & 1) {
        // Odd modulus: odd powers in Montgomery form. R^2 mod m stays in slot
        // 17 and the form of x in slot 16.
        const uint32_t minv = lnminverse(0u - m[1]);
        const uint32_t rbits = 32 * m[0];
        lnmexpb2(s16, 2 * rbits);
        lnmdiv(s16, m, s0, s17);
        lnmmulmont(minv, rbits, m, x, s17, s16);
        lnmsqrmont(minv, rbits, m, s16, s0);
        lnmmulmont(minv, rbits, m, s0, s16, slot(table, 1));
        for (uint32_t k = 2; k < kTableSlots; ++k)
            lnmmulmont(minv, rbits, m, s0, slot(table, k - 1), slot(table, k));
        copy(s0, s16);
    } else {
        // Even modulus: ordinary residues, each product reduced by division
        // with the quotient thrown into slot 17.
        lnmsqr(x, s16);
        lnmdiv(s16, m, s17, s0);
        lnmmul(s0, x, s16);
        lnmdiv(s16, m, s17, slot(table, 1));
        for (uint32_t k = 2; k < kTableSlots; ++k) {
            lnmmul(s0, slot(table, k - 1), s16);
            lnmdiv(s16, m, s17, slot(table, k));
        }
        copy(s0, x);
    }
    return table;
}

LNCEXT_API void lnmpowmodstop(uint32_t *table, const uint32_t *e, uint32_t *m, uint32_t *r) {
    if (m[0] == 0) return;
    uint32_t *s16 = slot(table, 16);
    uint32_t *s17 = slot(table, 17);
    if (m[1] & 1) {
        const uint32_t minv = lnminverse(0u - m[1]);
        const uint32_t rbits = 32 * m[0];
        lnmunitymont(rbits, m, r);
        slide_loop(
            e, kWindow,
            [&] {
                lnmsqrmont(minv, rbits, m, r, s16);
                copy(r, s16);
            },
            [&](uint32_t k) {
                lnmmulmont(minv, rbits, m, r, slot(table, k), s16);
                copy(r, s16);
            });
        // Leave Montgomery form: r * 1 / R.
        lnmconvert(s16, 1);
        lnmmulmont(minv, rbits, m, r, s16, s17);
        copy(r, s17);
    } else {
        lnmconvert(r, 1);
        slide_loop(
            e, kWindow,
            [&] {
                lnmsqr(r, s16);
                lnmdiv(s16, m, nullptr, r);
            },
            [&](uint32_t k) {
                lnmmul(r, slot(table, k), s16);
                lnmdiv(s16, m, nullptr, r);
            });
    }
}

LNCEXT_API void lnmpowmod(uint32_t *table, const uint32_t *x, const uint32_t *e, uint32_t *m,
                          uint32_t *r) {
    lnmpowmodstart(table, x, m);
    lnmpowmodstop(table, e, m, r);
}

}  // extern "C"
