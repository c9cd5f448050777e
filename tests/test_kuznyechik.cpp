// The 128-bit block cipher: tables, the S/R/L transforms, key schedule and
// single block against the published examples; ECB and CTR against the
// published mode examples and their algebraic properties.
#include <gtest/gtest.h>

#include <cstring>

#include "lncext/kuznyechik.h"
#include "symmetric/kuznyechik_core.hpp"
#include "test_util.hpp"

using namespace lncext_test;

namespace {

// The library's linear layer code, bound to the tables the library exports.
constexpr lncext::kuzn::TableSet exported = {kuz_pi,   kuz_pi_inv, tab_0x94, tab_0x20, tab_0x85,
                                             tab_0x10, tab_0xC2,   tab_0xC0, tab_0xFB};
using L = lncext::kuzn::Linear<exported>;

// "k" and 3 -> "k3" (built by appending, which GCC 12's -Wrestrict accepts)
std::string numbered(std::string name, int i) {
    name += std::to_string(i);
    return name;
}

std::vector<VectorBlock> vectors() {
    return read_vectors("kuznyechik.txt");
}

const VectorBlock &find(const std::vector<VectorBlock> &v, const std::string &key,
                        const std::string &value) {
    for (auto &b : v)
        if (b.has(key) && b.get(key) == value) return b;
    throw std::out_of_range("no vector with " + key + " = " + value);
}

const VectorBlock &find_field(const std::vector<VectorBlock> &v, const std::string &key) {
    for (auto &b : v)
        if (b.has(key)) return b;
    throw std::out_of_range("no vector with " + key);
}

// Round keys from the published key as kuzn_setup_keys writes them.
Bytes round_keys(const Bytes &key) {
    kuzn_ecb_ctx ctx;
    kuzn_setup_keys(&ctx, reinterpret_cast<const uint32_t *>(key.data()));
    return Bytes(&ctx.keys[0][0], &ctx.keys[0][0] + 160);
}

// Product in GF(2^8) by carry-less multiplication and reduction of the
// 15-bit product by long division.
uint8_t slow_mul(unsigned a, unsigned b, unsigned poly) {
    unsigned p = 0;
    for (int i = 0; i < 8; i++)
        if (b >> i & 1) p ^= a << i;
    for (int i = 14; i >= 8; i--)
        if (p >> i & 1) p ^= poly << (i - 8);
    return uint8_t(p);
}

Bytes ecb(const Bytes &key, int mode, const Bytes &in) {
    kuzn_ecb_ctx ctx;
    kuzn_ecb_init(&ctx, mode, reinterpret_cast<const uint32_t *>(key.data()));
    Bytes out(in.size());
    kuzn_ecb_update(&ctx, in.data(), out.data(), uint32_t(in.size()));
    return out;
}

Bytes ctr(const Bytes &key, const Bytes &iv, const Bytes &in) {
    kuzn_ctr_ctx ctx;
    kuzn_ctr_init(&ctx, iv.data(), reinterpret_cast<const uint32_t *>(key.data()));
    Bytes out(in.size());
    kuzn_ctr_update(&ctx, in.data(), out.data(), uint32_t(in.size()));
    return out;
}

Bytes encrypted(const Bytes &rk, Bytes block) {
    kuzn_block_enc(block.data(), rk.data());
    return block;
}

}  // namespace

TEST(KuznTables, MatchPublishedAndField) {
    auto v = vectors();
    const auto &t = find_field(v, "pi");
    EXPECT_EQ(to_hex(kuz_pi, 256), t.get("pi"));
    EXPECT_EQ(to_hex(kuz_pi_inv, 256), t.get("pi_inv"));
    EXPECT_EQ(0, std::memcmp(kuz_pi, lncext::pi_table.data(), 256));
    const auto &l = find_field(v, "l_coeffs");
    unsigned poly = unsigned(std::stoul(l.get("field_poly"), nullptr, 16));
    Bytes coeffs = l.bytes("l_coeffs");
    ASSERT_EQ(0, std::memcmp(coeffs.data(), lncext::kuzn::coef, 16));
    const uint8_t *tabs[] = {tab_0x94, tab_0x20, tab_0x85, tab_0x10,
                             tab_0xC2, tab_0xC0, tab_0x01, tab_0xFB};
    const uint8_t consts[] = {0x94, 0x20, 0x85, 0x10, 0xC2, 0xC0, 0x01, 0xFB};
    for (int k = 0; k < 8; k++)
        for (unsigned b = 0; b < 256; b++)
            ASSERT_EQ(tabs[k][b], slow_mul(b, consts[k], poly)) << k << " " << b;
    for (unsigned x = 0; x < 256; x++) {
        EXPECT_EQ(kuz_pi_inv[kuz_pi[x]], x);
        EXPECT_EQ(kuz_pi[kuz_pi_inv[x]], x);
    }
}

