// The streaming hashes fed in pieces cut at fuzzer-chosen points (empty and
// NULL pieces included) give the one-shot value: GOST R 34.11-94 with the
// CryptoPro tables and Streebog-512 and -256.
#include "fuzz_util.hpp"
#include "lncext/gost28147.h"
#include "lncext/gostr341194.h"
#include "lncext/streebog.h"

using namespace lncext_fuzz;

namespace {

struct Hash {
    virtual ~Hash() = default;
    virtual void init() = 0;
    virtual void update(const uint8_t *p, uint32_t n) = 0;
    virtual Bytes final() = 0;
};

struct Gost94 : Hash {
    gr341194_md_ctx ctx;
    void init() override { gr341194_md_init_ext(&ctx, CryptoPro_iv, CryptoPro_uz); }
    void update(const uint8_t *p, uint32_t n) override { gr341194_md_update(&ctx, p, n); }
    Bytes final() override {
        Bytes out(GR341194_DIGEST_BYTES);
        gr341194_md_final(&ctx, out.data());
        return out;
    }
};

struct Streebog : Hash {
    bool b256;
    streebog_ctx ctx;
    explicit Streebog(bool short_digest) : b256(short_digest) {}
    void init() override { b256 ? streebog256_init(&ctx) : streebog512_init(&ctx); }
    void update(const uint8_t *p, uint32_t n) override {
        b256 ? streebog256_update(&ctx, p, n) : streebog512_update(&ctx, p, n);
    }
    Bytes final() override {
        Bytes out(b256 ? STREEBOG256_BYTES : STREEBOG512_BYTES);
        b256 ? streebog256_final(out.data(), &ctx) : streebog512_final(out.data(), &ctx);
        return out;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    static Gost94 gost;
    static Streebog s512(false), s256(true);
    Hash *hashes[3] = {&gost, &s512, &s256};
    Hash &h = *hashes[in.u8() % 3];
    size_t cuts = in.u8() % 9;
    size_t piece[8];
    for (size_t i = 0; i < cuts; i++) piece[i] = in.u16() % 200;
    Bytes msg = in.rest();

    h.init();
    h.update(msg.data(), uint32_t(msg.size()));
    Bytes once = h.final();

    h.init();
    size_t pos = 0;
    for (size_t i = 0; i <= cuts; i++) {
        size_t n = i < cuts ? std::min(piece[i], msg.size() - pos) : msg.size() - pos;
        if (n == 0) {
            // GOST R 34.11-94 also takes NULL with a zero length.
            h.update(i % 2 && &h == &gost ? nullptr : ptr(Bytes()), 0);
            continue;
        }
        Bytes part(msg.begin() + pos, msg.begin() + pos + n);  // its own block
        h.update(part.data(), uint32_t(n));
        pos += n;
    }
    check(h.final() == once, "streamed hash differs from the one-shot value");
    return 0;
}
