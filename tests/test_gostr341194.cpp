// GOST R 34.11-94: published hashes for both parameter sets in any split, the
// exported building blocks against the step they make up, GMP and nettle.
#include <gmp.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "common/bytes.hpp"
#include "lncext/gost28147.h"
#include "lncext/gostr341194.h"
#include "test_util.hpp"

#if LNCEXT_HAVE_NETTLE
#include <nettle/gosthash94.h>
#include <nettle/nettle-meta.h>
#endif

using namespace lncext_test;

namespace {

// Expanded tables of the two parameter sets, from the S-box rows of the
// vector file (byte 8v + c of the row layout is box K(8 - c) at input v).
const uint32_t *table(const std::string &paramset) {
    static const auto tables = [] {
        std::map<std::string, std::vector<uint32_t>> m;
        for (auto &b : read_vectors("gostr341194.txt")) {
            if (!b.has("sbox")) continue;
            Bytes rows(128);
            auto &t = m[b.get("sbox")] = std::vector<uint32_t>(G28147_KEXT_WORDS);
            for (int i = 0; i < 128; i++)
                rows[i] =
                    uint8_t(std::stoi(b.get({'k', char('8' - i % 8)}).substr(i / 8, 1), 0, 16));
            EXPECT_EQ(g28147_make_kext(t.data(), rows.data()), t.data());
        }
        return m;
    }();
    return tables.at(paramset).data();
}

// Hashes msg fed in the pieces between ascending cut points, with a null
// piece (which must do nothing) before each.
Bytes hash(const Bytes &msg, const uint32_t *kext = CryptoPro_uz, std::vector<size_t> cuts = {}) {
    gr341194_md_ctx ctx;
    EXPECT_EQ(gr341194_md_init_ext(&ctx, CryptoPro_iv, kext), &ctx);
    cuts.push_back(msg.size());
    for (size_t at = 0, i = 0; i < cuts.size(); at = cuts[i++]) {
        gr341194_md_update(&ctx, nullptr, 5);
        gr341194_md_update(&ctx, msg.data() + at, uint32_t(cuts[i] - at));
        EXPECT_LE(ctx.buffered, 31u);
    }
    Bytes out(32);
    EXPECT_EQ(gr341194_md_final(&ctx, out.data()), out.data());
    return out;
}

}  // namespace

// Whole, split at every pair of cut points (b steps of 7) or, for the long
// ones, in uneven pieces of 1 to 1000 bytes.
TEST(GostR341194, PublishedHashesInPieces) {
    int n = 0;
    for (auto &b : read_vectors("gostr341194.txt")) {
        if (!b.has("paramset")) continue;
        Bytes unit = b.bytes("msg"), msg;
        for (size_t i = 0, r = b.has("repeat") ? std::stoul(b.get("repeat")) : 1; i < r; i++)
            msg.insert(msg.end(), unit.begin(), unit.end());
        std::vector<std::vector<size_t>> splits = {{}, {}};
        for (size_t at = 1, step = 1; at < msg.size(); step = step * 3 % 1000 + 1, at += step)
            splits[1].push_back(at);
        for (size_t a = 0; a <= msg.size() && msg.size() <= 128; a++)
            for (size_t c = a; c <= msg.size(); c += 7) splits.push_back({a, c});
        for (auto &cuts : splits)
            ASSERT_EQ(to_hex(hash(msg, table(b.get("paramset")), cuts)), b.get("hash"))
                << msg.size();
        n++;
    }
    EXPECT_EQ(n, 25);
    // The ready-made table is the CryptoPro set's.
    EXPECT_EQ(0, std::memcmp(CryptoPro_uz, table("cryptopro"), 4 * G28147_KEXT_WORDS));
}

