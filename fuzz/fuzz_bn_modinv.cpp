// lnmmodinv against GMP: the inverse of an arbitrary a coprime to an odd
// modulus, also in place; 0 gives m; non-coprime inputs must not misbehave.
#include "gmp_util.hpp"
#include "lncext/bignum.h"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    uint8_t flags = in.u8();
    size_t lm = in.u16() % (4 * LNM_MONT_MAX_DIGITS + 1), la = in.u16() % (4 * 128 + 1);
    Bytes mb = in.take(lm), ab = in.take(la);
    Mpz M, A;
    mpz_from_be(M, mb.data(), mb.size());
    mpz_setbit(M, 0);  // odd
    if (mpz_cmp_ui(M.z, 1) == 0) return 0;
    mpz_from_be(A, ab.data(), ab.size());
    mpz_mod(A, A, M);
    std::vector<uint32_t> m = big_from_mpz(M), a = big_from_mpz(A);
    const uint32_t m0 = m[0];
    a.resize(m0 + 1, 0);
    std::vector<uint32_t> r(m0 + 1, 0xA5A5A5A5u);
    const std::vector<uint32_t> m_before = m;
    uint32_t *rp = (flags & 1) ? a.data() : r.data();
    lnmmodinv(a.data(), m.data(), rp);
    check(m == m_before, "lnmmodinv wrote its modulus");
    Mpz want;
    if (mpz_sgn(A.z) == 0) {
        check(big_equals(rp, M), "lnmmodinv(0) is not m");
    } else if (mpz_invert(want, A, M)) {
        check(big_equals(rp, want), "lnmmodinv differs from GMP");
    }
    return 0;
}
