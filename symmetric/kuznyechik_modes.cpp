// ECB and counter mode of the 128-bit block cipher.
#include <cstring>

#include "common/bytes.hpp"
#include "common/wipe.hpp"
#include "lncext/kuznyechik.h"
#include "symmetric/kuznyechik_core.hpp"

extern "C" {

LNCEXT_API void kuzn_ecb_init(kuzn_ecb_ctx *ctx, int mode, const uint32_t *key) {
    uint32_t k[8];
    std::memcpy(k, key, sizeof k);  // the key may lie in the record we clear
    std::memset(ctx, 0, sizeof *ctx);
    ctx->mode = uint32_t(mode);
    kuzn_setup_keys(ctx, k);
    lncext::secure_wipe(k, sizeof k);
}

LNCEXT_API void kuzn_ecb_update(const kuzn_ecb_ctx *ctx, const void *in, void *out, uint32_t len) {
    const uint8_t *src = static_cast<const uint8_t *>(in);
    uint8_t *dst = static_cast<uint8_t *>(out);
    const uint8_t *rk = &ctx->keys[0][0];
    // Each block goes through a local copy, so in and out may be one buffer.
    uint8_t block[16];
    for (uint32_t n = len / 16; n != 0; n--, src += 16, dst += 16) {
        std::memcpy(block, src, 16);
        if (ctx->mode == 1)
            lncext::kuzn::encrypt_block(block, rk);
        else
            lncext::kuzn::decrypt_block(block, rk);
        std::memcpy(dst, block, 16);
    }
    lncext::secure_wipe(block, sizeof block);
    // The round keys pass through vector registers the compiler may spill.
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

LNCEXT_API void kuzn_ctr_init(kuzn_ctr_ctx *ctx, const uint8_t *iv, const uint32_t *key) {
    uint32_t k[8];
    std::memcpy(k, key, sizeof k);
    // The counter starts as IV || 0^64, the IV read big-endian.
    uint32_t hi = lncext::load_be32(iv), lo = lncext::load_be32(iv + 4);
    std::memset(ctx, 0, sizeof *ctx);
    ctx->counter[3] = hi;
    ctx->counter[2] = lo;
    kuzn_setup_keys(ctx, k);
    ctx->pos = 16;
    lncext::secure_wipe(k, sizeof k);
}

LNCEXT_API void kuzn_ctr_update(kuzn_ctr_ctx *ctx, const void *in, void *out, uint32_t len) {
    const uint8_t *src = static_cast<const uint8_t *>(in);
    uint8_t *dst = static_cast<uint8_t *>(out);
    while (len != 0) {
        if (ctx->pos >= 16) {
            // Next keystream block: the counter, most significant byte first,
            // encrypted; then the counter steps on modulo 2^128.
            for (int w = 0; w < 4; w++)
                lncext::store_be32(ctx->keystream + 4 * w, ctx->counter[3 - w]);
            lncext::kuzn::encrypt_block(ctx->keystream, &ctx->keys[0][0]);
            ctx->pos = 0;
            for (int w = 0; w < 4 && ++ctx->counter[w] == 0; w++) {
            }
        }
        // Each byte is read before its output is written, so in == out works.
        uint32_t n = 16 - ctx->pos;
        if (n > len) n = len;
        const uint8_t *ks = ctx->keystream + ctx->pos;
        for (uint32_t i = 0; i < n; i++) dst[i] = uint8_t(src[i] ^ ks[i]);
        src += n;
        dst += n;
        len -= n;
        ctx->pos += n;
    }
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

}  // extern "C"
