// The few exceptions the system throws itself, and the category that names platform errors.
//
// winapi::details::win_error_category turns a platform result code (a Windows error number or an
// HRESULT, passed unchanged as the int value) into the system's text; "unknown error" when the
// system has none. One instance lives as long as the module; message() may run on any thread.
// cv::ThrowPlatformError throws cv::PlatformError, a std::system_error in that category whose
// what() is "context: message", or the message alone for an empty context. cv::TextException is
// the exception that carries a plain narrow text. Both hold their text by value and may be
// rethrown on another thread.
#pragma once

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

namespace winapi::details {

class win_error_category : public std::error_category {
public:
    const char* name() const noexcept override { return "last_error"; }
    std::string message(int code) const override;
    std::error_condition default_error_condition(int code) const noexcept override {
        return std::error_condition(code, *this);
    }
};

[[nodiscard]] const win_error_category& WinErrorCategory() noexcept;

} // namespace winapi::details

namespace cv {

// std::system_error's own what() puts ": " before the message even when the context is empty.
class PlatformError : public std::system_error {
public:
    PlatformError(std::int32_t code, const char* context);
    const char* what() const noexcept override { return m_text.what(); }

private:
    std::runtime_error m_text; // a copy shares the text, so copying cannot throw
};

class TextException : public std::exception {
public:
    explicit TextException(const char* text) : m_text(text != nullptr ? text : "") {}
    explicit TextException(const std::string& text) : m_text(text) {}
    const char* what() const noexcept override { return m_text.what(); }

private:
    std::runtime_error m_text;
};

[[noreturn]] void ThrowPlatformError(std::int32_t code, const char* context);

} // namespace cv
