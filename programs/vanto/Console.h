// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vanto::tool {

/// How the reader of a stream sees it.
struct Display {
  bool isTerminal = false;
  bool hasColour = false;
  /// Of a terminal.
  std::size_t columns = 80;
  std::size_t lines = 24;

  /// Of a descriptor of this process. NO_COLOR and TERM=dumb take the colours away.
  [[nodiscard]] static Display of(int descriptor);
};

enum class Style { Plain, Bold, Dim, Error, Warning };

/// The two streams that a command writes to. Text that it is given has gone through visible(), or is the program's own.
class Console {
 public:
  /// Over descriptors that outlive it.
  Console(int output, int messages, Display outputDisplay, Display messageDisplay) noexcept;
  /// Over standard output and standard error.
  [[nodiscard]] static Console ofProcess();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  [[nodiscard]] const Display& output() const noexcept { return outputDisplay_; }
  [[nodiscard]] const Display& messages() const noexcept { return messageDisplay_; }

  /// Appends to the output, which is written in large pieces.
  void print(std::string_view text);
  void printLine(std::string_view text);
  /// Writes what was printed so far.
  void flush();
  /// False once a part of the output could not be written, so that more of it is in vain.
  [[nodiscard]] bool isOutputFine() const noexcept { return outputError_ == 0; }

  /// Writes one line of complaint to the messages, behind all that was printed before.
  void complain(std::string_view text);
  /// Writes `text`, which need not be a line, to the messages as it is.
  void note(std::string_view text);

  /// `text` in a style, as far as the output has colours.
  [[nodiscard]] std::string styled(Style style, std::string_view text) const;

  /// Writes what is left. False, with a complaint, when any part of the output could not be written.
  [[nodiscard]] bool finish();

 private:
  int output_;
  int messages_;
  Display outputDisplay_;
  Display messageDisplay_;
  std::string pending_;
  /// errno of the first write that failed; the output is over then.
  int outputError_ = 0;
};

}  // namespace vanto::tool
