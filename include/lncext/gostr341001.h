/*
 * lncext prime-field curves: GF(p) arithmetic, points of y^2 = x^3 + ax + b
 * in Jacobian coordinates, scalar multiplication, GOST R 34.10-2001
 * signatures (rds_*) and VKO GOST R 34.10-2001 key agreement (vko341001_*).
 *
 * Numbers inside the arithmetic layers (lnmpff*, lnmec*) are the library's
 * big numbers (lncext/bignum.h: word 0 the count, then the digits, least
 * significant first). A field element, the modulus and the Montgomery one
 * each take LNMPFF_WORDS words: a count and at most 16 digits (512 bits).
 * The arithmetic layers return their destination and check nothing beyond
 * what is said below.
 *
 * The protocol layers (rds_*, vko341001_*) take and give big-endian byte
 * strings: every number right-aligned in a 32-byte field (zero bytes in
 * front), public keys x || y, signatures s || r. They return one of the
 * RDS_* result codes and write no output at all unless they return RDS_OK.
 *
 * Threads: a filled lnmpff_ctx, lnmec_ctx or rds_ctx is only read by the
 * operations, so one may serve any number of threads at once; only the
 * initialisers write it and must not run beside its users.
 */
#ifndef LNCEXT_GOSTR341001_H
#define LNCEXT_GOSTR341001_H

#include <stdint.h>

#include "lncext/bignum.h"
#include "lncext/export.h"

/* Words of a field element, of the modulus and of a coordinate. */
#define LNMPFF_WORDS 17
/* Most digit words of a modulus (512 bits). */
#define LNMPFF_MAX_DIGITS 16
/* Most digit words of a plain number handed to the `in` slot. */
#define LNMPFF_IN_MAX_DIGITS 32
/* Entries of an odd-multiple table for window width w (at least 2). */
#define LNMEC_TABLE_ENTRIES(w) ((w) < 2 ? 2u : (1u << ((w)-1)))
/* The window width of the library's tables, and its table size. */
#define LNMEC_WINDOW 5
#define LNMEC_WINDOW_ENTRIES 16

/* Byte lengths at the rds_* / vko341001_* boundary. */
#define RDS_NUMBER_BYTES 32      /* p, a, b, q, x, y, d, k, hash, one half of a key/signature */
#define RDS_PRIVATE_KEY_BYTES 32 /* d */
#define RDS_PUBLIC_KEY_BYTES 64  /* x || y */
#define RDS_HASH_BYTES 32        /* read as one big-endian number e */
#define RDS_SIGNATURE_BYTES 64   /* s || r */
#define VKO341001_UKM_BYTES 8    /* read as one big-endian number */
#define VKO341001_KEK_BYTES 32   /* a GOST R 34.11-94 hash value */

/* Result codes of rds_* and vko341001_*. */
enum {
    RDS_OK = 0,                /* success; for rds_verify: the signature is valid */
    RDS_INVALID_SIGNATURE = 1, /* rds_verify: r or s out of range, or the check fails */
    RDS_RETRY = 2,             /* rds_gen_keys: d out of range; rds_sign: k out of range,
                                  or r = 0 or s = 0 (sign again with a new k) */
    RDS_BAD_CURVE = 3,         /* rds_init: p, a or b unacceptable */
    RDS_BAD_BASE_POINT = 4,    /* rds_init: x or y not below p, or (x, y) off the curve */
    RDS_BAD_PUBLIC_KEY = 5,    /* a coordinate not below p, or the point off the curve */
    RDS_BAD_PRIVATE_KEY = 6,   /* rds_sign, vko341001_*: d = 0 or d >= q */
    RDS_NULL_ARGUMENT = 7,     /* a required pointer is NULL */
    RDS_BAD_ORDER = 8,         /* rds_init: q + 1 shorter than 255 bits */
    RDS_BAD_UKM = 9            /* vko341001_gen_kek: UKM = 0 or UKM >= q */
};

LNCEXT_BEGIN_DECLS

