// GF(p) curves, GOST R 34.10-2001 and VKO: the field slots against GMP, the
// published vectors, the group law, every result code, round trips, one
// context in many threads, and nettle's gostdsa (CryptoPro A) and OpenSSL's
// GOST engine (every set) as oracles both ways. Both read a hash value and a
// UKM little-endian, so they get those strings reversed.
#include <atomic>
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
using Num = std::vector<uint32_t>;

namespace {

const char *const kCurves[] = {"test", "A", "B", "C"};  // XchA, XchB repeat A and C
const Bytes kInf(64, 0);                                // the point at infinity as x || y

Bytes with(Bytes b, size_t at, const Bytes &p) {
    std::copy(p.begin(), p.end(), b.begin() + std::ptrdiff_t(at));
    return b;
}

// A missing oracle is a skip on a developer machine and a failure in CI.
[[maybe_unused]] void oracle_missing(const char *what) {
    const char *ci = std::getenv("CI");
    if (ci != nullptr && std::string(ci) == "true" && sizeof(void *) == 8)
        FAIL() << what << " is required in CI";
    GTEST_SKIP() << what << " not available: oracle skipped";
}

// GF(p) moduli and whether they take the special form (every word above the
// lowest all ones): 1 to 16 words, the CryptoPro A, C and test primes, the
// largest c of 2^256 - c, an 8-word p of 255 bits, random odd ones.
std::vector<std::pair<Num, bool>> moduli() {
    const auto special = [](uint32_t n, uint32_t c) {  // 2^(32 n) - c
        Num p(n + 1, 0xFFFFFFFFu);
        p[0] = n, p[1] = 0u - c;
        return std::pair{p, true};
    };
    std::vector<std::pair<Num, bool>> m = {special(8, 617),   special(2, 59),
                                           special(16, 569),  special(8, 0xFFFFFFFFu),
                                           special(8, 617),   {Num{1, 0xFFFFFFFBu}, false},
                                           {Num{1, 3}, false}};
    m[4].first[5] = 0xFFFFFFFEu, m[4].second = false;  // a word above the lowest not all ones
    Mpz z;
    for (const char *h : {"8000000000000000000000000000000000000000000000000000000000000431",
                          "9b9f605f5a858107ab1ec85e6b41c8aacf846e86789051d37998f7b9022d759b",
                          "7fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffed"})
        m.push_back({from_mpz((mpz_set_str(z, h, 16), z)), false});
    Rng rng(0x3101);
    for (uint32_t n = 1; n <= 16; n += 3) {
        m.push_back({random_num(rng, n), false});
        m.back().first[1] |= n == 1 ? 3 : 1;
    }
    return m;
}

#if defined(LNCEXT_HAVE_HOGWEED)
// nettle draws the nonce from a random callback: this one hands out the
// 32 bytes of a chosen k (read big-endian; k < q needs no retry).
void fixed_random(void *ctx, size_t n, uint8_t *out) {
    const Bytes *k = static_cast<const Bytes *>(ctx);
    std::copy(k->end() - std::ptrdiff_t(n), k->end(), out);
}

#endif
#if defined(LNCEXT_HAVE_OPENSSL)
// A GOST R 34.10-2001 key of the engine on the named parameter set, set to
// the private key d and public key pub (which it checks: d G = pub there).
EVP_PKEY *engine_key(ENGINE *e, const char *paramset, const Bytes &d, const Bytes &pub) {
    EVP_PKEY *key = nullptr;
    EVP_PKEY_CTX *pc = EVP_PKEY_CTX_new_id(NID_id_GostR3410_2001, e);
    const bool made = pc != nullptr && EVP_PKEY_keygen_init(pc) == 1 &&
                      EVP_PKEY_CTX_ctrl_str(pc, "paramset", paramset) > 0 &&
                      EVP_PKEY_keygen(pc, &key) == 1;
    EVP_PKEY_CTX_free(pc);
    if (!made) return nullptr;
    EC_KEY *ec = static_cast<EC_KEY *>(EVP_PKEY_get0(key));
    BIGNUM *b[3] = {BN_bin2bn(d.data(), 32, nullptr), BN_bin2bn(pub.data(), 32, nullptr),
                    BN_bin2bn(pub.data() + 32, 32, nullptr)};
    const bool ok = EC_KEY_set_private_key(ec, b[0]) == 1 &&
                    EC_KEY_set_public_key_affine_coordinates(ec, b[1], b[2]) == 1 &&
                    EC_KEY_check_key(ec) == 1;
    for (BIGNUM *n : b) BN_free(n);
    if (!ok) EVP_PKEY_free(key);
    return ok ? key : nullptr;
}

#endif

}  // namespace

