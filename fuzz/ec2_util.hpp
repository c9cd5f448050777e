// The DSTU 4145 contexts of the binary-field targets: the 163-bit curve with
// the base point of the standard's worked example, the 257-bit curve (a = 0,
// cofactor 4) and the 431-bit curve with their published base points. All
// values little-endian.
#pragma once

#include "fuzz_util.hpp"
#include "lncext/dstu4145.h"

namespace lncext_fuzz {

struct Ec2Params {
    uint32_t m, k1, k2, k3, a, cofactor;
    const char *b, *n, *x, *y;
};

inline const Ec2Params ec2_params[3] = {
    {163, 7, 6, 3, 1, 2, "215d45c1198a635e9203b40a21c82d2a460861ff05",
     "4df1bc392d26e22bc1be0200000000000000000004", "2004548c5c8874feaf01fff97dc23aa9937f862d07",
     "9bfdc3ad2211b84a5f9d59c5972b8547399c4a2200"},
    {257, 12, 0, 0, 0, 4, "10bee3db6aea9e1f86578c45c12594ff942394a7d738f9187e6515017294f4ce01",
     "0d477d901477e1d387e982f13a2159670000000000000000000000000000008000",
     "b70fd2d8dce8a93423c6101bca91c47a007e6c300b26cd556c9b0e7d20ef292a00",
     "ef14d856f12c708b970bd6a9932c81e60231a0eed8f6cc9f44d444f71fd4860601"},
    {431, 5, 3, 1, 1, 2,
     "f3ca40c669a4da173149ca12c32dae186b53ac6bc6365997deaeae8ad2d888f9bfd53401694ef9c4273d8cfe6dc2"
     "8f706a0f4910ce03",
     "cf040511957a0cd980afcb1f8aaa812ff024a7c0a80980457531baffffffffffffffffffffffffffffffffffffff"
     "ffffffffffffff3f",
     "7d857c94c5433bfd991e17c22684065850a9a249ed7bc249ae5a4e878689f872ef7ad524082ec3038e9aede7ba6b"
     "a13381d979ba621a",
     "b92de090e0243772e2b50833a54ba11e9b76c155a839188d6b39aa31f341a28df4a54c4b7551f466debd96febe0b"
     "f7c13140e1e1b570"},
};

// The compressed form (L bytes) of the affine point (x, y) on the curve of
// ctx, through the arithmetic layer.
inline Bytes ec2_compress(const dstu_ctx &ctx, const Bytes &x, const Bytes &y) {
    const lnme2_ctx *c = &ctx.curve;
    lnm2_poly px, py, cx;
    lnm2pclear(px, c->m);
    lnm2pclear(py, c->m);
    lnm2pclear(cx, c->m);
    lnm2pfromb(px, x.data(), int(x.size()));
    lnm2pfromb(py, y.data(), int(y.size()));
    lnme2_point P;
    check(lnme2pcr(c, &P, px, py) != nullptr, "fixture: point not on the curve");
    lnme2comp(c, cx, &P);
    Bytes out(ctx.field_bytes);
    lnm2ptob(out.data(), cx, int(out.size()));
    return out;
}

// Context sel % 3, filled once (cofactor stored).
inline const dstu_ctx &ec2_curve(unsigned sel) {
    static dstu_ctx ctxs[3];
    static bool ready = false;
    if (!ready) {
        for (int i = 0; i < 3; i++) {
            const Ec2Params &e = ec2_params[i];
            dstu_ctx &ctx = ctxs[i];
            Bytes b = from_hex(e.b), n = from_hex(e.n);
            check(dstu_init_curve(&ctx, e.m, e.k1, e.k2, e.k3, e.a, int(b.size()), b.data()) ==
                      DSTU_OK,
                  "fixture: dstu_init_curve");
            Bytes bp = ec2_compress(ctx, from_hex(e.x), from_hex(e.y));
            int rc = dstu_init_pgen(&ctx, int(bp.size()), bp.data(), int(n.size()), n.data());
            check(rc == DSTU_OK, "fixture: dstu_init_pgen", 100 * i + rc);
            ctx.cofactor = e.cofactor;
        }
        ready = true;
    }
    return ctxs[sel % 3];
}

// Signed lengths from one byte: -128..127.
inline int small_length(Input &in) {
    return int(int8_t(in.u8()));
}

// Exactly len bytes (none for len < 1).
inline Bytes exact(Input &in, int len) {
    return in.take(len > 0 ? size_t(len) : 0);
}

// Words of a field element of the context.
inline int field_words(const dstu_ctx &ctx) {
    return int(ctx.curve.m + 31) / 32;
}

}  // namespace lncext_fuzz
