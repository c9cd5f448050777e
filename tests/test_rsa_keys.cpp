// RSA key generation, key records and the raw operations: the published PKCS
// #1 and Botan values, a GMP model of key generation, GMP and OpenSSL as
// oracles of the operations, and every result code with the outputs left
// alone.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "rsa_test_util.hpp"

#ifdef LNCEXT_HAVE_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#endif

using namespace lncext_test;

namespace {

// A key held as GMP numbers, with its blobs built from the record format
// directly (not by the library).
struct Key {
    Mpz n, e, d, p, q, dp, dq, qinv;
    Bytes pub, priv;
    uint32_t k = 0;     // modulus bytes of the private operation
    uint32_t kpub = 0;  // and of the public one (n's bytes)

    // From p, q and e: d = e^-1 mod lcm(p - 1, q - 1) and the CRT values for
    // p as given (qinv = q^-1 mod p whichever prime is larger).
    void derive() {
        Mpz pm1, qm1, lambda;
        mpz_mul(n, p, q);
        mpz_sub_ui(pm1, p, 1);
        mpz_sub_ui(qm1, q, 1);
        mpz_lcm(lambda, pm1, qm1);
        ASSERT_NE(mpz_invert(d, e, lambda), 0);
        mpz_mod(dp, d, pm1);
        mpz_mod(dq, d, qm1);
        ASSERT_NE(mpz_invert(qinv, q, p), 0);
        build();
    }
    void build() {
        k = uint32_t((mpz_sizeinbase(p, 2) + mpz_sizeinbase(q, 2)) / 8);
        kpub = uint32_t((mpz_sizeinbase(n, 2) + 7) / 8);
        pub = concat({record_of(n), record_of(e)});
        priv = concat({record_of(p), record_of(q), record_of(dp), record_of(dq), record_of(qinv)});
    }
};

// A prime of exactly `bits` bits; with e3, one for which e = 3 is usable.
void random_prime(gmp_randstate_t st, uint32_t bits, mpz_ptr z, bool e3 = false) {
    do {
        mpz_urandomb(z, st, bits);
        mpz_setbit(z, bits - 1);
        mpz_setbit(z, bits - 2);
        mpz_nextprime(z, z);
    } while (mpz_sizeinbase(z, 2) != bits || (e3 && mpz_fdiv_ui(z, 3) != 2));
}

void random_key(gmp_randstate_t st, Key &key, uint32_t pbits, uint32_t qbits, unsigned long e) {
    mpz_set_ui(key.e, e);
    do {
        random_prime(st, pbits, key.p, e == 3);
        random_prime(st, qbits, key.q, e == 3);
    } while (mpz_cmp(key.p, key.q) == 0);
    key.derive();
}

std::unique_ptr<Key> key_from_block(const VectorBlock &b) {
    auto owned = std::make_unique<Key>();
    Key &key = *owned;
    for (auto [name, z] : {std::pair{"n", key.n.z},
                           {"e", key.e.z},
                           {"d", key.d.z},
                           {"p", key.p.z},
                           {"q", key.q.z},
                           {"dp", key.dp.z},
                           {"dq", key.dq.z},
                           {"qinv", key.qinv.z}})
        if (b.has(name)) set_bytes(z, b.bytes(name));
    if (b.has("dp"))
        key.build();
    else
        key.derive();
    return owned;
}

// out = x^y mod n of GMP, as the k-byte field the library writes.
Bytes gmp_field(mpz_srcptr x, mpz_srcptr y, mpz_srcptr n, uint32_t k) {
    Mpz r;
    mpz_powm(r, x, y, n);
    return bytes_of(r, k);
}

uint32_t encrypt(Bytes &out, const Bytes &in, const Key &key) {
    out.assign(key.kpub, 0xA5);
    return rsa_encrypt(out.data(), in.data(), int32_t(in.size()), key.pub.data());
}

uint32_t sign(Bytes &out, const Bytes &in, const Key &key, bool decrypt = false) {
    out.assign(300, 0xA5);
    auto f = decrypt ? rsa_decrypt : rsa_sign;
    const uint32_t r = f(out.data(), in.data(), int32_t(in.size()), key.priv.data());
    out.resize(r == RSA_OK ? key.k : 300);
    return r;
}

bool untouched(const Bytes &b) {
    for (uint8_t x : b)
        if (x != 0xA5) return false;
    return true;
}

// Every operation on key and x (k bytes) against GMP: encrypt, verify of the
// result, sign and decrypt back.
void check_operations(const Key &key, const Bytes &x, const std::string &what) {
    Mpz zx, xr;
    set_bytes(zx, x);
    mpz_mod(xr, zx, key.n);
    Bytes c, s;
    ASSERT_EQ(encrypt(c, x, key), RSA_OK) << what;
    EXPECT_EQ(c, gmp_field(zx, key.e, key.n, key.k)) << what;
    // x^e = (x mod n)^e: a signature of n or more still verifies.
    EXPECT_EQ(rsa_verify(x.data(), c.data(), int32_t(c.size()), key.pub.data()), RSA_OK) << what;
    for (bool decrypt : {false, true}) {
        ASSERT_EQ(sign(s, c, key, decrypt), RSA_OK) << what;
        EXPECT_EQ(s, bytes_of(xr, key.k)) << what;
    }
    ASSERT_EQ(sign(s, x, key), RSA_OK) << what;
    EXPECT_EQ(s, gmp_field(zx, key.d, key.n, key.k)) << what;
    // In place: the input is read before the output is written.
    Bytes buf = x;
    ASSERT_EQ(rsa_encrypt(buf.data(), buf.data(), int32_t(buf.size()), key.pub.data()), RSA_OK);
    EXPECT_EQ(buf, c) << what << " in place";
    ASSERT_EQ(rsa_sign(buf.data(), buf.data(), int32_t(buf.size()), key.priv.data()), RSA_OK);
    EXPECT_EQ(buf, bytes_of(xr, key.k)) << what << " in place";
}

// ---- Key generation ----

// The library's key generation step by step beside a GMP model of the same
// steps, driven by one deterministic byte stream.
struct KeygenModel {
    uint32_t bits;
    Mpz p, q;  // 0 while absent

