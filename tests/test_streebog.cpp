// Streebog: published vectors, the tables and building blocks against the
// standard's step-by-step definitions, streaming splits, and differential
// runs against libgcrypt and nettle (which print digests in our byte order).
#include "lncext/streebog.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "test_util.hpp"

#if LNCEXT_HAVE_GCRYPT
#include <gcrypt.h>
#endif
#if LNCEXT_HAVE_NETTLE
#include <nettle/streebog.h>
// nettle maps our names onto its symbols with macros; call its own names.
#undef streebog256_init
#undef streebog256_update
#undef streebog256_digest
#undef streebog512_init
#undef streebog512_update
#undef streebog512_digest
#undef streebog256_ctx
#endif

namespace {

using lncext_test::Bytes;
using lncext_test::from_hex;
using lncext_test::Rng;
using lncext_test::to_hex;

// Hashes msg fed in pieces that end at the ascending cut points.
Bytes hash(bool is512, const Bytes &msg, const std::vector<size_t> &cuts = {}) {
    streebog_ctx ctx;
    is512 ? streebog512_init(&ctx) : streebog256_init(&ctx);
    size_t at = 0;
    for (size_t cut : cuts) {
        (is512 ? streebog512_update : streebog256_update)(&ctx, msg.data() + at,
                                                          uint32_t(cut - at));
        at = cut;
    }
    streebog512_update(&ctx, msg.data() + at, uint32_t(msg.size() - at));
    Bytes out(is512 ? 64 : 32);
    (is512 ? streebog512_final : streebog256_final)(out.data(), &ctx);
    return out;
}

Bytes xor_of(const Bytes &x, const Bytes &y) {
    Bytes r(64);
    for (int i = 0; i < 64; i++) r[i] = x[i] ^ y[i];
    return r;
}

Bytes words_to_bytes(const uint32_t *w) {
    Bytes b(64);
    streebog_put_block(b.data(), w);
    return b;
}

// The standard's definitions from the published tables file, applied step
// by step to memory-order values.
struct Reference {
    Bytes pi, tau, c[12];
    uint64_t a[64];

    Reference() {
        for (const auto &blk : lncext_test::read_vectors("streebog_tables.txt")) {
            for (const auto &[key, value] : blk.fields) {
                if (key == "pi") pi = from_hex(value);
                if (key == "tau") tau = from_hex(value);
                if (key.size() == 3 && key[0] == 'a')
                    a[std::stoi(key.substr(1))] = std::stoull(value, nullptr, 16);
                if (key[0] == 'c' && key.find('_') == std::string::npos)
                    c[std::stoi(key.substr(1)) - 1] = from_hex(value);
            }
        }
    }

    // l on a 64-bit lane: bit 63 - i selects row i of A.
    uint64_t l(uint64_t v) const {
        uint64_t r = 0;
        for (int i = 0; i < 64; i++)
            if ((v >> (63 - i)) & 1) r ^= a[i];
        return r;
    }

    Bytes lps(const Bytes &x) const {
        Bytes s(64), out(64);
        for (int i = 0; i < 64; i++) s[i] = pi[x[tau[i]]];  // S then P
        for (int w = 0; w < 8; w++) {
            uint64_t v = 0;
            for (int k = 7; k >= 0; k--) v = v << 8 | s[8 * w + k];
            v = l(v);
            for (int k = 0; k < 8; k++) out[8 * w + k] = uint8_t(v >> (8 * k));
        }
        return out;
    }

