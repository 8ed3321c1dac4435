#include "KQFoundation/Graphics/Image.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <stb_image_write.h>
#include <webp/encode.h>

#include <string>
#include <tuple>

#include "Support/TemporaryDirectory.h"

namespace {

using kq::Data;
using namespace std::string_view_literals;

void append(void* context, void* bytes, int size) {
    auto* out = static_cast<Data*>(context);
    auto* p = static_cast<const std::uint8_t*>(bytes);
    out->insert(out->end(), p, p + size);
}

Data raster(const char* format, int w, int h) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(w * h * 4), 0x80);
    Data out;
    if (std::string(format) == "png") stbi_write_png_to_func(append, &out, w, h, 4, pixels.data(), w * 4);
    if (std::string(format) == "jpeg") stbi_write_jpg_to_func(append, &out, w, h, 4, pixels.data(), 90);
    if (std::string(format) == "bmp") stbi_write_bmp_to_func(append, &out, w, h, 4, pixels.data());
    if (std::string(format) == "webp") {
        std::uint8_t* encoded = nullptr;
        std::size_t size = WebPEncodeLosslessRGBA(pixels.data(), w, h, w * 4, &encoded);
        out.assign(encoded, encoded + size);
        WebPFree(encoded);
    }
    return out;
}

Data bytes(std::string_view text) { return Data(text.begin(), text.end()); }

// A 3x2 GIF: header, logical screen, one image descriptor, a tiny LZW stream.
const Data kGIF = {'G', 'I', 'F', '8', '9', 'a', 3, 0, 2, 0, 0, 0, 0, 0x2C, 0, 0, 0, 0, 3, 0, 2, 0, 0,
                   2, 2, 0x44, 0x01, 0, 0x3B};

TEST(Image, RasterFormatsGiveTheirFormatAndSizeAndSVGItsDeclaredSize) {
    for (const char* format : {"png", "jpeg", "bmp", "webp"}) {
        auto image = kq::Image::imageWithData(raster(format, 5, 3));
        ASSERT_TRUE(image) << format;
        ASSERT_EQ(image->representations().size(), 1u);
        const auto& r = image->representations()[0];
        EXPECT_EQ(std::tie(r.format, r.pixelsWide, r.pixelsHigh, r.bytes), std::make_tuple(format, 5u, 3u, raster(format, 5, 3)));
    }
    const auto gif = kq::Image::imageWithData(kGIF).value().representations().at(0);
    EXPECT_EQ(std::tie(gif.format, gif.pixelsWide), std::make_tuple("gif", 3u));

    struct Case {
        const char* text;
        std::uint32_t w, h;
    } cases[] = {
        {"<svg xmlns='http://www.w3.org/2000/svg' width='48' height='32px'/>", 48, 32},
        {"<?xml version='1.0'?>\n<svg viewBox='0 0 16 24'><rect/></svg>", 16, 24},
        {"<svg width='100%' height='100%' viewBox='0,0,10.5,7'/>", 11, 7},
        {"<svg width='20' viewBox='0 0 10 5'/>", 20, 10},
        {"<svg height='10em' width='8' viewBox='0 0 4 8'/>", 8, 16},
    };
    for (const auto& c : cases) {
        auto image = kq::Image::imageWithData(bytes(c.text));
        ASSERT_TRUE(image) << c.text;
        const auto& r = image->representations()[0];
        EXPECT_EQ(std::tie(r.format, r.pixelsWide, r.pixelsHigh), std::make_tuple("svg", c.w, c.h)) << c.text;
    }
}

