#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "tests/support/untraced.h"
#include "tests/support/virtual_time.h"

namespace Drive::Testing {

template <class Signature>
class Operation;

template <class Result, class... Arguments>
struct Listening {
    using type = std::function<void(const Result&, Arguments...)>;
};
template <class... Arguments>
struct Listening<void, Arguments...> {
    using type = void;
};

/// The script of one operation of a double: what it answers, call by call. Answers that were queued with Next... are
/// used up first, then the standing one (Always...), then the double's own default. Any thread.
template <class Result, class... Arguments>
class Operation<Result(Arguments...)> {
public:
    using Answer = std::function<Result(Arguments...)>;
    using Listener =
        typename std::conditional_t<std::is_void_v<Result>, std::type_identity<std::function<void(Arguments...)>>,
                                    Listening<Result, Arguments...>>::type;

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

    /// For each call without a queued answer: when `fails` says so, `answer` instead of the default. Not together with
    /// a standing answer.
    void Perhaps(std::function<bool(Arguments...)> fails, Answer answer) {
        std::lock_guard<std::mutex> lock(mutex);
        perhaps = std::move(fails);
        otherwise = std::move(answer);
    }

    /// Called once the call is answered, with the answer (if it has one) and the arguments, on the same thread, which
    /// has not given the baton away since.
    void After(Listener hook) {
        std::lock_guard<std::mutex> lock(mutex);
        after = std::move(hook);
    }

    int Calls() const { return calls; }

    void Reset() {
        std::lock_guard<std::mutex> lock(mutex);
        standing = Answer();
        queued.clear();
        before = nullptr;
        after = nullptr;
        perhaps = nullptr;
        otherwise = Answer();
        calls = 0;
        delay = 0;
    }

    /// For doubles: one call, with the double's default. The arguments are passed on as they are declared.
    template <class Default>
    Result Call(const Default& fallback, Arguments... arguments) {
        const Script script = Take();
        if (script.before) script.before(static_cast<Arguments>(arguments)...);
        if (delay > 0) {
            VirtualTime::Pause(delay);
        } else {
            VirtualTime::MaybeYield();
        }
        const auto answered = [&]() -> Result {
            if (script.answer) return script.answer(static_cast<Arguments>(arguments)...);
            if (script.perhaps && script.perhaps(static_cast<Arguments>(arguments)...)) {
                return script.otherwise(static_cast<Arguments>(arguments)...);
            }
            return fallback(static_cast<Arguments>(arguments)...);
        };
        if (!script.after) return answered();
        if constexpr (std::is_void_v<Result>) {
            answered();
            script.after(static_cast<Arguments>(arguments)...);
        } else {
            Result result = answered();
            script.after(result, static_cast<Arguments>(arguments)...);
            return result;
        }
    }

private:
    using Hook = std::function<void(Arguments...)>;
    using Chance = std::function<bool(Arguments...)>;

    /// What one call goes by.
    struct Script {
        Hook before;
        Answer answer;
        Chance perhaps;
        Answer otherwise;
        Listener after;
    };

    Script Take() {
        std::lock_guard<std::mutex> lock(mutex);
        ++calls;
        Script script{before, standing, nullptr, nullptr, after};
        if (queued.empty()) {
            script.perhaps = perhaps;
            script.otherwise = otherwise;
        } else {
            script.answer = std::move(queued.front());
            queued.pop_front();
        }
        return script;
    }

    std::mutex mutex;
    Answer standing;
    std::deque<Answer> queued;
    Hook before;
    Listener after;
    Chance perhaps;
    Answer otherwise;
    int calls = 0;
    std::int64_t delay = 0;
};

}  // namespace Drive::Testing
