// The fixed-size Montgomery kernels for each word count 1 .. 16, and their
// big-number forms used by lnmmulmont, lnmsqrmont and lnmmontcom.
#include "bignum/mont_fixed.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "bignum/bignum_internal.hpp"

namespace lncext::mont {
namespace {

// Entry N is the instantiation for N words; entry 0 is null.
template <std::size_t... I>
constexpr FixedTable<MulFn> mul_table(std::index_sequence<I...>) {
    return {nullptr, &native::mul<I + 1>...};
}
template <std::size_t... I>
constexpr FixedTable<SqrFn> sqr_table(std::index_sequence<I...>) {
    return {nullptr, &native::sqr<I + 1>...};
}
template <std::size_t... I>
constexpr FixedTable<RedcFn> redc_table(std::index_sequence<I...>) {
    return {nullptr, &native::redc<I + 1>...};
}
using Sizes = std::make_index_sequence<kMaxFixedWords>;

// The one case the kernels serve: R = 2^(32 n) for an n-word modulus.
inline bool fits(uint32_t Rbits, const uint32_t *m) {
    const uint32_t n = m[0];
    return n >= 1 && n <= kMaxFixedWords && Rbits == 32 * n;
}

// Largest word count with a kernel of either kind.
#if defined(LNCEXT_HAVE_INT128)
constexpr uint32_t kMaxWords = 32;
#else
constexpr uint32_t kMaxWords = kMaxFixedWords;
#endif

// The product and square kernels for n words (R = 2^(32 n)), null pointers
// when there are none.
inline LargeFixed kernels_for(uint32_t Rbits, const uint32_t *m) {
    const uint32_t n = m[0];
    if (Rbits != 32 * n) return {nullptr, nullptr};
    if (n >= 1 && n <= kMaxFixedWords) return {kMulFixed[n], kSqrFixed[n]};
    return large_fixed(n);
}

// The digits of the big number a as n words (a[0] <= n): a's own when it
// has n of them, else a copy in d padded with zeros.
inline const uint32_t *digits(uint32_t *d, const uint32_t *a, uint32_t n) {
    if (a[0] == n) return a + 1;
    std::memcpy(d, a + 1, a[0] * sizeof(uint32_t));
    std::memset(d + a[0], 0, (n - a[0]) * sizeof(uint32_t));
    return d;
}

}  // namespace

constexpr FixedTable<MulFn> kMulFixed = mul_table(Sizes{});
constexpr FixedTable<SqrFn> kSqrFixed = sqr_table(Sizes{});
constexpr FixedTable<RedcFn> kRedcFixed = redc_table(Sizes{});
static_assert(kMulFixed[0] == nullptr && kMulFixed[8] == &native::mul<8>);
static_assert(kRedcFixed[kMaxFixedWords] == &native::redc<kMaxFixedWords>);

LargeFixed large_fixed([[maybe_unused]] uint32_t n) {
#if defined(LNCEXT_HAVE_INT128)
    // The CRT halves of 1536- and 2048-bit keys and the primes of their key
    // generation (24 and 32 words), where nearly all the time of those
    // operations goes. Unrolled, the two sizes take about 41 KiB of code;
    // 48 and 64 words would take five times that for the public operation,
    // which spends most of its time outside the products.
    switch (n) {
        case 24:
            return {&w64::mul<24>, &w64::sqr<24>};
        case 32:
            return {&w64::mul<32>, &w64::sqr<32>};
        default:
            break;
    }
#endif
    return {nullptr, nullptr};
}

// The kernels read all their input before they write, and write exactly n
// words, so they work in place on the digits of the result.
bool mul_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
               const uint32_t *b, uint32_t *r) {
    const uint32_t n = m[0];
    const MulFn f = kernels_for(Rbits, m).mul;
    if (f == nullptr || a[0] > n || b[0] > n) return false;
    uint32_t x[kMaxWords], y[kMaxWords];
    f(r + 1, digits(x, a, n), digits(y, b, n), m + 1, minv);
    r[0] = n;
    lncext::bn::clip(r);
    return true;
}

bool sqr_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a, uint32_t *r) {
    const uint32_t n = m[0];
    const SqrFn f = kernels_for(Rbits, m).sqr;
    if (f == nullptr || a[0] > n) return false;
    uint32_t x[kMaxWords];
    f(r + 1, digits(x, a, n), m + 1, minv);
    r[0] = n;
    lncext::bn::clip(r);
    return true;
}

bool redc_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, uint32_t *t) {
    const uint32_t n = m[0];
    if (!fits(Rbits, m) || t[0] > 2 * n) return false;
    uint32_t x[2 * kMaxFixedWords];
    kRedcFixed[n](t + 1, digits(x, t, 2 * n), m + 1, minv);
    t[0] = n;
    lncext::bn::clip(t);
    return true;
}

}  // namespace lncext::mont
