#pragma once

#include <map>
#include <string>

namespace Drive::Simulation {

/// What lives outside the client and so outlives its crash: the cloud's files, the store's objects and the notes of the
/// checks. A map of texts, kept in a file between two lives.
class Memory {
public:
    std::string Get(const std::string& key) const;
    bool Has(const std::string& key) const { return values.count(key) > 0; }
    void Set(const std::string& key, const std::string& value) { values[key] = value; }
    void Forget(const std::string& key) { values.erase(key); }

    /// An absent file leaves the memory empty.
    void Load(const std::string& path);
    void Save(const std::string& path) const;

private:
    std::map<std::string, std::string> values;
};

}  // namespace Drive::Simulation
