// The 128-bit block cipher: the published tables, transforms, constants,
// round keys, block and mode examples; ECB round trips and the bytes it must
// not write; every split of the counter mode and the counter's carries; the
// library's row-table path against the byte-oriented path it is built from.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "lncext/kuznyechik.h"
#include "symmetric/kuznyechik_core.hpp"
#include "test_util.hpp"

using namespace lncext_test;

// The library's linear layer code, bound to the tables the library exports.
constexpr lncext::kuzn::TableSet exported = {kuz_pi,   kuz_pi_inv, tab_0x94, tab_0x20, tab_0x85,
                                             tab_0x10, tab_0xC2,   tab_0xC0, tab_0xFB};
using L = lncext::kuzn::Linear<exported>;
using Ref = lncext::kuzn::ByteCipher<exported>;

struct Kuzn : testing::Test {
    // The first published block with the field key (equal to value, if given).
    static const VectorBlock &with(const std::string &key, const std::string &value = "") {
        static const auto all = read_vectors("kuznyechik.txt");
        for (auto &b : all)
            if (b.has(key) && (value.empty() || b.get(key) == value)) return b;
        throw std::out_of_range("no vector with " + key);
    }
    static std::string num(std::string name, int i) { return name += std::to_string(i); }
    static auto *words(const Bytes &k) { return reinterpret_cast<const uint32_t *>(&k[0]); }

    // ECB over the whole of out: from in if given, else in place.
    static Bytes ecb(const Bytes &key, int mode, Bytes out, const Bytes *in = nullptr) {
        kuzn_ecb_ctx ctx;
        kuzn_ecb_init(&ctx, mode, words(key));
        kuzn_ecb_update(&ctx, in ? in->data() : out.data(), out.data(), uint32_t(out.size()));
        return out;
    }

    // Counter mode over in: one call out of place, or in place in pieces
    // that end at the ascending cut points.
    static Bytes ctr(const Bytes &key, const Bytes &iv, const Bytes &in,
                     std::vector<size_t> cuts = {}) {
        kuzn_ctr_ctx ctx;
        kuzn_ctr_init(&ctx, iv.data(), words(key));
        Bytes out = cuts.empty() ? Bytes(in.size()) : in;
        const uint8_t *src = cuts.empty() ? in.data() : out.data();
        cuts.push_back(in.size());
        for (size_t at = 0, i = 0; i < cuts.size(); at = cuts[i++])
            kuzn_ctr_update(&ctx, src + at, out.data() + at, uint32_t(cuts[i] - at));
        return out;
    }
};

// S and R forward, L both ways; one R step leaves the register turned by a
// byte. The iteration constants are C_i = L(0 .. 0 i).
TEST_F(Kuzn, PublishedTablesTransformsAndConstants) {
    EXPECT_EQ(to_hex(kuz_pi, 256), with("pi").get("pi"));
    EXPECT_EQ(to_hex(kuz_pi_inv, 256), with("pi").get("pi_inv"));
    for (unsigned b = 0; b < 256; b++) ASSERT_EQ(tab_0x01[b], b);
    int seen = 0;
    for (auto &v : read_vectors("kuznyechik.txt")) {
        if (!v.has("transform")) continue;
        Bytes x = v.bytes("in"), y = v.bytes("out");
        const std::string &t = v.get("transform");
        if (t == "S")
            for (auto &b : x) b = kuz_pi[b];
        if (t == "R") {
            L::step<0>(x.data(), std::make_index_sequence<15>{});
            std::rotate(x.begin(), x.end() - 1, x.end());
        }
        if (t == "L") L::apply(x.data()), L::apply_inv(y.data());
        EXPECT_EQ(to_hex(x), v.get("out")) << t << " of " << v.get("in");
        EXPECT_EQ(to_hex(y), v.get(t == "L" ? "in" : "out")) << "inverse " << t;
        seen++;
    }
    EXPECT_EQ(seen, 12);
    for (int i = 1; i <= 32; i++) {
        Bytes c(16, 0);
        c[15] = uint8_t(i);
        L::apply(c.data());
        EXPECT_EQ(to_hex(c), with("c32").get(num("c", i)));
    }
}

