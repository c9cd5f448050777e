// The word-array primitives against GMP on zero, all-ones, carry-chain and
// random operands of 0 to 40 digits: every result word and returned word, on
// 32-bit digits and on 64-bit limbs, with the result written over the first
// operand, and the fast bodies against the generic ones.
#include <gtest/gtest.h>

#include <span>
#include <vector>

#include "bignum/words.hpp"
#include "bignum_oracle.hpp"

using namespace lncext_test;
namespace w = lncext::words;
using Num = std::vector<uint32_t>;

namespace {

struct Ops {
    Num a, b;
    Num ra;  // ra + top 2^(32n) is below 2b: the operand of reduce_once
    uint32_t x, top, mask;
};
struct Out {
    Num r;
    uint32_t ret;
    bool operator==(const Out &) const = default;
};
enum Body { kFast, kInPlace, kGeneric };

// Digits as W words: 64-bit limbs pair them, low digit first.
template <class W>
std::vector<W> pack(const Num &d) {
    constexpr size_t k = sizeof(W) / 4;
    std::vector<W> v(d.size() / k);
    for (size_t i = 0; i < d.size(); i++) v[i / k] |= W(d[i]) << 32 * (i % k);
    return v;
}
template <class W>
Num unpack(const std::vector<W> &v) {
    constexpr size_t k = sizeof(W) / 4;
    Num d(v.size() * k);
    for (size_t i = 0; i < d.size(); i++) d[i] = uint32_t(v[i / k] >> 32 * (i % k));
    return d;
}
template <class W>
W copy_then(W *r, const W *a, size_t n, W ret) {
    for (size_t i = 0; i < n; i++) r[i] = a[i];
    return ret;
}
// r, holding b unless it is a itself: the accumulator of the products.
template <class W>
W *from_b(W *r, const W *a, const W *b, size_t n) {
    if (r != a) copy_then(r, b, n, W(0));
    return r;
}

// Runs f(r, a, b, n) on the operands as W words into a junk-filled r, or
// with r being a itself.
template <class W, class F>
Out run(const Ops &o, Body k, const Num &a_digits, F f) {
    std::vector<W> a = pack<W>(a_digits), b = pack<W>(o.b), r(a.size(), W(0x5A5A5A5A5A5A5A5Aull));
    if (k == kInPlace) r = a;
    const W ret = f(r.data(), k == kInPlace ? r.data() : a.data(), b.data(), a.size());
    return {unpack(r), uint32_t(ret)};
}

// The oracle: the low n digits of v and the size of what lies above them
// (a carry or high word, or a borrow when v is negative).
Out split(mpz_srcptr v, size_t n) {
    Mpz q, r;
    mpz_fdiv_q_2exp(q, v, 32 * n);
    mpz_fdiv_r_2exp(r, v, 32 * n);
    mpz_abs(q, q);
    Out out{Num(n, 0), uint32_t(mpz_get_ui(q))};
    if (n != 0) mpz_export(out.r.data(), nullptr, -1, 4, 0, 0, r);
    return out;
}
void val(mpz_ptr z, const Num &d) {
    mpz_import(z, d.size(), -1, 4, 0, 0, d.data());
}
template <class Op>
Out oracle(const Ops &o, Op op) {
    Mpz a, b, v;
    val(a, o.a), val(b, o.b);
    op(v.z, a.z, b.z);
    return split(v, o.a.size());
}

struct Primitive {
    const char *name;
    Out (*run)(const Ops &, Body);
    Out (*want)(const Ops &, Body);
};

#define RUN(W, A, expr)                                                                       \
    [](const Ops &o, Body k) {                                                                \
        return run<W>(o, k, A, [&](W *r, const W *a, [[maybe_unused]] const W *b, size_t n) { \
            return W(expr);                                                                   \
        });                                                                                   \
    }
#define CALL(f, ...) (k == kGeneric ? w::generic::f(__VA_ARGS__) : w::f(__VA_ARGS__))
#define WANT(...)                                                                             \
    [](const Ops &o, [[maybe_unused]] Body k) {                                               \
        return oracle(                                                                        \
            o, [&](mpz_ptr v, mpz_srcptr a, [[maybe_unused]] mpz_srcptr b) { __VA_ARGS__; }); \
    }

// The additive primitives on digits and on limbs: the same values either way.
template <class W>
const Primitive kAdditive[] = {
    {"add", RUN(W, o.a, CALL(add, r, a, b, n)), WANT(mpz_add(v, a, b))},
    {"sub", RUN(W, o.a, CALL(sub, r, a, b, n)), WANT(mpz_sub(v, a, b))},
    {"add_masked", RUN(W, o.a, CALL(add_masked, r, a, b, W(0) - W(o.mask), n)),
     WANT(o.mask ? mpz_add(v, a, b) : mpz_set(v, a))},
    {"sub_masked", RUN(W, o.a, CALL(sub_masked, r, a, b, W(0) - W(o.mask), n)),
     WANT(o.mask ? mpz_sub(v, a, b) : mpz_set(v, a))},
    {"add_1", RUN(W, o.a, w::add_1(r, a, n, W(o.x))), WANT(mpz_add_ui(v, a, o.x))},
    {"sub_1", RUN(W, o.a, w::sub_1(r, a, n, W(o.x))), WANT(mpz_sub_ui(v, a, o.x))},
    {"cmp", RUN(W, o.a, copy_then(r, a, n, W(w::cmp(a, b, n)))),
     [](const Ops &o, Body) {
         Mpz a, b;
         val(a, o.a), val(b, o.b);
         return Out{o.a, uint32_t(mpz_cmp(a, b) > 0 ? 1 : -(mpz_cmp(a, b) < 0))};
     }},
    {"reduce_once", RUN(W, o.ra, w::reduce_once(r, a, W(o.top), b, n)),
     [](const Ops &o, Body) {
         Num full = o.ra;
         full.push_back(o.top);
         Mpz v, m;
         val(v, full), val(m, o.b);
         const bool ge = mpz_cmp(v, m) >= 0;
         if (ge) mpz_sub(v, v, m);
         return Out{split(v, o.ra.size()).r, ge};
     }},
};

// The products, on digits only; r starts as b unless it is a itself.
const Primitive kProducts[] = {
    {"mul_1", RUN(uint32_t, o.a, CALL(mul_1, r, a, n, o.x)), WANT(mpz_mul_ui(v, a, o.x))},
    {"addmul_1", RUN(uint32_t, o.a, CALL(addmul_1, from_b(r, a, b, n), a, n, o.x)),
     WANT(mpz_mul_ui(v, a, o.x), mpz_add(v, v, k == kInPlace ? a : b))},
    {"submul_1", RUN(uint32_t, o.a, CALL(submul_1, from_b(r, a, b, n), a, n, o.x)),
     WANT(mpz_set(v, k == kInPlace ? a : b), mpz_submul_ui(v, a, o.x))},
};

const std::span<const Primitive> kTables[] = {kAdditive<uint32_t>, kAdditive<uint64_t>, kProducts};

// n digits: zero, all ones, a long carry chain (all ones above a random low
// word), sparse (zero, all-ones and random words), or random.
Num digits(Rng &rng, size_t n, uint32_t shape) {
    Num d(n);
    for (size_t i = 0; i < n; i++) {
        const uint32_t sparse = rng.below(3) == 0 ? 0u : rng.below(2) == 0 ? ~0u : rng.word();
        const uint32_t chain = i == 0 ? rng.word() : ~0u;
        d[i] = shape == 0   ? 0u
               : shape == 1 ? ~0u
               : shape == 2 ? chain
               : shape == 3 ? sparse
                            : rng.word();
    }
    return d;
}

TEST(BignumWords, PrimitivesAgainstGmp) {
    Rng rng(0x776f7264);
    const uint32_t xs[] = {0, 1, 2, 0x80000000u, ~0u};
    for (size_t n = 0; n <= 40; n++) {
        for (uint32_t iter = 0; iter < 50; iter++) {
            Ops o{digits(rng, n, iter % 5),
                  digits(rng, n, iter / 5 % 5),
                  {},
                  iter % 2 ? xs[rng.below(5)] : rng.word(),
                  0,
                  rng.below(2)};
            // reduce_once's A below 2b, often right at b: b - 1 + (0 .. 2) mod 2b.
            Mpz v, m;
            val(v, o.a), val(m, o.b);
            if (mpz_sgn(m.z) != 0) {
                if (rng.below(2)) mpz_sub_ui(v, m, 1), mpz_add_ui(v, v, rng.below(3));
                mpz_mul_2exp(m, m, 1);
                mpz_mod(v, v, m);
            }
            const Out a_top = split(v, n);
            o.ra = a_top.r, o.top = a_top.ret;
            for (std::span<const Primitive> table : kTables) {
                const bool limbs = table.data() == kAdditive<uint64_t>;
                if (limbs && n % 2 != 0) continue;
                for (const Primitive &p : table) {
                    for (Body k : {kFast, kInPlace, kGeneric}) {
                        ASSERT_TRUE(p.run(o, k) == p.want(o, k))
                            << p.name << (limbs ? " on limbs" : "") << ", " << n
                            << " digits, shapes " << iter % 5 << "/" << iter / 5 % 5 << ", body "
                            << k;
                    }
                }
            }
        }
    }
}

}  // namespace
