/*
 * lncext GOST R 34.11-94: the 256-bit hash built on GOST 28147-89, with a
 * caller-chosen expanded S-box table and starting value (CryptoPro_uz and
 * CryptoPro_iv of lncext/gost28147.h give the CryptoPro parameter set).
 *
 * 256-bit values are 32-byte strings, byte 0 least significant; the hash is
 * written in that order. Calling order: init, any number of updates, one
 * final. The context keeps a pointer to the table, which must outlive it, and
 * is for one thread at a time. Nothing is checked and nothing is reported.
 */
#ifndef LNCEXT_GOSTR341194_H
#define LNCEXT_GOSTR341194_H

#include <stdint.h>

#include "lncext/export.h"

#define GR341194_DIGEST_BYTES 32 /* the hash */
#define GR341194_BLOCK_BYTES 32  /* message block, and every 256-bit value */

LNCEXT_BEGIN_DECLS

typedef struct gr341194_md_ctx {
    uint8_t buffer[GR341194_BLOCK_BYTES]; /* incomplete block */
    uint32_t buffered;                    /* bytes in buffer, 0..31 */
    uint32_t H[8];                        /* chaining value */
    uint8_t L[32];                        /* message length in bits */
    uint8_t Sigma[32];                    /* sum of the message blocks mod 2^256 */
    const uint32_t *kext;                 /* expanded S-box table, not owned */
} gr341194_md_ctx;

/* Zeroes ctx, then starts a hash from the 256-bit value at start (eight
 * words outside ctx, e.g. CryptoPro_iv) with the expanded S-box table kext.
 * Returns ctx. */
LNCEXT_API gr341194_md_ctx *gr341194_md_init_ext(gr341194_md_ctx *ctx, const uint32_t *start,
                                                 const uint32_t *kext);
/* Absorbs len bytes of any length; NULL data or a zero length does nothing. */
LNCEXT_API void gr341194_md_update(gr341194_md_ctx *ctx, const void *data, uint32_t len);
/* Finishes and writes the GR341194_DIGEST_BYTES hash to out (not inside ctx);
 * returns out. Call once: final does not reset ctx, and a second call hashes
 * the length and checksum again, giving another value. Re-initialise for the
 * next message. */
LNCEXT_API uint8_t *gr341194_md_final(gr341194_md_ctx *ctx, uint8_t *out);

/* Building blocks, on 32-byte values. */
/* Absorbs whole blocks straight from data (H, L and Sigma; not the buffer);
 * len must be a multiple of 32. */
LNCEXT_API void gr341194_md_updblocks(gr341194_md_ctx *ctx, const void *data, uint32_t len);
/* H = step(H, block); L and Sigma are not touched. */
LNCEXT_API void gr341194_md_x(gr341194_md_ctx *ctx, const uint8_t *block);
/* y = A(y), in place; returns y. */
LNCEXT_API uint8_t *gr341194_md_a(uint8_t *y);
/* out = P(in); out and in distinct. */
LNCEXT_API void gr341194_md_p(uint8_t *out, const uint8_t *in);
/* y = psi^n(y), in place (n = 0 leaves y). */
LNCEXT_API void gr341194_md_psi(uint8_t *y, uint32_t n);
/* out = psi^61(h ^ psi(m ^ psi^12(s))); out distinct from the inputs. */
LNCEXT_API void gr341194_md_mix(uint8_t *out, const uint8_t *h, const uint8_t *m, const uint8_t *s);
/* a = a + b mod 2^256. */
LNCEXT_API void gr341194_md_add256(uint8_t *a, const uint8_t *b);
/* a = a + v mod 2^256. */
LNCEXT_API void gr341194_md_add32(uint8_t *a, uint32_t v);
/* dst[i] = a[i] ^ b[i] for i < n; dst may be a or b. */
LNCEXT_API void gr341194_md_mem_xor(uint8_t *dst, const uint8_t *a, const uint8_t *b, uint32_t n);

LNCEXT_END_DECLS

#endif
