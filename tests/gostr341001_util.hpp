// Helpers of the GOST R 34.10-2001 tests: the published parameter sets,
// 32-byte big-endian numbers to and from GMP, contexts filled from them,
// points as bytes and the KEK hash.
#pragma once

#include <algorithm>

#include "bignum_oracle.hpp"  // GMP, GoogleTest, Rng, Bytes and the vector files
#include "lncext/gost28147.h"
#include "lncext/gostr341001.h"
#include "lncext/gostr341194.h"
#include "test_util.hpp"

namespace lncext_test {

struct ParamSet {
    std::string name;
    Bytes p, a, b, q, x, y;
};

inline const std::map<std::string, ParamSet> &paramsets() {
    static const std::map<std::string, ParamSet> sets = [] {
        std::map<std::string, ParamSet> m;
        for (const auto &k : read_vectors("gostr341001.txt"))
            if (k.fields.front().first == "paramset")
                m[k.get("paramset")] = {k.get("paramset"), k.bytes("p"), k.bytes("a"), k.bytes("b"),
                                        k.bytes("q"),      k.bytes("x"), k.bytes("y")};
        return m;
    }();
    return sets;
}

inline void init_ctx(rds_ctx *ctx, const ParamSet &ps) {
    ASSERT_EQ(
        rds_init(ctx, ps.p.data(), ps.a.data(), ps.b.data(), ps.q.data(), ps.x.data(), ps.y.data()),
        uint32_t(RDS_OK))
        << ps.name;
}

// A big number (LNMBIG_WORDS words, room for lnmdiv) from bytes or GMP.
inline std::vector<uint32_t> big(const Bytes &be) {
    std::vector<uint32_t> r(LNMBIG_WORDS);
    lnmfrombase256(r.data(), be.data(), uint32_t(be.size()));
    return r;
}
inline std::vector<uint32_t> big(mpz_srcptr z) {
    return big(bytes_of(z, 64));
}

inline Bytes part(const Bytes &b, size_t at, size_t n) {
    return Bytes(b.begin() + std::ptrdiff_t(at), b.begin() + std::ptrdiff_t(at + n));
}
inline Bytes reversed(Bytes b) {
    return std::reverse(b.begin(), b.end()), b;
}

// Affine x || y of a point (all zero for infinity), from a copy of it.
inline Bytes affine(const lnmec_ctx *c, lnmec_point P) {
    uint32_t x[LNMPFF_WORDS], y[LNMPFF_WORDS];
    lnmecpxy(c, &P, x, y);
    return concat({bytes_of(Mpz(x), 32), bytes_of(Mpz(y), 32)});
}

// x || y as the KEK hashes them: each big-endian and left-aligned in 32
// bytes (its leading zero bytes moved to the end).
inline Bytes left_aligned(const Bytes &xy) {
    Bytes out;
    for (size_t at : {0, 32}) {
        size_t z = 0;
        while (z < 32 && xy[at + z] == 0) z++;
        out = concat({out, part(xy, at + z, 32 - z), Bytes(z, 0)});
    }
    return out;
}

// GOST R 34.11-94 with the CryptoPro tables, the hash of the KEK.
inline Bytes gost94(const Bytes &data) {
    gr341194_md_ctx md;
    Bytes out(32);
    gr341194_md_init_ext(&md, CryptoPro_iv, CryptoPro_uz);
    gr341194_md_update(&md, data.data(), uint32_t(data.size()));
    gr341194_md_final(&md, out.data());
    return out;
}

// A context on one published set, with its q for GMP.
struct GostSet {
    const ParamSet &ps;
    rds_ctx ctx;
    Mpz q;
    explicit GostSet(const std::string &name) : ps(paramsets().at(name)) {
        init_ctx(&ctx, ps);
        set_bytes(q, ps.q);
    }
    const lnmec_ctx *c() const { return &ctx.curve; }
    // A random number in [1, q - 1] as 32 bytes.
    Bytes scalar(Rng &rng) {
        Mpz z, qm1;
        set_bytes(z, rng.bytes(32));
        mpz_mod(z, z, (mpz_sub_ui(qm1, q, 1), qm1));
        return bytes_of((mpz_add_ui(z, z, 1), z), 32);
    }
    // k G as 64 bytes, by the one-off table multiplication.
    Bytes mul_g(const std::vector<uint32_t> &k) const {
        lnmec_point R;
        return affine(c(), *lnmeckp(c(), &R, k.data(), &ctx.G));
    }
    // (a b u) mod q (big-endian strings of any length) as a big number.
    std::vector<uint32_t> prod(const Bytes &a, const Bytes &b, const Bytes &u) {
        Mpz t, z;
        set_bytes(t, a);
        for (const Bytes *f : {&b, &u}) set_bytes(z, *f), mpz_mul(t, t, z);
        return big((mpz_mod(t, t, q), t));
    }
};

}  // namespace lncext_test
