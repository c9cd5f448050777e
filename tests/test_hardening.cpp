// Two guarantees about state. Secrets do not outlive the calls that handle
// them: each call runs on a stack that is a buffer of ours, filled with a
// pattern first; after it returns, no 8-byte window of any secret (in either
// byte order: the big-endian input and the little-endian words it becomes)
// may be left in that buffer. The secrets live on the heap and the test's
// code on that stack only passes pointers, so whatever is found was left by
// the library; a control with a deliberate leftover proves the scan sees.
// And filled contexts and the exported tables are only read by the
// operations: four threads repeat results worked out alone first, at once on
// the shared records; under ThreadSanitizer (preset tsan) any write to
// shared state shows up as a data race.
#include <gmp.h>
#include <gtest/gtest.h>
#include <ucontext.h>

#include <algorithm>
#include <bitset>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "bignum_oracle.hpp"
#include "ec2_curves.hpp"
#include "gostr341001_util.hpp"
#include "lncext/bignum.h"
#include "lncext/gost28147.h"
#include "lncext/gostr341194.h"
#include "lncext/kuznyechik.h"
#include "lncext/rsa.h"
#include "lncext/streebog.h"
#include "rsa_test_util.hpp"
#if __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#else
#define VALGRIND_MAKE_MEM_DEFINED(p, n) ((void)(p), (void)(n))
#define VALGRIND_STACK_REGISTER(lo, hi) 0u
#define VALGRIND_STACK_DEREGISTER(id) ((void)(id))
#endif

namespace {

using namespace lncext_test;

constexpr size_t kStackBytes = size_t(1) << 20;
constexpr size_t kWindow = 8;
constexpr uint8_t kPattern = 0xA5;

// The 8-byte windows of the secrets, each with the secret's name. Windows of
// little variety (zero padding, runs) identify nothing and are left out.
class Secrets {
  public:
    void add(const std::string &name, const uint8_t *p, size_t n) {
        Bytes b(p, p + n);
        for (int order = 0; order < 2; order++, std::reverse(b.begin(), b.end()))
            for (size_t i = 0; i + kWindow <= b.size(); i++) {
                if (std::set<uint8_t>(b.begin() + i, b.begin() + i + kWindow).size() < 6) continue;
                uint64_t w;
                std::memcpy(&w, &b[i], kWindow);
                owner_.emplace(w, name);
                seen_.set(w & 0xFFFF);
            }
    }
    void add(const std::string &name, const Bytes &b) { add(name, b.data(), b.size()); }
    void add(const std::string &name, mpz_srcptr z) { add(name, bytes_of(z)); }
    void add_words(const std::string &name, const uint32_t *w, size_t n) {
        add(name, reinterpret_cast<const uint8_t *>(w), 4 * n);
    }

    // Names of the secrets with a window in [p, p + n), with their offsets.
    std::map<std::string, size_t> find(const uint8_t *p, size_t n) const {
        std::map<std::string, size_t> hits;
        for (size_t i = 0; i + kWindow <= n; i++) {
            uint64_t w;
            std::memcpy(&w, p + i, kWindow);
            if (!seen_.test(w & 0xFFFF)) continue;
            auto it = owner_.find(w);
            if (it != owner_.end()) hits.emplace(it->second, i);
        }
        return hits;
    }

