// The buffering shared by the streaming functions that consume whole blocks
// (hashes and the MAC): bytes short of a block wait in the context's buffer;
// bytes that exactly complete it are consumed at once, so a full buffer is
// never kept; whole blocks go straight from the caller's memory, and only
// the leading bytes that complete the buffer and the trailing bytes are
// copied.
#pragma once

#include <cstdint>
#include <cstring>

namespace lncext {

// blocks(p, n) consumes the n bytes at p, n a non-zero multiple of Block.
template <uint32_t Block, class Blocks>
inline void feed_blocks(uint8_t *buffer, uint32_t &buffered, const uint8_t *p, uint32_t len,
                        Blocks &&blocks) {
    if (len < Block - buffered) {
        if (len != 0) std::memcpy(buffer + buffered, p, len);
        buffered += len;
        return;
    }
    if (buffered != 0) {
        const uint32_t fill = Block - buffered;
        std::memcpy(buffer + buffered, p, fill);
        p += fill;
        len -= fill;
        buffered = 0;
        blocks(buffer, Block);
    }
    const uint32_t whole = len - len % Block;
    if (whole != 0) blocks(p, whole);
    buffered = len - whole;
    if (buffered != 0) std::memcpy(buffer, p + whole, buffered);
}

}  // namespace lncext
