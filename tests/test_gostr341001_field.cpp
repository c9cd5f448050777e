// GF(p) field slots against GMP, in both representations: every slot on
// random and edge elements, results written over inputs, inversion and the
// 5-bit window power, and the choice of representation by lnmpff_init.
#include <gmp.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "bignum_oracle.hpp"
#include "lncext/bignum.h"
#include "lncext/gostr341001.h"

using namespace lncext_test;

namespace {

using Num = std::vector<uint32_t>;

// An element buffer: LNMPFF_WORDS words of junk (words past the count are
// scratch) and guard words behind it.
struct Elem {
    Guarded g;
    explicit Elem(Rng &rng) : g(LNMPFF_WORDS, rng) {}
    uint32_t *p() { return g.p(); }
};

// p = 2^(32 n) - c.
Num special_modulus(uint32_t n, uint32_t c) {
    Num p(n + 1, 0xFFFFFFFFu);
    p[0] = n;
    p[1] = 0u - c;
    return p;
}

Num hex_num(const char *hex) {
    Mpz z;
    mpz_set_str(z, hex, 16);
    return from_mpz(z);
}

struct Modulus {
    std::string name;
    Num p;
    bool special;
};

// Both representations, the fast 256-bit special-form path and the generic
// one, one-word and 16-word moduli, random odd moduli.
std::vector<Modulus> moduli() {
    std::vector<Modulus> m = {
        {"2^256-617 (CryptoPro A)", special_modulus(8, 617), true},
        {"2^192-237", special_modulus(6, 237), true},
        {"2^64-59", special_modulus(2, 59), true},
        {"2^512-569", special_modulus(16, 569), true},
        {"2^256-0xFFFFFFFF", special_modulus(8, 0xFFFFFFFFu), true},
        {"test 2^255+0x431",
         hex_num("8000000000000000000000000000000000000000000000000000000000000431"), false},
        {"CryptoPro C", hex_num("9b9f605f5a858107ab1ec85e6b41c8aacf846e86789051d37998f7b9022d759b"),
         false},
        {"one word 0xFFFFFFFB", Num{1, 0xFFFFFFFBu}, false},
        {"one word 3", Num{1, 3}, false},
    };
    Num changed = special_modulus(8, 617);
    changed[5] = 0xFFFFFFFEu;
    m.push_back({"2^256-617 with a middle word changed", changed, false});
    Rng rng(0x3101);
    for (uint32_t n = 1; n <= 16; n += 3) {
        Num p = random_num(rng, n);
        p[1] |= 1;
        if (n == 1 && p[1] < 3) p[1] = 3;
        bool special = n > 1;
        for (uint32_t i = 2; i <= n; i++) special &= p[i] == 0xFFFFFFFFu;
        m.push_back({"random " + std::to_string(n) + " words", p, special});
    }
    return m;
}

// Values below p: edges and random ones.
std::vector<Num> elements(Rng &rng, const Num &p, int random_count) {
    Mpz pz(p.data()), t;
    std::vector<Num> v = {Num{0}, Num{1, 1}, Num{1, 2}};
    for (unsigned long d : {1ul, 2ul, 3ul}) {
        mpz_sub_ui(t, pz, d);
        v.push_back(from_mpz(t));
    }
    mpz_fdiv_q_2exp(t, pz, 1);
    v.push_back(from_mpz(t));
    for (int i = 0; i < random_count; i++) {
        Num a = random_num(rng, 1 + rng.below(p[0]));
        Mpz az(a.data());
        mpz_mod(az, az, pz);
        v.push_back(from_mpz(az));
    }
    std::vector<Num> out;
    for (auto &a : v)
        if (mpz_cmp(Mpz(a.data()), pz) < 0) out.push_back(a);
    return out;
}

struct Field {
    lnmpff_ctx ctx;
    Mpz p, R;  // R = 2^width in Montgomery form, 1 otherwise
    explicit Field(const Num &m) {
        EXPECT_EQ(lnmpff_init(&ctx, m.data()), &ctx);
        p.set(m.data());
        mpz_set_ui(R, 1);
        if (ctx.mul == lnmpffmontmul) mpz_mul_2exp(R, R, ctx.width);
    }
    bool montgomery() const { return ctx.mul == lnmpffmontmul; }
    // The representation of the plain value v < p, computed by GMP.
    Num rep(mpz_srcptr v) {
        Mpz t;
        mpz_mul(t, v, R);
        mpz_mod(t, t, p);
        return from_mpz(t);
    }
};

}  // namespace

