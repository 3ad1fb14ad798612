// Any text read as an upload's record is taken, refused or refused by an exception that its caller handles; what was
// taken and written again reads the same.
#include <cstdint>
#include <exception>
#include <string>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/logging/type_convert.h"
#include "tests/fuzz/platform/require.h"
#include "upload/fragment_record.h"
#include "upload/plan_parser.h"

// What stands beside the readers in their files is not under test.
namespace Drive {

void SyncPanelLog::WriteErrorLog(const std::string&, const std::string&, const std::string&) {}

namespace SQLiteDB {

SQLiteDB::SQLiteDB(const bool& shared) : shared(shared) {}
bool SQLiteDB::UpdateTaskItem(const UpdateDBInfo&, int) { return shared; }
std::pair<std::wstring, std::wstring> MakePair(const std::wstring& column, const std::wstring& value) {
    return {column, value};
}

}  // namespace SQLiteDB

}  // namespace Drive

namespace {

using Drive::Common::FragmentInfo;
using Drive::Common::UploadStartInfo;
using namespace Drive::TransferService;

bool Same(const FragmentInfo& left, const FragmentInfo& right) {
    return left.objectId == right.objectId && left.length == right.length && left.synckey == right.synckey &&
           left.time == right.time && left.status == right.status;
}

/// Numbers pass through a double, so only those that it holds come back whole.
bool IsExact(std::int64_t number) { return number > -(std::int64_t{1} << 53) && number < (std::int64_t{1} << 53); }

void CheckWrittenAgain(const UploadStartInfo& info) {
    UploadStartInfo again;
    ZELKOR_REQUIRE(ReadStartRecord(Drive::TypeConvert::WStringToString(WriteFragmentRecord(info)), again));
    ZELKOR_REQUIRE(again.GetUploadType() == info.GetUploadType());
    ZELKOR_REQUIRE(again.GetBucketId() == info.GetBucketId());
    ZELKOR_REQUIRE(again.GetRecordCursor() == info.GetRecordCursor());
    ZELKOR_REQUIRE(again.GetUploadUrl() == info.GetUploadUrl());
    ZELKOR_REQUIRE(again.GetItemcount() == info.GetFragmentInfos().size());
    ZELKOR_REQUIRE(!IsExact(info.GetVersion()) || again.GetVersion() == info.GetVersion());
    for (std::size_t index = 0; index < info.GetFragmentInfos().size(); ++index) {
        const FragmentInfo& before = info.GetFragmentInfos()[index];
        ZELKOR_REQUIRE(!IsExact(before.length) || Same(again.GetFragmentInfos()[index], before));
    }
}

/// A text that JSON can carry: the records of the cloud are UTF-8, and a stray byte is refused when they are written.
bool IsWhole(const UploadStartInfo& info) {
    for (const std::wstring* text :
         {&info.GetUploadType(), &info.GetBucketId(), &info.GetRecordCursor(), &info.GetUploadUrl()}) {
        for (const wchar_t element : *text) {
            if (element >= 0xD800 && element <= 0xDFFF) return false;
        }
    }
    for (const FragmentInfo& fragment : info.GetFragmentInfos()) {
        for (const std::wstring* text : {&fragment.objectId, &fragment.synckey, &fragment.time}) {
            for (const wchar_t element : *text) {
                if (element >= 0xD800 && element <= 0xDFFF) return false;
            }
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    UploadStartInfo info;
    bool taken = false;
    try {
        taken = ReadStartRecord(std::string(reinterpret_cast<const char*>(data), size), info);
    } catch (const std::exception&) {
        return 0;
    }
    if (taken && IsWhole(info)) CheckWrittenAgain(info);
    return 0;
}
