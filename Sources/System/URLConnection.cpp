#include "KQFoundation/System/URLConnection.h"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <mutex>

#include "KQFoundation/System/RunLoop.h"
#include "KQFoundation/System/Timer.h"

namespace kq {

namespace {

bool sameASCIIText(std::string_view a, std::string_view b) {
    const auto lower = [](unsigned char c) { return c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

URLError::Code errorCodeFor(CURLcode code) {
    switch (code) {
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_URL_MALFORMAT: return URLError::Code::BadURL;
        case CURLE_OPERATION_TIMEDOUT: return URLError::Code::TimedOut;
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY: return URLError::Code::CannotFindHost;
        case CURLE_COULDNT_CONNECT: return URLError::Code::CannotConnectToHost;
        case CURLE_PARTIAL_FILE:
        case CURLE_GOT_NOTHING:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM: return URLError::Code::NetworkConnectionLost;
        case CURLE_READ_ERROR: return URLError::Code::FileDoesNotExist;
        default: return URLError::Code::Other;
    }
}

// Only what the connection can speak gets past start(); everything else is a
// BadURL, also for redirects.
bool isSupportedURL(const std::optional<URL>& url) {
    if (!url) return false;
    const std::string scheme = url->scheme();
    return (sameASCIIText(scheme, "http") || sameASCIIText(scheme, "https")) && !url->host().empty();
}

void initialiseCurlOnce() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

class CurlMulti;

// What the multi handle needs of a connection's inner state.
class Transfer {
public:
    virtual void transferDone(CURLcode result) = 0;
    virtual void deliver() = 0;

protected:
    ~Transfer() = default;
};

// The per-thread part of the transfer holder: tears the multi handle down with
// the thread, while the thread's run loop is still there.
struct ThreadMulti {
    std::weak_ptr<CurlMulti> multi;
    ~ThreadMulti();
};
thread_local ThreadMulti threadMulti;

}  // namespace

struct URLConnection::Impl final : Transfer {
    URLConnection* owner = nullptr;
    URLRequest request;
    URLConnectionDelegate* delegate = nullptr;
    std::shared_ptr<CurlMulti> multi;
    CURL* easy = nullptr;
    curl_slist* headerList = nullptr;
    char errorBuffer[CURL_ERROR_SIZE] = {};

    // Filled inside curl's callbacks, delivered once curl has returned.
    std::vector<std::pair<std::string, std::string>> headers;  // of the response being read
    bool responseReady = false;
    bool responseDelivered = false;
    URLResponse response;
    Data pendingData;
    bool done = false;
    CURLcode result = CURLE_OK;

    bool finished = false;  // nothing more reaches the delegate

    ~Impl();
    bool configure();
    void readyResponse();
    void transferDone(CURLcode code) override {
        done = true;
        result = code;
    }
    void deliver() override;
    void finish();
    void fail(URLError error);
    static size_t onHeader(char* bytes, size_t size, size_t count, void* data);
    static size_t onData(char* bytes, size_t size, size_t count, void* data);
};

namespace {

// One curl multi handle per thread, driven by that thread's run loop: sockets
// become run-loop sources, curl's timer a kq::Timer.
class CurlMulti : public std::enable_shared_from_this<CurlMulti> {
public:
    static std::shared_ptr<CurlMulti> forCurrentThread() {
        auto loop = RunLoop::currentRunLoop();  // first, so the loop outlives threadMulti
        if (auto existing = threadMulti.multi.lock()) return existing;
        auto created = std::shared_ptr<CurlMulti>(new CurlMulti(std::move(loop)));
        if (!created->multi_) return nullptr;
        threadMulti.multi = created;
        return created;
    }

    ~CurlMulti() {
        if (timer_) timer_->invalidate();
        if (multi_) curl_multi_cleanup(multi_);  // closes cached connections and their sources
    }

    bool add(CURL* easy, std::shared_ptr<URLConnection> connection, Transfer* transfer) {
        if (curl_multi_add_handle(multi_, easy) != CURLM_OK) return false;
        running_[easy] = {std::move(connection), transfer};  // kept alive while the transfer runs
        return true;
    }

    void remove(CURL* easy) {
        auto it = running_.find(easy);
        if (it == running_.end()) return;
        curl_multi_remove_handle(multi_, easy);
        running_.erase(it);  // may drop the last reference to the connection
    }

    void cancelAll() {
        auto running = running_;
        for (auto& [easy, entry] : running) entry.connection->cancel();
    }

    RunLoop& loop() { return *loop_; }

private:
    explicit CurlMulti(std::shared_ptr<RunLoop> loop) : loop_(std::move(loop)) {
        initialiseCurlOnce();
        multi_ = curl_multi_init();
        if (!multi_) return;
        curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &CurlMulti::socketCallback);
        curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
        curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &CurlMulti::timerCallback);
        curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
    }

    static int socketCallback(CURL*, curl_socket_t fd, int what, void* self, void*) {
        auto* multi = static_cast<CurlMulti*>(self);
        if (what == CURL_POLL_REMOVE) {
            multi->loop_->removeSource(fd);
            return 0;
        }
        std::weak_ptr<CurlMulti> weak = multi->weak_from_this();
        multi->loop_->addSource(fd, what & CURL_POLL_IN, what & CURL_POLL_OUT,
                                [weak](int fd, bool readable, bool writable) {
                                    if (auto multi = weak.lock())
                                        multi->act(fd, (readable ? CURL_CSELECT_IN : 0) |
                                                           (writable ? CURL_CSELECT_OUT : 0));
                                });
        return 0;
    }

    // curl must not be re-entered from here: the timer fires on a later turn.
    static int timerCallback(CURLM*, long milliseconds, void* self) {
        auto* multi = static_cast<CurlMulti*>(self);
        if (multi->timer_) multi->timer_->invalidate();
        multi->timer_.reset();
        if (milliseconds < 0) return 0;
        std::weak_ptr<CurlMulti> weak = multi->weak_from_this();
        const auto fireDate = std::chrono::system_clock::now() + std::chrono::milliseconds(milliseconds);
        multi->timer_ = Timer::create(std::chrono::time_point_cast<Date::duration>(fireDate), 0, false,
                                      [weak](Timer&) {
                                          if (auto multi = weak.lock()) multi->act(CURL_SOCKET_TIMEOUT, 0);
                                      });
        multi->loop_->addTimer(multi->timer_);
        return 0;
    }

    void act(curl_socket_t fd, int events) {
        auto keep = shared_from_this();  // a delegate may release the last connection
        int stillRunning = 0;
        curl_multi_socket_action(multi_, fd, events, &stillRunning);
        int left = 0;
        while (CURLMsg* message = curl_multi_info_read(multi_, &left)) {
            if (message->msg != CURLMSG_DONE) continue;
            if (auto it = running_.find(message->easy_handle); it != running_.end())
                it->second.transfer->transferDone(message->data.result);
        }
        // Delivered outside curl: delegates may cancel, release or start
        // connections. The copy keeps each one alive while it delivers.
        auto snapshot = running_;
        for (auto& [easy, entry] : snapshot) entry.transfer->deliver();
    }

    std::shared_ptr<RunLoop> loop_;
    CURLM* multi_ = nullptr;
    std::shared_ptr<Timer> timer_;
    struct Entry {
        std::shared_ptr<URLConnection> connection;
        Transfer* transfer = nullptr;
    };
    std::map<CURL*, Entry> running_;
};

ThreadMulti::~ThreadMulti() {
    if (auto live = multi.lock()) live->cancelAll();
}

}  // namespace

size_t URLConnection::Impl::onHeader(char* bytes, size_t size, size_t count, void* data) {
    auto* impl = static_cast<Impl*>(data);
    const std::string_view line(bytes, size * count);
    if (line.starts_with("HTTP/")) {
        impl->headers.clear();  // each response of a redirect chain starts afresh
    } else if (trimmed(line).empty()) {
        impl->readyResponse();
    } else if ((line[0] == ' ' || line[0] == '\t') && !impl->headers.empty()) {
        impl->headers.back().second.append(" ").append(trimmed(line));
    } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
        impl->headers.emplace_back(std::string(trimmed(line.substr(0, colon))),
                                   std::string(trimmed(line.substr(colon + 1))));
    }
    return size * count;
}

