// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoServiceConstants.h>

#include "value/ValueStorage.h"

namespace {

using vanto::ValueStorage;

constinit PlistString bundleExtension = ValueStorage::constantString("vanto");
constinit PlistString infoDictionaryKey = ValueStorage::constantString("VantoService");
constinit PlistString serviceTypeKey = ValueStorage::constantString("ServiceType");
constinit PlistString joinExistingSessionKey = ValueStorage::constantString("JoinExistingSession");
constinit PlistString environmentVariablesKey = ValueStorage::constantString("EnvironmentVariables");
constinit PlistString runLoopTypeKey = ValueStorage::constantString("RunLoopType");
constinit PlistString sandboxProfileKey = ValueStorage::constantString("_SandboxProfile");
constinit PlistString useQelApplicationMainKey = ValueStorage::constantString("_UseQelApplicationMain");
constinit PlistString multipleInstancesKey = ValueStorage::constantString("_MultipleInstances");
constinit PlistString roleAccountKey = ValueStorage::constantString("_RoleAccount");
constinit PlistString allowedClientsKey = ValueStorage::constantString("_AllowedClients");

}  // namespace

extern "C" {

constinit PlistString* const VantoServiceBundleExtention = &bundleExtension;
constinit PlistString* const VantoServiceBundleInfoDictionaryKey = &infoDictionaryKey;
constinit PlistString* const VantoServiceDictionaryServiceTypeKey = &serviceTypeKey;
constinit PlistString* const VantoServiceDictionaryJoinExistingSessionKey = &joinExistingSessionKey;
constinit PlistString* const VantoServiceDictionaryEnvironmentVariablesKey = &environmentVariablesKey;
constinit PlistString* const VantoServiceDictionaryRunloopTypeKey = &runLoopTypeKey;
constinit PlistString* const VantoServiceDictionarySandboxProfileKey = &sandboxProfileKey;
constinit PlistString* const VantoServiceDictionaryUseQelApplicationMainKey = &useQelApplicationMainKey;
constinit PlistString* const VantoServiceDictionaryMultipleInstancesKey = &multipleInstancesKey;
constinit PlistString* const VantoServiceDictionaryRoleAccountKey = &roleAccountKey;
constinit PlistString* const VantoServiceDictionaryAllowedClientsKey = &allowedClientsKey;

constinit const double VantoServiceVersionNumber = 1.0;
constinit const unsigned char VantoServiceVersionString[] = "@(#)PROGRAM:VantoService  PROJECT:VantoService-1\n";
}
