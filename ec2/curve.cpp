// Curves y^2 + x y = x^3 + a x^2 + b over GF(2^m) with a in {0, 1}: the
// context with its field routines, field multiplication, squaring and
// inversion through them, the trace and the quadratic solver, and the group
// law on points in López-Dahab coordinates (x, y) = (X / Z, Y / Z^2).
#include <array>
#include <bit>
#include <cstring>

#include "common/wipe.hpp"
#include "ec2/curve_internal.hpp"

namespace lncext::ec2 {
namespace {

using Elem = std::array<uint32_t, kElemWords>;

// Room of an unreduced product: count word plus 28 coefficient words.
constexpr uint32_t kProductWords = 29;

// One supported field: degree, middle exponents, and its three routines.
struct Field {
    uint32_t m, k1, k2, k3;
    lnme2_mul_fn mul;
    lnme2_sqr_fn sqr;
    lnme2_reduce_fn reduce;
};

const Field kFields[] = {
    {163, 7, 6, 3, pmult192x192, psqr192x192, reduce163_7_6_3_1},
    {191, 9, 0, 0, pmult192x192, psqr192x192, reduce191_9_1},
    {257, 12, 0, 0, pmult257x257, psqr288x288, reduce257_12_1},
    {431, 5, 3, 1, pmult448x448, psqr448x448, reduce431_5_3_1},
};

// The fields are told apart by k1 first, as every k1 belongs to one field.
const Field *find_field(uint32_t m, uint32_t k1, uint32_t k2, uint32_t k3) {
    for (const Field &f : kFields)
        if (f.k1 == k1) return f.m == m && f.k2 == k2 && f.k3 == k3 ? &f : nullptr;
    return nullptr;
}

// The trace is GF(2)-linear, Tr(x) = sum of x_i Tr(x^i), and Tr(x^i) is the
// power sum s_i of the roots of the field polynomial f. Newton's identities
// over GF(2) give them from f's coefficients: with f = x^m + c_1 x^(m-1) +
// ... + c_m, s_k = c_1 s_(k-1) + ... + c_(k-1) s_1 + k c_k, and s_0 = m mod 2.
// The mask of exponents with Tr(x^i) = 1 is built at compile time.
struct TraceMask {
    std::array<uint32_t, 14> w{};
};

constexpr TraceMask trace_mask(uint32_t m, uint32_t k1, uint32_t k2, uint32_t k3) {
    // c[j] = coefficient of x^(m - j) of f.
    std::array<uint8_t, 449> c{};
    std::array<uint8_t, 449> s{};
    auto set = [&](uint32_t e) { c[m - e] ^= 1; };
    set(0);
    set(k1);
    if (k2 != 0) {
        set(k2);
        set(k3);
    }
    s[0] = uint8_t(m & 1);
    for (uint32_t k = 1; k < m; ++k) {
        uint8_t v = uint8_t((k & 1) & c[k]);
        for (uint32_t j = 1; j < k; ++j) v ^= uint8_t(c[j] & s[k - j]);
        s[k] = v;
    }
    TraceMask t;
    for (uint32_t i = 0; i < m; ++i)
        if (s[i]) t.w[i / 32] |= 1u << (i % 32);
    return t;
}

constexpr TraceMask kTrace163 = trace_mask(163, 7, 6, 3);
constexpr TraceMask kTrace191 = trace_mask(191, 9, 0, 0);
constexpr TraceMask kTrace257 = trace_mask(257, 12, 0, 0);
constexpr TraceMask kTrace431 = trace_mask(431, 5, 3, 1);
// Tr(1) = m mod 2 = 1 for odd m; in these fields the trace depends on one or
// two coefficients: x^0 and x^157 (m = 163), x^0 (m = 191), x^0 and x^245
// (m = 257), x^0 (m = 431).
constexpr bool only_bits(const TraceMask &t, uint32_t i, uint32_t j) {
    TraceMask e;
    e.w[i / 32] |= 1u << (i % 32);
    e.w[j / 32] |= 1u << (j % 32);
    return t.w == e.w;
}
static_assert(only_bits(kTrace163, 0, 157));
static_assert(only_bits(kTrace191, 0, 0));
static_assert(only_bits(kTrace257, 0, 245));
static_assert(only_bits(kTrace431, 0, 0));

const TraceMask *trace_mask_of(uint32_t m) {
    switch (m) {
        case 163:
            return &kTrace163;
        case 191:
            return &kTrace191;
        case 257:
            return &kTrace257;
        case 431:
            return &kTrace431;
        default:
            return nullptr;
    }
}

void set_one(const lnme2_ctx *ctx, uint32_t *p) {
    lnm2pclear(p, ctx->m);
    p[1] = 1;
}

}  // namespace

uint32_t lnme2bftrace(const lnme2_ctx *ctx, const uint32_t *x) {
    const uint32_t n = field_words(ctx);
    if (const TraceMask *t = trace_mask_of(ctx->m)) {
        uint32_t acc = 0;
        for (uint32_t i = 0; i < n; ++i) acc ^= x[i + 1] & t->w[i];
        return uint32_t(std::popcount(acc) & 1);
    }
    // The defining sum, for a context the table does not know.
    Elem t;
    lnm2pclear(t.data(), ctx->m);
    lnm2pcopy(t.data(), x);
    for (uint32_t i = 1; i < ctx->m; ++i) {
        lnme2bfsqr(ctx, t.data(), t.data());
        lnm2add(t.data(), t.data(), x);
    }
    return t[1] & 1;
}

int lnme2bfsolve(const lnme2_ctx *ctx, uint32_t *z, const uint32_t *u, const uint32_t *w) {
    if (lnm2p_is_zero(u)) {
        // The square root: squaring is a permutation of order m, so
        // sqrt(w) = w^(2^(m-1)).
        Elem t;
        lnm2pclear(t.data(), ctx->m);
        lnm2pcopy(t.data(), w);
        for (uint32_t i = 1; i < ctx->m; ++i) lnme2bfsqr(ctx, t.data(), t.data());
        lnm2pcopy(z, t.data());
        return 1;
    }
    if (lnm2p_is_zero(w)) {
        lnm2pclear(z, ctx->m);
        return 2;
    }
    // z = u z' turns the equation into z'^2 + z' = t with t = w / u^2, which
    // has a solution exactly when Tr(t) = 0; for odd m the half-trace
    // sum of t^(4^i), i = 0 .. (m - 1) / 2, is one.
    Elem t, h;
    lnm2pclear(t.data(), ctx->m);
    lnm2pclear(h.data(), ctx->m);
    const bool unit = lnm2p_is_one(u);
    if (unit) {
        lnm2pcopy(t.data(), w);
    } else {
        lnme2bfinv(ctx, t.data(), u);
        lnme2bfsqr(ctx, t.data(), t.data());
        lnme2bfmul(ctx, t.data(), t.data(), w);
    }
    if (lnme2bftrace(ctx, t.data()) == 1) {
        lnm2pclear(z, ctx->m);
        return 0;
    }
    lnm2pcopy(h.data(), t.data());
    for (uint32_t i = 0; i < (ctx->m - 1) / 2; ++i) {
        lnme2bfsqr(ctx, h.data(), h.data());
        lnme2bfsqr(ctx, h.data(), h.data());
        lnm2add(h.data(), h.data(), t.data());
    }
    if (unit)
        lnm2pcopy(z, h.data());
    else
        lnme2bfmul(ctx, z, h.data(), u);
    return 2;
}

}  // namespace lncext::ec2

