// GOST R 34.11-94: 256-bit hash on top of GOST 28147-89 encryption. Every
// 256-bit value is a 32-byte string with byte 0 least significant.
#include "lncext/gostr341194.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "common/block_buffer.hpp"
#include "common/bytes.hpp"
#include "common/wipe.hpp"
#include "symmetric/gost28147_internal.hpp"

namespace lncext::gost {
namespace {

// The standard's constant C3 stored least significant byte first, as four
// little-endian 64-bit pieces. C2 and C4 are zero.
constexpr uint8_t kC3Bytes[32] = {
    0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00,
    0x00, 0xFF, 0xFF, 0x00, 0xFF, 0x00, 0x00, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0x00, 0xFF,
};

constexpr uint64_t kC3[4] = {load_le64(kC3Bytes), load_le64(kC3Bytes + 8), load_le64(kC3Bytes + 16),
                             load_le64(kC3Bytes + 24)};
static_assert(kC3[0] == 0xFF00FF00FF00FF00u && kC3[3] == 0xFF00FFFF000000FFu);

// A(y1, y2, y3, y4) = (y2, y3, y4, y1 ^ y2) on 64-bit pieces, y1 the lowest.
inline void transform_a(uint64_t *y) {
    const uint64_t y1 = y[0];
    y[0] = y[1];
    y[1] = y[2];
    y[2] = y[3];
    y[3] = y1 ^ y[0];
}

// P(w) read straight into key words: output byte 4k + i is input byte 8i + k,
// so key word k gathers byte k of each 64-bit piece, piece i into byte i.
inline void transform_p(uint32_t *key, const uint64_t *w) {
    for (unsigned k = 0; k < 8; k++)
        key[k] = uint32_t(w[0] >> (8 * k) & 0xFF) | uint32_t(w[1] >> (8 * k) & 0xFF) << 8 |
                 uint32_t(w[2] >> (8 * k) & 0xFF) << 16 | uint32_t(w[3] >> (8 * k) & 0xFF) << 24;
}

// psi shifts the sixteen 16-bit pieces down by one and appends the XOR of
// pieces 0, 1, 2, 3, 12 and 15: a shift register. Running it n times on a
// sequence x therefore appends n pieces, each one computed from the sixteen
// before it, and leaves the result in the last sixteen.
template <std::size_t N>
LNCEXT_GOST_INLINE void psi_run(uint16_t *x) {
    [&]<std::size_t... T>(std::index_sequence<T...>) __attribute__((always_inline)) {
        ((x[16 + T] = uint16_t(x[T] ^ x[T + 1] ^ x[T + 2] ^ x[T + 3] ^ x[T + 12] ^ x[T + 15])),
         ...);
    }
    (std::make_index_sequence<N>{});
}

inline void load_pieces(uint16_t *x, const uint8_t *p) {
    for (unsigned j = 0; j < 16; j++) x[j] = uint16_t(p[2 * j] | p[2 * j + 1] << 8);
}

inline void xor_pieces(uint16_t *x, const uint8_t *p) {
    for (unsigned j = 0; j < 16; j++) x[j] ^= uint16_t(p[2 * j] | p[2 * j + 1] << 8);
}

inline void store_pieces(uint8_t *p, const uint16_t *x) {
    for (unsigned j = 0; j < 16; j++) {
        p[2 * j] = uint8_t(x[j]);
        p[2 * j + 1] = uint8_t(x[j] >> 8);
    }
}

// out = psi^61(h ^ psi(m ^ psi^12(s))).
inline void mix(uint8_t *out, const uint8_t *h, const uint8_t *m, const uint8_t *s) {
    uint16_t x[16 + 12 + 1 + 61];
    load_pieces(x, s);
    psi_run<12>(x);
    xor_pieces(x + 12, m);
    psi_run<1>(x + 12);
    xor_pieces(x + 13, h);
    psi_run<61>(x + 13);
    store_pieces(out, x + 74);
    secure_wipe(x, sizeof x);
}

// a = a + b mod 2^256, little-endian, in 32-bit limbs.
inline void add256(uint8_t *a, const uint8_t *b) {
    uint32_t carry = 0;
    for (unsigned i = 0; i < 32; i += 4) {
        const uint64_t s = uint64_t(load_le32(a + i)) + load_le32(b + i) + carry;
        store_le32(a + i, uint32_t(s));
        carry = uint32_t(s >> 32);
    }
}

// H = step(H, M): four keys from H and M, four encryptions of the pieces of
// H, then the mixing transformation.
void step(uint8_t *h, const uint8_t *m, const uint32_t *kext) {
    uint64_t u[4], v[4], w[4];
    uint32_t keys[4][8];
    for (unsigned i = 0; i < 4; i++) {
        u[i] = load_le64(h + 8 * i);
        v[i] = load_le64(m + 8 * i);
        w[i] = u[i] ^ v[i];
    }
    transform_p(keys[0], w);
    for (unsigned j = 1; j < 4; j++) {
        transform_a(u);
        if (j == 2)
            for (unsigned i = 0; i < 4; i++) u[i] ^= kC3[i];
        transform_a(v);
        transform_a(v);
        for (unsigned i = 0; i < 4; i++) w[i] = u[i] ^ v[i];
        transform_p(keys[j], w);
    }

    // The four encryptions are independent: run them interleaved.
    uint32_t a[4], b[4];
    for (unsigned i = 0; i < 4; i++) {
        a[i] = load_le32(h + 8 * i);
        b[i] = load_le32(h + 8 * i + 4);
    }
    cycle<32>(a, b, EncryptKeys<4>{keys}, kext);
    uint8_t s[32];
    for (unsigned i = 0; i < 4; i++) {
        store_le32(s + 8 * i, b[i]);  // c31: the output N1
        store_le32(s + 8 * i + 4, a[i]);
    }

    uint8_t out[32];
    mix(out, h, m, s);
    std::memcpy(h, out, 32);
    // The keys and pieces derive from H and the message: a hash of secret
    // data (a VKO shared point) must not leave them on the stack.
    secure_wipe(keys, sizeof keys);
    secure_wipe(u, sizeof u);
    secure_wipe(v, sizeof v);
    secure_wipe(w, sizeof w);
    secure_wipe(a, sizeof a);
    secure_wipe(b, sizeof b);
    secure_wipe(s, sizeof s);
    secure_wipe(out, sizeof out);
}

inline uint8_t *h_bytes(gr341194_md_ctx *ctx) {
    return reinterpret_cast<uint8_t *>(ctx->H);
}

// a = a + v mod 2^256.
inline void add_u32(uint8_t *l, uint32_t bits) {
    uint8_t v[32] = {};
    store_le32(v, bits);
    add256(l, v);
}

}  // namespace
}  // namespace lncext::gost

