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

/* out = a^-1 modulo f = x^m + x^k1 + 1 (k2 = k3 = 0) or
 * x^m + x^k1 + x^k2 + x^k3 + 1 (m > k1 > k2 > k3 > 0), for any m below 448
 * that is not a multiple of 32 (the four supported fields run on their
 * kernels). a must be reduced; out must have been made with
 * lnm2pclear(out, m); out may be a. a = 0, which has no inverse, gives 0, and
 * so do exponents outside these rules (out's words are then zeroed). */
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

/* ---- Curves over GF(2^m): y^2 + x y = x^3 + a x^2 + b ---- */

/* Multiplier, squarer and reducer of one field, as held by a curve context. */
typedef void (*lnme2_mul_fn)(uint32_t *c, const uint32_t *a, const uint32_t *b);
typedef void (*lnme2_sqr_fn)(uint32_t *c, const uint32_t *a);
typedef void (*lnme2_reduce_fn)(uint32_t *c);

/* A curve and its field. Filled by lnme2cr (or dstu_init_curve), then only
 * read: one context may serve any number of threads. It holds no pointers to
 * caller storage, only to the library's own routines. */
typedef struct lnme2_ctx {
    uint32_t m;  /* field degree */
    uint32_t k1; /* middle exponents of the field polynomial */
    uint32_t k2; /* (k2 = k3 = 0: a trinomial) */
    uint32_t k3;
    uint32_t a;                  /* curve coefficient a: 0 or 1 */
    uint32_t b[LNM2_POLY_WORDS]; /* curve coefficient b, reduced, non-zero */
    lnme2_mul_fn mul;
    lnme2_sqr_fn sqr;
    lnme2_reduce_fn reduce;
} lnme2_ctx;

/* A point in López-Dahab coordinates: the affine point (X/Z, Y/Z^2); Z = 0
 * is the point at infinity, whatever X and Y hold. Z = 1: normalised. */
typedef struct lnme2_point {
    uint32_t X[LNM2_POLY_WORDS];
    uint32_t Y[LNM2_POLY_WORDS];
    uint32_t Z[LNM2_POLY_WORDS];
} lnme2_point;

/* Words of an odd-multiple table of width w: 2^(w-1) entries (at least 2),
 * each the affine x then y of (2i + 1) P as two LNM2_POLY_WORDS records. */
#define LNME2_TABLE_WORDS(w) (((w) < 2 ? 2u : (1u << ((w)-1))) * 2u * LNM2_POLY_WORDS)

/* The state of one resumable scalar multiplication k P. It points at the
 * curve, the scalar and the table, which must stay in place and unchanged
 * until the multiplication has finished. */
typedef struct lnme2_kpic_ctx {
    const lnme2_ctx *ctx;
    const uint32_t *k; /* the scalar, a big number */
    lnme2_point R;     /* the accumulator */
    const uint32_t *table;
    uint32_t w;         /* window width the table was built for */
    uint32_t remaining; /* scalar bits not yet consumed; 0: finished */
} lnme2_kpic_ctx;

/* Every element argument below is an LNM2_POLY_WORDS-word lnm2_poly record;
 * outputs must have been made with lnm2pclear(out, m). Functions return
 * their destination (or NULL where said). */

/* Fills ctx for the field of degree m with polynomial exponents k1 > k2 > k3
 * (k2 = k3 = 0 for a trinomial) and the curve coefficients a and b, b given as
 * (m + 8) / 8 little-endian bytes. NULL when a > 1, b = 0, deg b >= m, or the
 * field is not one of x^163 + x^7 + x^6 + x^3 + 1, x^191 + x^9 + 1,
 * x^257 + x^12 + 1, x^431 + x^5 + x^3 + x + 1 (ctx is then partly written). */
LNCEXT_API lnme2_ctx *lnme2cr(lnme2_ctx *ctx, uint32_t m, uint32_t k1, uint32_t k2, uint32_t k3,
                              uint32_t a, const uint8_t *bbytes);
/* Overwrites the whole context with zeros. */
LNCEXT_API void lnme2cl(lnme2_ctx *ctx);
/* Field arithmetic through the context's routines, on reduced elements:
 * out = a b, out = a^2, out = a^-1 (a non-zero; 0 gives 0). out may be an
 * operand. */
LNCEXT_API uint32_t *lnme2bfmul(const lnme2_ctx *ctx, uint32_t *out, const uint32_t *a,
                                const uint32_t *b);
LNCEXT_API uint32_t *lnme2bfsqr(const lnme2_ctx *ctx, uint32_t *out, const uint32_t *a);
LNCEXT_API uint32_t *lnme2bfinv(const lnme2_ctx *ctx, uint32_t *out, const uint32_t *a);