    uint32_t step(const Bytes &rnd) {
        const uint32_t h = bits / 16;
        if (rnd.size() < h) return RSA_ERR_RND_SHORT;
        Mpz x, y, gap;
        set_bytes(x, Bytes(rnd.begin(), rnd.begin() + h));
        if (mpz_even_p(x.z)) mpz_add_ui(x, x, 1);
        if (mpz_sizeinbase(x, 2) < bits / 2) mpz_setbit(x, bits / 2 - 1);
        mpz_sub_ui(y, x, 1);
        mpz_nextprime(y, y);
        mpz_sub(gap, y, x);
        if (mpz_cmp_ui(gap.z, 4062) > 0) return RSA_NEED_MORE;
        if (mpz_sizeinbase(y, 2) != bits / 2 || mpz_fdiv_ui(y, 65537) == 1) return RSA_NEED_MORE;
        if (mpz_sgn(p.z) == 0) {
            mpz_set(p, y);
            return RSA_NEED_MORE;
        }
        if (mpz_cmp(y, p) == 0) return RSA_NEED_MORE;
        if (mpz_cmp(p, y) < 0) {
            mpz_set(q, p);
            mpz_set(p, y);
        } else {
            mpz_set(q, y);
        }
        return RSA_OK;
    }
};

void expect_ctx_holds(const rsa_keygen_ctx &ctx, const KeygenModel &m) {
    for (auto [got, want] : {std::pair{ctx.p, m.p.z}, {ctx.q, m.q.z}})
        EXPECT_TRUE(equals_mpz(got, want));
}

// A complete context against every property of a generated key.
void check_generated_key(const rsa_keygen_ctx &ctx) {
    const uint32_t bits = ctx.bits, h = bits / 2;
    Mpz p(ctx.p), q(ctx.q), e, t, pm1, qm1;
    mpz_set_ui(e, 65537);
    EXPECT_GT(mpz_cmp(p, q), 0);
    EXPECT_EQ(mpz_sizeinbase(p, 2), h);
    EXPECT_EQ(mpz_sizeinbase(q, 2), h);
    EXPECT_NE(mpz_probab_prime_p(p, 30), 0);
    EXPECT_NE(mpz_probab_prime_p(q, 30), 0);
    mpz_sub_ui(pm1, p, 1);
    mpz_sub_ui(qm1, q, 1);
    // dP, dQ, qInv are each the unique residue of its identity.
    mpz_invert(t, e, pm1);
    EXPECT_TRUE(equals_mpz(ctx.dP, t)) << "65537 dP = 1 mod p - 1";
    mpz_invert(t, e, qm1);
    EXPECT_TRUE(equals_mpz(ctx.dQ, t)) << "65537 dQ = 1 mod q - 1";
    mpz_invert(t, q, p);
    EXPECT_TRUE(equals_mpz(ctx.qInv, t)) << "q qInv = 1 mod p";

    Key key;
    mpz_set(key.p, p);
    mpz_set(key.q, q);
    mpz_set(key.e, e);
    key.derive();
    // Blobs: exact sizes, exact content, and a buffer one byte short.
    const uint32_t publen = RSA_PUBKEY_BYTES(bits), privlen = RSA_PRIVKEY_BYTES(bits);
    Bytes buf(publen, 0xA5);
    EXPECT_EQ(rsa_get_pubkey(&ctx, buf.data(), publen - 1), RSA_ERR_BUF_SHORT);
    EXPECT_TRUE(untouched(buf));
    ASSERT_EQ(rsa_get_pubkey(&ctx, buf.data(), publen), RSA_OK);
    EXPECT_EQ(buf, key.pub);
    EXPECT_EQ(key.pub.size(), publen);
    EXPECT_EQ(to_hex(Bytes(buf.end() - 5, buf.end())), "0003010001");
    EXPECT_EQ(buf[0] * 256 + buf[1], int(bits / 8));
    buf.assign(privlen, 0xA5);
    EXPECT_EQ(rsa_get_privkey(&ctx, buf.data(), privlen - 1), RSA_ERR_BUF_SHORT);
    EXPECT_TRUE(untouched(buf));
    ASSERT_EQ(rsa_get_privkey(&ctx, buf.data(), privlen), RSA_OK);
    EXPECT_LE(key.priv.size(), privlen);
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + key.priv.size()), key.priv);
    EXPECT_TRUE(untouched(Bytes(buf.begin() + key.priv.size(), buf.end())));

    Rng g(bits);
    Bytes x = g.bytes(key.k);
    x[0] &= 0x7F;
    check_operations(key, x, "generated key");
}

