// SHA-256 as its standard (FIPS 180-4) defines it. Files of many accounts have sums, so processors'
// own instructions for it are used where there are some; a library for this alone would take longer
// to load than the sums of an ordinary device.
#include "host/Digest.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <string_view>

#ifdef __x86_64__
#  include <cpuid.h>
#  include <immintrin.h>
#endif

namespace accountsettings {

namespace {

constexpr std::size_t kBlock = 64;

// The eight words that the blocks change one after the other.
using State = std::array<std::uint32_t, 8>;
using Compress = void (*)(State& state, const std::uint8_t* blocks, std::size_t count);

constexpr State kStart = {0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                          0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};

alignas(16) constexpr std::array<std::uint32_t, 64> kRounds = {
    0x428A2F98, 0x71374491, 0xB5C0FBCF, 0xE9B5DBA5, 0x3956C25B, 0x59F111F1, 0x923F82A4, 0xAB1C5ED5,
    0xD807AA98, 0x12835B01, 0x243185BE, 0x550C7DC3, 0x72BE5D74, 0x80DEB1FE, 0x9BDC06A7, 0xC19BF174,
    0xE49B69C1, 0xEFBE4786, 0x0FC19DC6, 0x240CA1CC, 0x2DE92C6F, 0x4A7484AA, 0x5CB0A9DC, 0x76F988DA,
    0x983E5152, 0xA831C66D, 0xB00327C8, 0xBF597FC7, 0xC6E00BF3, 0xD5A79147, 0x06CA6351, 0x14292967,
    0x27B70A85, 0x2E1B2138, 0x4D2C6DFC, 0x53380D13, 0x650A7354, 0x766A0ABB, 0x81C2C92E, 0x92722C85,
    0xA2BFE8A1, 0xA81A664B, 0xC24B8B70, 0xC76C51A3, 0xD192E819, 0xD6990624, 0xF40E3585, 0x106AA070,
    0x19A4C116, 0x1E376C08, 0x2748774C, 0x34B0BCB5, 0x391C0CB3, 0x4ED8AA4A, 0x5B9CCA4F, 0x682E6FF3,
    0x748F82EE, 0x78A5636F, 0x84C87814, 0x8CC70208, 0x90BEFFFA, 0xA4506CEB, 0xBEF9A3F7, 0xC67178F2};

std::uint32_t wordAt(const std::uint8_t* bytes) {
  return (std::uint32_t{bytes[0]} << 24U) | (std::uint32_t{bytes[1]} << 16U) |
         (std::uint32_t{bytes[2]} << 8U) | std::uint32_t{bytes[3]};
}

void compressPortably(State& state, const std::uint8_t* blocks, std::size_t count) {
  for (; count > 0; --count, blocks += kBlock) {
    std::array<std::uint32_t, kRounds.size()> words{};
    for (std::size_t i = 0; i < 16; ++i) words[i] = wordAt(blocks + 4 * i);
    for (std::size_t i = 16; i < words.size(); ++i) {
      const std::uint32_t a = words[i - 15];
      const std::uint32_t b = words[i - 2];
      words[i] = words[i - 16] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ (a >> 3U)) + words[i - 7] +
                 (std::rotr(b, 17) ^ std::rotr(b, 19) ^ (b >> 10U));
    }
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t i = 0; i < words.size(); ++i) {
      const std::uint32_t first = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                                  ((e & f) ^ (~e & g)) + kRounds[i] + words[i];
      const std::uint32_t second =
          (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
      h = g;
      g = f;
      f = e;
      e = d + first;
      d = c;
      c = b;
      b = a;
      a = first + second;
    }
    const State change = {a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < state.size(); ++i) state[i] += change[i];
  }
}

#ifdef __x86_64__
#  define AS_WITH_INSTRUCTIONS __attribute__((target("sha,sse4.1")))

bool hasInstructions() {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_SSE4_1) == 0 || (c & bit_SSSE3) == 0) {
    return false;
  }
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_SHA) != 0;
}

// The state as the instructions want it: in two halves, the words from the upper end down.
struct Halves {
  __m128i abef;
  __m128i cdgh;
};

// Four rounds, with these four words of the message.
AS_WITH_INSTRUCTIONS inline void fourRounds(Halves& state, __m128i words, std::size_t round) {
  const auto* constants = reinterpret_cast<const __m128i*>(kRounds.data() + round);
  const __m128i sums = _mm_add_epi32(words, _mm_load_si128(constants));
  state.cdgh = _mm_sha256rnds2_epu32(state.cdgh, state.abef, sums);
  state.abef = _mm_sha256rnds2_epu32(state.abef, state.cdgh, _mm_shuffle_epi32(sums, 0x0E));
}

