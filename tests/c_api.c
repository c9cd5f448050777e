/*
 * The library used from strict C99: every public header included, calls into
 * each family checked against known answers. Exits non-zero on a mismatch.
 */
#include <stdio.h>
#include <string.h>

#include "lncext/lncext.h"

static int failures = 0;

static void check(int ok, const char *what) {
    if (!ok) {
        printf("FAILED: %s\n", what);
        failures++;
    }
}

static void bignum(void) {
    uint32_t a[LNMBIG_WORDS], b[LNMBIG_WORDS], r[LNMBIG_WORDS];
    char text[64];

    lnmvalueof32(a, 2, (uint32_t)0x1, (uint32_t)0x2);
    check(a[0] == 2 && a[1] == 2 && a[2] == 1, "lnmvalueof32");
    lnmconvert(b, 0xFFFFFFFFu);
    lnmmul(b, b, r);
    lnmtoxstr(r, text, sizeof text);
    check(strcmp(text, "FFFFFFFE00000001") == 0, "lnmmul + lnmtoxstr");
    check(lnmcmp(LNMBIG_ONE, LNMBIG_ZERO) == 1, "lnmcmp of constants");
}

static int hex_equals(const uint8_t *p, size_t n, const char *hex) {
    static const char digits[] = "0123456789abcdef";
    if (strlen(hex) != 2 * n) return 0;
    for (size_t i = 0; i < n; i++)
        if (hex[2 * i] != digits[p[i] >> 4] || hex[2 * i + 1] != digits[p[i] & 15]) return 0;
    return 1;
}

static void hashes(void) {
    static const char m1[] = "012345678901234567890123456789012345678901234567890123456789012";
    uint8_t digest[STREEBOG512_BYTES];
    gr341194_md_ctx md;
    streebog_ctx sb;

    gr341194_md_init_ext(&md, CryptoPro_iv, CryptoPro_uz);
    gr341194_md_update(&md, "abc", 3);
    check(gr341194_md_final(&md, digest) == digest, "gr341194_md_final returns out");
    check(
        hex_equals(digest, 32, "b285056dbf18d7392d7677369524dd14747459ed8143997e163b2986f92fd42c"),
        "GOST R 34.11-94 of abc");

    streebog256_init(&sb);
    streebog256_update(&sb, m1, (uint32_t)strlen(m1));
    streebog256_final(digest, &sb);
    check(
        hex_equals(digest, 32, "9d151eefd8590b89daa6ba6cb74af9275dd051026bb149a452fd84e5e57b5500"),
        "Streebog-256 of M1");
}

static void ciphers(void) {
    static const uint8_t key[KUZN_KEY_BYTES] = {0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff,
                                                0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                                0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10,
                                                0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef};
    static const uint8_t pt[KUZN_BLOCK_BYTES] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x00,
                                                 0xff, 0xee, 0xdd, 0xcc, 0xbb, 0xaa, 0x99, 0x88};
    uint32_t kw[KUZN_KEY_BYTES / 4], gost_key[G28147_KEY_WORDS], block[2] = {0, 0};
    uint8_t buf[KUZN_BLOCK_BYTES];
    kuzn_ecb_ctx ecb;
    g28147_ecb_ctx gecb;
    int i;

    memcpy(kw, key, sizeof kw);
    kuzn_ecb_init(&ecb, 1, kw);
    kuzn_ecb_update(&ecb, pt, buf, sizeof buf);
    check(hex_equals(buf, 16, "7f679d90bebc24305a468d42b9d4edcd"), "128-bit cipher block");

    for (i = 0; i < G28147_KEY_WORDS; i++) gost_key[i] = (uint32_t)i * 0x01010101u;
    g28147_ecb_init_ext(&gecb, 1, gost_key, CryptoPro_uz);
    g28147_ecb_update(&gecb, block, block, G28147_BLOCK_BYTES);
    g28147_ecb_init_ext(&gecb, 0, gost_key, CryptoPro_uz);
    g28147_ecb_update(&gecb, block, block, G28147_BLOCK_BYTES);
    check(block[0] == 0 && block[1] == 0, "GOST 28147-89 ECB round trip");
}

/* A deterministic generator in the shape of the RSA random hook. */
static uint32_t lcg_state = 1;
static int lcg_bytes(uint8_t *buf, uint32_t len) {
    for (uint32_t i = 0; i < len; i++) {
        lcg_state = lcg_state * 1103515245u + 12345u;
        buf[i] = (uint8_t)(lcg_state >> 16);
    }
    return 0;
}