/* Makes P from affine coordinates; either may be NULL. Both NULL: the point
 * at infinity (X = Y = Z = 0). x alone: the point with that x (NULL when there
 * is none). NULL also for a NULL ctx and for coordinates that fail the curve
 * equation (P then holds what was written). */
LNCEXT_API lnme2_point *lnme2pcr(const lnme2_ctx *ctx, lnme2_point *P, const uint32_t *x,
                                 const uint32_t *y);
/* Overwrites the point record with zeros. */
LNCEXT_API void lnme2pcl(lnme2_point *P);
/* R = P (R's counts already set, e.g. by lnme2pcr). */
LNCEXT_API lnme2_point *lnme2pcp(const lnme2_ctx *ctx, lnme2_point *R, const lnme2_point *P);
/* 1 when P is the point at infinity (Z = 0), else 0. */
LNCEXT_API int lnme2p_is_inf(const lnme2_ctx *ctx, const lnme2_point *P);
/* Normalises P in place (Z = 1) and writes its affine x and y (either may be
 * NULL). Returns 1 for a finite point, 0 for the point at infinity (then the
 * outputs are zeroed and P is left as it is). */
LNCEXT_API int lnme2pxy(const lnme2_ctx *ctx, lnme2_point *P, uint32_t *x, uint32_t *y);
/* P = -P in place. */
LNCEXT_API lnme2_point *lnme2pneg(const lnme2_ctx *ctx, lnme2_point *P);
/* R = 2P; R may be P. */
LNCEXT_API lnme2_point *lnme2pd(const lnme2_ctx *ctx, lnme2_point *R, const lnme2_point *P);
/* R = P + (x2, y2) with the second point affine ((0, 0): the point at
 * infinity). R may be P; x2 and y2 must not be coordinates of R. */
LNCEXT_API lnme2_point *lnme2pa(const lnme2_ctx *ctx, lnme2_point *R, const lnme2_point *P,
                                const uint32_t *x2, const uint32_t *y2);
/* R = P + Q with Q normalised (Z = 1, or Z = 0 for the point at infinity). */
LNCEXT_API lnme2_point *lnme2paa(const lnme2_ctx *ctx, lnme2_point *R, const lnme2_point *P,
                                 const lnme2_point *Q);

/* ---- Scalar multiplication and point compression ---- */

/* Fills table (LNME2_TABLE_WORDS(w) words) with P, 3P, ..., (2^w - 1)P in
 * affine form; P is only read (any non-zero Z). */
LNCEXT_API uint32_t *lnme2ic(const lnme2_ctx *ctx, uint32_t *table, const lnme2_point *P,
                             uint32_t w);
/* Starts k P over the table of P for width w; k and table are not copied. */
LNCEXT_API lnme2_kpic_ctx *lnme2kpic_init(lnme2_kpic_ctx *kc, const lnme2_ctx *ctx,
                                          const uint32_t *k, const uint32_t *table, uint32_t w);
/* One window of the multiplication: one doubling per bit of a run of zero
 * bits, or of up to w bits ending in a set bit, then at most one addition.
 * 0 while bits remain; 1 in the call that consumes the last bits and in every
 * later one, which also copy k P (projective) to out when out is not NULL. */
LNCEXT_API int lnme2kpic_step(lnme2_kpic_ctx *kc, lnme2_point *out);
/* out = k P over the table of P for width w, in one call. */
LNCEXT_API lnme2_point *lnme2kpic(const lnme2_ctx *ctx, lnme2_point *out, const uint32_t *k,
                                  const uint32_t *table, uint32_t w);
/* out = k P with a width-5 table built for the call; out may be P. */
LNCEXT_API lnme2_point *lnme2kp(const lnme2_ctx *ctx, lnme2_point *out, const uint32_t *k,
                                const lnme2_point *P);
/* out = k1 P1 + k2 P2 (projective); out may be P1 or P2. */
LNCEXT_API lnme2_point *lnme2skp(const lnme2_ctx *ctx, lnme2_point *out, const uint32_t *k1,
                                 const lnme2_point *P1, const uint32_t *k2, const lnme2_point *P2);
/* out = the compressed form of P: 0 for the point at infinity and for x = 0,
 * otherwise x with its coefficient 0 replaced by Tr(y / x). P is normalised
 * in place; out must not be one of its coordinates. */
LNCEXT_API uint32_t *lnme2comp(const lnme2_ctx *ctx, uint32_t *out, lnme2_point *P);
/* P = the point whose compressed form is c (exact for points of odd order);
 * c may be a coordinate of P. NULL when c is the compressed form of no curve
 * point, c = 1 on a curve with a = 0 and values of degree m or more
 * included. */
LNCEXT_API lnme2_point *lnme2exp(const lnme2_ctx *ctx, lnme2_point *P, const uint32_t *c);

/* ---- DSTU 4145-2002 ----
 * Byte strings are little-endian (byte 0 least significant), field elements
 * and integers alike. L = field_bytes = (m + 8) / 8. */

