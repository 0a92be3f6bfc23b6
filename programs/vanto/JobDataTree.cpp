// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobDataTree.h"

#include <VantoService/PlistNumber.h>

#include "vanto/ValueTree.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

struct Place {
  TreeText& text;
  std::size_t level;
};

void appendNode(TreeText& text, const std::string& name, tolven_data_t node, std::size_t level);

bool appendEntry(const char* key, tolven_data_t value, void* context) {
  const auto& place = *static_cast<Place*>(context);
  appendNode(place.text, visible(key), value, place.level);
  return !place.text.isFull();
}

std::string bytesText(tolven_data_t node) {
  const std::size_t length = tolven_data_get_opaque_length(node);
  return std::to_string(length) + (length == 1 ? " byte" : " bytes");
}

/// Kind and value of a node, of a container its kind alone.
std::string nodeText(tolven_data_t node) {
  const char* text = nullptr;
  switch (tolven_data_get_kind(node)) {
    case TOLVEN_DATA_DICTIONARY:
      return "dictionary";
    case TOLVEN_DATA_ARRAY:
      return tolven_data_get_opaque(node) == nullptr ? "array" : "array of opaque " + bytesText(node);
    case TOLVEN_DATA_INTEGER:
      return "integer " + std::to_string(tolven_data_get_integer(node));
    case TOLVEN_DATA_REAL:
      return "real " + leafLine(PlistNumber::create(tolven_data_get_real(node)).get());
    case TOLVEN_DATA_BOOL:
      return tolven_data_get_bool(node) ? "bool true" : "bool false";
    case TOLVEN_DATA_STRING:
      text = tolven_data_get_string(node);
      return text == nullptr ? "string" : "string \"" + visible(text) + '"';
    case TOLVEN_DATA_OPAQUE:
      return "opaque " + bytesText(node);
    default:
      return "(hole)";
  }
}

void appendNode(TreeText& text, const std::string& name, tolven_data_t node, std::size_t level) {
  if (!text.add(level, (name.empty() ? name : name + ": ") + nodeText(node))) return;
  Place place{text, level + 1};
  // The text itself knows whether it is full.
  static_cast<void>(tolven_data_dict_apply(node, appendEntry, &place));
  for (std::size_t index = 0; index < tolven_data_array_get_count(node) && !text.isFull(); ++index) {
    appendNode(text, "[" + std::to_string(index) + "]", tolven_data_array_get_index(node, index), level + 1);
  }
}

}  // namespace

std::string jobDataTree(tolven_data_t data, std::size_t level, TreeText text) {
  appendNode(text, "", data, level);
  return text.take();
}

}  // namespace vanto::tool
