// DSTU 4145-2002 signatures and the Diffie-Hellman agreement on its curves.
// Signing takes its random pair (e, e P) from a pool; the signature is
// r = (h x(eP)) as an integer mod 2^(bitlen(n) - 1) and s = e + d r mod n,
// checked with the public key Q = -d P through s P + r Q = e P.
#include <array>
#include <cstring>

#include "bignum/window.hpp"
#include "common/wipe.hpp"
#include "ec2/curve_internal.hpp"
#include "ec2/dstu_internal.hpp"
#include "lncext/bignum.h"

namespace lncext::ec2 {
namespace {

using Elem = std::array<uint32_t, kElemWords>;

// Room for the big numbers of one signature: n, d, r, s, e have at most 14
// digit words; d r at most 28, and lnmdiv wants three more words of room
// than its dividend.
constexpr uint32_t kBigWords = 40;
// The longest private key dhua_zz reads: 14 words of 4 bytes.
constexpr int kMaxPrivBytes = 56;

// h: the first min(hbits, m) bits of the hash, little-endian; 0 becomes 1.
void hash_element(const lnme2_ctx *curve, uint32_t *h, const uint8_t *hash, int hbits) {
    const int bits = uint32_t(hbits) < curve->m ? hbits : int(curve->m);
    lnm2pfrombits(lnm2pclear(h, curve->m), hash, bits);
    if (lnm2p_is_zero(h)) h[1] = 1;
}

// r = (h x) as an integer mod 2^(bitlen(n) - 1).
void signature_r(const dstu_ctx *ctx, uint32_t *r, const uint32_t *h, const uint32_t *x) {
    Elem y;
    lnm2pclear(y.data(), ctx->curve.m);
    lnme2bfmul(&ctx->curve, y.data(), h, x);
    lnm2ptobig(r, y.data());
    lnmmodexpb2(r, bn::bit_length(ctx->n) - 1);
}

}  // namespace
}  // namespace lncext::ec2

using namespace lncext::ec2;
namespace bn = lncext::bn;

