// GOST R 34.10-2001 and VKO, lncext beside nettle's gostdsa (CryptoPro A,
// its gc256b curve) and, when the engine loads, OpenSSL's GOST engine, in
// the same run. lncext runs on CryptoPro A (special-form field) and on the
// test parameter set (Montgomery form). Each benchmark reports ops/s.
#include <benchmark/benchmark.h>
#include <gmp.h>
#include <nettle/ecc-curve.h>
#include <nettle/ecc.h>
#include <nettle/gostdsa.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "lncext/gostr341001.h"

#if defined(LNCEXT_HAVE_OPENSSL)
#define OPENSSL_SUPPRESS_DEPRECATED 1
#include <openssl/ec.h>
#include <openssl/engine.h>
#include <openssl/evp.h>
#endif

namespace {

using Bytes = std::vector<uint8_t>;

Bytes hex(const char *h) {
    Bytes b;
    for (size_t i = 0; h[i] && h[i + 1]; i += 2)
        b.push_back(uint8_t(std::stoul(std::string(h + i, 2), nullptr, 16)));
    return b;
}

struct Params {
    const char *p, *a, *b, *q, *x, *y;
};
// CryptoPro A (p = 2^256 - 617) and the standard's test set (p = 2^255 + 0x431).
const Params kA = {"fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffd97",
                   "fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffd94",
                   "00000000000000000000000000000000000000000000000000000000000000a6",
                   "ffffffffffffffffffffffffffffffff6c611070995ad10045841b09b761b893",
                   "0000000000000000000000000000000000000000000000000000000000000001",
                   "8d91e471e0989cda27df505a453f2b7635294f2ddf23e3b122acc99c9e9f1e14"};
const Params kTest = {"8000000000000000000000000000000000000000000000000000000000000431",
                      "0000000000000000000000000000000000000000000000000000000000000007",
                      "5fbff498aa938ce739b8e022fbafef40563f6e6a3472fc2a514c0ce9dae23b7e",
                      "8000000000000000000000000000000150fe8a1892976154c59cfc193accf5b3",
                      "0000000000000000000000000000000000000000000000000000000000000002",
                      "08e2a8a0e65147d4bd6316030e16d19c85c97f0a9ca267122b96abbcea7e8fc8"};

// A filled context with a key pair, a nonce, a hash and a valid signature.
struct Setup {
    rds_ctx ctx;
    Bytes d = hex("7a929ade789bb9be10ed359dd39a72c11b60961f49397eee1d19ce9891ec3b28");
    Bytes k = hex("77105c9b20bcd3122823c8cf6fcc7b956de33814e95b7fe64fed924594dceab3");
    Bytes e = hex("2dfbc1b372d89a1188c09c52e0eec61fce52032ab1022e8e67ece6672b043ee5");
    Bytes ukm = hex("33a252f825be7251");
    Bytes pub = Bytes(64), sig = Bytes(64), peer = Bytes(64);
    explicit Setup(const Params &ps) {
        const Bytes p = hex(ps.p), a = hex(ps.a), b = hex(ps.b), q = hex(ps.q), x = hex(ps.x),
                    y = hex(ps.y);
        if (rds_init(&ctx, p.data(), a.data(), b.data(), q.data(), x.data(), y.data()) != 0 ||
            rds_gen_keys(&ctx, d.data(), pub.data()) != 0 ||
            rds_sign(&ctx, d.data(), k.data(), e.data(), sig.data()) != 0 ||
            vko341001_gen_pubkey(&ctx, k.data(), peer.data()) != 0)
            std::abort();
    }
};

const Setup &setup(bool special) {
    static const Setup a(kA), t(kTest);
    return special ? a : t;
}

void rate(benchmark::State &state) {
    state.counters["ops/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

// ---- field slots ----

void BM_field(benchmark::State &state, bool special, int op) {
    const lnmpff_ctx *f = &setup(special).ctx.curve.field;
    uint32_t a[LNMPFF_WORDS], b[LNMPFF_WORDS];
    std::memcpy(a, setup(special).ctx.G.Y, sizeof a);
    std::memcpy(b, setup(special).ctx.table[3].X, sizeof b);
    for (auto _ : state) {
        if (op == 0) f->mul(f, a, b, a);
        if (op == 1) f->sqr(f, a, a);
        if (op == 2) f->inv(f, b, b);
        if (op == 3) f->add(f, a, b, a);
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
    }
    rate(state);
}
BENCHMARK_CAPTURE(BM_field, mul_special_A, true, 0);
BENCHMARK_CAPTURE(BM_field, sqr_special_A, true, 1);
BENCHMARK_CAPTURE(BM_field, inv_special_A, true, 2);
BENCHMARK_CAPTURE(BM_field, add_special_A, true, 3);
BENCHMARK_CAPTURE(BM_field, mul_montgomery_test, false, 0);
BENCHMARK_CAPTURE(BM_field, sqr_montgomery_test, false, 1);
BENCHMARK_CAPTURE(BM_field, inv_montgomery_test, false, 2);
BENCHMARK_CAPTURE(BM_field, add_montgomery_test, false, 3);

// ---- lncext protocol calls ----

void BM_lncext(benchmark::State &state, bool special, int op) {
    const Setup &s = setup(special);
    uint8_t out[64];
    for (auto _ : state) {
        uint32_t rc = 0;
        if (op == 0) rc = rds_gen_keys(&s.ctx, s.d.data(), out);
        if (op == 1) rc = rds_sign(&s.ctx, s.d.data(), s.k.data(), s.e.data(), out);
        if (op == 2) rc = rds_verify(&s.ctx, s.pub.data(), s.e.data(), s.sig.data());
        if (op == 3) rc = vko341001_gen_kek(&s.ctx, out, s.d.data(), s.peer.data(), s.ukm.data());
        if (rc != 0) state.SkipWithError("call failed");
        benchmark::DoNotOptimize(out);
    }
    rate(state);
}
BENCHMARK_CAPTURE(BM_lncext, gen_keys_A, true, 0);
BENCHMARK_CAPTURE(BM_lncext, sign_A, true, 1);
BENCHMARK_CAPTURE(BM_lncext, verify_A, true, 2);
BENCHMARK_CAPTURE(BM_lncext, vko_kek_A, true, 3);
BENCHMARK_CAPTURE(BM_lncext, gen_keys_test, false, 0);
BENCHMARK_CAPTURE(BM_lncext, sign_test, false, 1);
BENCHMARK_CAPTURE(BM_lncext, verify_test, false, 2);
BENCHMARK_CAPTURE(BM_lncext, vko_kek_test, false, 3);

// ---- nettle gostdsa on gc256b (the CryptoPro A curve) ----

void nettle_random(void *ctx, size_t n, uint8_t *out) {
    auto *g = static_cast<std::mt19937_64 *>(ctx);
    for (size_t i = 0; i < n; i++) out[i] = uint8_t((*g)());
}

struct NettleSetup {
    ecc_scalar d;
    ecc_point Q;
    dsa_signature sig;
    Bytes digest;
    NettleSetup() {
        const Setup &s = setup(true);
        const ecc_curve *c = nettle_get_gost_gc256b();
        ecc_scalar_init(&d, c);
        ecc_point_init(&Q, c);
        dsa_signature_init(&sig);
        mpz_t z, x, y;
        mpz_inits(z, x, y, nullptr);
        mpz_import(z, 32, 1, 1, 1, 0, s.d.data());
        mpz_import(x, 32, 1, 1, 1, 0, s.pub.data());
        mpz_import(y, 32, 1, 1, 1, 0, s.pub.data() + 32);
        if (ecc_scalar_set(&d, z) != 1 || ecc_point_set(&Q, x, y) != 1) std::abort();
        mpz_clears(z, x, y, nullptr);
        digest.assign(s.e.rbegin(), s.e.rend());
        std::mt19937_64 g(1);
        gostdsa_sign(&d, &g, nettle_random, 32, digest.data(), &sig);
    }
};

const NettleSetup &nettle_setup() {
    static const NettleSetup n;
    return n;
}

void BM_nettle(benchmark::State &state, int op) {
    const NettleSetup &n = nettle_setup();
    std::mt19937_64 g(2);
    dsa_signature sig;
    dsa_signature_init(&sig);
    uint8_t out[64];
    const uint8_t ukm[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    for (auto _ : state) {
        if (op == 1) gostdsa_sign(&n.d, &g, nettle_random, 32, n.digest.data(), &sig);
        if (op == 2 && gostdsa_verify(&n.Q, 32, n.digest.data(), &n.sig) != 1)
            state.SkipWithError("verify failed");
        if (op == 3) gostdsa_vko(&n.d, &n.Q, 8, ukm, out);
        benchmark::DoNotOptimize(out);
    }
    dsa_signature_clear(&sig);
    rate(state);
}
BENCHMARK_CAPTURE(BM_nettle, sign_gc256b, 1);
BENCHMARK_CAPTURE(BM_nettle, verify_gc256b, 2);
BENCHMARK_CAPTURE(BM_nettle, vko_point_gc256b, 3);

#if defined(LNCEXT_HAVE_OPENSSL)

// ---- OpenSSL GOST engine, parameter set A ----

struct EngineSetup {
    ENGINE *e = nullptr;
    EVP_PKEY *key = nullptr;
    Bytes digest, sig = Bytes(64);
    EngineSetup() {
        ENGINE_load_builtin_engines();
        e = ENGINE_by_id("gost");
        if (e == nullptr || ENGINE_init(e) != 1) {
            e = nullptr;
            return;
        }
        ENGINE_set_default(e, ENGINE_METHOD_ALL);
        EVP_PKEY_CTX *pc = EVP_PKEY_CTX_new_id(NID_id_GostR3410_2001, e);
        if (EVP_PKEY_keygen_init(pc) != 1 || EVP_PKEY_CTX_ctrl_str(pc, "paramset", "A") <= 0 ||
            EVP_PKEY_keygen(pc, &key) != 1)
            key = nullptr;
        EVP_PKEY_CTX_free(pc);
        digest = setup(true).e;
        if (key == nullptr) return;
        size_t len = 64;
        pc = EVP_PKEY_CTX_new(key, e);
        if (EVP_PKEY_sign_init(pc) != 1 ||
            EVP_PKEY_sign(pc, sig.data(), &len, digest.data(), 32) != 1)
            key = nullptr;
        EVP_PKEY_CTX_free(pc);
    }
};

void BM_openssl_engine(benchmark::State &state, int op) {
    static EngineSetup es;
    if (es.key == nullptr) {
        state.SkipWithError("GOST engine not available");
        for (auto _ : state) {
        }
        return;
    }
    EVP_PKEY_CTX *pc = EVP_PKEY_CTX_new(es.key, es.e);
    if (op == 1) EVP_PKEY_sign_init(pc);
    if (op == 2) EVP_PKEY_verify_init(pc);
    uint8_t sig[64];
    for (auto _ : state) {
        size_t len = 64;
        if (op == 1 && EVP_PKEY_sign(pc, sig, &len, es.digest.data(), 32) != 1)
            state.SkipWithError("sign failed");
        if (op == 2 && EVP_PKEY_verify(pc, es.sig.data(), 64, es.digest.data(), 32) != 1)
            state.SkipWithError("verify failed");
        benchmark::DoNotOptimize(sig);
    }
    EVP_PKEY_CTX_free(pc);
    rate(state);
}
BENCHMARK_CAPTURE(BM_openssl_engine, sign_A, 1);
BENCHMARK_CAPTURE(BM_openssl_engine, verify_A, 2);

#endif

}  // namespace
