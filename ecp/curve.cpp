// Points of y^2 = x^3 + a x + b over GF(p) in Jacobian coordinates: (X, Y, Z)
// stands for (X / Z^2, Y / Z^3), Z = 0 is the point at infinity. All field
// arithmetic goes through the slots of the embedded field context, so the
// same group law serves both field representations.
//
// Each operation computes into locals and writes its result record last, so
// the result may be any of the inputs.
#include <cstdint>
#include <cstring>

#include "ecp/ecp_internal.hpp"

namespace {

using namespace lncext::ecp;
using lncext::bn::cmp;
using lncext::bn::copy;

// M = 3 X^2 + a Z^4 for any a.
void slope_general(const lnmec_ctx *ctx, const lnmec_point *P, uint32_t *M) {
    const lnmpff_ctx *f = &ctx->field;
    Elem t, x2;
    f->sqr(f, P->Z, t);
    f->sqr(f, t, t);
    f->mul(f, ctx->a, t, t);
    f->sqr(f, P->X, x2);
    f->add(f, x2, x2, M);
    f->add(f, M, x2, M);
    f->add(f, M, t, M);
}

// M = 3 (X - Z^2)(X + Z^2) = 3 X^2 - 3 Z^4, the same slope when a = -3.
void slope_minus3(const lnmec_ctx *ctx, const lnmec_point *P, uint32_t *M) {
    const lnmpff_ctx *f = &ctx->field;
    Elem t, u, v;
    f->sqr(f, P->Z, t);
    f->sub(f, P->X, t, u);
    f->add(f, P->X, t, v);
    f->mul(f, u, v, t);
    f->add(f, t, t, M);
    f->add(f, M, t, M);
}

// The doubling once the slope M is known: 3 multiplications, 3 squarings
// besides it.
template <void (*Slope)(const lnmec_ctx *, const lnmec_point *, uint32_t *)>
lnmec_point *double_point(const lnmec_ctx *ctx, lnmec_point *R, const lnmec_point *P) {
    if (is_zero(P->Z) || is_zero(P->Y)) {
        set_infinity(ctx, R);
        return R;
    }
    const lnmpff_ctx *f = &ctx->field;
    Elem M, y, t, s;
    Slope(ctx, P, M);
    f->add(f, P->Y, P->Y, y);  // 2Y
    f->sqr(f, y, t);           // 4Y^2
    f->mul(f, t, P->X, s);     // S = 4XY^2
    // P is read for the last time here, so R (which may be P) takes the
    // results directly.
    f->mul(f, y, P->Z, R->Z);  // Z3 = 2YZ
    f->sqr(f, t, t);           // 16Y^4
    f->div2(f, t, t);          // 8Y^4
    f->sqr(f, M, R->X);
    f->sub(f, R->X, s, R->X);
    f->sub(f, R->X, s, R->X);  // X3 = M^2 - 2S
    f->sub(f, s, R->X, s);
    f->mul(f, M, s, s);
    f->sub(f, s, t, R->Y);  // Y3 = M (S - X3) - 8Y^4
    return R;
}

}  // namespace

