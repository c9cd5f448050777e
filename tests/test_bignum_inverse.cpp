// lnmmodinv against GMP on shaped operands: the true inverse where there is
// one, m for a = 0, nothing written past the result's room on any input, and
// the result allowed over a.
#include <gtest/gtest.h>

#include "bignum_oracle.hpp"
#include "lncext/bignum.h"

using namespace lncext_test;
using Num = std::vector<uint32_t>;

namespace {

// Operands that stress the comparisons and the halvings: a near m, a
// sharing m's top words, a = m - 2^j, powers of two and their neighbours,
// 0, 1, m - 1, a above m, and a sharing a factor with m.
Num shaped_operand(Rng &g, const Num &m, mpz_srcptr zm) {
    Mpz x(random_num(g, 1 + g.below(m[0])).data());
    switch (g.below(9)) {
        case 0:
            mpz_sub_ui(x, zm, g.below(3));  // m - 2 .. m
            break;
        case 1: {
            Num a = random_num(g, m[0]);
            for (uint32_t i = 0; i < std::min<uint32_t>(m[0], 3); i++) a[m[0] - i] = m[m[0] - i];
            x.set(lnmclip(a.data()));
            break;
        }
        case 2:
            mpz_set_ui(x, 0);
            mpz_setbit(x, g.below(32 * m[0]));
            if (g.below(2)) mpz_sub(x, zm, x);
            break;
        case 3:
            mpz_set_ui(x, g.below(3));
            break;
        case 4:
            mpz_add(x, x, zm);  // above m
            break;
        case 5: {
            // a factor shared with m, when it has a small one
            for (unsigned p = 3; p < 200; p += 2)
                if (mpz_divisible_ui_p(zm, p)) {
                    mpz_mul_ui(x, x, p);
                    break;
                }
            break;
        }
        default:
            break;
    }
    if (mpz_sgn(x.z) < 0) mpz_set_ui(x, 1);
    return from_mpz(x);
}

TEST(BignumInverse, AgreesWithGmpOnShapedOperands) {
    Rng g(41);
    Mpz want;
    for (int iter = 0; iter < 30000; iter++) {
        const uint32_t n = iter % 20 == 0 ? 1 + g.below(130) : 1 + g.below(iter % 3 ? 9 : 24);
        Num m = random_num(g, n);
        if (g.below(20) != 0) m[1] |= 1;  // now and then an even modulus
        if (g.below(10) == 0) std::fill(m.begin() + 1, m.end() - 1, ~0u);
        const Mpz zm(m.data());
        const Num a = shaped_operand(g, m, zm);
        Guarded rl(std::max(n, a[0]) + 1, g);
        ASSERT_TRUE(rl.p() == lnmmodinv(a.data(), m.data(), rl.p()));
        ASSERT_TRUE(rl.intact());
        if ((m[1] & 1) && a[0] == 0) {
            ASSERT_TRUE(equals_mpz(rl.p(), zm));
        }
        const bool proper = (m[1] & 1) && a[0] != 0 && lnmcmp(a.data(), m.data()) < 0;
        if (proper && mpz_invert(want, Mpz(a.data()), zm)) {
            ASSERT_TRUE(equals_mpz(rl.p(), want)) << Mpz(a.data()).hex() << " mod " << zm.hex();
        }
        Guarded in(a, std::max(n, a[0]) + 1, g);  // r may be a
        lnmmodinv(in.p(), m.data(), in.p());
        ASSERT_EQ(counted(in.p()), counted(rl.p()));
    }
}

}  // namespace
