// SPDX-License-Identifier: Apache-2.0
// The job of a service: what the service manager has to know to start it and to offer its name.
#include <VantoService/VantoServiceBundle.h>

#include <array>
#include <cstddef>
#include <new>
#include <string_view>

#include <VantoService/KorFunctions.h>
#include <VantoService/VantoServiceConstants.h>

#include "value/ValueStorage.h"

using vanto::Object;
using vanto::Ref;
using vanto::ValueStorage;

namespace {

using Entry = PlistDictionary::Entry;

constinit PlistString serviceNamesKey = ValueStorage::constantString("MachServices");
constinit PlistString programArgumentsKey = ValueStorage::constantString("ProgramArguments");
constinit PlistString labelKey = ValueStorage::constantString("Label");
constinit PlistString enableTransactionsKey = ValueStorage::constantString("EnableTransactions");
constinit PlistString multipleInstancesKey = ValueStorage::constantString("MultipleInstances");
/// The program of every job; the service's own executable is its argument.
constinit PlistString proxyPath = ValueStorage::constantString("/usr/libexec/vantoproxy");

/// The entry that says in which domain a job runs. Its strings are made once and live until the process ends.
struct DomainStrings {
  PlistString key = ValueStorage::constantString("VantoDomain");
  PlistString typePerUser = ValueStorage::constantString("VantoPerUser");
  PlistString typePerSession = ValueStorage::constantString("VantoPerSession");
  PlistString typeSystem = ValueStorage::constantString("VantoSystem");
};

alignas(DomainStrings) constinit std::byte domainStringsPlace[sizeof(DomainStrings)]{};
constinit DomainStrings* domainStrings = nullptr;
constinit dispatch_once_t buildStringsPred = 0;

/// The domain of services of that type; null for those that leave it to the manager.
PlistString* domainOf(VantoServiceType type) noexcept {
  switch (type) {
    case VantoServiceTypeUser:
      return &domainStrings->typePerUser;
    case VantoServiceTypeSystem:
      return &domainStrings->typeSystem;
    case VantoServiceTypeSession:
      return &domainStrings->typePerSession;
    default:
      return nullptr;
  }
}

}  // namespace

Object* VantoServiceBundle::tolvendJobDictionary() {
  dispatch_once(&buildStringsPred, [] { domainStrings = ::new (domainStringsPlace) DomainStrings; });
  if (!dispatch_once_done(&_tolvendJobDictionaryPredicate)) [[unlikely]]
    computeJobDictionary();
  return _tolvendJobDictionary.get();
}

void VantoServiceBundle::computeJobDictionary() {
  dispatch_once(&_tolvendJobDictionaryPredicate, [this] { _tolvendJobDictionary = createJobDictionary(); });
}

Ref<PlistDictionary> VantoServiceBundle::createJobDictionary() {
  PlistString* label = identifier();
  PlistString* executable = executablePath();
  // The service dictionary is asked for in any case: that it is missing is a mistake whatever else is missing.
  Object* multipleInstances = objectForServiceDictionaryKey(VantoServiceDictionaryMultipleInstancesKey);
  PlistString* domain = domainOf(serviceType());
  if (label == nullptr || executable == nullptr) return nullptr;

  PlistBoolean* yes = PlistBoolean::of(true);
  const Ref<PlistDictionary> serviceNames = PlistDictionary::create(std::array{Entry{label, yes}});
  const Ref<PlistArray> arguments = PlistArray::create(std::array<Object*, 2>{&proxyPath, executable});
  const Ref<PlistMutableDictionary> job = PlistMutableDictionary::create();
  job->setValueForKey(serviceNames.get(), &serviceNamesKey);
  job->setValueForKey(arguments.get(), &programArgumentsKey);
  job->setValueForKey(label, &labelKey);
  job->setValueForKey(yes, &enableTransactionsKey);
  if (multipleInstances != nullptr) job->setValueForKey(multipleInstances, &multipleInstancesKey);
  if (domain != nullptr) job->setValueForKey(domain, &domainStrings->key);
  return PlistDictionary::createOfClass(PlistDictionary::classDescriptor(), *job);
}

PlistData* VantoServiceBundle::tolvendJobPropertyListData() {
  auto* job = vanto::as<PlistDictionary>(tolvendJobDictionary());
  if (job == nullptr) return nullptr;
  return Ref<PlistData>::adopt(KorPropertyListCreateBytes(job, KorPropertyListXMLFormat)).asTemporary();
}

PlistString* VantoServiceBundle::tolvendJobPropertyListString() {
  const PlistData* data = tolvendJobPropertyListData();
  if (data == nullptr) return nullptr;
  const auto* text = reinterpret_cast<const char*>(data->bytes().data());
  return PlistString::create(std::string_view(text, data->length())).asTemporary();
}
