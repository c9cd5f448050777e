// Probable primes: the random hook and its base pool, trial division, the
// Miller-Rabin tests, the sieve search for the next prime, and the checks a
// prime of an RSA modulus must pass.
#include <atomic>
#include <cstdint>
#include <cstring>

#include "lncext/bignum.h"
#include "lncext/rsa.h"
#include "rsa/rsa_internal.hpp"
#include "rsa/small_primes.hpp"

namespace {

using lncext::rsa::kMaxWords;
using lncext::rsa::kNumWords;
using lncext::rsa::kWideWords;
using lncext::rsa::wipe;

constexpr uint32_t kPoolBytes = sizeof(rsa_keygen_rp_ctx::pool);
static_assert(kPoolBytes == 256);
#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(rsa_keygen_rp_ctx) == 66 * sizeof(uint32_t));
#endif

// A pool whose hook is missing, or keeps producing only bytes that read as
// 0 or 1, would otherwise be drawn from forever; after this many refills
// without a usable base the smallest valid base, 2, is taken.
constexpr uint32_t kMaxRefills = 64;

void fill_pool(rsa_keygen_rp_ctx *pool) {
    // The hook is read once per refill; the application sets it before any
    // prime test runs and leaves it alone afterwards.
    const rsa_rnd_fn rnd = rsa_gen_rnd;
    if (rnd != nullptr) rnd(pool->pool, kPoolBytes);
    pool->pos = 0;
}

// d and s of n - 1 = 2^(s+1) d with d odd: s is the number of squarings a
// round may try after the first power. n must be at least 2.
uint32_t split_odd(const uint32_t *n, uint32_t *d) {
    lncext::bn::copy(d, n);
    lnmsub(d, LNMBIG_ONE);
    uint32_t s = 0;
    for (;;) {
        lnmshr(d, 1, d);
        if (d[0] == 0 || (d[1] & 1) != 0) break;
        ++s;
    }
    return s;
}

bool is_one(const uint32_t *a) {
    return a[0] == 1 && a[1] == 1;
}

// The squarings of one Miller-Rabin round after y = b^d mod n: true when the
// round passes. sq is scratch for 2 n[0] + 3 words; y is overwritten.
bool round_passes(uint32_t *y, uint32_t *sq, uint32_t *n, const uint32_t *nm1, uint32_t s) {
    if (is_one(y) || lncext::bn::cmp(y, nm1) == 0) return true;
    for (uint32_t i = 0; i < s; ++i) {
        lnmsqr(y, sq);
        lnmdiv(sq, n, nullptr, y);
        if (is_one(y)) return false;
        if (lncext::bn::cmp(y, nm1) == 0) return true;
    }
    return false;
}

// The generator word of lnmrmt's bases. Concurrent calls may load and store
// it in any interleaving; each access is atomic, so the only effect is which
// bases a call draws.
std::atomic<uint32_t> rmt_state{0};

}  // namespace

