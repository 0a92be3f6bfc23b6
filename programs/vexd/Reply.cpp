// SPDX-License-Identifier: Apache-2.0
#include "vexd/Reply.h"

#include <string_view>

namespace vanto::vexd {
namespace {

/// Sets a value that was made for it; nothing for null.
void set(vanto_object_t dictionary, const char* key, vanto_object_t value) {
  vanto_dictionary_set_value(dictionary, key, value);
  vanto_release(value);
}

void setText(vanto_object_t dictionary, const char* key, std::string_view text) {
  set(dictionary, key, vanto_string_create_with_length(text.data(), text.size()));
}

void setData(vanto_object_t dictionary, const char* key, std::string_view bytes) {
  set(dictionary, key, vanto_data_create(bytes.data(), bytes.size()));
}

/// All names but the fingerprint, which has a key of its own.
void setSigners(vanto_object_t dictionary, const DigestAnswer& answer) {
  const vanto_object_t names = vanto_array_create(nullptr, 0);
  for (const std::string& signer : answer.signers) {
    if (signer == answer.fingerprint) continue;
    const vanto_object_t name = vanto_string_create_with_length(signer.data(), signer.size());
    vanto_array_append_value(names, name);
    vanto_release(name);
  }
  set(dictionary, "signers", names);
}

void setFacts(vanto_object_t reply, const Report& report) {
  const DigestAnswer& answer = report.answer;
  set(reply, "valid", vanto_bool_create(answer.isValid));
  setData(reply, "digest", answer.digest);
  set(reply, "device", vanto_int64_create(static_cast<std::int64_t>(report.device)));
  set(reply, "inode", vanto_int64_create(static_cast<std::int64_t>(report.inode)));
  if (!answer.isValid) return setText(reply, "reason", answer.reason.empty() ? "it is not valid" : answer.reason);
  setText(reply, "identifier", answer.identifier);
  setText(reply, "fingerprint", answer.fingerprint);
  setSigners(reply, answer);
  if (!answer.entitlements.empty()) setData(reply, "entitlements", answer.entitlements);
}

}  // namespace

vanto_object_t createReply(const Report& report) {
  if (report.reply) return vanto_retain(report.reply.get());
  const vanto_object_t reply = vanto_dictionary_create(nullptr, nullptr, 0);
  set(reply, "status", vanto_int64_create(static_cast<std::int64_t>(report.refusal.failure)));
  if (report.refusal.failure == Failure::None) {
    setFacts(reply, report);
  } else {
    setText(reply, "reason", report.refusal.reason);
  }
  return reply;
}

int copyProcessOf(vanto_object_t request) noexcept {
  if (vanto_dictionary_get_count(request) != 1) return -1;
  return vanto_fd_copy(vanto_dictionary_get_value(request, "process"));
}

}  // namespace vanto::vexd
