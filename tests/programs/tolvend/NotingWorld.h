// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "tolvend/JobLife.h"

namespace vanto::manager {

/// A world of a life cycle that writes down what is asked of it.
template <typename World>
class NotingWorld : public World {
 public:
  void setTimer(std::uint64_t deadline) override { timer = deadline; }
  void changed() override { ++changes; }

  /// What was asked since the last call.
  std::string taken() { return std::exchange(notes_, ""); }

  std::uint64_t timer = UINT64_MAX;
  int changes = 0;
  /// The failure that clients were told last.
  StartFailure told;

 protected:
  ~NotingWorld() = default;
  void note(const std::string& what) { notes_ += (notes_.empty() ? "" : ", ") + what; }

 private:
  std::string notes_;
};

}  // namespace vanto::manager
