// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace vanto::refusals {

/// Clients that are processes of their own: nearly all of them strangers, which are to be refused. They are made by a
/// few processes at a time. One in a hundred executes a file that nobody has seen before, with a signature that is
/// none, so that it has to be digested; and now and then one comes who is to be served, since a service that refuses
/// everybody does not judge.
class Strangers {
 public:
  struct Outcome {
    std::int64_t refused = 0;
    std::int64_t served = 0;
    /// Strangers that were not refused, and others that were not served.
    std::int64_t wrong = 0;
  };

  /// `client` is the program that all of them execute, `friendProgram` one that is served; files go to `directory`.
  Strangers(std::string client, std::string friendProgram, std::string directory);

  /// Has so many of them call.
  [[nodiscard]] Outcome call(std::int64_t count) const;

  /// One call by this process: 0, or the error that came in place of the connection or the reply.
  [[nodiscard]] static int callOnce();

 private:
  struct Counts;
  void work(int number, std::int64_t count, Counts& counts) const;

  const std::string client_;
  const std::string friendProgram_;
  const std::string directory_;
};

}  // namespace vanto::refusals
