// Binary curves and DSTU 4145-2002 on the published curves and examples:
// group law, stepped multiplication, compression, signatures, result codes,
// the pool, key agreement, Bouncy Castle both ways, and threads.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <thread>
#include "ec2_curves.hpp"
#ifdef LNCEXT_HAVE_BCPROV
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

using namespace ec2_test;
using lncext_test::Rng;
using lncext_test::to_hex;
using Big = std::vector<uint32_t>;
constexpr int OK = DSTU_OK, ARG = DSTU_BAD_ARGUMENT, SIG = DSTU_BAD_SIGNATURE,
              CURVE = DSTU_BAD_CURVE, BASE = DSTU_BAD_BASE_POINT, PUB = DSTU_BAD_PUBLIC_KEY,
              PRIV = DSTU_BAD_PRIVATE_KEY;

// The pool's random source: the thread's seeded generator, or without one
// the fixed e of an example (zero-padded); it counts its calls.
thread_local Rng *thread_rng = nullptr;
thread_local Bytes fixed_e;
thread_local int rnd_calls = 0;
int seeded_rnd(uint8_t *buf, uint32_t len) {
    ++rnd_calls;
    for (uint32_t i = 0; i < len; ++i)
        buf[i] = thread_rng ? uint8_t(thread_rng->word()) : i < fixed_e.size() ? fixed_e[i] : 0;
    return 0;
}
// k P, affine; a random multiple a G with a; P compressed as bytes.
std::string mul(const lnme2_ctx *cv, const Big &k, const lnme2_point &P) {
    lnme2_point R = infinity(cv);
    return affine(cv, *lnme2kp(cv, &R, k.data(), &P));
}
lnme2_point random_point(const dstu_ctx *ctx, Rng &rng, Big &a) {
    a = big(rng.bytes(ctx->key_bytes));
    lnmmodexpb2(a.data(), lnmbitlen(ctx->n, 1) - 1);
    lnme2_point R = infinity(&ctx->curve);
    return *lnme2kp(&ctx->curve, &R, a.data(), &ctx->P);
}
Bytes compress(const lnme2_ctx *cv, lnme2_point P) {
    Bytes b((cv->m + 8) / 8);
    lnm2ptob(b.data(), lnme2comp(cv, Elem(cv).p(), &P), int(b.size()));
    return b;
}
// Key pairs and signatures into outputs of exactly the stated lengths.
struct Keys {
    Bytes priv, pub;
};
Keys gen_keys(const dstu_ctx *ctx, dstu_bspool_ctx *pool) {
    Keys k{Bytes(ctx->key_bytes), Bytes(ctx->field_bytes)};
    int dl = int(ctx->key_bytes), ql = int(ctx->field_bytes);
    EXPECT_EQ(dstu_gen_keys(ctx, pool, &dl, k.priv.data(), &ql, k.pub.data()), DSTU_OK);
    EXPECT_TRUE(dl == int(ctx->key_bytes) && ql == int(ctx->field_bytes));
    return k;
}
Bytes sign(const dstu_ctx *ctx, dstu_bspool_ctx *pool, const Bytes &d, const Bytes &h, int hbits) {
    Bytes sig(ctx->sig_bytes);
    int sl = int(sig.size());
    EXPECT_EQ(dstu_sign(ctx, pool, int(d.size()), d.data(), hbits, h.data(), &sl, sig.data()), OK);
    EXPECT_EQ(sl, int(ctx->sig_bytes));
    return sig;
}
int verify(const dstu_ctx *ctx, const Bytes &pub, const Bytes &hash, int hbits, const Bytes &sig) {
    return dstu_verify(ctx, int(pub.size()), pub.data(), hbits, hash.data(), int(sig.size()),
                       sig.data());
}

