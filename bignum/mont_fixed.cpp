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

constexpr std::size_t kTable = kMaxFixedWords + 1;

// Operand digits padded with zeros to N words; reads only the counted ones.
template <std::size_t N>
inline void pad(uint32_t *d, const uint32_t *a) {
    const uint32_t n = a[0];
    for (std::size_t i = 0; i < N; ++i) d[i] = i < n ? a[i + 1] : 0;
}

template <std::size_t N>
inline void finish(uint32_t *r, const uint32_t *digits) {
    std::memcpy(r + 1, digits, N * sizeof(uint32_t));
    r[0] = N;
    lncext::bn::clip(r);
}

template <std::size_t N>
void mul_bn(uint32_t n0, const uint32_t *m, const uint32_t *a, const uint32_t *b, uint32_t *r) {
    uint32_t x[N], y[N], z[N];
    pad<N>(x, a);
    pad<N>(y, b);
    mont_mul<N>(z, x, y, m + 1, n0);
    finish<N>(r, z);
}

template <std::size_t N>
void sqr_bn(uint32_t n0, const uint32_t *m, const uint32_t *a, uint32_t *r) {
    uint32_t x[N], z[N];
    pad<N>(x, a);
    mont_sqr<N>(z, x, m + 1, n0);
    finish<N>(r, z);
}

template <std::size_t N>
void redc_bn(uint32_t n0, const uint32_t *m, uint32_t *t) {
    uint32_t x[2 * N], z[N];
    pad<2 * N>(x, t);
    mont_redc<N>(z, x, m + 1, n0);
    finish<N>(t, z);
}

using MulBn = void (*)(uint32_t, const uint32_t *, const uint32_t *, const uint32_t *, uint32_t *);
using SqrBn = void (*)(uint32_t, const uint32_t *, const uint32_t *, uint32_t *);
using RedcBn = void (*)(uint32_t, const uint32_t *, uint32_t *);

// Entry N of each table is the instantiation for N words; entry 0 is null.
template <std::size_t... I>
constexpr std::array<MulBn, kTable> mul_bn_table(std::index_sequence<I...>) {
    return {nullptr, &mul_bn<I + 1>...};
}
template <std::size_t... I>
constexpr std::array<SqrBn, kTable> sqr_bn_table(std::index_sequence<I...>) {
    return {nullptr, &sqr_bn<I + 1>...};
}
template <std::size_t... I>
constexpr std::array<RedcBn, kTable> redc_bn_table(std::index_sequence<I...>) {
    return {nullptr, &redc_bn<I + 1>...};
}
template <std::size_t... I>
constexpr std::array<MulFn, kTable> mul_table(std::index_sequence<I...>) {
    return {nullptr, &mont_mul<I + 1>...};
}
template <std::size_t... I>
constexpr std::array<SqrFn, kTable> sqr_table(std::index_sequence<I...>) {
    return {nullptr, &mont_sqr<I + 1>...};
}
template <std::size_t... I>
constexpr std::array<RedcFn, kTable> redc_table(std::index_sequence<I...>) {
    return {nullptr, &mont_redc<I + 1>...};
}

using Sizes = std::make_index_sequence<kMaxFixedWords>;
constexpr auto kMulBn = mul_bn_table(Sizes{});
constexpr auto kSqrBn = sqr_bn_table(Sizes{});
constexpr auto kRedcBn = redc_bn_table(Sizes{});

// The one case the kernels serve: R = 2^(32 n) for an n-word modulus.
inline bool fits(uint32_t Rbits, const uint32_t *m) {
    const uint32_t n = m[0];
    return n >= 1 && n <= kMaxFixedWords && Rbits == 32 * n;
}

}  // namespace

constexpr FixedTable<MulFn> kMulFixed = mul_table(Sizes{});
constexpr FixedTable<SqrFn> kSqrFixed = sqr_table(Sizes{});
constexpr FixedTable<RedcFn> kRedcFixed = redc_table(Sizes{});
static_assert(kMulFixed[0] == nullptr && kMulFixed[8] == &mont_mul<8>);
static_assert(kRedcFixed[kMaxFixedWords] == &mont_redc<kMaxFixedWords>);

bool mul_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a,
               const uint32_t *b, uint32_t *r) {
    if (!fits(Rbits, m) || a[0] > m[0] || b[0] > m[0]) return false;
    kMulBn[m[0]](minv, m, a, b, r);
    return true;
}

bool sqr_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, const uint32_t *a, uint32_t *r) {
    if (!fits(Rbits, m) || a[0] > m[0]) return false;
    kSqrBn[m[0]](minv, m, a, r);
    return true;
}

bool redc_fixed(uint32_t minv, uint32_t Rbits, const uint32_t *m, uint32_t *t) {
    if (!fits(Rbits, m) || t[0] > 2 * m[0]) return false;
    kRedcBn[m[0]](minv, m, t);
    return true;
}

}  // namespace lncext::mont