  private:
    std::map<uint64_t, std::string> owner_;
    std::bitset<65536> seen_;
};

const std::function<void()> *current_body;

void run_body() {
    (*current_body)();
}

// Runs body on a pattern-filled stack of ours (switched to with ucontext, so
// that nothing but the body ever runs on it) and returns the secrets left
// in it, as "name at offset" lines.
std::string leftovers(const std::function<void()> &body, const Secrets &secrets) {
    std::unique_ptr<uint8_t, decltype(&std::free)> stack(
        static_cast<uint8_t *>(std::aligned_alloc(4096, kStackBytes)), &std::free);
    std::memset(stack.get(), kPattern, kStackBytes);
    ucontext_t probe, back;
    getcontext(&probe);
    probe.uc_stack.ss_sp = stack.get();
    probe.uc_stack.ss_size = kStackBytes;
    probe.uc_link = &back;
    makecontext(&probe, run_body, 0);
    current_body = &body;
    const unsigned id = VALGRIND_STACK_REGISTER(stack.get(), stack.get() + kStackBytes);
    swapcontext(&back, &probe);
    VALGRIND_STACK_DEREGISTER(id);
    // The stack grows down from the top of the buffer: what lies below the
    // deepest byte written was never used.
    VALGRIND_MAKE_MEM_DEFINED(stack.get(), kStackBytes);
    size_t low = 0;
    while (low < kStackBytes && stack.get()[low] == kPattern) low++;
    EXPECT_GT(low, kStackBytes / 8) << "the calls came close to the end of the probe stack";
    std::string out;
    for (const auto &[name, at] : secrets.find(stack.get() + low, kStackBytes - low))
        out += name + " at " + std::to_string(kStackBytes - low - at) + " bytes below the top\n";
    return out;
}

#define EXPECT_WIPED(body, secrets) EXPECT_EQ(leftovers(body, secrets), "")

bool under_sanitizer() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}
#define SKIP_UNDER_SANITIZER()                                                            \
    if (under_sanitizer())                                                                \
    GTEST_SKIP() << "sanitizers move locals off the stack and poison it; the scan would " \
                    "prove nothing"

// The control: a copy of the secret left in a local is found.
[[gnu::noinline]] void leave_on_stack(const uint8_t *secret) {
    uint8_t copy[32];
    std::memcpy(copy, secret, 32);
    __asm__ __volatile__("" : : "r"(copy) : "memory");
}

Bytes mod_bytes(Rng &rng, mpz_srcptr q) {
    Mpz z;
    set_bytes(z, rng.bytes(40));
    mpz_mod(z, z, q);
    return bytes_of(z, 32);
}

TEST(SecretWipe, TheScanFindsASecretLeftOnTheStack) {
    SKIP_UNDER_SANITIZER();
    Rng rng(0x71be);
    const Bytes secret = rng.bytes(32);
    Secrets s;
    s.add("secret", secret);
    EXPECT_NE(leftovers([&] { leave_on_stack(secret.data()); }, s), "");
    EXPECT_EQ(leftovers([&] {}, s), "");
}