TEST(KuznTransforms, PublishedSRL) {
    int seen = 0;
    for (auto &b : vectors()) {
        if (!b.has("transform")) continue;
        Bytes in = b.bytes("in"), out = b.bytes("out"), x = in;
        const std::string &t = b.get("transform");
        if (t == "S") {
            for (auto &c : x) c = kuz_pi[c];
        } else if (t == "R") {
            // One step leaves the register rotated: byte k is in x[k - 1].
            L::step<0>(x.data(), std::make_index_sequence<15>{});
            Bytes r(16);
            for (int k = 0; k < 16; k++) r[k] = x[(k + 15) % 16];
            x = r;
        } else if (t == "L") {
            L::apply(x.data());
            Bytes y = out;
            L::apply_inv(y.data());
            EXPECT_EQ(to_hex(y), to_hex(in)) << "L^-1";
        }
        EXPECT_EQ(to_hex(x), to_hex(out)) << t << " " << to_hex(in);
        seen++;
    }
    EXPECT_EQ(seen, 12);
}

TEST(KuznTransforms, LinearIdentities) {
    Rng rng(0x4b55a);
    for (int i = 0; i < 2000; i++) {
        Bytes a = rng.bytes(16), b = rng.bytes(16), ab(16);
        for (int k = 0; k < 16; k++) ab[k] = a[k] ^ b[k];
        Bytes x = a;
        L::apply(x.data());
        Bytes y = x;
        L::apply_inv(y.data());
        ASSERT_EQ(y, a);
        // L is linear over GF(2): L(a ^ b) = L(a) ^ L(b)
        L::apply(b.data());
        L::apply(ab.data());
        for (int k = 0; k < 16; k++) ASSERT_EQ(ab[k], x[k] ^ b[k]);
        // and L^-1 undoes L the other way round too
        L::apply_inv(a.data());
        L::apply(a.data());
        ASSERT_EQ(a, y);
    }
}

TEST(KuznKeySchedule, ConstantsAndRoundKeys) {
    auto v = vectors();
    const auto &c = find_field(v, "c32");
    for (int i = 1; i <= 32; i++) {
        Bytes x(16, 0);
        x[15] = uint8_t(i);
        L::apply(x.data());
        EXPECT_EQ(to_hex(x), c.get(numbered("c", i))) << i;
    }
    const auto &k = find_field(v, "k10");
    // Fill a counter-mode record with a pattern: only the 160 key bytes change.
    kuzn_ctr_ctx ctx;
    std::memset(&ctx, 0xA5, sizeof ctx);
    Bytes key = k.bytes("key");
    kuzn_setup_keys(&ctx, reinterpret_cast<const uint32_t *>(key.data()));
    for (int i = 0; i < 10; i++)
        EXPECT_EQ(to_hex(ctx.keys[i], 16), k.get(numbered("k", i + 1))) << i;
    const uint8_t *rest = reinterpret_cast<const uint8_t *>(&ctx) + 160;
    for (size_t i = 0; i < sizeof ctx - 160; i++) ASSERT_EQ(rest[i], 0xA5) << i;
}

TEST(KuznBlock, PublishedEncryptionAndDecryption) {
    auto v = vectors();
    const auto &e = find_field(v, "lsx9");
    Bytes rk = round_keys(e.bytes("key"));
    Bytes ct = encrypted(rk, e.bytes("pt"));
    EXPECT_EQ(to_hex(ct), e.get("ct"));

    const auto &d = find_field(v, "linv");
    Bytes y = d.bytes("x_k10");
    L::apply_inv(y.data());
    EXPECT_EQ(to_hex(y), d.get("linv"));
    for (auto &b : y) b = kuz_pi_inv[b];
    EXPECT_EQ(to_hex(y), d.get("sinv_linv"));
    EXPECT_EQ(to_hex(ecb(d.bytes("key"), 0, d.bytes("ct"))), d.get("pt"));

    // In place and out of place agree (ECB copies through a local block).
    Bytes key = e.bytes("key"), buf = e.bytes("pt");
    kuzn_ecb_ctx ctx;
    kuzn_ecb_init(&ctx, 1, reinterpret_cast<const uint32_t *>(key.data()));
    kuzn_ecb_update(&ctx, buf.data(), buf.data(), 16);
    EXPECT_EQ(to_hex(buf), e.get("ct"));
}

