// SPDX-License-Identifier: Apache-2.0
#include "vanto/CacheDocument.h"

#include <fstream>

#include <gtest/gtest.h>

#include <VantoService/TemporaryScope.h>

#include "support/TemporaryDirectory.h"
#include "support/Values.h"

namespace vanto::tool {
namespace {

using namespace vanto::testing;
using Texts = std::vector<std::string>;

class CacheDocumentTest : public ::testing::Test {
 protected:
  static std::string refusal(Object* value) {
    std::string problem;
    EXPECT_FALSE(CacheDocument::of(value, problem));
    return problem;
  }
  static PlistDictionary* document(Object* version, Object* places, Object* bundles, Object* services) {
    return dictionary({{string("VantoServiceCacheVersion"), version},
                       {string("Places"), places},
                       {string("Bundles"), bundles},
                       {string("Services"), services}});
  }

 private:
  const TemporaryScope scope_;
};

TEST_F(CacheDocumentTest, IsReadAsItIsWritten) {
  CacheDocument cache;
  cache.places = {"/a", "/b"};
  cache.bundles = {"/a/x.vanto"};
  cache.archives = Ref<PlistArray>::share(array({dictionary({})}));
  std::string problem;
  const std::optional<CacheDocument> read = CacheDocument::of(cache.value().get(), problem);
  ASSERT_TRUE(read) << problem;
  EXPECT_EQ(read->places, cache.places);
  EXPECT_EQ(read->bundles, cache.bundles);
  EXPECT_TRUE(read->archives->isEqual(cache.archives.get()));
}

TEST_F(CacheDocumentTest, IsRefusedForAnythingElse) {
  EXPECT_EQ(refusal(nullptr), "is no cache of services");
  EXPECT_EQ(refusal(array({})), "is no cache of services");
  EXPECT_EQ(refusal(dictionary({})), "is no cache of services");
  EXPECT_EQ(refusal(document(number(2), array({}), array({}), array({}))),
            "is a cache of version 2, which is not known here");
  EXPECT_EQ(refusal(document(number(1), number(1), array({}), array({}))), "Places: is no array of strings");
  EXPECT_EQ(refusal(document(number(1), array({}), array({number(1)}), array({}))), "Bundles: is no array of strings");
  const std::string services = "Services: is no array with an archive for each bundle";
  EXPECT_EQ(refusal(document(number(1), array({}), array({}), string("x"))), services);
  EXPECT_EQ(refusal(document(number(1), array({}), array({string("x")}), array({}))), services);
}

TEST_F(CacheDocumentTest, NamesTheFileThatIsNone) {
  const test::TemporaryDirectory directory;
  std::ofstream(directory / "file") << "{}";
  std::string problem;
  EXPECT_FALSE(CacheDocument::read(directory / "file", problem));
  EXPECT_EQ(problem, directory.path() + "/file: is no cache of services; vanto cache write makes one");
}

}  // namespace
}  // namespace vanto::tool
