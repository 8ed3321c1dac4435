#pragma once
// kq::URLRequest and kq::MutableURLRequest: what an HTTP request is made of
// (the platform's NSURLRequest and NSMutableURLRequest), as a plain value.
// Header fields keep the order they were first set in; their names compare
// ignoring ASCII case, as HTTP field names do.
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"

class KQUHTTPForm;

namespace kq {

class KQ_EXPORT URLRequest {
public:
    /// Where a response may come from; the values are the platform's.
    enum CachePolicy : unsigned {
        UseProtocolCachePolicy = 0,
        ReloadIgnoringLocalCacheData = 1,
        ReturnCacheDataElseLoad = 2,
        ReturnCacheDataDontLoad = 3,
    };

    /// Seconds a request may stay idle before it fails, unless told otherwise.
    static constexpr double kDefaultTimeoutInterval = 60.0;

    URLRequest() = default;
    explicit URLRequest(URL url, double timeoutInterval = kDefaultTimeoutInterval);

    const std::optional<URL>& url() const { return url_; }
    /// "GET" unless set otherwise.
    const std::string& HTTPMethod() const { return method_; }
    /// All header fields as (name, value), in the order they were first set.
    const std::vector<std::pair<std::string, std::string>>& allHTTPHeaderFields() const { return headers_; }
    /// The value of the field, whatever the case of its name; nullopt when absent.
    std::optional<std::string> valueForHTTPHeaderField(std::string_view field) const;
    const Data& HTTPBody() const { return body_; }
    double timeoutInterval() const { return timeout_; }
    CachePolicy cachePolicy() const { return cachePolicy_; }

    friend KQ_EXPORT bool operator==(const URLRequest& a, const URLRequest& b);

protected:
    std::ptrdiff_t findHeader(std::string_view field) const;

    std::optional<URL> url_;
    std::string method_ = "GET";
    std::vector<std::pair<std::string, std::string>> headers_;
    Data body_;
    double timeout_ = kDefaultTimeoutInterval;
    CachePolicy cachePolicy_ = UseProtocolCachePolicy;
};

class KQ_EXPORT MutableURLRequest : public URLRequest {
public:
    using URLRequest::URLRequest;

    void setURL(std::optional<URL> url) { url_ = std::move(url); }
    /// An empty method means "GET".
    void setHTTPMethod(std::string_view method);
    /// Sets or replaces the field (a replaced field keeps its place and the
    /// case of its first name); nullopt removes it.
    void setValue(std::optional<std::string_view> value, std::string_view field);
    /// Appends to the field's value, separated by ", ", or sets it when absent.
    void addValue(std::string_view value, std::string_view field);
    void setHTTPBody(Data body) { body_ = std::move(body); }
    void setTimeoutInterval(double seconds) { timeout_ = seconds; }
    void setCachePolicy(CachePolicy policy) { cachePolicy_ = policy; }

    // ---- Category NSMutableURLRequest(KQUHTTPForm): NSMutableURLRequest+KQUHTTPForm.h/.cpp ----
    void attachHTTPForm(const KQUHTTPForm& form);
    // ---- end of category ----
};

}  // namespace kq
