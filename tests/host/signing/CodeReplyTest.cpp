// SPDX-License-Identifier: Apache-2.0
#include "signing/CodeReply.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/ipc/CodecSample.h"
#include "ipc/Codec.h"
#include "signing/Requirement.h"
#include "signing/RequirementParser.h"
#include "support/PropertyLists.h"
#include "support/SampleFiles.h"
#include "support/Values.h"
#include "value/limits.h"

namespace vanto::testing {
namespace {

using test::own;
using Object = Ref<vanto_object>;
using Entries = std::map<std::string, Object>;

const std::string fingerprint(64, 'f');

Object text(const std::string& value) {
  return own(vanto_string_create(value.c_str()));
}
Object integer(std::int64_t value) {
  return own(vanto_int64_create(value));
}
Object boolean(bool value) {
  return own(vanto_bool_create(value));
}
Object data(const std::string& value) {
  return own(vanto_data_create(value.data(), value.size()));
}
Object list(const std::vector<Object>& elements) {
  Object result = own(vanto_array_create(nullptr, 0));
  for (const Object& element : elements) vanto_array_append_value(result.get(), element.get());
  return result;
}

std::string document(std::string_view element) {
  return "<plist version=\"1.0\">" + std::string(element) + "</plist>";
}

/// The reply for valid code.
Entries validReply() {
  return {{"status", integer(0)},
          {"valid", boolean(true)},
          {"identifier", text("org.vanto.client")},
          {"fingerprint", text(fingerprint)},
          {"signers", list({text("Vanto"), text("Other")})},
          {"digest", data(std::string(32, '\xab'))},
          {"entitlements", data(document("<dict><key>camera</key><true/></dict>"))},
          {"reason", text("")},
          {"device", integer(66)},
          {"inode", integer(-7)}};
}

/// The reply for code that has no signature.
Entries unsignedReply() {
  return {{"status", integer(0)},
          {"valid", boolean(false)},
          {"digest", data(std::string(32, '\x01'))},
          {"reason", text("it has no signature")},
          {"device", integer(66)},
          {"inode", integer(8)}};
}

Entries failureReply(std::int64_t status) {
  return {{"status", integer(status)}, {"reason", text("it is traced")}};
}

CodeReply decode(const Entries& entries) {
  const Object reply = own(vanto_dictionary_create(nullptr, nullptr, 0));
  for (const auto& [key, value] : entries) vanto_dictionary_set_value(reply.get(), key.c_str(), value.get());
  return decodeCodeReply(reply.get());
}

Entries with(Entries entries, const std::string& key, Object value) {
  entries[key] = std::move(value);
  return entries;
}

Entries without(Entries entries, const std::string& key) {
  entries.erase(key);
  return entries;
}

/// Nothing of a reply that is none is taken over.
void expectNothingKnown(const CodeReply& reply) {
  EXPECT_FALSE(reply.facts.isValid);
  EXPECT_EQ(reply.facts.identifier, "");
  EXPECT_EQ(reply.facts.digestHex, "");
  EXPECT_TRUE(reply.facts.signerNames.empty());
  EXPECT_FALSE(reply.facts.entitlements);
  EXPECT_EQ(reply.facts.reason, "");
  EXPECT_EQ(reply.facts.device, 0);
  EXPECT_EQ(reply.facts.inode, 0);
}

/// What is wrong with a reply; a reply with facts, or a failure that the service reports, gives its status.
std::string mistakeIn(const Entries& entries) {
  const CodeReply reply = decode(entries);
  const std::string before = "wrong reply: ";
  if (!reply.reason.starts_with(before)) return std::to_string(reply.status);
  EXPECT_EQ(reply.status, VexStatusUnavailable);
  expectNothingKnown(reply);
  return reply.reason.substr(before.size());
}

TEST(CodeReply, GivesTheFactsOfValidCode) {
  const CodeReply reply = decode(validReply());
  EXPECT_EQ(reply.status, 0);
  EXPECT_EQ(reply.reason, "");
  EXPECT_TRUE(reply.facts.isValid);
  EXPECT_EQ(reply.facts.identifier, "org.vanto.client");
  std::string digest;
  for (int byte = 0; byte < 32; ++byte) digest += "ab";
  EXPECT_EQ(reply.facts.digestHex, digest);
  EXPECT_EQ(reply.facts.signerNames, (std::vector<std::string>{fingerprint, "Vanto", "Other"}));
  ASSERT_TRUE(reply.facts.entitlements);
  EXPECT_EQ(reply.facts.entitlements->valueForKey("camera"), PlistBoolean::of(true));
  EXPECT_EQ(reply.facts.reason, "");
  EXPECT_EQ(reply.facts.device, 66);
  EXPECT_EQ(reply.facts.inode, -7);
}

TEST(CodeReply, GivesDigestFileAndReasonOfOtherCode) {
  const CodeReply reply = decode(unsignedReply());
  EXPECT_EQ(reply.status, 0);
  EXPECT_FALSE(reply.facts.isValid);
  EXPECT_EQ(reply.facts.reason, "it has no signature");
  EXPECT_EQ(reply.facts.digestHex.substr(0, 4), "0101");
  EXPECT_EQ(reply.facts.device, 66);
  EXPECT_EQ(reply.facts.inode, 8);
}

TEST(CodeReply, BelievesNothingThatASignatureSaysThatDoesNotCount) {
  Entries entries = with(with(validReply(), "valid", boolean(false)), "reason", text("its key is not trusted"));
  // What it says need not even be well made.
  entries["entitlements"] = data("no list");
  entries["fingerprint"] = text("");
  entries["signers"] = list({integer(1)});
  const CodeReply reply = decode(entries);
  EXPECT_EQ(reply.status, 0);
  EXPECT_EQ(reply.facts.identifier, "");
  EXPECT_TRUE(reply.facts.signerNames.empty());
  EXPECT_FALSE(reply.facts.entitlements);
  EXPECT_EQ(reply.facts.reason, "its key is not trusted");
  EXPECT_EQ(reply.facts.digestHex.size(), 64U);
}

TEST(CodeReply, ANameThatLooksLikeAFingerprintNamesNobody) {
  const std::string other(64, 'e');
  const CodeReply reply = decode(with(
      validReply(), "signers",
      list({text(other), text("Vanto"), text(std::string(64, 'E')), text(fingerprint), text(std::string(63, 'e'))})));
  EXPECT_EQ(reply.status, 0);
  EXPECT_EQ(reply.facts.signerNames, (std::vector<std::string>{fingerprint, "Vanto", std::string(63, 'e')}));
  EXPECT_FALSE(compileRequirement("signer \"" + other + "\"")->isSatisfiedBy(reply.facts));
  EXPECT_TRUE(compileRequirement("signer \"" + fingerprint + "\"")->isSatisfiedBy(reply.facts));
}

TEST(CodeReply, EntitlementsNeedNotBeThere) {
  for (const Entries& entries : {without(validReply(), "entitlements"), with(validReply(), "entitlements", data(""))}) {
    const CodeReply reply = decode(entries);
    EXPECT_EQ(reply.status, 0);
    EXPECT_FALSE(reply.facts.entitlements);
  }
  const CodeReply reply = decode(with(validReply(), "entitlements", data(document("<dict/>"))));
  ASSERT_TRUE(reply.facts.entitlements);
  EXPECT_EQ(reply.facts.entitlements->count(), 0U);
}

TEST(CodeReply, TakesEntitlementsFromSealedMemory) {
  const std::string bytes = document("<dict><key>camera</key><string>front</string></dict>");
  const Fd memory = test::memoryFile(bytes);
  const CodeReply reply =
      decode(with(validReply(), "entitlements", own(vanto_data_create_with_sealed_fd(memory.get(), bytes.size()))));
  ASSERT_TRUE(reply.facts.entitlements);
  EXPECT_TRUE(reply.facts.entitlements->valueForKey("camera")->isEqual(string("front")));
}

TEST(CodeReply, PassesOnTheStatusesOfTheService) {
  for (const std::int64_t status : {-1, -2, -3, -4, -5, -6, -7, -100, INT32_MIN}) {
    const CodeReply reply = decode(failureReply(status));
    EXPECT_EQ(reply.status, status);
    EXPECT_EQ(reply.reason, "it is traced");
    expectNothingKnown(reply);
  }
}

TEST(CodeReply, RefusesOtherStatuses) {
  for (const std::int64_t status :
       {std::int64_t{1}, std::int64_t{7}, std::int64_t{INT32_MIN} - 1, INT64_MIN, INT64_MAX, std::int64_t{1} << 32}) {
    EXPECT_EQ(mistakeIn(failureReply(status)), "status is none that there is") << status;
  }
}

TEST(CodeReply, TakesErrorsForFailures) {
  const CodeReply late = decodeCodeReply(own(vanto_error_create(VANTO_ERROR_TIMED_OUT, "too late")).get());
  EXPECT_EQ(late.status, -6);
  EXPECT_EQ(late.reason, "too late");
  expectNothingKnown(late);
  for (const auto code : {VANTO_ERROR_NO_SERVICE, VANTO_ERROR_CLOSED, VANTO_ERROR_REFUSED}) {
    const CodeReply reply = decodeCodeReply(own(vanto_error_create(code, nullptr)).get());
    EXPECT_EQ(reply.status, VexStatusUnavailable);
    EXPECT_EQ(reply.reason, vanto_error_text(code));
  }
}

TEST(CodeReply, ShortensTheTextOfAnErrorBetweenCharacters) {
  const std::string before(limits::codeTextBytes - 1, 'x');
  const auto reasonOf = [](const std::string& words) {
    return decodeCodeReply(own(vanto_error_create(VANTO_ERROR_CLOSED, words.c_str())).get()).reason;
  };
  EXPECT_EQ(reasonOf(before + "y"), before + "y");
  EXPECT_EQ(reasonOf(before + "yz"), before + "y");
  EXPECT_EQ(reasonOf(before + "\u00e4"), before);
  EXPECT_EQ(reasonOf(before + "\U0001f600z"), before);
}

TEST(CodeReply, RefusesWhatIsNoDictionary) {
  std::vector<Object> others = {nullptr,           text("a"),
                                integer(0),        boolean(true),
                                data("a"),         own(vanto_double_create(0)),
                                list({text("a")}), own(vanto_fd_create(0))};
  for (const Object& other : others) {
    const CodeReply reply = decodeCodeReply(other.get());
    EXPECT_EQ(reply.status, VexStatusUnavailable);
    EXPECT_EQ(reply.reason, "wrong reply: it is no dictionary");
    expectNothingKnown(reply);
  }
  EXPECT_EQ(mistakeIn({}), "status is missing or of another kind");
}

TEST(CodeReply, RefusesAMissingKey) {
  for (const auto& [key, value] : validReply()) {
    const std::string mistake = mistakeIn(without(validReply(), key));
    EXPECT_EQ(mistake, key == "entitlements" || key == "reason" ? "0" : key + " is missing or of another kind");
  }
  for (const auto& [key, value] : unsignedReply()) {
    EXPECT_EQ(mistakeIn(without(unsignedReply(), key)), key + " is missing or of another kind");
  }
  for (const auto& [key, value] : failureReply(-5)) {
    EXPECT_EQ(mistakeIn(without(failureReply(-5), key)), key + " is missing or of another kind");
  }
}

TEST(CodeReply, RefusesAValueOfAnotherKind) {
  const Object others[] = {text("a"),
                           integer(0),
                           boolean(true),
                           data("a"),
                           own(vanto_double_create(0)),
                           list({}),
                           own(vanto_dictionary_create(nullptr, nullptr, 0)),
                           own(vanto_error_create(VANTO_ERROR_CLOSED, nullptr)),
                           own(vanto_fd_create(0))};
  Entries signedAndNotValid = with(with(validReply(), "valid", boolean(false)), "reason", text("not trusted"));
  for (const Entries& reply : {validReply(), signedAndNotValid, unsignedReply(), failureReply(-5)}) {
    for (const auto& [key, value] : reply) {
      for (const Object& other : others) {
        if (vanto_kind(other.get()) == vanto_kind(value.get())) continue;
        EXPECT_EQ(mistakeIn(with(reply, key, other)), key + " is missing or of another kind");
      }
    }
  }
}

TEST(CodeReply, LetsAdditionsBe) {
  for (const Entries& reply : {validReply(), unsignedReply(), failureReply(-5)}) {
    EXPECT_EQ(mistakeIn(with(reply, "x-more", integer(0))), mistakeIn(reply));
    EXPECT_NE(mistakeIn(with(reply, "xmore", integer(0))), mistakeIn(reply));
  }
}

TEST(CodeReply, RefusesUnknownKeys) {
  for (const Entries& reply : {validReply(), unsignedReply(), failureReply(-5)}) {
    for (const char* key : {"", "more", "Status", "validity", "process"}) {
      EXPECT_EQ(mistakeIn(with(reply, key, integer(0))), std::string(key) + " is unknown");
    }
  }
  EXPECT_EQ(mistakeIn(with(failureReply(-5), "valid", boolean(true))), "valid is unknown");
}

TEST(CodeReply, RefusesWhatCannotBeTrueOfValidCode) {
  EXPECT_EQ(mistakeIn(with(validReply(), "identifier", text(""))), "identifier is empty");
  EXPECT_EQ(mistakeIn(with(validReply(), "reason", text("it is not valid"))), "reason is there for valid code");
  EXPECT_EQ(mistakeIn(with(unsignedReply(), "reason", text(""))), "reason is empty");
  EXPECT_EQ(mistakeIn(with(failureReply(-2), "reason", text(""))), "reason is empty");
  for (const std::string& other :
       {std::string(), std::string(63, 'f'), std::string(65, 'f'), std::string(64, 'F'), std::string(64, 'g')}) {
    EXPECT_EQ(mistakeIn(with(validReply(), "fingerprint", text(other))),
              "fingerprint has not 64 lower-case hexadecimal digits");
  }
  for (const std::size_t length : {0U, 31U, 33U, 64U}) {
    for (const Entries& reply : {validReply(), unsignedReply()}) {
      EXPECT_EQ(mistakeIn(with(reply, "digest", data(std::string(length, 'x')))), "digest has not 32 bytes");
    }
  }
  for (const Object& element : {text(""), integer(1), list({}), data("Vanto")}) {
    EXPECT_EQ(mistakeIn(with(validReply(), "signers", list({text("Vanto"), element}))), "signers hold what is no name");
  }
}

TEST(CodeReply, RefusesEntitlementsThatAreNoDictionaryInXML) {
  const PlistDictionary::Entry entry{string("camera"), string("front")};
  for (const std::string& bytes : {std::string("no list"), document("<array/>"), document("<string>camera</string>"),
                                   document("<true/>"), document("<dict>"), writtenBinary(*dictionary({entry}))}) {
    EXPECT_EQ(mistakeIn(with(validReply(), "entitlements", data(bytes))), "entitlements are no dictionary in XML");
  }
}

TEST(CodeReply, TakesTextsNamesAndEntitlementsUpToTheirLimits) {
  const std::string longest(limits::codeTextBytes, 'x');
  EXPECT_EQ(mistakeIn(with(validReply(), "identifier", text(longest))), "0");
  EXPECT_EQ(mistakeIn(with(validReply(), "identifier", text(longest + "x"))), "identifier is too long");
  EXPECT_EQ(mistakeIn(with(unsignedReply(), "reason", text(longest))), "0");
  EXPECT_EQ(mistakeIn(with(unsignedReply(), "reason", text(longest + "x"))), "reason is too long");
  EXPECT_EQ(mistakeIn(with(unsignedReply(), "identifier", text(longest + "x"))), "identifier is too long");
  EXPECT_EQ(mistakeIn(with(unsignedReply(), "fingerprint", text(longest + "x"))), "fingerprint is too long");
  EXPECT_EQ(decode(with(failureReply(-5), "reason", text(longest))).reason, longest);
  EXPECT_EQ(mistakeIn(with(failureReply(-5), "reason", text(longest + "x"))), "reason is too long");
  EXPECT_EQ(mistakeIn(with(validReply(), "signers", list({text(longest)}))), "0");
  EXPECT_EQ(mistakeIn(with(validReply(), "signers", list({text(longest + "x")}))), "signers hold what is no name");
  const std::vector<Object> names(limits::codeSignerNames, text("Vanto"));
  EXPECT_EQ(mistakeIn(with(validReply(), "signers", list(names))), "0");
  std::vector<Object> more = names;
  more.push_back(text("Vanto"));
  EXPECT_EQ(mistakeIn(with(validReply(), "signers", list(more))), "signers are too many");
  EXPECT_EQ(decode(with(validReply(), "signers", list({}))).facts.signerNames, std::vector<std::string>{fingerprint});

  const std::string shortest = document("<dict/>");
  const std::string blanks(limits::codeEntitlementsBytes - shortest.size(), ' ');
  EXPECT_EQ(mistakeIn(with(validReply(), "entitlements", data(shortest + blanks))), "0");
  EXPECT_EQ(mistakeIn(with(validReply(), "entitlements", data(shortest + blanks + " "))), "entitlements are too long");
}

/// The reply in a sample file, which is an encoded message; null when it is none.
Object replyIn(const test::SampleFile& sample) {
  return decodeObject(test::CodecSample(sample.content).body(), {});
}

TEST(CodeReply, TakesEverySampleToAccept) {
  const std::vector<test::SampleFile> accepted = test::sampleFiles(VANTO_CODE_REPLY_SAMPLES, "accept-");
  ASSERT_GE(accepted.size(), 6U);
  for (const test::SampleFile& sample : accepted) {
    const CodeReply reply = decodeCodeReply(replyIn(sample).get());
    EXPECT_FALSE(reply.reason.starts_with("wrong reply: ")) << sample.name << ": " << reply.reason;
  }
}

TEST(CodeReply, RefusesEverySampleToRefuse) {
  const std::vector<test::SampleFile> refused = test::sampleFiles(VANTO_CODE_REPLY_SAMPLES, "refuse-");
  ASSERT_GE(refused.size(), 15U);
  for (const test::SampleFile& sample : refused) {
    const Object object = replyIn(sample);
    ASSERT_TRUE(object) << sample.name;
    const CodeReply reply = decodeCodeReply(object.get());
    EXPECT_TRUE(reply.reason.starts_with("wrong reply: ")) << sample.name;
    expectNothingKnown(reply);
  }
}

}  // namespace
}  // namespace vanto::testing
