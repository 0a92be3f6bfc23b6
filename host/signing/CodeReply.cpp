// SPDX-License-Identifier: Apache-2.0
#include "signing/CodeReply.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>

#include "ipc/ArrayObject.h"
#include "ipc/DataObject.h"
#include "ipc/DictionaryObject.h"
#include "ipc/ErrorObject.h"
#include "ipc/ScalarObject.h"
#include "ipc/StringObject.h"
#include "signing/DigestText.h"
#include "value/PropertyListReader.h"
#include "value/limits.h"

namespace vanto {

namespace {

constexpr std::string_view failureKeys[] = {"reason", "status"};
constexpr std::string_view factsKeys[] = {"device", "digest", "entitlements", "fingerprint", "identifier",
                                          "inode",  "reason", "signers",      "status",      "valid"};

/// Keys that begin so say nothing that a service has to understand.
constexpr std::string_view additionPrefix = "x-";

/// The beginning of a text, without a part of a character at its end.
std::string_view shortened(std::string_view text) noexcept {
  if (text.size() <= limits::codeTextBytes) return text;
  std::size_t length = limits::codeTextBytes;
  while (length != 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  return text.substr(0, length);
}

VexStatus statusOf(vanto_error_code_t code) noexcept {
  switch (code) {
    case VANTO_ERROR_TIMED_OUT:
      return VexStatusTimedOut;
    case VANTO_ERROR_FULL:
      return VexStatusBusy;
    default:
      return VexStatusUnavailable;
  }
}

CodeReply failed(VexStatus status, std::string_view reason) {
  return {status, {}, std::string(shortened(reason))};
}

/// Takes a reply apart. Whatever is wrong is noted, and what was missed has its empty value; who reads looks at the
/// notes at the end.
class ReplyReader {
 public:
  explicit ReplyReader(const DictionaryObject& reply) noexcept : reply_(reply) {}

  [[nodiscard]] CodeReply read();

 private:
  [[nodiscard]] CodeReply readFailure(std::int64_t status);
  [[nodiscard]] CodeFacts readFacts();
  void readSignature(CodeFacts& facts);
  void checkSignature();
  void readSigners(CodeFacts& facts);
  void readEntitlements(CodeFacts& facts);
  void checkKeys(std::span<const std::string_view> known);

  /// The value under `key`; null, which is noted, when it is not there or of another kind.
  template <typename T>
  [[nodiscard]] const T* required(std::string_view key) {
    const T* value = ofKind<T>(reply_.valueForKey(key));
    if (value == nullptr) note(key, "is missing or of another kind");
    return value;
  }
  /// The same for one that need not be there.
  template <typename T>
  [[nodiscard]] const T* optional(std::string_view key) {
    return reply_.valueForKey(key) == nullptr ? nullptr : required<T>(key);
  }

  [[nodiscard]] std::int64_t integer(std::string_view key);
  [[nodiscard]] std::string text(std::string_view key);
  /// The same, noted when it is empty.
  [[nodiscard]] std::string filledText(std::string_view key);
  [[nodiscard]] std::span<const std::uint8_t> bytes(std::string_view key, const DataObject* data);

  /// The first note counts.
  void note(std::string_view key, std::string_view problem);

  const DictionaryObject& reply_;
  std::string problem_;
};

CodeReply ReplyReader::read() {
  CodeReply reply;
  const std::int64_t status = integer("status");
  if (status != 0) {
    reply = readFailure(status);
  } else {
    reply = {0, readFacts(), {}};
  }
  return problem_.empty() ? reply : failed(VexStatusUnavailable, "wrong reply: " + problem_);
}

CodeReply ReplyReader::readFailure(std::int64_t status) {
  checkKeys(failureKeys);
  if (status > 0 || status < std::numeric_limits<VexStatus>::min()) note("status", "is none that there is");
  return failed(static_cast<VexStatus>(status), filledText("reason"));
}

CodeFacts ReplyReader::readFacts() {
  checkKeys(factsKeys);
  CodeFacts facts;
  const auto* valid = required<BoolObject>("valid");
  facts.isValid = valid != nullptr && valid->value();
  const std::span<const std::uint8_t> digest = bytes("digest", required<DataObject>("digest"));
  if (digest.size() == digestBytes) {
    facts.digestHex = digestText(digest);
  } else {
    note("digest", "has not 32 bytes");
  }
  facts.device = integer("device");
  facts.inode = integer("inode");
  if (facts.isValid) {
    readSignature(facts);
  } else {
    facts.reason = filledText("reason");
    checkSignature();
  }
  return facts;
}

void ReplyReader::readSignature(CodeFacts& facts) {
  facts.identifier = filledText("identifier");
  readSigners(facts);
  readEntitlements(facts);
  if (!optional<StringObject>("reason")) return;
  if (!text("reason").empty()) note("reason", "is there for valid code");
}

/// What a signature that does not count may say: anything of the right kinds.
void ReplyReader::checkSignature() {
  for (const std::string_view key : {"identifier", "fingerprint"}) {
    if (optional<StringObject>(key) != nullptr) static_cast<void>(text(key));
  }
  static_cast<void>(optional<ArrayObject>("signers"));
  static_cast<void>(optional<DataObject>("entitlements"));
}

void ReplyReader::readSigners(CodeFacts& facts) {
  const std::string fingerprint = text("fingerprint");
  if (!isDigestText(fingerprint) || canonicalDigestText(fingerprint) != fingerprint) {
    note("fingerprint", "has not 64 lower-case hexadecimal digits");
  }
  facts.signerNames.push_back(fingerprint);
  const auto* names = required<ArrayObject>("signers");
  if (names == nullptr) return;
  if (names->count() > limits::codeSignerNames) return note("signers", "are too many");
  for (const vanto_object* element : names->elements()) {
    const auto* name = ofKind<StringObject>(element);
    if (name == nullptr || name->text().empty() || name->text().size() > limits::codeTextBytes) {
      return note("signers", "hold what is no name");
    }
    // A name that looks like the fingerprint of a key would speak for that key.
    if (!isDigestText(name->text())) facts.signerNames.emplace_back(name->text());
  }
}

void ReplyReader::readEntitlements(CodeFacts& facts) {
  const auto* data = optional<DataObject>("entitlements");
  if (data == nullptr || data->length() == 0) return;
  if (data->length() > limits::codeEntitlementsBytes) return note("entitlements", "are too long");
  const Ref<PlistValue> list = createPropertyListFromXML(bytes("entitlements", data), nullptr);
  facts.entitlements = Ref<PlistDictionary>::share(as<PlistDictionary>(list.get()));
  if (!facts.entitlements) note("entitlements", "are no dictionary in XML");
}

void ReplyReader::checkKeys(std::span<const std::string_view> known) {
  DictionaryObject::Cursor cursor(reply_);
  while (const DictionaryObject::Entry* entry = cursor.next()) {
    const std::string_view key = entry->key.text();
    const bool isKnown = key.starts_with(additionPrefix) || std::ranges::find(known, key) != known.end();
    if (!isKnown) return note(key, "is unknown");
  }
}

std::int64_t ReplyReader::integer(std::string_view key) {
  const auto* number = required<Int64Object>(key);
  return number == nullptr ? 0 : number->value();
}

std::string ReplyReader::text(std::string_view key) {
  const auto* string = required<StringObject>(key);
  if (string == nullptr) return {};
  if (string->text().size() <= limits::codeTextBytes) return std::string(string->text());
  note(key, "is too long");
  return {};
}

std::string ReplyReader::filledText(std::string_view key) {
  std::string result = text(key);
  if (result.empty()) note(key, "is empty");
  return result;
}

std::span<const std::uint8_t> ReplyReader::bytes(std::string_view key, const DataObject* data) {
  if (data == nullptr || data->length() == 0) return {};
  const std::uint8_t* first = data->bytes();
  if (first != nullptr) return {first, data->length()};
  note(key, "cannot be mapped");
  return {};
}

void ReplyReader::note(std::string_view key, std::string_view problem) {
  if (problem_.empty()) problem_ = std::string(key) + " " + std::string(problem);
}

}  // namespace

CodeReply failedCodeReply(VexStatus status, std::string_view reason) {
  return failed(status, reason);
}

CodeReply decodeCodeReply(vanto_object_t reply) {
  if (const auto* error = ofKind<ErrorObject>(reply)) {
    return failed(statusOf(error->code()), error->text());
  }
  const auto* dictionary = ofKind<DictionaryObject>(reply);
  if (dictionary == nullptr) return failed(VexStatusUnavailable, "wrong reply: it is no dictionary");
  return ReplyReader(*dictionary).read();
}

}  // namespace vanto
