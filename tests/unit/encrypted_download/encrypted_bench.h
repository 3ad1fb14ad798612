#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/engine_bench.h"

namespace Drive::Testing {

/// A download of encrypted objects: file "F", kept as f.txt, in objects of ten plain bytes.
class EncryptedBench : public EngineBench {
protected:
    EncryptedBench();

    /// The file with its row and task, `objects` times ten bytes long.
    void Give(int objects, int priority = 1);
    /// Its content, and that of one of its objects; the first is 0.
    std::string Whole() const { return whole; }
    std::string Object(int number) const { return whole.substr(10 * static_cast<std::size_t>(number), 10); }
    static std::wstring ObjectId(int number) { return L"F-object-" + std::to_wstring(number); }

    void Run() { RunOne(L"F"); }
    /// As the platform's fetch, whose handle the host gives.
    void RunFetch();

    void SetRecord(const std::string& record) const;
    std::string Record() const { return Narrow(world.Task(L"F", 1).GetFragmentInfo()); }

    /// Records of the position in the order in which they were written.
    Texts RecordsWritten() const;

    /// The answer of the cloud to the question for the file, changed by the test.
    void ChangeAnswer(std::function<void(Common::DownLoadAddressInfoModel&)> change);

    /// Sets the task's state when this many further objects have been written, or asked for.
    void WhenWritten(int objects, std::function<void()> then);
    void WhenFetching(int objects, std::function<void()> then);
    void MarkTask(int status) const { world.Sql({"UPDATE T_task SET TaskStatus = " + std::to_string(status)}); }

    /// Which outcome the worker traced: "Success", "Fail", "Cancle", "Stop" or "Fail For Retry"; the last one of a job.
    std::string Outcome() const;
    Texts Errors() const { return Lines({Kind::Error}); }
    static std::string Error(const std::string& text) { return "error DownLoadTaskManger|driveDownloadFile|" + text; }

    /// How often the mark of the running transfer was taken away before the worker itself did.
    int MarksTakenByTheTransfer() const;

    /// A job that ended without the file: 23, no task, and the slot given back once.
    void ExpectEndedWithoutFile();

private:
    std::string whole;
};

}  // namespace Drive::Testing
