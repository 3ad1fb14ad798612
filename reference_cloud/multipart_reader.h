#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Drive::ReferenceCloud {

/// Reads the two-part body of a multipart upload as it comes, holding no more than the metadata and a mark's length of
/// the content. Deliberate oddities of the form, read as they are: the line break is carriage return, line feed, blank;
/// there is no empty line between a part's header and its data; nothing follows the closing mark. The closing mark is
/// looked for at the very end only, so that the content may hold anything. One thread at a time.
class MultipartReader {
public:
    static constexpr std::string_view kLineBreak = "\r\n ";
    static constexpr std::size_t kMostMetadata = 64 * 1024;

    /// `content` gets the second part in pieces.
    MultipartReader(const std::string& boundary, std::function<void(std::string_view)> content);

    /// False when the body is not of this form; nothing more may be fed then.
    bool Feed(std::string_view bytes);
    /// True when the closing mark was the end of the body.
    bool Finish();

    /// The first part's data; complete when content has come or Finish is true.
    const std::string& Metadata() const { return metadata_; }

private:
    enum class State { opening, metadataHeader, metadata, contentHeader, content, broken };
    bool TakeOpening();
    bool TakeMetadata();
    bool TakeHeader(std::string_view wanted, State next);
    bool Step();
    void PassContent();

    const std::string opening_;
    const std::string middle_;
    const std::string closing_;
    const std::function<void(std::string_view)> content_;
    State state_ = State::opening;
    std::string held_;
    std::string metadata_;
};

/// The boundary of a "multipart/related;boundary=B" content type; nothing for any other type or a boundary that is
/// empty or longer than 200 characters.
std::optional<std::string> BoundaryOf(const std::string& contentType);

}  // namespace Drive::ReferenceCloud
