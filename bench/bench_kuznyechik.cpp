// The 128-bit block cipher: ECB (both directions) and CTR throughput on
// 64 KiB buffers, and key set-ups per second. None of the installed
// independent libraries implements this cipher, so there is no side-by-side
// figure here.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "lncext/kuznyechik.h"

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

}  // namespace

BENCHMARK(BM_kuzn_ecb_encrypt);
BENCHMARK(BM_kuzn_ecb_decrypt);
BENCHMARK(BM_kuzn_ctr);
BENCHMARK(BM_kuzn_setup_keys);
BENCHMARK(BM_kuzn_block_enc);
