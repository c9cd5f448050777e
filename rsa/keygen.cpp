// RSA key generation with e = 65537 from caller-supplied random bytes, the
// CRT values, and the key parameter records keys travel in.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "lncext/bignum.h"
#include "lncext/rsa.h"
#include "rsa/rsa_internal.hpp"

namespace {

using lncext::rsa::kNumWords;
using lncext::rsa::kWideWords;
using lncext::rsa::wipe;

static_assert(sizeof(rsa_keygen_ctx) == (5 * RSA_PRIME_WORDS + 1) * sizeof(uint32_t));
static_assert(offsetof(rsa_keygen_ctx, bits) == 5 * RSA_PRIME_WORDS * sizeof(uint32_t));
static_assert(RSA_PUBKEY_BYTES(2048) == 263 && RSA_PRIVKEY_BYTES(2048) == 650);

constexpr uint32_t kPrimeDigits = RSA_PRIME_WORDS - 1;

// A prime slot that holds a usable factor: above 1, at most 32 digits.
bool present(const uint32_t *x) {
    return x[0] != 0 && x[0] <= kPrimeDigits && !(x[0] == 1 && x[1] < 2);
}

// A context value of at most 32 digits (zero allowed).
bool fits(const uint32_t *x) {
    return x[0] <= kPrimeDigits;
}

// Bytes of the record of x.
uint32_t record_len(const uint32_t *x) {
    return lnmbitlen(x, 8) + 2;
}

// The shared checks of rsa_get_pubkey and rsa_get_privkey.
uint32_t check_key(const rsa_keygen_ctx *ctx, const uint8_t *buf) {
    if (ctx == nullptr || buf == nullptr) return RSA_ERR_ARG;
    if (!rsa_is_prermitted_modsize(ctx->bits)) return RSA_ERR_MODSIZE;
    if (!present(ctx->p) || !present(ctx->q)) return RSA_ERR_ARG;
    return RSA_OK;
}

void put_record(uint8_t *&out, const uint32_t *x) {
    out += save_rsa_key_prm(out, x);
}

}  // namespace

