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
#include "bignum/window.hpp"
#include "common/wipe.hpp"
#include "lncext/bignum.h"

namespace {

constexpr uint32_t kWindow = 5;       // width of every window of the library
constexpr uint32_t kTableSlots = 16;  // odd powers x^1 .. x^31

inline uint32_t *slot(uint32_t *table, uint32_t k) {
    return table + size_t(k) * LNMBIG_WORDS;
}

using lncext::bn::bits_at;
using lncext::bn::copy;
using lncext::bn::slide;
using lncext::bn::slide_loop;

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
