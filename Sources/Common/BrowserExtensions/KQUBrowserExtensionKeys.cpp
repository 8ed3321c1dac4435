#include "KQFoundation/KQUBrowserExtension.h"

const char* const kKQUBrowserExtensionTypeKey = "type";
const char* const kKQUBrowserExtensionNameKey = "name";
const char* const kKQUBrowserExtensionVersionKey = "version";
const char* const kKQUBrowserExtensionURLKey = "URL";
const char* const kKQUBrowserExtensionLeftoversKey = "leftovers";
const char* const kKQUBrowserExtensionSizeKey = "size";
const char* const kKQUBrowserExtensionIconKey = "icon";
const char* const kKQUBrowserExtensionSourceType = "sourceType";
const char* const kKQUBrowserExtensionPermissionsInfoKey = "permissionsInfo";
const char* const kKQUBrowserExtensionBrowserKey = "browser";
