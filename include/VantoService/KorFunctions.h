// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include <VantoService/KorURL.h>
#include <VantoService/PlistArray.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>

// The plain-function face of the value model. A result of a function with Create or Copy in its name is owned by the
// caller, who drops it with KorRelease(). Unless a function says otherwise its object arguments must not be null and
// must be of the kind in its name; anything else is a broken invariant.

/// The text encoding of KorStringGetCString().
inline constexpr std::uint32_t KorStringEncodingUTF8 = 0x08000100;
/// The text encoding of KorStringCreateFromData().
inline constexpr std::uint32_t KorDataEncodingUTF8 = 4;
/// The property-list format that KorPropertyListCreateBytes() writes: XML, version 1.0.
inline constexpr std::int32_t KorPropertyListXMLFormat = 100;
/// The path style of KorURLCreateWithFileSystemPath().
inline constexpr std::int32_t KorURLPOSIXPathStyle = 0;

/// Called by KorDictionaryApplyFunction() for each entry.
using KorDictionaryApplierFunction = void (*)(PlistString* key, vanto::Object* value, void* context);

extern "C" {

/// Takes a further reference and gives its argument back; null gives null.
VANTO_EXPORT vanto::Object* KorRetain(vanto::Object* object);
/// Drops a reference; null is ignored.
VANTO_EXPORT void KorRelease(vanto::Object* object);

/// The type identifier of an object: that of its kind for a property-list value (a mutable variant has its kind's, a
/// boolean its own), that of no kind for any other object.
VANTO_EXPORT KorTypeID KorGetTypeID(vanto::Object* object);
VANTO_EXPORT KorTypeID KorStringGetTypeID();
VANTO_EXPORT KorTypeID KorBooleanGetTypeID();
VANTO_EXPORT KorTypeID KorArrayGetTypeID();
VANTO_EXPORT KorTypeID KorDictionaryGetTypeID();
VANTO_EXPORT KorTypeID KorDataGetTypeID();
VANTO_EXPORT KorTypeID KorNumberGetTypeID();
VANTO_EXPORT KorTypeID KorDateGetTypeID();

/// Copies the text with a NUL behind it into `buffer` of `size` bytes. False, with `buffer` untouched, when it does not
/// fit, when the text contains NUL, and for another encoding than KorStringEncodingUTF8.
VANTO_EXPORT bool KorStringGetCString(PlistString* string, char* buffer, std::size_t size, std::uint32_t encoding);

/// The text whose bytes `data` holds, owned by the caller. Null for null, for bytes that are no UTF-8, and for another
/// encoding than KorDataEncodingUTF8.
VANTO_EXPORT PlistString* KorStringCreateFromData(PlistData* data, std::uint32_t encoding);

VANTO_EXPORT bool KorBooleanGetValue(PlistBoolean* boolean);

VANTO_EXPORT std::size_t KorArrayGetCount(PlistArray* array);
/// Null for a hole; an index beyond the end is a broken invariant. Not owned by the caller.
VANTO_EXPORT vanto::Object* KorArrayGetValueAtIndex(PlistArray* array, std::size_t index);

/// Calls `function` with each key, its value and `context`, in no particular order.
VANTO_EXPORT void KorDictionaryApplyFunction(PlistDictionary* dictionary, KorDictionaryApplierFunction function,
                                             void* context);

VANTO_EXPORT std::size_t KorDataGetLength(PlistData* data);
/// The bytes, alive as long as the data.
VANTO_EXPORT const std::uint8_t* KorDataGetBytePtr(PlistData* data);

VANTO_EXPORT KorNumberType KorNumberGetType(PlistNumber* number);
/// Stores the value at `value` as the C type of `subtype`; an integer out of range and a real that is cut saturate, NaN
/// read as an integer is 0. True when the stored value is exactly the number's. False, with nothing stored, for a code
/// that is no subtype.
VANTO_EXPORT bool KorNumberGetValue(PlistNumber* number, KorNumberType subtype, void* value);

/// The value that the bytes hold as a property list in any supported format, immutable, owned by the caller; null when
/// they hold none. vanto::createPropertyList() also tells why.
VANTO_EXPORT PlistValue* KorPropertyListCreateFromBytes(PlistData* data);
/// The bytes of `value` in the given format, owned by the caller; null for a format other than
/// KorPropertyListXMLFormat, and for a value that the format cannot carry.
VANTO_EXPORT PlistData* KorPropertyListCreateBytes(vanto::Object* value, std::int32_t format);
}
