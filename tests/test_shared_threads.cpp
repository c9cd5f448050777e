// Filled contexts and the exported tables are only read by the operations,
// so any number of threads may use one at the same time. Each test works
// its results out alone first, then has four threads repeat them at once on
// the shared records; under ThreadSanitizer (preset tsan) any write to
// shared state shows up as a data race.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "bignum_oracle.hpp"
#include "gostr341001_util.hpp"
#include "lncext/bignum.h"
#include "lncext/gost28147.h"
#include "lncext/gostr341194.h"
#include "lncext/kuznyechik.h"
#include "lncext/rsa.h"
#include "lncext/streebog.h"
#include "rsa_test_util.hpp"

namespace {

using namespace lncext_test;

constexpr int kThreads = 4;

// Runs job(t) on kThreads threads at once; job returns its mismatches.
template <class Job>
void expect_agree_in_threads(Job job) {
    std::vector<int> bad(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) threads.emplace_back([&, t] { bad[t] = job(t); });
    for (auto &th : threads) th.join();
    for (int t = 0; t < kThreads; t++) EXPECT_EQ(bad[t], 0) << "thread " << t;
}

TEST(SharedTablesThreads, CipherSchedulesAndHashTablesServeManyThreadsAtOnce) {
    Rng rng(0x7ab1e);
    uint32_t key[8];
    for (auto &w : key) w = rng.word();
    const Bytes data = rng.bytes(256);
    // One schedule per cipher, shared; the hashes each thread runs on its
    // own context share the S-box and LPS tables.
    g28147_ecb_ctx gost;
    g28147_ecb_init_ext(&gost, 1, key, CryptoPro_uz);
    kuzn_ecb_ctx kuzn;
    kuzn_ecb_init(&kuzn, 1, key);
    const auto run = [&](Bytes &out) {
        out.assign(256 + 32 + 64, 0);
        g28147_ecb_update(&gost, data.data(), out.data(), 128);
        kuzn_ecb_update(&kuzn, data.data() + 128, out.data() + 128, 128);
        gr341194_md_ctx md;
        gr341194_md_init_ext(&md, CryptoPro_iv, CryptoPro_uz);
        gr341194_md_update(&md, data.data(), 256);
        gr341194_md_final(&md, out.data() + 256);
        streebog_ctx sb;
        streebog512_init(&sb);
        streebog512_update(&sb, data.data(), 256);
        streebog512_final(out.data() + 288, &sb);
    };
    Bytes want;
    run(want);
    expect_agree_in_threads([&](int) {
        int bad = 0;
        for (int i = 0; i < 8; i++) {
            Bytes got;
            run(got);
            bad += got != want;
        }
        return bad;
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
    std::vector<Num> exps, want;
    for (int i = 0; i < 8; i++) {
        exps.push_back(random_num(rng, 1 + rng.below(16)));
        want.emplace_back(LNMBIG_WORDS);
        lnmicpowmont(table.data(), 5, 512, one.data(), minv, Rbits, m.data(), exps.back().data(),
                     want.back().data());
    }
    expect_agree_in_threads([&](int t) {
        int bad = 0;
        for (size_t i = 0; i < exps.size(); i++) {
            const size_t j = (i + size_t(t)) % exps.size();
            Num r(LNMBIG_WORDS);
            lnmicpowmont(table.data(), 5, 512, one.data(), minv, Rbits, m.data(), exps[j].data(),
                         r.data());
            bad += r != want[j];
        }
        return bad;
    });
}

TEST(SharedTablesThreads, OneFieldContextServesManyThreadsIncludingTheDividingSlots) {
    Rng rng(0x1f1d);
    for (const char *set : {"A", "test"}) {  // special form, Montgomery form
        SCOPED_TRACE(set);
        const Num p = big(paramsets().at(set).p);
        lnmpff_ctx f;
        ASSERT_EQ(lnmpff_init(&f, p.data()), &f);
        std::vector<Num> in, want;
        const auto run = [&](const Num &a, Num &out) {
            Num e(LNMBIG_WORDS), s(LNMBIG_WORDS), i(LNMBIG_WORDS), w(LNMBIG_WORDS);
            f.in(&f, e.data(), a.data());  // reduces by division on a private copy of p
            f.sqr(&f, e.data(), s.data());
            f.inv(&f, s.data(), i.data());
            f.mul(&f, i.data(), e.data(), s.data());
            lnmpffpow(&f, s.data(), a.data(), w.data());
            out.assign(LNMBIG_WORDS, 0);
            f.out(&f, out.data(), w.data());
        };
        for (int k = 0; k < 6; k++) {
            in.push_back(random_num(rng, 12));
            in.back().resize(LNMBIG_WORDS);
            want.emplace_back();
            run(in.back(), want.back());
        }
        expect_agree_in_threads([&](int t) {
            int bad = 0;
            for (size_t k = 0; k < in.size(); k++) {
                const size_t j = (k + size_t(t)) % in.size();
                Num got;
                run(in[j], got);
                bad += got != want[j];
            }
            return bad;
        });
    }
}

TEST(SharedTablesThreads, OneRsaKeyPairServesManyThreadsAtOnce) {
    gmp_randstate_t st;
    gmp_randinit_default(st);
    gmp_randseed_ui(st, 0x75a);
    Mpz p, q, n, e, t, dP, dQ, qInv;
    mpz_set_ui(e, 65537);
    for (mpz_ptr x : {p.z, q.z}) {
        do {
            mpz_urandomb(x, st, 512);
            mpz_setbit(x, 511);
            mpz_setbit(x, 510);
            mpz_nextprime(x, x);
            mpz_sub_ui(t, x, 1);
            mpz_gcd(t, t, e);
        } while (mpz_cmp_ui(t.z, 1) != 0);
    }
    mpz_mul(n, p, q);
    mpz_sub_ui(t, p, 1);
    mpz_invert(dP, e, t);
    mpz_sub_ui(t, q, 1);
    mpz_invert(dQ, e, t);
    mpz_invert(qInv, q, p);
    const Bytes pub = concat({record_of(n), record_of(e)});
    const Bytes priv =
        concat({record_of(p), record_of(q), record_of(dP), record_of(dQ), record_of(qInv)});
    std::vector<Bytes> msgs, sigs;
    for (int i = 0; i < 4; i++) {
        Mpz m;
        mpz_urandomm(m, st, n);
        msgs.push_back(bytes_of(m, 128));
        sigs.emplace_back(128);
        ASSERT_EQ(rsa_sign(sigs.back().data(), msgs.back().data(), 128, priv.data()), RSA_OK);
    }
    gmp_randclear(st);
    expect_agree_in_threads([&](int th) {
        int bad = 0;
        for (size_t i = 0; i < msgs.size(); i++) {
            const size_t j = (i + size_t(th)) % msgs.size();
            Bytes sig(128), back(128);
            bad +=
                rsa_sign(sig.data(), msgs[j].data(), 128, priv.data()) != RSA_OK || sig != sigs[j];
            bad += rsa_verify(sig.data(), msgs[j].data(), 128, pub.data()) != RSA_OK;
            bad +=
                rsa_encrypt(back.data(), sig.data(), 128, pub.data()) != RSA_OK || back != msgs[j];
        }
        return bad;
    });
}

}  // namespace