// The four words that follow these sixteen.
AS_WITH_INSTRUCTIONS inline __m128i nextWords(__m128i a, __m128i b, __m128i c, __m128i d) {
  const __m128i sums = _mm_add_epi32(_mm_sha256msg1_epu32(a, b), _mm_alignr_epi8(d, c, 4));
  return _mm_sha256msg2_epu32(sums, d);
}

AS_WITH_INSTRUCTIONS inline __m128i wordsAt(const std::uint8_t* bytes) {
  const __m128i reversed = _mm_set_epi64x(0x0C0D0E0F08090A0B, 0x0405060700010203);
  return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)), reversed);
}

AS_WITH_INSTRUCTIONS void compressWithInstructions(State& state, const std::uint8_t* blocks,
                                                   std::size_t count) {
  auto* const stored = reinterpret_cast<__m128i*>(state.data());
  const __m128i cdab = _mm_shuffle_epi32(_mm_loadu_si128(stored), 0xB1);
  const __m128i efgh = _mm_shuffle_epi32(_mm_loadu_si128(stored + 1), 0x1B);
  Halves now{_mm_alignr_epi8(cdab, efgh, 8), _mm_blend_epi16(efgh, cdab, 0xF0)};
  for (; count > 0; --count, blocks += kBlock) {
    const Halves before = now;
    __m128i first = wordsAt(blocks);
    __m128i second = wordsAt(blocks + 16);
    __m128i third = wordsAt(blocks + 32);
    __m128i fourth = wordsAt(blocks + 48);
    for (std::size_t round = 0;; round += 16) {
      fourRounds(now, first, round);
      fourRounds(now, second, round + 4);
      fourRounds(now, third, round + 8);
      fourRounds(now, fourth, round + 12);
      if (round + 16 == kRounds.size()) break;
      first = nextWords(first, second, third, fourth);
      second = nextWords(second, third, fourth, first);
      third = nextWords(third, fourth, first, second);
      fourth = nextWords(fourth, first, second, third);
    }
    now.abef = _mm_add_epi32(now.abef, before.abef);
    now.cdgh = _mm_add_epi32(now.cdgh, before.cdgh);
  }
  const __m128i feba = _mm_shuffle_epi32(now.abef, 0x1B);
  const __m128i dchg = _mm_shuffle_epi32(now.cdgh, 0xB1);
  _mm_storeu_si128(stored, _mm_blend_epi16(feba, dchg, 0xF0));
  _mm_storeu_si128(stored + 1, _mm_alignr_epi8(dchg, feba, 8));
}
#  undef AS_WITH_INSTRUCTIONS

Compress quickest() {
  static const bool has = hasInstructions();
  return has ? compressWithInstructions : compressPortably;
}
#else
Compress quickest() {
  return compressPortably;
}
#endif

std::string hexadecimal(const State& state) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint32_t word : state) {
    for (int shift = 28; shift >= 0; shift -= 4) text += kDigits[(word >> shift) & 0xFU];
  }
  return text;
}

std::string sumOf(std::span<const std::uint8_t> bytes, Compress compress) {
  State state = kStart;
  const std::size_t whole = bytes.size() / kBlock;
  compress(state, bytes.data(), whole);
  // What is left, a one bit, zeros, and the number of bits fill one block more, or two.
  const std::span<const std::uint8_t> rest = bytes.subspan(whole * kBlock);
  std::array<std::uint8_t, 2 * kBlock> end{};
  std::ranges::copy(rest, end.begin());
  end[rest.size()] = 0x80;
  const std::size_t blocks = rest.size() + 1 + sizeof(std::uint64_t) <= kBlock ? 1 : 2;
  std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
  for (std::size_t place = blocks * kBlock; bits > 0; bits >>= 8U) {
    end[--place] = static_cast<std::uint8_t>(bits);
  }
  compress(state, end.data(), blocks);
  return hexadecimal(state);
}

}  // namespace

Result<std::string> sha256(std::span<const std::uint8_t> bytes) {
  return sumOf(bytes, quickest());
}

std::string detail::portableSha256(std::span<const std::uint8_t> bytes) {
  return sumOf(bytes, compressPortably);
}

}  // namespace accountsettings
