// Byte loads and stores with an explicit byte order: the one place in the
// library that turns bytes into words and back. The compiler folds each of
// these byte patterns into a single (unaligned) load or store where the host
// order matches. They are constexpr, so compile-time tables use them too.
#pragma once

#include <cstdint>

namespace lncext {

constexpr uint32_t load_le32(const uint8_t *p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

constexpr void store_le32(uint8_t *p, uint32_t v) {
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    p[2] = uint8_t(v >> 16);
    p[3] = uint8_t(v >> 24);
}

constexpr uint32_t load_be32(const uint8_t *p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | uint32_t(p[3]);
}

constexpr void store_be32(uint8_t *p, uint32_t v) {
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}

constexpr uint64_t load_le64(const uint8_t *p) {
    return uint64_t(load_le32(p)) | uint64_t(load_le32(p + 4)) << 32;
}

constexpr void store_le64(uint8_t *p, uint64_t v) {
    store_le32(p, uint32_t(v));
    store_le32(p + 4, uint32_t(v >> 32));
}

constexpr uint64_t load_be64(const uint8_t *p) {
    return uint64_t(load_be32(p)) << 32 | uint64_t(load_be32(p + 4));
}

constexpr void store_be64(uint8_t *p, uint64_t v) {
    store_be32(p, uint32_t(v >> 32));
    store_be32(p + 4, uint32_t(v));
}

}  // namespace lncext