/* Result codes of the dstu_* functions and dhua_zz. */
enum dstu_result {
    DSTU_OK = 0,
    DSTU_BAD_SIGNATURE = 1,  /* dstu_verify: the signature does not match */
    DSTU_BAD_ARGUMENT = 2,   /* a NULL pointer, a length out of range, a short buffer */
    DSTU_BAD_CURVE = 3,      /* dstu_init_curve rejects the curve; dhua_zz: no cofactor 2 or 4 */
    DSTU_BAD_BASE_POINT = 4, /* dstu_init_pgen rejects a length, the base point or the order */
    DSTU_BAD_PUBLIC_KEY = 5, /* not (the compressed form of) a curve point */
    DSTU_BAD_PRIVATE_KEY = 6 /* the private key is zero or has as many bits as n, or more */
};

/* Largest byte lengths over the supported curves (m = 431). */
#define DSTU_MAX_FIELD_BYTES 54  /* L */
#define DSTU_MAX_KEY_BYTES 54    /* key_bytes */
#define DSTU_MAX_SIG_BYTES 108   /* sig_bytes */
#define DSTU_MAX_POINT_BYTES 108 /* 2L: a point in two coordinates */
/* Storage of the order n (count word and 30 digits), of a pool scalar. */
#define DSTU_ORDER_WORDS 31
#define DSTU_SCALAR_WORDS 30
#define DSTU_POOL_SLOTS 5
#define DSTU_WINDOW 6

/* A curve with its base point P, its order n and the odd-multiple table of P.
 * Filled by dstu_init_curve and dstu_init_pgen; read-only afterwards, so one
 * context may be shared by any number of threads. A pointer to it also
 * serves as a pointer to its curve. */
typedef struct dstu_ctx {
    lnme2_ctx curve;
    lnme2_point P; /* normalised */
    uint32_t n[DSTU_ORDER_WORDS];
    uint32_t cofactor;    /* 2 or 4, stored by the caller for dhua_zz; 0 after dstu_init_curve */
    uint32_t field_bytes; /* L */
    uint32_t key_bytes;   /* (bitlen(n) + 6) / 8 */
    uint32_t sig_bytes;   /* 2 ((bitlen(n) + 7) / 8) */
    uint32_t win;         /* DSTU_WINDOW */
    uint32_t table[LNME2_TABLE_WORDS(DSTU_WINDOW)]; /* P, 3P, ..., 63P */
} dstu_ctx;

/* Random source of a pool: must fill buf with len random bytes. Its result is
 * ignored; the library neither tests nor reseeds it. */
typedef int (*dstu_rnd_fn)(uint8_t *buf, uint32_t len);

/* Up to five precomputed pairs (k, k P) for key generation and signing. The
 * pool points at itself and at its context: keep it at one address while in
 * use, and the context alive. One thread at a time. Slot i: busy bit clear:
 * empty; busy set, ready clear: being computed; both set: ready. */
typedef struct dstu_bspool_ctx {
    const dstu_ctx *ctx;
    dstu_rnd_fn rnd;
    uint32_t ready;
    uint32_t busy;
    uint32_t k[DSTU_POOL_SLOTS][DSTU_SCALAR_WORDS];
    lnme2_kpic_ctx state[DSTU_POOL_SLOTS];
} dstu_bspool_ctx;

/* Sets up the curve of ctx (zeroed first, cofactor 0): field degree m and
 * polynomial exponents k1 > k2 > k3 as lnme2cr takes them, a in {0, 1}, and b
 * as blen little-endian bytes (0 <= blen <= L; missing high-order bytes count
 * as zero). DSTU_OK or DSTU_BAD_CURVE (also for NULL pointers). */
LNCEXT_WARN_UNUSED LNCEXT_API int dstu_init_curve(dstu_ctx *ctx, uint32_t m, uint32_t k1,
                                                  uint32_t k2, uint32_t k3, uint32_t a, int blen,
                                                  const uint8_t *b);
/* Sets the base point (compressed, 1..L bytes at bp) and its order n (1..L
 * bytes), checks that n has between max(m - 2, 160) and m bits and that
 * n P = O, and builds the table of P. DSTU_OK, DSTU_BAD_ARGUMENT (NULL
 * pointers) or DSTU_BAD_BASE_POINT; after a failure ctx must be set up again.
 * Store ctx->cofactor (2 or 4) before dhua_zz asks for it. */
LNCEXT_WARN_UNUSED LNCEXT_API int dstu_init_pgen(dstu_ctx *ctx, int bplen, const uint8_t *bp,
                                                 int nlen, const uint8_t *n);

/* An empty pool serving ctx with the random source rnd. DSTU_OK, or
 * DSTU_BAD_ARGUMENT for a NULL argument. */
