// dstu_verify on arbitrary keys, hash values and signatures: codes 0, 1, 2,
// 5 in the stated order (lengths, then the signature's size and range, then
// the public key).
#include "ec2_util.hpp"

using namespace lncext_fuzz;

namespace {

// The value of the little-endian bytes is zero, or not below n.
bool zero_or_not_below(const uint8_t *v, size_t len, const uint32_t *n) {
    uint32_t w[DSTU_ORDER_WORDS + 16] = {0};
    for (size_t i = 0; i < len; i++) w[i / 4] |= uint32_t(v[i]) << (8 * (i % 4));
    size_t words = (len + 3) / 4;
    bool zero = true;
    for (size_t i = 0; i < words; i++) zero = zero && w[i] == 0;
    if (zero) return true;
    for (size_t i = std::max<size_t>(words, n[0]); i-- > 0;) {
        uint32_t nw = i < n[0] ? n[1 + i] : 0;
        if (w[i] != nw) return w[i] > nw;
    }
    return true;  // equal to n
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    const dstu_ctx &ctx = ec2_curve(in.u8());
    const int L = int(ctx.field_bytes), m = int(ctx.curve.m);
    int publen = small_length(in);
    int hbits = int(int16_t(in.u16()));
    int siglen = small_length(in);
    if (siglen == 0) siglen = int(ctx.sig_bytes);  // the right length often
    Bytes pub = exact(in, publen);
    Bytes hash = exact(in, hbits > 0 ? (std::min(hbits, m) + 7) / 8 : 0);
    Bytes sig = exact(in, siglen);

    int rc = dstu_verify(&ctx, publen, ptr(pub), hbits, ptr(hash), siglen, ptr(sig));
    check_code(rc, {DSTU_OK, DSTU_BAD_SIGNATURE, DSTU_BAD_ARGUMENT, DSTU_BAD_PUBLIC_KEY},
               "dstu_verify code");
    if (publen < 1 || publen > L || hbits < 1)
        return check(rc == DSTU_BAD_ARGUMENT, "dstu_verify: lengths", rc), 0;
    if (siglen != int(ctx.sig_bytes))
        return check(rc == DSTU_BAD_SIGNATURE, "dstu_verify: signature size", rc), 0;
    size_t half = size_t(siglen) / 2;
    if (zero_or_not_below(sig.data(), half, ctx.n) ||
        zero_or_not_below(sig.data() + half, half, ctx.n))
        check(rc == DSTU_BAD_SIGNATURE, "dstu_verify: r or s out of range", rc);
    return 0;
}
