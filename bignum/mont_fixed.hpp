// Fixed-size Montgomery multiplication, squaring and reduction for moduli of
// 1 to 16 words, the sizes of the prime-field and small-RSA arithmetic.
//
// Interface (bare digit arrays: no count word, least significant word first,
// exactly N words each; 1 <= N <= kMaxFixedWords):
//
//   mont_mul<N>(r, a, b, m, n0)   r = a b R^-1 mod m
//   mont_sqr<N>(r, a, m, n0)      r = a^2 R^-1 mod m
//   mont_redc<N>(r, t, m, n0)     r = t R^-1 mod m, t of 2N words
//
// with R = 2^(32 N), m odd and n0 = -m^-1 mod 2^32 (the minv of every
// Montgomery operation of the library: lnminverse(0 - m[0])). The kernels
// compute the exact Montgomery quotient q = (x + U m) / R, U the one value
// below R that makes the sum divisible by R, and return q - m when q >= m
// and q otherwise, the same words the generic reduction produces. For any
// a, b < R (and t < R^2) q is below R + m, so the result always fits N
// words; when a b < m R (a, b < m in particular) it is the fully reduced
// residue, below m. Inputs are read completely before r is written, so r may
// be the same array as a, b or t (but not m). Nothing is allocated; the
// final subtraction is chosen by a mask, so the time does not depend on the
// values. r receives exactly N words.
//
// For a word count known only at run time, kMulFixed[N], kSqrFixed[N] and
// kRedcFixed[N] hold the instantiations (entry 0 is null). The functions
// mul_fixed, sqr_fixed and redc_fixed take the library's big numbers (count
// word first, normalised) and the Montgomery parameters in the order of the
// lnm* calls; they handle the case R = 2^(32 m[0]) with 1 <= m[0] <= 16 (and
// the larger sizes below) and operands of at most m[0] words (2 m[0] for the
// reduction) and return false, writing nothing, for anything else, so that
// a caller falls back to the general path. A field whose elements are normalised big numbers of up
// to 16 words (a 17-word slot) calls them directly; one that keeps its elements as N-word digit
// arrays calls the templates.
//
// Method: the product and the reduction are one pass over the columns of
// a b + U m (finely integrated product scanning, see scan below), fully
// unrolled, with a three-limb accumulator in registers; the square takes
// each cross product once. The reduction alone (mont_redc, lnmmontcom) is
// word-serial with its rows unrolled. Each kernel is instantiated out of
// line once per size and shared by the templates, the tables and the
// big-number forms.
//
// Paths: with a 64 x 64 -> 128-bit product (LNCEXT_HAVE_INT128) two words
// form one 64-bit limb, N/2 limbs for even N; an odd N takes (N - 1)/2 limb
// digits of U and one last 32-bit digit, so the quotient is the one of
// R = 2^(32 N) and not of a limb-rounded R. Without it (i386, the portable
// build) the kernels work in 32-bit words with 64-bit products. Both paths
// are compiled where they can be (namespaces w32 and w64) and give
// identical words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/platform.hpp"

