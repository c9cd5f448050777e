// GOST 28147-89 modes and MAC and GOST R 34.11-94, beside libgcrypt's
// GOST 28147-89 and nettle's GOST R 34.11-94 in the same run.
#include <benchmark/benchmark.h>
#include <gcrypt.h>
#include <nettle/gosthash94.h>

#include <cstdint>
#include <ctime>
#include <vector>

#include "lncext/gost28147.h"
#include "lncext/gostr341194.h"

namespace {

constexpr size_t kBuf = 64 * 1024;
// libgcrypt names S-boxes by OID; this one is the S-box of CryptoPro_uz.
constexpr const char *kCryptoProHashOid = "1.2.643.2.2.30.1";

const uint32_t kKey[8] = {0x01234567, 0x89abcdef, 0xfedcba98, 0x76543210,
                          0x0f1e2d3c, 0x4b5a6978, 0x8796a5b4, 0xc3d2e1f0};
const uint32_t kIv[2] = {0x12345678, 0x9abcdef0};

std::vector<uint8_t> buffer(size_t n) {
    std::vector<uint8_t> b(n);
    for (size_t i = 0; i < n; i++) b[i] = uint8_t(i * 131 + 7);
    return b;
}

void done(benchmark::State &state, size_t bytes) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

void BM_lncext_ecb(benchmark::State &state) {
    g28147_ecb_ctx ctx;
    g28147_ecb_init_ext(&ctx, 1, kKey, CryptoPro_uz);
    auto buf = buffer(kBuf);
    for (auto _ : state) {
        g28147_ecb_update(&ctx, buf.data(), buf.data(), kBuf);
        benchmark::ClobberMemory();
    }
    done(state, kBuf);
}

void BM_lncext_cfb(benchmark::State &state) {
    const int mode = int(state.range(0));
    g28147_cfb_ctx ctx;
    g28147_cfb_init_ext(&ctx, mode, kKey, kIv, CryptoPro_uz);
    auto buf = buffer(kBuf);
    for (auto _ : state) {
        g28147_cfb_update(&ctx, buf.data(), buf.data(), kBuf);
        benchmark::ClobberMemory();
    }
    done(state, kBuf);
}

void BM_lncext_gamma(benchmark::State &state) {
    g28147_ofb_ctx ctx;
    g28147_ofb_init_ext(&ctx, kKey, kIv, CryptoPro_uz);
    auto buf = buffer(kBuf);
    for (auto _ : state) {
        g28147_ofb_update(&ctx, buf.data(), buf.data(), kBuf);
        benchmark::ClobberMemory();
    }
    done(state, kBuf);
}

void BM_lncext_mac(benchmark::State &state) {
    auto buf = buffer(kBuf);
    for (auto _ : state) {
        g28147_hmac_ctx ctx;
        g28147_hmac_init_ext(&ctx, kKey, CryptoPro_uz);
        g28147_hmac_update(&ctx, buf.data(), kBuf);
        uint32_t mac;
        benchmark::DoNotOptimize(g28147_hmac_final(&ctx, &mac));
    }
    done(state, kBuf);
}

void BM_lncext_hash(benchmark::State &state) {
    const size_t n = size_t(state.range(0));
    auto buf = buffer(n);
    uint8_t out[32];
    for (auto _ : state) {
        gr341194_md_ctx ctx;
        gr341194_md_init_ext(&ctx, CryptoPro_iv, CryptoPro_uz);
        gr341194_md_update(&ctx, buf.data(), uint32_t(n));
        gr341194_md_final(&ctx, out);
        benchmark::DoNotOptimize(out);
    }
    done(state, n);
}

#if defined(__x86_64__) || defined(__i386__)
// CPU time of this thread: the machine is shared, so wall time includes
// other programs' turns.
double thread_seconds() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + 1e-9 * double(ts.tv_nsec);
}

