// rds_verify on arbitrary public keys, hash values and signatures over the
// two kinds of field arithmetic: codes 0, 1 and 5 only, a public key with a
// coordinate not below p always 5, r or s out of range always 1.
#include "ecp_util.hpp"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    const EcpCurve &c = ecp_curve(in.u8());
    Bytes pub = in.take(64), hash = in.take(32), sig = in.take(64);
    uint32_t rc = rds_verify(&c.ctx, pub.data(), hash.data(), sig.data());
    check_code(rc, {RDS_OK, RDS_INVALID_SIGNATURE, RDS_BAD_PUBLIC_KEY}, "rds_verify code");
    if (!be_less(pub.data(), c.p.data()) || !be_less(pub.data() + 32, c.p.data()))
        check(rc == RDS_BAD_PUBLIC_KEY, "rds_verify: coordinate >= p not refused", rc);
    const uint8_t *s = sig.data(), *r = sig.data() + 32;
    bool range_ok = !be_zero(r) && be_less(r, c.q.data()) && !be_zero(s) && be_less(s, c.q.data());
    if (!range_ok && rc != RDS_BAD_PUBLIC_KEY)
        check(rc == RDS_INVALID_SIGNATURE, "rds_verify: r or s out of range accepted", rc);
    return 0;
}