namespace lncext::mont {

inline constexpr std::size_t kMaxFixedWords = 16;

// Three-limb accumulator of the product-scanning kernels (limb width W,
// Wide a double limb): value lo + hi 2^(2W).
template <class Limb, class Wide>
struct Acc {
    static constexpr unsigned W = 8 * sizeof(Limb);
    Wide lo = 0;
    Limb hi = 0;
    void mac(Limb x, Limb y) {
        const Wide p = Wide(x) * y;
        lo += p;
        hi += lo < p;
    }
    void add_twice(const Acc &x) {
        const Wide d = x.lo << 1;
        lo += d;
        hi += Limb(lo < d) + (x.hi << 1 | Limb(x.lo >> (2 * W - 1)));
    }
    // Returns the low limb and moves the rest down one limb.
    Limb shift() {
        const Limb low = Limb(lo);
        lo = lo >> W | Wide(hi) << W;
        hi = 0;
        return low;
    }
};

// Montgomery product (or square) by product scanning with the reduction
// interleaved (finely integrated product scanning). Column k of
// a b + U m is summed in the accumulator: the products a_i b_(k-i), then
// u_i m_(k-i) for the reduction digits already chosen; in the L low
// columns the digit u_k = column * nl mod 2^W is chosen and u_k m_0 added,
// which clears the column; the columns from L up are the quotient q. A
// column holds at most 2L + 1 products below 2^(2W) and the carry from the
// column below, under (2L + 2) 2^(2W) < 2^(3W), so the accumulator never
// overflows; doubled cross products of a square are below the same bound.
// With HalfLast (an odd word count on 64-bit limbs, the top limb one word)
// the last low column takes a 32-bit digit from n0, clearing only its low
// half, so that U < 2^(32 N) = R; q then starts 32 bits into that column.
// Writes q (L limbs) and its top bits (0 or 1) into q[0 .. L].
template <class Limb, class Wide, std::size_t L, bool Square, bool HalfLast>
[[gnu::always_inline]] inline void scan(Limb *q, const Limb *A, const Limb *B, const Limb *M,
                                        Limb nl, uint32_t n0) {
    constexpr unsigned W = 8 * sizeof(Limb);
    constexpr std::size_t off = HalfLast ? 1 : 0;
    Limb U[L];
    Limb c[L + 1 + off];
    Acc<Limb, Wide> acc;
#pragma GCC unroll 64
    for (std::size_t k = 0; k + 1 < 2 * L; ++k) {
        const std::size_t lo = k < L ? 0 : k - L + 1, hi = k < L ? k : L - 1;
        if constexpr (Square) {
            Acc<Limb, Wide> cross;
#pragma GCC unroll 32
            for (std::size_t i = lo; i < k - i; ++i) cross.mac(A[i], A[k - i]);
            acc.add_twice(cross);
            if (k % 2 == 0) acc.mac(A[k / 2], A[k / 2]);
        } else {
#pragma GCC unroll 32
            for (std::size_t i = lo; i <= hi; ++i) acc.mac(A[i], B[k - i]);
        }
#pragma GCC unroll 32
        for (std::size_t i = lo; i <= hi && i < k; ++i) acc.mac(U[i], M[k - i]);
        if (k >= L) {
            c[k - L + off] = acc.shift();
        } else if (HalfLast && k + 1 == L) {
            U[k] = Limb(uint32_t(uint32_t(acc.lo) * n0));
            acc.mac(U[k], M[0]);
            c[0] = acc.shift();
        } else {
            U[k] = Limb(acc.lo) * nl;
            acc.mac(U[k], M[0]);
            acc.shift();
        }
    }
    c[L - 1 + off] = acc.shift();
    c[L + off] = Limb(acc.lo);
    if constexpr (HalfLast) {
#pragma GCC unroll 32
        for (std::size_t j = 0; j <= L; ++j) q[j] = c[j] >> 32 | c[j + 1] << (W - 32);
    } else {
#pragma GCC unroll 32
        for (std::size_t j = 0; j <= L; ++j) q[j] = c[j];
    }
}

// ---------------------------------------------------------------------------
// 32-bit words, 64-bit products.
namespace w32 {

using u32 = uint32_t;
using u64 = uint64_t;

// r = q - m when q + top 2^(32N) >= m, else q (top is 0 or 1, and q - m then
// fits N words). The subtraction is always made and kept or dropped by a
// mask.
template <std::size_t N>
inline void select(u32 *r, const u32 *q, u32 top, const u32 *m) {
    u32 d[N];
    u32 borrow = 0;
#pragma GCC unroll 16
    for (std::size_t j = 0; j < N; ++j) {
        const u64 s = u64(q[j]) - m[j] - borrow;
        d[j] = u32(s);
        borrow = u32(s >> 32) & 1;
    }
    // Below m exactly when the borrow is not absorbed by the top word.
    const u32 keep = 0u - (u32((u64(top) - borrow) >> 32) & 1);
#pragma GCC unroll 16
    for (std::size_t j = 0; j < N; ++j) r[j] = (d[j] & ~keep) | (q[j] & keep);
}

// Reduces the 2N words of T in place and writes the result to r.
// Per step u m + T + c: u m[j] + T[i + j] + c <= (2^32 - 1)^2 + 2 (2^32 - 1)
// = 2^64 - 1; the word at i + N takes the carry c < 2^32 and the previous
// top carry cc <= 1, below 2^33, so cc stays 0 or 1. The total is
// t + U m < R^2 + R m, so q = T[N ..] + cc R < R + m < 2R.
template <std::size_t N>
[[gnu::noinline]] void reduce(u32 *r, u32 *T, const u32 *m, u32 n0) {
    u32 cc = 0;
#pragma GCC unroll 1
    for (std::size_t i = 0; i < N; ++i) {
        const u32 u = T[i] * n0;  // T[i] + u m[0] = 0 mod 2^32
        u32 c = 0;
#pragma GCC unroll 16
        for (std::size_t j = 0; j < N; ++j) {
            const u64 s = u64(u) * m[j] + T[i + j] + c;
            T[i + j] = u32(s);
            c = u32(s >> 32);
        }
        const u64 s = u64(T[i + N]) + c + cc;
        T[i + N] = u32(s);
        cc = u32(s >> 32);
    }
    select<N>(r, T + N, cc, m);
}

// Product and reduction in one pass over the columns (scan above).
template <std::size_t N>
[[gnu::noinline]] void mul(u32 *r, const u32 *a, const u32 *b, const u32 *m, u32 n0) {
    u32 q[N + 1];
    scan<u32, u64, N, false, false>(q, a, b, m, n0, n0);
    select<N>(r, q, q[N], m);
}

// As mul, each cross product a_i a_j (i < j) taken once and doubled.
template <std::size_t N>
[[gnu::noinline]] void sqr(u32 *r, const u32 *a, const u32 *m, u32 n0) {
    u32 q[N + 1];
    scan<u32, u64, N, true, false>(q, a, a, m, n0, n0);
    select<N>(r, q, q[N], m);
}

template <std::size_t N>
[[gnu::noinline]] void redc(u32 *r, const u32 *t, const u32 *m, u32 n0) {
    u32 T[2 * N];
    std::memcpy(T, t, sizeof T);
    reduce<N>(r, T, m, n0);
}

}  // namespace w32

#if defined(LNCEXT_HAVE_INT128)
// ---------------------------------------------------------------------------
// 64-bit limbs, 128-bit products. Limb j of an array of words is
// w[2j] + w[2j + 1] 2^32 (little-endian word order); an odd count leaves a
// last limb of one word. L = ceil(N / 2) limbs hold an N-word number.
namespace w64 {

using u32 = uint32_t;
using u64 = uint64_t;
using u128 = unsigned __int128;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "limbs pair words little-endian");

// x[0 .. ceil(W / 2)) = the W words of w as limbs.
template <std::size_t W>
inline void load(u64 *x, const u32 *w) {
#pragma GCC unroll 32
    for (std::size_t j = 0; j < W / 2; ++j) std::memcpy(x + j, w + 2 * j, 8);
    if constexpr (W % 2 != 0) x[W / 2] = w[W - 1];
}

// The N low words of the limbs x into w.
template <std::size_t N>
inline void store(u32 *w, const u64 *x) {
#pragma GCC unroll 32
    for (std::size_t j = 0; j < N / 2; ++j) std::memcpy(w + 2 * j, x + j, 8);
    if constexpr (N % 2 != 0) w[N - 1] = u32(x[N / 2]);
}

// -m^-1 mod 2^64 from the word inverse: with m n0 = -1 + k 2^32,
// m n0 (2 + m n0) = (-1 + k 2^32)(1 + k 2^32) = -1 mod 2^64.
inline u64 inverse64(u32 n0, u64 m0) {
    return u64(n0) * (2 + m0 * n0);
}

// The words of q - M when q + top 2^(64L) >= M, else of q, into r.
template <std::size_t N>
inline void select(u32 *r, const u64 *q, u64 top, const u64 *M) {
    constexpr std::size_t L = (N + 1) / 2;
    u64 d[L], out[L];
    u64 borrow = 0;
#pragma GCC unroll 32
    for (std::size_t j = 0; j < L; ++j) {
        const u128 s = u128(q[j]) - M[j] - borrow;
        d[j] = u64(s);
        borrow = u64(s >> 64) & 1;
    }
    const u64 keep = 0 - (u64((u128(top) - borrow) >> 64) & 1);
#pragma GCC unroll 32
    for (std::size_t j = 0; j < L; ++j) out[j] = (d[j] & ~keep) | (q[j] & keep);
    store<N>(r, out);
}

// Reduces the limbs of T (2L of them, holding t < R^2) by R = 2^(32 N) and
// writes the result to r: H = N/2 limb steps, and for odd N one 32-bit
// step at limb H, whose low half then is zero, so the quotient starts 32
// bits into that limb. Per multiply-accumulate u M[j] + T + c <=
// (2^64 - 1)^2 + 2 (2^64 - 1) = 2^128 - 1; the limb past each row takes
// c < 2^64 and the top carry cc <= 1, so cc stays 0 or 1 (q < R + m).
template <std::size_t N>
[[gnu::noinline]] void reduce(u32 *r, u64 *T, const u64 *M, u32 n0) {
    constexpr std::size_t H = N / 2, L = (N + 1) / 2;
    u64 cc = 0;
    if constexpr (H != 0) {
        const u64 n64 = inverse64(n0, M[0]);
#pragma GCC unroll 1
        for (std::size_t i = 0; i < H; ++i) {
            const u64 u = T[i] * n64;
            u64 c = 0;
#pragma GCC unroll 32
            for (std::size_t j = 0; j < L; ++j) {
                const u128 s = u128(u) * M[j] + T[i + j] + c;
                T[i + j] = u64(s);
                c = u64(s >> 64);
            }
            const u128 s = u128(T[i + L]) + c + cc;
            T[i + L] = u64(s);
            cc = u64(s >> 64);
        }
    }
    if constexpr (N % 2 == 0) {
        select<N>(r, T + L, cc, M);
    } else {
        const u64 u = u32(u32(T[H]) * n0);
        u64 c = 0;
#pragma GCC unroll 32
        for (std::size_t j = 0; j < L; ++j) {
            const u128 s = u128(u) * M[j] + T[H + j] + c;
            T[H + j] = u64(s);
            c = u64(s >> 64);
        }
        // Limbs H .. H + L now hold q 2^32 < (R + m) 2^32 < 2^(64 L + 1):
        // the top limb ends at most 1, so it cannot wrap, and q fits L limbs.
        T[H + L] += c + cc;
        u64 q[L];
#pragma GCC unroll 32
        for (std::size_t j = 0; j < L; ++j) q[j] = T[H + j] >> 32 | T[H + j + 1] << 32;
        select<N>(r, q, 0, M);
    }
}

// As w32::mul over limbs; an odd N ends the reduction with a 32-bit digit
// (N / 2 full limb digits and one word: U < 2^(32 N)).
template <std::size_t N>
[[gnu::noinline]] void mul(u32 *r, const u32 *a, const u32 *b, const u32 *m, u32 n0) {
    constexpr std::size_t L = (N + 1) / 2;
    u64 A[L], B[L], M[L], q[L + 1];
    load<N>(A, a);
    load<N>(B, b);
    load<N>(M, m);
    scan<u64, u128, L, false, N % 2 != 0>(q, A, B, M, inverse64(n0, M[0]), n0);
    select<N>(r, q, q[L], M);
}

template <std::size_t N>
[[gnu::noinline]] void sqr(u32 *r, const u32 *a, const u32 *m, u32 n0) {
    constexpr std::size_t L = (N + 1) / 2;
    u64 A[L], M[L], q[L + 1];
    load<N>(A, a);
    load<N>(M, m);
    scan<u64, u128, L, true, N % 2 != 0>(q, A, A, M, inverse64(n0, M[0]), n0);
    select<N>(r, q, q[L], M);
}

template <std::size_t N>
[[gnu::noinline]] void redc(u32 *r, const u32 *t, const u32 *m, u32 n0) {
    constexpr std::size_t L = (N + 1) / 2;
    u64 M[L], T[2 * L];
    load<N>(M, m);
    load<2 * N>(T, t);
    if constexpr (N % 2 != 0) T[2 * L - 1] = 0;
    reduce<N>(r, T, M, n0);
}

}  // namespace w64
#endif

