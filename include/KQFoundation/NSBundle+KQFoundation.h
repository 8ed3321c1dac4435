#pragma once
// NSBundle(KQFoundation): version and localization facts of a bundle, as
// members of kq::Bundle (declared in its category block in Bundle.h):
//
//   shortVersion()              The Info value "CFBundleShortVersionString"
//                               when it is a string.
//   bundleVersion()             The Info value "CFBundleVersion" when it is a string.
//   humanReadableCopyright()    The Info value "NSHumanReadableCopyright"
//                               when it is a string.
//   preferredLocalization()     The first preferred localization, "English"
//                               answered as "en". Throws kq::RangeException
//                               when the bundle has no localizations.
//   preferredApplicationLocalization()
//                               preferredLocalization() of the main bundle.
#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Bundle.h"

/// "CFBundleShortVersionString": the Info dictionary key of the marketing version.
extern KQ_EXPORT const char* const kKQBundleShortVersionStringKey;
