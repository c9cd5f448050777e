// Modular exponentiation and inversion, lncext beside GMP. Each lncext
// benchmark also times GMP on the same operands in the same run and reports
// gmp_ns (GMP's time per operation) and ratio (lncext time / GMP time).
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <cstdint>
#include <ctime>
#include <random>
#include <vector>

#include "lncext/bignum.h"

namespace {

// Thread CPU time: the machine may be shared, and both sides are timed alike.
double cpu_ns() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e9 + double(ts.tv_nsec);
}

// Operands of one size: odd modulus with its top bit set, a base below it,
// an exponent of the modulus' full size, all as lncext numbers and as mpz.
struct Operands {
    std::vector<uint32_t> m, x, e;
    mpz_t zm, zx, ze, zr;

    explicit Operands(uint32_t words, uint64_t seed) {
        std::mt19937_64 g(seed);
        auto fill = [&](std::vector<uint32_t> &a) {
            a.assign(LNMBIG_WORDS, 0);
            a[0] = words;
            for (uint32_t i = 1; i <= words; ++i) a[i] = uint32_t(g());
            a[words] |= 0x80000000u;
        };
        fill(m);
        m[1] |= 1;
        fill(e);
        fill(x);
        x[words] &= 0x7FFFFFFFu;  // below m
        mpz_inits(zm, zx, ze, zr, nullptr);
        mpz_import(zm, m[0], -1, 4, 0, 0, m.data() + 1);
        mpz_import(zx, x[0], -1, 4, 0, 0, x.data() + 1);
        mpz_import(ze, e[0], -1, 4, 0, 0, e.data() + 1);
    }
    ~Operands() { mpz_clears(zm, zx, ze, zr, nullptr); }
};

// Inversion needs a modulus coprime to the base: the next prime keeps the
// size (the top bit is set and primes are dense enough).
void make_prime_modulus(Operands &op) {
    mpz_nextprime(op.zm, op.zm);
    size_t count = 0;
    mpz_export(op.m.data() + 1, &count, -1, 4, 0, 0, op.zm);
    op.m[0] = uint32_t(count);
}

// CPU nanoseconds per call of f, over enough calls to fill about 0.2 s.
template <class F>
double time_per_op(F f) {
    f();
    int n = 1;
    for (;;) {
        const double t0 = cpu_ns();
        for (int i = 0; i < n; ++i) f();
        const double ns = cpu_ns() - t0;
        if (ns > 2e8 || n >= (1 << 24)) return ns / n;
        n *= 4;
    }
}

template <class Ours, class Theirs>
void run_against_gmp(benchmark::State &state, Ours ours, Theirs theirs) {
    const double gmp_ns = time_per_op(theirs);
    const double t0 = cpu_ns();
    for (auto _ : state) ours();
    const double ns = (cpu_ns() - t0) / double(state.iterations());
    state.counters["gmp_ns"] = gmp_ns;
    state.counters["ratio"] = ns / gmp_ns;
}

// Keeps the timings honest: our result and GMP's agree.
void expect_same(benchmark::State &state, const std::vector<uint32_t> &r, const mpz_t z,
                 const char *what) {
    mpz_t check;
    mpz_init(check);
    mpz_import(check, r[0], -1, 4, 0, 0, r.data() + 1);
    if (mpz_cmp(check, z) != 0) state.SkipWithError(what);
    mpz_clear(check);
}

void BM_lnmpowmod(benchmark::State &state) {
    const uint32_t words = uint32_t(state.range(0)) / 32;
    Operands op(words, 0x5eed0000 + words);
    std::vector<uint32_t> table(LNM_POWMOD_TABLE_WORDS), r(LNMBIG_WORDS);
    run_against_gmp(
        state,
        [&] {
            lnmpowmod(table.data(), op.x.data(), op.e.data(), op.m.data(), r.data());
            benchmark::DoNotOptimize(r.data());
        },
        [&] {
            mpz_powm(op.zr, op.zx, op.ze, op.zm);
            benchmark::DoNotOptimize(op.zr);
        });
    expect_same(state, r, op.zr, "lnmpowmod disagrees with mpz_powm");
}

void BM_lnmmodinv(benchmark::State &state) {
    const uint32_t words = uint32_t(state.range(0)) / 32;
    Operands op(words, 0x1a7e0000 + words);
    make_prime_modulus(op);
    std::vector<uint32_t> r(LNMBIG_WORDS);
    run_against_gmp(
        state,
        [&] {
            lnmmodinv(op.x.data(), op.m.data(), r.data());
            benchmark::DoNotOptimize(r.data());
        },
        [&] {
            mpz_invert(op.zr, op.zx, op.zm);
            benchmark::DoNotOptimize(op.zr);
        });
    expect_same(state, r, op.zr, "lnmmodinv disagrees with mpz_invert");
}

// The same over 256 different operands taken in turn: the method's branches
// depend on the operand, and one operand repeated lets the branch predictor
// learn them, which flatters both sides.
void BM_lnmmodinv_many(benchmark::State &state) {
    const uint32_t words = uint32_t(state.range(0)) / 32;
    Operands op(words, 0x1a7e0000 + words);
    make_prime_modulus(op);
    std::mt19937_64 g(7);
    std::vector<std::vector<uint32_t>> xs(256, std::vector<uint32_t>(words + 1));
    std::vector<mpz_t> zx(xs.size());
    for (size_t i = 0; i < xs.size(); ++i) {
        xs[i][0] = words;
        for (uint32_t j = 1; j <= words; ++j) xs[i][j] = uint32_t(g());
        xs[i][words] &= 0x7FFFFFFFu;  // below m, non-zero top word
        xs[i][words] |= 1;
        mpz_init(zx[i]);
        mpz_import(zx[i], words, -1, 4, 0, 0, xs[i].data() + 1);
    }
    std::vector<uint32_t> r(LNMBIG_WORDS);
    size_t i = 0, j = 0;
    run_against_gmp(
        state,
        [&] {
            lnmmodinv(xs[i].data(), op.m.data(), r.data());
            benchmark::DoNotOptimize(r.data());
            i = (i + 1) % xs.size();
        },
        [&] {
            mpz_invert(op.zr, zx[j], op.zm);
            benchmark::DoNotOptimize(op.zr);
            j = (j + 1) % xs.size();
        });
    lnmmodinv(xs[0].data(), op.m.data(), r.data());
    mpz_invert(op.zr, zx[0], op.zm);
    expect_same(state, r, op.zr, "lnmmodinv disagrees with mpz_invert");
    for (auto &z : zx) mpz_clear(z);
}

}  // namespace

BENCHMARK(BM_lnmpowmod)->Arg(1024)->Arg(2048)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_lnmmodinv)->Arg(256)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_lnmmodinv_many)->Arg(256)->Unit(benchmark::kMicrosecond);
