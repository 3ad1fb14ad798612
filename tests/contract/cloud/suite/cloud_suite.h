#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "tests/contract/cloud/suite/cloud_behind.h"

/// What the cases of the suite share. They know the headers and CloudBehind alone.
namespace Drive::Testing {

class CloudSuite : public testing::Test {
protected:
    std::unique_ptr<CloudBehind> cloud = CloudBehind::Begin();
};

/// An operation that fills a result map, called for a file.
struct MappedCall {
    const char* name;       ///< for the test's own name
    const char* operation;  ///< as the contract names it
    bool completes;         ///< a success makes the file complete
    bool (*call)(CloudBehind& cloud, const std::wstring& fileId, WMap& result);
};
std::ostream& operator<<(std::ostream& out, const MappedCall& call);

/// All of them; FileproxyUpload once for each of its operations, a slice as the last one of its file.
const std::vector<MappedCall>& MappedCalls();
/// Those whose success makes the file complete.
std::vector<MappedCall> CompletingCalls();
/// One slice at `position` of a file of `total` bytes.
bool SendSlice(CloudBehind& cloud, const std::wstring& fileId, std::uint64_t position, const std::string& bytes,
               std::uint64_t total, WMap& result);

Common::FileItem FileWithId(const std::wstring& fileId);

/// The value under a key, "(absent)" when there is none.
std::wstring ValueOf(const WMap& map, const wchar_t* key);

/// A null when it is no JSON.
Json::Value ParsedJson(const std::string& text);

/// Bytes that repeat nowhere near themselves, 9 MiB at most.
std::string SomeBytes(std::size_t size);

}  // namespace Drive::Testing