TEST_F(Kuzn, PublishedKeysAndBlocksEcbTails) {
    const auto &v = with("k10"), &e = with("lsx9"), &d = with("linv"), &m = with("mode", "ecb");
    // Only the first 160 bytes of the record are written; the key may lie there.
    kuzn_ctr_ctx ctx;
    kuzn_ecb_ctx inside;
    std::memset(&ctx, 0xA5, sizeof ctx);
    kuzn_setup_keys(&ctx, words(v.bytes("key")));
    for (int i = 0; i < 10; i++) EXPECT_EQ(to_hex(ctx.keys[i], 16), v.get(num("k", i + 1))) << i;
    for (size_t i = 160; i < sizeof ctx; i++) ASSERT_EQ(reinterpret_cast<uint8_t *>(&ctx)[i], 0xA5);
    std::memcpy(inside.keys, e.bytes("key").data(), 32);
    kuzn_setup_keys(&inside, reinterpret_cast<const uint32_t *>(inside.keys));
    Bytes x = e.bytes("pt"), y = d.bytes("x_k10");
    kuzn_block_enc(x.data(), inside.keys[0]);
    EXPECT_EQ(to_hex(x), e.get("ct"));
    // The last decryption round begins with L^-1.
    L::apply_inv(y.data());
    EXPECT_EQ(to_hex(y), d.get("linv"));
    // Four blocks: mode 1 encrypts, any other decrypts.
    EXPECT_EQ(to_hex(ecb(m.bytes("key"), 1, m.bytes("pt"))), m.get("ct"));
    for (int mode : {0, 7, -1})
        EXPECT_EQ(to_hex(ecb(m.bytes("key"), mode, m.bytes("ct"))), m.get("pt")) << mode;
    // Whole blocks only: a tail is neither encrypted nor written.
    Rng rng(0xEC8);
    for (size_t len = 0; len < 70; len++) {
        const Bytes key = rng.bytes(32), pt = rng.bytes(len);
        Bytes want = pt;
        for (size_t i = len & ~size_t(15); i < len; i++) want[i] = 0x5C;
        ASSERT_EQ(ecb(key, 0, ecb(key, 1, Bytes(len, 0x5C), &pt)), want) << len;
    }
}

TEST_F(Kuzn, CtrPublishedEverySplitAndCarries) {
    const auto &v = with("mode", "ctr");
    const Bytes key = v.bytes("key"), iv = v.bytes("iv"), pt = v.bytes("pt"), ct = v.bytes("ct");
    EXPECT_EQ(to_hex(ctr(key, iv, pt)), v.get("ct"));  // and so the keystream, pt ^ ct
    for (size_t i = 0; i <= pt.size(); i++)
        for (size_t j = i; j <= pt.size(); j++)
            ASSERT_EQ(ctr(key, iv, pt, {i, j}), ct) << i << "," << j;
    // Random keys, IVs, lengths and cuts; decryption is the same operation.
    Rng rng(0xC7);
    for (int t = 0; t < 40; t++) {
        const Bytes k = rng.bytes(32), n = rng.bytes(8), p = rng.bytes(rng.below(300));
        std::vector<size_t> cuts;
        for (size_t c = rng.below(40); c <= p.size(); c += rng.below(40)) cuts.push_back(c);
        ASSERT_EQ(ctr(k, n, ctr(k, n, p), cuts), p) << p.size();
    }
    // The 128-bit counter, words least significant first, before and after
    // one block: the keystream is their encryption, most significant byte first.
    const uint32_t cases[][2][4] = {{{~0u, ~0u, ~0u, 0x12345678}, {0, 0, 0, 0x12345679}},
                                    {{~0u, ~0u, ~0u, ~0u}, {0, 0, 0, 0}},
                                    {{~0u, 5, ~0u, 9}, {0, 6, ~0u, 9}},
                                    {{0xFFFFFFFE, 0, 0, 0}, {~0u, 0, 0, 0}}};
    for (auto &c : cases) {
        kuzn_ctr_ctx ctx;
        kuzn_ctr_init(&ctx, iv.data(), words(key));
        std::memcpy(ctx.counter, c[0], sizeof c[0]);
        Bytes ks(32, 0), b(32);
        kuzn_ctr_update(&ctx, ks.data(), ks.data(), 32);
        for (int i = 0; i < 32; i++)
            b[i] = uint8_t(c[i / 16][3 - i % 16 / 4] >> (24 - 8 * (i % 4)));
        EXPECT_EQ(ks, ecb(key, 1, b));
    }
}