TEST(KuznEcb, PublishedFourBlocks) {
    auto v = vectors();
    const auto &b = find(v, "mode", "ecb");
    Bytes key = b.bytes("key"), pt = b.bytes("pt"), ct = b.bytes("ct");
    EXPECT_EQ(to_hex(ecb(key, 1, pt)), b.get("ct"));
    EXPECT_EQ(to_hex(ecb(key, 0, ct)), b.get("pt"));
    EXPECT_EQ(to_hex(ecb(key, 7, ct)), b.get("pt"));  // any mode but 1 decrypts
    EXPECT_EQ(to_hex(ecb(key, -1, ct)), b.get("pt"));
}

TEST(KuznEcb, LengthsAndIndependentBlocks) {
    Rng rng(0xEC8);
    Bytes key = rng.bytes(32);
    kuzn_ecb_ctx ctx;
    kuzn_ecb_init(&ctx, 1, reinterpret_cast<const uint32_t *>(key.data()));
    EXPECT_EQ(ctx.mode, 1u);
    Bytes in = rng.bytes(20);
    for (uint32_t len = 0; len < 16; len++) {
        Bytes out(20, 0x5C);
        kuzn_ecb_update(&ctx, in.data(), out.data(), len);
        EXPECT_EQ(out, Bytes(20, 0x5C)) << len;
    }
    Bytes out(20, 0x5C);
    kuzn_ecb_update(&ctx, in.data(), out.data(), 20);
    EXPECT_EQ(to_hex(out.data(), 16), to_hex(ecb(key, 1, Bytes(in.begin(), in.begin() + 16))));
    EXPECT_EQ(to_hex(out.data() + 16, 4), "5c5c5c5c");

    Bytes twice(32);
    std::memcpy(twice.data(), in.data(), 16);
    std::memcpy(twice.data() + 16, in.data(), 16);
    Bytes c2 = ecb(key, 1, twice);
    EXPECT_EQ(0, std::memcmp(c2.data(), c2.data() + 16, 16));
    EXPECT_EQ(to_hex(c2.data(), 16), to_hex(out.data(), 16));
}

TEST(KuznEcb, RoundTripRandomKeys) {
    Rng rng(0x7201);
    for (int i = 0; i < 40; i++) {
        Bytes key = rng.bytes(32), pt = rng.bytes(16 * (1 + rng.below(40)));
        Bytes ct = ecb(key, 1, pt);
        EXPECT_NE(ct, pt);
        EXPECT_EQ(ecb(key, 0, ct), pt);
        // in place, decrypting
        kuzn_ecb_ctx ctx;
        kuzn_ecb_init(&ctx, 0, reinterpret_cast<const uint32_t *>(key.data()));
        kuzn_ecb_update(&ctx, ct.data(), ct.data(), uint32_t(ct.size()));
        EXPECT_EQ(ct, pt);
    }
}

TEST(KuznCtr, PublishedExampleAndGamma) {
    auto v = vectors();
    const auto &b = find(v, "mode", "ctr");
    Bytes key = b.bytes("key"), iv = b.bytes("iv"), pt = b.bytes("pt");
    EXPECT_EQ(to_hex(ctr(key, iv, pt)), b.get("ct"));
    EXPECT_EQ(to_hex(ctr(key, iv, b.bytes("ct"))), b.get("pt"));
    Bytes rk = round_keys(key);
    for (int n = 1; n <= 4; n++) {
        EXPECT_EQ(to_hex(encrypted(rk, b.bytes(numbered("ctr", n)))), b.get(numbered("gamma", n)));
        // keystream = encryption of zeros
        Bytes zeros(16 * n, 0);
        EXPECT_EQ(to_hex(ctr(key, iv, zeros).data() + 16 * (n - 1), 16),
                  b.get(numbered("gamma", n)));
    }

    // Every split of the message into three calls gives the one-call output.
    Bytes ct = b.bytes("ct");
    for (size_t i = 0; i <= pt.size(); i++)
        for (size_t j = i; j <= pt.size(); j++) {
            kuzn_ctr_ctx ctx;
            kuzn_ctr_init(&ctx, iv.data(), reinterpret_cast<const uint32_t *>(key.data()));
            Bytes out = pt;  // in place
            kuzn_ctr_update(&ctx, out.data(), out.data(), uint32_t(i));
            kuzn_ctr_update(&ctx, out.data() + i, out.data() + i, uint32_t(j - i));
            kuzn_ctr_update(&ctx, out.data() + j, out.data() + j, uint32_t(pt.size() - j));
            ASSERT_EQ(out, ct) << i << " " << j;
        }
}

