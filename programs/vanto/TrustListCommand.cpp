// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustListCommand.h"

#include <vector>

#include <VantoService/PlistArray.h>

#include "vanto/Columns.h"
#include "vanto/DocumentForm.h"
#include "vanto/ServiceSummary.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

const char* nameOf(code::KeyStanding standing) noexcept {
  switch (standing) {
    case code::KeyStanding::Trusted:
      return "trusted";
    case code::KeyStanding::Revoked:
      return "revoked";
    case code::KeyStanding::Withheld:
      return "withheld";
    case code::KeyStanding::Unknown:
      break;
  }
  return "no trusted predecessor";
}

using Cells = std::vector<std::string>;

/// Name, standing, fingerprint and directory of each key, and of each revocation that is of none of them.
std::vector<Cells> cellsOf(const code::TrustStore& store) {
  std::vector<Cells> rows;
  code::Revocations rest = store.revoked();
  for (const code::TrustStore::Entry& entry : store.entries()) {
    const std::string fingerprint = code::fingerprint(entry.document.key);
    rows.push_back({entry.document.name, nameOf(store.standing(entry.document.key)), fingerprint, entry.directory});
    std::erase_if(rest.keys, [&](const code::Digest& revoked) {
      return revoked == entry.document.key || code::hexText(revoked) == fingerprint;
    });
  }
  for (const code::Digest& revoked : rest.keys) rows.push_back({"-", "revoked", code::hexText(revoked), "-"});
  return rows;
}

void printJson(Console& console, const std::vector<Cells>& rows) {
  const Ref<PlistMutableArray> array = PlistMutableArray::create();
  for (const Cells& row : rows) {
    const Ref<PlistMutableDictionary> entry = PlistMutableDictionary::create();
    const char* const keys[] = {"name", "standing", "fingerprint", "directory"};
    for (std::size_t index = 0; index < row.size(); ++index) {
      if (row[index] != "-") setText(*entry, keys[index], row[index]);
    }
    array->append(entry.get());
  }
  std::string problem;
  console.print(writeDocument(*array, DocumentForm::Json, problem).value_or(""));
}

}  // namespace

ExitStatus TrustListCommand::run(Console& console) const {
  const code::TrustStore store = places.read(console);
  std::vector<Cells> rows = cellsOf(store);
  if (isJson) {
    printJson(console, rows);
  } else {
    for (Cells& row : rows) {
      for (std::string& cell : row) cell = visible(cell);
    }
    printTable(console, {"NAME", "STANDING", "FINGERPRINT", "DIRECTORY"}, rows);
  }
  return store.problems().empty() ? ExitStatus::Fine : ExitStatus::Found;
}

}  // namespace vanto::tool
