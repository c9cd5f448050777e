// GOST R 34.11-94: published hashes for both parameter sets, the step-level
// pieces against their definitions, streaming splits, and nettle.
#include <gmp.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "common/bytes.hpp"
#include "lncext/gost28147.h"
#include "lncext/gostr341194.h"
#include "test_util.hpp"

#if LNCEXT_HAVE_NETTLE
#include <nettle/gosthash94.h>
#endif

using namespace lncext_test;

namespace {

using Words = std::vector<uint32_t>;

// Expanded tables of the two parameter sets, from the S-box rows of the
// vector file (byte 8v + c of the row layout is box K(8 - c) at input v).
const Words &table(const std::string &paramset) {
    static const std::map<std::string, Words> tables = [] {
        std::map<std::string, Words> m;
        for (auto &b : read_vectors("gostr341194.txt")) {
            if (!b.has("sbox")) continue;
            Bytes rows(128);
            for (int n = 1; n <= 8; n++) {
                const char name[3] = {'k', char('0' + n), 0};
                const std::string &row = b.get(name);
                for (int v = 0; v < 16; v++)
                    rows[8 * v + 8 - n] = uint8_t(std::stoi(row.substr(v, 1), nullptr, 16));
            }
            Words t(G28147_KEXT_WORDS);
            EXPECT_EQ(g28147_make_kext(t.data(), rows.data()), t.data());
            m[b.get("sbox")] = t;
        }
        return m;
    }();
    return tables.at(paramset);
}

Bytes hash(const Bytes &msg, const uint32_t *kext = CryptoPro_uz) {
    gr341194_md_ctx ctx;
    EXPECT_EQ(gr341194_md_init_ext(&ctx, CryptoPro_iv, kext), &ctx);
    gr341194_md_update(&ctx, msg.data(), uint32_t(msg.size()));
    Bytes out(32);
    EXPECT_EQ(gr341194_md_final(&ctx, out.data()), out.data());
    return out;
}

// psi straight from its definition: the XOR of six pieces becomes the new
// last piece and everything else moves down two bytes.
void psi_by_definition(uint8_t *y) {
    const uint8_t lo = y[0] ^ y[2] ^ y[4] ^ y[6] ^ y[24] ^ y[30];
    const uint8_t hi = y[1] ^ y[3] ^ y[5] ^ y[7] ^ y[25] ^ y[31];
    std::memmove(y, y + 2, 30);
    y[30] = lo;
    y[31] = hi;
}

// The step function spelled out with the exported pieces (A, P, mix) and
// the ECB mode; the step itself is checked against it.
Bytes step_by_definition(const Bytes &h, const Bytes &m, const uint32_t *kext) {
    static const uint8_t c3[32] = {0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0xFF, 0x00, 0xFF,
                                   0x00, 0xFF, 0x00, 0xFF, 0x00, 0x00, 0xFF, 0xFF, 0x00, 0xFF, 0x00,
                                   0x00, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0x00, 0xFF};
    Bytes u = h, v = m, w(32), k(32), s(32), out(32);
    for (int j = 1; j <= 4; j++) {
        if (j > 1) {
            gr341194_md_a(u.data());
            if (j == 3) gr341194_md_mem_xor(u.data(), u.data(), c3, 32);
            gr341194_md_a(gr341194_md_a(v.data()));
        }
        gr341194_md_mem_xor(w.data(), u.data(), v.data(), 32);
        gr341194_md_p(k.data(), w.data());
        uint32_t key[8];
        for (int i = 0; i < 8; i++) key[i] = lncext::load_le32(&k[4 * i]);
        g28147_ecb_ctx ecb;
        g28147_ecb_init_ext(&ecb, 1, key, kext);
        g28147_ecb_update(&ecb, &h[8 * (j - 1)], &s[8 * (j - 1)], 8);
    }
    gr341194_md_mix(out.data(), h.data(), m.data(), s.data());
    return out;
}

Bytes add_mod_2_256(const Bytes &a, const Bytes &b) {
    mpz_t x, y;
    mpz_inits(x, y, nullptr);
    mpz_import(x, 32, -1, 1, 0, 0, a.data());
    mpz_import(y, 32, -1, 1, 0, 0, b.data());
    mpz_add(x, x, y);
    mpz_fdiv_r_2exp(x, x, 256);
    Bytes out(32, 0);
    size_t n = 0;
    mpz_export(out.data(), &n, -1, 1, 0, 0, x);
    mpz_clears(x, y, nullptr);
    return out;
}

}  // namespace

