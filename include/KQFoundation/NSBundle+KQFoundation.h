#pragma once
// NSBundle(KQFoundation): version and localization facts of a bundle. The
// members are declared on kq::Bundle (shortVersion, bundleVersion,
// humanReadableCopyright, preferredLocalization,
// preferredApplicationLocalization) and defined with this category.
#include "KQFoundation/Foundation/Bundle.h"

/// "CFBundleShortVersionString": the Info dictionary key of the marketing version.
extern const char* const kKQBundleShortVersionStringKey;
