// The x86-64 pass of Streebog's LPS transform, in general registers. Each
// of the 64 lookups of a pass XORs its 64-bit table entry from memory
// straight into one of eight accumulators, the output lanes; a lookup then
// costs one instruction besides its byte extraction, where moving entries
// through vector registers costs two and ties up the shuffle unit. It
// computes the same bytes as the portable pass, which the tests check.
#pragma once

#include <cstdint>
#include <cstring>

#include "lncext/streebog.h"

namespace lncext::streebog {

struct X64Lps {
    // Eight 64-bit lanes; lane j is bytes 8j..8j+7 read little-endian,
    // which on this host is the memory order of the value.
    struct Value {
        uint64_t q[8];

        friend Value operator^(const Value &a, const Value &b) {
            Value r;
            for (int k = 0; k < 8; k++) r.q[k] = a.q[k] ^ b.q[k];
            return r;
        }
    };

    static Value load(const uint8_t *p) {
        Value v;
        std::memcpy(v.q, p, 64);
        return v;
    }

    static void store(uint8_t *p, const Value &v) { std::memcpy(p, v.q, 64); }

    static Value of_words(const uint32_t *w) {
        Value v;
        std::memcpy(v.q, w, 64);
        return v;
    }

    // LPS(a ^ c). Input lane i = a_i ^ c_i comes into %rax, and its bytes,
    // taken two at a time from %al and %ah, index table i (byte offset
    // 2048 i); byte j's entry goes into accumulator j. Lane 0 loads the
    // accumulators, the other lanes XOR into them. The inputs stay in memory:
    // the eight accumulators, three scratch registers and the table base
    // leave no room for them in registers. Always inlined, so the passes of a
    // compression run back to back and the processor overlaps the key
    // schedule's pass with the state's.
    template <class A, class C>
    __attribute__((always_inline)) static Value pass(const A &a, const C &c);

    __attribute__((always_inline)) static Value lpsx(const Value &a, const Value &c) {
        return pass(a, c);
    }

    // LPS(a ^ C_i), the round constant read where it lies rather than
    // copied to the stack first.
    __attribute__((always_inline)) static Value lpsx_constant(const Value &a, int i) {
        return pass(a, streebog_c[i]);
    }
};

// clang-format off
#define LNCEXT_SB_PAIR(op, off, ra, rb, next)       \
    "movzbl %%al, %%ecx\n\t"                        \
    "movzbl %%ah, %%edx\n\t"                        \
    next                                            \
    op " " off "(%[t],%%rcx,8), %[" ra "]\n\t"      \
    op " " off "(%[t],%%rdx,8), %[" rb "]\n\t"
#define LNCEXT_SB_SHIFT "shrq $16, %%rax\n\t"
#define LNCEXT_SB_LANE(op, at, off)                         \
    "movq " at "+%[a], %%rax\n\t"                           \
    "xorq " at "+%[c], %%rax\n\t"                           \
    LNCEXT_SB_PAIR(op, off, "r0", "r1", LNCEXT_SB_SHIFT)    \
    LNCEXT_SB_PAIR(op, off, "r2", "r3", LNCEXT_SB_SHIFT)    \
    LNCEXT_SB_PAIR(op, off, "r4", "r5", LNCEXT_SB_SHIFT)    \
    LNCEXT_SB_PAIR(op, off, "r6", "r7", "")
// clang-format on

template <class A, class C>
__attribute__((always_inline)) inline X64Lps::Value X64Lps::pass(const A &a, const C &c) {
    static_assert(sizeof(A) == 64 && sizeof(C) == 64);
    uint64_t r0, r1, r2, r3, r4, r5, r6, r7;
    // clang-format off
    __asm__(
        LNCEXT_SB_LANE("movq", "0", "0")
        LNCEXT_SB_LANE("xorq", "8", "2048")
        LNCEXT_SB_LANE("xorq", "16", "4096")
        LNCEXT_SB_LANE("xorq", "24", "6144")
        LNCEXT_SB_LANE("xorq", "32", "8192")
        LNCEXT_SB_LANE("xorq", "40", "10240")
        LNCEXT_SB_LANE("xorq", "48", "12288")
        LNCEXT_SB_LANE("xorq", "56", "14336")
        : [r0] "=&r"(r0), [r1] "=&r"(r1), [r2] "=&r"(r2), [r3] "=&r"(r3),
          [r4] "=&r"(r4), [r5] "=&r"(r5), [r6] "=&r"(r6), [r7] "=&r"(r7)
        : [a] "m"(a), [c] "m"(c), [t] "r"(streebog_lp32), "m"(streebog_lp32)
        : "rax", "rcx", "rdx");
    // clang-format on
    return Value{{r0, r1, r2, r3, r4, r5, r6, r7}};
}

#undef LNCEXT_SB_LANE
#undef LNCEXT_SB_SHIFT
#undef LNCEXT_SB_PAIR

}  // namespace lncext::streebog
