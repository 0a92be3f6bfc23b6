// SPDX-License-Identifier: Apache-2.0
#include "vanto/IpcTree.h"

#include <cstdlib>
#include <map>
#include <memory>

#include <VantoService/PlistNumber.h>

#include "vanto/ValueTree.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

using Entries = std::map<std::string, vanto_object_t>;

struct Free {
  void operator()(char* text) const noexcept { std::free(text); }
};

/// Kind and value of an object, of a container its kind alone.
std::string objectText(vanto_object_t object) {
  switch (vanto_kind(object)) {
    case VANTO_KIND_DICTIONARY:
      return "dictionary";
    case VANTO_KIND_ARRAY:
      return "array";
    case VANTO_KIND_INT64:
      return "int64 " + std::to_string(vanto_int64_get_value(object));
    case VANTO_KIND_DOUBLE:
      return "double " + leafLine(PlistNumber::create(vanto_double_get_value(object)).get());
    case VANTO_KIND_BOOL:
      return vanto_bool_get_value(object) ? "bool true" : "bool false";
    case VANTO_KIND_STRING:
      return "string \"" + visible({vanto_string_get_text(object), vanto_string_get_length(object)}) + '"';
    case VANTO_KIND_DATA:
      return "data " + std::to_string(vanto_data_get_length(object)) +
             (vanto_data_get_length(object) == 1 ? " byte" : " bytes");
    default:
      break;
  }
  const std::unique_ptr<char, Free> description(vanto_copy_description(object));
  return description ? visible(description.get()) : "(nothing)";
}

void appendObject(TreeText& text, const std::string& name, vanto_object_t object, std::size_t level) {
  if (!text.add(level, (name.empty() ? name : name + ": ") + objectText(object))) return;
  if (vanto_kind(object) == VANTO_KIND_DICTIONARY) {
    Entries entries;
    static_cast<void>(vanto_dictionary_apply(
        object,
        [](const char* key, vanto_object_t value, void* context) {
          static_cast<Entries*>(context)->emplace(key, value);
          return true;
        },
        &entries));
    for (const auto& [key, value] : entries) appendObject(text, visible(key), value, level + 1);
  } else if (vanto_kind(object) == VANTO_KIND_ARRAY) {
    for (std::size_t index = 0; index < vanto_array_get_count(object) && !text.isFull(); ++index) {
      appendObject(text, "[" + std::to_string(index) + "]", vanto_array_get_value(object, index), level + 1);
    }
  }
}

}  // namespace

std::string ipcTree(vanto_object_t object, std::size_t level, TreeText text) {
  appendObject(text, "", object, level);
  return text.take();
}

}  // namespace vanto::tool
