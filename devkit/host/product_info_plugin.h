// The host's product info plugin "productinfo": values by section and index, read from a JSON
// file.
//
// File form (UTF-8): sections, each an object from a decimal index to a string:
//   {
//     "nexilo": {"0": "com.corvane.basicshield", "1": "6F9619FF-8B86-D011-B42D-00C04FC964FF"},
//     "update": {"0": "1.4.2.7"}
//   }
// A missing file gives a plugin without values.
//
// Contract: GetProductValue(index, section) gives the text, or null for an unknown section or
// index, a negative index or a null section. The texts belong to the plugin: they are made at
// Load and stay unchanged and valid until it is destroyed. The other slots answer 120
// (ERROR_CALL_NOT_IMPLEMENTED). Any thread may read once Load has returned.
#pragma once

#include "nexilo/host_interfaces.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <utility>

namespace devkit::host {

class ProductInfoPlugin final : public IProductInfo {
public:
    ProductInfoPlugin() = default;
    ProductInfoPlugin(const ProductInfoPlugin&) = delete;
    ProductInfoPlugin& operator=(const ProductInfoPlugin&) = delete;

    // Reads the values, before the plugin is handed out. False with `error` when the file can't
    // be read or isn't of the form above; the plugin then holds no values.
    bool Load(const std::filesystem::path& file, std::string& error);

    void* QueryInterface(CvIid iid) override;
    std::uint32_t ReservedSlot1() override;
    std::uint32_t ReservedSlot2() override;
    std::uint32_t ReservedSlot3() override;
    std::uint32_t ReservedSlot4() override;
    std::uint32_t ReservedSlot5() override;
    const wchar_t* GetProductValue(std::int32_t index, const wchar_t* section) override;

    std::size_t ValueCount() const { return m_values.size(); }

private:
    std::map<std::pair<std::wstring, std::int32_t>, std::wstring> m_values;
};

} // namespace devkit::host
