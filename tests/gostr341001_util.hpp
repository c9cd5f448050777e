// Helpers of the GOST R 34.10-2001 tests: the published parameter sets,
// 32-byte big-endian numbers to and from GMP, and contexts filled from them.
#pragma once

#include <gmp.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "bignum_oracle.hpp"
#include "lncext/gostr341001.h"
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

// A 32-byte big-endian string and a GMP integer.
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

// A big number (LNMPFF_WORDS words and room for lnmdiv) from bytes or GMP.
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

inline bool is_infinity(const lnmec_point &P) {
    return P.Z[0] == 0;
}

inline Bytes cat(const Bytes &a, const Bytes &b) {
    Bytes r = a;
    r.insert(r.end(), b.begin(), b.end());
    return r;
}

}  // namespace lncext_test
