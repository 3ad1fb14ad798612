#include "interfaces/logging/user_log.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "interfaces/platform/native_path.h"
#include "tests/support/engine_bench.h"
#include "tests/support/log_double.h"

namespace Drive::Testing {
namespace {

class StatisticsRecord : public EngineBench {
protected:
    StatisticsRecord() { SetLocalAppDataPath(Platform::EnginePath(world.Folder() + "/data")); }

    void WriteSettings(const std::string& text) const {
        std::filesystem::create_directories(world.Folder() + "/data/ZelkorCloud");
        std::ofstream(world.Folder() + "/data/ZelkorCloud/SyncSetting.ini") << text;
    }

    Bilog::UserLog record;
};

// IF-LOG-01
TEST_F(StatisticsRecord, ReadsTheDeviceIdFromTheSettingsFileAtEachCall) {
    WriteSettings("[Device]\nMacAddressEncrypt=first\n");
    EXPECT_EQ(record.get_DevId(), L"first");
    WriteSettings("[Device]\nMacAddressEncrypt=second\n");
    EXPECT_EQ(record.get_DevId(), L"second");
}

// IF-LOG-02
TEST_F(StatisticsRecord, NeverGivesAStoredDeviceIdBack) {
    record.set_DevId(L"stored");
    EXPECT_EQ(record.get_DevId(), L"");
    WriteSettings("MacAddressEncrypt=of the file\n");
    EXPECT_EQ(record.get_DevId(), L"of the file");
}

// IF-LOG-03
TEST_F(StatisticsRecord, KeepsEveryOtherFieldAsItWasGiven) {
    record.set_Id(1);
    record.set_Time(L"time");
    record.set_Action(L"action");
    record.set_UserId(L"user");
    record.set_Code(L"code");
    record.set_Info(L"info");
    record.set_Extend(L"extend");
    record.set_TraceId(L"trace");
    record.set_UseTime(1.5);
    record.set_StartTime(2.5);
    record.set_Model(L"model");
    record.set_Romversion(L"rom");
    record.set_Appversion(L"app");
    record.set_Reqsize(L"req");
    record.set_Rspsize(L"rsp");
    record.set_Logversion(2);
    record.set_TraceEndFlag(3);
    record.set_CurModule(L"cur");
    record.set_Actiontype(L"type");
    record.set_NextModule(L"next");
    record.set_CountryCode(L"country");
    record.set_ResidenceTime(4);
    record.set_OprType(L"opr");
    record.set_IsMaintenanceLog(5);
    const Bilog::UserLog copy = record;
    Bilog::UserLog other;
    other = copy;
    EXPECT_EQ(other.get_Id() + other.get_Logversion() + other.get_TraceEndFlag() + other.get_ResidenceTime() +
                  other.get_IsMaintenanceLog(),
              15);
    EXPECT_EQ(other.get_UseTime() + other.get_StartTime(), 4.0);
    EXPECT_EQ(other.get_Time() + other.get_Action() + other.get_UserId() + other.get_Code() + other.get_Info(),
              L"timeactionusercodeinfo");
    EXPECT_EQ(other.get_Extend() + other.get_TraceId() + other.get_Model() + other.get_Romversion(),
              L"extendtracemodelrom");
    EXPECT_EQ(other.get_Appversion() + other.get_Reqsize() + other.get_Rspsize() + other.get_CurModule(),
              L"appreqrspcur");
    EXPECT_EQ(other.get_Actiontype() + other.get_NextModule() + other.get_CountryCode() + other.get_OprType(),
              L"typenextcountryopr");
}

}  // namespace
}  // namespace Drive::Testing