TEST(Ec2Curve, BasePointsHaveOrderNTheGroupLawHoldsAndCompressionRoundTrips) {
    Rng rng(41);
    for (const auto &c : named_curves()) {
        auto ctx = make_ctx(c);
        const lnme2_ctx *cv = &ctx->curve;
        const uint32_t nbits = lnmbitlen(ctx->n, 1);
        EXPECT_TRUE(ctx->key_bytes == (nbits + 6) / 8 && ctx->sig_bytes == (nbits + 7) / 8 * 2);
        Elem x(cv, c.px), y(cv, c.py), zero(cv), big_x(cv), one(cv);
        lnme2_point G = infinity(cv), H = G, O = G, D = G;
        ASSERT_NE(lnme2pcr(cv, &G, x.p(), y.p()), nullptr) << c.name;
        EXPECT_EQ(affine(cv, ctx->P), affine(cv, G)) << c.name;
        // n G = O; (n - 1) G = -G; (n + 1) G = G; table entry j is (2j + 1) G.
        Big n = big(c.n);
        EXPECT_EQ(mul(cv, n, G), "inf") << c.name;
        lnmsub(n.data(), LNMBIG_ONE);
        EXPECT_EQ(mul(cv, n, G), affine(cv, *lnme2pneg(cv, &(H = G)))) << c.name;
        lnmaddb2(n.data(), 1);
        EXPECT_EQ(mul(cv, n, G), affine(cv, G)) << c.name;
        for (uint32_t j : {0u, 1u, 31u}) {
            const uint32_t *e = ctx->table + 2 * j * LNM2_POLY_WORDS;
            ASSERT_NE(lnme2pcr(cv, &H, e, e + LNM2_POLY_WORDS), nullptr) << j;
            EXPECT_EQ(affine(cv, H), mul(cv, {1, 2 * j + 1}, G)) << c.name << " entry " << j;
        }
        for (int iter = 0, none = 0; iter < 32; ++iter) {
            // Multiples of G compress and come back; a y exists for about
            // half of the x.
            Big a, b, ab(LNMBIG_WORDS);
            Bytes xb = rng.bytes(ctx->field_bytes);
            xb.back() &= uint8_t((1u << (c.m % 8)) - 1);
            Elem cx(cv), xr(cv, xb);
            lnme2_point P = random_point(ctx.get(), rng, a), R = infinity(cv), S = R, T = R;
            ASSERT_NE(lnme2exp(cv, &R, lnme2comp(cv, cx.p(), &P)), nullptr) << c.name;
            EXPECT_EQ(affine(cv, R), affine(cv, P)) << c.name;
            none += lnme2pcr(cv, &S, xr.p(), nullptr) == nullptr;
            EXPECT_TRUE(iter < 31 || (none > 4 && none < 28)) << c.name << " " << none;
            if (iter >= 4) continue;
            lnme2_point Q = random_point(ctx.get(), rng, b), Pa = P, Qa = Q, twoP = R;
            lnme2pxy(cv, &Pa, nullptr, nullptr);
            lnme2pxy(cv, &Qa, nullptr, nullptr);
            // P + Q = Q + P through both additions, and = (a + b) G.
            lnme2pa(cv, &R, &P, Qa.X, Qa.Y);
            EXPECT_EQ(affine(cv, R), affine(cv, *lnme2paa(cv, &S, &Q, &Pa))) << c.name;
            lnmadd(lnmcopy(ab.data(), a.data()), b.data());
            EXPECT_EQ(mul(cv, ab, ctx->P), affine(cv, R)) << c.name;
            // 2P by doubling (also in place) and by addition is (2a) G.
            lnme2pd(cv, &twoP, &P);
            lnmadd(lnmcopy(ab.data(), a.data()), a.data());
            EXPECT_EQ(affine(cv, twoP), mul(cv, ab, ctx->P)) << c.name;
            EXPECT_EQ(affine(cv, *lnme2paa(cv, &S, &Pa, &Pa)), affine(cv, twoP));
            EXPECT_EQ(affine(cv, *lnme2pa(cv, &S, &P, Pa.X, Pa.Y)), affine(cv, twoP));
            EXPECT_EQ(affine(cv, *lnme2pd(cv, &(S = P), &S)), affine(cv, twoP));
            // P + (-P) = O; -(-P) = P; P + O = O + P = P.
            lnme2_point negP = Pa;
            lnme2pneg(cv, &negP);
            EXPECT_EQ(affine(cv, *lnme2pa(cv, &S, &negP, Pa.X, Pa.Y)), "inf");
            EXPECT_EQ(affine(cv, *lnme2paa(cv, &S, &negP, &Pa)), "inf");
            EXPECT_EQ(affine(cv, *lnme2pneg(cv, &negP)), affine(cv, P));
            EXPECT_EQ(affine(cv, *lnme2pa(cv, &S, &P, zero.p(), zero.p())), affine(cv, P));
            EXPECT_EQ(affine(cv, *lnme2paa(cv, &S, &O, &Pa)), affine(cv, P));
            // a Q + b P jointly, and with a scalar zero.
            lnme2kp(cv, &T, a.data(), &Q);
            lnme2kp(cv, &R, b.data(), &P);
            lnme2pxy(cv, &R, nullptr, nullptr);
            lnme2skp(cv, &S, a.data(), &Q, b.data(), &P);
            EXPECT_EQ(affine(cv, S), affine(cv, *lnme2pa(cv, &T, &T, R.X, R.Y))) << c.name;
            EXPECT_EQ(affine(cv, *lnme2skp(cv, &S, a.data(), &Q, LNMBIG_ZERO, &P)), mul(cv, a, Q));
        }
        // Off the curve: refused. 0 is (0, sqrt b) of order 2 and compresses O;
        // values of degree m or more are no points, nor (with a = 0) is 1.
        lnm2pinc(y.p());
        EXPECT_EQ(lnme2pcr(cv, &H, x.p(), y.p()), nullptr) << c.name;
        ASSERT_NE(lnme2exp(cv, &H, zero.p()), nullptr);
        EXPECT_TRUE(lnm2p_is_zero(H.X) && !lnme2p_is_inf(cv, &H));
        EXPECT_EQ(affine(cv, *lnme2pd(cv, &D, &H)), "inf");
        lnm2pinc(one.p());
        EXPECT_TRUE(lnm2p_is_zero(lnme2comp(cv, one.p(), &O)));
        lnm2psbit(big_x.p(), cv->m, 1);
        EXPECT_EQ(lnme2exp(cv, &H, big_x.p()), nullptr);
        lnm2pinc(one.p());
        EXPECT_TRUE(cv->a == 1 || !lnme2exp(cv, &H, one.p())) << c.name;
    }
}

