// GOST R 34.10-2001 and VKO against independent implementations: nettle's
// gostdsa on its CryptoPro A curve (gc256b), and OpenSSL with the GOST
// engine on every published parameter set. Signatures go both ways; for VKO
// the oracle computes the shared point, which is then encoded and hashed the
// way vko341001_gen_kek does. Byte orders: both oracles read a hash value and
// a UKM little-endian, so they are handed those strings reversed.
#include <gmp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "gostr341001_util.hpp"
#include "lncext/gost28147.h"
#include "lncext/gostr341194.h"

#if defined(LNCEXT_HAVE_HOGWEED)
#include <nettle/ecc-curve.h>
#include <nettle/ecc.h>
#include <nettle/gostdsa.h>
#include <nettle/gosthash94.h>
#endif

#if defined(LNCEXT_HAVE_OPENSSL)
#define OPENSSL_SUPPRESS_DEPRECATED 1  // the GOST engine is reached through ENGINE and EC_KEY
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/engine.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#endif

using namespace lncext_test;

namespace {

Bytes reversed(Bytes b) {
    std::reverse(b.begin(), b.end());
    return b;
}

// A random number in [1, q - 1] as 32 bytes.
Bytes scalar(Rng &rng, mpz_srcptr q) {
    Mpz z, qm1;
    mpz_from_be(z, rng.bytes(32).data());
    mpz_sub_ui(qm1, q, 1);
    mpz_mod(z, z, qm1);
    mpz_add_ui(z, z, 1);
    return be_from_mpz(z);
}

// x then y of a point, each big-endian and left-aligned in 32 bytes: the
// input of the KEK hash.
Bytes left_aligned(const Bytes &x_be, const Bytes &y_be) {
    Bytes out;
    for (const Bytes *c : {&x_be, &y_be}) {
        Bytes b = *c;
        b.erase(b.begin(), std::find_if(b.begin(), b.end(), [](uint8_t v) { return v != 0; }));
        b.resize(32, 0);
        out.insert(out.end(), b.begin(), b.end());
    }
    return out;
}

// (d u) mod q as 32 bytes, u the UKM read big-endian.
[[maybe_unused]] Bytes vko_scalar(const Bytes &d, const Bytes &ukm, mpz_srcptr q) {
    Mpz t, u;
    mpz_from_be(t, d.data());
    mpz_from_be(u, ukm.data(), 8);
    mpz_mul(t, t, u);
    mpz_mod(t, t, q);
    return be_from_mpz(t);
}

// A missing oracle is a skip on a developer machine and a failure in CI.
void oracle_missing(const std::string &what) {
    const char *ci = std::getenv("CI");
    if (ci != nullptr && std::string(ci) == "true" && sizeof(void *) == 8)
        FAIL() << what << " is required in CI";
    GTEST_SKIP() << what << " not available: oracle skipped";
}

}  // namespace

#if defined(LNCEXT_HAVE_HOGWEED)

namespace {

// nettle draws the nonce from a random callback: this one hands out the
// 32 bytes of a chosen k (nettle reads them big-endian, as k < q needs no
// retry).
void fixed_random(void *ctx, size_t n, uint8_t *out) {
    const Bytes *k = static_cast<const Bytes *>(ctx);
    std::copy(k->end() - std::ptrdiff_t(n), k->end(), out);
}

struct NettleKey {
    ecc_scalar d;
    ecc_point Q;
    NettleKey(const ecc_curve *c, const Bytes &d_be, const Bytes &pub) {
        ecc_scalar_init(&d, c);
        ecc_point_init(&Q, c);
        Mpz z, x, y;
        mpz_from_be(z, d_be.data());
        mpz_from_be(x, pub.data());
        mpz_from_be(y, pub.data() + 32);
        EXPECT_EQ(ecc_scalar_set(&d, z), 1);
        EXPECT_EQ(ecc_point_set(&Q, x, y), 1);
    }
    ~NettleKey() {
        ecc_scalar_clear(&d);
        ecc_point_clear(&Q);
    }
};

}  // namespace

