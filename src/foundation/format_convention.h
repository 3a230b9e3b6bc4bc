// Translation of Windows-convention format strings into the C-standard form that glibc and
// mingw-w64's print functions read.
//
// In a wide format of the Windows convention %s and %c take wide arguments, %S, %C, %hs and %hc
// narrow ones, %ls, %lc, %ws and %wc wide ones; in a narrow format %s and %c are narrow and %S, %C,
// %ws, %wc wide. The C standard reads a plain %s in a wide format as narrow, so wide formats become
// %ls / %hs (and %lc / %hc); the spellings that read the same everywhere. %I64 becomes %ll, %I32
// is dropped and a bare %I (pointer-sized) becomes %z. %%, flags, width, precision (also * and .*)
// and the other conversions pass unchanged; an incomplete conversion at the end is copied as it is.
// Used by cv::StringT's formatting, the logger and the dev kit's logging module. Pure functions.
#pragma once

#include <string>
#include <string_view>

namespace cv::detail {

std::wstring TranslateWideFormat(std::wstring_view format);
std::string TranslateNarrowFormat(std::string_view format);

} // namespace cv::detail