TEST(RsaKeys, KeygenFollowsTheModelCallByCall) {
    SeededHook::install(20);
    Rng g(20);
    for (uint32_t bits : {512u, 1024u, 1536u, 2048u}) {
        rsa_keygen_ctx ctx;
        ASSERT_EQ(rsa_keygen_init(&ctx, bits), RSA_OK);
        KeygenModel model{bits, {}, {}};
        uint32_t r = RSA_NEED_MORE;
        int calls = 0, first_prime_calls = 0;
        while (r == RSA_NEED_MORE && calls < 100) {
            // Now and then the same bytes again, and short input.
            Bytes rnd = g.bytes(bits / 16 + g.below(3));
            if (calls % 5 == 3) rnd.resize(bits / 16 - 1);
            const rsa_keygen_ctx before = ctx;
            r = rsa_keygen(&ctx, rnd.data(), uint32_t(rnd.size()));
            ASSERT_EQ(r, model.step(rnd)) << bits << " bits, call " << calls;
            expect_ctx_holds(ctx, model);
            if (r == RSA_ERR_RND_SHORT) {
                EXPECT_EQ(std::memcmp(&before, &ctx, sizeof ctx), 0);
                r = RSA_NEED_MORE;
            }
            if (ctx.p[0] != 0 && first_prime_calls == 0) {
                first_prime_calls = calls + 1;
                // The same bytes find the same prime: no key yet.
                EXPECT_EQ(rsa_keygen(&ctx, rnd.data(), uint32_t(rnd.size())), RSA_NEED_MORE);
                EXPECT_EQ(ctx.q[0], 0u);
            }
            ++calls;
        }
        ASSERT_EQ(r, RSA_OK) << bits;
        EXPECT_EQ(ctx.bits, bits);
        check_generated_key(ctx);
    }
}

TEST(RsaKeys, AllZeroInputStartsAtTheLowestCandidate) {
    SeededHook::install(21);
    for (uint32_t bits : {512u, 1024u}) {
        rsa_keygen_ctx ctx;
        ASSERT_EQ(rsa_keygen_init(&ctx, bits), RSA_OK);
        Bytes zeros(bits / 16, 0);
        EXPECT_EQ(rsa_keygen(&ctx, zeros.data(), uint32_t(zeros.size())), RSA_NEED_MORE);
        Mpz want;
        mpz_setbit(want, bits / 2 - 1);  // the first prime above 2^(bits/2-1) + 1 - 2
        mpz_nextprime(want, want);
        ASSERT_NE(mpz_fdiv_ui(want, 65537), 1u);
        EXPECT_TRUE(equals_mpz(ctx.p, want)) << bits;
    }
}

TEST(RsaKeys, KeygenResultCodesLeaveTheContextAlone) {
    SeededHook::install(22);
    rsa_keygen_ctx ctx, before;
    std::memset(&ctx, 0x5A, sizeof ctx);
    before = ctx;
    for (uint32_t bits : {0u, 768u, 4096u, 1023u, 2049u, 0xFFFFFFFFu}) {
        EXPECT_EQ(rsa_keygen_init(&ctx, bits), RSA_ERR_MODSIZE) << bits;
        EXPECT_EQ(std::memcmp(&ctx, &before, sizeof ctx), 0);
    }
    EXPECT_EQ(rsa_keygen_init(nullptr, 1024), RSA_ERR_ARG);
    ASSERT_EQ(rsa_keygen_init(&ctx, 512), RSA_OK);
    for (uint32_t i = 0; i < 5 * RSA_PRIME_WORDS; i++)
        EXPECT_EQ(reinterpret_cast<uint32_t *>(&ctx)[i], 0u);
    EXPECT_EQ(ctx.bits, 512u);

    Bytes rnd(64, 0x33);
    before = ctx;
    const struct {
        rsa_keygen_ctx *c;
        const uint8_t *r;
        uint32_t len, bits, want;
    } cases[] = {
        {nullptr, rnd.data(), 64, 512, RSA_ERR_ARG},
        {&ctx, nullptr, 64, 512, RSA_ERR_ARG},
        {&ctx, rnd.data(), 31, 512, RSA_ERR_RND_SHORT},
        {&ctx, rnd.data(), 0, 512, RSA_ERR_RND_SHORT},
        {&ctx, rnd.data(), 64, 768, RSA_ERR_MODSIZE},
        {&ctx, rnd.data(), 64, 0, RSA_ERR_MODSIZE},
        {&ctx, rnd.data(), 63, 1024, RSA_ERR_RND_SHORT},
    };
    for (const auto &c : cases) {
        ctx.bits = c.bits;
        before = ctx;
        EXPECT_EQ(rsa_keygen(c.c, c.r, c.len), c.want) << c.len << " " << c.bits;
        EXPECT_EQ(std::memcmp(&ctx, &before, sizeof ctx), 0);
    }

    // Key export before the key is complete, and with a bad size.
    ctx.bits = 512;
    Bytes buf(700, 0xA5);
    using Get = uint32_t (*)(const rsa_keygen_ctx *, uint8_t *, uint32_t);
    for (Get get : {Get(rsa_get_pubkey), Get(rsa_get_privkey)}) {
        EXPECT_EQ(get(nullptr, buf.data(), 700), RSA_ERR_ARG);
        EXPECT_EQ(get(&ctx, nullptr, 700), RSA_ERR_ARG);
        EXPECT_EQ(get(&ctx, buf.data(), 700), RSA_ERR_ARG) << "no primes";
        lnmconvert(ctx.p, 0xFFFFFFFBu);
        EXPECT_EQ(get(&ctx, buf.data(), 700), RSA_ERR_ARG) << "no second prime";
        ctx.q[0] = 1;
        ctx.q[1] = 0xFFFFFFF1u;
        ctx.bits = 768;
        EXPECT_EQ(get(&ctx, buf.data(), 700), RSA_ERR_MODSIZE);
        ctx.bits = 512;
        EXPECT_EQ(get(&ctx, buf.data(), 0), RSA_ERR_BUF_SHORT);
        EXPECT_TRUE(untouched(buf));
        ctx.p[0] = ctx.q[0] = 0;
    }
    EXPECT_EQ(rsa_gen_crt(nullptr), RSA_ERR_ARG);
    EXPECT_EQ(rsa_gen_crt(&ctx), RSA_ERR_ARG);
}

