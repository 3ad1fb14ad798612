#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "reference_cloud/object_store.h"

namespace Drive::ReferenceCloud {

/// What every object store owes the cloud; each shipped one is held against it.
class ObjectStoreContract {
public:
    explicit ObjectStoreContract(ObjectStore& store) : store_(store) {}

    void HoldAll() {
        GivesBackWhatWasWritten();
        LeavesNothingOfAnAbandonedObject();
        RemovesAndListsObjects();
        TakesNoPathForAKey();
        ServesManyThreads();
    }

private:
    static std::string Text(std::size_t size, unsigned seed) {
        std::string text(size, '\0');
        for (std::size_t at = 0; at < size; ++at) {
            seed = seed * 1664525 + 1013904223;
            text[at] = static_cast<char>(seed >> 24);
        }
        return text;
    }
    std::string Put(const std::string& text, std::size_t piece) {
        const auto writer = store_.Create();
        for (std::size_t at = 0; at < text.size(); at += piece)
            writer->Append(std::string_view(text).substr(at, piece));
        return writer->Commit();
    }
    static std::string ReadFrom(ObjectReader& reader, std::int64_t offset, std::size_t piece) {
        std::string text, buffer(piece, '\0');
        for (;;) {
            const auto at = offset + static_cast<std::int64_t>(text.size());
            const std::size_t count = reader.Read(at, buffer.data(), buffer.size());
            if (count == 0) return text;
            text.append(buffer, 0, count);
        }
    }
    std::set<std::string> Keys() {
        std::set<std::string> keys;
        store_.ForEach([&](const std::string& key) { EXPECT_TRUE(keys.insert(key).second) << "listed twice"; });
        return keys;
    }

    void GivesBackWhatWasWritten() {
        for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{1 << 20}, std::size_t{(3 << 20) + 7},
                                       std::size_t{(4 << 20) + 16}}) {
            const std::string text = Text(size, static_cast<unsigned>(size));
            const auto reader = store_.Open(Put(text, 300001));
            ASSERT_TRUE(reader);
            EXPECT_EQ(reader->Size(), static_cast<std::int64_t>(size));
            EXPECT_TRUE(ReadFrom(*reader, 0, 262144) == text) << size;
            EXPECT_TRUE(ReadFrom(*reader, static_cast<std::int64_t>(size / 3), 100000) == text.substr(size / 3));
            char byte = 0;
            EXPECT_EQ(reader->Read(static_cast<std::int64_t>(size), &byte, 1), 0U);
            EXPECT_EQ(reader->Read(static_cast<std::int64_t>(size) + 5, &byte, 1), 0U);
        }
    }
    void LeavesNothingOfAnAbandonedObject() {
        const auto before = Keys();
        store_.Create()->Append("half");
        EXPECT_EQ(Keys(), before);
    }
    void RemovesAndListsObjects() {
        auto expected = Keys();
        std::vector<std::string> fresh;
        for (unsigned index = 0; index < 7; ++index) fresh.push_back(Put(Text(10, index), 10));
        expected.insert(fresh.begin(), fresh.end());
        EXPECT_EQ(Keys(), expected);
        for (const auto& key : fresh) {
            store_.Remove(key);
            expected.erase(key);
            EXPECT_FALSE(store_.Open(key));
            EXPECT_NO_THROW(store_.Remove(key)) << "once more";
        }
        EXPECT_EQ(Keys(), expected);
        store_.Flush();
        store_.DropUnfinished();
        EXPECT_EQ(Keys(), expected);
    }
    void TakesNoPathForAKey() {
        const auto before = Keys();
        for (const char* key : {"", "../../etc/passwd", "unfinished", "00000000000000000000000000000000/", "?x"}) {
            EXPECT_FALSE(store_.Open(key)) << key;
            EXPECT_NO_THROW(store_.Remove(key)) << key;
        }
        EXPECT_EQ(Keys(), before);
    }
    void ServesManyThreads() {
        std::vector<std::thread> threads;
        for (unsigned index = 0; index < 6; ++index) {
            threads.emplace_back([this, index] {
                const std::string text = Text(200000 + index, index);
                const auto reader = store_.Open(Put(text, 65536));
                ASSERT_TRUE(reader);
                EXPECT_TRUE(ReadFrom(*reader, 0, 50000) == text);
            });
        }
        for (auto& thread : threads) thread.join();
    }

    ObjectStore& store_;
};

}  // namespace Drive::ReferenceCloud