TEST(Ec2Curve, SteppedMultiplicationEqualsOneCall) {
    Rng rng(43);
    for (const auto &c : named_curves()) {
        auto ctx = make_ctx(c);
        const lnme2_ctx *cv = &ctx->curve;
        for (int iter = 0; iter < 5; ++iter) {
            // One byte, zero, full size; 176 = 1011 0000b with w = 5: the window
            // 1011, then four zero bits.
            Big k = iter == 1 ? big({0}) : big(rng.bytes(iter == 0 ? 1 : ctx->key_bytes));
            if (iter == 4) k = {1, 176};
            const uint32_t w = iter == 4 ? 5 : ctx->win;
            lnme2_kpic_ctx kc;
            lnme2_point out = infinity(cv), again = out;
            uint32_t steps = 1;
            for (lnme2kpic_init(&kc, cv, k.data(), ctx->table, w); !lnme2kpic_step(&kc, &out);)
                EXPECT_TRUE(affine(cv, out) == "inf" && (iter != 4 || kc.remaining == 4))
                    << steps++;
            EXPECT_TRUE(kc.remaining == 0 && steps <= (iter == 4 ? 2 : lnmbitlen(k.data(), 1) + 1));
            // The result; a finished state returns 1 again and copies again.
            const std::string want = mul(cv, k, ctx->P);
            EXPECT_EQ(affine(cv, out), want) << c.name;
            EXPECT_TRUE(lnme2kpic_step(&kc, &again) == 1 && affine(cv, again) == want);
            EXPECT_EQ(affine(cv, *lnme2kpic(cv, &again, k.data(), ctx->table, w)), want);
        }
    }
}

TEST(Dstu4145, PublishedExamplesAreReproducedThroughThePool) {
    thread_rng = nullptr;
    for (const auto &ex : named_curves("example")) {
        auto ctx = make_ctx(ex);
        const auto &b = ex.block;
        fixed_e = b.bytes("e_be");
        std::reverse(fixed_e.begin(), fixed_e.end());
        fixed_e.resize(ctx->key_bytes);
        dstu_bspool_ctx pool;
        ASSERT_EQ(dstu_bspool_init(&pool, ctx.get(), seeded_rnd), DSTU_OK);
        const Bytes priv = b.bytes("priv"), hash = b.bytes("hash"), sig = b.bytes("sig");
        const int hbits = std::stoi(b.get("hbits"));
        EXPECT_EQ(to_hex(sign(ctx.get(), &pool, priv, hash, hbits)), b.get("sig")) << ex.name;
        // The public key is -d P; where the source prints Q it must be that point.
        lnme2_point Q = infinity(&ctx->curve);
        lnme2pneg(&ctx->curve, lnme2kp(&ctx->curve, &Q, big(priv).data(), &ctx->P));
        EXPECT_TRUE(!b.has("qx") || affine(&ctx->curve, Q) == b.get("qx") + b.get("qy"));
        Bytes pub = compress(&ctx->curve, Q), bad = sig;
        bad[3] ^= 0x10;
        EXPECT_EQ(verify(ctx.get(), pub, hash, hbits, sig), OK) << ex.name;
        EXPECT_EQ(verify(ctx.get(), pub, hash, hbits, bad), SIG) << ex.name;
    }
}

