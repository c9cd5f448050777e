// Modular inversion by the almost-inverse method (shifts, additions and
// subtractions only) and reduction modulo primes of the form 2^k - c.
#include <cstdint>
#include <cstring>

#include "bignum/bignum_internal.hpp"
#include "bignum/inverse.hpp"
#include "bignum/words.hpp"
#include "lncext/bignum.h"

namespace {

namespace words = lncext::words;

}  // namespace

extern "C" {

LNCEXT_API uint32_t *lnmmodinv(const uint32_t *a, const uint32_t *m, uint32_t *r) {
    if (m[0] == 0) {  // no inverse modulo zero; also keeps the loops finite
        r[0] = 0;
        return r;
    }
    lncext::inv::almost_inverse(a, m, r);
    return r;
}

LNCEXT_API uint32_t *lnmmodsf(uint32_t *t, const uint32_t *p, uint32_t k, uint32_t c) {
    const uint32_t w = k / 32;
    const uint32_t entry_count = t[0];
    if (w == 0) return t;
    if (w == 1) {
        // A one-word modulus: the folds below assume 2^64 <= 2^k, so divide.
        const uint32_t rem = lnmmodd(t, p[1]);
        t[0] = rem != 0;
        if (rem != 0) t[1] = rem;
    } else {
        uint32_t *low = t + 1;
        bool wrapped = false;
        if (entry_count > w) {
            // t = L + H 2^k = L + c H (mod p): fold H in with the single word c.
            const uint32_t *high = t + 1 + w;
            const uint32_t hn = entry_count - w;
            const uint32_t fold = hn < w ? hn : w;
            uint32_t carry = words::addmul_1(low, high, fold, c);
            // The carry runs up through the words above the fold; when the
            // fold covers all w words it stays a whole word (at most c).
            carry = words::add_1(low + fold, low + fold, w - fold, carry);
            // The carry out of 2^k (at most c) is folded again: + carry * c,
            // a two-word value since w >= 2.
            const uint64_t vc = uint64_t(carry) * c;
            const uint32_t vcw[2] = {uint32_t(vc), uint32_t(vc >> 32)};
            const uint32_t cy = words::add(low, low, vcw, 2);
            wrapped = words::add_1(low + 2, low + 2, w - 2, cy) != 0;
            t[0] = w;
            if (wrapped) {
                // The value is 2^k + L' with L' < c^2; 2^k = c (mod p) and
                // L' + c <= c^2 + c is below p, so adding c finishes.
                words::add_1(low, low, w, c);
            }
            lncext::bn::clip(t);
        }
        if (!wrapped && t[0] == w) {
            // t < 2^k; t >= p = 2^k - c exactly when every word above the
            // lowest is all ones and the lowest is at least p[1]. Then t - p
            // is below c: a single word.
            bool upper_ones = true;
            for (uint32_t i = 1; i < w; ++i) upper_ones &= low[i] == 0xFFFFFFFFu;
            if (upper_ones && low[0] >= p[1]) {
                low[0] -= p[1];
                t[0] = low[0] != 0;
            }
        }
    }
    if (entry_count > t[0]) std::memset(t + t[0] + 1, 0, (entry_count - t[0]) * sizeof(uint32_t));
    return t;
}

}  // extern "C"
