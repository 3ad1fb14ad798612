#include <json/value.h>
#include <json/writer.h>

#include "interfaces/logging/type_convert.h"
#include "server_upload/server_upload.h"

namespace Drive::TransferService {

bool ServerUpload::buildUploadMetadata(const Common::FileItem& file, std::string& metadata) {
    Json::Value record;
    record["fileName"] = TypeConvert::WStringToString(file.GetLocalFileName());
    record["mimeType"] = TypeConvert::WStringToString(file.GetMimeType());
    // An array of one, unlike the other three.
    record["parentFolder"].append(TypeConvert::WStringToString(file.GetLocalParentId()));
    record["sha256"] = TypeConvert::WStringToString(file.GetLocalFileSha256());
    Json::FastWriter writer;
    metadata = writer.write(record);
    return true;
}

}  // namespace Drive::TransferService
