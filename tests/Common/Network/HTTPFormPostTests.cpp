// A form posted through kq::URLConnection reaches the server byte for byte.
#include <gtest/gtest.h>

#include <thread>

#include "KQFoundation/NSMutableURLRequest+KQUHTTPForm.h"
#include "Support/ConnectionRecorder.h"
#include "Support/LocalHTTPServer.h"

namespace {

std::string post(const kqtest::LocalHTTPServer& server, const KQUHTTPForm& form) {
    std::string sent;
    std::thread([&] {
        kq::MutableURLRequest request(*kq::URL::URLWithString(server.url("/upload")), 5.0);
        request.setHTTPMethod("POST");
        request.attachHTTPForm(form);
        kqtest::ConnectionRecorder recorder;
        auto connection = kq::URLConnection::start(request, &recorder);
        EXPECT_TRUE(kqtest::runLoopUntil([&] { return recorder.ended(); }));
        EXPECT_EQ(recorder.events.back(), "finish");
        if (!server.requests().empty()) sent = server.requests().back();
    }).join();
    return sent;
}

TEST(HTTPFormPost, SendsTheExactRequest) {
    kqtest::LocalHTTPServer server;
    const std::string host = "Host: 127.0.0.1:" + std::to_string(server.port()) + "\r\n";

    KQUHTTPForm form;
    form.setBoundary("B0UND");
    form.setObject(kq::Value("ü 1"), "a");
    form.addFileWithName("n.bin", kq::Data{'\0', '\r', '\n', 0xff}, "up");
    const std::string body = std::string("--B0UND\nContent-Disposition: form-data; name=\"a\"\n\nü 1\n--B0UND\n") +
                             "Content-Disposition: form-data; name=\"up\"; filename=\"n.bin\"\n\n" +
                             std::string("\0\r\n\xff", 4) + "\n--B0UND--\n";
    EXPECT_EQ(post(server, form), "POST /upload HTTP/1.1\r\n" + host +
                                      "User-Agent: KQFoundation\r\nAccept: */*\r\n"
                                      "Content-Length: " + std::to_string(body.size()) + "\r\n"
                                      "Content-Type: multipart/form-data; boundary=B0UND\r\n\r\n" + body);

    // Without files the body is one line of pairs; the server is told how it is encoded.
    KQUHTTPForm pairs;
    pairs.setObject(kq::Value("abc"), "k");
    const std::string sent = post(server, pairs);
    EXPECT_TRUE(sent.ends_with("Content-Length: 6\r\n"
                               "Content-Type: application/x-www-form-urlencoded\r\n\r\nk=YWJj"))
        << sent;
}

}  // namespace
