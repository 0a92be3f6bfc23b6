// SPDX-License-Identifier: Apache-2.0
#include "runtime/ClientValidation.h"

#include <atomic>
#include <barrier>
#include <thread>

#include <VantoService/TemporaryScope.h>

#include "bundle/VantoServiceBundleFields.h"
#include "runtime/ServiceStart.h"
#include "value/LiveObjects.h"

namespace vanto::testing {
namespace {

constexpr pid_t clientPid = 77;
const FakePeer client{clientPid, 1000, 1000};

/// The calls that begin every evaluation; the policy is read by the first one.
const Lines policyLook = {"stat(/Library/Preferences/org.vanto.security.vanto.plist)"};
const Lines codeLook = {"audit_token_to_au32(null, null, null, null, null, pid, null, null)",
                        "VexCodeCopyGuestWithAttributes(null, pid 77 of subtype 3, 0)"};

/// The calls for a requirement that is compiled and checked.
Lines checkOf(const std::string& requirement) {
  return {"VexRequirementCreateWithStringAndErrors(" + requirement + ", 0, cleared)",
          "VexCodeCheckValidityWithErrors(pid 77, 0, " + requirement + ")"};
}

class ClientValidation : public ServiceStart {
 protected:
  [[nodiscard]] BundleBuilder bundleAllowing(const std::vector<std::string>& elements) const {
    return serviceBundle().serviceEntry("_AllowedClients", BundleBuilder::array(elements));
  }

  [[nodiscard]] BundleBuilder bundleAllowingTexts(const std::vector<std::string>& texts) const {
    std::vector<std::string> elements;
    for (const std::string& text : texts) elements.push_back(BundleBuilder::string(text));
    return bundleAllowing(elements);
  }

  /// Builds the bundle and, in a child, installs its validator before doing `work`.
  [[nodiscard]] static ChildOutcome runWith(BundleBuilder bundle, const std::function<void(ServiceProgram&)>& work) {
    bundle.build();
    return run([&](ServiceProgram& program) {
      const auto opened = Bundle::create(*PlistString::create(bundle.path()));
      setupConnectionValidatorIfNeeded(*VantoServiceBundle::initWithBundle(opened.get()));
      work(program);
    });
  }

  static void evaluate(const ServiceProgram& program) {
    program.report(connectionEvaluator(client.token()) ? "accepted" : "refused");
  }

  /// The lines of one evaluation under the given answers, without what comes before it.
  [[nodiscard]] static Lines evaluation(const BundleBuilder& bundle,
                                        const std::map<std::string, test::FakeRequirement>& requirements) {
    const ChildOutcome outcome = runWith(bundle, [&](ServiceProgram& program) {
      program.host.answers().requirements = requirements;
      evaluate(program);
    });
    EXPECT_EQ(outcome.end, "exit status 0");
    return outcome.lines;
  }

