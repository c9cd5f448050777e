// Multiply, square and Montgomery-reduction kernels.
//
// Two implementations of each kernel live here. The portable one is built of
// rows with a one-word multiplier (words::mul_1 and words::addmul_1). Where
// the target offers a 128-bit integer (LNCEXT_HAVE_INT128), the wide one
// treats two neighbouring words as one 64-bit limb (words::ld64, so the limb
// at word i is w[i] + w[i+1] * 2^32) and uses 64x64->128 products, with a
// single 32-bit tail word where a count is odd. Both write exactly the words
// the contract names and produce identical results.
#include "bignum/kernels.hpp"

#include <cstring>

#include "bignum/words.hpp"

namespace lncext::kern {
namespace {

namespace words = lncext::words;
using u32 = uint32_t;
using u64 = uint64_t;

// ---------------------------------------------------------------------------
// Portable word kernels.

[[maybe_unused]] void mul_w32(u32 *r, const u32 *a, std::size_t na, const u32 *b, std::size_t nb) {
    // Row i stores its carry in r[i + nb], a word no earlier row reached.
    r[nb] = words::mul_1(r, b, nb, a[0]);
    for (std::size_t i = 1; i < na; i++) r[i + nb] = words::addmul_1(r + i, b, nb, a[i]);
}

[[maybe_unused]] void sqr_w32(u32 *r, const u32 *a, std::size_t n) {
    if (n == 1) {
        u64 t = u64(a[0]) * a[0];
        r[0] = u32(t);
        r[1] = u32(t >> 32);
        return;
    }
    // Cross products a[i] * a[j], i < j, each once, at word i + j.
    r[0] = 0;
    r[n] = words::mul_1(r + 1, a + 1, n - 1, a[0]);
    for (std::size_t i = 1; i + 1 < n; i++)
        r[i + n] = words::addmul_1(r + 2 * i + 1, a + i + 1, n - i - 1, a[i]);
    r[2 * n - 1] = 0;
    // Double and add the diagonal in one pass. The sum of the cross products
    // is below a^2 / 2, so the bit shifted out of the top is zero, and the
    // running carry c is 0 or 1 because the total is exactly a^2 < 2^(64n).
    u32 top = 0, c = 0;
    for (std::size_t i = 0; i < n; i++) {
        u32 lo = r[2 * i], hi = r[2 * i + 1];
        u32 dlo = lo << 1 | top;
        u32 dhi = hi << 1 | lo >> 31;
        top = hi >> 31;
        u64 sq = u64(a[i]) * a[i];
        // dlo + low half + c < 2^33, dhi + high half + carry < 2^33.
        u64 s = u64(dlo) + u32(sq) + c;
        r[2 * i] = u32(s);
        s = u64(dhi) + u32(sq >> 32) + u32(s >> 32);
        r[2 * i + 1] = u32(s);
        c = u32(s >> 32);
    }
}

// Adds the two-word value c at t[p], t[p + 1] (p < lim) and propagates the
// carry no further than t[lim]. The caller guarantees that the total fits
// below t[lim + 1]. The two words go in as one carry chain, and what runs on
// beyond them is rare, so the branch that ends it is well predicted.
inline void add_carry(u32 *t, std::size_t p, std::size_t lim, u64 c) {
    const u32 cw[2] = {u32(c), u32(c >> 32)};
    words::add_1(t + p + 2, t + p + 2, lim - p - 1, words::add(t + p, t + p, cw, 2));
}

[[maybe_unused]] void redc_w32(u32 *t, const u32 *m, std::size_t n, std::size_t words, u32 minv) {
    for (std::size_t i = 0; i < words; i++) {
        u32 u = t[i] * minv;  // makes t[i] + u * m[0] = 0 mod 2^32
        add_carry(t, i + n, n + words, words::addmul_1(t + i, m, n, u));
    }
}

#if defined(LNCEXT_HAVE_INT128)
#define LNCEXT_WIDE_KERNELS 1

using u128 = unsigned __int128;
using words::ld64;
using words::st64;

// r[0 .. n) += x * b[0 .. n) for a 64-bit multiplier x; returns the carry,
// the value of the two words r[n], r[n + 1] (below 2^32 when x < 2^32).
// Per full limb, x*b + c + r <= (2^64 - 1)^2 + 2(2^64 - 1) = 2^128 - 1, so
// each of the two additions below carries into hi without overflowing it.
// Tail word: r + x*b + c <= (2^32 - 1) + (2^64 - 1)(2^32 - 1) + (2^64 - 1)
// = 2^96 - 1, so after the low word is taken the rest fits 64 bits.
// Kept out of line: inlined into the row loops, the compiler spills the
// carry chain to memory; on its own the limb loop stays in registers.
__attribute__((noinline)) u64 addmul_w64(u32 *r, const u32 *b, std::size_t n, u64 x) {
    u64 c = 0;
    std::size_t j = 0;
    for (; j + 2 <= n; j += 2) {
        u128 p = u128(x) * ld64(b + j);
        u64 lo = u64(p), hi = u64(p >> 64);
        lo += c;
        hi += lo < c;
        u64 rj = ld64(r + j);
        lo += rj;
        hi += lo < rj;
        st64(r + j, lo);
        c = hi;
    }
    if (j < n) {
        u128 t = u128(x) * b[j] + r[j] + c;
        r[j] = u32(t);
        c = u64(t >> 32);
    }
    return c;
}

// Two rows at once: r[0 .. nb) += (x0 + x1 2^64) * b[0 .. nb) + p, writing
// the top of the sum into r[nb .. nb + 4), words the caller has not filled
// yet. Each b limb is loaded once and each r limb read and written once for
// two products, which keeps the loop's memory traffic and instruction
// count low. p is a carry into word 0 (at most 2^64 - 1).
// Bounds: s = x0*b + r + p0 <= (2^64 - 1)^2 + 2(2^64 - 1) = 2^128 - 1 and
// t = x1*b + hi(s) + p1 likewise, so both fit 128 bits; the total is below
// 2^(32(nb + 4)), so the final words hold it exactly.
__attribute__((noinline)) void addmul2_w64(u32 *r, const u32 *b, std::size_t nb, u64 x0, u64 x1,
                                           u64 p) {
    u64 p0 = p, p1 = 0;  // pending values at the current limb and the next
    std::size_t j = 0;
    for (; j + 2 <= nb; j += 2) {
        u64 bj = ld64(b + j);
        u128 s = u128(x0) * bj;
        u64 slo = u64(s), shi = u64(s >> 64);
        slo += p0;
        shi += slo < p0;
        u64 rj = ld64(r + j);
        slo += rj;
        shi += slo < rj;
        st64(r + j, slo);
        u128 t = u128(x1) * bj;
        u64 tlo = u64(t), thi = u64(t >> 64);
        tlo += shi;
        thi += tlo < shi;
        tlo += p1;
        thi += tlo < p1;
        p0 = tlo;
        p1 = thi;
    }
    if (j == nb) {
        st64(r + j, p0);
        st64(r + j + 2, p1);
        return;
    }
    // Odd tail word w at word j: x0*w + r[j] + p0 < 2^96 lands at words
    // j .. j+2, x1*w + p1 at words j+2 .. j+4.
    u32 w = b[j];
    u128 s = u128(x0) * w + r[j] + p0;
    r[j] = u32(s);
    u64 up = u64(s >> 32);  // words j+1, j+2
    r[j + 1] = u32(up);
    u128 t = u128(x1) * w + p1 + (up >> 32);
    r[j + 2] = u32(t);
    st64(r + j + 3, u64(t >> 32));
}

void mul_w64(u32 *r, const u32 *a, std::size_t na, const u32 *b, std::size_t nb) {
    // Rows of a (two limbs, one limb, or a last odd word) add into r from
    // their own word onwards and store their top words into words no earlier
    // row reached.
    std::memset(r, 0, nb * sizeof(u32));
    std::size_t i = 0;
    for (; i + 4 <= na; i += 4) addmul2_w64(r + i, b, nb, ld64(a + i), ld64(a + i + 2), 0);
    if (i + 2 <= na) {
        st64(r + i + nb, addmul_w64(r + i, b, nb, ld64(a + i)));
        i += 2;
    }
    // An odd last word: a one-word multiplier, whose carry fits one word.
    if (i < na) r[i + nb] = words::addmul_1(r + i, b, nb, a[i]);
}

// Doubles r[0 .. 4L) (the cross products of an L-limb square) and adds the
// diagonal squares of a's limbs. The sum of the cross products is below
// a^2 / 2, so the bit shifted out of the top is zero; the carry c between
// limb pairs is 0 or 1 because the total is exactly a^2 < 2^(128L). Within a
// pair: the low half plus c wraps only when it becomes 0, so at most one of
// its two additions carries; the high half of x^2 is at most 2^64 - 2, so
// adding that carry cannot wrap.
__attribute__((noinline)) void double_add_diagonal_w64(u32 *r, const u32 *a, std::size_t L) {
    u64 top = 0, c = 0;
    for (std::size_t i = 0; i < L; i++) {
        u64 lo = ld64(r + 4 * i), hi = ld64(r + 4 * i + 2);
        u64 dlo = lo << 1 | top;
        u64 dhi = hi << 1 | lo >> 63;
        top = hi >> 63;
        u64 x = ld64(a + 2 * i);
        u128 sq = u128(x) * x;
        u64 sl = u64(sq), sh = u64(sq >> 64);
        sl += c;
        u64 k = sl < c;
        sl += dlo;
        k += sl < dlo;
        sh += k;
        sh += dhi;
        c = sh < dhi;
        st64(r + 4 * i, sl);
        st64(r + 4 * i + 2, sh);
    }
}

// Square of an even number of words n = 2L, as L limbs.
void sqr_even_w64(u32 *r, const u32 *a, std::size_t n) {
    std::size_t L = n / 2;
    std::memset(r, 0, 2 * n * sizeof(u32));
    // Cross products limb i * limbs i+1 .. L-1 at limb 2i+1, two rows at a
    // time: rows i and i+1 are a_i a_{i+1} at limb 2i+1, then
    // (a_i + a_{i+1} B) * a[i+2 ..] at limb 2i+2, whose top lands in limbs
    // i + L and i + L + 1, not yet reached by an earlier pair.
    for (std::size_t i = 0; i + 1 < L; i += 2) {
        u64 x0 = ld64(a + 2 * i), x1 = ld64(a + 2 * i + 2);
        u32 *at = r + 2 * (2 * i + 1);
        // x0 x1 + r <= (2^64 - 1)^2 + 2^64 - 1 < 2^128.
        u128 s = u128(x0) * x1 + ld64(at);
        st64(at, u64(s));
        addmul2_w64(at + 2, a + 2 * (i + 2), 2 * (L - i - 2), x0, x1, u64(s >> 64));
    }
    double_add_diagonal_w64(r, a, L);
}

void sqr_w64(u32 *r, const u32 *a, std::size_t n) {
    if (n == 1) {
        u64 t = u64(a[0]) * a[0];
        r[0] = u32(t);
        r[1] = u32(t >> 32);
        return;
    }
    if (n % 2 == 0) {
        sqr_even_w64(r, a, n);
        return;
    }
    // Odd n: a = A + w * 2^(32(n-1)) with A the n - 1 low words, so
    // a^2 = A^2 + 2wA * 2^(32(n-1)) + w^2 * 2^(64(n-1)).
    std::size_t e = n - 1;
    u32 w = a[e];
    sqr_even_w64(r, a, e);
    st64(r + 2 * e, u64(w) * w);
    // 2w < 2^33 is a valid limb multiplier; the row's carry is below 2^34 and
    // lands in r[2n-2], r[2n-1]; the whole fits 2n words, so it stops there.
    add_carry(r, 2 * e, 2 * n - 1, addmul_w64(r + e, a, e, u64(w) << 1));
}

void redc_w64(u32 *t, const u32 *m, std::size_t n, std::size_t words, u32 minv) {
    // minv64 = -m^-1 mod 2^64 by one Newton step from the word inverse: with
    // m*minv = -1 + k*2^32, m*minv*(2 + m*minv) = (-1 + k 2^32)(1 + k 2^32)
    // = -1 mod 2^64.
    u64 m0 = n >= 2 ? ld64(m) : u64(m[0]);
    u64 minv64 = u64(minv) * (2 + m0 * minv);
    std::size_t i = 0;
    for (; i + 2 <= words; i += 2) {
        u64 u = ld64(t + i) * minv64;  // t[i], t[i+1] + u * m = 0 mod 2^64
        add_carry(t, i + n, n + words, addmul_w64(t + i, m, n, u));
    }
    if (i < words) {
        u32 u = t[i] * minv;
        add_carry(t, i + n, n + words, addmul_w64(t + i, m, n, u));
    }
}

#endif

// ---------------------------------------------------------------------------
// Karatsuba layer for large products of operands of equal, even size. With
// a = a1 W + a0 and b = b1 W + b0 (W = 2^(32h), h = n/2):
//   a b = a1 b1 W^2 + (a0 b0 + a1 b1 - (a0 - a1)(b0 - b1)) W + a0 b0,
// three half-size products instead of four. Scratch comes from a fixed stack
// area; operands above kKaraMaxWords fall back to the schoolbook kernels.
// Squares stay with their own kernel, which already computes each cross
// product once; splitting them measured no faster.

#if defined(LNCEXT_WIDE_KERNELS)
// Crossovers measured against the schoolbook kernels of each build.
constexpr std::size_t kKaraThreshold = 48;
inline void base_mul(u32 *r, const u32 *a, const u32 *b, std::size_t n) {
    mul_w64(r, a, n, b, n);
}
#else
constexpr std::size_t kKaraThreshold = 32;
inline void base_mul(u32 *r, const u32 *a, const u32 *b, std::size_t n) {
    mul_w32(r, a, n, b, n);
}
#endif

// Largest operand the layer takes; its scratch is below 4 * kKaraMaxWords.
constexpr std::size_t kKaraMaxWords = 258;
constexpr std::size_t kKaraScratch = 4 * kKaraMaxWords;

inline bool use_karatsuba(std::size_t n) {
    return n >= kKaraThreshold && n % 2 == 0 && n <= kKaraMaxWords;
}

// d = |x - y| over n words; returns true when x < y.
bool abs_diff(u32 *d, const u32 *x, const u32 *y, std::size_t n) {
    const bool neg = words::cmp(x, y, n) < 0;
    if (neg)
        words::sub(d, y, x, n);
    else
        words::sub(d, x, y, n);  // x >= y overall, so no borrow leaves the top
    return neg;
}

// r[0 .. 2n) holds lo = a0 b0 (words 0 .. n) and hi = a1 b1 (words n .. 2n),
// t (n words) the product of the half differences. Adds the middle term
// lo + hi - t (subtract) or lo + hi + t into r at word h, using s (n words)
// as scratch. The middle term equals a0 b1 + a1 b0, which is non-negative
// and below 2 W^2, so its word above s (tc) ends as 0 or 1, and the whole
// sum fits the 2n words of r.
void kara_combine(u32 *r, const u32 *t, u32 *s, std::size_t n, bool subtract) {
    std::size_t h = n / 2;
    const u32 c = words::add(s, r, r + n, n);
    // s + c 2^(32n) = lo + hi; now apply t. tc takes the final carry or borrow;
    // since the exact result is non-negative, it never goes below zero.
    const u32 tc = subtract ? c - words::sub(s, s, t, n) : c + words::add(s, s, t, n);
    // r[h ..] += s + tc 2^(32n), carries stopping within r's 2n words
    // (c + tc <= 2).
    const u32 c2 = words::add(r + h, r + h, s, n);
    words::add_1(r + h + n, r + h + n, n - h, c2 + tc);
}

void kara_mul(u32 *r, const u32 *a, const u32 *b, std::size_t n, u32 *scratch) {
    if (!use_karatsuba(n)) {
        base_mul(r, a, b, n);
        return;
    }
    std::size_t h = n / 2;
    u32 *da = scratch, *db = scratch + h, *t = scratch + n, *rest = scratch + 2 * n;
    kara_mul(r, a, b, h, rest);              // a0 b0
    kara_mul(r + n, a + h, b + h, h, rest);  // a1 b1
    bool na = abs_diff(da, a, a + h, h);
    bool nb = abs_diff(db, b, b + h, h);
    kara_mul(t, da, db, h, rest);  // |a0 - a1| |b0 - b1|
    // (a0 - a1)(b0 - b1) is +t when the signs agree: subtract it then.
    kara_combine(r, t, scratch, n, na == nb);
}

}  // namespace

// The limb width is chosen once, here; everything above it is shared.
#if defined(LNCEXT_WIDE_KERNELS)
constexpr auto schoolbook_mul = mul_w64;
constexpr auto square = sqr_w64;
constexpr auto reduce = redc_w64;
#else
constexpr auto schoolbook_mul = mul_w32;
constexpr auto square = sqr_w32;
constexpr auto reduce = redc_w32;
#endif

void mul(uint32_t *r, const uint32_t *a, std::size_t na, const uint32_t *b, std::size_t nb) {
    if (na == nb && use_karatsuba(na)) {
        u32 scratch[kKaraScratch];
        kara_mul(r, a, b, na, scratch);
        return;
    }
    schoolbook_mul(r, a, na, b, nb);
}

void sqr(uint32_t *r, const uint32_t *a, std::size_t n) {
    square(r, a, n);
}

void redc(uint32_t *t, const uint32_t *m, std::size_t n, std::size_t words, uint32_t minv) {
    reduce(t, m, n, words, minv);
}

}  // namespace lncext::kern
