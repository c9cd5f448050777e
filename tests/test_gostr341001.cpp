// GOST R 34.10-2001 and VKO: the published parameter sets, worked example,
// point multiplications and VKO example; the group law and scalar
// multiplications on every curve; every result code with its outputs left
// untouched; random inputs; one context shared by threads.
#include <gmp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <thread>

#include "gostr341001_util.hpp"
#include "lncext/gost28147.h"
#include "lncext/gostr341194.h"

using namespace lncext_test;

// The record layouts the C side sees: 17-word numbers, then the slots.
static_assert(offsetof(lnmpff_ctx, modulus) == 0);
static_assert(offsetof(lnmpff_ctx, one) == 17 * 4);
static_assert(offsetof(lnmpff_ctx, k0) == 34 * 4 && offsetof(lnmpff_ctx, width) == 35 * 4);
static_assert(offsetof(lnmpff_ctx, in) == 36 * 4);
static_assert(offsetof(lnmpff_ctx, inv) == 36 * 4 + 9 * sizeof(void *));
static_assert(sizeof(lnmpff_ctx) == 36 * 4 + 10 * sizeof(void *));
static_assert(sizeof(lnmec_point) == 3 * 17 * 4 && offsetof(lnmec_point, Z) == 34 * 4);
static_assert(offsetof(lnmec_ctx, b) == 17 * 4 && offsetof(lnmec_ctx, field) == 34 * 4);
static_assert(offsetof(lnmec_ctx, dbl) == 34 * 4 + sizeof(lnmpff_ctx));
static_assert(sizeof(lnmec_ctx) == 34 * 4 + sizeof(lnmpff_ctx) + sizeof(void *));
static_assert(offsetof(rds_ctx, q) == sizeof(lnmec_ctx));
static_assert(offsetof(rds_ctx, G) == sizeof(lnmec_ctx) + 17 * 4);
static_assert(offsetof(rds_ctx, pub_len) == offsetof(rds_ctx, G) + sizeof(lnmec_point));
static_assert(offsetof(rds_ctx, w) == offsetof(rds_ctx, pub_len) + 3 * 4);
static_assert(offsetof(rds_ctx, table) == offsetof(rds_ctx, w) + 4);
static_assert(sizeof(rds_ctx) == offsetof(rds_ctx, table) + 16 * sizeof(lnmec_point));

namespace {

using Num = std::vector<uint32_t>;

// The distinct curves of the published sets (XchA and XchB repeat A and C).
const char *const kCurves[] = {"test", "A", "B", "C"};

Bytes gost94(const Bytes &data) {
    gr341194_md_ctx md;
    uint8_t out[32];
    gr341194_md_init_ext(&md, CryptoPro_iv, CryptoPro_uz);
    gr341194_md_update(&md, data.data(), uint32_t(data.size()));
    gr341194_md_final(&md, out);
    return Bytes(out, out + 32);
}

Bytes reversed(Bytes b) {
    std::reverse(b.begin(), b.end());
    return b;
}

// k G as 64 bytes, by the one-off table multiplication.
Bytes mul_g(const rds_ctx &ctx, const Num &k) {
    lnmec_point R;
    lnmeckp(&ctx.curve, &R, k.data(), &ctx.G);
    return affine(&ctx.curve, R);
}

struct Fixture {
    rds_ctx ctx;
    Mpz q;
    explicit Fixture(const char *name) {
        init_ctx(&ctx, paramsets().at(name));
        mpz_from_be(q, paramsets().at(name).q.data());
    }
    // A random number in [1, q - 1] as 32 bytes.
    Bytes scalar(Rng &rng) {
        Mpz z;
        mpz_from_be(z, rng.bytes(32).data());
        Mpz qm1;
        mpz_sub_ui(qm1, q, 1);
        mpz_mod(z, z, qm1);
        mpz_add_ui(z, z, 1);
        return be_from_mpz(z);
    }
};

}  // namespace

TEST(GostR341001, ParameterSetsInitSelectFormAndDoublingAndGiveTheirParametersBack) {
    struct Expect {
        const char *name;
        bool special;
        bool minus3;
    };
    const Expect table[] = {{"test", false, false}, {"A", true, true},    {"B", false, true},
                            {"C", false, true},     {"XchA", true, true}, {"XchB", false, true}};
    for (const auto &t : table) {
        SCOPED_TRACE(t.name);
        const ParamSet &ps = paramsets().at(t.name);
        rds_ctx ctx;
        init_ctx(&ctx, ps);
        EXPECT_EQ(ctx.curve.field.mul == lnmpffpsfmul, t.special);
        EXPECT_EQ(ctx.curve.field.mul == lnmpffmontmul, !t.special);
        EXPECT_EQ(ctx.curve.dbl == lnmecpd_3, t.minus3);
        EXPECT_EQ(ctx.pub_len, 64u);
        EXPECT_EQ(ctx.prv_len, 32u);
        EXPECT_EQ(ctx.sig_len, 64u);
        EXPECT_EQ(ctx.w, 5u);
        uint8_t out[6][32];
        ASSERT_EQ(rds_get_prms(&ctx, out[0], out[1], out[2], out[3], out[4], out[5]), 0u);
        const Bytes *want[] = {&ps.p, &ps.a, &ps.b, &ps.q, &ps.x, &ps.y};
        for (int i = 0; i < 6; i++) EXPECT_EQ(to_hex(out[i], 32), to_hex(*want[i])) << i;
        // q G = O; the table holds G, 3G, ..., 31G.
        EXPECT_EQ(mul_g(ctx, big(ps.q)), Bytes(64, 0));
        for (uint32_t i = 0; i < 16; i++)
            EXPECT_EQ(affine(&ctx.curve, ctx.table[i]), mul_g(ctx, Num{1, 2 * i + 1})) << i;
    }
}

