/*
 * lncext binary fields GF(2^m), binary elliptic curves and DSTU 4145-2002.
 *
 * Field elements. An element of GF(2^m) is a polynomial over GF(2) of degree
 * below m in the polynomial basis, kept in an lnm2_poly: word 0 is a fixed
 * word count, (m + 31) / 32, set by lnm2pclear and never trimmed; words
 * 1..count hold the coefficients, least significant first (the coefficient of
 * x^i is bit i % 32 of word 1 + i / 32). Every element is stored in
 * LNM2_POLY_WORDS words (m <= 448). Four fields are supported:
 *
 *   m    field polynomial               words  multiplier     squarer       reducer
 *   163  x^163 + x^7 + x^6 + x^3 + 1     6     pmult192x192   psqr192x192   reduce163_7_6_3_1
 *   191  x^191 + x^9 + 1                 6     pmult192x192   psqr192x192   reduce191_9_1
 *   257  x^257 + x^12 + 1                9     pmult257x257   psqr288x288   reduce257_12_1
 *   431  x^431 + x^5 + x^3 + x + 1      14     pmult448x448   psqr448x448   reduce431_5_3_1
 *
 * Byte strings are little-endian: byte i carries the coefficients of
 * x^(8i) .. x^(8i + 7), bit 0 being x^(8i).
 *
 * The element functions return their destination so that calls nest; the
 * predicates return 0 or 1. Outputs must have been made with lnm2pclear
 * (copies do not set counts). Nothing allocates and nothing keeps state: any
 * number of threads may call these on distinct storage.
 */
#ifndef LNCEXT_DSTU4145_H
#define LNCEXT_DSTU4145_H

#include <stdint.h>

#include "lncext/export.h"

/* Words of one element: the count word and up to 14 coefficient words. */
#define LNM2_POLY_WORDS 15
/* Words of an unreduced product or square: count word and 28 coefficients. */
#define LNM2_PRODUCT_WORDS 29

LNCEXT_BEGIN_DECLS

/* One element of GF(2^m) or working polynomial; see above. */
typedef uint32_t lnm2_poly[LNM2_POLY_WORDS];

/* ---- Elements: making, copying, bits ---- */

/* p's count = (nbits + 31) / 32, its coefficient words zeroed. */
LNCEXT_API uint32_t *lnm2pclear(uint32_t *p, uint32_t nbits);
/* Copies src's count of coefficient words into dst; dst's count word is not
 * touched (make dst with lnm2pclear first). dst may be src. */
LNCEXT_API uint32_t *lnm2pcopy(uint32_t *dst, const uint32_t *src);
/* c = a + b (word-wise XOR over a's count); c's count is not touched; c may be
 * a or b. */
LNCEXT_API uint32_t *lnm2add(uint32_t *c, const uint32_t *a, const uint32_t *b);
/* p = p + 1: toggles the constant coefficient. */
LNCEXT_API void lnm2pinc(uint32_t *p);
/* The coefficient of x^i, 0 or 1; i is not checked against the count. */
LNCEXT_API int lnm2pgbit(const uint32_t *p, uint32_t i);
/* Sets the coefficient of x^i to 1 when v != 0, to 0 when v == 0; i is not
 * checked against the count. */
LNCEXT_API void lnm2psbit(uint32_t *p, uint32_t i, int v);

/* ---- Elements: degree and comparisons ---- */

/* Position of the highest set coefficient; 0 for both 0 and 1. */
LNCEXT_API int lnm2p_deg(const uint32_t *p);
/* 1 when every coefficient word is zero (also when the count is 0). */
LNCEXT_API int lnm2p_is_zero(const uint32_t *p);
/* 1 when p = 1 (word 1 is 1, words 2..count zero). */
LNCEXT_API int lnm2p_is_one(const uint32_t *p);
/* 1 when coefficient words 1..b's count of a and b agree (always 1 when b's
 * count is 0), else 0. */
LNCEXT_API int lnm2p_is_equal(const uint32_t *a, const uint32_t *b);

/* ---- Elements: bytes and big numbers ---- */

/* p = the little-endian byte string bytes[0..len): p's coefficient words are
 * zeroed, then filled from the bytes. len < 1 leaves p zero; bytes beyond
 * 4 x p's count are not read. */
LNCEXT_API uint32_t *lnm2pfromb(uint32_t *p, const uint8_t *bytes, int len);
/* p = the first nbits bits of the little-endian bit string at bytes (whole
 * bytes, then the low nbits % 8 bits of the next one). nbits < 1 leaves p
 * zero; bits beyond 32 x p's count are not read. */
LNCEXT_API uint32_t *lnm2pfrombits(uint32_t *p, const uint8_t *bytes, int nbits);
/* Writes exactly len bytes to out: the first min(len, 4 x count) bytes of p,
 * little-endian, then zeros. Nothing when len < 1. */
