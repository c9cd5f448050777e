// Scalar multiplication over GF(p): left-to-right sliding windows over a
// table of odd multiples (prepared once, or per call), and the interleaved
// double multiplication k P + l Q of signature verification.
#include <cstdint>

#include "bignum/window.hpp"
#include "ecp/ecp_internal.hpp"

namespace {

using namespace lncext::ecp;

constexpr uint32_t table_entries(uint32_t w) {
    return w < 2 ? 2u : 1u << (w - 1);
}
static_assert(table_entries(LNMEC_WINDOW) == LNMEC_WINDOW_ENTRIES);
static_assert(table_entries(1) == 2 && table_entries(2) == 2 && table_entries(3) == 4);

}  // namespace

extern "C" {

LNCEXT_API lnmec_point *lnmecic(const lnmec_ctx *ctx, lnmec_point *T, const lnmec_point *P,
                                uint32_t w) {
    const uint32_t entries = table_entries(w);
    ctx->dbl(ctx, &T[0], P);  // 2P while the table is built
    lnmecpa(ctx, &T[1], &T[0], P);
    for (uint32_t i = 2; i < entries; ++i) lnmecpa(ctx, &T[i], &T[0], &T[i - 1]);
    copy_point(&T[0], P);
    return T;
}

LNCEXT_API lnmec_point *lnmecickp(const lnmec_ctx *ctx, lnmec_point *R, const lnmec_point *T,
                                  const uint32_t *k, uint32_t w, uint32_t n) {
    if (w == 0) w = 1;  // the window scanner reads a width of 0 as 1
    lnmec_point acc;
    set_infinity(ctx, &acc);
    uint32_t additions = 0;
    lncext::bn::slide_loop(
        k, w, [&] { ctx->dbl(ctx, &acc, &acc); },
        [&](uint32_t i) {
            lnmecpa(ctx, &acc, &acc, &T[i]);
            ++additions;
        });
    // Padding: dummy additions on a copy bring the count of additions up to
    // ceil(n / w), so that it tells less about k.
    if (n != 0) {
        const uint32_t wanted = (w + n - 1) / w;
        if (additions < wanted) {
            lnmec_point dummy;
            copy_point(&dummy, &acc);
            for (; additions < wanted; ++additions) lnmecpa(ctx, &dummy, &dummy, &T[0]);
            wipe_point(&dummy);
        }
    }
    copy_point(R, &acc);
    wipe_point(&acc);
    return R;
}

LNCEXT_API lnmec_point *lnmeckp(const lnmec_ctx *ctx, lnmec_point *R, const uint32_t *k,
                                const lnmec_point *P) {
    lnmec_point table[LNMEC_WINDOW_ENTRIES];
    lnmecic(ctx, table, P, LNMEC_WINDOW);
    lnmecickp(ctx, R, table, k, LNMEC_WINDOW, 0);
    return R;
}

LNCEXT_API lnmec_point *lnmecakp(const lnmec_ctx *ctx, lnmec_point *R, const uint32_t *k,
                                 const lnmec_point *P, const uint32_t *l, const lnmec_point *Q) {
    // J[4i + j] = i P + j Q for i, j in 0..3.
    lnmec_point J[16];
    set_infinity(ctx, &J[0]);
    copy_point(&J[4], P);
    lnmecpa(ctx, &J[8], &J[4], P);
    lnmecpa(ctx, &J[12], &J[8], P);
    copy_point(&J[1], Q);
    lnmecpa(ctx, &J[2], &J[1], Q);
    lnmecpa(ctx, &J[3], &J[2], Q);
    for (uint32_t i = 4; i < 16; i += 4)
        for (uint32_t j = 1; j < 4; ++j) lnmecpa(ctx, &J[i + j], &J[i], &J[j]);

    const uint32_t bk = (lncext::bn::bit_length(k) + 1) / 2;
    const uint32_t bl = (lncext::bn::bit_length(l) + 1) / 2;
    const uint32_t digits = bk > bl ? bk : bl;
    lnmec_point acc;
    set_infinity(ctx, &acc);
    for (uint32_t t = digits; t-- > 0;) {
        ctx->dbl(ctx, &acc, &acc);
        ctx->dbl(ctx, &acc, &acc);
        const uint32_t dk = lncext::bn::bits_at(k, 2 * t, 2);
        const uint32_t dl = lncext::bn::bits_at(l, 2 * t, 2);
        if ((dk | dl) != 0) lnmecpa(ctx, &acc, &acc, &J[4 * dk + dl]);
    }
    copy_point(R, &acc);
    return R;
}

}  // extern "C"