// The latency of the serial paths in core cycles: the 32-round and the
// 16-round cycle chained (each output is the next input, as in CFB
// encryption and the MAC), timed beside a chain of dependent additions of one
// cycle each in the same iteration, which gives the core clock whatever the
// frequency the shared machine runs at.
void BM_round_latency(benchmark::State &state) {
    const int rounds = int(state.range(0));
    constexpr int kBlocks = 2000, kAdds = 64000;
    uint32_t keys[32];
    for (int i = 0; i < 32; i++) keys[i] = kKey[i % 8];
    auto engine = rounds == 32 ? g28147_32Steps : g28147_16Steps;
    uint32_t n1 = 1, n2 = 2;
    uint64_t x = 0;
    double t_rounds = 0, t_adds = 0;
    for (auto _ : state) {
        const double t0 = thread_seconds();
        for (int i = 0; i < kBlocks; i++) engine(n1, n2, keys, CryptoPro_uz, &n1, &n2);
        const double t1 = thread_seconds();
        for (int i = 0; i < kAdds / 8; i++)
            asm volatile(
                "add %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\t"
                "add %1, %0\n\tadd %1, %0\n\tadd %1, %0\n\tadd %1, %0"
                : "+r"(x)
                : "r"(uint64_t(i)));
        const double t2 = thread_seconds();
        t_rounds += t1 - t0;
        t_adds += t2 - t1;
    }
    benchmark::DoNotOptimize(n1);
    benchmark::DoNotOptimize(x);
    state.counters["cycles_per_round"] = (t_rounds / (double(kBlocks) * rounds)) / (t_adds / kAdds);
    state.counters["GHz"] = double(kAdds) * double(state.iterations()) / t_adds * 1e-9;
}
#endif

void gcrypt_init() {
    static bool ready = [] {
        gcry_check_version(nullptr);
        gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
        gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
        return true;
    }();
    (void)ready;
}

void BM_gcrypt_cipher(benchmark::State &state) {
    gcrypt_init();
    const int mode = int(state.range(0));
    const bool encrypt = state.range(1) != 0;
    gcry_cipher_hd_t h;
    gcry_cipher_open(&h, GCRY_CIPHER_GOST28147, mode, 0);
    gcry_cipher_ctl(h, GCRYCTL_SET_SBOX, const_cast<char *>(kCryptoProHashOid), 0);
    gcry_cipher_setkey(h, kKey, sizeof kKey);
    if (mode == GCRY_CIPHER_MODE_CFB) gcry_cipher_setiv(h, kIv, sizeof kIv);
    auto buf = buffer(kBuf);
    for (auto _ : state) {
        if (encrypt)
            gcry_cipher_encrypt(h, buf.data(), kBuf, nullptr, 0);
        else
            gcry_cipher_decrypt(h, buf.data(), kBuf, nullptr, 0);
        benchmark::ClobberMemory();
    }
    gcry_cipher_close(h);
    done(state, kBuf);
}

void BM_gcrypt_mac(benchmark::State &state) {
    gcrypt_init();
    auto buf = buffer(kBuf);
    for (auto _ : state) {
        gcry_mac_hd_t h;
        gcry_mac_open(&h, GCRY_MAC_GOST28147_IMIT, 0, nullptr);
        gcry_mac_ctl(h, GCRYCTL_SET_SBOX, const_cast<char *>(kCryptoProHashOid), 0);
        gcry_mac_setkey(h, kKey, sizeof kKey);
        gcry_mac_write(h, buf.data(), kBuf);
        uint8_t mac[4];
        size_t n = sizeof mac;
        gcry_mac_read(h, mac, &n);
        benchmark::DoNotOptimize(mac);
        gcry_mac_close(h);
    }
    done(state, kBuf);
}

void BM_nettle_hash(benchmark::State &state) {
    const size_t n = size_t(state.range(0));
    auto buf = buffer(n);
    uint8_t out[32];
    for (auto _ : state) {
        struct gosthash94cp_ctx ctx;
        gosthash94cp_init(&ctx);
        gosthash94cp_update(&ctx, n, buf.data());
        gosthash94cp_digest(&ctx, 32, out);
        benchmark::DoNotOptimize(out);
    }
    done(state, n);
}

}  // namespace

BENCHMARK(BM_lncext_ecb);
BENCHMARK(BM_gcrypt_cipher)->Args({GCRY_CIPHER_MODE_ECB, 1})->ArgNames({"mode", "enc"});
BENCHMARK(BM_lncext_cfb)->Arg(1)->Arg(0)->ArgName("enc");
BENCHMARK(BM_gcrypt_cipher)
    ->Args({GCRY_CIPHER_MODE_CFB, 1})
    ->Args({GCRY_CIPHER_MODE_CFB, 0})
    ->ArgNames({"mode", "enc"});
BENCHMARK(BM_lncext_gamma);
BENCHMARK(BM_lncext_mac);
BENCHMARK(BM_gcrypt_mac);
#if defined(__x86_64__) || defined(__i386__)
BENCHMARK(BM_round_latency)->Arg(32)->Arg(16)->ArgName("rounds");
#endif
BENCHMARK(BM_lncext_hash)->Arg(kBuf)->Arg(64);
BENCHMARK(BM_nettle_hash)->Arg(kBuf)->Arg(64);
