// A small program that the child-process tests start; what it does is chosen by its first
// argument. Any first argument it doesn't know makes it print all its arguments.
//   exit N          exits with N
//   outerr A B      writes A to standard output, then B to standard error
//   bytes N         writes N bytes 'x' to standard output
//   cwd             prints its current folder
//   hang            never ends by itself
//   abort           ends by abort()
//   <other> ...     prints argv[1..], each followed by a line feed
#include "platform/build_config.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#if defined(NEXILO_OS_WIN)
#include <fcntl.h>
#include <io.h>
#endif

namespace {

void Write(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

} // namespace

int main(int argc, char** argv) {
#if defined(NEXILO_OS_WIN)
    // The tests compare bytes; no line-end translation.
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
#endif
    std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "exit" && argc > 2) {
        return std::atoi(argv[2]);
    }
    if (mode == "outerr" && argc > 3) {
        Write(stdout, argv[2]);
        Write(stderr, argv[3]);
        return 0;
    }
    if (mode == "bytes" && argc > 2) {
        Write(stdout, std::string(static_cast<std::size_t>(std::atoi(argv[2])), 'x'));
        return 0;
    }
    if (mode == "cwd") {
        Write(stdout, std::filesystem::current_path().string());
        return 0;
    }
    if (mode == "hang") {
        for (;;) {
            std::this_thread::sleep_for(std::chrono::hours(1));
        }
    }
    if (mode == "abort") {
        std::abort();
    }
    std::string all;
    for (int i = 1; i < argc; ++i) {
        all += argv[i];
        all += '\n';
    }
    Write(stdout, all);
    return 0;
}
