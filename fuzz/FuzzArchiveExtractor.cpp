// Archives from arbitrary bytes, unpacked as zip and as xar: nothing is ever
// written beside the folder, and no link left inside it leads out of it.
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "KQFoundation/System/ArchiveExtractor.h"

namespace fs = std::filesystem;

namespace {

// A fresh folder per input, removed with everything in it afterwards.
fs::path makeWorkFolder() {
    std::string pattern = (fs::temp_directory_path() / "FuzzArchiveExtractor.XXXXXX").string();
    if (!mkdtemp(pattern.data())) std::abort();
    return fs::canonical(pattern);
}

void check(const fs::path& box, const fs::path& inner) {
    for (const auto& entry : fs::directory_iterator(box))
        if (entry.path() != inner) std::abort();  // written beside the folder
    std::error_code error;
    for (auto it = fs::recursive_directory_iterator(inner, error); !error && it != fs::recursive_directory_iterator();
         it.increment(error)) {
        if (!it->is_symlink()) continue;
        fs::path resolved = fs::weakly_canonical(it->path(), error);
        if (error) {
            error.clear();  // a loop of links leads nowhere
            continue;
        }
        auto [end, _] = std::mismatch(inner.begin(), inner.end(), resolved.begin(), resolved.end());
        if (end != inner.end()) std::abort();  // a link out of the folder
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fs::path work = makeWorkFolder();
    const fs::path archive = work / "archive", box = work / "box", inner = box / "inner";
    {
        std::ofstream out(archive, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    const kq::ArchiveExtractionLimits limits{1 << 20, 1000};
    for (auto format : {kq::ArchiveFormat::Zip, kq::ArchiveFormat::Xar}) {
        fs::remove_all(box);
        fs::create_directories(inner);
        kq::extractArchive(archive.string(), inner.string(), format, limits);
        check(box, inner);
        // Folders may have come out without search permission for others; we own them.
        fs::remove_all(box);
    }
    fs::remove_all(work);
    return 0;
}
