#include "reference_cloud/http_message.h"

#include <json/reader.h>
#include <json/writer.h>

#include "interfaces/cloud/wire/codes.h"
#include "interfaces/cloud/wire/fields.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

const std::string& Lookup(const std::map<std::string, std::string>& map, const std::string& name) {
    static const std::string empty;
    const auto found = map.find(name);
    return found == map.end() ? empty : found->second;
}

constexpr std::int64_t kBodiesTogether = 256 * 1024 * 1024;

class SmallBodyHandler : public Handler {
public:
    SmallBodyHandler(std::size_t limit, std::function<Response(std::string&&)> answer, BodyBudget& budget)
        : limit_(limit), answer_(std::move(answer)), budget_(budget) {}
    ~SmallBodyHandler() override { budget_.GiveBack(taken_); }

    void Data(std::string_view bytes) override {
        if (body_.size() + bytes.size() > limit_) {
            throw Refusal(413, Wire::kTooLarge, "the request body is larger than " + std::to_string(limit_) + " bytes");
        }
        const auto more = static_cast<std::int64_t>(bytes.size());
        if (!budget_.Take(more)) {
            Refusal busy(503, "", "too many requests are being sent at once; try again in a moment");
            busy.retryAfter = 5;
            throw busy;
        }
        taken_ += more;
        body_ += bytes;
    }

    Response Finish() override { return answer_(std::move(body_)); }

private:
    const std::size_t limit_;
    const std::function<Response(std::string&&)> answer_;
    BodyBudget& budget_;
    std::string body_;
    std::int64_t taken_ = 0;
};

}  // namespace

const std::string& Request::Header(const std::string& lowerName) const { return Lookup(headers, lowerName); }
const std::string& Request::Query(const std::string& name) const { return Lookup(query, name); }

Response JsonResponse(const Json::Value& body, int status) {
    Response response;
    response.status = status;
    response.headers["Content-Type"] = "application/json; charset=utf-8";
    response.headers["Cache-Control"] = "no-store";
    response.text = JsonText(body);
    return response;
}

Response RefusalResponse(int status, const std::string& code, const std::string& description) {
    Json::Value body(Json::objectValue);
    body[Wire::kErrorCode] = code;
    body[Wire::kDescription] = description;
    return JsonResponse(body, status);
}

bool BodyBudget::Take(std::int64_t bytes) {
    if (left_.fetch_sub(bytes) >= bytes) return true;
    left_ += bytes;
    return false;
}

BodyBudget& BodyBudget::OfTheServer() {
    static BodyBudget budget(kBodiesTogether);
    return budget;
}

std::unique_ptr<Handler> SmallBody(std::size_t limit, std::function<Response(std::string&& body)> answer,
                                   BodyBudget& budget) {
    return std::make_unique<SmallBodyHandler>(limit, std::move(answer), budget);
}

std::string JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    std::string text = Json::writeString(builder, value);
    return IsUtf8(text) ? text : Readable(text);
}

std::optional<Json::Value> ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["stackLimit"] = 100;
    builder["failIfExtra"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) return std::nullopt;
    } catch (const Json::Exception&) {  // nested too deep
        return std::nullopt;
    }
    return value;
}

}  // namespace Drive::ReferenceCloud
