#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Drive::Testing {

/// What a line of the journal tells of.
enum class Kind {
    Trace,      ///< "trace <text>"
    Debug,      ///< "debug <text>"
    Error,      ///< "error <module>|<function>|<text>"
    Begin,      ///< "begin <kind> <code>|<module>|<function>|<text>"
    End,        ///< "end <kind> <code>|<module>|<function>|<text>"
    Statistic,  ///< "stat <code>|<module>|<text>"
    Cloud,      ///< "cloud <operation>(<arguments>)"
    Database,   ///< "db <operation>(<arguments>)"
    Common,     ///< "common <operation>(<arguments>)"
    File,       ///< "file <operation>(<arguments>)"
    Sleep,      ///< "sleep <milliseconds>"
    Pool,       ///< "pool <operation>(<arguments>)"
    Callback,   ///< "callback <text>", written by tests and by the host double
    Message,    ///< "message <text>", what the engine tells the client process
    Note        ///< "note <text>", free
};

/// One line, with the virtual time (milliseconds since the run began) and the virtual thread that wrote it.
struct Entry {
    std::int64_t time = 0;
    std::string thread;
    Kind kind = Kind::Note;
    std::string text;

    /// Kind and text, as in the list above.
    std::string Line() const;
};

/// The one ordered record of everything that the doubles saw. Any thread; never gives the processor away.
class Journal {
public:
    static void Write(Kind kind, const std::string& text);

    static std::vector<Entry> Entries();

    /// Lines of the given kinds, all but Sleep and Pool when none is given, in the order in which they were written.
    static std::vector<std::string> Lines(std::initializer_list<Kind> kinds = {});

    /// The same, from the entry with this number on; Mark gives the number of the next entry.
    static std::vector<std::string> LinesSince(std::size_t mark, std::initializer_list<Kind> kinds = {});
    static std::size_t Mark();

    /// The same, of one virtual thread.
    static std::vector<std::string> LinesOf(const std::string& thread, std::initializer_list<Kind> kinds = {});

    /// Texts of one kind, without the kind's word.
    static std::vector<std::string> Texts(Kind kind);

    /// How often exactly this text was written.
    static int Count(Kind kind, const std::string& text);
    /// How many texts of that kind begin like this.
    static int CountBeginning(Kind kind, const std::string& beginning);
    static bool Has(Kind kind, const std::string& text) { return Count(kind, text) > 0; }
    /// Virtual times at which a text that begins like this was written.
    static std::vector<std::int64_t> Times(Kind kind, const std::string& beginning);

    static void Clear();

    /// Drops further lines of a kind, for runs over days.
    static void Mute(Kind kind);

    /// Everything with time and thread, for a failed test's message.
    static std::string Dump();
};

/// Holds when `expected` is contained in `lines` in this order, other lines between allowed.
::testing::AssertionResult InOrder(const std::vector<std::string>& lines, const std::vector<std::string>& expected);

/// Wide text for a line, a test's message or a comparison.
std::string Narrow(const std::wstring& text);
std::wstring Wide(const std::string& text);

}  // namespace Drive::Testing
