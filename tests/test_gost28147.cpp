// GOST 28147-89: table builder, round cycles, ECB, CFB, gamma mode and MAC,
// against the published vectors, their own inverses, every split and libgcrypt.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>

#include "common/bytes.hpp"
#include "lncext/gost28147.h"
#include "test_util.hpp"

#if LNCEXT_HAVE_GCRYPT
#include <gcrypt.h>
#endif

using namespace lncext_test;

namespace {

using Words = std::vector<uint32_t>;
using Cuts = std::vector<size_t>;

Words words(const Bytes &b) {
    Words w(b.size() / 4);
    for (size_t i = 0; i < w.size(); i++) w[i] = lncext::load_le32(&b[4 * i]);
    return w;
}

// The S-boxes of the vector file by name: OID and expanded table. Rows k1..k8
// go into the 128-byte layout, where byte 8v + c is box K(8 - c) at input v.
const std::map<std::string, std::pair<std::string, Words>> &sboxes() {
    static const auto all = [] {
        std::map<std::string, std::pair<std::string, Words>> m;
        for (auto &b : read_vectors("gost28147.txt")) {
            if (!b.has("sbox") || !b.has("k1")) continue;
            Bytes rows(128);
            Words t(G28147_KEXT_WORDS);
            for (int i = 0; i < 128; i++)
                rows[i] =
                    uint8_t(std::stoi(b.get({'k', char('8' - i % 8)}).substr(i / 8, 1), 0, 16));
            EXPECT_EQ(g28147_make_kext(t.data(), rows.data()), t.data());
            m[b.get("sbox")] = {b.get("oid"), t};
        }
        return m;
    }();
    return all;
}

// Calls feed(at, len) for the pieces of [0, n) between ascending cut points.
template <typename F>
void feed_pieces(const Cuts &cuts, size_t n, F &&feed) {
    size_t at = 0;
    for (size_t c : cuts) feed(at, c - at), at = c;
    feed(at, n - at);
}

// Every pair of cut points on multiples of step, and random runs of pieces
// of 0 to 2 steps (empty pieces included).
std::vector<Cuts> splits(size_t n, size_t step, Rng &rng) {
    std::vector<Cuts> all;
    for (size_t a = 0; a <= n; a += step)
        for (size_t b = a; b <= n; b += step) all.push_back({a, b});
    for (int r = 0; r < 20; r++) {
        all.emplace_back();
        for (size_t p = step * rng.below(3); p <= n; p += step * rng.below(3))
            all.back().push_back(p);
    }
    return all;
}

enum Mode { Ecb, Cfb, CfbDirect, Gamma };

// One message through a mode, fed in pieces; dir 1 encrypts. Out of place
// the output starts as 0xA5 bytes, so bytes left alone show.
Bytes run(Mode mode, int dir, const Words &key, const Words &iv, const Bytes &in,
          const Cuts &cuts = {}, bool in_place = false, const uint32_t *kext = CryptoPro_uz) {
    g28147_ecb_ctx e;
    g28147_cfb_ctx c;
    g28147_ofb_ctx g;
    g28147_ecb_init_ext(&e, dir, key.data(), kext);
    // The direct CFB calls ignore the mode field: give them the wrong one.
    g28147_cfb_init_ext(&c, mode == CfbDirect ? 1 - dir : dir, key.data(), iv.data(), kext);
    g28147_ofb_init_ext(&g, key.data(), iv.data(), kext);
    Bytes out = in_place ? in : Bytes(in.size(), 0xA5);
    feed_pieces(cuts, in.size(), [&](size_t at, size_t n) {
        const uint8_t *src = (in_place ? out : in).data() + at;
        uint8_t *dst = out.data() + at;
        if (mode == Ecb) g28147_ecb_update(&e, src, dst, uint32_t(n));
        if (mode == Cfb) g28147_cfb_update(&c, src, dst, uint32_t(n));
        auto direct = dir == 1 ? g28147_cfb_enc_update_blocks : g28147_cfb_dec_update_blocks;
        if (mode == CfbDirect) direct(&c, src, dst, uint32_t(n));
        if (mode == Gamma) g28147_ofb_update(&g, src, dst, uint32_t(n));
    });
    return out;
}

// The MAC of msg fed in pieces, or nothing when the library declines to make
// one; the verifying final agrees either way and rejects a wrong value.
std::optional<uint32_t> mac(const Words &key, const Bytes &msg, const Cuts &cuts = {},
                            const uint32_t *kext = CryptoPro_uz) {
    g28147_hmac_ctx ctx;
    g28147_hmac_init_ext(&ctx, key.data(), kext);
    feed_pieces(cuts, msg.size(), [&](size_t at, size_t n) {
        g28147_hmac_update(&ctx, msg.data() + at, uint32_t(n));
        EXPECT_LE(ctx.buffered, 7u);
    });
    g28147_hmac_ctx right = ctx, wrong = ctx;
    uint32_t m = 0xDEADBEEF;
    const bool made = g28147_hmac_final(&ctx, &m) == &m;
    const uint32_t other = m ^ (1u << (msg.size() % 32));
    EXPECT_TRUE(made || m == 0xDEADBEEF);  // nothing written
    EXPECT_EQ(g28147_hmac_final_verify(&right, &m), made ? 1 : 0);
    EXPECT_EQ(g28147_hmac_final_verify(&wrong, &other), 0);
    return made ? std::optional(m) : std::nullopt;
}

}  // namespace

