// dstu_cppubk on arbitrary coordinates and buffer sizes: codes 0, 2, 5, out
// and *outlen untouched on failure, L bytes and *outlen = L on success.
#include "ec2_util.hpp"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    const dstu_ctx &ctx = ec2_curve(in.u8());
    const int L = int(ctx.field_bytes);
    int outlen = small_length(in);
    const int given_len = outlen;
    Bytes point = in.take(2 * L);
    Canary out(outlen > 0 ? size_t(outlen) : 0);
    int rc = dstu_cppubk(&ctx, ptr(out.buf), &outlen, point.data());
    check_code(rc, {DSTU_OK, DSTU_BAD_ARGUMENT, DSTU_BAD_PUBLIC_KEY}, "dstu_cppubk code");
    if (given_len < L) check(rc == DSTU_BAD_ARGUMENT, "dstu_cppubk: short buffer", rc);
    if (rc != DSTU_OK) {
        check(out.untouched() && outlen == given_len, "dstu_cppubk wrote on failure", rc);
        return 0;
    }
    check(outlen == L && out.untouched(L), "dstu_cppubk: L bytes and *outlen = L");
    // The compressed point decompresses.
    Bytes xy(2 * L);
    check(dstu_ucpubk(&ctx, xy.data(), out.data(), L) == DSTU_OK,
          "dstu_cppubk output does not decompress");
    return 0;
}