size_t URLConnection::Impl::onData(char* bytes, size_t size, size_t count, void* data) {
    auto* impl = static_cast<Impl*>(data);
    impl->pendingData.insert(impl->pendingData.end(), bytes, bytes + size * count);
    return size * count;
}

URLConnection::Impl::~Impl() {
    if (easy) curl_easy_cleanup(easy);
    curl_slist_free_all(headerList);
}

// The end of a header block: the response, unless it is an interim one (1xx)
// or a redirect that curl is about to follow.
void URLConnection::Impl::readyResponse() {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    const bool followed = status / 100 == 3 && std::any_of(headers.begin(), headers.end(), [](const auto& field) {
                              return sameASCIIText(field.first, "Location") && !field.second.empty();
                          });
    if (status < 200 || followed || responseReady) {
        headers.clear();
        return;
    }
    responseReady = true;
    response.statusCode = status;
    response.headerFields = std::move(headers);
    headers.clear();
    const char* effective = nullptr;
    curl_easy_getinfo(easy, CURLINFO_EFFECTIVE_URL, &effective);
    if (auto url = effective ? URL::URLWithString(effective) : std::nullopt)
        response.url = *url;
    else if (request.url())
        response.url = *request.url();
    curl_off_t length = -1;
    curl_easy_getinfo(easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    response.expectedContentLength = length >= 0 ? length : -1;
}

bool URLConnection::Impl::configure() {
    easy = curl_easy_init();
    if (!easy) return false;
    const std::string url = request.url()->absoluteString();
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_PRIVATE, this);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorBuffer);
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, 16L);
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &onData);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "KQFoundation");

    // The time-out bounds both the connection attempt and any stretch without
    // traffic; curl counts the latter in whole seconds.
    double timeout = request.timeoutInterval();
    if (!(timeout > 0) || !std::isfinite(timeout)) timeout = URLRequest::kDefaultTimeoutInterval;
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::min(timeout * 1000.0, 2.0e9)));
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, static_cast<long>(std::clamp(std::ceil(timeout), 1.0, 2.0e9)));

    const std::string& method = request.HTTPMethod();
    const Data& body = request.HTTPBody();
    const bool sendsBody = !body.empty() || method == "POST";
    if (method == "HEAD") {
        curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    } else if (sendsBody) {
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.empty() ? "" : reinterpret_cast<const char*>(body.data()));
        if (method != "POST") curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
    } else if (method != "GET") {
        curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.c_str());
    }

    bool hasExpect = false;
    for (const auto& [name, value] : request.allHTTPHeaderFields()) {
        std::string line = name;
        if (sameASCIIText(name, "Content-Length")) {
            // The body decides; a stale length would corrupt the exchange.
            if (!sendsBody) continue;
            line += ": " + std::to_string(body.size());
        } else {
            // "Name;" is curl's way to send a field with an empty value.
            line += value.empty() ? ";" : ": " + value;
        }
        hasExpect = hasExpect || sameASCIIText(name, "Expect");
        headerList = curl_slist_append(headerList, line.c_str());
    }
    // Waiting for "100 Continue" only costs a round trip (or a second with
    // servers that never send it).
    if (!hasExpect) headerList = curl_slist_append(headerList, "Expect:");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headerList);
    return true;
}

