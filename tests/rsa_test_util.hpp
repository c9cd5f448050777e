// Helpers of the prime and RSA tests: GMP values as library numbers, the
// published prime and composite lists, and random hooks for rsa_gen_rnd.
#pragma once

#include <gmp.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "bignum_oracle.hpp"
#include "lncext/rsa.h"

namespace lncext_test {

using Num = std::vector<uint32_t>;

// z as a library number in a buffer of at least `room` words.
inline Num num_of(mpz_srcptr z, size_t room = 0) {
    Num v = from_mpz(z);
    if (v.size() < room) v.resize(room, 0);
    return v;
}

inline void set_bytes(mpz_ptr z, const Bytes &b) {
    mpz_import(z, b.size(), 1, 1, 0, 0, b.data());
}

// The minimal big-endian bytes of z, left-padded to `width` when given.
inline Bytes bytes_of(mpz_srcptr z, size_t width = 0) {
    size_t n = (mpz_sizeinbase(z, 2) + 7) / 8;
    if (mpz_sgn(z) == 0) n = 0;
    Bytes out(std::max(n, width), 0);
    size_t count = 0;
    if (n != 0) mpz_export(out.data() + out.size() - n, &count, 1, 1, 0, 0, z);
    return out;
}

// A key parameter record as the format defines it, built without the
// library.
inline Bytes record_of(mpz_srcptr z) {
    Bytes v = bytes_of(z);
    Bytes r(2 + v.size());
    r[0] = uint8_t(v.size() >> 8);
    r[1] = uint8_t(v.size());
    std::copy(v.begin(), v.end(), r.begin() + 2);
    return r;
}

inline Bytes concat(std::initializer_list<Bytes> parts) {
    size_t n = 0;
    for (const Bytes &p : parts) n += p.size();
    Bytes out(n);
    auto at = out.begin();
    for (const Bytes &p : parts) at = std::copy(p.begin(), p.end(), at);
    return out;
}

// The numbers of a `prime` or `composite` block: `dec`, `hex` or `mersenne`
// (exponents p of 2^p - 1) lists.
inline std::vector<std::string> block_numbers(const VectorBlock &b) {
    std::vector<std::string> out;  // decimal strings
    for (const auto &[key, value] : b.fields) {
        std::istringstream in(value);
        std::string tok;
        while (in >> tok) {
            Mpz z;
            if (key == "dec") {
                mpz_set_str(z, tok.c_str(), 10);
            } else if (key == "hex") {
                mpz_set_str(z, tok.c_str(), 16);
            } else if (key == "mersenne") {
                mpz_ui_pow_ui(z, 2, std::stoul(tok));
                mpz_sub_ui(z, z, 1);
            } else {
                continue;
            }
            std::vector<char> buf(mpz_sizeinbase(z, 10) + 2);
            out.emplace_back(mpz_get_str(buf.data(), 10, z));
        }
    }
    return out;
}

// rsa_gen_rnd hooks. The seeded one gives reproducible bases.
struct SeededHook {
    static inline std::mutex mu;
    static inline Rng rng{0x5eed};
    static inline uint64_t calls = 0;
    static int fill(uint8_t *buf, uint32_t len) {
        std::lock_guard<std::mutex> lock(mu);
        ++calls;
        for (uint32_t i = 0; i < len; i++) buf[i] = uint8_t(rng.word());
        return 7;
    }
    static void install(uint64_t seed) {
        rng = Rng(seed);
        calls = 0;
        rsa_gen_rnd = fill;
    }
};

}  // namespace lncext_test
