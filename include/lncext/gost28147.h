/*
 * lncext GOST 28147-89: the 64-bit block cipher with a caller-chosen S-box,
 * its ECB, CFB and gamma (counter) modes and its 32-bit MAC.
 *
 * Keys are G28147_KEY_WORDS 32-bit words K1..K8 and initial values
 * G28147_IV_WORDS words, in host order: on the little-endian machines the
 * library targets, a G28147_KEY_BYTES key is read as eight little-endian
 * words. Data blocks are G28147_BLOCK_BYTES, read as two little-endian words
 * N1 (bytes 0..3) and N2 (bytes 4..7).
 *
 * Every initialiser zeroes its context before it reads key and iv (so they
 * must not lie in it), then fills it. It takes an expanded S-box table
 * (G28147_KEXT_WORDS words, built by g28147_make_kext or the ready-made
 * CryptoPro_uz) and keeps a pointer to it: the table must outlive the
 * context. Input and output may be the same buffer in every mode (but not
 * otherwise overlap). Nothing is checked and nothing is reported, except by
 * g28147_make_kext and the MAC finals, whose results must be checked.
 *
 * Contexts hold key material and are for one thread at a time; tables are
 * read-only and may be shared.
 */
#ifndef LNCEXT_GOST28147_H
#define LNCEXT_GOST28147_H

#include <stdint.h>

#include "lncext/export.h"

#define G28147_KEY_BYTES 32    /* key ... */
#define G28147_KEY_WORDS 8     /* ... as words K1..K8 */
#define G28147_IV_WORDS 2      /* initial value of CFB and gamma mode: 8 bytes */
#define G28147_BLOCK_BYTES 8   /* one block: words N1, N2 */
#define G28147_MAC_BYTES 4     /* the MAC is one 32-bit word */
#define G28147_SBOX_BYTES 128  /* S-box input of g28147_make_kext */
#define G28147_KEXT_WORDS 1024 /* expanded S-box table (4096 bytes) */
#define G28147_ROUND_KEYS 32   /* round keys of a context, in round order */

LNCEXT_BEGIN_DECLS

/* The fields every mode context starts with. */
typedef struct g28147_ctx {
    uint32_t N1;                      /* register, first word */
    uint32_t N2;                      /* register, second word */
    uint32_t keys[G28147_ROUND_KEYS]; /* round keys in round order */
    const uint32_t *kext;             /* expanded S-box table, not owned */
} g28147_ctx;

typedef struct g28147_ecb_ctx {
    uint32_t N1; /* unused, zero */
    uint32_t N2;
    uint32_t keys[G28147_ROUND_KEYS];
    const uint32_t *kext;
} g28147_ecb_ctx;

typedef struct g28147_cfb_ctx {
    uint32_t N1; /* feedback register */
    uint32_t N2;
    uint32_t keys[G28147_ROUND_KEYS];
    const uint32_t *kext;
    uint32_t mode; /* 1 encrypt, anything else decrypt */
} g28147_cfb_ctx;

typedef struct g28147_ofb_ctx {
    uint32_t N1; /* counter register */
    uint32_t N2;
    uint32_t keys[G28147_ROUND_KEYS];
    const uint32_t *kext;
    uint32_t gamma[2]; /* current keystream block */
    uint32_t pos;      /* next keystream byte, 8 = used up */
} g28147_ofb_ctx;

typedef struct g28147_hmac_ctx {
    uint32_t N1; /* MAC state */
    uint32_t N2;
    uint32_t keys[G28147_ROUND_KEYS];
    const uint32_t *kext;
    uint8_t buffer[G28147_BLOCK_BYTES]; /* incomplete block */
    uint32_t buffered;                  /* bytes in buffer, 0..7 */
    uint32_t absorbed;                  /* bytes absorbed, saturating at 10 */
} g28147_hmac_ctx;

/* Key-word order of the 32 rounds: entry i is the index (0..7) of the key
 * word used in round i. Encr/Enc: K1..K8 three times, then K8..K1; Decr/Dec
 * the reverse. */
LNCEXT_API extern const uint8_t OrderEncr[G28147_ROUND_KEYS];
LNCEXT_API extern const uint8_t OrderDecr[G28147_ROUND_KEYS];
LNCEXT_API extern const uint8_t OrderEnc[G28147_ROUND_KEYS];
LNCEXT_API extern const uint8_t OrderDec[G28147_ROUND_KEYS];

/* Expanded S-box table of the CryptoPro GOST R 34.11-94 parameter set, and
 * the zero starting value of the hash that goes with it. */
LNCEXT_API extern const uint32_t CryptoPro_uz[G28147_KEXT_WORDS];
LNCEXT_API extern const uint32_t CryptoPro_iv[8];

