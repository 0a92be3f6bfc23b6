// SPDX-License-Identifier: Apache-2.0
#include "jobdata/JobDataDescription.h"

#include <string_view>
#include <utility>

#include "ipc/DescriptionText.h"
#include "value/limits.h"

namespace vanto {
namespace {

void addNode(DescriptionText& text, const tolven_data* data, std::size_t depth);

void addBytes(DescriptionText& text, const tolven_data::Bytes* bytes) {
  if (bytes == nullptr) return text.addBytes(nullptr, 0);
  text.addBytes(bytes->contents.data(), bytes->contents.size());
}

void addElements(DescriptionText& text, const tolven_data::Elements& elements, std::size_t depth) {
  if (depth > limits::jobDataDescriptionNesting) return text.add("[...]");
  text.add("[");
  std::string_view separator;
  for (const tolven_data::Owned& element : elements) {
    if (text.isFull()) return;
    text.add(std::exchange(separator, ", "));
    addNode(text, element.get(), depth);
  }
  text.add("]");
}

void addEntries(DescriptionText& text, const tolven_data::Entries& entries, std::size_t depth) {
  if (depth > limits::jobDataDescriptionNesting) return text.add("{...}");
  text.add("{");
  std::string_view separator;
  for (const auto& [key, value] : entries) {
    if (text.isFull()) return;
    text.add(std::exchange(separator, ", "));
    text.addQuoted(key);
    text.add(": ");
    addNode(text, value.get(), depth);
  }
  text.add("}");
}

/// `depth` is the number of containers around the node.
void addNode(DescriptionText& text, const tolven_data* data, std::size_t depth) {
  if (data == nullptr) return text.add("(null)");
  switch (data->kind()) {
    case TOLVEN_DATA_DICTIONARY:
      return addEntries(text, *data->content<tolven_data::Entries>(), depth + 1);
    case TOLVEN_DATA_INTEGER:
      return text.addNumber(*data->content<std::int64_t>());
    case TOLVEN_DATA_REAL:
      return text.addNumber(*data->content<double>());
    case TOLVEN_DATA_BOOL:
      return text.add(*data->content<bool>() ? "true" : "false");
    case TOLVEN_DATA_STRING:
      return text.addQuoted(*data->content<std::string>());
    default:
      break;
  }
  const auto* elements = data->content<tolven_data::Elements>();
  if (elements != nullptr) return addElements(text, *elements, depth + 1);
  addBytes(text, data->content<tolven_data::Bytes>());
}

}  // namespace

std::string describeJobData(const tolven_data* data) {
  DescriptionText text(limits::jobDataDescriptionBytes);
  addNode(text, data, 0);
  return text.take();
}

}  // namespace vanto
