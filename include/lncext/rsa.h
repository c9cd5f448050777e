/*
 * lncext primes and RSA: probable-prime tests and prime search, key
 * generation with the public exponent 65537, key records, and the raw
 * (unpadded) RSA operations.
 *
 * Big numbers are those of lncext/bignum.h. The RSA path works on primes of
 * at most 32 words (1024 bits, moduli up to 2048 bits).
 *
 * Random bytes. The Miller-Rabin bases of RabinMiller, isPrime, isRSAPrime
 * and find_prime_near (and so of rsa_keygen) come from the process-wide hook
 * rsa_gen_rnd, which the application sets once, before any of them is used,
 * and never changes while they may run. The candidates of rsa_keygen come
 * from the caller's bytes, never from the hook.
 *
 * Threads. lnmrmt keeps one generator word for its bases across calls;
 * concurrent calls race on which bases are drawn (each verdict stays
 * correct). The RSA-path tests divide by the caller's number, which is
 * shifted in place during the division: that number must not be in use by
 * another thread meanwhile. Everything else is reentrant; key blobs may be
 * shared by any number of concurrent RSA operations.
 */
#ifndef LNCEXT_RSA_H
#define LNCEXT_RSA_H

#include <stdint.h>

#include "lncext/bignum.h"
#include "lncext/export.h"

/* Result codes of the key-generation, key-record and RSA functions. */
/* Success; for rsa_verify: the signature is valid. */
#define RSA_OK 0u
/* Modulus size not 512, 1024, 1536 or 2048 bits. */
#define RSA_ERR_MODSIZE 1u
/* Null argument, no key in the context, malformed key record, input longer
 * than the modulus (rsa_sign, rsa_decrypt). */
#define RSA_ERR_ARG 2u
/* rsa_keygen: no complete key yet; call again with fresh random bytes. */
#define RSA_NEED_MORE 3u
/* rsa_keygen: fewer random bytes than bits / 16. */
#define RSA_ERR_RND_SHORT 4u
/* rsa_get_pubkey, rsa_get_privkey: output buffer too short. */
#define RSA_ERR_BUF_SHORT 5u
/* rsa_verify: the signature does not match. */
#define RSA_ERR_SIG 6u
/* rsa_encrypt: input length zero, negative or longer than the modulus; also
 * a negative length in rsa_verify, rsa_sign and rsa_decrypt. */
#define RSA_ERR_INLEN 7u

/* The public exponent of generated keys. */
#define RSA_PUBLIC_EXPONENT 65537u
/* Words of one prime or CRT value in rsa_keygen_ctx: count plus 32 digits. */
#define RSA_PRIME_WORDS 33
/* Largest number in a key parameter record, in bytes. */
#define RSA_RECORD_MAX 256
/* Length bounds of the records of the key blobs. */
#define RSA_PUB_RECORD_MAX 256
#define RSA_PRIV_RECORD_MAX 128
/* Public key blob of a generated bits-bit key: record(n), record(65537). */
#define RSA_PUBKEY_BYTES(bits) ((bits) / 8 + 7)
/* Room rsa_get_privkey asks for: five records of at most bits / 16 bytes. */
#define RSA_PRIVKEY_BYTES(bits) (5 * ((bits) / 16) + 10)
/* Largest blobs of the largest permitted size (2048 bits). */
#define RSA_PUBKEY_MAX_BYTES RSA_PUBKEY_BYTES(2048)
#define RSA_PRIVKEY_MAX_BYTES RSA_PRIVKEY_BYTES(2048)

/* Signed big number: words 0..128 a big number of at most 128 digits, word
 * 129 the sign, +1 or -1 (as int32_t). Zero may carry either sign. */
#define LNMSI_WORDS 130
#define LNMSI_SIGN 129

/* Offsets find_prime_near sieves: n + 0 to n + 4063. */
#define RSA_SIEVE_BITS 4064

LNCEXT_BEGIN_DECLS

/* ---- Random bytes ---- */

/* Fills buf with len random bytes; the int result is handed back by
 * rsa_keygen_rp_init and otherwise ignored. */
typedef int (*rsa_rnd_fn)(uint8_t *buf, uint32_t len);

