// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vanto::tool {

/// Text from a file, an argument or the system, for a line on a terminal. Everything that could do more there than show
/// a character is escaped: control characters as `\n`, `\t`, `\r` and `\x1b`, invisible characters and those that
/// change the direction of text as `\u{202e}`, bytes that are not UTF-8 as `\xff`. A backslash is doubled, so that each
/// text has one form and each form one text.
[[nodiscard]] std::string visible(std::string_view bytes);

/// JSON text in which the characters that visible() escapes are written as `\u202e`. `json` is valid UTF-8, and such
/// characters stand in its strings only.
[[nodiscard]] std::string visibleJson(std::string_view json);

/// The same for an XML document, in which such characters are written as `&#x202e;`; line feeds and tabs stay.
[[nodiscard]] std::string visibleXml(std::string_view xml);

/// Text of several lines: each line as visible() makes it, and the line feeds between them.
[[nodiscard]] std::string visibleLines(std::string_view text);

/// How many columns of a terminal `text` takes, which visible() made.
[[nodiscard]] std::size_t columnsOf(std::string_view text) noexcept;

/// `text`, which visible() made, in at most `columns` columns: where it has more, an ellipsis stands for its middle.
[[nodiscard]] std::string cutToColumns(std::string_view text, std::size_t columns);

}  // namespace vanto::tool
