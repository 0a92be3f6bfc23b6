// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <VantoService/Bundle.h>
#include <VantoService/KorFunctions.h>
#include <VantoService/VantoServiceBundle.h>

#include "support/Values.h"

namespace vanto::testing {

/// Why a value cannot be converted.
enum class Refusal { None, Number, Kind };

/// A value of some kind, and what a converter makes of it, as its description reads.
struct SampleValue {
  std::string name;
  Object* value;
  std::string converted;
  Refusal refusal = Refusal::None;
};

inline PlistData* data(const std::vector<std::uint8_t>& bytes) {
  return PlistData::create(bytes).asTemporary();
}

inline PlistDate* date() {
  return PlistDate::create(0.0).asTemporary();
}

/// The number 3 of each subtype.
inline PlistNumber* numberOfSubtype(std::int32_t code) {
  alignas(8) std::array<std::byte, 8> bytes{};
  const auto subtype = static_cast<KorNumberType>(code);
  KorNumberGetValue(number(3), subtype, bytes.data());
  return PlistNumber::create(subtype, bytes.data()).asTemporary();
}

/// A value of each kind, mutable variants and all subtypes of numbers included, and objects that are no values. All are
/// temporaries.
inline std::vector<SampleValue> sampleValues() {
  std::vector<SampleValue> samples = {
      {"string", string("text"), "\"text\""},
      {"empty string", string(""), "\"\""},
      {"mutable string", mutableString("grows"), "\"grows\""},
      {"true", PlistBoolean::of(true), "true"},
      {"false", PlistBoolean::of(false), "false"},
      {"array", array({number(1)}), "[1]"},
      {"empty array", array({}), "[]"},
      {"mutable array", mutableArray({string("a")}), "[\"a\"]"},
      {"dictionary", dictionary({{string("a"), number(1)}}), "{\"a\": 1}"},
      {"empty dictionary", dictionary({}), "{}"},
      {"mutable dictionary", mutableDictionary({{string("b"), number(2)}}), "{\"b\": 2}"},
      {"data", data({1, 2, 3}), "3 bytes 010203"},
      {"empty data", data({}), "0 bytes"},
      {"date", date(), "", Refusal::Kind},
      {"service bundle", VantoServiceBundle::initWithBundle(nullptr).asTemporary(), "", Refusal::Kind},
  };
  for (std::int32_t code = 1; code <= 16; ++code) {
    const bool isRefused = code > 13;
    samples.push_back({"number of subtype " + std::to_string(code), numberOfSubtype(code), isRefused ? "" : "3",
                       isRefused ? Refusal::Number : Refusal::None});
  }
  return samples;
}

/// A place that a value can stand at. In the texts "%" stands for the value.
struct SamplePlace {
  std::string name;
  std::function<Object*(Object*)> around;
  std::string converted;
  std::string jobDataRefused;
  std::string ipcObjectRefused;
};

inline std::vector<SamplePlace> samplePlaces() {
  return {
      {"outermost", [](Object* value) { return value; }, "%", "(null)", "(null)"},
      {"only element", [](Object* value) -> Object* { return array({value}); }, "[%]", "[(null)]", "[]"},
      {"first element",
       [](Object* value) -> Object* {
         return array({value, number(1)});
       },
       "[%, 1]", "[(null), 1]", "[1]"},
      {"middle element",
       [](Object* value) -> Object* {
         return mutableArray({number(1), value, number(2)});
       },
       "[1, %, 2]", "[1, (null), 2]", "[1, 2]"},
      {"last element",
       [](Object* value) -> Object* {
         return array({number(1), value});
       },
       "[1, %]", "[1, (null)]", "[1]"},
      {"entry",
       [](Object* value) -> Object* {
         return dictionary({{string("a"), number(1)}, {string("k"), value}, {string("z"), number(2)}});
       },
       "{\"a\": 1, \"k\": %, \"z\": 2}", "{\"a\": 1, \"z\": 2}", "{\"a\": 1, \"z\": 2}"},
      {"deep inside",
       [](Object* value) -> Object* {
         return array({mutableDictionary({{string("k"), array({value})}}), number(1)});
       },
       "[{\"k\": [%]}, 1]", "[{\"k\": [(null)]}, 1]", "[{\"k\": []}, 1]"},
  };
}

/// `text` with `value` for its "%".
inline std::string filledIn(std::string text, const std::string& value) {
  const std::size_t place = text.find('%');
  return place == std::string::npos ? text : text.replace(place, 1, value);
}

}  // namespace vanto::testing
