#include <utility>

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/cloud_file.h"
#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/text.h"
#include "collaborators/cloud/user_space.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"

namespace Drive::Cloud {

namespace {

CallOutcome FailedInside() {
    CallOutcome outcome;
    outcome.message = "The call could not be made. Look into the log, then try again.";
    return outcome;
}

CallOutcome NoId() {
    CallOutcome outcome;
    outcome.message = "There is no id of the file to ask for. Look it up in the cloud's list first.";
    return outcome;
}

/// A call on one file of the cloud, below its id.
template <typename Fill>
CallOutcome CallOnFile(const char* call, const char* method, const std::wstring& fileId, const char* suffix,
                       CloudFile& file, Fill&& fill) {
    return Guarded(call, FailedInside(), [&] {
        if (fileId.empty()) return NoId();
        const SpaceChanges changes;
        ControlRequest request;
        request.call = call;
        request.method = method;
        request.route = FilePath(fileId, suffix);
        fill(request.body);
        return CallForFile(request, file);
    });
}

CallOutcome Create(const char* call, const char* route, const std::wstring& parentId, const std::wstring& name,
                   CloudFile& file) {
    return Guarded(call, FailedInside(), [&] {
        const SpaceChanges changes;
        ControlRequest request;
        request.call = call;
        request.method = "POST";
        request.route = route;
        request.body[Wire::kFileName] = WireName(name);
        request.body[Wire::kParentFolder] = JsonText(parentId);
        return CallForFile(request, file);
    });
}

}  // namespace

CallOutcome DriveAccount::Get(const std::wstring& fileId, CloudFile& file) {
    return Guarded("Get", FailedInside(), [&] {
        if (fileId.empty()) return NoId();
        ControlRequest request;
        request.call = "Get";
        request.route = FilePath(fileId);
        return CallForFile(request, file);
    });
}

CallOutcome DriveAccount::Find(const std::wstring& parentId, const std::wstring& fileName, CloudFile& file) {
    return Guarded("Find", FailedInside(), [&] {
        ControlRequest request;
        request.call = "Find";
        request.route = std::string(Wire::kFindFile) + "?" + Wire::kParentFolder + "=" +
                        PercentEncode(Narrow(parentId)) + "&" + Wire::kFileName + "=" +
                        PercentEncode(WireName(fileName));
        return CallForFile(request, file);
    });
}

CallOutcome DriveAccount::CreateFolder(const std::wstring& parentId, const std::wstring& name, CloudFile& folder) {
    return Create("CreateFolder", Wire::kFolders, parentId, name, folder);
}

CallOutcome DriveAccount::CreateEmptyFile(const std::wstring& parentId, const std::wstring& name, CloudFile& file) {
    return Create("CreateEmptyFile", Wire::kEmptyFiles, parentId, name, file);
}

CallOutcome DriveAccount::Rename(const std::wstring& fileId, const std::wstring& newName, CloudFile& file) {
    return CallOnFile("Rename", "POST", fileId, Wire::kRenameSuffix, file,
                      [&](Json::Value& body) { body[Wire::kFileName] = WireName(newName); });
}

CallOutcome DriveAccount::Move(const std::wstring& fileId, const std::wstring& newParentId, CloudFile& file) {
    return CallOnFile("Move", "POST", fileId, Wire::kMoveSuffix, file,
                      [&](Json::Value& body) { body[Wire::kParentFolder] = JsonText(newParentId); });
}

CallOutcome DriveAccount::Restore(const std::wstring& fileId, CloudFile& file) {
    return CallOnFile("Restore", "POST", fileId, Wire::kRestoreSuffix, file,
                      [](Json::Value& body) { body = Json::Value(Json::objectValue); });
}

CallOutcome DriveAccount::Delete(const std::wstring& fileId) {
    return Guarded("Delete", FailedInside(), [&] {
        if (fileId.empty()) return NoId();
        const SpaceChanges changes;
        ControlRequest request;
        request.call = "Delete";
        request.method = "DELETE";
        request.route = FilePath(fileId);
        return OutcomeOf(CallCloud(request));
    });
}

}  // namespace Drive::Cloud
