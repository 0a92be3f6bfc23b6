// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace vanto::learning {

/// What the descriptors of a process lead to, as far as its trace has told. Nothing is taken out when one is closed:
/// whatever opens one of the same number tells of it.
class OpenDescriptors {
 public:
  /// An empty path stands for what has none. Beyond limits::descriptors no more are remembered.
  void set(std::int64_t descriptor, const std::string& path);
  /// Empty when it is not known, or there is none.
  [[nodiscard]] std::string pathOf(std::int64_t descriptor) const;

 private:
  /// Texts are shared with the processes that were made with them.
  std::map<std::int64_t, std::shared_ptr<const std::string>> paths_;
};

}  // namespace vanto::learning
