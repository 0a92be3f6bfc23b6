// SPDX-License-Identifier: Apache-2.0
#include "vanto/Identity.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <span>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <VantoService/PropertyList.h>

#include "code/CodePlace.h"
#include "code/Fields.h"
#include "code/OpenedFile.h"
#include "code/Signing.h"
#include "code/limits.h"
#include "value/Fd.h"

namespace vanto::tool {
namespace {

constexpr std::uint64_t patience = 5'000'000'000;

code::CodeEvidence evidenceOf(const code::CodePlace& place, const std::string& name,
                              const std::optional<code::Digest>& digest) {
  code::CodeEvidence evidence;
  evidence.executableName = name;
  evidence.executable = digest;
  if (place.isBundle()) {
    evidence.info = place.infoBytes;
    evidence.identifier = place.identifier;
  }
  return evidence;
}

Identity identityOfFile(const code::CodePlace& place, const code::TrustStore& trust) {
  Identity identity;
  identity.executable = place.pathOf(place.executable);
  std::string problem;
  const std::optional<code::Digest> digest = code::digestOfExecutable(place, problem);
  if (digest) identity.digest = code::hexText(*digest);
  const std::string name = place.executableName();
  code::CodeEvidence evidence = evidenceOf(place, name, digest);
  const Fd file = code::openBeneath(place.directory.get(), place.signature, O_RDONLY);
  code::OpenedFile signature;
  if (file) signature = code::OpenedFile::read(file.get(), {code::limits::signatureBytes, 0, {}});
  if (place.hasSignature()) identity.signature = place.pathOf(place.signature);
  if (signature.contents) evidence.signature = *signature.contents;
  identity.judgement = code::judge(evidence, trust);
  if (place.hasSignature() && !signature.contents) {
    identity.judgement.reason = "the signature " + (file ? signature.problem : std::string("cannot be opened"));
  }
  return identity;
}

std::string textUnder(vanto_object_t dictionary, const char* key) {
  const char* const text = vanto_string_get_text(vanto_dictionary_get_value(dictionary, key));
  return text != nullptr ? text : "";
}

std::span<const std::uint8_t> bytesUnder(vanto_object_t dictionary, const char* key) {
  const vanto_object_t data = vanto_dictionary_get_value(dictionary, key);
  return {static_cast<const std::uint8_t*>(vanto_data_get_bytes_ptr(data)), vanto_data_get_length(data)};
}

code::CodeJudgement judgementIn(vanto_object_t code) {
  code::CodeJudgement judgement;
  judgement.isValid = vanto_bool_get_value(vanto_dictionary_get_value(code, "valid"));
  judgement.reason = textUnder(code, "reason");
  if (!judgement.isValid) return judgement;
  judgement.identifier = textUnder(code, "identifier");
  judgement.fingerprint = textUnder(code, "fingerprint");
  judgement.signers.push_back(judgement.fingerprint);
  const vanto_object_t names = vanto_dictionary_get_value(code, "signers");
  for (std::size_t i = 0; i < vanto_array_get_count(names); ++i) {
    judgement.signers.emplace_back(vanto_string_get_text(vanto_array_get_value(names, i)));
  }
  const Ref<PlistValue> entitlements = createPropertyList(bytesUnder(code, "entitlements"));
  judgement.entitlements = Ref<PlistDictionary>::share(as<PlistDictionary>(entitlements.get()));
  if (!judgement.entitlements) judgement.entitlements = PlistDictionary::create();
  return judgement;
}

std::string executableOf(const std::string& pid) {
  char path[PATH_MAX];
  const ssize_t length = readlink(("/proc/" + pid + "/exe").c_str(), path, sizeof path);
  return {path, length > 0 ? static_cast<std::size_t>(length) : 0};
}

std::optional<Identity> identityOfProcess(const std::string& pid, std::string& problem) {
  const long number = std::strtol(pid.c_str(), nullptr, 10);
  const bool isId = number > 0 && number <= INT_MAX;
  const Fd process(isId ? static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(number), 0)) : -1);
  if (!process) {
    problem = pid + ": " + (isId ? std::strerror(errno) : "is no process id");
    return std::nullopt;
  }
  const vanto_object_t code = vanto_copy_process_code(process.get(), patience);
  std::optional<Identity> identity;
  if (vanto_kind(code) == VANTO_KIND_DICTIONARY) {
    identity = Identity{executableOf(pid), code::hexText(bytesUnder(code, "digest")), {}, judgementIn(code)};
  } else {
    problem = pid + ": the code-signing service does not tell: " + vanto_error_get_text(code);
  }
  vanto_release(code);
  return identity;
}

/// Sets a value that was made for it; nothing for null.
void set(vanto_object_t dictionary, const char* key, vanto_object_t value) {
  vanto_dictionary_set_value(dictionary, key, value);
  vanto_release(value);
}

vanto_object_t createDigest(const std::string& digest) {
  std::uint8_t bytes[32] = {};
  for (std::size_t i = 0; i < sizeof bytes && 2 * i + 1 < digest.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(std::strtoul(digest.substr(2 * i, 2).c_str(), nullptr, 16));
  }
  return vanto_data_create(bytes, sizeof bytes);
}

vanto_object_t createNames(const std::vector<std::string>& signers) {
  const vanto_object_t names = vanto_array_create(nullptr, 0);
  for (const std::string& signer : signers) {
    const vanto_object_t name = vanto_string_create(signer.c_str());
    vanto_array_append_value(names, name);
    vanto_release(name);
  }
  return names;
}

}  // namespace

std::optional<Identity> Identity::of(const std::string& text, const std::function<code::TrustStore()>& readTrust,
                                     std::string& problem) {
  const bool isProcess = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  if (isProcess) return identityOfProcess(text, problem);
  const auto place = code::CodePlace::ofPath(text, problem);
  if (!place) return std::nullopt;
  return identityOfFile(*place, readTrust());
}

vanto_object_t Identity::createCode() const {
  const vanto_object_t code = vanto_dictionary_create(nullptr, nullptr, 0);
  set(code, "status", vanto_int64_create(0));
  set(code, "valid", vanto_bool_create(judgement.isValid));
  set(code, "digest", createDigest(digest));
  set(code, "device", vanto_int64_create(0));
  set(code, "inode", vanto_int64_create(0));
  if (judgement.isValid) {
    const std::string entitlements = code::writeDictionary(*judgement.entitlements);
    set(code, "identifier", vanto_string_create(judgement.identifier.c_str()));
    set(code, "fingerprint", vanto_string_create(judgement.fingerprint.c_str()));
    set(code, "signers", createNames(judgement.signers));
    set(code, "entitlements", vanto_data_create(entitlements.data(), entitlements.size()));
  } else {
    set(code, "reason", vanto_string_create(judgement.reason.c_str()));
  }
  return code;
}

}  // namespace vanto::tool