TEST(GostField, InitChoosesTheRepresentationFromTheModulusShape) {
    for (const auto &m : moduli()) {
        SCOPED_TRACE(m.name);
        lnmpff_ctx ctx;
        ASSERT_EQ(lnmpff_init(&ctx, m.p.data()), &ctx);
        EXPECT_EQ(counted(ctx.modulus), m.p);
        EXPECT_EQ(ctx.width, 32 * m.p[0]);
        EXPECT_EQ(ctx.setzero, lnmpffsetzero);
        EXPECT_EQ(ctx.add, lnmpffadd);
        EXPECT_EQ(ctx.sub, lnmpffsub);
        EXPECT_EQ(ctx.div2, lnmpffdiv2);
        if (m.special) {
            EXPECT_EQ(ctx.k0, 0u - m.p[1]);
            const lnmpff_conv_fn in = lnmpffpsfin, out = lnmpffpsfout;
            EXPECT_TRUE(ctx.in == in && ctx.out == out && ctx.setone == lnmpffpsfsetone &&
                        ctx.mul == lnmpffpsfmul && ctx.sqr == lnmpffpsfsqr &&
                        ctx.inv == lnmpffpsfinv);
        } else {
            EXPECT_EQ(ctx.k0 * (0u - m.p[1]), 1u);  // -p^-1 mod 2^32
            EXPECT_TRUE(ctx.in == lnmpffmontin && ctx.out == lnmpffmontout &&
                        ctx.setone == lnmpffmontsetone && ctx.mul == lnmpffmontmul &&
                        ctx.sqr == lnmpffmontsqr && ctx.inv == lnmpffmontinv);
            Mpz one, p(m.p.data());
            mpz_setbit(one, ctx.width);
            mpz_mod(one, one, p);
            EXPECT_TRUE(equals_mpz(ctx.one, one));
        }
    }
    lnmpff_ctx ctx;
    const Num p255 = hex_num("7fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffed");
    ASSERT_EQ(lnmpff_init(&ctx, p255.data()), &ctx);
    EXPECT_EQ(ctx.width, 256u);  // the word count, not the bit length
    EXPECT_EQ(lnmpff_init(&ctx, LNMBIG_ZERO), nullptr);
    EXPECT_EQ(lnmpff_init(&ctx, nullptr), nullptr);
    EXPECT_EQ(lnmpff_init(nullptr, p255.data()), nullptr);
    Num too_long(18, 0xFFFFFFFFu);
    too_long[0] = 17;
    EXPECT_EQ(lnmpff_init(&ctx, too_long.data()), nullptr);
}

