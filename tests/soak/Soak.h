// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "soak/Disturbance.h"
#include "soak/Load.h"
#include "soak/Site.h"
#include "soak/Tally.h"

namespace vanto::soak {

/// How long to go on: until as many runs or as much time, 0 for no bound.
struct Length {
  int runs = 0;
  int seconds = 0;
};

/// Runs: in each, one random disturbance under load, after which the services must answer again.
class Soak {
 public:
  Soak(const Site::Programs& programs, Length length, std::uint64_t seed);

  /// Prints the figures. True when none is wrong.
  [[nodiscard]] bool run();

 private:
  struct Row {
    int runs = 0;
    /// Milliseconds after which the services answered again.
    double longestRecovery = 0;
  };

  /// How much of the length is over, from 0 to 1.
  [[nodiscard]] double progress() const;
  [[nodiscard]] const Disturbance& draw();
  void runAll(Scene& scene);
  void runOnce(Scene& scene, const Disturbance& disturbance);
  [[nodiscard]] std::string recover(Scene& scene) const;
  void compareHoldings(Scene& scene);
  void note(const std::string& fault);
  [[nodiscard]] bool report();
  [[nodiscard]] bool reportHoldings() const;

  const Length length_;
  const std::int64_t begin_;
  Site site_;
  Tally tally_;
  ToldTimes told_;
  std::mt19937_64 random_;
  /// What happens next, from its end.
  std::vector<const Disturbance*> deck_;
  std::map<std::string, Row> rows_;
  std::vector<std::string> faults_;
  int runs_ = 0;
  /// What the manager held when it was first quiet; none since it was replaced.
  Site::Holdings first_;
  bool hasFirst_ = false;
  int mostNewDescriptors_ = 0;
  long mostNewKilobytes_ = 0;
};

}  // namespace vanto::soak
