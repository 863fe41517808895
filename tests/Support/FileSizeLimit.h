#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

namespace marlet {

// While this lives what goes beyond in a file of this process is refused, as on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
        rlimit limited{bytes, before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before);
        static_cast<void>(std::signal(SIGXFSZ, handler));
    }

private:
    void (*handler)(int);
    rlimit before{};
};

}  // namespace marlet
