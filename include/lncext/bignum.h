/*
 * lncext big numbers.
 *
 * A big number is an array of uint32_t: word 0 is the count n of digit words,
 * words 1..n the magnitude in base 2^32, least significant first. Inputs must
 * be normalised (word n non-zero, zero has count 0) and every result is. The
 * standard storage is LNMBIG_WORDS words (count plus LNMBIG_MAX_DIGITS).
 *
 * Destinations come first in two-operand in-place calls (lnmadd(a, b): a += b)
 * and last in three-operand calls (lnmmul(a, b, r)). Functions that produce a
 * number return their destination so that calls nest.
 *
 * Room: each function states the words its destination needs, count word
 * included; the words above the final count, up to that room, are scratch.
 * Aliasing: a destination may be the same array as an input unless the
 * function says otherwise (partial overlaps are never allowed).
 * Inputs are only read, with one exception: lnmdiv's divisor, and so the
 * modulus of lnmunitymont and lnmpowmod*, is shifted in place and restored
 * before the call returns. It must be writable (not LNMBIG_ONE, ...) and not
 * in use by another call at the same time.
 *
 * Nothing is checked and nothing is reported: room, normalised inputs, the
 * stated ranges and distinct arrays are the caller's to guarantee. Every
 * function is reentrant and keeps no state.
 */
#ifndef LNCEXT_BIGNUM_H
#define LNCEXT_BIGNUM_H

#include <stdint.h>

#include "lncext/export.h"

/* Standard storage of one big number: count word plus 258 digit words. */
#define LNMBIG_WORDS 259
/* Largest count the shifts and the byte readers produce. */
#define LNMBIG_MAX_DIGITS 258
/* Most bytes the byte readers take (LNMBIG_MAX_DIGITS words). */
#define LNMBIG_MAX_BYTES 1032
/* Most digit words of a dividend of lnmdiv. */
#define LNM_DIV_MAX_DIGITS 256
/* Most digit words of a Montgomery or exponentiation modulus. */
#define LNM_MONT_MAX_DIGITS 128
/* Window width of lnmpowmont and lnmpowmod, and the one callers pass to
 * lnmmontic and lnmicpowmont. */
#define LNM_POW_WINDOW_BITS 5

/* Table of lnmpowmontstart/lnmpowmontstop: 17 slots of LNMBIG_WORDS. */
#define LNM_POWMONT_TABLE_WORDS (17 * LNMBIG_WORDS)
/* Table of lnmpowmodstart/lnmpowmodstop/lnmpowmod: 18 slots. */
#define LNM_POWMOD_TABLE_WORDS (18 * LNMBIG_WORDS)
/* Compact table of lnmmontic/lnmicpowmont for width w and an n-word modulus. */
#define LNM_MONTIC_TABLE_WORDS(w, n) (((w) < 2 ? 2u : (1u << ((w)-1))) * ((uint32_t)(n) + 1u))

LNCEXT_BEGIN_DECLS

/* Read-only constants 0, 1, 2 and 3 (never a divisor or modulus that is
 * written during the call). */
LNCEXT_API extern const uint32_t LNMBIG_ZERO[1];
LNCEXT_API extern const uint32_t LNMBIG_ONE[2];
LNCEXT_API extern const uint32_t LNMBIG_TWO[2];
LNCEXT_API extern const uint32_t LNMBIG_THREE[2];

/* ---- Normalisation, copying, construction ---- */

/* Drops zero top words from the count of a, in place. */
LNCEXT_API uint32_t *lnmclip(uint32_t *a);
/* dst = src: src[0] + 1 words; dst and src may overlap in any way. */
LNCEXT_API uint32_t *lnmcopy(uint32_t *dst, const uint32_t *src);
/* r = v: two words. */
LNCEXT_API uint32_t *lnmconvert(uint32_t *r, uint32_t v);
/* r = the n 32-bit words that follow, most significant first (n at most
 * LNMBIG_MAX_DIGITS; r needs n + 1 words). Every word argument must be a
 * 32-bit value: cast literals wider than int, e.g.
 * lnmvalueof32(r, 2, (uint32_t)0x1, (uint32_t)0xFFFFFFFF). */
