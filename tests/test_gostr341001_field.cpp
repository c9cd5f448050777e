// GF(p) field slots against GMP in both representations (chosen by the shape
// of p): every slot and the window power on edge and random elements, with
// results written over the inputs and nothing past an element's room.
#include "gostr341001_util.hpp"

using namespace lncext_test;

namespace {

using Num = std::vector<uint32_t>;

Num special_modulus(uint32_t n, uint32_t c) {  // 2^(32 n) - c
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

// Both representations, the 256-bit special-form path and the generic one,
// one-word to 16-word moduli, and random odd ones.
std::vector<Modulus> moduli() {
    Num changed = special_modulus(8, 617);
    changed[5] = 0xFFFFFFFEu;
    std::vector<Modulus> m = {
        {"2^256-617 (CryptoPro A)", special_modulus(8, 617), true},
        {"2^64-59", special_modulus(2, 59), true},
        {"2^512-569", special_modulus(16, 569), true},
        {"2^256-0xFFFFFFFF", special_modulus(8, 0xFFFFFFFFu), true},
        {"test 2^255+0x431",
         hex_num("8000000000000000000000000000000000000000000000000000000000000431"), false},
        {"CryptoPro C", hex_num("9b9f605f5a858107ab1ec85e6b41c8aacf846e86789051d37998f7b9022d759b"),
         false},
        {"one word 0xFFFFFFFB", Num{1, 0xFFFFFFFBu}, false},
        {"one word 3", Num{1, 3}, false},
        {"2^255-19 (eight words)",
         hex_num("7fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffed"), false},
        {"2^256-617 with a middle word changed", changed, false}};
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

}  // namespace

TEST(GostField, InitRefusesNullZeroAndOverlongModuli) {
    lnmpff_ctx f;
    Num too_long(18, 0xFFFFFFFFu);
    too_long[0] = 17;
    for (const uint32_t *p :
         {LNMBIG_ZERO, (const uint32_t *)nullptr, (const uint32_t *)&too_long[0]})
        EXPECT_EQ(lnmpff_init(&f, p), nullptr);
    EXPECT_EQ(lnmpff_init(nullptr, too_long.data() + 1), nullptr);
}

TEST(GostField, TheShapeOfPPicksTheFormAndEverySlotAgreesWithGmpOverItsInputs) {
    Rng rng(0x3102);
    for (const auto &m : moduli()) {
        SCOPED_TRACE(m.name);
        lnmpff_ctx F;
        ASSERT_EQ(lnmpff_init(&F, m.p.data()), &F);
        ASSERT_EQ(F.mul, m.special ? lnmpffpsfmul : lnmpffmontmul);
        const lnmpff_ctx *f = &F;
        Mpz p(m.p.data()), R, t;
        mpz_setbit(R, m.special ? 0 : 32 * m.p[0]);  // R = 2^(32 n) in Montgomery form
        const auto rep = [&](mpz_srcptr v) {  // the representation of v mod p, by GMP
            Mpz w;
            mpz_mul(w, v, R);
            mpz_mod(w, w, p);
            return from_mpz(w);
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
            mpz_mod(t, Mpz(random_num(rng, 1 + rng.below(m.p[0])).data()), p);
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
                    Guarded b(yr, LNMPFF_WORDS, rng);  // distinct output, then over a, over b
                    ASSERT_TRUE(
                        slot([&](uint32_t *r) { return fn(f, xr.data(), b.p(), r); }, {}, want));
                    ASSERT_TRUE(
                        slot([&](uint32_t *a) { return fn(f, a, yr.data(), a); }, xr, want));
                    ASSERT_TRUE(b.holds(fn(f, xr.data(), b.p(), b.p()), Mpz(rep(want).data())));
                }
            }
            mpz_mul(want, xz, xz);
            ASSERT_TRUE(slot([&](uint32_t *a) { return f->sqr(f, a, a); }, xr, want));
            mpz_set(want, xz);
            if (mpz_odd_p(want.z)) mpz_add(want, want, p);
            mpz_fdiv_q_2exp(want, want, 1);
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
        mpz_set_ui(want, 1);
        ASSERT_TRUE(slot([&](uint32_t *r) { return f->setone(f, r); }, {}, want));
        mpz_set_ui(want, 0);
        ASSERT_TRUE(slot([&](uint32_t *r) { return f->setzero(f, r); }, {}, want));
        // in reduces any number of up to 32 words, p itself among them.
        for (int i = 0; i < 20; i++) {
            const Num a = i == 0 ? m.p : random_num(rng, 1 + rng.below(LNMPFF_IN_MAX_DIGITS));
            mpz_mod(want, Mpz(a.data()), p);
            ASSERT_TRUE(slot([&](uint32_t *r) { return f->in(f, r, a.data()); }, {}, want));
        }
    }
}