TEST(GostField, InitPicksTheFormFromTheShapeOfPAndEverySlotAgreesWithGmpOverItsInputs) {
    Rng rng(0x3102);
    lnmpff_ctx F;
    Num too_long(18, 0xFFFFFFFFu);  // 17 words
    too_long[0] = 17;
    EXPECT_TRUE(!lnmpff_init(&F, LNMBIG_ZERO) && !lnmpff_init(&F, nullptr) &&
                !lnmpff_init(&F, too_long.data()) && !lnmpff_init(nullptr, LNMBIG_ONE));
    for (const auto &[m, special] : moduli()) {
        SCOPED_TRACE(Mpz(m.data()).hex());
        ASSERT_EQ(lnmpff_init(&F, m.data()), &F);
        ASSERT_EQ(F.mul, special ? lnmpffpsfmul : lnmpffmontmul);
        const lnmpff_ctx *f = &F;
        Mpz p(m.data()), R, t, half;
        mpz_setbit(R, special ? 0 : 32 * m[0]);                  // R = 2^(32 n) in Montgomery form
        mpz_add_ui(half, p, 1), mpz_fdiv_q_2exp(half, half, 1);  // 1 / 2 mod p
        const auto rep = [&](mpz_srcptr v) {  // the representation of v mod p, by GMP
            Mpz w;
            return from_mpz((mpz_mul(w, v, R), mpz_mod(w, w, p), w));
        };
        // Every slot writes into junk-filled room with guard words behind it.
        const auto slot = [&](auto call, const Num &in, mpz_srcptr want, bool plain = false) {
            Guarded r(LNMPFF_WORDS, rng);
            std::copy(in.begin(), in.end(), r.p());
            return r.holds(call(r.p()), plain ? Mpz(from_mpz(want).data()) : Mpz(rep(want).data()));
        };
        // Edges (0, 1, 2, p - 1, p - 2, p - 3, p / 2) and random elements.
        std::vector<Num> vals = {Num{0}, Num{1, 1}, Num{1, 2}};
        for (unsigned long d : {1ul, 2ul, 3ul}) vals.push_back(from_mpz((mpz_sub_ui(t, p, d), t)));
        vals.push_back(from_mpz((mpz_fdiv_q_2exp(t, p, 1), t)));
        for (int i = 0; i < 12; i++) {
            mpz_mod(t, Mpz(random_num(rng, 1 + rng.below(m[0])).data()), p);
            vals.push_back(from_mpz(t));
        }
        std::erase_if(vals, [&](const Num &v) { return mpz_cmp(Mpz(v.data()), p) >= 0; });
        Mpz want;
        for (const auto &x : vals) {
            Mpz xz(x.data());
            const Num xr = rep(xz);
            for (const auto &y : vals) {
                Mpz yz(y.data());
                const Num yr = rep(yz);
                const std::pair<lnmpff_binop_fn, void (*)(mpz_ptr, mpz_srcptr, mpz_srcptr)> ops[] =
                    {{f->add, mpz_add}, {f->sub, mpz_sub}, {f->mul, mpz_mul}};
                for (const auto &[fn, ref] : ops) {
                    ref(want, xz, yz);
                    mpz_mod(want, want, p);
                    Guarded b(yr, LNMPFF_WORDS, rng);  // the result over a, then over b
                    ASSERT_TRUE(
                        slot([&](uint32_t *a) { return fn(f, a, yr.data(), a); }, xr, want));
                    ASSERT_TRUE(b.holds(fn(f, xr.data(), b.p(), b.p()), Mpz(rep(want).data())));
                }
            }
            mpz_mul(want, xz, xz);
            ASSERT_TRUE(slot([&](uint32_t *a) { return f->sqr(f, a, a); }, xr, want));
            mpz_mul(want, xz, half);
            ASSERT_TRUE(slot([&](uint32_t *a) { return f->div2(f, a, a); }, xr, want));
            ASSERT_TRUE(slot([&](uint32_t *r) { return f->div2(f, xr.data(), r); }, {}, want));
            ASSERT_TRUE(slot([&](uint32_t *a) { return f->in(f, a, a); }, x, xz));
            ASSERT_TRUE(slot([&](uint32_t *a) { return f->out(f, a, a); }, xr, xz, true));
            // x^e for e = 0, 1, p - 1 and random lengths, over its input.
            mpz_sub_ui(t, p, 1);
            for (const Num &e : {Num{0}, Num{1, 1}, from_mpz(t), random_num(rng, 9),
                                 random_num(rng, 1 + rng.below(20))}) {
                mpz_powm(want, xz, Mpz(e.data()), p);
                ASSERT_TRUE(
                    slot([&](uint32_t *a) { return lnmpffpow(f, a, e.data(), a); }, xr, want));
            }
            if (x[0] == 0 || mpz_invert(want, xz, p) == 0) continue;  // random p need not be prime
            ASSERT_TRUE(slot([&](uint32_t *a) { return f->inv(f, a, a); }, xr, want));
            ASSERT_TRUE(slot([&](uint32_t *r) { return f->inv(f, xr.data(), r); }, {}, want));
        }
        ASSERT_TRUE(slot([&](uint32_t *r) { return f->setone(f, r); }, {}, Mpz(Num{1, 1}.data())));
        ASSERT_TRUE(slot([&](uint32_t *r) { return f->setzero(f, r); }, {}, Mpz(LNMBIG_ZERO)));
        for (const Num &a : {m, random_num(rng, 32), random_num(rng, 1 + rng.below(32))}) {
            mpz_mod(want, Mpz(a.data()), p);  // in reduces numbers of up to 32 words
            ASSERT_TRUE(slot([&](uint32_t *r) { return f->in(f, r, a.data()); }, {}, want));
        }
    }
}

