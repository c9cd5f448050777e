// The 128-bit block cipher: key schedule and single-block encryption, on the
// row tables (kuznyechik_rows.hpp).
#include "lncext/kuznyechik.h"

#include <utility>

#include "common/wipe.hpp"
#include "symmetric/kuznyechik_core.hpp"
#include "symmetric/kuznyechik_rows.hpp"

extern "C" {

LNCEXT_API void kuzn_setup_keys(void *ctx, const uint32_t *key) {
    using namespace lncext::kuzn;
    // The key is only bytes; read it whole before writing, in case it lies in ctx.
    const uint8_t *kb = reinterpret_cast<const uint8_t *>(key);
    Block a[2] = {Block::load(kb), Block::load(kb + 16)}, t[1];  // a = (a1, a0)
    uint8_t *rk = static_cast<uint8_t *>(ctx);
    a[0].store(rk);
    a[1].store(rk + 16);
    for (unsigned i = 1; i <= 32; i++) {
        // t = L(pi(a1 XOR C_i)) XOR a0, where the iteration constant
        // C_i = L(0^120 || i) is the last position's row at pi^-1(i).
        t[0] = a[0] ^ Block::of(ls_rows[15][pi_inv_table[i]]);
        lookup<1>(ls_rows, t);
        a[1] = t[0] ^ a[1];
        std::swap(a[0], a[1]);
        if (i % 8 == 0) {
            a[0].store(rk + 32 * (i / 8));
            a[1].store(rk + 32 * (i / 8) + 16);
        }
    }
    lncext::secure_wipe(a, sizeof a);
    lncext::secure_wipe(t, sizeof t);
    lncext::wipe_stack<lncext::kWipeStackSymmetric>();
}

LNCEXT_API void kuzn_block_enc(uint8_t *block, const uint8_t *round_keys) {
    using namespace lncext::kuzn;
    Block x[1] = {Block::load(block)};
    encrypt<1>(x, round_keys);
    x[0].store(block);
}

}  // extern "C"
