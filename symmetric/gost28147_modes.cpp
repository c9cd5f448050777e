// GOST 28147-89 confidentiality modes: ECB, 64-bit CFB and the gamma
// (counter) mode.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/bytes.hpp"
#include "lncext/gost28147.h"
#include "symmetric/gost28147_internal.hpp"

namespace lncext::gost {
namespace {

// Every mode context starts with the shared register/keys/table fields, so
// the engines can be handed any of them.
template <typename Ctx>
constexpr bool begins_with_core() {
    return offsetof(Ctx, N1) == offsetof(g28147_ctx, N1) &&
           offsetof(Ctx, N2) == offsetof(g28147_ctx, N2) &&
           offsetof(Ctx, keys) == offsetof(g28147_ctx, keys) &&
           offsetof(Ctx, kext) == offsetof(g28147_ctx, kext) &&
           sizeof(Ctx::keys) == sizeof(g28147_ctx::keys) && sizeof(Ctx) >= sizeof(g28147_ctx);
}
static_assert(begins_with_core<g28147_ecb_ctx>());
static_assert(begins_with_core<g28147_cfb_ctx>());
static_assert(begins_with_core<g28147_ofb_ctx>());

// The counter steps of the gamma mode.
constexpr uint32_t kC1 = 0x01010101;
constexpr uint32_t kC2 = 0x01010104;

// N2 + C2 modulo 2^32 - 1, the way the standard adds it: a carry out of 32
// bits comes back in as 1; a sum of exactly 0xFFFFFFFF is left alone.
inline uint32_t add_c2(uint32_t n2) {
    const uint32_t s = n2 + kC2;
    return s + (s < n2 ? 1u : 0u);
}

// The gamma mode's counter: advance it and encrypt it into one keystream
// block.
inline void next_gamma(g28147_ofb_ctx *ctx) {
    ctx->N1 += kC1;
    ctx->N2 = add_c2(ctx->N2);
    uint32_t g1 = ctx->N1, g2 = ctx->N2;
    crypt32(g1, g2, ctx->keys, ctx->kext);
    ctx->gamma[0] = g1;
    ctx->gamma[1] = g2;
}

inline uint8_t gamma_byte(const g28147_ofb_ctx *ctx, uint32_t pos) {
    return uint8_t(ctx->gamma[pos >> 2] >> (8 * (pos & 3)));
}

// XORs the first r (< 8) bytes of in with the keystream block (g1, g2).
inline void xor_tail(const uint8_t *in, uint8_t *out, uint32_t r, uint32_t g1, uint32_t g2) {
    for (uint32_t j = 0; j < r; j++) {
        const uint32_t g = j < 4 ? g1 : g2;
        out[j] = uint8_t(in[j] ^ (g >> (8 * (j & 3))));
    }
}

// The end of a CFB call in either direction: after whole blocks only, the
// register (the last ciphertext block) is stored for the next call. A partial
// block ends the message: its keystream is the encrypted register, and the
// stored register stays as it was when the call began.
void cfb_finish(g28147_cfb_ctx *ctx, uint32_t r1, uint32_t r2, const uint8_t *src, uint8_t *dst,
                uint32_t tail) {
    if (tail == 0) {
        ctx->N1 = r1;
        ctx->N2 = r2;
        return;
    }
    crypt32(r1, r2, ctx->keys, ctx->kext);
    xor_tail(src, dst, tail, r1, r2);
}

}  // namespace
}  // namespace lncext::gost

using lncext::load_le32;
using lncext::store_le32;
namespace gost = lncext::gost;

