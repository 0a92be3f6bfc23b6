// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoServiceConstants.h>

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string_view>

#include <VantoService/KorFunctions.h>

namespace {

struct Constant {
  PlistString* string;
  std::string_view text;
};

const Constant constants[] = {
    {VantoServiceBundleExtention, "vanto"},
    {VantoServiceBundleInfoDictionaryKey, "VantoService"},
    {VantoServiceDictionaryServiceTypeKey, "ServiceType"},
    {VantoServiceDictionaryJoinExistingSessionKey, "JoinExistingSession"},
    {VantoServiceDictionaryEnvironmentVariablesKey, "EnvironmentVariables"},
    {VantoServiceDictionaryRunloopTypeKey, "RunLoopType"},
    {VantoServiceDictionarySandboxProfileKey, "_SandboxProfile"},
    {VantoServiceDictionaryUseQelApplicationMainKey, "_UseQelApplicationMain"},
    {VantoServiceDictionaryMultipleInstancesKey, "_MultipleInstances"},
    {VantoServiceDictionaryRoleAccountKey, "_RoleAccount"},
    {VantoServiceDictionaryAllowedClientsKey, "_AllowedClients"},
};

TEST(VantoServiceConstants, HaveTheirTexts) {
  for (const Constant& constant : constants) {
    EXPECT_EQ(constant.string->text(), constant.text);
    EXPECT_STREQ(constant.string->utf8(), std::string(constant.text).c_str());
  }
}

TEST(VantoServiceConstants, AreImmutableStrings) {
  for (const Constant& constant : constants) {
    EXPECT_EQ(&constant.string->runtimeClass(), &PlistString::classDescriptor()) << constant.text;
    EXPECT_EQ(KorGetTypeID(constant.string), KorStringGetTypeID()) << constant.text;
    EXPECT_TRUE(constant.string->isEqual(PlistString::create(constant.text).get())) << constant.text;
  }
}

TEST(VantoServiceConstants, OutliveEveryRelease) {
  for (const Constant& constant : constants) {
    constant.string->retain();
    for (int i = 0; i < 3; ++i) constant.string->release();
    EXPECT_EQ(constant.string->referenceCount(), UINT32_MAX);
    EXPECT_EQ(constant.string->text(), constant.text);
  }
}

TEST(VantoServiceConstants, AreKeysOfDictionaries) {
  const vanto::Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  dictionary->setValueForKey(PlistBoolean::of(true), VantoServiceDictionaryRoleAccountKey);
  EXPECT_EQ(dictionary->valueForKey("_RoleAccount"), PlistBoolean::of(true));
  EXPECT_EQ(dictionary->valueForKey(VantoServiceDictionaryRoleAccountKey), PlistBoolean::of(true));
}

TEST(VantoServiceConstants, HoldTheVersionNumberToTheBit) {
  EXPECT_EQ(std::bit_cast<std::uint64_t>(VantoServiceVersionNumber), 0x3FF0000000000000U);
}

TEST(VantoServiceConstants, HoldTheVersionStringByteForByte) {
  constexpr unsigned char expected[] = {'@', '(', '#', ')', 'P', 'R', 'O', 'G', 'R', 'A',  'M', ':', 'V',
                                        'a', 'n', 't', 'o', 'S', 'e', 'r', 'v', 'i', 'c',  'e', ' ', ' ',
                                        'P', 'R', 'O', 'J', 'E', 'C', 'T', ':', 'V', 'a',  'n', 't', 'o',
                                        'S', 'e', 'r', 'v', 'i', 'c', 'e', '-', '1', '\n', '\0'};
  for (std::size_t i = 0; i < sizeof expected; ++i) EXPECT_EQ(VantoServiceVersionString[i], expected[i]) << i;
}

}  // namespace
