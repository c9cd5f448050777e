/*
 * lncext GOST 28147-89: the 64-bit block cipher with a caller-chosen S-box,
 * its ECB, CFB and gamma (counter) modes and its 32-bit MAC.
 *
 * Keys are eight 32-bit words K1..K8 and initial values two words, in host
 * order: on the little-endian machines the library targets, a 32-byte key is
 * read as eight little-endian words. Data blocks are 8 bytes, read as two
 * little-endian words N1 (bytes 0..3) and N2 (bytes 4..7).
 *
 * Every initialiser takes an expanded S-box table (1024 words, built by
 * g28147_make_kext or the ready-made CryptoPro_uz) and keeps a pointer to it:
 * the table must outlive the context. Input and output buffers may be the
 * same in every mode.
 */
#ifndef LNCEXT_GOST28147_H
#define LNCEXT_GOST28147_H

#include <stdint.h>

#include "lncext/export.h"

/* Words of an expanded S-box table. */
#define G28147_KEXT_WORDS 1024

LNCEXT_BEGIN_DECLS

/* The fields every mode context starts with. */
typedef struct g28147_ctx {
    uint32_t N1;          /* register, first word */
    uint32_t N2;          /* register, second word */
    uint32_t keys[32];    /* round keys in round order */
    const uint32_t *kext; /* expanded S-box table, not owned */
} g28147_ctx;

typedef struct g28147_ecb_ctx {
    uint32_t N1;
    uint32_t N2;
    uint32_t keys[32];
    const uint32_t *kext;
} g28147_ecb_ctx;

typedef struct g28147_cfb_ctx {
    uint32_t N1; /* feedback register */
    uint32_t N2;
    uint32_t keys[32];
    const uint32_t *kext;
    uint32_t mode; /* 1 encrypt, anything else decrypt */
} g28147_cfb_ctx;

typedef struct g28147_ofb_ctx {
    uint32_t N1; /* counter register */
    uint32_t N2;
    uint32_t keys[32];
    const uint32_t *kext;
    uint32_t gamma[2]; /* current keystream block */
    uint32_t pos;      /* next keystream byte, 8 = used up */
} g28147_ofb_ctx;

typedef struct g28147_hmac_ctx {
    uint32_t N1; /* MAC state */
    uint32_t N2;
    uint32_t keys[32];
    const uint32_t *kext;
    uint8_t buffer[8]; /* incomplete block */
    uint32_t buffered; /* bytes in buffer, 0..7 */
    uint32_t absorbed; /* bytes absorbed, saturating at 10 */
} g28147_hmac_ctx;

/* Key-word order of the 32 rounds: entry i is the index (0..7) of the key
 * word used in round i. */
LNCEXT_API extern const uint8_t OrderEncr[32];
LNCEXT_API extern const uint8_t OrderDecr[32];
LNCEXT_API extern const uint8_t OrderEnc[32];
LNCEXT_API extern const uint8_t OrderDec[32];

/* Expanded S-box table of the CryptoPro GOST R 34.11-94 parameter set, and
 * the zero starting value of the hash that goes with it. */
LNCEXT_API extern const uint32_t CryptoPro_uz[G28147_KEXT_WORDS];
LNCEXT_API extern const uint32_t CryptoPro_iv[8];

/* Expands a 128-byte S-box (16 rows of 8 bytes; byte 8v + c is box K(8 - c)
 * at input v) into kext_out. Returns kext_out, or NULL without writing
 * anything when a byte is above 15. */
LNCEXT_API uint32_t *g28147_make_kext(uint32_t *kext_out, const uint8_t *sbox);

/* The 32-round cycle (encryption with OrderEncr keys, decryption with
 * OrderDecr keys) and the 16-round cycle of the MAC. out_n1 and out_n2 may
 * point at the words the inputs came from. */
LNCEXT_API void g28147_32Steps(uint32_t in_n1, uint32_t in_n2, const uint32_t *keys,
                               const uint32_t *kext, uint32_t *out_n1, uint32_t *out_n2);
LNCEXT_API void g28147_16Steps(uint32_t in_n1, uint32_t in_n2, const uint32_t *keys,
                               const uint32_t *kext, uint32_t *out_n1, uint32_t *out_n2);

/* ECB: mode 1 encrypts, anything else decrypts. Update transforms the
 * len / 8 whole blocks and neither reads nor writes the trailing bytes. */
LNCEXT_API void g28147_ecb_init_ext(g28147_ecb_ctx *ctx, int mode, const uint32_t *key,
                                    const uint32_t *kext);
LNCEXT_API void g28147_ecb_update(const g28147_ecb_ctx *ctx, const void *in, void *out,
                                  uint32_t len);

/* CFB with 64-bit feedback: mode 1 encrypts, anything else decrypts. A call
 * whose length is not a multiple of 8 ends the message: it processes the tail
 * but leaves the stored register as it was when the call began. */
LNCEXT_API void g28147_cfb_init_ext(g28147_cfb_ctx *ctx, int mode, const uint32_t *key,
                                    const uint32_t *iv, const uint32_t *kext);
LNCEXT_API void g28147_cfb_update(g28147_cfb_ctx *ctx, const void *in, void *out, uint32_t len);
LNCEXT_API void g28147_cfb_enc_update_blocks(g28147_cfb_ctx *ctx, const void *in, void *out,
                                             uint32_t len);
LNCEXT_API void g28147_cfb_dec_update_blocks(g28147_cfb_ctx *ctx, const void *in, void *out,
                                             uint32_t len);

/* Gamma (counter) mode: the same call encrypts and decrypts; any lengths,
 * the keystream position carries across calls. */
LNCEXT_API void g28147_ofb_init_ext(g28147_ofb_ctx *ctx, const uint32_t *key, const uint32_t *iv,
                                    const uint32_t *kext);
LNCEXT_API void g28147_ofb_update(g28147_ofb_ctx *ctx, const void *in, void *out, uint32_t len);

/* 32-bit MAC (imitovstavka). Messages of 8 bytes or fewer have no MAC: both
 * finals fail (NULL, 0). The finals do not reset the context. */
LNCEXT_API void g28147_hmac_init_ext(g28147_hmac_ctx *ctx, const uint32_t *key,
                                     const uint32_t *kext);
LNCEXT_API void g28147_hmac_update(g28147_hmac_ctx *ctx, const void *data, uint32_t len);
/* Absorbs len bytes straight from data, a trailing partial block zero-padded. */
LNCEXT_API void g28147_hmac_updblocks(g28147_hmac_ctx *ctx, const void *data, uint32_t len);
/* Writes the MAC to *mac and returns mac, or returns NULL. */
LNCEXT_API uint32_t *g28147_hmac_final(g28147_hmac_ctx *ctx, uint32_t *mac);
/* 1 when the MAC exists and equals *mac, else 0. */
LNCEXT_API int g28147_hmac_final_verify(g28147_hmac_ctx *ctx, const uint32_t *mac);

LNCEXT_END_DECLS

#endif
