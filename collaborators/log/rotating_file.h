#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace Drive::Logging {

/// A file of lines that is rotated by size: "name.log", older ones "name.1.log" and so on. A full file that cannot be
/// renamed is given up for the next one, so that the log stays within its bounds. One thread at a time; another process
/// may write and rotate the same files: lines stay whole, and the bounds hold but for what each gathers at a time.
class RotatingFile {
public:
    struct Place {
        /// Native path of the current file; its folder is made when absent.
        std::string path;
        std::uint64_t bytesPerFile = 0;
        int filesKept = 0;
    };

    /// Opens the file for appending; a last line that a crash cut short is ended first. Throws std::exception when
    /// the file cannot be written, is a pipe that nobody reads, or the sizes make no sense; nothing is left open then.
    explicit RotatingFile(const Place& place);
    ~RotatingFile();
    RotatingFile(const RotatingFile&) = delete;
    RotatingFile& operator=(const RotatingFile&) = delete;

    /// Appends one line, without its end of line. `tells` is the number of lost lines that it tells of: who gives it
    /// up gives these up as well. Throws std::exception when it could not be taken; the object is of no use then and a
    /// new one has to be made.
    void Write(const std::string& line, std::uint64_t tells = 0);

    /// How many lines stood in files that were given up since the last call. Never too few.
    std::uint64_t TakeGivenUp() noexcept;

    /// False when the file is no longer under its name, because somebody removed it or its folder, or rotated it.
    bool IsInPlace() const noexcept;

    /// Gives what was written to the operating system. Throws as Write.
    void Flush();

private:
    struct Body;
    std::unique_ptr<Body> body;
};

}  // namespace Drive::Logging