/* Expands a G28147_SBOX_BYTES S-box (16 rows of 8 bytes; byte 8v + c is box
 * K(8 - c) at input v) into the G28147_KEXT_WORDS words at kext_out.
 * Returns kext_out, or NULL, having written nothing, when a byte is above 15. */
LNCEXT_API LNCEXT_WARN_UNUSED uint32_t *g28147_make_kext(uint32_t *kext_out, const uint8_t *sbox);

/* The 32-round cycle over G28147_ROUND_KEYS round keys (encryption with keys
 * laid out by OrderEncr, decryption by OrderDecr) and the 16-round cycle of
 * the MAC (keys[0..15]), on the block (in_n1, in_n2).
 * The input halves are taken by value, so out_n1 and out_n2 may point at the
 * words they came from. */
LNCEXT_API void g28147_32Steps(uint32_t in_n1, uint32_t in_n2, const uint32_t *keys,
                               const uint32_t *kext, uint32_t *out_n1, uint32_t *out_n2);
LNCEXT_API void g28147_16Steps(uint32_t in_n1, uint32_t in_n2, const uint32_t *keys,
                               const uint32_t *kext, uint32_t *out_n1, uint32_t *out_n2);

/* ECB: mode 1 encrypts, anything else decrypts. Update transforms the
 * len / 8 whole blocks of in into out and neither reads nor writes the
 * trailing len % 8 bytes; ctx is not changed, so any number of calls may
 * follow one init. */
LNCEXT_API void g28147_ecb_init_ext(g28147_ecb_ctx *ctx, int mode, const uint32_t *key,
                                    const uint32_t *kext);
LNCEXT_API void g28147_ecb_update(const g28147_ecb_ctx *ctx, const void *in, void *out,
                                  uint32_t len);

/* CFB with 64-bit feedback: mode 1 encrypts, anything else decrypts; the
 * register starts at iv. Update writes len bytes to out and keeps the
 * register in ctx for the next call. A call whose length is not a multiple of
 * 8 ends the message: it processes the tail but leaves the stored register as
 * it was when the call began. enc_update_blocks always encrypts and
 * dec_update_blocks always decrypts, whatever ctx->mode says. */
LNCEXT_API void g28147_cfb_init_ext(g28147_cfb_ctx *ctx, int mode, const uint32_t *key,
                                    const uint32_t *iv, const uint32_t *kext);
LNCEXT_API void g28147_cfb_update(g28147_cfb_ctx *ctx, const void *in, void *out, uint32_t len);
LNCEXT_API void g28147_cfb_enc_update_blocks(g28147_cfb_ctx *ctx, const void *in, void *out,
                                             uint32_t len);
LNCEXT_API void g28147_cfb_dec_update_blocks(g28147_cfb_ctx *ctx, const void *in, void *out,
                                             uint32_t len);

/* Gamma (counter) mode: the same call encrypts and decrypts len bytes of any
 * length into out; the counter and keystream position carry across calls.
 * Re-initialise for every message. */
LNCEXT_API void g28147_ofb_init_ext(g28147_ofb_ctx *ctx, const uint32_t *key, const uint32_t *iv,
                                    const uint32_t *kext);
LNCEXT_API void g28147_ofb_update(g28147_ofb_ctx *ctx, const void *in, void *out, uint32_t len);

/* 32-bit MAC (imitovstavka): init, any number of updates, then exactly one
 * final. Messages of 8 bytes or fewer have no MAC and both finals fail. The
 * finals do not reset ctx; a second final would absorb the tail again and
 * give another value. Re-initialise for every message. */
LNCEXT_API void g28147_hmac_init_ext(g28147_hmac_ctx *ctx, const uint32_t *key,
                                     const uint32_t *kext);
/* Absorbs len bytes of any length, buffering an incomplete block. */
LNCEXT_API void g28147_hmac_update(g28147_hmac_ctx *ctx, const void *data, uint32_t len);
/* Absorbs len bytes straight from data, bypassing the buffer; a trailing
 * partial block is zero-padded, so only the last call may have one. */
LNCEXT_API void g28147_hmac_updblocks(g28147_hmac_ctx *ctx, const void *data, uint32_t len);
/* Writes the MAC (one word, G28147_MAC_BYTES) to *mac and returns mac;
 * returns NULL, *mac unwritten, for a message of fewer than 9 bytes. */
LNCEXT_API LNCEXT_WARN_UNUSED uint32_t *g28147_hmac_final(g28147_hmac_ctx *ctx, uint32_t *mac);
/* 1 when the message has a MAC and it equals *mac; 0 for a mismatch and for
 * a message of fewer than 9 bytes alike. */
LNCEXT_API LNCEXT_WARN_UNUSED int g28147_hmac_final_verify(g28147_hmac_ctx *ctx,
                                                           const uint32_t *mac);

LNCEXT_END_DECLS

#endif