// ---------------------------------------------------------------------------
// The kernels of this build.

#if defined(LNCEXT_HAVE_INT128)
namespace native = w64;
#else
namespace native = w32;
#endif

template <std::size_t N>
inline void mont_mul(uint32_t *r, const uint32_t *a, const uint32_t *b, const uint32_t *m,
                     uint32_t n0) {
    static_assert(N >= 1 && N <= kMaxFixedWords);
    native::mul<N>(r, a, b, m, n0);
}

template <std::size_t N>
inline void mont_sqr(uint32_t *r, const uint32_t *a, const uint32_t *m, uint32_t n0) {
    static_assert(N >= 1 && N <= kMaxFixedWords);
    native::sqr<N>(r, a, m, n0);
}

template <std::size_t N>
inline void mont_redc(uint32_t *r, const uint32_t *t, const uint32_t *m, uint32_t n0) {
    static_assert(N >= 1 && N <= kMaxFixedWords);
    native::redc<N>(r, t, m, n0);
}

using MulFn = void (*)(uint32_t *r, const uint32_t *a, const uint32_t *b, const uint32_t *m,
                       uint32_t n0);
using SqrFn = void (*)(uint32_t *r, const uint32_t *a, const uint32_t *m, uint32_t n0);
using RedcFn = void (*)(uint32_t *r, const uint32_t *t, const uint32_t *m, uint32_t n0);

