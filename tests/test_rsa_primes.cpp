// Probable-prime tests, the random-base pool, the prime search and the number
// theory of the RSA path, against the published lists and GMP.
#include <gtest/gtest.h>

#include <thread>

#include "rsa_test_util.hpp"

using namespace lncext_test;

namespace {

Rng junk(0x7072696d);

// Hook serving a fixed pool content, counting its calls.
struct FixedHook {
    static inline Bytes pool;
    static inline int calls = 0;
    static int fill(uint8_t *buf, uint32_t len) {
        ++calls;
        for (uint32_t i = 0; i < len; i++) buf[i] = i < pool.size() ? pool[i] : 0;
        return 42;
    }
    static void install(Bytes b) {
        pool = std::move(b);
        calls = 0;
        rsa_gen_rnd = fill;
    }
};

// Room for the RSA-path functions (33 words for one more carry word).
Num rsa_num(mpz_srcptr z) {
    return num_of(z, 72);
}

bool gmp_prime(mpz_srcptr z) {
    return mpz_probab_prime_p(z, 40) != 0;
}

// Odd numbers of `bits` bits drawn towards the hard cases: products of two
// primes, numbers just above a multiple of a sieve prime, primes, and
// uniform odd numbers.
void random_candidate(Rng &g, gmp_randstate_t st, uint32_t bits, mpz_ptr z) {
    Mpz a, b;
    switch (g.below(4)) {
        case 0: {  // p q, both primes of about half the size
            const uint32_t ha = bits / 2;
            mpz_urandomb(a, st, ha);
            mpz_setbit(a, ha - 1);
            mpz_nextprime(a, a);
            mpz_urandomb(b, st, bits - ha);
            mpz_setbit(b, bits - ha - 1);
            mpz_nextprime(b, b);
            mpz_mul(z, a, b);
            break;
        }
        case 1: {  // k * p + small odd, p a sieve prime
            const unsigned long p = 1009 + 2 * g.below(1200);
            mpz_urandomb(z, st, bits - 12);
            mpz_mul_ui(z, z, p);
            mpz_add_ui(z, z, 1 + 2 * g.below(4));
            break;
        }
        case 2:
            mpz_urandomb(z, st, bits);
            mpz_setbit(z, bits - 1);
            mpz_nextprime(z, z);
            break;
        default:
            mpz_urandomb(z, st, bits);
            mpz_setbit(z, bits - 1);
    }
    mpz_setbit(z, 0);
}

TEST(RsaPrimes, IsPrimeEdgeCases) {
    SeededHook::install(1);
    const struct {
        uint32_t v;
        int want;
    } cases[] = {{0, 0},       {2, 1},           {3, 1},           {997, 1},  {4, 0}, {561, 0},
                 {1000001, 0}, {1009, 1},        {994009, 0},      {7919, 1}, {9, 0}, {25, 0},
                 {65537, 1},   {4294967291u, 1}, {4294967295u, 0}, {1, 0}};
    for (const auto &c : cases) {
        uint32_t n[4];
        lnmconvert(n, c.v);
        EXPECT_EQ(isPrime(n), c.want) << c.v;
    }
}

// Every published prime and composite, through each test that takes its
// size. Composites get 20 rounds where the round count is ours to choose.
TEST(RsaPrimes, PublishedPrimesAndPseudoprimes) {
    SeededHook::install(2);
    int checked = 0;
    for (const VectorBlock &b : read_vectors("rsa.txt")) {
        const std::string kind = b.get("kind");
        if (kind != "prime" && kind != "composite") continue;
        const int want = kind == "prime";
        for (const std::string &dec : block_numbers(b)) {
            Mpz z;
            mpz_set_str(z, dec.c_str(), 10);
            const size_t bits = mpz_sizeinbase(z, 2);
            Num n = num_of(z, LNMBIG_WORDS);
            const std::string what = b.get("class") + " " + dec.substr(0, 40);
            if (bits <= 1024) {
                EXPECT_EQ(isPrime(n.data()), want) << what;
                if (mpz_odd_p(z.z) && mpz_cmp_ui(z.z, 3) >= 0) {
                    EXPECT_EQ(RabinMiller(n.data(), want ? 3 : 20), want) << what;
                }
            }
            if (bits <= 4096) {
                EXPECT_EQ(lnmrmt(n.data(), want ? (bits > 2000 ? 1 : 3) : 20), want) << what;
            }
            EXPECT_TRUE(equals_mpz(n.data(), z)) << "the tests changed their input";
            ++checked;
        }
    }
    EXPECT_GT(checked, 150);
}

TEST(RsaPrimes, IsPrimeAndLnmrmtAgreeWithGmp) {
    SeededHook::install(3);
    Rng g(3);
    gmp_randstate_t st;
    gmp_randinit_default(st);
    gmp_randseed_ui(st, 3);
    int primes = 0;
    for (int i = 0; i < 240; i++) {
        const uint32_t bits = 64 + g.below(961);
        Mpz z;
        random_candidate(g, st, bits, z);
        Num n = rsa_num(z);
        const int want = gmp_prime(z);
        primes += want;
        EXPECT_EQ(isPrime(n.data()), want) << bits << " bits " << Mpz(n.data()).hex();
        EXPECT_EQ(lnmrmt(n.data(), want ? 2 : 12), want) << bits << " bits";
    }
    EXPECT_GT(primes, 40);
    gmp_randclear(st);
}

// A prime passes every round: the number of bases drawn equals the round
// count of the table. The pool holds a single non-zero byte at its end, so
// that each fill yields exactly one base (2) and every round after the
// first costs a refill.
TEST(RsaPrimes, IsPrimeRoundCountsFollowTheBitLength) {
    Bytes pool(256, 0);
    pool[255] = 2;
    gmp_randstate_t st;
    gmp_randinit_default(st);
    gmp_randseed_ui(st, 4);
    const struct {
        uint32_t bits, rounds;
    } cases[] = {{1024, 3}, {1000, 3}, {849, 4},  {650, 4},  {600, 5},  {512, 6},
                 {449, 7},  {400, 7},  {350, 8},  {300, 9},  {299, 12}, {250, 12},
                 {200, 15}, {199, 18}, {150, 18}, {149, 27}, {100, 27}, {64, 27}};
    for (const auto &c : cases) {
        Mpz z;
        mpz_urandomb(z, st, c.bits);
        mpz_setbit(z, c.bits - 1);
        mpz_nextprime(z, z);
        ASSERT_EQ(mpz_sizeinbase(z, 2), c.bits);
        Num n = rsa_num(z);
        FixedHook::install(pool);
        EXPECT_EQ(isPrime(n.data()), 1);
        EXPECT_EQ(uint32_t(FixedHook::calls), c.rounds) << c.bits << " bits";
    }
    gmp_randclear(st);
}

// The bases come from the pool in order, one byte apart, skipping 0 and 1:
// 121 = 11^2 passes a round exactly for the bases that are strong liars
// for it, so the verdict after k rounds shows which bases were drawn.
TEST(RsaPrimes, RabinMillerDrawsThePoolBasesInOrder) {
    Mpz n121;
    mpz_set_ui(n121, 121);
    auto liar = [&](unsigned b) {  // 120 = 2^3 * 15
        Mpz y;
        mpz_set_ui(y, b);
        mpz_powm_ui(y, y, 15, n121);
        for (int i = 0; i < 3; i++) {
            if (mpz_cmp_ui(y.z, 1) == 0 && i == 0) return true;
            if (mpz_cmp_ui(y.z, 120) == 0) return true;
            mpz_powm_ui(y, y, 2, n121);
        }
        return false;
    };
    ASSERT_TRUE(liar(3) && liar(9) && !liar(2) && !liar(5));
    // 7-bit n: a byte b gives b mod 128, less 121 when 121 or more. 0, 1,
    // 121, 122 and 128 are skipped without costing a round; 124 gives 3.
    const Bytes pool = {3, 0, 1, 121, 122, 128, 9, 124, 129, 2, 3};
    const struct {
        uint32_t rounds;
        int want;
    } cases[] = {{1, 1}, {2, 1}, {3, 1}, {4, 0}, {5, 0}};
    for (const auto &c : cases) {
        FixedHook::install(pool);
        Num n = num_of(n121, 8);
        EXPECT_EQ(RabinMiller(n.data(), c.rounds), c.want) << c.rounds << " rounds";
    }
}

TEST(RsaPrimes, BasePoolRefillsWhenTooFewBytesRemain) {
    gmp_randstate_t st;
    gmp_randinit_default(st);
    gmp_randseed_ui(st, 5);
    for (uint32_t nbytes : {1u, 2u, 13u, 64u, 128u, 200u, 255u, 256u}) {
        Mpz z;
        mpz_urandomb(z, st, 8 * nbytes);
        mpz_setbit(z, 8 * nbytes - 1);
        Num n = num_of(z, 72);
        Bytes pool = junk.bytes(256);
        FixedHook::install(pool);
        rsa_keygen_rp_ctx ctx;
        std::memset(&ctx, 0x5a, sizeof ctx);
        EXPECT_EQ(rsa_keygen_rp_init(&ctx, n.data()), 42);
        EXPECT_EQ(ctx.pos, 0u);
        EXPECT_EQ(ctx.n, n.data());
        EXPECT_EQ(FixedHook::calls, 1);
        // Draws until two refills have happened, each base checked against
        // the bytes it came from.
        uint32_t expected_pos = 0;
        int fills = 1;
        for (int draw = 0; fills < 3 && draw < 1000; draw++) {
            Num b(72, 0);
            rsa_keygen_rp_get(&ctx, b.data());
            // Skipped bases (0 or 1) move the position as well: follow them.
            Mpz want;
            for (;;) {
                if (expected_pos + nbytes > 256) {
                    expected_pos = 0;
                    ++fills;
                }
                set_bytes(want,
                          Bytes(pool.begin() + expected_pos, pool.begin() + expected_pos + nbytes));
                expected_pos++;
                mpz_tdiv_r_2exp(want, want, mpz_sizeinbase(z, 2));
                if (mpz_cmp(want, z) >= 0) mpz_sub(want, want, z);
                if (mpz_cmp_ui(want.z, 1) > 0) break;
            }
            ASSERT_TRUE(equals_mpz(b.data(), want)) << nbytes << " bytes, draw " << draw;
            ASSERT_EQ(ctx.pos, expected_pos);
            ASSERT_EQ(FixedHook::calls, fills) << nbytes << " bytes, draw " << draw;
        }
        EXPECT_EQ(fills, 3);
    }
    gmp_randclear(st);
}

TEST(RsaPrimes, BasePoolNeverHangsOnAUselessHook) {
    // Only zero bytes: no base is ever acceptable from the pool; the draw
    // still ends, with the smallest valid base.
    FixedHook::install(Bytes(256, 0));
    uint32_t n[4], b[4];
    lnmconvert(n, 1000003);
    rsa_keygen_rp_ctx ctx;
    rsa_keygen_rp_init(&ctx, n);
    rsa_keygen_rp_get(&ctx, b);
    EXPECT_TRUE(b[0] == 1 && b[1] == 2);
    EXPECT_EQ(RabinMiller(n, 3), 1);  // base 2 each round; 1000003 is prime
}

TEST(RsaPrimes, RsaPrimeChecks) {
    SeededHook::install(6);
    for (uint32_t bits = 0; bits <= 4096; bits += 8)
        EXPECT_EQ(rsa_is_prermitted_modsize(bits),
                  bits == 512 || bits == 1024 || bits == 1536 || bits == 2048)
            << bits;
    EXPECT_EQ(rsa_is_prermitted_modsize(0xFFFFFFFFu), 0);
    EXPECT_EQ(rsa_is_prermitted_modsize(2049), 0);
    gmp_randstate_t st;
    gmp_randinit_default(st);
    gmp_randseed_ui(st, 6);
    for (uint32_t modbits : {512u, 1024u, 1536u, 2048u}) {
        const uint32_t h = modbits / 2;
        // A prime of the right size with p mod 65537 = 1, one with another
        // residue, one a bit short, and composites of the right size.
        Mpz p1, p2, shorter, comp, comp2, t;
        mpz_urandomb(t, st, h - 17);
        mpz_setbit(t, h - 18);
        do {
            mpz_add_ui(t, t, 1);
            mpz_mul_ui(p1, t, 2 * 65537);
            mpz_add_ui(p1, p1, 1);
        } while (!gmp_prime(p1) || mpz_sizeinbase(p1, 2) != h);
        mpz_urandomb(p2, st, h);
        mpz_setbit(p2, h - 1);
        mpz_nextprime(p2, p2);
        mpz_urandomb(shorter, st, h - 1);
        mpz_setbit(shorter, h - 2);
        mpz_nextprime(shorter, shorter);
        mpz_add_ui(comp, p2, 2);
        while (gmp_prime(comp)) mpz_add_ui(comp, comp, 2);
        mpz_sqrt(t, p2);
        mpz_nextprime(t, t);
        mpz_mul(comp2, t, t);  // a square of a prime: no small factor
        for (mpz_srcptr z : {p1.z, p2.z, shorter.z, comp.z, comp2.z}) {
            const bool ok = mpz_sizeinbase(z, 2) == h && mpz_fdiv_ui(z, 65537) != 1;
            Num n = rsa_num(z);
            EXPECT_EQ(rsa_prime_ok(n.data(), modbits), ok) << modbits;
            EXPECT_EQ(isRSAPrime(n.data(), modbits), ok && gmp_prime(z)) << modbits;
            EXPECT_TRUE(equals_mpz(n.data(), z));
        }
        Num n = rsa_num(p1);
        EXPECT_EQ(rsa_prime_ok(n.data(), modbits), 0);
    }
    gmp_randclear(st);
}

// The first probable prime at an even offset 0..4062, as GMP finds it; a
// window without one returns 0 and leaves n alone.
TEST(RsaPrimes, FindPrimeNearMatchesGmpNextPrime) {
    SeededHook::install(7);
    Rng g(7);
    gmp_randstate_t st;
    gmp_randinit_default(st);
    gmp_randseed_ui(st, 7);
    for (int i = 0; i < 40; i++) {
        const uint32_t bits = 13 + g.below(1012);
        Mpz z, want, next_gap;
        mpz_urandomb(z, st, bits);
        mpz_setbit(z, bits - 1);
        if (i % 4 == 0) mpz_nextprime(z, z);  // a prime is its own answer
        mpz_setbit(z, 0);
        mpz_sub_ui(want, z, 1);
        mpz_nextprime(want, want);
        Num n = rsa_num(z);
        mpz_sub(next_gap, want, z);
        if (mpz_cmp_ui(next_gap.z, 4062) > 0) mpz_set(want, z);  // a window without a prime
        EXPECT_EQ(find_prime_near(n.data()), mpz_cmp(want, z) != 0 || gmp_prime(z)) << bits;
        EXPECT_TRUE(equals_mpz(n.data(), want)) << bits << " bits from " << z.hex();
    }
    gmp_randclear(st);

    // No prime in [n, n + 4062]: found by a GMP search over random 1024-bit
    // odd numbers and checked here.
    Mpz gap;
    mpz_set_str(gap,
                "e6a0078a3f269dba845d02ad0536ad5e01315842f0159cc44de6c9e44747c357e333b419a23b180d"
                "5b5ac7549a5f19af01ac5453aea01b16345479af9fde65ef34fc4cd4f74fb8a45bb4c3c15fa82ec8"
                "4469ecc75151e5f48b513c5ac7b7c77a39af9e185ff25e5efef7ffa30b29263972369ffb3b9bce8d"
                "6bbf90a60c12a94d",
                16);
    Mpz next;
    mpz_sub_ui(next, gap, 1);
    mpz_nextprime(next, next);
    mpz_sub(next, next, gap);
    ASSERT_GT(mpz_cmp_ui(next.z, 4062), 0);
    Num n = rsa_num(gap);
    EXPECT_EQ(find_prime_near(n.data()), 0);
    EXPECT_TRUE(equals_mpz(n.data(), gap));
}

TEST(RsaPrimes, RsapowmodAgreesWithGmp) {
    Rng g(8);
    for (int i = 0; i < 300; i++) {
        const uint32_t words = 1 + g.below(32);
        Num m = random_num(g, words);
        m[1] |= 1;
        if (words == 1 && m[1] == 1) m[1] = 3;
        Num x = random_num(g, random_size(g, words));
        Num e = random_num(g, random_size(g, i % 5 == 0 ? 64 : 33));
        Mpz zm(m.data()), zx(x.data()), ze(e.data()), want;
        mpz_powm(want, zx, ze, zm);
        m.resize(72, 0);
        Guarded r(2 * words + 2, junk);
        EXPECT_TRUE(r.holds(rsapowmod(x.data(), e.data(), m.data(), r.p()), want))
            << words << " words";
        EXPECT_TRUE(equals_mpz(m.data(), zm)) << "the modulus must come back unchanged";
    }
}

TEST(RsaPrimes, GcdAndInverseAgreeWithGmp) {
    const struct {
        uint32_t a, b, g;
    } gcds[] = {{12, 18, 6}, {18, 12, 6}, {0, 5, 5}, {5, 0, 5}, {0, 0, 0}, {7, 7, 7}, {1, 9, 1}};
    for (const auto &c : gcds) {
        uint32_t a[3], b[3], g[3];
        lnmconvert(a, c.a);
        lnmconvert(b, c.b);
        EXPECT_TRUE(GCD(a, b, g) == g && lnmcmp(g, lnmconvert(a, c.g)) == 0) << c.a << " " << c.b;
    }
    const struct {
        uint32_t a, m, inv;
    } invs[] = {{3, 7, 5}, {1, 7, 1}, {1, 2, 1}, {65537, 65536 * 6 + 2, 0}, {6, 9, 0}};
    for (const auto &c : invs) {
        uint32_t a[LNMSI_WORDS], m[3];
        lnmconvert(a, c.a);
        lnmconvert(m, c.m);
        Mpz za, zm, want;
        mpz_set_ui(za, c.a);
        mpz_set_ui(zm, c.m);
        if (!mpz_invert(want, za, zm)) mpz_set_ui(want, 0);
        EXPECT_TRUE(equals_mpz(inv_mod_extgcd(a, m), want)) << c.a << " mod " << c.m;
    }
    Rng g(9);
    for (int i = 0; i < 300; i++) {
        Num a = random_num(g, random_size(g, 64)), b = random_num(g, random_size(g, 64));
        if (i % 3 == 0) {  // a common factor
            Num f = random_num(g, 1 + g.below(8));
            Mpz za(a.data()), zb(b.data()), zf(f.data());
            mpz_mul(za, za, zf);
            mpz_mul(zb, zb, zf);
            a = from_mpz(za);
            b = from_mpz(zb);
            if (a[0] > 64 || b[0] > 64) continue;
        }
        Mpz za(a.data()), zb(b.data()), want;
        mpz_gcd(want, za, zb);
        Guarded r(66, junk);
        EXPECT_TRUE(r.holds(GCD(a.data(), b.data(), r.p()), want));
        a.resize(LNMBIG_WORDS);
        EXPECT_TRUE(equals_mpz(GCD(a.data(), b.data(), a.data()), want)) << "g = a";

        // Inverse modulo a random m (odd or even) of up to 128 words.
        Num m = random_num(g, 1 + g.below(128));
        Mpz zm(m.data()), x, inv;
        if (mpz_cmp_ui(zm.z, 2) < 0) continue;
        mpz_set(x, za);
        mpz_mod(x, x, zm);
        if (mpz_sgn(x.z) == 0 || !mpz_invert(inv, x, zm)) continue;
        Guarded ga(num_of(x), m[0] + 1, junk);
        EXPECT_TRUE(ga.holds(inv_mod_extgcd(ga.p(), m.data()), inv)) << m[0] << " words";
    }
}

// Signed subtraction and a - q b against GMP's signed integers, for every
// pair of signs and magnitudes in both orders of size.
TEST(RsaPrimes, SignedNumbersAgreeWithGmp) {
    Rng g(10);
    auto make = [&](Mpz &z, Num &si) {
        Num mag = random_num(g, random_size(g, 60));
        if (g.below(8) == 0) mag = {0};
        const int32_t sign = g.below(2) ? 1 : -1;
        si.assign(LNMSI_WORDS, 0xDEADBEEF);
        std::copy(mag.begin(), mag.end(), si.begin());
        si[LNMSI_SIGN] = uint32_t(sign);
        z.set(mag.data());
        if (sign < 0) mpz_neg(z, z);
    };
    auto value = [](const uint32_t *si, Mpz &z) {
        z.set(si);
        if (int32_t(si[LNMSI_SIGN]) < 0) mpz_neg(z, z);
    };
    for (int i = 0; i < 400; i++) {
        Mpz za, zb, got, want;
        Num a, b, r(LNMSI_WORDS);
        make(za, a);
        make(zb, b);
        if (i % 7 == 0) b = a, mpz_set(zb, za);
        const int32_t sa = int32_t(a[LNMSI_SIGN]);
        ASSERT_EQ(lnmsicopy(r.data(), a.data()), r.data());
        value(r.data(), got);
        EXPECT_EQ(mpz_cmp(got, za), 0);
        lnmsicr(r.data(), a.data());
        EXPECT_EQ(int32_t(r[LNMSI_SIGN]), 1);

        Num q = random_num(g, random_size(g, 60 - b[0]));
        Mpz zq(q.data());
        mpz_submul(want, zq, zb);  // want = -q b
        mpz_add(want, want, za);
        EXPECT_EQ(lnmsisubmul(r.data(), a.data(), q.data(), b.data()), r.data());
        value(r.data(), got);
        EXPECT_EQ(mpz_cmp(got, want), 0) << "a - q b";

        mpz_sub(want, za, zb);
        EXPECT_EQ(lnmsisub(a.data(), b.data()), a.data());
        value(a.data(), got);
        EXPECT_EQ(mpz_cmp(got, want), 0) << "a - b";
        // The sign rule when the result is zero: kept unless |a| < |b|.
        if (mpz_sgn(want.z) == 0) {
            EXPECT_EQ(int32_t(a[LNMSI_SIGN]), sa);
        }
    }
    // a - a in place.
    Num s(LNMSI_WORDS, 0);
    lnmsicr(s.data(), lnmconvert(s.data(), 5));
    lnmsisub(s.data(), s.data());
    EXPECT_EQ(s[0], 0u);
}

TEST(RsaPrimes, BitStrings) {
    const struct {
        uint32_t nbits, words;
    } sizes[] = {{0, 0}, {1, 1}, {31, 1}, {32, 1}, {33, 2}, {4064, 127}};
    for (const auto &c : sizes) {
        Num bs(c.words + 3, 0x77777777);
        lnmbscr(bs.data(), c.nbits, 0xAAAAAAAAu);
        EXPECT_EQ(bs[0], c.words);
        EXPECT_EQ(lnmbslen(bs.data()), 32 * c.words);
        for (uint32_t i = 1; i <= c.words; i++) EXPECT_EQ(bs[i], 0xAAAAAAAAu);
        EXPECT_EQ(bs[c.words + 1], 0x77777777u) << "wrote past the words";
        EXPECT_EQ(lnmbssetbit(bs.data(), 32 * c.words, 1), -1);
        EXPECT_EQ(lnmbsnextval(bs.data(), 32 * c.words - 1, 0), 0xFFFFFFFFu);
        EXPECT_EQ(lnmbsnextval(bs.data(), 32 * c.words - 1, 1), 0xFFFFFFFFu);
    }
    // Random strings against a plain bit vector.
    Rng g(11);
    for (int i = 0; i < 50; i++) {
        const uint32_t nbits = 1 + g.below(300);
        Num bs(nbits / 32 + 2);
        lnmbscr(bs.data(), nbits, g.word());
        std::vector<int> ref(32 * bs[0]);
        for (size_t k = 0; k < ref.size(); k++) ref[k] = (bs[k / 32 + 1] >> (k % 32)) & 1;
        for (int k = 0; k < 40; k++) {
            const uint32_t at = g.below(uint32_t(ref.size()) + 40);
            const int v = int(g.below(3));  // 2 sets as well
            const int ret = lnmbssetbit(bs.data(), at, v);
            if (at < ref.size()) {
                EXPECT_EQ(ret, v);
                ref[at] = v != 0;
            } else {
                EXPECT_EQ(ret, -1);
            }
        }
        for (uint32_t from = 0; from < ref.size(); from++)
            for (int v : {0, 1}) {
                uint32_t want = 0xFFFFFFFFu;
                for (uint32_t k = from + 1; k < ref.size(); k++)
                    if (ref[k] == v) {
                        want = k;
                        break;
                    }
                ASSERT_EQ(lnmbsnextval(bs.data(), from, v), want) << from << " " << v;
            }
    }
}

TEST(RsaPrimes, LnmrmtSmallAndEvenInputs) {
    const struct {
        uint32_t v, rounds;
        int want;
    } cases[] = {{2, 1, 1},  {0, 5, 0},     {4, 5, 0},          {1000, 5, 0}, {3, 1, 1},
                 {3, 40, 1}, {5, 40, 1},    {9, 20, 0},         {561, 20, 0}, {65537, 1, 1},
                 {7, 0, 1},  {2047, 20, 0}, {4294967291u, 8, 1}};
    for (const auto &c : cases) {
        uint32_t n[3];
        lnmconvert(n, c.v);
        EXPECT_EQ(lnmrmt(n, c.rounds), c.want) << c.v;
    }
}

// Concurrent lnmrmt calls share the generator word: the bases they draw
// interleave, the verdicts stay right, and (under ThreadSanitizer) the
// sharing is no data race.
TEST(RsaPrimes, LnmrmtThreadsShareTheGeneratorSafely) {
    gmp_randstate_t st;
    gmp_randinit_default(st);
    gmp_randseed_ui(st, 12);
    std::vector<std::pair<Num, int>> inputs;
    for (int i = 0; i < 16; i++) {
        Mpz z;
        mpz_urandomb(z, st, 256);
        mpz_setbit(z, 255);
        mpz_nextprime(z, z);
        if (i % 2) {
            Mpz t;
            mpz_nextprime(t, z);
            mpz_mul(z, z, t);  // composite, no small factor
        }
        inputs.emplace_back(num_of(z, LNMBIG_WORDS), i % 2 == 0);
    }
    gmp_randclear(st);
    std::vector<int> wrong(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([&, t] {
            for (int rep = 0; rep < 4; rep++)
                for (auto &[n, want] : inputs) {
                    Num copy = n;
                    if (lnmrmt(copy.data(), 4) != want) wrong[t]++;
                }
        });
    for (auto &th : threads) th.join();
    for (int t = 0; t < 4; t++) EXPECT_EQ(wrong[t], 0) << "thread " << t;
}

TEST(RsaPrimes, DummyHookProducesNothing) {
    uint8_t buf[4] = {1, 2, 3, 4};
    EXPECT_EQ(dummy_gen_rnd(buf, sizeof buf), 0);
    EXPECT_EQ(buf[0], 1);
}

}  // namespace
