// GOST R 34.10-2001 and VKO: the published parameter sets, worked example,
// point multiplications and VKO point; the group law and scalar
// multiplications on every curve; every result code with its outputs left
// untouched; round trips and random bytes; one context shared by threads;
// and the independent implementations (nettle's gostdsa on CryptoPro A,
// OpenSSL with the GOST engine on every set) both ways. Both oracles read a
// hash value and a UKM little-endian, so they get those strings reversed.
#include <cstring>
#include <sstream>
#include <thread>

#include "gostr341001_util.hpp"

#if defined(LNCEXT_HAVE_HOGWEED)
#include <nettle/ecc-curve.h>
#include <nettle/ecc.h>
#include <nettle/gostdsa.h>
#endif
#if defined(LNCEXT_HAVE_OPENSSL)
#define OPENSSL_SUPPRESS_DEPRECATED 1  // the GOST engine is reached through ENGINE and EC_KEY
#include <openssl/ec.h>
#include <openssl/engine.h>
#include <openssl/evp.h>
#endif

using namespace lncext_test;

namespace {

using Num = std::vector<uint32_t>;

// The distinct curves of the published sets (XchA and XchB repeat A and C).
const char *const kCurves[] = {"test", "A", "B", "C"};

Bytes with(Bytes b, size_t at, const Bytes &p) {
    std::copy(p.begin(), p.end(), b.begin() + std::ptrdiff_t(at));
    return b;
}

}  // namespace

TEST(GostR341001, ParameterSetsInitSelectFormAndDoublingAndGiveTheirParametersBack) {
    const std::tuple<const char *, bool, bool> sets[] = {
        {"test", false, false}, {"A", true, true},    {"B", false, true},
        {"C", false, true},     {"XchA", true, true}, {"XchB", false, true}};
    for (const auto &[name, special, minus3] : sets) {
        SCOPED_TRACE(name);
        GostSet S(name);
        EXPECT_EQ(S.ctx.curve.field.mul == lnmpffpsfmul, special);
        EXPECT_EQ(S.ctx.curve.field.mul == lnmpffmontmul, !special);
        EXPECT_EQ(S.ctx.curve.dbl == lnmecpd_3, minus3);
        EXPECT_TRUE(S.ctx.pub_len == 64 && S.ctx.prv_len == 32 && S.ctx.sig_len == 64 &&
                    S.ctx.w == 5);
        uint8_t o[6][32];
        ASSERT_EQ(rds_get_prms(&S.ctx, o[0], o[1], o[2], o[3], o[4], o[5]), 0u);
        const Bytes *want[] = {&S.ps.p, &S.ps.a, &S.ps.b, &S.ps.q, &S.ps.x, &S.ps.y};
        for (int i = 0; i < 6; i++) EXPECT_EQ(to_hex(o[i], 32), to_hex(*want[i])) << i;
        EXPECT_EQ(S.mul_g(big(S.ps.q)), Bytes(64, 0));  // q G = O
        for (uint32_t i = 0; i < 16; i++)               // the table holds G, 3G, ..., 31G
            EXPECT_EQ(affine(S.c(), S.ctx.table[i]), S.mul_g(Num{1, 2 * i + 1})) << i;
    }
}

TEST(GostR341001, PublishedExampleMultiplicationsAndVkoPoint) {
    int seen = 0;
    for (const auto &blk : read_vectors("gostr341001.txt")) {
        if (!blk.has("example") && !blk.has("mul") && !blk.has("vko")) continue;
        seen++;
        SCOPED_TRACE(blk.fields.front().second);
        GostSet S(blk.get("paramset"));
        const lnmec_ctx *c = S.c();
        if (blk.has("example")) {
            const Bytes d = blk.bytes("d"), k = blk.bytes("k"), e = blk.bytes("e");
            uint8_t pub[64], pub2[64], sig[64];
            ASSERT_EQ(rds_gen_keys(&S.ctx, d.data(), pub), 0u);
            ASSERT_EQ(vko341001_gen_pubkey(&S.ctx, d.data(), pub2), 0u);
            EXPECT_EQ(to_hex(pub, 64), to_hex(cat(blk.bytes("qx"), blk.bytes("qy"))));
            EXPECT_EQ(to_hex(pub2, 64), to_hex(pub, 64));
            EXPECT_EQ(S.mul_g(big(k)), cat(blk.bytes("cx"), blk.bytes("cy")));
            ASSERT_EQ(rds_sign(&S.ctx, d.data(), k.data(), e.data(), sig), 0u);
            EXPECT_EQ(to_hex(sig, 64), blk.get("s") + blk.get("r"));
            EXPECT_EQ(to_hex(sig, 64), blk.get("sig"));
            EXPECT_EQ(rds_verify(&S.ctx, pub, e.data(), sig), 0u);
        } else if (blk.has("mul")) {
            const Num k = big(blk.bytes("k"));
            if (blk.has("k_le")) {
                EXPECT_EQ(to_hex(reversed(blk.bytes("k_le"))), blk.get("k"));
            }
            lnmec_point P = S.ctx.G, R;
            if (blk.has("px")) {
                ASSERT_NE(lnmecpcr(c, &P, big(blk.bytes("px")).data(), big(blk.bytes("py")).data()),
                          nullptr);
            }
            const Bytes want = cat(blk.bytes("rx"), blk.bytes("ry"));
            EXPECT_EQ(affine(c, *lnmeckp(c, &R, k.data(), &P)), want);
            EXPECT_EQ(affine(c, *lnmecakp(c, &R, k.data(), &P, LNMBIG_ZERO, &S.ctx.G)), want);
            if (!blk.has("px")) {
                EXPECT_EQ(affine(c, *lnmecickp(c, &R, S.ctx.table, k.data(), 5, 0)), want);
            }
        } else {
            // K = (d1 d2 u mod q) G. The published KEK hashes LE(x) || LE(y);
            // this library hashes x, y big-endian and left-aligned.
            const Bytes d1 = blk.bytes("d1"), d2 = blk.bytes("d2"), ukm = blk.bytes("ukm");
            ASSERT_EQ(reversed(blk.bytes("ukm_le")), ukm);
            uint8_t q1[64], q2[64], k1[32], k2[32];
            ASSERT_EQ(vko341001_gen_pubkey(&S.ctx, d1.data(), q1), 0u);
            ASSERT_EQ(vko341001_gen_pubkey(&S.ctx, d2.data(), q2), 0u);
            ASSERT_EQ(vko341001_gen_kek(&S.ctx, k1, d1.data(), q2, ukm.data()), 0u);
            ASSERT_EQ(vko341001_gen_kek(&S.ctx, k2, d2.data(), q1, ukm.data()), 0u);
            const Bytes K = S.mul_g(S.prod(d1, d2, ukm));
            EXPECT_EQ(to_hex(gost94(cat(reversed(part(K, 0, 32)), reversed(part(K, 32, 32))))),
                      blk.get("kek_le_point"));
            EXPECT_EQ(to_hex(k1, 32), to_hex(gost94(left_aligned(K))));
            EXPECT_EQ(to_hex(k2, 32), to_hex(k1, 32));
        }
    }
    EXPECT_EQ(seen, 11);
}

