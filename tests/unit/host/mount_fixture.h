#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/get/cloud_tree.h"
#include "host/mount/cloud_merge.h"
#include "host/mount/file_operations.h"
#include "host/mount/mount_state.h"
#include "host/put/local_tree.h"
#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"
#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {

/// A mount without a kernel and without a cloud: the root and the staging tree are real folders, the cloud's list is
/// told.
class Mount : public testing::Test {
protected:
    Mount() {
        std::string error;
        folder.Write("root/.keep", "");
        folder.Write("staging/.keep", "");
        std::filesystem::remove(folder.Path("root/.keep"));
        EXPECT_TRUE(visible.Open(folder.Path("root"), error)) << error;
        EXPECT_TRUE(staging.Open(folder.Path("staging"), error)) << error;
        records.Open(folder.Path(), false);
        wishes.Open(folder.Path());
        Restart();
    }

    /// As a new process would begin.
    void Restart() {
        merge.reset();
        files.reset();
        state = std::make_unique<MountState>(visible, staging, records, wishes, L"root", [this] { ++woken; });
        files = std::make_unique<FileOperations>(*state, guard);
        merge = std::make_unique<CloudMerge>(*state, [this](const std::string& path, const std::string& message) {
            told.push_back(path + ": " + message);
        });
    }

    static Cloud::CloudFile File(const std::wstring& id, const std::wstring& parent, const std::wstring& name,
                                 std::int64_t size = 4, const std::wstring& version = L"1") {
        Cloud::CloudFile file;
        file.id = id;
        file.parentFolder = parent;
        file.fileName = name;
        file.size = size;
        file.contentVersion = version;
        file.sha256 = L"digest" + version;
        file.editedTime = 1000;
        return file;
    }

    static Cloud::CloudFile Folder(const std::wstring& id, const std::wstring& parent, const std::wstring& name) {
        Cloud::CloudFile file = File(id, parent, name, 0, L"");
        file.isFolder = true;
        file.sha256.clear();
        return file;
    }

    void List(std::vector<Cloud::CloudFile> all) { merge->List(PlaceEntries(std::move(all), L"root", 4000)); }
    void ReadRoot() { merge->ReadRoot(ReadLocalTree(visible, "")); }

    NodePtr At(const std::string& path) const { return state->tree.At(path); }

    /// The number of a node, as the kernel would have it after looking it up.
    std::uint64_t Number(const std::string& path) {
        const NodePtr node = At(path);
        if (!node) {
            return 0;
        }
        state->tree.Remember(node);
        return node->number;
    }

    /// Puts the content of a placeholder into the root, as a fetch does.
    void Arrive(const std::string& path, const std::string& content) {
        const NodePtr node = At(path);
        folder.Write("root/" + path, content);
        node->here = true;
        node->base = node->cloud.contentVersion;
        RememberProved(*state, *node);
    }

    std::unique_ptr<Handle> Opened(const std::string& path, int flags) {
        std::unique_ptr<Handle> handle;
        EXPECT_EQ(files->Open(Number(path), flags, caller, handle), 0) << path;
        return handle;
    }

    std::unique_ptr<Handle> Created(const std::string& in, const std::string& name) {
        std::unique_ptr<Handle> handle;
        struct stat facts {};
        EXPECT_EQ(files->Create(Number(in), name, 0644, 0, handle, facts), 0) << name;
        return handle;
    }

    void Save(const std::string& in, const std::string& name, const std::string& content) {
        const std::unique_ptr<Handle> handle = Created(in, name);
        Write(*handle, content);
        files->Release(*handle);
    }

    int Write(Handle& handle, const std::string& content, std::int64_t offset = 0) {
        std::size_t written = 0;
        return files->Write(handle, offset, content.data(), content.size(), caller, written);
    }

    std::string Read(Handle& handle, std::int64_t offset = 0, std::size_t length = 100) {
        std::vector<char> data;
        const int problem = files->Read(handle, offset, length, caller, data);
        return problem == 0 ? std::string(data.begin(), data.end()) : "error " + std::to_string(problem);
    }

    int Rename(const std::string& in, const std::string& name, const std::string& to, const std::string& newName,
               bool mayReplace = true) {
        return files->Rename(Number(in), name, Number(to), newName, mayReplace);
    }

    bool Removed(const std::wstring& id) const {
        for (const auto& [place, removal] : state->removals) {
            if (removal.cloud.id == id) {
                return true;
            }
        }
        return false;
    }

    const TemporaryFolder folder;
    Tree visible, staging;
    HostRecords records;
    Wishes wishes;
    const HydrationGuard guard{"", [](pid_t) { return ProcessFacts{}; }};
    int woken = 0;
    bool interrupted = false;
    const Caller caller{0, [this] { return interrupted; }};
    std::vector<std::string> told;
    std::unique_ptr<MountState> state;
    std::unique_ptr<FileOperations> files;
    std::unique_ptr<CloudMerge> merge;
};

}  // namespace Drive::Host