TEST(SecretWipe, GostR341001SigningKeysAndVkoLeaveNoKeyNonceOrSharedPoint) {
    SKIP_UNDER_SANITIZER();
    Rng rng(0x3410);
    for (const char *set : {"A", "test"}) {
        SCOPED_TRACE(set);
        const ParamSet &ps = paramsets().at(set);
        rds_ctx ctx;
        init_ctx(&ctx, ps);
        Mpz q, d, k, u, dp, t;
        set_bytes(q, ps.q);
        const Bytes db = mod_bytes(rng, q), kb = mod_bytes(rng, q), dpb = mod_bytes(rng, q);
        const Bytes h = rng.bytes(32), ukm = rng.bytes(8);
        set_bytes(d, db);
        set_bytes(k, kb);
        set_bytes(dp, dpb);
        set_bytes(u, ukm);
        Bytes pub(64), peer(64), sig(64), kek(32), shared(64);
        uint32_t rc = 0;
        ASSERT_EQ(rds_gen_keys(&ctx, dpb.data(), peer.data()), 0u);

        Secrets s;
        s.add("d", d);
        s.add("k", k);
        EXPECT_WIPED([&] { rc |= rds_gen_keys(&ctx, db.data(), pub.data()); }, s);
        EXPECT_WIPED([&] { rc |= rds_sign(&ctx, db.data(), kb.data(), h.data(), sig.data()); }, s);
        ASSERT_EQ(rds_verify(&ctx, pub.data(), h.data(), sig.data()), 0u);

        // The halves of s = r d + k e mod q each give the key away.
        Mpz r, rd, ke;
        set_bytes(r, sig.data() + 32, 32);
        mpz_mul(rd, r, d);
        mpz_mod(rd, rd, q);
        set_bytes(ke, sig.data(), 32);
        mpz_sub(ke, ke, rd);
        mpz_mod(ke, ke, q);
        s.add("r d mod q", rd);
        s.add("k e mod q", ke);
        EXPECT_WIPED([&] { rc |= rds_sign(&ctx, db.data(), kb.data(), h.data(), sig.data()); }, s);

        // VKO: the own key times the UKM, the shared point and the KEK.
        mpz_mul(t, d, u);
        mpz_mod(t, t, q);
        s.add("d ukm mod q", t);
        mpz_mul(t, t, dp);
        mpz_mod(t, t, q);
        ASSERT_EQ(rds_gen_keys(&ctx, bytes_of(t, 32).data(), shared.data()), 0u);
        s.add("shared x", shared.data(), 32);
        s.add("shared y", shared.data() + 32, 32);
        EXPECT_WIPED(
            [&] { rc |= vko341001_gen_kek(&ctx, kek.data(), db.data(), peer.data(), ukm.data()); },
            s);
        EXPECT_EQ(rc, 0u);
        s.add("kek", kek);
        EXPECT_WIPED(
            [&] { rc |= vko341001_gen_kek(&ctx, kek.data(), db.data(), peer.data(), ukm.data()); },
            s);
    }
}

// A 1024-bit RSA key (e = 65537) made with GMP, and numbers below its modulus.
struct RsaKey : Key {
    explicit RsaKey(unsigned long seed) {
        GmpRand st(seed);
        random_key(st, *this, 512, 512, 65537);
    }
    Bytes message(unsigned long i) const {
        Mpz m;
        mpz_set_ui(m, 0x9e3779b9ul * (i + 1));
        mpz_powm_ui(m, m, 1000003, n);
        return bytes_of(m, 128);
    }
};

TEST(SecretWipe, RsaPrivateOperationLeavesNoPrimeExponentOrCrtHalf) {
    SKIP_UNDER_SANITIZER();
    RsaKey key(0x45a);
    const auto &[p, q, n, e, d, dP, dQ, qInv] =
        std::tie(key.p, key.q, key.n, key.e, key.d, key.dp, key.dq, key.qinv);
    Mpz c, cp, cq, m1, m2, hh, phi, t;
    mpz_sub_ui(phi, p, 1);
    mpz_sub_ui(t, q, 1);
    mpz_mul(phi, phi, t);
    set_bytes(c, key.message(0));
    mpz_mod(cp, c, p);
    mpz_mod(cq, c, q);
    mpz_powm(m1, cp, dP, p);
    mpz_powm(m2, cq, dQ, q);
    mpz_sub(hh, m1, m2);
    mpz_mul(hh, hh, qInv);
    mpz_mod(hh, hh, p);

    const Bytes in = bytes_of(c, 128);
    Bytes out(128);
    uint32_t rc = 0;
    Secrets s;
    const std::pair<const char *, mpz_srcptr> named[] = {
        {"p", p},        {"q", q},        {"dP", dP},      {"dQ", dQ},
        {"qInv", qInv},  {"d", d},        {"phi", phi},    {"c mod p", cp},
        {"c mod q", cq}, {"m mod p", m1}, {"m mod q", m2}, {"Garner's h", hh}};
    for (const auto &[name, z] : named) s.add(name, z);
    EXPECT_WIPED([&] { rc |= rsa_sign(out.data(), in.data(), 128, key.priv.data()); }, s);
    EXPECT_WIPED([&] { rc |= rsa_decrypt(out.data(), in.data(), 128, key.priv.data()); }, s);
    ASSERT_EQ(rc, 0u);
    Mpz m;
    set_bytes(m, out);
    mpz_powm(m, m, e, n);
    EXPECT_EQ(mpz_cmp(m, c), 0) << "the private operation itself went wrong";
}

