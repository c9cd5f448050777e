// GOST R 34.10-2001 signatures over a caller-supplied 256-bit curve. The
// context is filled once and only read afterwards; every check of a call
// precedes its first output byte, so a failing call writes nothing.
#include <cstdint>
#include <cstring>

#include "bignum/window.hpp"
#include "ecp/gost_internal.hpp"

namespace {

using namespace lncext::ecp;
using lncext::secure_wipe;
using lncext::bn::cmp;

// At least 255 bits: the fields of this scheme are 256-bit numbers.
constexpr uint32_t kMinBits = 255;

// The window the base-point table was built for; any narrower width reads
// the same table correctly, a wider one would run past it.
inline uint32_t table_width(const rds_ctx *ctx) {
    return ctx->w < LNMEC_WINDOW ? ctx->w : LNMEC_WINDOW;
}

}  // namespace

extern "C" {

LNCEXT_API uint32_t rds_init(rds_ctx *ctx, const uint8_t *p, const uint8_t *a, const uint8_t *b,
                             const uint8_t *q, const uint8_t *x, const uint8_t *y) {
    if (ctx == nullptr || p == nullptr || a == nullptr || b == nullptr || q == nullptr ||
        x == nullptr || y == nullptr)
        return RDS_NULL_ARGUMENT;
    std::memset(ctx, 0, sizeof *ctx);
    Elem pn, an, bn, xn, yn;
    read_number(pn, p);
    read_number(an, a);
    read_number(bn, b);
    if (pn[0] == 0 || (pn[1] & 1) == 0 || lncext::bn::bit_length(pn) < kMinBits)
        return RDS_BAD_CURVE;
    if (!in_range(an, pn) || !in_range(bn, pn)) return RDS_BAD_CURVE;
    if (lnmeccr(&ctx->curve, pn, an, bn) == nullptr) return RDS_BAD_CURVE;

    read_number(xn, x);
    read_number(yn, y);
    if (cmp(xn, pn) >= 0 || cmp(yn, pn) >= 0) return RDS_BAD_BASE_POINT;
    if (lnmecpcr(&ctx->curve, &ctx->G, xn, yn) == nullptr) return RDS_BAD_BASE_POINT;

    Elem q1;
    read_number(ctx->q, q);
    lncext::bn::copy(q1, ctx->q);
    lnmadd(q1, LNMBIG_ONE);
    if (lncext::bn::bit_length(q1) < kMinBits) return RDS_BAD_ORDER;

    ctx->pub_len = RDS_PUBLIC_KEY_BYTES;
    ctx->prv_len = RDS_PRIVATE_KEY_BYTES;
    ctx->sig_len = RDS_SIGNATURE_BYTES;
    ctx->w = LNMEC_WINDOW;
    lnmecic(&ctx->curve, ctx->table, &ctx->G, LNMEC_WINDOW);
    return RDS_OK;
}

LNCEXT_API uint32_t rds_get_prms(const rds_ctx *ctx, uint8_t *p, uint8_t *a, uint8_t *b, uint8_t *q,
                                 uint8_t *x, uint8_t *y) {
    if (ctx == nullptr || p == nullptr || a == nullptr || b == nullptr || q == nullptr ||
        x == nullptr || y == nullptr)
        return RDS_NULL_ARGUMENT;
    const lnmpff_ctx *f = &ctx->curve.field;
    Elem t;
    write_right(p, f->modulus);
    write_right(a, f->out(f, t, ctx->curve.a));
    write_right(b, f->out(f, t, ctx->curve.b));
    write_right(q, ctx->q);
    lnmec_point G = ctx->G;  // normalised on a copy: the context stays as it is
    Elem gx, gy;
    lnmecpxy(&ctx->curve, &G, gx, gy);
    write_right(x, gx);
    write_right(y, gy);
    return RDS_OK;
}

LNCEXT_API uint32_t rds_gen_keys(const rds_ctx *ctx, const uint8_t *d, uint8_t *pub) {
    if (ctx == nullptr || d == nullptr || pub == nullptr) return RDS_NULL_ARGUMENT;
    Elem dn;
    read_number(dn, d);
    if (!in_range(dn, ctx->q)) {
        secure_wipe(dn, sizeof dn);
        return RDS_RETRY;
    }
    lnmec_point Q;
    lnmecickp(&ctx->curve, &Q, ctx->table, dn, table_width(ctx), 0);
    write_point(ctx, &Q, pub);
    secure_wipe(dn, sizeof dn);
    lncext::wipe_stack<lncext::kWipeStackPublicKey>();
    return RDS_OK;
}

LNCEXT_API uint32_t rds_sign(const rds_ctx *ctx, const uint8_t *d, const uint8_t *k,
                             const uint8_t *hash, uint8_t *sig) {
    if (ctx == nullptr || d == nullptr || k == nullptr || hash == nullptr || sig == nullptr)
        return RDS_NULL_ARGUMENT;
    Elem dn, kn, e, r, s;
    lnmec_point C;
    uint32_t result = RDS_OK;
    read_number(dn, d);
    read_number(kn, k);
    if (!in_range(dn, ctx->q)) {
        result = RDS_BAD_PRIVATE_KEY;
    } else {
        read_hash(ctx, hash, e);
        if (!in_range(kn, ctx->q)) {
            result = RDS_RETRY;
        } else {
            // r = x(k G) mod q; s = (r d + k e) mod q.
            lnmecickp(&ctx->curve, &C, ctx->table, kn, LNMEC_WINDOW, 0);
            lnmecpxy(&ctx->curve, &C, r, nullptr);
            mod_q(ctx, r);
            if (r[0] == 0) {
                result = RDS_RETRY;
            } else {
                mul_mod_q(ctx, r, dn, s, kn, e);
                if (s[0] == 0) result = RDS_RETRY;
            }
        }
    }
    if (result == RDS_OK) {
        write_right(sig, s);
        write_right(sig + kNumberBytes, r);
    }
    secure_wipe(dn, sizeof dn);
    secure_wipe(kn, sizeof kn);
    secure_wipe(&C, sizeof C);
    lncext::wipe_stack<lncext::kWipeStackPublicKey>();
    return result;
}

LNCEXT_API uint32_t rds_verify(const rds_ctx *ctx, const uint8_t *pub, const uint8_t *hash,
                               const uint8_t *sig) {
    if (ctx == nullptr || pub == nullptr || hash == nullptr || sig == nullptr)
        return RDS_NULL_ARGUMENT;
    lnmec_point Q;
    if (read_public(ctx, pub, &Q) != RDS_OK) return RDS_BAD_PUBLIC_KEY;
    Elem s, r, e;
    read_number(s, sig);
    read_number(r, sig + kNumberBytes);
    if (!in_range(r, ctx->q) || !in_range(s, ctx->q)) return RDS_INVALID_SIGNATURE;
    read_hash(ctx, hash, e);

    // z1 = s / e, z2 = -r / e (mod q); C = z1 G + z2 Q.
    uint32_t v[kWords], z1[kProductRoom], z2[kProductRoom];
    lnmmodinv(e, ctx->q, v);
    lnmmul(s, v, z1);
    mod_q(ctx, z1);
    lnmmul(r, v, z2);
    mod_q(ctx, z2);
    uint32_t t[kWords];
    lncext::bn::copy(t, ctx->q);
    lnmsub(t, z2);
    lnmec_point C;
    lnmecakp(&ctx->curve, &C, z1, &ctx->G, t, &Q);
    Elem x;
    lnmecpxy(&ctx->curve, &C, x, nullptr);
    mod_q(ctx, x);
    return cmp(x, r) == 0 ? RDS_OK : RDS_INVALID_SIGNATURE;
}

}  // extern "C"
