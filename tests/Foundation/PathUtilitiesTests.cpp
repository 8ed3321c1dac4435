#include "KQFoundation/Foundation/PathUtilities.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using Strings = std::vector<std::string>;

TEST(PathUtilities, LastComponentAndExtension) {
    EXPECT_EQ(kq::lastPathComponent("/a/b.txt"), "b.txt");
    EXPECT_EQ(kq::lastPathComponent("/a/b///"), "b");
    EXPECT_EQ(kq::lastPathComponent("/"), "/");
    EXPECT_EQ(kq::lastPathComponent("///"), "/");
    EXPECT_EQ(kq::lastPathComponent(""), "");
    EXPECT_EQ(kq::lastPathComponent("name"), "name");

    EXPECT_EQ(kq::pathExtension("/a/b.tar.gz"), "gz");
    EXPECT_EQ(kq::pathExtension("/a/Safari.app/"), "app");
    EXPECT_EQ(kq::pathExtension("~/.Trash"), "");
    EXPECT_EQ(kq::pathExtension(".profile.bak"), "bak");
    EXPECT_EQ(kq::pathExtension("/a.b/c"), "");  // a dot in a parent is not an extension
    EXPECT_EQ(kq::pathExtension("a."), "");
    EXPECT_EQ(kq::pathExtension("/"), "");
}

TEST(PathUtilities, Components) {
    EXPECT_EQ(kq::pathComponents("/a/b"), (Strings{"/", "a", "b"}));
    EXPECT_EQ(kq::pathComponents("a/b/"), (Strings{"a", "b", "/"}));
    EXPECT_EQ(kq::pathComponents("/a//b"), (Strings{"/", "a", "b"}));
    EXPECT_EQ(kq::pathComponents("/"), (Strings{"/"}));
    EXPECT_EQ(kq::pathComponents(""), Strings{});
}

TEST(PathUtilities, AppendingAndDeletingComponents) {
    EXPECT_EQ(kq::stringByAppendingPathComponent("/tmp", "x"), "/tmp/x");
    EXPECT_EQ(kq::stringByAppendingPathComponent("/tmp/", "x"), "/tmp/x");
    EXPECT_EQ(kq::stringByAppendingPathComponent("/", "x"), "/x");
    EXPECT_EQ(kq::stringByAppendingPathComponent("", "x"), "x");
    EXPECT_EQ(kq::stringByAppendingPathComponent("/tmp", ""), "/tmp");
    EXPECT_EQ(kq::stringByAppendingPathComponent("/tmp", "/x//y/"), "/tmp/x/y");
    EXPECT_EQ(kq::stringByAppendingPathComponent("/", ""), "/");

    EXPECT_EQ(kq::stringByDeletingLastPathComponent("/tmp/x.tiff"), "/tmp");
    EXPECT_EQ(kq::stringByDeletingLastPathComponent("/tmp/lock/"), "/tmp");
    EXPECT_EQ(kq::stringByDeletingLastPathComponent("/tmp"), "/");
    EXPECT_EQ(kq::stringByDeletingLastPathComponent("/"), "/");
    EXPECT_EQ(kq::stringByDeletingLastPathComponent("x.tiff"), "");
    EXPECT_EQ(kq::stringByDeletingLastPathComponent("a//b"), "a");
    EXPECT_EQ(kq::stringByDeletingLastPathComponent("//b"), "/");
}

TEST(PathUtilities, AppendingAndDeletingExtensions) {
    EXPECT_EQ(kq::stringByAppendingPathExtension("/tmp/x.old", "tiff"), "/tmp/x.old.tiff");
    EXPECT_EQ(kq::stringByAppendingPathExtension("/tmp/", "tiff"), "/tmp.tiff");
    EXPECT_EQ(kq::stringByAppendingPathExtension("x", ""), "x");
    EXPECT_EQ(kq::stringByAppendingPathExtension("/", "tiff"), "/");
    EXPECT_EQ(kq::stringByAppendingPathExtension("x", "a/b"), "x");

    EXPECT_EQ(kq::stringByDeletingPathExtension("/tmp/x.tiff"), "/tmp/x");
    EXPECT_EQ(kq::stringByDeletingPathExtension("/tmp/Safari.app/"), "/tmp/Safari");
    EXPECT_EQ(kq::stringByDeletingPathExtension("/tmp/.Trash"), "/tmp/.Trash");
    EXPECT_EQ(kq::stringByDeletingPathExtension("/a.b/c"), "/a.b/c");
    EXPECT_EQ(kq::stringByDeletingPathExtension("x..tiff"), "x.");
    EXPECT_EQ(kq::stringByDeletingPathExtension("/"), "/");
}