TEST(Dstu4145, SignaturesVerifyAndAnyChangeBreaksThem) {
    Rng rng(53);
    thread_rng = &rng;
    for (const auto &c : named_curves()) {
        auto ctx = make_ctx(c);
        dstu_bspool_ctx pool;
        ASSERT_EQ(dstu_bspool_init(&pool, ctx.get(), seeded_rnd), DSTU_OK);
        const Keys k = gen_keys(ctx.get(), &pool);
        for (int hbits : {256, 512, 8, 3}) {
            const Bytes hash = rng.bytes(64), sig = sign(ctx.get(), &pool, k.priv, hash, hbits);
            ASSERT_EQ(verify(ctx.get(), k.pub, hash, hbits, sig), OK) << c.name << hbits;
            // Any bit of r or s, any bit among the hash's first min(hbits, m)
            // (h = 0 counts as 1: flipping bit 0 of 1 changes nothing), and
            // none of the bits past them.
            for (size_t i = 0; i < sig.size(); i += 5) {
                Bytes bad = sig;
                bad[i] ^= uint8_t(1u << (i % 8));
                EXPECT_EQ(verify(ctx.get(), k.pub, hash, hbits, bad), SIG) << i;
            }
            const int used = std::min<int>(hbits, int(c.m));
            Bytes h3 = hash;
            for (int bit = 0; bit < 8 * 64; bit++) {
                Bytes h2 = bit < used ? hash : h3;
                h2[size_t(bit / 8)] ^= uint8_t(1u << (bit % 8));
                if (bit >= used) h3 = h2;
                if (bit >= used || bit % 37) continue;
                const bool same = used < 8 && ((hash[0] | h2[0]) & ((1u << used) - 2)) == 0;
                EXPECT_EQ(verify(ctx.get(), k.pub, h2, hbits, sig), same ? OK : SIG) << bit;
            }
            EXPECT_EQ(verify(ctx.get(), k.pub, h3, hbits, sig), OK);
        }
        // A hash whose first m bits are zero counts as h = 1.
        Bytes zero(64), one(64);
        zero[63] = one[0] = 1;
        EXPECT_EQ(verify(ctx.get(), k.pub, one, 8, sign(ctx.get(), &pool, k.priv, zero, 512)), OK);
    }
}

// The outputs of one call, canary-filled: two buffers and two lengths.
struct Outs {
    Bytes a = Bytes(DSTU_MAX_POINT_BYTES, 0xA5), b = Bytes(DSTU_MAX_POINT_BYTES, 0x5A);
    int la, lb;
};

