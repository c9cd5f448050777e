// GOST 28147-89 MAC (imitation protection): every 8-byte block is XORed into
// the 64-bit state, which then goes through the 16-round cycle; the MAC is the
// first state word.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/block_buffer.hpp"
#include "common/bytes.hpp"
#include "common/wipe.hpp"
#include "lncext/gost28147.h"
#include "symmetric/gost28147_internal.hpp"

namespace {

static_assert(offsetof(g28147_hmac_ctx, N1) == offsetof(g28147_ctx, N1) &&
              offsetof(g28147_hmac_ctx, N2) == offsetof(g28147_ctx, N2) &&
              offsetof(g28147_hmac_ctx, keys) == offsetof(g28147_ctx, keys) &&
              offsetof(g28147_hmac_ctx, kext) == offsetof(g28147_ctx, kext) &&
              sizeof(g28147_hmac_ctx::keys) == sizeof(g28147_ctx::keys));

// The MAC only asks whether more than one block's worth of bytes went in, so
// the count stops here instead of growing without bound.
constexpr uint32_t kAbsorbedCap = 10;

// Absorbs the tail of the buffer into the state and tells whether the
// message was long enough (at least 9 bytes) to have a MAC.
bool finish(g28147_hmac_ctx *ctx) {
    g28147_hmac_updblocks(ctx, ctx->buffer, ctx->buffered);
    return ctx->absorbed > 8;
}

}  // namespace

extern "C" {

LNCEXT_API void g28147_hmac_init_ext(g28147_hmac_ctx *ctx, const uint32_t *key,
                                     const uint32_t *kext) {
    std::memset(ctx, 0, sizeof *ctx);
    lncext::gost::lay_out_keys(ctx->keys, key, OrderEnc);
    ctx->kext = kext;
}

LNCEXT_API void g28147_hmac_updblocks(g28147_hmac_ctx *ctx, const void *data, uint32_t len) {
    const uint8_t *p = static_cast<const uint8_t *>(data);
    uint32_t n1 = ctx->N1, n2 = ctx->N2;
    for (uint32_t blocks = len / 8; blocks; blocks--, p += 8) {
        n1 ^= lncext::load_le32(p);
        n2 ^= lncext::load_le32(p + 4);
        lncext::gost::mac16(n1, n2, ctx->keys, ctx->kext);
    }
    if (const uint32_t tail = len % 8) {
        uint8_t block[8] = {};
        std::memcpy(block, p, tail);
        n1 ^= lncext::load_le32(block);
        n2 ^= lncext::load_le32(block + 4);
        lncext::gost::mac16(n1, n2, ctx->keys, ctx->kext);
    }
    ctx->N1 = n1;
    ctx->N2 = n2;
    ctx->absorbed = len >= kAbsorbedCap - ctx->absorbed ? kAbsorbedCap : ctx->absorbed + len;
}

LNCEXT_API void g28147_hmac_update(g28147_hmac_ctx *ctx, const void *data, uint32_t len) {
    lncext::feed_blocks<8>(
        ctx->buffer, ctx->buffered, static_cast<const uint8_t *>(data), len,
        [ctx](const uint8_t *p, uint32_t n) { g28147_hmac_updblocks(ctx, p, n); });
}

LNCEXT_API uint32_t *g28147_hmac_final(g28147_hmac_ctx *ctx, uint32_t *mac) {
    const bool has_mac = finish(ctx);
    if (has_mac) *mac = ctx->N1;
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
    return has_mac ? mac : nullptr;
}

LNCEXT_API int g28147_hmac_final_verify(g28147_hmac_ctx *ctx, const uint32_t *mac) {
    const bool match = finish(ctx) && ctx->N1 == *mac;
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
    return match ? 1 : 0;
}

}  // extern "C"
