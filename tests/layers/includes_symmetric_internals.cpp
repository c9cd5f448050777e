// Must not compile: only the symmetric layer sees its internals.
#include "symmetric/gost28147_internal.hpp"
