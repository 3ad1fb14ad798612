#include "tests/support/journal.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <sstream>
#include <stdexcept>

#include "interfaces/platform/text.h"
#include "tests/support/untraced.h"
#include "tests/support/virtual_time.h"

namespace Drive::Testing {

namespace {

struct Store {
    std::mutex mutex;
    std::vector<Entry> entries;
    std::set<Kind> muted;
};

Store& TheStore() {
    static auto* store = new Store;
    return *store;
}

const char* Word(Kind kind) {
    switch (kind) {
        case Kind::Trace:
            return "trace ";
        case Kind::Debug:
            return "debug ";
        case Kind::Error:
            return "error ";
        case Kind::Begin:
            return "begin ";
        case Kind::End:
            return "end ";
        case Kind::Statistic:
            return "stat ";
        case Kind::Cloud:
            return "cloud ";
        case Kind::Database:
            return "db ";
        case Kind::Common:
            return "common ";
        case Kind::File:
            return "file ";
        case Kind::Sleep:
            return "sleep ";
        case Kind::Pool:
            return "pool ";
        case Kind::Callback:
            return "callback ";
        case Kind::Message:
            return "message ";
        case Kind::Note:
            return "note ";
    }
    return "? ";
}

bool Wanted(Kind kind, std::initializer_list<Kind> kinds) {
    if (kinds.size() == 0) return kind != Kind::Sleep && kind != Kind::Pool;
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

}  // namespace

std::string Entry::Line() const { return Word(kind) + text; }

void Journal::Write(Kind kind, const std::string& text) {
    Untraced hidden;
    Store& store = TheStore();
    Entry entry{VirtualTime::Now(), VirtualTime::ThreadName(), kind, text};
    std::lock_guard<std::mutex> lock(store.mutex);
    if (store.muted.count(kind) == 0) store.entries.push_back(std::move(entry));
}

std::vector<Entry> Journal::Entries() {
    Untraced hidden;
    std::lock_guard<std::mutex> lock(TheStore().mutex);
    return TheStore().entries;
}

std::vector<std::string> Journal::Lines(std::initializer_list<Kind> kinds) { return LinesSince(0, kinds); }

std::vector<std::string> Journal::LinesSince(std::size_t mark, std::initializer_list<Kind> kinds) {
    std::vector<std::string> lines;
    const std::vector<Entry> entries = Entries();
    for (std::size_t i = mark; i < entries.size(); ++i) {
        if (Wanted(entries[i].kind, kinds)) lines.push_back(entries[i].Line());
    }
    return lines;
}

std::size_t Journal::Mark() {
    Untraced hidden;
    std::lock_guard<std::mutex> lock(TheStore().mutex);
    return TheStore().entries.size();
}

std::vector<std::string> Journal::LinesOf(const std::string& thread, std::initializer_list<Kind> kinds) {
    std::vector<std::string> lines;
    for (const Entry& entry : Entries()) {
        if (entry.thread == thread && Wanted(entry.kind, kinds)) lines.push_back(entry.Line());
    }
    return lines;
}

std::vector<std::int64_t> Journal::Times(Kind kind, const std::string& beginning) {
    std::vector<std::int64_t> times;
    for (const Entry& entry : Entries()) {
        if (entry.kind == kind && entry.text.compare(0, beginning.size(), beginning) == 0) times.push_back(entry.time);
    }
    return times;
}

std::vector<std::string> Journal::Texts(Kind kind) {
    std::vector<std::string> texts;
    for (const Entry& entry : Entries()) {
        if (entry.kind == kind) texts.push_back(entry.text);
    }
    return texts;
}

int Journal::Count(Kind kind, const std::string& text) {
    const std::vector<std::string> texts = Texts(kind);
    return static_cast<int>(std::count(texts.begin(), texts.end(), text));
}

int Journal::CountBeginning(Kind kind, const std::string& beginning) {
    const std::vector<std::string> texts = Texts(kind);
    return static_cast<int>(std::count_if(texts.begin(), texts.end(), [&](const std::string& text) {
        return text.compare(0, beginning.size(), beginning) == 0;
    }));
}

void Journal::Clear() {
    Untraced hidden;
    std::lock_guard<std::mutex> lock(TheStore().mutex);
    TheStore().entries.clear();
}

void Journal::Mute(Kind kind) {
    Untraced hidden;
    std::lock_guard<std::mutex> lock(TheStore().mutex);
    TheStore().muted.insert(kind);
}

std::string Journal::Dump() {
    std::ostringstream out;
    for (const Entry& entry : Entries()) {
        out << entry.time << " ms  " << entry.thread << "  " << entry.Line() << "\n";
    }
    return out.str();
}

::testing::AssertionResult InOrder(const std::vector<std::string>& lines, const std::vector<std::string>& expected) {
    std::size_t next = 0;
    for (const std::string& line : lines) {
        if (next < expected.size() && line == expected[next]) ++next;
    }
    if (next == expected.size()) return ::testing::AssertionSuccess();
    ::testing::AssertionResult failure = ::testing::AssertionFailure();
    failure << "not found (after what stands before it): \"" << expected[next] << "\"\nin:\n";
    for (const std::string& line : lines) failure << "  " << line << "\n";
    return failure;
}

/// A double must not throw where the real library does not: what has no narrow form shows as U+FFFD.
std::string Narrow(const std::wstring& text) {
    try {
        return Platform::NarrowText(text);
    } catch (const std::range_error&) {
        std::wstring shown = text;
        for (wchar_t& element : shown) {
            const auto point = static_cast<std::uint32_t>(element);
            if ((point >= 0xD800 && point <= 0xDFFF) || point > 0x10FFFF) element = 0xFFFD;
        }
        return Platform::NarrowText(shown);
    }
}

std::wstring Wide(const std::string& text) { return Platform::WidenText(text); }

}  // namespace Drive::Testing
