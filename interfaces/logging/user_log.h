#pragma once

#include <cstdint>
#include <string>

#include "interfaces/platform/export.h"

namespace Drive::Bilog {

/// One statistics record: a plain value for ZelkorSyncFile.BiOperationLog and its users. Its code is part of the
/// engine's library, which exports it. Copies are independent; an object is used by one thread at a time.
///
/// All accessors are plain reads and writes but for one: get_DevId ignores the field and reads the device id from the
/// settings file at each call ("MacAddressEncrypt" in "\ZelkorCloud\SyncSetting.ini" under the local application
/// data folder; empty when absent). A value given to set_DevId is stored and never seen again. This is deliberate.
class ZELKOR_API UserLog {
public:
    UserLog();
    UserLog(const UserLog& other);
    UserLog& operator=(const UserLog& other);
    ~UserLog();

    int get_Id() const;
    void set_Id(int value);
    std::wstring get_Time() const;
    void set_Time(std::wstring value);
    std::wstring get_Action() const;
    void set_Action(std::wstring value);
    std::wstring get_UserId() const;
    void set_UserId(std::wstring value);
    std::wstring get_DevId() const;
    void set_DevId(std::wstring value);
    std::wstring get_Code() const;
    void set_Code(std::wstring value);
    std::wstring get_Info() const;
    void set_Info(std::wstring value);
    std::wstring get_Extend() const;
    void set_Extend(std::wstring value);
    std::wstring get_TraceId() const;
    void set_TraceId(std::wstring value);
    double get_UseTime() const;
    void set_UseTime(double value);
    double get_StartTime() const;
    void set_StartTime(double value);
    std::wstring get_Model() const;
    void set_Model(std::wstring value);
    std::wstring get_Romversion() const;
    void set_Romversion(std::wstring value);
    std::wstring get_Appversion() const;
    void set_Appversion(std::wstring value);
    std::wstring get_Reqsize() const;
    void set_Reqsize(std::wstring value);
    std::wstring get_Rspsize() const;
    void set_Rspsize(std::wstring value);
    int get_Logversion() const;
    void set_Logversion(int value);
    int get_TraceEndFlag() const;
    void set_TraceEndFlag(int value);
    std::wstring get_CurModule() const;
    void set_CurModule(std::wstring value);
    std::wstring get_Actiontype() const;
    void set_Actiontype(std::wstring value);
    std::wstring get_NextModule() const;
    void set_NextModule(std::wstring value);
    std::wstring get_CountryCode() const;
    void set_CountryCode(std::wstring value);
    std::int32_t get_ResidenceTime() const;
    void set_ResidenceTime(std::int32_t value);
    std::wstring get_OprType() const;
    void set_OprType(std::wstring value);
    int get_IsMaintenanceLog() const;
    void set_IsMaintenanceLog(int value);

private:
    int id = 0;
    std::wstring time;
    std::wstring action;
    std::wstring userId;
    std::wstring devId;
    std::wstring code;
    std::wstring info;
    std::wstring extend;
    std::wstring traceId;
    double useTime = 0;
    double startTime = 0;
    std::wstring model;
    std::wstring romversion;
    std::wstring appversion;
    std::wstring reqsize;
    std::wstring rspsize;
    int logversion = 0;
    int traceEndFlag = 0;
    std::wstring curModule;
    std::wstring actiontype;
    std::wstring nextModule;
    std::wstring countryCode;
    std::int32_t residenceTime = 0;
    std::wstring oprType;
    int isMaintenanceLog = 0;
};

}  // namespace Drive::Bilog
