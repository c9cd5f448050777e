// Carry-less multiplication and squaring over GF(2)[x] on fixed-size word
// arrays: the arithmetic under every GF(2^m) multiplication of the curve code.
//
// Two interchangeable paths with bit-identical results:
//  - nibble: 32 x 32-bit carry-less products built from a table of the
//    multiplicand's sixteen nibble multiples, for any CPU (the only path of
//    32-bit and portable builds);
//  - clmul (x86_64 only, not in portable builds): 64 x 64-bit products with
//    the PCLMULQDQ instruction, used when the CPU has it.
// The nibble products are assembled by the Karatsuba tree below; the
// instruction path multiplies schoolbook-style in registers. The reduction
// modulo the field polynomial is shared. The exported kernels (kernels.cpp)
// choose a path once per process; the tests include this header to run both
// paths side by side whatever the machine chose.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "common/platform.hpp"
#include "common/wipe.hpp"

#if defined(LNCEXT_HAVE_X86_64)
#define LNCEXT_HAVE_CLMUL 1
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace lncext::gf2 {

// ---- The Karatsuba tree -------------------------------------------------
//
// An N-limb operand is split into a low part of l = ceil(N/2) limbs and a
// high part of h = floor(N/2) limbs. With L = a0 b0, H = a1 b1 and
// M = (a0 + a1)(b0 + b1) the product is L + (M + L + H) x^l + H x^2l. The
// shorter high part is added onto the low part's bottom limbs only. The
// middle term lands at limb l and is 2l limbs long; 3l <= 2N because l <= 2h
// for every N >= 2, so it stays inside c. Base::mul1 multiplies one limb.
template <class Base, std::size_t N>
inline void karatsuba(typename Base::limb *c, const typename Base::limb *a,
                      const typename Base::limb *b) {
    using limb = typename Base::limb;
    if constexpr (N == 1) {
        Base::mul1(c, a[0], b[0]);
    } else {
        constexpr std::size_t l = (N + 1) / 2, h = N / 2;
        limb as[l], bs[l], m[2 * l];
        for (std::size_t i = 0; i < l; i++) {
            as[i] = a[i] ^ (i < h ? a[l + i] : 0);
            bs[i] = b[i] ^ (i < h ? b[l + i] : 0);
        }
        karatsuba<Base, l>(c, a, b);
        karatsuba<Base, h>(c + 2 * l, a + l, b + l);
        karatsuba<Base, l>(m, as, bs);
        for (std::size_t i = 0; i < 2 * l; i++) m[i] ^= c[i] ^ (i < 2 * h ? c[2 * l + i] : 0);
        for (std::size_t i = 0; i < 2 * l; i++) c[l + i] ^= m[i];
    }
}

// ---- Nibble path --------------------------------------------------------

// Bits 0..3 of v moved to the even positions 0, 2, 4, 6.
constexpr std::array<uint32_t, 16> make_spread() {
    std::array<uint32_t, 16> t{};
    for (uint32_t v = 0; v < 16; v++)
        for (uint32_t i = 0; i < 4; i++) t[v] |= ((v >> i) & 1) << (2 * i);
    return t;
}
inline constexpr std::array<uint32_t, 16> spread = make_spread();
static_assert(spread[1] == 0x1 && spread[2] == 0x4 && spread[5] == 0x11 && spread[15] == 0x55);

// The 16 bits of x spread to the even bit positions of a word.
inline uint32_t spread16(uint32_t x) {
    return spread[x & 15] | spread[(x >> 4) & 15] << 8 | spread[(x >> 8) & 15] << 16 |
           spread[(x >> 12) & 15] << 24;
}

struct Nibble {
    using limb = uint32_t;

    // hi:lo = a * b. The sixteen multiples a * v, v < 16, truncated to 32
    // bits, give a * nibble for each nibble of b with one lookup; the eight
    // partial products are placed independently (no chain through the
    // accumulator). Truncation drops only what a's top three bits push past
    // bit 31; those bits are put back from b under masks (all ones when the
    // bit of a is set), so nothing branches on the operands.
    static inline void mul1(uint32_t *c, uint32_t a, uint32_t b) {
        uint32_t u[16];
        u[0] = 0;
        u[1] = a;
        for (int i = 2; i < 16; i += 2) {
            u[i] = u[i / 2] << 1;
            u[i + 1] = u[i] ^ a;
        }
        uint32_t lo = u[b & 15], hi = 0;
        for (int k = 4; k < 32; k += 4) {
            const uint32_t t = u[(b >> k) & 15];
            lo ^= t << k;
            hi ^= t >> (32 - k);
        }
        hi ^= ((b & 0xEEEEEEEEu) >> 1) & (0u - (a >> 31));
        hi ^= ((b & 0xCCCCCCCCu) >> 2) & (0u - ((a >> 30) & 1));
        hi ^= ((b & 0x88888888u) >> 3) & (0u - ((a >> 29) & 1));
        c[0] = lo;
        c[1] = hi;
    }

    // c[0 .. 2W) = a[0 .. W) * b[0 .. W).
    template <std::size_t W>
    static inline void mul(uint32_t *c, const uint32_t *a, const uint32_t *b) {
        karatsuba<Nibble, W>(c, a, b);
    }

    // c[0 .. 2W) = a[0 .. W)^2; c may be a: the top word is spread first,
    // and word i only ever writes words 2i and 2i + 1 >= i.
    template <std::size_t W>
    static inline void sqr(uint32_t *c, const uint32_t *a) {
        for (std::size_t i = W; i-- > 0;) {
            const uint32_t w = a[i];
            c[2 * i + 1] = spread16(w >> 16);
            c[2 * i] = spread16(w & 0xFFFF);
        }
    }
};

// ---- Reduction ------------------------------------------------------------

// Limb of the reduction: the widest word the host handles natively.
using rlimb = std::conditional_t<(UINTPTR_MAX > 0xFFFFFFFFu), uint64_t, uint32_t>;

// x += t g x^s over limbs of B bits, with g = sum of x^K, the lower terms of
// the field polynomial (every K < B). t g is formed once as two limbs (lo,
// hi) and then placed at the bit offset s: at most three limbs change.
template <class L, uint32_t... K>
inline void fold(L *x, L t, uint32_t s) {
    constexpr uint32_t B = 8 * sizeof(L), kmax = std::max({K...});
    L lo = 0, hi = 0;
    for (uint32_t k : {K...}) {
        lo ^= t << k;
        if (k != 0) hi ^= t >> (B - k);
    }
    const uint32_t j = s / B, r = s % B;
    if (r == 0) {
        x[j] ^= lo;
        if (kmax != 0) x[j + 1] ^= hi;
    } else {
        x[j] ^= lo << r;
        x[j + 1] ^= (lo >> (B - r)) | (hi << r);
        if (kmax + r > B) x[j + 2] ^= hi >> (B - r);
    }
}

// Limb i of the words c[0 .. words), and the way back (only whole words
// below `words` are written).
template <class L>
inline L load_words(const uint32_t *c, uint32_t i, uint32_t words) {
    constexpr uint32_t per = sizeof(L) / 4;
    if (per * i + per <= words) {  // a whole limb: one load
        L v;
        std::memcpy(&v, c + per * i, sizeof v);
        return v;
    }
    L v = 0;
    for (uint32_t j = 0; j < per && per * i + j < words; j++) v |= L(c[per * i + j]) << (32 * j);
    return v;
}
template <class L>
inline void store_words(uint32_t *c, uint32_t i, uint32_t words, L v) {
    constexpr uint32_t per = sizeof(L) / 4;
    if (per * i + per <= words) return (void)std::memcpy(c + per * i, &v, sizeof v);
    for (uint32_t j = 0; j < per && per * i + j < words; j++)
        c[per * i + j] = uint32_t(v >> (32 * j));
}

// Reduces the InWords-word product or square c in place modulo
// f = x^M + x^K... (the lower exponents K, 0 included), leaving the result in
// the low (M + 31) / 32 words. By x^M = sum of x^K, a limb i at or above the
// field's top limb q = M / B moves down to the bit offsets B i - M + K; that
// is below limb i because every K + B - 1 < M, so folding from the top limb
// down moves everything under limb q + 1 in one pass, and what a fold drops
// into a higher, not yet folded limb is folded with that limb. The top
// limb's bits from M mod B up go last, to offsets K < B: they land in limbs
// 0 and 1 below bit M. With ClearFolded the words above the result are
// zeroed; otherwise they keep the input.
template <class L, uint32_t M, uint32_t N, uint32_t... K>
inline void reduce_limbs(L *x) {
    constexpr uint32_t B = 8 * sizeof(L), q = M / B;
    static_assert(((K + B - 1 < M) && ...) && M % B != 0 && N > q);
#pragma GCC unroll 32
    for (uint32_t i = N - 1; i > q; i--) {
        const L t = x[i];
        x[i] = 0;
        fold<L, K...>(x, t, B * i - M);
    }
    const L t = x[q] >> (M % B);
    x[q] &= (L(1) << (M % B)) - 1;
    fold<L, K...>(x, t, 0);
}

// The same on 32-bit words, through limbs of the host's width.
template <uint32_t M, uint32_t InWords, bool ClearFolded, uint32_t... K>
inline void reduce(uint32_t *c) {
    using L = rlimb;
    constexpr uint32_t B = 8 * sizeof(L), n = (32 * InWords + B - 1) / B;
    constexpr uint32_t out_words = (M + 31) / 32;
    L x[n];
#pragma GCC unroll 32
    for (uint32_t i = 0; i < n; i++) x[i] = load_words<L>(c, i, InWords);
    reduce_limbs<L, M, n, K...>(x);
    constexpr uint32_t out_limbs = (out_words * 32 + B - 1) / B;
#pragma GCC unroll 32
    for (uint32_t i = 0; i < out_limbs; i++) store_words<L>(c, i, out_words, x[i]);
    if constexpr (ClearFolded) std::memset(c + out_words, 0, 4 * (InWords - out_words));
}

// ---- Carry-less multiply instruction path --------------------------------

#if defined(LNCEXT_HAVE_CLMUL)

// Whether the CPU executes PCLMULQDQ (CPUID leaf 1, ECX bit 1). SSE2 is part
// of x86_64 itself.
inline bool cpu_has_clmul() {
    unsigned eax, ebx, ecx, edx;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) && (ecx & bit_PCLMUL) != 0;
}

