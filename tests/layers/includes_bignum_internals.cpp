// Must not compile: the symmetric layer does not see the big-number layer.
#include "bignum/bignum_internal.hpp"
