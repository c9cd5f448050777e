// The 128-bit block cipher on row tables: the path the library runs.
//
// L is linear over GF(2), so L applied to a block is the XOR of L applied to
// each of its bytes in its own position. A round's substitution acts byte by
// byte before L, so both fold into one lookup per byte: row j, entry b holds
// L(pi(b) placed at byte j). A round is then sixteen 16-byte rows XORed
// together (sixteen tables of 256 rows, 64 KiB), instead of the 144
// multiplications of the register steps. The inverse tables hold
// L^-1(pi^-1(b) placed at byte j) for decryption.
//
// Decryption runs as L^-1 S^-1 X[K] L^-1 ... : with y = L^-1(x), the step
// x -> L^-1(S^-1(x) XOR K) is one row lookup XORed with L^-1(K), so it takes
// round keys passed through L^-1 (DecKeys). The first L^-1 comes before any
// S^-1, so it looks up pi(b): L^-1(b at byte j) is the inverse row of pi(b).
//
// On x86_64 a block is one SSE2 register; elsewhere (i386, the portable
// build) it is two 64-bit words, in memory order either way, so a row is
// loaded as it lies in the table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "common/bytes.hpp"
#include "common/platform.hpp"

#if defined(LNCEXT_HAVE_X86_64)
#include <emmintrin.h>
#endif

// The exported pi and its inverse under hidden names, addressed without the
// global offset table (defined beside the exported arrays).
extern "C" {
extern const uint8_t lncext_kuzn_pi[256];
extern const uint8_t lncext_kuzn_pi_inv[256];
}