TEST(GostR341001, WorkedExampleGivesThePublishedKeyAndSignature) {
    int seen = 0;
    for (const auto &blk : read_vectors("gostr341001.txt")) {
        if (!blk.has("example")) continue;
        seen++;
        SCOPED_TRACE(blk.get("example"));
        rds_ctx ctx;
        init_ctx(&ctx, paramsets().at(blk.get("paramset")));
        const Bytes d = blk.bytes("d"), k = blk.bytes("k"), e = blk.bytes("e");
        const Bytes pub_want = cat(blk.bytes("qx"), blk.bytes("qy"));
        uint8_t pub[64], pub2[64], sig[64], sig2[64];
        ASSERT_EQ(rds_gen_keys(&ctx, d.data(), pub), 0u);
        EXPECT_EQ(to_hex(pub, 64), to_hex(pub_want));
        ASSERT_EQ(vko341001_gen_pubkey(&ctx, d.data(), pub2), 0u);
        EXPECT_EQ(to_hex(pub2, 64), to_hex(pub_want));
        EXPECT_EQ(mul_g(ctx, big(k)), cat(blk.bytes("cx"), blk.bytes("cy")));
        ASSERT_EQ(rds_sign(&ctx, d.data(), k.data(), e.data(), sig), 0u);
        EXPECT_EQ(to_hex(sig, 64), blk.get("sig"));
        EXPECT_EQ(to_hex(sig, 32), blk.get("s"));
        EXPECT_EQ(to_hex(sig + 32, 32), blk.get("r"));
        ASSERT_EQ(rds_sign(&ctx, d.data(), k.data(), e.data(), sig2), 0u);
        EXPECT_EQ(to_hex(sig2, 64), to_hex(sig, 64));
        EXPECT_EQ(rds_verify(&ctx, pub, e.data(), sig), 0u);
        uint8_t swapped[64];
        std::copy(sig + 32, sig + 64, swapped);
        std::copy(sig, sig + 32, swapped + 32);
        EXPECT_EQ(rds_verify(&ctx, pub, e.data(), swapped), 1u);
    }
    EXPECT_EQ(seen, 1);
}

TEST(GostR341001, PublishedPointMultiplicationsOnTheCryptoProCurves) {
    int seen = 0;
    for (const auto &blk : read_vectors("gostr341001.txt")) {
        if (!blk.has("mul")) continue;
        SCOPED_TRACE(blk.get("mul"));
        rds_ctx ctx;
        init_ctx(&ctx, paramsets().at(blk.get("paramset")));
        const Num k = big(blk.bytes("k"));
        if (blk.has("k_le")) {
            EXPECT_EQ(to_hex(reversed(blk.bytes("k_le"))), blk.get("k"));
        }
        lnmec_point P = ctx.G, R;
        if (blk.has("px")) {
            ASSERT_NE(
                lnmecpcr(&ctx.curve, &P, big(blk.bytes("px")).data(), big(blk.bytes("py")).data()),
                nullptr);
        }
        const Bytes want = cat(blk.bytes("rx"), blk.bytes("ry"));
        EXPECT_EQ(affine(&ctx.curve, *lnmeckp(&ctx.curve, &R, k.data(), &P)), want);
        EXPECT_EQ(affine(&ctx.curve, *lnmecakp(&ctx.curve, &R, k.data(), &P, LNMBIG_ZERO, &ctx.G)),
                  want);
        if (!blk.has("px")) {
            lnmecickp(&ctx.curve, &R, ctx.table, k.data(), 5, 0);
            EXPECT_EQ(affine(&ctx.curve, R), want);
        }
        seen++;
    }
    EXPECT_EQ(seen, 9);
}

TEST(GostR341001, VkoMatchesThePublishedSharedPointAndAgreesBothWays) {
    int seen = 0;
    for (const auto &blk : read_vectors("gostr341001.txt")) {
        if (!blk.has("vko")) continue;
        seen++;
        rds_ctx c1, c2;
        init_ctx(&c1, paramsets().at(blk.get("paramset")));
        init_ctx(&c2, paramsets().at(blk.get("paramset")));
        const Bytes d1 = blk.bytes("d1"), d2 = blk.bytes("d2"), ukm = blk.bytes("ukm");
        ASSERT_EQ(reversed(blk.bytes("ukm_le")), ukm);
        uint8_t q1[64], q2[64], k1[32], k2[32];
        ASSERT_EQ(vko341001_gen_pubkey(&c1, d1.data(), q1), 0u);
        ASSERT_EQ(vko341001_gen_pubkey(&c2, d2.data(), q2), 0u);
        ASSERT_EQ(vko341001_gen_kek(&c1, k1, d1.data(), q2, ukm.data()), 0u);
        ASSERT_EQ(vko341001_gen_kek(&c2, k2, d2.data(), q1, ukm.data()), 0u);
        EXPECT_EQ(to_hex(k1, 32), to_hex(k2, 32));

        // K = (d1 d2 u mod q) G. The published KEK hashes it little-endian;
        // this library hashes x, y big-endian, left-aligned.
        Mpz t, z, q;
        mpz_from_be(q, paramsets().at(blk.get("paramset")).q.data());
        mpz_from_be(t, d1.data());
        mpz_from_be(z, d2.data());
        mpz_mul(t, t, z);
        mpz_from_be(z, ukm.data(), 8);
        mpz_mul(t, t, z);
        mpz_mod(t, t, q);
        const Bytes K = mul_g(c1, big(t));
        const Bytes kx(K.begin(), K.begin() + 32), ky(K.begin() + 32, K.end());
        EXPECT_EQ(to_hex(gost94(cat(reversed(kx), reversed(ky)))), blk.get("kek_le_point"));
        auto left = [](Bytes b) {
            while (!b.empty() && b.front() == 0) b.erase(b.begin());
            b.resize(32, 0);
            return b;
        };
        EXPECT_EQ(to_hex(k1, 32), to_hex(gost94(cat(left(kx), left(ky)))));
    }
    EXPECT_EQ(seen, 1);
}

