// DSTU 4145 on the published curves m = 163, 257 and 431: scalar
// multiplication k P (width-5 table built per call), signing on a pool that
// is never stepped in advance (so every signature pays its k P), verification
// and dhua_zz. Beside them, for scale, OpenSSL's ECDSA on the NIST binary
// curves of nearby size (sect163r2, sect283r1, sect409r1): other curves, the
// same kind of work.
// The EC_KEY interface is the shortest way to OpenSSL's ECDSA on a named curve.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <benchmark/benchmark.h>
#include <openssl/ec.h>
#include <openssl/ecdsa.h>
#include <openssl/obj_mac.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "lncext/bignum.h"
#include "lncext/dstu4145.h"

namespace {

// The curves as little-endian hex strings (tests/vectors/dstu4145.txt).
struct Curve {
    uint32_t m, k1, k2, k3, a;
    const char *b, *n, *gx, *gy;
};

const Curve kCurves[] = {
    {163, 7, 6, 3, 1, "215d45c1198a635e9203b40a21c82d2a460861ff05",
     "4df1bc392d26e22bc1be0200000000000000000004", "be2358f3a3f8da297223c4a583e94cd75d5ff8e202",
     "3a72cde20ce0f03fd0d98452b9d7518c8a006f8203"},
    {257, 12, 0, 0, 0, "10bee3db6aea9e1f86578c45c12594ff942394a7d738f9187e6515017294f4ce01",
     "0d477d901477e1d387e982f13a2159670000000000000000000000000000008000",
     "b70fd2d8dce8a93423c6101bca91c47a007e6c300b26cd556c9b0e7d20ef292a00",
     "ef14d856f12c708b970bd6a9932c81e60231a0eed8f6cc9f44d444f71fd4860601"},
    {431, 5, 3, 1, 1,
     "f3ca40c669a4da173149ca12c32dae186b53ac6bc6365997deaeae8ad2d888f9bfd53401694ef9c4273d8cfe6dc28"
     "f706a0f4910ce03",
     "cf040511957a0cd980afcb1f8aaa812ff024a7c0a80980457531bafffffffffffffffffffffffffffffffffffffff"
     "fffffffffffff3f",
     "7d857c94c5433bfd991e17c22684065850a9a249ed7bc249ae5a4e878689f872ef7ad524082ec3038e9aede7ba6ba"
     "13381d979ba621a",
     "b92de090e0243772e2b50833a54ba11e9b76c155a839188d6b39aa31f341a28df4a54c4b7551f466debd96febe0bf"
     "7c13140e1e1b570"},
};

std::vector<uint8_t> hex(const char *s) {
    std::vector<uint8_t> b;
    for (; s[0] && s[1]; s += 2) b.push_back(uint8_t(std::stoi(std::string(s, 2), nullptr, 16)));
    return b;
}

std::mt19937_64 gen(1);

int rnd(uint8_t *buf, uint32_t len) {
    for (uint32_t i = 0; i < len; ++i) buf[i] = uint8_t(gen());
    return 0;
}

// A complete context, a pool, a key pair and a signature per curve.
struct Setup {
    std::unique_ptr<dstu_ctx> ctx = std::make_unique<dstu_ctx>();
    std::unique_ptr<dstu_bspool_ctx> pool = std::make_unique<dstu_bspool_ctx>();
    uint8_t priv[DSTU_MAX_KEY_BYTES], pub[DSTU_MAX_FIELD_BYTES], sig[DSTU_MAX_SIG_BYTES], hash[32];
    int privlen = DSTU_MAX_KEY_BYTES, publen = DSTU_MAX_FIELD_BYTES, siglen = DSTU_MAX_SIG_BYTES;

