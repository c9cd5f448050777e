// Montgomery multiplication and squaring at 8 and 16 words (256 and 512
// bits) and at the RSA sizes 32, 48 and 64 words: the fixed-size kernels,
// the generic kernels they replace (full product, then word-serial reduction
// and the masked final subtraction), the exported lnmmulmont / lnmsqrmont
// (which take the unrolled kernels at 24 and 32 words and the rolled column
// scan at the other even sizes on 64-bit limbs), and GMP.
//
// GMP is timed two ways: Montgomery multiplication from its public mpn layer
// (mpn_mul_n or mpn_sqr, then one mpn_addmul_1 pass per limb and a final
// mpn_sub_n, the shape of GMP's own REDC), and ordinary modular
// multiplication with mpz_mul and mpz_mod.
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "bignum/kernels.hpp"
#include "bignum/mont_fixed.hpp"
#include "lncext/bignum.h"

namespace {

namespace mont = lncext::mont;
namespace kern = lncext::kern;

// An odd n-word modulus with its top bit set, two residues below it, and the
// Montgomery word inverse; big numbers with room for every call here.
struct Operands {
    uint32_t n, minv;
    std::vector<uint32_t> m, a, b, r;
    explicit Operands(uint32_t words) : n(words), m(words + 2), a(words + 1), b(words + 1) {
        std::mt19937 gen(words);
        m[0] = a[0] = b[0] = n;
        for (uint32_t i = 1; i <= n; ++i) m[i] = gen(), a[i] = gen(), b[i] = gen();
        m[1] |= 1;
        m[n] |= 0x80000000u;
        a[n] &= 0x7FFFFFFFu;
        b[n] &= 0x7FFFFFFFu;
        minv = lnminverse(0u - m[1]);
        r.assign(LNMBIG_WORDS, 0);
    }
};

void fixed_mul(benchmark::State &state) {
    Operands o(uint32_t(state.range(0)));
    const mont::MulFn f = mont::kMulFixed[o.n];
    for (auto _ : state) {
        f(o.r.data(), o.a.data() + 1, o.b.data() + 1, o.m.data() + 1, o.minv);
        benchmark::DoNotOptimize(o.r.data());
        benchmark::ClobberMemory();
    }
}

void fixed_sqr(benchmark::State &state) {
    Operands o(uint32_t(state.range(0)));
    const mont::SqrFn f = mont::kSqrFixed[o.n];
    for (auto _ : state) {
        f(o.r.data(), o.a.data() + 1, o.m.data() + 1, o.minv);
        benchmark::DoNotOptimize(o.r.data());
        benchmark::ClobberMemory();
    }
}

// The generic path for R = 2^(32 n): product (or square) into 2n + 1 words,
// reduction of the low n words, then q - m kept or dropped by a mask.
template <bool Square>
void generic(benchmark::State &state) {
    Operands o(uint32_t(state.range(0)));
    const uint32_t n = o.n;
    const uint32_t *md = o.m.data() + 1;
    std::vector<uint32_t> t(2 * n + 1), d(n);
    for (auto _ : state) {
        if (Square)
            kern::sqr(t.data(), o.a.data() + 1, n);
        else
            kern::mul(t.data(), o.a.data() + 1, n, o.b.data() + 1, n);
        t[2 * n] = 0;
        kern::redc(t.data(), md, n, n, o.minv);
        const uint32_t *q = t.data() + n;
        uint32_t borrow = 0;
        for (uint32_t i = 0; i < n; ++i) {
            const uint64_t s = uint64_t(q[i]) - md[i] - borrow;
            d[i] = uint32_t(s);
            borrow = uint32_t(s >> 32) & 1;
        }
        const uint32_t keep = 0u - (uint32_t((uint64_t(q[n]) - borrow) >> 32) & 1);
        for (uint32_t i = 0; i < n; ++i) o.r[i] = (d[i] & ~keep) | (q[i] & keep);
        benchmark::DoNotOptimize(o.r.data());
        benchmark::ClobberMemory();
    }
}

void library_mul(benchmark::State &state) {
    Operands o(uint32_t(state.range(0)));
    for (auto _ : state) {
        lnmmulmont(o.minv, 32 * o.n, o.m.data(), o.a.data(), o.b.data(), o.r.data());
        benchmark::DoNotOptimize(o.r.data());
        benchmark::ClobberMemory();
    }
}

void library_sqr(benchmark::State &state) {
    Operands o(uint32_t(state.range(0)));
    for (auto _ : state) {
        lnmsqrmont(o.minv, 32 * o.n, o.m.data(), o.a.data(), o.r.data());
        benchmark::DoNotOptimize(o.r.data());
        benchmark::ClobberMemory();
    }
}

void set_mpz(mpz_t z, const std::vector<uint32_t> &a) {
    mpz_import(z, a[0], -1, sizeof(uint32_t), 0, 0, a.data() + 1);
}

// GMP limbs of a big number, zero-padded to k limbs.
std::vector<mp_limb_t> limbs(const std::vector<uint32_t> &a, mp_size_t k) {
    mpz_t z;
    mpz_init(z);
    set_mpz(z, a);
    std::vector<mp_limb_t> l(k, 0);
    std::memcpy(l.data(), mpz_limbs_read(z), mpz_size(z) * sizeof(mp_limb_t));
    mpz_clear(z);
    return l;
}

template <bool Square>
void gmp_mpn_redc(benchmark::State &state) {
    Operands o(uint32_t(state.range(0)));
    const mp_size_t k = mp_size_t(o.n * 32 / GMP_NUMB_BITS);
    const auto m = limbs(o.m, k), a = limbs(o.a, k), b = limbs(o.b, k);
    // -m^-1 mod 2^GMP_NUMB_BITS by Newton's iteration.
    mp_limb_t inv = m[0];
    for (int i = 0; i < 6; ++i) inv *= 2 - m[0] * inv;
    const mp_limb_t minv = 0 - inv;
    std::vector<mp_limb_t> t(2 * k), r(k);
    for (auto _ : state) {
        if (Square)
            mpn_sqr(t.data(), a.data(), k);
        else
            mpn_mul_n(t.data(), a.data(), b.data(), k);
        mp_limb_t top = 0;
        for (mp_size_t i = 0; i < k; ++i) {
            const mp_limb_t c = mpn_addmul_1(t.data() + i, m.data(), k, t[i] * minv);
            top += mpn_add_1(t.data() + i + k, t.data() + i + k, k - i, c);
        }
        if (top != 0 || mpn_cmp(t.data() + k, m.data(), k) >= 0)
            mpn_sub_n(r.data(), t.data() + k, m.data(), k);
        else
            std::memcpy(r.data(), t.data() + k, k * sizeof(mp_limb_t));
        benchmark::DoNotOptimize(r.data());
        benchmark::ClobberMemory();
    }
}

void gmp_mpz_mod(benchmark::State &state) {
    Operands o(uint32_t(state.range(0)));
    mpz_t m, a, b, r;
    mpz_inits(m, a, b, r, nullptr);
    set_mpz(m, o.m);
    set_mpz(a, o.a);
    set_mpz(b, o.b);
    for (auto _ : state) {
        mpz_mul(r, a, b);
        mpz_mod(r, r, m);
        benchmark::DoNotOptimize(r);
        benchmark::ClobberMemory();
    }
    mpz_clears(m, a, b, r, nullptr);
}

}  // namespace

