// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListMarkup.h"

#include <string_view>

#include "value/PropertyListCharacters.h"
#include "value/PropertyListScan.h"

namespace vanto::markup {

namespace {

using scan::startsWith;

bool equalsIgnoringCase(std::string_view text, std::string_view lowerCase) noexcept {
  if (text.size() != lowerCase.size()) return false;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char byte = text[index];
    if ((byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + ('a' - 'A')) : byte) != lowerCase[index]) return false;
  }
  return true;
}

// Skips allowed characters up to the first place where `delimiter` stands.
template <std::size_t Size>
const char* skipUntil(PropertyListSource& source, const char* at, const char (&delimiter)[Size],
                      const char* expected) noexcept {
  while (!startsWith(at, source.end, delimiter)) {
    if (at == source.end) return source.fail(at, expected);
    const std::size_t length = characters::allowedLength(at, source.end);
    if (length == 0) return source.fail(at, characterNotAllowed);
    at += length;
  }
  return at;
}

const char* skipComment(PropertyListSource& source, const char* at) noexcept {
  at = skipUntil(source, at + 4, "--", "expected --> at the end of the comment");
  if (at == nullptr) return nullptr;
  if (!startsWith(at, source.end, "-->")) return source.fail(at, "-- inside a comment");
  return at + 3;
}

const char* skipInstruction(PropertyListSource& source, const char* at) noexcept {
  const char* target = at + 2;
  const char* behind = characters::skipName(target, source.end);
  if (behind == target) return source.fail(target, "expected the name of a processing instruction");
  if (equalsIgnoringCase({target, behind}, "xml")) {
    return source.fail(at, "an XML declaration that is not at the beginning");
  }
  if (startsWith(behind, source.end, "?>")) return behind + 2;
  if (behind == source.end || !scan::isBlank(*behind)) return source.fail(behind, "expected a blank or ?>");
  at = skipUntil(source, behind, "?>", "expected ?> at the end of the processing instruction");
  return at == nullptr ? nullptr : at + 2;
}

const char* skipRequiredBlanks(PropertyListSource& source, const char* at) noexcept {
  if (at == source.end || !scan::isBlank(*at)) return source.fail(at, "expected a blank");
  return scan::skipBlanks(at, source.end);
}

const char* readQuoted(PropertyListSource& source, const char* at, std::string_view& value) noexcept {
  if (at == source.end || (*at != '"' && *at != '\'')) return source.fail(at, "expected a quotation mark");
  const char quote = *at++;
  const char* first = at;
  while (at == source.end || *at != quote) {
    const std::size_t length = characters::allowedLength(at, source.end);
    if (length == 0)
      return source.fail(at, at == source.end ? "expected a closing quotation mark" : characterNotAllowed);
    at += length;
  }
  value = {first, at};
  return at + 1;
}

bool isVersion(std::string_view value) noexcept {
  return value == "1.0";
}
bool isEncoding(std::string_view value) noexcept {
  return equalsIgnoringCase(value, "utf-8");
}
bool isStandalone(std::string_view value) noexcept {
  return value == "yes" || value == "no";
}

// A pseudo-attribute of the XML declaration, behind blanks.
struct Part {
  std::string_view name;
  bool (*accepts)(std::string_view value) noexcept;
  const char* expected;
};
constexpr Part parts[] = {{"version", isVersion, "expected version 1.0 of XML"},
                          {"encoding", isEncoding, "expected the encoding UTF-8"},
                          {"standalone", isStandalone, "expected yes or no"}};

// Reads the part at `at` where it stands; a missing one is skipped.
const char* readPart(PropertyListSource& source, const char* at, const Part& part) noexcept {
  const char* name = scan::skipBlanks(at, source.end);
  const char* behind = characters::skipName(name, source.end);
  if (std::string_view(name, behind) != part.name) return at;
  if (name == at) return source.fail(at, "expected a blank");
  std::string_view value;
  const char* next = readAttributeValue(source, behind, value);
  if (next != nullptr && !part.accepts(value)) return source.fail(value.data(), part.expected);
  return next;
}