TEST(PathUtilities, StandardizingIsLexicalAndExpandsTilde) {
    EXPECT_EQ(kq::stringByStandardizingPath("/a/./b/../c/"), "/a/c");
    EXPECT_EQ(kq::stringByStandardizingPath("//a///b"), "/a/b");
    EXPECT_EQ(kq::stringByStandardizingPath("/../.."), "/");
    EXPECT_EQ(kq::stringByStandardizingPath("../a/../../b"), "../../b");
    EXPECT_EQ(kq::stringByStandardizingPath("a/.."), ".");
    EXPECT_EQ(kq::stringByStandardizingPath("/a/.hidden/./x"), "/a/.hidden/x");
    EXPECT_EQ(kq::stringByStandardizingPath(""), "");

    const std::string cwd = std::filesystem::current_path().string();
    EXPECT_EQ(kq::absolutePath("/a/./b/../c//"), "/a/c");
    EXPECT_EQ(kq::absolutePath("/a/./b/../c//", false), "/a/./b/../c");
    EXPECT_EQ(kq::absolutePath("x//y/", false), kq::stringByAppendingPathComponent(cwd, "x/y"));
    EXPECT_EQ(kq::absolutePath("x/.."), cwd);
    EXPECT_EQ(kq::absolutePath("~", false), kq::stringByAppendingPathComponent(cwd, "~"));

    EXPECT_TRUE(kq::isAbsolutePath("/x"));
    EXPECT_TRUE(kq::isAbsolutePath("~/x"));
    EXPECT_FALSE(kq::isAbsolutePath("x/y"));
    EXPECT_FALSE(kq::isAbsolutePath(""));
}

TEST(PercentEscapes, EscapesIllegalBytesAndRequestedCharacters) {
    EXPECT_EQ(kq::stringByAddingPercentEscapes("a b%\"<>#{}|\\^`[]"), "a%20b%25%22%3C%3E%23%7B%7D%7C%5C%5E%60%5B%5D");
    EXPECT_EQ(kq::stringByAddingPercentEscapes("-._~!$&'()*+,;=:/?@"), "-._~!$&'()*+,;=:/?@");
    EXPECT_EQ(kq::stringByAddingPercentEscapes("caf\xC3\xA9\n"), "caf%C3%A9%0A");
    EXPECT_EQ(kq::stringByAddingPercentEscapes("a=b&c/d", kq::kURLReservedCharactersToEscape), "a%3Db%26c%2Fd");
}

TEST(PercentEscapes, RoundTripAndValidation) {
    for (std::string text : {"", "plain", "a b/c?d=e&f", "100%", "\xE2\x82\xAC \xF0\x9F\x98\x80", "+stays+"}) {
        std::string back;
        ASSERT_TRUE(kq::stringByRemovingPercentEscapes(
            kq::stringByAddingPercentEscapes(text, kq::kURLReservedCharactersToEscape), back));
        EXPECT_EQ(back, text);
    }
    std::string out = "untouched";
    EXPECT_FALSE(kq::stringByRemovingPercentEscapes("%", out));
    EXPECT_FALSE(kq::stringByRemovingPercentEscapes("a%2", out));
    EXPECT_FALSE(kq::stringByRemovingPercentEscapes("%G1", out));
    EXPECT_FALSE(kq::stringByRemovingPercentEscapes("%FF", out));        // not UTF-8
    EXPECT_FALSE(kq::stringByRemovingPercentEscapes("%C0%AF", out));     // overlong "/"
    EXPECT_FALSE(kq::stringByRemovingPercentEscapes("%ED%A0%80", out));  // surrogate
    EXPECT_EQ(out, "untouched");
    EXPECT_TRUE(kq::stringByRemovingPercentEscapes("a+b%2b", out));
    EXPECT_EQ(out, "a+b+");
}

}  // namespace
