// The 128-bit block cipher: ECB (both directions) and CTR throughput on
// 64 KiB buffers, and key set-ups per second, beside the OpenSSL GOST
// engine's kuznyechik-ecb and kuznyechik-ctr driven through EVP (when
// libcrypto is there and the engine loads).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "lncext/kuznyechik.h"

#if defined(LNCEXT_HAVE_OPENSSL)
#define OPENSSL_SUPPRESS_DEPRECATED 1
#include <openssl/engine.h>
#include <openssl/evp.h>
#endif

namespace {

constexpr uint32_t kBuf = 64 * 1024;

const uint32_t *test_key() {
    static uint32_t key[8];
    for (int i = 0; i < 8; i++) key[i] = 0x9E3779B9u * uint32_t(i + 1);
    return key;
}

void ecb(benchmark::State &state, int mode) {
    kuzn_ecb_ctx ctx;
    kuzn_ecb_init(&ctx, mode, test_key());
    std::vector<uint8_t> buf(kBuf, 0x5A);
    for (auto _ : state) {
        kuzn_ecb_update(&ctx, buf.data(), buf.data(), kBuf);
        benchmark::DoNotOptimize(buf.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kBuf);
}

void BM_kuzn_ecb_encrypt(benchmark::State &state) {
    ecb(state, 1);
}
void BM_kuzn_ecb_decrypt(benchmark::State &state) {
    ecb(state, 0);
}

void BM_kuzn_ctr(benchmark::State &state) {
    const uint8_t iv[8] = {0x12, 0x34, 0x56, 0x78, 0x90, 0xab, 0xce, 0xf0};
    kuzn_ctr_ctx ctx;
    kuzn_ctr_init(&ctx, iv, test_key());
    std::vector<uint8_t> buf(kBuf, 0x5A);
    for (auto _ : state) {
        kuzn_ctr_update(&ctx, buf.data(), buf.data(), kBuf);
        benchmark::DoNotOptimize(buf.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kBuf);
}

void BM_kuzn_setup_keys(benchmark::State &state) {
    kuzn_ecb_ctx ctx;
    uint32_t key[8];
    for (int i = 0; i < 8; i++) key[i] = test_key()[i];
    for (auto _ : state) {
        kuzn_setup_keys(&ctx, key);
        key[0]++;
        benchmark::DoNotOptimize(&ctx);
        benchmark::ClobberMemory();
    }
    state.counters["keys/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_kuzn_block_enc(benchmark::State &state) {
    kuzn_ecb_ctx ctx;
    kuzn_ecb_init(&ctx, 1, test_key());
    uint8_t block[16] = {0};
    for (auto _ : state) {
        kuzn_block_enc(block, &ctx.keys[0][0]);
        benchmark::DoNotOptimize(block);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * 16);
}

#if defined(LNCEXT_HAVE_OPENSSL)

// The GOST engine, loaded once; null when it cannot be had.
ENGINE *gost_engine() {
    static ENGINE *e = [] {
        ENGINE_load_builtin_engines();
        ENGINE *g = ENGINE_by_id("gost");
        if (g == nullptr || ENGINE_init(g) != 1) return static_cast<ENGINE *>(nullptr);
        ENGINE_set_default(g, ENGINE_METHOD_ALL);
        return g;
    }();
    return e;
}

// An EVP context for the engine's cipher with our test key, or null.
EVP_CIPHER_CTX *engine_ctx(const char *name, int enc) {
    const EVP_CIPHER *c = gost_engine() ? EVP_get_cipherbyname(name) : nullptr;
    if (c == nullptr) return nullptr;
    const uint8_t iv[8] = {0x12, 0x34, 0x56, 0x78, 0x90, 0xab, 0xce, 0xf0};
    EVP_CIPHER_CTX *ctx = EVP_CIPHER_CTX_new();
    if (EVP_CipherInit_ex(ctx, c, gost_engine(), reinterpret_cast<const uint8_t *>(test_key()), iv,
                          enc) != 1) {
        EVP_CIPHER_CTX_free(ctx);
        return nullptr;
    }
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    return ctx;
}

void BM_engine(benchmark::State &state, const char *name, int enc) {
    EVP_CIPHER_CTX *ctx = engine_ctx(name, enc);
    if (ctx == nullptr) {
        state.SkipWithError("OpenSSL GOST engine not available");
        for (auto _ : state) {
        }
        return;
    }
    std::vector<uint8_t> buf(kBuf, 0x5A), out(kBuf);
    for (auto _ : state) {
        int len = 0;
        EVP_CipherUpdate(ctx, out.data(), &len, buf.data(), int(kBuf));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kBuf);
    EVP_CIPHER_CTX_free(ctx);
}

// Key set-up through EVP: the engine expands the key on every init.
void BM_engine_setup_keys(benchmark::State &state) {
    EVP_CIPHER_CTX *ctx = engine_ctx("kuznyechik-ecb", 1);
    if (ctx == nullptr) {
        state.SkipWithError("OpenSSL GOST engine not available");
        for (auto _ : state) {
        }
        return;
    }
    uint8_t key[32];
    std::memcpy(key, test_key(), 32);
    for (auto _ : state) {
        EVP_CipherInit_ex(ctx, nullptr, nullptr, key, nullptr, 1);
        key[0]++;
        benchmark::ClobberMemory();
    }
    state.counters["keys/s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    EVP_CIPHER_CTX_free(ctx);
}

#endif

}  // namespace

BENCHMARK(BM_kuzn_ecb_encrypt);
BENCHMARK(BM_kuzn_ecb_decrypt);
BENCHMARK(BM_kuzn_ctr);
BENCHMARK(BM_kuzn_setup_keys);
BENCHMARK(BM_kuzn_block_enc);

#if defined(LNCEXT_HAVE_OPENSSL)
BENCHMARK_CAPTURE(BM_engine, ecb_encrypt, "kuznyechik-ecb", 1);
BENCHMARK_CAPTURE(BM_engine, ecb_decrypt, "kuznyechik-ecb", 0);
BENCHMARK_CAPTURE(BM_engine, ctr, "kuznyechik-ctr", 1);
BENCHMARK(BM_engine_setup_keys);
#endif