extern "C" {

LNCEXT_API rsa_rnd_fn rsa_gen_rnd = nullptr;

LNCEXT_API int dummy_gen_rnd(uint8_t *buf, uint32_t len) {
    (void)buf;
    (void)len;
    return 0;
}

// ---- Random bases ----

LNCEXT_API int rsa_keygen_rp_init(rsa_keygen_rp_ctx *pool, const uint32_t *n) {
    std::memset(pool, 0, sizeof *pool);
    pool->n = n;
    const rsa_rnd_fn rnd = rsa_gen_rnd;
    const int ret = rnd != nullptr ? rnd(pool->pool, kPoolBytes) : 0;
    pool->pos = 0;
    return ret;
}

LNCEXT_API uint32_t *rsa_keygen_rp_get(rsa_keygen_rp_ctx *pool, uint32_t *b) {
    const uint32_t *n = pool->n;
    const uint32_t nbytes = lnmbitlen(n, 8);
    const uint32_t nbits = lnmbitlen(n, 1);
    for (uint32_t refills = 0;;) {
        if (pool->pos + nbytes > kPoolBytes) {
            if (refills++ == kMaxRefills) return lnmconvert(b, 2);
            fill_pool(pool);
            continue;
        }
        lnmfrombase256(b, pool->pool + pool->pos, nbytes);
        pool->pos += 1;
        lnmmodexpb2(b, nbits);
        if (lncext::bn::cmp(b, n) >= 0) lnmsub(b, n);
        if (!(b[0] == 0 || is_one(b))) return b;
    }
}

// ---- Miller-Rabin on the RSA path ----

LNCEXT_API int RabinMiller(uint32_t *n, uint32_t rounds) {
    // Below 3 or even: not a valid input; answer without exponentiating.
    if (n[0] == 0 || (n[0] == 1 && n[1] < 3) || (n[1] & 1) == 0) return n[0] == 1 && n[1] == 2;
    // Beyond the RSA path's buffers: the self-contained test takes it, with
    // its own bases, rather than a write past the end.
    if (n[0] > kMaxWords) return lnmrmt(n, rounds);
    uint32_t d[kNumWords], nm1[kNumWords];
    uint32_t b[kWideWords], y[kWideWords], sq[kWideWords];
    const uint32_t s = split_odd(n, d);
    lncext::bn::copy(nm1, n);
    lnmsub(nm1, LNMBIG_ONE);

    rsa_keygen_rp_ctx pool;
    rsa_keygen_rp_init(&pool, n);
    int verdict = 1;
    for (; rounds > 0 && verdict == 1; --rounds) {
        rsa_keygen_rp_get(&pool, b);
        rsapowmod(b, d, n, y);
        if (!round_passes(y, sq, n, nm1, s)) verdict = 0;
    }
    // The number may be a secret prime candidate: nothing derived from it
    // stays on the stack.
    wipe(d);
    wipe(nm1);
    wipe(b);
    wipe(y);
    wipe(sq);
    lncext::secure_wipe(&pool, sizeof pool);
    return verdict;
}

LNCEXT_API int isPrime(uint32_t *n) {
    if (n[0] == 0) return 0;
    for (const uint32_t q : lncext::rsa::trial_primes) {
        if (n[0] == 1 && n[1] == q) return 1;
        if (lnmmodd(n, q) == 0) return 0;
    }
    return RabinMiller(n, lncext::rsa::mr_rounds(lnmbitlen(n, 1)));
}

LNCEXT_API int rsa_prime_ok(const uint32_t *p, uint32_t modbits) {
    return lnmbitlen(p, 1) == modbits / 2 && lnmmodd(p, 65537) != 1;
}

LNCEXT_API int isRSAPrime(uint32_t *p, uint32_t modbits) {
    if (lnmbitlen(p, 1) != modbits / 2) return 0;
    uint32_t copy[kWideWords], e[3], r[kWideWords];
    lncext::bn::copy(copy, p);
    lnmconvert(e, 65537);
    lnmdiv(copy, e, nullptr, r);
    const bool one = is_one(r);
    wipe(copy);
    wipe(r);
    if (one) return 0;
    return isPrime(p);
}

LNCEXT_API int rsa_is_prermitted_modsize(uint32_t bits) {
    return bits == 512 || bits == 1024 || bits == 1536 || bits == 2048;
}

// ---- Prime search ----

LNCEXT_API int find_prime_near(uint32_t *n) {
    constexpr uint32_t kBits = RSA_SIEVE_BITS;
    uint32_t bs[kBits / 32 + 1];
    // Odd offsets are marked from the start: n being odd, n + o is even.
    lnmbscr(bs, kBits, 0xAAAAAAAAu);
    const auto &primes = lncext::rsa::sieve_primes;
    for (std::size_t i = lncext::rsa::sieve_first; i < primes.size(); ++i) {
        const uint32_t p = primes[i];
        // p divides n + j exactly for j = p - (n mod p) + multiples of p.
        for (uint32_t j = p - lnmmodd(n, p); lnmbssetbit(bs, j, 1) != -1; j += p) {
        }
    }
    uint32_t c[kNumWords + 1], o_num[2];
    int found = 0;
    for (uint32_t o = 0; o != 0xFFFFFFFFu; o = lnmbsnextval(bs, o, 0)) {
        lncext::bn::copy(c, n);
        lnmadd(c, lnmconvert(o_num, o));
        // A search that runs past the sizes the exponentiation takes ends
        // here without a prime.
        if (c[0] > kMaxWords) break;
        if (RabinMiller(c, lncext::rsa::mr_rounds(lnmbitlen(c, 1))) == 1) {
            lncext::bn::copy(n, c);
            found = 1;
            break;
        }
    }
    wipe(c);
    wipe(bs);
    return found;
}

// ---- The self-contained test ----

LNCEXT_API int lnmrmt(uint32_t *n, uint32_t rounds) {
    if (n[0] == 1 && n[1] == 2) return 1;
    if (n[0] == 0 || (n[1] & 1) == 0) return 0;
    if (n[0] == 1 && n[1] == 1) return 0;
    // Montgomery arithmetic takes moduli of up to 128 words; a larger n is
    // not tested and not accepted.
    if (n[0] > LNM_MONT_MAX_DIGITS) return 0;

    uint32_t d[LNMBIG_WORDS], nm1[LNMBIG_WORDS], unity[LNMBIG_WORDS];
    uint32_t x[LNMBIG_WORDS], y[LNMBIG_WORDS], sq[LNMBIG_WORDS];
    uint32_t table[LNM_MONTIC_TABLE_WORDS(5, 128)];
    const uint32_t s = split_odd(n, d);
    const uint32_t minv = lnminverse(0u - n[1]);
    const uint32_t Rbits = 32 * n[0];
    lnmunitymont(Rbits, n, unity);
    lncext::bn::copy(nm1, n);
    lnmsub(nm1, LNMBIG_ONE);
    const uint32_t nbits = lnmbitlen(n, 1);

    // A linear congruential generator; each byte is bits 16..23 of the next
    // state. The seed mixes the kept word with the address of this call's
    // storage, so that calls differ even when nothing else does.
    const uint32_t seed = uint32_t(reinterpret_cast<uintptr_t>(&table));
    uint32_t state = rmt_state.load(std::memory_order_relaxed) ^ seed;

    int verdict = 1;
    for (; rounds > 0 && verdict == 1; --rounds) {
        do {
            x[0] = n[0];
            for (uint32_t w = 1; w <= n[0]; ++w) {
                uint32_t word = 0;
                for (uint32_t k = 0; k < 4; ++k) {
                    state = state * 1103515245u + 12345u;
                    word |= ((state >> 16) & 0xFFu) << (8 * k);
                }
                x[w] = word;
            }
            lncext::bn::clip(x);
            lnmmodexpb2(x, nbits);
            if (lncext::bn::cmp(x, n) >= 0) lnmsub(x, n);
            rmt_state.store(state, std::memory_order_relaxed);
        } while (x[0] == 0 || lncext::bn::cmp(x, unity) == 0);
        // x read as a Montgomery form: the base is x / R mod n, neither 0
        // nor 1 since x is neither 0 nor R mod n.
        lnmmontic(table, 5, minv, Rbits, n, x);
        lnmicpowmont(table, 5, 0, unity, minv, Rbits, n, d, y);
        lnmmontcom(minv, Rbits, n, y);
        if (!round_passes(y, sq, n, nm1, s)) verdict = 0;
    }
    return verdict;
}

}  // extern "C"
