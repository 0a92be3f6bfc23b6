// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/PlistString.h>

// Keys and version of the service interface. They need no code when the library is loaded and are never destroyed.

extern "C" {

/// "vanto", the path extension of a service bundle. (The name is spelled so in the interface.)
VANTO_EXPORT extern PlistString* const VantoServiceBundleExtention;
/// "VantoService", the key of the service dictionary in a bundle's Info dictionary.
VANTO_EXPORT extern PlistString* const VantoServiceBundleInfoDictionaryKey;

// Keys of the service dictionary.

/// "ServiceType": the string "User", "Session" or "System".
VANTO_EXPORT extern PlistString* const VantoServiceDictionaryServiceTypeKey;
/// "JoinExistingSession": for other programs.
VANTO_EXPORT extern PlistString* const VantoServiceDictionaryJoinExistingSessionKey;
/// "EnvironmentVariables": for other programs.
VANTO_EXPORT extern PlistString* const VantoServiceDictionaryEnvironmentVariablesKey;
/// "RunLoopType": a string, the run loop that _vanto_main() runs.
VANTO_EXPORT extern PlistString* const VantoServiceDictionaryRunloopTypeKey;
/// "_SandboxProfile": a string, the resource name of the sandbox profile.
VANTO_EXPORT extern PlistString* const VantoServiceDictionarySandboxProfileKey;
/// "_UseQelApplicationMain": a boolean; true runs the application main loop in vanto_service_main().
VANTO_EXPORT extern PlistString* const VantoServiceDictionaryUseQelApplicationMainKey;
/// "_MultipleInstances": copied into the job dictionary.
VANTO_EXPORT extern PlistString* const VantoServiceDictionaryMultipleInstancesKey;
/// "_RoleAccount": for other programs.
VANTO_EXPORT extern PlistString* const VantoServiceDictionaryRoleAccountKey;
/// "_AllowedClients": an array of requirement texts; a client must satisfy one of them.
VANTO_EXPORT extern PlistString* const VantoServiceDictionaryAllowedClientsKey;

/// 1.0
VANTO_EXPORT extern const double VantoServiceVersionNumber;
/// The version in the form that version-identification tools search for, ending in a line feed and a NUL.
VANTO_EXPORT extern const unsigned char VantoServiceVersionString[];
}
