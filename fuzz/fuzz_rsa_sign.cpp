// rsa_sign on arbitrary private key blobs and inputs: the result code the
// blob and the length call for, out untouched on failure, and on success the
// k bytes of the CRT recombination computed with GMP.
#include "rsa_util.hpp"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    int32_t in_len = input_length(in);
    Bytes priv = key_blob(in, 5 * (RSA_PRIV_RECORD_MAX + 2));
    Bytes msg = input_bytes(in, in_len);

    Record rec[5];
    size_t good = read_records(priv, rec, 5, RSA_PRIV_RECORD_MAX);
    size_t bits = good == 5 ? bitlen(rec[0].value) + bitlen(rec[1].value) : 0;
    size_t k = bits / 8;
    Canary out(k ? k : 256);
    uint32_t rc = rsa_sign(out.data(), ptr(msg), in_len, priv.data());
    check_code(rc, {RSA_OK, RSA_ERR_MODSIZE, RSA_ERR_ARG, RSA_ERR_INLEN}, "rsa_sign code");
    if (rc != RSA_OK) check(out.untouched(), "rsa_sign wrote out on failure", rc);

    if (good < 5) return check(rc == RSA_ERR_ARG, "rsa_sign: bad record", rc), 0;
    mpz_srcptr p = rec[0].value, q = rec[1].value;
    bool pq_ok = mpz_odd_p(rec[0].value.z) && mpz_odd_p(rec[1].value.z) && mpz_cmp_ui(p, 1) > 0 &&
                 mpz_cmp_ui(q, 1) > 0;
    bool len_ok = in_len >= 0 && size_t(in_len) <= k;
    if (!permitted_bits(bits)) {
        check(rc == RSA_ERR_MODSIZE || (!pq_ok && rc == RSA_ERR_ARG), "rsa_sign: size", rc);
        return 0;
    }
    if (!pq_ok || !len_ok) {
        check(rc == RSA_ERR_ARG || (in_len < 0 && rc == RSA_ERR_INLEN), "rsa_sign: refusal", rc);
        return 0;
    }
    check(rc == RSA_OK, "rsa_sign refused a good blob and input", rc);
    // m1 = (m mod p)^dP mod p, m2 = (m mod q)^dQ mod q,
    // h = (m1 - m2) qInv mod p, s = m2 + h q.
    Mpz m, m1, m2, h, s;
    mpz_from_be(m, msg.data(), msg.size());
    mpz_mod(m1, m, p);
    mpz_powm(m1, m1, rec[2].value, p);
    mpz_mod(m2, m, q);
    mpz_powm(m2, m2, rec[3].value, q);
    mpz_sub(h, m1, m2);
    mpz_mul(h, h, rec[4].value);
    mpz_mod(h, h, p);
    mpz_mul(s, h, q);
    mpz_add(s, s, m2);
    check(mpz_to_be(s, k) == out.buf, "rsa_sign differs from the GMP recombination");
    return 0;
}
