// Representation, comparison, addition, shifts, powers of two, bytes and
// text of big numbers, with GMP as the oracle for the arithmetic.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "bignum_oracle.hpp"
#include "lncext/bignum.h"

using namespace lncext_test;
using Num = std::vector<uint32_t>;

namespace {

TEST(BignumBasic, ConstructionCopyClipClear) {
    EXPECT_EQ(counted(LNMBIG_ZERO), num({}));
    EXPECT_EQ(counted(LNMBIG_ONE), num({1}));
    EXPECT_EQ(counted(LNMBIG_TWO), num({2}));
    EXPECT_EQ(counted(LNMBIG_THREE), num({3}));
    uint32_t r[LNMBIG_WORDS];
    std::memset(r, 0xAB, sizeof r);
    EXPECT_EQ(counted(lnmconvert(r, 0)), num({}));
    EXPECT_EQ(counted(lnmconvert(r, 0x80000001u)), num({0x80000001u}));
    EXPECT_EQ(counted(lnmvalueof32(r, 2, uint32_t(1), uint32_t(2))), num({2, 1}));
    EXPECT_EQ(counted(lnmvalueof32(r, 3, uint32_t(0), uint32_t(0), uint32_t(5))), num({5}));
    EXPECT_EQ(counted(lnmvalueof32(r, 0)), num({}));
    EXPECT_EQ(counted(lnmvalueof64(r, 3, uint32_t(0xA), uint32_t(0xB), uint32_t(0xC))),
              num({0xC, 0xB, 0xA}));
    EXPECT_EQ(counted(lnmvalueof64(r, 2, uint32_t(0), ~0u)), num({~0u}));
    EXPECT_EQ(counted(lnmvalueof64(r, 0)), num({}));
    uint32_t z[4] = {3, 7, 0, 0}, zz[3] = {2, 0, 0};
    EXPECT_EQ(counted(lnmclip(z)), num({7}));
    EXPECT_EQ(counted(lnmclip(zz)), num({}));

    uint32_t buf[9] = {4, 1, 2, 3, 4, 99, 99, 99, 99};
    EXPECT_EQ(counted(lnmcopy(buf + 2, buf)), num({1, 2, 3, 4}));  // forwards over itself
    EXPECT_EQ(buf[7], 99u);
    EXPECT_EQ(counted(lnmcopy(buf + 1, buf + 2)), num({1, 2, 3, 4}));  // backwards
    lnmcopy(buf, LNMBIG_ZERO);
    EXPECT_EQ(buf[1], 4u);  // only the count word is copied

    uint32_t x[3] = {2, 5, 6};
    testing::internal::CaptureStdout();
    EXPECT_EQ(lnmclear(x), x);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Deprecated lnmclear!\n");
    EXPECT_EQ(counted(x), num({5, 6}));
}

// Comparisons, sums, differences, xor, a + 2^k, 2^k and a mod 2^k; operands of up to 40
// words stress the carries, a + a the aliasing, a - a the zero result.
TEST(BignumBasic, AddSubPowersAgainstGmp) {
    Rng rng(22);
    Mpz want, two_k;
    for (int iter = 0; iter < 4000; iter++) {
        Num a = random_num(rng, random_size(rng, 40)), b = random_num(rng, random_size(rng, 40));
        Mpz za(a.data()), zb(b.data());
        const int c = mpz_cmp(za, zb);
        ASSERT_EQ(lnmcmp(a.data(), b.data()), (c > 0) - (c < 0));
        Guarded s(a, std::max(a[0], b[0]) + 2, rng);
        ASSERT_EQ(lnmcmp(s.p(), a.data()), 0);
        mpz_add(want, za, zb);
        ASSERT_TRUE(s.holds(lnmadd(s.p(), b.data()), want));
        ASSERT_EQ(counted(lnmsub(s.p(), b.data())), a);  // the sum minus b is a again
        mpz_mul_2exp(want, za, 1);
        ASSERT_TRUE(s.holds(lnmadd(s.p(), s.p()), want));
        ASSERT_EQ(lnmsub(s.p(), s.p())[0], 0u);

        const Num &hi = c >= 0 ? a : b, &lo = c >= 0 ? b : a;
        Guarded d(hi, hi[0] + 1, rng);
        mpz_sub(want, Mpz(hi.data()), Mpz(lo.data()));
        ASSERT_TRUE(d.holds(lnmsub(d.p(), lo.data()), want));

        Guarded x(a, std::max(a[0], b[0]) + 1, rng);
        mpz_xor(want, za, zb);
        ASSERT_TRUE(x.holds(lnmadd2m(x.p(), b.data()), want));

        const uint32_t k =
            rng.below(2) ? rng.below(32 * 44) : 32 * rng.below(44) + rng.below(2) * 31;
        mpz_ui_pow_ui(two_k, 2, k);
        Guarded e(a, std::max<size_t>(a[0], k / 32 + 1) + 2, rng), p(k / 32 + 2, rng);
        mpz_add(want, two_k, za);
        ASSERT_TRUE(e.holds(lnmaddb2(e.p(), k), want)) << k;
        ASSERT_TRUE(p.holds(lnmexpb2(p.p(), k), two_k)) << k;
        mpz_fdiv_r_2exp(want, za, k);
        ASSERT_TRUE(e.holds(lnmmodexpb2(e.p(), k), want)) << k;  // (a + 2^k) mod 2^k
        ASSERT_TRUE(equals_mpz(lnmmodexpb2(a.data(), k), want)) << k;
    }
}

// Bit lengths in units of 1 .. 70 and 2^32 - 1 bits; shifts in and out of place, k at and around
// word multiples and past the 258-word cap; the destinations are guarded at their room.
TEST(BignumBasic, ShiftsAgainstGmp) {
    Rng rng(23);
    Mpz want, cap;
    mpz_ui_pow_ui(cap, 2, 32 * 258);
    for (int iter = 0; iter < 3000; iter++) {
        Num a = random_num(rng, random_size(rng, iter < 2000 ? 30 : 258));
        uint32_t k = rng.below(3) == 0 ? 32 * rng.below(260) : rng.below(32 * 260);
        if (rng.below(4) == 0) k = rng.below(70);
        if (rng.below(8) == 0) k = std::max(0, int(32 * (258 - a[0]) + rng.below(40)) - 8);  // cap
        Mpz za(a.data());
        const uint32_t unit = rng.below(8) ? 1 + rng.below(70) : ~0u - rng.below(2);
        const uint64_t bits = a[0] ? mpz_sizeinbase(za, 2) : 0;
        ASSERT_EQ(lnmbitlen(a.data(), unit), (bits + unit - 1) / unit) << a[0] << " " << unit;
        mpz_mul_2exp(want, za, k);
        mpz_mod(want, want, cap);
        const size_t room = std::min<size_t>(a[0] + k / 32 + 2, LNMBIG_WORDS);
        Guarded r(room, rng), in(a, std::max(room, a.size()), rng);
        ASSERT_TRUE(r.holds(lnmshl(a.data(), k, r.p()), want)) << a[0] << " << " << k;
        ASSERT_TRUE(in.holds(lnmshl(in.p(), k, in.p()), want)) << a[0] << " << " << k;
        mpz_fdiv_q_2exp(want, za, k);
        Guarded q(a[0] + 1, rng), qi(a, a[0] + 1, rng);
        ASSERT_TRUE(q.holds(lnmshr(a.data(), k, q.p()), want)) << a[0] << " >> " << k;
        ASSERT_TRUE(qi.holds(lnmshr(qi.p(), k, qi.p()), want)) << a[0] << " >> " << k;
    }
}

// Both byte orders, plain and at an offset, against GMP's export: outlen
// from 0 to past the length truncates at the correct end and writes nothing
// more; leading (big-endian) or trailing (little-endian) zeros read back.
TEST(BignumBytes, BothOrdersAgainstGmp) {
    Rng rng(25);
    for (int iter = 0; iter < 3000; iter++) {
        Num a = random_num(rng, random_size(rng, iter < 2500 ? 20 : 258));
        if (rng.below(4) == 0) a.back() &= 0xFF;  // inner and top zero bytes
        a.resize(lnmclip(a.data())[0] + 1);
        Mpz za(a.data());
        const uint32_t nb = a[0] ? uint32_t(mpz_sizeinbase(za, 256)) : 0, off = rng.below(4);
        Bytes want(nb + 1);
        mpz_export(want.data(), nullptr, 1, 1, 0, 0, za);
        const uint32_t outlen = rng.below(3) == 0 ? rng.below(nb + 1) : nb + rng.below(4);
        const uint32_t n = std::min(outlen, nb);
        Bytes be(off + nb + 4, 0xEE), le(off + nb + 4, 0xEE), exp_be = be, exp_le = le;
        std::copy(want.begin(), want.begin() + n, exp_be.begin() + off);
        for (uint32_t i = 0; i < n; i++) exp_le[off + i] = want[nb - 1 - i];
        if (off == 0) {
            ASSERT_EQ(lnmtobase256(be.data(), outlen, a.data()), n);
            ASSERT_EQ(lnmtorbase256(le.data(), outlen, a.data()), n);
        } else {
            ASSERT_EQ(lnmputbe(be.data(), off, outlen, a.data()), n);
            ASSERT_EQ(lnmputle(le.data(), off, outlen, a.data()), n);
        }
        ASSERT_EQ(be, exp_be) << outlen;
        ASSERT_EQ(le, exp_le) << outlen;

        const uint32_t pad = std::min<uint32_t>(rng.below(6), 1032 - nb);
        Bytes bin(off + pad, 0), lin(off, 0);
        bin.insert(bin.end(), want.begin(), want.begin() + nb);
        lin.insert(lin.end(), want.rend() - nb, want.rend());
        lin.resize(lin.size() + pad, 0);
        Guarded r((nb + pad) / 4 + 2, rng), s((nb + pad) / 4 + 2, rng);
        ASSERT_EQ(off ? lnmgetbe(r.p(), bin.data(), off, nb + pad)
                      : lnmfrombase256(r.p(), bin.data(), nb + pad),
                  r.p());
        ASSERT_EQ(off ? lnmgetle(s.p(), lin.data(), off, nb + pad)
                      : lnmfromrbase256(s.p(), lin.data(), nb + pad),
                  s.p());
        ASSERT_EQ(counted(r.p()), a);
        ASSERT_EQ(counted(s.p()), a);
        ASSERT_TRUE(r.intact() && s.intact());
    }
    // Only the first 1032 bytes are read.
    Bytes big = rng.bytes(1040);
    big[0] = 0x9A;
    big[1031] = 0x77;
    Num r(LNMBIG_WORDS + 2), expect(LNMBIG_WORDS);
    lnmfrombase256(expect.data(), big.data(), 1032);
    EXPECT_EQ(counted(lnmfrombase256(r.data(), big.data(), 1040)), counted(expect.data()));
    EXPECT_EQ(r[258] >> 24, 0x9Au);
    EXPECT_EQ(lnmfromrbase256(r.data(), big.data(), 1040)[0], 258u);
    EXPECT_EQ(r[258] >> 24, 0x77u);
}

// Every buffer size from 0 to past the full text: the text and its
// terminator, or size - 1 asterisks and a terminator, and nothing beyond.
TEST(BignumText, EverySize) {
    Rng rng(26);
    for (int iter = 0; iter < 60; iter++) {
        Num a = random_num(rng, random_size(rng, 6));
        std::string want = a[0] == 0 ? "0" : Mpz(a.data()).hex();
        for (uint32_t size = 0; size <= want.size() + 2; size++) {
            std::string out(size + 4, 'x');
            lnmtoxstr(a.data(), out.data(), size);
            std::string expect = size == 0            ? ""
                                 : want.size() < size ? want + '\0'
                                                      : std::string(size - 1, '*') + '\0';
            ASSERT_EQ(out, expect + std::string(out.size() - expect.size(), 'x'))
                << size << " " << want;
        }
    }
    lnmtoxstr(LNMBIG_ONE, nullptr, 10);  // nothing to write into
}

}  // namespace
