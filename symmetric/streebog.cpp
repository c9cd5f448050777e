// Streebog hash, 512- and 256-bit. One context record, one update path and
// one compression function serve both sizes; they differ only in the
// starting value and in how much of the final chaining value is returned.
//
// Everything rests on the combined table streebog_lp32: one pass of 64
// lookups performs substitution, byte transposition and the linear map. The
// portable kernel treats each 64-bit entry as its two 32-bit words; on x86-64
// a hand-scheduled kernel moves the entries through vector registers. Both
// compute the same bytes, and both are covered by the same tests (the
// portable one in the 32-bit build).
#include "lncext/streebog.h"

#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

#include "common/block_buffer.hpp"
#include "common/bytes.hpp"
#include "common/wipe.hpp"

namespace lncext {
namespace {

#if defined(__x86_64__)

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

#else

// A 512-bit value as sixteen 32-bit words, least significant first: lane j
// is words 2j (low half) and 2j + 1 (high half).
struct Value {
    uint32_t w[16];
};

inline Value load_value(const uint8_t *p) {
    Value v;
    for (int k = 0; k < 16; k++) v.w[k] = load_le32(p + 4 * k);
    return v;
}

inline void store_value(uint8_t *p, const Value &v) {
    for (int k = 0; k < 16; k++) store_le32(p + 4 * k, v.w[k]);
}

inline Value value_of_words(const uint32_t *w) {
    Value v;
    for (int k = 0; k < 16; k++) v.w[k] = w[k];
    return v;
}

inline Value operator^(const Value &a, const Value &b) {
    Value r;
    for (int k = 0; k < 16; k++) r.w[k] = a.w[k] ^ b.w[k];
    return r;
}

// LPS(a ^ c) on word pairs: x = a ^ c is laid out as bytes, and output lane
// j gathers byte j of every input lane, x[8i + j], through table i. Each
// entry is used as its two 32-bit halves.
inline Value lpsx(const Value &a, const Value &c) {
    uint8_t x[64];
    for (int k = 0; k < 16; k++) store_le32(x + 4 * k, a.w[k] ^ c.w[k]);
    Value r;
#pragma GCC unroll 8
    for (int j = 0; j < 8; j++) {
        uint32_t lo = 0, hi = 0;
#pragma GCC unroll 8
        for (int i = 0; i < 8; i++) {
            const uint32_t *e = streebog_lp32[i][x[8 * i + j]];
            lo ^= e[0];
            hi ^= e[1];
        }
        r.w[2 * j] = lo;
        r.w[2 * j + 1] = hi;
    }
    return r;
}

#endif

inline Value constant(int i) {
    return load_value(streebog_c[i]);
}

// h = E(K, m) ^ h ^ m with K derived from h ^ n. The twelve rounds run
// interleaved with the key schedule, so each step is two independent LPS
// passes the processor can overlap.
inline void compress(Value &h, const Value &m, const Value &n) {
    Value k = lpsx(h, n);
    Value t = lpsx(k, m);
    k = lpsx(k, constant(0));
    for (int i = 1; i < 12; i++) {
        t = lpsx(t, k);
        k = lpsx(k, constant(i));
    }
    h = h ^ t ^ k ^ m;
}

// n += v mod 2^512. Only a word that wraps carries, and a carried 1 wraps a
// word exactly when it leaves it 0.
inline void add_word(uint32_t *n, uint32_t v) {
    n[0] += v;
    if (n[0] >= v) return;
    for (int k = 1; k < 16; k++)
        if (++n[k] != 0) return;
}

inline void add_block(uint32_t *sigma, const uint8_t *m) {
    uint32_t carry = 0;
    for (int k = 0; k < 16; k++) {
        const uint32_t w = load_le32(m + 4 * k);
        const uint32_t s = sigma[k] + w;
        const uint32_t c = s < w;
        sigma[k] = s + carry;
        carry = c | (sigma[k] < carry);  // at most one of the two can wrap
    }
}

// One block step: h = gN(h, m) with the current N; N += bits; Sigma += m.
inline void absorb(streebog_ctx *ctx, const uint8_t *block, uint32_t bits) {
    Value h = load_value(ctx->h);
    compress(h, load_value(block), value_of_words(ctx->N));
    store_value(ctx->h, h);
    add_word(ctx->N, bits);
    add_block(ctx->Sigma, block);
}

inline void absorb_blocks(streebog_ctx *ctx, const uint8_t *data, uint32_t len) {
    for (uint32_t blocks = len / 64; blocks != 0; blocks--, data += 64) absorb(ctx, data, 512);
}

// The closing compressions of N and Sigma, with a zero counter.
inline void compress_words(streebog_ctx *ctx, const uint32_t *words) {
    Value h = load_value(ctx->h);
    compress(h, value_of_words(words), load_value(streebog_zero));
    store_value(ctx->h, h);
}

}  // namespace
}  // namespace lncext

