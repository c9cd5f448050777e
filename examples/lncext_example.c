/*
 * A first tour of lncext: big numbers, GOST 28147-89 and its hash, Streebog,
 * the 128-bit block cipher, GOST R 34.10-2001 signatures and VKO, RSA, and
 * DSTU 4145-2002 signatures and key agreement.
 *
 * Build and run it with
 *   cmake -S . -B build/example -DLNCEXT_BUILD_TESTS=OFF
 *   cmake --build build/example --target lncext_example
 *   ./build/example/examples/lncext_example
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>

#include "lncext/lncext.h"

static void print_number(const char *label, const uint32_t *a) {
    char text[2 * 4 * LNMBIG_MAX_DIGITS + 1];
    lnmtoxstr(a, text, sizeof text);
    printf("  %-10s %s\n", label, text);
}

static void big_numbers(void) {
    /* Every big number lives in caller storage: a count word and digits. */
    uint32_t a[LNMBIG_WORDS], b[LNMBIG_WORDS], p[LNMBIG_WORDS], q[LNMBIG_WORDS];
    uint32_t r[LNMBIG_WORDS], m[LNMBIG_WORDS], e[LNMBIG_WORDS];
    static uint32_t table[LNM_POWMOD_TABLE_WORDS];
    static const uint8_t a_bytes[] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                                      0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
    uint8_t out[16];
    unsigned int n;

    puts("Big numbers");
    lnmfrombase256(a, a_bytes, sizeof a_bytes); /* big-endian bytes */
    lnmvalueof32(b, 2, (uint32_t)0xDEADBEEF, (uint32_t)0x0BADF00D);
    print_number("a", a);
    print_number("b", b);

    lnmmul(a, b, p);
    print_number("a * b", p);

    lnmdiv(p, a, q, r); /* divides by a: a must be writable */
    print_number("(a*b) / a", q);
    print_number("remainder", r);

    /* 2^255 - 19 and 3^(2^255 - 21) mod it: the inverse of 3 by Fermat. */
    lnmexpb2(m, 255);
    lnmsub(m, lnmconvert(r, 19));
    lnmcopy(e, m);
    lnmsub(e, LNMBIG_TWO);
    lnmpowmod(table, LNMBIG_THREE, e, m, r);
    print_number("p", m);
    print_number("3^(p-2)", r);
    lnmmul(r, LNMBIG_THREE, p);
    lnmdiv(p, m, NULL, p);
    print_number("3 * that", p);

    n = lnmtorbase256(out, sizeof out, b);
    printf("  b little-endian: %u bytes:", n);
    for (unsigned int i = 0; i < n; i++) printf(" %02x", out[i]);
    printf("\n");
}

static void print_hex(const char *label, const void *data, size_t len) {
    const uint8_t *p = (const uint8_t *)data;
    printf("  %-10s ", label);
    for (size_t i = 0; i < len; i++) printf("%02x", p[i]);
    printf("\n");
}

/* A 256-bit key as 32 bytes, read as eight little-endian words (the way
 * GOST 28147-89 keys travel in files and protocols). */
static void key_words(uint32_t key[G28147_KEY_WORDS], const uint8_t bytes[G28147_KEY_BYTES]) {
    for (int i = 0; i < G28147_KEY_WORDS; i++)
        key[i] = (uint32_t)bytes[4 * i] | (uint32_t)bytes[4 * i + 1] << 8 |
                 (uint32_t)bytes[4 * i + 2] << 16 | (uint32_t)bytes[4 * i + 3] << 24;
}

static void gost28147(void) {
    static const char message[] = "Attack at dawn, bring GOST 28147-89 along";
    uint8_t key_bytes[G28147_KEY_BYTES], digest[GR341194_DIGEST_BYTES];
    uint8_t cipher[sizeof message], plain[sizeof message];
    uint32_t key[G28147_KEY_WORDS], mac;
    const uint32_t iv[G28147_IV_WORDS] = {0x12345678u, 0x9ABCDEF0u};
    gr341194_md_ctx md;
    g28147_cfb_ctx cfb;
    g28147_hmac_ctx imit;

    puts("GOST R 34.11-94 and GOST 28147-89 (CryptoPro S-box)");
    gr341194_md_init_ext(&md, CryptoPro_iv, CryptoPro_uz);
    gr341194_md_update(&md, "abc", 3);
    gr341194_md_final(&md, digest);
    print_hex("H(\"abc\")", digest, sizeof digest);

    /* Derive a demo key from the hash; a real key comes from a key store. */
    memcpy(key_bytes, digest, sizeof key_bytes);
    key_words(key, key_bytes);

    g28147_cfb_init_ext(&cfb, 1, key, iv, CryptoPro_uz);
    g28147_cfb_update(&cfb, message, cipher, sizeof message);
    print_hex("CFB", cipher, sizeof message);
    g28147_cfb_init_ext(&cfb, 0, key, iv, CryptoPro_uz);
    g28147_cfb_update(&cfb, cipher, plain, sizeof message);
    printf("  decrypted  %s\n", (const char *)plain);

    g28147_hmac_init_ext(&imit, key, CryptoPro_uz);
    g28147_hmac_update(&imit, message, sizeof message);
    if (g28147_hmac_final(&imit, &mac)) printf("  MAC        %08x\n", (unsigned)mac);
}

