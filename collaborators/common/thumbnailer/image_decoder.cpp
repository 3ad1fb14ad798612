#include <vips/vips.h>

#include <memory>

#include "collaborators/common/thumbnailer/decoders.h"

namespace Drive::Common::Thumbnailer {

namespace {

constexpr int kQuality = 80;

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
using Source = std::unique_ptr<VipsSource, Unref>;
using Image = std::unique_ptr<VipsImage, Unref>;

Image Shrink(VipsSource* source, int side) {
    VipsImage* image = nullptr;
    vips_thumbnail_source(source, &image, side, "height", side, "size", VIPS_SIZE_DOWN, "export_profile", "srgb",
                          nullptr);
    return Image(image);
}

/// JPEG knows no transparency.
Image OnWhite(Image image) {
    if (!image || !vips_image_hasalpha(image.get())) {
        return image;
    }
    const std::unique_ptr<VipsArrayDouble, void (*)(VipsArrayDouble*)> white(
        vips_array_double_newv(1, 255.0), [](VipsArrayDouble* area) { vips_area_unref(VIPS_AREA(area)); });
    VipsImage* flat = nullptr;
    vips_flatten(image.get(), &flat, "background", white.get(), nullptr);
    return Image(flat);
}

Jpeg Encode(VipsImage* image) {
    void* bytes = nullptr;
    std::size_t length = 0;
    if (vips_jpegsave_buffer(image, &bytes, &length, "Q", kQuality, "strip", TRUE, "optimize_coding", TRUE, nullptr) !=
        0) {
        return {};
    }
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    Jpeg jpeg(first, first + length);
    g_free(bytes);
    return jpeg;
}

}  // namespace

bool PrepareImages(const char* program) {
    if (VIPS_INIT(program) != 0) {
        return false;
    }
    vips_block_untrusted_set(TRUE);
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    return true;
}

Jpeg ImageToJpeg(int input, int side, std::string& reason) {
    const Source source(vips_source_new_from_descriptor(input));
    const Image image = source ? OnWhite(Shrink(source.get(), side)) : nullptr;
    Jpeg jpeg = image ? Encode(image.get()) : Jpeg();
    if (jpeg.empty()) {
        reason = vips_error_buffer();
    }
    return jpeg;
}

}  // namespace Drive::Common::Thumbnailer