void URLConnection::Impl::deliver() {
    if (finished) return;
    auto self = owner->shared_from_this();  // the delegate may release it
    if (responseReady && !responseDelivered) {
        responseDelivered = true;
        delegate->connectionDidReceiveResponse(*owner, response);
        if (finished) return;
    }
    if (responseDelivered && !pendingData.empty()) {
        Data data;
        data.swap(pendingData);
        delegate->connectionDidReceiveData(*owner, data);
        if (finished) return;
    }
    if (!done) return;
    finish();
    if (result == CURLE_OK) {
        if (!responseDelivered) {
            // A response curl accepted without a header block (none is expected here).
            responseDelivered = true;
            delegate->connectionDidReceiveResponse(*owner, response);
        }
        delegate->connectionDidFinishLoading(*owner);
        return;
    }
    URLError error;
    error.code = errorCodeFor(result);
    error.description = errorBuffer[0] ? errorBuffer : curl_easy_strerror(result);
    delegate->connectionDidFailWithError(*owner, error);
}

// Ends the transfer; afterwards the delegate hears at most the one final call
// its caller is about to make.
void URLConnection::Impl::finish() {
    finished = true;
    if (multi && easy) multi->remove(easy);
    multi.reset();
    if (easy) curl_easy_cleanup(easy);
    easy = nullptr;
}

void URLConnection::Impl::fail(URLError error) {
    if (finished) return;
    finish();
    delegate->connectionDidFailWithError(*owner, error);
}

URLConnection::URLConnection() : impl_(std::make_unique<Impl>()) { impl_->owner = this; }

URLConnection::~URLConnection() = default;

const URLRequest& URLConnection::originalRequest() const { return impl_->request; }

std::shared_ptr<URLConnection> URLConnection::start(URLRequest request, URLConnectionDelegate* delegate) {
    if (!delegate) return nullptr;
    auto connection = std::shared_ptr<URLConnection>(new URLConnection());
    Impl& impl = *connection->impl_;
    impl.request = std::move(request);
    impl.delegate = delegate;
    auto loop = RunLoop::currentRunLoop();

    // Failures before any traffic still arrive on a later turn, never inside start().
    auto failLater = [&](URLError::Code code, std::string description) {
        loop->perform([connection, code, description] { connection->impl_->fail({code, description}); });
        return connection;
    };
    if (!isSupportedURL(impl.request.url()))
        return failLater(URLError::Code::BadURL, "unsupported URL");
    impl.multi = CurlMulti::forCurrentThread();
    if (!impl.multi || !impl.configure() || !impl.multi->add(impl.easy, connection, &impl)) {
        impl.multi.reset();
        return failLater(URLError::Code::Other, "cannot start a transfer");
    }
    return connection;
}

void URLConnection::cancel() { impl_->finish(); }

}  // namespace kq
