// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListStringOrder.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace vanto {

std::uint32_t PropertyListStringOrder::add(const PlistString& string) {
  std::uint32_t& latest = latest_[placeOf(string.text())];
  if (latest != 0 && strings_[latest - 1]->text() == string.text()) return latest - 1;
  strings_.push_back(&string);
  latest = static_cast<std::uint32_t>(strings_.size());
  return latest - 1;
}

// Where the memory keeps a text: by its length, its first and its last bytes.
std::size_t PropertyListStringOrder::placeOf(std::string_view text) noexcept {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  const std::size_t count = std::min(text.size(), sizeof first);
  std::memcpy(&first, text.data(), count);
  std::memcpy(&last, text.data() + text.size() - count, count);
  const std::uint64_t mixed = (first ^ last * 0x9E3779B97F4A7C15 ^ text.size()) * 0xD1B54A32D192ED03;
  return mixed >> (64 - placeBits);
}

void PropertyListStringOrder::arrange() {
  std::vector<std::uint32_t> numbers(strings_.size());
  std::iota(numbers.begin(), numbers.end(), 0U);
  std::sort(numbers.begin(), numbers.end(), [this](std::uint32_t left, std::uint32_t right) {
    return strings_[left]->text() < strings_[right]->text();
  });
  indices_.resize(strings_.size());
  for (const std::uint32_t number : numbers) {
    const PlistString* string = strings_[number];
    if (texts_.empty() || texts_.back()->text() != string->text()) texts_.push_back(string);
    indices_[number] = static_cast<std::uint32_t>(texts_.size() - 1);
  }
}

}  // namespace vanto
