// dstu_init_curve then dstu_init_pgen on arbitrary fields, coefficients,
// base points and orders: only the codes of their tables, the length rules,
// and on success the sizes derived from m and the order.
#include "ec2_util.hpp"

using namespace lncext_fuzz;

namespace {

const uint32_t fields[4][4] = {{163, 7, 6, 3}, {191, 9, 0, 0}, {257, 12, 0, 0}, {431, 5, 3, 1}};

uint32_t bitlen_le(const Bytes &n) {
    for (size_t i = n.size(); i-- > 0;)
        if (n[i]) return uint32_t(8 * i + 32 - __builtin_clz(n[i]));
    return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    uint8_t sel = in.u8();
    uint32_t m, k1, k2, k3;
    if (sel < 240) {  // one of the supported fields, mostly
        m = fields[sel % 4][0], k1 = fields[sel % 4][1], k2 = fields[sel % 4][2];
        k3 = fields[sel % 4][3];
    } else {
        m = in.u16(), k1 = in.u8(), k2 = in.u8(), k3 = in.u8();
    }
    uint8_t ab = in.u8();
    uint32_t a = ab < 250 ? ab & 1 : ab;
    int blen = small_length(in);
    Bytes b = exact(in, blen);
    int bplen = small_length(in);
    Bytes bp = exact(in, bplen);
    int nlen = small_length(in);
    Bytes n = exact(in, nlen);

    static dstu_ctx ctx;
    int rc = dstu_init_curve(&ctx, m, k1, k2, k3, a, blen, ptr(b));
    check_code(rc, {DSTU_OK, DSTU_BAD_CURVE}, "dstu_init_curve code");
    const int L = int(m + 8) / 8;
    if (blen < 0 || blen > L) check(rc == DSTU_BAD_CURVE, "dstu_init_curve: b length", rc);
    if (rc != DSTU_OK) return 0;
    check(ctx.field_bytes == uint32_t(L) && ctx.cofactor == 0, "dstu_init_curve: sizes");

    rc = dstu_init_pgen(&ctx, bplen, ptr(bp), nlen, ptr(n));
    check_code(rc, {DSTU_OK, DSTU_BAD_BASE_POINT}, "dstu_init_pgen code");
    if (bplen < 1 || bplen > L || nlen < 1 || nlen > L)
        check(rc == DSTU_BAD_BASE_POINT, "dstu_init_pgen: lengths", rc);
    if (rc != DSTU_OK) return 0;
    uint32_t bits = bitlen_le(n);
    check(bits <= m && bits + 2 >= m && bits >= 160, "dstu_init_pgen: order size accepted");
    check(ctx.key_bytes == (bits + 6) / 8 && ctx.sig_bytes == 2 * ((bits + 7) / 8) &&
              ctx.win == DSTU_WINDOW,
          "dstu_init_pgen: derived sizes");
    return 0;
}
