// Scalar multiplication on binary curves: odd-multiple tables in affine form,
// the left-to-right sliding window as a resumable state advanced one window
// per call, the one-call forms, k1 P1 + k2 P2, and point compression.
#include <array>
#include <cstring>

#include "bignum/window.hpp"
#include "common/wipe.hpp"
#include "ec2/curve_internal.hpp"

namespace lncext::ec2 {
namespace {

using Elem = std::array<uint32_t, kElemWords>;

// Points normalised together by one inversion when a table is built: the
// whole width-6 table after its first entry.
constexpr uint32_t kBatch = 31;

// Entries of an odd-multiple table of width w.
uint32_t table_entries(uint32_t w) {
    return w < 2 ? 2u : 1u << (w - 1);
}

uint32_t *entry_x(uint32_t *table, uint32_t i) {
    return table + 2 * kElemWords * i;
}
const uint32_t *entry_x(const uint32_t *table, uint32_t i) {
    return table + 2 * kElemWords * i;
}

// Writes the affine forms of the projective points U[0..count) to the table
// entries first..first + count with one inversion (Montgomery's trick: the
// inverse of the product of all Z, then each 1 / Z_j peeled off by the
// prefix products). Z = 0 anywhere falls back to one inversion per point.
void store_affine(const lnme2_ctx *ctx, uint32_t *table, uint32_t first, lnme2_point *U,
                  uint32_t count) {
    bool finite = true;
    for (uint32_t j = 0; j < count; ++j) finite = finite && !lnm2p_is_zero(U[j].Z);
    if (!finite) {
        for (uint32_t j = 0; j < count; ++j) {
            uint32_t *x = entry_x(table, first + j);
            lnme2pxy(ctx, &U[j], lnm2pclear(x, ctx->m), lnm2pclear(x + kElemWords, ctx->m));
        }
        return;
    }
    std::array<Elem, kBatch> prefix;
    Elem inv, zinv, t;
    lnm2pclear(inv.data(), ctx->m);
    lnm2pclear(zinv.data(), ctx->m);
    lnm2pclear(t.data(), ctx->m);
    lnm2pclear(prefix[0].data(), ctx->m);
    lnm2pcopy(prefix[0].data(), U[0].Z);
    for (uint32_t j = 1; j < count; ++j) {
        lnm2pclear(prefix[j].data(), ctx->m);
        lnme2bfmul(ctx, prefix[j].data(), prefix[j - 1].data(), U[j].Z);
    }
    lnme2bfinv(ctx, inv.data(), prefix[count - 1].data());
    for (uint32_t j = count; j-- > 0;) {
        if (j > 0) {
            lnme2bfmul(ctx, zinv.data(), inv.data(), prefix[j - 1].data());
            lnme2bfmul(ctx, inv.data(), inv.data(), U[j].Z);
        } else {
            lnm2pcopy(zinv.data(), inv.data());
        }
        uint32_t *x = lnm2pclear(entry_x(table, first + j), ctx->m);
        uint32_t *y = lnm2pclear(x + kElemWords, ctx->m);
        lnme2bfmul(ctx, x, U[j].X, zinv.data());
        lnme2bfsqr(ctx, t.data(), zinv.data());
        lnme2bfmul(ctx, y, U[j].Y, t.data());
    }
}

// Sliding-window digits of k placed at the lowest bit of each window:
// digit[i] = v when a window of value v ends at bit i, else 0.
void window_digits(const uint32_t *k, uint32_t w, uint8_t *digit, uint32_t size) {
    std::memset(digit, 0, size);
    uint32_t left = bn::bit_length(k);
    while (left > 0) {
        uint32_t len;
        const uint32_t v = bn::slide(k, left - 1, w, &len);
        left -= len;
        if (v != 0) digit[left] = uint8_t(v);
    }
}

}  // namespace

lnme2_point *joint_mul(const lnme2_ctx *ctx, lnme2_point *out, const uint32_t *k1,
                       const uint32_t *t1, uint32_t w1, const uint32_t *k2, const uint32_t *t2,
                       uint32_t w2) {
    // Both sliding windows walk one chain of doublings: the same point as
    // k1 P1 + k2 P2 computed apart, for half the doublings.
    uint8_t d1[kMaxJointBits], d2[kMaxJointBits];
    const uint32_t b1 = bn::bit_length(k1), b2 = bn::bit_length(k2);
    window_digits(k1, w1, d1, b1);
    window_digits(k2, w2, d2, b2);
    lnme2_point R;
    lnme2pcr(ctx, &R, nullptr, nullptr);
    for (uint32_t i = b1 > b2 ? b1 : b2; i-- > 0;) {
        lnme2pd(ctx, &R, &R);
        if (i < b1 && d1[i] != 0) {
            const uint32_t *x = entry_x(t1, (d1[i] - 1u) / 2);
            lnme2pa(ctx, &R, &R, x, x + kElemWords);
        }
        if (i < b2 && d2[i] != 0) {
            const uint32_t *x = entry_x(t2, (d2[i] - 1u) / 2);
            lnme2pa(ctx, &R, &R, x, x + kElemWords);
        }
    }
    lnme2pcr(ctx, out, nullptr, nullptr);
    return lnme2pcp(ctx, out, &R);
}

}  // namespace lncext::ec2