TEST(GostR341001, VkoHashesEachCoordinateLeftAligned) {
    // A UKM whose shared point has an x with a zero top byte: its field must
    // then hold 31 bytes and one zero byte last.
    GostSet S("A");
    Rng rng(0x3401);
    const Bytes d1 = scalar(rng, S.q), d2 = scalar(rng, S.q);
    uint8_t q2[64], kek[32];
    ASSERT_EQ(vko341001_gen_pubkey(&S.ctx, d2.data(), q2), 0u);
    uint32_t u = 1;
    Bytes K, ukm;
    for (; u < 5000; u++) {
        ukm = {0, 0, 0, 0, uint8_t(u >> 24), uint8_t(u >> 16), uint8_t(u >> 8), uint8_t(u)};
        if ((K = S.mul_g(S.prod(d1, d2, ukm)))[0] == 0) break;
    }
    ASSERT_LT(u, 5000u);
    Bytes input = cat(part(K, 1, 31), Bytes{0});
    input = cat(input, K[32] != 0 ? part(K, 32, 32) : cat(part(K, 33, 31), Bytes{0}));
    ASSERT_EQ(vko341001_gen_kek(&S.ctx, kek, d1.data(), q2, ukm.data()), 0u);
    EXPECT_EQ(to_hex(kek, 32), to_hex(gost94(input)));
}

