// The fixed-size Montgomery kernels (1 to 16 words and the larger RSA sizes)
// against GMP and against the library's word-serial reduction, on every path
// this build compiles.
//
// Reference, computed with GMP: for x = a b (or a^2, or t), U = -x m^-1 mod R
// and q = (x + U m) / R; the result is q - m when q >= m, else q. For
// x < m R that is the residue x R^-1 mod m, which is checked as well.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "bignum/mont_fixed.hpp"
#include "bignum_oracle.hpp"
#include "lncext/bignum.h"

using namespace lncext_test;
namespace mont = lncext::mont;
using Words = std::vector<uint32_t>;

namespace {

constexpr size_t kMax = mont::kMaxFixedWords;

struct Path {
    const char *name;
    mont::MulFn mul;
    mont::SqrFn sqr;
    mont::RedcFn redc;
};

// Every implementation of the N-word kernels in this build.
template <size_t N>
std::vector<Path> paths() {
    std::vector<Path> p{{"w32", &mont::w32::mul<N>, &mont::w32::sqr<N>, &mont::w32::redc<N>},
                        {"table", mont::kMulFixed[N], mont::kSqrFixed[N], mont::kRedcFixed[N]}};
#if defined(LNCEXT_HAVE_INT128)
    p.push_back({"w64", &mont::w64::mul<N>, &mont::w64::sqr<N>, &mont::w64::redc<N>});
#endif
    return p;
}
template <size_t... I>
std::array<std::vector<Path>, kMax + 1> all_paths(std::index_sequence<I...>) {
    return {std::vector<Path>{}, paths<I + 1>()...};
}

// The sizes with kernels, and for the larger ones the product and square of
// large_fixed (no reduction kernel there) beside the 32-bit-word template of
// the same size.
template <size_t N>
std::vector<Path> large_paths() {
    const mont::LargeFixed k = mont::large_fixed(N);
    std::vector<Path> p{{"w32", &mont::w32::mul<N>, &mont::w32::sqr<N>, &mont::w32::redc<N>}};
    if (k.mul != nullptr) p.push_back({"large", k.mul, k.sqr, nullptr});
    return p;
}
std::vector<std::pair<size_t, std::vector<Path>>> sized_paths() {
    std::vector<std::pair<size_t, std::vector<Path>>> out;
    const auto small = all_paths(std::make_index_sequence<kMax>{});
    for (size_t n = 1; n <= kMax; ++n) out.emplace_back(n, small[n]);
    out.emplace_back(24, large_paths<24>());
    out.emplace_back(32, large_paths<32>());
    return out;
}

void set(mpz_ptr z, const uint32_t *w, size_t n) {
    mpz_import(z, n, -1, sizeof(uint32_t), 0, 0, w);
}

// z as exactly n words (z < 2^(32 n)).
Words words_of(mpz_srcptr z, size_t n) {
    Words w(n + mpz_size(z) * 2 + 1, 0);
    size_t count = 0;
    mpz_export(w.data(), &count, -1, sizeof(uint32_t), 0, 0, z);
    EXPECT_LE(count, n);
    w.resize(n);
    return w;
}

// The quotient rule above, for x and the n-word odd modulus m.
void reference(mpz_ptr out, mpz_srcptr x, mpz_srcptr m, size_t n) {
    Mpz R, u, residue;
    mpz_setbit(R, 32 * n);
    mpz_invert(u, m, R);
    mpz_mul(u, u, x);
    mpz_neg(u, u);
    mpz_mod(u, u, R);
    mpz_mul(u, u, m);
    mpz_add(u, u, x);
    ASSERT_TRUE(mpz_divisible_2exp_p(u, 32 * n));
    mpz_tdiv_q_2exp(out, u, 32 * n);
    if (mpz_cmp(out, m) >= 0) mpz_sub(out, out, m);
    mpz_mul(u, m, R);
    if (mpz_cmp(x, u) >= 0) return;
    // In range: the fully reduced residue x R^-1 mod m.
    mpz_invert(residue, R, m);
    mpz_mul(residue, residue, x);
    mpz_mod(residue, residue, m);
    ASSERT_EQ(mpz_cmp(out, residue), 0);
}

// Moduli: random odd, top word all ones, small top word, all ones (R - 1).
Words modulus(Rng &g, size_t n, int shape) {
    Words m(n);
    for (auto &w : m) w = shape == 3 ? ~0u : g.word();
    if (shape == 1) m[n - 1] = ~0u;
    if (shape == 2) m[n - 1] = 1 + g.below(3);
    m[0] |= 1;
    return m;
}
constexpr int kModuli = 4;

// Operands of n words: below m, any n words (often above m), all ones,
// m - 1, 0 or 1.
Words operand(Rng &g, const Words &m, int shape) {
    const size_t n = m.size();
    Words a(n, shape == 2 ? ~0u : 0u);
    if (shape <= 1)
        for (auto &w : a) w = g.word();
    if (shape == 0) {
        Mpz z, zm;
        set(z, a.data(), n);
        set(zm, m.data(), n);
        mpz_mod(z, z, zm);
        a = words_of(z, n);
    }
    if (shape == 3) a = m, a[0] -= 1;
    if (shape == 4) a[0] = g.below(2);
    return a;
}
constexpr int kOperands = 5;

// Reduction inputs of 2n words: a b, any 2n words, all ones (R^2 - 1), and
// m R - 1, the largest value the residue contract admits.
Words reduction_input(Rng &g, const Words &m, const Words &a, const Words &b, int shape) {
    const size_t n = m.size();
    Mpz z, y;
    set(z, a.data(), n);
    set(y, b.data(), n);
    mpz_mul(z, z, y);
    if (shape == 3) {
        set(z, m.data(), n);
        mpz_mul_2exp(z, z, 32 * n);
        mpz_sub_ui(z, z, 1);
    }
    Words t = words_of(z, 2 * n);
    if (shape == 1)
        for (auto &w : t) w = g.word();
    if (shape == 2) t.assign(2 * n, ~0u);
    return t;
}

// Runs f(r) on a destination of n words followed by guard words, with r
// first holding init (an input it may alias); checks the n words against
// want and the guards.
template <class F>
::testing::AssertionResult writes(const Words &want, const Words &init, F &&f) {
    constexpr uint32_t kGuard = 0xC0FFEE11u;
    const size_t n = want.size(), used = std::max(init.size(), n);
    Words r(init);
    r.resize(used + 4, kGuard);
    f(r.data());
    if (!std::equal(want.begin(), want.end(), r.begin()))
        return ::testing::AssertionFailure() << "wrong words";
    if (!std::equal(r.begin() + n, r.begin() + used, init.begin() + std::min(n, init.size())) ||
        std::count(r.begin() + used, r.end(), kGuard) != 4)
        return ::testing::AssertionFailure() << "wrote past n words";
    return ::testing::AssertionSuccess();
}

}  // namespace