TEST(SecretWipe, RsaKeyGenerationLeavesNoPrimeOrExponentBehind) {
    SKIP_UNDER_SANITIZER();
    Rng rng(0x6e4);
    std::vector<Bytes> rnd;
    for (int i = 0; i < 64; i++) rnd.push_back(rng.bytes(64));
    rsa_keygen_ctx ctx;
    uint32_t code = RSA_NEED_MORE;
    const auto body = [&] {
        if (rsa_keygen_init(&ctx, 1024) != RSA_OK) return;
        for (size_t i = 0; i < rnd.size() && code == RSA_NEED_MORE; i++)
            code = rsa_keygen(&ctx, rnd[i].data(), 64);
        if (code == RSA_OK) code = rsa_gen_crt(&ctx);
    };
    Secrets none;
    ASSERT_EQ(leftovers(body, none), "");
    ASSERT_EQ(code, uint32_t(RSA_OK));
    Mpz p(ctx.p), q(ctx.q), phi, t, d, e;
    mpz_set_ui(e, 65537);
    mpz_sub_ui(t, p, 1);
    mpz_sub_ui(phi, q, 1);
    mpz_mul(phi, phi, t);
    mpz_invert(d, e, phi);
    Secrets s;
    s.add_words("p", ctx.p + 1, ctx.p[0]);
    s.add_words("q", ctx.q + 1, ctx.q[0]);
    s.add_words("dP", ctx.dP + 1, ctx.dP[0]);
    s.add_words("dQ", ctx.dQ + 1, ctx.dQ[0]);
    s.add_words("qInv", ctx.qInv + 1, ctx.qInv[0]);
    s.add("phi", phi);
    s.add("d", d);
    code = RSA_NEED_MORE;
    EXPECT_WIPED(body, s);
}

