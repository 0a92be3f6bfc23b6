// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include <VantoService/Bundle.h>
#include <VantoService/PlistArray.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistString.h>
#include <VantoService/dispatch.h>
#include <VantoService/tolven_data.h>
#include <VantoService/vanto.h>

namespace vanto {
class IndentedDescription;
}
namespace vanto::test {
struct VantoServiceBundleFields;
}

/// What a service says of itself under "ServiceType".
using VantoServiceType = std::int64_t;
inline constexpr VantoServiceType VantoServiceTypeNone = 0;
inline constexpr VantoServiceType VantoServiceTypeUser = 1;     ///< "User"
inline constexpr VantoServiceType VantoServiceTypeSession = 2;  ///< "Session"
inline constexpr VantoServiceType VantoServiceTypeSystem = 3;   ///< "System"

/// One service: a bundle whose directory name ends in ".vanto" and whose Info dictionary carries a service dictionary.
/// Derived properties are computed on first use, once per object, and kept for its life; any thread may call any getter
/// at any time. Results are the object's own unless an operation says otherwise.
class VANTO_EXPORT VantoServiceBundle : public vanto::Object {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// A new object for `bundle`, which is not examined. The designated initialiser.
  [[nodiscard]] static vanto::Ref<VantoServiceBundle> initWithBundle(Bundle* bundle);

  /// The service bundle in the directory at `path`; null unless the path's extension is "vanto", a bundle is there, and
  /// its Info dictionary has an entry "VantoService". Nothing is logged. A temporary.
  [[nodiscard]] static VantoServiceBundle* VantoServiceBundleAtPath(PlistString* path);

  /// The service bundle that an executable at `path` belongs to: VantoServiceBundleAtPath() of the bundle that
  /// bundleForBinaryImagePath() gives; null where either gives none. A temporary.
  [[nodiscard]] static VantoServiceBundle* VantoServiceBundleFromExecutableAtPath(PlistString* path);

  /// An object for the process's main bundle, whatever that bundle holds; null when there is none. A temporary.
  [[nodiscard]] static VantoServiceBundle* VantoServiceBundleForMainExecutable();

  /// True when the machine's role-account policy leaves requirement checks in force. The policy file is read at the
  /// first call in the process and never again.
  [[nodiscard]] static bool useRestrictiveRoleAccountSecurityPolicy();

  /// The underlying bundle. An object without one is a broken invariant.
  [[nodiscard]] Bundle* bundle() const;

  /// The bundle's identifier, or null.
  [[nodiscard]] PlistString* identifier();

  /// Absolute path of the service's executable, or null.
  [[nodiscard]] PlistString* executablePath();

  /// The value under "VantoService" in the Info dictionary, of whatever kind it is: test it with as<PlistDictionary>().
  /// Its absence is a broken invariant, except in an object restored from an archive, which answers null.
  [[nodiscard]] vanto::Object* serviceDictionary();

  [[nodiscard]] VantoServiceType serviceType();
  /// True when the service type is VantoServiceTypeSystem.
  [[nodiscard]] bool isSystemService();

  /// The service dictionary's value under `key`; null when there is none, or no service dictionary, or a value of
  /// another kind in its place.
  [[nodiscard]] vanto::Object* objectForServiceDictionaryKey(PlistString* key);
  /// True when the value is a number or boolean that is not zero.
  [[nodiscard]] bool boolForServiceDictionaryKey(PlistString* key);
  /// The value when it is a string, else null.
  [[nodiscard]] PlistString* stringForServiceDictionaryKey(PlistString* key);
  /// The value when it is a dictionary, else null.
  [[nodiscard]] PlistDictionary* dictionaryForServiceDictionaryKey(PlistString* key);
  /// The value when it is an array, else null.
  [[nodiscard]] PlistArray* arrayForServiceDictionaryKey(PlistString* key);

  /// What the service manager has to know to run the service. Null for a service without identifier or executable path,
  /// which cannot be a job. An immutable dictionary, except in an object restored from an archive, which answers with
  /// what the archive had: test it with as<PlistDictionary>().
  [[nodiscard]] vanto::Object* tolvendJobDictionary();

  /// The job dictionary as an XML property list, written anew at each call. Null when there is no job dictionary, when
  /// an archive had something else in its place, and when XML cannot carry it. A temporary.
  [[nodiscard]] PlistData* tolvendJobPropertyListData();
  /// The same as text.
  [[nodiscard]] PlistString* tolvendJobPropertyListString();

