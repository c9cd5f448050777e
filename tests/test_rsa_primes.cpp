// Probable-prime tests, the random-base pool, the prime search and the number
// theory of the RSA path, against the published lists and GMP.
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

// z through every test that takes its size (RabinMiller: odd, 3 or more), z
// unchanged after each.
void expect_verdict(mpz_srcptr z, int want, uint32_t rounds, const std::string &what) {
    const size_t bits = mpz_sizeinbase(z, 2);
    const bool odd3 = mpz_odd_p(z) && mpz_cmp_ui(z, 3) >= 0 && rounds > 0;
    Num n = num_of(z, LNMBIG_WORDS);
    EXPECT_EQ(bits <= 1024 ? isPrime(n.data()) : want, want) << what;
    EXPECT_EQ(bits <= 1024 && odd3 ? RabinMiller(n.data(), rounds) : want, want) << what;
    EXPECT_EQ(bits <= 4096 ? lnmrmt(n.data(), rounds) : want, want) << what;
    EXPECT_TRUE(equals_mpz(n.data(), z)) << what << ": the tests changed their input";
}

// Small numbers (primes get few rounds, none at times), then every published
// prime and composite: `dec`, `hex`, or `mersenne` exponents p of 2^p - 1.
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
    uint8_t buf[4] = {1, 2, 3, 4};
    EXPECT_TRUE(dummy_gen_rnd(buf, sizeof buf) == 0 && buf[0] == 1) << "the placeholder hook";
}

// Odd numbers drawn towards the hard cases: products of two primes of about
// half the size, k p + small for a sieve prime p, primes, uniform.
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

// A prime passes every round, so the bases drawn count the rounds: the pool
// holds one non-zero byte at its end, and each fill yields one base (2).
TEST(RsaPrimes, IsPrimeRoundCountsFollowTheBitLength) {
    GmpRand st(4);
    const uint32_t bits[] = {1024, 1000, 849, 650, 600, 512, 449, 400, 350,
                             300,  299,  250, 200, 199, 150, 149, 100, 64};
    const int rounds[] = {3, 3, 4, 4, 5, 6, 7, 7, 8, 9, 12, 12, 15, 18, 18, 27, 27, 27};
    for (int i = 0; i < 18; i++) {
        Mpz z;
        random_prime(st, bits[i], z);
        Bytes pool(256, 0);
        pool[255] = 2;
        Hook::serve(pool);
        EXPECT_EQ(isPrime(num_of(z).data()), 1);
        EXPECT_EQ(Hook::calls, rounds[i]) << bits[i] << " bits";
    }
}

// Each base is the next nbytes of the pool, one byte on, reduced below 2^(bits
// of n) and then below n; 0 and 1 are skipped (moving on as well); the pool
// refills when fewer than nbytes remain.
TEST(RsaPrimes, BasesComeFromThePoolInOrderAndItRefillsWhenShort) {
    GmpRand st(5);
    for (uint32_t nbytes : {1u, 2u, 13u, 64u, 128u, 200u, 255u, 256u}) {
        Mpz z, want;
        mpz_urandomb(z, st, 8 * nbytes);
        mpz_setbit(z, 8 * nbytes - 1);
        Num n = num_of(z), b(72);
        const Bytes pool = junk.bytes(256);
        Hook::serve(pool);
        rsa_keygen_rp_ctx ctx;
        std::memset(&ctx, 0x5a, sizeof ctx);
        EXPECT_EQ(rsa_keygen_rp_init(&ctx, n.data()), 42);
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
    // 121 = 11^2 passes a round just for its strong liars (3 and 9, not 2), so
    // the verdict after k rounds shows the bases drawn. 7-bit n: byte b gives
    // b mod 128, less 121 at 121 or more: 0, 1, 121, 122, 128 are skipped, 124
    // gives 3.
    uint32_t n[8], b[8];
    for (uint32_t rounds = 1; rounds <= 5; rounds++) {
        Hook::serve({3, 0, 1, 121, 122, 128, 9, 124, 129, 2, 3});
        EXPECT_EQ(RabinMiller(lnmconvert(n, 121), rounds), rounds <= 3) << rounds << " rounds";
    }
    // Only zero bytes: no base from the pool; the draw still ends, with 2.
    Hook::serve(Bytes(256, 0));
    rsa_keygen_rp_ctx ctx;
    rsa_keygen_rp_init(&ctx, lnmconvert(n, 1000003));
    rsa_keygen_rp_get(&ctx, b);
    EXPECT_TRUE(b[0] == 1 && b[1] == 2 && RabinMiller(n, 3) == 1);
}

// Size and residue mod 65537 of an RSA prime, with and without the primality
// test: a prime = 1 mod 65537, another prime, one a bit short, composites.
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

// The first probable prime at an even offset 0..4062, as GMP finds it; a
// window without one (the last case, found by a GMP search) returns 0 and
// leaves n alone.
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
}

