// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>

// Archives of whole containers of service bundles, for a cache; VantoServiceBundle archives and restores one. Which
// keys such an archive has stands in docs/formats/cache-archive.md. A class takes part when its descriptor has
// archiveForCache and initWithArchive; of the library's own classes only VantoServiceBundle does. Writing goes by the
// kind of each value and drops arrays and dictionaries; restoring goes by one class for all values and drops nothing.
// Nothing is cached, and neither the container nor its values may be changed meanwhile.

/// An archive of `dictionary`: strings, numbers, booleans, data and dates themselves, the archives of other values, all
/// under the same keys; without the entries that are arrays or dictionaries. A value that cannot be archived, or has no
/// archive, is a broken invariant. A temporary.
[[nodiscard]] VANTO_EXPORT PlistMutableDictionary* archivedDictionary(const PlistDictionary& dictionary);

/// The dictionary of class `dictionaryClass` (that of PlistDictionary or PlistMutableDictionary) that `archive` stands
/// for; null stands for an empty one. With the class of PlistString, PlistData, PlistNumber or PlistDate as
/// `valueClass`, the values of the archive themselves, of whatever kind they are; with any other, an instance of that
/// class made from each value. A class that is not made from archives, or makes nothing of a value, is a broken
/// invariant. A temporary.
[[nodiscard]] VANTO_EXPORT PlistDictionary* dictionaryWithArchiveOfClass(const vanto::Class& dictionaryClass,
                                                                         const PlistDictionary* archive,
                                                                         const vanto::Class& valueClass);

/// An archive of `array`, by the same rules as archivedDictionary(): in the same order, without a gap where an array or
/// a dictionary was. A hole is a broken invariant. A temporary.
[[nodiscard]] VANTO_EXPORT PlistMutableArray* archivedArray(const PlistArray& array);

/// The array of class `arrayClass` (that of PlistArray or PlistMutableArray) that `archive` stands for, by the same
/// rules as dictionaryWithArchiveOfClass(). A temporary.
[[nodiscard]] VANTO_EXPORT PlistArray* arrayWithArchiveOfClass(const vanto::Class& arrayClass,
                                                               const PlistArray* archive,
                                                               const vanto::Class& elementClass);