LNCEXT_API uint32_t *lnmvalueof32(uint32_t *r, uint32_t n, ...);
/* As lnmvalueof32, with n a signed count from 0 to LNMBIG_MAX_DIGITS. */
LNCEXT_API uint32_t *lnmvalueof64(uint32_t *r, int n, ...);
/* Deprecated: prints a notice to standard output and returns x unchanged. */
LNCEXT_API uint32_t *lnmclear(uint32_t *x);

/* ---- Comparison and size ---- */

/* 1 if a > b, 0 if equal, -1 if a < b. */
LNCEXT_API int lnmcmp(const uint32_t *a, const uint32_t *b);
/* Significant bits of a rounded up to whole units of `unit` bits (unit >= 1):
 * lnmbitlen(a, 1) bits, lnmbitlen(a, 8) bytes, lnmbitlen(a, 4) hex digits. */
LNCEXT_API unsigned int lnmbitlen(const uint32_t *a, unsigned int unit);

/* ---- Addition and subtraction, in place ---- */

/* a += b; a needs max(a[0], b[0]) + 2 words. */
LNCEXT_API uint32_t *lnmadd(uint32_t *a, const uint32_t *b);
/* a -= b; requires a >= b. */
LNCEXT_API uint32_t *lnmsub(uint32_t *a, const uint32_t *b);
/* a += 2^k; a needs max(a[0], k / 32 + 1) + 2 words. */
LNCEXT_API uint32_t *lnmaddb2(uint32_t *a, uint32_t k);
/* a ^= b (addition of polynomials over GF(2)); a needs max(a[0], b[0]) + 1
 * words. */
LNCEXT_API uint32_t *lnmadd2m(uint32_t *a, const uint32_t *b);

/* ---- Powers of two ---- */

/* r = 2^k; r needs k / 32 + 2 words. */
LNCEXT_API uint32_t *lnmexpb2(uint32_t *r, uint32_t k);
/* a = a mod 2^k, in place. */
LNCEXT_API uint32_t *lnmmodexpb2(uint32_t *a, uint32_t k);

/* ---- Shifts (r may be a) ---- */

/* r = a * 2^k, truncated to LNMBIG_MAX_DIGITS digit words; r needs
 * min(a[0] + k / 32 + 1, LNMBIG_MAX_DIGITS) + 1 words. */
LNCEXT_API uint32_t *lnmshl(const uint32_t *a, uint32_t k, uint32_t *r);
/* r = a div 2^k; r needs a[0] + 1 words. */
LNCEXT_API uint32_t *lnmshr(const uint32_t *a, uint32_t k, uint32_t *r);

/* ---- Bytes ---- */

/* r = the big-endian number in in[0..len); of a longer input only the first
 * LNMBIG_MAX_BYTES bytes are read. r needs min(len, LNMBIG_MAX_BYTES) / 4 + 2
 * words. */
LNCEXT_API uint32_t *lnmfrombase256(uint32_t *r, const uint8_t *in, uint32_t len);
/* The same for a little-endian number. */
LNCEXT_API uint32_t *lnmfromrbase256(uint32_t *r, const uint8_t *in, uint32_t len);
/* Writes a big-endian, without leading zeros, at out[0..outlen) and returns
 * the bytes written: lnmbitlen(a, 8) when they fit (0 for zero), else outlen
 * with only the most significant outlen bytes written. Nothing is padded: a
 * fixed-width field is the caller's to right-align. */
LNCEXT_API unsigned int lnmtobase256(uint8_t *out, uint32_t outlen, const uint32_t *a);
/* Writes a little-endian, without trailing zeros, and returns the bytes
 * written, as lnmtobase256; when outlen is too small the most significant
 * bytes are the ones lost. */
LNCEXT_API unsigned int lnmtorbase256(uint8_t *out, uint32_t outlen, const uint32_t *a);
/* The same four at buf + off. */
LNCEXT_API uint32_t *lnmgetbe(uint32_t *r, const uint8_t *buf, uint32_t off, uint32_t len);
LNCEXT_API uint32_t *lnmgetle(uint32_t *r, const uint8_t *buf, uint32_t off, uint32_t len);
LNCEXT_API unsigned int lnmputbe(uint8_t *buf, uint32_t off, uint32_t len, const uint32_t *a);
LNCEXT_API unsigned int lnmputle(uint8_t *buf, uint32_t off, uint32_t len, const uint32_t *a);

