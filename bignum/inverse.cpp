// Modular inversion by the almost-inverse method (Kaliski): u = m, v = a,
// x1 = 0, x2 = 1, then while v is not zero one step of
//   u even: u = u / 2, x2 = 2 x2;       v even: v = v / 2, x1 = 2 x1;
//   u > v:  u = (u - v) / 2, x1 += x2, x2 = 2 x2;
//   else:   v = (v - u) / 2, x2 += x1, x1 = 2 x1;
// and at the end x1 = m - (x1 mod m) = a^-1 2^steps mod m, divided by 2 as
// many times as there were steps. Two bodies give the same steps and so the
// same result for every input: the serial one takes the steps on the whole
// numbers; the batched one decides a run of them from the lowest and the top
// limbs of u and v alone and applies the run to the whole numbers at once.
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

// ---------------------------------------------------------------------------
// Runs of steps. After k steps of a run, 2^k u' = f0 u + g0 v and 2^k v' =
// f1 u + g1 v with integer rows (f0, g0), (f1, g1), and x1' = a0 x1 + b0 x2,
// x2' = a1 x1 + b1 x2 with non-negative entries. Every step at most doubles
// the larger row sum |f| + |g| and a + b, so after k steps all are at most
// 2^k; runs stop at kRun steps so that they fit a signed limb.
#if defined(LNCEXT_HAVE_INT128)
using SLimb = int64_t;
using SWide = __int128;
using UWide = unsigned __int128;
#else
using SLimb = int32_t;
using SWide = int64_t;
using UWide = uint64_t;
#endif
constexpr unsigned kRun = kLimbBits - 2;

struct Run {
    unsigned steps;
    bool v_zero;  // the run's last step made v zero: the method is done
    SLimb f0, g0, f1, g1;
    Limb a0, b0, a1, b1;
};

// No comparison is forced on the first step of a run.
constexpr int kFree = 2;

// Decides up to kRun steps from ul, vl, the lowest limbs of u and v, and
// uh = u >> e, vh = v >> e, one limb of each taken at the same bit e from the
// top of the larger (e = 0 and exact when both fit one limb).
//  - Parity: the step (u - v) / 2 on the low limbs leaves bits 0 .. B-2
//    exact, and each further step one bit fewer; with k < B - 1 bit 0 is
//    always exact.
//  - Order: with U = f0 uh + g0 vh and V likewise, 2^k (u' - v') =
//    2^e (U - V) + (f0 - f1) du + (g0 - g1) dv, du, dv < 2^e the bits below
//    e; the last term is below 2^(k+1) 2^e in size. So U - V >= 2^(k+1)
//    proves u' > v' and U - V <= -2^(k+1) proves u' < v'; between them the
//    run stops. u' = v' always falls between, so within an inexact run v
//    never reaches zero. `forced` (-1, 0 or 1 as u <=> v) decides the first
//    step when the caller compared the whole numbers.
Run decide(Limb ul, Limb vl, Limb uh, Limb vh, bool exact, int forced) {
    Run r{0, false, 1, 0, 0, 1, 1, 0, 0, 1};
    // U and V in two's complement, so that doubling them is a shift.
    UWide U = uh, V = vh;
    unsigned k = 0;
    while (k < kRun) {
        if ((ul & 1) == 0 || (vl & 1) == 0) {
            // A run of halvings of one number, at most to the end of the run
            // (bits beyond the exact ones only shorten it).
            const bool uev = (ul & 1) == 0;
            const unsigned s = std::min(unsigned(std::countr_zero(uev ? ul : vl)), kRun - k);
            const SLimb p = SLimb(1) << s;
            if (uev) {
                ul >>= s;
                r.f1 *= p, r.g1 *= p, V <<= s, r.a1 <<= s, r.b1 <<= s;
            } else {
                vl >>= s;
                r.f0 *= p, r.g0 *= p, U <<= s, r.a0 <<= s, r.b0 <<= s;
            }
            k += s;
            continue;
        }
        bool greater;
        if (k == 0 && forced != kFree) {
            greater = forced > 0;
        } else {
            const SWide d = SWide(U - V);
            if (exact) {
                greater = d > 0;
            } else {
                const SWide bound = SWide(1) << (k + 1);
                if (d < bound && d > -bound) break;
                greater = d > 0;
            }
        }
        k++;
        if (greater) {
            ul = (ul - vl) >> 1;
            r.f0 -= r.f1, r.g0 -= r.g1, U -= V, r.a0 += r.a1, r.b0 += r.b1;
            r.f1 *= 2, r.g1 *= 2, V <<= 1, r.a1 <<= 1, r.b1 <<= 1;
            // Further halvings of u while it is even, in the same pass.
            const unsigned s = std::min(unsigned(std::countr_zero(ul)), kRun - k);
            ul >>= s;
            r.f1 *= SLimb(1) << s, r.g1 *= SLimb(1) << s, V <<= s, r.a1 <<= s, r.b1 <<= s;
            k += s;
        } else {
            vl = (vl - ul) >> 1;
            r.f1 -= r.f0, r.g1 -= r.g0, V -= U, r.a1 += r.a0, r.b1 += r.b0;
            r.f0 *= 2, r.g0 *= 2, U <<= 1, r.a0 <<= 1, r.b0 <<= 1;
            if (exact ? V == 0 : k == 1 && forced == 0) {
                r.v_zero = true;
                break;
            }
            const unsigned s = std::min(unsigned(std::countr_zero(vl)), kRun - k);
            vl >>= s;
            r.f0 *= SLimb(1) << s, r.g0 *= SLimb(1) << s, U <<= s, r.a0 <<= s, r.b0 <<= s;
            k += s;
        }
    }
    r.steps = k;
    return r;
}

