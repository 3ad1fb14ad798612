// Trees that are deeper, wider or busier than usual.
#include <pthread.h>

#include <atomic>
#include <functional>
#include <set>
#include <thread>

#include "reference_cloud/crypto.h"
#include "reference_cloud/tree.h"
#include "tests/unit/reference_cloud/cloud_fixture.h"

namespace Drive::ReferenceCloud {

namespace {

#ifdef ZELKOR_SANITIZED  // each row takes several times as long, and each frame of a stack as much room
constexpr int kDepth = 1200, kChildren = 1100;
#else
constexpr int kDepth = 4000, kChildren = 2100;
#endif
constexpr int kWriters = 8;
constexpr std::size_t kSmallStack = 256 * 1024;

/// Runs `work` on a thread whose stack is small beside the tree, and waits for its end.
void OnSmallStack(std::function<void()> work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kSmallStack), 0);
    pthread_t thread{};
    const auto run = [](void* given) -> void* {
        (*static_cast<std::function<void()>*>(given))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

/// All of `work`, each on a thread of its own, begun together.
void AtOnce(const std::vector<std::function<void()>>& work) {
    std::atomic<std::size_t> ready{0};
    std::vector<std::thread> threads;
    for (const auto& each : work) {
        threads.emplace_back([&ready, &work, &each] {
            ++ready;
            while (ready < work.size()) std::this_thread::yield();
            each();
        });
    }
    for (auto& thread : threads) thread.join();
}

class LargeTrees : public CloudTest {
protected:
    Cloud& cloud_ = Shared().server->GetCloud();
    const User user_ = cloud_.Read([&](Rows& rows) { return *rows.UserById(rows.FileById(client.root)->userId); });

    Json::Value Body(const std::string& name, const std::string& parent) {
        Json::Value body(Json::objectValue);
        body["fileName"] = name;
        body["parentFolder"] = parent;
        return body;
    }
    std::string Folder(const std::string& name) {
        return client.Post("/v1/folders", Body(name, client.root)).json["id"].asString();
    }
    /// Every page; what it names, in order.
    std::vector<std::string> Ids(const std::string& route) {
        std::vector<std::string> ids;
        std::string cursor;
        for (int page = 0; page < 100; ++page) {
            const Json::Value answer = client.Get(route + "?limit=1000&cursor=" + cursor).json;
            for (const Json::Value& item : answer["items"]) ids.push_back(item["id"].asString());
            cursor = answer["nextCursor"].asString();
            if (cursor.empty()) break;
        }
        return ids;
    }
};

// REF-FILE-21
TEST_F(LargeTrees, ATreeThatIsDeeperThanAStackIsMovedDeletedAndRestored) {
    const std::string top = Folder("top"), side = Folder("side");
    std::string deepest = top;
    cloud_.metadata->Change([&](Rows& rows) {
        for (int level = 0; level < kDepth; ++level) {
            deepest = Tree::MakeFolder(rows, user_, deepest, "d", cloud_.now()).id;
        }
    });
    const auto deep = [&] { return cloud_.Read([&](Rows& rows) { return *rows.FileById(deepest); }); };
    const int before = deep().depth;
    OnSmallStack([&] { cloud_.Change([&](Rows& rows) { return Tree::Move(rows, user_, top, side); }); });
    EXPECT_EQ(deep().depth, before + 1);
    OnSmallStack([&] { cloud_.metadata->Change([&](Rows& rows) { Tree::Remove(rows, user_, top, cloud_.now()); }); });
    EXPECT_NE(deep().deletedAt, 0);
    OnSmallStack([&] { cloud_.Change([&](Rows& rows) { return Tree::Restore(rows, user_, top); }); });
    EXPECT_EQ(deep().deletedAt, 0);
    EXPECT_EQ(deep().depth, before + 1);
}

// REF-FILE-22
TEST_F(LargeTrees, AFolderOfManyPagesIsListedOnceEachAndDeletedAsOne) {
    const std::string folder = Folder("wide");
    cloud_.metadata->Change([&](Rows& rows) {
        for (int index = 0; index < kChildren; ++index) {
            Tree::MakeEmptyFile(rows, user_, folder, "f" + std::to_string(index), "text/plain", 0, cloud_.now());
        }
    });
    const auto ids = Ids("/v1/files");
    EXPECT_EQ(ids.size(), static_cast<std::size_t>(kChildren) + 1);
    EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size());
    EXPECT_EQ(client.Send("DELETE", "/v1/files/" + folder).status, 200);
    EXPECT_TRUE(Ids("/v1/files").empty());
    const auto told = Ids("/v1/changes");
    EXPECT_EQ(told.size(), 2 * ids.size());
    EXPECT_EQ(told.back(), folder) << "what it held goes before it";
}

// REF-FILE-23
TEST_F(LargeTrees, NamesThatDifferInCaseOrInTheirFormOfUnicodeAreDifferentNames) {
    const std::string folder = Folder("names");
    std::set<std::string> ids;
    const std::string names[] = {"a", "A", "\xc3\xa9", "e\xcc\x81", "\xc3\x9f", "ss", "a ", "a."};
    for (const auto& name : names) {
        const Answer made = client.Post("/v1/files/empty", Body(name, folder));
        EXPECT_EQ(made.json["fileName"], name) << "as it came, byte for byte";
        ids.insert(made.json["id"].asString());
    }
    EXPECT_EQ(ids.size(), std::size(names));
    EXPECT_EQ(client.Post("/v1/files/" + *ids.begin() + "/rename", Body("SS", "")).status, 200);
}

// REF-FILE-24
TEST_F(LargeTrees, OfManyWhoWantOneNameAtOnceOneGetsIt) {
    const std::string folder = Folder("contested");
    std::vector<std::string> files;
    for (int writer = 0; writer < kWriters; ++writer) {
        files.push_back(
            client.Post("/v1/files/empty", Body("w" + std::to_string(writer), folder)).json["id"].asString());
    }
    std::atomic<int> renamed{0}, refused{0};
    std::vector<std::string> made(kWriters);
    std::vector<std::function<void()>> work;
    for (std::size_t writer = 0; writer < kWriters; ++writer) {
        work.emplace_back([&, writer] {
            const int status = client.Post("/v1/files/" + files[writer] + "/rename", Body("mine", "")).status;
            ++(status == 200 ? renamed : refused);
        });
        work.emplace_back(
            [&, writer] { made[writer] = client.Post("/v1/folders", Body("ours", folder)).json["id"].asString(); });
    }
    AtOnce(work);
    EXPECT_EQ(renamed, 1);
    EXPECT_EQ(refused, kWriters - 1);
    EXPECT_EQ(std::set<std::string>(made.begin(), made.end()).size(), 1U) << "a folder is made once and given to all";
}

// REF-UPLOAD-28
TEST_F(LargeTrees, OfTwoUploadsThatFitAloneButNotTogetherOneIsTaken) {
    const TestClient small = Shared().NewUser(3000);
    std::vector<Json::Value> ready;
    for (const char* name : {"one", "two"}) {
        const SampleUpload sample(RandomText(2000), name);
        const Answer plan = small.Post("/v1/uploads/start", sample.Start(small));
        ASSERT_EQ(plan.status, 200) << plan.body;
        SendObjects(small, plan.json);
        ready.push_back(sample.Completion(small, plan.json));
    }
    std::atomic<int> taken{0}, full{0};
    std::vector<std::function<void()>> work;
    for (const Json::Value& body : ready) {
        work.emplace_back([&] {
            const Answer answer = small.Post("/v1/uploads/create-complete", body);
            ++(answer.status == 200 ? taken : full);
            EXPECT_EQ(answer.json["errorCode"], answer.status == 200 ? Json::Value() : Json::Value("21004913"));
        });
    }
    AtOnce(work);
    EXPECT_EQ(taken, 1);
    EXPECT_EQ(full, 1);
    EXPECT_EQ(small.Get("/v1/account/space").json["used"], 2000);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
