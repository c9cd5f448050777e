// The fixed-size Montgomery kernels for each word count 1 .. 16, and their
// big-number forms used by lnmmulmont, lnmsqrmont and lnmmontcom.
#include "bignum/mont_fixed.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "bignum/bignum_internal.hpp"
#include "bignum/words.hpp"

namespace lncext::mont {
namespace {

// Entry N is the instantiation for N words; entry 0 is null.
template <std::size_t... I>
constexpr FixedTable<MulFn> mul_table(std::index_sequence<I...>) {
    return {nullptr, &native::mul<I + 1>...};
}
template <std::size_t... I>
constexpr FixedTable<SqrFn> sqr_table(std::index_sequence<I...>) {
    return {nullptr, &native::sqr<I + 1>...};
}
template <std::size_t... I>
constexpr FixedTable<RedcFn> redc_table(std::index_sequence<I...>) {
    return {nullptr, &native::redc<I + 1>...};
}
using Sizes = std::make_index_sequence<kMaxFixedWords>;

// The one case the kernels serve: R = 2^(32 n) for an n-word modulus.
inline bool fits(uint32_t Rbits, const uint32_t *m) {
    const uint32_t n = m[0];
    return n >= 1 && n <= kMaxFixedWords && Rbits == 32 * n;
}

// Largest word count with a kernel of either kind.
#if defined(LNCEXT_HAVE_INT128)
constexpr uint32_t kMaxWords = 128;
#else
constexpr uint32_t kMaxWords = kMaxFixedWords;
#endif

// The product and square kernels for n words (R = 2^(32 n)), null pointers
// when there are none.
inline LargeFixed kernels_for(uint32_t Rbits, const uint32_t *m) {
    const uint32_t n = m[0];
    if (Rbits != 32 * n) return {nullptr, nullptr};
    if (n >= 1 && n <= kMaxFixedWords) return {kMulFixed[n], kSqrFixed[n]};
    return large_fixed(n);
}

// The digits of the big number a as n words (a[0] <= n): a's own when it
// has n of them, else a copy in d padded with zeros.
inline const uint32_t *digits(uint32_t *d, const uint32_t *a, uint32_t n) {
    if (a[0] == n) return a + 1;
    std::memcpy(d, a + 1, a[0] * sizeof(uint32_t));
    std::memset(d + a[0], 0, (n - a[0]) * sizeof(uint32_t));
    return d;
}

#if defined(LNCEXT_HAVE_INT128)
// ---------------------------------------------------------------------------
// Any even word count up to 128 on 64-bit limbs: the column scan of
// scan<u64, u128, L, ...> with the limb count L = n / 2 known only at run
// time, so the code stays one loop nest whatever the size. Column k sums
// a_i b_(k-i) and u_i m_(k-i) over the same i; the two go to separate
// accumulators, two independent carry chains, which are added before the
// column is closed. Bounds as in scan: the sum of both stays below
// (2L + 2) 2^128 < 2^192, so neither accumulator nor their sum overflows.
namespace rolled {

using u64 = uint64_t;
using u128 = unsigned __int128;
using Acc64 = Acc<u64, u128>;

constexpr std::size_t kMaxLimbs = 64;

inline void add(Acc64 &acc, const Acc64 &x) {
    acc.lo += x.lo;
    acc.hi += x.hi + u64(acc.lo < x.lo);
}

// Columns from the products (Square: each cross product once, doubled, and
// the diagonal), then the reduction digit for the low L columns; q[0 .. L]
// receives the quotient limbs and its top (0 or 1).
template <bool Square>
void scan_rolled(u64 *q, const u64 *A, const u64 *B, const u64 *M, std::size_t L, u64 nl) {
    u64 U[kMaxLimbs];
    Acc64 acc;
    for (std::size_t k = 0; k + 1 < 2 * L; ++k) {
        const std::size_t lo = k < L ? 0 : k - L + 1, hi = k < L ? k : L - 1;
        Acc64 prod, red;
        if constexpr (Square) {
#pragma GCC unroll 4
            for (std::size_t i = lo; i < k - i; ++i) prod.mac(A[i], A[k - i]);
            Acc64 twice;
            twice.add_twice(prod);
            prod = twice;
            if (k % 2 == 0) prod.mac(A[k / 2], A[k / 2]);
        } else {
#pragma GCC unroll 4
            for (std::size_t i = lo; i <= hi; ++i) prod.mac(A[i], B[k - i]);
        }
        // For k < L the digits u_0 .. u_(k-1) are known; from L on, all.
        const std::size_t top = k < L ? k : hi + 1;
#pragma GCC unroll 4
        for (std::size_t i = lo; i < top; ++i) red.mac(U[i], M[k - i]);
        add(acc, prod);
        add(acc, red);
        if (k >= L) {
            q[k - L] = acc.shift();
        } else {
            U[k] = u64(acc.lo) * nl;
            acc.mac(U[k], M[0]);
            acc.shift();
        }
    }
    q[L - 1] = acc.shift();
    q[L] = u64(acc.lo);
}

// x as L limbs.
inline void load(u64 *x, const uint32_t *w, std::size_t L) {
    std::memcpy(x, w, 8 * L);
}

// r = q - M when q + top 2^(64L) >= M, else q, by a masked correction.
inline void finish(uint32_t *r, const u64 *q, const u64 *M, std::size_t L) {
    u64 out[kMaxLimbs];
    lncext::words::reduce_once(out, q, q[L], M, L);
    std::memcpy(r, out, 8 * L);
}

void mul(uint32_t *r, const uint32_t *a, const uint32_t *b, const uint32_t *m, std::size_t n,
         uint32_t n0) {
    const std::size_t L = n / 2;
    u64 A[kMaxLimbs], B[kMaxLimbs], M[kMaxLimbs], q[kMaxLimbs + 1];
    load(A, a, L);
    load(B, b, L);
    load(M, m, L);
    scan_rolled<false>(q, A, B, M, L, w64::inverse64(n0, M[0]));
    finish(r, q, M, L);
}

void sqr(uint32_t *r, const uint32_t *a, const uint32_t *m, std::size_t n, uint32_t n0) {
    const std::size_t L = n / 2;
    u64 A[kMaxLimbs], M[kMaxLimbs], q[kMaxLimbs + 1];
    load(A, a, L);
    load(M, m, L);
    scan_rolled<true>(q, A, A, M, L, w64::inverse64(n0, M[0]));
    finish(r, q, M, L);
}

}  // namespace rolled
#endif

}  // namespace

constexpr FixedTable<MulFn> kMulFixed = mul_table(Sizes{});
constexpr FixedTable<SqrFn> kSqrFixed = sqr_table(Sizes{});
constexpr FixedTable<RedcFn> kRedcFixed = redc_table(Sizes{});
static_assert(kMulFixed[0] == nullptr && kMulFixed[8] == &native::mul<8>);
static_assert(kRedcFixed[kMaxFixedWords] == &native::redc<kMaxFixedWords>);

LargeFixed large_fixed([[maybe_unused]] uint32_t n) {
#if defined(LNCEXT_HAVE_INT128)
    // The CRT halves of 1536- and 2048-bit keys and the primes of their key
    // generation (24 and 32 words), where nearly all the time of those
    // operations goes. Unrolled, the two sizes take about 41 KiB of code;
    // 48 and 64 words would take five times that for the public operation,
    // which spends most of its time outside the products.
    switch (n) {
        case 24:
            return {&w64::mul<24>, &w64::sqr<24>};
        case 32:
            return {&w64::mul<32>, &w64::sqr<32>};
        default:
            break;
    }
#endif
    return {nullptr, nullptr};
}

namespace {

// Any other even count from 18 words up, with 64-bit limbs.
inline bool rolled_fits([[maybe_unused]] uint32_t Rbits, [[maybe_unused]] uint32_t n) {
#if defined(LNCEXT_HAVE_INT128)
    return n % 2 == 0 && n > kMaxFixedWords && n <= 2 * rolled::kMaxLimbs && Rbits == 32 * n;
#else
    return false;
#endif
}

}  // namespace

// The kernels read all their input before they write, and write exactly n
// words, so they work in place on the digits of the result.
bool mul_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
               const uint32_t *b, uint32_t *r) {
    const uint32_t n = m[0];
    const MulFn f = kernels_for(Rbits, m).mul;
    if ((f == nullptr && !rolled_fits(Rbits, n)) || a[0] > n || b[0] > n) return false;
    uint32_t x[kMaxWords], y[kMaxWords];
    const uint32_t *ad = digits(x, a, n), *bd = digits(y, b, n);
#if defined(LNCEXT_HAVE_INT128)
    if (f == nullptr)
        rolled::mul(r + 1, ad, bd, m + 1, n, minv);
    else
#endif
        f(r + 1, ad, bd, m + 1, minv);
    r[0] = n;
    lncext::bn::clip(r);
    return true;
}

bool sqr_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a, uint32_t *r) {
    const uint32_t n = m[0];
    const SqrFn f = kernels_for(Rbits, m).sqr;
    if ((f == nullptr && !rolled_fits(Rbits, n)) || a[0] > n) return false;
    uint32_t x[kMaxWords];
    const uint32_t *ad = digits(x, a, n);
#if defined(LNCEXT_HAVE_INT128)
    if (f == nullptr)
        rolled::sqr(r + 1, ad, m + 1, n, minv);
    else
#endif
        f(r + 1, ad, m + 1, minv);
    r[0] = n;
    lncext::bn::clip(r);
    return true;
}

bool redc_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, uint32_t *t) {
    const uint32_t n = m[0];
    if (!fits(Rbits, m) || t[0] > 2 * n) return false;
    uint32_t x[2 * kMaxFixedWords];
    kRedcFixed[n](t + 1, digits(x, t, 2 * n), m + 1, minv);
    t[0] = n;
    lncext::bn::clip(t);
    return true;
}

}  // namespace lncext::mont
