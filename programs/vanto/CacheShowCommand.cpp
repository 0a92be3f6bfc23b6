// SPDX-License-Identifier: Apache-2.0
#include "vanto/CacheShowCommand.h"

#include <optional>

#include <VantoService/VantoServiceBundle.h>

#include "vanto/CacheDocument.h"
#include "vanto/Columns.h"
#include "vanto/DocumentForm.h"
#include "vanto/ServiceSummary.h"

namespace vanto::tool {

ExitStatus CacheShowCommand::run(Console& console) const {
  std::string problem;
  const std::optional<CacheDocument> cache = CacheDocument::read(file, problem);
  if (!cache) {
    console.complain(problem);
    return ExitStatus::Failed;
  }
  std::vector<Row> rows;
  const Ref<PlistMutableArray> list = PlistMutableArray::create();
  for (std::size_t index = 0; index < cache->bundles.size(); ++index) {
    const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithArchive(cache->archives->at(index));
    if (isJson) {
      list->append(ServiceSummary::dictionary(*service, cache->bundles[index]).get());
    } else {
      rows.push_back(ServiceSummary::row(*service, cache->bundles[index]));
    }
  }
  if (isJson) {
    console.print(writeDocument(*list, DocumentForm::Json, problem).value_or(""));
  } else {
    printTable(console, ServiceSummary::headline(), rows);
  }
  return ExitStatus::Fine;
}

}  // namespace vanto::tool
