// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <VantoService/vanto.h>

namespace vanto::tool {

/// Reads a dictionary that another process sent, of which nothing can be taken for granted. What is missing or of
/// another kind gives an empty value, and the first such entry is the problem. The dictionary outlives its reader.
class ReplyReader {
 public:
  /// `place` says where the dictionary stands in what was sent; empty for all of it.
  explicit ReplyReader(vanto_object_t dictionary, std::string place = {});

  [[nodiscard]] std::string text(const char* key);
  [[nodiscard]] std::int64_t integer(const char* key);
  [[nodiscard]] bool flag(const char* key);
  /// None where there is no such entry, which is no problem.
  [[nodiscard]] std::optional<std::string> textIfAny(const char* key);
  [[nodiscard]] std::optional<std::int64_t> integerIfAny(const char* key);

  /// A reader of the dictionary under `key` is handed to `read`; nothing happens where there is no such entry.
  void dictionaryIfAny(const char* key, const std::function<void(ReplyReader&)>& read);
  /// The same for each element of the array of dictionaries under `key`, which must be there.
  void eachOf(const char* key, const std::function<void(ReplyReader&)>& read);

  [[nodiscard]] vanto_object_t dictionary() const noexcept { return dictionary_; }
  /// Such as `no string "label" in "jobs"[2]`, visible; empty while all was as it should be.
  [[nodiscard]] const std::string& problem() const noexcept { return problem_; }
  [[nodiscard]] bool isFine() const noexcept { return problem_.empty(); }
  /// For what only the caller can judge.
  void fail(const std::string& problem);

 private:
  [[nodiscard]] vanto_object_t valueOf(const char* key, vanto_kind_t kind, bool isNeeded);
  void readElement(vanto_object_t element, const std::string& place, const std::function<void(ReplyReader&)>& read);

  vanto_object_t dictionary_;
  std::string place_;
  std::string problem_;
};

}  // namespace vanto::tool
