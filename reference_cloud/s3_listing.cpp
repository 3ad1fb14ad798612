#include "reference_cloud/s3_listing.h"

#include <glib.h>

#include <memory>
#include <stdexcept>

namespace Drive::ReferenceCloud {

namespace {

struct Reading {
    S3Listing listing;
    std::vector<std::string> open;  ///< elements around the present place
    std::string token;
    std::string truncated;
};

void Begin(GMarkupParseContext*, const gchar* name, const gchar**, const gchar**, gpointer state, GError**) {
    auto& reading = *static_cast<Reading*>(state);
    reading.open.emplace_back(name);
    if (reading.open.size() == 3 && reading.open[1] == "Contents" && reading.open[2] == "Key") {
        reading.listing.keys.emplace_back();
    }
}

void End(GMarkupParseContext*, const gchar*, gpointer state, GError**) {
    static_cast<Reading*>(state)->open.pop_back();
}

void Text(GMarkupParseContext*, const gchar* text, gsize length, gpointer state, GError**) {
    auto& reading = *static_cast<Reading*>(state);
    const auto& open = reading.open;
    const std::string piece(text, length);
    if (open.size() == 3 && open[1] == "Contents" && open[2] == "Key") reading.listing.keys.back() += piece;
    if (open.size() == 2 && open[1] == "NextContinuationToken") reading.token += piece;
    if (open.size() == 2 && open[1] == "IsTruncated") reading.truncated += piece;
    if (open.empty() || open[0] != "ListBucketResult") reading.truncated = "no list";
}

}  // namespace

S3Listing ReadS3Listing(const std::string& xml) {
    Reading reading;
    const GMarkupParser parser{Begin, End, Text, nullptr, nullptr};
    const std::unique_ptr<GMarkupParseContext, void (*)(GMarkupParseContext*)> context(
        g_markup_parse_context_new(&parser, static_cast<GMarkupParseFlags>(0), &reading, nullptr),
        g_markup_parse_context_unref);
    const bool whole =
        g_markup_parse_context_parse(context.get(), xml.data(), static_cast<gssize>(xml.size()), nullptr) &&
        g_markup_parse_context_end_parse(context.get(), nullptr);
    const bool more = reading.truncated == "true";
    if (!whole || (!more && reading.truncated != "false") || (more && reading.token.empty())) {
        throw std::runtime_error("the object store's list of its objects cannot be read");
    }
    if (more) reading.listing.next = reading.token;
    return std::move(reading.listing);
}

}  // namespace Drive::ReferenceCloud
