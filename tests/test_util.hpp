// Shared helpers of the test suite: hex strings, the published vector files
// in tests/vectors, and a seeded random generator.
#pragma once

#include <cstdint>
#include <fstream>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace lncext_test {

using Bytes = std::vector<uint8_t>;

inline Bytes from_hex(const std::string &hex) {
    Bytes out;
    int hi = -1;
    for (char ch : hex) {
        int v;
        if (ch >= '0' && ch <= '9')
            v = ch - '0';
        else if (ch >= 'a' && ch <= 'f')
            v = ch - 'a' + 10;
        else if (ch >= 'A' && ch <= 'F')
            v = ch - 'A' + 10;
        else if (ch == ' ' || ch == ':')
            continue;
        else
            throw std::invalid_argument("bad hex digit in " + hex);
        if (hi < 0) {
            hi = v;
        } else {
            out.push_back(uint8_t(hi << 4 | v));
            hi = -1;
        }
    }
    if (hi >= 0) throw std::invalid_argument("odd hex length: " + hex);
    return out;
}

inline std::string to_hex(const uint8_t *p, size_t n) {
    static const char digits[] = "0123456789abcdef";
    std::string s;
    for (size_t i = 0; i < n; i++) {
        s += digits[p[i] >> 4];
        s += digits[p[i] & 15];
    }
    return s;
}

inline std::string to_hex(const Bytes &b) {
    return to_hex(b.data(), b.size());
}

// One block of a vector file: its key = value lines, in order of appearance
// (keys may repeat, so a block is a list of pairs with a lookup by first key).
struct VectorBlock {
    std::vector<std::pair<std::string, std::string>> fields;

    bool has(const std::string &key) const {
        for (auto &f : fields)
            if (f.first == key) return true;
        return false;
    }
    const std::string &get(const std::string &key) const {
        for (auto &f : fields)
            if (f.first == key) return f.second;
        throw std::out_of_range("no field " + key);
    }
    Bytes bytes(const std::string &key) const { return from_hex(get(key)); }
};

// Reads tests/vectors/<name>: blocks separated by blank lines, '#' comments,
// every other line "key = value".
inline std::vector<VectorBlock> read_vectors(const std::string &name) {
    std::ifstream in(std::string(LNCEXT_TEST_VECTORS) + "/" + name);
    if (!in) throw std::runtime_error("cannot open vector file " + name);
    std::vector<VectorBlock> blocks;
    VectorBlock cur;
    std::string line;
    auto trim = [](std::string s) {
        size_t a = s.find_first_not_of(" \t\r");
        size_t b = s.find_last_not_of(" \t\r");
        return a == std::string::npos ? std::string() : s.substr(a, b - a + 1);
    };
    auto flush = [&] {
        if (!cur.fields.empty()) blocks.push_back(cur);
        cur = VectorBlock();
    };
    while (std::getline(in, line)) {
        std::string t = trim(line);
        if (t.empty()) {
            flush();
        } else if (t[0] != '#') {
            size_t eq = t.find('=');
            if (eq == std::string::npos) continue;
            cur.fields.emplace_back(trim(t.substr(0, eq)), trim(t.substr(eq + 1)));
        }
    }
    flush();
    return blocks;
}

// Deterministic randomness: every test seeds its own generator so that a
// failure reproduces.
struct Rng {
    std::mt19937_64 gen;
    explicit Rng(uint64_t seed) : gen(seed) {}
    uint32_t word() { return uint32_t(gen()); }
    uint32_t below(uint32_t n) { return uint32_t(gen() % n); }
    Bytes bytes(size_t n) {
        Bytes b(n);
        for (auto &x : b) x = uint8_t(gen());
        return b;
    }
};

}  // namespace lncext_test
