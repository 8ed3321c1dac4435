#include <gtest/gtest.h>

#include "KQFoundation/Foundation/Log.h"

// fontconfig keeps its caches (some filled by pango's own thread) for the life
// of the process; under the leak checker they would fail every suite that lays
// out text.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // Keep the library's diagnostics out of the test output unless a test captures them.
    kq::setLogSink([](const std::string&) {});
    return RUN_ALL_TESTS();
}
