// GF(2^m) multiplication, squaring and inversion in the four DSTU 4145
// fields, on each kernel path (nibble tables, and the carry-less multiply
// instruction where the CPU has it), beside OpenSSL's binary-field
// arithmetic (BN_GF2m_*) on the same values.
//
// A multiplication or squaring is timed the way the curve code performs it:
// product area zeroed, fixed-size kernel, reducer, result copied out.
#include <benchmark/benchmark.h>
#include <openssl/bn.h>

#include <cstdint>
#include <cstring>
#include <random>

#include "ec2/field_kernels.hpp"
#include "lncext/dstu4145.h"

namespace {

namespace gf2 = lncext::gf2;

using MulFn = void (*)(uint32_t *, const uint32_t *, const uint32_t *);
using SqrFn = void (*)(uint32_t *, const uint32_t *);

struct Field {
    uint32_t m, k1, k2, k3;
    void (*reduce)(uint32_t *);
    MulFn mul[2];  // nibble, clmul (null when not built)
    SqrFn sqr[2];
    void (*invert_clmul)(uint32_t *, const uint32_t *);
};

template <class Path>
void mul257(uint32_t *c, const uint32_t *a, const uint32_t *b) {
    Path::template mul<8>(c, a, b);
    for (int i = 0; i < 8; i++) c[8 + i] ^= (b[i] & (0u - a[8])) ^ (a[i] & (0u - b[8]));
    c[16] = a[8] & b[8];
}

#if defined(LNCEXT_HAVE_CLMUL)
#define CLMUL(...) __VA_ARGS__
template <class F>
void invert_clmul(uint32_t *out, const uint32_t *a) {
    gf2::invert_clmul(F{}, out, a);
}
#else
#define CLMUL(...) nullptr
#endif

const Field fields[] = {
    {163,
     7,
     6,
     3,
     reduce163_7_6_3_1,
     {gf2::Nibble::mul<6>, CLMUL(gf2::Clmul::mul<6>)},
     {gf2::Nibble::sqr<6>, CLMUL(gf2::Clmul::sqr<6>)},
     CLMUL(invert_clmul<gf2::Field<163, 7, 6, 3, 0>>)},
    {191,
     9,
     0,
     0,
     reduce191_9_1,
     {gf2::Nibble::mul<6>, CLMUL(gf2::Clmul::mul<6>)},
     {gf2::Nibble::sqr<6>, CLMUL(gf2::Clmul::sqr<6>)},
     CLMUL(invert_clmul<gf2::Field<191, 9, 0>>)},
    {257,
     12,
     0,
     0,
     reduce257_12_1,
     {mul257<gf2::Nibble>, CLMUL(mul257<gf2::Clmul>)},
     {gf2::Nibble::sqr<9>, CLMUL(gf2::Clmul::sqr<9>)},
     CLMUL(invert_clmul<gf2::Field<257, 12, 0>>)},
    {431,
     5,
     3,
     1,
     reduce431_5_3_1,
     {gf2::Nibble::mul<14>, CLMUL(gf2::Clmul::mul<14>)},
     {gf2::Nibble::sqr<14>, CLMUL(gf2::Clmul::sqr<14>)},
     CLMUL(invert_clmul<gf2::Field<431, 5, 3, 1, 0>>)},
};

const char *const path_names[2] = {"nibble", "clmul"};

bool path_usable(int path) {
#if defined(LNCEXT_HAVE_CLMUL)
    return path == 0 || gf2::cpu_has_clmul();
#else
    return path == 0;
#endif
}

struct Operands {
    lnm2_poly a, b, out;
};

Operands random_operands(const Field &f) {
    std::mt19937_64 gen(f.m);
    Operands o;
    lnm2pclear(o.a, f.m);
    lnm2pclear(o.b, f.m);
    lnm2pclear(o.out, f.m);
    for (uint32_t i = 1; i <= o.a[0]; i++) o.a[i] = uint32_t(gen()), o.b[i] = uint32_t(gen());
    const uint32_t top = (1u << (f.m % 32)) - 1;
    o.a[o.a[0]] &= top;
    o.b[o.b[0]] &= top;
    return o;
}

void BM_mul(benchmark::State &state, const Field &f, int path) {
    if (!path_usable(path)) return state.SkipWithError("no carry-less multiply instruction");
    Operands o = random_operands(f);
    for (auto _ : state) {
        uint32_t area[LNM2_PRODUCT_WORDS];
        std::memset(area, 0, sizeof area);
        f.mul[path](area + 1, o.a + 1, o.b + 1);
        f.reduce(area + 1);
        std::memcpy(o.a + 1, area + 1, 4 * o.a[0]);
        benchmark::DoNotOptimize(o.a);
    }
}

void BM_sqr(benchmark::State &state, const Field &f, int path) {
    if (!path_usable(path)) return state.SkipWithError("no carry-less multiply instruction");
    Operands o = random_operands(f);
    for (auto _ : state) {
        uint32_t area[LNM2_PRODUCT_WORDS];
        f.sqr[path](area + 1, o.a + 1);
        f.reduce(area + 1);
        std::memcpy(o.a + 1, area + 1, 4 * o.a[0]);
        benchmark::DoNotOptimize(o.a);
    }
}

// Inversion on each path: the bit-serial Euclidean loop that the nibble path
// (and any other field polynomial) uses, Itoh-Tsujii on the instruction path.
void BM_inv(benchmark::State &state, const Field &f, int path) {
    if (!path_usable(path)) return state.SkipWithError("no carry-less multiply instruction");
    Operands o = random_operands(f);
    uint32_t poly[14] = {};
    for (uint32_t e : {f.m, f.k1, f.k2, f.k3, 0u}) poly[e / 32] |= 1u << (e % 32);
    for (auto _ : state) {
        if (path == 0) {
            gf2::invert_euclid(o.out + 1, o.a + 1, o.a[0], poly);
        } else {
#if defined(LNCEXT_HAVE_CLMUL)
            f.invert_clmul(o.out + 1, o.a + 1);
#endif
        }
        benchmark::DoNotOptimize(o.out);
    }
}

// ---- OpenSSL -------------------------------------------------------------

struct Ossl {
    BIGNUM *a = BN_new(), *b = BN_new(), *r = BN_new();
    BN_CTX *ctx = BN_CTX_new();
    int p[6] = {};
    Ossl(const Field &f, const Operands &o) {
        BN_lebin2bn(reinterpret_cast<const unsigned char *>(o.a + 1), int(4 * o.a[0]), a);
        BN_lebin2bn(reinterpret_cast<const unsigned char *>(o.b + 1), int(4 * o.b[0]), b);
        int i = 0;
        for (uint32_t e : {f.m, f.k1, f.k2, f.k3})
            if (e) p[i++] = int(e);
        p[i++] = 0;
        p[i] = -1;
    }
    ~Ossl() {
        BN_free(a);
        BN_free(b);
        BN_free(r);
        BN_CTX_free(ctx);
    }
};

void BM_openssl_mul(benchmark::State &state, const Field &f) {
    Operands o = random_operands(f);
    Ossl s(f, o);
    for (auto _ : state) benchmark::DoNotOptimize(BN_GF2m_mod_mul_arr(s.r, s.a, s.b, s.p, s.ctx));
}

void BM_openssl_sqr(benchmark::State &state, const Field &f) {
    Operands o = random_operands(f);
    Ossl s(f, o);
    for (auto _ : state) benchmark::DoNotOptimize(BN_GF2m_mod_sqr_arr(s.r, s.a, s.p, s.ctx));
}

void BM_openssl_inv(benchmark::State &state, const Field &f) {
    Operands o = random_operands(f);
    Ossl s(f, o);
    BIGNUM *poly = BN_new();
    BN_GF2m_arr2poly(s.p, poly);
    for (auto _ : state) benchmark::DoNotOptimize(BN_GF2m_mod_inv(s.r, s.a, poly, s.ctx));
    BN_free(poly);
}

int register_all() {
    for (const Field &f : fields) {
        const std::string m = std::to_string(f.m);
        for (int path = 0; path < 2; path++) {
            if (!f.mul[path]) continue;
            benchmark::RegisterBenchmark(("mul/" + m + "/" + path_names[path]).c_str(), BM_mul, f,
                                         path);
            benchmark::RegisterBenchmark(("sqr/" + m + "/" + path_names[path]).c_str(), BM_sqr, f,
                                         path);
            benchmark::RegisterBenchmark(("inv/" + m + "/" + path_names[path]).c_str(), BM_inv, f,
                                         path);
        }
        benchmark::RegisterBenchmark(("mul/" + m + "/openssl").c_str(), BM_openssl_mul, f);
        benchmark::RegisterBenchmark(("sqr/" + m + "/openssl").c_str(), BM_openssl_sqr, f);
        benchmark::RegisterBenchmark(("inv/" + m + "/openssl").c_str(), BM_openssl_inv, f);
    }
    return 0;
}

const int registered = register_all();

}  // namespace
