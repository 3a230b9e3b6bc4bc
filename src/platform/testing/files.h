// Reading and writing whole files in tests, by path. For tests only; failures read as empty.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace platform_testing {

// The file's bytes; empty when it cannot be read.
inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The file's bytes without carriage returns, which text mode writes on Windows, so a text file
// reads the same on every system.
inline std::string ReadTextFile(const std::filesystem::path& path) {
    std::string text = ReadFile(path);
    std::erase(text, '\r');
    return text;
}

// The file's lines without their line ends.
inline std::vector<std::string> ReadLines(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

// Writes `text` to the file, creating its folders; an existing file is replaced.
inline void WriteFile(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

} // namespace platform_testing
