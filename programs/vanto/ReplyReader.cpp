// SPDX-License-Identifier: Apache-2.0
#include "vanto/ReplyReader.h"

#include <utility>

namespace vanto::tool {
namespace {

const char* nameOf(vanto_kind_t kind) noexcept {
  switch (kind) {
    case VANTO_KIND_STRING:
      return "string";
    case VANTO_KIND_BOOL:
      return "bool";
    case VANTO_KIND_INT64:
      return "int64";
    case VANTO_KIND_ARRAY:
      return "array";
    default:
      return "dictionary";
  }
}

std::string quoted(const char* key) {
  return std::string("\"") + key + '"';
}

std::string textIn(vanto_object_t string) {
  return string == nullptr ? std::string()
                           : std::string(vanto_string_get_text(string), vanto_string_get_length(string));
}

}  // namespace

ReplyReader::ReplyReader(vanto_object_t dictionary, std::string place)
    : dictionary_(dictionary), place_(std::move(place)) {
  if (vanto_kind(dictionary) != VANTO_KIND_DICTIONARY) fail("no dictionary");
}

void ReplyReader::fail(const std::string& problem) {
  if (!problem_.empty()) return;
  problem_ = place_.empty() ? problem : problem + " in " + place_;
}

vanto_object_t ReplyReader::valueOf(const char* key, vanto_kind_t kind, bool isNeeded) {
  const vanto_object_t value = vanto_dictionary_get_value(dictionary_, key);
  if (vanto_kind(value) == kind) return value;
  if (value != nullptr || isNeeded) fail(std::string("no ") + nameOf(kind) + ' ' + quoted(key));
  return nullptr;
}

std::string ReplyReader::text(const char* key) {
  return textIn(valueOf(key, VANTO_KIND_STRING, true));
}

std::int64_t ReplyReader::integer(const char* key) {
  return vanto_int64_get_value(valueOf(key, VANTO_KIND_INT64, true));
}

bool ReplyReader::flag(const char* key) {
  return vanto_bool_get_value(valueOf(key, VANTO_KIND_BOOL, true));
}

std::optional<std::string> ReplyReader::textIfAny(const char* key) {
  const vanto_object_t value = valueOf(key, VANTO_KIND_STRING, false);
  return value == nullptr ? std::nullopt : std::optional(textIn(value));
}

std::optional<std::int64_t> ReplyReader::integerIfAny(const char* key) {
  const vanto_object_t value = valueOf(key, VANTO_KIND_INT64, false);
  return value == nullptr ? std::nullopt : std::optional(vanto_int64_get_value(value));
}

void ReplyReader::readElement(vanto_object_t element, const std::string& place,
                              const std::function<void(ReplyReader&)>& read) {
  ReplyReader reader(element, place_.empty() ? place : place_ + '.' + place);
  if (reader.isFine()) read(reader);
  if (problem_.empty()) problem_ = reader.problem();
}

void ReplyReader::dictionaryIfAny(const char* key, const std::function<void(ReplyReader&)>& read) {
  const vanto_object_t value = valueOf(key, VANTO_KIND_DICTIONARY, false);
  if (value != nullptr) readElement(value, quoted(key), read);
}

void ReplyReader::eachOf(const char* key, const std::function<void(ReplyReader&)>& read) {
  const vanto_object_t array = valueOf(key, VANTO_KIND_ARRAY, true);
  for (std::size_t index = 0; index < vanto_array_get_count(array) && isFine(); ++index) {
    readElement(vanto_array_get_value(array, index), quoted(key) + '[' + std::to_string(index) + ']', read);
  }
}

}  // namespace vanto::tool
