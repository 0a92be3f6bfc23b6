// SPDX-License-Identifier: Apache-2.0
#include "sandbox/KernelRights.h"

#include <array>

#include "sandbox/Landlock.h"

namespace vanto {
namespace {

/// What came with each generation that brought rights of ours.
struct Generation {
  int number;
  const char* linuxVersion;
  RightBits bits;
};

constexpr std::array generations{
    Generation{1, "5.13", {landlock::refer - 1, 0, 0}},
    Generation{2, "5.19", {landlock::refer, 0, 0}},
    Generation{3, "6.2", {landlock::truncate, 0, 0}},
    Generation{4, "6.7", {0, landlock::bindTcp | landlock::connectTcp, 0}},
    Generation{5, "6.10", {landlock::ioctlDevice, 0, 0}},
    Generation{6, "6.12", {0, 0, landlock::scopeAbstract | landlock::scopeSignal}},
    Generation{9, "7.1", {landlock::resolveUnix, 0, 0}},
};

constexpr std::uint64_t creating = landlock::makeCharacterDevice | landlock::makeDirectory | landlock::makeFile |
                                   landlock::makeSocket | landlock::makeFifo | landlock::makeBlockDevice |
                                   landlock::makeSymbolicLink;

constexpr std::array<RightBits, allRights.size()> rightBits{{
    {landlock::readFile | landlock::readDirectory, 0, 0},
    {landlock::writeFile, 0, 0},
    {creating, 0, 0},
    {landlock::removeDirectory | landlock::removeFile, 0, 0},
    {landlock::truncate, 0, 0},
    {landlock::refer, 0, 0},
    {landlock::execute, 0, 0},
    {landlock::ioctlDevice, 0, 0},
    {landlock::resolveUnix, 0, 0},
    {0, landlock::bindTcp, 0},
    {0, landlock::connectTcp, 0},
    {},
    {0, 0, landlock::scopeAbstract},
    {0, 0, landlock::scopeSignal},
    {},
    {},
}};

bool share(const RightBits& left, const RightBits& right) noexcept {
  return (left.fileBits & right.fileBits) != 0 || (left.networkBits & right.networkBits) != 0 ||
         (left.scopeBits & right.scopeBits) != 0;
}

}  // namespace

KernelRights commonRightsOf(const KernelRights& left, const KernelRights& right) noexcept {
  return {left.fileBits & right.fileBits, left.networkBits & right.networkBits, left.scopeBits & right.scopeBits,
          left.hasFilter && right.hasFilter};
}

RightBits bitsOf(Right right) noexcept {
  return rightBits[static_cast<std::size_t>(right)];
}

std::string firstLinuxOf(Right right) {
  for (const Generation& generation : generations) {
    if (share(generation.bits, bitsOf(right))) return generation.linuxVersion;
  }
  return {};
}

KernelRights kernelRightsOf(int number) noexcept {
  KernelRights kernel;
  kernel.hasFilter = true;
  for (const Generation& generation : generations) {
    if (generation.number > number) break;
    kernel.fileBits |= generation.bits.fileBits;
    kernel.networkBits |= generation.bits.networkBits;
    kernel.scopeBits |= generation.bits.scopeBits;
  }
  return kernel;
}

}  // namespace vanto