static void streebog(void) {
    static const char m1[] = "012345678901234567890123456789012345678901234567890123456789012";
    uint8_t digest[STREEBOG256_BYTES];
    streebog_ctx ctx;

    puts("Streebog");
    streebog256_init(&ctx);
    streebog256_update(&ctx, m1, (uint32_t)strlen(m1));
    streebog256_final(digest, &ctx);
    print_hex("256(M1)", digest, sizeof digest);
}

static void kuznyechik(void) {
    static const uint8_t key[KUZN_KEY_BYTES] = {0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff,
                                                0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                                0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10,
                                                0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef};
    static const uint8_t iv[KUZN_IV_BYTES] = {0x12, 0x34, 0x56, 0x78, 0x90, 0xab, 0xce, 0xf0};
    static const char message[] = "Counter mode needs no padding";
    uint32_t key_words32[KUZN_KEY_BYTES / 4];
    uint8_t buf[sizeof message];
    kuzn_ctr_ctx ctr;

    puts("GOST R 34.12-2015 128-bit cipher, CTR");
    memcpy(key_words32, key, sizeof key); /* the key is bytes; the type is words */
    kuzn_ctr_init(&ctr, iv, key_words32);
    kuzn_ctr_update(&ctr, message, buf, sizeof message);
    print_hex("CTR", buf, sizeof buf);
    kuzn_ctr_init(&ctr, iv, key_words32);
    kuzn_ctr_update(&ctr, buf, buf, sizeof buf); /* in place */
    printf("  decrypted  %s\n", (const char *)buf);
}

/* The CryptoPro A parameter set of GOST R 34.10-2001 (RFC 4357), as the six
 * 32-byte big-endian strings rds_init takes. */
static const char *const cryptopro_a[6] = {
    "fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffd97", /* p */
    "fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffd94", /* a */
    "00000000000000000000000000000000000000000000000000000000000000a6", /* b */
    "ffffffffffffffffffffffffffffffff6c611070995ad10045841b09b761b893", /* q */
    "0000000000000000000000000000000000000000000000000000000000000001", /* x */
    "8d91e471e0989cda27df505a453f2b7635294f2ddf23e3b122acc99c9e9f1e14", /* y */
};

static void from_hex(uint8_t *out, const char *hex, size_t n) {
    for (size_t i = 0; i < n; i++) {
        unsigned int v;
        sscanf(hex + 2 * i, "%2x", &v);
        out[i] = (uint8_t)v;
    }
}

static void gost_signatures(void) {
    static const char message[] = "Sign me with GOST R 34.10-2001";
    uint8_t prm[6][RDS_NUMBER_BYTES], hash[RDS_HASH_BYTES];
    uint8_t d_alice[RDS_PRIVATE_KEY_BYTES], d_bob[RDS_PRIVATE_KEY_BYTES], k[RDS_NUMBER_BYTES];
    uint8_t pub_alice[RDS_PUBLIC_KEY_BYTES], pub_bob[RDS_PUBLIC_KEY_BYTES];
    uint8_t sig[RDS_SIGNATURE_BYTES], ukm[VKO341001_UKM_BYTES];
    uint8_t kek_alice[VKO341001_KEK_BYTES], kek_bob[VKO341001_KEK_BYTES];
    gr341194_md_ctx md;
    rds_ctx ctx; /* about 4 KB; filled once, then shared read-only */
    uint32_t rc;
    int i;

    puts("GOST R 34.10-2001 and VKO (CryptoPro A)");
    for (i = 0; i < 6; i++) from_hex(prm[i], cryptopro_a[i], RDS_NUMBER_BYTES);
    rc = rds_init(&ctx, prm[0], prm[1], prm[2], prm[3], prm[4], prm[5]);
    if (rc != RDS_OK) {
        printf("  rds_init failed: %u\n", (unsigned)rc);
        return;
    }

    /* Keys, nonces and UKMs come from the caller's random source; fixed
     * demo values here (each below q). */
    memset(d_alice, 0x11, sizeof d_alice);
    memset(d_bob, 0x22, sizeof d_bob);
    memset(k, 0x33, sizeof k);
    memcpy(ukm, "\x01\x23\x45\x67\x89\xab\xcd\xef", sizeof ukm);
    if (rds_gen_keys(&ctx, d_alice, pub_alice) != RDS_OK ||
        vko341001_gen_pubkey(&ctx, d_bob, pub_bob) != RDS_OK)
        return;
    print_hex("public x", pub_alice, 32);
    print_hex("public y", pub_alice + 32, 32);

    /* The signature covers a hash value: GOST R 34.11-94 here. */
    gr341194_md_init_ext(&md, CryptoPro_iv, CryptoPro_uz);
    gr341194_md_update(&md, message, (uint32_t)strlen(message));
    gr341194_md_final(&md, hash);
    rc = rds_sign(&ctx, d_alice, k, hash, sig);
    if (rc == RDS_RETRY) puts("  (a real caller draws a new k and signs again)");
    if (rc != RDS_OK) return;
    print_hex("s", sig, 32);
    print_hex("r", sig + 32, 32);
    printf("  verify     %s\n",
           rds_verify(&ctx, pub_alice, hash, sig) == RDS_OK ? "valid" : "INVALID");
    hash[0] ^= 1;
    printf("  tampered   %s\n", rds_verify(&ctx, pub_alice, hash, sig) == RDS_INVALID_SIGNATURE
                                    ? "rejected"
                                    : "ACCEPTED");

    /* VKO: each side combines its own private key with the other's public
     * key and the shared UKM; both obtain the same key-encryption key. */
    if (vko341001_gen_kek(&ctx, kek_alice, d_alice, pub_bob, ukm) != RDS_OK ||
        vko341001_gen_kek(&ctx, kek_bob, d_bob, pub_alice, ukm) != RDS_OK)
        return;
    print_hex("KEK Alice", kek_alice, sizeof kek_alice);
    print_hex("KEK Bob", kek_bob, sizeof kek_bob);
    printf("  agreement  %s\n", memcmp(kek_alice, kek_bob, sizeof kek_bob) == 0 ? "yes" : "NO");
}

