// Modular inversion by the almost-inverse method: the body of lnmmodinv.
#pragma once

#include <cstdint>

namespace lncext::inv {

// r = a^-1 mod m for m with a non-zero count, as lnmmodinv computes it
// (including its results for a = 0, a >= m, a not invertible and an even m);
// r may be a. Halvings of the same number are taken together, one shift each.
void almost_inverse(const uint32_t *a, const uint32_t *m, uint32_t *r);

}  // namespace lncext::inv
