// Primes and RSA against the published lists, keys and raw pairs, GMP and
// OpenSSL: probable-prime tests, the base pool, the prime search, inverses,
// key generation beside a GMP model, key records, the raw operations, and
// every result code with the outputs left alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <sstream>
#include <thread>

#include "rsa_test_util.hpp"

#ifdef LNCEXT_HAVE_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#endif

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

// ---- Keys, records and operations ----

bool untouched(const Bytes &b, size_t from = 0) {
    return std::all_of(b.begin() + from, b.end(), [](uint8_t x) { return x == 0xA5; });
}

// One operation (rsa_encrypt with the public blob, the others with the
// private one) into a canary-filled buffer, cut to the k bytes it may write.
using Op = uint32_t (*)(uint8_t *, const uint8_t *, int32_t, const uint8_t *);
uint32_t run(Op f, Bytes &out, const Bytes &in, const Key &key) {
    out.assign(300, 0xA5);
    const uint32_t r = f(out.data(), in.data(), int32_t(in.size()),
                         (f == rsa_encrypt ? key.pub : key.priv).data());
    const size_t k = f == rsa_encrypt ? key.kpub : key.k;
    EXPECT_TRUE(untouched(out, r == RSA_OK ? k : 0)) << "wrote past its k bytes or on failure";
    if (r == RSA_OK) out.resize(k);
    return r;
}

uint32_t verify(const Bytes &sig, const Bytes &msg, const Key &key) {
    return rsa_verify(sig.data(), msg.data(), int32_t(msg.size()), key.pub.data());
}

// Every operation on key and x (up to k bytes) against GMP: encrypt, sign,
// decrypt and sign back, verify (also m + t n as a longer string, a changed
// message or signature, the empty message 0), and in place.
void check_operations(const Key &key, const Bytes &x, Rng &g, const std::string &what) {
    Mpz zx, xr, c, s, t;
    set_bytes(zx, x), mpz_mod(xr, zx, key.n);
    mpz_powm(c, zx, key.e, key.n), mpz_powm(s, zx, key.d, key.n);
    Bytes out, sig = bytes_of(zx, key.k), cb = bytes_of(c, key.kpub);
    EXPECT_TRUE(run(rsa_encrypt, out, x, key) == RSA_OK && out == cb) << what;
    EXPECT_TRUE(run(rsa_sign, out, x, key) == RSA_OK && out == bytes_of(s, key.k)) << what;
    for (Op f : {rsa_sign, rsa_decrypt})
        EXPECT_TRUE(run(f, out, cb, key) == RSA_OK && out == bytes_of(xr, key.k)) << what;
    GmpRand st(g.word());
    for (int i = 0; i < 8; i++) {  // x^e = (x mod n)^e: a signature of n or more verifies
        const uint32_t extra = i == 0 ? 0 : g.below(4) * g.below(220);
        mpz_urandomb(t, st, 8 * extra), mpz_mul(t, t, key.n), mpz_add(t, t, c);
        Bytes msg = bytes_of(t, std::max<size_t>(1, (mpz_sizeinbase(t, 2) + 7) / 8 + extra % 3));
        EXPECT_EQ(verify(sig, msg, key), RSA_OK) << what << ", " << extra << " bytes more";
        msg.back() ^= 1;
        EXPECT_EQ(verify(sig, msg, key), RSA_ERR_SIG) << what << ", changed message";
    }
    EXPECT_EQ(rsa_verify(sig.data(), cb.data(), 0, key.pub.data()),
              mpz_sgn(c.z) ? RSA_ERR_SIG : RSA_OK);
    sig[g.below(key.k)] ^= uint8_t(1 + g.below(255));
    EXPECT_EQ(verify(sig, cb, key), RSA_ERR_SIG) << what << ", changed signature";
    // In place: the input is read in full before the output is written.
    Bytes buf = bytes_of(zx, key.k);
    EXPECT_EQ(rsa_encrypt(buf.data(), buf.data(), int32_t(key.k), key.pub.data()), RSA_OK);
    EXPECT_EQ(buf, cb) << what << " in place";
    EXPECT_EQ(rsa_sign(buf.data(), buf.data(), int32_t(key.k), key.priv.data()), RSA_OK);
    EXPECT_EQ(buf, bytes_of(xr, key.k)) << what << " in place";
}

