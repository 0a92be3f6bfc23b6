// SPDX-License-Identifier: Apache-2.0
#include "tolvend/BackOff.h"

namespace vanto::manager {

namespace {

/// A good mix of all bits of a counter that is advanced by an odd constant.
std::uint64_t nextRandom(std::uint64_t& counter) noexcept {
  counter += 0x9e3779b97f4a7c15;
  std::uint64_t mixed = counter;
  mixed = (mixed ^ mixed >> 30) * 0xbf58476d1ce4e5b9;
  mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111eb;
  return mixed ^ mixed >> 31;
}

}  // namespace

std::uint64_t BackOff::failed(std::uint64_t ran) noexcept {
  if (ran >= healthy) reset();
  std::uint64_t nominal = first;
  for (std::uint32_t doubling = 0; doubling < failures_ && nominal < longest; ++doubling) nominal *= 2;
  if (nominal < longest) {
    ++failures_;
  } else {
    nominal = longest;
  }
  return nominal - nextRandom(random_) % (nominal / 4 + 1);
}

}  // namespace vanto::manager
