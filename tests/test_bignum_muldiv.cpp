// Products, squares, division and the word kernels, against GMP.
#include <gtest/gtest.h>

#include <cstring>

#include "bignum_oracle.hpp"
#include "lncext/bignum.h"

// The kernels are internal to the library; compiling them here lets the
// tests drive both the word and the two-word implementations directly.
#include "bignum/kernels.cpp"

using namespace lncext_test;
using Num = std::vector<uint32_t>;

namespace {

Num num(std::initializer_list<uint32_t> digits) {
    Num a{uint32_t(digits.size())};
    a.insert(a.end(), digits.begin(), digits.end());
    return a;
}

// Random size in 1..max, with the ends of the range drawn often.
uint32_t random_size(Rng &rng, uint32_t max) {
    switch (rng.below(4)) {
        case 0:
            return 1 + rng.below(max < 4 ? max : 4);
        case 1:
            return max - rng.below(max < 3 ? max : 3);
        default:
            return 1 + rng.below(max);
    }
}

TEST(BignumMul, KnownValues) {
    uint32_t r[8];
    Num f = num({0xFFFFFFFFu});
    lnmmul(f.data(), f.data(), r);
    EXPECT_EQ(r[0], 2u);
    EXPECT_EQ(r[1], 0x00000001u);
    EXPECT_EQ(r[2], 0xFFFFFFFEu);
    std::memset(r, 0xAB, sizeof r);
    EXPECT_EQ(lnmsqr(f.data(), r), r);
    EXPECT_EQ(r[0], 2u);
    EXPECT_EQ(r[1], 0x00000001u);
    EXPECT_EQ(r[2], 0xFFFFFFFEu);

    Num s = num({0xFFFF});
    lnmsqr(s.data(), r);
    EXPECT_EQ(r[0], 1u);
    EXPECT_EQ(r[1], 0xFFFE0001u);
    s = num({0x10000});
    lnmsqr(s.data(), r);
    EXPECT_EQ(r[0], 2u);
    EXPECT_EQ(r[1], 0u);
    EXPECT_EQ(r[2], 1u);

    // A zero operand writes the count only.
    std::memset(r, 0xAB, sizeof r);
    EXPECT_EQ(lnmmul(f.data(), LNMBIG_ZERO, r), r);
    EXPECT_EQ(r[0], 0u);
    EXPECT_EQ(r[1], 0xABABABABu);
    lnmmul(LNMBIG_ZERO, f.data(), r);
    EXPECT_EQ(r[0], 0u);
    EXPECT_EQ(r[1], 0xABABABABu);
    lnmsqr(LNMBIG_ZERO, r);
    EXPECT_EQ(r[0], 0u);
    EXPECT_EQ(r[1], 0xABABABABu);
}

TEST(BignumMul, RandomAgainstGmp) {
    Rng rng(11);
    Mpz want;
    for (int iter = 0; iter < 3000; iter++) {
        uint32_t max = iter < 2500 ? 40 : 258;
        Num a = random_num(rng, random_size(rng, max));
        Num b = random_num(rng, random_size(rng, max));
        Guarded r(a[0] + b[0] + 1, rng);
        ASSERT_EQ(lnmmul(a.data(), b.data(), r.p()), r.p());
        mpz_mul(want, Mpz(a.data()), Mpz(b.data()));
        ASSERT_TRUE(equals_mpz(r.p(), want)) << "sizes " << a[0] << "x" << b[0];
        ASSERT_TRUE(r.intact());

        Guarded s(2 * a[0] + 1, rng);
        ASSERT_EQ(lnmsqr(a.data(), s.p()), s.p());
        mpz_mul(want, Mpz(a.data()), Mpz(a.data()));
        ASSERT_TRUE(equals_mpz(s.p(), want)) << "size " << a[0];
        ASSERT_TRUE(s.intact());
    }
}

// The digits of a product, padded to `words` words.
Num product_words(const Num &a, const Num &b, size_t words) {
    Mpz p;
    mpz_mul(p, Mpz(a.data()), Mpz(b.data()));
    Num out(words, 0);
    size_t cnt = 0;
    mpz_export(out.data(), &cnt, -1, 4, 0, 0, p);
    return out;
}

// Runs a kernel into a junk-filled, guarded destination of exactly the
// product's words and compares every word.
template <class Kernel>
::testing::AssertionResult kernel_gives(const Num &expect, Rng &rng, Kernel k) {
    Guarded r(expect.size(), rng);
    k(r.p());
    if (!r.intact()) return ::testing::AssertionFailure() << "wrote past the product";
    if (!std::equal(expect.begin(), expect.end(), r.v.begin()))
        return ::testing::AssertionFailure() << "wrong product words";
    return ::testing::AssertionSuccess();
}

// Every shape of small operands through both kernel implementations (where
// the wide one is built), and large equal sizes through the dispatching
// entry points, which take the Karatsuba layer there. The large operands
// include equal halves, zero halves and all ones, so that both signs of
// the half differences and their zero case occur.
TEST(BignumKernels, ProductsAndSquares) {
    Rng rng(12);
    using lncext::kern::mul_w32;
    using lncext::kern::sqr_w32;
    for (uint32_t na = 1; na <= 24; na++) {
        for (uint32_t nb = 1; nb <= 24; nb++) {
            Num a = random_num(rng, na), b = random_num(rng, nb);
            Num ab = product_words(a, b, na + nb), aa = product_words(a, a, 2 * na);
            const uint32_t *x = a.data() + 1, *y = b.data() + 1;
            ASSERT_TRUE(kernel_gives(ab, rng, [&](uint32_t *r) { mul_w32(r, x, na, y, nb); }));
            ASSERT_TRUE(kernel_gives(aa, rng, [&](uint32_t *r) { sqr_w32(r, x, na); }));
#if defined(LNCEXT_WIDE_KERNELS)
            using lncext::kern::mul_w64;
            using lncext::kern::sqr_w64;
            ASSERT_TRUE(kernel_gives(ab, rng, [&](uint32_t *r) { mul_w64(r, x, na, y, nb); }));
            ASSERT_TRUE(kernel_gives(aa, rng, [&](uint32_t *r) { sqr_w64(r, x, na); }));
#endif
        }
    }
    for (uint32_t n = 2; n <= 260; n += (n < 100 ? 2 : 1)) {
        for (int shape = 0; shape < 5; shape++) {
            Num a = random_num(rng, n), b = random_num(rng, n);
            uint32_t h = n / 2;
            if (shape == 1) std::copy(a.begin() + 1, a.begin() + 1 + h, a.begin() + 1 + h);
            if (shape == 2) std::fill(b.begin() + 1 + h, b.begin() + n, 0u);
            if (shape == 3) std::fill(a.begin() + 1, a.end(), 0xFFFFFFFFu);
            if (shape == 4) std::fill(b.begin() + 1, b.begin() + 1 + h, 0u);
            const uint32_t *x = a.data() + 1, *y = b.data() + 1;
            ASSERT_TRUE(kernel_gives(product_words(a, b, 2 * n), rng,
                                     [&](uint32_t *r) { lncext::kern::mul(r, x, n, y, n); }))
                << n << " shape " << shape;
            ASSERT_TRUE(kernel_gives(product_words(a, a, 2 * n), rng,
                                     [&](uint32_t *r) { lncext::kern::sqr(r, x, n); }))
                << n << " shape " << shape;
        }
    }
}

// redc adds U * m with U = -t * m^-1 mod 2^(32 words), the unique multiple
// that clears the low words; so the result is exactly (t + U m) / R, which
// is congruent to t * R^-1 mod m.
TEST(BignumKernels, RedcAgainstGmp) {
    Rng rng(13);
    Mpz t, m, R, U, full, minv_z, word, check;
    mpz_ui_pow_ui(word, 2, 32);
    for (int iter = 0; iter < 4000; iter++) {
        uint32_t n = random_size(rng, iter < 3600 ? 20 : 128);
        uint32_t words = rng.below(3) == 0 ? random_size(rng, n + 3) : n;
        Num mv = random_num(rng, n);
        mv[1] |= 1;
        m.set(mv.data());
        // minv = -m^-1 mod 2^32
        mpz_invert(minv_z, m, word);
        mpz_sub(minv_z, word, minv_z);
        uint32_t minv = uint32_t(mpz_get_ui(minv_z));
        // t < m * R, sometimes close to it, in n + words + 1 words.
        mpz_ui_pow_ui(R, 2, 32 * words);
        mpz_mul(full, m, R);
        Num tv = random_num(rng, random_size(rng, n + words));
        t.set(tv.data());
        if (rng.below(4) == 0) {
            mpz_sub_ui(t, full, 1 + rng.below(1000));
        }
        mpz_mod(t, t, full);
        // Expected: (t + U m) / R with U = -t m^-1 mod R.
        mpz_invert(U, m, R);
        mpz_mul(U, U, t);
        mpz_neg(U, U);
        mpz_mod(U, U, R);
        mpz_mul(full, U, m);
        mpz_add(full, full, t);
        ASSERT_EQ(mpz_divisible_p(full, R), 1);
        mpz_divexact(full, full, R);

        Num in(n + words + 1, 0);
        size_t cnt = 0;
        mpz_export(in.data(), &cnt, -1, 4, 0, 0, t);

        using Kernel = void (*)(uint32_t *, const uint32_t *, size_t, size_t, uint32_t);
        std::vector<Kernel> kernels{lncext::kern::redc, lncext::kern::redc_w32};
#if defined(LNCEXT_WIDE_KERNELS)
        kernels.push_back(lncext::kern::redc_w64);
#endif
        for (Kernel k : kernels) {
            Guarded tt(in, n + words + 1, rng);
            k(tt.p(), mv.data() + 1, n, words, minv);
            ASSERT_TRUE(tt.intact());
            for (uint32_t i = 0; i < words; i++) ASSERT_EQ(tt.v[i], 0u) << "word " << i;
            std::vector<uint32_t> res(n + 2);
            res[0] = n + 1;
            std::copy(tt.v.begin() + words, tt.v.begin() + words + n + 1, res.begin() + 1);
            lnmclip(res.data());
            ASSERT_TRUE(equals_mpz(res.data(), full)) << "n " << n << " words " << words;
            // Congruent to t R^-1 and below 2m.
            mpz_mul(check, full, R);
            mpz_sub(check, check, t);
            ASSERT_EQ(mpz_divisible_p(check, m), 1);
        }
    }
}

TEST(BignumDiv, KnownValues) {
    uint32_t q[8], r[8];
    Num a = num({100}), m = num({7});
    m.resize(4);
    lnmdiv(a.data(), m.data(), q, r);
    EXPECT_EQ(r[0], 1u);
    EXPECT_EQ(r[1], 2u);
    EXPECT_EQ(q[0], 1u);
    EXPECT_EQ(q[1], 14u);
    EXPECT_EQ(m[0], 1u);
    EXPECT_EQ(m[1], 7u);

    a = num({5});
    std::memset(q, 0xAB, sizeof q);
    lnmdiv(a.data(), m.data(), q, r);
    EXPECT_EQ(r[0], 1u);
    EXPECT_EQ(r[1], 5u);
    EXPECT_EQ(q[0], 0u);

    // A zero divisor touches nothing.
    uint32_t zero[4] = {0, 0xAAAAAAAAu, 0, 0};
    std::memset(q, 0xAB, sizeof q);
    std::memset(r, 0xCD, sizeof r);
    lnmdiv(a.data(), zero, q, r);
    for (uint32_t w : q) EXPECT_EQ(w, 0xABABABABu);
    for (uint32_t w : r) EXPECT_EQ(w, 0xCDCDCDCDu);
    EXPECT_EQ(zero[0], 0u);
    EXPECT_EQ(zero[1], 0xAAAAAAAAu);

    // 2^64 + 5 by 2^32 + 1: both shifts of the normalising step are whole.
    a = num({5, 0, 1});
    Num d = num({1, 1});
    d.resize(5);
    lnmdiv(a.data(), d.data(), q, r);
    EXPECT_EQ(q[0], 1u);
    EXPECT_EQ(q[1], 0xFFFFFFFFu);
    EXPECT_EQ(r[0], 1u);
    EXPECT_EQ(r[1], 6u);
}

TEST(BignumDiv, WordSizedDivisorMatchesModd) {
    Rng rng(14);
    for (uint32_t dv : {3u, 1u, 2u, 7u, 0xFFFFu, 0x10001u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        for (int rep = 0; rep < 30; rep++) {
            Num a = random_num(rng, random_size(rng, 256));
            uint32_t m[3] = {1, dv, 0};
            uint32_t r[LNMBIG_WORDS + 2], q[LNMBIG_WORDS + 2];
            lnmdiv(a.data(), m, q, r);
            EXPECT_EQ(m[0], 1u);
            EXPECT_EQ(m[1], dv);
            uint32_t expect = uint32_t(mpz_fdiv_ui(Mpz(a.data()), dv));
            EXPECT_EQ(lnmmodd(a.data(), dv), expect);
            ASSERT_EQ(r[0], expect != 0 ? 1u : 0u);
            if (expect != 0) {
                ASSERT_EQ(r[1], expect);
            }
        }
    }
    EXPECT_EQ(lnmmodd(LNMBIG_ZERO, 7), 0u);
    EXPECT_EQ(lnmmodd(LNMBIG_ONE, 1), 0u);
}

// Quotient, remainder, divisor restored bit for bit, in place and without a
// quotient, every destination kept within its room.
TEST(BignumDiv, RandomAgainstGmp) {
    Rng rng(15);
    Mpz qz, rz, az, mz;
    for (int iter = 0; iter < 12000; iter++) {
        uint32_t na = random_size(rng, iter < 10000 ? 40 : 256);
        uint32_t nm = rng.below(8) == 0 ? random_size(rng, 256) : random_size(rng, na);
        Num m = random_num(rng, nm);
        Num a;
        switch (rng.below(5)) {
            case 0: {  // just above or below a multiple of m
                Num k = random_num(rng, na > nm ? na - nm : 1);
                mpz_mul(az, Mpz(k.data()), Mpz(m.data()));
                if (rng.below(2) && mpz_sgn(az.z) > 0)
                    mpz_sub_ui(az, az, rng.below(3));
                else
                    mpz_add_ui(az, az, rng.below(3));
                a = from_mpz(az);
                if (a[0] > 256) a = random_num(rng, na);
                break;
            }
            case 1: {  // a multiple of m + 1: drives the add-back step when m's low words are ones
                Num k = random_num(rng, na > nm ? na - nm : 1);
                mpz_add_ui(az, Mpz(m.data()), 1);
                mpz_mul(az, az, Mpz(k.data()));
                a = from_mpz(az);
                if (a[0] > 256) a = random_num(rng, na);
                break;
            }
            case 2:  // the same top words as m
                a = random_num(rng, na);
                if (na >= nm)
                    for (uint32_t i = 0; i < nm && i < 3; i++) a[na - i] = m[nm - i];
                lnmclip(a.data());
                break;
            default:
                a = random_num(rng, na);
        }
        az.set(a.data());
        mz.set(m.data());
        mpz_tdiv_qr(qz, rz, az, mz);

        Num m_before = m;
        Guarded mg(m, m[0] + 2, rng);
        size_t qroom = a[0] >= m[0] ? a[0] - m[0] + 3 : 1;
        Guarded q(qroom, rng), r(a[0] + 3, rng);
        Num a_before = a;
        lnmdiv(a.data(), mg.p(), q.p(), r.p());
        ASSERT_TRUE(equals_mpz(r.p(), rz)) << a[0] << "/" << m[0];
        ASSERT_TRUE(equals_mpz(q.p(), qz)) << a[0] << "/" << m[0];
        ASSERT_TRUE(std::equal(m_before.begin(), m_before.end(), mg.v.begin()));
        ASSERT_EQ(a, a_before);
        ASSERT_TRUE(mg.intact() && q.intact() && r.intact())
            << mg.intact() << q.intact() << r.intact() << " " << a[0] << "/" << m[0];

        // In place, no quotient.
        Guarded t(a, a[0] + 3, rng);
        lnmdiv(t.p(), mg.p(), nullptr, t.p());
        ASSERT_TRUE(equals_mpz(t.p(), rz));
        ASSERT_TRUE(std::equal(m_before.begin(), m_before.end(), mg.v.begin()));
        ASSERT_TRUE(mg.intact() && t.intact());
    }
}

TEST(BignumDivs, TwoByOne) {
    uint32_t q = 0;
    EXPECT_EQ(lnmdivs(1, 0, 0x80000000u, &q), 0u);
    EXPECT_EQ(q, 2u);
    EXPECT_EQ(lnmdivs(0, 100, 0x80000000u, nullptr), 100u);

    Rng rng(16);
    for (int iter = 0; iter < 200000; iter++) {
        uint32_t d = rng.word() | 0x80000000u;
        switch (rng.below(4)) {
            case 0:
                d = 0x80000000u | (rng.below(2) ? 0 : 0xFFFFu);
                break;
            case 1:
                d = 0xFFFF0000u | rng.below(0x10000);
                break;
        }
        uint32_t hi = rng.below(3) == 0 ? d - 1 - rng.below(3) : rng.word() % d;
        uint32_t lo = rng.below(4) == 0 ? 0xFFFFFFFFu : rng.word();
        uint64_t n = uint64_t(hi) << 32 | lo;
        ASSERT_EQ(lnmdivs(hi, lo, d, &q), uint32_t(n % d)) << hi << " " << lo << " " << d;
        ASSERT_EQ(q, uint32_t(n / d));
    }
}

TEST(BignumModd, RandomAgainstGmp) {
    Rng rng(17);
    for (int iter = 0; iter < 3000; iter++) {
        Num a = random_num(rng, random_size(rng, 258));
        uint32_t d = rng.below(3) == 0 ? 1 + rng.below(0xFFFF) : (rng.word() | 1);
        ASSERT_EQ(lnmmodd(a.data(), d), uint32_t(mpz_fdiv_ui(Mpz(a.data()), d)));
    }
}

}  // namespace
