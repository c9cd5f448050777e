// rds_init on six arbitrary 32-byte domain parameters: only the codes of its
// table, the checks in their stated order, and a context that gives back
// exactly the parameters it accepted.
#include "ecp_util.hpp"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    Bytes p = in.take(32), a = in.take(32), b = in.take(32), q = in.take(32), x = in.take(32),
          y = in.take(32);
    rds_ctx ctx;
    uint32_t rc = rds_init(&ctx, p.data(), a.data(), b.data(), q.data(), x.data(), y.data());
    check_code(rc, {RDS_OK, RDS_BAD_CURVE, RDS_BAD_BASE_POINT, RDS_BAD_ORDER}, "rds_init code");

    // p odd with its top byte non-zero or bit 254 set; a and b in 1..p-1.
    bool p_ok = (p[31] & 1) && (p[0] & 0xC0);
    bool curve_ok = p_ok && !be_zero(a.data()) && be_less(a.data(), p.data()) &&
                    !be_zero(b.data()) && be_less(b.data(), p.data());
    if (!curve_ok) check(rc == RDS_BAD_CURVE, "rds_init: bad p, a or b not refused first", rc);
    if (rc == RDS_OK) {
        check(be_less(x.data(), p.data()) && be_less(y.data(), p.data()),
              "rds_init: base point coordinate not below p accepted");
        Bytes out(6 * 32, 0xEE);
        uint8_t *o = out.data();
        check(rds_get_prms(&ctx, o, o + 32, o + 64, o + 96, o + 128, o + 160) == RDS_OK,
              "rds_get_prms on a filled context");
        const Bytes *given[6] = {&p, &a, &b, &q, &x, &y};
        for (int i = 0; i < 6; i++)
            check(std::memcmp(o + 32 * i, given[i]->data(), 32) == 0,
                  "rds_get_prms does not give back the accepted parameters");
    }
    return 0;
}