// A byte above 15 anywhere is refused with nothing written.
TEST(Gost28147, BadSboxesRefusedUntouched) {
    Words out(G28147_KEXT_WORDS, 0x12345678);
    for (size_t pos : {0, 1, 64, 126, 127}) {
        Bytes s(128, 15);
        s[pos] = pos % 2 ? 16 : 255;
        EXPECT_EQ(g28147_make_kext(out.data(), s.data()), nullptr);
        EXPECT_EQ(out, Words(G28147_KEXT_WORDS, 0x12345678));
    }
}

TEST(Gost28147, PublishedVectors) {
    int n = 0;
    for (auto &b : read_vectors("gost28147.txt")) {
        if (!b.has("mode") || b.get("order") != "classic") continue;
        const std::string mode = b.get("mode");
        const uint32_t *kext = sboxes().at(b.get("sbox")).second.data();
        const Words key = words(b.bytes("key")), iv = b.has("iv") ? words(b.bytes("iv")) : Words(2);
        n++;
        if (mode == "imit") {
            // Up to 8 bytes other implementations add a zero block; here there is no MAC.
            const Bytes msg = b.bytes("msg");
            const auto want =
                msg.size() > 8 ? std::optional(words(b.bytes("mac"))[0]) : std::nullopt;
            EXPECT_EQ(mac(key, msg, {}, kext), want) << b.get("msg");
            continue;
        }
        const Mode m = mode == "ecb" ? Ecb : mode == "cfb" ? Cfb : Gamma;
        EXPECT_EQ(to_hex(run(m, 1, key, iv, b.bytes("pt"), {}, false, kext)), b.get("ct"));
        EXPECT_EQ(to_hex(run(m, 0, key, iv, b.bytes("ct"), {}, false, kext)), b.get("pt"));
    }
    EXPECT_EQ(n, 33);  // 11 ECB, 6 CFB, 4 gamma, 12 MAC
}

// 32 rounds with keys laid out by either exported encryption order are the
// ECB encryption (which the published vectors pin down), and 32 rounds with
// keys laid out by the matching decryption order undo them. 16 rounds twice
// continue the same recurrence, so they give the 32-round result with its
// halves exchanged (here written over the inputs).
TEST(Gost28147, RoundCyclesAndExportedOrders) {
    Rng rng(1);
    const std::pair<const uint8_t *, const uint8_t *> orders[] = {{OrderEncr, OrderDecr},
                                                                  {OrderEnc, OrderDec}};
    for (int i = 0; i < 200; i++) {
        const Bytes block = rng.bytes(8);
        const Words key = words(rng.bytes(32)), ks = words(rng.bytes(128)), in = words(block);
        Words enc(32), dec(32), out(2), back(2), half = in;
        for (auto [encr, decr] : orders) {
            for (int r = 0; r < 32; r++) enc[r] = key[encr[r]], dec[r] = key[decr[r]];
            g28147_32Steps(in[0], in[1], enc.data(), CryptoPro_uz, &out[0], &out[1]);
            ASSERT_EQ(words(run(Ecb, 1, key, {0, 0}, block)), out);
            g28147_32Steps(out[0], out[1], dec.data(), CryptoPro_uz, &back[0], &back[1]);
            ASSERT_EQ(back, in);
        }
        g28147_32Steps(in[0], in[1], ks.data(), CryptoPro_uz, &out[0], &out[1]);
        g28147_16Steps(half[0], half[1], ks.data(), CryptoPro_uz, &half[0], &half[1]);
        g28147_16Steps(half[0], half[1], ks.data() + 16, CryptoPro_uz, &half[0], &half[1]);
        ASSERT_EQ(half, Words({out[1], out[0]}));
    }
}

