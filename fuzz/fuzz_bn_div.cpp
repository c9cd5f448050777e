// lnmdiv against GMP: quotient and remainder of arbitrary numbers (the
// remainder also in place over the dividend), the divisor restored, nothing
// written for a zero divisor, and nothing beyond the stated room.
#include "gmp_util.hpp"
#include "lncext/bignum.h"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    uint8_t flags = in.u8();
    size_t la = in.u16() % (4 * LNM_DIV_MAX_DIGITS + 1), lm = in.u16() % (4 * 128 + 1);
    Bytes ab = in.take(la), mb = in.take(lm);
    Mpz A, M;
    mpz_from_be(A, ab.data(), ab.size());
    mpz_from_be(M, mb.data(), mb.size());
    std::vector<uint32_t> a = big_from_mpz(A), m = big_from_mpz(M);
    const uint32_t a0 = a[0], m0 = m[0];
    // Exactly the stated room, so the sanitizer sees a word written beyond it.
    a.resize(a0 + 3, 0xA5A5A5A5u);
    m.resize(m0 + 2, 0x5A5A5A5Au);
    const std::vector<uint32_t> m_before = m;
    std::vector<uint32_t> q((a0 > m0 ? a0 - m0 : 0) + 3, 0xC3C3C3C3u), r(a0 + 3, 0x3C3C3C3Cu);
    const std::vector<uint32_t> q_before = q, r_before = r;
    const bool in_place = flags & 1, no_q = flags & 2;
    uint32_t *rp = in_place ? a.data() : r.data();
    lnmdiv(a.data(), m.data(), no_q ? nullptr : q.data(), rp);
    check(std::equal(m.begin(), m.begin() + m0 + 1, m_before.begin()), "lnmdiv: m not restored");
    if (m0 == 0) {
        check(q == q_before && (in_place || r == r_before), "lnmdiv wrote for a zero divisor");
        return 0;
    }
    Mpz Q, R;
    mpz_tdiv_qr(Q, R, A, M);
    check(big_equals(rp, R), "lnmdiv remainder differs from GMP");
    if (!no_q) check(big_equals(q.data(), Q), "lnmdiv quotient differs from GMP");
    return 0;
}
