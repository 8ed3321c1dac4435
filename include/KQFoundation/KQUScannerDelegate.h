#pragma once
// The delegate protocols of the scanners. Every method has an empty default,
// so a delegate overrides only what it wants to hear; the scanners call the
// optional ones unconditionally, which is the same as a responds-to test for
// a method that does nothing. The one exception is the directory callback of
// the files scanner, whose presence changes how much work the walk does, so
// the delegate also says whether it implements it.
//
// The protocols inherit KQUScannerDelegate virtually: one object may adopt
// several of them (a composite scanner is the delegate of its children and
// may itself be watched by a delegate that adopts more than one).
#include <string>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/URL.h"

class KQUScanner;
class KQUFilesScanner;
class KQUApplicationsScanner;
class KQULeftoversScanner;

class KQ_EXPORT KQUScannerDelegate {
public:
    virtual ~KQUScannerDelegate() = default;

    /// First thing in scan, after the stop flag was cleared; may call stop.
    virtual void scannerWillStart(KQUScanner& scanner) { (void)scanner; }
    /// Every time the scanner's progress is set (also when it did not change).
    virtual void scannerDidReachProgress(KQUScanner& scanner, double progress) {
        (void)scanner;
        (void)progress;
    }
    /// Last thing in scan: after a full run, a stopped run and a skipped run alike.
    virtual void scannerDidFinish(KQUScanner& scanner) { (void)scanner; }

protected:
    KQUScannerDelegate() = default;
    KQUScannerDelegate(const KQUScannerDelegate&) = default;
    KQUScannerDelegate& operator=(const KQUScannerDelegate&) = default;
};

class KQ_EXPORT KQUFilesScannerDelegate : public virtual KQUScannerDelegate {
public:
    /// Required: an entry that passed the predicate (every entry when there is none).
    virtual void filesScannerDidFindItem(KQUFilesScanner& scanner, const kq::URL& item,
                                         const kq::URL& sourceDirectory) = 0;

    /// Optional: a directory met by the walk, sent before its item test. The
    /// delegate may call scanner.skipDescendants() here. Sent only when
    /// respondsToFilesScannerDidFindDirectory() returns true.
    virtual void filesScannerDidFindDirectory(KQUFilesScanner& scanner, const kq::URL& directory,
                                              const kq::URL& sourceDirectory) {
        (void)scanner;
        (void)directory;
        (void)sourceDirectory;
    }
    /// Override to return true together with filesScannerDidFindDirectory.
    virtual bool respondsToFilesScannerDidFindDirectory() const { return false; }
};

class KQ_EXPORT KQUApplicationsScannerDelegate : public virtual KQUScannerDelegate {
public:
    /// Required: one application bundle, as soon as it is found.
    virtual void applicationsScannerDidFindApplication(KQUApplicationsScanner& scanner,
                                                       const kq::URL& application) = 0;
};

class KQ_EXPORT KQULeftoversScannerDelegate : public virtual KQUScannerDelegate {
public:
    /// Required: one leftover, with the leftover type of the knowledge-base
    /// entry that found it (usually one of the kKQU...LeftoverType strings).
    virtual void leftoversScannerDidFindItem(KQULeftoversScanner& scanner, const kq::URL& item,
                                             const std::string& type) = 0;
    /// Optional: an item the knowledge base found but that still belongs to
    /// installed software (see KQULeftoversProtection), with the reason it was kept.
    virtual void leftoversScannerDidKeepItem(KQULeftoversScanner& scanner, const kq::URL& item,
                                             const std::string& type, const std::string& reason) {
        (void)scanner;
        (void)item;
        (void)type;
        (void)reason;
    }
};
