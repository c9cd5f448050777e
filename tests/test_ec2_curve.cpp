// Binary curves: construction, the group law identities on the published
// curves, n G = O, the resumable multiplication against the one-call form,
// and point compression.
#include <gtest/gtest.h>

#include <cstring>

#include "ec2_curves.hpp"

namespace {

using namespace ec2_test;
using lncext_test::Bytes;
using lncext_test::Rng;

// A random multiple of the base point of c, with its scalar.
lnme2_point random_point(const dstu_ctx *ctx, Rng &rng, std::vector<uint32_t> *k = nullptr) {
    auto s = big(rng.bytes(ctx->key_bytes));
    lnmmodexpb2(s.data(), lnmbitlen(ctx->n, 1) - 1);
    lnme2_point R = infinity(&ctx->curve);
    lnme2kp(&ctx->curve, &R, s.data(), &ctx->P);
    if (k) *k = s;
    return R;
}

TEST(Ec2Curve, CreationRejectsUnsupportedFieldsAndCoefficients) {
    const uint8_t one[54] = {1};
    uint8_t top163[21] = {};
    top163[20] = 0x08;  // x^163: degree m
    const struct {
        uint32_t m, k1, k2, k3, a;
        const uint8_t *b;
        bool ok;
    } cases[] = {
        {163, 7, 6, 3, 1, one, true},     {191, 9, 0, 0, 0, one, true},
        {257, 12, 0, 0, 1, one, true},    {431, 5, 3, 1, 0, one, true},
        {163, 7, 6, 3, 2, one, false},    {163, 7, 6, 2, 1, one, false},
        {163, 7, 6, 3, 1, top163, false}, {191, 9, 1, 0, 1, one, false},
        {233, 74, 0, 0, 1, one, false},   {163, 7, 6, 3, 1, one + 1, false},
    };
    for (const auto &c : cases) {
        lnme2_ctx ctx;
        EXPECT_EQ(lnme2cr(&ctx, c.m, c.k1, c.k2, c.k3, c.a, c.b) != nullptr, c.ok)
            << c.m << " " << c.k3 << " " << c.a;
    }
}

TEST(Ec2Curve, NamedBasePointsLieOnTheirCurvesWithOrderN) {
    for (const auto &c : named_curves()) {
        auto ctx = make_ctx(c);
        const lnme2_ctx *cv = &ctx->curve;
        EXPECT_EQ(ctx->field_bytes, c.b.size()) << c.name;
        EXPECT_EQ(ctx->key_bytes, (lnmbitlen(ctx->n, 1) + 6) / 8);
        EXPECT_EQ(ctx->sig_bytes, 2 * ((lnmbitlen(ctx->n, 1) + 7) / 8));
        Elem x(cv, c.px), y(cv, c.py);
        lnme2_point G = infinity(cv), R = infinity(cv);
        ASSERT_NE(lnme2pcr(cv, &G, x.p(), y.p()), nullptr) << c.name;
        EXPECT_EQ(affine(cv, ctx->P), affine(cv, G)) << c.name;
        // n G = O; (n - 1) G = -G; (n + 1) G = G; the order-6 table ends in 63 G.
        auto n = big(c.n);
        EXPECT_EQ(affine(cv, *lnme2kp(cv, &R, n.data(), &G)), "inf") << c.name;
        lnmsub(n.data(), LNMBIG_ONE);
        lnme2_point negG = G;
        lnme2pneg(cv, &negG);
        EXPECT_EQ(affine(cv, *lnme2kp(cv, &R, n.data(), &G)), affine(cv, negG)) << c.name;
        lnmaddb2(n.data(), 1);
        EXPECT_EQ(affine(cv, *lnme2kp(cv, &R, n.data(), &G)), affine(cv, G)) << c.name;
        const uint32_t k63[2] = {1, 63};
        lnme2kp(cv, &R, k63, &G);
        lnme2_point T = infinity(cv);
        ASSERT_NE(lnme2pcr(cv, &T, ctx->table + 31 * 2 * LNM2_POLY_WORDS,
                           ctx->table + (31 * 2 + 1) * LNM2_POLY_WORDS),
                  nullptr);
        EXPECT_EQ(affine(cv, R), affine(cv, T)) << c.name;
        // An order that does not annihilate G is rejected.
        Bytes bad = c.n;
        bad[0] ^= 2;
        const Bytes bp = compressed_base(ctx.get(), c);
        EXPECT_EQ(dstu_init_pgen(ctx.get(), int(bp.size()), bp.data(), int(bad.size()), bad.data()),
                  DSTU_BAD_BASE_POINT);
    }
}

TEST(Ec2Curve, GroupLawIdentitiesHold) {
    Rng rng(41);
    for (const auto &c : named_curves()) {
        auto ctx = make_ctx(c);
        const lnme2_ctx *cv = &ctx->curve;
        for (int iter = 0; iter < 4; ++iter) {
            std::vector<uint32_t> a, b;
            lnme2_point P = random_point(ctx.get(), rng, &a), Q = random_point(ctx.get(), rng, &b);
            lnme2_point Qa = Q, R = infinity(cv), S = infinity(cv), T = infinity(cv);
            lnme2pxy(cv, &Qa, nullptr, nullptr);
            lnme2_point Pa = P;
            lnme2pxy(cv, &Pa, nullptr, nullptr);
            // Commutative: P + Q = Q + P, through both additions.
            lnme2pa(cv, &R, &P, Qa.X, Qa.Y);
            lnme2paa(cv, &S, &Q, &Pa);
            EXPECT_EQ(affine(cv, R), affine(cv, S)) << c.name;
            // (a + b) G = a G + b G.
            std::vector<uint32_t> ab(LNMBIG_WORDS);
            lnmcopy(ab.data(), a.data());
            lnmadd(ab.data(), b.data());
            EXPECT_EQ(affine(cv, *lnme2kp(cv, &T, ab.data(), &ctx->P)), affine(cv, R)) << c.name;
            // Associative: (P + Q) + P = P + (Q + P) with the doubling path.
            lnme2pa(cv, &S, &R, Pa.X, Pa.Y);
            lnme2_point twoP = infinity(cv);
            lnme2pd(cv, &twoP, &P);
            lnme2pxy(cv, &twoP, nullptr, nullptr);
            lnme2pa(cv, &T, &Q, twoP.X, twoP.Y);
            EXPECT_EQ(affine(cv, S), affine(cv, T)) << c.name;
            // P + P = 2P; P + (-P) = O; -(-P) = P; P + O = P; 2P in place.
            EXPECT_EQ(affine(cv, *lnme2pa(cv, &S, &P, Pa.X, Pa.Y)), affine(cv, twoP));
            lnme2_point negP = Pa;
            lnme2pneg(cv, &negP);
            EXPECT_EQ(affine(cv, *lnme2pa(cv, &S, &negP, Pa.X, Pa.Y)), "inf");
            EXPECT_EQ(affine(cv, *lnme2paa(cv, &S, &negP, &Pa)), "inf");
            lnme2pneg(cv, &negP);
            EXPECT_EQ(affine(cv, negP), affine(cv, P));
            Elem zero(cv);
            EXPECT_EQ(affine(cv, *lnme2pa(cv, &S, &P, zero.p(), zero.p())), affine(cv, P));
            lnme2_point inf = infinity(cv);
            EXPECT_EQ(affine(cv, *lnme2paa(cv, &S, &inf, &Pa)), affine(cv, P));
            EXPECT_EQ(affine(cv, *lnme2paa(cv, &S, &Pa, &Pa)), affine(cv, twoP));
            S = P;
            EXPECT_EQ(affine(cv, *lnme2pd(cv, &S, &S)), affine(cv, twoP));
            // b (a G) = (a b mod n) G.
            std::vector<uint32_t> prod(LNMBIG_WORDS), n = big(c.n);
            lnmmul(a.data(), b.data(), prod.data());
            lnmdiv(prod.data(), n.data(), nullptr, prod.data());
            lnme2kp(cv, &S, b.data(), &P);
            EXPECT_EQ(affine(cv, S), affine(cv, *lnme2kp(cv, &T, prod.data(), &ctx->P))) << c.name;
            // k1 P1 + k2 P2 jointly equals the two products added.
            lnme2skp(cv, &S, a.data(), &Q, b.data(), &P);
            lnme2kp(cv, &T, a.data(), &Q);
            lnme2kp(cv, &R, b.data(), &P);
            lnme2pxy(cv, &R, nullptr, nullptr);
            lnme2pa(cv, &T, &T, R.X, R.Y);
            EXPECT_EQ(affine(cv, S), affine(cv, T)) << c.name;
            EXPECT_EQ(affine(cv, *lnme2skp(cv, &S, a.data(), &Q, LNMBIG_ZERO, &P)),
                      affine(cv, *lnme2kp(cv, &T, a.data(), &Q)));
            EXPECT_EQ(affine(cv, *lnme2skp(cv, &S, LNMBIG_ZERO, &Q, b.data(), &P)),
                      affine(cv, *lnme2kp(cv, &T, b.data(), &P)));
        }
        // (0, sqrt b) has order 2; pxy of O writes zeros and returns 0.
        Elem zero(cv), x(cv), y(cv);
        lnme2_point H = infinity(cv), D = infinity(cv);
        ASSERT_NE(lnme2pcr(cv, &H, zero.p(), nullptr), nullptr);
        EXPECT_EQ(affine(cv, *lnme2pd(cv, &D, &H)), "inf");
        lnme2_point O = infinity(cv);
        x.w[1] = y.w[1] = 7;
        EXPECT_EQ(lnme2pxy(cv, &O, x.p(), y.p()), 0);
        EXPECT_TRUE(lnm2p_is_zero(x.p()) && lnm2p_is_zero(y.p()) && lnme2p_is_inf(cv, &O));
        // A point off the curve is refused.
        Elem px(cv, c.px), py(cv, c.py);
        lnm2pinc(py.p());
        EXPECT_EQ(lnme2pcr(cv, &H, px.p(), py.p()), nullptr);
    }
}

// Tr(x) = x + x^2 + ... + x^(2^(m-1)) by its definition.
uint32_t trace(const lnme2_ctx *cv, const uint32_t *x) {
    Elem t(cv);
    lnm2pcopy(t.p(), x);
    for (uint32_t i = 1; i < cv->m; ++i) lnm2add(t.p(), lnme2bfsqr(cv, t.p(), t.p()), x);
    EXPECT_TRUE(lnm2p_is_zero(t.p()) || lnm2p_is_one(t.p()));
    return t.w[1];
}

TEST(Ec2Curve, PointsFromXAloneSolveTheCurveAndCompressByTheTrace) {
    Rng rng(37);
    for (const auto &c : named_curves()) {
        auto ctx = make_ctx(c);
        const lnme2_ctx *cv = &ctx->curve;
        int none = 0;
        for (int iter = 0; iter < 24; ++iter) {
            Bytes xb = rng.bytes(ctx->field_bytes);
            xb.back() &= uint8_t((1u << (c.m % 8)) - 1);
            Elem x(cv, xb), y(cv), c1(cv), t(cv);
            lnme2_point P = infinity(cv), N = infinity(cv);
            // A y exists exactly when Tr(x + a + b / x^2) = 0.
            lnme2bfmul(cv, t.p(), lnme2bfinv(cv, t.p(), lnme2bfsqr(cv, t.p(), x.p())), cv->b);
            if (cv->a) lnm2pinc(t.p());
            const bool exists = trace(cv, lnm2add(t.p(), t.p(), x.p())) == 0;
            ASSERT_EQ(lnme2pcr(cv, &P, x.p(), nullptr) != nullptr, exists) << c.name;
            if (!exists) {
                ++none;
                continue;
            }
            // Both (x, y) and (x, x + y) lie on the curve; the compressed
            // form carries Tr(y / x) in coefficient 0.
            lnm2pcopy(y.p(), P.Y);
            lnm2add(t.p(), x.p(), y.p());
            EXPECT_NE(lnme2pcr(cv, &N, x.p(), t.p()), nullptr);
            lnme2comp(cv, c1.p(), &P);
            lnme2bfmul(cv, t.p(), lnme2bfinv(cv, t.p(), x.p()), y.p());
            EXPECT_EQ(c1.w[1] & 1, trace(cv, t.p())) << c.name;
            EXPECT_EQ(c1.w[1] >> 1, x.w[1] >> 1);
        }
        EXPECT_GT(none, 3) << c.name;
        EXPECT_LT(none, 21) << c.name;
    }
}

TEST(Ec2Curve, SteppedMultiplicationEqualsOneCall) {
    Rng rng(43);
    for (const auto &c : named_curves()) {
        auto ctx = make_ctx(c);
        const lnme2_ctx *cv = &ctx->curve;
        for (int iter = 0; iter < 6; ++iter) {
            auto k = big(rng.bytes(iter == 0 ? 1 : ctx->key_bytes));
            if (iter == 1) k = big({0});
            lnme2_kpic_ctx kc;
            lnme2kpic_init(&kc, cv, k.data(), ctx->table, ctx->win);
            lnme2_point out = infinity(cv), ref = infinity(cv);
            uint32_t steps = 1, last = lnmbitlen(k.data(), 1);
            while (lnme2kpic_step(&kc, &out) == 0) {
                // One window per step: at most w bits, or a run of zero
                // bits; the output is only written by the final step.
                std::vector<uint32_t> top = k;
                lnmmodexpb2(top.data(), last);
                if (last - kc.remaining > ctx->win) {
                    EXPECT_LE(lnmbitlen(top.data(), 1), kc.remaining);
                }
                EXPECT_EQ(affine(cv, out), "inf");
                last = kc.remaining;
                ++steps;
            }
            EXPECT_EQ(kc.remaining, 0u);
            EXPECT_LE(steps, lnmbitlen(k.data(), 1) + 1);
            lnme2kp(cv, &ref, k.data(), &ctx->P);
            EXPECT_EQ(affine(cv, out), affine(cv, ref)) << c.name;
            // Finished states return 1 again and copy again.
            lnme2_point again = infinity(cv);
            EXPECT_EQ(lnme2kpic_step(&kc, &again), 1);
            EXPECT_EQ(affine(cv, again), affine(cv, ref));
            EXPECT_EQ(affine(cv, *lnme2kpic(cv, &again, k.data(), ctx->table, ctx->win)),
                      affine(cv, ref));
        }
        // 176 = 1011 0000b with w = 5: the window 1011, then four zero bits.
        const uint32_t k176[2] = {1, 176};
        lnme2_kpic_ctx kc;
        lnme2_point out = infinity(cv), ref = infinity(cv);
        lnme2kpic_init(&kc, cv, k176, ctx->table, 5);
        EXPECT_EQ(lnme2kpic_step(&kc, &out), 0);
        EXPECT_EQ(kc.remaining, 4u);
        EXPECT_EQ(lnme2kpic_step(&kc, &out), 1);
        EXPECT_EQ(affine(cv, out), affine(cv, *lnme2kp(cv, &ref, k176, &ctx->P)));
        // Tables of width 2 (P, 3P) and 8 (P .. 255P): the last entry, and
        // the width-8 table drives the stepped multiplication too.
        std::vector<uint32_t> t(LNME2_TABLE_WORDS(8));
        for (uint32_t w : {2u, 8u}) {
            lnme2ic(cv, t.data(), &ctx->P, w);
            const uint32_t last = (1u << (w - 1)) - 1, k[2] = {1, 2 * last + 1};
            lnme2_point T = infinity(cv);
            lnme2pcr(cv, &T, &t[2 * last * LNM2_POLY_WORDS], &t[(2 * last + 1) * LNM2_POLY_WORDS]);
            EXPECT_EQ(affine(cv, T), affine(cv, *lnme2kp(cv, &ref, k, &ctx->P))) << w;
        }
        const auto k = big(rng.bytes(ctx->key_bytes));
        EXPECT_EQ(affine(cv, *lnme2kpic(cv, &out, k.data(), t.data(), 8)),
                  affine(cv, *lnme2kp(cv, &ref, k.data(), &ctx->P)));
    }
}

TEST(Ec2Curve, CompressionRoundTripsAndRejectsNonPoints) {
    Rng rng(47);
    for (const auto &c : named_curves()) {
        auto ctx = make_ctx(c);
        const lnme2_ctx *cv = &ctx->curve;
        Elem cx(cv);
        for (int iter = 0; iter < 8; ++iter) {
            lnme2_point Q = random_point(ctx.get(), rng), R = infinity(cv);
            const std::string want = affine(cv, Q);
            lnme2comp(cv, cx.p(), &Q);
            ASSERT_NE(lnme2exp(cv, &R, cx.p()), nullptr) << c.name;
            EXPECT_EQ(affine(cv, R), want) << c.name;
        }
        // Random values: those that decompress compress back to themselves;
        // about half decompress to nothing.
        int none = 0;
        for (int iter = 0; iter < 64; ++iter) {
            Elem v(cv, rng.bytes(ctx->field_bytes)), back(cv);
            lnm2psbit(v.p(), cv->m, 0);
            for (uint32_t i = cv->m + 1; i < 32 * ((cv->m + 31) / 32); ++i) lnm2psbit(v.p(), i, 0);
            lnme2_point R = infinity(cv);
            if (lnme2exp(cv, &R, v.p()) == nullptr) {
                ++none;
                continue;
            }
            lnme2comp(cv, back.p(), &R);
            EXPECT_TRUE(lnm2p_is_equal(back.p(), v.p())) << c.name;
        }
        EXPECT_GT(none, 10) << c.name;
        EXPECT_LT(none, 54) << c.name;
        // 0 is the point (0, sqrt b) and the compressed form of O.
        Elem zero(cv);
        lnme2_point R = infinity(cv), D = infinity(cv);
        ASSERT_NE(lnme2exp(cv, &R, zero.p()), nullptr);
        EXPECT_TRUE(lnm2p_is_zero(R.X) && !lnme2p_is_inf(cv, &R));
        EXPECT_EQ(affine(cv, *lnme2pd(cv, &D, &R)), "inf");
        lnme2_point O = infinity(cv);
        lnm2pinc(cx.p());
        EXPECT_TRUE(lnm2p_is_zero(lnme2comp(cv, cx.p(), &O)));
        // Values of degree m or more are no field elements.
        Elem big_x(cv);
        lnm2psbit(big_x.p(), cv->m, 1);
        EXPECT_EQ(lnme2exp(cv, &R, big_x.p()), nullptr);
        // With a = 0, c = 1 would need x = 0 with coefficient 0 set by the
        // trace rule: the compressed form of no point.
        if (cv->a == 0) {
            Elem one(cv);
            lnm2pinc(one.p());
            EXPECT_EQ(lnme2exp(cv, &R, one.p()), nullptr);
        }
    }
}

}  // namespace
