// SPDX-License-Identifier: Apache-2.0
#include "vanto/ValueTree.h"

#include <cmath>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>

#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr std::size_t shownBytes = 16;

std::string quoted(std::string_view text) {
  return '"' + visible(text) + '"';
}

std::string numberLine(PlistNumber& number) {
  std::string text = visible(number.description()->text());
  const bool looksLikeInteger = text.find_first_not_of("-0123456789") == text.npos;
  return number.isReal() && looksLikeInteger ? text + ".0" : text;
}

std::string dataLine(const PlistData& data) {
  std::string text = std::to_string(data.length()) + (data.length() == 1 ? " byte" : " bytes");
  if (data.length() != 0) text += ' ';
  for (std::size_t index = 0; index < data.length() && index < shownBytes; ++index) {
    text += "0123456789abcdef"[data.bytes()[index] >> 4];
    text += "0123456789abcdef"[data.bytes()[index] & 15];
  }
  return data.length() > shownBytes ? text + "…" : text;
}

bool isFilled(Object* value) noexcept {
  auto* array = as<PlistArray>(value);
  auto* dictionary = as<PlistDictionary>(value);
  return (array != nullptr && array->count() != 0) || (dictionary != nullptr && dictionary->count() != 0);
}

void appendMembers(TreeText& text, Object* value, std::size_t level);

void appendEntry(TreeText& text, const std::string& name, Object* value, std::size_t level) {
  if (!isFilled(value)) {
    text.add(level, name + ": " + leafLine(value));
  } else if (text.add(level, name + ':')) {
    appendMembers(text, value, level + 1);
  }
}

std::string keyName(const PlistString& key) {
  const bool needsQuotes = key.text().empty() || key.text().find_first_of(":\" ") != std::string_view::npos;
  return needsQuotes ? quoted(key.text()) : visible(key.text());
}

/// What a container holds.
void appendMembers(TreeText& text, Object* value, std::size_t level) {
  if (auto* array = as<PlistArray>(value)) {
    for (std::size_t index = 0; index < array->count() && !text.isFull(); ++index) {
      appendEntry(text, "[" + std::to_string(index) + "]", array->at(index), level);
    }
    return;
  }
  auto* dictionary = as<PlistDictionary>(value);
  const PlistArray* keys = dictionary->allKeys();
  for (std::size_t index = 0; index < keys->count() && !text.isFull(); ++index) {
    const auto* key = as<PlistString>(keys->at(index));
    appendEntry(text, keyName(*key), dictionary->valueForKey(key), level);
  }
}

}  // namespace

std::string leafLine(Object* value) {
  if (value == nullptr) return "(nothing)";
  if (auto* string = as<PlistString>(value)) return quoted(string->text());
  if (auto* boolean = as<PlistBoolean>(value)) return boolean->value() ? "true" : "false";
  if (auto* number = as<PlistNumber>(value)) return numberLine(*number);
  if (auto* data = as<PlistData>(value)) return dataLine(*data);
  if (as<PlistArray>(value) != nullptr) return "[]";
  if (as<PlistDictionary>(value) != nullptr) return "{}";
  return visible(value->description()->text());
}

std::string treeOf(Object* value, std::size_t level, TreeText text) {
  if (isFilled(value)) {
    appendMembers(text, value, level);
  } else {
    text.add(level, leafLine(value));
  }
  return text.take();
}

}  // namespace vanto::tool
