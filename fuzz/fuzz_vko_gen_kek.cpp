// vko341001_gen_kek on arbitrary keys and UKM values: codes 0, 5, 6, 9 in
// the stated order (public key first), and the KEK buffer untouched unless
// the result is 0.
#include "ecp_util.hpp"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    const EcpCurve &c = ecp_curve(in.u8());
    Bytes d = in.take(32), pub = in.take(64), ukm = in.take(8);
    Canary kek(VKO341001_KEK_BYTES);
    uint32_t rc = vko341001_gen_kek(&c.ctx, kek.data(), d.data(), pub.data(), ukm.data());
    check_code(rc, {RDS_OK, RDS_BAD_PUBLIC_KEY, RDS_BAD_PRIVATE_KEY, RDS_BAD_UKM},
               "vko341001_gen_kek code");
    if (rc != RDS_OK) check(kek.untouched(), "vko341001_gen_kek wrote kek on failure", rc);
    bool pub_range = be_less(pub.data(), c.p.data()) && be_less(pub.data() + 32, c.p.data());
    if (!pub_range) check(rc == RDS_BAD_PUBLIC_KEY, "vko: coordinate >= p not refused first", rc);
    if (rc != RDS_BAD_PUBLIC_KEY) {
        bool d_ok = !be_zero(d.data()) && be_less(d.data(), c.q.data());
        if (!d_ok) check(rc == RDS_BAD_PRIVATE_KEY, "vko: d out of range not refused", rc);
        if (d_ok && be_zero(ukm.data(), 8)) check(rc == RDS_BAD_UKM, "vko: zero UKM accepted", rc);
    }
    return 0;
}
