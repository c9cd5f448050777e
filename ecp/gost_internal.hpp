// Byte-string handling shared by GOST R 34.10-2001 signing and VKO: numbers
// read from big-endian fields, range checks against q, reduction modulo q by
// a private copy, and the public-key check.
#pragma once

#include <cstdint>
#include <cstring>

#include "ecp/ecp_internal.hpp"

namespace lncext::ecp {

constexpr uint32_t kNumberBytes = RDS_NUMBER_BYTES;
// A product of two numbers below 2^256 with the room lnmdiv wants for its
// remainder (dividend words + 3).
constexpr uint32_t kProductRoom = 2 * 8 + 4;

inline void read_number(uint32_t *r, const uint8_t *in, uint32_t len = kNumberBytes) {
    lnmfrombase256(r, in, len);
}

// Zero-fills the 32-byte field and ends a's minimal big-endian bytes at its
// last byte.
inline void write_right(uint8_t *out, const uint32_t *a) {
    std::memset(out, 0, kNumberBytes);
    const uint32_t n = lnmbitlen(a, 8);
    if (n != 0) lnmtobase256(out + kNumberBytes - n, n, a);
}

// 0 < a < q.
inline bool in_range(const uint32_t *a, const uint32_t *q) {
    return a[0] != 0 && lncext::bn::cmp(a, q) < 0;
}

// a = a mod q (a has room for its words + 3), dividing by a copy of q so
// that the context is never written.
inline void mod_q(const rds_ctx *ctx, uint32_t *a) {
    if (lncext::bn::cmp(a, ctx->q) < 0) return;
    uint32_t q[kWords + 2];
    lncext::bn::copy(q, ctx->q);
    lnmdiv(a, q, nullptr, a);
}

// r = (a b) mod q, or (a b + c d) mod q when c and d are given: full
// products, summed and reduced once.
inline void mul_mod_q(const rds_ctx *ctx, const uint32_t *a, const uint32_t *b, uint32_t *r,
                      const uint32_t *c = nullptr, const uint32_t *d = nullptr) {
    uint32_t s[kProductRoom], t[kProductRoom];
    lnmmul(a, b, s);
    if (c != nullptr) {
        lnmmul(c, d, t);
        lnmadd(s, t);
    }
    mod_q(ctx, s);
    lncext::bn::copy(r, s);
    secure_wipe(s, sizeof s);
    secure_wipe(t, sizeof t);
}

// The hash value as e = hash mod q, with 0 taken as 1.
inline void read_hash(const rds_ctx *ctx, const uint8_t *hash, uint32_t *e) {
    read_number(e, hash);
    mod_q(ctx, e);
    if (e[0] == 0) lnmconvert(e, 1);
}

// Q from a 64-byte public key x || y: both coordinates below p and the point
// on the curve (0, 0 is the point at infinity and passes).
inline uint32_t read_public(const rds_ctx *ctx, const uint8_t *pub, lnmec_point *Q) {
    uint32_t x[kWords], y[kWords];
    read_number(x, pub);
    read_number(y, pub + kNumberBytes);
    const uint32_t *p = ctx->curve.field.modulus;
    if (lncext::bn::cmp(x, p) >= 0 || lncext::bn::cmp(y, p) >= 0) return RDS_BAD_PUBLIC_KEY;
    if (lnmecpcr(&ctx->curve, Q, x, y) == nullptr) return RDS_BAD_PUBLIC_KEY;
    return RDS_OK;
}

// pub = x || y of the point R (all zero for the point at infinity).
inline void write_point(const rds_ctx *ctx, lnmec_point *R, uint8_t *pub) {
    uint32_t x[kWords], y[kWords];
    lnmecpxy(&ctx->curve, R, x, y);
    write_right(pub, x);
    write_right(pub + kNumberBytes, y);
}

}  // namespace lncext::ecp
