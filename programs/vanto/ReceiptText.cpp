// SPDX-License-Identifier: Apache-2.0
#include "vanto/ReceiptText.h"

#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

void addRemarks(const char* begin, const std::vector<RightRemark>& remarks, std::vector<std::string>& messages) {
  for (const RightRemark& remark : remarks) {
    messages.push_back(begin + std::string(nameOf(remark.right)) + ": " + remark.reason);
  }
}

}  // namespace

std::vector<std::string> messagesOf(const Receipt& receipt, const ProfileValues& values) {
  std::vector<std::string> messages{std::string("confinement: ") + nameOf(receipt.level) +
                                    "; witness: " + nameOf(receipt.witness)};
  if (!receipt.witnessSubject.empty()) messages.back() += ": " + receipt.witnessSubject;
  addRemarks("not denied: ", receipt.missing, messages);
  addRemarks("denied though allowed: ", receipt.withheld, messages);
  for (const AbsentPath& absent : receipt.absent) {
    if (!values.isPlaceholderIn(absent.path)) {
      messages.push_back("no rule for " + visible(absent.path) + ": " + absent.reason);
    }
  }
  return messages;
}

}  // namespace vanto::tool