using namespace lncext::ec2;
namespace bn = lncext::bn;

extern "C" {

uint32_t *lnme2ic(const lnme2_ctx *ctx, uint32_t *table, const lnme2_point *P, uint32_t w) {
    const uint32_t entries = table_entries(w);
    lnme2_point T, last, U[kBatch];
    lnme2pcr(ctx, &T, nullptr, nullptr);
    lnme2pcp(ctx, &T, P);
    lnme2pxy(ctx, &T, lnm2pclear(table, ctx->m), lnm2pclear(table + kElemWords, ctx->m));
    // T = 2P, affine; then U_i = (2i + 1) P = U_(i-1) + T, all projective,
    // normalised together a batch at a time.
    lnme2pd(ctx, &T, P);
    lnme2pxy(ctx, &T, nullptr, nullptr);
    const lnme2_point *prev = P;
    for (uint32_t i = 1; i < entries;) {
        const uint32_t count = entries - i < kBatch ? entries - i : kBatch;
        for (uint32_t j = 0; j < count; ++j) {
            lnme2pcr(ctx, &U[j], nullptr, nullptr);
            lnme2pa(ctx, &U[j], j == 0 ? prev : &U[j - 1], T.X, T.Y);
        }
        // The chain goes on from the batch's last point.
        last = U[count - 1];
        prev = &last;
        store_affine(ctx, table, i, U, count);
        i += count;
    }
    return table;
}

lnme2_kpic_ctx *lnme2kpic_init(lnme2_kpic_ctx *kc, const lnme2_ctx *ctx, const uint32_t *k,
                               const uint32_t *table, uint32_t w) {
    kc->ctx = ctx;
    kc->k = k;
    kc->table = table;
    kc->w = w;
    lnme2pcr(ctx, &kc->R, nullptr, nullptr);
    kc->remaining = bn::bit_length(k);
    return kc;
}

int lnme2kpic_step(lnme2_kpic_ctx *kc, lnme2_point *out) {
    const lnme2_ctx *ctx = kc->ctx;
    if (kc->remaining > 0) {
        uint32_t len;
        const uint32_t v = bn::slide(kc->k, kc->remaining - 1, kc->w, &len);
        kc->remaining -= len;
        for (uint32_t i = 0; i < len; ++i) lnme2pd(ctx, &kc->R, &kc->R);
        // The addition works on the accumulator in place, so no copy of an
        // intermediate multiple is left behind on the stack.
        if (v != 0) {
            const uint32_t *x = entry_x(kc->table, (v - 1) / 2);
            lnme2pa(ctx, &kc->R, &kc->R, x, x + kElemWords);
        }
        if (kc->remaining > 0) return 0;
    }
    if (out != nullptr) {
        lnme2pcr(ctx, out, nullptr, nullptr);
        lnme2pcp(ctx, out, &kc->R);
    }
    return 1;
}

lnme2_point *lnme2kpic(const lnme2_ctx *ctx, lnme2_point *out, const uint32_t *k,
                       const uint32_t *table, uint32_t w) {
    lnme2_kpic_ctx kc;
    lnme2kpic_init(&kc, ctx, k, table, w);
    while (lnme2kpic_step(&kc, out) == 0) {
    }
    lncext::secure_wipe(&kc, sizeof kc);
    return out;
}

lnme2_point *lnme2kp(const lnme2_ctx *ctx, lnme2_point *out, const uint32_t *k,
                     const lnme2_point *P) {
    uint32_t table[LNME2_TABLE_WORDS(5)];
    lnme2ic(ctx, table, P, 5);
    return lnme2kpic(ctx, out, k, table, 5);
}

lnme2_point *lnme2skp(const lnme2_ctx *ctx, lnme2_point *out, const uint32_t *k1,
                      const lnme2_point *P1, const uint32_t *k2, const lnme2_point *P2) {
    if (bn::bit_length(k1) > kMaxJointBits || bn::bit_length(k2) > kMaxJointBits) {
        // Scalars wider than any order of a supported curve: apart.
        lnme2_point R1, R2;
        lnme2kp(ctx, &R1, k1, P1);
        lnme2kp(ctx, &R2, k2, P2);
        lnme2pxy(ctx, &R2, nullptr, nullptr);
        lnme2pcr(ctx, out, nullptr, nullptr);
        return lnme2pa(ctx, out, &R1, R2.X, R2.Y);
    }
    uint32_t t1[LNME2_TABLE_WORDS(5)], t2[LNME2_TABLE_WORDS(5)];
    lnme2ic(ctx, t1, P1, 5);
    lnme2ic(ctx, t2, P2, 5);
    return joint_mul(ctx, out, k1, t1, 5, k2, t2, 5);
}

uint32_t *lnme2comp(const lnme2_ctx *ctx, uint32_t *out, lnme2_point *P) {
    lnm2pclear(out, ctx->m);
    if (lnm2p_is_zero(P->Z)) return out;
    Elem t, zinv;
    lnm2pclear(t.data(), ctx->m);
    lnm2pclear(zinv.data(), ctx->m);
    if (lnm2p_is_zero(P->X)) {
        lnme2pxy(ctx, P, nullptr, nullptr);
        return out;
    }
    // The bit that tells the two points with this x apart is Tr(y / x), and
    // y / x = Y / (X Z). One inversion serves both that and the
    // normalisation: with I = 1 / (X Z^2), 1 / Z = I X Z and 1 / (X Z) = I Z.
    if (lnm2p_is_one(P->Z)) {
        lnme2bfinv(ctx, out, P->X);
        lnme2bfmul(ctx, out, out, P->Y);
    } else {
        lnme2bfmul(ctx, t.data(), P->X, P->Z);
        lnme2bfmul(ctx, zinv.data(), t.data(), P->Z);
        lnme2bfinv(ctx, zinv.data(), zinv.data());
        lnme2bfmul(ctx, out, zinv.data(), P->Z);
        lnme2bfmul(ctx, out, out, P->Y);
        lnme2bfmul(ctx, zinv.data(), zinv.data(), t.data());
        lnme2bfmul(ctx, P->X, P->X, zinv.data());
        lnme2bfsqr(ctx, zinv.data(), zinv.data());
        lnme2bfmul(ctx, P->Y, P->Y, zinv.data());
        lnm2pclear(P->Z, ctx->m)[1] = 1;
    }
    const uint32_t bit = lnme2bftrace(ctx, out);
    lnm2pcopy(out, P->X);
    lnm2psbit(out, 0, int(bit));
    return out;
}

lnme2_point *lnme2exp(const lnme2_ctx *ctx, lnme2_point *P, const uint32_t *c) {
    Elem x, y, v, z;
    lnm2pclear(x.data(), ctx->m);
    lnm2pclear(y.data(), ctx->m);
    lnm2pclear(v.data(), ctx->m);
    lnm2pclear(z.data(), ctx->m);
    // Only a field element (degree below m) can be a compressed point.
    if (uint32_t(lnm2p_deg(c)) >= ctx->m) return nullptr;
    lnm2pcopy(x.data(), c);
    if (lnm2p_is_zero(x.data())) {
        // The point (0, sqrt(b)).
        lnme2bfsolve(ctx, y.data(), x.data(), ctx->b);
        return lnme2pcr(ctx, P, x.data(), y.data());
    }
    // Coefficient 0 of x carries Tr(y / x); for a point of odd order the
    // true coefficient is the one that makes Tr(x) = a.
    const uint32_t bit = x[1] & 1;
    x[1] &= ~1u;
    if (lnme2bftrace(ctx, x.data()) != ctx->a) x[1] |= 1;
    // x = 0 now (c = 1 with a = 0) is the compressed form of no point.
    if (lnm2p_is_zero(x.data())) return nullptr;
    // With y = x z: z^2 + z = x + a + b / x^2.
    lnme2bfsqr(ctx, v.data(), x.data());
    lnme2bfinv(ctx, v.data(), v.data());
    lnme2bfmul(ctx, v.data(), v.data(), ctx->b);
    if (ctx->a == 1) lnm2pinc(v.data());
    lnm2add(v.data(), v.data(), x.data());
    Elem one;
    lnm2pclear(one.data(), ctx->m);
    one[1] = 1;
    if (lnme2bfsolve(ctx, z.data(), one.data(), v.data()) == 0) return nullptr;
    if (lnme2bftrace(ctx, z.data()) != bit) lnm2pinc(z.data());
    lnme2bfmul(ctx, y.data(), z.data(), x.data());
    return lnme2pcr(ctx, P, x.data(), y.data());
}

}  // extern "C"
