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

Num num(std::initializer_list<uint32_t> digits) {
    Num a{uint32_t(digits.size())};
    a.insert(a.end(), digits.begin(), digits.end());
    return a;
}

Num counted(const uint32_t *a) {
    return Num(a, a + a[0] + 1);
}

uint32_t random_size(Rng &rng, uint32_t max) {
    switch (rng.below(4)) {
        case 0:
            return rng.below(4);
        case 1:
            return max - rng.below(3);
        default:
            return rng.below(max + 1);
    }
}

TEST(BignumBasic, ConstantsAndConstruction) {
    EXPECT_EQ(LNMBIG_ZERO[0], 0u);
    EXPECT_EQ(counted(LNMBIG_ONE), num({1}));
    EXPECT_EQ(counted(LNMBIG_TWO), num({2}));
    EXPECT_EQ(counted(LNMBIG_THREE), num({3}));

    uint32_t r[LNMBIG_WORDS];
    std::memset(r, 0xAB, sizeof r);
    EXPECT_EQ(lnmconvert(r, 0), r);
    EXPECT_EQ(r[0], 0u);
    EXPECT_EQ(r[1], 0u);
    lnmconvert(r, 0x80000001u);
    EXPECT_EQ(counted(r), num({0x80000001u}));

    EXPECT_EQ(lnmvalueof32(r, 2, uint32_t(0x1), uint32_t(0x2)), r);
    EXPECT_EQ(counted(r), num({2, 1}));
    lnmvalueof32(r, 3, uint32_t(0), uint32_t(0), uint32_t(5));  // leading zero words
    EXPECT_EQ(counted(r), num({5}));
    lnmvalueof32(r, 0);
    EXPECT_EQ(r[0], 0u);
    std::memset(r, 0xAB, sizeof r);
    EXPECT_EQ(lnmvalueof64(r, 3, uint32_t(0xA), uint32_t(0xB), uint32_t(0xC)), r);
    EXPECT_EQ(counted(r), num({0xC, 0xB, 0xA}));
    lnmvalueof64(r, 2, uint32_t(0), uint32_t(0xFFFFFFFFu));
    EXPECT_EQ(counted(r), num({0xFFFFFFFFu}));
    lnmvalueof64(r, 0);
    EXPECT_EQ(r[0], 0u);

    uint32_t z[4] = {3, 7, 0, 0};
    EXPECT_EQ(lnmclip(z), z);
    EXPECT_EQ(z[0], 1u);
    uint32_t zz[3] = {2, 0, 0};
    EXPECT_EQ(lnmclip(zz)[0], 0u);
}

TEST(BignumBasic, ClearOnlyPrints) {
    uint32_t x[3] = {2, 5, 6};
    testing::internal::CaptureStdout();
    uint32_t *ret = lnmclear(x);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(ret, x);
    EXPECT_EQ(out, "Deprecated lnmclear!\n");
    EXPECT_EQ(x[0], 2u);
    EXPECT_EQ(x[1], 5u);
    EXPECT_EQ(x[2], 6u);
}

TEST(BignumBasic, CopyOverlapping) {
    uint32_t buf[12] = {4, 1, 2, 3, 4, 99, 99, 99, 99, 99, 99, 99};
    EXPECT_EQ(lnmcopy(buf + 2, buf), buf + 2);  // forwards over itself
    EXPECT_EQ(counted(buf + 2), num({1, 2, 3, 4}));
    EXPECT_EQ(buf[7], 99u);
    lnmcopy(buf + 1, buf + 2);  // backwards over itself
    EXPECT_EQ(counted(buf + 1), num({1, 2, 3, 4}));
    lnmcopy(buf, LNMBIG_ZERO);
    EXPECT_EQ(buf[0], 0u);
    EXPECT_EQ(buf[1], 4u);  // only the count word is copied
}

