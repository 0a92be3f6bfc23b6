// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "code/TrustDirectory.h"
#include "value/Fd.h"
#include "vexd/Record.h"

namespace vanto::vexd {

/// An executable with what was found around it, open and not looked at.
struct CodeFiles {
  Fd executable;
  /// Of the bundle in which it may be the executable: the Info file and the signature; none when there is no such
  /// bundle.
  Fd info;
  Fd bundleSignature;
  /// That of the file alone; none when there is none.
  Fd signature;
  /// Why what stands there could not be opened; empty for what is open or not there.
  std::string infoProblem;
  std::string bundleSignatureProblem;
  std::string signatureProblem;
  /// File name of the executable.
  std::string name;
};

/// What the process that digests is asked: what to believe of these files, by these trust directories.
struct DigestRequest {
  CodeFiles files;
  std::vector<code::TrustDirectory> trust;

  /// The record of it, whose descriptors are borrowed.
  [[nodiscard]] std::string bytes() const;
  [[nodiscard]] std::vector<int> descriptors() const;
  /// None when the record is no request.
  [[nodiscard]] static std::optional<DigestRequest> read(Record record);
};

}  // namespace vanto::vexd
