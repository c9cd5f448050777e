// Modular inversion by the almost-inverse method: the body of lnmmodinv.
#pragma once

#include <cstdint>

namespace lncext::inv {

// r = a^-1 mod m for m with a non-zero count, as lnmmodinv computes it
// (including its results for a = 0, a >= m, a not invertible and an even m);
// r may be a. Steps of the method are taken many at a time: a run of them is
// decided on one word from each end of u and v, then applied to the whole
// numbers as one matrix.
void batched(const uint32_t *a, const uint32_t *m, uint32_t *r);

// The same, one step (or one run of halvings) at a time on the whole numbers.
void serial(const uint32_t *a, const uint32_t *m, uint32_t *r);

}  // namespace lncext::inv
