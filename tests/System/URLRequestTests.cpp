#include <gtest/gtest.h>

#include "KQFoundation/System/URLRequest.h"

namespace {

TEST(URLRequest, HeaderFieldsKeepOrderAndIgnoreCase) {
    kq::MutableURLRequest request(*kq::URL::URLWithString("https://example.invalid/x"), 5);
    EXPECT_EQ(request.HTTPMethod(), "GET");
    request.setValue("a", "X-One");
    request.setValue("b", "X-Two");
    request.setValue("c", "x-one");
    request.addValue("d", "X-TWO");
    request.addValue("e", "X-Three");
    using Fields = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(request.allHTTPHeaderFields(), (Fields{{"X-One", "c"}, {"X-Two", "b, d"}, {"X-Three", "e"}}));
    EXPECT_EQ(request.valueForHTTPHeaderField("X-ONE"), "c");
    EXPECT_EQ(request.valueForHTTPHeaderField("X-On"), std::nullopt);

    request.setValue(std::nullopt, "X-TWO");
    EXPECT_EQ(request.allHTTPHeaderFields(), (Fields{{"X-One", "c"}, {"X-Three", "e"}}));
    request.setHTTPMethod("");
    EXPECT_EQ(request.HTTPMethod(), "GET");
}

}  // namespace