TEST(GostR341001, VkoHashesEachCoordinateLeftAligned) {
    // Look for a UKM whose shared point has an x with a zero top byte: its
    // field must then hold 31 bytes and one zero byte last.
    Fixture F("A");
    Rng rng(0x3401);
    const Bytes d1 = F.scalar(rng), d2 = F.scalar(rng);
    uint8_t q2[64], kek[32];
    ASSERT_EQ(vko341001_gen_pubkey(&F.ctx, d2.data(), q2), 0u);
    bool found = false;
    for (uint32_t u = 1; u < 5000 && !found; u++) {
        Mpz t, z;
        mpz_from_be(t, d1.data());
        mpz_from_be(z, d2.data());
        mpz_mul(t, t, z);
        mpz_mul_ui(t, t, u);
        mpz_mod(t, t, F.q);
        const Bytes K = mul_g(F.ctx, big(t));
        if (K[0] != 0) continue;
        found = true;
        Bytes input(K.begin() + 1, K.begin() + 32);
        input.push_back(0);
        input.insert(input.end(), K.begin() + 32, K.end());
        if (K[32] == 0) {  // y short as well
            input.erase(input.begin() + 32);
            input.push_back(0);
        }
        const Bytes ukm = be_from_mpz(Mpz(Num{1, u}.data()), 8);
        ASSERT_EQ(vko341001_gen_kek(&F.ctx, kek, d1.data(), q2, ukm.data()), 0u);
        EXPECT_EQ(to_hex(kek, 32), to_hex(gost94(input)));
    }
    EXPECT_TRUE(found);
}

TEST(GostR341001, GroupLawAndScalarMultiplicationIdentities) {
    Rng rng(0x3301);
    for (const char *name : kCurves) {
        SCOPED_TRACE(name);
        Fixture F(name);
        const lnmec_ctx *c = &F.ctx.curve;
        lnmec_point O, P, Q, S, T, U;
        ASSERT_EQ(lnmecpcr(c, &O, nullptr, nullptr), &O);
        ASSERT_TRUE(is_infinity(O));
        for (int round = 0; round < 4; round++) {
            const Num a = big(F.scalar(rng)), b = big(F.scalar(rng)), e = big(F.scalar(rng));
            lnmeckp(c, &P, a.data(), &F.ctx.G);
            lnmeckp(c, &Q, b.data(), &F.ctx.G);
            lnmeckp(c, &U, e.data(), &F.ctx.G);
            const Bytes p = affine(c, P), q = affine(c, Q);
            EXPECT_EQ(affine(c, *lnmecpa(c, &S, &P, &O)), p);
            EXPECT_EQ(affine(c, *lnmecpa(c, &S, &O, &P)), p);
            EXPECT_EQ(affine(c, *lnmecpa(c, &S, &P, &P)), affine(c, *c->dbl(c, &T, &P)));
            EXPECT_EQ(affine(c, *lnmecpd(c, &S, &P)), affine(c, T));
            S = P;
            lnmecpneg(c, &S);
            EXPECT_TRUE(is_infinity(*lnmecpa(c, &T, &P, &S)));
            EXPECT_EQ(affine(c, *lnmecpneg(c, &S)), p);
            // (P + Q) + U = P + (Q + U), and results written over inputs.
            lnmecpa(c, &S, &P, &Q);
            lnmecpa(c, &S, &S, &U);
            lnmecpa(c, &T, &Q, &U);
            lnmecpa(c, &T, &P, &T);
            EXPECT_EQ(affine(c, S), affine(c, T));
            T = Q;
            lnmecpa(c, &T, &P, &T);
            lnmecpa(c, &T, &T, &U);
            EXPECT_EQ(affine(c, S), affine(c, T));
            T = P;
            c->dbl(c, &T, &T);
            EXPECT_EQ(affine(c, T), affine(c, *lnmecpa(c, &S, &P, &P)));
            // a P + b P = (a + b) P, with the sum taken as it is (may pass q).
            Num ab(LNMBIG_WORDS);
            lnmcopy(ab.data(), a.data());
            lnmadd(ab.data(), b.data());
            lnmeckp(c, &S, a.data(), &U);
            lnmeckp(c, &T, b.data(), &U);
            lnmecpa(c, &S, &S, &T);
            EXPECT_EQ(affine(c, S), affine(c, *lnmeckp(c, &T, ab.data(), &U)));
            // lnmecakp against two single multiplications, and its edges.
            lnmeckp(c, &S, a.data(), &P);
            lnmeckp(c, &T, b.data(), &Q);
            lnmecpa(c, &S, &S, &T);
            T = P;
            EXPECT_EQ(affine(c, *lnmecakp(c, &T, a.data(), &T, b.data(), &Q)), affine(c, S));
            T = Q;
            EXPECT_EQ(affine(c, *lnmecakp(c, &T, a.data(), &P, b.data(), &T)), affine(c, S));
            lnmeckp(c, &S, a.data(), &P);
            EXPECT_EQ(affine(c, *lnmecakp(c, &T, a.data(), &P, LNMBIG_ZERO, &Q)), affine(c, S));
            EXPECT_TRUE(is_infinity(*lnmecakp(c, &T, LNMBIG_ZERO, &P, LNMBIG_ZERO, &Q)));
            // The padded table multiplication gives the unpadded result.
            lnmecickp(c, &S, F.ctx.table, a.data(), 5, 256);
            EXPECT_EQ(affine(c, S), affine(c, *lnmecickp(c, &T, F.ctx.table, a.data(), 5, 0)));
            EXPECT_EQ(affine(c, S), mul_g(F.ctx, a));
            // lnmeckp over its own input.
            T = P;
            EXPECT_EQ(affine(c, *lnmeckp(c, &T, b.data(), &T)),
                      affine(c, *lnmeckp(c, &S, b.data(), &P)));
        }
        // k G for k = 0, 1, q - 1, q, q + 1.
        const Bytes g = affine(c, F.ctx.G);
        lnmec_point negG = F.ctx.G;
        lnmecpneg(c, &negG);
        Mpz k;
        const std::pair<long, Bytes> edges[] = {
            {-1, Bytes(64, 0)}, {0, g}, {1, affine(c, negG)}, {2, Bytes(64, 0)}, {3, g}};
        for (const auto &[which, want] : edges) {
            if (which < 0) mpz_set_ui(k, 0);
            if (which == 0) mpz_set_ui(k, 1);
            if (which >= 1) mpz_set(k, F.q);
            if (which == 1) mpz_sub_ui(k, k, 1);
            if (which == 3) mpz_add_ui(k, k, 1);
            EXPECT_EQ(mul_g(F.ctx, big(k)), want) << which;
            lnmecickp(c, &S, F.ctx.table, big(k).data(), 5, 0);
            EXPECT_EQ(affine(c, S), want) << which;
            lnmecakp(c, &S, big(k).data(), &F.ctx.G, LNMBIG_ZERO, &F.ctx.G);
            EXPECT_EQ(affine(c, S), want) << which;
        }
        // Odd-multiple tables of other widths.
        for (uint32_t w : {1u, 2u, 3u, 4u}) {
            lnmec_point table[8];
            lnmecic(c, table, &F.ctx.G, w);
            for (uint32_t i = 0; i < (w < 2 ? 2u : 1u << (w - 1)); i++)
                EXPECT_EQ(affine(c, table[i]), mul_g(F.ctx, Num{1, 2 * i + 1})) << w;
            const Num e = big(F.scalar(rng));
            EXPECT_EQ(affine(c, *lnmecickp(c, &S, table, e.data(), w, 0)), mul_g(F.ctx, e));
        }
    }
}