BENCHMARK(fixed_mul)->Arg(8)->Arg(16);
BENCHMARK(generic<false>)->Name("generic_mul")->Arg(8)->Arg(16)->Arg(32)->Arg(48)->Arg(64);
BENCHMARK(library_mul)->Name("lnmmulmont")->Arg(8)->Arg(16)->Arg(32)->Arg(48)->Arg(64);
BENCHMARK(gmp_mpn_redc<false>)
    ->Name("gmp_mpn_mul_redc")
    ->Arg(8)
    ->Arg(16)
    ->Arg(32)
    ->Arg(48)
    ->Arg(64);
BENCHMARK(gmp_mpz_mod)->Name("gmp_mpz_mul_mod")->Arg(8)->Arg(16)->Arg(32)->Arg(48)->Arg(64);
BENCHMARK(fixed_sqr)->Arg(8)->Arg(16);
BENCHMARK(generic<true>)->Name("generic_sqr")->Arg(8)->Arg(16)->Arg(32)->Arg(48)->Arg(64);
BENCHMARK(library_sqr)->Name("lnmsqrmont")->Arg(8)->Arg(16)->Arg(32)->Arg(48)->Arg(64);
BENCHMARK(gmp_mpn_redc<true>)->Name("gmp_mpn_sqr_redc")->Arg(8)->Arg(16)->Arg(32)->Arg(48)->Arg(64);