struct Clmul {
    // The W-word operands are read as n = ceil(W/2) 64-bit limbs (an odd
    // top word padded with zero) and only the 2W words of the product are
    // written. With one multiply per cycle the instruction makes the plain
    // schoolbook product cheaper than Karatsuba's extra additions at these
    // sizes: S[k] collects the 128-bit products a_i b_j with i + j = k, all in
    // registers, and limb k of the product is lo(S[k]) + hi(S[k - 1]).
    template <std::size_t W>
    __attribute__((target("pclmul,sse2"))) static void mul(uint32_t *c, const uint32_t *a,
                                                           const uint32_t *b) {
        constexpr std::size_t n = (W + 1) / 2;
        __m128i av[n], bv[n], s[2 * n + 1];
#pragma GCC unroll 16
        for (std::size_t i = 0; i < n; i++) {
            av[i] = load_limb<W>(a, i);
            bv[i] = load_limb<W>(b, i);
        }
#pragma GCC unroll 32
        for (std::size_t k = 0; k < 2 * n + 1; k++) s[k] = _mm_setzero_si128();
#pragma GCC unroll 16
        for (std::size_t i = 0; i < n; i++)
#pragma GCC unroll 16
            for (std::size_t j = 0; j < n; j++)
                s[i + j + 1] = _mm_xor_si128(s[i + j + 1], _mm_clmulepi64_si128(av[i], bv[j], 0));
                // s[k + 1] holds S[k]; s[0] and s[2n] stay zero as the borders.
#pragma GCC unroll 16
        for (std::size_t k = 0; k < n; k++) {
            const __m128i r =
                _mm_xor_si128(_mm_xor_si128(s[2 * k + 1], _mm_srli_si128(s[2 * k], 8)),
                              _mm_slli_si128(s[2 * k + 2], 8));
            if (W % 2 == 1 && k == n - 1)
                _mm_storel_epi64(reinterpret_cast<__m128i *>(c + 4 * k), r);
            else
                _mm_storeu_si128(reinterpret_cast<__m128i *>(c + 4 * k), r);
        }
    }

