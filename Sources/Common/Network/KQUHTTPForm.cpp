#include "KQFoundation/KQUHTTPForm.h"

#include "KQFoundation/Foundation/Base64.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/NSString+KQFoundation.h"
#include "KQFoundation/System/FileManager.h"

namespace {

void append(kq::Data& out, std::string_view text) { out.insert(out.end(), text.begin(), text.end()); }

// What a "%@" of a dictionary entry prints: nil reads "(null)".
std::string describeEntry(const kq::Dictionary& entry, std::string_view key) {
    const kq::Value* value = entry.objectForKey(key);
    return value ? kq::describe(*value) : "(null)";
}

// A file entry's bytes: given data, or a file URL's contents read now. Any
// other value (or an unreadable file) contributes nothing, as nil data would.
void appendFileData(kq::Data& out, const kq::Dictionary& entry) {
    const kq::Value* data = entry.objectForKey("data");
    if (!data) return;
    if (const kq::Data* bytes = data->asData()) {
        out.insert(out.end(), bytes->begin(), bytes->end());
    } else if (const kq::URL* url = data->asURL(); url && url->isFileURL()) {
        const auto contents = kq::FileManager::defaultManager().contentsAtPath(url->path());
        if (contents)
            out.insert(out.end(), contents->begin(), contents->end());
        else
            kq::log("KQUHTTPForm: cannot read file %s, its part is sent empty", url->path().c_str());
    }
}

std::string encodedValue(const kq::Value& value, std::int64_t encoding) {
    const std::string* text = value.asString();
    if (!text) return kq::describe(value);
    switch (encoding) {
        case KQUHTTPFormEncodingBase64: return kq::base64EncodedString(kq::Data(text->begin(), text->end()));
        case KQUHTTPFormEncodingURL: return kq::URLEncodedString(*text);
        default: return *text;
    }
}

}  // namespace

KQUHTTPForm::KQUHTTPForm() : boundary_(kq::stringWithUUID()) {}

void KQUHTTPForm::setObject(const kq::Value* object, std::string_view key) {
    if (object) values_.setObject(key, *object);
}

void KQUHTTPForm::setObject(kq::Value object, std::string_view key) { values_.setObject(key, std::move(object)); }

void KQUHTTPForm::addObjectsFromDictionary(const kq::Dictionary& dictionary) {
    dictionary.forEach([&](const std::string& key, const kq::Value& value) { values_.setObject(key, value); });
}

void KQUHTTPForm::addFileWithName(std::string_view fileName, kq::Data data, std::string_view key) {
    values_.setObject(key, kq::Dictionary{{"data", std::move(data)}, {"name", fileName}});
}

void KQUHTTPForm::addFileWithName(std::string_view fileName, const kq::URL& fileURL, std::string_view key) {
    values_.setObject(key, kq::Dictionary{{"data", fileURL}, {"name", fileName}});
}

bool KQUHTTPForm::isMultipart() const {
    for (const kq::Value& value : values_.values())
        if (value.isDictionary()) return true;
    return false;
}

kq::Data KQUHTTPForm::multipartData() const {
    kq::Data body;
    append(body, "--");
    append(body, boundary_);
    values_.forEach([&](const std::string& key, const kq::Value& value) {
        append(body, "\nContent-Disposition: form-data; name=\"");
        append(body, key);
        if (const kq::Dictionary* entry = value.asDictionary()) {
            append(body, "\"; filename=\"");
            append(body, describeEntry(*entry, "name"));
            append(body, "\"\n\n");
            appendFileData(body, *entry);
        } else {
            append(body, "\"\n\n");
            append(body, kq::describe(value));
        }
        append(body, "\n--");
        append(body, boundary_);
    });
    append(body, "--\n");
    return body;
}

kq::Data KQUHTTPForm::singlepartData() const {
    kq::Data body;
    bool first = true;
    values_.forEach([&](const std::string& key, const kq::Value& value) {
        if (!first) body.push_back('&');
        first = false;
        append(body, key);
        body.push_back('=');
        append(body, encodedValue(value, encoding_));
    });
    return body;
}

std::string KQUHTTPForm::description() const { return kq::describe(values_); }
