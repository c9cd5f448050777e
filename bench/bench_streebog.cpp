// Streebog throughput: 64 KiB messages (bytes/s) and 64-byte messages
// (hashes/s), beside libgcrypt and nettle measured in the same run.
#include <benchmark/benchmark.h>
#include <gcrypt.h>

#include <cstdint>
#include <vector>

#include "lncext/streebog.h"

#include <nettle/streebog.h>
// nettle maps these names onto its own symbols with macros; call its
// prefixed functions explicitly instead.
#undef streebog256_init
#undef streebog256_update
#undef streebog256_digest
#undef streebog512_init
#undef streebog512_update
#undef streebog512_digest
#undef streebog256_ctx

namespace {

std::vector<uint8_t> message(size_t n) {
    std::vector<uint8_t> m(n);
    for (size_t i = 0; i < n; i++) m[i] = uint8_t(i * 131 + 7);
    return m;
}

template <bool Is512>
void BM_lncext(benchmark::State &state) {
    const auto msg = message(size_t(state.range(0)));
    uint8_t out[64];
    for (auto _ : state) {
        streebog_ctx ctx;
        if (Is512) {
            streebog512_init(&ctx);
            streebog512_update(&ctx, msg.data(), uint32_t(msg.size()));
            streebog512_final(out, &ctx);
        } else {
            streebog256_init(&ctx);
            streebog256_update(&ctx, msg.data(), uint32_t(msg.size()));
            streebog256_final(out, &ctx);
        }
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
    state.SetItemsProcessed(int64_t(state.iterations()));
}

template <bool Is512>
void BM_gcrypt(benchmark::State &state) {
    gcry_check_version(nullptr);
    const auto msg = message(size_t(state.range(0)));
    const int algo = Is512 ? GCRY_MD_STRIBOG512 : GCRY_MD_STRIBOG256;
    gcry_md_hd_t hd;
    if (gcry_md_open(&hd, algo, 0) != 0) {
        state.SkipWithError("gcry_md_open failed");
        return;
    }
    for (auto _ : state) {
        gcry_md_reset(hd);
        gcry_md_write(hd, msg.data(), msg.size());
        benchmark::DoNotOptimize(gcry_md_read(hd, algo));
    }
    gcry_md_close(hd);
    state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
    state.SetItemsProcessed(int64_t(state.iterations()));
}

template <bool Is512>
void BM_nettle(benchmark::State &state) {
    const auto msg = message(size_t(state.range(0)));
    uint8_t out[64];
    for (auto _ : state) {
        struct streebog512_ctx ctx;
        if (Is512) {
            nettle_streebog512_init(&ctx);
            nettle_streebog512_update(&ctx, msg.size(), msg.data());
            nettle_streebog512_digest(&ctx, 64, out);
        } else {
            nettle_streebog256_init(&ctx);
            nettle_streebog512_update(&ctx, msg.size(), msg.data());
            nettle_streebog256_digest(&ctx, 32, out);
        }
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * state.range(0));
    state.SetItemsProcessed(int64_t(state.iterations()));
}

// One compression in isolation.
void BM_lncext_gN(benchmark::State &state) {
    uint8_t h[64] = {1}, m[64] = {2}, n[64] = {3};
    for (auto _ : state) {
        streebog_gN(h, m, n);
        benchmark::DoNotOptimize(h);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * 64);
}

}  // namespace

BENCHMARK(BM_lncext<true>)->Name("streebog512/lncext")->Arg(65536)->Arg(64);
BENCHMARK(BM_gcrypt<true>)->Name("streebog512/gcrypt")->Arg(65536)->Arg(64);
BENCHMARK(BM_nettle<true>)->Name("streebog512/nettle")->Arg(65536)->Arg(64);
BENCHMARK(BM_lncext<false>)->Name("streebog256/lncext")->Arg(65536)->Arg(64);
BENCHMARK(BM_gcrypt<false>)->Name("streebog256/gcrypt")->Arg(65536)->Arg(64);
BENCHMARK(BM_nettle<false>)->Name("streebog256/nettle")->Arg(65536)->Arg(64);
BENCHMARK(BM_lncext_gN)->Name("streebog_gN/lncext");