/* ------------------------------------------------------------------------
 * GF(p) arithmetic
 *
 * lnmpff_init picks the representation from the shape of p:
 *  - special form when p has at least two words and every word above the
 *    lowest is 0xFFFFFFFF (p = 2^(32n) - c): elements are plain residues;
 *  - Montgomery form otherwise: an element a is held as a * 2^(32n) mod p.
 * The upper layers call only through the ten slots, so they serve both.
 *
 * Every element handed to an operation is in the representation and below
 * p; every operation returns one. The result r may be the same storage as
 * any input (each operation works in its own scratch and writes r last) and
 * needs LNMPFF_WORDS words. Inputs are not checked.
 */

typedef struct lnmpff_ctx lnmpff_ctx;

/* in(ctx, r, a), out(ctx, r, a): conversion, output second. */
typedef uint32_t *(*lnmpff_conv_fn)(const lnmpff_ctx *ctx, uint32_t *r, const uint32_t *a);
/* setzero(ctx, r), setone(ctx, r). */
typedef uint32_t *(*lnmpff_const_fn)(const lnmpff_ctx *ctx, uint32_t *r);
/* add, sub, mul (ctx, a, b, r): output last. */
typedef uint32_t *(*lnmpff_binop_fn)(const lnmpff_ctx *ctx, const uint32_t *a, const uint32_t *b,
                                     uint32_t *r);
/* sqr, div2, inv (ctx, a, r): output last. */
typedef uint32_t *(*lnmpff_unop_fn)(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r);

struct lnmpff_ctx {
    /* p; first, so that a pointer to the context is a pointer to p. */
    uint32_t modulus[LNMPFF_WORDS];
    /* Montgomery form: 2^width mod p, the form of 1. Unused in special form. */
    uint32_t one[LNMPFF_WORDS];
    /* Montgomery form: -p^-1 mod 2^32. Special form: c, p = 2^width - c. */
    uint32_t k0;
    /* 32 times the word count of p (256 for a 255-bit p of 8 words). */
    uint32_t width;
    lnmpff_conv_fn in;       /* plain number (up to LNMPFF_IN_MAX_DIGITS words) -> element */
    lnmpff_conv_fn out;      /* element -> plain residue */
    lnmpff_const_fn setzero; /* 0 */
    lnmpff_const_fn setone;  /* the element 1 */
    lnmpff_binop_fn add;     /* a + b */
    lnmpff_binop_fn sub;     /* a - b */
    lnmpff_binop_fn mul;     /* a * b */
    lnmpff_unop_fn sqr;      /* a^2 */
    lnmpff_unop_fn div2;     /* a / 2 */
    lnmpff_unop_fn inv;      /* a^-1, for a non-zero a (the inverse of 0 is not defined) */
};

/* Fills ctx from the modulus p (odd, at most LNMPFF_MAX_DIGITS words; an
 * even p is accepted but its arithmetic is meaningless). Returns ctx, or
 * NULL when ctx or p is NULL, p is zero or p has more than 16 words. ctx
 * must not be in use by other threads during the call. */
LNCEXT_API lnmpff_ctx *lnmpff_init(lnmpff_ctx *ctx, const uint32_t *p);

/* The slot functions, exported under their own names with exactly the slot
 * signatures. The common ones serve both representations. */
LNCEXT_API uint32_t *lnmpffsetzero(const lnmpff_ctx *ctx, uint32_t *r);
LNCEXT_API uint32_t *lnmpffadd(const lnmpff_ctx *ctx, const uint32_t *a, const uint32_t *b,
                               uint32_t *r);
LNCEXT_API uint32_t *lnmpffsub(const lnmpff_ctx *ctx, const uint32_t *a, const uint32_t *b,
                               uint32_t *r);
LNCEXT_API uint32_t *lnmpffdiv2(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r);

/* Special form: in reduces a (any value) mod p, out copies. */
LNCEXT_API uint32_t *lnmpffpsfin(const lnmpff_ctx *ctx, uint32_t *r, const uint32_t *a);
LNCEXT_API uint32_t *lnmpffpsfout(const lnmpff_ctx *ctx, uint32_t *r, const uint32_t *a);
LNCEXT_API uint32_t *lnmpffpsfsetone(const lnmpff_ctx *ctx, uint32_t *r);
LNCEXT_API uint32_t *lnmpffpsfmul(const lnmpff_ctx *ctx, const uint32_t *a, const uint32_t *b,
                                  uint32_t *r);
