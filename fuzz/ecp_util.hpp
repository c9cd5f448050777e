// The GOST R 34.10-2001 contexts of the prime-field targets: the standard's
// example curve (a modulus of no special form: Montgomery arithmetic) and
// the CryptoPro A curve (p = 2^256 - 617: the special-form arithmetic).
#pragma once

#include <cstring>

#include "fuzz_util.hpp"
#include "lncext/gostr341001.h"

namespace lncext_fuzz {

struct EcpParams {
    const char *p, *a, *b, *q, *x, *y;
};

inline const EcpParams ecp_params[2] = {
    {"8000000000000000000000000000000000000000000000000000000000000431",
     "0000000000000000000000000000000000000000000000000000000000000007",
     "5fbff498aa938ce739b8e022fbafef40563f6e6a3472fc2a514c0ce9dae23b7e",
     "8000000000000000000000000000000150fe8a1892976154c59cfc193accf5b3",
     "0000000000000000000000000000000000000000000000000000000000000002",
     "08e2a8a0e65147d4bd6316030e16d19c85c97f0a9ca267122b96abbcea7e8fc8"},
    {"fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffd97",
     "fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffd94",
     "00000000000000000000000000000000000000000000000000000000000000a6",
     "ffffffffffffffffffffffffffffffff6c611070995ad10045841b09b761b893",
     "0000000000000000000000000000000000000000000000000000000000000001",
     "8d91e471e0989cda27df505a453f2b7635294f2ddf23e3b122acc99c9e9f1e14"},
};

struct EcpCurve {
    rds_ctx ctx;
    Bytes p, q;
};

// Context sel % 2, filled once.
inline const EcpCurve &ecp_curve(unsigned sel) {
    static EcpCurve curves[2];
    static bool ready = false;
    if (!ready) {
        for (int i = 0; i < 2; i++) {
            const EcpParams &e = ecp_params[i];
            Bytes p = from_hex(e.p), a = from_hex(e.a), b = from_hex(e.b), q = from_hex(e.q),
                  x = from_hex(e.x), y = from_hex(e.y);
            check(rds_init(&curves[i].ctx, p.data(), a.data(), b.data(), q.data(), x.data(),
                           y.data()) == RDS_OK,
                  "fixture: rds_init");
            curves[i].p = p;
            curves[i].q = q;
        }
        ready = true;
    }
    return curves[sel % 2];
}

// Comparisons of 32-byte big-endian numbers.
inline bool be_less(const uint8_t *a, const uint8_t *b) {
    return std::memcmp(a, b, 32) < 0;
}
inline bool be_zero(const uint8_t *a, size_t n = 32) {
    for (size_t i = 0; i < n; i++)
        if (a[i]) return false;
    return true;
}

}  // namespace lncext_fuzz