TEST(GostR341001Oracles, NettleGostdsaSignsAndVerifiesLikeThisLibraryOnCryptoProA) {
    std::printf("oracle: nettle gostdsa on gc256b (CryptoPro A) ran\n");
    const ecc_curve *curve = nettle_get_gost_gc256b();
    rds_ctx ctx;
    init_ctx(&ctx, paramsets().at("A"));
    Mpz q;
    mpz_from_be(q, paramsets().at("A").q.data());
    Rng rng(0x3501);
    for (int i = 0; i < 40; i++) {
        const Bytes d = scalar(rng, q), k = scalar(rng, q), h = rng.bytes(32);
        Bytes pub(64), sig(64);
        ASSERT_EQ(rds_gen_keys(&ctx, d.data(), pub.data()), 0u);
        NettleKey key(curve, d, pub);  // nettle checks Q is on its curve
        ASSERT_EQ(rds_sign(&ctx, d.data(), k.data(), h.data(), sig.data()), 0u);

        // The same d, k and hash give the same (r, s) in nettle.
        dsa_signature ns;
        dsa_signature_init(&ns);
        const Bytes hr = reversed(h);
        gostdsa_sign(&key.d, const_cast<Bytes *>(&k), fixed_random, 32, hr.data(), &ns);
        EXPECT_EQ(to_hex(be_from_mpz(ns.s)) + to_hex(be_from_mpz(ns.r)), to_hex(sig)) << i;
        // Ours verified there, and one of nettle's with its own nonce here.
        dsa_signature ours;
        dsa_signature_init(&ours);
        mpz_from_be(ours.s, sig.data());
        mpz_from_be(ours.r, sig.data() + 32);
        EXPECT_EQ(gostdsa_verify(&key.Q, 32, hr.data(), &ours), 1);
        const Bytes k2 = scalar(rng, q);
        gostdsa_sign(&key.d, const_cast<Bytes *>(&k2), fixed_random, 32, hr.data(), &ns);
        const Bytes theirs = cat(be_from_mpz(ns.s), be_from_mpz(ns.r));
        EXPECT_EQ(rds_verify(&ctx, pub.data(), h.data(), theirs.data()), 0u);
        Bytes bad = theirs;
        bad[rng.below(64)] ^= 0x10;
        EXPECT_EQ(rds_verify(&ctx, pub.data(), h.data(), bad.data()), 1u);
        dsa_signature_clear(&ns);
        dsa_signature_clear(&ours);
    }
}

TEST(GostR341001Oracles, NettleVkoSharedPointHashedAsThisLibraryHashesIt) {
    std::printf("oracle: nettle gostdsa_vko and gosthash94cp ran\n");
    const ecc_curve *curve = nettle_get_gost_gc256b();
    rds_ctx ctx;
    init_ctx(&ctx, paramsets().at("A"));
    Mpz q;
    mpz_from_be(q, paramsets().at("A").q.data());
    Rng rng(0x3502);
    for (int i = 0; i < 20; i++) {
        const Bytes d1 = scalar(rng, q), d2 = scalar(rng, q), ukm = rng.bytes(8);
        Bytes pub1(64), pub2(64);
        uint8_t kek[32];
        ASSERT_EQ(vko341001_gen_pubkey(&ctx, d1.data(), pub1.data()), 0u);
        ASSERT_EQ(vko341001_gen_pubkey(&ctx, d2.data(), pub2.data()), 0u);
        const uint32_t code = vko341001_gen_kek(&ctx, kek, d1.data(), pub2.data(), ukm.data());
        if (ukm == Bytes(8, 0)) {
            EXPECT_EQ(code, 9u);
            continue;
        }
        ASSERT_EQ(code, 0u);
        NettleKey own(curve, d1, pub1), peer(curve, d2, pub2);
        const Bytes ukm_le = reversed(ukm);
        uint8_t point[64];  // x || y, each little-endian
        gostdsa_vko(&own.d, &peer.Q, 8, ukm_le.data(), point);
        const Bytes x = reversed(Bytes(point, point + 32)),
                    y = reversed(Bytes(point + 32, point + 64));
        const Bytes input = left_aligned(x, y);
        gosthash94_ctx h;
        uint8_t want[32];
        gosthash94cp_init(&h);
        gosthash94cp_update(&h, input.size(), input.data());
        gosthash94cp_digest(&h, sizeof want, want);
        EXPECT_EQ(to_hex(kek, 32), to_hex(want, 32)) << i;
    }
}

#else

TEST(GostR341001Oracles, NettleGostdsaSignsAndVerifiesLikeThisLibraryOnCryptoProA) {
    oracle_missing("nettle/hogweed gostdsa");
}

#endif

#if defined(LNCEXT_HAVE_OPENSSL)

