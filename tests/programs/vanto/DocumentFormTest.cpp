// SPDX-License-Identifier: Apache-2.0
#include "vanto/DocumentForm.h"

#include <gtest/gtest.h>

#include <VantoService/PlistDate.h>
#include <VantoService/TemporaryScope.h>

#include "support/Values.h"

namespace vanto::tool {
namespace {

using namespace vanto::testing;

class DocumentFormTest : public ::testing::Test {
 protected:
  static std::string refusal(std::string_view document) {
    std::string problem;
    EXPECT_FALSE(readDocument(document, "NAME", problem));
    return problem;
  }
  static std::string unwritable(Object* value, DocumentForm form) {
    std::string problem;
    EXPECT_FALSE(writeDocument(*value, form, problem));
    return problem;
  }

 private:
  const TemporaryScope scope_;
};

TEST_F(DocumentFormTest, IsFoundOut) {
  Object* value = dictionary({{string("a"), array({number(1), string("x")})}});
  for (const DocumentForm form : {DocumentForm::Xml, DocumentForm::Binary, DocumentForm::Json}) {
    std::string problem;
    const std::optional<std::string> document = writeDocument(*value, form, problem);
    ASSERT_TRUE(document) << problem;
    const Ref<PlistValue> read = readDocument(*document, "NAME", problem);
    ASSERT_TRUE(read) << problem;
    EXPECT_TRUE(read->isEqual(value)) << nameOf(form);
  }
}

TEST_F(DocumentFormTest, TellsTheLineAndColumnOfAMistake) {
  EXPECT_TRUE(refusal("<plist>\n<x/></plist>").starts_with("NAME:2:")) << refusal("<plist>\n<x/></plist>");
  EXPECT_TRUE(refusal("{\n1}").starts_with("NAME:2:1: no JSON: ")) << refusal("{\n1}");
  EXPECT_EQ(refusal("{\"a\": null}"), "NAME: a: null has no counterpart; leave the entry out");
  EXPECT_TRUE(refusal("").starts_with("NAME")) << refusal("");
}

TEST_F(DocumentFormTest, TellsTheByteOfAMistakeInBinary) {
  std::string problem;
  std::string document = *writeDocument(*array({string("abc")}), DocumentForm::Binary, problem);
  document.pop_back();
  EXPECT_TRUE(refusal(document).starts_with("NAME: byte ")) << refusal(document);
}

TEST_F(DocumentFormTest, NamesTheKeyOfWhatItCannotCarry) {
  Object* bad = string("\x1b");
  Object* value = dictionary({{string("a"), array({number(1), bad})}, {string("b"), string("x")}});
  EXPECT_TRUE(unwritable(value, DocumentForm::Xml).starts_with("a[1]: ")) << unwritable(value, DocumentForm::Xml);
  Object* key = dictionary({{string("a\x1b"), number(1)}});
  EXPECT_TRUE(unwritable(key, DocumentForm::Xml).starts_with("\"a\\x1b\": ")) << unwritable(key, DocumentForm::Xml);
  EXPECT_TRUE(unwritable(array({nullptr}), DocumentForm::Binary).starts_with("[0]: "));
  EXPECT_EQ(unwritable(array({nullptr}), DocumentForm::Json), "[0]: an array with a hole");
  Object* date = PlistDate::create(0.5).asTemporary();
  EXPECT_TRUE(unwritable(date, DocumentForm::Xml).starts_with("the outermost value: "));
}

TEST_F(DocumentFormTest, NamesNoKeyOfWhatIsTooLargeAsAWhole) {
  Object* half = string(std::string(std::size_t{40} << 20, 'x'));
  for (const DocumentForm form : {DocumentForm::Xml, DocumentForm::Binary}) {
    // Other strings, since the binary form has each only once.
    Object* other = string(std::string(std::size_t{40} << 20, 'y'));
    EXPECT_EQ(unwritable(array({half, other}), form),
              "the outermost value: a value that takes more than 64 MiB cannot be written");
  }
}

}  // namespace
}  // namespace vanto::tool