// Every size, every modulus and operand shape, every path; r distinct from
// the inputs and r equal to a, to b, to t.
TEST(MontFixed, KernelsMatchQuotientRuleOnEveryPath) {
    Rng g(0x6d6f6e74);
    for (const auto &[n, paths_n] : sized_paths()) {
        for (int ms = 0; ms < kModuli; ++ms) {
            for (int k = 0; k < kOperands * kOperands; ++k) {
                const Words m = modulus(g, n, ms), a = operand(g, m, k % kOperands),
                            b = operand(g, m, k / kOperands),
                            t = reduction_input(g, m, a, b, k % 4);
                const uint32_t n0 = lnminverse(0u - m[0]);
                Mpz zm, za, zb, zt, x, want;
                set(zm, m.data(), n);
                set(za, a.data(), n);
                set(zb, b.data(), n);
                set(zt, t.data(), 2 * n);
                mpz_mul(x, za, zb);
                reference(want, x, zm, n);
                const Words prod = words_of(want, n);
                mpz_mul(x, za, za);
                reference(want, x, zm, n);
                const Words square = words_of(want, n);
                reference(want, zt, zm, n);
                const Words reduced = words_of(want, n);
                for (const Path &p : paths_n) {
                    SCOPED_TRACE(::testing::Message()
                                 << p.name << " n=" << n << " modulus " << ms << " operands " << k);
                    const uint32_t *md = m.data();
                    ASSERT_TRUE(writes(prod, {},
                                       [&](uint32_t *r) { p.mul(r, a.data(), b.data(), md, n0); }));
                    ASSERT_TRUE(
                        writes(prod, a, [&](uint32_t *r) { p.mul(r, r, b.data(), md, n0); }));
                    ASSERT_TRUE(
                        writes(prod, b, [&](uint32_t *r) { p.mul(r, a.data(), r, md, n0); }));
                    ASSERT_TRUE(
                        writes(square, {}, [&](uint32_t *r) { p.sqr(r, a.data(), md, n0); }));
                    ASSERT_TRUE(writes(square, a, [&](uint32_t *r) { p.sqr(r, r, md, n0); }));
                    if (p.redc == nullptr) continue;
                    ASSERT_TRUE(
                        writes(reduced, {}, [&](uint32_t *r) { p.redc(r, t.data(), md, n0); }));
                    ASSERT_TRUE(writes(reduced, t, [&](uint32_t *r) { p.redc(r, r, md, n0); }));
                }
            }
        }
    }
}