TEST(RsaPrimes, RsapowmodAgreesWithGmp) {
    Rng g(8);
    for (int i = 0; i < 300; i++) {
        const uint32_t words = 1 + g.below(32);
        Num m = random_num(g, words), x = random_num(g, random_size(g, words));
        Num e = random_num(g, random_size(g, i % 5 == 0 ? 64 : 33));
        m[1] |= words == 1 && m[1] == 1 ? 3 : 1;
        Mpz zm(m.data()), want;
        mpz_powm(want, Mpz(x.data()), Mpz(e.data()), zm);
        m.resize(72, 0);
        Guarded r(2 * words + 2, junk);
        EXPECT_TRUE(r.holds(rsapowmod(x.data(), e.data(), m.data(), r.p()), want)) << words;
        EXPECT_TRUE(equals_mpz(m.data(), zm)) << "the modulus must come back unchanged";
    }
}

// gcd(a, b) (also into a) and a^-1 mod b (0 when there is none) for small
// edge pairs, then random pairs up to 64 words (a third with a common factor)
// and moduli up to 128 words, odd or even.
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

// Signed copy, subtraction (also in place) and a - q b against GMP's signed
// integers for every pair of signs and sizes; a zero difference keeps a's sign.
TEST(RsaPrimes, SignedNumbersAgreeWithGmp) {
    Rng g(10);
    auto make = [&](Num &si) {
        const Num mag = g.below(8) == 0 ? Num{0} : random_num(g, random_size(g, 60));
        si.assign(LNMSI_WORDS, 0xDEADBEEF);
        std::copy(mag.begin(), mag.end(), si.begin());
        si[LNMSI_SIGN] = g.below(2) ? 1 : uint32_t(-1);
    };
    auto value = [](const uint32_t *si, Mpz &z) -> Mpz & {
        z.set(si);
        if (int32_t(si[LNMSI_SIGN]) < 0) mpz_neg(z, z);
        return z;
    };
    for (int i = 0; i < 400; i++) {
        Mpz za, zb, got, want;
        Num a, b, r(LNMSI_WORDS);
        make(a), make(b);
        if (i % 7 == 0) b = a;
        value(a.data(), za), value(b.data(), zb);
        EXPECT_EQ(lnmsicopy(r.data(), a.data()), r.data());
        EXPECT_EQ(mpz_cmp(value(r.data(), got), za), 0) << "copy";
        EXPECT_EQ(lnmsicr(r.data(), a.data()), r.data());
        EXPECT_TRUE(mpz_cmpabs(value(r.data(), got), za) == 0 && r[LNMSI_SIGN] == 1) << "+|a|";
        const Num q = random_num(g, random_size(g, 60 - b[0]));
        mpz_submul(want, Mpz(q.data()), zb), mpz_add(want, want, za);
        EXPECT_EQ(lnmsisubmul(r.data(), a.data(), q.data(), b.data()), r.data());
        EXPECT_EQ(mpz_cmp(value(r.data(), got), want), 0) << "a - q b";
        const uint32_t sign = a[LNMSI_SIGN];
        mpz_sub(want, za, i % 11 == 0 ? za : zb);
        EXPECT_EQ(lnmsisub(a.data(), i % 11 == 0 ? a.data() : b.data()), a.data());
        EXPECT_EQ(mpz_cmp(value(a.data(), got), want), 0) << "a - b";
        EXPECT_TRUE(mpz_sgn(want.z) != 0 || a[LNMSI_SIGN] == sign) << "the sign of a zero";
    }
}

// Bit strings of edge and random sizes against a plain bit vector.
TEST(RsaPrimes, BitStrings) {
    Rng g(11);
    for (uint32_t i = 0, edge[] = {0, 1, 31, 32, 33, 4064}; i < 56; i++) {
        const uint32_t nbits = i < 6 ? edge[i] : 1 + g.below(300), words = (nbits + 31) / 32;
        const uint32_t fill = g.word();
        Num bs(words + 3, 0x77777777);
        lnmbscr(bs.data(), nbits, fill);
        EXPECT_TRUE(bs[0] == words && lnmbslen(bs.data()) == 32 * words) << nbits;
        EXPECT_EQ(std::count(bs.begin() + 1, bs.end(), fill), words) << "wrote past the words";
        std::vector<int> ref(32 * words);
        for (size_t k = 0; k < ref.size(); k++) ref[k] = (fill >> (k % 32)) & 1;
        for (int k = 0; k < 40; k++) {
            const uint32_t at = g.below(uint32_t(ref.size()) + 40);
            const int v = int(g.below(3));  // 2 sets as well
            EXPECT_EQ(lnmbssetbit(bs.data(), at, v), at < ref.size() ? v : -1);
            if (at < ref.size()) ref[at] = v != 0;
        }
        for (uint32_t from = 0; from < ref.size(); from++)
            for (int v : {0, 1}) {
                uint32_t want = from + 1;
                while (want < ref.size() && ref[want] != v) ++want;
                ASSERT_EQ(lnmbsnextval(bs.data(), from, v), want < ref.size() ? want : ~0u)
                    << from << " " << v;
            }
    }
}

// Concurrent lnmrmt calls share the generator word: the bases interleave,
// the verdicts stay right and (under ThreadSanitizer) there is no data race.
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