/* ---- Text ---- */

/* Upper-case hexadecimal text of a, zero-terminated, in out[0..size): it
 * needs lnmbitlen(a, 4) + 1 bytes (2 for zero). When it does not fit, out
 * holds size - 1 asterisks and the terminator. size 0 or NULL out writes
 * nothing. */
LNCEXT_API void lnmtoxstr(const uint32_t *a, char *out, uint32_t size);

/* ---- Multiplication, squaring, division ---- */

/* r = a * b; r distinct from a and b, r needs a[0] + b[0] + 1 words. */
LNCEXT_API uint32_t *lnmmul(const uint32_t *a, const uint32_t *b, uint32_t *r);
/* r = a * a; r distinct from a, r needs 2 a[0] + 1 words. */
LNCEXT_API uint32_t *lnmsqr(const uint32_t *a, uint32_t *r);
/* r = a mod m and, when q is not NULL, q = a div m. r may be a; q and m are
 * distinct from every other argument. m is written during the call: shifted
 * left in place until its top bit is set (a one-word m widened to two words)
 * and restored before return. m = 0 returns at once, writing nothing. a has
 * at most LNM_DIV_MAX_DIGITS digit words. Room: r a[0] + 3 words, m m[0] + 2,
 * q max(a[0] - m[0], 0) + 3. */
LNCEXT_API void lnmdiv(const uint32_t *a, uint32_t *m, uint32_t *q, uint32_t *r);
/* (hi * 2^32 + lo) divided by d (top bit set, hi < d): returns the remainder
 * and stores the quotient in *qout when qout is not NULL. */
LNCEXT_API uint32_t lnmdivs(uint32_t hi, uint32_t lo, uint32_t d, uint32_t *qout);
/* a mod d for a single word d > 0. */
LNCEXT_API uint32_t lnmmodd(const uint32_t *a, uint32_t d);

/* ---- Montgomery arithmetic ----
 * minv = -m^-1 mod 2^32 (lnminverse(0 - m[1])), Rbits = 32 * m[0] and the odd
 * modulus m (at most LNM_MONT_MAX_DIGITS words) are passed in that order. The
 * Montgomery form of x < m is x * R mod m, R = 2^Rbits; factors are below m
 * and so is every result. */

/* x^-1 mod 2^32 for an odd x. */
LNCEXT_API uint32_t lnminverse(uint32_t x);
/* t = t / R mod m, in place, for t < m * R with t[0] <= 2 m[0] + 1; t needs
 * 2 m[0] + 2 words. (Any Rbits below 32 (m[0] + 1) is accepted here.) */
LNCEXT_API uint32_t *lnmmontcom(uint32_t minv, uint32_t Rbits, const uint32_t *m, uint32_t *t);
/* r = a * b / R mod m; r distinct from a, b and m, r needs 2 m[0] + 2 words. */
LNCEXT_API uint32_t *lnmmulmont(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
                                const uint32_t *b, uint32_t *r);
/* r = a * a / R mod m; r distinct from a and m, r needs 2 m[0] + 2 words. */
LNCEXT_API uint32_t *lnmsqrmont(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
                                uint32_t *r);
/* r = 2^Rbits mod m: with Rbits = 32 m[0] the Montgomery form of 1, with
 * twice that R^2 mod m, the factor into Montgomery form. m is divided by
 * (written and restored, see lnmdiv); r distinct from m, r needs
 * Rbits / 32 + 4 words. */
LNCEXT_API uint32_t *lnmunitymont(uint32_t Rbits, uint32_t *m, uint32_t *r);

/* Fills the compact table (LNM_MONTIC_TABLE_WORDS(w, m[0]) words, not
 * overlapping m or x) with the odd powers x, x^3, ... of the Montgomery form
 * x, for window width w from 1 to 31 (normally LNM_POW_WINDOW_BITS). Returns
 * table. */
LNCEXT_API uint32_t *lnmmontic(uint32_t *table, uint32_t w, uint32_t minv, uint32_t Rbits,
                               const uint32_t *m, const uint32_t *x);