TEST(SecretWipe, CipherKeySchedulesAndHashedSecretsStayInTheirContexts) {
    SKIP_UNDER_SANITIZER();
    Rng rng(0x28147);
    uint32_t key[8], iv32[2];
    for (auto &w : key) w = rng.word();
    const Bytes data = rng.bytes(64), iv = rng.bytes(8);
    std::memcpy(iv32, iv.data(), 8);
    Bytes out(64), digest(64);
    // The contexts on the heap: what they keep is theirs to keep.
    auto ge = std::make_unique<g28147_ecb_ctx>();
    auto gc = std::make_unique<g28147_cfb_ctx>();
    auto go = std::make_unique<g28147_ofb_ctx>();
    auto gm = std::make_unique<g28147_hmac_ctx>();
    auto ke = std::make_unique<kuzn_ecb_ctx>(), kd = std::make_unique<kuzn_ecb_ctx>();
    auto kc = std::make_unique<kuzn_ctr_ctx>();
    auto md = std::make_unique<gr341194_md_ctx>();
    auto sb = std::make_unique<streebog_ctx>();
    uint32_t mac = 0;
    int failed_mac = 0;
    const std::pair<const char *, std::function<void()>> calls[] = {
        {"g28147 ecb",
         [&] {
             g28147_ecb_init_ext(ge.get(), 1, key, CryptoPro_uz);
             g28147_ecb_update(ge.get(), data.data(), out.data(), 64);
         }},
        {"g28147 cfb",
         [&] {
             g28147_cfb_init_ext(gc.get(), 1, key, iv32, CryptoPro_uz);
             g28147_cfb_update(gc.get(), data.data(), out.data(), 64);
         }},
        {"g28147 ofb",
         [&] {
             g28147_ofb_init_ext(go.get(), key, iv32, CryptoPro_uz);
             g28147_ofb_update(go.get(), data.data(), out.data(), 64);
         }},
        {"g28147 mac",
         [&] {
             g28147_hmac_init_ext(gm.get(), key, CryptoPro_uz);
             g28147_hmac_update(gm.get(), data.data(), 64);
             failed_mac += g28147_hmac_final(gm.get(), &mac) == nullptr;
         }},
        {"kuzn ecb encryption",
         [&] {
             kuzn_ecb_init(ke.get(), 1, key);
             kuzn_ecb_update(ke.get(), data.data(), out.data(), 64);
         }},
        {"kuzn ecb decryption",
         [&] {
             kuzn_ecb_init(kd.get(), 0, key);
             kuzn_ecb_update(kd.get(), data.data(), out.data(), 64);
         }},
        {"kuzn ctr",
         [&] {
             kuzn_ctr_init(kc.get(), iv.data(), key);
             kuzn_ctr_update(kc.get(), data.data(), out.data(), 64);
         }},
        {"gost r 34.11-94",
         [&] {
             gr341194_md_init_ext(md.get(), CryptoPro_iv, CryptoPro_uz);
             gr341194_md_update(md.get(), data.data(), 32);
             gr341194_md_final(md.get(), digest.data());
         }},
        {"streebog-512",
         [&] {
             streebog512_init(sb.get());
             streebog512_update(sb.get(), data.data(), 64);
             streebog512_final(digest.data(), sb.get());
         }},
        {"streebog-256",
         [&] {
             streebog256_init(sb.get());
             streebog256_update(sb.get(), data.data(), 40);
             streebog256_final(digest.data(), sb.get());
         }},
    };
    for (const auto &[name, call] : calls) call();  // fills the contexts

    // The key, the round keys of both directions (Kuznyechik's are derived;
    // GOST 28147-89's are the key words), the hashed secret, and the first
    // step key of GOST R 34.11-94, K1 = P(H xor M).
    Secrets s;
    s.add_words("key", key, 8);
    for (int i = 0; i < KUZN_ROUND_KEYS; i++) {
        s.add("kuzn encryption round key " + std::to_string(i), ke->keys[i], KUZN_BLOCK_BYTES);
        s.add("kuzn decryption round key " + std::to_string(i), kd->keys[i], KUZN_BLOCK_BYTES);
    }
    s.add("hashed message", data);
    Bytes h0(32), k1(32);
    std::memcpy(h0.data(), CryptoPro_iv, 32);
    gr341194_md_mem_xor(h0.data(), h0.data(), data.data(), 32);
    gr341194_md_p(k1.data(), h0.data());
    s.add("step key K1", k1);
    for (const auto &[name, call] : calls) {
        SCOPED_TRACE(name);
        EXPECT_WIPED(call, s);
    }
    EXPECT_EQ(failed_mac, 0);
}

// The pool's random bytes, every one of them kept for the scan.
Bytes dstu_random;
Rng dstu_rng(0x4145);
int recording_rnd(uint8_t *buf, uint32_t len) {
    for (uint32_t i = 0; i < len; i++) buf[i] = uint8_t(dstu_rng.word());
    dstu_random.insert(dstu_random.end(), buf, buf + len);
    return 0;
}

