#include "reference_cloud/media_type.h"

#include <gio/gio.h>

namespace Drive::ReferenceCloud {

std::string MediaTypeOf(const std::string& fileName) {
    std::string type = "application/octet-stream";
    gboolean uncertain = FALSE;
    gchar* guess = g_content_type_guess(fileName.c_str(), nullptr, 0, &uncertain);
    gchar* mime = guess ? g_content_type_get_mime_type(guess) : nullptr;
    if (mime != nullptr) type = mime;
    g_free(mime);
    g_free(guess);
    return type;
}

}  // namespace Drive::ReferenceCloud
