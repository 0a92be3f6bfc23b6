// SPDX-License-Identifier: Apache-2.0
#include "vanto/JsonReader.h"

#include <cmath>
#include <limits>
#include <set>
#include <string_view>
#include <utility>

#include <VantoService/KorFunctions.h>
#include <VantoService/PlistArray.h>
#include <VantoService/PlistDate.h>
#include <VantoService/PlistNumber.h>

#include "vanto/JsonWords.h"
#include "vanto/LeafText.h"

namespace vanto::tool {
namespace {

/// What the other forms take. An object for a word is no container of its own, so a little more is let in here.
constexpr std::size_t mostNesting = 514;

bool isIntegerText(std::string_view text) noexcept {
  return text.find_first_of(".eE") == text.npos;
}

/// True for a text such as 1e-999: not zero, and yet read as zero.
bool isTooSmall(double value, std::string_view text) noexcept {
  return value == 0 && text.substr(0, text.find_first_of("eE")).find_first_of("123456789") != text.npos;
}

/// `value` when it is a number and no boolean.
PlistNumber* asNumber(Object* value) noexcept {
  return as<PlistBoolean>(value) == nullptr ? as<PlistNumber>(value) : nullptr;
}

Ref<PlistNumber> createNumber(std::int64_t code, const PlistNumber& value) {
  if (code < KorNumberSInt8Type || code > KorNumberGraphicsFloatType) return nullptr;
  const auto subtype = static_cast<KorNumberType>(code);
  // Room for the C value of any subtype.
  std::int64_t room = 0;
  if (!KorNumberGetValue(const_cast<PlistNumber*>(&value), subtype, &room)) return nullptr;
  return PlistNumber::create(subtype, &room);
}

}  // namespace

bool JsonReader::refuse(std::string message) {
  problem_.where = here();
  problem_.message = std::move(message);
  return false;
}

KeyPath JsonReader::here() const {
  if (open_.empty()) return {};
  const Frame& frame = open_.back();
  if (frame.container == Container::Array) return frame.where.element(frame.values.size());
  return frame.keys.size() > frame.values.size() ? frame.where.key(frame.keys.back()->text()) : frame.where;
}

bool JsonReader::begin(Container container) {
  if (open_.size() == mostNesting) return refuse("containers nest too deep");
  open_.push_back({container, here(), isUnderDictionaryWord(), {}, {}});
  return true;
}

bool JsonReader::key(const std::string& text) {
  Ref<PlistString> key = PlistString::create(text);
  if (!key) return refuse("a key that is no UTF-8");
  open_.back().keys.push_back(std::move(key));
  return true;
}

bool JsonReader::add(Ref<Object> value) {
  if (open_.empty()) {
    value_ = std::move(value);
  } else {
    open_.back().values.push_back(std::move(value));
  }
  return true;
}

bool JsonReader::addString(const std::string& text) {
  Ref<PlistString> string = PlistString::create(text);
  return string ? add(std::move(string)) : refuse("a string that is no UTF-8");
}

bool JsonReader::addReal(double value, const std::string& text) {
  // The parser takes an integer that is too large for a real.
  if (isIntegerText(text)) return refuse("an integer outside signed 64 bits");
  if (isTooSmall(value, text)) return refuse("a number so small that it would become zero");
  return add(PlistNumber::create(value));
}

bool JsonReader::end() {
  const Frame frame = std::move(open_.back());
  Ref<Object> value = frame.container == Container::Array ? finishArray(frame) : finishObject(frame);
  open_.pop_back();
  return value && add(std::move(value));
}

Ref<Object> JsonReader::finishArray(const Frame& frame) {
  std::vector<Object*> elements;
  elements.reserve(frame.values.size());
  for (const Ref<Object>& value : frame.values) elements.push_back(value.get());
  return PlistArray::create(elements);
}

bool JsonReader::isUnderDictionaryWord() const {
  if (open_.empty() || open_.back().container != Container::Object || open_.back().standsForItself) return false;
  return open_.back().keys.back()->isEqualToText(jsonword::dictionary);
}

Ref<Object> JsonReader::finishObject(const Frame& frame) {
  std::vector<PlistDictionary::Entry> entries;
  entries.reserve(frame.keys.size());
  std::set<std::string_view> seen;
  bool hasWord = false;
  for (std::size_t index = 0; index < frame.keys.size(); ++index) {
    if (!seen.insert(frame.keys[index]->text()).second) {
      problem_.where = frame.where.key(frame.keys[index]->text());
      problem_.message = "a key that comes twice";
      return nullptr;
    }
    entries.push_back({frame.keys[index].get(), frame.values[index].get()});
    hasWord = hasWord || jsonword::isWord(frame.keys[index]->text());
  }
  if (!hasWord || frame.standsForItself) return PlistDictionary::create(entries);
  problem_.where = frame.where;
  if (entries.size() == 1) return finishWord(std::string(entries[0].key->text()), *entries[0].value);
  problem_.message = "a key such as $data beside other keys; put the object under $dictionary";
  return nullptr;
}

Ref<Object> JsonReader::finishWord(const std::string& word, Object& content) {
  if (word == jsonword::dictionary) {
    if (as<PlistDictionary>(&content) != nullptr) return Ref<Object>::share(&content);
    problem_.message = "$dictionary without an object";
    return nullptr;
  }
  if (word == jsonword::number) return numberOf(content);
  return leafOf(word, content);
}

Ref<Object> JsonReader::numberOf(Object& content) {
  auto* parts = as<PlistDictionary>(&content);
  auto* subtype = parts == nullptr ? nullptr : asNumber(parts->valueForKey(jsonword::subtype));
  auto* value = parts == nullptr ? nullptr : asNumber(parts->valueForKey(jsonword::value));
  Ref<PlistNumber> number;
  if (subtype != nullptr && value != nullptr && parts->count() == 2) {
    number = createNumber(subtype->int64Value(), *value);
  }
  if (number && number->isReal() == value->isReal() && number->isEqual(value)) return number;
  problem_.message = "$number without a subtype (1 to 16) and a value that it can hold";
  return nullptr;
}

Ref<Object> JsonReader::leafOf(const std::string& word, Object& content) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  auto* text = as<PlistString>(&content);
  if (word == jsonword::real) {
    if (text != nullptr && text->isEqualToText("nan")) return PlistNumber::create(std::nan(""));
    if (text != nullptr && text->isEqualToText("inf")) return PlistNumber::create(infinity);
    if (text != nullptr && text->isEqualToText("-inf")) return PlistNumber::create(-infinity);
    problem_.message = "$real without nan, inf or -inf";
    return nullptr;
  }
  auto* seconds = asNumber(&content);
  if (word == jsonword::date && seconds != nullptr) return PlistDate::create(seconds->doubleValue());
  std::string reason = "no string";
  Ref<PlistValue> leaf;
  if (text != nullptr)
    leaf = createLeaf(word == jsonword::data ? LeafKind::Data : LeafKind::Date, text->text(), reason);
  if (!leaf) problem_.message = word + ": " + reason;
  return leaf;
}

}  // namespace vanto::tool