TEST(GostR341001, CurvePointEdges) {
    Fixture F("A");
    const ParamSet &ps = paramsets().at("A");
    const lnmec_ctx *c = &F.ctx.curve;
    Num p = big(ps.p), a = big(ps.a), b = big(ps.b), x = big(ps.x), y = big(ps.y);
    lnmec_point P, S, T;
    // Off the curve: NULL and a zeroed record.
    Num y1 = y;
    lnmadd(y1.data(), LNMBIG_ONE);
    std::memset(&P, 0x5A, sizeof P);
    EXPECT_EQ(lnmecpcr(c, &P, x.data(), y1.data()), nullptr);
    EXPECT_EQ(to_hex(reinterpret_cast<uint8_t *>(&P), sizeof P), to_hex(Bytes(sizeof P, 0)));
    EXPECT_EQ(lnmecpcr(nullptr, &P, x.data(), y.data()), nullptr);
    EXPECT_EQ(lnmecpcr(c, nullptr, x.data(), y.data()), nullptr);
    // Infinity: lnmecpxy writes zeros and returns 0; negation keeps it.
    ASSERT_EQ(lnmecpcr(c, &P, LNMBIG_ZERO, LNMBIG_ZERO), &P);
    uint32_t ox[LNMPFF_WORDS] = {5, 1, 2, 3, 4, 5}, oy[LNMPFF_WORDS] = {1, 7};
    EXPECT_EQ(lnmecpxy(c, &P, ox, oy), 0);
    EXPECT_EQ(ox[0] | oy[0], 0u);
    EXPECT_TRUE(is_infinity(*lnmecpneg(c, &P)));
    EXPECT_TRUE(is_infinity(*c->dbl(c, &S, &P)));
    // a = -3 given unreduced selects the general doubling, with equal points.
    Num a2 = a;
    lnmadd(a2.data(), p.data());
    lnmec_ctx general;
    ASSERT_EQ(lnmeccr(&general, p.data(), a2.data(), b.data()), &general);
    EXPECT_EQ(general.dbl, lnmecpd);
    EXPECT_EQ(c->dbl, lnmecpd_3);
    ASSERT_EQ(lnmecpcr(&general, &P, x.data(), y.data()), &P);
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(affine(c, *lnmecpd_3(c, &S, &P)), affine(&general, *lnmecpd(&general, &T, &P)));
        P = S;
    }
    EXPECT_EQ(lnmeccr(&general, p.data(), a.data(), nullptr), nullptr);
    EXPECT_EQ(lnmeccr(&general, LNMBIG_ZERO, a.data(), b.data()), nullptr);
    // A point of order 2, (5, 0) on y^2 = x^3 - 3x - 110: doubling gives O.
    Mpz pz(p.data()), bz;
    mpz_sub_ui(bz, pz, 110);
    lnmec_ctx two;
    ASSERT_EQ(lnmeccr(&two, p.data(), a.data(), big(bz).data()), &two);
    ASSERT_EQ(lnmecpcr(&two, &P, Num{1, 5}.data(), LNMBIG_ZERO), &P);
    EXPECT_TRUE(is_infinity(*lnmecpd_3(&two, &S, &P)));
    EXPECT_TRUE(is_infinity(*lnmecpd(&two, &S, &P)));
    EXPECT_TRUE(is_infinity(*lnmecpa(&two, &S, &P, &P)));
    // Clearing.
    lnmeccl(&two);
    lnmecpcl(&P);
    EXPECT_EQ(to_hex(reinterpret_cast<uint8_t *>(&two), sizeof two), to_hex(Bytes(sizeof two, 0)));
    EXPECT_EQ(to_hex(reinterpret_cast<uint8_t *>(&P), sizeof P), to_hex(Bytes(sizeof P, 0)));
    lnmeccl(nullptr);
    lnmecpcl(nullptr);
}