// ---- Key records ----

TEST(RsaKeys, KeyRecordsRoundTrip) {
    Rng g(23);
    for (uint32_t len = 0; len <= 258; len++) {
        Bytes v = g.bytes(len);
        if (len != 0) v[0] |= uint8_t(1 + g.below(255));  // minimal: no leading zero
        Mpz z;
        set_bytes(z, v);
        Num x = num_of(z, LNMBIG_WORDS);
        Bytes rec(len + 8, 0xA5);
        const int n = save_rsa_key_prm(rec.data(), x.data());
        EXPECT_EQ(rec[0] * 256 + rec[1], int(len));
        if (len > 256) {
            EXPECT_EQ(n, -1);
            EXPECT_TRUE(untouched(Bytes(rec.begin() + 2, rec.end())));
            Num y(LNMBIG_WORDS, 0x77);
            EXPECT_EQ(load_rsa_key_prm(y.data(), rec.data()), -1);
            EXPECT_EQ(y, Num(LNMBIG_WORDS, 0x77));
            continue;
        }
        ASSERT_EQ(n, int(len) + 2);
        EXPECT_EQ(Bytes(rec.begin(), rec.begin() + n), record_of(z));
        EXPECT_TRUE(untouched(Bytes(rec.begin() + n, rec.end())));
        Guarded y(66, g);
        EXPECT_EQ(load_rsa_key_prm(y.p(), rec.data()), n);
        EXPECT_TRUE(y.holds(y.p(), z));
    }
    // Zero is 00 00; a record with leading zero bytes still reads.
    uint8_t rec[6] = {0xA5, 0xA5, 0xA5};
    EXPECT_EQ(save_rsa_key_prm(rec, LNMBIG_ZERO), 2);
    EXPECT_EQ(rec[0] | rec[1], 0);
    const uint8_t padded[] = {0, 4, 0, 0, 1, 2};
    uint32_t x[4];
    EXPECT_EQ(load_rsa_key_prm(x, padded), 6);
    EXPECT_TRUE(x[0] == 1 && x[1] == 0x102);
}

// ---- Operations ----

TEST(RsaKeys, PublishedRawVectors) {
    std::map<std::string, std::unique_ptr<Key>> keys;
    int raw = 0, crt = 0, refused = 0;
    for (const VectorBlock &b : read_vectors("rsa.txt")) {
        const std::string kind = b.get("kind");
        if (kind == "key") keys.emplace(b.get("name"), key_from_block(b));
        if (kind == "crt") {
            const Key &key = *keys.at(b.get("key"));
            // The published intermediates: each exponentiation, then the
            // whole operation.
            for (auto [in, e, m, out] : {std::tuple{"cmodp", key.dp.z, key.p.z, "m1"},
                                         {"cmodq", key.dq.z, key.q.z, "m2"}}) {
                Mpz zi, zo;
                set_bytes(zi, b.bytes(in));
                set_bytes(zo, b.bytes(out));
                Num x = num_of(zi, 72), ex = num_of(e, 72), mod = num_of(m, 72), r(72);
                EXPECT_TRUE(equals_mpz(rsapowmod(x.data(), ex.data(), mod.data(), r.data()), zo))
                    << out;
            }
            Bytes s;
            ASSERT_EQ(sign(s, b.bytes("c"), key), RSA_OK);
            EXPECT_EQ(s, b.bytes("m"));
            ++crt;
        }
        if (kind != "raw") continue;
        std::unique_ptr<Key> inline_key = b.has("key") ? nullptr : key_from_block(b);
        const Key &key = inline_key ? *inline_key : *keys.at(b.get("key"));
        const std::string what = b.has("name") ? b.get("name") : b.get("key");
        const Bytes x = b.bytes("x"), y = b.bytes("y");
        Bytes out;
        const bool ok_pub = rsa_is_prermitted_modsize(8 * key.kpub);
        const bool ok_priv = rsa_is_prermitted_modsize(
            uint32_t(mpz_sizeinbase(key.p, 2) + mpz_sizeinbase(key.q, 2)));
        ASSERT_EQ(ok_pub, ok_priv) << what;  // the published keys agree on both sides
        if (!ok_pub) {
            EXPECT_EQ(encrypt(out, x, key), RSA_ERR_MODSIZE) << what;
            EXPECT_EQ(sign(out, y, key), RSA_ERR_MODSIZE) << what;
            EXPECT_EQ(rsa_verify(x.data(), y.data(), int32_t(y.size()), key.pub.data()),
                      RSA_ERR_MODSIZE);
            ++refused;
            continue;
        }
        ASSERT_EQ(x.size(), key.k) << what;
        EXPECT_EQ(encrypt(out, x, key), RSA_OK) << what;
        EXPECT_EQ(out, y) << what;
        EXPECT_EQ(rsa_verify(x.data(), y.data(), int32_t(y.size()), key.pub.data()), RSA_OK)
            << what;
        EXPECT_EQ(sign(out, y, key), RSA_OK) << what;
        EXPECT_EQ(out, x) << what;
        EXPECT_EQ(sign(out, y, key, true), RSA_OK) << what;
        EXPECT_EQ(out, x) << what;
        ++raw;
    }
    EXPECT_EQ(crt, 1);
    EXPECT_GE(raw, 20);
    EXPECT_GE(refused, 4);
}

