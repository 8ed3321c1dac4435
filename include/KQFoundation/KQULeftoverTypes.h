#pragma once
// The leftover types a knowledge-base entry's "Type" carries by convention.
// The scanner passes any non-empty type through unchanged; these are the ones
// the built-in knowledge base uses and hosts group by.

extern const char* const kKQUContainerLeftoverType;           // "KQFoundation.LeftoverType.Container"
extern const char* const kKQUPreferencesLeftoverType;         // "KQFoundation.LeftoverType.Preferences"
extern const char* const kKQUSavedStateLeftoverType;          // "KQFoundation.LeftoverType.SavedState"
extern const char* const kKQUApplicationSupportLeftoverType;  // "KQFoundation.LeftoverType.ApplicationSupport"
extern const char* const kKQUCachesLeftoverType;              // "KQFoundation.LeftoverType.Caches"
extern const char* const kKQULogsLeftoverType;                // "KQFoundation.LeftoverType.Logs"
extern const char* const kKQUOtherLeftoverType;               // "KQFoundation.LeftoverType.Other"
