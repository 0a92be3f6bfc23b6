// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <VantoService/Object.h>
#include <VantoService/Ref.h>
#include <VantoService/tolven_data.h>

/// A node of job data: its kind, and a content that fits the kind. It is an object for the sake of its end, which uses
/// no stack for depth; its count never exceeds one, the reference of its owner.
struct tolven_data : public vanto::Object {
 public:
  using Owned = vanto::Ref<tolven_data>;
  /// Null is a hole.
  using Elements = std::vector<Owned>;
  /// In ascending byte order of keys, which nobody can choose so that look-up gets slow. No value is null.
  using Entries = std::map<std::string, Owned, std::less<>>;
  struct Bytes {
    std::vector<std::uint8_t> contents;
  };

  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// Null for a kind that is not made.
  [[nodiscard]] static Owned create(tolven_data_kind_t kind) noexcept;

  [[nodiscard]] tolven_data_kind_t kind() const noexcept { return kind_; }

  /// The content as a T, or null when it is another: a scalar, std::string, Elements, Entries or Bytes.
  template <typename T>
  [[nodiscard]] T* content() noexcept {
    return std::get_if<T>(&content_);
  }
  template <typename T>
  [[nodiscard]] const T* content() const noexcept {
    return std::get_if<T>(&content_);
  }

  /// Nothing happens for a kind that carries no bytes.
  void setBytes(std::span<const std::uint8_t> bytes);
  /// `index` is less than the largest size.
  void setElement(Elements& elements, std::size_t index, Owned element);
  /// `value` is not null, `key` is valid UTF-8 without NUL.
  void setEntry(Entries& entries, std::string_view key, Owned value);

  [[nodiscard]] bool hasContainer() const noexcept { return hasContainer_; }

 private:
  using Content = std::variant<std::monostate, std::int64_t, double, bool, std::string, Elements, Entries, Bytes>;

  template <typename T>
  tolven_data(tolven_data_kind_t kind, std::in_place_type_t<T> type) noexcept;
  ~tolven_data() = default;
  template <typename T>
  [[nodiscard]] static Owned createWith(tolven_data_kind_t kind) noexcept;
  static void destroy(vanto::Object& self) noexcept;
  void free() noexcept;
  /// Marks a node that goes into this one.
  void take(tolven_data& node) const noexcept;

  const tolven_data_kind_t kind_;
  /// Whether a container owns the node; else whoever made it does.
  bool hasContainer_ = false;
  Content content_;
};
