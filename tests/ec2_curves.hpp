// The published DSTU 4145 curves of tests/vectors/dstu4145.txt as contexts,
// and the element and point helpers the binary-curve tests share.
#pragma once
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>
#include "lncext/bignum.h"
#include "lncext/dstu4145.h"
#include "test_util.hpp"

namespace ec2_test {

using lncext_test::Bytes;

// A named curve or signature example: field, coefficients, base point and
// order as the library's little-endian byte strings.
struct Curve {
    std::string name;
    uint32_t m, k1, k2, k3, a, cofactor;
    Bytes b, n, px, py;
    lncext_test::VectorBlock block;
};

// The four named curves (m = 163, 191, 257, 431), or with key "example" the
// signature examples.
inline const std::vector<Curve> &named_curves(const std::string &key = "curve") {
    static std::map<std::string, std::vector<Curve>> cache;
    if (cache.count(key)) return cache[key];
    auto &out = cache[key];
    for (const auto &blk : lncext_test::read_vectors("dstu4145.txt")) {
        if (!blk.has(key)) continue;
        auto num = [&](const char *k) { return uint32_t(std::stoul(blk.get(k))); };
        const bool named = key == "curve";
        out.push_back({blk.get(key), num("m"), num("k1"), num("k2"), num("k3"), num("a"),
                       blk.has("cofactor") ? num("cofactor") : 0, blk.bytes("b"), blk.bytes("n"),
                       blk.bytes(named ? "gx" : "px"), blk.bytes(named ? "gy" : "py"), blk});
    }
    return out;
}

// The compressed base point of c, made through the curve alone.
inline Bytes compressed_base(const dstu_ctx *ctx, const Curve &c) {
    Bytes xy = c.px, out(c.px.size());
    xy.insert(xy.end(), c.py.begin(), c.py.end());
    int outlen = int(out.size());
    EXPECT_EQ(dstu_cppubk(ctx, out.data(), &outlen, xy.data()), DSTU_OK) << c.name;
    return out;
}

// A complete DSTU context for c (heap: the table makes it large).
inline std::unique_ptr<dstu_ctx> make_ctx(const Curve &c) {
    auto ctx = std::make_unique<dstu_ctx>();
    EXPECT_EQ(dstu_init_curve(ctx.get(), c.m, c.k1, c.k2, c.k3, c.a, int(c.b.size()), c.b.data()),
              DSTU_OK);
    const Bytes bp = compressed_base(ctx.get(), c);
    EXPECT_EQ(dstu_init_pgen(ctx.get(), int(bp.size()), bp.data(), int(c.n.size()), c.n.data()),
              DSTU_OK);
    ctx->cofactor = c.cofactor;
    return ctx;
}
// A field element, zero or from little-endian bytes.
struct Elem {
    lnm2_poly w;
    explicit Elem(const lnme2_ctx *ctx, const Bytes &le = {}) {
        lnm2pclear(w, ctx->m);
        lnm2pfromb(w, le.data(), int(le.size()));
    }
    uint32_t *p() { return w; }
};
inline lnme2_point infinity(const lnme2_ctx *ctx) {
    lnme2_point P;
    lnme2pcr(ctx, &P, nullptr, nullptr);
    return P;
}
// Affine x || y of P as hex ("inf" for the point at infinity); P is read
// through a copy.
inline std::string affine(const lnme2_ctx *ctx, const lnme2_point &P) {
    lnme2_point T = P;
    Elem x(ctx), y(ctx);
    if (!lnme2pxy(ctx, &T, x.p(), y.p())) return "inf";
    uint8_t buf[2 * DSTU_MAX_FIELD_BYTES];
    const int L = int((ctx->m + 8) / 8);
    lnm2ptob(buf, x.p(), L);
    lnm2ptob(buf + L, y.p(), L);
    return lncext_test::to_hex(buf, size_t(2 * L));
}
// Little-endian bytes as a big number.
inline std::vector<uint32_t> big(const Bytes &le) {
    std::vector<uint32_t> r(LNMBIG_WORDS);
    lnmfromrbase256(r.data(), le.data(), uint32_t(le.size()));
    return r;
}

}  // namespace ec2_test
