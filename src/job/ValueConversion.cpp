// SPDX-License-Identifier: Apache-2.0
#include "job/ValueConversion.h"

#include <optional>
#include <vector>

#include <VantoService/KorFunctions.h>

#include "value/ValueStorage.h"

namespace vanto {
namespace {

using Node = ConversionForm::Node;

// Codes of number subtypes, as sets of bits.
constexpr std::uint32_t integerSubtypes = 3998;
constexpr std::uint32_t realSubtypes = 12384;
/// Numbers of a larger code are refused, integers among them too.
constexpr std::uint32_t largestSubtype = 13;

bool isAmong(std::uint32_t subtypes, KorNumberType subtype) noexcept {
  const auto code = static_cast<std::uint32_t>(subtype);
  return code <= largestSubtype && (subtypes >> code & 1) != 0;
}

KorTypeID kindOf(Object* value) noexcept {
  return value == nullptr ? KorTypeID{NoKind} : KorGetTypeID(value);
}

Node convertData(PlistData* data, const ConversionForm& form) {
  return form.makeData(KorDataGetBytePtr(data), KorDataGetLength(data));
}

Node convertNumber(PlistNumber* number, const ConversionForm& form) {
  const KorNumberType subtype = KorNumberGetType(number);
  if (isAmong(integerSubtypes, subtype)) {
    std::int64_t value = 0;
    static_cast<void>(KorNumberGetValue(number, KorNumberLongLongType, &value));
    return form.makeInteger(value);
  }
  if (isAmong(realSubtypes, subtype)) {
    double value = 0;
    static_cast<void>(KorNumberGetValue(number, KorNumberDoubleType, &value));
    return form.makeReal(value);
  }
  form.reportNumber();
  return nullptr;
}

/// A container of the source and what has been made of it so far.
class OpenContainer {
 public:
  OpenContainer(PlistArray& array, Node made) noexcept : made_(made), array_(&array) {}
  OpenContainer(PlistDictionary& dictionary, Node made) noexcept : made_(made), entries_(dictionary) {}

  [[nodiscard]] Node made() const noexcept { return made_; }

  /// Moves to the next element that is no hole; null at the end.
  [[nodiscard]] Object* next() noexcept {
    if (entries_) return entries_->next(entry_) ? entry_.value : nullptr;
    while (index_ < KorArrayGetCount(array_)) {
      if (Object* element = KorArrayGetValueAtIndex(array_, index_++)) return element;
    }
    return nullptr;
  }

  /// Puts what was made of that element.
  void put(Node node, const ConversionForm& form) const {
    if (entries_) return form.putEntry(made_, entry_.key, node);
    form.putElement(made_, index_ - 1, node);
  }

 private:
  Node made_;
  /// Null for a dictionary.
  PlistArray* array_ = nullptr;
  /// Behind the element under way.
  std::size_t index_ = 0;
  /// Of a dictionary only.
  std::optional<PlistDictionary::Cursor> entries_;
  PlistDictionary::Entry entry_{};
};

class Conversion {
 public:
  explicit Conversion(const ConversionForm& form) noexcept : form_(form) {}

  [[nodiscard]] Node run(Object* value) {
    if (!opens(value)) return leaf(value);
    while (true) {
      Object* child = open_.back().next();
      if (child == nullptr) {
        const Node finished = open_.back().made();
        open_.pop_back();
        if (open_.empty()) return finished;
        open_.back().put(finished, form_);
      } else if (!opens(child)) {
        open_.back().put(leaf(child), form_);
      }
    }
  }

 private:
  /// Opens a container; false for what is none.
  [[nodiscard]] bool opens(Object* value) {
    switch (kindOf(value)) {
      case ArrayKind:
        makeRoom();
        open_.emplace_back(*as<PlistArray>(value), form_.makeArray());
        return true;
      case DictionaryKind:
        makeRoom();
        open_.emplace_back(*as<PlistDictionary>(value), form_.makeDictionary());
        return true;
      default:
        return false;
    }
  }

  void makeRoom() {
    // Few values are deeper. Leaves alone, such as keys, need no room at all.
    constexpr std::size_t usualDepth = 4;
    if (open_.capacity() == 0) open_.reserve(usualDepth);
  }

  [[nodiscard]] Node leaf(Object* value) const {
    switch (kindOf(value)) {
      case StringKind:
        return form_.makeString(ConvertedText(*as<PlistString>(value)).utf8);
      case BooleanKind:
        return form_.makeBoolean(KorBooleanGetValue(as<PlistBoolean>(value)));
      case DataKind:
        return convertData(as<PlistData>(value), form_);
      case NumberKind:
        return convertNumber(as<PlistNumber>(value), form_);
      default:
        form_.reportKind();
        return nullptr;
    }
  }

  const ConversionForm& form_;
  std::vector<OpenContainer> open_;
};

}  // namespace

ConvertedText::ConvertedText(PlistString& string) noexcept {
  // What cannot be converted leaves the buffer as it is.
  utf8[0] = '\0';
  static_cast<void>(KorStringGetCString(&string, utf8, capacity, KorStringEncodingUTF8));
}

Node convertValue(Object* value, const ConversionForm& form) {
  return Conversion(form).run(value);
}

}  // namespace vanto