TEST(SecretWipe, DstuPoolHandOutKeyGenerationAndSigningLeaveNoKeyNonceOrRandomBytes) {
    SKIP_UNDER_SANITIZER();
    const ec2_test::Curve &c = ec2_test::named_curves().front();
    auto ctx = ec2_test::make_ctx(c);
    auto pool = std::make_unique<dstu_bspool_ctx>(), saved = std::make_unique<dstu_bspool_ctx>();
    ASSERT_EQ(dstu_bspool_init(pool.get(), ctx.get(), recording_rnd), DSTU_OK);
    // Each call runs once to learn its secrets, then again from the same
    // pool state and random stream (the pool stays at its address) on the
    // probe stack.
    const auto replayed = [&](const std::function<void()> &body,
                              const std::function<void(Secrets &)> &learn) {
        *saved = *pool;
        const Rng saved_rng = dstu_rng;
        dstu_random.clear();
        body();
        Secrets s;
        s.add("random bytes", dstu_random);
        learn(s);
        *pool = *saved;
        dstu_rng = saved_rng;
        return leftovers(body, s);
    };

    uint32_t k[DSTU_SCALAR_WORDS];
    lnm2_poly cx;
    EXPECT_EQ(replayed([&] { dstu_bspool_get(pool.get(), k, cx); },
                       [&](Secrets &s) { s.add_words("handed-out k", k + 1, k[0]); }),
              "");

    Bytes priv(DSTU_MAX_KEY_BYTES), pub(DSTU_MAX_FIELD_BYTES), sig(DSTU_MAX_SIG_BYTES);
    const Bytes hash = Rng(9).bytes(32);
    int privlen = 0, publen = 0, siglen = 0, rc = 0;
    EXPECT_EQ(replayed(
                  [&] {
                      privlen = int(priv.size());
                      publen = int(pub.size());
                      rc |= dstu_gen_keys(ctx.get(), pool.get(), &privlen, priv.data(), &publen,
                                          pub.data());
                  },
                  [&](Secrets &s) { s.add("generated d", priv.data(), size_t(privlen)); }),
              "");
    ASSERT_EQ(rc, 0);

    // Signing: the private key, the nonce e = s - d r mod n and d r mod n.
    EXPECT_EQ(replayed(
                  [&] {
                      siglen = int(sig.size());
                      rc |= dstu_sign(ctx.get(), pool.get(), privlen, priv.data(), 256, hash.data(),
                                      &siglen, sig.data());
                  },
                  [&](Secrets &s) {
                      Mpz n(ctx->n), d, r, sv, dr, e;
                      mpz_import(d, size_t(privlen), -1, 1, 0, 0, priv.data());
                      mpz_import(r, size_t(siglen / 2), -1, 1, 0, 0, sig.data());
                      mpz_import(sv, size_t(siglen / 2), -1, 1, 0, 0, sig.data() + siglen / 2);
                      mpz_mul(dr, d, r);
                      mpz_mod(dr, dr, n);
                      mpz_sub(e, sv, dr);
                      mpz_mod(e, e, n);
                      s.add("d", d);
                      s.add("d r mod n", dr);
                      s.add("nonce e", e);
                  }),
              "");
    EXPECT_EQ(rc, 0);
}

