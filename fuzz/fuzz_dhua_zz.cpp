// dhua_zz on arbitrary keys, lengths and cofactors: codes 0, 2, 3, 5, 6 in
// the stated order, z and *zlen untouched on failure, L bytes on success.
#include <cstring>

#include "ec2_util.hpp"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    static dstu_ctx ctx;
    ctx = ec2_curve(in.u8());
    const uint8_t cofs[8] = {0, 2, 4, 3, 1, 2, 4, 8};
    ctx.cofactor = cofs[in.u8() % 8];
    const int L = int(ctx.field_bytes);
    int privlen = small_length(in), publen = small_length(in);
    int cof = in.u8() % 3 == 0 ? 0 : 1;
    Bytes priv = exact(in, privlen), pub = exact(in, publen);
    Canary z(L);
    int zlen = -12345;
    int rc = dhua_zz(&ctx, privlen, ptr(priv), publen, ptr(pub), cof, &zlen, z.data());
    check_code(
        rc, {DSTU_OK, DSTU_BAD_ARGUMENT, DSTU_BAD_CURVE, DSTU_BAD_PUBLIC_KEY, DSTU_BAD_PRIVATE_KEY},
        "dhua_zz code");
    if (rc != DSTU_OK) {
        check(z.untouched() && zlen == -12345, "dhua_zz wrote z or *zlen on failure", rc);
    } else {
        check(zlen == L, "dhua_zz: *zlen is not L");
    }
    if (privlen < int(ctx.key_bytes) || publen < L || privlen > 56 || publen > 4 * field_words(ctx))
        return check(rc == DSTU_BAD_ARGUMENT, "dhua_zz: lengths", rc), 0;
    if (rc == DSTU_BAD_PRIVATE_KEY || rc == DSTU_OK || rc == DSTU_BAD_CURVE) {
        // The public key decompressed; a cofactor request needs 2 or 4.
        if (cof && ctx.cofactor != 2 && ctx.cofactor != 4)
            check(rc != DSTU_OK, "dhua_zz: cofactor neither 2 nor 4 accepted", rc);
    }
    return 0;
}
