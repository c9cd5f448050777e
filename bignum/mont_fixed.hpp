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
// lnm* calls; they handle the case R = 2^(32 m[0]) with 1 <= m[0] <= 16 and
// operands of at most m[0] words (2 m[0] for the reduction) and return false,
// writing nothing, for anything else, so that a caller falls back to the
// general path. A field whose elements are normalised big numbers of up to
// 16 words (a 17-word slot) calls them directly; one that keeps its elements
// as N-word digit arrays calls the templates.
//
// Paths: with a 64 x 64 -> 128-bit product (LNCEXT_HAVE_INT128) two words
// form one 64-bit limb, N/2 limbs for even N; an odd N takes (N - 1)/2 limb
// steps and one last 32-bit step, so the quotient is the one of R = 2^(32 N)
// and not of a limb-rounded R. Without it (i386, the portable build) the
// kernels work in 32-bit words with 64-bit products. Both paths are compiled
// where they can be (namespaces w32 and w64) and give identical words.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/platform.hpp"

namespace lncext::mont {

inline constexpr std::size_t kMaxFixedWords = 16;

// Calls row(0) .. row(Count - 1). The rows of a product are unrolled when
// they hold at most 128 multiply-accumulates (Count rows of Width), which
// covers every 64-bit-limb kernel and the 32-bit ones up to 8 words; larger
// 32-bit sizes keep a loop over the rows with each row unrolled, which
// measured within a few percent at 16 words and is a fraction of the code
// (fully unrolled, the 32-bit kernels of all sizes took about a megabyte).
template <std::size_t Count, std::size_t Width, class Row>
[[gnu::always_inline]] inline void rows(Row &&row) {
    if constexpr (Count * Width <= 128) {
#pragma GCC unroll 16
        for (std::size_t i = 0; i < Count; ++i) row(i);
    } else {
#pragma GCC unroll 1
        for (std::size_t i = 0; i < Count; ++i) row(i);
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
    rows<N, N>([&](std::size_t i) {
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
    });
    select<N>(r, T + N, cc, m);
}

// Interleaved product and reduction (coarsely integrated operand scanning):
// t = (t + a[i] b + u m) / 2^32 for each word of a. After step i,
// t = (a[0 .. i] b + U_i m) / 2^(32 (i + 1)) < R + m < 2R, so t holds N words
// and a top bit; during a step t + a[i] b + u m < 2R + 2 (2^32 - 1) R fits
// the N + 2 words. Each multiply-accumulate is bounded as in reduce.
template <std::size_t N>
[[gnu::noinline]] void mul(u32 *r, const u32 *a, const u32 *b, const u32 *m, u32 n0) {
    u32 t[N + 2] = {};
    rows<N, 2 * N>([&](std::size_t i) {
        const u32 ai = a[i];
        u32 c = 0;
#pragma GCC unroll 16
        for (std::size_t j = 0; j < N; ++j) {
            const u64 s = u64(ai) * b[j] + t[j] + c;
            t[j] = u32(s);
            c = u32(s >> 32);
        }
        u64 s = u64(t[N]) + c;
        t[N] = u32(s);
        t[N + 1] = u32(s >> 32);
        const u32 u = t[0] * n0;
        s = u64(u) * m[0] + t[0];  // low word 0: dropped by the shift
        c = u32(s >> 32);
#pragma GCC unroll 16
        for (std::size_t j = 1; j < N; ++j) {
            s = u64(u) * m[j] + t[j] + c;
            t[j - 1] = u32(s);
            c = u32(s >> 32);
        }
        s = u64(t[N]) + c;
        t[N - 1] = u32(s);
        t[N] = t[N + 1] + u32(s >> 32);
    });
    select<N>(r, t, t[N], m);
}

// Full square, each cross product once, then doubled with the diagonal
// added, then reduced.
template <std::size_t N>
[[gnu::noinline]] void sqr(u32 *r, const u32 *a, const u32 *m, u32 n0) {
    u32 T[2 * N];
    T[0] = 0;
    T[2 * N - 1] = 0;
    // Row i adds a[i] a[i + 1 ..] at word 2i + 1 and stores its carry in
    // word i + N, which no earlier row reached.
    rows<N - 1, N / 2>([&](std::size_t i) {
        u32 c = 0;
#pragma GCC unroll 16
        for (std::size_t j = i + 1; j < N; ++j) {
            const u64 s = u64(a[i]) * a[j] + (i == 0 ? 0u : T[i + j]) + c;
            T[i + j] = u32(s);
            c = u32(s >> 32);
        }
        T[i + N] = c;
    });
    // The cross products sum to less than a^2 / 2, so the bit shifted out
    // of the top is zero; the running carry c is 0 or 1 because the total
    // is exactly a^2 < 2^(64 N).
    u32 top = 0, c = 0;
#pragma GCC unroll 16
    for (std::size_t i = 0; i < N; ++i) {
        const u32 lo = T[2 * i], hi = T[2 * i + 1];
        const u64 sq = u64(a[i]) * a[i];
        // Each sum below is under 2^33.
        u64 s = u64(lo << 1 | top) + u32(sq) + c;
        T[2 * i] = u32(s);
        s = u64(hi << 1 | lo >> 31) + u32(sq >> 32) + u32(s >> 32);
        T[2 * i + 1] = u32(s);
        c = u32(s >> 32);
        top = hi >> 31;
    }
    reduce<N>(r, T, m, n0);
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
#pragma GCC unroll 16
    for (std::size_t j = 0; j < W / 2; ++j) std::memcpy(x + j, w + 2 * j, 8);
    if constexpr (W % 2 != 0) x[W / 2] = w[W - 1];
}

// The N low words of the limbs x into w.
template <std::size_t N>
inline void store(u32 *w, const u64 *x) {
#pragma GCC unroll 16
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
#pragma GCC unroll 16
    for (std::size_t j = 0; j < L; ++j) {
        const u128 s = u128(q[j]) - M[j] - borrow;
        d[j] = u64(s);
        borrow = u64(s >> 64) & 1;
    }
    const u64 keep = 0 - (u64((u128(top) - borrow) >> 64) & 1);
#pragma GCC unroll 16
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
        rows<H, L>([&](std::size_t i) {
            const u64 u = T[i] * n64;
            u64 c = 0;
#pragma GCC unroll 16
            for (std::size_t j = 0; j < L; ++j) {
                const u128 s = u128(u) * M[j] + T[i + j] + c;
                T[i + j] = u64(s);
                c = u64(s >> 64);
            }
            const u128 s = u128(T[i + L]) + c + cc;
            T[i + L] = u64(s);
            cc = u64(s >> 64);
        });
    }
    if constexpr (N % 2 == 0) {
        select<N>(r, T + L, cc, M);
    } else {
        const u64 u = u32(u32(T[H]) * n0);
        u64 c = 0;
#pragma GCC unroll 16
        for (std::size_t j = 0; j < L; ++j) {
            const u128 s = u128(u) * M[j] + T[H + j] + c;
            T[H + j] = u64(s);
            c = u64(s >> 64);
        }
        // Limbs H .. H + L now hold q 2^32 < (R + m) 2^32 < 2^(64 L + 1):
        // the top limb ends at most 1, so it cannot wrap, and q fits L limbs.
        T[H + L] += c + cc;
        u64 q[L];
#pragma GCC unroll 16
        for (std::size_t j = 0; j < L; ++j) q[j] = T[H + j] >> 32 | T[H + j + 1] << 32;
        select<N>(r, q, 0, M);
    }
}

// Interleaved product and reduction over limbs, as w32::mul: after each
// step t = (partial a) b / 2^k + U m / 2^k < R + m, so t fits L limbs and a
// small top limb; t + A_i B + u M < 2^(64 (L + 2)). For odd N the top word
// of a makes the last step, a 32-bit one, after which t is shifted right
// by 32 bits instead of one limb.
template <std::size_t N>
[[gnu::noinline]] void mul(u32 *r, const u32 *a, const u32 *b, const u32 *m, u32 n0) {
    constexpr std::size_t H = N / 2, L = (N + 1) / 2;
    u64 A[L], B[L], M[L];
    load<N>(A, a);
    load<N>(B, b);
    load<N>(M, m);
    u64 t[L + 2] = {};
    // t += x B; x < 2^64, each step bounded as in reduce.
    auto add_row = [&](u64 x) {
        u64 c = 0;
#pragma GCC unroll 16
        for (std::size_t j = 0; j < L; ++j) {
            const u128 s = u128(x) * B[j] + t[j] + c;
            t[j] = u64(s);
            c = u64(s >> 64);
        }
        const u128 s = u128(t[L]) + c;
        t[L] = u64(s);
        t[L + 1] = u64(s >> 64);
    };
    if constexpr (H != 0) {
        const u64 n64 = inverse64(n0, M[0]);
        rows<H, 2 * L>([&](std::size_t i) {
            add_row(A[i]);
            const u64 u = t[0] * n64;
            u128 s = u128(u) * M[0] + t[0];  // low limb 0: dropped by the shift
            u64 c = u64(s >> 64);
#pragma GCC unroll 16
            for (std::size_t j = 1; j < L; ++j) {
                s = u128(u) * M[j] + t[j] + c;
                t[j - 1] = u64(s);
                c = u64(s >> 64);
            }
            s = u128(t[L]) + c;
            t[L - 1] = u64(s);
            t[L] = t[L + 1] + u64(s >> 64);
        });
    }
    if constexpr (N % 2 != 0) {
        add_row(A[H]);
        const u64 u = u32(u32(t[0]) * n0);
        u64 c = 0;
#pragma GCC unroll 16
        for (std::size_t j = 0; j < L; ++j) {
            const u128 s = u128(u) * M[j] + t[j] + c;
            t[j] = u64(s);
            c = u64(s >> 64);
        }
        const u128 s = u128(t[L]) + c;
        t[L] = u64(s);
        t[L + 1] += u64(s >> 64);
#pragma GCC unroll 16
        for (std::size_t j = 0; j <= L; ++j) t[j] = t[j] >> 32 | t[j + 1] << 32;
    }
    select<N>(r, t, t[L], M);
}

// Full square of the L limbs of a (cross products once, doubled, diagonal
// added), then reduced. For odd N the top limb is one word, so a^2 < 2^(64 N)
// leaves the last limb of T zero.
template <std::size_t N>
[[gnu::noinline]] void sqr(u32 *r, const u32 *a, const u32 *m, u32 n0) {
    constexpr std::size_t L = (N + 1) / 2;
    u64 A[L], M[L], T[2 * L];
    load<N>(A, a);
    load<N>(M, m);
    T[0] = 0;
    T[2 * L - 1] = 0;
    rows<L - 1, L / 2>([&](std::size_t i) {
        u64 c = 0;
#pragma GCC unroll 16
        for (std::size_t j = i + 1; j < L; ++j) {
            const u128 s = u128(A[i]) * A[j] + (i == 0 ? 0u : T[i + j]) + c;
            T[i + j] = u64(s);
            c = u64(s >> 64);
        }
        T[i + L] = c;
    });
    // Doubling as in w32::sqr; within a limb pair the low half plus c wraps
    // only when it becomes 0, so at most one of its two additions carries,
    // and the high half of x^2 is at most 2^64 - 2, so adding that carry
    // cannot wrap.
    u64 top = 0, c = 0;
#pragma GCC unroll 16
    for (std::size_t i = 0; i < L; ++i) {
        const u64 lo = T[2 * i], hi = T[2 * i + 1];
        const u64 dlo = lo << 1 | top, dhi = hi << 1 | lo >> 63;
        top = hi >> 63;
        const u128 sq = u128(A[i]) * A[i];
        u64 sl = u64(sq), sh = u64(sq >> 64);
        sl += c;
        u64 k = sl < c;
        sl += dlo;
        k += sl < dlo;
        sh += k;
        sh += dhi;
        c = sh < dhi;
        T[2 * i] = sl;
        T[2 * i + 1] = sh;
    }
    reduce<N>(r, T, M, n0);
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

// Big-number forms (count word first). r = a b R^-1 mod m as lnmmulmont,
// r = a^2 R^-1 mod m as lnmsqrmont, t = t R^-1 mod m in place as
// lnmmontcom, with identical results, when Rbits = 32 m[0], 1 <= m[0] <= 16
// and a[0], b[0] <= m[0] (t[0] <= 2 m[0]); then r (t) receives the count and
// m[0] digits, r may be a or b, and the call returns true. Otherwise it
// returns false and writes nothing.
bool mul_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
               const uint32_t *b, uint32_t *r);
bool sqr_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a, uint32_t *r);
bool redc_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, uint32_t *t);

}  // namespace lncext::mont