TEST(GostR341001, GroupLawAndScalarMultiplicationIdentities) {
    Rng rng(0x3301);
    const Bytes inf(64, 0);
    for (const char *name : kCurves) {
        SCOPED_TRACE(name);
        GostSet S(name);
        const lnmec_ctx *c = S.c();
        const auto A = [&](const lnmec_point &P) { return affine(c, P); };
        lnmec_point O, P, Q, U, X, Y;
        ASSERT_EQ(lnmecpcr(c, &O, nullptr, nullptr), &O);
        EXPECT_EQ(O.Z[0], 0u);
        for (int round = 0; round < 4; round++) {
            const Num a = big(scalar(rng, S.q)), b = big(scalar(rng, S.q));
            lnmeckp(c, &P, a.data(), &S.ctx.G);
            lnmeckp(c, &Q, b.data(), &S.ctx.G);
            lnmeckp(c, &U, big(scalar(rng, S.q)).data(), &S.ctx.G);
            EXPECT_EQ(A(*lnmecpa(c, &X, &P, &O)), A(P));
            EXPECT_EQ(A(*lnmecpa(c, &X, &O, &P)), A(P));
            EXPECT_EQ(A(*lnmecpa(c, &X, &P, &P)), A(*c->dbl(c, &Y, &P)));
            EXPECT_EQ(A(*lnmecpd(c, &X, &P)), A(Y));
            X = Y = P;
            EXPECT_EQ(A(*c->dbl(c, &X, &X)), A(*lnmecpd(c, &Y, &Y)));
            X = P;
            EXPECT_EQ(A(*lnmecpa(c, &Y, &P, lnmecpneg(c, &X))), inf);
            EXPECT_EQ(A(*lnmecpneg(c, &X)), A(P));
            // (P + Q) + U = P + (Q + U), each sum written over an input.
            X = P, Y = U;
            lnmecpa(c, &X, lnmecpa(c, &X, &X, &Q), &U);
            lnmecpa(c, &Y, &P, lnmecpa(c, &Y, &Q, &Y));
            EXPECT_EQ(A(X), A(Y));
            // a U + b U = (a + b) U, with the sum taken as it is (may pass q).
            Num ab = a;
            lnmadd(ab.data(), b.data());
            lnmecpa(c, &X, lnmeckp(c, &X, a.data(), &U), lnmeckp(c, &Y, b.data(), &U));
            EXPECT_EQ(A(X), A(*lnmeckp(c, &Y, ab.data(), &U)));
            // lnmecakp = a P + b Q, over either input, and with zero scalars.
            lnmecpa(c, &X, lnmeckp(c, &X, a.data(), &P), lnmeckp(c, &Y, b.data(), &Q));
            Y = P;
            EXPECT_EQ(A(*lnmecakp(c, &Y, a.data(), &Y, b.data(), &Q)), A(X));
            Y = Q;
            EXPECT_EQ(A(*lnmecakp(c, &Y, a.data(), &P, b.data(), &Y)), A(X));
            EXPECT_EQ(A(*lnmecakp(c, &Y, b.data(), &Q, LNMBIG_ZERO, &P)),
                      A(*lnmeckp(c, &X, b.data(), &Q)));
            EXPECT_EQ(A(*lnmecakp(c, &Y, LNMBIG_ZERO, &P, LNMBIG_ZERO, &Q)), inf);
            // The table multiplication, padded or not, and lnmeckp over its input.
            EXPECT_EQ(A(*lnmecickp(c, &X, S.ctx.table, a.data(), 5, 256)), A(P));
            EXPECT_EQ(A(*lnmecickp(c, &X, S.ctx.table, a.data(), 5, 0)), A(P));
            X = S.ctx.G;
            EXPECT_EQ(A(*lnmeckp(c, &X, a.data(), &X)), A(P));
        }
        // k = m q + e for k = 0, 1, q - 1, q, q + 1, by all three multiplications.
        lnmec_point N = S.ctx.G;
        const Bytes g = A(S.ctx.G), ng = A(*lnmecpneg(c, &N));
        const std::tuple<int, int, const Bytes *> edges[] = {
            {0, 0, &inf}, {0, 1, &g}, {1, -1, &ng}, {1, 0, &inf}, {1, 1, &g}};
        for (const auto &[m, e, want] : edges) {
            Mpz k;
            mpz_mul_ui(k, S.q, unsigned(m));
            e < 0 ? mpz_sub_ui(k, k, 1) : mpz_add_ui(k, k, unsigned(e));
            const Num kn = big(k);
            EXPECT_EQ(S.mul_g(kn), *want) << m << e;
            EXPECT_EQ(A(*lnmecickp(c, &X, S.ctx.table, kn.data(), 5, 0)), *want) << m << e;
            EXPECT_EQ(A(*lnmecakp(c, &X, kn.data(), &S.ctx.G, LNMBIG_ZERO, &N)), *want) << m << e;
        }
        for (uint32_t w : {1u, 2u, 3u, 4u}) {  // odd-multiple tables of other widths
            lnmec_point table[8];
            lnmecic(c, table, &S.ctx.G, w);
            for (uint32_t i = 0; i < LNMEC_TABLE_ENTRIES(w); i++)
                EXPECT_EQ(A(table[i]), S.mul_g(Num{1, 2 * i + 1})) << w;
            const Num e = big(scalar(rng, S.q));
            EXPECT_EQ(A(*lnmecickp(c, &X, table, e.data(), w, 0)), S.mul_g(e)) << w;
        }
    }
}

TEST(GostR341001, CurvePointEdges) {
    GostSet S("A");
    const lnmec_ctx *c = S.c();
    const Num p = big(S.ps.p), a = big(S.ps.a), b = big(S.ps.b), x = big(S.ps.x), y = big(S.ps.y);
    const auto zeroed = [](const auto &r) {
        return Bytes((const uint8_t *)&r, (const uint8_t *)(&r + 1)) == Bytes(sizeof r, 0);
    };
    lnmec_point P, X, Y;
    // Off the curve: NULL and a zeroed record; NULL arguments.
    Num y1 = y;
    lnmadd(y1.data(), LNMBIG_ONE);
    std::memset(&P, 0x5A, sizeof P);
    EXPECT_EQ(lnmecpcr(c, &P, x.data(), y1.data()), nullptr);
    EXPECT_TRUE(zeroed(P));
    EXPECT_EQ(lnmecpcr(nullptr, &P, x.data(), y.data()), nullptr);
    EXPECT_EQ(lnmecpcr(c, nullptr, x.data(), y.data()), nullptr);
    // Infinity: lnmecpxy writes zeros and returns 0; negation and doubling keep it.
    ASSERT_EQ(lnmecpcr(c, &P, LNMBIG_ZERO, LNMBIG_ZERO), &P);
    uint32_t ox[LNMPFF_WORDS] = {5, 1, 2, 3, 4, 5}, oy[LNMPFF_WORDS] = {1, 7};
    EXPECT_EQ(lnmecpxy(c, &P, ox, oy), 0);
    EXPECT_EQ(ox[0] | oy[0], 0u);
    EXPECT_EQ(lnmecpneg(c, &P)->Z[0] | c->dbl(c, &X, &P)->Z[0], 0u);
    // a = -3 given unreduced selects the general doubling, with equal points.
    Num a2 = a;
    lnmadd(a2.data(), p.data());
    lnmec_ctx gen;
    ASSERT_EQ(lnmeccr(&gen, p.data(), a2.data(), b.data()), &gen);
    EXPECT_TRUE(gen.dbl == lnmecpd && c->dbl == lnmecpd_3);
    ASSERT_EQ(lnmecpcr(&gen, &P, x.data(), y.data()), &P);
    for (int i = 0; i < 5; i++, P = X)
        EXPECT_EQ(affine(c, *lnmecpd_3(c, &X, &P)), affine(&gen, *lnmecpd(&gen, &Y, &P)));
    EXPECT_EQ(lnmeccr(&gen, p.data(), a.data(), nullptr), nullptr);
    EXPECT_EQ(lnmeccr(&gen, LNMBIG_ZERO, a.data(), b.data()), nullptr);
    // A point of order 2, (5, 0) on y^2 = x^3 - 3x - 110: doubling gives O.
    Mpz bz;
    mpz_sub_ui(bz, Mpz(p.data()), 110);
    ASSERT_EQ(lnmeccr(&gen, p.data(), a.data(), big(bz).data()), &gen);
    ASSERT_EQ(lnmecpcr(&gen, &P, Num{1, 5}.data(), LNMBIG_ZERO), &P);
    EXPECT_EQ(lnmecpd_3(&gen, &X, &P)->Z[0] | lnmecpd(&gen, &X, &P)->Z[0], 0u);
    EXPECT_EQ(lnmecpa(&gen, &X, &P, &P)->Z[0], 0u);
    lnmeccl(&gen);
    lnmecpcl(&P);
    EXPECT_TRUE(zeroed(gen) && zeroed(P));
    lnmeccl(nullptr);
    lnmecpcl(nullptr);
}

