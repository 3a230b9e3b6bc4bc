#include "platform/command_line.h"

#include "platform/win/windows_include.h"

namespace platform {

std::vector<std::string> ProgramArgumentsUtf8(int, char**) {
    std::vector<std::string> result;
    for (const std::wstring& arg : SplitCommandLine(GetCommandLineW())) {
        std::string text;
        if (!arg.empty()) {
            int wideLength = static_cast<int>(arg.size());
            int size = WideCharToMultiByte(CP_UTF8, 0, arg.data(), wideLength, nullptr, 0, nullptr,
                                           nullptr);
            if (size > 0) {
                text.resize(static_cast<std::size_t>(size));
                WideCharToMultiByte(CP_UTF8, 0, arg.data(), wideLength, text.data(), size, nullptr,
                                    nullptr);
            }
        }
        result.push_back(std::move(text));
    }
    return result;
}

} // namespace platform
