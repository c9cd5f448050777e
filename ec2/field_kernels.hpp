// Carry-less multiplication and squaring over GF(2)[x] on fixed-size word
// arrays: the arithmetic under every GF(2^m) multiplication of the curve code.
//
// Two interchangeable paths with bit-identical results:
//  - nibble: 32 x 32-bit carry-less products built from a four-entry table
//    of the multiplicand, for any CPU (the only path of 32-bit and portable
//    builds);
//  - clmul (x86_64 only, not in portable builds): 64 x 64-bit products with
//    the PCLMULQDQ instruction, used when the CPU has it.
// Both feed one Karatsuba template. The exported kernels (kernels.cpp) choose
// a path once per process; the tests include this header to run both paths
// side by side whatever the machine chose.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/platform.hpp"

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

    // hi:lo = a * b. The four multiples 0, a, ax, ax + a (truncated to 32
    // bits) give a * nibble for every nibble of b as two lookups; the
    // nibbles are accumulated Horner-fashion from the top. Each partial
    // product loses only what a's top three bits shift past bit 31; those
    // bits are put back from b under masks (all-ones when the bit of a is
    // set), so there is no branch on the operands.
    static inline void mul1(uint32_t *c, uint32_t a, uint32_t b) {
        const uint32_t u[4] = {0, a, a << 1, (a << 1) ^ a};
        uint32_t lo = 0, hi = 0;
        for (int k = 28; k >= 0; k -= 4) {
            const uint32_t t = (u[(b >> (k + 2)) & 3] << 2) ^ u[(b >> k) & 3];
            hi = (hi << 4) | (lo >> 28);
            lo = (lo << 4) ^ t;
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

// ---- Carry-less multiply instruction path --------------------------------

#if defined(LNCEXT_HAVE_CLMUL)

// Whether the CPU executes PCLMULQDQ (CPUID leaf 1, ECX bit 1). SSE2 is part
// of x86_64 itself.
inline bool cpu_has_clmul() {
    unsigned eax, ebx, ecx, edx;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) && (ecx & bit_PCLMUL) != 0;
}

struct Clmul {
    using limb = uint64_t;

    __attribute__((target("pclmul,sse2"))) static inline void mul1(uint64_t *c, uint64_t a,
                                                                   uint64_t b) {
        const __m128i p = _mm_clmulepi64_si128(_mm_cvtsi64_si128(static_cast<long long>(a)),
                                               _mm_cvtsi64_si128(static_cast<long long>(b)), 0);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(c), p);
    }

    // The W-word operands are read as ceil(W/2) 64-bit limbs (an odd top
    // word padded with zero) and only the 2W words of the product written.
    // flatten inlines the whole tree, including the instruction-using leaf,
    // into this one function compiled for the instruction.
    template <std::size_t W>
    __attribute__((target("pclmul,sse2"), flatten)) static void mul(uint32_t *c, const uint32_t *a,
                                                                    const uint32_t *b) {
        constexpr std::size_t n = (W + 1) / 2;
        uint64_t a64[n] = {}, b64[n] = {}, c64[2 * n];
        std::memcpy(a64, a, 4 * W);
        std::memcpy(b64, b, 4 * W);
        karatsuba<Clmul, n>(c64, a64, b64);
        std::memcpy(c, c64, 8 * W);
    }

    // The square of each limb is its carry-less product with itself. The
    // operand is read whole before c is written, so c may be a.
    template <std::size_t W>
    __attribute__((target("pclmul,sse2"), flatten)) static void sqr(uint32_t *c,
                                                                    const uint32_t *a) {
        constexpr std::size_t n = (W + 1) / 2;
        uint64_t a64[n] = {}, c64[2 * n];
        std::memcpy(a64, a, 4 * W);
        for (std::size_t i = 0; i < n; i++) mul1(c64 + 2 * i, a64[i], a64[i]);
        std::memcpy(c, c64, 8 * W);
    }
};

#endif

}  // namespace lncext::gf2