TEST(BignumBasic, CompareAndBitLength) {
    EXPECT_EQ(lnmcmp(LNMBIG_ZERO, LNMBIG_ZERO), 0);
    Num big = num({0, 1}), small = num({0xFFFFFFFFu});
    EXPECT_EQ(lnmcmp(big.data(), small.data()), 1);
    EXPECT_EQ(lnmcmp(small.data(), big.data()), -1);
    Num a = num({5, 7}), b = num({6, 7}), c = num({6, 7});
    EXPECT_EQ(lnmcmp(a.data(), b.data()), -1);
    EXPECT_EQ(lnmcmp(b.data(), a.data()), 1);
    EXPECT_EQ(lnmcmp(b.data(), c.data()), 0);
    EXPECT_EQ(lnmcmp(LNMBIG_ONE, LNMBIG_ZERO), 1);

    EXPECT_EQ(lnmbitlen(LNMBIG_ZERO, 1), 0u);
    EXPECT_EQ(lnmbitlen(LNMBIG_ONE, 1), 1u);
    EXPECT_EQ(lnmbitlen(LNMBIG_THREE, 1), 2u);
    EXPECT_EQ(lnmbitlen(LNMBIG_THREE, 8), 1u);
    Num v = num({0, 0x100});  // 2^40: 41 bits
    EXPECT_EQ(lnmbitlen(v.data(), 1), 41u);
    EXPECT_EQ(lnmbitlen(v.data(), 8), 6u);
    EXPECT_EQ(lnmbitlen(v.data(), 2), 21u);
    EXPECT_EQ(lnmbitlen(v.data(), 41), 1u);
    EXPECT_EQ(lnmbitlen(v.data(), 40), 2u);
    EXPECT_EQ(lnmbitlen(v.data(), 0xFFFFFFFFu), 1u);
    Num full(LNMBIG_WORDS, 0xFFFFFFFFu);
    full[0] = 258;
    EXPECT_EQ(lnmbitlen(full.data(), 1), 8256u);
    EXPECT_EQ(lnmbitlen(full.data(), 32), 258u);
}

TEST(BignumBasic, AddSubEdges) {
    uint32_t a[8] = {1, 0xFFFFFFFFu};
    EXPECT_EQ(lnmadd(a, LNMBIG_ONE), a);
    EXPECT_EQ(counted(a), num({0, 1}));
    uint32_t s[8] = {2, 0x1234, 0x5678};
    EXPECT_EQ(lnmsub(s, s), s);
    EXPECT_EQ(s[0], 0u);
    // a + a, the same array.
    uint32_t d[8] = {2, 0x80000000u, 0xFFFFFFFFu};
    lnmadd(d, d);
    EXPECT_EQ(counted(d), num({0, 0xFFFFFFFFu, 1}));
    // a shorter than b, carry through b's copied words.
    uint32_t e[8] = {1, 0xFFFFFFFFu};
    Num f = num({1, 0xFFFFFFFFu, 0xFFFFFFFFu});
    lnmadd(e, f.data());
    EXPECT_EQ(counted(e), num({0, 0, 0, 1}));
    // Borrow propagating through zero words.
    Num g = num({0, 0, 1});
    lnmsub(g.data(), LNMBIG_ONE);
    EXPECT_EQ(counted(g.data()), num({0xFFFFFFFFu, 0xFFFFFFFFu}));

    uint32_t z[8] = {0};
    EXPECT_EQ(lnmaddb2(z, 40), z);
    EXPECT_EQ(counted(z), num({0, 0x100}));
    uint32_t w[8] = {2, 0xFFFFFFFFu, 0xFFFFFFFFu};
    lnmaddb2(w, 0);
    EXPECT_EQ(counted(w), num({0, 0, 1}));
    uint32_t x[8] = {1, 5};
    lnmaddb2(x, 31);
    EXPECT_EQ(counted(x), num({0x80000005u}));

    Num p = num({0xF0F0F0F0u, 0x12}), q = num({0xFFFFFFFFu, 0x12, 0x7});
    Num pr = p;
    pr.resize(8);
    EXPECT_EQ(lnmadd2m(pr.data(), q.data()), pr.data());
    EXPECT_EQ(counted(pr.data()), num({0x0F0F0F0Fu, 0, 0x7}));
    Num t = num({1, 2, 3});
    Num u = num({1, 2, 3});
    lnmadd2m(t.data(), u.data());
    EXPECT_EQ(t[0], 0u);
    Num v = num({1, 2, 3});
    lnmadd2m(v.data(), LNMBIG_ONE);
    EXPECT_EQ(counted(v.data()), num({0, 2, 3}));
}

