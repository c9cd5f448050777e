/*
 * lncext GOST R 34.12-2015 128-bit block cipher ("kuzn"), ECB and CTR.
 *
 * Blocks are KUZN_BLOCK_BYTES and keys KUZN_KEY_BYTES, byte 0 most
 * significant: the hex strings of the standard are the bytes in memory order.
 * The key is typed as eight words but only copied, so its byte order is that
 * of memory.
 *
 * Initialisers read key and iv (which may lie in the context), zero the
 * context, then fill it. Input and output may be the same buffer in both
 * modes (but not otherwise overlap). Contexts hold key material and are for
 * one thread at a time; nothing is checked or reported.
 */
#ifndef LNCEXT_KUZNYECHIK_H
#define LNCEXT_KUZNYECHIK_H

#include <stdint.h>

#include "lncext/export.h"

#define KUZN_KEY_BYTES 32         /* key: 8 words in memory order */
#define KUZN_BLOCK_BYTES 16       /* one block */
#define KUZN_IV_BYTES 8           /* CTR initial value */
#define KUZN_ROUND_KEYS 10        /* round keys K1..K10 of KUZN_BLOCK_BYTES each */
#define KUZN_ROUND_KEYS_BYTES 160 /* what kuzn_setup_keys writes */

LNCEXT_BEGIN_DECLS

typedef struct kuzn_ecb_ctx {
    uint8_t keys[KUZN_ROUND_KEYS][KUZN_BLOCK_BYTES]; /* round keys K1..K10 */
    uint32_t mode;                                   /* 1 encrypt, anything else decrypt */
} kuzn_ecb_ctx;

typedef struct kuzn_ctr_ctx {
    uint8_t keys[KUZN_ROUND_KEYS][KUZN_BLOCK_BYTES]; /* round keys K1..K10 */
    uint32_t counter[4];                             /* 128-bit counter, word 0 least significant */
    uint8_t keystream[KUZN_BLOCK_BYTES];             /* current encrypted counter block */
    uint32_t pos;                                    /* next keystream byte, 16 = used up */
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

/* Writes the ten round keys of the KUZN_KEY_BYTES key into the first
 * KUZN_ROUND_KEYS_BYTES of ctx (a kuzn_ecb_ctx or a kuzn_ctr_ctx) and
 * touches nothing else; the key may itself lie in those bytes. */
LNCEXT_API void kuzn_setup_keys(void *ctx, const uint32_t *key);
/* Encrypts the KUZN_BLOCK_BYTES at block in place with the ten round keys at
 * round_keys (block outside them). */
LNCEXT_API void kuzn_block_enc(uint8_t *block, const uint8_t *round_keys);

/* ECB: mode 1 encrypts, anything else decrypts. Update transforms the
 * len / 16 whole blocks of in into out and neither reads nor writes the
 * trailing len % 16 bytes; ctx is not changed, so any number of calls may
 * follow one init. */
LNCEXT_API void kuzn_ecb_init(kuzn_ecb_ctx *ctx, int mode, const uint32_t *key);
LNCEXT_API void kuzn_ecb_update(const kuzn_ecb_ctx *ctx, const void *in, void *out, uint32_t len);

/* CTR with a KUZN_IV_BYTES initial value (counter = IV || 0^64): the same
 * call encrypts and decrypts len bytes of any length into out; the keystream
 * position carries across calls. Re-initialise for every message. */
LNCEXT_API void kuzn_ctr_init(kuzn_ctr_ctx *ctx, const uint8_t *iv, const uint32_t *key);
LNCEXT_API void kuzn_ctr_update(kuzn_ctr_ctx *ctx, const void *in, void *out, uint32_t len);

LNCEXT_END_DECLS

#endif
