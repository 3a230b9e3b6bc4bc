// Arbitrary bytes as a YAML document file through load, save and load again. Beyond staying clean
// under the sanitizers: whatever loads must save, it must load back as the same kind, and its
// saved text must be stable after one round (numbers and strings settle in the first save).
#include "foundation/yaml_store.h"
#include "platform/testing/temp_dir.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

// One folder per process, removed at a normal exit. Saves force their data to the disk, which
// on a tmpfs costs nothing and elsewhere limits the fuzzer to a few dozen runs a second.
const platform_testing::TempDir& Folder() {
    static const platform_testing::TempDir folder(std::filesystem::is_directory("/dev/shm")
                                                      ? std::filesystem::path("/dev/shm")
                                                      : std::filesystem::temp_directory_path());
    return folder;
}

std::string ReadBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const platform_testing::TempDir& folder = Folder();
    std::ofstream(folder.Path() / "input.yaml", std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

    const cv::Value loaded = cv::LoadYamlFile(folder.File(L"input.yaml").c_str());
    (void)loaded.ToString();

    if (!cv::SaveYamlFile(loaded, folder.File(L"first.yaml").c_str())) {
        __builtin_trap();
    }
    const cv::Value reloaded = cv::LoadYamlFile(folder.File(L"first.yaml").c_str());
    if (reloaded.GetType() != loaded.GetType()) {
        __builtin_trap();
    }
    if (!cv::SaveYamlFile(reloaded, folder.File(L"second.yaml").c_str()) ||
        ReadBytes(folder.Path() / "first.yaml") != ReadBytes(folder.Path() / "second.yaml")) {
        __builtin_trap();
    }
    return 0;
}
