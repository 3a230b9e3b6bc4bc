#include "platform/command_line.h"

#include <cwctype>

namespace platform {

namespace {

bool IsSeparator(wchar_t c) {
    return c == L' ' || c == L'\t';
}

} // namespace

std::vector<std::wstring> SplitCommandLine(std::wstring_view line) {
    std::vector<std::wstring> args;
    std::size_t i = 0;
    const std::size_t n = line.size();

    // The program name must be a legal file name, so the runtime knows no escapes in it: quotes
    // only switch quoting on and off.
    std::wstring program;
    bool inQuote = false;
    for (; i < n && (inQuote || !IsSeparator(line[i])); ++i) {
        if (line[i] == L'"') {
            inQuote = !inQuote;
        } else {
            program += line[i];
        }
    }
    args.push_back(std::move(program));

    // The quoting state carries over from one argument to the next, as in the runtime.
    inQuote = false;
    for (;;) {
        while (i < n && IsSeparator(line[i])) {
            ++i;
        }
        if (i >= n) {
            break;
        }
        std::wstring arg;
        for (;;) {
            bool copy = true;
            std::size_t slashes = 0;
            while (i < n && line[i] == L'\\') {
                ++i;
                ++slashes;
            }
            if (i < n && line[i] == L'"') {
                if (slashes % 2 == 0) {
                    if (inQuote && i + 1 < n && line[i + 1] == L'"') {
                        ++i; // a doubled quote inside quotes: one literal quote, quoting goes on
                    } else {
                        copy = false;
                        inQuote = !inQuote;
                    }
                }
                slashes /= 2;
            }
            arg.append(slashes, L'\\');
            if (i >= n || (!inQuote && IsSeparator(line[i]))) {
                break;
            }
            if (copy) {
                arg += line[i];
            }
            ++i;
        }
        args.push_back(std::move(arg));
    }
    return args;
}

std::vector<std::wstring> ProgramNameCandidates(std::wstring_view line) {
    std::vector<std::wstring> names;
    if (!line.empty() && line[0] == L'"') {
        std::size_t end = line.find(L'"', 1);
        names.emplace_back(line.substr(1, end == std::wstring_view::npos ? end : end - 1));
        return names;
    }
    for (std::size_t i = 0; i < line.size(); ++i) {
        bool endOfWord =
            !IsSeparator(line[i]) && (i + 1 == line.size() || IsSeparator(line[i + 1]));
        if (endOfWord) {
            names.emplace_back(line.substr(0, i + 1));
        }
    }
    return names;
}

std::wstring PosixProgramName(std::wstring_view windowsName) {
    constexpr std::wstring_view kExe = L".exe";
    if (windowsName.size() > kExe.size()) {
        std::wstring_view tail = windowsName.substr(windowsName.size() - kExe.size());
        wchar_t before = windowsName[windowsName.size() - kExe.size() - 1];
        bool isExe = true;
        for (std::size_t i = 0; i < kExe.size(); ++i) {
            isExe = isExe && static_cast<wchar_t>(std::towlower(tail[i])) == kExe[i];
        }
        if (isExe && before != L'/' && before != L'\\') {
            return std::wstring(windowsName.substr(0, windowsName.size() - kExe.size()));
        }
    }
    return std::wstring(windowsName);
}

} // namespace platform
