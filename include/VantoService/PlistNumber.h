// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstdint>
#include <limits>

#include <VantoService/PlistValue.h>

/// Subtype of a number: how it was given.
enum KorNumberType : std::int32_t {
  KorNumberSInt8Type = 1,
  KorNumberSInt16Type = 2,
  KorNumberSInt32Type = 3,
  KorNumberSInt64Type = 4,
  KorNumberFloat32Type = 5,
  KorNumberFloat64Type = 6,
  KorNumberCharType = 7,
  KorNumberShortType = 8,
  KorNumberIntType = 9,
  KorNumberLongType = 10,
  KorNumberLongLongType = 11,
  KorNumberFloatType = 12,
  KorNumberDoubleType = 13,
  KorNumberIndexType = 14,         ///< signed machine word
  KorNumberIntegerType = 15,       ///< signed machine word
  KorNumberGraphicsFloatType = 16  ///< 64-bit float
};

/// A numeric value with its subtype. Two numbers are equal when their values are exactly equal, whatever their
/// subtypes; NaN equals NaN. A PlistBoolean equals only a PlistBoolean.
class VANTO_EXPORT PlistNumber : public PlistValue {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// A number of subtype 4.
  [[nodiscard]] static vanto::Ref<PlistNumber> create(std::int64_t value);
  /// The same for every other type of integers that fit, so that a plain 5 is not ambiguous; not for bool.
  template <std::integral Integer>
  requires(!std::same_as<Integer, bool> && std::numeric_limits<Integer>::digits < 64)
      [[nodiscard]] static vanto::Ref<PlistNumber> create(Integer value) {
    return create(std::int64_t{value});
  }
  /// A number of subtype 6.
  [[nodiscard]] static vanto::Ref<PlistNumber> create(double value);
  /// A number of the given subtype with a copy of the C value of that subtype at `value`; null for a code that is no
  /// subtype.
  [[nodiscard]] static vanto::Ref<PlistNumber> create(KorNumberType subtype, const void* value);

  [[nodiscard]] KorNumberType subtype() const noexcept { return subtype_; }
  /// True for the subtypes 5, 6, 12, 13 and 16.
  [[nodiscard]] bool isReal() const noexcept;

  /// The value as a signed 64-bit integer: a real is cut towards zero and saturates, NaN is 0.
  [[nodiscard]] std::int64_t int64Value() const noexcept;
  /// The value as a 64-bit float, rounded to nearest.
  [[nodiscard]] double doubleValue() const noexcept;
  /// True when the value is not zero.
  [[nodiscard]] bool truthValue() const noexcept;

 protected:
  constexpr PlistNumber(const vanto::Class& runtimeClass, Storage storage, std::uint32_t count, KorNumberType subtype,
                        std::int64_t value) noexcept
      : PlistValue(runtimeClass, storage, count), subtype_(subtype), integer_(value) {}
  constexpr PlistNumber(const vanto::Class& runtimeClass, Storage storage, std::uint32_t count, KorNumberType subtype,
                        double value) noexcept
      : PlistValue(runtimeClass, storage, count), subtype_(subtype), real_(value) {}

  friend struct vanto::ValueStorage;

  KorNumberType subtype_;
  /// Which of the two is in use follows from subtype_.
  union {
    std::int64_t integer_;
    double real_;
  };
};

/// True or false. A number in every kind-of test, of subtype 7, with a type identifier of its own. Only two exist, both
/// immortal.
class VANTO_EXPORT PlistBoolean : public PlistNumber {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// The one object for `value`.
  [[nodiscard]] static PlistBoolean* of(bool value) noexcept;

  [[nodiscard]] bool value() const noexcept { return integer_ != 0; }

 private:
  friend struct vanto::ValueStorage;
  constexpr explicit PlistBoolean(const vanto::Class& runtimeClass, bool value) noexcept
      : PlistNumber(runtimeClass, Storage::Immortal, 1, KorNumberCharType, std::int64_t{value}) {}
};