// GMP model of one rsa_keygen step: the bytes as an odd number of bits / 2
// bits, the next prime within the sieve window if an RSA prime; p the larger.
uint32_t model_step(uint32_t bits, Mpz &p, Mpz &q, const Bytes &rnd) {
    if (rnd.size() < bits / 16) return RSA_ERR_RND_SHORT;
    Mpz x, y;
    set_bytes(x, Bytes(rnd.begin(), rnd.begin() + bits / 16)), mpz_setbit(x, 0);
    if (mpz_sizeinbase(x, 2) < bits / 2) mpz_setbit(x, bits / 2 - 1);
    mpz_sub_ui(y, x, 1), mpz_nextprime(y, y), mpz_sub(x, y, x);
    if (mpz_cmp_ui(x.z, 4062) > 0 || mpz_sizeinbase(y, 2) != bits / 2 ||
        mpz_fdiv_ui(y, 65537) == 1 || mpz_cmp(y, p) == 0)
        return RSA_NEED_MORE;
    if (mpz_sgn(p.z) == 0) return mpz_set(p, y), RSA_NEED_MORE;
    mpz_set(q, y);
    if (mpz_cmp(p, q) < 0) mpz_swap(p, q);
    return RSA_OK;
}

// Each size from all-zero bytes (the lowest candidate), then random ones,
// now and then short, the bytes of the first prime once more: call by call
// beside the model. The key: its CRT values, exact blobs, the operations.
TEST(RsaKeys, KeygenFollowsTheModelCallByCall) {
    Hook::seeded(20);
    Rng g(20);
    for (uint32_t bits : {512u, 1024u, 1536u, 2048u}) {
        rsa_keygen_ctx ctx;
        ASSERT_EQ(rsa_keygen_init(&ctx, bits), RSA_OK);
        Key key;
        uint32_t r = RSA_NEED_MORE;
        Bytes rnd(bits / 16, 0);
        for (int calls = 0; r != RSA_OK && calls < 100; calls++) {
            if (calls % 5 == 2) rnd.resize(bits / 16 - 1);
            const rsa_keygen_ctx before = ctx;
            r = rsa_keygen(&ctx, rnd.data(), uint32_t(rnd.size()));
            ASSERT_EQ(r, model_step(bits, key.p, key.q, rnd)) << bits << " bits, call " << calls;
            EXPECT_TRUE(equals_mpz(ctx.p, key.p) && equals_mpz(ctx.q, key.q)) << calls;
            EXPECT_TRUE(r != RSA_ERR_RND_SHORT || std::memcmp(&before, &ctx, sizeof ctx) == 0);
            if (before.p[0] != 0 || ctx.p[0] == 0) rnd = g.bytes(bits / 16 + g.below(3));
        }
        ASSERT_EQ(r, RSA_OK) << bits;
        mpz_set_ui(key.e, 65537), key.derive();
        // dP, dQ, qInv: the unique residues of their identities; so does rsa_gen_crt.
        EXPECT_TRUE(equals_mpz(ctx.dP, key.dp) && equals_mpz(ctx.dQ, key.dq));
        EXPECT_TRUE(equals_mpz(ctx.qInv, key.qinv) && ctx.bits == bits);
        rsa_keygen_ctx again = ctx;
        for (uint32_t *x : {again.dP, again.dQ, again.qInv}) std::fill_n(x, RSA_PRIME_WORDS, 0);
        EXPECT_TRUE(rsa_gen_crt(&again) == RSA_OK && !std::memcmp(&again, &ctx, sizeof ctx));
        // Blobs: exact content; one byte short leaves the buffer alone.
        using Get = uint32_t (*)(const rsa_keygen_ctx *, uint8_t *, uint32_t);
        for (auto [get, room, want] :
             {std::tuple{Get(rsa_get_pubkey), RSA_PUBKEY_BYTES(bits), &key.pub},
              {Get(rsa_get_privkey), RSA_PRIVKEY_BYTES(bits), &key.priv}}) {
            Bytes buf(room, 0xA5);
            EXPECT_TRUE(get(&ctx, buf.data(), room - 1) == RSA_ERR_BUF_SHORT && untouched(buf));
            EXPECT_EQ(get(&ctx, buf.data(), room), RSA_OK);
            EXPECT_TRUE(Bytes(buf.begin(), buf.begin() + want->size()) == *want &&
                        untouched(buf, want->size()));
        }
        EXPECT_EQ(to_hex(Bytes(key.pub.end() - 5, key.pub.end())), "0003010001");
        check_operations(key, g.bytes(key.k - 1), g, "generated key");
    }
}

