// The cipher modes fed in pieces cut at fuzzer-chosen points give the
// one-shot output: GOST 28147-89 CFB (whole blocks until the last piece, which
// ends the message) both ways and its decryption undoing the encryption,
// gamma mode, the MAC, and the 128-bit cipher's CTR mode. The S-box comes
// from the input now and then.
#include <algorithm>

#include "fuzz_util.hpp"
#include "lncext/gost28147.h"
#include "lncext/kuznyechik.h"

using namespace lncext_fuzz;

namespace {

enum Mode { CFB_ENC, CFB_DEC, GAMMA, MAC, KUZN_CTR, MODES };

// Runs the mode over msg cut into the given pieces (each in its own block)
// and returns the output (the MAC and its presence for MAC).
struct Run {
    Mode mode;
    const uint32_t *key, *iv, *kext;
    const uint8_t *kiv;
    union {
        g28147_cfb_ctx cfb;
        g28147_ofb_ctx ofb;
        g28147_hmac_ctx mac;
        kuzn_ctr_ctx ctr;
    };
    Run(Mode m, const uint32_t *k, const uint32_t *v, const uint8_t *kv, const uint32_t *x)
        : mode(m), key(k), iv(v), kext(x), kiv(kv) {}

    Bytes operator()(const Bytes &msg, const std::vector<size_t> &pieces) {
        switch (mode) {
            case CFB_ENC:
            case CFB_DEC:
                g28147_cfb_init_ext(&cfb, mode == CFB_ENC ? 1 : 0, key, iv, kext);
                break;
            case GAMMA:
                g28147_ofb_init_ext(&ofb, key, iv, kext);
                break;
            case MAC:
                g28147_hmac_init_ext(&mac, key, kext);
                break;
            default:
                kuzn_ctr_init(&ctr, kiv, key);
                break;
        }
        Bytes out;
        size_t pos = 0;
        for (size_t n : pieces) {
            Bytes part(msg.begin() + pos, msg.begin() + pos + n), res(n, 0xA5);
            switch (mode) {
                case CFB_ENC:
                case CFB_DEC:
                    g28147_cfb_update(&cfb, ptr(part), ptr(res), uint32_t(n));
                    break;
                case GAMMA:
                    g28147_ofb_update(&ofb, ptr(part), ptr(res), uint32_t(n));
                    break;
                case MAC:
                    g28147_hmac_update(&mac, ptr(part), uint32_t(n));
                    break;
                default:
                    kuzn_ctr_update(&ctr, ptr(part), ptr(res), uint32_t(n));
                    break;
            }
            if (mode != MAC) out.insert(out.end(), res.begin(), res.end());
            pos += n;
        }
        if (mode == MAC) {
            uint32_t tag = 0x5A5A5A5Au;
            bool has = g28147_hmac_final(&mac, &tag) != nullptr;
            check(has == (msg.size() > 8), "MAC present exactly for messages over 8 bytes");
            if (!has) check(tag == 0x5A5A5A5Au, "MAC final wrote for a short message");
            out.assign(reinterpret_cast<uint8_t *>(&tag), reinterpret_cast<uint8_t *>(&tag) + 4);
        }
        return out;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    const Mode mode = Mode(in.u8() % MODES);
    const bool own_sbox = in.u8() & 1;
    uint32_t key[8], iv[2];
    Bytes kb = in.take(32), ivb = in.take(8);
    std::memcpy(key, kb.data(), 32);
    std::memcpy(iv, ivb.data(), 8);
    static uint32_t kext[G28147_KEXT_WORDS];
    const uint32_t *table = CryptoPro_uz;
    if (own_sbox && mode != KUZN_CTR) {
        Bytes sbox = in.take(G28147_SBOX_BYTES);
        for (uint8_t &b : sbox) b &= 15;
        check(g28147_make_kext(kext, sbox.data()) == kext, "g28147_make_kext refused nibbles");
        table = kext;
    }
    size_t cuts = in.u8() % 9;
    std::vector<size_t> want(cuts);
    for (size_t &w : want) w = in.u16() % 200;
    Bytes msg = in.rest();

    // The pieces: the chosen lengths while the message lasts, then the rest.
    // CFB keeps its register only across whole blocks, so all but the last
    // piece are cut down to whole blocks there.
    std::vector<size_t> pieces;
    size_t pos = 0;
    for (size_t w : want) {
        size_t n = std::min(w, msg.size() - pos);
        if (mode == CFB_ENC || mode == CFB_DEC) n -= n % 8;
        pieces.push_back(n);
        pos += n;
    }
    pieces.push_back(msg.size() - pos);

    Run run(mode, key, iv, ivb.data(), table);
    Bytes once = run(msg, {msg.size()});
    check(run(msg, pieces) == once, "streamed mode differs from the one-shot output");
    if (mode == CFB_ENC) {
        Run back(CFB_DEC, key, iv, ivb.data(), table);
        check(back(once, pieces) == msg, "CFB decryption does not undo the encryption");
    }
    return 0;
}