// Significant bits of a[0 .. n).
inline size_t bit_length(const Limb *a, size_t n) {
    while (n != 0 && a[n - 1] == 0) n--;
    return n == 0 ? 0 : n * kLimbBits - size_t(std::countl_zero(a[n - 1]));
}

// The limb of a at bit e; a has a limb above bit e + kLimbBits - 1 or none
// is needed.
inline Limb limb_at(const Limb *a, size_t e) {
    const size_t i = e / kLimbBits;
    const unsigned s = unsigned(e % kLimbBits);
    return s == 0 ? a[i] : (a[i] >> s | a[i + 1] << (kLimbBits - s));
}

// out = (p a + q b) / 2^k for a row whose result is a non-negative number
// of n limbs, exactly divisible by 2^k (1 <= k < kLimbBits). Not both p and
// q are negative, since the result is positive or zero: the positive term
// goes first, and the top limb of the sum comes out exact modulo 2^B.
void apply_row(Limb *out, const Limb *a, const Limb *b, SLimb p, SLimb q, unsigned k, size_t n) {
    if (p < 0) {
        std::swap(a, b);
        std::swap(p, q);
    }
    Limb top = words::mul_1(out, a, n, Limb(p));
    if (q >= 0)
        top += words::addmul_1(out, b, n, Limb(q));
    else
        top -= words::submul_1(out, b, n, Limb(-q));
    shr_n(out, n, k);
    out[n - 1] |= top << (kLimbBits - k);
}

void batched_core(Limb *u, Limb *v, Limb *x1, Limb *x2, const Limb *mm, size_t width) {
    const size_t bytes = width * sizeof(Limb);
    std::memset(x1, 0, bytes);
    std::memset(x2, 0, bytes);
    x2[0] = 1;
    Limb t1[kMaxLimbs], t2[kMaxLimbs];

    uint32_t steps = 0;
    int forced = kFree;
    while (!is_zero(v, width)) {
        const size_t len = std::max(bit_length(u, width), bit_length(v, width));
        const bool exact = len <= kLimbBits;
        const size_t e = exact ? 0 : len - kLimbBits;
        const Run r = decide(u[0], v[0], limb_at(u, e), limb_at(v, e), exact, forced);
        if (r.steps == 0) {
            // u and v agree in their top limb: compare them whole.
            forced = words::cmp(u, v, width);
            continue;
        }
        forced = kFree;
        steps += r.steps;
        apply_row(t1, u, v, r.f0, r.g0, r.steps, width);
        apply_row(t2, u, v, r.f1, r.g1, r.steps, width);
        std::memcpy(u, t1, bytes);
        std::memcpy(v, t2, bytes);
        // x1, x2 stay below 2m (u x2 + v x1 = m): no carry leaves width.
        words::mul_1(t1, x1, width, r.a0);
        words::addmul_1(t1, x2, width, r.b0);
        words::mul_1(t2, x1, width, r.a1);
        words::addmul_1(t2, x2, width, r.b1);
        std::memcpy(x1, t1, bytes);
        std::memcpy(x2, t2, bytes);
        if (r.v_zero) break;
    }
    lncext::secure_wipe(t1, bytes);
    lncext::secure_wipe(t2, bytes);

    // x1 < 2m; x1 = m - (x1 mod m) = a^-1 2^steps mod m, in 1 .. m.
    words::reduce_once(x1, x1, Limb(0), mm, width);
    words::sub(x1, mm, x1, width);

    // Divide by 2^steps up to B - 1 bits at a time: adding q m with
    // q = -x1 m^-1 mod 2^s clears the low s bits. x1 <= m gives
    // (x1 + q m) / 2^s < (1 + 2^s) m / 2^s, so x1 stays at most m (and is m
    // exactly when it started as m); the sum fits width limbs and the top
    // limb, since m is a word below the width.
    Limb inv = mm[0];  // m^-1 mod 2^B by Newton's steps, from 3 exact bits
    for (int i = 0; i < 5; i++) inv *= 2 - mm[0] * inv;
    const Limb minv = Limb(0) - inv;
    while (steps != 0) {
        const unsigned s = std::min<uint32_t>(steps, kLimbBits - 1);
        const Limb q = (x1[0] * minv) & ((Limb(1) << s) - 1);
        const Limb top = words::addmul_1(x1, mm, width, q);
        shr_n(x1, width, s);
        x1[width - 1] |= top << (kLimbBits - s);
        steps -= s;
    }
}

// The body of both entry points: the numbers as limbs, `batch` choosing the
// core for an odd modulus (an even one keeps the serial core, whose halving
// at the end has no inverse of m to work with).
void invert(const uint32_t *a, const uint32_t *m, uint32_t *r, bool batch) {
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
    if (batch && (mm[0] & 1) != 0)
        batched_core(u, v, x1, x2, mm, width);
    else
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

}  // namespace

void batched(const uint32_t *a, const uint32_t *m, uint32_t *r) {
    invert(a, m, r, true);
}

void serial(const uint32_t *a, const uint32_t *m, uint32_t *r) {
    invert(a, m, r, false);
}

}  // namespace lncext::inv