TEST(GostR341001, PublishedParameterSetsExampleMultiplicationsAndVkoPoint) {
    int seen = 0;
    for (const auto &blk : read_vectors("gostr341001.txt")) {
        SCOPED_TRACE(blk.fields.front().second);
        GostSet S(blk.get("paramset"));
        const lnmec_ctx *c = S.c();
        seen++;
        if (blk.fields.front().first == "paramset") {
            // p = 2^256 - c (special form) on A and XchA; a = p - 3 on all but test.
            EXPECT_EQ(c->field.mul, S.ps.name.back() == 'A' ? lnmpffpsfmul : lnmpffmontmul);
            EXPECT_EQ(c->dbl, S.ps.name == "test" ? lnmecpd : lnmecpd_3);
            Bytes o(6 * 32);
            ASSERT_EQ(rds_get_prms(&S.ctx, &o[0], &o[32], &o[64], &o[96], &o[128], &o[160]), 0u);
            EXPECT_EQ(o, concat({S.ps.p, S.ps.a, S.ps.b, S.ps.q, S.ps.x, S.ps.y}));
        } else if (blk.has("example")) {
            const Bytes d = blk.bytes("d"), k = blk.bytes("k"), e = blk.bytes("e");
            Bytes pub(64), sig(64);
            ASSERT_EQ(rds_gen_keys(&S.ctx, d.data(), pub.data()), 0u);
            EXPECT_EQ(to_hex(pub), to_hex(concat({blk.bytes("qx"), blk.bytes("qy")})));
            ASSERT_EQ(rds_sign(&S.ctx, d.data(), k.data(), e.data(), sig.data()), 0u);
            EXPECT_EQ(to_hex(sig), blk.get("s") + blk.get("r"));
            EXPECT_EQ(rds_verify(&S.ctx, pub.data(), e.data(), sig.data()), 0u);
        } else if (blk.has("mul")) {
            lnmec_point P = S.ctx.G, R;  // k P for the given P, or G
            if (blk.has("px"))
                lnmecpcr(c, &P, big(blk.bytes("px")).data(), big(blk.bytes("py")).data());
            EXPECT_EQ(affine(c, *lnmeckp(c, &R, big(blk.bytes("k")).data(), &P)),
                      concat({blk.bytes("rx"), blk.bytes("ry")}));
        } else {
            // K = (d1 d2 u mod q) G. The published KEK hashes LE(x) || LE(y);
            // this library hashes x, y big-endian and left-aligned.
            const Bytes d1 = blk.bytes("d1"), d2 = blk.bytes("d2"), ukm = blk.bytes("ukm");
            Bytes q2(64), k1(32);
            ASSERT_EQ(vko341001_gen_pubkey(&S.ctx, d2.data(), q2.data()), 0u);
            ASSERT_EQ(vko341001_gen_kek(&S.ctx, k1.data(), d1.data(), q2.data(), ukm.data()), 0u);
            const Bytes K = S.mul_g(S.prod(d1, d2, ukm));
            EXPECT_EQ(to_hex(gost94(concat({reversed(part(K, 0, 32)), reversed(part(K, 32, 32))}))),
                      blk.get("kek_le_point"));
            EXPECT_EQ(to_hex(k1), to_hex(gost94(left_aligned(K))));
        }
    }
    EXPECT_EQ(seen, 17);
}

