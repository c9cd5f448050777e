// Helpers for the big-number tests: conversion to and from GMP (the oracle),
// random operands biased towards the hard cases, and word buffers with
// guard words beyond the room a function may use.
#pragma once

#include <gmp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "test_util.hpp"

namespace lncext_test {

// A GMP integer with automatic cleanup.
struct Mpz {
    mpz_t z;
    Mpz() { mpz_init(z); }
    explicit Mpz(const uint32_t *a) {
        mpz_init(z);
        set(a);
    }
    ~Mpz() { mpz_clear(z); }
    Mpz(const Mpz &) = delete;
    Mpz &operator=(const Mpz &) = delete;
    void set(const uint32_t *a) { mpz_import(z, a[0], -1, sizeof(uint32_t), 0, 0, a + 1); }
    std::string hex() const {
        std::vector<char> buf(mpz_sizeinbase(z, 16) + 2);
        mpz_get_str(buf.data(), -16, z);
        return buf.data();
    }
    operator mpz_ptr() { return z; }
    operator mpz_srcptr() const { return z; }
};

// Big-endian bytes and GMP integers.
inline void set_bytes(mpz_ptr z, const uint8_t *p, size_t n) {
    mpz_import(z, n, 1, 1, 0, 0, p);
}
inline void set_bytes(mpz_ptr z, const Bytes &b) {
    set_bytes(z, b.data(), b.size());
}
// The minimal big-endian bytes of z, left-padded to `width`.
inline Bytes bytes_of(mpz_srcptr z, size_t width = 0) {
    const size_t n = mpz_sgn(z) == 0 ? 0 : (mpz_sizeinbase(z, 2) + 7) / 8;
    Bytes out(std::max(n, width), 0);
    if (n != 0) mpz_export(out.data() + out.size() - n, nullptr, 1, 1, 0, 0, z);
    return out;
}

inline Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

// The big number of z as a vector: count word, then the digits.
inline std::vector<uint32_t> from_mpz(mpz_srcptr z) {
    std::vector<uint32_t> r(mpz_sizeinbase(z, 2) / 32 + 2, 0);
    size_t count = 0;
    mpz_export(r.data() + 1, &count, -1, sizeof(uint32_t), 0, 0, z);
    r[0] = uint32_t(count);
    r.resize(count + 1);
    return r;
}

// Exact comparison of a big number (count and counted digits) with z.
inline ::testing::AssertionResult equals_mpz(const uint32_t *a, mpz_srcptr z) {
    std::vector<uint32_t> want = from_mpz(z);
    std::vector<uint32_t> got(a, a + a[0] + 1);
    if (got == want) return ::testing::AssertionSuccess();
    Mpz g(a);
    return ::testing::AssertionFailure()
           << "count " << a[0] << " value " << g.hex() << ", expected count " << want[0]
           << " value " << Mpz(want.data()).hex();
}

// Random n-word normalised numbers, drawn from several shapes that stress
// carries and estimates: uniform words, all ones, sparse words, a top word
// of 1 or with the top bit set.
inline std::vector<uint32_t> random_num(Rng &rng, uint32_t n) {
    std::vector<uint32_t> a(n + 1);
    a[0] = n;
    uint32_t shape = rng.below(6);
    for (uint32_t i = 1; i <= n; i++) {
        switch (shape) {
            case 0:
                a[i] = 0xFFFFFFFFu;
                break;
            case 1:
                a[i] = rng.below(4) == 0 ? rng.word() : (rng.below(2) ? 0 : 0xFFFFFFFFu);
                break;
            default:
                a[i] = rng.word();
        }
    }
    if (n != 0) {
        uint32_t top_shape = rng.below(5);
        if (top_shape == 0)
            a[n] = 1;
        else if (top_shape == 1)
            a[n] |= 0x80000000u;
        else if (top_shape == 2)
            a[n] = 1 + rng.below(0xFFFF);
        if (a[n] == 0) a[n] = 1;
    }
    return a;
}

// A big number from its digits, least significant first.
inline std::vector<uint32_t> num(std::initializer_list<uint32_t> digits) {
    std::vector<uint32_t> a{uint32_t(digits.size())};
    a.insert(a.end(), digits.begin(), digits.end());
    return a;
}

// The count word and the counted digits of a.
inline std::vector<uint32_t> counted(const uint32_t *a) {
    return {a, a + a[0] + 1};
}

// A size in lo..max, with the ends of the range drawn often.
inline uint32_t random_size(Rng &rng, uint32_t max, uint32_t lo = 0) {
    switch (rng.below(4)) {
        case 0:
            return lo + rng.below(std::min<uint32_t>(max - lo + 1, 4));
        case 1:
            return max - rng.below(std::min<uint32_t>(max - lo + 1, 3));
        default:
            return lo + rng.below(max - lo + 1);
    }
}

// A destination of `room` words, filled with junk (words beyond a count are
// scratch, so nothing may rely on them), followed by guard words that must
// survive every call.
struct Guarded {
    static constexpr uint32_t kGuard = 0xC0FFEE11u;
    static constexpr size_t kGuards = 8;
    std::vector<uint32_t> v;
    size_t room;

    Guarded(size_t room_words, Rng &rng) : v(room_words + kGuards), room(room_words) {
        for (size_t i = 0; i < room; i++) v[i] = rng.word();
        for (size_t i = room; i < v.size(); i++) v[i] = kGuard;
    }
    // Copies the big number a into the front.
    Guarded(const std::vector<uint32_t> &a, size_t room_words, Rng &rng)
        : Guarded(room_words, rng) {
        std::copy(a.begin(), a.end(), v.begin());
    }
    uint32_t *p() { return v.data(); }
    bool intact() const {
        for (size_t i = room; i < v.size(); i++)
            if (v[i] != kGuard) return false;
        return true;
    }
    // ret, a function's return value, is this buffer, which holds z and
    // nothing was written past the room.
    ::testing::AssertionResult holds(const uint32_t *ret, mpz_srcptr z) {
        if (ret != p()) return ::testing::AssertionFailure() << "returned another pointer";
        if (!intact()) return ::testing::AssertionFailure() << "wrote past the room";
        return equals_mpz(p(), z);
    }
};

}  // namespace lncext_test
