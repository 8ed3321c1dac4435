#pragma once
// KQUXMLBasedDocument: a versioned XML document. Its root element carries a
// "CreationDate" (yyyy-MM-dd'T'HH:mm:ss, local time) and a dotted "Version"
// (2.1); a class reads only documents whose major version is its
// currentFormatVersion(). The minor part is not compared, and a version
// without a dot is refused.
//
// Subclassing: the factories are templates on the class to make, so a
// subclass gets instances of itself. A subclass
//   - declares  static std::int64_t currentFormatVersion();  (the base's
//     throws kq::InternalInconsistencyException, as does the inherited one
//     when a subclass forgets it, naming the subclass);
//   - has a default constructor the base can reach (public, or the base as a
//     friend);
//   - overrides readXMLDocument() to read its own fields, returning false to
//     refuse the document.
// Refusals are nullptr; the abstract-method exception is the only throw.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"
#include "KQFoundation/Foundation/XMLDocument.h"

class KQ_EXPORT KQUXMLBasedDocument {
public:
    virtual ~KQUXMLBasedDocument();

    /// Abstract: throws "'currentFormatVersion' class method should be
    /// overriden in subclass KQUXMLBasedDocument."
    static std::int64_t currentFormatVersion();

    /// A T read from the document, or nullptr when the document is null or
    /// its root lacks a readable date or a version of T's major number.
    template <class T = KQUXMLBasedDocument>
    static std::unique_ptr<T> initWithXMLDocument(const kq::XMLDocument* document) {
        static_assert(std::is_base_of_v<KQUXMLBasedDocument, T>);
        auto header = readHeader(document, &T::currentFormatVersion, typeid(T));
        if (!header) return nullptr;
        std::unique_ptr<T> object(new T());
        static_cast<KQUXMLBasedDocument&>(*object).header_ = std::move(*header);
        if (!static_cast<KQUXMLBasedDocument&>(*object).readXMLDocument(*document)) return nullptr;
        return object;
    }

    /// The root's "Version" text as found.
    const std::string& version() const noexcept { return header_.version; }
    /// The root's "CreationDate".
    kq::Date creationDate() const noexcept { return header_.creationDate; }

    // ---- Category KQUXMLBasedDocument(KQUConvenienceInitializers): KQUXMLBasedDocument+KQUConvenienceInitializers.h/.cpp ----
    template <class T = KQUXMLBasedDocument>
    static std::unique_ptr<T> initWithEncryptedPlainData(const kq::Data& data, std::string_view key) {
        auto document = decryptedXMLDocument(data, key, false);
        return initWithXMLDocument<T>(document.get());
    }
    template <class T = KQUXMLBasedDocument>
    static std::unique_ptr<T> initWithEncryptedGzipData(const kq::Data& data, std::string_view key) {
        auto document = decryptedXMLDocument(data, key, true);
        return initWithXMLDocument<T>(document.get());
    }
    // ---- end of category ----

protected:
    KQUXMLBasedDocument() = default;
    /// Called once version and date are accepted; the base reads nothing more.
    virtual bool readXMLDocument(const kq::XMLDocument& document);

private:
    struct Header {
        std::string version;
        kq::Date creationDate;
    };
    static std::optional<Header> readHeader(const kq::XMLDocument* document, std::int64_t (*currentFormatVersion)(),
                                            const std::type_info& type);
    static std::unique_ptr<kq::XMLDocument> decryptedXMLDocument(const kq::Data& data, std::string_view key,
                                                                 bool gzipped);

    Header header_;
};
