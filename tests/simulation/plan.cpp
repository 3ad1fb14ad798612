#include "tests/simulation/plan.h"

#include <algorithm>
#include <map>

#include "tests/simulation/dice.h"
#include "tests/support/world.h"

namespace Drive::Simulation {

namespace {

constexpr std::int64_t kBlock = 4 << 20;
constexpr std::int64_t kLargeUpload = 10 << 20;

std::int64_t SizeOf(Dice& dice, FileKind kind) {
    // Blocks of a plain transfer are of 4 MiB: now and then a file of more than one.
    if (kind == FileKind::Plain && dice.OneOf(150)) return kBlock + dice.Between(-1, 1) + (dice.OneOf(3) ? kBlock : 0);
    if (kind == FileKind::Plain && dice.OneOf(12)) return 0;
    if (dice.OneOf(2)) return dice.Pick<std::int64_t>({1, 15, 16, 17, 31, 32, 33, 48, 64, 65});
    return dice.Between(1, 100);
}

PlannedFile MakeFile(Dice& dice, std::size_t number) {
    PlannedFile file;
    const auto kind = dice.Below(10);
    file.kind = kind < 3 ? FileKind::Plain : kind < 6 ? FileKind::Encrypted : FileKind::Upload;
    const std::wstring text = std::to_wstring(number);
    const bool known = file.kind != FileKind::Upload || dice.OneOf(3);
    file.id = (known ? L"File-" : L"Local-") + text;
    file.relative = (dice.OneOf(3) ? L"folder\\" : L"") + std::wstring(L"name-") + text + L".bin";
    file.size = SizeOf(dice, file.kind);
    file.content = static_cast<unsigned>(dice.Below(100000) * 10 + static_cast<std::int64_t>(number));
    file.priority = static_cast<int>(dice.Between(1, 4));
    file.hasTask = !dice.OneOf(6);
    if (file.kind == FileKind::Upload) {
        file.fileStatus = dice.Pick<int>({11, 11, 11, 13, 12});
        file.existing = dice.OneOf(8);
        file.road = dice.Pick<UploadRoad>(
            {UploadRoad::Objects, UploadRoad::Objects, UploadRoad::Whole, UploadRoad::Slices, UploadRoad::Slices});
        // Now and then at the very size that the engine's own choice of the road depends on.
        if (file.road == UploadRoad::Whole && dice.OneOf(40)) file.size = kLargeUpload - dice.Below(2);
        return file;
    }
    file.fileStatus = dice.Pick<int>({21, 21, 21, 23, 22, 0});
    if (file.fileStatus == 0) file.hasTask = true;
    file.placeholder = dice.OneOf(2);
    file.picture = dice.OneOf(4);
    if (file.kind == FileKind::Plain && file.hasTask && file.size > 1 && dice.OneOf(4)) {
        file.resumeAt = dice.Between(1, file.size - 1);
    }
    return file;
}

Weather Storm(Dice& dice) {
    Weather weather;
    const int harsh = static_cast<int>(dice.Pick<int>({3, 6, 12}));
    const auto perhaps = [&] { return dice.OneOf(2) ? harsh : 0; };
    weather.address = perhaps();
    weather.transfer = perhaps();
    weather.object = perhaps();
    weather.start = perhaps();
    weather.put = perhaps();
    weather.finish = perhaps();
    weather.space = perhaps();
    weather.exception = dice.OneOf(4) ? harsh * 8 : 0;
    weather.database = dice.OneOf(4) ? harsh * 4 : 0;
    weather.disk = dice.OneOf(3) ? harsh : 0;
    weather.pool = dice.OneOf(8) ? harsh : 0;
    weather.host = dice.OneOf(3) ? harsh : 0;
    weather.slowest = dice.Pick<std::int64_t>({0, 200, 3000, 15000});
    return weather;
}

std::vector<Action> MakeActions(Dice& dice, const Plan& plan, std::int64_t length) {
    std::vector<Action> actions;
    const std::vector<Deed> deeds = {Deed::Fetch,     Deed::Fetch,     Deed::FetchByPath, Deed::Cancel,
                                     Deed::Cancel,    Deed::Edit,      Deed::RowStop,     Deed::Remove,
                                     Deed::SpaceFull, Deed::SpaceBack, Deed::LineDown,    Deed::DiskFull};
    const auto follow = [&](Action action, Deed deed, std::int64_t most) {
        action.at += dice.Below(most);
        action.deed = deed;
        actions.push_back(action);
    };
    for (std::int64_t left = dice.Below(6); left > 0; --left) {
        Action action;
        action.at = dice.Between(0, length);
        action.deed = dice.Pick(deeds);
        action.file = static_cast<std::size_t>(dice.Below(static_cast<std::int64_t>(plan.files.size())));
        actions.push_back(action);
        // The impatient ask twice.
        if (action.deed == Deed::Fetch && dice.OneOf(3)) actions.push_back(action);
        // A fetch that is given up, or that meets its trouble on the way.
        if (action.deed == Deed::Fetch && dice.OneOf(2)) {
            follow(action, dice.Pick<Deed>({Deed::Cancel, Deed::RowStop, Deed::LineDown, Deed::DiskFull}), 3000);
        }
        if (actions.back().deed == Deed::LineDown) follow(actions.back(), Deed::LineBack, 9000);
        if (actions.back().deed == Deed::DiskFull) follow(actions.back(), Deed::DiskBack, 9000);
    }
    std::stable_sort(actions.begin(), actions.end(), [](const Action& a, const Action& b) { return a.at < b.at; });
    return actions;
}

LifePlan MakeLife(Dice& dice, const Plan& plan) {
    LifePlan life;
    life.seed = dice.Next();
    life.weather = dice.OneOf(5) ? Weather() : Storm(dice);
    life.ending = dice.Pick<Ending>({Ending::Crash, Ending::Crash, Ending::Stop, Ending::Rest});
    life.length = life.ending == Ending::Stop ? dice.Between(1, 25000) : 30000;
    life.actions = MakeActions(dice, plan, std::min<std::int64_t>(life.length, 15000));
    life.crashStep = static_cast<std::uint64_t>(dice.Between(1, dice.OneOf(3) ? 300 : 1500));
    life.downloadSlots = static_cast<int>(dice.Between(1, 3));
    life.prioritySlots = static_cast<int>(dice.Between(1, 2));
    life.thumbnailSlots = static_cast<int>(dice.Between(1, 2));
    life.uploadSlots = static_cast<int>(dice.Between(1, 3));
    return life;
}

}  // namespace

Plan MakePlan(std::uint64_t seed) {
    Dice dice(seed);
    Plan plan;
    plan.seed = seed;
    plan.sliceSize = dice.Pick<std::int64_t>({16, 32, 40});
    for (std::int64_t count = dice.Between(1, 6); count > 0; --count) {
        plan.files.push_back(MakeFile(dice, plan.files.size()));
    }
    for (std::int64_t count = dice.Pick<std::int64_t>({1, 1, 1, 2}); count > 0; --count) {
        plan.lives.push_back(MakeLife(dice, plan));
    }
    LifePlan last;
    last.seed = dice.Next();
    last.length = 600000;
    plan.lives.push_back(last);
    return plan;
}

const std::string& BytesOf(const PlannedFile& file) {
    static std::map<unsigned, std::string> made;
    const auto [place, isNew] = made.try_emplace(file.content);
    if (isNew) place->second = Testing::Content(static_cast<std::size_t>(file.size), file.content);
    return place->second;
}

const std::string& SumOf(const PlannedFile& file) {
    static std::map<unsigned, std::string> made;
    std::string& sum = made[file.content];
    if (sum.empty()) sum = Testing::Sha256(BytesOf(file));
    return sum;
}

}  // namespace Drive::Simulation
