#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {

struct FileRow {
    int status = 0;
    std::wstring digest;
    bool operator==(const FileRow&) const = default;
};

struct TaskRow {
    int status = 0;
    int priority = 1;
    std::int64_t key = 0;
    std::size_t record = 0;  ///< its length
    bool operator==(const TaskRow&) const = default;
};

/// What stands in the tables, or should.
struct Rows {
    std::map<std::wstring, FileRow> files;
    std::map<std::pair<std::wstring, int>, TaskRow> tasks;
    bool operator==(const Rows&) const = default;
};

/// The rows as the open database gives them.
Rows ReadRows();

/// What the file's own check says of it: "ok".
std::string IntegrityOf(const std::filesystem::path& file);

/// One operation of the database and what it does to the rows.
struct Step {
    std::string name;
    std::function<bool()> run;
    std::function<void(Rows&)> effect;
    bool mayLag = false;  ///< a loss of power may take it although it answered true
};

/// A life of the database in small: every kind of write, a log that grows over its limit, and rows that come and go.
const std::vector<Step>& Steps();

/// A few of these steps, for the tests that run often.
const std::vector<Step>& FirstSteps();

}  // namespace Drive::Testing