namespace {

// One call and the code it must return; `out` is its output buffer, which
// must be untouched unless the code is 0.
struct CodeCase {
    std::string name;
    uint32_t want;
    std::function<uint32_t(uint8_t *out)> call;
};

}  // namespace

TEST(GostR341001, EveryResultCodeAndNothingWrittenOnFailure) {
    Rng rng(0x3402);
    Fixture F("test");
    const rds_ctx *ctx = &F.ctx;
    const ParamSet &ps = paramsets().at("test");
    const Bytes d = F.scalar(rng), k = F.scalar(rng), d2 = F.scalar(rng), h = rng.bytes(32);
    const Bytes zero(32, 0), q = ps.q, p = ps.p;
    Bytes pub(64), pub2(64), sig(64);
    ASSERT_EQ(rds_gen_keys(ctx, d.data(), pub.data()), 0u);
    ASSERT_EQ(rds_gen_keys(ctx, d2.data(), pub2.data()), 0u);
    ASSERT_EQ(rds_sign(ctx, d.data(), k.data(), h.data(), sig.data()), 0u);
    const Bytes ukm = {0, 0, 0, 0, 0, 0, 0, 1}, ukm0(8, 0);
    auto with = [](Bytes b, size_t at, const Bytes &part) {
        std::copy(part.begin(), part.end(), b.begin() + at);
        return b;
    };
    Mpz t;
    mpz_from_be(t, ps.y.data());
    mpz_add(t, t, Mpz(Num{1, 1}.data()));
    const Bytes pub_off = with(pub, 32, be_from_mpz(t));  // off the curve
    const Bytes pub_yp = with(pub, 32, p), pub_xp = with(pub, 0, p);
    const Bytes sig_r0 = with(sig, 32, zero), sig_rq = with(sig, 32, q);
    const Bytes sig_s0 = with(sig, 0, zero), sig_sq = with(sig, 0, q);
    const Bytes sig_swapped =
        cat(Bytes(sig.begin() + 32, sig.end()), Bytes(sig.begin(), sig.begin() + 32));
    Bytes h2 = h;
    h2[31] ^= 1;
    // s = 0: the hash e with k e = -r d (mod q), r from k alone.
    Mpz r, e, z;
    mpz_from_be(r, sig.data() + 32);
    mpz_from_be(z, d.data());
    mpz_mul(e, r, z);
    mpz_neg(e, e);
    mpz_from_be(z, k.data());
    mpz_invert(z, z, F.q);
    mpz_mul(e, e, z);
    mpz_mod(e, e, F.q);
    const Bytes h_s0 = be_from_mpz(e);

    uint8_t b32[32];
    const std::vector<CodeCase> cases = {
        // rds_get_prms
        {"get_prms null ctx", 7,
         [&](uint8_t *o) { return rds_get_prms(nullptr, o, b32, b32, b32, b32, b32); }},
        {"get_prms null y", 7,
         [&](uint8_t *o) { return rds_get_prms(ctx, o, b32, b32, b32, b32, nullptr); }},
        // rds_gen_keys
        {"gen_keys null ctx", 7, [&](uint8_t *o) { return rds_gen_keys(nullptr, d.data(), o); }},
        {"gen_keys null d", 7, [&](uint8_t *o) { return rds_gen_keys(ctx, nullptr, o); }},
        {"gen_keys d = 0", 2, [&](uint8_t *o) { return rds_gen_keys(ctx, zero.data(), o); }},
        {"gen_keys d = q", 2, [&](uint8_t *o) { return rds_gen_keys(ctx, q.data(), o); }},
        // rds_sign
        {"sign null hash", 7,
         [&](uint8_t *o) { return rds_sign(ctx, d.data(), k.data(), nullptr, o); }},
        {"sign null k", 7,
         [&](uint8_t *o) { return rds_sign(ctx, d.data(), nullptr, h.data(), o); }},
        {"sign d = 0", 6,
         [&](uint8_t *o) { return rds_sign(ctx, zero.data(), k.data(), h.data(), o); }},
        {"sign d = q", 6,
         [&](uint8_t *o) { return rds_sign(ctx, q.data(), k.data(), h.data(), o); }},
        {"sign d = q, k = 0", 6,
         [&](uint8_t *o) { return rds_sign(ctx, q.data(), zero.data(), h.data(), o); }},
        {"sign k = 0", 2,
         [&](uint8_t *o) { return rds_sign(ctx, d.data(), zero.data(), h.data(), o); }},
        {"sign k = q", 2,
         [&](uint8_t *o) { return rds_sign(ctx, d.data(), q.data(), h.data(), o); }},
        {"sign s = 0", 2,
         [&](uint8_t *o) { return rds_sign(ctx, d.data(), k.data(), h_s0.data(), o); }},
        // rds_verify (no output: the buffer stands in)
        {"verify null sig", 7,
         [&](uint8_t *) { return rds_verify(ctx, pub.data(), h.data(), nullptr); }},
        {"verify null ctx", 7,
         [&](uint8_t *) { return rds_verify(nullptr, pub.data(), h.data(), sig.data()); }},
        {"verify pub x = p", 5,
         [&](uint8_t *) { return rds_verify(ctx, pub_xp.data(), h.data(), sig.data()); }},
        {"verify pub y = p", 5,
         [&](uint8_t *) { return rds_verify(ctx, pub_yp.data(), h.data(), sig.data()); }},
        {"verify pub off curve", 5,
         [&](uint8_t *) { return rds_verify(ctx, pub_off.data(), h.data(), sig.data()); }},
        {"verify pub off curve, r = 0", 5,
         [&](uint8_t *) { return rds_verify(ctx, pub_off.data(), h.data(), sig_r0.data()); }},
        {"verify valid", 0,
         [&](uint8_t *) { return rds_verify(ctx, pub.data(), h.data(), sig.data()); }},
        {"verify r = 0", 1,
         [&](uint8_t *) { return rds_verify(ctx, pub.data(), h.data(), sig_r0.data()); }},
        {"verify r = q", 1,
         [&](uint8_t *) { return rds_verify(ctx, pub.data(), h.data(), sig_rq.data()); }},
        {"verify s = 0", 1,
         [&](uint8_t *) { return rds_verify(ctx, pub.data(), h.data(), sig_s0.data()); }},
        {"verify s = q", 1,
         [&](uint8_t *) { return rds_verify(ctx, pub.data(), h.data(), sig_sq.data()); }},
        {"verify halves swapped", 1,
         [&](uint8_t *) { return rds_verify(ctx, pub.data(), h.data(), sig_swapped.data()); }},
        {"verify other hash", 1,
         [&](uint8_t *) { return rds_verify(ctx, pub.data(), h2.data(), sig.data()); }},
        {"verify other key", 1,
         [&](uint8_t *) { return rds_verify(ctx, pub2.data(), h.data(), sig.data()); }},
        {"verify zero key (infinity)", 1,
         [&](uint8_t *) { return rds_verify(ctx, Bytes(64, 0).data(), h.data(), sig.data()); }},
        // vko341001_gen_pubkey
        {"vko pubkey null pub", 7,
         [&](uint8_t *) { return vko341001_gen_pubkey(ctx, d.data(), nullptr); }},
        {"vko pubkey null d", 7, [&](uint8_t *o) { return vko341001_gen_pubkey(ctx, nullptr, o); }},
        {"vko pubkey d = 0", 6,
         [&](uint8_t *o) { return vko341001_gen_pubkey(ctx, zero.data(), o); }},
        {"vko pubkey d = q", 6, [&](uint8_t *o) { return vko341001_gen_pubkey(ctx, q.data(), o); }},
        // vko341001_gen_kek
        {"kek null ukm", 7,
         [&](uint8_t *o) { return vko341001_gen_kek(ctx, o, d.data(), pub2.data(), nullptr); }},
        {"kek null pub", 7,
         [&](uint8_t *o) { return vko341001_gen_kek(ctx, o, d.data(), nullptr, ukm.data()); }},
        {"kek null d", 7,
         [&](uint8_t *o) { return vko341001_gen_kek(ctx, o, nullptr, pub2.data(), ukm.data()); }},
        {"kek null ctx", 7,
         [&](uint8_t *o) {
             return vko341001_gen_kek(nullptr, o, d.data(), pub2.data(), ukm.data());
         }},
        {"kek pub y = p, d = 0", 5,
         [&](uint8_t *o) {
             return vko341001_gen_kek(ctx, o, zero.data(), pub_yp.data(), ukm0.data());
         }},
        {"kek pub off curve", 5,
         [&](uint8_t *o) {
             return vko341001_gen_kek(ctx, o, d.data(), pub_off.data(), ukm.data());
         }},
        {"kek d = 0", 6,
         [&](uint8_t *o) {
             return vko341001_gen_kek(ctx, o, zero.data(), pub2.data(), ukm.data());
         }},
        {"kek d = q, ukm = 0", 6,
         [&](uint8_t *o) { return vko341001_gen_kek(ctx, o, q.data(), pub2.data(), ukm0.data()); }},
        {"kek ukm = 0", 9,
         [&](uint8_t *o) { return vko341001_gen_kek(ctx, o, d.data(), pub2.data(), ukm0.data()); }},
        {"kek valid", 0,
         [&](uint8_t *o) { return vko341001_gen_kek(ctx, o, d.data(), pub2.data(), ukm.data()); }},
    };
    for (const auto &cs : cases) {
        SCOPED_TRACE(cs.name);
        Bytes out(64, 0xA5);
        EXPECT_EQ(cs.call(out.data()), cs.want);
        if (cs.want != 0) {
            EXPECT_EQ(out, Bytes(64, 0xA5));
        }
    }

    // rds_init: each rejected parameter with its code, checked in order.
    Mpz pz;
    mpz_from_be(pz, p.data());
    Bytes p_even = p, p254(32, 0), q_small(32, 0), y_off = be_from_mpz(t);
    p_even[31] ^= 1;
    p254[0] = 0x3F;
    p254[31] = 0xFF;
    q_small[1] = 0x3F;  // q + 1 of 254 bits
    const Bytes *P = &ps.p, *A = &ps.a, *B = &ps.b, *Q = &ps.q, *X = &ps.x, *Y = &ps.y;
    struct InitCase {
        const char *name;
        uint32_t want;
        const Bytes *args[6];
    };
    const InitCase inits[] = {
        {"even p", 3, {&p_even, A, B, Q, X, Y}},
        {"254-bit p", 3, {&p254, A, B, Q, X, Y}},
        {"p = 0", 3, {&zero, A, B, Q, X, Y}},
        {"a = 0", 3, {P, &zero, B, Q, X, Y}},
        {"a = p", 3, {P, &p, B, Q, X, Y}},
        {"b = 0", 3, {P, A, &zero, Q, X, Y}},
        {"b = p", 3, {P, A, &p, Q, X, Y}},
        {"b = p, y = p", 3, {P, A, &p, Q, X, &p}},
        {"x = p", 4, {P, A, B, Q, &p, Y}},
        {"y = p", 4, {P, A, B, Q, X, &p}},
        {"off-curve base", 4, {P, A, B, Q, X, &y_off}},
        {"q + 1 short", 8, {P, A, B, &q_small, X, Y}},
        {"q = 0", 8, {P, A, B, &zero, X, Y}},
        {"off-curve base, q = 0", 4, {P, A, B, &zero, X, &y_off}},
        {"base point at infinity", 0, {P, A, B, Q, &zero, &zero}},
    };
    for (const auto &ic : inits) {
        SCOPED_TRACE(ic.name);
        rds_ctx c;
        EXPECT_EQ(rds_init(&c, ic.args[0]->data(), ic.args[1]->data(), ic.args[2]->data(),
                           ic.args[3]->data(), ic.args[4]->data(), ic.args[5]->data()),
                  ic.want);
        if (ic.want == 0) {
            uint8_t o[6][32];
            ASSERT_EQ(rds_get_prms(&c, o[0], o[1], o[2], o[3], o[4], o[5]), 0u);
            EXPECT_EQ(to_hex(o[4], 32) + to_hex(o[5], 32), std::string(128, '0'));
        }
    }
    for (int i = 0; i < 7; i++) {
        rds_ctx c;
        const uint8_t *a[6] = {P->data(), A->data(), B->data(), Q->data(), X->data(), Y->data()};
        if (i < 6) a[i] = nullptr;
        rds_ctx *cp = i < 6 ? &c : nullptr;
        EXPECT_EQ(rds_init(cp, a[0], a[1], a[2], a[3], a[4], a[5]), 7u) << i;
        EXPECT_EQ(vko341001_init(cp, a[0], a[1], a[2], a[3], a[4], a[5]), 7u) << i;
    }
}

