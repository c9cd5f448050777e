// Streebog: published vectors, the exported building blocks checked against
// each other and the whole hash, the 512-bit additions against GMP, every
// split of the input, every LPS pass this build has against the portable one,
// and differential runs against libgcrypt and nettle (which print digests in
// our byte order).
#include "lncext/streebog.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <cstring>
#include <iostream>

#include "symmetric/streebog_hash.hpp"
#include "test_util.hpp"

#if LNCEXT_HAVE_GCRYPT
#include <gcrypt.h>
#endif
#if LNCEXT_HAVE_NETTLE
#include <nettle/streebog.h>
// nettle maps our names onto its symbols with macros; call its own names.
#undef streebog256_init
#undef streebog256_update
#undef streebog512_init
#undef streebog512_update
#endif

using namespace lncext_test;

// Hashes msg fed in pieces that end at the ascending cut points.
static Bytes hash(bool is512, const Bytes &msg, const std::vector<size_t> &cuts = {}) {
    streebog_ctx ctx;
    is512 ? streebog512_init(&ctx) : streebog256_init(&ctx);
    const auto update = is512 ? streebog512_update : streebog256_update;
    size_t at = 0;
    for (size_t cut : cuts) {
        update(&ctx, msg.data() + at, uint32_t(cut - at));
        at = cut;
    }
    update(&ctx, msg.data() + at, uint32_t(msg.size() - at));
    Bytes out(is512 ? 64 : 32);
    (is512 ? streebog512_final : streebog256_final)(out.data(), &ctx);
    return out;
}

TEST(Streebog, PublishedVectors) {
    const auto blocks = read_vectors("streebog.txt");
    ASSERT_GE(blocks.size(), 8u);
    for (const auto &v : blocks) {
        const Bytes msg = v.bytes("msg");
        EXPECT_EQ(to_hex(hash(true, msg)) + " " + to_hex(hash(false, msg)),
                  v.get("hash512") + " " + v.get("hash256"));
    }
}

TEST(Streebog, BuildingBlocksAgainstTheHashAndGmp) {
    Rng rng(11);
    for (int iter = 0; iter < 50; iter++) {
        // gN(h, m) = E(LPS(h ^ n), m) ^ h ^ m, the key schedule run alongside;
        // the LPS output overwrites its first input, then its second.
        Bytes m = rng.bytes(64), n = rng.bytes(64), h = rng.bytes(64), k(64), s = m;
        streebog_lpsx32(k.data(), h.data(), n.data());
        for (int i = 0; i < 12; i++) {
            streebog_lpsx32(s.data(), s.data(), k.data());
            streebog_lpsx32(k.data(), streebog_c[i], k.data());
        }
        for (int j = 0; j < 64; j++) s[j] ^= k[j] ^ h[j] ^ m[j];
        streebog_gN(h.data(), m.data(), n.data());
        ASSERT_EQ(h, s);
    }
    // Bytes 0..99 go through the buffering update (36 stay buffered), then
    // whole blocks of bytes 100..199: one is taken, the rest ignored, and the
    // buffer left alone.
    Bytes msg = rng.bytes(200), out(64), tail(64, 0), n(64), sigma(64);
    streebog_ctx ctx, direct;
    streebog512_init(&ctx);
    streebog512_update(&ctx, msg.data(), 100);
    streebog512_update_blocks(&ctx, msg.data() + 100, 100);
    streebog512_final(out.data(), &ctx);
    // By hand: the two blocks, the tail padded with 01 00 .. 00 and counted
    // as 288 bits, then the length and the checksum under a zero counter.
    std::memcpy(tail.data(), msg.data() + 64, 36);
    tail[36] = 0x01;
    streebog512_init(&direct);
    streebog_update_block(&direct, msg.data(), 512);
    streebog_update_block(&direct, msg.data() + 100, 512);
    streebog_update_block(&direct, tail.data(), 288);
    streebog_put_block(n.data(), direct.N);
    streebog_put_block(sigma.data(), direct.Sigma);
    streebog_gN(direct.h, n.data(), streebog_zero);
    streebog_gN(direct.h, sigma.data(), streebog_zero);
    EXPECT_EQ(to_hex(direct.h, 64), to_hex(out));

    // The counter and checksum additions against GMP mod 2^512: random values
    // with long runs of all-ones words; every other block is the complement
    // of the value it is added to above a random low word, so that one carry
    // runs through the rest.
    mpz_t x, y;
    mpz_inits(x, y, nullptr);
    for (int iter = 0; iter < 600; iter++) {
        uint32_t got[16], want[17] = {};  // the sum's bit 512 lands in want[16]
        for (auto &w : got) w = rng.below(3) ? 0xFFFFFFFFu : rng.word();
        Bytes m = rng.bytes(64);
        for (int i = 4; i < 64 && iter % 2; i++) m[i] = uint8_t(~got[i / 4] >> (8 * (i % 4)));
        const uint32_t v = iter % 2 ? rng.word() : 512;
        mpz_import(x, 16, -1, 4, 0, 0, got);
        // a 512-bit block every third time, a word otherwise
        iter % 3 ? mpz_set_ui(y, v) : mpz_import(y, 64, -1, 1, 0, 0, m.data());
        iter % 3 ? streebog_add(got, v) : streebog_add512(got, m.data());
        mpz_add(x, x, y);
        mpz_export(want, nullptr, -1, 4, 0, 0, x);
        ASSERT_EQ(0, std::memcmp(got, want, sizeof got)) << iter;
    }
    mpz_clears(x, y, nullptr);
}

