/*
 * lncext big numbers.
 *
 * A big number is an array of uint32_t: word 0 is the count n of digit words,
 * words 1..n the magnitude in base 2^32, least significant first. Results are
 * normalised (word n non-zero, zero has count 0). The standard storage is
 * LNMBIG_WORDS words (count plus up to 258 digits, 8256 bits).
 *
 * Destinations come first in two-operand in-place calls (lnmadd(a, b): a += b)
 * and last in three-operand calls (lnmmul(a, b, r)). Functions that produce a
 * number return their destination so that calls nest. Nothing is checked:
 * room in the destination, normalised inputs and distinct arrays where stated
 * are the caller's to guarantee.
 */
#ifndef LNCEXT_BIGNUM_H
#define LNCEXT_BIGNUM_H

#include <stdint.h>

#include "lncext/export.h"

/* Standard storage of one big number: count word plus 258 digit words. */
#define LNMBIG_WORDS 259
/* Largest count the shifts and the byte readers produce. */
#define LNMBIG_MAX_DIGITS 258

/* Table of lnmpowmontstart/lnmpowmontstop: 17 slots of LNMBIG_WORDS. */
#define LNM_POWMONT_TABLE_WORDS (17 * LNMBIG_WORDS)
/* Table of lnmpowmodstart/lnmpowmodstop/lnmpowmod: 18 slots. */
#define LNM_POWMOD_TABLE_WORDS (18 * LNMBIG_WORDS)
/* Compact table of lnmmontic/lnmicpowmont for width w and an n-word modulus. */
#define LNM_MONTIC_TABLE_WORDS(w, n) (((w) < 2 ? 2u : (1u << ((w)-1))) * ((uint32_t)(n) + 1u))

LNCEXT_BEGIN_DECLS

/* Read-only constants 0, 1, 2 and 3. Never pass them as the divisor of
 * lnmdiv, which shifts its divisor in place during the call. */
LNCEXT_API extern const uint32_t LNMBIG_ZERO[1];
LNCEXT_API extern const uint32_t LNMBIG_ONE[2];
LNCEXT_API extern const uint32_t LNMBIG_TWO[2];
LNCEXT_API extern const uint32_t LNMBIG_THREE[2];

/* ---- Normalisation, copying, construction ---- */

/* Drops zero top words from the count of a. */
LNCEXT_API uint32_t *lnmclip(uint32_t *a);
/* dst = src (src[0] + 1 words; overlapping arrays are allowed). */
LNCEXT_API uint32_t *lnmcopy(uint32_t *dst, const uint32_t *src);
/* r = v (two words of room). */
LNCEXT_API uint32_t *lnmconvert(uint32_t *r, uint32_t v);
/* r = the n 32-bit words that follow, most significant first (n <= 258).
 * Every word argument must be a 32-bit value: cast literals wider than int,
 * e.g. lnmvalueof32(r, 2, (uint32_t)0x1, (uint32_t)0xFFFFFFFF). */
LNCEXT_API uint32_t *lnmvalueof32(uint32_t *r, uint32_t n, ...);
/* As lnmvalueof32, with n a signed count from 0 to 258. */
LNCEXT_API uint32_t *lnmvalueof64(uint32_t *r, int n, ...);
/* Deprecated: prints a notice to standard output and returns x unchanged. */
LNCEXT_API uint32_t *lnmclear(uint32_t *x);

/* ---- Comparison and size ---- */

/* 1 if a > b, 0 if equal, -1 if a < b (normalised inputs). */
LNCEXT_API int lnmcmp(const uint32_t *a, const uint32_t *b);
/* Significant bits of a rounded up to whole units of `unit` bits (unit >= 1). */
LNCEXT_API unsigned int lnmbitlen(const uint32_t *a, unsigned int unit);

/* ---- Addition and subtraction, in place ---- */

/* a += b; room for max(a[0], b[0]) + 2 words; a == b is allowed. */
LNCEXT_API uint32_t *lnmadd(uint32_t *a, const uint32_t *b);
/* a -= b; requires a >= b. */
LNCEXT_API uint32_t *lnmsub(uint32_t *a, const uint32_t *b);
/* a += 2^k. */
LNCEXT_API uint32_t *lnmaddb2(uint32_t *a, uint32_t k);
/* a ^= b (addition of polynomials over GF(2)). */
LNCEXT_API uint32_t *lnmadd2m(uint32_t *a, const uint32_t *b);

