#include "KQFoundation/KQULeftoversScanner.h"

#include <algorithm>
#include <unordered_set>

#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/Foundation/PathUtilities.h"

namespace {

/// Clears the active child however its scan ends.
struct ActiveScannerScope {
    KQULeftoversScanner& owner;
    ActiveScannerScope(KQULeftoversScanner& o, KQUFilesScanner* child) : owner(o) { owner.setActiveScanner(child); }
    ~ActiveScannerScope() { owner.setActiveScanner(nullptr); }
};

/// The names a crash report may carry for the application: its bundle's
/// name, its display name and its program's name, each once.
void addApplicationNames(const kq::Bundle& bundle, std::vector<std::string>& names) {
    const kq::Dictionary& info = bundle.infoDictionary();
    const std::string* keyed[] = {info.stringValueForKey("CFBundleName"), info.stringValueForKey("CFBundleExecutable")};
    std::vector<std::string> candidates{kq::stringByDeletingPathExtension(kq::lastPathComponent(bundle.bundlePath()))};
    for (const std::string* name : keyed)
        if (name) candidates.push_back(*name);
    for (std::string& name : candidates)
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(std::move(name));
}

}  // namespace

std::unique_ptr<KQULeftoversScanner> KQULeftoversScanner::create(
    std::optional<std::vector<kq::URL>> installedApplications) {
    return create(std::move(installedApplications), std::nullopt);
}

std::unique_ptr<KQULeftoversScanner> KQULeftoversScanner::create(
    std::optional<std::vector<kq::URL>> installedApplications, std::optional<kq::Array> knowledgeBase) {
    if (!installedApplications) return nullptr;
    return std::make_unique<KQULeftoversScanner>(std::move(*installedApplications), std::move(knowledgeBase));
}

KQULeftoversScanner::KQULeftoversScanner(std::vector<kq::URL> installedApplications,
                                         std::optional<kq::Array> knowledgeBase)
    : knowledgeBase_(std::move(knowledgeBase)) {
    std::unordered_set<kq::URL> seen;
    for (kq::URL& url : installedApplications)
        if (seen.insert(url).second) installedApplications_.push_back(std::move(url));
}

KQULeftoversScanner::~KQULeftoversScanner() {
    // The children die with us; none may call back into a half-destroyed owner.
    if (scanners_)
        for (const auto& child : *scanners_) child->setDelegate(nullptr);
}

void KQULeftoversScanner::setDelegate(KQUScannerDelegate* delegate) {
    leftoversDelegate_ = dynamic_cast<KQULeftoversScannerDelegate*>(delegate);
    KQUScanner::setDelegate(delegate);
}

void KQULeftoversScanner::setDelegate(KQULeftoversScannerDelegate* delegate) {
    leftoversDelegate_ = delegate;
    KQUScanner::setDelegate(delegate);
}

void KQULeftoversScanner::stop() {
    if (KQUFilesScanner* child = activeScanner()) child->stop();
    KQUScanner::stop();
}

const std::vector<std::string>& KQULeftoversScanner::installedApplicationIdentifiers() {
    return collectIdentifiers(true);
}

const std::vector<std::string>& KQULeftoversScanner::collectIdentifiers(bool reportProgress) {
    if (installedApplicationIdentifiers_) return *installedApplicationIdentifiers_;

    std::vector<std::string> identifiers;
    identifiers.reserve(installedApplications_.size());
    std::unordered_set<std::string> seen;
    const std::size_t count = installedApplications_.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::shared_ptr<kq::Bundle> bundle = kq::Bundle::bundleWithURL(installedApplications_[i]);
        if (!bundle || bundle->infoDictionary().empty()) continue;
        if (const std::string* identifier = bundle->infoDictionary().stringValueForKey("CFBundleIdentifier")) {
            if (!KQUIsUsableBundleIdentifier(*identifier))
                kq::log("KQULeftoversScanner: ignoring the bundle identifier \"%@\" of %@: it cannot name an "
                        "application",
                        *identifier, installedApplications_[i].path());
            else if (seen.insert(*identifier).second)
                identifiers.push_back(*identifier);
        }
        addApplicationNames(*bundle, installedApplicationNames_);
        if (!reportProgress) continue;
        // The index, not i + 1: this phase never reports its own end.
        bundlesCollectorProgress_ = static_cast<double>(i) / static_cast<double>(count);
        updateProgress();
    }
    installedApplicationIdentifiers_ = std::move(identifiers);
    return *installedApplicationIdentifiers_;
}