using namespace lncext::ec2;

extern "C" {

lnme2_ctx *lnme2cr(lnme2_ctx *ctx, uint32_t m, uint32_t k1, uint32_t k2, uint32_t k3, uint32_t a,
                   const uint8_t *bbytes) {
    if (ctx == nullptr || bbytes == nullptr) return nullptr;
    ctx->m = m;
    ctx->k1 = k1;
    ctx->k2 = k2;
    ctx->k3 = k3;
    if (a > 1) return nullptr;
    ctx->a = a;
    // The field is looked up before b is read: (m + 8) / 8 bytes of b fit an
    // element record only for the supported degrees.
    const Field *f = find_field(m, k1, k2, k3);
    if (f == nullptr) return nullptr;
    lnm2pclear(ctx->b, m);
    lnm2pfromb(ctx->b, bbytes, int((m + 8) / 8));
    if (lnm2p_is_zero(ctx->b) || uint32_t(lnm2p_deg(ctx->b)) >= m) return nullptr;
    ctx->mul = f->mul;
    ctx->sqr = f->sqr;
    ctx->reduce = f->reduce;
    return ctx;
}

void lnme2cl(lnme2_ctx *ctx) {
    if (ctx != nullptr) lncext::secure_wipe(ctx, sizeof *ctx);
}

uint32_t *lnme2bfmul(const lnme2_ctx *ctx, uint32_t *out, const uint32_t *a, const uint32_t *b) {
    // Every multiplier writes all the words its reducer reads, except that
    // pmult257x257 only sets product words 16 and 17 conditionally: those two
    // start at zero.
    uint32_t area[kProductWords];
    const uint32_t n = field_words(ctx);
    area[0] = n;
    area[17] = area[18] = 0;
    ctx->mul(area + 1, a + 1, b + 1);
    ctx->reduce(area + 1);
    product_copy(n, out, area);
    return out;
}

uint32_t *lnme2bfsqr(const lnme2_ctx *ctx, uint32_t *out, const uint32_t *a) {
    // The squarer writes every word the reducer reads.
    uint32_t area[kProductWords];
    const uint32_t n = field_words(ctx);
    area[0] = n;
    ctx->sqr(area + 1, a + 1);
    ctx->reduce(area + 1);
    product_copy(n, out, area);
    return out;
}

uint32_t *lnme2bfinv(const lnme2_ctx *ctx, uint32_t *out, const uint32_t *a) {
    return lnm2invm(out, a, ctx->m, ctx->k1, ctx->k2, ctx->k3);
}

lnme2_point *lnme2pcr(const lnme2_ctx *ctx, lnme2_point *P, const uint32_t *x, const uint32_t *y) {
    if (ctx == nullptr || P == nullptr) return nullptr;
    // Coordinates must be field elements: of degree below m.
    if ((x != nullptr && uint32_t(lnm2p_deg(x)) >= ctx->m) ||
        (y != nullptr && uint32_t(lnm2p_deg(y)) >= ctx->m))
        return nullptr;
    // The coordinates may live in P itself: take them before P is cleared.
    Elem xs, ys;
    if (x != nullptr) {
        lnm2pclear(xs.data(), ctx->m);
        lnm2pcopy(xs.data(), x);
    }
    lnm2pclear(ys.data(), ctx->m);
    if (y != nullptr) lnm2pcopy(ys.data(), y);
    lnm2pclear(P->X, ctx->m);
    lnm2pclear(P->Y, ctx->m);
    lnm2pclear(P->Z, ctx->m);
    if (x == nullptr && y == nullptr) return P;
    Elem t1, t2;
    lnm2pclear(t1.data(), ctx->m);
    lnm2pclear(t2.data(), ctx->m);
    if (x != nullptr && y == nullptr) {
        // y solves y^2 + x y = x^3 + a x^2 + b = x^2 (x + a) + b.
        lnme2bfsqr(ctx, P->Y, xs.data());
        lnm2pcopy(t1.data(), xs.data());
        if (ctx->a == 1) lnm2pinc(t1.data());
        lnme2bfmul(ctx, t1.data(), t1.data(), P->Y);
        lnm2add(t1.data(), t1.data(), ctx->b);
        const int solved = lnme2bfsolve(ctx, ys.data(), xs.data(), t1.data());
        lncext::secure_wipe(t1.data(), sizeof t1);
        if (solved == 0) {
            lnm2pcopy(P->X, xs.data());
            lnm2pclear(P->Y, ctx->m);
            return nullptr;
        }
    }
    if (x != nullptr) lnm2pcopy(P->X, xs.data());
    lnm2pcopy(P->Y, ys.data());
    set_one(ctx, P->Z);
    // The curve equation: (X + Y) Y = X^2 (X + a) + b.
    lnme2bfsqr(ctx, t1.data(), P->X);
    lnm2pcopy(t2.data(), P->X);
    if (ctx->a == 1) lnm2pinc(t2.data());
    lnme2bfmul(ctx, t2.data(), t2.data(), t1.data());
    lnm2add(t2.data(), t2.data(), ctx->b);
    lnm2add(t1.data(), P->X, P->Y);
    lnme2bfmul(ctx, t1.data(), t1.data(), P->Y);
    return lnm2p_is_equal(t1.data(), t2.data()) ? P : nullptr;
}

void lnme2pcl(lnme2_point *P) {
    if (P != nullptr) lncext::secure_wipe(P, sizeof *P);
}

lnme2_point *lnme2pcp(const lnme2_ctx *, lnme2_point *R, const lnme2_point *P) {
    if (R != P) {
        lnm2pcopy(R->X, P->X);
        lnm2pcopy(R->Y, P->Y);
        lnm2pcopy(R->Z, P->Z);
    }
    return R;
}

int lnme2p_is_inf(const lnme2_ctx *, const lnme2_point *P) {
    return lnm2p_is_zero(P->Z);
}

int lnme2pxy(const lnme2_ctx *ctx, lnme2_point *P, uint32_t *x, uint32_t *y) {
    if (lnm2p_is_zero(P->Z)) {
        if (x != nullptr) lnm2pclear(x, ctx->m);
        if (y != nullptr) lnm2pclear(y, ctx->m);
        return 0;
    }
    if (!lnm2p_is_one(P->Z)) {
        Elem t;
        lnm2pclear(t.data(), ctx->m);
        lnme2bfinv(ctx, t.data(), P->Z);
        lnme2bfmul(ctx, P->X, P->X, t.data());
        lnme2bfsqr(ctx, t.data(), t.data());
        lnme2bfmul(ctx, P->Y, P->Y, t.data());
        set_one(ctx, P->Z);
    }
    if (x != nullptr) lnm2pcopy(x, P->X);
    if (y != nullptr) lnm2pcopy(y, P->Y);
    return 1;
}

lnme2_point *lnme2pneg(const lnme2_ctx *ctx, lnme2_point *P) {
    // -(x, y) = (x, x + y): Y + X Z in López-Dahab coordinates.
    Elem t;
    lnm2pclear(t.data(), ctx->m);
    lnme2bfmul(ctx, t.data(), P->X, P->Z);
    lnm2add(P->Y, P->Y, t.data());
    return P;
}

lnme2_point *lnme2pd(const lnme2_ctx *ctx, lnme2_point *R, const lnme2_point *P) {
    if (lnm2p_is_zero(P->Z)) return lnme2pcr(ctx, R, nullptr, nullptr);
    // Every input coordinate is read before R's coordinate of the same name
    // is written, so R may be P. Z3 = X1^2 Z1^2, X3 = X1^4 + b Z1^4,
    // Y3 = b Z1^4 Z3 + X3 (a Z3 + Y1^2 + b Z1^4).
    const uint32_t n = field_words(ctx);
    Elem t1, t2;
    t1[0] = t2[0] = n;
    R->X[0] = R->Y[0] = R->Z[0] = n;
    lnme2bfsqr(ctx, t1.data(), P->Z);
    lnme2bfsqr(ctx, t2.data(), P->X);
    lnme2bfmul(ctx, R->Z, t1.data(), t2.data());
    lnme2bfsqr(ctx, R->X, t2.data());
    lnme2bfsqr(ctx, t1.data(), t1.data());
    lnme2bfmul(ctx, t2.data(), t1.data(), ctx->b);
    elem_add(n, R->X, R->X, t2.data());
    lnme2bfsqr(ctx, t1.data(), P->Y);
    if (ctx->a == 1) elem_add(n, t1.data(), t1.data(), R->Z);
    elem_add(n, t1.data(), t1.data(), t2.data());
    lnme2bfmul(ctx, R->Y, R->X, t1.data());
    lnme2bfmul(ctx, t1.data(), t2.data(), R->Z);
    elem_add(n, R->Y, R->Y, t1.data());
    return R;
}

lnme2_point *lnme2pa(const lnme2_ctx *ctx, lnme2_point *R, const lnme2_point *P, const uint32_t *x2,
                     const uint32_t *y2) {
    if (lnm2p_is_zero(x2) && lnm2p_is_zero(y2)) return lnme2pcp(ctx, R, P);
    if (lnm2p_is_zero(P->Z)) return lnme2pcr(ctx, R, x2, y2);
    const uint32_t n = field_words(ctx);
    Elem t1, t2, t3;
    t1[0] = t2[0] = t3[0] = n;
    R->X[0] = R->Y[0] = R->Z[0] = n;
    // B = X1 + x2 Z1, C = Z1 B, A = Y1 + y2 Z1^2.
    lnme2bfmul(ctx, t1.data(), P->Z, x2);
    lnme2bfsqr(ctx, t2.data(), P->Z);
    elem_add(n, R->X, P->X, t1.data());
    lnme2bfmul(ctx, t1.data(), P->Z, R->X);
    lnme2bfmul(ctx, t3.data(), t2.data(), y2);
    elem_add(n, R->Y, P->Y, t3.data());
    if (!elem_is_zero(n, R->X)) {
        // Z3 = C^2, E = A C, D = B^2 (C + a Z1^2), X3 = A^2 + D + E,
        // F = X3 + x2 Z3, G = (x2 + y2) Z3^2, Y3 = (E + Z3) F + G.
        lnme2bfsqr(ctx, R->Z, t1.data());
        lnme2bfmul(ctx, t3.data(), t1.data(), R->Y);
        if (ctx->a == 1) elem_add(n, t1.data(), t1.data(), t2.data());
        lnme2bfsqr(ctx, t2.data(), R->X);
        lnme2bfmul(ctx, R->X, t2.data(), t1.data());
        lnme2bfsqr(ctx, t2.data(), R->Y);
        elem_add(n, R->X, R->X, t2.data());
        elem_add(n, R->X, R->X, t3.data());
        lnme2bfmul(ctx, t2.data(), x2, R->Z);
        elem_add(n, t2.data(), t2.data(), R->X);
        lnme2bfsqr(ctx, t1.data(), R->Z);
        elem_add(n, t3.data(), t3.data(), R->Z);
        lnme2bfmul(ctx, R->Y, t3.data(), t2.data());
        elem_add(n, t2.data(), x2, y2);
        lnme2bfmul(ctx, t3.data(), t1.data(), t2.data());
        elem_add(n, R->Y, R->Y, t3.data());
        return R;
    }
    // B = 0: the same x. A != 0: the points are negatives of each other;
    // A = 0: the same point, doubled.
    if (!elem_is_zero(n, R->Y)) return lnme2pcr(ctx, R, nullptr, nullptr);
    if (lnme2pcr(ctx, R, x2, y2) == nullptr) return nullptr;
    return lnme2pd(ctx, R, R);
}

lnme2_point *lnme2paa(const lnme2_ctx *ctx, lnme2_point *R, const lnme2_point *P,
                      const lnme2_point *Q) {
    if (lnm2p_is_zero(Q->Z)) return lnme2pcp(ctx, R, P);
    if (lnm2p_is_zero(P->Z)) return lnme2pcp(ctx, R, Q);
    if (R == Q) {
        // The steps below write R before they are done reading Q.
        lnme2_point q;
        lnme2pcr(ctx, &q, nullptr, nullptr);
        lnme2pcp(ctx, &q, Q);
        return lnme2paa(ctx, R, P, &q);
    }
    return lnme2pa(ctx, R, P, Q->X, Q->Y);
}

}  // extern "C"