  /// The job dictionary as job data: a new tree at each call, which the caller owns and frees with tolven_data_free().
  /// Null, with a line on the standard error, when there is no job dictionary. What cannot be converted inside it is
  /// left out, with a line for each.
  [[nodiscard]] tolven_data_t tolvendJobTolvenData();
  /// `array`, in practice one of job dictionaries, as job data, which the caller owns. A value of any other kind is
  /// converted by its kind.
  [[nodiscard]] static tolven_data_t createTolvenDataFromArray(vanto::Object* array);

  /// The job dictionary as an IPC object, made once and never freed, not even with this object. Null, with a line in
  /// the log, when there is no job dictionary. What cannot be converted inside it is left out, with a line for each.
  [[nodiscard]] vanto_object_t vantoJobData();
  /// `array`, in practice one of job dictionaries, as an IPC object, of which the caller owns a reference. A value of
  /// any other kind is converted by its kind.
  [[nodiscard]] static vanto_object_t createVantoJobsArrayFromArray(vanto::Object* array);

  /// What stands for this object in a cache archive: those of identifier, executable path, service dictionary and job
  /// dictionary that it has, and the service type always. Computes them all; docs/formats/cache-archive.md lists the
  /// keys. The dictionaries are the object's own, not copies. A temporary.
  [[nodiscard]] PlistMutableDictionary* archiveForCache();

  /// A new object with the values of `archive`, whatever their kinds, and without a bundle: bundle() is a broken
  /// invariant, and what the archive lacks stays missing for good. An archive that is no dictionary counts as an empty
  /// one. Touches no file.
  [[nodiscard]] static vanto::Ref<VantoServiceBundle> initWithArchive(vanto::Object* archive);

  /// Several lines for people, in which what lies inside is indented by four blanks more for each level; the outermost
  /// level is 0. Computes what it prints. description() is the same at level 0. A temporary.
  [[nodiscard]] PlistString* descriptionWithIndent(std::size_t level);

 private:
  /// Prints _bundle, which no operation shows where it is missing.
  friend class vanto::IndentedDescription;
  /// How tests look at the fields.
  friend struct vanto::test::VantoServiceBundleFields;

  explicit VantoServiceBundle(Bundle* bundle) noexcept;
  static void destroy(vanto::Object& self) noexcept;
  void dealloc() noexcept;
  static vanto::Ref<PlistString> createDescription(const vanto::Object& self);
  static vanto::Ref<vanto::Object> createArchive(vanto::Object& self);
  static vanto::Ref<vanto::Object> createFromArchive(vanto::Object* archive);

  void computeIdentifier();
  void computeExecutablePath();
  void computeServiceType();
  void computeServiceDictionary();
  void computeJobDictionary();
  [[nodiscard]] vanto::Ref<PlistDictionary> createJobDictionary();
  void computeVantoJobData();

  // Each lazy field stands before its guard: 0 not computed, -1 computed.

  /// The bundle that this object describes; fixed from construction on, null in an object restored from an archive.
  vanto::Ref<Bundle> _bundle;
  /// Identifier of the service. A string and nothing else, so that the getter has no kind to test.
  vanto::Ref<PlistString> _serviceIdentifier;
  dispatch_once_t _serviceIdentifierPredicate = 0;
  /// Absolute path of the executable. A string and nothing else, like the identifier.
  vanto::Ref<PlistString> _executablePath;
  dispatch_once_t _executablePathPredicate = 0;
  /// Service type code.
  VantoServiceType _serviceType = VantoServiceTypeNone;
  dispatch_once_t _serviceTypePredicate = 0;
  /// The value under "VantoService", as found.
  vanto::Ref<vanto::Object> _serviceDictionary;
  dispatch_once_t _serviceDictionaryPredicate = 0;
  /// The job dictionary, of whatever kind an archive gave.
  vanto::Ref<vanto::Object> _tolvendJobDictionary;
  dispatch_once_t _tolvendJobDictionaryPredicate = 0;
  /// The job as an IPC object, with the references that the object never gives back.
  vanto_object_t _vantoJobData = nullptr;
  dispatch_once_t _vantoJobDataPredicate = 0;

  // What an archive gave as identifier and path when that was no string. Kept like all that it gave; no getter shows
  // it.

  vanto::Ref<vanto::Object> _otherServiceIdentifier;
  vanto::Ref<vanto::Object> _otherExecutablePath;
};