namespace {

struct Engine {
    ENGINE *e = nullptr;
    Engine() {
        ENGINE_load_builtin_engines();
        e = ENGINE_by_id("gost");
        if (e != nullptr && ENGINE_init(e) != 1) {
            ENGINE_free(e);
            e = nullptr;
        }
        // Its key types and digests become known to EVP only as defaults.
        if (e != nullptr) ENGINE_set_default(e, ENGINE_METHOD_ALL);
    }
    ~Engine() {
        if (e != nullptr) {
            ENGINE_finish(e);
            ENGINE_free(e);
        }
    }
};

BIGNUM *bn(const Bytes &be) {
    return BN_bin2bn(be.data(), int(be.size()), nullptr);
}

Bytes be32(const BIGNUM *b) {
    Bytes out(32);
    EXPECT_EQ(BN_bn2binpad(b, out.data(), 32), 32);
    return out;
}

// A GOST R 34.10-2001 key of the engine on the named parameter set, set to
// the private key d and public key pub.
EVP_PKEY *engine_key(ENGINE *e, const char *paramset, const Bytes &d, const Bytes &pub) {
    EVP_PKEY *key = nullptr;
    EVP_PKEY_CTX *pc = EVP_PKEY_CTX_new_id(NID_id_GostR3410_2001, e);
    if (pc == nullptr || EVP_PKEY_keygen_init(pc) != 1 ||
        EVP_PKEY_CTX_ctrl_str(pc, "paramset", paramset) <= 0 || EVP_PKEY_keygen(pc, &key) != 1) {
        EVP_PKEY_CTX_free(pc);
        return nullptr;
    }
    EVP_PKEY_CTX_free(pc);
    EC_KEY *ec = static_cast<EC_KEY *>(EVP_PKEY_get0(key));
    const EC_GROUP *g = EC_KEY_get0_group(ec);
    BIGNUM *dn = bn(d), *x = bn(Bytes(pub.begin(), pub.begin() + 32)),
           *y = bn(Bytes(pub.begin() + 32, pub.end()));
    EC_POINT *Q = EC_POINT_new(g);
    const bool ok = EC_KEY_set_private_key(ec, dn) == 1 &&
                    EC_POINT_set_affine_coordinates(g, Q, x, y, nullptr) == 1 &&
                    EC_KEY_set_public_key(ec, Q) == 1;
    EC_POINT_free(Q);
    BN_free(dn);
    BN_free(x);
    BN_free(y);
    if (!ok) {
        EVP_PKEY_free(key);
        return nullptr;
    }
    return key;
}

}  // namespace

