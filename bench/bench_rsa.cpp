// RSA: the private (CRT) and public operations, key generation and the
// primality test, each beside OpenSSL, nettle and GMP on the same key in the
// same run. Key generation times vary with the random input, so it is timed
// over many seeds and the median reported (median_ms).
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <random>
#include <vector>

#ifdef LNCEXT_HAVE_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/bn.h>
#include <openssl/rsa.h>
#endif

#include "lncext/rsa.h"

// nettle's rsa.h defines rsa_encrypt and rsa_decrypt as macros naming its own
// functions; the library's rsa_encrypt is taken before it is included.
namespace {
constexpr auto lncext_rsa_encrypt = &rsa_encrypt;
}  // namespace

#include <nettle/rsa.h>

namespace {

using Bytes = std::vector<uint8_t>;

std::mt19937_64 &prng() {
    static std::mt19937_64 g(0x72736162);
    return g;
}

int bench_random(uint8_t *buf, uint32_t len) {
    for (uint32_t i = 0; i < len; i++) buf[i] = uint8_t(prng()());
    return 0;
}

// One key of each size, generated here, with its blobs and as GMP numbers.
struct Key {
    Bytes pub, priv;
    uint32_t k;
    mpz_t n, e, d, p, q, dp, dq, qinv;

    explicit Key(uint32_t bits) : k(bits / 8) {
        rsa_gen_rnd = bench_random;
        rsa_keygen_ctx ctx;
        if (rsa_keygen_init(&ctx, bits) != RSA_OK) std::abort();
        Bytes rnd(bits / 16);
        uint32_t r;
        do {
            bench_random(rnd.data(), uint32_t(rnd.size()));
            r = rsa_keygen(&ctx, rnd.data(), uint32_t(rnd.size()));
        } while (r == RSA_NEED_MORE);
        pub.resize(RSA_PUBKEY_BYTES(bits));
        priv.resize(RSA_PRIVKEY_BYTES(bits));
        if (r != RSA_OK || rsa_get_pubkey(&ctx, pub.data(), uint32_t(pub.size())) != RSA_OK ||
            rsa_get_privkey(&ctx, priv.data(), uint32_t(priv.size())) != RSA_OK)
            std::abort();
        mpz_inits(n, e, d, p, q, dp, dq, qinv, nullptr);
        auto get = [](mpz_t z, const uint32_t *x) { mpz_import(z, x[0], -1, 4, 0, 0, x + 1); };
        get(p, ctx.p);
        get(q, ctx.q);
        get(dp, ctx.dP);
        get(dq, ctx.dQ);
        get(qinv, ctx.qInv);
        mpz_mul(n, p, q);
        mpz_set_ui(e, 65537);
        mpz_t l, pm1, qm1;
        mpz_inits(l, pm1, qm1, nullptr);
        mpz_sub_ui(pm1, p, 1);
        mpz_sub_ui(qm1, q, 1);
        mpz_lcm(l, pm1, qm1);
        mpz_invert(d, e, l);
        mpz_clears(l, pm1, qm1, nullptr);
    }

    Bytes message() const {
        Bytes m(k);
        for (auto &b : m) b = uint8_t(prng()());
        m[0] = 0;  // below n
        return m;
    }