TEST(BignumBasic, PowersOfTwo) {
    uint32_t r[12];
    std::memset(r, 0xAB, sizeof r);
    EXPECT_EQ(lnmexpb2(r, 32), r);
    EXPECT_EQ(counted(r), num({0, 1}));
    EXPECT_EQ(lnmmodexpb2(r, 32), r);
    EXPECT_EQ(r[0], 0u);
    lnmexpb2(r, 0);
    EXPECT_EQ(counted(r), num({1}));
    lnmexpb2(r, 95);
    EXPECT_EQ(counted(r), num({0, 0, 0x80000000u}));

    Num a = num({0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu});
    lnmmodexpb2(a.data(), 100);  // (100/32)+1 = 4 words > 3: unchanged
    EXPECT_EQ(counted(a.data()), num({0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu}));
    lnmmodexpb2(a.data(), 40);
    EXPECT_EQ(counted(a.data()), num({0xFFFFFFFFu, 0xFF}));
    lnmmodexpb2(a.data(), 32);
    EXPECT_EQ(counted(a.data()), num({0xFFFFFFFFu}));
    Num b = num({0, 0x100, 0xFF});
    lnmmodexpb2(b.data(), 64);  // drops the top word
    EXPECT_EQ(counted(b.data()), num({0, 0x100}));
    lnmmodexpb2(b.data(), 40);  // bit 40 itself is cut: 0
    EXPECT_EQ(b[0], 0u);

    // Against GMP: a mod 2^k for random k.
    Rng rng(21);
    Mpz want;
    for (int iter = 0; iter < 2000; iter++) {
        Num x = random_num(rng, random_size(rng, 20));
        uint32_t k = rng.below(32 * 22);
        mpz_fdiv_r_2exp(want, Mpz(x.data()), k);
        lnmmodexpb2(x.data(), k);
        ASSERT_TRUE(equals_mpz(x.data(), want)) << k;
    }
}

TEST(BignumBasic, AddSubAgainstGmp) {
    Rng rng(22);
    Mpz want;
    for (int iter = 0; iter < 5000; iter++) {
        Num a = random_num(rng, random_size(rng, 40));
        Num b = random_num(rng, random_size(rng, 40));
        Mpz za(a.data()), zb(b.data());
        size_t room = std::max(a[0], b[0]) + 2;
        Guarded s(a, room, rng);
        ASSERT_EQ(lnmadd(s.p(), b.data()), s.p());
        mpz_add(want, za, zb);
        ASSERT_TRUE(equals_mpz(s.p(), want));
        ASSERT_TRUE(s.intact());

        // Subtract the smaller from the larger.
        bool a_big = mpz_cmp(za, zb) >= 0;
        ASSERT_EQ(lnmcmp(a.data(), b.data()), mpz_cmp(za, zb) > 0 ? 1 : (a_big ? 0 : -1));
        const Num &hi = a_big ? a : b;
        const Num &lo = a_big ? b : a;
        Guarded d(hi, hi[0] + 1, rng);
        ASSERT_EQ(lnmsub(d.p(), lo.data()), d.p());
        mpz_sub(want, a_big ? za : zb, a_big ? zb : za);
        ASSERT_TRUE(equals_mpz(d.p(), want));
        ASSERT_TRUE(d.intact());

        // The sum minus b is a again.
        lnmsub(s.p(), b.data());
        ASSERT_EQ(counted(s.p()), a);

        // a + 2^k.
        uint32_t k = rng.below(32 * 44);
        Guarded e(a, std::max<size_t>(a[0], k / 32 + 1) + 2, rng);
        lnmaddb2(e.p(), k);
        mpz_ui_pow_ui(want, 2, k);
        mpz_add(want, want, za);
        ASSERT_TRUE(equals_mpz(e.p(), want));
        ASSERT_TRUE(e.intact());

        Guarded x(a, std::max(a[0], b[0]) + 1, rng);
        lnmadd2m(x.p(), b.data());
        mpz_xor(want, za, zb);
        ASSERT_TRUE(equals_mpz(x.p(), want));
        ASSERT_TRUE(x.intact());
    }
}

