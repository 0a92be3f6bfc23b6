// SPDX-License-Identifier: Apache-2.0
// Any property list can stand in a cache: as the archive of a service, and as an archive of a container of services.
// Whatever it restores answers everywhere, and archiving that again changes nothing any more.

#include <cstddef>
#include <cstdint>
#include <span>

#include "archive/EveryConsumer.h"

namespace {

using vanto::as;
using vanto::Object;
using vanto::Ref;

void consumeElements(const PlistArray& archive) {
  const PlistArray* services =
      arrayWithArchiveOfClass(PlistArray::classDescriptor(), &archive, VantoServiceBundle::classDescriptor());
  vanto::testing::require(services->count() == archive.count());
  for (Object* service : services->elements()) vanto::testing::consume(*as<VantoServiceBundle>(service));
  const PlistArray* again = arrayWithArchiveOfClass(PlistMutableArray::classDescriptor(), archivedArray(*services),
                                                    VantoServiceBundle::classDescriptor());
  vanto::testing::require(archivedArray(*again)->isEqual(archivedArray(*services)));
  vanto::testing::require(descriptionWithIndent(archive, 1)->hasSuffix("\n"));
}

void consumeEntries(const PlistDictionary& archive) {
  const PlistDictionary* services =
      dictionaryWithArchiveOfClass(PlistDictionary::classDescriptor(), &archive, VantoServiceBundle::classDescriptor());
  vanto::testing::require(services->count() == archive.count());
  PlistDictionary::Cursor cursor(*services);
  for (PlistDictionary::Entry entry{}; cursor.next(entry);) {
    vanto::testing::consume(*as<VantoServiceBundle>(entry.value));
  }
  const PlistDictionary* plain = archivedDictionary(archive);
  vanto::testing::require(archivedDictionary(*plain)->isEqual(plain));
  vanto::testing::require(descriptionWithIndent(archive, 1)->hasSuffix("\n"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const vanto::TemporaryScope scope;
  const Ref<PlistValue> value = vanto::createPropertyList(std::span(data, size));
  vanto::testing::consume(*VantoServiceBundle::initWithArchive(value.get()));
  if (const auto* elements = as<PlistArray>(value.get())) consumeElements(*elements);
  if (const auto* entries = as<PlistDictionary>(value.get())) consumeEntries(*entries);
  return 0;
}