extern "C" {

LNCEXT_API lnmec_ctx *lnmeccr(lnmec_ctx *ctx, const uint32_t *p, const uint32_t *a,
                              const uint32_t *b) {
    if (ctx == nullptr || p == nullptr || a == nullptr || b == nullptr) return nullptr;
    std::memset(ctx, 0, sizeof *ctx);
    const lnmpff_ctx *f = lnmpff_init(&ctx->field, p);
    if (f == nullptr) return nullptr;
    f->in(f, ctx->a, a);
    f->in(f, ctx->b, b);
    // The cheaper doubling needs a = -3 exactly; a is compared as given (an
    // a longer than p cannot be p - 3).
    ctx->dbl = lnmecpd;
    if (a[0] <= p[0]) {
        uint32_t a3[kWords + 2];
        copy(a3, a);
        lnmadd(a3, LNMBIG_THREE);
        if (cmp(a3, p) == 0) ctx->dbl = lnmecpd_3;
    }
    return ctx;
}

LNCEXT_API void lnmeccl(lnmec_ctx *ctx) {
    if (ctx != nullptr) lncext::secure_wipe(ctx, sizeof *ctx);
}

LNCEXT_API lnmec_point *lnmecpcr(const lnmec_ctx *ctx, lnmec_point *P, const uint32_t *x,
                                 const uint32_t *y) {
    if (ctx == nullptr || P == nullptr) return nullptr;
    const lnmpff_ctx *f = &ctx->field;
    std::memset(P, 0, sizeof *P);
    if (x != nullptr) f->in(f, P->X, x);
    if (y != nullptr) f->in(f, P->Y, y);
    if (is_zero(P->X) && is_zero(P->Y)) {
        set_infinity(ctx, P);
        return P;
    }
    f->setone(f, P->Z);
    // (X^2 + a) X + b against Y^2.
    Elem t, u;
    f->sqr(f, P->X, t);
    f->add(f, t, ctx->a, t);
    f->mul(f, t, P->X, t);
    f->add(f, t, ctx->b, t);
    f->sqr(f, P->Y, u);
    if (cmp(t, u) == 0) return P;
    std::memset(P, 0, sizeof *P);
    return nullptr;
}

LNCEXT_API void lnmecpcl(lnmec_point *P) {
    if (P != nullptr) wipe_point(P);
}

LNCEXT_API int lnmecpxy(const lnmec_ctx *ctx, lnmec_point *P, uint32_t *x, uint32_t *y) {
    const lnmpff_ctx *f = &ctx->field;
    if (is_zero(P->Z)) {
        if (x != nullptr) x[0] = 0;
        if (y != nullptr) y[0] = 0;
        return 0;
    }
    Elem t, u;
    f->inv(f, P->Z, t);
    f->sqr(f, t, u);
    f->mul(f, P->X, u, P->X);
    if (x != nullptr) f->out(f, x, P->X);
    f->mul(f, t, u, t);
    f->mul(f, P->Y, t, P->Y);
    if (y != nullptr) f->out(f, y, P->Y);
    f->setone(f, P->Z);
    return 1;
}

LNCEXT_API lnmec_point *lnmecpneg(const lnmec_ctx *ctx, lnmec_point *P) {
    if (lnmecpxy(ctx, P, nullptr, nullptr) == 0) return P;
    // p - Y is the negation in either representation.
    const lnmpff_ctx *f = &ctx->field;
    f->sub(f, LNMBIG_ZERO, P->Y, P->Y);
    return P;
}

LNCEXT_API lnmec_point *lnmecpa(const lnmec_ctx *ctx, lnmec_point *R, const lnmec_point *P,
                                const lnmec_point *Q) {
    if (is_zero(P->Z)) {
        copy_point(R, Q);
        return R;
    }
    if (is_zero(Q->Z)) {
        copy_point(R, P);
        return R;
    }
    const lnmpff_ctx *f = &ctx->field;
    Elem z1s, z2s, u1, u2, s1, s2, w, t, r, m;
    f->sqr(f, P->Z, z1s);
    f->sqr(f, Q->Z, z2s);
    f->mul(f, P->X, z2s, u1);  // U1 = X1 Z2^2
    f->mul(f, Q->X, z1s, u2);  // U2 = X2 Z1^2
    f->mul(f, z2s, Q->Z, s1);
    f->mul(f, P->Y, s1, s1);  // S1 = Y1 Z2^3
    f->mul(f, z1s, P->Z, s2);
    f->mul(f, Q->Y, s2, s2);  // S2 = Y2 Z1^3
    f->sub(f, u1, u2, w);
    f->add(f, u1, u2, t);
    f->sub(f, s1, s2, r);
    if (is_zero(w) && is_zero(r)) return ctx->dbl(ctx, R, P);
    f->add(f, s1, s2, m);
    if (is_zero(w) && is_zero(m)) {
        set_infinity(ctx, R);
        return R;
    }
    // P and Q are read for the last time here; R (which may be either) takes
    // the results directly. z2s, u1, u2, s1, s2 are free from here on.
    f->mul(f, P->Z, Q->Z, z2s);
    f->mul(f, z2s, w, R->Z);  // Z3 = Z1 Z2 W
    f->sqr(f, w, u1);         // W^2
    f->mul(f, t, u1, u2);     // T W^2
    f->mul(f, u1, w, u1);     // W^3
    f->sqr(f, r, s1);
    f->sub(f, s1, u2, R->X);  // X3 = r^2 - T W^2
    f->sub(f, u2, R->X, u2);
    f->sub(f, u2, R->X, u2);  // V = T W^2 - 2 X3
    f->mul(f, r, u2, s2);
    f->mul(f, m, u1, u1);
    f->sub(f, s2, u1, s2);
    f->div2(f, s2, R->Y);  // Y3 = (r V - M W^3) / 2
    return R;
}

LNCEXT_API lnmec_point *lnmecpd(const lnmec_ctx *ctx, lnmec_point *R, const lnmec_point *P) {
    return double_point<slope_general>(ctx, R, P);
}

LNCEXT_API lnmec_point *lnmecpd_3(const lnmec_ctx *ctx, lnmec_point *R, const lnmec_point *P) {
    return double_point<slope_minus3>(ctx, R, P);
}

}  // extern "C"
