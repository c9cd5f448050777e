/* A result that says whether the outputs are valid cannot be dropped
 * silently: compiled with -DDROP_<function> this file drops that function's
 * result, which the compiler must diagnose; with -DCHECK_<function> the same
 * call has its result checked and the file compiles cleanly. */
#include <stddef.h>

#include "lncext/lncext.h"

int probe(g28147_hmac_ctx *ctx, uint32_t *kext, const uint8_t *sbox, uint32_t *mac);

int probe(g28147_hmac_ctx *ctx, uint32_t *kext, const uint8_t *sbox, uint32_t *mac) {
#if defined(DROP_g28147_make_kext)
    g28147_make_kext(kext, sbox);
#elif defined(CHECK_g28147_make_kext)
    if (g28147_make_kext(kext, sbox) == NULL) return 1;
#elif defined(DROP_g28147_hmac_final)
    g28147_hmac_final(ctx, mac);
#elif defined(CHECK_g28147_hmac_final)
    if (g28147_hmac_final(ctx, mac) == NULL) return 1;
#elif defined(DROP_g28147_hmac_final_verify)
    g28147_hmac_final_verify(ctx, mac);
#elif defined(CHECK_g28147_hmac_final_verify)
    if (!g28147_hmac_final_verify(ctx, mac)) return 1;
#elif defined(DROP_rsa_verify)
    rsa_verify(NULL, NULL, 0, NULL);
#elif defined(CHECK_rsa_verify)
    if (rsa_verify(NULL, NULL, 0, NULL) != RSA_OK) return 1;
#elif defined(DROP_rsa_keygen)
    rsa_keygen(NULL, NULL, 0);
#elif defined(CHECK_rsa_keygen)
    if (rsa_keygen(NULL, NULL, 0) != RSA_OK) return 1;
#else
#error "name the call: -DDROP_<function> or -DCHECK_<function>"
#endif
    (void)ctx, (void)kext, (void)sbox, (void)mac;
    return 0;
}