/* ---- Powers of two ---- */

/* r = 2^k. */
LNCEXT_API uint32_t *lnmexpb2(uint32_t *r, uint32_t k);
/* a = a mod 2^k. */
LNCEXT_API uint32_t *lnmmodexpb2(uint32_t *a, uint32_t k);

/* ---- Shifts (r may be a) ---- */

/* r = a * 2^k, truncated to 258 digit words. */
LNCEXT_API uint32_t *lnmshl(const uint32_t *a, uint32_t k, uint32_t *r);
/* r = a div 2^k. */
LNCEXT_API uint32_t *lnmshr(const uint32_t *a, uint32_t k, uint32_t *r);

/* ---- Bytes ---- */

/* r = the big-endian number in in[0..len) (at most the first 1032 bytes). */
LNCEXT_API uint32_t *lnmfrombase256(uint32_t *r, const uint8_t *in, uint32_t len);
/* r = the little-endian number in in[0..len) (at most the first 1032 bytes). */
LNCEXT_API uint32_t *lnmfromrbase256(uint32_t *r, const uint8_t *in, uint32_t len);
/* Writes a big-endian without leading zeros; returns the bytes written. When
 * outlen is too small only the most significant outlen bytes are written. */
LNCEXT_API unsigned int lnmtobase256(uint8_t *out, uint32_t outlen, const uint32_t *a);
/* Writes a little-endian without trailing zeros; returns the bytes written.
 * When outlen is too small the most significant bytes are the ones lost. */
LNCEXT_API unsigned int lnmtorbase256(uint8_t *out, uint32_t outlen, const uint32_t *a);
/* The same four at a byte offset into buf. */
LNCEXT_API uint32_t *lnmgetbe(uint32_t *r, const uint8_t *buf, uint32_t off, uint32_t len);
LNCEXT_API uint32_t *lnmgetle(uint32_t *r, const uint8_t *buf, uint32_t off, uint32_t len);
LNCEXT_API unsigned int lnmputbe(uint8_t *buf, uint32_t off, uint32_t len, const uint32_t *a);
LNCEXT_API unsigned int lnmputle(uint8_t *buf, uint32_t off, uint32_t len, const uint32_t *a);

/* ---- Text ---- */

/* Upper-case hexadecimal text of a, zero-terminated, in out[0..size). When
 * the digits and the terminator do not fit, out holds size - 1 asterisks. */
LNCEXT_API void lnmtoxstr(const uint32_t *a, char *out, uint32_t size);

/* ---- Multiplication, squaring, division ---- */

/* r = a * b; r distinct from a and b, room for a[0] + b[0] + 1 words. */
LNCEXT_API uint32_t *lnmmul(const uint32_t *a, const uint32_t *b, uint32_t *r);
/* r = a * a; r distinct from a, room for 2 * a[0] + 1 words. */
LNCEXT_API uint32_t *lnmsqr(const uint32_t *a, uint32_t *r);
/* r = a mod m and, when q is not NULL, q = a div m. r may be a; q and m are
 * distinct from everything else. m is shifted in place during the call and
 * restored before it returns, so it must be writable (not LNMBIG_ONE, ...)
 * and not in use by another call. m = 0 does nothing. The dividend has at
 * most 256 digit words; r needs a[0] + 3 words, m m[0] + 2 and q
 * a[0] - m[0] + 3. */
LNCEXT_API void lnmdiv(const uint32_t *a, uint32_t *m, uint32_t *q, uint32_t *r);
/* (hi * 2^32 + lo) divided by d (top bit set, hi < d): returns the remainder
 * and stores the quotient in *qout when qout is not NULL. */
LNCEXT_API uint32_t lnmdivs(uint32_t hi, uint32_t lo, uint32_t d, uint32_t *qout);
/* a mod d for a single word d > 0. */
LNCEXT_API uint32_t lnmmodd(const uint32_t *a, uint32_t d);

/* ---- Montgomery arithmetic ----
 * minv = -m^-1 mod 2^32 (lnminverse(0 - m[1])), Rbits = 32 * m[0] and the odd
 * modulus m (at most 128 words) are passed in that order. */

