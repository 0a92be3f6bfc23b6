// SPDX-License-Identifier: Apache-2.0

// How far services are confined, as a real manager sees it, and what it demands. The service is the example's.
#include <cerrno>
#include <fstream>
#include <regex>

#include "support/BundleBuilder.h"
#include "system/ManagerFixture.h"
#include "system/ToolProcess.h"

namespace vanto::test {
namespace {

constexpr const char* echo = "org.example.echo";

class ManagerConfinement : public ManagerFixture {
 protected:
  enum class Profile : std::uint8_t { No, Yes, Misnamed };

  /// Loads the service. Its bundle has a profile for its own files, or none, or does not name the one that it has.
  void loadService(Profile profile, bool isMultiple = false) const {
    BundleBuilder bundle(directory_.path(), std::string(echo) + ".vanto");
    bundle.identifier(echo).service().executableCopiedFrom(VANTO_TEST_ECHO, "echo");
    if (profile != Profile::No) {
      bundle.serviceEntry("_SandboxProfile", BundleBuilder::string(profile == Profile::Yes ? "tight" : "tigth"))
          .resource("tight.sb", "include base\nallow read ${VantoService_path}\nnetwork none\n");
    }
    bundle.build();
    const Held made = job(echo, bundle.executablePath("echo"));
    vanto_dictionary_set_value(made, "MultipleInstances", Held(vanto_bool_create(isMultiple)));
    EXPECT_EQ(loadJob(made), "");
  }
  /// What comes of opening a file in the service: 0 or an errno value; or what the client is told.
  [[nodiscard]] static std::string outcomeOfReading(vanto_object_t connection, const std::string& path) {
    const Held request(vanto_dictionary_create(nullptr, nullptr, 0));
    vanto_dictionary_set_value(request, "read", Held(vanto_string_create(path.c_str())));
    const Held reply(vanto_call(connection, request, generous));
    if (vanto_kind(reply) == VANTO_KIND_ERROR) return vanto_error_get_text(reply);
    return std::to_string(number(reply, "read"));
  }
  /// The one instance of the service.
  [[nodiscard]] static Held instance() {
    const Held instances = Held::share(vanto_dictionary_get_value(stateOf(echo), "instances"));
    return Held::share(vanto_array_get_value(instances, 0));
  }
  [[nodiscard]] static std::string failureText() {
    return text(vanto_dictionary_get_value(stateOf(echo), "failure"), "text");
  }
  /// Calls until the service is refused, which a client that it had accepted is not at once.
  static void expectRefusal(const std::string& pattern) {
    std::string told;
    const bool isRefused = waitUntil([&] {
      const Held connection = connect(echo);
      if (vanto_kind(connection) != VANTO_KIND_ERROR) return false;
      told = vanto_error_get_text(connection);
      return true;
    });
    EXPECT_TRUE(isRefused);
    EXPECT_TRUE(std::regex_search(told, std::regex(pattern))) << told;
    ASSERT_TRUE(waitUntil([] { return number(stateOf(echo), "failures") > 0; }));
    EXPECT_EQ(text(vanto_dictionary_get_value(stateOf(echo), "failure"), "stage"), "confinement");
    EXPECT_TRUE(std::regex_search(failureText(), std::regex(pattern))) << failureText();
    EXPECT_TRUE(waitUntil([] { return !instance(); }));
  }
};

TEST_F(ManagerConfinement, IsToldOfEachInstance) {
  const ManagerProcess manager(setting());
  loadService(Profile::Yes);
  EXPECT_FALSE(instance());
  const Held connection = connect(echo);
  const std::string secret = directory_ / "secret";
  std::ofstream(secret) << "contents";
  EXPECT_EQ(outcomeOfReading(connection, directory_ / (std::string(echo) + ".vanto/Contents/Info.plist")), "0");
  EXPECT_EQ(outcomeOfReading(connection, secret), std::to_string(EACCES));
  const std::string level = text(instance(), "confinement");
  EXPECT_TRUE(level == "reduced" || level == "full") << level;
  EXPECT_TRUE(text(instance(), "receipt").starts_with("level " + level + "\nasked ")) << text(instance(), "receipt");
  const ToolOutcome status = runToolProcess({"status", "--domain", "user"});
  EXPECT_TRUE(std::regex_search(status.output, std::regex("SINCE +CONFINED +STARTS"))) << status.output;
  EXPECT_NE(status.output.find("  " + level + " "), std::string::npos) << status.output;
  EXPECT_NE(runToolProcess({"status", "--json"}).output.find("\"confinement\": \"" + level + "\""), std::string::npos);
}

TEST_F(ManagerConfinement, KnowsThatAServiceHasNoProfile) {
  const ManagerProcess manager(setting());
  loadService(Profile::No);
  EXPECT_EQ(outcomeOfReading(connect(echo), "/etc/passwd"), "0");
  EXPECT_EQ(text(instance(), "confinement"), "none");
  EXPECT_EQ(vanto_dictionary_get_value(instance(), "receipt"), nullptr);
}

TEST_F(ManagerConfinement, IsDemandedOfAServiceWithoutAProfile) {
  const ManagerProcess manager(setting({"--floor", "reduced"}));
  for (const bool isMultiple : {false, true}) {
    loadService(Profile::No, isMultiple);
    expectRefusal("not confined \\(the manager demands reduced\\): no profile");
    EXPECT_EQ(errorOf(order("unload", echo)), "");
  }
}

TEST_F(ManagerConfinement, IsDemandedOfAServiceThatMisnamesItsProfile) {
  const char* const reason = "the bundle has no resource \"tigth.sb\"; add the profile, or correct its name";
  {
    const ManagerProcess manager(setting());
    loadService(Profile::Misnamed);
    EXPECT_EQ(outcomeOfReading(connect(echo), "/etc/passwd"), "0");
    EXPECT_EQ(text(instance(), "confinement"), "none");
    EXPECT_NE(text(instance(), "receipt").find(std::string("\nerror ") + reason), std::string::npos);
  }
  const ManagerProcess manager(setting({"--floor", "reduced"}));
  expectRefusal(std::string("not confined \\(the manager demands reduced\\): ") + reason);
}

TEST_F(ManagerConfinement, IsToldByTheToolWhereItWasTheFailure) {
  const ManagerProcess manager(setting({"--floor", "reduced"}));
  loadService(Profile::No);
  const std::string error = errorOf(order("start", echo));
  EXPECT_TRUE(error.starts_with("org.example.echo: confinement: not confined (the manager demands reduced): "))
      << error;
  const ToolOutcome why = runToolProcess({"why", "--domain", "user", echo});
  EXPECT_EQ(why.end, "exit status 1");
  for (const char* part : {"stage    confinement: it listened, and is confined less than its manager demands",
                           "cause    confinement: not confined (the manager demands reduced): no profile",
                           "do       mend what the cause says of its profile"}) {
    EXPECT_NE(why.output.find(part), std::string::npos) << why.output;
  }
}

TEST_F(ManagerConfinement, ServesWhatIsConfinedAsFarAsDemanded) {
  const ManagerProcess manager(setting({"--floor", "reduced"}));
  for (const bool isMultiple : {false, true}) {
    loadService(Profile::Yes, isMultiple);
    EXPECT_EQ(outcomeOfReading(connect(echo), "/etc/shadow"), std::to_string(EACCES));
    EXPECT_EQ(number(stateOf(echo), "failures"), 0);
    EXPECT_EQ(errorOf(order("unload", echo)), "");
  }
}

TEST_F(ManagerConfinement, IsFullOrNamesWhatThisKernelLacks) {
  std::string receipt;
  {
    const ManagerProcess manager(setting());
    loadService(Profile::Yes);
    EXPECT_EQ(outcomeOfReading(connect(echo), "/"), std::to_string(EACCES));
    receipt = text(instance(), "receipt");
  }
  const ManagerProcess manager(setting({"--floor", "full"}));
  std::smatch missing;
  if (std::regex_search(receipt, missing, std::regex("\nmissing ([a-z]+): "))) {
    expectRefusal("confined in part \\(the manager demands full\\): missing " + missing[1].str());
  } else {
    EXPECT_EQ(outcomeOfReading(connect(echo), "/"), std::to_string(EACCES));
    EXPECT_EQ(text(instance(), "confinement"), "full");
  }
}

TEST_F(ManagerConfinement, IsDemandedOfAServiceThatSaysNothing) {
  const ManagerProcess manager(impatient({"--floor", "reduced"}));
  ASSERT_EQ(load("silent", echo), "");
  // Nobody waits, so it seems to accept.
  const std::string error = errorOf(order("start", echo));
  EXPECT_TRUE(error.starts_with("org.example.echo: confinement: not confined (the manager demands reduced): "))
      << error;
}

}  // namespace
}  // namespace vanto::test
