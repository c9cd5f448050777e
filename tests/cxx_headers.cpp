// Every public header compiles as C++ with the project's warnings, and the
// records have the layouts the C side sees.
#include "lncext/lncext.h"

#include <cstddef>

static_assert(offsetof(g28147_hmac_ctx, kext) == offsetof(g28147_ctx, kext));
static_assert(offsetof(g28147_ofb_ctx, kext) == offsetof(g28147_ctx, kext));
static_assert(offsetof(g28147_cfb_ctx, kext) == offsetof(g28147_ctx, kext));
static_assert(offsetof(kuzn_ctr_ctx, counter) == 160);
static_assert(offsetof(kuzn_ecb_ctx, mode) == 160);
