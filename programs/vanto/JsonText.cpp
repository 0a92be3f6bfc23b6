// SPDX-License-Identifier: Apache-2.0
#include "vanto/JsonText.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDate.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>

#include "vanto/Indentation.h"
#include "vanto/JsonReader.h"
#include "vanto/JsonWords.h"
#include "vanto/LeafText.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

using nlohmann::json;

constexpr std::size_t indentation = 2;

/// Makes JSON of values. Steps give none for what JSON cannot carry, and leave the reason in `problem_`.
class Writer {
 public:
  explicit Writer(JsonProblem& problem) noexcept : problem_(problem) {}

  [[nodiscard]] std::optional<json> valueOf(Object* value, const KeyPath& where) {
    if (auto* boolean = as<PlistBoolean>(value)) return json(boolean->value());
    if (auto* number = as<PlistNumber>(value)) return number_(*number);
    if (auto* string = as<PlistString>(value)) return json(std::string(string->text()));
    if (auto* date = as<PlistDate>(value)) return date_(*date, where);
    if (auto* data = as<PlistData>(value)) return json{{jsonword::data, leafText(*data, problem_.message)}};
    if (auto* array = as<PlistArray>(value)) return array_(*array, where);
    if (auto* dictionary = as<PlistDictionary>(value)) return dictionary_(*dictionary, where);
    return fail(where, value == nullptr ? "an array with a hole" : "an object that is no property-list value");
  }

 private:
  std::nullopt_t fail(const KeyPath& where, std::string message) {
    problem_.where = where;
    problem_.message = std::move(message);
    return std::nullopt;
  }

  static json number_(const PlistNumber& number) {
    const bool isUsual = number.subtype() == KorNumberSInt64Type || number.subtype() == KorNumberFloat64Type;
    json value = number.isReal() ? real_(number.doubleValue()) : json(number.int64Value());
    if (isUsual) return value;
    return {{jsonword::number, {{jsonword::subtype, static_cast<int>(number.subtype())}, {jsonword::value, value}}}};
  }

  static json real_(double value) {
    if (std::isnan(value)) return {{jsonword::real, "nan"}};
    if (std::isinf(value)) return {{jsonword::real, value < 0 ? "-inf" : "inf"}};
    return value;
  }

  /// A date that XML can carry has its text, another its seconds.
  std::optional<json> date_(const PlistDate& date, const KeyPath& where) {
    std::string reason;
    const std::string text = leafText(date, reason);
    if (!text.empty()) return json{{jsonword::date, text}};
    if (!std::isfinite(date.secondsSince1970())) return fail(where, "a date that is no time");
    return json{{jsonword::date, date.secondsSince1970()}};
  }

  std::optional<json> array_(const PlistArray& array, const KeyPath& where) {
    json result = json::array();
    for (std::size_t index = 0; index < array.count(); ++index) {
      std::optional<json> element = valueOf(array.at(index), where.element(index));
      if (!element) return std::nullopt;
      result.push_back(*std::move(element));
    }
    return result;
  }

  std::optional<json> dictionary_(const PlistDictionary& dictionary, const KeyPath& where) {
    json result = json::object();
    bool hasWord = false;
    PlistDictionary::Cursor cursor(dictionary);
    PlistDictionary::Entry entry{};
    while (cursor.next(entry)) {
      std::optional<json> value = valueOf(entry.value, where.key(entry.key->text()));
      if (!value) return std::nullopt;
      result[std::string(entry.key->text())] = *std::move(value);
      hasWord = hasWord || jsonword::isWord(entry.key->text());
    }
    return hasWord ? json{{jsonword::dictionary, std::move(result)}} : result;
  }

  JsonProblem& problem_;
};

/// Hands what the parser finds to the reader.
class Events final : public nlohmann::json_sax<json> {
 public:
  explicit Events(JsonReader& reader) noexcept : reader_(reader) {}

  bool null() override { return reader_.refuse("null has no counterpart; leave the entry out"); }
  bool boolean(bool value) override { return reader_.add(Ref<Object>::share(PlistBoolean::of(value))); }
  bool number_integer(number_integer_t value) override { return reader_.add(PlistNumber::create(value)); }
  bool number_unsigned(number_unsigned_t value) override {
    if (!std::in_range<std::int64_t>(value)) return reader_.refuse("an integer outside signed 64 bits");
    return reader_.add(PlistNumber::create(static_cast<std::int64_t>(value)));
  }
  bool number_float(number_float_t value, const string_t& text) override { return reader_.addReal(value, text); }
  bool string(string_t& text) override { return reader_.addString(text); }
  bool binary(binary_t&) override { return false; }
  bool start_object(std::size_t) override { return reader_.begin(JsonReader::Container::Object); }
  bool key(string_t& text) override { return reader_.key(text); }
  bool end_object() override { return reader_.end(); }
  bool start_array(std::size_t) override { return reader_.begin(JsonReader::Container::Array); }
  bool end_array() override { return reader_.end(); }
  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception& error) override {
    position_ = position;
    message_ = error.what();
    return false;
  }

  /// Of the first byte that does not fit, from 1; 0 when the text is JSON.
  [[nodiscard]] std::size_t position() const noexcept { return position_; }
  /// What the parser said.
  [[nodiscard]] const std::string& message() const noexcept { return message_; }

 private:
  JsonReader& reader_;
  std::size_t position_ = 0;
  std::string message_;
};

void findPlace(std::string_view text, std::size_t position, JsonProblem& problem) {
  const std::string_view before = text.substr(0, position == 0 ? 0 : position - 1);
  problem.line = 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
  const std::size_t lineEnd = before.rfind('\n');
  problem.column = before.size() - (lineEnd == before.npos ? 0 : lineEnd + 1) + 1;
}

/// The part of the parser's message behind its own account of the place.
std::string reasonOf(const std::string& message) {
  const std::size_t colon = message.find(": ");
  return visible(colon == message.npos ? message : message.substr(colon + 2));
}

}  // namespace

std::string jsonText(const Object& value, JsonProblem& problem) {
  const std::optional<json> tree = Writer(problem).valueOf(const_cast<Object*>(&value), KeyPath());
  if (!tree) return {};
  // Blanks can make a text hundreds of times as long as the document it was made of.
  const bool isTooDeep = indentsBeyond(const_cast<Object*>(&value), indentation);
  return visibleJson(tree->dump(isTooDeep ? -1 : static_cast<int>(indentation), ' ', false)) + "\n";
}

std::string jsonLine(const Object& value, JsonProblem& problem) {
  const std::optional<json> tree = Writer(problem).valueOf(const_cast<Object*>(&value), KeyPath());
  return tree ? visibleJson(tree->dump(-1, ' ', false)) + "\n" : std::string();
}

Ref<PlistValue> createFromJson(std::string_view text, JsonProblem& problem) {
  JsonReader reader(problem);
  Events events(reader);
  if (json::sax_parse(text.begin(), text.end(), &events)) return reader.takeValue();
  if (events.position() != 0) {
    findPlace(text, events.position(), problem);
    problem.message = "no JSON: " + reasonOf(events.message());
  }
  return nullptr;
}

}  // namespace vanto::tool