TEST(Dstu4145, EveryResultCodeLeavesTheOutputsUntouched) {
    Rng rng(59);
    thread_rng = &rng;
    const auto &c = named_curves()[0];
    auto ctx = make_ctx(c), ctx2 = make_ctx(c), fresh = std::make_unique<dstu_ctx>();
    dstu_ctx *C = ctx.get(), *F = fresh.get();
    dstu_bspool_ctx pool, other;
    ASSERT_EQ(dstu_bspool_init(&pool, C, seeded_rnd), DSTU_OK);
    ASSERT_EQ(dstu_bspool_init(&other, ctx2.get(), seeded_rnd), DSTU_OK);
    const Keys k = gen_keys(C, &pool);
    const int L = int(C->field_bytes), KB = int(C->key_bytes), SB = int(C->sig_bytes);
    const Bytes hash = rng.bytes(32), sig = sign(C, &pool, k.priv, hash, 256);
    const Bytes bp = compressed_base(C, c);
    const uint8_t *d = k.priv.data(), *q = k.pub.data(), *b = c.b.data(), *n = c.n.data();
    // Mutations of the good inputs; every buffer has room past the lengths used.
    Bytes zero(64), n_priv = c.n, wide(64, 1), r_is_n = sig, s_zero = sig, long_sig = sig;
    Bytes bad_n = c.n, n_m1(L), n_m3(L), n_159(L), one(64), xy(108, 0x33), not_point;
    std::copy(k.pub.begin(), k.pub.end(), wide.begin());
    std::copy(c.n.begin(), c.n.end(), r_is_n.begin());
    std::fill(s_zero.begin() + SB / 2, s_zero.end(), 0);
    long_sig.resize(sig.size() + 2);
    n_priv.resize(size_t(KB));
    one[0] = 1;
    bad_n[0] ^= 2;                                         // does not annihilate P
    n_m1[c.m / 8] = uint8_t(1u << (c.m % 8));              // m + 1 bits: x^m
    n_m3[(c.m - 4) / 8] = uint8_t(1u << ((c.m - 4) % 8));  // m - 3 bits
    n_159[19] = 0x40;                                      // 159 bits
    do {
        not_point = rng.bytes(size_t(L));
        not_point[size_t(L) - 1] &= 0x07;
    } while (dstu_ucpubk(C, Outs{}.a.data(), not_point.data(), L) != PUB);

    using Call = std::function<int(Outs &)>;
    auto Sign = [&](dstu_bspool_ctx *p, const uint8_t *priv, int pl, int hbits) -> Call {
        return [=](Outs &o) { return dstu_sign(C, p, pl, priv, hbits, &hash[0], &o.la, &o.a[0]); };
    };
    auto Verify = [&](const uint8_t *pub, int ql, int hbits, const Bytes &s) -> Call {
        return [=, &s](Outs &) {
            return dstu_verify(C, ql, pub, hbits, &hash[0], int(s.size()), &s[0]);
        };
    };
    auto Zz = [&](const uint8_t *priv, int pl, const uint8_t *pub, int ql, int cof, uint32_t h) {
        return [=](Outs &o) {
            C->cofactor = h;
            return dhua_zz(C, pl, priv, ql, pub, cof, &o.la, o.a.data());
        };
    };
    const Call GenKeys = [&](Outs &o) {
        return dstu_gen_keys(C, &pool, &o.la, &o.a[0], &o.lb, &o.b[0]);
    };
    auto Cp = [&](const uint8_t *in) -> Call {
        return [=](Outs &o) { return dstu_cppubk(C, &o.a[0], &o.la, in); };
    };
    auto Ucp = [&](const uint8_t *pub, int ql) -> Call {
        return [=](Outs &o) { return dstu_ucpubk(C, &o.a[0], pub, ql); };
    };
    auto Curve = [&](uint32_t m, uint32_t k1, uint32_t k2, uint32_t k3, uint32_t a, int bl,
                     const uint8_t *bb) -> Call {
        return [=](Outs &) { return dstu_init_curve(F, m, k1, k2, k3, a, bl, bb); };
    };
    auto Pgen = [&](int bl, const uint8_t *bb, int nl, const uint8_t *nn) -> Call {
        return [=](Outs &) { return dstu_init_pgen(F, bl, bb, nl, nn); };
    };
    const struct {
        const char *what;
        int want, la, lb;
        Call call;
    } cases[] = {
        {"sign: pool of another context", ARG, SB + 1, 0, Sign(&other, d, KB, 256)},
        {"sign: no pool", ARG, SB + 1, 0, Sign(nullptr, d, KB, 256)},
        {"sign: privlen 0", ARG, SB + 1, 0, Sign(&pool, d, 0, 256)},
        {"sign: privlen key_bytes + 1", ARG, SB + 1, 0, Sign(&pool, wide.data(), KB + 1, 256)},
        {"sign: siglen short", ARG, SB - 1, 0, Sign(&pool, d, KB, 256)},
        {"sign: hbits 0", ARG, SB + 1, 0, Sign(&pool, d, KB, 0)},
        {"sign: private key 0", PRIV, SB + 1, 0, Sign(&pool, zero.data(), KB, 256)},
        {"sign: private key n", PRIV, SB + 1, 0, Sign(&pool, n_priv.data(), KB, 256)},
        {"verify", OK, 0, 0, Verify(q, L, 256, sig)},
        {"verify: publen 0", ARG, 0, 0, Verify(q, 0, 256, sig)},
        {"verify: publen L + 1", ARG, 0, 0, Verify(wide.data(), L + 1, 256, sig)},
        {"verify: no public key", ARG, 0, 0, Verify(nullptr, L, 256, sig)},
        {"verify: hbits 0", ARG, 0, 0, Verify(q, L, 0, sig)},
        {"verify: siglen + 2", SIG, 0, 0, Verify(q, L, 256, long_sig)},
        {"verify: r = n", SIG, 0, 0, Verify(q, L, 256, r_is_n)},
        {"verify: s = 0", SIG, 0, 0, Verify(q, L, 256, s_zero)},
        {"verify: not a point", PUB, 0, 0, Verify(not_point.data(), L, 256, sig)},
        {"zz: cofactor 3 unused", OK, -7, 0, Zz(d, KB, q, L, 0, 3)},
        {"zz: privlen key_bytes - 1", ARG, -7, 0, Zz(d, KB - 1, q, L, 0, 2)},
        {"zz: privlen 57", ARG, -7, 0, Zz(wide.data(), 57, q, L, 0, 2)},
        {"zz: publen L - 1", ARG, -7, 0, Zz(d, KB, q, L - 1, 0, 2)},
        {"zz: publen past an element", ARG, -7, 0, Zz(d, KB, wide.data(), 25, 0, 2)},
        {"zz: not a point", PUB, -7, 0, Zz(d, KB, not_point.data(), L, 0, 2)},
        {"zz: private key 0", PRIV, -7, 0, Zz(zero.data(), KB, q, L, 0, 2)},
        {"zz: private key n", PRIV, -7, 0, Zz(n_priv.data(), KB, q, L, 0, 2)},
        {"zz: cofactor 3", CURVE, -7, 0, Zz(d, KB, q, L, 1, 3)},
        {"zz: cofactor never stored", CURVE, -7, 0, Zz(d, KB, q, L, 1, 0)},
        {"gen_keys: privlen short", ARG, KB - 1, L, GenKeys},
        {"gen_keys: publen short", ARG, KB, L - 1, GenKeys},
        {"cppubk: outlen short", ARG, L - 1, 0, Cp(xy.data())},
        {"cppubk: not a point", PUB, L, 0, Cp(xy.data())},
        {"ucpubk: publen past an element", ARG, 0, 0, Ucp(wide.data(), 25)},
        {"ucpubk: publen -1", ARG, 0, 0, Ucp(q, -1)},
        {"ucpubk: not a point", PUB, 0, 0, Ucp(not_point.data(), L)},
        {"pool: none", ARG, 0, 0, [&](Outs &) { return dstu_bspool_init(nullptr, C, seeded_rnd); }},
        {"pool: no source", ARG, 0, 0,
         [&](Outs &) { return dstu_bspool_init(&other, C, nullptr); }},
        // On a context of its own, in order: the curve, then the base point.
        {"curve: a = 2", CURVE, 0, 0, Curve(163, 7, 6, 3, 2, L, b)},
        {"curve: k3 = 2", CURVE, 0, 0, Curve(163, 7, 6, 2, 1, L, b)},
        {"curve: k2 on a trinomial", CURVE, 0, 0, Curve(191, 9, 1, 0, 1, 24, one.data())},
        {"curve: m = 233", CURVE, 0, 0, Curve(233, 74, 0, 0, 1, 30, one.data())},
        {"curve: b of degree m", CURVE, 0, 0, Curve(163, 7, 6, 3, 1, L, n_m1.data())},
        {"curve: b = 0", CURVE, 0, 0, Curve(163, 7, 6, 3, 1, L, zero.data())},
        {"curve: no b", CURVE, 0, 0, Curve(163, 7, 6, 3, 1, L, nullptr)},
        {"curve: blen L + 1", CURVE, 0, 0, Curve(163, 7, 6, 3, 1, L + 1, wide.data())},
        {"curve: blen -1", CURVE, 0, 0, Curve(163, 7, 6, 3, 1, -1, b)},
        {"curve: b short (zero high bytes)", OK, 0, 0, Curve(163, 7, 6, 3, 1, 1, one.data())},
        {"curve", OK, 0, 0, Curve(c.m, c.k1, c.k2, c.k3, c.a, L, b)},
        {"pgen: no base point", ARG, 0, 0, Pgen(L, nullptr, L, n)},
        {"pgen: no order", ARG, 0, 0, Pgen(L, bp.data(), L, nullptr)},
        {"pgen: bplen 0", BASE, 0, 0, Pgen(0, bp.data(), L, n)},
        {"pgen: bplen L + 1", BASE, 0, 0, Pgen(L + 1, wide.data(), L, n)},
        {"pgen: nlen 0", BASE, 0, 0, Pgen(L, bp.data(), 0, n)},
        {"pgen: nlen L + 1", BASE, 0, 0, Pgen(L, bp.data(), L + 1, wide.data())},
        {"pgen: not a point", BASE, 0, 0, Pgen(L, not_point.data(), L, n)},
        {"pgen: order of m + 1 bits", BASE, 0, 0, Pgen(L, bp.data(), L, n_m1.data())},
        {"pgen: order of m - 3 bits", BASE, 0, 0, Pgen(L, bp.data(), L, n_m3.data())},
        {"pgen: order of 159 bits", BASE, 0, 0, Pgen(L, bp.data(), L, n_159.data())},
        {"pgen: n P != O", BASE, 0, 0, Pgen(L, bp.data(), L, bad_n.data())},
        {"pgen", OK, 0, 0, Pgen(L, bp.data(), L, n)},
    };
    for (const auto &t : cases) {
        Outs o{.la = t.la, .lb = t.lb};
        EXPECT_EQ(t.call(o), t.want) << t.what;
        EXPECT_TRUE(t.want == OK || (o.a == Outs{}.a && o.b == Outs{}.b)) << t.what << ": output";
        EXPECT_TRUE(t.want == OK || (o.la == t.la && o.lb == t.lb)) << t.what << ": lengths";
    }
    EXPECT_TRUE(F->key_bytes == 21 && F->sig_bytes == 42 && lnmcmp(F->n, C->n) == 0);
}

