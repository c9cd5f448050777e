// What the target lets the kernels use. Every fast path is chosen here and
// nowhere else, so that a portable build (LNCEXT_PORTABLE: no 128-bit
// integer, no assembly, no CPU intrinsics) compiles exactly the generic
// branches, and the tests of that build exercise them.
#pragma once

#include <cstdint>

// A 64 x 64 -> 128-bit product: kernels then take two words as one limb.
#if !defined(LNCEXT_PORTABLE) && defined(__SIZEOF_INT128__) && UINTPTR_MAX > 0xFFFFFFFFu
#define LNCEXT_HAVE_INT128 1
#endif

// x86 instructions through inline assembly or intrinsics (carry chains,
// the 64/32 divide, SSE2 on x86_64).
#if !defined(LNCEXT_PORTABLE) && (defined(__x86_64__) || defined(__i386__))
#define LNCEXT_HAVE_X86 1
#endif
#if !defined(LNCEXT_PORTABLE) && defined(__x86_64__)
#define LNCEXT_HAVE_X86_64 1
#endif

// Inline assembly written for the GNU assembler's x86-64 syntax (an offset
// added to a memory operand, "8+%[a]"), which clang's built-in assembler does
// not parse; clang builds (the fuzzing preset) take the generic code there.
#if defined(LNCEXT_HAVE_X86_64) && !defined(__clang__)
#define LNCEXT_HAVE_GNU_ASM_X86_64 1
#endif
