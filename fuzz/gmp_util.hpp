// GMP as the oracle of the differential checks: numbers from and to
// big-endian bytes and the library's big numbers.
#pragma once

#include <gmp.h>

#include <cstdint>
#include <vector>

#include "fuzz_util.hpp"

namespace lncext_fuzz {

struct Mpz {
    mpz_t z;
    Mpz() { mpz_init(z); }
    ~Mpz() { mpz_clear(z); }
    Mpz(const Mpz &) = delete;
    Mpz &operator=(const Mpz &) = delete;
    operator mpz_ptr() { return z; }
    operator mpz_srcptr() const { return z; }
};

inline void mpz_from_be(mpz_ptr z, const uint8_t *p, size_t n) {
    if (n == 0)
        mpz_set_ui(z, 0);
    else
        mpz_import(z, n, 1, 1, 1, 0, p);
}

// z as exactly k big-endian bytes (z must fit).
inline Bytes mpz_to_be(mpz_srcptr z, size_t k) {
    size_t len = (mpz_sizeinbase(z, 2) + 7) / 8;
    Bytes out(k, 0);
    if (mpz_sgn(z) == 0) return out;
    check(len <= k, "oracle: value longer than its field");
    size_t count = 0;
    mpz_export(out.data() + (k - len), &count, 1, 1, 1, 0, z);
    return out;
}

inline size_t byte_length(mpz_srcptr z) {
    return mpz_sgn(z) ? (mpz_sizeinbase(z, 2) + 7) / 8 : 0;
}

inline void mpz_from_big(mpz_ptr z, const uint32_t *a) {
    mpz_import(z, a[0], -1, sizeof(uint32_t), 0, 0, a + 1);
}

// The big number of z (count word, digits), normalised.
inline std::vector<uint32_t> big_from_mpz(mpz_srcptr z) {
    std::vector<uint32_t> r(mpz_sizeinbase(z, 2) / 32 + 2, 0);
    size_t count = 0;
    mpz_export(r.data() + 1, &count, -1, sizeof(uint32_t), 0, 0, z);
    r[0] = uint32_t(count);
    r.resize(count + 1);
    return r;
}

// Exact equality of a big number (count and digits) with z.
inline bool big_equals(const uint32_t *a, mpz_srcptr z) {
    std::vector<uint32_t> want = big_from_mpz(z);
    for (uint32_t i = 0; i <= want[0]; i++)
        if (a[i] != want[i]) return false;
    return true;
}

}  // namespace lncext_fuzz
