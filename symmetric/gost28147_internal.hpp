// Internals shared by the GOST 28147-89 core, its modes, its MAC and the
// GOST R 34.11-94 hash: the expanded-table formula, the key-word orders and
// the fully unrolled round engines.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "lncext/gost28147.h"

#define LNCEXT_GOST_INLINE inline __attribute__((always_inline))

namespace lncext::gost {

// Entry v of table i (i = 0..3) of the expanded S-box table. Table i serves
// byte lane 3 - i of the round value: its high nibble goes through box
// K(8 - 2i), its low nibble through K(7 - 2i), and the substituted byte is put
// back in its lane and rotated left by 11 so that the round function needs
// nothing but four lookups. The row layout stores box K(8 - c) at column c.
constexpr uint32_t kext_entry(const uint8_t *sbox, unsigned i, unsigned v) {
    const unsigned lane = 3 - i;
    const uint32_t sub = uint32_t(sbox[8 * (v >> 4) + 2 * i]) << 4 | sbox[8 * (v & 15) + 2 * i + 1];
    const uint32_t x = sub << (8 * lane);
    return x << 11 | x >> 21;
}

// Key-word index of each round for encryption (K1..K8 three times, then
// K8..K1) and decryption (the same reversed).
inline constexpr std::array<uint8_t, 32> kOrderEncrypt = {
    0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, 4, 5, 6, 7, 7, 6, 5, 4, 3, 2, 1, 0,
};
inline constexpr std::array<uint8_t, 32> kOrderDecrypt = {
    0, 1, 2, 3, 4, 5, 6, 7, 7, 6, 5, 4, 3, 2, 1, 0, 7, 6, 5, 4, 3, 2, 1, 0, 7, 6, 5, 4, 3, 2, 1, 0,
};

// Round keys in round order: keys[i] = key[order[i]].
inline void lay_out_keys(uint32_t *keys, const uint32_t *key, const uint8_t *order) {
    for (unsigned i = 0; i < 32; i++) keys[i] = key[order[i]];
}

// Substitution and rotation of one round value: four lookups, one per byte.
// Each table gets its own base so that every lookup is one addressed load
// (with one base the compiler adds the offset of T2 to the index, an extra
// operation per round). In a chain of rounds the critical path is the key
// addition, the shift and zero extension of byte 2, the load and the XORs:
// about 10.6 cycles per round measured on x86_64; XORing the early lookups
// and the other half first (a balanced tree, or the late byte last) measured
// 11.6 to 12.6, so the order is left to the compiler.
LNCEXT_GOST_INLINE uint32_t f(uint32_t x, const uint32_t *t) {
    const uint32_t *t0 = t, *t1 = t + 256, *t2 = t + 512, *t3 = t + 768;
    return (t0[x >> 24] ^ t1[(x >> 16) & 255]) ^ (t2[(x >> 8) & 255] ^ t3[x & 255]);
}

// Round keys taken in sequence from one round-ordered array, the same for
// every lane (a mode context's keys).
struct SharedKeys {
    const uint32_t *k;
    template <std::size_t R>
    LNCEXT_GOST_INLINE uint32_t get(std::size_t) const {
        return k[R];
    }
};

// Eight key words per lane, the encryption order applied at compile time
// (the hash sets up four fresh keys per block and runs each once).
template <std::size_t Lanes>
struct EncryptKeys {
    const uint32_t (*k)[8];
    template <std::size_t R>
    LNCEXT_GOST_INLINE uint32_t get(std::size_t lane) const {
        return k[lane][kOrderEncrypt[R]];
    }
};

// Runs Rounds rounds on Lanes independent blocks, interleaved so that the
// lookups of one block overlap the dependency chain of the others. With
// c(-1) = b and c(0) = a, round i computes c(i) = f(c(i-1) + key) ^ c(i-2);
// the pair is kept as (a, b) = (c(even), c(odd)) so nothing moves between
// rounds. After an even number of rounds a = c(Rounds), b = c(Rounds - 1).
template <std::size_t P, std::size_t Lanes, typename Keys, std::size_t... L>
LNCEXT_GOST_INLINE void round_pair(uint32_t (&a)[Lanes], uint32_t (&b)[Lanes], const Keys &keys,
                                   const uint32_t *t, std::index_sequence<L...>) {
    ((b[L] ^= f(a[L] + keys.template get<2 * P>(L), t)), ...);
    ((a[L] ^= f(b[L] + keys.template get<2 * P + 1>(L), t)), ...);
}

template <std::size_t Lanes, typename Keys, std::size_t... P>
LNCEXT_GOST_INLINE void rounds(uint32_t (&a)[Lanes], uint32_t (&b)[Lanes], const Keys &keys,
                               const uint32_t *t, std::index_sequence<P...>) {
    (round_pair<P>(a, b, keys, t, std::make_index_sequence<Lanes>{}), ...);
}

template <std::size_t Rounds, std::size_t Lanes, typename Keys>
LNCEXT_GOST_INLINE void cycle(uint32_t (&a)[Lanes], uint32_t (&b)[Lanes], const Keys &keys,
                              const uint32_t *t) {
    static_assert(Rounds % 2 == 0);
    rounds(a, b, keys, t, std::make_index_sequence<Rounds / 2>{});
}

// Lanes independent blocks through the 32 rounds: lane l returns (c31, c32)
// as (n1[l], n2[l]), the standard's output order. Not inlined: the modes
// share one copy per lane count (eight lanes of 32 unrolled rounds are
// 17 KB of code) and a call per group costs nothing next to its rounds.
template <std::size_t Lanes>
[[gnu::noinline]] void crypt32(uint32_t (&n1)[Lanes], uint32_t (&n2)[Lanes], const uint32_t *keys,
                               const uint32_t *t) {
    uint32_t a[Lanes], b[Lanes];
    for (std::size_t l = 0; l < Lanes; l++) a[l] = n1[l], b[l] = n2[l];
    cycle<32>(a, b, SharedKeys{keys}, t);
    for (std::size_t l = 0; l < Lanes; l++) n1[l] = b[l], n2[l] = a[l];
}

// One block through the 32 rounds, inlined where it is used.
LNCEXT_GOST_INLINE void crypt32(uint32_t &n1, uint32_t &n2, const uint32_t *keys,
                                const uint32_t *t) {
    uint32_t a[1] = {n1}, b[1] = {n2};
    cycle<32>(a, b, SharedKeys{keys}, t);
    n1 = b[0];
    n2 = a[0];
}

// Blocks the independent-block paths run interleaved. A round of one block
// waits about 10.6 cycles for its lookups but issues only about 13
// operations, so lanes fill the gap while their words fit in registers. On
// x86_64 (16 registers) four lanes still wait on the chain (about 195 MB/s),
// eight keep the load and ALU ports busy (about 220 MB/s; six measured the
// same, and eight halve evenly for the tail). On 32-bit x86 (7 registers)
// eight lanes spill and four are faster (190 against 182 MB/s; two: 128).
#if UINTPTR_MAX > 0xFFFFFFFFu
inline constexpr std::size_t kLanes = 8;
#else
inline constexpr std::size_t kLanes = 4;
#endif

// Calls body.template operator()<L>(i) for consecutive groups of L blocks
// starting at block i, covering blocks [0, blocks): groups of Lanes while
// they last, then halving the group size for the rest, so a tail takes at
// most one group of each smaller size.
template <std::size_t Lanes, typename Body>
LNCEXT_GOST_INLINE void in_groups(std::size_t blocks, Body &&body, std::size_t first = 0) {
    for (; blocks >= Lanes; blocks -= Lanes, first += Lanes) body.template operator()<Lanes>(first);
    if constexpr (Lanes > 1) in_groups<Lanes / 2>(blocks, body, first);
}

// The 16 rounds of the MAC: returns (c16, c15) as (n1, n2).
LNCEXT_GOST_INLINE void mac16(uint32_t &n1, uint32_t &n2, const uint32_t *keys, const uint32_t *t) {
    uint32_t a[1] = {n1}, b[1] = {n2};
    cycle<16>(a, b, SharedKeys{keys}, t);
    n1 = a[0];
    n2 = b[0];
}

}  // namespace lncext::gost
