// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <VantoService/PropertyList.h>

namespace vanto::tool {

/// The forms in which property lists are read and written here.
enum class DocumentForm : std::uint8_t { Xml, Binary, Json };

/// The value of a document in whichever of the forms it has. Null with a visible text in `problem`, which begins with
/// `name` and gives line and column, or the key.
[[nodiscard]] Ref<PlistValue> readDocument(std::string_view document, const std::string& name, std::string& problem);

/// `value` as a document. None with a visible text in `problem` that names the key of what the form cannot carry.
[[nodiscard]] std::optional<std::string> writeDocument(const Object& value, DocumentForm form, std::string& problem);

/// "XML", "binary" or "JSON".
[[nodiscard]] const char* nameOf(DocumentForm form) noexcept;

}  // namespace vanto::tool
