// Word kernels of the big-number layer: the innermost loops of every product,
// square and Montgomery reduction in the library. They work on bare digit
// arrays (no count word), least significant word first.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lncext::kern {

// r[0 .. na+nb) = a[0 .. na) * b[0 .. nb); na, nb >= 1; r distinct from a, b.
void mul(uint32_t *r, const uint32_t *a, std::size_t na, const uint32_t *b, std::size_t nb);

// r[0 .. 2n) = a[0 .. n)^2; n >= 1; r distinct from a.
void sqr(uint32_t *r, const uint32_t *a, std::size_t n);

// Montgomery reduction of the low `words` words of t by the n-word odd
// modulus m with minv = -m^-1 mod 2^32: adds u * m * 2^(32 i) for each
// i < words so that t[0 .. words) become zero, propagating carries up to
// t[n + words] inclusive (t holds n + words + 1 words, the top one zero or
// small on entry). The result is the same as the word-serial method's
// whatever limb width the kernel uses internally.
void redc(uint32_t *t, const uint32_t *m, std::size_t n, std::size_t words, uint32_t minv);

}  // namespace lncext::kern