// Random keys of every size, balanced with either prime larger, very
// unbalanced (a 200-bit factor; a 512-bit p under a 1024-bit q, where adding
// p until m1 >= m2 would take about 2^512 steps), exponents 65537, 3 and a
// large one; messages 0, 1, n - 1, n and above, and random.
TEST(RsaKeys, OperationsAgreeWithGmp) {
    gmp_randstate_t st;
    gmp_randinit_default(st);
    gmp_randseed_ui(st, 24);
    Rng g(24);
    const struct {
        uint32_t pbits, qbits;
        unsigned long e;
    } shapes[] = {{256, 256, 65537},   {512, 512, 65537},    {768, 768, 65537},
                  {1024, 1024, 65537}, {256, 256, 3},        {512, 512, 0x7fffffff},
                  {200, 824, 65537},   {824, 200, 65537},    {512, 1024, 65537},
                  {1024, 512, 65537},  {1024, 1024, 3},      {8, 504, 65537},
                  {504, 8, 65537},     {1024, 1024, 0x10001}};
    for (const auto &s : shapes) {
        Key key;
        random_key(st, key, s.pbits, s.qbits, s.e);
        for (int swap = 0; swap < 2; swap++) {
            const std::string what = std::to_string(s.pbits) + "+" + std::to_string(s.qbits) +
                                     (swap ? " swapped" : "") + " e=" + std::to_string(s.e);
            Mpz t;
            std::vector<Bytes> inputs;
            for (long v : {0L, 1L, -1L, 0L}) {  // 0, 1, n - 1, n
                mpz_set_si(t, v);
                if (v < 0 || inputs.size() == 3) mpz_add(t, t, key.n);
                inputs.push_back(bytes_of(t, key.k));
            }
            inputs.push_back(Bytes(key.k, 0xFF));  // above n
            for (int i = 0; i < 4; i++) inputs.push_back(g.bytes(key.k));
            for (const Bytes &x : inputs) check_operations(key, x, what);
            // Shorter inputs read as smaller numbers.
            Bytes c, ref;
            const Bytes shortin = g.bytes(1 + g.below(key.k - 1));
            ASSERT_EQ(encrypt(c, shortin, key), RSA_OK);
            Mpz zs;
            set_bytes(zs, shortin);
            EXPECT_EQ(c, gmp_field(zs, key.e, key.n, key.k)) << what;
            ASSERT_EQ(sign(c, shortin, key), RSA_OK);
            EXPECT_EQ(c, gmp_field(zs, key.d, key.n, key.k)) << what;
            // The same key with the primes exchanged.
            mpz_swap(key.p, key.q);
            key.derive();
        }
    }
    gmp_randclear(st);
}