TEST(Dstu4145, PoolFillsSlotsInOrderAndHandsOutTheLowestReady) {
    Rng rng(61);
    thread_rng = &rng;
    auto ctx = make_ctx(named_curves()[0]);
    const lnme2_ctx *cv = &ctx->curve;
    auto pool = std::make_unique<dstu_bspool_ctx>();
    ASSERT_EQ(dstu_bspool_init(pool.get(), ctx.get(), seeded_rnd), DSTU_OK);
    // Slot 0 is started (one draw) and advanced until ready; only then slot 1.
    int steps = rnd_calls = 0;
    for (int r = 0; pool->ready == 0; ++steps) {
        r = dstu_bspool_step(pool.get());
        EXPECT_TRUE(r == (pool->ready ? 1 : 0) && pool->busy == 1 && rnd_calls == 1) << steps;
    }
    EXPECT_TRUE(steps > 10 && dstu_bspool_step(pool.get()) == 1 && pool->busy == 3);
    while (pool->ready != 0x1F) EXPECT_EQ(dstu_bspool_step(pool.get()), 1);
    EXPECT_EQ(rnd_calls, 5);
    // A get takes the lowest ready slot, wipes it and hands out k with the
    // compressed k P; it steps once first, so slot 0 restarts after the first.
    const uint32_t zero[DSTU_SCALAR_WORDS] = {};
    for (uint32_t i = 0; i < 3; ++i) {
        uint32_t k[DSTU_SCALAR_WORDS], want_k[DSTU_SCALAR_WORDS];
        Elem cx(cv), want(cv);
        lnme2_point R = infinity(cv);
        lnme2comp(cv, want.p(), lnme2kp(cv, &R, lnmcopy(want_k, pool->k[i]), &ctx->P));
        dstu_bspool_get(pool.get(), k, cx.p());
        EXPECT_TRUE(lnmcmp(k, want_k) == 0 && lnm2p_is_equal(cx.p(), want.p())) << i;
        EXPECT_TRUE(pool->ready == (0x1Fu & ~((2u << i) - 1)) &&
                    pool->busy == (pool->ready | (i > 0 ? 1u : 0u)))
            << i;
        EXPECT_EQ(std::memcmp(pool->k[i], zero, sizeof zero), 0) << i << ": slot not wiped";
    }
}