LNCEXT_API uint32_t *lnmpffpsfsqr(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r);
LNCEXT_API uint32_t *lnmpffpsfinv(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r);

/* Montgomery form: in gives a * R mod p for any a, out a * R^-1 mod p; inv
 * of the form of a gives the form of a^-1. */
LNCEXT_API uint32_t *lnmpffmontin(const lnmpff_ctx *ctx, uint32_t *r, const uint32_t *a);
LNCEXT_API uint32_t *lnmpffmontout(const lnmpff_ctx *ctx, uint32_t *r, const uint32_t *a);
LNCEXT_API uint32_t *lnmpffmontsetone(const lnmpff_ctx *ctx, uint32_t *r);
LNCEXT_API uint32_t *lnmpffmontmul(const lnmpff_ctx *ctx, const uint32_t *a, const uint32_t *b,
                                   uint32_t *r);
LNCEXT_API uint32_t *lnmpffmontsqr(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r);
LNCEXT_API uint32_t *lnmpffmontinv(const lnmpff_ctx *ctx, const uint32_t *a, uint32_t *r);

/* r = x^e through the slots of ctx (x and r in the representation, e a
 * plain big number of any length; e = 0 gives the element 1). Sliding
 * window of 5 bits over 16 odd powers; the powers are wiped on return. */
LNCEXT_API uint32_t *lnmpffpow(const lnmpff_ctx *ctx, const uint32_t *x, const uint32_t *e,
                               uint32_t *r);

/* ------------------------------------------------------------------------
 * Curve points
 *
 * A point is (X, Y, Z) in the field representation and stands for the
 * affine (X / Z^2, Y / Z^3). Z = 0 is the point at infinity whatever X and
 * Y hold; the library writes it as X = Y = 1, Z = 0. Z = 1 is a normalised
 * point. Coordinates handed in or out (x, y, a, b, p) are plain numbers.
 */

typedef struct lnmec_point {
    uint32_t X[LNMPFF_WORDS];
    uint32_t Y[LNMPFF_WORDS];
    uint32_t Z[LNMPFF_WORDS];
} lnmec_point;

typedef struct lnmec_ctx lnmec_ctx;

/* The doubling slot: R = 2P; R may be P. */
typedef lnmec_point *(*lnmec_dbl_fn)(const lnmec_ctx *ctx, lnmec_point *R, const lnmec_point *P);

struct lnmec_ctx {
    uint32_t a[LNMPFF_WORDS]; /* coefficient a, in the representation */
    uint32_t b[LNMPFF_WORDS]; /* coefficient b, in the representation */
    lnmpff_ctx field;         /* GF(p) */
    lnmec_dbl_fn dbl;         /* lnmecpd_3 when a = p - 3 was given, else lnmecpd */
};

/* Zeroes ctx, then fills it for y^2 = x^3 + ax + b over GF(p); a and b are
 * below p (not checked). Returns ctx, or NULL when an argument is NULL or the
 * field cannot be made (lnmpff_init). The cheaper a = -3 doubling is chosen
 * only when a is given exactly as p - 3. */
LNCEXT_API lnmec_ctx *lnmeccr(lnmec_ctx *ctx, const uint32_t *p, const uint32_t *a,
                              const uint32_t *b);
/* Overwrites the whole context with zeros; nothing for NULL. */
LNCEXT_API void lnmeccl(lnmec_ctx *ctx);
/* P = the affine point (x, y) (below p, not checked; NULL reads as 0).
 * x = y = 0 gives the point at infinity. Returns P, or NULL for a NULL ctx
 * or P, or when (x, y) is not on the curve (P is then all zeros). */
LNCEXT_API lnmec_point *lnmecpcr(const lnmec_ctx *ctx, lnmec_point *P, const uint32_t *x,
                                 const uint32_t *y);