namespace {

// One entry point by name: byte-string arguments v, output o.
uint32_t call(const std::string &fn, const rds_ctx *ctx, const uint8_t *const *v, uint8_t *o) {
    rds_ctx fresh, *fc = ctx != nullptr ? &fresh : nullptr;
    uint8_t s[5][32];
    if (fn == "init" || fn == "vko_init") {  // and its base point back
        const uint32_t rc =
            (fn == "init" ? rds_init : vko341001_init)(fc, v[0], v[1], v[2], v[3], v[4], v[5]);
        return rc != 0 ? rc : rds_get_prms(fc, s[0], s[1], s[2], s[3], o, o + 32);
    }
    if (fn == "get_prms") return rds_get_prms(ctx, s[0], s[1], s[2], s[3], s[4], o);
    if (fn == "gen_keys") return rds_gen_keys(ctx, v[0], o);
    if (fn == "sign") return rds_sign(ctx, v[0], v[1], v[2], o);
    if (fn == "verify") return rds_verify(ctx, v[0], v[1], v[2]);
    if (fn == "vko_pub") return vko341001_gen_pubkey(ctx, v[0], o);
    return vko341001_gen_kek(ctx, o, v[0], v[1], v[2]);
}

// Each entry point's arguments, named as in the rows (name=value when the
// good value has another name); out and ctx can only be made NULL.
const std::map<std::string, std::string> kArgs = {
    {"init", "p a b q x y"}, {"vko_init", "p a b q x y"},  {"get_prms", "out"},
    {"gen_keys", "d out"},   {"sign", "d k h out"},        {"verify", "pub h sig"},
    {"vko_pub", "d out"},    {"kek", "d pub=pub2 ukm out"}};

// Entry point, argument=value changes to its good call, ">" the code and,
// for success, the value the output starts with. 0 is 64 zero bytes (the
// point at infinity as a key or base point).
const char *const kRows =
    "init p=p_even >3; init p=p254 >3; init p=0 >3; init a=0 >3; init a=p >3; init b=0 >3; "
    "init b=p >3; init b=p y=p >3; init x=p >4; init y=p >4; init y=y_off >4; "
    "init q=q254 >8; init q=0 >8; init q=0 y=y_off >4; init x=0 y=0 >0 0; vko_init q=0 >8; "
    "vko_init >0 xy; get_prms >0 y; gen_keys d=0 >2; gen_keys d=q >2; gen_keys >0 pub; "
    "sign d=0 >6; sign d=q >6; sign d=q k=0 >6; sign k=0 >2; sign k=q >2; sign h=h_s0 >2; "
    "sign >0 sig; verify pub=pub_xp >5; verify pub=pub_yp >5; verify pub=pub_off >5; "
    "verify pub=pub_off sig=sig_r0 >5; verify >0; verify sig=sig_r0 >1; "
    "verify sig=sig_rq >1; verify sig=sig_s0 >1; verify sig=sig_sq >1; "
    "verify sig=sig_swap >1; verify h=h2 >1; verify pub=pub2 >1; verify pub=0 >1; "
    "vko_pub d=0 >6; vko_pub d=q >6; vko_pub >0 pub; kek pub=pub_yp d=0 ukm=0 >5; "
    "kek pub=pub_off >5; kek d=0 >6; kek d=q ukm=0 >6; kek ukm=0 >9; kek >0 kek; "
    "kek pub=0 >0 kek_inf";

}  // namespace

