// Key blobs for the RSA targets: the harness's own reading of the record
// format, to know which result a blob must give and to compute the expected
// output with GMP.
#pragma once

#include "gmp_util.hpp"
#include "lncext/rsa.h"

namespace lncext_fuzz {

// One key parameter record at pos: its length L, its number, and whether L
// lies in 1..max.
struct Record {
    uint32_t len = 0;
    bool ok = false;
    Mpz value;
};

// Reads records from blob (big enough for every record it may hold) until
// one fails its bound; returns how many were read and good.
inline size_t read_records(const Bytes &blob, Record *recs, size_t count, uint32_t max) {
    size_t pos = 0;
    for (size_t i = 0; i < count; i++) {
        uint32_t len = uint32_t(blob[pos]) << 8 | blob[pos + 1];
        recs[i].len = len;
        recs[i].ok = len >= 1 && len <= max;
        if (!recs[i].ok) return i;
        mpz_from_be(recs[i].value, blob.data() + pos + 2, len);
        pos += 2 + len;
    }
    return count;
}

inline bool permitted_bits(size_t bits) {
    return bits == 512 || bits == 1024 || bits == 1536 || bits == 2048;
}

inline size_t bitlen(mpz_srcptr z) {
    return mpz_sgn(z) ? mpz_sizeinbase(z, 2) : 0;
}

// Signed input lengths: mostly small, negative now and then.
inline int32_t input_length(Input &in) {
    return int32_t(int16_t(in.u16()));
}

// The input bytes for a signed length: exactly that many (none when
// negative). Where a length beyond the modulus must be refused unread,
// lengths over cap get just cap bytes.
inline Bytes input_bytes(Input &in, int32_t len, size_t cap = 1024) {
    if (len <= 0) return Bytes();
    return in.take(size_t(len) > cap ? cap : size_t(len));
}

// A key blob: a length, then that many bytes, in a buffer of room bytes (the
// most records of their bound can span; zeros after the given bytes).
inline Bytes key_blob(Input &in, size_t room) {
    size_t len = in.u16() % (room + 1);
    Bytes given = in.take(len);
    given.resize(room, 0);
    return given;
}

}  // namespace lncext_fuzz