// Every result code of init, keygen, gen_crt and the exports, from a good
// context (512 bits, a first prime, with NO_Q no second) changed one way per
// row; the context and the buffer stay as they were.
TEST(RsaKeys, KeygenAndExportResultCodesLeaveTheOutputsAlone) {
    rsa_keygen_ctx ctx, good, before;
    std::memset(&ctx, 0x5A, sizeof ctx), before = ctx;
    for (uint32_t bits : {0u, 768u, 4096u, 1023u, 2049u, 0xFFFFFFFFu})
        EXPECT_EQ(rsa_keygen_init(&ctx, bits), RSA_ERR_MODSIZE) << bits;
    EXPECT_TRUE(rsa_keygen_init(nullptr, 1024) == RSA_ERR_ARG &&
                !memcmp(&ctx, &before, sizeof ctx));
    ASSERT_EQ(rsa_keygen_init(&good, 512), RSA_OK);
    EXPECT_TRUE(std::all_of(good.p, good.p + 5 * RSA_PRIME_WORDS, [](uint32_t w) { return !w; }));
    EXPECT_EQ(good.bits, 512u);
    lnmconvert(good.p, 0xFFFFFFFBu), lnmconvert(good.q, 0xFFFFFFF1u);
    Bytes rnd(64, 0x33), buf(700, 0xA5);
    // A change, or a context word set to 33 (a number of 33 digits).
    enum { NULL_CTX = -4, NULL_DATA, NO_Q, NONE, BIG_P = 0, BIG_Q = 33, BIG_DP = 66 };
    enum { KEYGEN, GEN_CRT, EXPORTS, PRIVKEY };  // EXPORTS: pubkey and privkey
    const struct {
        int call, change;
        uint32_t bits, len, want;
    } rows[] = {
        {KEYGEN, NULL_CTX, 512, 64, RSA_ERR_ARG},    {KEYGEN, NULL_DATA, 512, 64, RSA_ERR_ARG},
        {KEYGEN, NO_Q, 512, 31, RSA_ERR_RND_SHORT},  {KEYGEN, NO_Q, 512, 0, RSA_ERR_RND_SHORT},
        {KEYGEN, NO_Q, 1024, 63, RSA_ERR_RND_SHORT}, {KEYGEN, NO_Q, 768, 64, RSA_ERR_MODSIZE},
        {KEYGEN, NO_Q, 0, 64, RSA_ERR_MODSIZE},      {KEYGEN, BIG_P, 512, 64, RSA_ERR_ARG},
        {GEN_CRT, NULL_CTX, 512, 0, RSA_ERR_ARG},    {GEN_CRT, NO_Q, 512, 0, RSA_ERR_ARG},
        {GEN_CRT, BIG_Q, 512, 0, RSA_ERR_ARG},       {EXPORTS, NULL_CTX, 512, 700, RSA_ERR_ARG},
        {EXPORTS, NULL_DATA, 512, 700, RSA_ERR_ARG}, {EXPORTS, NO_Q, 512, 700, RSA_ERR_ARG},
        {EXPORTS, BIG_P, 512, 700, RSA_ERR_ARG},     {EXPORTS, NONE, 768, 700, RSA_ERR_MODSIZE},
        {EXPORTS, NONE, 512, 0, RSA_ERR_BUF_SHORT},  {PRIVKEY, BIG_DP, 512, 700, RSA_ERR_ARG}};
    for (const auto &c : rows)
        for (int call = c.call; call <= (c.call == EXPORTS ? PRIVKEY : c.call); call++) {
            ctx = good, ctx.bits = c.bits;
            if (c.change == NO_Q) ctx.q[0] = 0;
            if (c.change >= 0) reinterpret_cast<uint32_t *>(&ctx)[c.change] = 33;
            before = ctx;
            rsa_keygen_ctx *x = c.change == NULL_CTX ? nullptr : &ctx;
            uint8_t *data = c.change == NULL_DATA ? nullptr : buf.data();
            const uint32_t r = call == KEYGEN    ? rsa_keygen(x, data ? rnd.data() : nullptr, c.len)
                               : call == GEN_CRT ? rsa_gen_crt(x)
                               : call == EXPORTS ? rsa_get_pubkey(x, data, c.len)
                                                 : rsa_get_privkey(x, data, c.len);
            EXPECT_EQ(r, c.want) << "call " << call << ", change " << c.change << ", " << c.bits;
            EXPECT_TRUE(std::memcmp(&ctx, &before, sizeof ctx) == 0 && untouched(buf)) << call;
        }
}

