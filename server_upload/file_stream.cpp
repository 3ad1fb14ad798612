#include "server_upload/file_stream.h"

#include <cpprest/containerstream.h>

#include <exception>
#include <utility>

#include "interfaces/platform/native_path.h"

namespace Drive::TransferService {

pplx::task<ContentStream> OpenContentStream(const std::wstring& path) {
    try {
        return concurrency::streams::file_stream<char>::open_istream(Platform::NativePath(path), std::ios_base::in);
    } catch (...) {
        return pplx::task_from_exception<ContentStream>(std::current_exception());
    }
}

std::string ReadToEnd(const ContentStream& stream) {
    concurrency::streams::container_buffer<std::string> buffer;
    stream.read_to_end(buffer).get();
    return std::move(buffer.collection());
}

std::string ReadSlice(const ContentStream& stream, std::uint64_t position, std::uint64_t length) {
    std::string slice;
    stream.seek(static_cast<ContentStream::pos_type>(position));
    while (slice.size() < length) {
        concurrency::streams::container_buffer<std::string> buffer;
        const std::size_t count = stream.read(buffer, static_cast<std::size_t>(length - slice.size())).get();
        if (count == 0) break;
        buffer.collection().resize(count);
        if (slice.empty()) {
            slice = std::move(buffer.collection());
        } else {
            slice += buffer.collection();
        }
    }
    return slice;
}

}  // namespace Drive::TransferService