TEST(RsaKeys, VerifyReducesLongMessagesAndRejectsEveryChangedByte) {
    gmp_randstate_t st;
    gmp_randinit_default(st);
    gmp_randseed_ui(st, 25);
    Key key;
    random_key(st, key, 512, 512, 65537);
    Rng g(25);
    Bytes m = g.bytes(key.k), s;
    m[0] = 0;
    ASSERT_EQ(sign(s, m, key), RSA_OK);
    auto verify = [&](const Bytes &sig, const Bytes &msg) {
        return rsa_verify(sig.data(), msg.data(), int32_t(msg.size()), key.pub.data());
    };
    EXPECT_EQ(verify(s, m), RSA_OK);
    for (size_t i = 0; i < s.size(); i++) {
        Bytes bad = s;
        bad[i] ^= uint8_t(1 + g.below(255));
        EXPECT_EQ(verify(bad, m), RSA_ERR_SIG) << "byte " << i;
    }
    // m + t n for t of many sizes, as long byte strings (up to 1000 bytes),
    // and with leading zero bytes.
    for (uint32_t extra : {0u, 1u, 7u, 128u, 129u, 255u, 256u, 257u, 600u, 872u}) {
        Mpz zm, t;
        set_bytes(zm, m);
        mpz_urandomb(t, st, 8 * extra);
        mpz_addmul(zm, t, key.n);
        Bytes longer = bytes_of(zm, (mpz_sizeinbase(zm, 2) + 7) / 8 + extra % 3);
        EXPECT_EQ(verify(s, longer), RSA_OK) << extra;
        longer.back() ^= 1;
        EXPECT_EQ(verify(s, longer), RSA_ERR_SIG) << extra;
    }
    // The empty message is 0, whose signature is 0.
    const Bytes zero(key.k, 0);
    EXPECT_EQ(rsa_verify(zero.data(), zero.data(), 0, key.pub.data()), RSA_OK);
    EXPECT_EQ(rsa_verify(s.data(), zero.data(), 0, key.pub.data()), RSA_ERR_SIG);
    gmp_randclear(st);
}

// Every result code of the operations, with the output left alone.
TEST(RsaKeys, OperationResultCodesLeaveTheOutputAlone) {
    gmp_randstate_t st;
    gmp_randinit_default(st);
    gmp_randseed_ui(st, 26);
    Key key;
    random_key(st, key, 512, 512, 65537);
    gmp_randclear(st);
    const uint32_t k = key.k;
    Rng g(26);
    const Bytes in = g.bytes(k + 2);

    // Public blobs: altered first or second record.
    auto pub_with = [&](Bytes nrec, Bytes erec) { return concat({nrec, erec}); };
    const Bytes nrec = record_of(key.n), erec = record_of(key.e);
    Mpz small, longer, even;
    mpz_tdiv_q_2exp(small, key.n, 8);
    mpz_mul_2exp(longer, key.n, 1);
    mpz_sub_ui(even, key.n, 1);
    Mpz big2040, big2047;
    mpz_setbit(big2040, 2039);
    mpz_add_ui(big2040, big2040, 1);
    mpz_setbit(big2047, 2046);
    mpz_add_ui(big2047, big2047, 1);
    Bytes l257 = {1, 1};
    l257.resize(259 + 5, 0x11);
    const struct {
        Bytes pub;
        int32_t len;
        uint32_t want;
        const char *what;
    } pubcases[] = {
        {pub_with({0, 0}, erec), int32_t(k), RSA_ERR_ARG, "n with L = 0"},
        {pub_with(l257, erec), int32_t(k), RSA_ERR_ARG, "n with L = 257"},
        {pub_with(nrec, {0, 0}), int32_t(k), RSA_ERR_ARG, "e with L = 0"},
        {pub_with(nrec, l257), int32_t(k), RSA_ERR_ARG, "e with L = 257"},
        {Bytes{0, 0, 0, 0}, int32_t(k), RSA_ERR_ARG, "empty blob"},
        {pub_with(record_of(small), erec), 1, RSA_ERR_MODSIZE, "504-bit n"},
        {pub_with(record_of(big2040), erec), 1, RSA_ERR_MODSIZE, "2040-bit n"},
        {pub_with(record_of(longer), erec), 1, RSA_ERR_MODSIZE, "513-bit n"},
        {pub_with(record_of(even), erec), 1, RSA_ERR_ARG, "even n"},
        {pub_with(nrec, erec), 0, RSA_ERR_INLEN, "in_len 0"},
        {pub_with(nrec, erec), int32_t(k + 1), RSA_ERR_INLEN, "in_len k + 1"},
        {pub_with(nrec, erec), INT32_MIN, RSA_ERR_INLEN, "in_len 0x80000000"},
        {pub_with(nrec, erec), -1, RSA_ERR_INLEN, "in_len -1"},
        {pub_with(record_of(big2047), erec), 1, RSA_OK, "2047-bit n is a 2048-bit key"},
    };
    for (const auto &c : pubcases) {
        Bytes out(300, 0xA5), pub = c.pub;
        pub.resize(pub.size() + 300, 0);
        Bytes src = in;
        src.resize(300, 0);
        EXPECT_EQ(rsa_encrypt(out.data(), src.data(), c.len, pub.data()), c.want) << c.what;
        if (c.want != RSA_OK) {
            EXPECT_TRUE(untouched(out)) << c.what;
        }
        // rsa_verify shares the key checks; its own length rule is only
        // the sign.
        const uint32_t v = rsa_verify(src.data(), src.data(), c.len, pub.data());
        if (c.want == RSA_ERR_ARG || c.want == RSA_ERR_MODSIZE) {
            EXPECT_EQ(v, c.want) << c.what;
        } else if (c.len < 0) {
            EXPECT_EQ(v, RSA_ERR_INLEN) << c.what;
        }
    }
    // Null arguments.
    Bytes out(300, 0xA5);
    EXPECT_EQ(rsa_encrypt(nullptr, in.data(), 1, key.pub.data()), RSA_ERR_ARG);
    EXPECT_EQ(rsa_encrypt(out.data(), nullptr, 1, key.pub.data()), RSA_ERR_ARG);
    EXPECT_EQ(rsa_encrypt(out.data(), in.data(), 1, nullptr), RSA_ERR_ARG);
    EXPECT_EQ(rsa_verify(nullptr, in.data(), 1, key.pub.data()), RSA_ERR_ARG);
    EXPECT_EQ(rsa_verify(in.data(), nullptr, 1, key.pub.data()), RSA_ERR_ARG);
    EXPECT_EQ(rsa_verify(in.data(), in.data(), 1, nullptr), RSA_ERR_ARG);
    for (auto f : {rsa_sign, rsa_decrypt}) {
        EXPECT_EQ(f(nullptr, in.data(), 1, key.priv.data()), RSA_ERR_ARG);
        EXPECT_EQ(f(out.data(), nullptr, 1, key.priv.data()), RSA_ERR_ARG);
        EXPECT_EQ(f(out.data(), in.data(), 1, nullptr), RSA_ERR_ARG);
    }
    EXPECT_TRUE(untouched(out));

    // Private blobs: each record in turn made empty or too long, and the
    // length rules.
    const Bytes recs[5] = {record_of(key.p), record_of(key.q), record_of(key.dp), record_of(key.dq),
                           record_of(key.qinv)};
    auto priv_with = [&](int which, const Bytes &rec) {
        Bytes b;
        for (int i = 0; i < 5; i++) {
            const Bytes &r = i == which ? rec : recs[i];
            b.insert(b.end(), r.begin(), r.end());
        }
        b.resize(b.size() + 700, 0);
        return b;
    };
    Bytes l129 = {0, 129};
    l129.resize(131, 0x55);
    Mpz p4;
    mpz_mul_ui(p4, key.p, 4);  // even, and 2 bits longer: 1026 bits in all
    Mpz p2;
    mpz_mul_2exp(p2, key.p, 1);
    mpz_tdiv_q_2exp(p2, p2, 8);  // bit lengths 256 + 249: not permitted
    Mpz peven;
    mpz_sub_ui(peven, key.p, 1);  // even p of the same size
    std::vector<std::tuple<Bytes, int32_t, uint32_t, std::string>> privcases;
    for (int i = 0; i < 5; i++) {
        privcases.emplace_back(priv_with(i, {0, 0}), 1, RSA_ERR_ARG,
                               "L = 0 in record " + std::to_string(i));
        privcases.emplace_back(priv_with(i, l129), 1, RSA_ERR_ARG,
                               "L = 129 in record " + std::to_string(i));
    }
    privcases.emplace_back(Bytes(20, 0), 1, RSA_ERR_ARG, "empty blob");
    privcases.emplace_back(priv_with(0, record_of(p2)), 1, RSA_ERR_MODSIZE, "505 bits");
    privcases.emplace_back(priv_with(0, record_of(p4)), 1, RSA_ERR_MODSIZE, "514 bits");
    privcases.emplace_back(priv_with(0, record_of(peven)), 1, RSA_ERR_ARG, "even p");
    privcases.emplace_back(priv_with(-1, {}), int32_t(k + 1), RSA_ERR_ARG, "in_len k + 1");
    privcases.emplace_back(priv_with(-1, {}), -1, RSA_ERR_INLEN, "in_len -1");
    privcases.emplace_back(priv_with(-1, {}), INT32_MIN, RSA_ERR_INLEN, "in_len 0x80000000");
    for (const auto &[priv, len, want, what] : privcases)
        for (auto f : {rsa_sign, rsa_decrypt}) {
            Bytes o(300, 0xA5), src = in;
            src.resize(300, 0);
            EXPECT_EQ(f(o.data(), src.data(), len, priv.data()), want) << what;
            EXPECT_TRUE(untouched(o)) << what;
        }
    // in_len 0: k zero bytes.
    Bytes o(k + 4, 0xA5);
    EXPECT_EQ(rsa_sign(o.data(), in.data(), 0, key.priv.data()), RSA_OK);
    EXPECT_EQ(Bytes(o.begin(), o.begin() + k), Bytes(k, 0));
    EXPECT_TRUE(untouched(Bytes(o.begin() + k, o.end())));
}

