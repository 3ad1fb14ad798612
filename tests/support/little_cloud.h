#pragma once

#include "tests/support/scripted_cloud.h"

/// What the control calls of the double answer when a test's script does not: see ScriptedCloud.
namespace Drive::Testing::LittleCloud {

using HttpInterface::InterfaceName;

std::string StartUpload(Common::FileItem& file, std::wstring& errorCode);
bool GiveUploadAddress(const Common::KelpAddressRequestModel& asked, Common::GetKelpAddressModel& answer, WMap& result);
bool Complete(const char* operation, const Common::FileItem& file, WMap& result);
bool Inquire(const Common::FileItem& file, WMap& result);
bool TakeByProxy(const std::wstring& fileId, InterfaceName operation, const std::string& raw, const std::string& text,
                 const WMap& headers, WMap& result);
bool TellContent(const std::wstring& fileId, Common::DownLoadAddressInfoModel& answer);
bool GiveDownloadAddress(const Common::KelpAddressRequestModel& asked, Common::DownloadKelpAddressInfo& answer);
std::int64_t TellSpace();
std::string TellPublicKey();
std::string TellKeys();

}  // namespace Drive::Testing::LittleCloud
