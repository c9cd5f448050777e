// DSTU 4145-2002 domain parameters, the pool of precomputed random pairs
// (k, k P) and key pairs: the curve from its published parameters, the base
// point with its order checked, public keys in compressed and two-coordinate
// form.
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

// Lowest slot whose bit is clear (want_set false) or set in mask, or
// kPoolSlots when there is none.
uint32_t lowest_slot(uint32_t mask, bool want_set) {
    for (uint32_t i = 0; i < DSTU_POOL_SLOTS; ++i)
        if (((mask >> i) & 1) == uint32_t(want_set)) return i;
    return DSTU_POOL_SLOTS;
}

}  // namespace
}  // namespace lncext::ec2

using namespace lncext::ec2;

extern "C" {

int dstu_init_curve(dstu_ctx *ctx, uint32_t m, uint32_t k1, uint32_t k2, uint32_t k3, uint32_t a,
                    int blen, const uint8_t *b) {
    if (ctx == nullptr || b == nullptr || blen < 0) return DSTU_BAD_CURVE;
    const uint32_t L = (m + 8) / 8;
    if (uint32_t(blen) > L || blen > DSTU_MAX_FIELD_BYTES) return DSTU_BAD_CURVE;
    std::memset(ctx, 0, sizeof *ctx);
    // A short b is extended with zero high-order bytes.
    uint8_t buf[DSTU_MAX_FIELD_BYTES] = {};
    std::memcpy(buf, b, size_t(blen));
    if (lnme2cr(&ctx->curve, m, k1, k2, k3, a, buf) == nullptr) return DSTU_BAD_CURVE;
    ctx->field_bytes = L;
    return DSTU_OK;
}

int dstu_init_pgen(dstu_ctx *ctx, int bplen, const uint8_t *bp, int nlen, const uint8_t *n) {
    if (ctx == nullptr || bp == nullptr || n == nullptr) return DSTU_BAD_ARGUMENT;
    // Until the checks below pass the context is not complete.
    ctx->key_bytes = ctx->sig_bytes = 0;
    const int L = int(ctx->field_bytes);
    if (ctx->curve.mul == nullptr || bplen < 1 || bplen > L || nlen < 1 || nlen > L)
        return DSTU_BAD_BASE_POINT;
    const lnme2_ctx *curve = &ctx->curve;
    Elem c;
    lnm2pfromb(lnm2pclear(c.data(), curve->m), bp, bplen);
    lnme2pcr(curve, &ctx->P, nullptr, nullptr);
    if (lnme2exp(curve, &ctx->P, c.data()) == nullptr) return DSTU_BAD_BASE_POINT;
    lnmfromrbase256(ctx->n, n, uint32_t(nlen));
    const uint32_t bits = lncext::bn::bit_length(ctx->n);
    if (bits > curve->m || bits + 2 < curve->m || bits < 160) return DSTU_BAD_BASE_POINT;
    ctx->win = DSTU_WINDOW;
    lnme2ic(curve, ctx->table, &ctx->P, ctx->win);
    lnme2_point O;
    lnme2kpic(curve, &O, ctx->n, ctx->table, ctx->win);
    if (!lnme2p_is_inf(curve, &O)) return DSTU_BAD_BASE_POINT;
    ctx->key_bytes = (bits + 6) / 8;
    ctx->sig_bytes = 2 * ((bits + 7) / 8);
    return DSTU_OK;
}

int dstu_bspool_init(dstu_bspool_ctx *pool, const dstu_ctx *ctx, dstu_rnd_fn rnd) {
    if (pool == nullptr || ctx == nullptr || rnd == nullptr) return DSTU_BAD_ARGUMENT;
    pool->ctx = ctx;
    pool->rnd = rnd;
    pool->ready = 0;
    pool->busy = 0;
    return DSTU_OK;
}

int dstu_bspool_step(dstu_bspool_ctx *pool) {
    if (pool == nullptr || pool->ctx == nullptr) return 0;
    const uint32_t i = lowest_slot(pool->ready, false);
    if (i == DSTU_POOL_SLOTS) return 1;
    const uint32_t bit = 1u << i;
    if (pool->busy & bit) {
        if (lnme2kpic_step(&pool->state[i], nullptr) == 1) pool->ready |= bit;
        return pool->ready != 0;
    }
    // Start the slot: a fresh k below 2^(bitlen(n) - 1), hence below n. No
    // point arithmetic yet; every later step is one window of k P.
    const dstu_ctx *ctx = pool->ctx;
    uint8_t buf[DSTU_MAX_FIELD_BYTES];
    pool->rnd(buf, ctx->key_bytes);
    lnmfromrbase256(pool->k[i], buf, ctx->key_bytes);
    lnmmodexpb2(pool->k[i], lncext::bn::bit_length(ctx->n) - 1);
    lnme2kpic_init(&pool->state[i], &ctx->curve, pool->k[i], ctx->table, ctx->win);
    pool->busy |= bit;
    lncext::secure_wipe(buf, sizeof buf);
    return pool->ready != 0;
}

void dstu_bspool_get(dstu_bspool_ctx *pool, uint32_t *k, uint32_t *cx) {
    if (pool == nullptr || pool->ctx == nullptr || k == nullptr || cx == nullptr) return;
    while (dstu_bspool_step(pool) == 0) {
    }
    const uint32_t i = lowest_slot(pool->ready, true);
    const lnme2_ctx *curve = &pool->ctx->curve;
    lnmcopy(k, pool->k[i]);
    lnme2comp(curve, cx, &pool->state[i].R);
    // The pair has left the pool: nothing of it stays behind.
    lncext::secure_wipe(pool->k[i], sizeof pool->k[i]);
    lncext::secure_wipe(&pool->state[i].R, sizeof pool->state[i].R);
    pool->ready &= ~(1u << i);
    pool->busy &= ~(1u << i);
}

int dstu_gen_keys(const dstu_ctx *ctx, dstu_bspool_ctx *pool, int *privlen, uint8_t *priv,
                  int *publen, uint8_t *pub) {
    if (ctx == nullptr || pool == nullptr || priv == nullptr || pub == nullptr ||
        privlen == nullptr || publen == nullptr || !context_complete(ctx) || pool->ctx != ctx)
        return DSTU_BAD_ARGUMENT;
    if (*privlen < int(ctx->key_bytes) || *publen < int(ctx->field_bytes)) return DSTU_BAD_ARGUMENT;
    const lnme2_ctx *curve = &ctx->curve;
    uint32_t d[DSTU_SCALAR_WORDS];
    Elem cx;
    lnm2pclear(cx.data(), curve->m);
    do {
        dstu_bspool_get(pool, d, cx.data());
    } while (d[0] == 0);
    // Q = -d P, the key whose verification equation is s P + r Q = e P.
    lnme2_point Q;
    lnme2pcr(curve, &Q, nullptr, nullptr);
    lnme2exp(curve, &Q, cx.data());
    lnme2pneg(curve, &Q);
    lnme2comp(curve, cx.data(), &Q);
    lnm2ptob(pub, cx.data(), int(ctx->field_bytes));
    *publen = int(ctx->field_bytes);
    std::memset(priv, 0, size_t(*privlen));
    lnmtorbase256(priv, ctx->key_bytes, d);
    *privlen = int(ctx->key_bytes);
    lncext::secure_wipe(d, sizeof d);
    lncext::secure_wipe(&Q, sizeof Q);
    return DSTU_OK;
}

int dstu_cppubk(const dstu_ctx *ctx, uint8_t *out, int *outlen, const uint8_t *in) {
    if (ctx == nullptr || out == nullptr || outlen == nullptr || in == nullptr ||
        ctx->curve.mul == nullptr)
        return DSTU_BAD_ARGUMENT;
    const int L = int(ctx->field_bytes);
    if (*outlen < L) return DSTU_BAD_ARGUMENT;
    const lnme2_ctx *curve = &ctx->curve;
    Elem x, y, c;
    lnm2pfromb(lnm2pclear(x.data(), curve->m), in, L);
    lnm2pfromb(lnm2pclear(y.data(), curve->m), in + L, L);
    lnme2_point P;
    if (lnme2pcr(curve, &P, x.data(), y.data()) == nullptr) return DSTU_BAD_PUBLIC_KEY;
    lnme2comp(curve, c.data(), &P);
    lnm2ptob(out, c.data(), L);
    *outlen = L;
    return DSTU_OK;
}

int dstu_ucpubk(const dstu_ctx *ctx, uint8_t *out, const uint8_t *in, int inlen) {
    if (ctx == nullptr || out == nullptr || in == nullptr || ctx->curve.mul == nullptr)
        return DSTU_BAD_ARGUMENT;
    const lnme2_ctx *curve = &ctx->curve;
    // More bytes than an element holds cannot be a compressed point.
    if (inlen < 0 || uint32_t(inlen) > 4 * field_words(curve)) return DSTU_BAD_ARGUMENT;
    Elem c, x, y;
    lnm2pfromb(lnm2pclear(c.data(), curve->m), in, inlen);
    lnme2_point P;
    lnme2pcr(curve, &P, nullptr, nullptr);
    if (lnme2exp(curve, &P, c.data()) == nullptr) return DSTU_BAD_PUBLIC_KEY;
    const int L = int(ctx->field_bytes);
    std::memset(out, 0, size_t(2 * L));
    if (lnme2pxy(curve, &P, lnm2pclear(x.data(), curve->m), lnm2pclear(y.data(), curve->m))) {
        lnm2ptob(out, x.data(), L);
        lnm2ptob(out + L, y.data(), L);
    }
    return DSTU_OK;
}

}  // extern "C"
