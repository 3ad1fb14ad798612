#include "reference_cloud/import.h"

#include <sys/stat.h>

#include <fstream>

#include "tests/unit/reference_cloud/cloud_fixture.h"

namespace Drive::ReferenceCloud {

namespace {

class ImportTest : public CloudTest {
protected:
    void Write(const std::string& path, const std::string& bytes) {
        std::filesystem::create_directories((source_.Path() / path).parent_path());
        std::ofstream(source_.Path() / path, std::ios::binary) << bytes;
    }
    ImportSummary Import() {
        Cloud& cloud = Shared().server->GetCloud();
        const auto user = cloud.Read([](Rows& rows) { return rows.UserByName(Shared().lastUser); });
        return ImportTree(cloud, *user, source_.Path());
    }
    Json::Value Find(const std::string& name) {
        const Json::Value items = client.Get("/v1/files").json["items"];
        for (const Json::Value& item : items) {
            if (item["fileName"] == name) return item;
        }
        return {};
    }

    TemporaryFolder source_;
};

// REF-IMPORT-01
TEST_F(ImportTest, BringsFoldersEmptyFilesAndOddNames) {
    Write("folder/inner/file", "content");
    Write("empty", "");
    Write("back\\slash", "a");
    Write("bad\xff", "b");
    std::filesystem::create_directory(source_.Path() / "nothing in it");
    const ImportSummary summary = Import();
    EXPECT_EQ(summary.folders, 3);
    EXPECT_EQ(summary.files, 4);
    EXPECT_EQ(summary.bytes, 9);
    EXPECT_TRUE(summary.failed.empty());
    EXPECT_TRUE(Find("nothing in it")["isFolder"].asBool());
    EXPECT_EQ(Find("empty")["size"], 0);
    EXPECT_EQ(Find("back\xef\x81\x9cslash")["size"], 1);
    EXPECT_EQ(Find("bad\xef\x9f\xbf")["size"], 1);
    const Json::Value file = Find("file");
    EXPECT_EQ(file["parentFolder"], Find("inner")["id"]);
    EXPECT_EQ(client.Get("/v1/files/" + file["id"].asString() + "/content").body, "content");
}

// REF-IMPORT-02
TEST_F(ImportTest, PassesOverLinksAndSpecialFilesAndSaysSo) {
    Write("file", "x");
    std::filesystem::create_symlink("file", source_.Path() / "link");
    std::filesystem::create_directory_symlink("..", source_.Path() / "up");
    ::mkfifo((source_.Path() / "pipe").c_str(), 0600);
    const ImportSummary summary = Import();
    EXPECT_EQ(summary.files, 1);
    ASSERT_EQ(summary.passedOver.size(), 3U);
    EXPECT_EQ(summary.passedOver[0], (source_.Path() / "link").string() + " (link)");
    EXPECT_EQ(client.Get("/v1/files").json["items"].size(), 1U);
}

// REF-IMPORT-03
TEST_F(ImportTest, ASecondImportBringsOnlyWhatChanged) {
    Write("same", "same");
    Write("changed", "before");
    Import();
    Write("changed", "afterwards");
    const ImportSummary summary = Import();
    EXPECT_EQ(summary.unchanged, 1);
    EXPECT_EQ(summary.files, 1);
    EXPECT_EQ(Find("changed")["contentVersion"], "2");
    EXPECT_EQ(Find("same")["contentVersion"], "1");
    EXPECT_EQ(client.Get("/v1/account/space").json["used"], 14);
}

// REF-IMPORT-04
TEST_F(ImportTest, WhatCannotComeInIsToldAndTheRestComes) {
    Write("a", "file");
    Import();
    std::filesystem::remove(source_.Path() / "a");
    Write("a/inside a folder that is a file there", "x");
    Write("b", "y");
    const ImportSummary summary = Import();
    ASSERT_EQ(summary.failed.size(), 1U);
    EXPECT_EQ(summary.failed[0].rfind((source_.Path() / "a").string(), 0), 0U);
    EXPECT_EQ(Find("b")["size"], 1);
}

// REF-IMPORT-05
TEST_F(ImportTest, SpaceThatRunsOutLeavesTheRestOut) {
    client = Shared().NewUser(10);
    Write("a", "12345678");
    Write("b", "12345678");
    Write("c", "12");
    const ImportSummary summary = Import();
    EXPECT_EQ(summary.files, 2);
    EXPECT_EQ(summary.failed.size(), 1U);
    EXPECT_EQ(client.Get("/v1/account/space").json["used"], 10);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