/* The hook the RSA-path Miller-Rabin tests draw their bases from. Null until
 * the application stores its generator here. (Without it the tests still
 * end, with every base 2: no use for keys.) */
LNCEXT_API extern rsa_rnd_fn rsa_gen_rnd;

/* A placeholder of the hook's shape: produces no bytes, returns 0. The
 * library never calls it. */
LNCEXT_API int dummy_gen_rnd(uint8_t *buf, uint32_t len);

/* Random-base pool of one RabinMiller call: the number under test, 256
 * random bytes, and the index of the next byte to read (66 words on a
 * 32-bit platform). */
typedef struct rsa_keygen_rp_ctx {
    const uint32_t *n;
    uint8_t pool[256];
    uint32_t pos;
} rsa_keygen_rp_ctx;

/* Clears the pool, keeps the pointer n (which must stay valid while bases
 * are drawn), fills the bytes by rsa_gen_rnd(pool, 256) and starts at byte
 * 0. Returns the hook's result. */
LNCEXT_API int rsa_keygen_rp_init(rsa_keygen_rp_ctx *pool, const uint32_t *n);

/* Draws the next base b, 2 <= b < n, from nbytes = byte length of n pool
 * bytes read big-endian at the current position (consecutive bases share all
 * but one byte), reduced below 2^(bit length of n) and then below n. Refills
 * the pool by the hook when fewer than nbytes bytes remain. Bases that come
 * out as 0 or 1 are skipped; after 64 refills in one call without a usable
 * base (a missing hook, or one returning only zeros) the base is 2. n has at
 * most 256 bytes and is at least 3; b needs n[0] + 1 words. Returns b. */
LNCEXT_API uint32_t *rsa_keygen_rp_get(rsa_keygen_rp_ctx *pool, uint32_t *b);

/* ---- Probable primes ---- */

/* Miller-Rabin test of the odd n >= 3 (at most 32 words) with `rounds`
 * random bases from a pool set up for n. 1: probably prime, 0: composite
 * (also for even n other than 2, and for n < 3). n is shifted in place while
 * it is divided by and restored. A longer n is handed to lnmrmt. */
LNCEXT_API int RabinMiller(uint32_t *n, uint32_t rounds);

/* Trial division by the primes up to 997, then RabinMiller with a round
 * count that falls with the bit length (27 below 150 bits, 3 at 1024, 2 from
 * 1300). n >= 2 (0 gives 0), at most 32 words. 1: probably prime. */
LNCEXT_API int isPrime(uint32_t *n);

/* 1 when p suits a modulus of modbits bits: p has exactly modbits / 2 bits,
 * p mod 65537 is not 1, and isPrime(p). */
LNCEXT_API int isRSAPrime(uint32_t *p, uint32_t modbits);

/* The two size and residue conditions of isRSAPrime without the primality
 * test. */
LNCEXT_API int rsa_prime_ok(const uint32_t *p, uint32_t modbits);

/* 1 for 512, 1024, 1536 and 2048, else 0. */
LNCEXT_API int rsa_is_prermitted_modsize(uint32_t bits);

/* Searches n, n + 2, ..., n + 4062 (odd n, at most 32 words, room for one
 * more word) for the first probable prime, after sieving out the multiples
 * of the odd primes up to 3571. Found: n becomes the prime, returns 1. None:
 * returns 0 with n unchanged. */
LNCEXT_API int find_prime_near(uint32_t *n);

/* Self-contained Miller-Rabin test of n (at most 128 words) with `rounds`
 * pseudo-random bases from a generator word kept across calls. 1 for n = 2
 * or probably prime; 0 for zero, one, even n, composite, or more than 128
 * words. n is shifted in place while it is divided by and restored. */
LNCEXT_API int lnmrmt(uint32_t *n, uint32_t rounds);

/* ---- Number theory ---- */

/* r = x^e mod m for an odd m of at most 32 words and x of at most m[0]
 * words; e = 0 gives 1 (m > 1). m is shifted in place during the call and
 * restored. r needs m[0] + 1 words and may be x or e. Returns r. */
LNCEXT_API uint32_t *rsapowmod(const uint32_t *x, const uint32_t *e, uint32_t *m, uint32_t *r);

