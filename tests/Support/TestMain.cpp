#include <gtest/gtest.h>

#include "KQFoundation/Foundation/Log.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // Keep the library's diagnostics out of the test output unless a test captures them.
    kq::setLogSink([](const std::string&) {});
    return RUN_ALL_TESTS();
}
