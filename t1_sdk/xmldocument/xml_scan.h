// XML document: classes of characters, and searches in its text.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace xml_scan {

/// What a character can be; it may be several of them.
enum CharacterClass : unsigned char {
  kSpace = 1,      ///< white space
  kQuote = 2,      ///< a quotation mark
  kDelimiter = 4,  ///< what ends a word: white space, marks of the markup, the end of the text
  kNameEnd = 8,    ///< what may stand behind a name that is looked for
  kNoName = 16,    ///< behind a '<' and white space, what no name of an element begins with
};

/// The classes of each character, by its byte.
constexpr std::array<unsigned char, 256> make_classes() {
  std::array<unsigned char, 256> classes{};
  const auto add = [&classes](const char* characters, std::size_t count, unsigned char entry) {
    for (std::size_t i = 0; i < count; ++i) classes[static_cast<unsigned char>(characters[i])] |= entry;
  };
  add(" \t\n\r", 4, kSpace | kDelimiter | kNoName);
  add("\"'", 2, kQuote | kNoName);
  add("<>=\\/?!", 8, kDelimiter);  // with the end of the text
  add(" =/[", 5, kNameEnd);        // with the end of the text
  add("/?!", 4, kNoName);          // with the end of the text
  return classes;
}

/// The same, made once.
inline constexpr std::array<unsigned char, 256> kClasses = make_classes();

/// Whether the character is of one of those classes.
inline bool is(char c, unsigned char classes) {
  return (kClasses[static_cast<unsigned char>(c)] & classes) != 0;
}

/// The first of some characters in [from, end), or `end`: character by character.
template <class... Characters>
const char* find_plainly(const char* from, const char* end, Characters... wanted) {
  while (from < end && (... && (*from != wanted))) ++from;
  return from;
}

#ifdef __SSE2__
/// Which of kWidth characters, 8 or 16, are one of those that are wanted: a bit for each.
template <std::ptrdiff_t kWidth, class... Characters>
unsigned matches(const char* from, Characters... wanted) {
  const auto* const place = reinterpret_cast<const __m128i*>(from);
  const __m128i text = kWidth == 8 ? _mm_loadl_epi64(place) : _mm_loadu_si128(place);
  return static_cast<unsigned>(_mm_movemask_epi8((... | _mm_cmpeq_epi8(text, _mm_set1_epi8(wanted)))));
}

/// The same by kWidth characters, of which there are as many at least. The last ones may be looked at twice.
template <std::ptrdiff_t kWidth, class... Characters>
const char* find_by_vectors(const char* from, const char* end, Characters... wanted) {
  for (const char* const last = end - kWidth;; from = last - from < kWidth ? last : from + kWidth) {
    const unsigned found = matches<kWidth>(from, wanted...);
    if (found != 0) return from + __builtin_ctz(found);
    if (from == last) return end;
  }
}
#endif

/// The same by vectors where the processor has them. None of the characters may be a NUL.
template <class... Characters>
const char* find_any(const char* from, const char* end, Characters... wanted) {
#ifdef __SSE2__
  if (end - from >= 16) return find_by_vectors<16>(from, end, wanted...);
  if (end - from >= 8) return find_by_vectors<8>(from, end, wanted...);
#endif
  return find_plainly(from, end, wanted...);
}

/// The next such character in [from, end), or `end`. Mostly it is near; the C library is quicker over a long
/// way.
inline const char* find(const char* from, const char* end, char wanted) {
  constexpr std::ptrdiff_t kNear = 64;
  if (end - from <= kNear) return find_any(from, end, wanted);
  const char* const found = find_any(from, from + kNear, wanted);
  if (found != from + kNear) return found;
  const void* const far = std::memchr(found, wanted, static_cast<std::size_t>(end - found));
  return far == nullptr ? end : static_cast<const char*>(far);
}

/// The same, with a look first at where it is when nothing or a line end stands before it: mostly that is so.
inline const char* find_behind_line_end(const char* from, const char* end, char wanted) {
  constexpr int kLineEnd = 2;
  for (int n = 0; n <= kLineEnd && from != end; ++n, ++from) {
    if (*from == wanted) return from;
  }
  return find(from, end, wanted);
}

/// Whether a single look tells that none of the characters is in [from, to), behind which the text goes on to
/// `end`.
template <class... Characters>
bool lacks_at_a_look([[maybe_unused]] const char* from, [[maybe_unused]] const char* to,
                     [[maybe_unused]] const char* end, [[maybe_unused]] Characters... wanted) {
#ifdef __SSE2__
  constexpr std::ptrdiff_t kVector = 16;
  if (from <= to && to - from <= kVector && end - from >= kVector)
    return (matches<kVector>(from, wanted...) & ((1U << (to - from)) - 1)) == 0;
#endif
  return false;
}

/// The end of a start tag, and where the tag behind it begins; the end of the text for one that there is not.
struct TagEnds {
  const char* close;  ///< the next '>'
  const char* open;   ///< the next '<' behind it
};

/// Searches in [from, end). Mostly both are found at a look, where the second search need not wait for the
/// first.
inline TagEnds find_tag_ends(const char* from, const char* end) {
#ifdef __SSE2__
  constexpr int kVector = 16;
  if (end - from >= 2 * kVector) {
    const unsigned closes = matches<kVector>(from, '>') | matches<kVector>(from + kVector, '>') << kVector;
    unsigned opens = matches<kVector>(from, '<') | matches<kVector>(from + kVector, '<') << kVector;
    opens &= -(closes & -closes);  // not those before the first '>'
    if (opens != 0) return {from + __builtin_ctz(closes), from + __builtin_ctz(opens)};
  }
#endif
  const char* const close = find(from, end, '>');
  return {close, close == end ? end : find_behind_line_end(close + 1, end, '<')};
}

/// Whether two texts of that length are the same and have no quotation marks, character by character: the
/// second may end before, in a character that the first does not have.
inline bool same_unquoted_plainly(const char* one, const char* other, std::ptrdiff_t length) {
  for (; length > 0; --length, ++one, ++other) {
    if (*one != *other || is(*one, kQuote)) return false;
  }
  return true;
}

/// The same by sixteen characters at once where the processor has such vectors and both have as many before
/// `end`.
inline bool same_unquoted(const char* one, const char* other, std::ptrdiff_t length,
                          [[maybe_unused]] const char* end) {
#ifdef __SSE2__
  constexpr std::ptrdiff_t kVector = 16;
  if (length <= kVector && end - one >= kVector && end - other >= kVector) {
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(one));
    const __m128i same = _mm_cmpeq_epi8(text, _mm_loadu_si128(reinterpret_cast<const __m128i*>(other)));
    const __m128i quotes =
        _mm_cmpeq_epi8(text, _mm_set1_epi8('"')) | _mm_cmpeq_epi8(text, _mm_set1_epi8('\''));
    const int differ = ~_mm_movemask_epi8(_mm_andnot_si128(quotes, same));
    return (differ & ((1 << length) - 1)) == 0;
  }
#endif
  return same_unquoted_plainly(one, other, length);
}

}  // namespace xml_scan
