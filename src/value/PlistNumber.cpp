// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistNumber.h>

#include <cmath>
#include <cstring>
#include <new>

#include <VantoService/PlistString.h>

#include "value/NumberConversion.h"
#include "value/NumberText.h"
#include "value/ValueStorage.h"

namespace vanto {

namespace {

Ref<PlistString> describeNumber(const Object& self) {
  const auto& number = static_cast<const PlistNumber&>(self);
  if (!number.isReal()) return PlistString::create(NumberText(number.int64Value()).text());
  const double value = number.doubleValue();
  // Not to_chars, which tells the sign of NaN.
  if (std::isnan(value)) return PlistString::create("nan");
  const bool isFloat = number.subtype() == KorNumberFloat32Type || number.subtype() == KorNumberFloatType;
  return PlistString::create(isFloat ? NumberText(static_cast<float>(value)).text() : NumberText(value).text());
}

bool areNumbersEqual(const Object& self, const Object& other) noexcept {
  if (!other.isKindOf(plistNumberClass) || other.isKindOf(plistBooleanClass)) return false;
  const auto& left = static_cast<const PlistNumber&>(self);
  const auto& right = static_cast<const PlistNumber&>(other);
  if (left.isReal() && right.isReal()) return NumberConversion::areEqual(left.doubleValue(), right.doubleValue());
  if (left.isReal()) return NumberConversion::areEqual(right.int64Value(), left.doubleValue());
  if (right.isReal()) return NumberConversion::areEqual(left.int64Value(), right.doubleValue());
  return left.int64Value() == right.int64Value();
}

/// The C value at `place`, which need not be aligned.
template <typename Value>
Value read(const void* place) noexcept {
  Value value{};
  std::memcpy(&value, place, sizeof value);
  return value;
}

std::int64_t readInteger(KorNumberType subtype, const void* place) noexcept {
  switch (subtype) {
    case KorNumberSInt8Type:
      return read<std::int8_t>(place);
    case KorNumberSInt16Type:
      return read<std::int16_t>(place);
    case KorNumberSInt32Type:
      return read<std::int32_t>(place);
    case KorNumberCharType:
      return read<char>(place);
    case KorNumberShortType:
      return read<short>(place);
    case KorNumberIntType:
      return read<int>(place);
    case KorNumberLongType:
      return read<long>(place);
    case KorNumberIndexType:
    case KorNumberIntegerType:
      return read<std::intptr_t>(place);
    default:
      return read<std::int64_t>(place);
  }
}

double readReal(KorNumberType subtype, const void* place) noexcept {
  const bool isFloat = subtype == KorNumberFloat32Type || subtype == KorNumberFloatType;
  return isFloat ? double{read<float>(place)} : read<double>(place);
}

constexpr bool isRealSubtype(KorNumberType subtype) noexcept {
  return subtype == KorNumberFloat32Type || subtype == KorNumberFloat64Type || subtype == KorNumberFloatType ||
         subtype == KorNumberDoubleType || subtype == KorNumberGraphicsFloatType;
}

}  // namespace

constinit const Class plistNumberClass{"PlistNumber",   &plistValueClass, NumberKind, &ValueStorage::destroyPlain,
                                       &describeNumber, &areNumbersEqual};

}  // namespace vanto

using vanto::Ref;

const vanto::Class& PlistNumber::classDescriptor() noexcept {
  return vanto::plistNumberClass;
}

Ref<PlistNumber> PlistNumber::create(std::int64_t value) {
  return Ref<PlistNumber>::adopt(::new (allocate(sizeof(PlistNumber))) PlistNumber(
      vanto::plistNumberClass, Storage::Counted, 1, KorNumberSInt64Type, value));
}

Ref<PlistNumber> PlistNumber::create(double value) {
  return Ref<PlistNumber>::adopt(::new (allocate(sizeof(PlistNumber))) PlistNumber(
      vanto::plistNumberClass, Storage::Counted, 1, KorNumberFloat64Type, value));
}

Ref<PlistNumber> PlistNumber::create(KorNumberType subtype, const void* value) {
  if (subtype < KorNumberSInt8Type || subtype > KorNumberGraphicsFloatType) return nullptr;
  void* memory = allocate(sizeof(PlistNumber));
  const vanto::Class& numberClass = vanto::plistNumberClass;
  return Ref<PlistNumber>::adopt(
      vanto::isRealSubtype(subtype)
          ? ::new (memory) PlistNumber(numberClass, Storage::Counted, 1, subtype, vanto::readReal(subtype, value))
          : ::new (memory) PlistNumber(numberClass, Storage::Counted, 1, subtype, vanto::readInteger(subtype, value)));
}

bool PlistNumber::isReal() const noexcept {
  return vanto::isRealSubtype(subtype_);
}

std::int64_t PlistNumber::int64Value() const noexcept {
  return isReal() ? vanto::NumberConversion::toInteger(real_) : integer_;
}

double PlistNumber::doubleValue() const noexcept {
  return isReal() ? real_ : static_cast<double>(integer_);
}

bool PlistNumber::truthValue() const noexcept {
  return isReal() ? real_ != 0 : integer_ != 0;
}
