// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <VantoService/PlistDictionary.h>

#include "vanto/JsonText.h"

namespace vanto::tool {

/// Builds a value from the parts of a JSON text, which it is told in their order. Each step gives false, with the
/// reason in the problem, for what is no property list.
class JsonReader {
 public:
  enum class Container : std::uint8_t { Object, Array };

  explicit JsonReader(JsonProblem& problem) noexcept : problem_(problem) {}

  bool begin(Container container);
  bool end();
  bool key(const std::string& text);
  bool add(Ref<Object> value);
  bool addString(const std::string& text);
  /// `text` is the number as it was written.
  bool addReal(double value, const std::string& text);
  bool refuse(std::string message);

  /// The value, once all was told.
  [[nodiscard]] Ref<PlistValue> takeValue() { return Ref<PlistValue>::share(as<PlistValue>(value_.get())); }

 private:
  struct Frame {
    Container container;
    KeyPath where;
    /// True for the object under "$dictionary", which stands for itself whatever its keys are.
    bool standsForItself;
    /// Of an object, as long as the values but while a value is awaited.
    std::vector<Ref<PlistString>> keys;
    std::vector<Ref<Object>> values;
  };

  [[nodiscard]] KeyPath here() const;
  [[nodiscard]] Ref<Object> finishArray(const Frame& frame);
  [[nodiscard]] Ref<Object> finishObject(const Frame& frame);
  /// The value that `word` and what stands under it are for.
  [[nodiscard]] Ref<Object> finishWord(const std::string& word, Object& content);
  [[nodiscard]] Ref<Object> numberOf(Object& content);
  [[nodiscard]] Ref<Object> leafOf(const std::string& word, Object& content);
  [[nodiscard]] bool isUnderDictionaryWord() const;

  JsonProblem& problem_;
  std::vector<Frame> open_;
  Ref<Object> value_;
};

}  // namespace vanto::tool
