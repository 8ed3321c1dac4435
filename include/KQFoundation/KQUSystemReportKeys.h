#pragma once
// Keys of the dictionaries that KQUSystemInformation's reports return.
#include "KQFoundation/Export.h"

// Memory modules: the profiler's own keys, handed back unchanged.
extern KQ_EXPORT const char* const kKQUMemoryInfoNameKey;          // "_name"
extern KQ_EXPORT const char* const kKQUMemoryInfoManufacturerKey;  // "dimm_manufacturer"
extern KQ_EXPORT const char* const kKQUMemoryInfoPartNumberKey;    // "dimm_part_number"
extern KQ_EXPORT const char* const kKQUMemoryInfoSerialNumberKey;  // "dimm_serial_number"
extern KQ_EXPORT const char* const kKQUMemoryInfoSizeKey;          // "dimm_size"
extern KQ_EXPORT const char* const kKQUMemoryInfoSpeedKey;         // "dimm_speed"
extern KQ_EXPORT const char* const kKQUMemoryInfoStatusKey;        // "dimm_status"
extern KQ_EXPORT const char* const kKQUMemoryInfoTypeKey;          // "dimm_type"

// Graphics processors.
extern KQ_EXPORT const char* const kKQUGPUsKey;           // "GPUs"
extern KQ_EXPORT const char* const kKQUGPUModelNameKey;   // "modelName"
extern KQ_EXPORT const char* const kKQUGPUMemorySizeKey;  // "memorySize"
extern KQ_EXPORT const char* const kKQUGPUVendorNameKey;  // "vendorName"

// Displays. kKQUDisplayModelNameKey is the very same string as kKQUGPUModelNameKey.
extern KQ_EXPORT const char* const kKQUDisplaysKey;                  // "displays"
extern KQ_EXPORT const char* const kKQUDisplayModelNameKey;          // "modelName"
extern KQ_EXPORT const char* const kKQUDisplayResolutionKey;         // "resolution"
extern KQ_EXPORT const char* const kKQUDisplayVendorNumberKey;       // "vendorNumber"
extern KQ_EXPORT const char* const kKQUDisplayYearOfManufactureKey;  // "yearOfManufacture"
extern KQ_EXPORT const char* const kKQUDisplayWeekOfManufactureKey;  // "weekOfManufacture"

// Synchronised mobile devices.
extern KQ_EXPORT const char* const kKQUExternIOSDeviceSerialNumberKey;    // "device_ios_serial_number"
extern KQ_EXPORT const char* const kKQUExternIOSDeviceUseCountKey;        // "device_ios_use_count"
extern KQ_EXPORT const char* const kKQUExternIOSDeviceClassKey;           // "device_ios_class"
extern KQ_EXPORT const char* const kKQUExternIOSDeviceConnectionDateKey;  // "device_ios_connection_date"
