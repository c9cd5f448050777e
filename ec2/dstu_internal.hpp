// What the DSTU 4145 files share: the test that a context has been filled.
#pragma once

#include "lncext/dstu4145.h"

namespace lncext::ec2 {

// dstu_init_pgen completed on this context: the curve, the base point, its
// order and table are in place (key_bytes is set only at the very end).
inline bool context_complete(const dstu_ctx *ctx) {
    return ctx->curve.mul != nullptr && ctx->key_bytes != 0;
}

}  // namespace lncext::ec2
