#include "System/ProcessRunner.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <tuple>

#include "KQFoundation/Foundation/Exceptions.h"
#include "Support/TemporaryDirectory.h"

namespace {

std::string text(const kq::Data& data) { return std::string(data.begin(), data.end()); }

TEST(ProcessRunner, CollectsStandardOutputExitStatusAndSignal) {
    const auto result = kq::ProcessRunner::run("/bin/sh", {"-c", "printf 'a b\\n'; printf '%s|' \"$@\"; exit 3", "sh",
                                                           "one two", "*"});
    EXPECT_EQ(std::make_tuple(text(result.standardOutput), result.exitStatus, result.terminationSignal),
              std::make_tuple("a b\none two|*|", 3, 0));
    // Large output is read to the end, and the ending signal reported.
    const auto killed = kq::ProcessRunner::run("/bin/sh", {"-c", "head -c 1000000 /dev/zero; kill -TERM $$"});
    EXPECT_EQ(std::make_tuple(killed.standardOutput.size(), killed.exitStatus, killed.terminationSignal),
              std::make_tuple(1000000u, -1, 15));
}

TEST(ProcessRunner, AddsAndReplacesEnvironmentVariables) {
    ::setenv("KQ_RUNNER_TEST", "outer", 1);
    kq::ProcessOptions options;
    options.environment = {{"KQ_RUNNER_TEST", "inner"}, {"KQ_RUNNER_NEW", "x=y"}};
    const auto result = kq::ProcessRunner::run("/bin/sh", {"-c", "echo \"$KQ_RUNNER_TEST $KQ_RUNNER_NEW\""}, options);
    ::unsetenv("KQ_RUNNER_TEST");
    EXPECT_EQ(text(result.standardOutput), "inner x=y\n");
}

TEST(ProcessRunner, FindsProgramsOnThePathAndThrowsForThoseThatCannotBeLaunched) {
    kqtest::TemporaryDirectory folder;
    const std::string notExecutable = folder.writeFile("script", "#!/bin/sh\necho hi\n");
    for (const std::string& program : {folder / "missing", notExecutable, folder.path(), std::string()})
        EXPECT_THROW(kq::ProcessRunner::run(program, {}), kq::InvalidArgumentException) << program;
    EXPECT_TRUE(kq::ProcessRunner::findInPath("sh").value_or("").ends_with("/sh"));
    EXPECT_EQ(kq::ProcessRunner::findInPath("kq-no-such-program"), std::nullopt);
    EXPECT_EQ(kq::ProcessRunner::findInPath("/bin/sh"), std::nullopt);
}

}  // namespace
