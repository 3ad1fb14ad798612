#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/upload/upload_bench.h"

namespace Drive::Testing {

/// A file proxy behind the scripted cloud that keeps what the engine sends and holds it to the hash of the start: 308
/// for a slice that was kept, 200 with an id for the last one, 409 when the content is another than the start said.
class ProxyBench : public UploadBench {
protected:
    ProxyBench();

    /// Ten mebibytes, the smallest file that goes slice by slice: three slices.
    static constexpr std::size_t kLarge = 10485760;
    static constexpr std::int64_t kSlice = 4194304;

    void GiveFile(std::size_t size, unsigned kind = 1);

    /// What the engine wrote of the outcome: "Success", "failure", ...
    std::string Outcome() const;
    /// Ends of error lines and statistics, without the path's own first statistics and Common's lines.
    Texts ProxyReports() const;

    bool UploadProxy(const std::wstring& url, HttpInterface::InterfaceName operation, const std::string& raw,
                     const std::string& text, const WMap& headers, WMap& result);

    std::string original;
    std::string held;       ///< of the running upload
    std::string completed;  ///< content that the proxy took for a file
    std::string startHash;  ///< as the start said
    std::string positions;  ///< first bytes of all slices: "0 4194304 "
    int openings = 0;
    int requests = 0;
    bool givesUrlAtStart = false;  ///< the start names the resume URL beside the position
};

}  // namespace Drive::Testing
