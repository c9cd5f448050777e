// GOST 28147-89 core: the expanded S-box table builder, the ready-made
// CryptoPro table, the key-word order tables and the two round engines.
#include "lncext/gost28147.h"

#include <array>
#include <cstdint>

#include "common/table_init.hpp"
#include "symmetric/gost28147_internal.hpp"

namespace lncext::gost {
namespace {

// The S-box of the CryptoPro GOST R 34.11-94 parameter set in row layout:
// row v holds K8(v), K7(v), ..., K1(v).
constexpr uint8_t kCryptoProSbox[128] = {
    0x1, 0xD, 0x7, 0x7, 0x4, 0x7, 0x5, 0xA,  //
    0x3, 0xE, 0x6, 0x6, 0xA, 0xF, 0xF, 0x4,  //
    0xA, 0x4, 0x2, 0x4, 0x7, 0xC, 0x4, 0x5,  //
    0x9, 0x1, 0x4, 0xB, 0xC, 0xE, 0x0, 0x6,  //
    0x5, 0x7, 0xD, 0x9, 0x0, 0x9, 0x2, 0x8,  //
    0xB, 0x0, 0x9, 0xC, 0xF, 0x4, 0xD, 0x1,  //
    0x4, 0x5, 0xF, 0x2, 0x2, 0x1, 0xB, 0x3,  //
    0xF, 0xA, 0x0, 0xA, 0x8, 0x0, 0x9, 0x7,  //
    0x8, 0x3, 0xA, 0x1, 0xE, 0x3, 0x1, 0xD,  //
    0x6, 0xC, 0x1, 0x8, 0x1, 0xB, 0x7, 0xC,  //
    0x7, 0x8, 0x5, 0x0, 0x6, 0x5, 0x6, 0xE,  //
    0xE, 0xF, 0xB, 0xE, 0x5, 0x2, 0x3, 0x0,  //
    0xD, 0x6, 0x8, 0xF, 0xD, 0x6, 0xC, 0x9,  //
    0x0, 0x2, 0xE, 0xD, 0xB, 0xA, 0xE, 0x2,  //
    0x2, 0x9, 0xC, 0x3, 0x9, 0x8, 0xA, 0xB,  //
    0xC, 0xB, 0x3, 0x5, 0x3, 0xD, 0x8, 0xF,  //
};

// Box K(n) (n = 1..8) at input v, read back out of the row layout.
constexpr uint8_t box(unsigned n, unsigned v) {
    return kCryptoProSbox[8 * v + 8 - n];
}

constexpr bool box_is(unsigned n, std::array<uint8_t, 16> want) {
    for (unsigned v = 0; v < 16; v++)
        if (box(n, v) != want[v]) return false;
    return true;
}

static_assert(box_is(1, {10, 4, 5, 6, 8, 1, 3, 7, 13, 12, 14, 0, 9, 2, 11, 15}));
static_assert(box_is(8, {1, 3, 10, 9, 5, 11, 4, 15, 8, 6, 7, 14, 13, 0, 2, 12}));

constexpr std::array<uint32_t, G28147_KEXT_WORDS> expand(const uint8_t *sbox) {
    std::array<uint32_t, G28147_KEXT_WORDS> t{};
    for (unsigned i = 0; i < 4; i++)
        for (unsigned v = 0; v < 256; v++) t[256 * i + v] = kext_entry(sbox, i, v);
    return t;
}

constexpr auto kCryptoProTable = expand(kCryptoProSbox);

constexpr uint32_t rotl11(uint32_t x) {
    return x << 11 | x >> 21;
}

// Entry 0 of each table holds two boxes at input 0 (K8 K7 = 1 D in the top
// lane, ..., K2 K1 = 5 A in the bottom one); the last entry of T3 holds
// K2(15) K1(15) = 8 F.
static_assert(kCryptoProTable[0] == rotl11(0x1Du << 24));
static_assert(kCryptoProTable[256] == rotl11(0x77u << 16));
static_assert(kCryptoProTable[512] == rotl11(0x47u << 8));
static_assert(kCryptoProTable[768] == rotl11(0x5Au));
static_assert(kCryptoProTable[1023] == rotl11(0x8Fu));

// Every entry has exactly one byte lane in use before the rotation.
constexpr bool single_lane(const std::array<uint32_t, G28147_KEXT_WORDS> &t) {
    for (unsigned i = 0; i < 4; i++)
        for (unsigned v = 0; v < 256; v++) {
            const uint32_t x = t[256 * i + v];
            const uint32_t unrotated = x >> 11 | x << 21;
            if ((unrotated & ~(0xFFu << (8 * (3 - i)))) != 0) return false;
        }
    return true;
}
static_assert(single_lane(kCryptoProTable));

}  // namespace
}  // namespace lncext::gost

extern "C" LNCEXT_API const uint8_t OrderEncr[32] = {
    LNCEXT_ELEMS_32(lncext::gost::kOrderEncrypt, 0)};
extern "C" LNCEXT_API const uint8_t OrderDecr[32] = {
    LNCEXT_ELEMS_32(lncext::gost::kOrderDecrypt, 0)};
extern "C" LNCEXT_API const uint8_t OrderEnc[32] = {
    LNCEXT_ELEMS_32(lncext::gost::kOrderEncrypt, 0)};
extern "C" LNCEXT_API const uint8_t OrderDec[32] = {
    LNCEXT_ELEMS_32(lncext::gost::kOrderDecrypt, 0)};

extern "C" LNCEXT_API const uint32_t CryptoPro_uz[G28147_KEXT_WORDS] = {
    LNCEXT_ELEMS_1024(lncext::gost::kCryptoProTable, 0)};

extern "C" LNCEXT_API const uint32_t CryptoPro_iv[8] = {0, 0, 0, 0, 0, 0, 0, 0};

extern "C" {

LNCEXT_API uint32_t *g28147_make_kext(uint32_t *kext_out, const uint8_t *sbox) {
    for (unsigned i = 0; i < 128; i++)
        if (sbox[i] > 15) return nullptr;
    for (unsigned i = 0; i < 4; i++)
        for (unsigned v = 0; v < 256; v++)
            kext_out[256 * i + v] = lncext::gost::kext_entry(sbox, i, v);
    return kext_out;
}

LNCEXT_API void g28147_32Steps(uint32_t in_n1, uint32_t in_n2, const uint32_t *keys,
                               const uint32_t *kext, uint32_t *out_n1, uint32_t *out_n2) {
    lncext::gost::crypt32(in_n1, in_n2, keys, kext);
    *out_n1 = in_n1;
    *out_n2 = in_n2;
}

LNCEXT_API void g28147_16Steps(uint32_t in_n1, uint32_t in_n2, const uint32_t *keys,
                               const uint32_t *kext, uint32_t *out_n1, uint32_t *out_n2) {
    lncext::gost::mac16(in_n1, in_n2, keys, kext);
    *out_n1 = in_n1;
    *out_n2 = in_n2;
}

}  // extern "C"