TEST(BignumBasic, ShiftEdges) {
    uint32_t r[LNMBIG_WORDS + 1];
    Num one = num({0x12345678u});
    EXPECT_EQ(lnmshr(one.data(), 32, r), r);
    EXPECT_EQ(r[0], 0u);
    EXPECT_EQ(lnmshl(LNMBIG_ZERO, 5, r)[0], 0u);
    EXPECT_EQ(lnmshl(one.data(), 258 * 32, r)[0], 0u);
    lnmshl(one.data(), 257 * 32 + 4, r);
    EXPECT_EQ(r[0], 258u);
    EXPECT_EQ(r[258], 0x23456780u);        // the top nibble is dropped
    lnmshl(one.data(), 257 * 32 + 31, r);  // only the low bit would survive: it is 0
    EXPECT_EQ(r[0], 0u);
    lnmshl(one.data(), 0, r);
    EXPECT_EQ(counted(r), one);
    lnmshr(one.data(), 4, r);
    EXPECT_EQ(counted(r), num({0x01234567u}));

    Num full(LNMBIG_WORDS + 1, 0xFFFFFFFFu);
    full[0] = 258;
    Num g = full;
    EXPECT_EQ(lnmshl(g.data(), 1, g.data()), g.data());  // in place, 258 words kept
    EXPECT_EQ(g[0], 258u);
    EXPECT_EQ(g[1], 0xFFFFFFFEu);
    EXPECT_EQ(g[258], 0xFFFFFFFFu);
    EXPECT_EQ(g[259], 0xFFFFFFFFu);  // nothing written past word 258
}

TEST(BignumBasic, ShiftsAgainstGmp) {
    Rng rng(23);
    Mpz want, cap;
    mpz_ui_pow_ui(cap, 2, 32 * 258);
    for (int iter = 0; iter < 4000; iter++) {
        Num a = random_num(rng, random_size(rng, iter < 3000 ? 30 : 258));
        uint32_t k = rng.below(3) == 0 ? 32 * rng.below(260) : rng.below(32 * 260);
        if (rng.below(4) == 0) k = rng.below(70);
        Mpz za(a.data());

        mpz_mul_2exp(want, za, k);
        mpz_mod(want, want, cap);  // truncated at 258 words
        // Needs room for the result count plus one word, at most 259.
        size_t room = std::min<size_t>(a[0] + k / 32 + 2, LNMBIG_WORDS);
        Guarded r(room, rng);
        ASSERT_EQ(lnmshl(a.data(), k, r.p()), r.p());
        ASSERT_TRUE(equals_mpz(r.p(), want)) << a[0] << " << " << k;
        ASSERT_TRUE(r.intact());
        Guarded in(a, std::max(room, a.size()), rng);
        lnmshl(in.p(), k, in.p());
        ASSERT_TRUE(equals_mpz(in.p(), want)) << "in place " << a[0] << " << " << k;
        ASSERT_TRUE(in.intact());

        mpz_fdiv_q_2exp(want, za, k);
        Guarded q(a[0] + 1, rng);
        ASSERT_EQ(lnmshr(a.data(), k, q.p()), q.p());
        ASSERT_TRUE(equals_mpz(q.p(), want)) << a[0] << " >> " << k;
        ASSERT_TRUE(q.intact());
        Guarded qi(a, a[0] + 1, rng);
        lnmshr(qi.p(), k, qi.p());
        ASSERT_TRUE(equals_mpz(qi.p(), want));

        // Shifting back recovers a without its low k bits.
        if (k < 32 * 200) {
            Num back(LNMBIG_WORDS + 2);
            lnmshl(q.p(), k, back.data());
            mpz_mul_2exp(want, want, k);
            ASSERT_TRUE(equals_mpz(back.data(), want));
        }
    }
}

