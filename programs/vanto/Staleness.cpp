// SPDX-License-Identifier: Apache-2.0
#include "vanto/Staleness.h"

#include <set>
#include <string_view>

#include <sys/stat.h>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "vanto/InfoFile.h"
#include "vanto/KeyPath.h"

namespace vanto::tool {
namespace {

struct Part {
  const char* key;
  const char* name;
};

/// What a bundle's archive holds. The service type follows from the service dictionary, and the job from all others.
constexpr Part parts[] = {{"_serviceIdentifier", "identifier"},
                          {"_executablePath", "executable"},
                          {"_serviceDictionary", "service dictionary"}};
constexpr Part derivedParts[] = {{"_serviceType", "service type"}, {"_tolvendJobDictionary", "job"}};

bool isSame(Object* one, Object* other) noexcept {
  return one == other || (one != nullptr && one->isEqual(other));
}

/// The keys under which two dictionaries differ, in ascending order, ", " between them.
std::string differingKeys(PlistDictionary& one, PlistDictionary& other) {
  std::set<std::string> keys;
  for (PlistDictionary* side : {&one, &other}) {
    PlistDictionary::Cursor cursor(*side);
    PlistDictionary::Entry entry{};
    while (cursor.next(entry)) {
      if (!isSame(one.valueForKey(entry.key), other.valueForKey(entry.key))) keys.emplace(entry.key->text());
    }
  }
  std::string text;
  for (const std::string& key : keys) text += (text.empty() ? "" : ", ") + KeyPath().key(key).text();
  return text;
}

void appendPart(std::string& reason, const Part& part, PlistDictionary& archive, PlistDictionary& current) {
  Object* before = archive.valueForKey(part.key);
  Object* now = current.valueForKey(part.key);
  if (isSame(before, now)) return;
  if (!reason.empty()) reason += "; ";
  reason += part.name;
  if (now == nullptr) {
    reason += " is missing now";
  } else if (before == nullptr) {
    reason += " was missing";
  } else {
    reason += " differs";
  }
  auto* one = as<PlistDictionary>(before);
  auto* other = as<PlistDictionary>(now);
  if (one != nullptr && other != nullptr) reason += " (" + differingKeys(*one, *other) + ")";
}

std::string differences(PlistDictionary& archive, PlistDictionary& current) {
  std::string reason;
  for (const Part& part : parts) appendPart(reason, part, archive, current);
  if (!reason.empty()) return reason;
  for (const Part& part : derivedParts) appendPart(reason, part, archive, current);
  return reason;
}

}  // namespace

Staleness Staleness::of(const std::string& path, Object* archive) {
  const TemporaryScope scope;
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {"gone", "there is nothing any more"};
  const Ref<PlistString> text = PlistString::create(path);
  VantoServiceBundle* service = text ? VantoServiceBundle::VantoServiceBundleAtPath(text.get()) : nullptr;
  if (service == nullptr) return {"damaged", "it is no service: " + whyNoService(path)};
  auto* archived = as<PlistDictionary>(archive);
  if (archived == nullptr) return {"changed", "the cache has no archive of it"};
  const std::string reason = differences(*archived, *service->archiveForCache());
  return reason.empty() ? Staleness{} : Staleness{"changed", reason};
}

}  // namespace vanto::tool