    // Limb i of a W-word operand in the low half of a vector.
    template <std::size_t W>
    __attribute__((target("pclmul,sse2"))) static inline __m128i load_limb(const uint32_t *a,
                                                                           std::size_t i) {
        if (W % 2 == 1 && 2 * i + 1 == W) return _mm_cvtsi32_si128(static_cast<int>(a[2 * i]));
        return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(a + 2 * i));
    }

    // The square of each limb is its carry-less product with itself. The
    // operand is read whole before c is written, so c may be a.
    template <std::size_t W>
    __attribute__((target("pclmul,sse2"))) static void sqr(uint32_t *c, const uint32_t *a) {
        constexpr std::size_t n = (W + 1) / 2;
        __m128i av[n];
#pragma GCC unroll 16
        for (std::size_t i = 0; i < n; i++) av[i] = load_limb<W>(a, i);
#pragma GCC unroll 16
        for (std::size_t i = 0; i < n; i++) {
            const __m128i r = _mm_clmulepi64_si128(av[i], av[i], 0);
            if (W % 2 == 1 && i == n - 1)
                _mm_storel_epi64(reinterpret_cast<__m128i *>(c + 4 * i), r);
            else
                _mm_storeu_si128(reinterpret_cast<__m128i *>(c + 4 * i), r);
        }
    }
};

