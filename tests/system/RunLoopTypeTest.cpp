// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "system/ServiceBundles.h"

namespace vanto::test {
namespace {

/// Programs that call _vanto_main().
class RunLoopType : public ServiceBundles {
 protected:
  [[nodiscard]] BundleBuilder bundleWith(const char* type, const char* program = VANTO_TEST_SERVICE) const {
    BundleBuilder bundle = serviceBundle(program);
    bundle.serviceEntry("RunLoopType", BundleBuilder::string(type));
    return bundle;
  }

  /// Expects that the program's main thread comes to serve the queues, with no line in the log but its own.
  static void expectQueuesServed(BundleBuilder& bundle) {
    const auto service = start(bundle, {"queues"});
    EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
    EXPECT_EQ(service->log(), Lines{"7 the main thread serves the queues"});
  }
};

TEST_F(RunLoopType, AbsentMeansDispatchMain) {
  BundleBuilder bundle = serviceBundle();
  expectQueuesServed(bundle);
}

TEST_F(RunLoopType, OfAnotherKindMeansDispatchMain) {
  BundleBuilder bundle = serviceBundle();
  bundle.serviceEntry("RunLoopType", BundleBuilder::integer(1));
  expectQueuesServed(bundle);
}

TEST_F(RunLoopType, DispatchMainServesTheQueues) {
  BundleBuilder bundle = bundleWith("dispatch_main");
  expectQueuesServed(bundle);
}

TEST_F(RunLoopType, UnknownMeansDispatchMain) {
  BundleBuilder bundle = bundleWith("qelRunLoop");
  expectQueuesServed(bundle);
}

TEST_F(RunLoopType, QelRunLoopRunsTheRunLoopAndReturnsWithIt) {
  BundleBuilder bundle = bundleWith("QelRunLoop");
  const auto service = start(bundle, {"run-loop"});
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
  EXPECT_EQ(service->log(), (Lines{"7 the run loop runs", "7 _vanto_main returned"}));
}

TEST_F(RunLoopType, QelApplicationMainGetsTheSavedArguments) {
  BundleBuilder bundle = bundleWith("_QelApplicationMain", VANTO_TEST_APPLICATION);
  const auto service = start(bundle, {"plain", "saved"});
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
  EXPECT_EQ(service->log(),
            (Lines{"7 QelApplicationMain got 3 arguments, the last is saved", "7 _vanto_main returned"}));
}

TEST_F(RunLoopType, QelApplicationMainThatIsMissingMeansTheRunLoop) {
  BundleBuilder bundle = bundleWith("_QelApplicationMain");
  const auto service = start(bundle, {"run-loop"});
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
  const Lines log = service->log();
  ASSERT_EQ(log.size(), 3U);
  const std::string start = "3 use of QelApplicationMain specified but it cannot be found: ";
  EXPECT_EQ(log[0].substr(0, start.size()), start);
  EXPECT_EQ(log[1], "7 the run loop runs");
  EXPECT_EQ(log[2], "7 _vanto_main returned");
}

TEST_F(RunLoopType, IsNotReachedOutsideABundle) {
  const std::string program = directory_ / "service";
  std::filesystem::copy_file(VANTO_TEST_SERVICE, program);
  ServiceProcess service(program, {"plain"});
  EXPECT_EQ(service.waitForEndAsText(), "exit status 1");
  EXPECT_EQ(service.log(), Lines{"3 Could not get VantoServiceBundle for main executable."});
}

TEST_F(RunLoopType, IsNotReachedWithoutAServiceDictionary) {
  BundleBuilder bundle = bundleOf(VANTO_TEST_SERVICE);
  const auto service = start(bundle, {"plain"});
  EXPECT_EQ(service->waitForEndAsText(), "exit status 1");
  EXPECT_EQ(service->log(), Lines{"3 Could not find VantoService dictionary."});
}

}  // namespace
}  // namespace vanto::test