extern "C" {

LNCEXT_API void g28147_ecb_init_ext(g28147_ecb_ctx *ctx, int mode, const uint32_t *key,
                                    const uint32_t *kext) {
    std::memset(ctx, 0, sizeof *ctx);
    gost::lay_out_keys(ctx->keys, key, mode == 1 ? OrderEncr : OrderDecr);
    ctx->kext = kext;
}

LNCEXT_API void g28147_ecb_update(const g28147_ecb_ctx *ctx, const void *in, void *out,
                                  uint32_t len) {
    const uint8_t *src = static_cast<const uint8_t *>(in);
    uint8_t *dst = static_cast<uint8_t *>(out);
    // The blocks are independent: groups of them run interleaved.
    gost::in_groups<gost::kLanes>(len / 8, [&]<std::size_t L>(std::size_t i) {
        const uint8_t *p = src + 8 * i;
        uint32_t n1[L], n2[L];
        for (std::size_t l = 0; l < L; l++)
            n1[l] = load_le32(p + 8 * l), n2[l] = load_le32(p + 8 * l + 4);
        gost::crypt32(n1, n2, ctx->keys, ctx->kext);
        uint8_t *q = dst + 8 * i;
        for (std::size_t l = 0; l < L; l++)
            store_le32(q + 8 * l, n1[l]), store_le32(q + 8 * l + 4, n2[l]);
    });
}

LNCEXT_API void g28147_cfb_init_ext(g28147_cfb_ctx *ctx, int mode, const uint32_t *key,
                                    const uint32_t *iv, const uint32_t *kext) {
    std::memset(ctx, 0, sizeof *ctx);
    ctx->N1 = iv[0];
    ctx->N2 = iv[1];
    gost::lay_out_keys(ctx->keys, key, OrderEnc);
    ctx->kext = kext;
    ctx->mode = uint32_t(mode);
}

LNCEXT_API void g28147_cfb_update(g28147_cfb_ctx *ctx, const void *in, void *out, uint32_t len) {
    if (ctx->mode == 1)
        g28147_cfb_enc_update_blocks(ctx, in, out, len);
    else
        g28147_cfb_dec_update_blocks(ctx, in, out, len);
}

LNCEXT_API void g28147_cfb_enc_update_blocks(g28147_cfb_ctx *ctx, const void *in, void *out,
                                             uint32_t len) {
    const uint8_t *src = static_cast<const uint8_t *>(in);
    uint8_t *dst = static_cast<uint8_t *>(out);
    uint32_t r1 = ctx->N1, r2 = ctx->N2;
    for (uint32_t blocks = len / 8; blocks; blocks--, src += 8, dst += 8) {
        gost::crypt32(r1, r2, ctx->keys, ctx->kext);
        r1 ^= load_le32(src);
        r2 ^= load_le32(src + 4);
        store_le32(dst, r1);
        store_le32(dst + 4, r2);
    }
    gost::cfb_finish(ctx, r1, r2, src, dst, len % 8);
}

LNCEXT_API void g28147_cfb_dec_update_blocks(g28147_cfb_ctx *ctx, const void *in, void *out,
                                             uint32_t len) {
    const uint8_t *src = static_cast<const uint8_t *>(in);
    uint8_t *dst = static_cast<uint8_t *>(out);
    uint32_t r1 = ctx->N1, r2 = ctx->N2;
    // The register of every block is the previous ciphertext block, all known
    // in advance, so a group's keystream blocks are made together. A group's
    // cipher words are all read before its plaintext is written (in and out
    // may coincide), and its last cipher block is the next group's register.
    const uint32_t blocks = len / 8;
    gost::in_groups<gost::kLanes>(blocks, [&]<std::size_t L>(std::size_t i) {
        const uint8_t *p = src + 8 * i;
        uint32_t c1[L], c2[L], g1[L], g2[L];
        for (std::size_t l = 0; l < L; l++)
            c1[l] = load_le32(p + 8 * l), c2[l] = load_le32(p + 8 * l + 4);
        g1[0] = r1;
        g2[0] = r2;
        for (std::size_t l = 1; l < L; l++) g1[l] = c1[l - 1], g2[l] = c2[l - 1];
        gost::crypt32(g1, g2, ctx->keys, ctx->kext);
        uint8_t *q = dst + 8 * i;
        for (std::size_t l = 0; l < L; l++)
            store_le32(q + 8 * l, c1[l] ^ g1[l]), store_le32(q + 8 * l + 4, c2[l] ^ g2[l]);
        r1 = c1[L - 1];
        r2 = c2[L - 1];
    });
    src += 8 * blocks;
    dst += 8 * blocks;
    gost::cfb_finish(ctx, r1, r2, src, dst, len % 8);
}

LNCEXT_API void g28147_ofb_init_ext(g28147_ofb_ctx *ctx, const uint32_t *key, const uint32_t *iv,
                                    const uint32_t *kext) {
    std::memset(ctx, 0, sizeof *ctx);
    gost::lay_out_keys(ctx->keys, key, gost::kOrderEncrypt.data());
    ctx->kext = kext;
    // The initial value is encrypted once; the counter starts from that.
    uint32_t n1 = iv[0], n2 = iv[1];
    gost::crypt32(n1, n2, ctx->keys, kext);
    ctx->N1 = n1;
    ctx->N2 = n2;
    ctx->pos = 8;
}

LNCEXT_API void g28147_ofb_update(g28147_ofb_ctx *ctx, const void *in, void *out, uint32_t len) {
    const uint8_t *src = static_cast<const uint8_t *>(in);
    uint8_t *dst = static_cast<uint8_t *>(out);
    // Use up what is left of the current keystream block.
    while (len && ctx->pos < 8) {
        *dst++ = uint8_t(*src++ ^ gost::gamma_byte(ctx, ctx->pos++));
        len--;
    }
    // Whole blocks at a block boundary: the counter values of a group are
    // known at once, so their keystream blocks are made together. The last
    // one stays in the context as the used-up current block.
    const uint32_t blocks = len / 8;
    gost::in_groups<gost::kLanes>(blocks, [&]<std::size_t L>(std::size_t i) {
        uint32_t g1[L], g2[L];
        uint32_t n1 = ctx->N1, n2 = ctx->N2;
        for (std::size_t l = 0; l < L; l++) {
            n1 += gost::kC1;
            n2 = gost::add_c2(n2);
            g1[l] = n1;
            g2[l] = n2;
        }
        gost::crypt32(g1, g2, ctx->keys, ctx->kext);
        const uint8_t *p = src + 8 * i;
        uint8_t *q = dst + 8 * i;
        for (std::size_t l = 0; l < L; l++) {
            store_le32(q + 8 * l, load_le32(p + 8 * l) ^ g1[l]);
            store_le32(q + 8 * l + 4, load_le32(p + 8 * l + 4) ^ g2[l]);
        }
        ctx->N1 = n1;
        ctx->N2 = n2;
        ctx->gamma[0] = g1[L - 1];
        ctx->gamma[1] = g2[L - 1];
        ctx->pos = 8;
    });
    src += 8 * blocks;
    dst += 8 * blocks;
    len %= 8;
    while (len) {
        if (ctx->pos == 8) {
            gost::next_gamma(ctx);
            ctx->pos = 0;
        }
        *dst++ = uint8_t(*src++ ^ gost::gamma_byte(ctx, ctx->pos++));
        len--;
    }
}

}  // extern "C"
