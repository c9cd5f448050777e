// Products, squares, division and the word kernels, against GMP.
#include <gtest/gtest.h>

#include <array>

#include "bignum_oracle.hpp"
#include "lncext/bignum.h"

// The kernels are internal to the library; compiling them here lets the
// tests drive both the word and the two-word implementations directly.
#include "bignum/kernels.cpp"

using namespace lncext_test;
using Num = std::vector<uint32_t>;

namespace {

// One set of kernels: the dispatching entry points, the word variant and,
// where it is built, the two-word variant.
struct Kernels {
    void (*mul)(uint32_t *, const uint32_t *, size_t, const uint32_t *, size_t);
    void (*sqr)(uint32_t *, const uint32_t *, size_t);
    void (*redc)(uint32_t *, const uint32_t *, size_t, size_t, uint32_t);
};
using namespace lncext::kern;
const Kernels kKernels[] = {{mul, sqr, redc},
                            {mul_w32, sqr_w32, redc_w32},
#if defined(LNCEXT_WIDE_KERNELS)
                            {mul_w64, sqr_w64, redc_w64}
#endif
};

// Runs a * b (a square when b is a itself) into a junk-filled destination
// guarded at exactly the product's words and compares every word with GMP.
::testing::AssertionResult kernel_gives(const Num &a, const Num &b, Rng &rng, const Kernels &k) {
    Mpz p;
    mpz_mul(p, Mpz(a.data()), Mpz(b.data()));
    Num want(a[0] + b[0], 0);
    mpz_export(want.data(), nullptr, -1, 4, 0, 0, p);
    Guarded r(want.size(), rng);
    &a == &b ? k.sqr(r.p(), a.data() + 1, a[0])
             : k.mul(r.p(), a.data() + 1, a[0], b.data() + 1, b[0]);
    return ::testing::AssertionResult(r.intact() &&
                                      std::equal(want.begin(), want.end(), r.v.begin()))
           << "sizes " << a[0] << "x" << b[0];
}

// Every shape of small operands, and equal sizes up to 260, where the
// dispatcher takes the Karatsuba layer; equal, zero and all-ones halves give
// both signs of the half differences and their zero case.
TEST(BignumKernels, ProductsAndSquares) {
    Rng rng(12);
    for (uint32_t i = 0; i < 24 * 24 + 5 * 236; i++) {  // 1..24 x 1..24, then n x n to 260
        const uint32_t n = i < 576 ? 1 + i / 24 : 25 + (i - 576) / 5, nb = i < 576 ? 1 + i % 24 : n;
        const uint32_t h = n / 2, shape = n == nb ? i % 5 : 0;
        Num a = random_num(rng, n), b = random_num(rng, nb);
        if (shape == 1) std::copy(a.begin() + 1, a.begin() + 1 + h, a.end() - h);
        if (shape == 2) std::fill(b.begin() + 1 + h, b.end() - 1, 0u);
        if (shape == 3) std::fill(a.begin() + 1, a.end(), ~0u);
        if (shape == 4) std::fill(b.begin() + 1, b.begin() + 1 + h, 0u);
        for (const Kernels &k : kKernels)
            ASSERT_TRUE(kernel_gives(a, b, rng, k) && kernel_gives(a, a, rng, k)) << shape;
    }
}

// Reduction of t < m R (often just below it) over `words` words: the low
// words become zero and the rest is exactly (t + U m) / R, U = -t m^-1 mod R.
TEST(BignumKernels, RedcAgainstGmp) {
    Rng rng(13);
    Mpz t, m, R, U, want;
    for (int iter = 0; iter < 3000; iter++) {
        const uint32_t n = random_size(rng, iter < 2700 ? 20 : 128, 1);
        const uint32_t words = rng.below(3) == 0 ? random_size(rng, n + 3, 1) : n;
        Num mv = random_num(rng, n);
        mv[1] |= 1;
        m.set(mv.data());
        mpz_ui_pow_ui(R, 2, 32 * words);
        mpz_mul(want, m, R);
        t.set(random_num(rng, random_size(rng, n + words, 1)).data());
        if (rng.below(4) == 0) mpz_sub_ui(t, want, 1 + rng.below(1000));
        mpz_mod(t, t, want);
        mpz_invert(U, m, R);
        mpz_mul(U, U, t);
        mpz_neg(U, U);
        mpz_mod(U, U, R);
        mpz_mul(U, U, m);
        mpz_add(U, U, t);
        mpz_divexact(want, U, R);
        Num in(n + words + 1, 0);
        mpz_export(in.data(), nullptr, -1, 4, 0, 0, t);
        for (const Kernels &k : kKernels) {
            Guarded tt(in, n + words + 1, rng);
            k.redc(tt.p(), mv.data() + 1, n, words, lnminverse(0u - mv[1]));
            ASSERT_EQ(Num(tt.v.begin(), tt.v.begin() + words), Num(words, 0));
            tt.v[words - 1] = n + 1;
            ASSERT_TRUE(equals_mpz(lnmclip(tt.p() + words - 1), want) && tt.intact())
                << n << " " << words;
        }
    }
}

// Products, squares, quotients and remainders of zero and of dividends near
// multiples of the divisor or with its top words, by word divisors (small,
// all ones, top bit set) and longer ones: the divisor comes back bit for bit,
// the in-place form without a quotient agrees, nothing is written past any room.
TEST(BignumMulDiv, AgainstGmp) {
    Rng rng(15);
    Mpz qz, rz, az, mz;
    const uint32_t words[] = {1, 2, 3, 7, 0xFFFF, 0x10001, 0x7FFFFFFF, 0x80000000u, ~0u};
    for (int iter = 0; iter < 10000; iter++) {
        const uint32_t na = random_size(rng, iter < 8000 ? 40 : 256);
        const uint32_t nm =
            rng.below(8) == 0 ? random_size(rng, 256, 1) : random_size(rng, std::max(na, 1u), 1);
        Num m = rng.below(10) == 0 ? num({words[rng.below(9)]}) : random_num(rng, nm);
        Num a = random_num(rng, na), k = random_num(rng, na > m[0] ? na - m[0] : 1);
        mz.set(m.data());
        const uint32_t shape = rng.below(5);
        if (shape < 2) {  // k m +- small, or k (m + 1): the add-back step for all-ones low words
            mpz_add_ui(az, mz, shape);
            mpz_mul(az, az, Mpz(k.data()));
            if (shape == 0) mpz_add_ui(az, az, 2), mpz_sub_ui(az, az, rng.below(5));
            if (mpz_sgn(az.z) >= 0 && mpz_sizeinbase(az, 2) <= 32 * 256) a = from_mpz(az);
        } else if (shape == 2 && na >= m[0]) {  // the same top words as m
            for (uint32_t i = 0; i < m[0] && i < 3; i++) a[na - i] = m[m[0] - i];
            a.resize(lnmclip(a.data())[0] + 1);
        }
        az.set(a.data());
        Guarded p(a[0] + m[0] + 1, rng), s(2 * a[0] + 1, rng);
        mpz_mul(qz, az, mz);
        ASSERT_TRUE(lnmmul(a.data(), m.data(), p.p()) == p.p() && equals_mpz(p.p(), qz));
        mpz_mul(qz, az, az);
        ASSERT_TRUE(lnmsqr(a.data(), s.p()) == s.p() && equals_mpz(s.p(), qz));
        ASSERT_TRUE(p.intact() && s.intact()) << a[0] << "x" << m[0];
        mpz_tdiv_qr(qz, rz, az, mz);
        Guarded mg(m, m[0] + 2, rng), q(a[0] >= m[0] ? a[0] - m[0] + 3 : 1, rng), r(a[0] + 3, rng);
        lnmdiv(a.data(), mg.p(), q.p(), r.p());
        ASSERT_TRUE(equals_mpz(r.p(), rz) && equals_mpz(q.p(), qz)) << a[0] << "/" << m[0];
        ASSERT_TRUE(mg.intact() && q.intact() && r.intact());
        Guarded t(a, a[0] + 3, rng);
        lnmdiv(t.p(), mg.p(), nullptr, t.p());
        ASSERT_TRUE(equals_mpz(t.p(), rz) && t.intact() && mg.intact());
        ASSERT_EQ(counted(mg.p()), m);  // restored bit for bit
        const uint32_t d = m[0] == 1 ? m[1] : rng.below(3) ? rng.word() | 1 : 1 + rng.below(0xFFFF);
        ASSERT_EQ(lnmmodd(a.data(), d), mpz_fdiv_ui(az, d)) << d;
    }
    uint32_t zero[2] = {0, 7}, qr[4] = {1, 2, 3, 4};  // a zero divisor touches nothing
    lnmdiv(LNMBIG_TWO, zero, qr, qr + 2);
    EXPECT_TRUE(Num(qr, qr + 4) == Num({1, 2, 3, 4}) && zero[1] == 7);
}

TEST(BignumDiv, TwoWordsByOne) {
    Rng rng(16);
    uint32_t q = 0;
    for (int iter = 0; iter < 100000; iter++) {
        const uint32_t d =
            std::array{rng.word(), 0u, 0xFFFFu, 0xFFFF0000u | rng.word()}[rng.below(4)] | 1u << 31;
        const uint32_t hi = rng.below(3) == 0 ? d - 1 - rng.below(3) : rng.word() % d;
        const uint32_t lo = rng.below(4) == 0 ? ~0u : rng.word();
        const uint64_t n = uint64_t(hi) << 32 | lo;
        ASSERT_EQ(lnmdivs(hi, lo, d, iter % 2 ? &q : nullptr), uint32_t(n % d)) << n << "/" << d;
        ASSERT_TRUE(iter % 2 == 0 || q == uint32_t(n / d));
    }
}

}  // namespace