template <class Fn>
using FixedTable = std::array<Fn, kMaxFixedWords + 1>;
extern const FixedTable<MulFn> kMulFixed;
extern const FixedTable<SqrFn> kSqrFixed;
extern const FixedTable<RedcFn> kRedcFixed;

// The larger sizes of RSA with 64-bit limbs: the same unrolled kernels for
// 24 and 32 words (the CRT halves and key-generation primes of 1536- and
// 2048-bit keys), null for any other count or without a 128-bit product.
struct LargeFixed {
    MulFn mul;
    SqrFn sqr;
};
LargeFixed large_fixed(uint32_t n);

// Big-number forms (count word first). r = a b R^-1 mod m as lnmmulmont,
// r = a^2 R^-1 mod m as lnmsqrmont, t = t R^-1 mod m in place as
// lnmmontcom, with identical results, when Rbits = 32 m[0], a[0], b[0] <=
// m[0] (t[0] <= 2 m[0]) and there is a kernel for m[0] words: 1 to 16 for
// all three; with 64-bit limbs also 24 and 32 (unrolled) and any other even
// count of 18 to 128 (a rolled scan) for the product and square. Then r (t)
// receives the count and m[0] digits, r may be a or b, and the call returns
// true. Otherwise it returns false and writes nothing.
bool mul_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
               const uint32_t *b, uint32_t *r);
bool sqr_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a, uint32_t *r);
bool redc_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, uint32_t *t);

}  // namespace lncext::mont
