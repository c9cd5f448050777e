// ECB and counter mode of the 128-bit block cipher, on the row tables.
#include <cstring>
#include <type_traits>

#include "common/bytes.hpp"
#include "common/wipe.hpp"
#include "lncext/kuznyechik.h"
#include "symmetric/kuznyechik_rows.hpp"

namespace lncext::kuzn {
namespace {

// Four blocks go through the rounds side by side: their table lookups are
// independent and overlap.
constexpr size_t kWide = 4;

// Applies op to the whole blocks of src, in groups of kWide and then one by
// one; op(x, width) transforms width blocks at x, width being a
// std::integral_constant. Each group is loaded whole before any of it is
// stored, so src and dst may be one buffer; x is the caller's, so that it can
// be wiped afterwards.
template <class Op>
void each_block(const uint8_t *src, uint8_t *dst, uint32_t n, Block (&x)[kWide], Op op) {
    for (; n >= kWide; n -= kWide, src += 16 * kWide, dst += 16 * kWide) {
        for (size_t i = 0; i < kWide; i++) x[i] = Block::load(src + 16 * i);
        op(x, std::integral_constant<size_t, kWide>{});
        for (size_t i = 0; i < kWide; i++) x[i].store(dst + 16 * i);
    }
    for (; n != 0; n--, src += 16, dst += 16) {
        x[0] = Block::load(src);
        op(x, std::integral_constant<size_t, 1>{});
        x[0].store(dst);
    }
}

}  // namespace
}  // namespace lncext::kuzn

extern "C" {

LNCEXT_API void kuzn_ecb_init(kuzn_ecb_ctx *ctx, int mode, const uint32_t *key) {
    uint32_t k[8];
    std::memcpy(k, key, sizeof k);  // the key may lie in the record we clear
    std::memset(ctx, 0, sizeof *ctx);
    ctx->mode = uint32_t(mode);
    kuzn_setup_keys(ctx, k);
    lncext::secure_wipe(k, sizeof k);
}

// The round keys and the blocks pass through vector registers the compiler
// may spill, in the frame of whatever function does the work: the updates do
// it one call down, in these, and wipe the stack it used on the way out.
[[gnu::noinline]] static void ecb_update_below(const kuzn_ecb_ctx *ctx, const void *in, void *out,
                                               uint32_t len) {
    using namespace lncext::kuzn;
    const uint8_t *src = static_cast<const uint8_t *>(in);
    uint8_t *dst = static_cast<uint8_t *>(out);
    const uint8_t *rk = &ctx->keys[0][0];
    if (len < 16) return;
    Block x[kWide];
    if (ctx->mode == 1) {
        each_block(src, dst, len / 16, x, [rk](Block *b, auto w) { encrypt<w()>(b, rk); });
    } else {
        DecKeys d;
        make_dec_keys(d, rk);
        each_block(src, dst, len / 16, x, [&d](Block *b, auto w) { decrypt<w()>(b, d); });
        lncext::secure_wipe(&d, sizeof d);
    }
    lncext::secure_wipe(x, sizeof x);
}

LNCEXT_API void kuzn_ctr_init(kuzn_ctr_ctx *ctx, const uint8_t *iv, const uint32_t *key) {
    uint32_t k[8];
    std::memcpy(k, key, sizeof k);
    // The counter starts as IV || 0^64, the IV read big-endian.
    uint32_t hi = lncext::load_be32(iv), lo = lncext::load_be32(iv + 4);
    std::memset(ctx, 0, sizeof *ctx);
    ctx->counter[3] = hi;
    ctx->counter[2] = lo;
    kuzn_setup_keys(ctx, k);
    ctx->pos = 16;
    lncext::secure_wipe(k, sizeof k);
}

[[gnu::noinline]] static void ctr_update_below(kuzn_ctr_ctx *ctx, const void *in, void *out,
                                               uint32_t len) {
    using namespace lncext::kuzn;
    const uint8_t *src = static_cast<const uint8_t *>(in);
    uint8_t *dst = static_cast<uint8_t *>(out);
    const uint8_t *rk = &ctx->keys[0][0];
    // Each byte is read before its output is written, so in == out works.
    auto use_keystream = [&] {
        uint32_t n = 16 - ctx->pos;
        if (n > len) n = len;
        const uint8_t *ks = ctx->keystream + ctx->pos;
        for (uint32_t i = 0; i < n; i++) dst[i] = uint8_t(src[i] ^ ks[i]);
        src += n;
        dst += n;
        len -= n;
        ctx->pos += n;
    };
    if (ctx->pos < 16 && len != 0) use_keystream();
    // The 128-bit counter as two words, most significant first; each
    // keystream block is its encryption, most significant byte first.
    uint64_t hi = uint64_t(ctx->counter[3]) << 32 | ctx->counter[2];
    uint64_t lo = uint64_t(ctx->counter[1]) << 32 | ctx->counter[0];
    auto next_counter = [&hi, &lo](Block &b) {
        b = Block::big_endian(hi, lo);
        hi += ++lo == 0;
    };
    if (len >= 16) {
        // Whole blocks go straight from the counter to the output; the
        // record ends as if they had passed through it: holding the last
        // keystream block, used up.
        Block ks[kWide];
        size_t last = kWide - 1;
        for (; len >= 16 * kWide; len -= 16 * kWide, src += 16 * kWide, dst += 16 * kWide) {
            for (size_t i = 0; i < kWide; i++) next_counter(ks[i]);
            encrypt<kWide>(ks, rk);
            for (size_t i = 0; i < kWide; i++)
                (ks[i] ^ Block::load(src + 16 * i)).store(dst + 16 * i);
        }
        for (; len >= 16; len -= 16, src += 16, dst += 16, last = 0) {
            next_counter(ks[0]);
            encrypt<1>(ks, rk);
            (ks[0] ^ Block::load(src)).store(dst);
        }
        ks[last].store(ctx->keystream);
        ctx->pos = 16;
        lncext::secure_wipe(ks, sizeof ks);
    }
    if (len != 0) {
        // A part block: encrypt the next counter into the record.
        Block ks[1];
        next_counter(ks[0]);
        encrypt<1>(ks, rk);
        ks[0].store(ctx->keystream);
        ctx->pos = 0;
        use_keystream();
    }
    ctx->counter[0] = uint32_t(lo);
    ctx->counter[1] = uint32_t(lo >> 32);
    ctx->counter[2] = uint32_t(hi);
    ctx->counter[3] = uint32_t(hi >> 32);
}

LNCEXT_API void kuzn_ecb_update(const kuzn_ecb_ctx *ctx, const void *in, void *out, uint32_t len) {
    ecb_update_below(ctx, in, out, len);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

LNCEXT_API void kuzn_ctr_update(kuzn_ctr_ctx *ctx, const void *in, void *out, uint32_t len) {
    ctr_update_below(ctx, in, out, len);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

}  // extern "C"
