#include "KQFoundation/System/ArchiveExtractor.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <filesystem>
#include <iterator>

#include "Support/ArchiveWriter.h"
#include "Support/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using kq::ArchiveFormat;

using Entry = kqtest::ArchiveEntry;
using kqtest::readText;
using kqtest::writeArchive;

// Written by hand: the writer tidies names and refuses the odd trees hostile cases need.
std::string rawXar(const std::vector<Entry>& entries) {
    std::string toc = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><xar><toc>", heap;
    auto idOf = [&](const std::string& name) {
        for (std::size_t i = 0; i < entries.size(); ++i)
            if (entries[i].name == name) return std::to_string(i + 1);
        return std::string("0");
    };
    auto isOriginal = [&](const Entry& e) {
        for (const Entry& other : entries)
            if (other.hardlink && other.contents == e.name) return true;
        return false;
    };
    int id = 0;
    for (const Entry& e : entries) {
        toc += "<file id=\"" + std::to_string(++id) + "\"><name>" + e.name + "</name><type";
        if (e.hardlink) {
            toc += " link=\"" + idOf(e.contents) + "\">hardlink</type>";
        } else if (e.type == AE_IFREG) {
            toc += isOriginal(e) ? " link=\"original\">hardlink" : ">file";
            toc += "</type><data><length>" + std::to_string(e.contents.size()) + "</length><offset>" +
                   std::to_string(heap.size()) + "</offset><size>" + std::to_string(e.contents.size()) +
                   "</size><encoding style=\"application/octet-stream\"/></data>";
            heap += e.contents;
        } else if (e.type == AE_IFDIR) {
            toc += ">directory</type>";
        } else if (e.type == AE_IFLNK) {
            toc += ">symlink</type><link type=\"file\">" + e.contents + "</link>";
        } else if (e.type == AE_IFIFO) {
            toc += ">fifo</type>";
        } else {
            toc += ">character special</type><device><major>1</major><minor>3</minor></device>";
        }
        toc += "<mode>0644</mode></file>";
    }
    toc += "</toc></xar>";
    uLongf compressedSize = compressBound(toc.size());
    std::string compressed(compressedSize, '\0');
    compress(reinterpret_cast<Bytef*>(compressed.data()), &compressedSize, reinterpret_cast<const Bytef*>(toc.data()),
             toc.size());
    compressed.resize(compressedSize);
    std::string header = "xar!";
    auto put = [&](std::uint64_t value, int bytes) {
        for (int i = bytes - 1; i >= 0; --i) header += static_cast<char>((value >> (8 * i)) & 0xff);
    };
    put(28, 2), put(1, 2), put(compressed.size(), 8), put(toc.size(), 8), put(0, 4);  // no checksum
    return header + compressed + heap;
}

const char* formatName(ArchiveFormat f) { return f == ArchiveFormat::Zip ? "zip" : "xar"; }

class ArchiveExtractor : public ::testing::TestWithParam<ArchiveFormat> {
protected:
    std::error_code extract(const std::vector<Entry>& entries, const kq::ArchiveExtractionLimits& limits = {}) {
        std::string archive = writeArchive(archives / "test", GetParam(), entries);
        return kq::extractArchive(archive, inner, GetParam(), limits);
    }
    std::error_code extractRaw(const std::vector<Entry>& entries) {
        if (GetParam() == ArchiveFormat::Xar)
            return kq::extractArchive(archives.writeFile("raw.xar", rawXar(entries)), inner, GetParam());
        return kq::extractArchive(writeArchive(archives / "test", GetParam(), entries), inner, GetParam());
    }

    kqtest::TemporaryDirectory archives, sandbox;
    std::string inner = sandbox.makeDirectory("inner");
};

TEST_P(ArchiveExtractor, ExtractsFilesFoldersAndLinks) {
    std::string big(300000, 'x');
    ASSERT_FALSE(extract({{"Contents/", AE_IFDIR, "", 0555},
                          {"Contents/Info.plist", AE_IFREG, "<plist/>"},
                          {"./Contents/Resources/Icon.png", AE_IFREG, big, 04755},
                          {"Caf\xC3\xA9.txt", AE_IFREG, "utf8"},
                          {"Contents/Current", AE_IFLNK, "Resources"},
                          {"Contents/Resources/up", AE_IFLNK, "../Info.plist"},
                          {"Contents/Resources/empty", AE_IFREG, "", 0}}));
    EXPECT_EQ(readText(inner + "/Contents/Info.plist"), "<plist/>");
    EXPECT_EQ(readText(inner + "/Contents/Resources/Icon.png"), big);
    EXPECT_EQ(readText(inner + "/Caf\xC3\xA9.txt"), "utf8");
    EXPECT_EQ(readText(inner + "/Contents/Current/up"), "<plist/>");
    EXPECT_EQ(fs::read_symlink(inner + "/Contents/Current"), "Resources");

    const auto mode = [&](const char* path) {
        struct stat info {};
        return stat((inner + path).c_str(), &info) == 0 ? info.st_mode : 07777u;
    };
    EXPECT_EQ(mode("/Contents/Resources/Icon.png") & 07700, 0700u) << "no setuid, setgid or sticky bits";
    EXPECT_EQ(mode("/Contents/Resources/empty") & 07600, 0600u) << "always readable and writable by us";
    EXPECT_EQ(mode("/Contents") & 07700, 0700u) << "folders stay removable";
}

