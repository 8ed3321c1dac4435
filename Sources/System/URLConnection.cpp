#include "KQFoundation/System/URLConnection.h"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
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

// curl sends the method and the header lines as they are: a line break or a
// NUL in them would smuggle further header lines (or a second request) in.
bool isToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
               return c > 0x20 && c < 0x7f && c != ':';
           });
}
bool isSendable(const URLRequest& request) {
    if (!isToken(request.HTTPMethod())) return false;
    return std::all_of(request.allHTTPHeaderFields().begin(), request.allHTTPHeaderFields().end(),
                       [](const auto& field) {
                           return isToken(field.first) &&
                                  field.second.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
                       });
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

    bool finished = false;   // the transfer is over
    bool cancelled = false;  // nothing more reaches the delegate

    // Idle limit: curl's own low-speed check averages over several seconds,
    // so a request body sent at the start would hide a silent server.
    double idleLimit = URLRequest::kDefaultTimeoutInterval;
    std::shared_ptr<Timer> idleTimer;
    std::chrono::steady_clock::time_point lastActivity;
    curl_off_t bytesSeen = 0;

    ~Impl();
    bool configure();
    void readyResponse();
    void transferDone(CURLcode code) override {
        done = true;
        result = code;
    }
    void deliver() override;
    void startIdleTimer();
    void touch() { lastActivity = std::chrono::steady_clock::now(); }
    void finish();
    void fail(URLError error);
    static size_t onHeader(char* bytes, size_t size, size_t count, void* data);
    static size_t onData(char* bytes, size_t size, size_t count, void* data);
    static int onProgress(void* data, curl_off_t, curl_off_t downloaded, curl_off_t, curl_off_t uploaded);
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
        if (multi_) curl_multi_cleanup(multi_);  // closes cached connections and their sources
        if (timer_) timer_->invalidate();        // after: the clean-up may set it once more
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
    impl->touch();
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
    impl->touch();
    impl->pendingData.insert(impl->pendingData.end(), bytes, bytes + size * count);
    return size * count;
}

int URLConnection::Impl::onProgress(void* data, curl_off_t, curl_off_t downloaded, curl_off_t, curl_off_t uploaded) {
    auto* impl = static_cast<Impl*>(data);
    if (downloaded + uploaded != impl->bytesSeen) {
        impl->bytesSeen = downloaded + uploaded;
        impl->touch();
    }
    return 0;
}

void URLConnection::Impl::startIdleTimer() {
    touch();
    std::weak_ptr<URLConnection> weak = owner->weak_from_this();
    const auto in = [](double seconds) {
        return std::chrono::time_point_cast<Date::duration>(std::chrono::system_clock::now()) +
               std::chrono::duration<double>(seconds);
    };
    idleTimer = Timer::create(in(idleLimit), idleLimit, true, [weak, in](Timer& timer) {
        auto connection = weak.lock();
        if (!connection) return timer.invalidate();
        Impl& impl = *connection->impl_;
        const double idle =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - impl.lastActivity).count();
        if (idle < impl.idleLimit) return timer.setFireDate(in(impl.idleLimit - idle));
        char text[80];
        std::snprintf(text, sizeof text, "timed out after %g seconds without traffic", impl.idleLimit);
        impl.fail({URLError::Code::TimedOut, text});
    });
    multi->loop().addTimer(idleTimer);
}

URLConnection::Impl::~Impl() {
    if (easy) curl_easy_cleanup(easy);
    curl_slist_free_all(headerList);
}

// The end of a header block: the response, unless it is an interim one (1xx)
// or a redirect (curl follows every 3xx that has a Location).
void URLConnection::Impl::readyResponse() {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    if (status < 200 || responseReady) {
        headers.clear();
        return;
    }
    const bool followed = status / 100 == 3 && std::any_of(headers.begin(), headers.end(), [](const auto& field) {
                              return sameASCIIText(field.first, "Location") && !field.second.empty();
                          });
    // A redirect's block is kept in case curl ends there after all.
    responseReady = !followed;
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

    // The time-out bounds the connection attempt (here) and any stretch
    // without traffic (the idle timer).
    idleLimit = request.timeoutInterval();
    if (!(idleLimit > 0) || !std::isfinite(idleLimit)) idleLimit = URLRequest::kDefaultTimeoutInterval;
    idleLimit = std::min(idleLimit, 1.0e6);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::max(idleLimit * 1000.0, 1.0)));
    curl_easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, &onProgress);
    curl_easy_setopt(easy, CURLOPT_XFERINFODATA, this);

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
    const bool ending = done;
    if (ending) finish();  // from here on only `cancelled` tells what the delegate wants
    // A completed transfer always has a response, should curl ever end on a
    // block that looked like a redirect.
    if (!responseDelivered && (responseReady || (ending && result == CURLE_OK))) {
        responseDelivered = true;
        delegate->connectionDidReceiveResponse(*owner, response);
        if (cancelled) return;
    }
    if (responseDelivered && !pendingData.empty()) {
        Data data;
        data.swap(pendingData);
        delegate->connectionDidReceiveData(*owner, data);
        if (cancelled) return;
    }
    if (!ending) return;
    if (result == CURLE_OK) {
        delegate->connectionDidFinishLoading(*owner);
        return;
    }
    URLError error;
    error.code = errorCodeFor(result);
    error.description = errorBuffer[0] ? errorBuffer : curl_easy_strerror(result);
    delegate->connectionDidFailWithError(*owner, error);
}

// Ends the transfer (curl lets go of it at once); the caller decides what the
// delegate still hears.
void URLConnection::Impl::finish() {
    finished = true;
    if (idleTimer) idleTimer->invalidate();
    idleTimer.reset();
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
    if (!isSendable(impl.request))
        return failLater(URLError::Code::BadURL, "the method or a header field holds a line break, a NUL or a space");
    impl.multi = CurlMulti::forCurrentThread();
    if (!impl.multi || !impl.configure() || !impl.multi->add(impl.easy, connection, &impl)) {
        impl.multi.reset();
        return failLater(URLError::Code::Other, "cannot start a transfer");
    }
    impl.startIdleTimer();
    return connection;
}

void URLConnection::cancel() {
    impl_->cancelled = true;
    impl_->finish();
}

}  // namespace kq
