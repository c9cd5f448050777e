// Products, squares and division of big numbers beside GMP. Each benchmark
// times lncext through Google Benchmark and then, over the same number of
// iterations, both lncext and GMP on the same operands in thread CPU time;
// the counters lncext_ns, gmp_ns and ratio (lncext / GMP) come from the
// second, paired measurement.
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <random>
#include <vector>

#include "lncext/bignum.h"

namespace {

std::vector<uint32_t> random_num(std::mt19937_64 &gen, uint32_t words) {
    std::vector<uint32_t> a(LNMBIG_WORDS * 2, 0);
    a[0] = words;
    for (uint32_t i = 1; i <= words; i++) a[i] = uint32_t(gen());
    a[words] |= 0x80000000u;
    return a;
}

void to_mpz(mpz_t z, const std::vector<uint32_t> &a) {
    mpz_import(z, a[0], -1, sizeof(uint32_t), 0, 0, a.data() + 1);
}

// CPU time of this thread, so that other work on a shared machine does not
// skew the pair.
double thread_ns() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e9 + double(ts.tv_nsec);
}

template <class F>
double ns_per_call(F &&f, int64_t iterations) {
    double t0 = thread_ns();
    for (int64_t i = 0; i < iterations; i++) f();
    return (thread_ns() - t0) / double(iterations);
}

template <class L, class G>
void report(benchmark::State &state, L &&lnc, G &&gmp) {
    int64_t n = state.iterations() < 1000 ? 1000 : state.iterations();
    double lnc_ns = ns_per_call(lnc, n);
    double gmp_ns = ns_per_call(gmp, n);
    state.counters["lncext_ns"] = lnc_ns;
    state.counters["gmp_ns"] = gmp_ns;
    state.counters["ratio"] = lnc_ns / gmp_ns;
}

void BM_lnmmul(benchmark::State &state) {
    uint32_t words = uint32_t(state.range(0)) / 32;
    std::mt19937_64 gen(1);
    auto a = random_num(gen, words), b = random_num(gen, words), r = random_num(gen, 0);
    auto lnc = [&] {
        lnmmul(a.data(), b.data(), r.data());
        benchmark::DoNotOptimize(r.data());
        benchmark::ClobberMemory();
    };
    for (auto _ : state) lnc();

    mpz_t x, y;
    mpz_inits(x, y, nullptr);
    to_mpz(x, a);
    to_mpz(y, b);
    mp_size_t nx = mpz_size(x), ny = mpz_size(y);
    std::vector<mp_limb_t> rp(nx + ny);
    auto gmp = [&] {
        mpn_mul(rp.data(), mpz_limbs_read(x), nx, mpz_limbs_read(y), ny);
        benchmark::DoNotOptimize(rp.data());
        benchmark::ClobberMemory();
    };
    report(state, lnc, gmp);
    mpz_clears(x, y, nullptr);
}

void BM_lnmsqr(benchmark::State &state) {
    uint32_t words = uint32_t(state.range(0)) / 32;
    std::mt19937_64 gen(2);
    auto a = random_num(gen, words), r = random_num(gen, 0);
    auto lnc = [&] {
        lnmsqr(a.data(), r.data());
        benchmark::DoNotOptimize(r.data());
        benchmark::ClobberMemory();
    };
    for (auto _ : state) lnc();

    mpz_t x;
    mpz_init(x);
    to_mpz(x, a);
    mp_size_t nx = mpz_size(x);
    std::vector<mp_limb_t> rp(2 * nx);
    auto gmp = [&] {
        mpn_sqr(rp.data(), mpz_limbs_read(x), nx);
        benchmark::DoNotOptimize(rp.data());
        benchmark::ClobberMemory();
    };
    report(state, lnc, gmp);
    mpz_clear(x);
}

// 2048-bit dividend by a 1024-bit divisor: quotient and remainder.
void BM_lnmdiv(benchmark::State &state) {
    uint32_t abits = uint32_t(state.range(0)), mbits = uint32_t(state.range(1));
    std::mt19937_64 gen(3);
    auto a = random_num(gen, abits / 32), m = random_num(gen, mbits / 32);
    m[mbits / 32] >>= 1;  // a divisor that needs the normalising shift
    auto q = random_num(gen, 0), r = random_num(gen, 0);
    auto lnc = [&] {
        lnmdiv(a.data(), m.data(), q.data(), r.data());
        benchmark::DoNotOptimize(r.data());
        benchmark::ClobberMemory();
    };
    for (auto _ : state) lnc();

    mpz_t x, y, qz, rz;
    mpz_inits(x, y, qz, rz, nullptr);
    to_mpz(x, a);
    to_mpz(y, m);
    auto gmp = [&] {
        mpz_tdiv_qr(qz, rz, x, y);
        benchmark::DoNotOptimize(qz);
        benchmark::DoNotOptimize(rz);
        benchmark::ClobberMemory();
    };
    report(state, lnc, gmp);
    mpz_clears(x, y, qz, rz, nullptr);
}

// Reduction of a 2048-bit value modulo a 1024-bit modulus, in place and
// without a quotient: the form every modular operation uses.
void BM_lnmdiv_rem(benchmark::State &state) {
    std::mt19937_64 gen(4);
    auto a = random_num(gen, 64), m = random_num(gen, 32), t = a;
    m[1] |= 1;
    auto lnc = [&] {
        std::copy_n(a.begin(), a[0] + 1, t.begin());
        lnmdiv(t.data(), m.data(), nullptr, t.data());
        benchmark::DoNotOptimize(t.data());
        benchmark::ClobberMemory();
    };
    for (auto _ : state) lnc();

    mpz_t x, y, rz;
    mpz_inits(x, y, rz, nullptr);
    to_mpz(x, a);
    to_mpz(y, m);
    auto gmp = [&] {
        mpz_tdiv_r(rz, x, y);
        benchmark::DoNotOptimize(rz);
        benchmark::ClobberMemory();
    };
    report(state, lnc, gmp);
    mpz_clears(x, y, rz, nullptr);
}

}  // namespace

BENCHMARK(BM_lnmmul)->Arg(256)->Arg(1024)->Arg(4096);
BENCHMARK(BM_lnmsqr)->Arg(256)->Arg(1024)->Arg(4096);
BENCHMARK(BM_lnmdiv)->Args({2048, 1024});
BENCHMARK(BM_lnmdiv_rem);