extern "C" {

LNCEXT_API uint32_t rsa_keygen_init(rsa_keygen_ctx *ctx, uint32_t bits) {
    if (ctx == nullptr) return RSA_ERR_ARG;
    if (!rsa_is_prermitted_modsize(bits)) return RSA_ERR_MODSIZE;
    std::memset(ctx, 0, sizeof *ctx);
    ctx->bits = bits;
    return RSA_OK;
}

LNCEXT_API uint32_t rsa_keygen(rsa_keygen_ctx *ctx, const uint8_t *rnd, uint32_t rnd_len) {
    if (ctx == nullptr) return RSA_ERR_ARG;
    const uint32_t bits = ctx->bits;
    if (!rsa_is_prermitted_modsize(bits)) return RSA_ERR_MODSIZE;
    const uint32_t h = bits / 16;
    if (rnd_len < h) return RSA_ERR_RND_SHORT;
    if (rnd == nullptr) return RSA_ERR_ARG;
    // A kept first prime that is not a number of the context's size means
    // the context was not made by rsa_keygen_init and rsa_keygen.
    if (!fits(ctx->p)) return RSA_ERR_ARG;

    // The candidate: the bytes as an odd number of exactly bits / 2 bits
    // (bits / 2 - 1 is the top bit when the bytes leave it clear).
    uint32_t x[kNumWords + 1];
    lnmfrombase256(x, rnd, h);
    if (x[0] == 0 || (x[1] & 1) == 0) lnmadd(x, LNMBIG_ONE);
    if (lnmbitlen(x, 1) < bits / 2) lnmaddb2(x, bits / 2 - 1);

    uint32_t result = RSA_NEED_MORE;
    if (find_prime_near(x) && rsa_prime_ok(x, bits)) {
        if (ctx->p[0] == 0) {
            lncext::bn::copy(ctx->p, x);
        } else if (lncext::bn::cmp(x, ctx->p) != 0) {
            // p is always the larger prime.
            if (lncext::bn::cmp(ctx->p, x) < 0) {
                lncext::bn::copy(ctx->q, ctx->p);
                lncext::bn::copy(ctx->p, x);
            } else {
                lncext::bn::copy(ctx->q, x);
            }
            rsa_gen_crt(ctx);
            result = RSA_OK;
        }
    }
    wipe(x);
    lncext::wipe_stack<lncext::kWipeStackPublicKey>();
    return result;
}

LNCEXT_API uint32_t rsa_gen_crt(rsa_keygen_ctx *ctx) {
    if (ctx == nullptr || !present(ctx->p) || !present(ctx->q)) return RSA_ERR_ARG;
    uint32_t pm1[kNumWords], qm1[kNumWords], g[kNumWords];
    uint32_t prod[kWideWords], lambda[kWideWords], rem[kWideWords];
    uint32_t d[LNMSI_WORDS], t[kWideWords];

    lncext::bn::copy(pm1, ctx->p);
    lnmsub(pm1, LNMBIG_ONE);
    lncext::bn::copy(qm1, ctx->q);
    lnmsub(qm1, LNMBIG_ONE);
    // lambda = lcm(p - 1, q - 1) = (p - 1)(q - 1) / gcd; the division is
    // exact.
    GCD(pm1, qm1, g);
    lnmmul(pm1, qm1, prod);
    lnmdiv(prod, g, lambda, rem);
    // d = e^-1 mod lambda, reduced by p - 1 and q - 1.
    lnmconvert(d, RSA_PUBLIC_EXPONENT);
    if (lncext::bn::cmp(d, lambda) >= 0) lnmdiv(d, lambda, nullptr, d);
    inv_mod_extgcd(d, lambda);
    lnmdiv(d, pm1, nullptr, t);
    lncext::bn::copy(ctx->dP, t);
    lnmdiv(d, qm1, nullptr, t);
    lncext::bn::copy(ctx->dQ, t);
    // qInv = q^-1 mod p, from q mod p (q < p in a generated key).
    lncext::bn::copy(g, ctx->p);
    lnmdiv(ctx->q, g, nullptr, t);
    inv_mod_extgcd(t, ctx->p);
    lncext::bn::copy(ctx->qInv, t);

    wipe(pm1);
    wipe(qm1);
    wipe(g);
    wipe(prod);
    wipe(lambda);
    wipe(rem);
    wipe(d);
    wipe(t);
    lncext::wipe_stack<lncext::kWipeStackPublicKey>();
    return RSA_OK;
}

LNCEXT_API uint32_t rsa_get_pubkey(const rsa_keygen_ctx *ctx, uint8_t *buf, uint32_t buf_len) {
    const uint32_t check = check_key(ctx, buf);
    if (check != RSA_OK) return check;
    uint32_t n[kWideWords], e[2];
    lnmmul(ctx->p, ctx->q, n);
    lnmconvert(e, RSA_PUBLIC_EXPONENT);
    // A generated key needs exactly bits / 8 + 7 bytes; a context filled by
    // hand may hold a longer modulus, which must fit as well.
    const uint32_t need = record_len(n) + record_len(e);
    if (buf_len < RSA_PUBKEY_BYTES(ctx->bits) || buf_len < need) return RSA_ERR_BUF_SHORT;
    uint8_t *out = buf;
    put_record(out, n);
    put_record(out, e);
    return RSA_OK;
}

LNCEXT_API uint32_t rsa_get_privkey(const rsa_keygen_ctx *ctx, uint8_t *buf, uint32_t buf_len) {
    const uint32_t check = check_key(ctx, buf);
    if (check != RSA_OK) return check;
    const uint32_t *parts[] = {ctx->p, ctx->q, ctx->dP, ctx->dQ, ctx->qInv};
    uint32_t need = 0;
    for (const uint32_t *x : parts) {
        if (!fits(x)) return RSA_ERR_ARG;
        need += record_len(x);
    }
    if (buf_len < RSA_PRIVKEY_BYTES(ctx->bits) || buf_len < need) return RSA_ERR_BUF_SHORT;
    uint8_t *out = buf;
    for (const uint32_t *x : parts) put_record(out, x);
    return RSA_OK;
}

LNCEXT_API int save_rsa_key_prm(uint8_t *rec, const uint32_t *x) {
    const uint32_t len = lnmbitlen(x, 8);
    rec[0] = uint8_t(len >> 8);
    rec[1] = uint8_t(len);
    if (len > RSA_RECORD_MAX) return -1;
    lnmtobase256(rec + 2, len, x);
    return int(len) + 2;
}

LNCEXT_API int load_rsa_key_prm(uint32_t *x, const uint8_t *rec) {
    const uint32_t len = uint32_t(rec[0]) << 8 | rec[1];
    if (len > RSA_RECORD_MAX) return -1;
    lnmfrombase256(x, rec + 2, len);
    return int(len) + 2;
}

}  // extern "C"