TEST(BignumBytes, Edges) {
    Num v = num({0x12345});
    uint8_t out[8];
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(lnmtobase256(out, 8, v.data()), 3u);
    EXPECT_EQ(to_hex(out, 4), "012345ee");
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(lnmtobase256(out, 2, v.data()), 2u);
    EXPECT_EQ(to_hex(out, 3), "0123ee");
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(lnmtorbase256(out, 8, v.data()), 3u);
    EXPECT_EQ(to_hex(out, 4), "452301ee");
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(lnmtorbase256(out, 2, v.data()), 2u);
    EXPECT_EQ(to_hex(out, 3), "4523ee");
    EXPECT_EQ(lnmtobase256(out, 0, v.data()), 0u);
    EXPECT_EQ(lnmtorbase256(out, 0, v.data()), 0u);
    EXPECT_EQ(lnmtobase256(out, 8, LNMBIG_ZERO), 0u);
    EXPECT_EQ(lnmtorbase256(out, 8, LNMBIG_ZERO), 0u);
    EXPECT_EQ(out[2], 0xEE);

    // Inner zero bytes are kept, only leading ones are skipped.
    Num w = num({0x00000001u, 0x00010000u});
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(lnmtobase256(out, 8, w.data()), 7u);
    EXPECT_EQ(to_hex(out, 8), "01000000000001ee");
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(lnmtorbase256(out, 8, w.data()), 7u);
    EXPECT_EQ(to_hex(out, 8), "01000000000001ee");
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(lnmtorbase256(out, 5, w.data()), 5u);  // the top bytes are lost
    EXPECT_EQ(to_hex(out, 6), "0100000000ee");

    uint32_t r[LNMBIG_WORDS + 2];
    Bytes b = from_hex("000001");
    EXPECT_EQ(lnmfrombase256(r, b.data(), 3), r);
    EXPECT_EQ(counted(r), num({1}));
    EXPECT_EQ(lnmfromrbase256(r, b.data(), 3), r);
    EXPECT_EQ(counted(r), num({0x10000}));
    lnmfrombase256(r, b.data(), 0);
    EXPECT_EQ(r[0], 0u);
    lnmfromrbase256(r, b.data(), 0);
    EXPECT_EQ(r[0], 0u);
    Bytes z(9, 0);
    std::memset(r, 0xAB, sizeof r);
    lnmfrombase256(r, z.data(), 9);
    EXPECT_EQ(r[0], 0u);
    Bytes five = from_hex("0102030405");
    lnmfrombase256(r, five.data(), 5);
    EXPECT_EQ(counted(r), num({0x02030405u, 0x01}));
    lnmfromrbase256(r, five.data(), 5);
    EXPECT_EQ(counted(r), num({0x04030201u, 0x05}));

    // 1040 bytes: only the first 1032 are read.
    Rng rng(24);
    Bytes big = rng.bytes(1040);
    big[0] = 0x9A;
    lnmfrombase256(r, big.data(), 1040);
    EXPECT_EQ(r[0], 258u);
    Num expect(LNMBIG_WORDS);
    lnmfrombase256(expect.data(), big.data(), 1032);
    EXPECT_EQ(counted(r), counted(expect.data()));
    EXPECT_EQ(r[258] >> 24, 0x9Au);
    big[1031] = 0x77;
    lnmfromrbase256(r, big.data(), 1040);
    EXPECT_EQ(r[0], 258u);
    EXPECT_EQ(r[258] >> 24, 0x77u);
    EXPECT_EQ(r[1] & 0xFF, 0x9Au);

    // Offset forms.
    Bytes buf = from_hex("ffff0102030405ffff");
    lnmgetbe(r, buf.data(), 2, 5);
    EXPECT_EQ(counted(r), num({0x02030405u, 0x01}));
    lnmgetle(r, buf.data(), 2, 5);
    EXPECT_EQ(counted(r), num({0x04030201u, 0x05}));
    Bytes o(10, 0xEE);
    EXPECT_EQ(lnmputbe(o.data(), 3, 4, v.data()), 3u);
    EXPECT_EQ(to_hex(o), "eeeeee012345eeeeeeee");
    EXPECT_EQ(lnmputle(o.data(), 6, 2, v.data()), 2u);
    EXPECT_EQ(to_hex(o), "eeeeee0123454523eeee");
}

