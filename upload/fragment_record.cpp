#include "upload/fragment_record.h"

#include <cpprest/json.h>

#include <utility>
#include <vector>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/logging/type_convert.h"
#include "service/shared/codes.h"
#include "service/shared/row_update.h"
#include "upload/upload_task_manager.h"

namespace Drive::TransferService {

namespace {

web::json::value Text(const std::wstring& text) { return web::json::value::string(TypeConvert::WStringToString(text)); }

web::json::value FragmentValue(const Common::FragmentInfo& fragment) {
    web::json::value value = web::json::value::object();
    value["objectId"] = Text(fragment.objectId);
    value["length"] = web::json::value::number(fragment.length);
    value["synckey"] = Text(fragment.synckey);
    value["time"] = Text(fragment.time);
    value["status"] = web::json::value::boolean(fragment.status);
    return value;
}

}  // namespace

std::wstring WriteFragmentRecord(const Common::UploadStartInfo& info) {
    web::json::value record;
    record["uploadType"] = Text(info.GetUploadType());
    record["sliceSize"] = web::json::value::number(info.GetSliceSize());
    record["itemcount"] = web::json::value::number(info.GetItemcount());
    record["version"] = web::json::value::number(info.GetVersion());
    record["uploadUrl"] = Text(info.GetUploadUrl());
    record["bucketId"] = Text(info.GetBucketId());
    record["position"] = web::json::value::number(info.GetPosition());
    record["recordCursor"] = Text(info.GetRecordCursor());
    std::vector<web::json::value> items;
    for (const Common::FragmentInfo& fragment : info.GetFragmentInfos()) items.push_back(FragmentValue(fragment));
    record["items"] = web::json::value::array(std::move(items));
    return TypeConvert::StringToWString(record.serialize());
}

void UpLoadTaskManger::updateTaskFragmentinfo(const Common::UploadStartInfo& info, const std::wstring& fileId) {
    SQLiteDB::SQLiteDB::GetInstance().UpdateTaskItem(
        RowUpdate(fileId, {SQLiteDB::MakePair(L"fragmentInfo", WriteFragmentRecord(info))}), kDirectionUpload);
}

}  // namespace Drive::TransferService
