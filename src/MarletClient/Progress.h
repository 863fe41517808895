#pragma once

#include <chrono>
#include <string>

namespace marlet {

// A line on standard error that says that work goes on: after half a second, and on a terminal only.
class Progress {
public:
    // `working` stands beside the seconds for as long as nothing better is known.
    explicit Progress(bool isWanted, std::string working = "Working");
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    // Wipes the line.
    ~Progress();

    // To be called every tenth of a second or so.
    void advance();

    // True about twice a second while the line is shown: who asks then says what the work has come to.
    bool wantsNews();
    // Nothing new when empty.
    void setNews(std::string words);

private:
    using Moment = std::chrono::steady_clock::time_point;

    bool isWanted;
    bool isShown = false;
    std::string working;
    std::string news;
    Moment start = std::chrono::steady_clock::now();
    Moment lastAsked = start;
};

}  // namespace marlet