  static const Lines installed;
  static const Lines before;
};

bool handled = false;

const Lines ClientValidation::installed = {"vanto_handle_service(null, null, evaluator)"};
const Lines ClientValidation::before = installed + policyLook + codeLook;

TEST_F(ClientValidation, InstallsTheEvaluatorForAServiceThatListsClients) {
  const ChildOutcome outcome = runWith(bundleAllowingTexts({"valid"}), [](ServiceProgram& program) {
    EXPECT_EQ(program.host.evaluator(), &connectionEvaluator);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, installed);
}

TEST_F(ClientValidation, InstallsNothingWithoutAListWithAnEmptyOneOrWithAnotherKind) {
  for (const BundleBuilder& bundle : {serviceBundle(), bundleAllowing({}),
                                      serviceBundle().serviceEntry("_AllowedClients", BundleBuilder::string("valid")),
                                      serviceBundle().serviceEntry("_AllowedClients", BundleBuilder::dictionary({})),
                                      serviceBundle().serviceEntry("_AllowedClients", BundleBuilder::boolean(true))}) {
    const ChildOutcome outcome =
        runWith(bundle, [](ServiceProgram& program) { EXPECT_EQ(program.host.evaluator(), nullptr); });
    EXPECT_EQ(outcome.end, "exit status 0");
    EXPECT_EQ(outcome.lines, Lines{});
  }
}

TEST_F(ClientValidation, LetsEveryClientConnectWithoutAMessageWhereNothingIsInstalled) {
  const ChildOutcome outcome = run(bundleAllowing({}), [](ServiceProgram& program) {
    program.reportLogOnly();
    program.host.whileRunning(
        [&program] { EXPECT_NE(program.host.connect(identifier, client).error(), VANTO_ERROR_REFUSED); });
    program.serviceMain([](vanto_object_t, vanto_object_t) {});
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, Lines{"returned 0"});
}

TEST_F(ClientValidation, AcceptsAClientThatSatisfiesTheFirstOfTwoRequirementsAndLooksNoFurther) {
  EXPECT_EQ(evaluation(bundleAllowingTexts({"one", "two"}), {{"one", {true, 0, {}}}, {"two", {true, 0, {}}}}),
            before + checkOf("one") + Lines{"accepted"});
}

TEST_F(ClientValidation, AcceptsAClientThatSatisfiesTheSecondOfTwoRequirements) {
  EXPECT_EQ(evaluation(bundleAllowingTexts({"one", "two"}), {{"two", {true, 0, {}}}}),
            before + checkOf("one") + checkOf("two") + Lines{"accepted"});
}

TEST_F(ClientValidation, RefusesAClientThatSatisfiesNoRequirementSilently) {
  EXPECT_EQ(evaluation(bundleAllowingTexts({"one", "two"}), {}),
            before + checkOf("one") + checkOf("two") + Lines{"refused"});
}

TEST_F(ClientValidation, RefusesAtOnceForAMalformedRequirementEvenIfALaterOneWouldMatch) {
  EXPECT_EQ(
      evaluation(bundleAllowingTexts({"bad", "good"}),
                 {{"bad", {false, -67030, "'and' was expected"}}, {"good", {true, 0, {}}}}),
      (before + Lines{"VexRequirementCreateWithStringAndErrors(bad, 0, cleared)",
                      "VexErrorsLocalizedDescription('and' was expected)",
                      errorLine("Could not create requirement (bad) for client: 77, :'and' was expected"), "refused"}));
}

TEST_F(ClientValidation, AcceptsBeforeItComesToAMalformedRequirement) {
  EXPECT_EQ(evaluation(bundleAllowingTexts({"good", "bad"}), {{"bad", {false, 1, "reason"}}, {"good", {true, 0, {}}}}),
            before + checkOf("good") + Lines{"accepted"});
}

TEST_F(ClientValidation, LogsAMalformedRequirementWithoutAReason) {
  const Lines lines = evaluation(bundleAllowingTexts({"bad"}), {{"bad", {false, 1, {}}}});
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(lines[lines.size() - 2], errorLine("Could not create requirement (bad) for client: 77, :no reason given"));
}

TEST_F(ClientValidation, ClearsTheOutputsForEachRequirement) {
  const Lines lines = evaluation(bundleAllowingTexts({"one", "two", "three"}), {});
  for (const std::string& line : lines) EXPECT_EQ(line.find("not cleared"), std::string::npos) << line;
}

TEST_F(ClientValidation, LogsForeignTextsOnOneLineEach) {
  const Lines lines = evaluation(bundleAllowingTexts({"a\nb\u0085"}), {{"a\nb\u0085", {false, 1, "c\nd"}}});
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(lines[lines.size() - 2],
            errorLine("Could not create requirement (a\\nb\\xc2\\x85) for client: 77, :c\\nd"));
}

TEST_F(ClientValidation, TakesAnElementThatIsNoStringForAMalformedRequirementAndSaysWhatItIs) {
  const std::pair<std::string, std::string> samples[] = {
      {BundleBuilder::integer(5), "(5) for client: 77, :a PlistNumber, not a string"},
      {BundleBuilder::boolean(true), "(1) for client: 77, :a PlistBoolean, not a string"},
      {"<data>AAEC</data>", "(3 bytes 000102) for client: 77, :a PlistData, not a string"},
      {BundleBuilder::array({}), "([]) for client: 77, :a PlistArray, not a string"},
      {BundleBuilder::dictionary({}), "({}) for client: 77, :a PlistDictionary, not a string"},
  };
  for (const auto& [xml, text] : samples) {
    EXPECT_EQ(evaluation(bundleAllowing({xml, BundleBuilder::string("good")}), {{"good", {true, 0, {}}}}),
              (before + Lines{errorLine("Could not create requirement " + text), "refused"}))
        << xml;
  }
}

TEST_F(ClientValidation, RefusesAClientWhoseCodeCannotBeHad) {
  for (const int status : {-1, 100001, INT32_MIN}) {
    const ChildOutcome outcome = runWith(bundleAllowingTexts({"valid"}), [status](ServiceProgram& program) {
      program.host.answers().requirements["valid"].isSatisfied = true;
      program.host.answers().codeStatuses[clientPid] = status;
      evaluate(program);
    });
    EXPECT_EQ(outcome.lines, (before + Lines{errorLine("Could not get dynamic code reference for client: 77; status: " +
                                                       std::to_string(status)),
                                             "refused"}));
  }
}

TEST_F(ClientValidation, RefusesEveryoneWhileTheFacilityCannotBeUsed) {
  for (const char* function : {"VexCodeCopyGuestWithAttributes", "VexRequirementCreateWithStringAndErrors",
                               "VexCodeCheckValidityWithErrors"}) {
    const ChildOutcome outcome = runWith(bundleAllowingTexts({"valid"}), [function](ServiceProgram& program) {
      program.host.answers().requirements["valid"].isSatisfied = true;
      program.host.fail(function);
      evaluate(program);
    });
    EXPECT_EQ(outcome.lines.back(), "refused") << function;
  }
}

TEST_F(ClientValidation, RefusesWhenItIsAskedWithoutAListOrWithAnEmptyOne) {
  for (const BundleBuilder& bundle : {serviceBundle(), bundleAllowing({})}) {
    const ChildOutcome outcome = runWith(bundle, evaluate);
    EXPECT_EQ(outcome.lines, policyLook + codeLook + Lines{"refused"});
  }
}

TEST_F(ClientValidation, ChecksEachRequirementInOrderWhateverTheirNumber) {
  for (const std::size_t count : {1U, 15U, 16U, 17U, 31U, 32U, 33U, 100U}) {
    std::vector<std::string> texts;
    Lines checks;
    for (std::size_t index = 0; index < count; ++index) {
      texts.push_back("requirement " + std::to_string(index));
      checks = checks + checkOf(texts.back());
    }
    const BundleBuilder bundle = bundleAllowingTexts(texts);
    EXPECT_EQ(evaluation(bundle, {}), before + checks + Lines{"refused"}) << count;
    EXPECT_EQ(evaluation(bundle, {{texts.back(), {true, 0, {}}}}), before + checks + Lines{"accepted"}) << count;
  }
}

TEST_F(ClientValidation, FindsASatisfiedRequirementAtEveryPlace) {
  std::vector<std::string> texts;
  for (std::size_t index = 0; index < 34; ++index) texts.push_back(std::to_string(index));
  for (std::size_t place = 0; place < texts.size(); ++place) {
    const Lines lines = evaluation(bundleAllowingTexts(texts), {{texts[place], {true, 0, {}}}});
    EXPECT_EQ(lines.back(), "accepted") << place;
    EXPECT_EQ(lines.size(), before.size() + 2 * (place + 1) + 1) << place;
  }
}

TEST_F(ClientValidation, StopsTheProcessWhenTheListIsChangedDuringTheWalk) {
  const ChildOutcome outcome = run([](ServiceProgram& program) {
    program.reportLogOnly();
    const auto list = PlistMutableArray::create();
    for (int index = 0; index < 17; ++index) list->append(PlistString::create(std::to_string(index)).get());
    const auto dictionary = PlistMutableDictionary::create();
    dictionary->setValueForKey(list.get(), PlistString::create("_AllowedClients").get());
    const auto service = VantoServiceBundle::initWithBundle(nullptr);
    const test::VantoServiceBundleFields fields{*service};
    fields.serviceDictionary() = dictionary;
    fields.serviceDictionaryPredicate() = -1;
    setupConnectionValidatorIfNeeded(*service);
    program.host.onCall([&](const test::FakeCall& call) {
      if (call.arguments == "pid 77, 0, 3") list->append(PlistString::create("late").get());
      if (call.function == "VexCodeCheckValidityWithErrors") program.report(call.arguments);
    });
    evaluate(program);
  });
  EXPECT_EQ(outcome.end, "signal 6");
  // The batch that was taken before the change is still walked.
  ASSERT_EQ(outcome.lines.size(), 16U);
  EXPECT_EQ(outcome.lines.back(), "pid 77, 0, 15");
}

TEST_F(ClientValidation, TakesAHoleInTheListForAMalformedRequirement) {
  const ChildOutcome outcome = run([](ServiceProgram& program) {
    Object* const elements[] = {nullptr};
    const auto list = PlistArray::create(elements);
    const auto dictionary = PlistMutableDictionary::create();
    dictionary->setValueForKey(list.get(), PlistString::create("_AllowedClients").get());
    const auto service = VantoServiceBundle::initWithBundle(nullptr);
    const test::VantoServiceBundleFields fields{*service};
    fields.serviceDictionary() = dictionary;
    fields.serviceDictionaryPredicate() = -1;
    setupConnectionValidatorIfNeeded(*service);
    evaluate(program);
  });
  EXPECT_EQ(outcome.lines, (before + Lines{errorLine("Could not create requirement ((null)) for client: 77, :nothing, "
                                                     "not a string"),
                                           "refused"}));
}

TEST_F(ClientValidation, HoldsTheListItself) {
  const ChildOutcome outcome = runWith(bundleAllowingTexts({"one"}), [](ServiceProgram& program) {
    // The bundle and its Info dictionary are gone by now.
    program.host.answers().requirements["one"].isSatisfied = true;
    program.reportLogOnly();
    evaluate(program);
    evaluate(program);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, installed + Lines({"accepted", "accepted"}));
}

TEST_F(ClientValidation, NeverDropsItsReferenceToAListEvenToOneThatIsReplaced) {
  const ChildOutcome outcome = run([](ServiceProgram& program) {
    const auto first = PlistMutableArray::create();
    const auto second = PlistMutableArray::create();
    second->append(PlistString::create("valid").get());
    for (const auto& list : {first, second}) {
      const auto dictionary = PlistMutableDictionary::create();
      dictionary->setValueForKey(list.get(), PlistString::create("_AllowedClients").get());
      const auto service = VantoServiceBundle::initWithBundle(nullptr);
      const test::VantoServiceBundleFields fields{*service};
      fields.serviceDictionary() = dictionary;
      fields.serviceDictionaryPredicate() = -1;
      setupConnectionValidatorIfNeeded(*service);
    }
    program.report(std::to_string(first->referenceCount()) + " " + std::to_string(second->referenceCount()));
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  // Only the second one is not empty. Each is held by the test too.
  EXPECT_EQ(outcome.lines, installed + Lines{"2 2"});
}

TEST_F(ClientValidation, IsAskedOnceForEachClientThatConnects) {
  const ChildOutcome outcome = run(bundleAllowingTexts({"valid"}), [](ServiceProgram& program) {
    program.reportLogOnly();
    program.host.answers().requirements["valid"].isSatisfied = true;
    program.host.answers().codeStatuses[78] = -5;
    program.host.whileRunning([&program] {
      static_cast<void>(program.host.connect(identifier, client));
      EXPECT_EQ(program.host.connect(identifier, {78, 1, 1}).error(), VANTO_ERROR_REFUSED);
      EXPECT_EQ(program.host.count("VexCodeCopyGuestWithAttributes"), 2U);
    });
    program.serviceMain([](vanto_object_t, vanto_object_t) { handled = true; });
    program.report(handled ? "handled" : "not handled");
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (Lines{errorLine("Could not get dynamic code reference for client: 78; status: -5"),
                                  "returned 0", "handled"}));
}

TEST_F(ClientValidation, LeavesNothingBehindWhenTheScopeOfItsCallerCloses) {
  const ChildOutcome outcome = runWith(bundleAllowingTexts({"one"}), [](ServiceProgram& program) {
    program.reportLogOnly();
    const std::int64_t living = liveObjectCount();
    {
      const TemporaryScope scope;
      static_cast<void>(connectionEvaluator(client.token()));
    }
    EXPECT_EQ(liveObjectCount(), living);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, installed);
}

TEST_F(ClientValidation, AnswersSeveralThreadsAtOnce) {
  const ChildOutcome outcome = runWith(bundleAllowingTexts({"one", "two"}), [](ServiceProgram& program) {
    program.reportLogOnly();
    program.host.answers().requirements["two"].isSatisfied = true;
    constexpr int count = 8;
    std::atomic<int> accepted = 0;
    std::barrier start(count);
    std::vector<std::thread> threads;
    for (int index = 0; index < count; ++index) {
      threads.emplace_back([&] {
        const TemporaryScope scope;
        start.arrive_and_wait();
        if (connectionEvaluator(client.token())) ++accepted;
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(accepted, count);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, installed);
}

}  // namespace
}  // namespace vanto::testing
