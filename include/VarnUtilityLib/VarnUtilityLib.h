// VarnUtilityLib.h — every public header of the library.
#pragma once

#include <VarnUtilityLib/CUAutoLock.h>
#include <VarnUtilityLib/CUAutoResetEvent.h>
#include <VarnUtilityLib/CUColor.h>
#include <VarnUtilityLib/CUDateTime.h>
#include <VarnUtilityLib/CUEnvironment.h>
#include <VarnUtilityLib/CUError.h>
#include <VarnUtilityLib/CUEventWaitHandle.h>
#include <VarnUtilityLib/CUExport.h>
#include <VarnUtilityLib/CUIdentifierGenerator.h>
#include <VarnUtilityLib/CULockAbstract.h>
#include <VarnUtilityLib/CUManualResetEvent.h>
#include <VarnUtilityLib/CUMutex.h>
#include <VarnUtilityLib/CUObject.h>
#include <VarnUtilityLib/CUPerformanceCounter.h>
#include <VarnUtilityLib/CUPlatformTypes.h>
#include <VarnUtilityLib/CURange.h>
#include <VarnUtilityLib/CURecursiveLock.h>
#include <VarnUtilityLib/CUSharedPtr.h>
#include <VarnUtilityLib/CUSimpleMonitor.h>
#include <VarnUtilityLib/CUStringMac.h>
#include <VarnUtilityLib/CUThread.h>
#include <VarnUtilityLib/CUUUID.h>
#include <VarnUtilityLib/CUVersion.h>
#include <VarnUtilityLib/CUWaitHandle.h>