TEST(GostR341001, HashValuesReduceModQAndZeroCountsAsOne) {
    Rng rng(0x3403);
    Fixture F("A");
    const Bytes d = F.scalar(rng), k = F.scalar(rng);
    const Bytes one = be_from_mpz(Mpz(Num{1, 1}.data()));
    Bytes zero(32, 0), q = paramsets().at("A").q, q_plus(32);
    Mpz t;
    mpz_add_ui(t, F.q, 5);
    mpz_mod_2exp(t, t, 256);
    q_plus = be_from_mpz(t);
    uint8_t want[64], got[64];
    ASSERT_EQ(rds_sign(&F.ctx, d.data(), k.data(), one.data(), want), 0u);
    for (const Bytes *h : {&zero, &q}) {
        ASSERT_EQ(rds_sign(&F.ctx, d.data(), k.data(), h->data(), got), 0u);
        EXPECT_EQ(to_hex(got, 64), to_hex(want, 64));
    }
    // q + 5 (wrapped below 2^256) and 5 sign alike.
    const Bytes five = be_from_mpz(Mpz(Num{1, 5}.data()));
    mpz_sub(t, t, Mpz(Num{1, 5}.data()));
    if (mpz_cmp(t, F.q) == 0) {
        ASSERT_EQ(rds_sign(&F.ctx, d.data(), k.data(), five.data(), want), 0u);
        ASSERT_EQ(rds_sign(&F.ctx, d.data(), k.data(), q_plus.data(), got), 0u);
        EXPECT_EQ(to_hex(got, 64), to_hex(want, 64));
    }
    // VKO with the point at infinity as the peer: the hash of 64 zero bytes.
    uint8_t kek[32];
    const Bytes ukm = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_EQ(vko341001_gen_kek(&F.ctx, kek, d.data(), Bytes(64, 0).data(), ukm.data()), 0u);
    EXPECT_EQ(to_hex(kek, 32), to_hex(gost94(Bytes(64, 0))));
}

