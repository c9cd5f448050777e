// Internals of the 128-bit block cipher: the field arithmetic and small
// tables (generated at compile time from the substitution pi and the
// reduction polynomial), and the byte-oriented linear layer L and its
// inverse, with the block transforms and key schedule built on it.
//
// The linear layer is sixteen steps of a byte shift register. Each step sums
// fifteen bytes times fixed coefficients in GF(2^8); products come from
// 256-byte multiply-by-constant tables, and bytes whose coefficient is 1 are
// XORed in directly. The steps are generated as straight-line code.
//
// The library itself runs the row-table path (kuznyechik_rows.hpp); this
// byte-oriented path is the definition it is generated from and checked
// against, and the tests compare the two on the same inputs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "symmetric/pi.hpp"

namespace lncext::kuzn {

using Table = std::array<uint8_t, 256>;

// Multiplication in GF(2^8) modulo x^8 + x^7 + x^6 + x + 1.
constexpr uint8_t gf_mul(uint8_t a, uint8_t b) {
    unsigned r = 0, x = a;
    for (; b != 0; b = uint8_t(b >> 1)) {
        if (b & 1) r ^= x;
        x <<= 1;
        if (x & 0x100) x ^= 0x1C3;
    }
    return uint8_t(r);
}

constexpr Table mul_table(uint8_t c) {
    Table t{};
    for (unsigned b = 0; b < 256; b++) t[b] = gf_mul(uint8_t(b), c);
    return t;
}

constexpr Table inverse_of(const Table &p) {
    Table inv{};
    for (unsigned x = 0; x < 256; x++) inv[p[x]] = uint8_t(x);
    return inv;
}

inline constexpr Table pi_inv_table = inverse_of(pi_table);

// Coefficients of the register's feedback sum, by byte position 0..15
// (byte 0 is the most significant byte of the block).
inline constexpr uint8_t coef[16] = {0x94, 0x20, 0x85, 0x10, 0xC2, 0xC0, 0x01, 0xFB,
                                     0x01, 0xC0, 0xC2, 0x10, 0x85, 0x20, 0x94, 0x01};

static_assert(pi_inv_table[0] == 165 && pi_inv_table[1] == 45 && pi_inv_table[2] == 50 &&
              pi_inv_table[3] == 143);
static_assert(pi_inv_table[pi_table[0xA5]] == 0xA5);
static_assert(gf_mul(0x80, 0x02) == 0xC3);  // x^8 reduces to x^7 + x^6 + x + 1
static_assert(gf_mul(0x94, 0x01) == 0x94 && gf_mul(0x01, 0xFB) == 0xFB);
static_assert(gf_mul(0x02, 0x02) == 0x04 && gf_mul(0xC3, 0x02) == 0x45);
static_assert(gf_mul(0x57, 0x83) == gf_mul(0x83, 0x57));
static_assert(coef[15] == 1, "R^-1 relies on the last coefficient being 1");

// The tables the transform reads. The library binds its own hidden names for
// the exported arrays; a test may bind the exported arrays themselves.
struct TableSet {
    const uint8_t *pi, *pi_inv, *m94, *m20, *m85, *m10, *mC2, *mC0, *mFB;
};

template <const TableSet &T>
struct Linear {
    template <uint8_t C>
    static uint8_t mul(uint8_t x) {
        if constexpr (C == 0x01)
            return x;
        else if constexpr (C == 0x94)
            return T.m94[x];
        else if constexpr (C == 0x20)
            return T.m20[x];
        else if constexpr (C == 0x85)
            return T.m85[x];
        else if constexpr (C == 0x10)
            return T.m10[x];
        else if constexpr (C == 0xC2)
            return T.mC2[x];
        else if constexpr (C == 0xC0)
            return T.mC0[x];
        else {
            static_assert(C == 0xFB);
            return T.mFB[x];
        }
    }