// Keys, blocks and counters where a table path would slip: zero, all ones,
// bytes that pi sends to zero (0xA5) or that zero comes from (0xFC), one bit
// in each position; then random ones.
static std::vector<Bytes> samples(size_t len, Rng &rng, int random) {
    std::vector<Bytes> v = {Bytes(len, 0), Bytes(len, 0xFF), Bytes(len, 0xA5), Bytes(len, 0xFC)};
    for (size_t j = 0; j < len; j++)
        v.push_back(Bytes(len, 0)), v.back()[j] = uint8_t(0x80 >> j % 8);
    while (random-- > 0) v.push_back(rng.bytes(len));
    return v;
}

// The library runs its row tables; the byte-oriented path on the exported
// small tables is the definition. Key schedules, single blocks, ECB both ways
// over every count of blocks up to a few groups, and the whole counter-mode
// record after random splits, counters near their carries included.
TEST_F(Kuzn, RowTablePathMatchesByteOrientedPath) {
    Rng rng(0x7AB1E);
    const auto blocks = samples(16, rng, 24);
    auto keys = samples(32, rng, 8);
    keys.push_back(with("k10").bytes("key"));
    Bytes msg;
    for (auto &b : blocks) msg.insert(msg.end(), b.begin(), b.end());
    for (auto &key : keys) {
        uint8_t rk[160];
        Ref::setup_keys(rk, key.data());
        kuzn_ecb_ctx ctx;
        kuzn_setup_keys(&ctx, words(key));
        ASSERT_EQ(to_hex(&ctx.keys[0][0], 160), to_hex(rk, 160)) << to_hex(key);
        Bytes enc = msg, dec = msg, one = msg;
        for (size_t i = 0; i < msg.size(); i += 16) {
            Ref::encrypt(&enc[i], rk);
            Ref::decrypt(&dec[i], rk);
            kuzn_block_enc(&one[i], rk);
        }
        ASSERT_EQ(one, enc) << to_hex(key);
        ASSERT_EQ(ecb(key, 1, msg), enc) << to_hex(key);
        ASSERT_EQ(ecb(key, 0, msg), dec) << to_hex(key);
        for (size_t n = 0; n <= 9; n++) {
            const Bytes part(msg.begin(), msg.begin() + 16 * n);
            ASSERT_EQ(ecb(key, 1, part), Bytes(enc.begin(), enc.begin() + 16 * n)) << n;
            ASSERT_EQ(ecb(key, 0, part), Bytes(dec.begin(), dec.begin() + 16 * n)) << n;
        }
    }
    const uint32_t near[] = {0, 1, 0x7FFFFFFF, 0xFFFFFFFE, 0xFFFFFFFF};
    for (int t = 0; t < 200; t++) {
        const Bytes &key = keys[t % keys.size()], iv = rng.bytes(8), in = rng.bytes(rng.below(300));
        kuzn_ctr_ctx lib, ref;
        kuzn_ctr_init(&lib, iv.data(), words(key));
        for (auto &w : lib.counter) w = t % 2 ? near[rng.below(5)] : rng.word();
        ref = lib;
        Bytes out(in.size()), want(in.size());
        for (size_t at = 0, cut; at < in.size(); at = cut) {
            // Often up to a block boundary, after a whole number of blocks.
            const size_t to_edge = (16 - ref.pos) % 16 + 16 * rng.below(10);
            cut = std::min(in.size(), at + (rng.below(2) ? to_edge : rng.below(t % 3 ? 20 : 150)));
            kuzn_ctr_update(&lib, &in[at], &out[at], uint32_t(cut - at));
            // Byte by byte: a used-up keystream block is replaced by the
            // encrypted counter, most significant byte first; then the
            // counter steps on with its carries.
            for (size_t i = at; i < cut; i++) {
                if (ref.pos == 16) {
                    for (int b = 0; b < 16; b++)
                        ref.keystream[b] = uint8_t(ref.counter[3 - b / 4] >> (24 - 8 * (b % 4)));
                    Ref::encrypt(ref.keystream, &ref.keys[0][0]);
                    ref.pos = 0;
                    for (int w = 0; w < 4 && ++ref.counter[w] == 0; w++) {
                    }
                }
                want[i] = in[i] ^ ref.keystream[ref.pos++];
            }
            ASSERT_EQ(lib.pos, ref.pos) << t;
            ASSERT_EQ(to_hex(lib.keystream, 16), to_hex(ref.keystream, 16)) << t;
            ASSERT_EQ(std::memcmp(lib.counter, ref.counter, sizeof ref.counter), 0) << t;
        }
        ASSERT_EQ(out, want) << t;
    }
}