#ifdef LNCEXT_HAVE_BCPROV
// Bouncy Castle through tests/oracle/Dstu4145Oracle.java: one request line
// out, one answer line back.
struct BouncyCastle {
    pid_t pid = -1;
    FILE *out = nullptr, *in = nullptr;
    BouncyCastle() {
        int to[2], from[2];
        if (pipe(to) != 0 || pipe(from) != 0) return;
        if ((pid = fork()) == 0) {
            dup2(to[0], 0), dup2(from[1], 1), close(to[1]), close(from[0]);
            execl(LNCEXT_JAVA, LNCEXT_JAVA, "-cp", LNCEXT_BCPROV_CP, "Dstu4145Oracle", nullptr);
            _exit(127);
        }
        close(to[0]), close(from[1]);
        out = fdopen(to[1], "w"), in = fdopen(from[0], "r");
    }
    ~BouncyCastle() {
        if (out) fclose(out), fclose(in), waitpid(pid, nullptr, 0);
    }
    std::string ask(std::initializer_list<std::string> words) {
        for (const auto &w : words) fprintf(out, "%s ", w.c_str());
        fprintf(out, "\n"), fflush(out);
        std::string line;
        for (int ch; (ch = fgetc(in)) != EOF && ch != '\n';) line += char(ch);
        return line;
    }
};
#endif