LNCEXT_API int dstu_bspool_init(dstu_bspool_ctx *pool, const dstu_ctx *ctx, dstu_rnd_fn rnd);
/* One unit of precomputation: starts the lowest slot that is not ready (one
 * call of rnd, no point arithmetic) or advances it by one window. Returns 1
 * when a slot is ready afterwards, else 0. Call it in idle time. */
LNCEXT_API int dstu_bspool_step(dstu_bspool_ctx *pool);
/* Hands out the lowest ready pair, completing one first when none is: k (a
 * big number, DSTU_SCALAR_WORDS words of room) and the compressed form of k P
 * (an lnm2_poly). The slot's secrets are wiped. */
LNCEXT_API void dstu_bspool_get(dstu_bspool_ctx *pool, uint32_t *k, uint32_t *cx);

/* A key pair from the pool: d (key_bytes bytes written to priv after
 * zeroing *privlen bytes) and Q = -d P compressed (L bytes to pub). *privlen
 * and *publen hold the buffer sizes on entry and receive key_bytes and L.
 * DSTU_OK or DSTU_BAD_ARGUMENT (NULL pointers, short buffers, a pool made
 * for another context); nothing is written then. */
LNCEXT_WARN_UNUSED LNCEXT_API int dstu_gen_keys(const dstu_ctx *ctx, dstu_bspool_ctx *pool,
                                                int *privlen, uint8_t *priv, int *publen,
                                                uint8_t *pub);
/* Compresses the point x || y (2L bytes at in) into L bytes at out; *outlen
 * holds out's size on entry and receives L. DSTU_OK, DSTU_BAD_ARGUMENT or
 * DSTU_BAD_PUBLIC_KEY (not a curve point). */
LNCEXT_WARN_UNUSED LNCEXT_API int dstu_cppubk(const dstu_ctx *ctx, uint8_t *out, int *outlen,
                                              const uint8_t *in);
/* Decompresses the inlen-byte compressed point at in (at most
 * 4 ((m + 31) / 32) bytes) into x || y, 2L bytes at out. DSTU_OK,
 * DSTU_BAD_ARGUMENT or DSTU_BAD_PUBLIC_KEY. */
LNCEXT_WARN_UNUSED LNCEXT_API int dstu_ucpubk(const dstu_ctx *ctx, uint8_t *out, const uint8_t *in,
                                              int inlen);

/* Signs a hash of hbits bits (its first min(hbits, m) bits, little-endian,
 * are the field element h; h = 0 counts as 1) with the private key priv
 * (1..key_bytes bytes), taking the random pair from pool (made for ctx).
 * *siglen holds sig's size on entry (at least sig_bytes) and receives
 * sig_bytes: r then s, sig_bytes / 2 little-endian bytes each. DSTU_OK,
 * DSTU_BAD_ARGUMENT or DSTU_BAD_PRIVATE_KEY (d = 0 or d of bitlen(n) bits or more);
 * sig and *siglen are untouched on failure. */
LNCEXT_WARN_UNUSED LNCEXT_API int dstu_sign(const dstu_ctx *ctx, dstu_bspool_ctx *pool, int privlen,
                                            const uint8_t *priv, int hbits, const uint8_t *hash,
                                            int *siglen, uint8_t *sig);
/* Checks the siglen-byte signature sig of the hash against the compressed
 * public key pub (1..L bytes). DSTU_OK when valid; DSTU_BAD_SIGNATURE for a
 * wrong signature, a wrong siglen, r or s zero or not below n;
 * DSTU_BAD_ARGUMENT; DSTU_BAD_PUBLIC_KEY when pub does not decompress. */
LNCEXT_WARN_UNUSED LNCEXT_API int dstu_verify(const dstu_ctx *ctx, int publen, const uint8_t *pub,
                                              int hbits, const uint8_t *hash, int siglen,
                                              const uint8_t *sig);
/* The shared secret of the own private key priv (key_bytes..56 bytes) and
 * the other side's compressed public key pub (L..4 ((m + 31) / 32) bytes):
 * the x-coordinate of d Q, of h d Q with the context's cofactor h when
 * cof != 0, as L bytes to z (room for L bytes), L to *zlen. DSTU_OK,
 * DSTU_BAD_ARGUMENT, DSTU_BAD_PUBLIC_KEY (checked before the private key),
 * DSTU_BAD_PRIVATE_KEY, or DSTU_BAD_CURVE when cof != 0 and the cofactor is
 * neither 2 nor 4. z and *zlen are untouched on failure. */
LNCEXT_WARN_UNUSED LNCEXT_API int dhua_zz(const dstu_ctx *ctx, int privlen, const uint8_t *priv,
                                          int publen, const uint8_t *pub, int cof, int *zlen,
                                          uint8_t *z);

LNCEXT_END_DECLS

#endif
