#include <curl/curl.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "bench/upload/passes.h"

namespace Drive::Bench {

namespace {

struct FreeCurl {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Easy = std::unique_ptr<CURL, FreeCurl>;
using HeaderLines = std::unique_ptr<curl_slist, FreeCurl>;

/// The bytes of one object, given out or taken in.
struct Window {
    char* begin = nullptr;
    std::size_t size = 0;
    std::size_t done = 0;
};

std::size_t Give(char* data, std::size_t size, std::size_t count, void* self) {
    auto* window = static_cast<Window*>(self);
    const std::size_t length = std::min(size * count, window->size - window->done);
    std::memcpy(data, window->begin + window->done, length);
    window->done += length;
    return length;
}

std::size_t Take(char* data, std::size_t size, std::size_t count, void* self) {
    auto* window = static_cast<Window*>(self);
    if (window == nullptr) return size * count;
    const std::size_t length = size * count;
    if (length > window->size - window->done) return 0;
    std::memcpy(window->begin + window->done, data, length);
    window->done += length;
    return length;
}

void Perform(CURL* easy, const ObjectRequest& request) {
    HeaderLines lines(curl_slist_append(nullptr, "Expect:"));
    for (const std::string& header : request.headers) lines.reset(curl_slist_append(lines.release(), header.c_str()));
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, lines.get());
    curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
    const CURLcode code = curl_easy_perform(easy);
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    if (code != CURLE_OK || status != 200) {
        throw std::runtime_error("an object did not go through: status " + std::to_string(status) + ", " +
                                 curl_easy_strerror(code));
    }
}

Easy NewHandle() {
    Easy easy(curl_easy_init());
    if (!easy) throw std::runtime_error("no memory for a transfer");
    curl_easy_setopt(easy.get(), CURLOPT_PROXY, "");
    curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, Take);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, nullptr);
    return easy;
}

}  // namespace

std::vector<ObjectRequest> ReadRequests(const std::string& path) {
    std::ifstream file(path);
    std::vector<ObjectRequest> requests;
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        ObjectRequest request;
        std::string number;
        std::getline(fields, request.url, '\t');
        std::getline(fields, number, '\t');
        request.offset = std::stoull(number);
        std::getline(fields, number, '\t');
        request.length = std::stoull(number);
        for (std::string header; std::getline(fields, header, '\t');) request.headers.push_back(header);
        requests.push_back(request);
    }
    if (requests.empty()) throw std::runtime_error("no objects in " + path);
    return requests;
}

double Send(const std::string& objectsFile, const std::vector<ObjectRequest>& requests) {
    std::ifstream file(objectsFile, std::ios::binary);
    const Easy easy = NewHandle();
    curl_easy_setopt(easy.get(), CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_UPLOAD_BUFFERSIZE, 1024L * 1024);
    curl_easy_setopt(easy.get(), CURLOPT_READFUNCTION, Give);
    double seconds = 0;
    std::vector<char> bytes;
    for (const ObjectRequest& request : requests) {
        bytes.resize(request.length);
        file.seekg(static_cast<std::streamoff>(request.offset));
        if (!file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
            throw std::runtime_error("an object cannot be read");
        }
        Window window{bytes.data(), bytes.size(), 0};
        const double before = ProcessorSeconds();
        curl_easy_setopt(easy.get(), CURLOPT_READDATA, &window);
        curl_easy_setopt(easy.get(), CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.length));
        Perform(easy.get(), request);
        seconds += ProcessorSeconds() - before;
    }
    return seconds;
}

double Receive(const std::vector<ObjectRequest>& requests) {
    const Easy easy = NewHandle();
    curl_easy_setopt(easy.get(), CURLOPT_BUFFERSIZE, 512L * 1024);
    const double before = ProcessorSeconds();
    std::vector<char> bytes;
    for (const ObjectRequest& request : requests) {
        bytes.resize(request.length);
        Window window{bytes.data(), bytes.size(), 0};
        curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &window);
        Perform(easy.get(), request);
        if (window.done != request.length) throw std::runtime_error("an object came short");
    }
    return ProcessorSeconds() - before;
}

}  // namespace Drive::Bench