static void rsa(void) {
    uint32_t n[LNMBIG_WORDS];
    uint8_t rec[8], rnd[32], pub[RSA_PUBKEY_BYTES(512)], priv[RSA_PRIVKEY_BYTES(512)];
    uint8_t msg[64] = {0, 1, 2, 3}, enc[64], dec[64];
    rsa_keygen_ctx ctx;
    uint32_t r;
    int calls = 0;

    rsa_gen_rnd = lcg_bytes;
    lnmconvert(n, 997);
    check(isPrime(n) == 1, "isPrime(997)");
    check(save_rsa_key_prm(rec, n) == 4 && rec[1] == 2 && load_rsa_key_prm(n, rec) == 4 &&
              n[1] == 997,
          "key parameter record round trip");
    check(rsa_keygen_init(&ctx, 768) == RSA_ERR_MODSIZE, "rsa_keygen_init(768)");
    check(rsa_keygen_init(&ctx, 512) == RSA_OK, "rsa_keygen_init(512)");
    do {
        lcg_bytes(rnd, sizeof rnd);
        r = rsa_keygen(&ctx, rnd, sizeof rnd);
    } while (r == RSA_NEED_MORE && ++calls < 50);
    check(r == RSA_OK && rsa_get_pubkey(&ctx, pub, sizeof pub) == RSA_OK &&
              rsa_get_privkey(&ctx, priv, sizeof priv) == RSA_OK,
          "RSA-512 key generation");
    check(rsa_encrypt(enc, msg, sizeof msg, pub) == RSA_OK &&
              rsa_decrypt(dec, enc, sizeof enc, priv) == RSA_OK && memcmp(dec, msg, 64) == 0,
          "RSA encrypt/decrypt round trip");
}

/* DSTU 4145-2002 appendix B.1 (m = 163), every value little-endian: the
 * curve, the example's base point and order, then its signature reproduced
 * through a pool whose random source returns the example's e. */
static void hex_to(uint8_t *out, const char *hex) {
    size_t i;
    for (i = 0; hex[2 * i]; i++) {
        unsigned int v;
        sscanf(hex + 2 * i, "%2x", &v);
        out[i] = (uint8_t)v;
    }
}

static int example_e(uint8_t *buf, uint32_t len) {
    uint8_t e[21];
    hex_to(e, "c6617f242d93128ede791d7a2b01db97bd405e0201");
    memset(buf, 0, len);
    memcpy(buf, e, len < sizeof e ? len : sizeof e);
    return 0;
}

static void dstu4145(void) {
    static dstu_ctx ctx;
    static dstu_bspool_ctx pool;
    uint8_t b[21], n[21], pxy[42], bp[21], priv[21], hash[32], sig[DSTU_MAX_SIG_BYTES];
    int bplen = sizeof bp, siglen = sizeof sig;

    hex_to(b, "215d45c1198a635e9203b40a21c82d2a460861ff05");
    hex_to(n, "4df1bc392d26e22bc1be0200000000000000000004");
    hex_to(pxy,
           "2004548c5c8874feaf01fff97dc23aa9937f862d079bfdc3ad2211b84a5f9d59c5972b8547399c4a2200");
    hex_to(priv, "3e5a9b1c0c7973d0f89371d647ff5179df0ff68301");
    hex_to(hash, "ff4722f5aeed76eb2e5373df6d1680715bb92e3a8886e4ae9a0c917742c4c909");
    check(dstu_init_curve(&ctx, 163, 7, 6, 3, 1, sizeof b, b) == DSTU_OK, "dstu_init_curve");
    check(dstu_cppubk(&ctx, bp, &bplen, pxy) == DSTU_OK, "dstu_cppubk");
    check(dstu_init_pgen(&ctx, bplen, bp, sizeof n, n) == DSTU_OK, "dstu_init_pgen");
    check(dstu_bspool_init(&pool, &ctx, example_e) == DSTU_OK, "dstu_bspool_init");
    check(dstu_sign(&ctx, &pool, sizeof priv, priv, 256, hash, &siglen, sig) == DSTU_OK &&
              siglen == 42,
          "dstu_sign");
    check(
        hex_equals(
            sig, 42,
            "a7088d06937ade9af524a4800d4a01aa0c2cea7402ca5a61b332a3d65b0f238c8e2b83317395860d1002"),
        "DSTU 4145 example B.1 signature");
}

int main(void) {
    bignum();
    hashes();
    ciphers();
    rsa();
    dstu4145();
    if (failures == 0) printf("C API: all checks passed\n");
    return failures != 0;
}