TEST(BignumBytes, RoundTripsAgainstGmp) {
    Rng rng(25);
    for (int iter = 0; iter < 3000; iter++) {
        Num a = random_num(rng, random_size(rng, iter < 2500 ? 20 : 258));
        Mpz za(a.data());
        size_t nbytes = (mpz_sizeinbase(za, 2) + 7) / 8;
        if (a[0] == 0) nbytes = 0;
        Bytes be(nbytes + 4, 0xEE), le(nbytes + 4, 0xEE);
        size_t cnt = 0;
        Bytes want(nbytes + 1);
        mpz_export(want.data(), &cnt, 1, 1, 0, 0, za);
        want.resize(cnt);

        uint32_t outlen =
            rng.below(3) == 0 ? rng.below(uint32_t(nbytes) + 1) : uint32_t(nbytes + 4);
        uint32_t n = lnmtobase256(be.data(), outlen, a.data());
        uint32_t expect_n = std::min<uint32_t>(outlen, uint32_t(nbytes));
        ASSERT_EQ(n, expect_n);
        ASSERT_TRUE(std::equal(want.begin(), want.begin() + n, be.begin()));
        ASSERT_EQ(be[n], 0xEE);  // nothing past what was written
        ASSERT_EQ(lnmtorbase256(le.data(), outlen, a.data()), expect_n);
        for (uint32_t i = 0; i < expect_n; i++) ASSERT_EQ(le[i], want[nbytes - 1 - i]);
        ASSERT_EQ(le[expect_n], 0xEE);

        if (outlen >= nbytes) {
            // Leading zero bytes on input are harmless (within the 1032 read).
            Bytes padded(std::min<size_t>(rng.below(5), 1032 - nbytes), 0);
            padded.insert(padded.end(), be.begin(), be.begin() + n);
            Guarded r(padded.size() / 4 + 2, rng);
            lnmfrombase256(r.p(), padded.data(), uint32_t(padded.size()));
            ASSERT_EQ(counted(r.p()), a);
            ASSERT_TRUE(r.intact());
            Bytes lpad(le.begin(), le.begin() + n);
            lpad.resize(lpad.size() + rng.below(5), 0);
            Guarded s(lpad.size() / 4 + 2, rng);
            lnmfromrbase256(s.p(), lpad.data(), uint32_t(lpad.size()));
            ASSERT_EQ(counted(s.p()), a);
            ASSERT_TRUE(s.intact());
        }
    }
}

TEST(BignumText, HexEdges) {
    char out[16];
    Num a = num({0x1A0});
    lnmtoxstr(a.data(), out, 4);
    EXPECT_STREQ(out, "1A0");
    std::memset(out, 'x', sizeof out);
    lnmtoxstr(a.data(), out, 3);
    EXPECT_EQ(std::string(out, 3), std::string("**\0", 3));
    EXPECT_EQ(out[3], 'x');
    std::memset(out, 'x', sizeof out);
    lnmtoxstr(LNMBIG_ZERO, out, 5);
    EXPECT_STREQ(out, "0");
    EXPECT_EQ(out[2], 'x');
    lnmtoxstr(LNMBIG_ZERO, out, 1);
    EXPECT_EQ(out[0], 0);
    std::memset(out, 'x', sizeof out);
    lnmtoxstr(a.data(), out, 0);
    EXPECT_EQ(out[0], 'x');
    lnmtoxstr(a.data(), nullptr, 10);  // nothing to write into
    Num b = num({0x0000ABCDu, 0x00000001u});
    lnmtoxstr(b.data(), out, 16);
    EXPECT_STREQ(out, "10000ABCD");
}

// Every buffer size from 0 to past the full text, for assorted values.
TEST(BignumText, EverySize) {
    Rng rng(26);
    for (int iter = 0; iter < 60; iter++) {
        Num a = random_num(rng, random_size(rng, 6));
        std::string want = a[0] == 0 ? "0" : Mpz(a.data()).hex();
        for (uint32_t size = 0; size <= want.size() + 2; size++) {
            std::vector<char> out(size + 4, 'x');
            lnmtoxstr(a.data(), out.data(), size);
            std::string got(out.begin(), out.end());
            std::string expect;
            if (size == 0) {
                expect = "";
            } else if (a[0] == 0) {
                expect = size > 1 ? std::string("0\0", 2) : std::string(1, '\0');
            } else if (want.size() < size) {
                expect = want + '\0';
            } else {
                expect = std::string(size - 1, '*') + '\0';
            }
            expect += std::string(out.size() - expect.size(), 'x');
            ASSERT_EQ(got, expect) << "size " << size << " value " << want;
        }
    }
}

}  // namespace
