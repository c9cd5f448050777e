// The raw RSA operations on key blobs: the public exponentiation (encrypt,
// verify) and the private one through the Chinese remainder theorem (sign,
// decrypt).
#include <cstdint>
#include <cstring>
#include <utility>

#include "bignum/window.hpp"
#include "lncext/bignum.h"
#include "lncext/rsa.h"
#include "rsa/rsa_internal.hpp"

namespace {

using lncext::rsa::kNumWords;
using lncext::rsa::kWideWords;
using lncext::rsa::wipe;

// A public modulus or exponent: up to 256 bytes, 64 digits.
constexpr uint32_t kPubDigits = RSA_PUB_RECORD_MAX / 4;
constexpr uint32_t kPubWords = kPubDigits + 1;
// Products of two public numbers with lnmdiv's room above them, and the
// Montgomery values modulo n (2 n[0] + 2 words).
constexpr uint32_t kPubWide = 2 * kPubDigits + 4;

// Reads one record of a key blob into x and moves p past it; false when its
// length is outside 1..max.
bool read_record(const uint8_t *&p, uint32_t *x, uint32_t max) {
    const uint32_t len = uint32_t(p[0]) << 8 | p[1];
    if (len < 1 || len > max) return false;
    load_rsa_key_prm(x, p);
    p += len + 2;
    return true;
}

bool odd_above_one(const uint32_t *x) {
    return x[0] != 0 && (x[1] & 1) != 0 && !(x[0] == 1 && x[1] == 1);
}

// The public key of a blob and its byte length k.
struct PublicKey {
    uint32_t n[kPubWords];
    uint32_t e[kPubWords];
    uint32_t k;
};

// Parses n, then e; RSA_OK or the code of the first failing check. Even
// moduli have no Montgomery form and are not RSA moduli: malformed.
uint32_t read_public(const uint8_t *pub, PublicKey &key) {
    if (!read_record(pub, key.n, RSA_PUB_RECORD_MAX)) return RSA_ERR_ARG;
    key.k = lnmbitlen(key.n, 8);
    if (!rsa_is_prermitted_modsize(8 * key.k)) return RSA_ERR_MODSIZE;
    if (!odd_above_one(key.n)) return RSA_ERR_ARG;
    if (!read_record(pub, key.e, RSA_PUB_RECORD_MAX)) return RSA_ERR_ARG;
    return RSA_OK;
}

// r = x^e mod n by left-to-right binary exponentiation in Montgomery form
// (R = 2^(32 n[0])); x may be n or more, up to k bytes. n is shifted in
// place while it is divided by. r needs kPubWide words.
void public_power(const uint32_t *x, const uint32_t *e, uint32_t *n, uint32_t *r) {
    const uint32_t minv = lnminverse(0u - n[1]);
    const uint32_t Rbits = 32 * n[0];
    uint32_t one[kPubWide], xm[kPubWide], prod[kPubWide], t[kPubWide];
    lnmunitymont(Rbits, n, one);
    // x R mod n by a full product and division: x need not be below n.
    lnmmul(x, one, prod);
    lnmdiv(prod, n, nullptr, xm);
    // The accumulator starts at R (1) and would square it and multiply by
    // xm for the top bit; it starts at xm instead, which is the same value
    // two products sooner (17 products instead of 19 for e = 65537).
    const uint32_t bits = lncext::bn::bit_length(e);
    uint32_t *acc = prod, *tmp = t;
    lncext::bn::copy(acc, bits != 0 ? xm : one);
    for (uint32_t i = bits > 0 ? bits - 1 : 0; i-- > 0;) {
        lnmsqrmont(minv, Rbits, n, acc, tmp);
        std::swap(acc, tmp);
        if (lncext::bn::bits_at(e, i, 1) != 0) {
            lnmmulmont(minv, Rbits, n, acc, xm, tmp);
            std::swap(acc, tmp);
        }
    }
    lnmmontcom(minv, Rbits, n, acc);
    lncext::bn::copy(r, acc);
    wipe(xm);
    wipe(prod);
    wipe(t);
}

// out = the k-byte big-endian field of x, right-aligned (x < 2^(8k)).
void put_field(uint8_t *out, uint32_t k, const uint32_t *x) {
    const uint32_t len = lnmbitlen(x, 8);
    std::memset(out, 0, k - len);
    lnmtobase256(out + (k - len), len, x);
}

// The private key of a blob.
struct PrivateKey {
    uint32_t p[kNumWords], q[kNumWords], dP[kNumWords], dQ[kNumWords], qInv[kNumWords];
};

uint32_t read_private(const uint8_t *priv, PrivateKey &key) {
    uint32_t *parts[] = {key.p, key.q, key.dP, key.dQ, key.qInv};
    for (uint32_t *x : parts)
        if (!read_record(priv, x, RSA_PRIV_RECORD_MAX)) return RSA_ERR_ARG;
    return RSA_OK;
}

}  // namespace

