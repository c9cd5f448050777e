// rsa_verify on arbitrary public key blobs, signatures and messages: the
// result code the blob and the length call for, and for a good key 0 exactly
// when sig^e = msg mod n (GMP).
#include "rsa_util.hpp"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    int32_t msg_len = input_length(in);
    Bytes pub = key_blob(in, 2 * (RSA_PUB_RECORD_MAX + 2));
    Record rec[2];
    size_t good = read_records(pub, rec, 2, RSA_PUB_RECORD_MAX);
    size_t k = good >= 1 ? (bitlen(rec[0].value) + 7) / 8 : 0;
    Bytes sig = in.take(k ? k : 256);                // sig is read as exactly k bytes
    Bytes msg = input_bytes(in, msg_len, SIZE_MAX);  // read whole, whatever its length

    uint32_t rc = rsa_verify(sig.data(), ptr(msg), msg_len, pub.data());
    check_code(rc, {RSA_OK, RSA_ERR_MODSIZE, RSA_ERR_ARG, RSA_ERR_SIG, RSA_ERR_INLEN},
               "rsa_verify code");
    if (good < 1) return check(rc == RSA_ERR_ARG, "rsa_verify: bad modulus record", rc), 0;
    if (!permitted_bits(8 * k)) return check(rc == RSA_ERR_MODSIZE, "rsa_verify: size", rc), 0;
    if (good < 2) return check(rc == RSA_ERR_ARG, "rsa_verify: bad exponent record", rc), 0;
    if (msg_len < 0) {
        check(rc == RSA_ERR_INLEN || rc == RSA_ERR_ARG, "rsa_verify: negative length", rc);
        return 0;
    }
    if (mpz_even_p(rec[0].value.z)) return check(rc == RSA_ERR_ARG, "rsa_verify: even n", rc), 0;
    Mpz s, v, m;
    mpz_from_be(s, sig.data(), k);
    mpz_powm(v, s, rec[1].value, rec[0].value);
    mpz_from_be(m, msg.data(), msg.size());
    mpz_mod(m, m, rec[0].value);
    bool match = mpz_cmp(v, m) == 0;
    check(rc == (match ? RSA_OK : RSA_ERR_SIG), "rsa_verify verdict differs from GMP", rc);
    return 0;
}