TEST(GostR341001, EveryResultCodeAndNothingWrittenOnFailure) {
    Rng rng(0x3402);
    GostSet S("test");
    std::map<std::string, Bytes> v;
    v["0"] = Bytes(64, 0), v["p"] = S.ps.p, v["a"] = S.ps.a, v["b"] = S.ps.b, v["q"] = S.ps.q;
    v["x"] = S.ps.x, v["y"] = S.ps.y, v["xy"] = cat(S.ps.x, S.ps.y), v["h"] = rng.bytes(32);
    v["d"] = scalar(rng, S.q), v["k"] = scalar(rng, S.q), v["d2"] = scalar(rng, S.q);
    v["ukm"] = {0, 0, 0, 0, 0, 0, 1, 2}, v["pub"] = v["pub2"] = v["sig"] = Bytes(64);
    ASSERT_EQ(rds_gen_keys(&S.ctx, v["d"].data(), v["pub"].data()), 0u);
    ASSERT_EQ(rds_gen_keys(&S.ctx, v["d2"].data(), v["pub2"].data()), 0u);
    ASSERT_EQ(rds_sign(&S.ctx, v["d"].data(), v["k"].data(), v["h"].data(), v["sig"].data()), 0u);
    const Bytes zero(32, 0), &p = S.ps.p, &q = S.ps.q, &pub = v["pub"], &sig = v["sig"];
    Mpz t, r;
    mpz_from_be(t, S.ps.y.data());
    mpz_add_ui(t, t, 1);
    v["y_off"] = be_from_mpz(t);
    v["pub_off"] = with(pub, 32, v["y_off"]);
    v["pub_yp"] = with(pub, 32, p), v["pub_xp"] = with(pub, 0, p);
    v["sig_r0"] = with(sig, 32, zero), v["sig_rq"] = with(sig, 32, q);
    v["sig_s0"] = with(sig, 0, zero), v["sig_sq"] = with(sig, 0, q);
    v["sig_swap"] = cat(part(sig, 32, 32), part(sig, 0, 32));
    v["h2"] = with(v["h"], 31, {uint8_t(v["h"][31] ^ 1)});
    v["p_even"] = with(p, 31, {uint8_t(p[31] ^ 1)});
    v["p254"] = with(Bytes(32, 0xFF), 0, {0x3F});
    v["q254"] = with(zero, 1, {0x3F});  // q + 1 of 254 bits
    v["kek"] = gost94(left_aligned(S.mul_g(S.prod(v["d"], v["d2"], v["ukm"]))));
    v["kek_inf"] = gost94(Bytes(64, 0));
    // s = 0: the hash e with k e = -r d (mod q), r from k alone.
    mpz_from_be(r, sig.data() + 32);
    mpz_from_be(t, v["d"].data());
    mpz_mul(r, r, t);
    mpz_neg(r, r);
    mpz_from_be(t, v["k"].data());
    mpz_invert(t, t, S.q);
    mpz_mul(r, r, t);
    mpz_mod(r, r, S.q);
    v["h_s0"] = be_from_mpz(r);
    const auto run = [&](const std::string &row) {
        SCOPED_TRACE(row);
        std::istringstream in(row), spec;
        std::string fn, tok, out_name;
        in >> fn;
        spec.str(kArgs.at(fn));
        std::vector<std::string> names;
        const uint8_t *a[6] = {};
        for (size_t n = 0; spec >> tok && tok != "out"; n++) {
            names.push_back(tok.substr(0, tok.find('=')));
            a[n] = v.at(tok.substr(tok.find('=') + 1)).data();  // the whole token without '='
        }
        const rds_ctx *ctx = &S.ctx;
        Bytes out(64, 0xA5);
        uint8_t *o = out.data();
        while (in >> tok && tok[0] != '>') {
            const std::string name = tok.substr(0, tok.find('=')),
                              value = tok.substr(tok.find('=') + 1);
            const uint8_t *b = value == "NULL" ? nullptr : v.at(value).data();
            if (name == "ctx")
                ctx = nullptr;
            else if (name == "out")
                o = nullptr;
            else
                a[std::find(names.begin(), names.end(), name) - names.begin()] = b;
        }
        const uint32_t want = uint32_t(std::stoul(tok.substr(1)));
        in >> out_name;
        EXPECT_EQ(call(fn, ctx, a, o), want);
        if (want != 0) {
            EXPECT_EQ(out, Bytes(64, 0xA5));
        } else if (!out_name.empty()) {
            EXPECT_EQ(to_hex(part(out, 0, v.at(out_name).size())), to_hex(v.at(out_name)));
        }
    };
    std::istringstream rows(kRows);
    for (std::string row; std::getline(rows, row, ';');) run(row);
    for (const auto &[fn, spec] : kArgs) {  // NULL for each pointer, the context and the output
        std::istringstream s(spec + " ctx");
        for (std::string tok; s >> tok;) run(fn + " " + tok.substr(0, tok.find('=')) + "=NULL >7");
    }
}