extern "C" {

LNCEXT_API uint32_t rsa_encrypt(uint8_t *out, const uint8_t *in, int32_t in_len,
                                const uint8_t *pub) {
    if (out == nullptr || in == nullptr || pub == nullptr) return RSA_ERR_ARG;
    PublicKey key;
    const uint32_t check = read_public(pub, key);
    if (check != RSA_OK) return check;
    if (in_len <= 0 || uint32_t(in_len) > key.k) return RSA_ERR_INLEN;
    uint32_t x[kPubWords], c[kPubWide];
    lnmfrombase256(x, in, uint32_t(in_len));
    public_power(x, key.e, key.n, c);
    put_field(out, key.k, c);
    wipe(x);
    wipe(c);
    return RSA_OK;
}

LNCEXT_API uint32_t rsa_verify(const uint8_t *sig, const uint8_t *msg, int32_t msg_len,
                               const uint8_t *pub) {
    if (sig == nullptr || msg == nullptr || pub == nullptr) return RSA_ERR_ARG;
    PublicKey key;
    const uint32_t check = read_public(pub, key);
    if (check != RSA_OK) return check;
    if (msg_len < 0) return RSA_ERR_INLEN;
    uint32_t s[kPubWords], v[kPubWide], m[kPubWide], t[kPubWide], chunk[kPubWords];
    lnmfrombase256(s, sig, key.k);
    public_power(s, key.e, key.n, v);

    // The message representative may be longer than n: reduce it a block at
    // a time, m = (m 2^(8 len) + block) mod n, each step below 128 digits.
    m[0] = 0;
    uint32_t left = uint32_t(msg_len);
    uint32_t first = left % RSA_PUB_RECORD_MAX;
    if (first == 0 && left != 0) first = RSA_PUB_RECORD_MAX;
    for (uint32_t len = first; left != 0; len = RSA_PUB_RECORD_MAX) {
        lnmshl(m, 8 * len, t);
        lnmfrombase256(chunk, msg, len);
        lnmadd(t, chunk);
        lnmdiv(t, key.n, nullptr, m);
        msg += len;
        left -= len;
    }
    return lncext::bn::cmp(m, v) == 0 ? RSA_OK : RSA_ERR_SIG;
}

LNCEXT_API uint32_t rsa_sign(uint8_t *out, const uint8_t *in, int32_t in_len, const uint8_t *priv) {
    if (out == nullptr || in == nullptr || priv == nullptr) return RSA_ERR_ARG;
    PrivateKey key;
    uint32_t k = 0;
    uint32_t result = read_private(priv, key);
    if (result == RSA_OK) {
        const uint32_t bits = lnmbitlen(key.p, 1) + lnmbitlen(key.q, 1);
        k = bits / 8;
        if (!rsa_is_prermitted_modsize(bits))
            result = RSA_ERR_MODSIZE;
        else if (in_len < 0)
            result = RSA_ERR_INLEN;
        else if (uint32_t(in_len) > k)
            result = RSA_ERR_ARG;
        // Both moduli of the exponentiations need a Montgomery form.
        else if (!odd_above_one(key.p) || !odd_above_one(key.q))
            result = RSA_ERR_ARG;
    }
    if (result != RSA_OK) {
        lncext::secure_wipe(&key, sizeof key);
        return result;
    }

    uint32_t m[kPubWide], r[kPubWide], m1[kPubWide], m2[kPubWide], h[kPubWide], s[kPubWide];
    lnmfrombase256(m, in, uint32_t(in_len));
    // m1 = (m mod p)^dP mod p, m2 = (m mod q)^dQ mod q.
    lnmdiv(m, key.p, nullptr, r);
    rsapowmod(r, key.dP, key.p, m1);
    lnmdiv(m, key.q, nullptr, r);
    rsapowmod(r, key.dQ, key.q, m2);

    // Garner: h = (m1 - m2) qInv mod p, where m1 - m2 is taken after adding
    // p to m1 until it is no longer below m2. That difference is the residue
    // (m1 - m2) mod p in [0, p), so it is computed directly: with q > p
    // (an imported key) m2 may exceed m1 by many multiples of p, and a loop
    // of additions would take up to q / p steps.
    if (lncext::bn::cmp(m1, m2) >= 0) {
        lncext::bn::copy(r, m1);
        lnmsub(r, m2);
    } else {
        lnmdiv(m2, key.p, nullptr, r);  // r = m2 mod p
        if (lncext::bn::cmp(m1, r) >= 0) {
            lnmsub(m1, r);
            lncext::bn::copy(r, m1);
        } else {
            lncext::bn::copy(h, key.p);
            lnmsub(h, r);
            lnmadd(h, m1);  // p - (m2 mod p) + m1, below p
            lncext::bn::copy(r, h);
        }
    }
    lnmmul(r, key.qInv, h);
    lnmdiv(h, key.p, nullptr, r);
    // s = m2 + h q < q + (p - 1) q = n, which has at most 8 k bits.
    lnmmul(r, key.q, s);
    lnmadd(s, m2);
    put_field(out, k, s);

    lncext::secure_wipe(&key, sizeof key);
    wipe(m);
    wipe(r);
    wipe(m1);
    wipe(m2);
    wipe(h);
    wipe(s);
    lncext::wipe_stack<lncext::kWipeStackPublicKey>();
    return RSA_OK;
}

LNCEXT_API uint32_t rsa_decrypt(uint8_t *out, const uint8_t *in, int32_t in_len,
                                const uint8_t *priv) {
    return rsa_sign(out, in, in_len, priv);
}

}  // extern "C"
