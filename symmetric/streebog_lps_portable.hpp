// The portable pass of Streebog's LPS transform: a 512-bit value as sixteen
// 32-bit words, each 64-bit table entry used as its two halves. Used where
// the SSE2 pass is not built (32-bit x86, the portable build, other
// machines). Included by streebog.cpp only, inside its namespace.
#pragma once

// A 512-bit value as sixteen 32-bit words, least significant first: lane j
// is words 2j (low half) and 2j + 1 (high half).
struct Value {
    uint32_t w[16];
};

inline Value load_value(const uint8_t *p) {
    Value v;
    for (int k = 0; k < 16; k++) v.w[k] = load_le32(p + 4 * k);
    return v;
}

inline void store_value(uint8_t *p, const Value &v) {
    for (int k = 0; k < 16; k++) store_le32(p + 4 * k, v.w[k]);
}

inline Value value_of_words(const uint32_t *w) {
    Value v;
    for (int k = 0; k < 16; k++) v.w[k] = w[k];
    return v;
}

inline Value operator^(const Value &a, const Value &b) {
    Value r;
    for (int k = 0; k < 16; k++) r.w[k] = a.w[k] ^ b.w[k];
    return r;
}

// LPS(a ^ c) on word pairs: x = a ^ c is laid out as bytes, and output lane
// j gathers byte j of every input lane, x[8i + j], through table i. Each
// entry is used as its two 32-bit halves.
inline Value lpsx(const Value &a, const Value &c) {
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