using namespace lncext;

extern "C" {

LNCEXT_API streebog_ctx *streebog512_init(streebog_ctx *ctx) {
    std::memset(ctx, 0, sizeof *ctx);
    return ctx;
}

LNCEXT_API streebog_ctx *streebog256_init(streebog_ctx *ctx) {
    std::memset(ctx, 0, sizeof *ctx);
    std::memcpy(ctx->h, streebog256iv, sizeof ctx->h);
    return ctx;
}

LNCEXT_API void streebog512_update(streebog_ctx *ctx, const void *data, uint32_t len) {
    lncext::feed_blocks<64>(ctx->buffer, ctx->buffered, static_cast<const uint8_t *>(data), len,
                            [ctx](const uint8_t *p, uint32_t n) { absorb_blocks(ctx, p, n); });
}

LNCEXT_API void streebog256_update(streebog_ctx *ctx, const void *data, uint32_t len) {
    streebog512_update(ctx, data, len);
}

LNCEXT_API void streebog512_final(uint8_t *out, streebog_ctx *ctx) {
    std::memset(out, 0, 64);
    // Pad with 01 after the message bytes and zeros above them; an empty
    // buffer gives the block 01 00 .. 00, counted as 0 bits.
    const uint32_t used = ctx->buffered;
    ctx->buffer[used] = 0x01;
    std::memset(ctx->buffer + used + 1, 0, 63 - used);
    absorb(ctx, ctx->buffer, 8 * used);
    compress_words(ctx, ctx->N);
    compress_words(ctx, ctx->Sigma);
    std::memcpy(out, ctx->h, 64);
}

LNCEXT_API void streebog256_final(uint8_t *out, streebog_ctx *ctx) {
    uint8_t full[64];
    streebog512_final(full, ctx);
    std::memcpy(out, full + 32, 32);
    // The discarded half is still hash state; do not leave it on the stack.
    secure_wipe(full, sizeof full);
}

LNCEXT_API void streebog512_update_blocks(streebog_ctx *ctx, const void *data, uint32_t len) {
    absorb_blocks(ctx, static_cast<const uint8_t *>(data), len);
}

LNCEXT_API void streebog_update_block(streebog_ctx *ctx, const uint8_t *block, uint32_t bits) {
    absorb(ctx, block, bits);
}

LNCEXT_API void streebog_gN(uint8_t *h, const uint8_t *m, const uint8_t *n) {
    Value v = load_value(h);
    compress(v, load_value(m), load_value(n));
    store_value(h, v);
}

LNCEXT_API void streebog_lpsx32(uint8_t *out, const uint8_t *a, const uint8_t *b) {
    // Both inputs are read in full before out is written, so out may be
    // either of them.
    const Value r = lpsx(load_value(a), load_value(b));
    store_value(out, r);
}

LNCEXT_API void streebog_put_block(uint8_t *out, const uint32_t *words) {
    for (int k = 0; k < 16; k++) store_le32(out + 4 * k, words[k]);
}

LNCEXT_API void streebog_add(uint32_t *n, uint32_t v) {
    add_word(n, v);
}

LNCEXT_API void streebog_add512(uint32_t *sigma, const uint8_t *m) {
    add_block(sigma, m);
}

}  // extern "C"
