#include "collaborators/cloud/user_space.h"

#include <mutex>
#include <optional>

#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/json_fields.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "interfaces/platform/clock.h"

namespace Drive::Cloud {

namespace {

constexpr std::int64_t kRememberedMilliseconds = 10'000;
constexpr std::int64_t kFailed = -1;

/// Never destroyed: threads may still be in a call when the process ends.
struct Memory {
    std::mutex mutex;  // guards what follows
    std::int64_t space = kFailed;
    std::int64_t askedAt = 0;
    std::uint64_t generation = 0;  ///< counts the drops, so that an answer from before one is not kept after it
};

Memory& Shared() {
    static Memory& memory = *new Memory;
    return memory;
}

std::optional<std::int64_t> Remembered(std::uint64_t& generation) {
    Memory& memory = Shared();
    const std::lock_guard lock(memory.mutex);
    generation = memory.generation;
    const bool fresh = Platform::MonotonicMilliseconds() - memory.askedAt < kRememberedMilliseconds;
    return memory.space >= 0 && fresh ? std::optional(memory.space) : std::nullopt;
}

void Remember(std::int64_t space, std::uint64_t generation) {
    Memory& memory = Shared();
    const std::lock_guard lock(memory.mutex);
    if (memory.generation != generation) return;
    memory.space = space;
    memory.askedAt = Platform::MonotonicMilliseconds();
}

std::int64_t AskForSpace() {
    ControlRequest request;
    request.call = "GetUserSpace";
    request.route = Wire::kSpace;
    const ControlAnswer answer = CallCloud(request);
    if (!answer.ok) return kFailed;
    JsonFields fields(answer.body, request.call);
    const std::int64_t space = fields.Size(Wire::kRemaining);
    if (fields.Sound() && fields.Has(Wire::kRemaining)) return space;
    SyncPanelLog::WriteErrorLog("CloudClient", request.call, "the cloud's answer does not tell the space that is left");
    return kFailed;
}

}  // namespace

void DropRememberedSpace() {
    Memory& memory = Shared();
    const std::lock_guard lock(memory.mutex);
    memory.space = kFailed;
    ++memory.generation;
}

std::int64_t CloudDriveInterface::GetUserSpace(std::wstring& text) {
    text.clear();
    return Guarded("GetUserSpace", kFailed, [] {
        std::uint64_t generation = 0;
        if (const auto space = Remembered(generation)) return *space;
        const std::int64_t space = AskForSpace();
        Remember(space, generation);  // a failure is no space to remember
        return space;
    });
}

}  // namespace Drive::Cloud
