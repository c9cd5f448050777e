// Compiles: a layer sees common/ and its own internal headers.
#include "bignum/bignum_internal.hpp"
#include "common/wipe.hpp"
#include "lncext/bignum.h"
