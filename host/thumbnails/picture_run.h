#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/get/download_run.h"
#include "host/get/outcome.h"
#include "host/module/session.h"
#include "host/thumbnails/picture_choice.h"
#include "host/tree/tree.h"

/// The small pictures of one run on their way through the engine, which gives each one try and says nothing of it: the
/// task is gone then, and a file is there or not. One thread.
namespace Drive::Host {

class PictureRun {
public:
    using Listener = std::function<void(const CloudEntry&, Result, std::int64_t bytes, const std::string& message)>;

    /// `pictures` is the folder that the engine brings them into.
    PictureRun(Session& session, Tree& pictures, Listener settled)
        : session(session), pictures(pictures), settled(std::move(settled)) {}

    /// Takes away an earlier picture at `path`, which the engine would write over and not cut.
    void Add(const CloudEntry& entry, const std::string& path, bool hasRow);

    bool Empty() const { return waiting.empty() && underWay.empty(); }
    std::int64_t Settled() const { return done; }
    std::int64_t All() const { return all; }

    /// Hands out the first tasks. Before the engine starts.
    void Begin() { HandOut(); }

    /// Runs until all are settled, the deadline passes, a signal comes, or `tick`, called several times a second,
    /// answers false: no keys.
    RunEnd Run(std::int64_t deadline, const std::function<bool()>& tick);

    /// After the engine has stopped: takes away the tasks and the rows that this run alone has made. What was not
    /// brought is told as pending.
    void End();

private:
    struct Job {
        CloudEntry entry;
        std::string path;  ///< of the picture, below the folder
        bool hasRow = false;
    };

    void HandOut();
    void LookAtTasks();
    void Settle(const Job& job);
    void Forget(const Job& job);
    std::string Head(const std::string& path) const;

    Session& session;
    Tree& pictures;
    const Listener settled;
    std::deque<Job> waiting;                         // without a task yet
    std::unordered_map<std::wstring, Job> underWay;  // by file id
    std::int64_t all = 0;
    std::int64_t done = 0;
};

/// The name of the host's value that tells of which content a file's picture is.
std::string PictureRecord(const std::wstring& fileId);

/// What that value holds while the picture of this entry stands at that path.
std::string PictureState(const CloudEntry& entry, const std::string& path);

}  // namespace Drive::Host