#endif

// Degree of the n-word polynomial p (0 for zero, as for one).
inline int degree(const uint32_t *p, uint32_t n) {
    for (uint32_t i = n; i-- > 0;)
        if (p[i]) return int(32 * i) + 31 - __builtin_clz(p[i]);
    return 0;
}

// a[0 .. n) += b[0 .. n) x^j, dropping what lands at word n or above.
inline void add_shifted(uint32_t *a, const uint32_t *b, uint32_t n, uint32_t j) {
    const uint32_t q = j / 32, s = j % 32;
    if (s == 0) {
        for (uint32_t i = q; i < n; i++) a[i] ^= b[i - q];
    } else {
        if (q < n) a[q] ^= b[0] << s;
        for (uint32_t i = q + 1; i < n; i++) a[i] ^= (b[i - q] << s) | (b[i - q - 1] >> (32 - s));
    }
}

// out = a^-1 modulo the n-word polynomial f (n <= 14) by the binary extended
// Euclidean algorithm, for any field polynomial. Invariants: g1 a = u and
// g2 a = v (mod f); every step cancels the leading term of the longer of u
// and v, so deg u + deg v falls and the loop ends within 2 deg f steps. With
// a = 0 (or any multiple of f) u becomes 0 instead of 1, which ends the loop
// too, with the result 0. out may be a.
inline void invert_euclid(uint32_t *out, const uint32_t *a, uint32_t n, const uint32_t *f) {
    uint32_t u[14], v[14], g1[14] = {1}, g2[14] = {};
    std::memcpy(u, a, 4 * n);
    std::memcpy(v, f, 4 * n);
    int du = degree(u, n), dv = degree(v, n);
    uint32_t *pu = u, *pv = v, *pg1 = g1, *pg2 = g2;
    while (!(du == 0 && pu[0] == 1)) {
        if (du == 0 && pu[0] == 0) {
            std::memset(pg1, 0, 4 * n);
            break;
        }
        if (du < dv) {
            std::swap(pu, pv);
            std::swap(pg1, pg2);
            std::swap(du, dv);
        }
        const uint32_t j = uint32_t(du - dv);
        add_shifted(pu, pv, n, j);
        add_shifted(pg1, pg2, n, j);
        du = degree(pu, n);
    }
    std::memcpy(out, pg1, 4 * n);
    secure_wipe(u, sizeof u);
    secure_wipe(v, sizeof v);
    secure_wipe(g1, sizeof g1);
    secure_wipe(g2, sizeof g2);
}

// ---- Inversion on the instruction path ----------------------------------
//
// A supported field is Field<M, K...>: f = x^M + sum of x^K (0 included).

template <uint32_t M, uint32_t... K>
struct Field {
    static constexpr uint32_t m = M, words = (M + 31) / 32, limbs = (M + 63) / 64;
};

#if defined(LNCEXT_HAVE_CLMUL)

