// Shared pieces of the fuzz targets: a reader that takes typed values from
// the fuzzer's bytes (zeros once they run out), output buffers filled with a
// canary pattern, and the contract checks, which abort so that libFuzzer
// records the input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace lncext_fuzz {

using Bytes = std::vector<uint8_t>;

[[noreturn]] inline void fail(const char *what, long code = -1) {
    std::fprintf(stderr, "contract violated: %s (result %ld)\n", what, code);
    std::abort();
}

inline void check(bool ok, const char *what, long code = -1) {
    if (!ok) fail(what, code);
}

// The result is one of the codes the entry point may return.
inline void check_code(long code, std::initializer_list<long> allowed, const char *fn) {
    for (long a : allowed)
        if (a == code) return;
    fail(fn, code);
}

class Input {
  public:
    Input(const uint8_t *data, size_t size) : p_(data), n_(size) {}
    size_t left() const { return n_; }
    uint8_t u8() {
        if (n_ == 0) return 0;
        n_--;
        return *p_++;
    }
    uint32_t u16() { return uint32_t(u8()) << 8 | u8(); }
    uint32_t u32() { return u16() << 16 | u16(); }
    // len bytes (zero bytes after the end of the input), in a heap block of
    // exactly len bytes so that reading beyond it is caught.
    Bytes take(size_t len) {
        Bytes b(len, 0);
        size_t k = len < n_ ? len : n_;
        if (k) std::memcpy(b.data(), p_, k);
        p_ += k;
        n_ -= k;
        return b;
    }
    Bytes rest() { return take(n_); }

  private:
    const uint8_t *p_;
    size_t n_;
};

// An output buffer of exactly n bytes filled with a pattern no function
// writes by accident (every byte differs from its neighbours).
struct Canary {
    Bytes buf;
    explicit Canary(size_t n) : buf(n) {
        for (size_t i = 0; i < n; i++) buf[i] = uint8_t(0xA5 ^ (i * 29));
    }
    uint8_t *data() { return buf.data(); }
    bool untouched(size_t from = 0) const {
        for (size_t i = from; i < buf.size(); i++)
            if (buf[i] != uint8_t(0xA5 ^ (i * 29))) return false;
        return true;
    }
};

// A pointer to b's bytes that is never NULL: an empty b gives a heap block
// of size 0, which the sanitizer reports when anything reads it.
inline uint8_t *ptr(Bytes &b) {
    static uint8_t *const empty = new uint8_t[0];
    return b.empty() ? empty : b.data();
}
inline const uint8_t *ptr(const Bytes &b) {
    return ptr(const_cast<Bytes &>(b));
}

inline Bytes from_hex(const char *hex) {
    Bytes out;
    for (size_t i = 0; hex[i] && hex[i + 1]; i += 2) {
        auto nib = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
        out.push_back(uint8_t(nib(hex[i]) << 4 | nib(hex[i + 1])));
    }
    return out;
}

}  // namespace lncext_fuzz
