#include "TestSupport/FailingFileSystem.h"

#include <sqlite3.h>

#include <atomic>
#include <mutex>
#include <new>
#include <stdexcept>

namespace marlet {

struct FailingFileSystem::State {
    sqlite3_vfs vfs{};
    sqlite3_vfs* real = nullptr;
    std::string name;
    mutable std::mutex lock;
    int changes = 0;
    int changesUntilFailure = -1;  // negative: never
    int failure = SQLITE_OK;
    int openingFailure = SQLITE_OK;

    int change() {
        std::scoped_lock guard(lock);
        ++changes;
        if (changesUntilFailure < 0) {
            return SQLITE_OK;
        }
        if (changesUntilFailure > 0) {
            --changesUntilFailure;
            return SQLITE_OK;
        }
        return failure;
    }
    int opening() const {
        std::scoped_lock guard(lock);
        return openingFailure;
    }
};

namespace {

// SQLite allocates this and, behind it, the real layer's file.
struct File {
    sqlite3_file base;
    FailingFileSystem::State* state;
    sqlite3_file* real;
};

File& file(sqlite3_file* opened) {
    return *reinterpret_cast<File*>(opened);
}

int close(sqlite3_file* opened) {
    File& own = file(opened);
    return own.real->pMethods ? own.real->pMethods->xClose(own.real) : SQLITE_OK;
}

int read(sqlite3_file* opened, void* bytes, int count, sqlite3_int64 offset) {
    return file(opened).real->pMethods->xRead(file(opened).real, bytes, count, offset);
}

int write(sqlite3_file* opened, const void* bytes, int count, sqlite3_int64 offset) {
    File& own = file(opened);
    int failure = own.state->change();
    return failure == SQLITE_OK ? own.real->pMethods->xWrite(own.real, bytes, count, offset) : failure;
}

int truncate(sqlite3_file* opened, sqlite3_int64 size) {
    File& own = file(opened);
    int failure = own.state->change();
    return failure == SQLITE_OK ? own.real->pMethods->xTruncate(own.real, size) : failure;
}

// Counted, but not passed on: no test outlives a power cut, and a disk takes its time.
int sync(sqlite3_file* opened, int) {
    return file(opened).state->change();
}

int fileSize(sqlite3_file* opened, sqlite3_int64* size) {
    return file(opened).real->pMethods->xFileSize(file(opened).real, size);
}

int lock(sqlite3_file* opened, int level) {
    return file(opened).real->pMethods->xLock(file(opened).real, level);
}

int unlock(sqlite3_file* opened, int level) {
    return file(opened).real->pMethods->xUnlock(file(opened).real, level);
}

int checkReservedLock(sqlite3_file* opened, int* isReserved) {
    return file(opened).real->pMethods->xCheckReservedLock(file(opened).real, isReserved);
}

int fileControl(sqlite3_file* opened, int operation, void* argument) {
    return file(opened).real->pMethods->xFileControl(file(opened).real, operation, argument);
}

int sectorSize(sqlite3_file* opened) {
    return file(opened).real->pMethods->xSectorSize(file(opened).real);
}

int deviceCharacteristics(sqlite3_file* opened) {
    return file(opened).real->pMethods->xDeviceCharacteristics(file(opened).real);
}

int shmMap(sqlite3_file* opened, int page, int size, int extend, void volatile** mapped) {
    return file(opened).real->pMethods->xShmMap(file(opened).real, page, size, extend, mapped);
}

int shmLock(sqlite3_file* opened, int offset, int count, int flags) {
    return file(opened).real->pMethods->xShmLock(file(opened).real, offset, count, flags);
}

void shmBarrier(sqlite3_file* opened) {
    file(opened).real->pMethods->xShmBarrier(file(opened).real);
}

int shmUnmap(sqlite3_file* opened, int deletes) {
    return file(opened).real->pMethods->xShmUnmap(file(opened).real, deletes);
}

// Version 2: with shared memory for the write-ahead log, without mapped files, which would bypass reads and writes.
const sqlite3_io_methods methods{2,
                                 close,
                                 read,
                                 write,
                                 truncate,
                                 sync,
                                 fileSize,
                                 lock,
                                 unlock,
                                 checkReservedLock,
                                 fileControl,
                                 sectorSize,
                                 deviceCharacteristics,
                                 shmMap,
                                 shmLock,
                                 shmBarrier,
                                 shmUnmap,
                                 nullptr,
                                 nullptr};

FailingFileSystem::State& stateOf(sqlite3_vfs* vfs) {
    return *static_cast<FailingFileSystem::State*>(vfs->pAppData);
}

int open(sqlite3_vfs* vfs, sqlite3_filename path, sqlite3_file* opened, int flags, int* flagsOut) {
    FailingFileSystem::State& state = stateOf(vfs);
    opened->pMethods = nullptr;
    int failure = state.opening();
    if (failure != SQLITE_OK) {
        return failure;
    }
    File& own =
        *new (opened) File{{}, &state, reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(opened) + sizeof(File))};
    int outcome = state.real->xOpen(state.real, path, own.real, flags, flagsOut);
    own.base.pMethods = outcome == SQLITE_OK ? &methods : nullptr;
    return outcome;
}

int removeFile(sqlite3_vfs* vfs, const char* path, int syncFolder) {
    return stateOf(vfs).real->xDelete(stateOf(vfs).real, path, syncFolder);
}

int access(sqlite3_vfs* vfs, const char* path, int flags, int* result) {
    return stateOf(vfs).real->xAccess(stateOf(vfs).real, path, flags, result);
}

int fullPathname(sqlite3_vfs* vfs, const char* path, int size, char* result) {
    return stateOf(vfs).real->xFullPathname(stateOf(vfs).real, path, size, result);
}

int randomness(sqlite3_vfs* vfs, int size, char* bytes) {
    return stateOf(vfs).real->xRandomness(stateOf(vfs).real, size, bytes);
}

int sleepFor(sqlite3_vfs* vfs, int microseconds) {
    return stateOf(vfs).real->xSleep(stateOf(vfs).real, microseconds);
}

int currentTime(sqlite3_vfs* vfs, double* days) {
    return stateOf(vfs).real->xCurrentTime(stateOf(vfs).real, days);
}

int lastError(sqlite3_vfs* vfs, int size, char* text) {
    return stateOf(vfs).real->xGetLastError(stateOf(vfs).real, size, text);
}

}  // namespace

