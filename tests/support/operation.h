#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "tests/support/untraced.h"
#include "tests/support/virtual_time.h"

namespace Drive::Testing {

template <class Signature>
class Operation;

/// The script of one operation of a double: what it answers, call by call. Answers that were queued with Next... are
/// used up first, then the standing one (Always...), then the double's own default. Any thread.
template <class Result, class... Arguments>
class Operation<Result(Arguments...)> {
public:
    using Answer = std::function<Result(Arguments...)>;

    /// From now on.
    void Always(Answer answer) {
        std::lock_guard<std::mutex> lock(mutex);
        standing = std::move(answer);
    }
    template <class Value>
    void AlwaysReturns(Value value) {
        Always([value](Arguments...) -> Result { return value; });
    }
    void AlwaysThrows(std::string what) {
        Always([what](Arguments...) -> Result { throw std::runtime_error(what); });
    }

    /// For the next call that has no queued answer yet.
    void Next(Answer answer) {
        std::lock_guard<std::mutex> lock(mutex);
        queued.push_back(std::move(answer));
    }
    template <class Value>
    void NextReturns(Value value) {
        Next([value](Arguments...) -> Result { return value; });
    }
    void NextThrows(std::string what) {
        Next([what](Arguments...) -> Result { throw std::runtime_error(what); });
    }
    /// For the next call: the default.
    void NextDefault() { Next(Answer()); }

    /// Every call takes this many milliseconds of virtual time from now on.
    void Takes(std::int64_t milliseconds) { delay = milliseconds; }

    /// Called with the same arguments before every answer, whatever the answer is.
    void Before(std::function<void(Arguments...)> hook) {
        std::lock_guard<std::mutex> lock(mutex);
        before = std::move(hook);
    }

    int Calls() const { return calls; }

    void Reset() {
        std::lock_guard<std::mutex> lock(mutex);
        standing = Answer();
        queued.clear();
        before = nullptr;
        calls = 0;
        delay = 0;
    }

    /// For doubles: one call, with the double's default. The arguments are passed on as they are declared.
    template <class Default>
    Result Call(const Default& fallback, Arguments... arguments) {
        Answer answer;
        std::function<void(Arguments...)> hook;
        {
            std::lock_guard<std::mutex> lock(mutex);
            ++calls;
            hook = before;
            if (!queued.empty()) {
                answer = std::move(queued.front());
                queued.pop_front();
            } else {
                answer = standing;
            }
        }
        if (hook) hook(static_cast<Arguments>(arguments)...);
        if (delay > 0) {
            VirtualTime::Pause(delay);
        } else {
            VirtualTime::MaybeYield();
        }
        if (answer) return answer(static_cast<Arguments>(arguments)...);
        return fallback(static_cast<Arguments>(arguments)...);
    }

private:
    std::mutex mutex;
    Answer standing;
    std::deque<Answer> queued;
    std::function<void(Arguments...)> before;
    int calls = 0;
    std::int64_t delay = 0;
};

}  // namespace Drive::Testing
