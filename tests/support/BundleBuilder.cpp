// SPDX-License-Identifier: Apache-2.0
#include "support/BundleBuilder.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vanto::test {
namespace {

[[noreturn]] void fail(const char* what, const std::string& path) {
  std::fprintf(stderr, "cannot %s %s\n", what, path.c_str());
  std::abort();
}

void writeFile(const std::string& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) fail("write", path);
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  if (!file.is_open() || bytes.bad()) fail("read", path);
  return std::move(bytes).str();
}

void makeDirectories(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error) fail("make the directory", path);
}

std::string parentOf(const std::string& path) {
  return path.substr(0, path.rfind('/'));
}

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '&') {
      result += "&amp;";
    } else if (c == '<') {
      result += "&lt;";
    } else if (c == '>') {
      result += "&gt;";
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace

BundleBuilder::BundleBuilder(std::string_view parent, std::string_view name, BundleLayout layout)
    : layout_(layout), path_(std::string(parent) + "/" + std::string(name)) {}

BundleBuilder& BundleBuilder::identifier(std::string_view text) {
  return entry("KorBundleIdentifier", string(text));
}

BundleBuilder& BundleBuilder::executable(std::string_view name, std::string_view contents) {
  executables_.emplace_back(executablePath(name), contents);
  return entry("KorBundleExecutable", string(name));
}

BundleBuilder& BundleBuilder::executableCopiedFrom(std::string_view source, std::string_view name) {
  return executable(name, readFile(std::string(source)));
}

BundleBuilder& BundleBuilder::entry(std::string_view key, std::string_view xml) {
  entries_.emplace_back(key, xml);
  return *this;
}

BundleBuilder& BundleBuilder::serviceEntry(std::string_view key, std::string_view xml) {
  serviceEntries_.emplace_back(key, xml);
  return service();
}

BundleBuilder& BundleBuilder::service() {
  hasService_ = true;
  return *this;
}

BundleBuilder& BundleBuilder::info(std::string_view bytes) {
  infoIsGiven_ = true;
  givenInfo_ = bytes;
  return *this;
}

BundleBuilder& BundleBuilder::withoutInfo() {
  hasInfo_ = false;
  return *this;
}

BundleBuilder& BundleBuilder::resource(std::string_view fileName, std::string_view bytes) {
  files_.emplace_back(resourcesPath() + "/" + std::string(fileName), bytes);
  return *this;
}

std::string BundleBuilder::build() {
  makeDirectories(parentOf(infoPath()));
  makeDirectories(resourcesPath());
  makeDirectories(servicesPath());
  if (hasInfo_) writeFile(infoPath(), infoIsGiven_ ? givenInfo_ : infoBytes());
  for (const auto& [path, bytes] : files_) writeFile(path, bytes);
  for (const auto& [path, bytes] : executables_) {
    makeDirectories(parentOf(path));
    writeFile(path, bytes);
    std::filesystem::permissions(path, static_cast<std::filesystem::perms>(0755));
  }
  return path_;
}

std::string BundleBuilder::infoBytes() const {
  auto entries = entries_;
  if (hasService_) entries.emplace_back("VantoService", dictionary(serviceEntries_));
  return document(dictionary(entries));
}

std::string BundleBuilder::infoPath() const {
  switch (layout_) {
    case BundleLayout::Contents:
      return path_ + "/Contents/Info.plist";
    case BundleLayout::Framework:
      return path_ + "/Resources/Info.plist";
    case BundleLayout::Flat:
      break;
  }
  return path_ + "/Info.plist";
}

std::string BundleBuilder::resourcesPath() const {
  switch (layout_) {
    case BundleLayout::Contents:
      return path_ + "/Contents/Resources";
    case BundleLayout::Framework:
      return path_ + "/Resources";
    case BundleLayout::Flat:
      break;
  }
  return path_;
}

std::string BundleBuilder::executablePath(std::string_view name) const {
  return path_ + (layout_ == BundleLayout::Contents ? "/Contents/Linux/" : "/") + std::string(name);
}

std::string BundleBuilder::servicesPath() const {
  return parentOf(resourcesPath()) + "/VantoServices";
}

std::string BundleBuilder::string(std::string_view text) {
  return "<string>" + escaped(text) + "</string>";
}

std::string BundleBuilder::integer(long long value) {
  return "<integer>" + std::to_string(value) + "</integer>";
}

std::string BundleBuilder::boolean(bool value) {
  return value ? "<true/>" : "<false/>";
}

std::string BundleBuilder::array(const std::vector<std::string>& elements) {
  std::string result = "<array>";
  for (const std::string& element : elements) result += element;
  return result + "</array>";
}

std::string BundleBuilder::dictionary(const std::vector<std::pair<std::string, std::string>>& entries) {
  std::string result = "<dict>";
  for (const auto& [key, xml] : entries) result += "<key>" + escaped(key) + "</key>" + xml;
  return result + "</dict>";
}

std::string BundleBuilder::document(std::string_view xml) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + std::string(xml) + "</plist>\n";
}

}  // namespace vanto::test
