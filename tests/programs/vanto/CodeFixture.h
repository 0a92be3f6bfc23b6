// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "programs/code/SignedCode.h"
#include "programs/vanto/CapturedConsole.h"
#include "vanto/CodeCommandLine.h"

namespace vanto::testing {

/// Runs a command about code with arguments behind the tool's name. Nothing is a terminal.
[[nodiscard]] inline ToolRun runCodeTool(const std::vector<std::string>& arguments) {
  const TemporaryScope scope;
  CapturedConsole captured;
  std::vector<const char*> vector{"vanto"};
  for (const std::string& argument : arguments) vector.push_back(argument.c_str());
  const auto status = tool::runCodeCommandLine(static_cast<int>(vector.size()), vector.data(), captured.console());
  return {status, captured.output(), captured.messages()};
}

/// Tests with code, the private keys "acme" (not trusted yet) and "next", and a home of their own.
class CodeFixture : public SignedCode {
 protected:
  CodeFixture() {
    setenv("XDG_CONFIG_HOME", directory_.path().c_str(), 1);
    writeKey(acmeKey_, "acme", acme_);
    writeKey(nextKey_, "next", next_);
  }
  ~CodeFixture() override { unsetenv("XDG_CONFIG_HOME"); }

  static void writeKey(const std::string& path, const char* name, const code::KeyPair& keys) {
    writeContents(path, code::PrivateKeyDocument{keys, name}.bytes());
    chmod(path.c_str(), 0600);
  }
  /// A file with the bytes of a public key or a statement.
  [[nodiscard]] std::string fileOf(const code::TrustDirectory::File& file) const {
    writeContents(directory_ / (file.name + ".public"), file.bytes);
    return directory_ / (file.name + ".public");
  }
  void trustAcme() const {
    ASSERT_EQ(runCodeTool({"trust", "add", fileOf(keyFile("acme", acme_))}).status, tool::ExitStatus::Fine);
  }

  const code::KeyPair next_ = keyPair(2);
  const std::string acmeKey_ = directory_ / "acme.key";
  const std::string nextKey_ = directory_ / "next.key";
  const std::string trustPath_ = directory_ / "vanto/trust";
  const std::string acmePrint_ = code::fingerprint(acme_.publicKey);
  const std::string nextPrint_ = code::fingerprint(next_.publicKey);
};

}  // namespace vanto::testing
