// dstu_ucpubk on arbitrary compressed keys and lengths: codes 0, 2, 5, out
// untouched on failure, and a decompressed point compresses back to the
// given value.
#include "ec2_util.hpp"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    const dstu_ctx &ctx = ec2_curve(in.u8());
    const int L = int(ctx.field_bytes);
    int inlen = small_length(in);
    Bytes key = exact(in, inlen);
    Canary out(2 * L);
    int rc = dstu_ucpubk(&ctx, out.data(), ptr(key), inlen);
    check_code(rc, {DSTU_OK, DSTU_BAD_ARGUMENT, DSTU_BAD_PUBLIC_KEY}, "dstu_ucpubk code");
    if (inlen < 0 || inlen > 4 * field_words(ctx))
        check(rc == DSTU_BAD_ARGUMENT, "dstu_ucpubk: length", rc);
    if (rc != DSTU_OK) return check(out.untouched(), "dstu_ucpubk wrote out on failure", rc), 0;

    // The value fits in L bytes (degree below m), and compressing the point
    // gives it back.
    Bytes given = key;
    given.resize(4 * field_words(ctx), 0);
    for (size_t i = L; i < given.size(); i++)
        check(given[i] == 0, "dstu_ucpubk accepted a value of degree m or more");
    given.resize(L);
    Canary back(L);
    int backlen = L;
    rc = dstu_cppubk(&ctx, back.data(), &backlen, out.data());
    check(rc == DSTU_OK && backlen == L, "dstu_cppubk refused a decompressed point", rc);
    check(back.buf == given, "decompressed point does not compress to the given value");
    return 0;
}
