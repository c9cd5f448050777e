// The 128-bit block cipher: exported tables, key schedule and single-block
// encryption and decryption.
#include "lncext/kuznyechik.h"

#include <cstring>

#include "common/table_init.hpp"
#include "common/wipe.hpp"
#include "symmetric/kuznyechik_core.hpp"

namespace lncext::kuzn {
namespace {

constexpr Table m94 = mul_table(0x94), m20 = mul_table(0x20), m85 = mul_table(0x85),
                m10 = mul_table(0x10), mC2 = mul_table(0xC2), mC0 = mul_table(0xC0),
                m01 = mul_table(0x01), mFB = mul_table(0xFB);

static_assert(m94[1] == 0x94 && m94[2] == 0xEB && m01[0x5A] == 0x5A);

}  // namespace
}  // namespace lncext::kuzn

extern "C" {
LNCEXT_API extern const uint8_t kuz_pi[256] = {LNCEXT_ELEMS_256(lncext::pi_table, 0)};
LNCEXT_API extern const uint8_t kuz_pi_inv[256] = {LNCEXT_ELEMS_256(lncext::kuzn::pi_inv_table, 0)};
LNCEXT_API extern const uint8_t tab_0x94[256] = {LNCEXT_ELEMS_256(lncext::kuzn::m94, 0)};
LNCEXT_API extern const uint8_t tab_0x20[256] = {LNCEXT_ELEMS_256(lncext::kuzn::m20, 0)};
LNCEXT_API extern const uint8_t tab_0x85[256] = {LNCEXT_ELEMS_256(lncext::kuzn::m85, 0)};
LNCEXT_API extern const uint8_t tab_0x10[256] = {LNCEXT_ELEMS_256(lncext::kuzn::m10, 0)};
LNCEXT_API extern const uint8_t tab_0xC2[256] = {LNCEXT_ELEMS_256(lncext::kuzn::mC2, 0)};
LNCEXT_API extern const uint8_t tab_0xC0[256] = {LNCEXT_ELEMS_256(lncext::kuzn::mC0, 0)};
LNCEXT_API extern const uint8_t tab_0x01[256] = {LNCEXT_ELEMS_256(lncext::kuzn::m01, 0)};
LNCEXT_API extern const uint8_t tab_0xFB[256] = {LNCEXT_ELEMS_256(lncext::kuzn::mFB, 0)};
}

// Second, hidden names for the tables the cipher reads. Code in the library
// addresses a hidden name directly (on i386 as an offset from the PIC
// register), where an exported name would cost a load from the global offset
// table for every table in every function.
#define LNCEXT_HIDDEN_ALIAS(local, exported)                              \
    __attribute__((visibility("hidden"))) extern const uint8_t local[256] \
        __attribute__((alias(#exported)))
extern "C" {
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_pi, kuz_pi);
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_pi_inv, kuz_pi_inv);
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_m94, tab_0x94);
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_m20, tab_0x20);
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_m85, tab_0x85);
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_m10, tab_0x10);
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_mC2, tab_0xC2);
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_mC0, tab_0xC0);
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_mFB, tab_0xFB);
}
#undef LNCEXT_HIDDEN_ALIAS

namespace lncext::kuzn {
namespace {

constexpr TableSet tables = {lncext_kuzn_pi,  lncext_kuzn_pi_inv, lncext_kuzn_m94,
                             lncext_kuzn_m20, lncext_kuzn_m85,    lncext_kuzn_m10,
                             lncext_kuzn_mC2, lncext_kuzn_mC0,    lncext_kuzn_mFB};
using L = Linear<tables>;

inline void xor16(uint8_t *x, const uint8_t *k) {
    for (int i = 0; i < 16; i++) x[i] ^= k[i];
}

// X then S: x = pi(x XOR k), byte by byte.
inline void xor_sub(uint8_t *x, const uint8_t *k) {
    for (int i = 0; i < 16; i++) x[i] = tables.pi[x[i] ^ k[i]];
}

// L on 16 bytes in place; the key schedule's constants and Feistel steps use it.
inline void kuzn_linear(uint8_t *block) {
    L::apply(block);
}

}  // namespace

// The block functions and the key schedule have every step inlined into
// them (flatten): the sixteen register steps then share one register
// allocation with the surrounding round and keep the state out of memory.

__attribute__((flatten)) void encrypt_block(uint8_t *block, const uint8_t *round_keys) {
    uint8_t x[16];
    std::memcpy(x, block, 16);
    for (int i = 0; i < 9; i++) {
        xor_sub(x, round_keys + 16 * i);
        L::apply(x);
    }
    xor16(x, round_keys + 16 * 9);
    std::memcpy(block, x, 16);
}

__attribute__((flatten)) void decrypt_block(uint8_t *block, const uint8_t *round_keys) {
    uint8_t x[16];
    std::memcpy(x, block, 16);
    xor16(x, round_keys + 16 * 9);
    for (int i = 8; i >= 0; i--) {
        L::apply_inv(x);
        for (int j = 0; j < 16; j++) x[j] = uint8_t(tables.pi_inv[x[j]] ^ round_keys[16 * i + j]);
    }
    std::memcpy(block, x, 16);
}

}  // namespace lncext::kuzn

extern "C" {

LNCEXT_API __attribute__((flatten)) void kuzn_setup_keys(void *ctx, const uint32_t *key) {
    using lncext::kuzn::kuzn_linear;
    uint8_t a1[16], a0[16], t[16], c[16];
    // The key is only bytes; read it whole before writing, in case it lies in ctx.
    std::memcpy(a1, key, 16);
    std::memcpy(a0, reinterpret_cast<const uint8_t *>(key) + 16, 16);
    uint8_t *rk = static_cast<uint8_t *>(ctx);
    std::memcpy(rk, a1, 16);
    std::memcpy(rk + 16, a0, 16);
    for (unsigned i = 1; i <= 32; i++) {
        // The iteration constant C_i = L(0^120 || i), computed afresh.
        std::memset(c, 0, 15);
        c[15] = uint8_t(i);
        kuzn_linear(c);
        std::memcpy(t, a1, 16);
        lncext::kuzn::xor_sub(t, c);
        kuzn_linear(t);
        lncext::kuzn::xor16(t, a0);
        std::memcpy(a0, a1, 16);
        std::memcpy(a1, t, 16);
        if (i % 8 == 0) {
            std::memcpy(rk + 32 * (i / 8), a1, 16);
            std::memcpy(rk + 32 * (i / 8) + 16, a0, 16);
        }
    }
    lncext::secure_wipe(a1, sizeof a1);
    lncext::secure_wipe(a0, sizeof a0);
    lncext::secure_wipe(t, sizeof t);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

LNCEXT_API void kuzn_block_enc(uint8_t *block, const uint8_t *round_keys) {
    lncext::kuzn::encrypt_block(block, round_keys);
}

}  // extern "C"