const char* skipDeclaration(PropertyListSource& source, const char* at) noexcept {
  for (const Part& part : parts) {
    const char* behind = readPart(source, at, part);
    if (behind == nullptr) return nullptr;
    if (&part == parts && behind == at) return source.fail(scan::skipBlanks(at, source.end), "expected version");
    at = behind;
  }
  at = scan::skipBlanks(at, source.end);
  if (!startsWith(at, source.end, "?>")) return source.fail(at, "expected ?> at the end of the XML declaration");
  return at + 2;
}

bool isPublicIdentifier(std::string_view value) noexcept {
  for (const char byte : value) {
    const bool letter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
    const bool digit = byte >= '0' && byte <= '9';
    const bool mark = std::string_view(" \r\n-'()+,./:=?;!*#@$_%").find(byte) != std::string_view::npos;
    if (!letter && !digit && !mark) return false;
  }
  return true;
}

// Skips SYSTEM "…" or PUBLIC "…" "…" at `at`, if one stands there.
const char* skipExternalIdentifier(PropertyListSource& source, const char* at) noexcept {
  std::string_view value;
  if (startsWith(at, source.end, "PUBLIC")) {
    at = skipRequiredBlanks(source, at + 6);
    if (at != nullptr) at = readQuoted(source, at, value);
    if (at == nullptr) return nullptr;
    if (!isPublicIdentifier(value)) return source.fail(value.data(), "expected a public identifier");
  } else if (startsWith(at, source.end, "SYSTEM")) {
    at += 6;
  } else {
    return at;
  }
  at = skipRequiredBlanks(source, at);
  return at == nullptr ? nullptr : readQuoted(source, at, value);
}

const char* skipDocumentType(PropertyListSource& source, const char* at) noexcept {
  at = skipRequiredBlanks(source, at + 9);
  if (at == nullptr) return nullptr;
  const char* behind = characters::skipName(at, source.end);
  if (behind == at) return source.fail(at, "expected the name of the document type");
  at = scan::skipBlanks(behind, source.end);
  if (at != behind) at = skipExternalIdentifier(source, at);
  if (at == nullptr) return nullptr;
  at = scan::skipBlanks(at, source.end);
  if (at != source.end && *at == '[') return source.fail(at, "a document type declaration with an internal subset");
  if (at == source.end || *at != '>') return source.fail(at, "expected > at the end of the document type declaration");
  return at + 1;
}

}  // namespace

const char* readAttributeValue(PropertyListSource& source, const char* at, std::string_view& value) noexcept {
  at = scan::skipBlanks(at, source.end);
  if (at == source.end || *at != '=') return source.fail(at, "expected =");
  return readQuoted(source, scan::skipBlanks(at + 1, source.end), value);
}

const char* skipCommentOrInstruction(PropertyListSource& source, const char* at, const char* expected) noexcept {
  if (startsWith(at, source.end, "<!--")) return skipComment(source, at);
  if (startsWith(at, source.end, "<?")) return skipInstruction(source, at);
  return source.fail(at, expected);
}

const char* skipMiscellany(PropertyListSource& source, const char* at) noexcept {
  for (;;) {
    at = scan::skipBlanks(at, source.end);
    if (!startsWith(at, source.end, "<!--") && !startsWith(at, source.end, "<?")) return at;
    at = skipCommentOrInstruction(source, at, "");
    if (at == nullptr) return nullptr;
  }
}

const char* skipProlog(PropertyListSource& source) noexcept {
  if (startsWith(source.begin, source.end, "\xEF\xBB\xBF")) source.begin += 3;
  const char* at = source.begin;
  if (startsWith(at, source.end, "<?xml") && characters::skipName(at + 2, source.end) == at + 5) {
    at = skipDeclaration(source, at + 5);
  }
  if (at != nullptr) at = skipMiscellany(source, at);
  if (at == nullptr || !startsWith(at, source.end, "<!DOCTYPE")) return at;
  at = skipDocumentType(source, at);
  return at == nullptr ? nullptr : skipMiscellany(source, at);
}

}  // namespace vanto::markup
