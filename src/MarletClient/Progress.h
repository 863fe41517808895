#pragma once

#include <chrono>
#include <string>

namespace marlet {

// A line on standard error that says that work goes on: after half a second, and on a terminal only.
class Progress {
public:
    explicit Progress(bool isWanted);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    // Wipes the line.
    ~Progress();

    // To be called every tenth of a second or so.
    void advance();
    void setText(std::string words) { text = std::move(words); }

private:
    bool isWanted;
    bool isShown = false;
    std::string text = "Working";
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

}  // namespace marlet
