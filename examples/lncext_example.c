/*
 * A first tour of lncext: big numbers, GOST 28147-89 and its hash, Streebog,
 * the 128-bit block cipher and DSTU 4145-2002 signatures and key agreement.
 *
 * Build and run it with
 *   cmake -S . -B build/example -DLNCEXT_BUILD_TESTS=OFF
 *   cmake --build build/example --target lncext_example
 *   ./build/example/examples/lncext_example
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

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
static void key_words(uint32_t key[8], const uint8_t bytes[32]) {
    for (int i = 0; i < 8; i++)
        key[i] = (uint32_t)bytes[4 * i] | (uint32_t)bytes[4 * i + 1] << 8 |
                 (uint32_t)bytes[4 * i + 2] << 16 | (uint32_t)bytes[4 * i + 3] << 24;
}

static void gost28147(void) {
    static const char message[] = "Attack at dawn, bring GOST 28147-89 along";
    uint8_t key_bytes[32], digest[32], cipher[sizeof message], plain[sizeof message];
    uint32_t key[8], mac;
    const uint32_t iv[2] = {0x12345678u, 0x9ABCDEF0u};
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
    uint8_t digest[32];
    streebog_ctx ctx;

    puts("Streebog");
    streebog256_init(&ctx);
    streebog256_update(&ctx, m1, (uint32_t)strlen(m1));
    streebog256_final(digest, &ctx);
    print_hex("256(M1)", digest, sizeof digest);
}

static void kuznyechik(void) {
    static const uint8_t key[32] = {0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff,
                                    0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                    0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10,
                                    0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef};
    static const uint8_t iv[8] = {0x12, 0x34, 0x56, 0x78, 0x90, 0xab, 0xce, 0xf0};
    static const char message[] = "Counter mode needs no padding";
    uint32_t key_words32[8];
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

/* Random bytes for the DSTU 4145 pool, from the operating system. */
static int os_random(uint8_t *buf, uint32_t len) {
    FILE *f = fopen("/dev/urandom", "rb");
    size_t got = f ? fread(buf, 1, len, f) : 0;
    if (f) fclose(f);
    if (got != len) {
        fprintf(stderr, "no random bytes\n");
        exit(1);
    }
    return 0;
}

static void hex_bytes(uint8_t *out, const char *hex, size_t len) {
    for (size_t i = 0; i < len; i++) {
        unsigned int v;
        sscanf(hex + 2 * i, "%2x", &v);
        out[i] = (uint8_t)v;
    }
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
    hex_bytes(b, b_hex, sizeof b);
    hex_bytes(n, n_hex, sizeof n);
    hex_bytes(g, g_hex, sizeof g);
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
    dstu_bspool_init(&alice_pool, &ctx, os_random);
    dstu_bspool_init(&bob_pool, &ctx, os_random);
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
    dstu4145();
    return 0;
}
