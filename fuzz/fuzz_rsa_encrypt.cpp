// rsa_encrypt on arbitrary public key blobs and inputs: the result code the
// blob and the length call for, out untouched on failure, and on success
// exactly k bytes of (in mod n)^e mod n (GMP).
#include "rsa_util.hpp"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    int32_t in_len = input_length(in);
    Bytes pub = key_blob(in, 2 * (RSA_PUB_RECORD_MAX + 2));
    Bytes msg = input_bytes(in, in_len);

    Record rec[2];
    size_t good = read_records(pub, rec, 2, RSA_PUB_RECORD_MAX);
    size_t k = good >= 1 ? (bitlen(rec[0].value) + 7) / 8 : 0;
    Canary out(k ? k : 256);  // exactly the k bytes the call may write
    uint32_t rc = rsa_encrypt(out.data(), ptr(msg), in_len, pub.data());
    check_code(rc, {RSA_OK, RSA_ERR_MODSIZE, RSA_ERR_ARG, RSA_ERR_INLEN}, "rsa_encrypt code");
    if (rc != RSA_OK) check(out.untouched(), "rsa_encrypt wrote out on failure", rc);

    if (good < 1) return check(rc == RSA_ERR_ARG, "rsa_encrypt: bad modulus record", rc), 0;
    if (!permitted_bits(8 * k)) return check(rc == RSA_ERR_MODSIZE, "rsa_encrypt: size", rc), 0;
    if (good < 2) return check(rc == RSA_ERR_ARG, "rsa_encrypt: bad exponent record", rc), 0;
    bool len_ok = in_len >= 1 && size_t(in_len) <= k;
    if (mpz_even_p(rec[0].value.z)) {
        check(rc == RSA_ERR_ARG || (!len_ok && rc == RSA_ERR_INLEN), "rsa_encrypt: even n", rc);
        return 0;
    }
    if (!len_ok) return check(rc == RSA_ERR_INLEN, "rsa_encrypt: input length", rc), 0;
    check(rc == RSA_OK, "rsa_encrypt refused a good key and input", rc);
    Mpz x, y;
    mpz_from_be(x, msg.data(), msg.size());
    mpz_powm(y, x, rec[1].value, rec[0].value);
    check(mpz_to_be(y, k) == out.buf, "rsa_encrypt differs from GMP");
    return 0;
}
