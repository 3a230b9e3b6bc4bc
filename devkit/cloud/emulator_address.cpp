#include "devkit/cloud/emulator_address.h"

#include "devkit/cloud/json_ptr.h"
#include "devkit/common/devkit_home.h"

#include <fstream>
#include <system_error>

namespace devkit::cloud {

std::filesystem::path EmulatorAddressFile(const std::filesystem::path& home) {
    return home / "cloud" / "emulator.json";
}

std::optional<std::string> ReadEmulatorUrl(const std::filesystem::path& file, std::string& error) {
    std::error_code missing;
    if (!std::filesystem::exists(file, missing)) {
        return std::nullopt;
    }
    std::string text;
    if (!ReadWholeFile(file, text)) {
        error = "cannot read " + file.string();
        return std::nullopt;
    }
    JsonPtr root = ParseJson(text);
    auto url = StringMember(root.get(), "url");
    if (!url || url->empty()) {
        error = file.string() + " names no emulator (a JSON object with a string \"url\" is "
                                "expected)";
        return std::nullopt;
    }
    return url;
}

bool WriteEmulatorAddress(const std::filesystem::path& file, const std::string& url, long pid,
                          std::string& error) {
    std::error_code failure;
    std::filesystem::create_directories(file.parent_path(), failure);
    const auto partial = std::filesystem::path(file).concat(".partial");
    JsonPtr root(json_pack("{s:s, s:I}", "url", url.c_str(), "pid", static_cast<json_int_t>(pid)));
    {
        std::ofstream out(partial, std::ios::binary | std::ios::trunc);
        out << DumpJson(root.get()) << '\n';
        if (!out.flush()) {
            error = "cannot write " + partial.string();
            return false;
        }
    }
    std::filesystem::rename(partial, file, failure);
    if (failure) {
        error = "cannot write " + file.string() + ": " + failure.message();
        return false;
    }
    return true;
}

void RemoveEmulatorAddress(const std::filesystem::path& file, const std::string& url) {
    std::string ignored;
    if (ReadEmulatorUrl(file, ignored) == url) {
        std::error_code failure;
        std::filesystem::remove(file, failure);
    }
}

} // namespace devkit::cloud
