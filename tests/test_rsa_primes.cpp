// Probable primes, the random-base pool, the prime search and the number
// theory of the RSA path against the published lists and GMP.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <thread>

#include "rsa_test_util.hpp"

using namespace lncext_test;

namespace {

Rng junk(0x7072696d);

bool gmp_prime(mpz_srcptr z) {
    return mpz_probab_prime_p(z, 40) != 0;
}

// z through every test that takes its size, z unchanged after each.
void expect_verdict(mpz_srcptr z, int want, uint32_t rounds, const std::string &what) {
    const size_t bits = mpz_sizeinbase(z, 2);
    const bool odd3 = mpz_odd_p(z) && mpz_cmp_ui(z, 3) >= 0 && rounds > 0;
    Num n = num_of(z, LNMBIG_WORDS);
    EXPECT_EQ(bits <= 1024 ? isPrime(n.data()) : want, want) << what;
    EXPECT_EQ(bits <= 1024 && odd3 ? RabinMiller(n.data(), rounds) : want, want) << what;
    EXPECT_EQ(bits <= 4096 ? lnmrmt(n.data(), rounds) : want, want) << what;
    EXPECT_TRUE(equals_mpz(n.data(), z)) << what << ": the tests changed their input";
}

// Small numbers (primes with few rounds, at times none), then the published
// primes and composites (`dec`, `hex`, `mersenne` exponents p of 2^p - 1).
TEST(RsaPrimes, SmallAndPublishedNumbersGetTheirVerdictFromEveryTest) {
    Hook::seeded(2);
    Mpz z;
    for (uint32_t v : {0u,    1u,     2u,      3u,       4u,       5u,          7u,
                       9u,    25u,    561u,    997u,     1000u,    1009u,       2047u,
                       7919u, 65537u, 994009u, 1000001u, 1000003u, 4294967291u, 4294967295u}) {
        mpz_set_ui(z, v);
        expect_verdict(z, gmp_prime(z), gmp_prime(z) ? v % 3 : 20, std::to_string(v));
    }
    int checked = 0;
    for (const VectorBlock &b : read_vectors("rsa.txt")) {
        const int want = b.get("kind") == "prime";
        if (!want && b.get("kind") != "composite") continue;
        for (const auto &[key, value] : b.fields) {
            std::istringstream in(value);
            for (std::string t; (key == "dec" || key == "hex" || key == "mersenne") && in >> t;) {
                if (key == "mersenne") mpz_ui_pow_ui(z, 2, std::stoul(t)), mpz_sub_ui(z, z, 1);
                if (key != "mersenne") mpz_set_str(z, t.c_str(), key == "dec" ? 10 : 16);
                const uint32_t rounds = want ? (mpz_sizeinbase(z, 2) > 2000 ? 1 : 3) : 20;
                expect_verdict(z, want, rounds, b.get("class") + " " + t.substr(0, 40));
                ++checked;
            }
        }
    }
    EXPECT_GT(checked, 150);
    EXPECT_TRUE(dummy_gen_rnd(nullptr, 4) == 0) << "the placeholder hook writes nothing";
}

// Odd numbers: products of two primes, k p + small for a sieve prime p, primes, uniform.
TEST(RsaPrimes, IsPrimeAndLnmrmtAgreeWithGmp) {
    Hook::seeded(3);
    Rng g(3);
    GmpRand st(3);
    int primes = 0;
    for (int i = 0; i < 240; i++) {
        const uint32_t bits = 64 + g.below(961), kind = g.below(4);
        Mpz z, a;
        if (kind == 0) random_prime(st, bits / 2, a), random_prime(st, bits - bits / 2, z);
        if (kind == 0) mpz_mul(z, z, a);
        if (kind == 1) mpz_urandomb(z, st, bits - 12), mpz_mul_ui(z, z, 1009 + 2 * g.below(1200));
        if (kind == 1) mpz_add_ui(z, z, 1 + 2 * g.below(4));
        if (kind == 2) random_prime(st, bits, z);
        if (kind == 3) mpz_urandomb(z, st, bits), mpz_setbit(z, bits - 1), mpz_setbit(z, 0);
        primes += gmp_prime(z);
        expect_verdict(z, gmp_prime(z), gmp_prime(z) ? 2 : 12, std::to_string(bits) + " bits");
    }
    EXPECT_GT(primes, 40);
}

// A prime passes every round; a pool of one non-zero byte at its end yields
// one base (2) per fill, so the fills count the rounds.
TEST(RsaPrimes, IsPrimeRoundCountsFollowTheBitLength) {
    GmpRand st(4);
    const uint32_t bits[] = {1024, 1000, 849, 650, 600, 512, 449, 400, 350,
                             300,  299,  250, 200, 199, 150, 149, 100, 64};
    const int rounds[] = {3, 3, 4, 4, 5, 6, 7, 7, 8, 9, 12, 12, 15, 18, 18, 27, 27, 27};
    for (int i = 0; i < 18; i++) {
        Mpz z;
        random_prime(st, bits[i], z);
        Hook::serve(concat({Bytes(255, 0), {2}}));
        EXPECT_EQ(isPrime(num_of(z).data()), 1);
        EXPECT_EQ(Hook::calls, rounds[i]) << bits[i] << " bits";
    }
}

// Each base is the next nbytes of the pool, one byte on, reduced below 2^(bits
// of n) and then n; 0 and 1 are skipped; it refills when fewer bytes remain.
TEST(RsaPrimes, BasesComeFromThePoolInOrderAndItRefillsWhenShort) {
    GmpRand st(5);
    for (uint32_t nbytes : {1u, 2u, 13u, 64u, 128u, 200u, 255u, 256u}) {
        Mpz z, want;
        mpz_urandomb(z, st, 8 * nbytes), mpz_setbit(z, 8 * nbytes - 1);
        Num n = num_of(z), b(72);
        const Bytes pool = junk.bytes(256);
        Hook::serve(pool);
        rsa_keygen_rp_ctx ctx;
        EXPECT_EQ((std::memset(&ctx, 0x5a, sizeof ctx), rsa_keygen_rp_init(&ctx, n.data())), 42);
        EXPECT_TRUE(ctx.pos == 0 && ctx.n == n.data() && Hook::calls == 1);
        for (int draw = 0, pos = 0, fills = 1; fills < 3; draw++) {
            EXPECT_EQ(rsa_keygen_rp_get(&ctx, b.data()), b.data());
            do {
                if (pos + nbytes > 256) pos = 0, ++fills;
                set_bytes(want, Bytes(pool.begin() + pos, pool.begin() + pos + nbytes)), ++pos;
                mpz_tdiv_r_2exp(want, want, mpz_sizeinbase(z, 2));
                if (mpz_cmp(want, z) >= 0) mpz_sub(want, want, z);
            } while (mpz_cmp_ui(want.z, 1) <= 0);
            ASSERT_TRUE(equals_mpz(b.data(), want)) << nbytes << " bytes, draw " << draw;
            ASSERT_TRUE(ctx.pos == uint32_t(pos) && Hook::calls == fills) << nbytes << " " << draw;
        }
    }
    // 121 passes a round just for its strong liars (3, 9; not 2): the verdicts
    // show the bases. Bytes 0, 1, 121, 122, 128 give no base, 124 gives 3.
    uint32_t n[8], b[8];
    for (uint32_t rounds = 1; rounds <= 5; rounds++) {
        Hook::serve({3, 0, 1, 121, 122, 128, 9, 124, 129, 2, 3});
        EXPECT_EQ(RabinMiller(lnmconvert(n, 121), rounds), rounds <= 3) << rounds << " rounds";
    }
    rsa_keygen_rp_ctx ctx;  // only zero bytes: the draw still ends, with 2
    Hook::serve(Bytes(256, 0)), rsa_keygen_rp_init(&ctx, lnmconvert(n, 1000003));
    rsa_keygen_rp_get(&ctx, b);
    EXPECT_TRUE(b[0] == 1 && b[1] == 2 && RabinMiller(n, 3) == 1);
}

// Size and residue mod 65537 of RSA primes, with and without the primality test.
TEST(RsaPrimes, RsaPrimeChecks) {
    Hook::seeded(6);
    for (uint32_t bits : {0u, 256u, 511u, 512u, 513u, 1024u, 1536u, 2048u, 2049u, 2560u, ~0u})
        EXPECT_EQ(rsa_is_prermitted_modsize(bits), bits % 512 == 0 && bits && bits <= 2048);
    GmpRand st(6);
    for (uint32_t h : {256u, 512u, 768u, 1024u}) {
        Mpz p1, p2, shorter, comp, sq, t;
        mpz_urandomb(t, st, h - 17), mpz_setbit(t, h - 18);
        do mpz_add_ui(t, t, 1), mpz_mul_ui(p1, t, 2 * 65537), mpz_add_ui(p1, p1, 1);
        while (!gmp_prime(p1) || mpz_sizeinbase(p1, 2) != h);
        random_prime(st, h, p2), random_prime(st, h - 1, shorter);
        for (mpz_add_ui(comp, p2, 2); gmp_prime(comp);) mpz_add_ui(comp, comp, 2);
        mpz_sqrt(t, p2), mpz_nextprime(t, t), mpz_mul(sq, t, t);  // no small factor
        for (mpz_srcptr z : {p1.z, p2.z, shorter.z, comp.z, sq.z}) {
            const bool ok = mpz_sizeinbase(z, 2) == h && mpz_fdiv_ui(z, 65537) != 1;
            Num n = num_of(z);
            EXPECT_EQ(rsa_prime_ok(n.data(), 2 * h), ok) << h;
            EXPECT_EQ(isRSAPrime(n.data(), 2 * h), ok && gmp_prime(z)) << h;
            EXPECT_TRUE(equals_mpz(n.data(), z));
        }
    }
}

// The first prime at an offset 0..4062 as GMP finds it; a window without one
// (the last case, found by a GMP search) returns 0 with n unchanged.
TEST(RsaPrimes, FindPrimeNearMatchesGmpNextPrime) {
    Hook::seeded(7);
    Rng g(7);
    GmpRand st(7);
    for (int i = 0; i <= 40; i++) {
        const uint32_t bits = 13 + g.below(1012);
        Mpz z, gap;
        mpz_urandomb(z, st, bits), mpz_setbit(z, bits - 1);
        if (i % 4 == 0) mpz_nextprime(z, z);  // a prime is its own answer
        if (i == 40)
            mpz_set_str(z,
                        "e6a0078a3f269dba845d02ad0536ad5e01315842f0159cc44de6c9e44747c357e333b419a2"
                        "3b180d5b5ac7549a5f19af01ac5453aea01b16345479af9fde65ef34fc4cd4f74fb8a45bb4"
                        "c3c15fa82ec84469ecc75151e5f48b513c5ac7b7c77a39af9e185ff25e5efef7ffa30b2926"
                        "3972369ffb3b9bce8d6bbf90a60c12a94d",
                        16);
        mpz_setbit(z, 0), mpz_sub_ui(gap, z, 1), mpz_nextprime(gap, gap), mpz_sub(gap, gap, z);
        const bool found = mpz_cmp_ui(gap.z, 4062) <= 0;
        ASSERT_TRUE(found || i == 40) << "only the last case has no prime in its window";
        Num n = num_of(z);
        EXPECT_EQ(find_prime_near(n.data()), int(found)) << bits;
        mpz_add(z, z, found ? gap.z : Mpz().z);
        EXPECT_TRUE(equals_mpz(n.data(), z)) << bits << " bits to " << z.hex();
    }
    // Its sieve's bit strings: capacity in whole words, -1 past it, none found.
    for (uint32_t nbits : {0u, 1u, 32u, 33u, 4064u}) {
        Num bs(nbits / 32 + 4, 0x77777777);
        const uint32_t cap = 32 * bs[(lnmbscr(bs.data(), nbits, 0x5555AAAAu), 0)];
        EXPECT_TRUE(cap == (nbits + 31) / 32 * 32 && lnmbslen(bs.data()) == cap) << nbits;
        EXPECT_EQ(std::count(bs.begin() + 1, bs.end(), 0x5555AAAAu), cap / 32) << nbits;
        EXPECT_TRUE(lnmbssetbit(bs.data(), cap, 1) == -1 &&
                    (!cap || lnmbssetbit(bs.data(), 0, 2) == 2));
        EXPECT_TRUE(cap == 0 || (lnmbsnextval(bs.data(), 0, 1) == 1 && bs[1] == 0x5555AAABu));
        EXPECT_TRUE(lnmbsnextval(bs.data(), cap - 1, 0) == ~0u &&
                    lnmbsnextval(bs.data(), cap - 1, 1) == ~0u);
        EXPECT_TRUE(cap < 64 || lnmbsnextval(bs.data(), 1, 0) == 2) << nbits;
    }
}

// gcd(a, b) (also into a) and a^-1 mod b (0 for none): edge pairs, random
// ones of 64 words (a third with a common factor), moduli up to 128 words.
TEST(RsaPrimes, GcdAndInverseAgreeWithGmp) {
    Rng g(9);
    const uint32_t small[][2] = {{12, 18}, {18, 12}, {0, 5}, {5, 0}, {0, 0},         {7, 7},
                                 {1, 9},   {3, 7},   {1, 2}, {6, 9}, {65537, 393218}};
    for (int i = -11; i < 300; i++) {
        Num a = i < 0 ? Num{1, small[i + 11][0]} : random_num(g, random_size(g, 64));
        Num b = i < 0 ? Num{1, small[i + 11][1]} : random_num(g, random_size(g, 64));
        Mpz za(a.data()), zb(b.data()), zf(random_num(g, 1 + g.below(8)).data()), want, x, inv;
        if (i >= 0 && i % 3 == 0) mpz_mul(za, za, zf), mpz_mul(zb, zb, zf);  // common factor
        if (mpz_sizeinbase(za, 2) > 2048 || mpz_sizeinbase(zb, 2) > 2048) continue;
        a = num_of(za, LNMBIG_WORDS), b = from_mpz(zb);
        mpz_gcd(want, za, zb);
        Guarded r(66, junk);
        EXPECT_TRUE(r.holds(GCD(a.data(), b.data(), r.p()), want));
        EXPECT_TRUE(equals_mpz(GCD(a.data(), b.data(), a.data()), want)) << "g = a";
        Num m = i < 0 ? b : random_num(g, 1 + g.below(128));
        Mpz zm(m.data());
        if (mpz_cmp_ui(zm.z, 2) < 0 || (mpz_mod(x, za, zm), mpz_sgn(x.z) == 0)) continue;
        if (!mpz_invert(inv, x, zm)) mpz_set_ui(inv, 0);
        Guarded ga(from_mpz(x), m[0] + 1, junk);
        EXPECT_TRUE(ga.holds(inv_mod_extgcd(ga.p(), m.data()), inv)) << m[0] << " words";
    }
}

// Concurrent lnmrmt calls share the generator word: verdicts stay right and
// (under ThreadSanitizer) there is no data race.
TEST(RsaPrimes, LnmrmtThreadsShareTheGeneratorSafely) {
    GmpRand st(12);
    std::vector<std::pair<Num, int>> inputs(16);
    for (int i = 0; i < 16; i++) {
        Mpz z, t;
        random_prime(st, 256, z);
        if (i % 2) mpz_nextprime(t, z), mpz_mul(z, z, t);  // no small factor
        inputs[i] = {num_of(z, LNMBIG_WORDS), i % 2 == 0};
    }
    std::vector<int> wrong(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([&, t] {
            for (int rep = 0; rep < 64; rep++) {
                auto [n, want] = inputs[(rep + t) % 16];
                wrong[t] += lnmrmt(n.data(), 4) != want;
            }
        });
    for (auto &th : threads) th.join();
    EXPECT_EQ(wrong, std::vector<int>(4, 0)) << "wrong verdicts per thread";
}

}  // namespace
