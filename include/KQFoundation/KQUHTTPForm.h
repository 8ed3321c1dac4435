#pragma once
// KQUHTTPForm: the fields of an HTML-style form (text values and files),
// rendered as an HTTP request body: multipart when it holds at least one file,
// else "key=value" pairs joined by "&". Line breaks in the multipart body are
// a single line feed; no part carries a Content-Type of its own, and quotes or
// line feeds in keys and file names are sent as they are.
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"

/// How string values of a single-part body are sent. Any value other than 1
/// and 2 means KQUHTTPFormEncodingNone.
enum KQUHTTPFormEncoding : std::int64_t {
    /// The string as it is.
    KQUHTTPFormEncodingNone = 0,
    /// Standard base64 of the UTF-8 bytes, "+", "/" and "=" left as they are.
    KQUHTTPFormEncodingBase64 = 1,
    /// Percent-escaped as kq::URLEncodedString does (";/?:@&=+$," escaped too).
    KQUHTTPFormEncodingURL = 2,
};

class KQ_EXPORT KQUHTTPForm {
public:
    /// An empty form with a fresh boundary (kq::stringWithUUID) and base64 encoding.
    KQUHTTPForm();
    static KQUHTTPForm form() { return KQUHTTPForm(); }

    /// The fields in the order they were added (a replaced key keeps its
    /// place). A dictionary value is a file entry: "name" (the file name
    /// sent) and "data" (its bytes, or a file URL read when a body is built).
    kq::Dictionary& values() { return values_; }
    const kq::Dictionary& values() const { return values_; }
    void setValues(kq::Dictionary values) { values_ = std::move(values); }

    const std::string& boundary() const { return boundary_; }
    void setBoundary(std::string_view boundary) { boundary_ = boundary; }

    std::int64_t encoding() const { return encoding_; }
    void setEncoding(std::int64_t encoding) { encoding_ = encoding; }

    /// Stores the field; a null pointer (nil) leaves the form unchanged.
    void setObject(const kq::Value* object, std::string_view key);
    void setObject(kq::Value object, std::string_view key);
    /// Adds every entry, replacing fields of the same keys.
    void addObjectsFromDictionary(const kq::Dictionary& dictionary);
    /// Stores the file entry { "data": data, "name": fileName } under the key.
    void addFileWithName(std::string_view fileName, kq::Data data, std::string_view key);
    /// As above, with the bytes read from the file URL each time a body is
    /// built; a file that cannot be read then contributes no bytes (its part
    /// is still sent, empty) and a log line says so.
    void addFileWithName(std::string_view fileName, const kq::URL& fileURL, std::string_view key);

    /// True when at least one value is a dictionary (a file entry).
    bool isMultipart() const;
    /// "--B", then per field "\n" + disposition + "\n\n" + content + "\n--B",
    /// then "--\n". Text values are sent as their description.
    kq::Data multipartData() const;
    /// "key=value" pairs joined by "&", values encoded per encoding() when
    /// they are strings and sent as their description otherwise; keys are
    /// never encoded. Empty for an empty form.
    kq::Data singlepartData() const;

    /// The description of values().
    std::string description() const;

private:
    kq::Dictionary values_;
    std::string boundary_;
    std::int64_t encoding_ = KQUHTTPFormEncodingBase64;
};