TEST(GostField, EverySlotAgreesWithGmpAndMayOverwriteItsInputs) {
    Rng rng(0x3102);
    for (const auto &m : moduli()) {
        SCOPED_TRACE(m.name);
        Field F(m.p);
        const lnmpff_ctx *f = &F.ctx;
        std::vector<Num> vals = elements(rng, m.p, 12);
        Mpz want, t;
        for (const auto &x : vals) {
            for (const auto &y : vals) {
                Mpz xz(x.data()), yz(y.data());
                const Num xr = F.rep(xz), yr = F.rep(yz);
                // Every binary slot on distinct storage, then over a, then over b.
                struct Op {
                    const char *name;
                    lnmpff_binop_fn fn;
                    void (*ref)(mpz_ptr, mpz_srcptr, mpz_srcptr);
                };
                const Op ops[] = {
                    {"add", f->add, mpz_add}, {"sub", f->sub, mpz_sub}, {"mul", f->mul, mpz_mul}};
                for (const auto &op : ops) {
                    SCOPED_TRACE(op.name);
                    op.ref(want, xz, yz);
                    mpz_mod(want, want, F.p);
                    const Num wr = F.rep(want);
                    Elem r(rng), a(rng), b(rng);
                    std::copy(xr.begin(), xr.end(), a.p());
                    std::copy(yr.begin(), yr.end(), b.p());
                    ASSERT_TRUE(r.g.holds(op.fn(f, a.p(), b.p(), r.p()), Mpz(wr.data())));
                    ASSERT_TRUE(a.g.holds(op.fn(f, a.p(), b.p(), a.p()), Mpz(wr.data())));
                    std::copy(xr.begin(), xr.end(), a.p());
                    ASSERT_TRUE(b.g.holds(op.fn(f, a.p(), b.p(), b.p()), Mpz(wr.data())));
                }
            }
            Mpz xz(x.data());
            const Num xr = F.rep(xz);
            Elem a(rng), r(rng);
            // sqr, div2 over their input.
            std::copy(xr.begin(), xr.end(), a.p());
            mpz_mul(want, xz, xz);
            mpz_mod(want, want, F.p);
            ASSERT_TRUE(a.g.holds(f->sqr(f, a.p(), a.p()), Mpz(F.rep(want).data())));
            std::copy(xr.begin(), xr.end(), a.p());
            mpz_set(want, xz);
            if (mpz_odd_p(want.z)) mpz_add(want, want, F.p);
            mpz_fdiv_q_2exp(want, want, 1);
            ASSERT_TRUE(r.g.holds(f->div2(f, a.p(), r.p()), Mpz(F.rep(want).data())));
            ASSERT_TRUE(a.g.holds(f->div2(f, a.p(), a.p()), Mpz(F.rep(want).data())));
            // out(in(x)) = x, in and out over their input; in agrees with rep.
            std::copy(x.begin(), x.end(), a.p());
            ASSERT_TRUE(a.g.holds(f->in(f, a.p(), a.p()), Mpz(xr.data())));
            ASSERT_TRUE(a.g.holds(f->out(f, a.p(), a.p()), xz));
            if (x[0] == 0) continue;
            // inv: the form of x^-1, and x * inv(x) = one.
            std::copy(xr.begin(), xr.end(), a.p());
            if (mpz_invert(want, xz, F.p) == 0) continue;  // random moduli need not be prime
            ASSERT_TRUE(r.g.holds(f->inv(f, a.p(), r.p()), Mpz(F.rep(want).data())));
            f->mul(f, a.p(), r.p(), r.p());
            Elem one(rng);
            f->setone(f, one.p());
            ASSERT_EQ(counted(r.p()), counted(one.p()));
            ASSERT_TRUE(a.g.holds(f->inv(f, a.p(), a.p()), Mpz(F.rep(want).data())));
        }
        Elem r(rng);
        ASSERT_TRUE(r.g.holds(f->out(f, r.p(), f->setone(f, r.p())), Mpz(Num{1, 1}.data())));
        ASSERT_EQ(f->setzero(f, r.p())[0], 0u);
    }
}

TEST(GostField, InReducesAnyNumberUpTo32Words) {
    Rng rng(0x3103);
    for (const auto &m : moduli()) {
        SCOPED_TRACE(m.name);
        Field F(m.p);
        for (int i = 0; i < 40; i++) {
            Num a = random_num(rng, 1 + rng.below(LNMPFF_IN_MAX_DIGITS));
            if (i == 0) a = m.p;
            Mpz az(a.data()), want;
            mpz_mod(want, az, F.p);
            Guarded r(LNMPFF_WORDS, rng);
            F.ctx.in(&F.ctx, r.p(), a.data());
            ASSERT_TRUE(r.holds(r.p(), Mpz(F.rep(want).data())));
            ASSERT_TRUE(r.holds(F.ctx.out(&F.ctx, r.p(), r.p()), want));
        }
    }
}

TEST(GostField, PowerMatchesGmpIncludingExponentsZeroAndPMinus1) {
    Rng rng(0x3104);
    for (const auto &m : moduli()) {
        SCOPED_TRACE(m.name);
        Field F(m.p);
        const lnmpff_ctx *f = &F.ctx;
        Mpz pm1;
        mpz_sub_ui(pm1, F.p, 1);
        for (const auto &x : elements(rng, m.p, 3)) {
            Mpz xz(x.data());
            std::vector<Num> exps = {Num{0}, Num{1, 1}, from_mpz(pm1), random_num(rng, 9),
                                     random_num(rng, 1 + rng.below(20))};
            for (const auto &e : exps) {
                Mpz want;
                mpz_powm(want, xz, Mpz(e.data()), F.p);
                const Num xr = F.rep(xz);
                Elem a(rng), r(rng);
                std::copy(xr.begin(), xr.end(), a.p());
                ASSERT_TRUE(
                    r.g.holds(lnmpffpow(f, a.p(), e.data(), r.p()), Mpz(F.rep(want).data())));
                ASSERT_TRUE(
                    a.g.holds(lnmpffpow(f, a.p(), e.data(), a.p()), Mpz(F.rep(want).data())));
            }
        }
    }
}