TEST_P(ArchiveExtractor, HostileEntriesFailAndNothingLandsOutside) {
    std::vector<std::vector<Entry>> hostile = {
        {{"ok.txt", AE_IFREG, "fine"}, {"../evil", AE_IFREG, "evil"}},
        {{"/tmp/kq-absolute-evil", AE_IFREG, "evil"}},
        {{"a/../../evil", AE_IFREG, "evil"}},
        {{"link", AE_IFLNK, "/"}},
        {{"link", AE_IFLNK, ".."}},
        {{"a/link", AE_IFLNK, "../../"}},
        // Climbing after a name: harmless as text, but the name may become a link.
        {{"self", AE_IFLNK, "."}, {"escape", AE_IFLNK, "self/.."}},
        {{"escape", AE_IFLNK, "self/../evil"}, {"self", AE_IFLNK, "."}},
        // Writing through a link, even one pointing inside.
        {{"sub/", AE_IFDIR, ""}, {"link", AE_IFLNK, "sub"}, {"link/evil", AE_IFREG, "evil"}},
        {{"folder/", AE_IFDIR, ""}, {"folder", AE_IFLNK, "."}},
    };
    if (GetParam() == ArchiveFormat::Xar) hostile.insert(hostile.end(), {{{"fifo", AE_IFIFO, ""}}, {{"device", AE_IFCHR, ""}}});
    ASSERT_FALSE(extractRaw({{"ok/", AE_IFDIR, ""}, {"ok/a.txt", AE_IFREG, "fine"}, {"ok/l", AE_IFLNK, "../ok/a.txt"}}));
    EXPECT_EQ(readText(inner + "/ok/l"), "fine");
    for (std::size_t i = 0; i < hostile.size(); ++i) {
        SCOPED_TRACE(std::string(formatName(GetParam())) + " case " + std::to_string(i));
        fs::remove_all(inner);
        fs::create_directory(inner);
        EXPECT_TRUE(extractRaw(hostile[i]));
        EXPECT_EQ(std::distance(fs::directory_iterator(sandbox.path()), {}), 1) << "only inner";
        EXPECT_FALSE(fs::exists("/tmp/kq-absolute-evil"));
    }
}

TEST_P(ArchiveExtractor, LimitsStopBombsAndDamagedOrMissingInputFails) {
    std::string zeros(8 << 20, '\0');
    kq::ArchiveExtractionLimits small{1 << 20, 100};
    EXPECT_EQ(extract({{"bomb", AE_IFREG, zeros}}, small), std::errc::file_too_large);
    EXPECT_EQ(extract({{"a", AE_IFREG, std::string(600000, 'a')}, {"b", AE_IFREG, std::string(600000, 'b')}}, small),
              std::errc::file_too_large);

    std::vector<Entry> many;
    for (int i = 0; i < 5; ++i) many.push_back({"f" + std::to_string(i), AE_IFREG, "x"});
    EXPECT_EQ(extract(many, {1 << 20, 4}), std::errc::value_too_large);
    EXPECT_FALSE(extract(many, {5, 5})) << "exactly at both limits";

    std::string content;
    for (int i = 0; i < 2000; ++i) content += "line " + std::to_string(i) + "\n";
    std::string good = writeArchive(archives / "good", GetParam(), {{"a.txt", AE_IFREG, content}, {"b.txt", AE_IFREG, content}});
    std::string bytes = readText(good);
    std::string truncated = archives.writeFile("truncated", bytes.substr(0, bytes.size() / 2));
    std::string flipped = bytes;
    for (std::size_t i = bytes.size() / 4; i < bytes.size() / 2; ++i) flipped[i] = static_cast<char>(~flipped[i]);
    std::string damaged = archives.writeFile("damaged", flipped);
    std::string other = writeArchive(archives / "other",
                                     GetParam() == ArchiveFormat::Zip ? ArchiveFormat::Xar : ArchiveFormat::Zip,
                                     {{"a.txt", AE_IFREG, "a"}});
    for (const std::string& path : {truncated, damaged, other, archives.writeFile("text", "not an archive"),
                                    archives.writeFile("empty"), archives / "missing", archives.path()})
        EXPECT_TRUE(kq::extractArchive(path, inner, GetParam())) << path;

    EXPECT_TRUE(kq::extractArchive(good, sandbox / "missing", GetParam()));
    EXPECT_TRUE(kq::extractArchive(good, good, GetParam()));
    EXPECT_FALSE(kq::extractArchive(good, inner, GetParam()));
}

TEST(ArchiveExtractorXar, HardLinksWithinTheFolder) {
    kqtest::TemporaryDirectory tmp;
    std::string inner = tmp.makeDirectory("inner");
    std::string archive = tmp.writeFile(
        "links.xar", rawXar({{"a", AE_IFREG, "data"}, {"d/", AE_IFDIR, ""}, {"d/b", AE_IFREG, "a", 0644, true}}));
    ASSERT_FALSE(kq::extractArchive(archive, inner, ArchiveFormat::Xar));
    EXPECT_EQ(readText(inner + "/d/b"), "data");
    EXPECT_EQ(fs::hard_link_count(inner + "/a"), 2u);
}

INSTANTIATE_TEST_SUITE_P(Formats, ArchiveExtractor, ::testing::Values(ArchiveFormat::Zip, ArchiveFormat::Xar),
                         [](const auto& info) { return formatName(info.param); });

}  // namespace
