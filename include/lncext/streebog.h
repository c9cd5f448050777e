/*
 * lncext Streebog (GOST R 34.11-2012), 512- and 256-bit.
 *
 * 512-bit values are 64-byte strings, byte 0 least significant; digests are
 * written in that order. Note the argument order of the finals: output first.
 */
#ifndef LNCEXT_STREEBOG_H
#define LNCEXT_STREEBOG_H

#include <stdint.h>

#include "lncext/export.h"

LNCEXT_BEGIN_DECLS

typedef struct streebog_ctx {
    uint32_t N[16];     /* bits processed, least significant word first */
    uint8_t h[64];      /* chaining value */
    uint32_t Sigma[16]; /* sum of the blocks mod 2^512 */
    uint8_t buffer[64]; /* incomplete block */
    uint32_t buffered;  /* bytes in buffer, 0..63 */
} streebog_ctx;

/* Iteration constants C1..C12, least significant byte first. */
LNCEXT_API extern const uint8_t streebog_c[12][64];
/* Combined LPS table: entry [i][b] is a 64-bit lane as two words, low first. */
LNCEXT_API extern const uint32_t streebog_lp32[8][256][2];
/* Starting value of the 256-bit hash (all bytes 0x01). */
LNCEXT_API extern const uint8_t streebog256iv[64];
/* 64 zero bytes. */
LNCEXT_API extern const uint8_t streebog_zero[64];

LNCEXT_API streebog_ctx *streebog512_init(streebog_ctx *ctx);
LNCEXT_API streebog_ctx *streebog256_init(streebog_ctx *ctx);
LNCEXT_API void streebog512_update(streebog_ctx *ctx, const void *data, uint32_t len);
LNCEXT_API void streebog256_update(streebog_ctx *ctx, const void *data, uint32_t len);
/* out: 64 bytes. */
LNCEXT_API void streebog512_final(uint8_t *out, streebog_ctx *ctx);
/* out: 32 bytes, the most significant half of the 512-bit chaining value. */
LNCEXT_API void streebog256_final(uint8_t *out, streebog_ctx *ctx);

/* Building blocks. */
/* Absorbs the len / 64 whole blocks of data; ignores the rest. */
LNCEXT_API void streebog512_update_blocks(streebog_ctx *ctx, const void *data, uint32_t len);
/* h = gN(h, block); N += bits; Sigma += block. */
LNCEXT_API void streebog_update_block(streebog_ctx *ctx, const uint8_t *block, uint32_t bits);
/* Compression function: h = gN(h, m) with the 64-byte counter n. */
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
