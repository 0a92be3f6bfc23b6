// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <VantoService/PlistDictionary.h>
#include <VantoService/VantoServiceBundle.h>

#include "vanto/Columns.h"

namespace vanto::tool {

/// What tables and JSON say of a service, one line or object for each.
struct ServiceSummary {
  /// "IDENTIFIER", "TYPE" and so on.
  [[nodiscard]] static Row headline();
  /// The cells of a service; `path` is where its bundle is.
  [[nodiscard]] static Row row(VantoServiceBundle& service, const std::string& path);
  /// The same for scripts: `bundle`, and where there are any `identifier`, `executable` and `type`.
  [[nodiscard]] static Ref<PlistMutableDictionary> dictionary(VantoServiceBundle& service, const std::string& path);
};

/// Sets `text` under `key`; text that is not UTF-8 with its other bytes escaped.
void setText(PlistMutableDictionary& dictionary, const char* key, const std::string& text);

}  // namespace vanto::tool
