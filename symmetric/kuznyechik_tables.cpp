// Tables of the 128-bit block cipher: the exported small tables (pi, its
// inverse and the multiply-by-constant tables of the linear layer), and the
// row tables the cipher runs on, generated from them at compile time.
#include <array>
#include <bit>
#include <cstdint>

#include "common/table_init.hpp"
#include "lncext/kuznyechik.h"
#include "symmetric/kuznyechik_core.hpp"
#include "symmetric/kuznyechik_rows.hpp"

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
// table in every function.
#define LNCEXT_HIDDEN_ALIAS(local, exported)                              \
    __attribute__((visibility("hidden"))) extern const uint8_t local[256] \
        __attribute__((alias(#exported)))
extern "C" {
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_pi, kuz_pi);
LNCEXT_HIDDEN_ALIAS(lncext_kuzn_pi_inv, kuz_pi_inv);
}
#undef LNCEXT_HIDDEN_ALIAS

namespace lncext::kuzn {
namespace {

using Bytes16 = std::array<uint8_t, 16>;

// The multiply-by-coefficient table for each byte position of the register's
// feedback sum: the tables exported above.
constexpr std::array<Table, 16> coef_mul = {m94, m20, m85, m10, mC2, mC0, m01, mFB,
                                            m01, mC0, mC2, m10, m85, m20, m94, m01};

constexpr uint8_t feedback(const Bytes16 &x) {
    uint8_t v = 0;
    for (int k = 0; k < 16; k++) v ^= coef_mul[k][x[k]];
    return v;
}

// L and L^-1 by their register steps (see Linear in kuznyechik_core.hpp).
constexpr Bytes16 linear(Bytes16 x) {
    for (int step = 0; step < 16; step++) {
        const uint8_t v = feedback(x);
        for (int k = 15; k > 0; k--) x[k] = x[k - 1];
        x[0] = v;
    }
    return x;
}

constexpr Bytes16 linear_inv(Bytes16 x) {
    for (int step = 0; step < 16; step++) {
        const uint8_t old0 = x[0];
        for (int k = 0; k < 15; k++) x[k] = x[k + 1];
        x[15] = 0;  // so that the feedback sums the new bytes 0..14 only
        x[15] = uint8_t(old0 ^ feedback(x));
    }
    return x;
}

// Row j, entry b: (L or L^-1)(sub[b] at byte j). The map is linear, so the
// 256 images of the bytes at position j are XOR sums of the images of its
// eight bits: each takes one XOR from an entry with one bit fewer.
template <bool Inverse>
constexpr Rows make_rows(const Table &sub) {
    Rows t{};
    for (int j = 0; j < 16; j++) {
        std::array<Bytes16, 8> bit{};
        for (int m = 0; m < 8; m++) {
            Bytes16 e{};
            e[j] = uint8_t(1u << m);
            bit[m] = Inverse ? linear_inv(e) : linear(e);
        }
        std::array<Bytes16, 256> image{};
        for (unsigned v = 1; v < 256; v++) {
            image[v] = image[v & (v - 1)];
            const Bytes16 &add = bit[std::countr_zero(v)];
            for (int k = 0; k < 16; k++) image[v][k] ^= add[k];
        }
        for (unsigned b = 0; b < 256; b++) t[j][b] = std::bit_cast<Row>(image[sub[b]]);
    }
    return t;
}

constexpr Rows ls_rows_init = make_rows<false>(pi_table);
constexpr Rows ls_inv_rows_init = make_rows<true>(pi_inv_table);

constexpr Bytes16 bytes(const Row &r) {
    return std::bit_cast<Bytes16>(r);
}
constexpr Bytes16 hex16(const char *h) {
    Bytes16 b{};
    auto nib = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    for (int i = 0; i < 16; i++) b[i] = uint8_t(nib(h[2 * i]) << 4 | nib(h[2 * i + 1]));
    return b;
}

// The iteration constants C_i = L(0^120 || i) are the last position's rows
// at pi^-1(i): the key schedule reads them there.
static_assert(bytes(ls_rows_init[15][pi_inv_table[1]]) ==
              hex16("6ea276726c487ab85d27bd10dd849401"));
static_assert(bytes(ls_rows_init[15][pi_inv_table[32]]) ==
              hex16("5ea7d8581e149b61f16ac1459ceda820"));
// The byte pi maps to zero (pi^-1 of zero) contributes nothing in any
// position, and likewise in the inverse tables.
static_assert(bytes(ls_rows_init[0][0xA5]) == Bytes16{} &&
              bytes(ls_rows_init[9][0xA5]) == Bytes16{});
static_assert(bytes(ls_inv_rows_init[4][0xFC]) == Bytes16{});

// A row undone by L^-1 on the exported tables is pi(b) alone at byte j; an
// inverse row mapped back by L is pi^-1(b) alone at byte j.
constexpr bool rows_invert(int j, unsigned b) {
    Bytes16 want{}, want_inv{};
    want[j] = pi_table[b];
    want_inv[j] = pi_inv_table[b];
    return linear_inv(bytes(ls_rows_init[j][b])) == want &&
           linear(bytes(ls_inv_rows_init[j][b])) == want_inv;
}
static_assert(rows_invert(0, 0x00) && rows_invert(15, 0xFF) && rows_invert(6, 0x01) &&
              rows_invert(7, 0x80) && rows_invert(11, 0x5C));

// The sum of the inverse rows at pi of a row's bytes undoes the row: the two
// table sets invert each other (through the same path decryption takes for
// its first L^-1).
constexpr bool tables_invert(int j, unsigned b) {
    const Bytes16 y = bytes(ls_rows_init[j][b]);
    Bytes16 x{}, want{};
    for (int k = 0; k < 16; k++) {
        const Bytes16 r = bytes(ls_inv_rows_init[k][pi_table[y[k]]]);
        for (int i = 0; i < 16; i++) x[i] ^= r[i];
    }
    want[j] = pi_table[b];
    return x == want;
}
static_assert(tables_invert(0, 0x13) && tables_invert(15, 0xA4) && tables_invert(8, 0x77));

}  // namespace

alignas(64) constexpr Rows ls_rows = ls_rows_init;
alignas(64) constexpr Rows ls_inv_rows = ls_inv_rows_init;

}  // namespace lncext::kuzn