/* The platform's random source, in the shape of the library's hook. */
static int platform_random(uint8_t *buf, uint32_t len) {
    while (len > 0) {
        ssize_t got = getrandom(buf, len, 0);
        if (got < 0) return -1;
        buf += got;
        len -= (uint32_t)got;
    }
    return 0;
}

static int rsa(void) {
    rsa_keygen_ctx ctx;
    uint8_t rnd[1024 / 16];
    uint8_t pub[RSA_PUBKEY_BYTES(1024)], priv[RSA_PRIVKEY_BYTES(1024)];
    uint8_t msg[128], enc[128], dec[128], sig[128];
    uint32_t r;
    int calls = 0;

    puts("RSA-1024, e = 65537");
    /* The primality tests draw their bases here; the candidates come from
     * the bytes handed to rsa_keygen. */
    rsa_gen_rnd = platform_random;
    if (rsa_keygen_init(&ctx, 1024) != RSA_OK) return 1;
    do {
        if (platform_random(rnd, sizeof rnd) != 0) return 1;
        r = rsa_keygen(&ctx, rnd, sizeof rnd);
        calls++;
    } while (r == RSA_NEED_MORE);
    memset(rnd, 0, sizeof rnd);
    if (r != RSA_OK) return 1;
    if (rsa_get_pubkey(&ctx, pub, sizeof pub) != RSA_OK ||
        rsa_get_privkey(&ctx, priv, sizeof priv) != RSA_OK)
        return 1;
    memset(&ctx, 0, sizeof ctx);
    printf("  key after %d calls of rsa_keygen\n", calls);
    print_hex("n (head)", pub + 2, 16);

    /* Raw RSA: the caller pads; here the message is simply below n. */
    memset(msg, 0, sizeof msg);
    memcpy(msg + 1, "raw RSA message representative", 30);
    if (rsa_encrypt(enc, msg, sizeof msg, pub) != RSA_OK) return 1;
    if (rsa_decrypt(dec, enc, sizeof enc, priv) != RSA_OK) return 1;
    printf("  decrypted  %s\n", memcmp(dec, msg, sizeof msg) == 0 ? "matches" : "DIFFERS");
    if (rsa_sign(sig, msg, sizeof msg, priv) != RSA_OK) return 1;
    printf("  signature  %s\n",
           rsa_verify(sig, msg, sizeof msg, pub) == RSA_OK ? "valid" : "INVALID");
    sig[5] ^= 1;
    printf("  altered    %s\n",
           rsa_verify(sig, msg, sizeof msg, pub) == RSA_ERR_SIG ? "rejected" : "ACCEPTED");
    memset(priv, 0, sizeof priv);
    return memcmp(dec, msg, sizeof msg) != 0;
}