    static const Key &get(uint32_t bits) {
        static const Key k1024(1024), k2048(2048);
        return bits == 1024 ? k1024 : k2048;
    }
};

// ---- Private operation ----

void BM_rsa_sign(benchmark::State &state) {
    const Key &key = Key::get(uint32_t(state.range(0)));
    const Bytes m = key.message();
    Bytes s(key.k);
    for (auto _ : state) {
        if (rsa_sign(s.data(), m.data(), int32_t(m.size()), key.priv.data()) != RSA_OK)
            state.SkipWithError("rsa_sign failed");
        benchmark::DoNotOptimize(s.data());
    }
    state.counters["ops_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_nettle_rsa_compute_root(benchmark::State &state) {
    const Key &key = Key::get(uint32_t(state.range(0)));
    rsa_private_key priv;
    nettle_rsa_private_key_init(&priv);
    mpz_set(priv.d, key.d);
    mpz_set(priv.p, key.p);
    mpz_set(priv.q, key.q);
    mpz_set(priv.a, key.dp);
    mpz_set(priv.b, key.dq);
    mpz_set(priv.c, key.qinv);
    nettle_rsa_private_key_prepare(&priv);
    mpz_t m, s;
    mpz_inits(m, s, nullptr);
    const Bytes mb = key.message();
    mpz_import(m, mb.size(), 1, 1, 0, 0, mb.data());
    for (auto _ : state) {
        nettle_rsa_compute_root(&priv, s, m);
        benchmark::DoNotOptimize(s);
    }
    state.counters["ops_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    mpz_clears(m, s, nullptr);
    nettle_rsa_private_key_clear(&priv);
}

void BM_gmp_powm_private(benchmark::State &state) {
    const Key &key = Key::get(uint32_t(state.range(0)));
    mpz_t m, s;
    mpz_inits(m, s, nullptr);
    const Bytes mb = key.message();
    mpz_import(m, mb.size(), 1, 1, 0, 0, mb.data());
    for (auto _ : state) {
        mpz_powm(s, m, key.d, key.n);
        benchmark::DoNotOptimize(s);
    }
    state.counters["ops_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    mpz_clears(m, s, nullptr);
}

// ---- Public operation ----

void BM_rsa_encrypt(benchmark::State &state) {
    const Key &key = Key::get(uint32_t(state.range(0)));
    const Bytes m = key.message();
    Bytes c(key.k);
    for (auto _ : state) {
        if (lncext_rsa_encrypt(c.data(), m.data(), int32_t(m.size()), key.pub.data()) != RSA_OK)
            state.SkipWithError("rsa_encrypt failed");
        benchmark::DoNotOptimize(c.data());
    }
    state.counters["ops_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_gmp_powm_public(benchmark::State &state) {
    const Key &key = Key::get(uint32_t(state.range(0)));
    mpz_t m, c;
    mpz_inits(m, c, nullptr);
    const Bytes mb = key.message();
    mpz_import(m, mb.size(), 1, 1, 0, 0, mb.data());
    for (auto _ : state) {
        mpz_powm(c, m, key.e, key.n);
        benchmark::DoNotOptimize(c);
    }
    state.counters["ops_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    mpz_clears(m, c, nullptr);
}

#ifdef LNCEXT_HAVE_OPENSSL
BIGNUM *bn_of(const mpz_t z) {
    Bytes v((mpz_sizeinbase(z, 2) + 7) / 8);
    size_t count = 0;
    mpz_export(v.data(), &count, 1, 1, 0, 0, z);
    return BN_bin2bn(v.data(), int(count), nullptr);
}

RSA *openssl_key(const Key &key) {
    RSA *rsa = RSA_new();
    RSA_set0_key(rsa, bn_of(key.n), bn_of(key.e), bn_of(key.d));
    RSA_set0_factors(rsa, bn_of(key.p), bn_of(key.q));
    RSA_set0_crt_params(rsa, bn_of(key.dp), bn_of(key.dq), bn_of(key.qinv));
    return rsa;
}

// Raw RSA without padding through OpenSSL's default method (CRT, blinding
// on as OpenSSL ships it).
void BM_openssl_private(benchmark::State &state) {
    const Key &key = Key::get(uint32_t(state.range(0)));
    RSA *rsa = openssl_key(key);
    const Bytes m = key.message();
    Bytes s(key.k), ours(key.k);
    for (auto _ : state) {
        if (RSA_private_decrypt(int(key.k), m.data(), s.data(), rsa, RSA_NO_PADDING) != int(key.k))
            state.SkipWithError("OpenSSL private operation failed");
        benchmark::DoNotOptimize(s.data());
    }
    if (rsa_sign(ours.data(), m.data(), int32_t(m.size()), key.priv.data()) != RSA_OK || ours != s)
        state.SkipWithError("rsa_sign disagrees with OpenSSL");
    state.counters["ops_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    RSA_free(rsa);
}

void BM_openssl_public(benchmark::State &state) {
    const Key &key = Key::get(uint32_t(state.range(0)));
    RSA *rsa = openssl_key(key);
    const Bytes m = key.message();
    Bytes c(key.k), ours(key.k);
    for (auto _ : state) {
        if (RSA_public_encrypt(int(key.k), m.data(), c.data(), rsa, RSA_NO_PADDING) != int(key.k))
            state.SkipWithError("OpenSSL public operation failed");
        benchmark::DoNotOptimize(c.data());
    }
    if (lncext_rsa_encrypt(ours.data(), m.data(), int32_t(m.size()), key.pub.data()) != RSA_OK ||
        ours != c)
        state.SkipWithError("rsa_encrypt disagrees with OpenSSL");
    state.counters["ops_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    RSA_free(rsa);
}
#endif

// ---- Key generation: the median over a fixed set of seeds ----

// Thread CPU time in ms: the machine may be shared, and every side is timed
// alike.
double cpu_ms() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

template <class Generate>
void keygen_median(benchmark::State &state, Generate generate) {
    std::vector<double> ms;
    uint64_t seed = 1;
    for (auto _ : state) {
        prng().seed(seed++);
        const double t0 = cpu_ms();
        generate();
        ms.push_back(cpu_ms() - t0);
    }
    std::sort(ms.begin(), ms.end());
    state.counters["median_ms"] = ms[ms.size() / 2];
}

void BM_rsa_keygen(benchmark::State &state) {
    const uint32_t bits = uint32_t(state.range(0));
    rsa_gen_rnd = bench_random;
    Bytes rnd(bits / 16);
    keygen_median(state, [&] {
        rsa_keygen_ctx ctx;
        if (rsa_keygen_init(&ctx, bits) != RSA_OK) std::abort();
        uint32_t r;
        do {
            bench_random(rnd.data(), uint32_t(rnd.size()));
            r = rsa_keygen(&ctx, rnd.data(), uint32_t(rnd.size()));
        } while (r == RSA_NEED_MORE);
        benchmark::DoNotOptimize(ctx.qInv);
    });
}

void nettle_random(void *, size_t len, uint8_t *dst) {
    for (size_t i = 0; i < len; i++) dst[i] = uint8_t(prng()());
}

void BM_nettle_rsa_generate_keypair(benchmark::State &state) {
    const unsigned bits = unsigned(state.range(0));
    keygen_median(state, [&] {
        rsa_public_key pub;
        rsa_private_key priv;
        nettle_rsa_public_key_init(&pub);
        nettle_rsa_private_key_init(&priv);
        mpz_set_ui(pub.e, 65537);
        if (!nettle_rsa_generate_keypair(&pub, &priv, nullptr, nettle_random, nullptr, nullptr,
                                         bits, 0))
            std::abort();
        nettle_rsa_public_key_clear(&pub);
        nettle_rsa_private_key_clear(&priv);
    });
}

#ifdef LNCEXT_HAVE_OPENSSL
void BM_openssl_rsa_generate_key(benchmark::State &state) {
    const int bits = int(state.range(0));
    keygen_median(state, [&] {
        RSA *rsa = RSA_new();
        BIGNUM *e = BN_new();
        BN_set_word(e, 65537);
        if (RSA_generate_key_ex(rsa, bits, e, nullptr) != 1) std::abort();
        BN_free(e);
        RSA_free(rsa);
    });
}
#endif

// ---- Primality of a 1024-bit prime: trial division and 3 Miller-Rabin
// rounds here; GMP's mpz_probab_prime_p(p, 3), trial division and a
// Baillie-PSW test ----

void BM_isPrime(benchmark::State &state) {
    const Key &key = Key::get(2048);
    std::vector<uint32_t> p(72, 0);
    size_t count = 0;
    mpz_export(p.data() + 1, &count, -1, 4, 0, 0, key.p);
    p[0] = uint32_t(count);
    rsa_gen_rnd = bench_random;
    for (auto _ : state) {
        const int r = isPrime(p.data());
        benchmark::DoNotOptimize(r);
        if (r != 1) state.SkipWithError("isPrime rejected a prime");
    }
}

void BM_gmp_probab_prime_p(benchmark::State &state) {
    const Key &key = Key::get(2048);
    mpz_t p;
    mpz_init_set(p, key.p);
    for (auto _ : state) {
        // GMP declares the test pure: the clobber keeps it inside the loop.
        benchmark::ClobberMemory();
        const int r = mpz_probab_prime_p(p, 3);
        benchmark::DoNotOptimize(r);
        if (r == 0) state.SkipWithError("GMP rejected a prime");
    }
    mpz_clear(p);
}

}  // namespace

BENCHMARK(BM_rsa_sign)->Arg(1024)->Arg(2048)->Unit(benchmark::kMicrosecond);
#ifdef LNCEXT_HAVE_OPENSSL
BENCHMARK(BM_openssl_private)->Arg(1024)->Arg(2048)->Unit(benchmark::kMicrosecond);
#endif
BENCHMARK(BM_nettle_rsa_compute_root)->Arg(1024)->Arg(2048)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_gmp_powm_private)->Arg(1024)->Arg(2048)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_rsa_encrypt)->Arg(1024)->Arg(2048)->Unit(benchmark::kMicrosecond);
#ifdef LNCEXT_HAVE_OPENSSL
BENCHMARK(BM_openssl_public)->Arg(1024)->Arg(2048)->Unit(benchmark::kMicrosecond);
#endif
BENCHMARK(BM_gmp_powm_public)->Arg(1024)->Arg(2048)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_rsa_keygen)->Arg(1024)->Iterations(41)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_rsa_keygen)->Arg(2048)->Iterations(21)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_nettle_rsa_generate_keypair)->Arg(1024)->Iterations(41)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_nettle_rsa_generate_keypair)->Arg(2048)->Iterations(21)->Unit(benchmark::kMillisecond);
#ifdef LNCEXT_HAVE_OPENSSL
BENCHMARK(BM_openssl_rsa_generate_key)->Arg(1024)->Iterations(41)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_openssl_rsa_generate_key)->Arg(2048)->Iterations(21)->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(BM_isPrime)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_gmp_probab_prime_p)->Unit(benchmark::kMicrosecond);
