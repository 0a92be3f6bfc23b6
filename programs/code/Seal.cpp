// SPDX-License-Identifier: Apache-2.0
#include "code/Seal.h"

#include <algorithm>

#include <VantoService/PlistNumber.h>
#include <VantoService/PropertyList.h>

#include "code/Fields.h"

namespace vanto::code {
namespace {

constexpr std::int64_t version = 1;

void takeVersion(Fields& fields) {
  auto* const number = fields.take<PlistNumber>("Version");
  if (number == nullptr) return;
  const bool isKnown = as<PlistBoolean>(number) == nullptr && !number->isReal() && number->int64Value() == version;
  if (!isKnown) fields.fail("Version", "is none that is known");
}

bool isFileName(std::string_view name) noexcept {
  return isResourcePath(name) && name.find('/') == name.npos;
}

void takeExecutable(Fields& fields, Seal& seal) {
  const auto* const dictionary = fields.take<PlistDictionary>("Executable");
  if (dictionary == nullptr) return;
  Fields executable(*dictionary);
  executable.takeBytes("Digest", seal.executable);
  if (executable.takeText("Name", seal.executableName) && !isFileName(seal.executableName)) {
    executable.fail("Name", "is no file name");
  }
  if (!executable.problem().empty()) fields.fail("Executable", "is not as it should be: " + executable.problem());
}

bool readResource(Object* value, SealedResource& resource) {
  if (const auto* const link = as<PlistDictionary>(value)) {
    Fields fields(*link);
    LinkTarget target;
    fields.takeText("Link", target.path);
    resource = std::move(target);
    return fields.problem().empty();
  }
  const auto* const data = as<PlistData>(value);
  Digest digest;
  if (data == nullptr || data->length() != digest.size()) return false;
  std::copy_n(data->bytes().data(), digest.size(), digest.data());
  resource = digest;
  return true;
}

void takeResources(Fields& fields, Seal& seal) {
  const auto* const dictionary = fields.take<PlistDictionary>("Resources");
  if (dictionary == nullptr) return;
  PlistDictionary::Cursor cursor(*dictionary);
  for (PlistDictionary::Entry entry{}; cursor.next(entry);) {
    SealedResource resource;
    if (!isResourcePath(entry.key->text()) || !readResource(entry.value, resource)) {
      return fields.fail("Resources", "has an entry that is none");
    }
    seal.resources.emplace(entry.key->text(), std::move(resource));
  }
  if (!seal.info && !seal.resources.empty()) fields.fail("Resources", "belong to no bundle");
}

Ref<PlistValue> text(std::string_view utf8, bool& isFine) {
  Ref<PlistValue> string = PlistString::create(utf8);
  isFine = isFine && string;
  return string ? string : PlistString::create("");
}

Ref<PlistValue> resourceValue(const SealedResource& resource, bool& isFine) {
  if (const auto* const digest = std::get_if<Digest>(&resource)) return createData(*digest);
  const Ref<PlistMutableDictionary> link = PlistMutableDictionary::create();
  setField(*link, "Link", text(std::get<LinkTarget>(resource).path, isFine));
  return link;
}

}  // namespace

bool isResourcePath(std::string_view path) noexcept {
  if (path.find('\0') != path.npos) return false;
  for (;;) {
    const std::size_t slash = path.find('/');
    const std::string_view component = path.substr(0, slash);
    if (component.empty() || component == "." || component == "..") return false;
    if (slash == path.npos) return true;
    path.remove_prefix(slash + 1);
  }
}

std::optional<Seal> Seal::read(std::string_view bytes, std::string& problem) {
  const Ref<PlistDictionary> dictionary = readDictionary(bytes, problem);
  if (!dictionary) return std::nullopt;
  Fields fields(*dictionary);
  Seal seal;
  takeVersion(fields);
  fields.takeText("Identifier", seal.identifier);
  takeExecutable(fields, seal);
  Digest info;
  if (fields.takeBytes("Info", info, Fields::Need::Optional)) seal.info = info;
  takeResources(fields, seal);
  seal.entitlements = Ref<PlistDictionary>::share(fields.take<PlistDictionary>("Entitlements"));
  problem = fields.problem();
  if (!problem.empty()) return std::nullopt;
  return seal;
}

std::optional<std::string> Seal::bytes(std::string& problem) const {
  bool isFine = true;
  const Ref<PlistMutableDictionary> executableValue = PlistMutableDictionary::create();
  setField(*executableValue, "Name", text(executableName, isFine));
  setField(*executableValue, "Digest", createData(executable));
  const Ref<PlistMutableDictionary> resourceValues = PlistMutableDictionary::create();
  for (const auto& [path, resource] : resources) {
    if (!PlistString::create(path)) isFine = false;
    if (isFine) setField(*resourceValues, path, resourceValue(resource, isFine));
  }
  const Ref<PlistMutableDictionary> dictionary = PlistMutableDictionary::create();
  setField(*dictionary, "Version", PlistNumber::create(version));
  setField(*dictionary, "Identifier", text(identifier, isFine));
  setField(*dictionary, "Executable", executableValue);
  setField(*dictionary, "Resources", resourceValues);
  setField(*dictionary, "Entitlements", entitlements);
  if (info) setField(*dictionary, "Info", createData(*info));
  PropertyListError error{0, 0, "a name is not UTF-8"};
  const Ref<PlistData> data = isFine ? createPropertyListXML(*dictionary, &error) : nullptr;
  if (data) return std::string(reinterpret_cast<const char*>(data->bytes().data()), data->length());
  problem = error.message;
  return std::nullopt;
}

}  // namespace vanto::code
