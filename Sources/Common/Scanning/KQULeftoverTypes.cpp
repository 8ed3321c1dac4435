#include "KQFoundation/KQULeftoverTypes.h"

const char* const kKQUContainerLeftoverType = "KQFoundation.LeftoverType.Container";
const char* const kKQUPreferencesLeftoverType = "KQFoundation.LeftoverType.Preferences";
const char* const kKQUSavedStateLeftoverType = "KQFoundation.LeftoverType.SavedState";
const char* const kKQUApplicationSupportLeftoverType = "KQFoundation.LeftoverType.ApplicationSupport";
const char* const kKQUCachesLeftoverType = "KQFoundation.LeftoverType.Caches";
const char* const kKQULogsLeftoverType = "KQFoundation.LeftoverType.Logs";
const char* const kKQUOtherLeftoverType = "KQFoundation.LeftoverType.Other";
