// GF(2^m) arithmetic: the kernels on both paths against a shift-and-xor product,
// the reducers against long division by the published field polynomials,
// inversion on every algorithm, and the edge cases of the element functions.
#include <gtest/gtest.h>
#include "common/bytes.hpp"
#include "ec2/field_kernels.hpp"
#include "ec2_curves.hpp"

namespace {

using lncext_test::Bytes;
using lncext_test::Rng;
using Words = std::vector<uint32_t>;
namespace gf2 = lncext::gf2;

// a * b over GF(2)[x], one shifted copy of b per set bit of a.
Words shift_xor_mul(const Words &a, const Words &b) {
    Words c(a.size() + b.size(), 0);
    for (size_t i = 0; i < 32 * a.size(); i++)
        for (size_t j = 0; j < 32 * b.size() && (a[i / 32] >> (i % 32) & 1); j++)
            if ((b[j / 32] >> (j % 32)) & 1) c[(i + j) / 32] ^= 1u << ((i + j) % 32);
    return c;
}
// f = x^m + x^k1 (+ x^k2 + x^k3) + 1.
struct Field {
    uint32_t m, k1, k2, k3;
    size_t words() const { return (m + 31) / 32; }
    std::vector<uint32_t> low() const {
        return k2 ? std::vector<uint32_t>{k1, k2, k3, 0} : std::vector<uint32_t>{k1, 0};
    }
};

// c mod f by long division, one leading bit at a time.
Words poly_mod(Words c, const Field &f) {
    for (size_t i = 32 * c.size(); i-- > f.m;) {
        if (!((c[i / 32] >> (i % 32)) & 1)) continue;
        c[i / 32] ^= 1u << (i % 32);
        for (uint32_t e : f.low()) c[(i - f.m + e) / 32] ^= 1u << ((i - f.m + e) % 32);
    }
    c.resize(f.words());
    return c;
}
// n random words, the top one cut to top_bits; the first draws of each
// generator are all ones, zero and a single top bit.
Words random_words(Rng &rng, size_t n, uint32_t top_bits = 32, int i = 3) {
    Words w(n, i == 0 ? ~0u : 0);
    if (i == 2) w[n - 1] = 1u << (top_bits - 1);
    for (auto &x : w) x = i < 3 ? x : rng.word();
    if (top_bits < 32) w[n - 1] &= (1u << top_bits) - 1;
    return w;
}
using MulFn = void (*)(uint32_t *, const uint32_t *, const uint32_t *);
using SqrFn = void (*)(uint32_t *, const uint32_t *);
#if defined(LNCEXT_HAVE_CLMUL)
const bool kClmul = gf2::cpu_has_clmul();
#else
const bool kClmul = false;
#endif

// Each path's template of width W, and the exported functions (on the path
// the process chose) where there are any, against the model; with one guard
// word past every product.
template <size_t W>
void check_kernels(Rng &rng, MulFn mul = nullptr, SqrFn sqr = nullptr) {
    std::vector<std::pair<const char *, MulFn>> muls = {{"nibble", &gf2::Nibble::mul<W>}};
    std::vector<std::pair<const char *, SqrFn>> sqrs = {{"nibble", &gf2::Nibble::sqr<W>}};
    if (mul) muls.push_back({"exported", mul});
    if (sqr) sqrs.push_back({"exported", sqr});
#if defined(LNCEXT_HAVE_CLMUL)
    if (kClmul) muls.push_back({"clmul", &gf2::Clmul::mul<W>});
    if (kClmul) sqrs.push_back({"clmul", &gf2::Clmul::sqr<W>});
#endif
    const uint32_t guard = 0xA5A5A5A5u;
    for (int i = 0; i < 40; i++) {
        const Words a = random_words(rng, W, 32, i), b = random_words(rng, W, 32, i / 2);
        Words ab = shift_xor_mul(a, b), aa = shift_xor_mul(a, a);
        ab.push_back(guard);
        aa.push_back(guard);
        for (const auto &[path, fn] : muls) {
            Words c(2 * W + 1, guard);
            fn(c.data(), a.data(), b.data());
            EXPECT_EQ(c, ab) << W << " words " << path << " #" << i;
        }
        for (const auto &[path, fn] : sqrs) {
            Words c(2 * W + 1, guard), in_place = a;
            in_place.resize(2 * W + 1, guard);
            fn(c.data(), a.data());
            fn(in_place.data(), in_place.data());
            EXPECT_EQ(c, aa) << W << " words squared " << path << " #" << i;
            EXPECT_EQ(in_place, aa) << W << " words squared in place " << path << " #" << i;
        }
    }
}

TEST(Ec2Field, KernelsEqualShiftAndXorOnEveryPathAndWriteNothingPastTheProduct) {
    std::cout << "carry-less multiply instruction path: "
              << (kClmul ? "tested" : "not available on this build or CPU") << "\n";
    Rng rng(0xEC2F1E1D);
    check_kernels<1>(rng), check_kernels<2>(rng), check_kernels<3>(rng), check_kernels<4>(rng);
    check_kernels<5>(rng, pmult160x160), check_kernels<6>(rng, pmult192x192, psqr192x192);
    check_kernels<7>(rng, pmult224x224), check_kernels<8>(rng, pmult256x256);
    check_kernels<9>(rng, pmult288x288, psqr288x288);
    check_kernels<14>(rng, pmult448x448, psqr448x448);
    // 257 bits: the 256-bit product plus the top bits' terms; word 16 holds
    // their product alone.
    for (int i = 0; i < 100; i++) {
        const Words a = random_words(rng, 9, 1, i), b = random_words(rng, 9, 1, i / 2);
        Words c(18, 0x5A5A5A5Au);
        c[16] = c[17] = 0;
        pmult257x257(c.data(), a.data(), b.data());
        EXPECT_EQ(c, shift_xor_mul(a, b)) << "257 bits #" << i;
    }
}

TEST(Ec2Field, ReducersGiveTheRemainderModuloThePublishedPolynomials) {
    const std::pair<void (*)(uint32_t *), size_t> reducers[] = {
        {reduce163_7_6_3_1, 11}, {reduce191_9_1, 12}, {reduce257_12_1, 18}, {reduce431_5_3_1, 28}};
    std::vector<Field> fs;
    for (const auto &c : ec2_test::named_curves()) fs.push_back({c.m, c.k1, c.k2, c.k3});
    ASSERT_EQ(fs.size(), 4u);
    Rng rng(0x4ED0CE);
    for (size_t r = 0; r < 4; r++) {
        const Field &f = fs[r];
        const auto [reduce, in_words] = reducers[r];
        // Inputs of degree up to 2m - 2 (any product of two reduced elements):
        // all ones, one already reduced, x^m alone, then random ones.
        for (int i = 0; i < 100; i++) {
            const bool reduced = i == 1;
            Words in = random_words(rng, reduced ? f.words() : in_words, reduced ? f.m % 32 : 32,
                                    reduced ? 3 : i);
            in.resize(in_words, 0);
            if (i == 2) in[f.m / 32] = 1u << (f.m % 32);
            for (size_t j = 2 * f.m - 1; j < 32 * in_words; j++) in[j / 32] &= ~(1u << (j % 32));
            Words c = in;
            reduce(c.data());
            EXPECT_EQ(Words(c.begin(), c.begin() + long(f.words())), poly_mod(in, f)) << f.m;
            if (f.m == 431) {  // this reducer also clears the words it folded
                EXPECT_EQ(Words(c.begin() + 14, c.end()), Words(14, 0));
            }
        }
    }
}

#if defined(LNCEXT_HAVE_CLMUL)
template <uint32_t M, uint32_t... K>
void invert_clmul(uint32_t m, uint32_t *out, const uint32_t *a) {
    if (m == M) gf2::invert_clmul(gf2::Field<M, K...>{}, out, a);
}
#endif

TEST(Ec2Field, ElementTimesItsInverseIsOneOnEveryAlgorithmAndZeroHasNone) {
    Rng rng(0x1417);
    // The published fields, then two NIST fields: no kernels, the general loop.
    std::vector<Field> fields;
    for (const auto &c : ec2_test::named_curves()) fields.push_back({c.m, c.k1, c.k2, c.k3});
    fields.insert(fields.end(), {{233, 74, 0, 0}, {283, 12, 7, 5}});
    for (const Field &f : fields) {
        const size_t n = f.words();
        Words one(n, 0), fw(n, 0);
        one[0] = 1;
        for (uint32_t e : f.low()) fw[e / 32] |= 1u << (e % 32);
        fw[f.m / 32] |= 1u << (f.m % 32);
        for (int i = 0; i < 40; i++) {
            // 1, zero (no inverse: 0, and the loops end), x^(m-1), random.
            Words w = i == 0 ? one : random_words(rng, n, f.m % 32, i);
            lnm2_poly a, inv;
            lnm2pclear(a, f.m);
            lnm2pclear(inv, f.m)[1] = 7;
            std::copy(w.begin(), w.end(), a + 1);
            lnm2invm(inv, a, f.m, f.k1, f.k2, f.k3);
            const Words iw(inv + 1, inv + 1 + n);
            EXPECT_EQ(poly_mod(shift_xor_mul(w, iw), f), i == 1 ? Words(n, 0) : one) << f.m;
            lnm2invm(a, a, f.m, f.k1, f.k2, f.k3);  // out may be a
            EXPECT_EQ(Words(a + 1, a + 1 + n), iw) << f.m << " in place";
            // Every algorithm gives the same inverse whatever the process chose.
            Words other(n, 1);
            gf2::invert_euclid(other.data(), w.data(), uint32_t(n), fw.data());
            EXPECT_EQ(other, iw) << "Euclid, m = " << f.m;
#if defined(LNCEXT_HAVE_CLMUL)
            if (!kClmul || i == 1 || f.m == 233 || f.m == 283) continue;
            invert_clmul<163, 7, 6, 3, 0>(f.m, other.data(), w.data());
            invert_clmul<191, 9, 0>(f.m, other.data(), w.data());
            invert_clmul<257, 12, 0>(f.m, other.data(), w.data());
            invert_clmul<431, 5, 3, 1, 0>(f.m, other.data(), w.data());
            EXPECT_EQ(other, iw) << "Itoh-Tsujii, m = " << f.m;
#endif
        }
    }
    // Unusable field polynomials give 0, and so does f itself (0 modulo f).
    lnm2_poly f, out;
    lnm2pclear(f, 163);
    for (uint32_t e : {163u, 7u, 6u, 3u, 0u}) lnm2psbit(f, e, 1);
    for (Field p : {Field{163, 7, 6, 3}, Field{160, 7, 0, 0}, Field{449, 7, 0, 0},
                    Field{163, 163, 0, 0}, Field{163, 7, 8, 3}, Field{163, 7, 6, 0}, Field{}}) {
        lnm2pclear(out, 163)[1] = 9;
        lnm2invm(out, f, p.m, p.k1, p.k2, p.k3);
        EXPECT_TRUE(lnm2p_is_zero(out)) << p.m << " " << p.k1 << " " << p.k2 << " " << p.k3;
        f[1] = 3;  // x + 1 in the other cases
        std::fill(f + 2, f + 7, 0);
    }
}

TEST(Ec2Field, ElementFunctionsKeepTheirEdgeCases) {
    lnm2_poly p, q;
    EXPECT_EQ(lnm2pclear(p, 10000)[0], 14u);  // never past the record
    EXPECT_TRUE(lnm2p_is_zero(lnm2pclear(p, 163)) && p[0] == 6);
    // Bytes: little-endian in (at most the element's words), little-endian
    // out, exactly len bytes written, zeros past the element, none for len < 1.
    const Bytes bytes = Rng(21).bytes(40);
    Bytes out(32, 0xEE), want = out;
    std::fill(want.begin() + 21, want.begin() + 30, 0);
    std::copy(bytes.begin(), bytes.begin() + 21, want.begin());
    lnm2ptob(lnm2ptob(out.data(), lnm2pfromb(p, bytes.data(), 21), 0), p, -5);
    EXPECT_EQ(out, Bytes(32, 0xEE));
    EXPECT_EQ(Bytes(lnm2ptob(out.data(), p, 30), out.data() + 32), want);
    EXPECT_EQ(lnm2pfromb(p, bytes.data(), 40)[6], lncext::load_le32(bytes.data() + 20));
    EXPECT_TRUE(lnm2p_is_zero(lnm2pfromb(p, bytes.data(), -1)));
    EXPECT_TRUE(lnm2p_is_zero(lnm2pfrombits(p, bytes.data(), 0)));
    EXPECT_EQ(lnm2pfrombits(p, bytes.data(), 12)[1], bytes[0] | uint32_t(bytes[1] & 0xF) << 8);
    EXPECT_EQ(lnm2pfrombits(p, bytes.data(), 163)[6], uint32_t(bytes[20] & 7));
    // Big numbers: the count is that of the highest non-zero word.
    uint32_t big[20];
    EXPECT_EQ(lnm2ptobig(big, lnm2pclear(p, 163))[0], 0u);
    p[3] = 0x1234;
    EXPECT_EQ(Words(lnm2ptobig(big, p), big + 4), (Words{3, 0, 0, 0x1234}));
    const uint32_t longer[9] = {8, 1, 2, 3, 4, 5, 6, 7, 8}, shorter[3] = {2, 0xAB, 0xCD};
    EXPECT_EQ(Words(lnm2pfrombig(lnm2pclear(q, 163), longer), q + 7), (Words{6, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(Words(lnm2pfrombig(q, shorter), q + 7), (Words{6, 0xAB, 0xCD, 0, 0, 0, 0}));
}

TEST(Ec2Field, WordSerialProductsEqualShiftAndXor) {
    Rng rng(0x6F2);
    for (int sa = 1; sa <= 12; sa++) {
        for (int sb = 1; sb <= 12; sb += 1 + (sa % 3)) {
            const Words a = random_words(rng, size_t(sa)), b = random_words(rng, size_t(sb));
            Words want = shift_xor_mul(a, b), c(size_t(sa + sb) + 1, 0xA5A5A5A5u);
            EXPECT_EQ(gf2x_mul(c.data(), a.data(), sa, b.data(), sb), want.back());
            want.push_back(0xA5A5A5A5u);
            EXPECT_EQ(c, want) << sa << "x" << sb;
            // One word times sb words, and d = acc + a[0] b, apart and in place.
            Words acc = random_words(rng, size_t(sb)), d(size_t(sb), 0);
            Words prod = shift_xor_mul(b, {a[0]}), sum = prod;
            for (size_t i = 0; i < size_t(sb); i++) sum[i] ^= acc[i];
            EXPECT_EQ(gf2x_mul_1_n(d.data(), b.data(), sb, a[0]), prod.back());
            EXPECT_EQ(d, Words(prod.begin(), prod.end() - 1));
            EXPECT_EQ(gf2x_addmul_1_n(d.data(), acc.data(), b.data(), sb, a[0]), sum.back());
            EXPECT_EQ(gf2x_addmul_1_n(acc.data(), acc.data(), b.data(), sb, a[0]), sum.back());
            EXPECT_TRUE(d == Words(sum.begin(), sum.end() - 1) && acc == d) << sa << "x" << sb;
        }
    }
    uint32_t untouched = 0x77, one = 1;  // empty operands: nothing written
    EXPECT_EQ(gf2x_mul_1_n(&untouched, &one, 0, 5) | gf2x_addmul_1_n(&untouched, &one, &one, 0, 5) |
                  gf2x_mul(&untouched, &one, 0, &one, 1),
              0u);
    EXPECT_EQ(untouched, 0x77u);
}

}  // namespace
