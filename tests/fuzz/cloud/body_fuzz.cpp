// What else zelkor-cloud reads: JSON bodies and their fields, addresses, texts in their codes, a temporary key, the
// gateway's list of objects, and the scenario file. Each is refused by its own kind of exception, or keeps its promise.
//
// First byte: which of them. The rest is the text.
#include <stdlib.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>

#include "reference_cloud/cloud_name.h"
#include "reference_cloud/fields.h"
#include "reference_cloud/http_message.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/router.h"
#include "reference_cloud/s3_listing.h"
#include "reference_cloud/scenario_text.h"
#include "reference_cloud/secrets.h"
#include "reference_cloud/text.h"
#include "tests/fuzz/platform/require.h"

namespace {

using namespace Drive::ReferenceCloud;

/// Runs a reader of a field; a value of the wrong kind is refused as the sender's fault.
template <typename Read>
void Field(const Read& read) {
    try {
        read();
    } catch (const Refusal& refusal) {
        ZELKOR_REQUIRE(refusal.status == 400 && *refusal.what() != '\0');
    }
}

void CheckField(const Json::Value& object, const char* name) {
    Field([&] { ZELKOR_REQUIRE(IsUtf8(TextField(object, name))); });
    Field([&] { ZELKOR_REQUIRE(IsUtf8(TextOrSingle(object, name))); });
    Field([&] { ZELKOR_REQUIRE(ShortText(object, name).size() <= 1024); });
    Field([&] { ZELKOR_REQUIRE(!NeededText(object, name).empty()); });
    Field([&] { ZELKOR_REQUIRE(NumberField(object, name, 7) >= 0); });
    Field([&] { ZELKOR_REQUIRE(ArrayField(object, name).isArray()); });
    Field([&] {
        const std::string found = NameField(object, name);
        ZELKOR_REQUIRE(!found.empty() && found != "." && found != ".." && found.size() <= 1024);
        ZELKOR_REQUIRE(found.find('/') == std::string::npos && found.find('\0') == std::string::npos);
    });
    Field([&] {
        const std::string digest = DigestField(object, name, 64);
        ZELKOR_REQUIRE(digest.empty() || (digest.size() == 64 && FromHex(digest)));
    });
}

void CheckBody(const std::string& text) {
    const auto value = ParseJson(text);
    bool isObject = false;
    Field([&] { isObject = RequestObject(text).isObject(); });
    ZELKOR_REQUIRE(isObject == (value && value->isObject()));
    if (!value) return;
    const std::string written = JsonText(*value);
    ZELKOR_REQUIRE(IsUtf8(written));
    const auto again = ParseJson(written);
    ZELKOR_REQUIRE(again);
    // Odd bytes in the names of fields become alike when they are written, and lone surrogates are odd bytes.
    if (IsUtf8(text) && text.find('\\') == std::string::npos) ZELKOR_REQUIRE(JsonText(*again) == written);
    if (!isObject) return;
    for (const std::string& name : value->getMemberNames()) CheckField(*value, name.c_str());
    CheckField(*value, "a name that is in no body");
}

void CheckListing(const std::string& text) {
    try {
        const S3Listing listing = ReadS3Listing(text);
        ZELKOR_REQUIRE(listing.next.size() <= text.size() && listing.keys.size() <= text.size());
        std::size_t together = 0;
        for (const std::string& key : listing.keys) together += key.size();
        ZELKOR_REQUIRE(together <= text.size());
        ZELKOR_REQUIRE(ReadS3Listing(text).keys == listing.keys);
    } catch (const std::runtime_error& failure) {
        ZELKOR_REQUIRE(*failure.what() != '\0');
    }
}

void CheckScenario(const std::string& text) {
    try {
        const Json::Value scenario = ReadScenarioText(text, "s.json");
        ZELKOR_REQUIRE(scenario.isObject() && scenario["rules"].isArray());
        for (const Json::Value& rule : scenario["rules"]) ZELKOR_REQUIRE(rule.isObject());
    } catch (const std::runtime_error& failure) {
        ZELKOR_REQUIRE(std::string(failure.what()).find("s.json") != std::string::npos);
    }
}

void CheckTexts(const std::string& text) {
    ZELKOR_REQUIRE(FromHex(ToHex(text)) == text);
    ZELKOR_REQUIRE(FromBase64(ToBase64(text)) == text);
    if (const auto bytes = FromHex(text)) ZELKOR_REQUIRE(bytes->size() * 2 == text.size());
    if (const auto bytes = FromBase64(text)) ZELKOR_REQUIRE(bytes->size() <= text.size());
    if (const auto number = ParseNumber(text)) {
        ZELKOR_REQUIRE(*number >= 0 && text.find_first_not_of("0123456789") == std::string::npos);
    }
    ZELKOR_REQUIRE(IsUtf8(Readable(text)) && (Readable(text) == text) == IsUtf8(text));
    ZELKOR_REQUIRE(Widen(text).size() <= text.size());
    if (IsUtf8(text)) ZELKOR_REQUIRE(Utf8(Widen(text)) == text);
    ZELKOR_REQUIRE(IsUtf8(CloudName(text)));
    ZELKOR_REQUIRE(EqualSecret(text, text) && !EqualSecret(text, text + 'x'));
}

const Router& Routes() {
    static const Router* const router = [] {
        auto* made = new Router([](Request& request) {
            if (request.Header("authorization").empty()) throw Refusal(401, "", "sign in");
        });
        const auto plain = [](const Request&) { return Response(); };
        made->AddPlain("GET", "/open/{id}", Router::Access::open, plain);
        made->AddPlain("GET", "/open/{id}/rest/{last}", Router::Access::token, plain);
        made->AddJson("POST", "/open/list", Router::Access::token,
                      [](const Request&, const Json::Value& body) { return JsonResponse(body); });
        return made;
    }();
    return *router;
}

/// The first line is the path, the second the method, a third one makes a token; the others are the body.
void CheckAddress(const std::string& text) {
    std::array<std::string, 3> lines;
    std::size_t at = 0;
    for (std::string& line : lines) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        line = text.substr(at, end - at);
        at = std::min(end + 1, text.size());
    }
    Request request;
    request.path = lines[0];
    request.method = lines[1];
    if (!lines[2].empty()) request.headers["authorization"] = lines[2];
    try {
        const auto handler = Routes().Open(request);
        ZELKOR_REQUIRE(handler && request.path.rfind("/open/", 0) == 0);
        for (const auto& [name, value] : request.segments) {
            ZELKOR_REQUIRE(!value.empty() && value.find('/') == std::string::npos);
        }
        handler->Data(std::string_view(text).substr(at));
        ZELKOR_REQUIRE(handler->Finish().status == 200);
    } catch (const Refusal& refusal) {
        ZELKOR_REQUIRE(refusal.status >= 400 && refusal.status < 500);
    }
}

const Secrets& Keys() {
    static const Secrets* const keys = [] {
        char folder[] = "/tmp/zelkor-fuzz-XXXXXX";
        ZELKOR_REQUIRE(mkdtemp(folder) != nullptr);
        auto* opened = new Secrets(Secrets::Open(std::string(folder) + "/keys.json"));
        std::filesystem::remove_all(folder);
        return opened;
    }();
    return *keys;
}

void CheckTemporaryKey(const std::string& text) {
    if (const auto key = Keys().OpenTemporaryKey(text)) ZELKOR_REQUIRE(key->size() == 16 || key->size() == 32);
    try {
        Keys().OpenContentKey(text);
    } catch (const std::runtime_error&) {
    }
    ZELKOR_REQUIRE(Keys().OpenContentKey(Keys().SealContentKey(text + '.')) == text + '.');
}

constexpr std::array<void (*)(const std::string&), 6> kReaders{CheckBody,  CheckListing, CheckScenario,
                                                               CheckTexts, CheckAddress, CheckTemporaryKey};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    kReaders[data[0] % kReaders.size()](std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
    return 0;
}
