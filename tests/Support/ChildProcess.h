#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace marlet {

// What a child has besides its outputs.
struct ChildDescriptors {
    int input = -1;      // its standard input; nothing to read without one
    int inherited = -1;  // its descriptor 3
};

// A program that a test runs beside itself. Whatever isn't over when this goes is killed.
class ChildProcess {
public:
    // `arguments` begins with the program's path. `environment` holds "NAME=value" to add to the test's own.
    explicit ChildProcess(const std::vector<std::string>& arguments, const std::string& input = {},
                          const std::vector<std::string>& environment = {});
    // The descriptors stay the caller's.
    ChildProcess(const std::vector<std::string>& arguments, ChildDescriptors descriptors,
                 const std::vector<std::string>& environment = {});
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    pid_t pid() const { return process; }

    // The next line of its standard output, without the line end; no value when there is no more, or when it takes
    // longer than half a minute.
    std::optional<std::string> readLine();

    // Reads what it still writes and waits for its end: the exit status, or minus the signal that ended it.
    int wait();

    void send(int signal) const;

    // What it wrote, as far as it has been read.
    std::string output;
    std::string errors;

private:
    void start(const std::vector<std::string>& arguments, int input, int inherited,
               const std::vector<std::string>& environment);
    bool readMore();

    pid_t process = -1;
    int outputPipe = -1;
    int errorPipe = -1;
    size_t lineStart = 0;
    std::optional<int> status;
};

struct ChildOutcome {
    int status = 0;
    std::string output;
    std::string errors;
};

ChildOutcome runChild(const std::vector<std::string>& arguments, const std::string& input = {},
                      const std::vector<std::string>& environment = {});

}  // namespace marlet
