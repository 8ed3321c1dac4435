#pragma once
// KQUVersion: an immutable dotted version number with an optional
// pre-release stage, as application bundles write them.
//
// Parsing skips everything before the first digit ("v1.2", "Version 3.0"),
// then reads integers separated by exactly "." (white space before a
// separator is skipped). A separator of exactly "a" or "b" ends the number
// with the alpha or beta stage; any other separator ("-", " (", "rc", "beta")
// ends it with the stage unchanged, and the rest is ignored: "1.2b3" is
// 1.2 beta, "1.2.3 (45)" is 1.2.3, "1.2-4" is 1.2. Fewer than two numbers is
// no version ("7", "12a", "1..2"). A component too large for 64 bits is
// clamped to the largest value.
//
// Ordering compares components pairwise; when the shorter one is a prefix of
// the longer, the shorter is smaller ("1.2" < "1.2.0", and they are not
// equal); equal components are ordered by stage, alpha < beta < release.
// Equality, hashing and ordering agree, so versions work as keys of
// std::unordered_map and with std::sort.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {
class Bundle;
}

enum KQUVersionStage : std::int64_t {
    KQUVersionStageAlpha = 0,
    KQUVersionStageBeta = 1,
    KQUVersionStageRelease = 2,
};

class KQ_EXPORT KQUVersion {
public:
    /// nullopt when the text is not a version (an empty version cannot exist).
    static std::optional<KQUVersion> versionWithString(std::string_view string);
    /// The preferred one of the bundle's "CFBundleVersion" and
    /// "CFBundleShortVersionString".
    static std::optional<KQUVersion> versionOfBundle(const kq::Bundle& bundle);
    /// The same from an Info dictionary; a number value counts as its text.
    static std::optional<KQUVersion> versionWithBundleInfo(const kq::Dictionary& info);
    /// The bundle version when its text begins with the short version's text
    /// (a plain textual prefix: short "2.1" with bundle "2.10" gives 2.10),
    /// else the short version; whichever parses when only one does.
    static std::optional<KQUVersion> preferredVersionWithBundleVersion(
        const std::optional<std::string>& bundleVersion, const std::optional<std::string>& shortVersion);
    /// The value for the key as text: a string as it is, a number's text
    /// (412 gives "412"), nullopt for anything else.
    static std::optional<std::string> bundleInfo(const kq::Dictionary& info, std::string_view key);
    /// The components of a version text, and its stage through `stage` (only
    /// written on success); nullopt when it is not a version.
    static std::optional<std::vector<std::int64_t>> componentsFromVersionString(std::string_view string,
                                                                               KQUVersionStage* stage);

    const std::vector<std::int64_t>& components() const { return components_; }
    KQUVersionStage stage() const { return stage_; }

    /// "1.2.3"
    std::string stringRepresentation() const;
    /// "1.2 beta", "1.2 alpha", "1.2"
    std::string stringRepresentationWithStage() const;
    /// "1.2b", "1.2a", "1.2": parses back to an equal version.
    std::string stringRepresentationForCoder() const;

    /// -1 when this version is ordered first, 0 when the same, +1 otherwise.
    int compare(const KQUVersion& other) const;
    bool isEqual(const KQUVersion& other) const { return compare(other) == 0; }
    std::size_t hash() const;

    friend bool operator==(const KQUVersion& a, const KQUVersion& b) { return a.compare(b) == 0; }
    friend std::strong_ordering operator<=>(const KQUVersion& a, const KQUVersion& b) {
        return a.compare(b) <=> 0;
    }

    /// The archived form: {"version": stringRepresentationForCoder()}.
    kq::Dictionary encodeWithCoder() const;
    /// A version from its archived form; nullopt for a damaged archive.
    static std::optional<KQUVersion> initWithCoder(const kq::Dictionary& archive);

private:
    KQUVersion(std::vector<std::int64_t> components, KQUVersionStage stage)
        : components_(std::move(components)), stage_(stage) {}

    std::vector<std::int64_t> components_;
    KQUVersionStage stage_;
};

template <>
struct std::hash<KQUVersion> {
    std::size_t operator()(const KQUVersion& version) const noexcept { return version.hash(); }
};
