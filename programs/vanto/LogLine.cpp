// SPDX-License-Identifier: Apache-2.0
#include "vanto/LogLine.h"

#include "vanto/LocalTime.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {

LogLine LogLine::read(ReplyReader& reader) {
  LogLine line;
  line.time = reader.integer("time");
  line.pid = reader.integer("pid");
  line.text = reader.text("text");
  return line;
}

std::vector<LogLine> LogLine::readAll(ReplyReader& reader) {
  std::vector<LogLine> lines;
  reader.eachOf("lines", [&lines](ReplyReader& line) { lines.push_back(read(line)); });
  return lines;
}

std::string LogLine::line() const {
  return localTimeText(time) + "  " + std::to_string(pid) + "  " + visible(text);
}

}  // namespace vanto::tool
