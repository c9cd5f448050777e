// Overwrites secrets with zeros in a way the optimiser cannot drop: the
// compiler must assume the empty asm reads the cleared memory.
#pragma once

#include <cstddef>
#include <cstring>

namespace lncext {

inline void secure_wipe(void *p, std::size_t n) {
    std::memset(p, 0, n);
    __asm__ __volatile__("" : : "r"(p) : "memory");
}

}  // namespace lncext
