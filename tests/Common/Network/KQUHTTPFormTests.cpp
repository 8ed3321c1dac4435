#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/NSMutableURLRequest+KQUHTTPForm.h"
#include "Support/TemporaryDirectory.h"

namespace {

std::string text(const kq::Data& d) { return std::string(d.begin(), d.end()); }

KQUHTTPForm formWithBoundary(std::string_view boundary) {
    KQUHTTPForm form;
    form.setBoundary(boundary);
    return form;
}

TEST(KQUHTTPForm, StartsWithFreshBoundaryBase64AndNoFields) {
    KQUHTTPForm a, b;
    EXPECT_TRUE(std::regex_match(a.boundary(), std::regex("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}")))
        << a.boundary();
    EXPECT_NE(a.boundary(), b.boundary());
    EXPECT_EQ(a.encoding(), KQUHTTPFormEncodingBase64);
    EXPECT_TRUE(a.values().empty());
    EXPECT_FALSE(a.isMultipart());
    EXPECT_TRUE(a.singlepartData().empty());
    EXPECT_EQ(text(formWithBoundary("B").multipartData()), "--B--\n");
}

TEST(KQUHTTPForm, MultipartBytesKeepOrderLineFeedsAndRawNames) {
    auto form = formWithBoundary("B");
    form.setObject(kq::Value("1"), "a");
    form.addFileWithName("x \"q\".bin", kq::Data{'\0', 0xff, '\n'}, "f\"ile");
    form.setObject(kq::Value(42), "n");
    form.setObject(kq::Value("2"), "a");  // replaced in place
    ASSERT_TRUE(form.isMultipart());
    const std::string expected =
        "--B"
        "\nContent-Disposition: form-data; name=\"a\"\n\n2\n--B"
        "\nContent-Disposition: form-data; name=\"f\"ile\"; filename=\"x \"q\".bin\"\n\n" +
        std::string("\0\xff\n", 3) +
        "\n--B"
        "\nContent-Disposition: form-data; name=\"n\"\n\n42\n--B"
        "--\n";
    EXPECT_EQ(text(form.multipartData()), expected);
}

TEST(KQUHTTPForm, SinglepartEncodesOnlyStringValues) {
    struct Case {
        std::int64_t encoding;
        std::string expected;
    };
    const kq::Data bytes{'a', 'b'};
    const std::string data = kq::describe(kq::Value(bytes));
    const Case cases[] = {
        {KQUHTTPFormEncodingNone, "k&=a b/+;é&n=7&d=" + data},
        {KQUHTTPFormEncodingBase64, "k&=YSBiLys7w6k=&n=7&d=" + data},
        {KQUHTTPFormEncodingURL, "k&=a%20b%2F%2B%3B%C3%A9&n=7&d=" + data},
        {5, "k&=a b/+;é&n=7&d=" + data},
    };
    for (const auto& c : cases) {
        KQUHTTPForm form;
        form.setEncoding(c.encoding);
        form.addObjectsFromDictionary({{"k&", "a b/+;é"}, {"n", 7}, {"d", bytes}});
        EXPECT_FALSE(form.isMultipart()) << "data alone never makes a multipart form";
        EXPECT_EQ(text(form.singlepartData()), c.expected) << "encoding " << c.encoding;
    }
    KQUHTTPForm form;
    form.setObject(kq::Value("abc"), "name");
    form.setObject(nullptr, "name");
    form.setObject(nullptr, "other");
    EXPECT_EQ(text(form.singlepartData()), "name=YWJj") << "nil changes nothing";
}

TEST(KQUHTTPForm, AttachSetsLengthInBytesAndMultipartType) {
    kq::MutableURLRequest request(*kq::URL::URLWithString("http://127.0.0.1/upload"));
    request.setHTTPMethod("POST");
    request.setValue("text/plain", "content-type");
    auto form = formWithBoundary("B");
    form.setEncoding(KQUHTTPFormEncodingNone);
    form.setObject(kq::Value("Größe €"), "k");

    request.attachHTTPForm(form);
    EXPECT_EQ(text(request.HTTPBody()), "k=Größe €");
    EXPECT_EQ(request.valueForHTTPHeaderField("Content-Length"), "13");
    EXPECT_EQ(request.valueForHTTPHeaderField("Content-Type"), "text/plain") << "single part keeps the type";

    form.addFileWithName("ü.txt", kq::Data{'x'}, "f");
    request.attachHTTPForm(form);
    EXPECT_EQ(request.valueForHTTPHeaderField("content-length"), std::to_string(request.HTTPBody().size()));
    EXPECT_EQ(request.valueForHTTPHeaderField("Content-Type"), "multipart/form-data; boundary=B");
    EXPECT_EQ(request.allHTTPHeaderFields().size(), 2u);
    EXPECT_EQ(request.HTTPMethod(), "POST");
    EXPECT_EQ(request.url()->absoluteString(), "http://127.0.0.1/upload");
}

TEST(KQUHTTPForm, FileURLIsReadWhenTheBodyIsBuilt) {
    kqtest::TemporaryDirectory dir;
    const std::string path = dir / "late.txt";
    auto form = formWithBoundary("B");
    form.addFileWithName("late.txt", kq::URL::fileURLWithPath(path), "f");
    const std::string head = "--B\nContent-Disposition: form-data; name=\"f\"; filename=\"late.txt\"\n\n";

    dir.writeFile("late.txt", "now");
    EXPECT_EQ(text(form.multipartData()), head + "now\n--B--\n");

    std::filesystem::remove(path);
    kq::LogCapture log;
    kq::MutableURLRequest request;
    request.attachHTTPForm(form);
    EXPECT_EQ(text(request.HTTPBody()), head + "\n--B--\n");
    EXPECT_EQ(request.valueForHTTPHeaderField("Content-Length"), std::to_string(head.size() + 7));
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_NE(log.lines()[0].find(path), std::string::npos);
}

}  // namespace
