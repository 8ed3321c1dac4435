#include "KQFoundation/KQUSystemReportKeys.h"

namespace {
// One string object for the GPU's and the display's model name, as callers may compare pointers.
constexpr char kModelNameText[] = "modelName";
}  // namespace

const char* const kKQUMemoryInfoNameKey = "_name";
const char* const kKQUMemoryInfoManufacturerKey = "dimm_manufacturer";
const char* const kKQUMemoryInfoPartNumberKey = "dimm_part_number";
const char* const kKQUMemoryInfoSerialNumberKey = "dimm_serial_number";
const char* const kKQUMemoryInfoSizeKey = "dimm_size";
const char* const kKQUMemoryInfoSpeedKey = "dimm_speed";
const char* const kKQUMemoryInfoStatusKey = "dimm_status";
const char* const kKQUMemoryInfoTypeKey = "dimm_type";

const char* const kKQUGPUsKey = "GPUs";
const char* const kKQUGPUModelNameKey = kModelNameText;
const char* const kKQUGPUMemorySizeKey = "memorySize";
const char* const kKQUGPUVendorNameKey = "vendorName";

const char* const kKQUDisplaysKey = "displays";
const char* const kKQUDisplayModelNameKey = kModelNameText;
const char* const kKQUDisplayResolutionKey = "resolution";
const char* const kKQUDisplayVendorNumberKey = "vendorNumber";
const char* const kKQUDisplayYearOfManufactureKey = "yearOfManufacture";
const char* const kKQUDisplayWeekOfManufactureKey = "weekOfManufacture";

const char* const kKQUExternIOSDeviceSerialNumberKey = "device_ios_serial_number";
const char* const kKQUExternIOSDeviceUseCountKey = "device_ios_use_count";
const char* const kKQUExternIOSDeviceClassKey = "device_ios_class";
const char* const kKQUExternIOSDeviceConnectionDateKey = "device_ios_connection_date";
