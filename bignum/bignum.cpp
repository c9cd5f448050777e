// Big numbers: representation, comparison, addition and subtraction, shifts,
// powers of two, and conversion to and from bytes and hexadecimal text.
#include "lncext/bignum.h"

#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "bignum/bignum_internal.hpp"
#include "bignum/words.hpp"
#include "common/bytes.hpp"

namespace {

constexpr uint32_t kMaxDigits = LNMBIG_MAX_DIGITS;
constexpr uint32_t kMaxBytes = 4 * kMaxDigits;  // what the byte readers take at most

void clear_words(uint32_t *p, uint32_t n) {
    std::memset(p, 0, std::size_t(n) * sizeof(uint32_t));
}

// Adds the word w at digit `from` (1 <= from <= a[0] + 1) of a, appending a
// top word when the carry leaves the count.
void add_at(uint32_t *a, uint32_t from, uint32_t w) {
    const uint32_t n = a[0];
    const uint32_t carry = lncext::words::add_1(a + from, a + from, n + 1 - from, w);
    if (carry != 0) {
        a[n + 1] = carry;
        a[0] = n + 1;
    }
}

}  // namespace

extern "C" LNCEXT_API const uint32_t LNMBIG_ZERO[1] = {0};
extern "C" LNCEXT_API const uint32_t LNMBIG_ONE[2] = {1, 1};
extern "C" LNCEXT_API const uint32_t LNMBIG_TWO[2] = {1, 2};
extern "C" LNCEXT_API const uint32_t LNMBIG_THREE[2] = {1, 3};