// The step rebuilt from the exported pieces: keys from A, the constant C3 and
// P; the four words of H encrypted; then psi^61(h ^ psi(m ^ psi^12(s))),
// which the mixing call must also give. psi^n is psi applied n times.
TEST(GostR341194, StepFromBuildingBlocks) {
    const Bytes c3 = from_hex("00ff00ff00ff00ffff00ff00ff00ff0000ffff00ff0000ffff000000ffff00ff");
    Rng rng(23);
    for (int i = 0; i < 100; i++) {
        const uint32_t *kext = table(i % 2 ? "test" : "cryptopro");
        Bytes h = rng.bytes(32), m = rng.bytes(32), u = h, v = m, w(32), s(32), mix(32);
        uint32_t key[8], start[8];
        for (int j = 0; j < 4; j++) {
            if (j > 0) gr341194_md_a(u.data()), gr341194_md_a(gr341194_md_a(v.data()));
            if (j == 2) gr341194_md_mem_xor(u.data(), u.data(), c3.data(), 32);
            gr341194_md_mem_xor(w.data(), u.data(), v.data(), 32);
            gr341194_md_p(reinterpret_cast<uint8_t *>(key), w.data());
            g28147_ecb_ctx ecb;
            g28147_ecb_init_ext(&ecb, 1, key, kext);
            g28147_ecb_update(&ecb, &h[8 * j], &s[8 * j], 8);
        }
        gr341194_md_mix(mix.data(), h.data(), m.data(), s.data());
        gr341194_md_psi(s.data(), 12);
        gr341194_md_mem_xor(s.data(), s.data(), m.data(), 32);
        gr341194_md_psi(s.data(), 1);
        gr341194_md_mem_xor(s.data(), h.data(), s.data(), 32);
        gr341194_md_psi(s.data(), 61);
        ASSERT_EQ(mix, s);
        gr341194_md_ctx ctx;
        std::memcpy(start, h.data(), 32);
        gr341194_md_init_ext(&ctx, start, kext);
        gr341194_md_x(&ctx, m.data());
        ASSERT_EQ(0, std::memcmp(ctx.H, s.data(), 32));
        Bytes stepped = s;
        for (uint32_t n = 0; n <= 80; n++, gr341194_md_psi(stepped.data(), 1)) {
            Bytes once = s;
            gr341194_md_psi(once.data(), n);
            ASSERT_EQ(once, stepped) << n;
        }
    }
}

// Both additions against GMP; the first two cases carry through all 32
// bytes and out of the top one.
TEST(GostR341194, AdditionsAgainstGmp) {
    Rng rng(24);
    mpz_t x, y;
    mpz_inits(x, y, nullptr);
    for (int i = 0; i < 200; i++) {
        Bytes a = rng.bytes(32), b = rng.bytes(32), sum, want(33, 0);
        if (i < 2) a.assign(32, 0xFF), b.assign(32, 0), b[0] = 1;
        if (i % 2) std::fill(b.begin() + 4, b.end(), 0);  // a 32-bit addend
        sum = a;
        if (i % 2) gr341194_md_add32(sum.data(), lncext::load_le32(b.data()));
        if (i % 2 == 0) gr341194_md_add256(sum.data(), b.data());
        mpz_import(x, 32, -1, 1, 0, 0, a.data());
        mpz_import(y, 32, -1, 1, 0, 0, b.data());
        mpz_add(x, x, y);
        mpz_export(want.data(), nullptr, -1, 1, 0, 0, x);
        ASSERT_EQ(sum, Bytes(want.begin(), want.begin() + 32)) << i;
    }
    mpz_clears(x, y, nullptr);
}

#if LNCEXT_HAVE_NETTLE
TEST(GostR341194Nettle, RandomMessages) {
    Rng rng(25);
    for (size_t i = 0, len = 0; i < 300; i++, len = i < 260 ? i : rng.below(5000)) {
        const Bytes msg = rng.bytes(len);
        for (auto [nh, kext] : {std::pair{&nettle_gosthash94cp, CryptoPro_uz},
                                std::pair{&nettle_gosthash94, table("test")}}) {
            gosthash94_ctx ctx;
            uint8_t want[32];
            nh->init(&ctx);
            nh->update(&ctx, len, msg.data());
            nh->digest(&ctx, 32, want);
            ASSERT_EQ(to_hex(hash(msg, kext)), to_hex(want, 32)) << len;
        }
    }
}
#endif