// Random blob bytes, with record lengths pushed towards the accepted ranges,
// through every reader: a result code each time, never a crash (run under
// the sanitizer build).
TEST(RsaKeys, RandomBlobsNeverCrash) {
    Rng g(27);
    std::vector<int> seen(8, 0);
    for (int i = 0; i < 1500; i++) {
        Bytes blob = g.bytes(5 * 260 + 16);
        size_t pos = 0;
        for (int r = 0; r < 5 && pos + 2 < blob.size(); r++) {
            const uint32_t shape = g.below(4);
            uint32_t len = shape == 0 ? 0 : shape == 1 ? 64 + g.below(65) : g.below(300);
            if (g.below(3) == 0) len = 32 << g.below(4);
            blob[pos] = uint8_t(len >> 8);
            blob[pos + 1] = uint8_t(len);
            if (g.below(2)) blob[pos + 2] |= 0x80;
            pos += 2 + std::min<size_t>(len, 258);
        }
        const int32_t len = int32_t(g.below(300)) - 20;
        Bytes out(300), in = g.bytes(300);
        uint32_t x[LNMBIG_WORDS];
        load_rsa_key_prm(x, blob.data());
        for (uint32_t r : {rsa_encrypt(out.data(), in.data(), len, blob.data()),
                           rsa_verify(in.data(), in.data(), len, blob.data()),
                           rsa_sign(out.data(), in.data(), len, blob.data()),
                           rsa_decrypt(out.data(), in.data(), len, blob.data())}) {
            ASSERT_LT(r, 8u);
            seen[r]++;
        }
    }
    EXPECT_GT(seen[RSA_OK], 0);
    EXPECT_GT(seen[RSA_ERR_ARG], 0);
    EXPECT_GT(seen[RSA_ERR_MODSIZE], 0);
}