extern "C" {

// ---- Normalisation, copying, construction ----

LNCEXT_API uint32_t *lnmclip(uint32_t *a) {
    return lncext::bn::clip(a);
}

LNCEXT_API uint32_t *lnmcopy(uint32_t *dst, const uint32_t *src) {
    return lncext::bn::copy(dst, src);
}

LNCEXT_API uint32_t *lnmconvert(uint32_t *r, uint32_t v) {
    r[1] = v;
    r[0] = v != 0 ? 1 : 0;
    return r;
}

LNCEXT_API uint32_t *lnmvalueof32(uint32_t *r, uint32_t n, ...) {
    va_list ap;
    va_start(ap, n);
    r[0] = n;
    clear_words(r + 1, n);
    // The first word is the most significant.
    for (uint32_t i = n; i >= 1; i--) r[i] = va_arg(ap, uint32_t);
    va_end(ap);
    return lncext::bn::clip(r);
}

LNCEXT_API uint32_t *lnmvalueof64(uint32_t *r, int n, ...) {
    if (n <= 0) {
        r[0] = 0;
        return r;
    }
    va_list ap;
    va_start(ap, n);
    for (int i = n; i >= 1; i--) r[i] = va_arg(ap, uint32_t);
    va_end(ap);
    r[0] = uint32_t(n);
    return lncext::bn::clip(r);
}

LNCEXT_API uint32_t *lnmclear(uint32_t *x) {
    std::puts("Deprecated lnmclear!");
    return x;
}

// ---- Comparison and size ----

LNCEXT_API int lnmcmp(const uint32_t *a, const uint32_t *b) {
    return lncext::bn::cmp(a, b);
}

LNCEXT_API unsigned int lnmbitlen(const uint32_t *a, unsigned int unit) {
    uint32_t n = a[0];
    if (n == 0) return 0;
    uint32_t bits = 32 * (n - 1) + uint32_t(std::bit_width(a[n]));
    // Rounded up without forming bits + unit - 1, which could wrap.
    return bits / unit + (bits % unit != 0 ? 1 : 0);
}

// ---- Addition and subtraction ----

LNCEXT_API uint32_t *lnmadd(uint32_t *a, const uint32_t *b) {
    uint32_t na = a[0], nb = b[0];
    if (nb > na) {
        std::memcpy(a + na + 1, b + na + 1, std::size_t(nb - na) * sizeof(uint32_t));
        a[0] = nb;
    }
    uint32_t n = na < nb ? na : nb;
    add_at(a, n + 1, lncext::words::add(a + 1, a + 1, b + 1, n));
    return a;
}

LNCEXT_API uint32_t *lnmsub(uint32_t *a, const uint32_t *b) {
    uint32_t na = a[0], nb = b[0];
    const uint32_t borrow = lncext::words::sub(a + 1, a + 1, b + 1, nb);
    if (na > nb) lncext::words::sub_1(a + nb + 1, a + nb + 1, na - nb, borrow);
    return lncext::bn::clip(a);
}

LNCEXT_API uint32_t *lnmaddb2(uint32_t *a, uint32_t k) {
    uint32_t w = k / 32 + 1;
    if (w > a[0]) {
        clear_words(a + a[0] + 1, w - a[0]);
        a[0] = w;
    }
    add_at(a, w, uint32_t(1) << (k % 32));
    return a;
}

LNCEXT_API uint32_t *lnmadd2m(uint32_t *a, const uint32_t *b) {
    uint32_t na = a[0], nb = b[0];
    uint32_t n = na < nb ? na : nb;
    for (uint32_t i = 1; i <= n; i++) a[i] ^= b[i];
    if (nb > na) {
        std::memcpy(a + na + 1, b + na + 1, std::size_t(nb - na) * sizeof(uint32_t));
        a[0] = nb;
    }
    return lncext::bn::clip(a);
}

// ---- Powers of two ----

LNCEXT_API uint32_t *lnmexpb2(uint32_t *r, uint32_t k) {
    uint32_t w = k / 32 + 1;
    clear_words(r + 1, w);
    r[w] = uint32_t(1) << (k % 32);
    r[0] = w;
    return r;
}

LNCEXT_API uint32_t *lnmmodexpb2(uint32_t *a, uint32_t k) {
    uint32_t w = k / 32 + 1;
    if (w > a[0]) return a;
    if (k % 32 == 0) {
        a[0] = k / 32;
    } else {
        a[w] &= (uint32_t(1) << (k % 32)) - 1;
        a[0] = w;
    }
    return lncext::bn::clip(a);
}

// ---- Shifts ----

LNCEXT_API uint32_t *lnmshl(const uint32_t *a, uint32_t k, uint32_t *r) {
    uint32_t na = a[0], q = k / 32, s = k % 32;
    if (na == 0 || q >= kMaxDigits) {
        r[0] = 0;
        return r;
    }
    if (s == 0) {
        uint32_t n = na + q < kMaxDigits ? na + q : kMaxDigits;
        std::memmove(r + 1 + q, a + 1, std::size_t(n - q) * sizeof(uint32_t));
        clear_words(r + 1, q);
        r[0] = n;
        return lncext::bn::clip(r);
    }
    // Top down, so that r may be a: result word i reads source words i - q
    // and i - q - 1 only, neither of which has been written yet.
    uint32_t n = na + q + 1 < kMaxDigits ? na + q + 1 : kMaxDigits;
    uint32_t i = n;
    if (i - q > na) {  // the new top word takes only the top bits of a
        r[i] = a[na] >> (32 - s);
        i--;
    }
    for (; i > q + 1; i--) r[i] = a[i - q] << s | a[i - q - 1] >> (32 - s);
    r[q + 1] = a[1] << s;
    clear_words(r + 1, q);
    r[0] = n;
    return lncext::bn::clip(r);
}

LNCEXT_API uint32_t *lnmshr(const uint32_t *a, uint32_t k, uint32_t *r) {
    uint32_t na = a[0], q = k / 32, s = k % 32;
    if (na == 0 || q >= na) {
        r[0] = 0;
        return r;
    }
    uint32_t n = na - q;
    if (s == 0) {
        std::memmove(r + 1, a + 1 + q, std::size_t(n) * sizeof(uint32_t));
    } else {
        // Bottom up, so that r may be a: word i reads words i + q and above.
        for (uint32_t i = 1; i < n; i++) r[i] = a[i + q] >> s | a[i + q + 1] << (32 - s);
        r[n] = a[na] >> s;
        if (r[n] == 0) n--;
    }
    r[0] = n;
    return r;
}

// ---- Bytes ----

LNCEXT_API uint32_t *lnmfrombase256(uint32_t *r, const uint8_t *in, uint32_t len) {
    if (len > kMaxBytes) len = kMaxBytes;
    uint32_t n = 0;
    // Whole words from the least significant end, in[len - 1] lowest.
    while (len >= 4) {
        len -= 4;
        r[++n] = lncext::load_be32(in + len);
    }
    uint32_t w = 0;
    for (uint32_t k = 0; k < len; k++) w |= uint32_t(in[len - 1 - k]) << (8 * k);
    if (w != 0) r[++n] = w;
    r[0] = n;
    return lncext::bn::clip(r);
}

LNCEXT_API uint32_t *lnmfromrbase256(uint32_t *r, const uint8_t *in, uint32_t len) {
    if (len > kMaxBytes) len = kMaxBytes;
    uint32_t n = 0, pos = 0;
    for (; pos + 4 <= len; pos += 4) r[++n] = lncext::load_le32(in + pos);
    uint32_t w = 0;
    for (uint32_t k = 0; pos + k < len; k++) w |= uint32_t(in[pos + k]) << (8 * k);
    if (w != 0) r[++n] = w;
    r[0] = n;
    return lncext::bn::clip(r);
}

LNCEXT_API unsigned int lnmtobase256(uint8_t *out, uint32_t outlen, const uint32_t *a) {
    uint32_t n = a[0], written = 0;
    bool started = false;
    for (uint32_t i = n; i >= 1 && written < outlen; i--) {
        for (int sh = 24; sh >= 0 && written < outlen; sh -= 8) {
            uint8_t byte = uint8_t(a[i] >> sh);
            if (!started && byte == 0) continue;
            started = true;
            out[written++] = byte;
        }
    }
    return written;
}

LNCEXT_API unsigned int lnmtorbase256(uint8_t *out, uint32_t outlen, const uint32_t *a) {
    uint32_t n = a[0], written = 0;
    if (n == 0) return 0;
    for (uint32_t i = 1; i < n; i++) {
        for (uint32_t k = 0; k < 4; k++) {
            if (written == outlen) return written;
            out[written++] = uint8_t(a[i] >> (8 * k));
        }
    }
    for (uint32_t v = a[n]; v != 0 && written < outlen; v >>= 8) out[written++] = uint8_t(v);
    return written;
}

LNCEXT_API uint32_t *lnmgetbe(uint32_t *r, const uint8_t *buf, uint32_t off, uint32_t len) {
    return lnmfrombase256(r, buf + off, len);
}

LNCEXT_API uint32_t *lnmgetle(uint32_t *r, const uint8_t *buf, uint32_t off, uint32_t len) {
    return lnmfromrbase256(r, buf + off, len);
}

LNCEXT_API unsigned int lnmputbe(uint8_t *buf, uint32_t off, uint32_t len, const uint32_t *a) {
    return lnmtobase256(buf + off, len, a);
}

LNCEXT_API unsigned int lnmputle(uint8_t *buf, uint32_t off, uint32_t len, const uint32_t *a) {
    return lnmtorbase256(buf + off, len, a);
}

// ---- Text ----

LNCEXT_API void lnmtoxstr(const uint32_t *a, char *out, uint32_t size) {
    static const char kDigits[] = "0123456789ABCDEF";
    if (size == 0 || out == nullptr) return;
    uint32_t n = a[0];
    auto nibble = [a](uint32_t j) { return (a[j / 8 + 1] >> (4 * (j % 8))) & 15; };
    // Scan down from the top nibble to the first non-zero one.
    uint32_t digits = 8 * n;
    while (digits != 0 && nibble(digits - 1) == 0) digits--;
    if (digits == 0) {
        if (size > 1) {
            out[0] = '0';
            out[1] = 0;
        } else {
            out[0] = 0;
        }
        return;
    }
    if (digits >= size) {
        std::memset(out, '*', size);
        out[size - 1] = 0;
        return;
    }
    for (uint32_t k = 0; k < digits; k++) out[k] = kDigits[nibble(digits - 1 - k)];
    out[digits] = 0;
}

}  // extern "C"