TEST(GostR341001, RoundTripsAndRandomBytesOnEveryCurve) {
    Rng rng(0x3404);
    for (const char *name : kCurves) {
        SCOPED_TRACE(name);
        Fixture F(name);
        const ParamSet &ps = paramsets().at(name);
        for (int i = 0; i < 12; i++) {
            const Bytes d = F.scalar(rng), k = F.scalar(rng), h = rng.bytes(32);
            uint8_t pub[64], sig[64], kek1[32], kek2[32], pub2[64];
            ASSERT_EQ(rds_gen_keys(&F.ctx, d.data(), pub), 0u);
            ASSERT_EQ(rds_sign(&F.ctx, d.data(), k.data(), h.data(), sig), 0u);
            ASSERT_EQ(rds_verify(&F.ctx, pub, h.data(), sig), 0u);
            // One flipped bit anywhere in the signature or the hash fails.
            Bytes bad(sig, sig + 64);
            bad[rng.below(64)] ^= uint8_t(1u << rng.below(8));
            EXPECT_EQ(rds_verify(&F.ctx, pub, h.data(), bad.data()), 1u);
            Bytes badh = h;
            badh[rng.below(32)] ^= uint8_t(1u << rng.below(8));
            EXPECT_EQ(rds_verify(&F.ctx, pub, badh.data(), sig), 1u);
            // A flipped bit of the key makes it off the curve or another key.
            Bytes badk(pub, pub + 64);
            badk[rng.below(64)] ^= uint8_t(1u << rng.below(8));
            const uint32_t code = rds_verify(&F.ctx, badk.data(), h.data(), sig);
            EXPECT_TRUE(code == 1 || code == 5) << code;
            // VKO both ways.
            const Bytes d2 = F.scalar(rng), ukm = rng.bytes(8);
            ASSERT_EQ(vko341001_gen_pubkey(&F.ctx, d2.data(), pub2), 0u);
            const uint32_t c1 = vko341001_gen_kek(&F.ctx, kek1, d.data(), pub2, ukm.data());
            const uint32_t c2 = vko341001_gen_kek(&F.ctx, kek2, d2.data(), pub, ukm.data());
            ASSERT_EQ(c1, c2);
            if (c1 == 0) {
                EXPECT_EQ(to_hex(kek1, 32), to_hex(kek2, 32));
            }
        }
        // Random bytes where parameters, keys and signatures go: a code, no crash.
        for (int i = 0; i < 100; i++) {
            rds_ctx c;
            Bytes r[6];
            for (auto &x : r) x = rng.bytes(32);
            const Bytes *mix[6] = {&ps.p, &ps.a, &ps.b, &ps.q, &ps.x, &ps.y};
            const uint32_t which = rng.below(7);
            if (which < 6) {  // one random parameter among valid ones
                for (int j = 0; j < 6; j++)
                    if (uint32_t(j) != which) r[j] = *mix[j];
            }
            const uint32_t code = rds_init(&c, r[0].data(), r[1].data(), r[2].data(), r[3].data(),
                                           r[4].data(), r[5].data());
            EXPECT_TRUE(code == 0 || code == 3 || code == 4 || code == 8) << code;
            const Bytes pub = rng.bytes(64), sig = rng.bytes(64), h = rng.bytes(32);
            const uint32_t v = rds_verify(&F.ctx, pub.data(), h.data(), sig.data());
            EXPECT_TRUE(v == 1 || v == 5) << v;
            uint8_t kek[32];
            const uint32_t kc = vko341001_gen_kek(&F.ctx, kek, rng.bytes(32).data(), pub.data(),
                                                  rng.bytes(8).data());
            EXPECT_TRUE(kc == 0 || kc == 5 || kc == 6 || kc == 9) << kc;
        }
    }
}

