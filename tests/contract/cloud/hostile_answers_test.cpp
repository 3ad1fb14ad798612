// Every field of every answer, in turn, absent, null, of another type, huge, negative and odd: nothing may crash or
// take memory without bound, what an operation calls a success must be safe to work with, and what it refuses is told.
#include <algorithm>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/common/encrypt_helper.h"
#include "tests/contract/cloud/cloud_test.h"
#include "tests/contract/cloud/memory_count.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;
using Cloud::CloudFile;
using Cloud::DriveAccount;
using Common::EncryptHelper;
using HttpInterface::InterfaceName;

const std::vector<std::string>& OddValues() {
    static const std::vector<std::string> values{
        "null",
        "true",
        "0",
        "-1",
        "1.5",
        "1e300",
        "1e308",
        "9007199254740993",
        "-1e300",
        "9223372036854775807",
        "-9223372036854775808",
        "18446744073709551615",
        "99999999999999999999999999",
        "\"\"",
        "\"x\"",
        "\"Local1\"",
        "\"' OR '1'='1\"",
        "\"\\u0000\"",
        "\"\\r\\nX: y\"",
        "\"\\udc80\"",
        "\"..\"",
        "\"http://127.0.0.1:1/\"",
        "\"" + std::string(70'000, 'x') + "\"",
        std::string(10'000, '[') + std::string(10'000, ']'),
        R"({"a":1,"a":2})",
        "{}",
        "[]",
        "[null]",
        "[{}]",
        "{\"x\":{}}",
        "[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]",
        "\"\xff\xfe\"",
        "NaN",
        ""};
    return values;
}

/// Stands where a text of very many letters goes; no answer has it otherwise.
const std::string kFloodMark = "\x01 here";
constexpr std::size_t kFlood = std::size_t{100} << 20;
#ifdef ZELKOR_SANITIZED
constexpr int kFloodEvery = 8;  // of the fields: each takes a second or two there
#else
constexpr int kFloodEvery = 1;
#endif
/// The library keeps at most 16 MiB of an answer; a string that grows to that may hold three times as much meanwhile.
constexpr std::size_t kMostHeld = std::size_t{64} << 20;

/// All texts that differ from `value` in one field: taken out, or replaced by each odd value.
void Vary(const Json::Value& value, const std::vector<std::string>& odds,
          const std::function<void(const std::string&)>& each) {
    for (const auto& odd : odds) each(odd);
    if (value.isObject()) {
        const auto write = [&](const std::string& changed, const std::string* replacement) {
            std::string text;
            for (const auto& name : value.getMemberNames()) {
                if (name == changed && replacement == nullptr) continue;
                text += (text.empty() ? "{" : ",") + ("\"" + name + "\":");
                text += name == changed ? *replacement : ToJson(value[name]);
            }
            return text.empty() ? std::string("{}") : text + "}";
        };
        for (const auto& name : value.getMemberNames()) {
            each(write(name, nullptr));
            Vary(value[name], odds, [&](const std::string& text) { each(write(name, &text)); });
        }
    } else if (value.isArray()) {
        for (Json::ArrayIndex changed = 0; changed < value.size(); ++changed) {
            Vary(value[changed], odds, [&](const std::string& text) {
                std::string whole;
                for (Json::ArrayIndex index = 0; index < value.size(); ++index) {
                    whole += (index == 0 ? "[" : ",") + (index == changed ? text : ToJson(value[index]));
                }
                each(whole + "]");
            });
        }
    }
}

bool IsSafeId(const std::wstring& id) {
    return !id.empty() && id.rfind(L"Local", 0) != 0 && id.find_first_of(L"'\"\\\r\n") == std::wstring::npos &&
           id.find(L'\0') == std::wstring::npos;
}

bool IsSafeUrl(const std::wstring& url) {
    return (url.rfind(L"http://", 0) == 0 || url.rfind(L"https://", 0) == 0 || url.rfind(L"/", 0) == 0) &&
           url.find_first_of(L" \r\n\\") == std::wstring::npos;
}

bool AreSafe(const WMap& headers) {
    return std::all_of(headers.begin(), headers.end(), [](const auto& header) {
        return !header.first.empty() && header.first.find_first_of(L" :\r\n") == std::wstring::npos &&
               header.second.find_first_of(std::wstring(L"\r\n\0", 3)) == std::wstring::npos;
    });
}

bool IsComplete(const WMap& result) {
    return result.count(L"errorCode") == 1 && result.count(L"statuscode") == 1 && result.count(L"description") == 1;
}

class HostileAnswers : public CloudTest {
protected:
    /// Runs the check on the sound answer, which it must accept, and on every bent one.
    void Try(const std::string& sound, const std::function<bool()>& accepts) {
        Serve(Reply::Json(sound));
        ASSERT_TRUE(accepts()) << "the sound answer was refused";
        int tried = 0, accepted = 0;
        Vary(ParseJson(sound), OddValues(), [&](const std::string& text) {
            answer = text;
            Serve(Reply::Json(text));
            const std::size_t lines = LogLines();
            const bool taken = accepts();
            EXPECT_TRUE(taken || LogHolds(told, lines)) << "refused without a line in the log";
            accepted += taken ? 1 : 0;
            ++tried;
            if (HasFailure()) FAIL() << "with the answer " << text.substr(0, 2000);
        });
        EXPECT_GT(tried, 25);
        EXPECT_LT(accepted, tried);
        Flood(sound, accepts);
    }

    /// A hundred mebibytes of text in each field, with the length told before and without.
    void Flood(const std::string& sound, const std::function<bool()>& accepts) {
        int field = 0;
        Vary(ParseJson(sound), {"\"" + kFloodMark + "\""}, [&](const std::string& text) {
            const std::size_t at = text.find(kFloodMark);
            if (at == std::string::npos || field++ % kFloodEvery != 0) return;  // without a mark a field is absent
            Reply reply = Reply::Json(std::string(text).erase(at, kFloodMark.size()));
            reply.padding = kFlood;
            reply.paddingAt = at;
            for (const bool chunked : {false, true}) {
                reply.chunked = chunked;
                Serve(reply);
                const std::size_t lines = LogLines();
                const MemoryPeak peak;
                EXPECT_FALSE(accepts()) << reply.body;
                EXPECT_LT(peak.Bytes(), kMostHeld) << reply.body;
                EXPECT_TRUE(LogHolds("the answer is longer than", lines)) << reply.body;
            }
        });
    }

    void Serve(const Reply& reply) {
        server.Answer([reply, only = route](const SeenRequest& request) {
            return only.empty() || request.target == only ? reply : Reply::Json("", 401);
        });
    }

    std::string answer;
    std::string route;                  ///< which alone gets the odd answers; empty: all
    std::string told = "CloudClient ";  ///< what the line of a refusal has in it
};

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheUploadStart) {
    Common::FileItem file;
    Try(R"({"uploadType":"client","version":7,"bucketId":"b","position":0,"recordCursor":"rc","uploadUrl":"","resumeUrl":"",)"
        R"("sliceSize":4194304,"items":[{"objectId":"o1","length":16,"synckey":"k","time":"t","status":false}]})",
        [&] {
            std::wstring code;
            const std::string plan = CloudDriveInterface::ObjectsUploadStart(file, L"", L"", code);
            if (plan.empty()) return false;
            EXPECT_TRUE(answer.empty() || plan == answer);
            const auto type = ParseJson(plan)["uploadType"].asString();
            EXPECT_TRUE(type == "client" || type == "exist" || type == "server");
            return true;
        });
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheUploadAddress) {
    Try(R"({"url":"http://127.0.0.1/store/b/o","method":"PUT","headers":{"A":"b"},"bucketId":"b","errorCode":"","description":""})",
        [] {
            Common::GetKelpAddressModel model;
            WMap result;
            const bool done = CloudDriveInterface::GetUploadKelpAddress({}, {}, model, result);
            EXPECT_TRUE(IsComplete(result));
            if (!done) return false;
            EXPECT_TRUE(IsSafeUrl(model.GetUrl()));
            EXPECT_NE(L"", model.GetMethod());
            EXPECT_TRUE(AreSafe(model.GetKelpAddressHeaders()));
            return true;
        });
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheCompletion) {
    Common::FileItem file;
    file.SetFileId(L"Local1");
    Common::CreateUpdateRequestModel model(file);
    Try(R"({"id":"cloud1","fileName":"n","category":"c","mimeType":"m","parentFolder":"p","contentVersion":"1","size":5,)"
        R"("errorCode":"","attachmentSize":[1]})",
        [&] {
            WMap result;
            const bool done = CloudDriveInterface::FilesCreateComplete(file, L"", model, result);
            EXPECT_TRUE(IsComplete(result));
            if (done) {
                EXPECT_TRUE(IsSafeId(Get(result, L"id")));
                EXPECT_EQ(L"200", Get(result, L"statuscode"));
            } else {
                EXPECT_EQ(0u, result.count(L"id"));
            }
            return done;
        });
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheFileProxy) {
    const std::string sound = R"({"id":"cloud1","resumeUrl":"http://127.0.0.1/p","sliceSize":5242880,"position":0})";
    const auto upload = [&](InterfaceName operation, WMap& result) {
        return CloudDriveInterface::FileproxyUpload(server.WideUrl("/p"), L"Local1", operation, "x", "",
                                                    {{L"Content-Range", L"bytes 0-0/1"}}, result);
    };
    Try(sound, [&] {
        WMap result;
        const bool done = upload(InterfaceName::ResumeCreate, result);
        EXPECT_TRUE(IsComplete(result));
        if (done) {
            EXPECT_TRUE(IsSafeUrl(Get(result, L"resumeUrl")));
            EXPECT_GT(std::stol(Get(result, L"sliceSize")), 0);
        } else {
            EXPECT_EQ(0u, result.count(L"resumeUrl"));
        }
        return done;
    });
    for (const auto operation : {InterfaceName::MultipartCreate, InterfaceName::ResumeSlice}) {
        Try(sound, [&] {
            WMap result;
            const bool done = upload(operation, result);
            EXPECT_TRUE(IsComplete(result));
            EXPECT_EQ(done, Get(result, L"statuscode") == L"200");
            if (done) {
                EXPECT_TRUE(IsSafeId(Get(result, L"id")));
            }
            return done;
        });
    }
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheDownload) {
    const auto ask = [] {
        Common::DownLoadAddressInfoModel model;
        if (!CloudDriveInterface::GetDownloadAddressInfo(L"f1", model)) return false;
        if (model.GetEncFekList().empty()) {
            EXPECT_TRUE(IsSafeUrl(model.GetDownloadURL()));
            return true;
        }
        EXPECT_FALSE(model.GetObjectInfoList().empty());
        for (const auto& objects : model.GetObjectInfoList()) {
            EXPECT_FALSE(objects.objectIds.empty());
            EXPECT_EQ(objects.objectIds.size(), objects.synckeys.size());
            EXPECT_GE(objects.length, 0);
            for (const auto& id : objects.objectIds) EXPECT_NE(L"", id);
        }
        return true;
    };
    Try(R"({"fileId":"f1","fileName":"n","size":5,"contentVersion":"4","recordCursor":"rc","downloadUrl":"",)"
        R"("encFekList":[{"efek":"e1","encryptAlgorithm":"AES_128","keyType":"1","iv":"i1","keyUid":"u1"}],)"
        R"("objectInfoList":[{"bucketId":"b","time":"t","length":4112,"objectIds":["o1","o2"],"synckeys":["k1","k2"],)"
        R"("attributes":[{"name":"","size":5}]}]})",
        ask);
    Try(R"({"fileId":"f1","downloadUrl":"http://127.0.0.1/c","encFekList":[],"objectInfoList":[]})", ask);
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheDownloadAddress) {
    Try(R"({"url":"http://127.0.0.1/store/b/o","headers":{"A":"b"}})", [] {
        Common::DownloadKelpAddressInfo info;
        if (!CloudDriveInterface::GetDownloadKelpAddress({}, info)) return false;
        EXPECT_TRUE(IsSafeUrl(info.GetUrl()));
        EXPECT_TRUE(AreSafe(info.GetHeaders()));
        return true;
    });
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheQuestionForSpace) {
    Try(R"({"total":100,"used":40,"remaining":60})", [this] {
        Configure(Settings());  // forgets what was remembered
        std::wstring text;
        const auto space = CloudDriveInterface::GetUserSpace(text);
        EXPECT_GE(space, -1);
        return space >= 0;
    });
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheKeyService) {
    const std::string bytes = Content(91);
    const std::string key = EncryptHelper::Base64Encode(reinterpret_cast<const unsigned char*>(bytes.data()), 91, true);
    Try(R"({"publicKey":")" + key + R"(","version":"1"})", [] {
        const std::string text = CloudDriveInterface::PublickKey();
        if (text.empty()) return false;
        EXPECT_EQ(91u, EncryptHelper::Base64Decode(ParseJson(text)["publicKey"].asString(), false).size());
        EXPECT_TRUE(ParseJson(text)["version"].isString());
        return true;
    });
    Try(R"({"keys":[{"keyType":1,"encryptedKey":")" + key + R"(","keyUuid":"u"}]})", [] {
        const std::string text = CloudDriveInterface::KeyList(1, L"", L"");
        if (text.empty()) return false;
        const auto list = ParseJson(text);
        for (const auto& entry : list["keys"]) {
            EXPECT_LE(EncryptHelper::Base64Decode(entry["encryptedKey"].asString(), false).size(), 256u + 28u);
            EXPECT_TRUE(entry["keyUuid"].isString());
        }
        return !list["keys"].empty();
    });
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheList) {
    Try(R"({"items":[{"id":"f1","fileName":"n","parentFolder":"p","isFolder":false,"isDeleted":false,"size":5,"sha256":"s",)"
        R"("mimeType":"m","category":"c","contentVersion":"1","thumbnailLink":"","attachmentSize":[1],"editedTime":1}],)"
        R"("nextCursor":"","changeCursor":"c"})",
        [] {
            std::vector<CloudFile> files;
            std::wstring cursor;
            const bool done = DriveAccount::List(files, cursor).ok;
            for (const auto& file : files) {
                EXPECT_TRUE(IsSafeId(file.id));
                EXPECT_GE(file.size, 0);
            }
            return done;
        });
}

// CLOUD-HOSTILE-02
TEST_F(HostileAnswers, ALongTextCostsABoundedMultipleOfItself) {
    Reply reply = Reply::Json(
        R"({"items":[{"id":"f1","fileName":"n","parentFolder":"p","size":5}],"nextCursor":"","changeCursor":"c"})");
    reply.padding = std::size_t{1} << 20;
    reply.paddingAt = reply.body.find("n\",\"parentFolder");
    server.AnswerAll(reply);
    std::vector<CloudFile> files;
    std::wstring cursor;
    const MemoryPeak peak;
    EXPECT_TRUE(DriveAccount::List(files, cursor).ok);
    EXPECT_EQ(reply.padding + 1, files.at(0).fileName.size());
    EXPECT_LT(peak.Bytes(), std::size_t{20} * reply.padding);
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheSignIn) {
    Try(R"({"accessToken":"t","refreshToken":"r","expiresIn":60,"userId":"u","rootFileId":"root1","serverVersion":"1"})",
        [] {
            Cloud::Login login;
            const bool done = DriveAccount::SignIn(L"u", L"p", login).ok;
            EXPECT_EQ(done, !login.accessToken.empty());
            EXPECT_TRUE(login.rootFileId.empty() || IsSafeId(login.rootFileId));
            return done;
        });
}

// CLOUD-HOSTILE-01
TEST_F(HostileAnswers, ToTheRenewalOfALogin) {
    // Everything else is refused, so that the token has to be renewed.
    route = "/v1/account/refresh";
    told = "CloudClient RefreshLogin";
    Try(R"({"accessToken":"t","refreshToken":"r","expiresIn":60,"userId":"u","rootFileId":"root1","serverVersion":"1"})",
        [this] {
            Cloud::Login old;
            old.accessToken = L"old";
            old.refreshToken = L"r";
            DriveAccount::UseLogin(old);
            Cloud::Login fresh;
            DriveAccount::OnRefresh([&](const Cloud::Login& login) { fresh = login; });
            CloudFile file;
            EXPECT_FALSE(DriveAccount::Get(L"f1", file).ok);
            DriveAccount::OnRefresh({});
            EXPECT_TRUE(fresh.rootFileId.empty() || IsSafeId(fresh.rootFileId));
            return !fresh.accessToken.empty();
        });
}

}  // namespace
}  // namespace Drive::Testing
