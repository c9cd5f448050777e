// Every public header compiles as C++ with the project's warnings, the
// records have the field order and offsets the C side is promised (the only
// padding is before a pointer), and the size macros agree with the records
// and tables they describe.
#include "lncext/lncext.h"

#include <cstddef>

namespace {

constexpr std::size_t kPtr = sizeof(void *);
// The offset of a pointer field that follows `end` bytes of 32-bit fields.
constexpr std::size_t ptr_at(std::size_t end) {
    return (end + alignof(void *) - 1) / alignof(void *) * alignof(void *);
}
// The size of a record whose fields end at `end`, given its largest alignment.
constexpr std::size_t rounded(std::size_t end, std::size_t align) {
    return (end + align - 1) / align * align;
}

// Every GOST 28147-89 context starts with the g28147_ctx fields.
template <class Ctx>
constexpr bool starts_like_g28147_ctx() {
    return offsetof(Ctx, N1) == 0 && offsetof(Ctx, N2) == 4 && offsetof(Ctx, keys) == 8 &&
           sizeof(Ctx::keys) == 4 * G28147_ROUND_KEYS &&
           offsetof(Ctx, kext) == ptr_at(8 + 4 * G28147_ROUND_KEYS);
}
constexpr std::size_t kGostEnd = ptr_at(8 + 4 * G28147_ROUND_KEYS) + kPtr;

static_assert(starts_like_g28147_ctx<g28147_ctx>() && sizeof(g28147_ctx) == kGostEnd);
static_assert(starts_like_g28147_ctx<g28147_ecb_ctx>() && sizeof(g28147_ecb_ctx) == kGostEnd);
static_assert(starts_like_g28147_ctx<g28147_cfb_ctx>() &&
              offsetof(g28147_cfb_ctx, mode) == kGostEnd &&
              sizeof(g28147_cfb_ctx) == rounded(kGostEnd + 4, kPtr));
static_assert(starts_like_g28147_ctx<g28147_ofb_ctx>() &&
              offsetof(g28147_ofb_ctx, gamma) == kGostEnd &&
              offsetof(g28147_ofb_ctx, pos) == kGostEnd + G28147_BLOCK_BYTES &&
              sizeof(g28147_ofb_ctx) == rounded(kGostEnd + G28147_BLOCK_BYTES + 4, kPtr));
static_assert(starts_like_g28147_ctx<g28147_hmac_ctx>() &&
              offsetof(g28147_hmac_ctx, buffer) == kGostEnd &&
              sizeof(g28147_hmac_ctx::buffer) == G28147_BLOCK_BYTES &&
              offsetof(g28147_hmac_ctx, buffered) == kGostEnd + G28147_BLOCK_BYTES &&
              offsetof(g28147_hmac_ctx, absorbed) == kGostEnd + G28147_BLOCK_BYTES + 4 &&
              sizeof(g28147_hmac_ctx) == rounded(kGostEnd + G28147_BLOCK_BYTES + 8, kPtr));
static_assert(G28147_KEY_BYTES == 4 * G28147_KEY_WORDS && G28147_MAC_BYTES == sizeof(uint32_t) &&
              sizeof CryptoPro_uz == 4 * G28147_KEXT_WORDS &&
              sizeof OrderEncr == G28147_ROUND_KEYS &&
              sizeof CryptoPro_iv == GR341194_DIGEST_BYTES);

static_assert(offsetof(gr341194_md_ctx, buffer) == 0 &&
              sizeof(gr341194_md_ctx::buffer) == GR341194_BLOCK_BYTES &&
              offsetof(gr341194_md_ctx, buffered) == 32 && offsetof(gr341194_md_ctx, H) == 36 &&
              sizeof(gr341194_md_ctx::H) == GR341194_DIGEST_BYTES &&
              offsetof(gr341194_md_ctx, L) == 68 && offsetof(gr341194_md_ctx, Sigma) == 100 &&
              offsetof(gr341194_md_ctx, kext) == ptr_at(132) &&
              sizeof(gr341194_md_ctx) == ptr_at(132) + kPtr);

static_assert(offsetof(streebog_ctx, N) == 0 && offsetof(streebog_ctx, h) == 64 &&
              sizeof(streebog_ctx::h) == STREEBOG512_BYTES &&
              offsetof(streebog_ctx, Sigma) == 128 && offsetof(streebog_ctx, buffer) == 192 &&
              sizeof(streebog_ctx::buffer) == STREEBOG_BLOCK_BYTES &&
              offsetof(streebog_ctx, buffered) == 256 && sizeof(streebog_ctx) == 260);
static_assert(STREEBOG256_BYTES * 2 == STREEBOG512_BYTES &&
              sizeof streebog256iv == STREEBOG512_BYTES && sizeof streebog_c == 12 * 64);

static_assert(offsetof(kuzn_ecb_ctx, keys) == 0 &&
              sizeof(kuzn_ecb_ctx::keys) == KUZN_ROUND_KEYS_BYTES &&
              offsetof(kuzn_ecb_ctx, mode) == KUZN_ROUND_KEYS_BYTES && sizeof(kuzn_ecb_ctx) == 164);
static_assert(offsetof(kuzn_ctr_ctx, keys) == 0 &&
              sizeof(kuzn_ctr_ctx::keys) == KUZN_ROUND_KEYS_BYTES &&
              offsetof(kuzn_ctr_ctx, counter) == KUZN_ROUND_KEYS_BYTES &&
              offsetof(kuzn_ctr_ctx, keystream) == 176 && offsetof(kuzn_ctr_ctx, pos) == 192 &&
              sizeof(kuzn_ctr_ctx) == 196);
static_assert(KUZN_ROUND_KEYS_BYTES == KUZN_ROUND_KEYS * KUZN_BLOCK_BYTES &&
              KUZN_KEY_BYTES == 2 * KUZN_BLOCK_BYTES);

// The limits of the big numbers fit one another: the byte readers fill a
// standard number, a Montgomery product of the largest modulus (2 m[0] + 1
// digits) and a dividend after its normalising shift stay in one.
static_assert(LNMBIG_WORDS == LNMBIG_MAX_DIGITS + 1 && LNMBIG_MAX_BYTES == 4 * LNMBIG_MAX_DIGITS &&
              2 * LNM_MONT_MAX_DIGITS + 2 <= LNMBIG_WORDS &&
              LNM_DIV_MAX_DIGITS + 2 == LNMBIG_MAX_DIGITS);
static_assert(LNM_MONTIC_TABLE_WORDS(LNM_POW_WINDOW_BITS, 8) == 16 * 9 &&
              LNM_MONTIC_TABLE_WORDS(1, 8) == 2 * 9 && LNM_POWMOD_TABLE_WORDS == 18 * LNMBIG_WORDS);

// RSA: the key-generation context is five 33-word numbers and the size; the
// base pool a pointer, 256 bytes and a position (66 words on i386).
static_assert(offsetof(rsa_keygen_ctx, p) == 0 &&
              offsetof(rsa_keygen_ctx, q) == 4 * RSA_PRIME_WORDS &&
              offsetof(rsa_keygen_ctx, dP) == 8 * RSA_PRIME_WORDS &&
              offsetof(rsa_keygen_ctx, dQ) == 12 * RSA_PRIME_WORDS &&
              offsetof(rsa_keygen_ctx, qInv) == 16 * RSA_PRIME_WORDS &&
              offsetof(rsa_keygen_ctx, bits) == 20 * RSA_PRIME_WORDS &&
              sizeof(rsa_keygen_ctx) == 20 * RSA_PRIME_WORDS + 4);
static_assert(offsetof(rsa_keygen_rp_ctx, n) == 0 && offsetof(rsa_keygen_rp_ctx, pool) == kPtr &&
              offsetof(rsa_keygen_rp_ctx, pos) == kPtr + 256 &&
              sizeof(rsa_keygen_rp_ctx) == rounded(kPtr + 260, kPtr));
static_assert(RSA_PUBKEY_BYTES(2048) == 263 && RSA_PRIVKEY_BYTES(2048) == 650 &&
              RSA_PUBKEY_MAX_BYTES == 263 && RSA_PRIVKEY_MAX_BYTES == 650 &&
              LNMSI_SIGN == LNMSI_WORDS - 1 && LNMSI_WORDS == 130 &&
              RSA_PRIV_RECORD_MAX * 2 == RSA_PUB_RECORD_MAX);

}  // namespace