TEST(GostR341001Threads, OneContextSignsAndVerifiesInManyThreadsAtOnce) {
    Rng rng(0x3405);
    for (const char *name : {"A", "test"}) {
        SCOPED_TRACE(name);
        Fixture F(name);
        constexpr int kThreads = 4, kEach = 6;
        struct Job {
            Bytes d, k, h, ukm, pub, sig, kek;
        };
        std::vector<Job> jobs(kThreads * kEach);
        for (auto &j : jobs) {
            j.d = F.scalar(rng);
            j.k = F.scalar(rng);
            j.h = rng.bytes(32);
            j.ukm = rng.bytes(8);
            j.pub.resize(64);
            j.sig.resize(64);
            j.kek.resize(32);
            ASSERT_EQ(rds_gen_keys(&F.ctx, j.d.data(), j.pub.data()), 0u);
            ASSERT_EQ(rds_sign(&F.ctx, j.d.data(), j.k.data(), j.h.data(), j.sig.data()), 0u);
        }
        for (size_t i = 0; i < jobs.size(); i++)
            ASSERT_EQ(vko341001_gen_kek(&F.ctx, jobs[i].kek.data(), jobs[i].d.data(),
                                        jobs[(i + 1) % jobs.size()].pub.data(), jobs[i].ukm.data()),
                      0u);
        std::vector<int> bad(kThreads, 0);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; t++)
            threads.emplace_back([&, t] {
                for (int n = 0; n < kEach; n++) {
                    const size_t i = size_t(t * kEach + n);
                    const Job &j = jobs[i];
                    uint8_t pub[64], sig[64], kek[32];
                    bad[t] +=
                        rds_gen_keys(&F.ctx, j.d.data(), pub) != 0 || Bytes(pub, pub + 64) != j.pub;
                    bad[t] += rds_sign(&F.ctx, j.d.data(), j.k.data(), j.h.data(), sig) != 0 ||
                              Bytes(sig, sig + 64) != j.sig;
                    bad[t] += rds_verify(&F.ctx, j.pub.data(), j.h.data(), j.sig.data()) != 0;
                    bad[t] += vko341001_gen_kek(&F.ctx, kek, j.d.data(),
                                                jobs[(i + 1) % jobs.size()].pub.data(),
                                                j.ukm.data()) != 0 ||
                              Bytes(kek, kek + 32) != j.kek;
                }
            });
        for (auto &th : threads) th.join();
        for (int t = 0; t < kThreads; t++) EXPECT_EQ(bad[t], 0) << "thread " << t;
    }
}
