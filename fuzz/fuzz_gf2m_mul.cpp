// GF(2^m) products on both kernel paths (the nibble tables and, where the
// CPU has it, the carry-less multiply instruction) and through the exported
// kernels, against a bit-by-bit model: products and squares of every kernel
// size, and the reductions of the four field polynomials.
#include <algorithm>
#include <cstring>

#include "ec2/field_kernels.hpp"
#include "fuzz_util.hpp"
#include "lncext/dstu4145.h"

using namespace lncext_fuzz;
namespace gf2 = lncext::gf2;

namespace {

using MulFn = void (*)(uint32_t *, const uint32_t *, const uint32_t *);
using SqrFn = void (*)(uint32_t *, const uint32_t *);

// c (2n words) = a * b over GF(2)[x], one bit of a at a time.
void model_mul(uint32_t *c, const uint32_t *a, const uint32_t *b, size_t n) {
    std::fill(c, c + 2 * n, 0u);
    for (size_t i = 0; i < 32 * n; i++) {
        if (!((a[i / 32] >> (i % 32)) & 1)) continue;
        const size_t w = i / 32, s = i % 32;
        for (size_t j = 0; j < n; j++) {
            c[w + j] ^= b[j] << s;
            if (s) c[w + j + 1] ^= b[j] >> (32 - s);
        }
    }
}

// c reduced in place modulo x^m + x^k1 (+ x^k2 + x^k3) + 1, bit by bit.
void model_reduce(uint32_t *c, size_t words, uint32_t m, const uint32_t *k, size_t nk) {
    auto flip = [&](size_t i) { c[i / 32] ^= 1u << (i % 32); };
    for (size_t i = 32 * words; i-- > m;) {
        if (!((c[i / 32] >> (i % 32)) & 1)) continue;
        flip(i);
        flip(i - m);
        for (size_t j = 0; j < nk; j++) flip(i - m + k[j]);
    }
}

template <size_t W>
void check_products(const uint32_t *a, const uint32_t *b, MulFn exported, SqrFn exported_sqr) {
    uint32_t want[2 * W], got[2 * W];
    model_mul(want, a, b, W);
    std::vector<MulFn> muls = {&gf2::Nibble::mul<W>, exported};
#if defined(LNCEXT_HAVE_CLMUL)
    if (gf2::cpu_has_clmul()) muls.push_back(&gf2::Clmul::mul<W>);
#endif
    for (MulFn f : muls) {
        std::fill(got, got + 2 * W, 0xA5A5A5A5u);
        f(got, a, b);
        check(std::equal(got, got + 2 * W, want), "carry-less product differs from the model");
    }
    model_mul(want, a, a, W);
    std::vector<SqrFn> sqrs = {&gf2::Nibble::sqr<W>};
    if (exported_sqr) sqrs.push_back(exported_sqr);
#if defined(LNCEXT_HAVE_CLMUL)
    if (gf2::cpu_has_clmul()) sqrs.push_back(&gf2::Clmul::sqr<W>);
#endif
    for (SqrFn f : sqrs) {
        std::fill(got, got + 2 * W, 0xA5A5A5A5u);
        f(got, a);
        check(std::equal(got, got + 2 * W, want), "carry-less square differs from the model");
    }
}

struct FieldCase {
    uint32_t m, k[3];
    size_t nk, words, mul_words, in_words;
    MulFn mul;
    void (*reduce)(uint32_t *);
};

const FieldCase field_cases[4] = {
    {163, {7, 6, 3}, 3, 6, 6, 11, pmult192x192, reduce163_7_6_3_1},
    {191, {9}, 1, 6, 6, 12, pmult192x192, reduce191_9_1},
    {257, {12}, 1, 9, 9, 18, pmult257x257, reduce257_12_1},
    {431, {5, 3, 1}, 3, 14, 14, 28, pmult448x448, reduce431_5_3_1},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    uint8_t sel = in.u8();
    uint32_t a[14], b[14];
    Bytes ab = in.take(sizeof a + sizeof b);
    std::memcpy(a, ab.data(), sizeof a);
    std::memcpy(b, ab.data() + sizeof a, sizeof b);

    switch (sel % 6) {
        case 0:
            check_products<5>(a, b, pmult160x160, nullptr);
            break;
        case 1:
            check_products<6>(a, b, pmult192x192, psqr192x192);
            break;
        case 2:
            check_products<7>(a, b, pmult224x224, nullptr);
            break;
        case 3:
            check_products<8>(a, b, pmult256x256, nullptr);
            break;
        case 4:
            check_products<9>(a, b, pmult288x288, psqr288x288);
            break;
        default:
            check_products<14>(a, b, pmult448x448, psqr448x448);
            break;
    }

    // A field product: reduced operands, the exported kernel and reducer
    // against the model.
    const FieldCase &f = field_cases[(sel >> 3) % 4];
    uint32_t x[14] = {0}, y[14] = {0};
    std::memcpy(x, a, 4 * f.words);
    std::memcpy(y, b, 4 * f.words);
    if (f.m % 32) {
        x[f.words - 1] &= (1u << (f.m % 32)) - 1;
        y[f.words - 1] &= (1u << (f.m % 32)) - 1;
    }
    uint32_t c[28] = {0}, want[28];
    f.mul(c, x, y);
    model_mul(want, x, y, f.mul_words);
    check(std::equal(c, c + 2 * f.mul_words, want), "field kernel product differs");
    f.reduce(c);
    model_reduce(want, f.in_words, f.m, f.k, f.nk);
    check(std::equal(c, c + f.words, want), "field reduction differs from the model");
    return 0;
}
