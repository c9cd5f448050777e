// Must not compile: the symmetric layer is not given the big-number header.
#include "lncext/bignum.h"
