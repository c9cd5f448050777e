// Streebog hash, 512- and 256-bit. One context record, one update path and
// one compression function (streebog_hash.hpp) serve both sizes; they differ
// only in the starting value and in how much of the final chaining value is
// returned.
//
// Everything rests on the combined table streebog_lp32: one pass of 64
// lookups performs substitution, byte transposition and the linear map. On
// x86-64 the pass runs in general registers (streebog_lps_x64.hpp); the
// 32-bit and portable builds use the portable pass, which treats each 64-bit
// entry as its two 32-bit words (streebog_lps_portable.hpp). Both compute the
// same bytes, which the tests check against each other in the same run.
#include "lncext/streebog.h"

#include <cstdint>
#include <cstring>

#include "common/wipe.hpp"
#include "symmetric/streebog_hash.hpp"

namespace lncext::streebog {
namespace {

#if defined(LNCEXT_HAVE_GNU_ASM_X86_64)
using Lps = X64Lps;
#else
using Lps = PortableLps;
#endif

// The message and the hash state pass through registers and the slots they
// spill to. The entry points therefore do their work one call down, in these,
// and wipe the stack it used on the way out.
[[gnu::noinline]] void update_below(streebog_ctx *ctx, const uint8_t *data, uint32_t len) {
    update<Lps>(ctx, data, len);
}

[[gnu::noinline]] void final_below(uint8_t *out, streebog_ctx *ctx) {
    std::memset(out, 0, 64);
    final512<Lps>(out, ctx);
}

}  // namespace
}  // namespace lncext::streebog

using namespace lncext;
using namespace lncext::streebog;

extern "C" {

LNCEXT_API streebog_ctx *streebog512_init(streebog_ctx *ctx) {
    std::memset(ctx, 0, sizeof *ctx);
    return ctx;
}

LNCEXT_API streebog_ctx *streebog256_init(streebog_ctx *ctx) {
    std::memset(ctx, 0, sizeof *ctx);
    std::memcpy(ctx->h, streebog256iv, sizeof ctx->h);
    return ctx;
}

LNCEXT_API void streebog512_update(streebog_ctx *ctx, const void *data, uint32_t len) {
    update_below(ctx, static_cast<const uint8_t *>(data), len);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

LNCEXT_API void streebog256_update(streebog_ctx *ctx, const void *data, uint32_t len) {
    streebog512_update(ctx, data, len);
}

LNCEXT_API void streebog512_final(uint8_t *out, streebog_ctx *ctx) {
    final_below(out, ctx);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

LNCEXT_API void streebog256_final(uint8_t *out, streebog_ctx *ctx) {
    uint8_t full[64];
    final_below(full, ctx);
    std::memcpy(out, full + 32, 32);
    // The discarded half is still hash state; do not leave it on the stack.
    secure_wipe(full, sizeof full);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

LNCEXT_API void streebog512_update_blocks(streebog_ctx *ctx, const void *data, uint32_t len) {
    absorb_blocks<Lps>(ctx, static_cast<const uint8_t *>(data), len);
}

LNCEXT_API void streebog_update_block(streebog_ctx *ctx, const uint8_t *block, uint32_t bits) {
    absorb<Lps>(ctx, block, bits);
}

LNCEXT_API void streebog_gN(uint8_t *h, const uint8_t *m, const uint8_t *n) {
    gN<Lps>(h, m, n);
}

LNCEXT_API void streebog_lpsx32(uint8_t *out, const uint8_t *a, const uint8_t *b) {
    // Both inputs are read in full before out is written, so out may be
    // either of them.
    const Lps::Value r = Lps::lpsx(Lps::load(a), Lps::load(b));
    Lps::store(out, r);
}

LNCEXT_API void streebog_put_block(uint8_t *out, const uint32_t *words) {
    for (int k = 0; k < 16; k++) store_le32(out + 4 * k, words[k]);
}

LNCEXT_API void streebog_add(uint32_t *n, uint32_t v) {
    add_word(n, v);
}

LNCEXT_API void streebog_add512(uint32_t *sigma, const uint8_t *m) {
    add_block(sigma, m);
}

}  // extern "C"
