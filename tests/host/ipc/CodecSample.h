// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/ipc/SampleObjects.h"
#include "ipc/FdObject.h"

namespace vanto::test {

/// A message body and its descriptors in one file. Since a body is a multiple of 8 bytes long, up to 7 bytes may follow
/// it, each of which stands for a descriptor: "s" for sealed memory of 4,096 bytes, "u" for memory without seals, any
/// other for a file.
class CodecSample {
 public:
  explicit CodecSample(std::span<const std::uint8_t> content)
      : body_(content.first(content.size() / 8 * 8)), letters_(content.subspan(body_.size())) {}

  [[nodiscard]] std::span<const std::uint8_t> body() const noexcept { return body_; }

  /// The descriptors as they would come with the body, new ones each time.
  [[nodiscard]] std::vector<Fd> descriptors() const {
    static const Fd sealed = memoryFile("sealed", allSeals, 4096);
    static const Fd unsealed = memoryFile("unsealed", 0, 4096);
    static const Fd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
    std::vector<Fd> made;
    for (const std::uint8_t letter : letters_) {
      const Fd& original = letter == 's' ? sealed : letter == 'u' ? unsealed : file;
      made.push_back(FdObject::duplicate(original.get()));
    }
    return made;
  }

 private:
  std::span<const std::uint8_t> body_;
  std::span<const std::uint8_t> letters_;
};

}  // namespace vanto::test
