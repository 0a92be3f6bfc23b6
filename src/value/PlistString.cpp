// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistString.h>

#include <algorithm>
#include <new>

#include "value/Memory.h"
#include "value/PathText.h"
#include "value/Utf8.h"
#include "value/ValueStorage.h"

namespace vanto {

namespace {

Ref<PlistString> describeString(const Object& self) {
  auto& string = const_cast<PlistString&>(static_cast<const PlistString&>(self));
  if (&self.runtimeClass() == &plistStringClass) return Ref<PlistString>::share(&string);
  return PlistString::create(string.text());
}

bool areStringsEqual(const Object& self, const Object& other) noexcept {
  if (!other.isKindOf(plistStringClass)) return false;
  return static_cast<const PlistString&>(self).text() == static_cast<const PlistString&>(other).text();
}

}  // namespace

constinit const Class plistStringClass{"PlistString",   &plistValueClass, StringKind, &ValueStorage::destroyPlain,
                                       &describeString, &areStringsEqual};

}  // namespace vanto

using vanto::Ref;

const vanto::Class& PlistString::classDescriptor() noexcept {
  return vanto::plistStringClass;
}

Ref<PlistString> PlistString::create(std::string_view utf8) {
  if (!vanto::isValidUtf8(utf8)) return nullptr;
  char* text = nullptr;
  Ref<PlistString> string = withRoom(utf8.size(), text);
  std::copy(utf8.begin(), utf8.end(), text);
  return string;
}

Ref<PlistString> PlistString::joined(std::initializer_list<std::string_view> parts) {
  std::size_t length = 0;
  for (std::string_view part : parts) length = vanto::Memory::sum(length, part.size());
  char* text = nullptr;
  Ref<PlistString> string = withRoom(length, text);
  for (std::string_view part : parts) text = std::copy(part.begin(), part.end(), text);
  return string;
}

Ref<PlistString> PlistString::withRoom(std::size_t length, char*& text) {
  void* memory = allocate(sizeof(PlistString), vanto::Memory::sum(length, 1));
  text = static_cast<char*>(memory) + sizeof(PlistString);
  text[length] = '\0';
  return Ref<PlistString>::adopt(::new (memory)
                                     PlistString(vanto::plistStringClass, Storage::Counted, 1, text, length));
}

int PlistString::compare(const PlistString& other) const noexcept {
  // The order of code points is that of the bytes of their UTF-8.
  return text().compare(other.text());
}

PlistString* PlistString::appending(const PlistString& other) const {
  return joined({text(), other.text()}).asTemporary();
}

PlistString* PlistString::pathExtension() const {
  return joined({vanto::PathText::extension(text())}).asTemporary();
}

PlistString* PlistString::appendingPathComponent(const PlistString& component) const {
  if (length() == 0) return joined({component.text()}).asTemporary();
  if (component.length() == 0) return joined({text()}).asTemporary();
  return joined({vanto::PathText::withoutSlashesAtEnd(text()), "/",
                 vanto::PathText::withoutSlashesAtStart(component.text())})
      .asTemporary();
}

PlistString* PlistString::deletingLastPathComponent() const {
  return joined({vanto::PathText::parent(text())}).asTemporary();
}