extern "C" {

int dstu_sign(const dstu_ctx *ctx, dstu_bspool_ctx *pool, int privlen, const uint8_t *priv,
              int hbits, const uint8_t *hash, int *siglen, uint8_t *sig) {
    if (ctx == nullptr || pool == nullptr || priv == nullptr || hash == nullptr || sig == nullptr ||
        siglen == nullptr || !context_complete(ctx) || pool->ctx != ctx)
        return DSTU_BAD_ARGUMENT;
    if (privlen < 1 || privlen > int(ctx->key_bytes) || *siglen < int(ctx->sig_bytes) || hbits < 1)
        return DSTU_BAD_ARGUMENT;
    const lnme2_ctx *curve = &ctx->curve;
    const uint32_t nbits = bn::bit_length(ctx->n);
    uint32_t d[kBigWords], e[kBigWords], r[kBigWords], t[kBigWords], n[kBigWords];
    lnmfromrbase256(d, priv, uint32_t(privlen));
    if (d[0] == 0 || bn::bit_length(d) >= nbits) {
        lncext::secure_wipe(d, sizeof d);
        return DSTU_BAD_PRIVATE_KEY;
    }
    Elem h, c, x;
    hash_element(curve, h.data(), hash, hbits);
    lnm2pclear(c.data(), curve->m);
    lnm2pclear(x.data(), curve->m);
    lnmcopy(n, ctx->n);
    lnme2_point R;
    for (;;) {
        dstu_bspool_get(pool, e, c.data());
        if (lnm2p_is_zero(c.data())) continue;
        lnme2pcr(curve, &R, nullptr, nullptr);
        if (lnme2exp(curve, &R, c.data()) == nullptr) continue;
        lnme2pxy(curve, &R, x.data(), nullptr);
        signature_r(ctx, r, h.data(), x.data());
        if (r[0] == 0) continue;
        // s = (e + d r) mod n, into t.
        lnmmul(d, r, t);
        lnmadd(t, e);
        lnmdiv(t, n, nullptr, t);
        if (t[0] != 0) break;
    }
    const uint32_t half = ctx->sig_bytes / 2;
    std::memset(sig, 0, ctx->sig_bytes);
    lnmtorbase256(sig, half, r);
    lnmtorbase256(sig + half, half, t);
    *siglen = int(ctx->sig_bytes);
    lncext::secure_wipe(d, sizeof d);
    lncext::secure_wipe(e, sizeof e);
    lncext::secure_wipe(&R, sizeof R);
    lncext::secure_wipe(c.data(), sizeof c);
    lncext::secure_wipe(x.data(), sizeof x);
    return DSTU_OK;
}

int dstu_verify(const dstu_ctx *ctx, int publen, const uint8_t *pub, int hbits, const uint8_t *hash,
                int siglen, const uint8_t *sig) {
    if (ctx == nullptr || pub == nullptr || sig == nullptr || hash == nullptr ||
        !context_complete(ctx))
        return DSTU_BAD_ARGUMENT;
    if (publen < 1 || publen > int(ctx->field_bytes) || hbits < 1) return DSTU_BAD_ARGUMENT;
    if (siglen != int(ctx->sig_bytes)) return DSTU_BAD_SIGNATURE;
    const lnme2_ctx *curve = &ctx->curve;
    const uint32_t half = uint32_t(siglen) / 2;
    uint32_t r[kBigWords], s[kBigWords], r2[kBigWords];
    lnmfromrbase256(r, sig, half);
    lnmfromrbase256(s, sig + half, half);
    if (r[0] == 0 || s[0] == 0 || lnmcmp(r, ctx->n) >= 0 || lnmcmp(s, ctx->n) >= 0)
        return DSTU_BAD_SIGNATURE;
    Elem c, x, h;
    lnm2pfromb(lnm2pclear(c.data(), curve->m), pub, publen);
    lnme2_point Q, R;
    lnme2pcr(curve, &Q, nullptr, nullptr);
    if (lnme2exp(curve, &Q, c.data()) == nullptr) return DSTU_BAD_PUBLIC_KEY;
    // R = s P + r Q, whose x gives back r for a genuine signature.
    lnme2skp(curve, &R, s, &ctx->P, r, &Q);
    lnme2pxy(curve, &R, lnm2pclear(x.data(), curve->m), nullptr);
    hash_element(curve, h.data(), hash, hbits);
    signature_r(ctx, r2, h.data(), x.data());
    return lnmcmp(r2, r) == 0 ? DSTU_OK : DSTU_BAD_SIGNATURE;
}

int dhua_zz(const dstu_ctx *ctx, int privlen, const uint8_t *priv, int publen, const uint8_t *pub,
            int cof, int *zlen, uint8_t *z) {
    if (ctx == nullptr || priv == nullptr || pub == nullptr || zlen == nullptr || z == nullptr ||
        !context_complete(ctx))
        return DSTU_BAD_ARGUMENT;
    const lnme2_ctx *curve = &ctx->curve;
    // Bounded below by the key sizes, above by what the working storage
    // holds: a longer value is rejected, never cut or copied.
    if (privlen < 1 || privlen < int(ctx->key_bytes) || privlen > kMaxPrivBytes)
        return DSTU_BAD_ARGUMENT;
    if (publen < 1 || publen < int(ctx->field_bytes) || uint32_t(publen) > 4 * field_words(curve))
        return DSTU_BAD_ARGUMENT;
    Elem c, x;
    lnm2pfromb(lnm2pclear(c.data(), curve->m), pub, publen);
    lnme2_point Q;
    lnme2pcr(curve, &Q, nullptr, nullptr);
    if (lnme2exp(curve, &Q, c.data()) == nullptr) return DSTU_BAD_PUBLIC_KEY;
    uint32_t d[kBigWords];
    lnmfromrbase256(d, priv, uint32_t(privlen));
    if (d[0] == 0 || bn::bit_length(d) >= bn::bit_length(ctx->n)) {
        lncext::secure_wipe(d, sizeof d);
        return DSTU_BAD_PRIVATE_KEY;
    }
    if (cof != 0 && ctx->cofactor != 2 && ctx->cofactor != 4) {
        lncext::secure_wipe(d, sizeof d);
        return DSTU_BAD_CURVE;
    }
    lnme2_point R;
    lnme2kp(curve, &R, d, &Q);
    if (cof != 0) {
        lnme2pd(curve, &R, &R);
        if (ctx->cofactor == 4) lnme2pd(curve, &R, &R);
    }
    lnme2pxy(curve, &R, lnm2pclear(x.data(), curve->m), nullptr);
    lnm2ptob(z, x.data(), int(ctx->field_bytes));
    *zlen = int(ctx->field_bytes);
    lncext::secure_wipe(d, sizeof d);
    lncext::secure_wipe(&R, sizeof R);
    lncext::secure_wipe(x.data(), sizeof x);
    return DSTU_OK;
}

}  // extern "C"
