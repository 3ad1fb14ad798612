#include "tests/simulation/memory.h"

#include <cstdint>
#include <fstream>

namespace Drive::Simulation {

namespace {

void WriteText(std::ofstream& out, const std::string& text) {
    const std::uint64_t size = text.size();
    out.write(reinterpret_cast<const char*>(&size), sizeof size);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

bool ReadText(std::ifstream& in, std::string& text) {
    std::uint64_t size = 0;
    if (!in.read(reinterpret_cast<char*>(&size), sizeof size)) return false;
    text.resize(size);
    return static_cast<bool>(in.read(text.data(), static_cast<std::streamsize>(size)));
}

}  // namespace

std::string Memory::Get(const std::string& key) const {
    const auto found = values.find(key);
    return found == values.end() ? std::string() : found->second;
}

void Memory::Load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string key;
    std::string value;
    while (ReadText(in, key) && ReadText(in, value)) values[key] = value;
}

void Memory::Save(const std::string& path) const {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    for (const auto& [key, value] : values) {
        WriteText(out, key);
        WriteText(out, value);
    }
}

}  // namespace Drive::Simulation
