// load_rsa_key_prm on arbitrary records: L + 2 or -1 (x untouched) by the
// length bytes alone, and the number read equals the record's bytes (written
// back by save_rsa_key_prm without leading zeros).
#include "gmp_util.hpp"
#include "lncext/rsa.h"

using namespace lncext_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    uint32_t len = in.u16();
    // The record in a block of exactly the bytes it claims (just the two
    // length bytes when the claim is refused).
    Bytes body = in.take(len <= RSA_RECORD_MAX ? len : 0);
    Bytes rec(body.size() + 2);
    rec[0] = uint8_t(len >> 8);
    rec[1] = uint8_t(len);
    if (!body.empty()) std::memcpy(rec.data() + 2, body.data(), body.size());
    constexpr size_t room = 66;  // the words load_rsa_key_prm may fill
    Canary x(room * 4);
    std::vector<uint32_t> xw(room);
    std::memcpy(xw.data(), x.data(), room * 4);
    int rc = load_rsa_key_prm(xw.data(), rec.data());
    if (len > RSA_RECORD_MAX) {
        check(rc == -1, "load_rsa_key_prm: L > 256 not refused", rc);
        check(std::memcmp(xw.data(), x.data(), room * 4) == 0, "load_rsa_key_prm wrote x on -1");
        return 0;
    }
    check(rc == int(len) + 2, "load_rsa_key_prm: result is not L + 2", rc);
    Mpz want;
    mpz_from_be(want, rec.data() + 2, len);
    check(big_equals(xw.data(), want), "load_rsa_key_prm: number differs from the record");
    Bytes out(RSA_RECORD_MAX + 2, 0);
    int saved = save_rsa_key_prm(out.data(), xw.data());
    size_t minimal = byte_length(want);
    check(saved == int(minimal) + 2, "save_rsa_key_prm: length of the written record", saved);
    check(std::memcmp(out.data() + 2, rec.data() + 2 + (len - minimal), minimal) == 0,
          "save_rsa_key_prm does not give back the record's number");
    return 0;
}
