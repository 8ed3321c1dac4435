#pragma once
// The leftover types a knowledge-base entry's "Type" carries by convention.
// The scanner passes any non-empty type through unchanged; these are the ones
// the built-in knowledge base uses and hosts group by.
#include "KQFoundation/Export.h"

extern KQ_EXPORT const char* const kKQUContainerLeftoverType;           // "KQFoundation.LeftoverType.Container"
extern KQ_EXPORT const char* const kKQUPreferencesLeftoverType;         // "KQFoundation.LeftoverType.Preferences"
extern KQ_EXPORT const char* const kKQUSavedStateLeftoverType;          // "KQFoundation.LeftoverType.SavedState"
extern KQ_EXPORT const char* const kKQUApplicationSupportLeftoverType;  // "KQFoundation.LeftoverType.ApplicationSupport"
extern KQ_EXPORT const char* const kKQUCachesLeftoverType;              // "KQFoundation.LeftoverType.Caches"
extern KQ_EXPORT const char* const kKQULogsLeftoverType;                // "KQFoundation.LeftoverType.Logs"
extern KQ_EXPORT const char* const kKQUOtherLeftoverType;               // "KQFoundation.LeftoverType.Other"
