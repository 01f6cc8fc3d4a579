// VarnUtilityLib.h — every public header of the library.
#pragma once

#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUError.h>
#include <VarnUtilityLib/CUDriveInfo.h>
#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CULockAbstract.h>
#include <VarnUtilityLib/CUMutex.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUPlatformTypes.h>
#include <VarnUtilityLib/CURange.h>
#include <VarnUtilityLib/CURecursiveLock.h>
#include <VarnUtilityLib/CUSharedPtr.h>
#include <VarnUtilityLib/CUSimpleMonitor.h>
#include <VarnUtilityLib/CUStringMac.h>
#include <VarnUtilityLib/CUVersion.h>
#include <VarnUtilityLib/CUWaitHandle.h>
