#include "tests/contract/common/test_pictures.h"

#include <vips/vips.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace Drive::Common::Trial {

namespace {

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
using Image = std::unique_ptr<VipsImage, Unref>;

Image Slope(int width, int height, bool withAlpha) {
    VipsImage* coordinates = nullptr;
    VipsImage* scaled = nullptr;
    VipsImage* bands = nullptr;
    VipsImage* result = nullptr;
    vips_xyz(&coordinates, width, height, nullptr);
    vips_linear1(coordinates, &scaled, 255.0 / (width > height ? width : height), 0, "uchar", TRUE, nullptr);
    vips_bandjoin_const1(scaled, &bands, 128, nullptr);
    if (withAlpha) {
        VipsImage* clear = nullptr;
        vips_bandjoin_const1(bands, &clear, 0, nullptr);
        g_object_unref(bands);
        bands = clear;
    }
    vips_copy(bands, &result, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr);
    g_object_unref(coordinates);
    g_object_unref(scaled);
    g_object_unref(bands);
    return Image(result);
}

std::string Saved(VipsImage* image, const std::string& suffix) {
    void* bytes = nullptr;
    std::size_t length = 0;
    if (vips_image_write_to_buffer(image, suffix.c_str(), &bytes, &length, nullptr) != 0) {
        std::abort();
    }
    std::string result(static_cast<const char*>(bytes), length);
    g_free(bytes);
    return result;
}

std::string Number(std::uint32_t value) {
    std::string bytes(4, '\0');
    std::memcpy(bytes.data(), &value, 4);
    return bytes;
}

std::string Chunk(const std::string& name, const std::string& content) {
    return name + Number(static_cast<std::uint32_t>(content.size())) + content +
           (content.size() % 2 != 0 ? std::string(1, '\0') : "");
}

std::string List(const std::string& kind, const std::string& content) { return Chunk("LIST", kind + content); }

}  // namespace

void PreparePictures(const char* program) {
    if (VIPS_INIT(program) != 0) {
        std::abort();
    }
}

void EndPictures() { vips_shutdown(); }

std::string Picture(int width, int height, const std::string& suffix, bool withAlpha) {
    return Saved(Slope(width, height, withAlpha).get(), suffix);
}

std::string TurnedJpeg(int width, int height) {
    const Image image = Slope(width, height, false);
    vips_image_set_int(image.get(), VIPS_META_ORIENTATION, 6);
    return Saved(image.get(), ".jpg");
}

std::string Video(int width, int height) {
    constexpr std::uint32_t kFrames = 25;
    const auto wide = static_cast<std::uint32_t>(width);
    const auto high = static_cast<std::uint32_t>(height);
    const std::string frame = Picture(width, height, ".jpg");
    const auto bytes = static_cast<std::uint32_t>(frame.size());
    const std::string mainHeader = Number(40000) + Number(bytes * 25) + Number(0) + Number(0x10) + Number(kFrames) +
                                   Number(0) + Number(1) + Number(bytes) + Number(wide) + Number(high) +
                                   std::string(16, '\0');
    const std::string streamHeader = std::string("vidsMJPG") + Number(0) + Number(0) + Number(0) + Number(1) +
                                     Number(25) + Number(0) + Number(kFrames) + Number(bytes) + Number(10000) +
                                     Number(0) + Number(0) + Number(wide | high << 16);
    const std::string format = Number(40) + Number(wide) + Number(high) + Number(1 | 24U << 16) + "MJPG" +
                               Number(wide * high * 3) + std::string(16, '\0');
    std::string frames;
    std::string index;
    for (std::uint32_t number = 0; number < kFrames; ++number) {
        index += "00dc" + Number(0x10) + Number(static_cast<std::uint32_t>(4 + frames.size())) + Number(bytes);
        frames += Chunk("00dc", frame);
    }
    const std::string header =
        List("hdrl", Chunk("avih", mainHeader) + List("strl", Chunk("strh", streamHeader) + Chunk("strf", format)));
    return Chunk("RIFF", "AVI " + header + List("movi", frames) + Chunk("idx1", index));
}

Seen Look(const std::string& jpeg) {
    VipsImage* opened = nullptr;
    Seen seen;
    if (!jpeg.starts_with("\xFF\xD8") ||
        vips_jpegload_buffer(const_cast<char*>(jpeg.data()), jpeg.size(), &opened, nullptr) != 0) {
        return seen;
    }
    const Image image(opened);
    double* pixel = nullptr;
    int bands = 0;
    if (vips_getpoint(image.get(), &pixel, &bands, 0, 0, nullptr) == 0) {
        seen = {true, vips_image_get_width(image.get()), vips_image_get_height(image.get()),
                static_cast<int>(pixel[0])};
        g_free(pixel);
    }
    return seen;
}

}  // namespace Drive::Common::Trial