namespace gost = lncext::gost;

extern "C" {

LNCEXT_API gr341194_md_ctx *gr341194_md_init_ext(gr341194_md_ctx *ctx, const uint32_t *start,
                                                 const uint32_t *kext) {
    std::memset(ctx, 0, sizeof *ctx);
    std::memcpy(ctx->H, start, sizeof ctx->H);
    ctx->kext = kext;
    return ctx;
}

LNCEXT_API void gr341194_md_updblocks(gr341194_md_ctx *ctx, const void *data, uint32_t len) {
    const uint8_t *p = static_cast<const uint8_t *>(data);
    for (uint32_t n = len / 32; n; n--, p += 32) {
        gost::step(gost::h_bytes(ctx), p, ctx->kext);
        gost::add_u32(ctx->L, 256);
        gost::add256(ctx->Sigma, p);
    }
}

LNCEXT_API void gr341194_md_update(gr341194_md_ctx *ctx, const void *data, uint32_t len) {
    if (data == nullptr) return;
    lncext::feed_blocks<32>(
        ctx->buffer, ctx->buffered, static_cast<const uint8_t *>(data), len,
        [ctx](const uint8_t *p, uint32_t n) { gr341194_md_updblocks(ctx, p, n); });
}

LNCEXT_API uint8_t *gr341194_md_final(gr341194_md_ctx *ctx, uint8_t *out) {
    gost::add_u32(ctx->L, 8 * ctx->buffered);
    if (ctx->buffered > 0) {
        uint8_t m[32] = {};
        std::memcpy(m, ctx->buffer, ctx->buffered);
        gost::add256(ctx->Sigma, m);
        gost::step(gost::h_bytes(ctx), m, ctx->kext);
        lncext::secure_wipe(m, sizeof m);
    }
    gost::step(gost::h_bytes(ctx), ctx->L, ctx->kext);
    gost::step(gost::h_bytes(ctx), ctx->Sigma, ctx->kext);
    std::memcpy(out, ctx->H, 32);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
    return out;
}

LNCEXT_API void gr341194_md_x(gr341194_md_ctx *ctx, const uint8_t *block) {
    gost::step(gost::h_bytes(ctx), block, ctx->kext);
}

LNCEXT_API uint8_t *gr341194_md_a(uint8_t *y) {
    uint8_t y1[8];
    std::memcpy(y1, y, 8);
    std::memmove(y, y + 8, 24);
    gr341194_md_mem_xor(y + 24, y1, y, 8);
    return y;
}

LNCEXT_API void gr341194_md_p(uint8_t *out, const uint8_t *in) {
    for (unsigned i = 0; i < 4; i++)
        for (unsigned k = 0; k < 8; k++) out[4 * k + i] = in[8 * i + k];
}

LNCEXT_API void gr341194_md_psi(uint8_t *y, uint32_t n) {
    // A ring of the sixteen pieces: each step overwrites the oldest piece
    // with the new one, so the start of the ring moves up by one.
    uint16_t x[16];
    gost::load_pieces(x, y);
    unsigned head = 0;
    for (; n; n--) {
        const uint16_t piece =
            uint16_t(x[head] ^ x[(head + 1) & 15] ^ x[(head + 2) & 15] ^ x[(head + 3) & 15] ^
                     x[(head + 12) & 15] ^ x[(head + 15) & 15]);
        x[head] = piece;
        head = (head + 1) & 15;
    }
    for (unsigned j = 0; j < 16; j++) {
        const uint16_t piece = x[(head + j) & 15];
        y[2 * j] = uint8_t(piece);
        y[2 * j + 1] = uint8_t(piece >> 8);
    }
}

LNCEXT_API void gr341194_md_mix(uint8_t *out, const uint8_t *h, const uint8_t *m,
                                const uint8_t *s) {
    gost::mix(out, h, m, s);
}

LNCEXT_API void gr341194_md_add256(uint8_t *a, const uint8_t *b) {
    gost::add256(a, b);
}

LNCEXT_API void gr341194_md_add32(uint8_t *a, uint32_t v) {
    gost::add_u32(a, v);
}

LNCEXT_API void gr341194_md_mem_xor(uint8_t *dst, const uint8_t *a, const uint8_t *b, uint32_t n) {
    for (uint32_t i = 0; i < n; i++) dst[i] = uint8_t(a[i] ^ b[i]);
}

}  // extern "C"
