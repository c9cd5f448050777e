// The division paths against each other and against GMP: the reciprocal
// path with 32-bit and (where built) 64-bit limbs, the schoolbook path it
// replaced, and lnmdiv itself, on divisors and dividends shaped to reach
// every estimate correction.
#include <gtest/gtest.h>

#include "bignum_oracle.hpp"
#include "lncext/bignum.h"

// The division bodies are internal to the library; compiling them here lets
// the tests drive each of them directly.
#include "bignum/divide.cpp"

using namespace lncext_test;
using Num = std::vector<uint32_t>;

namespace {

using DivFn = void (*)(const uint32_t *, uint32_t *, uint32_t *, uint32_t *);
struct Path {
    const char *name;
    DivFn f;
    bool any_order;  // also takes a dividend below the divisor
};
const Path kPaths[] = {{"lnmdiv", lnmdiv, true},
                       {"schoolbook", lncext::div::schoolbook, false},
                       {"reciprocal", lncext::div::reciprocal, false},
                       {"limbs32", lncext::div::reciprocal_limbs<uint32_t>, false},
#if defined(LNCEXT_HAVE_INT128)
                       {"limbs64", lncext::div::reciprocal_limbs<uint64_t>, false}
#endif
};

// The reciprocals meet their definition (B + v) d <= B^e - 1 < (B + v + 1) d
// for divisors at the ends of their range.
template <class W>
void check_reciprocals(Rng &rng) {
    const unsigned bits = 8 * sizeof(W);
    const W top = W(1) << (bits - 1), ones = ~W(0);
    auto limb = [&] { return W(uint64_t(rng.word()) << 32 | rng.word()); };
    Mpz d, lo, hi, v, one;
    for (int i = 0; i < 4000; i++) {
        const W edge[] = {top, ones, W(top + 1), W(ones - 1), W(limb() | top)};
        const W d1 = edge[rng.below(5)], d0 = i % 2 ? edge[rng.below(5)] : W(i % 4 ? 0 : ones);
        const bool pair = i % 3 != 0;
        const W got =
            pair ? lncext::div::reciprocal_3by2(d1, d0) : lncext::div::reciprocal_word(d1);
        mpz_import(d, 1, -1, sizeof(W), 0, 0, &d1);
        if (pair)
            mpz_mul_2exp(d, d, bits), mpz_add_ui(d, d, 0),
                mpz_import(lo, 1, -1, sizeof(W), 0, 0, &d0), mpz_add(d, d, lo);
        mpz_import(v, 1, -1, sizeof(W), 0, 0, &got);
        mpz_setbit(v, bits);  // B + v
        mpz_set_ui(one, 0);
        mpz_setbit(one, bits * (pair ? 3 : 2));
        mpz_sub_ui(one, one, 1);  // B^e - 1
        mpz_mul(lo, v, d);
        mpz_add(hi, lo, d);
        ASSERT_TRUE(mpz_cmp(lo, one) <= 0 && mpz_cmp(one, hi) < 0)
            << uint64_t(d1) << " " << uint64_t(d0);
    }
}

TEST(BignumDivide, ReciprocalsMeetTheirDefinition) {
    Rng rng(31);
    check_reciprocals<uint32_t>(rng);
#if defined(LNCEXT_HAVE_INT128)
    check_reciprocals<uint64_t>(rng);
#endif
}

// A divisor shaped for the estimates: top word 0x80000000 or all ones with
// the rest random, zero or all ones, or plain random; 1 to 40 words (odd and
// even counts, so the 64-bit limbs get their padding word), sometimes up to 200.
Num shaped_divisor(Rng &rng, uint32_t n) {
    Num m = random_num(rng, n);
    const uint32_t rest = rng.below(3);
    for (uint32_t i = 1; i < n; i++) m[i] = rest == 0 ? 0 : rest == 1 ? ~0u : m[i];
    const uint32_t tops[] = {0x80000000u, ~0u, 0x80000001u, 1, m[n]};
    m[n] = tops[rng.below(5)];
    return m;
}

// Dividends: random; k m + small or - small; m 2^(32 j) - 1 and k (m + 1)
// (digits of all ones, estimates one too large); the divisor's top words
// repeated at the top (the digit B - 1 without a pair estimate); shorter
// than the divisor.
Num shaped_dividend(Rng &rng, const Num &m) {
    const uint32_t na = m[0] + rng.below(std::min<uint32_t>(40, 257 - m[0]));
    Mpz az, mz(m.data()), kz(random_num(rng, na - m[0] + 1).data());
    switch (rng.below(6)) {
        case 0:
            mpz_mul(az, mz, kz);
            if (rng.below(2))
                mpz_add_ui(az, az, rng.below(3));
            else if (mpz_sgn(az.z) > 0)
                mpz_sub_ui(az, az, 1 + rng.below(2));
            break;
        case 1:
            mpz_mul_2exp(az, mz, 32 * (na - m[0]));
            mpz_sub_ui(az, az, 1);
            break;
        case 2:
            mpz_add_ui(az, mz, 1);
            mpz_mul(az, az, kz);
            break;
        case 3: {
            Num a = random_num(rng, na);
            for (uint32_t i = 0; i < std::min<uint32_t>(m[0], 4); i++) a[na - i] = m[m[0] - i];
            lnmclip(a.data());
            a.resize(a[0] + 1);
            return a;
        }
        case 4:
            return random_num(rng, rng.below(m[0] + 1));
        default:
            return random_num(rng, na);
    }
    if (mpz_sizeinbase(az, 2) > 32 * 256) mpz_tdiv_r_2exp(az, az, 32 * 256);
    return from_mpz(az);
}

TEST(BignumDivide, EveryPathAgreesWithGmp) {
    Rng rng(32);
    Mpz qz, rz;
    for (int iter = 0; iter < 20000; iter++) {
        const uint32_t n = iter % 10 == 0 ? 1 + rng.below(200) : 1 + rng.below(iter % 3 ? 6 : 40);
        const Num m = shaped_divisor(rng, n), a = shaped_dividend(rng, m);
        mpz_tdiv_qr(qz, rz, Mpz(a.data()), Mpz(m.data()));
        for (const Path &p : kPaths) {
            if (!p.any_order && lncext::bn::cmp(a.data(), m.data()) < 0) continue;
            Guarded mg(m, m[0] + 2, rng), q(a[0] >= m[0] ? a[0] - m[0] + 3 : 1, rng),
                r(a[0] + 3, rng);
            p.f(a.data(), mg.p(), q.p(), r.p());
            ASSERT_TRUE(equals_mpz(r.p(), rz) && equals_mpz(q.p(), qz))
                << p.name << " " << a[0] << "/" << m[0];
            ASSERT_TRUE(mg.intact() && q.intact() && r.intact() && counted(mg.p()) == m) << p.name;
            Guarded t(a, a[0] + 3, rng);  // in place, no quotient
            p.f(t.p(), mg.p(), nullptr, t.p());
            ASSERT_TRUE(equals_mpz(t.p(), rz) && t.intact() && counted(mg.p()) == m) << p.name;
        }
    }
}

}  // namespace