// Records of every length 0..258 against the format; above 256 only the two
// length bytes are written and reading refuses with x untouched.
TEST(RsaKeys, KeyRecordsRoundTrip) {
    Rng g(23);
    for (uint32_t len = 0; len <= 258; len++) {
        Bytes v = g.bytes(len), rec(len + 8, 0xA5);
        if (len != 0) v[0] |= uint8_t(1 + g.below(255));  // minimal: no leading zero
        Mpz z;
        const int n =
            (set_bytes(z, v), save_rsa_key_prm)(rec.data(), num_of(z, LNMBIG_WORDS).data());
        EXPECT_TRUE(rec[0] * 256 + rec[1] == int(len) && n == (len > 256 ? -1 : int(len) + 2));
        EXPECT_TRUE(untouched(rec, len > 256 ? 2 : len + 2));
        EXPECT_TRUE(len > 256 || Bytes(rec.begin(), rec.begin() + n) == record_of(z));
        Guarded y(66, g);
        const std::vector<uint32_t> junk_words(y.v);
        EXPECT_EQ(load_rsa_key_prm(y.p(), rec.data()), n);
        EXPECT_TRUE(len > 256 ? y.v == junk_words : y.holds(y.p(), z)) << len;
    }
    // Zero is 00 00; leading zero bytes still read.
    uint8_t rec[6] = {0xA5, 0xA5, 0xA5}, padded[] = {0, 4, 0, 0, 1, 2};
    uint32_t x[4];
    EXPECT_TRUE(save_rsa_key_prm(rec, LNMBIG_ZERO) == 2 &&
                (rec[0] | rec[1] | (rec[2] ^ 0xA5)) == 0);
    EXPECT_TRUE(load_rsa_key_prm(x, padded) == 6 && x[0] == 1 && x[1] == 0x102);
}

// The published keys, raw pairs (sizes not permitted refused) and CRT example.
TEST(RsaKeys, PublishedRawVectors) {
    const char *names[] = {"n", "e", "d", "p", "q", "dp", "dq", "qinv"};
    std::map<std::string, Key> keys;
    int raw = 0, crt = 0, refused = 0;
    for (const VectorBlock &b : read_vectors("rsa.txt")) {
        const std::string kind = b.get("kind"), name = b.has("name") ? b.get("name") : "";
        if (kind != "key" && kind != "raw" && kind != "crt") continue;
        Key &key = keys[b.has("key") ? b.get("key") : name];
        for (int i = 0; i < 8; i++)
            if (!b.has("key") && b.has(names[i])) set_bytes(key.part(i), b.bytes(names[i]));
        if (!b.has("key")) b.has("dp") ? key.build() : key.derive();
        if (kind == "crt") {
            Bytes s;
            EXPECT_TRUE(run(rsa_sign, s, b.bytes("c"), key) == RSA_OK && s == b.bytes("m"));
            ++crt;
        }
        if (kind != "raw") continue;
        const Bytes x = b.bytes("x"), y = b.bytes("y");
        const std::string what = b.has("key") ? b.get("key") : name;
        const bool ok = rsa_is_prermitted_modsize(8 * key.kpub);
        const size_t pq_bits = mpz_sizeinbase(key.p, 2) + mpz_sizeinbase(key.q, 2);
        ASSERT_EQ(ok, rsa_is_prermitted_modsize(uint32_t(pq_bits))) << what;
        const uint32_t want = ok ? RSA_OK : RSA_ERR_MODSIZE;
        Bytes out;
        refused += !ok, raw += ok;
        EXPECT_TRUE(run(rsa_encrypt, out, x, key) == want && (!ok || out == y)) << what;
        EXPECT_EQ(verify(x, y, key), want) << what;
        EXPECT_TRUE(run(rsa_sign, out, y, key) == want && (!ok || out == x)) << what;
        EXPECT_TRUE(run(rsa_decrypt, out, y, key) == want && (!ok || out == x)) << what;
    }
    EXPECT_TRUE(crt == 1 && raw >= 20 && refused >= 4) << crt << " " << raw << " " << refused;
}

