// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// The inner loops of reading and writing property lists: each finds the first byte in [at, end) that needs a closer
/// look, or `end`. They look at 16 bytes at a time where the processor can, and never read outside the range.
namespace vanto::scan {

/// The blanks of XML.
[[nodiscard]] constexpr bool isBlank(char byte) noexcept {
  return byte == ' ' || byte == '\n' || byte == '\t' || byte == '\r';
}

/// Where text cannot just be taken as it is: markup, "]", line ends and other control characters, and everything that
/// is not ASCII.
[[nodiscard]] constexpr bool stopsText(char byte) noexcept {
  return static_cast<signed char>(byte) < 0x20 || byte == '<' || byte == '&' || byte == ']';
}

/// Where a text cannot just be written as it is: what needs an escape, control characters, and the first byte of the
/// characters that may be no XML characters.
[[nodiscard]] constexpr bool stopsWriting(char byte) noexcept {
  return static_cast<unsigned char>(byte) < 0x20 || byte == '<' || byte == '&' || byte == '>' || byte == '\xEF';
}

template <bool (*Stops)(char)>
[[nodiscard]] const char* findOneByOne(const char* at, const char* end) noexcept {
  while (at != end && !Stops(*at)) ++at;
  return at;
}

[[nodiscard]] constexpr bool isNoBlank(char byte) noexcept {
  return !isBlank(byte);
}

#if defined(__SSE2__)

inline __m128i equal(__m128i bytes, char byte) noexcept {
  return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(byte));
}

inline __m128i load(const char* at) noexcept {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

inline unsigned blankMask(__m128i bytes) noexcept {
  const __m128i lines = _mm_or_si128(equal(bytes, '\n'), equal(bytes, '\r'));
  const __m128i spaces = _mm_or_si128(equal(bytes, '\t'), equal(bytes, ' '));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(lines, spaces)));
}

inline unsigned textStopMask(__m128i bytes) noexcept {
  // Signed comparison: bytes of 0x80 and above are below the space too.
  const __m128i unusual = _mm_cmplt_epi8(bytes, _mm_set1_epi8(' '));
  const __m128i marks = _mm_or_si128(equal(bytes, '<'), equal(bytes, '&'));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(unusual, marks), equal(bytes, ']'))));
}

inline unsigned writingStopMask(__m128i bytes) noexcept {
  const __m128i controls = _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(0x1F)), bytes);
  const __m128i marks = _mm_or_si128(equal(bytes, '<'), equal(bytes, '>'));
  const __m128i others = _mm_or_si128(equal(bytes, '&'), equal(bytes, '\xEF'));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(controls, marks), others)));
}

template <unsigned (*Mask)(__m128i), bool (*Stops)(char)>
[[nodiscard]] inline const char* find(const char* at, const char* end) noexcept {
  for (; end - at >= 16; at += 16) {
    if (const unsigned mask = Mask(load(at)); mask != 0) return at + __builtin_ctz(mask);
  }
  return findOneByOne<Stops>(at, end);
}

inline unsigned noBlankMask(__m128i bytes) noexcept {
  return blankMask(bytes) ^ 0xFFFFU;
}

[[nodiscard]] inline const char* skipBlanks(const char* at, const char* end) noexcept {
  return find<noBlankMask, isNoBlank>(at, end);
}
[[nodiscard]] inline const char* findTextStop(const char* at, const char* end) noexcept {
  return find<textStopMask, stopsText>(at, end);
}
[[nodiscard]] inline const char* findWritingStop(const char* at, const char* end) noexcept {
  return find<writingStopMask, stopsWriting>(at, end);
}

#else

[[nodiscard]] inline const char* skipBlanks(const char* at, const char* end) noexcept {
  return findOneByOne<isNoBlank>(at, end);
}
[[nodiscard]] inline const char* findTextStop(const char* at, const char* end) noexcept {
  return findOneByOne<stopsText>(at, end);
}
[[nodiscard]] inline const char* findWritingStop(const char* at, const char* end) noexcept {
  return findOneByOne<stopsWriting>(at, end);
}

#endif

/// True when `word` stands at `at`. A comparison of one or two machine words for the short words of the format.
template <std::size_t Size>
[[nodiscard]] inline bool startsWith(const char* at, const char* end, const char (&word)[Size]) noexcept {
  return static_cast<std::size_t>(end - at) >= Size - 1 && std::memcmp(at, word, Size - 1) == 0;
}

/// Copies `length` bytes; up to ObjectBlock::slack bytes behind `to` are overwritten too. `end` is the end of what may
/// be read.
inline void copyText(char* to, const char* from, std::size_t length, const char* end) noexcept {
#if defined(__SSE2__)
  if (static_cast<std::size_t>(end - from) >= length + 16 && length <= 256) {
    for (std::size_t done = 0; done < length; done += 16) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to + done), load(from + done));
    }
    return;
  }
#else
  static_cast<void>(end);
#endif
  // Nothing may have no place.
  if (length != 0) std::memcpy(to, from, length);
}

#if defined(__SSE2__)

/// Up to 15 bytes in the low end of a register, zeros above.
[[nodiscard]] inline __m128i loadPart(const char* at, std::size_t length) noexcept {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
  if (length > 8) {
    std::memcpy(&low, at, 8);
    std::memcpy(&high, at + length - 8, 8);
    high >>= 8 * (16 - length);
  } else if (length >= 4) {
    std::uint32_t first;
    std::uint32_t last;
    std::memcpy(&first, at, 4);
    std::memcpy(&last, at + length - 4, 4);
    low = first | std::uint64_t{last} << (8 * (length - 4));
  } else {
    for (std::size_t index = 0; index < length; ++index) {
      low |= std::uint64_t{static_cast<unsigned char>(at[index])} << (8 * index);
    }
  }
  return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
}

#endif

/// Copies to `to` what can just be written, up to the place that findWritingStop() finds, and moves both behind it. Up
/// to 16 bytes behind the copy are overwritten.
inline void copyWritable(const char*& at, const char* end, char*& to) noexcept {
#if defined(__SSE2__)
  while (at != end) {
    const std::size_t length = end - at >= 16 ? 16 : static_cast<std::size_t>(end - at);
    const __m128i bytes = length == 16 ? load(at) : loadPart(at, length);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
    const unsigned stops = writingStopMask(bytes) | 1U << length;
    const auto copied = static_cast<unsigned>(__builtin_ctz(stops));
    at += copied;
    to += copied;
    if (copied != length) return;
  }
#else
  const char* stop = findWritingStop(at, end);
  std::memcpy(to, at, static_cast<std::size_t>(stop - at));
  to += stop - at;
  at = stop;
#endif
}

}  // namespace vanto::scan