/* Overwrites the point with zeros; nothing for NULL. */
LNCEXT_API void lnmecpcl(lnmec_point *P);
/* Normalises P in place (Z = 1) and writes its plain affine coordinates to x
 * and y (LNMPFF_WORDS words each; either may be NULL). Returns 1, or 0 for
 * the point at infinity, which is left as it is, with 0 written to x and y. */
LNCEXT_API int lnmecpxy(const lnmec_ctx *ctx, lnmec_point *P, uint32_t *x, uint32_t *y);
/* P = -P in place (P normalised first; infinity stays). Returns P. */
LNCEXT_API lnmec_point *lnmecpneg(const lnmec_ctx *ctx, lnmec_point *P);
/* R = P + Q; R may be P or Q. Returns R. */
LNCEXT_API lnmec_point *lnmecpa(const lnmec_ctx *ctx, lnmec_point *R, const lnmec_point *P,
                                const lnmec_point *Q);
/* R = 2P for any a; R may be P. Returns R. */
LNCEXT_API lnmec_point *lnmecpd(const lnmec_ctx *ctx, lnmec_point *R, const lnmec_point *P);
/* R = 2P, only for a curve with a = p - 3; R may be P. Returns R. */
LNCEXT_API lnmec_point *lnmecpd_3(const lnmec_ctx *ctx, lnmec_point *R, const lnmec_point *P);

/* ------------------------------------------------------------------------
 * Scalar multiplication (the scalars are plain big numbers, not reduced
 * modulo the group order; k = 0 gives the point at infinity)
 */

/* Fills T (LNMEC_TABLE_ENTRIES(w) points) with P, 3P, 5P, ... for window
 * width w (1 to 31). P must not be one of T's records. Returns T. */
LNCEXT_API lnmec_point *lnmecic(const lnmec_ctx *ctx, lnmec_point *T, const lnmec_point *P,
                                uint32_t w);
/* R = k P by a sliding window of width w over the table T of P (lnmecic
 * with the same w). When n is not zero, dummy additions on a scratch copy
 * make the number of additions at least ceil(n / w). R must not be one of
 * T's records. Returns R. */
LNCEXT_API lnmec_point *lnmecickp(const lnmec_ctx *ctx, lnmec_point *R, const lnmec_point *T,
                                  const uint32_t *k, uint32_t w, uint32_t n);
/* R = k P with a 16-entry table built for the call; R may be P. */
LNCEXT_API lnmec_point *lnmeckp(const lnmec_ctx *ctx, lnmec_point *R, const uint32_t *k,
                                const lnmec_point *P);
/* R = k P + l Q with one chain of doublings (2-bit digits of both scalars
 * over a 16-entry joint table); R may be P or Q. */
LNCEXT_API lnmec_point *lnmecakp(const lnmec_ctx *ctx, lnmec_point *R, const uint32_t *k,
                                 const lnmec_point *P, const uint32_t *l, const lnmec_point *Q);

/* ------------------------------------------------------------------------
 * GOST R 34.10-2001 signatures and VKO key agreement over 256-bit curves
 */

typedef struct rds_ctx {
    lnmec_ctx curve;                         /* the curve over GF(p) */
    uint32_t q[LNMPFF_WORDS];                /* subgroup order, plain number */
    lnmec_point G;                           /* base point, normalised */
    uint32_t pub_len;                        /* 64 (RDS_PUBLIC_KEY_BYTES) */
    uint32_t prv_len;                        /* 32 (RDS_PRIVATE_KEY_BYTES) */
    uint32_t sig_len;                        /* 64 (RDS_SIGNATURE_BYTES) */
    uint32_t w;                              /* 5, the width of table */
    lnmec_point table[LNMEC_WINDOW_ENTRIES]; /* G, 3G, ..., 31G */
} rds_ctx;

/* Fills ctx from six 32-byte big-endian domain parameters: p (odd, at least
 * 255 bits), a and b (non-zero, below p), q (q + 1 at least 255 bits) and the
 * base point (x, y) (each below p, on the curve; 0, 0 is the point at
 * infinity and accepted). Returns RDS_OK, RDS_NULL_ARGUMENT, RDS_BAD_CURVE,
 * RDS_BAD_BASE_POINT or RDS_BAD_ORDER (checked in that order). q is not
 * tested for primality. On failure ctx is unusable. */
