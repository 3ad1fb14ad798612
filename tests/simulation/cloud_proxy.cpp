// The file proxy of a history's cloud: content in one request, or slice by slice to a resume URL. It keeps what a proxy
// owes the engine: a session is bound to the file and to the hash of the start, its URL is asked for anew by every
// attempt, a slice that begins below what is held is taken, and only the content that the start has told becomes a
// file.
#include <json/json.h>

#include <algorithm>
#include <cstdlib>

#include "server_upload/server_upload.h"
#include "tests/simulation/cloud.h"
#include "tests/support/journal.h"
#include "tests/support/world.h"

namespace Drive::Simulation {

using Common::FileItem;
using HttpInterface::InterfaceName;
using Testing::Narrow;
using Testing::ScriptedCloud;
using Testing::Wide;

namespace {

constexpr std::int64_t kLarge = 10485760;
constexpr std::int64_t kSliceOfLarge = 4 << 20;
const char* const kPart = "Content-Type: application/octet-stream; charset=UTF-8\r\n ";

const Plan* runningPlan = nullptr;

std::string LastPart(const std::wstring& url) { return Narrow(url.substr(url.rfind(L'/') + 1)); }

// The bytes of the second part: from its head to the closing boundary.
std::string ContentOf(const std::string& body) {
    const std::size_t begin = body.rfind(kPart);
    const std::size_t end = body.rfind("\r\n --");
    if (begin == std::string::npos || end == std::string::npos) return {};
    const std::size_t first = begin + std::char_traits<char>::length(kPart);
    return end < first ? std::string() : body.substr(first, end - first);
}

bool SendsSlices(const FileItem& file) {
    if (runningPlan == nullptr) return false;
    return std::any_of(runningPlan->files.begin(), runningPlan->files.end(), [&](const PlannedFile& each) {
        return each.road == UploadRoad::Slices && Narrow(each.relative) == PlaceOf(file);
    });
}

}  // namespace

// A file that is known from the start keeps its road whatever becomes of it.
bool Cloud::ByProxy(const FileItem& file) const {
    return std::any_of(plan.files.begin(), plan.files.end(), [&](const PlannedFile& each) {
        return each.road != UploadRoad::Objects && Narrow(each.relative) == PlaceOf(file);
    });
}

std::string Cloud::ProxyPlan(const FileItem& file, const std::string& sha256) {
    const std::string id = Narrow(file.GetFileId());
    const std::string bound = sha256 + "/" + std::to_string(file.GetSize());
    if (memory.Get("session/" + id) != bound) {
        memory.Set("session/" + id, bound);
        memory.Set("held/" + id, "");
    }
    memory.Set("place/" + id, PlaceOf(file));
    memory.Set("start/" + id, sha256);
    Json::Value answer;
    answer["uploadType"] = "server";
    answer["version"] = 0;
    answer["uploadUrl"] = "http://proxy/" + id;
    answer["resumeUrl"] = "";
    answer["position"] = Json::Value::Int64(static_cast<std::int64_t>(memory.Get("held/" + id).size()));
    return Json::FastWriter().write(answer);
}

void Cloud::InstallProxy() {
    runningPlan = &plan;
    ScriptedCloud::Get().fileproxyUpload.Always([this](const std::wstring& url, const std::wstring&,
                                                       InterfaceName operation, const std::string& raw,
                                                       const std::string& text, const WMap& headers, WMap& result) {
        Call();
        const std::string id = LastPart(url);
        if (operation == InterfaceName::ResumeSlice) return TakeSlice(id, raw, headers, result);
        if (operation == InterfaceName::MultipartCreate || operation == InterfaceName::MultipartUpdate) {
            return TakeWhole(id, ContentOf(text), result);
        }
        return OpenSession(id, result);
    });
}

bool Cloud::Refuse(WMap& result) {
    result[L"statuscode"] = dice.Pick<std::wstring>({L"0", L"500", L"503"});
    return false;
}

bool Cloud::OpenSession(const std::string& id, WMap& result) {
    const bool fails = Fails(weather.start);
    if (fails && (down || !dice.OneOf(3))) return Refuse(result);
    const std::string bound = memory.Get("session/" + id);
    const std::int64_t size = std::atoll(bound.c_str() + bound.rfind('/') + 1);
    memory.Set("open/" + id, "yes");
    result[L"resumeUrl"] = L"http://proxy/" + Wide(id);
    result[L"sliceSize"] = std::to_wstring(size < kLarge ? plan.sliceSize : kSliceOfLarge);
    // Once in a while the answer breaks off behind the URL.
    if (fails) return Refuse(result);
    result[L"statuscode"] = L"200";
    return true;
}

bool Cloud::TakeWhole(const std::string& id, const std::string& content, WMap& result) {
    const bool fails = Fails(weather.put);
    if (fails && (down || dice.OneOf(2))) return Refuse(result);
    const bool taken = MakeFile(id, content, result);
    if (!fails) return taken;
    // The proxy has it, and its answer is lost.
    result.clear();
    return Refuse(result);
}

bool Cloud::TakeSlice(const std::string& id, const std::string& slice, const WMap& headers, WMap& result) {
    const std::string range = Narrow(headers.at(L"Content-Range"));
    const auto first = static_cast<std::size_t>(std::atoll(range.c_str() + 6));
    const auto size = static_cast<std::size_t>(std::atoll(range.c_str() + range.find('/') + 1));
    const bool fails = Fails(weather.put);
    if (fails && !down && dice.OneOf(4)) ForgetSession(id);
    if (!memory.Has("open/" + id)) {
        result[L"statuscode"] = L"404";
        return false;
    }
    if (fails && (down || dice.OneOf(2))) return Refuse(result);
    std::string held = memory.Get("held/" + id);
    if (first > held.size()) {
        trouble = id + ": a slice begins at " + std::to_string(first) + " of " + std::to_string(held.size());
    }
    held.resize(first);
    held += slice;
    memory.Set("held/" + id, held);
    memory.Set("reached/" + id, std::to_string(std::max(Reached(Wide(id)), static_cast<std::int64_t>(held.size()))));
    const bool whole = held.size() >= size;
    if (whole) {
        ForgetSession(id);
        if (!MakeFile(id, held, result)) return false;
    } else {
        result[L"statuscode"] = L"308";
    }
    if (!fails) return true;
    result.clear();
    return Refuse(result);
}

void Cloud::ForgetSession(const std::string& id) {
    memory.Forget("open/" + id);
    memory.Forget("session/" + id);
    memory.Forget("held/" + id);
}

std::int64_t Cloud::Reached(const std::wstring& id) const {
    return std::atoll(memory.Get("reached/" + Narrow(id)).c_str());
}

// A place has one file: who creates it again because the answer was lost gets the same id.
bool Cloud::MakeFile(const std::string& id, const std::string& content, WMap& result) {
    const std::string started = memory.Get("start/" + id);
    if (Testing::Sha256(content) != started) {
        result[L"statuscode"] = L"409";
        return false;
    }
    const std::string place = memory.Get("place/" + id);
    std::string made = id;
    if (id.rfind("Local", 0) == 0)
        made = memory.Has("named/" + place) ? memory.Get("named/" + place) : "Cloud-" + place;
    memory.Set("named/" + place, made);
    memory.Set("sum/" + made, started);
    result[L"id"] = Wide(made);
    result[L"statuscode"] = L"200";
    return true;
}

}  // namespace Drive::Simulation