/* x^-1 mod 2^32 for an odd x. */
LNCEXT_API uint32_t lnminverse(uint32_t x);
/* t = t * 2^-Rbits mod m, in place; t < m * 2^Rbits, room for 2 m[0] + 2. */
LNCEXT_API uint32_t *lnmmontcom(uint32_t minv, uint32_t Rbits, const uint32_t *m, uint32_t *t);
/* r = a * b / R mod m; r distinct from a and b, room for 2 m[0] + 2 words. */
LNCEXT_API uint32_t *lnmmulmont(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
                                const uint32_t *b, uint32_t *r);
/* r = a * a / R mod m; r distinct from a. */
LNCEXT_API uint32_t *lnmsqrmont(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
                                uint32_t *r);
/* r = 2^Rbits mod m (with 2 * Rbits: R^2 mod m). m is divided by, so it is
 * written during the call. r needs Rbits / 32 + 4 words. */
LNCEXT_API uint32_t *lnmunitymont(uint32_t Rbits, uint32_t *m, uint32_t *r);

/* Compact odd-power table for the Montgomery form x and window width w
 * (LNM_MONTIC_TABLE_WORDS(w, m[0]) words). */
LNCEXT_API uint32_t *lnmmontic(uint32_t *table, uint32_t w, uint32_t minv, uint32_t Rbits,
                               const uint32_t *m, const uint32_t *x);
/* r = start * x^e (Montgomery forms) from a table made by lnmmontic with
 * the same w and m. padbits > 0 makes the number of table multiplications
 * at least ceil(padbits / w). */
LNCEXT_API uint32_t *lnmicpowmont(const uint32_t *table, uint32_t w, uint32_t padbits,
                                  const uint32_t *start, uint32_t minv, uint32_t Rbits,
                                  const uint32_t *m, const uint32_t *e, uint32_t *r);
/* Fills slots 0..15 of an LNM_POWMONT_TABLE_WORDS table from the Montgomery
 * form x. */
LNCEXT_API uint32_t *lnmpowmontstart(uint32_t *table, uint32_t minv, uint32_t Rbits,
                                     const uint32_t *m, const uint32_t *x);
/* r = start * x^e (Montgomery forms) for the x of lnmpowmontstart. */
LNCEXT_API void lnmpowmontstop(uint32_t *table, const uint32_t *start, uint32_t minv,
                               uint32_t Rbits, const uint32_t *m, const uint32_t *e, uint32_t *r);
/* lnmpowmontstart then lnmpowmontstop; returns 0. */
LNCEXT_API int lnmpowmont(uint32_t *table, const uint32_t *start, uint32_t minv, uint32_t Rbits,
                          const uint32_t *m, const uint32_t *x, const uint32_t *e, uint32_t *r);

/* Prepares an LNM_POWMOD_TABLE_WORDS table for x modulo any m > 0 (odd
 * moduli in Montgomery form, even ones in ordinary residues). */
LNCEXT_API uint32_t *lnmpowmodstart(uint32_t *table, const uint32_t *x, uint32_t *m);
/* r = x^e mod m for the x and m of lnmpowmodstart. */
LNCEXT_API void lnmpowmodstop(uint32_t *table, const uint32_t *e, uint32_t *m, uint32_t *r);
/* r = x^e mod m. */
LNCEXT_API void lnmpowmod(uint32_t *table, const uint32_t *x, const uint32_t *e, uint32_t *m,
                          uint32_t *r);

/* ---- Exponent scanners ---- */

/* Next sliding window of e from bit pos downward; *len receives the bits
 * consumed. Returns 0 for a run of zero bits, else an odd value < 2^w. */
LNCEXT_API uint32_t lnmgetslide(const uint32_t *e, uint32_t pos, uint32_t w, uint32_t *len);
/* Bits i*w .. i*w + w - 1 of e (w from 1 to 31). */
LNCEXT_API uint32_t lnmgetwin(const uint32_t *e, uint32_t i, uint32_t w);

/* ---- Inversion and special reduction ---- */

/* r = a^-1 mod m for an odd m and 0 < a < m coprime to m. r may be a. */
LNCEXT_API uint32_t *lnmmodinv(const uint32_t *a, const uint32_t *m, uint32_t *r);
/* t = t mod (2^k - c), in place, for p = 2^k - c (k a multiple of 32, c one
 * word) and t < 2^(2k). */
LNCEXT_API uint32_t *lnmmodsf(uint32_t *t, const uint32_t *p, uint32_t k, uint32_t c);

LNCEXT_END_DECLS

#endif
