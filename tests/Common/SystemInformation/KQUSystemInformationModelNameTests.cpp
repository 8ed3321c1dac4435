#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <mutex>
#include <thread>

#include "FakeSystemFacts.h"
#include "KQFoundation/KQUSystemInformation.h"

namespace {

// A one-request-at-a-time HTTP server on 127.0.0.1 that answers every GET
// with the same body and remembers the request lines it saw.
class LocalHTTPServer {
public:
    explicit LocalHTTPServer(std::string body) : body_(std::move(body)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ::bind(listener_, reinterpret_cast<sockaddr*>(&address), length);
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        ::listen(listener_, 8);
        thread_ = std::thread([this] { serve(); });
    }
    ~LocalHTTPServer() {
        ::shutdown(listener_, SHUT_RDWR);
        ::close(listener_);
        thread_.join();
    }
    std::string baseURL() const { return "http://127.0.0.1:" + std::to_string(port_); }
    std::vector<std::string> requestLines() const {
        std::lock_guard lock(mutex_);
        return requests_;
    }

private:
    void serve() {
        for (;;) {  // until the destructor shuts the listener down
            const int client = ::accept(listener_, nullptr, nullptr);
            if (client < 0) return;
            std::string request;
            char buffer[1024];
            while (request.find("\r\n\r\n") == std::string::npos) {
                const ssize_t n = ::read(client, buffer, sizeof buffer);
                if (n <= 0) break;
                request.append(buffer, static_cast<std::size_t>(n));
            }
            std::unique_lock lock(mutex_);
            requests_.push_back(request.substr(0, request.find("\r\n")));
            lock.unlock();
            const std::string reply = "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: " +
                                      std::to_string(body_.size()) + "\r\nConnection: close\r\n\r\n" + body_;
            [[maybe_unused]] ssize_t written = ::write(client, reply.data(), reply.size());
            ::close(client);
        }
    }

    std::string body_;
    int listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    int port_ = 0;
    std::thread thread_;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
};

std::optional<std::string> waitForModelName() {
    for (int attempt = 0; attempt < 200; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        if (auto name = KQUSystemInformation::humanMachineTypeWithYear()) return name;
    }
    return std::nullopt;
}

using ModelNameTest = kqtest::SystemInformationTest;

TEST_F(ModelNameTest, FirstCallStartsTheLookupAndALaterOneSeesTheName) {
    LocalHTTPServer server(
        "<?xml version=\"1.0\"?><root><name>CPU Name</name><configCode>MacBook Pro (Retina, 13-inch, Late "
        "2013)</configCode><configCode>second</configCode></root>");
    facts->serial = "C02LK0AAFH00";
    KQUSystemInformation::setProductDescriptionServiceURL(server.baseURL());
    EXPECT_EQ(KQUSystemInformation::humanMachineTypeWithYear(), std::nullopt);
    EXPECT_EQ(waitForModelName(), "MacBook Pro (Retina, 13-inch, Late 2013)");
    const auto requests = server.requestLines();
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.front(), "GET /sp/product?cc=FH00 HTTP/1.1");
}

TEST_F(ModelNameTest, ReplyWithoutANameOrAShortSerialGivesNothing) {
    for (const char* reply : {"<root><name>nothing here</name></root>", "this is not XML <"}) {
        SCOPED_TRACE(reply);
        kq::systeminformation::resetForTesting();
        LocalHTTPServer server(reply);
        facts->serial = "C02LK0AAFH00";
        KQUSystemInformation::setProductDescriptionServiceURL(server.baseURL());
        EXPECT_EQ(KQUSystemInformation::humanMachineTypeWithYear(), std::nullopt);
        for (int attempt = 0; attempt < 100 && server.requestLines().empty(); ++attempt)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(KQUSystemInformation::humanMachineTypeWithYear(), std::nullopt);
        // Lookups started earlier may still arrive; count from here.
        const std::size_t before = server.requestLines().size();
        facts->serial = "C02LK0AA";
        EXPECT_EQ(KQUSystemInformation::humanMachineTypeWithYear(), std::nullopt);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(server.requestLines().size(), before);
    }
}

}  // namespace
