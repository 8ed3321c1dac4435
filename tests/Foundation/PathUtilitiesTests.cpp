#include "KQFoundation/Foundation/PathUtilities.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

using Strings = std::vector<std::string>;
using Unary = std::string (*)(std::string_view);
using Binary = std::string (*)(std::string_view, std::string_view);

TEST(PathUtilities, PathOperationsAndAbsolutePathsThatKeepTildeLiteral) {
    const struct {
        Unary f;
        const char* name;
        std::vector<std::pair<const char*, const char*>> rows;
    } table[] = {
        {kq::lastPathComponent, "last", {{"/a/b.txt", "b.txt"}, {"/a/b///", "b"}, {"/", "/"}, {"///", "/"}, {"", ""}, {"name", "name"}}},
        {kq::pathExtension, "extension",
         {{"/a/b.tar.gz", "gz"}, {"/a/Safari.app/", "app"}, {"~/.Trash", ""}, {".profile.bak", "bak"},
          {"/a.b/c", ""} /* a dot in a parent is not an extension */, {"a.", ""}, {"/", ""}}},
        {kq::stringByDeletingLastPathComponent, "deleteLast",
         {{"/tmp/x.tiff", "/tmp"}, {"/tmp/lock/", "/tmp"}, {"/tmp", "/"}, {"/", "/"}, {"x.tiff", ""}, {"a//b", "a"}, {"//b", "/"}}},
        {kq::stringByDeletingPathExtension, "deleteExtension",
         {{"/tmp/x.tiff", "/tmp/x"}, {"/tmp/Safari.app/", "/tmp/Safari"}, {"/tmp/.Trash", "/tmp/.Trash"},
          {"/a.b/c", "/a.b/c"}, {"x..tiff", "x."}, {"/", "/"}}},
        {kq::stringByStandardizingPath, "standardize",
         {{"/a/./b/../c/", "/a/c"}, {"//a///b", "/a/b"}, {"/../..", "/"}, {"../a/../../b", "../../b"}, {"a/..", "."},
          {"/a/.hidden/./x", "/a/.hidden/x"}, {"", ""}}},
    };
    for (const auto& t : table) {
        for (const auto& [in, out] : t.rows) {
            SCOPED_TRACE(std::string(t.name) + " of \"" + in + "\"");
            EXPECT_EQ(t.f(in), out);
        }
    }

    const struct {
        Binary f;
        const char *path, *piece, *expected;
    } rows[] = {
        {kq::stringByAppendingPathComponent, "/tmp", "x", "/tmp/x"},  {kq::stringByAppendingPathComponent, "/tmp/", "x", "/tmp/x"},
        {kq::stringByAppendingPathComponent, "/", "x", "/x"},         {kq::stringByAppendingPathComponent, "", "x", "x"},
        {kq::stringByAppendingPathComponent, "/tmp", "", "/tmp"},     {kq::stringByAppendingPathComponent, "/", "", "/"},
        {kq::stringByAppendingPathComponent, "/tmp", "/x//y/", "/tmp/x/y"},
        {kq::stringByAppendingPathExtension, "/tmp/x.old", "tiff", "/tmp/x.old.tiff"},
        {kq::stringByAppendingPathExtension, "/tmp/", "tiff", "/tmp.tiff"}, {kq::stringByAppendingPathExtension, "x", "", "x"},
        {kq::stringByAppendingPathExtension, "/", "tiff", "/"},       {kq::stringByAppendingPathExtension, "x", "a/b", "x"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(std::string(r.path) + " + " + r.piece);
        EXPECT_EQ(r.f(r.path, r.piece), r.expected);
    }
    for (const auto& [path, components] : std::vector<std::pair<const char*, Strings>>{
             {"/a/b", {"/", "a", "b"}}, {"a/b/", {"a", "b", "/"}}, {"/a//b", {"/", "a", "b"}}, {"/", {"/"}}, {"", {}}})
        EXPECT_EQ(kq::pathComponents(path), components) << path;

    // Absolute paths are lexical.
    const std::string cwd = std::filesystem::current_path().string();
    EXPECT_EQ(kq::absolutePath("/a/./b/../c//"), "/a/c");
    EXPECT_EQ(kq::absolutePath("/a/./b/../c//", false), "/a/./b/../c");
    EXPECT_EQ(kq::absolutePath("x//y/", false), kq::stringByAppendingPathComponent(cwd, "x/y"));
    EXPECT_EQ(kq::absolutePath("x/.."), cwd);
    EXPECT_EQ(kq::absolutePath("~", false), kq::stringByAppendingPathComponent(cwd, "~"));
    EXPECT_TRUE(kq::isAbsolutePath("/x") && kq::isAbsolutePath("~/x") && !kq::isAbsolutePath("x/y") && !kq::isAbsolutePath(""));
}

TEST(PercentEscapes, EscapesIllegalBytesAndRequestedCharactersAndRoundTrip) {
    EXPECT_EQ(kq::stringByAddingPercentEscapes("a b%\"<>#{}|\\^`[]"), "a%20b%25%22%3C%3E%23%7B%7D%7C%5C%5E%60%5B%5D");
    EXPECT_EQ(kq::stringByAddingPercentEscapes("-._~!$&'()*+,;=:/?@"), "-._~!$&'()*+,;=:/?@");
    EXPECT_EQ(kq::stringByAddingPercentEscapes("caf\xC3\xA9\n"), "caf%C3%A9%0A");
    EXPECT_EQ(kq::stringByAddingPercentEscapes("a=b&c/d", kq::kURLReservedCharactersToEscape), "a%3Db%26c%2Fd");

    for (std::string text : {"", "plain", "a b/c?d=e&f", "100%", "\xE2\x82\xAC \xF0\x9F\x98\x80", "+stays+"}) {
        std::string back;
        ASSERT_TRUE(kq::stringByRemovingPercentEscapes(
            kq::stringByAddingPercentEscapes(text, kq::kURLReservedCharactersToEscape), back));
        EXPECT_EQ(back, text);
    }
    std::string out = "untouched";
    // Cut short, not hex, not UTF-8, overlong "/", an encoded surrogate.
    for (const char* bad : {"%", "a%2", "%G1", "%FF", "%C0%AF", "%ED%A0%80"})
        EXPECT_FALSE(kq::stringByRemovingPercentEscapes(bad, out)) << bad;
    EXPECT_EQ(out, "untouched");
    EXPECT_TRUE(kq::stringByRemovingPercentEscapes("a+b%2b", out));
    EXPECT_EQ(out, "a+b+");
}

}  // namespace
