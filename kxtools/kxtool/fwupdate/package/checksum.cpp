// The image checksum: x86 has an instruction that adds up bytes, but no compiler finds it in a loop. Elsewhere the loop
// is vectorised as it stands, at the optimisation level that the build gives this file.
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "fwupdate/package.h"

namespace {

uint32_t bytes_sum(std::span<const uint8_t> bytes) {
  uint32_t sum = 0;
  for (const uint8_t byte : bytes) {
    sum += byte;
  }
  return sum;
}

#ifdef __SSE2__
constexpr size_t VECTOR = sizeof(__m128i);
constexpr size_t VECTORS = 4;  // in one step, each with a sum of its own: an addition waits for no other

/// The sum of whole steps: the differences from 0 of eight bytes at a time, as two 64-bit sums.
uint32_t steps_sum(std::span<const uint8_t> bytes) {
  __m128i sums[VECTORS] = {};
  for (size_t at = 0; at < bytes.size(); at += VECTOR * VECTORS) {
    for (size_t i = 0; i < VECTORS; ++i) {
      const __m128i vector = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes.data() + at + i * VECTOR));
      sums[i] = _mm_add_epi64(sums[i], _mm_sad_epu8(vector, _mm_setzero_si128()));
    }
  }
  const __m128i both = _mm_add_epi64(_mm_add_epi64(sums[0], sums[1]), _mm_add_epi64(sums[2], sums[3]));
  return static_cast<uint32_t>(_mm_cvtsi128_si64(both) + _mm_cvtsi128_si64(_mm_unpackhi_epi64(both, both)));
}
#endif

}  // namespace

uint32_t fw_checksum(std::span<const uint8_t> bytes) {
#ifdef __SSE2__
  const size_t whole = bytes.size() - bytes.size() % (VECTOR * VECTORS);
  return steps_sum(bytes.first(whole)) + bytes_sum(bytes.subspan(whole));
#else
  return bytes_sum(bytes);
#endif
}
