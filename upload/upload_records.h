#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/common/completion_models.h"
#include "interfaces/common/file_item.h"
#include "interfaces/common/upload_plan.h"

namespace Drive::TransferService {

/// All that is needed to produce and deliver one object. A plain value, private to one attempt.
struct UPLOAD_OBJECT_CONTEXT {
    std::wstring taskId;                             ///< in decimal
    Common::FragmentInfo fragment;                   ///< the object to send
    std::vector<unsigned char> sliceData;            ///< carried along, never filled
    Common::FileItem fileItem;                       ///< copy of the file's item, with its keyed digest
    std::vector<Common::Attributes> attachmentList;  ///< carried along, stays empty
    std::int64_t sliceSize = 0;                      ///< plain bytes an object, from the plan
    bool isAttachment = false;                       ///< the object holds the attachments instead of file bytes
    std::wstring bucketId;                           ///< from the plan; may be empty
    std::wstring recordCursor;                       ///< from the plan
};

/// What became of one object.
struct UPLOAD_REAULT_CONTEXT {
    std::wstring objectId;         ///< set once the store took the object
    std::wstring reservedText1;    ///< never set
    std::wstring reservedText2;    ///< never set
    std::wstring bucketId;         ///< where it went; set together with `objectId`
    bool uploadSucceeded = false;  ///< stored, and confirmed by the cloud
    bool persistFragment = true;   ///< the caller writes the record back; false after the record was dropped
};

}  // namespace Drive::TransferService
