#include "host/records/host_records.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

// HOST-REC-01
TEST(HostRecords, RememberProvedFilesAcrossProcesses) {
    const TemporaryFolder folder;
    {
        HostRecords records;
        records.Open(folder.Path(), false);
        records.PutProved("1", {"a/b\xFF", 5, 123456789, "digest", "7"});
        records.PutProved("2", {"c", 6, 1, "other", ""});
        records.ForgetProved("2");
    }
    HostRecords records;
    records.Open(folder.Path(), true);
    const auto proved = records.AllProved();
    ASSERT_EQ(proved.size(), 1u);
    EXPECT_EQ(proved.at("1").path, "a/b\xFF");
    EXPECT_EQ(proved.at("1").changed, 123456789);
    EXPECT_EQ(proved.at("1").contentVersion, "7");
}

// HOST-REC-02
TEST(HostRecords, KeepOneTroubleAFile) {
    const TemporaryFolder folder;
    HostRecords records;
    records.Open(folder.Path(), false);
    records.PutTrouble({"1", "a", "failed", "first", 1});
    records.PutTrouble({"1", "a", "mismatch", "second", 2});
    ASSERT_EQ(records.Troubles().size(), 1u);
    EXPECT_EQ(records.Troubles()[0].message, "second");
    records.ForgetTrouble("1");
    EXPECT_TRUE(records.Troubles().empty());
}

// HOST-REC-03
TEST(HostRecords, GiveAnEmptyTextForAnUnknownValue) {
    const TemporaryFolder folder;
    HostRecords records;
    records.Open(folder.Path(), false);
    EXPECT_EQ(records.Value("cursor"), "");
    records.SetValue("cursor", "42");
    EXPECT_EQ(records.Value("cursor"), "42");
}

// HOST-REC-04
TEST(HostRecords, WhatIsNotCommittedDoesNotStand) {
    const TemporaryFolder folder;
    {
        HostRecords records;
        records.Open(folder.Path(), false);
        records.Begin();
        records.SetValue("a", "1");
    }
    HostRecords records;
    records.Open(folder.Path(), false);
    EXPECT_EQ(records.Value("a"), "");
    records.Begin();
    records.SetValue("a", "2");
    records.Commit();
    EXPECT_EQ(records.Value("a"), "2");
}

// HOST-REC-05
TEST(HostRecords, ADamagedFileIsToldByName) {
    const TemporaryFolder folder;
    folder.Write("host.db", std::string(8192, 'x'));
    HostRecords records;
    try {
        records.Open(folder.Path(), false);
        FAIL() << "a damaged file was opened";
    } catch (const std::runtime_error& failure) {
        EXPECT_NE(std::string(failure.what()).find("host.db"), std::string::npos);
    }
}

}  // namespace
}  // namespace Drive::Host
