// Compiles: the curve and RSA layers see common/ and the big-number layer.
#include "bignum/bignum_internal.hpp"
#include "common/wipe.hpp"
#include "lncext/bignum.h"
