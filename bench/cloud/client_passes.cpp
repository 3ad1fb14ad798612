// What the shipped cloud library costs by itself: objects out of files to a store, or one content to a receiver that
// drops it. Tells the processor time of its whole process, user and system, and the most memory that it held.
//
//   zelkor_client_passes put BASE REQUESTS     lines of tab-separated fields: url, file, headers ("Name: value")
//   zelkor_client_passes get BASE URL [TOKEN]
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "interfaces/cloud/drive_account.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/logging/type_convert.h"

namespace {

using Drive::TypeConvert;
using Drive::Cloud::DriveAccount;
using Drive::Cloud::FileTransRequest;

std::wstring Wide(const std::string& text) { return TypeConvert::StringToWString(text); }

std::vector<unsigned char> ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) throw std::runtime_error("cannot read " + path);
    std::vector<unsigned char> bytes(static_cast<std::size_t>(file.tellg()));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

std::uint64_t Put(const std::string& requests) {
    std::ifstream lines(requests);
    std::uint64_t moved = 0;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string url, path;
        std::getline(fields, url, '\t');
        std::getline(fields, path, '\t');
        Drive::WMap headers, answered;
        for (std::string header; std::getline(fields, header, '\t');) {
            const std::size_t colon = header.find(": ");
            headers[Wide(header.substr(0, colon))] = Wide(header.substr(colon + 2));
        }
        const std::vector<unsigned char> body = ReadFile(path);
        std::string text;
        if (!FileTransRequest::UploadRequest(Wide(url), headers, L"PUT", body, answered, text)) {
            throw std::runtime_error("an object was not taken: " + url);
        }
        moved += body.size();
    }
    return moved;
}

std::uint64_t Get(const std::string& url, const std::string& token) {
    std::uint64_t moved = 0;
    FileTransRequest request;
    request.receiveDownloadFileCallBackFun([&](const unsigned char*, const std::int64_t& length) {
        moved += static_cast<std::uint64_t>(length);
        return true;
    });
    Drive::WMap headers;
    if (!token.empty()) headers[L"Authorization"] = Wide("Bearer " + token);
    const int status = FileTransRequest::DownloadCloudFileRequest(Wide(url), headers, &request);
    if (status != 200) throw std::runtime_error("the content did not come: " + std::to_string(status));
    return moved;
}

/// The most that this program's own image held; what getrusage tells still has the memory of whoever started it.
double MostMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (double kilobytes = 0; word == "VmHWM:" && status >> kilobytes) return kilobytes / 1024;
    }
    return 0;
}

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

int main(int count, char** arguments) try {
    const std::vector<std::string> given(arguments + 1, arguments + count);
    if (given.size() < 3) throw std::runtime_error("usage: zelkor_client_passes put|get BASE WHAT [TOKEN]");
    Drive::Cloud::CloudSettings settings;
    settings.baseUrl = Wide(given[1]);
    DriveAccount::Configure(settings);
    const std::uint64_t moved = given[0] == "put" ? Put(given[2]) : Get(given[2], given.size() > 3 ? given[3] : "");
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("{\"bytes\": %llu, \"cpu_s\": %.4f, \"most_memory_mib\": %.1f}\n",
                static_cast<unsigned long long>(moved), Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
                MostMemory());
    std::fflush(stdout);
    std::_Exit(0);
} catch (const std::exception& error) {
    std::cerr << "zelkor_client_passes: " << error.what() << std::endl;
    return 1;
}
