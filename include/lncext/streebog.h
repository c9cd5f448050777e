/*
 * lncext Streebog (GOST R 34.11-2012), 512- and 256-bit.
 *
 * 512-bit values are 64-byte strings, byte 0 least significant; digests are
 * written in that order. Calling order: init (512 or 256), any number of
 * updates, one final; note the argument order of the finals, output first.
 * A context is for one thread at a time; nothing is checked or reported.
 */
#ifndef LNCEXT_STREEBOG_H
#define LNCEXT_STREEBOG_H

#include <stdint.h>

#include "lncext/export.h"

#define STREEBOG512_BYTES 64    /* 512-bit digest */
#define STREEBOG256_BYTES 32    /* 256-bit digest */
#define STREEBOG_BLOCK_BYTES 64 /* message block, and every 512-bit value */

LNCEXT_BEGIN_DECLS

typedef struct streebog_ctx {
    uint32_t N[16];                       /* bits processed, least significant word first */
    uint8_t h[STREEBOG_BLOCK_BYTES];      /* chaining value */
    uint32_t Sigma[16];                   /* sum of the blocks mod 2^512 */
    uint8_t buffer[STREEBOG_BLOCK_BYTES]; /* incomplete block */
    uint32_t buffered;                    /* bytes in buffer, 0..63 */
} streebog_ctx;

/* Iteration constants C1..C12, least significant byte first. */
LNCEXT_API extern const uint8_t streebog_c[12][STREEBOG_BLOCK_BYTES];
/* Combined LPS table: entry [i][b] is a 64-bit lane as two words, low first. */
LNCEXT_API extern const uint32_t streebog_lp32[8][256][2];
/* Starting value of the 256-bit hash (all bytes 0x01). */
LNCEXT_API extern const uint8_t streebog256iv[STREEBOG_BLOCK_BYTES];
/* 64 zero bytes. */
LNCEXT_API extern const uint8_t streebog_zero[STREEBOG_BLOCK_BYTES];

/* Zero ctx and load the starting value; return ctx. */
LNCEXT_API streebog_ctx *streebog512_init(streebog_ctx *ctx);
LNCEXT_API streebog_ctx *streebog256_init(streebog_ctx *ctx);
/* Absorb len bytes of any length (one function under two names); a zero
 * length does nothing. */
LNCEXT_API void streebog512_update(streebog_ctx *ctx, const void *data, uint32_t len);
LNCEXT_API void streebog256_update(streebog_ctx *ctx, const void *data, uint32_t len);
/* Finish and write STREEBOG512_BYTES to out (not inside ctx). The 256-bit
 * final writes STREEBOG256_BYTES, the most significant half of the 512-bit
 * chaining value; either final may end either init. Call once: a final does
 * not reset ctx, and a second call hashes the padding again, giving another
 * value. Re-initialise for the next message. */
LNCEXT_API void streebog512_final(uint8_t *out, streebog_ctx *ctx);
LNCEXT_API void streebog256_final(uint8_t *out, streebog_ctx *ctx);

/* Building blocks, on 64-byte values. */
/* Absorbs the len / 64 whole blocks of data; ignores the rest and leaves
 * the buffer alone. */
LNCEXT_API void streebog512_update_blocks(streebog_ctx *ctx, const void *data, uint32_t len);
/* h = gN(h, block); N += bits; Sigma += block. */
LNCEXT_API void streebog_update_block(streebog_ctx *ctx, const uint8_t *block, uint32_t bits);
/* Compression function: h = gN(h, m) with the 64-byte counter n, in place;
 * the inputs are read in full first, so m or n may be h. */
LNCEXT_API void streebog_gN(uint8_t *h, const uint8_t *m, const uint8_t *n);
/* out = LPS(a ^ b); out may be a or b. */
LNCEXT_API void streebog_lpsx32(uint8_t *out, const uint8_t *a, const uint8_t *b);
/* Writes 16 words as 64 little-endian bytes. */
LNCEXT_API void streebog_put_block(uint8_t *out, const uint32_t *words);
/* n (16 words) += v mod 2^512. */
LNCEXT_API void streebog_add(uint32_t *n, uint32_t v);
/* sigma (16 words) += m (64 little-endian bytes) mod 2^512. */
LNCEXT_API void streebog_add512(uint32_t *sigma, const uint8_t *m);

LNCEXT_END_DECLS

#endif