TEST(Image, WhatIsNotAnImageGivesNothing) {
    Data png = raster("png", 4, 4);
    Data cutPNG(png.begin(), png.begin() + 12);
    Data zeroWide = kGIF;
    zeroWide[6] = 0;
    Data webpHeaderOnly = bytes("RIFF\x10\0\0\0WEBPVP8 "sv);
    for (const Data& data : {Data{}, bytes("hello"), bytes("BM"), cutPNG, zeroWide, webpHeaderOnly,
                             bytes("<html><body/></html>"), bytes("<svg width='0' height='4'/>"),
                             bytes("<svg/>"), bytes("<svg width='4' height='4'"),
                             bytes("<x:svg xmlns:x='urn:other' width='4' height='4'/>"), bytes("icns\0\0\0\x08"sv)})
        EXPECT_FALSE(kq::Image::imageWithData(data)) << std::string(data.begin(), data.end());

    kqtest::TemporaryDirectory tmp;
    ASSERT_EQ(mkfifo((tmp / "fifo.png").c_str(), 0600), 0);  // never blocks on a fifo
    for (const std::string& path : {tmp / "missing.png", tmp.makeDirectory("folder.png"), std::string(), tmp / "fifo.png"})
        EXPECT_FALSE(kq::Image::imageWithContentsOfFile(path)) << path;
}

TEST(Image, FilesAndIconFamilies) {
    kqtest::TemporaryDirectory tmp;
    Data small = raster("png", 16, 16), large = raster("png", 32, 32);
    std::string file = tmp.writeFile("icon.png", std::string(small.begin(), small.end()));
    tmp.makeSymlink("link.png", file);
    for (const char* name : {"icon.png", "link.png"})
        EXPECT_EQ(kq::Image::imageWithContentsOfFile(tmp / name).value().representations().at(0).bytes, small) << name;

    // Two PNG entries, one old bitmap entry in between, and a trailing
    // entry whose length runs past the end.
    Data icns = bytes("icns\0\0\0\0"sv);
    auto entry = [&](const char* type, const Data& data) {
        std::uint32_t length = static_cast<std::uint32_t>(data.size() + 8);
        icns.insert(icns.end(), type, type + 4);
        for (int shift : {24, 16, 8, 0}) icns.push_back(static_cast<std::uint8_t>(length >> shift));
        icns.insert(icns.end(), data.begin(), data.end());
    };
    entry("icp4", small);
    entry("is32", Data(40, 7));
    entry("ic07", large);
    icns.insert(icns.end(), {'i', 'c', '0', '8', 0x7f, 0, 0, 0});
    for (int i = 0; i < 4; ++i) icns[4 + i] = static_cast<std::uint8_t>(icns.size() >> (24 - 8 * i));
    const auto family = kq::Image::imageWithData(icns).value().representations();
    ASSERT_EQ(family.size(), 2u);
    EXPECT_EQ(std::tie(family[1].pixelsWide, family[1].bytes), std::make_tuple(32u, large));
}

TEST(Image, PropertyListRoundTripAndRejectsMalformedLists) {
    kq::Image image = *kq::Image::imageWithData(raster("png", 2, 3));
    image.addRepresentations(image);
    image.addRepresentations(*kq::Image::imageWithData(bytes("<svg width='9' height='9'/>")));
    ASSERT_EQ(image.representations().size(), 3u);
    EXPECT_EQ(kq::Image::imageWithPropertyList(image.propertyList()), image);
    EXPECT_EQ(kq::Image::imageWithPropertyList(kq::Image().propertyList()), kq::Image());

    auto entry = [](kq::Value format, kq::Value w, kq::Value h, kq::Value data) {
        return kq::Value(kq::Array{kq::Dictionary{{"format", format}, {"pixelsWide", w}, {"pixelsHigh", h}, {"data", data}}});
    };
    kq::Data d{1, 2};
    for (const kq::Value& bad : {kq::Value("png"), kq::Value(kq::Array{kq::Value(1)}), entry(1, 2, 2, d),
                                 entry("png", 0, 2, d), entry("png", 2, -1, d), entry("png", 2, 5000000000LL, d),
                                 entry("png", 2.5, 2, d), entry("png", 2, 2, "text"), entry("", 2, 2, d)})
        EXPECT_FALSE(kq::Image::imageWithPropertyList(bad));
}

}  // namespace