namespace lncext::kuzn {

// 16 bytes of a block in memory order, as two words only so that a table of
// them is aligned for a 16-byte load.
struct alignas(16) Row {
    uint64_t w[2];
};
static_assert(sizeof(Row) == 16 && alignof(Row) == 16);

// [j][b] = L(pi(b) at byte j), and [j][b] = L^-1(pi^-1(b) at byte j).
using Rows = std::array<std::array<Row, 256>, 16>;
static_assert(sizeof(Rows) == 65536);
extern const Rows ls_rows;
extern const Rows ls_inv_rows;

#if defined(LNCEXT_HAVE_X86_64)
struct Block {
    __m128i v;
    static Block load(const uint8_t *p) {
        return {_mm_loadu_si128(reinterpret_cast<const __m128i *>(p))};
    }
    static Block of(const Row &r) {
        return {_mm_load_si128(reinterpret_cast<const __m128i *>(&r))};
    }
    // The 128-bit number hi:lo, most significant byte first (built in
    // registers: two 8-byte stores read back as one 16-byte load would stall).
    static Block big_endian(uint64_t hi, uint64_t lo) {
        return {_mm_set_epi64x(static_cast<long long>(__builtin_bswap64(lo)),
                               static_cast<long long>(__builtin_bswap64(hi)))};
    }
    void store(uint8_t *p) const { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
    friend Block operator^(Block a, Block b) { return {_mm_xor_si128(a.v, b.v)}; }
};
#else
struct Block {
    uint64_t w[2];
    static Block load(const uint8_t *p) {
        Block b;
        std::memcpy(b.w, p, 16);
        return b;
    }
    static Block of(const Row &r) { return {{r.w[0], r.w[1]}}; }
    // The 128-bit number hi:lo, most significant byte first.
    static Block big_endian(uint64_t hi, uint64_t lo) {
        uint8_t b[16];
        store_be64(b, hi);
        store_be64(b + 8, lo);
        return load(b);
    }
    void store(uint8_t *p) const { std::memcpy(p, w, 16); }
    friend Block operator^(Block a, Block b) { return {{a.w[0] ^ b.w[0], a.w[1] ^ b.w[1]}}; }
};
#endif

// A round: x[n] = XOR over j of t[j][sub[b_j]] for the bytes b_j of x[n]
// (sub is the identity when null), for N blocks side by side so that their
// lookups overlap. On x86_64 the bytes come out of two 64-bit registers by
// shifts, which leaves the load ports to the rows; elsewhere through a
// 16-byte buffer.
#if defined(LNCEXT_HAVE_X86_64)
inline void halves(Block x, uint64_t &lo, uint64_t &hi) {
    lo = uint64_t(_mm_cvtsi128_si64(x.v));
    hi = uint64_t(_mm_cvtsi128_si64(_mm_unpackhi_epi64(x.v, x.v)));
}

// Byte j of the block in memory order (x86_64 is little-endian).
inline uint8_t byte_at(uint64_t lo, uint64_t hi, size_t j, const uint8_t *sub) {
    const uint8_t b = uint8_t((j < 8 ? lo : hi) >> (8 * (j % 8)));
    return sub != nullptr ? sub[b] : b;
}

template <size_t... J>
inline Block sum_rows(const Rows &t, uint64_t lo, uint64_t hi, const uint8_t *sub,
                      std::index_sequence<J...>) {
    return (Block::of(t[J][byte_at(lo, hi, J, sub)]) ^ ...);
}

template <size_t N>
inline void lookup(const Rows &t, Block *x, const uint8_t *sub = nullptr) {
    uint64_t lo[N], hi[N];
    for (size_t n = 0; n < N; n++) halves(x[n], lo[n], hi[n]);
    for (size_t n = 0; n < N; n++)
        x[n] = sum_rows(t, lo[n], hi[n], sub, std::make_index_sequence<16>{});
}

// Every byte of x replaced by sub of it.
inline Block substitute(Block x, const uint8_t *sub) {
    uint64_t lo, hi, s[2] = {0, 0};
    halves(x, lo, hi);
    for (size_t j = 0; j < 16; j++) s[j / 8] |= uint64_t(byte_at(lo, hi, j, sub)) << (8 * (j % 8));
    return {_mm_set_epi64x(static_cast<long long>(s[1]), static_cast<long long>(s[0]))};
}
#else
template <size_t... J>
inline Block sum_rows(const Rows &t, const uint8_t *b, std::index_sequence<J...>) {
    return (Block::of(t[J][b[J]]) ^ ...);
}

template <size_t N>
inline void lookup(const Rows &t, Block *x, const uint8_t *sub = nullptr) {
    uint8_t b[N][16];
    for (size_t n = 0; n < N; n++) x[n].store(b[n]);
    if (sub != nullptr)
        for (size_t n = 0; n < N; n++)
            for (size_t j = 0; j < 16; j++) b[n][j] = sub[b[n][j]];
    for (size_t n = 0; n < N; n++) x[n] = sum_rows(t, b[n], std::make_index_sequence<16>{});
}

inline Block substitute(Block x, const uint8_t *sub) {
    uint8_t b[16];
    x.store(b);
    for (size_t j = 0; j < 16; j++) b[j] = sub[b[j]];
    return Block::load(b);
}
#endif

// Encrypts N blocks with the round keys K1..K10 (160 bytes).
template <size_t N>
inline void encrypt(Block *x, const uint8_t *rk) {
    for (int i = 0; i < 9; i++) {
        const Block k = Block::load(rk + 16 * i);
        for (size_t n = 0; n < N; n++) x[n] = x[n] ^ k;
        lookup<N>(ls_rows, x);
    }
    const Block k = Block::load(rk + 144);
    for (size_t n = 0; n < N; n++) x[n] = x[n] ^ k;
}

// Round keys for decryption: k[0] = K1 and k[9] = K10 as they are, k[i] =
// L^-1(K(i+1)) for i = 1..8. Derived from the key, so wiped after use.
struct DecKeys {
    Block k[10];
};

inline void make_dec_keys(DecKeys &d, const uint8_t *rk) {
    for (int i = 0; i < 10; i++) d.k[i] = Block::load(rk + 16 * i);
    lookup<8>(ls_inv_rows, d.k + 1, lncext_kuzn_pi);  // L^-1(b) is the inverse row of pi(b)
}

// Decrypts N blocks.
template <size_t N>
inline void decrypt(Block *x, const DecKeys &d) {
    for (size_t n = 0; n < N; n++) x[n] = x[n] ^ d.k[9];
    lookup<N>(ls_inv_rows, x, lncext_kuzn_pi);
    for (int i = 8; i >= 1; i--) {
        lookup<N>(ls_inv_rows, x);
        for (size_t n = 0; n < N; n++) x[n] = x[n] ^ d.k[i];
    }
    for (size_t n = 0; n < N; n++) x[n] = substitute(x[n], lncext_kuzn_pi_inv) ^ d.k[0];
}

}  // namespace lncext::kuzn
