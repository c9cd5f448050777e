// The portable pass of Streebog's LPS transform: a 512-bit value as sixteen
// 32-bit words, each 64-bit table entry used as its two halves. The 32-bit
// and portable builds hash with it; on x86-64 it is the reference the
// general-register pass is tested against.
#pragma once

#include <cstdint>

#include "common/bytes.hpp"
#include "lncext/streebog.h"

namespace lncext::streebog {

struct PortableLps {
    // Sixteen 32-bit words, least significant first: lane j is words 2j
    // (low half) and 2j + 1 (high half).
    struct Value {
        uint32_t w[16];

        friend Value operator^(const Value &a, const Value &b) {
            Value r;
            for (int k = 0; k < 16; k++) r.w[k] = a.w[k] ^ b.w[k];
            return r;
        }
    };

    static Value load(const uint8_t *p) {
        Value v;
        for (int k = 0; k < 16; k++) v.w[k] = load_le32(p + 4 * k);
        return v;
    }

    static void store(uint8_t *p, const Value &v) {
        for (int k = 0; k < 16; k++) store_le32(p + 4 * k, v.w[k]);
    }

    static Value of_words(const uint32_t *w) {
        Value v;
        for (int k = 0; k < 16; k++) v.w[k] = w[k];
        return v;
    }

    // LPS(a ^ c): x = a ^ c is laid out as bytes, and output lane j gathers
    // byte j of every input lane, x[8i + j], through table i.
    static Value lpsx(const Value &a, const Value &c) {
        uint8_t x[64];
        for (int k = 0; k < 16; k++) store_le32(x + 4 * k, a.w[k] ^ c.w[k]);
        Value r;
#pragma GCC unroll 8
        for (int j = 0; j < 8; j++) {
            uint32_t lo = 0, hi = 0;
#pragma GCC unroll 8
            for (int i = 0; i < 8; i++) {
                const uint32_t *e = streebog_lp32[i][x[8 * i + j]];
                lo ^= e[0];
                hi ^= e[1];
            }
            r.w[2 * j] = lo;
            r.w[2 * j + 1] = hi;
        }
        return r;
    }

    // LPS(a ^ C_i).
    static Value lpsx_constant(const Value &a, int i) {
        return lpsx(a, load(streebog_c[i]));
    }
};

}  // namespace lncext::streebog
