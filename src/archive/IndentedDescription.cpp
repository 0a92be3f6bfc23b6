// SPDX-License-Identifier: Apache-2.0
// One text is made by one walk over all containers and service bundles in it. Blocks that are begun and not yet ended
// lie on a list instead of the stack, since values may be nested deeper than the stack of a small thread allows.
#include <VantoService/IndentedDescription.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>
#include <VantoService/VantoServiceConstants.h>

#include "value/Description.h"
#include "value/Memory.h"
#include "value/ValueStorage.h"

namespace vanto {

namespace {

constinit PlistString noneConstant = ValueStorage::constantString("<None>\n");
constexpr std::string_view missing = "(null)";
constexpr std::size_t blanksPerLevel = 4;

using Describe = Ref<PlistString> (*)(const Object&, std::size_t);

/// How `object` describes itself in several lines; null when it cannot.
Describe describeOf(const Object& object) noexcept {
  const Class* candidate = &object.runtimeClass();
  while (candidate != nullptr && candidate->descriptionWithIndent == nullptr) candidate = candidate->superclass;
  return candidate == nullptr ? nullptr : candidate->descriptionWithIndent;
}

bool isEmptyContainer(const Object& object) noexcept {
  auto* value = const_cast<Object*>(&object);
  if (const auto* dictionary = as<PlistDictionary>(value)) return dictionary->count() == 0;
  const auto* array = as<PlistArray>(value);
  return array != nullptr && array->count() == 0;
}

}  // namespace

class IndentedDescription {
 public:
  /// The text of a dictionary, an array or a service bundle that lies at `level`.
  [[nodiscard]] static Ref<PlistString> create(const Object& outermost, std::size_t level) {
    if (isEmptyContainer(outermost)) return Ref<PlistString>::share(&noneConstant);
    const TemporaryScope scope;
    IndentedDescription description(level);
    description.begin(const_cast<Object&>(outermost));
    while (!description.blocks_.empty()) {
      (description.*description.blocks_.back().step)(description.blocks_.back());
    }
    return description.text_;
  }

 private:
  /// A block that is begun and not yet ended.
  struct Block {
    Ref<Object> object;
    /// Of a dictionary.
    Ref<PlistArray> keys;
    /// What goes on with the block; it may begin another one, and `Block` is then no longer where it was.
    void (IndentedDescription::*step)(Block&);
    std::size_t next = 0;
  };

  enum class LineEnd { AsItIs, Ensured };

  explicit IndentedDescription(std::size_t level) : text_(PlistMutableString::create()), outermostLevel_(level) {}

  void begin(Object& object) {
    Block block{Ref<Object>::share(&object), nullptr, &IndentedDescription::continueBundle};
    if (const auto* dictionary = as<PlistDictionary>(&object)) {
      block.keys = Ref<PlistArray>::share(dictionary->allKeys());
      block.step = &IndentedDescription::continueDictionary;
    } else if (as<PlistArray>(&object) != nullptr) {
      block.step = &IndentedDescription::continueArray;
    }
    text_->append("{[");
    text_->append(object.runtimeClass().name);
    text_->appendFormat(" %p]\n", {&object});
    blocks_.push_back(std::move(block));
  }

  void end() {
    appendPrefix();
    text_->append("}\n");
    blocks_.pop_back();
  }

  void continueDictionary(Block& block) {
    const auto& dictionary = static_cast<const PlistDictionary&>(*block.object);
    if (block.next == block.keys->count()) return end();
    const auto& key = static_cast<const PlistString&>(*block.keys->at(block.next++));
    appendPrefix();
    text_->append("  ");
    text_->append(key);
    text_->append(" = ");
    append(dictionary.valueForKey(&key), LineEnd::Ensured);
  }

  void continueArray(Block& block) {
    const auto& array = static_cast<const PlistArray&>(*block.object);
    if (block.next == array.count()) return end();
    Object* element = array.at(block.next);
    appendPrefix();
    text_->appendFormat("  [%d] ", {static_cast<std::int32_t>(block.next++)});
    append(element, LineEnd::Ensured);
  }

  void continueBundle(Block& block) {
    auto& service = static_cast<VantoServiceBundle&>(*block.object);
    switch (block.next++) {
      case 0:
        appendLine(" service identifier =  ", service.identifier());
        appendLine(" exec path = ", service.executablePath());
        appendLine(" service type = ", service.stringForServiceDictionaryKey(VantoServiceDictionaryServiceTypeKey));
        appendPrefix();
        text_->append(" service dictionary = ");
        return append(service.serviceDictionary(), LineEnd::AsItIs);
      case 1:
        appendPrefix();
        text_->append(" job dictionary = ");
        return append(service.tolvendJobDictionary(), LineEnd::AsItIs);
      default:
        appendPrefix();
        text_->append(" _bundle = ");
        text_->append(service._bundle ? Description::create(*service._bundle)->text() : "<None>");
        text_->append("\n");
        return end();
    }
  }

  void appendLine(std::string_view title, const PlistString* value) {
    appendPrefix();
    text_->append(title);
    text_->append(value == nullptr ? missing : value->text());
    text_->append("\n");
  }

  /// Appends what lies in the innermost block, or begins a block for it.
  void append(Object* object, LineEnd lineEnd) {
    const Describe describe = object == nullptr ? nullptr : describeOf(*object);
    const bool isBlock = describe == &Description::createIndented && !isEmptyContainer(*object);
    if (isBlock && !isBegun(*object)) return begin(*object);
    Ref<PlistString> text;
    if (object == nullptr) {
      text = PlistString::create(missing);
    } else if (isBlock) {
      // It lies inside itself, so its block would never end.
      text = Description::createOfUnknown(*object);
    } else {
      text = describe == nullptr ? Description::create(*object) : describe(*object, level() + 1);
    }
    text_->append(*text);
    if (lineEnd == LineEnd::Ensured && !text->hasSuffix("\n")) text_->append("\n");
  }

  /// Takes no more time than appending the prefix.
  [[nodiscard]] bool isBegun(const Object& object) const noexcept {
    return std::any_of(blocks_.begin(), blocks_.end(),
                       [&object](const Block& block) { return block.object.get() == &object; });
  }

  void appendPrefix() {
    constexpr std::string_view blanks = "                                                                ";
    std::size_t count = Memory::product(level(), blanksPerLevel);
    for (; count > blanks.size(); count -= blanks.size()) text_->append(blanks);
    text_->append(blanks.substr(0, count));
  }

  /// That of the innermost block.
  [[nodiscard]] std::size_t level() const noexcept { return outermostLevel_ + blocks_.size() - 1; }

  Ref<PlistMutableString> text_;
  std::size_t outermostLevel_;
  std::vector<Block> blocks_;
};

Ref<PlistString> Description::createIndented(const Object& object, std::size_t level) {
  return IndentedDescription::create(object, level);
}

}  // namespace vanto

PlistString* descriptionWithIndent(const PlistDictionary& dictionary, std::size_t level) {
  return vanto::IndentedDescription::create(dictionary, level).asTemporary();
}

PlistString* descriptionWithIndent(const PlistArray& array, std::size_t level) {
  return vanto::IndentedDescription::create(array, level).asTemporary();
}

PlistString* VantoServiceBundle::descriptionWithIndent(std::size_t level) {
  return vanto::IndentedDescription::create(*this, level).asTemporary();
}