    explicit Setup(const Curve &c) {
        const auto b = hex(c.b), n = hex(c.n);
        auto xy = hex(c.gx);
        const auto gy = hex(c.gy);
        xy.insert(xy.end(), gy.begin(), gy.end());
        uint8_t bp[DSTU_MAX_FIELD_BYTES];
        int bplen = sizeof bp;
        if (dstu_init_curve(ctx.get(), c.m, c.k1, c.k2, c.k3, c.a, int(b.size()), b.data()) != 0 ||
            dstu_cppubk(ctx.get(), bp, &bplen, xy.data()) != 0 ||
            dstu_init_pgen(ctx.get(), bplen, bp, int(n.size()), n.data()) != 0 ||
            dstu_bspool_init(pool.get(), ctx.get(), rnd) != 0 ||
            dstu_gen_keys(ctx.get(), pool.get(), &privlen, priv, &publen, pub) != 0)
            std::abort();
        ctx->cofactor = c.m == 257 ? 4 : 2;
        rnd(hash, sizeof hash);
        if (dstu_sign(ctx.get(), pool.get(), privlen, priv, 256, hash, &siglen, sig) != 0)
            std::abort();
    }
};

Setup &setup(int64_t m) {
    static Setup s163(kCurves[0]), s257(kCurves[1]), s431(kCurves[2]);
    return m == 163 ? s163 : m == 257 ? s257 : s431;
}

void BM_lncext_kp(benchmark::State &state) {
    Setup &s = setup(state.range(0));
    const lnme2_ctx *cv = &s.ctx->curve;
    uint32_t k[DSTU_SCALAR_WORDS];
    uint8_t kb[DSTU_MAX_KEY_BYTES];
    rnd(kb, s.ctx->key_bytes);
    lnmfromrbase256(k, kb, s.ctx->key_bytes);
    lnme2_point R;
    for (auto _ : state) {
        lnme2kp(cv, &R, k, &s.ctx->P);
        benchmark::DoNotOptimize(R);
    }
    state.counters["ops/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_lncext_sign_empty_pool(benchmark::State &state) {
    Setup &s = setup(state.range(0));
    uint8_t sig[DSTU_MAX_SIG_BYTES];
    for (auto _ : state) {
        int siglen = sizeof sig;
        if (dstu_sign(s.ctx.get(), s.pool.get(), s.privlen, s.priv, 256, s.hash, &siglen, sig) != 0)
            state.SkipWithError("sign failed");
    }
    state.counters["ops/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_lncext_verify(benchmark::State &state) {
    Setup &s = setup(state.range(0));
    for (auto _ : state)
        if (dstu_verify(s.ctx.get(), s.publen, s.pub, 256, s.hash, s.siglen, s.sig) != 0)
            state.SkipWithError("verify failed");
    state.counters["ops/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_lncext_dhua_zz(benchmark::State &state) {
    Setup &s = setup(state.range(0));
    uint8_t z[DSTU_MAX_FIELD_BYTES];
    int zlen;
    for (auto _ : state)
        if (dhua_zz(s.ctx.get(), s.privlen, s.priv, s.publen, s.pub, 1, &zlen, z) != 0)
            state.SkipWithError("dhua_zz failed");
    state.counters["ops/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

// OpenSSL ECDSA on a NIST binary curve (a different curve of nearby size).
int nist_curve(int64_t m) {
    return m == 163 ? NID_sect163r2 : m == 257 ? NID_sect283r1 : NID_sect409r1;
}

void BM_openssl_ecdsa_sign(benchmark::State &state) {
    EC_KEY *key = EC_KEY_new_by_curve_name(nist_curve(state.range(0)));
    EC_KEY_generate_key(key);
    unsigned char dgst[32] = {1, 2, 3}, sig[256];
    for (auto _ : state) {
        unsigned int len = sizeof sig;
        ECDSA_sign(0, dgst, sizeof dgst, sig, &len, key);
    }
    EC_KEY_free(key);
    state.counters["ops/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_openssl_ecdsa_verify(benchmark::State &state) {
    EC_KEY *key = EC_KEY_new_by_curve_name(nist_curve(state.range(0)));
    EC_KEY_generate_key(key);
    unsigned char dgst[32] = {1, 2, 3}, sig[256];
    unsigned int len = sizeof sig;
    ECDSA_sign(0, dgst, sizeof dgst, sig, &len, key);
    for (auto _ : state)
        if (ECDSA_verify(0, dgst, sizeof dgst, sig, int(len), key) != 1)
            state.SkipWithError("verify failed");
    EC_KEY_free(key);
    state.counters["ops/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

}  // namespace

BENCHMARK(BM_lncext_kp)->Arg(163)->Arg(257)->Arg(431);
BENCHMARK(BM_lncext_sign_empty_pool)->Arg(163)->Arg(257)->Arg(431);
BENCHMARK(BM_lncext_verify)->Arg(163)->Arg(257)->Arg(431);
BENCHMARK(BM_lncext_dhua_zz)->Arg(163)->Arg(257)->Arg(431);
BENCHMARK(BM_openssl_ecdsa_sign)->Arg(163)->Arg(257)->Arg(431);
BENCHMARK(BM_openssl_ecdsa_verify)->Arg(163)->Arg(257)->Arg(431);
