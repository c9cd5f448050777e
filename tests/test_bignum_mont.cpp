// Montgomery arithmetic, modular exponentiation, the exponent scanners,
// modular inversion and special-form reduction, checked against GMP.
#include <gmp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "bignum_oracle.hpp"
#include "lncext/bignum.h"

using lncext_test::equals_mpz;
using lncext_test::from_mpz;
using lncext_test::Mpz;
using lncext_test::random_num;
using lncext_test::Rng;

namespace {

// Guarded storage of `room` words (junk, then guard words), optionally
// holding a number.
Rng &junk_rng() {
    static Rng rng(0x6a756e6b);
    return rng;
}

struct Buf : lncext_test::Guarded {
    explicit Buf(size_t room_words) : Guarded(room_words, junk_rng()) {}
    void set(const uint32_t *a) { std::copy(a, a + a[0] + 1, v.begin()); }
    void set(mpz_srcptr z) {
        const auto a = from_mpz(z);
        set(a.data());
    }
};

// ---- Random numbers biased towards hard cases ----

std::vector<uint32_t> random_odd_modulus(Rng &g, uint32_t n) {
    auto m = random_num(g, n);
    m.resize(LNMBIG_WORDS);
    m[1] |= 1;
    return m;
}

// A residue below m, often close to 0 or to m.
std::vector<uint32_t> random_below(Rng &g, const uint32_t *m) {
    Mpz zm(m), x;
    auto r = random_num(g, 1 + g.below(m[0]));
    Mpz zr(r.data());
    switch (g.below(4)) {
        case 0:
            mpz_sub_ui(x, zm, 1 + g.below(3));
            break;  // m - 1 .. m - 3
        case 1:
            mpz_set_ui(x, g.below(4));
            break;  // 0 .. 3
        default:
            mpz_mod(x, zr, zm);
            break;
    }
    if (mpz_sgn(x.z) < 0) mpz_set_ui(x, 0);
    Buf b(LNMBIG_WORDS);
    b.set(x.z);
    return std::vector<uint32_t>(b.p(), b.p() + LNMBIG_WORDS);
}

// Montgomery parameters of an odd m.
struct Mont {
    uint32_t minv, rbits;
    explicit Mont(const uint32_t *m) : minv(lnminverse(0u - m[1])), rbits(32 * m[0]) {}
};

// x R mod m, and its inverse conversion, computed by GMP.
void to_mont(mpz_ptr out, mpz_srcptr x, mpz_srcptr m, uint32_t rbits) {
    mpz_mul_2exp(out, x, rbits);
    mpz_mod(out, out, m);
}
void from_mont(mpz_ptr out, mpz_srcptr x, mpz_srcptr m, uint32_t rbits) {
    Mpz r;
    mpz_set_ui(r, 0);
    mpz_setbit(r, rbits);
    mpz_invert(r, r, m);
    mpz_mul(out, x, r);
    mpz_mod(out, out, m);
}

const uint32_t kSizes[] = {1, 2, 3, 4, 5, 7, 8, 9, 16, 17, 31, 32, 33, 64, 65, 127, 128};

// Fewer rounds for big moduli: the work grows with the cube of the size.
int rounds_for(uint32_t n, int small) {
    return n <= 17 ? small : n <= 65 ? 3 : 1;
}

// ---- Word inverse ----

TEST(WordInverse, KnownValuesAndRandomOddWords) {
    EXPECT_EQ(lnminverse(1), 1u);
    EXPECT_EQ(lnminverse(3), 0xAAAAAAABu);
    EXPECT_EQ(lnminverse(0xFFFFFFFFu), 0xFFFFFFFFu);
    Rng g(1);
    for (int i = 0; i < 10000; ++i) {
        const uint32_t x = g.word() | 1;
        EXPECT_EQ(x * lnminverse(x), 1u) << x;
    }
}

// ---- Reduction and products ----

TEST(MontReduction, UnityReducesToOne) {
    Rng g(2);
    for (uint32_t n : kSizes) {
        auto m = random_odd_modulus(g, n);
        Mont mp(m.data());
        Buf t(std::max(n + 4, 2 * n + 2));
        lnmunitymont(mp.rbits, m.data(), t.p());
        lnmmontcom(mp.minv, mp.rbits, m.data(), t.p());
        Mpz one;
        mpz_set_ui(one, m[0] == 1 && m[1] == 1 ? 0 : 1);
        EXPECT_TRUE(equals_mpz(t.p(), one)) << n;
        EXPECT_TRUE(t.intact());
    }
}

TEST(MontReduction, MatchesGmpForAnyRbits) {
    Rng g(3);
    for (uint32_t n : kSizes) {
        for (int round = 0; round < rounds_for(n, 20); ++round) {
            auto m = random_odd_modulus(g, n);
            Mpz zm(m.data()), t, bound, want;
            // Whole words, and Rbits off a word boundary up to 32 n + 31.
            uint32_t rbits = 32 * n;
            if (round % 2 == 1) rbits = 1 + g.below(32 * n + 31);
            if (round % 4 == 3) rbits = 32 * n + 1 + g.below(31);
            // t < m 2^Rbits, often the largest such value.
            mpz_mul_2exp(bound, zm, rbits);
            auto r = random_num(g, std::min<uint32_t>(2 * n + 1, 1 + g.below(2 * n + 1)));
            Mpz zr(r.data());
            mpz_mod(t, zr, bound);
            if (g.below(4) == 0) mpz_sub_ui(t, bound, 1);
            Buf buf(2 * n + 2);
            buf.set(t.z);
            lnmmontcom(lnminverse(0u - m[1]), rbits, m.data(), buf.p());
            from_mont(want, t, zm, rbits);
            ASSERT_TRUE(equals_mpz(buf.p(), want)) << "n=" << n << " rbits=" << rbits;
            ASSERT_TRUE(buf.intact()) << n;
        }
    }
}

TEST(MontReduction, ProductsAndSquares) {
    Rng g(4);
    for (uint32_t n : kSizes) {
        for (int round = 0; round < rounds_for(n, 30); ++round) {
            auto m = random_odd_modulus(g, n);
            Mont mp(m.data());
            auto a = random_below(g, m.data());
            auto b = random_below(g, m.data());
            Mpz zm(m.data()), za(a.data()), zb(b.data()), want;
            Buf r(2 * n + 2);
            lnmmulmont(mp.minv, mp.rbits, m.data(), a.data(), b.data(), r.p());
            mpz_mul(want, za, zb);
            from_mont(want, want, zm, mp.rbits);
            ASSERT_TRUE(equals_mpz(r.p(), want)) << n;
            ASSERT_TRUE(r.intact());
            Buf s(2 * n + 2);
            lnmsqrmont(mp.minv, mp.rbits, m.data(), a.data(), s.p());
            mpz_mul(want, za, za);
            from_mont(want, want, zm, mp.rbits);
            ASSERT_TRUE(equals_mpz(s.p(), want)) << n;
            ASSERT_TRUE(s.intact());
        }
    }
}

TEST(MontReduction, UnityAndItsSquare) {
    Rng g(5);
    for (uint32_t n : kSizes) {
        auto m = random_odd_modulus(g, n);
        const auto m_before = m;
        Mpz zm(m.data()), want;
        for (uint32_t rbits : {32 * n, 64 * n, 32 * n - 7, 5u}) {
            Buf r(rbits / 32 + 4);
            lnmunitymont(rbits, m.data(), r.p());
            mpz_set_ui(want, 0);
            mpz_setbit(want, rbits);
            mpz_mod(want, want, zm);
            EXPECT_TRUE(equals_mpz(r.p(), want)) << "n=" << n << " rbits=" << rbits;
            EXPECT_TRUE(r.intact()) << n;
            EXPECT_TRUE(std::equal(m.begin(), m.begin() + n + 1, m_before.begin()));
        }
    }
}

// ---- Exponentiation ----

// An exponent: zero, tiny, sparse, dense or of the modulus' full size.
std::vector<uint32_t> random_exponent(Rng &g, uint32_t n) {
    switch (g.below(6)) {
        case 0:
            return {0};
        case 1:
            return {1, 1 + g.below(40)};
        case 2: {  // a single set bit
            std::vector<uint32_t> e(n + 1, 0);
            e[0] = n;
            e[n] = 1u << g.below(32);
            return e;
        }
        default:
            return random_num(g, 1 + g.below(n));
    }
}

TEST(PowMod, EdgeCases) {
    uint32_t table[LNM_POWMOD_TABLE_WORDS];
    uint32_t r[LNMBIG_WORDS];
    uint32_t m[4], x[2], e[2];
    lnmconvert(x, 3);
    lnmconvert(e, 5);
    lnmconvert(m, 7);
    lnmpowmod(table, x, e, m, r);
    EXPECT_EQ(r[0], 1u);
    EXPECT_EQ(r[1], 5u);
    lnmconvert(m, 8);
    lnmpowmod(table, x, e, m, r);
    EXPECT_EQ(r[0], 1u);
    EXPECT_EQ(r[1], 3u);
    // e = 0 gives 1 for odd and even moduli alike.
    lnmconvert(e, 0);
    for (uint32_t mod : {7u, 8u, 2u, 0xFFFFFFFFu}) {
        lnmconvert(m, mod);
        lnmpowmod(table, x, e, m, r);
        EXPECT_EQ(r[0], 1u) << mod;
        EXPECT_EQ(r[1], 1u) << mod;
    }
    // Everything is 0 modulo 1.
    lnmconvert(m, 1);
    lnmconvert(e, 3);
    lnmpowmod(table, x, e, m, r);
    EXPECT_EQ(r[0], 0u);
}

TEST(PowMod, MatchesGmpOddAndEvenModuli) {
    Rng g(6);
    for (uint32_t n : kSizes) {
        for (int round = 0; round < rounds_for(n, 8); ++round) {
            const bool odd = round % 2 == 0;
            auto mv = random_num(g, n);
            mv[1] = odd ? mv[1] | 1 : mv[1] & ~1u;
            if (mv[0] == 1 && mv[1] < 2) mv[1] = odd ? 3 : 2;
            Buf m(n + 2);  // a one-word divisor is widened in place
            m.set(mv.data());
            // The base may have as many words as m, even if it is not below m.
            auto x = g.below(3) == 0 ? random_num(g, n) : random_below(g, m.p());
            auto e = round == 0 ? random_num(g, n) : random_exponent(g, n);
            Buf table(LNM_POWMOD_TABLE_WORDS);
            Buf r(odd ? n + 4 : 2 * n + 3);
            lnmpowmod(table.p(), x.data(), e.data(), m.p(), r.p());
            Mpz zx(x.data()), ze(e.data()), zm(mv.data()), want;
            mpz_powm(want, zx, ze, zm);
            ASSERT_TRUE(equals_mpz(r.p(), want)) << "n=" << n << (odd ? " odd" : " even");
            ASSERT_TRUE(r.intact() && table.intact() && m.intact()) << n;
            ASSERT_TRUE(std::equal(mv.begin(), mv.begin() + n + 1, m.p()));
        }
    }
}

// Slot contents after the start call, and that stop calls write only the
// scratch slots, so one table serves many exponents.
TEST(PowMod, TableServesSeveralExponents) {
    Rng g(7);
    for (uint32_t n : {1u, 2u, 5u, 16u, 33u}) {
        for (bool odd : {true, false}) {
            auto mv = random_num(g, n);
            mv[1] = odd ? mv[1] | 1 : mv[1] & ~1u;
            if (mv[0] == 1 && mv[1] < 2) mv[1] = odd ? 3 : 2;
            Buf m(n + 2);
            m.set(mv.data());
            auto x = random_below(g, m.p());
            Mpz zm(mv.data()), zx(x.data()), want;
            Buf table(LNM_POWMOD_TABLE_WORDS);
            lnmpowmodstart(table.p(), x.data(), m.p());
            const uint32_t rbits = 32 * n;
            for (uint32_t k = 0; k < 16; ++k) {
                mpz_powm_ui(want, zx, 2 * k + 1, zm);
                if (odd) to_mont(want, want, zm, rbits);
                if (!odd && k == 0) mpz_set(want, zx);  // slot 0 holds x as given
                EXPECT_TRUE(equals_mpz(table.p() + k * LNMBIG_WORDS, want)) << "slot " << k;
            }
            if (odd) {
                mpz_set_ui(want, 0);
                mpz_setbit(want, 2 * rbits);
                mpz_mod(want, want, zm);
                EXPECT_TRUE(equals_mpz(table.p() + 17 * LNMBIG_WORDS, want)) << "R^2 in slot 17";
            }
            std::vector<uint32_t> odd_powers(table.p(), table.p() + 16 * LNMBIG_WORDS);
            for (int i = 0; i < 5; ++i) {
                auto e = i == 0 ? random_num(g, n) : random_exponent(g, n);
                Buf r(2 * n + 3);
                lnmpowmodstop(table.p(), e.data(), m.p(), r.p());
                Mpz ze(e.data());
                mpz_powm(want, zx, ze, zm);
                ASSERT_TRUE(equals_mpz(r.p(), want)) << n << (odd ? " odd" : " even");
                ASSERT_TRUE(std::equal(odd_powers.begin(), odd_powers.end(), table.p()));
                ASSERT_TRUE(r.intact() && table.intact());
                if (odd) {
                    // The exit from Montgomery form multiplies by 1 in slot 16.
                    EXPECT_EQ(table.p()[16 * LNMBIG_WORDS], 1u);
                    EXPECT_EQ(table.p()[16 * LNMBIG_WORDS + 1], 1u);
                    EXPECT_TRUE(equals_mpz(table.p() + 17 * LNMBIG_WORDS, want));
                }
            }
        }
    }
}

TEST(PowMont, StartAndStopWithSeveralExponents) {
    Rng g(8);
    for (uint32_t n : kSizes) {
        for (int round = 0; round < rounds_for(n, 3); ++round) {
            auto m = random_odd_modulus(g, n);
            Mont mp(m.data());
            auto x = random_below(g, m.data());  // a Montgomery form
            Buf unity(n + 4);
            lnmunitymont(mp.rbits, m.data(), unity.p());
            Mpz zm(m.data()), zx(x.data()), want;
            Buf table(LNM_POWMONT_TABLE_WORDS);
            lnmpowmontstart(table.p(), mp.minv, mp.rbits, m.data(), x.data());
            EXPECT_TRUE(equals_mpz(table.p(), zx));
            std::vector<uint32_t> odd_powers(table.p(), table.p() + 16 * LNMBIG_WORDS);
            Mpz zplain;
            from_mont(zplain, zx, zm, mp.rbits);
            for (int i = 0; i < (n > 65 ? 1 : n > 33 ? 2 : 4); ++i) {
                auto e = i == 0 ? random_num(g, n) : random_exponent(g, n);
                Mpz ze(e.data());
                Buf r(n + 1);
                lnmpowmontstop(table.p(), unity.p(), mp.minv, mp.rbits, m.data(), e.data(), r.p());
                mpz_powm(want, zplain, ze, zm);
                to_mont(want, want, zm, mp.rbits);
                ASSERT_TRUE(equals_mpz(r.p(), want)) << n;
                ASSERT_TRUE(r.intact() && table.intact());
                ASSERT_TRUE(std::equal(odd_powers.begin(), odd_powers.end(), table.p()));
            }
            // lnmpowmont in one call, with a start value other than 1: the
            // start is squared once per exponent bit.
            auto s = random_below(g, m.data());
            auto e = random_exponent(g, n);
            Buf r(n + 1);
            Buf table2(LNM_POWMONT_TABLE_WORDS);
            EXPECT_EQ(lnmpowmont(table2.p(), s.data(), mp.minv, mp.rbits, m.data(), x.data(),
                                 e.data(), r.p()),
                      0);
            Mpz zs(s.data()), ze(e.data()), sp, two_l;
            from_mont(zs, zs, zm, mp.rbits);
            mpz_set_ui(two_l, 0);
            mpz_setbit(two_l, lnmbitlen(e.data(), 1));
            mpz_powm(sp, zs, two_l, zm);
            mpz_powm(want, zplain, ze, zm);
            mpz_mul(want, want, sp);
            mpz_mod(want, want, zm);
            to_mont(want, want, zm, mp.rbits);
            ASSERT_TRUE(equals_mpz(r.p(), want)) << n;
            ASSERT_TRUE(r.intact() && table2.intact());
        }
    }
}

TEST(CompactTable, EntriesAndPowersForEveryWidth) {
    Rng g(9);
    for (uint32_t n : kSizes) {
        for (int round = 0; round < rounds_for(n, 4); ++round) {
            auto m = random_odd_modulus(g, n);
            Mont mp(m.data());
            auto x = random_below(g, m.data());
            const uint32_t w = 1 + (round + n) % 6;
            const size_t words = LNM_MONTIC_TABLE_WORDS(w, n);
            Buf table(words);
            EXPECT_EQ(lnmmontic(table.p(), w, mp.minv, mp.rbits, m.data(), x.data()), table.p());
            ASSERT_TRUE(table.intact());
            Mpz zm(m.data()), zx(x.data()), zplain, want;
            from_mont(zplain, zx, zm, mp.rbits);
            const uint32_t entries = w < 2 ? 2 : 1u << (w - 1);
            for (uint32_t k = 0; k < entries; ++k) {
                mpz_powm_ui(want, zplain, 2 * k + 1, zm);
                to_mont(want, want, zm, mp.rbits);
                ASSERT_TRUE(equals_mpz(table.p() + k * (n + 1), want))
                    << "w=" << w << " entry " << k;
            }
            Buf unity(n + 4);
            lnmunitymont(mp.rbits, m.data(), unity.p());
            const std::vector<uint32_t> snapshot(table.v);
            const bool big = n > 33;
            for (int i = 0; i < (big ? 2 : 3); ++i) {
                auto e = i == 0 ? random_num(g, n) : random_exponent(g, n);
                Mpz ze(e.data());
                mpz_powm(want, zplain, ze, zm);
                to_mont(want, want, zm, mp.rbits);
                // Padding adds work on a copy, never changes the result.
                const std::vector<uint32_t> pads =
                    big ? std::vector<uint32_t>{0u, 256u}
                        : std::vector<uint32_t>{0u, 1u, 7u, 256u, 32 * n + 64};
                for (uint32_t pad : pads) {
                    Buf r(n + 1);
                    EXPECT_EQ(lnmicpowmont(table.p(), w, pad, unity.p(), mp.minv, mp.rbits,
                                           m.data(), e.data(), r.p()),
                              r.p());
                    ASSERT_TRUE(equals_mpz(r.p(), want))
                        << "n=" << n << " w=" << w << " pad=" << pad;
                    ASSERT_TRUE(r.intact());
                }
            }
            ASSERT_EQ(table.v, snapshot);  // the table is only read
        }
    }
}

// With width 5 and 256 bits of padding, an exponent needing a single table
// multiplication (e = 1, e = 2^255) still yields its power; the number of
// dummy products is not visible through the interface, only that they leave
// r and the table alone.
TEST(CompactTable, PaddingLeavesSparseExponentsExact) {
    Rng g(10);
    auto m = random_odd_modulus(g, 8);
    Mont mp(m.data());
    auto x = random_below(g, m.data());
    std::vector<uint32_t> table(LNM_MONTIC_TABLE_WORDS(5, 8));
    lnmmontic(table.data(), 5, mp.minv, mp.rbits, m.data(), x.data());
    Buf unity(12);
    lnmunitymont(mp.rbits, m.data(), unity.p());
    Mpz zm(m.data()), zx(x.data()), zplain, want;
    from_mont(zplain, zx, zm, mp.rbits);
    std::vector<std::vector<uint32_t>> exps = {{1, 1}, {8, 0, 0, 0, 0, 0, 0, 0, 0x80000000u}, {0}};
    for (auto &e : exps) {
        Mpz ze(e.data());
        mpz_powm(want, zplain, ze, zm);
        to_mont(want, want, zm, mp.rbits);
        uint32_t r[LNMBIG_WORDS];
        lnmicpowmont(table.data(), 5, 256, unity.p(), mp.minv, mp.rbits, m.data(), e.data(), r);
        EXPECT_TRUE(equals_mpz(r, want));
        // r may be the start array itself.
        uint32_t s[LNMBIG_WORDS];
        lnmcopy(s, unity.p());
        lnmicpowmont(table.data(), 5, 256, s, mp.minv, mp.rbits, m.data(), e.data(), s);
        EXPECT_TRUE(equals_mpz(s, want));
    }
}

// ---- Exponent scanners ----

uint32_t bit_of(const std::vector<uint32_t> &e, uint64_t i) {
    return i < 32ull * e[0] ? (e[i / 32 + 1] >> (i % 32)) & 1 : 0;
}

TEST(Scanners, SlideEdgeCases) {
    uint32_t len = 0;
    const uint32_t e[] = {1, 0x16};  // binary 10110
    EXPECT_EQ(lnmgetslide(e, 4, 5, &len), 11u);
    EXPECT_EQ(len, 4u);
    const uint32_t zero[] = {0};
    EXPECT_EQ(lnmgetslide(zero, 9, 5, &len), 0u);
    EXPECT_EQ(len, 10u);
    EXPECT_EQ(lnmgetslide(e, 40, 5, &len), 0u);  // bits 40 .. 5 are zero
    EXPECT_EQ(len, 36u);
    EXPECT_EQ(lnmgetslide(e, 0, 5, &len), 0u);
    EXPECT_EQ(len, 1u);
}

TEST(Scanners, SlideMatchesBitModel) {
    Rng g(11);
    for (int round = 0; round < 3000; ++round) {
        auto e = random_num(g, g.below(5));
        if (round % 3 == 0)  // sparse exponents with long zero runs
            for (uint32_t i = 1; i <= e[0]; ++i) e[i] &= g.word() & g.word() & g.word();
        while (e[0] != 0 && e[e[0]] == 0) --e[0];
        const uint32_t pos = g.below(32 * e[0] + 40);
        const uint32_t w = 1 + g.below(31);
        // Model: the highest set bit at or below pos, then the longest window
        // of at most w bits from pos that ends in a set bit.
        int64_t j = -1;
        for (int64_t i = pos; i >= 0; --i)
            if (bit_of(e, uint64_t(i))) {
                j = i;
                break;
            }
        uint32_t want_v = 0, want_len = 0;
        if (j < int64_t(pos)) {
            want_len = uint32_t(pos - j);
        } else {
            const int64_t lowest = std::max<int64_t>(0, int64_t(pos) - w + 1);
            int64_t end = pos;
            for (int64_t i = lowest; i <= pos; ++i)
                if (bit_of(e, uint64_t(i))) {
                    end = i;
                    break;
                }
            for (int64_t i = pos; i >= end; --i) want_v = want_v << 1 | bit_of(e, uint64_t(i));
            want_len = uint32_t(pos - end + 1);
        }
        uint32_t len = 0;
        ASSERT_EQ(lnmgetslide(e.data(), pos, w, &len), want_v) << "pos=" << pos << " w=" << w;
        ASSERT_EQ(len, want_len) << "pos=" << pos << " w=" << w;
    }
}

TEST(Scanners, FixedWindowMatchesBitModel) {
    const uint32_t one[] = {1, 0xFFFFFFFFu};
    EXPECT_EQ(lnmgetwin(one, 15, 3), 0u);  // bits 45 .. 47 lie in word 2
    const uint32_t two[] = {2, 0xC0000000u, 0x1};
    EXPECT_EQ(lnmgetwin(two, 10, 3), 7u);  // bits 30 .. 32 straddle the words
    EXPECT_EQ(lnmgetwin(one, 10, 3), 3u);  // bit 32 reads as zero
    Rng g(12);
    for (int round = 0; round < 3000; ++round) {
        auto e = random_num(g, g.below(5));
        const uint32_t w = 1 + g.below(31);
        const uint32_t i = g.below((32 * e[0] + 64) / w + 1);
        uint32_t want = 0;
        for (uint32_t k = 0; k < w; ++k) want |= bit_of(e, uint64_t(i) * w + k) << k;
        ASSERT_EQ(lnmgetwin(e.data(), i, w), want) << "i=" << i << " w=" << w;
    }
}

// ---- Modular inverse ----

TEST(ModInv, EdgeCases) {
    uint32_t a[4], m[4], r[4];
    lnmconvert(a, 3);
    lnmconvert(m, 7);
    EXPECT_EQ(lnmmodinv(a, m, r), r);
    EXPECT_EQ(r[0], 1u);
    EXPECT_EQ(r[1], 5u);
    lnmconvert(a, 0);
    lnmmodinv(a, m, r);
    EXPECT_EQ(r[0], 1u);
    EXPECT_EQ(r[1], 7u);  // a = 0 yields m
    Rng g(13);
    for (uint32_t n : kSizes) {
        auto mv = random_odd_modulus(g, n);
        if (mv[0] == 1 && mv[1] == 1) mv[1] = 3;  // 1 has no residue 0 < a < m
        Mpz zm(mv.data()), want;
        Buf out(n + 1);
        lnmmodinv(LNMBIG_ONE, mv.data(), out.p());
        mpz_set_ui(want, 1);
        EXPECT_TRUE(equals_mpz(out.p(), want)) << n;
        // m - 1 is its own inverse.
        Buf am1(n + 1);
        am1.set(mv.data());
        lnmsub(am1.p(), LNMBIG_ONE);
        lnmmodinv(am1.p(), mv.data(), out.p());
        mpz_sub_ui(want, zm, 1);
        EXPECT_TRUE(equals_mpz(out.p(), want)) << n;
        lnmmodinv(LNMBIG_ZERO, mv.data(), out.p());
        EXPECT_TRUE(equals_mpz(out.p(), zm));
        EXPECT_TRUE(out.intact());
    }
}

TEST(ModInv, MatchesGmpAndAliasesOperand) {
    Rng g(14);
    // Every size up to 20 words: small moduli run on unrolled code per size.
    std::vector<uint32_t> sizes;
    for (uint32_t n = 1; n <= 20; ++n) sizes.push_back(n);
    for (uint32_t n : {31u, 32u, 33u, 64u, 65u, 127u, 128u}) sizes.push_back(n);
    for (uint32_t n : sizes) {
        for (int round = 0; round < (n <= 17 ? 40 : n <= 65 ? 8 : 3); ++round) {
            auto m = random_odd_modulus(g, n);
            if (m[0] == 1 && m[1] == 1) m[1] = 3;
            Mpz zm(m.data()), za, want, g_cd;
            std::vector<uint32_t> a;
            do {
                a = random_below(g, m.data());
                Mpz t(a.data());
                mpz_set(za, t);
                mpz_gcd(g_cd, za, zm);
            } while (a[0] == 0 || mpz_cmp_ui(g_cd.z, 1) != 0);
            mpz_invert(want, za, zm);
            const auto m_before = m;
            Buf r(n + 1);
            lnmmodinv(a.data(), m.data(), r.p());
            ASSERT_TRUE(equals_mpz(r.p(), want)) << n;
            ASSERT_TRUE(r.intact());
            Buf inplace(n + 1);
            inplace.set(a.data());
            lnmmodinv(inplace.p(), m.data(), inplace.p());
            ASSERT_TRUE(equals_mpz(inplace.p(), want)) << n;
            ASSERT_TRUE(std::equal(m.begin(), m.begin() + n + 1, m_before.begin()));
        }
    }
}

// ---- Special-form reduction ----

// t reduced modulo p = 2^k - c, with the words above t's count on entry
// filled with garbage: afterwards the words between the new count and the
// old one are zero and those above are untouched.
void check_modsf(const Mpz &t_in, uint32_t k, uint32_t c) {
    const uint32_t w = k / 32;
    Mpz p, want;
    mpz_set_ui(p, 0);
    mpz_setbit(p, k);
    mpz_sub_ui(p, p, c);
    Buf pb(w + 1);
    pb.set(p.z);
    Buf t(2 * w + 1);
    for (size_t i = 0; i < t.room; ++i) t.v[i] = 0xEEEEEEEEu;
    Mpz tcopy;
    mpz_set(tcopy, t_in.z);
    t.set(tcopy.z);
    const uint32_t entry = t.p()[0];
    mpz_mod(want, tcopy, p);
    EXPECT_EQ(lnmmodsf(t.p(), pb.p(), k, c), t.p());
    ASSERT_TRUE(equals_mpz(t.p(), want)) << "k=" << k << " c=" << c << " t=" << tcopy.hex();
    for (uint32_t i = t.p()[0] + 1; i <= entry; ++i) ASSERT_EQ(t.p()[i], 0u) << i;
    for (size_t i = entry + 1; i < t.room; ++i) ASSERT_EQ(t.v[i], 0xEEEEEEEEu) << i;
    ASSERT_TRUE(t.intact());
}

TEST(ModSf, EdgeCasesFor256BitPrime) {
    const uint32_t k = 256, c = 617;
    Mpz p, t;
    mpz_set_ui(p, 0);
    mpz_setbit(p, k);
    mpz_sub_ui(p, p, c);
    check_modsf(p, k, c);  // p gives 0
    mpz_add_ui(t, p, 5);
    check_modsf(t, k, c);  // p + 5 gives 5
    mpz_sub_ui(t, p, 1);
    mpz_mul(t, t, t);
    check_modsf(t, k, c);  // (p - 1)^2 gives 1
    mpz_set_ui(t, 12345);
    check_modsf(t, k, c);  // below p: unchanged
    mpz_sub_ui(t, p, 1);
    check_modsf(t, k, c);
    // Exactly 8 words, between p and 2^k: the single word t - p.
    for (uint32_t d = 0; d < c; d += 97) {
        mpz_add_ui(t, p, d);
        check_modsf(t, k, c);
    }
    mpz_set_ui(t, 0);
    check_modsf(t, k, c);
    // 2^512 - 1, the largest input.
    mpz_set_ui(t, 0);
    mpz_setbit(t, 2 * k);
    mpz_sub_ui(t, t, 1);
    check_modsf(t, k, c);
}

TEST(ModSf, MatchesGmpForManyShapes) {
    Rng g(15);
    for (uint32_t k : {32u, 64u, 96u, 192u, 256u, 384u, 512u, 1024u}) {
        const uint32_t w = k / 32;
        for (uint32_t c : {1u, 3u, 617u, 0xFFFFu, 0x80000001u, 0xFFFFFFFFu, 0u}) {
            if (c == 0) c = 1 + g.word() % 0xFFFFFFFFu;
            Mpz p;
            mpz_set_ui(p, 0);
            mpz_setbit(p, k);
            mpz_sub_ui(p, p, c);
            for (int round = 0; round < 60; ++round) {
                Mpz t;
                auto v = random_num(g, 1 + g.below(2 * w));
                Mpz zv(v.data());
                mpz_set(t, zv);
                switch (round % 6) {
                    case 0: {  // (p - small)^2 and friends
                        mpz_sub_ui(t, p, g.below(1000));
                        mpz_mul(t, t, t);
                        break;
                    }
                    case 1:  // between p and 2^k
                        mpz_add_ui(t, p, g.below(c));
                        break;
                    case 2: {  // a product of two residues
                        Mpz b(random_num(g, w).data());
                        mpz_mod(t, t, p);
                        mpz_mod(b, b, p);
                        mpz_mul(t, t, b);
                        break;
                    }
                    default:
                        break;
                }
                check_modsf(t, k, c);
            }
        }
    }
}

}  // namespace
