// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Everything a C++ caller of the library needs. C programs include <VantoService/vanto.h>,
/// <VantoService/vanto_code.h>, <VantoService/tolven_data.h>, <VantoService/VantoServiceMain.h> and
/// <VantoService/KorRunLoop.h>.

#include <VantoService/Bundle.h>
#include <VantoService/IndentedDescription.h>
#include <VantoService/KorFunctions.h>
#include <VantoService/KorRunLoop.h>
#include <VantoService/PropertyList.h>
#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceArchiver.h>
#include <VantoService/VantoServiceBundle.h>
#include <VantoService/VantoServiceConstants.h>
#include <VantoService/VantoServiceDiscovery.h>
#include <VantoService/VantoServiceMain.h>
#include <VantoService/VantoServiceRuntime.h>
#include <VantoService/dispatch.h>
#include <VantoService/tolven_data.h>
#include <VantoService/vanto.h>
#include <VantoService/vanto_code.h>
