// VKO GOST R 34.10-2001: the key-encryption key of two parties is the GOST R
// 34.11-94 hash (CryptoPro starting value and S-box) of their shared point
// ((d_own u) mod q) Q_peer, u the user keying material.
#include <cstdint>
#include <cstring>

#include "ecp/gost_internal.hpp"
#include "lncext/gost28147.h"
#include "lncext/gostr341194.h"

namespace {

using namespace lncext::ecp;
using lncext::secure_wipe;

constexpr uint32_t kUkmBytes = VKO341001_UKM_BYTES;

}  // namespace

extern "C" {

LNCEXT_API uint32_t vko341001_init(rds_ctx *ctx, const uint8_t *p, const uint8_t *a,
                                   const uint8_t *b, const uint8_t *q, const uint8_t *x,
                                   const uint8_t *y) {
    return rds_init(ctx, p, a, b, q, x, y);
}

LNCEXT_API uint32_t vko341001_gen_pubkey(const rds_ctx *ctx, const uint8_t *d, uint8_t *pub) {
    if (ctx == nullptr || d == nullptr || pub == nullptr) return RDS_NULL_ARGUMENT;
    Elem dn;
    read_number(dn, d);
    if (!in_range(dn, ctx->q)) {
        secure_wipe(dn, sizeof dn);
        return RDS_BAD_PRIVATE_KEY;
    }
    lnmec_point Q;
    lnmeckp(&ctx->curve, &Q, dn, &ctx->G);
    write_point(ctx, &Q, pub);
    secure_wipe(dn, sizeof dn);
    lncext::wipe_stack<lncext::kWipeStackPublicKey>();
    return RDS_OK;
}

LNCEXT_API uint32_t vko341001_gen_kek(const rds_ctx *ctx, uint8_t *kek, const uint8_t *d,
                                      const uint8_t *pub, const uint8_t *ukm) {
    if (ctx == nullptr || kek == nullptr || d == nullptr || pub == nullptr || ukm == nullptr)
        return RDS_NULL_ARGUMENT;
    // The peer's key first, then the own key, then the UKM.
    lnmec_point K;
    if (read_public(ctx, pub, &K) != RDS_OK) return RDS_BAD_PUBLIC_KEY;
    Elem dn, u, t;
    read_number(dn, d);
    read_number(u, ukm, kUkmBytes);
    uint32_t result = RDS_OK;
    if (!in_range(dn, ctx->q))
        result = RDS_BAD_PRIVATE_KEY;
    else if (!in_range(u, ctx->q))
        result = RDS_BAD_UKM;
    if (result == RDS_OK) {
        mul_mod_q(ctx, dn, u, t);
        lnmeckp(&ctx->curve, &K, t, &K);

        // x then y, each left-aligned in its 32-byte field.
        Elem x, y;
        uint8_t input[2 * kNumberBytes] = {};
        lnmecpxy(&ctx->curve, &K, x, y);
        lnmtobase256(input, kNumberBytes, x);
        lnmtobase256(input + kNumberBytes, kNumberBytes, y);
        gr341194_md_ctx md;
        gr341194_md_init_ext(&md, CryptoPro_iv, CryptoPro_uz);
        gr341194_md_update(&md, input, kNumberBytes);
        gr341194_md_update(&md, input + kNumberBytes, kNumberBytes);
        gr341194_md_final(&md, kek);

        secure_wipe(input, sizeof input);
        secure_wipe(x, sizeof x);
        secure_wipe(y, sizeof y);
        secure_wipe(&md, sizeof md);
        secure_wipe(t, sizeof t);
    }
    secure_wipe(dn, sizeof dn);
    secure_wipe(&K, sizeof K);
    lncext::wipe_stack<lncext::kWipeStackPublicKey>();
    return result;
}

}  // extern "C"