/* g = gcd(a, b) for a and b of at most 64 words; gcd(0, 0) = 0. g may be a
 * or b. Returns g. */
LNCEXT_API uint32_t *GCD(const uint32_t *a, const uint32_t *b, uint32_t *g);

/* a = a^-1 mod m for 0 < a < m coprime to m (m odd or even), both at most 128
 * words; a needs m[0] + 1 words. An a with no inverse becomes 0. Returns
 * a. */
LNCEXT_API uint32_t *inv_mod_extgcd(uint32_t *a, const uint32_t *m);

/* Signed big numbers (LNMSI_WORDS words each). */
/* r = +a (a at most 128 digits). Returns r. */
LNCEXT_API uint32_t *lnmsicr(uint32_t *r, const uint32_t *a);
/* r = a, magnitude and sign. Returns r. */
LNCEXT_API uint32_t *lnmsicopy(uint32_t *r, const uint32_t *a);
/* a = a - b in place (a == b allowed). Returns a. */
LNCEXT_API uint32_t *lnmsisub(uint32_t *a, const uint32_t *b);
/* r = a - q * b for signed a, b and the unsigned big number q (q |b| and
 * the result within 128 digits); r distinct from a, q, b. Returns r. */
LNCEXT_API uint32_t *lnmsisubmul(uint32_t *r, const uint32_t *a, const uint32_t *q,
                                 const uint32_t *b);

/* Bit strings: word 0 the word count (the capacity, never trimmed), bit i is
 * bit i mod 32 of word i / 32 + 1. */
/* Makes bs ceil(nbits / 32) words, each set to fill. */
LNCEXT_API void lnmbscr(uint32_t *bs, uint32_t nbits, uint32_t fill);
/* Capacity in bits: 32 * word count. */
LNCEXT_API uint32_t lnmbslen(const uint32_t *bs);
/* Sets bit i (v != 0) or clears it (v == 0) and returns v; -1 and nothing
 * changed when i is beyond the capacity. */
LNCEXT_API int lnmbssetbit(uint32_t *bs, uint32_t i, int v);
/* Index of the first bit after i whose value is v (0 or 1), or 0xFFFFFFFF
 * when there is none. */
LNCEXT_API uint32_t lnmbsnextval(const uint32_t *bs, uint32_t i, int v);

/* ---- Key generation and key records ---- */

/* Key-generation context: the primes p > q, d mod (p - 1), d mod (q - 1),
 * q^-1 mod p (each a big number of at most 32 digits) and the modulus size.
 * The private exponent d itself is not kept. */
typedef struct rsa_keygen_ctx {
    uint32_t p[RSA_PRIME_WORDS];
    uint32_t q[RSA_PRIME_WORDS];
    uint32_t dP[RSA_PRIME_WORDS];
    uint32_t dQ[RSA_PRIME_WORDS];
    uint32_t qInv[RSA_PRIME_WORDS];
    uint32_t bits;
} rsa_keygen_ctx;

/* RSA_ERR_MODSIZE (ctx untouched) for a size not permitted, RSA_ERR_ARG
 * for a null ctx; otherwise zeroes ctx, stores bits, RSA_OK. */
LNCEXT_API uint32_t rsa_keygen_init(rsa_keygen_ctx *ctx, uint32_t bits) LNCEXT_WARN_UNUSED;

/* One step of key generation from the first bits / 16 bytes of rnd: the
 * nearest prime candidate at or above them (lifted to bits / 2 bits) becomes
 * the first prime (RSA_NEED_MORE), or with a first prime present, the second
 * (RSA_OK: the key is complete, p > q). RSA_NEED_MORE also when no suitable
 * prime was found near the bytes. RSA_ERR_ARG (null ctx, or null rnd),
 * RSA_ERR_MODSIZE, RSA_ERR_RND_SHORT (rnd_len < bits / 16) change nothing.
 * Call again with fresh bytes until RSA_OK. */
LNCEXT_API uint32_t rsa_keygen(rsa_keygen_ctx *ctx, const uint8_t *rnd,
                               uint32_t rnd_len) LNCEXT_WARN_UNUSED;