// Every length and split (whole blocks for ECB and CFB, where a partial block
// ends the message) gives the one-call result, in place or not, and
// decryption undoes it. ECB leaves a trailing partial block alone.
TEST(Gost28147, LengthsSplitsAndInverses) {
    Rng rng(6);
    const Words key = words(rng.bytes(32)), iv = words(rng.bytes(8));
    for (size_t len = 0; len <= 40; len++) {
        const Bytes pt = rng.bytes(len);
        for (Mode m : {Ecb, Cfb, CfbDirect, Gamma}) {
            const Bytes ct = run(m, 1, key, iv, pt, {}, true);
            for (auto &cuts : splits(len, m == Gamma ? 1 : 8, rng)) {
                ASSERT_EQ(run(m, 1, key, iv, pt, cuts, true), ct) << m << " " << len;
                ASSERT_EQ(run(m, m == Ecb ? 2 : 0, key, iv, ct, cuts, true), pt) << m << " " << len;
            }
            Bytes out_of_place = ct;
            if (m == Ecb) std::fill(out_of_place.end() - len % 8, out_of_place.end(), 0xA5);
            EXPECT_EQ(run(m, 1, key, iv, pt), out_of_place) << m << " " << len;
        }
    }
    // A CFB call with a partial block gives a prefix of the whole-block result
    // and leaves the register where it found it.
    const Bytes pt = rng.bytes(16), ct = run(Cfb, 1, key, iv, pt);
    g28147_cfb_ctx ctx;
    g28147_cfb_init_ext(&ctx, 1, key.data(), iv.data(), CryptoPro_uz);
    Bytes out(16);
    g28147_cfb_update(&ctx, pt.data(), out.data(), 15);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 15), Bytes(ct.begin(), ct.begin() + 15));
    g28147_cfb_update(&ctx, pt.data(), out.data(), 16);
    EXPECT_EQ(out, ct);
}

namespace {

// The modes rebuilt one block at a time on the exported one-block engine
// (g28147_32Steps), the path the interleaved groups must agree with: whole
// blocks of ECB (a partial tail left as 0xA5), CFB with its register and the
// gamma mode from counter (n1, n2) (the encrypted iv when not given).
Bytes one_block_at_a_time(Mode m, int dir, const Words &key, const Words &iv, const Bytes &in,
                          std::optional<std::pair<uint32_t, uint32_t>> counter = {}) {
    const uint8_t *order = m == Ecb && dir != 1 ? OrderDecr : OrderEncr;
    Words rk(32);
    for (int i = 0; i < 32; i++) rk[i] = key[order[i]];
    auto e = [&](uint32_t &a, uint32_t &b) {
        g28147_32Steps(a, b, rk.data(), CryptoPro_uz, &a, &b);
    };
    Bytes out(in.size(), 0xA5);
    uint32_t r1 = iv[0], r2 = iv[1];
    if (m == Gamma) counter ? void(std::tie(r1, r2) = *counter) : e(r1, r2);
    for (size_t at = 0; at < in.size() && (m != Ecb || in.size() - at >= 8); at += 8) {
        const size_t n = std::min<size_t>(8, in.size() - at);
        Bytes block(8, 0);
        std::copy_n(in.begin() + at, n, block.begin());
        const uint32_t p1 = lncext::load_le32(&block[0]), p2 = lncext::load_le32(&block[4]);
        uint32_t g1 = p1, g2 = p2;
        if (m == Gamma) {
            const uint32_t s = r2 + 0x01010104;
            g1 = r1 += 0x01010101, g2 = r2 = s + (s < r2);
        } else if (m != Ecb) {
            g1 = r1, g2 = r2;
        }
        e(g1, g2);
        if (m != Ecb) g1 ^= p1, g2 ^= p2;
        lncext::store_le32(&block[0], g1);
        lncext::store_le32(&block[4], g2);
        std::copy_n(block.begin(), n, out.begin() + at);
        if (m == Cfb || m == CfbDirect) r1 = dir == 1 ? g1 : p1, r2 = dir == 1 ? g2 : p2;
    }
    return out;
}

}  // namespace