LNCEXT_API uint32_t rds_init(rds_ctx *ctx, const uint8_t *p, const uint8_t *a, const uint8_t *b,
                             const uint8_t *q, const uint8_t *x,
                             const uint8_t *y) LNCEXT_WARN_UNUSED;
/* Writes the six domain parameters of ctx into six 32-byte buffers (the
 * base point all zero when it is the point at infinity). Returns RDS_OK or
 * RDS_NULL_ARGUMENT. */
LNCEXT_API uint32_t rds_get_prms(const rds_ctx *ctx, uint8_t *p, uint8_t *a, uint8_t *b, uint8_t *q,
                                 uint8_t *x, uint8_t *y);
/* pub (64 bytes) = d G for the private key d (32 bytes). Returns RDS_OK,
 * RDS_NULL_ARGUMENT or RDS_RETRY (d = 0 or d >= q). */
LNCEXT_API uint32_t rds_gen_keys(const rds_ctx *ctx, const uint8_t *d,
                                 uint8_t *pub) LNCEXT_WARN_UNUSED;
/* sig (64 bytes: s then r) of the 32-byte hash value with private key d and
 * the per-signature random number k (32 bytes each). e = hash mod q, 0
 * taken as 1. Returns RDS_OK, RDS_NULL_ARGUMENT, RDS_BAD_PRIVATE_KEY (d = 0
 * or d >= q) or RDS_RETRY (k = 0, k >= q, r = 0 or s = 0: call again with a
 * new k). sig may not overlap the inputs. */
LNCEXT_API uint32_t rds_sign(const rds_ctx *ctx, const uint8_t *d, const uint8_t *k,
                             const uint8_t *hash, uint8_t *sig) LNCEXT_WARN_UNUSED;
/* Checks the 64-byte signature of the 32-byte hash value against the
 * 64-byte public key. Returns RDS_OK for a valid signature,
 * RDS_INVALID_SIGNATURE, RDS_BAD_PUBLIC_KEY (checked first) or
 * RDS_NULL_ARGUMENT. A public key of 64 zero bytes is the point at infinity. */
LNCEXT_API uint32_t rds_verify(const rds_ctx *ctx, const uint8_t *pub, const uint8_t *hash,
                               const uint8_t *sig) LNCEXT_WARN_UNUSED;

/* The same as rds_init. */
LNCEXT_API uint32_t vko341001_init(rds_ctx *ctx, const uint8_t *p, const uint8_t *a,
                                   const uint8_t *b, const uint8_t *q, const uint8_t *x,
                                   const uint8_t *y) LNCEXT_WARN_UNUSED;
/* pub (64 bytes) = d G. Returns RDS_OK, RDS_NULL_ARGUMENT or
 * RDS_BAD_PRIVATE_KEY. */
LNCEXT_API uint32_t vko341001_gen_pubkey(const rds_ctx *ctx, const uint8_t *d,
                                         uint8_t *pub) LNCEXT_WARN_UNUSED;
/* kek (32 bytes) = GOST R 34.11-94 (CryptoPro_iv, CryptoPro_uz) of the shared
 * point K = ((d u) mod q) pub, hashed as x then y, each big-endian and
 * LEFT-aligned in a zero-filled 32-byte field (the one encoding here that
 * does not right-align). u is the 8-byte UKM read big-endian. The checks run
 * in this order: RDS_NULL_ARGUMENT, RDS_BAD_PUBLIC_KEY, RDS_BAD_PRIVATE_KEY,
 * RDS_BAD_UKM (u = 0 or u >= q). The shared point and the hash input are
 * wiped before the call returns. */
LNCEXT_API uint32_t vko341001_gen_kek(const rds_ctx *ctx, uint8_t *kek, const uint8_t *d,
                                      const uint8_t *pub, const uint8_t *ukm) LNCEXT_WARN_UNUSED;

LNCEXT_END_DECLS

#endif
