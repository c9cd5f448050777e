// Modular inversion by the almost-inverse method (Kaliski): u = m, v = a,
// x1 = 0, x2 = 1, then while v is not zero one step of
//   u even: u = u / 2, x2 = 2 x2;       v even: v = v / 2, x1 = 2 x1;
//   u > v:  u = (u - v) / 2, x1 += x2, x2 = 2 x2;
//   else:   v = (v - u) / 2, x2 += x1, x1 = 2 x1;
// and at the end x1 = m - (x1 mod m) = a^-1 2^steps mod m, divided by 2 as
// many times as there were steps. Only shifts, additions and subtractions:
// no division and no multiplication.
#include "bignum/inverse.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "bignum/bignum_internal.hpp"
#include "bignum/words.hpp"
#include "common/platform.hpp"
#include "common/wipe.hpp"
#include "lncext/bignum.h"

namespace lncext::inv {
namespace {

namespace words = lncext::words;

// The inversion works on bare limb arrays of a fixed width, least significant
// first. A limb is two words where the target has a 128-bit integer (the word
// pairs are packed little-endian; the runs below multiply limbs) and one word
// elsewhere: wider limbs simply halve the passes.
#if defined(LNCEXT_HAVE_INT128)
using Limb = uint64_t;
#else
using Limb = uint32_t;
#endif
constexpr unsigned kLimbBits = 8 * sizeof(Limb);
constexpr size_t kWordsPerLimb = sizeof(Limb) / sizeof(uint32_t);
// A full-size number (258 digits) in limbs, rounded up.
constexpr size_t kMaxLimbs = (LNMBIG_WORDS + kWordsPerLimb - 1) / kWordsPerLimb;

// Shift counts are 1 to kLimbBits - 1.
inline void shr_n(Limb *a, size_t n, unsigned s) {
    for (size_t i = 0; i + 1 < n; ++i) a[i] = (a[i] >> s) | (a[i + 1] << (kLimbBits - s));
    a[n - 1] >>= s;
}

inline void shl_n(Limb *a, size_t n, unsigned s) {
    for (size_t i = n - 1; i > 0; --i) a[i] = (a[i] << s) | (a[i - 1] >> (kLimbBits - s));
    a[0] <<= s;
}

inline bool is_zero(const Limb *a, size_t n) {
    Limb acc = 0;
    for (size_t i = 0; i < n; ++i) acc |= a[i];
    return acc == 0;
}

// Trailing zero bits of a non-zero even a, capped so that one shift call
// does them; a longer run simply takes further rounds.
inline unsigned low_zeros(const Limb *a) {
    return a[0] == 0 ? kLimbBits - 1 : unsigned(std::countr_zero(a[0]));
}

// Digits src[0 .. words) into limbs dst[0 .. limbs), zero-extended.
inline void to_limbs(Limb *dst, size_t limbs, const uint32_t *src, size_t words) {
    std::memset(dst, 0, limbs * sizeof(Limb));
    for (size_t i = 0; i < words; ++i)
        dst[i / kWordsPerLimb] |= Limb(src[i]) << (32 * (i % kWordsPerLimb));
}

inline void from_limbs(uint32_t *dst, size_t words, const Limb *src) {
    for (size_t i = 0; i < words; ++i)
        dst[i] = uint32_t(src[i / kWordsPerLimb] >> (32 * (i % kWordsPerLimb)));
}

// The method on limb arrays of `width` limbs (N limbs when N is not zero, so
// that the passes unroll for the common small moduli): x1 = a^-1 mod m in
// limbs, from u = m and v = a. Returns in x1; u, v, x2 are scratch.
template <size_t N>
void serial_core(Limb *u, Limb *v, Limb *x1, Limb *x2, const Limb *mm, size_t width) {
    if (N != 0) width = N;
    const size_t bytes = width * sizeof(Limb);
    std::memset(x1, 0, bytes);
    std::memset(x2, 0, bytes);
    x2[0] = 1;

    // Each round does one step of the method and, where the next steps are
    // bound to be halvings of the same number, all of them at once: the
    // counter advances by the number of single steps taken. v reaches zero
    // only through v - u = 0, which ends the loop.
    uint32_t steps = 0;
    bool more = !is_zero(v, width);
    while (more) {
        if ((u[0] & 1) == 0) {
            const unsigned s = low_zeros(u);
            shr_n(u, width, s);
            shl_n(x2, width, s);
            steps += s;
        } else if ((v[0] & 1) == 0) {
            const unsigned s = low_zeros(v);
            shr_n(v, width, s);
            shl_n(x1, width, s);
            steps += s;
        } else if (words::cmp(u, v, width) > 0) {
            // (u - v) / 2, then further halvings of u while it stays even.
            words::sub(u, u, v, width);
            words::add(x1, x1, x2, width);
            const unsigned s = low_zeros(u);
            shr_n(u, width, s);
            shl_n(x2, width, s);
            steps += s;
        } else {
            words::sub(v, v, u, width);
            words::add(x2, x2, x1, width);
            if (is_zero(v, width)) {
                shl_n(x1, width, 1);
                steps += 1;
                more = false;
            } else {
                const unsigned s = low_zeros(v);
                shr_n(v, width, s);
                shl_n(x1, width, s);
                steps += s;
            }
        }
    }

    // x1 < 2m; x1 = m - (x1 mod m) = a^-1 2^steps mod m.
    words::reduce_once(x1, x1, Limb(0), mm, width);
    words::sub(x1, mm, x1, width);

    // Divide by 2^steps: an odd x1 is made even by adding m (x1 + m < 2m),
    // then every trailing zero bit is one halving. Zero stays zero.
    if (is_zero(x1, width)) steps = 0;
    while (steps != 0) {
        if (x1[0] & 1) words::add(x1, x1, mm, width);
        unsigned s = low_zeros(x1);
        if (s == 0) s = 1;  // only for an even m, which has no such inverse
        if (s > steps) s = steps;
        shr_n(x1, width, s);
        steps -= s;
    }
}

}  // namespace

void almost_inverse(const uint32_t *a, const uint32_t *m, uint32_t *r) {
    const size_t mn = m[0];
    // All four numbers fit `width` limbs: u and v never exceed max(a, m),
    // and u x2 + v x1 = m holds after every step, which keeps x1 and x2
    // below 2m.
    const size_t words = (a[0] > mn ? a[0] : mn) + 1;
    const size_t width = (words + kWordsPerLimb - 1) / kWordsPerLimb;
    Limb u[kMaxLimbs], v[kMaxLimbs], x1[kMaxLimbs], x2[kMaxLimbs], mm[kMaxLimbs];
    to_limbs(mm, width, m + 1, mn);
    std::memcpy(u, mm, width * sizeof(Limb));
    to_limbs(v, width, a + 1, a[0]);
    // Curve-sized moduli get unrolled passes: up to 9 limbs, that is moduli
    // of up to 544 bits with 64-bit limbs and 256 bits with 32-bit ones.
    using Core = void (*)(Limb *, Limb *, Limb *, Limb *, const Limb *, size_t);
    constexpr Core kCores[] = {serial_core<0>, serial_core<1>, serial_core<2>, serial_core<3>,
                               serial_core<4>, serial_core<5>, serial_core<6>, serial_core<7>,
                               serial_core<8>, serial_core<9>};
    kCores[width < 10 ? width : 0](u, v, x1, x2, mm, width);

    // The result is at most m, so it fits m's words; r may be a (read above).
    r[0] = uint32_t(mn);
    from_limbs(r + 1, mn, x1);
    lncext::bn::clip(r);

    const size_t bytes = width * sizeof(Limb);
    lncext::secure_wipe(u, bytes);
    lncext::secure_wipe(v, bytes);
    lncext::secure_wipe(x1, bytes);
    lncext::secure_wipe(x2, bytes);
}

}  // namespace lncext::inv
