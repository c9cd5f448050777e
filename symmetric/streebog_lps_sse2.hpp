// The x86-64 pass of Streebog's LPS transform: a 512-bit value lives in
// four SSE2 registers and the 64 table lookups of one pass are scheduled by
// hand. It computes the same bytes as the portable pass beside it, which the
// 32-bit and portable builds use and test. Included by streebog.cpp only,
// inside its namespace.
#pragma once

// A 512-bit value in four vector registers; register k holds lanes 2k and
// 2k + 1, lane j being bytes 8j..8j+7 as a little-endian 64-bit number.
struct Value {
    __m128i v[4];
};

inline Value load_value(const uint8_t *p) {
    const auto *q = reinterpret_cast<const __m128i *>(p);
    return Value{{_mm_loadu_si128(q), _mm_loadu_si128(q + 1), _mm_loadu_si128(q + 2),
                  _mm_loadu_si128(q + 3)}};
}

inline void store_value(uint8_t *p, const Value &x) {
    auto *q = reinterpret_cast<__m128i *>(p);
    for (int k = 0; k < 4; k++) _mm_storeu_si128(q + k, x.v[k]);
}

// The host is little-endian, so 16 words least significant first already are
// the 64 bytes of the value.
inline Value value_of_words(const uint32_t *w) {
    return load_value(reinterpret_cast<const uint8_t *>(w));
}

inline Value operator^(const Value &a, const Value &b) {
    return Value{{_mm_xor_si128(a.v[0], b.v[0]), _mm_xor_si128(a.v[1], b.v[1]),
                  _mm_xor_si128(a.v[2], b.v[2]), _mm_xor_si128(a.v[3], b.v[3])}};
}

// One pair of lookups: the two low bytes of %rax index table row `off` (the
// byte offset of table i, 2048 i); the two entries go side by side into %[p]
// and are folded into accumulator `acc`, which collects output lanes 2k and
// 2k + 1. `next` then brings the following byte pair down. %al and %ah are
// read directly, so a byte costs one instruction instead of a shift and a mask.
// clang-format off
#define LNCEXT_SB_PAIR(off, acc, next)          \
    "movzbl %%al, %%ecx\n\t"                    \
    "movzbl %%ah, %%edx\n\t"                    \
    next                                        \
    "movq " off "(%[t],%%rcx,8), %[p]\n\t"      \
    "movhps " off "(%[t],%%rdx,8), %[p]\n\t"    \
    "pxor %[p], %[" acc "]\n\t"
#define LNCEXT_SB_SHIFT "shrq $16, %%rax\n\t"
#define LNCEXT_SB_LANE(off)                     \
    LNCEXT_SB_PAIR(off, "r0", LNCEXT_SB_SHIFT)  \
    LNCEXT_SB_PAIR(off, "r1", LNCEXT_SB_SHIFT)  \
    LNCEXT_SB_PAIR(off, "r2", LNCEXT_SB_SHIFT)  \
    LNCEXT_SB_PAIR(off, "r3", "")
// Lanes 2k and 2k + 1 come out of vector register x_k.
#define LNCEXT_SB_LOW(k) "movq %[x" k "], %%rax\n\t"
#define LNCEXT_SB_HIGH(k) "pshufd $0xEE, %[x" k "], %[s]\n\t" "movq %[s], %%rax\n\t"
// clang-format on

// LPS(a ^ c): output lane j is the XOR over input lanes i of entry
// [i][byte j of lane i]. The lookups are bound by instruction count; this
// sequence needs about three per lookup and no integer XORs. Always inlined:
// handing values between passes through memory more than doubles the time.
__attribute__((always_inline)) inline Value lpsx(const Value &a, const Value &c) {
    const Value x = a ^ c;
    Value r;
    __m128i p, s;
    // clang-format off
    __asm__(
        "pxor %[r0], %[r0]\n\t"
        "pxor %[r1], %[r1]\n\t"
        "pxor %[r2], %[r2]\n\t"
        "pxor %[r3], %[r3]\n\t"
        LNCEXT_SB_LOW("0") LNCEXT_SB_LANE("0")
        LNCEXT_SB_HIGH("0") LNCEXT_SB_LANE("2048")
        LNCEXT_SB_LOW("1") LNCEXT_SB_LANE("4096")
        LNCEXT_SB_HIGH("1") LNCEXT_SB_LANE("6144")
        LNCEXT_SB_LOW("2") LNCEXT_SB_LANE("8192")
        LNCEXT_SB_HIGH("2") LNCEXT_SB_LANE("10240")
        LNCEXT_SB_LOW("3") LNCEXT_SB_LANE("12288")
        LNCEXT_SB_HIGH("3") LNCEXT_SB_LANE("14336")
        : [r0] "=&x"(r.v[0]), [r1] "=&x"(r.v[1]), [r2] "=&x"(r.v[2]), [r3] "=&x"(r.v[3]),
          [p] "=&x"(p), [s] "=&x"(s)
        : [x0] "x"(x.v[0]), [x1] "x"(x.v[1]), [x2] "x"(x.v[2]), [x3] "x"(x.v[3]),
          [t] "r"(streebog_lp32), "m"(streebog_lp32)
        : "rax", "rcx", "rdx");
    // clang-format on
    return r;
}

#undef LNCEXT_SB_HIGH
#undef LNCEXT_SB_LOW
#undef LNCEXT_SB_LANE
#undef LNCEXT_SB_SHIFT
#undef LNCEXT_SB_PAIR
