#include <map>

#include "tests/unit/reference_cloud/cloud_fixture.h"

namespace Drive::ReferenceCloud {

namespace {

class FileRoutes : public CloudTest {
protected:
    Json::Value Body(const std::string& name, const std::string& parent) {
        Json::Value body(Json::objectValue);
        body["fileName"] = name;
        body["parentFolder"] = parent;
        return body;
    }
    std::string Folder(const std::string& name, const std::string& parent = "") {
        const Answer answer = client.Post("/v1/folders", Body(name, parent.empty() ? client.root : parent));
        EXPECT_EQ(answer.status, 200) << answer.body;
        return answer.json["id"].asString();
    }
    std::string EmptyFile(const std::string& name, const std::string& parent = "") {
        const Answer answer = client.Post("/v1/files/empty", Body(name, parent.empty() ? client.root : parent));
        EXPECT_EQ(answer.status, 200) << answer.body;
        return answer.json["id"].asString();
    }
    Answer Rename(const std::string& id, const std::string& name) {
        return client.Post("/v1/files/" + id + "/rename", Body(name, ""));
    }
    Answer Move(const std::string& id, const std::string& parent) {
        return client.Post("/v1/files/" + id + "/move", Body("", parent));
    }
    Answer Delete(const std::string& id) { return client.Send("DELETE", "/v1/files/" + id); }
    Answer Restore(const std::string& id) {
        return client.Post("/v1/files/" + id + "/restore", Json::Value(Json::objectValue));
    }
    std::vector<Json::Value> List(int limit) {
        std::vector<Json::Value> items;
        std::string cursor;
        for (int page = 0; page < 100; ++page) {
            const Answer answer = client.Get("/v1/files?limit=" + std::to_string(limit) + "&cursor=" + cursor);
            EXPECT_EQ(answer.status, 200) << answer.body;
            for (const Json::Value& item : answer.json["items"]) items.push_back(item);
            changeCursor_ = answer.json["changeCursor"].asString();
            cursor = answer.json["nextCursor"].asString();
            if (cursor.empty()) break;
        }
        return items;
    }
    /// Names of what the feed tells since the cursor, "-" before the deleted.
    std::vector<std::string> Changes(std::string cursor) {
        std::vector<std::string> names;
        for (int page = 0; page < 100; ++page) {
            const Answer answer = client.Get("/v1/changes?limit=2&cursor=" + cursor);
            EXPECT_EQ(answer.status, 200) << answer.body;
            for (const Json::Value& item : answer.json["items"]) {
                names.push_back((item["isDeleted"].asBool() ? "-" : "") + item["fileName"].asString());
            }
            cursor = answer.json["changeCursor"].asString();
            if (answer.json["nextCursor"].asString().empty()) break;
        }
        return names;
    }