// Ten mebibytes and more go slice by slice, which is too much for most histories: a file that its plan has chosen for
// that road takes it whatever its size. The dispatch by size is shown by the few that are as large.
using Drive::TransferService::ServerUpload;

#define ZELKOR_MULTIPART                                                                                          \
    "_ZN5Drive15TransferService12ServerUpload15multipartUploadERNS_6Common8FileItemERNS2_15UploadStartInfoERNS2_" \
    "8TaskItemERSt3mapINSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEESF_St4lessISF_ESaISt4pairIKSF_SF_EEE"
bool RealMultipart(ServerUpload* self, Drive::Common::FileItem& file, Drive::Common::UploadStartInfo& start,
                   Drive::Common::TaskItem& task, Drive::WMap& result) asm("__real_" ZELKOR_MULTIPART);
bool ChosenRoad(ServerUpload* self, Drive::Common::FileItem& file, Drive::Common::UploadStartInfo& start,
                Drive::Common::TaskItem& task, Drive::WMap& result) asm("__wrap_" ZELKOR_MULTIPART);
bool ChosenRoad(ServerUpload* self, Drive::Common::FileItem& file, Drive::Common::UploadStartInfo& start,
                Drive::Common::TaskItem& task, Drive::WMap& result) {
    if (Drive::Simulation::SendsSlices(file)) return self->resumeUpload(file, start, task, result);
    return RealMultipart(self, file, start, task, result);
}
