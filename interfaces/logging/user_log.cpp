#include "interfaces/logging/user_log.h"

#include <utility>

#include "interfaces/common/ini_file_helper.h"
#include "interfaces/logging/logger_utility.h"
#include "interfaces/logging/type_convert.h"

namespace Drive::Bilog {

UserLog::UserLog() = default;
UserLog::UserLog(const UserLog& other) = default;
UserLog& UserLog::operator=(const UserLog& other) = default;
UserLog::~UserLog() = default;

// The stored value is not looked at: the device id is always the one of the settings file.
std::wstring UserLog::get_DevId() const {
    const std::wstring path = LoggerUtility::GetLocalAppDataPath() + L"\\ZelkorCloud\\SyncSetting.ini";
    Common::IniFileHelper settings(path.c_str());
    return TypeConvert::StringToWString(settings.ReadIniValueByKeyTypeString(L"MacAddressEncrypt"));
}

int UserLog::get_Id() const { return id; }
void UserLog::set_Id(int value) { id = value; }
std::wstring UserLog::get_Time() const { return time; }
void UserLog::set_Time(std::wstring value) { time = std::move(value); }
std::wstring UserLog::get_Action() const { return action; }
void UserLog::set_Action(std::wstring value) { action = std::move(value); }
std::wstring UserLog::get_UserId() const { return userId; }
void UserLog::set_UserId(std::wstring value) { userId = std::move(value); }
void UserLog::set_DevId(std::wstring value) { devId = std::move(value); }
std::wstring UserLog::get_Code() const { return code; }
void UserLog::set_Code(std::wstring value) { code = std::move(value); }
std::wstring UserLog::get_Info() const { return info; }
void UserLog::set_Info(std::wstring value) { info = std::move(value); }
std::wstring UserLog::get_Extend() const { return extend; }
void UserLog::set_Extend(std::wstring value) { extend = std::move(value); }
std::wstring UserLog::get_TraceId() const { return traceId; }
void UserLog::set_TraceId(std::wstring value) { traceId = std::move(value); }
double UserLog::get_UseTime() const { return useTime; }
void UserLog::set_UseTime(double value) { useTime = value; }
double UserLog::get_StartTime() const { return startTime; }
void UserLog::set_StartTime(double value) { startTime = value; }
std::wstring UserLog::get_Model() const { return model; }
void UserLog::set_Model(std::wstring value) { model = std::move(value); }
std::wstring UserLog::get_Romversion() const { return romversion; }
void UserLog::set_Romversion(std::wstring value) { romversion = std::move(value); }
std::wstring UserLog::get_Appversion() const { return appversion; }
void UserLog::set_Appversion(std::wstring value) { appversion = std::move(value); }
std::wstring UserLog::get_Reqsize() const { return reqsize; }
void UserLog::set_Reqsize(std::wstring value) { reqsize = std::move(value); }
std::wstring UserLog::get_Rspsize() const { return rspsize; }
void UserLog::set_Rspsize(std::wstring value) { rspsize = std::move(value); }
int UserLog::get_Logversion() const { return logversion; }
void UserLog::set_Logversion(int value) { logversion = value; }
int UserLog::get_TraceEndFlag() const { return traceEndFlag; }
void UserLog::set_TraceEndFlag(int value) { traceEndFlag = value; }
std::wstring UserLog::get_CurModule() const { return curModule; }
void UserLog::set_CurModule(std::wstring value) { curModule = std::move(value); }
std::wstring UserLog::get_Actiontype() const { return actiontype; }
void UserLog::set_Actiontype(std::wstring value) { actiontype = std::move(value); }
std::wstring UserLog::get_NextModule() const { return nextModule; }
void UserLog::set_NextModule(std::wstring value) { nextModule = std::move(value); }
std::wstring UserLog::get_CountryCode() const { return countryCode; }
void UserLog::set_CountryCode(std::wstring value) { countryCode = std::move(value); }
std::int32_t UserLog::get_ResidenceTime() const { return residenceTime; }
void UserLog::set_ResidenceTime(std::int32_t value) { residenceTime = value; }
std::wstring UserLog::get_OprType() const { return oprType; }
void UserLog::set_OprType(std::wstring value) { oprType = std::move(value); }
int UserLog::get_IsMaintenanceLog() const { return isMaintenanceLog; }
void UserLog::set_IsMaintenanceLog(int value) { isMaintenanceLog = value; }

}  // namespace Drive::Bilog
