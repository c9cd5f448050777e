// Streebog hash, 512- and 256-bit. One context record, one update path and
// one compression function serve both sizes; they differ only in the
// starting value and in how much of the final chaining value is returned.
//
// Everything rests on the combined table streebog_lp32: one pass of 64
// lookups performs substitution, byte transposition and the linear map. The
// portable pass (streebog_lps_portable.hpp) treats each 64-bit entry as its
// two 32-bit words; on x86-64 a hand-scheduled pass (streebog_lps_sse2.hpp)
// moves the entries through vector registers. Both compute the same bytes,
// and both are covered by the same tests (the portable one in the 32-bit and
// portable builds).
#include "lncext/streebog.h"

#include <cstdint>
#include <cstring>

#include "common/block_buffer.hpp"
#include "common/bytes.hpp"
#include "common/platform.hpp"
#include "common/wipe.hpp"

#if defined(LNCEXT_HAVE_X86_64)
#include <emmintrin.h>
#endif

namespace lncext {
namespace {

#if defined(LNCEXT_HAVE_X86_64)
#include "symmetric/streebog_lps_sse2.hpp"
#else
#include "symmetric/streebog_lps_portable.hpp"
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

// The message and the hash state pass through vector registers and the
// slots they spill to. The entry points therefore do their work one call
// down, in these, and wipe the stack it used on the way out.
[[gnu::noinline]] void update(streebog_ctx *ctx, const uint8_t *data, uint32_t len) {
    lncext::feed_blocks<64>(ctx->buffer, ctx->buffered, data, len,
                            [ctx](const uint8_t *p, uint32_t n) { absorb_blocks(ctx, p, n); });
}

[[gnu::noinline]] void finish(uint8_t *out, streebog_ctx *ctx) {
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
    update(ctx, static_cast<const uint8_t *>(data), len);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

LNCEXT_API void streebog256_update(streebog_ctx *ctx, const void *data, uint32_t len) {
    streebog512_update(ctx, data, len);
}

LNCEXT_API void streebog512_final(uint8_t *out, streebog_ctx *ctx) {
    finish(out, ctx);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

LNCEXT_API void streebog256_final(uint8_t *out, streebog_ctx *ctx) {
    uint8_t full[64];
    finish(full, ctx);
    std::memcpy(out, full + 32, 32);
    // The discarded half is still hash state; do not leave it on the stack.
    secure_wipe(full, sizeof full);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
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
