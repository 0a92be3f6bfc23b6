// SPDX-License-Identifier: Apache-2.0
#include "vexd/CodeFinder.h"

#include <filesystem>

#include "programs/vexd/VexdFixture.h"

namespace vanto::testing {
namespace {

class CodeFinder : public SignedCode {
 protected:
  static vexd::CodeFiles find(const std::string& path) {
    vexd::ExaminedProcess process;
    process.executable = openFile(path);
    process.path = path;
    return findCode(std::move(process));
  }
  /// The key without opening, and the same from what is opened; the executable is in neither.
  static std::pair<vexd::FactsKey, vexd::FactsKey> keysOf(const std::string& path) {
    vexd::FactsKey seen;
    EXPECT_TRUE(vexd::lookAroundCode(path, seen));
    vexd::CodeFiles files = find(path);
    files.executable.reset();
    vexd::FactsKey opened;
    static_cast<void>(vexd::FactsKey::of(files, opened));
    return {seen, opened};
  }
  static std::string pathOf(const Fd& file) {
    return file ? std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file.get())).string() : "";
  }
};

TEST_F(CodeFinder, FindsTheBundleAroundAnExecutable) {
  sign(bundle_, acme_);
  const vexd::CodeFiles files = find(builder_.executablePath("a"));
  EXPECT_EQ(files.name, "a");
  EXPECT_EQ(pathOf(files.info), builder_.infoPath());
  EXPECT_EQ(pathOf(files.bundleSignature), bundle_ + "/Contents/Signature.plist");
  EXPECT_FALSE(files.signature);
  EXPECT_TRUE(files.executable);
}

TEST_F(CodeFinder, FindsFlatBundlesAndFrameworks) {
  for (const auto layout : {test::BundleLayout::Flat, test::BundleLayout::Framework}) {
    const bool isFlat = layout == test::BundleLayout::Flat;
    test::BundleBuilder bundle(directory_.path(), isFlat ? "F.app" : "F.framework", layout);
    bundle.identifier("org.example.f").executable("f").build();
    sign(bundle.path(), acme_);
    const vexd::CodeFiles files = find(bundle.executablePath("f"));
    EXPECT_EQ(pathOf(files.info), bundle.infoPath());
    EXPECT_TRUE(files.bundleSignature);
  }
}

TEST_F(CodeFinder, FindsTheSignatureBesideAnExecutable) {
  sign(single_, acme_);
  const vexd::CodeFiles files = find(single_);
  EXPECT_EQ(pathOf(files.signature), single_ + ".Signature.plist");
  EXPECT_FALSE(files.info);
  EXPECT_FALSE(files.bundleSignature);
}

TEST_F(CodeFinder, FollowsNoLinksAndSaysThatTheyAreThere) {
  sign(single_, acme_);
  sign(bundle_, acme_);
  std::filesystem::rename(single_ + ".Signature.plist", directory_ / "moved");
  std::filesystem::create_symlink(directory_ / "moved", single_ + ".Signature.plist");
  vexd::CodeFiles files = find(single_);
  EXPECT_FALSE(files.signature);
  EXPECT_NE(files.signatureProblem, "");
  EXPECT_EQ(find("/bin/sleep").signatureProblem, "");
  std::filesystem::rename(builder_.infoPath(), directory_ / "info");
  std::filesystem::create_symlink(directory_ / "info", builder_.infoPath());
  files = find(builder_.executablePath("a"));
  EXPECT_FALSE(files.info);
  EXPECT_NE(files.infoProblem, "");
  EXPECT_TRUE(files.bundleSignature);
}

TEST_F(CodeFinder, SaysThatASignatureIsThereWhichCannotBeOpened) {
  const std::string signature = bundle_ + "/Contents/Signature.plist";
  EXPECT_EQ(find(builder_.executablePath("a")).bundleSignatureProblem, "");
  std::filesystem::create_symlink("/nowhere", signature);
  EXPECT_NE(find(builder_.executablePath("a")).bundleSignatureProblem, "");
  std::filesystem::remove(signature);
  ASSERT_EQ(mknod(signature.c_str(), S_IFSOCK | 0600, 0), 0);
  EXPECT_NE(find(builder_.executablePath("a")).bundleSignatureProblem, "");
}

TEST_F(CodeFinder, SeesWithoutOpeningWhatItWouldOpen) {
  sign(bundle_, acme_);
  sign(single_, acme_);
  test::BundleBuilder framework(directory_.path(), "F.framework", test::BundleLayout::Framework);
  framework.identifier("org.example.f").executable("f").build();
  sign(framework.path(), acme_);
  for (const std::string& path : {builder_.executablePath("a"), single_, framework.executablePath("f"),
                                  std::string("/bin/sleep"), directory_ / "nothing.app/there"}) {
    const auto [seen, opened] = keysOf(path);
    EXPECT_EQ(seen, opened) << path;
  }
  EXPECT_TRUE(keysOf(builder_.executablePath("a")).first.bundleSignature.isOfFile());
  EXPECT_TRUE(keysOf(single_).first.signature.isOfFile());
  vexd::FactsKey none;
  EXPECT_FALSE(vexd::lookAroundCode("", none));
}

TEST_F(CodeFinder, SeesAnotherKeyWhereItOpensNoLink) {
  sign(bundle_, acme_);
  std::filesystem::rename(builder_.infoPath(), directory_ / "info");
  std::filesystem::create_symlink(directory_ / "info", builder_.infoPath());
  const auto [seen, opened] = keysOf(builder_.executablePath("a"));
  EXPECT_NE(seen, opened);
}

TEST_F(CodeFinder, FindsNothingForAnExecutableThatLiesNowhere) {
  vexd::ExaminedProcess process;
  process.executable = openFile(single_);
  const vexd::CodeFiles files = vexd::findCode(std::move(process));
  EXPECT_TRUE(files.executable);
  EXPECT_EQ(files.name, "");
  EXPECT_FALSE(files.signature);
}

}  // namespace
}  // namespace vanto::testing