TEST(GostR341001, RoundTripsHashReductionAndRandomBytesOnEveryCurve) {
    Rng rng(0x3404);
    for (const char *name : kCurves) {
        SCOPED_TRACE(name);
        GostSet S(name);
        for (int i = 0; i < 12; i++) {
            const Bytes d = scalar(rng, S.q), k = scalar(rng, S.q), h = rng.bytes(32);
            uint8_t pub[64], sig[64], kek1[32], kek2[32], pub2[64];
            ASSERT_EQ(rds_gen_keys(&S.ctx, d.data(), pub), 0u);
            ASSERT_EQ(rds_sign(&S.ctx, d.data(), k.data(), h.data(), sig), 0u);
            ASSERT_EQ(rds_verify(&S.ctx, pub, h.data(), sig), 0u);
            // One flipped bit in the signature or the hash fails; in the key it
            // gives another key or one off the curve.
            Bytes bad[3] = {Bytes(sig, sig + 64), h, Bytes(pub, pub + 64)};
            for (Bytes &b : bad) b[rng.below(uint32_t(b.size()))] ^= uint8_t(1u << rng.below(8));
            EXPECT_EQ(rds_verify(&S.ctx, pub, h.data(), bad[0].data()), 1u);
            EXPECT_EQ(rds_verify(&S.ctx, pub, bad[1].data(), sig), 1u);
            const uint32_t code = rds_verify(&S.ctx, bad[2].data(), h.data(), sig);
            EXPECT_TRUE(code == 1 || code == 5) << code;
            // VKO both ways.
            const Bytes d2 = scalar(rng, S.q), ukm = rng.bytes(8);
            ASSERT_EQ(vko341001_gen_pubkey(&S.ctx, d2.data(), pub2), 0u);
            ASSERT_EQ(vko341001_gen_kek(&S.ctx, kek1, d.data(), pub2, ukm.data()), 0u);
            ASSERT_EQ(vko341001_gen_kek(&S.ctx, kek2, d2.data(), pub, ukm.data()), 0u);
            EXPECT_EQ(to_hex(kek1, 32), to_hex(kek2, 32));
            // The hash is read mod q with 0 taken as 1: h mod q, h mod q + q
            // (below 2^256) sign as h; 0 and q sign as 1.
            const auto signs_as = [&](const Bytes &hh, const uint8_t *want) {
                uint8_t s2[64];
                ASSERT_EQ(rds_sign(&S.ctx, d.data(), k.data(), hh.data(), s2), 0u);
                EXPECT_EQ(to_hex(s2, 64), to_hex(want, 64));
            };
            Mpz e;
            mpz_from_be(e, h.data());
            mpz_mod(e, e, S.q);
            signs_as(be_from_mpz(e), sig);
            mpz_add(e, e, S.q);
            if (mpz_sizeinbase(e, 2) <= 256) signs_as(be_from_mpz(e), sig);
            ASSERT_EQ(rds_sign(&S.ctx, d.data(), k.data(), with(Bytes(32, 0), 31, {1}).data(), sig),
                      0u);
            signs_as(Bytes(32, 0), sig);
            signs_as(S.ps.q, sig);
        }
        // Random bytes where parameters, keys and signatures go: a code, no crash.
        const Bytes *prm[6] = {&S.ps.p, &S.ps.a, &S.ps.b, &S.ps.q, &S.ps.x, &S.ps.y};
        for (int i = 0; i < 100; i++) {
            rds_ctx c;
            Bytes r[6];
            const uint32_t which = rng.below(7);  // one random parameter among good ones, or all
            for (uint32_t j = 0; j < 6; j++)
                r[j] = which < 6 && j != which ? *prm[j] : rng.bytes(32);
            const uint32_t code = rds_init(&c, r[0].data(), r[1].data(), r[2].data(), r[3].data(),
                                           r[4].data(), r[5].data());
            EXPECT_TRUE(code == 0 || code == 3 || code == 4 || code == 8) << code;
            const Bytes pub = rng.bytes(64), sig = rng.bytes(64), h = rng.bytes(32);
            const uint32_t v = rds_verify(&S.ctx, pub.data(), h.data(), sig.data());
            EXPECT_TRUE(v == 1 || v == 5) << v;
            uint8_t kek[32];
            const uint32_t kc = vko341001_gen_kek(&S.ctx, kek, rng.bytes(32).data(), pub.data(),
                                                  rng.bytes(8).data());
            EXPECT_TRUE(kc == 0 || kc == 5 || kc == 6 || kc == 9) << kc;
        }
    }
}

TEST(GostR341001Threads, OneContextSignsAndVerifiesInManyThreadsAtOnce) {
    Rng rng(0x3405);
    for (const char *name : {"A", "test"}) {
        SCOPED_TRACE(name);
        GostSet S(name);
        constexpr size_t kThreads = 4, kJobs = 24;
        struct Job {
            Bytes d, k, h, ukm, pub = Bytes(64);
        };
        std::vector<Job> jobs(kJobs);
        for (auto &j : jobs) {
            j = {scalar(rng, S.q), scalar(rng, S.q), rng.bytes(32), rng.bytes(8)};
            ASSERT_EQ(rds_gen_keys(&S.ctx, j.d.data(), j.pub.data()), 0u);
        }
        // Job i's key, signature (verified) and KEK with job i + 1; empty on an error.
        const auto run = [&](size_t i) {
            const Job &j = jobs[i];
            Bytes pub(64), sig(64), kek(32);
            uint32_t rc = rds_gen_keys(&S.ctx, j.d.data(), pub.data());
            rc |= rds_sign(&S.ctx, j.d.data(), j.k.data(), j.h.data(), sig.data());
            rc |= rds_verify(&S.ctx, pub.data(), j.h.data(), sig.data());
            rc |= vko341001_gen_kek(&S.ctx, kek.data(), j.d.data(),
                                    jobs[(i + 1) % kJobs].pub.data(), j.ukm.data());
            return rc == 0 ? cat(cat(pub, sig), kek) : Bytes{};
        };
        std::vector<Bytes> want(kJobs);
        for (size_t i = 0; i < kJobs; i++) ASSERT_EQ((want[i] = run(i)).size(), 160u);
        std::vector<int> bad(kThreads, 0);
        std::vector<std::thread> threads;
        for (size_t t = 0; t < kThreads; t++)
            threads.emplace_back([&, t] {
                for (size_t i = t; i < kJobs; i += kThreads) bad[t] += run(i) != want[i];
            });
        for (auto &th : threads) th.join();
        for (size_t t = 0; t < kThreads; t++) EXPECT_EQ(bad[t], 0) << "thread " << t;
    }
}

#if defined(LNCEXT_HAVE_HOGWEED)

namespace {

// nettle draws the nonce from a random callback: this one hands out the
// 32 bytes of a chosen k (nettle reads them big-endian; k < q needs no retry).
void fixed_random(void *ctx, size_t n, uint8_t *out) {
    const Bytes *k = static_cast<const Bytes *>(ctx);
    std::copy(k->end() - std::ptrdiff_t(n), k->end(), out);
}

struct NettleKey {
    ecc_scalar d;
    ecc_point Q;
    NettleKey(const ecc_curve *c, const Bytes &d_be, const Bytes &pub) {
        ecc_scalar_init(&d, c);
        ecc_point_init(&Q, c);
        Mpz z, x, y;
        mpz_from_be(z, d_be.data());
        mpz_from_be(x, pub.data());
        mpz_from_be(y, pub.data() + 32);
        EXPECT_EQ(ecc_scalar_set(&d, z), 1);
        EXPECT_EQ(ecc_point_set(&Q, x, y), 1);  // nettle checks the point is on its curve
    }
    ~NettleKey() {
        ecc_scalar_clear(&d);
        ecc_point_clear(&Q);
    }
};

}  // namespace

