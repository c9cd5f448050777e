/*
 * lncext GOST R 34.12-2015 128-bit block cipher ("kuzn"), ECB and CTR.
 *
 * Blocks are 16 bytes and keys 32 bytes, byte 0 most significant: the hex
 * strings of the standard are the bytes in memory order. The key is typed as
 * eight words but only copied, so its byte order is that of memory.
 */
#ifndef LNCEXT_KUZNYECHIK_H
#define LNCEXT_KUZNYECHIK_H

#include <stdint.h>

#include "lncext/export.h"

LNCEXT_BEGIN_DECLS

typedef struct kuzn_ecb_ctx {
    uint8_t keys[10][16]; /* round keys K1..K10 */
    uint32_t mode;        /* 1 encrypt, anything else decrypt */
} kuzn_ecb_ctx;

typedef struct kuzn_ctr_ctx {
    uint8_t keys[10][16];  /* round keys K1..K10 */
    uint32_t counter[4];   /* 128-bit counter, word 0 least significant */
    uint8_t keystream[16]; /* current encrypted counter block */
    uint32_t pos;          /* next keystream byte, 16 = used up */
} kuzn_ctr_ctx;

/* The substitution pi, its inverse, and products by the constants of the
 * linear map in GF(2^8) modulo x^8 + x^7 + x^6 + x + 1. */
LNCEXT_API extern const uint8_t kuz_pi[256];
LNCEXT_API extern const uint8_t kuz_pi_inv[256];
LNCEXT_API extern const uint8_t tab_0x94[256];
LNCEXT_API extern const uint8_t tab_0x20[256];
LNCEXT_API extern const uint8_t tab_0x85[256];
LNCEXT_API extern const uint8_t tab_0x10[256];
LNCEXT_API extern const uint8_t tab_0xC2[256];
LNCEXT_API extern const uint8_t tab_0xC0[256];
LNCEXT_API extern const uint8_t tab_0x01[256];
LNCEXT_API extern const uint8_t tab_0xFB[256];

/* Writes the ten round keys of the 32-byte key into the first 160 bytes of
 * ctx (a kuzn_ecb_ctx or a kuzn_ctr_ctx). */
LNCEXT_API void kuzn_setup_keys(void *ctx, const uint32_t *key);
/* Encrypts 16 bytes in place with the ten round keys at round_keys. */
LNCEXT_API void kuzn_block_enc(uint8_t *block, const uint8_t *round_keys);

/* ECB: mode 1 encrypts, anything else decrypts. Update transforms the
 * len / 16 whole blocks and neither reads nor writes the trailing bytes. */
LNCEXT_API void kuzn_ecb_init(kuzn_ecb_ctx *ctx, int mode, const uint32_t *key);
LNCEXT_API void kuzn_ecb_update(const kuzn_ecb_ctx *ctx, const void *in, void *out, uint32_t len);

/* CTR with a 64-bit IV (counter = IV || 0^64): any lengths, the keystream
 * position carries across calls; encryption and decryption are one call. */
LNCEXT_API void kuzn_ctr_init(kuzn_ctr_ctx *ctx, const uint8_t *iv, const uint32_t *key);
LNCEXT_API void kuzn_ctr_update(kuzn_ctr_ctx *ctx, const void *in, void *out, uint32_t len);

LNCEXT_END_DECLS

#endif