// Random keys of every size, balanced with either prime larger, very
// unbalanced (a 200-bit factor; a 512-bit p under a 1024-bit q, where adding
// p until m1 >= m2 would take about 2^512 steps), exponents 65537, 3 and a
// large one; messages 0, 1, n - 1, n, above n, random, and shorter than k.
TEST(RsaKeys, OperationsAgreeWithGmp) {
    GmpRand st(24);
    Rng g(24);
    const struct {
        uint32_t pbits, qbits;
        unsigned long e;
    } shapes[] = {{256, 256, 65537}, {512, 512, 65537},      {768, 768, 65537}, {1024, 1024, 65537},
                  {256, 256, 3},     {512, 512, 0x7fffffff}, {200, 824, 65537}, {512, 1024, 65537},
                  {1024, 1024, 3},   {8, 504, 65537}};
    for (const auto &s : shapes) {
        Key key;
        random_key(st, key, s.pbits, s.qbits, s.e);
        for (int swap = 0; swap < 2; swap++) {
            const std::string what = std::to_string(s.pbits) + "+" + std::to_string(s.qbits) +
                                     (swap ? " swapped" : "") + " e=" + std::to_string(s.e);
            for (int i = 0; i < 10; i++) {
                Mpz t;
                if (i == 1 || i == 2) mpz_set_si(t, i == 1 ? 1 : -1);
                if (i == 2 || i == 3) mpz_add(t, t, key.n);
                const Bytes x = i == 4   ? Bytes(key.k, 0xFF)
                                : i == 9 ? g.bytes(1 + g.below(key.k - 1))
                                : i >= 5 ? g.bytes(key.k)
                                         : bytes_of(t, key.k);
                check_operations(key, x, g, what + " input " + std::to_string(i));
            }
            mpz_swap(key.p, key.q);  // the same key with the primes exchanged
            key.derive();
        }
    }
}

