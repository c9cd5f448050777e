// Helpers of the prime and RSA tests: GMP values as library numbers and bytes,
// key parameter records built without the library, and rsa_gen_rnd hooks.
#pragma once

#include <gmp.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "bignum_oracle.hpp"
#include "lncext/rsa.h"

namespace lncext_test {

using Num = std::vector<uint32_t>;

// z as a library number in at least `room` words (72: the RSA path's extra
// carry word and in-place shifts).
inline Num num_of(mpz_srcptr z, size_t room = 72) {
    Num v = from_mpz(z);
    v.resize(std::max(v.size(), room), 0);
    return v;
}

// A key parameter record: two bytes of length, then the minimal bytes.
inline Bytes record_of(mpz_srcptr z) {
    const Bytes v = bytes_of(z);
    return concat({{uint8_t(v.size() >> 8), uint8_t(v.size())}, v});
}

// A seeded GMP generator.
struct GmpRand {
    gmp_randstate_t s;
    explicit GmpRand(unsigned long seed) { gmp_randinit_default(s), gmp_randseed_ui(s, seed); }
    ~GmpRand() { gmp_randclear(s); }
    operator __gmp_randstate_struct *() { return s; }
};

// A random prime of exactly `bits` bits (the top two set with `top2`).
inline void random_prime(GmpRand &st, uint32_t bits, mpz_ptr z, bool top2 = false) {
    do mpz_urandomb(z, st, bits), mpz_setbit(z, bits - 1), mpz_setbit(z, bits - 2 + !top2);
    while (mpz_nextprime(z, z), mpz_sizeinbase(z, 2) != bits);
}

// A key as GMP numbers with blobs built from the record format, not by the
// library; k: modulus bytes of the private operation, kpub: n's bytes.
struct Key {
    Mpz n, e, d, p, q, dp, dq, qinv;
    Bytes pub, priv;
    uint32_t k = 0, kpub = 0;
    mpz_ptr part(int i) { return std::array<mpz_ptr, 8>{n, e, d, p, q, dp, dq, qinv}[i]; }
    // d = e^-1 mod lcm(p - 1, q - 1); qinv = q^-1 mod p whichever is larger.
    void derive() {
        Mpz pm1, qm1, lambda;
        mpz_mul(n, p, q), mpz_sub_ui(pm1, p, 1), mpz_sub_ui(qm1, q, 1), mpz_lcm(lambda, pm1, qm1);
        ASSERT_TRUE(mpz_invert(d, e, lambda) && mpz_invert(qinv, q, p));
        mpz_mod(dp, d, pm1), mpz_mod(dq, d, qm1);
        build();
    }
    void build() {
        k = uint32_t((mpz_sizeinbase(p, 2) + mpz_sizeinbase(q, 2)) / 8);
        kpub = uint32_t((mpz_sizeinbase(n, 2) + 7) / 8);
        pub = concat({record_of(n), record_of(e)});
        priv = concat({record_of(p), record_of(q), record_of(dp), record_of(dq), record_of(qinv)});
    }
};

// Distinct primes of the given sizes (top two bits set; 2 mod 3 for e = 3).
inline void random_key(GmpRand &st, Key &key, uint32_t pbits, uint32_t qbits, unsigned long e) {
    mpz_set_ui(key.e, e);
    for (auto [z, bits] : {std::pair{key.p.z, pbits}, {key.q.z, qbits}}) do
            random_prime(st, bits, z, true);
        while ((e == 3 && mpz_fdiv_ui(z, 3) != 2) || mpz_cmp(key.p, key.q) == 0);
    key.derive();
}

// The rsa_gen_rnd hook: seeded bytes, or a fixed pool (zeros past its end);
// counts its calls.
struct Hook {
    static inline Rng rng{0};
    static inline Bytes pool;
    static inline bool fixed = false;
    static inline int calls = 0;
    static int fill(uint8_t *buf, uint32_t len) {
        for (uint32_t i = 0; i < len; i++)
            buf[i] = !fixed ? uint8_t(rng.word()) : i < pool.size() ? pool[i] : 0;
        return ++calls, 42;
    }
    static void seeded(uint64_t seed) { rng = Rng(seed), fixed = false, rsa_gen_rnd = fill; }
    static void serve(Bytes b) { pool = std::move(b), fixed = true, calls = 0, rsa_gen_rnd = fill; }
};

}  // namespace lncext_test
