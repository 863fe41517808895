#pragma once

#include <chrono>
#include <list>
#include <string>

namespace marlet {

// What the commands that take long are at, for the line that tells how they get on.
class Steps {
public:
    // The step that began last, and how long ago; empty while there is none.
    std::string text() const;

private:
    friend class Step;

    struct Entry {
        std::string words;
        std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    };

    std::list<Entry> entries;
};

// One step of a command, for as long as it lives.
class Step {
public:
    Step(Steps& steps, std::string words);
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;
    ~Step();

private:
    Steps& owner;
    std::list<Steps::Entry>::iterator place;
};

}  // namespace marlet
