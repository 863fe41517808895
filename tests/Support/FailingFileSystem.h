#pragma once

#include <memory>
#include <string>

namespace marlet {

// A file layer for SQLite over the real one that fails on command, as a full disk or a broken one does. Its name goes
// where a `vfs` is asked for. Syncs are counted, not done. Everything opened through it must be closed before it is
// destroyed.
class FailingFileSystem {
public:
    FailingFileSystem();
    FailingFileSystem(const FailingFileSystem&) = delete;
    FailingFileSystem& operator=(const FailingFileSystem&) = delete;
    ~FailingFileSystem();

    const std::string& name() const;

    // After `count` more writes and syncs, all fail with this SQLite result code.
    void failAfter(int count, int code);
    // Every file that is opened from now on fails with this code.
    void refuseOpening(int code);
    void heal();

    // The writes and syncs that were asked for so far.
    int changeCount() const;

    struct State;

private:
    std::unique_ptr<State> state;
};

}  // namespace marlet
