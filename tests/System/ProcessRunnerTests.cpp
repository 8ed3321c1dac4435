#include "System/ProcessRunner.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "KQFoundation/Foundation/Exceptions.h"
#include "Support/TemporaryDirectory.h"

namespace {

std::string text(const kq::Data& data) { return std::string(data.begin(), data.end()); }

TEST(ProcessRunner, CollectsStandardOutputAndExitStatus) {
    const auto result = kq::ProcessRunner::run("/bin/sh", {"-c", "printf 'a b\\n'; printf '%s|' \"$@\"; exit 3", "sh",
                                                           "one two", "*"});
    EXPECT_EQ(text(result.standardOutput), "a b\none two|*|");
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(result.terminationSignal, 0);
}

TEST(ProcessRunner, ReadsLargeOutputToTheEndAndReportsTheEndingSignal) {
    const auto result = kq::ProcessRunner::run("/bin/sh", {"-c", "head -c 1000000 /dev/zero; kill -TERM $$"});
    EXPECT_EQ(result.standardOutput.size(), 1000000u);
    EXPECT_EQ(result.exitStatus, -1);
    EXPECT_EQ(result.terminationSignal, 15);
}

TEST(ProcessRunner, AddsAndReplacesEnvironmentVariables) {
    ::setenv("KQ_RUNNER_TEST", "outer", 1);
    kq::ProcessOptions options;
    options.environment = {{"KQ_RUNNER_TEST", "inner"}, {"KQ_RUNNER_NEW", "x=y"}};
    const auto result = kq::ProcessRunner::run("/bin/sh", {"-c", "echo \"$KQ_RUNNER_TEST $KQ_RUNNER_NEW\""}, options);
    ::unsetenv("KQ_RUNNER_TEST");
    EXPECT_EQ(text(result.standardOutput), "inner x=y\n");
}

TEST(ProcessRunner, ProgramsThatCannotBeLaunchedThrow) {
    kqtest::TemporaryDirectory folder;
    const std::string notExecutable = folder.writeFile("script", "#!/bin/sh\necho hi\n");
    for (const std::string& program : {folder / "missing", notExecutable, folder.path(), std::string()})
        EXPECT_THROW(kq::ProcessRunner::run(program, {}), kq::InvalidArgumentException) << program;
}

TEST(ProcessRunner, FindsProgramsOnThePath) {
    EXPECT_EQ(kq::ProcessRunner::findInPath("sh").value_or("").ends_with("/sh"), true);
    EXPECT_EQ(kq::ProcessRunner::findInPath("kq-no-such-program"), std::nullopt);
    EXPECT_EQ(kq::ProcessRunner::findInPath("/bin/sh"), std::nullopt);
}

}  // namespace
