// Streebog's compression function and block steps, written once over an LPS
// pass P: P::Value holds a 512-bit value, P::lpsx(a, c) computes LPS(a ^ c).
// streebog.cpp instantiates them with the pass this build hashes with; the
// tests instantiate them with every pass the machine can run, so each is
// compared with the portable one on the same inputs.
#pragma once

#include <cstdint>
#include <cstring>

#include "common/block_buffer.hpp"
#include "common/bytes.hpp"
#include "common/platform.hpp"
#include "lncext/streebog.h"
#include "symmetric/streebog_lps_portable.hpp"
#if defined(LNCEXT_HAVE_GNU_ASM_X86_64)
#include "symmetric/streebog_lps_x64.hpp"
#endif

namespace lncext::streebog {

// h = E(K, m) ^ h ^ m with K derived from h ^ n. The twelve rounds run
// interleaved with the key schedule, so each step is two independent LPS
// passes the processor can overlap. P::lpsx_constant(k, i) is LPS(k ^ C_i).
template <class P>
inline void compress(typename P::Value &h, const typename P::Value &m, const typename P::Value &n) {
    typename P::Value k = P::lpsx(h, n);
    typename P::Value t = P::lpsx(k, m);
    k = P::lpsx_constant(k, 0);
    for (int i = 1; i < 12; i++) {
        t = P::lpsx(t, k);
        k = P::lpsx_constant(k, i);
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

// h = gN(h, m) on bytes.
template <class P>
inline void gN(uint8_t *h, const uint8_t *m, const uint8_t *n) {
    typename P::Value v = P::load(h);
    compress<P>(v, P::load(m), P::load(n));
    P::store(h, v);
}

// One block step: h = gN(h, m) with the current N; N += bits; Sigma += m.
template <class P>
inline void absorb(streebog_ctx *ctx, const uint8_t *block, uint32_t bits) {
    typename P::Value h = P::load(ctx->h);
    compress<P>(h, P::load(block), P::of_words(ctx->N));
    P::store(ctx->h, h);
    add_word(ctx->N, bits);
    add_block(ctx->Sigma, block);
}

template <class P>
inline void absorb_blocks(streebog_ctx *ctx, const uint8_t *data, uint32_t len) {
    for (uint32_t blocks = len / 64; blocks != 0; blocks--, data += 64) absorb<P>(ctx, data, 512);
}

template <class P>
inline void update(streebog_ctx *ctx, const uint8_t *data, uint32_t len) {
    feed_blocks<64>(ctx->buffer, ctx->buffered, data, len,
                    [ctx](const uint8_t *p, uint32_t n) { absorb_blocks<P>(ctx, p, n); });
}

// The closing compressions of N and Sigma, with a zero counter.
template <class P>
inline void compress_words(streebog_ctx *ctx, const uint32_t *words) {
    typename P::Value h = P::load(ctx->h);
    compress<P>(h, P::of_words(words), P::load(streebog_zero));
    P::store(ctx->h, h);
}

// The 512-bit digest; the context is left finished.
template <class P>
inline void final512(uint8_t *out, streebog_ctx *ctx) {
    // Pad with 01 after the message bytes and zeros above them; an empty
    // buffer gives the block 01 00 .. 00, counted as 0 bits.
    const uint32_t used = ctx->buffered;
    ctx->buffer[used] = 0x01;
    std::memset(ctx->buffer + used + 1, 0, 63 - used);
    absorb<P>(ctx, ctx->buffer, 8 * used);
    compress_words<P>(ctx, ctx->N);
    compress_words<P>(ctx, ctx->Sigma);
    std::memcpy(out, ctx->h, 64);
}

}  // namespace lncext::streebog
