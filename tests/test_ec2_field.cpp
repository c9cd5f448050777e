// GF(2^m) arithmetic: the fixed-size kernels on both paths against a plain
// shift-and-xor product, the reducers against polynomial long division with
// the published field polynomials, inversion, and the element functions.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "common/bytes.hpp"
#include "ec2/field_kernels.hpp"
#include "lncext/bignum.h"
#include "lncext/dstu4145.h"
#include "test_util.hpp"

namespace {

using lncext_test::Rng;
using Words = std::vector<uint32_t>;
namespace gf2 = lncext::gf2;

// ---- Oracles ---------------------------------------------------------------

// a * b over GF(2)[x], one shifted copy of b per set bit of a.
Words shift_xor_mul(const uint32_t *a, size_t na, const uint32_t *b, size_t nb) {
    Words c(na + nb, 0);
    for (size_t i = 0; i < 32 * na; i++) {
        if (!((a[i / 32] >> (i % 32)) & 1)) continue;
        for (size_t j = 0; j < 32 * nb; j++)
            if ((b[j / 32] >> (j % 32)) & 1) c[(i + j) / 32] ^= 1u << ((i + j) % 32);
    }
    return c;
}

// A field polynomial as read from the published curve table.
struct Field {
    uint32_t m, k1, k2, k3;
    size_t words() const { return (m + 31) / 32; }
};

// c mod f by long division, one leading bit at a time; n words of result.
Words poly_mod(Words c, const Field &f) {
    for (size_t i = 32 * c.size(); i-- > f.m;) {
        if (!((c[i / 32] >> (i % 32)) & 1)) continue;
        const size_t s = i - f.m;
        c[i / 32] ^= 1u << (i % 32);
        const Words low = f.k2 ? Words{f.k1, f.k2, f.k3, 0} : Words{f.k1, 0};
        for (uint32_t e : low) c[(s + e) / 32] ^= 1u << ((s + e) % 32);
    }
    c.resize(f.words());
    return c;
}

std::vector<Field> published_fields() {
    std::vector<Field> out;
    for (auto &blk : lncext_test::read_vectors("dstu4145.txt")) {
        if (!blk.has("curve")) continue;
        out.push_back({uint32_t(std::stoul(blk.get("m"))), uint32_t(std::stoul(blk.get("k1"))),
                       uint32_t(std::stoul(blk.get("k2"))), uint32_t(std::stoul(blk.get("k3")))});
    }
    return out;
}

Words random_words(Rng &rng, size_t n) {
    Words w(n);
    for (auto &x : w) x = rng.word();
    return w;
}

// Random operands, then the edge cases: all ones, zero, a single top bit.
std::vector<Words> operands(Rng &rng, size_t n, int random_count) {
    std::vector<Words> ops;
    for (int i = 0; i < random_count; i++) ops.push_back(random_words(rng, n));
    ops.push_back(Words(n, 0xFFFFFFFFu));
    ops.push_back(Words(n, 0));
    Words top(n, 0);
    top[n - 1] = 0x80000000u;
    ops.push_back(top);
    return ops;
}

// ---- Kernel paths ----------------------------------------------------------

using MulFn = void (*)(uint32_t *, const uint32_t *, const uint32_t *);
using SqrFn = void (*)(uint32_t *, const uint32_t *);

bool clmul_available() {
#if defined(LNCEXT_HAVE_CLMUL)
    return gf2::cpu_has_clmul();
#else
    return false;
#endif
}

// The exported kernel (on the path the process chose), then each path's
// template directly.
template <class Fn>
using Paths = std::vector<std::pair<const char *, Fn>>;

template <size_t W>
Paths<MulFn> mul_paths(MulFn exported) {
    Paths<MulFn> p = {{"exported", exported}, {"nibble", &gf2::Nibble::mul<W>}};
#if defined(LNCEXT_HAVE_CLMUL)
    if (clmul_available()) p.push_back({"clmul", &gf2::Clmul::mul<W>});
#endif
    return p;
}

template <size_t W>
Paths<SqrFn> sqr_paths(SqrFn exported) {
    Paths<SqrFn> p = {{"exported", exported}, {"nibble", &gf2::Nibble::sqr<W>}};
#if defined(LNCEXT_HAVE_CLMUL)
    if (clmul_available()) p.push_back({"clmul", &gf2::Clmul::sqr<W>});
#endif
    return p;
}

template <class Fn>
struct Kernel {
    const char *name;
    size_t words;
    Paths<Fn> paths;
};

TEST(Ec2Field, MultipliersEqualShiftAndXorOnEveryPath) {
    std::cout << "carry-less multiply instruction path: "
              << (clmul_available() ? "tested" : "not available on this build or CPU") << "\n";
    const Kernel<MulFn> kernels[] = {
        {"pmult160x160", 5, mul_paths<5>(pmult160x160)},
        {"pmult192x192", 6, mul_paths<6>(pmult192x192)},
        {"pmult224x224", 7, mul_paths<7>(pmult224x224)},
        {"pmult256x256", 8, mul_paths<8>(pmult256x256)},
        {"pmult288x288", 9, mul_paths<9>(pmult288x288)},
        {"pmult448x448", 14, mul_paths<14>(pmult448x448)},
        // The internal kernels of the tree, reached through the template.
        {"mul32x32", 1, mul_paths<1>(&gf2::Nibble::mul<1>)},
        {"mul64x64", 2, mul_paths<2>(&gf2::Nibble::mul<2>)},
        {"mul96x96", 3, mul_paths<3>(&gf2::Nibble::mul<3>)},
        {"mul128x128", 4, mul_paths<4>(&gf2::Nibble::mul<4>)},
    };
    Rng rng(0xEC2F1E1D);
    for (const auto &k : kernels) {
        const auto ops = operands(rng, k.words, 60);
        for (size_t i = 0; i < ops.size(); i++) {
            const Words &a = ops[i], &b = ops[(i * 7 + 3) % ops.size()];
            const Words want = shift_xor_mul(a.data(), k.words, b.data(), k.words);
            for (const auto &p : k.paths) {
                Words c(2 * k.words + 1, 0xA5A5A5A5u);  // one guard word past the product
                p.second(c.data(), a.data(), b.data());
                EXPECT_EQ(Words(c.begin(), c.end() - 1), want)
                    << k.name << " " << p.first << " #" << i;
                EXPECT_EQ(c.back(), 0xA5A5A5A5u)
                    << k.name << " " << p.first << " wrote past its product";
            }
        }
    }
}

TEST(Ec2Field, Mult257AddsTheTopBitsAndSetsWord16OnlyWhenBothAreSet) {
    Rng rng(257);
    for (int i = 0; i < 200; i++) {
        Words a = random_words(rng, 9), b = random_words(rng, 9);
        a[8] = uint32_t(i & 1);
        b[8] = uint32_t((i >> 1) & 1);
        if (i >= 196) a.assign(8, 0xFFFFFFFFu), a.push_back(1), b = a;  // all ones
        const Words want = shift_xor_mul(a.data(), 9, b.data(), 9);
        Words c(18, 0x5A5A5A5Au);
        c[16] = c[17] = 0;
        pmult257x257(c.data(), a.data(), b.data());
        EXPECT_EQ(c, want) << "#" << i;
        EXPECT_EQ(c[16], a[8] & b[8]) << "#" << i;
    }
}

TEST(Ec2Field, SquarersEqualTheProductAlsoInPlace) {
    const Kernel<SqrFn> kernels[] = {{"psqr192x192", 6, sqr_paths<6>(psqr192x192)},
                                     {"psqr288x288", 9, sqr_paths<9>(psqr288x288)},
                                     {"psqr448x448", 14, sqr_paths<14>(psqr448x448)}};
    Rng rng(0x5C0A7E);
    for (const auto &k : kernels) {
        for (const Words &a : operands(rng, k.words, 60)) {
            const Words want = shift_xor_mul(a.data(), k.words, a.data(), k.words);
            for (const auto &p : k.paths) {
                Words c(2 * k.words, 0xA5A5A5A5u), inplace = a;
                inplace.resize(2 * k.words, 0xA5A5A5A5u);
                p.second(c.data(), a.data());
                p.second(inplace.data(), inplace.data());
                EXPECT_EQ(c, want) << k.name << " " << p.first;
                EXPECT_EQ(inplace, want) << k.name << " " << p.first << " in place";
            }
        }
    }
}

struct Reducer {
    void (*fn)(uint32_t *);
    size_t input_words;
};

Reducer reducer_for(uint32_t m) {
    switch (m) {
        case 163:
            return {reduce163_7_6_3_1, 11};
        case 191:
            return {reduce191_9_1, 12};
        case 257:
            return {reduce257_12_1, 18};
        default:
            return {reduce431_5_3_1, 28};
    }
}

TEST(Ec2Field, ReducersGiveTheRemainderModuloThePublishedPolynomials) {
    const auto fields = published_fields();
    ASSERT_EQ(fields.size(), 4u);
    Rng rng(0x4ED0CE);
    for (const Field &f : fields) {
        const Reducer r = reducer_for(f.m);
        const size_t n = f.words();
        // Inputs of degree up to 2m - 2 (any product of two reduced elements).
        auto clip = [&](Words c) {
            for (size_t i = 2 * f.m - 1; i < 32 * c.size(); i++) c[i / 32] &= ~(1u << (i % 32));
            return c;
        };
        std::vector<Words> inputs;
        for (int i = 0; i < 200; i++) inputs.push_back(clip(random_words(rng, r.input_words)));
        inputs.push_back(clip(Words(r.input_words, 0xFFFFFFFFu)));
        Words reduced = clip(random_words(rng, r.input_words));  // already reduced: unchanged
        for (size_t i = 0; i < reduced.size(); i++)
            if (i >= n - 1) reduced[i] &= i == n - 1 ? (1u << (f.m % 32)) - 1 : 0;
        inputs.push_back(reduced);
        Words xm(r.input_words, 0);  // x^m gives the lower terms of f
        xm[f.m / 32] = 1u << (f.m % 32);
        inputs.push_back(xm);
        for (const Words &in : inputs) {
            Words c = in;
            r.fn(c.data());
            EXPECT_EQ(Words(c.begin(), c.begin() + long(n)), poly_mod(in, f)) << "m = " << f.m;
            if (f.m == 431) {
                EXPECT_EQ(Words(c.begin() + 14, c.end()), Words(14, 0));
            }
        }
        Words c = xm;
        r.fn(c.data());
        Words lower(n, 0);
        for (uint32_t e : {f.k1, f.k2, f.k3, 0u}) lower[e / 32] |= 1u << (e % 32);
        EXPECT_EQ(Words(c.begin(), c.begin() + long(n)), lower) << "x^" << f.m;
    }
}

// One field multiplication the way the curve code assembles it.
Words field_mul(const Field &f, const Words &a, const Words &b) {
    uint32_t area[28] = {};
    switch (f.m) {
        case 163:
            pmult192x192(area, a.data(), b.data());
            break;
        case 191:
            pmult192x192(area, a.data(), b.data());
            break;
        case 257:
            pmult257x257(area, a.data(), b.data());
            break;
        default:
            pmult448x448(area, a.data(), b.data());
            break;
    }
    reducer_for(f.m).fn(area);
    return Words(area, area + f.words());
}

#if defined(LNCEXT_HAVE_CLMUL)
void invert_on_clmul(const Field &f, uint32_t *out, const uint32_t *a) {
    switch (f.m) {
        case 163:
            return gf2::invert_clmul(gf2::Field<163, 7, 6, 3, 0>{}, out, a);
        case 191:
            return gf2::invert_clmul(gf2::Field<191, 9, 0>{}, out, a);
        case 257:
            return gf2::invert_clmul(gf2::Field<257, 12, 0>{}, out, a);
        default:
            return gf2::invert_clmul(gf2::Field<431, 5, 3, 1, 0>{}, out, a);
    }
}
#endif

TEST(Ec2Field, ElementTimesItsInverseIsOneInEveryField) {
    Rng rng(0x1417);
    for (const Field &f : published_fields()) {
        const size_t n = f.words();
        Words one(n, 0);
        one[0] = 1;
        for (int i = 0; i < 60; i++) {
            lnm2_poly a, inv;
            lnm2pclear(a, f.m);
            lnm2pclear(inv, f.m);
            Words w = random_words(rng, n);
            w[n - 1] &= (1u << (f.m % 32)) - 1;
            if (i == 0) w = one;
            if (i == 1) w = Words(n, 0), w[n - 1] = 1u << (f.m % 32 - 1);  // x^(m-1)
            std::copy(w.begin(), w.end(), a + 1);
            lnm2invm(inv, a, f.m, f.k1, f.k2, f.k3);
            const Words iw(inv + 1, inv + 1 + n);
            EXPECT_EQ(poly_mod(shift_xor_mul(w.data(), n, iw.data(), n), f), one) << f.m;
            EXPECT_EQ(field_mul(f, w, iw), one) << f.m;
            if (i == 0) {
                EXPECT_EQ(iw, one) << "the inverse of 1";
            }
            // Both algorithms give the same inverse whatever the process chose.
            Words fw(n, 0), other(n, 0);
            for (uint32_t e : {f.m, f.k1, f.k2, f.k3, 0u}) fw[e / 32] |= 1u << (e % 32);
            gf2::invert_euclid(other.data(), w.data(), uint32_t(n), fw.data());
            EXPECT_EQ(other, iw) << "Euclid, m = " << f.m;
#if defined(LNCEXT_HAVE_CLMUL)
            if (clmul_available()) {
                other.assign(n, 0);
                invert_on_clmul(f, other.data(), w.data());
                EXPECT_EQ(other, iw) << "Itoh-Tsujii, m = " << f.m;
            }
#endif
            lnm2invm(a, a, f.m, f.k1, f.k2, f.k3);  // out may be a
            EXPECT_EQ(Words(a + 1, a + 1 + n), iw);
        }
        lnm2_poly zero, out;
        lnm2pclear(zero, f.m);
        lnm2pclear(out, f.m);
        out[1] = 7;
        lnm2invm(out, zero, f.m, f.k1, f.k2, f.k3);  // terminates
        EXPECT_TRUE(lnm2p_is_zero(out)) << "the inverse of 0 in m = " << f.m;
        Words fw(n, 0), z(n, 0), got(n, 1);
        for (uint32_t e : {f.m, f.k1, f.k2, f.k3, 0u}) fw[e / 32] |= 1u << (e % 32);
        gf2::invert_euclid(got.data(), z.data(), uint32_t(n), fw.data());
        EXPECT_EQ(got, z) << "Euclid's inverse of 0 in m = " << f.m;
    }
}

TEST(Ec2Field, InversionServesOtherFieldPolynomialsToo) {
    // The NIST binary fields of 233 and 283 bits: no kernels, the general loop.
    Rng rng(233);
    for (const Field f : {Field{233, 74, 0, 0}, Field{283, 12, 7, 5}}) {
        const size_t n = f.words();
        Words one(n, 0);
        one[0] = 1;
        for (int i = 0; i < 20; i++) {
            lnm2_poly a;
            lnm2pclear(a, f.m);
            Words w = random_words(rng, n);
            w[n - 1] &= (1u << (f.m % 32)) - 1;
            std::copy(w.begin(), w.end(), a + 1);
            lnm2invm(a, a, f.m, f.k1, f.k2, f.k3);
            EXPECT_EQ(poly_mod(shift_xor_mul(w.data(), n, a + 1, n), f), one) << f.m;
        }
    }
}

TEST(Ec2Field, InversionRejectsUnusableFieldPolynomialsWithZero) {
    lnm2_poly a, out;
    lnm2pclear(a, 160);
    a[1] = 3;
    struct Params {
        uint32_t m, k1, k2, k3;
    };
    for (Params p : {Params{160, 7, 0, 0}, Params{449, 7, 0, 0}, Params{163, 163, 0, 0},
                     Params{163, 7, 8, 3}, Params{163, 7, 6, 0}, Params{0, 0, 0, 0}}) {
        lnm2pclear(out, 160);
        out[1] = 9;
        lnm2invm(out, a, p.m, p.k1, p.k2, p.k3);
        EXPECT_TRUE(lnm2p_is_zero(out)) << p.m << " " << p.k1 << " " << p.k2 << " " << p.k3;
    }
    // f itself (unreduced) is 0 modulo f: no inverse, and the loop ends with 0.
    lnm2_poly f;
    lnm2pclear(f, 163);
    for (uint32_t e : {163u, 7u, 6u, 3u, 0u}) lnm2psbit(f, e, 1);
    lnm2pclear(out, 163);
    lnm2invm(out, f, 163, 7, 6, 3);
    EXPECT_TRUE(lnm2p_is_zero(out));
}

TEST(Ec2Field, ElementFunctionsKeepTheirEdgeCases) {
    lnm2_poly p, q, big_out;
    EXPECT_EQ(lnm2pclear(p, 163)[0], 6u);
    EXPECT_EQ(lnm2pclear(p, 448)[0], 14u);
    EXPECT_EQ(lnm2pclear(p, 10000)[0], 14u);  // never past the record
    lnm2pclear(p, 163);
    EXPECT_EQ(lnm2p_deg(p), 0);
    EXPECT_TRUE(lnm2p_is_zero(p));
    EXPECT_FALSE(lnm2p_is_one(p));
    lnm2pinc(p);
    EXPECT_EQ(lnm2p_deg(p), 0);
    EXPECT_TRUE(lnm2p_is_one(p));
    lnm2psbit(p, 162, 1);
    EXPECT_EQ(lnm2p_deg(p), 162);
    EXPECT_EQ(lnm2pgbit(p, 162), 1);
    EXPECT_FALSE(lnm2p_is_one(p));
    lnm2psbit(p, 162, 0);
    EXPECT_EQ(lnm2pgbit(p, 162), 0);
    lnm2pclear(q, 163);
    EXPECT_FALSE(lnm2p_is_equal(p, q));
    q[0] = 0;
    EXPECT_TRUE(lnm2p_is_equal(p, q));  // no words compared
    lnm2pclear(q, 163);
    lnm2pcopy(q, p);
    EXPECT_TRUE(lnm2p_is_equal(p, q));
    lnm2add(q, q, p);
    EXPECT_TRUE(lnm2p_is_zero(q));

    // Bytes: little-endian in, little-endian out.
    const lncext_test::Bytes bytes = Rng(21).bytes(40);
    lnm2pclear(p, 163);
    lnm2pfromb(p, bytes.data(), 21);
    for (int i = 0; i < 21 * 8; i++)
        EXPECT_EQ(lnm2pgbit(p, uint32_t(i)), (bytes[size_t(i / 8)] >> (i % 8)) & 1) << i;
    EXPECT_EQ(p[6] >> 8, 0u);
    uint8_t out[32];
    std::memset(out, 0xEE, sizeof out);
    lnm2ptob(out, p, 21);
    EXPECT_EQ(lncext_test::Bytes(out, out + 21),
              lncext_test::Bytes(bytes.begin(), bytes.begin() + 21));
    EXPECT_EQ(out[21], 0xEE);
    lnm2ptob(out, p, 30);
    EXPECT_EQ(lncext_test::Bytes(out + 21, out + 30), lncext_test::Bytes(9, 0));
    std::memset(out, 0xEE, sizeof out);
    lnm2ptob(out, p, 0);
    lnm2ptob(out, p, -5);
    EXPECT_EQ(out[0], 0xEE);
    lnm2pfromb(p, bytes.data(), 40);  // longer than the element: only 24 bytes read
    EXPECT_EQ(p[6], lncext::load_le32(bytes.data() + 20));
    lnm2pfromb(p, bytes.data(), -1);
    EXPECT_TRUE(lnm2p_is_zero(p));
    lnm2pfrombits(p, bytes.data(), 12);
    EXPECT_EQ(p[1], bytes[0] | uint32_t(bytes[1] & 0xF) << 8);
    lnm2pfrombits(p, bytes.data(), 0);
    EXPECT_TRUE(lnm2p_is_zero(p));
    lnm2pfrombits(p, bytes.data(), 163);
    EXPECT_EQ(p[6], uint32_t(bytes[20] & 7));

    // Big numbers: the count is that of the highest non-zero word.
    lnm2pclear(p, 163);
    uint32_t big[20];
    lnm2ptobig(big, p);
    EXPECT_EQ(big[0], 0u);
    p[3] = 0x1234;
    p[1] = 9;
    lnm2ptobig(big, p);
    EXPECT_EQ(Words(big, big + 4), (Words{3, 9, 0, 0x1234}));
    const uint32_t longer[9] = {8, 1, 2, 3, 4, 5, 6, 7, 8};
    lnm2pclear(big_out, 163);
    lnm2pfrombig(big_out, longer);
    EXPECT_EQ(Words(big_out, big_out + 7), (Words{6, 1, 2, 3, 4, 5, 6}));
    const uint32_t shorter[3] = {2, 0xAB, 0xCD};
    lnm2pfrombig(big_out, shorter);
    EXPECT_EQ(Words(big_out, big_out + 7), (Words{6, 0xAB, 0xCD, 0, 0, 0, 0}));
}

TEST(Ec2Field, WordSerialProductsEqualShiftAndXor) {
    Rng rng(0x6F2);
    for (int sa = 1; sa <= 12; sa++) {
        for (int sb = 1; sb <= 12; sb += 1 + (sa % 3)) {
            const Words a = random_words(rng, size_t(sa)), b = random_words(rng, size_t(sb));
            const Words want = shift_xor_mul(a.data(), a.size(), b.data(), b.size());
            Words c(size_t(sa + sb) + 1, 0xA5A5A5A5u);
            EXPECT_EQ(gf2x_mul(c.data(), a.data(), sa, b.data(), sb), want.back());
            EXPECT_EQ(Words(c.begin(), c.end() - 1), want) << sa << "x" << sb;
            EXPECT_EQ(c.back(), 0xA5A5A5A5u);
            if (sa == 1) {  // one word: gf2x_mul_1_n with its carry on top
                Words d(size_t(sb), 0);
                const uint32_t top = gf2x_mul_1_n(d.data(), b.data(), sb, a[0]);
                d.push_back(top);
                EXPECT_EQ(d, want);
            }
            // d = c + a * b, in place and apart.
            Words acc = random_words(rng, size_t(sb)), d(size_t(sb), 0);
            Words sum = shift_xor_mul(b.data(), b.size(), &a[0], 1);
            for (size_t i = 0; i < size_t(sb); i++) sum[i] ^= acc[i];
            EXPECT_EQ(gf2x_addmul_1_n(d.data(), acc.data(), b.data(), sb, a[0]), sum.back());
            EXPECT_EQ(gf2x_addmul_1_n(acc.data(), acc.data(), b.data(), sb, a[0]), sum.back());
            EXPECT_EQ(d, Words(sum.begin(), sum.end() - 1));
            EXPECT_EQ(acc, d);
        }
    }
    uint32_t untouched = 0x77, one = 1;
    EXPECT_EQ(gf2x_mul_1_n(&untouched, &one, 0, 5), 0u);
    EXPECT_EQ(gf2x_addmul_1_n(&untouched, &one, &one, 0, 5), 0u);
    EXPECT_EQ(gf2x_mul(&untouched, &one, 0, &one, 1), 0u);
    EXPECT_EQ(untouched, 0x77u);
}

}  // namespace