// Every cut of the input, and every pair of cuts around block boundaries.
TEST(Streebog, StreamingSplitsGiveTheOneCallDigest) {
    Rng rng(16);
    for (size_t len = 0; len <= 200; len++) {
        const Bytes msg = rng.bytes(len), want[2] = {hash(false, msg), hash(true, msg)};
        for (size_t i = 0; i <= len; i++)
            for (size_t j = len < 130 && (len + 1) % 64 < 3 ? i : len; j <= len; j++)
                for (int big = 0; big < 2; big++)
                    ASSERT_EQ(hash(big, msg, {i, j}), want[big]) << i << "," << j << "/" << len;
    }
}

// Random messages, 300 short and 100 up to 70 KB, the 256-bit one fed in
// three random pieces.
TEST(Streebog, AgreesWithOracles) {
    Rng rng(17);
    for (int iter = 0; iter < 400; iter++) {
        const Bytes m = rng.bytes(rng.below(iter < 300 ? 600 : 70000));
        const size_t a = rng.below(uint32_t(m.size() + 1)), b = (a + m.size()) / 2;
        const std::string mine[2] = {to_hex(hash(false, m, {a, b})), to_hex(hash(true, m))};
        for (int big = 0; big < 2; big++) {
            uint8_t w[64];
#if LNCEXT_HAVE_GCRYPT
            ASSERT_NE(gcry_check_version(nullptr), nullptr);
            gcry_md_hash_buffer(big ? GCRY_MD_STRIBOG512 : GCRY_MD_STRIBOG256, w, m.data(),
                                m.size());
            ASSERT_EQ(mine[big], to_hex(w, 32 + 32 * big)) << "libgcrypt, " << m.size() << " bytes";
#endif
#if LNCEXT_HAVE_NETTLE
            struct streebog512_ctx n;
            big ? nettle_streebog512_init(&n) : nettle_streebog256_init(&n);
            nettle_streebog512_update(&n, m.size(), m.data());
            (big ? nettle_streebog512_digest : nettle_streebog256_digest)(&n, 32 + 32 * big, w);
            ASSERT_EQ(mine[big], to_hex(w, 32 + 32 * big)) << "nettle, " << m.size() << " bytes";
#endif
        }
    }
}

// The whole hash run on LPS pass P, the message fed in two pieces.
template <class P>
static Bytes hash_with(bool is512, const Bytes &msg, size_t cut) {
    streebog_ctx ctx;
    is512 ? streebog512_init(&ctx) : streebog256_init(&ctx);
    lncext::streebog::update<P>(&ctx, msg.data(), uint32_t(cut));
    lncext::streebog::update<P>(&ctx, msg.data() + cut, uint32_t(msg.size() - cut));
    Bytes out(64);
    lncext::streebog::final512<P>(out.data(), &ctx);
    return is512 ? out : Bytes(out.begin() + 32, out.end());
}

// Pass P gives the published digests, and the portable pass's bytes for
// LPS, the compression and whole messages on random and extreme inputs; the
// library's own digest (whichever pass it chose) agrees with both.
template <class P>
static void check_pass(uint32_t seed) {
    using Ref = lncext::streebog::PortableLps;
    for (const auto &v : read_vectors("streebog.txt")) {
        const Bytes msg = v.bytes("msg");
        ASSERT_EQ(to_hex(hash_with<P>(true, msg, msg.size() / 3)), v.get("hash512"));
        ASSERT_EQ(to_hex(hash_with<P>(false, msg, msg.size() / 2)), v.get("hash256"));
    }
    Rng rng(seed);
    for (int iter = 0; iter < 300; iter++) {
        Bytes a = rng.bytes(64), b = rng.bytes(64), c = rng.bytes(64), mine = a, ref = a;
        if (iter < 4)
            a.assign(64, uint8_t(iter & 1 ? 0xFF : 0)), b.assign(64, uint8_t(iter & 2 ? 0xFF : 0));
        P::store(mine.data(), P::lpsx(P::load(a.data()), P::load(b.data())));
        Ref::store(ref.data(), Ref::lpsx(Ref::load(a.data()), Ref::load(b.data())));
        ASSERT_EQ(to_hex(mine), to_hex(ref)) << "LPS " << iter;
        mine = ref = a;
        lncext::streebog::gN<P>(mine.data(), b.data(), c.data());
        lncext::streebog::gN<Ref>(ref.data(), b.data(), c.data());
        ASSERT_EQ(to_hex(mine), to_hex(ref)) << "gN " << iter;
        const Bytes m = rng.bytes(rng.below(iter < 250 ? 300 : 5000));
        const size_t cut = rng.below(uint32_t(m.size() + 1));
        for (int big = 0; big < 2; big++) {
            const std::string want = to_hex(hash_with<Ref>(big, m, cut));
            ASSERT_EQ(to_hex(hash_with<P>(big, m, cut)), want) << m.size() << " bytes";
            ASSERT_EQ(to_hex(hash(big, m)), want) << m.size() << " bytes";
        }
    }
}

TEST(Streebog, EveryLpsPassMatchesThePortableOne) {
    check_pass<lncext::streebog::PortableLps>(21);
#if defined(LNCEXT_HAVE_GNU_ASM_X86_64)
    check_pass<lncext::streebog::X64Lps>(22);
#else
    std::cout << "[ INFO ] only the portable LPS pass is built here\n";
#endif
}