// ECB, CFB decryption and the gamma mode make groups of blocks interleaved
// and the rest in smaller groups; every length up to 35 blocks and a partial
// tail, cut once at every point (every byte for the gamma mode, every block
// elsewhere), in place or not, on random, all-zero and all-one keys and
// data, gives what the one-block engine gives block by block. CFB encryption,
// serial, is checked the same way.
TEST(Gost28147, InterleavedGroupsMatchOneBlockEngine) {
    Rng rng(12);
    for (int kind = 0; kind < 3; kind++) {
        auto fill = [&](size_t n) {
            return kind == 0 ? rng.bytes(n) : Bytes(n, kind == 1 ? 0 : 0xFF);
        };
        const Words key = words(fill(32)), iv = words(fill(8));
        for (size_t len = 0; len <= 35 * 8 + 7; len++) {
            const Bytes in = fill(len);
            for (Mode m : {Ecb, Cfb, CfbDirect, Gamma}) {
                for (int dir : {1, 0}) {
                    const Bytes want = one_block_at_a_time(m, dir, key, iv, in);
                    Bytes want_in_place = want;  // ECB's untouched tail is the input there
                    std::copy(in.end() - (m == Ecb ? len % 8 : 0), in.end(),
                              want_in_place.end() - (m == Ecb ? len % 8 : 0));
                    const int d = m == Ecb ? 2 - dir : dir;  // ECB decrypts with any mode but 1
                    ASSERT_EQ(run(m, d, key, iv, in, {}, true), want_in_place)
                        << m << dir << " " << len;
                    const size_t step = m == Gamma ? 1 : 8;
                    for (size_t cut = 0; cut <= len; cut += step) {
                        const bool in_place = cut % 16 == 8;
                        ASSERT_EQ(run(m, d, key, iv, in, {cut}, in_place),
                                  in_place ? want_in_place : want)
                            << m << dir << " " << len << " " << cut;
                    }
                }
            }
        }
    }
    // Counters whose modulo 2^32 - 1 carry, or a sum of exactly 2^32 - 1,
    // falls at every position inside a group.
    const Words key = words(rng.bytes(32)), iv(2, 0);
    for (uint32_t back = 0; back < 12; back++)
        for (uint32_t edge : {0xFEFEFEFCu, 0xFEFEFEFBu, 0xFFFFFFFFu}) {
            const uint32_t n1 = rng.word(), n2 = edge - back * 0x01010104;
            const Bytes in = rng.bytes(8 * 20 + 3);
            g28147_ofb_ctx ctx;
            g28147_ofb_init_ext(&ctx, key.data(), iv.data(), CryptoPro_uz);
            ctx.N1 = n1, ctx.N2 = n2;
            Bytes out(in.size());
            g28147_ofb_update(&ctx, in.data(), out.data(), uint32_t(in.size()));
            ASSERT_EQ(out, one_block_at_a_time(Gamma, 1, key, iv, in, std::pair(n1, n2)))
                << back << " " << std::hex << edge;
        }
}

// The counter adds 0x01010101 to N1 and 0x01010104 to N2 modulo 2^32 - 1 (a
// carry out comes back in as 1; a sum of exactly 2^32 - 1 stays), the same
// whether blocks are made one at a time or two together.
TEST(Gost28147, GammaCounterCarries) {
    const Words key(8, 0x5A5A5A5A), iv(2, 7);
    const uint32_t cases[][2] = {{0xFEFEFEFC, 1},
                                 {0xFEFEFEFB, 0xFFFFFFFF},
                                 {0xFFFFFFFF, 0x01010104},
                                 {0, 0x01010104},
                                 {0xFEFEFEFD, 2}};
    for (auto [n2, want] : cases) {
        g28147_ofb_ctx one, two;
        g28147_ofb_init_ext(&one, key.data(), iv.data(), CryptoPro_uz);
        one.N1 = 0xFEFEFEFE, one.N2 = n2, two = one;
        uint8_t zero[16] = {}, a[16], b[16];
        g28147_ofb_update(&one, zero, a, 8);
        EXPECT_EQ(Words({one.N1, one.N2}), Words({0xFFFFFFFF, want})) << std::hex << n2;
        g28147_ofb_update(&one, zero, a + 8, 8);
        g28147_ofb_update(&two, zero, b, 16);
        EXPECT_EQ(Bytes(a, a + 16), Bytes(b, b + 16));
        EXPECT_EQ(Words({one.N1, one.N2}), Words({two.N1, two.N2}));
    }
}

