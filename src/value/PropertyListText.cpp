// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListText.h"

#include <cstdint>

#include "value/PropertyListCharacters.h"
#include "value/PropertyListScan.h"

namespace vanto::propertylist {

namespace {

using scan::startsWith;

struct ElementText {
  std::string_view name;
  const char* expectedEnd;
};

// In the order of PropertyListElement.
constexpr ElementText elements[] = {
    {"dict", "expected </dict>"},       {"array", "expected </array>"}, {"string", "expected </string>"},
    {"integer", "expected </integer>"}, {"real", "expected </real>"},   {"true", "expected </true>"},
    {"false", "expected </false>"},     {"data", "expected </data>"},   {"date", "expected </date>"},
    {"key", "expected </key>"},         {"plist", "expected </plist>"},
};

const ElementText& textOf(PropertyListElement element) noexcept {
  return elements[static_cast<unsigned>(element)];
}

struct Entity {
  std::string_view reference;
  char character;
};
constexpr Entity entities[] = {{"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}};

constexpr unsigned noDigit = 16;

unsigned digitOf(char byte, bool hexadecimal) noexcept {
  if (byte >= '0' && byte <= '9') return static_cast<unsigned>(byte - '0');
  if (hexadecimal && byte >= 'a' && byte <= 'f') return static_cast<unsigned>(byte - 'a') + 10;
  if (hexadecimal && byte >= 'A' && byte <= 'F') return static_cast<unsigned>(byte - 'A') + 10;
  return noDigit;
}

// One past the last code point stands for every number that is too large.
constexpr std::uint32_t tooLarge = 0x110000;

const char* resolveNumeric(PropertyListSource& source, const char* at, GrowingBytes& scratch) noexcept {
  const char* digits = at + 2;
  const bool hexadecimal = digits != source.end && *digits == 'x';
  if (hexadecimal) ++digits;
  std::uint32_t character = 0;
  const char* behind = digits;
  for (; behind != source.end; ++behind) {
    const unsigned digit = digitOf(*behind, hexadecimal);
    if (digit == noDigit) break;
    character = character * (hexadecimal ? 16 : 10) + digit;
    if (character > tooLarge) character = tooLarge;
  }
  if (behind == digits) return source.fail(behind, "expected the number of a character");
  if (behind == source.end || *behind != ';') return source.fail(behind, "expected ; at the end of the reference");
  if (!characters::isAllowed(character)) return source.fail(at, "a reference to a character that XML does not allow");
  scratch.advance(characters::encode(character, scratch.reserve(4)));
  return behind + 1;
}

const char* resolveReference(PropertyListSource& source, const char* at, GrowingBytes& scratch) noexcept {
  if (startsWith(at, source.end, "&#")) return resolveNumeric(source, at, scratch);
  const std::string_view rest(at, static_cast<std::size_t>(source.end - at));
  for (const Entity& entity : entities) {
    if (rest.starts_with(entity.reference)) {
      scratch.append({&entity.character, 1});
      return at + entity.reference.size();
    }
  }
  return source.fail(at, "expected one of the references &lt; &gt; &amp; &quot; &apos; or a numeric one");
}

// Skips the line end at `at`, where a carriage return stands.
const char* resolveLineEnd(const PropertyListSource& source, const char* at, GrowingBytes& scratch) noexcept {
  scratch.append("\n");
  return startsWith(at, source.end, "\r\n") ? at + 2 : at + 1;
}

const char* resolveSection(PropertyListSource& source, const char* at, GrowingBytes& scratch) noexcept {
  at += 9;
  const char* copied = at;
  while (!startsWith(at, source.end, "]]>")) {
    if (at == source.end) return source.fail(at, "expected ]]> at the end of the section");
    if (*at == '\r') {
      scratch.append({copied, at});
      at = copied = resolveLineEnd(source, at, scratch);
      continue;
    }
    const std::size_t length = characters::allowedLength(at, source.end);
    if (length == 0) return source.fail(at, markup::characterNotAllowed);
    at += length;
  }
  scratch.append({copied, at});
  return at + 3;
}

// Finds the first place at or behind `at` where text ends or has to be resolved.
const char* findMarkup(PropertyListSource& source, const char* at, PropertyListElement element) noexcept {
  for (;;) {
    at = scan::findTextStop(at, source.end);
    if (at == source.end) return source.fail(at, textOf(element).expectedEnd);
    if (*at == '<' || *at == '&' || *at == '\r') return at;
    if (startsWith(at, source.end, "]]>")) return source.fail(at, "]]> in a text");
    do {
      const std::size_t length = characters::allowedLength(at, source.end);
      if (length == 0) return source.fail(at, markup::characterNotAllowed);
      at += length;
    } while (at != source.end && static_cast<signed char>(*at) < 0);
  }
}

// Resolves what findMarkup() found at `at`.
const char* resolve(PropertyListSource& source, const char* at, PropertyListElement element,
                    GrowingBytes& scratch) noexcept {
  if (*at == '&') return resolveReference(source, at, scratch);
  if (*at == '\r') return resolveLineEnd(source, at, scratch);
  if (startsWith(at, source.end, "<![CDATA[")) return resolveSection(source, at, scratch);
  return markup::skipCommentOrInstruction(source, at, textOf(element).expectedEnd);
}

}  // namespace

std::string_view nameOf(PropertyListElement element) noexcept {
  return textOf(element).name;
}

const char* skipEndTag(PropertyListSource& source, const char* at, PropertyListElement element) noexcept {
  const std::string_view rest(at, static_cast<std::size_t>(source.end - at));
  const ElementText& expected = textOf(element);
  if (!rest.starts_with("</") || !rest.substr(2).starts_with(expected.name)) {
    return source.fail(at, expected.expectedEnd);
  }
  const char* behind = scan::skipBlanks(at + 2 + expected.name.size(), source.end);
  if (behind == source.end || *behind != '>') return source.fail(at, expected.expectedEnd);
  return behind + 1;
}

const char* readText(PropertyListSource& source, const char* at, PropertyListElement element, GrowingBytes& scratch,
                     Text& text) noexcept {
  const char* copied = at;
  text.isSource = true;
  scratch.clear();
  for (;;) {
    at = findMarkup(source, at, element);
    if (at == nullptr) return nullptr;
    if (startsWith(at, source.end, "</")) break;
    text.isSource = false;
    scratch.append({copied, at});
    at = copied = resolve(source, at, element, scratch);
    if (at == nullptr) return nullptr;
  }
  if (!text.isSource) scratch.append({copied, at});
  text.content = text.isSource ? std::string_view(copied, at) : scratch.text();
  return skipEndTag(source, at, element);
}

}  // namespace vanto::propertylist
