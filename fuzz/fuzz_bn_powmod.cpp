// lnmpowmod against GMP: x^e mod m for odd moduli (Montgomery form) and even
// ones, the modulus restored, the result within its stated room.
#include "gmp_util.hpp"
#include "lncext/bignum.h"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    size_t lm = in.u16() % (4 * LNM_MONT_MAX_DIGITS + 1);
    size_t le = in.u8() % 129, lx = in.u16() % (4 * LNM_MONT_MAX_DIGITS + 1);
    Bytes mb = in.take(lm), eb = in.take(le), xb = in.take(lx);
    Mpz M, E, X;
    mpz_from_be(M, mb.data(), mb.size());
    if (mpz_sgn(M.z) == 0) return 0;  // m > 0 is the caller's to ensure
    mpz_from_be(E, eb.data(), eb.size());
    mpz_from_be(X, xb.data(), xb.size());
    std::vector<uint32_t> m = big_from_mpz(M);
    const uint32_t m0 = m[0];
    // x may exceed m but has at most m[0] words.
    mpz_tdiv_r_2exp(X, X, 32 * m0);
    std::vector<uint32_t> x = big_from_mpz(X), e = big_from_mpz(E);
    m.resize(m0 + 2, 0);
    const std::vector<uint32_t> m_before = m;
    std::vector<uint32_t> table(LNM_POWMOD_TABLE_WORDS);
    std::vector<uint32_t> r(mpz_odd_p(M.z) ? m0 + 4 : 2 * m0 + 3, 0xA5A5A5A5u);
    lnmpowmod(table.data(), x.data(), e.data(), m.data(), r.data());
    check(std::equal(m.begin(), m.begin() + m0 + 1, m_before.begin()), "lnmpowmod: m not restored");
    Mpz R;
    mpz_powm(R, X, E, M);
    check(big_equals(r.data(), R), "lnmpowmod differs from GMP");
    return 0;
}