// Every split, the 9-byte minimum, zero padding, updblocks padding its own tail, and the
// byte count stopping at 10 instead of wrapping.
TEST(Gost28147, MacSplitsAndLengths) {
    Rng rng(10);
    const Words key = words(rng.bytes(32));
    const Bytes msg = rng.bytes(45);
    const auto want = mac(key, msg);
    ASSERT_TRUE(want.has_value());
    for (auto &cuts : splits(45, 1, rng)) ASSERT_EQ(mac(key, msg, cuts), want);
    for (size_t len = 0; len <= 9; len++)
        EXPECT_EQ(mac(key, Bytes(msg.begin(), msg.begin() + len)).has_value(), len == 9);
    for (size_t len = 33; len < 40; len++) {  // zero padding, no length
        Bytes padded(msg.begin(), msg.begin() + len);
        padded.resize(40, 0);
        EXPECT_EQ(mac(key, Bytes(msg.begin(), msg.begin() + len)), mac(key, padded)) << len;
    }
    g28147_hmac_ctx ctx;
    uint32_t got = 0;
    g28147_hmac_init_ext(&ctx, key.data(), CryptoPro_uz);
    g28147_hmac_updblocks(&ctx, msg.data(), 45);
    ASSERT_EQ(g28147_hmac_final(&ctx, &got), &got);
    EXPECT_EQ(got, *want);
    g28147_hmac_updblocks(&ctx, msg.data(), 8);
    EXPECT_EQ(ctx.absorbed, 10u);
}

#if LNCEXT_HAVE_GCRYPT
namespace {

// libgcrypt's GOST 28147 in a cipher mode (dir 1 encrypts), or its MAC (mode 0).
Bytes gcrypt(int mode, int dir, const std::string &oid, const Bytes &key, const Bytes &iv,
             const Bytes &in) {
    static const bool ready = gcry_check_version(nullptr) &&
                              !gcry_control(GCRYCTL_DISABLE_SECMEM, 0) &&
                              !gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    char *sbox = const_cast<char *>(oid.c_str());
    Bytes out(mode ? in.size() : 4);
    size_t n = out.size();
    gcry_error_t err = !ready;
    gcry_mac_hd_t m;
    gcry_cipher_hd_t h;
    if (mode == 0) {
        err |= gcry_mac_open(&m, GCRY_MAC_GOST28147_IMIT, 0, nullptr);
        err |= gcry_mac_ctl(m, GCRYCTL_SET_SBOX, sbox, 0);
        err |= gcry_mac_setkey(m, key.data(), key.size());
        err |= gcry_mac_write(m, in.data(), in.size());
        err |= gcry_mac_read(m, out.data(), &n);
        gcry_mac_close(m);
    } else {
        err |= gcry_cipher_open(&h, GCRY_CIPHER_GOST28147, mode, 0);
        err |= gcry_cipher_ctl(h, GCRYCTL_SET_SBOX, sbox, 0);
        err |= gcry_cipher_setkey(h, key.data(), key.size());
        if (!iv.empty()) err |= gcry_cipher_setiv(h, iv.data(), iv.size());
        err |= (dir == 1 ? gcry_cipher_encrypt : gcry_cipher_decrypt)(h, out.data(), n, in.data(),
                                                                      in.size());
        gcry_cipher_close(h);
    }
    EXPECT_EQ(err, 0u);
    return out;
}

}  // namespace

TEST(Gost28147Gcrypt, EcbCfbMacOnRandomInputs) {
    Rng rng(11);
    for (auto &[name, sbox] : sboxes()) {
        for (int i = 0; i < 40; i++) {
            const Bytes kb = rng.bytes(32), ivb = rng.bytes(8);
            const Bytes pt = rng.bytes(i < 30 ? rng.below(100) : rng.below(3000));
            const Bytes whole(pt.begin(), pt.end() - pt.size() % 8);
            const Words key = words(kb), iv = words(ivb);
            const uint32_t *t = sbox.second.data();
            for (int dir : {1, 0}) {
                ASSERT_EQ(run(Ecb, dir, key, iv, whole, {}, false, t),
                          gcrypt(GCRY_CIPHER_MODE_ECB, dir, sbox.first, kb, {}, whole));
                ASSERT_EQ(run(Cfb, dir, key, iv, pt, {}, false, t),
                          gcrypt(GCRY_CIPHER_MODE_CFB, dir, sbox.first, kb, ivb, pt));
            }
            if (pt.size() < 9) continue;
            ASSERT_EQ(mac(key, pt, {}, t), words(gcrypt(0, 1, sbox.first, kb, {}, pt))[0]) << name;
        }
    }
}
#endif
