#include "server_upload/file_stream.h"

#include <cpprest/containerstream.h>

#include <exception>
#include <system_error>
#include <utility>

#include "interfaces/logging/type_convert.h"
#include "interfaces/platform/native_path.h"
#include "service/shared/background_task.h"

namespace Drive::TransferService {

namespace {

/// Passes the failure being handled on as an error that names the file. The stream library throws the pointer to a
/// failure in place of the failure, at times the pointer to such a pointer; no handler of exceptions would see those.
[[noreturn]] void ThrowNamed(const char* did, const std::wstring& path) {
    for (std::exception_ptr failure = std::current_exception();;) {
        try {
            std::rethrow_exception(failure);
        } catch (const std::exception_ptr& inner) {
            failure = inner;
        } catch (const std::system_error& error) {
            throw std::system_error(error.code(),
                                    std::string("could not ") + did + " " + TypeConvert::WStringToString(path));
        }
    }
}

}  // namespace

pplx::task<ContentStream> OpenContentStream(const std::wstring& path) {
    try {
        return concurrency::streams::file_stream<char>::open_istream(Platform::NativePath(path), std::ios_base::in)
            .then(
                [path](const pplx::task<ContentStream>& opened) {
                    try {
                        return opened.get();
                    } catch (...) {
                        ThrowNamed("open", path);
                    }
                },
                BackgroundTaskOptions());
    } catch (...) {
        return pplx::task_from_exception<ContentStream>(std::current_exception());
    }
}

std::string ReadToEnd(const ContentStream& stream, const std::wstring& path) {
    try {
        concurrency::streams::container_buffer<std::string> buffer;
        stream.read_to_end(buffer).get();
        return std::move(buffer.collection());
    } catch (...) {
        ThrowNamed("read", path);
    }
}

std::string ReadSlice(const ContentStream& stream, const std::wstring& path, std::uint64_t position,
                      std::uint64_t length) {
    try {
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
    } catch (...) {
        ThrowNamed("read", path);
    }
}

}  // namespace Drive::TransferService
