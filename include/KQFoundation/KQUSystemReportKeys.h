#pragma once
// Keys of the dictionaries that KQUSystemInformation's reports return.

// Memory modules: the profiler's own keys, handed back unchanged.
extern const char* const kKQUMemoryInfoNameKey;          // "_name"
extern const char* const kKQUMemoryInfoManufacturerKey;  // "dimm_manufacturer"
extern const char* const kKQUMemoryInfoPartNumberKey;    // "dimm_part_number"
extern const char* const kKQUMemoryInfoSerialNumberKey;  // "dimm_serial_number"
extern const char* const kKQUMemoryInfoSizeKey;          // "dimm_size"
extern const char* const kKQUMemoryInfoSpeedKey;         // "dimm_speed"
extern const char* const kKQUMemoryInfoStatusKey;        // "dimm_status"
extern const char* const kKQUMemoryInfoTypeKey;          // "dimm_type"

// Graphics processors.
extern const char* const kKQUGPUsKey;           // "GPUs"
extern const char* const kKQUGPUModelNameKey;   // "modelName"
extern const char* const kKQUGPUMemorySizeKey;  // "memorySize"
extern const char* const kKQUGPUVendorNameKey;  // "vendorName"

// Displays. kKQUDisplayModelNameKey is the very same string as kKQUGPUModelNameKey.
extern const char* const kKQUDisplaysKey;                  // "displays"
extern const char* const kKQUDisplayModelNameKey;          // "modelName"
extern const char* const kKQUDisplayResolutionKey;         // "resolution"
extern const char* const kKQUDisplayVendorNumberKey;       // "vendorNumber"
extern const char* const kKQUDisplayYearOfManufactureKey;  // "yearOfManufacture"
extern const char* const kKQUDisplayWeekOfManufactureKey;  // "weekOfManufacture"

// Synchronised mobile devices.
extern const char* const kKQUExternIOSDeviceSerialNumberKey;    // "device_ios_serial_number"
extern const char* const kKQUExternIOSDeviceUseCountKey;        // "device_ios_use_count"
extern const char* const kKQUExternIOSDeviceClassKey;           // "device_ios_class"
extern const char* const kKQUExternIOSDeviceConnectionDateKey;  // "device_ios_connection_date"