TEST(GostR341001, GroupLawScalarMultiplicationsAndPointEdgesOnEveryCurve) {
    Rng rng(0x3301);
    for (const char *name : kCurves) {
        SCOPED_TRACE(name);
        GostSet S(name);
        const lnmec_ctx *c = S.c();
        const auto A = [&](const lnmec_point &P) { return affine(c, P); };
        lnmec_point O, P, Q, U, X, Y, N = S.ctx.G, T[8];
        ASSERT_EQ(lnmecpcr(c, &O, nullptr, nullptr), &O);
        for (int round = 0; round < 4; round++) {
            const Num a = big(S.scalar(rng)), b = big(S.scalar(rng));
            lnmeckp(c, &P, a.data(), &S.ctx.G);
            lnmeckp(c, &Q, b.data(), &S.ctx.G);
            lnmeckp(c, &U, big(S.scalar(rng)).data(), &S.ctx.G);
            EXPECT_EQ(A(*lnmecpa(c, &X, &P, &O)), A(P));
            EXPECT_EQ(A(*lnmecpa(c, &X, &O, &P)), A(P));
            EXPECT_EQ(A(*lnmecpa(c, &X, &P, &P)), A(*c->dbl(c, &Y, &P)));
            EXPECT_EQ(A(*lnmecpd(c, &X, &P)), A(Y));
            EXPECT_EQ(A(*c->dbl(c, &(X = P), &X)), A(*lnmecpd(c, &(Y = P), &Y)));
            EXPECT_EQ(A(*lnmecpa(c, &Y, &P, lnmecpneg(c, &(X = P)))), kInf);
            EXPECT_EQ(A(*lnmecpneg(c, &X)), A(P));
            X = P, Y = U;  // (P + Q) + U = P + (Q + U), each sum written over an input
            lnmecpa(c, &X, lnmecpa(c, &X, &X, &Q), &U);
            EXPECT_EQ(A(X), A(*lnmecpa(c, &Y, &P, lnmecpa(c, &Y, &Q, &Y))));
            Num ab = a;  // a U + b U = (a + b) U, the sum not reduced mod q
            lnmadd(ab.data(), b.data());
            lnmecpa(c, &X, lnmeckp(c, &X, a.data(), &U), lnmeckp(c, &Y, b.data(), &U));
            EXPECT_EQ(A(X), A(*lnmeckp(c, &Y, ab.data(), &U)));
            // lnmecakp = a P + b Q, over either input, and with zero scalars.
            lnmecpa(c, &X, lnmeckp(c, &X, a.data(), &P), lnmeckp(c, &Y, b.data(), &Q));
            EXPECT_EQ(A(*lnmecakp(c, &(Y = P), a.data(), &Y, b.data(), &Q)), A(X));
            EXPECT_EQ(A(*lnmecakp(c, &(Y = Q), a.data(), &P, b.data(), &Y)), A(X));
            EXPECT_EQ(A(*lnmecakp(c, &Y, b.data(), &Q, LNMBIG_ZERO, &P)),
                      A(*lnmeckp(c, &X, b.data(), &Q)));
            EXPECT_EQ(A(*lnmecakp(c, &Y, LNMBIG_ZERO, &P, LNMBIG_ZERO, &Q)), kInf);
            // The table multiplication, padded or not, and lnmeckp over its input.
            EXPECT_EQ(A(*lnmecickp(c, &X, S.ctx.table, a.data(), 5, 256)), A(P));
            EXPECT_EQ(A(*lnmecickp(c, &X, S.ctx.table, a.data(), 5, 0)), A(P));
            EXPECT_EQ(A(*lnmeckp(c, &(X = S.ctx.G), a.data(), &X)), A(P));
        }
        // k = m q + e for k = 0, 1, q - 1, q, q + 1, by all three multiplications.
        const Bytes g = A(S.ctx.G), ng = A(*lnmecpneg(c, &N));
        for (const auto &[m, e, want] :
             {std::tuple{0, 0, &kInf}, {0, 1, &g}, {1, -1, &ng}, {1, 0, &kInf}, {1, 1, &g}}) {
            Mpz k;
            mpz_set_si(k, e), mpz_addmul_ui(k, S.q, unsigned(m));
            const Num kn = big(k);
            EXPECT_EQ(S.mul_g(kn), *want) << m << e;
            EXPECT_EQ(A(*lnmecickp(c, &X, S.ctx.table, kn.data(), 5, 0)), *want) << m << e;
            EXPECT_EQ(A(*lnmecakp(c, &X, kn.data(), &S.ctx.G, LNMBIG_ZERO, &N)), *want) << m << e;
        }
        for (uint32_t w : {1u, 2u, 3u, 4u}) {  // odd-multiple tables of other widths
            const Num e = big(S.scalar(rng));
            EXPECT_EQ(A(*lnmecickp(c, &X, lnmecic(c, T, &S.ctx.G, w), e.data(), w, 0)), S.mul_g(e));
        }
        // Off the curve: NULL and a zeroed record. Infinity: lnmecpxy gives 0
        // and zeros; negation and doubling keep it.
        const auto zeroed = [](const auto &r) {
            return Bytes((const uint8_t *)&r, (const uint8_t *)(&r + 1)) == Bytes(sizeof r, 0);
        };
        std::fill_n(reinterpret_cast<uint8_t *>(&X), sizeof X, 0x5A);
        Num y1 = big(S.ps.y);
        EXPECT_EQ(lnmecpcr(c, &X, big(S.ps.x).data(), lnmadd(y1.data(), LNMBIG_ONE)), nullptr);
        EXPECT_TRUE(zeroed(X));
        uint32_t ox[LNMPFF_WORDS] = {5, 1, 2, 3, 4, 5}, oy[LNMPFF_WORDS] = {1, 7};
        EXPECT_EQ(lnmecpxy(c, &O, ox, oy), 0);
        EXPECT_EQ(ox[0] | oy[0] | lnmecpneg(c, &O)->Z[0] | c->dbl(c, &X, &O)->Z[0], 0u);
        // (5, 0) has order 2 on y^2 = x^3 + a x - 125 - 5 a: doubling gives O.
        Mpz b, p;
        set_bytes(b, S.ps.a), set_bytes(p, S.ps.p);
        mpz_mul_ui(b, b, 5), mpz_add_ui(b, b, 125), mpz_neg(b, b), mpz_mod(b, b, p);
        lnmec_ctx two;
        ASSERT_EQ(lnmeccr(&two, big(p).data(), big(S.ps.a).data(), big(b).data()), &two);
        ASSERT_EQ(lnmecpcr(&two, &P, Num{1, 5}.data(), LNMBIG_ZERO), &P);
        EXPECT_EQ(two.dbl(&two, &X, &P)->Z[0] | lnmecpd(&two, &X, &P)->Z[0] |
                      lnmecpa(&two, &X, &P, &P)->Z[0],
                  0u);
        lnmeccl(&two), lnmecpcl(&P);
        EXPECT_TRUE(zeroed(two) && zeroed(P));
    }
}