// Works out run(0..cases-1) alone, then has four threads run every case at
// once on the shared records (each thread from its own starting case), each
// result to equal the one worked out alone.
template <class Run>
void expect_same_in_threads(size_t cases, Run run) {
    using Result = decltype(run(size_t(0)));
    std::vector<Result> want;
    for (size_t i = 0; i < cases; i++) want.push_back(run(i));
    constexpr int kThreads = 4;
    std::vector<int> bad(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([&, t] {
            for (size_t i = 0; i < cases; i++) {
                const size_t j = (i + size_t(t)) % cases;
                bad[t] += run(j) != want[j];
            }
        });
    for (auto &th : threads) th.join();
    for (int t = 0; t < kThreads; t++) EXPECT_EQ(bad[t], 0) << "thread " << t;
}

TEST(SharedTablesThreads, CipherSchedulesAndHashTablesServeManyThreadsAtOnce) {
    Rng rng(0x7ab1e);
    uint32_t key[8];
    for (auto &w : key) w = rng.word();
    const Bytes data = rng.bytes(256 + 8);
    // One schedule per cipher, shared; the hashes each thread runs on its
    // own context share the S-box and LPS tables.
    g28147_ecb_ctx gost;
    g28147_ecb_init_ext(&gost, 1, key, CryptoPro_uz);
    kuzn_ecb_ctx kuzn;
    kuzn_ecb_init(&kuzn, 1, key);
    expect_same_in_threads(8, [&](size_t i) {
        const uint8_t *in = data.data() + i;
        Bytes out(256 + 32 + 64);
        g28147_ecb_update(&gost, in, out.data(), 128);
        kuzn_ecb_update(&kuzn, in + 128, out.data() + 128, 128);
        gr341194_md_ctx md;
        gr341194_md_init_ext(&md, CryptoPro_iv, CryptoPro_uz);
        gr341194_md_update(&md, in, 256);
        gr341194_md_final(&md, out.data() + 256);
        streebog_ctx sb;
        streebog512_init(&sb);
        streebog512_update(&sb, in, 256);
        streebog512_final(out.data() + 288, &sb);
        return out;
    });
}

TEST(SharedTablesThreads, OneMontgomeryTableServesManyExponentiationsAtOnce) {
    Rng rng(0x3047);
    Num m = random_num(rng, 16);
    m[1] |= 1;
    m.resize(LNMBIG_WORDS);
    const uint32_t minv = lnminverse(0u - m[1]), Rbits = 32 * m[0];
    Num x = random_num(rng, 15), one(LNMBIG_WORDS), r2(LNMBIG_WORDS), xm(LNMBIG_WORDS);
    lnmunitymont(Rbits, m.data(), one.data());  // divides by m: before the threads
    lnmunitymont(2 * Rbits, m.data(), r2.data());
    lnmmulmont(minv, Rbits, m.data(), x.data(), r2.data(), xm.data());
    Num table(LNM_MONTIC_TABLE_WORDS(5, 16));
    lnmmontic(table.data(), 5, minv, Rbits, m.data(), xm.data());
    std::vector<Num> exps;
    for (int i = 0; i < 8; i++) exps.push_back(random_num(rng, 1 + rng.below(16)));
    expect_same_in_threads(exps.size(), [&](size_t i) {
        Num r(LNMBIG_WORDS);
        lnmicpowmont(table.data(), 5, 512, one.data(), minv, Rbits, m.data(), exps[i].data(),
                     r.data());
        return r;
    });
}

TEST(SharedTablesThreads, OneFieldContextServesManyThreadsIncludingTheDividingSlots) {
    Rng rng(0x1f1d);
    for (const char *set : {"A", "test"}) {  // special form, Montgomery form
        SCOPED_TRACE(set);
        const Num p = big(paramsets().at(set).p);
        lnmpff_ctx f;
        ASSERT_EQ(lnmpff_init(&f, p.data()), &f);
        std::vector<Num> in;
        for (int k = 0; k < 6; k++) {
            in.push_back(random_num(rng, 12));
            in.back().resize(LNMBIG_WORDS);
        }
        expect_same_in_threads(in.size(), [&](size_t k) {
            const Num &a = in[k];
            Num e(LNMBIG_WORDS), s(LNMBIG_WORDS), i(LNMBIG_WORDS), w(LNMBIG_WORDS);
            Num out(LNMBIG_WORDS);
            f.in(&f, e.data(), a.data());  // reduces by division on a private copy of p
            f.sqr(&f, e.data(), s.data());
            f.inv(&f, s.data(), i.data());
            f.mul(&f, i.data(), e.data(), s.data());
            lnmpffpow(&f, s.data(), a.data(), w.data());
            f.out(&f, out.data(), w.data());
            return out;
        });
    }
}

TEST(SharedTablesThreads, OneRsaKeyPairServesManyThreadsAtOnce) {
    RsaKey key(0x75a);
    // A signature, its verdict and the message recovered from it.
    expect_same_in_threads(4, [&](size_t i) {
        const Bytes msg = key.message(i);
        Bytes sig(128), back(128);
        uint32_t rc = rsa_sign(sig.data(), msg.data(), 128, key.priv.data());
        rc |= rsa_verify(sig.data(), msg.data(), 128, key.pub.data());
        rc |= rsa_encrypt(back.data(), sig.data(), 128, key.pub.data());
        EXPECT_EQ(rc, uint32_t(RSA_OK));
        EXPECT_EQ(back, msg);
        return sig;
    });
}

}  // namespace
