#pragma once

#include <cstdint>

namespace Drive::Host {

/// How long a command waits for the keys of the account, without which the engine moves nothing. Pure; milliseconds of
/// a clock that never goes back.
class KeyPatience {
public:
    /// True once, after ten seconds without keys: time to tell the person.
    bool TimeToTell(bool hasKeys, std::int64_t now) {
        Look(hasKeys, now);
        const bool tell = !told && since != 0 && now - since >= kTellAfter;
        told = told || tell;
        return tell;
    }

    /// True after two minutes without keys.
    bool Exhausted(bool hasKeys, std::int64_t now) {
        Look(hasKeys, now);
        return since != 0 && now - since >= kGiveUpAfter;
    }

    static constexpr std::int64_t kTellAfter = 10 * 1000;
    static constexpr std::int64_t kGiveUpAfter = 2 * 60 * 1000;

private:
    void Look(bool hasKeys, std::int64_t now) { since = hasKeys ? 0 : since == 0 ? now : since; }

    std::int64_t since = 0;
    bool told = false;
};

}  // namespace Drive::Host
