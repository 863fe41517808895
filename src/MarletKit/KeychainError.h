#pragma once

#include <cstdint>

#include "MarletBase/LocalizedError.h"

namespace marlet {

// The codes by which a keychain tells how an operation ended.
enum KeychainStatus : int32_t {
    keychainDone = 0,
    keychainDiskFull = -34,
    keychainFileFailed = -36,
    keychainFileReadOnly = -61,
    keychainInternalFailure = -2070,
    keychainGone = -25291,  // it was there before, or it doesn't answer
    keychainDenied = -25293,
    keychainDuplicateItem = -25299,
    keychainItemNotFound = -25300,
    keychainHasNoDefault = -25307,
    keychainLocked = -25308,  // it would have to ask the user
    keychainDataDamaged = -26275,
    keychainUnavailable = -34018,  // there is no such keychain here, or this build may not use it
};

class KeychainError final : public LocalizedError {
public:
    explicit KeychainError(int32_t status);
    // In words that say more than the status does, such as which file it is about.
    KeychainError(int32_t status, std::string description) : LocalizedError(std::move(description)), status(status) {}

    bool operator==(const KeychainError& other) const { return status == other.status; }

    int32_t status;
};

}  // namespace marlet
