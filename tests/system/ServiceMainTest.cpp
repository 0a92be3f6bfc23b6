// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <thread>

#include <signal.h>
#include <sys/ioctl.h>

#include "host/ipc/RawPeer.h"
#include "system/ServiceBundles.h"

namespace vanto::test {
namespace {

class ServiceMain : public ServiceBundles {};

TEST_F(ServiceMain, AnswersClientsAndEndsWithStatus0OnSIGTERM) {
  BundleBuilder bundle = serviceBundle();
  const auto service = start(bundle, {"echo"});
  EXPECT_EQ(callOnce(*service), "");
  service->terminate();
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
  EXPECT_EQ(service->log(), Lines{});
  EXPECT_EQ(service->output(), "");
}

TEST_F(ServiceMain, EndsWithStatus0OnSIGTERMAlsoWhenAClientTakesNoReplies) {
  BundleBuilder bundle = serviceBundle();
  const auto service = start(bundle, {"echo"});
  EXPECT_EQ(callOnce(*service), "");
  RawPeer client = RawPeer::greeted(name);
  const std::vector<std::uint8_t> bytes(40'000);
  const vanto_object_t request = vanto_data_create(bytes.data(), bytes.size());
  // Within the window, but far more than the socket holds.
  for (std::uint64_t id = 1; id <= 20; ++id) client.sendObject(FrameKind::Request, id, request);
  vanto_release(request);
  int received = 0;
  while (received < 80'000 && ioctl(client.descriptor(), FIONREAD, &received) == 0) std::this_thread::yield();
  EXPECT_EQ(callOnce(*service), "");
  service->terminate();
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
}

TEST_F(ServiceMain, EndsWithStatus1OutsideABundle) {
  const std::string program = directory_ / "service";
  std::filesystem::copy_file(VANTO_TEST_SERVICE, program);
  ServiceProcess service(program, {"echo"});
  EXPECT_EQ(service.waitForEndAsText(), "exit status 1");
  EXPECT_EQ(service.log(), Lines{"3 Could not get VantoServiceBundle for main executable."});
  EXPECT_EQ(service.output(), "");
}

TEST_F(ServiceMain, EndsWithStatus1WithoutAServiceDictionary) {
  BundleBuilder bundle = bundleOf(VANTO_TEST_SERVICE);
  bundle.identifier(name);
  const auto service = start(bundle, {"echo"});
  EXPECT_EQ(service->waitForEndAsText(), "exit status 1");
  EXPECT_EQ(service->log(), Lines{"3 Could not find VantoService dictionary."});
  EXPECT_EQ(service->output(), "");
}

TEST_F(ServiceMain, EndsWithStatus1WhenTheServiceDictionaryIsOfAnotherKind) {
  BundleBuilder bundle = bundleOf(VANTO_TEST_SERVICE);
  bundle.identifier(name).entry("VantoService", BundleBuilder::string("no dictionary"));
  const auto service = start(bundle, {"echo"});
  EXPECT_EQ(service->waitForEndAsText(), "exit status 1");
  EXPECT_EQ(service->log(), Lines{"3 Could not find VantoService dictionary."});
}

TEST_F(ServiceMain, EndsWithStatus1WithoutAnIdentifier) {
  BundleBuilder bundle = bundleOf(VANTO_TEST_SERVICE);
  bundle.service();
  const auto service = start(bundle, {"echo"});
  EXPECT_EQ(service->waitForEndAsText(), "exit status 1");
  EXPECT_EQ(service->log(), Lines{"3 Could not get identifier of service bundle."});
}

TEST_F(ServiceMain, WithoutAHandlerAbortsAtTheFirstEventWithItsMessage) {
  BundleBuilder bundle = serviceBundle();
  const auto service = start(bundle, {"without-handler"}, ServiceProcess::Traced::Yes);
  // The thread that traces is busy, so the client has one of its own.
  std::thread client([&service] { vanto_release(service->connect(name)); });
  EXPECT_EQ(service->crashMessage(), "No event handler specified for Vanto Service");
  // The annotation's place is the only line: nothing else was logged.
  EXPECT_EQ(service->log().size(), 1U);
  client.join();
}

TEST_F(ServiceMain, AbortsWhenItsHandlerThrows) {
  BundleBuilder bundle = serviceBundle();
  const auto service = start(bundle, {"throwing"});
  vanto_release(service->connect(name));
  EXPECT_EQ(service->waitForEndAsText(), "signal " + std::to_string(SIGABRT));
}

TEST_F(ServiceMain, RunsTheApplicationMainLoopWhereItIsAskedFor) {
  BundleBuilder bundle = serviceBundle(VANTO_TEST_APPLICATION);
  bundle.serviceEntry("_UseQelApplicationMain", BundleBuilder::boolean(true));
  const auto service = start(bundle, {"echo", "last"});
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
  EXPECT_EQ(service->log(), Lines{"7 QelApplicationMain got 3 arguments, the last is last"});
}

TEST_F(ServiceMain, IgnoresAnApplicationMainLoopThatIsNotAskedFor) {
  BundleBuilder bundle = serviceBundle(VANTO_TEST_APPLICATION);
  const auto service = start(bundle, {"ending-loop"});
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
  EXPECT_EQ(service->log(), Lines{"7 the run loop runs"});
}

TEST_F(ServiceMain, ServesOnWithoutTheApplicationMainLoopThatIsAskedFor) {
  BundleBuilder bundle = serviceBundle();
  bundle.serviceEntry("_UseQelApplicationMain", BundleBuilder::boolean(true));
  const auto service = start(bundle, {"echo"});
  EXPECT_EQ(callOnce(*service), "");
  ASSERT_EQ(service->log().size(), 1U);
  const std::string start = "3 use of QelApplicationMain specified but it cannot be found: ";
  EXPECT_EQ(service->log()[0].substr(0, start.size()), start);
  EXPECT_NE(service->log()[0].find("QelApplicationMain", start.size()), std::string::npos) << service->log()[0];
}

TEST_F(ServiceMain, LogsThatAProfileCannotBeEnteredAndServesOn) {
  BundleBuilder bundle = serviceBundle();
  bundle.serviceEntry("_SandboxProfile", BundleBuilder::string("tight")).resource("tight.sb", "network nobody\n");
  const auto service = start(bundle, {"echo"});
  EXPECT_EQ(callOnce(*service), "");
  const std::string profile = bundle.resourcesPath() + "/tight.sb";
  ASSERT_EQ(service->log().size(), 1U);
  EXPECT_EQ(
      service->log()[0].find("3 sandbox_init_with_parameters() profile " + profile + " fails: " + profile + ":1:9: "),
      0U)
      << service->log()[0];
}

TEST_F(ServiceMain, RefusesEveryClientOfAServiceWithAllowedClients) {
  BundleBuilder bundle = serviceBundle();
  bundle.serviceEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("valid")}));
  const auto service = start(bundle, {"echo"});
  const std::string line =
      "3 Could not get dynamic code reference for client: " + std::to_string(getpid()) + "; status: -1";
  for (std::size_t clients = 1; clients <= 2; ++clients) {
    const vanto_object_t answer = service->connect(name);
    EXPECT_EQ(vanto_error_get_code(answer), VANTO_ERROR_REFUSED) << vanto_error_get_text(answer);
    vanto_release(answer);
    EXPECT_EQ(service->log(), Lines(clients, line));
  }
  service->terminate();
  EXPECT_EQ(service->waitForEndAsText(), "exit status 0");
}

TEST_F(ServiceMain, AdmitsEveryClientWithAnEmptyListOfAllowedClients) {
  BundleBuilder bundle = serviceBundle();
  bundle.serviceEntry("_AllowedClients", BundleBuilder::array({}));
  const auto service = start(bundle, {"echo"});
  EXPECT_EQ(callOnce(*service), "");
  EXPECT_EQ(service->log(), Lines{});
}

}  // namespace
}  // namespace vanto::test