    // The register rotates through x instead of moving bytes: after J steps
    // its byte k lives in x[(k - J) mod 16]. A step overwrites the slot of the
    // outgoing byte 15 (coefficient 1) with the feedback sum, which becomes
    // the new byte 0. After sixteen steps every byte is back in its place.
    template <size_t J, size_t... K>
    static void step(uint8_t *x, std::index_sequence<K...>) {
        constexpr size_t out = (15 - J) & 15;
        x[out] = uint8_t(x[out] ^ (mul<coef[K]>(x[(K - J) & 15]) ^ ...));
    }

    // Inverse step: after J steps, byte k lives in x[(k + J) mod 16]. The old
    // byte 0 leaves; its slot receives the new byte 15, which is the old byte
    // 0 plus the feedback sum of the new bytes 0..14 (the old bytes 1..15).
    template <size_t J, size_t... K>
    static void step_inv(uint8_t *x, std::index_sequence<K...>) {
        constexpr size_t out = J & 15;
        x[out] = uint8_t(x[out] ^ (mul<coef[K]>(x[(K + 1 + J) & 15]) ^ ...));
    }

    template <size_t... J>
    static void steps(uint8_t *x, std::index_sequence<J...>) {
        (step<J>(x, std::make_index_sequence<15>{}), ...);
    }

    template <size_t... J>
    static void steps_inv(uint8_t *x, std::index_sequence<J...>) {
        (step_inv<J>(x, std::make_index_sequence<15>{}), ...);
    }

    // L: sixteen R steps on the 16 bytes at x, in place.
    static void apply(uint8_t *x) { steps(x, std::make_index_sequence<16>{}); }
    // L^-1: sixteen R^-1 steps on the 16 bytes at x, in place.
    static void apply_inv(uint8_t *x) { steps_inv(x, std::make_index_sequence<16>{}); }
};

// Block transforms and key schedule on the byte-oriented linear layer, in
// place on 16 bytes; the ten round keys K1..K10 are 160 consecutive bytes.
template <const TableSet &T>
struct ByteCipher {
    using L = Linear<T>;

    // L on 16 bytes in place.
    static void kuzn_linear(uint8_t *block) { L::apply(block); }

    static void encrypt(uint8_t *x, const uint8_t *rk) {
        for (int i = 0; i < 9; i++) {
            for (int j = 0; j < 16; j++) x[j] = T.pi[x[j] ^ rk[16 * i + j]];
            kuzn_linear(x);
        }
        for (int j = 0; j < 16; j++) x[j] ^= rk[144 + j];
    }

    static void decrypt(uint8_t *x, const uint8_t *rk) {
        for (int j = 0; j < 16; j++) x[j] ^= rk[144 + j];
        for (int i = 8; i >= 0; i--) {
            L::apply_inv(x);
            for (int j = 0; j < 16; j++) x[j] = uint8_t(T.pi_inv[x[j]] ^ rk[16 * i + j]);
        }
    }

    // The 32 Feistel steps with the iteration constants C_i = L(0^120 || i).
    static void setup_keys(uint8_t *rk, const uint8_t *key) {
        uint8_t a1[16], a0[16], t[16];
        std::memcpy(a1, key, 16);
        std::memcpy(a0, key + 16, 16);
        std::memcpy(rk, a1, 16);
        std::memcpy(rk + 16, a0, 16);
        for (unsigned i = 1; i <= 32; i++) {
            uint8_t c[16] = {};
            c[15] = uint8_t(i);
            kuzn_linear(c);
            for (int j = 0; j < 16; j++) t[j] = T.pi[a1[j] ^ c[j]];
            kuzn_linear(t);
            for (int j = 0; j < 16; j++) t[j] ^= a0[j];
            std::memcpy(a0, a1, 16);
            std::memcpy(a1, t, 16);
            if (i % 8 == 0) {
                std::memcpy(rk + 32 * (i / 8), a1, 16);
                std::memcpy(rk + 32 * (i / 8) + 16, a0, 16);
            }
        }
    }
};

}  // namespace lncext::kuzn