TEST(GostR341194, PublishedHashes) {
    int n = 0;
    for (auto &b : read_vectors("gostr341194.txt")) {
        if (!b.has("paramset")) continue;
        Bytes unit = b.bytes("msg"), msg;
        const size_t repeat = b.has("repeat") ? std::stoul(b.get("repeat")) : 1;
        for (size_t i = 0; i < repeat; i++) msg.insert(msg.end(), unit.begin(), unit.end());
        const Words &t = table(b.get("paramset"));
        EXPECT_EQ(to_hex(hash(msg, t.data())), b.get("hash"))
            << b.get("paramset") << " " << msg.size();
        if (b.get("paramset") == "cryptopro") {
            EXPECT_EQ(hash(msg), hash(msg, t.data()));
        }
        // The same message fed in uneven pieces.
        if (repeat > 1) {
            gr341194_md_ctx ctx;
            gr341194_md_init_ext(&ctx, CryptoPro_iv, t.data());
            for (size_t at = 0, piece = 1; at < msg.size();
                 at += piece, piece = piece * 3 % 1000 + 1)
                gr341194_md_update(&ctx, msg.data() + at,
                                   uint32_t(std::min(piece, msg.size() - at)));
            Bytes out(32);
            gr341194_md_final(&ctx, out.data());
            EXPECT_EQ(to_hex(out), b.get("hash"));
        }
        n++;
    }
    EXPECT_EQ(n, 25);
}

TEST(GostR341194, EverySplit) {
    Rng rng(21);
    Bytes msg = rng.bytes(100);
    const Bytes want = hash(msg);
    for (size_t a = 0; a <= msg.size(); a++) {
        for (size_t b = a; b <= msg.size(); b += 7) {
            gr341194_md_ctx ctx;
            gr341194_md_init_ext(&ctx, CryptoPro_iv, CryptoPro_uz);
            gr341194_md_update(&ctx, msg.data(), uint32_t(a));
            gr341194_md_update(&ctx, msg.data() + a, uint32_t(b - a));
            gr341194_md_update(&ctx, msg.data() + b, uint32_t(msg.size() - b));
            EXPECT_LE(ctx.buffered, 31u);
            Bytes out(32);
            gr341194_md_final(&ctx, out.data());
            ASSERT_EQ(out, want) << a << " " << b;
        }
    }
    // A piece that exactly fills the buffer is hashed at once.
    gr341194_md_ctx ctx;
    gr341194_md_init_ext(&ctx, CryptoPro_iv, CryptoPro_uz);
    gr341194_md_update(&ctx, msg.data(), 20);
    gr341194_md_update(&ctx, msg.data() + 20, 12);
    EXPECT_EQ(ctx.buffered, 0u);
    EXPECT_EQ(ctx.L[1], 1);  // 256 bits
    // A null pointer or an empty piece changes nothing.
    gr341194_md_ctx copy = ctx;
    gr341194_md_update(&ctx, nullptr, 5);
    gr341194_md_update(&ctx, msg.data(), 0);
    EXPECT_EQ(std::memcmp(&ctx, &copy, sizeof ctx), 0);
}

// The blocks, length and checksum of short messages, rebuilt with the step
// function: 0 bytes (no data block), 32 bytes (no padding block), 33 bytes
// (a second block of one byte and 31 zeros, L = 264).
TEST(GostR341194, BlockStructure) {
    Rng rng(22);
    for (size_t len : {size_t(0), size_t(32), size_t(33)}) {
        Bytes msg = rng.bytes(len);
        gr341194_md_ctx ctx;
        gr341194_md_init_ext(&ctx, CryptoPro_iv, CryptoPro_uz);
        Bytes sigma(32, 0), l(32, 0);
        for (size_t at = 0; at < len; at += 32) {
            Bytes m(32, 0);
            std::memcpy(m.data(), msg.data() + at, std::min<size_t>(32, len - at));
            gr341194_md_x(&ctx, m.data());
            sigma = add_mod_2_256(sigma, m);
        }
        gr341194_md_add32(l.data(), uint32_t(8 * len));
        gr341194_md_x(&ctx, l.data());
        gr341194_md_x(&ctx, sigma.data());
        EXPECT_EQ(
            Bytes(reinterpret_cast<uint8_t *>(ctx.H), reinterpret_cast<uint8_t *>(ctx.H) + 32),
            hash(msg))
            << len;
    }
}