namespace {

// One entry point by name: byte-string arguments v[0..5], output v[6], context v[7].
uint32_t call(const std::string &fn, const uint8_t *const *v) {
    const rds_ctx *ctx = reinterpret_cast<const rds_ctx *>(v[7]);
    uint8_t *o = const_cast<uint8_t *>(v[6]);
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

// Each entry point's arguments by name (name=value: the good value's name).
const std::map<std::string, std::string> kArgs = {
    {"init", "p a b q x y"}, {"vko_init", "p a b q x y"},  {"get_prms", "out"},
    {"gen_keys", "d out"},   {"sign", "d k h out"},        {"verify", "pub h sig"},
    {"vko_pub", "d out"},    {"kek", "d pub=pub2 ukm out"}};

// Entry point, argument=value changes to its good call, ">" the code and,
// for success, the value the output starts with. 0 is 64 zero bytes (the
// point at infinity as a key or base point).
const char *const kRows =
    "init p=p_even >3; init p=p254 >3; init p=0 >3; init a=0 >3; init a=p >3; init b=0 >3; "
    "init b=p >3; init b=p y=p >3; init x=p >4; init y=p >4; init y=y_off >4; init q=q254 >8; "
    "init q=q255 >0 xy; init q=0 >8; init q=0 y=y_off >4; init x=0 y=0 >0 0; vko_init q=0 >8; "
    "vko_init >0 xy; get_prms >0 y; gen_keys d=0 >2; gen_keys d=q >2; gen_keys >0 pub; "
    "sign d=0 >6; sign d=q >6; sign d=q k=0 >6; sign k=0 >2; sign k=q >2; sign h=h_s0 >2; "
    "sign >0 sig; sign h=q1 >0 sig1; sign h=q >0 sig1; sign h=0 >0 sig1; verify pub=pub_xp >5; "
    "verify pub=pub_yp >5; verify pub=pub_off >5; verify pub=pub_off sig=sig_r0 >5; verify >0; "
    "verify sig=sig_r0 >1; verify sig=sig_rq >1; verify sig=sig_s0 >1; verify sig=sig_sq >1; "
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
    v["x"] = S.ps.x, v["y"] = S.ps.y, v["xy"] = concat({S.ps.x, S.ps.y}), v["h"] = rng.bytes(32);
    v["d"] = S.scalar(rng), v["d2"] = S.scalar(rng), v["pub"] = v["pub2"] = v["sig"] = Bytes(64);
    ASSERT_EQ(rds_gen_keys(&S.ctx, v["d"].data(), v["pub"].data()), 0u);
    ASSERT_EQ(rds_gen_keys(&S.ctx, v["d2"].data(), v["pub2"].data()), 0u);
    const Bytes zero(32, 0), &p = S.ps.p, &q = S.ps.q, &pub = v["pub"], &sig = v["sig"];
    Mpz t, r;
    do {  // a nonce whose s + q still fits 32 bytes: s mod q unchanged, out of range
        v["k"] = S.scalar(rng);
        ASSERT_EQ(rds_sign(&S.ctx, v["d"].data(), v["k"].data(), v["h"].data(), v["sig"].data()),
                  0u);
        set_bytes(t, sig.data(), 32), mpz_add(t, t, S.q);
    } while (mpz_sizeinbase(t, 2) > 256);
    v["y_off"] = with(S.ps.y, 31, {uint8_t(S.ps.y[31] ^ 1)});  // (x, y +- 1) is off the curve
    v["pub_off"] = with(pub, 32, v["y_off"]);
    v["pub_yp"] = with(pub, 32, p), v["pub_xp"] = with(pub, 0, p);
    v["sig_r0"] = with(sig, 32, zero), v["sig_rq"] = with(sig, 32, q);
    v["sig_s0"] = with(sig, 0, zero), v["sig_sq"] = with(sig, 0, bytes_of(t, 32));
    v["sig_swap"] = concat({part(sig, 32, 32), part(sig, 0, 32)});
    v["h2"] = with(v["h"], 31, {uint8_t(v["h"][31] ^ 1)});
    v["p_even"] = with(p, 31, {uint8_t(p[31] ^ 1)});
    v["p254"] = with(Bytes(32, 0xFF), 0, {0x3F});
    v["q255"] = with(Bytes(32, 0xFF), 0, {0x3F});  // q + 1 = 2^254, the shortest
    v["q254"] = with(v["q255"], 31, {0xFE});       // q + 1 = 2^254 - 1
    // A UKM that makes the shared point's x start with a zero byte, so that
    // the good KEK shows the left alignment.
    for (uint32_t u = 1; v["kek"].empty() && u < 5000; u++) {
        v["ukm"] = {0, 0, 0, 0, 0, 0, uint8_t(u >> 8), uint8_t(u)};
        const Bytes K = S.mul_g(S.prod(v["d"], v["d2"], v["ukm"]));
        if (K[0] == 0) v["kek"] = gost94(left_aligned(K));
    }
    ASSERT_FALSE(v["kek"].empty());
    v["kek_inf"] = gost94(Bytes(64, 0));
    // The hash is read mod q, and 0 as 1: q + 1, q and 0 sign as 1.
    v["q1"] = with(q, 31, {uint8_t(q[31] + 1)}), v["one"] = with(zero, 31, {1}), v["sig1"] = sig;
    ASSERT_EQ(rds_sign(&S.ctx, v["d"].data(), v["k"].data(), v["one"].data(), v["sig1"].data()),
              0u);
    // s = 0: the hash e = -r d / k (mod q), r from k alone.
    set_bytes(t, v["k"]), mpz_invert(t, t, S.q);
    mpz_sub(r, S.q, Mpz(S.prod(part(sig, 32, 32), v["d"], bytes_of(t, 32)).data()));
    v["h_s0"] = bytes_of(r, 32);
    const auto run = [&](const std::string &row) {
        SCOPED_TRACE(row);
        std::istringstream in(row), params;
        std::string fn, tok, out_name;
        in >> fn;
        params.str(kArgs.at(fn));
        Bytes out(64, 0xA5);
        std::string names[8] = {"", "", "", "", "", "", "out", "ctx"};
        const uint8_t *a[8] = {};
        a[6] = out.data(), a[7] = reinterpret_cast<const uint8_t *>(&S.ctx);
        for (size_t n = 0; params >> tok && tok != "out"; n++)  // name or name=value
            names[n] = tok.substr(0, tok.find('=')),
            a[n] = v.at(tok.substr(tok.find('=') + 1)).data();
        while (in >> tok && tok[0] != '>') {
            const std::string value = tok.substr(tok.find('=') + 1);
            a[std::find(names, names + 8, tok.substr(0, tok.find('='))) - names] =
                value == "NULL" ? nullptr : v.at(value).data();
        }
        const uint32_t want = uint32_t(std::stoul(tok.substr(1)));
        EXPECT_EQ(call(fn, a), want);  // the output untouched unless the row names its value
        const Bytes w = want != 0 || !(in >> out_name) ? Bytes(64, 0xA5) : v.at(out_name);
        EXPECT_EQ(to_hex(part(out, 0, w.size())), to_hex(w));
    };
    std::istringstream rows(kRows);
    for (std::string row; std::getline(rows, row, ';');) run(row);
    for (const auto &[fn, params] : kArgs) {  // NULL for each pointer, the context and the output
        std::istringstream s(params + " ctx");
        for (std::string tok; s >> tok;) run(fn + " " + tok.substr(0, tok.find('=')) + "=NULL >7");
    }
}

TEST(GostR341001Threads, SignVerifyAndVkoRoundTripOnEveryCurveAlsoFromManyThreadsAtOnce) {
    Rng rng(0x3405);
    for (const char *name : kCurves) {
        SCOPED_TRACE(name);
        GostSet S(name);
        constexpr size_t kThreads = 4, kJobs = 24;
        std::vector<Bytes> d(kJobs), h(kJobs), want(kJobs);
        for (size_t i = 0; i < kJobs; i++) d[i] = S.scalar(rng), h[i] = rng.bytes(32);
        // Job i: d[i]'s key and signature of h[i] (nonce d[i + 2]), verified and
        // failing with a bit flipped; its KEK with d[i + 1] from both sides.
        const auto run = [&](size_t i) {
            const Bytes &e = d[(i + 1) % kJobs], &k = d[(i + 2) % kJobs];
            Bytes pub(64), peer(64), sig(64), bad, kek(32), kek2(32);
            uint32_t rc = rds_gen_keys(&S.ctx, d[i].data(), pub.data());
            rc |= vko341001_gen_pubkey(&S.ctx, e.data(), peer.data());
            rc |= rds_sign(&S.ctx, d[i].data(), k.data(), h[i].data(), sig.data());
            rc |= rds_verify(&S.ctx, pub.data(), h[i].data(), sig.data());
            (bad = sig)[(i * 7) % 64] ^= uint8_t(1u << (i % 8));
            rc |= rds_verify(&S.ctx, pub.data(), h[i].data(), bad.data()) ^ 1;
            rc |= vko341001_gen_kek(&S.ctx, kek.data(), d[i].data(), peer.data(), k.data());
            rc |= vko341001_gen_kek(&S.ctx, kek2.data(), e.data(), pub.data(), k.data());
            return rc == 0 && kek == kek2 ? concat({pub, sig, kek}) : Bytes{};
        };
        for (size_t i = 0; i < kJobs; i++) ASSERT_EQ((want[i] = run(i)).size(), 160u) << i;
        std::atomic<int> bad{0};
        std::vector<std::thread> threads;
        for (size_t t = 0; t < kThreads; t++)
            threads.emplace_back([&, t] {
                for (size_t i = t; i < kJobs; i += kThreads) bad += run(i) != want[i];
            });
        for (auto &th : threads) th.join();
        EXPECT_EQ(bad, 0);
    }
}

#if defined(LNCEXT_HAVE_HOGWEED)

TEST(GostR341001Oracles, NettleGostdsaSignsAlikeVerifiesHereAndAgreesOnVkoOnCryptoProA) {
    std::printf("oracle: nettle gostdsa and gostdsa_vko on gc256b (CryptoPro A) ran\n");
    GostSet S("A");
    Rng rng(0x3501);
    ecc_scalar nd;
    ecc_point nq;
    dsa_signature ns;
    ecc_scalar_init(&nd, nettle_get_gost_gc256b()), ecc_point_init(&nq, nettle_get_gost_gc256b());
    dsa_signature_init(&ns);
    Mpz z, x, y;
    for (int i = 0; i < 40; i++) {
        const Bytes d = S.scalar(rng), k = S.scalar(rng), d2 = S.scalar(rng), h = rng.bytes(32),
                    hr = reversed(h), ukm = rng.bytes(8), ukm_le = reversed(ukm);
        Bytes pub(64), pub2(64), sig(64), kek(32), point(64);
        ASSERT_EQ(rds_gen_keys(&S.ctx, d.data(), pub.data()), 0u);
        ASSERT_EQ(vko341001_gen_pubkey(&S.ctx, d2.data(), pub2.data()), 0u);
        ASSERT_EQ(rds_sign(&S.ctx, d.data(), k.data(), h.data(), sig.data()), 0u);
        ASSERT_EQ(vko341001_gen_kek(&S.ctx, kek.data(), d2.data(), pub.data(), ukm.data()), 0u);
        // The same d, k and hash sign alike there; theirs (nonce d2) verifies here.
        set_bytes(z, d), set_bytes(x, pub2.data(), 32), set_bytes(y, pub2.data() + 32, 32);
        ASSERT_EQ(ecc_scalar_set(&nd, z) & ecc_point_set(&nq, x, y), 1);  // d2 G on its curve
        gostdsa_sign(&nd, const_cast<Bytes *>(&k), fixed_random, 32, hr.data(), &ns);
        EXPECT_EQ(to_hex(concat({bytes_of(ns.s, 32), bytes_of(ns.r, 32)})), to_hex(sig)) << i;
        gostdsa_sign(&nd, const_cast<Bytes *>(&d2), fixed_random, 32, hr.data(), &ns);
        Bytes theirs = concat({bytes_of(ns.s, 32), bytes_of(ns.r, 32)});
        EXPECT_EQ(rds_verify(&S.ctx, pub.data(), h.data(), theirs.data()), 0u);
        // nettle's shared point of d and d2 G (LE(x) || LE(y)), hashed as the KEK.
        gostdsa_vko(&nd, &nq, 8, ukm_le.data(), point.data());
        const Bytes K = concat({reversed(part(point, 0, 32)), reversed(part(point, 32, 32))});
        EXPECT_EQ(to_hex(kek), to_hex(gost94(left_aligned(K)))) << i;
    }
    dsa_signature_clear(&ns), ecc_scalar_clear(&nd), ecc_point_clear(&nq);
}

#else

TEST(GostR341001Oracles, NettleGostdsaSignsAlikeVerifiesHereAndAgreesOnVkoOnCryptoProA) {
    return oracle_missing("nettle/hogweed gostdsa");
}

#endif

#if defined(LNCEXT_HAVE_OPENSSL)

TEST(GostR341001Oracles, OpenSslGostEngineSignaturesBothWaysAndVkoOnEveryParameterSet) {
    ENGINE_load_builtin_engines();
    ENGINE *eng = ENGINE_by_id("gost");
    if (eng == nullptr || ENGINE_init(eng) != 1) return oracle_missing("OpenSSL GOST engine");
    ENGINE_set_default(eng, ENGINE_METHOD_ALL);  // its key types and digests become known to EVP
    std::printf("oracle: OpenSSL GOST engine ran\n");
    const std::pair<const char *, const char *> sets[] = {
        {"test", "0"}, {"A", "A"}, {"B", "B"}, {"C", "C"}, {"XchA", "XA"}, {"XchB", "XB"}};
    Rng rng(0x3503);
    for (const auto &[name, engine_name] : sets) {
        SCOPED_TRACE(name);
        GostSet S(name);
        for (int i = 0; i < 6; i++) {
            const Bytes d = S.scalar(rng), k = S.scalar(rng), d2 = S.scalar(rng), h = rng.bytes(32),
                        hr = reversed(h), ukm = rng.bytes(8);
            Bytes pub(64), pub2(64), sig(64), kek(32), theirs(64);
            ASSERT_EQ(rds_gen_keys(&S.ctx, d.data(), pub.data()), 0u);
            ASSERT_EQ(vko341001_gen_pubkey(&S.ctx, d2.data(), pub2.data()), 0u);
            ASSERT_EQ(rds_sign(&S.ctx, d.data(), k.data(), h.data(), sig.data()), 0u);
            ASSERT_EQ(vko341001_gen_kek(&S.ctx, kek.data(), d.data(), pub2.data(), ukm.data()), 0u);
            EVP_PKEY *key = engine_key(eng, engine_name, d, pub);
            ASSERT_NE(key, nullptr) << "the engine refused the key";
            // Ours verifies there, and theirs here.
            EVP_PKEY_CTX *pc = EVP_PKEY_CTX_new(key, eng);
            ASSERT_EQ(EVP_PKEY_verify_init(pc), 1);
            EXPECT_EQ(EVP_PKEY_verify(pc, sig.data(), 64, hr.data(), 32), 1);
            size_t len = 64;
            ASSERT_EQ(EVP_PKEY_sign_init(pc), 1);
            ASSERT_EQ(EVP_PKEY_sign(pc, theirs.data(), &len, hr.data(), 32), 1);
            EXPECT_EQ(rds_verify(&S.ctx, pub.data(), h.data(), theirs.data()), 0u);
            // VKO: K = (d d2 u mod q) G is a key pair there too, and the KEK hashes K.
            const Num t = S.prod(d, d2, ukm);
            const Bytes K = S.mul_g(t);
            EVP_PKEY *kp = engine_key(eng, engine_name, bytes_of(Mpz(t.data()), 32), K);
            EXPECT_NE(kp, nullptr) << "the engine refused K";
            EXPECT_EQ(to_hex(kek), to_hex(gost94(left_aligned(K))));
            EVP_PKEY_free(kp);
            EVP_PKEY_CTX_free(pc), EVP_PKEY_free(key);
        }
    }
    ENGINE_finish(eng);
    ENGINE_free(eng);
}

#else

TEST(GostR341001Oracles, OpenSslGostEngineSignaturesBothWaysAndVkoOnEveryParameterSet) {
    return oracle_missing("OpenSSL");
}

#endif