#ifdef LNCEXT_HAVE_OPENSSL
// A new BIGNUM holding z (owned by the caller).
BIGNUM *bn_of(mpz_srcptr z) {
    const Bytes v = bytes_of(z);
    return BN_bin2bn(v.data(), int(v.size()), nullptr);
}

struct Bn {
    BIGNUM *b = BN_new();
    ~Bn() { BN_free(b); }
    void get(mpz_ptr z) const {
        Bytes v(BN_num_bytes(b));
        BN_bn2bin(b, v.data());
        set_bytes(z, v);
    }
};

// An OpenSSL RSA key with every component of key.
RSA *openssl_key(const Key &key) {
    RSA *rsa = RSA_new();
    RSA_set0_key(rsa, bn_of(key.n), bn_of(key.e), bn_of(key.d));
    RSA_set0_factors(rsa, bn_of(key.p), bn_of(key.q));
    RSA_set0_crt_params(rsa, bn_of(key.dp), bn_of(key.dq), bn_of(key.qinv));
    return rsa;
}
#endif

// Keys generated here used by OpenSSL's raw RSA (no padding), and keys
// generated by OpenSSL imported here through the blob format.
TEST(RsaKeys, OperationsAgreeWithOpenSslBothWays) {
#ifndef LNCEXT_HAVE_OPENSSL
    GTEST_SKIP() << "OpenSSL not found: the OpenSSL comparison did not run";
#else
    std::printf("OpenSSL oracle: %s\n", OpenSSL_version(OPENSSL_VERSION));
    SeededHook::install(28);
    Rng g(28);
    int compared = 0;
    for (uint32_t bits : {512u, 1024u, 1536u, 2048u}) {
        for (int dir = 0; dir < 2; dir++) {
            Key key;
            if (dir == 0) {  // here -> OpenSSL
                rsa_keygen_ctx ctx;
                ASSERT_EQ(rsa_keygen_init(&ctx, bits), RSA_OK);
                uint32_t r;
                do {
                    const Bytes rnd = g.bytes(bits / 16);
                    r = rsa_keygen(&ctx, rnd.data(), uint32_t(rnd.size()));
                } while (r == RSA_NEED_MORE);
                ASSERT_EQ(r, RSA_OK);
                key.p.set(ctx.p);
                key.q.set(ctx.q);
                mpz_set_ui(key.e, 65537);
                key.derive();
            } else {  // OpenSSL -> here
                EVP_PKEY *pkey = EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", size_t(bits));
                ASSERT_NE(pkey, nullptr);
                const struct {
                    const char *name;
                    mpz_ptr z;
                } params[] = {{OSSL_PKEY_PARAM_RSA_N, key.n},
                              {OSSL_PKEY_PARAM_RSA_E, key.e},
                              {OSSL_PKEY_PARAM_RSA_D, key.d},
                              {OSSL_PKEY_PARAM_RSA_FACTOR1, key.p},
                              {OSSL_PKEY_PARAM_RSA_FACTOR2, key.q},
                              {OSSL_PKEY_PARAM_RSA_EXPONENT1, key.dp},
                              {OSSL_PKEY_PARAM_RSA_EXPONENT2, key.dq},
                              {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, key.qinv}};
                for (const auto &prm : params) {
                    Bn b;
                    ASSERT_EQ(EVP_PKEY_get_bn_param(pkey, prm.name, &b.b), 1) << prm.name;
                    b.get(prm.z);
                }
                EVP_PKEY_free(pkey);
                key.build();
            }
            RSA *rsa = openssl_key(key);
            for (int i = 0; i < 6; i++) {
                Bytes x = g.bytes(key.k);
                if (i == 0) x.assign(key.k, 0);
                x[0] = 0;  // below n (which may have a bit less than 8 k)
                Bytes want(key.k), got;
                ASSERT_EQ(
                    RSA_public_encrypt(int(key.k), x.data(), want.data(), rsa, RSA_NO_PADDING),
                    int(key.k));
                ASSERT_EQ(encrypt(got, x, key), RSA_OK);
                EXPECT_EQ(got, want) << bits << (dir ? " OpenSSL key" : " our key");
                ASSERT_EQ(
                    RSA_private_decrypt(int(key.k), x.data(), want.data(), rsa, RSA_NO_PADDING),
                    int(key.k));
                ASSERT_EQ(sign(got, x, key), RSA_OK);
                EXPECT_EQ(got, want) << bits << (dir ? " OpenSSL key" : " our key");
                ++compared;
            }
            RSA_free(rsa);
        }
    }
    std::printf("OpenSSL oracle: %d raw public and private operations compared\n", compared);
#endif
}

}  // namespace
