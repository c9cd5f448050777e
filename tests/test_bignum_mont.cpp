// Montgomery arithmetic, modular exponentiation, the exponent scanners,
// modular inversion and special-form reduction, checked against GMP.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "bignum_oracle.hpp"
#include "lncext/bignum.h"

using namespace lncext_test;
using Num = std::vector<uint32_t>;

namespace {

Rng junk(0x6a756e6b);

// Guarded storage of `room` words, optionally holding a number.
struct Buf : Guarded {
    explicit Buf(size_t room_words, const uint32_t *a = nullptr) : Guarded(room_words, junk) {
        if (a) std::copy(a, a + a[0] + 1, v.begin());
    }
};

// An odd modulus above 1, with the word of room lnmdiv needs past its digits.
Num odd_modulus(Rng &g, uint32_t n) {
    Num m = random_num(g, n);
    m[1] |= 1;
    if (n == 1 && m[1] == 1) m[1] = 3;
    m.push_back(0);
    return m;
}

// A residue below m, often 0 .. 3 or m - 3 .. m - 1.
Num random_below(Rng &g, const uint32_t *m) {
    Mpz zm(m), x(random_num(g, 1 + g.below(m[0])).data());
    const uint32_t shape = g.below(4);
    if (shape == 0 && mpz_cmp_ui(zm.z, 3) > 0) mpz_sub_ui(x, zm, 1 + g.below(3));
    if (shape == 1) mpz_set_ui(x, g.below(4));
    mpz_mod(x, x, zm);
    return from_mpz(x);
}

// An exponent: zero, tiny, a single set bit, or dense up to the modulus' size.
Num random_exponent(Rng &g, uint32_t n) {
    const uint32_t shape = g.below(6);
    if (shape < 2) return shape ? Num{1, 1 + g.below(40)} : Num{0};
    Num e = random_num(g, shape == 2 ? n : 1 + g.below(n));
    if (shape == 2) std::fill(e.begin() + 1, e.end(), 0u), e[n] = 1u << g.below(32);
    return e;
}

// out = x 2^rbits mod m, or x 2^-rbits mod m for a negative rbits.
void mont(mpz_ptr out, mpz_srcptr x, mpz_srcptr m, int rbits) {
    Mpz r;
    mpz_setbit(r, uint32_t(std::abs(rbits)));
    if (rbits < 0) mpz_invert(r, r, m);
    mpz_mul(out, x, r);
    mpz_mod(out, out, m);
}

const uint32_t kSizes[] = {1, 2, 3, 4, 5, 7, 8, 9, 16, 17, 31, 32, 33, 64, 65, 127, 128};

// Fewer rounds for big moduli: the work grows with the cube of the size.
int rounds_for(uint32_t n, int small) {
    return n <= 17 ? small : n <= 65 ? 3 : 1;
}

// The word inverse; reduction with whole-word Rbits, Rbits off a word
// boundary and past the modulus' words, of t up to m 2^Rbits - 1; products,
// squares, R and R^2 mod m, the modulus written by the latter but restored.
TEST(Mont, ReductionProductsUnity) {
    Rng g(3);
    for (uint32_t n : kSizes) {
        for (int round = 0; round < rounds_for(n, 20); ++round) {
            Num m = odd_modulus(g, n), a = random_below(g, m.data()), b = random_below(g, m.data());
            const uint32_t minv = lnminverse(0u - m[1]), rb = 32 * n;
            ASSERT_EQ(minv * m[1], ~0u);
            Mpz zm(m.data()), za(a.data()), zb(b.data()), t, want;
            uint32_t rbits = round % 2 ? 1 + g.below(32 * n + 31) : rb;
            if (round % 4 == 3) rbits = 32 * n + 1 + g.below(31);
            mpz_mul_2exp(want, zm, rbits);
            t.set(random_num(g, 1 + g.below(2 * n + 1)).data());
            mpz_mod(t, t, want);
            if (g.below(4) == 0) mpz_sub_ui(t, want, 1);
            Buf tb(2 * n + 2, from_mpz(t).data()), r(2 * n + 2), s(2 * n + 2);
            mont(want, t, zm, -int(rbits));
            ASSERT_TRUE(tb.holds(lnmmontcom(minv, rbits, m.data(), tb.p()), want)) << rbits;
            mpz_mul(want, za, zb);
            mont(want, want, zm, -int(rb));
            ASSERT_TRUE(r.holds(lnmmulmont(minv, rb, m.data(), a.data(), b.data(), r.p()), want));
            mpz_mul(want, za, za);
            mont(want, want, zm, -int(rb));
            ASSERT_TRUE(s.holds(lnmsqrmont(minv, rb, m.data(), a.data(), s.p()), want)) << n;
            for (uint32_t u : {rb, 2 * rb, rb - 7, 5u}) {
                Buf one(u / 32 + 4);
                mont(want, Mpz(LNMBIG_ONE), zm, int(u));
                ASSERT_TRUE(one.holds(lnmunitymont(u, m.data(), one.p()), want)) << n << " " << u;
                ASSERT_TRUE(equals_mpz(m.data(), zm));
            }
        }
    }
}

// Odd and even moduli of 1 .. 128 words (1 and 2 included), bases up to the modulus' size: one
// call, then one table made by the start call serving several exponents,
// whose stop calls leave the odd powers (slots 0 .. 15) and m intact.
TEST(PowMod, OddAndEvenModuliAgainstGmp) {
    Rng g(6);
    for (uint32_t n : kSizes) {
        for (int round = 0; round < std::max(2, rounds_for(n, 8)); ++round) {
            Num mv = random_num(g, n);
            mv[1] = round % 2 ? mv[1] & ~1u : mv[1] | 1;
            if (n == 1 && (round < 2 || mv[1] == 0)) mv[1] = round < 2 ? round + 1 : 2;
            Buf m(n + 2, mv.data()), table(LNM_POWMOD_TABLE_WORDS);
            Num x = g.below(3) == 0 ? random_num(g, n) : random_below(g, mv.data());
            Mpz zx(x.data()), zm(mv.data()), want;
            for (int i = 0; i < (n > 33 ? 2 : 4); ++i) {
                Num e = i < 2 ? random_num(g, n) : random_exponent(g, n);
                Buf r(round % 2 ? 2 * n + 3 : n + 4);
                mpz_powm(want, zx, Mpz(e.data()), zm);
                if (i == 1) lnmpowmodstart(table.p(), x.data(), m.p());
                const Num slots(table.p(), table.p() + 16 * LNMBIG_WORDS);
                if (i == 0) lnmpowmod(table.p(), x.data(), e.data(), m.p(), r.p());
                if (i > 0) lnmpowmodstop(table.p(), e.data(), m.p(), r.p());
                ASSERT_TRUE(r.holds(r.p(), want) && m.holds(m.p(), zm) && table.intact()) << i;
                ASSERT_TRUE(i == 0 || std::equal(slots.begin(), slots.end(), table.p()));
            }
        }
    }
}

// From one modulus and Montgomery-form base x: the start/stop table with
// several exponents, each stop leaving the odd powers intact; the compact
// table of every width and powers from it with padding (which never changes
// the result) and r aliasing the start, the table only read; lnmpowmont
// from a start s, which is squared once per exponent bit.
TEST(MontPowers, TablesAgainstGmp) {
    Rng g(8);
    for (uint32_t n : kSizes) {
        for (int round = 0; round < rounds_for(n, 4); ++round) {
            Num mv = odd_modulus(g, n);
            uint32_t *m = mv.data();
            Num x = random_below(g, m), s = random_below(g, m);
            const uint32_t minv = lnminverse(0u - m[1]), rb = 32 * n, w = 1 + (round + n) % 6;
            Buf unity(n + 4), table(LNM_POWMONT_TABLE_WORDS), ic(LNM_MONTIC_TABLE_WORDS(w, n));
            lnmunitymont(rb, m, unity.p());
            Mpz zm(m), zx(x.data()), zs(s.data()), want, sq;
            mont(zx, zx, zm, -int(rb));
            mont(zs, zs, zm, -int(rb));
            ASSERT_EQ(lnmpowmontstart(table.p(), minv, rb, m, x.data()), table.p());
            ASSERT_EQ(lnmmontic(ic.p(), w, minv, rb, m, x.data()), ic.p());
            const Num slots(table.p(), table.p() + 16 * LNMBIG_WORDS), compact(ic.v);
            for (int i = 0; i < (n > 65 ? 1 : n > 33 ? 2 : 4); ++i) {
                const Num ev = i == 1 ? Num{1, 1} : i ? random_exponent(g, n) : random_num(g, n);
                const uint32_t *e = ev.data();
                mpz_powm(want, zx, Mpz(e), zm);
                mont(want, want, zm, int(rb));
                Buf r(n + 1), r2(n + 1), t2(LNM_POWMONT_TABLE_WORDS);
                lnmpowmontstop(table.p(), unity.p(), minv, rb, m, e, r.p());
                ASSERT_TRUE(equals_mpz(r.p(), want) && r.intact() && table.intact()) << n;
                ASSERT_TRUE(std::equal(slots.begin(), slots.end(), table.p()));
                for (uint32_t pad : {0u, 7u, 256u, 32 * n + 64}) {
                    Buf p(n + 1, unity.p());  // with pad 7, r is the start itself
                    const uint32_t *st = pad == 7 ? p.p() : unity.p();
                    const uint32_t *got = lnmicpowmont(ic.p(), w, pad, st, minv, rb, m, e, p.p());
                    ASSERT_TRUE(p.holds(got, want)) << n << " w=" << w << " pad=" << pad;
                }
                EXPECT_EQ(lnmpowmont(t2.p(), s.data(), minv, rb, m, x.data(), e, r2.p()), 0);
                mpz_ui_pow_ui(sq, 2, lnmbitlen(e, 1));
                mpz_powm(sq, zs, sq, zm);
                mpz_mul(sq, sq, want);
                mpz_mod(sq, sq, zm);
                ASSERT_TRUE(equals_mpz(r2.p(), sq) && r2.intact() && t2.intact()) << n;
            }
            ASSERT_EQ(ic.v, compact);
        }
    }
}

// Both scanners against a bit-by-bit model, on dense and sparse exponents,
// positions past the top and windows straddling words.
TEST(Scanners, MatchBitModel) {
    Rng g(11);
    for (int round = 0; round < 4000; ++round) {
        Num e = random_num(g, g.below(5));
        for (uint32_t i = 1; round % 3 == 0 && i <= e[0]; ++i) e[i] &= g.word() & g.word();
        e.resize(lnmclip(e.data())[0] + 1);
        auto bit = [&](int64_t i) {
            return i >= 0 && i < 32 * e[0] ? e[i / 32 + 1] >> i % 32 & 1 : 0;
        };
        const uint32_t pos = g.below(32 * e[0] + 40), w = 1 + g.below(31);
        // Zeros from pos down to the next set bit j, or else the longest
        // window of at most w bits from pos down that ends in a set bit.
        int64_t j = pos, end = std::max<int64_t>(0, int64_t(pos) - w + 1);
        while (j >= 0 && !bit(j)) --j;
        while (j == pos && !bit(end)) ++end;
        uint32_t want = 0, len = 0;
        for (int64_t i = pos; j == pos && i >= end; --i) want = want << 1 | bit(i);
        ASSERT_EQ(lnmgetslide(e.data(), pos, w, &len), want) << pos << " " << w;
        ASSERT_EQ(len, j == pos ? pos - end + 1 : pos - j) << pos << " " << w;
        const uint32_t i = g.below((32 * e[0] + 64) / w + 1);
        uint32_t win = 0;
        for (uint32_t k = 0; k < w; ++k) win |= bit(int64_t(i) * w + k) << k;
        ASSERT_EQ(lnmgetwin(e.data(), i, w), win) << i << " " << w;
    }
}

// Every size up to 20 words (small moduli run on code unrolled per size) and
// larger ones; a = 1 and m - 1 come up often, r may be a, and a = 0 gives m.
TEST(ModInv, AgainstGmp) {
    Rng g(14);
    Num sizes{31, 32, 33, 64, 65, 127, 128};
    for (uint32_t n = 1; n <= 20; ++n) sizes.push_back(n);
    for (uint32_t n : sizes) {
        for (int round = 0; round < (n <= 17 ? 40 : n <= 65 ? 8 : 3); ++round) {
            Num m = odd_modulus(g, n), a;
            Mpz zm(m.data()), za, want;
            do {
                a = random_below(g, m.data());
                za.set(a.data());
            } while (a[0] == 0 || !mpz_invert(want, za, zm));
            Buf r(n + 1), in(n + 1, a.data());
            ASSERT_TRUE(r.holds(lnmmodinv(a.data(), m.data(), r.p()), want)) << n;
            ASSERT_TRUE(in.holds(lnmmodinv(in.p(), m.data(), in.p()), want)) << n;
            ASSERT_TRUE(r.holds(lnmmodinv(LNMBIG_ZERO, m.data(), r.p()), zm));
        }
    }
}

// t mod (2^k - c) for t = (p - small)^2, products of residues, p .. 2^k - 1,
// 0, values below p, 2^2k - 1 and - 2, and anything below 2^2k; words
// between the new and the old count become zero, those above are untouched.
TEST(ModSf, AgainstGmp) {
    Rng g(15);
    for (uint32_t k : {32u, 64u, 96u, 192u, 256u, 384u, 512u, 1024u}) {
        for (uint32_t c : {1u, 3u, 617u, 0xFFFFu, 0x80000001u, ~0u, 1 + g.word() % ~0u}) {
            Mpz p, top, t, u, want;
            mpz_setbit(p, k);
            mpz_sub_ui(p, p, c);
            mpz_setbit(top, 2 * k);
            Buf pb(k / 32 + 1, from_mpz(p).data());
            for (int round = 0; round < 60; ++round) {
                const int shape = round % 7;
                t.set(random_num(g, 1 + g.below(k / 16)).data());
                u.set(random_num(g, 1 + g.below(k / 32)).data());
                if (shape == 0) mpz_sub_ui(t, p, g.below(1000));
                if (shape == 1) mpz_mod(t, t, p), mpz_mod(u, u, p);
                if (shape < 2) mpz_mul(t, t, shape ? u : t);
                if (shape == 2) mpz_add_ui(t, p, g.below(c));
                if (shape == 3) mpz_set_ui(t, round < 7 ? 0 : g.word());
                if (shape == 4) mpz_sub_ui(t, top, 1 + g.below(2));
                Buf tb(k / 16 + 1);
                const Num tv = from_mpz(t);
                std::fill(tb.v.begin(), tb.v.begin() + tb.room, ~0u);
                std::copy(tv.begin(), tv.end(), tb.v.begin());
                mpz_mod(want, t, p);
                ASSERT_TRUE(tb.holds(lnmmodsf(tb.p(), pb.p(), k, c), want)) << k << " " << c;
                for (uint32_t i = tb.p()[0] + 1; i < tb.room; ++i)
                    ASSERT_EQ(tb.v[i], i <= tv[0] ? 0u : ~0u) << i;
            }
        }
    }
}

}  // namespace