static void dstu4145(void) {
    /* The m = 257 curve of DSTU 4145-2002 (x^257 + x^12 + 1, a = 0, cofactor
     * 4), every value a little-endian byte string as the dstu_* functions
     * take it. The library holds no curve parameters of its own. */
    static const char b_hex[] =
        "10bee3db6aea9e1f86578c45c12594ff942394a7d738f9187e6515017294f4ce01";
    static const char n_hex[] =
        "0d477d901477e1d387e982f13a2159670000000000000000000000000000008000";
    static const char g_hex[] =
        "b70fd2d8dce8a93423c6101bca91c47a007e6c300b26cd556c9b0e7d20ef292a00"
        "ef14d856f12c708b970bd6a9932c81e60231a0eed8f6cc9f44d444f71fd4860601";
    static const char message[] = "Signed with DSTU 4145-2002";
    /* The context carries the base point's table: keep it off the stack. */
    static dstu_ctx ctx;
    static dstu_bspool_ctx alice_pool, bob_pool;
    uint8_t b[33], n[33], g[66], bp[33];
    uint8_t alice_priv[DSTU_MAX_KEY_BYTES], alice_pub[DSTU_MAX_FIELD_BYTES];
    uint8_t bob_priv[DSTU_MAX_KEY_BYTES], bob_pub[DSTU_MAX_FIELD_BYTES];
    uint8_t hash[32], sig[DSTU_MAX_SIG_BYTES], z1[DSTU_MAX_FIELD_BYTES], z2[DSTU_MAX_FIELD_BYTES];
    int bplen = sizeof bp, alen = sizeof alice_priv, apub = sizeof alice_pub;
    int blen = sizeof bob_priv, bpub = sizeof bob_pub, siglen = sizeof sig, z1len, z2len;
    streebog_ctx md;

    puts("DSTU 4145-2002, m = 257");
    from_hex(b, b_hex, sizeof b);
    from_hex(n, n_hex, sizeof n);
    from_hex(g, g_hex, sizeof g);
    /* Curve, then the base point (compressed from its two coordinates) and
     * its order, then the cofactor that dhua_zz may apply. */
    if (dstu_init_curve(&ctx, 257, 12, 0, 0, 0, sizeof b, b) != DSTU_OK ||
        dstu_cppubk(&ctx, bp, &bplen, g) != DSTU_OK ||
        dstu_init_pgen(&ctx, bplen, bp, sizeof n, n) != DSTU_OK) {
        puts("  curve rejected");
        return;
    }
    ctx.cofactor = 4;

    /* Each party has a pool of precomputed random pairs; an application may
     * call dstu_bspool_step in idle time to fill it ahead of need. */
    dstu_bspool_init(&alice_pool, &ctx, platform_random);
    dstu_bspool_init(&bob_pool, &ctx, platform_random);
    while (dstu_bspool_step(&alice_pool) == 0) {
    }
    if (dstu_gen_keys(&ctx, &alice_pool, &alen, alice_priv, &apub, alice_pub) != DSTU_OK ||
        dstu_gen_keys(&ctx, &bob_pool, &blen, bob_priv, &bpub, bob_pub) != DSTU_OK) {
        puts("  key generation failed");
        return;
    }
    print_hex("Alice Q", alice_pub, (size_t)apub);

    /* Sign a Streebog-256 hash of the message; verify it, then a tampered
     * copy. */
    streebog256_init(&md);
    streebog256_update(&md, message, (uint32_t)strlen(message));
    streebog256_final(hash, &md);
    if (dstu_sign(&ctx, &alice_pool, alen, alice_priv, 8 * sizeof hash, hash, &siglen, sig) !=
        DSTU_OK) {
        puts("  signing failed");
        return;
    }
    print_hex("signature", sig, (size_t)siglen);
    printf("  verify     %s\n",
           dstu_verify(&ctx, apub, alice_pub, 8 * sizeof hash, hash, siglen, sig) == DSTU_OK
               ? "valid"
               : "INVALID");
    hash[0] ^= 1;
    printf("  tampered   %s\n", dstu_verify(&ctx, apub, alice_pub, 8 * sizeof hash, hash, siglen,
                                            sig) == DSTU_BAD_SIGNATURE
                                    ? "rejected"
                                    : "ACCEPTED");

    /* Key agreement: each side combines its private key with the other's
     * public key (times the cofactor) and both arrive at the same secret. */
    if (dhua_zz(&ctx, alen, alice_priv, bpub, bob_pub, 1, &z1len, z1) != DSTU_OK ||
        dhua_zz(&ctx, blen, bob_priv, apub, alice_pub, 1, &z2len, z2) != DSTU_OK) {
        puts("  key agreement failed");
        return;
    }
    print_hex("shared", z1, (size_t)z1len);
    printf("  agreed     %s\n",
           z1len == z2len && memcmp(z1, z2, (size_t)z1len) == 0 ? "yes" : "NO");
}

int main(void) {
    big_numbers();
    gost28147();
    streebog();
    kuznyechik();
    gost_signatures();
    dstu4145();
    return rsa();
}
