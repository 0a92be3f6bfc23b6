// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include <VantoService/PropertyList.h>

namespace vanto::tool {

/// Which elements of the XML form hold the text of data and of dates. The library reads and writes that text, so other
/// forms that use it agree with it to the letter.
enum class LeafKind { Data, Date };

/// The text of a data value or a date in XML; empty, with the reason in `problem`, when XML cannot carry it.
[[nodiscard]] std::string leafText(const PlistValue& leaf, std::string& problem);

/// The value with that text in XML; null, with the reason in `problem`, when it has none.
[[nodiscard]] Ref<PlistValue> createLeaf(LeafKind kind, std::string_view text, std::string& problem);

}  // namespace vanto::tool
