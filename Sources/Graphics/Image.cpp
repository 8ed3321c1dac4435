#include "KQFoundation/Graphics/Image.h"

#include <stb_image.h>
#include <webp/decode.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>

#include "KQFoundation/Foundation/XMLDocument.h"
#include "KQFoundation/System/FileManager.h"

namespace kq {

namespace {

// Icons are small; anything larger is not worth holding in memory.
constexpr std::size_t kMaximumImageFileSize = 64u << 20;
// Declared SVG sizes beyond this are nonsense rather than icons.
constexpr double kMaximumSVGSide = 1 << 20;

bool startsWith(const Data& bytes, std::size_t offset, std::string_view magic) {
    return bytes.size() >= offset + magic.size() &&
           std::memcmp(bytes.data() + offset, magic.data(), magic.size()) == 0;
}

std::optional<ImageRepresentation> rasterRepresentation(const std::uint8_t* bytes, std::size_t length,
                                                        std::string format) {
    if (length > static_cast<std::size_t>(INT_MAX)) return std::nullopt;
    int width = 0, height = 0, components = 0;
    if (format == "webp") {
        if (!WebPGetInfo(bytes, length, &width, &height)) return std::nullopt;
    } else if (!stbi_info_from_memory(bytes, static_cast<int>(length), &width, &height, &components)) {
        return std::nullopt;
    }
    if (width <= 0 || height <= 0) return std::nullopt;
    return ImageRepresentation{std::move(format), static_cast<std::uint32_t>(width),
                               static_cast<std::uint32_t>(height), Data(bytes, bytes + length)};
}

// An SVG length in user units ("48", "48px", "4.5e1"); other units and
// percentages give nothing, so the view box decides.
std::optional<double> svgLength(std::string_view text) {
    std::string s(text);
    const char* begin = s.c_str();
    char* end = nullptr;
    double value = std::strtod(begin, &end);
    if (end == begin) return std::nullopt;
    std::string_view rest(end);
    while (!rest.empty() && (rest.back() == ' ' || rest.back() == '\t' || rest.back() == '\n' || rest.back() == '\r'))
        rest.remove_suffix(1);
    if (!rest.empty() && rest != "px") return std::nullopt;
    if (!std::isfinite(value) || value <= 0 || value > kMaximumSVGSide) return std::nullopt;
    return value;
}

std::optional<std::string> attribute(const XMLElement& element, std::string_view name) {
    const XMLNode* node = element.attributeForLocalName(name, "");
    if (!node) return std::nullopt;
    return node->stringValue();
}

std::optional<ImageRepresentation> svgRepresentation(const Data& bytes) {
    auto document = XMLDocument::create(bytes);
    const XMLElement* root = document ? document->rootElement() : nullptr;
    if (!root || root->localName() != "svg" || (!root->URI().empty() && root->URI() != "http://www.w3.org/2000/svg"))
        return std::nullopt;

    std::optional<double> width, height;
    if (auto w = attribute(*root, "width")) width = svgLength(*w);
    if (auto h = attribute(*root, "height")) height = svgLength(*h);
    if (auto viewBox = attribute(*root, "viewBox"); viewBox && (!width || !height)) {
        std::replace(viewBox->begin(), viewBox->end(), ',', ' ');
        double box[4];
        const char* p = viewBox->c_str();
        int count = 0;
        for (; count < 4; ++count) {
            char* end = nullptr;
            box[count] = std::strtod(p, &end);
            if (end == p) break;
            p = end;
        }
        if (count == 4) {
            // One declared side scales the other by the box's aspect ratio.
            auto side = [](double v) -> std::optional<double> {
                if (!std::isfinite(v) || v <= 0 || v > kMaximumSVGSide) return std::nullopt;
                return v;
            };
            auto boxWidth = side(box[2]), boxHeight = side(box[3]);
            if (boxWidth && boxHeight) {
                if (width && !height) height = side(*width * *boxHeight / *boxWidth);
                else if (height && !width) width = side(*height * *boxWidth / *boxHeight);
                else if (!width && !height) width = boxWidth, height = boxHeight;
            }
        }
    }
    if (!width || !height) return std::nullopt;
    auto pixels = [](double v) { return static_cast<std::uint32_t>(std::max(1.0, std::ceil(v - 1e-9))); };
    return ImageRepresentation{"svg", pixels(*width), pixels(*height), bytes};
}

std::uint32_t bigEndian32(const std::uint8_t* p) {
    return (std::uint32_t(p[0]) << 24) | (std::uint32_t(p[1]) << 16) | (std::uint32_t(p[2]) << 8) | p[3];
}

// An icon family file: "icns", its length, then entries of type, length and
// data. Entries holding PNG files become representations; the older bitmap
// and JPEG 2000 entries are left out.
std::optional<Image> icnsImage(const Data& bytes) {
    if (bytes.size() < 8) return std::nullopt;
    std::size_t end = std::min<std::size_t>(bytes.size(), bigEndian32(bytes.data() + 4));
    Image image;
    for (std::size_t offset = 8; offset + 8 <= end;) {
        std::uint32_t length = bigEndian32(bytes.data() + offset + 4);
        if (length < 8 || length > end - offset) break;
        const std::uint8_t* data = bytes.data() + offset + 8;
        std::size_t size = length - 8;
        if (size >= 8 && std::memcmp(data, "\x89PNG\r\n\x1a\n", 8) == 0)
            if (auto png = rasterRepresentation(data, size, "png")) image.addRepresentation(std::move(*png));
        offset += length;
    }
    if (image.empty()) return std::nullopt;
    return image;
}

}  // namespace

void Image::addRepresentation(ImageRepresentation representation) {
    representations_.push_back(std::move(representation));
}

void Image::addRepresentations(const Image& other) {
    // Copied first, so adding an image to itself doubles it cleanly.
    std::vector<ImageRepresentation> added = other.representations_;
    for (auto& representation : added) representations_.push_back(std::move(representation));
}

std::optional<Image> Image::imageWithData(const Data& bytes) {
    if (bytes.empty() || bytes.size() > kMaximumImageFileSize) return std::nullopt;
    std::optional<ImageRepresentation> representation;
    // The leading bytes decide the format, so a stray file never reaches a
    // decoder meant for another format.
    if (startsWith(bytes, 0, "\x89PNG\r\n\x1a\n"))
        representation = rasterRepresentation(bytes.data(), bytes.size(), "png");
    else if (startsWith(bytes, 0, "\xFF\xD8\xFF"))
        representation = rasterRepresentation(bytes.data(), bytes.size(), "jpeg");
    else if (startsWith(bytes, 0, "GIF87a") || startsWith(bytes, 0, "GIF89a"))
        representation = rasterRepresentation(bytes.data(), bytes.size(), "gif");
    else if (startsWith(bytes, 0, "BM"))
        representation = rasterRepresentation(bytes.data(), bytes.size(), "bmp");
    else if (startsWith(bytes, 0, "RIFF") && startsWith(bytes, 8, "WEBP"))
        representation = rasterRepresentation(bytes.data(), bytes.size(), "webp");
    else if (startsWith(bytes, 0, "icns"))
        return icnsImage(bytes);
    else
        representation = svgRepresentation(bytes);
    if (!representation) return std::nullopt;
    Image image;
    image.addRepresentation(std::move(*representation));
    return image;
}

std::optional<Image> Image::imageWithContentsOfFile(std::string_view path) {
    // Only regular files (links followed) of a sane size: a fifo or a device
    // would block or never end.
    std::error_code error;
    std::filesystem::path file(path);
    if (path.empty() || !std::filesystem::is_regular_file(file, error)) return std::nullopt;
    auto size = std::filesystem::file_size(file, error);
    if (error || size > kMaximumImageFileSize) return std::nullopt;
    auto bytes = FileManager::defaultManager().contentsAtPath(path);
    if (!bytes) return std::nullopt;
    return imageWithData(*bytes);
}

Value Image::propertyList() const {
    Array list;
    list.reserve(representations_.size());
    for (const auto& r : representations_) {
        list.emplace_back(Dictionary{{"format", r.format},
                                     {"pixelsWide", static_cast<std::int64_t>(r.pixelsWide)},
                                     {"pixelsHigh", static_cast<std::int64_t>(r.pixelsHigh)},
                                     {"data", r.bytes}});
    }
    return Value(std::move(list));
}

std::optional<Image> Image::imageWithPropertyList(const Value& value) {
    const Array* list = value.asArray();
    if (!list) return std::nullopt;
    Image image;
    for (const Value& item : *list) {
        const Dictionary* entry = item.asDictionary();
        if (!entry) return std::nullopt;
        const Value* formatValue = entry->objectForKey("format");
        const std::string* format = formatValue ? formatValue->asString() : nullptr;
        const Value* wide = entry->objectForKey("pixelsWide");
        const Value* high = entry->objectForKey("pixelsHigh");
        const Value* data = entry->objectForKey("data");
        if (!format || format->empty() || !wide || !wide->isInteger() || !high || !high->isInteger() || !data ||
            !data->asData())
            return std::nullopt;
        auto side = [](const Value& v) -> std::optional<std::uint32_t> {
            std::int64_t n = v.integerValue();
            if (n <= 0 || n > static_cast<std::int64_t>(UINT32_MAX)) return std::nullopt;
            return static_cast<std::uint32_t>(n);
        };
        auto w = side(*wide), h = side(*high);
        if (!w || !h) return std::nullopt;
        image.addRepresentation({*format, *w, *h, *data->asData()});
    }
    return image;
}

}  // namespace kq
