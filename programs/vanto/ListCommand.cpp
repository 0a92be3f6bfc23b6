// SPDX-License-Identifier: Apache-2.0
#include "vanto/ListCommand.h"

#include <chrono>
#include <memory>
#include <optional>

#include <VantoService/PlistArray.h>
#include <VantoService/TemporaryScope.h>

#include "vanto/Columns.h"
#include "vanto/DocumentForm.h"
#include "vanto/InfoFile.h"
#include "vanto/Progress.h"
#include "vanto/ServicePath.h"
#include "vanto/ServiceSearch.h"
#include "vanto/ServiceSummary.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

using Clock = std::chrono::steady_clock;

/// Where rows go. On a terminal the first appear while later services are still read: their columns follow from the
/// names of all bundles and from as many rows as were there in a moment. Elsewhere the columns fit all rows.
class Rows {
 public:
  explicit Rows(Console& console) : console_(console) { columns_.fit(ServiceSummary::headline()); }

  /// Identifiers are mostly what bundles are called.
  void expect(const std::string& path) {
    constexpr std::size_t extension = sizeof ".vanto" - 1;
    const std::size_t columns = columnsOf(visible(ServicePath::name(path)));
    if (console_.output().isTerminal && columns > extension) columns_.fit(0, columns - extension);
  }

  void add(Row row) {
    ++count_;
    if (!isStreaming_) columns_.fit(row);
    waiting_.push_back(std::move(row));
    if (console_.output().isTerminal && Clock::now() >= nextFlush_) show();
  }

  void show() {
    if (waiting_.empty()) return;
    if (!isStreaming_) {
      console_.printLine(console_.styled(Style::Bold, columns_.line(ServiceSummary::headline(), console_.output())));
    }
    isStreaming_ = true;
    for (const Row& row : waiting_) console_.printLine(columns_.line(row, console_.output()));
    waiting_.clear();
    if (console_.output().isTerminal) console_.flush();
    nextFlush_ = Clock::now() + interval;
  }

  [[nodiscard]] std::size_t count() const noexcept { return count_; }

 private:
  static constexpr std::chrono::milliseconds interval{30};

  Console& console_;
  Columns columns_;
  std::vector<Row> waiting_;
  std::size_t count_ = 0;
  bool isStreaming_ = false;
  Clock::time_point nextFlush_ = Clock::now() + interval;
};

VantoServiceBundle* serviceAt(const std::string& path) {
  const Ref<PlistString> text = PlistString::create(path);
  return text ? VantoServiceBundle::VantoServiceBundleAtPath(text.get()) : nullptr;
}

ExitStatus complainOf(Console& console, const std::vector<std::string>& problems) {
  for (const std::string& problem : problems) console.complain(problem);
  return problems.empty() ? ExitStatus::Fine : ExitStatus::Failed;
}

/// Hands each service to `take`, and what is none to the messages.
template <typename Take>
ExitStatus forEachService(Console& console, const ServiceSearch& search, Take take) {
  ExitStatus status = ExitStatus::Fine;
  // Rows that appear are progress enough.
  std::optional<Progress> progress;
  if (!console.output().isTerminal) progress.emplace(console, "reading services", search.paths().size());
  for (const std::string& path : search.paths()) {
    const TemporaryScope scope;
    if (VantoServiceBundle* service = serviceAt(path)) {
      take(*service, path);
    } else {
      if (progress) progress->hide();
      console.complain(whyNotTaken(path));
      status = ExitStatus::Found;
    }
    if (progress) progress->advance();
  }
  return status;
}

ExitStatus listAsJson(Console& console, const ServiceSearch& search) {
  const Ref<PlistMutableArray> services = PlistMutableArray::create();
  const ExitStatus status = forEachService(console, search, [&](VantoServiceBundle& service, const std::string& path) {
    services->append(ServiceSummary::dictionary(service, path).get());
  });
  std::string problem;
  const std::optional<std::string> text = writeDocument(*services, DocumentForm::Json, problem);
  if (text) console.print(*text);
  return status;
}

ExitStatus listAsRows(Console& console, const ServiceSearch& search) {
  Rows rows(console);
  for (const std::string& path : search.paths()) rows.expect(path);
  const ExitStatus status = forEachService(console, search, [&](VantoServiceBundle& service, const std::string& path) {
    rows.add(ServiceSummary::row(service, path));
  });
  rows.show();
  if (console.output().isTerminal) {
    const std::string count = std::to_string(rows.count()) + (rows.count() == 1 ? " service" : " services");
    console.printLine(console.styled(Style::Dim, count));
  }
  return status;
}

}  // namespace

ExitStatus ListCommand::run(Console& console) const {
  ServiceSearch search;
  search.add(places);
  const ExitStatus searched = complainOf(console, search.problems());
  return worse(searched, isJson ? listAsJson(console, search) : listAsRows(console, search));
}

}  // namespace vanto::tool
