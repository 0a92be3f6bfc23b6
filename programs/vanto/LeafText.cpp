// SPDX-License-Identifier: Apache-2.0
#include "vanto/LeafText.h"

namespace vanto::tool {

std::string leafText(const PlistValue& leaf, std::string& problem) {
  PropertyListError error;
  const Ref<PlistData> data = createPropertyListXML(leaf, &error);
  if (!data) {
    problem = error.message;
    return {};
  }
  const std::string_view document(reinterpret_cast<const char*>(data->bytes().data()), data->length());
  // The text stands between the tags of the last element but the root: <data>AAEC</data> </plist>.
  const std::size_t end = document.rfind("</", document.rfind("</plist>") - 1);
  const std::size_t begin = end == document.npos ? end : document.rfind('>', end);
  return begin == document.npos ? std::string() : std::string(document.substr(begin + 1, end - begin - 1));
}

Ref<PlistValue> createLeaf(LeafKind kind, std::string_view text, std::string& problem) {
  if (text.find_first_of("<&") != text.npos) {
    problem = "a character that does not belong there";
    return nullptr;
  }
  const std::string name = kind == LeafKind::Data ? "data" : "date";
  const std::string document = "<plist><" + name + ">" + std::string(text) + "</" + name + "></plist>";
  PropertyListError error;
  Ref<PlistValue> leaf =
      createPropertyList({reinterpret_cast<const std::uint8_t*>(document.data()), document.size()}, &error);
  if (!leaf) problem = error.message;
  return leaf;
}

}  // namespace vanto::tool