FailingFileSystem::FailingFileSystem() : state(std::make_unique<State>()) {
    static std::atomic<int> instances = 0;
    state->real = sqlite3_vfs_find(nullptr);
    state->name = "marlet-failing-" + std::to_string(++instances);
    sqlite3_vfs& vfs = state->vfs;
    vfs.iVersion = 1;
    vfs.szOsFile = static_cast<int>(sizeof(File)) + state->real->szOsFile;
    vfs.mxPathname = state->real->mxPathname;
    vfs.zName = state->name.c_str();
    vfs.pAppData = state.get();
    vfs.xOpen = open;
    vfs.xDelete = removeFile;
    vfs.xAccess = access;
    vfs.xFullPathname = fullPathname;
    vfs.xRandomness = randomness;
    vfs.xSleep = sleepFor;
    vfs.xCurrentTime = currentTime;
    vfs.xGetLastError = lastError;
    if (sqlite3_vfs_register(&vfs, 0) != SQLITE_OK) {
        throw std::runtime_error("The file layer can't be registered.");
    }
}

FailingFileSystem::~FailingFileSystem() {
    sqlite3_vfs_unregister(&state->vfs);
}

const std::string& FailingFileSystem::name() const {
    return state->name;
}

void FailingFileSystem::failAfter(int count, int code) {
    std::scoped_lock guard(state->lock);
    state->changesUntilFailure = count;
    state->failure = code;
}

void FailingFileSystem::refuseOpening(int code) {
    std::scoped_lock guard(state->lock);
    state->openingFailure = code;
}

void FailingFileSystem::heal() {
    std::scoped_lock guard(state->lock);
    state->changesUntilFailure = -1;
    state->openingFailure = SQLITE_OK;
}

int FailingFileSystem::changeCount() const {
    std::scoped_lock guard(state->lock);
    return state->changes;
}

}  // namespace marlet
