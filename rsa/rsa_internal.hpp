// Sizes and small helpers shared by the prime, key-generation and RSA
// sources.
#pragma once

#include <cstdint>

#include "bignum/bignum_internal.hpp"
#include "common/wipe.hpp"

namespace lncext::rsa {

// Digit words of the largest number the RSA-path exponentiation takes: the
// 32 of a 1024-bit prime, plus one so that a prime search that carries past
// 2^1024 still stays inside the buffers.
inline constexpr uint32_t kMaxWords = 33;
// A number of the RSA path: count word plus kMaxWords digits.
inline constexpr uint32_t kNumWords = kMaxWords + 1;
// A product or square of two such numbers with the room lnmdiv and the
// Montgomery reduction ask for (2 n + 4 words covers both, and the R^2
// computed by lnmunitymont).
inline constexpr uint32_t kWideWords = 2 * kMaxWords + 4;

// Miller-Rabin rounds for a number of `bits` bits: fewer rounds for larger
// numbers, whose chance of passing a round as a composite is smaller.
constexpr uint32_t mr_rounds(uint32_t bits) {
    struct Row {
        uint32_t from, rounds;
    };
    constexpr Row table[] = {{1300, 2}, {850, 3}, {650, 4},  {550, 5},  {450, 6}, {400, 7},
                             {350, 8},  {300, 9}, {250, 12}, {200, 15}, {150, 18}};
    for (const Row &r : table)
        if (bits >= r.from) return r.rounds;
    return 27;
}
static_assert(mr_rounds(1024) == 3 && mr_rounds(512) == 6 && mr_rounds(100) == 27);
static_assert(mr_rounds(1299) == 3 && mr_rounds(1300) == 2 && mr_rounds(149) == 27);

template <class T, std::size_t N>
inline void wipe(T (&a)[N]) {
    lncext::secure_wipe(a, sizeof a);
}

}  // namespace lncext::rsa