TEST(GostR341194, StepMatchesDefinition) {
    Rng rng(23);
    for (const char *set : {"cryptopro", "test"}) {
        const Words &t = table(set);
        for (int i = 0; i < 50; i++) {
            Bytes h = rng.bytes(32), m = rng.bytes(32);
            gr341194_md_ctx ctx;
            Words start = {0, 0, 0, 0, 0, 0, 0, 0};
            for (int j = 0; j < 8; j++) start[j] = lncext::load_le32(&h[4 * j]);
            gr341194_md_init_ext(&ctx, start.data(), t.data());
            gr341194_md_x(&ctx, m.data());
            ASSERT_EQ(0, std::memcmp(ctx.H, step_by_definition(h, m, t.data()).data(), 32));
            EXPECT_EQ(ctx.buffered, 0u);
        }
    }
    // updblocks hashes blocks straight from the caller and counts them.
    Bytes msg = rng.bytes(96);
    gr341194_md_ctx a, b;
    gr341194_md_init_ext(&a, CryptoPro_iv, CryptoPro_uz);
    gr341194_md_init_ext(&b, CryptoPro_iv, CryptoPro_uz);
    gr341194_md_updblocks(&a, msg.data(), 96);
    gr341194_md_updblocks(&a, msg.data(), 0);
    gr341194_md_update(&b, msg.data(), 96);
    EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0);
    EXPECT_EQ(a.L[0], 0);
    EXPECT_EQ(a.L[1], 3);  // 768 bits
}

TEST(GostR341194, Transforms) {
    Rng rng(24);
    for (int i = 0; i < 100; i++) {
        Bytes y = rng.bytes(32), z = rng.bytes(32);
        // psi against its definition, for every count up to 80.
        Bytes slow = y;
        for (uint32_t n = 0; n <= 80; n++) {
            Bytes fast = y;
            gr341194_md_psi(fast.data(), n);
            ASSERT_EQ(fast, slow) << n;
            psi_by_definition(slow.data());
        }
        // The mixing transformation is psi^61(h ^ psi(m ^ psi^12(s))).
        Bytes h = rng.bytes(32), out(32), t = z;
        gr341194_md_psi(t.data(), 12);
        gr341194_md_mem_xor(t.data(), y.data(), t.data(), 32);
        gr341194_md_psi(t.data(), 1);
        gr341194_md_mem_xor(t.data(), t.data(), h.data(), 32);
        gr341194_md_psi(t.data(), 61);
        gr341194_md_mix(out.data(), h.data(), y.data(), z.data());
        ASSERT_EQ(out, t);
        // Addition modulo 2^256 against GMP, and the 32-bit form.
        Bytes sum = y;
        gr341194_md_add256(sum.data(), z.data());
        ASSERT_EQ(sum, add_mod_2_256(y, z));
        const uint32_t v = rng.word();
        Bytes vb(32, 0), s32 = y;
        lncext::store_le32(vb.data(), v);
        gr341194_md_add32(s32.data(), v);
        ASSERT_EQ(s32, add_mod_2_256(y, vb));
    }
    // Carries run through all 32 bytes and out of the top one.
    Bytes ones(32, 0xFF);
    gr341194_md_add32(ones.data(), 1);
    EXPECT_EQ(ones, Bytes(32, 0));
}

#if LNCEXT_HAVE_NETTLE
TEST(GostR341194Nettle, RandomMessages) {
    Rng rng(25);
    for (int i = 0; i < 300; i++) {
        const size_t len = i < 260 ? size_t(i) : rng.below(5000);
        Bytes msg = rng.bytes(len);
        struct gosthash94_ctx n;
        uint8_t want[32];
        gosthash94cp_init(&n);
        gosthash94cp_update(&n, len, msg.data());
        gosthash94cp_digest(&n, 32, want);
        ASSERT_EQ(to_hex(hash(msg)), to_hex(want, 32)) << len;
        gosthash94_init(&n);
        gosthash94_update(&n, len, msg.data());
        gosthash94_digest(&n, 32, want);
        ASSERT_EQ(to_hex(hash(msg, table("test").data())), to_hex(want, 32)) << len;
    }
}
#endif
