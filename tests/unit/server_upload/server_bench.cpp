#include "tests/unit/server_upload/server_bench.h"

#include <cstdlib>

namespace Drive::Testing {

using Proxied = HttpInterface::InterfaceName;

ProxyBench::ProxyBench() {
    cloud.objectsUploadStart.Always(
        [this](Common::FileItem&, const std::wstring& hash, const std::wstring&, std::wstring&) {
            if (Narrow(hash) != startHash) held.clear();
            startHash = Narrow(hash);
            const std::string url = givesUrlAtStart && !held.empty() ? "http://proxy/r" : "";
            return R"({"uploadType":"server","version":0,"uploadUrl":"http://proxy/up","position":)" +
                   std::to_string(held.size()) + R"(,"resumeUrl":")" + url + "\"}";
        });
    cloud.fileproxyUpload.Always([this](const std::wstring& url, const std::wstring&, Proxied operation,
                                        const std::string& raw, const std::string& text, WMap headers, WMap& result) {
        return UploadProxy(url, operation, raw, text, headers, result);
    });
}

void ProxyBench::GiveFile(std::size_t size, unsigned kind) {
    original = Content(size, kind);
    Give(L"Local-1", L"a.bin", original);
    held.clear();
    completed.clear();
    startHash.clear();
    positions.clear();
    openings = requests = 0;
}

bool ProxyBench::UploadProxy(const std::wstring& url, Proxied operation, const std::string& raw,
                             const std::string& text, const WMap& headers, WMap& result) {
    const auto finish = [&](const std::string& content) {
        const bool right = Sha256(content) == startHash;
        result[L"statuscode"] = right ? L"200" : L"409";
        held.clear();
        if (!right) return false;
        completed = content;
        result[L"id"] = L"cloud-1";
        return true;
    };
    ++requests;
    if (operation == Proxied::MultipartCreate) {
        const std::string head = "charset=UTF-8\r\n ";
        const std::size_t begin = text.rfind(head) + head.size();
        return finish(text.substr(begin, text.rfind("\r\n --") - begin));
    }
    if (operation != Proxied::ResumeSlice) {
        ++openings;
        result = {{L"statuscode", L"200"}, {L"resumeUrl", L"http://proxy/r"}, {L"sliceSize", std::to_wstring(kSlice)}};
        return true;
    }
    EXPECT_EQ(url, L"http://proxy/r");
    result[L"statuscode"] = L"404";
    if (raw.empty()) return false;
    const std::string range = Narrow(headers.at(L"Content-Range"));
    const std::size_t first = std::strtoull(range.c_str() + 6, nullptr, 10);
    const std::size_t total = std::strtoull(range.c_str() + range.find('/') + 1, nullptr, 10);
    positions += std::to_string(first) + " ";
    EXPECT_LE(first, held.size());
    held.resize(first);
    held += raw;
    if (held.size() == total) return finish(std::string(held));
    result[L"statuscode"] = L"308";
    return true;
}

std::string ProxyBench::Outcome() const {
    const std::string beginning = "UpLoadTaskManger.UploadThreadFunc:file upload task end ";
    std::string outcome = "none";
    for (const std::string& text : Journal::Texts(Kind::Trace)) {
        if (text.rfind(beginning, 0) != 0) continue;
        outcome = text.substr(beginning.size(), text.rfind(" fileid=") - beginning.size());
    }
    return outcome;
}

Texts ProxyBench::ProxyReports() const {
    Texts reports = Reports();
    std::erase_if(reports, [](const std::string& line) {
        return line.rfind("error FileHepler|", 0) == 0 || line.find("|file server upload.") != std::string::npos ||
               line.find("|ServerUpload::uploadFileWithServerType |") != std::string::npos;
    });
    return reports;
}

}  // namespace Drive::Testing
