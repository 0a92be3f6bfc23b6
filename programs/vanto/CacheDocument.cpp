// SPDX-License-Identifier: Apache-2.0
#include "vanto/CacheDocument.h"

#include <VantoService/PlistNumber.h>

#include "vanto/DocumentForm.h"
#include "vanto/InputFile.h"

namespace vanto::tool {
namespace {

constexpr const char* versionKey = "VantoServiceCacheVersion";
constexpr const char* placesKey = "Places";
constexpr const char* bundlesKey = "Bundles";
constexpr const char* servicesKey = "Services";
constexpr std::int64_t version = 1;

Ref<PlistArray> arrayOf(const std::vector<std::string>& texts) {
  const Ref<PlistMutableArray> array = PlistMutableArray::create();
  for (const std::string& text : texts) array->append(PlistString::create(text).get());
  return array;
}

/// None unless `value` is an array of strings.
std::optional<std::vector<std::string>> textsOf(Object* value) {
  auto* array = as<PlistArray>(value);
  if (array == nullptr) return std::nullopt;
  std::vector<std::string> texts;
  for (Object* element : array->elements()) {
    auto* text = as<PlistString>(element);
    if (text == nullptr) return std::nullopt;
    texts.emplace_back(text->text());
  }
  return texts;
}

std::nullopt_t fail(std::string& problem, std::string reason) {
  problem = std::move(reason);
  return std::nullopt;
}

}  // namespace

Ref<PlistDictionary> CacheDocument::value() const {
  const Ref<PlistMutableDictionary> result = PlistMutableDictionary::create();
  auto set = [&result](const char* key, Object* value) {
    result->setValueForKey(value, PlistString::create(key).get());
  };
  set(versionKey, PlistNumber::create(version).get());
  set(placesKey, arrayOf(places).get());
  set(bundlesKey, arrayOf(bundles).get());
  set(servicesKey, archives.get());
  return result;
}

std::optional<CacheDocument> CacheDocument::of(Object* value, std::string& problem) {
  auto* dictionary = as<PlistDictionary>(value);
  auto* found = dictionary == nullptr ? nullptr : as<PlistNumber>(dictionary->valueForKey(versionKey));
  if (found == nullptr) return fail(problem, "is no cache of services");
  if (found->int64Value() != version) {
    return fail(problem, "is a cache of version " + std::to_string(found->int64Value()) + ", which is not known here");
  }
  std::optional<std::vector<std::string>> places = textsOf(dictionary->valueForKey(placesKey));
  if (!places) return fail(problem, std::string(placesKey) + ": is no array of strings");
  std::optional<std::vector<std::string>> bundles = textsOf(dictionary->valueForKey(bundlesKey));
  if (!bundles) return fail(problem, std::string(bundlesKey) + ": is no array of strings");
  auto* services = as<PlistArray>(dictionary->valueForKey(servicesKey));
  if (services == nullptr || services->count() != bundles->size()) {
    return fail(problem, std::string(servicesKey) + ": is no array with an archive for each bundle");
  }
  return CacheDocument{*std::move(places), *std::move(bundles), Ref<PlistArray>::share(services)};
}

std::optional<CacheDocument> CacheDocument::read(const std::string& path, std::string& problem) {
  const std::optional<std::string> bytes = readInput(path, problem);
  if (!bytes) return std::nullopt;
  const Ref<PlistValue> value = readDocument(*bytes, nameOfInput(path), problem);
  if (!value) return std::nullopt;
  std::optional<CacheDocument> cache = of(value.get(), problem);
  if (!cache) problem = nameOfInput(path) + ": " + problem + "; vanto cache write makes one";
  return cache;
}

}  // namespace vanto::tool