/* dP, dQ and qInv of ctx from its primes p > q and the exponent 65537.
 * RSA_OK, or RSA_ERR_ARG (ctx unchanged) for a null ctx or missing primes. */
LNCEXT_API uint32_t rsa_gen_crt(rsa_keygen_ctx *ctx);

/* Writes the public key blob, record(n) then record(65537),
 * RSA_PUBKEY_BYTES(bits) bytes. RSA_ERR_ARG (null argument, no complete
 * key), RSA_ERR_MODSIZE, RSA_ERR_BUF_SHORT (buf_len below
 * RSA_PUBKEY_BYTES(bits)); buf is written only on RSA_OK. */
LNCEXT_API uint32_t rsa_get_pubkey(const rsa_keygen_ctx *ctx, uint8_t *buf,
                                   uint32_t buf_len) LNCEXT_WARN_UNUSED;

/* Writes the private key blob: the records of p, q, dP, dQ, qInv (at most
 * RSA_PRIVKEY_BYTES(bits) bytes, which buf_len must reach). Result codes as
 * rsa_get_pubkey; buf is written only on RSA_OK. */
LNCEXT_API uint32_t rsa_get_privkey(const rsa_keygen_ctx *ctx, uint8_t *buf,
                                    uint32_t buf_len) LNCEXT_WARN_UNUSED;

/* Writes x as a key parameter record at rec: two bytes of L (big-endian),
 * then L bytes of x big-endian, minimal (zero has L = 0). Returns L + 2, or
 * -1 when L exceeds 256 (only the two length bytes are written then). */
LNCEXT_API int save_rsa_key_prm(uint8_t *rec, const uint32_t *x);

/* Reads the record at rec into x (room for 66 words). Returns L + 2, or -1
 * with x untouched when the stored L exceeds 256. */
LNCEXT_API int load_rsa_key_prm(uint32_t *x, const uint8_t *rec);

/* ---- RSA operations (raw: no padding, no hashing) ----
 * Keys are blobs of key parameter records: public n then e (each L from 1 to
 * 256), private p, q, dP, dQ, qInv (each L from 1 to 128). k is the modulus
 * length in bytes (public: the bit length of n rounded up to bytes; private:
 * (bit length of p + bit length of q) / 8), for a permitted size only.
 * Inputs are big-endian; out receives exactly k bytes, the result
 * right-aligned. Every check comes before any write to out. The input is
 * read in full before out is written, so out may be the input buffer itself
 * (in place); it must not otherwise overlap it or the key. */

/* out = in^e mod n. RSA_ERR_ARG (null argument, bad record, even n),
 * RSA_ERR_MODSIZE, RSA_ERR_INLEN (in_len <= 0 or > k). */
LNCEXT_API uint32_t rsa_encrypt(uint8_t *out, const uint8_t *in, int32_t in_len,
                                const uint8_t *pub) LNCEXT_WARN_UNUSED;

/* RSA_OK when sig (k bytes)^e mod n equals msg (msg_len bytes, any length
 * from 0) reduced mod n, RSA_ERR_SIG when not; RSA_ERR_ARG, RSA_ERR_MODSIZE
 * as rsa_encrypt, RSA_ERR_INLEN for a negative msg_len. */
LNCEXT_API uint32_t rsa_verify(const uint8_t *sig, const uint8_t *msg, int32_t msg_len,
                               const uint8_t *pub) LNCEXT_WARN_UNUSED;

/* out = in^d mod n by the Chinese remainder theorem (Garner's
 * recombination; p < q and unbalanced primes are accepted). RSA_ERR_ARG
 * (null argument, bad record, even or unit p or q, in_len > k),
 * RSA_ERR_MODSIZE, RSA_ERR_INLEN (in_len < 0). in_len = 0 gives k zero
 * bytes. */
LNCEXT_API uint32_t rsa_sign(uint8_t *out, const uint8_t *in, int32_t in_len,
                             const uint8_t *priv) LNCEXT_WARN_UNUSED;

/* The same operation as rsa_sign. */
LNCEXT_API uint32_t rsa_decrypt(uint8_t *out, const uint8_t *in, int32_t in_len,
                                const uint8_t *priv) LNCEXT_WARN_UNUSED;

LNCEXT_END_DECLS

#endif
