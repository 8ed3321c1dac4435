#pragma once
// kq::URLConnection: one asynchronous HTTP(S) request (the platform's
// NSURLConnection), carried out on the run loop of the thread that starts it,
// so waiting for a server never blocks a thread.
//
// The delegate hears, on that run loop, either didReceiveResponse (once, when
// the status line and headers are in), then didReceiveData for each piece of
// the body and didFinishLoading; or didFailWithError, once, instead (after
// the response when the body breaks off). After cancel() nothing more is
// delivered. A delegate may cancel or release the connection from inside a
// callback. While the transfer runs, its run loop keeps the connection alive.
//
// Only http and https URLs with a host are fetched; anything else fails with
// BadURL on the loop's next turn, never inside start(). Redirects are
// followed, the response is the last one. The request's timeoutInterval
// bounds connecting and every stretch without traffic. The usual proxy
// variables (http_proxy, https_proxy, no_proxy) are honoured.
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"
#include "KQFoundation/System/URLRequest.h"

namespace kq {

class RunLoop;

struct KQ_EXPORT URLResponse {
    URL url;                      // after redirects
    long statusCode = 0;          // any status counts as a response
    std::vector<std::pair<std::string, std::string>> headerFields;
    std::int64_t expectedContentLength = -1;  // -1 when unknown
};

struct KQ_EXPORT URLError {
    enum class Code {
        BadURL,              // no scheme or no host, or a scheme we cannot speak
        TimedOut,            // idle longer than the request's timeoutInterval
        CannotFindHost,      // name resolution failed
        CannotConnectToHost, // refused or unreachable
        NetworkConnectionLost,  // the server closed mid-response
        FileDoesNotExist,    // a body part (form file) vanished
        Other,
    };
    Code code = Code::Other;
    std::string description;  // the transfer library's own text
};

class KQ_EXPORT URLConnectionDelegate {
public:
    virtual ~URLConnectionDelegate() = default;
    virtual void connectionDidReceiveResponse(class URLConnection& connection, const URLResponse& response) = 0;
    virtual void connectionDidFailWithError(class URLConnection& connection, const URLError& error) = 0;
    virtual void connectionDidReceiveData(class URLConnection&, const Data&) {}
    virtual void connectionDidFinishLoading(class URLConnection&) {}
};

class KQ_EXPORT URLConnection : public std::enable_shared_from_this<URLConnection> {
public:
    /// Starts the request at once on the current thread's run loop. The
    /// delegate is not owned and must outlive the connection or cancel it;
    /// without one there is nothing to start (nullptr).
    static std::shared_ptr<URLConnection> start(URLRequest request, URLConnectionDelegate* delegate);

    ~URLConnection();
    URLConnection(const URLConnection&) = delete;
    URLConnection& operator=(const URLConnection&) = delete;

    const URLRequest& originalRequest() const;
    /// Stops the transfer; no callback follows. Safe to call twice and from a
    /// delegate callback; only on the connection's run loop.
    void cancel();

private:
    URLConnection();
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace kq