LNCEXT_API uint8_t *lnm2ptob(uint8_t *out, const uint32_t *p, int len);
/* big = p as a big number (lncext/bignum.h): needs p's count + 1 words. */
LNCEXT_API uint32_t *lnm2ptobig(uint32_t *big, const uint32_t *p);
/* p = big: p's coefficient words zeroed, then the low min(big's count, p's
 * count) digit words copied; higher digits are dropped. */
LNCEXT_API uint32_t *lnm2pfrombig(uint32_t *p, const uint32_t *big);

/* ---- Elements: inversion ---- */

/* out = a^-1 modulo f = x^m + x^k1 + 1 (k2 == 0) or x^m + x^k1 + x^k2 + x^k3 + 1,
 * m not a multiple of 32 and at most 448, m > k1 > k2 > k3. a must be
 * reduced; out must have been made with lnm2pclear(out, m); out may be a.
 * a = 0 has no inverse: the result is then 0. */
LNCEXT_API uint32_t *lnm2invm(uint32_t *out, const uint32_t *a, uint32_t m, uint32_t k1,
                              uint32_t k2, uint32_t k3);

/* ---- Fixed-size carry-less kernels on bare coefficient words ----
 *
 * Arrays without a count word (pass the address of word 1 of an lnm2_poly).
 * c = a * b over GF(2)[x], unreduced. c must not overlap a or b. On x86_64
 * processors with the carry-less multiply instruction these run on it; the
 * results are the same bit for bit on every path. */

/* a, b: 5 words; c: 10 words. */
LNCEXT_API void pmult160x160(uint32_t *c, const uint32_t *a, const uint32_t *b);
/* a, b: 6 words; c: 12 words. */
LNCEXT_API void pmult192x192(uint32_t *c, const uint32_t *a, const uint32_t *b);
/* a, b: 7 words; c: 14 words. */
LNCEXT_API void pmult224x224(uint32_t *c, const uint32_t *a, const uint32_t *b);
/* a, b: 8 words; c: 16 words. */
LNCEXT_API void pmult256x256(uint32_t *c, const uint32_t *a, const uint32_t *b);
/* a, b: 9 words whose word 8 is 0 or 1 (257-bit operands); c: 18 words.
 * Words 0..15 are written; word 16 is set to 1 when both word-8 bits are set
 * and otherwise left as it was, word 17 is never written: both must be zero
 * on entry. */
LNCEXT_API void pmult257x257(uint32_t *c, const uint32_t *a, const uint32_t *b);
/* a, b: 9 words; c: 18 words. */
LNCEXT_API void pmult288x288(uint32_t *c, const uint32_t *a, const uint32_t *b);
/* a, b: 14 words; c: 28 words. */
LNCEXT_API void pmult448x448(uint32_t *c, const uint32_t *a, const uint32_t *b);

/* c = a^2 over GF(2)[x]: a 6, 9 or 14 words, c twice that. c may be a. */
LNCEXT_API void psqr192x192(uint32_t *c, const uint32_t *a);
LNCEXT_API void psqr288x288(uint32_t *c, const uint32_t *a);
LNCEXT_API void psqr448x448(uint32_t *c, const uint32_t *a);

/* Reduce an unreduced product or square c in place modulo the named field
 * polynomial; the result is c's low (m + 31) / 32 words. Input words: 11 for
 * m = 163, 12 for 191, 18 for 257, 28 for 431. Only reduce431_5_3_1 zeroes
 * the words it folds away; after the others the higher words hold leftovers. */
LNCEXT_API void reduce163_7_6_3_1(uint32_t *c);
LNCEXT_API void reduce191_9_1(uint32_t *c);
LNCEXT_API void reduce257_12_1(uint32_t *c);
LNCEXT_API void reduce431_5_3_1(uint32_t *c);

/* ---- General word-level carry-less multiplication ----
 *
 * c must not overlap a or b (except d == c in gf2x_addmul_1_n). */

/* c[0..n) = the low n words of a[0..n) * b; returns word n of the product
 * (0 and nothing written when n < 1). */
LNCEXT_API uint32_t gf2x_mul_1_n(uint32_t *c, const uint32_t *a, int n, uint32_t b);
/* d[0..n) = c[0..n) + the low n words of a[0..n) * b; returns word n of
 * a * b (0 and nothing written when n < 1). d may be c. */
LNCEXT_API uint32_t gf2x_addmul_1_n(uint32_t *d, const uint32_t *c, const uint32_t *a, int n,
                                    uint32_t b);
/* c[0..sa + sb) = a[0..sa) * b[0..sb); returns the top word c[sa + sb - 1]
 * (0 and nothing written when sa < 1 or sb < 1). */
LNCEXT_API uint32_t gf2x_mul(uint32_t *c, const uint32_t *a, int sa, const uint32_t *b, int sb);

/* ==== Binary curves, scalar multiplication and DSTU 4145 ==== */
/* (curve, point, pool, signature and key-agreement declarations follow here) */

LNCEXT_END_DECLS

#endif
