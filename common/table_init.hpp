// Exported tables are plain C arrays, and a C array cannot be initialised
// from a compile-time std::array directly. LNCEXT_ELEMS_<n>(A, i) spells out
// A[i], A[i + 1], ..., A[i + n - 1] as an initialiser list, so a table that is
// computed at compile time can still be exported as ordinary data. Nested
// arrays take the flat list by brace elision.
#pragma once

// clang-format off
#define LNCEXT_ELEMS_4(A, i) A[(i)], A[(i) + 1], A[(i) + 2], A[(i) + 3]
#define LNCEXT_ELEMS_16(A, i) LNCEXT_ELEMS_4(A, i), LNCEXT_ELEMS_4(A, (i) + 4), \
    LNCEXT_ELEMS_4(A, (i) + 8), LNCEXT_ELEMS_4(A, (i) + 12)
#define LNCEXT_ELEMS_32(A, i) LNCEXT_ELEMS_16(A, i), LNCEXT_ELEMS_16(A, (i) + 16)
#define LNCEXT_ELEMS_64(A, i) LNCEXT_ELEMS_16(A, i), LNCEXT_ELEMS_16(A, (i) + 16), \
    LNCEXT_ELEMS_16(A, (i) + 32), LNCEXT_ELEMS_16(A, (i) + 48)
#define LNCEXT_ELEMS_256(A, i) LNCEXT_ELEMS_64(A, i), LNCEXT_ELEMS_64(A, (i) + 64), \
    LNCEXT_ELEMS_64(A, (i) + 128), LNCEXT_ELEMS_64(A, (i) + 192)
#define LNCEXT_ELEMS_1024(A, i) LNCEXT_ELEMS_256(A, i), LNCEXT_ELEMS_256(A, (i) + 256), \
    LNCEXT_ELEMS_256(A, (i) + 512), LNCEXT_ELEMS_256(A, (i) + 768)
#define LNCEXT_ELEMS_4096(A, i) LNCEXT_ELEMS_1024(A, i), LNCEXT_ELEMS_1024(A, (i) + 1024), \
    LNCEXT_ELEMS_1024(A, (i) + 2048), LNCEXT_ELEMS_1024(A, (i) + 3072)
// clang-format on