TEST(GostR341001Oracles, OpenSslGostEngineSignaturesBothWaysAndVkoOnEveryParameterSet) {
    Engine engine;
    if (engine.e == nullptr) return oracle_missing("OpenSSL GOST engine");
    std::printf("oracle: OpenSSL GOST engine ran\n");
    const std::pair<const char *, const char *> sets[] = {
        {"test", "0"}, {"A", "A"}, {"B", "B"}, {"C", "C"}, {"XchA", "XA"}, {"XchB", "XB"}};
    const EVP_MD *md94 = ENGINE_get_digest(engine.e, NID_id_GostR3411_94);
    ASSERT_NE(md94, nullptr);
    Rng rng(0x3503);
    for (const auto &[name, engine_name] : sets) {
        SCOPED_TRACE(name);
        rds_ctx ctx;
        init_ctx(&ctx, paramsets().at(name));
        Mpz q;
        mpz_from_be(q, paramsets().at(name).q.data());
        for (int i = 0; i < 6; i++) {
            const Bytes d = scalar(rng, q), k = scalar(rng, q), h = rng.bytes(32);
            Bytes pub(64), sig(64);
            ASSERT_EQ(rds_gen_keys(&ctx, d.data(), pub.data()), 0u);
            ASSERT_EQ(rds_sign(&ctx, d.data(), k.data(), h.data(), sig.data()), 0u);
            EVP_PKEY *key = engine_key(engine.e, engine_name, d, pub);
            ASSERT_NE(key, nullptr) << "the engine refused the key (off its curve?)";
            // The engine's group has our parameters and d G = pub there too.
            EC_KEY *ec = static_cast<EC_KEY *>(EVP_PKEY_get0(key));
            ASSERT_EQ(EC_KEY_check_key(ec), 1);

            const Bytes hr = reversed(h);
            EVP_PKEY_CTX *pc = EVP_PKEY_CTX_new(key, engine.e);
            ASSERT_EQ(EVP_PKEY_verify_init(pc), 1);
            EXPECT_EQ(EVP_PKEY_verify(pc, sig.data(), 64, hr.data(), 32), 1);
            Bytes bad = sig;
            bad[rng.below(64)] ^= 0x04;
            EXPECT_NE(EVP_PKEY_verify(pc, bad.data(), 64, hr.data(), 32), 1);
            EVP_PKEY_CTX_free(pc);

            Bytes theirs(64);
            size_t len = theirs.size();
            pc = EVP_PKEY_CTX_new(key, engine.e);
            ASSERT_EQ(EVP_PKEY_sign_init(pc), 1);
            ASSERT_EQ(EVP_PKEY_sign(pc, theirs.data(), &len, hr.data(), 32), 1);
            EVP_PKEY_CTX_free(pc);
            ASSERT_EQ(len, 64u);
            EXPECT_EQ(rds_verify(&ctx, pub.data(), h.data(), theirs.data()), 0u);

            // VKO: the engine's derive against our shared point (its KEK
            // hashes LE(x) || LE(y)), and the engine's point arithmetic
            // against our KEK's own encoding.
            const Bytes d2 = scalar(rng, q), ukm = rng.bytes(8);
            Bytes pub2(64);
            ASSERT_EQ(vko341001_gen_pubkey(&ctx, d2.data(), pub2.data()), 0u);
            uint8_t kek[32];
            const uint32_t code = vko341001_gen_kek(&ctx, kek, d.data(), pub2.data(), ukm.data());
            EVP_PKEY *peer = engine_key(engine.e, engine_name, d2, pub2);
            ASSERT_NE(peer, nullptr);
            if (code == 0) {
                const Bytes t = vko_scalar(d, ukm, q);
                lnmec_point P, K;
                ASSERT_NE(
                    lnmecpcr(&ctx.curve, &P, big(Bytes(pub2.begin(), pub2.begin() + 32)).data(),
                             big(Bytes(pub2.begin() + 32, pub2.end())).data()),
                    nullptr);
                const Bytes ours = affine(&ctx.curve, *lnmeckp(&ctx.curve, &K, big(t).data(), &P));
                const Bytes ours_le = cat(reversed(Bytes(ours.begin(), ours.begin() + 32)),
                                          reversed(Bytes(ours.begin() + 32, ours.end())));
                Bytes derived(32);
                size_t dlen = derived.size();
                Bytes ukm_le = reversed(ukm);
                pc = EVP_PKEY_CTX_new(key, engine.e);
                ASSERT_EQ(EVP_PKEY_derive_init(pc), 1);
                ASSERT_EQ(EVP_PKEY_derive_set_peer(pc, peer), 1);
                ASSERT_GT(EVP_PKEY_CTX_ctrl(pc, -1, -1, EVP_PKEY_CTRL_SET_IV, 8, ukm_le.data()), 0);
                ASSERT_EQ(EVP_PKEY_derive(pc, derived.data(), &dlen), 1);
                EVP_PKEY_CTX_free(pc);
                gr341194_md_ctx mdc;
                uint8_t want[32];
                gr341194_md_init_ext(&mdc, CryptoPro_iv, CryptoPro_uz);
                gr341194_md_update(&mdc, ours_le.data(), 64);
                gr341194_md_final(&mdc, want);
                EXPECT_EQ(to_hex(derived), to_hex(want, 32));

                // K = t Q2 by OpenSSL's EC arithmetic on the engine's group,
                // encoded left-aligned and hashed by the engine's digest.
                const EC_GROUP *g = EC_KEY_get0_group(ec);
                EC_POINT *Kp = EC_POINT_new(g);
                BIGNUM *tn = bn(t), *x = BN_new(), *y = BN_new();
                ASSERT_EQ(
                    EC_POINT_mul(g, Kp, nullptr,
                                 EC_KEY_get0_public_key(static_cast<EC_KEY *>(EVP_PKEY_get0(peer))),
                                 tn, nullptr),
                    1);
                ASSERT_EQ(EC_POINT_get_affine_coordinates(g, Kp, x, y, nullptr), 1);
                const Bytes input = left_aligned(be32(x), be32(y));
                unsigned int hlen = 0;
                ASSERT_EQ(EVP_Digest(input.data(), input.size(), want, &hlen, md94, engine.e), 1);
                EXPECT_EQ(to_hex(kek, 32), to_hex(want, 32));
                EC_POINT_free(Kp);
                BN_free(tn);
                BN_free(x);
                BN_free(y);
            }
            EVP_PKEY_free(peer);
            EVP_PKEY_free(key);
        }
    }
}

#else

TEST(GostR341001Oracles, OpenSslGostEngineSignaturesBothWaysAndVkoOnEveryParameterSet) {
    oracle_missing("OpenSSL");
}

#endif
