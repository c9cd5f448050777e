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

// Wipes the Bytes of stack just below the caller's frame, where the calls it
// made kept their locals. Wiping named arrays cannot reach what the compiler
// keeps in slots of its own (spilled registers, copies made for vector
// moves), nor the scratch of the shared arithmetic kernels, which stay free
// of wipes so that public operations pay nothing for them. An entry point
// that has handled a secret calls this last, once every callee has returned.
template <std::size_t Bytes>
[[gnu::noinline]] void wipe_stack() {
    unsigned char area[Bytes];
    secure_wipe(area, sizeof area);
}

// Depths the callees of the public-key entry points and of the symmetric
// ones stay within (measured: below 8 KiB and 1 KiB on x86_64), with room.
inline constexpr std::size_t kWipeStackPublicKey = 32768;
inline constexpr std::size_t kWipeStackSymmetric = 2048;

}  // namespace lncext