TEST(GostR341001Oracles, NettleGostdsaSignsVerifiesAndAgreesOnVkoOnCryptoProA) {
    std::printf("oracle: nettle gostdsa and gostdsa_vko on gc256b (CryptoPro A) ran\n");
    const ecc_curve *curve = nettle_get_gost_gc256b();
    GostSet S("A");
    Rng rng(0x3501);
    for (int i = 0; i < 40; i++) {
        const Bytes d = scalar(rng, S.q), k = scalar(rng, S.q), k2 = scalar(rng, S.q),
                    d2 = scalar(rng, S.q), h = rng.bytes(32), hr = reversed(h), ukm = rng.bytes(8);
        Bytes pub(64), pub2(64), sig(64), kek(32);
        ASSERT_EQ(rds_gen_keys(&S.ctx, d.data(), pub.data()), 0u);
        ASSERT_EQ(vko341001_gen_pubkey(&S.ctx, d2.data(), pub2.data()), 0u);
        ASSERT_EQ(rds_sign(&S.ctx, d.data(), k.data(), h.data(), sig.data()), 0u);
        ASSERT_EQ(vko341001_gen_kek(&S.ctx, kek.data(), d.data(), pub2.data(), ukm.data()), 0u);
        NettleKey key(curve, d, pub), peer(curve, d2, pub2);
        // The same d, k and hash give the same (r, s) there; ours verifies
        // there, and theirs with another nonce here.
        dsa_signature ns, ours;
        dsa_signature_init(&ns);
        dsa_signature_init(&ours);
        gostdsa_sign(&key.d, const_cast<Bytes *>(&k), fixed_random, 32, hr.data(), &ns);
        EXPECT_EQ(to_hex(cat(be_from_mpz(ns.s), be_from_mpz(ns.r))), to_hex(sig)) << i;
        mpz_from_be(ours.s, sig.data());
        mpz_from_be(ours.r, sig.data() + 32);
        EXPECT_EQ(gostdsa_verify(&key.Q, 32, hr.data(), &ours), 1);
        gostdsa_sign(&key.d, const_cast<Bytes *>(&k2), fixed_random, 32, hr.data(), &ns);
        Bytes theirs = cat(be_from_mpz(ns.s), be_from_mpz(ns.r));
        EXPECT_EQ(rds_verify(&S.ctx, pub.data(), h.data(), theirs.data()), 0u);
        theirs[rng.below(64)] ^= 0x10;
        EXPECT_EQ(rds_verify(&S.ctx, pub.data(), h.data(), theirs.data()), 1u);
        dsa_signature_clear(&ns);
        dsa_signature_clear(&ours);
        // nettle's shared point (x || y, each little-endian), hashed as the KEK hashes it.
        uint8_t point[64];
        const Bytes ukm_le = reversed(ukm);
        gostdsa_vko(&key.d, &peer.Q, 8, ukm_le.data(), point);
        const Bytes K =
            cat(reversed(Bytes(point, point + 32)), reversed(Bytes(point + 32, point + 64)));
        EXPECT_EQ(to_hex(kek), to_hex(gost94(left_aligned(K)))) << i;
    }
}

#else

TEST(GostR341001Oracles, NettleGostdsaSignsVerifiesAndAgreesOnVkoOnCryptoProA) {
    GOST_ORACLE_MISSING("nettle/hogweed gostdsa");
}

#endif

#if defined(LNCEXT_HAVE_OPENSSL)

namespace {

struct Engine {
    ENGINE *e = nullptr;
    Engine() {
        ENGINE_load_builtin_engines();
        e = ENGINE_by_id("gost");
        if (e != nullptr && ENGINE_init(e) != 1) {
            ENGINE_free(e);
            e = nullptr;
        }
        // Its key types and digests become known to EVP only as defaults.
        if (e != nullptr) ENGINE_set_default(e, ENGINE_METHOD_ALL);
    }
    ~Engine() {
        if (e != nullptr) ENGINE_finish(e), ENGINE_free(e);
    }
};

BIGNUM *bn(const Bytes &be) {
    return BN_bin2bn(be.data(), int(be.size()), nullptr);
}

// A GOST R 34.10-2001 key of the engine on the named parameter set, set to
// the private key d and public key pub.
EVP_PKEY *engine_key(ENGINE *e, const char *paramset, const Bytes &d, const Bytes &pub) {
    EVP_PKEY *key = nullptr;
    EVP_PKEY_CTX *pc = EVP_PKEY_CTX_new_id(NID_id_GostR3410_2001, e);
    const bool made = pc != nullptr && EVP_PKEY_keygen_init(pc) == 1 &&
                      EVP_PKEY_CTX_ctrl_str(pc, "paramset", paramset) > 0 &&
                      EVP_PKEY_keygen(pc, &key) == 1;
    EVP_PKEY_CTX_free(pc);
    if (!made) return nullptr;
    EC_KEY *ec = static_cast<EC_KEY *>(EVP_PKEY_get0(key));
    const EC_GROUP *g = EC_KEY_get0_group(ec);
    BIGNUM *dn = bn(d), *x = bn(part(pub, 0, 32)), *y = bn(part(pub, 32, 32));
    EC_POINT *Q = EC_POINT_new(g);
    const bool ok = EC_KEY_set_private_key(ec, dn) == 1 &&
                    EC_POINT_set_affine_coordinates(g, Q, x, y, nullptr) == 1 &&
                    EC_KEY_set_public_key(ec, Q) == 1 && EC_KEY_check_key(ec) == 1;
    EC_POINT_free(Q);
    BN_free(dn), BN_free(x), BN_free(y);
    if (!ok) EVP_PKEY_free(key);
    return ok ? key : nullptr;
}

}  // namespace

