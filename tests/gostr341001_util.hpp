// Helpers of the GOST R 34.10-2001 tests: the published parameter sets,
// 32-byte big-endian numbers to and from GMP, contexts filled from them,
// points as bytes and the KEK hash.
#pragma once

#include <gmp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "bignum_oracle.hpp"
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
        for (const auto &blk : read_vectors("gostr341001.txt"))
            if (blk.fields.front().first == "paramset")
                m[blk.get("paramset")] = {blk.get("paramset"), blk.bytes("p"), blk.bytes("a"),
                                          blk.bytes("b"),      blk.bytes("q"), blk.bytes("x"),
                                          blk.bytes("y")};
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

// A big-endian string (32 bytes unless said) and a GMP integer.
inline void mpz_from_be(mpz_ptr z, const uint8_t *p, size_t n = 32) {
    mpz_import(z, n, 1, 1, 1, 0, p);
}
inline Bytes be_from_mpz(mpz_srcptr z, size_t n = 32) {
    Bytes out(n, 0);
    size_t count = (mpz_sizeinbase(z, 2) + 7) / 8;
    if (mpz_sgn(z) == 0) return out;
    mpz_export(out.data() + n - count, nullptr, 1, 1, 1, 0, z);
    return out;
}

// A big number (LNMBIG_WORDS words, room for lnmdiv) from bytes or GMP.
inline std::vector<uint32_t> big(const Bytes &be) {
    std::vector<uint32_t> r(LNMBIG_WORDS);
    lnmfrombase256(r.data(), be.data(), uint32_t(be.size()));
    return r;
}
inline std::vector<uint32_t> big(mpz_srcptr z) {
    std::vector<uint32_t> r = from_mpz(z);
    r.resize(LNMBIG_WORDS);
    return r;
}

// Affine coordinates of a point as 64 bytes x || y (all zero for infinity),
// taken from a copy so that the point stays as it is.
inline Bytes affine(const lnmec_ctx *c, const lnmec_point &P) {
    lnmec_point t = P;
    uint32_t x[LNMPFF_WORDS], y[LNMPFF_WORDS];
    lnmecpxy(c, &t, x, y);
    Bytes out(64, 0);
    const unsigned nx = lnmbitlen(x, 8), ny = lnmbitlen(y, 8);
    lnmtobase256(out.data() + 32 - nx, nx, x);
    lnmtobase256(out.data() + 64 - ny, ny, y);
    return out;
}

inline Bytes cat(const Bytes &a, const Bytes &b) {
    Bytes r = a;
    r.insert(r.end(), b.begin(), b.end());
    return r;
}
inline Bytes part(const Bytes &b, size_t at, size_t n) {
    return Bytes(b.begin() + std::ptrdiff_t(at), b.begin() + std::ptrdiff_t(at + n));
}
inline Bytes reversed(Bytes b) {
    std::reverse(b.begin(), b.end());
    return b;
}
// A 64-byte point x || y as the KEK hashes it: each coordinate big-endian
// and left-aligned in 32 bytes (its leading zero bytes moved to the end).
inline Bytes left_aligned(const Bytes &xy) {
    Bytes out;
    for (size_t at : {0, 32}) {
        Bytes c = part(xy, at, 32);
        c.erase(c.begin(), std::find_if(c.begin(), c.end(), [](uint8_t v) { return v != 0; }));
        c.resize(32, 0);
        out = cat(out, c);
    }
    return out;
}
// GOST R 34.11-94 with the CryptoPro tables, the hash of the KEK.
inline Bytes gost94(const Bytes &data) {
    gr341194_md_ctx md;
    uint8_t out[32];
    gr341194_md_init_ext(&md, CryptoPro_iv, CryptoPro_uz);
    gr341194_md_update(&md, data.data(), uint32_t(data.size()));
    gr341194_md_final(&md, out);
    return Bytes(out, out + 32);
}

// A random number in [1, q - 1] as 32 bytes.
inline Bytes scalar(Rng &rng, mpz_srcptr q) {
    Mpz z, qm1;
    mpz_from_be(z, rng.bytes(32).data());
    mpz_sub_ui(qm1, q, 1);
    mpz_mod(z, z, qm1);
    mpz_add_ui(z, z, 1);
    return be_from_mpz(z);
}

// A context on one published set, with its q for GMP.
struct GostSet {
    rds_ctx ctx;
    Mpz q;
    const ParamSet &ps;
    explicit GostSet(const std::string &name) : ps(paramsets().at(name)) {
        init_ctx(&ctx, ps);
        mpz_from_be(q, ps.q.data());
    }
    const lnmec_ctx *c() const { return &ctx.curve; }
    // k G as 64 bytes, by the one-off table multiplication.
    Bytes mul_g(const std::vector<uint32_t> &k) const {
        lnmec_point R;
        return affine(c(), *lnmeckp(c(), &R, k.data(), &ctx.G));
    }
    // (a b u) mod q as a big number; u defaults to 1.
    std::vector<uint32_t> prod(const Bytes &a, const Bytes &b, const Bytes &u = {1}) {
        Mpz t, z;
        mpz_from_be(t, a.data());
        mpz_from_be(z, b.data(), b.size());
        mpz_mul(t, t, z);
        mpz_from_be(z, u.data(), u.size());
        mpz_mul(t, t, z);
        mpz_mod(t, t, q);
        return big(t);
    }
};

// A missing oracle is a skip on a developer machine and a failure in CI.
#define GOST_ORACLE_MISSING(what)                                                \
    do {                                                                         \
        const char *ci_ = std::getenv("CI");                                     \
        if (ci_ != nullptr && std::string(ci_) == "true" && sizeof(void *) == 8) \
            FAIL() << what << " is required in CI";                              \
        GTEST_SKIP() << what << " not available: oracle skipped";                \
    } while (0)

}  // namespace lncext_test