TEST(KuznCtr, RandomSplitsRoundTripAndFirstBlock) {
    Rng rng(0xC7);
    for (int t = 0; t < 30; t++) {
        Bytes key = rng.bytes(32), iv = rng.bytes(8), pt = rng.bytes(rng.below(300));
        Bytes whole = ctr(key, iv, pt);
        EXPECT_EQ(ctr(key, iv, whole), pt);
        kuzn_ctr_ctx ctx;
        kuzn_ctr_init(&ctx, iv.data(), reinterpret_cast<const uint32_t *>(key.data()));
        Bytes out(pt.size());
        for (size_t at = 0; at < pt.size();) {
            size_t n = std::min<size_t>(rng.below(40), pt.size() - at);
            kuzn_ctr_update(&ctx, pt.data() + at, out.data() + at, uint32_t(n));
            at += n;
        }
        EXPECT_EQ(out, whole);

        Bytes block(16, 0);
        std::memcpy(block.data(), iv.data(), 8);
        Bytes ks = ctr(key, iv, Bytes(16, 0));
        EXPECT_EQ(ks, encrypted(round_keys(key), block));
    }
}

TEST(KuznCtr, InitAndCounterCarry) {
    Rng rng(0xCA);
    Bytes key = rng.bytes(32), rk = round_keys(key);
    const uint8_t iv[8] = {0x01, 0x02, 0x03, 0x04, 0xF5, 0xF6, 0xF7, 0xF8};
    kuzn_ctr_ctx ctx;
    std::memset(&ctx, 0xEE, sizeof ctx);
    kuzn_ctr_init(&ctx, iv, reinterpret_cast<const uint32_t *>(key.data()));
    EXPECT_EQ(ctx.counter[3], 0x01020304u);
    EXPECT_EQ(ctx.counter[2], 0xF5F6F7F8u);
    EXPECT_EQ(ctx.counter[1], 0u);
    EXPECT_EQ(ctx.counter[0], 0u);
    EXPECT_EQ(ctx.pos, 16u);
    EXPECT_EQ(Bytes(ctx.keystream, ctx.keystream + 16), Bytes(16, 0));
    EXPECT_EQ(Bytes(&ctx.keys[0][0], &ctx.keys[0][0] + 160), rk);

    // counter words (least significant first) before, and the block after
    struct Case {
        uint32_t before[4], after[4];
    } cases[] = {
        {{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0x12345678}, {0, 0, 0, 0x12345679}},
        {{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}, {0, 0, 0, 0}},
        {{0xFFFFFFFF, 5, 0xFFFFFFFF, 9}, {0, 6, 0xFFFFFFFF, 9}},
        {{0xFFFFFFFE, 0, 0, 0}, {0xFFFFFFFF, 0, 0, 0}},
    };
    auto block_of = [](const uint32_t w[4]) {
        Bytes b(16);
        for (int i = 0; i < 16; i++) b[i] = uint8_t(w[3 - i / 4] >> (24 - 8 * (i % 4)));
        return b;
    };
    for (auto &c : cases) {
        std::memcpy(ctx.counter, c.before, sizeof c.before);
        ctx.pos = 16;
        Bytes ks(32, 0);
        kuzn_ctr_update(&ctx, ks.data(), ks.data(), 32);
        EXPECT_EQ(Bytes(ks.begin(), ks.begin() + 16), encrypted(rk, block_of(c.before)));
        EXPECT_EQ(Bytes(ks.begin() + 16, ks.end()), encrypted(rk, block_of(c.after)));
    }
}