TEST(GostR341001Oracles, OpenSslGostEngineSignaturesBothWaysAndVkoOnEveryParameterSet) {
    Engine engine;
    if (engine.e == nullptr) GOST_ORACLE_MISSING("OpenSSL GOST engine");
    std::printf("oracle: OpenSSL GOST engine ran\n");
    const EVP_MD *md94 = ENGINE_get_digest(engine.e, NID_id_GostR3411_94);
    ASSERT_NE(md94, nullptr);
    const auto digest = [&](const Bytes &in) {
        Bytes out(32);
        unsigned int n = 0;
        EXPECT_EQ(EVP_Digest(in.data(), in.size(), out.data(), &n, md94, engine.e), 1);
        return out;
    };
    const std::pair<const char *, const char *> sets[] = {
        {"test", "0"}, {"A", "A"}, {"B", "B"}, {"C", "C"}, {"XchA", "XA"}, {"XchB", "XB"}};
    Rng rng(0x3503);
    for (const auto &[name, engine_name] : sets) {
        SCOPED_TRACE(name);
        GostSet S(name);
        for (int i = 0; i < 6; i++) {
            const Bytes d = scalar(rng, S.q), k = scalar(rng, S.q), d2 = scalar(rng, S.q),
                        h = rng.bytes(32), hr = reversed(h), ukm = rng.bytes(8),
                        ukm_le = reversed(ukm);
            Bytes pub(64), pub2(64), sig(64), kek(32), theirs(64), derived(32);
            ASSERT_EQ(rds_gen_keys(&S.ctx, d.data(), pub.data()), 0u);
            ASSERT_EQ(vko341001_gen_pubkey(&S.ctx, d2.data(), pub2.data()), 0u);
            ASSERT_EQ(rds_sign(&S.ctx, d.data(), k.data(), h.data(), sig.data()), 0u);
            ASSERT_EQ(vko341001_gen_kek(&S.ctx, kek.data(), d.data(), pub2.data(), ukm.data()), 0u);
            // The engine takes our keys as d G = pub on its group.
            EVP_PKEY *key = engine_key(engine.e, engine_name, d, pub),
                     *peer = engine_key(engine.e, engine_name, d2, pub2);
            ASSERT_TRUE(key != nullptr && peer != nullptr) << "the engine refused a key";
            // Ours verifies there (a flipped bit does not), and theirs here.
            EVP_PKEY_CTX *pc = EVP_PKEY_CTX_new(key, engine.e);
            ASSERT_EQ(EVP_PKEY_verify_init(pc), 1);
            EXPECT_EQ(EVP_PKEY_verify(pc, sig.data(), 64, hr.data(), 32), 1);
            sig[rng.below(64)] ^= 0x04;
            EXPECT_NE(EVP_PKEY_verify(pc, sig.data(), 64, hr.data(), 32), 1);
            size_t len = 64;
            ASSERT_EQ(EVP_PKEY_sign_init(pc), 1);
            ASSERT_EQ(EVP_PKEY_sign(pc, theirs.data(), &len, hr.data(), 32), 1);
            ASSERT_EQ(len, 64u);
            EXPECT_EQ(rds_verify(&S.ctx, pub.data(), h.data(), theirs.data()), 0u);
            // VKO: K = ((d u) mod q) pub2 by OpenSSL's arithmetic. The engine's
            // derive hashes LE(x) || LE(y); our KEK hashes x, y left-aligned.
            const EC_GROUP *g = EC_KEY_get0_group(static_cast<EC_KEY *>(EVP_PKEY_get0(key)));
            EC_POINT *Kp = EC_POINT_new(g);
            BIGNUM *t = bn(be_from_mpz(Mpz(S.prod(d, ukm).data()))), *x = BN_new(), *y = BN_new();
            ASSERT_EQ(
                EC_POINT_mul(g, Kp, nullptr,
                             EC_KEY_get0_public_key(static_cast<EC_KEY *>(EVP_PKEY_get0(peer))), t,
                             nullptr),
                1);
            ASSERT_EQ(EC_POINT_get_affine_coordinates(g, Kp, x, y, nullptr), 1);
            Bytes K(64);
            ASSERT_EQ(BN_bn2binpad(x, K.data(), 32) + BN_bn2binpad(y, K.data() + 32, 32), 64);
            EC_POINT_free(Kp);
            BN_free(t), BN_free(x), BN_free(y);
            EXPECT_EQ(to_hex(kek), to_hex(digest(left_aligned(K))));
            ASSERT_EQ(EVP_PKEY_derive_init(pc), 1);
            ASSERT_EQ(EVP_PKEY_derive_set_peer(pc, peer), 1);
            ASSERT_GT(EVP_PKEY_CTX_ctrl(pc, -1, -1, EVP_PKEY_CTRL_SET_IV, 8, (void *)ukm_le.data()),
                      0);
            len = 32;
            ASSERT_EQ(EVP_PKEY_derive(pc, derived.data(), &len), 1);
            EXPECT_EQ(to_hex(derived),
                      to_hex(digest(cat(reversed(part(K, 0, 32)), reversed(part(K, 32, 32))))));
            EVP_PKEY_CTX_free(pc);
            EVP_PKEY_free(peer);
            EVP_PKEY_free(key);
        }
    }
}

#else

TEST(GostR341001Oracles, OpenSslGostEngineSignaturesBothWaysAndVkoOnEveryParameterSet) {
    GOST_ORACLE_MISSING("OpenSSL");
}

#endif