const std::vector<std::string>& KQULeftoversScanner::installedApplicationNames() {
    installedApplicationIdentifiers();
    return installedApplicationNames_;
}

std::vector<std::string> KQULeftoversScanner::installedApplicationVendors() {
    std::vector<std::string> vendors;
    for (const std::string& identifier : installedApplicationIdentifiers()) {
        const std::size_t first = identifier.find('.');
        const std::size_t second = first == std::string::npos ? first : identifier.find('.', first + 1);
        // "com.example.Editor" -> "com.example."; shorter names have no vendor part.
        if (first == 0 || second == std::string::npos || second == first + 1 || second + 1 == identifier.size())
            continue;
        std::string vendor = identifier.substr(0, second + 1);
        if (std::find(vendors.begin(), vendors.end(), vendor) == vendors.end()) vendors.push_back(std::move(vendor));
    }
    return vendors;
}

void KQULeftoversScanner::updateProgress() { setProgress((scannersProgress_ + bundlesCollectorProgress_) * 0.5); }

void KQULeftoversScanner::performScan() {
    const auto& children = scanners();
    // Built after the scanners, which collect the identifiers with progress when a filter needs them.
    if (protectsInstalledSoftware_ && !protection_)
        protection_ = std::make_unique<KQULeftoversProtection>(collectIdentifiers(false), vendorNames_);
    for (const auto& child : children) {
        if (stopped()) return;
        const ActiveScannerScope active(*this, child.get());
        child->scan();
    }
}

std::size_t KQULeftoversScanner::indexOfScanner(const KQUScanner& scanner) const {
    if (!scanners_) return 0;
    const auto& children = *scanners_;
    const auto found = std::find_if(children.begin(), children.end(),
                                    [&](const auto& child) { return child.get() == &scanner; });
    return static_cast<std::size_t>(found - children.begin());
}

void KQULeftoversScanner::filesScannerDidFindItem(KQUFilesScanner& scanner, const kq::URL& item,
                                                  const kq::URL& sourceDirectory) {
    if (!leftoversDelegate_) return;
    static const std::string kNoType;
    const std::string* typeValue = scanner.userInfo().stringValueForKey("Type");
    const std::string& type = typeValue ? *typeValue : kNoType;
    const std::string path = item.path();
    if (protectsInstalledSoftware_ && protection_) {
        if (std::optional<std::string> kept = protection_->reasonToKeep(path)) {
            leftoversDelegate_->leftoversScannerDidKeepItem(*this, item, type, *kept);
            return;
        }
    }
    KQULeftoverReason reason;
    if (const std::size_t index = indexOfScanner(scanner); index < entries_.size()) {
        reason = entries_[index].reason;
        const std::string folder = sourceDirectory.path();
        for (const auto& [resolved, written] : entries_[index].folders)
            if (resolved == folder) reason.sourceDirectory = written;
    } else {
        reason.type = type;
    }
    reason.application = KQUApplicationIdentifierForLeftover(path);
    currentReason_ = &reason;
    struct Reset {
        const KQULeftoverReason*& slot;
        ~Reset() { slot = nullptr; }
    } reset{currentReason_};
    leftoversDelegate_->leftoversScannerDidFindItem(*this, item, type);
}

void KQULeftoversScanner::scannerDidReachProgress(KQUScanner& scanner, double progress) {
    if (!scanners_ || scanners_->empty()) return;
    const std::size_t index = indexOfScanner(scanner);
    if (index >= scanners_->size()) return;
    scannersProgress_ = (progress + static_cast<double>(index)) / static_cast<double>(scanners_->size());
    updateProgress();
}

std::string KQULeftoverReason::description() const {
    std::string text = "knowledge-base entry " + std::to_string(entryIndex) + " (" + type;
    if (!sourceDirectory.empty()) text += " in " + sourceDirectory;
    text += ")";
    for (std::size_t i = 0; i < filters.size(); ++i) text += (i == 0 ? ": " : " AND ") + filters[i];
    return text;
}

void KQULeftoversScanner::scannerWillStart(KQUScanner& scanner) {
    // A child clears its own stop flag when it starts; a stop that reached us
    // while the child was being started must still reach the child.
    if (stopped()) scanner.stop();
}