// Every result code of the four operations, one row per change of a good
// call: the key blob (a record empty, too long, a modulus of a size not
// permitted or even), the input length, a null argument. Rows of a public
// key run rsa_encrypt and rsa_verify, of a private key rsa_sign and
// rsa_decrypt; the output is left alone on every failure.
TEST(RsaKeys, OperationResultCodesLeaveTheOutputAlone) {
    GmpRand st(26);
    Key key;
    random_key(st, key, 256, 256, 65537);
    const int32_t k = int32_t(key.k);
    Bytes in = Rng(26).bytes(300), l257 = {1, 1}, l129 = {0, 129};
    l257.resize(259, 0x11), l129.resize(131, 0x55);
    // The record of z shifted left by s bits (right for s < 0) and made odd,
    // or (even) of z - 1.
    auto rec = [](mpz_srcptr z, int s, bool even = false) {
        Mpz t;
        s < 0 ? mpz_tdiv_q_2exp(t, z, -s) : mpz_mul_2exp(t, z, s);
        even ? mpz_sub_ui(t, t, 1) : mpz_setbit(t, 0);
        return record_of(t);
    };
    Mpz one;
    mpz_set_ui(one, 1);
    const Bytes n = record_of(key.n), e = record_of(key.e), p = record_of(key.p);
    const Bytes q = record_of(key.q), dp = record_of(key.dp), dq = record_of(key.dq);
    const Bytes qi = record_of(key.qinv), crt = concat({dp, dq, qi});
    const struct {
        bool priv;
        Bytes blob;
        int32_t len;
        uint32_t want, want_verify;
        const char *what;
    } rows[] = {
        {false, concat({n, e}), k, RSA_OK, RSA_ERR_SIG, "good public call"},
        {false, concat({{0, 0}, e}), k, RSA_ERR_ARG, RSA_ERR_ARG, "n with L = 0"},
        {false, concat({l257, e}), k, RSA_ERR_ARG, RSA_ERR_ARG, "n with L = 257"},
        {false, concat({n, {0, 0}}), k, RSA_ERR_ARG, RSA_ERR_ARG, "e with L = 0"},
        {false, concat({n, l257}), k, RSA_ERR_ARG, RSA_ERR_ARG, "e with L = 257"},
        {false, concat({rec(key.n, -8), e}), 1, RSA_ERR_MODSIZE, RSA_ERR_MODSIZE, "504 bits"},
        {false, concat({rec(one, 2039), e}), 1, RSA_ERR_MODSIZE, RSA_ERR_MODSIZE, "2040"},
        {false, concat({rec(key.n, 1), e}), 1, RSA_ERR_MODSIZE, RSA_ERR_MODSIZE, "513 bits"},
        {false, concat({rec(one, 2046), e}), 1, RSA_OK, RSA_ERR_SIG, "2047 bits: 2048"},
        {false, concat({rec(key.n, 0, true), e}), 1, RSA_ERR_ARG, RSA_ERR_ARG, "even n"},
        {false, concat({n, e}), 0, RSA_ERR_INLEN, RSA_ERR_SIG, "in_len 0"},
        {false, concat({n, e}), k + 1, RSA_ERR_INLEN, RSA_ERR_SIG, "in_len k + 1"},
        {false, concat({n, e}), INT32_MIN, RSA_ERR_INLEN, RSA_ERR_INLEN, "in_len INT32_MIN"},
        {true, concat({p, q, crt}), k, RSA_OK, 0, "good private call"},
        {true, concat({p, q, crt}), 0, RSA_OK, 0, "in_len 0: k zero bytes"},
        {true, concat({{0, 0}, q, crt}), 1, RSA_ERR_ARG, 0, "p with L = 0"},
        {true, concat({p, l129, crt}), 1, RSA_ERR_ARG, 0, "q with L = 129"},
        {true, concat({p, q, {0, 0}, dq, qi}), 1, RSA_ERR_ARG, 0, "dP with L = 0"},
        {true, concat({p, q, dp, l129, qi}), 1, RSA_ERR_ARG, 0, "dQ with L = 129"},
        {true, concat({p, q, dp, dq, {0, 0}}), 1, RSA_ERR_ARG, 0, "qInv with L = 0"},
        {true, concat({rec(key.p, -7), q, crt}), 1, RSA_ERR_MODSIZE, 0, "505 bits"},
        {true, concat({rec(key.p, 2), q, crt}), 1, RSA_ERR_MODSIZE, 0, "514 bits"},
        {true, concat({rec(key.p, 0, true), q, crt}), 1, RSA_ERR_ARG, 0, "even p"},
        {true, concat({p, rec(key.p, 0, true), crt}), 1, RSA_ERR_ARG, 0, "even q"},
        {true, concat({rec(one, 0), rec(key.n, -1), crt}), 1, RSA_ERR_ARG, 0, "unit p"},
        {true, concat({p, q, crt}), k + 1, RSA_ERR_ARG, 0, "in_len k + 1"},
        {true, concat({p, q, crt}), INT32_MIN, RSA_ERR_INLEN, 0, "in_len INT32_MIN"},
    };
    for (const auto &c : rows)  // the good calls again with each argument null in turn
        for (int null_arg = -1; null_arg < (c.want == RSA_OK && c.len == k ? 3 : 0); null_arg++) {
            Bytes out(300, 0xA5), blob = concat({c.blob, Bytes(300, 0)});
            uint8_t *o = null_arg == 0 ? nullptr : out.data();
            const uint8_t *i = null_arg == 1 ? nullptr : in.data(), *kb = blob.data();
            const uint32_t want = null_arg >= 0 ? RSA_ERR_ARG : c.want;
            const size_t written = want != RSA_OK ? 0 : c.priv ? k : blob[0] * 256 + blob[1];
            const std::string what = c.what + std::string(null_arg >= 0 ? ", a null" : "");
            for (Op f : {rsa_encrypt, rsa_sign, rsa_decrypt}) {
                if ((f == rsa_encrypt) == c.priv) continue;
                EXPECT_EQ(f(o, i, c.len, null_arg == 2 ? nullptr : kb), want) << what;
                EXPECT_TRUE(untouched(out, written)) << what << ": wrote " << to_hex(out);
                EXPECT_TRUE(c.len || !written || std::count(out.begin(), out.begin() + k, 0) == k);
            }
            const uint32_t want_verify = null_arg >= 0 ? RSA_ERR_ARG : c.want_verify;
            EXPECT_TRUE(c.priv ||
                        rsa_verify(o, i, c.len, null_arg == 2 ? nullptr : kb) == want_verify)
                << what;
        }
}