TEST(Dstu4145, BouncyCastleAgreesOnSignaturesCompressionAndMultiples) {
#ifndef LNCEXT_HAVE_BCPROV
    GTEST_SKIP() << "Bouncy Castle (Java and bcprov.jar) not found: no comparison with an "
                    "independent implementation";
#else
    BouncyCastle bc;
    Rng rng(73);
    thread_rng = &rng;
    for (const auto &c : named_curves()) {
        auto ctx = make_ctx(c);
        const lnme2_ctx *cv = &ctx->curve;
        using std::to_string;
        ASSERT_EQ(
            bc.ask({"curve", to_string(c.m), to_string(c.k1), to_string(c.k2), to_string(c.k3),
                    to_string(c.a), to_hex(c.b), to_hex(c.n), to_hex(c.px), to_hex(c.py)}),
            "ok")
            << "the Bouncy Castle oracle did not start";
        dstu_bspool_ctx pool;
        ASSERT_EQ(dstu_bspool_init(&pool, ctx.get(), seeded_rnd), DSTU_OK);
        for (int i = 0; i < 6; ++i) {
            // Signed here, verified there (a changed signature refused there);
            // signed there with the same key and public key, verified here.
            const Keys k = gen_keys(ctx.get(), &pool);
            const Bytes hash = rng.bytes(8 + 8 * rng.below(8));
            const int hbits = int(8 * hash.size());
            Bytes sig = sign(ctx.get(), &pool, k.priv, hash, hbits), bad = sig;
            bad[sig.size() - 1 - rng.below(uint32_t(sig.size()) / 2)] ^= 1;
            EXPECT_EQ(bc.ask({"verify", to_hex(k.pub), to_hex(hash), to_hex(sig)}), "1") << c.name;
            EXPECT_EQ(bc.ask({"verify", to_hex(k.pub), to_hex(hash), to_hex(bad)}), "0") << c.name;
            const std::string there = bc.ask({"sign", to_hex(k.priv), to_hex(hash)});
            const Bytes bsig = lncext_test::from_hex(there.substr(0, 2 * sig.size()));
            EXPECT_EQ(there.substr(2 * sig.size() + 1), to_hex(k.pub)) << c.name;
            EXPECT_EQ(verify(ctx.get(), k.pub, hash, hbits, bsig), OK) << c.name << " " << there;
        }
        for (int i = 0; i < 8; ++i) {
            // k P on a random point P, k up to twice the order's size;
            // compression both ways.
            lnme2_point P = infinity(cv);
            lnme2kp(cv, &P, big(rng.bytes(1 + rng.below(ctx->key_bytes))).data(), &ctx->P);
            const std::string p = affine(cv, P), comp = to_hex(compress(cv, P));
            const Bytes kb = rng.bytes(1 + rng.below(2 * ctx->key_bytes));
            EXPECT_EQ(bc.ask({"mul", to_hex(kb), p}), mul(cv, big(kb), P)) << c.name;
            EXPECT_EQ(bc.ask({"comp", p}), comp) << c.name;
            EXPECT_EQ(bc.ask({"decomp", comp}), p) << c.name;
        }
        // Random values decompress to the same point, or to none on both
        // sides (except c = 1 with a = 0, x = 0 after the trace rule: Bouncy
        // Castle answers (0, sqrt b) there, lncext none).
        for (int i = 0; i < 16; ++i) {
            Bytes v = rng.bytes(ctx->field_bytes);
            v.back() &= uint8_t((1u << (c.m % 8)) - 1);
            if (c.a == 0 && v[0] <= 1 && std::count(v.begin(), v.end(), 0) >= int(v.size()) - 1)
                continue;
            lnme2_point R = infinity(cv);
            const bool ok = lnme2exp(cv, &R, Elem(cv, v).p()) != nullptr;
            EXPECT_EQ(bc.ask({"decomp", to_hex(v)}), ok ? affine(cv, R) : "none") << c.name;
        }
    }
#endif
}

// Threads with pools of their own share a context: signatures verify, and key
// agreement gives both sides the x of (h) d1 d2 P.
TEST(Dstu4145, KeyAgreementAndSignaturesHoldOnThreadsSharingOneContext) {
    for (const auto &c : named_curves()) {
        auto ctx = make_ctx(c);
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t)
            threads.emplace_back([&, t] {
                Rng rng(100 + uint64_t(t));
                thread_rng = &rng;
                dstu_bspool_ctx pool;
                EXPECT_EQ(dstu_bspool_init(&pool, ctx.get(), seeded_rnd), OK);
                const Keys a = gen_keys(ctx.get(), &pool), b = gen_keys(ctx.get(), &pool);
                const Bytes h = rng.bytes(32), sig = sign(ctx.get(), &pool, a.priv, h, 256);
                EXPECT_EQ(verify(ctx.get(), a.pub, h, 256, sig), OK) << c.name << " " << t;
                for (int cof = t % 2, zl = 0; cof < 2; cof++) {
                    Bytes z[2] = {Bytes(ctx->field_bytes), Bytes(ctx->field_bytes)};
                    for (int i = 0; i < 2; i++) {
                        const Keys &x = i ? b : a, &y = i ? a : b;
                        EXPECT_EQ(dhua_zz(ctx.get(), int(x.priv.size()), x.priv.data(),
                                          int(y.pub.size()), y.pub.data(), cof, &zl, z[i].data()),
                                  OK);
                        EXPECT_EQ(zl, int(ctx->field_bytes));
                    }
                    Big d = big(a.priv), prod = big({}), hh = {1, cof ? ctx->cofactor : 1};
                    lnmmul(lnmmul(d.data(), big(b.priv).data(), prod.data()), hh.data(), d.data());
                    const std::string x = mul(&ctx->curve, d, ctx->P).substr(0, 2 * z[0].size());
                    EXPECT_TRUE(to_hex(z[0]) == x && to_hex(z[1]) == x) << c.name << " " << cof;
                }
            });
        for (auto &th : threads) th.join();
    }
}

}  // namespace