    // gN(h, m) = E(LPS(h ^ n), m) ^ h ^ m, the key schedule run separately.
    Bytes g(const Bytes &h, const Bytes &m, const Bytes &n) const {
        Bytes k = lps(xor_of(h, n)), state = m;
        for (int i = 0; i < 12; i++) {
            state = lps(xor_of(state, k));
            k = lps(xor_of(k, c[i]));
        }
        return xor_of(xor_of(state, k), xor_of(h, m));
    }
};

const Reference &reference() {
    static const Reference ref;
    return ref;
}

TEST(Streebog, PublishedVectors) {
    const auto blocks = lncext_test::read_vectors("streebog.txt");
    ASSERT_GE(blocks.size(), 8u);
    for (const auto &v : blocks) {
        const Bytes msg = v.bytes("msg");
        SCOPED_TRACE(testing::Message() << "message of " << msg.size() << " bytes");
        EXPECT_EQ(to_hex(hash(true, msg)), v.get("hash512"));
        EXPECT_EQ(to_hex(hash(false, msg)), v.get("hash256"));
    }
}

TEST(Streebog, TablesMatchTheirDefinitions) {
    const auto &ref = reference();
    for (int i = 0; i < 12; i++) EXPECT_EQ(to_hex(streebog_c[i], 64), to_hex(ref.c[i])) << i;
    EXPECT_EQ(to_hex(streebog256iv, 64), to_hex(Bytes(64, 0x01)));
    EXPECT_EQ(to_hex(streebog_zero, 64), to_hex(Bytes(64, 0)));
    EXPECT_EQ(streebog_lp32[0][0][1], 0xD01F715Bu);
    EXPECT_EQ(streebog_lp32[0][0][0], 0x5C7EF8E6u);
    EXPECT_EQ(streebog_lp32[0][1][1], 0x16FA2409u);
    EXPECT_EQ(streebog_lp32[0][1][0], 0x80778325u);
    int mismatches = 0;
    for (int i = 0; i < 8; i++)
        for (int b = 0; b < 256; b++)
            mismatches += (uint64_t(streebog_lp32[i][b][1]) << 32 | streebog_lp32[i][b][0]) !=
                          ref.l(uint64_t(ref.pi[b]) << (8 * i));
    EXPECT_EQ(mismatches, 0);
}

TEST(Streebog, LpsAndCompressionMatchStepwiseDefinitions) {
    const auto &ref = reference();
    Rng rng(11);
    for (int iter = 0; iter < 100; iter++) {
        const Bytes a = rng.bytes(64), b = rng.bytes(64);
        const Bytes want = ref.lps(xor_of(a, b));
        Bytes out(64), a2 = a, b2 = b;
        streebog_lpsx32(out.data(), a.data(), b.data());
        streebog_lpsx32(a2.data(), a2.data(), b.data());  // out is a
        streebog_lpsx32(b2.data(), a.data(), b2.data());  // out is b
        ASSERT_EQ(out, want);
        ASSERT_EQ(a2, want);
        ASSERT_EQ(b2, want);

        Bytes h = rng.bytes(64);
        const Bytes n = rng.bytes(64), g = ref.g(h, a, n);
        streebog_gN(h.data(), a.data(), n.data());
        ASSERT_EQ(h, g);
    }
}

TEST(Streebog, CounterAndChecksumAdditions) {
    uint32_t n[16] = {0xFFFFFE00};
    streebog_add(n, 512);
    EXPECT_EQ(n[0], 0u);
    EXPECT_EQ(n[1], 1u);

    // Random values with long runs of all-ones words, against GMP mod 2^512.
    Rng rng(12);
    mpz_t x, y;
    mpz_init(x);
    mpz_init(y);
    for (int iter = 0; iter < 2000; iter++) {
        uint32_t start[16], got[16], want[16] = {};
        for (auto &w : start) w = rng.below(3) ? 0xFFFFFFFFu : rng.word();
        Bytes m = iter % 4 ? rng.bytes(64) : Bytes(64, 0xFF);
        const uint32_t v = iter % 2 ? rng.word() : 512;
        const bool whole = iter % 3 == 0;  // add a 512-bit block instead of a word
        mpz_import(x, 16, -1, 4, 0, 0, start);
        if (whole)
            mpz_import(y, 64, -1, 1, 0, 0, m.data());
        else
            mpz_set_ui(y, v);
        mpz_add(x, x, y);
        mpz_fdiv_r_2exp(x, x, 512);
        mpz_export(want, nullptr, -1, 4, 0, 0, x);
        std::memcpy(got, start, sizeof got);
        whole ? streebog_add512(got, m.data()) : streebog_add(got, v);
        ASSERT_EQ(0, std::memcmp(got, want, sizeof got)) << iter;
    }
    mpz_clear(x);
    mpz_clear(y);
}

// A 64-byte message is one full block, then the padded empty block
// 01 00 .. 00 counted as 0 bits, then the length and the checksum.
TEST(Streebog, FullBlockMessageByHand) {
    Rng rng(13);
    const Bytes msg = rng.bytes(64);
    streebog_ctx ctx;
    streebog512_init(&ctx);
    streebog_update_block(&ctx, msg.data(), 512);
    Bytes pad(64, 0);
    pad[0] = 0x01;
    streebog_update_block(&ctx, pad.data(), 0);
    EXPECT_EQ(ctx.N[0], 512u);
    streebog_gN(ctx.h, words_to_bytes(ctx.N).data(), streebog_zero);
    streebog_gN(ctx.h, words_to_bytes(ctx.Sigma).data(), streebog_zero);
    EXPECT_EQ(to_hex(ctx.h, 64), to_hex(hash(true, msg)));
}

TEST(Streebog, ContextRecordThroughUpdatesAndFinal) {
    Rng rng(14);
    const Bytes msg = rng.bytes(200);
    streebog_ctx ctx;
    streebog512_init(&ctx);
    streebog512_update(&ctx, msg.data(), 100);
    EXPECT_EQ(ctx.N[0], 512u);
    EXPECT_EQ(ctx.buffered, 36u);
    EXPECT_EQ(0, std::memcmp(ctx.buffer, msg.data() + 64, 36));
    EXPECT_EQ(words_to_bytes(ctx.Sigma), Bytes(msg.begin(), msg.begin() + 64));

    const streebog_ctx copy = ctx;
    streebog512_update(&ctx, nullptr, 0);
    EXPECT_EQ(0, std::memcmp(&copy, &ctx, sizeof ctx));

    // Whole blocks only, leaving the buffer alone; then the tail.
    streebog512_update_blocks(&ctx, msg.data() + 100, 100);
    EXPECT_EQ(ctx.N[0], 1024u);
    EXPECT_EQ(ctx.buffered, 36u);
    streebog_ctx direct;
    streebog512_init(&direct);
    streebog512_update_blocks(&direct, msg.data(), 64);
    streebog512_update_blocks(&direct, msg.data() + 100, 127);
    streebog512_update(&direct, msg.data() + 64, 36);
    EXPECT_EQ(0, std::memcmp(&direct, &ctx, sizeof ctx));

    uint8_t out[64];
    streebog512_final(out, &ctx);
    EXPECT_EQ(ctx.N[0], 1024u + 288u);
    EXPECT_EQ(0, std::memcmp(out, ctx.h, 64));
}

// The two sizes differ only in the starting value and the half returned.
TEST(Streebog, InitAndFinalOfDifferentSizesMix) {
    Rng rng(15);
    for (size_t len : {0, 1, 63, 64, 65, 200}) {
        const Bytes msg = rng.bytes(len);
        streebog_ctx ctx;
        uint8_t full[64], half[32];
        streebog256_init(&ctx);
        streebog256_update(&ctx, msg.data(), uint32_t(len));
        streebog512_final(full, &ctx);
        EXPECT_EQ(to_hex(full + 32, 32), to_hex(hash(false, msg)));
        streebog512_init(&ctx);
        streebog512_update(&ctx, msg.data(), uint32_t(len));
        streebog256_final(half, &ctx);
        EXPECT_EQ(to_hex(half, 32), to_hex(hash(true, msg).data() + 32, 32));
    }
}

TEST(Streebog, StreamingSplitsGiveTheOneCallDigest) {
    Rng rng(16);
    for (size_t len = 0; len <= 200; len++) {
        const Bytes msg = rng.bytes(len);
        const Bytes w512 = hash(true, msg), w256 = hash(false, msg);
        for (size_t cut = 0; cut <= len; cut++) {
            ASSERT_EQ(hash(true, msg, {cut}), w512) << len << " at " << cut;
            ASSERT_EQ(hash(false, msg, {cut}), w256) << len << " at " << cut;
        }
    }
    for (size_t len : {63, 64, 65, 127, 128, 129}) {
        const Bytes msg = rng.bytes(len), want = hash(true, msg);
        for (size_t i = 0; i <= len; i++)
            for (size_t j = i; j <= len; j++)
                ASSERT_EQ(hash(true, msg, {i, j}), want) << len << ": " << i << "," << j;
    }
    for (int iter = 0; iter < 1000; iter++) {
        const size_t len = rng.below(700);
        const Bytes msg = rng.bytes(len);
        std::vector<size_t> cuts(rng.below(12));
        for (auto &c : cuts) c = rng.below(uint32_t(len + 1));
        std::sort(cuts.begin(), cuts.end());
        ASSERT_EQ(hash(iter % 2, msg, cuts), hash(iter % 2, msg)) << len;
    }
}

// Random messages, 300 short and 100 up to 70 KB, against an oracle that
// fills 64 + 32 bytes with the 512- and 256-bit digests.
template <class Oracle>
void check_against(Oracle oracle, uint64_t seed) {
    Rng rng(seed);
    for (int iter = 0; iter < 400; iter++) {
        const Bytes msg = rng.bytes(iter < 300 ? rng.below(600) : rng.below(70000));
        Bytes want(96);
        oracle(msg, want.data());
        ASSERT_EQ(to_hex(hash(true, msg)), to_hex(want.data(), 64)) << msg.size();
        std::vector<size_t> cuts(3);
        for (auto &c : cuts) c = rng.below(uint32_t(msg.size() + 1));
        std::sort(cuts.begin(), cuts.end());
        ASSERT_EQ(to_hex(hash(false, msg, cuts)), to_hex(want.data() + 64, 32)) << msg.size();
    }
}

#if LNCEXT_HAVE_GCRYPT
TEST(Streebog, AgreesWithLibgcrypt) {
    ASSERT_NE(gcry_check_version(nullptr), nullptr);
    check_against(
        [](const Bytes &m, uint8_t *out) {
            gcry_md_hash_buffer(GCRY_MD_STRIBOG512, out, m.data(), m.size());
            gcry_md_hash_buffer(GCRY_MD_STRIBOG256, out + 64, m.data(), m.size());
        },
        17);
}
#endif

#if LNCEXT_HAVE_NETTLE
TEST(Streebog, AgreesWithNettle) {
    check_against(
        [](const Bytes &m, uint8_t *out) {
            struct streebog512_ctx n;
            nettle_streebog512_init(&n);
            nettle_streebog512_update(&n, m.size(), m.data());
            nettle_streebog512_digest(&n, 64, out);
            nettle_streebog256_init(&n);
            nettle_streebog512_update(&n, m.size(), m.data());
            nettle_streebog256_digest(&n, 32, out + 64);
        },
        18);
}
#endif

}  // namespace
