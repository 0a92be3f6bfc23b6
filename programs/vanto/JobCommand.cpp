// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobCommand.h"

#include <optional>

#include <VantoService/PlistArray.h>
#include <VantoService/VantoServiceBundle.h>

#include "vanto/DocumentForm.h"
#include "vanto/IpcTree.h"
#include "vanto/JobDataTree.h"
#include "vanto/ServiceJob.h"
#include "vanto/ServicePath.h"
#include "vanto/ServiceSearch.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

std::string jobDataText(Object& value) {
  const tolven_data_t data = VantoServiceBundle::createTolvenDataFromArray(&value);
  std::string text = jobDataTree(data);
  tolven_data_free(data);
  return text;
}

std::string ipcText(Object& value) {
  const vanto_object_t object = VantoServiceBundle::createVantoJobsArrayFromArray(&value);
  std::string text = ipcTree(object);
  vanto_release(object);
  return text;
}

std::optional<std::string> textOf(Object& value, JobForm form, std::string& problem) {
  switch (form) {
    case JobForm::JobData:
      return jobDataText(value);
    case JobForm::Ipc:
      return ipcText(value);
    case JobForm::Binary:
      return writeDocument(value, DocumentForm::Binary, problem);
    case JobForm::Json:
      return writeDocument(value, DocumentForm::Json, problem);
    case JobForm::Xml:
      break;
  }
  std::optional<std::string> document = writeDocument(value, DocumentForm::Xml, problem);
  return document ? visibleXml(*document) : document;
}

/// Those of the jobs that the form can carry. The others are told, with the bundle whose job it is.
Ref<PlistMutableArray> createCarried(const PlistArray& jobs, const std::vector<std::string>& paths, JobForm form,
                                     Console& console) {
  Ref<PlistMutableArray> carried = PlistMutableArray::create();
  std::string problem;
  for (std::size_t index = 0; index < jobs.count(); ++index) {
    if (textOf(*jobs.at(index), form, problem)) {
      carried->append(jobs.at(index));
    } else {
      console.complain(visible(paths[index]) + ": its job is left out: " + problem);
    }
  }
  return carried;
}

}  // namespace

ExitStatus JobCommand::run(Console& console) const {
  if (form == JobForm::Binary && console.output().isTerminal) {
    console.complain("a binary property list is not for a terminal; redirect it to a file or a pipe");
    return ExitStatus::Failed;
  }
  ServiceSearch search;
  search.add(bundles);
  for (const std::string& problem : search.problems()) console.complain(problem);
  ExitStatus status = search.problems().empty() ? ExitStatus::Fine : ExitStatus::Failed;
  const bool isOne = bundles.size() == 1 && ServicePath::extension(bundles.front()) == "vanto";
  const Ref<PlistMutableArray> jobs = PlistMutableArray::create();
  std::vector<std::string> paths;
  std::string problem;
  for (const std::string& path : search.paths()) {
    if (PlistDictionary* job = jobAt(path, problem)) {
      jobs->append(job);
      paths.push_back(path);
    } else {
      console.complain(problem);
      status = worse(status, ExitStatus::Found);
    }
  }
  if (isOne && jobs->count() == 0) return status;
  std::optional<std::string> text = textOf(isOne ? *jobs->at(0) : *jobs, form, problem);
  if (!text && !isOne) {
    status = worse(status, ExitStatus::Found);
    text = textOf(*createCarried(*jobs, paths, form, console), form, problem);
  }
  if (text) {
    console.print(*text);
    return status;
  }
  console.complain(isOne ? visible(paths.front()) + ": " + problem : problem);
  return ExitStatus::Failed;
}

}  // namespace vanto::tool