    using Names = std::vector<std::string>;
    std::string changeCursor_;
};

// REF-FILE-01
TEST_F(FileRoutes, FoldersAndEmptyFilesAreMadeOnce) {
    const std::string folder = Folder("a");
    EXPECT_EQ(Folder("a"), folder);
    const std::string file = EmptyFile("e", folder);
    EXPECT_EQ(EmptyFile("e", folder), file);
    const Json::Value entry = client.Get("/v1/files/" + file).json;
    EXPECT_EQ(entry["size"], 0);
    EXPECT_EQ(entry["sha256"], Sha256(""));
    EXPECT_FALSE(entry["isFolder"].asBool());
    EXPECT_EQ(entry["parentFolder"], folder);
    EXPECT_EQ(client.Post("/v1/folders", Body("e", folder)).status, 409);
    EXPECT_EQ(client.Post("/v1/files/empty", Body("a", client.root)).status, 409);
}

// REF-FILE-02
TEST_F(FileRoutes, AnUnknownParentHasACodeOfItsOwn) {
    const TestClient other = Shared().NewUser();
    for (const std::string& parent : {std::string("nothing"), other.root, EmptyFile("file")}) {
        const Answer answer = client.Post("/v1/folders", Body("x", parent));
        EXPECT_EQ(answer.status, 404);
        EXPECT_EQ(answer.json["errorCode"], "21000401");
    }
}

// REF-FILE-03
TEST_F(FileRoutes, HostileNamesAreRefused) {
    for (const std::string& name : {std::string(), std::string(".."), std::string("a/b"), std::string("a\\b")}) {
        EXPECT_EQ(client.Post("/v1/folders", Body(name, client.root)).status, 400) << name;
    }
    EXPECT_EQ(client.Post("/v1/folders", "{\"fileName\":\"\xff\",\"parentFolder\":\"" + client.root + "\"}").status,
              400);
    EXPECT_EQ(
        client.Post("/v1/folders", "{\"fileName\":\"a\\u0000b\",\"parentFolder\":\"" + client.root + "\"}").status,
        400);
}

// REF-FILE-04
TEST_F(FileRoutes, ListsParentsBeforeChildrenOnPagesOfAnySize) {
    const std::string deep = Folder("c", Folder("b", Folder("a")));
    for (int index = 0; index < 5; ++index) EmptyFile("f" + std::to_string(index), deep);
    Move(Folder("late"), deep);
    for (const int limit : {1, 2, 3, 1000}) {
        const auto items = List(limit);
        EXPECT_EQ(items.size(), 9U);
        std::map<std::string, bool> seen{{client.root, true}};
        for (const Json::Value& item : items) {
            EXPECT_TRUE(seen.count(item["parentFolder"].asString())) << item["fileName"];
            EXPECT_TRUE(seen.emplace(item["id"].asString(), true).second);
        }
    }
}

// REF-FILE-05
TEST_F(FileRoutes, MovingAFolderTakesItsPlaceInTheListAlong) {
    const std::string inner = Folder("inner", Folder("outer"));
    EmptyFile("leaf", Folder("sub", inner));
    ASSERT_EQ(Move(inner, client.root).status, 200);
    std::map<std::string, bool> seen{{client.root, true}};
    for (const Json::Value& item : List(1)) {
        EXPECT_TRUE(seen.count(item["parentFolder"].asString())) << item["fileName"];
        seen[item["id"].asString()] = true;
    }
    EXPECT_EQ(seen.size(), 5U);
}

// REF-FILE-06
TEST_F(FileRoutes, BadCursorsAndLimitsAreRefused) {
    for (const char* query : {"cursor=x", "cursor=1.x.y", "cursor=1", "limit=0", "limit=x"}) {
        EXPECT_EQ(client.Get(std::string("/v1/files?") + query).status, 400) << query;
    }
    EXPECT_EQ(client.Get("/v1/files?cursor=0.99999999999.x").status, 400);
    EXPECT_EQ(client.Get("/v1/changes?cursor=x").status, 400);
}

// REF-FILE-06
TEST_F(FileRoutes, ACursorOfAnotherUserOrOfALaterTimeIsRefused) {
    EmptyFile("mine");
    const std::string own = client.Get("/v1/files").json["changeCursor"].asString();
    const TestClient other = Shared().NewUser();
    other.Post("/v1/folders", Body("first", other.root));
    other.Post("/v1/folders", Body("second", other.root));
    const Json::Value page = other.Get("/v1/files?limit=1").json;
    EXPECT_EQ(client.Get("/v1/changes?cursor=" + own).status, 200);
    EXPECT_EQ(client.Get("/v1/changes?cursor=" + page["changeCursor"].asString()).status, 400);
    EXPECT_EQ(client.Get("/v1/files?cursor=" + page["nextCursor"].asString()).status, 400);
    EXPECT_EQ(client.Get("/v1/changes?cursor=9223372036854775807").status, 400)
        << "who goes on from there would never hear of anything";
}

// REF-FILE-07
TEST_F(FileRoutes, FindsByParentAndName) {
    const std::string id = EmptyFile("a b+c");
    const Answer found = client.Get("/v1/files/find?parentFolder=" + client.root + "&fileName=a%20b%2Bc");
    EXPECT_EQ(found.status, 200);
    EXPECT_EQ(found.json["id"], id);
    EXPECT_EQ(client.Get("/v1/files/find?parentFolder=" + client.root + "&fileName=other").status, 404);
    EXPECT_EQ(Shared().NewUser().Get("/v1/files/find?parentFolder=" + client.root + "&fileName=a%20b%2Bc").status, 404);
}

// REF-FILE-08
TEST_F(FileRoutes, RenamesUnlessTheNameIsTaken) {
    const std::string id = EmptyFile("a");
    EmptyFile("b");
    EXPECT_EQ(Rename(id, "c").json["fileName"], "c");
    EXPECT_EQ(Rename(id, "c").status, 200);
    const Answer taken = Rename(id, "b");
    EXPECT_EQ(taken.status, 409);
    EXPECT_EQ(taken.json["errorCode"], "21004091");
    EXPECT_EQ(Rename(client.root, "x").status, 400);
    EXPECT_EQ(Rename("nothing", "x").status, 404);
}

// REF-FILE-09
TEST_F(FileRoutes, MovesButNeverAFolderIntoItself) {
    const std::string a = Folder("a"), b = Folder("b", a);
    EXPECT_EQ(Move(a, b).status, 409);
    EXPECT_EQ(Move(a, a).status, 409);
    EXPECT_EQ(Move(b, "nothing").json["errorCode"], "21000401");
    EXPECT_EQ(Move(b, client.root).json["parentFolder"], client.root);
    Folder("b", a);
    EXPECT_EQ(Move(b, a).status, 409);
}

// REF-FILE-10
TEST_F(FileRoutes, DeletesAFolderWithAllThatItHoldsAndRestoresIt) {
    const std::string a = Folder("a"), b = Folder("b", a), f = EmptyFile("f", b), g = EmptyFile("g", a);
    Delete(g);
    EXPECT_EQ(Delete(a).status, 200);
    EXPECT_EQ(Delete(a).status, 200);
    EXPECT_TRUE(List(10).empty());
    EXPECT_TRUE(client.Get("/v1/files/" + f).json["isDeleted"].asBool());
    EXPECT_EQ(Restore(f).json["errorCode"], "21000401");
    EXPECT_EQ(Restore(a).status, 200);
    EXPECT_EQ(List(10).size(), 3U) << "what was deleted before stays deleted";
    EXPECT_EQ(Restore(a).status, 200);
    EXPECT_EQ(Restore(g).status, 200);
    EXPECT_EQ(List(10).size(), 4U);
}

// REF-FILE-11
TEST_F(FileRoutes, RestoresAPartOfADeletedFolderToo) {
    const std::string a = Folder("a"), b = Folder("b", a);
    EmptyFile("f", b);
    Delete(b);
    EXPECT_EQ(Restore(b).status, 200);
    Delete(a);
    Folder("a");
    EXPECT_EQ(Restore(a).status, 409) << "the name is taken meanwhile";
}

// REF-FILE-12
TEST_F(FileRoutes, ARootCannotBeDeleted) { EXPECT_EQ(Delete(client.root).status, 400); }

// REF-FILE-13
TEST_F(FileRoutes, TheFeedTellsEveryChangeInOrder) {
    const std::string before = client.Get("/v1/files").json["changeCursor"].asString();
    const std::string a = Folder("a"), f = EmptyFile("f", a);
    EXPECT_EQ(Changes(before), (Names{"a", "f"}));
    List(10);
    const std::string after = changeCursor_;
    EXPECT_EQ(Changes(after), Names{});
    Rename(f, "g");
    Delete(a);
    EXPECT_EQ(Changes(after), (Names{"g", "-g", "-a"})) << "what a folder held goes before it";
    Restore(a);
    EXPECT_EQ(Changes(after), (Names{"g", "-g", "-a", "a", "g"}));
    EXPECT_EQ(Changes(""), (Names{"a", "f", "g", "-g", "-a", "a", "g"}));
}

// REF-FILE-14
TEST_F(FileRoutes, AnEntryOfTheFeedShowsTheMomentOfItsChange) {
    const std::string before = client.Get("/v1/files").json["changeCursor"].asString();
    const std::string file = EmptyFile("f");
    Move(file, Folder("later"));
    EXPECT_EQ(Changes(before), (Names{"f", "later", "f"}));
    const Answer feed = client.Get("/v1/changes?cursor=" + before);
    EXPECT_EQ(feed.json["items"][0]["parentFolder"], client.root) << "its later parent is not known yet";
}

// REF-FILE-15
TEST_F(FileRoutes, ThingsOfAnotherUserAreNotThere) {
    const std::string id = EmptyFile("mine"), folder = Folder("folder");
    const TestClient other = Shared().NewUser();
    const Json::Value name = Body("x", other.root);
    EXPECT_EQ(other.Get("/v1/files/" + id).status, 404);
    EXPECT_EQ(other.Post("/v1/files/" + id + "/rename", name).status, 404);
    EXPECT_EQ(other.Post("/v1/files/" + id + "/move", name).status, 404);
    EXPECT_EQ(other.Post("/v1/files/" + id + "/restore", name).status, 404);
    EXPECT_EQ(other.Send("DELETE", "/v1/files/" + id).status, 404);
    EXPECT_EQ(other.Post("/v1/folders", Body("x", folder)).json["errorCode"], "21000401");
    EXPECT_TRUE(other.Get("/v1/files").json["items"].empty());
    EXPECT_TRUE(other.Get("/v1/changes").json["items"].empty());
    EXPECT_EQ(List(10).size(), 2U);
}

// REF-FILE-16
TEST_F(FileRoutes, DeletingFreesSpaceAndRestoringTakesIt) {
    TestClient small = Shared().NewUser(3000);
    const std::string id = UploadEncrypted(small, SampleUpload(std::string(2000, 'x'), "a"))["id"].asString();
    EXPECT_EQ(small.Get("/v1/account/space").json["used"], 2000);
    small.Send("DELETE", "/v1/files/" + id);
    EXPECT_EQ(small.Get("/v1/account/space").json["used"], 0);
    UploadEncrypted(small, SampleUpload(std::string(2000, 'y'), "b"));
    const Answer full = small.Post("/v1/files/" + id + "/restore", Json::Value(Json::objectValue));
    EXPECT_EQ(full.status, 507);
    EXPECT_EQ(full.json["errorCode"], "21004913");
}

}  // namespace

}  // namespace Drive::ReferenceCloud
