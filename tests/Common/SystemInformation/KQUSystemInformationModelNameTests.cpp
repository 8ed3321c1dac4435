#include <gtest/gtest.h>

#include <thread>

#include "FakeSystemFacts.h"
#include "KQFoundation/KQUSystemInformation.h"
#include "Support/LocalHTTPServer.h"

namespace {

// The first line of each request the server received.
std::vector<std::string> requestLines(const kqtest::LocalHTTPServer& server) {
    std::vector<std::string> lines;
    for (const std::string& request : server.requests()) lines.push_back(request.substr(0, request.find("\r\n")));
    return lines;
}

std::optional<std::string> waitForModelName() {
    for (int attempt = 0; attempt < 200; ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        if (auto name = KQUSystemInformation::humanMachineTypeWithYear()) return name;
    }
    return std::nullopt;
}

using ModelNameTest = kqtest::SystemInformationTest;

TEST_F(ModelNameTest, FirstCallStartsTheLookupAndALaterOneSeesTheName) {
    kqtest::LocalHTTPServer server({.body =
        "<?xml version=\"1.0\"?><root><name>CPU Name</name><configCode>MacBook Pro (Retina, 13-inch, Late "
        "2013)</configCode><configCode>second</configCode></root>"});
    facts->serial = "C02LK0AAFH00";
    KQUSystemInformation::setProductDescriptionServiceURL(server.url(""));
    EXPECT_EQ(KQUSystemInformation::humanMachineTypeWithYear(), std::nullopt);
    EXPECT_EQ(waitForModelName(), "MacBook Pro (Retina, 13-inch, Late 2013)");
    const auto requests = requestLines(server);
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.front(), "GET /sp/product?cc=FH00 HTTP/1.1");
}

TEST_F(ModelNameTest, ReplyWithoutANameOrAShortSerialGivesNothing) {
    for (const char* reply : {"<root><name>nothing here</name></root>", "this is not XML <"}) {
        SCOPED_TRACE(reply);
        kq::systeminformation::resetForTesting();
        kqtest::LocalHTTPServer server({.body = reply});
        facts->serial = "C02LK0AAFH00";
        KQUSystemInformation::setProductDescriptionServiceURL(server.url(""));
        EXPECT_EQ(KQUSystemInformation::humanMachineTypeWithYear(), std::nullopt);
        for (int attempt = 0; attempt < 100 && requestLines(server).empty(); ++attempt)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(KQUSystemInformation::humanMachineTypeWithYear(), std::nullopt);
        // Lookups started earlier may still arrive; count from here.
        const std::size_t before = requestLines(server).size();
        facts->serial = "C02LK0AA";
        EXPECT_EQ(KQUSystemInformation::humanMachineTypeWithYear(), std::nullopt);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(requestLines(server).size(), before);
    }
}

}  // namespace