// Field arithmetic on n = ceil(M/64) 64-bit limbs kept in registers: the
// products of the instruction, then the 64-bit fold. r may be a or b.
template <uint32_t M, uint32_t... K>
__attribute__((target("pclmul,sse2"))) inline void limb_sqr(Field<M, K...>, uint64_t *r,
                                                            const uint64_t *a) {
    constexpr uint32_t n = (M + 63) / 64;
    uint64_t t[2 * n];
#pragma GCC unroll 16
    for (uint32_t i = 0; i < n; i++) {
        const __m128i x = _mm_cvtsi64_si128(static_cast<long long>(a[i]));
        const __m128i p = _mm_clmulepi64_si128(x, x, 0);
        t[2 * i] = static_cast<uint64_t>(_mm_cvtsi128_si64(p));
        t[2 * i + 1] = static_cast<uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(p, p)));
    }
    reduce_limbs<uint64_t, M, 2 * n, K...>(t);
#pragma GCC unroll 16
    for (uint32_t i = 0; i < n; i++) r[i] = t[i];
}

template <uint32_t M, uint32_t... K>
__attribute__((target("pclmul,sse2"))) inline void limb_mul(Field<M, K...>, uint64_t *r,
                                                            const uint64_t *a, const uint64_t *b) {
    constexpr uint32_t n = (M + 63) / 64;
    __m128i av[n], bv[n], s[2 * n + 1];
#pragma GCC unroll 16
    for (uint32_t i = 0; i < n; i++) {
        av[i] = _mm_cvtsi64_si128(static_cast<long long>(a[i]));
        bv[i] = _mm_cvtsi64_si128(static_cast<long long>(b[i]));
    }
#pragma GCC unroll 32
    for (uint32_t k = 0; k < 2 * n + 1; k++) s[k] = _mm_setzero_si128();
#pragma GCC unroll 16
    for (uint32_t i = 0; i < n; i++)
#pragma GCC unroll 16
        for (uint32_t j = 0; j < n; j++)
            s[i + j + 1] = _mm_xor_si128(s[i + j + 1], _mm_clmulepi64_si128(av[i], bv[j], 0));
    uint64_t t[2 * n];
#pragma GCC unroll 32
    for (uint32_t k = 0; k < 2 * n; k++) {
        // limb k = lo(S[k]) + hi(S[k - 1]), with S[k] in s[k + 1]
        const __m128i v = _mm_xor_si128(s[k + 1], _mm_srli_si128(s[k], 8));
        t[k] = static_cast<uint64_t>(_mm_cvtsi128_si64(v));
    }
    reduce_limbs<uint64_t, M, 2 * n, K...>(t);
#pragma GCC unroll 16
    for (uint32_t i = 0; i < n; i++) r[i] = t[i];
}

// out = a^-1 = a^(2^m - 2) by Itoh and Tsujii: with b_k = a^(2^k - 1),
// b_2k = b_k^(2^k) b_k and b_(k+1) = b_k^2 a climb the bits of m - 1 from
// the top, and a^-1 = (b_(m-1))^2: m - 1 squarings and about
// log2(m) + popcount(m - 1) multiplications, the same sequence for every a
// (0 gives 0). On this path that is several times faster than the
// bit-serial Euclidean loop. out may be a.
template <class F>
__attribute__((target("pclmul,sse2"), flatten)) void invert_clmul(F f, uint32_t *out,
                                                                  const uint32_t *a) {
    constexpr uint32_t n = F::limbs, e = F::m - 1;
    uint64_t x[n] = {}, b[n], t[n];
    std::memcpy(x, a, 4 * F::words);
    std::memcpy(b, x, sizeof b);
    uint32_t k = 1;
    for (int bit = 30 - __builtin_clz(e); bit >= 0; bit--) {
        std::memcpy(t, b, sizeof t);
        for (uint32_t i = 0; i < k; i++) limb_sqr(f, t, t);
        limb_mul(f, b, t, b);
        k *= 2;
        if ((e >> bit) & 1) {
            limb_sqr(f, b, b);
            limb_mul(f, b, b, x);
            k++;
        }
    }
    limb_sqr(f, b, b);
    std::memcpy(out, b, 4 * F::words);
    secure_wipe(t, sizeof t);
    secure_wipe(x, sizeof x);
    secure_wipe(b, sizeof b);
}

#endif

// Whether the exported kernels run on the instruction path (kernels.cpp).
bool clmul_chosen();

}  // namespace lncext::gf2