// lnmmulmont, lnmsqrmont and lnmmontcom at 1 .. 128 words (the fixed
// kernels where there are some, the general path elsewhere) against the
// word-serial reduction, reached with a reduction input counted to 2n + 1
// words, and against GMP; operands of any count up to n.
TEST(MontFixed, LibraryCallsMatchWordSerialReduction) {
    Rng g(0x62696721);
    for (uint32_t n = 1; n <= 128; ++n) {
        const int cases = n <= kMax ? 4 * kOperands * kOperands : kOperands * kOperands;
        for (int k = 0; k < cases; ++k) {
            const Words md = modulus(g, n, k % kModuli);
            Words m{n}, a{n}, b{n};
            m.insert(m.end(), md.begin(), md.end());
            m.push_back(0);
            for (auto [v, shape] :
                 {std::pair{&a, k % kOperands}, {&b, k / kOperands % kOperands}}) {
                const Words w = operand(g, md, shape);
                v->insert(v->end(), w.begin(), w.end());
                (*v)[0] = g.below(4) == 0 ? g.below(n + 1) : n;
                lnmclip(v->data());
            }
            const uint32_t minv = lnminverse(0u - m[1]), rb = 32 * n;
            Mpz zm(m.data()), za(a.data()), zb(b.data()), x, want;
            for (bool square : {false, true}) {
                SCOPED_TRACE(::testing::Message()
                             << "n=" << n << " case " << k << " square " << square);
                Guarded r(2 * n + 2, g), t(2 * n + 2, g), s(2 * n + 2, g);
                mpz_mul(x, za, square ? za : zb);
                reference(want, x, zm, n);
                if (square) {
                    ASSERT_TRUE(r.holds(lnmsqrmont(minv, rb, m.data(), a.data(), r.p()), want));
                    lnmsqr(a.data(), t.p());
                } else {
                    ASSERT_TRUE(
                        r.holds(lnmmulmont(minv, rb, m.data(), a.data(), b.data(), r.p()), want));
                    lnmmul(a.data(), b.data(), t.p());
                }
                std::copy(t.v.begin(), t.v.begin() + 2 * n + 2, s.v.begin());
                ASSERT_TRUE(s.holds(lnmmontcom(minv, rb, m.data(), s.p()), want));
                std::fill(t.v.begin() + t.v[0] + 1, t.v.begin() + 2 * n + 2, 0u);
                t.v[0] = 2 * n + 1;
                ASSERT_TRUE(t.holds(lnmmontcom(minv, rb, m.data(), t.p()), want));
            }
        }
    }
}
