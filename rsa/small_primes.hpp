// The small-prime tables of the prime search and of trial division, built at
// compile time by a sieve of Eratosthenes: the sieve primes (2 then the 499
// odd primes up to 3571, 16 bits each) and the 168 primes below 1000.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace lncext::rsa {

// The first N primes in increasing order, as values of type T.
template <class T, std::size_t N>
constexpr std::array<T, N> first_primes() {
    // 3571 is the 500th prime; 4000 covers every table used here.
    constexpr std::size_t limit = 4000;
    std::array<bool, limit> composite{};
    std::array<T, N> out{};
    std::size_t count = 0;
    for (std::size_t i = 2; i < limit && count < N; ++i) {
        if (composite[i]) continue;
        out[count++] = T(i);
        for (std::size_t j = i * i; j < limit; j += i) composite[j] = true;
    }
    return out;
}

// Entry 0 is 2 (never used by the sieve); entries 1..499 are 3 to 3571.
inline constexpr std::array<uint16_t, 500> sieve_primes = first_primes<uint16_t, 500>();
inline constexpr std::size_t sieve_first = 1;

// 2 to 997.
inline constexpr std::array<uint32_t, 168> trial_primes = first_primes<uint32_t, 168>();

static_assert(sieve_primes[0] == 2 && sieve_primes[1] == 3 && sieve_primes[499] == 3571);
static_assert(sieve_primes.size() - sieve_first == 499);
static_assert(trial_primes[0] == 2 && trial_primes[1] == 3 && trial_primes[167] == 997);
static_assert(sieve_primes[167] == 997 && sieve_primes[168] == 1009);  // 168 primes below 1000

}  // namespace lncext::rsa
