#include "MarletKit/KeychainError.h"

#include <fmt/format.h>

namespace marlet {
namespace {

std::string text(int32_t status) {
    switch (status) {
        case keychainDiskFull:
            return "The disk that holds the tokens is full. Make room and try again.";
        case keychainFileFailed:
            return "The file that holds the tokens can't be read or written. Check the disk and try again.";
        case keychainFileReadOnly:
            return "The file that holds the tokens may not be changed. Check its permissions and those of its folder.";
        case keychainGone:
            return "The secret store doesn't answer. Start it anew, for example by signing in to the desktop again, "
                   "and try again.";
        case keychainDenied:
            return "The secret store refused access. Allow Marlet to use it and try again.";
        case keychainDuplicateItem:
            return "The secret store already holds a token for this account. Try again to replace it.";
        case keychainItemNotFound:
            return "The secret store holds no token for this account. Enter the token again.";
        case keychainHasNoDefault:
            return "The secret store has no default keyring. Make one with the desktop's password manager, and try "
                   "again.";
        case keychainLocked:
            return "The secret store is locked. Unlock it, for example with the desktop's password manager, and try "
                   "again.";
        case keychainDataDamaged:
            return "The stored tokens are damaged. Restore them from a backup, or enter them again.";
        case keychainUnavailable:
            return "There is no secret store that Marlet may use. Start one, for example by signing in to the desktop.";
        default:
            return fmt::format("The secret store reported the error {}. Try again, or start it anew.", status);
    }
}

}  // namespace

KeychainError::KeychainError(int32_t status) : KeychainError(status, text(status)) {}

}  // namespace marlet
