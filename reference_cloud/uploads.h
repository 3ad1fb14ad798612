#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

#include "reference_cloud/records.h"

namespace Drive::ReferenceCloud {

struct Cloud;
class Rows;

/// The rules of uploads. Each operation works inside the caller's transaction and throws Refusal.
namespace Uploads {

struct StartRequest {
    std::string fileId;  ///< empty for a new file
    std::string name;
    std::string parentId;
    std::int64_t size = 0;
    std::string sha256;
    std::string mimeType;
    std::vector<std::int64_t> attachments;
    std::string recordCursor;
    std::string keyDigest;  ///< empty when the client tells none
};

struct Plan {
    Upload upload;
    std::vector<StoredObject> objects;
    std::vector<std::string> dropped;  ///< blobs to remove when the transaction is through
};

/// Finds the open upload again, or plans a new one.
Plan Start(Rows& rows, const Cloud& cloud, const User& user, const StartRequest& request);

/// The open upload and its object; refuses with "start over".
struct PlannedPut {
    Upload upload;
    StoredObject object;
};
PlannedPut FindPlanned(Rows& rows, const User& user, const std::string& cursor, const std::string& objectId);

/// Notes that an object was told to be complete; refuses when it is not stored.
void Confirm(Rows& rows, const User& user, const std::string& cursor, const std::string& objectId, std::int64_t now);

/// Bytes that a server upload holds.
std::int64_t Held(Rows& rows, const Upload& upload);

/// Makes the file of a server upload out of its pieces, whose digests are given.
FileRow FinishServer(Rows& rows, const User& user, Upload upload, const std::string& sha256, const std::string& md5,
                     const std::string& mimeType, std::int64_t now);

}  // namespace Uploads

}  // namespace Drive::ReferenceCloud