/* r = start^(2^L) * x^e, L the bit length of e (Montgomery forms), from a
 * table made by lnmmontic with the same w and m: with start the form of 1,
 * the form of x^e. The table is only read; r distinct from table, m and e,
 * r needs m[0] + 1 words. padbits > 0 makes the number of table
 * multiplications at least ceil(padbits / w). The scratch products are
 * wiped. Returns r. */
LNCEXT_API uint32_t *lnmicpowmont(const uint32_t *table, uint32_t w, uint32_t padbits,
                                  const uint32_t *start, uint32_t minv, uint32_t Rbits,
                                  const uint32_t *m, const uint32_t *e, uint32_t *r);
/* Fills slots 0..15 of an LNM_POWMONT_TABLE_WORDS table with the odd powers
 * of the Montgomery form x (x not in the table). Returns table. */
LNCEXT_API uint32_t *lnmpowmontstart(uint32_t *table, uint32_t minv, uint32_t Rbits,
                                     const uint32_t *m, const uint32_t *x);
/* r = start^(2^L) * x^e, L the bit length of e (Montgomery forms), for the
 * x of lnmpowmontstart. Writes only slot 16 of the table, so one start
 * serves any number of stops; r distinct from table, m and e, r needs
 * m[0] + 1 words. */
LNCEXT_API void lnmpowmontstop(uint32_t *table, const uint32_t *start, uint32_t minv,
                               uint32_t Rbits, const uint32_t *m, const uint32_t *e, uint32_t *r);
/* lnmpowmontstart then lnmpowmontstop; always returns 0. */
LNCEXT_API int lnmpowmont(uint32_t *table, const uint32_t *start, uint32_t minv, uint32_t Rbits,
                          const uint32_t *m, const uint32_t *x, const uint32_t *e, uint32_t *r);

/* x^e mod m for any m > 0 (at most LNM_MONT_MAX_DIGITS words) and x with at
 * most m[0] words, through an LNM_POWMOD_TABLE_WORDS table: odd m in
 * Montgomery form, even m in ordinary residues. m is divided by (written and
 * restored, see lnmdiv) and needs m[0] + 2 words. */
/* Prepares the table for x and m. Returns table. */
LNCEXT_API uint32_t *lnmpowmodstart(uint32_t *table, const uint32_t *x, uint32_t *m);
/* r = x^e mod m for the x and m of lnmpowmodstart. Writes only slots 16 and
 * 17 of the table, so one start serves any number of stops. r distinct from
 * table, e and m; r needs m[0] + 4 words for an odd m, 2 m[0] + 3 for an
 * even one. */
LNCEXT_API void lnmpowmodstop(uint32_t *table, const uint32_t *e, uint32_t *m, uint32_t *r);
/* r = x^e mod m: lnmpowmodstart then lnmpowmodstop. */
LNCEXT_API void lnmpowmod(uint32_t *table, const uint32_t *x, const uint32_t *e, uint32_t *m,
                          uint32_t *r);

/* ---- Exponent scanners ---- */

/* Next sliding window of e from bit pos downward, w from 1 to 31; *len
 * receives the bits consumed. Returns 0 for a run of zero bits, else an odd
 * value below 2^w. */
LNCEXT_API uint32_t lnmgetslide(const uint32_t *e, uint32_t pos, uint32_t w, uint32_t *len);
/* Bits i*w .. i*w + w - 1 of e (w from 1 to 31); bits above e read as 0. */
LNCEXT_API uint32_t lnmgetwin(const uint32_t *e, uint32_t i, uint32_t w);

/* ---- Inversion and special reduction ---- */

/* r = a^-1 mod m for an odd m and 0 < a < m coprime to m (otherwise the
 * result is meaningless; a = 0 gives m). r may be a but not m; r needs
 * m[0] + 1 words. */
LNCEXT_API uint32_t *lnmmodinv(const uint32_t *a, const uint32_t *m, uint32_t *r);
/* t = t mod p, in place, for p = 2^k - c (k a multiple of 32, c one non-zero
 * word) and t < 2^(2k); the words between the new count and t's count on
 * entry become zero. */
LNCEXT_API uint32_t *lnmmodsf(uint32_t *t, const uint32_t *p, uint32_t k, uint32_t c);

LNCEXT_END_DECLS

#endif