// Keys generated here used by OpenSSL's raw RSA (no padding), and keys
// generated by OpenSSL used here through the blob format.
TEST(RsaKeys, OperationsAgreeWithOpenSslBothWays) {
#ifndef LNCEXT_HAVE_OPENSSL
    GTEST_SKIP() << "OpenSSL not found: the OpenSSL comparison did not run";
#else
    std::printf("OpenSSL oracle: %s\n", OpenSSL_version(OPENSSL_VERSION));
    Hook::seeded(28);
    Rng g(28);
    const char *params[] = {OSSL_PKEY_PARAM_RSA_N,         OSSL_PKEY_PARAM_RSA_E,
                            OSSL_PKEY_PARAM_RSA_D,         OSSL_PKEY_PARAM_RSA_FACTOR1,
                            OSSL_PKEY_PARAM_RSA_FACTOR2,   OSSL_PKEY_PARAM_RSA_EXPONENT1,
                            OSSL_PKEY_PARAM_RSA_EXPONENT2, OSSL_PKEY_PARAM_RSA_COEFFICIENT1};
    for (uint32_t bits : {512u, 1024u, 1536u, 2048u})
        for (int theirs = 0; theirs < 2; theirs++) {
            Key key;
            BIGNUM *b[8] = {};
            rsa_keygen_ctx ctx;
            ASSERT_EQ(rsa_keygen_init(&ctx, bits), RSA_OK);
            for (uint32_t r = RSA_NEED_MORE; !theirs && r != RSA_OK;)
                ASSERT_NE(r = rsa_keygen(&ctx, g.bytes(bits / 16).data(), bits / 16), RSA_ERR_ARG);
            key.p.set(ctx.p), key.q.set(ctx.q), mpz_set_ui(key.e, 65537);
            EVP_PKEY *pkey = theirs ? EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", size_t(bits)) : 0;
            for (int i = 0; i < 8 && theirs; i++) {
                ASSERT_EQ(EVP_PKEY_get_bn_param(pkey, params[i], &b[i]), 1) << params[i];
                Bytes v(BN_num_bytes(b[i]));
                BN_bn2bin(b[i], v.data()), set_bytes(key.part(i), v), BN_free(b[i]);
            }
            EVP_PKEY_free(pkey);
            theirs ? key.build() : key.derive();
            for (int i = 0; i < 8; i++) {
                const Bytes v = bytes_of(key.part(i));
                b[i] = BN_bin2bn(v.data(), int(v.size()), nullptr);
            }
            RSA *rsa = RSA_new();
            RSA_set0_key(rsa, b[0], b[1], b[2]);
            RSA_set0_factors(rsa, b[3], b[4]);
            RSA_set0_crt_params(rsa, b[5], b[6], b[7]);
            for (int i = 0; i < 6; i++) {
                Bytes x = i == 0 ? Bytes(key.k, 0) : g.bytes(key.k), want(key.k), got;
                x[0] = 0;  // below n (which may have a bit less than 8 k)
                for (Op f : {rsa_encrypt, rsa_sign}) {
                    auto ref = f == rsa_encrypt ? RSA_public_encrypt : RSA_private_decrypt;
                    const int len = ref(int(key.k), x.data(), want.data(), rsa, RSA_NO_PADDING);
                    EXPECT_TRUE(len == int(key.k) && run(f, got, x, key) == RSA_OK && got == want)
                        << bits << (theirs ? " OpenSSL key" : " our key");
                }
            }
            RSA_free(rsa);
        }
    std::printf("OpenSSL oracle: 96 raw public and private operations compared\n");
#endif
}

}  // namespace
